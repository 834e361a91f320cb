#include "recorder/journal/journal_format.h"

#include <algorithm>
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

void FrameWriter::sized(Tag t, const void* data, std::size_t size) {
  fixed(t, static_cast<uint32_t>(size));
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

std::size_t ValueReader::list() {
  const auto n = fixed<uint32_t>(Tag::kList);
  // Every element takes a byte at least: a larger count is a corrupt one.
  if (n > static_cast<std::size_t>(end_ - data_)) throw FormatError("a list runs past its entry");
  return n;
}

std::string ValueReader::sized(Tag t) {
  const auto n = fixed<uint32_t>(t);
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

JournalReader::JournalReader() = default;

JournalReader::~JournalReader() {
  if (file_ != nullptr) std::fclose(file_);
}

bool JournalReader::openPath(const std::string& path) {
  name_ = path;
  file_ = openFile(path, "rb");
  if (file_ == nullptr) return fail("cannot read " + path + ": " + lastErrorText());
  data_ = buffer_.data();
  return readHeader();
}

bool JournalReader::openBytes(const std::string& data, const std::string& name) {
  name_ = name;
  data_ = data.data();
  size_ = data.size();
  return readHeader();
}

std::size_t JournalReader::available(std::size_t size) {
  const std::size_t at = static_cast<std::size_t>(position_ - base_);
  if (size_ - at >= size || file_ == nullptr) return std::min(size, size_ - at);
  // Keeps what is left unread, then reads on: at least 1 MiB at a time.
  buffer_.erase(0, at);
  base_ = position_;
  size_ -= at;
  const std::size_t wanted = std::max<std::size_t>(size, 1u << 20);
  if (buffer_.size() < wanted) buffer_.resize(wanted);
  while (size_ < size) {
    const std::size_t n = std::fread(&buffer_[size_], 1, buffer_.size() - size_, file_);
    if (n == 0) break;
    size_ += n;
  }
  data_ = buffer_.data();
  return std::min(size, size_);
}

bool JournalReader::readHeader() {
  constexpr std::size_t kFixed = kMagicSize + 8;
  // A directory opens on some systems and fails at its first read.
  if (available(kFixed) < kFixed || std::memcmp(window(), kMagic, kMagicSize) != 0) {
    return fail(file_ != nullptr && std::ferror(file_)
                    ? "cannot read " + name_ + ": " + lastErrorText()
                    : name_ + " is not a journal (no journal header)");
  }
  version_ = load<uint32_t>(window() + kMagicSize);
  if (version_ < kOldestVersion || version_ > kVersion) {
    problem_ = name_ + " is a journal of format version " + std::to_string(version_) +
               "; this program reads versions " + std::to_string(kOldestVersion) + " to " +
               std::to_string(kVersion);
    return false;
  }
  const std::size_t restSize = load<uint32_t>(window() + kMagicSize + 4);
  try {
    if (restSize < 12 || restSize > kMaxPayload || available(kFixed + restSize) < kFixed + restSize)
      throw FormatError("short");
    const char* rest = window() + kFixed;
    startMicros_ = load<uint64_t>(rest);
    processId_ = load<uint32_t>(rest + 8);
    const std::string program(rest + 12, restSize - 12);
    program_ = ValueReader(program).text();
  } catch (const FormatError&) {
    return fail(name_ + " has a damaged journal header");
  }
  first_ = position_ = kFixed + restSize;
  return true;
}

bool JournalReader::next(Entry& out) {
  if (!problem_.empty()) return false;
  const std::size_t head = available(kFrameHeadSize);
  if (head == 0) return false;
  const std::string where = " at offset " + std::to_string(position_);
  if (head < kFrameHeadSize) {
    return fail("truncated entry" + where + ": the file ends inside its head");
  }
  const std::size_t size = load<uint32_t>(window());
  if (size < kPayloadHeadSize || size > kMaxPayload) {
    return fail("corrupt entry" + where + ": impossible size " + std::to_string(size));
  }
  const std::size_t present = available(kFrameHeadSize + size);
  if (present < kFrameHeadSize + size) {
    return fail("truncated entry" + where + ": " + std::to_string(size) + " bytes announced, " +
                std::to_string(present - kFrameHeadSize) + " present");
  }
  const char* payload = window() + kFrameHeadSize;
  if (crc32(payload, size) != load<uint32_t>(window() + 4)) {
    return fail("corrupt entry" + where + ": checksum mismatch");
  }
  parsePayload(payload, size, out);
  if (version_ == 1) asVersion2(out);
  out.offset = position_;
  position_ += kFrameHeadSize + size;
  return true;
}

bool JournalReader::rewind() {
  problem_.clear();
  position_ = first_;
  if (file_ == nullptr) return true;
  if (std::fseek(file_, static_cast<long>(first_), SEEK_SET) != 0) {
    return fail("cannot read " + name_ + " again: " + lastErrorText());
  }
  base_ = first_;
  size_ = 0;
  return true;
}

namespace {

bool collect(JournalReader& reader, bool opened, JournalFile& out) {
  if (!opened) {
    out.problem = reader.problem();
    return false;
  }
  out.version = reader.version();
  out.startMicros = reader.startMicros();
  out.processId = reader.processId();
  out.program = reader.program();
  for (Entry entry; reader.next(entry);) out.entries.push_back(std::move(entry));
  out.problem = reader.problem();
  return true;
}

}  // namespace

bool readJournal(const std::string& path, JournalFile& out) {
  JournalReader reader;
  return collect(reader, reader.openPath(path), out);
}

bool parseJournal(const std::string& data, const std::string& path, JournalFile& out) {
  JournalReader reader;
  return collect(reader, reader.openBytes(data, path), out);
}

}  // namespace journal
}  // namespace kestrel
