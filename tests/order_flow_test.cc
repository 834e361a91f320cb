// Orders and cancels from the host to the vendor, and every vendor answer and
// push back to the host as the right event with the host's client order id.
#include <cstring>
#include <stdexcept>
#include <string>
#include <tuple>

#include "tests/support/session_fixture.h"
#include "tests/support/vendor_text.h"

namespace kestrel {
namespace testing {
namespace {

const ClientId kHostId{"20240105", "0001"};

AccountOrderNewRequest newOrder(int32_t direction = 1, int32_t offset = 1) {
  AccountOrderNewRequest request;
  request.header.accountCode = 5;
  request.header.userName = "host-user";
  request.codeId.tag = 99;
  request.codeId.exchange = 3;  // SHFE
  request.codeId.code = "rb2410";
  request.clientId = kHostId;
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
  setText(order.m_strOrderSysID, exchangeOrderId);
  setText(order.m_strErrorMsg, "状态");
  order.m_nOrderID = orderId;
  order.m_nOrderStatus = status;
  order.m_nOrderSubmitStatus = secondary;
  return order;
}

xti::VendorOrderError orderError(int requestId, const char* message) {
  xti::VendorOrderError error{};
  error.m_nRequestID = requestId;
  setText(error.m_strErrorMsg, message);
  return error;
}

class OrderFlowTest : public SessionFixture {
 protected:
  VendorCall lastCall(const char* op) {
    const auto calls = vendor.callsOf(op);
    EXPECT_FALSE(calls.empty()) << op;
    return calls.empty() ? VendorCall{} : calls.back();
  }
  NewOrderBook& newOrderBook() { return *receiver().TEST_identity().newOrderBook; }
  CancelBook& cancelBook() { return *receiver().TEST_identity().cancelBook; }
  XtClientIdSet& registry() { return *receiver().TEST_identity().registry; }
};

// --- Requests -------------------------------------------------------------------

TEST_F(OrderFlowTest, WithoutFundAccountOrdersAndQueriesAnswerMinusThreeAndSendNothing) {
  connect();
  for (const ResultStatus& status :
       {session->sendOrder(1, newOrder()), session->reqQryTradingAccount(2),
        session->reqQryPosition(3), session->reqQryPositionDetail(4, {}), session->reqQryOrder(5),
        session->reqQryFill(6)}) {
    EXPECT_EQ(status.code, -3);
    EXPECT_EQ(status.message, CodeConvert::utf8_to_gbk("无资金账号"));
  }
  EXPECT_EQ(vendor.calls().size(), 3u) << "only the connect calls";
  EXPECT_EQ(newOrderBook().size(), 0u);
  EXPECT_FALSE(registry().update(1, 100)) << "the client id was not registered";
}

TEST_F(OrderFlowTest, RequestsOnADisconnectedSessionAnswerNotConnected) {
  receiver().onAccountStatus("A001", 0, 1);  // an account but no vendor object
  EXPECT_EQ(session->sendOrder(1, newOrder()).code, -6);
  EXPECT_EQ(session->cancelOrder(2, {}).code, -6);
  EXPECT_EQ(session->reqQryPosition(3).code, -6);
  EXPECT_EQ(newOrderBook().size(), 0u);
  EXPECT_EQ(cancelBook().size(), 0u);
  EXPECT_TRUE(vendor.calls().empty());
}

TEST_F(OrderFlowTest, OrdersGoOutOnTheSmallestAccountWithMappedCodes) {
  connect();
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onAccountStatus("B1", 0, 1);
    cb.onAccountStatus("A9", 0, 1);
  });
  struct Case {
    int32_t direction, offset, priceType, hedge;
    int32_t operation, vendorPriceType;
  } cases[] = {
      {1, 1, 1, 1, 0, 11}, {1, 5, 2, 2, 5, 12}, {1, 4, 0, 3, 4, 11},
      {1, 6, 3, 0, 4, 11}, {2, 1, 1, 1, 3, 11}, {2, 5, 1, 1, 2, 11},
      {2, 6, 1, 1, 1, 11}, {0, 1, 2, 1, 3, 12}, {2, 0, 1, 1, 1, 11},
  };
  int requestId = 100;
  for (const Case& c : cases) {
    SCOPED_TRACE(requestId);
    AccountOrderNewRequest request = newOrder(c.direction, c.offset);
    request.priceType = c.priceType;
    request.hedgeFlag = c.hedge;
    ASSERT_EQ(session->sendOrder(++requestId, request).code, 0);
    const VendorCall call = lastCall("placeOrder");
    EXPECT_EQ(call.numbers, (std::vector<int64_t>{requestId}));
    EXPECT_EQ(call.texts, (std::vector<std::string>{""}));
    EXPECT_STREQ(call.order.m_strAccountID, "A9");
    EXPECT_STREQ(call.order.m_strMarket, "SHFE");
    EXPECT_STREQ(call.order.m_strInstrument, "rb2410");
    EXPECT_EQ(call.order.m_dPrice, 3650.0);
    EXPECT_EQ(call.order.m_dSuperPriceRate, 0.0);
    EXPECT_EQ(call.order.m_nVolume, 2);
    EXPECT_EQ(call.order.m_eOperationType, c.operation);
    EXPECT_EQ(call.order.m_ePriceType, c.vendorPriceType);
    EXPECT_EQ(call.order.m_eHedgeFlag, 49) << "the hedge code is always speculation";
    EXPECT_STREQ(call.order.m_strRemark, "") << "untouched fields keep the vendor's defaults";
    EXPECT_TRUE(newOrderBook().contains(requestId));
  }
}

TEST_F(OrderFlowTest, LongTextsAreCutAndOnlyLowVolumeBitsTravel) {
  const std::string forty(40, 'K');
  connectWithAccount(forty.c_str());
  gBaseInformationMap->exchangeCodes[77] = ExchangeCodeEntry{std::string(40, 'E'), "long"};
  AccountOrderNewRequest request = newOrder();
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

TEST_F(OrderFlowTest, VendorExceptionBecomesMinusOneAndTheCopyStays) {
  connectWithAccount();
  vendor.setResponder([](const VendorCall&) { throw std::runtime_error("link down"); });
  for (const ResultStatus& status :
       {session->sendOrder(3, newOrder()), session->cancelOrder(4, {}),
        session->reqQryTradingAccount(1), session->reqQryPosition(2), session->reqQryOrder(3),
        session->reqQryFill(4), session->reqQryPositionDetail(5, {})}) {
    EXPECT_EQ(status.code, -1);
    EXPECT_EQ(status.message, "link down");
  }
  EXPECT_TRUE(newOrderBook().contains(3));
  EXPECT_TRUE(cancelBook().contains(4));
}

// --- Replies and pushes -----------------------------------------------------------

// The vendor may answer before placeOrder returns: the order is filed and its
// id registered first. A successful reply re-keys the id to the vendor's
// order number and silences a later error push.
TEST_F(OrderFlowTest, SuccessfulReplyInsideTheSendReKeysAndSilencesLaterFailures) {
  connectWithAccount();
  vendor.setResponder([this](const VendorCall&) {
    vendor.callNow([](xti::XtTraderApiCallback& cb) {
      cb.onOrderReply(1, 501, "", xti::XtError());
      const xti::VendorOrder accepted = pushedOrder(501, '3', '3', "EX1");
      cb.onOrderPush(&accepted);
    });
  });
  ASSERT_EQ(session->sendOrder(1, newOrder()).code, 0);
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    const xti::VendorOrderError error = orderError(1, "late");
    cb.onOrderErrorPush(&error);
    const xti::VendorOrder filled = pushedOrder(501, '0', '6', "EX1");
    cb.onOrderPush(&filled);
  });
  const auto events = host.events();
  ASSERT_EQ(events.size(), 2u) << "no failure report after the successful reply";
  EXPECT_EQ(events[0].name, "onOrderAccepted");
  EXPECT_EQ(events[0].accepted->clientId, kHostId);
  EXPECT_EQ(events[1].name, "onOrderFilled");
  EXPECT_EQ(events[1].filled->clientId, kHostId);
  EXPECT_FALSE(newOrderBook().contains(1));
}

