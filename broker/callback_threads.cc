#include "broker/callback_threads.h"

#include <condition_variable>

#include "plugin/library_object.h"
#include "plugin/mutex.h"

namespace xti {
namespace sim {
namespace {

// Thread-safe: the mutex guards the count.
class ThreadTally {
 public:
  void starting() KS_EXCLUDES(mu_) {
    kestrel::MutexLock lock(mu_);
    ++running_;
  }
  void ended() KS_EXCLUDES(mu_) {
    kestrel::MutexLock lock(mu_);
    if (--running_ == 0) allEnded_.notify_all();
  }
  void waitForAll() KS_EXCLUDES(mu_) {
    kestrel::MutexLock lock(mu_);
    while (running_ > 0) allEnded_.wait(mu_);
  }

 private:
  kestrel::Mutex mu_;
  std::condition_variable_any allEnded_;
  int running_ KS_GUARDED_BY(mu_) = 0;
};

ThreadTally& tally() { return kestrel::LibraryObject<ThreadTally>::get(); }

}  // namespace

void callbackThreadStarting() { tally().starting(); }
void callbackThreadEnded() { tally().ended(); }
void waitForCallbackThreads() { tally().waitForAll(); }

}  // namespace sim
}  // namespace xti
