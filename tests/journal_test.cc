// The journal's format and writer: what is recorded reads back field by
// field, a damaged file reads up to the damage and names its offset, and a
// full queue or an unwritable file is counted, never thrown; every field of
// every host record is written. (The recorders and the tools over a whole
// trading day: journal_day.cmake.)
#include "recorder/journal/journal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "plugin/common.h"
#include "plugin/error_messages.h"
#include "recorder/journal/host_fields.h"
#include "recorder/journal/operations.h"
#include "recorder/tools/entry_text.h"
#include "recorder/tools/replay_order.h"

namespace kestrel {
namespace journal {
namespace {

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
  const Boundary host = Boundary::kHost;
  const Boundary vendor = Boundary::kVendor;

  struct Case {
    const char* name;
    std::function<void(Journal&)> write;
    std::vector<std::string> expected;  // among the entry's fields
  } cases[] = {
      {"host request record",
       [&](Journal& j) { record(j, host, Kind::kRequest, slot::host::sendOrder, 1, 9, 9, order); },
       {"requestId=9", "clientId.serial=000007", "quantity=3", "price=3577.5", "hedgeFlag=1"}},
      {"secrets are masked, nested lists named",
       [&](Journal& j) { record(j, host, Kind::kRequest, slot::host::setConfig, 1, 0, config); },
       {"userName=trader", "password=***", "authCode=", "server.serverAddresses=[1]",
        "server.serverAddresses[0].address=tcp://10.0.0.1:5800"}},
      {"host event, GBK shown as UTF-8",
       [&](Journal& j) {
         record(j, host, Kind::kCallback, slot::event::onLogin, 1, 0, loginFailed, reply);
       },
       {"code=-11",
        "message=\xE7\x94\xA8\xE6\x88\xB7\xE7\x99\xBB\xE5\xBD\x95\xE5\xA4\xB1\xE8\xB4\xA5",
        "entries[1].key=b"}},
      {"null host record",
       [&](Journal& j) {
         record(j, host, Kind::kCallback, slot::event::onOrderAccepted, 1, -1,
                static_cast<const OrderAcceptedRecord*>(nullptr), ResultStatus{}, -1, true);
       },
       {"record=null", "code=0", "requestId=-1", "isLast=true"}},
      {"answer with what the call filled in",
       [&](Journal& j) {
         record(j, host, Kind::kReturn, slot::host::getTradingAccountToken, 1, 0, ResultStatus{},
                token);
       },
       {"code=0", "token=abc"}},
      {"vendor record at its layout",
       [&](Journal& j) {
         record(j, vendor, Kind::kCallback, slot::callback::onOrderPush, 2, 0, &push);
       },
       {"data.InstrumentID=rb2410", "data.LimitPrice=3650.5", "data.OrderStatus=51",
        "data.OrderSysID="}},
      {"vendor error and null text",
       [&](Journal& j) {
         record(j, vendor, Kind::kCallback, slot::callback::onOrderReply, 2, 5, 5, 17,
                static_cast<const char*>(nullptr), refused);
       },
       {"requestId=5", "orderId=17", "remark=null", "errorId=2002",
        "errorMsg=\xE5\x8F\xAF\xE7\x94\xA8\xE8\xB5\x84\xE9\x87\x91"}},
      {"vendor request secrets",
       [&](Journal& j) {
         record(j, vendor, Kind::kRequest, slot::vendor::userLogin, 2, 1, "trader", Secret{"pw"}, 1,
                static_cast<const char*>(nullptr), "", Secret{""});
       },
       {"userName=trader", "password=***", "machineInfo=null", "appId=", "authCode="}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const JournalFile file = written("fields", c.write);
    ASSERT_EQ(file.entries.size(), 2u);  // the entry, then the closing one
    EXPECT_EQ(file.entries[1].kind, Kind::kEnd);
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
      record(j, Boundary::kHost, Kind::kRequest, slot::host::reqQryOrder, 1, id, id);
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

TEST(Journal, FullQueueAndUnwritableFileAreCountedNotThrown) {
  // An entry larger than the whole queue is dropped; the next one that fits
  // is written after a gap entry that says how many were lost.
  const JournalFile file = written("queue", [](Journal& j) {
    record(j, Boundary::kHost, Kind::kRequest, slot::host::reqAuxiliary, 1, 1, 1,
           std::string(Journal::kDefaultQueueBytes, 'x'));
    record(j, Boundary::kHost, Kind::kRequest, slot::host::reqQryFill, 1, 2, 2);
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
    record(journal, Boundary::kHost, Kind::kRequest, slot::host::login, 1, 0);
    journal.flush();
    record(journal, Boundary::kHost, Kind::kRequest, slot::host::logout, 1, 0);
    journal.close();
    record(journal, Boundary::kHost, Kind::kRequest, slot::host::release, 1, 0);
    EXPECT_EQ(journal.counts().written, 0u);
    EXPECT_EQ(journal.counts().notWritten, 3u);
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
      record(j, Boundary::kHost, Kind::kCallback, slot::event::onOrderRejected, 1, 4, &refused,
             status, 4, true);
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
      e.operation = c == 'c'   ? slot::callback::onAccountStatus
                    : c == 'e' ? slot::event::onAccountFundsResponse
                    : c == 'v' ? slot::vendor::queryAccountDetail
                               : slot::host::reqQryTradingAccount;
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
#define KS_ROW(Record) \
  { #Record, membersAndFields < Record>() }
  const Row rows[] = {KS_ROW(TextPair),
                      KS_ROW(AddressEntry),
                      KS_ROW(ServerInfo),
                      KS_ROW(ProxySettings),
                      KS_ROW(SessionConfig),
                      KS_ROW(AccountHeader),
                      KS_ROW(CodeId),
                      KS_ROW(ClientId),
                      KS_ROW(AccountOrderNewRequest),
                      KS_ROW(AccountOrderCancelRequest),
                      KS_ROW(OrderRecordHead),
                      KS_ROW(AccountFunds),
                      KS_ROW(OrderDetailRecord),
                      KS_ROW(OrderRecord),
                      KS_ROW(OrderAcceptedRecord),
                      KS_ROW(OrderFilledRecord),
                      KS_ROW(FillRecord),
                      KS_ROW(PositionRecord),
                      KS_ROW(PositionDetailRecord),
                      KS_ROW(LoginEntry),
                      KS_ROW(LoginReply),
                      KS_ROW(ResultStatus),
                      KS_ROW(CurrencyRate),
                      KS_ROW(ClientSystemInfo),
                      KS_ROW(ICodeID),
                      KS_ROW(CrashReturnReq),
                      KS_ROW(TransferReq),
                      KS_ROW(InvestorReq),
                      KS_ROW(UserPasswordUpdateReq),
                      KS_ROW(BankMoneyReq),
                      KS_ROW(BankAccountregisterReq),
                      KS_ROW(TradingAccountID),
                      KS_ROW(CommissionRateReq),
                      KS_ROW(AccountOrderRequest),
                      KS_ROW(HistoryDataReq),
                      KS_ROW(HistoryDataReqV2),
                      KS_ROW(InstrumentReq),
                      KS_ROW(MarginRateReq),
                      KS_ROW(PositionDetailReq),
                      KS_ROW(SettlementInfoReq),
                      KS_ROW(SecurityReturnReq),
                      KS_ROW(SettlementInfoConfirmReq),
                      KS_ROW(TradingAccountPasswordUpdateReq),
                      KS_ROW(TransferBankReq),
                      KS_ROW(TransferSerialReq)};
  const std::pair<std::size_t, std::size_t> forgotten =
      membersAndFields<RecordWithForgottenMember>();
#undef KS_ROW
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
  // Every record of the header is in the table above.
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
