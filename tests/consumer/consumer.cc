// A host compiled and linked against the unpacked package only, no source
// tree: it calls every function the installed headers declare (so that each
// one is shown to link), fills the host's base information by hand from
// what plugin/common.h documents, and trades a short session against the
// simulated counter: a buy that fills, an order on an exchange missing from
// the base information, funds, positions, logout and release.
// Exit code 0 when every answer and callback came as expected; otherwise it
// names the first that did not.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "identity/client_id_set.h"
#include "plugin/common.h"
#include "plugin/plugin_entry.h"

namespace {

using kestrel::ResultStatus;

// GBK of "不支持", the host table's text for code 23.
const char kNotSupportedText[] = "\xB2\xBB\xD6\xA7\xB3\xD6";

bool failed = false;

void check(bool ok, const std::string& what) {
  if (ok) return;
  std::printf("consumer: FAILED: %s\n", what.c_str());
  failed = true;
}

// What the host keeps of one callback.
struct Seen {
  std::string event;
  int code = 0;
  std::string message;  // UTF-8
  kestrel::ClientId clientId;
  double amount[20] = {};  // AccountFunds: amount[N] is amountN
  int64_t volume = 0;
  int32_t twoValueCode = 0;
  int32_t side = 0;
};

// Keeps every callback; await() blocks until one matches or the deadline.
class Host : public kestrel::ITradeSessionSpi {
 public:
  void onConnected(const ResultStatus& s) override { add(seen("onConnected", s)); }
  void onLogin(const ResultStatus& s, const kestrel::LoginReply&) override {
    add(seen("onLogin", s));
  }
  void onLogout(const ResultStatus& s) override { add(seen("onLogout", s)); }
  void onDisconnected(const ResultStatus& s) override { add(seen("onDisconnected", s)); }
  void onOrderRejected(const kestrel::OrderRecord* r, const ResultStatus& s, int, bool) override {
    Seen e = seen("onOrderRejected", s);
    if (r != nullptr) e.clientId = r->clientId;
    add(std::move(e));
  }
  void onOrderFilled(const kestrel::OrderFilledRecord* r, const ResultStatus& s, int,
                     bool) override {
    Seen e = seen("onOrderFilled", s);
    if (r != nullptr) e.clientId = r->clientId;
    add(std::move(e));
  }
  void onFill(const kestrel::FillRecord* r, const ResultStatus& s, int, bool) override {
    Seen e = seen("onFill", s);
    if (r != nullptr) {
      e.clientId = r->clientId;
      e.volume = r->volume;
    }
    add(std::move(e));
  }
  void onAccountFundsResponse(const kestrel::AccountFunds* r, const ResultStatus& s, int,
                              bool) override {
    Seen e = seen("onAccountFundsResponse", s);
    if (r != nullptr) {
      const double amounts[] = {0,           r->amount1,  r->amount2,  r->amount3,  r->amount4,
                                r->amount5,  r->amount6,  r->amount7,  r->amount8,  r->amount9,
                                r->amount10, r->amount11, r->amount12, r->amount13, r->amount14,
                                r->amount15, r->amount16, r->amount17, r->amount18, r->amount19};
      for (int i = 0; i < 20; ++i) e.amount[i] = amounts[i];
    }
    add(std::move(e));
  }
  void onPositionsResponse(const kestrel::PositionRecord* r, const ResultStatus& s, int,
                           bool) override {
    Seen e = seen("onPositionsResponse", s);
    if (r != nullptr) {
      e.volume = r->volumeWhenSet;
      e.twoValueCode = r->twoValueCode;
      e.side = r->side;
    }
    add(std::move(e));
  }

  // The first event named `event` for which `match` holds; false, and a line
  // naming it, when none came within 20 s.
  bool await(
      const std::string& event, Seen& found,
      const std::function<bool(const Seen&)>& match = [](const Seen&) { return true; }) {
    std::unique_lock<std::mutex> lock(mutex_);
    const bool ok = changed_.wait_for(lock, std::chrono::seconds(20), [&] {
      for (const Seen& e : seen_) {
        if (e.event == event && match(e)) return found = e, true;
      }
      return false;
    });
    if (!ok) std::printf("consumer: no %s came\n", event.c_str());
    return ok;
  }

