// SessionFixture: a session made by the exported factory, with a recording
// host and the scripted vendor behind it; and the small helpers the tests
// share.
#ifndef KESTREL_TESTS_SUPPORT_SESSION_FIXTURE_H_
#define KESTREL_TESTS_SUPPORT_SESSION_FIXTURE_H_

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

#include "broker/config_variable.h"
#include "plugin/common.h"
#include "plugin/plugin_entry.h"
#include "session/trade_session_xt.h"
#include "tests/support/fake_vendor.h"
#include "tests/support/recording_host.h"

namespace kestrel {
namespace testing {

// Fills a vendor text field: zeroed, then at most N - 1 bytes of `text`.
template <std::size_t N>
void setText(char (&field)[N], const char* text) {
  std::memset(field, 0, N);
  std::strncpy(field, text, N - 1);
}

// KS_STRESS_SCALE (1 to 10000, default 1) multiplies the stress tests' counts.
inline int stressScale() {
  const char* text = std::getenv("KS_STRESS_SCALE");
  const long value = text == nullptr ? 1 : std::strtol(text, nullptr, 10);
  return value >= 1 && value <= 10000 ? static_cast<int>(value) : 1;
}

// The two ways a vendor answers, for suites parameterised on them: later on
// its own thread, or inside the request call.
inline std::string answerModeName(const ::testing::TestParamInfo<bool>& info) {
  return info.param ? "Synchronous" : "Asynchronous";
}

// A configuration file that the simulated counter reads (XT_SIM_CONFIG)
// while this object lives. Its name is the test's own: other programs, and
// other copies of this one, may run at the same time.
class CounterConfigFile {
 public:
  explicit CounterConfigFile(const std::string& text)
      : name_("xt_config_" +
              std::to_string(std::random_device()() ^
                             std::chrono::steady_clock::now().time_since_epoch().count())),
        path_(::testing::TempDir() + name_) {
    std::ofstream(path_) << text;
    xti::sim::setConfigVariable(path_.c_str());
  }
  ~CounterConfigFile() {
    xti::sim::setConfigVariable("");  // read as unset
    std::remove(path_.c_str());
  }
  const std::string& name() const { return name_; }

 private:
  std::string name_, path_;
};

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
    renew(&host);
  }
  ~SessionFixture() override { delete session; }

  // Replaces the session with a new, configured one that reports to `callback`.
  void renew(ITradeSessionSpi* callback) {
    delete session;
    session = static_cast<TradeSessionXT*>(CreateTradeSession());
    EXPECT_EQ(session->setConfig(configWithAddress("tcp://127.0.0.1:5800")).code, 0);
    EXPECT_EQ(session->registerSpi(callback).code, 0);
  }

  void connect() { ASSERT_EQ(session->connect().code, 0); }

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
  OrderIdentityContext& identity() { return receiver().TEST_identity(); }

  FakeVendor vendor;
  RecordingHost host;
  TradeSessionXT* session = nullptr;
};

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_SESSION_FIXTURE_H_
