#include "report/day.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "plugin/common.h"
#include "recorder/journal/operations.h"

namespace kestrel {
namespace report {
namespace {

using journal::Arg;
using journal::Boundary;
using journal::FormatError;
using journal::Kind;
using journal::ValueReader;
namespace hostOp = journal::slot::host;
namespace event = journal::slot::event;
namespace vendorOp = journal::slot::vendor;
namespace callback = journal::slot::callback;

const StageInfo kStageInfo[kStages] = {
    {"plugin_in", "host request → vendor request (the plug-in, inbound)"},
    {"counter", "vendor request → its reply (the counter)"},
    {"plugin_out", "vendor callback → host event (the plug-in, outbound)"},
    {"host_handler", "host event → its return (the host's handler)"},
    {"callback_total", "vendor callback → its return (plug-in and host)"},
    {"to_accepted", "sendOrder → accepted"},
    {"to_filled", "sendOrder → filled"},
    {"to_cancelled", "cancelOrder → cancelled"},
};

const StageInfo kAnomalyInfo[kAnomalies] = {
    {"push_before_reply", "pushes before the reply (events under made-up ids)"},
    {"duplicate_push", "duplicate pushes"},
    {"callback_without_event", "vendor pushes that became no host event"},
    {"state_backwards", "an order's state going backwards"},
    {"no_final_state", "orders without a final state"},
    {"cancel_unanswered", "cancels never answered"},
    {"error_push", "error pushes"},
    {"reply_late", "replies held back or late"},
    {"reply_missing", "order and cancel requests without a reply"},
};

// Reads the arguments of `member` from an entry's values, whole.
template <typename C, typename R, typename... P>
std::tuple<Arg<P>...> readArgs(R (C::*)(P...), const Entry& e) {
  std::tuple<Arg<P>...> args;
  ValueReader values(e.values);
  std::apply([&](auto&... a) { (a.read(values), ...); }, args);
  if (!values.atEnd()) throw FormatError("values left over");
  return args;
}

std::string utf8(const std::string& gbk) { return CodeConvert::gbk_to_utf8(gbk); }

std::string fixedText(const char* field, std::size_t size) {
  return std::string(field, strnlen(field, size));
}
template <std::size_t N>
std::string fixedText(const char (&field)[N]) {
  return fixedText(field, N);
}

constexpr char kMadeUpPrefix[] = "123456@xt";

struct Key {
  uint32_t object;
  int64_t number;
  bool operator==(const Key& o) const { return object == o.object && number == o.number; }
};
struct KeyHash {
  std::size_t operator()(const Key& k) const {
    return std::hash<int64_t>()(k.number) * 31 + k.object;
  }
};
template <typename V>
using KeyMap = std::unordered_map<Key, V, KeyHash>;

// A vendor request waiting for its reply.
struct Pending {
  uint64_t time = 0;
  uint64_t offset = 0;
  uint16_t operation = 0;
  uint64_t sequence = 0;  // the API object's requests in the order they were made
  int order = -1;
  int cancel = -1;
  bool replied = false;
  uint64_t replyTime = 0;
  uint64_t replyOffset = 0;
  // The first answer of any kind: its reply, its error push, a push of its
  // order (for a cancel, a push of the order after the cancel was made).
  uint64_t firstAnswer = UINT64_MAX;
  int pushesBeforeReply = 0;  // a cancel's
};

struct Cancel {
  int order = -1;
  uint32_t session = 0;
  int32_t hostRequest = 0;
  uint64_t sent = 0;
  uint64_t offset = 0;
  bool answered = false;
};

// A callback (vendor) or host event open on its thread.
struct Open {
  Boundary boundary;
  uint16_t operation;
  uint64_t time;
  uint64_t offset;
  int order = -1;      // the order it concerns, once known
  Key orphan{0, 0};    // a push of an order not yet known: its API object and number
  int hostEvents = 0;  // host events made inside it
  bool push = false;   // an order or deal push
  uint32_t api = 0;    // a vendor callback's API object
};

struct Thread {
  std::vector<Open> open;
  // The host request running on this thread.
  bool inRequest = false;
  uint16_t request = 0;
  uint32_t session = 0;
  uint64_t requestTime = 0;
  bool askedVendor = false;
  int order = -1;
  int cancel = -1;
};

bool isReply(uint16_t op) {
  return op == callback::onOrderReply || op == callback::onCancelReply ||
         op == callback::onCancelReply2 || op == callback::onUserLogin ||
         op == callback::onUserLogout || op == callback::onAccountDetailReply ||
         op == callback::onOrderDetailReply || op == callback::onDealDetailReply ||
         op == callback::onPositionDetailReply || op == callback::onPositionReply;
}

bool isOrderOrCancelRequest(uint16_t op) {
  return op == vendorOp::placeOrder || op == vendorOp::cancelOrderById ||
         op == vendorOp::cancelOrderByExchangeId;
}

}  // namespace

const StageInfo& stageInfo(int stage) { return kStageInfo[stage]; }
const StageInfo& anomalyInfo(int anomaly) { return kAnomalyInfo[anomaly]; }

const char* outcomeKey(Outcome outcome) {
  switch (outcome) {
    case Outcome::kOpen:
      return "open";
    case Outcome::kPartlyFilled:
      return "partly_filled";
    case Outcome::kFilled:
      return "filled";
    case Outcome::kCancelled:
      return "cancelled";
    case Outcome::kRefusedByPlugin:
      return "refused_by_plugin";
    case Outcome::kRefusedByCounter:
      return "refused_by_counter";
    case Outcome::kRefusedByExchange:
      return "refused_by_exchange";
  }
  return "open";
}

bool isFinal(Outcome outcome) {
  return outcome != Outcome::kOpen && outcome != Outcome::kPartlyFilled;
}

class DayBuilder::State {
 public:
  State(Day& day, const Options& options) : day_(day), options_(options) {}

