#include "host/demo/demo_session.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <utility>

#include "broker/config_variable.h"
#include "plugin/common.h"

namespace demo {
namespace {

constexpr char kClientPrefix[] = "demo";

int exchangeNumber(const std::string& code) {
  const auto& numbers = kestrel::gBaseInformationMap->exchangeNumbers;
  const auto found = numbers.find(code);
  return found == numbers.end() ? -1 : found->second.exchangeNumber;
}

// The exchange of a bare code, from the product letters China's exchanges use.
std::string exchangeOfProduct(const std::string& code) {
  if (!code.empty() && std::isdigit(static_cast<unsigned char>(code[0]))) {
    if (code.size() != 6) return "";
    if (code[0] == '6') return "SH";
    if (code[0] == '0' || code[0] == '3') return "SZ";
    if (code[0] == '4' || code[0] == '8') return "BJ";
    return "";
  }
  std::string product;
  for (char c : code) {
    if (!std::isalpha(static_cast<unsigned char>(c))) break;
    product += c;
  }
  static const std::map<std::string, std::string> kProducts = {
      {"rb", "SHFE"}, {"hc", "SHFE"},  {"cu", "SHFE"},  {"al", "SHFE"},  {"zn", "SHFE"},
      {"ni", "SHFE"}, {"au", "SHFE"},  {"ag", "SHFE"},  {"ru", "SHFE"},  {"bu", "SHFE"},
      {"m", "DCE"},   {"y", "DCE"},    {"p", "DCE"},    {"c", "DCE"},    {"i", "DCE"},
      {"j", "DCE"},   {"jm", "DCE"},   {"pp", "DCE"},   {"v", "DCE"},    {"eg", "DCE"},
      {"SR", "CZCE"}, {"CF", "CZCE"},  {"TA", "CZCE"},  {"MA", "CZCE"},  {"FG", "CZCE"},
      {"AP", "CZCE"}, {"IF", "CFFEX"}, {"IC", "CFFEX"}, {"IH", "CFFEX"}, {"IM", "CFFEX"},
      {"T", "CFFEX"}, {"TF", "CFFEX"}, {"sc", "INE"},   {"lu", "INE"},   {"nr", "INE"},
      {"si", "GFEX"}, {"lc", "GFEX"},
  };
  const auto found = kProducts.find(product);
  return found == kProducts.end() ? "" : found->second;
}

// The exchange codes of the host's base information, for refusals.
std::string knownExchanges() {
  std::string codes;
  for (const auto& entry : kestrel::gBaseInformationMap->exchangeNumbers) {
    codes += (codes.empty() ? "" : " ") + entry.first;
  }
  return codes;
}

}  // namespace

bool parseInstrument(const std::string& text, Instrument& out, std::string& error) {
  const std::size_t dot = text.find('.');
  const std::string code = text.substr(0, dot);
  if (code.empty()) {
    error = "'" + text + "' has no instrument code: write it as CODE.EXCHANGE (rb2410.SHFE)";
    return false;
  }
  const bool bare = dot == std::string::npos;
  const std::string exchange = bare ? exchangeOfProduct(code) : text.substr(dot + 1);
  const int number = exchangeNumber(exchange);
  if (bare && exchange.empty()) {
    error = "cannot tell the exchange of '" + text +
            "': write it as CODE.EXCHANGE (rb2410.SHFE), EXCHANGE one of " + knownExchanges();
    return false;
  }
  if (!bare && number < 0) {
    error = "unknown exchange '" + exchange + "' in '" + text +
            "' (the form CODE.EXCHANGE is right): EXCHANGE is one of " + knownExchanges();
    return false;
  }
  out = Instrument{code, number, exchange};
  return true;
}

kestrel::ITradeSession* configuredSession(const PluginLibrary& plugin, const Settings& settings,
                                          kestrel::ITradeSessionSpi& host) {
  kestrel::ITradeSession* session = plugin.createTradeSession()();
  kestrel::SessionConfig config;
  config.configCode = 1;
  config.configText = "demo";
  config.userName = settings.user;
  config.password = settings.password;
  config.server.serverAddresses.push_back(kestrel::AddressEntry{settings.address, "counter"});
  (void)session->setConfig(config);
  (void)session->registerSpi(&host);
  return session;
}

std::string clientSerial(long long n) { return formatted("%06lld", n); }

void useCounterConfig(const std::string& path) { xti::sim::setConfigVariable(path.c_str()); }

DemoSession::DemoSession(kestrel::ITradeSession* session, ConsoleHost& host,
                         const Settings& settings, SessionFactory another)
    : session_(session), host_(host), settings_(settings), another_(std::move(another)) {}

DemoSession::~DemoSession() {
  if (session_ != nullptr) (void)session_->release();
}

std::string DemoSession::sendOrder(const Instrument& instrument, Side side, Offset offset,
                                   long long volume, double price) {
  kestrel::AccountOrderNewRequest request;
  request.codeId = instrument.codeId();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::string serial = clientSerial(++serialCounter_);
    request.clientId = kestrel::ClientId{kClientPrefix, serial};
    orders_[serial] = OrderInfo{instrument, ""};
  }
  request.quantity = volume;
  request.price = price;
  request.priceType = price == 0 ? 2 : 1;
  request.direction = side == Side::kBuy ? 1 : 2;
  request.offsetFlag = offset == Offset::kOpen ? 1 : offset == Offset::kCloseToday ? 5 : 4;
  request.hedgeFlag = 1;
  const int requestId = nextRequestId();
  host_.note(formatted("sendOrder req=%d client=%s@%s %s %s %s.%s %lld @ %s", requestId,
                       request.clientId.prefix.c_str(), request.clientId.serial.c_str(),
                       side == Side::kBuy ? "buy" : "sell", kOffsetWords[static_cast<int>(offset)],
                       instrument.code.c_str(), instrument.exchangeCode.c_str(), volume,
                       price == 0 ? "any price" : formatted("%.2f", price).c_str()));
  const kestrel::ResultStatus status = session_->sendOrder(requestId, request);
  if (status.code != 0) {
    host_.note("  refused at once: code " + std::to_string(status.code) + " " +
               kestrel::CodeConvert::gbk_to_utf8(status.message));
    return "";
  }
  return request.clientId.serial;
}

