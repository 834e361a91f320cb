// Records of the vendor trading library (namespace xti) that arrive with its
// callbacks.
//
// The vendor library lays these out and the plug-in reads them by byte
// position, so every position the plug-in reads is pinned with static_assert
// (the comment beside each field gives its position). Texts are fixed char
// arrays, NUL-terminated by the vendor's contract; readers still never look
// past the end of an array. Character codes are 32-bit integers holding an
// ASCII code ('0' is 48).
#ifndef KESTREL_PLUGIN_XT_RECORDS_H_
#define KESTREL_PLUGIN_XT_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace xti {

// Funds of one account: the reply to queryAccountDetail.
struct VendorAccountDetail {
  char m_strAccountID[32];     // 0
  int32_t m_nAccountType;      // 32
  char m_strStatus[32];        // 36
  char m_strTradingDay[20];    // 68: YYYYMMDD
  double m_dPreBalance;        // 88
  double m_dBalance;           // 96
  double m_dAvailable;         // 104
  double m_dPreCredit;         // 112
  double m_dPreMortgage;       // 120
  double m_dCommission;        // 128
  double m_dFrozenCommission;  // 136
  double m_dCurrMargin;        // 144
  double m_dFrozenMargin;      // 152
  double m_dFrozenCash;        // 160
  double m_dCloseProfit;       // 168
  double m_dMortgage;          // 176
  double m_dPositionProfit;    // 184
  double m_dCredit;            // 192
  double m_dDeposit;           // 200
  double m_dWithdraw;          // 208
};
static_assert(std::is_standard_layout<VendorAccountDetail>::value,
              "VendorAccountDetail is a C layout");
static_assert(sizeof(VendorAccountDetail) == 216, "VendorAccountDetail size");
static_assert(offsetof(VendorAccountDetail, m_strTradingDay) == 68,
              "VendorAccountDetail::m_strTradingDay");
static_assert(offsetof(VendorAccountDetail, m_dPreBalance) == 88,
              "VendorAccountDetail::m_dPreBalance");
static_assert(offsetof(VendorAccountDetail, m_dBalance) == 96, "VendorAccountDetail::m_dBalance");
static_assert(offsetof(VendorAccountDetail, m_dAvailable) == 104,
              "VendorAccountDetail::m_dAvailable");
static_assert(offsetof(VendorAccountDetail, m_dCommission) == 128,
              "VendorAccountDetail::m_dCommission");
static_assert(offsetof(VendorAccountDetail, m_dCurrMargin) == 144,
              "VendorAccountDetail::m_dCurrMargin");
static_assert(offsetof(VendorAccountDetail, m_dFrozenMargin) == 152,
              "VendorAccountDetail::m_dFrozenMargin");
static_assert(offsetof(VendorAccountDetail, m_dFrozenCash) == 160,
              "VendorAccountDetail::m_dFrozenCash");
static_assert(offsetof(VendorAccountDetail, m_dCloseProfit) == 168,
              "VendorAccountDetail::m_dCloseProfit");
static_assert(offsetof(VendorAccountDetail, m_dPositionProfit) == 184,
              "VendorAccountDetail::m_dPositionProfit");
static_assert(offsetof(VendorAccountDetail, m_dDeposit) == 200, "VendorAccountDetail::m_dDeposit");
static_assert(offsetof(VendorAccountDetail, m_dWithdraw) == 208,
              "VendorAccountDetail::m_dWithdraw");

