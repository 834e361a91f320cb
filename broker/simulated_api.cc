#include "broker/simulated_api.h"

#include "broker/callback_threads.h"

namespace xti {
namespace sim {
namespace {

// Texts from the caller: a null pointer reads as an empty text.
std::string text(const char* p) { return p != nullptr ? std::string(p) : std::string(); }

}  // namespace

SimulatedApi::SimulatedApi(const std::string& address)
    : connection_(std::make_shared<Connection>(address)) {
  callbackThreadStarting();
  std::shared_ptr<Connection> connection = connection_;
  try {
    thread_ = std::thread([connection]() mutable {
      connection->run();
      connection.reset();  // the last owner once the API object is gone
      callbackThreadEnded();
    });
  } catch (...) {
    callbackThreadEnded();
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

void SimulatedApi::stepPriceWalk() {
  connection_->request([](Counter& counter, Outbox& out) { counter.walkStep(out); });
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
