#include "recorder/vendor/recording_callback.h"

#include "recorder/journal/operations.h"

namespace kestrel {
namespace journal {

namespace callback = slot::callback;
using xti::XtError;

// Records the callback, makes `call` on the plug-in's object (when there is
// one), and records the callback's return.
template <typename Call, typename... Values>
void RecordingCallback::forward(uint16_t slot, int request, const Call& call,
                                const Values&... values) {
  journal::record(journal_, Boundary::kVendor, Kind::kCallback, slot, object_, request, values...);
  xti::XtTraderApiCallback* target = target_.load();
  callAndNoteReturn(
      [&] {
        if (target != nullptr) call(*target);
      },
      [&](bool threw) {
        journal::record(journal_, Boundary::kVendor, Kind::kDone, slot, object_, request, threw);
      });
}

void RecordingCallback::onConnected(bool success, const char* errorMsg) {
  forward(
      callback::onConnected, 0,
      [&](xti::XtTraderApiCallback& t) { t.onConnected(success, errorMsg); }, success, errorMsg);
}

void RecordingCallback::onUserLogin(const char* userName, const char* password, int requestId,
                                    const XtError& error) {
  forward(
      callback::onUserLogin, requestId,
      [&](xti::XtTraderApiCallback& t) { t.onUserLogin(userName, password, requestId, error); },
      userName, Secret{password}, requestId, error);
}

void RecordingCallback::onUserLogout(const char* userName, const char* password, int requestId,
                                     const XtError& error) {
  forward(
      callback::onUserLogout, requestId,
      [&](xti::XtTraderApiCallback& t) { t.onUserLogout(userName, password, requestId, error); },
      userName, Secret{password}, requestId, error);
}

void RecordingCallback::onOrderReply(int requestId, int orderId, const char* remark,
                                     const XtError& error) {
  forward(
      callback::onOrderReply, requestId,
      [&](xti::XtTraderApiCallback& t) { t.onOrderReply(requestId, orderId, remark, error); },
      requestId, orderId, remark, error);
}

void RecordingCallback::onCancelReply(int requestId, const XtError& error) {
  forward(
      callback::onCancelReply, requestId,
      [&](xti::XtTraderApiCallback& t) { t.onCancelReply(requestId, error); }, requestId, error);
}

void RecordingCallback::onCancelReply2(int requestId, const XtError& error) {
  forward(
      callback::onCancelReply2, requestId,
      [&](xti::XtTraderApiCallback& t) { t.onCancelReply2(requestId, error); }, requestId, error);
}

void RecordingCallback::onAccountDetailReply(const char* accountId, int requestId,
                                             const xti::VendorAccountDetail* data, bool isLast,
                                             const XtError& error) {
  forward(
      callback::onAccountDetailReply, requestId,
      [&](xti::XtTraderApiCallback& t) {
        t.onAccountDetailReply(accountId, requestId, data, isLast, error);
      },
      accountId, requestId, data, isLast, error);
}

void RecordingCallback::onOrderDetailReply(const char* accountId, int requestId,
                                           const xti::VendorOrder* data, bool isLast,
                                           const XtError& error) {
  forward(
      callback::onOrderDetailReply, requestId,
      [&](xti::XtTraderApiCallback& t) {
        t.onOrderDetailReply(accountId, requestId, data, isLast, error);
      },
      accountId, requestId, data, isLast, error);
}

void RecordingCallback::onDealDetailReply(const char* accountId, int requestId,
                                          const xti::VendorDeal* data, bool isLast,
                                          const XtError& error) {
  forward(
      callback::onDealDetailReply, requestId,
      [&](xti::XtTraderApiCallback& t) {
        t.onDealDetailReply(accountId, requestId, data, isLast, error);
      },
      accountId, requestId, data, isLast, error);
}

void RecordingCallback::onPositionDetailReply(const char* accountId, int requestId,
                                              const xti::VendorPositionDetail* data, bool isLast,
                                              const XtError& error) {
  forward(
      callback::onPositionDetailReply, requestId,
      [&](xti::XtTraderApiCallback& t) {
        t.onPositionDetailReply(accountId, requestId, data, isLast, error);
      },
      accountId, requestId, data, isLast, error);
}

void RecordingCallback::onPositionReply(const char* accountId, int requestId,
                                        const xti::VendorPosition* data, bool isLast,
                                        const XtError& error) {
  forward(
      callback::onPositionReply, requestId,
      [&](xti::XtTraderApiCallback& t) {
        t.onPositionReply(accountId, requestId, data, isLast, error);
      },
      accountId, requestId, data, isLast, error);
}

void RecordingCallback::onAccountStatus(const char* accountId, int accountType, int status) {
  forward(
      callback::onAccountStatus, 0,
      [&](xti::XtTraderApiCallback& t) { t.onAccountStatus(accountId, accountType, status); },
      accountId, accountType, status);
}

void RecordingCallback::onOrderPush(const xti::VendorOrder* data) {
  forward(
      callback::onOrderPush, 0, [&](xti::XtTraderApiCallback& t) { t.onOrderPush(data); }, data);
}

void RecordingCallback::onDealPush(const xti::VendorDeal* data) {
  forward(
      callback::onDealPush, 0, [&](xti::XtTraderApiCallback& t) { t.onDealPush(data); }, data);
}

void RecordingCallback::onOrderErrorPush(const xti::VendorOrderError* data) {
  forward(
      callback::onOrderErrorPush, 0, [&](xti::XtTraderApiCallback& t) { t.onOrderErrorPush(data); },
      data);
}

void RecordingCallback::onCancelErrorPush(const xti::VendorOrderError* data) {
  forward(
      callback::onCancelErrorPush, 0,
      [&](xti::XtTraderApiCallback& t) { t.onCancelErrorPush(data); }, data);
}

}  // namespace journal
}  // namespace kestrel
