// Wall-clock texts of the simulated counter: the exchange's local time, UTC+8,
// as the vendor's records carry it (date YYYYMMDD, time HH:MM:SS).
//
// Pure functions; safe to call from any thread.
#ifndef KESTREL_BROKER_SIM_TIME_H_
#define KESTREL_BROKER_SIM_TIME_H_

#include <cstdint>
#include <string>

namespace xti {
namespace sim {

struct Stamp {
  std::string date;  // YYYYMMDD
  std::string time;  // HH:MM:SS
};

// The moment `unixSeconds` (seconds since 1970-01-01 UTC) at UTC+8.
Stamp stampAt(int64_t unixSeconds);
// Now, at UTC+8.
Stamp stampNow();

// True for eight digits that spell a real Gregorian date.
bool isDateText(const std::string& text);
// The weekday before the date `yyyymmdd` (Friday for a Monday); `yyyymmdd`
// must satisfy isDateText.
std::string previousWeekday(const std::string& yyyymmdd);

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_SIM_TIME_H_
