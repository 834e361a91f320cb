#include "spi/record_conversion.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "plugin/common.h"
#include "plugin/platform.h"

namespace kestrel {
namespace {

// The fixed marker of made-up client ids.
constexpr char kFallbackPrefix[] = "123456@xt";

struct CharRule {
  int32_t vendorChar;
  int32_t hostValue;
};

// The code mappings, one table per host field; `otherwise` covers every
// vendor code a table does not list.
constexpr CharRule kPriceTypeRules[] = {{xti::PRICE_MARKET_CHAR, kHostAnyPrice}};
constexpr int32_t kPriceTypeOtherwise = kHostLimitPrice;
constexpr CharRule kOffsetRules[] = {{xti::OFFSET_OPEN_CHAR, kHostOpen},
                                     {xti::OFFSET_CLOSE_CHAR, kHostClose},
                                     {xti::OFFSET_CLOSE_TODAY_CHAR, kHostCloseToday},
                                     {xti::OFFSET_CLOSE_YESTERDAY_CHAR, kHostCloseYesterday}};
constexpr int32_t kOffsetOtherwise = kHostOffsetUnknown;
constexpr CharRule kHedgeRules[] = {{xti::HEDGE_SPECULATION_CHAR, kHostSpeculation},
                                    {xti::HEDGE_ARBITRAGE_CHAR, kHostArbitrage},
                                    {xti::HEDGE_HEDGE_CHAR, kHostHedge}};
constexpr int32_t kHedgeOtherwise = kHostHedgeUnknown;
constexpr CharRule kDirectionRules[] = {{xti::DIRECTION_BUY_CHAR, kHostBuy}};
constexpr int32_t kDirectionOtherwise = kHostSell;

// The vendor's operation code from the host's direction and offset: a
// direction other than buy sells; an offset other than open and close today
// closes older positions.
int32_t operationCode(int32_t direction, int32_t offsetFlag) {
  const bool buy = direction == kHostBuy;
  if (offsetFlag == kHostOpen) return buy ? xti::OPT_OPEN_LONG : xti::OPT_OPEN_SHORT;
  if (offsetFlag == kHostCloseToday) {
    return buy ? xti::OPT_CLOSE_SHORT_TODAY : xti::OPT_CLOSE_LONG_TODAY;
  }
  return buy ? xti::OPT_CLOSE_SHORT_HISTORY : xti::OPT_CLOSE_LONG_HISTORY;
}

template <std::size_t N>
int32_t mapChar(const CharRule (&rules)[N], int32_t otherwise, int32_t vendorChar) {
  for (const CharRule& rule : rules) {
    if (rule.vendorChar == vendorChar) return rule.hostValue;
  }
  return otherwise;
}

// White space as the "C" locale defines it, whatever locale the host set.
bool isCSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

const BaseInformationMap* baseInformation() { return gBaseInformationMap.get(); }

// A byte-sized boolean of a vendor record, read without assuming it holds 0 or 1.
bool flagSet(const bool& flag) {
  unsigned char byte = 0;
  std::memcpy(&byte, &flag, 1);
  return byte != 0;
}

std::string gbkFieldText(const char* field, std::size_t size) {
  return gbkText(std::string(field, strnlen(field, size)));
}

template <std::size_t N>
std::string gbkFieldText(const char (&field)[N]) {
  return gbkFieldText(field, N);
}

// A vendor text field copied straight into a record's string, with no
// temporary in between.
template <std::size_t N>
void assignField(std::string& out, const char (&field)[N]) {
  out.assign(field, fieldLength(field));
}

template <std::size_t N>
int32_t exchangeIdOfField(const char (&field)[N]) {
  return exchangeIdOf(fieldText(field));
}

// The instrument block of every converted record but the position detail.
template <typename Record, std::size_t E, std::size_t I>
void fillInstrument(Record& record, const char (&exchange)[E], const char (&instrument)[I]) {
  record.codeId.kind = kInstrumentKind;
  record.codeId.exchange = exchangeIdOfField(exchange);
  assignField(record.codeId.code, instrument);
}

// The four mapped codes of every order and fill record.
template <typename Record>
void fillCodes(Record& record, int32_t priceType, int32_t offset, int32_t hedge,
               int32_t direction) {
  record.priceType = hostPriceType(priceType);
  record.offsetFlag = hostOffsetFlag(offset);
  record.hedgeFlag = hostHedgeFlag(hedge);
  record.direction = hostDirection(direction);
}

// The account header every reported record starts with.
void fillAccountHeader(const SessionConfig& config, AccountHeader& header) {
  header.accountCode = config.configCode;
  header.configText = config.configText;
  header.userName = config.userName;
  header.codeA = kHeaderCodeA;
  header.codeB = kHeaderCodeB;
}

// Members that OrderDetailRecord, OrderRecord, OrderAcceptedRecord and
// OrderFilledRecord share under the same names, the header first.
template <typename Record>
void fillOrderCommon(const xti::VendorOrder& order, const SessionConfig& config, Record& record) {
  fillAccountHeader(config, record.header);
  fillInstrument(record, order.m_strExchangeID, order.m_strInstrumentID);
  assignField(record.exchangeOrderId, order.m_strOrderSysID);
  record.statusMessage = gbkFieldText(order.m_strErrorMsg);
  record.orderTime = vendorTimeToMillis(order.m_strInsertDate, order.m_strInsertTime);
  record.volume = order.m_nVolumeTotalOriginal;
  record.price = order.m_dLimitPrice;
  fillCodes(record, order.m_nPriceType, order.m_nOffsetFlag, order.m_nHedgeFlag,
            order.m_nDirection);
}

}  // namespace

int32_t hostPriceType(int32_t c) { return mapChar(kPriceTypeRules, kPriceTypeOtherwise, c); }
int32_t hostOffsetFlag(int32_t c) { return mapChar(kOffsetRules, kOffsetOtherwise, c); }
int32_t hostHedgeFlag(int32_t c) { return mapChar(kHedgeRules, kHedgeOtherwise, c); }
int32_t hostDirection(int32_t c) {
#if defined(KS_JOURNAL_VARIANT_BUY_AS_SELL)  // the journal's test variant: its replay must see it
  if (c == xti::DIRECTION_BUY_CHAR) return kHostSell;
#endif
  return mapChar(kDirectionRules, kDirectionOtherwise, c);
}

int32_t exchangeIdOf(const std::string& exchangeCode) {
  const BaseInformationMap* info = baseInformation();
  if (info == nullptr) return -1;
  auto found = info->exchangeNumbers.find(exchangeCode);
  return found == info->exchangeNumbers.end() ? -1 : found->second.exchangeNumber;
}

std::string exchangeCodeOf(int32_t exchangeNumber) {
  const BaseInformationMap* info = baseInformation();
  if (info == nullptr) return std::string();
  auto found = info->exchangeCodes.find(exchangeNumber);
  return found == info->exchangeCodes.end() ? std::string() : found->second.exchangeCode;
}

int32_t textToInt(const std::string& text) {
  const char* p = text.c_str();
  const char* end = p + text.size();
  while (p != end && isCSpace(*p)) ++p;
  bool negative = false;
  if (p != end && (*p == '+' || *p == '-')) {
    negative = *p == '-';
    ++p;
  }
  // Accumulate the magnitude; anything past 2^31 no longer fits either sign.
  constexpr int64_t kLimit = int64_t{1} << 31;
  int64_t magnitude = 0;
  bool anyDigit = false;
  bool tooLarge = false;
  for (; p != end && *p >= '0' && *p <= '9'; ++p) {
    anyDigit = true;
    if (!tooLarge) {
      magnitude = magnitude * 10 + (*p - '0');
      tooLarge = magnitude > kLimit;
    }
  }
  if (!anyDigit || tooLarge) return -1;
  if (negative) return static_cast<int32_t>(-magnitude);
  if (magnitude == kLimit) return -1;
  return static_cast<int32_t>(magnitude);
}

int32_t textToIntClamped(const char* text) {
  if (text == nullptr) return 0;
  long long value = std::strtoll(text, nullptr, 10);
  if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value);
}

