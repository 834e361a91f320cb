#include "broker/sim_config.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <functional>
#include <utility>

#include "broker/sim_platform.h"
#include "broker/sim_time.h"

namespace xti {
namespace sim {

const char* const kKnownExchanges[9] = {"SH",    "SZ",  "SHFE", "DCE", "CZCE",
                                        "CFFEX", "INE", "GFEX", "BJ"};

bool isStockExchange(const std::string& code) {
  return code == "SH" || code == "SZ" || code == "BJ";
}

namespace {

// The item of `items` whose `key` is `value`, or null.
template <class Item>
const Item* findBy(const std::vector<Item>& items, std::string Item::*key,
                   const std::string& value) {
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&](const Item& item) { return item.*key == value; });
  return found == items.end() ? nullptr : &*found;
}

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

std::string trim(const std::string& text) {
  const char* blanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return std::string();
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> splitWords(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (char c : text + ' ') {
    if (c != ',' && c != ' ' && c != '\t') {
      word += c;
    } else if (!word.empty()) {
      words.push_back(word);
      word.clear();
    }
  }
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

bool parseDouble(const std::string& text, double& out) {
  const char* begin = text.data();
  const char* end = begin + text.size();
  if (begin != end && *begin == '+') ++begin;
  const auto result = std::from_chars(begin, end, out);
  return result.ec == std::errc() && result.ptr == end && std::isfinite(out);
}

// Equal but for the case of ASCII letters.
bool sameLetters(const std::string& a, const std::string& b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c; };
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [&](char x, char y) { return lower(x) == lower(y); });
}

// The length of the UTF-8 sequence that starts `text` at `at`, 0 when the
// bytes there are not one.
std::size_t utf8Length(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char lead = byte(0);
  const std::size_t length = lead < 0xC2   ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length == 0 || at + length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // No overlong forms, surrogates or code points past U+10FFFF.
  const bool outside = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) >= 0xA0) ||
                       (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) >= 0x90);
  return outside ? 0 : length;
}

// `text` as a message shows it: UTF-8 as it is, every control byte and every
// byte that is not part of UTF-8 as \xNN.
std::string printable(const std::string& text) {
  std::string shown;
  for (std::size_t at = 0; at < text.size();) {
    const unsigned char c = static_cast<unsigned char>(text[at]);
    const std::size_t length = c >= 0x80 ? utf8Length(text, at) : (c >= 0x20 && c != 0x7F);
    char escaped[8];
    std::snprintf(escaped, sizeof(escaped), "\\x%02X", c);
    shown.append(length == 0 ? std::string(escaped) : text.substr(at, length));
    at += length == 0 ? 1 : length;
  }
  return shown;
}

// --- The keys of each section, and the kinds of value they take ---------------

// Reads a value into a section: an empty text, or what the value must be.
template <class Section>
using Setter = std::function<std::string(Section&, const std::string& value)>;

template <class Section>
struct Key {
  const char* name;
  Setter<Section> set;
  bool required = false;
  bool repeated = false;  // may be given more than once
};

template <class Section, class Number>
Setter<Section> whole(Number Section::*member, long long least, long long most) {
  return [=](Section& section, const std::string& value) {
    long long number = 0;
    if (!parseInt(value, least, most, number)) {
      return "a whole number " + std::to_string(least) + "-" + std::to_string(most);
    }
    section.*member = static_cast<Number>(number);
    return std::string();
  };
}

// A number from `least` to `most`, both as the file writes them.
template <class Section>
Setter<Section> number(double Section::*member, const char* least, const char* most) {
  return [=](Section& section, const std::string& value) {
    double low = 0, high = 0, number = 0;
    if (!parseDouble(least, low) || !parseDouble(most, high) || !parseDouble(value, number) ||
        number < low || number > high) {
      return std::string("a number ") + least + "-" + most;
    }
    section.*member = number;
    return std::string();
  };
}

// One of the words of `choices` (in any case), each standing for a value.
template <class Section, class Value>
Setter<Section> choice(Value Section::*member, std::vector<std::pair<std::string, Value>> choices) {
  return [=](Section& section, const std::string& value) {
    std::string words;
    for (std::size_t i = 0; i < choices.size(); ++i) {
      if (sameLetters(choices[i].first, value)) {
        return (section.*member = choices[i].second), std::string();
      }
      words += (i == 0 ? "" : i + 1 == choices.size() ? " or " : ", ") + choices[i].first;
    }
    return words;
  };
}