  void add(const Entry& e) {
    day_.duration = std::max(day_.duration, e.time);
    ++day_.entries;
    try {
      dispatch(e);
    } catch (const FormatError& error) {
      if (day_.malformed.size() < kShownMalformed) {
        day_.malformed.push_back("entry at offset " + std::to_string(e.offset) + " (" +
                                 journal::operationName(e) + "): " + error.what());
      }
      ++malformed_;
    } catch (const std::out_of_range& error) {  // a record's field count that does not fit
      ++malformed_;
      if (day_.malformed.size() < kShownMalformed) {
        day_.malformed.push_back("entry at offset " + std::to_string(e.offset) + ": " +
                                 error.what());
      }
    }
  }

  void finish() {
    for (auto& [id, thread] : threads_) {
      while (!thread.open.empty()) close(thread, kNoTime);
    }
    tieUnclaimedPushes();
    replyAnomalies();
    for (const Cancel& c : cancels_) {
      if (!c.answered) {
        anomaly(kCancelUnanswered, c.order, c.offset,
                "cancelOrder req=" + std::to_string(c.hostRequest) + " got no answer");
      }
    }
    for (std::size_t i = 0; i < day_.orders.size(); ++i) {
      Order& o = day_.orders[i];
      if (!isFinal(o.outcome)) {
        anomaly(kNoFinalState, static_cast<int>(i), o.entries.empty() ? 0 : o.entries.back(),
                std::string("last state: ") + outcomeKey(o.outcome));
      }
    }
    std::sort(handlers_.begin(), handlers_.end(),
              [](const Handler& a, const Handler& b) { return a.took > b.took; });
    if (handlers_.size() > options_.slowestHandlers) handlers_.resize(options_.slowestHandlers);
    day_.slowestHandlers = std::move(handlers_);
    if (malformed_ > day_.malformed.size()) {
      day_.malformed.push_back("... " + std::to_string(malformed_ - day_.malformed.size()) +
                               " more");
    }
  }

 private:
  static constexpr std::size_t kShownMalformed = 20;

  // Reads the arguments of `member` from the entry, whole: the entry's values
  // are then checked.
  template <typename M>
  auto args(M member, const Entry& e) {
    auto read = readArgs(member, e);
    decoded_ = true;
    return read;
  }

  void dispatch(const Entry& e) {
    decoded_ = false;
    route(e);
    // What the report does not read of an entry is still checked: a journal
    // whose values are not its operations' is named, entry by entry.
    if (!decoded_) {
      journal::PrintContext context;
      journal::entryFields(e, context);
    }
  }

  void route(const Entry& e) {
    Thread& thread = threads_[e.thread];
    switch (e.kind) {
      case Kind::kRequest:
        return e.boundary == Boundary::kHost ? hostRequest(thread, e) : vendorRequest(thread, e);
      case Kind::kReturn:
        return hostAnswer(thread, e);
      case Kind::kCallback:
        return e.boundary == Boundary::kHost ? hostEvent(thread, e) : vendorCallback(thread, e);
      case Kind::kDone:
        return done(thread, e);
      case Kind::kGap: {
        ValueReader values(e.values);
        const int64_t lost = values.int64();
        decoded_ = values.atEnd();
        day_.dropped += static_cast<uint64_t>(std::max<int64_t>(lost, 0));
        day_.gaps.emplace_back(e.offset, lost);
        return;
      }
      case Kind::kEnd:
        day_.closed = true;
        return;
    }
    throw FormatError("unknown entry kind " + std::to_string(static_cast<int>(e.kind)));
  }

  // The order and cancel requests' replies: missing, late, or overtaken by
  // an answer of any request made after them (a counter that keeps order
  // answers its requests in the order they were made).
  void replyAnomalies() {
    std::vector<std::pair<Key, const Pending*>> requests;
    for (const KeyMap<Pending>* map : {&pending_, &otherPending_}) {
      for (const auto& [key, p] : *map) requests.emplace_back(key, &p);
    }
    std::sort(requests.begin(), requests.end(), [](const auto& a, const auto& b) {
      return a.first.object != b.first.object ? a.first.object < b.first.object
                                              : a.second->sequence > b.second->sequence;
    });
    uint32_t api = 0;
    uint64_t laterAnswer = UINT64_MAX;  // the first answer of the requests made after this one
    std::vector<std::pair<uint64_t, AnomalyCase>> found;  // by the request's offset
    for (const auto& [key, p] : requests) {
      if (key.object != api) laterAnswer = UINT64_MAX;
      api = key.object;
      const auto number = static_cast<int32_t>(key.number);
      if (!isOrderOrCancelRequest(p->operation)) {
        laterAnswer = std::min(laterAnswer, p->firstAnswer);
        continue;
      }
      const std::string name =
          std::string(
              journal::findOperation(Boundary::kVendor, Kind::kRequest, p->operation)->name) +
          " req=" + std::to_string(number);
      if (!p->replied) {
        anomaly(kReplyMissing, p->order, p->offset, name + " got no reply", number);
      } else {
        const bool overtaken = laterAnswer < p->replyOffset;
        const uint64_t took = p->replyTime - p->time;
        const bool late = took >= options_.lateNs;
        if (overtaken || late) {
          std::string detail = name + ": its reply came";
          if (overtaken) detail += " after an answer to a later request";
          if (overtaken && late) detail += " and";
          if (late) detail += " " + std::to_string(took / 1000000) + " ms after the request";
          anomaly(kReplyLate, p->order, p->replyOffset, detail, number);
        }
        if (p->pushesBeforeReply > 0) {
          anomaly(kPushBeforeReply, p->order, p->replyOffset,
                  name + ": " + std::to_string(p->pushesBeforeReply) +
                      " pushes of the order came before the cancel's reply",
                  number);
        }
      }
      laterAnswer = std::min(laterAnswer, p->firstAnswer);
    }
  }

