// The simulated counter (broker/) through its vendor interface: its trading
// rules as tables of requests and the callbacks they cause, its configuration
// file, and the threads its answers come on.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iomanip>
#include <iterator>
#include <memory>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "broker/config_variable.h"
#include "broker/counter.h"
#include "broker/sim_platform.h"
#include "broker/simulated_api.h"
#include "broker/simulated_counter.h"
#include "plugin/platform.h"

namespace xti::sim {
namespace {

using kestrel::fieldText;

// "ok", or the error id and text.
std::ostream& operator<<(std::ostream& out, const XtError& e) {
  return e.isSuccess() ? out << "ok"
                       : out << e.errorID() << ' ' << (e.errorMsg() ? e.errorMsg() : "(null)");
}
// The parts, blank-separated, numbers to 10 digits.
template <class... Parts>
std::string join(const Parts&... parts) {
  std::ostringstream line;
  line << std::setprecision(10);
  ((line << ' ' << parts), ...);
  return line.str().substr(1);
}
std::string shown(const std::string& text) { return text.empty() ? "-" : text; }

// Records as lines; codes are the vendor's characters of direction, offset,
// price type and hedge flag.
//   order: id, instrument, exchange, status and submit status, traded/total,
//          exchange order id, codes, limit price, text, average price, amount
//   deal: order id, instrument, exchange, deal reference, volume, price, codes,
//         exchange order id
//   position: instrument, exchange, direction, today, volume, open price
//   detail: instrument, exchange, direction, today, free and frozen volume,
//           open price, deal reference, open cost, open date, trading day
//   funds: pre-balance, balance, available, commission, margin, frozen margin,
//          frozen cash, close profit, position profit, trading day
const Stamp kPinned{"20240603", "09:30:15"};
template <class R>
std::string codes(const R& r) {
  return {char(r.m_nDirection), char(r.m_nOffsetFlag), char(r.m_nPriceType), char(r.m_nHedgeFlag)};
}
// Every order, deal and position record names its account and product; a line
// whose record does not starts with "unnamed".
template <class R>
std::string named(const R& r) {
  return fieldText(r.m_strAccountID).empty() || fieldText(r.m_strProductID).empty() ? "unnamed "
                                                                                    : "";
}
std::string text(const VendorOrder& o) {
  return named(o) +
         join(o.m_nOrderID, fieldText(o.m_strInstrumentID), fieldText(o.m_strExchangeID),
              std::string{char(o.m_nOrderStatus), char(o.m_nOrderSubmitStatus)},
              std::to_string(o.m_nVolumeTraded) + "/" + std::to_string(o.m_nVolumeTotalOriginal),
              shown(fieldText(o.m_strOrderSysID)), codes(o), o.m_dLimitPrice,
              fieldText(o.m_strErrorMsg), o.m_dAveragePrice, o.m_dTradeAmount);
}
std::string text(const VendorDeal& d) {
  return named(d) + join(d.m_nOrderID, fieldText(d.m_strInstrumentID), fieldText(d.m_strExchangeID),
                         fieldText(d.m_strTradeID), d.m_nVolume, d.m_dPrice, codes(d),
                         fieldText(d.m_strOrderSysID));
}
std::string text(const VendorPosition& p) {
  return named(p) + join(fieldText(p.m_strInstrumentID), fieldText(p.m_strExchangeID),
                         char(p.m_nDirection), p.m_bIsToday, p.m_nPosition, p.m_dOpenPrice);
}
std::string text(const VendorPositionDetail& d) {
  return named(d) + join(fieldText(d.m_strInstrumentID), fieldText(d.m_strExchangeID),
                         char(d.m_nDirection), d.m_bIsToday, d.m_nVolume, d.m_nFrozenVolume,
                         d.m_dOpenPrice, fieldText(d.m_strTradeID), d.m_dOpenCost,
                         fieldText(d.m_strOpenDate), fieldText(d.m_strTradingDay));
}
std::string text(const VendorAccountDetail& f) {
  return join(f.m_dPreBalance, f.m_dBalance, f.m_dAvailable, f.m_dCommission, f.m_dCurrMargin,
              f.m_dFrozenMargin, f.m_dFrozenCash, f.m_dCloseProfit, f.m_dPositionProfit,
              fieldText(f.m_strTradingDay));
}

// Writes every callback as a line: its kind, the request number if it has
// one, then what it carries. Waits on a condition variable, never by sleeping; react()
// sets what runs inside each later callback, on the library's thread.
class Recorder : public XtTraderApiCallback {
  using Error = const XtError&;

 public:
  using Event = std::pair<std::string, std::thread::id>;  // the line, the thread it came on
  void react(std::function<void(const std::string& line)> reaction) {
    std::lock_guard<std::mutex> lock(mutex_);
    reaction_ = std::move(reaction);
  }
  std::vector<Event> events() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
  }
  std::string take() {  // the lines so far, then forgets them
    std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const Event& e : events_) text += e.first + '\n';
    events_.clear();
    return text;
  }
  void waitFor(std::size_t count) const {
    std::unique_lock<std::mutex> lock(mutex_);
    arrived_.wait(lock, [&] { return events_.size() >= count; });
  }

