#include "host/demo/trading_day.h"

#include <cmath>
#include <cstdio>
#include <functional>
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

Match forOrder(EventType type, const std::string& serial, int code) {
  return [type, serial, code](const Event& e) { return e.about(type, serial) && e.code == code; };
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

// The steps of a day: each waits for the events it expects and notes what
// did not come. After a definitive failure (the login refused, the
// connection lost) every later step does nothing: what it waits for cannot
// come.
class Script {
 public:
  explicit Script(DemoSession& session) : s_(session) {}

  bool expect(const std::string& what, const Match& match, Event* found = nullptr) {
    if (stopped()) return false;
    Event event;
    switch (s_.host().waitFor(match, s_.settings().timeout, &event)) {
      case WaitResult::kFound:
        break;
      case WaitResult::kTimedOut:
        missing_.push_back(what);
        s_.host().note("MISSING: " + what);
        return false;
      case WaitResult::kFailed:
        s_.host().note("STOPPED while waiting for " + what);
        return false;
    }
    s_.learn(event);
    if (found != nullptr) *found = event;
    return true;
  }

  // The definitive failure the day ran into, if it did.
  bool stopped() const {
    Event failure;
    return s_.host().failure(failure);
  }

  bool accepted(const std::string& what, const kestrel::ResultStatus& status) {
    if (stopped()) return false;
    if (status.code == 0) return true;
    missing_.push_back(what + " (answered " + std::to_string(status.code) + " " +
                       kestrel::CodeConvert::gbk_to_utf8(status.message) + ")");
    s_.host().note("FAILED: " + missing_.back());
    return false;
  }

  // Makes a query (unless the day stopped) and waits for its last record.
  void query(const QueryKind& query) {
    if (stopped()) return;
    const int id = s_.nextRequestId();
    s_.host().note(std::string(query.command) + " req=" + std::to_string(id));
    if (accepted(query.command, query.request(s_.session(), id))) {
      expect(nameOf(query.response), lastOf(query.response, id));
    }
  }

  // Sends a buy unless the day stopped; its client serial, or an empty text.
  std::string buy(const Instrument& instrument, long long lots, double price) {
    return stopped() ? std::string()
                     : s_.sendOrder(instrument, Side::kBuy, Offset::kOpen, lots, price);
  }

  std::vector<std::string>& missing() { return missing_; }

 private:
  DemoSession& s_;
  std::vector<std::string> missing_;
};

double tickRound(double price) { return std::floor(price + 0.5); }

}  // namespace

bool openSession(DemoSession& s, std::vector<std::string>& missing) {
  Script script(s);
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
    kestrel::ResultStatus status{-3, ""};
    while (status.code == -3 && std::chrono::steady_clock::now() < deadline && !script.stopped()) {
      id = s.nextRequestId();
      status = s.session().reqQryTradingAccount(id);
      if (status.code == -3) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ok = script.accepted("a fund account", status) &&
         script.expect("onAccountFundsResponse", lastOf(EventType::kAccountFundsResponse, id));
  }
  missing.insert(missing.end(), script.missing().begin(), script.missing().end());
  return ok;
}