  // --- Bookkeeping -------------------------------------------------------------

  void anomaly(int kind, int order, uint64_t offset, std::string detail, int32_t request = 0) {
    day_.anomalies[kind].push_back(AnomalyCase{order, offset, std::move(detail), request});
    if (order >= 0) ++day_.orders[order].anomalies[kind];
  }

  void sample(int stage, int order, uint64_t at, uint64_t from, uint64_t to) {
    if (from == kNoTime || to == kNoTime || to < from) return;
    day_.samples[stage].push_back(Sample{at, to - from});
    if (order >= 0 && day_.orders[order].stage[stage] == kNoTime) {
      day_.orders[order].stage[stage] = to - from;
    }
  }

  void touch(int order, const Entry& e) {
    if (order >= 0) day_.orders[order].entries.push_back(e.offset);
  }

  Session& session(uint32_t object) {
    auto found = sessionIndex_.find(object);
    if (found == sessionIndex_.end()) {
      found = sessionIndex_.emplace(object, day_.sessions.size()).first;
      day_.sessions.emplace_back();
      day_.sessions.back().object = object;
    }
    return day_.sessions[found->second];
  }

  // The order an order event of session `object` names by its host id.
  int orderByClientId(uint32_t object, const ClientId& id) {
    if (id.prefix == kMadeUpPrefix) {
      const auto api = sessionApi_.find(object);
      if (api == sessionApi_.end()) return -1;
      const auto found = byVendorOrder_.find(Key{api->second, std::atoll(id.serial.c_str())});
      return found == byVendorOrder_.end() ? -1 : found->second;
    }
    const auto found = byClientId_.find(std::to_string(object) + "/" + id.prefix + "@" + id.serial);
    return found == byClientId_.end() ? -1 : found->second;
  }

  // --- Host requests and answers ------------------------------------------------

  void hostRequest(Thread& thread, const Entry& e) {
    thread.inRequest = true;
    thread.request = e.operation;
    thread.session = e.object;
    thread.requestTime = e.time;
    thread.askedVendor = false;
    thread.order = thread.cancel = -1;
    switch (e.operation) {
      case journal::op::kCreateTradeSession:
        session(e.object).created = e.time;
        return;
      case hostOp::connect:
      case hostOp::easyConnect:
        session(e.object).connectSent = e.time;
        return;
      case hostOp::login:
        session(e.object).loginSent = e.time;
        return;
      case hostOp::sendOrder: {
        auto [requestId, request] = args(&ITradeSession::sendOrder, e);
        const AccountOrderNewRequest& r = request.get();
        Order o;
        o.session = e.object;
        o.hostRequest = requestId.get();
        o.clientId = r.clientId.prefix + "@" + r.clientId.serial;
        o.instrument = r.codeId.code;
        o.direction = r.direction;
        o.offset = r.offsetFlag;
        o.volume = r.quantity;
        o.price = r.priceType == 2 ? 0 : r.price;
        o.sent = e.time;
        o.entries.push_back(e.offset);
        thread.order = static_cast<int>(day_.orders.size());
        byClientId_[std::to_string(e.object) + "/" + o.clientId] = thread.order;
        byHostRequest_[Key{e.object, o.hostRequest}] = thread.order;
        day_.orders.push_back(std::move(o));
        return;
      }
      case hostOp::cancelOrder: {
        auto [requestId, request] = args(&ITradeSession::cancelOrder, e);
        const AccountOrderCancelRequest& r = request.get();
        Cancel c;
        c.session = e.object;
        c.hostRequest = requestId.get();
        c.sent = e.time;
        c.offset = e.offset;
        const auto api = sessionApi_.find(e.object);
        if (!r.exchangeOrderId.empty() && api != sessionApi_.end()) {
          const auto found =
              byExchangeId_.find(std::to_string(api->second) + "/" + r.exchangeOrderId);
          if (found != byExchangeId_.end()) c.order = found->second;
        }
        if (c.order < 0) c.order = orderByClientId(e.object, r.clientId);
        if (c.order < 0 && api != sessionApi_.end()) {
          const auto found =
              byVendorOrder_.find(Key{api->second, std::atoll(r.clientId.serial.c_str())});
          if (found != byVendorOrder_.end()) c.order = found->second;
        }
        thread.cancel = static_cast<int>(cancels_.size());
        thread.order = c.order;
        if (c.order >= 0 && day_.orders[c.order].cancelSent == kNoTime) {
          day_.orders[c.order].cancelSent = e.time;
        }
        touch(c.order, e);
        cancels_.push_back(c);
        cancelByHostRequest_[Key{e.object, c.hostRequest}] = thread.cancel;
        return;
      }
      case hostOp::release:
        session(e.object).released = e.time;
        return;
      default:
        return;
    }
  }

