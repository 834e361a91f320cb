// Journal entries made by hand, for tests and tools that forge journals: the
// head's fields and the values, written as the recorders write them.
#ifndef KESTREL_TESTS_SUPPORT_HAND_ENTRIES_H_
#define KESTREL_TESTS_SUPPORT_HAND_ENTRIES_H_

#include <cstdint>

#include "recorder/journal/value_codec.h"

namespace kestrel {
namespace testing {

// A vendor error as the journal writes XtError (its id, then its text),
// without the vendor library that defines XtError.
struct VendorError {
  int32_t id;
  const char* text;
};

inline void putValue(journal::FrameWriter& w, const VendorError& e) {
  w.int32(e.id);
  journal::put(w, e.text);
}
template <typename T>
void putValue(journal::FrameWriter& w, const T& value) {
  journal::put(w, value);
}

// An entry at `nanos` with `values`.
template <typename... Values>
journal::Entry handEntry(uint64_t nanos, uint32_t thread, uint32_t object,
                         journal::Boundary boundary, journal::Kind kind, uint16_t operation,
                         int32_t request, const Values&... values) {
  journal::Entry e;
  e.time = nanos;
  e.thread = thread;
  e.object = object;
  e.boundary = boundary;
  e.kind = kind;
  e.operation = operation;
  e.request = request;
  journal::FrameWriter w(e.values);
  (putValue(w, values), ...);
  return e;
}

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_HAND_ENTRIES_H_