  void onConnected(bool ok, const char* text) override { add("connected", ok ? "ok" : text); }
  void onUserLogin(const char* user, const char*, int id, Error e) override {
    add("login", id, user, e);
  }
  void onUserLogout(const char* user, const char*, int id, Error e) override {
    add("logout", id, user, e);
  }
  void onAccountStatus(const char* a, int type, int status) override {
    add("status", a, type, status);
  }
  void onOrderReply(int id, int order, const char*, Error e) override {
    add("reply", id, order, e);
  }
  void onCancelReply(int id, Error e) override { add("cancel", id, e); }
  void onCancelReply2(int id, Error e) override { add("cancel2", id, e); }
  void onOrderPush(const VendorOrder* o) override { add("order", text(*o)); }
  void onDealPush(const VendorDeal* d) override { add("deal", text(*d)); }
  void onOrderErrorPush(const VendorOrderError* e) override { errorPush("orderError", *e); }
  void onCancelErrorPush(const VendorOrderError* e) override { errorPush("cancelError", *e); }
  void onAccountDetailReply(const char* a, int id, const VendorAccountDetail* r, bool l,
                            Error e) override {
    query("funds", a, id, r, l, e);
  }
  void onPositionReply(const char* a, int id, const VendorPosition* r, bool l, Error e) override {
    query("positions", a, id, r, l, e);
  }
  void onPositionDetailReply(const char* a, int id, const VendorPositionDetail* r, bool l,
                             Error e) override {
    query("details", a, id, r, l, e);
  }
  void onDealDetailReply(const char* a, int id, const VendorDeal* r, bool l, Error e) override {
    query("deals", a, id, r, l, e);
  }

 private:
  template <class... Parts>
  void add(const Parts&... parts) {
    const std::string line = join(parts...);
    std::unique_lock<std::mutex> lock(mutex_);
    events_.push_back(Event{line, std::this_thread::get_id()});
    const auto reaction = reaction_;
    lock.unlock();
    arrived_.notify_all();
    if (reaction) reaction(line);
  }
  void errorPush(const char* kind, const VendorOrderError& e) {
    add(kind, e.m_nRequestID, shown(fieldText(e.m_strAccountID)), e.m_nOrderID, e.m_nCancelFlag,
        XtError(e.m_nErrorID, e.m_strErrorMsg));
  }
  template <class Record>
  void query(const char* kind, const char* account, int id, const Record* r, bool last,
             const XtError& e) {
    add(kind, id, shown(account), e, r ? text(*r) : "none", last ? "last" : "more");
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<Event> events_;
  std::function<void(const std::string&)> reaction_;
};

// Two users; a futures account holding m2409 long 4 @3100 and rb2410 short 3
// @3700 from before the day, a stock account holding 600000 long 1000 @7; the
// instruments of those positions. `behaviour` adds [behaviour] lines.
std::string configText(const std::string& behaviour) {
  return "[behaviour]\ntrading_day = 20240603\n" + behaviour +
         "\n[user demo]\npassword = demo123\naccounts = 88001234\n[user stock]\npassword = "
         "stock123\naccounts = 10001234\n[account 88001234]\ncash = 1000000\nposition = m2409 long "
         "4 3100\nposition = rb2410 short 3 3700\n[account 10001234]\ntype = stock\ncash = 100000\n"
         "position = 600000 long 1000 7.00\n[instrument rb2410]\nexchange = SHFE\nprice = 3650\n"
         "multiplier = 10\nmargin_rate = 0.1\nband_percent = 7\n[instrument m2409]\nexchange = "
         "DCE\nprice = 3200\nmultiplier = 10\nmargin_rate = 0.08\n[instrument 600000]\nexchange = "
         "SH\nprice = 7.50\n";
}

// An API object on configText(behaviour) in a file of its own (named after
// the test: CTest runs the tests in parallel processes), its clock pinned,
// with a recorder. The object goes first (it is declared last).
struct Session {
  explicit Session(const std::string& behaviour, const std::string& address = "127.0.0.1:7001")
      : path(::testing::TempDir() +
             ::testing::UnitTest::GetInstance()->current_test_info()->name() +
             std::to_string(++sessions)),
        api(new SimulatedApi(address)) {
    std::ofstream(path, std::ios::binary) << configText(behaviour);
    api->setClock([] { return kPinned; });
    api->setCallback(&recorder);
  }
  ~Session() { std::remove(path.c_str()); }

