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
#include "spi/record_conversion.h"
#include "spi/xt_trader_spi.h"
#include "tests/support/vendor_time_reference.h"

namespace kestrel {
namespace fuzz {
namespace {

void fail(const std::string& message) { reportFailure(message); }

// --- vendorTimeToMillis --------------------------------------------------------

// A text of exactly 8 bytes on the heap, without a NUL after it.
std::unique_ptr<char[]> exactText(const uint8_t* data, std::size_t size, std::size_t at) {
  std::unique_ptr<char[]> text(new char[8]());
  if (at < size) std::memcpy(text.get(), data + at, std::min<std::size_t>(8, size - at));
  return text;
}

// --- textToInt -----------------------------------------------------------------

int32_t referenceTextToInt(const std::string& text) {
  // strtoll stops at the first NUL as at any other non-digit, and the
  // program runs in the "C" locale, whose white space the contract names.
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(begin, &end, 10);
  if (end == begin) return -1;
  if (errno == ERANGE || value < std::numeric_limits<int32_t>::min() ||
      value > std::numeric_limits<int32_t>::max()) {
    return -1;
  }
  return static_cast<int32_t>(value);
}

// --- Vendor records ------------------------------------------------------------

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

bool oneOf(int32_t value, std::initializer_list<int32_t> allowed) {
  for (int32_t a : allowed) {
    if (value == a) return true;
  }
  return false;
}

// The host: copies every record it is given (a copy reads every member,
// texts included) and checks what the conversions promise about the values.
class CheckingHost : public ITradeSessionSpi {
 public:
  // What a report for the current event must carry.
  int32_t orderId = 0;      // the vendor order id of the pushed record
  bool registered = false;  // the registry knows orderId
  int calls = 0;

  void onConnected(const ResultStatus& s) override { status(s); }
  void onDisconnected(const ResultStatus& s) override { status(s); }
  void onLogin(const ResultStatus& s, const LoginReply& reply) override {
    status(s);
    const LoginReply copy = reply;
    sink += copy.loginStamp.size();
  }
  void onLogout(const ResultStatus& s) override { status(s); }
  void onOrderAccepted(const OrderAcceptedRecord* r, const ResultStatus& s, int id, bool) override {
    orderEvent(r, s, id);
  }
  // A failure report carries status -1 and the request number (which may be
  // any number, -1 included); an order push status 0 and -1.
  void onOrderRejected(const OrderRecord* r, const ResultStatus& s, int id, bool) override {
    if (s.code == 0) return orderEvent(r, s, id);
    failureReport(r, s, kPendingOrderId);
  }
  void onOrderFilled(const OrderFilledRecord* r, const ResultStatus& s, int id, bool) override {
    orderEvent(r, s, id);
  }
  void onOrderCanceled(const OrderRecord* r, const ResultStatus& s, int id, bool) override {
    if (s.code == 0) return orderEvent(r, s, id);
    failureReport(r, s, kPendingCancelId);
  }
  void onFill(const FillRecord* r, const ResultStatus& s, int, bool) override {
    status(s);
    if (r == nullptr) return fail("onFill without a record");
    const FillRecord copy = *r;
    codes(copy.codeId, copy.priceType, copy.offsetFlag, copy.hedgeFlag, copy.direction);
    const ClientId expected = registered ? kRegisteredId : ClientId{};
    if (copy.clientId != expected) fail("deal push client id " + copy.clientId.prefix);
  }
  void onOrdersResponse(const OrderDetailRecord* r, const ResultStatus& s, int, bool) override {
    status(s);
    if (r == nullptr) return;
    const OrderDetailRecord copy = *r;
    codes(copy.codeId, copy.priceType, copy.offsetFlag, copy.hedgeFlag, copy.direction);
    fallbackId(copy.clientId);
  }
  void onFillsResponse(const FillRecord* r, const ResultStatus& s, int, bool) override {
    status(s);
    if (r == nullptr) return;
    const FillRecord copy = *r;
    codes(copy.codeId, copy.priceType, copy.offsetFlag, copy.hedgeFlag, copy.direction);
  }
  void onPositionsResponse(const PositionRecord* r, const ResultStatus& s, int, bool) override {
    status(s);
    if (r == nullptr) return;
    const PositionRecord copy = *r;
    exchange(copy.codeId.exchange);
    if (!oneOf(copy.twoValueCode, {1, 2}) || !oneOf(copy.side, {1, 2})) fail("position codes");
    if (copy.volumeWhenSet != 0 && copy.volumeWhenClear != 0) fail("position volume twice");
  }
  void onPositionDetailsResponse(const PositionDetailRecord* r, const ResultStatus& s, int,
                                 bool) override {
    status(s);
    if (r == nullptr) return;
    const PositionDetailRecord copy = *r;
    exchange(copy.codeId.exchange);
    if (!oneOf(copy.twoValueCode, {1, 2}) || !oneOf(copy.side, {1, 2})) fail("detail codes");
  }
  void onAccountFundsResponse(const AccountFunds* r, const ResultStatus& s, int, bool) override {
    status(s);
    if (r == nullptr) return;
    const AccountFunds copy = *r;
    sink += static_cast<std::size_t>(copy.tradingDay);
  }

