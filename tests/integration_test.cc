// The whole stack as a host runs it: the plug-in loaded at run time by path,
// the simulated counter behind the vendor library, a recording host.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "host/demo/plugin_library.h"
#include "plugin/common.h"
#include "tests/support/recording_host.h"

namespace kestrel {
namespace testing {
namespace {

using std::chrono::milliseconds;

const char kCounterConfig[] = R"(
[behaviour]
fill_mode = %s
fill_slices = 3
synchronous = %s
error_push = true
commission_rate = 0.0001
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

// Points the counter at a configuration of the test's own for its lifetime.
class CounterConfig {
 public:
  explicit CounterConfig(const std::string& text) {
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    for (char& c : name) {
      if (c == '/') c = '_';
    }
    path_ = ::testing::TempDir() + "xt_config_" + name;
    std::ofstream file(path_);
    file << text;
    EXPECT_TRUE(file.good()) << path_;
    setVariable(path_.c_str());
  }
  ~CounterConfig() {
    setVariable(nullptr);
    std::remove(path_.c_str());
  }

 private:
  static void setVariable(const char* value) {
#if defined(_WIN32)
    _putenv_s("XT_SIM_CONFIG", value == nullptr ? "" : value);
#else
    if (value == nullptr) {
      unsetenv("XT_SIM_CONFIG");
    } else {
      setenv("XT_SIM_CONFIG", value, 1);
    }
#endif
  }
  std::string path_;
};

std::string counterConfig(const char* fillMode, bool synchronous) {
  char text[sizeof(kCounterConfig) + 32];
  std::snprintf(text, sizeof(text), kCounterConfig, fillMode, synchronous ? "true" : "false");
  return text;
}

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

  void open(const std::string& user = "tester", const std::string& password = "pw") {
    SessionConfig config;
    config.userName = user;
    config.password = password;
    config.server.serverAddresses.push_back(AddressEntry{"tcp://127.0.0.1:5800", ""});
    ASSERT_EQ(session->setConfig(config).code, 0);
    ASSERT_EQ(session->registerSpi(&host).code, 0);
    ASSERT_EQ(session->connect().code, 0);
    ASSERT_TRUE(host.waitFor("onConnected"));
  }

