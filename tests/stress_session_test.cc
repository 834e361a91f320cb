// Concurrency stress of one session: several host threads send orders and
// cancels while the scripted vendor answers, on its own thread or inside the
// request call, and pushes on its thread. Afterwards the host's record is
// checked against the vendor's own ledger of what it answered:
//  - every failed order and failed cancel reached the host exactly once, with
//    its request number and client id, whatever route (reply, error push, or
//    both in either order) the failure took;
//  - no successful reply produced a failure report;
//  - every push of an order whose reply succeeded carries the host's id;
//  - the pending books are empty once every request was answered.
// Sized by KS_STRESS_SCALE (tests/support/stress_scale.h).
#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/session_fixture.h"
#include "tests/support/stress_scale.h"
#include "tests/support/vendor_text.h"

namespace kestrel {
namespace testing {
namespace {

constexpr int kHostThreads = 4;
constexpr int kOrdersPerThread = 250;
constexpr int kVendorOrderBase = 1000000;

// How the vendor answers one request. The two failure routes of a request
// (reply and error push) may both come, in either order.
enum class Answer {
  kSuccess,
  kFailedReply,
  kErrorPush,
  kErrorPushThenFailedReply,
  kFailedReplyThenErrorPush,
  kFailedReplyTwice,  // cancels: onCancelReply and onCancelReply2 both fail
};
constexpr Answer kOrderAnswers[] = {Answer::kSuccess, Answer::kSuccess, Answer::kFailedReply,
                                    Answer::kErrorPush, Answer::kErrorPushThenFailedReply,
                                    Answer::kFailedReplyThenErrorPush};
constexpr Answer kCancelAnswers[] = {Answer::kSuccess, Answer::kFailedReply,
                                     Answer::kErrorPushThenFailedReply, Answer::kFailedReplyTwice};

bool failed(Answer answer) { return answer != Answer::kSuccess; }

int countOf(const std::map<int, int>& counts, int key) {
  const auto found = counts.find(key);
  return found == counts.end() ? 0 : found->second;
}

// Request numbers: orders 1..N, cancels far above; client ids name the
// thread and the request so that a misrouted report is visible.
ClientId orderClientId(int thread, int requestId) {
  return ClientId{"T" + std::to_string(thread), std::to_string(requestId)};
}

// The vendor's ledger: what it answered to each request.
struct Ledger {
  std::mutex mutex;
  std::map<int, Answer> orders;   // request number -> answer
  std::map<int, Answer> cancels;  // request number -> answer
  std::map<int, int> cancelTarget;  // cancel request number -> vendor order number

  void note(std::map<int, Answer>& book, int requestId, Answer answer) {
    std::lock_guard<std::mutex> lock(mutex);
    book[requestId] = answer;
  }
};

xti::VendorOrderError errorRecord(int requestId, const char* text) {
  xti::VendorOrderError error{};
  setText(error.m_strErrorMsg, text);
  error.m_nRequestID = requestId;
  return error;
}

xti::VendorOrder orderPush(int orderId, int status, const char* exchangeOrderId) {
  xti::VendorOrder order{};
  setText(order.m_strExchangeID, "SHFE");
  setText(order.m_strInstrumentID, "rb2410");
  setText(order.m_strOrderSysID, exchangeOrderId);
  order.m_nOrderID = orderId;
  order.m_nOrderStatus = status;
  order.m_nVolumeTotalOriginal = 1;
  return order;
}

class StressSessionTest : public SessionFixture, public ::testing::WithParamInterface<bool> {
 protected:
  bool synchronous() const { return GetParam(); }

  // A reply: inside the request call in synchronous mode, else queued on
  // the vendor thread (where it may run before the request call returns).
  void reply(VendorEvent event) {
    if (synchronous()) {
      vendor.callNow(event);
    } else {
      vendor.post(std::move(event));
    }
  }