  void hostAnswer(Thread& thread, const Entry& e) {
    const bool mine = thread.inRequest && thread.request == e.operation;
    const int order = mine ? thread.order : -1;
    const int cancel = mine ? thread.cancel : -1;
    thread.inRequest = false;
    // Requests answer a ResultStatus first (code, then message).
    ValueReader values(e.values);
    if (values.atEnd()) return;
    int32_t code = 0;
    std::string message;
    try {
      code = values.int32();
      message = values.text();
    } catch (const FormatError&) {
      return;  // an answer that is no status (getTypeCode, GetPluginInfo)
    }
    touch(order, e);
    if (code == 0) return;
    const std::string name = journal::operationName(e);
    auto& counted = day_.refusedAnswers[{name, code}];
    if (counted.first++ == 0) counted.second = utf8(message);
    if (e.operation == hostOp::sendOrder && order >= 0) {
      Order& o = day_.orders[order];
      o.answerCode = code;
      o.outcome = Outcome::kRefusedByPlugin;
      o.refusal = utf8(message);
    }
    if (e.operation == hostOp::cancelOrder && cancel >= 0) cancels_[cancel].answered = true;
  }

  // --- Vendor requests -------------------------------------------------------------

  void vendorRequest(Thread& thread, const Entry& e) {
    int order = -1;
    int cancel = -1;
    if (thread.inRequest) {
      // release() waits for the vendor's threads on purpose before it shuts
      // the API down: that wait is not the plug-in's way in.
      if (!thread.askedVendor && thread.request != hostOp::release) {
        sample(kPluginIn, thread.order, e.time, thread.requestTime, e.time);
      }
      thread.askedVendor = true;
      order = thread.order;
      cancel = thread.cancel;
      if (order >= 0) sessionApi_[thread.session] = e.object;
    }
    switch (e.operation) {
      case vendorOp::placeOrder: {
        auto [record, requestId, extra] = args(&xti::XtTraderApi::placeOrder, e);
        (void)extra;
        if (order >= 0 && record.get() != nullptr) {
          Order& o = day_.orders[order];
          o.api = e.object;
          o.vendorRequest = requestId.get();
          o.instrument =
              fixedText(record.get()->m_strInstrument) + "." + fixedText(record.get()->m_strMarket);
          byVendorRequest_[Key{e.object, o.vendorRequest}] = order;
        }
        break;
      }
      case vendorOp::cancelOrderById: {
        auto [orderId, requestId] = args(&xti::XtTraderApi::cancelOrderById, e);
        (void)requestId;
        const auto found = byVendorOrder_.find(Key{e.object, orderId.get()});
        if (found != byVendorOrder_.end()) order = found->second;
        break;
      }
      case vendorOp::cancelOrderByExchangeId: {
        auto read = args(&xti::XtTraderApi::cancelOrderByExchangeId, e);
        const char* exchangeId = std::get<1>(read).get();
        if (exchangeId != nullptr) {
          const auto found = byExchangeId_.find(std::to_string(e.object) + "/" + exchangeId);
          if (found != byExchangeId_.end()) order = found->second;
        }
        break;
      }
      case vendorOp::shutdown:
        endCallbacksOf(e.object);
        break;
      default:
        break;
    }
    if (cancel >= 0 && cancels_[cancel].order < 0 && order >= 0) {
      cancels_[cancel].order = order;
      if (day_.orders[order].cancelSent == kNoTime)
        day_.orders[order].cancelSent = thread.requestTime;
    }
    touch(order, e);
    if (e.request != 0 || e.operation == vendorOp::placeOrder) {
      Pending p;
      p.time = e.time;
      p.offset = e.offset;
      p.operation = e.operation;
      p.sequence = ++requests_[e.object];
      p.order = order;
      p.cancel = cancel;
      // Order and cancel requests apart: the plug-in numbers its logins and
      // logouts on their own.
      (isOrderOrCancelRequest(e.operation) ? pending_ : otherPending_)[Key{e.object, e.request}] =
          p;
      if (order >= 0 && e.operation == vendorOp::placeOrder) {
        orderRequest_[order] = Key{e.object, e.request};
      } else if (order >= 0 && isOrderOrCancelRequest(e.operation)) {
        openCancel_[order] = Key{e.object, e.request};
      }
    }
  }

  // --- Vendor callbacks --------------------------------------------------------------

  // The reply to the vendor request `requestId` of API object `api`: its
  // pending entry (null when none is known), marked replied.
  Pending* replyTo(const Entry& e, int32_t requestId, bool countsAsReply,
                   KeyMap<Pending>* requests = nullptr) {
    if (requests == nullptr) requests = &pending_;
    const auto found = requests->find(Key{e.object, requestId});
    if (found == requests->end()) return nullptr;
    Pending& p = found->second;
    p.firstAnswer = std::min(p.firstAnswer, e.offset);
    if (countsAsReply && !p.replied) {
      sample(kCounter, p.order, e.time, p.time, e.time);
      p.replied = true;
      p.replyTime = e.time;
      p.replyOffset = e.offset;
      if (p.order >= 0 && p.cancel >= 0) openCancel_.erase(p.order);
    }
    return &p;
  }

