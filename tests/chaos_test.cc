// The counter's chaos switches through the whole stack: the plug-in loaded
// by path as a host loads it, the simulated counter behind it misbehaving as
// its [chaos] section says, and a small host of this file's own that writes
// down what reaches it. Each case runs in both answer modes.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "broker/config_variable.h"
#include "host/demo/plugin_library.h"
#include "plugin/common.h"

namespace kestrel {
namespace testing {
namespace {

const char kPrefix[] = "CT";

// An order as the host sees it named: its own serial, "?N" for the identity
// the plug-in makes up from vendor order id N, "none" for empty texts.
std::string label(const ClientId& id) {
  if (id.prefix.empty() && id.serial.empty()) return "none";
  return id.prefix == kPrefix ? id.serial : "?" + id.serial;
}

// The key a host drops duplicate pushes by (docs/host-guide.md): for an
// order event, the callback, the request number, the client id and the
// status text; for a fill, its reference.
std::string deduplicationKey(const char* event, int requestId, const ClientId& id,
                             const std::string& status) {
  return std::string(event) + " " + std::to_string(requestId) + " " + id.prefix + "@" + id.serial +
         " " + CodeConvert::gbk_to_utf8(status);
}
std::string deduplicationKey(const FillRecord& fill) { return "onFill " + fill.fillReference; }

// Writes each order event, disconnection, logout, refused login, order-query
// record and positions answer down as one line of text; keeps each order
// event's and fill's de-duplication key and, by label, the exchange order
// ids they carry; counts the connections, logins, funds answers and lost
// connections.
class ChaosHost : public ITradeSessionSpi {
 public:
  void onConnected(const ResultStatus&) override { add("", "connected"); }
  void onLogin(const ResultStatus& s, const LoginReply&) override {
    if (s.code != 0) add("login " + std::to_string(s.code) + text(s));
    add("", "login");
  }
  void onAccountFundsResponse(const AccountFunds*, const ResultStatus&, int, bool) override {
    add("", "funds");
  }
  void onPositionsResponse(const PositionRecord* r, const ResultStatus& s, int, bool) override {
    add("positions " + std::to_string(s.code) + (r == nullptr ? " null" : "") + text(s));
  }
  void onDisconnected(const ResultStatus& s) override {
    add("disconnected " + std::to_string(s.code) + text(s));
    if (s.code != 0) add("", "lost");
  }
  void onLogout(const ResultStatus& s) override {
    add("logout " + std::to_string(s.code) + text(s));
  }
  void onOrderAccepted(const OrderAcceptedRecord* r, const ResultStatus&, int id, bool) override {
    keep(deduplicationKey("onOrderAccepted", id, r->clientId, r->statusMessage),
         "accepted " + label(r->clientId), r->exchangeOrderId);
    add("accepted " + label(r->clientId), "line", r->exchangeOrderId);
  }
  void onOrderRejected(const OrderRecord* r, const ResultStatus& s, int id, bool) override {
    keep(deduplicationKey("onOrderRejected", id, r->clientId, r->statusMessage),
         "rejected " + label(r->clientId), r->exchangeOrderId);
    add("rejected " + std::to_string(s.code) + " " + label(r->clientId) + text(s));
  }
  void onOrderFilled(const OrderFilledRecord* r, const ResultStatus&, int id, bool) override {
    keep(deduplicationKey("onOrderFilled", id, r->clientId, r->statusMessage),
         "filled " + label(r->clientId), r->exchangeOrderId);
    add("filled " + label(r->clientId));
  }
  void onOrderCanceled(const OrderRecord* r, const ResultStatus& s, int id, bool) override {
    keep(deduplicationKey("onOrderCanceled", id, r->clientId, r->statusMessage),
         "canceled " + label(r->clientId), r->exchangeOrderId);
    add("canceled " + std::to_string(s.code) + " " + label(r->clientId) + text(s));
  }
  void onFill(const FillRecord* r, const ResultStatus&, int, bool) override {
    keep(deduplicationKey(*r), "fill " + label(r->clientId), r->fillReference2, r->volume);
    add("fill " + label(r->clientId));
  }
  void onOrdersResponse(const OrderDetailRecord* r, const ResultStatus&, int, bool) override {
    add(r == nullptr
            ? "orders none"
            : "order " + label(r->clientId) + " " + CodeConvert::gbk_to_utf8(r->statusMessage));
  }

