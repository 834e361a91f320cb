// Declarations of the host's Common library, which the plug-in only calls.
// The package installs them with the Common stand-in (libCommon.so,
// Common.dll; CMake target KSTraderAPIPluginXT::CommonStandIn), so that a host
// built against the stand-in finds here what it must fill before trading.
//
// Before the first connect() of any session a host fills the base
// information, gBaseInformationMap below, both ways:
//   exchangeCodes    number -> code text: the market the plug-in names to the
//                    vendor for every order and cancel (CodeId::exchange of
//                    the request). A number missing here sends an empty
//                    market, and the counter refuses the order
//                    ("交易所代码与合约不符").
//   exchangeNumbers  code text -> number: the CodeId::exchange of every record
//                    the plug-in reports; -1 for a code missing here.
// addChinaExchanges() fills both with the numbers it lists; a host with its
// own numbering fills the two maps itself, the same numbers both ways.
//
// All functions are thread-safe. Texts are byte strings: GBK where the name
// says gbk, UTF-8 where it says utf8, UTF-16/UTF-32 wide strings as the
// platform's wchar_t.
#ifndef KESTREL_PLUGIN_COMMON_H_
#define KESTREL_PLUGIN_COMMON_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "plugin/export.h"

#if defined(_MSC_VER)
#pragma warning(push)
#pragma warning(disable : 4251)  // std members of an exported class; one toolchain builds both
#endif

class KS_COMMON_API FileSystem {
 public:
  // Directory of the host server's executable, without a closing separator.
  static std::wstring GetServerExeDirectoryW();
};

namespace kestrel {

class KS_COMMON_API CodeConvert {
 public:
  // Conversions to GBK (code page 936). They never fail or throw for bad
  // input: each byte that is not part of a well-formed character becomes one
  // '?', and each well-formed character that GBK cannot hold becomes one '?'.
  static std::string unicode_to_gbk(const std::wstring& text);
  static std::string utf8_to_gbk(const std::string& text);
  // The reverse, for hosts that display GBK texts; same rules.
  static std::string gbk_to_utf8(const std::string& text);
};

enum KSTimeZone : int32_t {
  KSTimeZoneUTC = 0,
  KSTimeZoneBeijing = 1,  // UTC+8, the exchanges' wall clock
};

class KS_COMMON_API Timestamp {
 public:
  // The current time; `zone` only says how the stamp prints, not what it means.
  static Timestamp now(KSTimeZone zone);

  Timestamp(int64_t utcMicrosecondsSinceEpoch, KSTimeZone zone);

  // UTC milliseconds since 1970-01-01 00:00:00.
  int64_t toUTCMilisecsinceEponch() const;
  int64_t toUTCMicrosecsSinceEpoch() const { return utcMicros_; }
  KSTimeZone zone() const { return zone_; }

 private:
  int64_t utcMicros_;
  KSTimeZone zone_;
};

enum TrdDayDirction : int32_t {
  TrdDayBackward = 0,  // a time outside trading days counts for the previous one
  TrdDayForward = 1,   // ... for the next one
};

// Trading calendar of one product, named "pfcode.<EXCHANGE>" (for example
// "pfcode.SHFE"). Rule (holidays are not modelled): on Beijing time (UTC+8),
// a weekday before 21:00 is its own trading day; from 21:00 on, the evening
// session already counts for the next weekday. Saturday and Sunday roll to
// Monday with TrdDayForward, to Friday with TrdDayBackward.
class KS_COMMON_API TradeTime {
 public:
  explicit TradeTime(const std::string& productCode);
  virtual ~TradeTime();

  // Trading day as YYYYMMDD for `at`, or for the current time when `at` is null.
  int GetTradingDay(const Timestamp* at, TrdDayDirction direction) const;

  const std::string& productCode() const { return productCode_; }

 private:
  std::string productCode_;
};

struct ExchangeNumberEntry {
  int32_t exchangeNumber = -1;  // must stay the first member
  std::string name;
};

struct ExchangeCodeEntry {
  std::string exchangeCode;  // must stay the first member
  std::string name;
};

// The host's base information. The host fills it before any session trades
// and does not change it while sessions are connected; readers take no lock.
struct BaseInformationMap {
  std::map<std::string, ExchangeNumberEntry> exchangeNumbers;  // code text -> number
  std::map<int32_t, ExchangeCodeEntry> exchangeCodes;          // number -> code text
};

KS_COMMON_API extern std::shared_ptr<BaseInformationMap> gBaseInformationMap;

// Fills `map` with the China futures and stock exchanges under fixed numbers,
// both ways (entries of other numbers and codes stay):
//   1 SH     Shanghai Stock Exchange       6 CFFEX  China Financial Futures Exchange
//   2 SZ     Shenzhen Stock Exchange       7 INE    Shanghai International Energy Exchange
//   3 SHFE   Shanghai Futures Exchange     8 GFEX   Guangzhou Futures Exchange
//   4 DCE    Dalian Commodity Exchange     9 BJ     Beijing Stock Exchange
//   5 CZCE   Zhengzhou Commodity Exchange
KS_COMMON_API void addChinaExchanges(BaseInformationMap& map);

}  // namespace kestrel

#if defined(_MSC_VER)
#pragma warning(pop)
#endif

#endif  // KESTREL_PLUGIN_COMMON_H_