  // A push of order `order` at `at`: an answer to the order's request, and to
  // its cancel while that waits for its reply.
  void pushed(int order, const Entry& at) {
    const auto request = orderRequest_.find(order);
    if (request != orderRequest_.end()) {
      Pending& p = pending_[request->second];
      p.firstAnswer = std::min(p.firstAnswer, at.offset);
    }
    const auto cancel = openCancel_.find(order);
    if (cancel != openCancel_.end()) {
      Pending& p = pending_[cancel->second];
      p.firstAnswer = std::min(p.firstAnswer, at.offset);
      ++p.pushesBeforeReply;
    }
  }

  void vendorCallback(Thread& thread, const Entry& e) {
    if (day_.version < 2) {
      // Version 1 has no returns: a callback lasts until the next one of its thread.
      while (!thread.open.empty()) close(thread, kNoTime);
    }
    ++day_.vendorCallbacks[journal::operationName(e)];
    Open open{Boundary::kVendor, e.operation, e.time, e.offset};
    open.api = e.object;
    switch (e.operation) {
      case callback::onConnected: {
        auto [success, message] = args(&xti::XtTraderApiCallback::onConnected, e);
        if (!success.get()) {
          day_.disconnections.push_back(
              Disconnection{e.time, e.offset, e.object, false, 0,
                            message.get() != nullptr ? journal::utf8Text(message.get()) : ""});
        }
        break;
      }
      case callback::onOrderReply: {
        auto [requestId, orderId, remark, error] = args(&xti::XtTraderApiCallback::onOrderReply, e);
        (void)remark;
        Pending* p = replyTo(e, requestId.get(), true);
        open.order = p != nullptr ? p->order : -1;
        if (open.order >= 0) {
          Order& o = day_.orders[open.order];
          if (error.id != 0) {
            refuse(o, Outcome::kRefusedByCounter, error.message.get());
          } else if (orderId.get() > 0) {
            o.vendorOrderId = orderId.get();
            byVendorOrder_[Key{e.object, o.vendorOrderId}] = open.order;
            claimOrphans(Key{e.object, o.vendorOrderId}, open.order);
          }
        }
        break;
      }
      case callback::onCancelReply:
      case callback::onCancelReply2: {
        auto [requestId, error] = args(&xti::XtTraderApiCallback::onCancelReply, e);
        (void)error;
        Pending* p = replyTo(e, requestId.get(), true);
        if (p != nullptr && p->cancel >= 0) cancels_[p->cancel].answered = true;
        open.order = p != nullptr ? p->order : -1;
        break;
      }
      case callback::onOrderPush: {
        auto [record] = args(&xti::XtTraderApiCallback::onOrderPush, e);
        const xti::VendorOrder* r = record.get();
        if (r == nullptr) break;
        open.push = true;
        const int status = r->m_nOrderStatus;
        const std::string exchangeId = fixedText(r->m_strOrderSysID);
        const std::string text = journal::utf8Text(fixedText(r->m_strErrorMsg));
        const std::string bytes = e.values;
        routePush(open, e, r->m_nOrderID,
                  [this, status, exchangeId, text, bytes](int order, const Entry& at) {
                    pushed(order, at);
                    Order& o = day_.orders[order];
                    duplicate(order, bytes, at);
                    if (!exchangeId.empty() && o.exchangeOrderId.empty()) {
                      o.exchangeOrderId = exchangeId;
                      byExchangeId_[std::to_string(o.api) + "/" + exchangeId] = order;
                    }
                    if (status == xti::ORDER_ALL_TRADED_CHAR) {
                      reach(o, Outcome::kFilled);
                    } else if (status == xti::ORDER_PART_TRADED_QUEUEING_CHAR) {
                      reach(o, Outcome::kPartlyFilled);
                    } else if (status == xti::ORDER_CANCELED_CHAR) {
                      reach(o, Outcome::kCancelled);
                    } else if (status == xti::ORDER_REJECTED_CHAR) {
                      refuse(o, Outcome::kRefusedByExchange, text.c_str());
                    }
                  });
        break;
      }
      case callback::onDealPush: {
        auto [record] = args(&xti::XtTraderApiCallback::onDealPush, e);
        const xti::VendorDeal* r = record.get();
        if (r == nullptr) break;
        open.push = true;
        const int volume = r->m_nVolume;
        const std::string bytes = e.values;
        routePush(open, e, r->m_nOrderID, [this, volume, bytes](int order, const Entry& at) {
          pushed(order, at);
          if (!duplicate(order, bytes, at)) day_.orders[order].filled += volume;
        });
        break;
      }
      case callback::onOrderErrorPush:
      case callback::onCancelErrorPush: {
        auto [record] = args(&xti::XtTraderApiCallback::onOrderErrorPush, e);
        const xti::VendorOrderError* r = record.get();
        if (r == nullptr) break;
        const bool cancelPush = e.operation == callback::onCancelErrorPush;
        Pending* p = replyTo(e, r->m_nRequestID, false);
        open.order = p != nullptr ? p->order : -1;
        const std::string text = journal::utf8Text(fixedText(r->m_strErrorMsg));
        if (!cancelPush && open.order >= 0) {
          refuse(day_.orders[open.order], Outcome::kRefusedByCounter, text.c_str());
        }
        if (cancelPush && p != nullptr && p->cancel >= 0) cancels_[p->cancel].answered = true;
        // The same error push again: a duplicate, not another refusal.
        const std::string seen = std::to_string(e.object) + "/" + e.values;
        if (!errorPushes_.insert(std::hash<std::string>()(seen)).second) {
          anomaly(kDuplicatePush, open.order, e.offset,
                  journal::operationName(e) + " req=" + std::to_string(r->m_nRequestID) +
                      ": the same error push again",
                  r->m_nRequestID);
          break;
        }
        anomaly(kErrorPush, open.order, e.offset,
                journal::operationName(e) + " req=" + std::to_string(r->m_nRequestID) + " " +
                    std::to_string(r->m_nErrorID) + " " + text,
                r->m_nRequestID);
        break;
      }
      default:
        if (isReply(e.operation)) replyTo(e, e.request, true, &otherPending_);
        break;
    }
    touch(open.order, e);
    thread.open.push_back(open);
  }

