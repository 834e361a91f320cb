// The session's life: settings, connect, login and logout, release, and the
// connection-level events the receiver passes to the host.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/support/session_fixture.h"

// Notes whether one watched block was freed, to prove that release() gives
// the session's storage back.
namespace {
std::atomic<const void*> gWatched{nullptr};
std::atomic<bool> gWatchedFreed{false};

void freeAndNote(void* p) noexcept {
  if (p != nullptr && p == gWatched.load()) gWatchedFreed.store(true);
  std::free(p);
}
}  // namespace

void* operator new(std::size_t size) {
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { freeAndNote(p); }
void operator delete(void* p, std::size_t) noexcept { freeAndNote(p); }

namespace kestrel {
namespace testing {
namespace {

using std::chrono::milliseconds;

void watchFree(const void* block) {
  gWatchedFreed.store(false);
  gWatched.store(block);
}

using SessionTest = SessionFixture;

TEST_F(SessionTest, SettingsReachBothCopiesAndAreReplacedWhole) {
  SessionConfig second = configWithAddress("10.0.0.2:1");
  second.userName = "other";
  second.configCode = 3;
  ASSERT_EQ(session->setConfig(second).code, 0);
  EXPECT_EQ(session->registerSpi(nullptr).code, 0);
}

TEST_F(SessionTest, AddressLosesItsLeadingRunOfTcpCharacters) {
  struct Case {
    const char* configured;
    const char* sent;
  } cases[] = {
      {"tcp://192.168.1.10:5800", "192.168.1.10:5800"},
      {"10.0.0.1:7001", "10.0.0.1:7001"},
      {"tcp://", ""},
      {"tcp://ctp.broker.cn:80", ".broker.cn:80"},  // the host part's own t, c, p go too
      {"pct:/x:1", "x:1"},
      {"TCP://h:1", "TCP://h:1"},  // case-sensitive
  };
  vendor.setRefuseCreate(true);  // only the factory's argument matters here
  std::size_t attempts = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.configured);
    SessionConfig config = configWithAddress(c.configured);
    config.server.serverAddresses.push_back(AddressEntry{"9.9.9.9:9", "second"});
    ASSERT_EQ(session->setConfig(config).code, 0);
    const ResultStatus status = session->connect();
    EXPECT_EQ(status.code, -8);
    EXPECT_EQ(status.message, "create XtTraderApi fail");
    const auto creates = vendor.callsOf("createXtTraderApi");
    ASSERT_EQ(creates.size(), ++attempts) << "a failed connect leaves the session ready to retry";
    EXPECT_EQ(creates.back().texts.at(0), c.sent);
  }
  EXPECT_EQ(vendor.count("setCallback"), 0u);

  // Without any address nothing is sent.
  SessionConfig config = configWithAddress("x");
  config.server.serverAddresses.clear();
  ASSERT_EQ(session->setConfig(config).code, 0);
  const ResultStatus status = session->connect();
  EXPECT_EQ(status.code, -2);
  EXPECT_EQ(status.message, CodeConvert::utf8_to_gbk("无效地址"));
  EXPECT_EQ(vendor.calls().size(), 6u);
}

TEST_F(SessionTest, ConnectRegistersTheReceiverThenStartsTheVendor) {
  connect();
  const auto calls = vendor.calls();
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(calls[0].op, "createXtTraderApi");
  EXPECT_EQ(calls[0].texts.at(0), "127.0.0.1:5800");
  EXPECT_EQ(calls[1].op, "setCallback");
  EXPECT_EQ(calls[2].op, "init");  // its path: the init_path_in_chinese_directory test
  // A second connect makes no vendor call.
  EXPECT_EQ(session->connect().code, 0);
  EXPECT_EQ(vendor.calls().size(), 3u);
}

TEST_F(SessionTest, LoginAndLogoutNumberTheirRequestsFromOne) {
  // Before connecting: not connected, and no number is drawn.
  for (const ResultStatus& status : {session->login(), session->logout()}) {
    EXPECT_EQ(status.code, -6);
    EXPECT_EQ(status.message, CodeConvert::utf8_to_gbk("未连接"));
  }
  EXPECT_TRUE(vendor.calls().empty());
  connect();
  ASSERT_EQ(session->login().code, 0);
  ASSERT_EQ(session->logout().code, 0);
  SessionConfig changed = configWithAddress("127.0.0.1:5800");
  changed.userName = "";
  changed.password = "new";
  ASSERT_EQ(session->setConfig(changed).code, 0);
  ASSERT_EQ(session->login().code, 0);

  const auto logins = vendor.callsOf("userLogin");
  const auto logouts = vendor.callsOf("userLogout");
  ASSERT_EQ(logins.size(), 2u);
  ASSERT_EQ(logouts.size(), 1u);
  EXPECT_EQ(logins[0].numbers.at(0), 1);
  EXPECT_EQ(logouts[0].numbers.at(0), 2);
  EXPECT_EQ(logins[1].numbers.at(0), 3);
  EXPECT_EQ(logins[0].texts,
            (std::vector<std::string>{"trader1", "secret", "<null>", "<null>", "<null>"}));
  EXPECT_EQ(logouts[0].texts, (std::vector<std::string>{"trader1", "secret"}));
  EXPECT_EQ(logins[1].texts.at(0), "");  // empty texts are sent empty
  EXPECT_EQ(logins[1].texts.at(1), "new");
}

TEST_F(SessionTest, RequestNumbersStayUniqueAcrossThreadsAndPerSession) {
  connect();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(((i + t) % 2 == 0 ? session->login() : session->logout()).code, 0);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<int64_t> numbers;
  for (const auto& call : vendor.calls()) {
    if (call.op == "userLogin" || call.op == "userLogout") numbers.insert(call.numbers.at(0));
  }
  EXPECT_EQ(numbers.size(), 400u);
  EXPECT_EQ(*numbers.begin(), 1);
  EXPECT_EQ(*numbers.rbegin(), 400);

  TradeSessionXT* other = static_cast<TradeSessionXT*>(CreateTradeSession());
  ASSERT_EQ(other->setConfig(configWithAddress("127.0.0.1:1")).code, 0);
  ASSERT_EQ(other->connect().code, 0);
  ASSERT_EQ(other->login().code, 0);
  EXPECT_EQ(vendor.callsOf("userLogin").back().numbers.at(0), 1);
  delete other;
}

TEST_F(SessionTest, ConnectionLoginAndLogoutOutcomesReachTheHost) {
  connect();
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onConnected(true, "ignored");
    cb.onConnected(false, nullptr);
    cb.onConnected(false, "网络中断");
    cb.onUserLogin("u", "p", 1, xti::XtError());
    cb.onUserLogin("u", "p", 2, xti::XtError(1001, "密码错误"));
    cb.onUserLogin("u", "p", 3, xti::XtError(1002, nullptr));
    cb.onUserLogout("u", "p", 4, xti::XtError());
    cb.onUserLogout("u", "p", 5, xti::XtError(7, "未登录"));
  });
  const struct {
    const char* name;
    int code;
    std::string message;
  } expected[] = {{"onConnected", 0, ""},
                  {"onDisconnected", -7, ""},
                  {"onDisconnected", -7, CodeConvert::utf8_to_gbk("[msg=网络中断]")},
                  {"onLogin", 0, ""},
                  {"onLogin", -11, CodeConvert::utf8_to_gbk("[msg=密码错误]")},
                  {"onLogin", -11, ""},
                  {"onLogout", 0, ""},
                  {"onLogout", -12, CodeConvert::utf8_to_gbk("[msg=未登录]")}};
  const auto events = host.events();
  ASSERT_EQ(events.size(), 8u);
  for (int i = 0; i < 8; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(events[i].name, expected[i].name);
    EXPECT_EQ(events[i].status.code, expected[i].code);
    EXPECT_EQ(events[i].status.message, expected[i].message);
    EXPECT_EQ(events[i].thread, vendor.vendorThreadId());
  }

  const LoginReply& ok = *events[3].login;
  EXPECT_EQ(ok.loginState, 1);
  EXPECT_EQ(ok.loginKind, 2);
  EXPECT_EQ(ok.tradingDay, TradeTime("pfcode.SHFE").GetTradingDay(nullptr, TrdDayForward));
  ASSERT_GE(ok.loginStamp.size(), 16u);
  EXPECT_TRUE(std::all_of(ok.loginStamp.begin(), ok.loginStamp.end(),
                          [](char c) { return c >= '0' && c <= '9'; }));
  EXPECT_EQ(ok.loginStamp.substr(ok.loginStamp.size() - 3), "000");
  const long long stampMillis = std::stoll(ok.loginStamp) / 1000;
  EXPECT_LE(Timestamp::now(KSTimeZoneUTC).toUTCMilisecsinceEponch() - stampMillis, 60000);
  EXPECT_TRUE(ok.entries.empty());
  for (int i : {4, 5}) {
    const LoginReply& failed = *events[i].login;
    EXPECT_EQ(
        std::make_tuple(failed.loginStamp, failed.loginState, failed.tradingDay, failed.loginKind),
        std::make_tuple("", -1, 0, 0));
  }
}