const std::vector<std::pair<std::string, bool>> kSwitch = {
    {"true", true},   {"on", true},   {"yes", true}, {"1", true},
    {"false", false}, {"off", false}, {"no", false}, {"0", false}};

// A text of `least` to `most` bytes; a date YYYYMMDD when `date`.
template <class Section>
Setter<Section> text(std::string Section::*member, std::size_t least = 0, std::size_t most = 9999,
                     bool date = false) {
  return [=](Section& section, const std::string& value) {
    if (date && !isDateText(value)) return std::string("a date YYYYMMDD");
    if (value.size() < least || value.size() > most) {
      return std::to_string(least) + "-" + std::to_string(most) + " bytes";
    }
    section.*member = value;
    return std::string();
  };
}

template <class Section>
Setter<Section> words(std::vector<std::string> Section::*member) {
  return [=](Section& section, const std::string& value) {
    section.*member = splitWords(value);
    return std::string();
  };
}

constexpr char kMinPrice[] = "0.0001";
constexpr char kMaxPrice[] = "1e9";

std::string startPosition(AccountConfig& account, const std::string& value) {
  const std::vector<std::string> words = splitWords(value);
  StartPosition p;
  if (words.size() != 4 ||
      !choice(&StartPosition::side, {{"long", Side::kLong}, {"short", Side::kShort}})(p, words[1])
           .empty() ||
      !whole(&StartPosition::volume, 1, 1000000000)(p, words[2]).empty() ||
      !number(&StartPosition::openPrice, kMinPrice, kMaxPrice)(p, words[3]).empty()) {
    return std::string(
               "INSTRUMENT long|short VOLUME OPEN_PRICE (VOLUME a whole number "
               "1-1000000000, OPEN_PRICE a number ") +
           kMinPrice + "-" + kMaxPrice + ")";
  }
  p.instrument = words[0];
  account.positions.push_back(p);
  return std::string();
}

std::vector<std::pair<std::string, std::string>> exchangeChoices() {
  std::vector<std::pair<std::string, std::string>> choices;
  for (const char* code : kKnownExchanges) choices.emplace_back(code, code);
  return choices;
}

// One line a key, as config/xt_config describes them.
const std::vector<Key<Behaviour>> kBehaviourKeys = {
    {"fill_mode", choice(&Behaviour::fillMode, {{"full", FillMode::kFull},
                                                {"partial", FillMode::kPartial},
                                                {"none", FillMode::kNone}})},
    {"fill_slices", whole(&Behaviour::fillSlices, 1, 1000)},
    {"reply_latency_ms", whole(&Behaviour::replyLatencyMs, 0, 60000)},
    {"price_walk_ms", whole(&Behaviour::priceWalkMs, 0, 3600000)},
    {"price_walk_ticks", whole(&Behaviour::priceWalkTicks, 0, 1000)},
    {"price_walk_seed", whole(&Behaviour::priceWalkSeed, 0, INT64_MAX)},
    {"synchronous", choice(&Behaviour::synchronous, kSwitch)},
    {"unreachable", words(&Behaviour::unreachable)},
    {"error_push", choice(&Behaviour::errorPush, kSwitch)},
    {"commission_rate", number(&Behaviour::commissionRate, "0", "0.1")},
    {"trading_day", text(&Behaviour::tradingDay, 8, 8, true)},
};

const std::vector<Key<Chaos>> kChaosKeys = {
    {"seed", whole(&Chaos::seed, 0, INT64_MAX)},
    {"drop_after_ms", whole(&Chaos::dropAfterMs, 0, 86400000)},
    {"drop_after_events", whole(&Chaos::dropAfterEvents, 0, 1000000000)},
    {"after_drop", choice(&Chaos::keepDayAfterDrop, {{"day", true}, {"fresh", false}})},
    {"pushes_before_reply", number(&Chaos::pushesBeforeReply, "0", "1")},
    {"duplicate_pushes", number(&Chaos::duplicatePushes, "0", "1")},
    {"error_push_without_reply", number(&Chaos::errorPushWithoutReply, "0", "1")},
    {"reorder_replies", number(&Chaos::reorderReplies, "0", "1")},
    {"delay_replies", number(&Chaos::delayReplies, "0", "1")},
    {"delay_ms", whole(&Chaos::delayMs, 0, 60000)},
    {"reject_orders", number(&Chaos::rejectOrders, "0", "1")},
    {"log", text(&Chaos::log, 1)},
};

