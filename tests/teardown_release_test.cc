// Ending a session while the vendor pushes at full rate from its thread:
// release() repeated many times, a connected session deleted without
// release(), and sessions ended before any login. A callback that reached a
// destroyed receiver or host record shows up under AddressSanitizer and
// ThreadSanitizer; the host checks that nothing arrives after it was told
// onDisconnected. Cycles scale with KS_STRESS_SCALE.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "plugin/common.h"
#include "plugin/plugin_entry.h"
#include "session/trade_session_xt.h"
#include "tests/support/fake_vendor.h"
#include "tests/support/stress_scale.h"
#include "tests/support/vendor_text.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace testing {
namespace {

constexpr int kReleaseCycles = 200;
constexpr int kOrdersPerCycle = 8;

// Counts what arrives and reads every record it is given, so that a record
// freed under the host's feet is a sanitizer finding. Lock-free: it sees
// hundreds of thousands of pushes.
class CountingHost : public ITradeSessionSpi {
 public:
  void onDisconnected(const ResultStatus& status) override {
    if (status.code == 0) disconnects.fetch_add(1);
    disconnected.store(true);
  }
  void onOrderAccepted(const OrderAcceptedRecord* r, const ResultStatus&, int, bool) override {
    count(r->clientId, r->exchangeOrderId.size());
  }
  void onOrderRejected(const OrderRecord* r, const ResultStatus&, int, bool) override {
    count(r->clientId, r->statusMessage.size());
  }
  void onOrderFilled(const OrderFilledRecord* r, const ResultStatus&, int, bool) override {
    count(r->clientId, r->codeId.code.size());
  }
  void onOrderCanceled(const OrderRecord* r, const ResultStatus&, int, bool) override {
    count(r->clientId, r->codeId.code.size());
  }
  void onFill(const FillRecord* r, const ResultStatus&, int, bool) override {
    count(r->clientId, r->fillReference.size());
  }

  void reset() {
    disconnected.store(false);
    lateEvents.store(0);
  }

  // Waits until `n` more events than now have arrived; false on timeout.
  bool waitForMore(long n) {
    std::unique_lock<std::mutex> lock(mutex_);
    const long target = events.load() + n;
    target_.store(target);
    return changed_.wait_for(lock, std::chrono::seconds(30),
                             [&] { return events.load() >= target; });
  }

  std::atomic<bool> disconnected{false};
  std::atomic<int> disconnects{0};
  std::atomic<long> events{0};
  std::atomic<long> lateEvents{0};   // after onDisconnected
  std::atomic<long> hostIds{0};      // pushes that carried the host's client id
  std::atomic<std::size_t> bytes{0};

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<long> target_{-1};  // the event count a waiter wants to see

  void count(const ClientId& id, std::size_t size) {
    if (events.fetch_add(1) + 1 == target_.load()) {
      std::lock_guard<std::mutex> lock(mutex_);
      changed_.notify_all();
    }
    if (disconnected.load()) lateEvents.fetch_add(1);
    if (id.prefix == "host") hostIds.fetch_add(1, std::memory_order_relaxed);
    bytes.fetch_add(size + id.serial.size(), std::memory_order_relaxed);
  }
};

SessionConfig teardownConfig() {
  SessionConfig config;
  config.userName = "trader1";
  config.server.serverAddresses.push_back(AddressEntry{"tcp://127.0.0.1:5800", "primary"});
  return config;
}

class TeardownTest : public ::testing::Test {
 protected:
  TeardownTest() {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
  }

  TradeSessionXT* newSession() {
    auto* session = static_cast<TradeSessionXT*>(CreateTradeSession());
    EXPECT_EQ(session->setConfig(teardownConfig()).code, 0);
    EXPECT_EQ(session->registerSpi(&host).code, 0);
    return session;
  }

