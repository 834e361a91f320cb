// DemoSession: one trading session of the demo host, with the host's own
// bookkeeping (client order ids, request numbers, instrument codes).
#ifndef KESTREL_HOST_DEMO_DEMO_SESSION_H_
#define KESTREL_HOST_DEMO_DEMO_SESSION_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "host/demo/console_host.h"
#include "host/demo/plugin_library.h"
#include "plugin/plugin_entry.h"

namespace demo {

struct Settings {
  std::string plugin;  // path of the plug-in; empty: beside this program
  std::string address = "tcp://127.0.0.1:5800";
  std::string user = "demo";
  std::string password = "demo123";
  std::string instrument = "rb2410.SHFE";
  std::chrono::milliseconds timeout{5000};
};

enum class Side { kBuy, kSell };
enum class Offset { kOpen, kClose, kCloseToday };
// The offsets as the demo's lines and its prompt name them, in Offset's order.
constexpr const char* kOffsetWords[] = {"open", "close", "closetoday"};

// An instrument as the host names it: code and host exchange number.
struct Instrument {
  std::string code;
  int exchange = -1;
  std::string exchangeCode;  // "SHFE"

  // As the demo's requests name it: an order and its cancel alike.
  kestrel::CodeId codeId() const { return kestrel::CodeId{0, 1, exchange, code}; }
};

// A new session of the plug-in at the counter and as the user of `settings`,
// with `host` as its callback object.
kestrel::ITradeSession* configuredSession(const PluginLibrary& plugin, const Settings& settings,
                                          kestrel::ITradeSessionSpi& host);

// Points the simulated counter at the configuration file `path` for the
// connections made from now on (XT_SIM_CONFIG, which the counter reads).
void useCounterConfig(const std::string& path);

// "rb2410.SHFE", or a bare code whose exchange follows from the China market's
// naming of products ("rb2410" SHFE, "IF2409" CFFEX, "600000" SH ...). The
// instrument itself is the counter's to know; this only places it. False for
// a text it cannot place, with `error` saying why and what it accepts.
bool parseInstrument(const std::string& text, Instrument& out, std::string& error);

// The client serial the demo gives its n-th order of a session (1: "000001").
std::string clientSerial(long long n);

// The largest order the demo sends, in lots.
constexpr long long kMaxOrderLots = 1000000;

// The prefix of the client id the plug-in makes up for an order it cannot
// name (its serial is the vendor's order number): an order event pushed
// before the order's reply, or of an order another session sent.
constexpr char kMadeUpPrefix[] = "123456@xt";

class DemoSession {
 public:
  // Makes the next session when a lost one is replaced (configured as the
  // first, reporting to the same host); empty: a lost session stays lost.
  using SessionFactory = std::function<kestrel::ITradeSession*()>;

  DemoSession(kestrel::ITradeSession* session, ConsoleHost& host, const Settings& settings,
              SessionFactory another = nullptr);
  DemoSession(const DemoSession&) = delete;
  DemoSession& operator=(const DemoSession&) = delete;
  ~DemoSession();

  kestrel::ITradeSession& session() { return *session_; }
  ConsoleHost& host() { return host_; }
  const Settings& settings() const { return settings_; }

  int nextRequestId() { return ++requestCounter_; }

  // Sends an order; `price` 0 means any price. Echoes it (side, offset,
  // instrument, lots, price) as a line of the host's. Returns the client
  // serial it gave the order, or an empty text when the plug-in refused it at
  // once.
  std::string sendOrder(const Instrument& instrument, Side side, Offset offset, long long volume,
                        double price);
  // Cancels by the exchange order id the host learnt from the order's events.
  // A serial the demo never gave, or of an order with no exchange order id
  // yet, sends nothing: code -2 with the reason.
  kestrel::ResultStatus cancel(const std::string& clientSerial);
  // Remembers what events say about the host's orders (exchange order ids).
  void learn(const Event& event);

  // Whose order an order event or fill is: the demo's client serial, from
  // the event's own client id, or from what the demo learnt of a made-up id
  // or an exchange order id; an empty text when it cannot tell.
  std::string ownerOf(const Event& event);
  // True for an order event or fill pushed (request number -1) under a
  // made-up or empty client id that the demo can attribute to no order and
  // has not yet asked the counter about (see askedAbout).
  bool unnamed(const Event& event);
  // Notes that the counter's order query was asked for because of `event`:
  // whatever it answers, the event is not unnamed() any more.
  void askedAbout(const Event& event);
  // Learns from the answer to the order query `requestId` among `events`:
  // each order record carries the made-up id and the exchange order id of
  // an order, and the order event that follows it the id the plug-in knows
  // it by (the demo's own once the order's reply has reached the plug-in of
  // the session that sent it). The orders listed are asked about.
  void learnFromOrderQuery(const std::vector<Event>& events, int requestId);

  // After a lost connection: releases the session and makes the next with
  // the factory. False (and nothing changed) without a factory.
  bool replaceLostSession();

  // Ends the session (release); afterwards session() must not be used.
  kestrel::ResultStatus release();
  // Hands the session over without ending it (a host may delete a session
  // without release); afterwards session() must not be used.
  kestrel::ITradeSession* forget();

 private:
  struct OrderInfo {
    Instrument instrument;
    std::string exchangeOrderId;
  };

  // Files `exchangeOrderId` as the exchange's id of the demo's order `serial`.
  void nameExchangeId(const std::string& exchangeOrderId, const std::string& serial);

  kestrel::ITradeSession* session_;
  ConsoleHost& host_;
  Settings settings_;
  SessionFactory another_;
  std::atomic<int> requestCounter_{0};
  int serialCounter_ = 0;
  std::mutex mutex_;
  std::map<std::string, OrderInfo> orders_;  // by client serial
  // The demo's orders by vendor order number (a made-up id's serial) and by
  // exchange order id.
  std::map<std::string, std::string> byVendorNumber_, byExchangeId_;
  std::set<std::string> askedAbout_;  // "N" + vendor order number, "X" + exchange order id
};

}  // namespace demo

#endif  // KESTREL_HOST_DEMO_DEMO_SESSION_H_
