#include "broker/sim_time.h"

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace xti {
namespace sim {
namespace {

namespace greg = boost::gregorian;

constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kUtc8Offset = 8 * 3600;

std::string dateText(const greg::date& day) {
  const greg::date::ymd_type ymd = day.year_month_day();
  char buffer[16];
  std::snprintf(buffer, sizeof(buffer), "%04d%02d%02d", static_cast<int>(ymd.year),
                static_cast<int>(ymd.month), static_cast<int>(ymd.day));
  return buffer;
}

// The date of the eight digits YYYYMMDD; std::out_of_range where they spell
// none (a month 13, a February 30th).
greg::date dateOf(const std::string& yyyymmdd) {
  return greg::date(static_cast<unsigned short>(std::stoi(yyyymmdd.substr(0, 4))),
                    static_cast<unsigned short>(std::stoi(yyyymmdd.substr(4, 2))),
                    static_cast<unsigned short>(std::stoi(yyyymmdd.substr(6, 2))));
}

int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

}  // namespace

Stamp stampAt(int64_t unixSeconds) {
  const int64_t local = unixSeconds + kUtc8Offset;
  const int64_t days = floorDiv(local, kSecondsPerDay);
  const int64_t second = local - days * kSecondsPerDay;
  char time[16];
  std::snprintf(time, sizeof(time), "%02d:%02d:%02d", static_cast<int>(second / 3600),
                static_cast<int>(second / 60 % 60), static_cast<int>(second % 60));
  return Stamp{dateText(greg::date(1970, 1, 1) + greg::days(days)), time};
}

Stamp stampNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return stampAt(std::chrono::duration_cast<std::chrono::seconds>(now).count());
}

bool isDateText(const std::string& text) {
  if (text.size() != 8 || text.find_first_not_of("0123456789") != std::string::npos ||
      text.compare(0, 4, "1900") < 0) {
    return false;
  }
  try {
    dateOf(text);
    return true;
  } catch (const std::out_of_range&) {
    return false;
  }
}

std::string previousWeekday(const std::string& yyyymmdd) {
  const greg::date day = dateOf(yyyymmdd);
  const int weekday = day.day_of_week().as_number();  // 0 Sunday ... 6 Saturday
  return dateText(day - greg::days(weekday == 1 ? 3 : weekday == 0 ? 2 : 1));
}

}  // namespace sim
}  // namespace xti
