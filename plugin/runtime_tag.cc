// The one object of the plug-in's import library besides its import
// entries (the build puts it there, CMakeLists.txt): compiled with the
// plug-in's own configuration, it carries that configuration's runtime
// values (plugin/host_build.h's and the STL's #pragma detect_mismatch), and
// a host that includes the headers and links the import library links it
// too, so that the linker compares them with the host's.
#include "plugin/host_build.h"

extern "C" const int ksPluginRuntimeTag = 1;
