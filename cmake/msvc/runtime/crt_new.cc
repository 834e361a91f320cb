// The replaceable allocation functions, which Visual C++'s static runtime
// provides (new_scalar.cpp, delete_scalar.cpp and their siblings): over the
// UCRT's malloc and _aligned_malloc, calling the new handler (_callnewh)
// until it gives up, then throwing std::bad_alloc. Each is a weak
// definition, so that a program's own replacement of any one of them wins,
// as it does over Visual C++'s one-function-per-object library.
#include <malloc.h>
#include <stdlib.h>

#include <new>

extern "C" _ACRTIMP int __cdecl _callnewh(size_t size);

#define KS_REPLACEABLE __attribute__((weak))

KS_REPLACEABLE void* __cdecl operator new(size_t size) {
  for (;;) {
    if (void* block = malloc(size == 0 ? 1 : size)) return block;
    if (_callnewh(size) == 0) throw std::bad_alloc();
  }
}
KS_REPLACEABLE void* __cdecl operator new(size_t size, std::align_val_t alignment) {
  for (;;) {
    if (void* block = _aligned_malloc(size == 0 ? 1 : size, static_cast<size_t>(alignment))) {
      return block;
    }
    if (_callnewh(size) == 0) throw std::bad_alloc();
  }
}
KS_REPLACEABLE void __cdecl operator delete(void* block) noexcept { free(block); }
KS_REPLACEABLE void __cdecl operator delete(void* block, std::align_val_t) noexcept {
  _aligned_free(block);
}

// The other forms go through the four above.
KS_REPLACEABLE void* __cdecl operator new[](size_t size) { return operator new(size); }
KS_REPLACEABLE void* __cdecl operator new[](size_t size, std::align_val_t alignment) {
  return operator new(size, alignment);
}
KS_REPLACEABLE void* __cdecl operator new(size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (...) {
    return nullptr;
  }
}
KS_REPLACEABLE void* __cdecl operator new[](size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new[](size);
  } catch (...) {
    return nullptr;
  }
}
KS_REPLACEABLE void* __cdecl operator new(size_t size, std::align_val_t alignment,
                                          const std::nothrow_t&) noexcept {
  try {
    return operator new(size, alignment);
  } catch (...) {
    return nullptr;
  }
}
KS_REPLACEABLE void* __cdecl operator new[](size_t size, std::align_val_t alignment,
                                            const std::nothrow_t&) noexcept {
  try {
    return operator new[](size, alignment);
  } catch (...) {
    return nullptr;
  }
}
KS_REPLACEABLE void __cdecl operator delete[](void* block) noexcept { operator delete(block); }
KS_REPLACEABLE void __cdecl operator delete(void* block, size_t) noexcept {
  operator delete(block);
}
KS_REPLACEABLE void __cdecl operator delete[](void* block, size_t) noexcept {
  operator delete[](block);
}
KS_REPLACEABLE void __cdecl operator delete(void* block, const std::nothrow_t&) noexcept {
  operator delete(block);
}
KS_REPLACEABLE void __cdecl operator delete[](void* block, const std::nothrow_t&) noexcept {
  operator delete[](block);
}
KS_REPLACEABLE void __cdecl operator delete[](void* block, std::align_val_t alignment) noexcept {
  operator delete(block, alignment);
}
KS_REPLACEABLE void __cdecl operator delete(void* block, size_t,
                                            std::align_val_t alignment) noexcept {
  operator delete(block, alignment);
}
KS_REPLACEABLE void __cdecl operator delete[](void* block, size_t,
                                              std::align_val_t alignment) noexcept {
  operator delete[](block, alignment);
}
KS_REPLACEABLE void __cdecl operator delete(void* block, std::align_val_t alignment,
                                            const std::nothrow_t&) noexcept {
  operator delete(block, alignment);
}
KS_REPLACEABLE void __cdecl operator delete[](void* block, std::align_val_t alignment,
                                              const std::nothrow_t&) noexcept {
  operator delete[](block, alignment);
}
