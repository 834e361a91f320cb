// Thread-local storage, which Visual C++'s static runtime provides
// (tlssup.cpp, tlsdyn.cpp): the module's TLS directory over the .tls
// section and the index the loader fills in; the construction of a thread's
// dynamically initialized thread_local objects (the compiler's .CRT$XDU
// entries), when the thread starts and, for threads older than the module,
// on first use (the compiler tests __tls_guard); their destruction
// (registered by __tlregdtor) when the thread ends.
#include <corecrt_startup.h>
#include <windows.h>

extern "C" {

ULONG _tls_index = 0;

#pragma section(".tls", long, read, write)
#pragma section(".tls$ZZZ", long, read, write)
__declspec(allocate(".tls")) char _tls_start = 0;
__declspec(allocate(".tls$ZZZ")) char _tls_end = 0;

#pragma section(".CRT$XDA", long, read)
#pragma section(".CRT$XDZ", long, read)
__declspec(allocate(".CRT$XDA")) _PVFV __xd_a = nullptr;
__declspec(allocate(".CRT$XDZ")) _PVFV __xd_z = nullptr;

_ACRTIMP void __cdecl _initterm(_PVFV* first, _PVFV* last);

__declspec(thread) bool __tls_guard = false;

// A thread's destructors, last registered first run: up to 64 thread_local
// objects with destructors per module and thread, well above what any
// module here holds; __tlregdtor refuses more (and they stay undestroyed).
namespace {
constexpr int kMaxThreadDestructors = 64;
__declspec(thread) _PVFV tDestructors[kMaxThreadDestructors];
__declspec(thread) int tDestructorCount = 0;
}  // namespace

int __cdecl __tlregdtor(_PVFV destructor) {
  if (tDestructorCount == kMaxThreadDestructors) return -1;
  tDestructors[tDestructorCount++] = destructor;
  return 0;
}

void NTAPI __dyn_tls_init(PVOID, DWORD reason, PVOID) {
  if (reason != DLL_THREAD_ATTACH || __tls_guard) return;
  __tls_guard = true;
  _initterm(&__xd_a, &__xd_z);
}

void __cdecl __dyn_tls_on_demand_init() noexcept {
  __dyn_tls_init(nullptr, DLL_THREAD_ATTACH, nullptr);
}

static void NTAPI destroyThreadLocals(PVOID, DWORD reason, PVOID) {
  if (reason != DLL_THREAD_DETACH && reason != DLL_PROCESS_DETACH) return;
  while (tDestructorCount > 0) tDestructors[--tDestructorCount]();
}

#pragma section(".CRT$XLA", long, read)
#pragma section(".CRT$XLC", long, read)
#pragma section(".CRT$XLD", long, read)
#pragma section(".CRT$XLZ", long, read)
__declspec(allocate(".CRT$XLA")) PIMAGE_TLS_CALLBACK __xl_a = nullptr;
__declspec(allocate(".CRT$XLC")) PIMAGE_TLS_CALLBACK __xl_c = __dyn_tls_init;
__declspec(allocate(".CRT$XLD")) PIMAGE_TLS_CALLBACK __xl_d = destroyThreadLocals;
__declspec(allocate(".CRT$XLZ")) PIMAGE_TLS_CALLBACK __xl_z = nullptr;

extern const IMAGE_TLS_DIRECTORY64 _tls_used = {reinterpret_cast<ULONGLONG>(&_tls_start),
                                                reinterpret_cast<ULONGLONG>(&_tls_end),
                                                reinterpret_cast<ULONGLONG>(&_tls_index),
                                                reinterpret_cast<ULONGLONG>(&__xl_a + 1),
                                                0,
                                                0};

}  // extern "C"
