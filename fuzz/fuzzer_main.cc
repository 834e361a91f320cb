// The libFuzzer entry point of every fuzz target: the build names the check
// it runs (KS_FUZZ_CHECK, one of fuzz/fuzz_checks.h).
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_checks.h"

#ifndef KS_FUZZ_CHECK
#error "KS_FUZZ_CHECK names the check of this fuzz target"
#endif

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  kestrel::fuzz::KS_FUZZ_CHECK(data, size);
  return 0;
}
