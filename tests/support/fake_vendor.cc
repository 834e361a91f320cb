#include "tests/support/fake_vendor.h"

#include <utility>

#include "broker/vendor_hooks.h"

namespace kestrel {
namespace testing {
namespace {

std::string text(const char* s) { return s == nullptr ? "<null>" : s; }

}  // namespace

// The API object handed to the plug-in; every operation is recorded.
class FakeVendor::Api : public xti::XtTraderApi {
 public:
  explicit Api(FakeVendor& owner) : owner_(owner) {}
  ~Api() override {
    shutdown(false);
    owner_.record({"destroy"});
    std::lock_guard<std::mutex> lock(owner_.mutex_);
    --owner_.liveApis_;
    owner_.changed_.notify_all();
  }

  void setCallback(xti::XtTraderApiCallback* callback) override {
    {
      std::lock_guard<std::mutex> lock(owner_.mutex_);
      owner_.callback_ = callback;
      owner_.newest_ = this;
    }
    request({"setCallback"});
  }
  void init(const char* path) override { request({"init", {text(path)}}); }
  void shutdown() override { shutdown(true); }
  void userLogin(const char* user, const char* password, int id, const char* a, const char* b,
                 const char* c) override {
    request({"userLogin", {text(user), text(password), text(a), text(b), text(c)}, {id}});
  }
  void userLogout(const char* user, const char* password, int id) override {
    request({"userLogout", {text(user), text(password)}, {id}});
  }
#define KS_FAKE_QUERY(op)                                  \
  void op(const char* a, int id, const char* x) override { \
    request({#op, {text(a), text(x)}, {id}});              \
  }
  KS_FAKE_QUERY(queryAccountDetail)
  KS_FAKE_QUERY(queryOrderDetail)
  KS_FAKE_QUERY(queryDealDetail)
  KS_FAKE_QUERY(queryPositionDetail)
  KS_FAKE_QUERY(queryPosition)
#undef KS_FAKE_QUERY
  void placeOrder(const xti::COrdinaryOrder* order, int id, const char* extra) override {
    VendorCall call("placeOrder", {text(extra)}, {id});
    call.order = *order;
    request(call);
  }
  void cancelOrderById(int orderId, int id) override {
    request({"cancelOrderById", {}, {orderId, id}});
  }
  void cancelOrderByExchangeId(const char* account, const char* exchangeOrderId,
                               const char* exchange, const char* instrument, int id,
                               const char* extra) override {
    request({"cancelOrderByExchangeId",
             {text(account), text(exchangeOrderId), text(exchange), text(instrument), text(extra)},
             {id}});
  }

 private:
  void request(const VendorCall& call) {
    owner_.record(call);
    std::function<void(const VendorCall&)> responder;
    {
      std::lock_guard<std::mutex> lock(owner_.mutex_);
      responder = owner_.responder_;
    }
    if (responder) responder(call);
  }

  // The first time: no more events for this object's receiver (after one in
  // flight, unless on the vendor thread), and one API fewer running.
  void shutdown(bool recorded) {
    {
      std::unique_lock<std::mutex> lock(owner_.mutex_);
      if (!shutDown_) {
        shutDown_ = true;
        if (owner_.newest_ == this) {
          if (std::this_thread::get_id() != owner_.worker_.get_id()) {
            owner_.changed_.wait(lock, [this] { return !owner_.delivering_; });
          }
          owner_.callback_ = nullptr;
        }
        --owner_.runningApis_;
        owner_.changed_.notify_all();
      }
    }
    if (recorded) owner_.record({"shutdown"});
  }

  FakeVendor& owner_;
  bool shutDown_ = false;
};

FakeVendor::FakeVendor() : worker_([this] { runWorker(); }) {
  xti::hooks::setApiFactory([this](const char* address) -> xti::XtTraderApi* {
    record({"createXtTraderApi", {text(address)}});
    std::lock_guard<std::mutex> lock(mutex_);
    if (refuseCreate_) return nullptr;
    ++liveApis_;
    ++runningApis_;
    return new Api(*this);
  });
  xti::hooks::setJoinAll([this] {
    std::unique_lock<std::mutex> lock(mutex_);
    ++activeJoins_;  // counted before the call shows in the log
    lock.unlock();
    record({"joinAll"});
    lock.lock();
    changed_.wait(lock, [this] { return runningApis_ == 0 || quit_; });
    --activeJoins_;
    changed_.notify_all();
  });
}

FakeVendor::~FakeVendor() {
  xti::hooks::setApiFactory(nullptr);
  xti::hooks::setJoinAll(nullptr);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    quit_ = true;
    changed_.notify_all();
  }
  worker_.join();
  waitUntilJoinsReturn();  // a release's detached joinAll may still be on its way out
}

void FakeVendor::setRefuseCreate(bool refuse) {
  std::lock_guard<std::mutex> lock(mutex_);
  refuseCreate_ = refuse;
}

void FakeVendor::setResponder(std::function<void(const VendorCall&)> responder) {
  std::lock_guard<std::mutex> lock(mutex_);
  responder_ = std::move(responder);
}

void FakeVendor::record(VendorCall call) {
  call.thread = std::this_thread::get_id();
  call.at = std::chrono::steady_clock::now();
  std::lock_guard<std::mutex> lock(mutex_);
  log_.push_back(std::move(call));
  changed_.notify_all();
}

void FakeVendor::post(VendorEvent event) {
  std::lock_guard<std::mutex> lock(mutex_);
  queue_.push_back(std::move(event));
  changed_.notify_all();
}

void FakeVendor::deliver(VendorEvent event) {
  post(std::move(event));
  drain();
}

void FakeVendor::callNow(const VendorEvent& event) {
  std::unique_lock<std::mutex> lock(mutex_);
  xti::XtTraderApiCallback* callback = callback_;
  lock.unlock();
  if (callback != nullptr) event(*callback);
}

void FakeVendor::drain() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return queue_.empty() && !delivering_; });
}

void FakeVendor::runWorker() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return quit_ || !queue_.empty(); });
    if (queue_.empty()) return;
    const VendorEvent event = std::move(queue_.front());
    queue_.pop_front();
    xti::XtTraderApiCallback* callback = callback_;
    delivering_ = callback != nullptr;
    lock.unlock();
    if (callback != nullptr) event(*callback);
    lock.lock();
    delivering_ = false;
    changed_.notify_all();
  }
}

std::vector<VendorCall> FakeVendor::calls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return log_;
}

std::vector<VendorCall> FakeVendor::callsOf(const std::string& op) const {
  std::vector<VendorCall> out;
  for (VendorCall& call : calls()) {
    if (call.op == op) out.push_back(std::move(call));
  }
  return out;
}

void FakeVendor::waitForCall(const std::string& op, std::size_t n) const {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] {
    std::size_t seen = 0;
    for (const VendorCall& call : log_) seen += call.op == op;
    return seen >= n;
  });
}

int FakeVendor::liveApis() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return liveApis_;
}

int FakeVendor::waitingJoins() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return activeJoins_;
}

void FakeVendor::waitUntilJoinsReturn() const {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return activeJoins_ == 0; });
}

}  // namespace testing
}  // namespace kestrel
