// Record conversion: code mappings, times, numbers, texts, and every vendor
// record turned into its host record.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <tuple>

#include "plugin/common.h"
#include "spi/record_conversion.h"
#include "tests/support/vendor_text.h"
#include "tests/support/vendor_time_reference.h"

namespace kestrel {
namespace {

using testing::setText;
constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kIntMin = std::numeric_limits<int32_t>::min();

// UTC milliseconds of a UTC wall-clock time, counted day by day: a reference
// independent of the code under test (and of C libraries that refuse dates
// before 1970).
int64_t utcMillis(int year, int month, int day, int hour, int minute, int second) {
  auto leap = [](int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; };
  static const int kMonthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int64_t days = 0;
  for (int y = 1970; y < year; ++y) days += leap(y) ? 366 : 365;
  for (int y = year; y < 1970; ++y) days -= leap(y) ? 366 : 365;
  for (int m = 1; m < month; ++m) days += kMonthDays[m - 1] + (m == 2 && leap(year) ? 1 : 0);
  days += day - 1;
  return ((days * 24 + hour) * 60 + minute) * 60000 + second * 1000;
}

class ConversionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
    config.configCode = 42;
    config.configText = "desk";
    config.userName = "trader1";
  }
  SessionConfig config;
};

TEST_F(ConversionTest, CodeMappingsFollowTheTable) {
  struct Row {
    int32_t vendor;
    int32_t priceType, offsetFlag, hedgeFlag, direction;
  } rows[] = {
      {'0', 1, 1, 0, 1},      {'1', 2, 4, 1, 2}, {'2', 1, 0, 2, 2}, {'3', 1, 5, 3, 2},
      {'4', 1, 6, 0, 2},      {'5', 1, 0, 0, 2}, {0, 1, 0, 0, 2},   {-1, 1, 0, 0, 2},
      {49 + 256, 1, 0, 0, 2},  // not a character: the "any other" row
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.vendor);
    EXPECT_EQ(hostPriceType(row.vendor), row.priceType);
    EXPECT_EQ(hostOffsetFlag(row.vendor), row.offsetFlag);
    EXPECT_EQ(hostHedgeFlag(row.vendor), row.hedgeFlag);
    EXPECT_EQ(hostDirection(row.vendor), row.direction);
  }
}

TEST_F(ConversionTest, VendorTimesAreUtcPlusEight) {
  struct Case {
    const char* date;
    const char* time;
    int64_t expected;
  } cases[] = {
      {"20240105", "09:30:15", utcMillis(2024, 1, 5, 1, 30, 15)},
      {"20240105", "00:00:00", utcMillis(2024, 1, 4, 16, 0, 0)},      // midnight: previous UTC day
      {"20240101", "07:59:59", utcMillis(2023, 12, 31, 23, 59, 59)},  // across the year
      {"20240229", "12:00:00", utcMillis(2024, 2, 29, 4, 0, 0)},      // leap day
      {"20240105", "09:30:15.5", utcMillis(2024, 1, 5, 1, 30, 15)},   // cut after 8 bytes
      {"2024010599", "09:30:15", utcMillis(2024, 1, 5, 1, 30, 15)},   // date: 8 bytes only
      {"19700101", "08:00:00", 0},
      {"19691231", "23:59:59", utcMillis(1969, 12, 31, 15, 59, 59)},
      {"99991231", "23:59:59", utcMillis(9999, 12, 31, 15, 59, 59)},
      {"14000101", "10:00:00", utcMillis(1400, 1, 1, 2, 0, 0)},
      {"13991231", "10:00:00", 0},  // before year 1400
      {"20230229", "12:00:00", 0},  // no such day
      {"20241305", "09:30:15", 0},  // month 13
      {"20240105", "", 0},
      {"", "09:30:15", 0},
      {"2024", "09:30:15", 0},
      {"abcdefgh", "09:30:15", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.date) + " " + c.time);
    EXPECT_EQ(vendorTimeToMillis(c.date, c.time), c.expected);
    EXPECT_EQ(testing::vendorTimeReference(c.date, c.time), c.expected);
  }
  EXPECT_EQ(vendorTimeToMillis(nullptr, "09:30:15"), 0);
}

