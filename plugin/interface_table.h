// The four interfaces of the plug-in's two boundaries, one row per operation:
// ITradeSession (the host calls the plug-in), ITradeSessionSpi (the plug-in
// calls the host), xti::XtTraderApi (the plug-in calls the vendor) and
// xti::XtTraderApiCallback (the vendor calls the plug-in).
//
// The interface headers stay as written (hosts and the vendor compile
// against them, and their declaration order is the binary interface); these
// tables are their checked mirror, and everything that must agree with an
// interface draws from them: the journal's operation numbers and names, the
// recorders' forwarding classes, the dump, the replay and the position test
// (tests/boundary_test.cc, every row in every ABI).
//
// A row: X(slot, result, name, (parameter types), "parameter names"), in
// declaration order. The slot is the header's: the destructor's is 0, then
// one per virtual operation. Two marks on a parameter type say what the
// recorders do with the argument:
//   RequestNumber<int>  the request number, written in the entry's head
//   Secret<const char*> never written as it is: "***" when not empty
// R(first, last) rows stand for the header's placeholders for slots nobody
// calls. Here, at compile time, each row's type is checked against the
// header's member, and the rows must cover the slots from 1 up, each once.
//
// Adding an operation to an interface: its declaration in the interface's
// header, in its place (the binary interface), and its row here, in the same
// place. Until the row is there the position test fails (an operation after
// the last row, or rows off their slots); then the compiler checks the row
// against the declaration, every forwarding class takes the operation from
// the row, a record type new to the journal is refused until its fields are
// listed (recorder/journal/host_fields.h), and the journal format's
// fingerprint test (tests/journal_test.cc) fails until the format's version
// is raised (recorder/journal/journal_format.h, docs/journal.md).
#ifndef KESTREL_PLUGIN_INTERFACE_TABLE_H_
#define KESTREL_PLUGIN_INTERFACE_TABLE_H_

#include <cstdint>
#include <list>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "plugin/trade_session.h"
#include "plugin/xt_trader_api.h"

