// soak_host: many sessions at once, each trading and then ended while the
// counter's price walk is still filling its resting orders, for a set time.
//
//   soak_host [--seconds N] [--sessions K] [--plugin PATH]
//
// Loads the plug-in by path as a host does (default: beside this program)
// over the simulated counter, with a configuration of its own (a price walk
// every millisecond, written to the working folder and named by
// XT_SIM_CONFIG). Each of K threads (default 8) runs cycles until N seconds
// (default 20) have passed: a fresh session connects, logs in and waits for
// its fund account, buys at any price and waits for the fill, places eight
// resting limit orders around the market that the walk fills over the next
// milliseconds, cancels one, asks for its positions, and is then ended while
// fills still arrive: by release(), or every tenth cycle by deleting it
// without release. The counter answers on its own thread for the first half
// of the time and inside the calls for the second.
//
// A failure is any of: an expected event missing after 10 s, a request
// refused, an event for an order the session did not send (or naming it by
// another order's id), more filled than
// ordered, release() answering other than 0 or returning before
// onDisconnected, onDisconnected after a delete, a host event after the
// session ended. Each is printed with its thread and cycle and the session's
// last lines. A cycle that has not ended after 60 s is a hang: the program
// says so and ends at once with status 3.
//
// Prints one line: "soak_host: S s, K sessions at once: C cycles (R released,
// D deleted), O orders, F fills, E host events (P pushes ahead of their
// order's reply), X failures". Exit status 0
// without failures, 1 with, 2 for bad arguments or a plug-in that does not
// load.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "host/demo/console_host.h"
#include "host/demo/demo_session.h"
#include "host/demo/plugin_library.h"
#include "host/demo/trading_day.h"
#include "plugin/common.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

using Clock = std::chrono::steady_clock;
using demo::Event;
using demo::EventType;

constexpr std::chrono::seconds kEventTimeout(10);
constexpr std::chrono::seconds kStuckAfter(60);
constexpr int kDeleteEvery = 10;  // every tenth cycle ends without release()
constexpr std::size_t kLinesKept = 40;

const char kCounter[] =
    R"(# soak_host's counter: the price walk fills resting orders every millisecond.
[behaviour]
fill_mode = full
price_walk_ms = 1
price_walk_ticks = 3
synchronous = %s
error_push = true

[user soak]
password = soak123
accounts = 88009999

[account 88009999]
type = futures
cash = 1000000000

[instrument rb2410]
exchange = SHFE
price = 3650
multiplier = 10
margin_rate = 0.10
tick = 1
band_percent = 7
)";

// Ends the process at once: a hung thread may hold locks a normal exit needs.
[[noreturn]] void endProcessNow(int code) {
  std::fflush(stdout);
  std::fflush(stderr);
#if defined(_WIN32)
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
#endif
  std::_Exit(code);
}

struct Totals {
  long cycles = 0, released = 0, deleted = 0, orders = 0, fills = 0, early = 0, events = 0,
       failures = 0;
};

// What one session's host saw: the demo host's callback object, its lines
// kept (the last ones) for a failure's report.
class SessionHost {
 public:
  SessionHost()
      : console_(
            [this](const std::string& text) {
              std::lock_guard<std::mutex> lock(mutex_);
              lines_.push_back(text);
              if (lines_.size() > kLinesKept) lines_.pop_front();
            },
            demo::ConsoleHost::Keep::kEvents) {}

  demo::ConsoleHost& console() { return console_; }
  std::string lastLines() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string out;
    for (const std::string& line : lines_) out += "      " + line + "\n";
    return out;
  }

 private:
  std::mutex mutex_;  // taken inside the console's lock, never the other way round
  std::deque<std::string> lines_;
  demo::ConsoleHost console_;
};

class Soak {
 public:
  Soak(const demo::PluginLibrary& plugin, int sessions) : plugin_(plugin), sessions_(sessions) {
    std::string error;
    demo::parseInstrument("rb2410.SHFE", instrument_, error);
  }

  // Runs K threads of cycles until `until`.
  void run(Clock::time_point until) {
    std::vector<std::thread> threads;
    for (int k = 0; k < sessions_; ++k) {
      threads.emplace_back([this, k, until] {
        std::unique_ptr<SessionHost> previous;
        for (long cycle = 1; Clock::now() < until; ++cycle) {
          started(k, cycle);
          previous = runCycle(k, cycle, std::move(previous));
          started(k, 0);
        }
        if (previous) checkQuiet(*previous, k, 0);
      });
    }
    for (std::thread& thread : threads) thread.join();
  }

