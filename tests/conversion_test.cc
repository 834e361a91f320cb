// Record conversion: one table per rule and per vendor record.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>

#include "spi/record_conversion.h"
#include "tests/support/session_fixture.h"
#include "tests/support/vendor_time_reference.h"

namespace kestrel {
namespace testing {
namespace {

constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kIntMin = std::numeric_limits<int32_t>::min();

// UTC milliseconds of a UTC wall-clock time, counted day by day: independent
// of the code under test.
int64_t utcMillis(int year, int month, int day, int hour, int minute, int second) {
  auto leap = [](int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; };
  static const int kMonthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int64_t days = day - 1;
  for (int y = 1970; y < year; ++y) days += leap(y) ? 366 : 365;
  for (int y = year; y < 1970; ++y) days -= leap(y) ? 366 : 365;
  for (int m = 1; m < month; ++m) days += kMonthDays[m - 1] + (m == 2 && leap(year));
  return ((days * 24 + hour) * 60 + minute) * 60000 + second * 1000;
}

class ConversionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
  }
};

TEST_F(ConversionTest, CodeMappings) {
  const struct {
    int32_t vendor, priceType, offsetFlag, hedgeFlag, direction;
  } rows[] = {{'0', 1, 1, 0, 1}, {'1', 2, 4, 1, 2}, {'2', 1, 0, 2, 2}, {'3', 1, 5, 3, 2},
              {'4', 1, 6, 0, 2}, {'5', 1, 0, 0, 2}, {0, 1, 0, 0, 2},   {49 + 256, 1, 0, 0, 2}};
  for (const auto& r : rows) {
    EXPECT_EQ(std::make_tuple(hostPriceType(r.vendor), hostOffsetFlag(r.vendor),
                              hostHedgeFlag(r.vendor), hostDirection(r.vendor)),
              std::make_tuple(r.priceType, r.offsetFlag, r.hedgeFlag, r.direction))
        << r.vendor;
  }
}

TEST_F(ConversionTest, VendorTimesAreUtcPlusEight) {
  const struct {
    const char *date, *time;
    int64_t expected;
  } rows[] = {{"20240105", "09:30:15", utcMillis(2024, 1, 5, 1, 30, 15)},
              {"20240105", "00:00:00", utcMillis(2024, 1, 4, 16, 0, 0)},
              {"20240101", "07:59:59", utcMillis(2023, 12, 31, 23, 59, 59)},
              {"20240229", "12:00:00", utcMillis(2024, 2, 29, 4, 0, 0)},
              {"20240105", "09:30:15.5", utcMillis(2024, 1, 5, 1, 30, 15)},  // 8 bytes of time
              {"2024010599", "09:30:15", utcMillis(2024, 1, 5, 1, 30, 15)},  // 8 bytes of date
              {"19700101", "08:00:00", 0},
              {"19691231", "23:59:59", utcMillis(1969, 12, 31, 15, 59, 59)},
              {"99991231", "23:59:59", utcMillis(9999, 12, 31, 15, 59, 59)},
              {"14000101", "10:00:00", utcMillis(1400, 1, 1, 2, 0, 0)},
              {"13991231", "10:00:00", 0},
              {"20230229", "12:00:00", 0},
              {"20241305", "09:30:15", 0},
              {"20240105", "", 0},
              {"", "09:30:15", 0},
              {"2024", "09:30:15", 0},
              {"abcdefgh", "09:30:15", 0}};
  for (const auto& r : rows) {
    SCOPED_TRACE(std::string(r.date) + " " + r.time);
    EXPECT_EQ(vendorTimeToMillis(r.date, r.time), r.expected);
    EXPECT_EQ(vendorTimeReference(r.date, r.time), r.expected);
  }
  EXPECT_EQ(vendorTimeToMillis(nullptr, "09:30:15"), 0);
  EXPECT_EQ(vendorTimeToMillis("20240105", nullptr), 0);
}

// Against the reference on every day of the edge years Boost accepts (its
// first and last, century years leap and not, the epoch, today) and every
// 17th day of its range, each at a time that walks through the day; edge days
// also at 00:00:00 and 23:59:59. The days' starts lie exactly `stride` days
// apart, which also proves the results are real times. (Other texts: the
// vendor_time fuzz target and its seeds, replayed by fuzz_regression_test.)
TEST_F(ConversionTest, VendorTimesOfCanonicalDatesAgreeWithTheReference) {
  const struct {
    int first, last, stride;
  } spans[] = {{1400, 1402, 1}, {1599, 1601, 1}, {1699, 1701, 1}, {1899, 1901, 1},
               {1969, 1971, 1}, {1999, 2001, 1}, {2023, 2025, 1}, {2099, 2101, 1},
               {2399, 2401, 1}, {9997, 9999, 1}, {1400, 9999, 17}};
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const auto same = [](const char* date, const char* time) {
    const int64_t reference = vendorTimeReference(date, time);
    EXPECT_EQ(vendorTimeToMillis(date, time), reference) << date << " " << time;
    return reference;
  };
  int step = 0;
  for (const auto& span : spans) {
    int64_t previous = 0;
    for (int year = span.first, index = 0; year <= span.last; ++year) {
      const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
      for (int month = 1; month <= 12; ++month) {
        for (int day = 1; day <= kDays[month - 1] + (month == 2 && leap); ++day, ++index) {
          if (index % span.stride != 0) continue;
          char date[40], time[40];
          std::snprintf(date, sizeof(date), "%04d%02d%02d", year, month, day);
          const int second = (step++ * 7919) % 86400;
          std::snprintf(time, sizeof(time), "%02d:%02d:%02d", second / 3600, second / 60 % 60,
                        second % 60);
          const int64_t start = same(date, time) - int64_t{second} * 1000;
          if (span.stride == 1) {
            EXPECT_EQ(same(date, "00:00:00"), start) << date;
            EXPECT_EQ(same(date, "23:59:59"), start + 86399000) << date;
          }
          if (index > 0) {
            EXPECT_EQ(start - previous, span.stride * int64_t{86400000}) << date;
          }
          previous = start;
          if (HasFailure()) return;
        }
      }
    }
  }
}

// textToInt reads like std::stol with -1 for no number or one outside 32
// bits; the position detail's numbers read like atoi: 0 without digits.
TEST_F(ConversionTest, NumbersReadLikeStolOrAtoi) {
  const struct {
    const char* text;
    int32_t stol, atoi;
  } rows[] = {{"42", 42, 42},
              {" 42abc", 42, 42},
              {"\t\n\v\f\r 7", 7, 7},
              {"+5", 5, 5},
              {"-12", -12, -12},
              {"2147483647", kIntMax, kIntMax},
              {"-2147483648", kIntMin, kIntMin},
              {"2147483648", -1, kIntMax},
              {"-99999999999999999999", -1, kIntMin},
              {"", -1, 0},
              {"abc", -1, 0},
              {"- 5", -1, 0},
              {"0x1A", 0, 0}};
  for (const auto& r : rows) {
    EXPECT_EQ(textToInt(r.text), r.stol) << r.text;
    EXPECT_EQ(textToIntClamped(r.text), r.atoi) << r.text;
  }
  EXPECT_EQ(textToInt(std::string("12\0"
                                  "34",
                                  5)),
            12);
  EXPECT_EQ(textToIntClamped(nullptr), 0);
}

TEST_F(ConversionTest, FallbackClientIdsAndErrorTexts) {
  for (const int32_t id : {1, 42, kIntMax, 0, -5, kIntMin}) {
    ClientId out{"stale", "stale"};
    fallbackClientId(id, out);
    if (id >= 1) {
      EXPECT_EQ(out, (ClientId{"123456@xt", std::to_string(id)}));
    } else {  // the timestamp text: microseconds since 1970, in decimal
      EXPECT_EQ(out.serial, "") << id;
      EXPECT_GE(out.prefix.size(), 16u) << id;
      EXPECT_EQ(out.prefix.find_first_not_of("0123456789"), std::string::npos) << id;
      EXPECT_EQ(out.prefix.substr(out.prefix.size() - 3), "000") << id;
    }
  }
  EXPECT_EQ(wrappedErrorText("资金不足"), CodeConvert::utf8_to_gbk("[msg=资金不足]"));
  EXPECT_EQ(wrappedErrorText(""), "[msg=]");
  EXPECT_EQ(wrappedErrorText(nullptr), "");
  EXPECT_EQ(bareErrorText("资金不足"), CodeConvert::utf8_to_gbk("资金不足"));
  EXPECT_EQ(bareErrorText(nullptr), "");
  EXPECT_EQ(bareErrorText("a\x80"), "a?") << "no byte from 0x80 up passes unconverted";
}

// Each code field holds a different vendor code, so that a field read from
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

template <typename Record>
auto orderFields(const Record& r) {
  return std::make_tuple(r.codeId.tag, r.codeId.kind, r.codeId.exchange, r.codeId.code,
                         r.exchangeOrderId, r.statusMessage, r.volume, r.price, r.orderTime,
                         r.priceType, r.direction, r.offsetFlag, r.hedgeFlag, r.clientId.prefix,
                         r.spareText1 + r.spareText2);
}

// The settings whose values head every converted record.
SessionConfig deskConfig() {
  SessionConfig config;
  config.configCode = 42;
  config.configText = "desk";
  config.userName = "trader1";
  return config;
}

auto headerFields(const AccountHeader& h) {
  return std::make_tuple(h.accountCode, h.configText, h.userName, h.codeA, h.codeB);
}

TEST_F(ConversionTest, OrderRecords) {
  const xti::VendorOrder order = sampleOrder();
  const SessionConfig config = deskConfig();
  const auto expected = [](const char* exchangeOrderId) {
    return std::make_tuple(int64_t{0}, 1, 3, std::string("rb2410"), std::string(exchangeOrderId),
                           CodeConvert::utf8_to_gbk("全部成交"), int64_t{-7}, 3650.5,
                           utcMillis(2024, 1, 5, 13, 5, 0), 2, 1, 5, 2, std::string(),
                           std::string());
  };
  OrderDetailRecord detail;
  OrderRecord canceled, rejected;
  OrderAcceptedRecord accepted;
  OrderFilledRecord filled;
  toOrderRecord(order, config, detail);
  toOrderRecord(order, config, canceled);
  toRejectedOrderRecord(order, config, rejected);
  toOrderRecord(order, config, accepted);
  toOrderRecord(order, config, filled);
  for (const AccountHeader* header :
       {&detail.header, &canceled.header, &rejected.header, &accepted.header, &filled.header}) {
    EXPECT_EQ(headerFields(*header), std::make_tuple(42, "desk", "trader1", 0, 1));
  }
  EXPECT_EQ(orderFields(detail), expected("000000012345"));
  EXPECT_EQ(orderFields(canceled), expected("000000012345"));
  EXPECT_EQ(orderFields(rejected), expected(""));
  EXPECT_EQ(orderFields(accepted), expected("000000012345"));
  EXPECT_EQ(orderFields(filled), expected("000000012345"));
  EXPECT_EQ(std::make_tuple(detail.firstAmount, detail.secondAmount, accepted.firstAmount,
                            accepted.secondAmount),
            std::make_tuple(36500.0, 3650.0, 36500.0, 3650.0));
  // Fields no conversion writes keep the record's defaults.
  EXPECT_EQ(std::make_tuple(detail.spare1, detail.spare2, detail.spare3, canceled.spare1,
                            accepted.spare1, filled.spare1, filled.spare2, filled.spare3,
                            filled.spare4, filled.spare5, filled.spareText3),
            std::make_tuple(0, 0.0, 0, 0, 0, 0, 0, 0, 0, 0, std::string()));
  // From a record of zeroes: kind 1 beside exchange -1, no time.
  OrderRecord empty;
  toOrderRecord(xti::VendorOrder{}, SessionConfig(), empty);
  EXPECT_EQ(std::make_tuple(empty.codeId.kind, empty.codeId.exchange, empty.orderTime,
                            empty.hedgeFlag, empty.direction),
            std::make_tuple(1, -1, 0, 0, 2));
}

TEST_F(ConversionTest, FillRecords) {
  xti::VendorDeal deal{};
  setText(deal.m_strExchangeID, "DCE");
  setText(deal.m_strInstrumentID, "m2409");
  setText(deal.m_strOrderSysID, "SYS9");
  setText(deal.m_strTradeID, "T-100");
  deal.m_dPrice = 3001.0;
  deal.m_nVolume = -3;
  setText(deal.m_strTradeDate, "20240105");
  setText(deal.m_strTradeTime, "14:59:59");
  deal.m_nDirection = '0';
  deal.m_nOffsetFlag = '4';
  deal.m_nHedgeFlag = '3';
  deal.m_nPriceType = '1';
  FillRecord fill;
  toFillRecord(deal, deskConfig(), fill);
  EXPECT_EQ(headerFields(fill.header), std::make_tuple(42, "desk", "trader1", 0, 1));
  EXPECT_EQ(
      std::make_tuple(fill.codeId.kind, fill.codeId.exchange, fill.codeId.code, fill.fillReference,
                      fill.fillReference2, fill.volume, fill.price, fill.fillTime),
      std::make_tuple(1, 4, "m2409", "T-100", "SYS9", -3, 3001.0,
                      utcMillis(2024, 1, 5, 6, 59, 59)));
  EXPECT_EQ(std::make_tuple(fill.priceType, fill.direction, fill.offsetFlag, fill.hedgeFlag),
            std::make_tuple(2, 1, 6, 3));
  EXPECT_EQ(std::make_tuple(fill.spare1, fill.spare2, fill.spare3, fill.spare4, fill.clientId),
            std::make_tuple(0, 0, 0, 0.0, ClientId{}));
}

TEST_F(ConversionTest, Funds) {
  xti::VendorAccountDetail detail{};
  double* const sources[] = {
      &detail.m_dCurrMargin,     &detail.m_dPreBalance, &detail.m_dBalance,
      &detail.m_dPositionProfit, &detail.m_dDeposit,    &detail.m_dWithdraw,
      &detail.m_dFrozenMargin,   &detail.m_dAvailable,  &detail.m_dCloseProfit,
      &detail.m_dFrozenCash,     &detail.m_dCommission};
  const int targets[] = {1, 3, 4, 5, 7, 8, 10, 11, 12, 13, 15};  // amountN of each source
  for (int i = 0; i < 11; ++i) *sources[i] = targets[i];
  detail.m_dCredit = 99;  // not carried
  for (const auto& [day, expected] : {std::pair{"20240105", 20240105}, {"day", -1}, {"", -1}}) {
    setText(detail.m_strTradingDay, day);
    AccountFunds funds;
    toAccountFunds(detail, SessionConfig(), funds);
    EXPECT_EQ(funds.tradingDay, expected) << day;
    const double got[] = {funds.amount1,  funds.amount2,  funds.amount3,  funds.amount4,
                          funds.amount5,  funds.amount6,  funds.amount7,  funds.amount8,
                          funds.amount9,  funds.amount10, funds.amount11, funds.amount12,
                          funds.amount13, funds.amount14, funds.amount15, funds.amount16,
                          funds.amount17, funds.amount18, funds.amount19};
    const double want[] = {1, 0, 3, 4, 5, 0, 7, 8, 0, 10, 11, 12, 13, 0, 15, 0, 0, 0, 0};
    for (int i = 0; i < 19; ++i) EXPECT_EQ(got[i], want[i]) << "amount" << i + 1;
  }
}

TEST_F(ConversionTest, Positions) {
  const struct {
    unsigned char flag;  // any non-zero byte counts as set
    int32_t direction;
    int64_t whenSet, whenClear;
    int32_t side, twoValueCode;
  } rows[] = {{2, '0', 12, 0, 1, 1}, {1, '1', 12, 0, 1, 2}, {0, '1', 0, 12, 2, 2}};
  for (const auto& r : rows) {
    xti::VendorPosition position{};
    setText(position.m_strExchangeID, "CFFEX");
    setText(position.m_strInstrumentID, "IF2409");
    position.m_nPosition = 12;
    position.m_nDirection = r.direction;
    std::memcpy(&position.m_bIsToday, &r.flag, 1);
    PositionRecord record;
    toPositionRecord(position, SessionConfig(), record);
    EXPECT_EQ(std::make_tuple(record.codeId.kind, record.codeId.exchange, record.codeId.code,
                              record.volumeWhenSet, record.volumeWhenClear, record.side,
                              record.twoValueCode),
              std::make_tuple(1, 6, "IF2409", r.whenSet, r.whenClear, r.side, r.twoValueCode))
        << int{r.flag};
    EXPECT_EQ(std::make_tuple(record.spare1, record.spare2, record.spare3, record.spare4,
                              record.spare5, record.spare6, record.spare7, record.spare8,
                              record.spare9, record.codeId.tag),
              std::make_tuple(0, 0, 0, 0, 0, 0, 0, 0, 0.0, 0));
  }
}

// The header's values in the record's own layout, atoi numbers, a 32-bit
// volume sum; the ceilings, spares and kind keep their defaults.
TEST_F(ConversionTest, PositionDetails) {
  const SessionConfig config = deskConfig();
  const struct {
    const char *tradingDay, *openDate;
    int32_t volume, frozen;
    bool today;
    int32_t number1, number2;
    int64_t sum;
    int32_t side;
  } rows[] = {{"20240105", "20240104x", 3, 4, false, 20240105, 20240104, 7, 2},
              {"day", "", kIntMax, 1, true, 0, 0, kIntMin, 1}};
  for (const auto& r : rows) {
    xti::VendorPositionDetail detail{};
    setText(detail.m_strExchangeID, "SHFE");
    setText(detail.m_strInstrumentID, "rb2410");
    setText(detail.m_strTradingDay, r.tradingDay);
    setText(detail.m_strOpenDate, r.openDate);
    setText(detail.m_strTradeID, "T7");
    detail.m_nVolume = r.volume;
    detail.m_nFrozenVolume = r.frozen;
    detail.m_dOpenPrice = 3600;
    detail.m_dOpenCost = 36000;
    detail.m_bIsToday = r.today;
    detail.m_nDirection = '0';
    PositionDetailRecord record;
    toPositionDetailRecord(detail, config, record);
    EXPECT_EQ(std::make_tuple(record.accountCode, record.configText, record.userName, record.codeA,
                              record.codeB),
              std::make_tuple(42, "desk", "trader1", 0, 1));
    EXPECT_EQ(std::make_tuple(record.codeId.kind, record.codeId.exchange, record.codeId.code,
                              record.detailNumber1, record.detailNumber2, record.detailReference),
              std::make_tuple(-1, 3, "rb2410", r.number1, r.number2, "T7"));
    EXPECT_EQ(std::make_tuple(record.volume, record.side, record.twoValueCode, record.firstAmount,
                              record.secondAmount),
              std::make_tuple(r.sum, r.side, 1, 3600.0, 36000.0));
    EXPECT_EQ(std::make_tuple(record.ceilingOne, record.ceilingTwo, record.spare1, record.spare2,
                              record.spare3, record.spare4, record.spare5,
                              record.spareText1 + record.spareText2),
              std::make_tuple(kIntMax, kIntMax, 0, 0, 0, 0, 0, std::string()));
  }
}

// Fields filled to their last byte: texts end at the field, never past it
// (the address sanitizer sees a read beyond the record).
TEST_F(ConversionTest, TextsWithoutNulStopAtTheFieldsEnd) {
  xti::VendorOrder order;
  std::memset(&order, 'A', sizeof(order));
  OrderDetailRecord detail;
  toOrderRecord(order, SessionConfig(), detail);
  EXPECT_EQ(detail.codeId.code, std::string(sizeof(order.m_strInstrumentID), 'A'));
  EXPECT_EQ(detail.exchangeOrderId, std::string(sizeof(order.m_strOrderSysID), 'A'));
  EXPECT_EQ(detail.statusMessage, std::string(sizeof(order.m_strErrorMsg), 'A'));
  EXPECT_EQ(detail.orderTime, 0);
  xti::VendorDeal deal;
  std::memset(&deal, 0xFF, sizeof(deal));
  FillRecord fill;
  toFillRecord(deal, SessionConfig(), fill);
  EXPECT_EQ(fill.fillReference.size(), sizeof(deal.m_strTradeID));
  EXPECT_EQ(fill.volume, -1);
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