  // Issues one request written as words; N is its request number and a
  // missing word a null text. Returns false when "price" moved nothing.
  //   init | price INSTRUMENT PRICE | N login|logout USER PASSWORD | N cancel ORDER_ID
  //   N funds|positions|details|deals ACCOUNT | N order null
  //   N cancel2 ACCOUNT EXCHANGE_ORDER_ID EXCHANGE INSTRUMENT
  //   N order ACCOUNT INSTRUMENT EXCHANGE OPERATION VOLUME PRICE|market
  // OPERATION: 0 open long, 1 close older long, 2 close today's long, 3 open
  // short, 4 close older short, 5 close today's short.
  bool request(const std::string& command) {
    std::istringstream in(command);
    std::vector<std::string> w{std::istream_iterator<std::string>(in), {}};
    w.resize(10);
    const auto word = [&](int i) { return w[i].empty() ? nullptr : w[i].c_str(); };
    const int n = std::atoi(w[0].c_str());
    const std::string& op = w[1];
    if (w[0] == "init") api->init(path.c_str());
    if (w[0] == "price") return api->setReferencePrice(w[1], std::stod(w[2]));
    if (op == "login") api->userLogin(word(2), word(3), n, nullptr, nullptr, nullptr);
    if (op == "logout") api->userLogout(word(2), word(3), n);
    if (op == "cancel") api->cancelOrderById(std::atoi(w[2].c_str()), n);
    if (op == "cancel2") api->cancelOrderByExchangeId(word(2), word(3), word(4), word(5), n, "");
    if (op == "funds") api->queryAccountDetail(word(2), n, "");
    if (op == "positions") api->queryPosition(word(2), n, "");
    if (op == "details") api->queryPositionDetail(word(2), n, "");
    if (op == "deals") api->queryDealDetail(word(2), n, "");
    if (op != "order") return true;
    COrdinaryOrder order;
    kestrel::copyToField(order.m_strAccountID, w[2]);
    kestrel::copyToField(order.m_strInstrument, w[3]);
    kestrel::copyToField(order.m_strMarket, w[4]);
    order.m_eOperationType = std::atoi(w[5].c_str());
    order.m_nVolume = std::atoi(w[6].c_str());
    order.m_ePriceType = w[7] == "market" ? PRTP_MARKET : PRTP_LIMIT;
    order.m_dPrice = w[7] == "market" ? 0 : std::strtod(w[7].c_str(), nullptr);
    api->placeOrder(w[2] == "null" ? nullptr : &order, n, "");
    return true;
  }
  // The callbacks of one request in synchronous mode, a line each; "refused"
  // when a market tool moved nothing.
  std::string run(const std::string& command) {
    return request(command) ? recorder.take() : recorder.take() + "refused\n";
  }
  // Runs each request and compares its callbacks; kSetUp answers are not compared.
  void runDay(const std::vector<std::pair<std::string, std::string>>& rows) {
    for (const auto& [command, answers] : rows) {
      const std::string got = run(command);
      EXPECT_TRUE(answers == kSetUp || got == answers) << command << " gave\n" << got;
    }
  }
  void connectAndLogin() {
    request("init");
    request("1 login demo demo123");
    recorder.waitFor(3);
    recorder.take();
  }