// textToInt reads like std::stol, with -1 for no number or one outside 32
// bits; textToIntClamped reads like atoi, clamped to 32 bits.
TEST_F(ConversionTest, NumbersReadLikeStolAndClampedAtoi) {
  struct Case {
    const char* text;
    int32_t expected;
  } stol[] = {
      {"42", 42},
      {" 42abc", 42},
      {"\t\n\v\f\r 7", 7},
      {"+5", 5},
      {"-12", -12},
      {"007", 7},
      {"2147483647", kIntMax},
      {"-2147483648", kIntMin},
      {"2147483648", -1},
      {"99999999999", -1},
      {"-99999999999999999999999", -1},
      {"", -1},
      {"abc", -1},
      {"-", -1},
      {"- 5", -1},
      {"0x1A", 0},
  };
  for (const Case& c : stol) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(textToInt(c.text), c.expected);
  }
  EXPECT_EQ(textToInt(std::string("12\0"
                                  "34",
                                  5)),
            12);

  const Case clamped[] = {{"20240105", 20240105},
                          {"  -3x", -3},
                          {"x3", 0},
                          {"99999999999999", kIntMax},
                          {"-99999999999999", kIntMin}};
  for (const Case& c : clamped) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(textToIntClamped(c.text), c.expected);
  }
  EXPECT_EQ(textToIntClamped(nullptr), 0);
}

TEST_F(ConversionTest, FallbackClientIds) {
  ClientId id{"stale", "stale"};
  fallbackClientId(42, id);
  EXPECT_EQ(id, (ClientId{"123456@xt", "42"}));
  for (int32_t small : {0, -5, kIntMin}) {
    SCOPED_TRACE(small);
    fallbackClientId(small, id);
    EXPECT_TRUE(id.serial.empty());
    ASSERT_GE(id.prefix.size(), 16u);
    EXPECT_EQ(id.prefix.find_first_not_of("0123456789"), std::string::npos);
    EXPECT_EQ(id.prefix.substr(id.prefix.size() - 3), "000");
  }
}

TEST_F(ConversionTest, ErrorTextsAreWrappedAndConverted) {
  EXPECT_EQ(wrappedErrorText("资金不足"), CodeConvert::utf8_to_gbk("[msg=资金不足]"));
  EXPECT_EQ(wrappedErrorText(""), "[msg=]");
  EXPECT_EQ(wrappedErrorText(nullptr), "");
  EXPECT_EQ(bareErrorText("资金不足"), CodeConvert::utf8_to_gbk("资金不足"));
  EXPECT_EQ(bareErrorText(nullptr), "");
}

// Every code field holds a different vendor code, so that a field read from
// its neighbour shows.
xti::VendorOrder sampleOrder() {
  xti::VendorOrder order{};
  setText(order.m_strExchangeID, "SHFE");
  setText(order.m_strInstrumentID, "rb2410");
  order.m_dLimitPrice = 3650.5;
  setText(order.m_strOrderSysID, "000000012345");
  order.m_nVolumeTotalOriginal = -7;  // sign-extended into 64 bits
  order.m_dAveragePrice = 3650.0;
  order.m_dTradeAmount = 36500.0;
  setText(order.m_strErrorMsg, "全部成交");
  setText(order.m_strInsertDate, "20240105");
  setText(order.m_strInsertTime, "21:05:00");
  order.m_nOrderID = 77;
  order.m_nPriceType = '1';
  order.m_nDirection = '0';
  order.m_nOffsetFlag = '3';
  order.m_nHedgeFlag = '2';
  return order;
}

std::tuple<int32_t, int32_t, std::string> codeIdOf(const CodeId& id) {
  return std::make_tuple(id.kind, id.exchange, id.code);
}

template <typename Record>
void expectOrderCommon(const Record& record, const char* exchangeOrderId = "000000012345") {
  EXPECT_EQ(codeIdOf(record.codeId), std::make_tuple(1, 3, "rb2410"));
  EXPECT_EQ(record.exchangeOrderId, exchangeOrderId);
  EXPECT_EQ(record.statusMessage, CodeConvert::utf8_to_gbk("全部成交"));
  EXPECT_EQ(std::make_tuple(record.volume, record.price, record.orderTime),
            std::make_tuple(-7, 3650.5, utcMillis(2024, 1, 5, 13, 5, 0)));
  // priceType, direction, offsetFlag, hedgeFlag
  EXPECT_EQ(
      std::make_tuple(record.priceType, record.direction, record.offsetFlag, record.hedgeFlag),
      std::make_tuple(2, 1, 5, 2));
  EXPECT_EQ(record.clientId, ClientId{});
}

