// EntryText: journal entries as the tools show them. One line per entry in
// the demo host's format (host events exactly as the demo host prints them,
// the other entries in the same columns), or one JSON object per entry.
// Texts are shown as UTF-8 (the host's GBK converted).
#ifndef KESTREL_RECORDER_TOOLS_ENTRY_TEXT_H_
#define KESTREL_RECORDER_TOOLS_ENTRY_TEXT_H_

#include <string>

#include "host/demo/console_host.h"
#include "recorder/journal/journal_format.h"
#include "recorder/journal/value_codec.h"

namespace kestrel {
namespace journal {

class EntryText {
 public:
  explicit EntryText(uint64_t startMicros);
  EntryText(const EntryText&) = delete;
  EntryText& operator=(const EntryText&) = delete;

  // Both throw FormatError when the entry's values are not its operation's.
  std::string line(const Entry& entry);
  std::string json(const Entry& entry);

  // The fields of an entry, texts as UTF-8.
  static Fields fieldsOf(const Entry& entry);

 private:
  std::string clock(uint64_t time) const;
  std::string hostEventLine(const Entry& entry);

  const uint64_t startMicros_;
  // The demo host's callback object, whose line for an event lands here.
  std::string eventText_;
  demo::ConsoleHost console_;
};

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_TOOLS_ENTRY_TEXT_H_
