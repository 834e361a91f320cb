// The client-id registry and the pending-order books. (Both under
// concurrency: the stress tests, where vendor threads update, look up and
// take while host threads file.)
#include <gtest/gtest.h>

#include <functional>

#include "identity/client_id_set_seam.h"
#include "identity/order_identity_context.h"

namespace kestrel {
namespace {

std::string text(const ClientId& id) { return id.prefix + "@" + id.serial; }

// Each row files `first`, then `second` if it has a prefix, under request 1
// and `other` under request 2, re-keys them to orders 10 and 20, then looks
// `lookup` up by its key text.
TEST(XtClientIdSet, FilesReKeysAndLooksUpBothWays) {
  const struct {
    ClientId first, second, other, lookup;
    int found;  // the order number found for `lookup`, 0 for none
  } rows[] = {
      {{"A1", "0007"}, {}, {"A2", "0007"}, {"A1", "0007"}, 10},
      {{"first", "1"}, {"second", "2"}, {"x", "y"}, {"first", "1"}, 0},
      {{"first", "1"}, {"second", "2"}, {"x", "y"}, {"second", "2"}, 10},
      {{}, {}, {"", "@"}, {}, 10},                         // the empty id is key "@"
      {{"a@b", "c"}, {}, {"a", "b@c"}, {"a@b", "c"}, 20},  // "@" is not escaped
      {{"\xCE\xDE", std::string("\0\xFF", 2)}, {}, {}, {"\xCE\xDE", std::string("\0\xFF", 2)}, 10}};
  for (const auto& row : rows) {
    SCOPED_TRACE(text(row.lookup));
    XtClientIdSet set;
    ClientId out{"keep", "me"};
    EXPECT_FALSE(set.update(1, 10) || set.get(10, out)) << "nothing filed yet";
    set.add(1, row.first);
    if (!row.second.prefix.empty()) set.add(1, row.second);
    set.add(2, row.other);
    ASSERT_TRUE(set.update(1, 10) && set.update(2, 20));
    ASSERT_TRUE(set.get(10, out));
    EXPECT_EQ(text(out), text(row.second.prefix.empty() ? row.first : row.second));
    ASSERT_TRUE(set.get(20, out));
    EXPECT_EQ(text(out), text(row.other)) << "the order map keeps each id apart";
    int orderId = 0;
    EXPECT_EQ(set.get(row.lookup, orderId), row.found != 0);
    EXPECT_EQ(orderId, row.found);
  }
  EXPECT_EQ(clientIdKey(ClientId{}), "@");
}

TEST(XtClientIdSet, ASecondUpdateAddsAnOrderAndMovesTheKey) {
  XtClientIdSet set;
  set.add(-7, ClientId{"p", "s"});
  ASSERT_TRUE(set.update(-7, 40) && set.update(-7, 0) && set.update(-7, 0));
  ClientId a, b;
  ASSERT_TRUE(set.get(40, a) && set.get(0, b));
  EXPECT_EQ(text(a), text(b));
  int orderId = 99;
  ASSERT_TRUE(set.get(ClientId{"p", "s"}, orderId));
  EXPECT_EQ(orderId, 0);
  EXPECT_FALSE(set.get(ClientId{"p", "x"}, orderId));
  EXPECT_EQ(orderId, 0) << "untouched when not found";
}

// A host thread's add of the same request number lands between update's
// read of the id and its link (the seam runs it exactly there, `replaces`
// times): the lookup made right after the add finds nothing yet, and update
// then files the order under the id that replaced the one it read, as one
// hold of the whole update would have.
TEST(XtClientIdSet, AnAddDuringAnUpdateIsWhatTheUpdateFiles) {
  for (int replaces : {1, 3}) {
    SCOPED_TRACE(replaces);
    XtClientIdSet set;
    set.add(7, ClientId{"old", "1"});
    int calls = 0;
    bool foundInBetween = false;
    const std::function<void()> between = [&] {
      if (++calls > replaces) return;
      set.add(7, ClientId{"new", std::to_string(calls)});
      ClientId seen;
      foundInBetween = foundInBetween || set.get(100, seen);
    };
    TEST_setBetweenUpdateHolds(&between);
    const bool updated = set.update(7, 100);
    TEST_setBetweenUpdateHolds(nullptr);
    ASSERT_TRUE(updated);
    EXPECT_FALSE(foundInBetween);
    EXPECT_EQ(calls, replaces + 1) << "built again after each replacement";
    const ClientId latest{"new", std::to_string(replaces)};
    ClientId out;
    int orderId = 0;
    ASSERT_TRUE(set.get(100, out));
    EXPECT_EQ(text(out), text(latest));
    EXPECT_TRUE(set.get(latest, orderId) && orderId == 100);
    EXPECT_FALSE(set.get(ClientId{"old", "1"}, orderId)) << "the replaced id was never filed";
  }
}

// A filed request reaches at most one answer: take hands it out once, erase
// silences later takes, a second put replaces the first.
TEST(PendingOrderBook, EachEntryIsHandedOutOnce) {
  NewOrderBook book;
  AccountOrderNewRequest request, out;
  request.quantity = 1;
  book.put(0, request);
  request.quantity = 2;
  book.put(0, request);
  book.put(-3, request);
  book.put(8, request);
  book.erase(8);
  book.erase(8);
  ASSERT_TRUE(book.take(0, out));
  EXPECT_EQ(out.quantity, 2);
  out.quantity = 9;
  EXPECT_FALSE(book.take(0, out) || book.take(8, out));
  EXPECT_EQ(out.quantity, 9) << "untouched when not found";
  EXPECT_EQ(book.size(), 1u);
}

}  // namespace
}  // namespace kestrel
