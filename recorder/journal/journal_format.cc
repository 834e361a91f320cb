#include "recorder/journal/journal_format.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

#include "recorder/journal/journal_platform.h"

namespace kestrel {
namespace journal {
namespace {

constexpr std::size_t kMagicSize = 8;

const char* tagName(Tag t) {
  static const char* const kNames[] = {"null",   "bool", "int32", "int64",
                                       "double", "text", "bytes", "list"};
  const auto index = static_cast<std::size_t>(t);
  return index < sizeof(kNames) / sizeof(kNames[0]) ? kNames[index] : "an unknown tag";
}

template <typename T>
T load(const char* p) {
  T value;
  std::memcpy(&value, p, sizeof(value));
  return value;
}

// A table that needs no destructor: the journal still computes checksums
// while the process's exit handlers run.
constexpr std::array<uint32_t, 256> kCrcTable = [] {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    table[i] = c;
  }
  return table;
}();

// Version 1 numbered the host's requests by declaration position from 1 (the
// destructor) where version 2 numbers them by slot from 0, as it numbers
// every other interface: 1 (destroy) to 51 read as 0 to 50. The journal's
// own numbers (100, 101) are the same in both.
void asVersion2(Entry& entry) {
  constexpr uint16_t kLastVersion1Position = 51;
  const bool hostRequest = entry.boundary == Boundary::kHost &&
                           (entry.kind == Kind::kRequest || entry.kind == Kind::kReturn);
  if (hostRequest && entry.operation >= 1 && entry.operation <= kLastVersion1Position) {
    --entry.operation;
  }
}

}  // namespace

uint32_t crc32(const char* data, std::size_t size) {
  uint32_t c = 0xFFFFFFFFu;
  for (std::size_t i = 0; i < size; ++i) {
    c = kCrcTable[(c ^ static_cast<unsigned char>(data[i])) & 0xFF] ^ (c >> 8);
  }
  return c ^ 0xFFFFFFFFu;
}

void FrameWriter::begin(Boundary boundary, Kind kind, uint16_t operation, uint32_t object,
                        int32_t request) {
  out_.append(kFrameHeadSize + 8 + 4, '\0');  // size, CRC, time, thread: filled when queued
  raw(&object, 4);
  raw(&request, 4);
  raw(&operation, 2);
  out_.push_back(static_cast<char>(boundary));
  out_.push_back(static_cast<char>(kind));
}

void FrameWriter::raw(const void* data, std::size_t size) {
  out_.append(static_cast<const char*>(data), size);
}

void FrameWriter::boolean(bool value) {
  tag(Tag::kBool);
  out_.push_back(value ? 1 : 0);
}

void FrameWriter::int32(int32_t value) {
  tag(Tag::kInt32);
  raw(&value, sizeof(value));
}

void FrameWriter::int64(int64_t value) {
  tag(Tag::kInt64);
  raw(&value, sizeof(value));
}

void FrameWriter::real(double value) {
  tag(Tag::kDouble);
  raw(&value, sizeof(value));
}

void FrameWriter::list(std::size_t count) {
  tag(Tag::kList);
  const auto n = static_cast<uint32_t>(count);
  raw(&n, sizeof(n));
}

void FrameWriter::sized(Tag t, const void* data, std::size_t size) {
  tag(t);
  const auto n = static_cast<uint32_t>(size);
  raw(&n, sizeof(n));
  raw(data, size);
}

void ValueReader::expect(Tag t) {
  if (data_ == end_) throw FormatError(std::string("expected ") + tagName(t) + ", found the end");
  const auto found = static_cast<Tag>(*data_);
  if (found != t) {
    throw FormatError(std::string("expected ") + tagName(t) + ", found " + tagName(found));
  }
  ++data_;
}

void ValueReader::raw(void* out, std::size_t size) {
  if (static_cast<std::size_t>(end_ - data_) < size)
    throw FormatError("a value runs past its entry");
  std::memcpy(out, data_, size);
  data_ += size;
}

bool ValueReader::null() {
  if (data_ == end_ || static_cast<Tag>(*data_) != Tag::kNull) return false;
  ++data_;
  return true;
}

bool ValueReader::boolean() {
  expect(Tag::kBool);
  unsigned char b = 0;
  raw(&b, 1);
  return b != 0;
}

int32_t ValueReader::int32() {
  expect(Tag::kInt32);
  int32_t v = 0;
  raw(&v, sizeof(v));
  return v;
}

int64_t ValueReader::int64() {
  expect(Tag::kInt64);
  int64_t v = 0;
  raw(&v, sizeof(v));
  return v;
}

double ValueReader::real() {
  expect(Tag::kDouble);
  double v = 0;
  raw(&v, sizeof(v));
  return v;
}

std::size_t ValueReader::list() {
  expect(Tag::kList);
  uint32_t n = 0;
  raw(&n, sizeof(n));
  // Every element takes a byte at least: a larger count is a corrupt one.
  if (n > static_cast<std::size_t>(end_ - data_)) throw FormatError("a list runs past its entry");
  return n;
}

std::string ValueReader::sized(Tag t) {
  expect(t);
  uint32_t n = 0;
  raw(&n, sizeof(n));
  if (n > static_cast<std::size_t>(end_ - data_)) throw FormatError("a value runs past its entry");
  std::string out(data_, n);
  data_ += n;
  return out;
}

bool parsePayload(const char* p, std::size_t size, Entry& out) {
  if (size < kPayloadHeadSize) return false;
  out.time = load<uint64_t>(p);
  out.thread = load<uint32_t>(p + 8);
  out.object = load<uint32_t>(p + 12);
  out.request = load<int32_t>(p + 16);
  out.operation = load<uint16_t>(p + 20);
  out.boundary = static_cast<Boundary>(p[22]);
  out.kind = static_cast<Kind>(p[23]);
  out.values.assign(p + kPayloadHeadSize, size - kPayloadHeadSize);
  return true;
}

std::string journalHeader(uint64_t startMicros, uint32_t processId, const std::string& program) {
  std::string rest;
  rest.append(reinterpret_cast<const char*>(&startMicros), 8);
  rest.append(reinterpret_cast<const char*>(&processId), 4);
  FrameWriter(rest).text(program);
  std::string header(kMagic, kMagicSize);
  const uint32_t version = kVersion;
  const auto size = static_cast<uint32_t>(rest.size());
  header.append(reinterpret_cast<const char*>(&version), 4);
  header.append(reinterpret_cast<const char*>(&size), 4);
  return header + rest;
}

bool readJournal(const std::string& path, JournalFile& out) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(openFile(path, "rb"), &std::fclose);
  if (!file) {
    out.problem = "cannot read " + path + ": " + lastErrorText();
    return false;
  }
  std::string data;
  char buffer[1 << 16];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof(buffer), file.get())) > 0;) {
    data.append(buffer, n);
  }
  return parseJournal(data, path, out);
}

