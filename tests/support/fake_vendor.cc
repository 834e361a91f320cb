#include "tests/support/fake_vendor.h"

#include <utility>

#include "broker/vendor_hooks.h"

namespace kestrel {
namespace testing {
namespace {

std::string textArg(const char* text) { return text == nullptr ? "<null>" : text; }

VendorCall makeCall(std::string op, std::vector<std::string> texts, std::vector<int64_t> numbers) {
  VendorCall call;
  call.op = std::move(op);
  call.texts = std::move(texts);
  call.numbers = std::move(numbers);
  return call;
}

}  // namespace

// The API object handed to the plug-in; every operation is recorded.
class FakeVendor::Api : public xti::XtTraderApi {
 public:
  explicit Api(FakeVendor& owner) : owner_(owner) {}
  ~Api() override {
    shutdownDelivery();
    owner_.record(makeCall("destroy", {}, {}));
    std::lock_guard<std::mutex> lock(owner_.mutex_);
    --owner_.liveApis_;
    owner_.changed_.notify_all();
  }

  void setCallback(xti::XtTraderApiCallback* callback) override {
    {
      std::lock_guard<std::mutex> lock(owner_.mutex_);
      owner_.callback_ = callback;
      owner_.stopped_ = false;
    }
    request(makeCall("setCallback", {}, {callback != nullptr ? 1 : 0}));
  }
  void init(const char* path) override { request(makeCall("init", {textArg(path)}, {})); }
  void shutdown() override {
    if (shutdownDelivery()) {
      std::lock_guard<std::mutex> lock(owner_.mutex_);
      --owner_.runningApis_;
      owner_.changed_.notify_all();
    }
    owner_.record(makeCall("shutdown", {}, {}));
  }
  void userLogin(const char* user, const char* password, int requestId, const char* a,
                 const char* b, const char* c) override {
    request(makeCall("userLogin",
                     {textArg(user), textArg(password), textArg(a), textArg(b), textArg(c)},
                     {requestId}));
  }
  void userLogout(const char* user, const char* password, int requestId) override {
    request(makeCall("userLogout", {textArg(user), textArg(password)}, {requestId}));
  }
  void queryAccountDetail(const char* account, int requestId, const char* extra) override {
    request(makeCall("queryAccountDetail", {textArg(account), textArg(extra)}, {requestId}));
  }
  void queryOrderDetail(const char* account, int requestId, const char* extra) override {
    request(makeCall("queryOrderDetail", {textArg(account), textArg(extra)}, {requestId}));
  }
  void queryDealDetail(const char* account, int requestId, const char* extra) override {
    request(makeCall("queryDealDetail", {textArg(account), textArg(extra)}, {requestId}));
  }
  void queryPositionDetail(const char* account, int requestId, const char* extra) override {
    request(makeCall("queryPositionDetail", {textArg(account), textArg(extra)}, {requestId}));
  }
  void queryPosition(const char* account, int requestId, const char* extra) override {
    request(makeCall("queryPosition", {textArg(account), textArg(extra)}, {requestId}));
  }
  void placeOrder(const xti::COrdinaryOrder* order, int requestId, const char* extra) override {
    VendorCall call = makeCall("placeOrder", {textArg(extra)}, {requestId});
    if (order != nullptr) call.order = *order;
    request(std::move(call));
  }
  void cancelOrderById(int orderId, int requestId) override {
    request(makeCall("cancelOrderById", {}, {orderId, requestId}));
  }
  void cancelOrderByExchangeId(const char* account, const char* exchangeOrderId,
                               const char* exchangeCode, const char* instrument, int requestId,
                               const char* extra) override {
    request(makeCall("cancelOrderByExchangeId",
                     {textArg(account), textArg(exchangeOrderId), textArg(exchangeCode),
                      textArg(instrument), textArg(extra)},
                     {requestId}));
  }

 private:
  void request(VendorCall call) {
    owner_.record(call);
    owner_.respond(call);
  }

  // Stops delivery and waits for a callback in flight, unless called from the
  // vendor thread itself. True the first time.
  bool shutdownDelivery() {
    std::unique_lock<std::mutex> lock(owner_.mutex_);
    if (shutDown_) return false;
    shutDown_ = true;
    owner_.stopped_ = true;
    if (std::this_thread::get_id() != owner_.worker_.get_id()) {
      owner_.changed_.wait(lock, [this] { return !owner_.delivering_; });
    }
    owner_.callback_ = nullptr;
    return true;
  }

  FakeVendor& owner_;
  bool shutDown_ = false;
};

FakeVendor::FakeVendor() {
  worker_ = std::thread([this] { runWorker(); });
  xti::hooks::setApiFactory([this](const char* address) { return create(address); });
  xti::hooks::setJoinAll([this] { joinAll(); });
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
  // A detached joinAll (release's worker) may still be on its way out.
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return activeJoins_ == 0; });
}

xti::XtTraderApi* FakeVendor::create(const char* address) {
  record(makeCall("createXtTraderApi", {textArg(address)}, {}));
  std::lock_guard<std::mutex> lock(mutex_);
  if (refuseCreate_) return nullptr;
  ++liveApis_;
  ++runningApis_;
  return new Api(*this);
}

void FakeVendor::joinAll() {
  record(makeCall("joinAll", {}, {}));
  // As the library's joinAll: returns once every API object was shut down.
  std::unique_lock<std::mutex> lock(mutex_);
  ++activeJoins_;
  changed_.wait(lock, [this] { return runningApis_ == 0 || quit_; });
  --activeJoins_;
  changed_.notify_all();
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
  call.sequence = static_cast<int>(log_.size());
  log_.push_back(std::move(call));
  changed_.notify_all();
}

void FakeVendor::respond(const VendorCall& call) {
  std::function<void(const VendorCall&)> responder;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    responder = responder_;
  }
  if (responder) responder(call);
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
  xti::XtTraderApiCallback* callback = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) return;
    callback = callback_;
  }
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
    if (quit_ && queue_.empty()) return;
    VendorEvent event = std::move(queue_.front());
    queue_.pop_front();
    xti::XtTraderApiCallback* callback = stopped_ ? nullptr : callback_;
    delivering_ = callback != nullptr;
    lock.unlock();
    if (callback != nullptr) event(*callback);  // dropped after shutdown, as the library does
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
  std::lock_guard<std::mutex> lock(mutex_);
  for (const VendorCall& call : log_) {
    if (call.op == op) out.push_back(call);
  }
  return out;
}

std::size_t FakeVendor::count(const std::string& op) const { return callsOf(op).size(); }

bool FakeVendor::waitForCalls(const std::string& op, std::size_t n,
                              std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] {
    std::size_t seen = 0;
    for (const VendorCall& call : log_) seen += call.op == op;
    return seen >= n;
  });
}

int FakeVendor::liveApis() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return liveApis_;
}

bool FakeVendor::hasCallback() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return callback_ != nullptr && !stopped_;
}

}  // namespace testing
}  // namespace kestrel
