// The simulated counter's configuration parser under arbitrary text.
#include <cstdio>
#include <cstring>
#include <string>

#include "broker/sim_config.h"
#include "fuzz/fuzz_checks.h"

namespace kestrel::fuzz {
namespace {

// Whether `text` has a line numbered `line` (from 1): line - 1 line breaks,
// looked for with memchr, which the fuzzer's coverage does not trace byte by
// byte.
bool hasLine(const std::string& text, unsigned long line) {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (unsigned long breaks = 0; breaks + 1 < line; ++breaks, ++at) {
    at = static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
    if (at == nullptr) return false;
  }
  return true;
}

}  // namespace

void checkCounterConfig(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const xti::sim::ConfigResult result = xti::sim::parseConfig(text, "fuzz.cfg");
  // A failure is "fuzz.cfg:<line>: <what>", the line one of the text's.
  unsigned long line = 0;
  char colon = 0;
  if (!result.ok && (std::sscanf(result.error.c_str(), "fuzz.cfg:%9lu%c", &line, &colon) != 2 ||
                     colon != ':' || line < 1 || !hasLine(text, line))) {
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
