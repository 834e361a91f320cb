// ConsoleHost: the demo host's callback object. Prints every callback as one
// readable line (GBK texts shown as UTF-8) and keeps what it saw, so that the
// scripted day can wait for the events it expects.
//
// Called on the plug-in's (the vendor's) threads; every member is thread-safe.
#ifndef KESTREL_HOST_DEMO_CONSOLE_HOST_H_
#define KESTREL_HOST_DEMO_CONSOLE_HOST_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "plugin/trade_session_spi.h"

namespace demo {

// The host callbacks the demo reports, as X(Name, Record): EventType::k<Name>
// is on<Name>'s event. The first four take no record (void); each of the
// others takes its Record: on<Name>(const kestrel::Record* record,
// const kestrel::ResultStatus& status, int requestId, bool isLast).
#define KS_DEMO_EVENTS(X) \
  X(Connected, void)      \
  X(Login, void)          \
  X(Logout, void)         \
  X(Disconnected, void)   \
  KS_DEMO_RECORD_EVENTS(X)
#define KS_DEMO_RECORD_EVENTS(X)                   \
  X(OrderAccepted, OrderAcceptedRecord)            \
  X(OrderRejected, OrderRecord)                    \
  X(OrderFilled, OrderFilledRecord)                \
  X(OrderCanceled, OrderRecord)                    \
  X(Fill, FillRecord)                              \
  X(OrdersResponse, OrderDetailRecord)             \
  X(FillsResponse, FillRecord)                     \
  X(PositionsResponse, PositionRecord)             \
  X(PositionDetailsResponse, PositionDetailRecord) \
  X(AccountFundsResponse, AccountFunds)

#define KS_DEMO_EVENT_TYPE(Name, Record) k##Name,
enum class EventType { KS_DEMO_EVENTS(KS_DEMO_EVENT_TYPE) };
#undef KS_DEMO_EVENT_TYPE

// The callback's name as every line shows it: "onOrderAccepted".
const char* nameOf(EventType type);

// What the host learnt from one callback, texts in UTF-8.
struct Event {
  EventType type = EventType::kConnected;
  int requestId = 0;
  bool isLast = false;
  bool hasRecord = false;
  int code = 0;
  std::string message;
  std::string instrument;  // code.EXCHANGE
  std::string clientPrefix;
  std::string clientSerial;
  std::string exchangeOrderId;
  std::string statusMessage;
  long long volume = 0;
  double price = 0;

  // An event of `type` about the order with client serial `serial`.
  bool about(EventType what, const std::string& serial) const {
    return type == what && clientSerial == serial;
  }
};

// An event after which the session cannot go on as planned: the login was
// refused (onLogin with a code other than 0), or the connection failed or
// was lost (onDisconnected with a code other than 0).
bool isDefinitiveFailure(const Event& event);

// What a definitive failure means, with the event's code and message:
// "the login was refused (onLogin code=-11 [msg=...])".
std::string failureText(const Event& event);

// How a wait for an event ended.
enum class WaitResult { kFound, kTimedOut, kFailed };

// printf into a string of whatever length the text takes.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
std::string
formatted(const char* format, ...);

// The local clock time of `at` as every line starts: "HH:MM:SS.mmm".
std::string clockText(std::chrono::system_clock::time_point at = std::chrono::system_clock::now());

class ConsoleHost : public kestrel::ITradeSessionSpi {
 public:
  // Receives each line after its clock, without the line break, under the
  // host's lock (so in the order of the events).
  using LineSink = std::function<void(const std::string& text)>;

  // Prints each line, after the local clock time, to `out`.
  explicit ConsoleHost(std::FILE* out);
  // Whether the events are kept for waitFor() and events(). A host that
  // waits for its events keeps them; the journal's tools, which only show
  // recorded events in the demo host's words one at a time, keep none, so
  // that a journal of any length is shown in memory that does not grow.
  enum class Keep { kEvents, kNothing };
  // Hands each line to `sink`, without the clock.
  ConsoleHost(LineSink sink, Keep keep)
      : sink_(std::move(sink)), keepEvents_(keep == Keep::kEvents) {}

  void onConnected(const kestrel::ResultStatus& status) override;
  void onLogin(const kestrel::ResultStatus& status, const kestrel::LoginReply& reply) override;
  void onLogout(const kestrel::ResultStatus& status) override;
  void onDisconnected(const kestrel::ResultStatus& status) override;
#define KS_DEMO_RECORD_CALLBACK(Name, Record)                                                      \
  void on##Name(const kestrel::Record* record, const kestrel::ResultStatus& status, int requestId, \
                bool isLast) override;
  KS_DEMO_RECORD_EVENTS(KS_DEMO_RECORD_CALLBACK)
#undef KS_DEMO_RECORD_CALLBACK

  // Waits for the first event, among those not yet consumed by an earlier
  // wait, for which `match` holds; marks it consumed and returns kFound. Ends
  // early with kFailed when a definitive failure arrives that no earlier wait
  // ended with (a wait that finds its event first still returns kFound), and
  // with kTimedOut after `timeout`.
  WaitResult waitFor(const std::function<bool(const Event&)>& match,
                     std::chrono::milliseconds timeout, Event* found = nullptr);
  std::vector<Event> events() const;

  // The first definitive failure seen so far, if there was one.
  std::optional<Event> failure() const;
  // The failure seen so far was dealt with (a lost connection, after which
  // the host opened a new session): waits no longer end at it, and failure()
  // reports the next one.
  void clearFailure();

  // Prints a line of the host's own (not a callback), in order with the events.
  void note(const std::string& text);

 private:
  // Prints the event with its record's details and keeps it.
  template <typename Record>
  void report(EventType type, const Record* record, const kestrel::ResultStatus& status,
              int requestId, bool isLast);
  void add(Event event, const std::string& details);

  const LineSink sink_;
  const bool keepEvents_ = true;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> events_;
  std::vector<bool> consumed_;
  // Index in events_ of the first definitive failure (kNone: none yet), and
  // whether a wait has ended with it.
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t failure_ = kNone;
  bool failureReported_ = false;
};

}  // namespace demo

#endif  // KESTREL_HOST_DEMO_CONSOLE_HOST_H_
