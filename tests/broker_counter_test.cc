// The simulated counter's trading rules, driven through its XtTraderApi
// object in synchronous mode (answers arrive inside each call, so every test
// reads the answers right after the call): login, order validation, fills,
// the price band, resting orders and the market steps, cancels, funds and
// positions, queries, and determinism.
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/broker_recorder.h"

namespace xti {
namespace sim {
namespace testing {
namespace {

const char kSync[] = "synchronous = true";

std::string orderText(const Recorded& e) { return kestrel::fieldText(e.order.m_strErrorMsg); }

TEST(BrokerLoginTest, CredentialsDecideAndEachAccountIsAnnounced) {
  Session s(kSync);
  s.connect();
  s.recorder.clear();
  s.api->userLogin("demo", "wrong", 7, nullptr, nullptr, nullptr);
  s.api->userLogin("nobody", "demo123", 8, nullptr, nullptr, nullptr);
  s.api->queryAccountDetail("88001234", 9, "");
  s.api->userLogin("demo", "demo123", 10, nullptr, nullptr, nullptr);
  s.api->userLogin("stock", "stock123", 11, nullptr, nullptr, nullptr);

  const std::vector<Recorded> e = s.recorder.events();
  ASSERT_EQ(s.recorder.kinds(), (std::vector<std::string>{"login", "login", "funds", "login",
                                                          "accountStatus", "login", "accountStatus"}));
  for (int i : {0, 1}) {
    SCOPED_TRACE(i);
    EXPECT_FALSE(e[i].success);
    EXPECT_NE(e[i].errorId, 0);
    EXPECT_EQ(e[i].text, "用户名或密码错误");
  }
  EXPECT_EQ(e[0].requestId, 7);
  EXPECT_EQ(e[2].text, "资金账号未登录");
  EXPECT_FALSE(e[2].hasRecord);
  EXPECT_TRUE(e[2].isLast);
  EXPECT_TRUE(e[3].success);
  EXPECT_EQ(e[3].requestId, 10);
  EXPECT_EQ(e[3].account, "demo");
  EXPECT_EQ(e[4].account, "88001234");
  EXPECT_EQ(e[4].number, 1);
  EXPECT_EQ(e[4].status, 1);
  EXPECT_EQ(e[6].account, "10001234");
  EXPECT_EQ(e[6].number, 2);
}

TEST(BrokerLoginTest, LogoutEndsTheAccountsOfThisConnection) {
  Session s(kSync);
  s.connectAndLogin();
  s.api->userLogout("stock", "stock123", 2);
  s.api->userLogout("demo", "demo123", 3);
  s.api->queryPosition("88001234", 4, "");
  const std::vector<Recorded> e = s.recorder.events();
  ASSERT_EQ(e.size(), 3u);
  EXPECT_EQ(e[0].kind, "logout");
  EXPECT_FALSE(e[0].success);
  EXPECT_EQ(e[0].text, "用户未登录");
  EXPECT_TRUE(e[1].success);
  EXPECT_EQ(e[1].requestId, 3);
  EXPECT_EQ(e[2].text, "资金账号未登录");
}

TEST(BrokerConnectionTest, RequestsBeforeInitAndOnAnUnreachableAddressAreRefused) {
  Session before(kSync);
  before.api->userLogin("demo", "demo123", 1, nullptr, nullptr, nullptr);
  ASSERT_TRUE(before.recorder.waitFor(1));
  EXPECT_EQ(before.recorder.events()[0].text, "未连接到柜台");

  Session unreachable(kSync, "unreachable.invalid:7001");
  unreachable.api->init(unreachable.file.path().c_str());
  unreachable.api->userLogin("demo", "demo123", 1, nullptr, nullptr, nullptr);
  const std::vector<Recorded> e = unreachable.recorder.events();
  ASSERT_EQ(e.size(), 2u);
  EXPECT_FALSE(e[0].success);
  EXPECT_NE(e[0].text.find("unreachable.invalid:7001"), std::string::npos) << e[0].text;
  EXPECT_FALSE(e[1].success);
}

TEST(BrokerOrderTest, ValidationFailuresAnswerWithReasonAndErrorPush) {
  struct Case {
    const char* name;
    COrdinaryOrder order;
    const char* text;
  };
  auto with = [](COrdinaryOrder o, void (*change)(COrdinaryOrder&)) {
    change(o);
    return o;
  };
  const COrdinaryOrder good = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650);
  const Case cases[] = {
      {"unknown account", makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650, PRTP_LIMIT, "99"),
       "资金账号不存在"},
      {"account not logged in",
       makeOrder("600000", "SH", OPT_OPEN_LONG, 100, 7.5, PRTP_LIMIT, "10001234"), "资金账号未登录"},
      {"unknown instrument", makeOrder("zz9999", "SHFE", OPT_OPEN_LONG, 1, 10), "合约代码不存在"},
      {"exchange of another", makeOrder("rb2410", "DCE", OPT_OPEN_LONG, 1, 3650), "交易所代码与合约不符"},
      {"instrument without NUL",
       with(good, [](COrdinaryOrder& o) { std::memset(o.m_strInstrument, 'r', sizeof(o.m_strInstrument)); }),
       "合约代码不存在"},
      {"operation 6", with(good, [](COrdinaryOrder& o) { o.m_eOperationType = 6; }), "不支持的开平方向"},
      {"operation -1", with(good, [](COrdinaryOrder& o) { o.m_eOperationType = -1; }), "不支持的开平方向"},
      {"price type 13", with(good, [](COrdinaryOrder& o) { o.m_ePriceType = 13; }), "不支持的报价类型"},
      {"hedge '3'", with(good, [](COrdinaryOrder& o) { o.m_eHedgeFlag = '3'; }), "只支持投机委托"},
      {"volume 0", with(good, [](COrdinaryOrder& o) { o.m_nVolume = 0; }), "委托数量必须大于0"},
      {"volume -5", with(good, [](COrdinaryOrder& o) { o.m_nVolume = -5; }), "委托数量必须大于0"},
      {"volume 2e9", with(good, [](COrdinaryOrder& o) { o.m_nVolume = 2000000000; }), "委托数量超过上限"},
      {"limit price 0", with(good, [](COrdinaryOrder& o) { o.m_dPrice = 0; }), "委托价格必须大于0"},
      {"limit price -1", with(good, [](COrdinaryOrder& o) { o.m_dPrice = -1; }), "委托价格必须大于0"},
      {"limit price NaN",
       with(good, [](COrdinaryOrder& o) { o.m_dPrice = std::numeric_limits<double>::quiet_NaN(); }),
       "委托价格必须大于0"},
      {"limit price inf",
       with(good, [](COrdinaryOrder& o) { o.m_dPrice = std::numeric_limits<double>::infinity(); }),
       "委托价格必须大于0"},
      {"margin beyond the cash", makeOrder("IF2409", "CFFEX", OPT_OPEN_SHORT, 100, 3400), "可用资金不足"},
      {"absurd price", makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 1e300), "可用资金不足"},
      {"close long without one", makeOrder("rb2410", "SHFE", OPT_CLOSE_LONG_HISTORY, 1, 3650),
       "可平仓位不足"},
      {"close more than held", makeOrder("m2409", "DCE", OPT_CLOSE_LONG_HISTORY, 5, 3200), "可平仓位不足"},
      {"close today without today's", makeOrder("rb2410", "SHFE", OPT_CLOSE_SHORT_TODAY, 1, 3650),
       "可平仓位不足"},
  };
  Session s(kSync);
  s.connectAndLogin();
  int requestId = 100;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    s.recorder.clear();
    s.api->placeOrder(&c.order, ++requestId, "");
    const std::vector<Recorded> e = s.recorder.events();
    ASSERT_EQ(s.recorder.kinds(), (std::vector<std::string>{"orderReply", "orderError"}));
    EXPECT_EQ(e[0].requestId, requestId);
    EXPECT_EQ(e[0].orderId, 0);
    EXPECT_FALSE(e[0].success);
    EXPECT_NE(e[0].errorId, 0);
    EXPECT_EQ(e[0].text, c.text);
    EXPECT_EQ(e[1].requestId, requestId);
    EXPECT_EQ(e[1].errorId, e[0].errorId);
    EXPECT_EQ(e[1].text, c.text);
  }
  s.recorder.clear();
  s.api->placeOrder(nullptr, 1, "");
  ASSERT_EQ(s.recorder.size(), 2u);
  EXPECT_EQ(s.recorder.events()[0].text, "委托为空");

