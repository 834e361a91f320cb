// Stress and teardown through the real stack: the plug-in's session over the
// simulated counter (broker/), in its asynchronous and synchronous modes,
// with the price walk moving resting orders to fills on the counter's thread.
//
// A thin decorator around the counter's API object keeps the counter's own
// ledger of every answer it gave (replies, error pushes, order and deal
// pushes), recorded after the plug-in's receiver has handled each one. The
// host's record is checked against that ledger: every failed order and cancel
// reported exactly once with its request number and client id, no failure
// report for a successful reply, every order event and fill carrying the
// host's client id, and the books empty at the end.
//
// The teardown case releases sessions (or deletes them without release())
// while the counter walks prices over resting orders. Sizes scale with KS_STRESS_SCALE.
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "broker/vendor_hooks.h"
#include "plugin/common.h"
#include "plugin/plugin_entry.h"
#include "session/trade_session_xt.h"
#include "tests/support/recording_host.h"
#include "tests/support/stress_scale.h"

namespace kestrel {
namespace testing {
namespace {

constexpr int kHostThreads = 4;
constexpr int kOrdersPerThread = 100;
constexpr int kCancelBase = 1000000;
constexpr int kReleaseCycles = 100;  // per answer mode

const char kConfigTemplate[] = R"(
[behaviour]
fill_mode = full
synchronous = %s
price_walk_ms = 1
price_walk_ticks = 3
error_push = true
trading_day = 20240105

[user stress]
password = pw
accounts = S100

[account S100]
cash = 100000000

[instrument rb2410]
exchange = SHFE
price = 3650
multiplier = 10
margin_rate = 0.1
tick = 1
band_percent = 7
)";

// The counter's configuration file for the test's lifetime (XT_SIM_CONFIG).
class CounterConfigFile {
 public:
  explicit CounterConfigFile(bool synchronous) {
    char text[sizeof(kConfigTemplate) + 16];
    std::snprintf(text, sizeof(text), kConfigTemplate, synchronous ? "true" : "false");
    // One file per test: CTest runs the tests of this program in parallel.
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    for (char& c : name) {
      if (c == '/') c = '_';
    }
    path_ = ::testing::TempDir() + "stress_counter_" + name + ".cfg";
    std::ofstream(path_) << text;
    setVariable(path_.c_str());
  }
  ~CounterConfigFile() {
    setVariable("");
    std::remove(path_.c_str());
  }

 private:
  // An empty value means "not set" to the counter.
  static void setVariable(const char* value) {
#if defined(_WIN32)
    _putenv_s("XT_SIM_CONFIG", value);
#else
    setenv("XT_SIM_CONFIG", value, 1);
#endif
  }

  std::string path_;
};

// What the counter answered, by request number and vendor order id.
class Ledger {
 public:
  void orderReply(int requestId, bool ok) { note(orderReplies_, requestId, ok); }
  void cancelReply(int requestId, bool ok) { note(cancelReplies_, requestId, ok); }
  void orderPush(int orderId) { note(orderPushes_, orderId, true); }
  void dealPush(int orderId) { note(dealPushes_, orderId, true); }
  void account() { note(accounts_, 0, true); }

  // Waits until `orders` order replies and `cancels` cancel replies arrived.
  bool waitForReplies(std::size_t orders, std::size_t cancels) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(120), [&] {
      return orderReplies_.size() >= orders && cancelReplies_.size() >= cancels;
    });
  }
  // Waits until the counter has named a fund account `n` times in all.
  bool waitForAccounts(std::size_t n) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10),
                             [&] { return count(accounts_) >= n; });
  }

  // After the session ended: no more writers.
  const std::map<int, std::vector<bool>>& orderReplies() const { return orderReplies_; }
  const std::map<int, std::vector<bool>>& cancelReplies() const { return cancelReplies_; }
  std::size_t orderPushes() const { return count(orderPushes_); }
  std::size_t dealPushes() const { return count(dealPushes_); }

 private:
  void note(std::map<int, std::vector<bool>>& book, int key, bool ok) {
    std::lock_guard<std::mutex> lock(mutex_);
    book[key].push_back(ok);
    changed_.notify_all();
  }
  static std::size_t count(const std::map<int, std::vector<bool>>& book) {
    std::size_t n = 0;
    for (const auto& entry : book) n += entry.second.size();
    return n;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<int, std::vector<bool>> orderReplies_, cancelReplies_, orderPushes_, dealPushes_,
      accounts_;
};

