// vendorTimeToMillis: the vendor's date and time texts (UTC+8) as UTC
// milliseconds since 1970.
//
// Boost date_time is the reference parser. Canonical texts ("YYYYMMDD" and
// "HH:MM:SS" with every field in range) take a fixed-format path that yields
// exactly Boost's result for them at a small fraction of the cost; anything
// else goes to Boost. A differential test and a fuzz target hold the two
// paths equal.
#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>

#include "spi/record_conversion.h"

namespace kestrel {
namespace {

constexpr int64_t kVendorZoneOffsetSeconds = 8 * 3600;

// "YYYY-MM-DD HH:MM:SS" assembled from date bytes 1-8 and time bytes 1-8,
// cut at the first NUL. Never reads a byte after a NUL of either text.
constexpr std::size_t kTextLength = 19;

std::size_t assembleText(const char* date, const char* time, char (&out)[kTextLength + 1]) {
  // Positive entries are literal characters; -1 - k takes date byte k,
  // -9 - k takes time byte k.
  static constexpr int kLayout[kTextLength] = {-1, -2, -3, -4, '-', -5, -6, '-', -7, -8,
                                               ' ', -9, -10, -11, -12, -13, -14, -15, -16};
  std::size_t n = 0;
  for (int slot : kLayout) {
    char c = slot >= 0 ? static_cast<char>(slot) : slot >= -8 ? date[-1 - slot] : time[-9 - slot];
    if (c == '\0') break;
    out[n++] = c;
  }
  out[n] = '\0';
  return n;
}

// The value of a decimal digit; any other byte gives a value above 9.
inline unsigned digitValue(char c) { return static_cast<unsigned char>(c) - unsigned{'0'}; }

bool isLeapYear(unsigned year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

unsigned daysInMonth(unsigned year, unsigned month) {
  static constexpr unsigned char kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

// Days from 1970-01-01 to a proleptic Gregorian date of year 1 or later.
int64_t daysFromCivil(unsigned year, unsigned month, unsigned day) {
  year -= month <= 2;
  const unsigned era = year / 400;
  const unsigned yoe = year - era * 400;
  const unsigned doy = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return int64_t{era} * 146097 + int64_t{doe} - 719468;
}

// The fixed-format path, straight from the vendor's texts: true and `millis`
// set only when the text assembleText() would build is canonical, that is
// date bytes 0-7 are digits, time bytes 0-7 are "DD:DD:DD", and every field
// is in range. The bytes are read in order and reading stops at the first one
// out of place; a NUL is never in place, so no byte after a NUL is read.
bool parseCanonical(const char* date, const char* time, int64_t& millis) {
  unsigned d[8];
  for (int i = 0; i < 8; ++i) {
    d[i] = digitValue(date[i]);
    if (d[i] > 9) return false;
  }
  unsigned t[8];
  for (int i = 0; i < 8; ++i) {
    if (i == 2 || i == 5) {
      if (time[i] != ':') return false;
      continue;
    }
    t[i] = digitValue(time[i]);
    if (t[i] > 9) return false;
  }
  const unsigned year = d[0] * 1000 + d[1] * 100 + d[2] * 10 + d[3];
  const unsigned month = d[4] * 10 + d[5];
  const unsigned day = d[6] * 10 + d[7];
  const unsigned hour = t[0] * 10 + t[1];
  const unsigned minute = t[3] * 10 + t[4];
  const unsigned second = t[6] * 10 + t[7];
  if (year < 1400 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) ||
      hour > 23 || minute > 59 || second > 59) {
    return false;
  }
  const int64_t seconds = daysFromCivil(year, month, day) * 86400 +
                          int64_t{hour * 3600 + minute * 60 + second} - kVendorZoneOffsetSeconds;
  millis = seconds * 1000;
  return true;
}

int64_t parseWithBoost(const char* text) {
  namespace pt = boost::posix_time;
  try {
    pt::ptime local = pt::time_from_string(text);
    if (local.is_special()) return 0;
    const pt::ptime utc = local - pt::hours(8);
    static const pt::ptime kEpoch(boost::gregorian::date(1970, 1, 1));
    const pt::time_duration since = utc - kEpoch;
    if (since.is_special()) return 0;
    return since.total_microseconds() / 1000;
  } catch (...) {
    // Malformed text, year outside 1400..9999, invalid month or day.
    return 0;
  }
}

}  // namespace

int64_t vendorTimeToMillis(const char* date, const char* time) {
  if (date == nullptr || time == nullptr || date[0] == '\0' || time[0] == '\0') return 0;
  int64_t millis = 0;
  if (parseCanonical(date, time, millis)) return millis;
  char text[kTextLength + 1];
  assembleText(date, time, text);
  return parseWithBoost(text);
}

int64_t vendorTimeToMillisBoost(const char* date, const char* time) {
  if (date == nullptr || time == nullptr || date[0] == '\0' || time[0] == '\0') return 0;
  char text[kTextLength + 1];
  assembleText(date, time, text);
  return parseWithBoost(text);
}

}  // namespace kestrel
