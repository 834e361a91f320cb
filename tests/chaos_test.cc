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
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/demo/plugin_library.h"
#include "plugin/common.h"
#include "tests/support/answer_modes.h"

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

// Writes each host call down as one line of text; the funds answers only
// count (they open the session and close each case).
class ChaosHost : public ITradeSessionSpi {
 public:
  void onConnected(const ResultStatus&) override { bump(connected_); }
  void onLogin(const ResultStatus&, const LoginReply&) override { bump(logins_); }
  void onDisconnected(const ResultStatus& s) override {
    add("disconnected " + std::to_string(s.code) + text(s));
  }
  void onOrderAccepted(const OrderAcceptedRecord* r, const ResultStatus&, int, bool) override {
    std::lock_guard<std::mutex> lock(mu_);
    exchangeIds_.emplace_back(label(r->clientId), r->exchangeOrderId);
    addLocked("accepted " + label(r->clientId));
  }
  void onOrderRejected(const OrderRecord* r, const ResultStatus& s, int, bool) override {
    add("rejected " + std::to_string(s.code) + " " + label(r->clientId) + text(s));
  }
  void onOrderFilled(const OrderFilledRecord* r, const ResultStatus&, int, bool) override {
    add("filled " + label(r->clientId));
  }
  void onOrderCanceled(const OrderRecord* r, const ResultStatus& s, int, bool) override {
    add("canceled " + std::to_string(s.code) + " " + label(r->clientId));
  }
  void onFill(const FillRecord* r, const ResultStatus&, int, bool) override {
    add("fill " + label(r->clientId));
  }
  void onOrdersResponse(const OrderDetailRecord* r, const ResultStatus&, int, bool) override {
    add(r == nullptr
            ? "orders none"
            : "order " + label(r->clientId) + " " + CodeConvert::gbk_to_utf8(r->statusMessage));
  }
  void onAccountFundsResponse(const AccountFunds*, const ResultStatus&, int, bool last) override {
    if (last) bump(funds_);
  }

  // Each waits until the count reached `n` (false after a generous while,
  // which only a lost event runs into).
  bool waitForLines(std::size_t n) {
    return waitUntil([&] { return lines_.size() >= n; });
  }
  bool waitForConnected(int n) {
    return waitUntil([&] { return connected_ >= n; });
  }
  bool waitForLogins(int n) {
    return waitUntil([&] { return logins_ >= n; });
  }
  bool waitForFunds(int n) {
    return waitUntil([&] { return funds_ >= n; });
  }
  int funds() {
    std::lock_guard<std::mutex> lock(mu_);
    return funds_;
  }
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> lock(mu_);
    return lines_;
  }
  // The exchange order id of the first order accepted under `who`.
  bool exchangeIdOf(const std::string& who, std::string& id) {
    return waitUntil([&] {
      for (const auto& e : exchangeIds_) {
        if (e.first == who) return !(id = e.second).empty();
      }
      return false;
    });
  }

 private:
  static std::string text(const ResultStatus& s) {
    return s.message.empty() ? "" : " " + CodeConvert::gbk_to_utf8(s.message);
  }
  void add(const std::string& line) {
    std::lock_guard<std::mutex> lock(mu_);
    addLocked(line);
  }
  void addLocked(const std::string& line) {
    lines_.push_back(line);
    changed_.notify_all();
  }
  void bump(int& count) {
    std::lock_guard<std::mutex> lock(mu_);
    ++count;
    changed_.notify_all();
  }
  template <class Predicate>
  bool waitUntil(Predicate done) {
    std::unique_lock<std::mutex> lock(mu_);
    return changed_.wait_for(lock, std::chrono::seconds(20), done);
  }

  std::mutex mu_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::vector<std::pair<std::string, std::string>> exchangeIds_;
  int connected_ = 0, logins_ = 0, funds_ = 0;
};

