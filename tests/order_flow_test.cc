// Orders and cancels from the host to the vendor, and every vendor answer and
// push back to the host as the right event with the host's client order id.
#include <cstring>
#include <stdexcept>
#include <string>

#include "tests/support/session_fixture.h"
#include "tests/support/vendor_text.h"

namespace kestrel {
namespace testing {
namespace {

AccountOrderNewRequest newOrder(const char* serial, int32_t direction = 1, int32_t offset = 1) {
  AccountOrderNewRequest request;
  request.header.accountCode = 5;
  request.header.userName = "host-user";
  request.codeId.tag = 99;
  request.codeId.kind = 1;
  request.codeId.exchange = 3;  // SHFE
  request.codeId.code = "rb2410";
  request.clientId = ClientId{"20240105", serial};
  request.extraText1 = "note";
  request.quantity = 2;
  request.price = 3650.0;
  request.priceType = 1;
  request.offsetFlag = offset;
  request.hedgeFlag = 1;
  request.direction = direction;
  return request;
}

xti::VendorOrder pushedOrder(int orderId, int status, int secondary, const char* exchangeOrderId) {
  xti::VendorOrder order{};
  setText(order.m_strExchangeID, "SHFE");
  setText(order.m_strInstrumentID, "rb2410");
  setText(order.m_strOrderSysID, exchangeOrderId);
  setText(order.m_strErrorMsg, "状态");
  order.m_nOrderID = orderId;
  order.m_nOrderStatus = status;
  order.m_nOrderSubmitStatus = secondary;
  order.m_nVolumeTotalOriginal = 2;
  return order;
}

class OrderFlowTest : public SessionFixture {
 protected:
  const VendorCall lastCall(const char* op) {
    const auto calls = vendor.callsOf(op);
    EXPECT_FALSE(calls.empty()) << op;
    return calls.empty() ? VendorCall{} : calls.back();
  }
  NewOrderBook& newOrderBook() { return *receiver().identity->newOrderBook; }
  CancelBook& cancelBook() { return *receiver().identity->cancelBook; }
  XtClientIdSet& registry() { return *receiver().identity->registry; }
};

// --- Order entry --------------------------------------------------------------

TEST_F(OrderFlowTest, WithoutFundAccountNothingIsFiledOrSent) {
  connect();
  const ResultStatus status = session->sendOrder(1, newOrder("1"));
  EXPECT_EQ(status.code, -3);
  EXPECT_EQ(status.message, CodeConvert::utf8_to_gbk("无资金账号"));
  EXPECT_EQ(vendor.count("placeOrder"), 0u);
  EXPECT_EQ(newOrderBook().size(), 0u);
  EXPECT_FALSE(registry().update(1, 100)) << "the client id was not registered";
}

TEST_F(OrderFlowTest, OrderGoesOutOnTheSmallestAccountWithMappedCodes) {
  connect();
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onAccountStatus("B1", 0, 1);
    cb.onAccountStatus("A9", 0, 1);
  });
  ASSERT_EQ(session->sendOrder(7, newOrder("1")).code, 0);
  const VendorCall call = lastCall("placeOrder");
  EXPECT_EQ(call.numbers.at(0), 7);
  EXPECT_EQ(call.texts.at(0), "");
  EXPECT_STREQ(call.order.m_strAccountID, "A9");
  EXPECT_STREQ(call.order.m_strMarket, "SHFE");
  EXPECT_STREQ(call.order.m_strInstrument, "rb2410");
  EXPECT_EQ(call.order.m_dPrice, 3650.0);
  EXPECT_EQ(call.order.m_dSuperPriceRate, 0.0);
  EXPECT_EQ(call.order.m_nVolume, 2);
  EXPECT_EQ(call.order.m_ePriceType, 11);
  EXPECT_EQ(call.order.m_eOperationType, 0);
  EXPECT_EQ(call.order.m_eHedgeFlag, 49);
  EXPECT_STREQ(call.order.m_strRemark, "") << "untouched fields keep the vendor's defaults";
  EXPECT_TRUE(newOrderBook().contains(7));
}

TEST_F(OrderFlowTest, OperationAndPriceCodesFollowTheTables) {
  connectWithAccount();
  struct Case {
    int32_t direction, offset, priceType, hedge;
    int32_t operation, vendorPriceType;
  } cases[] = {
      {1, 1, 1, 1, 0, 11}, {1, 5, 2, 2, 5, 12}, {1, 4, 0, 3, 4, 11}, {1, 6, 3, 0, 4, 11},
      {2, 1, 1, 1, 3, 11}, {2, 5, 1, 1, 2, 11}, {2, 6, 1, 1, 1, 11}, {0, 1, 2, 1, 3, 12},
      {2, 0, 1, 1, 1, 11},
  };
  int requestId = 100;
  for (const Case& c : cases) {
    SCOPED_TRACE(requestId);
    AccountOrderNewRequest request = newOrder("x", c.direction, c.offset);
    request.priceType = c.priceType;
    request.hedgeFlag = c.hedge;
    ASSERT_EQ(session->sendOrder(++requestId, request).code, 0);
    const VendorCall call = lastCall("placeOrder");
    EXPECT_EQ(call.order.m_eOperationType, c.operation);
    EXPECT_EQ(call.order.m_ePriceType, c.vendorPriceType);
    EXPECT_EQ(call.order.m_eHedgeFlag, 49) << "the hedge code is always speculation";
  }
}

TEST_F(OrderFlowTest, LongTextsAreCutAndOnlyLowVolumeBitsTravel) {
  const std::string forty(40, 'K');
  connectWithAccount(forty.c_str());
  gBaseInformationMap->exchangeCodes[77] = ExchangeCodeEntry{std::string(40, 'E'), "long"};
  AccountOrderNewRequest request = newOrder("1");
  request.codeId.code = std::string(40, 'I');
  request.codeId.exchange = 77;
  request.quantity = (int64_t{1} << 32) + 1;
  ASSERT_EQ(session->sendOrder(1, request).code, 0);
  gBaseInformationMap->exchangeCodes.erase(77);
  const VendorCall call = lastCall("placeOrder");
  EXPECT_EQ(std::string(call.order.m_strAccountID), std::string(31, 'K'));
  EXPECT_EQ(std::string(call.order.m_strInstrument), std::string(31, 'I'));
  EXPECT_EQ(std::string(call.order.m_strMarket), std::string(31, 'E'));
  EXPECT_EQ(call.order.m_nVolume, 1);

  request.codeId.exchange = 1234;  // unknown exchange number: empty code, still sent
  ASSERT_EQ(session->sendOrder(2, request).code, 0);
  EXPECT_STREQ(lastCall("placeOrder").order.m_strMarket, "");
}

TEST_F(OrderFlowTest, SameRequestNumberTwiceKeepsTheSecond) {
  connectWithAccount();
  ASSERT_EQ(session->sendOrder(9, newOrder("first")).code, 0);
  ASSERT_EQ(session->sendOrder(9, newOrder("second")).code, 0);
  EXPECT_EQ(vendor.count("placeOrder"), 2u);
  AccountOrderNewRequest filed;
  ASSERT_TRUE(newOrderBook().take(9, filed));
  EXPECT_EQ(filed.clientId.serial, "second");
  ASSERT_TRUE(registry().update(9, 900));
  ClientId id;
  ASSERT_TRUE(registry().get(900, id));
  EXPECT_EQ(id.serial, "second");
}

TEST_F(OrderFlowTest, VendorExceptionBecomesMinusOneAndTheCopyStays) {
  connectWithAccount();
  vendor.setResponder([](const VendorCall&) { throw std::runtime_error("link down"); });
  const ResultStatus order = session->sendOrder(3, newOrder("1"));
  EXPECT_EQ(order.code, -1);
  EXPECT_EQ(order.message, "link down");
  EXPECT_TRUE(newOrderBook().contains(3));
  AccountOrderCancelRequest cancel;
  const ResultStatus cancelled = session->cancelOrder(4, cancel);
  EXPECT_EQ(cancelled.code, -1);
  EXPECT_EQ(cancelled.message, "link down");
  EXPECT_TRUE(cancelBook().contains(4));
  for (const ResultStatus& query :
       {session->reqQryTradingAccount(1), session->reqQryPosition(2), session->reqQryOrder(3),
        session->reqQryFill(4), session->reqQryPositionDetail(5, {})}) {
    EXPECT_EQ(query.code, -1);
    EXPECT_EQ(query.message, "link down");
  }
}

TEST_F(OrderFlowTest, RequestsOnADisconnectedSessionAnswerNotConnected) {
  receiver().onAccountStatus("A001", 0, 1);           // an account but no vendor object
  EXPECT_EQ(session->sendOrder(1, newOrder("1")).code, -6);
  EXPECT_EQ(session->cancelOrder(2, {}).code, -6);
  EXPECT_EQ(session->reqQryPosition(3).code, -6);
  EXPECT_EQ(newOrderBook().size(), 0u);
  EXPECT_EQ(cancelBook().size(), 0u);
  EXPECT_TRUE(vendor.calls().empty());
}

// --- Replies and pushes -----------------------------------------------------------

TEST_F(OrderFlowTest, ReplyInsideTheSendStillFindsTheOrder) {
  connectWithAccount();
  // The vendor answers on the caller's thread before placeOrder returns.
  vendor.setResponder([this](const VendorCall& call) {
    if (call.op != "placeOrder") return;
    const int requestId = static_cast<int>(call.numbers.at(0));
    vendor.callNow([requestId](xti::XtTraderApiCallback& cb) {
      cb.onOrderReply(requestId, 500 + requestId, "", xti::XtError());
      const xti::VendorOrder accepted = pushedOrder(500 + requestId, '3', '3', "EX1");
      cb.onOrderPush(&accepted);
    });
  });
  ASSERT_EQ(session->sendOrder(1, newOrder("0001")).code, 0);
  const auto accepted = host.eventsNamed("onOrderAccepted");
  ASSERT_EQ(accepted.size(), 1u);
  EXPECT_EQ(accepted[0].accepted->clientId, (ClientId{"20240105", "0001"}));
  EXPECT_EQ(accepted[0].accepted->exchangeOrderId, "EX1");
  EXPECT_FALSE(newOrderBook().contains(1));
}

TEST_F(OrderFlowTest, FailedReplyReportsOnceWithTheFiledOrder) {
  connectWithAccount();
  ASSERT_EQ(session->sendOrder(11, newOrder("0011", 2, 4)).code, 0);
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onOrderReply(11, 0, "", xti::XtError(3, "资金不足"));
    xti::VendorOrderError error{};
    error.m_nRequestID = 11;
    setText(error.m_strErrorMsg, "资金不足");
    cb.onOrderErrorPush(&error);  // the same failure again: already reported
  });
  const auto rejected = host.eventsNamed("onOrderRejected");
  ASSERT_EQ(rejected.size(), 1u);
  const HostEvent& event = rejected[0];
  EXPECT_EQ(event.requestId, 11);
  EXPECT_TRUE(event.isLast);
  EXPECT_EQ(event.status.code, -1);
  EXPECT_EQ(event.status.message, CodeConvert::utf8_to_gbk("[msg=资金不足]"));
  const OrderRecord& record = *event.order;
  EXPECT_EQ(record.statusMessage, CodeConvert::utf8_to_gbk("资金不足"));
  EXPECT_EQ(record.header.accountCode, 5) << "the header comes from the request";
  EXPECT_EQ(record.header.userName, "host-user");
  EXPECT_EQ(record.codeId.tag, 99);
  EXPECT_EQ(record.codeId.code, "rb2410");
  EXPECT_EQ(record.clientId, (ClientId{"20240105", "0011"}));
  EXPECT_EQ(record.volume, 2);
  EXPECT_EQ(record.price, 3650.0);
  EXPECT_EQ(record.direction, 2);
  EXPECT_EQ(record.offsetFlag, 4);
  EXPECT_EQ(record.exchangeOrderId, "");
  EXPECT_EQ(record.orderTime, 0);
  EXPECT_EQ(host.total(), 1u);
}

