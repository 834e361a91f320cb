// Loads the plug-in by path, as a host does, and prints its description.
//
//   plugin_info [PATH]   PATH: the plug-in (default: beside this program)
//   plugin_info --help
//
// Exit codes: 0 printed; 1 the library could not be loaded or lacks the
// entry points; 2 a refused command line (nothing was loaded).
#include <cstdio>
#include <string>

#include "host/demo/plugin_library.h"

int main(int argc, char** argv) {
  const std::string first = argc > 1 ? argv[1] : "";
  if (first == "--help" || first == "-h") {
    std::printf(
        "usage: plugin_info [PATH]\n"
        "Loads the plug-in at PATH (default: KSTraderAPIPluginXT beside this program)\n"
        "and prints what its GetPluginInfo() says.\n");
    return 0;
  }
  if (argc > 2 || first.rfind("-", 0) == 0) {
    std::fprintf(stderr, "plugin_info: %s '%s' (plugin_info --help)\n",
                 argc > 2 ? "unexpected argument" : "unknown option", argc > 2 ? argv[2] : argv[1]);
    return 2;
  }
  demo::PluginLibrary library;
  if (!(first.empty() ? library.loadBesideProgram() : library.load(first))) {
    std::fprintf(stderr, "%s\n", library.error().c_str());
    return 1;
  }
  std::printf("%s\n", library.getPluginInfo()());
  return 0;
}
