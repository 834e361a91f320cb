// The session's life (connect, login, release) and its requests to the
// vendor, with every row of the requests' failure tables.
#include <chrono>
#include <cstdlib>
#include <functional>
#include <new>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/support/session_fixture.h"

// The replaced allocator notes whether one watched block was freed (release()
// gives the session's storage back) and fails the n-th allocation of this
// thread on demand.
namespace {
std::atomic<const void*> gWatched{nullptr};
std::atomic<bool> gWatchedFreed{false};
thread_local int tFailAllocation = 0;  // 0: off; n: the n-th from now fails
}  // namespace

void* operator new(std::size_t size) {
  if (tFailAllocation > 0 && --tFailAllocation == 0) throw std::bad_alloc();
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  if (p != nullptr && p == gWatched.load()) gWatchedFreed.store(true);
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }

namespace kestrel {
namespace testing {
namespace {

using SessionTest = SessionFixture;

std::string summaries(const std::vector<VendorCall>& calls, std::size_t from = 0) {
  std::string text;
  for (std::size_t i = from; i < calls.size(); ++i)
    text += (text.empty() ? "" : "; ") + calls[i].summary();
  return text;
}

// Only the first address counts, without its leading run of t, c, p, ':'
// and '/'; a failed connect may be tried again; a second connect does nothing.
TEST_F(SessionTest, ConnectSendsTheTrimmedFirstAddressThenRegistersAndStarts) {
  const std::pair<const char*, const char*> rows[] = {
      {"tcp://192.168.1.10:5800", "192.168.1.10:5800"},
      {"10.0.0.1:7001", "10.0.0.1:7001"},
      {"tcp://", ""},
      {"tcp://ctp.broker.cn:80", ".broker.cn:80"},
      {"tcp://trade.example.com:41205", "rade.example.com:41205"},
      {"pct:/x:1", "x:1"},
      {"TCP://h:1", "TCP://h:1"}};
  vendor.setRefuseCreate(true);
  for (const auto& [configured, sent] : rows) {
    SessionConfig config = configWithAddress(configured);
    config.server.serverAddresses.push_back(AddressEntry{"9.9.9.9:9", "second"});
    ASSERT_EQ(session->setConfig(config).code, 0);
    const ResultStatus status = session->connect();
    EXPECT_EQ(std::make_pair(status.code, status.message),
              std::make_pair(-8, std::string("create XtTraderApi fail")));
    EXPECT_EQ(vendor.calls().back().summary(), "createXtTraderApi " + std::string(sent) + " ");
  }
  SessionConfig none = configWithAddress("x");
  none.server.serverAddresses.clear();
  ASSERT_EQ(session->setConfig(none).code, 0);
  const ResultStatus status = session->connect();
  EXPECT_EQ(std::make_pair(status.code, status.message),
            std::make_pair(-2, CodeConvert::utf8_to_gbk("无效地址")));
  vendor.setRefuseCreate(false);
  ASSERT_EQ(session->setConfig(configWithAddress("tcp://127.0.0.1:5800")).code, 0);
  connect();
  EXPECT_EQ(session->connect().code, 0);
  EXPECT_EQ(summaries(vendor.calls(), std::size(rows)),
            "createXtTraderApi 127.0.0.1:5800 ; setCallback  ; init " +
                vendor.callsOf("init").at(0).texts.at(0) + " ");
}

// Before connect: login, logout and cancel answer -6; orders and queries look
// at the fund account first and answer -3. Nothing is sent or filed.
TEST_F(SessionTest, ANeverConnectedSessionAnswersNotConnectedOrNoFundAccount) {
  const ResultStatus answers[] = {session->login(),
                                  session->logout(),
                                  session->cancelOrder(1, {}),
                                  session->sendOrder(2, {}),
                                  session->reqQryTradingAccount(3),
                                  session->reqQryPosition(4),
                                  session->reqQryPositionDetail(5, {}),
                                  session->reqQryOrder(6),
                                  session->reqQryFill(7)};
  for (std::size_t i = 0; i < std::size(answers); ++i) {
    EXPECT_EQ(answers[i].code, i < 3 ? -6 : -3) << i;
    EXPECT_EQ(answers[i].message, CodeConvert::utf8_to_gbk(i < 3 ? "未连接" : "无资金账号")) << i;
  }
  EXPECT_TRUE(vendor.calls().empty());
  EXPECT_EQ(identity().newOrderBook->size() + identity().cancelBook->size(), 0u);
}

// connect, login and logout catch nothing: what the vendor throws, a
// standard exception or another, reaches their caller (an order, a cancel or
// a query answers -1 for a standard one: EveryRowOfTheRequestFailureTables).
// A connect whose init threw keeps its vendor object: connect again does
// nothing.
TEST_F(SessionTest, ConnectLoginAndLogoutLetEveryExceptionThrough) {
  struct VendorFault {};  // not a std::exception
  const struct {
    const char* request;
    const char* throwingCall;
  } rows[] = {{"connect", "init"}, {"login", "userLogin"}, {"logout", "userLogout"}};
  for (const auto& row : rows) {
    for (const bool standard : {true, false}) {
      SCOPED_TRACE(std::string(row.request) + (standard ? " std::exception" : " other"));
      renew(&host);
      if (std::string(row.request) != "connect") connect();
      vendor.setResponder([&row, standard](const VendorCall& call) {
        if (call.op != row.throwingCall) return;
        if (standard) throw std::runtime_error("vendor fault");
        throw VendorFault{};
      });
      const std::function<ResultStatus()> request = [&] {
        return std::string(row.request) == "connect" ? session->connect()
               : std::string(row.request) == "login" ? session->login()
                                                     : session->logout();
      };
      if (standard) {
        EXPECT_THROW((void)request(), std::runtime_error);
      } else {
        EXPECT_THROW((void)request(), VendorFault);
      }
      vendor.setResponder(nullptr);
      const std::size_t calls = vendor.calls().size();
      EXPECT_EQ(session->connect().code, 0);
      EXPECT_EQ(vendor.calls().size(), calls) << "connected: a second connect sends nothing";
    }
  }
}

// Numbers from 1, one counter for login and logout, unique across threads;
// the texts as the settings stand at each call.
TEST_F(SessionTest, LoginAndLogoutNumberTheirRequestsFromOne) {
  connect();
  ASSERT_EQ(session->login().code, 0);
  ASSERT_EQ(session->logout().code, 0);
  SessionConfig changed = configWithAddress("127.0.0.1:5800");
  changed.userName = "";
  changed.password = "new";
  ASSERT_EQ(session->setConfig(changed).code, 0);
  ASSERT_EQ(session->login().code, 0);
  EXPECT_EQ(summaries(vendor.calls(), 3),
            "userLogin trader1,secret,<null>,<null>,<null> 1; userLogout trader1,secret 2; "
            "userLogin ,new,<null>,<null>,<null> 3");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < 100; ++i)
        EXPECT_EQ(((i + t) % 2 ? session->login() : session->logout()).code, 0);
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<int64_t> numbers;
  for (const auto& call : vendor.calls()) {
    if (call.op == "userLogin" || call.op == "userLogout") numbers.insert(call.numbers.at(0));
  }
  EXPECT_EQ(std::make_pair(numbers.size(), *numbers.rbegin()),
            std::make_pair(std::size_t{403}, int64_t{403}));
}

TEST_F(SessionTest, ReleaseStopsTheVendorInOrderThenTellsTheHostOnAnotherThread) {
  connect();
  gWatchedFreed.store(false);
  gWatched.store(session);
  const auto before = std::chrono::steady_clock::now();
  ASSERT_EQ(release().code, 0);
  const auto calls = vendor.calls();
  EXPECT_EQ(summaries(calls, 3), "joinAll  ; shutdown  ; destroy  ");
  EXPECT_NE(calls[3].thread, std::this_thread::get_id()) << "joinAll runs on the worker";
  EXPECT_EQ(calls[4].thread, std::this_thread::get_id());
  EXPECT_GE(calls[4].at - before, std::chrono::milliseconds(100)) << "shutdown after 100 ms";
  const auto events = host.events();
  ASSERT_EQ(host.summary(), "onDisconnected 0");
  EXPECT_GE(events[0].at, calls[5].at);
  EXPECT_NE(events[0].thread, std::this_thread::get_id());
  EXPECT_TRUE(gWatchedFreed.load()) << "the session's storage was freed";
  EXPECT_EQ(vendor.liveApis(), 0);
}

TEST_F(SessionTest, ReleaseWithoutVendorOrWithoutHost) {
  ASSERT_EQ(release().code, 0);  // never connected: no vendor call, the host told
  EXPECT_TRUE(vendor.calls().empty());
  renew(nullptr);
  connect();
  ASSERT_EQ(release().code, 0);  // no host: still stopped, nobody told
  EXPECT_EQ(vendor.count("shutdown"), 1u);
  EXPECT_EQ(host.summary(), "onDisconnected 0");
}

// release() waits for its notification: what the host throws there reaches
// the caller, whatever its type, after the vendor was stopped, and the
// session stays alive for a second release().
TEST_F(SessionTest, ReleaseHandsWhatTheHostThrowsToItsCaller) {
  struct HostFault {};  // not a std::exception
  for (const bool standard : {true, false}) {
    renew(&host);
    connect();
    host.setAfterEvent([standard](const HostEvent&) {
      if (standard) throw std::runtime_error("host fault");
      throw HostFault{};
    });
    if (standard) {
      EXPECT_THROW((void)session->release(), std::runtime_error);
    } else {
      EXPECT_THROW((void)session->release(), HostFault);
    }
    EXPECT_EQ(vendor.liveApis(), 0) << "the vendor was stopped and destroyed first";
    host.setAfterEvent(nullptr);
    const std::size_t vendorCalls = vendor.calls().size();
    EXPECT_EQ(release().code, 0) << "the second release ends the session";
    EXPECT_EQ(vendor.calls().size(), vendorCalls) << "nothing left to stop";
  }
  EXPECT_EQ(host.count("onDisconnected"), 4u);
}

TEST_F(SessionTest, DeletingAConnectedSessionStopsTheVendorFirst) {
  connect();
  vendor.post([](xti::XtTraderApiCallback& cb) { cb.onConnected(true, ""); });
  delete session;
  session = nullptr;
  EXPECT_EQ(vendor.count("shutdown"), 1u);
  EXPECT_EQ(vendor.liveApis(), 0);
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onConnected(false, "late"); });
  EXPECT_EQ(host.count("onDisconnected"), 0u) << "nothing reached the destroyed receiver";
}