std::string timestampText() {
  const int64_t millis = Timestamp::now(KSTimeZoneUTC).toUTCMilisecsinceEponch();
  // Times 1000 in unsigned arithmetic: wraps instead of overflowing.
  const int64_t value = static_cast<int64_t>(static_cast<uint64_t>(millis) * 1000u);
  return std::to_string(value);
}

void fallbackClientId(int32_t vendorOrderId, ClientId& id) {
  if (vendorOrderId < 1) {
    id.prefix = timestampText();
    id.serial.clear();
  } else {
    id.prefix = kFallbackPrefix;
    id.serial = std::to_string(vendorOrderId);
  }
}

std::string gbkText(std::string utf8Text) {
  for (char c : utf8Text) {
    if (static_cast<unsigned char>(c) >= 0x80) return CodeConvert::utf8_to_gbk(utf8Text);
  }
  // ASCII reads the same in UTF-8 and GBK: the text itself is the result, so
  // the common case (empty and English texts) is not copied a second time.
  return utf8Text;
}

std::string wrappedErrorText(const char* utf8Message) {
  if (utf8Message == nullptr) return std::string();
  std::string text;
  const std::size_t length = std::strlen(utf8Message);
  text.reserve(length + 6);
  text.append("[msg=").append(utf8Message, length).append("]");
  return gbkText(std::move(text));
}

std::string bareErrorText(const char* utf8Message) {
  return utf8Message == nullptr ? std::string() : gbkText(std::string(utf8Message));
}

void toVendorOrder(const AccountOrderNewRequest& request, const std::string& account,
                   xti::COrdinaryOrder& order) {
  copyToField(order.m_strInstrument, request.codeId.code);
  copyToField(order.m_strMarket, exchangeCodeOf(request.codeId.exchange));
  order.m_dPrice = request.price;
  order.m_dSuperPriceRate = 0;
  order.m_nVolume = static_cast<int32_t>(static_cast<uint32_t>(request.quantity));
  order.m_ePriceType = request.priceType == kHostAnyPrice ? xti::PRTP_MARKET : xti::PRTP_LIMIT;
  order.m_eOperationType = operationCode(request.direction, request.offsetFlag);
  order.m_eHedgeFlag = xti::HEDGE_SPECULATION_CHAR;
  copyToField(order.m_strAccountID, account);
}