// One order: the reply to queryOrderDetail and the order push.
struct VendorOrder {
  char m_strAccountID[32];     // 0
  int32_t m_nAccountType;      // 32
  char m_strExchangeID[16];    // 36
  char m_strProductID[32];     // 52
  char m_strInstrumentID[32];  // 84
  int32_t m_nFrontID;          // 116
  double m_dLimitPrice;        // 120
  char m_strOrderSysID[32];  // 128: exchange order id; empty until the exchange accepted the order
  int32_t m_nVolumeTraded;   // 160
  int32_t m_nVolumeTotalOriginal;  // 164
  double m_dAveragePrice;          // 168
  double m_dTradeAmount;           // 176
  double m_dFrozenMargin;          // 184
  double m_dFrozenCommission;      // 192
  int32_t m_nSessionID;            // 200
  char m_strErrorMsg[256];         // 204: UTF-8 status text
  char m_strInsertDate[16];        // 460: YYYYMMDD, UTC+8
  char m_strInsertTime[32];        // 476: HH:MM:SS, UTC+8
  int32_t m_nOrderID;              // 508: vendor order id
  int32_t m_nPriceType;            // 512: character code
  int32_t m_nDirection;            // 516: character code
  int32_t m_nOffsetFlag;           // 520: character code
  int32_t m_nHedgeFlag;            // 524: character code
  int32_t m_nOrderStatus;          // 528: character code
  int32_t m_nOrderSubmitStatus;    // 532: character code
  int32_t m_nVolumeRemaining;      // 536
};
static_assert(std::is_standard_layout<VendorOrder>::value, "VendorOrder is a C layout");
static_assert(sizeof(VendorOrder) == 544, "VendorOrder size");
static_assert(offsetof(VendorOrder, m_strExchangeID) == 36, "VendorOrder::m_strExchangeID");
static_assert(offsetof(VendorOrder, m_strInstrumentID) == 84, "VendorOrder::m_strInstrumentID");
static_assert(offsetof(VendorOrder, m_dLimitPrice) == 120, "VendorOrder::m_dLimitPrice");
static_assert(offsetof(VendorOrder, m_strOrderSysID) == 128, "VendorOrder::m_strOrderSysID");
static_assert(offsetof(VendorOrder, m_nVolumeTotalOriginal) == 164,
              "VendorOrder::m_nVolumeTotalOriginal");
static_assert(offsetof(VendorOrder, m_dAveragePrice) == 168, "VendorOrder::m_dAveragePrice");
static_assert(offsetof(VendorOrder, m_dTradeAmount) == 176, "VendorOrder::m_dTradeAmount");
static_assert(offsetof(VendorOrder, m_strErrorMsg) == 204, "VendorOrder::m_strErrorMsg");
static_assert(offsetof(VendorOrder, m_strInsertDate) == 460, "VendorOrder::m_strInsertDate");
static_assert(offsetof(VendorOrder, m_strInsertTime) == 476, "VendorOrder::m_strInsertTime");
static_assert(offsetof(VendorOrder, m_nOrderID) == 508, "VendorOrder::m_nOrderID");
static_assert(offsetof(VendorOrder, m_nPriceType) == 512, "VendorOrder::m_nPriceType");
static_assert(offsetof(VendorOrder, m_nDirection) == 516, "VendorOrder::m_nDirection");
static_assert(offsetof(VendorOrder, m_nOffsetFlag) == 520, "VendorOrder::m_nOffsetFlag");
static_assert(offsetof(VendorOrder, m_nHedgeFlag) == 524, "VendorOrder::m_nHedgeFlag");
static_assert(offsetof(VendorOrder, m_nOrderStatus) == 528, "VendorOrder::m_nOrderStatus");
static_assert(offsetof(VendorOrder, m_nOrderSubmitStatus) == 532,
              "VendorOrder::m_nOrderSubmitStatus");