  // Connects, logs an account in, files orders the vendor accepted, and
  // starts the pump: an event on the vendor thread that pushes order
  // events and fills for those orders and queues itself again, until the
  // vendor stops delivering.
  void connectAndPump(TradeSessionXT* session) {
    ASSERT_EQ(session->connect().code, 0);
    vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onAccountStatus("A001", 1, 1); });
    vendor.setResponder([this](const VendorCall& call) {
      if (call.op != "placeOrder") return;
      const int requestId = static_cast<int>(call.numbers.at(0));
      vendor.callNow([requestId](xti::XtTraderApiCallback& cb) {
        cb.onOrderReply(requestId, 500 + requestId, "", xti::XtError());
      });
    });
    for (int i = 1; i <= kOrdersPerCycle; ++i) {
      AccountOrderNewRequest order;
      order.codeId.exchange = 3;
      order.codeId.code = "rb2410";
      order.clientId = ClientId{"host", std::to_string(i)};
      order.quantity = 1;
      ASSERT_EQ(session->sendOrder(i, order).code, 0);
    }
    auto step = std::make_shared<int>(0);
    pump = [this, step](xti::XtTraderApiCallback& cb) {
      const int orderId = 501 + (*step)++ % kOrdersPerCycle;
      xti::VendorOrder order{};
      setText(order.m_strExchangeID, "SHFE");
      setText(order.m_strInstrumentID, "rb2410");
      setText(order.m_strOrderSysID, "000123");
      setText(order.m_strErrorMsg, "部分成交");
      order.m_nOrderID = orderId;
      order.m_nOrderSubmitStatus = (*step % 3 == 0) ? '5' : '3';
      cb.onOrderPush(&order);
      xti::VendorDeal deal{};
      setText(deal.m_strTradeID, "T00000001");
      deal.m_nOrderID = orderId;
      cb.onDealPush(&deal);
      if (*step % 50 == 0) {
        const xti::XtError refused(3, "拒绝");
        cb.onCancelReply(99, refused);  // nothing pending: dropped
      }
      vendor.post(pump);
    };
    vendor.post(pump);
  }

  // Waits until the pump has delivered at least `n` more events.
  void waitForPushes(long n) {
    ASSERT_TRUE(host.waitForMore(n)) << "the vendor stopped pushing";
  }

  CountingHost host;
  FakeVendor vendor;
  VendorEvent pump;
};

TEST_F(TeardownTest, ReleaseWhileTheVendorPushesAtFullRate) {
  const int cycles = kReleaseCycles * stressScale();
  for (int cycle = 0; cycle < cycles; ++cycle) {
    SCOPED_TRACE("cycle " + std::to_string(cycle));
    host.reset();
    TradeSessionXT* session = newSession();
    connectAndPump(session);
    waitForPushes(20);
    ASSERT_EQ(session->release().code, 0);
    EXPECT_TRUE(host.disconnected.load());
    EXPECT_EQ(host.lateEvents.load(), 0) << "a push arrived after onDisconnected";
    vendor.drain();  // the queued pump is dropped: the vendor was shut down
    EXPECT_EQ(vendor.liveApis(), 0);
    if (HasFailure()) break;
  }
  EXPECT_EQ(host.disconnects.load(), cycles);
  EXPECT_GT(host.hostIds.load(), 0) << "the pushed orders carried the host's ids";
  std::printf("release under load: %d cycles, %ld host events\n", cycles, host.events.load());
}

TEST_F(TeardownTest, ConnectedSessionDeletedWithoutRelease) {
  const int cycles = 20 * stressScale();
  for (int cycle = 0; cycle < cycles; ++cycle) {
    SCOPED_TRACE("cycle " + std::to_string(cycle));
    TradeSessionXT* session = newSession();
    connectAndPump(session);
    waitForPushes(20);
    delete session;  // stops and deletes the vendor API object first
    const long afterDelete = host.events.load();
    vendor.drain();
    EXPECT_EQ(host.events.load(), afterDelete) << "nothing reaches the host after the delete";
    EXPECT_EQ(vendor.liveApis(), 0);
    EXPECT_FALSE(vendor.hasCallback());
    if (HasFailure()) break;
  }
  EXPECT_EQ(host.disconnects.load(), 0) << "a delete tells the host nothing";
}

TEST_F(TeardownTest, SessionsEndedBeforeAnyLogin) {
  struct Case {
    const char* name;
    bool connect;
    bool release;  // false: delete
  } cases[] = {
      {"never connected, released", false, true},
      {"never connected, deleted", false, false},
      {"connected without login, released", true, true},
      {"connected without login, deleted", true, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    host.reset();
    const int disconnects = host.disconnects.load();
    TradeSessionXT* session = newSession();
    if (c.connect) {
      ASSERT_EQ(session->connect().code, 0);
      // The connection event races the end of the session.
      vendor.post([](xti::XtTraderApiCallback& cb) { cb.onConnected(true, nullptr); });
    }
    if (c.release) {
      EXPECT_EQ(session->release().code, 0);
      EXPECT_EQ(host.disconnects.load(), disconnects + 1);
    } else {
      delete session;
      EXPECT_EQ(host.disconnects.load(), disconnects);
    }
    vendor.drain();
    EXPECT_EQ(vendor.liveApis(), 0);
  }
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
