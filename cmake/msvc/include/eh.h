// Wine's eh.h declares terminate() and its relatives with C++ linkage; the
// UCRT declares them extern "C", which is how ucrtbase.dll exports them and
// how a Visual C++ binary imports them. They are declared again here that
// way, with _get_terminate/_get_unexpected, which Microsoft's STL calls.
#ifndef KS_MSVC_EH_H_
#define KS_MSVC_EH_H_

#include <corecrt.h>

#define terminate ks_wine_terminate
#define unexpected ks_wine_unexpected
#define set_terminate ks_wine_set_terminate
#define set_unexpected ks_wine_set_unexpected
#include_next <eh.h>
#undef terminate
#undef unexpected
#undef set_terminate
#undef set_unexpected

extern "C" {
_ACRTIMP __declspec(noreturn) void __cdecl terminate() noexcept;
_ACRTIMP __declspec(noreturn) void __cdecl unexpected();
_ACRTIMP terminate_handler __cdecl set_terminate(terminate_handler) noexcept;
_ACRTIMP terminate_handler __cdecl _get_terminate();
_ACRTIMP unexpected_handler __cdecl set_unexpected(unexpected_handler) noexcept;
_ACRTIMP unexpected_handler __cdecl _get_unexpected();
}

#endif  // KS_MSVC_EH_H_
