#include "recorder/journal/journal_platform.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#endif

namespace kestrel {
namespace journal {
namespace {

std::atomic<bool> exiting{false};

// The module's own name with "_real" before the extension.
std::string realBeside(const std::string& module) {
  const std::size_t slash = module.find_last_of("/\\");
  const std::size_t dot = module.find('.', slash == std::string::npos ? 0 : slash + 1);
  return dot == std::string::npos ? module + "_real"
                                  : module.substr(0, dot) + "_real" + module.substr(dot);
}

#if defined(_WIN32)
std::wstring wide(const std::string& utf8) {
  const int n =
      MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  std::wstring out(static_cast<std::size_t>(n > 0 ? n : 0), L'\0');
  if (n > 0)
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &out[0], n);
  return out;
}

std::string narrow(const std::wstring& text) {
  const int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr,
                                    0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(n > 0 ? n : 0), '\0');
  if (n > 0) {
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &out[0], n, nullptr,
                        nullptr);
  }
  return out;
}

std::string moduleFile(HMODULE module) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetModuleFileNameW(module, &path[0], static_cast<DWORD>(path.size()));
    if (n == 0) return std::string();
    if (n < path.size()) return narrow(path.substr(0, n));
    path.resize(path.size() * 2);
  }
}
#endif

}  // namespace

std::FILE* openFile(const std::string& path, const char* mode) {
#if defined(_WIN32)
  return _wfopen(wide(path).c_str(), wide(mode).c_str());
#else
  return std::fopen(path.c_str(), mode);
#endif
}

std::string lastErrorText() { return std::strerror(errno); }

void* openLibrary(const std::string& path, std::string& error) {
#if defined(_WIN32)
  std::wstring full(MAX_PATH * 4, L'\0');
  const DWORD n =
      GetFullPathNameW(wide(path).c_str(), static_cast<DWORD>(full.size()), &full[0], nullptr);
  HMODULE module = nullptr;
  if (n > 0 && n < full.size()) {
    full.resize(n);
    module = LoadLibraryExW(full.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  }
  if (module == nullptr)
    error = "cannot load " + path + " (error " + std::to_string(GetLastError()) + ")";
  return module;
#else
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) error = dlerror();
  return library;
#endif
}

void* findSymbol(void* library, const char* name) {
#if defined(_WIN32)
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
#else
  return dlsym(library, name);
#endif
}

std::string realLibraryPath(const void* address, const char* variable) {
  const std::string configured = environmentValue(variable);
  if (!configured.empty()) return configured;
#if defined(_WIN32)
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      static_cast<LPCWSTR>(address), &module);
  return realBeside(moduleFile(module));
#else
  Dl_info info{};
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return std::string();
  return realBeside(info.dli_fname);
#endif
}

std::string environmentValue(const char* name) {
#if defined(_WIN32)
  const wchar_t* value = _wgetenv(wide(name).c_str());
  return value == nullptr ? std::string() : narrow(value);
#else
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
#endif
}

std::string programPath() {
#if defined(_WIN32)
  return moduleFile(nullptr);
#else
  std::vector<char> buffer(4096);
  const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
  return n > 0 ? std::string(buffer.data(), static_cast<std::size_t>(n)) : std::string();
#endif
}

uint32_t processId() {
#if defined(_WIN32)
  return GetCurrentProcessId();
#else
  return static_cast<uint32_t>(getpid());
#endif
}

bool processExiting() { return exiting.load(); }
void markProcessExiting() { exiting.store(true); }

}  // namespace journal
}  // namespace kestrel
