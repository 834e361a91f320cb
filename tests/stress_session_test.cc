// Failure routes the simulated counter never takes (it sends a failed
// request's reply, then its error push, on one thread), under concurrency:
// the push first, the push alone, two failed replies, and in synchronous mode
// the reply inside the request call on the host's thread racing a push on the
// vendor thread. Each failed order and cancel reaches the host exactly once
// with its request number and client id, a successful one never, and the
// books end empty. Sized by KS_STRESS_SCALE.
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/session_fixture.h"

namespace kestrel {
namespace testing {
namespace {

constexpr int kHostThreads = 4;
constexpr int kOrdersPerThread = 250;
constexpr int kCancelBase = 1000000;

// What the vendor sends for a request, in order: R its reply (a success for
// every sixth request), P the error push, r a second failed reply
// (onCancelReply2 for a cancel).
const char* routeOf(int requestId) {
  static const char* const kRoutes[] = {"R", "R", "P", "PR", "RP", "Rr"};
  return kRoutes[requestId % 6];
}

ClientId clientIdOf(int requestId) {
  return ClientId{(requestId >= kCancelBase ? "C" : "T") + std::to_string(requestId % 7),
                  std::to_string(requestId)};
}

class StressSessionTest : public SessionFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void answer(const VendorCall& call) {
    const bool order = call.op == "placeOrder";
    const int id = static_cast<int>(call.numbers.back());
    const bool ok = id % 6 == 0;
    const xti::XtError error = ok ? xti::XtError() : xti::XtError(7, "拒绝");
    for (const char step : std::string(routeOf(id))) {
      const VendorEvent event = [=](xti::XtTraderApiCallback& cb) {
        if (step == 'P') {
          xti::VendorOrderError e{};
          setText(e.m_strErrorMsg, "拒绝");
          e.m_nRequestID = id;
          order ? cb.onOrderErrorPush(&e) : cb.onCancelErrorPush(&e);
        } else if (order) {
          cb.onOrderReply(id, step == 'R' && ok ? id : 0, "", error);
        } else {
          step == 'R' ? cb.onCancelReply(id, error) : cb.onCancelReply2(id, error);
        }
      };
      // The first reply comes inside the request call in synchronous mode.
      if (step == 'R' && GetParam()) {
        vendor.callNow(event);
      } else {
        vendor.post(event);
      }
    }
  }
};

TEST_P(StressSessionTest, EveryFailureReachesTheHostOnceWhateverItsRoute) {
  connectWithAccount();
  vendor.setResponder([this](const VendorCall& call) {
    if (call.op == "placeOrder" || call.op == "cancelOrderById") answer(call);
  });
  const int perThread = kOrdersPerThread * stressScale();
  std::vector<std::thread> threads;
  for (int t = 0; t < kHostThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int requestId = 1 + t * perThread; requestId <= (t + 1) * perThread; ++requestId) {
        AccountOrderNewRequest order;
        order.clientId = clientIdOf(requestId);
        EXPECT_EQ(session->sendOrder(requestId, order).code, 0);
        AccountOrderCancelRequest cancel;
        cancel.clientId = clientIdOf(kCancelBase + requestId);
        EXPECT_EQ(session->cancelOrder(kCancelBase + requestId, cancel).code, 0);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  vendor.drain();

  const int requests = kHostThreads * perThread;
  ASSERT_EQ(vendor.count("placeOrder") + vendor.count("cancelOrderById"), 2u * requests);
  std::map<int, int> reports;  // request number -> failure reports
  for (const HostEvent& event : host.events()) {
    ++reports[event.requestId];
    EXPECT_EQ(event.name, event.requestId >= kCancelBase ? "onOrderCanceled" : "onOrderRejected");
    EXPECT_EQ(event.status.code, -1);
    EXPECT_EQ(*event.clientId(), clientIdOf(event.requestId));
  }
  for (int n = 1; n <= requests; ++n) {
    for (const int requestId : {n, kCancelBase + n}) {
      EXPECT_EQ(reports[requestId], requestId % 6 == 0 ? 0 : 1)
          << "request " << requestId << ", route " << routeOf(requestId);
    }
  }
  EXPECT_EQ(reports.size(), 2u * requests) << "a report for a request never made";
  EXPECT_EQ(identity().newOrderBook->size() + identity().cancelBook->size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(AnswerModes, StressSessionTest, ::testing::Values(false, true),
                         answerModeName);

}  // namespace
}  // namespace testing
}  // namespace kestrel
