#include "host/demo/console_host.h"

#include <chrono>
#include <cstdarg>
#include <ctime>
#include <utility>

#include "plugin/common.h"

namespace demo {
namespace {

using kestrel::CodeConvert;

std::string utf8(const std::string& gbk) { return CodeConvert::gbk_to_utf8(gbk); }

std::string exchangeCode(int number) {
  const auto& codes = kestrel::gBaseInformationMap->exchangeCodes;
  const auto found = codes.find(number);
  return found == codes.end() ? "?" + std::to_string(number) : found->second.exchangeCode;
}

std::string instrumentOf(const kestrel::CodeId& codeId) {
  return codeId.code + "." + exchangeCode(codeId.exchange);
}

}  // namespace

const char* nameOf(EventType type) {
#define KS_DEMO_EVENT_NAME(Name, Record) "on" #Name,
  static const char* const kNames[] = {KS_DEMO_EVENTS(KS_DEMO_EVENT_NAME)};
#undef KS_DEMO_EVENT_NAME
  return kNames[static_cast<std::size_t>(type)];
}

bool isDefinitiveFailure(const Event& event) {
  return event.code != 0 &&
         (event.type == EventType::kLogin || event.type == EventType::kDisconnected);
}

std::string failureText(const Event& event) {
  const std::string what = event.type == EventType::kLogin ? "the login was refused"
                                                           : "the connection failed or was lost";
  return what + " (" + nameOf(event.type) + " code=" + std::to_string(event.code) +
         (event.message.empty() ? "" : " " + event.message) + ")";
}

std::string formatted(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  std::va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(&text[0], text.size() + 1, format, again);
  va_end(again);
  return text;
}

std::string clockText(std::chrono::system_clock::time_point at) {
  using namespace std::chrono;
  const std::time_t seconds = system_clock::to_time_t(at);
  const long long millis = duration_cast<milliseconds>(at.time_since_epoch()).count() % 1000;
  std::tm local{};
#if defined(_WIN32)
  localtime_s(&local, &seconds);
#else
  localtime_r(&seconds, &local);
#endif
  return formatted("%02d:%02d:%02d.%03lld", local.tm_hour, local.tm_min, local.tm_sec, millis);
}

namespace {

Event makeEvent(EventType type, const kestrel::ResultStatus& status, int requestId = 0,
                bool isLast = true) {
  Event event;
  event.type = type;
  event.code = status.code;
  event.message = utf8(status.message);
  event.requestId = requestId;
  event.isLast = isLast;
  return event;
}

// What each record tells the host, as the event keeps it and as a line shows
// it. The order records share these members under the same names.
template <typename Record>
std::string details(const Record& record, Event& event) {
  event.instrument = instrumentOf(record.codeId);
  event.clientPrefix = record.clientId.prefix;
  event.clientSerial = record.clientId.serial;
  event.exchangeOrderId = record.exchangeOrderId;
  event.statusMessage = utf8(record.statusMessage);
  event.volume = record.volume;
  event.price = record.price;
  return formatted(
      "%s client=%s@%s exchangeId=%s dir=%d offset=%d vol=%lld price=%.2f status=\"%s\"",
      event.instrument.c_str(), record.clientId.prefix.c_str(), record.clientId.serial.c_str(),
      record.exchangeOrderId.c_str(), record.direction, record.offsetFlag,
      static_cast<long long>(record.volume), record.price, event.statusMessage.c_str());
}

std::string details(const kestrel::FillRecord& record, Event& event) {
  event.instrument = instrumentOf(record.codeId);
  event.clientPrefix = record.clientId.prefix;
  event.clientSerial = record.clientId.serial;
  event.exchangeOrderId = record.fillReference2;
  event.volume = record.volume;
  event.price = record.price;
  return formatted("%s client=%s@%s fill=%s order=%s dir=%d offset=%d vol=%lld price=%.2f",
                   event.instrument.c_str(), record.clientId.prefix.c_str(),
                   record.clientId.serial.c_str(), record.fillReference.c_str(),
                   record.fillReference2.c_str(), record.direction, record.offsetFlag,
                   static_cast<long long>(record.volume), record.price);
}

std::string details(const kestrel::PositionRecord& record, Event& event) {
  event.instrument = instrumentOf(record.codeId);
  event.volume = record.volumeWhenSet + record.volumeWhenClear;
  return event.instrument + (record.twoValueCode == 1 ? " long" : " short") +
         (record.side == 1 ? " today=" : " earlier=") + std::to_string(event.volume);
}

std::string details(const kestrel::PositionDetailRecord& record, Event& event) {
  event.instrument = instrumentOf(record.codeId);
  event.volume = record.volume;
  event.price = record.firstAmount;
  return formatted("%s %s opened=%d fill=%s vol=%lld price=%.2f", event.instrument.c_str(),
                   record.twoValueCode == 1 ? "long" : "short", record.detailNumber2,
                   record.detailReference.c_str(), static_cast<long long>(record.volume),
                   record.firstAmount);
}

std::string details(const kestrel::AccountFunds& record, Event&) {
  return formatted(
      "tradingDay=%d balance=%.2f available=%.2f margin=%.2f frozen=%.2f "
      "commission=%.2f closeProfit=%.2f positionProfit=%.2f",
      record.tradingDay, record.amount4, record.amount11, record.amount1, record.amount10,
      record.amount15, record.amount12, record.amount5);
}

}  // namespace

template <typename Record>
void ConsoleHost::report(EventType type, const Record* record, const kestrel::ResultStatus& status,
                         int requestId, bool isLast) {
  Event event = makeEvent(type, status, requestId, isLast);
  event.hasRecord = record != nullptr;
  const std::string text = record == nullptr ? "(no record)" : details(*record, event);
  add(std::move(event), text);
}

void ConsoleHost::onConnected(const kestrel::ResultStatus& status) {
  add(makeEvent(EventType::kConnected, status), "");
}

void ConsoleHost::onLogin(const kestrel::ResultStatus& status, const kestrel::LoginReply& reply) {
  Event event = makeEvent(EventType::kLogin, status);
  event.hasRecord = true;
  add(std::move(event), "tradingDay=" + std::to_string(reply.tradingDay) + " state=" +
                            std::to_string(reply.loginState) + " stamp=" + reply.loginStamp);
}

void ConsoleHost::onLogout(const kestrel::ResultStatus& status) {
  add(makeEvent(EventType::kLogout, status), "");
}

void ConsoleHost::onDisconnected(const kestrel::ResultStatus& status) {
  add(makeEvent(EventType::kDisconnected, status), "");
}

// Each record-carrying callback reports its event with the record's details.
#define KS_DEMO_RECORD_CALLBACK(Name, Record)                                                    \
  void ConsoleHost::on##Name(const kestrel::Record* record, const kestrel::ResultStatus& status, \
                             int requestId, bool isLast) {                                       \
    report(EventType::k##Name, record, status, requestId, isLast);                               \
  }
KS_DEMO_RECORD_EVENTS(KS_DEMO_RECORD_CALLBACK)
#undef KS_DEMO_RECORD_CALLBACK

ConsoleHost::ConsoleHost(std::FILE* out)
    : sink_([out](const std::string& text) {
        std::fprintf(out, "%s%s\n", clockText().c_str(), text.c_str());
        std::fflush(out);
      }) {}

void ConsoleHost::add(Event event, const std::string& details) {
  std::string text =
      formatted("  %-26s req=%-4d code=%-3d", nameOf(event.type), event.requestId, event.code);
  if (!event.message.empty()) text += " msg=\"" + event.message + "\"";
  if (!details.empty()) text += "  " + details;
  std::lock_guard<std::mutex> lock(mutex_);
  sink_(text);
  if (!keepEvents_) return;
  if (failure_ == kNone && isDefinitiveFailure(event)) failure_ = events_.size();
  events_.push_back(std::move(event));
  consumed_.push_back(false);
  changed_.notify_all();
}

void ConsoleHost::note(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  sink_("  -- " + text);
}

WaitResult ConsoleHost::waitFor(const std::function<bool(const Event&)>& match,
                                std::chrono::milliseconds timeout, Event* found) {
  std::unique_lock<std::mutex> lock(mutex_);
  std::size_t index = 0;
  auto matched = [&] {
    for (index = 0; index < events_.size(); ++index) {
      if (!consumed_[index] && match(events_[index])) return true;
    }
    return false;
  };
  const bool ended = changed_.wait_for(
      lock, timeout, [&] { return matched() || (failure_ != kNone && !failureReported_); });
  if (!ended) return WaitResult::kTimedOut;
  if (index == failure_ || index == events_.size()) failureReported_ = failure_ != kNone;
  if (index == events_.size()) return WaitResult::kFailed;
  consumed_[index] = true;
  if (found != nullptr) *found = events_[index];
  return WaitResult::kFound;
}

std::vector<Event> ConsoleHost::events() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_;
}

void ConsoleHost::clearFailure() {
  std::lock_guard<std::mutex> lock(mutex_);
  failure_ = kNone;
  failureReported_ = false;
}

std::optional<Event> ConsoleHost::failure() const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (failure_ == kNone) return std::nullopt;
  return events_[failure_];
}

}  // namespace demo
