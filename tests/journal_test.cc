// The journal's format and writer: what is recorded reads back field by
// field, a damaged file reads up to the damage and names its offset, and a
// full queue or an unwritable file is counted, never thrown; every field of
// every host record is written. (The recorders and the tools over a whole
// trading day: journal_day.cmake.)
#include "recorder/journal/journal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "plugin/common.h"
#include "plugin/error_messages.h"
#include "recorder/journal/host_fields.h"
#include "recorder/journal/observers.h"
#include "recorder/journal/operations.h"
#include "recorder/tools/entry_text.h"
#include "recorder/tools/replay_order.h"

namespace kestrel {
namespace journal {
namespace {

namespace session = interfaces::session;
namespace spi = interfaces::spi;
namespace api = interfaces::api;
namespace callback = interfaces::callback;

std::string gbkToUtf8(const std::string& gbk) { return CodeConvert::gbk_to_utf8(gbk); }

std::string tempPath(const std::string& name) { return ::testing::TempDir() + "journal_" + name; }

// "name=value" for every field of the entry.
std::vector<std::string> shown(const Entry& entry) {
  PrintContext context;
  context.hostText = &gbkToUtf8;
  std::vector<std::string> out;
  for (const Field& f : entryFields(entry, context)) out.push_back(f.name + "=" + f.value);
  return out;
}

JournalFile written(const std::string& name, const std::function<void(Journal&)>& write) {
  {
    Journal journal(tempPath(name));
    write(journal);
  }
  JournalFile file;
  EXPECT_TRUE(readJournal(tempPath(name), file)) << file.problem;
  EXPECT_EQ(file.problem, "");
  return file;
}

TEST(Journal, RecordedArgumentsReadBackFieldByField) {
  AccountOrderNewRequest order;
  order.clientId = ClientId{"demo", "000007"};
  order.quantity = 3;
  order.price = 3577.5;
  SessionConfig config;
  config.userName = "trader";
  config.password = "secret";
  config.server.serverAddresses.push_back(AddressEntry{"tcp://10.0.0.1:5800", "main"});
  LoginReply reply;
  reply.entries = {{"a", "1"}, {"b", "2"}};
  xti::VendorOrder push{};
  std::strcpy(push.m_strInstrumentID, "rb2410");
  push.m_dLimitPrice = 3650.5;
  push.m_nOrderStatus = xti::ORDER_NO_TRADE_QUEUEING_CHAR;
  const std::string token = "abc";
  const ResultStatus loginFailed{-11, ErrorMessageTable::messageOf(-11)};
  const xti::XtError refused(2002, "\xE5\x8F\xAF\xE7\x94\xA8\xE8\xB5\x84\xE9\x87\x91");  // 可用资金
  const xti::XtError success;
  // The vendor's side as the recorders see it: through the observers.
  struct Api final : ObservedApi {
    explicit Api(EntrySink& sink) : ObservedApi(sink, 2, nullptr) {}
  };

  struct Case {
    const char* name;
    std::function<void(Journal&)> write;
    int32_t request;                    // in the entry's head
    std::vector<std::string> expected;  // among the entry's fields
  } cases[] = {
      {"host request record",
       [&](Journal& j) { recordCall<session::sendOrder>(j, Kind::kRequest, 1, 9, order); },
       9,
       {"requestId=9", "clientId.serial=000007", "quantity=3", "price=3577.5", "hedgeFlag=1"}},
      {"secrets are masked, nested lists named",
       [&](Journal& j) { recordCall<session::setConfig>(j, Kind::kRequest, 1, config); },
       0,
       {"userName=trader", "password=***", "authCode=", "server.serverAddresses=[1]",
        "server.serverAddresses[0].address=tcp://10.0.0.1:5800"}},
      {"host event, GBK shown as UTF-8",
       [&](Journal& j) { recordCall<spi::onLogin>(j, Kind::kCallback, 1, loginFailed, reply); },
       0,
       {"code=-11",
        "message=\xE7\x94\xA8\xE6\x88\xB7\xE7\x99\xBB\xE5\xBD\x95\xE5\xA4\xB1\xE8\xB4\xA5",
        "entries[1].key=b"}},
      {"null host record",
       [&](Journal& j) {
         recordCall<spi::onOrderAccepted>(j, Kind::kCallback, 1,
                                          static_cast<const OrderAcceptedRecord*>(nullptr),
                                          ResultStatus{}, -1, true);
       },
       -1,
       {"record=null", "code=0", "requestId=-1", "isLast=true"}},
      {"answer with what the call filled in",
       [&](Journal& j) {
         recordAnswer<session::getTradingAccountToken>(j, 1, ResultStatus{}, token);
       },
       0,
       {"code=0", "token=abc"}},
      {"vendor record at its layout",
       [&](Journal& j) { ObservedCallback(j, 2).onOrderPush(&push); },
       0,
       {"data.InstrumentID=rb2410", "data.LimitPrice=3650.5", "data.OrderStatus=51",
        "data.OrderSysID="}},
      {"vendor error and null text",
       [&](Journal& j) { ObservedCallback(j, 2).onOrderReply(5, 17, nullptr, refused); },
       5,
       {"requestId=5", "orderId=17", "remark=null", "errorId=2002",
        "errorMsg=\xE5\x8F\xAF\xE7\x94\xA8\xE8\xB5\x84\xE9\x87\x91"}},
      {"vendor request secrets",
       [&](Journal& j) { Api(j).userLogin("trader", "pw", 1, nullptr, "", ""); },
       1,
       {"userName=trader", "password=***", "machineInfo=null", "appId=", "authCode="}},
      {"vendor callback secrets",
       [&](Journal& j) { ObservedCallback(j, 2).onUserLogout("trader", "pw", 3, success); },
       3,
       {"userName=trader", "password=***", "requestId=3"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const JournalFile file = written("fields", c.write);
    ASSERT_GE(file.entries.size(), 2u);  // the entry (its return), then the closing one
    EXPECT_EQ(file.entries.back().kind, Kind::kEnd);
    EXPECT_EQ(file.entries[0].request, c.request);
    const std::vector<std::string> fields = shown(file.entries[0]);
    for (const std::string& want : c.expected) {
      EXPECT_NE(std::find(fields.begin(), fields.end(), want), fields.end())
          << want << " not among " << ::testing::PrintToString(fields);
    }
  }
}

TEST(Journal, DamagedFilesReadUpToTheDamageAndNameItsOffset) {
  const JournalFile good = written("good", [](Journal& j) {
    for (int id = 1; id <= 3; ++id) {
      recordCall<session::reqQryOrder>(j, Kind::kRequest, 1, id);
    }
  });
  ASSERT_EQ(good.entries.size(), 4u);
  std::ifstream in(tempPath("good"), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::size_t second = good.entries[1].offset;
  const std::size_t third = good.entries[2].offset;

  struct Case {
    const char* name;
    std::function<std::string()> damage;
    bool journal;
    std::size_t entries;
    std::string problem;
  } cases[] = {
      {"cut inside an entry", [&] { return bytes.substr(0, third + 12); }, true, 2,
       "truncated entry at offset " + std::to_string(third) + ": 29 bytes announced, 4 present"},
      {"cut inside a head", [&] { return bytes.substr(0, third + 3); }, true, 2,
       "truncated entry at offset " + std::to_string(third) + ": the file ends inside its head"},
      {"a changed byte",
       [&] {
         std::string b = bytes;
         b[second + 20] ^= 1;
         return b;
       },
       true, 1, "corrupt entry at offset " + std::to_string(second) + ": checksum mismatch"},
      {"an impossible size",
       [&] {
         std::string b = bytes;
         b[second + 3] = 0x7F;
         return b;
       },
       true, 1, "corrupt entry at offset " + std::to_string(second) + ": impossible size"},
      {"version 1, before the returns of callbacks",
       [&] {
         std::string b = bytes;
         b[8] = 1;
         return b;
       },
       true, 4, ""},
      {"a later version",
       [&] {
         std::string b = bytes;
         b[8] = 3;
         return b;
       },
       false, 0, "is a journal of format version 3; this program reads versions 1 to 2"},
      {"not a journal", [] { return std::string("KSJ"); }, false, 0, "is not a journal"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::ofstream(tempPath("damaged"), std::ios::binary) << c.damage();
    JournalFile file;
    EXPECT_EQ(readJournal(tempPath("damaged"), file), c.journal);
    EXPECT_EQ(file.entries.size(), c.entries);
    EXPECT_NE(file.problem.find(c.problem), std::string::npos) << file.problem;
  }
}

// Version 1 numbered the host's requests from 1, the destructor; they read
// as version 2 numbers them, from 0. Its other numbers read unchanged.
TEST(Journal, Version1OperationsReadAsVersion2NumbersThem) {
  struct Row {
    Boundary boundary;
    Kind kind;
    uint16_t version1;
    std::string name;
    uint16_t read;
  } rows[] = {
      {Boundary::kHost, Kind::kRequest, 1, "destroy", op::kDestroySession},
      {Boundary::kHost, Kind::kRequest, 2, "getTypeCode", session::getTypeCode::kSlot},
      {Boundary::kHost, Kind::kReturn, 16, "sendOrder", session::sendOrder::kSlot},
      {Boundary::kHost, Kind::kRequest, 51, "reqTradingAccountPasswordUpdate",
       session::reqTradingAccountPasswordUpdate::kSlot},
      {Boundary::kHost, Kind::kRequest, 100, "CreateTradeSession", op::kCreateTradeSession},
      {Boundary::kHost, Kind::kCallback, 3, "onLogin", spi::onLogin::kSlot},
      {Boundary::kVendor, Kind::kRequest, 38, "placeOrder", api::placeOrder::kSlot},
  };
  std::string bytes = journalHeader(1, 2, "version 1");
  bytes[8] = 1;
  for (const Row& row : rows) {
    std::string frame;
    FrameWriter(frame).begin(row.boundary, row.kind, row.version1, 1, 0);
    const auto size = static_cast<uint32_t>(frame.size() - kFrameHeadSize);
    const uint32_t crc = crc32(&frame[kFrameHeadSize], size);
    std::memcpy(&frame[0], &size, 4);
    std::memcpy(&frame[4], &crc, 4);
    bytes += frame;
  }
  JournalFile file;
  ASSERT_TRUE(parseJournal(bytes, "v1.ksj", file)) << file.problem;
  EXPECT_EQ(file.version, 1u);
  ASSERT_EQ(file.entries.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(rows[i].name);
    EXPECT_EQ(file.entries[i].operation, rows[i].read);
    EXPECT_EQ(operationName(file.entries[i]), rows[i].name);
  }
}

TEST(Journal, FullQueueAndUnwritableFileAreCountedNotThrown) {
  // An entry larger than the whole queue is dropped; the next one that fits
  // is written after a gap entry that says how many were lost.
  const JournalFile file = written("queue", [](Journal& j) {
    recordCall<session::reqAuxiliary>(j, Kind::kRequest, 1, 1,
                                      std::string(Journal::kDefaultQueueBytes, 'x'));
    recordCall<session::reqQryFill>(j, Kind::kRequest, 1, 2);
    EXPECT_EQ(j.counts().queueFull, 1u);
  });
  ASSERT_EQ(file.entries.size(), 3u);
  EXPECT_EQ(file.entries[0].kind, Kind::kGap);
  EXPECT_EQ(shown(file.entries[0]), std::vector<std::string>{"dropped=1"});
  EXPECT_EQ(file.entries[1].request, 2);
  EXPECT_EQ(shown(file.entries[2]),
            (std::vector<std::string>{"written=2", "dropped=1", "notWritten=0"}));

  // A file that cannot be opened, and (on Linux) a full disk: nothing is
  // written, every entry is counted, before and after close.
  std::vector<std::string> unwritable = {tempPath("no/such/folder/x.ksj")};
  if (std::ifstream("/dev/full")) unwritable.push_back("/dev/full");
  for (const std::string& path : unwritable) {
    SCOPED_TRACE(path);
    Journal journal(path);
    recordCall<session::login>(journal, Kind::kRequest, 1);
    journal.flush();
    recordCall<session::logout>(journal, Kind::kRequest, 1);
    journal.close();
    recordCall<session::release>(journal, Kind::kRequest, 1);
    EXPECT_EQ(journal.counts().written, 0u);
    EXPECT_EQ(journal.counts().notWritten, 3u);
  }
}

// A host event made inside a vendor callback, as the two recorders record
// them into one journal: each return is recorded on the callback's thread
// when the call returned or threw (the exception passed on), closing the
// innermost callback open there, and shown as such.
TEST(Journal, ReturnsOfCallbacksCloseThemOnTheirThread) {
  // The host: throws from the fill's event.
  struct Host : ITradeSessionSpi {
    void onFill(const FillRecord*, const ResultStatus&, int, bool) override {
      throw std::runtime_error("host");
    }
  } host;
  // The plug-in: turns the order push into a host event, throws from the deal push.
  struct Plugin : xti::XtTraderApiCallback {
    ITradeSessionSpi* spi = nullptr;
    void onOrderPush(const xti::VendorOrder*) override {
      spi->onOrderAccepted(nullptr, ResultStatus{}, -1, true);
    }
    void onDealPush(const xti::VendorDeal*) override {
      spi->onFill(nullptr, ResultStatus{}, -1, true);
    }
  } plugin;
  const xti::VendorOrder order{};
  const xti::VendorDeal deal{};
  const JournalFile file = written("returns", [&](Journal& j) {
    ObservedSpi recordingHost(j, 1);
    recordingHost.setTarget(&host);
    plugin.spi = &recordingHost;
    ObservedCallback callback(j, 2);
    callback.setTarget(&plugin);
    callback.onOrderPush(&order);
    EXPECT_THROW(callback.onDealPush(&deal), std::runtime_error);
  });
  ASSERT_EQ(file.entries.size(), 9u);
  EntryText text(file.startMicros);
  const char* const expected[] = {"V<  onOrderPush", "H<  onOrderAccepted", "H.  onOrderAccepted",
                                  "V.  onOrderPush", "V<  onDealPush",      "H<  onFill",
                                  "H.  onFill",      "V.  onDealPush"};
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    SCOPED_TRACE(expected[i]);
    const Entry& e = file.entries[i];
    const std::string line = text.line(e);
    EXPECT_NE(line.find(expected[i]), std::string::npos) << line;
    EXPECT_EQ(e.thread, file.entries[0].thread);
    if (e.kind != Kind::kDone) continue;
    const Entry& opened = file.entries[e.boundary == Boundary::kHost ? i - 1 : i - 3];
    EXPECT_EQ(e.operation, opened.operation);
    EXPECT_EQ(e.object, opened.object);
    EXPECT_EQ(e.request, opened.request);
    const bool threw = i >= 6;
    EXPECT_EQ(shown(e), std::vector<std::string>{threw ? "threw=true" : "threw=false"});
    const std::string ending = " threw";
    EXPECT_EQ(line.size() > ending.size() &&
                  line.compare(line.size() - ending.size(), ending.size(), ending) == 0,
              threw)
        << line;
    EXPECT_NE(text.json(e).find("\"kind\":\"done\""), std::string::npos);
  }
}

// The tools format every entry as text in memory, whatever its length: a
// host event is shown in the demo host's words, and its texts come whole.
TEST(Journal, EntriesOfAnySizeAreShownWhole) {
  const std::size_t sizes[] = {0, 600, 70000 /* more than a pipe holds */, 1u << 20};
  for (std::size_t size : sizes) {
    SCOPED_TRACE(size);
    OrderRecord refused;
    refused.clientId = ClientId{"demo", "000009"};
    refused.statusMessage = std::string(size, 's');
    const ResultStatus status{-1, std::string(size, 'm')};
    const JournalFile file = written("long", [&](Journal& j) {
      recordCall<spi::onOrderRejected>(j, Kind::kCallback, 1, &refused, status, 4, true);
    });
    ASSERT_EQ(file.entries.size(), 2u);
    EntryText text(file.startMicros);
    const std::string line = text.line(file.entries[0]);
    EXPECT_NE(line.find("H<  onOrderRejected"), std::string::npos) << line.substr(0, 200);
    EXPECT_NE(line.find("client=demo@000009"), std::string::npos) << line.substr(0, 200);
    if (size > 0) {
      EXPECT_NE(line.find(" msg=\"" + status.message + "\""), std::string::npos);
    }
    EXPECT_NE(line.find("status=\"" + refused.statusMessage + "\""), std::string::npos);
    const std::string json = text.json(file.entries[0]);
    EXPECT_NE(json.find("\"message\":\"" + status.message + "\""), std::string::npos);
  }
}

// The streaming reader gives the entries readJournal() gives, across its
// buffer's refills (entries larger than a refill among small ones), and the
// same again after a rewind; a kDone entry shows as its callback's return.
TEST(Journal, ReaderStreamsEntriesAcrossItsBufferAndRewinds) {
  const std::size_t sizes[] = {10, 3u << 20, 7, 1u << 20, 100, (1u << 20) - 30, 5};
  const JournalFile file = written("stream", [&](Journal& j) {
    for (std::size_t size : sizes) {
      record(j, Boundary::kVendor, Kind::kCallback, slot::callback::onConnected, 2, 0, false,
             std::string(size, 'x').c_str());
      record(j, Boundary::kVendor, Kind::kDone, slot::callback::onConnected, 2, 0, size == 7);
    }
  });
  ASSERT_EQ(file.entries.size(), 2 * std::size(sizes) + 1);  // and the closing entry
  JournalReader reader;
  ASSERT_TRUE(reader.openPath(tempPath("stream"))) << reader.problem();
  EXPECT_EQ(reader.version(), kVersion);
  for (int pass = 0; pass < 2; ++pass) {
    SCOPED_TRACE(pass);
    std::size_t i = 0;
    for (Entry e; reader.next(e); ++i) {
      ASSERT_LT(i, file.entries.size());
      EXPECT_EQ(e.offset, file.entries[i].offset);
      EXPECT_EQ(e.values, file.entries[i].values);
    }
    EXPECT_EQ(i, file.entries.size());
    EXPECT_EQ(reader.problem(), "");
    ASSERT_TRUE(reader.rewind());
  }
  EntryText text(file.startMicros);
  const std::string returned = text.line(file.entries[5]);
  EXPECT_NE(returned.find("V.  onConnected"), std::string::npos) << returned;
  EXPECT_EQ(returned.substr(returned.size() - 6), " threw") << returned;
  EXPECT_EQ(text.line(file.entries[1]).find("threw"), std::string::npos);
  EXPECT_NE(text.json(file.entries[1]).find("\"kind\":\"done\",\"operation\":\"onConnected\""),
            std::string::npos);
}

// The replay's order where a callback and a host request on another thread
// overlap: the callback goes before the request when the request was
// answered, after it when the request was refused without a vendor request,
// and stays where it was when the journal shows which came first (the
// callback's thread went on, the request had asked the vendor).
TEST(Journal, ReplayOrderPutsOvertakenCallbacksAfterRefusals) {
  // One letter per entry: c a vendor callback on thread 2, e a host event on
  // thread 2; on thread 1 r a funds query, v a vendor request, 0 and 3 its
  // answer (code 0 or -3); on thread 2, R and T a query refused inside the
  // callback.
  const auto journal = [](const std::string& letters) {
    std::vector<Entry> entries;
    for (char c : letters) {
      Entry e;
      e.thread = std::string("ceRT").find(c) != std::string::npos ? 2 : 1;
      e.object = 1;
      e.boundary = c == 'c' || c == 'v' ? Boundary::kVendor : Boundary::kHost;
      e.kind = c == 'c' || c == 'e'               ? Kind::kCallback
               : c == 'r' || c == 'v' || c == 'R' ? Kind::kRequest
                                                  : Kind::kReturn;
      e.operation = c == 'c'   ? callback::onAccountStatus::kSlot
                    : c == 'e' ? spi::onAccountFundsResponse::kSlot
                    : c == 'v' ? api::queryAccountDetail::kSlot
                               : session::reqQryTradingAccount::kSlot;
      if (e.kind == Kind::kReturn) {
        FrameWriter values(e.values);
        values.int32(c == '0' ? 0 : -3);
        values.text("");
      }
      entries.push_back(e);
    }
    return entries;
  };
  const struct {
    const char* letters;
    std::vector<std::size_t> order;
  } rows[] = {
      {"cr3rv0", {1, 2, 0, 3, 4, 5}},          // the refused query overtook the callback
      {"cr3r3rv0", {1, 2, 3, 4, 0, 5, 6, 7}},  // twice
      {"crv0", {0, 1, 2, 3}},                  // accepted: the callback came first
      {"crv3", {0, 1, 2, 3}},                  // refused after asking the vendor
      {"cer3", {0, 1, 2, 3}},                  // the callback's thread went on first
      {"cre3", {0, 1, 2, 3}},                  // ... and while the request ran
      {"cRT", {0, 1, 2}},                      // refused inside the callback
      {"cr", {0, 1}},                          // the answer was cut off
      {"cr3cr3", {1, 2, 0, 4, 5, 3}},          // each callback after its own
      {"crv0cr3", {0, 1, 2, 3, 5, 6, 4}},
      {"rcv0", {1, 0, 2, 3}},  // the answered query saw the callback that came while it ran
      {"rc3", {0, 1, 2}},      // ... the refused one did not
      {"rvc0", {0, 1, 2, 3}},  // the callback came after the query asked the vendor
      {"rec0", {0, 1, 2, 3}},  // its thread was busy since the query began
      {"rc", {0, 1}},          // the answer was cut off
      {"rcv0rcv0", {1, 0, 2, 3, 5, 4, 6, 7}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.letters);
    EXPECT_EQ(replayOrder(journal(row.letters)), row.order);
  }
}

// The journal's format as text, for its fingerprint: every operation (the
// tables' rows with their parameters' names, types and marks, and the
// journal's own), every host record's fields with their types, and every
// vendor record's layout.
template <typename T>
struct Tag {};
template <typename T>
struct RecordName;
#define KS_NAME(Record, list)                                      \
  template <>                                                      \
  struct RecordName<Record> {                                      \
    [[maybe_unused]] static constexpr const char* value = #Record; \
  };
KS_JOURNAL_HOST_RECORDS(KS_NAME)
#undef KS_NAME

std::string typeName(Tag<bool>) { return "bool"; }
std::string typeName(Tag<int32_t>) { return "int32"; }
std::string typeName(Tag<int64_t>) { return "int64"; }
std::string typeName(Tag<double>) { return "double"; }
std::string typeName(Tag<std::string>) { return "text"; }
std::string typeName(Tag<const char*>) { return "text"; }
std::string typeName(Tag<void>) { return "nothing"; }
std::string typeName(Tag<xti::XtError>) { return "error"; }
std::string typeName(Tag<ITradeSessionSpi*>) { return "object"; }
std::string typeName(Tag<xti::XtTraderApiCallback*>) { return "object"; }
template <typename T>
std::string typeName(Tag<std::vector<T>>) {
  return "list<" + typeName(Tag<T>()) + ">";
}
template <typename T>
std::string typeName(Tag<std::list<T>>) {
  return "list<" + typeName(Tag<T>()) + ">";
}
template <typename T>
std::string typeName(Tag<const T&>) {
  return typeName(Tag<T>());
}
template <typename T>
std::string typeName(Tag<T&>) {
  return "out " + typeName(Tag<T>());
}
template <typename T>
std::string typeName(Tag<const T*>) {
  if constexpr (VendorLayout<T>::value) {
    return "bytes " + std::string(VendorLayout<T>::get().name) + " or null";
  } else {
    return typeName(Tag<T>()) + " or null";
  }
}
template <typename T>
std::string typeName(Tag<RequestNumber<T>>) {
  return "request number " + typeName(Tag<T>());
}
template <typename T>
std::string typeName(Tag<Secret<T>>) {
  return "secret " + typeName(Tag<T>());
}
template <typename T>
std::string typeName(Tag<T>) {
  return RecordName<T>::value;
}

struct DescribeFields {
  template <typename T>
  void operator()(const char* name, T&) {
    text += " " + typeName(Tag<T>()) + " " + name + ",";
  }
  void secret(const char* name, std::string&) { text += std::string(" secret text ") + name + ","; }
  std::string text;
};

template <typename I, uint16_t S, typename R, typename... Marked>
std::string describeRow(const interfaces::Operation<I, S, R, Marked...>&, const char* names) {
  const std::vector<std::string> name = argumentNames(names, sizeof...(Marked));
  std::string text = typeName(Tag<R>()) + "(";
  std::size_t i = 0;
  ((text += (i == 0 ? "" : ", ") + typeName(Tag<Marked>()) + " " + name[i], ++i), ...);
  return text + ")";
}

std::string formatDescription() {
  std::string text;
#define KS_DESCRIBE(ns)                                                                \
  [&](auto row) {                                                                      \
    using Op = decltype(row);                                                          \
    text += std::string(#ns " ") + std::to_string(Op::kSlot) + " " + Op::kName + " " + \
            describeRow(row, Op::kArguments) + "\n";                                   \
  }
#define KS_SESSION(slot, R, name, types, names) session_(interfaces::session::name());
#define KS_SPI(slot, R, name, types, names) spi_(interfaces::spi::name());
#define KS_API(slot, R, name, types, names) api_(interfaces::api::name());
#define KS_CALLBACK(slot, R, name, types, names) callback_(interfaces::callback::name());
  const auto session_ = KS_DESCRIBE(session);
  const auto spi_ = KS_DESCRIBE(spi);
  const auto api_ = KS_DESCRIBE(api);
  const auto callback_ = KS_DESCRIBE(callback);
  KS_TRADE_SESSION_TABLE(KS_SESSION, KS_NO_ROW)
  KS_TRADE_SESSION_SPI_TABLE(KS_SPI, KS_NO_ROW)
  KS_XT_TRADER_API_TABLE(KS_API, KS_NO_ROW)
  KS_XT_TRADER_API_CALLBACK_TABLE(KS_CALLBACK, KS_NO_ROW)
#undef KS_DESCRIBE
#undef KS_SESSION
#undef KS_SPI
#undef KS_API
#undef KS_CALLBACK
  const OperationList operations = knownOperations();
  for (const Operation* o = operations.begin; o != operations.end; ++o) {
    text += "operation " + std::to_string(static_cast<int>(o->boundary)) + " " +
            std::to_string(static_cast<int>(o->kind)) + " " + std::to_string(o->slot) + " " +
            o->name + " (" + o->arguments + ")" + (o->numbered ? " numbered" : "") + "\n";
  }
#define KS_RECORD(Record, list)               \
  {                                           \
    Record record;                            \
    DescribeFields fields;                    \
    journal::fields(fields, record);          \
    text += #Record ":" + fields.text + "\n"; \
  }
  KS_JOURNAL_HOST_RECORDS(KS_RECORD)
#undef KS_RECORD
  std::vector<Layout> layouts;
#define KS_LAYOUT(Name, size) layouts.push_back(VendorLayout<xti::Name>::get());
  XTI_RECORD_LAYOUTS(KS_LAYOUT)
#undef KS_LAYOUT
  for (const Layout& layout : layouts) {
    text += std::string(layout.name) + " " + std::to_string(layout.size) + ":";
    for (const LayoutField* f = layout.begin; f != layout.end; ++f) {
      text += std::string(" ") + static_cast<char>(f->kind) + std::to_string(f->size) + "@" +
              std::to_string(f->offset) + " " + f->name + ",";
    }
    text += "\n";
  }
  return text;
}

uint64_t fnv1a(const std::string& text) {
  uint64_t hash = 14695981039346656037ull;
  for (unsigned char c : text) hash = (hash ^ c) * 1099511628211ull;
  return hash;
}

// The format's fingerprint is pinned to its version: a change to what an
// entry holds (an operation or a record field added, renamed, retyped,
// reordered, a secret unmarked) fails here until it comes with a new version
// of the format (kVersion, docs/journal.md) and that version's fingerprint.
TEST(Journal, FormatFingerprintIsPinnedToItsVersion) {
  const std::string description = formatDescription();
  const std::pair<uint32_t, uint64_t> pinned = {2, 0xc64bfefdc7c9ce48ull};
  EXPECT_EQ(std::make_pair(kVersion, fnv1a(description)), pinned)
      << "the journal's format is now:\n"
      << description;
}

// The marks by name, a row per mark: every parameter of the tables and every
// host record field whose name says it holds a password or an
// authentication code is marked secret (masked wherever it is recorded), and
// a parameter is the request number (written in the entry's head) exactly
// when it is named requestId. A row or field listed without its mark fails
// here, naming it, whatever the format's fingerprint says.
TEST(Journal, ArgumentsAreMarkedAsTheirNamesSay) {
  struct Rule {
    const char* mark;  // how the description writes it, before the type
    bool (*named)(const std::string& lowercaseName);
    bool onlyThoseNames;  // the mark on no other name
    int seen;
  } rules[] = {
      {"secret ",
       [](const std::string& n) {
         return n.find("password") != std::string::npos || n.find("authcode") != std::string::npos;
       },
       false, 0},
      {"request number ", [](const std::string& n) { return n == "requestid"; }, true, 0},
  };
  std::istringstream lines(formatDescription());
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("operation ", 0) == 0) continue;  // the names alone: the rows give the types
    // A row's parameters follow its "(", a record's fields its ":"; each is
    // "marks type name", the items separated by ", ".
    std::string items = line.substr(line.find_first_of("(:") + 1);
    std::replace(items.begin(), items.end(), ')', ',');
    std::istringstream in(items);
    for (std::string item; std::getline(in, item, ',');) {
      item.erase(0, item.find_first_not_of(' '));
      if (item.empty()) continue;
      std::string name;
      for (char c : item.substr(item.rfind(' ') + 1)) {
        name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
      for (Rule& rule : rules) {
        SCOPED_TRACE(rule.mark + (": " + line));
        const bool marked = item.rfind(rule.mark, 0) == 0;
        rule.seen += marked ? 1 : 0;
        if (rule.named(name)) {
          EXPECT_TRUE(marked) << item;
        } else if (rule.onlyThoseNames) {
          EXPECT_FALSE(marked) << item;
        }
      }
    }
  }
  for (const Rule& rule : rules) EXPECT_GT(rule.seen, 0) << rule.mark;  // the marks still show
}

// How many members an aggregate has, a base class counting as one: the
// largest N for which T{x1, ..., xN} compiles, each x converting to anything.
struct AnyMember {
  template <typename T>
  operator T() const;  // only named in unevaluated code
};
template <std::size_t>
using AnyMemberAt = AnyMember;

template <typename T, typename Indices, typename = void>
struct BracedFrom : std::false_type {};
template <typename T, std::size_t... I>
struct BracedFrom<T, std::index_sequence<I...>, std::void_t<decltype(T{AnyMemberAt<I>{}...})>>
    : std::true_type {};

template <typename T, std::size_t N = 0>
constexpr std::size_t memberCount() {
  if constexpr (BracedFrom<T, std::make_index_sequence<N + 1>>::value) {
    return memberCount<T, N + 1>();
  } else {
    return N;
  }
}

// Counts the fields host_fields.h hands over for a record, nested records
// as one; a base record's fields are handed over as the record's own.
struct FieldCounter {
  std::size_t count = 0;
  template <typename F>
  void operator()(const char*, F&) {
    ++count;
  }
  void secret(const char*, std::string&) { ++count; }
};

template <typename Record>
std::size_t fieldsHandedOver() {
  Record record;
  FieldCounter counter;
  // host_fields.h's overloads by name; the test's own record's by its
  // namespace. (A compiler that looks names up only at instantiation, as
  // Visual C++'s mode does, would otherwise see only this file's overload.)
  using journal::fields;
  fields(counter, record);
  return counter.count;
}

// Members of Record against the fields the journal writes; the members of
// its base record, when it has one, against the base's fields.
template <typename Record>
std::pair<std::size_t, std::size_t> membersAndFields() {
  if constexpr (std::is_base_of<OrderRecordHead, Record>::value &&
                !std::is_same<OrderRecordHead, Record>::value) {
    return {memberCount<Record>() - 1 + memberCount<OrderRecordHead>(), fieldsHandedOver<Record>()};
  } else {
    return {memberCount<Record>(), fieldsHandedOver<Record>()};
  }
}

// A record whose fields() forgets a member, as a record would after a member
// was added to plugin/host_records.h without its line in host_fields.h.
struct RecordWithForgottenMember {
  int32_t kept = 0;
  int32_t added = 0;  // fits in the padding before `wide`: the size stays
  int64_t wide = 0;
};
template <typename V>
void fields(V& v, RecordWithForgottenMember& r) {
  v("kept", r.kept);
  v("wide", r.wide);
}

TEST(Journal, EveryMemberOfEveryHostRecordIsWritten) {
  struct Row {
    const char* record;
    std::pair<std::size_t, std::size_t> membersAndFields;
  };
#define KS_ROW(Record, list) {#Record, membersAndFields<Record>()},
  const Row rows[] = {KS_JOURNAL_HOST_RECORDS(KS_ROW)};
#undef KS_ROW
  const std::pair<std::size_t, std::size_t> forgotten =
      membersAndFields<RecordWithForgottenMember>();
  std::set<std::string> listed;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.record);
    listed.insert(row.record);
    EXPECT_EQ(row.membersAndFields.first, row.membersAndFields.second)
        << "members against fields written: a member without its line in host_fields.h";
  }
  // The count sees a forgotten member even where the record's size does not.
  EXPECT_EQ(forgotten, std::make_pair(std::size_t{3}, std::size_t{2}));

#if defined(KS_SOURCE_DIR)
  // Every record of the header is in host_fields.h's list.
  std::ifstream header(KS_SOURCE_DIR "/plugin/host_records.h");
  ASSERT_TRUE(header) << "plugin/host_records.h";
  std::stringstream text;
  text << header.rdbuf();
  const std::string all = text.str();
  const std::regex declared(R"(\nstruct (\w+)( : \w+)? \{)");
  int records = 0;
  for (std::sregex_iterator it(all.begin(), all.end(), declared), end; it != end; ++it) {
    ++records;
    EXPECT_EQ(listed.count((*it)[1].str()), 1u) << (*it)[1].str() << " is not in the table";
  }
  EXPECT_GT(records, 40);  // the pattern still finds the declarations
#endif
}

}  // namespace
}  // namespace journal
}  // namespace kestrel
