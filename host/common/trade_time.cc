// Timestamps and the trading calendar of the Common library.
#include <chrono>

#include "plugin/common.h"

namespace kestrel {
namespace {

constexpr int64_t kMicrosPerSecond = 1000000;
constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kBeijingOffsetSeconds = 8 * 3600;
constexpr int64_t kEveningSessionStart = 21 * 3600;  // seconds after Beijing midnight

int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

// Civil date of a count of days since 1970-01-01 (proleptic Gregorian).
void civilFromDays(int64_t days, int& year, int& month, int& day) {
  days += 719468;
  const int64_t era = floorDiv(days, 146097);
  const int64_t doe = days - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(yoe + era * 400 + (month <= 2));
}

// 0 Sunday ... 6 Saturday.
int weekdayOf(int64_t days) { return static_cast<int>(floorDiv(days, 7) * -7 + days + 4) % 7; }

}  // namespace

Timestamp::Timestamp(int64_t utcMicrosecondsSinceEpoch, KSTimeZone zone)
    : utcMicros_(utcMicrosecondsSinceEpoch), zone_(zone) {}

Timestamp Timestamp::now(KSTimeZone zone) {
  auto since = std::chrono::system_clock::now().time_since_epoch();
  return Timestamp(std::chrono::duration_cast<std::chrono::microseconds>(since).count(), zone);
}

int64_t Timestamp::toUTCMilisecsinceEponch() const { return floorDiv(utcMicros_, 1000); }

TradeTime::TradeTime(const std::string& productCode) : productCode_(productCode) {}

TradeTime::~TradeTime() = default;

int TradeTime::GetTradingDay(const Timestamp* at, TrdDayDirction direction) const {
  const Timestamp when = at != nullptr ? *at : Timestamp::now(KSTimeZoneBeijing);
  const int64_t local =
      floorDiv(when.toUTCMicrosecsSinceEpoch(), kMicrosPerSecond) + kBeijingOffsetSeconds;
  int64_t days = floorDiv(local, kSecondsPerDay);
  const int64_t secondOfDay = local - days * kSecondsPerDay;
  const int weekday = weekdayOf(days);
  const bool weekend = weekday == 0 || weekday == 6;
  if (!weekend && secondOfDay >= kEveningSessionStart) {
    days += weekday == 5 ? 3 : 1;  // Friday evening trades for Monday
  } else if (weekend) {
    if (direction == TrdDayForward) {
      days += weekday == 6 ? 2 : 1;
    } else {
      days -= weekday == 6 ? 1 : 2;
    }
  }
  int year = 0;
  int month = 0;
  int day = 0;
  civilFromDays(days, year, month, day);
  return year * 10000 + month * 100 + day;
}

}  // namespace kestrel
