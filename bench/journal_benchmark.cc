// What recording costs: an order push through the recording vendor library's
// callback object (recorded into a journal, handed on, its return recorded)
// against the same push handed on directly, and the journal's size for one order's traffic at
// both boundaries.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "bench/bench_fixtures.h"
#include "plugin/platform.h"
#include "recorder/journal/journal.h"
#include "recorder/journal/observers.h"
#include "spi/record_conversion.h"

namespace kestrel {
namespace bench {
namespace {

journal::Journal& benchJournal() {
  static journal::Journal journal(
      (std::filesystem::temp_directory_path() / "ks_bench_journal.ksj").string());
  return journal;
}

// An order push on the vendor's thread, handed to a callback object that does
// nothing: directly (range 0) or through ObservedCallback (range 1). The
// figure is the vendor thread's: no push may find the queue full (that would
// measure dropping), so every 4096 pushes the clock stops while the writer
// thread catches up. dropped_fraction shows that none was dropped.
void BM_OrderPushRecording(benchmark::State& state) {
  xti::XtTraderApiCallback plugin;
  journal::ObservedCallback recording(benchJournal(), 1);
  recording.setTarget(&plugin);
  xti::XtTraderApiCallback* callback = state.range(0) != 0 ? &recording : &plugin;
  benchmark::DoNotOptimize(callback);
  const xti::VendorOrder order = vendorOrder(1, OrderEvent::kAccepted);
  const uint64_t droppedBefore = benchJournal().counts().queueFull;
  int pushes = 0;
  for (auto _ : state) {
    callback->onOrderPush(&order);
    if (++pushes == 4096) {
      state.PauseTiming();
      benchJournal().flush();
      pushes = 0;
      state.ResumeTiming();
    }
  }
  benchJournal().flush();
  state.counters["dropped_fraction"] =
      static_cast<double>(benchJournal().counts().queueFull - droppedBefore) /
      static_cast<double>(state.iterations());
}
BENCHMARK(BM_OrderPushRecording)->Arg(0)->Arg(1);

// One order's traffic as the recorders write it: the host's sendOrder and its
// answer, placeOrder, the reply, the accepted and filled pushes and the deal
// at the vendor boundary, and the three host events they become, each
// callback and event with its return. The time is that of building the 17
// entries; bytes_per_order is their size on disk.
void BM_JournalSizePerOrder(benchmark::State& state) {
  loadBaseInformation();
  const AccountOrderNewRequest request = orderRequest(1);
  xti::COrdinaryOrder placed;
  copyToField(placed.m_strInstrument, request.codeId.code);
  const xti::VendorOrder accepted = vendorOrder(1, OrderEvent::kAccepted);
  const xti::VendorOrder filled = vendorOrder(1, OrderEvent::kFilled);
  const xti::VendorDeal deal = vendorDeal(1);
  OrderAcceptedRecord acceptedRecord;
  toOrderRecord(accepted, SessionConfig(), acceptedRecord);
  OrderFilledRecord filledRecord;
  toOrderRecord(filled, SessionConfig(), filledRecord);
  FillRecord fillRecord;
  toFillRecord(deal, SessionConfig(), fillRecord);
  const xti::XtError success;
  const ResultStatus ok;
  namespace j = journal;
  namespace rows = interfaces;
  struct Bytes final : j::EntrySink {
    void append(std::string& frame) override { count += frame.size(); }
    void countLost() override {}
    std::size_t count = 0;
  } bytes;
  j::ObservedSpi host(bytes, 1);
  j::ObservedCallback vendor(bytes, 2);
  const int id = 1;
  for (auto _ : state) {
    bytes.count = 0;
    j::recordCall<rows::session::sendOrder>(bytes, j::Kind::kRequest, 1, id, request);
    j::recordCall<rows::api::placeOrder>(bytes, j::Kind::kRequest, 2, &placed, id, "");
    j::recordAnswer<rows::session::sendOrder>(bytes, 1, ok, id, request);
    vendor.onOrderReply(id, 10000001, "", success);
    vendor.onOrderPush(&accepted);
    host.onOrderAccepted(&acceptedRecord, ok, -1, true);
    vendor.onOrderPush(&filled);
    host.onOrderFilled(&filledRecord, ok, -1, true);
    vendor.onDealPush(&deal);
    host.onFill(&fillRecord, ok, -1, true);
    benchmark::DoNotOptimize(bytes.count);
  }
  state.counters["bytes_per_order"] = static_cast<double>(bytes.count);
}
BENCHMARK(BM_JournalSizePerOrder);

}  // namespace
}  // namespace bench
}  // namespace kestrel
