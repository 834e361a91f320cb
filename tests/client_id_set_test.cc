// The client-id registry: re-keying from request number to vendor order id.
#include "identity/client_id_set.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace kestrel {
namespace {

ClientId id(const char* prefix, const char* serial) { return ClientId{prefix, serial}; }

TEST(XtClientIdSet, UpdateReKeysToTheVendorOrderId) {
  XtClientIdSet set;
  set.add(5, id("A1", "0007"));
  ClientId out;
  EXPECT_FALSE(set.get(900, out)) << "not filed under the order id before update";
  ASSERT_TRUE(set.update(5, 900));
  ASSERT_TRUE(set.get(900, out));
  EXPECT_EQ(out, id("A1", "0007"));
  int orderId = 0;
  ASSERT_TRUE(set.get(id("A1", "0007"), orderId));
  EXPECT_EQ(orderId, 900);
}

TEST(XtClientIdSet, UnknownKeysChangeNothing) {
  XtClientIdSet set;
  EXPECT_FALSE(set.update(1, 10));
  ClientId out{"keep", "me"};
  EXPECT_FALSE(set.get(10, out));
  EXPECT_EQ(out, id("keep", "me"));
  int orderId = 77;
  EXPECT_FALSE(set.get(id("x", "y"), orderId));
  EXPECT_EQ(orderId, 77);
}

TEST(XtClientIdSet, SecondAddReplacesTheFirst) {
  XtClientIdSet set;
  set.add(3, id("first", "1"));
  set.add(3, id("second", "2"));
  ASSERT_TRUE(set.update(3, 30));
  ClientId out;
  ASSERT_TRUE(set.get(30, out));
  EXPECT_EQ(out, id("second", "2"));
  int orderId = 0;
  EXPECT_FALSE(set.get(id("first", "1"), orderId));
}

TEST(XtClientIdSet, UpdatingTwiceMapsBothOrdersAndKeepsTheLaterForTheKey) {
  XtClientIdSet set;
  set.add(4, id("p", "s"));
  ASSERT_TRUE(set.update(4, 40));
  ASSERT_TRUE(set.update(4, 41));
  ASSERT_TRUE(set.update(4, 41));  // repeated: same state
  ClientId a, b;
  ASSERT_TRUE(set.get(40, a));
  ASSERT_TRUE(set.get(41, b));
  EXPECT_EQ(a, b);
  int orderId = 0;
  ASSERT_TRUE(set.get(id("p", "s"), orderId));
  EXPECT_EQ(orderId, 41);
}

TEST(XtClientIdSet, IdsWhoseKeysCoincideShareOneKeyEntry) {
  // "a@b" + "@" + "c" and "a" + "@" + "b@c" both join to "a@b@c".
  XtClientIdSet set;
  set.add(1, id("a@b", "c"));
  set.add(2, id("a", "b@c"));
  ASSERT_TRUE(set.update(1, 100));
  ASSERT_TRUE(set.update(2, 200));
  int orderId = 0;
  ASSERT_TRUE(set.get(id("a@b", "c"), orderId));
  EXPECT_EQ(orderId, 200);
  ClientId out;
  ASSERT_TRUE(set.get(100, out));
  EXPECT_EQ(out, id("a@b", "c"));  // the order map keeps each id apart
  EXPECT_EQ(clientIdKey(ClientId{}), "@");
}

TEST(XtClientIdSet, KeepsBytesAndOddRequestNumbers) {
  XtClientIdSet set;
  const ClientId gbk{"\xCE\xDE\xD0\xA7", std::string("\x00\xFF", 2)};
  set.add(0, gbk);
  set.add(-7, ClientId{});
  ASSERT_TRUE(set.update(0, -1));
  ASSERT_TRUE(set.update(-7, 0));
  ClientId out;
  ASSERT_TRUE(set.get(-1, out));
  EXPECT_EQ(out, gbk);
  ASSERT_TRUE(set.get(0, out));
  EXPECT_EQ(out, ClientId{});
}

TEST(XtClientIdSet, ConcurrentAddUpdateGetStayConsistent) {
  XtClientIdSet set;
  constexpr int kPerThread = 2000;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&set, t] {
      for (int i = 0; i < kPerThread; ++i) {
        const int request = t * kPerThread + i;
        set.add(request, ClientId{"T" + std::to_string(t), std::to_string(i)});
        ASSERT_TRUE(set.update(request, request + 1000000));
        ClientId out;
        ASSERT_TRUE(set.get(request + 1000000, out));
        ASSERT_EQ(out.serial, std::to_string(i));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  int orderId = 0;
  ASSERT_TRUE(set.get(ClientId{"T3", "1999"}, orderId));
  EXPECT_EQ(orderId, 3 * kPerThread + 1999 + 1000000);
}

}  // namespace
}  // namespace kestrel
