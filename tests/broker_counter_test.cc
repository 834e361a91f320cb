// The simulated counter's trading rules, driven through its API object in
// synchronous mode (every answer has arrived when the call returns). The
// plug-in's end-to-end tests (integration_test, stress_counter_test) run the
// common paths; these pin the counter's texts, numbers and records.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "tests/broker_recorder.h"

namespace xti {
namespace sim {
namespace testing {
namespace {

using kestrel::fieldText;
const char kSync[] = "synchronous = true";

// A failed answer at e[index]; with `push`, the error push after it too.
void expectFailure(const std::vector<Recorded>& e, std::size_t index, int requestId,
                   const std::string& text, bool push = false) {
  SCOPED_TRACE(requestId);
  ASSERT_LT(index + push, e.size());
  EXPECT_FALSE(e[index].success);
  EXPECT_EQ(e[index].requestId, requestId);
  EXPECT_EQ(e[index].text, text);
  EXPECT_FALSE(e[index].hasRecord);
  if (!push) return;
  EXPECT_EQ(e[index + 1].requestId, requestId);
  EXPECT_EQ(e[index + 1].errorId, e[index].errorId);
  EXPECT_EQ(e[index + 1].text, text);
}

TEST(BrokerLoginTest, ConnectionCredentialsLogoutAndAnswersWithoutRecords) {
  Session s(kSync);
  s.login("demo", "demo123");  // before init
  ASSERT_TRUE(s.recorder.waitFor(1));
  expectFailure(s.recorder.events(), 0, 1, "未连接到柜台");
  s.recorder.clear();
  s.connect();
  s.recorder.clear();
  s.login("demo", "wrong", 7);
  s.login("nobody", "demo123", 8);
  s.login("demo", "demo123", 10);
  s.login("stock", "stock123", 11);
  s.api->queryDealDetail("10001234", 12, "");  // no deals: one answer without a record
  s.api->queryOrderDetail("77777777", 13, "");
  s.api->queryPositionDetail(nullptr, 14, nullptr);
  s.api->userLogout("demo", "demo123", 15);
  s.api->userLogout("demo", "demo123", 16);
  s.api->queryAccountDetail("88001234", 17, "");
  s.api->queryAccountDetail("10001234", 18, "");  // the other user's stays logged in
  const std::vector<Recorded> e = s.recorder.events();
  ASSERT_EQ(s.recorder.kinds(),
            (Kinds{"login", "login", "login", "accountStatus", "login", "accountStatus", "deals",
                   "orders", "positionDetails", "logout", "logout", "funds", "funds"}));
  expectFailure(e, 0, 7, "用户名或密码错误");
  expectFailure(e, 1, 8, "用户名或密码错误");
  EXPECT_TRUE(e[2].success);
  EXPECT_EQ(e[2].account, "demo");
  EXPECT_EQ(e[3].account + "/" + e[5].account, "88001234/10001234");
  EXPECT_EQ(std::make_pair(e[3].type, e[3].status), std::make_pair(1, 1));  // futures, in
  EXPECT_EQ(std::make_pair(e[5].type, e[5].status), std::make_pair(2, 1));  // stock, in
  EXPECT_TRUE(e[6].success && !e[6].hasRecord && e[6].isLast);
  EXPECT_EQ(e[6].account, "10001234");
  expectFailure(e, 7, 13, "资金账号不存在");
  expectFailure(e, 8, 14, "资金账号不存在");
  EXPECT_TRUE(e[7].isLast && e[8].isLast);
  EXPECT_TRUE(e[9].success);
  expectFailure(e, 10, 16, "用户未登录");
  expectFailure(e, 11, 17, "资金账号未登录");
  EXPECT_TRUE(e[11].isLast);
  EXPECT_TRUE(e[12].success && e[12].hasRecord);

  Session unreachable(kSync, "unreachable.invalid:7001");
  unreachable.connect();
  unreachable.login("demo", "demo123");
  const std::vector<Recorded> u = unreachable.recorder.events();
  ASSERT_EQ(u.size(), 2u);
  EXPECT_FALSE(u[0].success);
  EXPECT_NE(u[0].text.find("unreachable.invalid:7001"), std::string::npos) << u[0].text;
  expectFailure(u, 1, 1, "未连接到柜台");
}

TEST(BrokerOrderTest, ValidationFailuresAnswerWithReasonAndErrorPush) {
  const COrdinaryOrder good = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650);
  auto with = [&good](void (*change)(COrdinaryOrder&)) {
    COrdinaryOrder o = good;
    change(o);
    return o;
  };
  auto stock = [](int operation) {
    return makeOrder("600000", "SH", operation, 100, 7.5, PRTP_LIMIT, "10001234");
  };
  const std::pair<COrdinaryOrder, const char*> cases[] = {
      {makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3650, PRTP_LIMIT, "99"), "资金账号不存在"},
      {makeOrder("zz9999", "SHFE", OPT_OPEN_LONG, 1, 10), "合约代码不存在"},
      {makeOrder("rb2410", "DCE", OPT_OPEN_LONG, 1, 3650), "交易所代码与合约不符"},
      {with([](COrdinaryOrder& o) { std::memset(o.m_strInstrument, 'r', 32); }), "合约代码不存在"},
      {with([](COrdinaryOrder& o) { o.m_eOperationType = 6; }), "不支持的开平方向"},
      {with([](COrdinaryOrder& o) { o.m_eOperationType = -1; }), "不支持的开平方向"},
      {with([](COrdinaryOrder& o) { o.m_ePriceType = 13; }), "不支持的报价类型"},
      {with([](COrdinaryOrder& o) { o.m_eHedgeFlag = '3'; }), "只支持投机委托"},
      {with([](COrdinaryOrder& o) { o.m_nVolume = 0; }), "委托数量必须大于0"},
      {with([](COrdinaryOrder& o) { o.m_nVolume = -5; }), "委托数量必须大于0"},
      {with([](COrdinaryOrder& o) { o.m_nVolume = 2000000000; }), "委托数量超过上限"},
      {with([](COrdinaryOrder& o) { o.m_dPrice = 0; }), "委托价格必须大于0"},
      {with([](COrdinaryOrder& o) { o.m_dPrice = -1; }), "委托价格必须大于0"},
      {with([](COrdinaryOrder& o) { o.m_dPrice = std::nan(""); }), "委托价格必须大于0"},
      {with([](COrdinaryOrder& o) { o.m_dPrice = HUGE_VAL; }), "委托价格必须大于0"},
      {makeOrder("IF2409", "CFFEX", OPT_OPEN_SHORT, 100, 3400), "可用资金不足"},
      {makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 1e300), "可用资金不足"},
      {makeOrder("rb2410", "SHFE", OPT_CLOSE_LONG_HISTORY, 1, 3650), "可平仓位不足"},
      {makeOrder("m2409", "DCE", OPT_CLOSE_LONG_HISTORY, 5, 3200), "可平仓位不足"},
      {makeOrder("rb2410", "SHFE", OPT_CLOSE_SHORT_TODAY, 1, 3650), "可平仓位不足"},
      {stock(OPT_OPEN_SHORT), "股票不能卖空"},
      {stock(OPT_CLOSE_LONG_TODAY), "股票当日买入不能当日卖出"},
  };
  Session s(kSync);
  s.connectAndLogin();
  s.login("stock", "stock123");
  int requestId = 100;
  for (const auto& c : cases) {
    s.recorder.clear();
    s.place(c.first, ++requestId);
    ASSERT_EQ(s.recorder.kinds(), (Kinds{"orderReply", "orderError"})) << c.second;
    expectFailure(s.recorder.events(), 0, requestId, c.second, true);
    EXPECT_EQ(s.recorder.events()[0].orderId, 0);
  }
  s.recorder.clear();
  s.api->placeOrder(nullptr, 1, "");
  expectFailure(s.recorder.events(), 0, 1, "委托为空", true);
  // None of the refused orders took an id; older stock sells.
  s.recorder.clear();
  s.place(good);
  s.place(stock(OPT_CLOSE_LONG_HISTORY));
  EXPECT_EQ(s.recorder.eventsOf("orderReply").at(0).orderId, 1);
  EXPECT_EQ(s.recorder.eventsOf("deal").size(), 2u);