  // None of the refused orders took an id: the next good one is order 1.
  s.recorder.clear();
  s.api->placeOrder(&good, 2, "");
  EXPECT_EQ(s.recorder.events()[0].orderId, 1);
}

TEST(BrokerOrderTest, StockRulesAndErrorPushSwitch) {
  Session s("synchronous = true\nerror_push = false");
  s.connect();
  s.api->userLogin("stock", "stock123", 1, nullptr, nullptr, nullptr);
  s.recorder.clear();
  const COrdinaryOrder shortSale = makeOrder("600000", "SH", OPT_OPEN_SHORT, 100, 7.5, PRTP_LIMIT, "10001234");
  const COrdinaryOrder sellToday = makeOrder("600000", "SH", OPT_CLOSE_LONG_TODAY, 100, 7.5, PRTP_LIMIT, "10001234");
  const COrdinaryOrder sellOlder = makeOrder("600000", "SH", OPT_CLOSE_LONG_HISTORY, 1000, 7.5, PRTP_LIMIT, "10001234");
  s.api->placeOrder(&shortSale, 2, "");
  s.api->placeOrder(&sellToday, 3, "");
  s.api->placeOrder(&sellOlder, 4, "");
  const std::vector<Recorded> e = s.recorder.events();
  ASSERT_GE(e.size(), 3u);
  EXPECT_EQ(e[0].text, "股票不能卖空");
  EXPECT_EQ(e[1].text, "股票当日买入不能当日卖出");
  EXPECT_EQ(e[1].kind, "orderReply");  // no error push with the switch off
  EXPECT_EQ(e[2].kind, "orderReply");
  EXPECT_TRUE(e[2].success);
  EXPECT_EQ(s.recorder.eventsOf("deal").size(), 1u);
}