// One fill: the reply to queryDealDetail and the deal push.
struct VendorDeal {
  char m_strAccountID[32];     // 0
  int32_t m_nAccountType;      // 32
  char m_strExchangeID[16];    // 36
  char m_strProductID[32];     // 52
  char m_strInstrumentID[32];  // 84
  char m_strOrderSysID[32];    // 116
  char m_strTradeID[32];       // 148
  int32_t m_nFrontID;          // 180
  double m_dPrice;             // 184
  int32_t m_nVolume;           // 192
  char m_strTradeDate[16];     // 196: YYYYMMDD, UTC+8
  char m_strTradeTime[16];     // 212: HH:MM:SS, UTC+8
  int32_t m_nSessionID;        // 228
  double m_dTradeAmount;       // 232
  double m_dCommission;        // 240
  char m_strRemark[16];        // 248
  int32_t m_nOrderID;          // 264: vendor order id
  int32_t m_nDirection;        // 268: character code
  int32_t m_nOffsetFlag;       // 272: character code
  int32_t m_nHedgeFlag;        // 276: character code
  int32_t m_nPriceType;        // 280: character code
  int32_t m_nTradeType;        // 284
};
static_assert(std::is_standard_layout<VendorDeal>::value, "VendorDeal is a C layout");
static_assert(sizeof(VendorDeal) == 288, "VendorDeal size");
static_assert(offsetof(VendorDeal, m_strExchangeID) == 36, "VendorDeal::m_strExchangeID");
static_assert(offsetof(VendorDeal, m_strInstrumentID) == 84, "VendorDeal::m_strInstrumentID");
static_assert(offsetof(VendorDeal, m_strOrderSysID) == 116, "VendorDeal::m_strOrderSysID");
static_assert(offsetof(VendorDeal, m_strTradeID) == 148, "VendorDeal::m_strTradeID");
static_assert(offsetof(VendorDeal, m_dPrice) == 184, "VendorDeal::m_dPrice");
static_assert(offsetof(VendorDeal, m_nVolume) == 192, "VendorDeal::m_nVolume");
static_assert(offsetof(VendorDeal, m_strTradeDate) == 196, "VendorDeal::m_strTradeDate");
static_assert(offsetof(VendorDeal, m_strTradeTime) == 212, "VendorDeal::m_strTradeTime");
static_assert(offsetof(VendorDeal, m_nOrderID) == 264, "VendorDeal::m_nOrderID");
static_assert(offsetof(VendorDeal, m_nDirection) == 268, "VendorDeal::m_nDirection");
static_assert(offsetof(VendorDeal, m_nOffsetFlag) == 272, "VendorDeal::m_nOffsetFlag");
static_assert(offsetof(VendorDeal, m_nHedgeFlag) == 276, "VendorDeal::m_nHedgeFlag");
static_assert(offsetof(VendorDeal, m_nPriceType) == 280, "VendorDeal::m_nPriceType");

// One opening fill still held: the reply to queryPositionDetail.
struct VendorPositionDetail {
  char m_strAccountID[32];        // 0
  char m_strExchangeID[16];       // 32
  char m_strProductID[32];        // 48
  char m_strInstrumentID[32];     // 80
  char m_strProductName[32];      // 112
  char m_strOpenDate[16];         // 144: YYYYMMDD
  char m_strTradeID[32];          // 160
  int32_t m_nVolume;              // 192: volume free to close
  int32_t m_nFrontID;             // 196
  double m_dOpenPrice;            // 200
  char m_strTradingDay[32];       // 208: YYYYMMDD
  double m_dMargin;               // 240
  int32_t m_nFrozenVolume;        // 248: volume held by pending closing orders
  int32_t m_nSessionID;           // 252
  double m_dCloseAmount;          // 256
  double m_dPositionProfit;       // 264
  double m_dCloseProfit;          // 272
  double m_dMarketValue;          // 280
  double m_dSettlementPrice;      // 288
  double m_dLastSettlementPrice;  // 296
  double m_dOpenCost;             // 304
  double m_dExchangeMargin;       // 312
  bool m_bIsToday;                // 320
  int32_t m_nReserved[8];         // 324
  int32_t m_nDirection;           // 356: character code
};
static_assert(std::is_standard_layout<VendorPositionDetail>::value,
              "VendorPositionDetail is a C layout");
static_assert(sizeof(VendorPositionDetail) == 360, "VendorPositionDetail size");
static_assert(offsetof(VendorPositionDetail, m_strExchangeID) == 32,
              "VendorPositionDetail::m_strExchangeID");
static_assert(offsetof(VendorPositionDetail, m_strInstrumentID) == 80,
              "VendorPositionDetail::m_strInstrumentID");
static_assert(offsetof(VendorPositionDetail, m_strOpenDate) == 144,
              "VendorPositionDetail::m_strOpenDate");
