#include "recorder/tools/replay_vendor.h"

#include <algorithm>
#include <condition_variable>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "recorder/journal/observers.h"

namespace kestrel {
namespace journal {
namespace replay {
namespace {

// What deliver() and an API object share. Guarded by `mutex`.
struct ApiState {
  std::mutex mutex;
  std::condition_variable idle;
  xti::XtTraderApiCallback* callback = nullptr;
  bool stopped = false;
  bool delivering = false;
  std::thread::id deliverer;

  void stop() {
    std::unique_lock<std::mutex> lock(mutex);
    stopped = true;
    idle.wait(lock, [this] { return !delivering || deliverer == std::this_thread::get_id(); });
  }
};

struct Registry {
  std::mutex mutex;  // guards all below
  Driver* driver = nullptr;
  uint32_t created = 0;
  std::map<uint32_t, std::shared_ptr<ApiState>> apis;
};

Registry& registry() {
  static Registry r;
  return r;
}

Driver* driver() {
  std::lock_guard<std::mutex> lock(registry().mutex);
  return registry().driver;
}

template <typename... Values>
void tell(uint16_t operation, uint32_t object, const Values&... values) {
  if (Driver* d = driver())
    record(*d, Boundary::kVendor, Kind::kRequest, operation, object, 0, values...);
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
    std::lock_guard<std::mutex> lock(state_->mutex);
    state_->callback = callback;
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

void setDriver(Driver* d) {
  std::lock_guard<std::mutex> lock(registry().mutex);
  registry().driver = d;
}

bool deliver(uint32_t object, uint16_t slot, const std::string& values) {
  const auto callback = std::find_if(std::begin(kCallbacks), std::end(kCallbacks),
                                     [slot](const Callback& c) { return c.slot == slot; });
  std::shared_ptr<ApiState> state;
  {
    std::lock_guard<std::mutex> lock(registry().mutex);
    const auto found = registry().apis.find(object);
    if (found != registry().apis.end()) state = found->second;
  }
  if (state == nullptr || callback == std::end(kCallbacks)) return false;
  xti::XtTraderApiCallback* target = nullptr;
  {
    std::lock_guard<std::mutex> lock(state->mutex);
    if (state->stopped || state->callback == nullptr) return false;
    target = state->callback;
    state->delivering = true;
    state->deliverer = std::this_thread::get_id();
  }
  struct Done {
    ApiState& state;
    ~Done() {
      std::lock_guard<std::mutex> lock(state.mutex);
      state.delivering = false;
      state.idle.notify_all();
    }
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
  replay::Registry& r = replay::registry();
  replay::Driver* driver = nullptr;
  uint32_t n = 0;
  {
    std::lock_guard<std::mutex> lock(r.mutex);
    driver = r.driver;
    n = ++r.created;
  }
  const uint32_t object = driver != nullptr ? driver->created(n) : 0;
  replay::tell(op::kCreateApi, object, address, object != 0);
  if (object == 0) return nullptr;
  auto state = std::make_shared<replay::ApiState>();
  {
    std::lock_guard<std::mutex> lock(r.mutex);
    r.apis[object] = state;
  }
  return new replay::ReplayApi(object, state, driver);
}

void XtTraderApi::joinAll() { kestrel::journal::replay::tell(kestrel::journal::op::kJoinAll, 0); }

}  // namespace xti