  // Waits until `what` ("line", "connected", "login", "funds") was seen `n`
  // times (false after a generous while, which only a lost event runs into).
  bool waitFor(const std::string& what, int n) {
    return waitUntil([&] { return counts_[what] >= n; });
  }
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> lock(mu_);
    return lines_;
  }
  // What a host that drops every event whose key it has seen keeps: the
  // kept events' keys, in order, and the volume of the fills kept.
  std::vector<std::string> kept(int64_t* filled = nullptr) {
    std::lock_guard<std::mutex> lock(mu_);
    std::set<std::string> seen;
    std::vector<std::string> kept;
    if (filled != nullptr) *filled = 0;
    for (const Pushed& p : pushed_) {
      if (!seen.insert(p.key).second) continue;
      kept.push_back(p.key);
      if (filled != nullptr) *filled += p.fillVolume;
    }
    return kept;
  }
  // "LINE EXCHANGE_ORDER_ID" of each order event and fill (a fill's is the
  // order's), in order.
  std::vector<std::string> exchangeIds() {
    std::lock_guard<std::mutex> lock(mu_);
    std::vector<std::string> ids;
    for (const Pushed& p : pushed_) ids.push_back(p.line + " " + p.exchangeOrderId);
    return ids;
  }
  // The exchange order id of the order accepted as `who`, once it was.
  bool exchangeIdOf(const std::string& who, std::string& id) {
    return waitUntil([&] { return !(id = exchangeIds_[who]).empty(); });
  }

 private:
  static std::string text(const ResultStatus& s) {
    return s.message.empty() ? "" : " " + CodeConvert::gbk_to_utf8(s.message);
  }
  void add(const std::string& line, const std::string& what = "line",
           const std::string& exchangeId = "") {
    std::lock_guard<std::mutex> lock(mu_);
    if (!line.empty()) lines_.push_back(line);
    if (!exchangeId.empty()) exchangeIds_[line.substr(line.find(' ') + 1)] = exchangeId;
    ++counts_[what];
    changed_.notify_all();
  }
  template <class Predicate>
  bool waitUntil(Predicate done) {
    std::unique_lock<std::mutex> lock(mu_);
    return changed_.wait_for(lock, std::chrono::seconds(20), done);
  }

  struct Pushed {
    std::string key, line, exchangeOrderId;
    int64_t fillVolume;
  };
  void keep(std::string key, std::string line, const std::string& exchangeOrderId,
            int64_t fillVolume = 0) {
    std::lock_guard<std::mutex> lock(mu_);
    pushed_.push_back(Pushed{std::move(key), std::move(line), exchangeOrderId, fillVolume});
  }

