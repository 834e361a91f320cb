// Wine's wchar.h declares mbstate_t as an int; the UCRT's (and so the layout
// Microsoft's STL and every Visual C++ binary use) is the 8-byte _Mbstatet.
// Wine's declarations are renamed aside, the functions declared again with
// the UCRT's type, and the UCRT's inline functions added.
#ifndef KS_MSVC_WCHAR_H_
#define KS_MSVC_WCHAR_H_

#include <corecrt.h>

#define mbstate_t ks_wine_mbstate_t
#define mbrlen ks_wine_mbrlen
#define mbrtowc ks_wine_mbrtowc
#define mbsrtowcs ks_wine_mbsrtowcs
#define wcrtomb ks_wine_wcrtomb
#define wcsrtombs ks_wine_wcsrtombs
#include_next <wchar.h>
#undef mbstate_t
#undef mbrlen
#undef mbrtowc
#undef mbsrtowcs
#undef wcrtomb
#undef wcsrtombs

#ifdef __cplusplus
extern "C" {
#endif

typedef _Mbstatet mbstate_t;

_ACRTIMP size_t __cdecl mbrlen(const char*, size_t, mbstate_t*);
_ACRTIMP size_t __cdecl mbrtowc(wchar_t*, const char*, size_t, mbstate_t*);
_ACRTIMP size_t __cdecl mbsrtowcs(wchar_t*, const char**, size_t, mbstate_t*);
_ACRTIMP size_t __cdecl wcrtomb(char*, wchar_t, mbstate_t*);
_ACRTIMP size_t __cdecl wcsrtombs(char*, const wchar_t**, size_t, mbstate_t*);
_ACRTIMP long double __cdecl wcstold(const wchar_t*, wchar_t**);

static __inline int __cdecl fwide(FILE* stream, int mode) {
  (void)stream;
  return mode;
}
static __inline int __cdecl mbsinit(const mbstate_t* state) {
  return state == NULL || state->_Wchar == 0;
}
static __inline int __cdecl vfwscanf(FILE* stream, const wchar_t* format, va_list args) {
  return __stdio_common_vfwscanf(_CRT_INTERNAL_LOCAL_SCANF_OPTIONS, stream, format, NULL, args);
}
static __inline int __cdecl vwscanf(const wchar_t* format, va_list args) {
  return vfwscanf(stdin, format, args);
}
static __inline int __cdecl vswscanf(const wchar_t* buffer, const wchar_t* format, va_list args) {
  return __stdio_common_vswscanf(_CRT_INTERNAL_LOCAL_SCANF_OPTIONS, buffer, (size_t)-1, format,
                                 NULL, args);
}

#ifdef __cplusplus
}
#endif

#endif  // KS_MSVC_WCHAR_H_