  static constexpr const char* kSetUp = "(set-up)";
  static inline int sessions = 0;
  const std::string path;
  Recorder recorder;
  std::unique_ptr<SimulatedApi> api;
};

// The answers to a refused order or cancel "N order|cancel|cancel2 ...": the
// reply, then the same reason as an error push naming the account and order.
std::string refused(const std::string& request, const std::string& account, int orderId,
                    const std::string& error) {
  std::istringstream words(request);
  std::string n, op;
  words >> n >> op;
  const bool order = op == "order";
  return join(order ? "reply" : op, n, order ? "0 " + error : error) + "\n" +
         join(order ? "orderError" : "cancelError", n, shown(account), orderId, !order, error) +
         "\n";
}

// --- Trading rules: synchronous mode, so every answer has arrived when the
// call returns. A row starts from what the rows before it left. The day is
// Monday 2024-06-03: positions held from before it opened on Friday 05-31.

TEST(BrokerCounterTest, ConnectionLoginAndLogout) {
  Session s("synchronous = true");
  s.runDay({{"init", "connected ok\n"},
            {"2 login demo wrong", "login 2 demo 1001 用户名或密码错误\n"},
            {"3 login nobody demo123", "login 3 nobody 1001 用户名或密码错误\n"},
            {"4 logout demo demo123", "logout 4 demo 1002 用户未登录\n"},
            {"5 login demo demo123", "login 5 demo ok\nstatus 88001234 1 1\n"},
            {"6 login stock stock123", "login 6 stock ok\nstatus 10001234 2 1\n"},
            {"7 logout demo demo123", "logout 7 demo ok\n"},
            {"8 positions 88001234", "positions 8 88001234 1002 资金账号未登录 none last\n"},
            {"9 positions 10001234", "positions 9 10001234 ok 600000 SH 0 0 1000 7 last\n"},
            {"10 logout nobody x", "logout 10 nobody 1002 用户未登录\n"}});
  Session off("synchronous = true", "unreachable.invalid:7001");
  off.runDay({{"init", "connected 无法连接到柜台 unreachable.invalid:7001\n"},
              {"1 login demo demo123", "login 1 demo 1000 未连接到柜台\n"},
              {"2 order 88001234 rb2410 SHFE 0 1 3650",
               refused("2 order", "88001234", 0, "1000 未连接到柜台")},
              {"price rb2410 3600", "refused\n"}});
}

// A refused order takes no order id.
TEST(BrokerCounterTest, OrdersTheCounterRefuses) {
  const std::pair<std::string, const char*> refusals[] = {
      {"99 rb2410 SHFE 0 1 3650", "1003 资金账号不存在"},
      {"88001234 zz9999 SHFE 0 1 3650", "2001 合约代码不存在"},
      {"88001234 rb2410 SHFE 0 0 3650", "2001 委托数量必须大于0"},
      {"88001234 rb2410 SHFE 0 1000000 3650", "2002 可用资金不足"},
      {"88001234 rb2410 SHFE 0 1 0", "2001 委托价格必须大于0"},
      {"10001234 600000 SH 3 100 7.5", "2001 股票不能卖空"},
      {"10001234 600000 SH 2 100 7.5", "2001 股票当日买入不能当日卖出"},
      {"88001234 rb2410 SHFE 1 1 3650", "2003 可平仓位不足"},  // no long position,
      {"88001234 rb2410 SHFE 5 1 3650", "2003 可平仓位不足"},  // none opened today,
      {"88001234 m2409 DCE 1 5 3200", "2003 可平仓位不足"},    // 4 older
      {"null", "2001 委托为空"},
  };
  Session s("synchronous = true");
  s.connectAndLogin();
  s.run("1 login stock stock123");
  for (const auto& [order, error] : refusals) {
    const std::string account = order == "null" ? "" : order.substr(0, order.find(' '));
    EXPECT_EQ(s.run("9 order " + order), refused("9 order", account, 0, error));
  }
  s.runDay({{"2 order 88001234 rb2410 SHFE 4 3 3650", Session::kSetUp},
            {"3 order 10001234 600000 SH 1 100 7.5", Session::kSetUp},  // older stock sells
            {"4 deals 10001234",
             "deals 4 10001234 ok 2 600000 SH T00000002 100 7.5 1101 000000000002 last\n"}});
}

// A marketable order fills at the reference price, in slices (larger first);
// a resting order fills at its own limit once the price reaches it; the
// exchange rejects limits beyond +-7% of 3650 (3394.5 to 3905.5).
TEST(BrokerCounterTest, FillsRestingOrdersPriceBandAndCancels) {
  Session s("synchronous = true\nfill_mode = partial\nfill_slices = 2");
  s.connectAndLogin();
  s.runDay({{"2 order 88001234 rb2410 SHFE 0 5 3660",
             "reply 2 1 ok\norder 1 rb2410 SHFE 33 0/5 000000000001 0001 3660 已报 0 0\n"
             "order 1 rb2410 SHFE 15 3/5 000000000001 0001 3660 部分成交 3650 109500\n"
             "deal 1 rb2410 SHFE T00000001 3 3650 0001 000000000001\n"
             "order 1 rb2410 SHFE 06 5/5 000000000001 0001 3660 全部成交 3650 182500\n"
             "deal 1 rb2410 SHFE T00000002 2 3650 0001 000000000001\n"},
            {"3 order 88001234 m2409 DCE 3 1 market", Session::kSetUp},
            {"4 order 88001234 rb2410 SHFE 0 1 3640", Session::kSetUp},
            {"5 order 88001234 rb2410 SHFE 3 1 3660", Session::kSetUp},
            {"6 order 88001234 rb2410 SHFE 0 1 3906",
             "reply 6 5 ok\norder 5 rb2410 SHFE 40 0/1 - 0001 3906 价格超出涨跌停板范围 0 0\n"},
            {"7 order 88001234 rb2410 SHFE 3 1 3905.5", Session::kSetUp},
            {"price rb2410 3641", ""},
            {"price rb2410 3640",
             "order 3 rb2410 SHFE 06 1/1 000000000003 0001 3640 全部成交 3640 36400\n"
             "deal 3 rb2410 SHFE T00000004 1 3640 0001 000000000003\n"},
            {"price rb2410 3670",
             "order 4 rb2410 SHFE 06 1/1 000000000004 1001 3660 全部成交 3660 36600\n"
             "deal 4 rb2410 SHFE T00000005 1 3660 1001 000000000004\n"},
            {"price rb2410 -1", "refused\n"},
            {"price zz 1", "refused\n"},
            {"9 order 88001234 m2409 DCE 0 1 3100", Session::kSetUp},
            // Orders 6 and 7 rest: their margin and commission are held.
            {"10 funds 88001234",
             "funds 10 88001234 ok 1000000 1006071.25 950548.7445 28.75 49130 6385.5 6392.5055 0 "
             "6100 20240603 last\n"},
            {"11 cancel 7",
             "cancel 11 ok\norder 7 m2409 DCE 53 0/1 000000000006 0001 3100 已撤单 0 0\n"},
            {"12 cancel2 88001234 000000000005 SHFE rb2410",
             "cancel2 12 ok\norder 6 rb2410 SHFE 53 0/1 000000000005 1001 3905.5 已撤单 0 0\n"},
            {"13 funds 88001234",
             "funds 13 88001234 ok 1000000 1006071.25 956941.25 28.75 49130 0 0 0 6100 20240603 "
             "last\n"}});
  const std::tuple<std::string, const char*, int, const char*> refusals[] = {
      {"14 cancel 7", "88001234", 7, "3001 委托已撤单，不能重复撤单"},
      {"15 cancel 0", "", 0, "3001 委托不存在"},
      {"16 cancel2 88001234 000000000003 DCE rb2410", "88001234", 0, "3001 委托不存在"},
  };
  for (const auto& [request, account, order, error] : refusals) {
    EXPECT_EQ(s.run(request), refused(request, account, order, error));
  }
}

// Closing orders hold volume, older first, until they fill or are cancelled;
// on SHFE an older-close takes only older volume, elsewhere today's after it.
TEST(BrokerCounterTest, PositionsFreezeCloseAndRealiseProfit) {
  Session s("synchronous = true\nfill_mode = partial\nfill_slices = 2");
  s.connectAndLogin();
  const std::string noVolume = refused("0 order", "88001234", 0, "2003 可平仓位不足");
  s.runDay(
      {{"2 order 88001234 m2409 DCE 0 2 market", Session::kSetUp},  // two lots @3200
       {"3 order 88001234 m2409 DCE 1 5 3300", Session::kSetUp},    // rests
       {"4 details 88001234",
        "details 4 88001234 ok m2409 DCE 0 0 0 4 3100 Y00000001 124000 20240531 20240603 more\n"
        "details 4 88001234 ok m2409 DCE 0 1 0 1 3200 T00000001 32000 20240603 20240603 more\n"
        "details 4 88001234 ok m2409 DCE 0 1 1 0 3200 T00000002 32000 20240603 20240603 more\n"
        "details 4 88001234 ok rb2410 SHFE 1 0 3 0 3700 Y00000002 111000 20240531 20240603 "
        "last\n"},
       {"0 order 88001234 m2409 DCE 2 2 3200", noVolume},
       {"6 cancel 2", Session::kSetUp},
       {"7 order 88001234 m2409 DCE 1 5 market", Session::kSetUp},  // 3, then 1 + 1 today
       {"8 order 88001234 rb2410 SHFE 3 1 market", Session::kSetUp},
       {"0 order 88001234 rb2410 SHFE 4 4 3650", noVolume},
       {"10 order 88001234 rb2410 SHFE 4 1 3650", Session::kSetUp},
       {"11 order 88001234 rb2410 SHFE 5 1 3650", Session::kSetUp},
       {"12 positions 88001234",
        "positions 12 88001234 ok m2409 DCE 0 1 1 3200 more\n"
        "positions 12 88001234 ok rb2410 SHFE 1 0 2 3700 last\n"},
       // Realised: (3200 - 3100) x 4 x 10 on m2409, (3700 - 3650) x 1 x 10 on rb2410.
       {"13 funds 88001234",
        "funds 13 88001234 ok 1000000 1005466.65 995506.65 33.35 9960 0 0 4500 1000 20240603 "
        "last\n"}});
}

// --- The configuration file.

// Everything a configuration holds, a line per section.
std::string describe(const Config& c) {
  const Behaviour& b = c.behaviour;
  std::string out = join("behaviour", int(b.fillMode), b.fillSlices, b.replyLatencyMs,
                         b.priceWalkMs, b.priceWalkTicks, b.priceWalkSeed, b.synchronous,
                         b.errorPush, b.commissionRate, "'" + b.tradingDay + "'");
  for (const std::string& address : b.unreachable) out += " " + address;
  for (const UserConfig& u : c.users) {
    out += "\n" + join("user", u.name, u.password);
    for (const std::string& account : u.accounts) out += " " + account;
  }
  for (const AccountConfig& a : c.accounts) {
    out += "\n" + join("account", a.id, a.type, a.cash);
    for (const StartPosition& p : a.positions)
      out += ", " +
             join(p.instrument, p.side == Side::kLong ? "long" : "short", p.volume, p.openPrice);
  }
  for (const InstrumentConfig& i : c.instruments) {
    out += "\n" + join("instrument", i.code, i.exchange, i.product, i.price, i.multiplier,
                       i.marginRate, i.tick, i.bandPercent);
  }
  const auto chaos = [](const Chaos& k) {
    return join("chaos", k.seed, k.dropAfterMs, k.dropAfterEvents, k.keepDayAfterDrop,
                k.pushesBeforeReply, k.duplicatePushes, k.errorPushWithoutReply, k.reorderReplies,
                k.delayReplies, k.delayMs, k.rejectOrders);
  };
  if (chaos(c.chaos) != chaos(Chaos())) out += "\n" + chaos(c.chaos);  // only when given
  return out;
}

// A missing file: the embedded defaults, which are the sample file beside
// the programs (the users and accounts the README promises).
TEST(BrokerConfigTest, AMissingFileGivesTheSampleFile) {
  std::string text;
  ASSERT_EQ(readWholeFile(KS_SOURCE_DIR "/config/xt_config", text), ReadStatus::kOk);
  const std::string sample = describe(parseConfig(text, "xt_config").config);
  EXPECT_EQ(describe(loadConfig(::testing::TempDir() + "no_such_dir/xt_config").config), sample);
  EXPECT_NE(sample.find("\nuser demo demo123 88001234\n"), std::string::npos) << sample;
  EXPECT_NE(sample.find("\naccount 88001234 1 1000000\n"), std::string::npos) << sample;
}

// XT_SIM_CONFIG names the file init() reads in place of its own path; a file
// it names must exist, where a missing file at init()'s path gives the
// defaults. (An empty variable counts as unset.)
TEST(BrokerConfigTest, AFileTheEnvironmentNamesMustExist) {
  const std::string missing = ::testing::TempDir() + "no_such_dir/xt_config";
  const std::string sample = KS_SOURCE_DIR "/config/xt_config";
  const std::string defaults = describe(defaultConfig());
  const struct {
    std::string variable, initPath, expected;
  } rows[] = {
      {"", missing, defaults},
      {sample, missing, defaults},
      {missing, sample, missing + ": no such configuration file (named by XT_SIM_CONFIG)"},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.variable);
    xti::sim::setConfigVariable(r.variable.c_str());
    const ConfigResult loaded = loadConfigFor(r.initPath.c_str());
    EXPECT_EQ(loaded.ok ? describe(loaded.config) : loaded.error, r.expected);
  }
  xti::sim::setConfigVariable("");
}

