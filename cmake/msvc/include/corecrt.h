// Wine's corecrt.h with what the UCRT's corecrt.h also declares and
// Microsoft's STL uses: the 8-byte conversion state _Mbstatet and
// _invoke_watson (both in ucrtbase.dll's ABI).
#ifndef KS_MSVC_CORECRT_H_
#define KS_MSVC_CORECRT_H_

#include_next <corecrt.h>
#include <vcruntime.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct _Mbstatet {
  unsigned long _Wchar;
  unsigned short _Byte, _State;
} _Mbstatet;

_ACRTIMP __declspec(noreturn) void __cdecl _invoke_watson(const wchar_t*, const wchar_t*,
                                                          const wchar_t*, unsigned int, uintptr_t);

#ifdef __cplusplus
}
#endif

#endif  // KS_MSVC_CORECRT_H_
