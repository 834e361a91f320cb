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
//     callback the session registered with setHost(). The host registers it
//     before connecting; if it breaks that rule (no callback at all, or
//     registerSpi(nullptr) while connected), every event still does its
//     bookkeeping (books, registry, account set) and reaches nobody.
//  4. An exception thrown by the host's callback is caught at the end of the
//     handler and dropped: it must never unwind into the vendor library's
//     thread. Every book and registry change of the event is made before the
//     host is called, so the bookkeeping stays consistent.
//  5. Events for which no pending request exists are dropped without a host
//     call; nothing is logged.
#ifndef KESTREL_SPI_XT_TRADER_SPI_H_
#define KESTREL_SPI_XT_TRADER_SPI_H_

#include <atomic>
#include <memory>
#include <set>
#include <string>

#include "identity/order_identity_context.h"
#include "plugin/common.h"
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

  // --- What the session asks of the receiver, on host threads ----------------

  // The host callback every event goes to; null sends events to nobody. Safe
  // at any time: an event already under way may still reach the old one.
  void setHost(ITradeSessionSpi* host);

  // The settings every reported record's account header is built from.
  // REQUIRES: no vendor callback can run (the host's rule for setConfig).
  void setSettings(const SessionConfig& config);

  // The fund account to trade on: the smallest logged-in account key, or an
  // empty text when none is known.
  [[nodiscard]] std::string fundAccount() KS_EXCLUDES(accountSetMutex_) {
    MutexLock lock(accountSetMutex_);
    return accountSet_.empty() ? std::string() : *accountSet_.begin();
  }

  // Files an order before it goes to the vendor, whose answer may arrive
  // before the vendor call returns: its client id under the request number
  // in the registry, then a copy in the new-order book. An allocation failure
  // leaves whatever was filed before it.
  void fileOrder(int requestId, const AccountOrderNewRequest& request) {
    identity_->registry->add(requestId, request.clientId);
    identity_->newOrderBook->put(requestId, request);
  }

  // Files a copy of a cancel in the cancel book, before it goes to the vendor.
  void fileCancel(int requestId, const AccountOrderCancelRequest& request) {
    identity_->cancelBook->put(requestId, request);
  }

  // --- Vendor callbacks, on vendor threads ------------------------------------

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

  // --- Test seam: for tests, benchmarks and fuzz targets only ----------------

  OrderIdentityContext& TEST_identity() { return *identity_; }
  // The moment a successful login takes its trading day for; null (the
  // default) is the current time.
  void TEST_setLoginTime(const Timestamp* at) { loginTime_ = at; }

 private:
  // The registered host, or one whose every operation does nothing.
  ITradeSessionSpi& host() const { return *host_.load(std::memory_order_acquire); }

  // Order-status dispatch: at most one of the four order events, by the first
  // rule that holds: status '4' rejected; status '5' cancelled; secondary
  // status '5' or '6' filled; a non-empty exchange order id accepted.
  void dispatchOrderEvent(const xti::VendorOrder& order);

  // One order event: the record converted from the vendor's order, with the
  // registered client id or the made-up one, request number -1, code 0.
  template <typename Record, typename Convert>
  void reportOrderEvent(const xti::VendorOrder& order, Convert convert,
                        void (ITradeSessionSpi::*hostCall)(const Record*, const ResultStatus&, int,
                                                           bool));

  // A failed order or cancel: takes the pending request out of `book` and, if
  // it was there, reports it with code -1 and the vendor's text.
  template <typename Request>
  void reportPendingFailure(PendingOrderBook<Request>& book, int requestId, const char* utf8Message,
                            void (ITradeSessionSpi::*hostCall)(const OrderRecord*,
                                                               const ResultStatus&, int, bool));

  template <typename VendorRecord, typename HostRecord, typename Build>
  void replyRecords(int requestId, const VendorRecord* data, bool isLast, const xti::XtError& error,
                    void (ITradeSessionSpi::*hostCall)(const HostRecord*, const ResultStatus&, int,
                                                       bool),
                    Build build);

  void cancelReply(int requestId, const xti::XtError& error);

  // --- Members, destroyed in reverse order: identity first -------------------

  // Written on host threads by setHost, read by every handler; never null.
  std::atomic<ITradeSessionSpi*> host_;
  // Written by setSettings only while no callback can run; read without a
  // lock for every account header.
  SessionConfig config_;
  // The logged-in fund accounts, smallest key first. Only grows.
  std::set<std::string> accountSet_ KS_GUARDED_BY(accountSetMutex_);
  Mutex accountSetMutex_;
  // Owned; each of its members locks itself.
  std::unique_ptr<OrderIdentityContext> identity_;
  // Set only by tests, before the events it is meant for.
  const Timestamp* loginTime_ = nullptr;
};

}  // namespace kestrel

#endif  // KESTREL_SPI_XT_TRADER_SPI_H_
