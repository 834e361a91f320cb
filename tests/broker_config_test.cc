// The simulated counter's configuration: the sample file, errors with their
// line, the embedded defaults, where the file is looked for, and how a bad
// file reaches the receiver.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "broker/sim_config.h"
#include "broker/sim_platform.h"
#include "tests/broker_recorder.h"

#if defined(_WIN32)
#include <direct.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace xti {
namespace sim {
namespace testing {
namespace {

void setEnvironment(const char* name, const char* value) {
#if defined(_WIN32)
  _putenv_s(name, value);
#else
  setenv(name, value, 1);
#endif
}

std::string readFile(const std::string& path) {
  std::string text;
  EXPECT_EQ(readWholeFile(path, text), ReadStatus::kOk) << path;
  return text;
}

TEST(BrokerConfigTest, SampleFileDescribesTheEmbeddedDefaults) {
  const ConfigResult sample = parseConfig(readFile(KS_SOURCE_DIR "/config/xt_config"), "xt_config");
  ASSERT_TRUE(sample.ok) << sample.error;
  const Config defaults = defaultConfig();
  const Config& c = sample.config;

  ASSERT_EQ(c.users.size(), defaults.users.size());
  for (std::size_t i = 0; i < c.users.size(); ++i) {
    EXPECT_EQ(c.users[i].name, defaults.users[i].name);
    EXPECT_EQ(c.users[i].password, defaults.users[i].password);
    EXPECT_EQ(c.users[i].accounts, defaults.users[i].accounts);
  }
  ASSERT_EQ(c.accounts.size(), defaults.accounts.size());
  for (std::size_t i = 0; i < c.accounts.size(); ++i) {
    EXPECT_EQ(c.accounts[i].id, defaults.accounts[i].id);
    EXPECT_EQ(c.accounts[i].type, defaults.accounts[i].type);
    EXPECT_EQ(c.accounts[i].cash, defaults.accounts[i].cash);
  }
  ASSERT_EQ(c.instruments.size(), defaults.instruments.size());
  for (std::size_t i = 0; i < c.instruments.size(); ++i) {
    const InstrumentConfig& a = c.instruments[i];
    const InstrumentConfig& b = defaults.instruments[i];
    SCOPED_TRACE(a.code);
    EXPECT_EQ(a.code, b.code);
    EXPECT_EQ(a.exchange, b.exchange);
    EXPECT_EQ(a.product, b.product);
    EXPECT_DOUBLE_EQ(a.price, b.price);
    EXPECT_DOUBLE_EQ(a.multiplier, b.multiplier);
    EXPECT_DOUBLE_EQ(a.marginRate, b.marginRate);
    EXPECT_DOUBLE_EQ(a.tick, b.tick);
    EXPECT_DOUBLE_EQ(a.bandPercent, b.bandPercent);
  }
  EXPECT_EQ(c.behaviour.unreachable, defaults.behaviour.unreachable);
  EXPECT_EQ(c.behaviour.fillMode, defaults.behaviour.fillMode);
  EXPECT_EQ(c.behaviour.synchronous, defaults.behaviour.synchronous);
  EXPECT_EQ(c.behaviour.priceWalkMs, 0);

  const UserConfig* demo = defaults.findUser("demo");
  ASSERT_NE(demo, nullptr);
  EXPECT_EQ(demo->password, "demo123");
  ASSERT_NE(defaults.findAccount("88001234"), nullptr);
  EXPECT_EQ(defaults.findAccount("88001234")->cash, 1000000);
  for (const char* code : {"rb2410", "IF2409", "m2409", "600000"}) {
    EXPECT_NE(defaults.findInstrument(code), nullptr) << code;
  }
}

TEST(BrokerConfigTest, ReadsEveryKey) {
  const std::string text =
      "\xEF\xBB\xBF# comment line\r\n"
      "[behaviour]\r\n"
      "fill_mode = partial ; trailing comment\n"
      "fill_slices = 4\n"
      "reply_latency_ms = 25\n"
      "price_walk_ms = 500\n"
      "price_walk_ticks = 3\n"
      "price_walk_seed = 77\n"
      "synchronous = on\n"
      "unreachable = a.example:1, b.example:2\n"
      "error_push = no\n"
      "commission_rate = 0.0002\n"
      "trading_day = 20240229\n"
      "[user alice]\n"
      "password = p#ss;word\n"
      "accounts = A1, A2\n"
      "[account A1]\ncash = 5e5\n"
      "position = cu2409 short 2 70000\n"
      "position = cu2409 long 1 69000.5\n"
      "[account A2]\ntype = stock\n"
      "[instrument cu2409]\nexchange = SHFE\nproduct = cu\nprice = 70010\nmultiplier = 5\n"
      "margin_rate = 0.09\ntick = 10\nband_percent = 8\n";
  const ConfigResult r = parseConfig(text, "t");
  ASSERT_TRUE(r.ok) << r.error;
  const Behaviour& b = r.config.behaviour;
  EXPECT_EQ(b.fillMode, FillMode::kPartial);
  EXPECT_EQ(b.fillSlices, 4);
  EXPECT_EQ(b.replyLatencyMs, 25);
  EXPECT_EQ(b.priceWalkMs, 500);
  EXPECT_EQ(b.priceWalkTicks, 3);
  EXPECT_EQ(b.priceWalkSeed, 77u);
  EXPECT_TRUE(b.synchronous);
  EXPECT_EQ(b.unreachable, (std::vector<std::string>{"a.example:1", "b.example:2"}));
  EXPECT_FALSE(b.errorPush);
  EXPECT_DOUBLE_EQ(b.commissionRate, 0.0002);
  EXPECT_EQ(b.tradingDay, "20240229");
  ASSERT_EQ(r.config.users.size(), 1u);
  EXPECT_EQ(r.config.users[0].password, "p#ss;word");
  EXPECT_EQ(r.config.users[0].accounts, (std::vector<std::string>{"A1", "A2"}));
  const AccountConfig* a1 = r.config.findAccount("A1");
  ASSERT_NE(a1, nullptr);
  EXPECT_EQ(a1->cash, 500000);
  EXPECT_EQ(a1->type, 1);
  ASSERT_EQ(a1->positions.size(), 2u);
  EXPECT_EQ(a1->positions[0].side, Side::kShort);
  EXPECT_EQ(a1->positions[1].volume, 1);
  EXPECT_DOUBLE_EQ(a1->positions[1].openPrice, 69000.5);
  EXPECT_EQ(r.config.findAccount("A2")->type, 2);
  const InstrumentConfig* cu = r.config.findInstrument("cu2409");
  ASSERT_NE(cu, nullptr);
  EXPECT_EQ(cu->exchange, "SHFE");
  EXPECT_DOUBLE_EQ(cu->tick, 10);
  EXPECT_DOUBLE_EQ(cu->bandPercent, 8);
}

TEST(BrokerConfigTest, ErrorsNameTheFileAndLine) {
  struct Case {
    const char* text;
    int line;
    const char* says;
  };
  const Case cases[] = {
      {"fill_mode = full\n", 1, "outside a section"},
      {"[behaviour]\nfill_mode = sometimes\n", 2, "fill_mode"},
      {"[behaviour]\n\n# c\nreply_latency_ms = -1\n", 4, "reply_latency_ms"},
      {"[behaviour]\nsynchronous = maybe\n", 2, "synchronous"},
      {"[behaviour]\ntrading_day = 20240230\n", 2, "trading_day"},
      {"[behaviour]\nspeed = 3\n", 2, "unknown key \"speed\""},
      {"[behaviour]\nfill_slices = 2\nfill_slices = 3\n", 3, "twice"},
      {"[behaviour]\n[behaviour]\n", 2, "twice"},
      {"[market]\n", 1, "unknown section"},
      {"[user]\n", 1, "[user NAME]"},
      {"[user a\n", 1, "without ']'"},
      {"[user a]\npassword\n", 2, "key = value"},
      {"[user a]\naccounts = X\n", 1, "needs password"},
      {"[user a]\npassword = p\naccounts = X\n", 3, "no [account X]"},
      {"[account X]\ncash = lots\n", 2, "cash"},
      {"[account X]\ncash = 1e400\n", 2, "cash"},
      {"[account X]\nposition = rb2410 long 1\n", 2, "position takes"},
      {"[account X]\nposition = rb2410 up 1 3000\n", 2, "long or short"},
      {"[account X]\nposition = rb2410 long 0 3000\n", 2, "volume"},
      {"[account X]\nposition = rb2410 long 1 3000\n", 2, "no [instrument rb2410]"},
      {"[instrument rb]\nexchange = LME\n", 2, "unknown exchange"},
      {"[instrument rb]\nexchange = SHFE\nprice = 0\n", 3, "price"},
      {"[instrument rb]\nexchange = SHFE\nprice = nan\n", 3, "price"},
      {"[instrument rb]\nexchange = SHFE\nprice = 1\nmargin_rate = 1.5\n", 4, "margin_rate"},
      {"[instrument rb]\nprice = 1\n", 1, "needs exchange"},
      {"[instrument rb]\nexchange = DCE\n", 1, "needs price"},
      {"[instrument a_name_that_is_far_longer_than_31_bytes]\n", 1, "longer than 31"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const ConfigResult r = parseConfig(c.text, "dir/xt_config");
    EXPECT_FALSE(r.ok);
    const std::string where = "dir/xt_config:" + std::to_string(c.line) + ": ";
    EXPECT_EQ(r.error.compare(0, where.size(), where), 0) << r.error;
    EXPECT_NE(r.error.find(c.says), std::string::npos) << r.error;
  }
}

TEST(BrokerConfigTest, MissingFileGivesTheDefaults) {
  const ConfigResult r = loadConfig(::testing::TempDir() + "no_such_dir/xt_config");
  ASSERT_TRUE(r.ok) << r.error;
  ASSERT_NE(r.config.findUser("demo"), nullptr);
  EXPECT_EQ(r.config.instruments.size(), defaultConfig().instruments.size());
}

TEST(BrokerConfigTest, UnreadableFileIsAnErrorNamingIt) {
  // A folder where the file should be: it exists but cannot be read as one.
  const std::string folder = ::testing::TempDir() + "broker_config_folder";
#if defined(_WIN32)
  _mkdir(folder.c_str());
#else
  mkdir(folder.c_str(), 0700);
#endif
  const ConfigResult r = loadConfig(folder);
#if defined(_WIN32)
  _rmdir(folder.c_str());
#else
  rmdir(folder.c_str());
#endif
  EXPECT_FALSE(r.ok);
  EXPECT_NE(r.error.find(folder), std::string::npos) << r.error;
}

TEST(BrokerConfigTest, PathTakesBackslashesAndTheEnvironmentOverride) {
  TempFile file("backslash_config", "[user bob]\npassword = b\n");
  std::string windowsStyle = file.path();
#if !defined(_WIN32)
  for (char& c : windowsStyle) {
    if (c == '/') c = '\\';
  }
  EXPECT_EQ(configPathFor(windowsStyle.c_str()), file.path());
#endif
  const ConfigResult viaBackslashes = loadConfig(configPathFor(windowsStyle.c_str()));
  ASSERT_TRUE(viaBackslashes.ok) << viaBackslashes.error;
  EXPECT_NE(viaBackslashes.config.findUser("bob"), nullptr);

  TempFile other("env_config", "[user carol]\npassword = c\n");
  setEnvironment("XT_SIM_CONFIG", other.path().c_str());
  const std::string chosen = configPathFor(windowsStyle.c_str());
  setEnvironment("XT_SIM_CONFIG", "");
  EXPECT_EQ(chosen, other.path());
  EXPECT_EQ(configPathFor(nullptr), "");
}

#if !defined(_WIN32)
TEST(BrokerConfigTest, GbkPathFindsTheUtf8NamedFolder) {
  // "配置" in UTF-8 on disk; the plug-in hands the same name over in GBK.
  const std::string base = ::testing::TempDir() + "broker_";
  const std::string utf8Folder = base + "\xE9\x85\x8D\xE7\xBD\xAE";
  const std::string gbkFolder = base + "\xC5\xE4\xD6\xC3";
  mkdir(utf8Folder.c_str(), 0700);
  {
    std::ofstream(utf8Folder + "/xt_config") << "[user dora]\npassword = d\n";
  }
  const ConfigResult r = loadConfig(configPathFor((gbkFolder + "\\xt_config").c_str()));
  std::remove((utf8Folder + "/xt_config").c_str());
  rmdir(utf8Folder.c_str());
  ASSERT_TRUE(r.ok) << r.error;
  EXPECT_NE(r.config.findUser("dora"), nullptr);
  EXPECT_EQ(gbkToUtf8(gbkFolder), utf8Folder);
}
#endif

TEST(BrokerConfigTest, MalformedFileFailsTheConnectionWithFileAndLine) {
  TempFile file("malformed_config", "[behaviour]\nfill_mode = full\nlatency = 3\n");
  Recorder recorder;
  SimulatedApi api("127.0.0.1:7001");
  api.setCallback(&recorder);
  api.init(file.path().c_str());
  ASSERT_TRUE(recorder.waitFor(1));
  api.userLogin("demo", "demo123", 1, nullptr, nullptr, nullptr);
  ASSERT_TRUE(recorder.waitFor(2));
  api.shutdown();

  const std::vector<Recorded> events = recorder.events();
  EXPECT_EQ(events[0].kind, "connected");
  EXPECT_FALSE(events[0].success);
  EXPECT_NE(events[0].text.find(file.path() + ":3:"), std::string::npos) << events[0].text;
  EXPECT_EQ(events[1].kind, "login");
  EXPECT_FALSE(events[1].success);
  EXPECT_EQ(events[1].text, "未连接到柜台");
}

}  // namespace
}  // namespace testing
}  // namespace sim
}  // namespace xti
