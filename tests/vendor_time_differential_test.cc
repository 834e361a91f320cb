// vendorTimeToMillis against its reference, which always parses with Boost:
// the fast path for canonical texts must give the reference's result, and
// every other input must reach Boost unchanged. The fuzz target runs the same
// property on arbitrary bytes; this is the ordinary suite's compact sweep.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "spi/record_conversion.h"
#include "tests/support/vendor_time_reference.h"

namespace kestrel {
namespace {

constexpr int64_t kDayMillis = 86400000;

// Both parsers on one pair; returns the (common) result.
int64_t expectSame(const char* date, const char* time) {
  const int64_t reference = testing::vendorTimeReference(date, time);
  EXPECT_EQ(vendorTimeToMillis(date, time), reference)
      << "date \"" << (date ? date : "<null>") << "\" time \"" << (time ? time : "<null>") << "\"";
  return reference;
}

// Every day of the edge years Boost accepts (its first and last, century
// years leap and not, the epoch, today), and every 17th day of its whole
// range, each at a time that walks through the day; edge days also at
// 00:00:00 and 23:59:59. The days' starts must lie exactly `stride` days
// apart, which also proves the results are real times.
TEST(VendorTimeDifferentialTest, CanonicalDatesAgreeAndFollowEachOther) {
  const struct {
    int first, last, stride;
  } spans[] = {{1400, 1402, 1}, {1599, 1601, 1}, {1699, 1701, 1}, {1899, 1901, 1},
               {1969, 1971, 1}, {1999, 2001, 1}, {2023, 2025, 1}, {2099, 2101, 1},
               {2399, 2401, 1}, {9997, 9999, 1}, {1400, 9999, 17}};
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int step = 0;
  for (const auto& span : spans) {
    int64_t previousStart = 0;
    int index = 0;
    for (int year = span.first; year <= span.last; ++year) {
      const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
      for (int month = 1; month <= 12; ++month) {
        for (int day = 1; day <= kDays[month - 1] + (month == 2 && leap); ++day, ++index) {
          if (index % span.stride != 0) continue;
          char date[40], time[40];
          std::snprintf(date, sizeof(date), "%04d%02d%02d", year, month, day);
          const int second = (step++ * 7919) % 86400;
          std::snprintf(time, sizeof(time), "%02d:%02d:%02d", second / 3600, second / 60 % 60,
                        second % 60);
          const int64_t start = expectSame(date, time) - int64_t{second} * 1000;
          if (span.stride == 1) {
            EXPECT_EQ(expectSame(date, "00:00:00"), start) << date;
            EXPECT_EQ(expectSame(date, "23:59:59"), start + kDayMillis - 1000) << date;
          }
          if (index > 0) {
            EXPECT_EQ(start - previousStart, span.stride * kDayMillis) << date;
          }
          previousStart = start;
          if (::testing::Test::HasFailure()) return;
        }
      }
    }
  }
}

// Dates read with a canonical time, times with a canonical date: fields out
// of range, non-digits and wrong separators, short and long texts.
TEST(VendorTimeDifferentialTest, NearCanonicalTexts) {
  for (const char* date :
       {"20240005",    "20241305", "20240100", "20240132", "20230229",  "19000229",
        "21000229",    "20000229", "20240431", "20241131", "13991231",  "00000101",
        "99991232",    "2024a105", "2024-1-5", " 2024010", "+2024010",  "2024010\x7F",
        "2024010\xB5", "2024010",  "2",        "",         "202401051", "2024010512345678"}) {
    expectSame(date, "09:30:15");
  }
  for (const char* time :
       {"24:00:00", "23:60:00", "23:59:60", "99:99:99", "09-30-15",     "09:3x:15",  "09:30:1 ",
        " 9:30:15", "+9:30:15", "0930:15 ", "09:30:/5", "09:30::5",     "09.30.15",  "09:30:1",
        "9:30:15",  "09:30",    "0",        "",         "09:30:15.123", "09:30:150", "09:30:15Z"}) {
    expectSame("20240105", time);
  }
  expectSame("14000101", "07:59:59");  // canonical, but before 1400 in UTC
  expectSame(nullptr, "09:30:15");
  expectSame("20240105", nullptr);
}

// Texts cut short by a NUL inside the first 8 bytes (with bytes after it that
// must not matter), and texts with no NUL at all: exactly 8 bytes on the
// heap, so that the address sanitizer catches a read past them.
TEST(VendorTimeDifferentialTest, NulPlacementAndUnterminatedTexts) {
  for (int cut = 0; cut <= 8; ++cut) {
    char date[16] =
        "20240105\0"
        "777777";
    char time[16] =
        "09:30:15\0"
        "777777";
    date[cut] = '\0';
    expectSame(date, "09:30:15");
    time[cut] = '\0';
    expectSame("20240105", time);
    expectSame(date, time);
  }
  const std::unique_ptr<char[]> date(new char[8]), time(new char[8]);
  std::memcpy(date.get(), "20240105", 8);
  for (const char* text : {"09:30:15", "24:00:00", "09:30:1x"}) {
    std::memcpy(time.get(), text, 8);
    expectSame(date.get(), time.get());
  }
  std::memcpy(time.get(), "09:30:15", 8);
  EXPECT_EQ(vendorTimeToMillis(date.get(), time.get()), 1704418215000);
}

}  // namespace
}  // namespace kestrel
