// vendorTimeToMillis: the vendor's date and time texts (UTC+8) as UTC
// milliseconds since 1970.
//
// Boost date_time is the reference parser. Canonical texts ("YYYYMMDD" and
// "HH:MM:SS" with every field in range) take a fixed-format path that yields
// exactly Boost's result for them at a small fraction of the cost; anything
// else goes to Boost. A differential test and a fuzz target hold the result
// equal to a reference that always parses with Boost.
#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>

#include "spi/record_conversion.h"

namespace kestrel {
namespace {

constexpr int64_t kVendorZoneOffsetSeconds = int64_t{8} * 3600;

// "YYYY-MM-DD HH:MM:SS" assembled from date bytes 1-8 and time bytes 1-8,
// cut at the first NUL. Never reads a byte after a NUL of either text.
constexpr std::size_t kTextLength = 19;

std::size_t assembleText(const char* date, const char* time, char (&out)[kTextLength + 1]) {
  // Positive entries are literal characters; -1 - k takes date byte k,
  // -9 - k takes time byte k.
  static constexpr int kLayout[kTextLength] = {-1,  -2, -3,  -4,  '-', -5,  -6,  '-', -7, -8,
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

// Reads one decimal digit; false for any other byte.
inline bool digit(char c, unsigned& value) {
  value = static_cast<unsigned char>(c) - unsigned{'0'};
  return value <= 9;
}

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
  // One test per byte, in order (&& stops at the first failure), written out
  // rather than looped: this runs on every order push.
  unsigned y0, y1, y2, y3, mo0, mo1, d0, d1, h0, h1, mi0, mi1, s0, s1;
  if (!(digit(date[0], y0) && digit(date[1], y1) && digit(date[2], y2) && digit(date[3], y3) &&
        digit(date[4], mo0) && digit(date[5], mo1) && digit(date[6], d0) && digit(date[7], d1) &&
        digit(time[0], h0) && digit(time[1], h1) && time[2] == ':' && digit(time[3], mi0) &&
        digit(time[4], mi1) && time[5] == ':' && digit(time[6], s0) && digit(time[7], s1))) {
    return false;
  }
  const unsigned year = y0 * 1000 + y1 * 100 + y2 * 10 + y3;
  const unsigned month = mo0 * 10 + mo1;
  const unsigned day = d0 * 10 + d1;
  const unsigned hour = h0 * 10 + h1;
  const unsigned minute = mi0 * 10 + mi1;
  const unsigned second = s0 * 10 + s1;
  if (year < 1400 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) ||
      hour > 23 || minute > 59 || second > 59) {
    return false;
  }
  const int64_t seconds = daysFromCivil(year, month, day) * 86400 +
                          int64_t{hour * 3600 + minute * 60 + second} - kVendorZoneOffsetSeconds;
  millis = seconds * 1000;
  return true;
}

// Kept out of line, so that the fast path's own code stays small.
#if defined(__GNUC__)
#define KS_OUT_OF_LINE __attribute__((noinline, cold))
#elif defined(_MSC_VER)
#define KS_OUT_OF_LINE __declspec(noinline)
#else
#define KS_OUT_OF_LINE
#endif

KS_OUT_OF_LINE int64_t parseWithBoost(const char* date, const char* time) {
  char text[kTextLength + 1];
  assembleText(date, time, text);
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
  return parseWithBoost(date, time);
}

}  // namespace kestrel