  std::size_t sink = 0;

 private:
  void status(const ResultStatus& s) {
    ++calls;
    sink += s.message.size();
    if (s.code != 0 && s.code != -1 && s.code != -7 && s.code != -11 && s.code != -12) {
      fail("status code " + std::to_string(s.code));
    }
  }

  void exchange(int32_t number) {
    if (number != -1 && (number < 1 || number > 9)) fail("exchange " + std::to_string(number));
  }

  void codes(const CodeId& id, int32_t priceType, int32_t offset, int32_t hedge,
             int32_t direction) {
    exchange(id.exchange);
    if (!oneOf(priceType, {1, 2})) fail("price type " + std::to_string(priceType));
    if (!oneOf(offset, {0, 1, 4, 5, 6})) fail("offset " + std::to_string(offset));
    if (!oneOf(hedge, {0, 1, 2, 3})) fail("hedge " + std::to_string(hedge));
    if (!oneOf(direction, {1, 2})) fail("direction " + std::to_string(direction));
  }

  // The made-up id of an order the registry does not know.
  void fallbackId(const ClientId& id) {
    if (orderId >= 1) {
      if (id != ClientId{"123456@xt", std::to_string(orderId)}) fail("fallback id " + id.serial);
    } else if (!id.serial.empty() || id.prefix.empty() ||
               id.prefix.find_first_not_of("0123456789-") != std::string::npos) {
      fail("timestamp fallback id " + id.prefix + "/" + id.serial);
    }
  }

  template <typename Record>
  void orderEvent(const Record* r, const ResultStatus& s, int id) {
    status(s);
    if (r == nullptr || id != -1 || s.code != 0) {
      return fail("order event with request " + std::to_string(id) + ", status " +
                  std::to_string(s.code) + (r == nullptr ? ", no record" : ""));
    }
    const Record copy = *r;
    codes(copy.codeId, copy.priceType, copy.offsetFlag, copy.hedgeFlag, copy.direction);
    if (registered) {
      if (copy.clientId != kRegisteredId) fail("registered id lost");
    } else {
      fallbackId(copy.clientId);
    }
  }

