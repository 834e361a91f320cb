// The simulated counter's threads: where and when callbacks arrive, what
// shutdown guarantees (also from inside a callback), joinAll, deleting the
// API object, the reply latency and the timed price walk.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "broker/simulated_counter.h"
#include "tests/broker_recorder.h"

namespace xti {
namespace sim {
namespace testing {
namespace {

// A one-shot gate: wait() blocks until open().
class Gate {
 public:
  void open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  bool wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

TEST(BrokerThreadsTest, AnswersArriveInOrderOnOneCallbackThread) {
  Session s("");
  s.connect();
  s.api->userLogin("demo", "demo123", 1, nullptr, nullptr, nullptr);
  const COrdinaryOrder order = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 3, 3650);
  s.api->placeOrder(&order, 2, "");
  s.api->queryDealDetail("88001234", 3, "");
  ASSERT_TRUE(s.recorder.waitFor(8));
  EXPECT_EQ(s.recorder.kinds(), (std::vector<std::string>{"connected", "login", "accountStatus",
                                                          "orderReply", "order", "order", "deal",
                                                          "deals"}));
  std::set<std::thread::id> threads;
  for (const Recorded& e : s.recorder.events()) threads.insert(e.thread);
  EXPECT_EQ(threads.size(), 1u);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 0u);
}

TEST(BrokerThreadsTest, SynchronousModeAnswersInsideTheCall) {
  Session s("synchronous = true");
  s.api->init(s.file.path().c_str());
  EXPECT_EQ(s.recorder.size(), 1u);  // no waiting: onConnected came inside init
  const COrdinaryOrder order = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650);
  s.api->userLogin("demo", "demo123", 1, nullptr, nullptr, nullptr);
  s.api->placeOrder(&order, 2, "");
  EXPECT_EQ(s.recorder.size(), 7u);
  for (const Recorded& e : s.recorder.events()) {
    SCOPED_TRACE(e.kind);
    EXPECT_EQ(e.thread, std::this_thread::get_id());
  }
  // The market tools answer the same way.
  const COrdinaryOrder resting = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3600);
  s.api->placeOrder(&resting, 3, "");
  s.recorder.clear();
  s.api->setReferencePrice("rb2410", 3590);
  EXPECT_EQ(s.recorder.kinds(), (std::vector<std::string>{"order", "deal"}));
}

TEST(BrokerThreadsTest, RequestsReturnAtOnceAndShutdownDropsWhatIsQueued) {
  Session s("reply_latency_ms = 60000");
  s.api->init(s.file.path().c_str());
  s.api->userLogin("demo", "demo123", 1, nullptr, nullptr, nullptr);
  EXPECT_EQ(s.recorder.size(), 0u);  // the answers wait out the latency on the callback thread
  s.api->shutdown();                 // returns without waiting for them
  s.api->userLogin("demo", "demo123", 2, nullptr, nullptr, nullptr);
  s.api.reset();
  EXPECT_EQ(s.recorder.size(), 0u);
}

TEST(BrokerThreadsTest, LatencyDelaysEveryAnswer) {
  Session s("reply_latency_ms = 40");
  const auto start = std::chrono::steady_clock::now();
  s.api->init(s.file.path().c_str());
  ASSERT_TRUE(s.recorder.waitFor(1));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
}

TEST(BrokerThreadsTest, NoCallbackAfterShutdownReturnsWhileOneIsInFlight) {
  Session s("");
  s.connectAndLogin();
  Gate inCallback, release, shutdownCalling;
  std::atomic<bool> callbackFinished{false};
  std::atomic<bool> finishedBeforeShutdownReturned{false};
  s.recorder.react([&](const Recorded& e) {
    if (e.kind != "orderReply") return;
    inCallback.open();
    release.wait();
    callbackFinished = true;
  });
  const COrdinaryOrder order = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650);
  s.api->placeOrder(&order, 2, "");  // the reply blocks; three pushes wait behind it
  ASSERT_TRUE(inCallback.wait());
  std::size_t countAtReturn = 0;
  std::thread stopper([&] {
    shutdownCalling.open();
    s.api->shutdown();
    finishedBeforeShutdownReturned = callbackFinished.load();
    countAtReturn = s.recorder.size();
  });
  ASSERT_TRUE(shutdownCalling.wait());
  release.open();
  stopper.join();
  EXPECT_TRUE(finishedBeforeShutdownReturned);
  joinSimulatedThreads();  // the callback thread has ended: nothing can come later
  EXPECT_EQ(s.recorder.size(), countAtReturn);
  // Usually only the reply; the pushes behind it only if shutdown began late.
  const std::vector<std::string> all = {"orderReply", "order", "order", "deal"};
  const std::vector<std::string> kinds = s.recorder.kinds();
  ASSERT_LE(kinds.size(), all.size());
  EXPECT_TRUE(std::equal(kinds.begin(), kinds.end(), all.begin()));
}

