// RecordingCallback: the callback object the recording vendor library hands to
// the real one in place of the plug-in's.
//
// Every callback arrives on the real library's thread, is recorded into the
// journal (which only queues it), then made on the plug-in's callback object
// on that same thread before the callback returns; the record pointers are
// handed on unchanged. Its return (or the exception it passes on) is
// recorded too, on that thread, as the entry that closes the callback.
#ifndef KESTREL_RECORDER_VENDOR_RECORDING_CALLBACK_H_
#define KESTREL_RECORDER_VENDOR_RECORDING_CALLBACK_H_

#include <atomic>
#include <cstdint>

#include "plugin/xt_trader_api.h"
#include "recorder/journal/journal.h"

namespace kestrel {
namespace journal {

class RecordingCallback final : public xti::XtTraderApiCallback {
 public:
  // `object` is the journal's number of the API object this callback serves.
  RecordingCallback(Journal& journal, uint32_t object) : journal_(journal), object_(object) {}

  // The plug-in's callback object; null stops the forwarding (the callback
  // is still recorded). Safe from any thread.
  void setTarget(xti::XtTraderApiCallback* target) { target_.store(target); }

  void onConnected(bool success, const char* errorMsg) override;
  void onUserLogin(const char* userName, const char* password, int requestId,
                   const xti::XtError& error) override;
  void onUserLogout(const char* userName, const char* password, int requestId,
                    const xti::XtError& error) override;
  void onOrderReply(int requestId, int orderId, const char* remark,
                    const xti::XtError& error) override;
  void onCancelReply(int requestId, const xti::XtError& error) override;
  void onCancelReply2(int requestId, const xti::XtError& error) override;
  void onAccountDetailReply(const char* accountId, int requestId,
                            const xti::VendorAccountDetail* data, bool isLast,
                            const xti::XtError& error) override;
  void onOrderDetailReply(const char* accountId, int requestId, const xti::VendorOrder* data,
                          bool isLast, const xti::XtError& error) override;
  void onDealDetailReply(const char* accountId, int requestId, const xti::VendorDeal* data,
                         bool isLast, const xti::XtError& error) override;
  void onPositionDetailReply(const char* accountId, int requestId,
                             const xti::VendorPositionDetail* data, bool isLast,
                             const xti::XtError& error) override;
  void onPositionReply(const char* accountId, int requestId, const xti::VendorPosition* data,
                       bool isLast, const xti::XtError& error) override;
  void onAccountStatus(const char* accountId, int accountType, int status) override;
  void onOrderPush(const xti::VendorOrder* data) override;
  void onDealPush(const xti::VendorDeal* data) override;
  void onOrderErrorPush(const xti::VendorOrderError* data) override;
  void onCancelErrorPush(const xti::VendorOrderError* data) override;

 private:
  template <typename Call, typename... Values>
  void forward(uint16_t slot, int request, const Call& call, const Values&... values);

  Journal& journal_;
  const uint32_t object_;
  std::atomic<xti::XtTraderApiCallback*> target_{nullptr};
};

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_VENDOR_RECORDING_CALLBACK_H_
