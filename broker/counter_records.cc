// The counter's records and its five queries.
#include "broker/counter.h"
#include "plugin/platform.h"

namespace xti {
namespace sim {
namespace {

using kestrel::copyToField;

const char kAccountNormal[] = "正常";

int directionChar(bool buy) { return buy ? DIRECTION_BUY_CHAR : DIRECTION_SELL_CHAR; }
int sideChar(Side side) { return side == Side::kLong ? DIRECTION_BUY_CHAR : DIRECTION_SELL_CHAR; }

int offsetChar(int operation, const std::string& exchange) {
  switch (operation) {
    case OPT_OPEN_LONG:
    case OPT_OPEN_SHORT:
      return OFFSET_OPEN_CHAR;
    case OPT_CLOSE_LONG_TODAY:
    case OPT_CLOSE_SHORT_TODAY:
      return OFFSET_CLOSE_TODAY_CHAR;
    default:
      // Where the exchange tells today's volume apart, an older-close closes yesterday's.
      return exchange == "SHFE" || exchange == "INE" ? OFFSET_CLOSE_YESTERDAY_CHAR
                                                     : OFFSET_CLOSE_CHAR;
  }
}

}  // namespace

Counter::Funds Counter::fundsOf(const std::string& id) const {
  Funds f;
  const auto account = accounts_.find(id);
  if (account == accounts_.end()) return f;
  f.preBalance = account->second.config.cash;
  f.commission = account->second.commission;
  f.closeProfit = account->second.closeProfit;
  for (const auto& entry : positions_) {
    if (std::get<0>(entry.first) != id) continue;
    const Instrument& inst = instruments_.at(std::get<1>(entry.first));
    f.currMargin += entry.second.openCost(nullptr, inst.config.multiplier) * inst.config.marginRate;
    f.positionProfit +=
        entry.second.floatingProfit(nullptr, inst.reference, inst.config.multiplier);
  }
  for (int orderId : resting_) {
    const Order& order = orders_[orderId - 1];
    if (order.account != id) continue;
    const Instrument& inst = instruments_.at(order.instrument);
    const double price = order.market ? inst.reference : order.limitPrice;
    const double value = price * (order.volume - order.traded) * inst.config.multiplier;
    if (order.opening()) f.frozenMargin += value * inst.config.marginRate;
    f.frozenCommission += value * config_.behaviour.commissionRate;
  }
  f.balance = f.preBalance + f.closeProfit + f.positionProfit - f.commission;
  f.available = f.balance - f.currMargin - f.frozenMargin - f.frozenCommission;
  return f;
}

VendorOrder Counter::orderRecord(const Order& order) const {
  const Instrument& inst = instruments_.at(order.instrument);
  VendorOrder r{};
  copyToField(r.m_strAccountID, order.account);
  r.m_nAccountType = order.accountType;
  copyToField(r.m_strExchangeID, order.exchange);
  copyToField(r.m_strProductID, order.product);
  copyToField(r.m_strInstrumentID, order.instrument);
  r.m_nFrontID = 1;
  r.m_dLimitPrice = order.limitPrice;
  copyToField(r.m_strOrderSysID, order.exchangeOrderId);
  r.m_nVolumeTraded = order.traded;
  r.m_nVolumeTotalOriginal = order.volume;
  r.m_dAveragePrice = order.traded > 0 ? order.priceVolume / order.traded : 0;
  r.m_dTradeAmount = order.tradeAmount;
  if (order.live()) {
    const double price = order.market ? inst.reference : order.limitPrice;
    const double value = price * (order.volume - order.traded) * inst.config.multiplier;
    r.m_dFrozenMargin = order.opening() ? value * inst.config.marginRate : 0;
    r.m_dFrozenCommission = value * config_.behaviour.commissionRate;
  }
  r.m_nSessionID = 1;
  copyToField(r.m_strErrorMsg, order.message);
  copyToField(r.m_strInsertDate, order.inserted.date);
  copyToField(r.m_strInsertTime, order.inserted.time);
  r.m_nOrderID = order.id;
  r.m_nPriceType = order.market ? PRICE_MARKET_CHAR : PRICE_LIMIT_CHAR;
  r.m_nDirection = directionChar(order.buy());
  r.m_nOffsetFlag = offsetChar(order.operation, order.exchange);
  r.m_nHedgeFlag = HEDGE_SPECULATION_CHAR;
  r.m_nOrderStatus = order.status;
  r.m_nOrderSubmitStatus = order.submitStatus;
  r.m_nVolumeRemaining = order.live() ? order.volume - order.traded : 0;
  return r;
}

VendorAccountDetail Counter::accountRecord(const Account& account) const {
  const Funds f = fundsOf(account.config.id);
  VendorAccountDetail r{};
  copyToField(r.m_strAccountID, account.config.id);
  r.m_nAccountType = account.config.type;
  copyToField(r.m_strStatus, kAccountNormal);
  copyToField(r.m_strTradingDay, tradingDay_);
  r.m_dPreBalance = f.preBalance;
  r.m_dBalance = f.balance;
  r.m_dAvailable = f.available;
  r.m_dCommission = f.commission;
  r.m_dFrozenCommission = f.frozenCommission;
  r.m_dCurrMargin = f.currMargin;
  r.m_dFrozenMargin = f.frozenMargin;
  r.m_dFrozenCash = f.frozenMargin + f.frozenCommission;
  r.m_dCloseProfit = f.closeProfit;
  r.m_dPositionProfit = f.positionProfit;
  r.m_dDeposit = 0;
  r.m_dWithdraw = 0;
  return r;
}

void Counter::positionRecords(const std::string& id, std::vector<VendorPosition>& positions,
                              std::vector<VendorPositionDetail>* details) const {
  for (const auto& entry : positions_) {
    if (std::get<0>(entry.first) != id) continue;
    const Position& p = entry.second;
    const Instrument& inst = instruments_.at(std::get<1>(entry.first));
    const double mult = inst.config.multiplier;
    for (const Age age : {kOlder, kToday}) {
      const std::vector<LotView> lots = p.lots(age);
      if (lots.empty()) continue;
      const int volume = p.volume(age);
      const double cost = p.openCost(&age, mult);
      const double floating = p.floatingProfit(&age, inst.reference, mult);
      VendorPosition r{};
      copyToField(r.m_strAccountID, id);
      copyToField(r.m_strExchangeID, inst.config.exchange);
      copyToField(r.m_strProductID, inst.config.product);
      copyToField(r.m_strInstrumentID, inst.config.code);
      copyToField(r.m_strOpenDate, lots.front().lot->openDate);
      r.m_bIsToday = age == kToday;
      r.m_nPosition = volume;
      r.m_dOpenPrice = cost / (volume * mult);
      r.m_dOpenCost = cost;
      r.m_dPositionCost = cost;
      r.m_dAveragePrice = r.m_dOpenPrice;
      r.m_dPositionProfit = floating;
      r.m_dFloatProfit = floating;
      r.m_dMargin = cost * inst.config.marginRate;
      r.m_dUsedMargin = r.m_dMargin;
      r.m_dLastPrice = inst.reference;
      r.m_dLastSettlementPrice = inst.config.price;
      r.m_dMarketValue = inst.reference * volume * mult;
      r.m_dInstrumentValue = r.m_dMarketValue;
      r.m_nDirection = sideChar(p.side());
      r.m_nHedgeFlag = HEDGE_SPECULATION_CHAR;
      positions.push_back(r);
      if (details == nullptr) continue;
      for (const LotView& view : lots) {
        const Lot& lot = *view.lot;
        VendorPositionDetail d{};
        copyToField(d.m_strAccountID, id);
        copyToField(d.m_strExchangeID, inst.config.exchange);
        copyToField(d.m_strProductID, inst.config.product);
        copyToField(d.m_strInstrumentID, inst.config.code);
        copyToField(d.m_strProductName, inst.config.product);
        copyToField(d.m_strOpenDate, lot.openDate);
        copyToField(d.m_strTradeID, lot.tradeId);
        d.m_nVolume = view.free;
        d.m_nFrozenVolume = view.frozen;
        d.m_nFrontID = 1;
        d.m_nSessionID = 1;
        d.m_dOpenPrice = lot.openPrice;
        copyToField(d.m_strTradingDay, tradingDay_);
        d.m_dOpenCost = lot.openPrice * lot.volume * mult;
        d.m_dMargin = d.m_dOpenCost * inst.config.marginRate;
        d.m_dExchangeMargin = d.m_dMargin;
        d.m_dPositionProfit = (p.side() == Side::kLong ? 1 : -1) *
                              (inst.reference - lot.openPrice) * lot.volume * mult;
        d.m_dMarketValue = inst.reference * lot.volume * mult;
        d.m_dLastSettlementPrice = inst.config.price;
        d.m_bIsToday = age == kToday;
        d.m_nDirection = sideChar(p.side());
        details->push_back(d);
      }
    }
  }
}

template <class Record, class Records>
void Counter::answerQuery(QueryReply<Record> reply, const std::string& account, int requestId,
                          Outbox& out, Records records) const {
  const Outcome outcome = checkAccount(account);
  const std::vector<Record> found = outcome.errorId == 0 ? records() : std::vector<Record>();
  for (std::size_t i = 0; i < found.size(); ++i) {
    out.add(AnswerKind::kOther, reply, account, requestId, found[i], i + 1 == found.size(),
            outcome);
  }
  if (found.empty()) {
    out.add(AnswerKind::kOther, reply, account, requestId, static_cast<const Record*>(nullptr),
            true, outcome);
  }
}

void Counter::queryAccountDetail(const std::string& account, int requestId, Outbox& out) const {
  answerQuery(&XtTraderApiCallback::onAccountDetailReply, account, requestId, out, [&] {
    return std::vector<VendorAccountDetail>{accountRecord(accounts_.at(account))};
  });
}

void Counter::queryPosition(const std::string& account, int requestId, Outbox& out) const {
  answerQuery(&XtTraderApiCallback::onPositionReply, account, requestId, out, [&] {
    std::vector<VendorPosition> positions;
    positionRecords(account, positions, nullptr);
    return positions;
  });
}

void Counter::queryPositionDetail(const std::string& account, int requestId, Outbox& out) const {
  answerQuery(&XtTraderApiCallback::onPositionDetailReply, account, requestId, out, [&] {
    std::vector<VendorPosition> positions;
    std::vector<VendorPositionDetail> details;
    positionRecords(account, positions, &details);
    return details;
  });
}

void Counter::queryOrderDetail(const std::string& account, int requestId, Outbox& out) const {
  answerQuery(&XtTraderApiCallback::onOrderDetailReply, account, requestId, out, [&] {
    std::vector<VendorOrder> orders;
    for (const Order& order : orders_) {
      if (order.account == account) orders.push_back(orderRecord(order));
    }
    return orders;
  });
}

void Counter::queryDealDetail(const std::string& account, int requestId, Outbox& out) const {
  answerQuery(&XtTraderApiCallback::onDealDetailReply, account, requestId, out, [&] {
    std::vector<VendorDeal> deals;
    for (const VendorDeal& deal : deals_) {
      if (kestrel::fieldText(deal.m_strAccountID) == account) deals.push_back(deal);
    }
    return deals;
  });
}

}  // namespace sim
}  // namespace xti
