// SessionFixture: a session created through the exported factory, with a
// recording host and the scripted vendor behind it.
#ifndef KESTREL_TESTS_SUPPORT_SESSION_FIXTURE_H_
#define KESTREL_TESTS_SUPPORT_SESSION_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>

#include "plugin/common.h"
#include "plugin/plugin_entry.h"
#include "session/trade_session_xt.h"
#include "tests/support/fake_vendor.h"
#include "tests/support/recording_host.h"

namespace kestrel {
namespace testing {

inline SessionConfig configWithAddress(const std::string& address) {
  SessionConfig config;
  config.configCode = 17;
  config.configText = "cfg";
  config.userName = "trader1";
  config.password = "secret";
  config.server.serverAddresses.push_back(AddressEntry{address, "primary"});
  return config;
}

class SessionFixture : public ::testing::Test {
 protected:
  SessionFixture() {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
    session = static_cast<TradeSessionXT*>(CreateTradeSession());
    EXPECT_EQ(session->setConfig(configWithAddress("tcp://127.0.0.1:5800")).code, 0);
    EXPECT_EQ(session->registerSpi(&host).code, 0);
  }

  ~SessionFixture() override {
    if (session != nullptr) delete session;
  }

  // Connects and waits until the plug-in registered its receiver.
  void connect() {
    ASSERT_EQ(session->connect().code, 0);
    ASSERT_TRUE(vendor.hasCallback());
  }

  // Connects and logs one fund account in through the account-status push.
  void connectWithAccount(const char* account = "A001") {
    connect();
    vendor.deliver([account](xti::XtTraderApiCallback& cb) { cb.onAccountStatus(account, 0, 1); });
  }

  // Ends the session through release(); the fixture no longer owns it.
  ResultStatus release() {
    TradeSessionXT* s = session;
    session = nullptr;
    return s->release();
  }

  XtTraderSpi& receiver() { return session->TEST_receiver(); }

  FakeVendor vendor;
  RecordingHost host;
  TradeSessionXT* session = nullptr;
};

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_SESSION_FIXTURE_H_
