// A host whose every callback throws. The plug-in stops the exception at the
// end of each vendor callback, after the event's bookkeeping: nothing unwinds
// into the vendor library, a failed request still reports once, and the books
// and the registry stay consistent. (What the host throws from onDisconnected
// inside release() goes back to its caller: see session_test.)
#include <stdexcept>
#include <string>

#include "tests/support/session_fixture.h"
#include "tests/support/vendor_text.h"

namespace kestrel {
namespace testing {
namespace {

struct HostFault {};  // not a std::exception: nothing may rely on the type

using HostExceptionTest = SessionFixture;

TEST_F(HostExceptionTest, EveryVendorCallbackStopsTheHostsExceptionAfterItsBookkeeping) {
  connectWithAccount();
  // Orders 1, 2 and 5 and cancels 3 and 4 wait for the answers below.
  for (int id = 1; id <= 5; ++id) {
    AccountOrderNewRequest order;
    order.clientId = ClientId{"host", std::to_string(id)};
    AccountOrderCancelRequest cancel;
    cancel.clientId = order.clientId;
    const bool isCancel = id == 3 || id == 4;
    ASSERT_EQ((isCancel ? session->cancelOrder(id, cancel) : session->sendOrder(id, order)).code,
              0);
  }
  int calls = 0;
  host.setAfterEvent([&calls](const HostEvent& event) {
    if (calls++ % 2 == 0) throw std::runtime_error(event.name);
    throw HostFault{};
  });

  xti::VendorOrder accepted{};
  setText(accepted.m_strOrderSysID, "000001");
  accepted.m_nOrderID = 4242;  // order 5, once its reply came
  xti::VendorOrder rejected = accepted, canceled = accepted, filled = accepted;
  rejected.m_nOrderStatus = '4';
  canceled.m_nOrderStatus = '5';
  filled.m_nOrderSubmitStatus = '6';
  xti::VendorDeal deal{};
  deal.m_nOrderID = 4242;
  const xti::VendorAccountDetail funds{};
  const xti::VendorPosition position{};
  const xti::VendorPositionDetail detail{};
  xti::VendorOrderError errors[5] = {};  // [n]: the error push of request n
  for (int n = 0; n < 5; ++n) errors[n].m_nRequestID = n;
  const xti::XtError failed(9, "拒绝"), ok;
  using Cb = xti::XtTraderApiCallback;
  const struct {
    const char* hostCalls;  // what the event makes of it, in order
    VendorEvent event;
  } cases[] = {
      {"onConnected", [](Cb& cb) { cb.onConnected(true, nullptr); }},
      {"onDisconnected", [](Cb& cb) { cb.onConnected(false, "down"); }},
      {"onLogin", [&](Cb& cb) { cb.onUserLogin("u", "p", 1, ok); }},
      {"onLogin", [&](Cb& cb) { cb.onUserLogin("u", "p", 1, failed); }},
      {"onLogout", [&](Cb& cb) { cb.onUserLogout("u", "p", 2, failed); }},
      // A failed request reports on its first route; the second finds nothing.
      {"onOrderRejected", [&](Cb& cb) { cb.onOrderReply(1, 0, "", failed); }},
      {"", [&](Cb& cb) { cb.onOrderErrorPush(&errors[1]); }},
      {"onOrderRejected", [&](Cb& cb) { cb.onOrderErrorPush(&errors[2]); }},
      {"", [&](Cb& cb) { cb.onOrderReply(2, 0, "", failed); }},
      {"onOrderCanceled", [&](Cb& cb) { cb.onCancelReply(3, failed); }},
      {"", [&](Cb& cb) { cb.onCancelErrorPush(&errors[3]); }},
      {"onOrderCanceled", [&](Cb& cb) { cb.onCancelErrorPush(&errors[4]); }},
      {"", [&](Cb& cb) { cb.onCancelReply2(4, failed); }},
      // Order 5 succeeds: its pushes carry the host's id.
      {"", [&](Cb& cb) { cb.onOrderReply(5, 4242, "", ok); }},
      {"onOrderAccepted", [&](Cb& cb) { cb.onOrderPush(&accepted); }},
      {"onOrderRejected", [&](Cb& cb) { cb.onOrderPush(&rejected); }},
      {"onOrderCanceled", [&](Cb& cb) { cb.onOrderPush(&canceled); }},
      {"onOrderFilled", [&](Cb& cb) { cb.onOrderPush(&filled); }},
      {"onFill", [&](Cb& cb) { cb.onDealPush(&deal); }},
      {"onAccountFundsResponse",
       [&](Cb& cb) { cb.onAccountDetailReply("A", 3, &funds, true, ok); }},
      {"onPositionsResponse", [&](Cb& cb) { cb.onPositionReply("A", 4, &position, true, failed); }},
      {"onPositionDetailsResponse",
       [&](Cb& cb) { cb.onPositionDetailReply("A", 5, &detail, true, ok); }},
      {"onFillsResponse", [&](Cb& cb) { cb.onDealDetailReply("A", 6, &deal, true, ok); }},
      // The order's event follows its query record although the host threw on the record.
      {"onOrdersResponse onOrderAccepted",
       [&](Cb& cb) { cb.onOrderDetailReply("A", 7, &accepted, true, ok); }},
  };
  // Called here, on the test's thread, an escaping exception is a failure
  // rather than the end of the process.
  for (const auto& c : cases) {
    const std::size_t before = host.total();
    EXPECT_NO_THROW(vendor.callNow(c.event)) << "into the vendor library: " << c.hostCalls;
    std::string seen;
    const std::vector<HostEvent> events = host.events();
    for (std::size_t i = before; i < events.size(); ++i) {
      seen += (seen.empty() ? "" : " ") + events[i].name;
    }
    EXPECT_EQ(seen, c.hostCalls);
  }

  for (const HostEvent& event : host.events()) {
    const ClientId* id = event.order      ? &event.order->clientId
                         : event.accepted ? &event.accepted->clientId
                         : event.filled   ? &event.filled->clientId
                         : event.fill     ? &event.fill->clientId
                                          : nullptr;
    if (id == nullptr || event.name == "onFillsResponse") continue;
    // Reports carry their request's id, pushes order 5's.
    const bool report = event.requestId != -1;
    EXPECT_EQ(event.status.code, report ? -1 : 0) << event.name;
    EXPECT_EQ(id->prefix + "/" + id->serial, "host/" + std::to_string(report ? event.requestId : 5))
        << event.name;
  }
  EXPECT_EQ(receiver().TEST_identity().newOrderBook->size(), 0u);
  EXPECT_EQ(receiver().TEST_identity().cancelBook->size(), 0u);
  int orderId = 0;
  EXPECT_TRUE(receiver().TEST_identity().registry->get(ClientId{"host", "5"}, orderId));
  EXPECT_EQ(orderId, 4242);
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
