// atexit, which Visual C++'s static runtime provides (utility.cpp) and the
// compiler calls for each static object's destructor: a DLL keeps a table of
// its own, run when it is unloaded, since its code may be gone by the time
// the process exits; a program registers with the UCRT, whose exit() runs
// the table.
#include <corecrt_startup.h>
#include <stdlib.h>

extern "C" {

static bool ksModuleIsDll = false;
static _onexit_table_t ksModuleExitTable;

int ksUseModuleExitTable() {
  ksModuleIsDll = true;
  return _initialize_onexit_table(&ksModuleExitTable);
}

void ksRunModuleExitTable() { _execute_onexit_table(&ksModuleExitTable); }

int __cdecl atexit(_PVFV function) {
  if (!ksModuleIsDll) return _crt_atexit(function);
  return _register_onexit_function(&ksModuleExitTable, reinterpret_cast<_onexit_t>(function));
}

_onexit_t __cdecl _onexit(_onexit_t function) {
  return atexit(reinterpret_cast<_PVFV>(function)) == 0 ? function : nullptr;
}

}  // extern "C"
