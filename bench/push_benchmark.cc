// The callback paths (vendor thread -> host call), the floor they are
// compared with, and the registry they consult.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "bench/bench_fixtures.h"

namespace kestrel {
namespace bench {
namespace {

constexpr int kSizes[] = {1000, 100000, 1000000};

void withSizes(benchmark::internal::Benchmark* b) {
  for (int size : kSizes) b->Arg(size);
}

// The floor: what any push costs at the least. The vendor's record is copied
// (a handler must read all of it) and handed to an object in another
// translation unit through one virtual call.
void BM_Floor(benchmark::State& state) {
  const xti::VendorOrder source = vendorOrder(1, OrderEvent::kAccepted);
  RecordSink* sink = &nullRecordSink();
  benchmark::DoNotOptimize(sink);
  for (auto _ : state) {
    xti::VendorOrder copy;
    std::memcpy(&copy, &source, sizeof(copy));
    benchmark::ClobberMemory();
    sink->take(&copy);
  }
}
BENCHMARK(BM_Floor);

// onOrderPush through the vendor's callback interface, for one of the four
// events, with `state.range(0)` orders registered.
void BM_OrderPush(benchmark::State& state, OrderEvent event, Pick pick) {
  const int count = static_cast<int>(state.range(0));
  xti::XtTraderApiCallback* receiver = &receiverWithOrders(count);
  std::vector<xti::VendorOrder> pushes;
  for (int n : pickOrders(count, pick)) pushes.push_back(vendorOrder(n, event));
  std::size_t next = 0;
  for (auto _ : state) {
    receiver->onOrderPush(&pushes[next]);
    if (++next == pushes.size()) next = 0;
  }
}
BENCHMARK_CAPTURE(BM_OrderPush, accepted_recent, OrderEvent::kAccepted, Pick::kRecent)
    ->Apply(withSizes);
BENCHMARK_CAPTURE(BM_OrderPush, accepted_random, OrderEvent::kAccepted, Pick::kRandom)
    ->Apply(withSizes);
BENCHMARK_CAPTURE(BM_OrderPush, filled_recent, OrderEvent::kFilled, Pick::kRecent)
    ->Apply(withSizes);
BENCHMARK_CAPTURE(BM_OrderPush, filled_random, OrderEvent::kFilled, Pick::kRandom)
    ->Apply(withSizes);
BENCHMARK_CAPTURE(BM_OrderPush, canceled_recent, OrderEvent::kCanceled, Pick::kRecent)
    ->Apply(withSizes);
BENCHMARK_CAPTURE(BM_OrderPush, canceled_random, OrderEvent::kCanceled, Pick::kRandom)
    ->Apply(withSizes);
BENCHMARK_CAPTURE(BM_OrderPush, rejected_recent, OrderEvent::kRejected, Pick::kRecent)
    ->Apply(withSizes);
BENCHMARK_CAPTURE(BM_OrderPush, rejected_random, OrderEvent::kRejected, Pick::kRandom)
    ->Apply(withSizes);

void BM_DealPush(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  xti::XtTraderApiCallback* receiver = &receiverWithOrders(count);
  std::vector<xti::VendorDeal> pushes;
  for (int n : pickOrders(count, Pick::kRecent)) pushes.push_back(vendorDeal(n));
  std::size_t next = 0;
  for (auto _ : state) {
    receiver->onDealPush(&pushes[next]);
    if (++next == pushes.size()) next = 0;
  }
}
BENCHMARK(BM_DealPush)->Arg(100000);

// One record of the order query's reply: the host's record, then the order's
// event (an accepted order here).
void BM_OrderDetailReply(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  xti::XtTraderApiCallback* receiver = &receiverWithOrders(count);
  const xti::VendorOrder order = vendorOrder(count, OrderEvent::kAccepted);
  const xti::XtError success;
  for (auto _ : state) {
    receiver->onOrderDetailReply("8800123456", 7, &order, true, success);
  }
}
BENCHMARK(BM_OrderDetailReply)->Arg(100000);

void BM_AccountDetailReply(benchmark::State& state) {
  xti::XtTraderApiCallback* receiver = &receiverWithOrders(1000);
  const xti::VendorAccountDetail detail = vendorAccountDetail();
  const xti::XtError success;
  for (auto _ : state) {
    receiver->onAccountDetailReply("8800123456", 8, &detail, true, success);
  }
}
BENCHMARK(BM_AccountDetailReply);

// --- The registry -------------------------------------------------------------

// add() of new request numbers to a registry holding `range(0)` orders. A
// fresh registry per run keeps its size within 1% + 1000 of the nominal one.
int growthPerRun(int count) { return count / 100 + 1000; }

void BM_RegistryAdd(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  XtClientIdSet registry;
  registerOrders(registry, count);
  std::vector<ClientId> ids;
  for (int n = count + 1; n <= count + growthPerRun(count); ++n) ids.push_back(clientIdOf(n));
  int n = count;
  for (auto _ : state) {
    ++n;
    registry.add(n, ids[static_cast<std::size_t>(n - count - 1)]);
  }
}

// update() of request numbers filed by add() and not yet updated.
void BM_RegistryUpdate(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  XtClientIdSet registry;
  registerOrders(registry, count);
  const int growth = growthPerRun(count);
  for (int n = count + 1; n <= count + growth; ++n) registry.add(n, clientIdOf(n));
  int n = count;
  for (auto _ : state) {
    ++n;
    benchmark::DoNotOptimize(registry.update(n, orderIdOf(n)));
  }
}

void BM_RegistryGet(benchmark::State& state, Pick pick) {
  const int count = static_cast<int>(state.range(0));
  XtClientIdSet& registry = *receiverWithOrders(count).TEST_identity().registry;
  std::vector<int> orderIds;
  for (int n : pickOrders(count, pick)) orderIds.push_back(orderIdOf(n));
  std::size_t next = 0;
  ClientId id;
  for (auto _ : state) {
    benchmark::DoNotOptimize(registry.get(orderIds[next], id));
    if (++next == orderIds.size()) next = 0;
  }
}
BENCHMARK_CAPTURE(BM_RegistryGet, recent, Pick::kRecent)->Apply(withSizes);
BENCHMARK_CAPTURE(BM_RegistryGet, random, Pick::kRandom)->Apply(withSizes);

// Bytes of heap per registered order at range(0) orders, filed through
// add() + update() as the order path files them. glibc only.
void BM_RegistryMemory(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
#if defined(__GLIBC__)
    malloc_trim(0);
    const struct mallinfo2 before = mallinfo2();
    auto registry = std::make_unique<XtClientIdSet>();
    registerOrders(*registry, count);
    const struct mallinfo2 after = mallinfo2();
    const double used = static_cast<double>(after.uordblks + after.hblkhd) -
                        static_cast<double>(before.uordblks + before.hblkhd);
    state.counters["bytes_per_order"] = used / count;
    state.PauseTiming();
    registry.reset();
    state.ResumeTiming();
#else
    state.SkipWithError("mallinfo2 needs glibc");
#endif
  }
}
BENCHMARK(BM_RegistryMemory)
    ->Arg(1000000)
    ->Iterations(1)
    ->Repetitions(1)
    ->Unit(benchmark::kMillisecond);

// The add and update benchmarks run a fixed number of iterations: the
// registry grows with each one and must stay near its nominal size.
struct RegisterFixedIterations {
  RegisterFixedIterations() {
    for (int size : kSizes) {
      benchmark::RegisterBenchmark("BM_RegistryAdd", BM_RegistryAdd)
          ->Arg(size)
          ->Iterations(growthPerRun(size));
      benchmark::RegisterBenchmark("BM_RegistryUpdate", BM_RegistryUpdate)
          ->Arg(size)
          ->Iterations(growthPerRun(size));
    }
  }
} registerFixedIterations;

}  // namespace
}  // namespace bench
}  // namespace kestrel
