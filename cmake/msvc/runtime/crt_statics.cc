// Thread-safe initialization of function-local statics, which Visual C++'s
// static runtime provides (thread_safe_statics.cpp) for the code the
// compiler emits: a static's guard is 0 before, -1 during and afterwards the
// epoch of its initialization; a thread that has seen an epoch skips the
// call. One lock and condition variable per module.
#include <limits.h>
#include <windows.h>

extern "C" {

int _Init_global_epoch = INT_MIN;
__declspec(thread) int _Init_thread_epoch = INT_MIN;

static SRWLOCK ksGuardLock = SRWLOCK_INIT;
static CONDITION_VARIABLE ksGuardDone = CONDITION_VARIABLE_INIT;

// Returns with *guard == -1 when the caller is to initialize the static.
void __cdecl _Init_thread_header(int* guard) {
  AcquireSRWLockExclusive(&ksGuardLock);
  while (*guard == -1) SleepConditionVariableSRW(&ksGuardDone, &ksGuardLock, INFINITE, 0);
  if (*guard == 0) {
    *guard = -1;
  } else {
    _Init_thread_epoch = _Init_global_epoch;
  }
  ReleaseSRWLockExclusive(&ksGuardLock);
}

void __cdecl _Init_thread_footer(int* guard) {
  AcquireSRWLockExclusive(&ksGuardLock);
  *guard = ++_Init_global_epoch;
  _Init_thread_epoch = _Init_global_epoch;
  ReleaseSRWLockExclusive(&ksGuardLock);
  WakeAllConditionVariable(&ksGuardDone);
}

// The initializer threw: the next thread tries again.
void __cdecl _Init_thread_abort(int* guard) {
  AcquireSRWLockExclusive(&ksGuardLock);
  *guard = 0;
  ReleaseSRWLockExclusive(&ksGuardLock);
  WakeAllConditionVariable(&ksGuardDone);
}

}  // extern "C"