TEST_F(OrderFlowTest, ErrorPushFirstThenFailedReplyAlsoReportsOnce) {
  connectWithAccount();
  ASSERT_EQ(session->sendOrder(12, newOrder("12")).code, 0);
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    xti::VendorOrderError error;
    std::memset(&error, 'Z', sizeof(error));  // no NUL anywhere in the message
    error.m_nRequestID = 12;
    cb.onOrderErrorPush(&error);
    cb.onOrderReply(12, 0, "", xti::XtError(3, "again"));
    cb.onOrderErrorPush(nullptr);
  });
  const auto rejected = host.eventsNamed("onOrderRejected");
  ASSERT_EQ(rejected.size(), 1u);
  EXPECT_EQ(rejected[0].order->statusMessage, std::string(256, 'Z'));
  EXPECT_EQ(rejected[0].status.message, "[msg=" + std::string(256, 'Z') + "]");
}

TEST_F(OrderFlowTest, SuccessfulReplyReKeysAndSilencesLaterFailures) {
  connectWithAccount();
  ASSERT_EQ(session->sendOrder(13, newOrder("0013")).code, 0);
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onOrderReply(13, 1300, "", xti::XtError());
    xti::VendorOrderError error{};
    error.m_nRequestID = 13;
    cb.onOrderErrorPush(&error);
    const xti::VendorOrder filled = pushedOrder(1300, '0', '6', "EX13");
    cb.onOrderPush(&filled);
    const xti::VendorOrder stranger = pushedOrder(4242, '0', '6', "EX99");
    cb.onOrderPush(&stranger);
  });
  EXPECT_EQ(host.count("onOrderRejected"), 0u);
  EXPECT_FALSE(newOrderBook().contains(13));
  const auto filled = host.eventsNamed("onOrderFilled");
  ASSERT_EQ(filled.size(), 2u);
  EXPECT_EQ(filled[0].filled->clientId, (ClientId{"20240105", "0013"}));
  EXPECT_EQ(filled[1].filled->clientId, (ClientId{"123456@xt", "4242"}));
}