// clang-format off
#define KS_TRADE_SESSION_TABLE(X, R)                                                               \
  X(1, int, getTypeCode, (), "")                                                                   \
  X(2, ResultStatus, setConfig, (const SessionConfig&), "config")                                  \
  X(3, ResultStatus, registerSpi, (ITradeSessionSpi*), "spi")                                      \
  X(4, ResultStatus, connect, (), "")                                                              \
  X(5, ResultStatus, easyConnect, (), "")                                                          \
  X(6, ResultStatus, reqAuxiliary, (RequestNumber<int>, const std::string&), "requestId command")  \
  X(7, ResultStatus, login, (), "")                                                                \
  X(8, ResultStatus, logout, (), "")                                                               \
  X(9, ResultStatus, release, (), "")                                                              \
  X(10, ResultStatus, reqSessionInit, (RequestNumber<int>), "requestId")                           \
  X(11, ResultStatus, reqPasswordUpdate, (RequestNumber<int>, const UserPasswordUpdateReq&),       \
    "requestId request")                                                                           \
  X(12, std::list<CurrencyRate>, getCurrencyRate, (), "")                                          \
  X(13, ResultStatus, getClientSystemInfo, (ClientSystemInfo&), "info")                            \
  X(14, ResultStatus, getTradingAccountToken, (std::string&), "token")                             \
  X(15, ResultStatus, sendOrder, (RequestNumber<int>, const AccountOrderNewRequest&),              \
    "requestId request")                                                                           \
  X(16, ResultStatus, cancelOrder, (RequestNumber<int>, const AccountOrderCancelRequest&),         \
    "requestId request")                                                                           \
  X(17, ResultStatus, sendExecutiveOrder, (RequestNumber<int>, const AccountOrderNewRequest&),     \
    "requestId request")                                                                           \
  X(18, ResultStatus, cancelExecutiveOrder,                                                        \
    (RequestNumber<int>, const AccountOrderCancelRequest&), "requestId request")                   \
  X(19, ResultStatus, reqQryExecutiveOrder, (RequestNumber<int>, const AccountOrderRequest&),      \
    "requestId request")                                                                           \
  X(20, ResultStatus, reqQryTradingAccount, (RequestNumber<int>), "requestId")                     \
  X(21, ResultStatus, reqQryPosition, (RequestNumber<int>), "requestId")                           \
  X(22, ResultStatus, reqQryPositionDetail, (RequestNumber<int>, const PositionDetailReq&),        \
    "requestId request")                                                                           \
  X(23, ResultStatus, reqQryOrder, (RequestNumber<int>), "requestId")                              \
  X(24, ResultStatus, reqQryInstrument, (RequestNumber<int>, const InstrumentReq&),                \
    "requestId request")                                                                           \
  X(25, ResultStatus, reqQryFill, (RequestNumber<int>), "requestId")                               \
  X(26, ResultStatus, reqCrashReturn, (const CrashReturnReq&), "request")                          \
  X(27, ResultStatus, reqCreditInfo, (RequestNumber<int>), "requestId")                            \
  X(28, ResultStatus, reqFinancingTargets, (RequestNumber<int>, const std::vector<ICodeID>&),      \
    "requestId codes")                                                                             \
  X(29, ResultStatus, reqFromBankAccountToTradingAccount,                                          \
    (RequestNumber<int>, const TransferReq&), "requestId request")                                 \
  X(30, ResultStatus, reqFromTradingAccountToBankAccount,                                          \
    (RequestNumber<int>, const TransferReq&), "requestId request")                                 \
  X(31, ResultStatus, reqInvestor, (RequestNumber<int>, const InvestorReq&), "requestId request")  \
  X(32, ResultStatus, reqMarginTargets, (RequestNumber<int>, const std::vector<ICodeID>&),         \
    "requestId codes")                                                                             \
  X(33, ResultStatus, reqQryBankAccountMoney, (RequestNumber<int>, const BankMoneyReq&),           \
    "requestId request")                                                                           \
  X(34, ResultStatus, reqQryBankAccountregister,                                                   \
    (RequestNumber<int>, const BankAccountregisterReq&), "requestId request")                      \
  X(35, ResultStatus, reqQryCFMMCTradingAccountToken,                                              \
    (RequestNumber<int>, const TradingAccountID&), "requestId request")                            \
  X(36, ResultStatus, reqQryCommissionRate, (RequestNumber<int>, const CommissionRateReq&),        \
    "requestId request")                                                                           \
  X(37, ResultStatus, reqQryHistoryData, (RequestNumber<int>, const HistoryDataReqV2&),            \
    "requestId request")                                                                           \
  X(38, ResultStatus, reqQryHistoryFill, (RequestNumber<int>, const HistoryDataReq&),              \
    "requestId request")                                                                           \
  X(39, ResultStatus, reqQryMarginRate, (RequestNumber<int>, const MarginRateReq&),                \
    "requestId request")                                                                           \
  X(40, ResultStatus, reqQryRiskPosition, (RequestNumber<int>), "requestId")                       \
  X(41, ResultStatus, reqQryRiskProduct, (RequestNumber<int>), "requestId")                        \
  X(42, ResultStatus, reqQrySettlementInfo, (RequestNumber<int>, const SettlementInfoReq&),        \
    "requestId request")                                                                           \
  X(43, ResultStatus, reqQrySettlementInfoConfirm,                                                 \
    (RequestNumber<int>, const TradingAccountID&), "requestId request")                            \
  X(44, ResultStatus, reqQryStkStatement, (RequestNumber<int>, const HistoryDataReq&),             \
    "requestId request")                                                                           \
  X(45, ResultStatus, reqQryTradingNotice, (RequestNumber<int>), "requestId")                      \
  X(46, ResultStatus, reqQryTransferBank, (RequestNumber<int>, const TransferBankReq&),            \
    "requestId request")                                                                           \
  X(47, ResultStatus, reqQryTransferSerial, (RequestNumber<int>, const TransferSerialReq&),        \
    "requestId request")                                                                           \
  X(48, ResultStatus, reqSecurityReturn, (const SecurityReturnReq&), "request")                    \
  X(49, ResultStatus, reqSettlementInfoConfirm,                                                    \
    (RequestNumber<int>, const SettlementInfoConfirmReq&), "requestId request")                    \
  X(50, ResultStatus, reqTradingAccountPasswordUpdate,                                             \
    (RequestNumber<int>, const TradingAccountPasswordUpdateReq&), "requestId request")

