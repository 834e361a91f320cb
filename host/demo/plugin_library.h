// Loading the plug-in at run time, as a host does: by path, resolving the two
// exported entry points by their plain names.
#ifndef KESTREL_HOST_DEMO_PLUGIN_LIBRARY_H_
#define KESTREL_HOST_DEMO_PLUGIN_LIBRARY_H_

#include <string>

#include "plugin/plugin_entry.h"

namespace demo {

class PluginLibrary {
 public:
  PluginLibrary() = default;
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;
  // The library stays loaded for the life of the process: sessions and a
  // release() worker may still run its code after the host is done with it.
  ~PluginLibrary() = default;

  // Loads the library at `path` (UTF-8). False with error() set on failure.
  bool load(const std::string& path);
  // Loads KSTraderAPIPluginXT from the directory of this program.
  bool loadBesideProgram();

  kestrel::CreateTradeSessionFunction createTradeSession() const { return create_; }
  kestrel::GetPluginInfoFunction getPluginInfo() const { return info_; }
  const std::string& error() const { return error_; }

 private:
  bool loadHandle(void* handle, const std::string& what);

  void* handle_ = nullptr;
  kestrel::CreateTradeSessionFunction create_ = nullptr;
  kestrel::GetPluginInfoFunction info_ = nullptr;
  std::string error_;
};

}  // namespace demo

#endif  // KESTREL_HOST_DEMO_PLUGIN_LIBRARY_H_