TEST_F(SessionTest, ReleaseStopsTheVendorInOrderThenTellsTheHost) {
  connect();
  watchFree(session);
  const auto before = std::chrono::steady_clock::now();
  ASSERT_EQ(release().code, 0);
  const auto after = std::chrono::steady_clock::now();

  const auto joinAll = vendor.callsOf("joinAll");
  const auto shutdown = vendor.callsOf("shutdown");
  const auto destroy = vendor.callsOf("destroy");
  ASSERT_EQ(joinAll.size(), 1u);
  ASSERT_EQ(shutdown.size(), 1u);
  ASSERT_EQ(destroy.size(), 1u);
  EXPECT_NE(joinAll[0].thread, std::this_thread::get_id()) << "joinAll runs on the worker";
  EXPECT_EQ(shutdown[0].thread, std::this_thread::get_id());
  // The vendor gets at least 100 ms between the call and its shutdown.
  EXPECT_GE(shutdown[0].at - before, milliseconds(100));
  EXPECT_LT(joinAll[0].sequence, shutdown[0].sequence);
  EXPECT_LT(shutdown[0].sequence, destroy[0].sequence);

  const auto disconnected = host.eventsNamed("onDisconnected");
  ASSERT_EQ(disconnected.size(), 1u);
  EXPECT_EQ(disconnected[0].status.code, 0);
  EXPECT_GE(disconnected[0].at, destroy[0].at);
  EXPECT_NE(disconnected[0].thread, std::this_thread::get_id());
  EXPECT_TRUE(gWatchedFreed.load());
  EXPECT_EQ(vendor.liveApis(), 0);
  EXPECT_LT(after - before, milliseconds(1000));
  EXPECT_FALSE(vendor.hasCallback());
}

