// Size of the stress and teardown tests: KS_STRESS_SCALE (a positive integer,
// default 1) multiplies every count, so that CI runs a bounded amount and a
// developer can run much more with the same programs.
#ifndef KESTREL_TESTS_SUPPORT_STRESS_SCALE_H_
#define KESTREL_TESTS_SUPPORT_STRESS_SCALE_H_

#include <cstdlib>

namespace kestrel {
namespace testing {

inline int stressScale() {
  const char* text = std::getenv("KS_STRESS_SCALE");
  if (text == nullptr) return 1;
  const long value = std::strtol(text, nullptr, 10);
  return value >= 1 && value <= 10000 ? static_cast<int>(value) : 1;
}

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_STRESS_SCALE_H_
