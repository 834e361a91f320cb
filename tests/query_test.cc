// The five account queries and their answers, record by record, and the deal
// push.
#include <cstring>
#include <string>

#include "tests/support/session_fixture.h"
#include "tests/support/vendor_text.h"

namespace kestrel {
namespace testing {
namespace {

using QueryTest = SessionFixture;

TEST_F(QueryTest, WithoutFundAccountEveryQueryAnswersMinusThreeAndSendsNothing) {
  connect();
  for (const ResultStatus& status :
       {session->reqQryTradingAccount(1), session->reqQryPosition(2),
        session->reqQryPositionDetail(3, {}), session->reqQryOrder(4), session->reqQryFill(5)}) {
    EXPECT_EQ(status.code, -3);
    EXPECT_EQ(status.message, CodeConvert::utf8_to_gbk("无资金账号"));
  }
  EXPECT_EQ(vendor.calls().size(), 3u) << "only the connect calls";
}

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

TEST_F(QueryTest, RepliesFollowTheThreeWayRule) {
  connectWithAccount();
  xti::VendorPosition position{};
  setText(position.m_strExchangeID, "SHFE");
  setText(position.m_strInstrumentID, "rb2410");
  position.m_nPosition = 4;
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onPositionReply("A001", 6, &position, false, xti::XtError());
    cb.onPositionReply("A001", 6, &position, false, xti::XtError());
    cb.onPositionReply("A001", 6, &position, true, xti::XtError());
    cb.onPositionReply("A001", 7, nullptr, true, xti::XtError());
    cb.onPositionReply("A001", 8, &position, false, xti::XtError(9, "查询失败"));
  });
  const auto events = host.eventsNamed("onPositionsResponse");
  ASSERT_EQ(events.size(), 5u);
  for (int i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(events[i].requestId, 6);
    EXPECT_EQ(events[i].isLast, i == 2);
    EXPECT_TRUE(events[i].hasRecord);
    EXPECT_EQ(events[i].status.code, 0);
    EXPECT_EQ(events[i].position->volumeWhenClear, 4);
    EXPECT_EQ(events[i].position->header.userName, "trader1");
  }
  EXPECT_FALSE(events[3].hasRecord) << "an empty result is one call with a null record";
  EXPECT_EQ(events[3].status.code, 0);
  EXPECT_TRUE(events[3].isLast);
  EXPECT_FALSE(events[4].hasRecord);
  EXPECT_EQ(events[4].status.code, -1);
  EXPECT_EQ(events[4].status.message, CodeConvert::utf8_to_gbk("[msg=查询失败]"));
  EXPECT_FALSE(events[4].isLast) << "the vendor's flag passes through";
}

TEST_F(QueryTest, EachReplyReachesItsHostOperation) {
  connectWithAccount();
  xti::VendorAccountDetail funds{};
  setText(funds.m_strTradingDay, "20240105");
  funds.m_dAvailable = 99.5;
  xti::VendorDeal deal{};
  setText(deal.m_strTradeID, "T1");
  deal.m_nOrderID = 5;
  xti::VendorPositionDetail detail{};
  detail.m_nVolume = 1;
  detail.m_nFrozenVolume = 2;
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onAccountDetailReply("A001", 1, &funds, true, xti::XtError());
    cb.onAccountDetailReply("A001", 2, nullptr, true, xti::XtError(1, nullptr));
    cb.onDealDetailReply("A001", 3, &deal, true, xti::XtError());
    cb.onPositionDetailReply("A001", 4, &detail, true, xti::XtError());
    cb.onOrderDetailReply("A001", 5, nullptr, true, xti::XtError());
  });
  const auto events = host.events();
  ASSERT_EQ(events.size(), 5u);
  EXPECT_EQ(events[0].name, "onAccountFundsResponse");
  EXPECT_EQ(events[0].funds->tradingDay, 20240105);
  EXPECT_EQ(events[0].funds->amount11, 99.5);
  EXPECT_EQ(events[0].funds->header.accountCode, 17);
  EXPECT_EQ(events[1].name, "onAccountFundsResponse");
  EXPECT_EQ(events[1].status.code, -1);
  EXPECT_EQ(events[1].status.message, "") << "a null vendor text gives an empty message";
  EXPECT_EQ(events[2].name, "onFillsResponse");
  EXPECT_EQ(events[2].fill->fillReference, "T1");
  EXPECT_TRUE(events[2].fill->clientId.prefix.empty()) << "deal replies carry no client id";
  EXPECT_EQ(events[3].name, "onPositionDetailsResponse");
  EXPECT_EQ(events[3].positionDetail->volume, 3);
  EXPECT_EQ(events[3].positionDetail->accountCode, 17);
  EXPECT_EQ(events[4].name, "onOrdersResponse");
  EXPECT_FALSE(events[4].hasRecord) << "and no order event follows a null record";
}

TEST_F(QueryTest, OrderRecordsUseTheMadeUpIdThenTheEventConsultsTheRegistry) {
  connectWithAccount();
  receiver().identity->registry->add(41, ClientId{"20240105", "0041"});
  ASSERT_TRUE(receiver().identity->registry->update(41, 7));
  xti::VendorOrder known{};
  known.m_nOrderID = 7;
  known.m_nOrderStatus = '5';
  xti::VendorOrder resting{};
  resting.m_nOrderID = 0;
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onOrderDetailReply("A001", 12, &known, false, xti::XtError());
    cb.onOrderDetailReply("A001", 12, &resting, true, xti::XtError());
  });
  const auto events = host.events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].name, "onOrdersResponse");
  EXPECT_EQ(events[0].requestId, 12);
  EXPECT_EQ(events[0].orderDetail->clientId, (ClientId{"123456@xt", "7"}));
  EXPECT_EQ(events[1].name, "onOrderCanceled");
  EXPECT_EQ(events[1].requestId, -1);
  EXPECT_EQ(events[1].order->clientId, (ClientId{"20240105", "0041"}));
  EXPECT_EQ(events[2].name, "onOrdersResponse");
  EXPECT_TRUE(events[2].isLast);
  EXPECT_TRUE(events[2].orderDetail->clientId.serial.empty()) << "order id 0: the timestamp id";
}

TEST_F(QueryTest, DealPushCarriesTheRegisteredIdOrNone) {
  connectWithAccount();
  receiver().identity->registry->add(1, ClientId{"P", "S"});
  ASSERT_TRUE(receiver().identity->registry->update(1, 70));
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
  EXPECT_EQ(fills[0].fill->clientId, (ClientId{"P", "S"}));
  EXPECT_EQ(fills[0].fill->volume, 2);
  EXPECT_EQ(fills[0].requestId, -1);
  EXPECT_TRUE(fills[0].isLast);
  EXPECT_EQ(fills[1].fill->clientId, ClientId{});
  EXPECT_EQ(host.total(), 2u);
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
