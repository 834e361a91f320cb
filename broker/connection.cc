#include "broker/connection.h"

#include <algorithm>
#include <map>

#include "broker/sim_config.h"
#include "plugin/library_object.h"
#include "plugin/thread_slot.h"

namespace xti {
namespace sim {
namespace {

// A connection whose callbacks this thread is running now, and the one it
// nests in (a synchronous answer can run inside another connection's
// callback). The frames live on the delivering thread's stack.
struct DeliveringFrame {
  const Connection* connection;
  const DeliveringFrame* outer;
};

// This thread's innermost frame, or null. A plain pointer: a thread's end
// has nothing of this library to clean up (plugin/thread_slot.h).
using Delivering = kestrel::ThreadSlot<const DeliveringFrame*, DeliveringFrame>;

const char kConfigError[] = "配置文件错误: ";
const char kUnreachable[] = "无法连接到柜台 ";
const char kDropped[] = "与柜台的连接已断开";

// The days that dropped connections left behind, by address, for the next
// connection to the same address. Thread-safe; a leaf lock (taken under a
// connection's mutex, never the other way round).
class ParkedDays {
 public:
  void park(const std::string& address, Counter counter) KS_EXCLUDES(mu_) {
    kestrel::MutexLock lock(mu_);
    days_.insert_or_assign(address, std::move(counter));
  }
  // Moves the day parked for `address` into `counter`; false if there is none.
  bool resume(const std::string& address, Counter& counter) KS_EXCLUDES(mu_) {
    kestrel::MutexLock lock(mu_);
    const auto it = days_.find(address);
    if (it == days_.end()) return false;
    counter = std::move(it->second);
    days_.erase(it);
    return true;
  }