  // A push of vendor order `orderId`: applied to its order now, or, when the
  // order's reply has not come yet, once it comes.
  template <typename Apply>
  void routePush(Open& open, const Entry& e, int orderId, Apply apply) {
    const Key key{e.object, orderId};
    const auto found = byVendorOrder_.find(key);
    if (found != byVendorOrder_.end()) {
      open.order = found->second;
      apply(open.order, e);
      return;
    }
    open.orphan = key;
    Entry at;
    at.offset = e.offset;
    at.time = e.time;
    orphanOffsets_.emplace(key, e.offset);
    orphans_[key].push_back([this, apply, at](int order) {
      day_.orders[order].entries.push_back(at.offset);
      apply(order, at);
    });
  }

  // Pushes whose order's reply never came (the connection dropped, the day
  // ended): the counter numbers its orders in the order it takes them, so
  // the unanswered order requests of an API object, in the order they were
  // made, take the unclaimed vendor order numbers in increasing order; each
  // request only numbers whose first push came after it was made.
  void tieUnclaimedPushes() {
    std::map<uint32_t, std::vector<int64_t>> numbers;  // API object -> unclaimed order numbers
    for (const auto& [key, applies] : orphans_) numbers[key.object].push_back(key.number);
    for (auto& [api, list] : numbers) {
      std::sort(list.begin(), list.end());
      std::vector<std::pair<uint64_t, int>> waiting;  // sequence, order
      for (const auto& [key, p] : pending_) {
        // Requests that got no answer at all (an error push refused some).
        if (key.object == api && p.operation == vendorOp::placeOrder && !p.replied &&
            p.firstAnswer == UINT64_MAX && p.order >= 0) {
          waiting.emplace_back(p.sequence, p.order);
        }
      }
      std::sort(waiting.begin(), waiting.end());
      std::size_t next = 0;
      for (int64_t number : list) {
        const Key key{api, number};
        if (next == waiting.size()) break;
        if (pending_[orderRequest_[waiting[next].second]].offset > orphanOffsets_[key]) continue;
        const int order = waiting[next++].second;
        day_.orders[order].vendorOrderId = static_cast<int32_t>(number);
        claimOrphans(key, order);
      }
    }
  }

  void claimOrphans(const Key& key, int order) {
    const auto found = orphans_.find(key);
    if (found == orphans_.end()) return;
    anomaly(kPushBeforeReply, order, orphanOffsets_[key],
            std::to_string(found->second.size()) + " callbacks before the reply of vendor order " +
                std::to_string(key.number),
            day_.orders[order].vendorRequest);
    for (auto& apply : found->second) apply(order);
    orphans_.erase(found);
    orphanOffsets_.erase(key);
  }

  // True when the push is the same as an earlier one of the order.
  bool duplicate(int order, const std::string& bytes, const Entry& at) {
    const bool seen = !pushes_[order].insert(std::hash<std::string>()(bytes)).second;
    if (seen) anomaly(kDuplicatePush, order, at.offset, "the same push again");
    return seen;
  }

  void refuse(Order& o, Outcome how, const char* text) {
    if (isFinal(o.outcome) && o.outcome != Outcome::kRefusedByExchange) return;
    if (o.outcome == Outcome::kRefusedByExchange && how != Outcome::kRefusedByCounter) return;
    o.outcome = how;
    if (text != nullptr && o.refusal.empty()) o.refusal = text;
  }

  void reach(Order& o, Outcome outcome) {
    if (isFinal(o.outcome)) return;
    o.outcome = outcome;
  }

  // --- Host events ------------------------------------------------------------------

