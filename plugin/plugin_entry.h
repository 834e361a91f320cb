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
