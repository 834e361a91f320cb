// Latency distributions: the order-push path on the vendor thread while host
// threads send orders through the same session, the round trip of an order
// through the simulated counter, and the operating system's thread wake-up
// that bounds it from below. Each reports the median, the 99th and 99.9th
// percentiles and the maximum of a histogram of single measurements (the
// counters p50_ns, p99_ns, p999_ns, max_ns), not an average.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_fixtures.h"
#include "bench/bench_session.h"
#include "plugin/plugin_entry.h"
#include "session/trade_session_xt.h"

namespace kestrel {
namespace bench {
namespace {

using SteadyClock = std::chrono::steady_clock;

int64_t nanosSince(SteadyClock::time_point start, SteadyClock::time_point end) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(end - start).count();
}

// Durations in nanoseconds, in buckets 1/32 of a power of two wide (exact
// below 64 ns): a percentile is read to within 3%, the maximum exactly.
class LatencyHistogram {
 public:
  void add(int64_t ns) {
    const uint64_t v = ns < 0 ? 0 : static_cast<uint64_t>(ns);
    ++counts_[bucketOf(v)];
    ++total_;
    max_ = std::max(max_, v);
  }
  // The middle of the bucket that holds the fraction `p` of the samples.
  double percentile(double p) const {
    const uint64_t rank = static_cast<uint64_t>(p * static_cast<double>(total_ - 1)) + 1;
    uint64_t seen = 0;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
      seen += counts_[i];
      if (seen >= rank) return std::min(middleOf(i), static_cast<double>(max_));
    }
    return static_cast<double>(max_);
  }
  void report(benchmark::State& state) const {
    if (total_ == 0) return;
    state.counters["p50_ns"] = percentile(0.5);
    state.counters["p99_ns"] = percentile(0.99);
    state.counters["p999_ns"] = percentile(0.999);
    state.counters["max_ns"] = static_cast<double>(max_);
  }

 private:
  static constexpr int kExact = 64;
  static std::size_t bucketOf(uint64_t v) {
    if (v < kExact) return static_cast<std::size_t>(v);
    int e = 63;
    while ((v >> e) == 0) --e;  // e >= 6
    return static_cast<std::size_t>(kExact + (e - 6) * 32 + ((v >> (e - 5)) & 31));
  }
  static double middleOf(std::size_t i) {
    if (i < kExact) return static_cast<double>(i);
    const int e = static_cast<int>(i - kExact) / 32 + 6;
    const double low = static_cast<double>((32 + (i - kExact) % 32) << (e - 5));
    return low + static_cast<double>(uint64_t{1} << (e - 5)) / 2;
  }

  std::array<uint64_t, kExact + 58 * 32> counts_{};
  uint64_t total_ = 0;
  uint64_t max_ = 0;
};

// --- The order-push path under load ------------------------------------------

// Host threads that send orders through `session` as fast as they can until
// stopped. After each 1024 orders a thread plays the vendor's replies to
// them, so that the pending book stays as small as a live one while the
// registry grows as in a busy day. Their client ids and request numbers
// start far above the orders the pushes ask for.
class OrderFlood {
 public:
  OrderFlood(TradeSessionXT& session, int threads) {
    for (int t = 0; t < threads; ++t) {
      threads_.emplace_back([this, &session, t] { send(session, 1000000 * (t + 1)); });
    }
  }
  ~OrderFlood() {
    stop_.store(true);
    for (std::thread& thread : threads_) thread.join();
  }
  uint64_t sent() const { return sent_.load(); }

 private:
  void send(TradeSessionXT& session, int first) {
    constexpr int kBatch = 1024;
    std::vector<AccountOrderNewRequest> requests;
    for (int n = 0; n < kBatch; ++n) requests.push_back(orderRequest(first + n));
    xti::XtTraderApiCallback* receiver = &session.TEST_receiver();
    const xti::XtError success;
    int next = first;
    while (!stop_.load(std::memory_order_relaxed)) {
      for (int n = 0; n < kBatch; ++n) {
        benchmark::DoNotOptimize(session.sendOrder(next + n, requests[n]));
      }
      for (int n = 0; n < kBatch; ++n) {
        receiver->onOrderReply(next + n, orderIdOf(next + n), "", success);
      }
      next += kBatch;
      sent_.fetch_add(kBatch, std::memory_order_relaxed);
    }
  }