  void hostEvent(Thread& thread, const Entry& e) {
    ++day_.hostEvents[journal::operationName(e)];
    Open* outer = nullptr;
    for (auto it = thread.open.rbegin(); it != thread.open.rend(); ++it) {
      if (it->boundary == Boundary::kVendor) {
        outer = &*it;
        break;
      }
    }
    if (outer != nullptr) {
      ++outer->hostEvents;
      sample(kPluginOut, outer->order, e.time, outer->time, e.time);
    }
    int order = outer != nullptr ? outer->order : -1;
    // A push of an order whose reply has not come: its events wait with it.
    const bool orphanOuter = outer != nullptr && outer->orphan.object != 0 && order < 0;
    std::function<void(int, const Entry&)> apply;
    switch (e.operation) {
      case event::onConnected: {
        auto [status] = args(&ITradeSessionSpi::onConnected, e);
        Session& s = session(e.object);
        if (s.connected == kNoTime) {
          s.connected = e.time;
          s.connectCode = status.get().code;
        }
        break;
      }
      case event::onLogin: {
        auto [status, reply] = args(&ITradeSessionSpi::onLogin, e);
        (void)reply;
        Session& s = session(e.object);
        if (s.loggedIn == kNoTime) {
          s.loggedIn = e.time;
          s.loginCode = status.get().code;
        }
        break;
      }
      case event::onDisconnected: {
        auto [status] = args(&ITradeSessionSpi::onDisconnected, e);
        day_.disconnections.push_back(Disconnection{e.time, e.offset, e.object, true,
                                                    status.get().code, utf8(status.get().message)});
        break;
      }
      case event::onOrderAccepted: {
        auto [record, status, requestId, isLast] = args(&ITradeSessionSpi::onOrderAccepted, e);
        (void)status, (void)requestId, (void)isLast;
        if (record.get() == nullptr) break;
        if (order < 0 && !orphanOuter) order = orderByClientId(e.object, record.get()->clientId);
        apply = [this](int o, const Entry& at) {
          Order& x = day_.orders[o];
          if (x.accepted == kNoTime) {
            x.accepted = at.time;
            sample(kToAccepted, o, at.time, x.sent, at.time);
          }
          advance(o, 1, at);
        };
        break;
      }
      case event::onOrderFilled: {
        auto [record, status, requestId, isLast] = args(&ITradeSessionSpi::onOrderFilled, e);
        (void)status, (void)requestId, (void)isLast;
        if (record.get() == nullptr) break;
        if (order < 0 && !orphanOuter) order = orderByClientId(e.object, record.get()->clientId);
        const bool whole = utf8(record.get()->statusMessage).find("全部成交") != std::string::npos;
        apply = [this, whole](int o, const Entry& at) {
          Order& x = day_.orders[o];
          if (whole && x.completed == kNoTime) {
            x.completed = at.time;
            sample(kToFilled, o, at.time, x.sent, at.time);
          }
          reach(x, whole ? Outcome::kFilled : Outcome::kPartlyFilled);
          advance(o, whole ? 3 : 2, at);
        };
        break;
      }
      case event::onOrderCanceled: {
        auto [record, status, requestId, isLast] = args(&ITradeSessionSpi::onOrderCanceled, e);
        (void)isLast;
        const int code = status.get().code;
        if (order < 0 && requestId.get() >= 0) {
          const auto found = cancelByHostRequest_.find(Key{e.object, requestId.get()});
          if (found != cancelByHostRequest_.end()) {
            cancels_[found->second].answered = true;
            order = cancels_[found->second].order;
          }
        }
        if (order < 0 && !orphanOuter && record.get() != nullptr) {
          order = orderByClientId(e.object, record.get()->clientId);
        }
        apply = [this, code](int o, const Entry& at) {
          Order& x = day_.orders[o];
          for (Cancel& c : cancels_) {
            if (c.order == o && c.sent <= at.time) c.answered = true;
          }
          if (code != 0) return;  // the cancel refused: the order goes on
          if (x.cancelled == kNoTime) {
            x.cancelled = at.time;
            sample(kToCancelled, o, at.time, x.cancelSent, at.time);
          }
          reach(x, Outcome::kCancelled);
          advance(o, 3, at);
        };
        break;
      }
      case event::onOrderRejected: {
        auto [record, status, requestId, isLast] = args(&ITradeSessionSpi::onOrderRejected, e);
        (void)isLast;
        const int code = status.get().code;
        if (order < 0 && requestId.get() >= 0) {
          const auto found = byHostRequest_.find(Key{e.object, requestId.get()});
          if (found != byHostRequest_.end()) order = found->second;
        }
        if (order < 0 && !orphanOuter && record.get() != nullptr) {
          order = orderByClientId(e.object, record.get()->clientId);
        }
        const std::string text = code != 0                 ? utf8(status.get().message)
                                 : record.get() != nullptr ? utf8(record.get()->statusMessage)
                                                           : std::string();
        apply = [this, code, text](int o, const Entry& at) {
          refuse(day_.orders[o],
                 code != 0 ? Outcome::kRefusedByCounter : Outcome::kRefusedByExchange,
                 text.c_str());
          advance(o, 3, at);
        };
        break;
      }
      case event::onFill: {
        auto [record, status, requestId, isLast] = args(&ITradeSessionSpi::onFill, e);
        (void)status, (void)requestId, (void)isLast;
        if (record.get() == nullptr) break;
        if (order < 0 && !orphanOuter) order = orderByClientId(e.object, record.get()->clientId);
        apply = [](int, const Entry&) {};
        break;
      }
      default:
        break;
    }
    if (apply) {
      if (order >= 0) {
        touch(order, e);
        apply(order, e);
      } else if (orphanOuter) {
        Entry at;
        at.offset = e.offset;
        at.time = e.time;
        orphans_[outer->orphan].push_back([this, apply, at](int o) {
          day_.orders[o].entries.push_back(at.offset);
          apply(o, at);
        });
      }
    }
    if (day_.version >= 2) {
      Open open{Boundary::kHost, e.operation, e.time, e.offset};
      open.order = order;
      thread.open.push_back(open);
    }
  }

  // The order's host state reaches `rank`; an earlier one after a later one
  // goes backwards.
  void advance(int order, int rank, const Entry& at) {
    Order& o = day_.orders[order];
    if (rank < o.rank) {
      anomaly(kStateBackwards, order, at.offset,
              std::string(rank == 1 ? "accepted" : "partly filled") + " after " +
                  (o.rank == 3 ? "a final state" : "partly filled"));
    }
    o.rank = std::max(o.rank, rank);
  }

  // --- Returns ------------------------------------------------------------------------

