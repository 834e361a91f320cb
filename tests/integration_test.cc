// The whole stack as a host runs it: the plug-in loaded at run time by path,
// the simulated counter behind the vendor library, a recording host. (The
// demo host's scripted day also rests, cancels and has orders refused over
// this stack; failures under load: stress_counter_test.cc.)
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "host/demo/plugin_library.h"
#include "plugin/common.h"
#include "plugin/xt_trader_api.h"
#include "tests/support/recording_host.h"
#include "tests/support/session_fixture.h"

namespace kestrel {
namespace testing {
namespace {

const char kCounterConfig[] = R"(
[behaviour]
fill_mode = full
synchronous = %s
error_push = true
trading_day = 20240105
[user tester]
password = pw
accounts = F100
[account F100]
cash = 1000000
[instrument rb2410]
exchange = SHFE
price = 3650
multiplier = 10
margin_rate = 0.1
tick = 1
band_percent = 7
)";

class RealStack : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
    ASSERT_TRUE(library.loadBesideProgram()) << library.error();
    session = library.createTradeSession()();
  }
  void TearDown() override {
    if (session != nullptr) (void)session->release();
  }

  void connect(const std::string& text) {
    config = std::make_unique<CounterConfigFile>(text);
    start(*session, settingsAt("tcp://127.0.0.1:5800"), host);
  }

  // The settings of the user "tester" at the counter `address`.
  static SessionConfig settingsAt(const std::string& address) {
    SessionConfig settings;
    settings.userName = "tester";
    settings.password = "pw";
    settings.server.serverAddresses.push_back(AddressEntry{address, ""});
    return settings;
  }

  // Configures `s` with `settings` and `to` for its callbacks, and connects it.
  static void start(ITradeSession& s, const SessionConfig& settings, RecordingHost& to) {
    ASSERT_EQ(s.setConfig(settings).code, 0);
    ASSERT_EQ(s.registerSpi(&to).code, 0);
    ASSERT_EQ(s.connect().code, 0);
  }

  // kCounterConfig in this run's answer mode.
  std::string counterConfig() const {
    char text[sizeof(kCounterConfig) + 8];
    std::snprintf(text, sizeof(text), kCounterConfig, GetParam() ? "true" : "false");
    return text;
  }

  // Connects with `text` (kCounterConfig by default) and logs in; the fund
  // account is known when it returns.
  void openSession(const std::string& text = "") {
    connect(text.empty() ? counterConfig() : text);
    host.waitFor("onConnected");
    // The counter names the fund account right after the login reply, on the
    // same thread: after a second login's reply the first's account is known.
    ASSERT_EQ(session->login().code, 0);
    ASSERT_EQ(session->login().code, 0);
    host.waitFor("onLogin", 2);
  }

  demo::PluginLibrary library;
  RecordingHost host;
  ITradeSession* session = nullptr;
  std::unique_ptr<CounterConfigFile> config;
};

// One lot of rb2410 (SHFE), limit or any price (0), as the host `serial`.
AccountOrderNewRequest order(const std::string& serial, int direction, int offset, double price) {
  AccountOrderNewRequest request;
  request.codeId.exchange = 3;
  request.codeId.code = "rb2410";
  request.clientId = ClientId{"IT", serial};
  request.quantity = 1;
  request.price = price;
  request.priceType = price == 0 ? 2 : 1;
  request.direction = direction;
  request.offsetFlag = offset;
  return request;
}

// The counter's connection failure, with the file and line at fault.
TEST_P(RealStack, MalformedCounterConfigurationFailsTheConnection) {
  connect("[behaviour]\nfill_mode = sometimes\n");
  host.waitFor("onDisconnected");
  const HostEvent event = host.eventsNamed("onDisconnected").at(0);
  EXPECT_EQ(event.status.code, -7);
  const std::string text = CodeConvert::gbk_to_utf8(event.status.message);
  EXPECT_EQ(text.rfind("[msg=配置文件错误: ", 0), 0u) << text;
  EXPECT_NE(text.find(config->name() + ":2:"), std::string::npos) << text;
}

