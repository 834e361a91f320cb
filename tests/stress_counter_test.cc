// Stress and teardown through the real stack: the plug-in's session over the
// simulated counter (broker/) in its asynchronous and synchronous modes, the
// price walk filling resting orders on the counter's thread. A decorator
// around the counter's API object keeps the counter's own ledger of what it
// answered, which the host's record is checked against. Sized by
// KS_STRESS_SCALE.
#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "broker/vendor_hooks.h"
#include "tests/support/session_fixture.h"

namespace kestrel {
namespace testing {
namespace {

constexpr int kHostThreads = 4;
constexpr int kOrdersPerThread = 100;
constexpr int kCancelBase = 1000000;  // cancel request numbers; orders stay below
constexpr int kReleaseCycles = 100;   // per answer mode: 200 releases under load per run

const char kConfigAfterMode[] = R"(
price_walk_ms = 1
price_walk_ticks = 3
error_push = true
[user trader1]
password = secret
accounts = S100
[account S100]
cash = 100000000
[instrument rb2410]
exchange = SHFE
price = 3650
tick = 1
)";

// The counter's answers, noted after the plug-in's receiver handled each:
// the test points the counter's API object at the ledger once the session
// has connected, and the ledger passes every callback on.
class Ledger : public xti::XtTraderApiCallback {
 public:
  std::map<int, std::vector<bool>> replies;  // request number -> outcome of each reply
  std::map<int, int> requestOf;              // vendor order number -> request number
  std::map<int, int> deals;                  // vendor order number -> deal pushes
  long accounts = 0;                         // fund accounts named after logins
  xti::XtTraderApiCallback* to = nullptr;    // the receiver

  void waitUntil(const std::function<bool()>& ready) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, ready);
  }
  void onConnected(bool ok, const char* text) override { to->onConnected(ok, text); }
  void onUserLogin(const char* u, const char* p, int id, const xti::XtError& e) override {
    to->onUserLogin(u, p, id, e);
  }
  void onOrderReply(int id, int orderId, const char* r, const xti::XtError& e) override {
    to->onOrderReply(id, orderId, r, e);
    note([&] {
      replies[id].push_back(e.isSuccess());
      if (e.isSuccess()) requestOf[orderId] = id;
    });
  }
  void onCancelReply(int id, const xti::XtError& e) override {
    to->onCancelReply(id, e);
    note([&] { replies[id].push_back(e.isSuccess()); });
  }
  void onCancelReply2(int id, const xti::XtError& e) override {
    to->onCancelReply2(id, e);
    note([&] { replies[id].push_back(e.isSuccess()); });
  }
  void onAccountStatus(const char* account, int type, int status) override {
    to->onAccountStatus(account, type, status);
    note([&] { ++accounts; });
  }
  void onOrderPush(const xti::VendorOrder* d) override { to->onOrderPush(d); }
  void onDealPush(const xti::VendorDeal* d) override {
    to->onDealPush(d);
    note([&] { ++deals[d->m_nOrderID]; });
  }
  void onOrderErrorPush(const xti::VendorOrderError* d) override { to->onOrderErrorPush(d); }
  void onCancelErrorPush(const xti::VendorOrderError* d) override { to->onCancelErrorPush(d); }

 private:
  void note(const std::function<void()>& change) {
    std::lock_guard<std::mutex> lock(mutex_);
    change();
    changed_.notify_all();
  }
  std::mutex mutex_;
  std::condition_variable changed_;
};

ClientId hostId(int requestId) {
  return ClientId{"T" + std::to_string(requestId % kHostThreads), std::to_string(requestId)};
}

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
  order.direction = 1;
  order.offsetFlag = 1;
  order.price = i % 6 == 2 ? 3700 : i % 6 == 3 ? 3650 * 1.2 : 3640 - i % 7;
  return order;
}

// Request i of thread t has the number 1 + i * kHostThreads + t.
void onEveryThread(const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kHostThreads; ++t) threads.emplace_back(body, t);
  for (std::thread& thread : threads) thread.join();
}

