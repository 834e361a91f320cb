// Declarations of the vendor trading library XtTraderApi (namespace xti), which
// the plug-in calls and whose callbacks it receives.
//
// Contract:
//  1. XtTraderApi::createXtTraderApi(address) makes an API object, or returns
//     null for an address it cannot use. The caller owns the object and
//     deletes it through its virtual destructor, after shutdown().
//  2. Request operations return at once; the answers arrive later on the
//     library's own threads at the XtTraderApiCallback given to setCallback(),
//     replies carrying the request number of the request they answer. A
//     library may also answer on the calling thread before the request
//     returns.
//  3. After shutdown() returns the library makes no further callback on that
//     object. XtTraderApi::joinAll() returns when all the library's threads
//     have ended.
//  4. Texts are NUL-terminated; those the library writes are UTF-8.
//
// Binary layout is binding: the API object and the callback interface are
// called by virtual slot (noted beside each operation, numbered as
// plugin/trade_session.h says), and the records are read by byte position
// (plugin/xt_record_layout.h). Slots nobody calls are held by
// placeholder operations so that the numbering cannot drift.
// plugin/interface_table.h mirrors both interfaces row by row.
#ifndef KESTREL_PLUGIN_XT_TRADER_API_H_
#define KESTREL_PLUGIN_XT_TRADER_API_H_

#include <cstdint>

#include "plugin/export.h"
#include "plugin/xt_records.h"

namespace xti {

// Price-type codes of COrdinaryOrder.
enum EPriceType : int32_t {
  PRTP_LIMIT = 11,   // limit price
  PRTP_MARKET = 12,  // any price
};

// Operation codes of COrdinaryOrder.
enum EOperationType : int32_t {
  OPT_OPEN_LONG = 0,            // buy to open
  OPT_CLOSE_LONG_HISTORY = 1,   // sell to close older long positions
  OPT_CLOSE_LONG_TODAY = 2,     // sell to close today's long positions
  OPT_OPEN_SHORT = 3,           // sell to open
  OPT_CLOSE_SHORT_HISTORY = 4,  // buy to close older short positions
  OPT_CLOSE_SHORT_TODAY = 5,    // buy to close today's short positions
};

// Character codes in the records of the callbacks.
enum ECharCode : int32_t {
  // m_nPriceType
  PRICE_LIMIT_CHAR = '0',
  PRICE_MARKET_CHAR = '1',
  // m_nDirection
  DIRECTION_BUY_CHAR = '0',
  DIRECTION_SELL_CHAR = '1',
  // m_nOffsetFlag
  OFFSET_OPEN_CHAR = '0',
  OFFSET_CLOSE_CHAR = '1',
  OFFSET_FORCE_CLOSE_CHAR = '2',
  OFFSET_CLOSE_TODAY_CHAR = '3',
  OFFSET_CLOSE_YESTERDAY_CHAR = '4',
  // m_nHedgeFlag (and COrdinaryOrder::m_eHedgeFlag)
  HEDGE_SPECULATION_CHAR = '1',
  HEDGE_ARBITRAGE_CHAR = '2',
  HEDGE_HEDGE_CHAR = '3',
  // VendorOrder::m_nOrderStatus
  ORDER_ALL_TRADED_CHAR = '0',
  ORDER_PART_TRADED_QUEUEING_CHAR = '1',
  ORDER_NO_TRADE_QUEUEING_CHAR = '3',
  ORDER_REJECTED_CHAR = '4',
  ORDER_CANCELED_CHAR = '5',
  ORDER_UNKNOWN_CHAR = 'a',
  // VendorOrder::m_nOrderSubmitStatus
  SUBMIT_INSERT_SUBMITTED_CHAR = '0',
  SUBMIT_ACCEPTED_CHAR = '3',
  SUBMIT_PART_FILLED_CHAR = '5',
  SUBMIT_ALL_FILLED_CHAR = '6',
};

// The status argument of onAccountStatus.
enum EAccountStatus : int32_t {
  ACCOUNT_STATUS_OK = 1,  // the account is logged in and can trade
};

// The result of a request: success, or an error id with a UTF-8 text.
class XTI_API XtError {
 public:
  XtError();                                  // success, no text
  XtError(int errorId, const char* message);  // errorId 0 is success; message may be null

