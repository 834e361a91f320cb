// The fuzz targets' checks (fuzz/fuzz_checks.h) in the ordinary suite: every
// input a fuzzer ever found, inlined here, and the seed corpora of
// fuzz/corpus/. Built twice: the plug-in's checks, and with
// KS_FUZZ_COUNTER_CONFIG the counter's configuration parser (which links the
// counter's code instead of the plug-in's).
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#if defined(KS_FUZZ_CORPUS_DIR)
#include <filesystem>
#endif

#include <gtest/gtest.h>

#include "fuzz/fuzz_checks.h"

#if !defined(KS_FUZZ_COUNTER_CONFIG)
#include "plugin/common.h"
#include "plugin/xt_records.h"
#include "spi/record_conversion.h"
#include "tests/support/vendor_time_reference.h"
#endif

namespace kestrel {
namespace fuzz {
namespace {

using Check = void (*)(const uint8_t*, std::size_t);

std::vector<std::string>* gFailures = nullptr;

// Collects the checks' failures instead of aborting.
class FuzzRegressionTest : public ::testing::Test {
 protected:
  FuzzRegressionTest() {
    gFailures = &failures;
    setFailureHandler([](const std::string& message) { gFailures->push_back(message); });
  }
  ~FuzzRegressionTest() override {
    setFailureHandler(nullptr);
    gFailures = nullptr;
  }

  void run(Check check, const std::string& bytes) {
    failures.clear();
    check(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    for (const std::string& failure : failures) ADD_FAILURE() << failure;
  }

#if defined(KS_FUZZ_CORPUS_DIR)
  // Runs `check` on every file of fuzz/corpus/<target>/; returns the count.
  int replayCorpus(const char* target, Check check) {
    int files = 0;
    const std::filesystem::path dir = std::filesystem::path(KS_FUZZ_CORPUS_DIR) / target;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
      SCOPED_TRACE(entry.path().string());
      std::ifstream in(entry.path(), std::ios::binary);
      const std::string bytes((std::istreambuf_iterator<char>(in)),
                              std::istreambuf_iterator<char>());
      run(check, bytes);
      ++files;
    }
    return files;
  }
#endif

  std::vector<std::string> failures;
};

#if !defined(KS_FUZZ_COUNTER_CONFIG)

// Found by vendor_time_fuzzer: the time text "9:\xe319255" made Boost's
// lexical_cast<unsigned short> multiply past INT_MAX on the non-digit before
// rejecting it (see cmake/sanitizer_ignorelist.txt). Both paths answer 0.
TEST_F(FuzzRegressionTest, VendorTimeNonDigitBeforeFiveDigits) {
  const std::string bytes(
      "1900,9209:\xe3"
      "19255",
      16);
  run(checkVendorTime, bytes);
  const std::string date = bytes.substr(0, 8), time = bytes.substr(8, 8);
  EXPECT_EQ(vendorTimeToMillis(date.c_str(), time.c_str()), 0);
  EXPECT_EQ(testing::vendorTimeReference(date.c_str(), time.c_str()), 0);
}

// Found by vendor_records_fuzzer: an order filed under request number -1
// failing through the error push. The report carries request -1 like a push
// but status -1: it is the failure report, once, with the filed client id.
TEST_F(FuzzRegressionTest, FailureReportUnderRequestNumberMinusOne) {
  std::string bytes(9 + sizeof(xti::VendorOrderError), '\0');
  bytes[0] = 0x43;  // registry entry, pending order; failure code 5
  std::memcpy(&bytes[9], "CFFEX", 5);
  const int32_t requestId = -1;
  std::memcpy(&bytes[9 + offsetof(xti::VendorOrderError, m_nRequestID)], &requestId, 4);
  run(checkVendorRecords, bytes);
}

// Found by code_convert_fuzzer: U+E0040 (F3 A0 81 80), a tag character,
// vanished in utf8_to_gbk because glibc's iconv skips tag characters without
// an error. Like every character GBK cannot hold it becomes one '?'.
TEST_F(FuzzRegressionTest, TagCharacterBecomesOneQuestionMark) {
  const std::string tag("\xF3\xA0\x81\x80", 4);
  run(checkCodeConvert, tag);
  EXPECT_EQ(CodeConvert::utf8_to_gbk(tag), "?");
  EXPECT_EQ(CodeConvert::utf8_to_gbk("a" + tag + "\xE7\x8A\xB6" + tag), "a?\xD7\xB4?");
  // The same character as the platform's wide text: one UTF-32 unit, or a
  // UTF-16 surrogate pair.
  const std::wstring wideTag = sizeof(wchar_t) == 4 ? std::wstring(1, static_cast<wchar_t>(0xE0040))
                                                    : std::wstring{static_cast<wchar_t>(0xDB40),
                                                                   static_cast<wchar_t>(0xDC40)};
  EXPECT_EQ(CodeConvert::unicode_to_gbk(wideTag), "?");
  EXPECT_EQ(CodeConvert::utf8_to_gbk("\xF3\xA0\x81"), "???") << "cut short: a '?' per byte";
}

// Records whose every byte is set: no NUL in any text field.
TEST_F(FuzzRegressionTest, RecordsWithoutAnyNul) {
  for (int fill : {0x01, 0x7f, 0x80, 0xff}) {
    SCOPED_TRACE(fill);
    std::string bytes(9 + sizeof(xti::VendorOrder), static_cast<char>(fill));
    bytes[0] = 0x07;  // registry entry, pending order and cancel
    run(checkVendorRecords, bytes);
  }
}

#if defined(KS_FUZZ_CORPUS_DIR)
TEST_F(FuzzRegressionTest, SeedCorporaPass) {
  const struct {
    const char* target;
    Check check;
  } targets[] = {
      {"vendor_time", checkVendorTime},
      {"text_to_int", checkTextToInt},
      {"vendor_records", checkVendorRecords},
      {"code_convert", checkCodeConvert},
  };
  for (const auto& target : targets) {
    SCOPED_TRACE(target.target);
    EXPECT_GT(replayCorpus(target.target, target.check), 0);
  }
}
#endif

#else  // KS_FUZZ_COUNTER_CONFIG

#if defined(KS_FUZZ_CORPUS_DIR)
TEST_F(FuzzRegressionTest, CounterConfigSeedCorpusPasses) {
  EXPECT_GT(replayCorpus("counter_config", checkCounterConfig), 0);
}
#endif

// A file cut anywhere: every prefix of the sample parses or fails cleanly.
TEST_F(FuzzRegressionTest, CounterConfigCutAnywhere) {
  const std::string text =
      "[behaviour]\nfill_mode = partial\n[user u]\npassword = p\naccounts = a1\n"
      "[account a1]\ncash = 100\nposition = rb2410 long 2 3650\n"
      "[instrument rb2410]\nexchange = SHFE\nprice = 3650\n";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    SCOPED_TRACE(cut);
    run(checkCounterConfig, text.substr(0, cut));
  }
}

#endif  // KS_FUZZ_COUNTER_CONFIG

}  // namespace
}  // namespace fuzz
}  // namespace kestrel