  void answerOrder(const VendorCall& call) {
    const int requestId = static_cast<int>(call.numbers.at(0));
    const Answer answer = kOrderAnswers[static_cast<unsigned>(requestId * 7919) %
                                        (sizeof(kOrderAnswers) / sizeof(kOrderAnswers[0]))];
    ledger.note(ledger.orders, requestId, answer);
    const int orderId = kVendorOrderBase + requestId;
    const xti::XtError refused(7, "资金不足");
    auto failedReply = [=](xti::XtTraderApiCallback& cb) {
      cb.onOrderReply(requestId, 0, "", refused);
    };
    auto errorPush = [requestId](xti::XtTraderApiCallback& cb) {
      const xti::VendorOrderError error = errorRecord(requestId, "资金不足");
      cb.onOrderErrorPush(&error);
    };
    switch (answer) {
      case Answer::kSuccess:
        reply([=](xti::XtTraderApiCallback& cb) {
          cb.onOrderReply(requestId, orderId, "", xti::XtError());
        });
        // The pushes always follow the reply, on the vendor thread.
        vendor.post([orderId](xti::XtTraderApiCallback& cb) {
          const xti::VendorOrder accepted = orderPush(orderId, '3', "X1");
          cb.onOrderPush(&accepted);
          xti::VendorDeal deal{};
          deal.m_nOrderID = orderId;
          deal.m_nVolume = 1;
          cb.onDealPush(&deal);
        });
        break;
      case Answer::kFailedReply:
        reply(failedReply);
        break;
      case Answer::kErrorPush:
        vendor.post(errorPush);
        break;
      case Answer::kErrorPushThenFailedReply:
        vendor.post(errorPush);
        vendor.post(failedReply);
        break;
      case Answer::kFailedReplyThenErrorPush:
      case Answer::kFailedReplyTwice:
        reply(failedReply);
        vendor.post(errorPush);
        break;
    }
  }

  void answerCancel(const VendorCall& call) {
    const bool byOrderNumber = call.op == "cancelOrderById";
    const int requestId = static_cast<int>(call.numbers.at(byOrderNumber ? 1 : 0));
    const Answer answer = kCancelAnswers[static_cast<unsigned>(requestId * 31) %
                                         (sizeof(kCancelAnswers) / sizeof(kCancelAnswers[0]))];
    ledger.note(ledger.cancels, requestId, answer);
    const xti::XtError refused(8, "已成交");
    switch (answer) {
      case Answer::kSuccess: {
        reply([=](xti::XtTraderApiCallback& cb) { cb.onCancelReply(requestId, xti::XtError()); });
        int orderId = 0;
        bool orderLive = false;
        {
          std::lock_guard<std::mutex> lock(ledger.mutex);
          orderId = ledger.cancelTarget.at(requestId);
          orderLive = !failed(ledger.orders.at(orderId - kVendorOrderBase));
        }
        // Only an order the vendor accepted can be cancelled on the market.
        if (!orderLive) break;
        vendor.post([orderId](xti::XtTraderApiCallback& cb) {
          const xti::VendorOrder canceled = orderPush(orderId, '5', "X1");
          cb.onOrderPush(&canceled);
        });
        break;
      }
      case Answer::kFailedReply:
        reply([=](xti::XtTraderApiCallback& cb) { cb.onCancelReply2(requestId, refused); });
        break;
      case Answer::kErrorPushThenFailedReply:
        vendor.post([requestId](xti::XtTraderApiCallback& cb) {
          const xti::VendorOrderError error = errorRecord(requestId, "已成交");
          cb.onCancelErrorPush(&error);
        });
        vendor.post([=](xti::XtTraderApiCallback& cb) { cb.onCancelReply(requestId, refused); });
        break;
      default:
        reply([=](xti::XtTraderApiCallback& cb) { cb.onCancelReply(requestId, refused); });
        vendor.post([=](xti::XtTraderApiCallback& cb) { cb.onCancelReply2(requestId, refused); });
        break;
    }
  }

