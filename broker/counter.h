// Counter: the trading day of one connection to the simulated counter.
//
// It holds what a broker's counter holds for the accounts logged in on one
// connection: funds, positions (lots by age), the day's orders and deals,
// and the instruments' reference prices. Every request of XtTraderApi has an
// operation here that validates it, changes the state and writes the answers
// (replies and pushes, in order) into an Outbox.
//
// A connection starts with a fresh Counter built from the configuration at
// init(): two connections of one process never share funds, orders or ids,
// except that a connection the chaos dropped may leave its Counter to the
// next connection to the same address (broker/connection.h).
// Vendor order ids count from 1, exchange order ids are 12-digit texts
// counting from 000000000001, deal references "T" and 8 digits.
//
// Deterministic: the same requests in the same order give the same answers
// (timestamps aside; tests can pin the clock). Not thread-safe: its owner,
// the API object, calls it with its own mutex held and delivers the Outbox
// after releasing it.
#ifndef KESTREL_BROKER_COUNTER_H_
#define KESTREL_BROKER_COUNTER_H_

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "broker/outbox.h"
#include "broker/position.h"
#include "broker/sim_config.h"
#include "broker/sim_time.h"
#include "plugin/xt_trader_api.h"

namespace xti {
namespace sim {

// Error ids of the counter's failure answers (XtError and VendorOrderError).
enum ErrorId : int {
  kErrNotConnected = 1000,
  kErrLogin = 1001,
  kErrNotLoggedIn = 1002,
  kErrUnknownAccount = 1003,
  kErrBadOrder = 2001,
  kErrFunds = 2002,
  kErrPosition = 2003,
  kErrExchange = 2004,
  kErrBusy = 2005,
  kErrCancel = 3001,
};

class Counter {
 public:
  using Clock = std::function<Stamp()>;

  // An offline counter answers every request "not connected".
  static Counter offline();
  // The counter of a connected session. `clock` stamps orders and deals.
  explicit Counter(Config config, Clock clock = stampNow);

  const Behaviour& behaviour() const { return config_.behaviour; }
  const std::string& tradingDay() const { return tradingDay_; }

  void login(const std::string& user, const std::string& password, int requestId, Outbox& out);
  void logout(const std::string& user, const std::string& password, int requestId, Outbox& out);

  void placeOrder(const COrdinaryOrder* order, int requestId, Outbox& out);
  void cancelById(int orderId, int requestId, Outbox& out);
  void cancelByExchangeId(const std::string& account, const std::string& exchangeOrderId,
                          const std::string& exchange, const std::string& instrument, int requestId,
                          Outbox& out);

  void queryAccountDetail(const std::string& account, int requestId, Outbox& out) const;
  void queryPosition(const std::string& account, int requestId, Outbox& out) const;
  void queryPositionDetail(const std::string& account, int requestId, Outbox& out) const;
  void queryOrderDetail(const std::string& account, int requestId, Outbox& out) const;
  void queryDealDetail(const std::string& account, int requestId, Outbox& out) const;

  // The connection that held this counter is gone: its users are logged out.
  // The day (funds, positions, orders, deals, ids) stays for a later one.
  void endConnection();

  // One step of the price walk: every reference price moves by a few ticks
  // (within the price band), then resting orders the new prices cross fill.
  void walkStep(Outbox& out);
  // Sets one reference price and fills the resting orders it crosses; false
  // for an unknown instrument or a price that is not above 0.
  bool setReferencePrice(const std::string& instrument, double price, Outbox& out);

 private:
  struct Order {
    int id = 0;
    std::string account;
    int accountType = 1;
    std::string instrument;
    std::string exchange;
    std::string product;
    int operation = OPT_OPEN_LONG;
    bool market = false;
    double limitPrice = 0;
    int volume = 0;
    int traded = 0;
    double tradeAmount = 0;  // price x volume x multiplier, summed over the fills
    double priceVolume = 0;  // price x volume, summed over the fills
    std::string exchangeOrderId;
    Stamp inserted;
    int status = ORDER_UNKNOWN_CHAR;
    int submitStatus = SUBMIT_INSERT_SUBMITTED_CHAR;
    std::string message;     // UTF-8 status text
    int frozen[2] = {0, 0};  // closing orders: volume held in the position, by age