// What plugin/plugin_entry.h says of unloading: a released session's joinAll
// worker waits while another session is connected, and that session trades
// on; the worker returns once the last session is released.
TEST_F(SessionTest, AReleasedSessionsWorkerWaitsWhileAnotherSessionTrades) {
  connect();
  RecordingHost otherHost;
  auto* other = static_cast<TradeSessionXT*>(CreateTradeSession());
  ASSERT_EQ(other->setConfig(configWithAddress("127.0.0.1:1")).code, 0);
  ASSERT_EQ(other->registerSpi(&otherHost).code, 0);
  ASSERT_EQ(other->connect().code, 0);  // the vendor's events now go to `other`
  ASSERT_EQ(release().code, 0);
  vendor.waitForCall("joinAll");
  EXPECT_EQ(vendor.waitingJoins(), 1) << "joinAll waits for the other session";
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onAccountStatus("B1", 0, 1); });
  AccountOrderNewRequest order;
  order.clientId = ClientId{"host", "9"};
  ASSERT_EQ(other->sendOrder(9, order).code, 0);
  vendor.deliver(
      [](xti::XtTraderApiCallback& cb) { cb.onOrderReply(9, 0, "", xti::XtError(1, "no")); });
  EXPECT_EQ(otherHost.summary(), "onOrderRejected -1 9 host/9 [msg=no]");
  EXPECT_EQ(vendor.waitingJoins(), 1);
  ASSERT_EQ(other->release().code, 0);
  vendor.waitForCall("joinAll", 2);
  vendor.waitUntilJoinsReturn();
  EXPECT_EQ(vendor.liveApis(), 0);
}

