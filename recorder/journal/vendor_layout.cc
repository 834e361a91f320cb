#include "recorder/journal/vendor_layout.h"

namespace kestrel {
namespace journal {
namespace {

template <typename T>
struct TypeCode;
template <std::size_t N>
struct TypeCode<char[N]> {
  static constexpr char value = 't';
};
template <>
struct TypeCode<int32_t> {
  static constexpr char value = 'i';
};
template <>
struct TypeCode<double> {
  static constexpr char value = 'd';
};
template <>
struct TypeCode<bool> {
  static constexpr char value = 'b';
};

#define F(R, m)                                                                         \
  LayoutField {                                                                         \
#m, offsetof(xti::R, m), sizeof(xti::R::m), TypeCode < decltype(xti::R::m)> ::value \
  }

const LayoutField kOrdinaryOrder[] = {
    F(COrdinaryOrder, m_strAccountID),    F(COrdinaryOrder, m_dPrice),
    F(COrdinaryOrder, m_dSuperPriceRate), F(COrdinaryOrder, m_nVolume),
    F(COrdinaryOrder, m_strMarket),       F(COrdinaryOrder, m_strInstrument),
    F(COrdinaryOrder, m_ePriceType),      F(COrdinaryOrder, m_eOperationType),
    F(COrdinaryOrder, m_eHedgeFlag),      F(COrdinaryOrder, m_strRemark)};

const LayoutField kAccountDetail[] = {
    F(VendorAccountDetail, m_strAccountID),      F(VendorAccountDetail, m_nAccountType),
    F(VendorAccountDetail, m_strStatus),         F(VendorAccountDetail, m_strTradingDay),
    F(VendorAccountDetail, m_dPreBalance),       F(VendorAccountDetail, m_dBalance),
    F(VendorAccountDetail, m_dAvailable),        F(VendorAccountDetail, m_dPreCredit),
    F(VendorAccountDetail, m_dPreMortgage),      F(VendorAccountDetail, m_dCommission),
    F(VendorAccountDetail, m_dFrozenCommission), F(VendorAccountDetail, m_dCurrMargin),
    F(VendorAccountDetail, m_dFrozenMargin),     F(VendorAccountDetail, m_dFrozenCash),
    F(VendorAccountDetail, m_dCloseProfit),      F(VendorAccountDetail, m_dMortgage),
    F(VendorAccountDetail, m_dPositionProfit),   F(VendorAccountDetail, m_dCredit),
    F(VendorAccountDetail, m_dDeposit),          F(VendorAccountDetail, m_dWithdraw)};

const LayoutField kOrder[] = {
    F(VendorOrder, m_strAccountID),       F(VendorOrder, m_nAccountType),
    F(VendorOrder, m_strExchangeID),      F(VendorOrder, m_strProductID),
    F(VendorOrder, m_strInstrumentID),    F(VendorOrder, m_nFrontID),
    F(VendorOrder, m_dLimitPrice),        F(VendorOrder, m_strOrderSysID),
    F(VendorOrder, m_nVolumeTraded),      F(VendorOrder, m_nVolumeTotalOriginal),
    F(VendorOrder, m_dAveragePrice),      F(VendorOrder, m_dTradeAmount),
    F(VendorOrder, m_dFrozenMargin),      F(VendorOrder, m_dFrozenCommission),
    F(VendorOrder, m_nSessionID),         F(VendorOrder, m_strErrorMsg),
    F(VendorOrder, m_strInsertDate),      F(VendorOrder, m_strInsertTime),
    F(VendorOrder, m_nOrderID),           F(VendorOrder, m_nPriceType),
    F(VendorOrder, m_nDirection),         F(VendorOrder, m_nOffsetFlag),
    F(VendorOrder, m_nHedgeFlag),         F(VendorOrder, m_nOrderStatus),
    F(VendorOrder, m_nOrderSubmitStatus), F(VendorOrder, m_nVolumeRemaining)};

const LayoutField kDeal[] = {
    F(VendorDeal, m_strAccountID), F(VendorDeal, m_nAccountType),    F(VendorDeal, m_strExchangeID),
    F(VendorDeal, m_strProductID), F(VendorDeal, m_strInstrumentID), F(VendorDeal, m_strOrderSysID),
    F(VendorDeal, m_strTradeID),   F(VendorDeal, m_nFrontID),        F(VendorDeal, m_dPrice),
    F(VendorDeal, m_nVolume),      F(VendorDeal, m_strTradeDate),    F(VendorDeal, m_strTradeTime),
    F(VendorDeal, m_nSessionID),   F(VendorDeal, m_dTradeAmount),    F(VendorDeal, m_dCommission),
    F(VendorDeal, m_strRemark),    F(VendorDeal, m_nOrderID),        F(VendorDeal, m_nDirection),
    F(VendorDeal, m_nOffsetFlag),  F(VendorDeal, m_nHedgeFlag),      F(VendorDeal, m_nPriceType),
    F(VendorDeal, m_nTradeType)};

const LayoutField kPositionDetail[] = {
    F(VendorPositionDetail, m_strAccountID),     F(VendorPositionDetail, m_strExchangeID),
    F(VendorPositionDetail, m_strProductID),     F(VendorPositionDetail, m_strInstrumentID),
    F(VendorPositionDetail, m_strProductName),   F(VendorPositionDetail, m_strOpenDate),
    F(VendorPositionDetail, m_strTradeID),       F(VendorPositionDetail, m_nVolume),
    F(VendorPositionDetail, m_nFrontID),         F(VendorPositionDetail, m_dOpenPrice),
    F(VendorPositionDetail, m_strTradingDay),    F(VendorPositionDetail, m_dMargin),
    F(VendorPositionDetail, m_nFrozenVolume),    F(VendorPositionDetail, m_nSessionID),
    F(VendorPositionDetail, m_dCloseAmount),     F(VendorPositionDetail, m_dPositionProfit),
    F(VendorPositionDetail, m_dCloseProfit),     F(VendorPositionDetail, m_dMarketValue),
    F(VendorPositionDetail, m_dSettlementPrice), F(VendorPositionDetail, m_dLastSettlementPrice),
    F(VendorPositionDetail, m_dOpenCost),        F(VendorPositionDetail, m_dExchangeMargin),
    F(VendorPositionDetail, m_bIsToday),         F(VendorPositionDetail, m_nDirection)};

const LayoutField kPosition[] = {F(VendorPosition, m_strAccountID),
                                 F(VendorPosition, m_strExchangeID),
                                 F(VendorPosition, m_strProductID),
                                 F(VendorPosition, m_strInstrumentID),
                                 F(VendorPosition, m_strOpenDate),
                                 F(VendorPosition, m_bIsToday),
                                 F(VendorPosition, m_nPosition),
                                 F(VendorPosition, m_dOpenPrice),
                                 F(VendorPosition, m_dOpenCost),
                                 F(VendorPosition, m_dPositionCost),
                                 F(VendorPosition, m_dAveragePrice),
                                 F(VendorPosition, m_dPositionProfit),
                                 F(VendorPosition, m_dFloatProfit),
                                 F(VendorPosition, m_dCloseProfit),
                                 F(VendorPosition, m_dMargin),
                                 F(VendorPosition, m_dUsedMargin),
                                 F(VendorPosition, m_dLastPrice),
                                 F(VendorPosition, m_dSettlementPrice),
                                 F(VendorPosition, m_dLastSettlementPrice),
                                 F(VendorPosition, m_dMarketValue),
                                 F(VendorPosition, m_dCommission),
                                 F(VendorPosition, m_dFrozenMargin),
                                 F(VendorPosition, m_dFrozenCommission),
                                 F(VendorPosition, m_dInstrumentValue),
                                 F(VendorPosition, m_dCloseAmount),
                                 F(VendorPosition, m_nDirection),
                                 F(VendorPosition, m_nHedgeFlag)};

const LayoutField kOrderError[] = {
    F(VendorOrderError, m_strAccountID), F(VendorOrderError, m_nErrorID),
    F(VendorOrderError, m_strErrorMsg),  F(VendorOrderError, m_nOrderID),
    F(VendorOrderError, m_nRequestID),   F(VendorOrderError, m_nCancelFlag)};
#undef F

template <typename R, std::size_t N>
Layout layout(const char* name, const LayoutField (&fields)[N]) {
  return Layout{name, sizeof(R), fields, fields + N};
}

}  // namespace

#define KS_JOURNAL_LAYOUT(R, table)                          \
  const Layout& VendorLayout<xti::R>::get() {                \
    static const Layout layout_ = layout<xti::R>(#R, table); \
    return layout_;                                          \
  }
KS_JOURNAL_LAYOUT(COrdinaryOrder, kOrdinaryOrder)
KS_JOURNAL_LAYOUT(VendorAccountDetail, kAccountDetail)
KS_JOURNAL_LAYOUT(VendorOrder, kOrder)
KS_JOURNAL_LAYOUT(VendorDeal, kDeal)
KS_JOURNAL_LAYOUT(VendorPositionDetail, kPositionDetail)
KS_JOURNAL_LAYOUT(VendorPosition, kPosition)
KS_JOURNAL_LAYOUT(VendorOrderError, kOrderError)
#undef KS_JOURNAL_LAYOUT

}  // namespace journal
}  // namespace kestrel