// One step of a case's script. Orders are one lot of rb2410 (reference
// price 3650): bought at 3700 they fill at once, at 3600 they rest, and 1e5
// lots are more than the account can pay for.
enum class Op {
  kConnect,    // connect only
  kOpen,       // connect, log in, wait until the fund account is known
  kBuy,        // order `serial` at `price` for `lots`
  kCancel,     // cancel the order accepted under `seenAs`, as the host's `serial`
  kAwait,      // wait until `lots` lines were written
  kReconnect,  // release, then a new session opens and asks for the day's orders
};
struct Step {
  Op op;
  const char* serial = "";
  double price = 0;
  int lots = 1;
  const char* seenAs = "";
};
Step buy(const char* serial, double price, int lots = 1) { return {Op::kBuy, serial, price, lots}; }

struct Case {
  const char* name;
  const char* chaos;  // the [chaos] section's lines
  std::vector<Step> steps;
  std::vector<std::string> seen;
};

const char kLost[] = "disconnected -7 [msg=与柜台的连接已断开]";
const char kOffline[] = "rejected -1 B [msg=未连接到柜台]";
const char kNoFunds[] = "rejected -1 B [msg=可用资金不足]";

const Case kCases[] = {
    {"PushesBeforeReply",
     "pushes_before_reply = 1",
     {{Op::kOpen}, buy("A", 3700), buy("B", 3600), {Op::kCancel, "B", 0, 1, "?2"}},
     {"accepted ?1", "filled ?1", "fill none", "accepted ?2", "canceled 0 B"}},
    {"DuplicatePushes",
     "duplicate_pushes = 1",
     {{Op::kOpen}, buy("A", 3700)},
     {"accepted A", "accepted A", "filled A", "filled A", "fill A", "fill A"}},
    {"ErrorPushWithoutReply",
     "error_push_without_reply = 1",
     {{Op::kOpen}, buy("B", 3650, 100000)},
     {kNoFunds}},
    {"ReorderedReplies",
     "reorder_replies = 1",
     {{Op::kOpen}, buy("A", 3600), buy("B", 3600), {Op::kCancel, "A", 0, 1, "?1"}},
     {"accepted ?1", "accepted ?2", "canceled 0 A"}},
    {"DelayedReplies",
     "delay_replies = 1\ndelay_ms = 20",
     {{Op::kOpen}, buy("A", 3700), buy("B", 3650, 100000)},
     {"accepted ?1", "filled ?1", "fill none", kNoFunds}},
    {"RandomRefusals",
     "reject_orders = 1\nseed = 7",
     {{Op::kOpen}, buy("A", 3700), buy("B", 3700)},
     {"rejected -1 A [msg=柜台繁忙，请稍后重试]", "rejected -1 B [msg=柜台繁忙，请稍后重试]"}},
    {"DropAfterEventsKeepsTheDay",
     "drop_after_events = 6",
     {{Op::kOpen}, buy("A", 3700), buy("B", 3700), {Op::kReconnect}},
     {"accepted A", "filled A", kLost, kOffline, "disconnected 0", "order ?1 全部成交",
      "filled ?1"}},
    {"DropAfterEventsFresh",
     "drop_after_events = 6\nafter_drop = fresh",
     {{Op::kOpen}, buy("A", 3700), buy("B", 3700), {Op::kReconnect}},
     {"accepted A", "filled A", kLost, kOffline, "disconnected 0", "orders none"}},
    {"DropAfterMs",
     "drop_after_ms = 50",
     {{Op::kConnect}, {Op::kAwait, "", 0, 1}, buy("B", 3700)},
     {kLost}},
};

void setCounterConfig(const char* path) {
#if defined(_WIN32)
  _putenv_s("XT_SIM_CONFIG", path);
#else
  setenv("XT_SIM_CONFIG", path, 1);
#endif
}

