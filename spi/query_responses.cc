// XtTraderSpi: replies to the five account queries and the deal push.
#include "spi/handler_guard.h"
#include "spi/record_conversion.h"
#include "spi/xt_trader_spi.h"

namespace kestrel {

// One vendor reply call becomes one host call: a failure with a null record
// and code -1; success without a record (an empty result) with a null record
// and code 0; otherwise the converted record with code 0.
template <typename VendorRecord, typename HostRecord, typename Build>
void XtTraderSpi::replyRecords(int requestId, const VendorRecord* data, bool isLast,
                               const xti::XtError& error,
                               void (ITradeSessionSpi::*hostCall)(const HostRecord*,
                                                                  const ResultStatus&, int, bool),
                               Build build) {
  runHandler([&] {
    if (!error.isSuccess()) {
      (host().*hostCall)(nullptr, ResultStatus{kRequestFailed, wrappedErrorText(error.errorMsg())},
                         requestId, isLast);
      return;
    }
    if (data == nullptr) {
      (host().*hostCall)(nullptr, successStatus(), requestId, isLast);
      return;
    }
    HostRecord record;
    build(*data, record);
    (host().*hostCall)(&record, successStatus(), requestId, isLast);
  });
}

void XtTraderSpi::onAccountDetailReply(const char*, int requestId,
                                       const xti::VendorAccountDetail* data, bool isLast,
                                       const xti::XtError& error) {
  replyRecords(requestId, data, isLast, error, &ITradeSessionSpi::onAccountFundsResponse,
               [this](const xti::VendorAccountDetail& detail, AccountFunds& record) {
                 fillAccountHeader(config_, record.header);
                 toAccountFunds(detail, record);
               });
}

void XtTraderSpi::onOrderDetailReply(const char*, int requestId, const xti::VendorOrder* data,
                                     bool isLast, const xti::XtError& error) {
  replyRecords(requestId, data, isLast, error, &ITradeSessionSpi::onOrdersResponse,
               [this](const xti::VendorOrder& order, OrderDetailRecord& record) {
                 fillAccountHeader(config_, record.header);
                 toOrderRecord(order, record);
                 // Query records always carry the made-up id; the event that
                 // follows consults the registry.
                 fallbackClientId(order.m_nOrderID, record.clientId);
               });
  // After the host has seen the record: the order's event, if its status has one.
  if (data != nullptr && error.isSuccess()) {
    runHandler([&] { dispatchOrderEvent(*data); });
  }
}

void XtTraderSpi::onDealDetailReply(const char*, int requestId, const xti::VendorDeal* data,
                                    bool isLast, const xti::XtError& error) {
  replyRecords(requestId, data, isLast, error, &ITradeSessionSpi::onFillsResponse,
               [this](const xti::VendorDeal& deal, FillRecord& record) {
                 fillAccountHeader(config_, record.header);
                 toFillRecord(deal, record);
               });
}

void XtTraderSpi::onPositionDetailReply(const char*, int requestId,
                                        const xti::VendorPositionDetail* data, bool isLast,
                                        const xti::XtError& error) {
  replyRecords(requestId, data, isLast, error, &ITradeSessionSpi::onPositionDetailsResponse,
               [this](const xti::VendorPositionDetail& detail, PositionDetailRecord& record) {
                 toPositionDetailRecord(detail, config_, record);
               });
}

void XtTraderSpi::onPositionReply(const char*, int requestId, const xti::VendorPosition* data,
                                  bool isLast, const xti::XtError& error) {
  replyRecords(requestId, data, isLast, error, &ITradeSessionSpi::onPositionsResponse,
               [this](const xti::VendorPosition& position, PositionRecord& record) {
                 fillAccountHeader(config_, record.header);
                 toPositionRecord(position, record);
               });
}

void XtTraderSpi::onDealPush(const xti::VendorDeal* data) {
  if (data == nullptr) return;
  runHandler([&] {
    FillRecord record;
    fillAccountHeader(config_, record.header);
    toFillRecord(*data, record);
    // Known order: the host's id; unknown: both texts stay empty.
    identity_->registry->get(data->m_nOrderID, record.clientId);
    host().onFill(&record, successStatus(), kPushRequestId, true);
  });
}

}  // namespace kestrel
