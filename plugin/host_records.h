// The host's records: its settings for a session, its order and cancel
// requests, and the records the plug-in reports through ITradeSessionSpi.
//
// These are the host's own definitions, shared with it. Field order, widths
// and defaults are part of the interface: a host compiled against this header
// reads the records the plug-in builds, so never reorder or retype a field.
// All texts are byte strings in GBK unless a comment says otherwise.
// Records passed to the host live only for the duration of the call.
//
// Reported records: the comment beside each field says what the plug-in
// writes there; a field marked "default" is never written and keeps the value
// this header gives it. Vendor field names (m_...) say where a value comes
// from when the vendor's record is the source.
#ifndef KESTREL_PLUGIN_HOST_RECORDS_H_
#define KESTREL_PLUGIN_HOST_RECORDS_H_

#include <cstdint>
#include <limits>
#include <list>
#include <string>
#include <vector>

#include "plugin/host_build.h"  // the build configurations a host may use

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
// order and cancel requests. A record converted from the vendor's carries the
// session's settings (SessionConfig) as the comments say; the record of a
// refused order or cancel carries the request's own header. The plug-in does
// not read a request's header.
struct AccountHeader {
  int32_t accountCode = 0;  // SessionConfig::configCode
  std::string configText;   // SessionConfig::configText
  std::string userName;     // SessionConfig::userName
  int32_t codeA = 11;       // 0 in every reported record
  int32_t codeB = 0;        // 1 in every reported record
};

// Instrument block.
struct CodeId {
  int64_t tag = 0;        // default, in every reported record
  int32_t kind = -1;      // 1 in every reported record but PositionDetailRecord (default there)
  int32_t exchange = -1;  // the host's exchange number (plugin/common.h); -1 when not in its table
  std::string code;       // instrument code, e.g. "rb2410"
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

// sendOrder. The plug-in reads codeId.exchange and codeId.code, clientId,
// quantity, price, priceType, offsetFlag and direction; the rest is not read
// (every order goes to the vendor as speculation).
struct AccountOrderNewRequest {
  AccountHeader header;
  CodeId codeId;
  ClientId clientId;  // the host's id; the order's events carry it once the vendor accepted it
  std::string extraText1;
  std::string extraText2;
  int64_t quantity = 0;  // only its low 32 bits reach the vendor
  double price = 0;      // the limit; not read for priceType 2
  int32_t priceType = 0;
  int32_t extraInt = 0;
  int32_t offsetFlag = 0;  // 1 open, 5 close today; any other value closes older positions
  int32_t hedgeFlag = 1;
  int32_t direction = 0;  // 1 buy; any other value sells
  int64_t extra64 = 0;
};

// cancelOrder. The plug-in reads exchangeOrderId with codeId.exchange and
// codeId.code, or, when exchangeOrderId is empty, clientId.serial; a refusal
// reports the request's header, codeId, clientId, price and exchangeOrderId.
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
  // The host's id of the order. An order event (onOrderAccepted, onOrderFilled,
  // onOrderCanceled, onOrderRejected) of an order the vendor has not yet
  // confirmed, or of another session's order, carries a made-up id instead:
  // {"123456@xt", vendor order number in decimal} (for an order number below
  // 1: {time stamp text, ""}). onOrdersResponse always carries the
  // made-up id; onFillsResponse an empty one; onFill the host's id or, for an
  // order the plug-in does not know, an empty one.
  ClientId clientId;
  std::string spareText1;  // default
  std::string spareText2;  // default
};

// onAccountFundsResponse: the fund account's money, from the vendor's
// account detail.
struct AccountFunds {
  AccountHeader header;
  int32_t tradingDay = 0;  // YYYYMMDD; -1 when the vendor's text is no number
  double amount1 = 0;      // margin in use (m_dCurrMargin)
  double amount2 = 0;      // default
  double amount3 = 0;      // balance at the start of the day (m_dPreBalance)
  double amount4 = 0;      // balance (m_dBalance)
  double amount5 = 0;      // profit of open positions (m_dPositionProfit)
  double amount6 = 0;      // default
  double amount7 = 0;      // deposits (m_dDeposit)
  double amount8 = 0;      // withdrawals (m_dWithdraw)
  double amount9 = 0;      // default
  double amount10 = 0;     // margin frozen by pending orders (m_dFrozenMargin)
  double amount11 = 0;     // available (m_dAvailable)
  double amount12 = 0;     // profit of closed positions (m_dCloseProfit)
  double amount13 = 0;     // cash frozen by pending orders (m_dFrozenCash)
  double amount14 = 0;     // default
  double amount15 = 0;     // commission (m_dCommission)
  double amount16 = 0;     // default
  double amount17 = 0;     // default
  double amount18 = 0;     // default
  double amount19 = 0;     // default
};

// onOrdersResponse: one of the day's orders as the vendor holds it now. The
// order's event (accepted, filled, cancelled or rejected) follows each
// record, with the host's id when the session knows the order.
struct OrderDetailRecord : OrderRecordHead {
  std::string exchangeOrderId;  // the exchange's order id; empty until the exchange accepted it
  std::string statusMessage;    // the vendor's status text, e.g. "已报", "全部成交"
  int64_t orderTime = 0;        // UTC milliseconds since 1970; 0 when the vendor gave none
  int64_t volume = 0;           // the order's volume (not the part filled)
  double price = 0;             // the limit price
  double firstAmount = 0;       // traded amount (m_dTradeAmount)
  double secondAmount = 0;      // average fill price (m_dAveragePrice)
  int64_t spare1 = 0;           // default
  double spare2 = 0;            // default
  int32_t priceType = 0;
  int32_t spare3 = 0;  // default
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
};