class CounterStackTest : public ::testing::TestWithParam<bool> {
 protected:
  CounterStackTest()
      : config(std::string("[behaviour]\nsynchronous = ") + (GetParam() ? "true" : "false") +
               kConfigAfterMode) {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
    installFactory();
  }
  ~CounterStackTest() override { xti::hooks::setApiFactory(nullptr); }

  // The counter's own factory runs with the hook removed for the moment of
  // the call, which notes the API object; sessions are made one at a time.
  void installFactory() {
    xti::hooks::setApiFactory([this](const char* address) {
      xti::hooks::setApiFactory(nullptr);
      api = xti::XtTraderApi::createXtTraderApi(address);
      installFactory();
      return api;
    });
  }

  // A logged-in session with its fund account known to the plug-in.
  TradeSessionXT* openSession(RecordingHost& host) {
    auto* session = static_cast<TradeSessionXT*>(CreateTradeSession());
    EXPECT_EQ(session->setConfig(configWithAddress("tcp://127.0.0.1:5800")).code, 0);
    EXPECT_EQ(session->registerSpi(&host).code, 0);
    EXPECT_EQ(session->connect().code, 0);
    ledger.to = &session->TEST_receiver();
    api->setCallback(&ledger);
    host.waitFor("onConnected");
    EXPECT_EQ(session->login().code, 0);
    const long logins = ++loggedIn;
    ledger.waitUntil([&] { return ledger.accounts >= logins; });
    return session;
  }

  // Cancels vendor order `orderId` by its number; 0: by an exchange order id
  // no order has, which the counter refuses through its second cancel reply.
  static void cancel(TradeSessionXT* session, int requestId, int orderId) {
    AccountOrderCancelRequest cancel;
    cancel.codeId.exchange = 3;
    cancel.codeId.code = "rb2410";
    cancel.clientId = ClientId{"C" + std::to_string(requestId), std::to_string(orderId)};
    if (orderId == 0) cancel.exchangeOrderId = "none";
    EXPECT_EQ(session->cancelOrder(requestId, cancel).code, 0);
  }

  void waitForReplies(std::size_t count) {
    ledger.waitUntil([&] { return ledger.replies.size() >= count; });
  }

  const CounterConfigFile config;
  Ledger ledger;
  xti::XtTraderApi* api = nullptr;  // the newest session's
  long loggedIn = 0;
};

