// The whole stack as a host runs it: the plug-in loaded at run time by path,
// the simulated counter behind the vendor library, a recording host. (The
// demo host's scripted day also rests, cancels and has orders refused over
// this stack; failures under load: stress_counter_test.cc.)
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "host/demo/plugin_library.h"
#include "plugin/common.h"
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
    SessionConfig config;
    config.userName = "tester";
    config.password = "pw";
    config.server.serverAddresses.push_back(AddressEntry{"tcp://127.0.0.1:5800", ""});
    ASSERT_EQ(session->setConfig(config).code, 0);
    ASSERT_EQ(session->registerSpi(&host).code, 0);
    ASSERT_EQ(session->connect().code, 0);
  }

  // Connects with kCounterConfig in this run's answer mode and logs in; the
  // fund account is known when it returns.
  void openSession() {
    char text[sizeof(kCounterConfig) + 8];
    std::snprintf(text, sizeof(text), kCounterConfig, GetParam() ? "true" : "false");
    connect(text);
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
// buy closes it, and the fill of the close asks for the positions. The
// callbacks come on the counter's thread, or, when it answers inside the
// request call, on the thread that made the request.
TEST_P(RealStack, RequestsFromInsideCallbacks) {
  openSession();
  std::atomic<bool> closed{false}, asked{false};
  host.setAfterEvent([&](const HostEvent& e) {
    if (e.name == "onFill" && e.fill->clientId.serial == "1" && !closed.exchange(true)) {
      EXPECT_EQ(session->sendOrder(2, order("2", 2, 5, 0)).code, 0);
    } else if (e.name == "onFill" && e.fill->clientId.serial == "2" && !asked.exchange(true)) {
      EXPECT_EQ(session->reqQryPosition(3).code, 0);
    }
  });
  ASSERT_EQ(session->sendOrder(1, order("1", 1, 1, 0)).code, 0);
  host.waitFor("onPositionsResponse");
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
  const bool onThisThread = fills[0].thread == std::this_thread::get_id();
  EXPECT_EQ(onThisThread, GetParam()) << "synchronous answers come inside sendOrder";
}

// Surprises for a host, as they reach it: the exchange's refusal is an order
// event (code 0, request number -1) with the exchange's text; order query
// records carry made-up ids and fill query records empty ones, while the
// order event that follows each order record carries the host's own id.
TEST_P(RealStack, ExchangeRefusalsAndTheIdsOfQueryRecords) {
  openSession();
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

INSTANTIATE_TEST_SUITE_P(AnswerModes, RealStack, ::testing::Values(false, true), answerModeName);

}  // namespace
}  // namespace testing
}  // namespace kestrel
