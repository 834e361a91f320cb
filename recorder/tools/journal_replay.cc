// journal_replay: replays a journal against a build of the plug-in.
//
//   journal_replay FILE --plugin PATH [--timeout-ms N]
//
// Loads the plug-in at PATH over a vendor library that answers from the
// journal (replay_vendor.h), drives it with the recorded host requests and
// compares what the build does with what was recorded: the host events in
// order, field by field, the answers to the host's requests, and the
// requests the build makes of the vendor.
//
// The replay keeps the recorded order: a host request is made, and a vendor
// callback delivered, once everything recorded before it has happened again
// (or after N ms, default 5000, noted in the report); where a callback and
// a host request overlapped in the recording, the request's recorded answer
// decides which goes first (replay_order.h). Requests go
// on this thread, callbacks on one thread of the vendor's. A journal that
// ends early (cut by a crash) is replayed and compared up to its last
// complete entry.
//
// Not compared: the fields the plug-in fills from the clock (onLogin's
// loginStamp and tradingDay); texts naming the host program's directory are
// compared after it. The host's base information is the demo host's (China's
// exchanges).
//
// Exit status: 0 no difference, 1 differences (the first ones are shown), 2
// the journal or the plug-in cannot be used.
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/demo/plugin_library.h"
#include "host/demo/user_input.h"
#include "plugin/common.h"
#include "plugin/mutex.h"
#include "recorder/journal/journal_platform.h"
#include "recorder/journal/observers.h"
#include "recorder/tools/entry_text.h"
#include "recorder/tools/replay_order.h"
#include "recorder/tools/replay_vendor.h"

namespace kestrel {
namespace journal {
namespace {

// What the replay keeps in step, in the recorded order.
enum Step { kHostRequest, kHostAnswer, kHostEvent, kVendorRequest, kVendorCallback, kSteps };
using Counts = std::array<std::size_t, kSteps>;

const char* const kStepNames[] = {"host requests", "answers", "host events", "vendor requests",
                                  "vendor callbacks"};
constexpr int kShownDifferences = 5;

// Returns of callbacks are the host's and the plug-in's time, not a step.
int stepOf(const Entry& e) {
  if (e.kind == Kind::kDone) return -1;
  if (e.boundary == Boundary::kHost) {
    return e.kind == Kind::kRequest  ? kHostRequest
           : e.kind == Kind::kReturn ? kHostAnswer
                                     : kHostEvent;
  }
  if (e.boundary == Boundary::kVendor) {
    return e.kind == Kind::kRequest ? kVendorRequest : kVendorCallback;
  }
  return -1;
}

std::string directoryOf(const std::string& path) {
  const std::size_t cut = path.find_last_of("/\\");
  return cut == std::string::npos ? std::string() : path.substr(0, cut);
}

std::string where(const Entry& e) {
  return operationName(e) + " at offset " + std::to_string(e.offset);
}

Entry entryOf(const std::string& frame) {
  Entry entry;
  parsePayload(frame.data() + kFrameHeadSize, frame.size() - kFrameHeadSize, entry);
  return entry;
}

class Replay final : public replay::Driver {
 public:
  Replay(const JournalFile& file, const demo::PluginLibrary& plugin,
         std::chrono::milliseconds timeout)
      : file_(file), plugin_(plugin), timeout_(timeout), order_(replayOrder(file.entries)) {
    Counts before{};
    for (std::size_t index : order_) {
      const Entry& e = file_.entries[index];
      before_.push_back(before);
      const int step = stepOf(e);
      if (step >= 0) ++before[step];
      if (e.boundary == Boundary::kVendor && e.operation == op::kCreateApi) {
        creations_.push_back(e.object);
      }
    }
    total_ = before;
  }

  void run() {
    replay::setDriver(this);
    std::thread vendor([this] { play(kVendorCallback, &Replay::deliver); });
    play(kHostRequest, &Replay::request);
    vendor.join();
    // What the last requests and callbacks still bring.
    MutexLock lock(mutex_);
    const auto deadline = std::chrono::steady_clock::now() + timeout_;
    while ((observed_[kHostEvent].size() < total_[kHostEvent] ||
            observed_[kVendorRequest].size() < total_[kVendorRequest]) &&
           std::chrono::steady_clock::now() < deadline) {
      mutex_.waitUntil(changed_, deadline);
    }
    replay::setDriver(nullptr);
  }

