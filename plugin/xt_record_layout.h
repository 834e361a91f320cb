// The vendor's records by byte position: one row per field, the one place the
// positions are written. The vendor lays the records out and the plug-in
// reads them by position, so the layout is binding: here, at compile time,
// each row's offset and each record's size are checked against the
// compiler's layout of the declarations (plugin/xt_records.h, COrdinaryOrder
// in plugin/xt_trader_api.h, which includes this header after them), and
// each record's rows must name every byte of it in order, but for the
// padding that alignment puts after a field. The journal shows recorded
// vendor records by these rows (recorder/journal/vendor_layout.cc).
//
//   F(member, offset)         a field
//   RESERVED(member, offset)  a field nobody reads (the journal leaves it out)
#ifndef KESTREL_PLUGIN_XT_RECORD_LAYOUT_H_
#define KESTREL_PLUGIN_XT_RECORD_LAYOUT_H_

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "plugin/xt_trader_api.h"

// clang-format off
#define XTI_RECORD_LAYOUTS(X)                                                                      \
  X(COrdinaryOrder, 192)                                                                           \
  X(VendorAccountDetail, 216)                                                                      \
  X(VendorOrder, 544)                                                                              \
  X(VendorDeal, 288)                                                                               \
  X(VendorPositionDetail, 360)                                                                     \
  X(VendorPosition, 304)                                                                           \
  X(VendorOrderError, 304)

#define XTI_LAYOUT_COrdinaryOrder(F, RESERVED)                                                     \
  F(m_strAccountID, 0) F(m_dPrice, 32) F(m_dSuperPriceRate, 40) F(m_nVolume, 48)                   \
  F(m_strMarket, 52) F(m_strInstrument, 84) F(m_ePriceType, 116) F(m_eOperationType, 120)          \
  F(m_eHedgeFlag, 124) F(m_strRemark, 128)
#define XTI_LAYOUT_VendorAccountDetail(F, RESERVED)                                                \
  F(m_strAccountID, 0) F(m_nAccountType, 32) F(m_strStatus, 36) F(m_strTradingDay, 68)             \
  F(m_dPreBalance, 88) F(m_dBalance, 96) F(m_dAvailable, 104) F(m_dPreCredit, 112)                 \
  F(m_dPreMortgage, 120) F(m_dCommission, 128) F(m_dFrozenCommission, 136) F(m_dCurrMargin, 144)   \
  F(m_dFrozenMargin, 152) F(m_dFrozenCash, 160) F(m_dCloseProfit, 168) F(m_dMortgage, 176)         \
  F(m_dPositionProfit, 184) F(m_dCredit, 192) F(m_dDeposit, 200) F(m_dWithdraw, 208)
#define XTI_LAYOUT_VendorOrder(F, RESERVED)                                                        \
  F(m_strAccountID, 0) F(m_nAccountType, 32) F(m_strExchangeID, 36) F(m_strProductID, 52)          \
  F(m_strInstrumentID, 84) F(m_nFrontID, 116) F(m_dLimitPrice, 120) F(m_strOrderSysID, 128)        \
  F(m_nVolumeTraded, 160) F(m_nVolumeTotalOriginal, 164) F(m_dAveragePrice, 168)                   \
  F(m_dTradeAmount, 176) F(m_dFrozenMargin, 184) F(m_dFrozenCommission, 192)                       \
  F(m_nSessionID, 200) F(m_strErrorMsg, 204) F(m_strInsertDate, 460) F(m_strInsertTime, 476)       \
  F(m_nOrderID, 508) F(m_nPriceType, 512) F(m_nDirection, 516) F(m_nOffsetFlag, 520)               \
  F(m_nHedgeFlag, 524) F(m_nOrderStatus, 528) F(m_nOrderSubmitStatus, 532)                         \
  F(m_nVolumeRemaining, 536)
#define XTI_LAYOUT_VendorDeal(F, RESERVED)                                                         \
  F(m_strAccountID, 0) F(m_nAccountType, 32) F(m_strExchangeID, 36) F(m_strProductID, 52)          \
  F(m_strInstrumentID, 84) F(m_strOrderSysID, 116) F(m_strTradeID, 148) F(m_nFrontID, 180)         \
  F(m_dPrice, 184) F(m_nVolume, 192) F(m_strTradeDate, 196) F(m_strTradeTime, 212)                 \
  F(m_nSessionID, 228) F(m_dTradeAmount, 232) F(m_dCommission, 240) F(m_strRemark, 248)            \
  F(m_nOrderID, 264) F(m_nDirection, 268) F(m_nOffsetFlag, 272) F(m_nHedgeFlag, 276)               \
  F(m_nPriceType, 280) F(m_nTradeType, 284)
#define XTI_LAYOUT_VendorPositionDetail(F, RESERVED)                                               \
  F(m_strAccountID, 0) F(m_strExchangeID, 32) F(m_strProductID, 48) F(m_strInstrumentID, 80)       \
  F(m_strProductName, 112) F(m_strOpenDate, 144) F(m_strTradeID, 160) F(m_nVolume, 192)            \
  F(m_nFrontID, 196) F(m_dOpenPrice, 200) F(m_strTradingDay, 208) F(m_dMargin, 240)                \
  F(m_nFrozenVolume, 248) F(m_nSessionID, 252) F(m_dCloseAmount, 256) F(m_dPositionProfit, 264)    \
  F(m_dCloseProfit, 272) F(m_dMarketValue, 280) F(m_dSettlementPrice, 288)                         \
  F(m_dLastSettlementPrice, 296) F(m_dOpenCost, 304) F(m_dExchangeMargin, 312)                     \
  F(m_bIsToday, 320) RESERVED(m_nReserved, 324) F(m_nDirection, 356)
