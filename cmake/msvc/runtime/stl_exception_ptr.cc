// std::rethrow_exception's runtime function, as msvcp140.dll of Visual C++
// implements it (stl/src/excptptr.cpp): a C++ exception is rethrown as a copy
// made on this stack by its copy constructor, so that the object in flight
// belongs to the exception machinery and the one the exception_ptr holds
// stays the exception_ptr's. Wine 8's msvcp140.dll rethrows the held object
// itself, which is then destroyed twice: at the end of the catch block and
// when the last exception_ptr lets go, possibly first, during the unwinding,
// with the object still in flight (std::future::get meets exactly that). Both
// DLLs keep the EXCEPTION_RECORD's address first in an exception_ptr.
#include <malloc.h>
#include <string.h>
#include <windows.h>

#include <exception>

namespace {

// Visual C++'s x64 exception descriptors; the offsets are relative to the
// throwing module's image base.
struct ThrowInfo {
  unsigned int attributes;
  int destructor;
  int forwardCompat;
  int catchableTypes;
};
struct CatchableTypes {
  int count;
  int types[1];
};
struct CatchableType {
  unsigned int properties;
  int typeDescriptor;
  int memberDisplacement, vbtableDisplacement, displacementInVbtable;
  int size;
  int copyFunction;
};
constexpr DWORD kCppExceptionCode = 0xE06D7363;
constexpr unsigned int kIsSimpleType = 0x1, kHasVirtualBase = 0x4;

bool isVisualCppException(const EXCEPTION_RECORD& record) {
  const ULONG_PTR magic = record.ExceptionInformation[0];
  return record.ExceptionCode == kCppExceptionCode && record.NumberParameters == 4 &&
         (magic == 0x19930520 || magic == 0x19930521 || magic == 0x19930522);
}

}  // namespace

extern "C" __declspec(noreturn) void __stdcall _CxxThrowException(void* object, void* throwInfo);

[[noreturn]] void __cdecl __ExceptionPtrRethrow(const void* exceptionPtr) {
  const EXCEPTION_RECORD* held = *static_cast<const EXCEPTION_RECORD* const*>(exceptionPtr);
  if (held == nullptr) throw std::bad_exception();
  if (!isVisualCppException(*held)) {
    RaiseException(held->ExceptionCode, held->ExceptionFlags, held->NumberParameters,
                   held->ExceptionInformation);
  }
  void* object = reinterpret_cast<void*>(held->ExceptionInformation[1]);
  auto* info = reinterpret_cast<ThrowInfo*>(held->ExceptionInformation[2]);
  const auto base = static_cast<char*>(reinterpret_cast<void*>(held->ExceptionInformation[3]));
  const auto* types = reinterpret_cast<const CatchableTypes*>(base + info->catchableTypes);
  const auto* type = reinterpret_cast<const CatchableType*>(base + types->types[0]);

  void* copy = _alloca(type->size);
  if ((type->properties & kIsSimpleType) != 0 || type->copyFunction == 0) {
    memcpy(copy, object, type->size);
  } else if ((type->properties & kHasVirtualBase) != 0) {
    reinterpret_cast<void(__cdecl*)(void*, const void*, int)>(base + type->copyFunction)(copy,
                                                                                         object, 1);
  } else {
    reinterpret_cast<void(__cdecl*)(void*, const void*)>(base + type->copyFunction)(copy, object);
  }
  _CxxThrowException(copy, info);
}
