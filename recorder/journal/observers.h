// The observers of both boundaries: implementations of an interface that note
// each call as a journal entry and hand it on, unchanged and on the caller's
// thread. Each overrides every operation of its interface's table
// (plugin/interface_table.h), which also says what the entry's request
// number is and which arguments are secrets.
//   ObservedSpi       host events: noted, made on the host's object (when one
//                     is set), their return noted
//   ObservedCallback  vendor callbacks: the same, toward the plug-in's object
//   ObservedApi       vendor requests: noted, then handed to the next library
// The recorders put them between the plug-in and its host and vendor;
// journal_replay uses them to collect what a build of the plug-in does.
// Record pointers are handed on as they came.
#ifndef KESTREL_RECORDER_JOURNAL_OBSERVERS_H_
#define KESTREL_RECORDER_JOURNAL_OBSERVERS_H_

#include <atomic>
#include <cstdint>
#include <type_traits>

#include "plugin/interface_table.h"
#include "recorder/journal/operations.h"

namespace kestrel {
namespace journal {

// A callback interface's observer: ITradeSessionSpi's or XtTraderApiCallback's.
template <typename Interface>
class CallbackObserver : public Interface {
 public:
  // The object to hand callbacks to; null stops the forwarding (they are
  // still noted). Safe from any thread.
  void setTarget(Interface* target) { target_.store(target); }

 protected:
  // `object` is the journal's number of the session or API object served.
  CallbackObserver(EntrySink& sink, uint32_t object) : sink_(sink), object_(object) {}

  template <typename Op, typename... A>
  void forward(A&... arguments) {
    forwardCallback<Op>(sink_, object_, target_.load(), arguments...);
  }

 private:
  EntrySink& sink_;
  const uint32_t object_;
  std::atomic<Interface*> target_{nullptr};
};

class ObservedSpi final : public CallbackObserver<ITradeSessionSpi> {
 public:
  ObservedSpi(EntrySink& sink, uint32_t object) : CallbackObserver(sink, object) {}

#define KS_OBSERVE(slot, R, name, types, names) \
  R name(KS_PARAMETERS types) override { forward<interfaces::spi::name>(KS_ARGUMENTS types); }
  KS_TRADE_SESSION_SPI_TABLE(KS_OBSERVE, KS_NO_ROW)
#undef KS_OBSERVE
};

class ObservedCallback final : public CallbackObserver<xti::XtTraderApiCallback> {
 public:
  ObservedCallback(EntrySink& sink, uint32_t object) : CallbackObserver(sink, object) {}

#define KS_OBSERVE(slot, R, name, types, names) \
  R name(KS_PARAMETERS types) override { forward<interfaces::callback::name>(KS_ARGUMENTS types); }
  KS_XT_TRADER_API_CALLBACK_TABLE(KS_OBSERVE, KS_NO_ROW)
#undef KS_OBSERVE
};

class ObservedApi : public xti::XtTraderApi {
 public:
#define KS_OBSERVE(slot, R, name, types, names) \
  R name(KS_PARAMETERS types) override { forward<interfaces::api::name>(KS_ARGUMENTS types); }
  KS_XT_TRADER_API_TABLE(KS_OBSERVE, KS_NO_ROW)
#undef KS_OBSERVE

 protected:
  // `object` is the journal's number of this API object; `next`, not owned,
  // receives every request once it is noted (none when null).
  ObservedApi(EntrySink& sink, uint32_t object, xti::XtTraderApi* next)
      : sink_(sink), object_(object), next_(next) {}

  // What the next library gets from setCallback() for the plug-in's object.
  virtual xti::XtTraderApiCallback* callbackFor(xti::XtTraderApiCallback* callback) {
    return callback;
  }
  // Runs after shutdown() was noted and handed on.
  virtual void stopped() {}
  // Notes the end of the object; subclasses call it from their destructor.
  void noteDestroyed() {
    record(sink_, Boundary::kVendor, Kind::kRequest, op::kDestroyApi, object_, 0);
  }

 private:
  template <typename Op, typename... A>
  void forward(A&... arguments) {
    recordCall<Op>(sink_, Kind::kRequest, object_, arguments...);
    if constexpr (std::is_same<Op, interfaces::api::setCallback>::value) {
      xti::XtTraderApiCallback* forwarded = callbackFor(arguments...);
      if (next_ != nullptr) next_->setCallback(forwarded);
    } else if (next_ != nullptr) {
      (next_->*Op::kMember)(arguments...);
    }
    if constexpr (std::is_same<Op, interfaces::api::shutdown>::value) stopped();
  }

  EntrySink& sink_;
  const uint32_t object_;
  xti::XtTraderApi* const next_;
};

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_OBSERVERS_H_
