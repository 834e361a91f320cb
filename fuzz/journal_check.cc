// The journal's reader under arbitrary bytes: as a whole file, and as one
// entry's payload inside a well-formed file. The entries read are then read
// as each tool reads them: printed as journal_dump prints them, put in the
// replay's order (which reads the answers' codes), and read by the day
// report (report/day.h), versions 1 and 2. Built with the journal's code and
// the report's, never the plug-in.
#include <cstdio>
#include <string>

#include "fuzz/fuzz_checks.h"
#include "recorder/journal/journal_format.h"
#include "recorder/journal/operations.h"
#include "recorder/tools/replay_order.h"
#include "report/day.h"

namespace kestrel::fuzz {
namespace {

using namespace kestrel::journal;

std::string shownAsIs(const std::string& text) { return text; }

// Every entry's values print or throw FormatError; anything else escapes and
// is a finding.
void printAll(const JournalFile& file) {
  for (bool host : {false, true}) {
    PrintContext context;
    context.hostText = &shownAsIs;
    context.host = host;
    for (const Entry& entry : file.entries) {
      try {
        entryFields(entry, context);
      } catch (const FormatError&) {
      }
      operationName(entry);
    }
  }
  // The replay's order reads every answer's code; it places every entry once.
  const std::vector<std::size_t> order = replayOrder(file.entries);
  if (order.size() != file.entries.size()) reportFailure("the replay's order lost entries");
  // The report reads every entry: a malformed one is named, never thrown.
  for (uint32_t version : {1u, 2u}) {
    report::Day day;
    day.version = version;
    report::DayBuilder builder(day, report::Options());
    for (const Entry& entry : file.entries) builder.add(entry);
    builder.finish();
    if (day.entries != file.entries.size()) reportFailure("the report skipped entries");
  }
}

}  // namespace

void checkJournal(const uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);

  // A whole file: entries in the order of their offsets, inside the bytes; a
  // reading that stopped early names an offset inside them.
  JournalFile file;
  if (parseJournal(bytes, "fuzz.ksj", file)) {
    uint64_t last = 0;
    for (const Entry& entry : file.entries) {
      if (entry.offset >= size || (last != 0 && entry.offset <= last)) {
        reportFailure("entry offset out of order or outside the file: " + hexOf(data, size));
      }
      last = entry.offset;
    }
    unsigned long long offset = 0;
    const std::size_t at = file.problem.find(" at offset ");
    if (!file.problem.empty() &&
        (at == std::string::npos ||
         std::sscanf(file.problem.c_str() + at, " at offset %llu", &offset) != 1 ||
         offset >= size)) {
      reportFailure("a problem without an offset inside the file: " + file.problem);
    }
    printAll(file);
  } else if (file.problem.empty()) {
    reportFailure("a refused journal without a reason");
  }

  // The bytes as one entry's payload, framed with its size and CRC after a
  // valid header: read back whole when its size is possible.
  if (size < kPayloadHeadSize || size > kMaxPayload) return;
  std::string framed = journalHeader(1, 2, "fuzz");
  const auto payloadSize = static_cast<uint32_t>(size);
  const uint32_t crc = crc32(bytes.data(), size);
  framed.append(reinterpret_cast<const char*>(&payloadSize), 4);
  framed.append(reinterpret_cast<const char*>(&crc), 4);
  framed += bytes;
  JournalFile one;
  if (!parseJournal(framed, "fuzz.ksj", one) || !one.problem.empty() || one.entries.size() != 1) {
    reportFailure("a framed payload was not read back: " + one.problem);
  }
  printAll(one);
}

}  // namespace kestrel::fuzz