// Each text gives its settings (as describe() writes them) or "t:LINE: what is wrong".
TEST(BrokerConfigTest, TextsGiveTheirSettingsOrTheLineAtFault) {
  const std::string kPositionForm =
      "position must be INSTRUMENT long|short VOLUME OPEN_PRICE (VOLUME a whole number "
      "1-1000000000, OPEN_PRICE a number 0.0001-1e9)";
  const std::pair<std::string, std::string> cases[] = {
      {"\xEF\xBB\xBF# comment\r\n[behavior]\r\nfill_mode = partial ; comment\nfill_slices = 1000\n"
       "reply_latency_ms = 60000\nprice_walk_ms = 3600000\nprice_walk_ticks = 1000\n"
       "price_walk_seed = 9223372036854775807\nsynchronous = on\nerror_push = no\n"
       "unreachable = a.example:1, b.example:2\ncommission_rate = 0.1\ntrading_day = 20240229\n"
       "[user abcdefghijklmnopqrstuvwxyz01234]\npassword = p#ss;word\naccounts = A1,A2\n"
       "[account A1]\ncash = 1e15\nposition = cu2409 short 1000000000 70000\n"
       "position = cu2409 long 1 0.5\n[account A2]\ntype = stock\n"
       "[instrument cu2409]\nexchange = SHFE\nproduct = cu\nprice = 1e9\nmultiplier = 1e6\n"
       "margin_rate = 1\ntick = +10\nband_percent = 99.99\n"
       "[ instrument  IF2409 ]\nexchange = GFEX\nprice = 0.5\n",
       "behaviour 1 1000 60000 3600000 1000 9223372036854775807 1 0 0.1 '20240229' a.example:1 "
       "b.example:2\nuser abcdefghijklmnopqrstuvwxyz01234 p#ss;word A1 A2\n"
       "account A1 1 1e+15, cu2409 short 1000000000 70000, cu2409 long 1 0.5\naccount A2 2 0\n"
       "instrument cu2409 SHFE cu 1000000000 1000000 1 10 99.99\n"
       "instrument IF2409 GFEX IF 0.5 1 1 0.01 10"},
      {"[behaviour]\nfill_mode = none\nfill_slices = 1\nprice_walk_ticks = 0\nprice_walk_seed = 0\n"
       "synchronous = FALSE\nerror_push = 1\ncommission_rate = 0\nunreachable =\n"
       "[account 600000]\ntype = futures\n[instrument 600000]\nexchange = sh\nprice = 7\n",
       "behaviour 2 1 0 0 0 0 0 1 0 ''\naccount 600000 1 0\ninstrument 600000 SH 600000 7 1 1 "
       "0.01 10"},
      {"[behaviour]\n\n# c\nfill_slices = 0", "t:4: fill_slices must be a whole number 1-1000"},
      {"[behaviour]\nreply_latency_ms = -1",
       "t:2: reply_latency_ms must be a whole number 0-60000"},
      {"[behaviour]\nprice_walk_ms = 3600001",
       "t:2: price_walk_ms must be a whole number 0-3600000"},
      {"[behaviour]\nprice_walk_ticks = 1.5",
       "t:2: price_walk_ticks must be a whole number 0-1000"},
      {"[behaviour]\ncommission_rate = 0.11", "t:2: commission_rate must be a number 0-0.1"},
      {"[behaviour]\ntrading_day = 2024O603", "t:2: trading_day must be a date YYYYMMDD"},
      {"[behaviour]\ntrading_day = 20230229", "t:2: trading_day must be a date YYYYMMDD"},
      {"[behaviour]\ntrading_day = 20241301", "t:2: trading_day must be a date YYYYMMDD"},
      {"[behaviour]\ntrading_day = 20240001", "t:2: trading_day must be a date YYYYMMDD"},
      {"[behaviour]\ntrading_day = 20240100", "t:2: trading_day must be a date YYYYMMDD"},
      {"[behaviour]\ntrading_day = 20240431", "t:2: trading_day must be a date YYYYMMDD"},
      {"[behaviour]\ntrading_day = 18991231", "t:2: trading_day must be a date YYYYMMDD"},
      {"[behaviour]\ntrading_day = 2024061", "t:2: trading_day must be a date YYYYMMDD"},
      {"[behaviour]\n[behavior]", "t:2: [behaviour] given twice"},
      {"[account X]\ncash = 5x", "t:2: cash must be a number 0-1e15"},
      {"[account X]\nposition = a long 0 3", "t:2: " + kPositionForm},
      {"[account X]\nposition = a long 1 0", "t:2: " + kPositionForm},
      {"[account X]\nposition = a sideways 1 3", "t:2: " + kPositionForm},
      {"[account X]\nposition = a long 1", "t:2: " + kPositionForm},
      {"[account X]\nposition = a long 1 3\n[instrument b]\nexchange = SH\nprice = 1",
       "t:2: no [instrument a] section"},
      {"[user u]\npassword = p\naccounts = A, B\n[account A]", "t:3: no [account B] section"},
      {"[user u]\naccounts =", "t:1: [user u] needs password"},
      {"[instrument a]\nexchange = SH", "t:1: [instrument a] needs price"},
      {"[instrument a]\nexchange = LME",
       "t:2: exchange must be SH, SZ, SHFE, DCE, CZCE, CFFEX, INE, GFEX or BJ"},
      {"[instrument a]\nproduct =", "t:2: product must be 1-31 bytes"},
      {"[instrument a]\nproduct = abcdefghijklmnopqrstuvwxyz012345",
       "t:2: product must be 1-31 bytes"},
      {"[instrument a]\nexchange = SHFE\nprice = 5\nproduct = abcdefghijklmnopqrstuvwxyz01234",
       "behaviour 0 3 0 0 2 20240601 0 1 0.0001 '' unreachable.invalid:7001\n"
       "instrument a SHFE abcdefghijklmnopqrstuvwxyz01234 5 1 1 0.01 10"},
      {"[chaos]\nseed = 0\ndrop_after_ms = 86400000\ndrop_after_events = 1000000000\n"
       "after_drop = fresh\npushes_before_reply = 0.5\nduplicate_pushes = 1\n"
       "error_push_without_reply = 0.25\nreorder_replies = 0\ndelay_replies = 0.1\n"
       "delay_ms = 60000\nreject_orders = 0.75",
       "behaviour 0 3 0 0 2 20240601 0 1 0.0001 '' unreachable.invalid:7001\n"
       "chaos 0 86400000 1000000000 0 0.5 1 0.25 0 0.1 60000 0.75"},
      {"[chaos]\nseed = -1", "t:2: seed must be a whole number 0-9223372036854775807"},
      {"[chaos]\ndelay_ms = 60001", "t:2: delay_ms must be a whole number 0-60000"},
      {"[chaos]\nreject_orders = 1.01", "t:2: reject_orders must be a number 0-1"},
      {"[chaos]\nafter_drop = never", "t:2: after_drop must be day or fresh"},
      {"[chaos]\ndrop = 1",
       "t:2: unknown key \"drop\" in [chaos] (seed, drop_after_ms, drop_after_events, after_drop, "
       "pushes_before_reply, duplicate_pushes, error_push_without_reply, reorder_replies, "
       "delay_replies, delay_ms, reject_orders, log)"},
      {"[user u]\npass = x", "t:2: unknown key \"pass\" in [user] (password, accounts)"},
      {"[chaos]\nseed = 1\nseed = 2", "t:3: key \"seed\" given twice"},
      {"[instrument a]\nprice = nan", "t:2: price must be a number 0.0001-1e9"},
      {"[instrument a]\nmultiplier = 1000001", "t:2: multiplier must be a number 0.01-1e6"},
      {"[instrument a]\nmargin_rate = 1.5", "t:2: margin_rate must be a number 0.001-1"},
      {"[instrument a]\ntick = -1", "t:2: tick must be a number 0.0001-1e5"},
      {"[instrument a]\nband_percent = 100", "t:2: band_percent must be a number 0.01-99.99"},
      // Numbers a counter could not meet.
      {"[instrument a]\nprice = 1e-300", "t:2: price must be a number 0.0001-1e9"},
      {"[instrument a]\ntick = 0.00001", "t:2: tick must be a number 0.0001-1e5"},
      {"[instrument a]\nmargin_rate = 1e-9", "t:2: margin_rate must be a number 0.001-1"},
      // Bytes the message shows printably: control bytes refuse their line.
      {std::string("[user u]\npassword = ab\0cd", 25),
       "t:2: control byte 0x00 at byte 14 of the line"},
      {"[user u]\x01", "t:1: control byte 0x01 at byte 9 of the line"},
      {"[user u]\npassword = p\r\n[x\xFF\xE4\xBD\xA0]",
       "t:3: unknown section [x\\xFF\xE4\xBD\xA0] (behaviour, chaos, user, account, instrument)"},
  };
  for (const auto& [text, expected] : cases) {
    const ConfigResult r = parseConfig(text, "t");
    EXPECT_EQ(r.ok ? describe(r.config) : r.error, expected) << text;
    EXPECT_EQ(r.error.find('\0'), std::string::npos);
  }
}