TEST_F(OrderFlowTest, DispatchPicksAtMostOneEventByTheFirstRuleThatHolds) {
  connectWithAccount();
  struct Case {
    int status, secondary;
    const char* exchangeOrderId;
    const char* event;  // nullptr: no call
  } cases[] = {
      {'4', '6', "EX", "onOrderRejected"}, {'5', '3', "", "onOrderCanceled"},
      {'1', '5', "", "onOrderFilled"},     {'0', '6', "EX", "onOrderFilled"},
      {'3', '7', "EX", "onOrderAccepted"}, {'3', '7', "", nullptr},
      {0, 0, "", nullptr},                 {'5', '6', "EX", "onOrderCanceled"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.status) + "/" + std::to_string(c.secondary) + "/" +
                 c.exchangeOrderId);
    host.clear();
    const xti::VendorOrder order = pushedOrder(31, c.status, c.secondary, c.exchangeOrderId);
    vendor.deliver([&order](xti::XtTraderApiCallback& cb) { cb.onOrderPush(&order); });
    const auto events = host.events();
    if (c.event == nullptr) {
      EXPECT_TRUE(events.empty());
      continue;
    }
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].name, c.event);
    EXPECT_EQ(events[0].requestId, -1);
    EXPECT_TRUE(events[0].isLast);
    EXPECT_EQ(events[0].status.code, 0);
    EXPECT_EQ(events[0].status.message, "");
  }
  host.clear();
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onOrderPush(nullptr); });
  EXPECT_EQ(host.total(), 0u);
}

