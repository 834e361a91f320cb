// The simulated counter's configuration parser under arbitrary text.
#include <string>

#include "broker/sim_config.h"
#include "fuzz/fuzz_checks.h"

namespace kestrel {
namespace fuzz {
namespace {

constexpr char kFileName[] = "fuzz.cfg";

bool sameNames(const xti::sim::Config& a, const xti::sim::Config& b) {
  if (a.users.size() != b.users.size() || a.accounts.size() != b.accounts.size() ||
      a.instruments.size() != b.instruments.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.users.size(); ++i) {
    if (a.users[i].name != b.users[i].name || a.users[i].password != b.users[i].password) {
      return false;
    }
  }
  for (std::size_t i = 0; i < a.accounts.size(); ++i) {
    if (a.accounts[i].id != b.accounts[i].id) return false;
  }
  for (std::size_t i = 0; i < a.instruments.size(); ++i) {
    if (a.instruments[i].code != b.instruments[i].code) return false;
  }
  return true;
}

}  // namespace

void checkCounterConfig(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const xti::sim::ConfigResult result = xti::sim::parseConfig(text, kFileName);
  if (!result.ok) {
    // "<file>:<line>: <what>", the line within the text.
    const std::string prefix = std::string(kFileName) + ":";
    if (result.error.compare(0, prefix.size(), prefix) != 0) {
      return reportFailure("error does not name the file: " + result.error);
    }
    const std::size_t colon = result.error.find(':', prefix.size());
    const std::string line = result.error.substr(prefix.size(), colon - prefix.size());
    std::size_t lines = 1;
    for (char c : text) lines += c == '\n';
    if (colon == std::string::npos || line.empty() ||
        line.find_first_not_of("0123456789") != std::string::npos || line.size() > 10 ||
        std::stoull(line) < 1 || std::stoull(line) > lines) {
      return reportFailure("error without a line of the text: " + result.error);
    }
    return;
  }
  if (!result.error.empty()) return reportFailure("success with an error text");
  const xti::sim::Config& config = result.config;
  const xti::sim::Behaviour& b = config.behaviour;
  if (b.fillSlices < 1 || b.fillSlices > 1000) reportFailure("fill_slices out of 1-1000");
  if (b.replyLatencyMs < 0 || b.priceWalkMs < 0) reportFailure("negative interval");
  for (const xti::sim::UserConfig& user : config.users) {
    if (user.name.size() > 31 || user.name.empty()) reportFailure("user name length");
    for (const std::string& account : user.accounts) {
      if (config.findAccount(account) == nullptr) reportFailure("user names an unknown account");
    }
  }
  for (const xti::sim::InstrumentConfig& instrument : config.instruments) {
    if (!xti::sim::isKnownExchange(instrument.exchange)) reportFailure("unknown exchange");
    if (!(instrument.price > 0)) reportFailure("instrument without a price");
  }
  const xti::sim::ConfigResult again = xti::sim::parseConfig(text, kFileName);
  if (!again.ok || !sameNames(config, again.config)) reportFailure("parsing is not repeatable");
}

}  // namespace fuzz
}  // namespace kestrel