  Session off("synchronous = true\nerror_push = false");
  off.connectAndLogin();
  off.place(cases[1].first);
  EXPECT_EQ(off.recorder.kinds(), Kinds{"orderReply"});
}

TEST(BrokerOrderTest, MarketableOrderFillsAtTheReferenceInSlicesLargerFirst) {
  Session s("synchronous = true\nfill_mode = partial\nfill_slices = 3");
  s.connectAndLogin();
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 7, 3660), 41);
  ASSERT_EQ(s.recorder.kinds(),
            (Kinds{"orderReply", "order", "order", "deal", "order", "deal", "order", "deal"}));
  EXPECT_TRUE(s.recorder.events()[0].success);
  EXPECT_EQ(s.recorder.events()[0].orderId, 1);
  const std::vector<Recorded> orders = s.recorder.eventsOf("order");
  const std::vector<Recorded> deals = s.recorder.eventsOf("deal");
  const char* texts[] = {"已报", "部分成交", "部分成交", "全部成交"};
  const char status[] = "3110", submit[] = "3556";
  const int traded[] = {0, 3, 5, 7}, volume[] = {3, 2, 2};
  for (int i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    const VendorOrder& o = orders[i].order;
    EXPECT_EQ(orders[i].text, texts[i]);
    EXPECT_EQ(o.m_nOrderStatus, status[i]);
    EXPECT_EQ(o.m_nOrderSubmitStatus, submit[i]);
    EXPECT_EQ(o.m_nVolumeTraded, traded[i]);
    EXPECT_EQ(o.m_nVolumeTotalOriginal, 7);
    EXPECT_EQ(o.m_nOrderID, 1);
    EXPECT_EQ(fieldText(o.m_strOrderSysID), "000000000001");
    EXPECT_DOUBLE_EQ(o.m_dLimitPrice, 3660);
    EXPECT_EQ(o.m_nPriceType, PRICE_LIMIT_CHAR);
    EXPECT_EQ(fieldText(o.m_strInsertDate) + fieldText(o.m_strInsertTime), "2024060309:30:15");
    EXPECT_EQ(
        fieldText(o.m_strAccountID) + fieldText(o.m_strExchangeID) + fieldText(o.m_strInstrumentID),
        "88001234SHFErb2410");
    if (i == 3) break;
    const VendorDeal& d = deals[i].deal;
    EXPECT_EQ(d.m_nVolume, volume[i]);
    EXPECT_EQ(fieldText(d.m_strTradeID), "T0000000" + std::to_string(i + 1));
    EXPECT_EQ(fieldText(d.m_strOrderSysID), "000000000001");
    EXPECT_EQ(d.m_nOrderID, 1);
    EXPECT_DOUBLE_EQ(d.m_dPrice, 3650);
    EXPECT_EQ(fieldText(d.m_strTradeDate) + fieldText(d.m_strTradeTime), "2024060309:30:15");
    EXPECT_DOUBLE_EQ(d.m_dCommission, 3650 * volume[i] * 10 * 0.0001);
    EXPECT_EQ(d.m_nPriceType, PRICE_LIMIT_CHAR);
  }
  EXPECT_DOUBLE_EQ(orders[3].order.m_dAveragePrice, 3650);
  EXPECT_DOUBLE_EQ(orders[3].order.m_dTradeAmount, 3650 * 7 * 10);
  s.recorder.clear();
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 2, 3660));  // fewer lots than slices
  EXPECT_EQ(s.recorder.eventsOf("deal").size(), 2u);
}