TEST(BrokerOrderTest, MarketableOrderFillsAtTheReferenceWithFullRecords) {
  Session s(kSync);
  s.connectAndLogin();
  const COrdinaryOrder order = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 2, 3660);
  s.api->placeOrder(&order, 41, "");
  ASSERT_EQ(s.recorder.kinds(), (std::vector<std::string>{"orderReply", "order", "order", "deal"}));
  const std::vector<Recorded> e = s.recorder.events();
  EXPECT_TRUE(e[0].success);
  EXPECT_EQ(e[0].orderId, 1);

  const VendorOrder& accepted = e[1].order;
  EXPECT_EQ(accepted.m_nOrderStatus, ORDER_NO_TRADE_QUEUEING_CHAR);
  EXPECT_EQ(accepted.m_nOrderSubmitStatus, SUBMIT_ACCEPTED_CHAR);
  EXPECT_EQ(kestrel::fieldText(accepted.m_strOrderSysID), "000000000001");
  EXPECT_EQ(orderText(e[1]), "已报");
  EXPECT_EQ(kestrel::fieldText(accepted.m_strInsertDate), "20240603");
  EXPECT_EQ(kestrel::fieldText(accepted.m_strInsertTime), "09:30:15");
  EXPECT_EQ(accepted.m_nVolumeTotalOriginal, 2);
  EXPECT_EQ(accepted.m_nVolumeTraded, 0);
  EXPECT_DOUBLE_EQ(accepted.m_dLimitPrice, 3660);
  EXPECT_EQ(accepted.m_nOrderID, 1);
  EXPECT_EQ(accepted.m_nDirection, DIRECTION_BUY_CHAR);
  EXPECT_EQ(accepted.m_nOffsetFlag, OFFSET_OPEN_CHAR);
  EXPECT_EQ(accepted.m_nHedgeFlag, HEDGE_SPECULATION_CHAR);
  EXPECT_EQ(accepted.m_nPriceType, PRICE_LIMIT_CHAR);
  EXPECT_EQ(kestrel::fieldText(accepted.m_strExchangeID), "SHFE");
  EXPECT_EQ(kestrel::fieldText(accepted.m_strInstrumentID), "rb2410");
  EXPECT_EQ(kestrel::fieldText(accepted.m_strAccountID), "88001234");

  const VendorOrder& filled = e[2].order;
  EXPECT_EQ(filled.m_nOrderStatus, ORDER_ALL_TRADED_CHAR);
  EXPECT_EQ(filled.m_nOrderSubmitStatus, SUBMIT_ALL_FILLED_CHAR);
  EXPECT_EQ(orderText(e[2]), "全部成交");
  EXPECT_EQ(filled.m_nVolumeTraded, 2);
  EXPECT_DOUBLE_EQ(filled.m_dAveragePrice, 3650);
  EXPECT_DOUBLE_EQ(filled.m_dTradeAmount, 3650 * 2 * 10);

  const VendorDeal& deal = e[3].deal;
  EXPECT_EQ(kestrel::fieldText(deal.m_strTradeID), "T00000001");
  EXPECT_EQ(kestrel::fieldText(deal.m_strOrderSysID), "000000000001");
  EXPECT_EQ(deal.m_nOrderID, 1);
  EXPECT_DOUBLE_EQ(deal.m_dPrice, 3650);
  EXPECT_EQ(deal.m_nVolume, 2);
  EXPECT_EQ(kestrel::fieldText(deal.m_strTradeDate), "20240603");
  EXPECT_EQ(kestrel::fieldText(deal.m_strTradeTime), "09:30:15");
  EXPECT_EQ(deal.m_nDirection, DIRECTION_BUY_CHAR);
  EXPECT_EQ(deal.m_nOffsetFlag, OFFSET_OPEN_CHAR);
  EXPECT_EQ(deal.m_nHedgeFlag, HEDGE_SPECULATION_CHAR);
  EXPECT_EQ(deal.m_nPriceType, PRICE_LIMIT_CHAR);
  EXPECT_DOUBLE_EQ(deal.m_dCommission, 3650 * 2 * 10 * 0.0001);
}

