// The simulated counter's configuration: the sample file, every key, errors
// with their file and line, the embedded defaults, and where the file is
// looked for. (A malformed file failing the connection is run end to end in
// integration_test.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <string>
#include <tuple>

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

// Everything a configuration holds, a line per section.
std::string describe(const Config& c) {
  const Behaviour& b = c.behaviour;
  std::ostringstream out;
  out << std::setprecision(12) << "behaviour " << static_cast<int>(b.fillMode) << ' '
      << b.fillSlices << ' ' << b.replyLatencyMs << ' ' << b.priceWalkMs << ' ' << b.priceWalkTicks
      << ' ' << b.priceWalkSeed << ' ' << b.synchronous << ' ' << b.errorPush << ' '
      << b.commissionRate << " '" << b.tradingDay << "'";
  for (const std::string& address : b.unreachable) out << ' ' << address;
  for (const UserConfig& u : c.users) {
    out << "\nuser " << u.name << ' ' << u.password;
    for (const std::string& account : u.accounts) out << ' ' << account;
  }
  for (const AccountConfig& a : c.accounts) {
    out << "\naccount " << a.id << ' ' << a.type << ' ' << a.cash;
    for (const StartPosition& p : a.positions) {
      out << ", " << p.instrument << (p.side == Side::kLong ? " long " : " short ") << p.volume
          << ' ' << p.openPrice;
    }
  }
  for (const InstrumentConfig& i : c.instruments) {
    out << "\ninstrument " << i.code << ' ' << i.exchange << ' ' << i.product << ' ' << i.price
        << ' ' << i.multiplier << ' ' << i.marginRate << ' ' << i.tick << ' ' << i.bandPercent;
  }
  return out.str();
}

TEST(BrokerConfigTest, SampleFileAndMissingFileGiveTheEmbeddedDefaults) {
  std::string text;
  ASSERT_EQ(readWholeFile(KS_SOURCE_DIR "/config/xt_config", text), ReadStatus::kOk);
  const ConfigResult sample = parseConfig(text, "xt_config");
  ASSERT_TRUE(sample.ok) << sample.error;
  const std::string defaults = describe(defaultConfig());
  EXPECT_EQ(describe(sample.config), defaults);
  const ConfigResult missing = loadConfig(::testing::TempDir() + "no_such_dir/xt_config");
  ASSERT_TRUE(missing.ok) << missing.error;
  EXPECT_EQ(describe(missing.config), defaults);
  EXPECT_NE(defaults.find("\nuser demo demo123 88001234\n"), std::string::npos) << defaults;
}

TEST(BrokerConfigTest, ReadsEveryKey) {
  const ConfigResult r = parseConfig(
      "\xEF\xBB\xBF# comment line\r\n[behaviour]\r\nfill_mode = partial ; trailing comment\n"
      "fill_slices = 4\nreply_latency_ms = 25\nprice_walk_ms = 500\nprice_walk_ticks = 3\n"
      "price_walk_seed = 77\nsynchronous = on\nunreachable = a.example:1, b.example:2\n"
      "error_push = no\ncommission_rate = 0.0002\ntrading_day = 20240229\n"
      "[user alice]\npassword = p#ss;word\naccounts = A1, A2\n"
      "[account A1]\ncash = 5e5\nposition = cu2409 short 2 70000\n"
      "position = cu2409 long 1 69000.5\n[account A2]\ntype = stock\n"
      "[instrument cu2409]\nexchange = SHFE\nproduct = cu\nprice = 70010\nmultiplier = 5\n"
      "margin_rate = 0.09\ntick = 10\nband_percent = 8\n",
      "t");
  ASSERT_TRUE(r.ok) << r.error;
  EXPECT_EQ(describe(r.config),
            "behaviour 1 4 25 500 3 77 1 0 0.0002 '20240229' a.example:1 b.example:2\n"
            "user alice p#ss;word A1 A2\n"
            "account A1 1 500000, cu2409 short 2 70000, cu2409 long 1 69000.5\n"
            "account A2 2 0\n"
            "instrument cu2409 SHFE cu 70010 5 0.09 10 8");
}

