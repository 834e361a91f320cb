// RecordingHost: a host callback object that records every call with deep
// copies of its arguments. Thread-safe; waits use a condition variable.
#ifndef KESTREL_TESTS_SUPPORT_RECORDING_HOST_H_
#define KESTREL_TESTS_SUPPORT_RECORDING_HOST_H_

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "plugin/common.h"
#include "plugin/trade_session_spi.h"

namespace kestrel {
namespace testing {

struct HostEvent {
  std::string name;  // the host operation, e.g. "onOrderRejected"
  ResultStatus status;
  int requestId = 0;
  bool isLast = false;
  bool takesRecord = false;  // a record-carrying operation
  bool hasRecord = false;    // ... called with a record
  std::thread::id thread;
  std::chrono::steady_clock::time_point at;
  std::optional<LoginReply> login;
  std::optional<OrderRecord> order;  // onOrderRejected, onOrderCanceled
  std::optional<OrderAcceptedRecord> accepted;
  std::optional<OrderFilledRecord> filled;
  std::optional<FillRecord> fill;  // onFill, onFillsResponse
  std::optional<OrderDetailRecord> orderDetail;
  std::optional<PositionRecord> position;
  std::optional<PositionDetailRecord> positionDetail;
  std::optional<AccountFunds> funds;

  // The client id of an order or fill record; null for other events.
  const ClientId* clientId() const {
    return order         ? &order->clientId
           : accepted    ? &accepted->clientId
           : filled      ? &filled->clientId
           : fill        ? &fill->clientId
           : orderDetail ? &orderDetail->clientId
                         : nullptr;
  }

  // The account header of a record that has one; null for other events.
  const AccountHeader* header() const {
    return order         ? &order->header
           : accepted    ? &accepted->header
           : filled      ? &filled->header
           : fill        ? &fill->header
           : orderDetail ? &orderDetail->header
           : position    ? &position->header
           : funds       ? &funds->header
                         : nullptr;
  }

  // One line for comparisons: the operation, code, request number, "null"
  // for a missing record or the record's client id, "more" when not last,
  // and the status message in UTF-8.
  std::string summary() const {
    std::string text = name + " " + std::to_string(status.code);
    if (takesRecord) text += " " + std::to_string(requestId) + (isLast ? "" : " more");
    if (takesRecord && !hasRecord) text += " null";
    if (const ClientId* id = clientId()) text += " " + id->prefix + "/" + id->serial;
    if (!status.message.empty()) text += " " + CodeConvert::gbk_to_utf8(status.message);
    return text;
  }
};

class RecordingHost : public ITradeSessionSpi {
 public:
  void onConnected(const ResultStatus& s) override { add(event("onConnected", s)); }
  void onLogin(const ResultStatus& s, const LoginReply& reply) override {
    HostEvent e = event("onLogin", s);
    e.login = reply;
    add(std::move(e));
  }
  void onLogout(const ResultStatus& s) override { add(event("onLogout", s)); }
  void onDisconnected(const ResultStatus& s) override { add(event("onDisconnected", s)); }
#define KS_RECORD(op, Record, slot)                                             \
  void op(const Record* r, const ResultStatus& s, int id, bool last) override { \
    HostEvent e = event(#op, s);                                                \
    e.requestId = id;                                                           \
    e.isLast = last;                                                            \
    e.takesRecord = true;                                                       \
    e.hasRecord = r != nullptr;                                                 \
    if (r != nullptr) e.slot = *r;                                              \
    add(std::move(e));                                                          \
  }
  KS_RECORD(onOrderAccepted, OrderAcceptedRecord, accepted)
  KS_RECORD(onOrderRejected, OrderRecord, order)
  KS_RECORD(onOrderFilled, OrderFilledRecord, filled)
  KS_RECORD(onOrderCanceled, OrderRecord, order)
  KS_RECORD(onFill, FillRecord, fill)
  KS_RECORD(onOrdersResponse, OrderDetailRecord, orderDetail)
  KS_RECORD(onFillsResponse, FillRecord, fill)
  KS_RECORD(onPositionsResponse, PositionRecord, position)
  KS_RECORD(onPositionDetailsResponse, PositionDetailRecord, positionDetail)
  KS_RECORD(onAccountFundsResponse, AccountFunds, funds)
#undef KS_RECORD

  std::vector<HostEvent> events() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
  }
  std::vector<HostEvent> eventsNamed(const std::string& name) const {
    std::vector<HostEvent> out;
    for (HostEvent& e : events()) {
      if (e.name == name) out.push_back(std::move(e));
    }
    return out;
  }
  std::size_t count(const std::string& name) const { return eventsNamed(name).size(); }
  std::size_t total() const { return events().size(); }
  // The summaries of all events, joined by "; ".
  std::string summary() const {
    std::string text;
    for (const HostEvent& e : events()) text += (text.empty() ? "" : "; ") + e.summary();
    return text;
  }
  // Blocks until `name` was called at least `n` times.
  void waitFor(const std::string& name, std::size_t n = 1) const {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] {
      std::size_t seen = 0;
      for (const HostEvent& e : events_) seen += e.name == name;
      return seen >= n;
    });
  }
  // Blocks until an event for which `match` holds was recorded; returns the
  // first such event.
  HostEvent waitForEvent(const std::function<bool(const HostEvent&)>& match) const {
    std::unique_lock<std::mutex> lock(mutex_);
    const HostEvent* found = nullptr;
    changed_.wait(lock, [&] {
      for (const HostEvent& e : events_) {
        if (match(e)) {
          found = &e;
          return true;
        }
      }
      return false;
    });
    return *found;
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.clear();
  }
  // Runs after each recorded event, on the calling (vendor) thread; may throw
  // to play a misbehaving host.
  void setAfterEvent(std::function<void(const HostEvent&)> hook) {
    std::lock_guard<std::mutex> lock(mutex_);
    afterEvent_ = std::move(hook);
  }

 private:
  static HostEvent event(const char* name, const ResultStatus& s) {
    HostEvent e;
    e.name = name;
    e.status = s;
    e.thread = std::this_thread::get_id();
    e.at = std::chrono::steady_clock::now();
    return e;
  }
  void add(HostEvent e) {
    std::function<void(const HostEvent&)> hook;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      events_.push_back(e);
      hook = afterEvent_;
      changed_.notify_all();
    }
    if (hook) hook(e);
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<HostEvent> events_;
  std::function<void(const HostEvent&)> afterEvent_;
};

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_RECORDING_HOST_H_