TEST_P(RealStack, OpenCloseAndQueryThroughTheLoadedPlugin) {
  openSession();
  ASSERT_EQ(host.eventsNamed("onLogin").at(0).status.code, 0);

  // A buy at any price fills, then today's position is closed; the pushes
  // carry the host's client ids.
  AccountOrderNewRequest order;
  order.codeId.exchange = 3;  // SHFE
  order.codeId.code = "rb2410";
  order.quantity = 2;
  order.priceType = 2;
  for (int n : {1, 2}) {
    order.clientId = ClientId{"IT", std::to_string(n)};
    order.direction = n;                // buy, then sell
    order.offsetFlag = n == 1 ? 1 : 5;  // open, then close today's
    ASSERT_EQ(session->sendOrder(n, order).code, 0);
    host.waitFor("onFill", n);
    host.waitFor("onOrderFilled", n);
  }
  const auto pushed = host.eventsNamed("onFill");
  const auto filled = host.eventsNamed("onOrderFilled");
  for (int i = 0; i < 2; ++i) {
    const ClientId id{"IT", std::to_string(i + 1)};
    EXPECT_EQ(pushed[i].fill->clientId, id);
    EXPECT_EQ(filled[i].filled->clientId, id);
    EXPECT_EQ(std::make_pair(pushed[i].fill->volume, pushed[i].fill->price),
              std::make_pair(int64_t{2}, 3650.0));
  }
  EXPECT_EQ(pushed[0].fill->fillTime % 1000, 0);

  // Positions answer with one empty record; orders and fills with two each.
  ASSERT_EQ(session->reqQryPosition(8).code, 0);
  host.waitFor("onPositionsResponse");
  ASSERT_EQ(session->reqQryOrder(9).code, 0);
  host.waitFor("onOrdersResponse", 2);
  ASSERT_EQ(session->reqQryFill(10).code, 0);
  host.waitFor("onFillsResponse", 2);
  ASSERT_EQ(session->logout().code, 0);
  host.waitFor("onLogout");
  ITradeSession* s = session;
  session = nullptr;
  ASSERT_EQ(s->release().code, 0);

  const auto positions = host.eventsNamed("onPositionsResponse");
  ASSERT_EQ(positions.size(), 1u);
  EXPECT_FALSE(positions[0].hasRecord) << "everything was closed";
  EXPECT_TRUE(positions[0].isLast);
  const auto orders = host.eventsNamed("onOrdersResponse");
  ASSERT_EQ(orders.size(), 2u);
  EXPECT_EQ(std::make_pair(orders.back().requestId, orders.back().isLast), std::make_pair(9, true));
  EXPECT_EQ(orders[0].orderDetail->clientId.prefix, "123456@xt");
  const auto fills = host.eventsNamed("onFillsResponse");
  ASSERT_EQ(fills.size(), 2u);
  EXPECT_EQ(std::make_pair(fills[1].fill->direction, fills[1].fill->offsetFlag),
            std::make_pair(2, 5));
  const auto disconnected = host.eventsNamed("onDisconnected");
  ASSERT_EQ(disconnected.size(), 1u);
  EXPECT_EQ(disconnected[0].status.code, 0);
}

// A host may make requests from inside its callbacks: here the fill of a
// buy closes it, the fill of the close asks for the positions and sends an
// order that rests, and the order's acceptance cancels it. The callbacks come
// on the counter's thread, or, when it answers inside the request call, on
// the thread that made the request.
TEST_P(RealStack, RequestsFromInsideCallbacks) {
  openSession();
  std::atomic<bool> closed{false}, asked{false}, canceled{false};
  host.setAfterEvent([&](const HostEvent& e) {
    if (e.name == "onFill" && e.fill->clientId.serial == "1" && !closed.exchange(true)) {
      EXPECT_EQ(session->sendOrder(2, order("2", 2, 5, 0)).code, 0);
    } else if (e.name == "onFill" && e.fill->clientId.serial == "2" && !asked.exchange(true)) {
      EXPECT_EQ(session->reqQryPosition(3).code, 0);
      EXPECT_EQ(session->sendOrder(4, order("4", 1, 1, 3600)).code, 0);
    } else if (e.name == "onOrderAccepted" && e.accepted->clientId.serial == "4" &&
               !canceled.exchange(true)) {
      AccountOrderCancelRequest cancel;
      cancel.codeId = e.accepted->codeId;
      cancel.clientId = e.accepted->clientId;
      cancel.exchangeOrderId = e.accepted->exchangeOrderId;
      EXPECT_EQ(session->cancelOrder(5, cancel).code, 0);
    }
  });
  ASSERT_EQ(session->sendOrder(1, order("1", 1, 1, 0)).code, 0);
  host.waitFor("onPositionsResponse");
  host.waitFor("onOrderCanceled");
  host.setAfterEvent(nullptr);

  const auto fills = host.eventsNamed("onFill");
  ASSERT_EQ(fills.size(), 2u) << host.summary();
  EXPECT_EQ(std::make_tuple(fills[1].fill->clientId.serial, fills[1].fill->direction,
                            fills[1].fill->offsetFlag),
            std::make_tuple("2", 2, 5));
  const auto positions = host.eventsNamed("onPositionsResponse");
  EXPECT_EQ(std::make_tuple(positions.at(0).requestId, positions.at(0).hasRecord),
            std::make_tuple(3, false))
      << "the close emptied the position";
  const HostEvent canceledEvent = host.eventsNamed("onOrderCanceled").at(0);
  EXPECT_EQ(std::make_tuple(canceledEvent.status.code, canceledEvent.requestId,
                            canceledEvent.order->clientId.serial),
            std::make_tuple(0, -1, "4"));
  const bool onThisThread = fills[0].thread == std::this_thread::get_id();
  EXPECT_EQ(onThisThread, GetParam()) << "synchronous answers come inside sendOrder";
}

