// A host whose callback throws. On a vendor thread the plug-in catches the
// exception at the end of the handler and drops it, after the event's
// bookkeeping: the books and the registry stay consistent and the vendor's
// thread lives on. release() hands the host's exception back to its caller.
#include <functional>
#include <stdexcept>
#include <string>

#include "tests/support/session_fixture.h"
#include "tests/support/vendor_text.h"

namespace kestrel {
namespace testing {
namespace {

// Thrown by the misbehaving host; not derived from std::exception on purpose
// for some cases, so that nothing relies on the exception's type.
struct HostFault {};

AccountOrderNewRequest orderFrom(const char* serial) {
  AccountOrderNewRequest request;
  request.codeId.exchange = 3;  // SHFE
  request.codeId.code = "rb2410";
  request.clientId = ClientId{"host", serial};
  request.quantity = 1;
  request.price = 3650.0;
  request.priceType = 1;
  request.offsetFlag = 1;
  request.direction = 1;
  return request;
}

AccountOrderCancelRequest cancelFrom(const char* serial) {
  AccountOrderCancelRequest request;
  request.codeId.exchange = 3;
  request.codeId.code = "rb2410";
  request.clientId = ClientId{"host", serial};
  return request;
}

xti::VendorOrderError errorRecord(int requestId) {
  xti::VendorOrderError error{};
  setText(error.m_strErrorMsg, "拒绝");
  error.m_nRequestID = requestId;
  return error;
}

class HostExceptionTest : public SessionFixture {
 protected:
  // From now on every host call throws after it was recorded; `runtime`
  // chooses a std::exception or a foreign type.
  void hostThrowsOnEverything(bool runtime = true) {
    host.setAfterEvent([runtime](const HostEvent& event) {
      if (runtime) throw std::runtime_error("host fault in " + event.name);
      throw HostFault{};
    });
  }

