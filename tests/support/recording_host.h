// RecordingHost: a host callback object that records every call with deep
// copies of its arguments, for tests. Thread-safe; waits use a condition
// variable, never sleeps.
#ifndef KESTREL_TESTS_SUPPORT_RECORDING_HOST_H_
#define KESTREL_TESTS_SUPPORT_RECORDING_HOST_H_

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "plugin/trade_session_spi.h"

namespace kestrel {
namespace testing {

struct HostEvent {
  std::string name;  // the host operation, e.g. "onOrderRejected"
  ResultStatus status;
  int requestId = 0;
  bool isLast = false;
  bool hasRecord = false;  // record-carrying operations: false for a null record
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
};

class RecordingHost : public ITradeSessionSpi {
 public:
  void onConnected(const ResultStatus& status) override;
  void onLogin(const ResultStatus& status, const LoginReply& reply) override;
  void onLogout(const ResultStatus& status) override;
  void onDisconnected(const ResultStatus& status) override;
  void onOrderAccepted(const OrderAcceptedRecord* record, const ResultStatus& status, int requestId,
                       bool isLast) override;
  void onOrderRejected(const OrderRecord* record, const ResultStatus& status, int requestId,
                       bool isLast) override;
  void onOrderFilled(const OrderFilledRecord* record, const ResultStatus& status, int requestId,
                     bool isLast) override;
  void onOrderCanceled(const OrderRecord* record, const ResultStatus& status, int requestId,
                       bool isLast) override;
  void onFill(const FillRecord* record, const ResultStatus& status, int requestId,
              bool isLast) override;
  void onOrdersResponse(const OrderDetailRecord* record, const ResultStatus& status, int requestId,
                        bool isLast) override;
  void onFillsResponse(const FillRecord* record, const ResultStatus& status, int requestId,
                       bool isLast) override;
  void onPositionsResponse(const PositionRecord* record, const ResultStatus& status, int requestId,
                           bool isLast) override;
  void onPositionDetailsResponse(const PositionDetailRecord* record, const ResultStatus& status,
                                 int requestId, bool isLast) override;
  void onAccountFundsResponse(const AccountFunds* record, const ResultStatus& status, int requestId,
                              bool isLast) override;

  std::vector<HostEvent> events() const;
  std::vector<HostEvent> eventsNamed(const std::string& name) const;
  std::size_t count(const std::string& name) const;
  std::size_t total() const;
  // Waits until `name` was called at least `n` times; false on timeout.
  bool waitFor(const std::string& name, std::size_t n = 1,
               std::chrono::milliseconds timeout = std::chrono::seconds(5)) const;
  void clear();

  // Runs after each recorded event, on the calling (vendor) thread; may throw
  // to play a misbehaving host.
  void setAfterEvent(std::function<void(const HostEvent&)> hook);

 private:
  void add(HostEvent event);

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<HostEvent> events_;
  std::function<void(const HostEvent&)> afterEvent_;
};

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_RECORDING_HOST_H_
