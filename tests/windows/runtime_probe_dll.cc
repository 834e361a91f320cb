// A test DLL built like every DLL of the build in Visual C++'s ABI (the
// static runtime of cmake/msvc/runtime linked in), whose exports show what
// each piece of that runtime did inside a DLL: dll_cycle_probe loads it,
// asks, and unloads it, many times in one process.
//
//   entry point and initializer tables   a namespace-scope object was
//                                         constructed before DllMain ran
//   atexit (the module's own table)       its destructor runs when the DLL
//                                         is unloaded, not at process exit
//   TLS directory                         a thread_local is per thread, built
//                                         on first use, destroyed at the
//                                         thread's end
//   thread-safe statics                   a function-local static is
//                                         initialized once across threads
//   operator new (weak, replaceable)      this DLL's own replacement is the
//                                         one its new-expressions call
//   a thread of the DLL's own             started and joined in the DLL's
//                                         code, which is then unloaded: what
//                                         Wine keeps of it (nothing)
//   security cookie                       initialized to a value of this
//                                         process before the module's code
//                                         ran (not the linked-in default), and
//                                         the runtime's initialization makes
//                                         one of a cookie left at the default
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <thread>

#define PROBE_API extern "C" __declspec(dllexport)

namespace {

std::atomic<int>* gUnloadCounter = nullptr;  // the program's, set by probeWatchUnload

struct ModuleObject {
  ModuleObject() : constructed(true) {}
  ~ModuleObject() {
    if (gUnloadCounter != nullptr) ++*gUnloadCounter;
  }
  bool constructed;
};
ModuleObject gModuleObject;
bool gConstructedBeforeDllMain = false;

std::atomic<int>* gThreadEndCounter = nullptr;
struct PerThread {
  PerThread() : serial(++next) {}
  ~PerThread() {
    if (gThreadEndCounter != nullptr) ++*gThreadEndCounter;
  }
  int serial;
  static std::atomic<int> next;
};
std::atomic<int> PerThread::next{0};
thread_local PerThread tPerThread;

std::atomic<int> gStaticInitializations{0};
std::atomic<int> gReplacedNewCalls{0};

}  // namespace

// This DLL's replacement of the allocation functions it uses.
void* operator new(std::size_t size) {
  ++gReplacedNewCalls;
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

extern "C" uintptr_t __security_cookie;

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) gConstructedBeforeDllMain = gModuleObject.constructed;
  return TRUE;
}

PROBE_API int probeConstructedBeforeDllMain() { return gConstructedBeforeDllMain ? 1 : 0; }

PROBE_API void probeWatchUnload(std::atomic<int>* counter) { gUnloadCounter = counter; }

PROBE_API void probeWatchThreadEnds(std::atomic<int>* counter) { gThreadEndCounter = counter; }

// This thread's serial number: the same on every call from one thread.
PROBE_API int probeThreadSerial() { return tPerThread.serial; }

// Starts a thread of this DLL (std::thread over the C runtime's
// _beginthreadex, as the plug-in's and the vendor library's are) that builds
// its thread_local, and joins it; returns the thread's serial number.
PROBE_API int probeRunThread() {
  int serial = 0;
  std::thread([&serial] { serial = tPerThread.serial; }).join();
  return serial;
}

// The value of a static whose initializer waits until `threads` callers
// have arrived; each caller gets it once it is initialized.
PROBE_API int probeSharedStatic(std::atomic<int>* arrived, int threads) {
  ++*arrived;
  static const int value = [&] {
    ++gStaticInitializations;
    while (arrived->load() < threads) Sleep(0);
    return 42;
  }();
  return value;
}

PROBE_API int probeStaticInitializations() { return gStaticInitializations.load(); }

// How many calls of this DLL's operator new a scalar and an array
// new-expression made: the runtime's operator new[], linked in, must reach
// the replacement too (its operator new is weak).
PROBE_API int probeReplacedNewCalls() {
  const int before = gReplacedNewCalls.load();
  int* volatile kept = new int(7);  // volatile: the allocations are not elided
  delete kept;
  int* volatile array = new int[2];
  delete[] array;
  return gReplacedNewCalls.load() - before;
}

extern "C" void __cdecl __security_init_cookie();

// The cookie this DLL's code checks against: set before the DLL's code ran,
// by Windows' (or Wine's) loader from the load configuration or by the entry
// point.
PROBE_API uint64_t probeSecurityCookie() { return __security_cookie; }

// What the static runtime's initialization makes of a cookie still at the
// linked-in default, as on a loader that leaves it alone.
PROBE_API uint64_t probeSecurityCookieInitialized() {
  __security_cookie = 0x00002B992DDFA232ull;
  __security_init_cookie();
  return __security_cookie;
}
