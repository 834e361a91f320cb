// The allocation functions as Visual C++ declares them (closed header). The
// replaceable ones are defined by the static runtime (runtime/crt_new.cc), as
// Visual C++'s own static library does; placement forms are inline.
#ifndef KS_MSVC_VCRUNTIME_NEW_H_
#define KS_MSVC_VCRUNTIME_NEW_H_

#include <vcruntime.h>

#pragma pack(push, _CRT_PACKING)

extern "C++" {
namespace std {
struct nothrow_t {
  explicit nothrow_t() = default;
};
extern const nothrow_t nothrow;
enum class align_val_t : size_t {};
}  // namespace std

_NODISCARD void* __cdecl operator new(size_t size);
_NODISCARD void* __cdecl operator new(size_t size, const std::nothrow_t&) noexcept;
_NODISCARD void* __cdecl operator new[](size_t size);
_NODISCARD void* __cdecl operator new[](size_t size, const std::nothrow_t&) noexcept;
void __cdecl operator delete(void* block) noexcept;
void __cdecl operator delete(void* block, const std::nothrow_t&) noexcept;
void __cdecl operator delete[](void* block) noexcept;
void __cdecl operator delete[](void* block, const std::nothrow_t&) noexcept;
void __cdecl operator delete(void* block, size_t size) noexcept;
void __cdecl operator delete[](void* block, size_t size) noexcept;

_NODISCARD void* __cdecl operator new(size_t size, std::align_val_t alignment);
_NODISCARD void* __cdecl operator new(size_t size, std::align_val_t alignment,
                                      const std::nothrow_t&) noexcept;
_NODISCARD void* __cdecl operator new[](size_t size, std::align_val_t alignment);
_NODISCARD void* __cdecl operator new[](size_t size, std::align_val_t alignment,
                                        const std::nothrow_t&) noexcept;
void __cdecl operator delete(void* block, std::align_val_t alignment) noexcept;
void __cdecl operator delete(void* block, std::align_val_t alignment,
                             const std::nothrow_t&) noexcept;
void __cdecl operator delete[](void* block, std::align_val_t alignment) noexcept;
void __cdecl operator delete[](void* block, std::align_val_t alignment,
                               const std::nothrow_t&) noexcept;
void __cdecl operator delete(void* block, size_t size, std::align_val_t alignment) noexcept;
void __cdecl operator delete[](void* block, size_t size, std::align_val_t alignment) noexcept;

#ifndef __PLACEMENT_NEW_INLINE
#define __PLACEMENT_NEW_INLINE
_NODISCARD inline void* __cdecl operator new(size_t, void* where) noexcept { return where; }
inline void __cdecl operator delete(void*, void*) noexcept {}
#endif
#ifndef __PLACEMENT_VEC_NEW_INLINE
#define __PLACEMENT_VEC_NEW_INLINE
_NODISCARD inline void* __cdecl operator new[](size_t, void* where) noexcept { return where; }
inline void __cdecl operator delete[](void*, void*) noexcept {}
#endif
}

#pragma pack(pop)

#endif  // KS_MSVC_VCRUNTIME_NEW_H_