TEST(BrokerOrderTest, CharacterCodesFollowTheOperation) {
  struct Case {
    const char *instrument, *exchange;
    int operation, direction, offset;
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
  for (const Case& c : cases) {
    SCOPED_TRACE(c.operation);
    s.recorder.clear();
    s.place(makeOrder(c.instrument, c.exchange, c.operation, 1, 0, PRTP_MARKET));
    ASSERT_EQ(s.recorder.kinds(), (Kinds{"orderReply", "order", "order", "deal"}));
    const VendorOrder o = s.recorder.events()[2].order;  // the deal copies its codes
    const VendorDeal d = s.recorder.events()[3].deal;
    EXPECT_EQ(o.m_nDirection, c.direction);
    EXPECT_EQ(o.m_nOffsetFlag, c.offset);
    EXPECT_EQ(o.m_nHedgeFlag, HEDGE_SPECULATION_CHAR);
    EXPECT_EQ(o.m_nPriceType, PRICE_MARKET_CHAR);
    EXPECT_EQ(d.m_nDirection, c.direction);
    EXPECT_EQ(d.m_nOffsetFlag, c.offset);
  }
}

TEST(BrokerOrderTest, RestingOrdersFillWhenThePriceCrossesThem) {
  Session s(kSync);
  s.connectAndLogin();
  const COrdinaryOrder buy = makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3640);
  s.place(buy, 1);
  s.place(makeOrder("IF2409", "CFFEX", OPT_OPEN_SHORT, 1, 3410), 2);
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

  // Fill mode none: limits rest whatever the price, market orders end cancelled.
  Session none("synchronous = true\nfill_mode = none");
  none.connectAndLogin();
  none.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 0, PRTP_MARKET), 1);
  none.place(buy, 2);
  none.api->setReferencePrice("rb2410", 3600);
  const std::vector<Recorded> orders = none.recorder.eventsOf("order");
  ASSERT_EQ(orders.size(), 3u);
  EXPECT_EQ(orders[1].orderId, 1);
  EXPECT_EQ(orders[1].order.m_nOrderStatus, ORDER_CANCELED_CHAR);
  EXPECT_EQ(orders[2].order.m_nOrderStatus, ORDER_NO_TRADE_QUEUEING_CHAR);
  EXPECT_TRUE(none.recorder.eventsOf("deal").empty());
}

