#include "broker/outbox.h"

#include <utility>

namespace xti {
namespace sim {

XtError Outbox::toError(const Outcome& outcome) {
  return outcome.errorId == 0 ? XtError() : XtError(outcome.errorId, outcome.text.c_str());
}

void Outbox::connected(bool success, const std::string& text) {
  add([=](XtTraderApiCallback& cb) { cb.onConnected(success, text.c_str()); });
}

void Outbox::userLogin(const std::string& user, const std::string& password, int requestId,
                       const Outcome& outcome) {
  add([=](XtTraderApiCallback& cb) {
    cb.onUserLogin(user.c_str(), password.c_str(), requestId, toError(outcome));
  });
}

void Outbox::userLogout(const std::string& user, const std::string& password, int requestId,
                        const Outcome& outcome) {
  add([=](XtTraderApiCallback& cb) {
    cb.onUserLogout(user.c_str(), password.c_str(), requestId, toError(outcome));
  });
}

void Outbox::accountStatus(const std::string& account, int accountType, int status) {
  add([=](XtTraderApiCallback& cb) { cb.onAccountStatus(account.c_str(), accountType, status); });
}

void Outbox::orderReply(int requestId, int orderId, const std::string& remark,
                        const Outcome& outcome) {
  reply(outcome, AnswerName{"onOrderReply", requestId, orderId}, [=](XtTraderApiCallback& cb) {
    cb.onOrderReply(requestId, orderId, remark.c_str(), toError(outcome));
  });
}

void Outbox::cancelReply(int requestId, const Outcome& outcome) {
  reply(outcome, AnswerName{"onCancelReply", requestId, 0},
        [=](XtTraderApiCallback& cb) { cb.onCancelReply(requestId, toError(outcome)); });
}

void Outbox::cancelReply2(int requestId, const Outcome& outcome) {
  reply(outcome, AnswerName{"onCancelReply2", requestId, 0},
        [=](XtTraderApiCallback& cb) { cb.onCancelReply2(requestId, toError(outcome)); });
}

void Outbox::orderPush(const VendorOrder& order) {
  add([order](XtTraderApiCallback& cb) { cb.onOrderPush(&order); }, AnswerKind::kPush,
      AnswerName{"onOrderPush", 0, order.m_nOrderID});
}

void Outbox::dealPush(const VendorDeal& deal) {
  add([deal](XtTraderApiCallback& cb) { cb.onDealPush(&deal); }, AnswerKind::kPush,
      AnswerName{"onDealPush", 0, deal.m_nOrderID});
}

void Outbox::orderErrorPush(const VendorOrderError& error) {
  add([error](XtTraderApiCallback& cb) { cb.onOrderErrorPush(&error); }, AnswerKind::kErrorPush,
      AnswerName{"onOrderErrorPush", error.m_nRequestID, error.m_nOrderID});
}

void Outbox::cancelErrorPush(const VendorOrderError& error) {
  add([error](XtTraderApiCallback& cb) { cb.onCancelErrorPush(&error); }, AnswerKind::kErrorPush,
      AnswerName{"onCancelErrorPush", error.m_nRequestID, error.m_nOrderID});
}

std::vector<Answer> Outbox::take() {
  std::vector<Answer> events;
  events.swap(events_);
  return events;
}

}  // namespace sim
}  // namespace xti
