// XtTraderSpi: the plug-in's receiver of the vendor library's callbacks.
//
// Contract:
//  1. The session creates exactly one receiver, hands it to the vendor API at
//     connect and destroys it only after the vendor API object has stopped
//     calling it.
//  2. Every handler runs on a vendor thread, possibly concurrently with other
//     handlers and with the session's requests on host threads. Handlers take
//     the registry's, a book's or the account set's lock only for one
//     operation, never two at once, and never while calling the host.
//  3. Each handler turns one vendor event into at most one host call (the order
//     query reply into one plus at most one order event), through the host
//     callback registered with the session. The host must register it before
//     connecting: handlers do not test it for null.
//  4. An exception thrown by the host's callback is caught at the end of the
//     handler and dropped: it must never unwind into the vendor library's
//     thread. Every book and registry change of the event is made before the
//     host is called, so the bookkeeping stays consistent.
//  5. Events for which no pending request exists are dropped without a host
//     call; nothing is logged.
#ifndef KESTREL_SPI_XT_TRADER_SPI_H_
#define KESTREL_SPI_XT_TRADER_SPI_H_

#include <memory>
#include <set>
#include <string>

#include "identity/order_identity_context.h"
#include "plugin/host_records.h"
#include "plugin/mutex.h"
#include "plugin/trade_session_spi.h"
#include "plugin/xt_trader_api.h"

namespace kestrel {

class XtTraderSpi : public xti::XtTraderApiCallback {
 public:
  XtTraderSpi();
  ~XtTraderSpi() override;
  XtTraderSpi(const XtTraderSpi&) = delete;
  XtTraderSpi& operator=(const XtTraderSpi&) = delete;

  // Connection and login (vendor slots 1, 2, 3).
  void onConnected(bool success, const char* errorMsg) override;
  void onUserLogin(const char* userName, const char* password, int requestId,
                   const xti::XtError& error) override;
  void onUserLogout(const char* userName, const char* password, int requestId,
                    const xti::XtError& error) override;

  // Order replies and pushes (vendor slots 4, 5, 7, 41, 46, 48, 49).
  void onOrderReply(int requestId, int orderId, const char* remark,
                    const xti::XtError& error) override;
  void onCancelReply(int requestId, const xti::XtError& error) override;
  void onCancelReply2(int requestId, const xti::XtError& error) override;
  void onAccountStatus(const char* accountId, int accountType, int status) override;
  void onOrderPush(const xti::VendorOrder* data) override;
  void onOrderErrorPush(const xti::VendorOrderError* data) override;
  void onCancelErrorPush(const xti::VendorOrderError* data) override;

  // Query replies and the deal push (vendor slots 9, 13, 15, 17, 19, 47).
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
  void onDealPush(const xti::VendorDeal* data) override;

  // Order-status dispatch: at most one of the four order events, by the first
  // rule that holds: status '4' rejected; status '5' cancelled; secondary
  // status '5' or '6' filled; a non-empty exchange order id accepted.
  void dispatchOrderEvent(const xti::VendorOrder& order);
  void reportOrderRejected(const xti::VendorOrder& order);
  void reportOrderCanceled(const xti::VendorOrder& order);
  void reportOrderFilled(const xti::VendorOrder& order);
  void reportOrderAccepted(const xti::VendorOrder& order);

  // The host's record for a pending request that failed; only the listed
  // fields are written, the rest keep the record's defaults.
  static void orderRecordFromNewRequest(const AccountOrderNewRequest& request, OrderRecord& record);
  static void orderRecordFromCancelRequest(const AccountOrderCancelRequest& request,
                                           OrderRecord& record);

  // --- Members, in this order ----------------------------------------------

  // Set by the session (registerSpi) before connect; not owned.
  ITradeSessionSpi* hostSpi;
  // Owned; made in the constructor, never replaced, released first.
  std::unique_ptr<OrderIdentityContext> identity;
  // Written by the session (setConfig) only while no callback can run; read
  // without a lock for every account header.
  SessionConfig config;
  // The logged-in fund accounts, smallest key first. Only grows.
  std::set<std::string> accountSet KS_GUARDED_BY(accountSetMutex);
  Mutex accountSetMutex;

 private:
  template <typename Record, typename Convert>
  void reportOrderEvent(const xti::VendorOrder& order, Convert convert,
                        void (ITradeSessionSpi::*hostCall)(const Record*, const ResultStatus&, int,
                                                           bool));

  template <typename VendorRecord, typename HostRecord, typename Build>
  void replyRecords(int requestId, const VendorRecord* data, bool isLast, const xti::XtError& error,
                    void (ITradeSessionSpi::*hostCall)(const HostRecord*, const ResultStatus&, int,
                                                       bool),
                    Build build);

  void cancelReply(int requestId, const xti::XtError& error);
};

}  // namespace kestrel

#endif  // KESTREL_SPI_XT_TRADER_SPI_H_
