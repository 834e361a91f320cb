// FakeVendor: a scripted vendor library for the plug-in's tests.
//
// While a FakeVendor exists, XtTraderApi::createXtTraderApi and joinAll (the
// static entry points the plug-in calls) create and wait for its API objects
// instead of the simulated counter's. It records every call the plug-in makes
// on the vendor library, with its arguments and thread, and fires vendor
// callbacks at the receiver of the newest API object: on a vendor-like thread
// of its own, or inline inside a request to answer before it returns.
// joinAll returns once every API object was shut down, as the library's does.
// One FakeVendor at a time.
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
#include <utility>
#include <vector>

#include "plugin/xt_trader_api.h"

namespace kestrel {
namespace testing {

// One call the plug-in made on the vendor library.
struct VendorCall {
  VendorCall(std::string name, std::vector<std::string> textArgs = {},
             std::vector<int64_t> numberArgs = {})
      : op(std::move(name)), texts(std::move(textArgs)), numbers(std::move(numberArgs)) {}

  std::string op;  // "createXtTraderApi", "setCallback", "init", "shutdown", "destroy",
                   // "joinAll", "userLogin", "placeOrder", "queryPosition", ...
  std::vector<std::string> texts;  // text arguments in order; null is "<null>"
  std::vector<int64_t> numbers;    // integer arguments in order
  xti::COrdinaryOrder order;       // placeOrder: a copy of the order
  std::thread::id thread;
  std::chrono::steady_clock::time_point at;

  // "op texts numbers", each list joined by ",": "queryPosition A9, 4".
  std::string summary() const {
    std::string text = op + " ";
    for (std::size_t i = 0; i < texts.size(); ++i) text += (i ? "," : "") + texts[i];
    text += " ";
    for (std::size_t i = 0; i < numbers.size(); ++i)
      text += (i ? "," : "") + std::to_string(numbers[i]);
    return text;
  }
};

using VendorEvent = std::function<void(xti::XtTraderApiCallback&)>;

class FakeVendor {
 public:
  FakeVendor();
  ~FakeVendor();
  FakeVendor(const FakeVendor&) = delete;
  FakeVendor& operator=(const FakeVendor&) = delete;

  // createXtTraderApi returns null while set.
  void setRefuseCreate(bool refuse);
  // Runs inside every request call (after it is recorded) on the caller's
  // thread: a script that answers, throws, or posts events.
  void setResponder(std::function<void(const VendorCall&)> responder);

  // post: on the vendor thread, in order, returning at once; deliver: the
  // same, returning after it ran; callNow: on the calling thread. After the
  // API object's shutdown events reach nobody, as the library's.
  void post(VendorEvent event);
  void deliver(VendorEvent event);
  void callNow(const VendorEvent& event);
  void drain();  // until every posted event has run

  std::vector<VendorCall> calls() const;
  std::vector<VendorCall> callsOf(const std::string& op) const;
  std::size_t count(const std::string& op) const { return callsOf(op).size(); }
  void waitForCall(const std::string& op, std::size_t n = 1) const;  // until called n times
  int liveApis() const;                                              // made and not yet deleted
  int waitingJoins() const;  // joinAll calls that have not returned
  void waitUntilJoinsReturn() const;

 private:
  class Api;

  void record(VendorCall call);
  void runWorker();

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<VendorCall> log_;
  std::function<void(const VendorCall&)> responder_;
  bool refuseCreate_ = false;
  int liveApis_ = 0;
  int runningApis_ = 0;  // made and not yet shut down
  xti::XtTraderApiCallback* callback_ = nullptr;
  Api* newest_ = nullptr;  // the API object whose receiver gets the events
  std::deque<VendorEvent> queue_;
  bool delivering_ = false;
  bool quit_ = false;
  int activeJoins_ = 0;
  std::thread worker_;
};

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_FAKE_VENDOR_H_
