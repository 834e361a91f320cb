// journal_report: a recorded trading day on one page.
//
//   journal_report FILE [-o PAGE] [--json FILE] [--csv FILE] [--late-ms N]
//                  [--entry-lines N]
//
// Reads a journal (versions 1 and 2, entry by entry) and writes one
// self-contained HTML page (default: FILE with .html for its extension):
// the day, the orders and how they ended, every stage's latencies as figures
// and charts, the anomalies with the orders they concern, and a sortable
// table of every order whose rows open the order's journal entries as
// journal_dump prints them. --json writes every figure (docs/report.md
// describes each field), --csv one row per order with its stage times.
// "-" writes to standard output.
//
//   --late-ms N      a reply that comes N ms or more after its request is
//                    late (default 100; 1 to 3600000)
//   --entry-lines N  the most journal entries the page embeds for its order
//                    rows, in order of the rows (default 100000; 0 to 10000000)
//
// Exit status: 0 the whole journal was read; 1 a truncated or corrupt entry
// ended the reading, or entries' values did not read (the report covers the
// rest, says so, and stderr names the entry's offset); 2 the command line is
// wrong, FILE is no journal this program reads, or an output cannot be written.
#include <cstdio>
#include <memory>
#include <string>

#include "host/demo/user_input.h"
#include "plugin/common.h"
#include "recorder/journal/journal_platform.h"
#include "report/day.h"
#include "report/report_output.h"

namespace {

using namespace kestrel::report;

int usage(const std::string& problem) {
  if (!problem.empty()) std::fprintf(stderr, "journal_report: %s\n", problem.c_str());
  std::fprintf(stderr,
               "usage: journal_report FILE [-o PAGE] [--json FILE] [--csv FILE] [--late-ms N] "
               "[--entry-lines N]\n");
  return 2;
}

std::string pageFor(const std::string& journal) {
  const std::size_t slash = journal.find_last_of("/\\");
  const std::size_t dot = journal.find_last_of('.');
  const bool extension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  return (extension ? journal.substr(0, dot) : journal) + ".html";
}

// Writes one output; false, with a message, when it cannot be written.
template <typename Write>
bool writeTo(const std::string& path, Write write) {
  if (path == "-") {
    write(stdout);
    return std::fflush(stdout) == 0;
  }
  std::FILE* file = kestrel::journal::openFile(path, "wb");
  if (file == nullptr) {
    std::fprintf(stderr, "journal_report: cannot write %s: %s\n", path.c_str(),
                 kestrel::journal::lastErrorText().c_str());
    return false;
  }
  write(file);
  const bool failed = std::ferror(file) != 0;
  if (std::fclose(file) != 0 || failed) {
    std::fprintf(stderr, "journal_report: cannot write %s\n", path.c_str());
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string path;
  std::string page;
  std::string jsonPath;
  std::string csvPath;
  Options options;
  long long entryLines = 100000;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool takesValue = arg == "-o" || arg == "--json" || arg == "--csv" ||
                            arg == "--late-ms" || arg == "--entry-lines";
    if (takesValue && i + 1 >= argc) return usage(arg + " takes a value");
    if (arg == "-o") {
      page = argv[++i];
    } else if (arg == "--json") {
      jsonPath = argv[++i];
    } else if (arg == "--csv") {
      csvPath = argv[++i];
    } else if (arg == "--late-ms") {
      long long ms = 0;
      if (!demo::parseWholeNumber(argv[++i], 1, 3600000, ms)) {
        return usage(std::string("--late-ms takes a whole number from 1 to 3600000: ") + argv[i]);
      }
      options.lateNs = static_cast<uint64_t>(ms) * 1000000u;
    } else if (arg == "--entry-lines") {
      if (!demo::parseWholeNumber(argv[++i], 0, 10000000, entryLines)) {
        return usage(std::string("--entry-lines takes a whole number from 0 to 10000000: ") +
                     argv[i]);
      }
    } else if (path.empty() && !arg.empty() && arg[0] != '-') {
      path = arg;
    } else {
      return usage("unexpected argument: " + arg);
    }
  }
  if (path.empty()) return usage("");
  if (page.empty()) page = pageFor(path);

  kestrel::addChinaExchanges(
      *kestrel::gBaseInformationMap);  // the entries as journal_dump shows them
  Day day;
  std::string problem;
  if (!readDay(path, options, day, problem)) {
    std::fprintf(stderr, "journal_report: %s\n", problem.c_str());
    return 2;
  }
  int status = 0;
  if (!day.cut.empty()) {
    std::fprintf(stderr, "journal_report: %s: %s; the report covers the entries before it\n",
                 path.c_str(), day.cut.c_str());
    status = 1;
  }
  for (const std::string& m : day.malformed) {
    std::fprintf(stderr, "journal_report: %s: %s\n", path.c_str(), m.c_str());
    status = 1;
  }
  const EntryLines lines = orderEntryLines(day, static_cast<std::size_t>(entryLines));
  if (!writeTo(page, [&](std::FILE* out) { writeHtml(day, lines, out); })) return 2;
  if (!jsonPath.empty() && !writeTo(jsonPath, [&](std::FILE* out) { writeJson(day, out); }))
    return 2;
  if (!csvPath.empty() && !writeTo(csvPath, [&](std::FILE* out) { writeCsv(day, out); })) return 2;
  if (page != "-") {
    std::fprintf(stderr, "journal_report: %zu orders, %llu entries: %s\n", day.orders.size(),
                 static_cast<unsigned long long>(day.entries), page.c_str());
  }
  return status;
}