class Chaos : public ::testing::TestWithParam<std::tuple<int, bool>> {
 protected:
  void SetUp() override {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
    ASSERT_TRUE(library_.loadBesideProgram()) << library_.error();
    const int index = std::get<0>(GetParam());
    const bool synchronous = std::get<1>(GetParam());
    // One address per run: a dropped day waits for the next session at its address.
    address_ = "127.0.0.1:" + std::to_string(6000 + 2 * index + (synchronous ? 1 : 0));
    // A name no other run on the machine uses at the same time.
    configPath_ = ::testing::TempDir() + "xt_config_chaos_" + std::to_string(index) +
                  (synchronous ? "s_" : "a_") +
                  std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
    std::ofstream(configPath_) << "[behaviour]\nsynchronous = " << (synchronous ? "true" : "false")
                               << "\ntrading_day = 20240105\n[chaos]\n"
                               << kCases[index].chaos
                               << "\n[user tester]\npassword = pw\naccounts = F100\n"
                                  "[account F100]\ncash = 1000000\n"
                                  "[instrument rb2410]\nexchange = SHFE\nprice = 3650\n"
                                  "multiplier = 10\nmargin_rate = 0.1\ntick = 1\n";
    setCounterConfig(configPath_.c_str());
  }
  void TearDown() override {
    if (session_ != nullptr) (void)session_->release();
    setCounterConfig("");
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
    ASSERT_TRUE(host_.waitForConnected(++connects_));
  }

  // The fund account arrives in a vendor push the host is not told of, so
  // the funds query is asked until it stops answering "no fund account".
  void open() {
    connect();
    ASSERT_EQ(session_->login().code, 0);
    ASSERT_TRUE(host_.waitForLogins(connects_));
    const int before = host_.funds();
    while (session_->reqQryTradingAccount(++requestId_).code == -3) std::this_thread::yield();
    ASSERT_TRUE(host_.waitForFunds(before + 1));
  }

  void run(const Step& step) {
    switch (step.op) {
      case Op::kConnect:
        return connect();
      case Op::kOpen:
        return open();
      case Op::kBuy: {
        AccountOrderNewRequest order;
        order.codeId.exchange = 3;  // SHFE
        order.codeId.code = "rb2410";
        order.clientId = ClientId{kPrefix, step.serial};
        order.quantity = step.lots;
        order.price = step.price;
        order.priceType = 1;  // limit
        order.direction = 1;
        order.offsetFlag = 1;
        (void)session_->sendOrder(++requestId_, order);
        return;
      }
      case Op::kCancel: {
        AccountOrderCancelRequest cancel;
        cancel.codeId.exchange = 3;
        cancel.codeId.code = "rb2410";
        cancel.clientId = ClientId{kPrefix, step.serial};
        ASSERT_TRUE(host_.exchangeIdOf(step.seenAs, cancel.exchangeOrderId)) << step.seenAs;
        ASSERT_EQ(session_->cancelOrder(++requestId_, cancel).code, 0);
        return;
      }
      case Op::kAwait:
        ASSERT_TRUE(host_.waitForLines(static_cast<std::size_t>(step.lots)));
        return;
      case Op::kReconnect: {
        ITradeSession* old = session_;
        session_ = nullptr;
        ASSERT_EQ(old->release().code, 0);
        open();
        ASSERT_EQ(session_->reqQryOrder(++requestId_).code, 0);
        return;
      }
    }
  }

  demo::PluginLibrary library_;
  ChaosHost host_;
  ITradeSession* session_ = nullptr;
  std::string address_, configPath_;
  int connects_ = 0, requestId_ = 0;
};

TEST_P(Chaos, TheHostSeesWhatTheCounterDid) {
  const Case& c = kCases[std::get<0>(GetParam())];
  for (const Step& step : c.steps) {
    run(step);
    if (HasFatalFailure()) return;
  }
  ASSERT_TRUE(host_.waitForLines(c.seen.size())) << ::testing::PrintToString(host_.lines());
  // A last query's answer comes behind everything still queued before it
  // (it is refused at once when no fund account is known).
  const int funds = host_.funds();
  if (session_->reqQryTradingAccount(++requestId_).code == 0) {
    ASSERT_TRUE(host_.waitForFunds(funds + 1));
  }
  EXPECT_EQ(host_.lines(), c.seen);
}

INSTANTIATE_TEST_SUITE_P(
    Switches, Chaos,
    ::testing::Combine(::testing::Range(0, static_cast<int>(sizeof(kCases) / sizeof(kCases[0]))),
                       ::testing::Bool()),
    [](const ::testing::TestParamInfo<std::tuple<int, bool>>& info) {
      return std::string(kCases[std::get<0>(info.param)].name) + "_" +
             answerModeName(::testing::TestParamInfo<bool>(std::get<1>(info.param), 0));
    });

}  // namespace
}  // namespace testing
}  // namespace kestrel
