// The simulated counter's configuration parser under arbitrary text.
#include <algorithm>
#include <cstdio>
#include <string>

#include "broker/sim_config.h"
#include "fuzz/fuzz_checks.h"

namespace kestrel::fuzz {

void checkCounterConfig(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const xti::sim::ConfigResult result = xti::sim::parseConfig(text, "fuzz.cfg");
  // A failure is "fuzz.cfg:<line>: <what>", the line one of the text's.
  const auto lines = static_cast<unsigned long>(std::count(text.begin(), text.end(), '\n') + 1);
  unsigned long line = 0;
  char colon = 0;
  if (!result.ok && (std::sscanf(result.error.c_str(), "fuzz.cfg:%9lu%c", &line, &colon) != 2 ||
                     colon != ':' || line < 1 || line > lines)) {
    reportFailure("error without a line of the text: " + result.error);
  }
  // A success refers only to what it defines.
  for (const xti::sim::UserConfig& user : result.config.users) {
    for (const std::string& account : user.accounts) {
      if (!result.config.findAccount(account)) reportFailure("user names an unknown account");
    }
  }
}

}  // namespace kestrel::fuzz
