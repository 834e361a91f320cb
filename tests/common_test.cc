// The Common stand-in: GBK conversions, the trading calendar and the exchange
// numbers a host fills its base information with. (The executable's
// directory is run by init_path_test.)
#include "plugin/common.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iterator>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace kestrel {
namespace {

// Bad input never fails: one '?' per byte outside a well-formed character,
// one per character GBK cannot hold (an emoji, U+FFFF, a tag character), on
// short texts and long ones alike.
TEST(CodeConvert, ConvertsAndMarksWhatItCannot) {
  const std::string ascii(300, 'a');
  using Convert = std::string (*)(const std::string&);
  const std::tuple<Convert, std::string, std::string> cases[] = {
      {CodeConvert::utf8_to_gbk, "[msg=资金不足]", "[msg=\xD7\xCA\xBD\xF0\xB2\xBB\xD7\xE3]"},
      {CodeConvert::utf8_to_gbk, ascii, ascii},
      {CodeConvert::utf8_to_gbk, "\x80z", "?z"},
      {CodeConvert::utf8_to_gbk, "x\xE4\xB8", "x??"},                   // cut short
      {CodeConvert::utf8_to_gbk, "\xE4ok\xE4\xB8\xAD", "?ok\xD6\xD0"},  // broken inside
      {CodeConvert::utf8_to_gbk, "\xF0\x9F\x98\x80!\xEF\xBF\xBF\xF3\xA0\x80\x81", "?!??"},
      {CodeConvert::utf8_to_gbk, ascii + "\xE4\xB8\xAD\x80", ascii + "\xD6\xD0?"},
      {CodeConvert::gbk_to_utf8, "\xB2\xBB\xD6\xA7\xB3\xD6", "不支持"},
      {CodeConvert::gbk_to_utf8, "a\xFF\x81", "a??"},
  };
  for (const auto& [convert, in, out] : cases) EXPECT_EQ(convert(in), out) << in;
  EXPECT_EQ(CodeConvert::unicode_to_gbk(L"C:\\\x670D\x52A1"), "C:\\\xB7\xFE\xCE\xF1");
  EXPECT_EQ(CodeConvert::unicode_to_gbk(L"\U0001F600\U000E0001\U0010FFFFx"), "???x");
}

// Many threads at once, more than the converters kept open, each text with
// a broken sequence in it (a converter is reset after one): every thread gets
// its own text's conversion every time.
TEST(CodeConvert, ThreadsConvertAtOnce) {
  constexpr int kThreads = 16;
  constexpr int kRounds = 300;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &wrong] {
      const std::string tag = std::to_string(t);
      const std::string utf8 = "资金" + tag + "\xE4\xB8不足";
      const std::string gbk = "\xD7\xCA\xBD\xF0" + tag + "??\xB2\xBB\xD7\xE3";
      for (int round = 0; round < kRounds; ++round) {
        if (CodeConvert::utf8_to_gbk(utf8) != gbk) ++wrong;
        if (CodeConvert::gbk_to_utf8(gbk + "\xFF") != "资金" + tag + "??不足?") ++wrong;
        if (CodeConvert::unicode_to_gbk(L"\x670D" + std::wstring(tag.begin(), tag.end())) !=
            "\xB7\xFE" + tag) {
          ++wrong;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
}

TEST(TradeTime, EveningSessionsAndWeekendsRoll) {
  const TradeTime calendar("pfcode.SHFE");
  const int64_t wednesday = 19725;  // 2024-01-03, in days since 1970-01-01
  // Days since 1970-01-01 and hour in Beijing; 1969-12-31 was a Wednesday too.
  const std::tuple<int64_t, int, TrdDayDirction, int> cases[] = {
      {wednesday, 20, TrdDayForward, 20240103},      {wednesday, 21, TrdDayBackward, 20240104},
      {wednesday + 2, 22, TrdDayForward, 20240108},  {wednesday + 3, 12, TrdDayForward, 20240108},
      {wednesday + 3, 12, TrdDayBackward, 20240105}, {wednesday + 4, 23, TrdDayForward, 20240108},
      {wednesday + 4, 23, TrdDayBackward, 20240105}, {-1, 21, TrdDayForward, 19700101},
  };
  for (const auto& [days, hour, direction, expected] : cases) {
    const Timestamp at(((days * 86400 + hour * 3600) - 8 * 3600) * 1000000, KSTimeZoneBeijing);
    EXPECT_EQ(calendar.GetTradingDay(&at, direction), expected) << days << ' ' << hour;
  }
}

// The numbers plugin/common.h documents, both ways; entries already in the
// map for other exchanges stay.
TEST(BaseInformation, ChinaExchangesUnderTheirDocumentedNumbers) {
  BaseInformationMap map;
  map.exchangeNumbers["HKEX"] = ExchangeNumberEntry{20, "kept"};
  map.exchangeCodes[20] = ExchangeCodeEntry{"HKEX", "kept"};
  addChinaExchanges(map);
  const std::pair<int32_t, const char*> documented[] = {
      {1, "SH"},    {2, "SZ"},  {3, "SHFE"}, {4, "DCE"}, {5, "CZCE"},
      {6, "CFFEX"}, {7, "INE"}, {8, "GFEX"}, {9, "BJ"},  {20, "HKEX"},
  };
  ASSERT_EQ(map.exchangeNumbers.size(), std::size(documented));
  ASSERT_EQ(map.exchangeCodes.size(), std::size(documented));
  for (const auto& [number, code] : documented) {
    SCOPED_TRACE(code);
    EXPECT_EQ(map.exchangeNumbers.at(code).exchangeNumber, number);
    EXPECT_EQ(map.exchangeCodes.at(number).exchangeCode, code);
  }
}

}  // namespace
}  // namespace kestrel
