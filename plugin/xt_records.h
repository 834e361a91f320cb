// Records of the vendor trading library (namespace xti) that arrive with its
// callbacks.
//
// The vendor library lays these out and the plug-in reads them by byte
// position: plugin/xt_record_layout.h gives every field's position, checked
// at compile time against these declarations wherever the vendor's header
// (plugin/xt_trader_api.h) is included. Texts are fixed char
// arrays, NUL-terminated by the vendor's contract; readers still never look
// past the end of an array. Character codes are 32-bit integers holding an
// ASCII code ('0' is 48).
#ifndef KESTREL_PLUGIN_XT_RECORDS_H_
#define KESTREL_PLUGIN_XT_RECORDS_H_

#include <cstdint>

namespace xti {

// Funds of one account: the reply to queryAccountDetail.
struct VendorAccountDetail {
  char m_strAccountID[32];
  int32_t m_nAccountType;
  char m_strStatus[32];
  char m_strTradingDay[20];  // YYYYMMDD
  double m_dPreBalance;
  double m_dBalance;
  double m_dAvailable;
  double m_dPreCredit;
  double m_dPreMortgage;
  double m_dCommission;
  double m_dFrozenCommission;
  double m_dCurrMargin;
  double m_dFrozenMargin;
  double m_dFrozenCash;
  double m_dCloseProfit;
  double m_dMortgage;
  double m_dPositionProfit;
  double m_dCredit;
  double m_dDeposit;
  double m_dWithdraw;
};

// One order: the reply to queryOrderDetail and the order push.
struct VendorOrder {
  char m_strAccountID[32];
  int32_t m_nAccountType;
  char m_strExchangeID[16];
  char m_strProductID[32];
  char m_strInstrumentID[32];
  int32_t m_nFrontID;
  double m_dLimitPrice;
  char m_strOrderSysID[32];  // exchange order id; empty until the exchange accepted the order
  int32_t m_nVolumeTraded;
  int32_t m_nVolumeTotalOriginal;
  double m_dAveragePrice;
  double m_dTradeAmount;
  double m_dFrozenMargin;
  double m_dFrozenCommission;
  int32_t m_nSessionID;
  char m_strErrorMsg[256];       // UTF-8 status text
  char m_strInsertDate[16];      // YYYYMMDD, UTC+8
  char m_strInsertTime[32];      // HH:MM:SS, UTC+8
  int32_t m_nOrderID;            // vendor order id
  int32_t m_nPriceType;          // character code
  int32_t m_nDirection;          // character code
  int32_t m_nOffsetFlag;         // character code
  int32_t m_nHedgeFlag;          // character code
  int32_t m_nOrderStatus;        // character code
  int32_t m_nOrderSubmitStatus;  // character code
  int32_t m_nVolumeRemaining;
};

// One fill: the reply to queryDealDetail and the deal push.
struct VendorDeal {
  char m_strAccountID[32];
  int32_t m_nAccountType;
  char m_strExchangeID[16];
  char m_strProductID[32];
  char m_strInstrumentID[32];
  char m_strOrderSysID[32];
  char m_strTradeID[32];
  int32_t m_nFrontID;
  double m_dPrice;
  int32_t m_nVolume;
  char m_strTradeDate[16];  // YYYYMMDD, UTC+8
  char m_strTradeTime[16];  // HH:MM:SS, UTC+8
  int32_t m_nSessionID;
  double m_dTradeAmount;
  double m_dCommission;
  char m_strRemark[16];
  int32_t m_nOrderID;     // vendor order id
  int32_t m_nDirection;   // character code
  int32_t m_nOffsetFlag;  // character code
  int32_t m_nHedgeFlag;   // character code
  int32_t m_nPriceType;   // character code
  int32_t m_nTradeType;
};

// One opening fill still held: the reply to queryPositionDetail.
struct VendorPositionDetail {
  char m_strAccountID[32];
  char m_strExchangeID[16];
  char m_strProductID[32];
  char m_strInstrumentID[32];
  char m_strProductName[32];
  char m_strOpenDate[16];  // YYYYMMDD
  char m_strTradeID[32];
  int32_t m_nVolume;  // volume free to close
  int32_t m_nFrontID;
  double m_dOpenPrice;
  char m_strTradingDay[32];  // YYYYMMDD
  double m_dMargin;
  int32_t m_nFrozenVolume;  // volume held by pending closing orders
  int32_t m_nSessionID;
  double m_dCloseAmount;
  double m_dPositionProfit;
  double m_dCloseProfit;
  double m_dMarketValue;
  double m_dSettlementPrice;
  double m_dLastSettlementPrice;
  double m_dOpenCost;
  double m_dExchangeMargin;
  bool m_bIsToday;
  int32_t m_nReserved[8];
  int32_t m_nDirection;  // character code
};

// Position of one instrument, side and age: the reply to queryPosition.
struct VendorPosition {
  char m_strAccountID[32];
  char m_strExchangeID[16];
  char m_strProductID[32];
  char m_strInstrumentID[32];
  char m_strOpenDate[32];
  bool m_bIsToday;
  int32_t m_nPosition;
  double m_dOpenPrice;
  double m_dOpenCost;
  double m_dPositionCost;
  double m_dAveragePrice;
  double m_dPositionProfit;
  double m_dFloatProfit;
  double m_dCloseProfit;
  double m_dMargin;
  double m_dUsedMargin;
  double m_dLastPrice;
  double m_dSettlementPrice;
  double m_dLastSettlementPrice;
  double m_dMarketValue;
  double m_dCommission;
  double m_dFrozenMargin;
  double m_dFrozenCommission;
  double m_dInstrumentValue;
  double m_dCloseAmount;
  int32_t m_nDirection;  // character code
  int32_t m_nHedgeFlag;  // character code
};

// A failed order or cancel: the record of onOrderErrorPush and onCancelErrorPush.
struct VendorOrderError {
  char m_strAccountID[32];
  int32_t m_nErrorID;
  char m_strErrorMsg[256];  // UTF-8
  int32_t m_nOrderID;
  int32_t m_nRequestID;  // request number of the failed request
  int32_t m_nCancelFlag;
};
}  // namespace xti

#endif  // KESTREL_PLUGIN_XT_RECORDS_H_
