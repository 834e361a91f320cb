// The pieces of the callback and order paths, each next to the reference it
// replaces: the time parse next to Boost, the GBK conversion next to an iconv
// descriptor opened per call, the fund-account lookup next to a set copy.
#include <benchmark/benchmark.h>

#include <set>
#include <string>

#if !defined(_WIN32)
#include <iconv.h>
#endif

#include "plugin/common.h"
#include "plugin/mutex.h"
#include "spi/record_conversion.h"
#include "spi/xt_trader_spi.h"
#include "tests/support/vendor_time_reference.h"

namespace kestrel {
namespace bench {
namespace {

void BM_VendorTime(benchmark::State& state, int64_t (*parse)(const char*, const char*)) {
  const char* date = "20240105";
  const char* time = "09:30:15";
  for (auto _ : state) {
    benchmark::DoNotOptimize(date);
    benchmark::DoNotOptimize(time);
    benchmark::DoNotOptimize(parse(date, time));
  }
}
BENCHMARK_CAPTURE(BM_VendorTime, fast, &vendorTimeToMillis);
BENCHMARK_CAPTURE(BM_VendorTime, boost, &testing::vendorTimeReference);

// 24 bytes each: plain ASCII, and eight CJK characters of three UTF-8 bytes.
const std::string kAsciiText = "CTP:order accepted 00123";
const std::string kChineseText =
    "\xE5\xA7\x94\xE6\x89\x98\xE5\xB7\xB2\xE8\xA2\xAB\xE4\xBA\xA4\xE6\x98\x93\xE6\x89\x80"
    "\xE6\x8E\xA5\xE5\x8F\x97";  // 委托已被交易所接受

void BM_Utf8ToGbk(benchmark::State& state, const std::string* text) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(CodeConvert::utf8_to_gbk(*text));
  }
}
BENCHMARK_CAPTURE(BM_Utf8ToGbk, ascii, &kAsciiText);
BENCHMARK_CAPTURE(BM_Utf8ToGbk, chinese, &kChineseText);

#if !defined(_WIN32)
// The reference: a converter opened and closed for each call, no shortcut.
std::string utf8ToGbkPerCall(const std::string& text) {
  iconv_t cd = iconv_open("GBK", "UTF-8");
  std::string out(text.size() * 2 + 16, '\0');
  char* in = const_cast<char*>(text.data());
  std::size_t inLeft = text.size();
  char* dst = &out[0];
  std::size_t outLeft = out.size();
  iconv(cd, &in, &inLeft, &dst, &outLeft);
  iconv_close(cd);
  out.resize(out.size() - outLeft);
  return out;
}

void BM_Utf8ToGbkPerCallIconv(benchmark::State& state, const std::string* text) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(utf8ToGbkPerCall(*text));
  }
}
BENCHMARK_CAPTURE(BM_Utf8ToGbkPerCallIconv, ascii, &kAsciiText);
BENCHMARK_CAPTURE(BM_Utf8ToGbkPerCallIconv, chinese, &kChineseText);
#endif

// The fund-account lookup of every order, with eight logged-in accounts: the
// receiver's, which reads the smallest key under the lock, next to copying
// the whole set under a lock.
std::string accountKey(int i) { return "88001234" + std::to_string(50 + i); }

void BM_FundAccountFirstKey(benchmark::State& state) {
  static XtTraderSpi* receiver = [] {
    auto* r = new XtTraderSpi;
    for (int i = 0; i < 8; ++i) r->onAccountStatus(accountKey(i).c_str(), 0, 1);
    return r;
  }();
  for (auto _ : state) {
    benchmark::DoNotOptimize(receiver->fundAccount());
  }
}
BENCHMARK(BM_FundAccountFirstKey);

void BM_FundAccountSetCopy(benchmark::State& state) {
  Mutex mutex;
  std::set<std::string> accounts;
  for (int i = 0; i < 8; ++i) accounts.insert(accountKey(i));
  for (auto _ : state) {
    std::set<std::string> copy;
    {
      MutexLock lock(mutex);
      copy = accounts;
    }
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_FundAccountSetCopy);

}  // namespace
}  // namespace bench
}  // namespace kestrel