TEST(BrokerOrderTest, CharacterCodesFollowTheOperation) {
  struct Case {
    const char* instrument;
    const char* exchange;
    int operation;
    int direction;
    int offset;
  };
  // The configured positions: m2409 long 4 (DCE), rb2410 short 3 (SHFE).
  const Case cases[] = {
      {"rb2410", "SHFE", OPT_OPEN_LONG, DIRECTION_BUY_CHAR, OFFSET_OPEN_CHAR},
      {"rb2410", "SHFE", OPT_OPEN_SHORT, DIRECTION_SELL_CHAR, OFFSET_OPEN_CHAR},
      {"rb2410", "SHFE", OPT_CLOSE_SHORT_HISTORY, DIRECTION_BUY_CHAR, OFFSET_CLOSE_YESTERDAY_CHAR},
      {"rb2410", "SHFE", OPT_CLOSE_SHORT_TODAY, DIRECTION_BUY_CHAR, OFFSET_CLOSE_TODAY_CHAR},
      {"rb2410", "SHFE", OPT_CLOSE_LONG_TODAY, DIRECTION_SELL_CHAR, OFFSET_CLOSE_TODAY_CHAR},
      {"m2409", "DCE", OPT_CLOSE_LONG_HISTORY, DIRECTION_SELL_CHAR, OFFSET_CLOSE_CHAR},
  };
  Session s(kSync);
  s.connectAndLogin();
  int requestId = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.operation);
    s.recorder.clear();
    const COrdinaryOrder order = makeOrder(c.instrument, c.exchange, c.operation, 1, 0, PRTP_MARKET);
    s.api->placeOrder(&order, ++requestId, "");
    const std::vector<Recorded> deals = s.recorder.eventsOf("deal");
    ASSERT_EQ(deals.size(), 1u);
    EXPECT_EQ(deals[0].deal.m_nDirection, c.direction);
    EXPECT_EQ(deals[0].deal.m_nOffsetFlag, c.offset);
    EXPECT_EQ(deals[0].deal.m_nPriceType, PRICE_MARKET_CHAR);
  }
}

TEST(BrokerOrderTest, PartialModeFillsInSlices) {
  Session s("synchronous = true\nfill_mode = partial\nfill_slices = 3");
  s.connectAndLogin();
  const COrdinaryOrder seven = makeOrder("m2409", "DCE", OPT_OPEN_SHORT, 7, 3190);
  s.api->placeOrder(&seven, 1, "");
  std::vector<Recorded> orders = s.recorder.eventsOf("order");
  std::vector<Recorded> deals = s.recorder.eventsOf("deal");
  ASSERT_EQ(orders.size(), 4u);
  ASSERT_EQ(deals.size(), 3u);
  const int traded[] = {0, 3, 5, 7};
  const int status[] = {'3', '1', '1', '0'};
  const int submit[] = {'3', '5', '5', '6'};
  for (int i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(orders[i].order.m_nVolumeTraded, traded[i]);
    EXPECT_EQ(orders[i].order.m_nOrderStatus, status[i]);
    EXPECT_EQ(orders[i].order.m_nOrderSubmitStatus, submit[i]);
  }
  EXPECT_EQ(orderText(orders[1]), "部分成交");
  EXPECT_EQ(deals[0].deal.m_nVolume, 3);
  EXPECT_EQ(deals[1].deal.m_nVolume, 2);
  EXPECT_EQ(deals[2].deal.m_nVolume, 2);
  EXPECT_NE(kestrel::fieldText(deals[0].deal.m_strTradeID), kestrel::fieldText(deals[1].deal.m_strTradeID));

  // Fewer lots than slices: one lot per fill.
  s.recorder.clear();
  const COrdinaryOrder two = makeOrder("m2409", "DCE", OPT_OPEN_SHORT, 2, 3190);
  s.api->placeOrder(&two, 2, "");
  EXPECT_EQ(s.recorder.eventsOf("deal").size(), 2u);
}