TEST(BrokerThreadsTest, ShutdownFromInsideACallbackDoesNotWaitForItself) {
  for (const char* behaviour : {"", "synchronous = true"}) {
    SCOPED_TRACE(behaviour);
    Session s(behaviour);
    s.connectAndLogin();
    s.recorder.react([&](const Recorded& e) {
      if (e.kind == "orderReply") s.api->shutdown();
    });
    const COrdinaryOrder order = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650);
    s.api->placeOrder(&order, 2, "");
    ASSERT_TRUE(s.recorder.waitFor(1));
    joinSimulatedThreads();
    EXPECT_EQ(s.recorder.kinds(), (std::vector<std::string>{"orderReply"}));
  }
}

TEST(BrokerThreadsTest, JoinAllReturnsOnceEveryObjectIsShutDown) {
  Session first(""), second("");
  first.connect();
  second.connect();
  std::atomic<bool> joined{false};
  std::thread waiter([&] {
    joinSimulatedThreads();
    joined = true;
  });
  first.api->shutdown();
  second.api->shutdown();
  waiter.join();
  EXPECT_TRUE(joined);
  // Objects stay usable for deletion; a request after shutdown answers nothing.
  first.api->queryPosition("88001234", 1, "");
  EXPECT_EQ(first.recorder.size(), 1u);
}

TEST(BrokerThreadsTest, DeletingTheObjectFromItsOwnCallbackIsSafe) {
  TempFile file("delete_from_callback", configText(""));
  Recorder recorder;
  XtTraderApi* api = createSimulatedApi("127.0.0.1:7001");
  ASSERT_NE(api, nullptr);
  api->setCallback(&recorder);
  recorder.react([&](const Recorded& e) {
    if (e.kind == "connected") delete api;
  });
  api->init(file.path().c_str());
  ASSERT_TRUE(recorder.waitFor(1));
  joinSimulatedThreads();
  EXPECT_EQ(recorder.size(), 1u);
}

TEST(BrokerThreadsTest, FactoryRefusesUnusableAddresses) {
  struct Case {
    const char* address;
    bool usable;
  };
  const Case cases[] = {
      {"127.0.0.1:7001", true}, {"counter.example:1", true}, {"[::1]:65535", true},
      {nullptr, false},         {"", false},                 {"127.0.0.1", false},
      {":7001", false},         {"host:", false},            {"host:0", false},
      {"host:65536", false},    {"host:70a", false},         {"host:-1", false},
      {"my host:7001", false},  {"host:123456", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.address != nullptr ? c.address : "<null>");
    XtTraderApi* api = createSimulatedApi(c.address);
    EXPECT_EQ(api != nullptr, c.usable);
    if (api != nullptr) {
      api->shutdown();
      delete api;
    }
  }
}

TEST(BrokerThreadsTest, TimedPriceWalkFillsARestingOrder) {
  Session s("price_walk_ms = 1\nprice_walk_ticks = 5");
  s.connectAndLogin();
  // One tick inside on each side: the walk crosses one of them within a few steps.
  const COrdinaryOrder buy = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3649);
  const COrdinaryOrder sell = makeOrder("rb2410", "SHFE", OPT_OPEN_SHORT, 1, 3651);
  s.api->placeOrder(&buy, 2, "");
  s.api->placeOrder(&sell, 3, "");
  ASSERT_TRUE(s.recorder.waitFor(6));  // two replies, two acceptances, a fill and its deal
  const std::vector<Recorded> e = s.recorder.events();
  bool filled = false;
  for (const Recorded& r : e) filled = filled || r.kind == "deal";
  EXPECT_TRUE(filled);
}

}  // namespace
}  // namespace testing
}  // namespace sim
}  // namespace xti