TEST_F(OrderFlowTest, EventRecordsCarryTheHeaderAndTheExchangeIdRule) {
  connectWithAccount();
  const xti::VendorOrder rejected = pushedOrder(0, '4', '6', "EX4");
  const xti::VendorOrder accepted = pushedOrder(8, '3', '3', "EX8");
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onOrderPush(&rejected);
    cb.onOrderPush(&accepted);
  });
  const auto events = host.events();
  ASSERT_EQ(events.size(), 2u);
  const OrderRecord& r = *events[0].order;
  EXPECT_EQ(r.exchangeOrderId, "");
  EXPECT_EQ(r.header.accountCode, 17);
  EXPECT_EQ(r.header.configText, "cfg");
  EXPECT_EQ(r.header.userName, "trader1");
  EXPECT_EQ(r.header.codeA, 0);
  EXPECT_EQ(r.header.codeB, 1);
  EXPECT_TRUE(r.clientId.serial.empty()) << "order id 0: the timestamp id";
  EXPECT_EQ(r.clientId.prefix.find_first_not_of("0123456789"), std::string::npos);
  EXPECT_EQ(r.statusMessage, CodeConvert::utf8_to_gbk("状态"));
  EXPECT_EQ(events[1].accepted->exchangeOrderId, "EX8");
  EXPECT_EQ(events[1].accepted->clientId, (ClientId{"123456@xt", "8"}));
}

// --- Cancels ------------------------------------------------------------------------

TEST_F(OrderFlowTest, CancelByVendorOrderNumberReadsTheSerial) {
  connectWithAccount();
  struct Case {
    const char* serial;
    int64_t sent;
  } cases[] = {{"1300", 1300}, {" 42abc", 42}, {"", -1}, {"abc", -1}, {"99999999999", -1}};
  int requestId = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.serial);
    AccountOrderCancelRequest request;
    request.clientId = ClientId{"p", c.serial};
    ASSERT_EQ(session->cancelOrder(++requestId, request).code, 0);
    const VendorCall call = lastCall("cancelOrderById");
    EXPECT_EQ(call.numbers, (std::vector<int64_t>{c.sent, requestId}));
    EXPECT_TRUE(cancelBook().contains(requestId));
  }
  EXPECT_EQ(vendor.count("cancelOrderByExchangeId"), 0u);
}

