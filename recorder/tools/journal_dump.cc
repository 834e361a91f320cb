// journal_dump: prints a journal, one line per entry.
//
//   journal_dump [--json] FILE
//
// Lines follow the demo host's format (clock, then the operation), with the
// thread, the object (session or API object) and the direction between:
// H> host request, H= its answer, H< host event, V> vendor request, V< vendor
// callback. --json prints one JSON object per entry instead (JSON Lines).
// Exit status: 0 when every entry was read, 1 when a truncated or corrupt
// entry ended the reading (everything before it is printed), 2 when the file
// is no journal this program reads.
#include <cstdio>
#include <cstring>
#include <string>

#include "plugin/common.h"
#include "recorder/tools/entry_text.h"

int main(int argc, char** argv) {
  using namespace kestrel::journal;
  bool json = false;
  std::string path;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--json") == 0) {
      json = true;
    } else if (path.empty() && argv[i][0] != '-') {
      path = argv[i];
    } else {
      path.clear();
      break;
    }
  }
  if (path.empty()) {
    std::fprintf(stderr, "usage: journal_dump [--json] FILE\n");
    return 2;
  }
  kestrel::addChinaExchanges(*kestrel::gBaseInformationMap);  // as the demo host does
  // Two passes over the file, one entry in memory at a time: the first
  // counts the entries for the heading, the second prints them.
  JournalReader reader;
  if (!reader.openPath(path)) {
    std::fprintf(stderr, "journal_dump: %s\n", reader.problem().c_str());
    return 2;
  }
  Entry entry;
  std::size_t count = 0;
  if (!json) {
    while (reader.next(entry)) ++count;
    if (!reader.rewind()) {
      std::fprintf(stderr, "journal_dump: %s\n", reader.problem().c_str());
      return 2;
    }
    std::printf("# journal of %s (process %u), %zu entries\n", reader.program().c_str(),
                reader.processId(), count);
  }
  EntryText text(reader.startMicros());
  int status = 0;
  while (reader.next(entry)) {
    try {
      const std::string shown = json ? text.json(entry) : text.line(entry);
      std::fwrite(shown.data(), 1, shown.size(), stdout);
      std::fputc('\n', stdout);
    } catch (const FormatError& e) {
      std::fprintf(stderr, "journal_dump: %s: entry at offset %llu: %s\n", path.c_str(),
                   static_cast<unsigned long long>(entry.offset), e.what());
      status = 1;
    }
  }
  if (!reader.problem().empty()) {
    std::fprintf(stderr, "journal_dump: %s: %s; the entries before it are shown\n", path.c_str(),
                 reader.problem().c_str());
    status = 1;
  }
  return status;
}