TEST(BrokerOrderTest, PriceOutsideTheBandIsRejectedByTheExchange) {
  Session s(kSync);
  s.connectAndLogin();
  // rb2410: 3650 +-7% is 3394.5 .. 3905.5.
  const COrdinaryOrder high = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3906);
  const COrdinaryOrder edge = makeOrder("rb2410", "SHFE", OPT_OPEN_SHORT, 1, 3905);
  s.api->placeOrder(&high, 1, "");
  s.api->placeOrder(&edge, 2, "");
  const std::vector<Recorded> e = s.recorder.events();
  ASSERT_EQ(s.recorder.kinds(), (std::vector<std::string>{"orderReply", "order", "orderReply", "order"}));
  EXPECT_TRUE(e[0].success);
  EXPECT_EQ(e[0].orderId, 1);
  EXPECT_EQ(e[1].order.m_nOrderStatus, ORDER_REJECTED_CHAR);
  EXPECT_EQ(orderText(e[1]), "价格超出涨跌停板范围");
  EXPECT_EQ(kestrel::fieldText(e[1].order.m_strOrderSysID), "");
  EXPECT_EQ(e[3].order.m_nOrderStatus, ORDER_NO_TRADE_QUEUEING_CHAR);  // rests: 3905 > 3650 to sell
  // The rejected order took an id but no exchange order id.
  EXPECT_EQ(e[2].orderId, 2);
  EXPECT_EQ(kestrel::fieldText(e[3].order.m_strOrderSysID), "000000000001");
}

TEST(BrokerOrderTest, RestingOrdersFillWhenThePriceCrossesThem) {
  Session s(kSync);
  s.connectAndLogin();
  const COrdinaryOrder buy = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3640);
  const COrdinaryOrder sell = makeOrder("IF2409", "CFFEX", OPT_OPEN_SHORT, 1, 3410);
  s.api->placeOrder(&buy, 1, "");
  s.api->placeOrder(&sell, 2, "");
  EXPECT_TRUE(s.recorder.eventsOf("deal").empty());

  EXPECT_TRUE(s.api->setReferencePrice("rb2410", 3641));
  EXPECT_TRUE(s.recorder.eventsOf("deal").empty());
  EXPECT_TRUE(s.api->setReferencePrice("rb2410", 3630));  // through the buy: fills at its limit
  EXPECT_TRUE(s.api->setReferencePrice("IF2409", 3410));
  const std::vector<Recorded> deals = s.recorder.eventsOf("deal");
  ASSERT_EQ(deals.size(), 2u);
  EXPECT_EQ(deals[0].orderId, 1);
  EXPECT_DOUBLE_EQ(deals[0].deal.m_dPrice, 3640);
  EXPECT_EQ(deals[1].orderId, 2);
  EXPECT_DOUBLE_EQ(deals[1].deal.m_dPrice, 3410);
  EXPECT_FALSE(s.api->setReferencePrice("zz", 1));
  EXPECT_FALSE(s.api->setReferencePrice("rb2410", -1));
}

TEST(BrokerOrderTest, FillModeNoneRestsLimitsAndCancelsMarketOrders) {
  Session s("synchronous = true\nfill_mode = none");
  s.connectAndLogin();
  const COrdinaryOrder market = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 0, PRTP_MARKET);
  const COrdinaryOrder limit = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3700);
  s.api->placeOrder(&market, 1, "");
  s.api->placeOrder(&limit, 2, "");
  s.api->setReferencePrice("rb2410", 3600);
  const std::vector<Recorded> orders = s.recorder.eventsOf("order");
  ASSERT_EQ(orders.size(), 3u);
  EXPECT_EQ(orders[1].order.m_nOrderStatus, ORDER_CANCELED_CHAR);
  EXPECT_EQ(orders[1].orderId, 1);
  EXPECT_EQ(orders[2].order.m_nOrderStatus, ORDER_NO_TRADE_QUEUEING_CHAR);
  EXPECT_TRUE(s.recorder.eventsOf("deal").empty());
}

TEST(BrokerOrderTest, PriceWalkIsReproducibleAndStaysInTheBand) {
  auto run = [](const std::string& seed) {
    Session s("synchronous = true\nprice_walk_ticks = 40\nprice_walk_seed = " + seed);
    s.connectAndLogin();
    const COrdinaryOrder open = makeOrder("m2409", "DCE", OPT_OPEN_LONG, 1, 0, PRTP_MARKET);
    s.api->placeOrder(&open, 1, "");
    std::vector<double> prices;
    for (int step = 0; step < 200; ++step) {
      s.recorder.clear();
      s.api->stepPriceWalk();
      s.api->queryPosition("88001234", 2, "");
      const Recorded m2409 = s.recorder.eventsOf("positions").front();
      prices.push_back(m2409.position.m_dLastPrice);
    }
    return prices;
  };
  const std::vector<double> first = run("9");
  EXPECT_EQ(first, run("9"));
  EXPECT_NE(first, run("10"));
  bool moved = false;
  for (double price : first) {
    ASSERT_GE(price, 3200 * 0.94 - 1e-6);
    ASSERT_LE(price, 3200 * 1.06 + 1e-6);
    EXPECT_NEAR(price, std::round(price), 1e-6);  // tick 1
    moved = moved || price != 3200;
  }
  EXPECT_TRUE(moved);
}

