// Loads the plug-in by path, as a host does, and prints its description.
#include <cstdio>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

int main(int argc, char** argv) {
  std::string path = argc > 1 ? argv[1] : "";
#if defined(_WIN32)
  if (path.empty()) path = "KSTraderAPIPluginXT.dll";
  HMODULE library = LoadLibraryA(path.c_str());
  if (library == nullptr) {
    std::fprintf(stderr, "cannot load %s\n", path.c_str());
    return 1;
  }
  auto info = reinterpret_cast<const char* (*)()>(GetProcAddress(library, "GetPluginInfo"));
#else
  if (path.empty()) {
    std::string self = argv[0];
    path = self.substr(0, self.find_last_of('/') + 1) + "KSTraderAPIPluginXT.so";
  }
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "cannot load %s: %s\n", path.c_str(), dlerror());
    return 1;
  }
  auto info = reinterpret_cast<const char* (*)()>(dlsym(library, "GetPluginInfo"));
#endif
  if (info == nullptr) {
    std::fprintf(stderr, "GetPluginInfo not exported\n");
    return 1;
  }
  std::printf("%s\n", info());
  return 0;
}