// Surprises for a host, as they reach it: the counter's refusal comes with
// code -1, the request's number and the counter's text; the exchange's
// refusal is an order event (code 0, request number -1) with the exchange's
// text; order query records carry made-up ids and fill query records empty
// ones, while the order event that follows each order record carries the
// host's own id.
TEST_P(RealStack, RefusalsAndTheIdsOfQueryRecords) {
  openSession();
  AccountOrderNewRequest tooLarge = order("5", 1, 1, 3650);
  tooLarge.quantity = 1000000;
  ASSERT_EQ(session->sendOrder(5, tooLarge).code, 0);
  host.waitFor("onOrderRejected");
  const HostEvent refusal = host.eventsNamed("onOrderRejected").at(0);
  EXPECT_EQ(std::make_tuple(refusal.status.code, CodeConvert::gbk_to_utf8(refusal.status.message),
                            refusal.requestId, refusal.order->clientId.serial,
                            CodeConvert::gbk_to_utf8(refusal.order->statusMessage),
                            refusal.order->volume),
            std::make_tuple(-1, "[msg=可用资金不足]", 5, "5", "可用资金不足", 1000000));

  host.clear();
  ASSERT_EQ(session->sendOrder(1, order("1", 1, 1, 0)).code, 0);
  host.waitFor("onFill");
  ASSERT_EQ(session->sendOrder(2, order("2", 1, 1, 1825)).code, 0);  // outside +-7% of 3650
  host.waitFor("onOrderRejected");
  const HostEvent rejection = host.eventsNamed("onOrderRejected").at(0);
  const OrderRecord& rejected = *rejection.order;
  EXPECT_EQ(
      std::make_tuple(rejection.status.code, rejection.requestId, rejected.clientId.serial,
                      rejected.exchangeOrderId, CodeConvert::gbk_to_utf8(rejected.statusMessage)),
      std::make_tuple(0, -1, "2", "", "价格超出涨跌停板范围"));

  host.clear();
  ASSERT_EQ(session->reqQryOrder(3).code, 0);
  host.waitFor("onOrdersResponse", 2);
  host.waitFor("onOrderRejected");  // the event after the last record
  ASSERT_EQ(session->reqQryFill(4).code, 0);
  host.waitFor("onFillsResponse");
  std::vector<std::string> seen;
  for (const HostEvent& e : host.events()) {
    seen.push_back(e.name + " " + e.clientId()->prefix + "/" + e.clientId()->serial);
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"onOrdersResponse 123456@xt/1", "onOrderFilled IT/1",
                                            "onOrdersResponse 123456@xt/2", "onOrderRejected IT/2",
                                            "onFillsResponse /"}));
}

// After a connection that failed (an unreachable address), the session keeps
// its vendor object: connect with a good address answers 0 and does nothing,
// and a login is refused "not connected". A new session connects.
TEST_P(RealStack, AConnectAfterAFailedConnectionDoesNothing) {
  config = std::make_unique<CounterConfigFile>(counterConfig());
  SessionConfig settings = settingsAt("tcp://unreachable.invalid:7001");
  start(*session, settings, host);
  if (HasFatalFailure()) return;
  host.waitFor("onDisconnected");
  settings.server.serverAddresses.front().address = "tcp://127.0.0.1:5800";
  ASSERT_EQ(session->setConfig(settings).code, 0);
  ASSERT_EQ(session->connect().code, 0);
  ASSERT_EQ(session->login().code, 0);
  host.waitFor("onLogin");
  EXPECT_EQ(host.summary(),
            "onDisconnected -7 [msg=无法连接到柜台 unreachable.invalid:7001]; "
            "onLogin -11 [msg=未连接到柜台]");

  ITradeSession* failed = session;
  session = nullptr;
  ASSERT_EQ(failed->release().code, 0);
  host.clear();
  session = library.createTradeSession()();
  start(*session, settings, host);
  if (HasFatalFailure()) return;
  ASSERT_EQ(session->login().code, 0);
  host.waitFor("onLogin");
  EXPECT_EQ(host.summary(), "onConnected 0; onLogin 0");
}