// Passes every callback on to the plug-in's receiver, then notes it.
class LedgerCallback : public xti::XtTraderApiCallback {
 public:
  LedgerCallback(xti::XtTraderApiCallback* target, Ledger& ledger)
      : target_(target), ledger_(ledger) {}

  void onConnected(bool success, const char* message) override {
    target_->onConnected(success, message);
  }
  void onUserLogin(const char* user, const char* password, int requestId,
                   const xti::XtError& error) override {
    target_->onUserLogin(user, password, requestId, error);
  }
  void onUserLogout(const char* user, const char* password, int requestId,
                    const xti::XtError& error) override {
    target_->onUserLogout(user, password, requestId, error);
  }
  void onOrderReply(int requestId, int orderId, const char* remark,
                    const xti::XtError& error) override {
    target_->onOrderReply(requestId, orderId, remark, error);
    ledger_.orderReply(requestId, error.isSuccess());
  }
  void onCancelReply(int requestId, const xti::XtError& error) override {
    target_->onCancelReply(requestId, error);
    ledger_.cancelReply(requestId, error.isSuccess());
  }
  void onCancelReply2(int requestId, const xti::XtError& error) override {
    target_->onCancelReply2(requestId, error);
    ledger_.cancelReply(requestId, error.isSuccess());
  }
  void onAccountDetailReply(const char* account, int requestId,
                            const xti::VendorAccountDetail* data, bool isLast,
                            const xti::XtError& error) override {
    target_->onAccountDetailReply(account, requestId, data, isLast, error);
  }
  void onAccountStatus(const char* account, int type, int status) override {
    target_->onAccountStatus(account, type, status);
    ledger_.account();
  }
  void onOrderPush(const xti::VendorOrder* data) override {
    target_->onOrderPush(data);
    ledger_.orderPush(data->m_nOrderID);
  }
  void onDealPush(const xti::VendorDeal* data) override {
    target_->onDealPush(data);
    ledger_.dealPush(data->m_nOrderID);
  }
  void onOrderErrorPush(const xti::VendorOrderError* data) override {
    target_->onOrderErrorPush(data);
  }
  void onCancelErrorPush(const xti::VendorOrderError* data) override {
    target_->onCancelErrorPush(data);
  }

 private:
  xti::XtTraderApiCallback* const target_;
  Ledger& ledger_;
};

// The counter's API object with the ledger between it and the plug-in.
class LedgerApi : public xti::XtTraderApi {
 public:
  LedgerApi(xti::XtTraderApi* counter, Ledger& ledger) : counter_(counter), ledger_(ledger) {}
  ~LedgerApi() override { delete counter_; }