  void failureReport(const OrderRecord* r, const ResultStatus& s, const ClientId& expected) {
    status(s);
    if (r == nullptr || s.code != -1) return fail("failure report shape");
    const OrderRecord copy = *r;
    if (copy.clientId != expected) fail("failure report id " + copy.clientId.serial);
  }
};

// Runs one handler and checks how many host calls it made.
template <typename Handler>
void expectCalls(CheckingHost& host, const char* name, int atMost, Handler handler) {
  const int before = host.calls;
  handler();
  if (host.calls - before > atMost) fail(std::string(name) + ": too many host calls");
}

// --- Code conversion -----------------------------------------------------------

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

std::size_t countOf(const std::string& text, char c) {
  std::size_t n = 0;
  for (char t : text) n += t == c;
  return n;
}

}  // namespace

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
  const int32_t actual = textToInt(text);
  const int32_t expected = referenceTextToInt(text);
  if (actual != expected) {
    fail("textToInt " + std::to_string(actual) + " != reference " + std::to_string(expected) +
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
  const std::string text(reinterpret_cast<const char*>(bytes), std::min<std::size_t>(count, 511));
  const xti::XtError failed(1 + (flags >> 4), text.c_str());
  const xti::XtError succeeded;
  const bool isLast = (flags & 8) != 0;

  CheckingHost host;
  std::unique_ptr<XtTraderSpi> spi(new XtTraderSpi);
  spi->setHost(&host);
  SessionConfig settings;
  settings.configCode = 17;
  settings.userName = "fuzz";
  spi->setSettings(settings);
  OrderIdentityContext& identity = spi->TEST_identity();
  // Both client-id paths: the order's id known to the registry, or not.
  if (flags & 1) {
    identity.registry->add(1, kRegisteredId);
    identity.registry->update(1, order.m_nOrderID);
  }
  if (flags & 2) {
    AccountOrderNewRequest request;
    request.clientId = kPendingOrderId;
    identity.newOrderBook->put(error.m_nRequestID, request);
  }
  if (flags & 4) {
    AccountOrderCancelRequest request;
    request.clientId = kPendingCancelId;
    identity.cancelBook->put(error.m_nRequestID, request);
  }

  host.orderId = order.m_nOrderID;
  host.registered = (flags & 1) != 0;
  expectCalls(host, "onOrderPush", 1, [&] { spi->onOrderPush(&order); });
  expectCalls(host, "onOrderDetailReply", 2,
              [&] { spi->onOrderDetailReply(text.c_str(), 2, &order, isLast, succeeded); });
  host.orderId = deal.m_nOrderID;
  host.registered = (flags & 1) != 0 && deal.m_nOrderID == order.m_nOrderID;
  expectCalls(host, "onDealPush", 1, [&] { spi->onDealPush(&deal); });
  expectCalls(host, "onDealDetailReply", 1,
              [&] { spi->onDealDetailReply(text.c_str(), 3, &deal, isLast, succeeded); });

  // Failure routes: each filed request is reported once, whichever comes.
  const int pendingOrders = static_cast<int>(identity.newOrderBook->size());
  const int pendingCancels = static_cast<int>(identity.cancelBook->size());
  const int before = host.calls;
  expectCalls(host, "onOrderErrorPush", 1, [&] { spi->onOrderErrorPush(&error); });
  expectCalls(host, "onOrderReply", 1,
              [&] { spi->onOrderReply(error.m_nRequestID, 0, text.c_str(), failed); });
  expectCalls(host, "onCancelErrorPush", 1, [&] { spi->onCancelErrorPush(&error); });
  expectCalls(host, "onCancelReply", 1, [&] { spi->onCancelReply(error.m_nRequestID, failed); });
  expectCalls(host, "onCancelReply2", 1, [&] { spi->onCancelReply2(error.m_nRequestID, failed); });
  if (host.calls - before != pendingOrders + pendingCancels)
    fail("failure reports lost or doubled");
  if (identity.newOrderBook->size() != 0 || identity.cancelBook->size() != 0) {
    fail("books not empty after the failures");
  }

  host.orderId = order.m_nOrderID;
  host.registered = (flags & 1) != 0;
  for (const xti::XtError* outcome : {&succeeded, &failed}) {
    expectCalls(host, "onAccountDetailReply", 1,
                [&] { spi->onAccountDetailReply(text.c_str(), 4, &funds, isLast, *outcome); });
    expectCalls(host, "onPositionReply", 1,
                [&] { spi->onPositionReply(text.c_str(), 5, &position, isLast, *outcome); });
    expectCalls(host, "onPositionDetailReply", 1,
                [&] { spi->onPositionDetailReply(text.c_str(), 6, &detail, isLast, *outcome); });
    expectCalls(host, "onOrderDetailReply", 2,
                [&] { spi->onOrderDetailReply(text.c_str(), 7, &order, isLast, *outcome); });
    expectCalls(host, "onDealDetailReply", 1,
                [&] { spi->onDealDetailReply(text.c_str(), 8, &deal, isLast, *outcome); });
  }
  expectCalls(host, "onAccountStatus", 0,
              [&] { spi->onAccountStatus(text.c_str(), accountType, accountStatus); });
  expectCalls(host, "onUserLogin", 1, [&] { spi->onUserLogin("u", "p", 9, failed); });
}

void checkCodeConvert(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  const std::string gbk = CodeConvert::utf8_to_gbk(text);
  // A character of n UTF-8 bytes becomes at most n GBK bytes or one '?'.
  if (gbk.size() > text.size()) fail("utf8_to_gbk grew the text: " + hexOf(data, size));
  const std::string utf8 = CodeConvert::gbk_to_utf8(text);
  if (utf8.size() > 3 * text.size()) fail("gbk_to_utf8 output too long: " + hexOf(data, size));

  std::vector<uint32_t> codePoints;
  if (decodeUtf8(text, codePoints)) {
    // No '?' beyond the input's own: every character was held by GBK.
    if (countOf(gbk, '?') == countOf(text, '?')) {
      const std::string back = CodeConvert::gbk_to_utf8(gbk);
      if (back != text) {
        fail("round trip " + hexOf(data, size) + " -> " + hexOf(gbk.data(), gbk.size()) + " -> " +
             hexOf(back.data(), back.size()));
      }
    }
    if (sizeof(wchar_t) == 4) {
      const std::wstring wide(codePoints.begin(), codePoints.end());
      if (CodeConvert::unicode_to_gbk(wide) != gbk) {
        fail("unicode_to_gbk differs from utf8_to_gbk for " + hexOf(data, size));
      }
    }
  }

  // Arbitrary wide units, invalid code points included.
  std::wstring units(size / sizeof(wchar_t), L'\0');
  if (!units.empty()) std::memcpy(&units[0], data, units.size() * sizeof(wchar_t));
  const std::string fromWide = CodeConvert::unicode_to_gbk(units);
  if (fromWide.size() > 2 * units.size())
    fail("unicode_to_gbk output too long: " + hexOf(data, size));
}

}  // namespace fuzz
}  // namespace kestrel
