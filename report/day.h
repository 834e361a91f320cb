// Day: what a recorded trading day comes to, computed from its journal alone
// in one pass (entry by entry, nothing of the journal kept but what each
// order needs): the sessions, every order's path through both boundaries
// with its stage times, the latency of each stage over the day, and what went
// wrong. journal_report turns it into a page, JSON and CSV (report_output.h).
//
// How entries are tied together:
//  - a vendor request made on a thread while a host request runs on it
//    (between the H> and its H=) is that request's; a placeOrder so belongs
//    to its sendOrder's order, a cancel to its cancelOrder;
//  - a reply carries its vendor request's number; a push names the vendor's
//    order number, which the order's reply gave (pushes that come before the
//    reply wait for it);
//  - a host event recorded on a vendor thread inside a vendor callback is
//    what that callback became. Version 2 journals close each callback with a
//    kDone entry; in version 1 a callback is taken to last until the next
//    vendor callback of its thread.
#ifndef KESTREL_REPORT_DAY_H_
#define KESTREL_REPORT_DAY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "recorder/journal/journal_format.h"

namespace kestrel {
namespace report {

using journal::Entry;

constexpr uint64_t kNoTime = UINT64_MAX;

// The stages whose times the report measures, in the order it shows them.
enum Stage {
  kPluginIn,       // host request -> its first vendor request (the plug-in, inbound)
  kCounter,        // vendor request -> its reply (the counter)
  kPluginOut,      // vendor callback -> each host event it became (the plug-in, outbound)
  kHostHandler,    // host event -> its return (the host's handler, on the vendor's thread)
  kCallbackTotal,  // vendor callback -> its return (plug-in and host together)
  kToAccepted,     // sendOrder -> the order's first onOrderAccepted
  kToFilled,       // sendOrder -> the onOrderFilled that completed it
  kToCancelled,    // cancelOrder -> the order's onOrderCanceled
  kStages
};

struct StageInfo {
  const char* key;    // JSON and CSV name
  const char* title;  // the page's
};
const StageInfo& stageInfo(int stage);

// The final (or last known) state of an order.
enum class Outcome {
  kOpen,               // no final state: sent and not (yet) answered, or accepted
  kPartlyFilled,       // partly filled, still open
  kFilled,             // wholly filled
  kCancelled,          // cancelled (possibly after partial fills)
  kRefusedByPlugin,    // sendOrder answered with a code other than 0
  kRefusedByCounter,   // the counter's reply (or its error push) refused it
  kRefusedByExchange,  // accepted by the counter, refused by the exchange
};
const char* outcomeKey(Outcome outcome);
bool isFinal(Outcome outcome);

// The kinds of anomaly, in the order the page lists them.
enum Anomaly {
  kPushBeforeReply,       // an order's pushes came before its reply
  kDuplicatePush,         // a push identical to an earlier one of the same order
  kCallbackWithoutEvent,  // an order or deal push that became no host event
  kStateBackwards,        // a host event of an earlier state after a later one
  kNoFinalState,          // the order never reached a final state
  kCancelUnanswered,      // a cancel that got no answer
  kErrorPush,             // an order or cancel error push
  kReplyLate,             // a reply that came after a later request's answers, or late
  kReplyMissing,          // an order or cancel request that got no reply
  kAnomalies
};
const StageInfo& anomalyInfo(int anomaly);

struct Order {
  uint32_t session = 0;  // the host's session object (journal number)
  uint32_t api = 0;      // the vendor API object
  int32_t hostRequest = 0;
  int32_t vendorRequest = 0;
  int32_t vendorOrderId = 0;
  std::string clientId;  // prefix@serial
  std::string instrument;
  std::string exchangeOrderId;
  int direction = 0;  // the host's code: 1 buy
  int offset = 0;
  int64_t volume = 0;
  double price = 0;
  int64_t filled = 0;  // from the deal pushes (or onFill events)
  Outcome outcome = Outcome::kOpen;
  std::string refusal;  // the refusal's or cancel's text, UTF-8
  int answerCode = 0;   // sendOrder's immediate answer
  uint64_t sent = kNoTime;
  uint64_t accepted = kNoTime;
  uint64_t completed = kNoTime;  // wholly filled
  uint64_t cancelSent = kNoTime;
  uint64_t cancelled = kNoTime;
  // Per-order stage times, nanoseconds (kNoTime: not seen).
  std::array<uint64_t, kStages> stage;
  std::array<int, kAnomalies> anomalies{};  // how many of each
  int rank = 0;                             // the latest host state: 1 accepted, 2 partly, 3 final
  bool cancelAnswered = false;
  std::vector<uint64_t> entries;  // offsets of the journal entries that concern it