const std::vector<Key<UserConfig>> kUserKeys = {
    {"password", text(&UserConfig::password), true},
    {"accounts", words(&UserConfig::accounts)},
};

const std::vector<Key<AccountConfig>> kAccountKeys = {
    {"type", choice(&AccountConfig::type, {{"futures", 1}, {"stock", 2}})},
    {"cash", number(&AccountConfig::cash, "0", "1e15")},
    {"position", startPosition, false, true},
};

const std::vector<Key<InstrumentConfig>> kInstrumentKeys = {
    {"exchange", choice(&InstrumentConfig::exchange, exchangeChoices()), true},
    {"price", number(&InstrumentConfig::price, kMinPrice, kMaxPrice), true},
    {"product", text(&InstrumentConfig::product, 1, 31)},
    {"multiplier", number(&InstrumentConfig::multiplier, "0.01", "1e6")},
    {"margin_rate", number(&InstrumentConfig::marginRate, "0.001", "1")},
    {"tick", number(&InstrumentConfig::tick, kMinPrice, "1e5")},
    {"band_percent", number(&InstrumentConfig::bandPercent, "0.01", "99.99")},
};

// A section of the file as the parser met it: its keys, each at its line.
struct Opened {
  std::string kind;   // "user"
  std::string title;  // "[user demo]"
  int line = 0;
  // Sets a key of this section; valid while no later section is opened.
  std::function<std::string(const std::string& key, const std::string& value)> set;
  std::vector<std::string> required;
  std::vector<std::pair<std::string, int>> given;

  // The line of the n-th `key` given, 0 for none.
  int lineOf(const std::string& key, std::size_t n = 0) const {
    for (const auto& [name, line] : given) {
      if (name == key && n-- == 0) return line;
    }
    return 0;
  }
};

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
    return error_.empty() ? ConfigResult{true, std::move(config_), ""}
                          : ConfigResult{false, Config(), error_};
  }

 private:
  void fail(int line, const std::string& what) {
    if (error_.empty()) error_ = fileName_ + ":" + std::to_string(line) + ": " + printable(what);
  }

  std::string line(const std::string& raw) {
    for (std::size_t i = 0; i < raw.size(); ++i) {
      const unsigned char c = static_cast<unsigned char>(raw[i]);
      if ((c < 0x20 && c != '\t' && !(c == '\r' && i + 1 == raw.size())) || c == 0x7F) {
        char what[64];
        std::snprintf(what, sizeof(what), "control byte 0x%02X at byte %zu of the line", c, i + 1);
        return what;
      }
    }
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
    if (key.empty()) return "missing key before '='";
    if (opened_.empty()) return "\"" + key + "\" outside a section";
    return opened_.back().set(key, trim(text.substr(equals + 1)));
  }

  template <class Section>
  void open(const std::vector<Key<Section>>& keys, Section& section) {
    Opened& opened = opened_.back();
    for (const Key<Section>& k : keys) {
      if (k.required) opened.required.push_back(k.name);
    }
    opened.set = [this, &keys, &section](const std::string& key, const std::string& value) {
      Opened& opened = opened_.back();
      std::string names;
      for (const Key<Section>& k : keys) {
        names += (names.empty() ? "" : ", ") + std::string(k.name);
        if (key != k.name) continue;
        if (!k.repeated && opened.lineOf(key) != 0) return "key \"" + key + "\" given twice";
        opened.given.emplace_back(key, lineNumber_);
        const std::string must = k.set(section, value);
        return must.empty() ? must : key + " must be " + must;
      }
      return "unknown key \"" + key + "\" in [" + opened.kind + "] (" + names + ")";
    };
  }

  std::string header(const std::string& text) {
    if (text.back() != ']') return "section header without ']'";
    const std::vector<std::string> words = splitWords(text.substr(1, text.size() - 2));
    if (words.empty()) return "empty section header";
    const std::string kind = words[0] == "behavior" ? "behaviour" : words[0];
    const bool single = kind == "behaviour" || kind == "chaos";
    if (!single && kind != "user" && kind != "account" && kind != "instrument") {
      return "unknown section [" + kind + "] (behaviour, chaos, user, account, instrument)";
    }
    if (single && words.size() != 1) return "[" + kind + "] takes no name";
    if (!single && words.size() != 2) return "expected [" + kind + " NAME]";
    const std::string name = single ? std::string() : words[1];
    if (name.size() > 31) return "name \"" + name + "\" longer than 31 bytes";
    const std::string title = "[" + kind + (single ? "" : " " + name) + "]";
    for (const Opened& earlier : opened_) {
      if (earlier.title == title) return title + " given twice";
    }
    opened_.push_back(Opened{kind, title, lineNumber_, {}, {}, {}});
    if (kind == "behaviour") {
      open(kBehaviourKeys, config_.behaviour);
    } else if (kind == "chaos") {
      open(kChaosKeys, config_.chaos);
    } else if (kind == "user") {
      open(kUserKeys, config_.users.emplace_back(UserConfig{name, std::string(), {}}));
    } else if (kind == "account") {
      open(kAccountKeys, config_.accounts.emplace_back());
      config_.accounts.back().id = name;
    } else {
      open(kInstrumentKeys, config_.instruments.emplace_back());
      config_.instruments.back().code = name;
      config_.instruments.back().product = productOf(name);
    }
    return std::string();
  }

  // Each section has its required keys; what the file refers to exists.
  void crossCheck() {
    std::size_t user = 0, account = 0;
    for (const Opened& opened : opened_) {
      for (const std::string& key : opened.required) {
        if (opened.lineOf(key) == 0) return fail(opened.line, opened.title + " needs " + key);
      }
      if (opened.kind == "user") {
        for (const std::string& id : config_.users[user++].accounts) {
          if (config_.findAccount(id) == nullptr) {
            return fail(opened.lineOf("accounts"), "no [account " + id + "] section");
          }
        }
      } else if (opened.kind == "account") {
        const std::vector<StartPosition>& positions = config_.accounts[account++].positions;
        for (std::size_t n = 0; n < positions.size(); ++n) {
          if (config_.findInstrument(positions[n].instrument) == nullptr) {
            return fail(opened.lineOf("position", n),
                        "no [instrument " + positions[n].instrument + "] section");
          }
        }
      }
    }
  }

  std::string fileName_;
  Config config_;
  int lineNumber_ = 0;
  std::vector<Opened> opened_;
  std::string error_;
};

