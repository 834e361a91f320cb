// The host's records field by field, in declaration order: one list per
// record, from which the journal writes, reads and prints host records (a
// visitor per record, fields()) and its tests check the records (every member
// listed, the format's fingerprint). A field added to a record needs its
// entry here.
//
//   F(member)       a field, under its member's name
//   SECRET(member)  a text never written as it is (passwords, authentication
//                   codes): the journal keeps "***" instead when not empty
//   BASE(Record)    the fields of a base record, in its place
//
// A visitor offers operator()(name, field) for every field type and
// secret(name, text) for the secrets.
#ifndef KESTREL_RECORDER_JOURNAL_HOST_FIELDS_H_
#define KESTREL_RECORDER_JOURNAL_HOST_FIELDS_H_

#include "plugin/host_records.h"
#include "plugin/result_status.h"

// clang-format off
#define KS_JOURNAL_HOST_RECORDS(X)                                                                 \
  X(TextPair, F(first) SECRET(second))                                                             \
  X(AddressEntry, F(address) F(label))                                                             \
  X(ServerInfo, F(serverKind) F(serverName) F(brokerName) F(serverAddresses) F(backupAddresses)    \
    F(connectTimeout) F(retryCount) F(tags) F(extraText1) F(extraText2) F(extraText3)              \
    F(extraText4) F(serverFlags))                                                                  \
  X(ProxySettings, F(address) F(port) F(credentials))                                              \
  X(SessionConfig, F(sessionKind) F(configCode) F(marketKind) F(brokerText) F(configText)          \
    F(userName) F(server) F(authentication) F(proxy) F(timeoutSeconds) F(optionFlags)              \
    SECRET(password) F(appId) SECRET(authCode) F(productInfo) F(terminalInfo))                     \
  X(AccountHeader, F(accountCode) F(configText) F(userName) F(codeA) F(codeB))                     \
  X(CodeId, F(tag) F(kind) F(exchange) F(code))                                                    \
  X(ClientId, F(prefix) F(serial))                                                                 \
  X(AccountOrderNewRequest, F(header) F(codeId) F(clientId) F(extraText1) F(extraText2)            \
    F(quantity) F(price) F(priceType) F(extraInt) F(offsetFlag) F(hedgeFlag) F(direction)          \
    F(extra64))                                                                                    \
  X(AccountOrderCancelRequest, F(header) F(codeId) F(clientId) F(extraText1) F(extraText2)         \
    F(extraText3) F(exchangeOrderId) F(quantity) F(price) F(priceType) F(extraInt) F(offsetFlag)   \
    F(hedgeFlag) F(direction))                                                                     \
  X(OrderRecordHead, F(header) F(codeId) F(clientId) F(spareText1) F(spareText2))                  \
  X(AccountFunds, F(header) F(tradingDay) F(amount1) F(amount2) F(amount3) F(amount4) F(amount5)   \
    F(amount6) F(amount7) F(amount8) F(amount9) F(amount10) F(amount11) F(amount12) F(amount13)    \
    F(amount14) F(amount15) F(amount16) F(amount17) F(amount18) F(amount19))                       \
  X(OrderDetailRecord, BASE(OrderRecordHead) F(exchangeOrderId) F(statusMessage) F(orderTime)      \
    F(volume) F(price) F(firstAmount) F(secondAmount) F(spare1) F(spare2) F(priceType) F(spare3)   \
    F(offsetFlag) F(hedgeFlag) F(direction))                                                       \
  X(OrderRecord, BASE(OrderRecordHead) F(exchangeOrderId) F(statusMessage) F(volume) F(price)      \
    F(priceType) F(spare1) F(offsetFlag) F(hedgeFlag) F(direction) F(orderTime))                   \
  X(OrderAcceptedRecord, BASE(OrderRecordHead) F(exchangeOrderId) F(statusMessage) F(volume)       \
    F(price) F(firstAmount) F(secondAmount) F(priceType) F(spare1) F(offsetFlag) F(hedgeFlag)      \
    F(direction) F(orderTime))                                                                     \
  X(OrderFilledRecord, BASE(OrderRecordHead) F(exchangeOrderId) F(spareText3) F(statusMessage)     \
    F(spare1) F(spare2) F(volume) F(spare3) F(price) F(spare4) F(priceType) F(spare5)              \
    F(offsetFlag) F(hedgeFlag) F(direction) F(orderTime))                                          \
  X(FillRecord, BASE(OrderRecordHead) F(fillReference) F(fillReference2) F(fillTime) F(spare1)     \
    F(spare2) F(volume) F(spare3) F(price) F(spare4) F(priceType) F(offsetFlag) F(hedgeFlag)       \
    F(direction))                                                                                  \
  X(PositionRecord, F(header) F(codeId) F(spare1) F(volumeWhenClear) F(volumeWhenSet) F(spare2)    \
    F(spare3) F(spare4) F(spare5) F(spare6) F(spare7) F(spare8) F(spare9) F(twoValueCode)          \
    F(side))                                                                                       \
  X(PositionDetailRecord, F(ceilingOne) F(ceilingTwo) F(accountCode) F(spare1) F(spareText1)       \
    F(configText) F(userName) F(codeA) F(spare2) F(codeB) F(spare3) F(spareText2) F(codeId)        \
    F(detailNumber1) F(detailNumber2) F(detailReference) F(spare4) F(twoValueCode) F(side)         \
    F(volume) F(firstAmount) F(secondAmount) F(spare5))                                            \
  X(LoginEntry, F(key) F(value))                                                                   \
  X(LoginReply, F(loginStamp) F(loginState) F(tradingDay) F(loginKind) F(entries))                 \
  X(ResultStatus, F(code) F(message))                                                              \
  X(CurrencyRate, F(currency) F(rate))                                                             \
  X(TransferReq, F(bankId) F(amount))                                                              \
  X(UserPasswordUpdateReq, SECRET(oldPassword) SECRET(newPassword))                                \
  X(TradingAccountPasswordUpdateReq, SECRET(oldPassword) SECRET(newPassword))                      \
  X(HistoryDataReq, F(beginDay) F(endDay))                                                         \
  X(HistoryDataReqV2, F(beginDay) F(endDay) F(filter))                                             \
  X(AccountOrderRequest, F(header))                                                                \
  X(ClientSystemInfo, F(text))                                                                     \
  X(ICodeID, F(codeId))                                                                            \
  X(CrashReturnReq, F(text))                                                                       \
  X(InvestorReq, F(investorId))                                                                    \
  X(BankMoneyReq, F(bankId))                                                                       \
  X(BankAccountregisterReq, F(bankId))                                                             \
  X(TradingAccountID, F(accountId))                                                                \
  X(CommissionRateReq, F(codeId))                                                                  \
  X(InstrumentReq, F(codeId))                                                                      \
  X(MarginRateReq, F(codeId))                                                                      \
  X(PositionDetailReq, F(codeId))                                                                  \
  X(SettlementInfoReq, F(tradingDay))                                                              \
  X(SecurityReturnReq, F(text))                                                                    \
  X(SettlementInfoConfirmReq, F(tradingDay))                                                       \
  X(TransferBankReq, F(bankId))                                                                    \
  X(TransferSerialReq, F(bankId))

// clang-format on

namespace kestrel {
namespace journal {

#define F(member) v(#member, r.member);
#define SECRET(member) v.secret(#member, r.member);
#define BASE(Record) fields(v, static_cast<Record&>(r));
#define KS_JOURNAL_FIELDS(Record, list) \
  template <typename V>                 \
  void fields(V& v, Record& r) {        \
    list                                \
  }
KS_JOURNAL_HOST_RECORDS(KS_JOURNAL_FIELDS)
#undef KS_JOURNAL_FIELDS
#undef BASE
#undef SECRET
#undef F

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_HOST_FIELDS_H_
