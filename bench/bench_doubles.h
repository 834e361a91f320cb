// Doubles for the benchmarks: a host that does nothing, a vendor library that
// does nothing, and the sink of the floor measurement.
//
// They live in their own translation unit (bench_doubles.cc) so that the
// compiler cannot see their bodies from the benchmark code: every call to
// them stays a real virtual call, as a call into the host or the vendor
// library is.
#ifndef KESTREL_BENCH_BENCH_DOUBLES_H_
#define KESTREL_BENCH_BENCH_DOUBLES_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "plugin/trade_session_spi.h"
#include "plugin/xt_trader_api.h"

namespace kestrel {
namespace bench {

// The floor: a host-like object whose one operation takes a vendor record.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  virtual void take(const xti::VendorOrder* order) = 0;
};

// A RecordSink whose take() does nothing. Defined in bench_doubles.cc.
RecordSink& nullRecordSink();

// A host callback object whose operations return at once. It only counts the
// fills (onFill) so that an end-to-end run can wait for its last order.
// Thread-safe.
class NullHost : public ITradeSessionSpi {
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
  void onAccountFundsResponse(const AccountFunds* record, const ResultStatus& status, int requestId,
                              bool isLast) override;

  // Blocks until onFill or onOrderFilled has been called `count` times in
  // all since construction.
  void waitForFilled(uint64_t count);
  // Blocks until onConnected or onDisconnected has been called.
  void waitForConnection();
  // Blocks until onLogin has been called.
  void waitForLogin();
  uint64_t filledCount() const { return filled_.load(std::memory_order_acquire); }

 private:
  void countFilled();

  std::atomic<uint64_t> filled_{0};
  std::atomic<uint64_t> waitingFor_{UINT64_MAX};
  std::atomic<bool> connectionEvent_{false};
  std::atomic<bool> loginEvent_{false};
  std::mutex mutex_;
  std::condition_variable changed_;
};

// Installs, for its lifetime, a vendor library behind the static factory
// whose every request returns at once without doing anything. Its API objects
// keep the receiver handed to setCallback() and never call it. One at a time.
class NullVendor {
 public:
  NullVendor();
  ~NullVendor();
  NullVendor(const NullVendor&) = delete;
  NullVendor& operator=(const NullVendor&) = delete;
};

}  // namespace bench
}  // namespace kestrel

#endif  // KESTREL_BENCH_BENCH_DOUBLES_H_