// The record-carrying events take (record or null, status, request number, isLast).
#define KS_TRADE_SESSION_SPI_TABLE(X, R)                                                           \
  X(1, void, onConnected, (const ResultStatus&), "status")                                         \
  R(2, 2)                                                                                          \
  X(3, void, onLogin, (const ResultStatus&, const LoginReply&), "status reply")                    \
  X(4, void, onLogout, (const ResultStatus&), "status")                                            \
  X(5, void, onDisconnected, (const ResultStatus&), "status")                                      \
  R(6, 8)                                                                                          \
  X(9, void, onOrderAccepted, KS_RECORD_EVENT(OrderAcceptedRecord), KS_RECORD_EVENT_NAMES)         \
  X(10, void, onOrderRejected, KS_RECORD_EVENT(OrderRecord), KS_RECORD_EVENT_NAMES)                \
  X(11, void, onOrderFilled, KS_RECORD_EVENT(OrderFilledRecord), KS_RECORD_EVENT_NAMES)            \
  X(12, void, onOrderCanceled, KS_RECORD_EVENT(OrderRecord), KS_RECORD_EVENT_NAMES)                \
  X(13, void, onFill, KS_RECORD_EVENT(FillRecord), KS_RECORD_EVENT_NAMES)                          \
  X(14, void, onOrdersResponse, KS_RECORD_EVENT(OrderDetailRecord), KS_RECORD_EVENT_NAMES)         \
  R(15, 16)                                                                                        \
  X(17, void, onFillsResponse, KS_RECORD_EVENT(FillRecord), KS_RECORD_EVENT_NAMES)                 \
  X(18, void, onPositionsResponse, KS_RECORD_EVENT(PositionRecord), KS_RECORD_EVENT_NAMES)         \
  X(19, void, onPositionDetailsResponse, KS_RECORD_EVENT(PositionDetailRecord),                    \
    KS_RECORD_EVENT_NAMES)                                                                         \
  R(20, 21)                                                                                        \
  X(22, void, onAccountFundsResponse, KS_RECORD_EVENT(AccountFunds), KS_RECORD_EVENT_NAMES)
#define KS_RECORD_EVENT(Record) (const Record*, const ResultStatus&, RequestNumber<int>, bool)
#define KS_RECORD_EVENT_NAMES "record status requestId isLast"

#define KS_XT_TRADER_API_TABLE(X, R)                                                               \
  X(1, void, setCallback, (xti::XtTraderApiCallback*), "callback")                                 \
  X(2, void, init, (const char*), "configFilePath")                                                \
  X(3, void, shutdown, (), "")                                                                     \
  R(4, 9)                                                                                          \
  X(10, void, userLogin, (const char*, Secret<const char*>, RequestNumber<int>, const char*,       \
    const char*, Secret<const char*>), "userName password requestId machineInfo appId authCode")   \
  X(11, void, userLogout, (const char*, Secret<const char*>, RequestNumber<int>),                  \
    "userName password requestId")                                                                 \
  X(12, void, queryAccountDetail, KS_VENDOR_QUERY, KS_VENDOR_QUERY_NAMES)                          \
  R(13, 13)                                                                                        \
  X(14, void, queryOrderDetail, KS_VENDOR_QUERY, KS_VENDOR_QUERY_NAMES)                            \
  R(15, 15)                                                                                        \
  X(16, void, queryDealDetail, KS_VENDOR_QUERY, KS_VENDOR_QUERY_NAMES)                             \
  X(17, void, queryPositionDetail, KS_VENDOR_QUERY, KS_VENDOR_QUERY_NAMES)                         \
  X(18, void, queryPosition, KS_VENDOR_QUERY, KS_VENDOR_QUERY_NAMES)                               \
  R(19, 37)                                                                                        \
  X(38, void, placeOrder, (const xti::COrdinaryOrder*, RequestNumber<int>, const char*),           \
    "order requestId extra")                                                                       \
  X(39, void, cancelOrderById, (int, RequestNumber<int>), "orderId requestId")                     \
  X(40, void, cancelOrderByExchangeId,                                                             \
    (const char*, const char*, const char*, const char*, RequestNumber<int>, const char*),         \
    "accountId exchangeOrderId exchangeCode instrumentCode requestId extra")