// --- Requests -----------------------------------------------------------------

// Orders go out on the smallest account key with the codes mapped: operation
// from direction and offset, price type 12 for "any price", hedge always 49.
TEST_F(SessionTest, OrdersGoOutOnTheSmallestAccountWithMappedCodes) {
  connect();
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onAccountStatus("B1", 0, 1);
    cb.onAccountStatus("A9", 0, 1);
  });
  const struct {
    int32_t direction, offset, priceType, hedge, operation, vendorPriceType;
  } rows[] = {{1, 1, 1, 1, 0, 11}, {1, 5, 2, 2, 5, 12}, {1, 4, 0, 3, 4, 11},
              {1, 6, 3, 0, 4, 11}, {2, 1, 1, 1, 3, 11}, {2, 5, 1, 1, 2, 11},
              {2, 6, 1, 1, 1, 11}, {0, 1, 2, 1, 3, 12}, {2, 0, 1, 1, 1, 11}};
  AccountOrderNewRequest request;
  request.codeId.exchange = 3;  // SHFE
  request.codeId.code = "rb2410";
  request.quantity = 2;
  request.price = 3650.0;
  int requestId = 100;
  for (const auto& r : rows) {
    request.direction = r.direction;
    request.offsetFlag = r.offset;
    request.priceType = r.priceType;
    request.hedgeFlag = r.hedge;
    ASSERT_EQ(session->sendOrder(++requestId, request).code, 0);
    const VendorCall call = vendor.calls().back();
    const xti::COrdinaryOrder& o = call.order;
    EXPECT_EQ(std::make_tuple(
                  call.summary(), std::string(o.m_strAccountID), std::string(o.m_strMarket),
                  std::string(o.m_strInstrument), o.m_dPrice, o.m_dSuperPriceRate, o.m_nVolume,
                  std::string(o.m_strRemark), o.m_eOperationType, o.m_ePriceType, o.m_eHedgeFlag),
              std::make_tuple("placeOrder  " + std::to_string(requestId), "A9", "SHFE", "rb2410",
                              3650.0, 0.0, 2, "", r.operation, r.vendorPriceType, 49));
    EXPECT_TRUE(identity().newOrderBook->contains(requestId));
  }
  // Texts are cut to 31 bytes, only the volume's low 32 bits travel, and an
  // unknown exchange number sends an empty exchange code.
  gBaseInformationMap->exchangeCodes[77] = ExchangeCodeEntry{std::string(40, 'E'), "long"};
  vendor.deliver([](xti::XtTraderApiCallback& cb) {
    cb.onAccountStatus(("0" + std::string(39, 'K')).c_str(), 0, 1);
  });
  request.codeId.code = std::string(40, 'I');
  request.quantity = (int64_t{1} << 32) + 1;
  for (const int32_t exchange : {77, 1234}) {
    request.codeId.exchange = exchange;
    ASSERT_EQ(session->sendOrder(exchange, request).code, 0);
    const xti::COrdinaryOrder o = vendor.calls().back().order;
    EXPECT_EQ(std::make_tuple(std::string(o.m_strAccountID), std::string(o.m_strInstrument),
                              std::string(o.m_strMarket), o.m_nVolume),
              std::make_tuple("0" + std::string(30, 'K'), std::string(31, 'I'),
                              exchange == 77 ? std::string(31, 'E') : "", 1));
  }
  gBaseInformationMap->exchangeCodes.erase(77);
}

