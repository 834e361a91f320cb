// XtTraderSpi: order replies, failure pushes, order pushes, account status,
// and the order-status dispatch that turns a vendor order into a host event.
#include <string>
#include <utility>

#include "plugin/platform.h"
#include "spi/handler_guard.h"
#include "spi/record_conversion.h"
#include "spi/xt_trader_spi.h"

namespace kestrel {
namespace {

constexpr int32_t kRequestFailed = -1;
constexpr int kPushRequestId = -1;

// Vendor status character codes the dispatch looks at.
constexpr int32_t kStatusRejected = '4';
constexpr int32_t kStatusCanceled = '5';
constexpr int32_t kSecondaryPartFilled = '5';
constexpr int32_t kSecondaryAllFilled = '6';

ResultStatus failedStatus(const char* utf8Message) {
  return ResultStatus{kRequestFailed, wrappedErrorText(utf8Message)};
}

}  // namespace

// --- Order-status dispatch and the four event reports --------------------------

void XtTraderSpi::dispatchOrderEvent(const xti::VendorOrder& order) {
  if (order.m_nOrderStatus == kStatusRejected) {
    reportOrderRejected(order);
  } else if (order.m_nOrderStatus == kStatusCanceled) {
    reportOrderCanceled(order);
  } else if (order.m_nOrderSubmitStatus == kSecondaryPartFilled ||
             order.m_nOrderSubmitStatus == kSecondaryAllFilled) {
    reportOrderFilled(order);
  } else if (order.m_strOrderSysID[0] != '\0') {
    reportOrderAccepted(order);
  }
}

template <typename Record, typename Convert>
void XtTraderSpi::reportOrderEvent(const xti::VendorOrder& order, Convert convert,
                                   void (ITradeSessionSpi::*hostCall)(const Record*,
                                                                      const ResultStatus&, int,
                                                                      bool)) {
  Record record;
  fillAccountHeader(config, record.header);
  convert(order, record);
  if (!identity->registry->get(order.m_nOrderID, record.clientId)) {
    fallbackClientId(order.m_nOrderID, record.clientId);
  }
  (hostSpi->*hostCall)(&record, successStatus(), kPushRequestId, true);
}

void XtTraderSpi::reportOrderRejected(const xti::VendorOrder& order) {
  reportOrderEvent<OrderRecord>(order, toRejectedOrderRecord, &ITradeSessionSpi::onOrderRejected);
}

void XtTraderSpi::reportOrderCanceled(const xti::VendorOrder& order) {
  reportOrderEvent<OrderRecord>(order, toCanceledOrderRecord, &ITradeSessionSpi::onOrderCanceled);
}

void XtTraderSpi::reportOrderFilled(const xti::VendorOrder& order) {
  reportOrderEvent<OrderFilledRecord>(order, toFilledOrderRecord, &ITradeSessionSpi::onOrderFilled);
}

void XtTraderSpi::reportOrderAccepted(const xti::VendorOrder& order) {
  reportOrderEvent<OrderAcceptedRecord>(order, toAcceptedOrderRecord,
                                        &ITradeSessionSpi::onOrderAccepted);
}

void XtTraderSpi::orderRecordFromNewRequest(const AccountOrderNewRequest& request,
                                            OrderRecord& record) {
  record.header = request.header;
  record.codeId = request.codeId;
  record.clientId = request.clientId;
  record.volume = request.quantity;
  record.price = request.price;
  record.priceType = request.priceType;
  record.offsetFlag = request.offsetFlag;
  record.hedgeFlag = request.hedgeFlag;
  record.direction = request.direction;
}

void XtTraderSpi::orderRecordFromCancelRequest(const AccountOrderCancelRequest& request,
                                               OrderRecord& record) {
  record.header = request.header;
  record.codeId = request.codeId;
  record.clientId = request.clientId;
  record.exchangeOrderId = request.exchangeOrderId;
  record.price = request.price;
}

// --- Replies and failure pushes ---------------------------------------------

void XtTraderSpi::onOrderReply(int requestId, int orderId, const char*, const xti::XtError& error) {
  runHandler([&] {
    if (error.isSuccess()) {
      // Registry first: from here on pushes of this order carry the host's id.
      identity->registry->update(requestId, orderId);
      identity->newOrderBook->erase(requestId);
      return;
    }
    AccountOrderNewRequest pending;
    if (!identity->newOrderBook->take(requestId, pending)) return;
    OrderRecord record;
    orderRecordFromNewRequest(pending, record);
    record.statusMessage = bareErrorText(error.errorMsg());
    hostSpi->onOrderRejected(&record, failedStatus(error.errorMsg()), requestId, true);
  });
}

void XtTraderSpi::cancelReply(int requestId, const xti::XtError& error) {
  runHandler([&] {
    if (error.isSuccess()) {
      identity->cancelBook->erase(requestId);
      return;
    }
    AccountOrderCancelRequest pending;
    if (!identity->cancelBook->take(requestId, pending)) return;
    OrderRecord record;
    orderRecordFromCancelRequest(pending, record);
    record.statusMessage = bareErrorText(error.errorMsg());
    hostSpi->onOrderCanceled(&record, failedStatus(error.errorMsg()), requestId, true);
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
    const int requestId = data->m_nRequestID;
    AccountOrderNewRequest pending;
    if (!identity->newOrderBook->take(requestId, pending)) return;
    std::string message = fieldText(data->m_strErrorMsg);
    const ResultStatus status = failedStatus(message.c_str());
    OrderRecord record;
    orderRecordFromNewRequest(pending, record);
    record.statusMessage = gbkText(std::move(message));
    hostSpi->onOrderRejected(&record, status, requestId, true);
  });
}

void XtTraderSpi::onCancelErrorPush(const xti::VendorOrderError* data) {
  if (data == nullptr) return;
  runHandler([&] {
    const int requestId = data->m_nRequestID;
    AccountOrderCancelRequest pending;
    if (!identity->cancelBook->take(requestId, pending)) return;
    std::string message = fieldText(data->m_strErrorMsg);
    const ResultStatus status = failedStatus(message.c_str());
    OrderRecord record;
    orderRecordFromCancelRequest(pending, record);
    record.statusMessage = gbkText(std::move(message));
    hostSpi->onOrderCanceled(&record, status, requestId, true);
  });
}

// --- Pushes -------------------------------------------------------------------

void XtTraderSpi::onOrderPush(const xti::VendorOrder* data) {
  if (data == nullptr) return;
  runHandler([&] { dispatchOrderEvent(*data); });
}

void XtTraderSpi::onAccountStatus(const char* accountId, int, int status) {
  if (accountId == nullptr || status != 1) return;
  runHandler([&] {
    std::string key(accountId);
    MutexLock lock(accountSetMutex);
    accountSet.insert(std::move(key));
  });
}

}  // namespace kestrel