namespace {

// The pushes that tell of one order: its four events and its fills.
bool isOrderPush(const Event& event) {
  switch (event.type) {
    case EventType::kOrderAccepted:
    case EventType::kOrderRejected:
    case EventType::kOrderFilled:
    case EventType::kOrderCanceled:
    case EventType::kFill:
      return event.hasRecord && event.requestId == -1;
    default:
      return false;
  }
}

}  // namespace

void DemoSession::learn(const Event& event) {
  if (event.exchangeOrderId.empty()) return;
  const std::string owner = ownerOf(event);
  if (!owner.empty()) nameExchangeId(event.exchangeOrderId, owner);
}

void DemoSession::nameExchangeId(const std::string& exchangeOrderId, const std::string& serial) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto found = orders_.find(serial);
  if (found == orders_.end()) return;
  found->second.exchangeOrderId = exchangeOrderId;
  byExchangeId_[exchangeOrderId] = serial;
}

std::string DemoSession::ownerOf(const Event& event) {
  if (!event.hasRecord) return "";
  if (event.clientPrefix == kClientPrefix) return event.clientSerial;
  std::lock_guard<std::mutex> lock(mutex_);
  if (event.clientPrefix == kMadeUpPrefix) {
    const auto found = byVendorNumber_.find(event.clientSerial);
    if (found != byVendorNumber_.end()) return found->second;
  }
  const auto found = byExchangeId_.find(event.exchangeOrderId);
  return event.exchangeOrderId.empty() || found == byExchangeId_.end() ? "" : found->second;
}

bool DemoSession::unnamed(const Event& event) {
  if (!isOrderPush(event) || event.clientPrefix == kClientPrefix) return false;
  std::lock_guard<std::mutex> lock(mutex_);
  const bool madeUp = event.clientPrefix == kMadeUpPrefix;
  if (madeUp && (byVendorNumber_.count(event.clientSerial) == 1 ||
                 askedAbout_.count("N" + event.clientSerial) == 1)) {
    return false;
  }
  if (!event.exchangeOrderId.empty() && (byExchangeId_.count(event.exchangeOrderId) == 1 ||
                                         askedAbout_.count("X" + event.exchangeOrderId) == 1)) {
    return false;
  }
  return madeUp || !event.exchangeOrderId.empty();
}

void DemoSession::askedAbout(const Event& event) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (event.clientPrefix == kMadeUpPrefix) askedAbout_.insert("N" + event.clientSerial);
  if (!event.exchangeOrderId.empty()) askedAbout_.insert("X" + event.exchangeOrderId);
}

void DemoSession::learnFromOrderQuery(const std::vector<Event>& events, int requestId) {
  for (std::size_t i = 0; i < events.size(); ++i) {
    const Event& record = events[i];
    if (record.type != EventType::kOrdersResponse || record.requestId != requestId ||
        !record.hasRecord) {
      continue;
    }
    // The record's order event follows it at once from the same callback;
    // another record of the query first means the order had none.
    std::string owner;
    for (std::size_t j = i + 1; j < events.size(); ++j) {
      if (events[j].type == EventType::kOrdersResponse && events[j].requestId == requestId) break;
      if (isOrderPush(events[j]) && events[j].type != EventType::kFill) {
        owner = ownerOf(events[j]);
        break;
      }
    }
    if (!owner.empty() && !record.exchangeOrderId.empty()) {
      nameExchangeId(record.exchangeOrderId, owner);
    }
    // The order's events from now on are not unnamed: the query was asked.
    std::lock_guard<std::mutex> lock(mutex_);
    if (record.clientPrefix != kMadeUpPrefix) continue;
    askedAbout_.insert("N" + record.clientSerial);
    if (!owner.empty()) byVendorNumber_[record.clientSerial] = owner;
  }
}

bool DemoSession::replaceLostSession() {
  if (!another_) return false;
  (void)release();
  session_ = another_();
  return true;
}

kestrel::ResultStatus DemoSession::cancel(const std::string& clientSerial) {
  kestrel::AccountOrderCancelRequest request;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = orders_.find(clientSerial);
    if (found == orders_.end()) {
      return kestrel::ResultStatus{-2, "no order " + clientSerial + " was sent"};
    }
    if (found->second.exchangeOrderId.empty()) {
      return kestrel::ResultStatus{
          -2, "order " + clientSerial + " has no exchange order id (it was not accepted)"};
    }
    request.codeId = found->second.instrument.codeId();
    request.exchangeOrderId = found->second.exchangeOrderId;
  }
  request.clientId = kestrel::ClientId{kClientPrefix, clientSerial};
  const int requestId = nextRequestId();
  host_.note("cancelOrder req=" + std::to_string(requestId) + " client=" + kClientPrefix + "@" +
             clientSerial + " exchangeId=" + request.exchangeOrderId);
  return session_->cancelOrder(requestId, request);
}

kestrel::ITradeSession* DemoSession::forget() { return std::exchange(session_, nullptr); }

kestrel::ResultStatus DemoSession::release() {
  host_.note("release");
  return forget()->release();
}

}  // namespace demo