TEST_F(OrderFlowTest, CancelByExchangeOrderIdCarriesAccountExchangeAndInstrument) {
  connect();
  AccountOrderCancelRequest request;
  request.exchangeOrderId = "EX77";
  request.clientId = ClientId{"p", "1300"};  // ignored: the exchange id wins
  request.codeId.exchange = 6;
  request.codeId.code = "IF2409";
  ASSERT_EQ(session->cancelOrder(21, request).code, 0);  // no account yet: sent with ""
  EXPECT_EQ(lastCall("cancelOrderByExchangeId").texts,
            (std::vector<std::string>{"", "EX77", "CFFEX", "IF2409", ""}));
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onAccountStatus("A001", 0, 1); });
  request.codeId.exchange = 555;
  ASSERT_EQ(session->cancelOrder(22, request).code, 0);
  const VendorCall call = lastCall("cancelOrderByExchangeId");
  EXPECT_EQ(call.texts, (std::vector<std::string>{"A001", "EX77", "", "IF2409", ""}));
  EXPECT_EQ(call.numbers.at(0), 22);
  EXPECT_EQ(vendor.count("cancelOrderById"), 0u);
}

TEST_F(OrderFlowTest, FailedCancelsReportTheFiledCancelOnce) {
  connectWithAccount();
  AccountOrderCancelRequest request;
  request.header.userName = "host-user";
  request.clientId = ClientId{"20240105", "0099"};
  request.exchangeOrderId = "EX99";
  request.price = 12.5;
  request.quantity = 8;
  request.direction = 2;
  request.offsetFlag = 1;
  ASSERT_EQ(session->cancelOrder(31, request).code, 0);
  ASSERT_EQ(session->cancelOrder(32, request).code, 0);
  ASSERT_EQ(session->cancelOrder(33, request).code, 0);
  ASSERT_EQ(session->cancelOrder(34, request).code, 0);
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onCancelReply(31, xti::XtError(5, "已成交"));
    cb.onCancelReply(31, xti::XtError(5, "again"));
    cb.onCancelReply2(32, xti::XtError(5, "已成交"));
    xti::VendorOrderError error{};
    error.m_nRequestID = 33;
    setText(error.m_strErrorMsg, "已撤单");
    cb.onCancelErrorPush(&error);
    cb.onCancelReply(34, xti::XtError());  // success: nothing reported
    error.m_nRequestID = 34;
    cb.onCancelErrorPush(&error);
  });
  const auto canceled = host.eventsNamed("onOrderCanceled");
  ASSERT_EQ(canceled.size(), 3u);
  EXPECT_EQ(canceled[0].requestId, 31);
  EXPECT_EQ(canceled[1].requestId, 32);
  EXPECT_EQ(canceled[2].requestId, 33);
  for (const HostEvent& event : canceled) {
    SCOPED_TRACE(event.requestId);
    EXPECT_EQ(event.status.code, -1);
    const OrderRecord& record = *event.order;
    EXPECT_EQ(record.clientId, (ClientId{"20240105", "0099"}));
    EXPECT_EQ(record.exchangeOrderId, "EX99");
    EXPECT_EQ(record.price, 12.5);
    EXPECT_EQ(record.header.userName, "host-user");
    EXPECT_EQ(record.volume, 0) << "a cancel reports only its own fields";
    EXPECT_EQ(record.direction, 0);
    EXPECT_EQ(record.offsetFlag, 0);
    EXPECT_EQ(record.hedgeFlag, 1);
    EXPECT_EQ(record.priceType, 0);
  }
  EXPECT_EQ(canceled[0].status.message, CodeConvert::utf8_to_gbk("[msg=已成交]"));
  EXPECT_EQ(canceled[0].order->statusMessage, CodeConvert::utf8_to_gbk("已成交"));
  EXPECT_EQ(canceled[2].order->statusMessage, CodeConvert::utf8_to_gbk("已撤单"));
  EXPECT_EQ(cancelBook().size(), 0u);
}

// --- Account status ---------------------------------------------------------------

TEST_F(OrderFlowTest, AccountSetOnlyGrowsAndOrdersItsKeys) {
  connect();
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onAccountStatus("K2", 0, 1);
    cb.onAccountStatus("K2", 0, 1);
    cb.onAccountStatus("K2", 0, 0);
    cb.onAccountStatus(nullptr, 0, 1);
    cb.onAccountStatus("K0", 0, 2);
  });
  {
    MutexLock lock(receiver().accountSetMutex);
    EXPECT_EQ(receiver().accountSet, (std::set<std::string>{"K2"}));
  }
  // An empty key is the smallest from now on: it reads as "no fund account".
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onAccountStatus("", 0, 1); });
  EXPECT_EQ(session->reqQryPosition(1).code, -3);
  EXPECT_EQ(vendor.count("queryPosition"), 0u);
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
