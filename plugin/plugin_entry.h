// The plug-in's two exported entry points, under plain undecorated names.
//
//   CreateTradeSession  a new, independent trading session; the caller owns it
//                       until it calls release() on it. Throws std::bad_alloc
//                       when storage cannot be obtained.
//   GetPluginInfo       a constant text describing the plug-in, valid while
//                       the library is loaded.
//
// Hosts that load the library at run time resolve them by these names and
// call them through the pointer types below.
//
// Unloading. release() leaves a detached worker thread behind: it waits in the
// vendor library's XtTraderApi::joinAll(), which returns only when every
// thread of the vendor library has ended, and then returns through the
// plug-in's own code. While another session of the process is still
// connected, the vendor library keeps its threads, so the worker of a
// session released earlier keeps waiting; that session trades on unaffected,
// and the worker ends soon after the last connected session is released (or
// deleted). A host may therefore unload the library only after every session
// it made has been released and the vendor library's threads have ended; a
// host that keeps the library loaded for the life of its process has nothing
// to do.
#ifndef KESTREL_PLUGIN_PLUGIN_ENTRY_H_
#define KESTREL_PLUGIN_PLUGIN_ENTRY_H_

#include "plugin/export.h"
#include "plugin/trade_session.h"

extern "C" {
KS_PLUGIN_API kestrel::ITradeSession* CreateTradeSession();
KS_PLUGIN_API const char* GetPluginInfo();
}

namespace kestrel {
using CreateTradeSessionFunction = ITradeSession* (*)();
using GetPluginInfoFunction = const char* (*)();
constexpr char kCreateTradeSessionName[] = "CreateTradeSession";
constexpr char kGetPluginInfoName[] = "GetPluginInfo";
}  // namespace kestrel

#endif  // KESTREL_PLUGIN_PLUGIN_ENTRY_H_