// A failed order is reported once, whichever of the failed reply and the
// error push comes first, with the order as the host filed it.
TEST_F(OrderFlowTest, FailedOrderIsReportedOnceWithTheFiledOrder) {
  connectWithAccount();
  ASSERT_EQ(session->sendOrder(11, newOrder(2, 4)).code, 0);
  AccountOrderNewRequest second = newOrder();
  second.clientId.serial = "0012";
  ASSERT_EQ(session->sendOrder(12, second).code, 0);
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onOrderReply(11, 0, "", xti::XtError(3, "资金不足"));
    const xti::VendorOrderError error = orderError(11, "资金不足");
    cb.onOrderErrorPush(&error);
    xti::VendorOrderError unterminated;
    std::memset(&unterminated, 'Z', sizeof(unterminated));  // no NUL anywhere in the message
    unterminated.m_nRequestID = 12;
    cb.onOrderErrorPush(&unterminated);
    cb.onOrderReply(12, 0, "", xti::XtError(3, "again"));
    cb.onOrderErrorPush(nullptr);
  });
  const auto rejected = host.eventsNamed("onOrderRejected");
  ASSERT_EQ(rejected.size(), 2u);
  EXPECT_EQ(host.total(), 2u);
  const HostEvent& event = rejected[0];
  EXPECT_EQ(event.requestId, 11);
  EXPECT_TRUE(event.isLast);
  EXPECT_EQ(event.status.code, -1);
  EXPECT_EQ(event.status.message, CodeConvert::utf8_to_gbk("[msg=资金不足]"));
  const OrderRecord& record = *event.order;  // the order as the host filed it
  EXPECT_EQ(record.statusMessage, CodeConvert::utf8_to_gbk("资金不足"));
  EXPECT_EQ(record.header.accountCode, 5);
  EXPECT_EQ(record.header.userName, "host-user");
  EXPECT_EQ(record.codeId.tag, 99);
  EXPECT_EQ(record.clientId, kHostId);
  EXPECT_EQ(std::make_tuple(record.volume, record.price, record.direction, record.offsetFlag),
            std::make_tuple(2, 3650.0, 2, 4));
  EXPECT_EQ(record.exchangeOrderId, "");
  EXPECT_EQ(record.orderTime, 0);
  EXPECT_EQ(rejected[1].requestId, 12);
  EXPECT_EQ(rejected[1].order->clientId, second.clientId);
  EXPECT_EQ(rejected[1].order->statusMessage, std::string(256, 'Z'));
  EXPECT_EQ(rejected[1].status.message, "[msg=" + std::string(256, 'Z') + "]");
}