TEST(BrokerCancelTest, RestingOrdersCancelOthersAnswerWhyNot) {
  Session s(kSync);
  s.connectAndLogin();
  const COrdinaryOrder resting = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3600);
  const COrdinaryOrder filled = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3700);
  const COrdinaryOrder second = makeOrder("m2409", "DCE", OPT_OPEN_LONG, 1, 3100);
  s.api->placeOrder(&resting, 1, "");  // order 1, exchange id ...01
  s.api->placeOrder(&filled, 2, "");   // order 2, fills
  s.api->placeOrder(&second, 3, "");   // order 3, exchange id ...03
  s.recorder.clear();

  s.api->cancelOrderById(1, 10);
  s.api->cancelOrderById(1, 11);
  s.api->cancelOrderById(2, 12);
  s.api->cancelOrderById(99, 13);
  s.api->cancelOrderByExchangeId("88001234", "000000000003", "DCE", "m2409", 14, "");
  s.api->cancelOrderByExchangeId("88001234", "000000000003", "DCE", "m2409", 15, "");
  s.api->cancelOrderByExchangeId("10001234", "000000000001", "SHFE", "rb2410", 16, "");
  ASSERT_EQ(s.recorder.kinds(),
            (std::vector<std::string>{"cancelReply", "order", "cancelReply", "cancelError",
                                      "cancelReply", "cancelError", "cancelReply", "cancelError",
                                      "cancelReply2", "order", "cancelReply2", "cancelError",
                                      "cancelReply2", "cancelError"}));
  const std::vector<Recorded> e = s.recorder.events();
  EXPECT_TRUE(e[0].success);
  EXPECT_EQ(e[1].order.m_nOrderStatus, ORDER_CANCELED_CHAR);
  EXPECT_EQ(orderText(e[1]), "已撤单");
  EXPECT_EQ(kestrel::fieldText(e[1].order.m_strOrderSysID), "000000000001");
  struct Failure {
    std::size_t index;
    int requestId;
    const char* text;
  };
  const Failure failures[] = {{2, 11, "委托已撤单，不能重复撤单"},
                              {4, 12, "委托已全部成交，不能撤单"},
                              {6, 13, "委托不存在"},
                              {10, 15, "委托已撤单，不能重复撤单"},
                              {12, 16, "资金账号未登录"}};
  for (const Failure& f : failures) {
    SCOPED_TRACE(f.requestId);
    EXPECT_FALSE(e[f.index].success);
    EXPECT_EQ(e[f.index].requestId, f.requestId);
    EXPECT_EQ(e[f.index].text, f.text);
    EXPECT_EQ(e[f.index + 1].requestId, f.requestId);
    EXPECT_EQ(e[f.index + 1].text, f.text);
    EXPECT_EQ(e[f.index + 1].error.m_nCancelFlag, 1);
  }
  EXPECT_TRUE(e[8].success);
  EXPECT_EQ(e[9].orderId, 3);
}

double fundsField(Session& s, double VendorAccountDetail::*field) {
  s.recorder.clear();
  s.api->queryAccountDetail("88001234", 77, "");
  const std::vector<Recorded> funds = s.recorder.eventsOf("funds");
  EXPECT_EQ(funds.size(), 1u);
  return funds.empty() ? 0 : funds[0].funds.*field;
}

TEST(BrokerFundsTest, OpenMarkAndCloseMoveTheFunds) {
  Session s(kSync);
  s.connectAndLogin();
  // Start: rb2410 short 3 @3700 and m2409 long 4 @3100, both older.
  const double startMargin = 3700 * 3 * 10 * 0.1 + 3100 * 4 * 10 * 0.08;
  const double startFloat = (3700 - 3650) * 3 * 10 + (3200 - 3100) * 4 * 10;
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dCurrMargin), startMargin);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dPositionProfit), startFloat);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dAvailable), 1000000 + startFloat - startMargin);

  const COrdinaryOrder open = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 2, 0, PRTP_MARKET);
  s.api->placeOrder(&open, 1, "");  // 2 lots at 3650
  s.api->setReferencePrice("rb2410", 3700);
  const double openFee = 3650 * 2 * 10 * 0.0001;
  const double markedFloat = 0 + (3200 - 3100) * 4 * 10 + (3700 - 3650) * 2 * 10;
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dCommission), openFee);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dPositionProfit), markedFloat);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dCurrMargin), startMargin + 3650 * 2 * 10 * 0.1);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dBalance), 1000000 + markedFloat - openFee);

  // A resting opening order holds margin and commission.
  const COrdinaryOrder rest = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3600);
  s.api->placeOrder(&rest, 2, "");
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dFrozenMargin), 3600 * 10 * 0.1);
  EXPECT_NEAR(fundsField(s, &VendorAccountDetail::m_dFrozenCash), 3600 * 10 * (0.1 + 0.0001), 1e-6);
  s.api->cancelOrderById(2, 3);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dFrozenMargin), 0);

  const COrdinaryOrder close = makeOrder("rb2410", "SHFE", OPT_CLOSE_LONG_TODAY, 2, 3700);
  s.api->placeOrder(&close, 4, "");
  const double fees = openFee + 3700 * 2 * 10 * 0.0001;
  const double realised = (3700 - 3650) * 2 * 10;
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dCloseProfit), realised);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dCommission), fees);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dCurrMargin), startMargin);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dBalance),
                   1000000 + realised + (3700 - 3700) * 3 * 10 + (3200 - 3100) * 4 * 10 - fees);
  EXPECT_DOUBLE_EQ(fundsField(s, &VendorAccountDetail::m_dPreBalance), 1000000);

  s.recorder.clear();
  s.api->queryAccountDetail("88001234", 5, "");
  const Recorded funds = s.recorder.events().at(0);
  EXPECT_TRUE(funds.isLast);
  EXPECT_EQ(kestrel::fieldText(funds.funds.m_strTradingDay), "20240603");
}

