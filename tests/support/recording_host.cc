#include "tests/support/recording_host.h"

#include <utility>

namespace kestrel {
namespace testing {
namespace {

HostEvent makeEvent(const char* name, const ResultStatus& status, int requestId = 0,
                    bool isLast = false) {
  HostEvent event;
  event.name = name;
  event.status = status;
  event.requestId = requestId;
  event.isLast = isLast;
  event.thread = std::this_thread::get_id();
  event.at = std::chrono::steady_clock::now();
  return event;
}

template <typename Record>
HostEvent recordEvent(const char* name, const Record* record, const ResultStatus& status,
                      int requestId, bool isLast, std::optional<Record> HostEvent::*slot) {
  HostEvent event = makeEvent(name, status, requestId, isLast);
  event.hasRecord = record != nullptr;
  if (record != nullptr) event.*slot = *record;
  return event;
}

}  // namespace

void RecordingHost::onConnected(const ResultStatus& status) {
  add(makeEvent("onConnected", status));
}
void RecordingHost::onLogin(const ResultStatus& status, const LoginReply& reply) {
  HostEvent event = makeEvent("onLogin", status);
  event.hasRecord = true;
  event.login = reply;
  add(std::move(event));
}
void RecordingHost::onLogout(const ResultStatus& status) { add(makeEvent("onLogout", status)); }
void RecordingHost::onDisconnected(const ResultStatus& status) {
  add(makeEvent("onDisconnected", status));
}
void RecordingHost::onOrderAccepted(const OrderAcceptedRecord* r, const ResultStatus& s, int id,
                                    bool last) {
  add(recordEvent("onOrderAccepted", r, s, id, last, &HostEvent::accepted));
}
void RecordingHost::onOrderRejected(const OrderRecord* r, const ResultStatus& s, int id,
                                    bool last) {
  add(recordEvent("onOrderRejected", r, s, id, last, &HostEvent::order));
}
void RecordingHost::onOrderFilled(const OrderFilledRecord* r, const ResultStatus& s, int id,
                                  bool last) {
  add(recordEvent("onOrderFilled", r, s, id, last, &HostEvent::filled));
}
void RecordingHost::onOrderCanceled(const OrderRecord* r, const ResultStatus& s, int id,
                                    bool last) {
  add(recordEvent("onOrderCanceled", r, s, id, last, &HostEvent::order));
}
void RecordingHost::onFill(const FillRecord* r, const ResultStatus& s, int id, bool last) {
  add(recordEvent("onFill", r, s, id, last, &HostEvent::fill));
}
void RecordingHost::onOrdersResponse(const OrderDetailRecord* r, const ResultStatus& s, int id,
                                     bool last) {
  add(recordEvent("onOrdersResponse", r, s, id, last, &HostEvent::orderDetail));
}
void RecordingHost::onFillsResponse(const FillRecord* r, const ResultStatus& s, int id, bool last) {
  add(recordEvent("onFillsResponse", r, s, id, last, &HostEvent::fill));
}
void RecordingHost::onPositionsResponse(const PositionRecord* r, const ResultStatus& s, int id,
                                        bool last) {
  add(recordEvent("onPositionsResponse", r, s, id, last, &HostEvent::position));
}
void RecordingHost::onPositionDetailsResponse(const PositionDetailRecord* r, const ResultStatus& s,
                                              int id, bool last) {
  add(recordEvent("onPositionDetailsResponse", r, s, id, last, &HostEvent::positionDetail));
}
void RecordingHost::onAccountFundsResponse(const AccountFunds* r, const ResultStatus& s, int id,
                                           bool last) {
  add(recordEvent("onAccountFundsResponse", r, s, id, last, &HostEvent::funds));
}

void RecordingHost::add(HostEvent event) {
  std::function<void(const HostEvent&)> hook;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(event);
    hook = afterEvent_;
    changed_.notify_all();
  }
  if (hook) hook(event);
}

std::vector<HostEvent> RecordingHost::events() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_;
}

std::vector<HostEvent> RecordingHost::eventsNamed(const std::string& name) const {
  std::vector<HostEvent> out;
  std::lock_guard<std::mutex> lock(mutex_);
  for (const HostEvent& event : events_) {
    if (event.name == name) out.push_back(event);
  }
  return out;
}

std::size_t RecordingHost::count(const std::string& name) const { return eventsNamed(name).size(); }

std::size_t RecordingHost::total() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_.size();
}

bool RecordingHost::waitFor(const std::string& name, std::size_t n,
                            std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] {
    std::size_t seen = 0;
    for (const HostEvent& event : events_) seen += event.name == name;
    return seen >= n;
  });
}

void RecordingHost::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  events_.clear();
}

void RecordingHost::setAfterEvent(std::function<void(const HostEvent&)> hook) {
  std::lock_guard<std::mutex> lock(mutex_);
  afterEvent_ = std::move(hook);
}

}  // namespace testing
}  // namespace kestrel
