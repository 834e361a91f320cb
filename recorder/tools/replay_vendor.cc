#include "recorder/tools/replay_vendor.h"

#include <algorithm>
#include <condition_variable>
#include <iterator>
#include <map>
#include <memory>
#include <thread>
#include <utility>

#include "plugin/mutex.h"
#include "recorder/journal/observers.h"

namespace kestrel {
namespace journal {
namespace replay {
namespace {

// What deliver() and an API object share: the plug-in's callback object, and
// whether a callback may be made on it.
class ApiState {
 public:
  void setCallback(xti::XtTraderApiCallback* callback) {
    MutexLock lock(mutex_);
    callback_ = callback;
  }

  // The object to make a callback on, marked as being called; null when the
  // API object was stopped or has none.
  xti::XtTraderApiCallback* beginCallback() {
    MutexLock lock(mutex_);
    if (stopped_ || callback_ == nullptr) return nullptr;
    calling_ = true;
    caller_ = std::this_thread::get_id();
    return callback_;
  }

  void endCallback() {
    MutexLock lock(mutex_);
    calling_ = false;
    idle_.notify_all();
  }

  // No callback begins after this; returns when none is in progress, unless
  // it is called from inside one.
  void stop() {
    MutexLock lock(mutex_);
    stopped_ = true;
    while (calling_ && caller_ != std::this_thread::get_id()) {
      mutex_.waitUntil(idle_, std::chrono::steady_clock::time_point::max());
    }
  }

 private:
  Mutex mutex_;
  std::condition_variable idle_;
  xti::XtTraderApiCallback* callback_ KS_GUARDED_BY(mutex_) = nullptr;
  bool stopped_ KS_GUARDED_BY(mutex_) = false;
  bool calling_ KS_GUARDED_BY(mutex_) = false;
  std::thread::id caller_ KS_GUARDED_BY(mutex_);
};

// The driver and the API objects made so far.
class Registry {
 public:
  void setDriver(Driver* driver) {
    MutexLock lock(mutex_);
    driver_ = driver;
  }
  Driver* driver() {
    MutexLock lock(mutex_);
    return driver_;
  }
  // The driver, and which createXtTraderApi() this is: 1, 2, ...
  std::pair<Driver*, uint32_t> nextCreation() {
    MutexLock lock(mutex_);
    return {driver_, ++created_};
  }
  void add(uint32_t object, std::shared_ptr<ApiState> state) {
    MutexLock lock(mutex_);
    apis_[object] = std::move(state);
  }
  std::shared_ptr<ApiState> find(uint32_t object) {
    MutexLock lock(mutex_);
    const auto found = apis_.find(object);
    return found != apis_.end() ? found->second : nullptr;
  }

 private:
  Mutex mutex_;
  Driver* driver_ KS_GUARDED_BY(mutex_) = nullptr;
  uint32_t created_ KS_GUARDED_BY(mutex_) = 0;
  std::map<uint32_t, std::shared_ptr<ApiState>> apis_ KS_GUARDED_BY(mutex_);
};

Registry& registry() {
  static Registry r;
  return r;
}

template <typename... Values>
void tell(uint16_t operation, uint32_t object, const Values&... values) {
  if (Driver* d = registry().driver()) {
    record(*d, Boundary::kVendor, Kind::kRequest, operation, object, 0, values...);
  }
}

class ReplayApi final : public ObservedApi {
 public:
  ReplayApi(uint32_t object, std::shared_ptr<ApiState> state, Driver* driver)
      : ObservedApi(*driver, object, nullptr), state_(std::move(state)) {}
  ~ReplayApi() override {
    state_->stop();
    noteDestroyed();
  }

 private:
  xti::XtTraderApiCallback* callbackFor(xti::XtTraderApiCallback* callback) override {
    state_->setCallback(callback);
    return nullptr;
  }
  void stopped() override { state_->stop(); }

  const std::shared_ptr<ApiState> state_;
};

// The callbacks made again, by slot.
struct Callback {
  uint16_t slot;
  void (*invoke)(void* target, ValueReader& values, FrameWriter* answer);
};
#define KS_CALLBACK(slot, R, name, types, names) \
  Callback{slot, &invokeRow<interfaces::callback::name>},
constexpr Callback kCallbacks[] = {KS_XT_TRADER_API_CALLBACK_TABLE(KS_CALLBACK, KS_NO_ROW)};
#undef KS_CALLBACK

}  // namespace

void setDriver(Driver* d) { registry().setDriver(d); }

bool deliver(uint32_t object, uint16_t slot, const std::string& values) {
  const auto callback = std::find_if(std::begin(kCallbacks), std::end(kCallbacks),
                                     [slot](const Callback& c) { return c.slot == slot; });
  const std::shared_ptr<ApiState> state = registry().find(object);
  if (state == nullptr || callback == std::end(kCallbacks)) return false;
  xti::XtTraderApiCallback* target = state->beginCallback();
  if (target == nullptr) return false;
  struct Done {
    ApiState& state;
    ~Done() { state.endCallback(); }
  } done{*state};
  ValueReader reader(values);
  callback->invoke(target, reader, nullptr);
  return true;
}

}  // namespace replay
}  // namespace journal
}  // namespace kestrel

namespace xti {

XtTraderApi* XtTraderApi::createXtTraderApi(const char* address) {
  using namespace kestrel::journal;
  const auto [driver, n] = replay::registry().nextCreation();
  const uint32_t object = driver != nullptr ? driver->created(n) : 0;
  replay::tell(op::kCreateApi, object, address, object != 0);
  if (object == 0) return nullptr;
  auto state = std::make_shared<replay::ApiState>();
  replay::registry().add(object, state);
  return new replay::ReplayApi(object, state, driver);
}

void XtTraderApi::joinAll() { kestrel::journal::replay::tell(kestrel::journal::op::kJoinAll, 0); }

}  // namespace xti