TEST(BrokerPositionTest, PositionsAndDetailsShowAgesAndFrozenVolume) {
  Session s(kSync);
  s.connectAndLogin();
  const COrdinaryOrder open = makeOrder("m2409", "DCE", OPT_OPEN_LONG, 2, 0, PRTP_MARKET);
  const COrdinaryOrder closeResting = makeOrder("m2409", "DCE", OPT_CLOSE_LONG_HISTORY, 5, 3300);
  s.api->placeOrder(&open, 1, "");
  s.api->placeOrder(&closeResting, 2, "");  // holds the 4 older lots and 1 of today's
  s.recorder.clear();
  s.api->queryPosition("88001234", 3, "");
  s.api->queryPositionDetail("88001234", 4, "");

  const std::vector<Recorded> positions = s.recorder.eventsOf("positions");
  ASSERT_EQ(positions.size(), 3u);
  struct Row {
    const char* instrument;
    bool today;
    int volume;
    int direction;
  };
  const Row rows[] = {{"m2409", false, 4, DIRECTION_BUY_CHAR},
                      {"m2409", true, 2, DIRECTION_BUY_CHAR},
                      {"rb2410", false, 3, DIRECTION_SELL_CHAR}};
  for (std::size_t i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    const VendorPosition& p = positions[i].position;
    EXPECT_EQ(kestrel::fieldText(p.m_strInstrumentID), rows[i].instrument);
    EXPECT_EQ(p.m_bIsToday, rows[i].today);
    EXPECT_EQ(p.m_nPosition, rows[i].volume);
    EXPECT_EQ(p.m_nDirection, rows[i].direction);
    EXPECT_EQ(positions[i].isLast, i == 2);
  }

  const std::vector<Recorded> details = s.recorder.eventsOf("positionDetails");
  ASSERT_EQ(details.size(), 3u);
  const VendorPositionDetail& older = details[0].detail;
  EXPECT_EQ(older.m_nVolume, 0);
  EXPECT_EQ(older.m_nFrozenVolume, 4);
  EXPECT_FALSE(older.m_bIsToday);
  EXPECT_EQ(kestrel::fieldText(older.m_strOpenDate), "20240531");  // the Friday before
  EXPECT_EQ(kestrel::fieldText(older.m_strTradingDay), "20240603");
  EXPECT_EQ(kestrel::fieldText(older.m_strTradeID), "Y00000001");
  EXPECT_DOUBLE_EQ(older.m_dOpenPrice, 3100);
  EXPECT_DOUBLE_EQ(older.m_dOpenCost, 3100 * 4 * 10);
  const VendorPositionDetail& today = details[1].detail;
  EXPECT_EQ(today.m_nVolume, 1);
  EXPECT_EQ(today.m_nFrozenVolume, 1);
  EXPECT_TRUE(today.m_bIsToday);
  EXPECT_EQ(kestrel::fieldText(today.m_strOpenDate), "20240603");
  EXPECT_EQ(kestrel::fieldText(today.m_strTradeID), "T00000001");
  EXPECT_EQ(today.m_nDirection, DIRECTION_BUY_CHAR);
  EXPECT_EQ(details[2].detail.m_nDirection, DIRECTION_SELL_CHAR);
  EXPECT_TRUE(details[2].isLast);

  // The held volume cannot be closed twice; cancelling frees it; filling closes it.
  s.recorder.clear();
  const COrdinaryOrder closeMore = makeOrder("m2409", "DCE", OPT_CLOSE_LONG_TODAY, 2, 3200);
  s.api->placeOrder(&closeMore, 5, "");
  EXPECT_EQ(s.recorder.events().at(0).text, "可平仓位不足");
  s.api->cancelOrderById(2, 6);
  const COrdinaryOrder closeAll = makeOrder("m2409", "DCE", OPT_CLOSE_LONG_HISTORY, 6, 0, PRTP_MARKET);
  s.api->placeOrder(&closeAll, 7, "");
  s.recorder.clear();
  s.api->queryPositionDetail("88001234", 8, "");
  const std::vector<Recorded> left = s.recorder.eventsOf("positionDetails");
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(kestrel::fieldText(left[0].detail.m_strInstrumentID), "rb2410");
}

