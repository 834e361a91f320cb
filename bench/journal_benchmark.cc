// What recording costs: an order push through the recording vendor library's
// callback object (recorded into a journal, then handed on) against the same
// push handed on directly, and the journal's size for one order's traffic at
// both boundaries.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "bench/bench_fixtures.h"
#include "plugin/platform.h"
#include "recorder/journal/journal.h"
#include "recorder/journal/operations.h"
#include "recorder/vendor/recording_callback.h"
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
// nothing: directly (range 0) or through RecordingCallback (range 1). The
// figure is the vendor thread's: no push may find the queue full (that would
// measure dropping), so every 4096 pushes the clock stops while the writer
// thread catches up. dropped_fraction shows that none was dropped.
void BM_OrderPushRecording(benchmark::State& state) {
  xti::XtTraderApiCallback plugin;
  journal::RecordingCallback recording(benchJournal(), 1);
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
// at the vendor boundary, and the three host events they become. The time is
// that of building the ten entries; bytes_per_order is their size on disk.
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
  std::string frame;
  std::size_t bytes = 0;
  const auto entry = [&](j::Boundary b, j::Kind k, uint16_t op, auto&&... values) {
    j::buildEntry(frame, b, k, op, 1, 1, [&](j::FrameWriter& w) { (j::put(w, values), ...); });
    bytes += frame.size();
  };
  const auto host = j::Boundary::kHost;
  const auto vendor = j::Boundary::kVendor;
  for (auto _ : state) {
    bytes = 0;
    entry(host, j::Kind::kRequest, j::slot::host::sendOrder, 1, request);
    entry(vendor, j::Kind::kRequest, j::slot::vendor::placeOrder, &placed, 1, "");
    entry(host, j::Kind::kReturn, j::slot::host::sendOrder, ok);
    entry(vendor, j::Kind::kCallback, j::slot::callback::onOrderReply, 1, 10000001, "", success);
    entry(vendor, j::Kind::kCallback, j::slot::callback::onOrderPush, &accepted);
    entry(host, j::Kind::kCallback, j::slot::event::onOrderAccepted, &acceptedRecord, ok, -1, true);
    entry(vendor, j::Kind::kCallback, j::slot::callback::onOrderPush, &filled);
    entry(host, j::Kind::kCallback, j::slot::event::onOrderFilled, &filledRecord, ok, -1, true);
    entry(vendor, j::Kind::kCallback, j::slot::callback::onDealPush, &deal);
    entry(host, j::Kind::kCallback, j::slot::event::onFill, &fillRecord, ok, -1, true);
    benchmark::DoNotOptimize(frame.data());
  }
  state.counters["bytes_per_order"] = static_cast<double>(bytes);
}
BENCHMARK(BM_JournalSizePerOrder);

}  // namespace
}  // namespace bench
}  // namespace kestrel
