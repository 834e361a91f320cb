// The language-support base header that Visual C++ ships with its compiler
// (closed source): the library's language-level tags and its calling and
// import conventions. Microsoft's STL includes it first; Wine's corecrt.h
// supplies the C runtime's share of it.
#ifndef KS_MSVC_VCRUNTIME_H_
#define KS_MSVC_VCRUNTIME_H_

#include <sal.h>
#include <vadefs.h>

#define _CRT_PACKING 8
#define _VCRT_COMPILER_PREPROCESSOR 1
#define _VCRUNTIME_DISABLED_WARNINGS

#ifdef __cplusplus
#define _CRT_BEGIN_C_HEADER __pragma(pack(push, _CRT_PACKING)) extern "C" {
#define _CRT_END_C_HEADER \
  }                       \
  __pragma(pack(pop))
#else
#define _CRT_BEGIN_C_HEADER __pragma(pack(push, _CRT_PACKING))
#define _CRT_END_C_HEADER __pragma(pack(pop))
#endif

// Imports from the runtime DLLs in a /MD build (_DLL): vcruntime140.dll,
// and msvcp140's satellites msvcp140_1.dll, msvcp140_2.dll and
// msvcp140_codecvt_ids.dll. _CRTIMP2 marks msvcp140's own functions, which
// are called through the import library's thunks.
#ifdef _DLL
#define _VCRTIMP __declspec(dllimport)
#define _CRT_SATELLITE_1 __declspec(dllimport)
#define _CRT_SATELLITE_2 __declspec(dllimport)
#define _CRT_SATELLITE_CODECVT_IDS __declspec(dllimport)
#else
#define _VCRTIMP
#define _CRT_SATELLITE_1
#define _CRT_SATELLITE_2
#define _CRT_SATELLITE_CODECVT_IDS
#endif
#define _CRT_SATELLITE_CODECVT_IDS_NOIMPORT
#define _CRTIMP2
#define _MRTIMP2
#define _VCRT_NOALIAS __declspec(noalias)
#define _VCRT_RESTRICT __declspec(restrict)
#define _VCRT_ALLOCATOR __declspec(allocator)
#define _VCRT_ALIGN(x) __declspec(align(x))
#define _CRT_ALIGN(x) __declspec(align(x))
#define _CRT_GUARDOVERFLOW
#define __CRTDECL __cdecl
#define __CLR_OR_THIS_CALL
#define _PGLOBAL
#define __CLRCALL_OR_CDECL __cdecl
#define __CLRCALL_PURE_OR_CDECL __cdecl
#define __CLRCALL_PURE_OR_STDCALL __stdcall
#define _CRT_SECURE_CPP_NOTHROW throw()
#define _CRT_DEPRECATE_TEXT(text) __declspec(deprecated(text))
#define _CRT_INSECURE_DEPRECATE(replacement)
#define _CRT_UNUSED(x) (void)x

#define _CRT_STRINGIZE_(x) #x
#define _CRT_STRINGIZE(x) _CRT_STRINGIZE_(x)
#define _CRT_WIDE_(s) L##s
#define _CRT_WIDE(s) _CRT_WIDE_(s)
#define _CRT_CONCATENATE_(a, b) a##b
#define _CRT_CONCATENATE(a, b) _CRT_CONCATENATE_(a, b)
#define _CRT_APPEND(a, b) _CRT_CONCATENATE(a, b)

#ifndef _HAS_EXCEPTIONS
#define _HAS_EXCEPTIONS 1
#endif

// The language level, from the compiler's _MSVC_LANG (set by -std=).
#if defined(__cplusplus) && defined(_MSVC_LANG)
#define _HAS_CXX17 (_MSVC_LANG >= 201703L)
#define _HAS_CXX20 (_MSVC_LANG > 201703L)
#define _HAS_CXX23 (_MSVC_LANG > 202002L)
#define _HAS_CXX26 0
#else
#define _HAS_CXX17 0
#define _HAS_CXX20 0
#define _HAS_CXX23 0
#define _HAS_CXX26 0
#endif

#ifndef _HAS_NODISCARD
#define _HAS_NODISCARD _HAS_CXX17
#endif
#if _HAS_NODISCARD
#define _NODISCARD [[nodiscard]]
#else
#define _NODISCARD
#endif

#ifdef __cplusplus
extern "C" {
#endif
typedef unsigned __int64 size_t;
typedef __int64 ptrdiff_t;
typedef __int64 intptr_t;
typedef unsigned __int64 uintptr_t;
#define _SIZE_T_DEFINED
#define _PTRDIFF_T_DEFINED
#define _INTPTR_T_DEFINED
#define _UINTPTR_T_DEFINED
#ifdef __cplusplus
typedef bool __vcrt_bool;
#else
typedef _Bool __vcrt_bool;
#endif

#ifdef __cplusplus
}
#endif

#endif  // KS_MSVC_VCRUNTIME_H_
