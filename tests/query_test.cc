// The five account queries and their answers, and the deal push. (Without a
// fund account, not connected, or when the vendor throws, a query answers as
// an order does: order_flow_test.cc; the records' fields: conversion_test.cc.)
#include <string>
#include <tuple>

#include "tests/support/session_fixture.h"
#include "tests/support/vendor_text.h"

namespace kestrel {
namespace testing {
namespace {

using QueryTest = SessionFixture;

// The account header every record takes from the session's settings.
template <typename Record>
std::tuple<int32_t, std::string, std::string, int32_t, int32_t> headerOf(const Record& r) {
  return std::make_tuple(r.accountCode, r.configText, r.userName, r.codeA, r.codeB);
}
const auto kHeader = std::make_tuple(17, std::string("cfg"), std::string("trader1"), 0, 1);

TEST_F(QueryTest, QueriesCarryTheSmallestAccountAndTheHostsNumberUnchanged) {
  connect();
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onAccountStatus("B1", 0, 1);
    cb.onAccountStatus("A9", 0, 1);
  });
  PositionDetailReq anything;
  anything.codeId.code = "ignored";
  struct Case {
    ResultStatus status;
    const char* op;
    int64_t requestId;
  } cases[] = {
      {session->reqQryTradingAccount(0), "queryAccountDetail", 0},
      {session->reqQryPosition(-4), "queryPosition", -4},
      {session->reqQryPositionDetail(2147483647, anything), "queryPositionDetail", 2147483647},
      {session->reqQryOrder(8), "queryOrderDetail", 8},
      {session->reqQryFill(9), "queryDealDetail", 9},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.op);
    EXPECT_EQ(c.status.code, 0);
    const auto calls = vendor.callsOf(c.op);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].texts, (std::vector<std::string>{"A9", ""}));
    EXPECT_EQ(calls[0].numbers, (std::vector<int64_t>{c.requestId}));
  }
}

// A failure: a null record and -1; success without a record (an empty
// result): one null record and 0; else the record and 0. The request number
// and the vendor's last flag pass through.
TEST_F(QueryTest, RepliesFollowTheThreeWayRule) {
  connectWithAccount();
  xti::VendorPosition position{};
  position.m_nPosition = 4;
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onPositionReply("A001", 6, &position, false, xti::XtError());
    cb.onPositionReply("A001", 6, &position, true, xti::XtError());
    cb.onPositionReply("A001", 7, nullptr, true, xti::XtError());
    cb.onPositionReply("A001", 8, &position, false, xti::XtError(9, "查询失败"));
    cb.onPositionReply("A001", 9, nullptr, true, xti::XtError(9, nullptr));
  });
  const auto events = host.eventsNamed("onPositionsResponse");
  ASSERT_EQ(events.size(), 5u);
  const struct {
    int requestId;
    bool isLast, hasRecord;
    int code;
    std::string message;
  } expected[] = {{6, false, true, 0, ""},
                  {6, true, true, 0, ""},
                  {7, true, false, 0, ""},
                  {8, false, false, -1, CodeConvert::utf8_to_gbk("[msg=查询失败]")},
                  {9, true, false, -1, ""}};
  for (int i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(events[i].requestId, expected[i].requestId);
    EXPECT_EQ(events[i].isLast, expected[i].isLast);
    EXPECT_EQ(events[i].hasRecord, expected[i].hasRecord);
    EXPECT_EQ(events[i].status.code, expected[i].code);
    EXPECT_EQ(events[i].status.message, expected[i].message);
  }
  EXPECT_EQ(events[0].position->volumeWhenClear, 4);
  EXPECT_EQ(headerOf(events[0].position->header), kHeader);
}