int runTradingDay(DemoSession& s) {
  std::vector<std::string> missing;
  Instrument instrument;
  std::string error;
  if (!parseInstrument(s.settings().instrument, instrument, error)) {
    std::fprintf(stderr, "--instrument: %s\n", error.c_str());
    return 1;
  }
  if (openSession(s, missing)) {
    Script script(s);

    // A buy at any price fills at the market; its price anchors the rest.
    Event fill;
    const std::string bought = script.buy(instrument, 1, 0);
    double market = 0;
    if (script.accepted("buy at any price", kestrel::ResultStatus{bought.empty() ? -1 : 0, ""}) &&
        script.expect("onOrderFilled for the buy", forOrder(EventType::kOrderFilled, bought, 0)) &&
        script.expect("onFill for the buy", forOrder(EventType::kFill, bought, 0), &fill)) {
      market = fill.price;
    }

    if (market > 0) {
      // A limit buy below the market rests until it is cancelled.
      const std::string resting = script.buy(instrument, 1, tickRound(market * 0.98));
      if (!resting.empty() &&
          script.expect("onOrderAccepted for the resting order",
                        forOrder(EventType::kOrderAccepted, resting, 0)) &&
          script.accepted("cancel", s.cancel(resting))) {
        script.expect("onOrderCanceled for the resting order",
                      forOrder(EventType::kOrderCanceled, resting, 0));
      }

      // Far more than the account can pay for: the counter refuses it.
      const std::string tooLarge = script.buy(instrument, kMaxOrderLots, tickRound(market));
      if (!tooLarge.empty()) {
        script.expect("onOrderRejected by the counter",
                      forOrder(EventType::kOrderRejected, tooLarge, -1));
      }

      // Half the market price is outside the exchange's price band.
      const std::string outOfBand = script.buy(instrument, 1, tickRound(market * 0.5));
      if (!outOfBand.empty()) {
        script.expect("onOrderRejected by the exchange",
                      forOrder(EventType::kOrderRejected, outOfBand, 0));
      }
    }

    for (const QueryKind& query : kQueries) script.query(query);

    if (!script.stopped()) {
      s.host().note("logout");
      if (script.accepted("logout", s.session().logout())) {
        script.expect("onLogout with code 0", typed(EventType::kLogout, 0));
      }
    }
    missing.insert(missing.end(), script.missing().begin(), script.missing().end());
  }

  const kestrel::ResultStatus released = s.release();
  if (released.code != 0) missing.push_back("release answered " + std::to_string(released.code));
  Event disconnected;
  if (s.host().waitFor(typed(EventType::kDisconnected, 0), std::chrono::milliseconds(0),
                       &disconnected) != WaitResult::kFound) {
    missing.push_back("onDisconnected before release returned");
  }

  Event failure;
  if (s.host().failure(failure)) {
    std::fprintf(stderr, "scripted day stopped: %s\n", failureText(failure).c_str());
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

std::string helpText() {
  std::string queries;
  for (const QueryKind& query : kQueries) {
    queries += (queries.empty() ? "  " : " | ") + std::string(query.command);
  }
  return "commands:\n"
         "  buy|sell INSTRUMENT QTY PRICE [open|close|closetoday]\n"
         "      INSTRUMENT  CODE.EXCHANGE (rb2410.SHFE), or a code whose exchange the demo\n"
         "                  knows from its product (rb2410, IF2409, 600000)\n"
         "      QTY         lots, a whole number from 1 to 1000000\n"
         "      PRICE       0 (any price) or a limit price up to 100000000 (3650, 3650.5)\n"
         "      open (the default), close (earlier positions) or closetoday\n"
         "  cancel ID       the order the demo printed as ID (000001, or 1)\n" +
         queries +
         "\n  help | quit\n"
         "A line is refused whole, and nothing of it is sent, when any part of it is\n"
         "wrong, it holds a control byte or it is longer than 1023 bytes.\n";
}

constexpr double kMaxPrice = 100000000;
constexpr long long kMaxSerial = 999999;

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
    Event failure;
    if (s_.host().failure(failure)) {
      s_.host().note("no logout: " + failureText(failure));
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
    Event failure;
    if (announced_ || !s_.host().failure(failure)) return;
    announced_ = true;
    std::fprintf(out_, "%s: later requests will be refused; quit ends the session\n",
                 failureText(failure).c_str());
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
    if (!parseDecimal(args[2], 0, kMaxPrice, price)) {
      return refuse(command,
                    "PRICE is 0 (any price) or a price up to 100000000 (3650, 3650.5), not '" +
                        args[2] + "'");
    }
    if (args.size() == 4) {
      if (args[3] == "close") {
        offset = Offset::kClose;
      } else if (args[3] == "closetoday") {
        offset = Offset::kCloseToday;
      } else if (args[3] != "open") {
        return refuse(command, "the last word is open, close or closetoday, not '" + args[3] + "'");
      }
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
    Event failure;
    if (s.host().failure(failure)) missing.push_back(failureText(failure));
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
