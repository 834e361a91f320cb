// Journal: the file a process records both boundaries of the plug-in into.
//
// Contract:
//  1. Any thread may append; append() copies the entry into a bounded queue
//     and returns. It never touches the disk and never waits for the writer:
//     a writer thread of the journal's own opens the file, writes what is
//     queued (every 5 ms, or at once when the queue is half full or someone
//     flushes) and flushes the C library's buffer after each batch.
//  2. Overflow policy: an entry that does not fit in the queue is dropped and
//     counted; the next entry that fits is preceded by a gap entry saying how
//     many were dropped there. Entries that cannot be written (the file could
//     not be opened, the disk is full) are counted too. Recording problems
//     are reported once on stderr and never reach the caller: whatever
//     happens to the journal, the recorders keep forwarding.
//  3. Entries appear in the file in the order append() queued them, and their
//     times never decrease in that order.
//  4. close() writes what is queued and a closing entry with the counts;
//     later appends are counted as not written.
#ifndef KESTREL_RECORDER_JOURNAL_JOURNAL_H_
#define KESTREL_RECORDER_JOURNAL_JOURNAL_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <unordered_map>

#include "plugin/mutex.h"
#include "recorder/journal/journal_export.h"
#include "recorder/journal/journal_format.h"

namespace kestrel {
namespace journal {

// Where the observers of both boundaries (observers.h) hand their entries:
// the journal, or what journal_replay collects of a build's traffic.
class EntrySink {
 public:
  // Takes `frame`, an entry made by FrameWriter.
  virtual void append(std::string& frame) = 0;
  // Counts an entry that could not even be built.
  virtual void countLost() = 0;

 protected:
  ~EntrySink() = default;
};

class KS_JOURNAL_API Journal final : public EntrySink {
 public:
  struct Counts {
    uint64_t written = 0;
    uint64_t queueFull = 0;   // dropped: the queue was full
    uint64_t notWritten = 0;  // the file could not be written, or the journal was closed
  };

  static constexpr std::size_t kDefaultQueueBytes = 8u << 20;

  // The process's journal, made on first use. Its file is KS_JOURNAL_FILE
  // ("%p" in it becomes the process id), or ks-journal-<pid>.ksj in the
  // current directory. It lives until the process ends and is closed when the
  // process exits normally.
  static Journal& process();

  explicit Journal(const std::string& path, std::size_t queueBytes = kDefaultQueueBytes);
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;
  ~Journal();

  // A new number for a session or an API object: 1, 2, ... in this journal.
  uint32_t newObject();
  // Queues `frame`, made by FrameWriter, stamping its size, time and thread.
  void append(std::string& frame) override;
  // Counts an entry that could not even be built as not written.
  void countLost() override;
  // Returns when every entry queued before the call is written or lost.
  void flush();
  void close();

  Counts counts() const;
  const std::string& path() const { return path_; }

 private:
  void run();
  bool writeBytes(const std::string& bytes);
  bool writeBatch(std::string& batch, uint64_t& entries);
  void report(const std::string& problem);
  // The calling thread's number in this journal: 1, 2, ... in the order of
  // their first entries. Kept here rather than in a thread_local, so that a
  // thread that records holds no storage of this library's that it would
  // have to release when it ends (threads of the host and the vendor end
  // when they like, the process's last ones while it exits). A thread that
  // the system gives the id of one that has ended shares its number.
  uint32_t threadNumber() KS_REQUIRES(mutex_);

  // Constant after construction.
  const std::string path_;
  const std::size_t queueBytes_;
  const std::chrono::steady_clock::time_point start_;
  const uint64_t startMicros_;

  mutable Mutex mutex_;
  std::condition_variable wake_;     // the writer waits on it
  std::condition_variable written_;  // flush() waits on it
  std::string queue_ KS_GUARDED_BY(mutex_);
  uint64_t queued_ KS_GUARDED_BY(mutex_) = 0;   // entries queued so far, gap entries included
  uint64_t done_ KS_GUARDED_BY(mutex_) = 0;     // of those, written or lost
  uint64_t dropped_ KS_GUARDED_BY(mutex_) = 0;  // dropped since the last gap entry
  uint32_t objects_ KS_GUARDED_BY(mutex_) = 0;
  // See threadNumber().
  std::unordered_map<std::thread::id, uint32_t> threads_ KS_GUARDED_BY(mutex_);
  Counts counts_ KS_GUARDED_BY(mutex_);
  bool flushWanted_ KS_GUARDED_BY(mutex_) = false;
  bool closing_ KS_GUARDED_BY(mutex_) = false;
  bool closed_ KS_GUARDED_BY(mutex_) = false;
  bool broken_ KS_GUARDED_BY(mutex_) = false;  // the file cannot be written

  // Owned by the writer thread.
  std::FILE* file_ = nullptr;
  bool failed_ = false;
  bool reported_ = false;

  std::thread writer_;
};

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_JOURNAL_H_
