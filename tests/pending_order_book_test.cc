// The pending-order book: each filed request reaches at most one answer.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "identity/order_identity_context.h"

namespace kestrel {
namespace {

AccountOrderNewRequest order(const char* serial, int64_t quantity) {
  AccountOrderNewRequest request;
  request.clientId = ClientId{"P", serial};
  request.quantity = quantity;
  return request;
}

TEST(PendingOrderBook, TakeHandsOutTheCopyOnce) {
  NewOrderBook book;
  book.put(0, order("a", 1));
  book.put(-3, order("b", 2));
  AccountOrderNewRequest out;
  ASSERT_TRUE(book.take(-3, out));
  EXPECT_EQ(out.clientId.serial, "b");
  AccountOrderNewRequest untouched = order("keep", 9);
  EXPECT_FALSE(book.take(-3, untouched));  // a failure push after the failure reply
  EXPECT_EQ(untouched.clientId.serial, "keep");
  ASSERT_TRUE(book.take(0, out));
  EXPECT_EQ(out.quantity, 1);
  EXPECT_EQ(book.size(), 0u);
}

TEST(PendingOrderBook, EraseThenTakeFindsNothing) {
  CancelBook book;
  AccountOrderCancelRequest cancel;
  cancel.exchangeOrderId = "X1";
  book.put(8, cancel);
  book.erase(8);  // success reply
  book.erase(8);  // harmless again
  AccountOrderCancelRequest out;
  EXPECT_FALSE(book.take(8, out));
}

TEST(PendingOrderBook, SecondPutReplacesTheFirst) {
  NewOrderBook book;
  book.put(1, order("first", 1));
  book.put(1, order("second", 2));
  AccountOrderNewRequest out;
  ASSERT_TRUE(book.take(1, out));
  EXPECT_EQ(out.clientId.serial, "second");
  EXPECT_FALSE(book.contains(1));
}

TEST(PendingOrderBook, ConcurrentTakesOfOneEntryHaveOneWinner) {
  for (int round = 0; round < 200; ++round) {
    NewOrderBook book;
    book.put(42, order("x", round));
    std::atomic<int> winners{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        while (!go.load()) std::this_thread::yield();
        AccountOrderNewRequest out;
        if (book.take(42, out)) {
          EXPECT_EQ(out.quantity, round);
          ++winners;
        }
      });
    }
    go.store(true);
    for (auto& thread : threads) thread.join();
    ASSERT_EQ(winners.load(), 1) << "round " << round;
  }
}

TEST(OrderIdentityContext, MakesAllThreeMembers) {
  OrderIdentityContext context;
  ASSERT_NE(context.registry, nullptr);
  ASSERT_NE(context.newOrderBook, nullptr);
  ASSERT_NE(context.cancelBook, nullptr);
  context.registry->add(1, ClientId{"a", "b"});
  EXPECT_TRUE(context.registry->update(1, 2));
}

}  // namespace
}  // namespace kestrel
