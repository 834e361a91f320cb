// vendorTimeToMillis against its reference vendorTimeToMillisBoost: the fast
// path for canonical texts must give Boost's result on every input, and every
// other input must reach Boost unchanged.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "spi/record_conversion.h"

namespace kestrel {
namespace {

constexpr int64_t kDayMillis = 86400000;

std::string dateText(int year, int month, int day) {
  char text[40];
  std::snprintf(text, sizeof(text), "%04d%02d%02d", year, month, day);
  return text;
}

std::string timeText(int hour, int minute, int second) {
  char text[40];
  std::snprintf(text, sizeof(text), "%02d:%02d:%02d", hour, minute, second);
  return text;
}

bool isLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int monthLength(int year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeap(year) ? 29 : kDays[month - 1];
}

// Both parsers on one pair; returns the (common) result.
int64_t expectSame(const char* date, const char* time) {
  const int64_t fast = vendorTimeToMillis(date, time);
  const int64_t reference = vendorTimeToMillisBoost(date, time);
  EXPECT_EQ(fast, reference) << "date \"" << date << "\" time \"" << time << "\"";
  return reference;
}

// Every day of a span of years, each at a time that walks through the day,
// plus midnight and 23:59:59 of every day. Consecutive midnights must lie
// exactly one day apart, which also proves the results are real times.
void sweepYears(int firstYear, int lastYear) {
  SCOPED_TRACE("years " + std::to_string(firstYear) + "-" + std::to_string(lastYear));
  int64_t previousMidnight = 0;
  bool havePrevious = false;
  int step = 0;
  for (int year = firstYear; year <= lastYear; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 1; day <= monthLength(year, month); ++day) {
        const std::string date = dateText(year, month, day);
        const int64_t midnight = expectSame(date.c_str(), "00:00:00");
        const int64_t last = expectSame(date.c_str(), "23:59:59");
        const int second = (step++ * 7919) % 86400;
        const int64_t inside =
            expectSame(date.c_str(), timeText(second / 3600, second / 60 % 60, second % 60).c_str());
        EXPECT_EQ(last - midnight, kDayMillis - 1000) << date;
        EXPECT_EQ(inside - midnight, int64_t{second} * 1000) << date;
        if (havePrevious) {
          EXPECT_EQ(midnight - previousMidnight, kDayMillis) << date;
        }
        previousMidnight = midnight;
        havePrevious = true;
      }
    }
  }
}

TEST(VendorTimeDifferentialTest, KnownInstants) {
  struct Case {
    const char* date;
    const char* time;
    int64_t expected;
  } cases[] = {
      {"19700101", "08:00:00", 0},
      {"20240105", "09:30:15", 1704418215000},
      {"20000229", "23:59:59", 951839999000},
      {"99991231", "23:59:59", 253402271999000},
      {"14000101", "08:00:00", -17987443200000},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.date) + " " + c.time);
    EXPECT_EQ(vendorTimeToMillis(c.date, c.time), c.expected);
    EXPECT_EQ(vendorTimeToMillisBoost(c.date, c.time), c.expected);
  }
}

TEST(VendorTimeDifferentialTest, EdgeYearsEveryDay) {
  // The first and last years Boost accepts, century years (leap and not),
  // the epoch, and today's dates.
  const int spans[][2] = {{1400, 1402}, {1599, 1601}, {1699, 1701}, {1899, 1901},
                          {1969, 1971}, {1999, 2001}, {2023, 2025}, {2099, 2101},
                          {2399, 2401}, {9997, 9999}};
  for (const auto& span : spans) sweepYears(span[0], span[1]);
}

TEST(VendorTimeDifferentialTest, WholeRangeEverySeventeenthDay) {
  int64_t previous = 0;
  int dayIndex = 0;
  for (int year = 1400; year <= 9999; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 1; day <= monthLength(year, month); ++day, ++dayIndex) {
        if (dayIndex % 17 != 0) continue;
        const std::string date = dateText(year, month, day);
        const int64_t noon = expectSame(date.c_str(), "12:00:00");
        if (dayIndex > 0) {
          EXPECT_EQ(noon - previous, 17 * kDayMillis) << date;
        }
        previous = noon;
      }
    }
  }
}

TEST(VendorTimeDifferentialTest, EverySecondOfALeapDay) {
  int64_t previous = expectSame("20240229", "00:00:00");
  for (int second = 1; second < 86400; ++second) {
    const int64_t now =
        expectSame("20240229", timeText(second / 3600, second / 60 % 60, second % 60).c_str());
    EXPECT_EQ(now - previous, 1000) << second;
    previous = now;
  }
}