// Same seed, same day: every answer but the timestamps repeats; the walk
// stays in the band on the tick grid and fills the resting orders it crosses.
TEST(BrokerOrderTest, SameSeedSameAnswersAndTheWalkStaysInTheBand) {
  auto run = [](const std::string& seed, std::vector<double>& prices) {
    Session s("synchronous = true\nfill_mode = partial\nprice_walk_ticks = 40\nprice_walk_seed = " +
              seed);
    s.connectAndLogin();
    s.place(makeOrder("m2409", "DCE", OPT_OPEN_LONG, 1, 0, PRTP_MARKET), 1);
    s.place(makeOrder("m2409", "DCE", OPT_OPEN_LONG, 3, 3150), 2);
    s.place(makeOrder("m2409", "DCE", OPT_CLOSE_LONG_HISTORY, 3, 3250), 3);
    for (int step = 0; step < 200; ++step) {
      s.api->stepPriceWalk();
      s.api->queryPosition("88001234", 4, "");
    }
    s.api->queryAccountDetail("88001234", 5, "");
    s.api->queryPositionDetail("88001234", 6, "");
    std::ostringstream text;
    for (const Recorded& e : s.recorder.events()) {
      const std::string code = fieldText(e.position.m_strInstrumentID);
      if (code == "m2409") prices.push_back(e.position.m_dLastPrice);
      text << e.kind << ' ' << e.requestId << ' ' << e.orderId << ' ' << e.text << ' '
           << e.order.m_nOrderStatus << ' ' << e.order.m_nVolumeTraded << ' '
           << fieldText(e.deal.m_strTradeID) << ' ' << e.deal.m_dPrice << ' ' << e.deal.m_nVolume
           << ' ' << code << ' ' << e.position.m_nPosition << ' ' << e.position.m_dLastPrice << ' '
           << e.detail.m_nVolume << ' ' << e.funds.m_dAvailable << ' ' << e.funds.m_dCloseProfit
           << '\n';
    }
    return text.str();
  };
  std::vector<double> prices, unused;
  const std::string first = run("9", prices);
  EXPECT_EQ(first, run("9", unused));
  EXPECT_NE(first, run("10", unused));
  std::size_t filled = 0;
  for (std::size_t at = 0; (at = first.find("全部成交", at)) != std::string::npos; ++at) ++filled;
  EXPECT_EQ(filled, 3u);  // the market order and both resting orders
  ASSERT_GE(prices.size(), 200u);
  for (double price : prices) {
    ASSERT_GE(price, 3200 * 0.94 - 1e-6);
    ASSERT_LE(price, 3200 * 1.06 + 1e-6);
    EXPECT_NEAR(price, std::round(price), 1e-6);  // tick 1
  }
  EXPECT_NE(*std::min_element(prices.begin(), prices.end()),
            *std::max_element(prices.begin(), prices.end()));
}