TEST(BrokerQueryTest, OrdersDealsAndEmptyAndUnknownAnswers) {
  Session s(kSync);
  s.connectAndLogin();
  s.api->userLogin("stock", "stock123", 2, nullptr, nullptr, nullptr);
  const COrdinaryOrder filled = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650);
  const COrdinaryOrder resting = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3600);
  s.api->placeOrder(&filled, 3, "");
  s.api->placeOrder(&resting, 4, "");
  s.recorder.clear();

  s.api->queryOrderDetail("88001234", 5, "");
  s.api->queryDealDetail("88001234", 6, "");
  s.api->queryDealDetail("10001234", 7, "");
  s.api->queryOrderDetail("77777777", 8, "");
  s.api->queryPositionDetail(nullptr, 9, nullptr);
  const std::vector<Recorded> e = s.recorder.events();
  ASSERT_EQ(s.recorder.kinds(),
            (std::vector<std::string>{"orders", "orders", "deals", "deals", "orders", "positionDetails"}));
  EXPECT_EQ(e[0].order.m_nOrderStatus, ORDER_ALL_TRADED_CHAR);
  EXPECT_FALSE(e[0].isLast);
  EXPECT_EQ(e[1].order.m_nOrderStatus, ORDER_NO_TRADE_QUEUEING_CHAR);
  EXPECT_TRUE(e[1].isLast);
  EXPECT_EQ(e[1].requestId, 5);
  EXPECT_EQ(e[2].deal.m_nOrderID, 1);
  EXPECT_TRUE(e[2].isLast);
  // No deals: one answer without a record.
  EXPECT_TRUE(e[3].success);
  EXPECT_FALSE(e[3].hasRecord);
  EXPECT_TRUE(e[3].isLast);
  EXPECT_EQ(e[3].account, "10001234");
  for (std::size_t i : {4u, 5u}) {
    SCOPED_TRACE(i);
    EXPECT_FALSE(e[i].success);
    EXPECT_FALSE(e[i].hasRecord);
    EXPECT_TRUE(e[i].isLast);
    EXPECT_EQ(e[i].text, "资金账号不存在");
  }
}

// The same requests give the same answers: every field that is not a
// timestamp, for a script that touches each kind of answer.
TEST(BrokerDeterminismTest, SameRequestsSameAnswers) {
  auto script = [] {
    Session s("fill_mode = partial\nfill_slices = 2");
    s.connect();
    s.api->userLogin("demo", "demo123", 1, nullptr, nullptr, nullptr);
    const COrdinaryOrder a = makeOrder("IF2409", "CFFEX", OPT_OPEN_LONG, 1, 3400.2);
    const COrdinaryOrder b = makeOrder("m2409", "DCE", OPT_CLOSE_LONG_HISTORY, 3, 3250);
    const COrdinaryOrder c = makeOrder("rb2410", "SHFE", OPT_CLOSE_SHORT_HISTORY, 3, 0, PRTP_MARKET);
    s.api->placeOrder(&a, 2, "");
    s.api->placeOrder(&b, 3, "");
    s.api->placeOrder(&c, 4, "");
    s.api->cancelOrderById(2, 5);
    s.api->queryPositionDetail("88001234", 6, "");
    s.api->queryAccountDetail("88001234", 7, "");
    s.api->queryDealDetail("88001234", 8, "");
    EXPECT_TRUE(s.recorder.waitFor(23));
    s.api->shutdown();
    std::ostringstream text;
    for (const Recorded& e : s.recorder.events()) {
      text << e.kind << ' ' << e.requestId << ' ' << e.orderId << ' ' << e.success << ' '
           << e.text << ' ' << e.isLast << ' ' << e.order.m_nOrderStatus << ' '
           << e.order.m_nVolumeTraded << ' ' << kestrel::fieldText(e.order.m_strOrderSysID) << ' '
           << kestrel::fieldText(e.deal.m_strTradeID) << ' ' << e.deal.m_dPrice << ' '
           << e.deal.m_nVolume << ' ' << e.detail.m_nVolume << ' ' << e.detail.m_nFrozenVolume
           << ' ' << e.funds.m_dAvailable << ' ' << e.funds.m_dCloseProfit << '\n';
    }
    return text.str();
  };
  const std::string first = script();
  EXPECT_EQ(first, script());
  EXPECT_NE(first.find("deal"), std::string::npos);
}

}  // namespace
}  // namespace testing
}  // namespace sim
}  // namespace xti
