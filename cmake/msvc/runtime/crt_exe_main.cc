// A console program's entry point, which Visual C++'s static runtime
// provides (exe_main.cpp): the security cookie, the UCRT's arguments and
// environment, the static initializers, then exit(main(...)), which runs the
// atexit table (the static destructors) before the process ends.
#include <corecrt_startup.h>
#include <process.h>
#include <stdlib.h>

extern "C" {

void __cdecl __security_init_cookie();
bool ksRunStaticInitializers();
_VCRTIMP void __cdecl __std_type_info_destroy_list(struct __type_info_node* root);
extern struct __type_info_node __type_info_root_node;

int __cdecl main(int argc, char** argv, char** envp);

static void __cdecl destroyTypeNames() { __std_type_info_destroy_list(&__type_info_root_node); }

// Not protected itself: the cookie changes under its frame.
__attribute__((no_stack_protector)) int mainCRTStartup() {
  __security_init_cookie();
  _set_app_type(_crt_console_app);
  if (_configure_narrow_argv(_crt_argv_unexpanded_arguments) != 0 ||
      _initialize_narrow_environment() != 0 || !ksRunStaticInitializers()) {
    _exit(255);
  }
  _crt_atexit(destroyTypeNames);
  exit(main(*__p___argc(), *__p___argv(), _get_initial_narrow_environment()));
}

}  // extern "C"