  void done(Thread& thread, const Entry& e) {
    ValueReader values(e.values);
    values.boolean();
    decoded_ = values.atEnd();
    // Closes the innermost open callback of the thread with the same
    // boundary and operation, and whatever opened inside it since.
    for (std::size_t i = thread.open.size(); i-- > 0;) {
      const Open& o = thread.open[i];
      if (o.boundary != e.boundary || o.operation != e.operation) continue;
      while (thread.open.size() > i + 1) close(thread, kNoTime);
      const int order = thread.open.back().order;
      touch(order, e);
      close(thread, e.time);
      return;
    }
  }

  // Closes the innermost open callback at `time` (kNoTime: unknown).
  // Version 1 has no returns: a vendor callback counts as running until the
  // next one of its thread, or until its API is shut down (the vendor joins
  // its threads there), so that a later thread given the same identity (a
  // release's own thread telling onDisconnected) is not taken for it.
  void endCallbacksOf(uint32_t api) {
    if (day_.version >= 2) return;
    for (auto& [id, thread] : threads_) {
      (void)id;
      while (!thread.open.empty() && thread.open.back().boundary == Boundary::kVendor &&
             thread.open.back().api == api) {
        close(thread, kNoTime);
      }
    }
  }

  void close(Thread& thread, uint64_t time) {
    const Open o = thread.open.back();
    thread.open.pop_back();
    if (o.boundary == Boundary::kHost) {
      if (time == kNoTime) return;
      sample(kHostHandler, o.order, o.time, o.time, time);
      Handler h;
      h.took = time - o.time;
      h.offset = o.offset;
      const journal::Operation* op =
          journal::findOperation(Boundary::kHost, Kind::kCallback, o.operation);
      h.operation = op != nullptr ? op->name : "operation " + std::to_string(o.operation);
      h.order = o.order;
      keepSlowest(std::move(h));
      return;
    }
    if (time != kNoTime) sample(kCallbackTotal, o.order, o.time, o.time, time);
    if (o.push && o.hostEvents == 0) {
      if (o.order >= 0 || o.orphan.object == 0) {
        anomaly(kCallbackWithoutEvent, o.order, o.offset,
                std::string(o.operation == callback::onOrderPush ? "onOrderPush" : "onDealPush") +
                    " became no host event");
      } else {
        const uint64_t offset = o.offset;
        const uint16_t operation = o.operation;
        orphans_[o.orphan].push_back([this, offset, operation](int order) {
          anomaly(kCallbackWithoutEvent, order, offset,
                  std::string(operation == callback::onOrderPush ? "onOrderPush" : "onDealPush") +
                      " became no host event");
        });
      }
    }
  }

  void keepSlowest(Handler h) {
    if (handlers_.size() >= options_.slowestHandlers * 64) {
      std::nth_element(handlers_.begin(), handlers_.begin() + options_.slowestHandlers,
                       handlers_.end(),
                       [](const Handler& a, const Handler& b) { return a.took > b.took; });
      handlers_.resize(options_.slowestHandlers);
    }
    handlers_.push_back(std::move(h));
  }

  Day& day_;
  const Options options_;
  std::size_t malformed_ = 0;
  bool decoded_ = false;  // the entry being read was read whole
  std::unordered_map<uint32_t, Thread> threads_;
  std::unordered_map<uint32_t, std::size_t> sessionIndex_;
  std::unordered_map<uint32_t, uint32_t> sessionApi_;  // session -> its API object
  std::unordered_map<std::string, int> byClientId_;    // "session/prefix@serial"
  std::unordered_map<std::string, int> byExchangeId_;  // "api/exchange order id"
  KeyMap<int> byHostRequest_;                          // (session, host request number)
  KeyMap<int> byVendorRequest_;                        // (API object, vendor request number)
  KeyMap<int> byVendorOrder_;                          // (API object, vendor order number)
  KeyMap<int> cancelByHostRequest_;
  KeyMap<Pending> pending_;       // order and cancel requests: (API object, request number)
  KeyMap<Pending> otherPending_;  // the other requests
  std::unordered_map<uint32_t, uint64_t> requests_;  // per API object
  std::unordered_map<int, Key> orderRequest_;        // order -> its placeOrder's pending key
  std::unordered_map<int, Key> openCancel_;          // order -> its cancel waiting for a reply
  KeyMap<std::vector<std::function<void(int)>>> orphans_;  // pushes waiting for their reply
  KeyMap<uint64_t> orphanOffsets_;                         // the first of them
  std::unordered_map<int, std::unordered_set<std::size_t>> pushes_;  // per order: seen pushes
  std::unordered_set<std::size_t> errorPushes_;                      // seen error pushes
  std::vector<Cancel> cancels_;
  std::vector<Handler> handlers_;
};

DayBuilder::DayBuilder(Day& day, const Options& options)
    : state_(std::make_unique<State>(day, options)) {}
DayBuilder::~DayBuilder() = default;
void DayBuilder::add(const Entry& entry) { state_->add(entry); }
void DayBuilder::finish() { state_->finish(); }

bool readDay(const std::string& path, const Options& options, Day& day, std::string& problem) {
  journal::JournalReader reader;
  if (!reader.openPath(path)) {
    problem = reader.problem();
    return false;
  }
  day.path = path;
  day.program = reader.program();
  day.processId = reader.processId();
  day.version = reader.version();
  day.startMicros = reader.startMicros();
  DayBuilder builder(day, options);
  for (Entry entry; reader.next(entry);) builder.add(entry);
  builder.finish();
  day.bytes = reader.position();
  day.cut = reader.problem();
  return true;
}

}  // namespace report
}  // namespace kestrel