// A cancel without an exchange order id goes by the vendor order number read
// from the client id's serial: cancelling "host/000001" this way cancels the
// order the counter numbered 1, which the host sent as "host/000002".
TEST_P(RealStack, ACancelWithoutExchangeIdTakesTheSerialForTheVendorsNumber) {
  openSession();
  for (const char* serial : {"000002", "000001"}) {
    AccountOrderNewRequest resting = order(serial, 1, 1, 3600);
    resting.clientId.prefix = "host";
    ASSERT_EQ(session->sendOrder(std::stoi(serial), resting).code, 0);
  }
  host.waitFor("onOrderAccepted", 2);
  AccountOrderCancelRequest cancel;
  cancel.codeId.exchange = 3;
  cancel.codeId.code = "rb2410";
  cancel.clientId = ClientId{"host", "000001"};
  ASSERT_EQ(session->cancelOrder(3, cancel).code, 0);
  host.waitFor("onOrderCanceled");
  const HostEvent canceled = host.eventsNamed("onOrderCanceled").at(0);
  EXPECT_EQ(std::make_tuple(canceled.status.code, canceled.order->clientId.serial),
            std::make_tuple(0, "000002"));
}

// With two fund accounts the byte-wise smaller one trades and is queried,
// here a stock account for a futures order; the funds record names no
// account (its header carries the session's settings).
TEST_P(RealStack, OnlyTheSmallestFundAccountIsUsed) {
  std::string text = counterConfig();
  text.replace(text.find("accounts = F100"), 15, "accounts = 88001234 10001234");
  text.replace(text.find("[account F100]\ncash = 1000000"), 29,
               "[account 88001234]\ncash = 1000000\n[account 10001234]\ntype = stock\n"
               "cash = 500000");
  openSession(text);
  ASSERT_EQ(session->reqQryTradingAccount(1).code, 0);
  host.waitFor("onAccountFundsResponse");
  ASSERT_EQ(session->sendOrder(2, order("2", 1, 1, 0)).code, 0);
  host.waitFor("onFill");
  ASSERT_EQ(session->reqQryTradingAccount(3).code, 0);
  host.waitFor("onAccountFundsResponse", 2);
  const auto funds = host.eventsNamed("onAccountFundsResponse");
  EXPECT_EQ(std::make_tuple(funds[0].funds->amount4, funds[1].funds->amount1),
            std::make_tuple(500000.0, 3650.0))
      << "10001234's money, and the margin of the futures order it traded";
  EXPECT_EQ(std::make_tuple(funds[0].funds->header.accountCode, funds[0].funds->header.userName),
            std::make_tuple(-1, "tester"));
}

// How the counter takes the order request's fields, a row per field: only
// the low 32 bits of the quantity travel; every order goes as speculation
// whatever hedgeFlag says; a direction or offsetFlag left at 0 is a sell and
// a close of older positions.
TEST_P(RealStack, OrderRequestFieldsAsTheCounterTakesThem) {
  openSession();
  const struct {
    const char* what;
    int64_t quantity;
    int32_t hedgeFlag, direction, offsetFlag;
    std::string seen;  // the order's first event: name, code, volume, hedge flag or message
  } rows[] = {
      {"quantity beyond 32 bits", (int64_t{1} << 32) + 1, 1, 1, 1,
       "onOrderAccepted 0 vol=1 hedge=1"},
      {"hedge", 1, 3, 1, 1, "onOrderAccepted 0 vol=1 hedge=1"},
      {"arbitrage", 1, 2, 1, 1, "onOrderAccepted 0 vol=1 hedge=1"},
      {"direction and offset left at 0", 1, 1, 0, 0, "onOrderRejected -1 [msg=可平仓位不足]"},
      {"offset 6 closes older positions", 1, 1, 2, 6, "onOrderRejected -1 [msg=可平仓位不足]"},
  };
  int requestId = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const std::string serial = std::to_string(++requestId);
    AccountOrderNewRequest request = order(serial, row.direction, row.offsetFlag, 0);
    request.quantity = row.quantity;
    request.hedgeFlag = row.hedgeFlag;
    ASSERT_EQ(session->sendOrder(requestId, request).code, 0);
    const HostEvent first = host.waitForEvent([&serial](const HostEvent& e) {
      return (e.accepted || e.order) && e.clientId()->serial == serial;
    });
    std::string seen = first.name + " " + std::to_string(first.status.code);
    if (first.accepted) {
      seen += " vol=" + std::to_string(first.accepted->volume) +
              " hedge=" + std::to_string(first.accepted->hedgeFlag);
    } else {
      seen += " " + CodeConvert::gbk_to_utf8(first.status.message);
    }
    EXPECT_EQ(seen, row.seen);
  }
}

