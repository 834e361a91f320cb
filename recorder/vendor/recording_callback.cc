#include "recorder/vendor/recording_callback.h"

#include "recorder/journal/operations.h"

namespace kestrel {
namespace journal {

namespace callback = slot::callback;
using xti::XtError;

// Records the callback; returns the object to hand it to, or null.
template <typename... Values>
xti::XtTraderApiCallback* RecordingCallback::record(uint16_t slot, int request,
                                                    const Values&... values) {
  journal::record(journal_, Boundary::kVendor, Kind::kCallback, slot, object_, request, values...);
  return target_.load();
}

void RecordingCallback::onConnected(bool success, const char* errorMsg) {
  if (auto* target = record(callback::onConnected, 0, success, errorMsg)) {
    target->onConnected(success, errorMsg);
  }
}

void RecordingCallback::onUserLogin(const char* userName, const char* password, int requestId,
                                    const XtError& error) {
  if (auto* target =
          record(callback::onUserLogin, requestId, userName, Secret{password}, requestId, error)) {
    target->onUserLogin(userName, password, requestId, error);
  }
}

void RecordingCallback::onUserLogout(const char* userName, const char* password, int requestId,
                                     const XtError& error) {
  if (auto* target =
          record(callback::onUserLogout, requestId, userName, Secret{password}, requestId, error)) {
    target->onUserLogout(userName, password, requestId, error);
  }
}

void RecordingCallback::onOrderReply(int requestId, int orderId, const char* remark,
                                     const XtError& error) {
  if (auto* target = record(callback::onOrderReply, requestId, requestId, orderId, remark, error)) {
    target->onOrderReply(requestId, orderId, remark, error);
  }
}

void RecordingCallback::onCancelReply(int requestId, const XtError& error) {
  if (auto* target = record(callback::onCancelReply, requestId, requestId, error)) {
    target->onCancelReply(requestId, error);
  }
}

void RecordingCallback::onCancelReply2(int requestId, const XtError& error) {
  if (auto* target = record(callback::onCancelReply2, requestId, requestId, error)) {
    target->onCancelReply2(requestId, error);
  }
}

void RecordingCallback::onAccountDetailReply(const char* accountId, int requestId,
                                             const xti::VendorAccountDetail* data, bool isLast,
                                             const XtError& error) {
  if (auto* target = record(callback::onAccountDetailReply, requestId, accountId, requestId, data,
                            isLast, error)) {
    target->onAccountDetailReply(accountId, requestId, data, isLast, error);
  }
}

void RecordingCallback::onOrderDetailReply(const char* accountId, int requestId,
                                           const xti::VendorOrder* data, bool isLast,
                                           const XtError& error) {
  if (auto* target = record(callback::onOrderDetailReply, requestId, accountId, requestId, data,
                            isLast, error)) {
    target->onOrderDetailReply(accountId, requestId, data, isLast, error);
  }
}

void RecordingCallback::onDealDetailReply(const char* accountId, int requestId,
                                          const xti::VendorDeal* data, bool isLast,
                                          const XtError& error) {
  if (auto* target = record(callback::onDealDetailReply, requestId, accountId, requestId, data,
                            isLast, error)) {
    target->onDealDetailReply(accountId, requestId, data, isLast, error);
  }
}

void RecordingCallback::onPositionDetailReply(const char* accountId, int requestId,
                                              const xti::VendorPositionDetail* data, bool isLast,
                                              const XtError& error) {
  if (auto* target = record(callback::onPositionDetailReply, requestId, accountId, requestId, data,
                            isLast, error)) {
    target->onPositionDetailReply(accountId, requestId, data, isLast, error);
  }
}

void RecordingCallback::onPositionReply(const char* accountId, int requestId,
                                        const xti::VendorPosition* data, bool isLast,
                                        const XtError& error) {
  if (auto* target =
          record(callback::onPositionReply, requestId, accountId, requestId, data, isLast, error)) {
    target->onPositionReply(accountId, requestId, data, isLast, error);
  }
}

void RecordingCallback::onAccountStatus(const char* accountId, int accountType, int status) {
  if (auto* target = record(callback::onAccountStatus, 0, accountId, accountType, status)) {
    target->onAccountStatus(accountId, accountType, status);
  }
}

void RecordingCallback::onOrderPush(const xti::VendorOrder* data) {
  if (auto* target = record(callback::onOrderPush, 0, data)) target->onOrderPush(data);
}

void RecordingCallback::onDealPush(const xti::VendorDeal* data) {
  if (auto* target = record(callback::onDealPush, 0, data)) target->onDealPush(data);
}

void RecordingCallback::onOrderErrorPush(const xti::VendorOrderError* data) {
  if (auto* target = record(callback::onOrderErrorPush, 0, data)) target->onOrderErrorPush(data);
}

void RecordingCallback::onCancelErrorPush(const xti::VendorOrderError* data) {
  if (auto* target = record(callback::onCancelErrorPush, 0, data)) target->onCancelErrorPush(data);
}

}  // namespace journal
}  // namespace kestrel