TEST_F(ConversionTest, OrderRecordsCarryTheVendorOrder) {
  xti::VendorOrder order = sampleOrder();
  OrderDetailRecord detail;
  toOrderRecord(order, detail);
  expectOrderCommon(detail);
  EXPECT_EQ(detail.firstAmount, 36500.0);
  EXPECT_EQ(detail.secondAmount, 3650.0);

  OrderRecord rejected;
  toRejectedOrderRecord(order, rejected);
  expectOrderCommon(rejected, "");  // a rejected order never carries the exchange's id

  OrderRecord canceled;
  toOrderRecord(order, canceled);
  expectOrderCommon(canceled);

  OrderAcceptedRecord accepted;
  toOrderRecord(order, accepted);
  expectOrderCommon(accepted);
  EXPECT_EQ(accepted.firstAmount, 36500.0);
  EXPECT_EQ(accepted.secondAmount, 3650.0);

  OrderFilledRecord filled;
  toOrderRecord(order, filled);
  expectOrderCommon(filled);

  setText(order.m_strExchangeID, "NYMEX");
  setText(order.m_strInsertTime, "");
  toOrderRecord(order, canceled);
  EXPECT_EQ(canceled.codeId.exchange, -1);
  EXPECT_EQ(canceled.orderTime, 0);
}

// Fields filled to their last byte: texts end at the field, never past it
// (the address sanitizer sees a read beyond the record).
TEST_F(ConversionTest, TextsWithoutNulStopAtTheFieldsEnd) {
  xti::VendorOrder order;
  std::memset(&order, 'A', sizeof(order));
  OrderDetailRecord detail;
  toOrderRecord(order, detail);
  EXPECT_EQ(detail.codeId.code, std::string(sizeof(order.m_strInstrumentID), 'A'));
  EXPECT_EQ(detail.exchangeOrderId, std::string(sizeof(order.m_strOrderSysID), 'A'));
  EXPECT_EQ(detail.statusMessage, std::string(sizeof(order.m_strErrorMsg), 'A'));
  EXPECT_EQ(detail.orderTime, 0);

  xti::VendorDeal deal;
  std::memset(&deal, 0xFF, sizeof(deal));
  FillRecord fill;
  toFillRecord(deal, fill);
  EXPECT_EQ(fill.fillReference.size(), sizeof(deal.m_strTradeID));
  EXPECT_EQ(fill.volume, -1);
}

TEST_F(ConversionTest, FillRecordsCarryTheVendorDeal) {
  xti::VendorDeal deal{};
  setText(deal.m_strExchangeID, "DCE");
  setText(deal.m_strInstrumentID, "m2409");
  setText(deal.m_strOrderSysID, "SYS9");
  setText(deal.m_strTradeID, "T-100");
  deal.m_dPrice = 3001.0;
  deal.m_nVolume = 3;
  setText(deal.m_strTradeDate, "20240105");
  setText(deal.m_strTradeTime, "14:59:59");
  deal.m_nDirection = '0';
  deal.m_nOffsetFlag = '4';
  deal.m_nHedgeFlag = '3';
  deal.m_nPriceType = '1';
  FillRecord fill;
  toFillRecord(deal, fill);
  EXPECT_EQ(codeIdOf(fill.codeId), std::make_tuple(1, 4, "m2409"));
  EXPECT_EQ(fill.fillReference, "T-100");
  EXPECT_EQ(fill.fillReference2, "SYS9");
  EXPECT_EQ(std::make_tuple(fill.volume, fill.price, fill.fillTime),
            std::make_tuple(3, 3001.0, utcMillis(2024, 1, 5, 6, 59, 59)));
  // priceType, direction, offsetFlag, hedgeFlag
  EXPECT_EQ(std::make_tuple(fill.priceType, fill.direction, fill.offsetFlag, fill.hedgeFlag),
            std::make_tuple(2, 1, 6, 3));
}