  // Prints the differences (or that there are none); the exit status. A
  // journal that ends early (cut by a crash) is compared up to its end: what
  // the replay did beyond what the journal holds came after the cut.
  int report(const std::string& path) {
    MutexLock lock(mutex_);
    EntryText text(file_.startMicros);
    const bool cut = !file_.problem.empty();
    int differences = 0;
    Counts pastTheCut{};
    for (int step : {kHostEvent, kHostAnswer, kVendorRequest}) {
      std::vector<const Entry*> recorded;
      for (const Entry& e : file_.entries) {
        if (stepOf(e) == step) recorded.push_back(&e);
      }
      const std::vector<Entry>& replayed = observed_[step];
      if (cut && replayed.size() > recorded.size()) {
        pastTheCut[step] = replayed.size() - recorded.size();
      }
      const std::size_t compared =
          cut ? recorded.size() : std::max(recorded.size(), replayed.size());
      for (std::size_t i = 0; i < compared; ++i) {
        const std::string found = difference(text, i < recorded.size() ? recorded[i] : nullptr,
                                             i < replayed.size() ? &replayed[i] : nullptr);
        if (found.empty()) continue;
        if (++differences <= kShownDifferences) {
          std::printf("difference in %s, %zu of %zu recorded:\n%s", kStepNames[step], i + 1,
                      recorded.size(), found.c_str());
        }
      }
    }
    for (const std::string& note : notes_) std::printf("note: %s\n", note.c_str());
    if (cut) {
      std::printf(
          "note: the journal ends early (%s): the replay stopped at its last complete entry; "
          "what the replay did after it (%zu host events, %zu answers, %zu vendor requests) "
          "is not compared\n",
          file_.problem.c_str(), pastTheCut[kHostEvent], pastTheCut[kHostAnswer],
          pastTheCut[kVendorRequest]);
    }
    if (differences > 0) {
      std::printf("journal_replay: %d differences (the first %d shown) replaying against %s\n",
                  differences, std::min(differences, kShownDifferences), path.c_str());
      return 1;
    }
    std::printf(
        "journal_replay: no difference: %zu host events, %zu answers and %zu vendor requests as "
        "recorded%s, replaying against %s\n",
        total_[kHostEvent], total_[kHostAnswer], total_[kVendorRequest],
        cut ? " up to the cut" : "", path.c_str());
    return 0;
  }

  // Ends the sessions that the journal leaves open (it was cut, or the host
  // never released them), so that none outlives the replay; what they do now
  // is not observed.
  void endOpenSessions() {
    {
      MutexLock lock(mutex_);
      closing_ = true;
    }
    for (const auto& [object, session] : sessions_) (void)session->release();
    sessions_.clear();
  }

  uint32_t created(uint32_t n) override { return n <= creations_.size() ? creations_[n - 1] : 0; }
  // The requests the build makes of the vendor.
  void append(std::string& frame) override { observe(kVendorRequest, frame); }
  void countLost() override {}

  void observe(int step, const std::string& frame) {
    MutexLock lock(mutex_);
    if (closing_) return;
    observed_[step].push_back(entryOf(frame));
    ++done_[step];
    changed_.notify_all();
  }

 private:
  // Waits until everything before the entry at `position` in the replay's
  // order has happened again.
  void waitForTurn(std::size_t position) {
    MutexLock lock(mutex_);
    const Counts& before = before_[position];
    const auto deadline = std::chrono::steady_clock::now() + timeout_;
    for (std::string missing; !(missing = stillToCome(before)).empty();) {
      if (std::chrono::steady_clock::now() >= deadline) {
        return notes_.push_back(where(file_.entries[order_[position]]) + " went on after " +
                                std::to_string(timeout_.count()) + " ms without:" + missing);
      }
      mutex_.waitUntil(changed_, deadline);
    }
  }

  // What of `before` has not happened again yet; empty once it all has.
  std::string stillToCome(const Counts& before) const KS_REQUIRES(mutex_) {
    std::string missing;
    for (int s = 0; s < kSteps; ++s) {
      if (done_[s] < before[s]) {
        missing += " " + std::to_string(before[s] - done_[s]) + " " + kStepNames[s];
      }
    }
    return missing;
  }

  void reached(int step) {
    MutexLock lock(mutex_);
    ++done_[step];
    changed_.notify_all();
  }

  void note(const std::string& text) {
    MutexLock lock(mutex_);
    notes_.push_back(text);
  }