// LoginReply.tradingDay is the host's calendar's trading day (Common's
// TradeTime for "pfcode.SHFE"), not the counter's: the funds record carries
// the counter's (here configured as 20240105).
TEST_P(RealStack, TheLoginsTradingDayComesFromTheHostsCalendar) {
  openSession();
  ASSERT_EQ(session->reqQryTradingAccount(1).code, 0);
  host.waitFor("onAccountFundsResponse");
  const int calendar = TradeTime("pfcode.SHFE").GetTradingDay(nullptr, TrdDayForward);
  EXPECT_NE(calendar, 20240105);
  EXPECT_EQ(host.eventsNamed("onLogin").at(0).login->tradingDay, calendar);
  EXPECT_EQ(host.eventsNamed("onAccountFundsResponse").at(0).funds->tradingDay, 20240105);
}

// What a host's handler throws is dropped at the plug-in's boundary on every
// thread: on the counter's, and on the host's own when the counter answers
// inside the request call (sendOrder then answers 0 all the same). The
// events after it still come.
TEST_P(RealStack, WhatAHostHandlerThrowsIsDroppedOnEveryThread) {
  struct HostFault {};  // not a std::exception
  openSession();
  host.setAfterEvent([](const HostEvent& e) {
    if (e.name == "onOrderAccepted") throw std::runtime_error("host fault");
    if (e.name == "onOrderFilled") throw HostFault{};
  });
  ResultStatus status{-99, ""};
  EXPECT_NO_THROW(status = session->sendOrder(1, order("1", 1, 1, 0)));
  EXPECT_EQ(status.code, 0);
  host.waitFor("onFill");
  host.setAfterEvent(nullptr);
  const auto events = host.events();
  ASSERT_GE(events.size(), 3u);
  EXPECT_EQ(events[events.size() - 3].name + " " + events[events.size() - 2].name + " " +
                events.back().name,
            "onOrderAccepted onOrderFilled onFill");
  EXPECT_EQ(events.back().thread == std::this_thread::get_id(), GetParam());
}

// The vendor library's joinAll, which release() leaves a worker waiting in,
// returns only once every connected session of the process was released:
// after the first session's release it waits while the second trades on.
TEST_P(RealStack, JoinAllWaitsUntilTheLastSessionIsReleased) {
  openSession();
  RecordingHost otherHost;
  ITradeSession* other = library.createTradeSession()();
  start(*other, settingsAt("tcp://127.0.0.1:5801"), otherHost);
  if (HasFatalFailure()) return;
  otherHost.waitFor("onConnected");
  ITradeSession* first = session;
  session = nullptr;
  ASSERT_EQ(first->release().code, 0);

  std::promise<void> joined;
  std::future<void> returned = joined.get_future();
  std::thread waiter([&joined] {
    xti::XtTraderApi::joinAll();
    joined.set_value();
  });
  ASSERT_EQ(other->login().code, 0);
  ASSERT_EQ(other->login().code, 0);
  otherHost.waitFor("onLogin", 2);
  ASSERT_EQ(other->sendOrder(1, order("1", 1, 1, 0)).code, 0);
  otherHost.waitFor("onFill");
  EXPECT_EQ(returned.wait_for(std::chrono::seconds(0)), std::future_status::timeout)
      << "joinAll returned while a session was connected";
  ASSERT_EQ(other->release().code, 0);
  returned.wait();
  waiter.join();
}

INSTANTIATE_TEST_SUITE_P(AnswerModes, RealStack, ::testing::Values(false, true), answerModeName);

}  // namespace
}  // namespace testing
}  // namespace kestrel
