// XtTraderSpi: replies to the five account queries.
#include "spi/handler_guard.h"
#include "spi/record_conversion.h"
#include "spi/xt_trader_spi.h"

namespace kestrel {

// One vendor reply call becomes one host call: a failure with a null record
// and code -1; success without a record (an empty result) with a null record
// and code 0; otherwise the record `build` converted, with code 0. Each
// reply passes its converter in a lambda: a type of its own, called directly
// (through a function pointer the funds reply cost 7% more instructions).
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
    build(*data, config_, record);
    (host().*hostCall)(&record, successStatus(), requestId, isLast);
  });
}

void XtTraderSpi::onAccountDetailReply(const char*, int requestId,
                                       const xti::VendorAccountDetail* data, bool isLast,
                                       const xti::XtError& error) {
  replyRecords(requestId, data, isLast, error, &ITradeSessionSpi::onAccountFundsResponse,
               [](auto&... args) { toAccountFunds(args...); });
}

void XtTraderSpi::onOrderDetailReply(const char*, int requestId, const xti::VendorOrder* data,
                                     bool isLast, const xti::XtError& error) {
  replyRecords(
      requestId, data, isLast, error, &ITradeSessionSpi::onOrdersResponse,
      [](const xti::VendorOrder& order, const SessionConfig& config, OrderDetailRecord& record) {
        toOrderRecord(order, config, record);
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
               [](auto&... args) { toFillRecord(args...); });
}

void XtTraderSpi::onPositionDetailReply(const char*, int requestId,
                                        const xti::VendorPositionDetail* data, bool isLast,
                                        const xti::XtError& error) {
  replyRecords(requestId, data, isLast, error, &ITradeSessionSpi::onPositionDetailsResponse,
               [](auto&... args) { toPositionDetailRecord(args...); });
}

void XtTraderSpi::onPositionReply(const char*, int requestId, const xti::VendorPosition* data,
                                  bool isLast, const xti::XtError& error) {
  replyRecords(requestId, data, isLast, error, &ITradeSessionSpi::onPositionsResponse,
               [](auto&... args) { toPositionRecord(args...); });
}

}  // namespace kestrel
