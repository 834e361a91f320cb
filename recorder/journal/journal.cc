#include "recorder/journal/journal.h"

#include <cstring>
#include <system_error>

#include "recorder/journal/journal_platform.h"

namespace kestrel {
namespace journal {
namespace {

using std::chrono::steady_clock;

constexpr auto kWriterPace = std::chrono::milliseconds(5);
constexpr std::size_t kGapFrameSize = kFrameHeadSize + kPayloadHeadSize + 9;

std::string defaultPath() {
  std::string path = environmentValue("KS_JOURNAL_FILE");
  const std::string pid = std::to_string(processId());
  if (path.empty()) return "ks-journal-" + pid + ".ksj";
  for (std::size_t at; (at = path.find("%p")) != std::string::npos;) path.replace(at, 2, pid);
  return path;
}

template <typename T>
void store(std::string& frame, std::size_t at, T value) {
  std::memcpy(&frame[at], &value, sizeof(value));
}

void stamp(std::string& frame, uint64_t time, uint32_t thread) {
  store<uint32_t>(frame, 0, static_cast<uint32_t>(frame.size() - kFrameHeadSize));
  store<uint64_t>(frame, kFrameHeadSize, time);
  store<uint32_t>(frame, kFrameHeadSize + 8, thread);
}

// Closes the process's journal when the process exits normally.
struct ProcessCloser {
  Journal* journal;
  ~ProcessCloser() { journal->close(); }
};

}  // namespace

Journal& Journal::process() {
  // Never deleted: threads that outlive the exit handlers may still append.
  static Journal* const journal = new Journal(defaultPath());
  static const ProcessCloser closer{journal};
  return *journal;
}

Journal::Journal(const std::string& path, std::size_t queueBytes)
    : path_(path),
      queueBytes_(queueBytes),
      start_(steady_clock::now()),
      startMicros_(static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                             std::chrono::system_clock::now().time_since_epoch())
                                             .count())) {
  try {
    queue_.reserve(queueBytes_);
    writer_ = std::thread([this] { run(); });
  } catch (const std::exception& e) {
    std::fprintf(stderr, "journal %s: cannot start its writer (%s); nothing is recorded\n",
                 path_.c_str(), e.what());
    closing_ = closed_ = true;
  }
}

Journal::~Journal() { close(); }

uint32_t Journal::newObject() {
  MutexLock lock(mutex_);
  return ++objects_;
}

void Journal::append(std::string& frame) {
  MutexLock lock(mutex_);
  if (closing_ || broken_) {
    ++counts_.notWritten;
    return;
  }
  const std::size_t gap = dropped_ > 0 ? kGapFrameSize : 0;
  if (frame.size() - kFrameHeadSize > kMaxPayload ||
      queue_.size() + gap + frame.size() > queueBytes_) {
    ++counts_.queueFull;
    ++dropped_;
    return;
  }
  const auto time = static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(steady_clock::now() - start_).count());
  const uint32_t thread = threadNumber();
  if (dropped_ > 0) {
    std::string gapFrame;
    FrameWriter writer(gapFrame);
    writer.begin(Boundary::kJournal, Kind::kGap, 0, 0, 0);
    writer.int64(static_cast<int64_t>(dropped_));
    stamp(gapFrame, time, thread);
    queue_ += gapFrame;
    ++queued_;
    dropped_ = 0;
  }
  stamp(frame, time, thread);
  queue_ += frame;
  ++queued_;
  if (queue_.size() > queueBytes_ / 2) wake_.notify_one();
}

uint32_t Journal::threadNumber() {
  const auto [it, added] =
      threads_.try_emplace(std::this_thread::get_id(), static_cast<uint32_t>(threads_.size() + 1));
  return it->second;
}

void Journal::countLost() {
  MutexLock lock(mutex_);
  ++counts_.notWritten;
}

void Journal::flush() {
  MutexLock lock(mutex_);
  const uint64_t target = queued_;
  flushWanted_ = true;
  wake_.notify_one();
  while (done_ < target && !closed_) mutex_.waitUntil(written_, steady_clock::time_point::max());
}

