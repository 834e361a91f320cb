#include "broker/sim_config.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "broker/sim_platform.h"
#include "broker/sim_time.h"

namespace xti {
namespace sim {

const char* const kKnownExchanges[9] = {"SH",    "SZ",  "SHFE", "DCE", "CZCE",
                                        "CFFEX", "INE", "GFEX", "BJ"};

bool isKnownExchange(const std::string& code) {
  for (const char* known : kKnownExchanges) {
    if (code == known) return true;
  }
  return false;
}

bool isStockExchange(const std::string& code) {
  return code == "SH" || code == "SZ" || code == "BJ";
}

const UserConfig* Config::findUser(const std::string& name) const {
  for (const UserConfig& user : users) {
    if (user.name == name) return &user;
  }
  return nullptr;
}

const AccountConfig* Config::findAccount(const std::string& id) const {
  for (const AccountConfig& account : accounts) {
    if (account.id == id) return &account;
  }
  return nullptr;
}

const InstrumentConfig* Config::findInstrument(const std::string& code) const {
  for (const InstrumentConfig& instrument : instruments) {
    if (instrument.code == code) return &instrument;
  }
  return nullptr;
}

namespace {

std::string productOf(const std::string& code) {
  std::string letters;
  for (char c : code) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))
      letters += c;
    else
      break;
  }
  return letters.empty() ? code : letters;
}

InstrumentConfig instrument(const char* code, const char* exchange, double price, double multiplier,
                            double marginRate, double tick, double band) {
  InstrumentConfig i;
  i.code = code;
  i.exchange = exchange;
  i.product = productOf(code);
  i.price = price;
  i.multiplier = multiplier;
  i.marginRate = marginRate;
  i.tick = tick;
  i.bandPercent = band;
  return i;
}

std::string trim(const std::string& text) {
  const char* blanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return std::string();
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> splitWords(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (char c : text) {
    if (c == ',' || c == ' ' || c == '\t') {
      if (!word.empty()) words.push_back(word);
      word.clear();
    } else {
      word += c;
    }
  }
  if (!word.empty()) words.push_back(word);
  return words;
}

bool parseInt(const std::string& text, long long min, long long max, long long& out) {
  long long value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end || value < min || value > max) return false;
  out = value;
  return true;
}

bool parseDouble(const std::string& text, double min, double max, double& out) {
  double value = 0;
  const char* begin = text.data();
  const char* end = begin + text.size();
  if (begin != end && *begin == '+') ++begin;
  const auto result = std::from_chars(begin, end, value);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value) || value < min ||
      value > max) {
    return false;
  }
  out = value;
  return true;
}

bool parseBool(const std::string& text, bool& out) {
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
  if (lower == "true" || lower == "on" || lower == "yes" || lower == "1") {
    out = true;
    return true;
  }
  if (lower == "false" || lower == "off" || lower == "no" || lower == "0") {
    out = false;
    return true;
  }
  return false;
}

constexpr double kMaxPrice = 1e9;
constexpr double kMaxCash = 1e15;

// One pass over the lines. Each handler returns an empty text on success or
// what is wrong with the line.
class Parser {
 public:
  explicit Parser(std::string fileName) : fileName_(std::move(fileName)) {}