// A configuration path in GBK (the host's code page) opens the file that has
// the UTF-8 name, and a fault in it is reported under that name.
TEST(BrokerConfigTest, GbkPathsAreReadAndShownAsUtf8) {
  const std::string dir = ::testing::TempDir() + "ks_broker_config_gbk";
  const std::string utf8 = dir + "/\xE9\x85\x8D\xE7\xBD\xAE";  // 配置
  std::filesystem::create_directories(std::filesystem::u8path(dir));
  std::ofstream(std::filesystem::u8path(utf8)) << "[behaviour]\nfill_slices = 0\n";
  EXPECT_EQ(loadConfig(dir + "/\xC5\xE4\xD6\xC3").error,
            utf8 + ":2: fill_slices must be a whole number 1-1000");
  std::filesystem::remove_all(std::filesystem::u8path(dir));
}

// A file over 16 MiB is refused by its size, without being parsed; one of
// exactly 16 MiB is read.
TEST(BrokerConfigTest, AFileOver16MiBIsRefusedByItsSize) {
  const std::string path = ::testing::TempDir() + "ks_broker_large_config";
  for (const std::size_t size : {kMaxFile, kMaxFile + 1}) {
    SCOPED_TRACE(size);
    std::ofstream(path, std::ios::binary) << std::string(size, '#');
    const ConfigResult loaded = loadConfig(path);
    EXPECT_EQ(loaded.ok, size == kMaxFile);
    EXPECT_EQ(loaded.error,
              size == kMaxFile ? "" : path + ": larger than 16 MiB, not a configuration file");
  }
  std::remove(path.c_str());
}

