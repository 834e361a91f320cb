// The simulated counter's threads: where and when callbacks arrive, what
// shutdown guarantees (also from inside a callback), joinAll, deleting the
// API object, the address check, the reply latency and the timed price walk.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <thread>

#include "broker/simulated_counter.h"
#include "tests/broker_recorder.h"

namespace xti {
namespace sim {
namespace testing {
namespace {

const auto kWait = std::chrono::seconds(10);

// Also joinAll: it returns once every object's thread has ended.
TEST(BrokerThreadsTest, AnswersArriveInOrderOnEachObjectsOwnThread) {
  Session first(""), second("");
  for (Session* s : {&first, &second}) {
    s->connect();
    s->login("demo", "demo123");
    s->place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 3, 3650), 2);
    s->api->queryDealDetail("88001234", 3, "");
  }
  std::set<std::thread::id> threads;
  for (Session* s : {&first, &second}) {
    ASSERT_TRUE(s->recorder.waitFor(8));
    EXPECT_EQ(s->recorder.kinds(), (Kinds{"connected", "login", "accountStatus", "orderReply",
                                          "order", "order", "deal", "deals"}));
    std::set<std::thread::id> own;
    for (const Recorded& e : s->recorder.events()) own.insert(e.thread);
    EXPECT_EQ(own.size(), 1u);
    threads.insert(own.begin(), own.end());
  }
  EXPECT_EQ(threads.size(), 2u);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 0u);

  std::atomic<bool> joined{false};
  std::thread waiter([&] {
    joinSimulatedThreads();
    joined = true;
  });
  first.api->shutdown();
  EXPECT_FALSE(joined);  // the second object's thread still runs
  second.api->shutdown();
  waiter.join();
}

TEST(BrokerThreadsTest, SynchronousModeAnswersInsideTheCall) {
  Session s("synchronous = true");
  s.api->init(s.file.path().c_str());
  EXPECT_EQ(s.recorder.size(), 1u);  // no waiting: onConnected came inside init
  s.login("demo", "demo123");
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650), 2);
  EXPECT_EQ(s.recorder.size(), 7u);
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3600), 3);
  s.api->setReferencePrice("rb2410", 3590);  // the market tools answer the same way
  EXPECT_EQ(s.recorder.size(), 7u + 4u);
  for (const Recorded& e : s.recorder.events()) {
    EXPECT_EQ(e.thread, std::this_thread::get_id()) << e.kind;
  }
}

TEST(BrokerThreadsTest, LatencyDelaysAnswersAndShutdownDropsWhatIsQueued) {
  Session slow("reply_latency_ms = 40");
  const auto start = std::chrono::steady_clock::now();
  slow.connect();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));

  Session s("reply_latency_ms = 60000");
  s.api->init(s.file.path().c_str());
  s.login("demo", "demo123");
  EXPECT_EQ(s.recorder.size(), 0u);  // the calls returned; the answers wait out the latency
  s.api->shutdown();                 // returns without waiting for them
  s.login("demo", "demo123", 2);
  s.api.reset();
  EXPECT_EQ(s.recorder.size(), 0u);
}

TEST(BrokerThreadsTest, NoCallbackAfterShutdownReturnsWhileOneIsInFlight) {
  Session s("");
  s.connectAndLogin();
  std::promise<void> inCallback, release, stopping;
  std::shared_future<void> released = release.get_future().share();
  std::atomic<bool> callbackFinished{false};
  s.recorder.react([&](const Recorded& e) {
    if (e.kind != "orderReply") return;
    inCallback.set_value();
    released.wait_for(kWait);
    callbackFinished = true;
  });
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650), 2);  // 3 pushes wait behind
  ASSERT_EQ(inCallback.get_future().wait_for(kWait), std::future_status::ready);
  bool finishedFirst = false;
  std::size_t countAtReturn = 0;
  std::thread stopper([&] {
    stopping.set_value();
    s.api->shutdown();
    finishedFirst = callbackFinished;
    countAtReturn = s.recorder.size();
  });
  stopping.get_future().wait();
  release.set_value();
  stopper.join();
  EXPECT_TRUE(finishedFirst);
  joinSimulatedThreads();  // the callback thread has ended: nothing can come later
  EXPECT_EQ(s.recorder.size(), countAtReturn);
  // Usually only the reply; the pushes behind it only if shutdown began late.
  const Kinds all = {"orderReply", "order", "order", "deal"}, kinds = s.recorder.kinds();
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
    s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650), 2);
    ASSERT_TRUE(s.recorder.waitFor(1));
    joinSimulatedThreads();
    EXPECT_EQ(s.recorder.kinds(), Kinds{"orderReply"});
  }
}

TEST(BrokerThreadsTest, DeletingTheObjectFromItsOwnCallbackIsSafe) {
  TempFile file(configText(""));
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
  for (const char* address : {"127.0.0.1:7001", "counter.example:1", "[::1]:65535"}) {
    std::unique_ptr<XtTraderApi> api(createSimulatedApi(address));
    EXPECT_NE(api, nullptr) << address;
  }
  for (const char* address : {"", "127.0.0.1", ":7001", "host:", "host:0", "host:65536", "host:70a",
                              "host:-1", "my host:7001", "host:123456"}) {
    EXPECT_EQ(createSimulatedApi(address), nullptr) << address;
  }
  EXPECT_EQ(createSimulatedApi(nullptr), nullptr);
}

TEST(BrokerThreadsTest, TimedPriceWalkFillsARestingOrder) {
  Session s("price_walk_ms = 1\nprice_walk_ticks = 5");
  s.connectAndLogin();
  // One tick inside on each side: the walk crosses one of them within a few steps.
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3649), 2);
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_SHORT, 1, 3651), 3);
  ASSERT_TRUE(s.recorder.waitFor(6));  // two replies, two acceptances, a fill and its deal
  EXPECT_FALSE(s.recorder.eventsOf("deal").empty());
}

}  // namespace
}  // namespace testing
}  // namespace sim
}  // namespace xti
