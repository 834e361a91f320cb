// The order path (host thread -> vendor call) and the session's release.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "bench/bench_fixtures.h"
#include "bench/bench_session.h"
#include "broker/config_variable.h"
#include "plugin/plugin_entry.h"
#include "session/trade_session_xt.h"

namespace kestrel {
namespace bench {
namespace {

TradeSessionXT* connectedSession(ITradeSessionSpi& host) {
  loadBaseInformation();
  auto* session = static_cast<TradeSessionXT*>(CreateTradeSession());
  benchmark::DoNotOptimize(session->setConfig(benchConfig()));
  benchmark::DoNotOptimize(session->registerSpi(&host));
  benchmark::DoNotOptimize(session->connect());
  return session;
}

// sendOrder against a vendor whose placeOrder does nothing: the plug-in's own
// cost on the trader's thread. 1e5 orders are registered already; each
// iteration sends a new order (new request number). After every 1024 orders
// the vendor's replies to them are delivered with the timer stopped, so the
// registry grows as in a trading day while the pending-order book stays as
// small as a live one.
void BM_SendOrder(benchmark::State& state) {
  NullVendor vendor;
  TradeSessionXT* session = connectedSession(sharedNullHost());
  xti::XtTraderApiCallback* receiver = &session->TEST_receiver();
  receiver->onAccountStatus("8800123456", 0, 1);
  constexpr int kRegistered = 100000;
  constexpr int kBatch = 1024;
  registerOrders(*session->TEST_receiver().TEST_identity().registry, kRegistered);
  std::vector<AccountOrderNewRequest> requests;
  for (int n = 1; n <= kBatch; ++n) requests.push_back(orderRequest(kRegistered + n));
  const xti::XtError success;
  int requestId = kRegistered;
  int replied = kRegistered;
  for (auto _ : state) {
    ++requestId;
    benchmark::DoNotOptimize(session->sendOrder(requestId, requests[requestId % kBatch]));
    if (requestId - replied == kBatch) {
      state.PauseTiming();
      for (; replied < requestId; ++replied) {
        receiver->onOrderReply(replied + 1, orderIdOf(replied + 1), "", success);
      }
      state.ResumeTiming();
    }
  }
  delete session;
}
BENCHMARK(BM_SendOrder)->Iterations(200000);

// release() of a connected session, from the call to its return.
void BM_ReleaseConnected(benchmark::State& state) {
  NullVendor vendor;
  NullHost host;
  for (auto _ : state) {
    TradeSessionXT* session = connectedSession(host);
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(session->release());
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(took.count());
  }
}
BENCHMARK(BM_ReleaseConnected)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

// --- End to end through the simulated counter -----------------------------------

}  // namespace

TradeSessionXT* loggedInSession(NullHost& host, benchmark::State& state,
                                const std::string& counterConfig) {
  xti::sim::setConfigVariable(counterConfig.c_str());
  loadBaseInformation();
  SessionConfig config = benchConfig();
  config.userName = "bench";
  config.password = "bench123";
  auto* session = static_cast<TradeSessionXT*>(CreateTradeSession());
  benchmark::DoNotOptimize(session->setConfig(config));
  benchmark::DoNotOptimize(session->registerSpi(&host));
  if (session->connect().code != 0) {
    state.SkipWithError("the simulated counter refused the connection");
    return session;
  }
  host.waitForConnection();
  benchmark::DoNotOptimize(session->login());
  host.waitForLogin();
  // The account pushes follow the login reply on the same vendor thread;
  // an order sent before they arrive would be refused for want of an account.
  XtTraderSpi& receiver = session->TEST_receiver();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (receiver.fundAccount().empty()) {
    if (std::chrono::steady_clock::now() > deadline) {
      state.SkipWithError("no fund account after login");
      break;
    }
    std::this_thread::yield();
  }
  return session;
}

namespace {

// Orders from sendOrder to the host's fill event (onFill, the last callback of
// a filled order): each iteration sends range(0) marketable orders and waits
// until all of them have reached the host as fills. Range 1 is one order's
// round trip; a larger batch shows the throughput with orders in flight.
// Orders alternate between buying to open and selling today's position to
// close, so the account's position stays at one lot at most.
void BM_EndToEnd(benchmark::State& state) {
  const int batch = static_cast<int>(state.range(0));
  NullHost host;
  TradeSessionXT* session = loggedInSession(host, state);
  AccountOrderNewRequest orders[2] = {orderRequest(1), orderRequest(2)};
  for (AccountOrderNewRequest& order : orders) {
    order.codeId.code = "rb2410";
    order.quantity = 1;
  }
  orders[0].direction = 1;   // buy
  orders[0].offsetFlag = 1;  // to open
  orders[0].price = 3700;    // above the reference price: fills at once
  orders[1].direction = 2;   // sell
  orders[1].offsetFlag = 5;  // to close today's position
  orders[1].price = 3600;    // below the reference price: fills at once
  int requestId = 0;
  uint64_t sent = 0;
  for (auto _ : state) {
    for (int i = 0; i < batch; ++i) {
      ++requestId;
      const ResultStatus status = session->sendOrder(requestId, orders[requestId % 2 == 0]);
      if (status.code != 0) {
        state.SkipWithError("sendOrder refused an order");
        break;
      }
    }
    sent += static_cast<uint64_t>(batch);
    host.waitForFilled(sent);
  }
  state.counters["orders_per_second"] =
      benchmark::Counter(static_cast<double>(sent), benchmark::Counter::kIsRate);
  delete session;
}
// A fixed number of orders per run keeps the counter's books and the registry
// inside the heap warmed up front (bench_main.cc).
BENCHMARK(BM_EndToEnd)->Args({1})->Iterations(5000)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EndToEnd)->Args({100})->Iterations(100)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace bench
}  // namespace kestrel
