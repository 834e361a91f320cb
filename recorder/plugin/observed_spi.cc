#include "recorder/plugin/observed_spi.h"

#include "recorder/journal/operations.h"

namespace kestrel {
namespace journal {

namespace event = slot::event;

template <typename... Values>
void ObservedSpi::note(Kind kind, uint16_t slot, int requestId, const Values&... values) {
  try {
    std::string frame;
    buildEntry(frame, Boundary::kHost, kind, slot, object_, requestId,
               [&](FrameWriter& w) { (put(w, values), ...); });
    noted(frame);
  } catch (...) {
    lost();
  }
}

// Notes the event, makes it on the host's object (when there is one) with
// `arguments`, and notes its return.
template <typename... Parameters, typename... Arguments>
void ObservedSpi::forward(uint16_t slot, int requestId,
                          void (ITradeSessionSpi::*member)(Parameters...),
                          const Arguments&... arguments) {
  note(Kind::kCallback, slot, requestId, arguments...);
  ITradeSessionSpi* target = target_.load();
  callAndNoteReturn(
      [&] {
        if (target != nullptr) (target->*member)(arguments...);
      },
      [&](bool threw) { note(Kind::kDone, slot, requestId, threw); });
}

// The record-carrying events: (record or null, status, request number, isLast).
template <typename Record>
void ObservedSpi::report(
    uint16_t slot, void (ITradeSessionSpi::*member)(const Record*, const ResultStatus&, int, bool),
    const Record* record, const ResultStatus& status, int requestId, bool isLast) {
  forward(slot, requestId, member, record, status, requestId, isLast);
}

void ObservedSpi::onConnected(const ResultStatus& status) {
  forward(event::onConnected, 0, &ITradeSessionSpi::onConnected, status);
}

void ObservedSpi::onLogin(const ResultStatus& status, const LoginReply& reply) {
  forward(event::onLogin, 0, &ITradeSessionSpi::onLogin, status, reply);
}

void ObservedSpi::onLogout(const ResultStatus& status) {
  forward(event::onLogout, 0, &ITradeSessionSpi::onLogout, status);
}

void ObservedSpi::onDisconnected(const ResultStatus& status) {
  forward(event::onDisconnected, 0, &ITradeSessionSpi::onDisconnected, status);
}

void ObservedSpi::onOrderAccepted(const OrderAcceptedRecord* record, const ResultStatus& status,
                                  int requestId, bool isLast) {
  report(event::onOrderAccepted, &ITradeSessionSpi::onOrderAccepted, record, status, requestId,
         isLast);
}

void ObservedSpi::onOrderRejected(const OrderRecord* record, const ResultStatus& status,
                                  int requestId, bool isLast) {
  report(event::onOrderRejected, &ITradeSessionSpi::onOrderRejected, record, status, requestId,
         isLast);
}

void ObservedSpi::onOrderFilled(const OrderFilledRecord* record, const ResultStatus& status,
                                int requestId, bool isLast) {
  report(event::onOrderFilled, &ITradeSessionSpi::onOrderFilled, record, status, requestId, isLast);
}

void ObservedSpi::onOrderCanceled(const OrderRecord* record, const ResultStatus& status,
                                  int requestId, bool isLast) {
  report(event::onOrderCanceled, &ITradeSessionSpi::onOrderCanceled, record, status, requestId,
         isLast);
}

void ObservedSpi::onFill(const FillRecord* record, const ResultStatus& status, int requestId,
                         bool isLast) {
  report(event::onFill, &ITradeSessionSpi::onFill, record, status, requestId, isLast);
}

void ObservedSpi::onOrdersResponse(const OrderDetailRecord* record, const ResultStatus& status,
                                   int requestId, bool isLast) {
  report(event::onOrdersResponse, &ITradeSessionSpi::onOrdersResponse, record, status, requestId,
         isLast);
}

void ObservedSpi::onFillsResponse(const FillRecord* record, const ResultStatus& status,
                                  int requestId, bool isLast) {
  report(event::onFillsResponse, &ITradeSessionSpi::onFillsResponse, record, status, requestId,
         isLast);
}

void ObservedSpi::onPositionsResponse(const PositionRecord* record, const ResultStatus& status,
                                      int requestId, bool isLast) {
  report(event::onPositionsResponse, &ITradeSessionSpi::onPositionsResponse, record, status,
         requestId, isLast);
}

void ObservedSpi::onPositionDetailsResponse(const PositionDetailRecord* record,
                                            const ResultStatus& status, int requestId,
                                            bool isLast) {
  report(event::onPositionDetailsResponse, &ITradeSessionSpi::onPositionDetailsResponse, record,
         status, requestId, isLast);
}

void ObservedSpi::onAccountFundsResponse(const AccountFunds* record, const ResultStatus& status,
                                         int requestId, bool isLast) {
  report(event::onAccountFundsResponse, &ITradeSessionSpi::onAccountFundsResponse, record, status,
         requestId, isLast);
}

}  // namespace journal
}  // namespace kestrel
