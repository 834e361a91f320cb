// Export macros of the three binaries that meet at the plug-in boundary.
//
// KS_PLUGIN_API   symbols of the plug-in (KSTraderAPIPluginXT) that a host uses:
//                 the two entry points, ITradeSession's bodies, XtClientIdSet.
// KS_COMMON_API   symbols of the host's Common library.
// XTI_API         symbols of the vendor library XtTraderApi.
//
// Each binary defines its *_BUILD macro while it is compiled; everyone else sees
// the import side. Everything not marked stays hidden (-fvisibility=hidden).
// Visual C++ builds: the configurations a host may use (plugin/host_build.h).
#ifndef KESTREL_PLUGIN_EXPORT_H_
#define KESTREL_PLUGIN_EXPORT_H_

#include "plugin/host_build.h"

#if defined(_WIN32)
#define KS_DLL_EXPORT __declspec(dllexport)
#define KS_DLL_IMPORT __declspec(dllimport)
#else
#define KS_DLL_EXPORT __attribute__((visibility("default")))
#define KS_DLL_IMPORT __attribute__((visibility("default")))
#endif

#if defined(KS_PLUGIN_BUILD)
#define KS_PLUGIN_API KS_DLL_EXPORT
#else
#define KS_PLUGIN_API KS_DLL_IMPORT
#endif

#if defined(KS_COMMON_BUILD)
#define KS_COMMON_API KS_DLL_EXPORT
#else
#define KS_COMMON_API KS_DLL_IMPORT
#endif

#if defined(XTI_BUILD)
#define XTI_API KS_DLL_EXPORT
#else
#define XTI_API KS_DLL_IMPORT
#endif

#endif  // KESTREL_PLUGIN_EXPORT_H_
