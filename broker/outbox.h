// Outbox: the callbacks that one request (or one market step) of the
// simulated counter owes its receiver, in the order they must arrive.
//
// The counter fills an Outbox while its owner holds the counter's lock; the
// owner delivers the events after letting go of it, on the callback thread or,
// in synchronous mode, on the caller's thread. Every event owns copies of its
// texts and records, so it can run long after the counter moved on. Not
// thread-safe by itself.
#ifndef KESTREL_BROKER_OUTBOX_H_
#define KESTREL_BROKER_OUTBOX_H_

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "plugin/xt_trader_api.h"

namespace xti {
namespace sim {

using Event = std::function<void(XtTraderApiCallback&)>;

// What an answer is, as far as the counter's chaos (broker/chaos.h) needs to
// know to hold it back, duplicate or drop it.
enum class AnswerKind {
  kOther,        // connection, login, logout, account status, query answers
  kReply,        // onOrderReply, onCancelReply(2) accepting the request
  kFailedReply,  // the same, refusing it
  kPush,         // onOrderPush, onDealPush
  kErrorPush,    // onOrderErrorPush, onCancelErrorPush
};

// What the chaos log names an answer by: its callback, and the vendor's
// request number and order number it carries (0 where it has none).
struct AnswerName {
  const char* callback = "";
  int requestId = 0;
  int orderId = 0;
};

struct Answer {
  Event call;
  AnswerKind kind = AnswerKind::kOther;
  AnswerName name;
  const char* fault = nullptr;  // what the chaos did to it, to log once it goes out
};

// A reply's outcome: error id 0 is success (sent without a text).
struct Outcome {
  int errorId = 0;
  std::string text;  // UTF-8
  static Outcome success() { return Outcome(); }
};

template <class Record>
using QueryReply = void (XtTraderApiCallback::*)(const char*, int, const Record*, bool,
                                                 const XtError&);

class Outbox {
 public:
  // The callback `callback` with `args`, which the event keeps copies of and
  // hands over as the callback takes them: a std::string as its C string, an
  // Outcome as the XtError it means, a record as a pointer to the copy, a
  // number as it is. `kind` is what the answer is to the chaos.
  template <class... Params, class... Args>
  void add(AnswerKind kind, void (XtTraderApiCallback::*callback)(Params...), Args... args) {
    events_.push_back(Answer{[=](XtTraderApiCallback& cb) { (cb.*callback)(pass(args)...); }, kind,
                             nameOf(callback, args...)});
  }

  // A reply's kind: accepting or refusing the request.
  static AnswerKind replyKind(const Outcome& outcome) {
    return outcome.errorId == 0 ? AnswerKind::kReply : AnswerKind::kFailedReply;
  }

  bool empty() const { return events_.empty(); }
  std::size_t size() const { return events_.size(); }
  std::vector<Answer> take();

  static XtError toError(const Outcome& outcome);

 private:
  // The replies', the pushes' and the error pushes' names; the others need none.
  template <class Callback, class... Args>
  static AnswerName nameOf(Callback, const Args&...) {
    return AnswerName();
  }
  template <class Callback>
  static AnswerName nameOf(Callback, int requestId, int orderId, const std::string&,
                           const Outcome&) {
    return AnswerName{"onOrderReply", requestId, orderId};
  }
  template <class Callback>
  static AnswerName nameOf(Callback callback, int requestId, const Outcome&) {
    const bool second = callback == &XtTraderApiCallback::onCancelReply2;
    return AnswerName{second ? "onCancelReply2" : "onCancelReply", requestId, 0};
  }
  template <class Callback>
  static AnswerName nameOf(Callback, const VendorOrder& order) {
    return AnswerName{"onOrderPush", 0, order.m_nOrderID};
  }
  template <class Callback>
  static AnswerName nameOf(Callback, const VendorDeal& deal) {
    return AnswerName{"onDealPush", 0, deal.m_nOrderID};
  }
  template <class Callback>
  static AnswerName nameOf(Callback callback, const VendorOrderError& error) {
    const bool cancel = callback == &XtTraderApiCallback::onCancelErrorPush;
    return AnswerName{cancel ? "onCancelErrorPush" : "onOrderErrorPush", error.m_nRequestID,
                      error.m_nOrderID};
  }

  static const char* pass(const std::string& text) { return text.c_str(); }
  static XtError pass(const Outcome& outcome) { return toError(outcome); }
  template <class T>
  static auto pass(const T& value) {
    if constexpr (std::is_arithmetic_v<T> || std::is_pointer_v<T>) {
      return value;
    } else {
      return &value;  // a record
    }
  }

  std::vector<Answer> events_;
};

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_OUTBOX_H_