#define KS_VENDOR_QUERY (const char*, RequestNumber<int>, const char*)
#define KS_VENDOR_QUERY_NAMES "accountId requestId extra"

// The replies take (account, request number, record or null, isLast, error).
#define KS_XT_TRADER_API_CALLBACK_TABLE(X, R)                                                      \
  X(1, void, onConnected, (bool, const char*), "success errorMsg")                                 \
  X(2, void, onUserLogin, (const char*, Secret<const char*>, RequestNumber<int>,                   \
    const xti::XtError&), "userName password requestId error")                                     \
  X(3, void, onUserLogout, (const char*, Secret<const char*>, RequestNumber<int>,                  \
    const xti::XtError&), "userName password requestId error")                                     \
  X(4, void, onOrderReply, (RequestNumber<int>, int, const char*, const xti::XtError&),            \
    "requestId orderId remark error")                                                              \
  X(5, void, onCancelReply, (RequestNumber<int>, const xti::XtError&), "requestId error")          \
  R(6, 6)                                                                                          \
  X(7, void, onCancelReply2, (RequestNumber<int>, const xti::XtError&), "requestId error")         \
  R(8, 8)                                                                                          \
  X(9, void, onAccountDetailReply, KS_VENDOR_REPLY(xti::VendorAccountDetail),                     \
    KS_VENDOR_REPLY_NAMES)                                                                          \
  R(10, 12)                                                                                        \
  X(13, void, onOrderDetailReply, KS_VENDOR_REPLY(xti::VendorOrder), KS_VENDOR_REPLY_NAMES)        \
  R(14, 14)                                                                                        \
  X(15, void, onDealDetailReply, KS_VENDOR_REPLY(xti::VendorDeal), KS_VENDOR_REPLY_NAMES)          \
  R(16, 16)                                                                                        \
  X(17, void, onPositionDetailReply, KS_VENDOR_REPLY(xti::VendorPositionDetail),                   \
    KS_VENDOR_REPLY_NAMES)                                                                         \
  R(18, 18)                                                                                        \
  X(19, void, onPositionReply, KS_VENDOR_REPLY(xti::VendorPosition), KS_VENDOR_REPLY_NAMES)        \
  R(20, 40)                                                                                        \
  X(41, void, onAccountStatus, (const char*, int, int), "accountId accountType status")            \
  R(42, 45)                                                                                        \
  X(46, void, onOrderPush, (const xti::VendorOrder*), "data")                                      \
  X(47, void, onDealPush, (const xti::VendorDeal*), "data")                                        \
  X(48, void, onOrderErrorPush, (const xti::VendorOrderError*), "data")                            \
  X(49, void, onCancelErrorPush, (const xti::VendorOrderError*), "data")                           \
  R(50, 104)
#define KS_VENDOR_REPLY(Record)                                                                    \
  (const char*, RequestNumber<int>, const Record*, bool, const xti::XtError&)
#define KS_VENDOR_REPLY_NAMES "accountId requestId data isLast error"
// clang-format on