  bool isSuccess() const;
  int errorID() const;
  // NUL-terminated UTF-8 text, or null when the error was made without one.
  const char* errorMsg() const;

 private:
  int32_t m_nErrorID;
  bool m_bHasMsg;
  char m_strErrorMsg[512];
};

// A new order. Construct it with the library's constructor (which sets every
// field's default), fill what the order needs, pass it to placeOrder().
struct COrdinaryOrder {
  XTI_API COrdinaryOrder();
  XTI_API ~COrdinaryOrder();

  char m_strAccountID[32];   // fund account key
  double m_dPrice;           // limit price
  double m_dSuperPriceRate;  // price offset for any-price orders; 0 for none
  int32_t m_nVolume;         // order volume
  char m_strMarket[32];      // exchange code
  char m_strInstrument[32];  // instrument code
  int32_t m_ePriceType;      // EPriceType
  int32_t m_eOperationType;  // EOperationType
  int32_t m_eHedgeFlag;      // hedge character code, '1' speculation
  char m_strRemark[64];      // free text, echoed nowhere
};

#define XTI_RESERVED_CALLBACK(slot) \
  virtual void reservedCallback##slot() {}

// The library's callback interface. Every operation has an empty default body;
// a receiver overrides what it needs. Calls come on the library's threads.
// Record pointers may be null and point at records that live only for the call.
class XtTraderApiCallback {
 public:
  virtual ~XtTraderApiCallback() {}                               // 0
  virtual void onConnected(bool success, const char* errorMsg) {  // 1
    (void)success, (void)errorMsg;
  }
  virtual void onUserLogin(const char* userName, const char* password, int requestId,
                           const XtError& error) {  // 2
    (void)userName, (void)password, (void)requestId, (void)error;
  }
  virtual void onUserLogout(const char* userName, const char* password, int requestId,
                            const XtError& error) {  // 3
    (void)userName, (void)password, (void)requestId, (void)error;
  }
  virtual void onOrderReply(int requestId, int orderId, const char* remark,
                            const XtError& error) {  // 4
    (void)requestId, (void)orderId, (void)remark, (void)error;
  }
  virtual void onCancelReply(int requestId, const XtError& error) {  // 5
    (void)requestId, (void)error;
  }
  XTI_RESERVED_CALLBACK(6)
  virtual void onCancelReply2(int requestId, const XtError& error) {  // 7
    (void)requestId, (void)error;
  }
  XTI_RESERVED_CALLBACK(8)
  virtual void onAccountDetailReply(const char* accountId, int requestId,
                                    const VendorAccountDetail* data, bool isLast,
                                    const XtError& error) {  // 9
    (void)accountId, (void)requestId, (void)data, (void)isLast, (void)error;
  }
  XTI_RESERVED_CALLBACK(10)
  XTI_RESERVED_CALLBACK(11)
  XTI_RESERVED_CALLBACK(12)
  virtual void onOrderDetailReply(const char* accountId, int requestId, const VendorOrder* data,
                                  bool isLast, const XtError& error) {  // 13
    (void)accountId, (void)requestId, (void)data, (void)isLast, (void)error;
  }
  XTI_RESERVED_CALLBACK(14)
  virtual void onDealDetailReply(const char* accountId, int requestId, const VendorDeal* data,
                                 bool isLast, const XtError& error) {  // 15
    (void)accountId, (void)requestId, (void)data, (void)isLast, (void)error;
  }
  XTI_RESERVED_CALLBACK(16)
  virtual void onPositionDetailReply(const char* accountId, int requestId,
                                     const VendorPositionDetail* data, bool isLast,
                                     const XtError& error) {  // 17
    (void)accountId, (void)requestId, (void)data, (void)isLast, (void)error;
  }
  XTI_RESERVED_CALLBACK(18)
  virtual void onPositionReply(const char* accountId, int requestId, const VendorPosition* data,
                               bool isLast,
                               const XtError& error) {  // 19
    (void)accountId, (void)requestId, (void)data, (void)isLast, (void)error;
  }
  XTI_RESERVED_CALLBACK(20)
  XTI_RESERVED_CALLBACK(21)
  XTI_RESERVED_CALLBACK(22)
  XTI_RESERVED_CALLBACK(23)
  XTI_RESERVED_CALLBACK(24)
  XTI_RESERVED_CALLBACK(25)
  XTI_RESERVED_CALLBACK(26)
  XTI_RESERVED_CALLBACK(27)
  XTI_RESERVED_CALLBACK(28)
  XTI_RESERVED_CALLBACK(29)
  XTI_RESERVED_CALLBACK(30)
  XTI_RESERVED_CALLBACK(31)
  XTI_RESERVED_CALLBACK(32)
  XTI_RESERVED_CALLBACK(33)
  XTI_RESERVED_CALLBACK(34)
  XTI_RESERVED_CALLBACK(35)
  XTI_RESERVED_CALLBACK(36)
  XTI_RESERVED_CALLBACK(37)
  XTI_RESERVED_CALLBACK(38)
  XTI_RESERVED_CALLBACK(39)
  XTI_RESERVED_CALLBACK(40)
  virtual void onAccountStatus(const char* accountId, int accountType, int status) {  // 41
    (void)accountId, (void)accountType, (void)status;
  }
  XTI_RESERVED_CALLBACK(42)
  XTI_RESERVED_CALLBACK(43)
  XTI_RESERVED_CALLBACK(44)
  XTI_RESERVED_CALLBACK(45)
  virtual void onOrderPush(const VendorOrder* data) { (void)data; }             // 46
  virtual void onDealPush(const VendorDeal* data) { (void)data; }               // 47
  virtual void onOrderErrorPush(const VendorOrderError* data) { (void)data; }   // 48
  virtual void onCancelErrorPush(const VendorOrderError* data) { (void)data; }  // 49
  XTI_RESERVED_CALLBACK(50)
  XTI_RESERVED_CALLBACK(51)
  XTI_RESERVED_CALLBACK(52)
  XTI_RESERVED_CALLBACK(53)
  XTI_RESERVED_CALLBACK(54)
  XTI_RESERVED_CALLBACK(55)
  XTI_RESERVED_CALLBACK(56)
  XTI_RESERVED_CALLBACK(57)
  XTI_RESERVED_CALLBACK(58)
  XTI_RESERVED_CALLBACK(59)
  XTI_RESERVED_CALLBACK(60)
  XTI_RESERVED_CALLBACK(61)
  XTI_RESERVED_CALLBACK(62)
  XTI_RESERVED_CALLBACK(63)
  XTI_RESERVED_CALLBACK(64)
  XTI_RESERVED_CALLBACK(65)
  XTI_RESERVED_CALLBACK(66)
  XTI_RESERVED_CALLBACK(67)
  XTI_RESERVED_CALLBACK(68)
  XTI_RESERVED_CALLBACK(69)
  XTI_RESERVED_CALLBACK(70)
  XTI_RESERVED_CALLBACK(71)
  XTI_RESERVED_CALLBACK(72)
  XTI_RESERVED_CALLBACK(73)
  XTI_RESERVED_CALLBACK(74)
  XTI_RESERVED_CALLBACK(75)
  XTI_RESERVED_CALLBACK(76)
  XTI_RESERVED_CALLBACK(77)
  XTI_RESERVED_CALLBACK(78)
  XTI_RESERVED_CALLBACK(79)
  XTI_RESERVED_CALLBACK(80)
  XTI_RESERVED_CALLBACK(81)
  XTI_RESERVED_CALLBACK(82)
  XTI_RESERVED_CALLBACK(83)
  XTI_RESERVED_CALLBACK(84)
  XTI_RESERVED_CALLBACK(85)
  XTI_RESERVED_CALLBACK(86)
  XTI_RESERVED_CALLBACK(87)
  XTI_RESERVED_CALLBACK(88)
  XTI_RESERVED_CALLBACK(89)
  XTI_RESERVED_CALLBACK(90)
  XTI_RESERVED_CALLBACK(91)
  XTI_RESERVED_CALLBACK(92)
  XTI_RESERVED_CALLBACK(93)
  XTI_RESERVED_CALLBACK(94)
  XTI_RESERVED_CALLBACK(95)
  XTI_RESERVED_CALLBACK(96)
  XTI_RESERVED_CALLBACK(97)
  XTI_RESERVED_CALLBACK(98)
  XTI_RESERVED_CALLBACK(99)
  XTI_RESERVED_CALLBACK(100)
  XTI_RESERVED_CALLBACK(101)
  XTI_RESERVED_CALLBACK(102)
  XTI_RESERVED_CALLBACK(103)
  XTI_RESERVED_CALLBACK(104)
};

#define XTI_RESERVED_REQUEST(slot) \
  virtual void reservedRequest##slot() {}

// One connection to the counter. Request operations answer at once; their
// outcome arrives at the callback. Texts are NUL-terminated.
class XTI_API XtTraderApi {
 public:
  // A new API object for `address` ("host:port"), or null when the address
  // cannot be used.
  static XtTraderApi* createXtTraderApi(const char* address);
  // Returns when every thread of the library has ended.
  static void joinAll();

