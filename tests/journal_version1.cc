// journal_version1 IN OUT: writes the journal IN as the version-1 recorders
// would have written the same traffic: its header with version 1, its
// entries without the returns of callbacks, and the host's requests numbered
// from 1 (the destructor), as version 1 numbered them. journal_day reads and
// replays the result as a version-1 journal.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "recorder/journal/journal_format.h"

int main(int argc, char** argv) {
  using namespace kestrel::journal;
  JournalFile file;
  if (argc != 3 || !readJournal(argv[1], file) || !file.problem.empty() || file.entries.empty()) {
    std::fprintf(stderr, "usage: journal_version1 IN OUT (IN a whole journal)\n");
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::string out = bytes.substr(0, file.entries.front().offset);
  const uint32_t version = 1;
  std::memcpy(&out[std::strlen(kMagic)], &version, sizeof(version));
  for (const Entry& entry : file.entries) {
    if (entry.kind == Kind::kDone) continue;
    const std::size_t payloadSize = kPayloadHeadSize + entry.values.size();
    std::string frame = bytes.substr(entry.offset, kFrameHeadSize + payloadSize);
    const bool hostRequest = entry.boundary == Boundary::kHost &&
                             (entry.kind == Kind::kRequest || entry.kind == Kind::kReturn);
    if (hostRequest && entry.operation < 100) {
      const auto position = static_cast<uint16_t>(entry.operation + 1);
      std::memcpy(&frame[kFrameHeadSize + 20], &position, sizeof(position));
      const uint32_t crc = crc32(&frame[kFrameHeadSize], payloadSize);
      std::memcpy(&frame[4], &crc, sizeof(crc));
    }
    out += frame;
  }
  std::ofstream(argv[2], std::ios::binary) << out;
  return 0;
}
