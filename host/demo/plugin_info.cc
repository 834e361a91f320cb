// Loads the plug-in by path, as a host does, and prints its description.
//
//   plugin_info [PATH]   PATH: the plug-in (default: beside this program)
//   plugin_info --help
//
// Exit codes: 0 printed; 1 the library could not be loaded or lacks
// GetPluginInfo; 2 a refused command line (nothing was loaded).
#include <cstdio>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#if defined(_WIN32)
namespace {

// KSTraderAPIPluginXT.dll in the directory of this program, found the way a
// host finds its plug-ins: through the program's own module path, not the
// DLL search order.
std::wstring pluginBesideProgram() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetModuleFileNameW(nullptr, &path[0], static_cast<DWORD>(path.size()));
    if (n == 0) return L"KSTraderAPIPluginXT.dll";
    if (n < path.size()) {
      path.resize(n);
      break;
    }
    path.resize(path.size() * 2);
  }
  return path.substr(0, path.find_last_of(L"\\/") + 1) + L"KSTraderAPIPluginXT.dll";
}

// A path given on the command line, which arrives in the ANSI code page.
std::wstring widenArgument(const std::string& text) {
  const int n =
      MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(n > 0 ? n : 0), L'\0');
  if (n > 0) {
    MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), &wide[0], n);
  }
  return wide;
}

}  // namespace
#endif

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
  std::string path = first;
#if defined(_WIN32)
  const std::wstring widePath = path.empty() ? pluginBesideProgram() : widenArgument(path);
  // The DLLs the plug-in needs (Common, XtTraderApi) are looked for beside
  // this program, where the default path puts the plug-in too.
  HMODULE library = LoadLibraryW(widePath.c_str());
  if (library == nullptr) {
    std::fprintf(stderr, "cannot load %ls (error %lu)\n", widePath.c_str(), GetLastError());
    return 1;
  }
  // GetProcAddress returns a generic function pointer; the cast through
  // void (*)() says the conversion to the real type is intended.
  auto info = reinterpret_cast<const char* (*)()>(
      reinterpret_cast<void (*)()>(GetProcAddress(library, "GetPluginInfo")));
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