TEST_P(CounterStackTest, EveryAnswerReachesTheHostOnceWithItsIdentity) {
  RecordingHost host;
  TradeSessionXT* session = openSession(host);
  XtClientIdSet& registry = *session->TEST_receiver().TEST_identity().registry;
  const int perThread = kOrdersPerThread * stressScale();
  const std::size_t orders = static_cast<std::size_t>(kHostThreads * perThread);
  std::atomic<std::size_t> cancels{0};
  // First wave: orders, each even one followed by a cancel of this thread's
  // order six sends back (resting, filled or refused), by its vendor number
  // if its reply came, else by an unknown exchange order id.
  onEveryThread([&](int t) {
    for (int i = 0; i < perThread; ++i) {
      const int requestId = 1 + i * kHostThreads + t;
      EXPECT_EQ(session->sendOrder(requestId, mixedOrder(requestId, i)).code, 0);
      if (i < 6 || i % 2 != 0) continue;
      int orderId = 0;
      registry.get(hostId(requestId - 6 * kHostThreads), orderId);
      cancel(session, kCancelBase + requestId, orderId);
      ++cancels;
    }
  });
  waitForReplies(orders + cancels);
  // Second wave, every order's reply in: the resting orders are cancelled by
  // their vendor numbers while the walk keeps filling others.
  onEveryThread([&](int t) {
    for (int i = 4; i < perThread; i += 6) {
      const int requestId = 1 + i * kHostThreads + t;
      int orderId = 0;
      if (!registry.get(hostId(requestId), orderId)) continue;
      cancel(session, 2 * kCancelBase + requestId, orderId);
      ++cancels;
    }
  });
  waitForReplies(orders + cancels);
  const OrderIdentityContext& identity = session->TEST_receiver().TEST_identity();
  const std::size_t pending = identity.newOrderBook->size() + identity.cancelBook->size();
  ASSERT_EQ(session->release().code, 0);  // no callback after this
  EXPECT_EQ(pending, 0u) << "every request was answered";

  std::map<int, int> reports, fills;  // request number -> failure reports; -> fills
  for (const HostEvent& event : host.events()) {
    const ClientId* id = event.clientId();
    if (id == nullptr || event.orderDetail) continue;
    const std::string text = id->prefix + "/" + id->serial;
    if (event.requestId != -1) {
      const bool isCancel = event.requestId >= kCancelBase;
      ++reports[event.requestId];
      EXPECT_EQ(event.name, isCancel ? "onOrderCanceled" : "onOrderRejected");
      EXPECT_EQ(event.status.code, -1);
      EXPECT_EQ(isCancel ? id->prefix : text,
                isCancel ? "C" + std::to_string(event.requestId)
                         : hostId(event.requestId).prefix + "/" + std::to_string(event.requestId));
      continue;
    }
    ASSERT_EQ(id->prefix.substr(0, 1), "T") << event.name << " without the host's id";
    EXPECT_EQ(*id, hostId(std::stoi(id->serial))) << event.name;
    if (event.fill) ++fills[std::stoi(id->serial)];
  }
  int failed[2] = {0, 0};  // orders, cancels
  for (const auto& [requestId, outcomes] : ledger.replies) {
    ASSERT_EQ(outcomes.size(), 1u) << "one reply per request " << requestId;
    EXPECT_EQ(reports[requestId], outcomes[0] ? 0 : 1) << "request " << requestId;
    failed[requestId >= kCancelBase] += !outcomes[0];
  }
  EXPECT_EQ(reports.size(), ledger.replies.size()) << "a report for a request never answered";
  EXPECT_EQ(ledger.replies.size(), orders + cancels);
  std::map<int, int> dealsByRequest;
  for (const auto& [orderId, count] : ledger.deals)
    dealsByRequest[ledger.requestOf.at(orderId)] += count;
  EXPECT_EQ(fills, dealsByRequest) << "each fill reached the host with its order's id";
  EXPECT_GT(failed[0], 0);
  EXPECT_GT(failed[1], 0);
  EXPECT_LT(static_cast<std::size_t>(failed[1]), cancels.load()) << "some cancels succeeded";
}

// Releases sessions while the walk fills their resting orders; every tenth
// cycle first deletes such a session without release().
TEST_P(CounterStackTest, EndWhileTheCounterWalksOverRestingOrders) {
  const int cycles = kReleaseCycles * stressScale();
  std::size_t fills = 0;
  for (int cycle = 0; cycle < cycles && !HasFailure(); ++cycle) {
    SCOPED_TRACE("cycle " + std::to_string(cycle));
    RecordingHost deleted, host;
    // Resting orders on both sides of the market.
    auto openLoaded = [&](RecordingHost& recorder) {
      TradeSessionXT* session = openSession(recorder);
      for (int i = 0; i < 30; ++i) {
        AccountOrderNewRequest order = mixedOrder(10 + i, 4);
        order.price = 3650 + (i % 2 == 0 ? -1 : 1) * (1 + i / 2);
        order.direction = i % 2 == 0 ? 1 : 2;
        EXPECT_EQ(session->sendOrder(10 + i, order).code, 0);
      }
      return session;
    };
    std::size_t afterDelete = 0;
    if (cycle % 10 == 5) {
      delete openLoaded(deleted);  // stops and deletes the counter's API object first
      afterDelete = deleted.total();
    }
    ASSERT_EQ(openLoaded(host)->release().code, 0);
    ASSERT_EQ(host.count("onDisconnected"), 1u);
    EXPECT_EQ(host.events().back().name, "onDisconnected") << "nothing after onDisconnected";
    EXPECT_EQ(deleted.total(), afterDelete) << "nothing after the delete";
    EXPECT_EQ(deleted.count("onDisconnected"), 0u);
    fills += host.count("onFill");
  }
  EXPECT_GT(fills, 0u) << "the walk filled resting orders while the sessions ran";
}

INSTANTIATE_TEST_SUITE_P(CounterModes, CounterStackTest, ::testing::Values(false, true),
                         answerModeName);

}  // namespace
}  // namespace testing
}  // namespace kestrel