// Cancels file a copy, then go by exchange order id when the request has
// one, else by the vendor order number read from the serial like std::stol.
TEST_F(SessionTest, CancelsGoByExchangeIdOrBySerial) {
  connect();
  const struct {
    const char *serial, *exchangeOrderId;
    int32_t exchange;
    const char *account, *sent;  // the account logged in before; the vendor call
  } rows[] = {{"1300", "", 3, "", "cancelOrderById  1300,1"},
              {" 42abc", "", 3, "", "cancelOrderById  42,2"},
              {"", "", 3, "", "cancelOrderById  -1,3"},
              {"abc", "", 3, "", "cancelOrderById  -1,4"},
              {"99999999999", "", 3, "", "cancelOrderById  -1,5"},
              {"1300", "EX77", 6, "", "cancelOrderByExchangeId ,EX77,CFFEX,IF2409, 6"},
              {"1300", "EX77", 555, "A001", "cancelOrderByExchangeId A001,EX77,,IF2409, 7"}};
  int requestId = 0;
  for (const auto& r : rows) {
    if (*r.account != '\0') receiver().onAccountStatus(r.account, 0, 1);
    AccountOrderCancelRequest request;
    request.clientId = ClientId{"p", r.serial};
    request.exchangeOrderId = r.exchangeOrderId;
    request.codeId.exchange = r.exchange;
    request.codeId.code = "IF2409";
    ASSERT_EQ(session->cancelOrder(++requestId, request).code, 0);
    EXPECT_EQ(vendor.calls().back().summary(), r.sent);
    EXPECT_TRUE(identity().cancelBook->contains(requestId));
  }
}

