#include "fuzz/fuzz_checks.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "plugin/common.h"
#include "plugin/trade_session_spi.h"
#include "spi/record_conversion.h"
#include "spi/xt_trader_spi.h"
#include "tests/support/vendor_time_reference.h"

namespace kestrel {
namespace fuzz {
namespace {

void fail(const std::string& message) { reportFailure(message); }

// A text of exactly 8 bytes on the heap, without a NUL after it.
std::unique_ptr<char[]> exactText(const uint8_t* data, std::size_t size, std::size_t at) {
  std::unique_ptr<char[]> text(new char[8]());
  if (at < size) std::memcpy(text.get(), data + at, std::min<std::size_t>(8, size - at));
  return text;
}

// The vendor's texts (error messages, account ids) made from the record
// bytes are at most this long.
constexpr std::size_t kMaxText = 511;

const ClientId kRegisteredId{"host", "registered"};
const ClientId kPendingOrderId{"host", "pending-order"};
const ClientId kPendingCancelId{"host", "pending-cancel"};

template <typename Record>
Record recordFrom(const uint8_t* data, std::size_t size) {
  Record record;
  std::memset(&record, 0, sizeof(record));
  std::memcpy(&record, data, std::min(size, sizeof(record)));
  return record;
}

// The host of checkVendorRecords. It keeps what the check looks at of each
// call, and reads every member of every record it receives: each is assigned
// into a record of its type kept here (AddressSanitizer sees every read; the
// storage is reused from call to call).
class CheckingHost : public ITradeSessionSpi {
 public:
  struct Call {
    const char* name = "";
    int code = 0;
    int requestId = 0;
    bool takesRecord = false;  // a record-carrying operation
    bool hasRecord = false;    // ... called with a record
    bool fill = false;         // onFill or onFillsResponse
    bool hasClientId = false;
    ClientId clientId;       // of an order or fill record
    bool hostCodes = false;  // its price type, offset, hedge and direction are the host's

    std::string summary() const {
      std::string text = std::string(name) + " " + std::to_string(code) + " " +
                         std::to_string(requestId) + (takesRecord && !hasRecord ? " null" : "");
      if (hasClientId) {
        text += " " + clientId.prefix + "/" + clientId.serial + (hostCodes ? "" : " codes?");
      }
      return text;
    }
  };

  void onConnected(const ResultStatus& s) override { add("onConnected", s, 0); }
  void onLogout(const ResultStatus& s) override { add("onLogout", s, 0); }
  void onDisconnected(const ResultStatus& s) override { add("onDisconnected", s, 0); }
  void onLogin(const ResultStatus& s, const LoginReply& reply) override {
    login_ = reply;
    add("onLogin", s, 0);
  }
  void onOrderAccepted(const OrderAcceptedRecord* r, const ResultStatus& s, int id, bool) override {
    order("onOrderAccepted", r, accepted_, s, id);
  }
  void onOrderRejected(const OrderRecord* r, const ResultStatus& s, int id, bool) override {
    order("onOrderRejected", r, order_, s, id);
  }
  void onOrderFilled(const OrderFilledRecord* r, const ResultStatus& s, int id, bool) override {
    order("onOrderFilled", r, filled_, s, id);
  }
  void onOrderCanceled(const OrderRecord* r, const ResultStatus& s, int id, bool) override {
    order("onOrderCanceled", r, order_, s, id);
  }
  void onFill(const FillRecord* r, const ResultStatus& s, int id, bool) override {
    order("onFill", r, fill_, s, id).fill = true;
  }
  void onOrdersResponse(const OrderDetailRecord* r, const ResultStatus& s, int id, bool) override {
    order("onOrdersResponse", r, detail_, s, id);
  }
  void onFillsResponse(const FillRecord* r, const ResultStatus& s, int id, bool) override {
    order("onFillsResponse", r, fill_, s, id).fill = true;
  }
  void onPositionsResponse(const PositionRecord* r, const ResultStatus& s, int id, bool) override {
    other("onPositionsResponse", r, position_, s, id);
  }
  void onPositionDetailsResponse(const PositionDetailRecord* r, const ResultStatus& s, int id,
                                 bool) override {
    other("onPositionDetailsResponse", r, positionDetail_, s, id);
  }
  void onAccountFundsResponse(const AccountFunds* r, const ResultStatus& s, int id, bool) override {
    other("onAccountFundsResponse", r, funds_, s, id);
  }