TEST_F(OrderFlowTest, DispatchPicksAtMostOneEventByTheFirstRuleThatHolds) {
  connectWithAccount();
  struct Case {
    int status, secondary;
    const char* exchangeOrderId;
    const char* event;  // nullptr: no call
  } cases[] = {
      {'4', '6', "EX", "onOrderRejected"},
      {'5', '3', "", "onOrderCanceled"},
      {'1', '5', "", "onOrderFilled"},
      {'0', '6', "EX", "onOrderFilled"},
      {'3', '7', "EX", "onOrderAccepted"},
      {'3', '7', "", nullptr},
      {0, 0, "", nullptr},
      {'5', '6', "EX", "onOrderCanceled"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.status) + "/" + std::to_string(c.secondary) + "/" +
                 c.exchangeOrderId);
    host.clear();
    const xti::VendorOrder order = pushedOrder(31, c.status, c.secondary, c.exchangeOrderId);
    vendor.deliver([&order](xti::XtTraderApiCallback& cb) { cb.onOrderPush(&order); });
    const auto events = host.events();
    ASSERT_EQ(events.size(), c.event == nullptr ? 0u : 1u);
    if (c.event == nullptr) continue;
    const HostEvent& e = events[0];
    EXPECT_EQ(e.name, c.event);
    EXPECT_EQ(e.requestId, -1);
    EXPECT_TRUE(e.isLast);
    EXPECT_EQ(e.status.code, 0);
    EXPECT_EQ(e.status.message, "");
    // The record: the session's header, the made-up id of an order the
    // registry does not know, the exchange's id except on a rejection.
    const auto expectRecord = [&](const auto& r) {
      EXPECT_EQ(std::tie(r.header.accountCode, r.header.configText, r.header.userName,
                         r.header.codeA, r.header.codeB),
                std::make_tuple(17, "cfg", "trader1", 0, 1));
      EXPECT_EQ(r.clientId, (ClientId{"123456@xt", "31"}));
      EXPECT_EQ(r.exchangeOrderId, e.name == "onOrderRejected" ? "" : c.exchangeOrderId);
      EXPECT_EQ(r.statusMessage, CodeConvert::utf8_to_gbk("状态"));
    };
    if (e.order) expectRecord(*e.order);
    if (e.accepted) expectRecord(*e.accepted);
    if (e.filled) expectRecord(*e.filled);
  }
  host.clear();
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onOrderPush(nullptr); });
  EXPECT_EQ(host.total(), 0u);
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
    EXPECT_EQ(lastCall("cancelOrderById").numbers, (std::vector<int64_t>{c.sent, requestId}));
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
  EXPECT_EQ(call.numbers, (std::vector<int64_t>{22}));
  EXPECT_EQ(vendor.count("cancelOrderById"), 0u);
}