  Ledger ledger;
};

TEST_P(StressSessionTest, EveryAnswerReachesTheHostOnceWithItsIdentity) {
  connectWithAccount();
  vendor.setResponder([this](const VendorCall& call) {
    if (call.op == "placeOrder") answerOrder(call);
    if (call.op == "cancelOrderById" || call.op == "cancelOrderByExchangeId") answerCancel(call);
  });

  const int perThread = kOrdersPerThread * stressScale();
  const int cancelBase = kHostThreads * perThread + 1;
  std::atomic<int> sendFailures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kHostThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < perThread; ++i) {
        const int requestId = 1 + t * perThread + i;
        AccountOrderNewRequest order;
        order.codeId.exchange = 3;
        order.codeId.code = "rb2410";
        order.clientId = orderClientId(t, requestId);
        order.quantity = 1;
        order.price = 3650;
        order.direction = 1 + i % 2;
        order.offsetFlag = 1;
        if (session->sendOrder(requestId, order).code != 0) ++sendFailures;
        if (i % 2 != 0) continue;
        // Every other order is cancelled at once, by vendor order number or
        // by exchange order id in turn.
        const int cancelId = cancelBase + requestId;
        {
          std::lock_guard<std::mutex> lock(ledger.mutex);
          ledger.cancelTarget[cancelId] = kVendorOrderBase + requestId;
        }
        AccountOrderCancelRequest cancel;
        cancel.codeId = order.codeId;
        cancel.clientId = ClientId{"X", std::to_string(kVendorOrderBase + requestId)};
        if (i % 4 == 0) cancel.exchangeOrderId = "X1";
        if (session->cancelOrder(cancelId, cancel).code != 0) ++sendFailures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  vendor.drain();

  EXPECT_EQ(sendFailures.load(), 0);
  const int orders = kHostThreads * perThread;
  ASSERT_EQ(ledger.orders.size(), static_cast<std::size_t>(orders));
  ASSERT_EQ(ledger.cancels.size(), static_cast<std::size_t>(orders / 2));

  // Failure reports (request number != -1) by request number; pushes (-1).
  std::map<int, int> rejectReports, cancelReports;
  std::map<int, int> acceptedPushes, canceledPushes, fills;
  for (const HostEvent& event : host.events()) {
    if (event.name == "onOrderRejected") {
      ASSERT_NE(event.requestId, -1) << "no order push was rejected";
      const int requestId = event.requestId;
      ++rejectReports[requestId];
      EXPECT_EQ(event.status.code, -1);
      EXPECT_EQ(event.order->clientId, orderClientId((requestId - 1) / perThread, requestId));
    } else if (event.name == "onOrderCanceled" && event.requestId != -1) {
      ++cancelReports[event.requestId];
      EXPECT_EQ(event.status.code, -1);
      EXPECT_EQ(event.order->clientId.serial,
                std::to_string(kVendorOrderBase + event.requestId - cancelBase));
    } else if (event.name == "onOrderCanceled") {
      const int requestId = std::stoi(event.order->clientId.serial);
      ++canceledPushes[requestId];
      EXPECT_EQ(event.order->clientId, orderClientId((requestId - 1) / perThread, requestId));
    } else if (event.name == "onOrderAccepted") {
      const int requestId = std::stoi(event.accepted->clientId.serial);
      ++acceptedPushes[requestId];
      EXPECT_EQ(event.accepted->clientId, orderClientId((requestId - 1) / perThread, requestId));
    } else if (event.name == "onFill") {
      const int requestId = std::stoi(event.fill->clientId.serial);
      ++fills[requestId];
      EXPECT_EQ(event.fill->clientId, orderClientId((requestId - 1) / perThread, requestId));
    }
  }

  int failedOrders = 0, failedCancels = 0, successfulCancels = 0;
  for (const auto& entry : ledger.orders) {
    const int requestId = entry.first;
    SCOPED_TRACE("order " + std::to_string(requestId));
    if (failed(entry.second)) {
      ++failedOrders;
      EXPECT_EQ(countOf(rejectReports, requestId), 1);
    } else {
      EXPECT_EQ(countOf(rejectReports, requestId), 0);
      EXPECT_EQ(countOf(acceptedPushes, requestId), 1);
      EXPECT_EQ(countOf(fills, requestId), 1);
    }
  }
  for (const auto& entry : ledger.cancels) {
    const int requestId = entry.first;
    SCOPED_TRACE("cancel " + std::to_string(requestId));
    if (failed(entry.second)) {
      ++failedCancels;
      EXPECT_EQ(countOf(cancelReports, requestId), 1);
    } else {
      ++successfulCancels;
      EXPECT_EQ(countOf(cancelReports, requestId), 0);
      const int orderRequest = requestId - cancelBase;
      if (!failed(ledger.orders.at(orderRequest))) {
        EXPECT_EQ(countOf(canceledPushes, orderRequest), 1);
      }
    }
  }
  EXPECT_EQ(static_cast<int>(rejectReports.size()), failedOrders) << "no report for unknown ids";
  EXPECT_EQ(static_cast<int>(cancelReports.size()), failedCancels);
  EXPECT_GT(failedOrders, 0);
  EXPECT_GT(failedCancels, 0);
  EXPECT_GT(successfulCancels, 0);

  EXPECT_EQ(receiver().identity->newOrderBook->size(), 0u);
  EXPECT_EQ(receiver().identity->cancelBook->size(), 0u);
  // Fast sends never collided in the registry: each id maps to its order.
  for (int requestId = 1; requestId <= orders; requestId += 97) {
    if (failed(ledger.orders.at(requestId))) continue;
    int orderId = 0;
    EXPECT_TRUE(receiver().identity->registry->get(
        orderClientId((requestId - 1) / perThread, requestId), orderId));
    EXPECT_EQ(orderId, kVendorOrderBase + requestId);
  }
  RecordProperty("orders", orders);
  RecordProperty("cancels", orders / 2);
  std::printf("stress (%s): %d orders (%d failed), %d cancels (%d failed), %zu host events\n",
              synchronous() ? "synchronous" : "asynchronous", orders, failedOrders, orders / 2,
              failedCancels, host.total());
}

INSTANTIATE_TEST_SUITE_P(AnswerModes, StressSessionTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return std::string(info.param ? "Synchronous" : "Asynchronous");
                         });

}  // namespace
}  // namespace testing
}  // namespace kestrel