  const std::vector<Call>& calls() const { return calls_; }
  void clear() { calls_.clear(); }
  std::string summary() const {
    std::string text;
    for (const Call& call : calls_) text += (text.empty() ? "" : "; ") + call.summary();
    return text;
  }

 private:
  Call& add(const char* name, const ResultStatus& s, int id) {
    Call& call = calls_.emplace_back();
    call.name = name;
    call.code = s.code;
    call.requestId = id;
    return call;
  }
  template <typename Record>
  Call& other(const char* name, const Record* r, Record& kept, const ResultStatus& s, int id) {
    Call& call = add(name, s, id);
    call.takesRecord = true;
    call.hasRecord = r != nullptr;
    if (r != nullptr) kept = *r;
    return call;
  }
  // An order or fill record: its client id kept, and whether its codes are
  // among the host's.
  template <typename Record>
  Call& order(const char* name, const Record* r, Record& kept, const ResultStatus& s, int id) {
    Call& call = other(name, r, kept, s, id);
    if (r == nullptr) return call;
    call.hasClientId = true;
    call.clientId = r->clientId;
    call.hostCodes =
        (r->priceType == 1 || r->priceType == 2) &&
        (r->offsetFlag == 0 || r->offsetFlag == 1 || (r->offsetFlag >= 4 && r->offsetFlag <= 6)) &&
        r->hedgeFlag >= 0 && r->hedgeFlag <= 3 && (r->direction == 1 || r->direction == 2);
    return call;
  }

