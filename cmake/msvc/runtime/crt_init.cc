// The module's static initializers, which Visual C++'s static runtime runs
// from its entry points: the C initializers and the C++ constructors the
// compiler lists in sections .CRT$XI* and .CRT$XC*, which the linker sorts
// between the A and Z markers below. The UCRT's _initterm runs a table.
#include <corecrt_startup.h>

extern "C" {

#pragma section(".CRT$XIA", long, read)
#pragma section(".CRT$XIZ", long, read)
#pragma section(".CRT$XCA", long, read)
#pragma section(".CRT$XCZ", long, read)
__declspec(allocate(".CRT$XIA")) _PIFV __xi_a[] = {nullptr};
__declspec(allocate(".CRT$XIZ")) _PIFV __xi_z[] = {nullptr};
__declspec(allocate(".CRT$XCA")) _PVFV __xc_a[] = {nullptr};
__declspec(allocate(".CRT$XCZ")) _PVFV __xc_z[] = {nullptr};

_ACRTIMP void __cdecl _initterm(_PVFV* first, _PVFV* last);
_ACRTIMP int __cdecl _initterm_e(_PIFV* first, _PIFV* last);

// False when a C initializer failed.
bool ksRunStaticInitializers() {
  if (_initterm_e(__xi_a, __xi_z) != 0) return false;
  _initterm(__xc_a, __xc_z);
  return true;
}

}  // extern "C"