TEST_F(OrderFlowTest, FailedCancelsReportTheFiledCancelOnce) {
  connectWithAccount();
  AccountOrderCancelRequest request;
  request.header.userName = "host-user";
  request.clientId = kHostId;
  request.exchangeOrderId = "EX99";
  request.price = 12.5;
  request.quantity = 8;
  request.direction = 2;
  request.offsetFlag = 1;
  for (int requestId : {31, 32, 33, 34}) {
    ASSERT_EQ(session->cancelOrder(requestId, request).code, 0);
  }
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onCancelReply(31, xti::XtError(5, "已成交"));
    cb.onCancelReply(31, xti::XtError(5, "again"));
    cb.onCancelReply2(32, xti::XtError(5, "已成交"));
    const xti::VendorOrderError error = orderError(33, "已撤单");
    cb.onCancelErrorPush(&error);
    cb.onCancelReply(34, xti::XtError());  // success: nothing reported
    const xti::VendorOrderError late = orderError(34, "已撤单");
    cb.onCancelErrorPush(&late);
  });
  const auto canceled = host.eventsNamed("onOrderCanceled");
  ASSERT_EQ(canceled.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    const HostEvent& event = canceled[i];
    SCOPED_TRACE(event.requestId);
    EXPECT_EQ(event.requestId, 31 + i);
    EXPECT_EQ(event.status.code, -1);
    const OrderRecord& record = *event.order;
    EXPECT_EQ(record.clientId, kHostId);
    EXPECT_EQ(record.exchangeOrderId, "EX99");
    EXPECT_EQ(record.header.userName, "host-user");
    // A cancel reports only its own fields.
    EXPECT_EQ(std::make_tuple(record.price, record.volume, record.direction, record.offsetFlag),
              std::make_tuple(12.5, 0, 0, 0));
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
  EXPECT_EQ(receiver().fundAccount(), "K2");
  // An empty key is the smallest from now on: it reads as "no fund account".
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onAccountStatus("", 0, 1); });
  EXPECT_EQ(session->reqQryPosition(1).code, -3);
  EXPECT_EQ(vendor.count("queryPosition"), 0u);
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