    bool live() const {
      return status == ORDER_NO_TRADE_QUEUEING_CHAR || status == ORDER_PART_TRADED_QUEUEING_CHAR;
    }
    bool opening() const { return operation == OPT_OPEN_LONG || operation == OPT_OPEN_SHORT; }
    bool closesToday() const {
      return operation == OPT_CLOSE_LONG_TODAY || operation == OPT_CLOSE_SHORT_TODAY;
    }
    bool buy() const {
      return operation == OPT_OPEN_LONG || operation == OPT_CLOSE_SHORT_HISTORY ||
             operation == OPT_CLOSE_SHORT_TODAY;
    }
    // The position the order opens or closes.
    Side side() const { return operation <= OPT_CLOSE_LONG_TODAY ? Side::kLong : Side::kShort; }
  };
  struct Instrument {
    InstrumentConfig config;
    double reference = 0;
  };
  struct Account {
    AccountConfig config;
    double commission = 0;
    double closeProfit = 0;
  };
  using PositionKey = std::tuple<std::string, std::string, Side>;  // account, instrument, side

  Counter();

  // Validation and the counter's part of an order.
  Outcome checkAccount(const std::string& account) const;
  Outcome checkOrder(const COrdinaryOrder& order, const std::string& account,
                     const Instrument*& instrument) const;
  Outcome checkClosable(const Order& order);
  Outcome randomRefusal(bool opening);
  void freezeClose(Order& order);
  // The exchange's part: band check, acceptance, and the first match.
  void sendToExchange(Order& order, Outbox& out);
  bool crosses(const Order& order, double reference) const;
  void match(Order& order, double price, Outbox& out);
  void fill(Order& order, double price, int volume, Outbox& out);
  // Ends an order that trades no more (`status`, `message`): its frozen
  // volume is released and its push written.
  void finish(Order& order, int status, const char* message, Outbox& out);
  void cancelOrder(Order* order, const std::string& account, int requestId, bool byExchangeId,
                   Outbox& out);
  void matchResting(Outbox& out);

  const Instrument* instrument(const std::string& code) const;
  Position& position(const std::string& account, const std::string& instrument, Side side);

  // A query's answer: one reply per record of `records()`, the last
  // flagged; no records, or an account the query may not read: one reply
  // with a null record, isLast true (and the error).
  template <class Record, class Records>
  void answerQuery(QueryReply<Record> reply, const std::string& account, int requestId, Outbox& out,
                   Records records) const;

  // Records the vendor library sends. The account's record holds its funds,
  // which an opening order must not exceed.
  VendorOrder orderRecord(const Order& order) const;
  VendorDeal dealRecord(const Order& order, const std::string& tradeId, double price, int volume,
                        double amount, double commission) const;
  // The members an order's record and its deals' records share.
  template <class Record>
  void orderFields(const Order& order, Record& r) const;
  // Adds to `r` what a live order holds back: margin (opening orders) and
  // commission on its remaining volume.
  template <class Record>
  void addFrozen(const Order& order, Record& r) const;
  VendorAccountDetail accountRecord(const std::string& account) const;
  void positionRecords(const std::string& account, std::vector<VendorPosition>& positions,
                       std::vector<VendorPositionDetail>* details) const;

  Config config_;
  Clock clock_;
  bool online_ = false;
  std::string tradingDay_;
  std::map<std::string, Instrument> instruments_;
  std::map<std::string, Account> accounts_;
  std::set<std::string> loggedInUsers_;
  std::set<std::string> loggedIn_;  // fund accounts of the logged-in users
  std::map<PositionKey, Position> positions_;
  std::vector<Order> orders_;  // index = vendor order id - 1
  std::vector<int> resting_;   // ids of live orders, in id order
  std::vector<VendorDeal> deals_;
  uint64_t walkState_ = 0;
  uint64_t rejectState_ = 0;  // the chaos's random refusals
  int nextExchangeOrderId_ = 1;
  int nextDealId_ = 1;
};

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_COUNTER_H_