TEST_F(ConversionTest, FundsTakeTheirAmountsAndTradingDay) {
  xti::VendorAccountDetail detail{};
  setText(detail.m_strTradingDay, "20240105");
  double* const sources[] = {
      &detail.m_dCurrMargin,     &detail.m_dPreBalance, &detail.m_dBalance,
      &detail.m_dPositionProfit, &detail.m_dDeposit,    &detail.m_dWithdraw,
      &detail.m_dFrozenMargin,   &detail.m_dAvailable,  &detail.m_dCloseProfit,
      &detail.m_dFrozenCash,     &detail.m_dCommission};
  const int targets[] = {1, 3, 4, 5, 7, 8, 10, 11, 12, 13, 15};  // amountN of each source
  for (int i = 0; i < 11; ++i) *sources[i] = targets[i];
  detail.m_dCredit = 99;  // not carried
  AccountFunds funds;
  toAccountFunds(detail, funds);
  EXPECT_EQ(funds.tradingDay, 20240105);
  const double got[] = {funds.amount1,  funds.amount2,  funds.amount3,  funds.amount4,
                        funds.amount5,  funds.amount6,  funds.amount7,  funds.amount8,
                        funds.amount9,  funds.amount10, funds.amount11, funds.amount12,
                        funds.amount13, funds.amount14, funds.amount15, funds.amount16,
                        funds.amount17, funds.amount18, funds.amount19};
  const double want[] = {1, 0, 3, 4, 5, 0, 7, 8, 0, 10, 11, 12, 13, 0, 15, 0, 0, 0, 0};
  for (int i = 0; i < 19; ++i) EXPECT_EQ(got[i], want[i]) << "amount" << i + 1;
  for (const char* day : {"day", ""}) {
    setText(detail.m_strTradingDay, day);
    toAccountFunds(detail, funds);
    EXPECT_EQ(funds.tradingDay, -1) << day;
  }
}

TEST_F(ConversionTest, PositionsPutTheVolumeBySideFlag) {
  xti::VendorPosition position{};
  setText(position.m_strExchangeID, "CFFEX");
  setText(position.m_strInstrumentID, "IF2409");
  position.m_nPosition = 12;
  position.m_nDirection = '0';
  const unsigned char set = 2;  // any non-zero byte counts as set
  std::memcpy(&position.m_bIsToday, &set, 1);
  PositionRecord record;
  toPositionRecord(position, record);
  EXPECT_EQ(codeIdOf(record.codeId), std::make_tuple(1, 6, "IF2409"));
  // volumeWhenSet, volumeWhenClear, side, twoValueCode
  EXPECT_EQ(std::make_tuple(record.volumeWhenSet, record.volumeWhenClear, record.side,
                            record.twoValueCode),
            std::make_tuple(12, 0, 1, 1));
  position.m_bIsToday = false;
  position.m_nDirection = '1';
  PositionRecord cleared;
  toPositionRecord(position, cleared);
  EXPECT_EQ(std::make_tuple(cleared.volumeWhenSet, cleared.volumeWhenClear, cleared.side,
                            cleared.twoValueCode),
            std::make_tuple(0, 12, 2, 2));
}

TEST_F(ConversionTest, PositionDetailsCarryTheHeaderValuesInTheirOwnLayout) {
  xti::VendorPositionDetail detail{};
  setText(detail.m_strExchangeID, "SHFE");
  setText(detail.m_strInstrumentID, "rb2410");
  setText(detail.m_strTradingDay, "20240105");
  setText(detail.m_strOpenDate, "20240104x");
  setText(detail.m_strTradeID, "T7");
  detail.m_nVolume = 3;
  detail.m_nFrozenVolume = 4;
  detail.m_dOpenPrice = 3600;
  detail.m_dOpenCost = 36000;
  detail.m_bIsToday = false;
  detail.m_nDirection = '1';
  PositionDetailRecord record;
  toPositionDetailRecord(detail, config, record);
  EXPECT_EQ(std::make_tuple(record.accountCode, record.configText, record.userName, record.codeA,
                            record.codeB),
            std::make_tuple(42, "desk", "trader1", 0, 1));
  EXPECT_EQ(codeIdOf(record.codeId), std::make_tuple(-1, 3, "rb2410"))
      << "this record never sets the kind";
  EXPECT_EQ(record.detailNumber1, 20240105);
  EXPECT_EQ(record.detailNumber2, 20240104);
  EXPECT_EQ(record.detailReference, "T7");
  // volume (frozen + free), side, twoValueCode, firstAmount, secondAmount
  EXPECT_EQ(std::make_tuple(record.volume, record.side, record.twoValueCode, record.firstAmount,
                            record.secondAmount),
            std::make_tuple(7, 2, 2, 3600.0, 36000.0));

  detail.m_nVolume = kIntMax;
  detail.m_nFrozenVolume = 1;
  toPositionDetailRecord(detail, config, record);
  EXPECT_EQ(record.volume, kIntMin) << "a 32-bit sum, then widened";
}

}  // namespace
}  // namespace kestrel
