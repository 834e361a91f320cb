// The day report's reading of entries the recorded days of report_day do not
// show: a version 2 day's nesting and returns (host handler times, the
// slowest handlers), a push that became no host event, an order's state
// going backwards, entries whose values do not read. Each day is made of
// entries as the recorders write them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "recorder/journal/operations.h"
#include "report/day.h"
#include "report/report_output.h"
#include "tests/support/hand_entries.h"

namespace kestrel {
namespace report {
namespace {

using journal::Boundary;
using journal::FrameWriter;
using journal::Kind;
namespace host = journal::slot::host;
namespace event = journal::slot::event;
namespace vendor = journal::slot::vendor;
namespace cb = journal::slot::callback;

constexpr uint32_t kHostThread = 1;
constexpr uint32_t kVendorThread = 2;
constexpr uint32_t kSession = 1;
constexpr uint32_t kApi = 2;

using Error = testing::VendorError;

class DayOf {
 public:
  explicit DayOf(uint32_t version) { day.version = version; }

  template <typename... Values>
  DayOf& at(uint64_t micros, uint32_t thread, uint32_t object, Boundary boundary, Kind kind,
            uint16_t operation, int32_t request, const Values&... values) {
    journal::Entry e = testing::handEntry(micros * 1000, thread, object, boundary, kind, operation,
                                          request, values...);
    e.offset = offset_ += 100;
    entries_.push_back(e);
    return *this;
  }

  // sendOrder of client serial `serial` with request number `request`,
  // its placeOrder and answer, and the counter's reply giving vendor order
  // number `request` too.
  DayOf& order(uint64_t micros, int32_t request, const std::string& serial) {
    AccountOrderNewRequest r;
    r.clientId = ClientId{"demo", serial};
    r.codeId.code = "rb2410";
    r.quantity = 1;
    alignas(xti::COrdinaryOrder) char bytes[sizeof(xti::COrdinaryOrder)] = {};
    const auto* placed = reinterpret_cast<const xti::COrdinaryOrder*>(bytes);
    return at(micros, kHostThread, kSession, Boundary::kHost, Kind::kRequest, host::sendOrder,
              request, request, r)
        .at(micros + 1, kHostThread, kApi, Boundary::kVendor, Kind::kRequest, vendor::placeOrder,
            request, placed, request, static_cast<const char*>(nullptr))
        .at(micros + 2, kHostThread, kSession, Boundary::kHost, Kind::kReturn, host::sendOrder,
            request, ResultStatus{})
        .at(micros + 10, kVendorThread, kApi, Boundary::kVendor, Kind::kCallback, cb::onOrderReply,
            request, request, request, static_cast<const char*>(nullptr), Error{0, nullptr});
  }

  // An order push of vendor order `orderId` with `status`.
  DayOf& push(uint64_t micros, int orderId, int status) {
    xti::VendorOrder r{};
    r.m_nOrderID = orderId;
    r.m_nOrderStatus = status;
    return at(micros, kVendorThread, kApi, Boundary::kVendor, Kind::kCallback, cb::onOrderPush, 0,
              &r);
  }

  DayOf& done(uint64_t micros, Boundary boundary, uint16_t operation, int32_t request = 0) {
    return at(micros, kVendorThread, boundary == Boundary::kHost ? kSession : kApi, boundary,
              Kind::kDone, operation, request, false);
  }

  const Day& read() {
    DayBuilder builder(day, Options());
    for (const journal::Entry& e : entries_) builder.add(e);
    builder.finish();
    return day;
  }

  Day day;

