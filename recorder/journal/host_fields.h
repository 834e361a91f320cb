// The host's records field by field, in declaration order: one function per
// record that hands every field, with its name, to a visitor. The journal
// writes, reads and prints host records through these alone, so a field added
// to a record needs one line here.
//
// A visitor offers operator()(name, field) for every field type and
// secret(name, text) for texts that are never written as they are
// (passwords and authentication codes: the journal keeps "***" instead).
#ifndef KESTREL_RECORDER_JOURNAL_HOST_FIELDS_H_
#define KESTREL_RECORDER_JOURNAL_HOST_FIELDS_H_

#include "plugin/host_records.h"
#include "plugin/result_status.h"

namespace kestrel {
namespace journal {

template <typename V>
void fields(V& v, TextPair& r) {
  v("first", r.first);
  v.secret("second", r.second);
}
template <typename V>
void fields(V& v, AddressEntry& r) {
  v("address", r.address);
  v("label", r.label);
}
template <typename V>
void fields(V& v, ServerInfo& r) {
  v("serverKind", r.serverKind);
  v("serverName", r.serverName);
  v("brokerName", r.brokerName);
  v("serverAddresses", r.serverAddresses);
  v("backupAddresses", r.backupAddresses);
  v("connectTimeout", r.connectTimeout);
  v("retryCount", r.retryCount);
  v("tags", r.tags);
  v("extraText1", r.extraText1);
  v("extraText2", r.extraText2);
  v("extraText3", r.extraText3);
  v("extraText4", r.extraText4);
  v("serverFlags", r.serverFlags);
}
template <typename V>
void fields(V& v, ProxySettings& r) {
  v("address", r.address);
  v("port", r.port);
  v("credentials", r.credentials);
}
template <typename V>
void fields(V& v, SessionConfig& r) {
  v("sessionKind", r.sessionKind);
  v("configCode", r.configCode);
  v("marketKind", r.marketKind);
  v("brokerText", r.brokerText);
  v("configText", r.configText);
  v("userName", r.userName);
  v("server", r.server);
  v("authentication", r.authentication);
  v("proxy", r.proxy);
  v("timeoutSeconds", r.timeoutSeconds);
  v("optionFlags", r.optionFlags);
  v.secret("password", r.password);
  v("appId", r.appId);
  v.secret("authCode", r.authCode);
  v("productInfo", r.productInfo);
  v("terminalInfo", r.terminalInfo);
}
template <typename V>
void fields(V& v, AccountHeader& r) {
  v("accountCode", r.accountCode);
  v("configText", r.configText);
  v("userName", r.userName);
  v("codeA", r.codeA);
  v("codeB", r.codeB);
}
template <typename V>
void fields(V& v, CodeId& r) {
  v("tag", r.tag);
  v("kind", r.kind);
  v("exchange", r.exchange);
  v("code", r.code);
}
template <typename V>
void fields(V& v, ClientId& r) {
  v("prefix", r.prefix);
  v("serial", r.serial);
}
template <typename V>
void fields(V& v, AccountOrderNewRequest& r) {
  v("header", r.header);
  v("codeId", r.codeId);
  v("clientId", r.clientId);
  v("extraText1", r.extraText1);
  v("extraText2", r.extraText2);
  v("quantity", r.quantity);
  v("price", r.price);
  v("priceType", r.priceType);
  v("extraInt", r.extraInt);
  v("offsetFlag", r.offsetFlag);
  v("hedgeFlag", r.hedgeFlag);
  v("direction", r.direction);
  v("extra64", r.extra64);
}
template <typename V>
void fields(V& v, AccountOrderCancelRequest& r) {
  v("header", r.header);
  v("codeId", r.codeId);
  v("clientId", r.clientId);
  v("extraText1", r.extraText1);
  v("extraText2", r.extraText2);
  v("extraText3", r.extraText3);
  v("exchangeOrderId", r.exchangeOrderId);
  v("quantity", r.quantity);
  v("price", r.price);
  v("priceType", r.priceType);
  v("extraInt", r.extraInt);
  v("offsetFlag", r.offsetFlag);
  v("hedgeFlag", r.hedgeFlag);
  v("direction", r.direction);
}
template <typename V>
void fields(V& v, OrderRecordHead& r) {
  v("header", r.header);
  v("codeId", r.codeId);
  v("clientId", r.clientId);
  v("spareText1", r.spareText1);
  v("spareText2", r.spareText2);
}
template <typename V>
void fields(V& v, AccountFunds& r) {
  v("header", r.header);
  v("tradingDay", r.tradingDay);
  double* amounts[] = {&r.amount1,  &r.amount2,  &r.amount3,  &r.amount4,  &r.amount5,
                       &r.amount6,  &r.amount7,  &r.amount8,  &r.amount9,  &r.amount10,
                       &r.amount11, &r.amount12, &r.amount13, &r.amount14, &r.amount15,
                       &r.amount16, &r.amount17, &r.amount18, &r.amount19};
  for (std::size_t i = 0; i < sizeof(amounts) / sizeof(amounts[0]); ++i) {
    v(("amount" + std::to_string(i + 1)).c_str(), *amounts[i]);
  }
}
template <typename V>
void fields(V& v, OrderDetailRecord& r) {
  fields(v, static_cast<OrderRecordHead&>(r));
  v("exchangeOrderId", r.exchangeOrderId);
  v("statusMessage", r.statusMessage);
  v("orderTime", r.orderTime);
  v("volume", r.volume);
  v("price", r.price);
  v("firstAmount", r.firstAmount);
  v("secondAmount", r.secondAmount);
  v("spare1", r.spare1);
  v("spare2", r.spare2);
  v("priceType", r.priceType);
  v("spare3", r.spare3);
  v("offsetFlag", r.offsetFlag);
  v("hedgeFlag", r.hedgeFlag);
  v("direction", r.direction);
}
template <typename V>
void fields(V& v, OrderRecord& r) {
  fields(v, static_cast<OrderRecordHead&>(r));
  v("exchangeOrderId", r.exchangeOrderId);
  v("statusMessage", r.statusMessage);
  v("volume", r.volume);
  v("price", r.price);
  v("priceType", r.priceType);
  v("spare1", r.spare1);
  v("offsetFlag", r.offsetFlag);
  v("hedgeFlag", r.hedgeFlag);
  v("direction", r.direction);
  v("orderTime", r.orderTime);
}
template <typename V>
void fields(V& v, OrderAcceptedRecord& r) {
  fields(v, static_cast<OrderRecordHead&>(r));
  v("exchangeOrderId", r.exchangeOrderId);
  v("statusMessage", r.statusMessage);
  v("volume", r.volume);
  v("price", r.price);
  v("firstAmount", r.firstAmount);
  v("secondAmount", r.secondAmount);
  v("priceType", r.priceType);
  v("spare1", r.spare1);
  v("offsetFlag", r.offsetFlag);
  v("hedgeFlag", r.hedgeFlag);
  v("direction", r.direction);
  v("orderTime", r.orderTime);
}
template <typename V>
void fields(V& v, OrderFilledRecord& r) {
  fields(v, static_cast<OrderRecordHead&>(r));
  v("exchangeOrderId", r.exchangeOrderId);
  v("spareText3", r.spareText3);
  v("statusMessage", r.statusMessage);
  v("spare1", r.spare1);
  v("spare2", r.spare2);
  v("volume", r.volume);
  v("spare3", r.spare3);
  v("price", r.price);
  v("spare4", r.spare4);
  v("priceType", r.priceType);
  v("spare5", r.spare5);
  v("offsetFlag", r.offsetFlag);
  v("hedgeFlag", r.hedgeFlag);
  v("direction", r.direction);
  v("orderTime", r.orderTime);
}
template <typename V>
void fields(V& v, FillRecord& r) {
  fields(v, static_cast<OrderRecordHead&>(r));
  v("fillReference", r.fillReference);
  v("fillReference2", r.fillReference2);
  v("fillTime", r.fillTime);
  v("spare1", r.spare1);
  v("spare2", r.spare2);
  v("volume", r.volume);
  v("spare3", r.spare3);
  v("price", r.price);
  v("spare4", r.spare4);
  v("priceType", r.priceType);
  v("offsetFlag", r.offsetFlag);
  v("hedgeFlag", r.hedgeFlag);
  v("direction", r.direction);
}
template <typename V>
void fields(V& v, PositionRecord& r) {
  v("header", r.header);
  v("codeId", r.codeId);
  v("spare1", r.spare1);
  v("volumeWhenClear", r.volumeWhenClear);
  v("volumeWhenSet", r.volumeWhenSet);
  v("spare2", r.spare2);
  v("spare3", r.spare3);
  v("spare4", r.spare4);
  v("spare5", r.spare5);
  v("spare6", r.spare6);
  v("spare7", r.spare7);
  v("spare8", r.spare8);
  v("spare9", r.spare9);
  v("twoValueCode", r.twoValueCode);
  v("side", r.side);
}
template <typename V>
void fields(V& v, PositionDetailRecord& r) {
  v("ceilingOne", r.ceilingOne);
  v("ceilingTwo", r.ceilingTwo);
  v("accountCode", r.accountCode);
  v("spare1", r.spare1);
  v("spareText1", r.spareText1);
  v("configText", r.configText);
  v("userName", r.userName);
  v("codeA", r.codeA);
  v("spare2", r.spare2);
  v("codeB", r.codeB);
  v("spare3", r.spare3);
  v("spareText2", r.spareText2);
  v("codeId", r.codeId);
  v("detailNumber1", r.detailNumber1);
  v("detailNumber2", r.detailNumber2);
  v("detailReference", r.detailReference);
  v("spare4", r.spare4);
  v("twoValueCode", r.twoValueCode);
  v("side", r.side);
  v("volume", r.volume);
  v("firstAmount", r.firstAmount);
  v("secondAmount", r.secondAmount);
  v("spare5", r.spare5);
}
template <typename V>
void fields(V& v, LoginEntry& r) {
  v("key", r.key);
  v("value", r.value);
}
template <typename V>
void fields(V& v, LoginReply& r) {
  v("loginStamp", r.loginStamp);
  v("loginState", r.loginState);
  v("tradingDay", r.tradingDay);
  v("loginKind", r.loginKind);
  v("entries", r.entries);
}
template <typename V>
void fields(V& v, ResultStatus& r) {
  v("code", r.code);
  v("message", r.message);
}

// Records that only the operations the plug-in does not support carry.
template <typename V>
void fields(V& v, CurrencyRate& r) {
  v("currency", r.currency);
  v("rate", r.rate);
}
template <typename V>
void fields(V& v, TransferReq& r) {
  v("bankId", r.bankId);
  v("amount", r.amount);
}
template <typename V>
void fields(V& v, UserPasswordUpdateReq& r) {
  v.secret("oldPassword", r.oldPassword);
  v.secret("newPassword", r.newPassword);
}
template <typename V>
void fields(V& v, TradingAccountPasswordUpdateReq& r) {
  v.secret("oldPassword", r.oldPassword);
  v.secret("newPassword", r.newPassword);
}
template <typename V>
void fields(V& v, HistoryDataReq& r) {
  v("beginDay", r.beginDay);
  v("endDay", r.endDay);
}
template <typename V>
void fields(V& v, HistoryDataReqV2& r) {
  v("beginDay", r.beginDay);
  v("endDay", r.endDay);
  v("filter", r.filter);
}
template <typename V>
void fields(V& v, AccountOrderRequest& r) {
  v("header", r.header);
}

// The single-field records, under their field's name.
#define KS_JOURNAL_ONE_FIELD(Record, field) \
  template <typename V>                     \
  void fields(V& v, Record& r) {            \
    v(#field, r.field);                     \
  }
KS_JOURNAL_ONE_FIELD(ClientSystemInfo, text)
KS_JOURNAL_ONE_FIELD(ICodeID, codeId)
KS_JOURNAL_ONE_FIELD(CrashReturnReq, text)
KS_JOURNAL_ONE_FIELD(InvestorReq, investorId)
KS_JOURNAL_ONE_FIELD(BankMoneyReq, bankId)
KS_JOURNAL_ONE_FIELD(BankAccountregisterReq, bankId)
KS_JOURNAL_ONE_FIELD(TradingAccountID, accountId)
KS_JOURNAL_ONE_FIELD(CommissionRateReq, codeId)
KS_JOURNAL_ONE_FIELD(InstrumentReq, codeId)
KS_JOURNAL_ONE_FIELD(MarginRateReq, codeId)
KS_JOURNAL_ONE_FIELD(PositionDetailReq, codeId)
KS_JOURNAL_ONE_FIELD(SettlementInfoReq, tradingDay)
KS_JOURNAL_ONE_FIELD(SecurityReturnReq, text)
KS_JOURNAL_ONE_FIELD(SettlementInfoConfirmReq, tradingDay)
KS_JOURNAL_ONE_FIELD(TransferBankReq, bankId)
KS_JOURNAL_ONE_FIELD(TransferSerialReq, bankId)
#undef KS_JOURNAL_ONE_FIELD

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_HOST_FIELDS_H_