// onOrderRejected and onOrderCanceled. Two sources:
//  - the vendor's order (code 0, request number -1): filled as OrderDetailRecord
//    is, without the amounts; a rejected order's exchangeOrderId stays empty.
//  - a refused request (code -1, the host's request number): header, codeId,
//    clientId and price copied from the request, statusMessage the vendor's
//    text; for an order also volume (the quantity), priceType, offsetFlag,
//    hedgeFlag and direction, for a cancel exchangeOrderId. orderTime and the
//    fields the request does not give keep their defaults.
struct OrderRecord : OrderRecordHead {
  std::string exchangeOrderId;
  std::string statusMessage;
  int64_t volume = 0;
  double price = 0;
  int32_t priceType = 0;
  int32_t spare1 = 0;  // default
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
  int64_t orderTime = 0;
};

// onOrderAccepted: the exchange accepted the order (it now has an
// exchangeOrderId). Filled as OrderDetailRecord is.
struct OrderAcceptedRecord : OrderRecordHead {
  std::string exchangeOrderId;
  std::string statusMessage;
  int64_t volume = 0;
  double price = 0;
  double firstAmount = 0;   // traded amount (m_dTradeAmount)
  double secondAmount = 0;  // average fill price (m_dAveragePrice)
  int32_t priceType = 0;
  int32_t spare1 = 0;  // default
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
  int64_t orderTime = 0;
};

// onOrderFilled: the order is partly or wholly filled (statusMessage says
// which), once per order push. Filled as OrderDetailRecord is, without the
// amounts: volume and price are the order's, not the fill's; onFill carries
// each fill's volume and price.
struct OrderFilledRecord : OrderRecordHead {
  std::string exchangeOrderId;
  std::string spareText3;  // default
  std::string statusMessage;
  int64_t spare1 = 0;  // default
  int64_t spare2 = 0;  // default
  int64_t volume = 0;
  int64_t spare3 = 0;  // default
  double price = 0;
  int64_t spare4 = 0;  // default
  int32_t priceType = 0;
  int32_t spare5 = 0;  // default
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
  int64_t orderTime = 0;
};

// onFill and onFillsResponse: one fill.
struct FillRecord : OrderRecordHead {
  std::string fillReference;   // the fill's id (m_strTradeID): unique, the key to de-duplicate by
  std::string fillReference2;  // the exchange order id of the order filled
  int64_t fillTime = 0;        // UTC milliseconds since 1970; 0 when the vendor gave none
  int64_t spare1 = 0;          // default
  int64_t spare2 = 0;          // default
  int64_t volume = 0;          // volume of this fill
  int64_t spare3 = 0;          // default
  double price = 0;            // price of this fill
  double spare4 = 0;           // default
  int32_t priceType = 0;
  int32_t offsetFlag = 0;
  int32_t hedgeFlag = 1;
  int32_t direction = 0;
};

// onPositionsResponse: the position of one instrument, direction and age
// (today's, or earlier days'). Exactly one of the two volumes is written.
struct PositionRecord {
  AccountHeader header;
  CodeId codeId;
  int32_t spare1 = 0;           // default
  int64_t volumeWhenClear = 0;  // volume held from earlier days (side 2); else default
  int64_t volumeWhenSet = 0;    // volume opened today (side 1); else default
  int64_t spare2 = 0;           // default
  int64_t spare3 = 0;           // default
  int64_t spare4 = 0;           // default
  int64_t spare5 = 0;           // default
  int64_t spare6 = 0;           // default
  int64_t spare7 = 0;           // default
  int64_t spare8 = 0;           // default
  double spare9 = 0;            // default
  int32_t twoValueCode = 0;     // 1 long, 2 short
  int32_t side = 0;             // 1 today's, 2 earlier days'
};

// onPositionDetailsResponse: one opening fill still held. Carries the account
// header's values in a layout of its own instead of an AccountHeader.
struct PositionDetailRecord {
  int32_t ceilingOne = std::numeric_limits<int32_t>::max();  // default
  int32_t ceilingTwo = std::numeric_limits<int32_t>::max();  // default
  int32_t accountCode = -1;                                  // SessionConfig::configCode
  int32_t spare1 = 0;                                        // default
  std::string spareText1;                                    // default
  std::string configText;                                    // SessionConfig::configText
  std::string userName;                                      // SessionConfig::userName
  int32_t codeA = 11;                                        // 0
  int32_t spare2 = 0;                                        // default
  int32_t codeB = 0;                                         // 1
  int32_t spare3 = 0;                                        // default
  std::string spareText2;                                    // default
  CodeId codeId;                                             // kind stays at its default -1
  int32_t detailNumber1 = 0;    // trading day, YYYYMMDD (0 when the vendor's text is no number)
  int32_t detailNumber2 = 0;    // day the position was opened, YYYYMMDD (0 likewise)
  std::string detailReference;  // the opening fill's id (FillRecord::fillReference)
  int64_t spare4 = 0;           // default
  int32_t twoValueCode = 0;     // 1 long, 2 short
  int32_t side = 0;             // 1 opened today, 2 earlier
  int64_t volume = 0;           // volume held: free to close plus frozen by closing orders
  double firstAmount = 0;       // open price
  double secondAmount = 0;      // open cost (m_dOpenCost)
  int32_t spare5 = 0;           // default
};

struct LoginEntry {
  std::string key;
  std::string value;
};

// onLogin. After a refused login (code -11) every field keeps its default.
struct LoginReply {
  std::string loginStamp;         // the login's time: UTC microseconds since 1970, in decimal
  int64_t loginState = -1;        // 1
  int32_t tradingDay = 0;         // YYYYMMDD: the trading day of the login's time (21:00 Beijing
                                  // time and later count for the next weekday)
  int32_t loginKind = 0;          // 2
  std::list<LoginEntry> entries;  // default (empty)
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
