// DemoSession: one trading session of the demo host, with the host's own
// bookkeeping (client order ids, request numbers, instrument codes).
#ifndef KESTREL_HOST_DEMO_DEMO_SESSION_H_
#define KESTREL_HOST_DEMO_DEMO_SESSION_H_

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <string>

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

// An instrument as the host names it: code and host exchange number.
struct Instrument {
  std::string code;
  int exchange = -1;
  std::string exchangeCode;  // "SHFE"
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

class DemoSession {
 public:
  DemoSession(kestrel::ITradeSession* session, ConsoleHost& host, const Settings& settings);
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

  kestrel::ITradeSession* session_;
  ConsoleHost& host_;
  Settings settings_;
  std::atomic<int> requestCounter_{0};
  int serialCounter_ = 0;
  std::mutex mutex_;
  std::map<std::string, OrderInfo> orders_;  // by client serial
};

}  // namespace demo

#endif  // KESTREL_HOST_DEMO_DEMO_SESSION_H_
