#include "recorder/journal/operations.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace kestrel {
namespace journal {
namespace {

// A row of an interface's table as the journal knows it: requests and
// callbacks print their arguments; host requests their answers too; host
// requests and events can be made again (the replay, and the dump's host
// events in the demo host's words). Vendor callbacks are made again by the
// replay's vendor library, which alone defines XtError.
template <typename Op>
constexpr Operation operationOf(Kind kind) {
  constexpr bool host = kBoundaryOf<Op> == Boundary::kHost;
  PrintFunction answer = nullptr;  // host requests that answer
  if constexpr (!std::is_void<typename Op::Result>::value) {
    if (host && kind == Kind::kRequest) answer = answerPrinterOf(Op::kMember);
  }
  return Operation{kBoundaryOf<Op>,
                   kind,
                   Op::kSlot,
                   Op::kName,
                   Op::kArguments,
                   Op::kRequestNumber < Op::kArity,
                   printerOf(Op::kMember),
                   answer,
                   host ? &invokeRow<Op> : nullptr};
}

#define KS_HOST_REQUEST(slot, R, name, types, names) \
  operationOf<interfaces::session::name>(Kind::kRequest),
#define KS_HOST_EVENT(slot, R, name, types, names) \
  operationOf<interfaces::spi::name>(Kind::kCallback),
#define KS_VENDOR_REQUEST(slot, R, name, types, names) \
  operationOf<interfaces::api::name>(Kind::kRequest),
#define KS_VENDOR_CALLBACK(slot, R, name, types, names) \
  operationOf<interfaces::callback::name>(Kind::kCallback),

const Operation kOperations[] = {
    KS_TRADE_SESSION_TABLE(KS_HOST_REQUEST, KS_NO_ROW)              //
    KS_TRADE_SESSION_SPI_TABLE(KS_HOST_EVENT, KS_NO_ROW)            //
    KS_XT_TRADER_API_TABLE(KS_VENDOR_REQUEST, KS_NO_ROW)            //
    KS_XT_TRADER_API_CALLBACK_TABLE(KS_VENDOR_CALLBACK, KS_NO_ROW)  //
    // What has no slot of its own.
    Operation{Boundary::kHost, Kind::kRequest, op::kDestroySession, "destroy", "", false,
              &printArguments<>, &printArguments<>, nullptr},
    Operation{Boundary::kHost, Kind::kRequest, op::kCreateTradeSession, "CreateTradeSession",
              "created", false, &printArguments<bool>, nullptr, nullptr},
    Operation{Boundary::kHost, Kind::kRequest, op::kGetPluginInfo, "GetPluginInfo", "", false,
              &printArguments<>, &printAnswer<const char*>, nullptr},
    Operation{Boundary::kVendor, Kind::kRequest, op::kDestroyApi, "destroy", "", false,
              &printArguments<>, nullptr, nullptr},
    Operation{Boundary::kVendor, Kind::kRequest, op::kCreateApi, "createXtTraderApi",
              "address created", false, &printArguments<const char*, bool>, nullptr, nullptr},
    Operation{Boundary::kVendor, Kind::kRequest, op::kJoinAll, "joinAll", "", false,
              &printArguments<>, nullptr, nullptr},
    Operation{Boundary::kJournal, Kind::kGap, 0, "(entries dropped: queue full)", "dropped", false,
              &printArguments<int64_t>, nullptr, nullptr},
    Operation{Boundary::kJournal, Kind::kEnd, 0, "(journal closed)", "written dropped notWritten",
              false, &printArguments<int64_t, int64_t, int64_t>, nullptr, nullptr},
};
#undef KS_HOST_REQUEST
#undef KS_HOST_EVENT
#undef KS_VENDOR_REQUEST
#undef KS_VENDOR_CALLBACK

}  // namespace

std::vector<std::string> argumentNames(const char* names, std::size_t count) {
  std::istringstream words(names);
  std::vector<std::string> out{std::istream_iterator<std::string>(words), {}};
  out.resize(std::max(out.size(), count));
  return out;
}

OperationList knownOperations() { return {std::begin(kOperations), std::end(kOperations)}; }

const Operation* findOperation(Boundary boundary, Kind kind, uint16_t slot) {
  if (kind == Kind::kReturn) kind = Kind::kRequest;
  if (kind == Kind::kDone) kind = Kind::kCallback;
  const auto found =
      std::find_if(std::begin(kOperations), std::end(kOperations), [&](const Operation& o) {
        return o.boundary == boundary && o.kind == kind &&
               (o.slot == slot || boundary == Boundary::kJournal);
      });
  return found == std::end(kOperations) ? nullptr : found;
}

std::string operationName(const Entry& entry) {
  const Operation* operation = findOperation(entry.boundary, entry.kind, entry.operation);
  return operation != nullptr ? operation->name : "operation " + std::to_string(entry.operation);
}

Fields entryFields(const Entry& entry, const PrintContext& context) {
  const Operation* operation = findOperation(entry.boundary, entry.kind, entry.operation);
  const PrintFunction print = operation == nullptr          ? nullptr
                              : entry.kind == Kind::kReturn ? operation->printAnswer
                              : entry.kind == Kind::kDone   ? &printArguments<bool>
                                                            : operation->print;
  if (print == nullptr) throw FormatError("unknown " + operationName(entry));
  // Host texts are GBK, and so is the one path the plug-in gives the vendor.
  PrintContext texts = context;
  texts.host =
      entry.boundary == Boundary::kHost ||
      (entry.boundary == Boundary::kVendor && entry.operation == interfaces::api::init::kSlot);
  ValueReader values(entry.values);
  Fields fields = print(values, entry.kind == Kind::kDone ? "threw" : operation->arguments, texts);
  if (!values.atEnd()) throw FormatError("values left over after " + operationName(entry));
  return fields;
}

}  // namespace journal
}  // namespace kestrel