TEST(VendorTimeDifferentialTest, NearCanonicalTexts) {
  struct Case {
    const char* date;
    const char* time;
  } cases[] = {
      // Fields out of range.
      {"20240005", "09:30:15"}, {"20241305", "09:30:15"}, {"20240100", "09:30:15"},
      {"20240132", "09:30:15"}, {"20230229", "09:30:15"}, {"19000229", "09:30:15"},
      {"21000229", "09:30:15"}, {"20000229", "09:30:15"}, {"20240431", "09:30:15"},
      {"20240631", "09:30:15"}, {"20240931", "09:30:15"}, {"20241131", "09:30:15"},
      {"13991231", "23:59:59"}, {"00000101", "09:30:15"}, {"99991232", "09:30:15"},
      {"20240105", "24:00:00"}, {"20240105", "23:60:00"}, {"20240105", "23:59:60"},
      {"20240105", "99:99:99"}, {"14000101", "00:00:00"}, {"14000101", "07:59:59"},
      // Non-digits and wrong separators.
      {"2024a105", "09:30:15"}, {"2024-1-5", "09:30:15"}, {" 2024010", "09:30:15"},
      {"+2024010", "09:30:15"}, {"2024010\x7F", "09:30:15"}, {"2024010\xB5", "09:30:15"},
      {"20240105", "09-30-15"}, {"20240105", "09:3x:15"}, {"20240105", "09:30:1 "},
      {"20240105", " 9:30:15"}, {"20240105", "+9:30:15"}, {"20240105", "0930:15 "},
      {"20240105", "09:30:/5"}, {"20240105", "09:30::5"}, {"20240105", "09.30.15"},
      {"20240105", "09:30:15"},
      // Short and long texts.
      {"2024010", "09:30:15"}, {"2024", "09:30:15"}, {"2", "09:30:15"},
      {"20240105", "09:30:1"}, {"20240105", "9:30:15"}, {"20240105", "09:30"},
      {"20240105", "0"}, {"", "09:30:15"}, {"20240105", ""}, {"", ""},
      {"202401051", "09:30:15"}, {"2024010512345678", "09:30:15"},
      {"20240105", "09:30:15.123"}, {"20240105", "09:30:150"}, {"20240105", "09:30:15Z"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string("\"") + c.date + "\" \"" + c.time + "\"");
    expectSame(c.date, c.time);
  }
  EXPECT_EQ(vendorTimeToMillis(nullptr, "09:30:15"), vendorTimeToMillisBoost(nullptr, "09:30:15"));
  EXPECT_EQ(vendorTimeToMillis("20240105", nullptr), vendorTimeToMillisBoost("20240105", nullptr));
  EXPECT_EQ(vendorTimeToMillis(nullptr, nullptr), 0);
}

// Texts cut short by a NUL inside the first 8 bytes, and texts with no NUL
// at all: exactly 8 bytes on the heap, so that a read past them is caught by
// the address sanitizer.
TEST(VendorTimeDifferentialTest, NulPlacementAndUnterminatedTexts) {
  for (int cut = 0; cut <= 8; ++cut) {
    SCOPED_TRACE("NUL at byte " + std::to_string(cut));
    char date[16] = "20240105";
    char time[16] = "09:30:15";
    if (cut < 8) {
      date[cut] = '\0';
      expectSame(date, "09:30:15");
      time[cut] = '\0';
      expectSame("20240105", time);
    }
    // Bytes after the NUL must not matter.
    char dateTail[16] = "20240105";
    char timeTail[16] = "09:30:15";
    if (cut < 8) {
      dateTail[cut] = '\0';
      timeTail[cut] = '\0';
    }
    std::memset(dateTail + 9, '7', 6);
    std::memset(timeTail + 9, '7', 6);
    expectSame(dateTail, timeTail);
  }
  std::unique_ptr<char[]> date(new char[8]);
  std::unique_ptr<char[]> time(new char[8]);
  std::memcpy(date.get(), "20240105", 8);
  std::memcpy(time.get(), "09:30:15", 8);
  EXPECT_EQ(vendorTimeToMillis(date.get(), time.get()), 1704418215000);
  EXPECT_EQ(vendorTimeToMillisBoost(date.get(), time.get()), 1704418215000);
  std::memcpy(time.get(), "24:00:00", 8);
  expectSame(date.get(), time.get());
}

// Deterministic pseudo-random texts: canonical pairs with one to three bytes
// replaced from an alphabet of digits, separators, NUL and stray bytes, and
// pairs drawn wholly from that alphabet.
TEST(VendorTimeDifferentialTest, PseudoRandomSweep) {
  static const char kAlphabet[] = "0123456789012345678901234567890123456789:::--  +.aZ\x7F\xB5";
  constexpr std::size_t kAlphabetSize = sizeof(kAlphabet) - 1;  // the array's NUL is chosen too
  std::mt19937 random(1400);
  std::uniform_int_distribution<int> year(1390, 9999), month(0, 13), day(0, 32), hour(0, 25),
      minute(0, 61), position(0, 7), count(1, 3), which(0, 1), pick(0, kAlphabetSize);
  int nonZero = 0;
  for (int i = 0; i < 60000; ++i) {
    std::string date = dateText(year(random), month(random), day(random)).substr(0, 8);
    std::string time = timeText(hour(random), minute(random), minute(random)).substr(0, 8);
    char dateBytes[9] = {};
    char timeBytes[9] = {};
    std::memcpy(dateBytes, date.data(), date.size());
    std::memcpy(timeBytes, time.data(), time.size());
    if (i % 2 == 0) {
      for (int k = count(random); k > 0; --k) {
        char* target = which(random) == 0 ? dateBytes : timeBytes;
        target[position(random)] = kAlphabet[pick(random)];
      }
    } else if (i % 10 == 1) {
      for (int k = 0; k < 8; ++k) {
        dateBytes[k] = kAlphabet[pick(random)];
        timeBytes[k] = kAlphabet[pick(random)];
      }
    }
    if (expectSame(dateBytes, timeBytes) != 0) ++nonZero;
    if (HasFailure()) break;  // one reported pair is enough
  }
  // The sweep must reach both paths: valid times and rejected ones.
  EXPECT_GT(nonZero, 10000);
  EXPECT_LT(nonZero, 55000);
}

}  // namespace
}  // namespace kestrel