  // Ends the process when a cycle has run longer than kStuckAfter; returns
  // when stop() is called.
  void watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_) {
      changed_.wait_for(lock, std::chrono::seconds(1));
      const Clock::time_point now = Clock::now();
      for (const auto& [thread, busy] : busy_) {
        if (busy.second != 0 && now - busy.first > kStuckAfter) {
          std::fprintf(stderr,
                       "soak_host: thread %d has been in cycle %ld for more than %lld s: hung\n",
                       thread, busy.second, static_cast<long long>(kStuckAfter.count()));
          endProcessNow(3);
        }
      }
    }
  }
  void stop() {
    std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
  }

  Totals totals() {
    std::lock_guard<std::mutex> lock(mutex_);
    return totals_;
  }

 private:
  void started(int thread, long cycle) {
    std::lock_guard<std::mutex> lock(mutex_);
    busy_[thread] = {Clock::now(), cycle};
  }

  void fail(int thread, long cycle, const std::string& what, SessionHost& host) {
    const std::string lines = host.lastLines();
    std::lock_guard<std::mutex> lock(mutex_);
    ++totals_.failures;
    std::fprintf(stderr, "soak_host: FAILED thread %d cycle %ld: %s\n    its last lines:\n%s",
                 thread, cycle, what.c_str(), lines.c_str());
  }

  // A session's host after the session ended: no event may come any more.
  void checkQuiet(SessionHost& host, int thread, long cycle) {
    std::size_t atEnd = 0;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      atEnd = quietAt_[thread];
    }
    const std::size_t seen = host.console().events().size();
    if (seen != atEnd) {
      fail(thread, cycle,
           std::to_string(seen - atEnd) + " host events after the previous session ended", host);
    }
  }

  std::unique_ptr<SessionHost> runCycle(int thread, long cycle,
                                        std::unique_ptr<SessionHost> previous) {
    auto host = std::make_unique<SessionHost>();
    demo::Settings settings;
    settings.address = "tcp://127.0.0.1:5900";
    settings.user = "soak";
    settings.password = "soak123";
    settings.timeout = kEventTimeout;
    demo::DemoSession s(demo::configuredSession(plugin_, settings, host->console()),
                        host->console(), settings);

    long orders = 0;
    std::map<std::string, long long> ordered;  // client serial -> volume
    const auto send = [&](demo::Side side, long long volume, double price) {
      const std::string serial = s.sendOrder(instrument_, side, demo::Offset::kOpen, volume, price);
      if (serial.empty()) {
        fail(thread, cycle, "sendOrder refused", *host);
      } else {
        ordered[serial] = volume;
        ++orders;
      }
      return serial;
    };
    const auto expect = [&](const std::string& what, const std::function<bool(const Event&)>& match,
                            Event* found = nullptr) {
      if (s.host().waitFor(match, kEventTimeout, found) == demo::WaitResult::kFound) return true;
      fail(thread, cycle, what + " did not arrive within 10 s", *host);
      return false;
    };

    std::vector<std::string> missing;
    if (!demo::openSession(s, missing)) {
      std::string what = "the session did not open:";
      for (const std::string& m : missing) what += " " + m + ";";
      fail(thread, cycle, what, *host);
    } else {
      Event fill;
      const std::string bought = send(demo::Side::kBuy, 1, 0);
      if (!bought.empty() &&
          expect(
              "onFill for the buy at any price",
              [&](const Event& e) { return e.about(EventType::kFill, bought); }, &fill)) {
        // Resting orders one to four ticks either side of the market; the
        // walk fills them while the session goes on, and after it ends.
        std::string first;
        for (int ticks = 1; ticks <= 4; ++ticks) {
          const std::string below = send(demo::Side::kBuy, ticks, fill.price - ticks);
          send(demo::Side::kSell, ticks, fill.price + ticks);
          if (first.empty()) first = below;
        }
        Event accepted;
        if (!first.empty() && s.host().waitFor(
                                  [&](const Event& e) {
                                    return e.clientSerial == first && !e.exchangeOrderId.empty() &&
                                           (e.type == EventType::kOrderAccepted ||
                                            e.type == EventType::kOrderFilled);
                                  },
                                  kEventTimeout, &accepted) == demo::WaitResult::kFound) {
          s.learn(accepted);
          const kestrel::ResultStatus canceled = s.cancel(first);
          if (canceled.code != 0) fail(thread, cycle, "cancelOrder refused", *host);
        }
        const int id = s.nextRequestId();
        if (s.session().reqQryPosition(id).code != 0) {
          fail(thread, cycle, "reqQryPosition refused", *host);
        } else {
          expect("the last onPositionsResponse", [id](const Event& e) {
            return e.type == EventType::kPositionsResponse && e.requestId == id && e.isLast;
          });
        }
      }
    }

    // Ended while the walk still fills what rests.
    const bool deleted = cycle % kDeleteEvery == 0;
    if (deleted) {
      delete s.forget();
    } else {
      const kestrel::ResultStatus released = s.release();
      if (released.code != 0) {
        fail(thread, cycle, "release answered " + std::to_string(released.code), *host);
      }
    }
    const std::vector<Event> events = host->console().events();

    // What the session saw, checked against what it sent. The counter numbers
    // a connection's orders 1, 2, ... as they come, and this session sent its
    // serials 000001, 000002, ... in that order: an event names its order by
    // the exchange order id and by the host's serial, or by the serial the
    // plug-in made up from the vendor's order number (the decimal number),
    // or, for a fill, by none. The last two come when a push overtook the
    // order's reply: the price walk filled the order on the counter's thread
    // while the reply was still on its way to the plug-in on another.
    std::map<long, long long> filled;  // order number -> volume filled
    long fills = 0;
    long early = 0;
    int disconnections = 0;
    for (const Event& e : events) {
      if (e.type == EventType::kDisconnected) ++disconnections;
      const bool aboutAnOrder = e.type == EventType::kOrderAccepted ||
                                e.type == EventType::kOrderFilled ||
                                e.type == EventType::kOrderCanceled ||
                                e.type == EventType::kOrderRejected || e.type == EventType::kFill;
      if (!aboutAnOrder) continue;
      const long number = std::strtol(e.exchangeOrderId.c_str(), nullptr, 10);
      const std::string ours = number >= 1 && number <= orders ? demo::clientSerial(number) : "";
      const bool madeUp = e.clientSerial == std::to_string(number) ||
                          (e.clientSerial.empty() && e.type == EventType::kFill);
      const bool known = e.exchangeOrderId.empty()
                             ? ordered.count(e.clientSerial) == 1
                             : !ours.empty() && (e.clientSerial == ours || madeUp);
      if (!known) {
        fail(thread, cycle,
             nameOf(e.type) + std::string(" for exchange order '") + e.exchangeOrderId +
                 "', client serial '" + e.clientSerial + "': not an order this session sent",
             *host);
        continue;
      }
      if (madeUp) ++early;
      if (e.type == EventType::kFill) {
        ++fills;
        filled[number] += e.volume;
      }
    }
    for (const auto& [number, volume] : filled) {
      const long long wanted = ordered[demo::clientSerial(number)];
      if (volume > wanted) {
        fail(thread, cycle,
             "order " + demo::clientSerial(number) + ": " + std::to_string(volume) + " filled of " +
                 std::to_string(wanted),
             *host);
      }
    }
    if (deleted && disconnections != 0) {
      fail(thread, cycle, "onDisconnected after a delete without release", *host);
    }
    if (!deleted && disconnections != 1) {
      fail(thread, cycle,
           std::to_string(disconnections) + " onDisconnected before release returned, not 1",
           *host);
    }
    if (previous) checkQuiet(*previous, thread, cycle);

    std::lock_guard<std::mutex> lock(mutex_);
    quietAt_[thread] = events.size();
    ++totals_.cycles;
    ++(deleted ? totals_.deleted : totals_.released);
    totals_.orders += orders;
    totals_.fills += fills;
    totals_.early += early;
    totals_.events += static_cast<long>(events.size());
    return host;
  }

  const demo::PluginLibrary& plugin_;
  const int sessions_;
  demo::Instrument instrument_;

  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;
  std::map<int, std::pair<Clock::time_point, long>> busy_;  // thread -> since, cycle (0: idle)
  std::map<int, std::size_t> quietAt_;  // thread -> events its last ended session had
  Totals totals_;
};