  void setCallback(xti::XtTraderApiCallback* callback) override {
    callback_.reset(new LedgerCallback(callback, ledger_));
    counter_->setCallback(callback_.get());
  }
  void init(const char* path) override { counter_->init(path); }
  void shutdown() override { counter_->shutdown(); }
  void userLogin(const char* u, const char* p, int id, const char* a, const char* b,
                 const char* c) override {
    counter_->userLogin(u, p, id, a, b, c);
  }
  void userLogout(const char* u, const char* p, int id) override { counter_->userLogout(u, p, id); }
  void queryAccountDetail(const char* a, int id, const char* x) override {
    counter_->queryAccountDetail(a, id, x);
  }
  void queryOrderDetail(const char* a, int id, const char* x) override {
    counter_->queryOrderDetail(a, id, x);
  }
  void queryDealDetail(const char* a, int id, const char* x) override {
    counter_->queryDealDetail(a, id, x);
  }
  void queryPositionDetail(const char* a, int id, const char* x) override {
    counter_->queryPositionDetail(a, id, x);
  }
  void queryPosition(const char* a, int id, const char* x) override {
    counter_->queryPosition(a, id, x);
  }
  void placeOrder(const xti::COrdinaryOrder* order, int id, const char* x) override {
    counter_->placeOrder(order, id, x);
  }
  void cancelOrderById(int orderId, int id) override { counter_->cancelOrderById(orderId, id); }
  void cancelOrderByExchangeId(const char* a, const char* e, const char* x, const char* i, int id,
                               const char* extra) override {
    counter_->cancelOrderByExchangeId(a, e, x, i, id, extra);
  }

 private:
  xti::XtTraderApi* const counter_;
  Ledger& ledger_;
  std::unique_ptr<LedgerCallback> callback_;
};

// Installs the decorating factory for the test's lifetime. The counter's own
// factory runs with the hook removed for the moment of the call; sessions
// are created one at a time.
class LedgerFactory {
 public:
  explicit LedgerFactory(Ledger& ledger) : ledger_(ledger) { install(); }
  ~LedgerFactory() { xti::hooks::setApiFactory(nullptr); }

 private:
  void install() {
    xti::hooks::setApiFactory([this](const char* address) -> xti::XtTraderApi* {
      xti::hooks::setApiFactory(nullptr);
      xti::XtTraderApi* counter = xti::XtTraderApi::createXtTraderApi(address);
      install();
      return counter == nullptr ? nullptr : new LedgerApi(counter, ledger_);
    });
  }
  Ledger& ledger_;
};

ClientId hostId(int requestId) {
  return ClientId{"T" + std::to_string(requestId % kHostThreads), std::to_string(requestId)};
}

SessionConfig stressConfig() {
  SessionConfig config;
  config.userName = "stress";
  config.password = "pw";
  config.server.serverAddresses.push_back(AddressEntry{"tcp://127.0.0.1:5800", "sim"});
  return config;
}

class CounterStackTest : public ::testing::TestWithParam<bool> {
 protected:
  CounterStackTest() : config(GetParam()), factory(ledger) {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
  }

  // A logged-in session with its fund account known to the plug-in.
  TradeSessionXT* openSession(RecordingHost& recorder) {
    auto* session = static_cast<TradeSessionXT*>(CreateTradeSession());
    EXPECT_EQ(session->setConfig(stressConfig()).code, 0);
    EXPECT_EQ(session->registerSpi(&recorder).code, 0);
    EXPECT_EQ(session->connect().code, 0);
    EXPECT_TRUE(recorder.waitFor("onConnected"));
    EXPECT_EQ(session->login().code, 0);
    EXPECT_TRUE(ledger.waitForAccounts(++logins));
    return session;
  }

  CounterConfigFile config;
  Ledger ledger;
  std::size_t logins = 0;
  LedgerFactory factory;
};

// The order mix: unknown instruments and oversized orders fail at the
// counter (reply and error push); marketable orders fill at once; orders
// below the market rest until the walk reaches them; orders beyond the price
// band are accepted and then rejected by the exchange (a push).
AccountOrderNewRequest mixedOrder(int requestId, int i) {
  AccountOrderNewRequest order;
  order.codeId.exchange = 3;
  order.codeId.code = i % 6 == 0 ? "zz999" : "rb2410";
  order.clientId = hostId(requestId);
  order.quantity = i % 6 == 1 ? 100000000 : 1;
  order.priceType = 1;
  order.direction = 1;
  order.offsetFlag = 1;
  switch (i % 6) {
    case 2: order.price = 3700; break;        // crosses: fills at once
    case 3: order.price = 3650 * 1.2; break;  // beyond the band
    default: order.price = 3640 - i % 7; break;  // rests
  }
  return order;
}

