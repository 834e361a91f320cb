// The day report's three forms: one self-contained HTML page (the charts
// drawn as SVG by this program, a few lines of script for the order table),
// JSON with every figure (docs/report.md describes each field) and CSV with
// one row per order.
#ifndef KESTREL_REPORT_REPORT_OUTPUT_H_
#define KESTREL_REPORT_REPORT_OUTPUT_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "report/day.h"

namespace kestrel {
namespace report {

// The distribution of one stage's samples, nanoseconds.
struct Distribution {
  std::size_t count = 0;
  uint64_t median = 0;
  uint64_t p90 = 0;
  uint64_t p99 = 0;
  uint64_t max = 0;
};
Distribution distributionOf(const std::vector<Sample>& samples);

// How many orders ended each way, over the day and per instrument.
struct OrderCounts {
  std::size_t sent = 0;
  std::size_t accepted = 0;  // the exchange accepted them (onOrderAccepted)
  std::size_t filled = 0;
  std::size_t partlyFilled = 0;  // still open with a part filled, or cancelled after one
  std::size_t cancelled = 0;
  std::size_t refusedByPlugin = 0;
  std::size_t refusedByCounter = 0;
  std::size_t refusedByExchange = 0;
  std::size_t open = 0;  // no final state
};

// The lines of the orders' journal entries as journal_dump prints them,
// read in a second pass over the journal; at most `limit` lines in all (the
// page says which orders have theirs).
struct EntryLines {
  std::vector<std::pair<int, std::string>> lines;  // order, line, in journal order
  std::size_t ordersWithLines = 0;                 // orders 0 .. ordersWithLines-1 have all theirs
};
EntryLines orderEntryLines(const Day& day, std::size_t limit);

void writeHtml(const Day& day, const EntryLines& lines, std::FILE* out);
void writeJson(const Day& day, std::FILE* out);
void writeCsv(const Day& day, std::FILE* out);

}  // namespace report
}  // namespace kestrel

#endif  // KESTREL_REPORT_REPORT_OUTPUT_H_
