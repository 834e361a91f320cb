// Journals the recorders would not write, for the journal tools' tests
// (tests/report_day.cmake):
//
//   journal_forge v1 IN OUT   IN (a whole journal) as the version-1
//                             recorders wrote the same traffic: version 1 in
//                             its header, no returns of callbacks, the
//                             host's requests numbered from 1 (the
//                             destructor)
//   journal_forge hostile DIR writes DIR/<case>.ksj, each with right
//                             checksums: values-left-over (a value appended
//                             to GetPluginInfo's answer), text-past-entry (a
//                             text whose length runs past its entry),
//                             version-3 (a format no reader reads), empty
//                             (zero bytes), unknown-operation
//   journal_forge day N OUT   a version 2 journal of a day of N orders at
//                             both boundaries (17 entries an order filled,
//                             13 one refused by the counter: every tenth),
//                             for the journal tools' benchmarks
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "recorder/journal/journal_format.h"
#include "recorder/journal/operations.h"
#include "tests/support/hand_entries.h"

namespace {

using namespace kestrel::journal;

// A whole frame (size, CRC, payload) for an entry.
std::string frameOf(const Entry& e) {
  std::string payload;
  payload.append(reinterpret_cast<const char*>(&e.time), 8);
  payload.append(reinterpret_cast<const char*>(&e.thread), 4);
  payload.append(reinterpret_cast<const char*>(&e.object), 4);
  payload.append(reinterpret_cast<const char*>(&e.request), 4);
  payload.append(reinterpret_cast<const char*>(&e.operation), 2);
  payload.push_back(static_cast<char>(e.boundary));
  payload.push_back(static_cast<char>(e.kind));
  payload += e.values;
  const auto size = static_cast<uint32_t>(payload.size());
  const uint32_t crc = crc32(payload.data(), payload.size());
  std::string frame(reinterpret_cast<const char*>(&size), 4);
  frame.append(reinterpret_cast<const char*>(&crc), 4);
  return frame + payload;
}

std::string headerOf(uint32_t version, const std::string& program = "journal_forge",
                     uint64_t startMicros = 1700000000000000ull, uint32_t processId = 42) {
  std::string header = journalHeader(startMicros, processId, program);
  std::memcpy(&header[8], &version, 4);
  return header;
}

bool write(const std::string& path, const std::string& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && ok;
}

// IN as the version-1 recorders would have written the same traffic.
int downgrade(const std::string& in, const std::string& out) {
  JournalReader reader;
  if (!reader.openPath(in) || reader.version() != kVersion) {
    std::fprintf(stderr, "journal_forge: %s is no version %u journal %s\n", in.c_str(),
                 static_cast<unsigned>(kVersion), reader.problem().c_str());
    return 2;
  }
  std::string bytes = headerOf(1, reader.program(), reader.startMicros(), reader.processId());
  Entry e;
  while (reader.next(e)) {
    if (e.kind == Kind::kDone) continue;
    const bool hostRequest =
        e.boundary == Boundary::kHost && (e.kind == Kind::kRequest || e.kind == Kind::kReturn);
    if (hostRequest && e.operation < op::kCreateTradeSession) ++e.operation;
    bytes += frameOf(e);
  }
  if (!reader.problem().empty()) {
    std::fprintf(stderr, "journal_forge: %s\n", reader.problem().c_str());
    return 2;
  }
  return write(out, bytes) ? 0 : 2;
}

Entry pluginInfoAnswer() {
  Entry e;
  e.time = 1000;
  e.thread = 1;
  e.boundary = Boundary::kHost;
  e.kind = Kind::kReturn;
  e.operation = op::kGetPluginInfo;
  FrameWriter(e.values).text("KSTraderAPIPluginXT");
  return e;
}

int hostile(const std::string& dir) {
  Entry request = pluginInfoAnswer();
  request.kind = Kind::kRequest;
  request.values.clear();

  Entry leftOver = pluginInfoAnswer();
  FrameWriter(leftOver.values).int32(7);

  Entry pastEnd = pluginInfoAnswer();
  pastEnd.values.clear();
  FrameWriter(pastEnd.values).text("KSTraderAPIPluginXT");
  const uint32_t tooLong = 4000;  // the text claims more bytes than the entry holds
  std::memcpy(&pastEnd.values[1], &tooLong, 4);

  Entry unknown = pluginInfoAnswer();
  unknown.kind = Kind::kCallback;
  unknown.operation = 999;

  const std::string before = frameOf(request);
  const bool ok = write(dir + "/values-left-over.ksj", headerOf(1) + before + frameOf(leftOver)) &&
                  write(dir + "/text-past-entry.ksj", headerOf(1) + before + frameOf(pastEnd)) &&
                  write(dir + "/unknown-operation.ksj", headerOf(2) + before + frameOf(unknown)) &&
                  write(dir + "/version-3.ksj", headerOf(3) + before) &&
                  write(dir + "/empty.ksj", std::string());
  return ok ? 0 : 2;
}

}  // namespace

// Builds entries of one thread and object and appends their frames.
class DayWriter {
 public:
  explicit DayWriter(std::FILE* out) : out_(out) {}

  template <typename... Values>
  void entry(uint32_t thread, uint32_t object, Boundary boundary, Kind kind, uint16_t operation,
             int32_t request, const Values&... values) {
    // An entry every 0.7 µs.
    const Entry e = kestrel::testing::handEntry(time_ += 700, thread, object, boundary, kind,
                                                operation, request, values...);
    const std::string frame = frameOf(e);
    std::fwrite(frame.data(), 1, frame.size(), out_);
  }
  using Error = kestrel::testing::VendorError;
  template <typename... Values>
  void callback(uint32_t object, uint16_t operation, int32_t request, const Values&... values) {
    entry(2, object, Boundary::kVendor, Kind::kCallback, operation, request, values...);
  }
  void done(Boundary boundary, uint32_t object, uint16_t operation, int32_t request) {
    entry(2, object, boundary, Kind::kDone, operation, request, false);
  }