  std::mutex mu_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::vector<Pushed> pushed_;
  std::map<std::string, std::string> exchangeIds_;  // by label
  std::map<std::string, int> counts_;
};

// A case: the [chaos] section's lines, a script of steps separated by ';',
// the lines the host writes down, and lines for [behaviour]. Steps:
// "connect"; "open" (connect, log in, wait for the fund account); "buy SERIAL
// PRICE [LOTS]", one lot of rb2410 by default (reference price 3650: at 3700
// it fills at once, at 3600 it rests, at 1825 the exchange refuses it, and
// 1e5 lots are more than the account can pay for); "cancel SERIAL SEEN_AS"
// (the order accepted as SEEN_AS, cancelled as the host's SERIAL); "orders",
// "positions" (the queries); "login"; "again" (connect the session again);
// "reconnect" (release, open a new session, ask for the orders); "lost" (wait
// until the connection is lost); "logout".
struct Case {
  const char* name;
  const char* chaos;
  const char* script;
  std::vector<std::string> seen;
  const char* behaviour = "";
};

const char kLost[] = "disconnected -7 [msg=与柜台的连接已断开]";
const char kOffline[] = "rejected -1 B [msg=未连接到柜台]";
const char kNoFunds[] = "rejected -1 B [msg=可用资金不足]";

const Case kCases[] = {
    {"PushesBeforeReply",
     "pushes_before_reply = 1",
     "open; buy A 3700; buy B 3600; cancel B ?2",
     {"accepted ?1", "filled ?1", "fill none", "accepted ?2", "canceled 0 B"}},
    // The order query after them: the event after the record carries the
    // host's id (ChaosReconciliation).
    {"PushesBeforeReplyThenOrders",
     "pushes_before_reply = 1",
     "open; buy A 3700; orders",
     {"accepted ?1", "filled ?1", "fill none", "order ?1 全部成交", "filled A"}},
    // A reply held back until the answers of the next request, the order
    // query: that query still reports the order under the made-up id, the
    // next one under the host's.
    {"HeldReplyThenOrders",
     "reorder_replies = 1",
     "open; buy A 3700; orders; orders",
     {"accepted ?1", "filled ?1", "fill none", "order ?1 全部成交", "filled ?1",
      "order ?1 全部成交", "filled A"}},
    {"DuplicatePushes",
     "duplicate_pushes = 1",
     "open; buy A 3700",
     {"accepted A", "accepted A", "filled A", "filled A", "fill A", "fill A"}},
    // Every kind of push twice: an order filled in three parts, a cancel,
    // two cancels the counter refuses alike, two orders the exchange refuses
    // alike, one the counter refuses (the error pushes twice, each refusal
    // reported once: ChaosDeduplication).
    {"DuplicatesOfEveryKind",
     "duplicate_pushes = 1",
     "open; buy A 3700 3; buy B 3600; cancel B B; cancel B B; cancel B B; buy C 1825; buy D 1825; "
     "buy E 3650 100000",
     {"accepted A",
      "accepted A",
      "filled A",
      "filled A",
      "fill A",
      "fill A",
      "filled A",
      "filled A",
      "fill A",
      "fill A",
      "filled A",
      "filled A",
      "fill A",
      "fill A",
      "accepted B",
      "accepted B",
      "canceled 0 B",
      "canceled 0 B",
      "canceled -1 B [msg=委托已撤单，不能重复撤单]",
      "canceled -1 B [msg=委托已撤单，不能重复撤单]",
      "rejected 0 C",
      "rejected 0 C",
      "rejected 0 D",
      "rejected 0 D",
      "rejected -1 E [msg=可用资金不足]"},
     "fill_mode = partial\nfill_slices = 3"},
    {"ErrorPushWithoutReply",
     "error_push_without_reply = 1",
     "open; buy B 3650 100000",
     {kNoFunds}},
    {"ReorderedReplies",
     "reorder_replies = 1",
     "open; buy A 3600; buy B 3600; cancel A ?1",
     {"accepted ?1", "accepted ?2", "canceled 0 A"}},
    {"DelayedReplies",
     "delay_replies = 1\ndelay_ms = 20",
     "open; buy A 3700; buy B 3650 100000",
     {"accepted ?1", "filled ?1", "fill none", kNoFunds}},
    {"RandomRefusals",
     "reject_orders = 1\nseed = 7",
     "open; buy A 3700; buy B 3700",
     {"rejected -1 A [msg=柜台繁忙，请稍后重试]", "rejected -1 B [msg=柜台繁忙，请稍后重试]"}},
    {"DropAfterEventsKeepsTheDay",
     "drop_after_events = 6",
     "open; buy A 3700; buy B 3700; reconnect",
     {"accepted A", "filled A", kLost, kOffline, "disconnected 0", "order ?1 全部成交",
      "filled ?1"}},
    {"DropAfterEventsFresh",
     "drop_after_events = 6\nafter_drop = fresh",
     "open; buy A 3700; buy B 3700; reconnect",
     {"accepted A", "filled A", kLost, kOffline, "disconnected 0", "orders none"}},
    {"DropAfterMs", "drop_after_ms = 50", "connect", {kLost}},
    // logout answers 0 after the drop: the vendor object is still there.
    {"LogoutAfterDrop",
     "drop_after_events = 6",
     "open; buy A 3700; lost; logout",
     {"accepted A", "filled A", kLost, "logout -12 [msg=未连接到柜台]"}},
    // After the drop the order resting at it gets no final event; a cancel,
    // a query and a login answer 0 and are then refused; connect again
    // answers 0 and does nothing.
    {"RequestsAfterDrop",
     "drop_after_events = 5",
     "open; buy A 3600; lost; cancel A A; positions; again; login",
     {"accepted A", kLost, "canceled -1 A [msg=未连接到柜台]",
      "positions -1 null [msg=未连接到柜台]", "login -11 [msg=未连接到柜台]"}},
    // After logout, orders, cancels and queries answer 0 and are then refused.
    {"RequestsAfterLogout",
     "",
     "open; buy A 3600; logout; cancel A A; buy B 3700; positions",
     {"accepted A", "logout 0", "canceled -1 A [msg=资金账号未登录]",
      "rejected -1 B [msg=资金账号未登录]", "positions -1 null [msg=资金账号未登录]"}},
};

// The index of the case named `name` in kCases.
int caseIndex(const std::string& name) {
  for (std::size_t i = 0; i < std::size(kCases); ++i) {
    if (name == kCases[i].name) return static_cast<int>(i);
  }
  return -1;
}

class Chaos : public ::testing::TestWithParam<std::tuple<int, bool>> {
 protected:
  void SetUp() override {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
    ASSERT_TRUE(library_.loadBesideProgram()) << library_.error();
    const int index = std::get<0>(GetParam());
    const bool synchronous = std::get<1>(GetParam());
    // One address per run (a dropped day waits for the next session at its
    // address) and a file name no other run on the machine uses meanwhile.
    const std::string run = std::to_string(2 * index + (synchronous ? 1 : 0));
    address_ = "127.0.0.1:6" + run;
    configPath_ = ::testing::TempDir() + "xt_config_chaos_" + run + "_" +
                  std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
    std::ofstream(configPath_) << "[behaviour]\nsynchronous = " << (synchronous ? "true" : "false")
                               << "\ntrading_day = 20240105\n"
                               << kCases[index].behaviour << "\n[chaos]\n"
                               << kCases[index].chaos
                               << "\n[user tester]\npassword = pw\naccounts = F100\n"
                                  "[account F100]\ncash = 1000000\n"
                                  "[instrument rb2410]\nexchange = SHFE\nprice = 3650\n"
                                  "multiplier = 10\nmargin_rate = 0.1\ntick = 1\n";
    xti::sim::setConfigVariable(configPath_.c_str());
  }
  void TearDown() override {
    if (session_ != nullptr) (void)session_->release();
    xti::sim::setConfigVariable("");
    std::remove(configPath_.c_str());
  }

