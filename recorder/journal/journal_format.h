// The journal's file format: what the recorders write and journal_dump and
// journal_replay read. docs/journal.md describes the same bytes for readers
// in other languages.
//
//   file     header, then entries, each complete or the file ends
//   header   "KSJOURNL", u32 version (kOldestVersion to kVersion), u32 size
//            of the rest; the rest holds
//            u64 start (UTC microseconds since 1970), u32 process id and the
//            recording program's path as a text value
//   entry    u32 payload size, u32 CRC-32 of the payload, the payload
//   payload  u64 time (nanoseconds since the start, monotonic), u32 thread,
//            u32 object, i32 request number, u16 operation, u8 boundary,
//            u8 kind, then the operation's values
//   value    a Tag byte and its data: bool u8, int32 4 bytes, int64 8, double
//            8, text and bytes a u32 length and the bytes, list a u32 count
//            followed by that many elements
//
// Integers are little-endian, the byte order of every platform the plug-in
// runs on. Reading never trusts a size: a payload or value that runs past
// what is there is reported with the offset of its entry.
#ifndef KESTREL_RECORDER_JOURNAL_JOURNAL_FORMAT_H_
#define KESTREL_RECORDER_JOURNAL_JOURNAL_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "recorder/journal/journal_export.h"

namespace kestrel {
namespace journal {

constexpr char kMagic[] = "KSJOURNL";   // the first 8 bytes of every journal
constexpr uint32_t kVersion = 2;        // what the recorders write, the newest the readers read
constexpr uint32_t kOldestVersion = 1;  // the oldest the readers read: no kDone entries
constexpr uint32_t kMaxPayload = 16u << 20;  // larger entries are not recorded
constexpr std::size_t kFrameHeadSize = 8;    // payload size and CRC
constexpr std::size_t kPayloadHeadSize = 24;

enum class Boundary : uint8_t { kJournal = 0, kVendor = 1, kHost = 2 };

// kRequest: a call into the plug-in (host) or into the vendor library;
// kReturn: what a host request answered; kCallback: a vendor callback or a
// host event, recorded when it arrives; kGap: entries lost to a full queue
// (one int64 value, how many); kEnd: the journal closed (written, lost to a
// full queue, not written); kDone (version 2): the innermost callback of
// the same boundary and operation still open on the entry's thread returned,
// with the callback's object and request number and one bool value, whether
// it ended by an exception.
enum class Kind : uint8_t {
  kRequest = 1,
  kReturn = 2,
  kCallback = 3,
  kGap = 4,
  kEnd = 5,
  kDone = 6,
};

enum class Tag : uint8_t {
  kNull = 0,
  kBool = 1,
  kInt32 = 2,
  kInt64 = 3,
  kDouble = 4,
  kText = 5,
  kBytes = 6,
  kList = 7,
};

uint32_t crc32(const char* data, std::size_t size);

// Builds one entry (frame head, payload head, values) at the end of a byte
// string. The journal fills in the size, time and thread when it queues it.
class KS_JOURNAL_API FrameWriter {
 public:
  explicit FrameWriter(std::string& out) : out_(out) {}

  void begin(Boundary boundary, Kind kind, uint16_t operation, uint32_t object, int32_t request);
  void null() { tag(Tag::kNull); }
  void boolean(bool value) { fixed(Tag::kBool, static_cast<unsigned char>(value ? 1 : 0)); }
  void int32(int32_t value) { fixed(Tag::kInt32, value); }
  void int64(int64_t value) { fixed(Tag::kInt64, value); }
  void real(double value) { fixed(Tag::kDouble, value); }
  void text(const char* data, std::size_t size) { sized(Tag::kText, data, size); }
  void text(const std::string& value) { text(value.data(), value.size()); }
  void bytes(const void* data, std::size_t size) { sized(Tag::kBytes, data, size); }
  void list(std::size_t count) { fixed(Tag::kList, static_cast<uint32_t>(count)); }

 private:
  void tag(Tag t) { out_.push_back(static_cast<char>(t)); }
  void raw(const void* data, std::size_t size);
  // A tag and the value's bytes as they are in memory.
  template <typename T>
  void fixed(Tag t, T value) {
    tag(t);
    raw(&value, sizeof(value));
  }
  void sized(Tag t, const void* data, std::size_t size);

  std::string& out_;
};

// A value that does not have the type the reader expects, or runs past the
// end of its entry.
class FormatError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the values of one entry in order; throws FormatError on a mismatch.
// Reads from `values` in place: the text must outlive the reader.
class ValueReader {
 public:
  explicit ValueReader(const std::string& values)
      : data_(values.data()), end_(data_ + values.size()) {}

