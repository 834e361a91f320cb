#include "recorder/vendor/observed_api.h"

#include "recorder/journal/operations.h"

namespace kestrel {
namespace journal {

namespace request = slot::vendor;

template <typename... Values>
void ObservedApi::note(uint16_t slot, int requestId, const Values&... values) {
  try {
    std::string frame;
    buildEntry(frame, Boundary::kVendor, Kind::kRequest, slot, object_, requestId,
               [&](FrameWriter& w) { (put(w, values), ...); });
    noted(frame);
  } catch (...) {
    lost();
  }
}

void ObservedApi::noteDestroyed() { note(op::kDestroyApi, 0); }

void ObservedApi::setCallback(xti::XtTraderApiCallback* callback) {
  note(request::setCallback, 0, callback);
  xti::XtTraderApiCallback* forwarded = callbackFor(callback);
  if (next_ != nullptr) next_->setCallback(forwarded);
}

void ObservedApi::init(const char* configFilePath) {
  note(request::init, 0, configFilePath);
  if (next_ != nullptr) next_->init(configFilePath);
}

void ObservedApi::shutdown() {
  note(request::shutdown, 0);
  if (next_ != nullptr) next_->shutdown();
  stopped();
}

void ObservedApi::userLogin(const char* userName, const char* password, int requestId,
                            const char* machineInfo, const char* appId, const char* authCode) {
  note(request::userLogin, requestId, userName, Secret{password}, requestId, machineInfo, appId,
       Secret{authCode});
  if (next_ != nullptr) {
    next_->userLogin(userName, password, requestId, machineInfo, appId, authCode);
  }
}

void ObservedApi::userLogout(const char* userName, const char* password, int requestId) {
  note(request::userLogout, requestId, userName, Secret{password}, requestId);
  if (next_ != nullptr) next_->userLogout(userName, password, requestId);
}

void ObservedApi::queryAccountDetail(const char* accountId, int requestId, const char* extra) {
  note(request::queryAccountDetail, requestId, accountId, requestId, extra);
  if (next_ != nullptr) next_->queryAccountDetail(accountId, requestId, extra);
}

void ObservedApi::queryOrderDetail(const char* accountId, int requestId, const char* extra) {
  note(request::queryOrderDetail, requestId, accountId, requestId, extra);
  if (next_ != nullptr) next_->queryOrderDetail(accountId, requestId, extra);
}

void ObservedApi::queryDealDetail(const char* accountId, int requestId, const char* extra) {
  note(request::queryDealDetail, requestId, accountId, requestId, extra);
  if (next_ != nullptr) next_->queryDealDetail(accountId, requestId, extra);
}

void ObservedApi::queryPositionDetail(const char* accountId, int requestId, const char* extra) {
  note(request::queryPositionDetail, requestId, accountId, requestId, extra);
  if (next_ != nullptr) next_->queryPositionDetail(accountId, requestId, extra);
}

void ObservedApi::queryPosition(const char* accountId, int requestId, const char* extra) {
  note(request::queryPosition, requestId, accountId, requestId, extra);
  if (next_ != nullptr) next_->queryPosition(accountId, requestId, extra);
}

void ObservedApi::placeOrder(const xti::COrdinaryOrder* order, int requestId, const char* extra) {
  note(request::placeOrder, requestId, order, requestId, extra);
  if (next_ != nullptr) next_->placeOrder(order, requestId, extra);
}

void ObservedApi::cancelOrderById(int orderId, int requestId) {
  note(request::cancelOrderById, requestId, orderId, requestId);
  if (next_ != nullptr) next_->cancelOrderById(orderId, requestId);
}

void ObservedApi::cancelOrderByExchangeId(const char* accountId, const char* exchangeOrderId,
                                          const char* exchangeCode, const char* instrumentCode,
                                          int requestId, const char* extra) {
  note(request::cancelOrderByExchangeId, requestId, accountId, exchangeOrderId, exchangeCode,
       instrumentCode, requestId, extra);
  if (next_ != nullptr) {
    next_->cancelOrderByExchangeId(accountId, exchangeOrderId, exchangeCode, instrumentCode,
                                   requestId, extra);
  }
}

}  // namespace journal
}  // namespace kestrel
