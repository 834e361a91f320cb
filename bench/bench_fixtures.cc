#include "bench/bench_fixtures.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <random>

#include "plugin/common.h"

namespace kestrel {
namespace bench {
namespace {

template <std::size_t N>
void setField(char (&field)[N], const char* text) {
  std::strncpy(field, text, N - 1);
  field[N - 1] = '\0';
}

}  // namespace

void loadBaseInformation() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
  });
}

SessionConfig benchConfig() {
  SessionConfig config;
  config.configCode = 17;
  config.configText = "xt-main";
  config.userName = "trader01";
  config.password = "secret";
  config.server.serverAddresses.push_back(AddressEntry{"tcp://127.0.0.1:58000", "primary"});
  return config;
}

ClientId clientIdOf(int n) {
  char serial[16];
  std::snprintf(serial, sizeof(serial), "%06d", n);
  return ClientId{"20240105", serial};
}

void registerOrders(XtClientIdSet& registry, int count) {
  for (int n = 1; n <= count; ++n) {
    registry.add(n, clientIdOf(n));
    registry.update(n, orderIdOf(n));
  }
}

xti::VendorOrder vendorOrder(int n, OrderEvent event) {
  xti::VendorOrder order;
  std::memset(&order, 0, sizeof(order));
  setField(order.m_strAccountID, "8800123456");
  setField(order.m_strExchangeID, "SHFE");
  setField(order.m_strProductID, "rb");
  setField(order.m_strInstrumentID, "rb2405");
  order.m_dLimitPrice = 3850.0;
  order.m_nVolumeTotalOriginal = 2;
  setField(order.m_strInsertDate, "20240105");
  setField(order.m_strInsertTime, "09:30:15");
  order.m_nOrderID = orderIdOf(n);
  order.m_nPriceType = xti::PRICE_LIMIT_CHAR;
  order.m_nDirection = xti::DIRECTION_BUY_CHAR;
  order.m_nOffsetFlag = xti::OFFSET_OPEN_CHAR;
  order.m_nHedgeFlag = xti::HEDGE_SPECULATION_CHAR;
  switch (event) {
    case OrderEvent::kAccepted:
      order.m_nOrderStatus = xti::ORDER_NO_TRADE_QUEUEING_CHAR;
      order.m_nOrderSubmitStatus = xti::SUBMIT_ACCEPTED_CHAR;
      setField(order.m_strOrderSysID, "2024010500123456");
      break;
    case OrderEvent::kFilled:
      order.m_nOrderStatus = xti::ORDER_ALL_TRADED_CHAR;
      order.m_nOrderSubmitStatus = xti::SUBMIT_ALL_FILLED_CHAR;
      setField(order.m_strOrderSysID, "2024010500123456");
      order.m_nVolumeTraded = 2;
      order.m_dAveragePrice = 3850.0;
      order.m_dTradeAmount = 77000.0;
      break;
    case OrderEvent::kCanceled:
      order.m_nOrderStatus = xti::ORDER_CANCELED_CHAR;
      order.m_nOrderSubmitStatus = xti::SUBMIT_ACCEPTED_CHAR;
      setField(order.m_strOrderSysID, "2024010500123456");
      setField(order.m_strErrorMsg, "\xE5\xB7\xB2\xE6\x92\xA4\xE5\x8D\x95");  // 已撤单
      break;
    case OrderEvent::kRejected:
      order.m_nOrderStatus = xti::ORDER_REJECTED_CHAR;
      order.m_nOrderSubmitStatus = xti::SUBMIT_INSERT_SUBMITTED_CHAR;
      setField(order.m_strErrorMsg,
               "\xE8\xB5\x84\xE9\x87\x91\xE4\xB8\x8D\xE8\xB6\xB3");  // 资金不足
      break;
  }
  return order;
}

xti::VendorDeal vendorDeal(int n) {
  xti::VendorDeal deal;
  std::memset(&deal, 0, sizeof(deal));
  setField(deal.m_strAccountID, "8800123456");
  setField(deal.m_strExchangeID, "SHFE");
  setField(deal.m_strInstrumentID, "rb2405");
  setField(deal.m_strOrderSysID, "2024010500123456");
  setField(deal.m_strTradeID, "88001234");
  deal.m_dPrice = 3850.0;
  deal.m_nVolume = 2;
  setField(deal.m_strTradeDate, "20240105");
  setField(deal.m_strTradeTime, "09:30:16");
  deal.m_nOrderID = orderIdOf(n);
  deal.m_nDirection = xti::DIRECTION_BUY_CHAR;
  deal.m_nOffsetFlag = xti::OFFSET_OPEN_CHAR;
  deal.m_nHedgeFlag = xti::HEDGE_SPECULATION_CHAR;
  deal.m_nPriceType = xti::PRICE_LIMIT_CHAR;
  return deal;
}

xti::VendorAccountDetail vendorAccountDetail() {
  xti::VendorAccountDetail detail;
  std::memset(&detail, 0, sizeof(detail));
  setField(detail.m_strAccountID, "8800123456");
  setField(detail.m_strTradingDay, "20240105");
  detail.m_dPreBalance = 1000000.0;
  detail.m_dBalance = 1002500.0;
  detail.m_dAvailable = 902500.0;
  detail.m_dCurrMargin = 100000.0;
  detail.m_dCommission = 12.5;
  return detail;
}

AccountOrderNewRequest orderRequest(int n) {
  AccountOrderNewRequest request;
  request.header.accountCode = 17;
  request.header.configText = "xt-main";
  request.header.userName = "trader01";
  request.codeId.kind = 1;
  request.codeId.exchange = 3;  // SHFE
  request.codeId.code = "rb2405";
  request.clientId = clientIdOf(n);
  request.quantity = 2;
  request.price = 3850.0;
  request.priceType = 1;
  request.offsetFlag = 1;
  request.direction = 1;
  return request;
}

std::vector<int> pickOrders(int count, Pick pick) {
  std::vector<int> picks;
  if (pick == Pick::kRecent) {
    for (int n = count - 63; n <= count; ++n) picks.push_back(n < 1 ? 1 : n);
    return picks;
  }
  std::mt19937 random(20240105);
  std::uniform_int_distribution<int> any(1, count);
  for (int i = 0; i < 4096; ++i) picks.push_back(any(random));
  return picks;
}

NullHost& sharedNullHost() {
  static NullHost host;
  return host;
}

XtTraderSpi& receiverWithOrders(int count) {
  static std::mutex mutex;
  static std::map<int, std::unique_ptr<XtTraderSpi>> receivers;
  std::lock_guard<std::mutex> lock(mutex);
  std::unique_ptr<XtTraderSpi>& receiver = receivers[count];
  if (!receiver) {
    loadBaseInformation();
    receiver.reset(new XtTraderSpi);
    receiver->setSettings(benchConfig());
    receiver->setHost(&sharedNullHost());
    registerOrders(*receiver->TEST_identity().registry, count);
  }
  return *receiver;
}

}  // namespace bench
}  // namespace kestrel
