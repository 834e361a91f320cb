// The day report against what the day did (tests/report_day.cmake runs it):
//
//   report_truth demo JOURNAL            the demo host's scripted day
//   report_truth chaos JOURNAL LOG STOPPED
//
// demo: the report's counts equal the script's: four orders (one filled at
// any price, one resting and cancelled, one refused by the counter for want
// of funds, one refused by the exchange outside the price band), no anomaly
// but the refusal's error push.
//
// chaos: LOG is the counter's chaos log (broker/chaos.h), the faults it made
// on purpose; STOPPED is 1 when the demo host's script stopped early (an
// expected event did not come, so the session ended with answers still on
// their way). Every fault in the log must be among the report's anomalies
// (found), and every anomaly the report lists must follow from a fault in
// the log or from the day's own script (none invented).
//
// Prints each mismatch and a summary line; exits 1 on a mismatch.
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "plugin/common.h"
#include "report/day.h"

namespace {

using namespace kestrel::report;

int failures = 0;

void fail(const std::string& what) {
  std::printf("MISMATCH: %s\n", what.c_str());
  ++failures;
}

void expectCount(const std::string& what, long long got, long long want) {
  if (got != want) fail(what + ": " + std::to_string(got) + ", expected " + std::to_string(want));
}

std::size_t countOutcome(const Day& day, Outcome outcome) {
  std::size_t n = 0;
  for (const Order& o : day.orders) n += o.outcome == outcome ? 1 : 0;
  return n;
}

int checkDemo(const Day& day) {
  expectCount("orders", static_cast<long long>(day.orders.size()), 4);
  expectCount("filled", countOutcome(day, Outcome::kFilled), 1);
  expectCount("cancelled", countOutcome(day, Outcome::kCancelled), 1);
  expectCount("refused by the counter", countOutcome(day, Outcome::kRefusedByCounter), 1);
  expectCount("refused by the exchange", countOutcome(day, Outcome::kRefusedByExchange), 1);
  expectCount("open", countOutcome(day, Outcome::kOpen), 0);
  std::size_t accepted = 0;
  int64_t filled = 0;
  for (const Order& o : day.orders) {
    accepted += o.accepted != kNoTime ? 1 : 0;
    filled += o.filled;
    if (o.outcome == Outcome::kRefusedByCounter &&
        o.refusal.find("可用资金不足") == std::string::npos) {
      fail("the counter's refusal reads \"" + o.refusal + "\"");
    }
  }
  expectCount("accepted", static_cast<long long>(accepted), 2);
  expectCount("lots filled", filled, 1);
  for (int a = 0; a < kAnomalies; ++a) {
    expectCount(std::string("anomaly ") + anomalyInfo(a).key,
                static_cast<long long>(day.anomalies[a].size()), a == kErrorPush ? 1 : 0);
  }
  expectCount("samples of sendOrder -> accepted", day.samples[kToAccepted].size(), 2);
  expectCount("samples of sendOrder -> filled", day.samples[kToFilled].size(), 1);
  expectCount("samples of cancelOrder -> cancelled", day.samples[kToCancelled].size(), 1);
  expectCount("sessions", static_cast<long long>(day.sessions.size()), 1);
  std::printf("demo day: %zu orders, %zu entries, %d mismatches\n", day.orders.size(),
              static_cast<std::size_t>(day.entries), failures);
  return failures == 0 ? 0 : 1;
}

// One line of the chaos log.
struct Fault {
  std::string kind;
  std::string callback;
  int request = 0;
  int order = 0;
  std::string line;
};

std::vector<Fault> readLog(const std::string& path) {
  std::vector<Fault> faults;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    Fault f;
    f.line = line;
    std::istringstream words(line);
    words >> f.kind >> f.callback;
    for (std::string word; words >> word;) {
      if (word.rfind("request=", 0) == 0) f.request = std::stoi(word.substr(8));
      if (word.rfind("order=", 0) == 0) f.order = std::stoi(word.substr(6));
    }
    faults.push_back(f);
  }
  return faults;
}