TEST_P(CounterStackTest, EveryAnswerReachesTheHostOnceWithItsIdentity) {
  RecordingHost host;
  TradeSessionXT* session = openSession(host);
  ASSERT_NE(session, nullptr);
  XtClientIdSet& registry = *session->callbackReceiver()->identity->registry;

  const int perThread = kOrdersPerThread * stressScale();
  std::atomic<int> refused{0}, cancels{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kHostThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < perThread; ++i) {
        const int requestId = 1 + i * kHostThreads + t;  // hostId() names thread t
        if (session->sendOrder(requestId, mixedOrder(requestId, i)).code != 0) ++refused;
        // Cancels of this thread's order six sends back, which rested,
        // filled or was refused: by the vendor's order number if its reply
        // came (the registry knows it), else by a number the counter does not
        // know.
        const int target = i - 6;
        if (target < 0 || (target % 6 != 4 && target % 6 != 2 && target % 6 != 0)) continue;
        int orderId = 0;
        const bool known = registry.get(hostId(1 + target * kHostThreads + t), orderId);
        AccountOrderCancelRequest cancel;
        cancel.codeId.exchange = 3;
        cancel.codeId.code = "rb2410";
        cancel.clientId = ClientId{"C", std::to_string(known ? orderId : 99999999)};
        if (session->cancelOrder(kCancelBase + requestId, cancel).code != 0) ++refused;
        ++cancels;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const int orders = kHostThreads * perThread;
  ASSERT_TRUE(ledger.waitForReplies(orders, 0));
  // Second wave, every order's reply in: the threads cancel the resting
  // orders by their vendor numbers while the walk keeps filling others.
  threads.clear();
  for (int t = 0; t < kHostThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 4; i < perThread; i += 6) {
        const int requestId = 1 + i * kHostThreads + t;
        int orderId = 0;
        if (!registry.get(hostId(requestId), orderId)) continue;
        AccountOrderCancelRequest cancel;
        cancel.codeId.exchange = 3;
        cancel.codeId.code = "rb2410";
        cancel.clientId = ClientId{"C", std::to_string(orderId)};
        if (session->cancelOrder(2 * kCancelBase + requestId, cancel).code != 0) ++refused;
        ++cancels;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(refused.load(), 0);
  ASSERT_TRUE(ledger.waitForReplies(orders, cancels.load()));
  const std::size_t pendingOrders = session->callbackReceiver()->identity->newOrderBook->size();
  const std::size_t pendingCancels = session->callbackReceiver()->identity->cancelBook->size();
  ASSERT_EQ(session->release().code, 0);  // no callback after this
  EXPECT_EQ(pendingOrders, 0u);
  EXPECT_EQ(pendingCancels, 0u);

  std::map<int, int> reports;  // request number -> failure reports
  int orderEvents = 0, fills = 0;
  for (const HostEvent& event : host.events()) {
    const bool order = event.name == "onOrderRejected" || event.name == "onOrderCanceled";
    if (order && event.status.code == -1) {
      ++reports[event.requestId];
      const bool isCancel = event.requestId >= kCancelBase;
      EXPECT_EQ(event.name, isCancel ? "onOrderCanceled" : "onOrderRejected");
      if (!isCancel) {
        EXPECT_EQ(event.order->clientId, hostId(event.requestId));
      }
      continue;
    }
    const ClientId* id = nullptr;
    if (order) id = &event.order->clientId;
    if (event.name == "onOrderAccepted") id = &event.accepted->clientId;
    if (event.name == "onOrderFilled") id = &event.filled->clientId;
    if (event.name == "onFill") {
      id = &event.fill->clientId;
      ++fills;
    }
    if (id == nullptr) continue;
    ++orderEvents;
    SCOPED_TRACE(event.name + " " + id->prefix + "/" + id->serial);
    ASSERT_EQ(id->prefix.substr(0, 1), "T") << "a push without the host's id";
    EXPECT_EQ(*id, hostId(std::stoi(id->serial)));
  }

  int failedOrders = 0, failedCancels = 0;
  for (const auto& entry : ledger.orderReplies()) {
    SCOPED_TRACE("order " + std::to_string(entry.first));
    ASSERT_EQ(entry.second.size(), 1u) << "one reply per order";
    const bool ok = entry.second[0];
    failedOrders += !ok;
    EXPECT_EQ(reports[entry.first], ok ? 0 : 1);
  }
  for (const auto& entry : ledger.cancelReplies()) {
    SCOPED_TRACE("cancel " + std::to_string(entry.first));
    const bool ok = entry.second[0];
    failedCancels += !ok;
    EXPECT_EQ(reports[entry.first], ok ? 0 : 1);
  }
  EXPECT_EQ(ledger.orderReplies().size(), static_cast<std::size_t>(orders));
  EXPECT_EQ(ledger.cancelReplies().size(), static_cast<std::size_t>(cancels.load()));
  EXPECT_EQ(static_cast<std::size_t>(fills), ledger.dealPushes());
  EXPECT_GT(failedOrders, 0);
  EXPECT_GT(failedCancels, 0);
  EXPECT_LT(failedCancels, cancels.load()) << "some cancels reached resting orders";
  EXPECT_GT(orderEvents, 0);
  std::printf(
      "counter stress (%s): %d orders (%d failed), %d cancels (%d failed), %zu order pushes, "
      "%zu deal pushes\n",
      GetParam() ? "synchronous" : "asynchronous", orders, failedOrders, cancels.load(),
      failedCancels, ledger.orderPushes(), ledger.dealPushes());
}

TEST_P(CounterStackTest, EndWhileTheCounterWalksOverRestingOrders) {
  const int cycles = kReleaseCycles * stressScale();
  long events = 0;
  int deleted = 0;
  for (int cycle = 0; cycle < cycles; ++cycle) {
    SCOPED_TRACE("cycle " + std::to_string(cycle));
    RecordingHost host;
    TradeSessionXT* session = openSession(host);
    // Resting orders on both sides of the market: the walk fills some of
    // them while the session is being released.
    for (int i = 0; i < 30; ++i) {
      AccountOrderNewRequest order = mixedOrder(10 + i, 4);
      order.price = 3650 + (i % 2 == 0 ? -1 : 1) * (1 + i / 2);
      order.direction = i % 2 == 0 ? 1 : 2;
      ASSERT_EQ(session->sendOrder(10 + i, order).code, 0);
    }
    if (cycle % 10 == 9) {
      // Every tenth session is deleted while connected, without release():
      // the counter's API object is stopped and deleted first.
      delete session;
      const std::size_t afterDelete = host.total();
      EXPECT_EQ(host.count("onDisconnected"), 0u);
      // A session made now gets a new counter; the old one stays silent.
      TradeSessionXT* next = openSession(host);
      ASSERT_EQ(next->release().code, 0);
      EXPECT_GT(host.total(), afterDelete);
      EXPECT_EQ(host.count("onDisconnected"), 1u);
      ++deleted;
    } else {
      ASSERT_EQ(session->release().code, 0);
      EXPECT_EQ(host.count("onDisconnected"), 1u);
    }
    const std::vector<HostEvent> seen = host.events();
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back().name, "onDisconnected") << "nothing after onDisconnected";
    events += static_cast<long>(host.total());
    if (HasFailure()) break;
  }
  std::printf("release over the counter (%s): %d cycles (%d deleted without release), %ld host "
              "events\n",
              GetParam() ? "synchronous" : "asynchronous", cycles, deleted, events);
}

INSTANTIATE_TEST_SUITE_P(CounterModes, CounterStackTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return std::string(info.param ? "Synchronous" : "Asynchronous");
                         });

}  // namespace
}  // namespace testing
}  // namespace kestrel