  // Logs in and waits until the counter has named the fund account.
  void openWithAccount() {
    open();
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

  AccountOrderNewRequest order(const std::string& serial, int direction, int offset,
                               int64_t volume, double price) {
    AccountOrderNewRequest request;
    request.codeId.exchange = 3;  // SHFE
    request.codeId.code = "rb2410";
    request.clientId = ClientId{"IT", serial};
    request.quantity = volume;
    request.price = price;
    request.priceType = price == 0 ? 2 : 1;
    request.direction = direction;
    request.offsetFlag = offset;
    return request;
  }

  std::vector<HostEvent> eventsFor(const std::string& name, const std::string& serial) {
    std::vector<HostEvent> out;
    for (const HostEvent& e : host.eventsNamed(name)) {
      const ClientId* id = e.order ? &e.order->clientId
                           : e.accepted ? &e.accepted->clientId
                           : e.filled  ? &e.filled->clientId
                           : e.fill    ? &e.fill->clientId
                                       : nullptr;
      if (id != nullptr && id->prefix == "IT" && id->serial == serial) out.push_back(e);
    }
    return out;
  }

  // Waits until `name` reached the host for the order `serial` `n` times.
  bool waitForOrder(const std::string& name, const std::string& serial, std::size_t n = 1) {
    for (int i = 0; i < 500; ++i) {
      if (eventsFor(name, serial).size() >= n) return true;
      host.waitFor(name, host.count(name) + 1, milliseconds(10));
    }
    return false;
  }

  demo::PluginLibrary library;
  RecordingHost host;
  ITradeSession* session = nullptr;
};

class TradingDay : public RealStack, public ::testing::WithParamInterface<bool> {};

TEST_P(TradingDay, EveryAnswerReachesTheHostAsTheRightEvent) {
  CounterConfig counter(counterConfig("full", GetParam()));
  openWithAccount();

  // A buy at any price fills; the pushes carry the host's client id.
  ASSERT_EQ(session->sendOrder(1, order("1", 1, 1, 2, 0)).code, 0);
  ASSERT_TRUE(waitForOrder("onFill", "1"));
  ASSERT_TRUE(waitForOrder("onOrderFilled", "1"));
  EXPECT_EQ(eventsFor("onFill", "1").at(0).fill->volume, 2);
  EXPECT_EQ(eventsFor("onFill", "1").at(0).fill->price, 3650);
  EXPECT_EQ(eventsFor("onFill", "1").at(0).fill->fillTime % 1000, 0);

  // A limit buy below the market rests; cancelled by its exchange id; a
  // second cancel fails and is reported once (reply and error push).
  ASSERT_EQ(session->sendOrder(2, order("2", 1, 1, 1, 3600)).code, 0);
  ASSERT_TRUE(waitForOrder("onOrderAccepted", "2"));
  AccountOrderCancelRequest cancel;
  cancel.codeId.exchange = 3;
  cancel.codeId.code = "rb2410";
  cancel.clientId = ClientId{"IT", "2"};
  cancel.exchangeOrderId = eventsFor("onOrderAccepted", "2").at(0).accepted->exchangeOrderId;
  ASSERT_FALSE(cancel.exchangeOrderId.empty());
  ASSERT_EQ(session->cancelOrder(3, cancel).code, 0);
  ASSERT_TRUE(waitForOrder("onOrderCanceled", "2"));
  EXPECT_EQ(eventsFor("onOrderCanceled", "2").at(0).status.code, 0);
  ASSERT_EQ(session->cancelOrder(4, cancel).code, 0);
  ASSERT_TRUE(waitForOrder("onOrderCanceled", "2", 2));

  // Refused by the counter (reply and error push): one report, code -1.
  ASSERT_EQ(session->sendOrder(5, order("3", 1, 1, 1000000, 3650)).code, 0);
  ASSERT_TRUE(waitForOrder("onOrderRejected", "3"));
  // Outside the price band: the exchange's reject arrives as a push, code 0.
  ASSERT_EQ(session->sendOrder(6, order("4", 1, 1, 1, 1000)).code, 0);
  ASSERT_TRUE(waitForOrder("onOrderRejected", "4"));

  // Reports so far (the counter answers in order, so the error pushes that
  // follow the failed replies have been handled); the order query below
  // repeats the orders' events.
  const auto secondCancel = eventsFor("onOrderCanceled", "2");
  ASSERT_EQ(secondCancel.size(), 2u);
  EXPECT_EQ(secondCancel[1].status.code, -1);
  EXPECT_EQ(secondCancel[1].requestId, 4);
  const auto refused = eventsFor("onOrderRejected", "3");
  ASSERT_EQ(refused.size(), 1u) << "reply and error push: reported once";
  EXPECT_EQ(refused[0].status.code, -1);
  EXPECT_EQ(refused[0].requestId, 5);
  EXPECT_EQ(refused[0].order->volume, 1000000);
  const auto outOfBand = eventsFor("onOrderRejected", "4");
  ASSERT_EQ(outOfBand.size(), 1u);
  EXPECT_EQ(outOfBand[0].status.code, 0);
  EXPECT_EQ(outOfBand[0].requestId, -1);
  EXPECT_FALSE(outOfBand[0].order->statusMessage.empty());

  // Close today's position; positions then answer with one empty record.
  ASSERT_EQ(session->sendOrder(7, order("5", 2, 5, 2, 0)).code, 0);
  ASSERT_TRUE(waitForOrder("onFill", "5"));
  ASSERT_EQ(session->reqQryPosition(8).code, 0);
  ASSERT_TRUE(host.waitFor("onPositionsResponse"));
  ASSERT_EQ(session->reqQryOrder(9).code, 0);
  ASSERT_TRUE(host.waitFor("onOrdersResponse", 4));
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
  ASSERT_EQ(orders.size(), 4u) << "the refused order never reached the book";
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

INSTANTIATE_TEST_SUITE_P(AnswerModes, TradingDay, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "Synchronous" : "OnCallbackThread";
                         });

TEST_F(RealStack, PartialFillsArriveSliceBySlice) {
  CounterConfig counter(counterConfig("partial", false));
  openWithAccount();
  ASSERT_EQ(session->sendOrder(1, order("P", 1, 1, 3, 0)).code, 0);
  ASSERT_TRUE(waitForOrder("onFill", "P", 3));
  ASSERT_TRUE(waitForOrder("onOrderFilled", "P", 3));
  int64_t filled = 0;
  for (const HostEvent& e : eventsFor("onFill", "P")) filled += e.fill->volume;
  EXPECT_EQ(filled, 3);
}

TEST_F(RealStack, WrongPasswordFailsTheLoginWithTheCountersText) {
  CounterConfig counter(counterConfig("full", false));
  open("tester", "wrong");
  ASSERT_EQ(session->login().code, 0);
  ASSERT_TRUE(host.waitFor("onLogin"));
  const HostEvent login = host.eventsNamed("onLogin").at(0);
  EXPECT_EQ(login.status.code, -11);
  const std::string text = CodeConvert::gbk_to_utf8(login.status.message);
  EXPECT_EQ(text.rfind("[msg=", 0), 0u) << text;
  EXPECT_EQ(login.login->loginState, -1);
  EXPECT_EQ(session->reqQryPosition(1).code, -3) << "no fund account after a failed login";
}

TEST_F(RealStack, MalformedCounterConfigurationFailsTheConnection) {
  CounterConfig counter("[behaviour]\nfill_mode = sometimes\n");
  SessionConfig config;
  config.server.serverAddresses.push_back(AddressEntry{"127.0.0.1:5800", ""});
  ASSERT_EQ(session->setConfig(config).code, 0);
  ASSERT_EQ(session->registerSpi(&host).code, 0);
  ASSERT_EQ(session->connect().code, 0);
  ASSERT_TRUE(host.waitFor("onDisconnected"));
  const HostEvent event = host.eventsNamed("onDisconnected").at(0);
  EXPECT_EQ(event.status.code, -7);
  EXPECT_NE(CodeConvert::gbk_to_utf8(event.status.message).find(":2:"), std::string::npos)
      << CodeConvert::gbk_to_utf8(event.status.message);
}

TEST_F(RealStack, UnusableAddressIsRefusedAtConnect) {
  SessionConfig config;
  config.server.serverAddresses.push_back(AddressEntry{"tcp://", ""});
  ASSERT_EQ(session->setConfig(config).code, 0);
  ASSERT_EQ(session->registerSpi(&host).code, 0);
  EXPECT_EQ(session->connect().code, -8);
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