template <typename Record>
void toOrderRecord(const xti::VendorOrder& order, const SessionConfig& config, Record& record) {
  fillOrderCommon(order, config, record);
  if constexpr (std::is_same_v<Record, OrderDetailRecord> ||
                std::is_same_v<Record, OrderAcceptedRecord>) {
    record.firstAmount = order.m_dTradeAmount;
    record.secondAmount = order.m_dAveragePrice;
  }
}

template void toOrderRecord(const xti::VendorOrder&, const SessionConfig&, OrderDetailRecord&);
template void toOrderRecord(const xti::VendorOrder&, const SessionConfig&, OrderRecord&);
template void toOrderRecord(const xti::VendorOrder&, const SessionConfig&, OrderAcceptedRecord&);
template void toOrderRecord(const xti::VendorOrder&, const SessionConfig&, OrderFilledRecord&);

void toRejectedOrderRecord(const xti::VendorOrder& order, const SessionConfig& config,
                           OrderRecord& record) {
  fillOrderCommon(order, config, record);
  record.exchangeOrderId.clear();  // a rejected order never carries the exchange's id
}

void toFillRecord(const xti::VendorDeal& deal, const SessionConfig& config, FillRecord& record) {
  fillAccountHeader(config, record.header);
  fillInstrument(record, deal.m_strExchangeID, deal.m_strInstrumentID);
  assignField(record.fillReference, deal.m_strTradeID);
  assignField(record.fillReference2, deal.m_strOrderSysID);
  record.fillTime = vendorTimeToMillis(deal.m_strTradeDate, deal.m_strTradeTime);
  record.volume = deal.m_nVolume;
  record.price = deal.m_dPrice;
  fillCodes(record, deal.m_nPriceType, deal.m_nOffsetFlag, deal.m_nHedgeFlag, deal.m_nDirection);
}

void toAccountFunds(const xti::VendorAccountDetail& detail, const SessionConfig& config,
                    AccountFunds& record) {
  fillAccountHeader(config, record.header);
  record.tradingDay = textToInt(fieldText(detail.m_strTradingDay));
  record.amount1 = detail.m_dCurrMargin;
  record.amount3 = detail.m_dPreBalance;
  record.amount4 = detail.m_dBalance;
  record.amount5 = detail.m_dPositionProfit;
  record.amount7 = detail.m_dDeposit;
  record.amount8 = detail.m_dWithdraw;
  record.amount10 = detail.m_dFrozenMargin;
  record.amount11 = detail.m_dAvailable;
  record.amount12 = detail.m_dCloseProfit;
  record.amount13 = detail.m_dFrozenCash;
  record.amount15 = detail.m_dCommission;
}

void toPositionRecord(const xti::VendorPosition& position, const SessionConfig& config,
                      PositionRecord& record) {
  fillAccountHeader(config, record.header);
  fillInstrument(record, position.m_strExchangeID, position.m_strInstrumentID);
  const bool set = flagSet(position.m_bIsToday);
  (set ? record.volumeWhenSet : record.volumeWhenClear) = position.m_nPosition;
  record.twoValueCode = hostDirection(position.m_nDirection);
  record.side = set ? kSideSet : kSideClear;
}

void toPositionDetailRecord(const xti::VendorPositionDetail& detail, const SessionConfig& config,
                            PositionDetailRecord& record) {
  AccountHeader header;
  fillAccountHeader(config, header);
  record.accountCode = header.accountCode;
  record.configText = std::move(header.configText);
  record.userName = std::move(header.userName);
  record.codeA = header.codeA;
  record.codeB = header.codeB;
  // kind keeps its default: this record never sets it.
  record.codeId.exchange = exchangeIdOfField(detail.m_strExchangeID);
  assignField(record.codeId.code, detail.m_strInstrumentID);
  record.detailNumber1 = textToIntClamped(fieldText(detail.m_strTradingDay).c_str());
  record.detailNumber2 = textToIntClamped(fieldText(detail.m_strOpenDate).c_str());
  assignField(record.detailReference, detail.m_strTradeID);
  record.twoValueCode = hostDirection(detail.m_nDirection);
  record.side = flagSet(detail.m_bIsToday) ? kSideSet : kSideClear;
  // The vendor's 32-bit sum, wrapping as 32-bit arithmetic does, then widened.
  const uint32_t sum =
      static_cast<uint32_t>(detail.m_nFrozenVolume) + static_cast<uint32_t>(detail.m_nVolume);
  record.volume = static_cast<int32_t>(sum);
  record.firstAmount = detail.m_dOpenPrice;
  record.secondAmount = detail.m_dOpenCost;
}

}  // namespace kestrel
