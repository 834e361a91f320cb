// The Common stand-in: GBK conversions, executable directory, calendar,
// exchange tables.
#include "plugin/common.h"

#include <gtest/gtest.h>

#include <string>

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace kestrel {
namespace {

TEST(CodeConvert, Utf8ToGbkConvertsChineseAndKeepsAscii) {
  EXPECT_EQ(CodeConvert::utf8_to_gbk("不支持"), "\xB2\xBB\xD6\xA7\xB3\xD6");
  EXPECT_EQ(CodeConvert::utf8_to_gbk("[msg=资金不足]"), "[msg=\xD7\xCA\xBD\xF0\xB2\xBB\xD7\xE3]");
  EXPECT_EQ(CodeConvert::utf8_to_gbk(""), "");
  const std::string ascii = "plain ascii 0123456789 ~!@#";
  EXPECT_EQ(CodeConvert::utf8_to_gbk(ascii), ascii);
}

TEST(CodeConvert, BadInputBecomesQuestionMarks) {
  // One '?' per byte outside a well-formed character (a lone continuation
  // byte, each byte of a truncated sequence), one per character GBK cannot
  // hold (an emoji).
  EXPECT_EQ(CodeConvert::utf8_to_gbk("a\x80"
                                     "b"),
            "a?b");
  EXPECT_EQ(CodeConvert::utf8_to_gbk("x\xE4\xB8"), "x??");
  EXPECT_EQ(CodeConvert::utf8_to_gbk("\xF0\x9F\x98\x80!"), "?!");
  EXPECT_EQ(CodeConvert::utf8_to_gbk("\xE4"
                                     "ok\xE4\xB8\xAD"),
            "?ok\xD6\xD0");
}

TEST(CodeConvert, WideAndReverseConversions) {
  EXPECT_EQ(CodeConvert::unicode_to_gbk(L"C:\\\x670D\x52A1\\config"),
            "C:\\\xB7\xFE\xCE\xF1\\config");
  EXPECT_EQ(CodeConvert::unicode_to_gbk(L"ascii"), "ascii");
  EXPECT_EQ(CodeConvert::gbk_to_utf8("\xB2\xBB\xD6\xA7\xB3\xD6"), "不支持");
  EXPECT_EQ(CodeConvert::gbk_to_utf8("a\xFF"), "a?");
}

#if !defined(_WIN32)
TEST(FileSystem, ServerDirectoryIsTheExecutablesDirectory) {
  char buffer[4096];
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
  ASSERT_GT(n, 0);
  std::string path(buffer, static_cast<std::size_t>(n));
  const std::string dir = path.substr(0, path.find_last_of('/'));
  const std::wstring wide = FileSystem::GetServerExeDirectoryW();
  ASSERT_FALSE(wide.empty());
  EXPECT_NE(wide.back(), L'/');
  EXPECT_EQ(CodeConvert::unicode_to_gbk(wide), dir);  // the build path is ASCII
}
#endif

// Microseconds of a Beijing wall-clock time.
int64_t beijing(int64_t days, int hour, int minute) {
  return ((days * 86400 + hour * 3600 + minute * 60) - 8 * 3600) * 1000000;
}

TEST(TradeTime, EveningSessionsAndWeekendsRoll) {
  const TradeTime calendar("pfcode.SHFE");
  // 2024-01-03 is a Wednesday: day 19725 since 1970-01-01.
  const int64_t wednesday = 19725;
  struct Case {
    int64_t days;
    int hour;
    TrdDayDirction direction;
    int expected;
  } cases[] = {
      {wednesday, 10, TrdDayForward, 20240103},      {wednesday, 20, TrdDayForward, 20240103},
      {wednesday, 21, TrdDayForward, 20240104},       // evening counts for Thursday
      {wednesday + 2, 22, TrdDayForward, 20240108},   // Friday night for Monday
      {wednesday + 3, 12, TrdDayForward, 20240108},   // Saturday forward: Monday
      {wednesday + 3, 12, TrdDayBackward, 20240105},  // Saturday backward: Friday
      {wednesday + 4, 23, TrdDayForward, 20240108},   // Sunday night: Monday
      {wednesday + 4, 23, TrdDayBackward, 20240105},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    const Timestamp at(beijing(c.days, c.hour, 0), KSTimeZoneBeijing);
    EXPECT_EQ(calendar.GetTradingDay(&at, c.direction), c.expected);
  }
  const int today = calendar.GetTradingDay(nullptr, TrdDayForward);
  EXPECT_GT(today, 20200101);
  EXPECT_LT(today, 21000101);
}

TEST(Timestamp, MillisecondsFloorTowardMinusInfinity) {
  EXPECT_EQ(Timestamp(1999, KSTimeZoneUTC).toUTCMilisecsinceEponch(), 1);
  EXPECT_EQ(Timestamp(-1, KSTimeZoneUTC).toUTCMilisecsinceEponch(), -1);
  const int64_t now = Timestamp::now(KSTimeZoneUTC).toUTCMilisecsinceEponch();
  EXPECT_GT(now, 1600000000000LL);
}

TEST(BaseInformation, ChinaExchangesMapBothWays) {
  BaseInformationMap map;
  addChinaExchanges(map);
  ASSERT_EQ(map.exchangeNumbers.size(), 9u);
  for (const auto& entry : map.exchangeNumbers) {
    SCOPED_TRACE(entry.first);
    const auto back = map.exchangeCodes.find(entry.second.exchangeNumber);
    ASSERT_NE(back, map.exchangeCodes.end());
    EXPECT_EQ(back->second.exchangeCode, entry.first);
  }
  EXPECT_EQ(map.exchangeNumbers.at("SHFE").exchangeNumber, 3);
}

}  // namespace
}  // namespace kestrel