  void connect() {
    session_ = library_.createTradeSession()();
    SessionConfig config;
    config.userName = "tester";
    config.password = "pw";
    config.server.serverAddresses.push_back(AddressEntry{"tcp://" + address_, ""});
    ASSERT_EQ(session_->setConfig(config).code, 0);
    ASSERT_EQ(session_->registerSpi(&host_).code, 0);
    ASSERT_EQ(session_->connect().code, 0);
    ASSERT_TRUE(host_.waitFor("connected", ++connects_));
  }

  // The fund account arrives in a vendor push the host is not told of, so
  // the funds query is asked until it stops answering "no fund account".
  void open() {
    connect();
    ASSERT_EQ(session_->login().code, 0);
    ASSERT_TRUE(host_.waitFor("login", connects_));
    while (session_->reqQryTradingAccount(++requestId_).code == -3) std::this_thread::yield();
    ASSERT_TRUE(host_.waitFor("funds", ++funds_));
  }

  void run(const std::string& step) {
    std::istringstream words(step);
    std::string op, serial, seenAs;
    double price = 0;
    int lots = 1;
    words >> op >> serial;
    if (op == "connect") return connect();
    if (op == "open") return open();
    if (op == "lost") {
      ASSERT_TRUE(host_.waitFor("lost", 1));
      return;
    }
    if (op == "logout") {
      ASSERT_EQ(session_->logout().code, 0);
      return;
    }
    if (op == "login") {
      ASSERT_EQ(session_->login().code, 0);
      return;
    }
    if (op == "again") {
      ASSERT_EQ(session_->connect().code, 0);
      return;
    }
    if (op == "orders" || op == "positions") {
      // 0 also after a drop or a logout: the counter refuses it through an event.
      ASSERT_EQ((op == "orders" ? session_->reqQryOrder(++requestId_)
                                : session_->reqQryPosition(++requestId_))
                    .code,
                0);
      return;
    }
    if (op == "buy") {
      words >> price >> lots;
      AccountOrderNewRequest order;
      order.codeId.exchange = 3;  // SHFE
      order.codeId.code = "rb2410";
      order.clientId = ClientId{kPrefix, serial};
      order.quantity = lots;
      order.price = price;
      order.priceType = 1;  // limit
      order.direction = 1;
      order.offsetFlag = 1;
      // 0 also after a drop: the counter refuses the order through an event.
      ASSERT_EQ(session_->sendOrder(++requestId_, order).code, 0);
      requestOf_[serial] = requestId_;
    } else if (op == "cancel") {
      words >> seenAs;
      AccountOrderCancelRequest cancel;
      cancel.codeId.exchange = 3;
      cancel.codeId.code = "rb2410";
      cancel.clientId = ClientId{kPrefix, serial};
      ASSERT_TRUE(host_.exchangeIdOf(seenAs, cancel.exchangeOrderId)) << seenAs;
      ASSERT_EQ(session_->cancelOrder(++requestId_, cancel).code, 0);
      cancelsOf_[serial].push_back(requestId_);
    } else {
      ASSERT_EQ(op, "reconnect");
      ITradeSession* old = session_;
      session_ = nullptr;
      ASSERT_EQ(old->release().code, 0);
      open();
      ASSERT_EQ(session_->reqQryOrder(++requestId_).code, 0);
    }
  }