bool parseJournal(const std::string& data, const std::string& path, JournalFile& out) {
  if (data.size() < kMagicSize + 8 || data.compare(0, kMagicSize, kMagic) != 0) {
    out.problem = path + " is not a journal (no journal header)";
    return false;
  }
  const auto version = load<uint32_t>(&data[kMagicSize]);
  if (version < kOldestVersion || version > kVersion) {
    out.problem = path + " is a journal of format version " + std::to_string(version) +
                  "; this program reads versions " + std::to_string(kOldestVersion) + " to " +
                  std::to_string(kVersion);
    return false;
  }
  out.version = version;
  const std::size_t restSize = load<uint32_t>(&data[kMagicSize + 4]);
  const std::size_t first = kMagicSize + 8 + restSize;
  try {
    if (restSize < 12 || first > data.size()) throw FormatError("short");
    out.startMicros = load<uint64_t>(&data[kMagicSize + 8]);
    out.processId = load<uint32_t>(&data[kMagicSize + 16]);
    const std::string program = data.substr(kMagicSize + 20, restSize - 12);
    out.program = ValueReader(program).text();
  } catch (const FormatError&) {
    out.problem = path + " has a damaged journal header";
    return false;
  }
  for (std::size_t at = first; at < data.size();) {
    const std::string where = " at offset " + std::to_string(at);
    if (data.size() - at < kFrameHeadSize) {
      out.problem = "truncated entry" + where + ": the file ends inside its head";
      return true;
    }
    const std::size_t size = load<uint32_t>(&data[at]);
    if (size < kPayloadHeadSize || size > kMaxPayload) {
      out.problem = "corrupt entry" + where + ": impossible size " + std::to_string(size);
      return true;
    }
    if (data.size() - at - kFrameHeadSize < size) {
      out.problem = "truncated entry" + where + ": " + std::to_string(size) + " bytes announced, " +
                    std::to_string(data.size() - at - kFrameHeadSize) + " present";
      return true;
    }
    const char* payload = &data[at + kFrameHeadSize];
    if (crc32(payload, size) != load<uint32_t>(&data[at + 4])) {
      out.problem = "corrupt entry" + where + ": checksum mismatch";
      return true;
    }
    Entry entry;
    parsePayload(payload, size, entry);
    if (version == 1) asVersion2(entry);
    entry.offset = at;
    out.entries.push_back(std::move(entry));
    at += kFrameHeadSize + size;
  }
  return true;
}

}  // namespace journal
}  // namespace kestrel
