// ITradeSessionSpi: the host's callback interface, shared with the host.
//
// Contract:
//  1. The host implements it and hands it to a session with registerSpi(),
//     before connect(); the plug-in never owns or deletes it. Events that
//     arrive while no callback object is registered reach nobody.
//  2. Calls arrive on the vendor library's threads (onDisconnected also on a
//     helper thread of release()), possibly concurrently and possibly before
//     the request that caused them has returned. An implementation must be
//     thread-safe.
//  3. Every argument lives only for the duration of the call; copy what you keep.
//  4. Record-carrying operations take (record or null, status, request number,
//     isLast). Pushes carry request number -1 and isLast true.
//
// The order of the virtual operations is binding: the plug-in calls them by
// slot, noted beside each one as in ITradeSession (plugin/trade_session.h):
// the destructor's slot is 0, the first operation's 1, and so on; a slot is
// the operation's index in Visual C++'s vtable, and the slot plus one in
// GCC's and clang's (Itanium) ABI, where the destructor takes two entries.
// Slots the plug-in never calls are held by placeholder operations so that
// the numbering cannot drift. (The project's plugin/interface_table.h mirrors
// the declarations row by row.)
#ifndef KESTREL_PLUGIN_TRADE_SESSION_SPI_H_
#define KESTREL_PLUGIN_TRADE_SESSION_SPI_H_

#include "plugin/host_records.h"
#include "plugin/result_status.h"

namespace kestrel {

class ITradeSessionSpi {
 public:
  virtual ~ITradeSessionSpi() = default;                                       // slot 0
  virtual void onConnected(const ResultStatus& status) { (void)status; }       // slot 1
  virtual void reservedSlot2() {}                                              // slot 2
  virtual void onLogin(const ResultStatus& status, const LoginReply& reply) {  // slot 3
    (void)status;
    (void)reply;
  }
  virtual void onLogout(const ResultStatus& status) { (void)status; }        // slot 4
  virtual void onDisconnected(const ResultStatus& status) { (void)status; }  // slot 5
  virtual void reservedSlot6() {}                                            // slot 6
  virtual void reservedSlot7() {}                                            // slot 7
  virtual void reservedSlot8() {}                                            // slot 8
  virtual void onOrderAccepted(const OrderAcceptedRecord* record, const ResultStatus& status,
                               int requestId, bool isLast) {  // slot 9
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void onOrderRejected(const OrderRecord* record, const ResultStatus& status, int requestId,
                               bool isLast) {  // slot 10
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void onOrderFilled(const OrderFilledRecord* record, const ResultStatus& status,
                             int requestId, bool isLast) {  // slot 11
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void onOrderCanceled(const OrderRecord* record, const ResultStatus& status, int requestId,
                               bool isLast) {  // slot 12
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void onFill(const FillRecord* record, const ResultStatus& status, int requestId,
                      bool isLast) {  // slot 13
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void onOrdersResponse(const OrderDetailRecord* record, const ResultStatus& status,
                                int requestId, bool isLast) {  // slot 14
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void reservedSlot15() {}  // slot 15
  virtual void reservedSlot16() {}  // slot 16
  virtual void onFillsResponse(const FillRecord* record, const ResultStatus& status, int requestId,
                               bool isLast) {  // slot 17
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void onPositionsResponse(const PositionRecord* record, const ResultStatus& status,
                                   int requestId, bool isLast) {  // slot 18
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void onPositionDetailsResponse(const PositionDetailRecord* record,
                                         const ResultStatus& status, int requestId,
                                         bool isLast) {  // slot 19
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
  virtual void reservedSlot20() {}  // slot 20
  virtual void reservedSlot21() {}  // slot 21
  virtual void onAccountFundsResponse(const AccountFunds* record, const ResultStatus& status,
                                      int requestId, bool isLast) {  // slot 22
    (void)record, (void)status, (void)requestId, (void)isLast;
  }
};

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_TRADE_SESSION_SPI_H_