// Each key of the parser's tables has its line in its section's part of the
// comment atop config/xt_config ("#   key  what it does"), and each key
// described there is one of them.
TEST(BrokerConfigTest, EveryKeyIsDescribedInTheSampleFile) {
  std::string text;
  ASSERT_EQ(readWholeFile(KS_SOURCE_DIR "/config/xt_config", text), ReadStatus::kOk);
  std::set<std::string> described;
  const std::regex heading("^# \\[([a-z]+)[^\\n]*$"), key("^#   ([a-z_]+)  .*$");
  std::istringstream lines(text);
  std::string section;
  for (std::string line; std::getline(lines, line) && line.rfind("#", 0) == 0;) {
    std::smatch m;
    if (std::regex_match(line, m, heading)) {
      section = m[1];
    } else if (std::regex_match(line, std::regex("^# [A-Z].*"))) {
      section.clear();  // a part of the comment that is no section's
    } else if (!section.empty() && std::regex_match(line, m, key)) {
      described.insert(section + " " + std::string(m[1]));
    }
  }
  const std::vector<std::string> keys = configKeys();
  EXPECT_EQ(described, std::set<std::string>(keys.begin(), keys.end()));
}

// Dates of the counter's clock at UTC+8, across month, year and leap-day ends.
TEST(BrokerClockTest, StampsAndThePreviousWeekday) {
  const std::pair<int64_t, const char*> stamps[] = {
      {0, "19700101 08:00:00"}, {-28801, "19691231 23:59:59"}, {1709222400, "20240301 00:00:00"}};
  for (const auto& [seconds, expected] : stamps) {
    const Stamp stamp = stampAt(seconds);
    EXPECT_EQ(stamp.date + " " + stamp.time, expected) << seconds;
  }
  const std::pair<const char*, const char*> weekdays[] = {
      {"20240603", "20240531"}, {"20240101", "20231229"}, {"20240301", "20240229"},
      {"20230301", "20230228"}, {"20000301", "20000229"}, {"20240302", "20240301"},
      {"20240303", "20240301"}, {"19000101", "18991229"}};
  for (const auto& [day, before] : weekdays) EXPECT_EQ(previousWeekday(day), before) << day;
}

