#include "broker/connection.h"

#include <algorithm>

#include "broker/sim_config.h"

namespace xti {
namespace sim {
namespace {

// The connections whose callbacks this thread is running now, innermost last
// (a synchronous answer can nest inside another connection's callback).
thread_local std::vector<const Connection*> tlsDelivering;

const char kConfigError[] = "配置文件错误: ";
const char kUnreachable[] = "无法连接到柜台 ";

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
  ConfigResult loaded = loadConfig(configPathFor(configPath));
  Outbox out;
  {
    kestrel::MutexLock lock(mu_);
    if (stopped_) return;
    const Behaviour& behaviour = loaded.ok ? loaded.config.behaviour : Behaviour();
    const std::vector<std::string>& unreachable = behaviour.unreachable;
    synchronous_ = behaviour.synchronous;
    latencyMs_ = behaviour.replyLatencyMs;
    walkMs_ = 0;
    if (!loaded.ok) {
      counter_ = Counter::offline();
      out.connected(false, kConfigError + loaded.error);
    } else if (std::find(unreachable.begin(), unreachable.end(), address_) != unreachable.end()) {
      counter_ = Counter::offline();
      out.connected(false, kUnreachable + address_);
    } else {
      walkMs_ = behaviour.priceWalkMs;
      nextWalk_ = Clock::now() + std::chrono::milliseconds(walkMs_);
      counter_ = Counter(std::move(loaded.config), clock_);
      out.connected(true, std::string());
    }
    changed_.notify_all();
    if (!synchronous_) return enqueue(out.take());
  }
  for (const Event& event : out.take()) deliver(event);
}

void Connection::enqueue(std::vector<Event> events) {
  const Clock::time_point due = Clock::now() + std::chrono::milliseconds(latencyMs_);
  for (Event& event : events) queue_.push_back(Pending{std::move(event), due});
  changed_.notify_all();
}

int Connection::callbacksOnThisThread() const {
  return static_cast<int>(std::count(tlsDelivering.begin(), tlsDelivering.end(), this));
}

void Connection::deliver(const Event& event) {
  XtTraderApiCallback* callback = nullptr;
  {
    kestrel::MutexLock lock(mu_);
    if (stopped_ || callback_ == nullptr) return;
    callback = callback_;
    ++inFlight_;
  }
  tlsDelivering.push_back(this);
  try {
    event(*callback);
  } catch (...) {
    // The receiver's exception ends at the library's boundary.
  }
  tlsDelivering.pop_back();
  kestrel::MutexLock lock(mu_);
  --inFlight_;
  changed_.notify_all();
}

void Connection::shutdown() {
  const int own = callbacksOnThisThread();
  kestrel::MutexLock lock(mu_);
  stopped_ = true;
  queue_.clear();
  changed_.notify_all();
  while (inFlight_ > own) changed_.wait(mu_);
}

void Connection::run() {
  mu_.lock();
  while (!stopped_) {
    const Clock::time_point now = Clock::now();
    if (!queue_.empty() && queue_.front().due <= now) {
      const Event event = std::move(queue_.front().event);
      queue_.pop_front();
      mu_.unlock();
      deliver(event);
      mu_.lock();
      continue;
    }
    if (walkMs_ > 0 && now >= nextWalk_) {
      Outbox out;
      counter_.walkStep(out);
      enqueue(out.take());
      nextWalk_ += std::chrono::milliseconds(walkMs_);
      if (nextWalk_ <= now) nextWalk_ = now + std::chrono::milliseconds(walkMs_);
      continue;
    }
    Clock::time_point wake = Clock::time_point::max();
    if (!queue_.empty()) wake = queue_.front().due;
    if (walkMs_ > 0) wake = std::min(wake, nextWalk_);
    if (wake == Clock::time_point::max()) {
      changed_.wait(mu_);
    } else {
      changed_.wait_until(mu_, wake);
    }
  }
  mu_.unlock();
}

}  // namespace sim
}  // namespace xti