 private:
  std::vector<journal::Entry> entries_;
  uint64_t offset_ = 0;
};

OrderAcceptedRecord accepted(const std::string& serial) {
  OrderAcceptedRecord r;
  r.clientId = ClientId{"demo", serial};
  return r;
}

TEST(DayReport, Version2NestingGivesHostHandlerTimesAndTheSlowest) {
  DayOf d(2);
  d.order(0, 7, "000001");
  d.done(11, Boundary::kVendor, cb::onOrderReply, 7);
  d.push(100, 7, xti::ORDER_NO_TRADE_QUEUEING_CHAR);
  const OrderAcceptedRecord record = accepted("000001");
  d.at(103, kVendorThread, kSession, Boundary::kHost, Kind::kCallback, event::onOrderAccepted, -1,
       &record, ResultStatus{}, -1, true);
  d.done(403, Boundary::kHost, event::onOrderAccepted, -1);  // the host's handler: 300 µs
  d.done(405, Boundary::kVendor, cb::onOrderPush);
  const Day& day = d.read();
  ASSERT_EQ(day.orders.size(), 1u);
  const Order& o = day.orders[0];
  EXPECT_EQ(o.vendorOrderId, 7);
  EXPECT_EQ(o.stage[kPluginOut], 3000u);
  EXPECT_EQ(o.stage[kHostHandler], 300000u);
  EXPECT_EQ(o.stage[kToAccepted], 103000u);
  ASSERT_EQ(day.slowestHandlers.size(), 1u);
  EXPECT_EQ(day.slowestHandlers[0].operation, "onOrderAccepted");
  EXPECT_EQ(day.slowestHandlers[0].took, 300000u);
  EXPECT_EQ(day.samples[kCallbackTotal].size(), 2u);  // the reply's and the push's
  for (int a = 0; a < kAnomalies; ++a) {
    SCOPED_TRACE(anomalyInfo(a).key);
    EXPECT_EQ(day.anomalies[a].size(), a == kNoFinalState ? 1u : 0u);
  }
}

TEST(DayReport, APushThatBecameNoHostEventIsNamed) {
  for (uint32_t version : {1u, 2u}) {
    SCOPED_TRACE(version);
    DayOf d(version);
    d.order(0, 3, "000001");
    d.push(100, 3, xti::ORDER_NO_TRADE_QUEUEING_CHAR);  // no host event
    if (version == 2) d.done(101, Boundary::kVendor, cb::onOrderPush);
    d.push(200, 3, xti::ORDER_CANCELED_CHAR);
    OrderRecord cancelled;
    cancelled.clientId = ClientId{"demo", "000001"};
    d.at(201, kVendorThread, kSession, Boundary::kHost, Kind::kCallback, event::onOrderCanceled, -1,
         &cancelled, ResultStatus{}, -1, true);
    const Day& day = d.read();
    ASSERT_EQ(day.anomalies[kCallbackWithoutEvent].size(), 1u);
    EXPECT_EQ(day.anomalies[kCallbackWithoutEvent][0].order, 0);
    EXPECT_EQ(day.orders[0].outcome, Outcome::kCancelled);
  }
}

// release() waits for the vendor's threads before it shuts the API down, and
// then tells onDisconnected on a thread of its own, which may get the identity
// of a vendor thread that ended: neither is a stage of the plug-in's.
TEST(DayReport, ReleasesWaitAndItsOwnThreadAreNotThePluginsStages) {
  for (uint32_t version : {1u, 2u}) {
    SCOPED_TRACE(version);
    DayOf d(version);
    d.order(0, 3, "000001");
    if (version == 2) d.done(11, Boundary::kVendor, cb::onOrderReply, 3);
    d.at(1000, kHostThread, kSession, Boundary::kHost, Kind::kRequest, host::release, 0);
    d.at(101000, kHostThread, kApi, Boundary::kVendor, Kind::kRequest, vendor::shutdown, 0);
    d.at(101100, kVendorThread, kSession, Boundary::kHost, Kind::kCallback, event::onDisconnected,
         0, ResultStatus{});
    const Day& day = d.read();
    ASSERT_EQ(day.samples[kPluginIn].size(), 1u);  // the order's placeOrder only
    EXPECT_EQ(day.samples[kPluginIn][0].took, 1000u);
    EXPECT_TRUE(day.samples[kPluginOut].empty());
  }
}

TEST(DayReport, AnEarlierStateAfterALaterOneGoesBackwards) {
  DayOf d(1);
  d.order(0, 4, "000001");
  OrderFilledRecord filled;
  filled.clientId = ClientId{"demo", "000001"};
  filled.statusMessage = "\xC8\xAB\xB2\xBF\xB3\xC9\xBD\xBB";  // 全部成交 in GBK
  d.at(50, kHostThread, kSession, Boundary::kHost, Kind::kCallback, event::onOrderFilled, -1,
       &filled, ResultStatus{}, -1, true);
  const OrderAcceptedRecord record = accepted("000001");
  d.at(60, kHostThread, kSession, Boundary::kHost, Kind::kCallback, event::onOrderAccepted, -1,
       &record, ResultStatus{}, -1, true);
  const Day& day = d.read();
  ASSERT_EQ(day.anomalies[kStateBackwards].size(), 1u);
  EXPECT_EQ(day.anomalies[kStateBackwards][0].detail, "accepted after a final state");
  EXPECT_EQ(day.orders[0].outcome, Outcome::kFilled);
  EXPECT_EQ(day.orders[0].stage[kToFilled], 50000u);
}

TEST(DayReport, EntriesWhoseValuesDoNotReadAreNamedAndTheRestRead) {
  DayOf d(2);
  d.order(0, 5, "000001");
  // A return whose value is no bool, an order push whose record is short,
  // an answer with a value left over.
  d.at(20, kVendorThread, kApi, Boundary::kVendor, Kind::kDone, cb::onOrderReply, 5, 1);
  d.at(30, kVendorThread, kApi, Boundary::kVendor, Kind::kCallback, cb::onOrderPush, 0,
       std::string("short"));
  d.at(40, kHostThread, kSession, Boundary::kHost, Kind::kReturn, host::getTypeCode, 0, 1, 2);
  d.push(50, 5, xti::ORDER_ALL_TRADED_CHAR);
  const Day& day = d.read();
  ASSERT_EQ(day.malformed.size(), 3u);
  EXPECT_NE(day.malformed[0].find("entry at offset 500 (onOrderReply)"), std::string::npos)
      << day.malformed[0];
  EXPECT_NE(day.malformed[1].find("offset 600"), std::string::npos) << day.malformed[1];
  EXPECT_NE(day.malformed[2].find("values left over"), std::string::npos) << day.malformed[2];
  EXPECT_EQ(day.entries, 8u);
  EXPECT_EQ(day.orders[0].outcome, Outcome::kFilled);  // the push after them still read
}

TEST(DayReport, DistributionsAreNearestRankPercentiles) {
  std::vector<Sample> samples;
  for (uint64_t i = 1; i <= 200; ++i) samples.push_back(Sample{i, i * 10});
  const Distribution d = distributionOf(samples);
  EXPECT_EQ(d.count, 200u);
  EXPECT_EQ(d.median, 1000u);
  EXPECT_EQ(d.p90, 1800u);
  EXPECT_EQ(d.p99, 1980u);
  EXPECT_EQ(d.max, 2000u);
  EXPECT_EQ(distributionOf({Sample{5, 70}}).p99, 70u);
  EXPECT_EQ(distributionOf({}).count, 0u);
}

}  // namespace
}  // namespace report
}  // namespace kestrel
