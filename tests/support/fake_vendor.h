// FakeVendor: a scripted vendor library for the plug-in's tests.
//
// While a FakeVendor exists, XtTraderApi::createXtTraderApi and joinAll (the
// static entry points the plug-in calls) create and wait for its API objects
// instead of the simulated counter. It records every call the plug-in makes
// on the vendor library, with its arguments and thread, and fires any vendor
// callback on a vendor-like thread of its own, or inline inside a request to
// answer before the request returns. One FakeVendor at a time.
#ifndef KESTREL_TESTS_SUPPORT_FAKE_VENDOR_H_
#define KESTREL_TESTS_SUPPORT_FAKE_VENDOR_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "plugin/xt_trader_api.h"

namespace kestrel {
namespace testing {

// One call the plug-in made on the vendor library.
struct VendorCall {
  std::string op;  // "createXtTraderApi", "setCallback", "init", "shutdown", "destroy",
                   // "joinAll", "userLogin", "placeOrder", "queryPosition", ...
  std::vector<std::string> texts;  // text arguments in order; null is "<null>"
  std::vector<int64_t> numbers;    // integer arguments in order
  xti::COrdinaryOrder order;       // placeOrder: a copy of the order
  std::thread::id thread;
  std::chrono::steady_clock::time_point at;
  int sequence = 0;  // position in the call log
};

using VendorEvent = std::function<void(xti::XtTraderApiCallback&)>;

class FakeVendor {
 public:
  FakeVendor();
  ~FakeVendor();
  FakeVendor(const FakeVendor&) = delete;
  FakeVendor& operator=(const FakeVendor&) = delete;

  // --- Behaviour ---
  // createXtTraderApi returns null while set.
  void setRefuseCreate(bool refuse);
  // Runs inside every request call (after it is recorded) on the caller's
  // thread: a script that answers, throws, or posts events.
  void setResponder(std::function<void(const VendorCall&)> responder);

  // --- Firing callbacks at the receiver registered through setCallback ---
  // On the vendor thread, in order; returns at once.
  void post(VendorEvent event);
  // On the vendor thread; returns after it (and all posted before) ran.
  void deliver(VendorEvent event);
  // On the calling thread, now (a reply before the request returns).
  void callNow(const VendorEvent& event);
  // Waits until every posted event has run.
  void drain();
  std::thread::id vendorThreadId() const { return worker_.get_id(); }

  // --- Observation ---
  std::vector<VendorCall> calls() const;
  std::vector<VendorCall> callsOf(const std::string& op) const;
  std::size_t count(const std::string& op) const;
  // Waits until `op` was called at least `n` times; false on timeout.
  bool waitForCalls(const std::string& op, std::size_t n,
                    std::chrono::milliseconds timeout = std::chrono::seconds(5)) const;
  int liveApis() const;
  bool hasCallback() const;

 private:
  class Api;
  friend class Api;

  void record(VendorCall call);
  void respond(const VendorCall& call);
  void runWorker();
  xti::XtTraderApi* create(const char* address);
  void joinAll();

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<VendorCall> log_;
  std::function<void(const VendorCall&)> responder_;
  bool refuseCreate_ = false;
  int liveApis_ = 0;
  int runningApis_ = 0;  // made and not yet shut down
  xti::XtTraderApiCallback* callback_ = nullptr;
  bool stopped_ = true;  // no delivery: no API object, or it was shut down
  std::deque<VendorEvent> queue_;
  bool delivering_ = false;
  bool quit_ = false;
  int activeJoins_ = 0;
  std::thread worker_;
};

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_FAKE_VENDOR_H_
