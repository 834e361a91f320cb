// Wine's stdlib.h with what the UCRT's also gives: errno's codes,
// _set_abort_behavior, abs and div for long and long long in C++, and the
// quick_exit pair (quick_exit is ucrtbase's; at_quick_exit registers through
// ucrtbase's _crt_at_quick_exit). atexit and _onexit are the static
// runtime's (a DLL keeps its own table), not imports as Wine declares them.
#ifndef KS_MSVC_STDLIB_H_
#define KS_MSVC_STDLIB_H_

#define atexit ks_wine_atexit
#define _onexit ks_wine__onexit
#include_next <stdlib.h>
#undef atexit
#undef _onexit
#include <errno.h>
#include <process.h>

#ifdef __cplusplus
extern "C" {
#endif
int __cdecl atexit(void(__cdecl*)(void));
_onexit_t __cdecl _onexit(_onexit_t);
_ACRTIMP unsigned int __cdecl _set_abort_behavior(unsigned int flags, unsigned int mask);
_ACRTIMP int __cdecl _crt_at_quick_exit(void(__cdecl*)(void));
static __inline int __cdecl at_quick_exit(void(__cdecl* function)(void)) {
  return _crt_at_quick_exit(function);
}
#ifdef __cplusplus
}

// The UCRT's C++ overloads.
extern "C++" {
inline long __cdecl abs(long x) noexcept { return labs(x); }
inline long long __cdecl abs(long long x) noexcept { return llabs(x); }
inline ldiv_t __cdecl div(long x, long y) noexcept { return ldiv(x, y); }
inline lldiv_t __cdecl div(long long x, long long y) noexcept { return lldiv(x, y); }
}
#endif

#endif  // KS_MSVC_STDLIB_H_
