// XtTraderSpi: order replies, failure pushes, the order and deal pushes,
// account status, and the order-status dispatch that turns a vendor order
// into a host event.
#include <string>
#include <utility>

#include "plugin/platform.h"
#include "spi/handler_guard.h"
#include "spi/record_conversion.h"
#include "spi/xt_trader_spi.h"

namespace kestrel {
namespace {

// Vendor status character codes the dispatch looks at.
constexpr int32_t kStatusRejected = xti::ORDER_REJECTED_CHAR;
constexpr int32_t kStatusCanceled = xti::ORDER_CANCELED_CHAR;
constexpr int32_t kSecondaryPartFilled = xti::SUBMIT_PART_FILLED_CHAR;
constexpr int32_t kSecondaryAllFilled = xti::SUBMIT_ALL_FILLED_CHAR;

// The host's record of a pending request that failed: only these fields are
// written, the rest keep the record's defaults.
template <typename Request>
void copyRequestIdentity(const Request& request, OrderRecord& record) {
  record.header = request.header;
  record.codeId = request.codeId;
  record.clientId = request.clientId;
  record.price = request.price;
}

void orderRecordFrom(const AccountOrderNewRequest& request, OrderRecord& record) {
  copyRequestIdentity(request, record);
  record.volume = request.quantity;
  record.priceType = request.priceType;
  record.offsetFlag = request.offsetFlag;
  record.hedgeFlag = request.hedgeFlag;
  record.direction = request.direction;
}

void orderRecordFrom(const AccountOrderCancelRequest& request, OrderRecord& record) {
  copyRequestIdentity(request, record);
  record.exchangeOrderId = request.exchangeOrderId;
}

}  // namespace

// --- Order-status dispatch and the four event reports --------------------------

void XtTraderSpi::dispatchOrderEvent(const xti::VendorOrder& order) {
  if (order.m_nOrderStatus == kStatusRejected) {
    reportOrderEvent<OrderRecord>(order, toRejectedOrderRecord, &ITradeSessionSpi::onOrderRejected);
  } else if (order.m_nOrderStatus == kStatusCanceled) {
    reportOrderEvent<OrderRecord>(order, toOrderRecord<OrderRecord>,
                                  &ITradeSessionSpi::onOrderCanceled);
  } else if (order.m_nOrderSubmitStatus == kSecondaryPartFilled ||
             order.m_nOrderSubmitStatus == kSecondaryAllFilled) {
    reportOrderEvent<OrderFilledRecord>(order, toOrderRecord<OrderFilledRecord>,
                                        &ITradeSessionSpi::onOrderFilled);
  } else if (order.m_strOrderSysID[0] != '\0') {
    reportOrderEvent<OrderAcceptedRecord>(order, toOrderRecord<OrderAcceptedRecord>,
                                          &ITradeSessionSpi::onOrderAccepted);
  }
}

template <typename Record, typename Convert>
void XtTraderSpi::reportOrderEvent(const xti::VendorOrder& order, Convert convert,
                                   void (ITradeSessionSpi::*hostCall)(const Record*,
                                                                      const ResultStatus&, int,
                                                                      bool)) {
  Record record;
  convert(order, config_, record);
  if (!identity_->registry->get(order.m_nOrderID, record.clientId)) {
    fallbackClientId(order.m_nOrderID, record.clientId);
  }
  (host().*hostCall)(&record, successStatus(), kPushRequestId, true);
}

template <typename Request>
void XtTraderSpi::reportPendingFailure(
    PendingOrderBook<Request>& book, int requestId, const char* utf8Message,
    void (ITradeSessionSpi::*hostCall)(const OrderRecord*, const ResultStatus&, int, bool)) {
  Request pending;
  if (!book.take(requestId, pending)) return;
  OrderRecord record;
  orderRecordFrom(pending, record);
  record.statusMessage = bareErrorText(utf8Message);
  (host().*hostCall)(&record, ResultStatus{kRequestFailed, wrappedErrorText(utf8Message)},
                     requestId, true);
}

// --- Replies and failure pushes ---------------------------------------------

void XtTraderSpi::onOrderReply(int requestId, int orderId, const char*, const xti::XtError& error) {
  runHandler([&] {
    if (error.isSuccess()) {
      // Registry first: from here on pushes of this order carry the host's id.
      identity_->registry->update(requestId, orderId);
      identity_->newOrderBook->erase(requestId);
    } else {
      reportPendingFailure(*identity_->newOrderBook, requestId, error.errorMsg(),
                           &ITradeSessionSpi::onOrderRejected);
    }
  });
}

void XtTraderSpi::cancelReply(int requestId, const xti::XtError& error) {
  runHandler([&] {
    if (error.isSuccess()) {
      identity_->cancelBook->erase(requestId);
    } else {
      reportPendingFailure(*identity_->cancelBook, requestId, error.errorMsg(),
                           &ITradeSessionSpi::onOrderCanceled);
    }
  });
}

void XtTraderSpi::onCancelReply(int requestId, const xti::XtError& error) {
  cancelReply(requestId, error);
}

void XtTraderSpi::onCancelReply2(int requestId, const xti::XtError& error) {
  cancelReply(requestId, error);
}

void XtTraderSpi::onOrderErrorPush(const xti::VendorOrderError* data) {
  if (data == nullptr) return;
  runHandler([&] {
    reportPendingFailure(*identity_->newOrderBook, data->m_nRequestID,
                         fieldText(data->m_strErrorMsg).c_str(),
                         &ITradeSessionSpi::onOrderRejected);
  });
}

void XtTraderSpi::onCancelErrorPush(const xti::VendorOrderError* data) {
  if (data == nullptr) return;
  runHandler([&] {
    reportPendingFailure(*identity_->cancelBook, data->m_nRequestID,
                         fieldText(data->m_strErrorMsg).c_str(),
                         &ITradeSessionSpi::onOrderCanceled);
  });
}

// --- Pushes -------------------------------------------------------------------

void XtTraderSpi::onOrderPush(const xti::VendorOrder* data) {
  if (data == nullptr) return;
  runHandler([&] { dispatchOrderEvent(*data); });
}

void XtTraderSpi::onDealPush(const xti::VendorDeal* data) {
  if (data == nullptr) return;
  runHandler([&] {
    FillRecord record;
    toFillRecord(*data, config_, record);
    // Known order: the host's id; unknown: both texts stay empty.
    identity_->registry->get(data->m_nOrderID, record.clientId);
    host().onFill(&record, successStatus(), kPushRequestId, true);
  });
}

void XtTraderSpi::onAccountStatus(const char* accountId, int, int status) {
  if (accountId == nullptr || status != xti::ACCOUNT_STATUS_OK) return;
  runHandler([&] {
    std::string key(accountId);
    MutexLock lock(accountSetMutex_);
    accountSet_.insert(std::move(key));
  });
}

}  // namespace kestrel
