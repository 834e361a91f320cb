// The operations of both boundaries as the journal numbers them: by the slot
// their callers use (the slots of ITradeSession, ITradeSessionSpi, XtTraderApi
// and XtTraderApiCallback, numbered as plugin/trade_session.h says, the
// destructor's 0), plus numbers of the journal's own for what has no slot. The lists below are the
// one place that names them; the recorders, the dump and the replay all build on them.
#ifndef KESTREL_RECORDER_JOURNAL_OPERATIONS_H_
#define KESTREL_RECORDER_JOURNAL_OPERATIONS_H_

#include <cstdint>
#include <string>

#include "plugin/trade_session.h"
#include "plugin/xt_trader_api.h"
#include "recorder/journal/value_codec.h"

namespace kestrel {
namespace journal {

namespace op {
constexpr uint16_t kDestroySession = 0;  // a session deleted without release()
constexpr uint16_t kCreateTradeSession = 100;
constexpr uint16_t kGetPluginInfo = 101;
constexpr uint16_t kDestroyApi = 0;
constexpr uint16_t kCreateApi = 200;  // recorded when it returns: address, whether it made one
constexpr uint16_t kJoinAll = 201;
}  // namespace op

// X(slot, operation, names of its arguments)
#define KS_JOURNAL_HOST_REQUESTS(X)                              \
  X(1, getTypeCode, "")                                          \
  X(2, setConfig, "config")                                      \
  X(3, registerSpi, "spi")                                       \
  X(4, connect, "")                                              \
  X(5, easyConnect, "")                                          \
  X(6, reqAuxiliary, "requestId command")                        \
  X(7, login, "")                                                \
  X(8, logout, "")                                               \
  X(9, release, "")                                              \
  X(10, reqSessionInit, "requestId")                             \
  X(11, reqPasswordUpdate, "requestId request")                  \
  X(12, getCurrencyRate, "")                                     \
  X(13, getClientSystemInfo, "info")                             \
  X(14, getTradingAccountToken, "token")                         \
  X(15, sendOrder, "requestId request")                          \
  X(16, cancelOrder, "requestId request")                        \
  X(17, sendExecutiveOrder, "requestId request")                 \
  X(18, cancelExecutiveOrder, "requestId request")               \
  X(19, reqQryExecutiveOrder, "requestId request")               \
  X(20, reqQryTradingAccount, "requestId")                       \
  X(21, reqQryPosition, "requestId")                             \
  X(22, reqQryPositionDetail, "requestId request")               \
  X(23, reqQryOrder, "requestId")                                \
  X(24, reqQryInstrument, "requestId request")                   \
  X(25, reqQryFill, "requestId")                                 \
  X(26, reqCrashReturn, "request")                               \
  X(27, reqCreditInfo, "requestId")                              \
  X(28, reqFinancingTargets, "requestId codes")                  \
  X(29, reqFromBankAccountToTradingAccount, "requestId request") \
  X(30, reqFromTradingAccountToBankAccount, "requestId request") \
  X(31, reqInvestor, "requestId request")                        \
  X(32, reqMarginTargets, "requestId codes")                     \
  X(33, reqQryBankAccountMoney, "requestId request")             \
  X(34, reqQryBankAccountregister, "requestId request")          \
  X(35, reqQryCFMMCTradingAccountToken, "requestId request")     \
  X(36, reqQryCommissionRate, "requestId request")               \
  X(37, reqQryHistoryData, "requestId request")                  \
  X(38, reqQryHistoryFill, "requestId request")                  \
  X(39, reqQryMarginRate, "requestId request")                   \
  X(40, reqQryRiskPosition, "requestId")                         \
  X(41, reqQryRiskProduct, "requestId")                          \
  X(42, reqQrySettlementInfo, "requestId request")               \
  X(43, reqQrySettlementInfoConfirm, "requestId request")        \
  X(44, reqQryStkStatement, "requestId request")                 \
  X(45, reqQryTradingNotice, "requestId")                        \
  X(46, reqQryTransferBank, "requestId request")                 \
  X(47, reqQryTransferSerial, "requestId request")               \
  X(48, reqSecurityReturn, "request")                            \
  X(49, reqSettlementInfoConfirm, "requestId request")           \
  X(50, reqTradingAccountPasswordUpdate, "requestId request")

#define KS_JOURNAL_HOST_EVENTS(X)                                    \
  X(1, onConnected, "status")                                        \
  X(3, onLogin, "status reply")                                      \
  X(4, onLogout, "status")                                           \
  X(5, onDisconnected, "status")                                     \
  X(9, onOrderAccepted, "record status requestId isLast")            \
  X(10, onOrderRejected, "record status requestId isLast")           \
  X(11, onOrderFilled, "record status requestId isLast")             \
  X(12, onOrderCanceled, "record status requestId isLast")           \
  X(13, onFill, "record status requestId isLast")                    \
  X(14, onOrdersResponse, "record status requestId isLast")          \
  X(17, onFillsResponse, "record status requestId isLast")           \
  X(18, onPositionsResponse, "record status requestId isLast")       \
  X(19, onPositionDetailsResponse, "record status requestId isLast") \
  X(22, onAccountFundsResponse, "record status requestId isLast")

#define KS_JOURNAL_VENDOR_REQUESTS(X)                                        \
  X(1, setCallback, "callback")                                              \
  X(2, init, "configFilePath")                                               \
  X(3, shutdown, "")                                                         \
  X(10, userLogin, "userName password requestId machineInfo appId authCode") \
  X(11, userLogout, "userName password requestId")                           \
  X(12, queryAccountDetail, "accountId requestId extra")                     \
  X(14, queryOrderDetail, "accountId requestId extra")                       \
  X(16, queryDealDetail, "accountId requestId extra")                        \
  X(17, queryPositionDetail, "accountId requestId extra")                    \
  X(18, queryPosition, "accountId requestId extra")                          \
  X(38, placeOrder, "order requestId extra")                                 \
  X(39, cancelOrderById, "orderId requestId")                                \
  X(40, cancelOrderByExchangeId,                                             \
    "accountId exchangeOrderId exchangeCode instrumentCode requestId extra")

#define KS_JOURNAL_VENDOR_CALLBACKS(X)                                  \
  X(1, onConnected, "success errorMsg")                                 \
  X(2, onUserLogin, "userName password requestId error")                \
  X(3, onUserLogout, "userName password requestId error")               \
  X(4, onOrderReply, "requestId orderId remark error")                  \
  X(5, onCancelReply, "requestId error")                                \
  X(7, onCancelReply2, "requestId error")                               \
  X(9, onAccountDetailReply, "accountId requestId data isLast error")   \
  X(13, onOrderDetailReply, "accountId requestId data isLast error")    \
  X(15, onDealDetailReply, "accountId requestId data isLast error")     \
  X(17, onPositionDetailReply, "accountId requestId data isLast error") \
  X(19, onPositionReply, "accountId requestId data isLast error")       \
  X(41, onAccountStatus, "accountId accountType status")                \
  X(46, onOrderPush, "data")                                            \
  X(47, onDealPush, "data")                                             \
  X(48, onOrderErrorPush, "data")                                       \
  X(49, onCancelErrorPush, "data")

// Names the operation slots for code that records or replays them.
namespace slot {
#define KS_JOURNAL_SLOT(number, name, arguments) constexpr uint16_t name = number;
namespace host {
KS_JOURNAL_HOST_REQUESTS(KS_JOURNAL_SLOT)
}
namespace event {
KS_JOURNAL_HOST_EVENTS(KS_JOURNAL_SLOT)
}
namespace vendor {
KS_JOURNAL_VENDOR_REQUESTS(KS_JOURNAL_SLOT)
}
namespace callback {
KS_JOURNAL_VENDOR_CALLBACKS(KS_JOURNAL_SLOT)
}
#undef KS_JOURNAL_SLOT
}  // namespace slot

using PrintFunction = Fields (*)(ValueReader& values, const char* names,
                                 const PrintContext& context);

struct Operation {
  Boundary boundary;
  Kind kind;  // kRequest (whose answer is a kReturn entry) or kCallback
  uint16_t slot;
  const char* name;
  const char* arguments;  // their names, separated by spaces
  PrintFunction print;
  PrintFunction printAnswer;  // requests that answer: the result, then what they filled in
  // Host requests and events: calls the operation on `target` (an
  // ITradeSession or an ITradeSessionSpi) with the recorded arguments and
  // writes its answer.
  void (*invoke)(void* target, ValueReader& values, FrameWriter* answer);
};

// The operation of an entry (a kReturn entry has its request's, a kDone entry
// its callback's), or null.
const Operation* findOperation(Boundary boundary, Kind kind, uint16_t slot);

// The values of `entry` as fields (a kDone entry's: "threw"); throws
// FormatError when they are not what its operation records, or the operation
// is unknown.
Fields entryFields(const Entry& entry, const PrintContext& context);

// "sendOrder", "onOrderPush", ...; "operation N" for one this program does not know.
std::string operationName(const Entry& entry);

// --- Reading values by parameter types (used by the tables) --------------------

std::vector<std::string> argumentNames(const char* names, std::size_t count);

template <typename... A>
Fields printArguments(ValueReader& values, const char* names, const PrintContext& context) {
  Fields out;
  PrintValues printer(out, context);
  const std::vector<std::string> name = argumentNames(names, sizeof...(A));
  std::size_t i = 0;
  const auto one = [&](auto argument) {
    argument.read(values);
    argument.print(printer, name[i++].c_str());
  };
  (one(Arg<A>()), ...);
  (void)one;  // for operations without arguments
  return out;
}

template <typename R, typename... A>
Fields printAnswer(ValueReader& values, const char* names, const PrintContext& context) {
  Fields out;
  PrintValues printer(out, context);
  Arg<R> result;
  result.read(values);
  result.print(printer, "result");
  const std::vector<std::string> name = argumentNames(names, sizeof...(A));
  std::size_t i = 0;
  const auto one = [&](auto argument, bool filledIn) {
    if (filledIn) {
      argument.read(values);
      argument.print(printer, name[i].c_str());
    }
    ++i;
  };
  (one(Arg<A>(), kIsOut<A>), ...);
  (void)one;
  return out;
}

template <typename C, typename R, typename... A>
constexpr PrintFunction printerOf(R (C::*)(A...)) {
  return &printArguments<A...>;
}
template <typename C, typename R, typename... A>
constexpr PrintFunction answerPrinterOf(R (C::*)(A...)) {
  return &printAnswer<R, A...>;
}

template <typename M>
struct MemberClass;
template <typename C, typename R, typename... A>
struct MemberClass<R (C::*)(A...)> {
  using type = C;
};

template <auto member>
void invokeOn(void* target, ValueReader& values, FrameWriter* answer) {
  using Class = typename MemberClass<decltype(member)>::type;
  invokeRecorded(member, static_cast<Class*>(target), values, answer);
}

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_OPERATIONS_H_
