// ITradeSession: the host's abstract trading session, shared with the host.
//
// Contract:
//  1. A host obtains sessions from CreateTradeSession() (plugin/plugin_entry.h)
//     and owns each one until it calls release(), which destroys it.
//  2. Typical use: setConfig(), registerSpi(), connect(), login(), trading
//     requests, logout(), release(). registerSpi() belongs before connect():
//     a session without a callback object (none registered, or
//     registerSpi(nullptr) while connected) still does all its bookkeeping,
//     but its events, onDisconnected from release() included, reach nobody.
//  3. Every request answers at once with a ResultStatus: code 0 when the request
//     was handed to the vendor library, a failure code when it could not be.
//     The real answers arrive later through the host's ITradeSessionSpi.
//  4. Request operations may be called from any host thread; setConfig(),
//     registerSpi(), connect() and release() must not overlap other calls on
//     the same session.
//
// The declaration order of the virtual operations is binding: a host calls
// them by vtable position. The number beside each one is its slot: the
// destructor's is 0, the first operation's 1, and so on in declaration order.
// A slot is the operation's index in Visual C++'s vtable; in GCC's and
// clang's ABI (Itanium: Linux, mingw) the destructor takes two entries, so
// the index there is the slot plus one. ITradeSessionSpi and the vendor's
// interfaces are numbered the same way, and the journal numbers operations
// by these slots (the project's plugin/interface_table.h mirrors the four
// interfaces row by row). The operations this plug-in does not support share
// one body that answers code 23 with the host table's text for 23.
#ifndef KESTREL_PLUGIN_TRADE_SESSION_H_
#define KESTREL_PLUGIN_TRADE_SESSION_H_

#include <list>
#include <string>
#include <vector>

#include "plugin/export.h"
#include "plugin/host_records.h"
#include "plugin/result_status.h"
#include "plugin/trade_session_spi.h"

namespace kestrel {

class KS_PLUGIN_API ITradeSession {
 public:
  ITradeSession();
  ITradeSession(const ITradeSession& other);
  ITradeSession& operator=(const ITradeSession& other);

  virtual ~ITradeSession();                                                          // 0
  virtual int getTypeCode() = 0;                                                     // 1
  virtual ResultStatus setConfig(const SessionConfig& config) = 0;                   // 2
  virtual ResultStatus registerSpi(ITradeSessionSpi* spi) = 0;                       // 3
  virtual ResultStatus connect() = 0;                                                // 4
  virtual ResultStatus easyConnect();                                                // 5
  virtual ResultStatus reqAuxiliary(int requestId, const std::string& command) = 0;  // 6
  virtual ResultStatus login() = 0;                                                  // 7
  virtual ResultStatus logout() = 0;                                                 // 8
  virtual ResultStatus release() = 0;                                                // 9
  virtual ResultStatus reqSessionInit(int requestId);                                // 10
  virtual ResultStatus reqPasswordUpdate(int requestId,
                                         const UserPasswordUpdateReq& request);              // 11
  virtual std::list<CurrencyRate> getCurrencyRate();                                         // 12
  virtual ResultStatus getClientSystemInfo(ClientSystemInfo& info);                          // 13
  virtual ResultStatus getTradingAccountToken(std::string& token);                           // 14
  virtual ResultStatus sendOrder(int requestId, const AccountOrderNewRequest& request) = 0;  // 15
  virtual ResultStatus cancelOrder(int requestId,
                                   const AccountOrderCancelRequest& request) = 0;  // 16
  virtual ResultStatus sendExecutiveOrder(int requestId,
                                          const AccountOrderNewRequest& request);  // 17
  virtual ResultStatus cancelExecutiveOrder(int requestId,
                                            const AccountOrderCancelRequest& request);  // 18
  virtual ResultStatus reqQryExecutiveOrder(int requestId,
                                            const AccountOrderRequest& request);               // 19
  virtual ResultStatus reqQryTradingAccount(int requestId) = 0;                                // 20
  virtual ResultStatus reqQryPosition(int requestId) = 0;                                      // 21
  virtual ResultStatus reqQryPositionDetail(int requestId, const PositionDetailReq& request);  // 22
  virtual ResultStatus reqQryOrder(int requestId) = 0;                                         // 23
  virtual ResultStatus reqQryInstrument(int requestId, const InstrumentReq& request);          // 24
  virtual ResultStatus reqQryFill(int requestId) = 0;                                          // 25
  virtual ResultStatus reqCrashReturn(const CrashReturnReq& request);                          // 26
  virtual ResultStatus reqCreditInfo(int requestId);                                           // 27
  virtual ResultStatus reqFinancingTargets(int requestId, const std::vector<ICodeID>& codes);  // 28
  virtual ResultStatus reqFromBankAccountToTradingAccount(int requestId,
                                                          const TransferReq& request);  // 29
  virtual ResultStatus reqFromTradingAccountToBankAccount(int requestId,
                                                          const TransferReq& request);      // 30
  virtual ResultStatus reqInvestor(int requestId, const InvestorReq& request);              // 31
  virtual ResultStatus reqMarginTargets(int requestId, const std::vector<ICodeID>& codes);  // 32
  virtual ResultStatus reqQryBankAccountMoney(int requestId, const BankMoneyReq& request);  // 33
  virtual ResultStatus reqQryBankAccountregister(int requestId,
                                                 const BankAccountregisterReq& request);  // 34
  virtual ResultStatus reqQryCFMMCTradingAccountToken(int requestId,
                                                      const TradingAccountID& request);        // 35
  virtual ResultStatus reqQryCommissionRate(int requestId, const CommissionRateReq& request);  // 36
  virtual ResultStatus reqQryHistoryData(int requestId, const HistoryDataReqV2& request);      // 37
  virtual ResultStatus reqQryHistoryFill(int requestId, const HistoryDataReq& request);        // 38
  virtual ResultStatus reqQryMarginRate(int requestId, const MarginRateReq& request);          // 39
  virtual ResultStatus reqQryRiskPosition(int requestId);                                      // 40
  virtual ResultStatus reqQryRiskProduct(int requestId);                                       // 41
  virtual ResultStatus reqQrySettlementInfo(int requestId, const SettlementInfoReq& request);  // 42
  virtual ResultStatus reqQrySettlementInfoConfirm(int requestId,
                                                   const TradingAccountID& request);           // 43
  virtual ResultStatus reqQryStkStatement(int requestId, const HistoryDataReq& request);       // 44
  virtual ResultStatus reqQryTradingNotice(int requestId);                                     // 45
  virtual ResultStatus reqQryTransferBank(int requestId, const TransferBankReq& request);      // 46
  virtual ResultStatus reqQryTransferSerial(int requestId, const TransferSerialReq& request);  // 47
  virtual ResultStatus reqSecurityReturn(const SecurityReturnReq& request);                    // 48
  virtual ResultStatus reqSettlementInfoConfirm(int requestId,
                                                const SettlementInfoConfirmReq& request);  // 49
  virtual ResultStatus reqTradingAccountPasswordUpdate(
      int requestId, const TradingAccountPasswordUpdateReq& request);  // 50
};

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_TRADE_SESSION_H_