  virtual ~XtTraderApi();                                       // 0
  virtual void setCallback(XtTraderApiCallback* callback) = 0;  // 1
  virtual void init(const char* configFilePath) = 0;            // 2 (path in GBK)
  virtual void shutdown() = 0;                                  // 3
  XTI_RESERVED_REQUEST(4)
  XTI_RESERVED_REQUEST(5)
  XTI_RESERVED_REQUEST(6)
  XTI_RESERVED_REQUEST(7)
  XTI_RESERVED_REQUEST(8)
  XTI_RESERVED_REQUEST(9)
  virtual void userLogin(const char* userName, const char* password, int requestId,
                         const char* machineInfo, const char* appId,
                         const char* authCode) = 0;  // 10
  virtual void userLogout(const char* userName, const char* password,
                          int requestId) = 0;  // 11
  virtual void queryAccountDetail(const char* accountId, int requestId,
                                  const char* extra) = 0;  // 12
  XTI_RESERVED_REQUEST(13)
  virtual void queryOrderDetail(const char* accountId, int requestId,
                                const char* extra) = 0;  // 14
  XTI_RESERVED_REQUEST(15)
  virtual void queryDealDetail(const char* accountId, int requestId,
                               const char* extra) = 0;  // 16
  virtual void queryPositionDetail(const char* accountId, int requestId,
                                   const char* extra) = 0;  // 17
  virtual void queryPosition(const char* accountId, int requestId,
                             const char* extra) = 0;  // 18
  XTI_RESERVED_REQUEST(19)
  XTI_RESERVED_REQUEST(20)
  XTI_RESERVED_REQUEST(21)
  XTI_RESERVED_REQUEST(22)
  XTI_RESERVED_REQUEST(23)
  XTI_RESERVED_REQUEST(24)
  XTI_RESERVED_REQUEST(25)
  XTI_RESERVED_REQUEST(26)
  XTI_RESERVED_REQUEST(27)
  XTI_RESERVED_REQUEST(28)
  XTI_RESERVED_REQUEST(29)
  XTI_RESERVED_REQUEST(30)
  XTI_RESERVED_REQUEST(31)
  XTI_RESERVED_REQUEST(32)
  XTI_RESERVED_REQUEST(33)
  XTI_RESERVED_REQUEST(34)
  XTI_RESERVED_REQUEST(35)
  XTI_RESERVED_REQUEST(36)
  XTI_RESERVED_REQUEST(37)
  virtual void placeOrder(const COrdinaryOrder* order, int requestId,
                          const char* extra) = 0;                // 38
  virtual void cancelOrderById(int orderId, int requestId) = 0;  // 39
  virtual void cancelOrderByExchangeId(const char* accountId, const char* exchangeOrderId,
                                       const char* exchangeCode, const char* instrumentCode,
                                       int requestId, const char* extra) = 0;  // 40

 protected:
  XtTraderApi() = default;
  XtTraderApi(const XtTraderApi&) = delete;
  XtTraderApi& operator=(const XtTraderApi&) = delete;
};

#undef XTI_RESERVED_REQUEST

}  // namespace xti

// The records' positions, checked against the declarations above.
#include "plugin/xt_record_layout.h"

#endif  // KESTREL_PLUGIN_XT_TRADER_API_H_
