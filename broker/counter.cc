// The counter's requests: login, orders with their matching, cancels, and the
// market steps. Records and queries are in counter_records.cc.
#include "broker/counter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "broker/chaos.h"
#include "plugin/platform.h"

namespace xti {
namespace sim {
namespace {

constexpr int kMaxOrderVolume = 1000000;

// UTF-8 texts of the counter's answers.
const char kNotConnected[] = "未连接到柜台";
const char kBadLogin[] = "用户名或密码错误";
const char kUserNotLoggedIn[] = "用户未登录";
const char kUnknownAccount[] = "资金账号不存在";
const char kAccountNotLoggedIn[] = "资金账号未登录";
const char kNullOrder[] = "委托为空";
const char kUnknownInstrument[] = "合约代码不存在";
const char kWrongExchange[] = "交易所代码与合约不符";
const char kBadOperation[] = "不支持的开平方向";
const char kBadPriceType[] = "不支持的报价类型";
const char kBadHedge[] = "只支持投机委托";
const char kBadVolume[] = "委托数量必须大于0";
const char kTooLarge[] = "委托数量超过上限";
const char kBadPrice[] = "委托价格必须大于0";
const char kNoShortStock[] = "股票不能卖空";
const char kNoStockCloseToday[] = "股票当日买入不能当日卖出";
const char kNoFunds[] = "可用资金不足";
const char kNoPosition[] = "可平仓位不足";
const char kOutsideBand[] = "价格超出涨跌停板范围";
const char kQueued[] = "已报";
const char kPartFilled[] = "部分成交";
const char kAllFilled[] = "全部成交";
const char kCancelled[] = "已撤单";
const char kMarketRemainderCancelled[] = "已撤单：市价委托未成交部分";
const char kUnknownOrder[] = "委托不存在";
const char kCancelFilled[] = "委托已全部成交，不能撤单";
const char kCancelCancelled[] = "委托已撤单，不能重复撤单";
const char kCancelRejected[] = "委托已被拒绝，不能撤单";
const char kBusy[] = "柜台繁忙，请稍后重试";

Outcome failure(int errorId, const char* text) { return Outcome{errorId, text}; }

std::string sequenceText(const char* prefix, int width, int number) {
  char buffer[32];
  std::snprintf(buffer, sizeof(buffer), "%s%0*d", prefix, width, number);
  return buffer;
}

// Exchanges that keep today's and older positions apart for closing: the
// older-close takes only older volume there.
bool separatesToday(const std::string& exchange) {
  return exchange == "SHFE" || exchange == "INE" || isStockExchange(exchange);
}

VendorOrderError orderError(const std::string& account, const Outcome& outcome, int orderId,
                            int requestId, bool cancel) {
  VendorOrderError error{};
  kestrel::copyToField(error.m_strAccountID, account);
  error.m_nErrorID = outcome.errorId;
  kestrel::copyToField(error.m_strErrorMsg, outcome.text);
  error.m_nOrderID = orderId;
  error.m_nRequestID = requestId;
  error.m_nCancelFlag = cancel ? 1 : 0;
  return error;
}

}  // namespace

Counter::Counter() = default;

Counter Counter::offline() { return Counter(); }

Counter::Counter(Config config, Clock clock)
    : config_(std::move(config)), clock_(std::move(clock)), online_(true) {
  if (!clock_) clock_ = stampNow;
  tradingDay_ = config_.behaviour.tradingDay.empty() ? clock_().date : config_.behaviour.tradingDay;
  walkState_ = config_.behaviour.priceWalkSeed;
  rejectState_ = config_.chaos.seed ^ 0x5EEDu;
  for (const InstrumentConfig& i : config_.instruments) {
    instruments_[i.code] = Instrument{i, i.price};
  }
  const std::string openDate = isDateText(tradingDay_) ? previousWeekday(tradingDay_) : tradingDay_;
  int startLot = 1;
  for (const AccountConfig& a : config_.accounts) {
    accounts_[a.id] = Account{a, 0, 0};
    for (const StartPosition& p : a.positions) {
      position(a.id, p.instrument, p.side)
          .addLot(Lot{sequenceText("Y", 8, startLot++), openDate, p.openPrice, p.volume, kOlder});
    }
  }
}

const Counter::Instrument* Counter::instrument(const std::string& code) const {
  const auto it = instruments_.find(code);
  return it == instruments_.end() ? nullptr : &it->second;
}

Position& Counter::position(const std::string& account, const std::string& instrument, Side side) {
  return positions_.try_emplace(PositionKey(account, instrument, side), side).first->second;
}

// --- Login -------------------------------------------------------------------

void Counter::login(const std::string& user, const std::string& password, int requestId,
                    Outbox& out) {
  const UserConfig* config = config_.findUser(user);
  const Outcome outcome = !online_ ? failure(kErrNotConnected, kNotConnected)
                          : config == nullptr || config->password != password
                              ? failure(kErrLogin, kBadLogin)
                              : Outcome::success();
  out.add(AnswerKind::kOther, &XtTraderApiCallback::onUserLogin, user, password, requestId,
          outcome);
  if (outcome.errorId != 0) return;
  loggedInUsers_.insert(user);
  for (const std::string& account : config->accounts) {
    loggedIn_.insert(account);
    out.add(AnswerKind::kOther, &XtTraderApiCallback::onAccountStatus, account,
            accounts_.at(account).config.type, 1);
  }
}

void Counter::logout(const std::string& user, const std::string& password, int requestId,
                     Outbox& out) {
  const UserConfig* config = config_.findUser(user);
  const Outcome outcome = !online_ ? failure(kErrNotConnected, kNotConnected)
                          : config == nullptr || loggedInUsers_.count(user) == 0
                              ? failure(kErrNotLoggedIn, kUserNotLoggedIn)
                          : config->password != password ? failure(kErrLogin, kBadLogin)
                                                         : Outcome::success();
  out.add(AnswerKind::kOther, &XtTraderApiCallback::onUserLogout, user, password, requestId,
          outcome);
  if (outcome.errorId != 0) return;
  loggedInUsers_.erase(user);
  loggedIn_.clear();
  for (const std::string& name : loggedInUsers_) {
    const UserConfig* other = config_.findUser(name);
    loggedIn_.insert(other->accounts.begin(), other->accounts.end());
  }
}

Outcome Counter::checkAccount(const std::string& account) const {
  if (!online_) return failure(kErrNotConnected, kNotConnected);
  if (accounts_.count(account) == 0) return failure(kErrUnknownAccount, kUnknownAccount);
  if (loggedIn_.count(account) == 0) return failure(kErrNotLoggedIn, kAccountNotLoggedIn);
  return Outcome::success();
}

// --- Orders ------------------------------------------------------------------

Outcome Counter::checkOrder(const COrdinaryOrder& order, const std::string& account,
                            const Instrument*& found) const {
  Outcome outcome = checkAccount(account);
  if (outcome.errorId != 0) return outcome;
  found = instrument(kestrel::fieldText(order.m_strInstrument));
  if (found == nullptr) return failure(kErrBadOrder, kUnknownInstrument);
  if (kestrel::fieldText(order.m_strMarket) != found->config.exchange) {
    return failure(kErrBadOrder, kWrongExchange);
  }
  if (order.m_eOperationType < OPT_OPEN_LONG || order.m_eOperationType > OPT_CLOSE_SHORT_TODAY) {
    return failure(kErrBadOrder, kBadOperation);
  }
  if (order.m_ePriceType != PRTP_LIMIT && order.m_ePriceType != PRTP_MARKET) {
    return failure(kErrBadOrder, kBadPriceType);
  }
  if (order.m_eHedgeFlag != HEDGE_SPECULATION_CHAR) return failure(kErrBadOrder, kBadHedge);
  if (order.m_nVolume <= 0) return failure(kErrBadOrder, kBadVolume);
  if (order.m_nVolume > kMaxOrderVolume) return failure(kErrBadOrder, kTooLarge);
  if (order.m_ePriceType == PRTP_LIMIT && !(std::isfinite(order.m_dPrice) && order.m_dPrice > 0)) {
    return failure(kErrBadOrder, kBadPrice);
  }
  if (isStockExchange(found->config.exchange)) {
    if (order.m_eOperationType == OPT_OPEN_SHORT) return failure(kErrBadOrder, kNoShortStock);
    if (order.m_eOperationType == OPT_CLOSE_LONG_TODAY) {
      return failure(kErrBadOrder, kNoStockCloseToday);
    }
  }
  return Outcome::success();
}

Outcome Counter::checkClosable(const Order& order) {
  const auto it = positions_.find(PositionKey(order.account, order.instrument, order.side()));
  int free = 0;
  if (it != positions_.end()) {
    const Position& p = it->second;
    if (order.closesToday())
      free = p.freeVolume(kToday);
    else if (separatesToday(order.exchange))
      free = p.freeVolume(kOlder);
    else
      free = p.freeVolume(kOlder) + p.freeVolume(kToday);
  }
  return free >= order.volume ? Outcome::success() : failure(kErrPosition, kNoPosition);
}

// Holds the closing order's volume: older lots first unless it closes today's.
void Counter::freezeClose(Order& order) {
  Position& p = position(order.account, order.instrument, order.side());
  const int older = order.closesToday() ? 0 : std::min(order.volume, p.freeVolume(kOlder));
  order.frozen[kOlder] = older;
  order.frozen[kToday] = order.volume - older;
  p.freeze(kOlder, order.frozen[kOlder]);
  p.freeze(kToday, order.frozen[kToday]);
}

void Counter::placeOrder(const COrdinaryOrder* request, int requestId, Outbox& out) {
  const std::string account = request != nullptr ? kestrel::fieldText(request->m_strAccountID) : "";
  const Instrument* inst = nullptr;
  Outcome outcome =
      request == nullptr ? failure(kErrBadOrder, kNullOrder) : checkOrder(*request, account, inst);
  Order order;
  if (outcome.errorId == 0) {
    order.account = account;
    order.accountType = accounts_.at(account).config.type;
    order.instrument = inst->config.code;
    order.exchange = inst->config.exchange;
    order.product = inst->config.product;
    order.operation = request->m_eOperationType;
    order.market = request->m_ePriceType == PRTP_MARKET;
    order.limitPrice = order.market ? 0 : request->m_dPrice;
    order.volume = request->m_nVolume;
    if (order.opening()) {
      const double price = order.market ? inst->reference : order.limitPrice;
      const double value = price * order.volume * inst->config.multiplier;
      const double needed = value * (inst->config.marginRate + config_.behaviour.commissionRate);
      if (!(needed <= accountRecord(account).m_dAvailable)) outcome = failure(kErrFunds, kNoFunds);
    } else {
      outcome = checkClosable(order);
    }
  }
  if (outcome.errorId == 0 && drawShare(rejectState_, config_.chaos.rejectOrders)) {
    outcome = randomRefusal(order.opening());
    logFault(config_.chaos, "refusal", AnswerName{"onOrderReply", requestId, 0},
             "text=" + outcome.text);
  }
  if (outcome.errorId != 0) {
    out.add(Outbox::replyKind(outcome), &XtTraderApiCallback::onOrderReply, requestId, 0,
            std::string(), outcome);
    if (config_.behaviour.errorPush) {
      out.add(AnswerKind::kErrorPush, &XtTraderApiCallback::onOrderErrorPush,
              orderError(account, outcome, 0, requestId, false));
    }
    return;
  }
  order.id = static_cast<int>(orders_.size()) + 1;
  order.inserted = clock_();
  order.status = ORDER_UNKNOWN_CHAR;
  order.submitStatus = SUBMIT_INSERT_SUBMITTED_CHAR;
  if (!order.opening()) freezeClose(order);
  orders_.push_back(order);
  out.add(AnswerKind::kReply, &XtTraderApiCallback::onOrderReply, requestId, order.id,
          std::string(), Outcome::success());
  sendToExchange(orders_.back(), out);
}

// A refusal a real counter might give any valid order: short of funds (or of
// position, for a closing order), or too busy.
Outcome Counter::randomRefusal(bool opening) {
  if (nextRandom(rejectState_) % 2 == 0) return failure(kErrBusy, kBusy);
  return opening ? failure(kErrFunds, kNoFunds) : failure(kErrPosition, kNoPosition);
}

void Counter::endConnection() {
  loggedInUsers_.clear();
  loggedIn_.clear();
}

void Counter::sendToExchange(Order& order, Outbox& out) {
  const Instrument& inst = instruments_.at(order.instrument);
  const double band = inst.config.price * inst.config.bandPercent / 100;
  const double slack = 1e-9 * inst.config.price;
  if (!order.market && (order.limitPrice > inst.config.price + band + slack ||
                        order.limitPrice < inst.config.price - band - slack)) {
    return finish(order, ORDER_REJECTED_CHAR, kOutsideBand, out);
  }
  order.exchangeOrderId = sequenceText("", 12, nextExchangeOrderId_++);
  order.status = ORDER_NO_TRADE_QUEUEING_CHAR;
  order.submitStatus = SUBMIT_ACCEPTED_CHAR;
  order.message = kQueued;
  resting_.push_back(order.id);
  out.add(AnswerKind::kPush, &XtTraderApiCallback::onOrderPush, orderRecord(order));
  if (config_.behaviour.fillMode == FillMode::kNone) {
    // A market order that found nothing to trade with ends cancelled.
    if (order.market) finish(order, ORDER_CANCELED_CHAR, kMarketRemainderCancelled, out);
    return;
  }
  if (order.market || crosses(order, inst.reference)) match(order, inst.reference, out);
}

bool Counter::crosses(const Order& order, double reference) const {
  const double slack = 1e-9 * std::max(1.0, std::fabs(reference));
  return order.buy() ? order.limitPrice >= reference - slack
                     : order.limitPrice <= reference + slack;
}

// Fills what is left of the order at `price`: at once, or in the configured
// number of slices, larger slices first.
void Counter::match(Order& order, double price, Outbox& out) {
  const int remaining = order.volume - order.traded;
  int slices = config_.behaviour.fillMode == FillMode::kPartial ? config_.behaviour.fillSlices : 1;
  slices = std::max(1, std::min(slices, remaining));
  for (int i = 0; i < slices; ++i) {
    const int volume = remaining / slices + (i < remaining % slices ? 1 : 0);
    fill(order, price, volume, out);
  }
}

void Counter::fill(Order& order, double price, int volume, Outbox& out) {
  const Instrument& inst = instruments_.at(order.instrument);
  Account& account = accounts_.at(order.account);
  const double multiplier = inst.config.multiplier;
  const double amount = price * volume * multiplier;
  const double commission = amount * config_.behaviour.commissionRate;
  account.commission += commission;

  const std::string tradeId = sequenceText("T", 8, nextDealId_++);
  if (order.opening()) {
    position(order.account, order.instrument, order.side())
        .addLot(Lot{tradeId, tradingDay_, price, volume, kToday});
  } else {
    Position& p = position(order.account, order.instrument, order.side());
    const int older = std::min(volume, order.frozen[kOlder]);
    const int today = volume - older;
    account.closeProfit += p.closeFrozen(kOlder, older, price, multiplier);
    account.closeProfit += p.closeFrozen(kToday, today, price, multiplier);
    order.frozen[kOlder] -= older;
    order.frozen[kToday] -= today;
  }
  order.traded += volume;
  order.tradeAmount += amount;
  order.priceVolume += price * volume;
  const bool done = order.traded == order.volume;
  order.status = done ? ORDER_ALL_TRADED_CHAR : ORDER_PART_TRADED_QUEUEING_CHAR;
  order.submitStatus = done ? SUBMIT_ALL_FILLED_CHAR : SUBMIT_PART_FILLED_CHAR;
  order.message = done ? kAllFilled : kPartFilled;
  if (done) resting_.erase(std::remove(resting_.begin(), resting_.end(), order.id), resting_.end());

  deals_.push_back(dealRecord(order, tradeId, price, volume, amount, commission));
  out.add(AnswerKind::kPush, &XtTraderApiCallback::onOrderPush, orderRecord(order));
  out.add(AnswerKind::kPush, &XtTraderApiCallback::onDealPush, deals_.back());
}

void Counter::finish(Order& order, int status, const char* message, Outbox& out) {
  order.status = status;
  order.message = message;
  if (!order.opening()) {
    Position& p = position(order.account, order.instrument, order.side());
    p.unfreeze(kOlder, order.frozen[kOlder]);
    p.unfreeze(kToday, order.frozen[kToday]);
    order.frozen[kOlder] = order.frozen[kToday] = 0;
  }
  resting_.erase(std::remove(resting_.begin(), resting_.end(), order.id), resting_.end());
  out.add(AnswerKind::kPush, &XtTraderApiCallback::onOrderPush, orderRecord(order));
}

// --- Cancels -----------------------------------------------------------------

void Counter::cancelById(int orderId, int requestId, Outbox& out) {
  Order* order =
      orderId >= 1 && orderId <= static_cast<int>(orders_.size()) ? &orders_[orderId - 1] : nullptr;
  cancelOrder(order, order != nullptr ? order->account : std::string(), requestId, false, out);
}

void Counter::cancelByExchangeId(const std::string& account, const std::string& exchangeOrderId,
                                 const std::string& exchange, const std::string& instrument,
                                 int requestId, Outbox& out) {
  const auto found = std::find_if(orders_.begin(), orders_.end(), [&](const Order& order) {
    return !order.exchangeOrderId.empty() && order.exchangeOrderId == exchangeOrderId &&
           order.account == account && order.exchange == exchange && order.instrument == instrument;
  });
  cancelOrder(found == orders_.end() ? nullptr : &*found, account, requestId, true, out);
}

void Counter::cancelOrder(Order* order, const std::string& account, int requestId,
                          bool byExchangeId, Outbox& out) {
  Outcome outcome = online_ ? Outcome::success() : failure(kErrNotConnected, kNotConnected);
  if (outcome.errorId == 0 && !account.empty()) outcome = checkAccount(account);
  if (outcome.errorId == 0) {
    if (order == nullptr)
      outcome = failure(kErrCancel, kUnknownOrder);
    else if (order->status == ORDER_ALL_TRADED_CHAR)
      outcome = failure(kErrCancel, kCancelFilled);
    else if (order->status == ORDER_CANCELED_CHAR)
      outcome = failure(kErrCancel, kCancelCancelled);
    else if (order->status == ORDER_REJECTED_CHAR)
      outcome = failure(kErrCancel, kCancelRejected);
  }
  out.add(Outbox::replyKind(outcome),
          byExchangeId ? &XtTraderApiCallback::onCancelReply2 : &XtTraderApiCallback::onCancelReply,
          requestId, outcome);
  if (outcome.errorId != 0) {
    if (config_.behaviour.errorPush) {
      out.add(AnswerKind::kErrorPush, &XtTraderApiCallback::onCancelErrorPush,
              orderError(account, outcome, order != nullptr ? order->id : 0, requestId, true));
    }
    return;
  }
  finish(*order, ORDER_CANCELED_CHAR, kCancelled, out);
}

// --- Market steps ------------------------------------------------------------

void Counter::walkStep(Outbox& out) {
  if (!online_) return;
  const int ticks = config_.behaviour.priceWalkTicks;
  for (auto& entry : instruments_) {
    Instrument& inst = entry.second;
    const double tick = inst.config.tick;
    const int64_t move = static_cast<int64_t>(nextRandom(walkState_) % (2 * ticks + 1)) - ticks;
    const double band = inst.config.price * inst.config.bandPercent / 100;
    double price = std::round((inst.reference + move * tick) / tick) * tick;
    price = std::min(price, inst.config.price + band);
    price = std::max(price, std::max(inst.config.price - band, tick));
    inst.reference = price;
  }
  matchResting(out);
}

bool Counter::setReferencePrice(const std::string& code, double price, Outbox& out) {
  const auto it = instruments_.find(code);
  if (it == instruments_.end() || !(std::isfinite(price) && price > 0)) return false;
  it->second.reference = price;
  matchResting(out);
  return true;
}

// A resting order the reference price has crossed fills at its own limit price.
void Counter::matchResting(Outbox& out) {
  if (config_.behaviour.fillMode == FillMode::kNone) return;
  const std::vector<int> resting = resting_;
  for (int id : resting) {
    Order& order = orders_[id - 1];
    if (order.live() && crosses(order, instruments_.at(order.instrument).reference)) {
      match(order, order.limitPrice, out);
    }
  }
}

}  // namespace sim
}  // namespace xti
