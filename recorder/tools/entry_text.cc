#include "recorder/tools/entry_text.h"

#include <chrono>
#include <cstdio>

#include "plugin/common.h"
#include "recorder/journal/operations.h"

namespace kestrel {
namespace journal {
namespace {

std::string hostText(const std::string& gbk) { return CodeConvert::gbk_to_utf8(gbk); }

const char* marker(const Entry& e) {
  if (e.boundary == Boundary::kJournal) return "--";
  const bool host = e.boundary == Boundary::kHost;
  switch (e.kind) {
    case Kind::kRequest:
      return host ? "H>" : "V>";
    case Kind::kReturn:
      return "H=";
    case Kind::kDone:
      return host ? "H." : "V.";
    default:
      return host ? "H<" : "V<";
  }
}

const char* kindName(const Entry& e) {
  switch (e.kind) {
    case Kind::kRequest:
      return "request";
    case Kind::kReturn:
      return "return";
    case Kind::kCallback:
      return e.boundary == Boundary::kHost ? "event" : "callback";
    case Kind::kDone:
      return "done";
    case Kind::kGap:
      return "gap";
    default:
      return "end";
  }
}

bool hasRequestNumber(const Entry& e) {
  const Operation* op = findOperation(e.boundary, e.kind, e.operation);
  return op != nullptr && op->numbered;
}

std::string jsonText(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
      out += escaped;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

std::string jsonValue(const Field& f) {
  if (f.text) return jsonText(f.value);
  if (f.value == "null" || f.value == "true" || f.value == "false") return f.value;
  if (!f.value.empty() && f.value.front() == '[') return f.value.substr(1, f.value.size() - 2);
  const char c = f.value.empty() ? 'x' : f.value.back();
  return (c >= '0' && c <= '9') || c == '.' ? f.value : jsonText(f.value);  // nan, inf
}

}  // namespace

EntryText::EntryText(uint64_t startMicros)
    : startMicros_(startMicros),
      console_([this](const std::string& text) { eventText_ = text; },
               demo::ConsoleHost::Keep::kNothing) {}

Fields EntryText::fieldsOf(const Entry& entry) {
  PrintContext context;
  context.hostText = &hostText;
  return entryFields(entry, context);
}

std::string EntryText::clock(uint64_t time) const {
  using namespace std::chrono;
  return demo::clockText(system_clock::time_point(
      duration_cast<system_clock::duration>(microseconds(startMicros_ + time / 1000))));
}

// The demo host's own line for the event, after its clock.
std::string EntryText::hostEventLine(const Entry& entry) {
  const Operation* op = findOperation(entry.boundary, entry.kind, entry.operation);
  if (op == nullptr || op->invoke == nullptr) return std::string();
  ValueReader values(entry.values);
  eventText_.clear();
  op->invoke(static_cast<ITradeSessionSpi*>(&console_), values, nullptr);
  return eventText_;
}

std::string EntryText::line(const Entry& entry) {
  const Fields fields = fieldsOf(entry);  // checks the values before anything is shown
  std::string out = clock(entry.time) +
                    demo::formatted("  t%-3u #%-2u %s", entry.thread, entry.object, marker(entry));
  if (entry.is(Boundary::kHost, Kind::kCallback)) {
    return out + hostEventLine(entry);
  }
  out += demo::formatted("  %-26s", operationName(entry).c_str());
  if (hasRequestNumber(entry)) out += demo::formatted("req=%-4d", entry.request);
  if (entry.kind == Kind::kDone) {
    if (fields.front().value == "true") return out + " threw";
    return out.erase(out.find_last_not_of(' ') + 1);
  }
  for (const Field& f : fields) {
    const bool empty = f.value.empty() || f.value == "0" || f.value == "null" ||
                       f.value == "false" || f.value == "[0]" || f.name == "requestId";
    if (!empty) out += " " + f.name + "=" + (f.text ? "\"" + f.value + "\"" : f.value);
  }
  return out;
}

std::string EntryText::json(const Entry& entry) {
  std::string out =
      "{\"offset\":" + std::to_string(entry.offset) + ",\"time\":" + std::to_string(entry.time) +
      ",\"clock\":\"" + clock(entry.time) + "\",\"thread\":" + std::to_string(entry.thread) +
      ",\"object\":" + std::to_string(entry.object) + ",\"boundary\":\"" +
      (entry.boundary == Boundary::kHost     ? "host"
       : entry.boundary == Boundary::kVendor ? "vendor"
                                             : "journal") +
      "\",\"kind\":\"" + kindName(entry) + "\",\"operation\":" + jsonText(operationName(entry)) +
      ",\"slot\":" + std::to_string(entry.operation) +
      ",\"request\":" + (hasRequestNumber(entry) ? std::to_string(entry.request) : "null") +
      ",\"fields\":{";
  const char* separator = "";
  for (const Field& f : fieldsOf(entry)) {
    out += separator + jsonText(f.name) + ":" + jsonValue(f);
    separator = ",";
  }
  return out + "}}";
}

}  // namespace journal
}  // namespace kestrel