 private:
  static Seen seen(const char* event, const ResultStatus& s) {
    Seen e;
    e.event = event;
    e.code = s.code;
    e.message = kestrel::CodeConvert::gbk_to_utf8(s.message);
    return e;
  }
  void add(Seen e) {
    std::lock_guard<std::mutex> lock(mutex_);
    seen_.push_back(std::move(e));
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Seen> seen_;
};

// A session of the host's own: its vtable holds every operation
// ITradeSession defines a body for, so building it links them all.
class OwnSession : public kestrel::ITradeSession {
 public:
  int getTypeCode() override { return 1; }
  ResultStatus setConfig(const kestrel::SessionConfig&) override { return {}; }
  ResultStatus registerSpi(kestrel::ITradeSessionSpi*) override { return {}; }
  ResultStatus connect() override { return {}; }
  ResultStatus reqAuxiliary(int, const std::string&) override { return {}; }
  ResultStatus login() override { return {}; }
  ResultStatus logout() override { return {}; }
  ResultStatus release() override { return {}; }
  ResultStatus sendOrder(int, const kestrel::AccountOrderNewRequest&) override { return {}; }
  ResultStatus cancelOrder(int, const kestrel::AccountOrderCancelRequest&) override { return {}; }
  ResultStatus reqQryTradingAccount(int) override { return {}; }
  ResultStatus reqQryPosition(int) override { return {}; }
  ResultStatus reqQryOrder(int) override { return {}; }
  ResultStatus reqQryFill(int) override { return {}; }
};

// ITradeSession's own bodies: each operation it defines answers code 23
// with the table's text, getCurrencyRate an empty list.
void callEveryDefaultBody() {
  OwnSession own;
  OwnSession copy(own);  // the exported copy constructor
  copy = own;            // ... and copy assignment
  kestrel::ITradeSession& s = copy;
  kestrel::ClientSystemInfo info;
  std::string token;
  const std::vector<kestrel::ICodeID> codes;
  const std::pair<const char*, std::function<ResultStatus()>> defaults[] = {
      {"easyConnect", [&] { return s.easyConnect(); }},
      {"reqSessionInit", [&] { return s.reqSessionInit(1); }},
      {"reqPasswordUpdate", [&] { return s.reqPasswordUpdate(1, {}); }},
      {"getClientSystemInfo", [&] { return s.getClientSystemInfo(info); }},
      {"getTradingAccountToken", [&] { return s.getTradingAccountToken(token); }},
      {"sendExecutiveOrder", [&] { return s.sendExecutiveOrder(1, {}); }},
      {"cancelExecutiveOrder", [&] { return s.cancelExecutiveOrder(1, {}); }},
      {"reqQryExecutiveOrder", [&] { return s.reqQryExecutiveOrder(1, {}); }},
      {"reqQryPositionDetail", [&] { return s.reqQryPositionDetail(1, {}); }},
      {"reqQryInstrument", [&] { return s.reqQryInstrument(1, {}); }},
      {"reqCrashReturn", [&] { return s.reqCrashReturn({}); }},
      {"reqCreditInfo", [&] { return s.reqCreditInfo(1); }},
      {"reqFinancingTargets", [&] { return s.reqFinancingTargets(1, codes); }},
      {"reqFromBankAccountToTradingAccount",
       [&] { return s.reqFromBankAccountToTradingAccount(1, {}); }},
      {"reqFromTradingAccountToBankAccount",
       [&] { return s.reqFromTradingAccountToBankAccount(1, {}); }},
      {"reqInvestor", [&] { return s.reqInvestor(1, {}); }},
      {"reqMarginTargets", [&] { return s.reqMarginTargets(1, codes); }},
      {"reqQryBankAccountMoney", [&] { return s.reqQryBankAccountMoney(1, {}); }},
      {"reqQryBankAccountregister", [&] { return s.reqQryBankAccountregister(1, {}); }},
      {"reqQryCFMMCTradingAccountToken", [&] { return s.reqQryCFMMCTradingAccountToken(1, {}); }},
      {"reqQryCommissionRate", [&] { return s.reqQryCommissionRate(1, {}); }},
      {"reqQryHistoryData", [&] { return s.reqQryHistoryData(1, {}); }},
      {"reqQryHistoryFill", [&] { return s.reqQryHistoryFill(1, {}); }},
      {"reqQryMarginRate", [&] { return s.reqQryMarginRate(1, {}); }},
      {"reqQryRiskPosition", [&] { return s.reqQryRiskPosition(1); }},
      {"reqQryRiskProduct", [&] { return s.reqQryRiskProduct(1); }},
      {"reqQrySettlementInfo", [&] { return s.reqQrySettlementInfo(1, {}); }},
      {"reqQrySettlementInfoConfirm", [&] { return s.reqQrySettlementInfoConfirm(1, {}); }},
      {"reqQryStkStatement", [&] { return s.reqQryStkStatement(1, {}); }},
      {"reqQryTradingNotice", [&] { return s.reqQryTradingNotice(1); }},
      {"reqQryTransferBank", [&] { return s.reqQryTransferBank(1, {}); }},
      {"reqQryTransferSerial", [&] { return s.reqQryTransferSerial(1, {}); }},
      {"reqSecurityReturn", [&] { return s.reqSecurityReturn({}); }},
      {"reqSettlementInfoConfirm", [&] { return s.reqSettlementInfoConfirm(1, {}); }},
      {"reqTradingAccountPasswordUpdate", [&] { return s.reqTradingAccountPasswordUpdate(1, {}); }},
  };
  for (const auto& [name, call] : defaults) {
    const ResultStatus answer = call();
    check(answer.code == 23 && answer.message == kNotSupportedText,
          std::string(name) + " answered " + std::to_string(answer.code));
  }
  check(s.getCurrencyRate().empty(), "getCurrencyRate is not empty");
}

// The Common stand-in's functions and the registry, called once each.
void callCommonAndRegistry() {
  using kestrel::CodeConvert;
  check(CodeConvert::gbk_to_utf8(CodeConvert::utf8_to_gbk("不支持")) == "不支持" &&
            CodeConvert::unicode_to_gbk(L"\x4E0D\x652F\x6301") == kNotSupportedText,
        "GBK conversions");
  check(!FileSystem::GetServerExeDirectoryW().empty(), "the program's directory");
  const kestrel::Timestamp now = kestrel::Timestamp::now(kestrel::KSTimeZoneBeijing);
  // Wednesday 2024-01-03 12:00 at UTC+8 is its own trading day.
  const kestrel::Timestamp noon(1704254400000000, kestrel::KSTimeZoneBeijing);
  const kestrel::TradeTime calendar("pfcode.SHFE");
  check(now.toUTCMilisecsinceEponch() > noon.toUTCMilisecsinceEponch() &&
            calendar.GetTradingDay(&noon, kestrel::TrdDayForward) == 20240103 &&
            calendar.productCode() == "pfcode.SHFE",
        "time stamps and the trading calendar");

  kestrel::XtClientIdSet registry;
  const kestrel::ClientId id{"host", "000007"};
  registry.add(7, id);
  kestrel::ClientId found;
  int orderId = 0;
  check(registry.update(7, 42) && registry.get(42, found) && found == id &&
            registry.get(id, orderId) && orderId == 42 && clientIdKey(id) == "host@000007",
        "the registry did not give back what was filed");
}

// The base information a host fills before it connects (plugin/common.h):
// here only SHFE, by hand, both ways. addChinaExchanges() gives it the same
// number.
void fillBaseInformation() {
  kestrel::BaseInformationMap& info = *kestrel::gBaseInformationMap;
  info.exchangeNumbers["SHFE"] = kestrel::ExchangeNumberEntry{3, "Shanghai Futures Exchange"};
  info.exchangeCodes[3] = kestrel::ExchangeCodeEntry{"SHFE", "Shanghai Futures Exchange"};
  kestrel::BaseInformationMap china;
  kestrel::addChinaExchanges(china);
  check(china.exchangeNumbers.at("SHFE").exchangeNumber == 3 &&
            china.exchangeCodes.at(3).exchangeCode == "SHFE",
        "addChinaExchanges numbers SHFE 3");
}

kestrel::AccountOrderNewRequest buyAtAnyPrice(int exchange, const char* serial) {
  kestrel::AccountOrderNewRequest order;
  order.codeId.exchange = exchange;
  order.codeId.code = "rb2410";
  order.clientId = kestrel::ClientId{"host", serial};
  order.quantity = 1;
  order.priceType = 2;   // any price
  order.direction = 1;   // buy
  order.offsetFlag = 1;  // open
  return order;
}

// Connects, logs in and trades; false at the first thing that did not come.
bool trade(kestrel::ITradeSession& session, Host& host) {
  Seen e;
  auto ok = [&](const char* event) { return host.await(event, e) && e.code == 0; };
  if (session.connect().code != 0 || !ok("onConnected")) return false;
  if (session.login().code != 0 || !ok("onLogin")) return false;

  // The counter names the fund account in a push of its own after the
  // login; until then orders and queries answer -3.
  int requestId = 1;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (session.reqQryTradingAccount(++requestId).code == -3) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  if (!ok("onAccountFundsResponse")) return false;

  // Exchange 3 is in the base information: the order fills, under the host's id.
  const kestrel::ClientId mine{"host", "000001"};
  auto isMine = [&](const Seen& s) { return s.clientId == mine; };
  check(session.sendOrder(++requestId, buyAtAnyPrice(3, "000001")).code == 0, "sendOrder");
  check(host.await("onOrderFilled", e, isMine) && e.code == 0, "onOrderFilled of 000001");
  check(host.await("onFill", e, isMine) && e.volume == 1, "onFill of 000001, 1 lot");

  // Exchange 99 is not: the order goes out without a market and the counter
  // refuses it.
  const kestrel::ClientId lost{"host", "000002"};
  check(session.sendOrder(++requestId, buyAtAnyPrice(99, "000002")).code == 0, "sendOrder");
  check(host.await("onOrderRejected", e, [&](const Seen& s) { return s.clientId == lost; }) &&
            e.code == -1 && e.message == "[msg=交易所代码与合约不符]",
        "the order on exchange 99 refused: " + e.message);

  // After the fill: the balance is the day's starting balance less the
  // commission, and it is the available money plus the margin held.
  const int fundsId = ++requestId;
  check(session.reqQryTradingAccount(fundsId).code == 0, "funds query");
  check(host.await("onAccountFundsResponse", e, [&](const Seen& s) { return s.amount[1] > 0; }),
        "funds after the fill");
  const double* a = e.amount;
  auto same = [](double x, double y) { return x - y < 1e-6 && y - x < 1e-6; };
  check(a[15] > 0 && same(a[4], a[3] - a[15]) && same(a[4], a[11] + a[1]),
        "amount4 (balance) = amount3 - amount15 (commission) = amount11 (available) + amount1 "
        "(margin): " +
            std::to_string(a[4]) + " " + std::to_string(a[15]) + " " + std::to_string(a[11]) + " " +
            std::to_string(a[1]));

  check(session.reqQryPosition(++requestId).code == 0, "positions query");
  check(host.await("onPositionsResponse", e) && e.volume == 1 && e.twoValueCode == 1 && e.side == 1,
        "one lot long, opened today");

  return session.logout().code == 0 && ok("onLogout");
}

}  // namespace

int main() {
  std::printf("%s\n", GetPluginInfo());
  callEveryDefaultBody();
  callCommonAndRegistry();
  fillBaseInformation();

  Host host;
  kestrel::ITradeSession* session = CreateTradeSession();
  kestrel::SessionConfig config;
  config.userName = "demo";
  config.password = "demo123";
  config.server.serverAddresses.push_back(kestrel::AddressEntry{"tcp://127.0.0.1:5800", "counter"});
  check(session->setConfig(config).code == 0 && session->registerSpi(&host).code == 0,
        "setConfig and registerSpi");
  check(trade(*session, host), "the session traded");
  Seen e;
  check(session->release().code == 0 && host.await("onDisconnected", e) && e.code == 0, "release");
  if (failed) return 1;
  std::printf("consumer: traded a session through the unpacked package\n");
  return 0;
}
