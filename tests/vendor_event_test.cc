// Every vendor callback and the host calls it must produce, in one table,
// run against three hosts: one that records, one that throws from every
// callback, and none at all (registerSpi(nullptr) while connected). Whatever
// the host, each event does the same bookkeeping, makes no vendor call and
// lets nothing escape into the vendor's thread.
#include <cstring>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/session_fixture.h"

namespace kestrel {
namespace testing {
namespace {

using Cb = xti::XtTraderApiCallback;
#define ON(...) [](Cb& cb) { __VA_ARGS__; }

const xti::XtError kOk;
const xti::XtError kFailed(3, "资金不足");
const xti::XtError kFailedWithoutText(3, nullptr);
// Saturday 2024-01-06 10:00 in Beijing: the login's trading day is Monday's.
const Timestamp kSaturday(int64_t{1704506400} * 1000000, KSTimeZoneUTC);

xti::VendorOrder order(int orderId, int status, int secondary, const char* exchangeOrderId) {
  xti::VendorOrder o{};
  setText(o.m_strOrderSysID, exchangeOrderId);
  setText(o.m_strErrorMsg, "状态");
  o.m_nOrderID = orderId;
  o.m_nOrderStatus = status;
  o.m_nOrderSubmitStatus = secondary;
  return o;
}

xti::VendorOrderError error(int requestId, const char* message) {
  xti::VendorOrderError e{};
  e.m_nRequestID = requestId;
  setText(e.m_strErrorMsg, message);
  return e;
}

xti::VendorDeal deal(int orderId) {
  xti::VendorDeal d{};
  d.m_nOrderID = orderId;
  return d;
}

// The state every event starts from (see prepare()): orders 1, 2 and 6
// pending, cancels 3 and 4, fund account A001.
constexpr const char* kStart = "1 2 6|3 4 A001";

struct Row {
  VendorEvent event;
  std::string calls;  // the host calls' summaries (HostEvent::summary)
  std::string state = kStart;
};

const xti::VendorOrder kCanceled501 = order(501, '5', '3', "");
const xti::VendorOrderError kUnterminated = [] {
  xti::VendorOrderError e;  // no NUL anywhere in the message
  std::memset(&e, 'Z', sizeof(e));
  e.m_nRequestID = 2;
  return e;
}();

const Row kRows[] = {
    {ON(cb.onConnected(true, "ignored")), "onConnected 0"},
    {ON(cb.onConnected(false, nullptr)), "onDisconnected -7"},
    {ON(cb.onConnected(false, "断开")), "onDisconnected -7 [msg=断开]"},
    {ON(cb.onUserLogin("u", "p", 1, kOk)), "onLogin 0"},
    {ON(cb.onUserLogin("u", "p", 1, kFailed)), "onLogin -11 [msg=资金不足]"},
    {ON(cb.onUserLogin("u", "p", 1, kFailedWithoutText)), "onLogin -11"},
    {ON(cb.onUserLogout("u", "p", 2, kOk)), "onLogout 0"},
    {ON(cb.onUserLogout("u", "p", 2, kFailed)), "onLogout -12 [msg=资金不足]"},
    // A failed order or cancel is reported once, on whichever failure comes
    // first, with the request as filed.
    {ON(cb.onOrderReply(1, 0, "", kFailed); const auto e = error(1, "x"); cb.onOrderErrorPush(&e)),
     "onOrderRejected -1 1 host/1 [msg=资金不足]", "2 6|3 4 A001"},
    {ON(cb.onOrderErrorPush(&kUnterminated); cb.onOrderReply(2, 0, "", kFailed)),
     "onOrderRejected -1 2 host/2 [msg=" + std::string(256, 'Z') + "]", "1 6|3 4 A001"},
    {ON(cb.onCancelReply(3, kFailed); cb.onCancelReply2(3, kFailed)),
     "onOrderCanceled -1 3 host/3 [msg=资金不足]", "1 2 6|4 A001"},
    {ON(cb.onCancelReply2(4, kFailedWithoutText); cb.onCancelReply(4, kFailed)),
     "onOrderCanceled -1 4 host/4", "1 2 6|3 A001"},
    {ON(const auto e = error(3, "拒绝"); cb.onCancelErrorPush(&e); cb.onCancelReply(3, kFailed)),
     "onOrderCanceled -1 3 host/3 [msg=拒绝]", "1 2 6|4 A001"},
    // Success: the vendor's order number is filed, later failures are
    // silenced, the copy goes even when the registry never had the request.
    {ON(cb.onOrderReply(1, 700, "", kOk); const auto e = error(1, "x"); cb.onOrderErrorPush(&e);
        const auto o = order(700, '3', '3', "EX1"); cb.onOrderPush(&o)),
     "onOrderAccepted 0 -1 host/1", "2 6|3 4 A001"},
    {ON(cb.onOrderReply(6, 600, "", kOk); const auto o = order(600, '4', '0', "");
        cb.onOrderPush(&o)),
     "onOrderRejected 0 -1 123456@xt/600", "1 2|3 4 A001"},
    {ON(cb.onCancelReply(3, kOk); const auto e = error(3, "x"); cb.onCancelErrorPush(&e)), "",
     "1 2 6|4 A001"},
    {ON(cb.onOrderReply(99, 0, "", kFailed); cb.onCancelReply(99, kFailed);
        const auto e = error(99, "x"); cb.onOrderErrorPush(&e); cb.onCancelErrorPush(&e);
        cb.onCancelErrorPush(nullptr); cb.onOrderErrorPush(nullptr); cb.onOrderPush(nullptr);
        cb.onDealPush(nullptr)),
     ""},
    // Order pushes: the first dispatch rule that holds; the registered id or
    // the made-up one (order 1 is the smallest with "123456@xt").
    {ON(const auto o = order(31, '4', '6', "EX"); cb.onOrderPush(&o)),
     "onOrderRejected 0 -1 123456@xt/31"},
    {ON(const auto o = order(501, '5', '6', "EX"); cb.onOrderPush(&o)),
     "onOrderCanceled 0 -1 host/5"},
    {ON(const auto o = order(31, '1', '5', ""); cb.onOrderPush(&o)),
     "onOrderFilled 0 -1 123456@xt/31"},
    {ON(const auto o = order(1, '0', '6', "EX"); cb.onOrderPush(&o)),
     "onOrderFilled 0 -1 123456@xt/1"},
    {ON(const auto o = order(501, '3', '7', "EX"); cb.onOrderPush(&o)),
     "onOrderAccepted 0 -1 host/5"},
    {ON(const auto a = order(31, '3', '7', ""); cb.onOrderPush(&a);
        const auto b = order(31, 0, 0, ""); cb.onOrderPush(&b)),
     ""},
    // Deal pushes carry the registered id or none; deal replies never one.
    {ON(const auto a = deal(501); cb.onDealPush(&a); const auto b = deal(502); cb.onDealPush(&b);
        cb.onDealDetailReply("A", 2, &a, true, kOk)),
     "onFill 0 -1 host/5; onFill 0 -1 /; onFillsResponse 0 2 /"},
    // Replies: failure, a null record and -1; success without a record (an
    // empty result), a null record and 0; else the record and 0.
    {ON(const xti::VendorPosition p{}; cb.onPositionReply("A", 6, &p, false, kOk);
        cb.onPositionReply("A", 7, nullptr, true, kOk);
        cb.onPositionReply("A", 8, &p, false, kFailed);
        cb.onPositionReply("A", 9, nullptr, true, kFailedWithoutText)),
     "onPositionsResponse 0 6 more; onPositionsResponse 0 7 null; "
     "onPositionsResponse -1 8 more null [msg=资金不足]; onPositionsResponse -1 9 null"},
    {ON(const xti::VendorAccountDetail f{}; const xti::VendorPositionDetail d{};
        cb.onAccountDetailReply("A", 1, &f, true, kOk);
        cb.onPositionDetailReply("A", 3, &d, true, kOk);
        cb.onAccountDetailReply("A", 4, nullptr, false, kFailed)),
     "onAccountFundsResponse 0 1; onPositionDetailsResponse 0 3; "
     "onAccountFundsResponse -1 4 more null [msg=资金不足]"},
    // The order query: the record with the made-up id, then the order's event
    // with the registered one; nothing more for a null or failed reply.
    {ON(cb.onOrderDetailReply("A", 12, &kCanceled501, false, kOk);
        cb.onOrderDetailReply("A", 12, nullptr, true, kOk);
        cb.onOrderDetailReply("A", 13, &kCanceled501, true, kFailed)),
     "onOrdersResponse 0 12 more 123456@xt/501; onOrderCanceled 0 -1 host/5; "
     "onOrdersResponse 0 12 null; onOrdersResponse -1 13 null [msg=资金不足]"},
    {ON(cb.onAccountStatus("0B", 0, 1); cb.onAccountStatus("0A", 0, 2);
        cb.onAccountStatus(nullptr, 0, 1); cb.onAccountStatus("0B", 0, 0)),
     "", "1 2 6|3 4 0B"},
    {ON(cb.onAccountStatus("", 0, 1)), "", "1 2 6|3 4 "},
};

struct HostFault {};  // not a std::exception

enum class HostKind { kRecording, kThrowing, kNone };

class VendorEventTest : public SessionFixture, public ::testing::WithParamInterface<HostKind> {
 protected:
  // A fresh connected session with account A001; orders 1 and 2 and cancels
  // 3 and 4 pending; order 5 replied as vendor order 501; a copy of order 6
  // in the book that the registry never saw.
  void prepare(HostKind kind) {
    renew(&host);
    connectWithAccount();
    receiver().TEST_setLoginTime(&kSaturday);
    AccountOrderNewRequest request;
    request.header.userName = "host-user";
    request.codeId.tag = 99;
    request.quantity = 2;
    request.price = 3650;
    request.priceType = 2;
    request.offsetFlag = 4;
    request.hedgeFlag = 3;
    request.direction = 2;
    AccountOrderCancelRequest cancel;
    cancel.header.userName = "host-user";
    cancel.exchangeOrderId = "EX99";
    cancel.price = 12.5;
    cancel.quantity = 8;
    cancel.direction = 2;
    for (int id = 1; id <= 5; ++id) {
      request.clientId = cancel.clientId = ClientId{"host", std::to_string(id)};
      const bool isCancel = id == 3 || id == 4;
      ASSERT_EQ(
          (isCancel ? session->cancelOrder(id, cancel) : session->sendOrder(id, request)).code, 0);
    }
    vendor.callNow(ON(cb.onOrderReply(5, 501, "", kOk)));
    identity().newOrderBook->put(6, request);
    host.clear();
    if (kind == HostKind::kThrowing) {
      host.setAfterEvent([thrown = 0](const HostEvent& e) mutable {
        if (thrown++ % 2 == 0) throw std::runtime_error(e.name);
        throw HostFault{};
      });
    } else if (kind == HostKind::kNone) {
      ASSERT_EQ(session->registerSpi(nullptr).code, 0);
    }
  }

