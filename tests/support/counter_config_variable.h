// The environment variable XT_SIM_CONFIG, through which a test points the
// simulated counter at a configuration file of its own.
#ifndef KESTREL_TESTS_SUPPORT_COUNTER_CONFIG_VARIABLE_H_
#define KESTREL_TESTS_SUPPORT_COUNTER_CONFIG_VARIABLE_H_

#include <cstdlib>

namespace kestrel {
namespace testing {

// Sets XT_SIM_CONFIG for this process; an empty value reads as unset.
inline void setCounterConfigVariable(const char* value) {
#if defined(_WIN32)
  _putenv_s("XT_SIM_CONFIG", value);
#else
  setenv("XT_SIM_CONFIG", value, 1);
#endif
}

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_COUNTER_CONFIG_VARIABLE_H_
