// Threads that end while the vendor library's API object is being deleted,
// in the shape of the plug-in's release(), many times over: the API's
// callback thread delivers an answer, a detached thread waits in joinAll,
// the object is shut down and deleted, and both threads end together.
//
// On Windows a thread's end runs every DLL's thread-detach callback under
// the loader lock. A library whose threads clean up thread-local storage
// with a destructor at their end (mingw-w64's runtime does that under its
// threads library's lock, and unloads a module reference in it, which wants
// the loader lock) can deadlock against another thread ending at the same
// moment (docs/windows.md). The loop is bounded in time: a watchdog ends the
// process with a failure, naming the cycle, when one cycle does not finish
// within kStuckAfter. Sized by KS_STRESS_SCALE.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "plugin/xt_trader_api.h"
#include "tests/support/session_fixture.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace kestrel {
namespace testing {
namespace {

constexpr int kCycles = 3000;
// A cycle takes well under a millisecond natively and a few under Wine; one
// that has not finished after this long never will.
constexpr std::chrono::seconds kStuckAfter(60);

// Ends the process at once with `code`. A deadlocked thread may hold the
// loader lock, which a normal exit on Windows would wait for.
[[noreturn]] void endProcessNow(int code) {
#if defined(_WIN32)
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
#endif
  std::_Exit(code);
}

// A flag one thread raises and another waits for.
class Signal {
 public:
  void raise() {
    std::lock_guard<std::mutex> lock(mutex_);
    raised_ = true;
    changed_.notify_all();
  }
  void wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return raised_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool raised_ = false;
};

// Ends the process with a failure when the cycle under way has not finished
// after `limit`.
class Watchdog {
 public:
  explicit Watchdog(std::chrono::seconds limit) : limit_(limit), thread_([this] { watch(); }) {}
  ~Watchdog() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
      changed_.notify_all();
    }
    thread_.join();
  }
  void cycleStarted(int cycle) {
    std::lock_guard<std::mutex> lock(mutex_);
    cycle_ = cycle;
    changed_.notify_all();
  }

 private:
  void watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!done_) {
      const int seen = cycle_;
      const bool moved = changed_.wait_for(lock, limit_, [&] { return done_ || cycle_ != seen; });
      if (!moved) {
        std::fprintf(stderr,
                     "cycle %d has not finished after %lld s: the threads ending in it are "
                     "deadlocked\n",
                     seen, static_cast<long long>(limit_.count()));
        std::fflush(stderr);
        endProcessNow(3);
      }
    }
  }

  const std::chrono::seconds limit_;
  std::mutex mutex_;
  std::condition_variable changed_;
  int cycle_ = 0;
  bool done_ = false;
  std::thread thread_;
};

class ConnectedSignal : public xti::XtTraderApiCallback {
 public:
  void onConnected(bool success, const char*) override {
    success_ = success;
    connected_.raise();
  }
  bool wait() {
    connected_.wait();
    return success_;
  }

 private:
  Signal connected_;
  bool success_ = false;  // written before the signal is raised
};

TEST(ThreadExitTest, ApiDeletedWhileItsThreadsEndNeverHangs) {
  const int cycles = kCycles * stressScale();
  const auto start = std::chrono::steady_clock::now();
  Watchdog watchdog(kStuckAfter);
  for (int cycle = 1; cycle <= cycles; ++cycle) {
    watchdog.cycleStarted(cycle);
    ConnectedSignal callback;
    xti::XtTraderApi* api = xti::XtTraderApi::createXtTraderApi("127.0.0.1:7001");
    ASSERT_NE(api, nullptr);
    api->setCallback(&callback);
    api->init("no_such_xt_config");  // a missing file: the counter's defaults
    // The callback thread has run a callback, and with it the library's
    // per-thread bookkeeping of callbacks under way.
    ASSERT_TRUE(callback.wait()) << "cycle " << cycle;
    auto started = std::make_shared<Signal>();
    std::thread([started] {
      started->raise();
      xti::XtTraderApi::joinAll();
    }).detach();
    started->wait();
    api->shutdown();
    delete api;
  }
  // The last detached thread ends on its own; joinAll returns once every
  // callback thread has, which they all did above.
  xti::XtTraderApi::joinAll();
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  std::printf("%d cycles of release's shape in %.1f s\n", cycles, took.count());
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