  // Makes the recorded entries of one step (host requests on this thread,
  // vendor callbacks on the vendor's) in order, each in its turn. An entry
  // counts as done once it returned: a callback that comes after a host
  // request in the replay's order is delivered once the request returned, as
  // the plug-in's requests never wait for a callback.
  void play(int step, void (Replay::*act)(const Entry&)) {
    for (std::size_t position = 0; position < order_.size(); ++position) {
      const Entry& e = file_.entries[order_[position]];
      if (stepOf(e) != step) continue;
      waitForTurn(position);
      try {
        (this->*act)(e);
      } catch (const std::exception& error) {
        note(where(e) + ": " + error.what());
      }
      reached(step);
    }
  }

  void request(const Entry& e) {
    std::string answer;
    FrameWriter writer(answer);
    writer.begin(Boundary::kHost, Kind::kReturn, e.operation, e.object, e.request);
    if (e.operation == op::kGetPluginInfo) {
      put(writer, plugin_.getPluginInfo()());
      return observe(kHostAnswer, answer);
    }
    if (e.operation == op::kCreateTradeSession) {
      hosts_[e.object].reset(new ObservedSpi(hostEvents_, e.object));
      sessions_[e.object] = plugin_.createTradeSession()();
      return;
    }
    const auto found = sessions_.find(e.object);
    if (found == sessions_.end()) {
      note("no session #" + std::to_string(e.object) + " for " + operationName(e));
      if (e.operation != op::kDestroySession) observe(kHostAnswer, answer);
      return;
    }
    ITradeSession* session = found->second;
    ValueReader values(e.values);
    if (e.operation == op::kDestroySession) {
      sessions_.erase(found);
      delete session;
    } else if (e.operation == interfaces::session::registerSpi::kSlot) {
      put(writer, session->registerSpi(values.boolean() ? hosts_[e.object].get() : nullptr));
    } else {
      const Operation* operation = findOperation(e.boundary, e.kind, e.operation);
      if (operation == nullptr) throw FormatError("unknown " + operationName(e));
      if (e.operation == interfaces::session::release::kSlot) sessions_.erase(found);
      operation->invoke(session, values, &writer);
    }
    if (e.operation != op::kDestroySession) observe(kHostAnswer, answer);
  }

  void deliver(const Entry& e) {
    if (!replay::deliver(e.object, e.operation, e.values)) {
      note(where(e) + " not delivered: API object #" + std::to_string(e.object) +
           " has no callback object or was shut down");
    }
  }

  // The fields that must agree: those the plug-in takes from the clock left
  // out, the host program's directory taken out of texts.
  Fields comparable(const Entry& e, const std::string& programDirectory) const {
    Fields out;
    for (Field& f : EntryText::fieldsOf(e)) {
      if (e.is(Boundary::kHost, Kind::kCallback) &&
          e.operation == interfaces::spi::onLogin::kSlot &&
          (f.name == "loginStamp" || f.name == "tradingDay")) {
        continue;
      }
      if (f.text && !programDirectory.empty() && f.value.rfind(programDirectory, 0) == 0) {
        f.value = "<program directory>" + f.value.substr(programDirectory.size());
      }
      out.push_back(std::move(f));
    }
    return out;
  }

  // Empty when the two agree; otherwise what differs.
  std::string difference(EntryText& text, const Entry* recorded, const Entry* replayed) const {
    const std::string replayDirectory = directoryOf(programPath());
    if (replayed == nullptr)
      return "  recorded  " + text.line(*recorded) + "\n  replayed  nothing\n";
    if (recorded == nullptr) {
      return "  recorded  nothing\n  replayed  " + operationName(*replayed) + "\n";
    }
    const Fields want = comparable(*recorded, directoryOf(file_.program));
    const Fields got = comparable(*replayed, replayDirectory);
    std::string changes;
    if (operationName(*recorded) != operationName(*replayed) ||
        recorded->object != replayed->object || recorded->request != replayed->request) {
      changes += "  replayed  " + operationName(*replayed) + " #" +
                 std::to_string(replayed->object) + " req=" + std::to_string(replayed->request) +
                 "\n";
    }
    for (std::size_t i = 0; i < std::max(want.size(), got.size()); ++i) {
      const std::string a = i < want.size() ? want[i].name + "=" + want[i].value : "(none)";
      const std::string b = i < got.size() ? got[i].name + "=" + got[i].value : "(none)";
      if (a != b) changes += "    " + a + "  ->  " + b + "\n";
    }
    return changes.empty() ? changes : "  recorded  " + text.line(*recorded) + "\n" + changes;
  }

  // Constant after construction.
  const JournalFile& file_;
  const demo::PluginLibrary& plugin_;
  const std::chrono::milliseconds timeout_;
  const std::vector<std::size_t> order_;  // the entries in the order they are replayed
  std::vector<Counts> before_;  // per position in order_: how many of each step come before it
  Counts total_{};
  std::vector<uint32_t> creations_;  // the recorded API objects, in creation order

