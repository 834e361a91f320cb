#include "host/demo/plugin_library.h"

#include <filesystem>

#include "plugin/common.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace demo {
namespace {

#if defined(_WIN32)
std::wstring widen(const std::string& utf8) {
  if (utf8.empty()) return std::wstring();
  int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &wide[0], n);
  return wide;
}

// Loads a DLL named by a path. A bare file name goes through the normal DLL
// search; any other path is made absolute and loaded with
// LOAD_WITH_ALTERED_SEARCH_PATH, so that the DLLs it needs (Common,
// XtTraderApi) are looked for in its own directory first, as $ORIGIN does on
// Linux; plain LoadLibraryW would look beside this program instead.
HMODULE loadByPath(const std::wstring& path) {
  if (path.find_first_of(L"\\/:") == std::wstring::npos) return LoadLibraryW(path.c_str());
  const DWORD size = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (size == 0) return nullptr;
  std::wstring full(size, L'\0');
  const DWORD length = GetFullPathNameW(path.c_str(), size, &full[0], nullptr);
  if (length == 0 || length >= size) return nullptr;
  full.resize(length);
  return LoadLibraryExW(full.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}
#endif

template <typename Function>
Function symbolOf(void* handle, const char* name) {
#if defined(_WIN32)
  // Through void (*)(): the conversion from the generic FARPROC is intended.
  return reinterpret_cast<Function>(
      reinterpret_cast<void (*)()>(GetProcAddress(static_cast<HMODULE>(handle), name)));
#else
  return reinterpret_cast<Function>(dlsym(handle, name));
#endif
}

}  // namespace

bool PluginLibrary::load(const std::string& path) {
#if defined(_WIN32)
  return loadHandle(loadByPath(widen(path)), path);
#else
  return loadHandle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL), path);
#endif
}

bool PluginLibrary::loadBesideProgram() {
#if defined(_WIN32)
  // The program's directory comes from the host's Common library.
  const std::wstring path = FileSystem::GetServerExeDirectoryW() + L"\\KSTraderAPIPluginXT.dll";
  return loadHandle(LoadLibraryW(path.c_str()), "KSTraderAPIPluginXT.dll beside the program");
#else
  // The program's directory as Common finds it, in the file system's bytes.
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  return load((self.parent_path() / "KSTraderAPIPluginXT.so").string());
#endif
}

bool PluginLibrary::loadHandle(void* handle, const std::string& what) {
  handle_ = handle;
  if (handle_ == nullptr) {
#if defined(_WIN32)
    error_ = "cannot load " + what + " (error " + std::to_string(GetLastError()) + ")";
#else
    error_ = "cannot load " + what + ": " + dlerror();
#endif
    return false;
  }
  create_ =
      symbolOf<kestrel::CreateTradeSessionFunction>(handle_, kestrel::kCreateTradeSessionName);
  info_ = symbolOf<kestrel::GetPluginInfoFunction>(handle_, kestrel::kGetPluginInfoName);
  if (create_ == nullptr || info_ == nullptr) {
    error_ = what + " does not export CreateTradeSession and GetPluginInfo";
    return false;
  }
  return true;
}

}  // namespace demo
