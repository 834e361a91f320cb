// The counter's records and its five queries.
#include "broker/counter.h"
#include "plugin/platform.h"

namespace xti {
namespace sim {
namespace {

using kestrel::copyToField;

const char kAccountNormal[] = "正常";

// The members a position's record and its lots' records share.
template <class Record>
Record positionRecord(const std::string& account, const InstrumentConfig& instrument, Side side,
                      Age age) {
  Record r{};
  copyToField(r.m_strAccountID, account);
  copyToField(r.m_strExchangeID, instrument.exchange);
  copyToField(r.m_strProductID, instrument.product);
  copyToField(r.m_strInstrumentID, instrument.code);
  r.m_dLastSettlementPrice = instrument.price;
  r.m_bIsToday = age == kToday;
  r.m_nDirection = side == Side::kLong ? DIRECTION_BUY_CHAR : DIRECTION_SELL_CHAR;
  return r;
}

}  // namespace

template <class Record>
void Counter::orderFields(const Order& order, Record& r) const {
  copyToField(r.m_strAccountID, order.account);
  r.m_nAccountType = order.accountType;
  copyToField(r.m_strExchangeID, order.exchange);
  copyToField(r.m_strProductID, order.product);
  copyToField(r.m_strInstrumentID, order.instrument);
  copyToField(r.m_strOrderSysID, order.exchangeOrderId);
  r.m_nFrontID = 1;
  r.m_nSessionID = 1;
  r.m_nOrderID = order.id;
  r.m_nPriceType = order.market ? PRICE_MARKET_CHAR : PRICE_LIMIT_CHAR;
  r.m_nDirection = order.buy() ? DIRECTION_BUY_CHAR : DIRECTION_SELL_CHAR;
  // Where the exchange tells today's volume apart, an older-close closes yesterday's.
  const bool yesterday = order.exchange == "SHFE" || order.exchange == "INE";
  r.m_nOffsetFlag = order.opening()       ? OFFSET_OPEN_CHAR
                    : order.closesToday() ? OFFSET_CLOSE_TODAY_CHAR
                    : yesterday           ? OFFSET_CLOSE_YESTERDAY_CHAR
                                          : OFFSET_CLOSE_CHAR;
  r.m_nHedgeFlag = HEDGE_SPECULATION_CHAR;
}

template <class Record>
void Counter::addFrozen(const Order& order, Record& r) const {
  const Instrument& inst = instruments_.at(order.instrument);
  const double price = order.market ? inst.reference : order.limitPrice;
  const double value = price * (order.volume - order.traded) * inst.config.multiplier;
  if (order.opening()) r.m_dFrozenMargin += value * inst.config.marginRate;
  r.m_dFrozenCommission += value * config_.behaviour.commissionRate;
}

VendorAccountDetail Counter::accountRecord(const std::string& id) const {
  VendorAccountDetail r{};
  const auto account = accounts_.find(id);
  if (account == accounts_.end()) return r;
  copyToField(r.m_strAccountID, id);
  r.m_nAccountType = account->second.config.type;
  copyToField(r.m_strStatus, kAccountNormal);
  copyToField(r.m_strTradingDay, tradingDay_);
  r.m_dPreBalance = account->second.config.cash;
  r.m_dCommission = account->second.commission;
  r.m_dCloseProfit = account->second.closeProfit;
  for (const auto& [key, position] : positions_) {
    if (std::get<0>(key) != id) continue;
    const Instrument& inst = instruments_.at(std::get<1>(key));
    r.m_dCurrMargin += position.openCost(nullptr, inst.config.multiplier) * inst.config.marginRate;
    r.m_dPositionProfit += position.floatingProfit(nullptr, inst.reference, inst.config.multiplier);
  }
  for (int orderId : resting_) {
    if (orders_[orderId - 1].account == id) addFrozen(orders_[orderId - 1], r);
  }
  r.m_dBalance = r.m_dPreBalance + r.m_dCloseProfit + r.m_dPositionProfit - r.m_dCommission;
  r.m_dAvailable = r.m_dBalance - r.m_dCurrMargin - r.m_dFrozenMargin - r.m_dFrozenCommission;
  r.m_dFrozenCash = r.m_dFrozenMargin + r.m_dFrozenCommission;
  return r;
}

VendorOrder Counter::orderRecord(const Order& order) const {
  VendorOrder r{};
  orderFields(order, r);
  r.m_dLimitPrice = order.limitPrice;
  r.m_nVolumeTraded = order.traded;
  r.m_nVolumeTotalOriginal = order.volume;
  r.m_dAveragePrice = order.traded > 0 ? order.priceVolume / order.traded : 0;
  r.m_dTradeAmount = order.tradeAmount;
  if (order.live()) addFrozen(order, r);
  copyToField(r.m_strErrorMsg, order.message);
  copyToField(r.m_strInsertDate, order.inserted.date);
  copyToField(r.m_strInsertTime, order.inserted.time);
  r.m_nOrderStatus = order.status;
  r.m_nOrderSubmitStatus = order.submitStatus;
  r.m_nVolumeRemaining = order.live() ? order.volume - order.traded : 0;
  return r;
}

VendorDeal Counter::dealRecord(const Order& order, const std::string& tradeId, double price,
                               int volume, double amount, double commission) const {
  VendorDeal r{};
  orderFields(order, r);
  const Stamp now = clock_();
  copyToField(r.m_strTradeID, tradeId);
  r.m_dPrice = price;
  r.m_nVolume = volume;
  copyToField(r.m_strTradeDate, now.date);
  copyToField(r.m_strTradeTime, now.time);
  r.m_dTradeAmount = amount;
  r.m_dCommission = commission;
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
      VendorPosition r = positionRecord<VendorPosition>(id, inst.config, p.side(), age);
      copyToField(r.m_strOpenDate, lots.front().lot->openDate);
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
      r.m_dMarketValue = inst.reference * volume * mult;
      r.m_dInstrumentValue = r.m_dMarketValue;
      r.m_nHedgeFlag = HEDGE_SPECULATION_CHAR;
      positions.push_back(r);
      if (details == nullptr) continue;
      for (const LotView& view : lots) {
        const Lot& lot = *view.lot;
        VendorPositionDetail d =
            positionRecord<VendorPositionDetail>(id, inst.config, p.side(), age);
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
  answerQuery(&XtTraderApiCallback::onAccountDetailReply, account, requestId, out,
              [&] { return std::vector<VendorAccountDetail>{accountRecord(account)}; });
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