  // The host thread's.
  std::map<uint32_t, ITradeSession*> sessions_;
  std::map<uint32_t, std::unique_ptr<ObservedSpi>> hosts_;  // kept to the end

  // The host events the build makes, without their returns (the host's time).
  struct HostEvents final : EntrySink {
    explicit HostEvents(Replay& r) : replay(r) {}
    void append(std::string& frame) override {
      if (entryOf(frame).kind != Kind::kDone) replay.observe(kHostEvent, frame);
    }
    void countLost() override {}
    Replay& replay;
  } hostEvents_{*this};

  mutable Mutex mutex_;
  std::condition_variable changed_;
  Counts done_ KS_GUARDED_BY(mutex_){};
  std::array<std::vector<Entry>, kSteps> observed_ KS_GUARDED_BY(mutex_);
  std::vector<std::string> notes_ KS_GUARDED_BY(mutex_);
  // The replay is over: nothing more is observed.
  bool closing_ KS_GUARDED_BY(mutex_) = false;
};

constexpr long long kMostTimeoutMs = 3600000;

int usage() {
  std::fprintf(stderr,
               "usage: journal_replay FILE --plugin PATH [--timeout-ms N]\n"
               "  --timeout-ms N  longest wait for one recorded step, 1 to %lld (default 5000)\n",
               kMostTimeoutMs);
  return 2;
}

// The first entry whose values are not its operation's, as a message naming
// it and its offset; empty when every entry reads. The replay hands values
// to the plug-in and compares them field by field: it checks them all before
// it starts.
std::string firstMalformed(const JournalFile& file) {
  for (const Entry& e : file.entries) {
    try {
      EntryText::fieldsOf(e);
    } catch (const FormatError& error) {
      return "entry at offset " + std::to_string(e.offset) + " (" + operationName(e) +
             "): " + error.what();
    }
  }
  return std::string();
}

}  // namespace
}  // namespace journal
}  // namespace kestrel

int main(int argc, char** argv) {
  using namespace kestrel::journal;
  std::string path;
  std::string plugin;
  long long timeout = 5000;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--plugin" && i + 1 < argc) {
      plugin = argv[++i];
    } else if (arg == "--timeout-ms" && i + 1 < argc) {
      if (!demo::parseWholeNumber(argv[++i], 1, kMostTimeoutMs, timeout)) {
        std::fprintf(stderr,
                     "journal_replay: --timeout-ms takes a whole number from 1 to %lld: %s\n",
                     kMostTimeoutMs, argv[i]);
        return usage();
      }
    } else if (path.empty() && arg[0] != '-') {
      path = arg;
    } else {
      return usage();
    }
  }
  if (path.empty() || plugin.empty()) return usage();

  JournalFile file;
  if (!readJournal(path, file)) {
    std::fprintf(stderr, "journal_replay: %s\n", file.problem.c_str());
    return 2;
  }
  const std::string malformed = firstMalformed(file);
  if (!malformed.empty()) {
    std::fprintf(stderr, "journal_replay: %s: %s\n", path.c_str(), malformed.c_str());
    return 2;
  }
  if (!file.problem.empty()) {
    std::fprintf(stderr, "journal_replay: %s: %s; replaying the %zu entries before it\n",
                 path.c_str(), file.problem.c_str(), file.entries.size());
  }
  bool host = false;
  bool vendor = false;
  for (const Entry& e : file.entries) {
    host = host || e.boundary == Boundary::kHost;
    vendor = vendor || e.boundary == Boundary::kVendor;
    if (e.kind == Kind::kGap) {
      std::fprintf(stderr,
                   "journal_replay: %s lost entries at offset %llu (its queue was full); "
                   "the replay may differ after it\n",
                   path.c_str(), static_cast<unsigned long long>(e.offset));
    }
  }
  if (!host || !vendor) {
    std::fprintf(stderr,
                 "journal_replay: %s holds no %s boundary; a replay needs both recorded (the "
                 "recording plug-in and the recording vendor library)\n",
                 path.c_str(), host ? "vendor" : "host");
    return 2;
  }

  kestrel::addChinaExchanges(*kestrel::gBaseInformationMap);
  demo::PluginLibrary library;
  if (!library.load(plugin)) {
    std::fprintf(stderr, "journal_replay: %s\n", library.error().c_str());
    return 2;
  }
  Replay replay(file, library, std::chrono::milliseconds(timeout));
  replay.run();
  replay.endOpenSessions();
  return replay.report(plugin);
}
