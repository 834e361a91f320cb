// The simulated API object, the factory that makes it, and the tally of its
// callback threads.
#include "broker/simulated_api.h"

#include <condition_variable>
#include <cstring>
#include <new>
#include <system_error>

#include "broker/simulated_counter.h"
#include "plugin/library_object.h"
#include "plugin/mutex.h"

namespace xti {
namespace sim {
namespace {

// Texts from the caller: a null pointer reads as an empty text.
std::string text(const char* p) { return p != nullptr ? std::string(p) : std::string(); }

// The process-wide tally of the callback threads, which XtTraderApi::joinAll
// waits on. A thread is counted from just before it starts until its last
// step; joinAll called on a callback thread would wait for itself, so it
// must not be. Thread-safe: the mutex guards the count.
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

bool isUsableAddress(const char* address) {
  if (address == nullptr) return false;
  const std::size_t length = std::strlen(address);
  if (length == 0 || length > 255) return false;
  const char* colon = std::strrchr(address, ':');
  if (colon == nullptr || colon == address) return false;
  for (const char* p = address; p < colon; ++p) {
    if (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n') return false;
  }
  const char* port = colon + 1;
  const std::size_t digits = std::strlen(port);
  if (digits == 0 || digits > 5) return false;
  long value = 0;
  for (const char* p = port; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') return false;
    value = value * 10 + (*p - '0');
  }
  return value >= 1 && value <= 65535;
}

XtTraderApi* createSimulatedApi(const char* address) {
  if (!isUsableAddress(address)) return nullptr;
  try {
    return new SimulatedApi(address);
  } catch (const std::bad_alloc&) {
    return nullptr;
  } catch (const std::system_error&) {  // no thread could be started
    return nullptr;
  }
}

void joinSimulatedThreads() { tally().waitForAll(); }

SimulatedApi::SimulatedApi(const std::string& address)
    : connection_(std::make_shared<Connection>(address)) {
  tally().starting();
  std::shared_ptr<Connection> connection = connection_;
  try {
    thread_ = std::thread([connection]() mutable {
      connection->run();
      connection.reset();  // the last owner once the API object is gone
      tally().ended();
    });
  } catch (...) {
    tally().ended();
    throw;
  }
}

SimulatedApi::~SimulatedApi() {
  connection_->shutdown();
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();  // deleted from its own callback: the thread holds the connection
  } else if (thread_.joinable()) {
    thread_.join();
  }
}

void SimulatedApi::setCallback(XtTraderApiCallback* callback) {
  connection_->setCallback(callback);
}
void SimulatedApi::init(const char* path) { connection_->init(path); }
void SimulatedApi::shutdown() { connection_->shutdown(); }
void SimulatedApi::setClock(Counter::Clock clock) { connection_->setClock(std::move(clock)); }

void SimulatedApi::userLogin(const char* userName, const char* password, int requestId, const char*,
                             const char*, const char*) {
  connection_->request([&](Counter& counter, Outbox& out) {
    counter.login(text(userName), text(password), requestId, out);
  });
}

void SimulatedApi::userLogout(const char* userName, const char* password, int requestId) {
  connection_->request([&](Counter& counter, Outbox& out) {
    counter.logout(text(userName), text(password), requestId, out);
  });
}

// The five queries answer alike: the account's records, on the callback thread.
void SimulatedApi::query(Query query, const char* accountId, int requestId) {
  connection_->request(
      [&](Counter& counter, Outbox& out) { (counter.*query)(text(accountId), requestId, out); });
}

void SimulatedApi::queryAccountDetail(const char* accountId, int requestId, const char*) {
  query(&Counter::queryAccountDetail, accountId, requestId);
}
void SimulatedApi::queryOrderDetail(const char* accountId, int requestId, const char*) {
  query(&Counter::queryOrderDetail, accountId, requestId);
}
void SimulatedApi::queryDealDetail(const char* accountId, int requestId, const char*) {
  query(&Counter::queryDealDetail, accountId, requestId);
}
void SimulatedApi::queryPositionDetail(const char* accountId, int requestId, const char*) {
  query(&Counter::queryPositionDetail, accountId, requestId);
}
void SimulatedApi::queryPosition(const char* accountId, int requestId, const char*) {
  query(&Counter::queryPosition, accountId, requestId);
}

void SimulatedApi::placeOrder(const COrdinaryOrder* order, int requestId, const char*) {
  connection_->request(
      [&](Counter& counter, Outbox& out) { counter.placeOrder(order, requestId, out); });
}

void SimulatedApi::cancelOrderById(int orderId, int requestId) {
  connection_->request(
      [&](Counter& counter, Outbox& out) { counter.cancelById(orderId, requestId, out); });
}

void SimulatedApi::cancelOrderByExchangeId(const char* accountId, const char* exchangeOrderId,
                                           const char* exchangeCode, const char* instrumentCode,
                                           int requestId, const char*) {
  connection_->request([&](Counter& counter, Outbox& out) {
    counter.cancelByExchangeId(text(accountId), text(exchangeOrderId), text(exchangeCode),
                               text(instrumentCode), requestId, out);
  });
}

bool SimulatedApi::setReferencePrice(const std::string& instrument, double price) {
  bool moved = false;
  connection_->request([&](Counter& counter, Outbox& out) {
    moved = counter.setReferencePrice(instrument, price, out);
  });
  return moved;
}

}  // namespace sim
}  // namespace xti