  // The pending requests and the fund account, as kStart shows them.
  std::string state() {
    std::string text;
    for (int id = 1; id <= 6; ++id) {
      if (identity().newOrderBook->contains(id))
        text += (text.empty() ? "" : " ") + std::to_string(id);
    }
    text += "|";
    for (int id = 1; id <= 6; ++id) {
      if (identity().cancelBook->contains(id))
        text += (text.back() == '|' ? "" : " ") + std::to_string(id);
    }
    return text + " " + receiver().fundAccount();
  }
};

TEST_P(VendorEventTest, EachEventMakesItsHostCallsAndBookkeeping) {
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    prepare(GetParam());
    const std::size_t vendorCalls = vendor.calls().size();
    EXPECT_NO_THROW(vendor.callNow(kRows[i].event)) << "into the vendor's thread";
    host.setAfterEvent(nullptr);
    EXPECT_EQ(vendor.calls().size(), vendorCalls) << "an event makes no vendor call";
    EXPECT_EQ(state(), kRows[i].state);
    EXPECT_EQ(host.summary(), GetParam() == HostKind::kNone ? "" : kRows[i].calls);
    for (const HostEvent& e : host.events()) {  // reports of the vendor's records
      const AccountHeader* h = e.header();
      if (h == nullptr || e.status.code != 0) continue;
      EXPECT_EQ(std::tie(h->accountCode, h->configText, h->userName, h->codeA, h->codeB),
                std::make_tuple(17, "cfg", "trader1", 0, 1))
          << e.name;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Hosts, VendorEventTest,
                         ::testing::Values(HostKind::kRecording, HostKind::kThrowing,
                                           HostKind::kNone));

// The records' fields beyond the client id: a failure report carries the
// request as filed, an order event the session's header and the vendor's
// texts, a login its reply.
TEST_F(VendorEventTest, RecordsCarryTheirFields) {
  prepare(HostKind::kRecording);
  vendor.callNow(ON(cb.onOrderReply(1, 0, "", kFailed); cb.onCancelReply(3, kFailed);
                    const auto o = order(31, '4', '6', "EX"); cb.onOrderPush(&o);
                    cb.onUserLogin("u", "p", 1, kOk); cb.onUserLogin("u", "p", 1, kFailed);
                    const xti::VendorPosition p{}; cb.onPositionReply("A", 6, &p, true, kOk)));
  const std::vector<HostEvent> e = host.events();
  ASSERT_EQ(e.size(), 6u);
  const OrderRecord& rejected = *e[0].order;
  EXPECT_EQ(std::make_tuple(rejected.statusMessage, rejected.header.userName, rejected.codeId.tag,
                            rejected.volume, rejected.price, rejected.priceType,
                            rejected.offsetFlag, rejected.hedgeFlag, rejected.direction,
                            rejected.exchangeOrderId, rejected.orderTime),
            std::make_tuple(CodeConvert::utf8_to_gbk("资金不足"), "host-user", 99, 2, 3650.0, 2, 4,
                            3, 2, "", 0));
  const OrderRecord& canceled = *e[1].order;
  EXPECT_EQ(std::make_tuple(canceled.exchangeOrderId, canceled.price, canceled.header.userName,
                            canceled.volume, canceled.priceType, canceled.direction,
                            canceled.offsetFlag, canceled.hedgeFlag),
            std::make_tuple("EX99", 12.5, "host-user", 0, 0, 0, 0, 1));
  const OrderRecord& pushed = *e[2].order;
  EXPECT_EQ(std::make_tuple(pushed.exchangeOrderId, pushed.statusMessage, pushed.header.accountCode,
                            pushed.header.configText, pushed.header.userName, pushed.header.codeA,
                            pushed.header.codeB),
            std::make_tuple("", CodeConvert::utf8_to_gbk("状态"), 17, "cfg", "trader1", 0, 1));
  const LoginReply& ok = *e[3].login;
  EXPECT_EQ(std::make_tuple(ok.loginState, ok.loginKind, ok.tradingDay, ok.entries.size()),
            std::make_tuple(1, 2, 20240108, 0u));
  EXPECT_EQ(ok.loginStamp.find_first_not_of("0123456789"), std::string::npos);
  EXPECT_EQ(ok.loginStamp.substr(ok.loginStamp.size() - 3), "000");
  const LoginReply& failed = *e[4].login;
  EXPECT_EQ(
      std::make_tuple(failed.loginStamp, failed.loginState, failed.tradingDay, failed.loginKind),
      std::make_tuple("", -1, 0, 0));
  EXPECT_EQ(std::make_tuple(e[5].position->header.userName, e[5].position->header.codeB),
            std::make_tuple("trader1", 1));
}

}  // namespace
}  // namespace testing
}  // namespace kestrel
