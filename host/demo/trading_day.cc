#include "host/demo/trading_day.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>

#include "host/demo/user_input.h"
#include "plugin/common.h"

namespace demo {
namespace {

using Match = std::function<bool(const Event&)>;

Match typed(EventType type, int code) {
  return [type, code](const Event& e) { return e.type == type && e.code == code; };
}

Match lastOf(EventType type, int requestId) {
  return [type, requestId](const Event& e) {
    return e.type == type && e.requestId == requestId && e.isLast;
  };
}

// The five queries, in the order the scripted day makes them: the prompt's
// command (and the day's name for it), the request and its answer.
using Session = kestrel::ITradeSession;
struct QueryKind {
  const char* command;
  kestrel::ResultStatus (*request)(Session&, int requestId);
  EventType response;
};

const QueryKind kQueries[] = {
    {"positions", [](Session& s, int id) { return s.reqQryPosition(id); },
     EventType::kPositionsResponse},
    {"details", [](Session& s, int id) { return s.reqQryPositionDetail(id, {}); },
     EventType::kPositionDetailsResponse},
    {"orders", [](Session& s, int id) { return s.reqQryOrder(id); }, EventType::kOrdersResponse},
    {"fills", [](Session& s, int id) { return s.reqQryFill(id); }, EventType::kFillsResponse},
    {"funds", [](Session& s, int id) { return s.reqQryTradingAccount(id); },
     EventType::kAccountFundsResponse},
};
const QueryKind& kOrders = kQueries[2];
const QueryKind& kFills = kQueries[3];
const QueryKind& kFunds = kQueries[4];

// The steps of a day: each waits for the events it expects and notes what
// did not come. After a definitive failure (the login refused, the
// connection lost) every later step does nothing: what it waits for cannot
// come. A script that rides out a lost connection (the trading day's) opens
// a new session instead, once, and goes on there. What did not come is added
// to `missing`.
class Script {
 public:
  Script(DemoSession& session, std::vector<std::string>& missing,
         bool ridesOutLostConnection = false)
      : s_(session), ridesOut_(ridesOutLostConnection), missing_(missing) {}

  // Waits for the event `match` finds. When the connection is lost meanwhile
  // and the day goes on in a new session, waits there once more, unless
  // `again` is false (the caller asks anew).
  bool expect(const std::string& what, const Match& match, Event* found = nullptr,
              bool again = true) {
    const int sessions = sessions_;
    for (;;) {
      if (stopped() || (sessions_ != sessions && !again)) return false;
      Event event;
      switch (s_.host().waitFor(match, s_.settings().timeout, &event)) {
        case WaitResult::kFound:
          s_.learn(event);
          if (found != nullptr) *found = event;
          return true;
        case WaitResult::kTimedOut:
          missing_.push_back(what);
          s_.host().note("MISSING: " + what);
          return false;
        case WaitResult::kFailed:
          if (stopped()) {
            s_.host().note("STOPPED while waiting for " + what);
            return false;
          }
          break;
      }
    }
  }

  // Waits for the event `name` with `code` of the demo's order `serial`
  // (none for an empty serial: an order not sent). An order event or fill that the demo cannot
  // attribute to any order (pushed under a made-up or empty client id, ahead of the order's reply)
  // makes it ask for the orders: the event after each order record carries the demo's own client
  // id. The counter's refusal of the order ends the wait: a counter may refuse any order, and what
  // the step waited for cannot come.
  bool expectOrder(const std::string& what, EventType type, const std::string& serial, int code,
                   Event* found = nullptr) {
    const Match mine = [this, type, serial, code](const Event& e) {
      return e.type == type && e.code == code && s_.ownerOf(e) == serial;
    };
    const Match refused = [this, serial](const Event& e) {
      return e.type == EventType::kOrderRejected && e.code != 0 && s_.ownerOf(e) == serial;
    };
    while (!serial.empty()) {
      Event event;
      if (!expect(
              what, [&](const Event& e) { return mine(e) || refused(e) || s_.unnamed(e); },
              &event)) {
        return false;
      }
      if (!mine(event) && refused(event)) {
        s_.host().note("order " + serial + " refused by the counter: no " + what);
        return false;
      }
      if (!mine(event)) {
        s_.askedAbout(event);
        reconcile("an event of an order the demo cannot name yet", &event);
      }
      if (mine(event)) {
        if (found != nullptr) *found = event;
        return true;
      }
    }
    return false;
  }

