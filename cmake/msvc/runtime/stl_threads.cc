// The thread functions that Microsoft's STL 17.14 headers call and that
// Visual C++ links statically from its import library msvcprt.lib
// (stl/src/sharedmutex.cpp): the timed condition wait and the shared mutex
// over an SRW lock (the sleep is stl_sleep.cc's, so that a binary that only
// sleeps does not import the condition wait). They are written here rather
// than compiled from that source because its timed wait works on the SRW lock inside
// std::mutex as msvcp140.dll 14.3x lays it out, while Wine's msvcp140.dll
// keeps another lock there. The wait here goes through the DLL's own
// _Cnd_timedwait, which every msvcp140.dll exports, so it holds with both.
#include <time.h>
#include <windows.h>
#include <xthreads.h>

extern "C" {

_CRTIMP2_PURE _Thrd_result __cdecl _Cnd_timedwait(_Cnd_t cond, _Mtx_t mutex,
                                                  const _timespec64* target) noexcept;

// Waits at most `ms` milliseconds (measured on the system clock, as
// _Cnd_timedwait takes its deadline).
_Thrd_result __stdcall _Cnd_timedwait_for_unchecked(_Cnd_t cond, _Mtx_t mutex,
                                                    unsigned int ms) noexcept {
  _timespec64 target;
  _timespec64_get(&target, TIME_UTC);
  target.tv_sec += ms / 1000;
  target.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
  if (target.tv_nsec >= 1000000000L) {
    target.tv_sec += 1;
    target.tv_nsec -= 1000000000L;
  }
  return _Cnd_timedwait(cond, mutex, &target);
}

void __cdecl _Smtx_lock_exclusive(_Smtx_t* lock) noexcept {
  AcquireSRWLockExclusive(reinterpret_cast<PSRWLOCK>(lock));
}
void __cdecl _Smtx_lock_shared(_Smtx_t* lock) noexcept {
  AcquireSRWLockShared(reinterpret_cast<PSRWLOCK>(lock));
}
int __cdecl _Smtx_try_lock_exclusive(_Smtx_t* lock) noexcept {
  return TryAcquireSRWLockExclusive(reinterpret_cast<PSRWLOCK>(lock));
}
int __cdecl _Smtx_try_lock_shared(_Smtx_t* lock) noexcept {
  return TryAcquireSRWLockShared(reinterpret_cast<PSRWLOCK>(lock));
}
void __cdecl _Smtx_unlock_exclusive(_Smtx_t* lock) noexcept {
  ReleaseSRWLockExclusive(reinterpret_cast<PSRWLOCK>(lock));
}
void __cdecl _Smtx_unlock_shared(_Smtx_t* lock) noexcept {
  ReleaseSRWLockShared(reinterpret_cast<PSRWLOCK>(lock));
}

}  // extern "C"