  bool null();  // consumes a null value when one comes next
  bool boolean() { return fixed<unsigned char>(Tag::kBool) != 0; }
  int32_t int32() { return fixed<int32_t>(Tag::kInt32); }
  int64_t int64() { return fixed<int64_t>(Tag::kInt64); }
  double real() { return fixed<double>(Tag::kDouble); }
  std::string text() { return sized(Tag::kText); }
  std::string bytes() { return sized(Tag::kBytes); }
  std::size_t list();
  bool atEnd() const { return data_ == end_; }

 private:
  void expect(Tag t);
  void raw(void* out, std::size_t size);
  template <typename T>
  T fixed(Tag t) {
    expect(t);
    T value{};
    raw(&value, sizeof(value));
    return value;
  }
  std::string sized(Tag t);

  const char* data_;
  const char* end_;
};

struct Entry {
  uint64_t offset = 0;  // of the entry in its file
  uint64_t time = 0;    // nanoseconds since the journal started
  uint32_t thread = 0;
  uint32_t object = 0;
  int32_t request = 0;
  uint16_t operation = 0;
  Boundary boundary = Boundary::kJournal;
  Kind kind = Kind::kEnd;
  std::string values;

  bool is(Boundary b, Kind k) const { return boundary == b && kind == k; }
};

// Reads a payload's head; false when it is too short to hold one.
bool parsePayload(const char* data, std::size_t size, Entry& out);

// Reads a journal entry by entry, holding one entry at a time: memory stays
// flat in the journal's size. Every check of readJournal() below is made
// here; readJournal() is this reader collecting the entries.
class JournalReader {
 public:
  JournalReader();
  ~JournalReader();
  JournalReader(const JournalReader&) = delete;
  JournalReader& operator=(const JournalReader&) = delete;

  // Opens `path` and reads its header. False, with problem() set, when it is
  // no journal this program reads (no such file, a directory, another
  // version, a damaged header).
  bool openPath(const std::string& path);
  // The same over the bytes of a journal, which must outlive the reader;
  // `name` names them in problem().
  bool openBytes(const std::string& data, const std::string& name);

  // The next complete entry, its operation numbered as version kVersion
  // numbers it whatever the file's version. False at the end of the file, or
  // at a truncated or corrupt entry: problem() then names it and its offset,
  // and reading ends there.
  bool next(Entry& out);
  // Back to the first entry, for a second pass.
  bool rewind();

  uint32_t version() const { return version_; }
  uint64_t startMicros() const { return startMicros_; }
  uint32_t processId() const { return processId_; }
  const std::string& program() const { return program_; }
  // Empty while every byte read so far was read whole.
  const std::string& problem() const { return problem_; }
  // Bytes of the file read so far (the header and the complete entries).
  uint64_t position() const { return position_; }

 private:
  bool readHeader();
  // Notes `what` as the reader's problem; false.
  bool fail(std::string what) {
    problem_ = std::move(what);
    return false;
  }
  // Makes `size` bytes from position_ readable at window(); fewer at the
  // end of the file.
  std::size_t available(std::size_t size);
  const char* window() const { return data_ + (position_ - base_); }

  std::string name_;
  std::FILE* file_ = nullptr;
  std::string buffer_;          // a file's bytes from base_ on
  const char* data_ = nullptr;  // buffer_'s or openBytes()'s
  uint64_t base_ = 0;           // the offset of data_[0] in the file
  std::size_t size_ = 0;        // bytes at data_
  uint64_t position_ = 0;
  uint64_t first_ = 0;  // the offset of the first entry
  uint32_t version_ = 0;
  uint64_t startMicros_ = 0;
  uint32_t processId_ = 0;
  std::string program_;
  std::string problem_;
};

struct JournalFile {
  uint32_t version = 0;
  uint64_t startMicros = 0;
  uint32_t processId = 0;
  std::string program;
  std::vector<Entry> entries;
  // Why reading stopped before the end of the file, naming the offset; empty
  // when every byte was read.
  std::string problem;
};

// The header of a new journal.
std::string journalHeader(uint64_t startMicros, uint32_t processId, const std::string& program);

// Reads `path`. False, with `problem` set, when it is no journal this
// program reads; otherwise true with every complete entry (numbered as
// version kVersion numbers operations), and `problem` set when a truncated or
// corrupt entry ended the reading.
bool readJournal(const std::string& path, JournalFile& out);
// The same for the bytes of a journal; `path` names them in `problem`.
bool parseJournal(const std::string& data, const std::string& path, JournalFile& out);

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_JOURNAL_FORMAT_H_