int usage() {
  std::fprintf(stderr, "usage: soak_host [--seconds N] [--sessions K] [--plugin PATH]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  long seconds = 20;
  long sessions = 8;
  std::string pluginPath;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (i + 1 >= argc) return usage();
    char* end = nullptr;
    if (arg == "--seconds") {
      seconds = std::strtol(argv[++i], &end, 10);
      if (*end != '\0' || seconds < 1 || seconds > 86400) return usage();
    } else if (arg == "--sessions") {
      sessions = std::strtol(argv[++i], &end, 10);
      if (*end != '\0' || sessions < 1 || sessions > 256) return usage();
    } else if (arg == "--plugin") {
      pluginPath = argv[++i];
    } else {
      return usage();
    }
  }

  kestrel::addChinaExchanges(*kestrel::gBaseInformationMap);
  demo::PluginLibrary plugin;
  if (!(pluginPath.empty() ? plugin.loadBesideProgram() : plugin.load(pluginPath))) {
    std::fprintf(stderr, "soak_host: %s\n", plugin.error().c_str());
    return 2;
  }

  Soak soak(plugin, static_cast<int>(sessions));
  std::thread watchdog([&soak] { soak.watch(); });
  const Clock::time_point start = Clock::now();
  // A name of this run's own: other soaks may run in the same folder.
  const std::string config =
      "soak_xt_config_" + std::to_string(std::random_device()() ^
                                         static_cast<unsigned>(start.time_since_epoch().count()));
  for (const char* synchronous : {"false", "true"}) {
    char text[sizeof(kCounter) + 8];
    std::snprintf(text, sizeof(text), kCounter, synchronous);
    std::ofstream(config) << text;
    demo::useCounterConfig(config);
    const int half = synchronous[0] == 'f' ? 0 : 1;
    soak.run(start + std::chrono::milliseconds(seconds * 1000 * (half + 1) / 2));
  }
  soak.stop();
  watchdog.join();
  std::remove(config.c_str());

  const Totals t = soak.totals();
  std::printf(
      "soak_host: %ld s, %ld sessions at once: %ld cycles (%ld released, %ld deleted), %ld orders, "
      "%ld fills, %ld host events (%ld pushes ahead of their order's reply), %ld failures\n",
      seconds, sessions, t.cycles, t.released, t.deleted, t.orders, t.fills, t.events, t.early,
      t.failures);
  return t.failures == 0 ? 0 : 1;
}