  // The definitive failure the day ran into, if it did and could not go on
  // in a new session.
  bool stopped() { return s_.host().failure() && !goOnInNewSession(); }

  bool accepted(const std::string& what, const kestrel::ResultStatus& status) {
    if (stopped()) return false;
    if (status.code == 0) return true;
    missing_.push_back(what + " (answered " + std::to_string(status.code) + " " +
                       kestrel::CodeConvert::gbk_to_utf8(status.message) + ")");
    s_.host().note("FAILED: " + missing_.back());
    return false;
  }

  // Makes a request (unless the day stopped) and waits for its last record;
  // asks again when the day went on in a new session meanwhile. Returns the
  // request number whose answer came, or 0.
  int query(const QueryKind& query) {
    for (;;) {
      if (stopped()) return 0;
      const int sessions = sessions_;
      const int id = s_.nextRequestId();
      s_.host().note(std::string(query.command) + " req=" + std::to_string(id));
      if (!accepted(query.command, query.request(s_.session(), id))) return 0;
      if (sessions_ != sessions) continue;
      if (expect(nameOf(query.response), lastOf(query.response, id), nullptr, false)) return id;
      if (sessions_ == sessions) return 0;
    }
  }

  // Asks for the orders and learns from the answer whose order each record
  // is (the funds' answer comes behind the events that follow the records).
  // With `about`, asks again after a pause until that event's order is
  // named, for at most the settings' timeout: until the order's reply
  // reaches the plug-in, its events carry the made-up id, in the order
  // query's answer too.
  void reconcile(const std::string& why, const Event* about = nullptr) {
    s_.host().note(why + ": the orders, as the counter holds them");
    const auto deadline = std::chrono::steady_clock::now() + s_.settings().timeout;
    for (;;) {
      const int id = query(kOrders);
      if (id == 0 || query(kFunds) == 0) return;
      s_.learnFromOrderQuery(s_.host().events(), id);
      if (about == nullptr || !s_.ownerOf(*about).empty() ||
          std::chrono::steady_clock::now() >= deadline) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

  // Sends a buy unless the day stopped; its client serial, or an empty text.
  std::string buy(const Instrument& instrument, long long lots, double price) {
    return stopped() ? std::string()
                     : s_.sendOrder(instrument, Side::kBuy, Offset::kOpen, lots, price);
  }

  // 1, or 2 once the day went on in a new session.
  int sessions() const { return sessions_; }

 private:
  // After a lost connection, once: a new session, where the counter resumes
  // the day; the order and fill queries tell what became of the orders.
  bool goOnInNewSession() {
    const std::optional<Event> failure = s_.host().failure();
    if (!ridesOut_ || !failure || failure->type != EventType::kDisconnected) return false;
    ridesOut_ = false;  // once; and not again from the steps below
    s_.host().note(failureText(*failure) + ": the day goes on in a new session");
    // The lost session still answers: each request it was given is refused
    // through the callbacks. A funds query's refusal comes behind every
    // answer still on its way; the session is released once it came.
    const int barrier = s_.nextRequestId();
    s_.host().note("funds req=" + std::to_string(barrier) + ", the lost session's last answer");
    if (s_.session().reqQryTradingAccount(barrier).code == 0) {
      // A first wait may end at once at the lost connection, which no wait
      // has ended at yet; the next waits for the answer.
      for (int wait = 0; wait < 2; ++wait) {
        if (s_.host().waitFor(lastOf(EventType::kAccountFundsResponse, barrier),
                              s_.settings().timeout) != WaitResult::kFailed) {
          break;
        }
      }
    }
    if (!s_.replaceLostSession()) return false;
    s_.host().clearFailure();
    ++sessions_;
    expect("onDisconnected of the lost session", typed(EventType::kDisconnected, 0));
    if (!openSession(s_, missing_)) return false;
    reconcile("after the lost connection");
    query(kFills);
    return !stopped();
  }

  DemoSession& s_;
  bool ridesOut_;
  int sessions_ = 1;
  std::vector<std::string>& missing_;
};

double tickRound(double price) { return std::floor(price + 0.5); }

}  // namespace

bool openSession(DemoSession& s, std::vector<std::string>& missing) {
  Script script(s, missing);
  s.host().note("connect " + s.settings().address);
  bool ok = script.accepted("connect", s.session().connect()) &&
            script.expect("onConnected", typed(EventType::kConnected, 0));
  if (ok) {
    s.host().note("login " + s.settings().user);
    ok = script.accepted("login", s.session().login()) &&
         script.expect("onLogin with code 0", typed(EventType::kLogin, 0));
  }
  if (ok) {
    // The counter names the fund account after the login; until then the
    // funds query answers "no fund account".
    s.host().note("funds, until the counter names a fund account");
    const auto deadline = std::chrono::steady_clock::now() + s.settings().timeout;
    int id = 0;
    kestrel::ResultStatus status{kestrel::kNoFundAccount, ""};
    while (status.code == kestrel::kNoFundAccount && std::chrono::steady_clock::now() < deadline &&
           !script.stopped()) {
      id = s.nextRequestId();
      status = s.session().reqQryTradingAccount(id);
      if (status.code == kestrel::kNoFundAccount)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ok = script.accepted("a fund account", status) &&
         script.expect("onAccountFundsResponse", lastOf(EventType::kAccountFundsResponse, id));
  }
  return ok;
}

int runTradingDay(DemoSession& s, const Instrument& instrument) {
  std::vector<std::string> missing;
  if (openSession(s, missing)) {
    Script script(s, missing, /*ridesOutLostConnection=*/true);

    // A buy at any price fills at the market; its price anchors the rest.
    Event fill;
    const std::string bought = script.buy(instrument, 1, 0);
    double market = 0;
    if (script.accepted("buy at any price", kestrel::ResultStatus{bought.empty() ? -1 : 0, ""}) &&
        script.expectOrder("onOrderFilled for the buy", EventType::kOrderFilled, bought, 0) &&
        script.expectOrder("onFill for the buy", EventType::kFill, bought, 0, &fill)) {
      market = fill.price;
    }

    if (market > 0) {
      // A limit buy below the market rests until it is cancelled.
      const std::string resting = script.buy(instrument, 1, tickRound(market * 0.98));
      if (script.expectOrder("onOrderAccepted for the resting order", EventType::kOrderAccepted,
                             resting, 0) &&
          script.accepted("cancel", s.cancel(resting))) {
        script.expectOrder("onOrderCanceled for the resting order", EventType::kOrderCanceled,
                           resting, 0);
      }

      // Far more than the account can pay for: the counter refuses it.
      script.expectOrder("onOrderRejected by the counter", EventType::kOrderRejected,
                         script.buy(instrument, kMaxOrderLots, tickRound(market)), -1);

      // Half the market price is outside the exchange's price band.
      script.expectOrder("onOrderRejected by the exchange", EventType::kOrderRejected,
                         script.buy(instrument, 1, tickRound(market * 0.5)), 0);
    }

    for (const QueryKind& query : kQueries) script.query(query);

    // Logged out again in the session that replaced a lost one.
    for (int sessions = 0; !script.stopped() && sessions != script.sessions();) {
      sessions = script.sessions();
      s.host().note("logout");
      if (!script.accepted("logout", s.session().logout())) break;
      if (sessions != script.sessions()) continue;
      if (script.expect("onLogout with code 0", typed(EventType::kLogout, 0), nullptr, false))
        break;
    }
  }

  const kestrel::ResultStatus released = s.release();
  if (released.code != 0) missing.push_back("release answered " + std::to_string(released.code));
  if (s.host().waitFor(typed(EventType::kDisconnected, 0), std::chrono::milliseconds(0)) !=
      WaitResult::kFound) {
    missing.push_back("onDisconnected before release returned");
  }

  if (const std::optional<Event> failure = s.host().failure()) {
    std::fprintf(stderr, "scripted day stopped: %s\n", failureText(*failure).c_str());
    return 1;
  }
  if (!missing.empty()) {
    std::fprintf(stderr, "scripted day incomplete; missing:\n");
    for (const std::string& what : missing) std::fprintf(stderr, "  - %s\n", what.c_str());
    return 1;
  }
  std::printf("scripted day complete: %zu host events\n", s.host().events().size());
  return 0;
}

namespace {

constexpr long long kMaxPrice = 100000000;
constexpr long long kMaxSerial = 999999;

std::string helpText() {
  std::string queries;
  for (const QueryKind& query : kQueries) {
    queries += (queries.empty() ? "  " : " | ") + std::string(query.command);
  }
  return "commands:\n"
         "  buy|sell INSTRUMENT QTY PRICE [open|close|closetoday]\n"
         "      INSTRUMENT  CODE.EXCHANGE (rb2410.SHFE), or a code whose exchange the demo\n"
         "                  knows from its product (rb2410, IF2409, 600000)\n"
         "      QTY         lots, a whole number from 1 to " +
         std::to_string(kMaxOrderLots) +
         "\n      PRICE       0 (any price) or a limit price up to " + std::to_string(kMaxPrice) +
         " (3650, 3650.5)\n"
         "      open (the default), close (earlier positions) or closetoday\n"
         "  cancel ID       the order the demo printed as ID (000001, or 1)\n" +
         queries +
         "\n  help | quit\n"
         "A line is refused whole, and nothing of it is sent, when any part of it is\n"
         "wrong, it holds a control byte or it is longer than " +
         std::to_string(LineReader::kMaxLine) + " bytes.\n";
}

// The prompt's commands. Each checks its whole line before it sends
// anything, so a refused line sends nothing; every refusal names the
// command and what it accepts.
class Prompt {
 public:
  Prompt(DemoSession& session, std::FILE* out) : s_(session), out_(out) {}

  // Runs one line; false for quit.
  bool run(const std::string& text) {
    std::istringstream words(text);
    std::string command;
    if (!(words >> command)) return true;
    std::vector<std::string> args;
    for (std::string arg; words >> arg;) args.push_back(arg);
    if (command == "quit" || command == "exit") return false;
    if (command == "help") {
      std::fprintf(out_, "%s", helpText().c_str());
    } else if (command == "buy" || command == "sell") {
      order(command, args);
    } else if (command == "cancel") {
      cancel(args);
    } else if (!query(command, args)) {
      refuse(command, "unknown command (help lists them)");
    }
    announceFailure();
    return true;
  }

  // Logs out, unless the connection is lost, and releases the session.
  void end() {
    if (const std::optional<Event> failure = s_.host().failure()) {
      s_.host().note("no logout: " + failureText(*failure));
    } else {
      s_.host().note("logout");
      if (s_.session().logout().code == 0)
        wait([](const Event& e) { return e.type == EventType::kLogout; });
    }
    (void)s_.release();
  }

 private:
  void refuse(const std::string& command, const std::string& why) {
    std::fprintf(out_, "%s: %s\n", command.c_str(), why.c_str());
  }

  // Waits for `match`, so that the answer prints before the next prompt; a
  // definitive failure ends the wait early.
  void wait(const Match& match) { (void)s_.host().waitFor(match, s_.settings().timeout); }

  // Once, after the command during which it came: what a definitive failure
  // means for the commands after it.
  void announceFailure() {
    const std::optional<Event> failure = s_.host().failure();
    if (announced_ || !failure) return;
    announced_ = true;
    std::fprintf(out_, "%s: later requests will be refused; quit ends the session\n",
                 failureText(*failure).c_str());
  }

  void order(const std::string& command, const std::vector<std::string>& args) {
    if (args.size() < 3 || args.size() > 4) {
      return refuse(command, "takes INSTRUMENT QTY PRICE [open|close|closetoday] (help says more)");
    }
    Instrument instrument;
    std::string error;
    long long lots = 0;
    double price = 0;
    Offset offset = Offset::kOpen;
    if (!parseInstrument(args[0], instrument, error)) return refuse(command, error);
    if (!parseWholeNumber(args[1], 1, kMaxOrderLots, lots)) {
      return refuse(command, "QTY is a whole number of lots from 1 to " +
                                 std::to_string(kMaxOrderLots) + ", not '" + args[1] + "'");
    }
    if (!parseDecimal(args[2], 0, static_cast<double>(kMaxPrice), price)) {
      return refuse(command, "PRICE is 0 (any price) or a price up to " +
                                 std::to_string(kMaxPrice) + " (3650, 3650.5), not '" + args[2] +
                                 "'");
    }
    if (args.size() == 4) {
      const auto word = std::find(std::begin(kOffsetWords), std::end(kOffsetWords), args[3]);
      if (word == std::end(kOffsetWords)) {
        return refuse(command, "the last word is open, close or closetoday, not '" + args[3] + "'");
      }
      offset = static_cast<Offset>(word - std::begin(kOffsetWords));
    }
    const std::string serial =
        s_.sendOrder(instrument, command == "buy" ? Side::kBuy : Side::kSell, offset, lots, price);
    if (serial.empty()) return;
    std::fprintf(out_, "order %s sent\n", serial.c_str());
    // Its first event.
    wait([&serial](const Event& e) { return e.clientSerial == serial; });
  }

  void cancel(const std::vector<std::string>& args) {
    // The serial as printed ("000001", or "demo@000001"), or its number ("1").
    std::string id = args.size() == 1 ? args[0] : std::string();
    if (id.rfind("demo@", 0) == 0) id.erase(0, 5);
    long long number = 0;
    if (!parseWholeNumber(id, 1, kMaxSerial, number)) {
      return refuse("cancel", "takes one order ID as the demo printed it (000001, or 1)");
    }
    const std::string serial = clientSerial(number);
    // Exchange order ids from everything seen so far.
    for (const Event& event : s_.host().events()) s_.learn(event);
    const kestrel::ResultStatus status = s_.cancel(serial);
    if (status.code == -2) return refuse("cancel", status.message);
    if (!answered(status)) return;
    wait([&serial](const Event& e) { return e.about(EventType::kOrderCanceled, serial); });
  }

  // The five queries; false for a name that is none of them.
  bool query(const std::string& command, const std::vector<std::string>& args) {
    for (const QueryKind& query : kQueries) {
      if (command != query.command) continue;
      if (!args.empty()) {
        refuse(command, "takes no arguments");
        return true;
      }
      const int id = s_.nextRequestId();
      s_.host().note(command + " req=" + std::to_string(id));
      if (answered(query.request(s_.session(), id))) {
        wait([id](const Event& e) { return e.requestId == id && e.isLast; });
      }
      return true;
    }
    return false;
  }

  // Prints a request's refusal; true when it was answered 0.
  bool answered(const kestrel::ResultStatus& status) {
    if (status.code == 0) return true;
    std::fprintf(out_, "refused: code %d %s\n", status.code,
                 kestrel::CodeConvert::gbk_to_utf8(status.message).c_str());
    return false;
  }

  DemoSession& s_;
  std::FILE* out_;
  bool announced_ = false;
};

}  // namespace

int runInteractive(DemoSession& s, std::FILE* in, std::FILE* out) {
  std::vector<std::string> missing;
  if (!openSession(s, missing)) {
    if (const std::optional<Event> failure = s.host().failure()) {
      missing.push_back(failureText(*failure));
    }
    for (const std::string& what : missing) std::fprintf(stderr, "missing: %s\n", what.c_str());
    return 1;
  }
  std::fprintf(out, "%s", helpText().c_str());
  Prompt prompt(s, out);
  LineReader reader(in);
  std::string line;
  for (;;) {
    std::fprintf(out, "> ");
    std::fflush(out);
    const LineReader::Result read = reader.next(line);
    if (read == LineReader::Result::kEnd) break;
    if (read == LineReader::Result::kRefused) {
      std::fprintf(out, "%s\n", line.c_str());
      continue;
    }
    if (!prompt.run(line)) break;
  }
  prompt.end();
  return 0;
}

}  // namespace demo