template <class Section>
void addKeys(std::vector<std::string>& all, const char* kind,
             const std::vector<Key<Section>>& keys) {
  for (const Key<Section>& key : keys) all.push_back(std::string(kind) + " " + key.name);
}

}  // namespace

const UserConfig* Config::findUser(const std::string& name) const {
  return findBy(users, &UserConfig::name, name);
}
const AccountConfig* Config::findAccount(const std::string& id) const {
  return findBy(accounts, &AccountConfig::id, id);
}
const InstrumentConfig* Config::findInstrument(const std::string& code) const {
  return findBy(instruments, &InstrumentConfig::code, code);
}

// The sample file config/xt_config, embedded by the build.
extern const char kSampleConfig[];

Config defaultConfig() { return parseConfig(kSampleConfig, "config/xt_config").config; }

std::vector<std::string> configKeys() {
  std::vector<std::string> all;
  addKeys(all, "behaviour", kBehaviourKeys);
  addKeys(all, "chaos", kChaosKeys);
  addKeys(all, "user", kUserKeys);
  addKeys(all, "account", kAccountKeys);
  addKeys(all, "instrument", kInstrumentKeys);
  return all;
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
  ConfigResult result;
  switch (readWholeFile(path, text)) {
    case ReadStatus::kOk:
      return parseConfig(text, shownName);
    case ReadStatus::kMissing:
      if (missing == MissingFile::kDefaults) return ConfigResult{true, defaultConfig(), ""};
      result.error = shownName + ": no such configuration file (named by XT_SIM_CONFIG)";
      break;
    case ReadStatus::kTooLarge:
      result.error = shownName + ": larger than 16 MiB, not a configuration file";
      break;
    case ReadStatus::kUnreadable:
      result.error = shownName + ": cannot read the configuration file";
      break;
  }
  return result;
}

ConfigResult loadConfigFor(const char* initPath) {
  const bool named = !environmentValue("XT_SIM_CONFIG").empty();
  return loadConfig(configPathFor(initPath),
                    named ? MissingFile::kFailure : MissingFile::kDefaults);
}

}  // namespace sim
}  // namespace xti