// Also the exchange's price band: rb2410 3650 +-7% is 3394.5 .. 3905.5.
TEST(BrokerCancelTest, RestingOrdersCancelOthersAnswerWhyNot) {
  Session s(kSync);
  s.connectAndLogin();
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_SHORT, 1, 3905), 1);  // order 1, rests: ...01
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3700), 2);   // order 2, fills
  s.place(makeOrder("m2409", "DCE", OPT_OPEN_LONG, 1, 3100), 3);     // order 3, rests: ...03
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3906), 4);   // order 4, beyond the band
  const Recorded rejected = s.recorder.events().back();
  EXPECT_EQ(rejected.order.m_nOrderStatus, ORDER_REJECTED_CHAR);
  EXPECT_EQ(rejected.text, "价格超出涨跌停板范围");
  EXPECT_EQ(rejected.orderId, 4);
  EXPECT_EQ(fieldText(rejected.order.m_strOrderSysID), "");
  s.recorder.clear();
  s.api->cancelOrderById(1, 10);
  s.api->cancelOrderById(1, 11);
  s.api->cancelOrderById(2, 12);
  s.api->cancelOrderById(99, 13);
  s.api->cancelOrderById(4, 14);
  s.api->cancelOrderByExchangeId("88001234", "000000000003", "DCE", "m2409", 15, "");
  s.api->cancelOrderByExchangeId("88001234", "000000000003", "DCE", "m2409", 16, "");
  s.api->cancelOrderByExchangeId("10001234", "000000000001", "SHFE", "rb2410", 17, "");
  ASSERT_EQ(
      s.recorder.kinds(),
      (Kinds{"cancelReply", "order", "cancelReply", "cancelError", "cancelReply", "cancelError",
             "cancelReply", "cancelError", "cancelReply", "cancelError", "cancelReply2", "order",
             "cancelReply2", "cancelError", "cancelReply2", "cancelError"}));
  const std::vector<Recorded> e = s.recorder.events();
  EXPECT_TRUE(e[0].success && e[10].success);
  for (std::size_t i : {1u, 11u}) {
    EXPECT_EQ(e[i].order.m_nOrderStatus, ORDER_CANCELED_CHAR);
    EXPECT_EQ(e[i].text, "已撤单");
  }
  EXPECT_EQ(fieldText(e[1].order.m_strOrderSysID), "000000000001");
  EXPECT_EQ(e[11].orderId, 3);
  expectFailure(e, 2, 11, "委托已撤单，不能重复撤单", true);
  expectFailure(e, 4, 12, "委托已全部成交，不能撤单", true);
  expectFailure(e, 6, 13, "委托不存在", true);
  expectFailure(e, 8, 14, "委托已被拒绝，不能撤单", true);
  expectFailure(e, 12, 16, "委托已撤单，不能重复撤单", true);
  expectFailure(e, 14, 17, "资金账号未登录", true);
  for (std::size_t i : {3u, 5u, 7u, 9u, 13u, 15u}) EXPECT_EQ(e[i].error.m_nCancelFlag, 1);
}

VendorAccountDetail funds(Session& s) {
  s.recorder.clear();
  s.api->queryAccountDetail("88001234", 77, "");
  const std::vector<Recorded> e = s.recorder.events();
  EXPECT_TRUE(e.size() == 1 && e[0].isLast && e[0].hasRecord);
  return e.empty() ? VendorAccountDetail{} : e[0].funds;
}

TEST(BrokerFundsTest, OpenMarkAndCloseMoveTheFunds) {
  Session s(kSync);
  s.connectAndLogin();
  // Start: rb2410 short 3 @3700 and m2409 long 4 @3100, both older.
  const double startMargin = 3700 * 3 * 10 * 0.1 + 3100 * 4 * 10 * 0.08;
  const double startFloat = (3700 - 3650) * 3 * 10 + (3200 - 3100) * 4 * 10;
  VendorAccountDetail f = funds(s);
  EXPECT_DOUBLE_EQ(f.m_dCurrMargin, startMargin);
  EXPECT_DOUBLE_EQ(f.m_dPositionProfit, startFloat);
  EXPECT_DOUBLE_EQ(f.m_dAvailable, 1000000 + startFloat - startMargin);
  EXPECT_DOUBLE_EQ(f.m_dPreBalance, 1000000);
  EXPECT_EQ(fieldText(f.m_strTradingDay), "20240603");

  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 2, 0, PRTP_MARKET));  // 2 lots at 3650
  s.api->setReferencePrice("rb2410", 3700);
  const double openFee = 3650 * 2 * 10 * 0.0001;
  const double markedFloat = (3200 - 3100) * 4 * 10 + (3700 - 3650) * 2 * 10;
  f = funds(s);
  EXPECT_DOUBLE_EQ(f.m_dCommission, openFee);
  EXPECT_DOUBLE_EQ(f.m_dPositionProfit, markedFloat);
  EXPECT_DOUBLE_EQ(f.m_dCurrMargin, startMargin + 3650 * 2 * 10 * 0.1);
  EXPECT_DOUBLE_EQ(f.m_dBalance, 1000000 + markedFloat - openFee);

  // A resting opening order (order 2) holds margin and commission until cancelled.
  s.place(makeOrder("rb2410", "SHFE", OPT_OPEN_LONG, 1, 3600));
  f = funds(s);
  EXPECT_DOUBLE_EQ(f.m_dFrozenMargin, 3600 * 10 * 0.1);
  EXPECT_NEAR(f.m_dFrozenCash, 3600 * 10 * (0.1 + 0.0001), 1e-6);
  s.api->cancelOrderById(2, 3);
  EXPECT_DOUBLE_EQ(funds(s).m_dFrozenMargin, 0);

  s.place(makeOrder("rb2410", "SHFE", OPT_CLOSE_LONG_TODAY, 2, 3700));
  const double fees = openFee + 3700 * 2 * 10 * 0.0001;
  const double realised = (3700 - 3650) * 2 * 10;
  f = funds(s);
  EXPECT_DOUBLE_EQ(f.m_dCloseProfit, realised);
  EXPECT_DOUBLE_EQ(f.m_dCommission, fees);
  EXPECT_DOUBLE_EQ(f.m_dCurrMargin, startMargin);
  EXPECT_DOUBLE_EQ(f.m_dBalance, 1000000 + realised + (3200 - 3100) * 4 * 10 - fees);
}