namespace kestrel {

// The marks on a parameter type; Unmarked<T> is the type in the header.
template <typename T>
struct RequestNumber;
template <typename T>
struct Secret;

template <typename T>
struct Unmark {
  using type = T;
  static constexpr bool kRequestNumber = false;
  static constexpr bool kSecret = false;
};
template <typename T>
struct Unmark<RequestNumber<T>> : Unmark<T> {
  static constexpr bool kRequestNumber = true;
};
template <typename T>
struct Unmark<Secret<T>> : Unmark<T> {
  static constexpr bool kSecret = true;
};
template <typename T>
using Unmarked = typename Unmark<T>::type;

namespace interfaces {

// One row: the interface, the slot, the result and the marked parameters.
template <typename Interface, uint16_t Slot, typename R, typename... Marked>
struct Operation {
  using Class = Interface;
  using Result = R;
  using Member = R (Interface::*)(Unmarked<Marked>...);
  static constexpr uint16_t kSlot = Slot;
  static constexpr std::size_t kArity = sizeof...(Marked);
  // The parameter whose argument is the request number; kArity for none.
  static constexpr std::size_t kRequestNumber = [] {
    constexpr bool marked[] = {Unmark<Marked>::kRequestNumber..., false};
    std::size_t i = 0;
    while (i < sizeof...(Marked) && !marked[i]) ++i;
    return i;
  }();
  template <std::size_t I>
  static constexpr bool kSecret = Unmark<std::tuple_element_t<I, std::tuple<Marked...>>>::kSecret;
};

// Whether rows, in declaration order as {first, last} slots, cover the slots
// from 1 to the last one each once.
struct SlotRange {
  uint16_t first;
  uint16_t last;
};
template <std::size_t N>
constexpr bool coversEachSlotOnce(const SlotRange (&rows)[N]) {
  uint16_t next = 1;
  for (const SlotRange& row : rows) {
    if (row.first != next || row.last < row.first) return false;
    next = static_cast<uint16_t>(row.last + 1);
  }
  return true;
}

}  // namespace interfaces
}  // namespace kestrel

// A row's parameter types, `KS_PARAMETERS types`, as the parameters of an
// override named a1, a2, ..., and `KS_ARGUMENTS types` as the arguments that
// hand them on. Up to six parameters, the most any operation has.
#define KS_COUNT(...) KS_COUNT_I(~__VA_OPT__(, ) __VA_ARGS__, 6, 5, 4, 3, 2, 1, 0)
#define KS_COUNT_I(_0, _1, _2, _3, _4, _5, _6, n, ...) n
#define KS_CAT(a, b) KS_CAT_I(a, b)
#define KS_CAT_I(a, b) a##b
#define KS_AFTER_COMMA(...) __VA_OPT__(, ) __VA_ARGS__
#define KS_PARAMETERS(...) KS_CAT(KS_PARAMETERS_, KS_COUNT(__VA_ARGS__))(__VA_ARGS__)
#define KS_ARGUMENTS(...) KS_CAT(KS_ARGUMENTS_, KS_COUNT(__VA_ARGS__))
#define KS_P(T, a) ::kestrel::Unmarked<T> a
#define KS_PARAMETERS_0()
#define KS_PARAMETERS_1(A) KS_P(A, a1)
#define KS_PARAMETERS_2(A, B) KS_P(A, a1), KS_P(B, a2)
#define KS_PARAMETERS_3(A, B, C) KS_P(A, a1), KS_P(B, a2), KS_P(C, a3)
#define KS_PARAMETERS_4(A, B, C, D) KS_P(A, a1), KS_P(B, a2), KS_P(C, a3), KS_P(D, a4)
#define KS_PARAMETERS_5(A, B, C, D, E) KS_PARAMETERS_4(A, B, C, D), KS_P(E, a5)
#define KS_PARAMETERS_6(A, B, C, D, E, F) KS_PARAMETERS_5(A, B, C, D, E), KS_P(F, a6)
#define KS_ARGUMENTS_0
#define KS_ARGUMENTS_1 a1
#define KS_ARGUMENTS_2 a1, a2
#define KS_ARGUMENTS_3 a1, a2, a3
#define KS_ARGUMENTS_4 a1, a2, a3, a4
#define KS_ARGUMENTS_5 a1, a2, a3, a4, a5
#define KS_ARGUMENTS_6 a1, a2, a3, a4, a5, a6
// A macro for rows that a use leaves out (the placeholders, mostly).
#define KS_NO_ROW(...)

