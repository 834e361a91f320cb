// A plain, non-recursive mutex with clang thread-safety annotations.
//
// Every mutex-guarded class of the plug-in and the simulated counter uses this
// wrapper, so that building with clang's -Wthread-safety checks at compile time
// that each guarded member is only touched with its mutex held. Under other
// compilers the annotations vanish and the wrapper is exactly a std::mutex.
#ifndef KESTREL_PLUGIN_MUTEX_H_
#define KESTREL_PLUGIN_MUTEX_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(_MSC_VER) && (defined(_M_X64) || defined(_M_ARM64))
#include <intrin.h>
#endif

#if defined(__clang__)
#define KS_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define KS_THREAD_ANNOTATION(x)
#endif

#define KS_CAPABILITY(x) KS_THREAD_ANNOTATION(capability(x))
#define KS_SCOPED_CAPABILITY KS_THREAD_ANNOTATION(scoped_lockable)
#define KS_GUARDED_BY(x) KS_THREAD_ANNOTATION(guarded_by(x))
#define KS_REQUIRES(...) KS_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define KS_EXCLUDES(...) KS_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define KS_ACQUIRE(...) KS_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define KS_RELEASE(...) KS_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

namespace kestrel {

// Tells the processor (and a hypervisor) that this thread is waiting for
// another one in a spin loop.
inline void spinPause() {
#if defined(_MSC_VER) && defined(_M_X64)
  _mm_pause();
#elif defined(_MSC_VER) && defined(_M_ARM64)
  __yield();
#elif defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ __volatile__("yield");
#endif
}

class KS_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // Spins a little before it sleeps. Every critical section of the plug-in is
  // a few hundred nanoseconds of bookkeeping (no vendor or host call is made
  // with a mutex held), while waking a thread that went to sleep on a mutex
  // costs tens of microseconds: a vendor thread that meets a host thread's
  // sendOrder in the registry waits for it on the processor instead.
  void lock() KS_ACQUIRE() {
    for (int tries = 0; tries < kSpinTries; ++tries) {
      if (mu_.try_lock()) return;
      spinPause();
    }
    mu_.lock();
  }
  void unlock() KS_RELEASE() { mu_.unlock(); }

  // With this mutex held: releases it while waiting on `cv` until notified or
  // until `deadline` (time_point::max(): no deadline), then holds it again, as
  // std::condition_variable does with a std::unique_lock. It may return early
  // (a spurious wake-up): callers re-check their condition in a loop.
  template <class Clock, class Duration>
  void waitUntil(std::condition_variable& cv, std::chrono::time_point<Clock, Duration> deadline)
      KS_REQUIRES(this) {
    std::unique_lock<std::mutex> lock(mu_, std::adopt_lock);
    if (deadline == std::chrono::time_point<Clock, Duration>::max()) {
      cv.wait(lock);  // NOLINT(bugprone-spuriously-wake-up-functions): see above
    } else {
      cv.wait_until(lock, deadline);
    }
    lock.release();  // still held, by the caller
  }

 private:
  static constexpr int kSpinTries = 100;
  std::mutex mu_;
};

// Holds a Mutex for the lifetime of the scope.
class KS_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mu) KS_ACQUIRE(mu) : mu_(mu) { mu_.lock(); }
  ~MutexLock() KS_RELEASE() { mu_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mu_;
};

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_MUTEX_H_
