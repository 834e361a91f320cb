// The whole stack as a host runs it: the plug-in loaded at run time by path,
// the simulated counter behind the vendor library, a recording host. (The
// demo host's scripted day, a CTest test, also rests, cancels and has orders
// refused over this stack; failures under load: stress_counter_test.cc.)
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "host/demo/plugin_library.h"
#include "plugin/common.h"
#include "tests/support/answer_modes.h"
#include "tests/support/recording_host.h"

namespace kestrel {
namespace testing {
namespace {

using std::chrono::milliseconds;

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

// Points the counter at a configuration file of the test's own (XT_SIM_CONFIG;
// the counter reads an empty value as unset). One file per test: CTest runs
// the tests of this program in parallel.
class CounterConfig {
 public:
  CounterConfig(const std::string& name, const std::string& text)
      : path_(::testing::TempDir() + "xt_config_" + name) {
    std::ofstream(path_) << text;
    setVariable(path_.c_str());
  }
  ~CounterConfig() {
    setVariable("");
    std::remove(path_.c_str());
  }

 private:
  static void setVariable(const char* value) {
#if defined(_WIN32)
    _putenv_s("XT_SIM_CONFIG", value);
#else
    setenv("XT_SIM_CONFIG", value, 1);
#endif
  }
  std::string path_;
};

class RealStack : public ::testing::Test {
 protected:
  void SetUp() override {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
    ASSERT_TRUE(library.loadBesideProgram()) << library.error();
    session = library.createTradeSession()();
  }
  void TearDown() override {
    if (session != nullptr) (void)session->release();
  }

  void connect() {
    SessionConfig config;
    config.userName = "tester";
    config.password = "pw";
    config.server.serverAddresses.push_back(AddressEntry{"tcp://127.0.0.1:5800", ""});
    ASSERT_EQ(session->setConfig(config).code, 0);
    ASSERT_EQ(session->registerSpi(&host).code, 0);
    ASSERT_EQ(session->connect().code, 0);
  }

  // Connects, logs in and waits until the counter has named the fund account.
  void openWithAccount() {
    connect();
    ASSERT_TRUE(host.waitFor("onConnected"));
    ASSERT_EQ(session->login().code, 0);
    ASSERT_TRUE(host.waitFor("onLogin"));
    ASSERT_EQ(host.eventsNamed("onLogin").at(0).status.code, 0);
    ResultStatus status{-3, ""};
    for (int attempt = 0; attempt < 500 && status.code == -3; ++attempt) {
      status = session->reqQryTradingAccount(1000 + attempt);
      if (status.code == -3) std::this_thread::sleep_for(milliseconds(10));
    }
    ASSERT_EQ(status.code, 0);
    ASSERT_TRUE(host.waitFor("onAccountFundsResponse"));
  }

  // Two lots of rb2410 at any price.
  static AccountOrderNewRequest order(const std::string& serial, int direction, int offset) {
    AccountOrderNewRequest request;
    request.codeId.exchange = 3;  // SHFE
    request.codeId.code = "rb2410";
    request.clientId = ClientId{"IT", serial};
    request.quantity = 2;
    request.priceType = 2;
    request.direction = direction;
    request.offsetFlag = offset;
    return request;
  }

  demo::PluginLibrary library;
  RecordingHost host;
  ITradeSession* session = nullptr;
};

// The counter's connection failure, with the file and line at fault.
TEST_F(RealStack, MalformedCounterConfigurationFailsTheConnection) {
  CounterConfig counter("malformed", "[behaviour]\nfill_mode = sometimes\n");
  connect();
  ASSERT_TRUE(host.waitFor("onDisconnected"));
  const HostEvent event = host.eventsNamed("onDisconnected").at(0);
  EXPECT_EQ(event.status.code, -7);
  const std::string text = CodeConvert::gbk_to_utf8(event.status.message);
  EXPECT_EQ(text.rfind("[msg=", 0), 0u) << text;
  EXPECT_NE(text.find("xt_config_malformed:2:"), std::string::npos) << text;
}

class TradingDay : public RealStack, public ::testing::WithParamInterface<bool> {};

TEST_P(TradingDay, OpenCloseAndQueryThroughTheLoadedPlugin) {
  char text[sizeof(kCounterConfig) + 8];
  std::snprintf(text, sizeof(text), kCounterConfig, GetParam() ? "true" : "false");
  CounterConfig counter(GetParam() ? "sync" : "async", text);
  openWithAccount();

  // A buy at any price fills, then today's position is closed; the pushes
  // carry the host's client ids.
  ASSERT_EQ(session->sendOrder(1, order("1", 1, 1)).code, 0);
  ASSERT_TRUE(host.waitFor("onFill") && host.waitFor("onOrderFilled"));
  ASSERT_EQ(session->sendOrder(2, order("2", 2, 5)).code, 0);
  ASSERT_TRUE(host.waitFor("onFill", 2) && host.waitFor("onOrderFilled", 2));
  const auto pushed = host.eventsNamed("onFill");
  const auto filled = host.eventsNamed("onOrderFilled");
  for (int i = 0; i < 2; ++i) {
    const ClientId id{"IT", std::to_string(i + 1)};
    EXPECT_EQ(pushed[i].fill->clientId, id);
    EXPECT_EQ(filled[i].filled->clientId, id);
    EXPECT_EQ(pushed[i].fill->volume, 2);
    EXPECT_EQ(pushed[i].fill->price, 3650);
  }
  EXPECT_EQ(pushed[0].fill->fillTime % 1000, 0);

  // Positions then answer with one empty record.
  ASSERT_EQ(session->reqQryPosition(8).code, 0);
  ASSERT_TRUE(host.waitFor("onPositionsResponse"));
  ASSERT_EQ(session->reqQryOrder(9).code, 0);
  ASSERT_TRUE(host.waitFor("onOrdersResponse", 2));
  ASSERT_EQ(session->reqQryFill(10).code, 0);
  ASSERT_TRUE(host.waitFor("onFillsResponse", 2));
  ASSERT_EQ(session->logout().code, 0);
  ASSERT_TRUE(host.waitFor("onLogout"));
  ITradeSession* s = session;
  session = nullptr;
  ASSERT_EQ(s->release().code, 0);

  const auto positions = host.eventsNamed("onPositionsResponse");
  ASSERT_EQ(positions.size(), 1u);
  EXPECT_FALSE(positions[0].hasRecord) << "everything was closed";
  EXPECT_TRUE(positions[0].isLast);
  const auto orders = host.eventsNamed("onOrdersResponse");
  ASSERT_EQ(orders.size(), 2u);
  EXPECT_EQ(orders.back().requestId, 9);
  EXPECT_TRUE(orders.back().isLast);
  EXPECT_EQ(orders[0].orderDetail->clientId.prefix, "123456@xt");
  const auto fills = host.eventsNamed("onFillsResponse");
  ASSERT_EQ(fills.size(), 2u);
  EXPECT_EQ(fills[1].fill->direction, 2);
  EXPECT_EQ(fills[1].fill->offsetFlag, 5);
  const auto disconnected = host.eventsNamed("onDisconnected");
  ASSERT_EQ(disconnected.size(), 1u);
  EXPECT_EQ(disconnected[0].status.code, 0);
  EXPECT_EQ(host.count("onLogout"), 1u);
}

INSTANTIATE_TEST_SUITE_P(AnswerModes, TradingDay, ::testing::Values(false, true), answerModeName);

}  // namespace
}  // namespace testing
}  // namespace kestrel