TEST(BrokerConfigTest, ErrorsNameTheFileAndLine) {
  const std::tuple<const char*, int, const char*> cases[] = {
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
  for (const auto& c : cases) {
    const ConfigResult r = parseConfig(std::get<0>(c), "dir/xt_config");
    const std::string where = "dir/xt_config:" + std::to_string(std::get<1>(c)) + ": ";
    EXPECT_FALSE(r.ok) << std::get<0>(c);
    EXPECT_EQ(r.error.compare(0, where.size(), where), 0) << r.error;
    EXPECT_NE(r.error.find(std::get<2>(c)), std::string::npos) << r.error;
  }
}

TEST(BrokerConfigTest, UnreadableOrMalformedFileIsAnErrorNamingIt) {
  // A folder where the file should be: it exists but cannot be read as one.
  const std::string folder = ::testing::TempDir() + "broker_config_folder";
#if defined(_WIN32)
  _mkdir(folder.c_str());
  const ConfigResult unreadable = loadConfig(folder);
  _rmdir(folder.c_str());
#else
  mkdir(folder.c_str(), 0700);
  const ConfigResult unreadable = loadConfig(folder);
  rmdir(folder.c_str());
#endif
  EXPECT_FALSE(unreadable.ok);
  EXPECT_NE(unreadable.error.find(folder), std::string::npos) << unreadable.error;
  TempFile file("[behaviour]\nfill_mode = full\nlatency = 3\n");
  const ConfigResult malformed = loadConfig(file.path());
  EXPECT_FALSE(malformed.ok);
  EXPECT_EQ(malformed.error.rfind(file.path() + ":3: ", 0), 0u) << malformed.error;
}

TEST(BrokerConfigTest, PathTakesBackslashesGbkAndTheEnvironmentOverride) {
  TempFile file("[user bob]\npassword = b\n"), other("[user carol]\npassword = c\n");
  std::string windowsStyle = file.path();
#if !defined(_WIN32)
  for (char& c : windowsStyle) {
    if (c == '/') c = '\\';
  }
#endif
  EXPECT_EQ(configPathFor(windowsStyle.c_str()), file.path());
  const ConfigResult viaBackslashes = loadConfig(configPathFor(windowsStyle.c_str()));
  ASSERT_TRUE(viaBackslashes.ok) << viaBackslashes.error;
  EXPECT_NE(viaBackslashes.config.findUser("bob"), nullptr);
#if defined(_WIN32)
  _putenv_s("XT_SIM_CONFIG", other.path().c_str());
  const std::string chosen = configPathFor(windowsStyle.c_str());
  _putenv_s("XT_SIM_CONFIG", "");
#else
  setenv("XT_SIM_CONFIG", other.path().c_str(), 1);
  const std::string chosen = configPathFor(windowsStyle.c_str());
  unsetenv("XT_SIM_CONFIG");
#endif
  EXPECT_EQ(chosen, other.path());
  EXPECT_EQ(configPathFor(nullptr), "");
#if !defined(_WIN32)
  // "配置" in UTF-8 on disk; the plug-in hands the same name over in GBK.
  const std::string base = ::testing::TempDir() + "broker_";
  const std::string utf8Folder = base + "\xE9\x85\x8D\xE7\xBD\xAE";
  const std::string gbkFolder = base + "\xC5\xE4\xD6\xC3";
  mkdir(utf8Folder.c_str(), 0700);
  std::ofstream(utf8Folder + "/xt_config") << "[user dora]\npassword = d\n";
  const ConfigResult r = loadConfig(configPathFor((gbkFolder + "\\xt_config").c_str()));
  std::remove((utf8Folder + "/xt_config").c_str());
  rmdir(utf8Folder.c_str());
  ASSERT_TRUE(r.ok) << r.error;
  EXPECT_NE(r.config.findUser("dora"), nullptr);
  EXPECT_EQ(gbkToUtf8(gbkFolder), utf8Folder);
#endif
}

}  // namespace
}  // namespace testing
}  // namespace sim
}  // namespace xti
