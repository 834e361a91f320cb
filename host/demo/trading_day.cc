#include "host/demo/trading_day.h"

#include <cmath>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <thread>

#include "plugin/common.h"

namespace demo {
namespace {

using Match = std::function<bool(const Event&)>;

Match named(const std::string& name, int code) {
  return [name, code](const Event& e) { return e.name == name && e.code == code; };
}

Match forOrder(const std::string& name, const std::string& serial, int code) {
  return [name, serial, code](const Event& e) {
    return e.name == name && e.clientSerial == serial && e.code == code;
  };
}

Match lastOf(const std::string& name, int requestId) {
  return [name, requestId](const Event& e) {
    return e.name == name && e.requestId == requestId && e.isLast;
  };
}

class Script {
 public:
  explicit Script(DemoSession& session) : s_(session) {}

  bool expect(const std::string& what, const Match& match, Event* found = nullptr) {
    Event event;
    if (!s_.host().waitFor(match, s_.settings().timeout, &event)) {
      missing_.push_back(what);
      s_.host().note("MISSING: " + what);
      return false;
    }
    s_.learn(event);
    if (found != nullptr) *found = event;
    return true;
  }

  bool accepted(const std::string& what, const kestrel::ResultStatus& status) {
    if (status.code == 0) return true;
    missing_.push_back(what + " (answered " + std::to_string(status.code) + " " +
                       kestrel::CodeConvert::gbk_to_utf8(status.message) + ")");
    s_.host().note("FAILED: " + missing_.back());
    return false;
  }

  // Sends a query and waits for its last record.
  void query(const std::string& what, kestrel::ResultStatus (kestrel::ITradeSession::*request)(int),
             const std::string& response) {
    const int id = s_.nextRequestId();
    s_.host().note(what + " req=" + std::to_string(id));
    if (accepted(what, (s_.session().*request)(id))) expect(response, lastOf(response, id));
  }

  std::vector<std::string>& missing() { return missing_; }