  ConfigResult run(const std::string& text) {
    std::size_t start = 0;
    if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) start = 3;  // UTF-8 byte-order mark
    while (start <= text.size() && error_.empty()) {
      std::size_t end = text.find('\n', start);
      if (end == std::string::npos) end = text.size();
      ++lineNumber_;
      const std::string problem = line(text.substr(start, end - start));
      if (!problem.empty()) fail(lineNumber_, problem);
      start = end + 1;
    }
    if (error_.empty()) crossCheck();
    ConfigResult result;
    result.ok = error_.empty();
    result.error = error_;
    if (result.ok) result.config = std::move(config_);
    return result;
  }

 private:
  enum class Section { kNone, kBehaviour, kChaos, kUser, kAccount, kInstrument };

  void fail(int line, const std::string& what) {
    if (error_.empty()) error_ = fileName_ + ":" + std::to_string(line) + ": " + what;
  }

  std::string line(const std::string& raw) {
    // A comment starts at '#' or ';' at the start of a line or after a blank,
    // so that values such as passwords may hold those characters.
    std::string text = raw;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if ((text[i] == '#' || text[i] == ';') &&
          (i == 0 || text[i - 1] == ' ' || text[i - 1] == '\t')) {
        text.erase(i);
        break;
      }
    }
    text = trim(text);
    if (text.empty()) return std::string();
    if (text.front() == '[') return header(text);
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos)
      return "expected \"key = value\" or a [section], got \"" + text + "\"";
    const std::string key = trim(text.substr(0, equals));
    const std::string value = trim(text.substr(equals + 1));
    if (key.empty()) return "missing key before '='";
    if (!seenKeys_.insert(key).second && key != "position")
      return "key \"" + key + "\" given twice";
    switch (section_) {
      case Section::kNone:
        return "\"" + key + "\" outside a section";
      case Section::kBehaviour:
        return behaviourKey(key, value);
      case Section::kChaos:
        return chaosKey(key, value);
      case Section::kUser:
        return userKey(key, value);
      case Section::kAccount:
        return accountKey(key, value);
      case Section::kInstrument:
        return instrumentKey(key, value);
    }
    return std::string();
  }

  std::string header(const std::string& text) {
    if (text.back() != ']') return "section header without ']'";
    const std::vector<std::string> words = splitWords(text.substr(1, text.size() - 2));
    if (words.empty()) return "empty section header";
    const std::string& kind = words[0];
    seenKeys_.clear();
    if (kind == "behaviour" || kind == "behavior") {
      if (words.size() != 1) return "[behaviour] takes no name";
      if (sawBehaviour_) return "[behaviour] given twice";
      sawBehaviour_ = true;
      section_ = Section::kBehaviour;
      return std::string();
    }
    if (kind == "chaos") {
      if (words.size() != 1) return "[chaos] takes no name";
      if (sawChaos_) return "[chaos] given twice";
      sawChaos_ = true;
      section_ = Section::kChaos;
      return std::string();
    }
    if (kind != "user" && kind != "account" && kind != "instrument") {
      return "unknown section [" + kind + "] (behaviour, chaos, user, account, instrument)";
    }
    if (words.size() != 2) return "expected [" + kind + " NAME]";
    const std::string& name = words[1];
    if (name.size() > 31) return "name \"" + name + "\" longer than 31 bytes";
    if (!sectionNames_.insert(kind + " " + name).second)
      return "[" + kind + " " + name + "] given twice";
    if (kind == "user") {
      section_ = Section::kUser;
      config_.users.push_back(UserConfig{name, std::string(), {}});
      userLines_.push_back(lineNumber_);
      userHasPassword_.push_back(false);
      return std::string();
    }
    if (kind == "account") {
      section_ = Section::kAccount;
      AccountConfig account;
      account.id = name;
      config_.accounts.push_back(account);
      return std::string();
    }
    section_ = Section::kInstrument;
    InstrumentConfig instrument;
    instrument.code = name;
    instrument.product = productOf(name);
    instrument.price = -1;  // required
    config_.instruments.push_back(instrument);
    instrumentLines_.push_back(lineNumber_);
    return std::string();
  }

  std::string behaviourKey(const std::string& key, const std::string& value) {
    Behaviour& b = config_.behaviour;
    long long number = 0;
    if (key == "fill_mode") {
      if (value == "full")
        b.fillMode = FillMode::kFull;
      else if (value == "partial")
        b.fillMode = FillMode::kPartial;
      else if (value == "none")
        b.fillMode = FillMode::kNone;
      else
        return "fill_mode must be full, partial or none";
      return std::string();
    }
    // The whole-number keys that hold an int of the behaviour.
    static const struct {
      const char* key;
      long long least, most;
      int Behaviour::*field;
      const char* error;
    } kIntKeys[] = {
        {"fill_slices", 1, 1000, &Behaviour::fillSlices,
         "fill_slices must be a whole number 1-1000"},
        {"reply_latency_ms", 0, 60000, &Behaviour::replyLatencyMs,
         "reply_latency_ms must be 0-60000"},
        {"price_walk_ms", 0, 3600000, &Behaviour::priceWalkMs, "price_walk_ms must be 0-3600000"},
        {"price_walk_ticks", 0, 1000, &Behaviour::priceWalkTicks,
         "price_walk_ticks must be 0-1000"},
    };
    for (const auto& k : kIntKeys) {
      if (key != k.key) continue;
      if (!parseInt(value, k.least, k.most, number)) return k.error;
      b.*k.field = static_cast<int>(number);
      return std::string();
    }
    if (key == "price_walk_seed") {
      if (!parseInt(value, 0, INT64_MAX, number)) return "price_walk_seed must be a whole number";
      b.priceWalkSeed = static_cast<uint64_t>(number);
      return std::string();
    }
    if (key == "synchronous") {
      return parseBool(value, b.synchronous) ? std::string() : "synchronous must be true or false";
    }
    if (key == "error_push") {
      return parseBool(value, b.errorPush) ? std::string() : "error_push must be true or false";
    }
    if (key == "unreachable") {
      b.unreachable = splitWords(value);
      return std::string();
    }
    if (key == "commission_rate") {
      return parseDouble(value, 0, 0.1, b.commissionRate) ? std::string()
                                                          : "commission_rate must be 0-0.1";
    }
    if (key == "trading_day") {
      if (!isDateText(value)) return "trading_day must be a date YYYYMMDD";
      b.tradingDay = value;
      return std::string();
    }
    return "unknown key \"" + key + "\" in [behaviour]";
  }

  std::string chaosKey(const std::string& key, const std::string& value) {
    Chaos& c = config_.chaos;
    long long number = 0;
    static const struct {
      const char* key;
      long long most;
      int Chaos::*field;
    } kCounts[] = {
        {"drop_after_ms", 86400000, &Chaos::dropAfterMs},
        {"drop_after_events", 1000000000, &Chaos::dropAfterEvents},
        {"delay_ms", 60000, &Chaos::delayMs},
    };
    for (const auto& k : kCounts) {
      if (key != k.key) continue;
      if (!parseInt(value, 0, k.most, number)) {
        return key + " must be a whole number 0-" + std::to_string(k.most);
      }
      c.*k.field = static_cast<int>(number);
      return std::string();
    }
    static const struct {
      const char* key;
      double Chaos::*field;
    } kShares[] = {
        {"pushes_before_reply", &Chaos::pushesBeforeReply},
        {"duplicate_pushes", &Chaos::duplicatePushes},
        {"error_push_without_reply", &Chaos::errorPushWithoutReply},
        {"reorder_replies", &Chaos::reorderReplies},
        {"delay_replies", &Chaos::delayReplies},
        {"reject_orders", &Chaos::rejectOrders},
    };
    for (const auto& k : kShares) {
      if (key != k.key) continue;
      if (!parseDouble(value, 0, 1, c.*k.field)) return key + " must be a share 0-1";
      return std::string();
    }
    if (key == "seed") {
      if (!parseInt(value, 0, INT64_MAX, number)) return "seed must be a whole number";
      c.seed = static_cast<uint64_t>(number);
      return std::string();
    }
    if (key == "log") {
      if (value.empty()) return "log must name a file";
      c.log = value;
      return std::string();
    }
    if (key == "after_drop") {
      if (value != "day" && value != "fresh") return "after_drop must be day or fresh";
      c.keepDayAfterDrop = value == "day";
      return std::string();
    }
    return "unknown key \"" + key + "\" in [chaos]";
  }

  std::string userKey(const std::string& key, const std::string& value) {
    UserConfig& user = config_.users.back();
    if (key == "password") {
      user.password = value;
      userHasPassword_.back() = true;
      return std::string();
    }
    if (key == "accounts") {
      user.accounts = splitWords(value);
      accountRefs_.emplace_back(lineNumber_, user.accounts);
      return std::string();
    }
    return "unknown key \"" + key + "\" in [user] (password, accounts)";
  }

  std::string accountKey(const std::string& key, const std::string& value) {
    AccountConfig& account = config_.accounts.back();
    if (key == "cash") {
      return parseDouble(value, 0, kMaxCash, account.cash) ? std::string()
                                                           : "cash must be a number 0-1e15";
    }
    if (key == "type") {
      if (value == "futures")
        account.type = 1;
      else if (value == "stock")
        account.type = 2;
      else
        return "type must be futures or stock";
      return std::string();
    }
    if (key == "position") {
      const std::vector<std::string> words = splitWords(value);
      if (words.size() != 4) return "position takes: INSTRUMENT long|short VOLUME OPEN_PRICE";
      StartPosition position;
      position.instrument = words[0];
      if (words[1] == "long")
        position.side = Side::kLong;
      else if (words[1] == "short")
        position.side = Side::kShort;
      else
        return "position side must be long or short";
      long long volume = 0;
      if (!parseInt(words[2], 1, 1000000000, volume)) return "position volume must be 1-1e9";
      position.volume = static_cast<int>(volume);
      if (!parseDouble(words[3], 0, kMaxPrice, position.openPrice) || position.openPrice <= 0) {
        return "position open price must be a number above 0";
      }
      account.positions.push_back(position);
      positionRefs_.emplace_back(lineNumber_, position.instrument);
      return std::string();
    }
    return "unknown key \"" + key + "\" in [account] (type, cash, position)";
  }

  std::string instrumentKey(const std::string& key, const std::string& value) {
    InstrumentConfig& i = config_.instruments.back();
    if (key == "exchange") {
      if (!isKnownExchange(value)) {
        return "unknown exchange \"" + value + "\" (SH, SZ, SHFE, DCE, CZCE, CFFEX, INE, GFEX, BJ)";
      }
      i.exchange = value;
      return std::string();
    }
    if (key == "product") {
      if (value.empty() || value.size() > 31) return "product must be 1-31 bytes";
      i.product = value;
      return std::string();
    }
    const char* range = nullptr;
    double* target = nullptr;
    double min = 0, max = kMaxPrice;
    if (key == "price")
      target = &i.price, range = "price must be a number above 0";
    else if (key == "multiplier")
      target = &i.multiplier, range = "multiplier must be above 0", max = 1e6;
    else if (key == "margin_rate")
      target = &i.marginRate, range = "margin_rate must be above 0 and at most 1", max = 1;
    else if (key == "tick")
      target = &i.tick, range = "tick must be a number above 0";
    else if (key == "band_percent")
      target = &i.bandPercent, range = "band_percent must be above 0 and below 100", max = 99.99;
    if (target == nullptr) {
      return "unknown key \"" + key +
             "\" in [instrument] (exchange, product, price, multiplier, margin_rate, tick, "
             "band_percent)";
    }
    double number = 0;
    if (!parseDouble(value, min, max, number) || number <= 0) return range;
    *target = number;
    return std::string();
  }

  void crossCheck() {
    for (std::size_t n = 0; n < config_.users.size(); ++n) {
      if (!userHasPassword_[n]) {
        return fail(userLines_[n], "[user " + config_.users[n].name + "] needs password");
      }
    }
    for (std::size_t n = 0; n < config_.instruments.size(); ++n) {
      const InstrumentConfig& i = config_.instruments[n];
      if (i.exchange.empty())
        return fail(instrumentLines_[n], "[instrument " + i.code + "] needs exchange");
      if (i.price <= 0) return fail(instrumentLines_[n], "[instrument " + i.code + "] needs price");
    }
    for (const auto& ref : accountRefs_) {
      for (const std::string& id : ref.second) {
        if (config_.findAccount(id) == nullptr) {
          return fail(ref.first, "no [account " + id + "] section");
        }
      }
    }
    for (const auto& ref : positionRefs_) {
      if (config_.findInstrument(ref.second) == nullptr) {
        return fail(ref.first, "no [instrument " + ref.second + "] section");
      }
    }
  }

  std::string fileName_;
  Config config_;
  Section section_ = Section::kNone;
  int lineNumber_ = 0;
  bool sawBehaviour_ = false;
  bool sawChaos_ = false;
  std::set<std::string> sectionNames_;
  std::set<std::string> seenKeys_;
  std::vector<int> userLines_;
  std::vector<bool> userHasPassword_;
  std::vector<int> instrumentLines_;
  std::vector<std::pair<int, std::vector<std::string>>> accountRefs_;
  std::vector<std::pair<int, std::string>> positionRefs_;
  std::string error_;
};

}  // namespace

