// The build configurations in which a host in Visual C++'s ABI may compile
// these headers: release runtime DLL (/MD, no _DEBUG) and the STL's
// iterator debugging off (_ITERATOR_DEBUG_LEVEL 0), the configuration the
// plug-in is built in. Release and RelWithDebInfo are such configurations.
//
// The records cross the boundary by reference and by value: std::string,
// std::vector and std::list members laid out by the host's compilation and
// read by the plug-in's, and the other way round. A Debug host (/MDd,
// _ITERATOR_DEBUG_LEVEL 2) lays them out larger (ResultStatus 48 bytes
// instead of 40, LoginReply 80 instead of 64) and allocates from the debug
// heap, so every record would be misread and freed in the wrong heap. /MT
// gives the host its own copy of the C and C++ runtimes, which must not free
// what the plug-in's allocated. Such a build is refused here, at compile
// time; a host that links the import library and still reaches the linker
// with another configuration is refused there (#pragma detect_mismatch
// against the value the import library carries).
#ifndef KESTREL_PLUGIN_HOST_BUILD_H_
#define KESTREL_PLUGIN_HOST_BUILD_H_

#if defined(_MSC_VER) && defined(_WIN32)
#include <cstddef>  // the STL's configuration: _ITERATOR_DEBUG_LEVEL

#if defined(_DEBUG) || !defined(_DLL) || _ITERATOR_DEBUG_LEVEL != 0
#define KS_PLUGIN_HOST_RUNTIME "refused"
#error \
    "KSTraderAPIPluginXT is built with the release runtime DLL (/MD, _ITERATOR_DEBUG_LEVEL 0). \
A Debug (/MDd) or static-runtime (/MT) host lays out std::string and std::list differently and \
would corrupt memory: build the host in Release or RelWithDebInfo with /MD."
#else
#define KS_PLUGIN_HOST_RUNTIME "MD_release_IDL0"
#endif

// Every object that includes this header says which runtime it was built
// for; the plug-in's import library holds an object that says the one the
// plug-in was built for, and the linker refuses to join differing values.
// The import library's object is linked in through the reference below;
// a host that loads the plug-in at run time links no import library, and
// the reference falls back on the placeholder defined here.
#pragma detect_mismatch("KSTraderAPIPluginXT_runtime", KS_PLUGIN_HOST_RUNTIME)
extern "C" __declspec(selectany) const int ksPluginRuntimeUnchecked = 0;
#pragma comment(linker, "/include:ksPluginRuntimeTag")
#pragma comment(linker, "/alternatename:ksPluginRuntimeTag=ksPluginRuntimeUnchecked")
#endif

#endif  // KESTREL_PLUGIN_HOST_BUILD_H_