void Journal::close() {
  {
    MutexLock lock(mutex_);
    if (closing_) return;
    closing_ = true;
  }
  wake_.notify_one();
  if (!writer_.joinable()) return;
  // On Windows the writer already ended with the other threads when the
  // process exits: what it had not written is lost, the rest stays readable.
  if (processExiting()) {
    writer_.detach();
  } else {
    writer_.join();
  }
}

Journal::Counts Journal::counts() const {
  MutexLock lock(mutex_);
  return counts_;
}

void Journal::report(const std::string& problem) {
  if (reported_) return;
  reported_ = true;
  std::fprintf(stderr, "journal: %s; trading goes on, entries not written are counted\n",
               problem.c_str());
}

bool Journal::writeBytes(const std::string& bytes) {
  if (failed_) return false;
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size() ||
      std::fflush(file_) != 0) {
    report("cannot write " + path_ + ": " + lastErrorText());
    failed_ = true;
  }
  return !failed_;
}

bool Journal::writeBatch(std::string& batch, uint64_t& entries) {
  for (std::size_t at = 0; at < batch.size(); ++entries) {
    uint32_t size = 0;
    std::memcpy(&size, &batch[at], 4);
    store<uint32_t>(batch, at + 4, crc32(&batch[at + kFrameHeadSize], size));
    at += kFrameHeadSize + size;
  }
  return batch.empty() ? !failed_ : writeBytes(batch);
}

void Journal::run() {
  file_ = openFile(path_, "wb");
  if (file_ == nullptr) {
    report("cannot write " + path_ + ": " + lastErrorText());
    failed_ = true;
  } else {
    writeBytes(journalHeader(startMicros_, processId(), programPath()));
  }
  // The queue and the batch trade buffers at every turn: both hold a whole
  // queue's bytes, so that appending to the queue never reallocates.
  std::string batch;
  batch.reserve(queueBytes_);
  for (bool last = false; !last;) {
    {
      MutexLock lock(mutex_);
      const auto pace = steady_clock::now() + kWriterPace;
      while (!closing_ && !flushWanted_ && queue_.size() <= queueBytes_ / 2 &&
             steady_clock::now() < pace) {
        mutex_.waitUntil(wake_, pace);
      }
      batch.swap(queue_);
      flushWanted_ = false;
      last = closing_;
    }
    uint64_t entries = 0;
    const bool ok = writeBatch(batch, entries);
    batch.clear();
    std::string end;
    {
      MutexLock lock(mutex_);
      done_ += entries;
      (ok ? counts_.written : counts_.notWritten) += entries;
      broken_ = !ok;
      if (last) {
        FrameWriter writer(end);
        writer.begin(Boundary::kJournal, Kind::kEnd, 0, 0, 0);
        writer.int64(static_cast<int64_t>(counts_.written));
        writer.int64(static_cast<int64_t>(counts_.queueFull));
        writer.int64(static_cast<int64_t>(counts_.notWritten));
        stamp(end,
              static_cast<uint64_t>(
                  std::chrono::duration_cast<std::chrono::nanoseconds>(steady_clock::now() - start_)
                      .count()),
              threadNumber());
        if (counts_.queueFull + counts_.notWritten > 0) {
          std::fprintf(stderr,
                       "journal %s: %llu entries written, %llu dropped (queue full), %llu not "
                       "written\n",
                       path_.c_str(), static_cast<unsigned long long>(counts_.written),
                       static_cast<unsigned long long>(counts_.queueFull),
                       static_cast<unsigned long long>(counts_.notWritten));
        }
      }
    }
    written_.notify_all();
    if (last) writeBatch(end, entries);
  }
  if (file_ != nullptr) std::fclose(file_);
  MutexLock lock(mutex_);
  closed_ = true;
  written_.notify_all();
}

}  // namespace journal
}  // namespace kestrel