TEST_F(QueryTest, EachReplyReachesItsHostOperationWithTheHeader) {
  connectWithAccount();
  xti::VendorAccountDetail funds{};
  funds.m_dAvailable = 99.5;
  xti::VendorDeal deal{};
  setText(deal.m_strTradeID, "T1");
  deal.m_nOrderID = 5;
  xti::VendorPositionDetail detail{};
  detail.m_nVolume = 3;
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onAccountDetailReply("A001", 1, &funds, true, xti::XtError());
    cb.onDealDetailReply("A001", 2, &deal, true, xti::XtError());
    cb.onPositionDetailReply("A001", 3, &detail, true, xti::XtError());
    cb.onOrderDetailReply("A001", 4, nullptr, true, xti::XtError());
  });
  const auto events = host.events();
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[0].name, "onAccountFundsResponse");
  EXPECT_EQ(events[0].funds->amount11, 99.5);
  EXPECT_EQ(headerOf(events[0].funds->header), kHeader);
  EXPECT_EQ(events[1].name, "onFillsResponse");
  EXPECT_EQ(events[1].fill->fillReference, "T1");
  EXPECT_EQ(headerOf(events[1].fill->header), kHeader);
  EXPECT_EQ(events[1].fill->clientId, ClientId{}) << "deal replies carry no client id";
  EXPECT_EQ(events[2].name, "onPositionDetailsResponse");
  EXPECT_EQ(events[2].positionDetail->volume, 3);
  EXPECT_EQ(headerOf(*events[2].positionDetail), kHeader);
  EXPECT_EQ(events[3].name, "onOrdersResponse");
  EXPECT_FALSE(events[3].hasRecord) << "and no order event follows a null record";
  for (int i = 0; i < 4; ++i) EXPECT_EQ(events[i].requestId, i + 1);
}

TEST_F(QueryTest, OrderRecordsUseTheMadeUpIdThenTheEventConsultsTheRegistry) {
  connectWithAccount();
  receiver().TEST_identity().registry->add(41, ClientId{"20240105", "0041"});
  ASSERT_TRUE(receiver().TEST_identity().registry->update(41, 7));
  xti::VendorOrder known{};
  known.m_nOrderID = 7;
  known.m_nOrderStatus = '5';
  xti::VendorOrder resting{};
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onOrderDetailReply("A001", 12, &known, false, xti::XtError());
    cb.onOrderDetailReply("A001", 12, &resting, true, xti::XtError());
  });
  const auto events = host.events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].name, "onOrdersResponse");
  EXPECT_EQ(events[0].requestId, 12);
  EXPECT_EQ(events[0].orderDetail->clientId, (ClientId{"123456@xt", "7"}));
  EXPECT_EQ(headerOf(events[0].orderDetail->header), kHeader);
  EXPECT_EQ(events[1].name, "onOrderCanceled");
  EXPECT_EQ(events[1].requestId, -1);
  EXPECT_EQ(events[1].order->clientId, (ClientId{"20240105", "0041"}));
  EXPECT_EQ(events[2].name, "onOrdersResponse");
  EXPECT_TRUE(events[2].isLast);
  EXPECT_TRUE(events[2].orderDetail->clientId.serial.empty()) << "order id 0: the timestamp id";
}

TEST_F(QueryTest, DealPushCarriesTheRegisteredIdOrNone) {
  connectWithAccount();
  receiver().TEST_identity().registry->add(1, ClientId{"P", "S"});
  ASSERT_TRUE(receiver().TEST_identity().registry->update(1, 70));
  xti::VendorDeal known{};
  known.m_nOrderID = 70;
  known.m_nVolume = 2;
  xti::VendorDeal unknown{};
  unknown.m_nOrderID = 71;
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onDealPush(&known);
    cb.onDealPush(&unknown);
    cb.onDealPush(nullptr);
  });
  const auto fills = host.eventsNamed("onFill");
  ASSERT_EQ(fills.size(), 2u);
  EXPECT_EQ(host.total(), 2u);
  EXPECT_EQ(fills[0].fill->clientId, (ClientId{"P", "S"}));
  EXPECT_EQ(fills[0].fill->volume, 2);
  EXPECT_EQ(headerOf(fills[0].fill->header), kHeader);
  EXPECT_EQ(fills[0].requestId, -1);
  EXPECT_TRUE(fills[0].isLast);
  EXPECT_EQ(fills[1].fill->clientId, ClientId{}) << "unknown order: no made-up id";
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