  NewOrderBook& newOrderBook() { return *receiver().identity->newOrderBook; }
  CancelBook& cancelBook() { return *receiver().identity->cancelBook; }
};

// Each failed request has two vendor routes to the host (the reply and the
// error push); whichever comes first reports while the host throws, the
// other must then find nothing and stay silent.
TEST_F(HostExceptionTest, FailedRequestReportsOnceAndTheBookStaysConsistent) {
  connectWithAccount();
  struct Route {
    const char* name;
    bool cancel;
    VendorEvent first;
    VendorEvent second;
  };
  const xti::XtError refused(9, "拒绝");
  const Route routes[] = {
      {"order reply, then error push", false,
       [&](xti::XtTraderApiCallback& cb) { cb.onOrderReply(1, 0, "", refused); },
       [](xti::XtTraderApiCallback& cb) {
         const xti::VendorOrderError e = errorRecord(1);
         cb.onOrderErrorPush(&e);
       }},
      {"error push, then order reply", false,
       [](xti::XtTraderApiCallback& cb) {
         const xti::VendorOrderError e = errorRecord(1);
         cb.onOrderErrorPush(&e);
       },
       [&](xti::XtTraderApiCallback& cb) { cb.onOrderReply(1, 0, "", refused); }},
      {"cancel reply, then cancel error push", true,
       [&](xti::XtTraderApiCallback& cb) { cb.onCancelReply(1, refused); },
       [](xti::XtTraderApiCallback& cb) {
         const xti::VendorOrderError e = errorRecord(1);
         cb.onCancelErrorPush(&e);
       }},
      {"cancel error push, then second cancel reply", true,
       [](xti::XtTraderApiCallback& cb) {
         const xti::VendorOrderError e = errorRecord(1);
         cb.onCancelErrorPush(&e);
       },
       [&](xti::XtTraderApiCallback& cb) { cb.onCancelReply2(1, refused); }},
  };
  bool runtimeFault = true;
  for (const Route& route : routes) {
    SCOPED_TRACE(route.name);
    host.setAfterEvent(nullptr);
    host.clear();
    if (route.cancel) {
      ASSERT_EQ(session->cancelOrder(1, cancelFrom("c1")).code, 0);
    } else {
      ASSERT_EQ(session->sendOrder(1, orderFrom("o1")).code, 0);
    }
    hostThrowsOnEverything(runtimeFault);
    runtimeFault = !runtimeFault;

    vendor.deliver(route.first);
    vendor.deliver(route.second);

    const char* report = route.cancel ? "onOrderCanceled" : "onOrderRejected";
    const auto reports = host.eventsNamed(report);
    ASSERT_EQ(reports.size(), 1u) << "one report, made before the host threw";
    EXPECT_EQ(reports[0].requestId, 1);
    EXPECT_EQ(reports[0].status.code, -1);
    ASSERT_TRUE(reports[0].order.has_value());
    EXPECT_EQ(reports[0].order->clientId, (ClientId{"host", route.cancel ? "c1" : "o1"}));
    EXPECT_EQ(host.total(), 1u) << "the second route found nothing";
    EXPECT_EQ(newOrderBook().size(), 0u);
    EXPECT_EQ(cancelBook().size(), 0u);
  }
}

TEST_F(HostExceptionTest, VendorThreadSurvivesEveryThrowingHandler) {
  connectWithAccount();
  hostThrowsOnEverything();
  xti::VendorOrder accepted{};
  setText(accepted.m_strOrderSysID, "000001");
  accepted.m_nOrderID = 70;
  xti::VendorOrder rejected = accepted;
  rejected.m_nOrderStatus = '4';
  xti::VendorOrder canceled = accepted;
  canceled.m_nOrderStatus = '5';
  xti::VendorOrder filled = accepted;
  filled.m_nOrderSubmitStatus = '6';
  xti::VendorDeal deal{};
  deal.m_nOrderID = 70;
  const xti::VendorAccountDetail funds{};
  const xti::VendorPosition position{};
  const xti::VendorPositionDetail detail{};
  const xti::XtError failed(1, "x");
  const xti::XtError ok;

  struct Case {
    const char* hostCall;
    std::size_t calls;  // host calls the event makes
    VendorEvent event;
  } cases[] = {
      {"onConnected", 1, [](xti::XtTraderApiCallback& cb) { cb.onConnected(true, nullptr); }},
      {"onDisconnected", 1, [](xti::XtTraderApiCallback& cb) { cb.onConnected(false, "down"); }},
      {"onLogin", 1,
       [&](xti::XtTraderApiCallback& cb) { cb.onUserLogin("u", "p", 1, ok); }},
      {"onLogin", 1,
       [&](xti::XtTraderApiCallback& cb) { cb.onUserLogin("u", "p", 1, failed); }},
      {"onLogout", 1,
       [&](xti::XtTraderApiCallback& cb) { cb.onUserLogout("u", "p", 2, failed); }},
      {"onOrderAccepted", 1, [&](xti::XtTraderApiCallback& cb) { cb.onOrderPush(&accepted); }},
      {"onOrderRejected", 1, [&](xti::XtTraderApiCallback& cb) { cb.onOrderPush(&rejected); }},
      {"onOrderCanceled", 1, [&](xti::XtTraderApiCallback& cb) { cb.onOrderPush(&canceled); }},
      {"onOrderFilled", 1, [&](xti::XtTraderApiCallback& cb) { cb.onOrderPush(&filled); }},
      {"onFill", 1, [&](xti::XtTraderApiCallback& cb) { cb.onDealPush(&deal); }},
      {"onAccountFundsResponse", 1,
       [&](xti::XtTraderApiCallback& cb) { cb.onAccountDetailReply("A001", 3, &funds, true, ok); }},
      {"onPositionsResponse", 1,
       [&](xti::XtTraderApiCallback& cb) {
         cb.onPositionReply("A001", 4, &position, true, failed);
       }},
      {"onPositionDetailsResponse", 1,
       [&](xti::XtTraderApiCallback& cb) {
         cb.onPositionDetailReply("A001", 5, &detail, true, ok);
       }},
      {"onFillsResponse", 1,
       [&](xti::XtTraderApiCallback& cb) { cb.onDealDetailReply("A001", 6, &deal, true, ok); }},
      // The query record first; its order event still follows although the
      // host threw on the record.
      {"onOrdersResponse", 2,
       [&](xti::XtTraderApiCallback& cb) {
         cb.onOrderDetailReply("A001", 7, &accepted, true, ok);
       }},
  };
  std::size_t expected = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.hostCall);
    vendor.deliver(c.event);
    expected += c.calls;
    ASSERT_EQ(host.total(), expected);
    EXPECT_EQ(host.events()[expected - c.calls].name, c.hostCall);
  }
  EXPECT_EQ(host.events().back().name, "onOrderAccepted");
  EXPECT_EQ(host.events().back().thread, vendor.vendorThreadId());
}

TEST_F(HostExceptionTest, SuccessfulReplyStillReKeysTheRegistry) {
  connectWithAccount();
  hostThrowsOnEverything();
  ASSERT_EQ(session->sendOrder(9, orderFrom("s9")).code, 0);
  xti::VendorOrder order{};
  setText(order.m_strOrderSysID, "000009");
  order.m_nOrderID = 4242;
  xti::VendorDeal deal{};
  deal.m_nOrderID = 4242;
  vendor.deliver([&](xti::XtTraderApiCallback& cb) {
    cb.onOrderReply(9, 4242, "", xti::XtError());
    cb.onOrderPush(&order);
    cb.onDealPush(&deal);
    cb.onOrderPush(&order);
  });
  const auto accepted = host.eventsNamed("onOrderAccepted");
  ASSERT_EQ(accepted.size(), 2u);
  for (const HostEvent& event : accepted) {
    EXPECT_EQ(event.accepted->clientId, (ClientId{"host", "s9"}));
  }
  const auto fills = host.eventsNamed("onFill");
  ASSERT_EQ(fills.size(), 1u);
  EXPECT_EQ(fills[0].fill->clientId, (ClientId{"host", "s9"}));
  EXPECT_EQ(newOrderBook().size(), 0u);
  int orderId = 0;
  EXPECT_TRUE(receiver().identity->registry->get(ClientId{"host", "s9"}, orderId));
  EXPECT_EQ(orderId, 4242);
}

// A failure answered inside the send call, with a throwing host: the send
// itself is unaffected and still answers 0.
TEST_F(HostExceptionTest, AnswerInsideTheRequestDoesNotThrowIntoTheHost) {
  connectWithAccount();
  hostThrowsOnEverything(false);
  vendor.setResponder([this](const VendorCall& call) {
    if (call.op != "placeOrder") return;
    const int requestId = static_cast<int>(call.numbers.at(0));
    vendor.callNow([requestId](xti::XtTraderApiCallback& cb) {
      cb.onOrderReply(requestId, 0, "", xti::XtError(4, "no"));
    });
  });
  ResultStatus status{-99, ""};
  EXPECT_NO_THROW(status = session->sendOrder(3, orderFrom("i3")));
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(host.count("onOrderRejected"), 1u);
  EXPECT_EQ(newOrderBook().size(), 0u);
}

// release() tells the host on a thread of its own and waits for it. That
// call is not a vendor event: what the host throws there comes back to the
// host's own call of release(), whatever its type, after the vendor was
// stopped and destroyed, and the session stays alive so that the host can
// end it with a second release().
TEST_F(HostExceptionTest, ThrowingOnDisconnectedReachesTheCallerOfRelease) {
  for (bool runtime : {true, false}) {
    SCOPED_TRACE(runtime ? "std::runtime_error" : "foreign type");
    if (session == nullptr) {
      session = static_cast<TradeSessionXT*>(CreateTradeSession());
      ASSERT_EQ(session->setConfig(configWithAddress("tcp://127.0.0.1:5800")).code, 0);
      ASSERT_EQ(session->registerSpi(&host).code, 0);
    }
    connect();
    host.clear();
    host.setAfterEvent([runtime](const HostEvent& event) {
      if (event.name != "onDisconnected") return;
      if (runtime) throw std::runtime_error("host fault");
      throw HostFault{};
    });
    if (runtime) {
      EXPECT_THROW((void)session->release(), std::runtime_error);
    } else {
      EXPECT_THROW((void)session->release(), HostFault);
    }
    EXPECT_EQ(vendor.liveApis(), 0) << "the vendor was stopped and destroyed first";
    EXPECT_EQ(host.count("onDisconnected"), 1u);

    host.setAfterEvent(nullptr);
    const std::size_t vendorCalls = vendor.calls().size();
    EXPECT_EQ(release().code, 0) << "the second release ends the session";
    EXPECT_EQ(host.count("onDisconnected"), 2u);
    EXPECT_EQ(vendor.calls().size(), vendorCalls) << "nothing left to stop";
  }
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
