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
  void connected(bool success, const std::string& text);
  void userLogin(const std::string& user, const std::string& password, int requestId,
                 const Outcome& outcome);
  void userLogout(const std::string& user, const std::string& password, int requestId,
                  const Outcome& outcome);
  void accountStatus(const std::string& account, int accountType, int status);
  void orderReply(int requestId, int orderId, const std::string& remark, const Outcome& outcome);
  void cancelReply(int requestId, const Outcome& outcome);   // onCancelReply
  void cancelReply2(int requestId, const Outcome& outcome);  // onCancelReply2
  void orderPush(const VendorOrder& order);
  void dealPush(const VendorDeal& deal);
  void orderErrorPush(const VendorOrderError& error);
  void cancelErrorPush(const VendorOrderError& error);

  // One reply per record, the last flagged; no records: one reply with a
  // null record and isLast true.
  template <class Record>
  void queryAnswer(QueryReply<Record> reply, const std::string& account, int requestId,
                   const std::vector<Record>& records) {
    if (records.empty()) {
      add([=](XtTraderApiCallback& cb) {
        (cb.*reply)(account.c_str(), requestId, nullptr, true, XtError());
      });
      return;
    }
    for (std::size_t i = 0; i < records.size(); ++i) {
      const Record record = records[i];
      const bool last = i + 1 == records.size();
      add([=](XtTraderApiCallback& cb) {
        (cb.*reply)(account.c_str(), requestId, &record, last, XtError());
      });
    }
  }
  // A failed query: one reply with a null record, isLast true and the error.
  template <class Record>
  void queryFailure(QueryReply<Record> reply, const std::string& account, int requestId,
                    const Outcome& outcome) {
    add([=](XtTraderApiCallback& cb) {
      (cb.*reply)(account.c_str(), requestId, nullptr, true, toError(outcome));
    });
  }

  bool empty() const { return events_.empty(); }
  std::size_t size() const { return events_.size(); }
  std::vector<Answer> take();

  static XtError toError(const Outcome& outcome);

 private:
  void add(Event event, AnswerKind kind = AnswerKind::kOther, AnswerName name = AnswerName()) {
    events_.push_back(Answer{std::move(event), kind, name});
  }
  void reply(const Outcome& outcome, AnswerName name, Event event) {
    add(std::move(event), outcome.errorId == 0 ? AnswerKind::kReply : AnswerKind::kFailedReply,
        name);
  }

  std::vector<Answer> events_;
};

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_OUTBOX_H_