  std::vector<Call> calls_;
  LoginReply login_;
  OrderRecord order_;
  OrderAcceptedRecord accepted_;
  OrderFilledRecord filled_;
  FillRecord fill_;
  OrderDetailRecord detail_;
  PositionRecord position_;
  PositionDetailRecord positionDetail_;
  AccountFunds funds_;
};

// The made-up client id of vendor order `orderId`.
bool madeUp(const ClientId& id, int32_t orderId) {
  if (orderId >= 1) return id == ClientId{"123456@xt", std::to_string(orderId)};
  return id.serial.empty() && !id.prefix.empty() &&
         id.prefix.find_first_not_of("0123456789-") == std::string::npos;
}

// Strict UTF-8 (no overlong forms, surrogates or values past U+10FFFF),
// decoded into code points; false if the text is not valid.
bool decodeUtf8(const std::string& text, std::vector<uint32_t>& out) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    uint32_t value = 0, minimum = 0;
    if (lead < 0x80) {
      length = 1, value = lead;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2, value = lead & 0x1F, minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3, value = lead & 0x0F, minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4, value = lead & 0x07, minimum = 0x10000;
    } else {
      return false;
    }
    if (i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const auto byte = static_cast<unsigned char>(text[i + k]);
      if ((byte & 0xC0) != 0x80) return false;
      value = (value << 6) | (byte & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
    out.push_back(value);
    i += length;
  }
  return true;
}

}  // namespace

std::size_t vendorRecordsInputSize() {
  // The flags and account status numbers, then the largest record or text.
  return 9 + std::max({sizeof(xti::VendorOrder), sizeof(xti::VendorDeal),
                       sizeof(xti::VendorOrderError), sizeof(xti::VendorAccountDetail),
                       sizeof(xti::VendorPosition), sizeof(xti::VendorPositionDetail), kMaxText});
}

void checkVendorTime(const uint8_t* data, std::size_t size) {
  const std::unique_ptr<char[]> date = exactText(data, size, 0);
  const std::unique_ptr<char[]> time = exactText(data, size, 8);
  const int64_t fast = vendorTimeToMillis(date.get(), time.get());
  const int64_t reference = testing::vendorTimeReference(date.get(), time.get());
  if (fast != reference) {
    fail("vendorTimeToMillis " + std::to_string(fast) + " != reference " +
         std::to_string(reference) + " for date " + hexOf(date.get(), 8) + " time " +
         hexOf(time.get(), 8));
  }
}

void checkTextToInt(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  // The reference: strtoll, which stops at the first NUL as at any other
  // non-digit; the program runs in the "C" locale, whose white space counts.
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text.c_str(), &end, 10);
  const bool fits = end != text.c_str() && errno != ERANGE &&
                    value >= std::numeric_limits<int32_t>::min() &&
                    value <= std::numeric_limits<int32_t>::max();
  const int32_t expected = fits ? static_cast<int32_t>(value) : -1;
  if (textToInt(text) != expected) {
    fail("textToInt " + std::to_string(textToInt(text)) + " != " + std::to_string(expected) +
         " for " + hexOf(data, size));
  }
}

void checkVendorRecords(const uint8_t* data, std::size_t size) {
  if (gBaseInformationMap->exchangeNumbers.empty()) addChinaExchanges(*gBaseInformationMap);
  // Byte 0 chooses what is filed beforehand; bytes 1-8 are the account
  // status numbers; the record bytes start at 9 (all zero when short).
  const uint8_t flags = size > 0 ? data[0] : 0;
  int32_t accountType = 0, accountStatus = 0;
  if (size >= 9) {
    std::memcpy(&accountType, data + 1, 4);
    std::memcpy(&accountStatus, data + 5, 4);
  }
  const uint8_t* bytes = size > 9 ? data + 9 : data;
  const std::size_t count = size > 9 ? size - 9 : 0;
  const auto order = recordFrom<xti::VendorOrder>(bytes, count);
  const auto deal = recordFrom<xti::VendorDeal>(bytes, count);
  const auto error = recordFrom<xti::VendorOrderError>(bytes, count);
  const auto funds = recordFrom<xti::VendorAccountDetail>(bytes, count);
  const auto position = recordFrom<xti::VendorPosition>(bytes, count);
  const auto detail = recordFrom<xti::VendorPositionDetail>(bytes, count);
  // A NUL-terminated text of the same bytes, for the vendor's C strings.
  const std::string text(reinterpret_cast<const char*>(bytes), std::min(count, kMaxText));
  const xti::XtError failed(1 + (flags >> 4), text.c_str());
  const xti::XtError succeeded;

  CheckingHost host;
  XtTraderSpi spi;
  spi.setHost(&host);
  SessionConfig settings;
  settings.userName = "fuzz";
  spi.setSettings(settings);
  OrderIdentityContext& identity = spi.TEST_identity();
  const bool registered = (flags & 1) != 0;  // the order's id known to the registry, or not
  if (registered) {
    identity.registry->add(1, kRegisteredId);
    identity.registry->update(1, order.m_nOrderID);
  }
  AccountOrderNewRequest pendingOrder;
  AccountOrderCancelRequest pendingCancel;
  pendingOrder.clientId = kPendingOrderId;
  pendingCancel.clientId = kPendingCancelId;
  if (flags & 2) identity.newOrderBook->put(error.m_nRequestID, pendingOrder);
  if (flags & 4) identity.cancelBook->put(error.m_nRequestID, pendingCancel);
  // Runs the handlers; then each host call, and how many there were.
  const auto expect = [&](std::size_t most, const auto& handlers, const auto& check) {
    host.clear();
    handlers();
    if (host.calls().size() > most) fail("too many host calls: " + host.summary());
    for (const CheckingHost::Call& e : host.calls()) check(e);
  };
  // Pushes: request -1, code 0, codes mapped to the host's, the registered
  // client id, else the made-up one (orders) or none (fills).
  const auto pushed = [&](const CheckingHost::Call& e) {
    const bool known = registered && (!e.fill || deal.m_nOrderID == order.m_nOrderID);
    const ClientId& id = e.clientId;
    if (e.code != 0 || e.requestId != -1 || !e.hasClientId || !e.hostCodes ||
        !(known    ? id == kRegisteredId
          : e.fill ? id == ClientId{}
                   : madeUp(id, order.m_nOrderID))) {
      fail("push " + e.summary());
    }
  };
  expect(
      2,
      [&] {
        spi.onOrderPush(&order);
        spi.onDealPush(&deal);
      },
      pushed);
  // Failure routes: each filed request is reported once, whichever comes.
  const std::size_t pending = identity.newOrderBook->size() + identity.cancelBook->size();
  expect(
      pending,
      [&] {
        spi.onOrderErrorPush(&error);
        spi.onOrderReply(error.m_nRequestID, 0, text.c_str(), failed);
        spi.onCancelErrorPush(&error);
        spi.onCancelReply(error.m_nRequestID, failed);
        spi.onCancelReply2(error.m_nRequestID, failed);
      },
      [&](const CheckingHost::Call& e) {
        const bool rejected = std::strcmp(e.name, "onOrderRejected") == 0;
        if (e.code != -1 || !e.hasClientId ||
            e.clientId != (rejected ? kPendingOrderId : kPendingCancelId)) {
          fail("failure report " + e.summary());
        }
      });
  if (host.calls().size() != pending ||
      identity.newOrderBook->size() + identity.cancelBook->size() != 0) {
    fail("failure reports lost or doubled: " + host.summary());
  }
  // Replies, succeeded and failed: a record's made-up id, a fill without one,
  // codes mapped to the host's.
  for (const xti::XtError* outcome : {&succeeded, &failed}) {
    const bool isLast = (flags & 8) != 0;
    expect(
        6,
        [&] {
          spi.onAccountDetailReply(text.c_str(), 4, &funds, isLast, *outcome);
          spi.onPositionReply(text.c_str(), 5, &position, isLast, *outcome);
          spi.onPositionDetailReply(text.c_str(), 6, &detail, isLast, *outcome);
          spi.onOrderDetailReply(text.c_str(), 7, &order, isLast, *outcome);
          spi.onDealDetailReply(text.c_str(), 8, &deal, isLast, *outcome);
        },
        [&](const CheckingHost::Call& e) {
          if (e.requestId == -1) return pushed(e);
          const ClientId* id = e.hasClientId ? &e.clientId : nullptr;
          if (e.code != (outcome == &failed ? -1 : 0) ||
              (id != nullptr &&
               (!e.hostCodes || !(e.fill ? *id == ClientId{} : madeUp(*id, order.m_nOrderID))))) {
            fail("reply " + e.summary());
          }
        });
  }
  expect(
      0, [&] { spi.onAccountStatus(text.c_str(), accountType, accountStatus); }, pushed);
  expect(
      1, [&] { spi.onUserLogin("u", "p", 9, failed); },
      [&](const CheckingHost::Call& e) {
        if (e.code != -11) fail("login " + e.summary());
      });
}

void checkCodeConvert(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string gbk = CodeConvert::utf8_to_gbk(text);
  // A character of n UTF-8 bytes becomes at most n GBK bytes or one '?'.
  if (gbk.size() > text.size()) fail("utf8_to_gbk grew the text: " + hexOf(data, size));
  if (CodeConvert::gbk_to_utf8(text).size() > 3 * text.size()) {
    fail("gbk_to_utf8 output too long: " + hexOf(data, size));
  }
  std::vector<uint32_t> codePoints;
  if (decodeUtf8(text, codePoints)) {
    // No '?' beyond the input's own: every character was held by GBK.
    if (std::count(gbk.begin(), gbk.end(), '?') == std::count(text.begin(), text.end(), '?') &&
        CodeConvert::gbk_to_utf8(gbk) != text) {
      fail("round trip " + hexOf(data, size) + " -> " + hexOf(gbk.data(), gbk.size()));
    }
    if (sizeof(wchar_t) == 4 &&
        CodeConvert::unicode_to_gbk(std::wstring(codePoints.begin(), codePoints.end())) != gbk) {
      fail("unicode_to_gbk differs from utf8_to_gbk for " + hexOf(data, size));
    }
  }
  // Arbitrary wide units, invalid code points included.
  std::wstring units(size / sizeof(wchar_t), L'\0');
  if (!units.empty()) std::memcpy(&units[0], data, units.size() * sizeof(wchar_t));
  if (CodeConvert::unicode_to_gbk(units).size() > 2 * units.size()) {
    fail("unicode_to_gbk output too long: " + hexOf(data, size));
  }
}

}  // namespace fuzz
}  // namespace kestrel