 private:
  std::FILE* out_;
  uint64_t time_ = 0;
};

int day(long orders, const std::string& out) {
  std::FILE* file = std::fopen(out.c_str(), "wb");
  if (file == nullptr) return 2;
  const std::string header = headerOf(2);
  std::fwrite(header.data(), 1, header.size(), file);
  DayWriter w(file);
  namespace host = slot::host;
  namespace event = slot::event;
  namespace vendor = slot::vendor;
  namespace cb = slot::callback;
  const Boundary kHost = Boundary::kHost;
  const Boundary kVendor = Boundary::kVendor;
  const kestrel::ResultStatus ok;
  for (int32_t i = 1; i <= orders; ++i) {
    char serial[16];
    std::snprintf(serial, sizeof(serial), "%06d", i);
    kestrel::AccountOrderNewRequest request;
    request.codeId.code = "rb2410";
    request.clientId = kestrel::ClientId{"demo", serial};
    request.quantity = 1;
    request.priceType = 2;
    request.offsetFlag = 1;
    request.direction = 1;
    // The vendor's order record as its bytes (its constructor is the vendor library's).
    alignas(xti::COrdinaryOrder) char bytes[sizeof(xti::COrdinaryOrder)] = {};
    std::memcpy(bytes + offsetof(xti::COrdinaryOrder, m_strInstrument), "rb2410", 6);
    std::memcpy(bytes + offsetof(xti::COrdinaryOrder, m_strMarket), "SHFE", 4);
    const auto* placed = reinterpret_cast<const xti::COrdinaryOrder*>(bytes);
    w.entry(1, 1, kHost, Kind::kRequest, host::sendOrder, i, i, request);
    w.entry(1, 2, kVendor, Kind::kRequest, vendor::placeOrder, i, placed, i,
            static_cast<const char*>(nullptr));
    w.entry(1, 1, kHost, Kind::kReturn, host::sendOrder, i, ok);
    const bool refused = i % 10 == 0;
    w.callback(2, cb::onOrderReply, i, i, refused ? 0 : i, static_cast<const char*>(nullptr),
               DayWriter::Error{refused ? 2002 : 0, refused ? "\xE5\x8F\xAF" : nullptr});
    w.done(kVendor, 2, cb::onOrderReply, i);
    kestrel::OrderRecord rejected;
    rejected.clientId = request.clientId;
    if (refused) {
      w.entry(2, 1, kHost, Kind::kCallback, event::onOrderRejected, -1, &rejected,
              kestrel::ResultStatus{-1, "[msg=refused]"}, i, true);
      w.done(kHost, 1, event::onOrderRejected, -1);
      xti::VendorOrderError error{};
      error.m_nErrorID = 2002;
      error.m_nRequestID = i;
      w.callback(2, cb::onOrderErrorPush, 0, &error);
      w.done(kVendor, 2, cb::onOrderErrorPush, 0);
      continue;
    }
    xti::VendorOrder pushed{};
    pushed.m_nOrderID = i;
    pushed.m_nVolumeTotalOriginal = 1;
    std::snprintf(pushed.m_strOrderSysID, sizeof(pushed.m_strOrderSysID), "%012d", i);
    pushed.m_nOrderStatus = xti::ORDER_NO_TRADE_QUEUEING_CHAR;
    kestrel::OrderAcceptedRecord accepted;
    accepted.clientId = request.clientId;
    w.callback(2, cb::onOrderPush, 0, &pushed);
    w.entry(2, 1, kHost, Kind::kCallback, event::onOrderAccepted, -1, &accepted, ok, -1, true);
    w.done(kHost, 1, event::onOrderAccepted, -1);
    w.done(kVendor, 2, cb::onOrderPush, 0);
    pushed.m_nOrderStatus = xti::ORDER_ALL_TRADED_CHAR;
    pushed.m_nVolumeTraded = 1;
    kestrel::OrderFilledRecord filled;
    filled.clientId = request.clientId;
    filled.statusMessage = "\xC8\xAB\xB2\xBF\xB3\xC9\xBD\xBB";  // 全部成交 in GBK
    w.callback(2, cb::onOrderPush, 0, &pushed);
    w.entry(2, 1, kHost, Kind::kCallback, event::onOrderFilled, -1, &filled, ok, -1, true);
    w.done(kHost, 1, event::onOrderFilled, -1);
    w.done(kVendor, 2, cb::onOrderPush, 0);
    xti::VendorDeal deal{};
    deal.m_nOrderID = i;
    deal.m_nVolume = 1;
    kestrel::FillRecord fill;
    fill.clientId = request.clientId;
    fill.volume = 1;
    w.callback(2, cb::onDealPush, 0, &deal);
    w.entry(2, 1, kHost, Kind::kCallback, event::onFill, -1, &fill, ok, -1, true);
    w.done(kHost, 1, event::onFill, -1);
    w.done(kVendor, 2, cb::onDealPush, 0);
  }
  return std::fclose(file) == 0 ? 0 : 2;
}

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "v1" && argc == 4) return downgrade(argv[2], argv[3]);
  if (mode == "hostile" && argc == 3) return hostile(argv[2]);
  if (mode == "day" && argc == 4) return day(std::atol(argv[2]), argv[3]);
  std::fprintf(stderr, "usage: journal_forge v1 IN OUT | hostile DIR | day N OUT\n");
  return 2;
}
