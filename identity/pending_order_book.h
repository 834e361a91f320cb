// PendingOrderBook: copies of the order or cancel requests that were handed to
// the vendor and still wait for its first answer, filed by the host's request
// number.
//
// The session files a request (put) before it calls the vendor, so that an
// answer delivered on the vendor's thread before the call returns finds it.
// The first answer removes the entry: a success erases it, a failure takes it
// and reports the copy. An entry therefore reaches at most one failure report.
//
// Thread-safe: each operation holds the book's own mutex for its whole run and
// takes no other lock; callers do all further work after it returns.
#ifndef KESTREL_IDENTITY_PENDING_ORDER_BOOK_H_
#define KESTREL_IDENTITY_PENDING_ORDER_BOOK_H_

#include <cstddef>
#include <map>
#include <utility>

#include "plugin/mutex.h"

namespace kestrel {

template <typename Request>
class PendingOrderBook {
 public:
  PendingOrderBook() = default;
  PendingOrderBook(const PendingOrderBook&) = delete;
  PendingOrderBook& operator=(const PendingOrderBook&) = delete;

  // Files a copy of `request`, replacing an entry under the same number.
  void put(int requestId, const Request& request) KS_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    entries.insert_or_assign(requestId, request);  // a new entry is copy-constructed in place
  }

  // Moves the entry under `requestId` into `out` and removes it. Returns false,
  // leaving `out` untouched, when there is none. Of concurrent takes of one
  // entry exactly one succeeds.
  bool take(int requestId, Request& out) KS_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    auto found = entries.find(requestId);
    if (found == entries.end()) return false;
    out = std::move(found->second);
    entries.erase(found);
    return true;
  }

  // Removes the entry under `requestId`, if any.
  void erase(int requestId) KS_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    entries.erase(requestId);
  }

  bool contains(int requestId) KS_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    return entries.count(requestId) != 0;
  }

  std::size_t size() KS_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    return entries.size();
  }

 private:
  Mutex mutex;
  std::map<int, Request> entries KS_GUARDED_BY(mutex);
};

}  // namespace kestrel

#endif  // KESTREL_IDENTITY_PENDING_ORDER_BOOK_H_
