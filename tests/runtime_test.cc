// The C++ runtime services the plug-in and the stand-ins rely on, as each
// build provides them (in Visual C++'s ABI: the Visual C++ runtime DLLs and
// the static pieces of cmake/msvc/): an exception handed across threads and
// rethrown, a timed condition wait that gives the mutex up, thread-safe
// static initialization, and thread_local objects built and destroyed per
// thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// Counts the objects of its kind alive; each one holds a heap text, which a
// second destruction would free twice.
class Tracked {
 public:
  explicit Tracked(std::string text) : text_(std::move(text)) { ++alive; }
  Tracked(const Tracked& other) : text_(other.text_) { ++alive; }
  ~Tracked() { --alive; }
  const std::string& text() const { return text_; }

  static std::atomic<int> alive;

 private:
  std::string text_;
};
std::atomic<int> Tracked::alive{0};

// An exception thrown on another thread and rethrown to the caller, as
// TradeSessionXT::release() rethrows one the host's onDisconnected threw
// (there through an exception_ptr and a joined thread). The
// last exception_ptr to the exception dies while the rethrown object is in
// flight (with the future, in the unwinding), and the object caught must
// still be whole; in the end each object is destroyed once.
TEST(RuntimeTest, AnExceptionFromAnotherThreadIsRethrownWholeAndDestroyedOnce) {
  const std::string text(100, 'x');  // on the heap, not in the object
  const int before = Tracked::alive.load();
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    std::string caught;
    try {
      std::async(std::launch::async, [&text] { throw Tracked(text); }).get();
    } catch (const Tracked& fault) {
      caught = fault.text();
    }
    EXPECT_EQ(caught, text);
    EXPECT_EQ(Tracked::alive.load(), before);
  }
}

// Each rethrow throws an object of its own; the one the exception_ptr holds
// is there for the next.
TEST(RuntimeTest, ARethrownExceptionPtrKeepsItsOwnObject) {
  const int before = Tracked::alive.load();
  std::exception_ptr held;
  try {
    throw Tracked("held");
  } catch (...) {
    held = std::current_exception();
  }
  for (int round = 0; round < 2; ++round) {
    try {
      std::rethrow_exception(held);
    } catch (const Tracked& fault) {
      EXPECT_EQ(fault.text(), "held") << round;
    }
  }
  held = std::exception_ptr(nullptr);
  EXPECT_GE(Tracked::alive.load(), before) << "an object destroyed more often than made";
}

// Mutex::waitUntil waits with a deadline: while it waits, the mutex is free
// for the thread that makes the condition true. The deadline is far off, so
// a wait that kept the mutex would outlast the test's timeout.
TEST(RuntimeTest, ATimedWaitGivesTheMutexUp) {
  std::mutex mutex;
  std::condition_variable changed;
  bool ready = false;
  std::thread setter;
  {
    std::unique_lock<std::mutex> lock(mutex);
    setter = std::thread([&] {
      std::lock_guard<std::mutex> held(mutex);
      ready = true;
      changed.notify_all();
    });
    EXPECT_TRUE(changed.wait_for(lock, std::chrono::hours(1), [&] { return ready; }));
    EXPECT_TRUE(changed.wait_until(lock, std::chrono::steady_clock::now() + std::chrono::hours(1),
                                   [&] { return ready; }));
    EXPECT_FALSE(changed.wait_for(lock, std::chrono::milliseconds(1), [] { return false; }));
  }
  setter.join();
}

// Threads that meet one function-local static all see it initialized once;
// an initializer that throws leaves it for the next caller to try again.
int initializations = 0;
int sharedValue(std::atomic<int>& arrived, int threads) {
  static const int value = [&] {
    ++initializations;
    while (arrived.load() < threads) std::this_thread::yield();  // all are here
    return 42;
  }();
  return value;
}

int attempts = 0;
int secondTimeLucky() {
  static const int value = [] {
    if (++attempts == 1) throw std::runtime_error("first attempt");
    return attempts;
  }();
  return value;
}

TEST(RuntimeTest, AStaticIsInitializedOnceAcrossThreads) {
  constexpr int kThreads = 8;
  std::atomic<int> arrived{0};
  std::vector<int> seen(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      ++arrived;
      seen[i] = sharedValue(arrived, kThreads);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(initializations, 1);
  EXPECT_EQ(seen, std::vector<int>(kThreads, 42));

  EXPECT_THROW(secondTimeLucky(), std::runtime_error);
  EXPECT_EQ(secondTimeLucky(), 2);
  EXPECT_EQ(secondTimeLucky(), 2);
}

// A thread_local with a constructor and destructor, as the stand-ins keep
// their per-thread state: built for each thread that uses it, destroyed
// when that thread ends.
std::atomic<int> perThreadAlive{0};
struct PerThread {
  PerThread() { ++perThreadAlive; }
  ~PerThread() { --perThreadAlive; }
  std::vector<int> values;
};
thread_local PerThread tPerThread;

TEST(RuntimeTest, AThreadLocalIsBuiltPerThreadAndDestroyedWithIt) {
  tPerThread.values.push_back(1);
  const int before = perThreadAlive.load();
  std::promise<void> used, release;
  std::thread worker([&] {
    tPerThread.values.push_back(2);
    tPerThread.values.push_back(3);
    used.set_value();
    release.get_future().wait();
  });
  used.get_future().wait();
  EXPECT_EQ(perThreadAlive.load(), before + 1);
  release.set_value();
  worker.join();
  EXPECT_EQ(perThreadAlive.load(), before);
  EXPECT_EQ(tPerThread.values, std::vector<int>{1});
}

}  // namespace