Config defaultConfig() {
  Config config;
  config.users.push_back(UserConfig{"demo", "demo123", {"88001234"}});
  config.users.push_back(UserConfig{"stock", "stock123", {"10001234"}});
  AccountConfig futures;
  futures.id = "88001234";
  futures.type = 1;
  futures.cash = 1000000;
  config.accounts.push_back(futures);
  AccountConfig stock;
  stock.id = "10001234";
  stock.type = 2;
  stock.cash = 1000000;
  config.accounts.push_back(stock);
  config.instruments.push_back(instrument("rb2410", "SHFE", 3650, 10, 0.10, 1, 7));
  config.instruments.push_back(instrument("IF2409", "CFFEX", 3400, 300, 0.12, 0.2, 10));
  config.instruments.push_back(instrument("m2409", "DCE", 3200, 10, 0.08, 1, 6));
  config.instruments.push_back(instrument("sc2410", "INE", 580, 1000, 0.10, 0.1, 8));
  config.instruments.push_back(instrument("600000", "SH", 7.50, 1, 1, 0.01, 10));
  return config;
}

ConfigResult parseConfig(const std::string& text, const std::string& fileName) {
  return Parser(fileName).run(text);
}

std::string configPathFor(const char* initPath) {
  std::string path = environmentValue("XT_SIM_CONFIG");
  if (path.empty() && initPath != nullptr) path = initPath;
#if !defined(_WIN32)
  std::replace(path.begin(), path.end(), '\\', '/');
#endif
  return path;
}

ConfigResult loadConfig(const std::string& path, MissingFile missing) {
  std::string text;
  const std::string shownName = gbkToUtf8(path);
  switch (readWholeFile(path, text)) {
    case ReadStatus::kMissing: {
      ConfigResult result;
      if (missing == MissingFile::kFailure) {
        result.error = shownName + ": no such configuration file (named by XT_SIM_CONFIG)";
        return result;
      }
      result.ok = true;
      result.config = defaultConfig();
      return result;
    }
    case ReadStatus::kUnreadable: {
      ConfigResult result;
      result.error = shownName + ": cannot read the configuration file";
      return result;
    }
    case ReadStatus::kOk:
      break;
  }
  return parseConfig(text, shownName);
}

ConfigResult loadConfigFor(const char* initPath) {
  const bool named = !environmentValue("XT_SIM_CONFIG").empty();
  return loadConfig(configPathFor(initPath),
                    named ? MissingFile::kFailure : MissingFile::kDefaults);
}

}  // namespace sim
}  // namespace xti
