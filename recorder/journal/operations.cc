#include "recorder/journal/operations.h"

#include <algorithm>
#include <iterator>

namespace kestrel {
namespace journal {
namespace {

#define KS_HOST_REQUEST(slot, name, arguments)     \
  Operation{Boundary::kHost,                       \
            Kind::kRequest,                        \
            slot,                                  \
            #name,                                 \
            arguments,                             \
            printerOf(&ITradeSession::name),       \
            answerPrinterOf(&ITradeSession::name), \
            &invokeOn<&ITradeSession::name>},
#define KS_HOST_EVENT(slot, name, arguments)    \
  Operation{Boundary::kHost,                    \
            Kind::kCallback,                    \
            slot,                               \
            #name,                              \
            arguments,                          \
            printerOf(&ITradeSessionSpi::name), \
            nullptr,                            \
            &invokeOn<&ITradeSessionSpi::name>},
#define KS_VENDOR_REQUEST(slot, name, arguments) \
  Operation{Boundary::kVendor,                   \
            Kind::kRequest,                      \
            slot,                                \
            #name,                               \
            arguments,                           \
            printerOf(&xti::XtTraderApi::name),  \
            nullptr,                             \
            nullptr},
#define KS_VENDOR_CALLBACK(slot, name, arguments)       \
  Operation{Boundary::kVendor,                          \
            Kind::kCallback,                            \
            slot,                                       \
            #name,                                      \
            arguments,                                  \
            printerOf(&xti::XtTraderApiCallback::name), \
            nullptr,                                    \
            nullptr},

const Operation kOperations[] = {
    KS_JOURNAL_HOST_REQUESTS(KS_HOST_REQUEST)        //
    KS_JOURNAL_HOST_EVENTS(KS_HOST_EVENT)            //
    KS_JOURNAL_VENDOR_REQUESTS(KS_VENDOR_REQUEST)    //
    KS_JOURNAL_VENDOR_CALLBACKS(KS_VENDOR_CALLBACK)  //
    // What has no slot of its own.
    Operation{Boundary::kHost, Kind::kRequest, op::kDestroySession, "destroy", "",
              &printArguments<>, &printArguments<>, nullptr},
    Operation{Boundary::kHost, Kind::kRequest, op::kCreateTradeSession, "CreateTradeSession",
              "created", &printArguments<bool>, nullptr, nullptr},
    Operation{Boundary::kHost, Kind::kRequest, op::kGetPluginInfo, "GetPluginInfo", "",
              &printArguments<>, &printAnswer<const char*>, nullptr},
    Operation{Boundary::kVendor, Kind::kRequest, op::kDestroyApi, "destroy", "", &printArguments<>,
              nullptr, nullptr},
    Operation{Boundary::kVendor, Kind::kRequest, op::kCreateApi, "createXtTraderApi",
              "address created", &printArguments<const char*, bool>, nullptr, nullptr},
    Operation{Boundary::kVendor, Kind::kRequest, op::kJoinAll, "joinAll", "", &printArguments<>,
              nullptr, nullptr},
    Operation{Boundary::kJournal, Kind::kGap, 0, "(entries dropped: queue full)", "dropped",
              &printArguments<int64_t>, nullptr, nullptr},
    Operation{Boundary::kJournal, Kind::kEnd, 0, "(journal closed)", "written dropped notWritten",
              &printArguments<int64_t, int64_t, int64_t>, nullptr, nullptr},
};
#undef KS_HOST_REQUEST
#undef KS_HOST_EVENT
#undef KS_VENDOR_REQUEST
#undef KS_VENDOR_CALLBACK

}  // namespace

std::vector<std::string> argumentNames(const char* names, std::size_t count) {
  std::vector<std::string> out;
  std::string name;
  for (const char* p = names;; ++p) {
    if (*p == ' ' || *p == '\0') {
      if (!name.empty()) out.push_back(name);
      name.clear();
      if (*p == '\0') break;
    } else {
      name += *p;
    }
  }
  out.resize(std::max(out.size(), count));
  return out;
}

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
  texts.host = entry.boundary == Boundary::kHost ||
               (entry.boundary == Boundary::kVendor && entry.operation == slot::vendor::init);
  ValueReader values(entry.values);
  Fields fields = print(values, entry.kind == Kind::kDone ? "threw" : operation->arguments, texts);
  if (!values.atEnd()) throw FormatError("values left over after " + operationName(entry));
  return fields;
}

}  // namespace journal
}  // namespace kestrel