  std::atomic<bool> stop_{false};
  std::atomic<uint64_t> sent_{0};
  std::vector<std::thread> threads_;
};

// onOrderPush (an accepted order among the 64 most recently registered of
// 1e5) on this thread, the vendor's, while range(0) host threads flood the
// same session with orders. Each iteration times one push on its own.
void BM_PushUnderLoad(benchmark::State& state) {
  NullVendor vendor;
  loadBaseInformation();
  auto* session = static_cast<TradeSessionXT*>(CreateTradeSession());
  benchmark::DoNotOptimize(session->setConfig(benchConfig()));
  benchmark::DoNotOptimize(session->registerSpi(&sharedNullHost()));
  benchmark::DoNotOptimize(session->connect());
  xti::XtTraderApiCallback* receiver = &session->TEST_receiver();
  receiver->onAccountStatus("8800123456", 0, 1);
  constexpr int kRegistered = 100000;
  registerOrders(*session->TEST_receiver().TEST_identity().registry, kRegistered);
  std::vector<xti::VendorOrder> pushes;
  for (int n : pickOrders(kRegistered, Pick::kRecent)) {
    pushes.push_back(vendorOrder(n, OrderEvent::kAccepted));
  }
  LatencyHistogram histogram;
  uint64_t sent = 0;
  {
    OrderFlood flood(*session, static_cast<int>(state.range(0)));
    std::size_t next = 0;
    for (auto _ : state) {
      const SteadyClock::time_point start = SteadyClock::now();
      receiver->onOrderPush(&pushes[next]);
      histogram.add(nanosSince(start, SteadyClock::now()));
      if (++next == pushes.size()) next = 0;
    }
    sent = flood.sent();
  }
  histogram.report(state);
  state.counters["host_orders_per_second"] =
      benchmark::Counter(static_cast<double>(sent), benchmark::Counter::kIsRate);
  delete session;
}
BENCHMARK(BM_PushUnderLoad)
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Iterations(300000)
    ->UseRealTime()
    ->ArgName("host_threads");

// --- The round trip through the simulated counter ------------------------------

// A host that stamps each fill as it arrives, on the vendor's thread.
class StampingHost : public NullHost {
 public:
  void onFill(const FillRecord* record, const ResultStatus& status, int requestId,
              bool isLast) override {
    lastFill_.store(SteadyClock::now().time_since_epoch().count(), std::memory_order_relaxed);
    NullHost::onFill(record, status, requestId, isLast);
  }
  SteadyClock::time_point lastFill() const {
    return SteadyClock::time_point(SteadyClock::duration(lastFill_.load()));
  }

 private:
  std::atomic<SteadyClock::rep> lastFill_{0};
};

// One marketable order at a time, from the call of sendOrder to the host's
// fill (onFill, the order's last callback) on the counter's callback thread:
// rt_*. Its two parts: the request on the host's thread, sendOrder's own
// call (the plug-in, the counter's matching, the hand-over): send_*; and the
// rest, from sendOrder's return to the fill (the callback thread's wake-up
// and the delivery of reply, two order pushes and the deal push): p*_ns.
//
// Argument 1 runs the counter in synchronous mode: everything on the host's
// thread, no hand-over: the plug-in's and the counter's own work alone.
void BM_RoundTrip(benchmark::State& state) {
  std::string path = KS_BENCH_SIM_CONFIG;
  if (state.range(0) == 1) {
    std::ifstream in(KS_BENCH_SIM_CONFIG);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::string polite = "synchronous = false";
    text.replace(text.find(polite), polite.size(), "synchronous = true");
    path = (std::filesystem::temp_directory_path() / "ks_bench_xt_config_synchronous").string();
    std::ofstream(path) << text;
  }
  StampingHost host;
  TradeSessionXT* session = loggedInSession(host, state, path);

  AccountOrderNewRequest orders[2] = {orderRequest(1), orderRequest(2)};
  for (AccountOrderNewRequest& order : orders) {
    order.codeId.code = "rb2410";
    order.quantity = 1;
  }
  orders[0].price = 3700;  // buy to open above the reference price: fills at once
  orders[1].direction = 2;
  orders[1].offsetFlag = 5;  // sell today's lot below it
  orders[1].price = 3600;
  LatencyHistogram roundTrip, request, delivery;
  int requestId = 10;
  uint64_t filled = host.filledCount();
  for (auto _ : state) {
    ++requestId;  // odd: the buy, even: the sell that closes it
    const SteadyClock::time_point start = SteadyClock::now();
    if (session->sendOrder(requestId, orders[1 - requestId % 2]).code != 0) {
      state.SkipWithError("sendOrder refused an order");
      break;
    }
    const SteadyClock::time_point sent = SteadyClock::now();
    host.waitForFilled(++filled);
    const SteadyClock::time_point fill = host.lastFill();
    roundTrip.add(nanosSince(start, fill));
    request.add(nanosSince(start, sent));
    delivery.add(nanosSince(sent, fill));
  }
  delivery.report(state);
  state.counters["rt_p50_ns"] = roundTrip.percentile(0.5);
  state.counters["rt_p99_ns"] = roundTrip.percentile(0.99);
  state.counters["rt_p999_ns"] = roundTrip.percentile(0.999);
  state.counters["send_p50_ns"] = request.percentile(0.5);
  delete session;
  if (path != KS_BENCH_SIM_CONFIG) std::remove(path.c_str());
}
BENCHMARK(BM_RoundTrip)
    ->Arg(0)
    ->Arg(1)
    ->ArgName("synchronous")
    ->Iterations(20000)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

// The floor of any hand-over between two threads: one thread stamps the time
// and notifies a condition variable; the other, asleep on it, wakes and
// measures how long that took.
void BM_WakeUp(benchmark::State& state) {
  std::mutex mutex;
  std::condition_variable changed;
  SteadyClock::time_point stamped;
  uint64_t round = 0, woken = 0;
  bool stop = false;
  LatencyHistogram histogram;
  std::thread sleeper([&] {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
      changed.wait(lock, [&] { return stop || round > woken; });
      if (stop) return;
      histogram.add(nanosSince(stamped, SteadyClock::now()));
      woken = round;
      changed.notify_all();
    }
  });
  for (auto _ : state) {
    std::unique_lock<std::mutex> lock(mutex);
    stamped = SteadyClock::now();
    ++round;
    changed.notify_all();
    changed.wait(lock, [&] { return woken == round; });
  }
  {
    std::lock_guard<std::mutex> lock(mutex);
    stop = true;
    changed.notify_all();
  }
  sleeper.join();
  histogram.report(state);
}
BENCHMARK(BM_WakeUp)->Iterations(20000)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace bench
}  // namespace kestrel
