// The host's records: its settings for a session, its order and cancel
// requests, and the records the plug-in reports through ITradeSessionSpi.
//
// These are the host's own definitions, shared with it. Field order, widths
// and defaults are part of the interface: a host compiled against this header
// reads the records the plug-in builds, so never reorder or retype a field.
// All texts are byte strings in GBK unless a comment says otherwise.
// Records passed to the host live only for the duration of the call.
#ifndef KESTREL_PLUGIN_HOST_RECORDS_H_
#define KESTREL_PLUGIN_HOST_RECORDS_H_

#include <cstdint>
#include <limits>
#include <list>
#include <string>
#include <vector>

namespace kestrel {

// ---------------------------------------------------------------------------
// Session settings.

struct TextPair {
  std::string first;
  std::string second;
};

struct AddressEntry {
  std::string address;  // e.g. "tcp://10.0.0.1:58000"
  std::string label;
};

struct ServerInfo {
  int32_t serverKind = 0;
  std::string serverName;
  std::string brokerName;
  std::vector<AddressEntry> serverAddresses;  // connect() uses the first entry only
  std::vector<AddressEntry> backupAddresses;
  int32_t connectTimeout = 0;
  int32_t retryCount = 0;
  std::vector<std::string> tags;
  std::string extraText1;
  std::string extraText2;
  std::string extraText3;
  std::string extraText4;
  int32_t serverFlags = 0;
};

struct ProxySettings {
  std::string address;
  int32_t port = 0;
  TextPair credentials;
};

struct SessionConfig {
  int32_t sessionKind = 0;
  int32_t configCode = -1;  // copied into every reported AccountHeader
  int32_t marketKind = 0;
  std::string brokerText;
  std::string configText;  // copied into every reported AccountHeader
  std::string userName;    // login user; copied into every reported AccountHeader
  ServerInfo server;
  TextPair authentication;
  ProxySettings proxy;
  int32_t timeoutSeconds = 0;
  int64_t optionFlags = 0;
  std::string password;
  std::string appId;
  std::string authCode;
  std::string productInfo;
  std::string terminalInfo;
};

// ---------------------------------------------------------------------------
// Blocks shared by requests and reported records.

// Account block at the head of every reported record and of the host's
// order and cancel requests.
struct AccountHeader {
  int32_t accountCode = 0;
  std::string configText;
  std::string userName;
  int32_t codeA = 11;
  int32_t codeB = 0;
};

// Instrument block.
struct CodeId {
  int64_t tag = 0;
  int32_t kind = -1;
  int32_t exchange = -1;  // the host's exchange number
  std::string code;       // instrument code
};

// The host's identity of an order; joined as prefix + "@" + serial where a
// single key text is needed.
struct ClientId {
  std::string prefix;
  std::string serial;
};

inline bool operator==(const ClientId& a, const ClientId& b) {
  return a.prefix == b.prefix && a.serial == b.serial;
}
inline bool operator!=(const ClientId& a, const ClientId& b) { return !(a == b); }

// Host codes shared by requests and records:
//  priceType  1 limit, 2 any price (market)
//  offsetFlag 1 open, 4 close, 5 close today, 6 close yesterday, 0 unknown
//  hedgeFlag  0 unknown, 1 speculation, 2 arbitrage, 3 hedge, 4 market maker
//  direction  1 buy, 2 sell

// ---------------------------------------------------------------------------
// Requests.

struct AccountOrderNewRequest {
  AccountHeader header;
  CodeId codeId;
  ClientId clientId;
  std::string extraText1;
  std::string extraText2;
  int64_t quantity = 0;
  double price = 0;
  int32_t priceType = 0;
  int32_t extraInt = 0;
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
  int64_t extra64 = 0;
};

struct AccountOrderCancelRequest {
  AccountHeader header;
  CodeId codeId;
  ClientId clientId;  // serial holds the vendor order number when exchangeOrderId is empty
  std::string extraText1;
  std::string extraText2;
  std::string extraText3;
  std::string exchangeOrderId;
  int64_t quantity = 0;
  double price = 0;
  int32_t priceType = 0;
  int32_t extraInt = 0;
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
};

// ---------------------------------------------------------------------------
// Reported records.

// The leading members that every order and fill record shares.
struct OrderRecordHead {
  AccountHeader header;
  CodeId codeId;
  ClientId clientId;
  std::string spareText1;
  std::string spareText2;
};

struct AccountFunds {
  AccountHeader header;
  int32_t tradingDay = 0;
  double amount1 = 0;
  double amount2 = 0;
  double amount3 = 0;
  double amount4 = 0;
  double amount5 = 0;
  double amount6 = 0;
  double amount7 = 0;
  double amount8 = 0;
  double amount9 = 0;
  double amount10 = 0;
  double amount11 = 0;
  double amount12 = 0;
  double amount13 = 0;
  double amount14 = 0;
  double amount15 = 0;
  double amount16 = 0;
  double amount17 = 0;
  double amount18 = 0;
  double amount19 = 0;
};

// onOrdersResponse.
struct OrderDetailRecord : OrderRecordHead {
  std::string exchangeOrderId;
  std::string statusMessage;
  int64_t orderTime = 0;  // UTC milliseconds since 1970
  int64_t volume = 0;
  double price = 0;
  double firstAmount = 0;
  double secondAmount = 0;
  int64_t spare1 = 0;
  double spare2 = 0;
  int32_t priceType = 0;
  int32_t spare3 = 0;
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
};

// onOrderRejected and onOrderCanceled.
struct OrderRecord : OrderRecordHead {
  std::string exchangeOrderId;
  std::string statusMessage;
  int64_t volume = 0;
  double price = 0;
  int32_t priceType = 0;
  int32_t spare1 = 0;
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
  int64_t orderTime = 0;
};

// onOrderAccepted.
struct OrderAcceptedRecord : OrderRecordHead {
  std::string exchangeOrderId;
  std::string statusMessage;
  int64_t volume = 0;
  double price = 0;
  double firstAmount = 0;
  double secondAmount = 0;
  int32_t priceType = 0;
  int32_t spare1 = 0;
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
  int64_t orderTime = 0;
};

// onOrderFilled.
struct OrderFilledRecord : OrderRecordHead {
  std::string exchangeOrderId;
  std::string spareText3;
  std::string statusMessage;
  int64_t spare1 = 0;
  int64_t spare2 = 0;
  int64_t volume = 0;
  int64_t spare3 = 0;
  double price = 0;
  int64_t spare4 = 0;
  int32_t priceType = 0;
  int32_t spare5 = 0;
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
  int64_t orderTime = 0;
};

// onFill and onFillsResponse.
struct FillRecord : OrderRecordHead {
  std::string fillReference;
  std::string fillReference2;
  int64_t fillTime = 0;  // UTC milliseconds since 1970
  int64_t spare1 = 0;
  int64_t spare2 = 0;
  int64_t volume = 0;
  int64_t spare3 = 0;
  double price = 0;
  double spare4 = 0;
  int32_t priceType = 0;
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
};

// onPositionsResponse.
struct PositionRecord {
  AccountHeader header;
  CodeId codeId;
  int32_t spare1 = 0;
  int64_t volumeWhenClear = 0;
  int64_t volumeWhenSet = 0;
  int64_t spare2 = 0;
  int64_t spare3 = 0;
  int64_t spare4 = 0;
  int64_t spare5 = 0;
  int64_t spare6 = 0;
  int64_t spare7 = 0;
  int64_t spare8 = 0;
  double spare9 = 0;
  int32_t twoValueCode = 0;
  int32_t side = 0;
};

// onPositionDetailsResponse. Carries the account header's values in a layout
// of its own instead of an AccountHeader.
struct PositionDetailRecord {
  int32_t ceilingOne = std::numeric_limits<int32_t>::max();
  int32_t ceilingTwo = std::numeric_limits<int32_t>::max();
  int32_t accountCode = -1;
  int32_t spare1 = 0;
  std::string spareText1;
  std::string configText;
  std::string userName;
  int32_t codeA = 11;
  int32_t spare2 = 0;
  int32_t codeB = 0;
  int32_t spare3 = 0;
  std::string spareText2;
  CodeId codeId;
  int32_t detailNumber1 = 0;
  int32_t detailNumber2 = 0;
  std::string detailReference;
  int64_t spare4 = 0;
  int32_t twoValueCode = 0;
  int32_t side = 0;
  int64_t volume = 0;
  double firstAmount = 0;
  double secondAmount = 0;
  int32_t spare5 = 0;
};

struct LoginEntry {
  std::string key;
  std::string value;
};

// onLogin.
struct LoginReply {
  std::string loginStamp;
  int64_t loginState = -1;
  int32_t tradingDay = 0;
  int32_t loginKind = 0;
  std::list<LoginEntry> entries;
};

// ---------------------------------------------------------------------------
// Records that ITradeSession only names in the signatures of operations the
// plug-in does not support. Their contents belong to the host.

struct CurrencyRate {
  std::string currency;
  double rate = 0;
};
struct ClientSystemInfo {
  std::string text;
};
struct ICodeID {
  CodeId codeId;
};
struct CrashReturnReq {
  std::string text;
};
struct TransferReq {
  std::string bankId;
  double amount = 0;
};
struct InvestorReq {
  std::string investorId;
};
struct UserPasswordUpdateReq {
  std::string oldPassword;
  std::string newPassword;
};
struct BankMoneyReq {
  std::string bankId;
};
struct BankAccountregisterReq {
  std::string bankId;
};
struct TradingAccountID {
  std::string accountId;
};
struct CommissionRateReq {
  CodeId codeId;
};
struct AccountOrderRequest {
  AccountHeader header;
};
struct HistoryDataReq {
  int32_t beginDay = 0;
  int32_t endDay = 0;
};
struct HistoryDataReqV2 {
  int32_t beginDay = 0;
  int32_t endDay = 0;
  std::string filter;
};
struct InstrumentReq {
  CodeId codeId;
};
struct MarginRateReq {
  CodeId codeId;
};
struct PositionDetailReq {
  CodeId codeId;
};
struct SettlementInfoReq {
  int32_t tradingDay = 0;
};
struct SecurityReturnReq {
  std::string text;
};
struct SettlementInfoConfirmReq {
  int32_t tradingDay = 0;
};
struct TradingAccountPasswordUpdateReq {
  std::string oldPassword;
  std::string newPassword;
};
struct TransferBankReq {
  std::string bankId;
};
struct TransferSerialReq {
  std::string bankId;
};

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_HOST_RECORDS_H_
