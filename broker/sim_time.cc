#include "broker/sim_time.h"

#include <chrono>
#include <cstdio>

namespace xti {
namespace sim {
namespace {

constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kUtc8Offset = 8 * 3600;

// Days since 1970-01-01 of a proleptic Gregorian date, and back (H. Hinnant's
// algorithms).
int64_t daysFromCivil(int64_t y, int m, int d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void civilFromDays(int64_t z, int64_t& y, int& m, int& d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = yoe + era * 400 + (m <= 2);
}

std::string dateText(int64_t days) {
  int64_t y;
  int m, d;
  civilFromDays(days, y, m, d);
  char buffer[32];
  std::snprintf(buffer, sizeof(buffer), "%04lld%02d%02d", static_cast<long long>(y), m, d);
  return buffer;
}

int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

// Days since 1970-01-01 of the eight digits YYYYMMDD, read as a date even
// where it is none (20240230 is 20240301).
int64_t daysOf(const std::string& yyyymmdd) {
  return daysFromCivil(std::stoi(yyyymmdd.substr(0, 4)), std::stoi(yyyymmdd.substr(4, 2)),
                       std::stoi(yyyymmdd.substr(6, 2)));
}

}  // namespace

Stamp stampAt(int64_t unixSeconds) {
  const int64_t local = unixSeconds + kUtc8Offset;
  const int64_t days = floorDiv(local, kSecondsPerDay);
  const int64_t second = local - days * kSecondsPerDay;
  char time[16];
  std::snprintf(time, sizeof(time), "%02d:%02d:%02d", static_cast<int>(second / 3600),
                static_cast<int>(second / 60 % 60), static_cast<int>(second % 60));
  return Stamp{dateText(days), time};
}

Stamp stampNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return stampAt(std::chrono::duration_cast<std::chrono::seconds>(now).count());
}

// A real date reads back as the same text.
bool isDateText(const std::string& text) {
  return text.size() == 8 && text.find_first_not_of("0123456789") == std::string::npos &&
         std::stoi(text.substr(0, 4)) >= 1900 && dateText(daysOf(text)) == text;
}

std::string previousWeekday(const std::string& yyyymmdd) {
  const int64_t days = daysOf(yyyymmdd);
  // 1970-01-01 was a Thursday: weekday 0 is Monday.
  const int64_t weekday = (days % 7 + 7 + 3) % 7;
  const int64_t back = weekday == 0 ? 3 : weekday == 6 ? 2 : 1;
  return dateText(days - back);
}

}  // namespace sim
}  // namespace xti
