// The libFuzzer entry point of every fuzz target: the build names the check
// it runs (KS_FUZZ_CHECK, one of fuzz/fuzz_checks.h).
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_checks.h"

#ifndef KS_FUZZ_CHECK
#error "KS_FUZZ_CHECK names the check of this fuzz target"
#endif

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  kestrel::fuzz::KS_FUZZ_CHECK(data, size);
  return 0;
}

#if defined(KS_FUZZ_INPUT_SIZE)
// The check reads no more than KS_FUZZ_INPUT_SIZE bytes: -max_len is put
// first among the flags, so that one given on the command line, which comes
// after it, still wins.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  static std::string maxLen = "-max_len=" + std::to_string(KS_FUZZ_INPUT_SIZE);
  static std::vector<char*> args;
  args.assign(*argv, *argv + *argc);
  args.insert(args.begin() + 1, maxLen.data());
  args.push_back(nullptr);
  *argc += 1;
  *argv = args.data();
  return 0;
}
#endif
