// XT_SIM_CONFIG: how a program points the simulated counter at a
// configuration file of its own instead of the one beside it
// (configPathFor() in sim_config.h reads it at each connection).
#ifndef XTI_SIM_CONFIG_VARIABLE_H_
#define XTI_SIM_CONFIG_VARIABLE_H_

#include <cstdlib>

namespace xti {
namespace sim {

// Sets XT_SIM_CONFIG for this process, for the connections made from now on;
// an empty value reads as unset. Not safe while another thread reads the
// environment.
inline void setConfigVariable(const char* path) {
#if defined(_WIN32)
  _putenv_s("XT_SIM_CONFIG", path);
#else
  setenv("XT_SIM_CONFIG", path, 1);
#endif
}

}  // namespace sim
}  // namespace xti

#endif  // XTI_SIM_CONFIG_VARIABLE_H_
