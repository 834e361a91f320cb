// The Universal CRT's internal helpers (not in any SDK) that the sources of
// Microsoft's STL compiled here use: a heap buffer freed by free(), and
// ___lc_codepage_func, which ucrtbase.dll exports and the UCRT's locale.h
// declares.
#ifndef KS_MSVC_INTERNAL_SHARED_H_
#define KS_MSVC_INTERNAL_SHARED_H_

#include <stdlib.h>

#include <memory>

struct __crt_free_deleter {
  void operator()(void* block) const noexcept { free(block); }
};
template <class T>
using __crt_unique_heap_ptr = std::unique_ptr<T, __crt_free_deleter>;
#define _malloc_crt_t(T, count) \
  (__crt_unique_heap_ptr<T>(static_cast<T*>(malloc((count) * sizeof(T)))))

extern "C" _ACRTIMP unsigned int __cdecl ___lc_codepage_func(void);

#endif  // KS_MSVC_INTERNAL_SHARED_H_
