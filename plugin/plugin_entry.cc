#include "plugin/plugin_entry.h"

#include "session/trade_session_xt.h"

extern "C" KS_PLUGIN_API kestrel::ITradeSession* CreateTradeSession() {
  return new kestrel::TradeSessionXT();
}

extern "C" KS_PLUGIN_API const char* GetPluginInfo() { return "Plugin Ver:1.0 CTP Ver:6.3.6"; }
