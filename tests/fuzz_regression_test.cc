// The fuzz targets' checks (fuzz/fuzz_checks.h) in the ordinary suite: every
// input a fuzzer ever found, inlined here, and the seed corpora of
// fuzz/corpus/. Built twice: the plug-in's checks, and with
// KS_FUZZ_COUNTER_CONFIG the counter's configuration parser (which links the
// counter's code instead of the plug-in's).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#if defined(KS_FUZZ_CORPUS_DIR)
#include <filesystem>
#endif

#include "fuzz/fuzz_checks.h"

#if !defined(KS_FUZZ_COUNTER_CONFIG)
#include "plugin/common.h"
#include "plugin/xt_records.h"
#include "spi/record_conversion.h"
#endif

namespace kestrel {
namespace fuzz {
namespace {

using Check = void (*)(const uint8_t*, std::size_t);

// Runs a check with its failures turned into test failures.
void run(Check check, const std::string& bytes) {
  setFailureHandler([](const std::string& message) { ADD_FAILURE() << message; });
  check(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  setFailureHandler(nullptr);
}

#if defined(KS_FUZZ_CORPUS_DIR)
// Runs `check` on every file of fuzz/corpus/<target>/; returns the count.
int replayCorpus(const char* target, Check check) {
  int files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(KS_FUZZ_CORPUS_DIR) / target)) {
    SCOPED_TRACE(entry.path().string());
    std::ifstream in(entry.path(), std::ios::binary);
    run(check, std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()));
    ++files;
  }
  return files;
}
#endif

#if !defined(KS_FUZZ_COUNTER_CONFIG)

TEST(FuzzRegressionTest, Findings) {
  // vendor_time: the time text "9:\xe319255" made Boost's
  // lexical_cast<unsigned short> multiply past INT_MAX on the non-digit
  // before rejecting it (see cmake/sanitizer_ignorelist.txt).
  run(checkVendorTime, std::string("1900,9209:\xe3"
                                   "19255",
                                   16));
  EXPECT_EQ(vendorTimeToMillis("1900,920",
                               "9:\xe3"
                               "19255"),
            0);
  // vendor_records: an order filed under request number -1 failing through
  // the error push: the report carries request -1 like a push, but status
  // -1, once, with the filed client id.
  std::string failure(9 + sizeof(xti::VendorOrderError), '\0');
  failure[0] = 0x43;  // registry entry, pending order; failure code 5
  std::memcpy(&failure[9], "CFFEX", 5);
  const int32_t requestId = -1;
  std::memcpy(&failure[9 + offsetof(xti::VendorOrderError, m_nRequestID)], &requestId, 4);
  run(checkVendorRecords, failure);
  // code_convert: U+E0040 (F3 A0 81 80), a tag character, vanished in
  // utf8_to_gbk because glibc's iconv skips tag characters without an error.
  // Like every character GBK cannot hold it becomes one '?'.
  const std::string tag("\xF3\xA0\x81\x80", 4);
  run(checkCodeConvert, tag);
  EXPECT_EQ(CodeConvert::utf8_to_gbk("a" + tag + "\xE7\x8A\xB6" + tag), "a?\xD7\xB4?");
  const std::wstring wideTag = sizeof(wchar_t) == 4 ? std::wstring(1, static_cast<wchar_t>(0xE0040))
                                                    : std::wstring{static_cast<wchar_t>(0xDB40),
                                                                   static_cast<wchar_t>(0xDC40)};
  EXPECT_EQ(CodeConvert::unicode_to_gbk(wideTag), "?");
  EXPECT_EQ(CodeConvert::utf8_to_gbk("\xF3\xA0\x81"), "???") << "cut short: a '?' per byte";
  // Records whose every byte is set: no NUL in any text field.
  for (const char fill : {'\x01', '\x7f', '\x80', '\xff'}) {
    std::string bytes(9 + sizeof(xti::VendorOrder), fill);
    bytes[0] = 0x07;  // registry entry, pending order and cancel
    run(checkVendorRecords, bytes);
  }
}

#if defined(KS_FUZZ_CORPUS_DIR)
TEST(FuzzRegressionTest, SeedCorporaPass) {
  EXPECT_GT(replayCorpus("vendor_time", checkVendorTime), 0);
  EXPECT_GT(replayCorpus("text_to_int", checkTextToInt), 0);
  EXPECT_GT(replayCorpus("vendor_records", checkVendorRecords), 0);
  EXPECT_GT(replayCorpus("code_convert", checkCodeConvert), 0);
}
#endif

#else  // KS_FUZZ_COUNTER_CONFIG

#if defined(KS_FUZZ_CORPUS_DIR)
TEST(FuzzRegressionTest, CounterConfigSeedCorpusPasses) {
  EXPECT_GT(replayCorpus("counter_config", checkCounterConfig), 0);
}
#endif

// A file cut anywhere: every prefix of the sample parses or fails cleanly.
TEST(FuzzRegressionTest, CounterConfigCutAnywhere) {
  const std::string text =
      "[behaviour]\nfill_mode = partial\n[user u]\npassword = p\naccounts = a1\n"
      "[account a1]\ncash = 100\nposition = rb2410 long 2 3650\n"
      "[instrument rb2410]\nexchange = SHFE\nprice = 3650\n";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) run(checkCounterConfig, text.substr(0, cut));
}

#endif  // KS_FUZZ_COUNTER_CONFIG

}  // namespace
}  // namespace fuzz
}  // namespace kestrel
