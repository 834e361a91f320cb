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

bool digitsAt(const char* text, std::size_t at, std::size_t count, int& value) {
  value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    value = value * 10 + (text[i] - '0');
  }
  return true;
}

bool isLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

// Days from 1970-01-01 to a proleptic Gregorian date.
int64_t daysFromCivil(int year, int month, int day) {
  year -= month <= 2;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yoe = year - era * 400;
  const int64_t doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

// The fixed-format path: true and `millis` set only for a canonical text.
bool parseCanonical(const char* text, std::size_t length, int64_t& millis) {
  if (length != kTextLength || text[4] != '-' || text[7] != '-' || text[10] != ' ' ||
      text[13] != ':' || text[16] != ':') {
    return false;
  }
  int year, month, day, hour, minute, second;
  if (!digitsAt(text, 0, 4, year) || !digitsAt(text, 5, 2, month) || !digitsAt(text, 8, 2, day) ||
      !digitsAt(text, 11, 2, hour) || !digitsAt(text, 14, 2, minute) ||
      !digitsAt(text, 17, 2, second)) {
    return false;
  }
  if (year < 1400 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) ||
      hour > 23 || minute > 59 || second > 59) {
    return false;
  }
  const int64_t seconds = daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 +
                          second - kVendorZoneOffsetSeconds;
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
  char text[kTextLength + 1];
  const std::size_t length = assembleText(date, time, text);
  int64_t millis = 0;
  if (parseCanonical(text, length, millis)) return millis;
  return parseWithBoost(text);
}

int64_t vendorTimeToMillisBoost(const char* date, const char* time) {
  if (date == nullptr || time == nullptr || date[0] == '\0' || time[0] == '\0') return 0;
  char text[kTextLength + 1];
  assembleText(date, time, text);
  return parseWithBoost(text);
}

}  // namespace kestrel
