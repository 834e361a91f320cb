// The operations of both boundaries as the journal numbers and shows them: the
// rows of the four interfaces' tables (plugin/interface_table.h), numbered by
// slot, plus numbers of the journal's own for what has no slot.
#ifndef KESTREL_RECORDER_JOURNAL_OPERATIONS_H_
#define KESTREL_RECORDER_JOURNAL_OPERATIONS_H_

#include <cstdint>
#include <string>

#include "plugin/interface_table.h"
#include "recorder/journal/value_codec.h"

namespace kestrel {
namespace journal {

namespace op {
constexpr uint16_t kDestroySession = 0;  // a session deleted without release()
constexpr uint16_t kCreateTradeSession = 100;
constexpr uint16_t kGetPluginInfo = 101;
constexpr uint16_t kDestroyApi = 0;
constexpr uint16_t kCreateApi = 200;  // recorded when it returns: address, whether it made one
constexpr uint16_t kJoinAll = 201;
}  // namespace op

// The slots by name, for code that reads journals: slot::host::sendOrder is
// interfaces::session::sendOrder::kSlot (host requests), slot::event the host
// events, slot::vendor the vendor requests, slot::callback its callbacks.
namespace slot {
#define KS_JOURNAL_SLOT(slot, R, name, types, names) constexpr uint16_t name = slot;
namespace host {
KS_TRADE_SESSION_TABLE(KS_JOURNAL_SLOT, KS_NO_ROW)
}
namespace event {
KS_TRADE_SESSION_SPI_TABLE(KS_JOURNAL_SLOT, KS_NO_ROW)
}
namespace vendor {
KS_XT_TRADER_API_TABLE(KS_JOURNAL_SLOT, KS_NO_ROW)
}
namespace callback {
KS_XT_TRADER_API_CALLBACK_TABLE(KS_JOURNAL_SLOT, KS_NO_ROW)
}
#undef KS_JOURNAL_SLOT
}  // namespace slot

using PrintFunction = Fields (*)(ValueReader& values, const char* names,
                                 const PrintContext& context);

struct Operation {
  Boundary boundary;
  Kind kind;  // kRequest (whose answer is a kReturn entry) or kCallback
  uint16_t slot;
  const char* name;
  const char* arguments;  // their names, separated by spaces
  bool numbered;          // whether an argument is the request number in the head
  PrintFunction print;
  PrintFunction printAnswer;  // requests that answer: the result, then what they filled in
  // Host requests and events: calls the operation on `target` (an
  // ITradeSession or an ITradeSessionSpi) with the recorded arguments and
  // writes its answer.
  void (*invoke)(void* target, ValueReader& values, FrameWriter* answer);
};

// Every operation the journal knows, the tables' rows and its own.
struct OperationList {
  const Operation* begin;
  const Operation* end;
};
OperationList knownOperations();

// The operation of an entry (a kReturn entry has its request's, a kDone entry
// its callback's), or null.
const Operation* findOperation(Boundary boundary, Kind kind, uint16_t slot);

// The values of `entry` as fields (a kDone entry's: "threw"); throws
// FormatError when they are not what its operation records, or the operation
// is unknown.
Fields entryFields(const Entry& entry, const PrintContext& context);

// "sendOrder", "onOrderPush", ...; "operation N" for one this program does not know.
std::string operationName(const Entry& entry);

// --- Reading values by parameter types -----------------------------------------

std::vector<std::string> argumentNames(const char* names, std::size_t count);

template <typename... A>
Fields printArguments(ValueReader& values, const char* names, const PrintContext& context) {
  Fields out;
  PrintValues printer(out, context);
  const std::vector<std::string> name = argumentNames(names, sizeof...(A));
  std::size_t i = 0;
  const auto one = [&](auto argument) {
    argument.read(values);
    argument.print(printer, name[i++].c_str());
  };
  (one(Arg<A>()), ...);
  (void)one;  // for operations without arguments
  return out;
}

template <typename R, typename... A>
Fields printAnswer(ValueReader& values, const char* names, const PrintContext& context) {
  Fields out;
  PrintValues printer(out, context);
  Arg<R> result;
  result.read(values);
  result.print(printer, "result");
  const std::vector<std::string> name = argumentNames(names, sizeof...(A));
  std::size_t i = 0;
  const auto one = [&](auto argument, bool filledIn) {
    if (filledIn) {
      argument.read(values);
      argument.print(printer, name[i].c_str());
    }
    ++i;
  };
  (one(Arg<A>(), kIsOut<A>), ...);
  (void)one;
  return out;
}

template <typename C, typename R, typename... A>
constexpr PrintFunction printerOf(R (C::*)(A...)) {
  return &printArguments<A...>;
}
template <typename C, typename R, typename... A>
constexpr PrintFunction answerPrinterOf(R (C::*)(A...)) {
  return &printAnswer<R, A...>;
}

// Calls the operation of row `Op` on `target` with the recorded arguments.
template <typename Op>
void invokeRow(void* target, ValueReader& values, FrameWriter* answer) {
  invokeRecorded(Op::kMember, static_cast<typename Op::Class*>(target), values, answer);
}

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_OPERATIONS_H_
