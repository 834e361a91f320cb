// The simulated counter's configuration: users, fund accounts, instruments
// and behaviour switches, read from the plain-text file named at init().
//
// The format is documented at the top of config/xt_config (the sample file
// that the build copies beside the programs). In short: '#' or ';' starts a
// comment, "[behaviour]", "[chaos]", "[user NAME]", "[account ID]" and
// "[instrument CODE]" open sections, and "key = value" lines fill them. A
// file describes the whole counter: nothing of the embedded defaults is
// merged into it, except behaviour keys the file leaves out.
//
// Pure functions, no shared state: safe to call from any thread.
#ifndef KESTREL_BROKER_SIM_CONFIG_H_
#define KESTREL_BROKER_SIM_CONFIG_H_

#include <cstdint>
#include <string>
#include <vector>

namespace xti {
namespace sim {

enum class FillMode { kFull, kPartial, kNone };
enum class Side { kLong, kShort };

struct Behaviour {
  FillMode fillMode = FillMode::kFull;
  int fillSlices = 3;                 // fills per order in partial mode
  int replyLatencyMs = 0;             // delay before each answer reaches the callback
  int priceWalkMs = 0;                // 0: reference prices never move by themselves
  int priceWalkTicks = 2;             // largest move of one walk step, in ticks
  uint64_t priceWalkSeed = 20240601;  // same seed, same walk
  bool synchronous = false;           // answer inside the request call
  std::vector<std::string> unreachable{"unreachable.invalid:7001"};  // connection fails
  bool errorPush = true;           // validation failures also as error pushes
  double commissionRate = 0.0001;  // of the traded amount
  std::string tradingDay;          // YYYYMMDD; empty: today at UTC+8
};

// The counter's deliberate misbehaviour, all off by default. Shares are
// probabilities 0-1 drawn per order or per answer from one generator seeded
// with `seed`: the same requests in the same order misbehave the same way.
struct Chaos {
  uint64_t seed = 1;
  int dropAfterMs = 0;               // the connection drops N ms after init; 0: never
  int dropAfterEvents = 0;           // ... after N answers and pushes; 0: never
  bool keepDayAfterDrop = true;      // a later connection to the address resumes the day
  double pushesBeforeReply = 0;      // an accepted order's pushes overtake its reply
  double duplicatePushes = 0;        // an order or deal push comes twice
  double errorPushWithoutReply = 0;  // a refusal comes only as the error push
  double reorderReplies = 0;         // a reply waits for the next request's answers
  double delayReplies = 0;           // a reply comes delayMs late, on the callback thread
  int delayMs = 200;
  double rejectOrders = 0;  // a valid order is refused with a counter's text
  std::string log;          // a file where each of the faults above is written as it is made

  bool any() const {
    return dropAfterMs > 0 || dropAfterEvents > 0 || pushesBeforeReply > 0 || duplicatePushes > 0 ||
           errorPushWithoutReply > 0 || reorderReplies > 0 || delayReplies > 0 || rejectOrders > 0;
  }
};

struct UserConfig {
  std::string name;
  std::string password;
  std::vector<std::string> accounts;
};

// A position held before the day starts (an "earlier" volume).
struct StartPosition {
  std::string instrument;
  Side side = Side::kLong;
  int volume = 0;
  double openPrice = 0;
};

struct AccountConfig {
  std::string id;
  int type = 1;  // passed on in onAccountStatus: 1 futures, 2 stock
  double cash = 0;
  std::vector<StartPosition> positions;
};

struct InstrumentConfig {
  std::string code;
  std::string exchange;     // one of kKnownExchanges
  std::string product;      // product code, e.g. "rb"; defaults to the code's letters
  double price = 0;         // reference price at the start of the day
  double multiplier = 1;    // contract size
  double marginRate = 1;    // share of the traded value held as margin
  double tick = 0.01;       // price step of the walk
  double bandPercent = 10;  // limit orders beyond +-band% of the start price are rejected
};

struct Config {
  Behaviour behaviour;
  Chaos chaos;
  std::vector<UserConfig> users;
  std::vector<AccountConfig> accounts;
  std::vector<InstrumentConfig> instruments;

  const UserConfig* findUser(const std::string& name) const;
  const AccountConfig* findAccount(const std::string& id) const;
  const InstrumentConfig* findInstrument(const std::string& code) const;
};

// The exchange codes the host knows.
extern const char* const kKnownExchanges[9];
// Stock exchanges (SH, SZ, BJ): no short selling, today's purchases not sellable.
bool isStockExchange(const std::string& code);

// The counter used when no file exists: the sample file config/xt_config,
// which the build embeds (user "demo" / "demo123" with fund account
// "88001234", the instruments rb2410, IF2409, m2409, sc2410 and 600000, and
// a user "stock" with stock account "10001234").
Config defaultConfig();

struct ConfigResult {
  bool ok = false;
  Config config;
  std::string error;  // UTF-8, printable: "<file>:<line>: <what is wrong>"
};

// Every key of the format as "SECTION KEY" ("behaviour fill_mode"), in the
// order of the parser's tables.
std::vector<std::string> configKeys();

// Parses the text of a configuration file; `fileName` only names it in errors.
ConfigResult parseConfig(const std::string& text, const std::string& fileName);

// Where the configuration comes from, given init()'s argument (GBK): the file
// named by the environment variable XT_SIM_CONFIG if it is set and not empty,
// else `initPath` with '\' and '/' both taken as separators.
std::string configPathFor(const char* initPath);

// What a file that does not exist means: the embedded defaults, or a
// failure (a file asked for by name).
enum class MissingFile { kDefaults, kFailure };

// Loads the file at `path` (GBK on Windows, bytes on Linux; see
// sim_platform.h). A missing file gives defaultConfig() or, with
// MissingFile::kFailure, a failure naming it; an unreadable one, one larger
// than 16 MiB or a malformed one a failure naming the file (and the line).
// Messages show the file's bytes printably: UTF-8 as it is, any other byte
// as \xNN.
ConfigResult loadConfig(const std::string& path, MissingFile missing = MissingFile::kDefaults);

// The configuration init() reads: from configPathFor(initPath). A file that
// XT_SIM_CONFIG names was asked for, so its absence fails the connection
// instead of leaving the counter on its defaults in silence.
ConfigResult loadConfigFor(const char* initPath);

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_SIM_CONFIG_H_