TEST_F(SessionTest, ReleaseOfANeverConnectedSessionOnlyTellsTheHost) {
  watchFree(session);
  const ResultStatus status = release();
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(status.message, "");
  EXPECT_TRUE(gWatchedFreed.load());
  EXPECT_TRUE(vendor.calls().empty());
  const auto events = host.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].name, "onDisconnected");
  EXPECT_EQ(events[0].status.code, 0);
  EXPECT_NE(events[0].thread, std::this_thread::get_id());
}

TEST_F(SessionTest, ReleaseWithoutHostCallbackStillStopsEverything) {
  connect();
  ASSERT_EQ(session->registerSpi(nullptr).code, 0);
  ASSERT_EQ(release().code, 0);
  EXPECT_EQ(vendor.count("shutdown"), 1u);
  EXPECT_EQ(vendor.liveApis(), 0);
  EXPECT_EQ(host.total(), 0u);
}

// release() tells the host on a thread of its own and waits for it: what the
// host throws there reaches the caller of release(), whatever its type, after
// the vendor was stopped, and the session stays alive for a second release().
TEST_F(SessionTest, ReleaseHandsWhatTheHostThrowsToItsCaller) {
  struct HostFault {};  // not a std::exception
  for (bool runtime : {true, false}) {
    SCOPED_TRACE(runtime ? "std::runtime_error" : "foreign type");
    if (session == nullptr) {
      session = static_cast<TradeSessionXT*>(CreateTradeSession());
      ASSERT_EQ(session->setConfig(configWithAddress("127.0.0.1:5800")).code, 0);
      ASSERT_EQ(session->registerSpi(&host).code, 0);
    }
    connect();
    host.clear();
    host.setAfterEvent([runtime](const HostEvent& event) {
      if (event.name != "onDisconnected") return;
      if (runtime) throw std::runtime_error("host fault");
      throw HostFault{};
    });
    if (runtime) {
      EXPECT_THROW((void)session->release(), std::runtime_error);
    } else {
      EXPECT_THROW((void)session->release(), HostFault);
    }
    EXPECT_EQ(vendor.liveApis(), 0) << "the vendor was stopped and destroyed first";
    host.setAfterEvent(nullptr);
    const std::size_t vendorCalls = vendor.calls().size();
    EXPECT_EQ(release().code, 0) << "the second release ends the session";
    EXPECT_EQ(host.count("onDisconnected"), 2u);
    EXPECT_EQ(vendor.calls().size(), vendorCalls) << "nothing left to stop";
  }
}

TEST_F(SessionTest, DeletingAConnectedSessionStopsTheVendorFirst) {
  connect();
  vendor.post([](xti::XtTraderApiCallback& cb) { cb.onConnected(true, ""); });
  delete session;
  session = nullptr;
  EXPECT_EQ(vendor.count("shutdown"), 1u);
  EXPECT_EQ(vendor.liveApis(), 0);
  // Events the vendor still had queued are dropped, never delivered to the
  // destroyed receiver.
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onConnected(false, "late"); });
  EXPECT_EQ(host.count("onDisconnected"), 0u);
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