static_assert(offsetof(VendorPositionDetail, m_strTradeID) == 160,
              "VendorPositionDetail::m_strTradeID");
static_assert(offsetof(VendorPositionDetail, m_nVolume) == 192, "VendorPositionDetail::m_nVolume");
static_assert(offsetof(VendorPositionDetail, m_dOpenPrice) == 200,
              "VendorPositionDetail::m_dOpenPrice");
static_assert(offsetof(VendorPositionDetail, m_strTradingDay) == 208,
              "VendorPositionDetail::m_strTradingDay");
static_assert(offsetof(VendorPositionDetail, m_nFrozenVolume) == 248,
              "VendorPositionDetail::m_nFrozenVolume");
static_assert(offsetof(VendorPositionDetail, m_dOpenCost) == 304,
              "VendorPositionDetail::m_dOpenCost");
static_assert(offsetof(VendorPositionDetail, m_bIsToday) == 320,
              "VendorPositionDetail::m_bIsToday");
static_assert(offsetof(VendorPositionDetail, m_nDirection) == 356,
              "VendorPositionDetail::m_nDirection");

// Position of one instrument, side and age: the reply to queryPosition.
struct VendorPosition {
  char m_strAccountID[32];        // 0
  char m_strExchangeID[16];       // 32
  char m_strProductID[32];        // 48
  char m_strInstrumentID[32];     // 80
  char m_strOpenDate[32];         // 112
  bool m_bIsToday;                // 144
  int32_t m_nPosition;            // 148
  double m_dOpenPrice;            // 152
  double m_dOpenCost;             // 160
  double m_dPositionCost;         // 168
  double m_dAveragePrice;         // 176
  double m_dPositionProfit;       // 184
  double m_dFloatProfit;          // 192
  double m_dCloseProfit;          // 200
  double m_dMargin;               // 208
  double m_dUsedMargin;           // 216
  double m_dLastPrice;            // 224
  double m_dSettlementPrice;      // 232
  double m_dLastSettlementPrice;  // 240
  double m_dMarketValue;          // 248
  double m_dCommission;           // 256
  double m_dFrozenMargin;         // 264
  double m_dFrozenCommission;     // 272
  double m_dInstrumentValue;      // 280
  double m_dCloseAmount;          // 288
  int32_t m_nDirection;           // 296: character code
  int32_t m_nHedgeFlag;           // 300: character code
};
static_assert(std::is_standard_layout<VendorPosition>::value, "VendorPosition is a C layout");
static_assert(sizeof(VendorPosition) == 304, "VendorPosition size");
static_assert(offsetof(VendorPosition, m_strExchangeID) == 32, "VendorPosition::m_strExchangeID");
static_assert(offsetof(VendorPosition, m_strInstrumentID) == 80,
              "VendorPosition::m_strInstrumentID");
static_assert(offsetof(VendorPosition, m_bIsToday) == 144, "VendorPosition::m_bIsToday");
static_assert(offsetof(VendorPosition, m_nPosition) == 148, "VendorPosition::m_nPosition");
static_assert(offsetof(VendorPosition, m_nDirection) == 296, "VendorPosition::m_nDirection");

// A failed order or cancel: the record of onOrderErrorPush and onCancelErrorPush.
struct VendorOrderError {
  char m_strAccountID[32];  // 0
  int32_t m_nErrorID;       // 32
  char m_strErrorMsg[256];  // 36: UTF-8
  int32_t m_nOrderID;       // 292
  int32_t m_nRequestID;     // 296: request number of the failed request
  int32_t m_nCancelFlag;    // 300
};
static_assert(std::is_standard_layout<VendorOrderError>::value, "VendorOrderError is a C layout");
static_assert(sizeof(VendorOrderError) == 304, "VendorOrderError size");
static_assert(offsetof(VendorOrderError, m_strErrorMsg) == 36, "VendorOrderError::m_strErrorMsg");
static_assert(offsetof(VendorOrderError, m_nRequestID) == 296, "VendorOrderError::m_nRequestID");
}  // namespace xti

#endif  // KESTREL_PLUGIN_XT_RECORDS_H_
