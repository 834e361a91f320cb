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

// Writes each order event, disconnection, logout and order-query record down
// as one line of text, and the keys a host de-duplicates pushes by; counts
// the connections, logins, funds answers and lost connections.
class ChaosHost : public ITradeSessionSpi {
 public:
  void onConnected(const ResultStatus&) override { add("", "connected"); }
  void onLogin(const ResultStatus&, const LoginReply&) override { add("", "login"); }
  void onAccountFundsResponse(const AccountFunds*, const ResultStatus&, int, bool) override {
    add("", "funds");
  }
  void onDisconnected(const ResultStatus& s) override {
    add("disconnected " + std::to_string(s.code) + text(s));
    if (s.code != 0) add("", "lost");
  }
  void onLogout(const ResultStatus& s) override {
    add("logout " + std::to_string(s.code) + text(s));
  }
  void onOrderAccepted(const OrderAcceptedRecord* r, const ResultStatus&, int, bool) override {
    key("accepted", r->exchangeOrderId, r->statusMessage);
    add("accepted " + label(r->clientId), "line", r->exchangeOrderId);
  }
  void onOrderRejected(const OrderRecord* r, const ResultStatus& s, int, bool) override {
    add("rejected " + std::to_string(s.code) + " " + label(r->clientId) + text(s));
  }
  void onOrderFilled(const OrderFilledRecord* r, const ResultStatus&, int, bool) override {
    key("filled", r->exchangeOrderId, r->statusMessage);
    add("filled " + label(r->clientId));
  }
  void onOrderCanceled(const OrderRecord* r, const ResultStatus& s, int, bool) override {
    add("canceled " + std::to_string(s.code) + " " + label(r->clientId));
  }
  void onFill(const FillRecord* r, const ResultStatus&, int, bool) override {
    key("fill", r->fillReference, "");
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
  // "accepted EXCHANGE_ID STATUS", "filled ...", "fill FILL_REFERENCE", in order.
  std::vector<std::string> keys() {
    std::lock_guard<std::mutex> lock(mu_);
    return keys_;
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

  void key(const char* event, const std::string& id, const std::string& status) {
    std::lock_guard<std::mutex> lock(mu_);
    keys_.push_back(std::string(event) + " " + id +
                    (status.empty() ? "" : " " + CodeConvert::gbk_to_utf8(status)));
  }

  std::mutex mu_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::vector<std::string> keys_;
  std::map<std::string, std::string> exchangeIds_;  // by label
  std::map<std::string, int> counts_;
};

// A case: the [chaos] section's lines, a script of steps separated by ';',
// and the lines the host writes down. Steps: "connect"; "open" (connect, log
// in, wait for the fund account); "buy SERIAL PRICE [LOTS]", one lot of
// rb2410 by default (reference price 3650: at 3700 it fills at once, at 3600
// it rests, and 1e5 lots are more than the account can pay for); "cancel
// SERIAL SEEN_AS" (the order accepted as SEEN_AS, cancelled as the host's
// SERIAL); "reconnect" (release, open a new session, ask for the orders);
// "lost" (wait until the connection is lost); "logout".
struct Case {
  const char* name;
  const char* chaos;
  const char* script;
  std::vector<std::string> seen;
};

const char kLost[] = "disconnected -7 [msg=与柜台的连接已断开]";
const char kOffline[] = "rejected -1 B [msg=未连接到柜台]";
const char kNoFunds[] = "rejected -1 B [msg=可用资金不足]";

const Case kCases[] = {
    {"PushesBeforeReply",
     "pushes_before_reply = 1",
     "open; buy A 3700; buy B 3600; cancel B ?2",
     {"accepted ?1", "filled ?1", "fill none", "accepted ?2", "canceled 0 B"}},
    {"DuplicatePushes",
     "duplicate_pushes = 1",
     "open; buy A 3700",
     {"accepted A", "accepted A", "filled A", "filled A", "fill A", "fill A"}},
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
};

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
                               << "\ntrading_day = 20240105\n[chaos]\n"
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
    } else if (op == "cancel") {
      words >> seenAs;
      AccountOrderCancelRequest cancel;
      cancel.codeId.exchange = 3;
      cancel.codeId.code = "rb2410";
      cancel.clientId = ClientId{kPrefix, serial};
      ASSERT_TRUE(host_.exchangeIdOf(seenAs, cancel.exchangeOrderId)) << seenAs;
      ASSERT_EQ(session_->cancelOrder(++requestId_, cancel).code, 0);
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
  int connects_ = 0, funds_ = 0, requestId_ = 0;  // sent or awaited so far
};

TEST_P(Chaos, TheHostSeesWhatTheCounterDid) {
  const Case& c = kCases[std::get<0>(GetParam())];
  std::istringstream script(c.script);
  for (std::string step; std::getline(script, step, ';') && !HasFatalFailure();) run(step);
  if (HasFatalFailure()) return;
  ASSERT_TRUE(host_.waitFor("line", static_cast<int>(c.seen.size())))
      << ::testing::PrintToString(host_.lines());
  // A last query's answer comes behind everything still queued before it
  // (it is refused at once when no fund account is known).
  if (session_->reqQryTradingAccount(++requestId_).code == 0) {
    ASSERT_TRUE(host_.waitFor("funds", ++funds_));
  }
  EXPECT_EQ(host_.lines(), c.seen);
}

// Pushes sent twice reach the host twice, with the same keys: the exchange
// order id and status of an order event, the reference of a fill.
class ChaosDuplicates : public Chaos {};

TEST_P(ChaosDuplicates, CarryTheKeysAHostDeduplicatesBy) {
  ASSERT_STREQ(kCases[std::get<0>(GetParam())].name, "DuplicatePushes");
  run("open");
  run("buy A 3700");
  ASSERT_TRUE(host_.waitFor("line", 6)) << ::testing::PrintToString(host_.lines());
  EXPECT_EQ(host_.keys(), (std::vector<std::string>{
                              "accepted 000000000001 已报", "accepted 000000000001 已报",
                              "filled 000000000001 全部成交", "filled 000000000001 全部成交",
                              "fill T00000001", "fill T00000001"}));
}

INSTANTIATE_TEST_SUITE_P(Pushes, ChaosDuplicates,
                         ::testing::Combine(::testing::Values(1), ::testing::Bool()),
                         [](const ::testing::TestParamInfo<std::tuple<int, bool>>& info) {
                           return std::get<1>(info.param) ? "Synchronous" : "Asynchronous";
                         });

INSTANTIATE_TEST_SUITE_P(
    Switches, Chaos,
    ::testing::Combine(::testing::Range(0, static_cast<int>(sizeof(kCases) / sizeof(kCases[0]))),
                       ::testing::Bool()),
    [](const ::testing::TestParamInfo<std::tuple<int, bool>>& info) {
      return std::string(kCases[std::get<0>(info.param)].name) + "_" +
             (std::get<1>(info.param) ? "Synchronous" : "Asynchronous");
    });

}  // namespace
}  // namespace testing
}  // namespace kestrel