  Order() { stage.fill(kNoTime); }
};

struct Session {
  uint32_t object = 0;
  uint64_t created = kNoTime;
  uint64_t connectSent = kNoTime;
  uint64_t connected = kNoTime;  // onConnected
  int connectCode = 0;
  uint64_t loginSent = kNoTime;
  uint64_t loggedIn = kNoTime;  // onLogin
  int loginCode = 0;
  uint64_t released = kNoTime;
};

struct Disconnection {
  uint64_t time = 0;
  uint64_t offset = 0;
  uint32_t object = 0;
  bool host = true;  // onDisconnected (else the vendor's onConnected(false))
  int code = 0;
  std::string message;  // UTF-8
};

// A latency sample: when (since the start) and how long, nanoseconds.
struct Sample {
  uint64_t at;
  uint64_t took;
};

// A host event's handler time, for the slowest handlers.
struct Handler {
  uint64_t took = 0;
  uint64_t offset = 0;  // of the event
  std::string operation;
  int order = -1;  // index into Day::orders, or -1
};

struct AnomalyCase {
  int order = -1;       // index into Day::orders, or -1 when it concerns no order
  uint64_t offset = 0;  // the entry that shows it
  std::string detail;
  int32_t vendorRequest = 0;  // the vendor request a reply anomaly or error push concerns
};

struct Day {
  std::string path;
  std::string program;
  uint32_t processId = 0;
  uint32_t version = 0;
  uint64_t startMicros = 0;
  uint64_t duration = 0;  // the last entry's time, ns
  uint64_t entries = 0;
  uint64_t bytes = 0;
  uint64_t dropped = 0;                            // entries lost to a full queue (gap entries)
  std::vector<std::pair<uint64_t, int64_t>> gaps;  // offset, count
  bool closed = false;                             // a closing entry was read
  std::string cut;                                 // why reading stopped early; empty when whole
  std::vector<std::string> malformed;              // entries whose values did not read

  std::vector<Session> sessions;
  std::vector<Order> orders;
  std::vector<Disconnection> disconnections;
  std::array<std::vector<Sample>, kStages> samples;
  std::vector<Handler> slowestHandlers;  // the slowest, slowest first
  std::array<std::vector<AnomalyCase>, kAnomalies> anomalies;
  // Immediate answers other than 0: (operation, code) -> how many, first message.
  std::map<std::pair<std::string, int>, std::pair<int, std::string>> refusedAnswers;
  std::map<std::string, int> hostEvents;       // by operation
  std::map<std::string, int> vendorCallbacks;  // by operation
};

struct Options {
  uint64_t lateNs = 100000000;  // a reply later than this after its request is late
  std::size_t slowestHandlers = 10;
};

// Reads a day entry by entry. Not thread-safe.
class DayBuilder {
 public:
  DayBuilder(Day& day, const Options& options);
  ~DayBuilder();
  DayBuilder(const DayBuilder&) = delete;
  DayBuilder& operator=(const DayBuilder&) = delete;

  void add(const Entry& entry);
  // After the last entry: closes what is open and draws the conclusions.
  void finish();

 private:
  class State;
  std::unique_ptr<State> state_;
};

// Reads the journal at `path` into `day`. False, with `problem` set, when it
// is no journal this program reads; otherwise true, with day.cut set when a
// truncated or corrupt entry ended the reading.
bool readDay(const std::string& path, const Options& options, Day& day, std::string& problem);

}  // namespace report
}  // namespace kestrel

#endif  // KESTREL_REPORT_DAY_H_
