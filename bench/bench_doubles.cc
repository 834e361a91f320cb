#include "bench/bench_doubles.h"

#include "broker/vendor_hooks.h"

namespace kestrel {
namespace bench {
namespace {

class NullRecordSink : public RecordSink {
 public:
  void take(const xti::VendorOrder*) override {}
};

// The vendor API object: every request is a no-op.
class NullApi : public xti::XtTraderApi {
 public:
  void setCallback(xti::XtTraderApiCallback* callback) override { callback_ = callback; }
  void init(const char*) override {}
  void shutdown() override { callback_ = nullptr; }
  void userLogin(const char*, const char*, int, const char*, const char*, const char*) override {}
  void userLogout(const char*, const char*, int) override {}
  void queryAccountDetail(const char*, int, const char*) override {}
  void queryOrderDetail(const char*, int, const char*) override {}
  void queryDealDetail(const char*, int, const char*) override {}
  void queryPositionDetail(const char*, int, const char*) override {}
  void queryPosition(const char*, int, const char*) override {}
  void placeOrder(const xti::COrdinaryOrder*, int, const char*) override {}
  void cancelOrderById(int, int) override {}
  void cancelOrderByExchangeId(const char*, const char*, const char*, const char*, int,
                               const char*) override {}

 private:
  xti::XtTraderApiCallback* callback_ = nullptr;
};

}  // namespace

RecordSink& nullRecordSink() {
  static NullRecordSink sink;
  return sink;
}

void NullHost::onConnected(const ResultStatus&) {
  std::lock_guard<std::mutex> lock(mutex_);
  connectionEvent_.store(true);
  changed_.notify_all();
}
void NullHost::onLogin(const ResultStatus&, const LoginReply&) {
  std::lock_guard<std::mutex> lock(mutex_);
  loginEvent_.store(true);
  changed_.notify_all();
}
void NullHost::onLogout(const ResultStatus&) {}
void NullHost::onDisconnected(const ResultStatus&) {
  std::lock_guard<std::mutex> lock(mutex_);
  connectionEvent_.store(true);
  changed_.notify_all();
}
void NullHost::onOrderAccepted(const OrderAcceptedRecord*, const ResultStatus&, int, bool) {}
void NullHost::onOrderRejected(const OrderRecord*, const ResultStatus&, int, bool) {}
void NullHost::onOrderFilled(const OrderFilledRecord*, const ResultStatus&, int, bool) {}
void NullHost::onOrderCanceled(const OrderRecord*, const ResultStatus&, int, bool) {}
void NullHost::onFill(const FillRecord*, const ResultStatus&, int, bool) { countFilled(); }
void NullHost::onOrdersResponse(const OrderDetailRecord*, const ResultStatus&, int, bool) {}
void NullHost::onAccountFundsResponse(const AccountFunds*, const ResultStatus&, int, bool) {}

void NullHost::countFilled() {
  const uint64_t count = filled_.fetch_add(1) + 1;
  // Only the call that reaches the awaited count takes the mutex.
  if (count == waitingFor_.load()) {
    std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
  }
}

void NullHost::waitForFilled(uint64_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  waitingFor_.store(count);
  changed_.wait(lock, [&] { return filled_.load() >= count; });
  waitingFor_.store(UINT64_MAX);
}

void NullHost::waitForConnection() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return connectionEvent_.load(); });
}

void NullHost::waitForLogin() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return loginEvent_.load(); });
}

NullVendor::NullVendor() {
  xti::hooks::setApiFactory([](const char*) -> xti::XtTraderApi* { return new NullApi; });
  xti::hooks::setJoinAll([] {});
}

NullVendor::~NullVendor() {
  xti::hooks::setApiFactory(nullptr);
  xti::hooks::setJoinAll(nullptr);
}

}  // namespace bench
}  // namespace kestrel
