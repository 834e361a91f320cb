// ObservedApi: an XtTraderApi that notes each request as a journal entry
// before it hands the request on, unchanged and on the caller's thread. The
// recording vendor library hands requests on to the real library; the vendor
// library of journal_replay hands them to nobody and keeps the entries.
#ifndef KESTREL_RECORDER_VENDOR_OBSERVED_API_H_
#define KESTREL_RECORDER_VENDOR_OBSERVED_API_H_

#include <cstdint>
#include <string>

#include "plugin/xt_trader_api.h"

namespace kestrel {
namespace journal {

class ObservedApi : public xti::XtTraderApi {
 public:
  void setCallback(xti::XtTraderApiCallback* callback) override;
  void init(const char* configFilePath) override;
  void shutdown() override;
  void userLogin(const char* userName, const char* password, int requestId, const char* machineInfo,
                 const char* appId, const char* authCode) override;
  void userLogout(const char* userName, const char* password, int requestId) override;
  void queryAccountDetail(const char* accountId, int requestId, const char* extra) override;
  void queryOrderDetail(const char* accountId, int requestId, const char* extra) override;
  void queryDealDetail(const char* accountId, int requestId, const char* extra) override;
  void queryPositionDetail(const char* accountId, int requestId, const char* extra) override;
  void queryPosition(const char* accountId, int requestId, const char* extra) override;
  void placeOrder(const xti::COrdinaryOrder* order, int requestId, const char* extra) override;
  void cancelOrderById(int orderId, int requestId) override;
  void cancelOrderByExchangeId(const char* accountId, const char* exchangeOrderId,
                               const char* exchangeCode, const char* instrumentCode, int requestId,
                               const char* extra) override;

 protected:
  // `object` is the journal's number of this API object; `next`, not owned,
  // receives every request once it is noted (none when null).
  ObservedApi(uint32_t object, xti::XtTraderApi* next) : object_(object), next_(next) {}

  // Takes each entry, built in `frame`.
  virtual void noted(std::string& frame) = 0;
  // An entry that could not be built or taken.
  virtual void lost() {}
  // What the next library gets from setCallback() for the plug-in's object.
  virtual xti::XtTraderApiCallback* callbackFor(xti::XtTraderApiCallback* callback) {
    return callback;
  }
  // Runs after shutdown() was noted and handed on.
  virtual void stopped() {}
  // Notes the end of the object; subclasses call it from their destructor.
  void noteDestroyed();

  const uint32_t object_;

 private:
  template <typename... Values>
  void note(uint16_t slot, int request, const Values&... values);

  xti::XtTraderApi* const next_;
};

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_VENDOR_OBSERVED_API_H_