int checkChaos(const Day& day, const std::vector<Fault>& faults, bool stopped) {
  // The day's input sends 15 orders; fewer means the day did not trade.
  if (day.orders.size() < 10)
    fail("the chaos day has " + std::to_string(day.orders.size()) + " orders");
  if (faults.empty()) fail("the chaos log is empty");
  // The log's faults by request and order number (one counter connection).
  std::map<std::string, std::set<int>> byRequest;
  std::map<std::string, std::set<int>> byOrder;
  std::map<int, int> duplicates;  // vendor order -> order and deal pushes sent twice
  std::set<int> errorDuplicates;  // requests whose error push was sent twice
  bool dropped = false;
  for (const Fault& f : faults) {
    byRequest[f.kind].insert(f.request);
    byOrder[f.kind].insert(f.order);
    const bool errorPush = f.callback.find("ErrorPush") != std::string::npos;
    if (f.kind == "duplicate_push" && !errorPush) ++duplicates[f.order];
    if (f.kind == "duplicate_push" && errorPush) errorDuplicates.insert(f.request);
    dropped = dropped || f.kind == "drop";
  }
  const auto logged = [&](const char* kind, int request) {
    return byRequest[kind].count(request) > 0;
  };
  const auto replyFault = [&](int request) {
    return logged("held_reply", request) || logged("late_reply", request);
  };
  std::map<int, int> orderByRequest;
  std::map<int, int> orderByVendorOrder;
  for (std::size_t i = 0; i < day.orders.size(); ++i) {
    if (day.orders[i].vendorRequest != 0) orderByRequest[day.orders[i].vendorRequest] = int(i);
    if (day.orders[i].vendorOrderId != 0) orderByVendorOrder[day.orders[i].vendorOrderId] = int(i);
  }
  const auto casesWith = [&](int anomaly, int request) {
    int n = 0;
    for (const AnomalyCase& c : day.anomalies[anomaly]) n += c.vendorRequest == request ? 1 : 0;
    return n;
  };

  // Found: every fault of the log among the report's anomalies.
  for (const Fault& f : faults) {
    const auto order = orderByVendorOrder.find(f.order);
    const auto requested = orderByRequest.find(f.request);
    if (f.kind == "push_before_reply") {
      if (casesWith(kPushBeforeReply, f.request) == 0) fail("not found: " + f.line);
    } else if (f.kind == "duplicate_push" && f.callback.find("ErrorPush") != std::string::npos) {
      if (casesWith(kDuplicatePush, f.request) == 0) fail("not found: " + f.line);
    } else if (f.kind == "duplicate_push") {
      if (order == orderByVendorOrder.end() ||
          day.orders[order->second].anomalies[kDuplicatePush] < duplicates[f.order])
        fail("not found: " + f.line);
    } else if (f.kind == "error_push_without_reply") {
      if (casesWith(kReplyMissing, f.request) == 0) fail("not found: " + f.line);
    } else if (f.kind == "held_reply" || f.kind == "late_reply") {
      if (casesWith(kReplyLate, f.request) + casesWith(kReplyMissing, f.request) == 0)
        fail("not found: " + f.line);
    } else if (f.kind == "refusal") {
      if (requested == orderByRequest.end() ||
          day.orders[requested->second].outcome != Outcome::kRefusedByCounter)
        fail("not found: " + f.line);
    } else if (f.kind == "drop") {
      bool seen = false;
      for (const Disconnection& d : day.disconnections) seen = seen || !d.host || d.code == -7;
      if (!seen) fail("not found: " + f.line);
    } else {
      fail("a fault this check does not know: " + f.line);
    }
  }

  std::map<int, int> pushDuplicates;  // order -> its order and deal pushes reported twice
  for (const AnomalyCase& c : day.anomalies[kDuplicatePush]) {
    if (c.vendorRequest == 0) ++pushDuplicates[c.order];
  }

  // None invented: every anomaly follows from a fault of the log, or from
  // the day's own script (the refusal it asks for, the end of a day that
  // stopped early or was dropped).
  const bool endedEarly = stopped || dropped;
  for (int a = 0; a < kAnomalies; ++a) {
    for (const AnomalyCase& c : day.anomalies[a]) {
      const Order* o = c.order >= 0 ? &day.orders[static_cast<std::size_t>(c.order)] : nullptr;
      const int request = o != nullptr ? o->vendorRequest : 0;
      const bool orderReplyFault = o != nullptr && replyFault(request);
      // Its events came under a made-up id, before the host knew the order.
      const bool pushedEarly =
          o != nullptr &&
          (byOrder["push_before_reply"].count(o->vendorOrderId) > 0 || orderReplyFault);
      bool explained = false;
      switch (a) {
        case kPushBeforeReply:
          // A drop can cut a batch between an order's first push and its reply.
          explained = logged("push_before_reply", c.vendorRequest) || replyFault(c.vendorRequest) ||
                      (dropped && o != nullptr && o->anomalies[kReplyMissing] > 0);
          break;
        case kDuplicatePush:
          // An error push again names its request; an order or deal push its order.
          explained = c.vendorRequest != 0
                          ? errorDuplicates.count(c.vendorRequest) > 0
                          : o != nullptr && duplicates[o->vendorOrderId] >= pushDuplicates[c.order];
          break;
        case kStateBackwards:
        case kCallbackWithoutEvent:
          // Events under made-up ids before the reply, the host's own after it;
          // a push sent twice.
          explained = pushedEarly || (o != nullptr && duplicates[o->vendorOrderId] > 0);
          break;
        case kReplyLate:
          explained = replyFault(c.vendorRequest);
          break;
        case kReplyMissing:
          explained = logged("error_push_without_reply", c.vendorRequest) ||
                      replyFault(c.vendorRequest) || endedEarly;
          break;
        case kErrorPush:
          // Every refusal comes with its error push (error_push = true).
          explained = o == nullptr || o->outcome == Outcome::kRefusedByCounter ||
                      logged("error_push_without_reply", c.vendorRequest) || endedEarly ||
                      (o->cancelSent != kNoTime);
          break;
        case kNoFinalState:
        case kCancelUnanswered:
          // A host that saw the order only under a made-up id cannot cancel it.
          explained = endedEarly || orderReplyFault || pushedEarly ||
                      (o != nullptr && logged("error_push_without_reply", o->vendorRequest));
          break;
      }
      if (!explained) {
        fail(std::string("invented: ") + anomalyInfo(a).key + " order " +
             (o != nullptr ? o->clientId + " (vendor request " + std::to_string(o->vendorRequest) +
                                 ", order " + std::to_string(o->vendorOrderId) + ")"
                           : "none") +
             " at offset " + std::to_string(c.offset) + ": " + c.detail);
      }
    }
  }
  for (const Order& o : day.orders) {
    if (o.outcome != Outcome::kRefusedByCounter) continue;
    const bool scripted =
        o.volume == 1000000 && o.refusal.find("可用资金不足") != std::string::npos;
    const bool afterDrop = dropped && o.refusal.find("未连接到柜台") != std::string::npos;
    if (!logged("refusal", o.vendorRequest) && !scripted && !afterDrop) {
      fail("invented: refused by the counter: " + o.clientId + " \"" + o.refusal + "\"");
    }
  }
  std::size_t anomalies = 0;
  for (const auto& cases : day.anomalies) anomalies += cases.size();
  std::printf("chaos day: %zu orders, %zu faults logged, %zu anomalies reported, %d mismatches\n",
              day.orders.size(), faults.size(), anomalies, failures);
  return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (!((mode == "demo" && argc == 3) || (mode == "chaos" && argc == 5))) {
    std::fprintf(stderr, "usage: report_truth demo JOURNAL | chaos JOURNAL LOG STOPPED\n");
    return 2;
  }
  kestrel::addChinaExchanges(*kestrel::gBaseInformationMap);
  Day day;
  std::string problem;
  // The chaos days delay replies by 1000 ms (report_day.cmake): a reply
  // counts as late from 500 ms on, which no reply takes on a slow machine (a
  // sanitizer's, an emulator's) unless the counter held it back.
  Options options;
  options.lateNs = 500000000u;
  if (!readDay(argv[2], options, day, problem)) {
    std::fprintf(stderr, "report_truth: %s\n", problem.c_str());
    return 2;
  }
  if (!day.cut.empty() || !day.malformed.empty())
    fail("the journal did not read whole: " + day.cut);
  if (mode == "demo") return checkDemo(day);
  return checkChaos(day, readLog(argv[3]), std::string(argv[4]) == "1");
}
