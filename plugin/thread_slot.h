// ThreadSlot: the one way the libraries we ship keep a value per thread.
//
// The value must be trivially destructible, which the class checks when it is
// compiled. A thread-local object with a destructor has its clean-up
// registered with the C++ runtime on the thread's first use; on Windows,
// mingw-w64's runtime runs that clean-up at the thread's end under its
// threads library's lock and then lets go of a reference to the module,
// which waits for the loader lock. Another thread ending at the same moment
// holds the loader lock while the DLLs' thread-detach callbacks run, and
// waits there for the threads library's lock: neither thread ever ends
// (docs/windows.md). A value without a destructor registers nothing.
//
// scripts/check_thread_locals.sh, run by `make lint` and by the test suite,
// refuses thread-local storage of any other kind in the libraries' sources.
#ifndef KESTREL_PLUGIN_THREAD_SLOT_H_
#define KESTREL_PLUGIN_THREAD_SLOT_H_

#include <type_traits>

namespace kestrel {

// One T per thread, value-initialised on the thread's first use. `Tag` (any
// type, complete or not) tells apart the slots of one T.
template <typename T, typename Tag>
class ThreadSlot {
  static_assert(std::is_trivially_destructible<T>::value,
                "ThreadSlot: thread-local storage in a library must be trivially destructible "
                "(a destructor run at a thread's end can deadlock against the Windows loader "
                "lock; see plugin/thread_slot.h)");

 public:
  ThreadSlot() = delete;

  // The calling thread's value.
  static T& mine() {
    thread_local T value{};
    return value;
  }
};

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_THREAD_SLOT_H_