#define XTI_LAYOUT_VendorPosition(F, RESERVED)                                                     \
  F(m_strAccountID, 0) F(m_strExchangeID, 32) F(m_strProductID, 48) F(m_strInstrumentID, 80)       \
  F(m_strOpenDate, 112) F(m_bIsToday, 144) F(m_nPosition, 148) F(m_dOpenPrice, 152)                \
  F(m_dOpenCost, 160) F(m_dPositionCost, 168) F(m_dAveragePrice, 176) F(m_dPositionProfit, 184)    \
  F(m_dFloatProfit, 192) F(m_dCloseProfit, 200) F(m_dMargin, 208) F(m_dUsedMargin, 216)            \
  F(m_dLastPrice, 224) F(m_dSettlementPrice, 232) F(m_dLastSettlementPrice, 240)                   \
  F(m_dMarketValue, 248) F(m_dCommission, 256) F(m_dFrozenMargin, 264)                             \
  F(m_dFrozenCommission, 272) F(m_dInstrumentValue, 280) F(m_dCloseAmount, 288)                    \
  F(m_nDirection, 296) F(m_nHedgeFlag, 300)
#define XTI_LAYOUT_VendorOrderError(F, RESERVED)                                                   \
  F(m_strAccountID, 0) F(m_nErrorID, 32) F(m_strErrorMsg, 36) F(m_nOrderID, 292)                   \
  F(m_nRequestID, 296) F(m_nCancelFlag, 300)
// clang-format on

namespace xti {
namespace layout {

enum class Kind : char { kText = 't', kInt32 = 'i', kDouble = 'd', kBool = 'b', kReserved = 'r' };

struct Field {
  const char* name;  // the member's name
  uint16_t offset;
  uint16_t size;
  uint16_t align;
  Kind kind;
};

template <typename T>
constexpr Kind kindOf() {
  if constexpr (std::is_same<T, double>::value) {
    return Kind::kDouble;
  } else if constexpr (std::is_same<T, bool>::value) {
    return Kind::kBool;
  } else if constexpr (std::is_same<T, int32_t>::value) {
    return Kind::kInt32;
  } else {
    static_assert(std::is_array<T>::value && std::is_same<std::remove_extent_t<T>, char>::value,
                  "a record field is a text, an int32, a double or a bool");
    return Kind::kText;
  }
}

// Whether `fields`, in order, name every byte of a record of `size` bytes
// aligned to `align`, but for the padding alignment requires after a field.
template <std::size_t N>
constexpr bool coversEveryByte(const Field (&fields)[N], std::size_t size, std::size_t align) {
  std::size_t next = 0;
  for (const Field& f : fields) {
    if (f.offset != (next + f.align - 1) / f.align * f.align) return false;
    next = f.offset + f.size;
  }
  return (next + align - 1) / align * align == size;
}

// Of<Record>::kFields: the rows of a record.
template <typename Record>
struct Of;

#define XTI_LAYOUT_FIELD(member, offset)                                            \
  Field{#member, offset, sizeof(Record::member), alignof(decltype(Record::member)), \
        kindOf<decltype(Record::member)>()},
#define XTI_LAYOUT_RESERVED(member, offset)                                         \
  Field{#member, offset, sizeof(Record::member), alignof(decltype(Record::member)), \
        Kind::kReserved},
#define XTI_LAYOUT_CHECK(member, offset) \
  static_assert(offsetof(Record, member) == (offset), "the layout's offset of " #member);
#define XTI_LAYOUT_OF(Name, size)                                                                  \
  template <>                                                                                      \
  struct Of<Name> {                                                                                \
    using Record = Name;                                                                           \
    static constexpr const char* kName = #Name;                                                    \
    static constexpr Field kFields[] = {XTI_LAYOUT_##Name(XTI_LAYOUT_FIELD, XTI_LAYOUT_RESERVED)}; \
    static_assert(std::is_standard_layout<Record>::value, #Name " is a C layout");                 \
    static_assert(sizeof(Record) == (size), "the layout's size of " #Name);                        \
    static_assert(coversEveryByte(kFields, (size), alignof(Record)),                               \
                  "the layout of " #Name " leaves bytes unnamed or names them twice");             \
    XTI_LAYOUT_##Name(XTI_LAYOUT_CHECK, XTI_LAYOUT_CHECK)                                          \
  };
XTI_RECORD_LAYOUTS(XTI_LAYOUT_OF)
#undef XTI_LAYOUT_OF
#undef XTI_LAYOUT_CHECK
#undef XTI_LAYOUT_RESERVED
#undef XTI_LAYOUT_FIELD

}  // namespace layout
}  // namespace xti

#endif  // KESTREL_PLUGIN_XT_RECORD_LAYOUT_H_
