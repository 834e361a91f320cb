#include "plugin/trade_session.h"

#include "plugin/error_messages.h"

namespace kestrel {

ITradeSession::ITradeSession() = default;
ITradeSession::ITradeSession(const ITradeSession&) = default;
ITradeSession& ITradeSession::operator=(const ITradeSession&) { return *this; }
ITradeSession::~ITradeSession() = default;

std::list<CurrencyRate> ITradeSession::getCurrencyRate() { return {}; }

// Every operation below is one the plug-in does not support: it ignores its
// arguments and answers code 23 with the table's text.
ResultStatus ITradeSession::easyConnect() { return notSupportedStatus(); }
ResultStatus ITradeSession::reqSessionInit(int) { return notSupportedStatus(); }
ResultStatus ITradeSession::reqPasswordUpdate(int, const UserPasswordUpdateReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::getClientSystemInfo(ClientSystemInfo&) { return notSupportedStatus(); }
ResultStatus ITradeSession::getTradingAccountToken(std::string&) { return notSupportedStatus(); }
ResultStatus ITradeSession::sendExecutiveOrder(int, const AccountOrderNewRequest&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::cancelExecutiveOrder(int, const AccountOrderCancelRequest&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryExecutiveOrder(int, const AccountOrderRequest&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryPositionDetail(int, const PositionDetailReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryInstrument(int, const InstrumentReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqCrashReturn(const CrashReturnReq&) { return notSupportedStatus(); }
ResultStatus ITradeSession::reqCreditInfo(int) { return notSupportedStatus(); }
ResultStatus ITradeSession::reqFinancingTargets(int, const std::vector<ICodeID>&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqFromBankAccountToTradingAccount(int, const TransferReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqFromTradingAccountToBankAccount(int, const TransferReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqInvestor(int, const InvestorReq&) { return notSupportedStatus(); }
ResultStatus ITradeSession::reqMarginTargets(int, const std::vector<ICodeID>&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryBankAccountMoney(int, const BankMoneyReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryBankAccountregister(int, const BankAccountregisterReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryCFMMCTradingAccountToken(int, const TradingAccountID&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryCommissionRate(int, const CommissionRateReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryHistoryData(int, const HistoryDataReqV2&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryHistoryFill(int, const HistoryDataReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryMarginRate(int, const MarginRateReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryRiskPosition(int) { return notSupportedStatus(); }
ResultStatus ITradeSession::reqQryRiskProduct(int) { return notSupportedStatus(); }
ResultStatus ITradeSession::reqQrySettlementInfo(int, const SettlementInfoReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQrySettlementInfoConfirm(int, const TradingAccountID&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryStkStatement(int, const HistoryDataReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryTradingNotice(int) { return notSupportedStatus(); }
ResultStatus ITradeSession::reqQryTransferBank(int, const TransferBankReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqQryTransferSerial(int, const TransferSerialReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqSecurityReturn(const SecurityReturnReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqSettlementInfoConfirm(int, const SettlementInfoConfirmReq&) {
  return notSupportedStatus();
}
ResultStatus ITradeSession::reqTradingAccountPasswordUpdate(
    int, const TradingAccountPasswordUpdateReq&) {
  return notSupportedStatus();
}

}  // namespace kestrel