  demo::PluginLibrary library_;
  ChaosHost host_;
  ITradeSession* session_ = nullptr;
  std::string address_, configPath_;
  int connects_ = 0, funds_ = 0, requestId_ = 0;       // sent or awaited so far
  std::map<std::string, int> requestOf_;               // the request number of each order sent
  std::map<std::string, std::vector<int>> cancelsOf_;  // ... of each cancel, by order

  void runCase();
};

// Runs the case's script and waits for every line it expects, then for a
// last query's answer: it comes behind everything still queued before it
// (it is refused at once when no fund account is known).
void Chaos::runCase() {
  const Case& c = kCases[std::get<0>(GetParam())];
  std::istringstream script(c.script);
  for (std::string step; std::getline(script, step, ';') && !HasFatalFailure();) run(step);
  if (HasFatalFailure()) return;
  ASSERT_TRUE(host_.waitFor("line", static_cast<int>(c.seen.size())))
      << ::testing::PrintToString(host_.lines());
  if (session_->reqQryTradingAccount(++requestId_).code == 0) {
    ASSERT_TRUE(host_.waitFor("funds", ++funds_));
  }
}

TEST_P(Chaos, TheHostSeesWhatTheCounterDid) {
  runCase();
  if (HasFatalFailure()) return;
  EXPECT_EQ(host_.lines(), kCases[std::get<0>(GetParam())].seen);
}

// What a host keeps of pushes sent twice when it drops every event whose key
// it has seen: each of an order's states once, each fill once (the three
// parts' volumes add up to the order's three lots), both orders the exchange
// refused alike, and the counter's refusal, which the plug-in reported once
// although its error push came twice. The second "部分成交" of order A is
// dropped too, whether it is a duplicate or a later part: it holds nothing
// the first did not (the record carries the order's volume, not the
// fill's); the part itself comes as its own fill.
class ChaosDeduplication : public Chaos {};

TEST_P(ChaosDeduplication, TheKeyKeepsEveryOrderAndDropsOnlyRepeats) {
  ASSERT_STREQ(kCases[std::get<0>(GetParam())].name, "DuplicatesOfEveryKind");
  runCase();
  if (HasFatalFailure()) return;
  int64_t filled = 0;
  const std::vector<std::string> kept = host_.kept(&filled);
  const std::vector<int>& cancels = cancelsOf_["B"];
  ASSERT_EQ(cancels.size(), 3u);
  EXPECT_EQ(kept,
            (std::vector<std::string>{
                "onOrderAccepted -1 CT@A 已报",
                "onOrderFilled -1 CT@A 部分成交",
                "onFill T00000001",
                "onFill T00000002",
                "onOrderFilled -1 CT@A 全部成交",
                "onFill T00000003",
                "onOrderAccepted -1 CT@B 已报",
                "onOrderCanceled -1 CT@B 已撤单",
                "onOrderCanceled " + std::to_string(cancels[1]) + " CT@B 委托已撤单，不能重复撤单",
                "onOrderCanceled " + std::to_string(cancels[2]) + " CT@B 委托已撤单，不能重复撤单",
                "onOrderRejected -1 CT@C 价格超出涨跌停板范围",
                "onOrderRejected -1 CT@D 价格超出涨跌停板范围",
                "onOrderRejected " + std::to_string(requestOf_["E"]) + " CT@E 可用资金不足",
            }));
  EXPECT_EQ(filled, 3);
}

// A host names the events of its orders by exchange order id: the events
// pushed ahead of the reply (made-up id) and the fill without an id carry
// the exchange order id that the order query's event carries with the
// host's own id; after a drop, the new session's events carry made-up ids
// and the exchange order id the host saw under its own before the drop.
class ChaosReconciliation : public Chaos {};

TEST_P(ChaosReconciliation, ByTheExchangeOrderId) {
  runCase();
  if (HasFatalFailure()) return;
  std::map<std::string, std::string> owners;  // exchange order id -> the host's serial
  std::vector<std::string> lines;
  const std::vector<std::string> ids = host_.exchangeIds();
  for (const std::string& line : ids) {
    std::istringstream words(line);
    std::string event, who, exchangeId;
    words >> event >> who >> exchangeId;
    if (who[0] != '?' && who != "none" && !exchangeId.empty()) owners[exchangeId] = who;
  }
  for (const std::string& line : ids) {
    std::istringstream words(line);
    std::string event, who, exchangeId;
    words >> event >> who >> exchangeId;
    const bool own = who[0] != '?' && who != "none";
    lines.push_back(event + " " + who + " is " + (own ? who : owners[exchangeId]));
  }
  const std::map<std::string, std::vector<std::string>> expected = {
      {"PushesBeforeReplyThenOrders",
       {"accepted ?1 is A", "filled ?1 is A", "fill none is A", "filled A is A"}},
      {"HeldReplyThenOrders",
       {"accepted ?1 is A", "filled ?1 is A", "fill none is A", "filled ?1 is A", "filled A is A"}},
      {"DropAfterEventsKeepsTheDay",
       {"accepted A is A", "filled A is A", "rejected B is B", "filled ?1 is A"}}};
  EXPECT_EQ(lines, expected.at(kCases[std::get<0>(GetParam())].name));
}

std::string answerMode(const ::testing::TestParamInfo<std::tuple<int, bool>>& info) {
  return std::get<1>(info.param) ? "Synchronous" : "Asynchronous";
}

INSTANTIATE_TEST_SUITE_P(Pushes, ChaosDeduplication,
                         ::testing::Combine(::testing::Values(caseIndex("DuplicatesOfEveryKind")),
                                            ::testing::Bool()),
                         answerMode);

INSTANTIATE_TEST_SUITE_P(
    Orders, ChaosReconciliation,
    ::testing::Combine(::testing::Values(caseIndex("PushesBeforeReplyThenOrders"),
                                         caseIndex("HeldReplyThenOrders"),
                                         caseIndex("DropAfterEventsKeepsTheDay")),
                       ::testing::Bool()),
    [](const ::testing::TestParamInfo<std::tuple<int, bool>>& info) {
      return std::string(kCases[std::get<0>(info.param)].name) + "_" + answerMode(info);
    });

INSTANTIATE_TEST_SUITE_P(
    Switches, Chaos,
    ::testing::Combine(::testing::Range(0, static_cast<int>(sizeof(kCases) / sizeof(kCases[0]))),
                       ::testing::Bool()),
    [](const ::testing::TestParamInfo<std::tuple<int, bool>>& info) {
      return std::string(kCases[std::get<0>(info.param)].name) + "_" + answerMode(info);
    });

}  // namespace
}  // namespace testing
}  // namespace kestrel
