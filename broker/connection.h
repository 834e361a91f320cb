// Connection: the shared state of one simulated API object, its Counter and
// the queue of callbacks its callback thread delivers.
//
// Threads:
//  - Any thread may call the request operations (through SimulatedApi).
//    Each runs its Counter operation with the mutex held, then lets go of it
//    and either queues the answers for the callback thread (the usual case,
//    returning at once) or, in synchronous mode, delivers them on the calling
//    thread before returning (without the reply latency; the answers of
//    requests made at the same time on several threads may then interleave).
//  - The callback thread runs run(): it delivers queued answers in order, each
//    no earlier than the configured reply latency after its request, and runs
//    the price walk's steps. It leaves run() after shutdown().
//  - shutdown() may come from any thread, the callback thread included (then
//    it does not wait for the callback it is called from). When it returns no
//    further callback starts, and every callback in flight on other threads
//    has finished.
//
// Chaos (broker/chaos.h, the [chaos] section): each batch of answers passes
// through the connection's ChaosPlan before it is delivered. Replies it
// delays wait in their own list, so that the answers behind them go ahead.
// When the connection drops (after drop_after_ms, or when the answer budget
// runs out) the receiver gets onConnected(false, text), every answer still
// on its way is lost, and the connection answers every later request "not
// connected". With after_drop = day its Counter, its users logged out, waits
// for the next connection to the same address in this process, which
// resumes the day instead of starting a fresh one.
//
// No lock is held while a callback runs. A callback that throws is stopped at
// this boundary and its exception dropped. Owned by shared pointer by the API
// object and the callback thread, so deleting the API object from inside one
// of its own callbacks leaves the thread a live Connection to finish with.
#ifndef KESTREL_BROKER_CONNECTION_H_
#define KESTREL_BROKER_CONNECTION_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "broker/chaos.h"
#include "broker/counter.h"
#include "broker/outbox.h"
#include "plugin/mutex.h"
#include "plugin/xt_trader_api.h"

namespace xti {
namespace sim {

class Connection {
 public:
  explicit Connection(std::string address);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void setCallback(XtTraderApiCallback* callback) KS_EXCLUDES(mu_);
  // Stamps of orders and deals of the counters built by later init() calls.
  void setClock(Counter::Clock clock) KS_EXCLUDES(mu_);
  // Loads the configuration, builds a fresh Counter and answers onConnected.
  void init(const char* configPath) KS_EXCLUDES(mu_);
  void shutdown() KS_EXCLUDES(mu_);
  // The callback thread's body.
  void run() KS_EXCLUDES(mu_);

  // Runs `operation(Counter&, Outbox&)` on the counter and delivers what it
  // wrote. Does nothing after shutdown().
  template <class Operation>
  void request(Operation&& operation) KS_EXCLUDES(mu_) {
    std::vector<Answer> answers;
    bool wake = false;
    {
      kestrel::MutexLock lock(mu_);
      if (stopped_) return;
      Outbox out;
      operation(counter_, out);
      answers = out.take();
      send(answers);
      if (!synchronous_) {
        wake = enqueue(std::move(answers));
        answers.clear();
      }
    }
    // Woken after the lock is let go, the callback thread finds it free.
    if (wake) changed_.notify_one();
    deliver(answers);
  }

 private:
  using Clock = std::chrono::steady_clock;
  struct Pending {
    Answer answer;
    Clock::time_point due;
  };

  // Passes a batch through the chaos; what is left is to be delivered now.
  void send(std::vector<Answer>& answers) KS_REQUIRES(mu_);
  // Ends the connection as a dropped one and appends the disconnection to
  // `answers`; `loseQueued`: the answers still queued are lost with it.
  void drop(std::vector<Answer>& answers, bool loseQueued) KS_REQUIRES(mu_);
  // Queues answers for the callback thread; true when it must be woken.
  bool enqueue(std::vector<Answer> answers) KS_REQUIRES(mu_);
  // Sleeps on changed_ until notified or `until` (max: no time limit).
  void sleep(Clock::time_point until) KS_REQUIRES(mu_);
  // Runs the callbacks on this thread, in order, while delivery has not stopped.
  void deliver(const std::vector<Answer>& answers) KS_EXCLUDES(mu_);
  int callbacksOnThisThread() const;

  // Constant after construction.
  const std::string address_;

  kestrel::Mutex mu_;
  std::condition_variable changed_;  // queue, flags, in-flight count; waits on mu_
  // Guarded by mu_.
  XtTraderApiCallback* callback_ KS_GUARDED_BY(mu_) = nullptr;
  Counter counter_ KS_GUARDED_BY(mu_);
  Counter::Clock clock_ KS_GUARDED_BY(mu_);
  bool synchronous_ KS_GUARDED_BY(mu_) = false;
  int latencyMs_ KS_GUARDED_BY(mu_) = 0;
  int walkMs_ KS_GUARDED_BY(mu_) = 0;
  Clock::time_point nextWalk_ KS_GUARDED_BY(mu_);
  std::deque<Pending> queue_ KS_GUARDED_BY(mu_);
  std::vector<Pending> late_ KS_GUARDED_BY(mu_);  // delayed replies, by due time
  ChaosPlan chaos_ KS_GUARDED_BY(mu_);
  Clock::time_point dropAt_ KS_GUARDED_BY(mu_) = Clock::time_point::max();
  // Written under mu_; read without it between two callbacks of a batch.
  std::atomic<bool> stopped_{false};
  int inFlight_ KS_GUARDED_BY(mu_) = 0;  // callbacks running now, on any thread
};

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_CONNECTION_H_
