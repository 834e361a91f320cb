// A DLL's entry point, which Visual C++'s static runtime provides
// (dll_dllmain.cpp): on load, the security cookie first, then the module's
// exit table and static initializers before the DLL's own DllMain; on
// unload, DllMain first, then the static destructors and the type names the
// module undecorated. A DLL without a DllMain gets one that does nothing.
#include <windows.h>

extern "C" {

void __cdecl __security_init_cookie();
int ksUseModuleExitTable();
void ksRunModuleExitTable();
bool ksRunStaticInitializers();
_VCRTIMP void __cdecl __std_type_info_destroy_list(struct __type_info_node* root);
extern struct __type_info_node __type_info_root_node;

BOOL WINAPI ksDefaultDllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
#pragma comment(linker, "/alternatename:DllMain=ksDefaultDllMain")
BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

// Not protected itself: the cookie changes under its frame.
__attribute__((no_stack_protector)) BOOL WINAPI _DllMainCRTStartup(HINSTANCE instance, DWORD reason,
                                                                   LPVOID reserved) {
  if (reason == DLL_PROCESS_ATTACH) {
    __security_init_cookie();
    if (ksUseModuleExitTable() != 0 || !ksRunStaticInitializers()) return FALSE;
    return DllMain(instance, reason, reserved);
  }
  const BOOL result = DllMain(instance, reason, reserved);
  if (reason == DLL_PROCESS_DETACH) {
    ksRunModuleExitTable();
    __std_type_info_destroy_list(&__type_info_root_node);
  }
  return result;
}

}  // extern "C"
