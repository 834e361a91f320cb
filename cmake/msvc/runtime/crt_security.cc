// Stack protection and the load configuration, which Visual C++'s static
// runtime provides (gs_cookie.c, gs_support.c, gs_report.c, loadcfg.c): the
// module's security cookie, its initialization with a value of this process
// before any of the module's own code runs, the check the compiler's
// epilogues call when a frame's copy of the cookie was overwritten, and the
// load-configuration directory that names the cookie to the loader.
//
// Every function the toolchain compiles with -fstack-protector-strong (what
// Visual C++'s /GS does) keeps the cookie XORed with its stack pointer below
// its buffers and compares it on return; a mismatch means a buffer of that
// frame was overrun, and the process ends at once with a fast fail
// (STATUS_STACK_BUFFER_OVERRUN, 0xC0000409): no handler runs, nothing of the
// overwritten frame is used.
#include <intrin.h>
#include <stdint.h>
#include <windows.h>

extern "C" {

// Visual C++'s default, which the loader also recognises: a cookie still
// holding it has not been initialized.
constexpr uint64_t kDefaultCookie = 0x00002B992DDFA232ull;

uintptr_t __security_cookie = kDefaultCookie;
uintptr_t __security_cookie_complement = ~kDefaultCookie;

// The cookie's value for this process. Windows' loader already writes one
// into the field the load configuration names before the module's code
// runs; this keeps it then, and otherwise (an older loader, Wine) makes one
// from the clocks, the process and thread, and the stack's address. The top
// 16 bits stay clear, as Visual C++'s do, and the value is never the default.
// Not protected itself: the cookie changes under its frame.
__attribute__((no_stack_protector)) void __cdecl __security_init_cookie() {
  if (__security_cookie != kDefaultCookie && __security_cookie != 0) {
    __security_cookie_complement = ~__security_cookie;
    return;
  }
  FILETIME now = {};
  GetSystemTimeAsFileTime(&now);
  LARGE_INTEGER counter = {};
  QueryPerformanceCounter(&counter);
  uint64_t cookie = (static_cast<uint64_t>(now.dwHighDateTime) << 32) ^ now.dwLowDateTime;
  cookie ^= static_cast<uint64_t>(GetCurrentThreadId()) << 32;
  cookie ^= GetCurrentProcessId();
  cookie ^=
      (static_cast<uint64_t>(counter.LowPart) << 32) ^ static_cast<uint64_t>(counter.QuadPart);
  cookie ^= reinterpret_cast<uintptr_t>(&cookie);
  cookie &= 0x0000FFFFFFFFFFFFull;
  if (cookie == kDefaultCookie || cookie == 0) cookie = kDefaultCookie + 1;
  __security_cookie = cookie;
  __security_cookie_complement = ~cookie;
}

// Ends the process without running anything of it: no exception handler,
// no unwinding, no atexit.
[[noreturn]] __attribute__((no_stack_protector)) void __cdecl __report_gsfailure(uintptr_t) {
  __fastfail(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE);
}

// Called by the compiler's epilogue with the frame's copy XORed back.
__attribute__((no_stack_protector)) void __cdecl __security_check_cookie(uintptr_t cookie) {
  if (cookie != __security_cookie) __report_gsfailure(cookie);
}

// The load-configuration directory as the Windows SDK lays it out for x64
// (winnt.h, IMAGE_LOAD_CONFIG_DIRECTORY64, up to the memcpy guard). The
// linker points the image's load-configuration entry at _load_config_used;
// the loader reads the security cookie's address from it. Control-flow
// guard is not used, so its fields stay zero.
struct LoadConfigDirectory64 {
  uint32_t Size;
  uint32_t TimeDateStamp;
  uint16_t MajorVersion;
  uint16_t MinorVersion;
  uint32_t GlobalFlagsClear;
  uint32_t GlobalFlagsSet;
  uint32_t CriticalSectionDefaultTimeout;
  uint64_t DeCommitFreeBlockThreshold;
  uint64_t DeCommitTotalFreeThreshold;
  uint64_t LockPrefixTable;
  uint64_t MaximumAllocationSize;
  uint64_t VirtualMemoryThreshold;
  uint64_t ProcessAffinityMask;
  uint32_t ProcessHeapFlags;
  uint16_t CSDVersion;
  uint16_t DependentLoadFlags;
  uint64_t EditList;
  const uintptr_t* SecurityCookie;
  uint64_t SEHandlerTable;
  uint64_t SEHandlerCount;
  uint64_t GuardCFCheckFunctionPointer;
  uint64_t GuardCFDispatchFunctionPointer;
  uint64_t GuardCFFunctionTable;
  uint64_t GuardCFFunctionCount;
  uint32_t GuardFlags;
  uint16_t CodeIntegrityFlags;
  uint16_t CodeIntegrityCatalog;
  uint32_t CodeIntegrityCatalogOffset;
  uint32_t CodeIntegrityReserved;
  uint64_t GuardAddressTakenIatEntryTable;
  uint64_t GuardAddressTakenIatEntryCount;
  uint64_t GuardLongJumpTargetTable;
  uint64_t GuardLongJumpTargetCount;
  uint64_t DynamicValueRelocTable;
  uint64_t CHPEMetadataPointer;
  uint64_t GuardRFFailureRoutine;
  uint64_t GuardRFFailureRoutineFunctionPointer;
  uint32_t DynamicValueRelocTableOffset;
  uint16_t DynamicValueRelocTableSection;
  uint16_t Reserved2;
  uint64_t GuardRFVerifyStackPointerFunctionPointer;
  uint32_t HotPatchTableOffset;
  uint32_t Reserved3;
  uint64_t EnclaveConfigurationPointer;
  uint64_t VolatileMetadataPointer;
  uint64_t GuardEHContinuationTable;
  uint64_t GuardEHContinuationCount;
  uint64_t GuardXFGCheckFunctionPointer;
  uint64_t GuardXFGDispatchFunctionPointer;
  uint64_t GuardXFGTableDispatchFunctionPointer;
  uint64_t CastGuardOsDeterminedFailureMode;
  uint64_t GuardMemcpyFunctionPointer;
};
static_assert(sizeof(LoadConfigDirectory64) == 0x140, "the SDK's x64 load configuration");
static_assert(__builtin_offsetof(LoadConfigDirectory64, SecurityCookie) == 0x58,
              "SecurityCookie where the loader reads it");

constexpr LoadConfigDirectory64 loadConfiguration() {
  LoadConfigDirectory64 directory = {};
  directory.Size = sizeof(LoadConfigDirectory64);
  directory.SecurityCookie = &__security_cookie;
  return directory;
}
// Constant: in the image as linked, before anything runs.
extern constexpr LoadConfigDirectory64 _load_config_used = loadConfiguration();

}  // extern "C"
