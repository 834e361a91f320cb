// The recording plug-in: built under the plug-in's name with its exports,
// installed in place of it. It loads the real plug-in under another name
// (KS_JOURNAL_REAL_PLUGIN, or KSTraderAPIPluginXT_real beside itself) and
// hands the host a RecordingSession around each of the real plug-in's
// sessions:
//   - every ITradeSession operation is recorded with its arguments, forwarded
//     unchanged on the host's thread, and its answer recorded;
//   - the real session gets an ObservedSpi instead of the host's callback
//     object, which records each event, makes it on the host's object on the
//     same thread and records its return.
// release() returns once the session's entries are written, so that a journal
// holds every session the host ended even if the process dies afterwards.
// Without the real plug-in each request answers code -1 with the reason.
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "plugin/plugin_entry.h"
#include "recorder/journal/journal_platform.h"
#include "recorder/journal/observers.h"

namespace kestrel {
namespace journal {
namespace {

struct RealPlugin {
  CreateTradeSessionFunction create = nullptr;
  GetPluginInfoFunction info = nullptr;
  std::string problem;
};

const RealPlugin& realPlugin() {
  static const RealPlugin real = [] {
    static const char anchor = 0;
    const std::string path = realLibraryPath(&anchor, "KS_JOURNAL_REAL_PLUGIN");
    RealPlugin r;
    void* library = openLibrary(path, r.problem);
    if (library != nullptr) {
      r.create = reinterpret_cast<CreateTradeSessionFunction>(
          findSymbol(library, kCreateTradeSessionName));
      r.info = reinterpret_cast<GetPluginInfoFunction>(findSymbol(library, kGetPluginInfoName));
      if (r.create == nullptr || r.info == nullptr) {
        r = RealPlugin();
        r.problem = "it does not export CreateTradeSession and GetPluginInfo";
      }
    }
    if (!r.problem.empty()) {
      r.problem = "recording plug-in: cannot load the real plug-in " + path + ": " + r.problem;
      std::fprintf(stderr, "%s\n", r.problem.c_str());
    }
    return r;
  }();
  return real;
}

// One of the real plug-in's sessions, recorded.
class RecordingSession final : public ITradeSession {
 public:
  RecordingSession(ITradeSession* real, uint32_t object)
      : journal_(Journal::process()), real_(real), object_(object), spi_(journal_, object) {}

  ~RecordingSession() override {
    if (released_) return;
    record(journal_, Boundary::kHost, Kind::kRequest, op::kDestroySession, object_, 0);
    delete real_;  // deleted without release(): the real session stops its vendor first
  }

#define KS_RECORD(slot, R, name, types, names)                  \
  R name(KS_PARAMETERS types) override {                        \
    return call<interfaces::session::name>(KS_ARGUMENTS types); \
  }
  KS_TRADE_SESSION_TABLE(KS_RECORD, KS_NO_ROW)
#undef KS_RECORD

 private:
  // Records the request with its arguments, makes it on the real session,
  // records the answer (the result and what the call filled in) and returns
  // it. registerSpi() hands the real session the recording callback object
  // (the host's is recorded: whether there is one); release() returns once
  // the session's entries are written, and ends this object.
  template <typename Op, typename... A>
  typename Op::Result call(A&... arguments) {
    recordCall<Op>(journal_, Kind::kRequest, object_, arguments...);
    const auto result =
        real_ != nullptr ? handOn<Op>(arguments...) : unavailable<typename Op::Result>();
    recordAnswer<Op>(journal_, object_, result, arguments...);
    if constexpr (std::is_same<Op, interfaces::session::release>::value) {
      released_ = true;  // the real session destroyed itself
      journal_.flush();
      delete this;
    }
    return result;
  }

  template <typename Op, typename... A>
  typename Op::Result handOn(A&... arguments) {
    if constexpr (std::is_same<Op, interfaces::session::registerSpi>::value) {
      spi_.setTarget(arguments...);
      return real_->registerSpi((arguments != nullptr ? &spi_ : nullptr)...);
    } else {
      return (real_->*Op::kMember)(arguments...);
    }
  }

  template <typename R>
  R unavailable() const {
    if constexpr (std::is_same<R, ResultStatus>::value) {
      return ResultStatus{kRequestFailed, realPlugin().problem};
    } else {
      return R();
    }
  }

  Journal& journal_;
  ITradeSession* const real_;  // owned until release() destroys it
  const uint32_t object_;
  ObservedSpi spi_;  // the host's callback object, recorded
  bool released_ = false;
};

}  // namespace
}  // namespace journal
}  // namespace kestrel

extern "C" KS_PLUGIN_API kestrel::ITradeSession* CreateTradeSession() {
  using namespace kestrel::journal;
  const RealPlugin& real = realPlugin();
  // The real plug-in's std::bad_alloc reaches the host as it would without the recorder.
  std::unique_ptr<kestrel::ITradeSession> session(real.create != nullptr ? real.create() : nullptr);
  Journal& journal = Journal::process();
  const uint32_t object = journal.newObject();
  record(journal, Boundary::kHost, Kind::kRequest, op::kCreateTradeSession, object, 0,
         session != nullptr);
  auto* recording = new RecordingSession(session.get(), object);
  session.release();
  return recording;
}

extern "C" KS_PLUGIN_API const char* GetPluginInfo() {
  using namespace kestrel::journal;
  const RealPlugin& real = realPlugin();
  Journal& journal = Journal::process();
  record(journal, Boundary::kHost, Kind::kRequest, op::kGetPluginInfo, 0, 0);
  const char* info = real.info != nullptr ? real.info() : real.problem.c_str();
  record(journal, Boundary::kHost, Kind::kReturn, op::kGetPluginInfo, 0, 0, info);
  return info;
}