 private:
  DemoSession& s_;
  std::vector<std::string> missing_;
};

double tickRound(double price) { return std::floor(price + 0.5); }

kestrel::ResultStatus queryPositionDetail(kestrel::ITradeSession& session, int id) {
  return session.reqQryPositionDetail(id, kestrel::PositionDetailReq{});
}

}  // namespace

bool openSession(DemoSession& s, std::vector<std::string>& missing) {
  Script script(s);
  s.host().note("connect " + s.settings().address);
  bool ok = script.accepted("connect", s.session().connect()) &&
            script.expect("onConnected", named("onConnected", 0));
  if (ok) {
    s.host().note("login " + s.settings().user);
    ok = script.accepted("login", s.session().login()) &&
         script.expect("onLogin with code 0", named("onLogin", 0));
  }
  if (ok) {
    // The counter names the fund account after the login; until then the
    // funds query answers "no fund account".
    s.host().note("funds, until the counter names a fund account");
    const auto deadline = std::chrono::steady_clock::now() + s.settings().timeout;
    int id = 0;
    kestrel::ResultStatus status{-3, ""};
    while (status.code == -3 && std::chrono::steady_clock::now() < deadline) {
      id = s.nextRequestId();
      status = s.session().reqQryTradingAccount(id);
      if (status.code == -3) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ok = script.accepted("a fund account", status) &&
         script.expect("onAccountFundsResponse", lastOf("onAccountFundsResponse", id));
  }
  missing.insert(missing.end(), script.missing().begin(), script.missing().end());
  return ok;
}

int runTradingDay(DemoSession& s) {
  std::vector<std::string> missing;
  Instrument instrument;
  if (!parseInstrument(s.settings().instrument, instrument)) {
    std::fprintf(stderr, "unknown instrument %s\n", s.settings().instrument.c_str());
    return 1;
  }
  if (openSession(s, missing)) {
    Script script(s);

    // A buy at any price fills at the market; its price anchors the rest.
    Event fill;
    const std::string bought = s.sendOrder(instrument, Side::kBuy, Offset::kOpen, 1, 0);
    double market = 0;
    if (script.accepted("buy at any price", kestrel::ResultStatus{bought.empty() ? -1 : 0, ""}) &&
        script.expect("onOrderFilled for the buy", forOrder("onOrderFilled", bought, 0)) &&
        script.expect("onFill for the buy", forOrder("onFill", bought, 0), &fill)) {
      market = fill.price;
    }

    if (market > 0) {
      // A limit buy below the market rests until it is cancelled.
      const std::string resting =
          s.sendOrder(instrument, Side::kBuy, Offset::kOpen, 1, tickRound(market * 0.98));
      if (!resting.empty() &&
          script.expect("onOrderAccepted for the resting order",
                        forOrder("onOrderAccepted", resting, 0)) &&
          script.accepted("cancel", s.cancel(resting))) {
        script.expect("onOrderCanceled for the resting order",
                      forOrder("onOrderCanceled", resting, 0));
      }

      // Far more than the account can pay for: the counter refuses it.
      const std::string tooLarge =
          s.sendOrder(instrument, Side::kBuy, Offset::kOpen, 1000000, tickRound(market));
      if (!tooLarge.empty()) {
        script.expect("onOrderRejected by the counter", forOrder("onOrderRejected", tooLarge, -1));
      }

      // Half the market price is outside the exchange's price band.
      const std::string outOfBand =
          s.sendOrder(instrument, Side::kBuy, Offset::kOpen, 1, tickRound(market * 0.5));
      if (!outOfBand.empty()) {
        script.expect("onOrderRejected by the exchange", forOrder("onOrderRejected", outOfBand, 0));
      }
    }

    script.query("positions", &kestrel::ITradeSession::reqQryPosition, "onPositionsResponse");
    {
      const int id = s.nextRequestId();
      s.host().note("position details req=" + std::to_string(id));
      if (script.accepted("position details", queryPositionDetail(s.session(), id))) {
        script.expect("onPositionDetailsResponse", lastOf("onPositionDetailsResponse", id));
      }
    }
    script.query("orders", &kestrel::ITradeSession::reqQryOrder, "onOrdersResponse");
    script.query("fills", &kestrel::ITradeSession::reqQryFill, "onFillsResponse");
    script.query("funds", &kestrel::ITradeSession::reqQryTradingAccount, "onAccountFundsResponse");

    s.host().note("logout");
    if (script.accepted("logout", s.session().logout())) {
      script.expect("onLogout with code 0", named("onLogout", 0));
    }
    missing.insert(missing.end(), script.missing().begin(), script.missing().end());
  }

  const kestrel::ResultStatus released = s.release();
  if (released.code != 0) missing.push_back("release answered " + std::to_string(released.code));
  Event disconnected;
  if (!s.host().waitFor(named("onDisconnected", 0), std::chrono::milliseconds(0), &disconnected)) {
    missing.push_back("onDisconnected before release returned");
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

const char kHelp[] =
    "commands:\n"
    "  buy|sell INSTRUMENT QTY PRICE [open|close|closetoday]   PRICE 0 = any price\n"
    "  cancel ID        cancel the order with client serial ID (e.g. 000002)\n"
    "  funds | positions | details | orders | fills\n"
    "  help | quit\n"
    "INSTRUMENT is CODE.EXCHANGE (rb2410.SHFE) or a code whose exchange is known (rb2410)\n";

bool parseNumber(const std::string& text, double& value) {
  char* end = nullptr;
  value = std::strtod(text.c_str(), &end);
  return !text.empty() && end != nullptr && *end == '\0' && std::isfinite(value);
}

}  // namespace

int runInteractive(DemoSession& s, std::FILE* in, std::FILE* out) {
  std::vector<std::string> missing;
  if (!openSession(s, missing)) {
    for (const std::string& what : missing) std::fprintf(stderr, "missing: %s\n", what.c_str());
    return 1;
  }
  std::fprintf(out, "%s", kHelp);
  char buffer[1024];
  while (std::fprintf(out, "> "), std::fflush(out), std::fgets(buffer, sizeof(buffer), in)) {
    std::istringstream line(buffer);
    std::string command;
    if (!(line >> command)) continue;
    std::vector<std::string> args;
    for (std::string arg; line >> arg;) args.push_back(arg);
    const int id = s.nextRequestId();
    kestrel::ResultStatus status{0, ""};
    if (command == "quit" || command == "exit") {
      break;
    } else if (command == "help") {
      std::fprintf(out, "%s", kHelp);
      continue;
    } else if (command == "buy" || command == "sell") {
      Instrument instrument;
      double volume = 0;
      double price = 0;
      if (args.size() < 3 || args.size() > 4) {
        std::fprintf(out, "usage: %s INSTRUMENT QTY PRICE [open|close|closetoday]\n",
                     command.c_str());
        continue;
      }
      if (!parseInstrument(args[0], instrument)) {
        std::fprintf(out, "unknown instrument '%s': write it as CODE.EXCHANGE\n", args[0].c_str());
        continue;
      }
      if (!parseNumber(args[1], volume) || volume <= 0 || volume != std::floor(volume) ||
          volume > 1e9) {
        std::fprintf(out, "quantity must be a positive whole number, not '%s'\n", args[1].c_str());
        continue;
      }
      if (!parseNumber(args[2], price) || price < 0) {
        std::fprintf(out, "price must be a number of 0 or more, not '%s'\n", args[2].c_str());
        continue;
      }
      Offset offset = Offset::kOpen;
      if (args.size() == 4) {
        if (args[3] == "close") {
          offset = Offset::kClose;
        } else if (args[3] == "closetoday") {
          offset = Offset::kCloseToday;
        } else if (args[3] != "open") {
          std::fprintf(out, "offset must be open, close or closetoday, not '%s'\n",
                       args[3].c_str());
          continue;
        }
      }
      const std::string serial =
          s.sendOrder(instrument, command == "buy" ? Side::kBuy : Side::kSell, offset,
                      static_cast<long long>(volume), price);
      if (!serial.empty()) {
        std::fprintf(out, "order %s sent\n", serial.c_str());
        // Its first event, so that the answer prints before the next prompt.
        s.host().waitFor([&serial](const Event& e) { return e.clientSerial == serial; },
                         s.settings().timeout);
      }
      continue;
    } else if (command == "cancel") {
      if (args.size() != 1) {
        std::fprintf(out, "usage: cancel ID\n");
        continue;
      }
      // Learn exchange order ids from everything seen so far.
      for (const Event& event : s.host().events()) s.learn(event);
      status = s.cancel(args[0]);
      if (status.code == -2) {
        std::fprintf(out, "%s\n", status.message.c_str());
        continue;
      }
      if (status.code == 0) {
        const std::string serial = args[0];
        s.host().waitFor(
            [&serial](const Event& e) {
              return e.name == "onOrderCanceled" && e.clientSerial == serial;
            },
            s.settings().timeout);
      }
    } else if (command == "funds") {
      status = s.session().reqQryTradingAccount(id);
    } else if (command == "positions") {
      status = s.session().reqQryPosition(id);
    } else if (command == "details") {
      status = s.session().reqQryPositionDetail(id, kestrel::PositionDetailReq{});
    } else if (command == "orders") {
      status = s.session().reqQryOrder(id);
    } else if (command == "fills") {
      status = s.session().reqQryFill(id);
    } else {
      std::fprintf(out, "unknown command '%s' (try help)\n", command.c_str());
      continue;
    }
    if (status.code != 0) {
      std::fprintf(out, "refused: code %d %s\n", status.code,
                   kestrel::CodeConvert::gbk_to_utf8(status.message).c_str());
    } else if (command != "cancel") {
      s.host().waitFor([id](const Event& e) { return e.requestId == id && e.isLast; },
                       s.settings().timeout);
    }
  }
  (void)s.session().logout();
  s.host().waitFor(named("onLogout", 0), s.settings().timeout);
  (void)s.release();
  return 0;
}

}  // namespace demo