// One type per row, in namespaces named for the interface: session::sendOrder,
// spi::onLogin, api::placeOrder, callback::onOrderPush. Each is checked here
// against the header's member.
#define KS_INTERFACE_ROW(Interface, slot, R, name, types, names)                                 \
  static_assert(std::is_same<decltype(&Interface::name),                                         \
                             Operation<Interface, slot, R KS_AFTER_COMMA types>::Member>::value, \
                #Interface "::" #name ": the header's signature is not the table's row");        \
  struct name : Operation<Interface, slot, R KS_AFTER_COMMA types> {                             \
    static constexpr Member kMember = &Interface::name;                                          \
    static constexpr const char* kName = #name;                                                  \
    static constexpr const char* kArguments = names;                                             \
  };
#define KS_INTERFACE_SLOTS(slot, R, name, types, names) {slot, slot},
#define KS_INTERFACE_RANGE(first, last) {first, last},

namespace kestrel {
namespace interfaces {

#define KS_ROW(slot, R, name, types, names) \
  KS_INTERFACE_ROW(ITradeSession, slot, R, name, types, names)
namespace session {
KS_TRADE_SESSION_TABLE(KS_ROW, KS_NO_ROW)
constexpr SlotRange kSlots[] = {KS_TRADE_SESSION_TABLE(KS_INTERFACE_SLOTS, KS_INTERFACE_RANGE)};
}  // namespace session
#undef KS_ROW

#define KS_ROW(slot, R, name, types, names) \
  KS_INTERFACE_ROW(ITradeSessionSpi, slot, R, name, types, names)
namespace spi {
KS_TRADE_SESSION_SPI_TABLE(KS_ROW, KS_NO_ROW)
constexpr SlotRange kSlots[] = {KS_TRADE_SESSION_SPI_TABLE(KS_INTERFACE_SLOTS, KS_INTERFACE_RANGE)};
}  // namespace spi
#undef KS_ROW

#define KS_ROW(slot, R, name, types, names) \
  KS_INTERFACE_ROW(xti::XtTraderApi, slot, R, name, types, names)
namespace api {
KS_XT_TRADER_API_TABLE(KS_ROW, KS_NO_ROW)
constexpr SlotRange kSlots[] = {KS_XT_TRADER_API_TABLE(KS_INTERFACE_SLOTS, KS_INTERFACE_RANGE)};
}  // namespace api
#undef KS_ROW

#define KS_ROW(slot, R, name, types, names) \
  KS_INTERFACE_ROW(xti::XtTraderApiCallback, slot, R, name, types, names)
namespace callback {
KS_XT_TRADER_API_CALLBACK_TABLE(KS_ROW, KS_NO_ROW)
constexpr SlotRange kSlots[] = {
    KS_XT_TRADER_API_CALLBACK_TABLE(KS_INTERFACE_SLOTS, KS_INTERFACE_RANGE)};
}  // namespace callback
#undef KS_ROW

static_assert(coversEachSlotOnce(session::kSlots), "ITradeSession: a slot missing or twice");
static_assert(coversEachSlotOnce(spi::kSlots), "ITradeSessionSpi: a slot missing or twice");
static_assert(coversEachSlotOnce(api::kSlots), "XtTraderApi: a slot missing or twice");
static_assert(coversEachSlotOnce(callback::kSlots), "XtTraderApiCallback: a slot missing or twice");

}  // namespace interfaces
}  // namespace kestrel

#endif  // KESTREL_PLUGIN_INTERFACE_TABLE_H_