// --- Threads.

const char kOrder[] = "2 order 88001234 rb2410 SHFE 0 1 3650";  // a reply and three pushes

// The kind of each callback so far ("login", "order", ...) and the threads they came on.
std::string kinds(const Recorder& recorder, std::set<std::thread::id>* threads = nullptr) {
  std::string kinds;
  for (const auto& [line, thread] : recorder.events()) {
    kinds += line.substr(0, line.find(' ')) + ' ';
    if (threads != nullptr) threads->insert(thread);
  }
  return kinds;
}

// Each object answers in order on a thread of its own, or in synchronous mode
// inside the call; joinAll returns once every object's thread has ended.
TEST(BrokerThreadsTest, AnswersArriveInOrderOnTheirThread) {
  Session first(""), second(""), inside("synchronous = true");
  for (Session* s : {&first, &second, &inside}) {
    for (const char* request : {"init", "1 login demo demo123", kOrder}) s->request(request);
    s->recorder.waitFor(7);
    std::set<std::thread::id> threads;
    EXPECT_EQ(kinds(s->recorder, &threads), "connected login status reply order order deal ");
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), s == &inside ? 1u : 0u);
  }
  first.api->shutdown();
  inside.api->shutdown();
  std::future<void> joined = std::async(std::launch::async, joinSimulatedThreads);
  EXPECT_EQ(joined.wait_for(std::chrono::milliseconds(1)), std::future_status::timeout);
  second.api->shutdown();  // the last thread ends
  joined.get();
}

// Answers wait out the reply latency; shutdown drops them.
TEST(BrokerThreadsTest, AnswersWaitOutTheLatencyAndShutdownDropsThem) {
  Session s("reply_latency_ms = 60000");
  s.request("init");
  s.request("1 login demo demo123");
  EXPECT_EQ(kinds(s.recorder), "");
  s.api->shutdown();
  s.request("2 login demo demo123");
  s.api.reset();
  EXPECT_EQ(kinds(s.recorder), "");
}

// Shutting down or deleting the object from inside its own callback returns
// at once, and what is still queued is dropped.
TEST(BrokerThreadsTest, TheCallbackMayStopItsOwnObject) {
  for (const auto& [behaviour, remove] :
       {std::pair<const char*, bool>{"", false}, {"synchronous = true", false}, {"", true}}) {
    Session s(behaviour);
    s.connectAndLogin();
    const bool deleting = remove;
    // The object may be deleted only once no call on it is under way: the
    // callback that deletes it waits for the order call to return.
    std::promise<void> returned;
    std::shared_future<void> placed = returned.get_future().share();
    s.recorder.react([&, placed](const std::string&) {
      if (!deleting) return s.api->shutdown();
      placed.wait();
      s.api.reset();
    });
    s.request(kOrder);
    returned.set_value();
    s.recorder.waitFor(1);
    joinSimulatedThreads();
    EXPECT_EQ(kinds(s.recorder), "reply ");
  }
}

TEST(BrokerThreadsTest, FactoryRefusesUnusableAddresses) {
  const std::pair<const char*, bool> addresses[] = {
      {"127.0.0.1:7001", true}, {"h:1", true},       {"[::1]:65535", true}, {"", false},
      {"127.0.0.1", false},     {":7001", false},    {"host:", false},      {"host:0", false},
      {"host:65536", false},    {"host:70a", false}, {"host:-1", false},    {"my host:7001", false},
      {"host:123456", false}};
  for (const auto& [address, usable] : addresses) {
    EXPECT_EQ(std::unique_ptr<XtTraderApi>(createSimulatedApi(address)) != nullptr, usable)
        << address;
  }
  EXPECT_EQ(createSimulatedApi(nullptr), nullptr);
}

}  // namespace
}  // namespace xti::sim