// Every row of the failure tables of orders, cancels and queries, and a
// success row for each request: which exceptions become -1 with their text,
// which pass to the host, what is sent and what stays filed. The vendor
// throws standard exceptions that are not runtime_errors and one that is no
// std::exception; allocations fail where the rules name them (a long account
// key makes the account lookup allocate, a short one does not).
TEST_F(SessionTest, EveryRowOfTheRequestFailureTables) {
  struct VendorFault {};
  // A request and the vendor call it makes (with account A001).
  using Request = std::pair<std::function<ResultStatus(TradeSessionXT&)>, std::string>;
  AccountOrderCancelRequest byExchange;
  byExchange.exchangeOrderId = "EX1";
  const Request order = {[](TradeSessionXT& s) { return s.sendOrder(7, {}); }, "placeOrder  7"};
  const Request byId = {[](TradeSessionXT& s) { return s.cancelOrder(8, {}); },
                        "cancelOrderById  -1,8"};
  const Request byExchangeId = {[&](TradeSessionXT& s) { return s.cancelOrder(8, byExchange); },
                                "cancelOrderByExchangeId A001,EX1,,, 8"};
  const Request queries[] = {
      {[](TradeSessionXT& s) { return s.reqQryTradingAccount(-1); }, "queryAccountDetail A001, -1"},
      {[](TradeSessionXT& s) { return s.reqQryPosition(-1); }, "queryPosition A001, -1"},
      {[](TradeSessionXT& s) { return s.reqQryPositionDetail(-1, {}); },
       "queryPositionDetail A001, -1"},
      {[](TradeSessionXT& s) { return s.reqQryOrder(-1); }, "queryOrderDetail A001, -1"},
      {[](TradeSessionXT& s) { return s.reqQryFill(-1); }, "queryDealDetail A001, -1"}};
  const std::function<void()> logicError = [] { throw std::out_of_range("range"); };
  const std::function<void()> badAlloc = [] { throw std::bad_alloc(); };
  const std::function<void()> systemError = [] {
    throw std::system_error(std::make_error_code(std::errc::io_error), "io");
  };
  const std::function<void()> foreign = [] { throw VendorFault{}; };
  const std::string allocText = std::bad_alloc().what();
  const std::string ioText =
      std::system_error(std::make_error_code(std::errc::io_error), "io").what();
  struct Row {
    Request request;
    std::function<void()> vendorThrows;
    int failAllocation;  // the n-th allocation of the request fails
    bool longAccount;
    std::string outcome;  // the answer's code and message, or what passes to the host
    const char* filed;    // R: client id in the registry, O: order copy, C: cancel copy
  };
  std::vector<Row> rows = {
      {order, nullptr, 0, false, "0 ", "RO"},
      {order, logicError, 0, false, "-1 range", "RO"},
      {order, badAlloc, 0, false, "-1 " + allocText, "RO"},
      {order, foreign, 0, false, "passes foreign", "RO"},
      {order, nullptr, 1, true, "passes bad_alloc", ""},    // the account lookup
      {order, nullptr, 1, false, "passes bad_alloc", ""},   // the registry
      {order, nullptr, 2, false, "passes bad_alloc", "R"},  // the book
      {byId, nullptr, 0, false, "0 ", "C"},
      {byId, systemError, 0, false, "-1 " + ioText, "C"},
      {byId, foreign, 0, false, "passes foreign", "C"},
      {byId, nullptr, 1, false, "passes bad_alloc", ""},  // the book
      {byExchangeId, nullptr, 0, false, "0 ", "C"},
      {byExchangeId, logicError, 0, false, "-1 range", "C"},
      {byExchangeId, foreign, 0, false, "passes foreign", "C"},
      {byExchangeId, nullptr, 2, true, "-1 " + allocText, "C"},  // the account lookup
      {queries[0], nullptr, 1, true, "-1 " + allocText, ""}};    // the account lookup
  for (std::size_t q = 0; q < std::size(queries); ++q) {
    rows.push_back({queries[q], nullptr, 0, false, "0 ", ""});
    rows.push_back({queries[q], logicError, 0, false, "-1 range", ""});
    rows.push_back({queries[q], badAlloc, 0, false, "-1 " + allocText, ""});
    rows.push_back({queries[q], foreign, 0, false, "passes foreign", ""});
    if (q > 0) rows.push_back({queries[q], nullptr, 1, true, "passes bad_alloc", ""});
  }
  const std::string longKey = "ACCOUNT-KEY-LONGER-THAN-ANY-SHORT-TEXT";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    SCOPED_TRACE("row " + std::to_string(i));
    renew(&host);
    connectWithAccount(row.longAccount ? longKey.c_str() : "A001");
    vendor.setResponder([&row](const VendorCall&) {
      if (row.vendorThrows) row.vendorThrows();
    });
    const std::size_t sent = vendor.calls().size();
    std::string outcome;
    tFailAllocation = row.failAllocation;
    try {
      const ResultStatus status = row.request.first(*session);
      outcome = std::to_string(status.code) + " " + status.message;
    } catch (const std::bad_alloc&) {
      outcome = "passes bad_alloc";
    } catch (const VendorFault&) {
      outcome = "passes foreign";
    }
    tFailAllocation = 0;
    vendor.setResponder(nullptr);
    EXPECT_EQ(outcome, row.outcome);
    std::string filed = identity().registry->update(7, 70) ? "R" : "";
    if (identity().newOrderBook->contains(7)) filed += "O";
    if (identity().cancelBook->contains(8)) filed += "C";
    EXPECT_EQ(filed, row.filed);
    const bool reachedVendor = row.vendorThrows || row.failAllocation == 0;
    EXPECT_EQ(summaries(vendor.calls(), sent), reachedVendor ? row.request.second : "");
  }
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
