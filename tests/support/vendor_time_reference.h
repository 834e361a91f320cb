// The reference reading of the vendor's date and time texts, written from
// their definition and always parsed by Boost date_time: the plug-in's
// vendorTimeToMillis must give the same result for every input. Used by the
// tests, the benchmarks and the fuzz targets, never by the plug-in itself.
#ifndef KESTREL_TESTS_SUPPORT_VENDOR_TIME_REFERENCE_H_
#define KESTREL_TESTS_SUPPORT_VENDOR_TIME_REFERENCE_H_

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdint>
#include <string>

namespace kestrel {
namespace testing {

inline int64_t vendorTimeReference(const char* date, const char* time) {
  if (date == nullptr || time == nullptr || *date == '\0' || *time == '\0') return 0;
  // "YYYY-MM-DD HH:MM:SS" from date bytes 1-8 and time bytes 1-8, ending at
  // the first NUL: no byte after it is read.
  std::string text;
  for (const char c : std::string("dddd-dd-dd tttttttt")) {
    const char next = c == 'd' ? *date++ : c == 't' ? *time++ : c;
    if (next == '\0') break;
    text.push_back(next);
  }
  namespace pt = boost::posix_time;
  try {
    const pt::time_duration utc =
        pt::time_from_string(text) - pt::hours(8) - pt::ptime(boost::gregorian::date(1970, 1, 1));
    return utc.is_special() ? 0 : utc.total_microseconds() / 1000;
  } catch (...) {
    return 0;  // not a valid date and time of day
  }
}

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_VENDOR_TIME_REFERENCE_H_
