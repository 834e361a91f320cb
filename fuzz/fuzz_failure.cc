// The failure handler of the fuzz checks; compiled into each check library.
#include <cstdio>
#include <cstdlib>

#include "fuzz/fuzz_checks.h"

namespace kestrel {
namespace fuzz {
namespace {

FailureHandler gHandler = nullptr;

}  // namespace

void setFailureHandler(FailureHandler handler) { gHandler = handler; }

void reportFailure(const std::string& message) {
  if (gHandler != nullptr) return gHandler(message);
  std::fprintf(stderr, "fuzz check failed: %s\n", message.c_str());
  std::abort();
}

std::string hexOf(const void* data, std::size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (std::size_t i = 0; i < size; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
  return out;
}

}  // namespace fuzz
}  // namespace kestrel