 private:
  kestrel::Mutex mu_;
  std::map<std::string, Counter> days_ KS_GUARDED_BY(mu_);
};

ParkedDays& parkedDays() { return kestrel::LibraryObject<ParkedDays>::get(); }

}  // namespace

Connection::Connection(std::string address)
    : address_(std::move(address)), counter_(Counter::offline()), clock_(stampNow) {}

void Connection::setCallback(XtTraderApiCallback* callback) {
  kestrel::MutexLock lock(mu_);
  callback_ = callback;
}

void Connection::setClock(Counter::Clock clock) {
  kestrel::MutexLock lock(mu_);
  clock_ = std::move(clock);
}

void Connection::init(const char* configPath) {
  // File access happens before the lock is taken.
  ConfigResult loaded = loadConfigFor(configPath);
  Outbox out;
  std::vector<Answer> answers;
  {
    kestrel::MutexLock lock(mu_);
    if (stopped_) return;
    const Behaviour& behaviour = loaded.ok ? loaded.config.behaviour : Behaviour();
    const std::vector<std::string>& unreachable = behaviour.unreachable;
    synchronous_ = behaviour.synchronous;
    latencyMs_ = behaviour.replyLatencyMs;
    walkMs_ = 0;
    chaos_ = ChaosPlan();
    dropAt_ = Clock::time_point::max();
    late_.clear();
    const std::string refusal =
        !loaded.ok ? kConfigError + loaded.error
        : std::find(unreachable.begin(), unreachable.end(), address_) != unreachable.end()
            ? kUnreachable + address_
            : std::string();
    if (!refusal.empty()) {
      counter_ = Counter::offline();
    } else {
      const Clock::time_point now = Clock::now();
      walkMs_ = behaviour.priceWalkMs;
      nextWalk_ = now + std::chrono::milliseconds(walkMs_);
      chaos_ = ChaosPlan(loaded.config.chaos);
      if (chaos_.chaos().dropAfterMs > 0) {
        dropAt_ = now + std::chrono::milliseconds(chaos_.chaos().dropAfterMs);
      }
      if (!parkedDays().resume(address_, counter_)) {
        counter_ = Counter(std::move(loaded.config), clock_);
      }
    }
    out.add(AnswerKind::kOther, &XtTraderApiCallback::onConnected, refusal.empty(), refusal);
    changed_.notify_all();
    answers = out.take();
    if (!synchronous_) {
      enqueue(std::move(answers));
      return;
    }
  }
  deliver(answers);
}

void Connection::send(std::vector<Answer>& answers) {
  std::vector<Answer> late;
  if (!chaos_.arrange(answers, late)) return drop(answers, false);
  if (late.empty()) return;
  const Clock::time_point due = Clock::now() + std::chrono::milliseconds(chaos_.chaos().delayMs);
  for (Answer& answer : late) late_.push_back(Pending{std::move(answer), due});
  changed_.notify_all();
}

void Connection::drop(std::vector<Answer>& answers, bool loseQueued) {
  logFault(chaos_.chaos(), "drop", AnswerName{"onConnected", 0, 0});
  if (loseQueued) queue_.clear();
  late_.clear();
  if (chaos_.chaos().keepDayAfterDrop) {
    counter_.endConnection();
    parkedDays().park(address_, std::move(counter_));
  }
  counter_ = Counter::offline();
  chaos_ = ChaosPlan();
  dropAt_ = Clock::time_point::max();
  walkMs_ = 0;
  Outbox out;
  out.add(AnswerKind::kOther, &XtTraderApiCallback::onConnected, false, std::string(kDropped));
  for (Answer& answer : out.take()) answers.push_back(std::move(answer));
}

bool Connection::enqueue(std::vector<Answer> answers) {
  if (answers.empty()) return false;
  // The callback thread only sleeps on an empty queue or until the front's
  // due time, which later answers never precede: only the first one wakes it.
  const bool wake = queue_.empty();
  const Clock::time_point due = Clock::now() + std::chrono::milliseconds(latencyMs_);
  for (Answer& answer : answers) queue_.push_back(Pending{std::move(answer), due});
  return wake;
}

void Connection::sleep(Clock::time_point until) { mu_.waitUntil(changed_, until); }

int Connection::callbacksOnThisThread() const {
  int count = 0;
  for (const DeliveringFrame* frame = Delivering::mine(); frame != nullptr; frame = frame->outer) {
    count += frame->connection == this ? 1 : 0;
  }
  return count;
}

void Connection::deliver(const std::vector<Answer>& answers) {
  XtTraderApiCallback* callback = nullptr;
  {
    kestrel::MutexLock lock(mu_);
    if (stopped_ || callback_ == nullptr) return;
    callback = callback_;
    ++inFlight_;  // once for the batch: shutdown() waits for the callback under way
  }
  const DeliveringFrame*& innermost = Delivering::mine();
  const DeliveringFrame frame{this, innermost};
  innermost = &frame;
  for (std::size_t i = 0; i < answers.size() && !stopped_.load(std::memory_order_acquire); ++i) {
    try {
      answers[i].call(*callback);
    } catch (...) {
      // The receiver's exception ends at the library's boundary.
    }
  }
  innermost = frame.outer;
  kestrel::MutexLock lock(mu_);
  --inFlight_;
  if (stopped_) changed_.notify_all();
}

void Connection::shutdown() {
  const int own = callbacksOnThisThread();
  kestrel::MutexLock lock(mu_);
  stopped_ = true;
  queue_.clear();
  late_.clear();
  changed_.notify_all();
  while (inFlight_ > own) sleep(Clock::time_point::max());
}

void Connection::run() {
  std::vector<Answer> batch;
  mu_.lock();
  while (!stopped_) {
    const Clock::time_point now = Clock::now();
    if (now >= dropAt_) {
      std::vector<Answer> answers;
      drop(answers, true);
      enqueue(std::move(answers));
      continue;
    }
    // Everything due goes in one batch, delivered without the lock.
    if (!late_.empty() && late_.front().due <= now) {
      batch.push_back(std::move(late_.front().answer));
      late_.erase(late_.begin());
    }
    while (!queue_.empty() && queue_.front().due <= now) {
      batch.push_back(std::move(queue_.front().answer));
      queue_.pop_front();
    }
    if (!batch.empty()) {
      mu_.unlock();
      deliver(batch);
      batch.clear();
      mu_.lock();
      continue;
    }
    if (walkMs_ > 0 && now >= nextWalk_) {
      Outbox out;
      counter_.walkStep(out);
      std::vector<Answer> answers = out.take();
      send(answers);
      enqueue(std::move(answers));
      nextWalk_ += std::chrono::milliseconds(walkMs_);
      if (nextWalk_ <= now) nextWalk_ = now + std::chrono::milliseconds(walkMs_);
      continue;
    }
    Clock::time_point wake = dropAt_;
    if (!queue_.empty()) wake = std::min(wake, queue_.front().due);
    if (!late_.empty()) wake = std::min(wake, late_.front().due);
    if (walkMs_ > 0) wake = std::min(wake, nextWalk_);
    sleep(wake);
  }
  mu_.unlock();
}

}  // namespace sim
}  // namespace xti