TEST(BrokerPositionTest, PositionsAndDetailsShowAgesAndFrozenVolume) {
  Session s(kSync);
  s.connectAndLogin();
  s.place(makeOrder("m2409", "DCE", OPT_OPEN_LONG, 2, 0, PRTP_MARKET));
  // Order 2 holds the 4 older lots and 1 of today's.
  s.place(makeOrder("m2409", "DCE", OPT_CLOSE_LONG_HISTORY, 5, 3300));
  s.recorder.clear();
  s.api->queryPosition("88001234", 3, "");
  s.api->queryPositionDetail("88001234", 4, "");
  const std::vector<Recorded> positions = s.recorder.eventsOf("positions");
  const std::vector<Recorded> details = s.recorder.eventsOf("positionDetails");
  ASSERT_EQ(positions.size(), 3u);
  ASSERT_EQ(details.size(), 3u);
  // Instrument, today, direction, volume, free, held, open date, trade id, last.
  const char* rows[] = {"m2409 0 0 4 0 4 20240531 Y00000001 0",  // older: the Friday before
                        "m2409 1 0 2 1 1 20240603 T00000001 0",
                        "rb2410 0 1 3 3 0 20240531 Y00000002 1"};
  for (int i = 0; i < 3; ++i) {
    const VendorPosition& p = positions[i].position;
    const VendorPositionDetail& d = details[i].detail;
    std::ostringstream row;
    row << fieldText(p.m_strInstrumentID) << ' ' << p.m_bIsToday << ' '
        << static_cast<char>(p.m_nDirection) << ' ' << p.m_nPosition << ' ' << d.m_nVolume << ' '
        << d.m_nFrozenVolume << ' ' << fieldText(d.m_strOpenDate) << ' '
        << fieldText(d.m_strTradeID) << ' ' << positions[i].isLast;
    EXPECT_EQ(row.str(), rows[i]);
    // The detail row is the same lot.
    EXPECT_EQ(fieldText(d.m_strInstrumentID), fieldText(p.m_strInstrumentID));
    EXPECT_EQ(d.m_bIsToday, p.m_bIsToday);
    EXPECT_EQ(d.m_nDirection, p.m_nDirection);
    EXPECT_EQ(details[i].isLast, positions[i].isLast);
    EXPECT_EQ(fieldText(d.m_strTradingDay), "20240603");
  }
  EXPECT_DOUBLE_EQ(details[0].detail.m_dOpenPrice, 3100);
  EXPECT_DOUBLE_EQ(details[0].detail.m_dOpenCost, 3100 * 4 * 10);

  // The held volume cannot be closed twice; cancelling frees it; filling closes it.
  s.recorder.clear();
  s.place(makeOrder("m2409", "DCE", OPT_CLOSE_LONG_TODAY, 2, 3200), 5);
  expectFailure(s.recorder.events(), 0, 5, "可平仓位不足", true);
  s.api->cancelOrderById(2, 6);
  s.place(makeOrder("m2409", "DCE", OPT_CLOSE_LONG_HISTORY, 6, 0, PRTP_MARKET), 7);
  s.recorder.clear();
  s.api->queryPositionDetail("88001234", 8, "");
  const std::vector<Recorded> left = s.recorder.eventsOf("positionDetails");
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(fieldText(left[0].detail.m_strInstrumentID), "rb2410");
}

}  // namespace
}  // namespace testing
}  // namespace sim
}  // namespace xti
