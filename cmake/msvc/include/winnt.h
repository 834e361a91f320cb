// Wine's winnt.h as the Windows SDK's: WCHAR is wchar_t (Wine's C++ default
// is char16_t), and clang's builtin keeps the name
// _InterlockedCompareExchange128, under which Wine defines an inline
// function for clang that clang refuses (renamed aside here).
#ifndef KS_MSVC_WINNT_H_
#define KS_MSVC_WINNT_H_

#ifndef WINE_UNICODE_NATIVE
#define WINE_UNICODE_NATIVE
#endif
#define _InterlockedCompareExchange128 ks_wine_InterlockedCompareExchange128
#include_next <winnt.h>
#undef _InterlockedCompareExchange128

#endif  // KS_MSVC_WINNT_H_
