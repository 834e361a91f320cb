// Directory of the running executable (the host server).
#include <string>

#include "plugin/common.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>

#include <vector>
#endif

namespace {

#if !defined(_WIN32)
// UTF-8 bytes of a file name to a wide string without consulting the locale;
// a byte that starts no valid sequence becomes U+FFFD.
std::wstring widenUtf8(const std::string& bytes) {
  std::wstring out;
  std::size_t i = 0;
  while (i < bytes.size()) {
    unsigned char lead = static_cast<unsigned char>(bytes[i]);
    std::size_t length = lead < 0x80                    ? 1
                         : lead >= 0xF0 && lead <= 0xF4 ? 4
                         : lead >= 0xE0                 ? 3
                         : lead >= 0xC2                 ? 2
                                                        : 0;
    unsigned long cp = length == 1   ? lead
                       : length == 2 ? lead & 0x1F
                       : length == 3 ? lead & 0x0F
                                     : lead & 0x07;
    bool valid = length != 0 && i + length <= bytes.size();
    for (std::size_t k = 1; valid && k < length; ++k) {
      unsigned char c = static_cast<unsigned char>(bytes[i + k]);
      valid = (c & 0xC0) == 0x80;
      cp = (cp << 6) | (c & 0x3F);
    }
    if (valid) {
      out.push_back(static_cast<wchar_t>(cp));
      i += length;
    } else {
      out.push_back(static_cast<wchar_t>(0xFFFD));
      i += 1;
    }
  }
  return out;
}
#endif

}  // namespace

std::wstring FileSystem::GetServerExeDirectoryW() {
#if defined(_WIN32)
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    DWORD n = GetModuleFileNameW(nullptr, &path[0], static_cast<DWORD>(path.size()));
    if (n == 0) return std::wstring();
    if (n < path.size()) {
      path.resize(n);
      break;
    }
    path.resize(path.size() * 2);
  }
  std::size_t cut = path.find_last_of(L"\\/");
  return cut == std::wstring::npos ? std::wstring() : path.substr(0, cut);
#else
  std::vector<char> buffer(4096);
  for (;;) {
    ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (n < 0) return std::wstring();
    if (static_cast<std::size_t>(n) < buffer.size()) {
      std::string path(buffer.data(), static_cast<std::size_t>(n));
      std::size_t cut = path.find_last_of('/');
      if (cut == std::string::npos) return std::wstring();
      return widenUtf8(path.substr(0, cut == 0 ? 1 : cut));
    }
    buffer.resize(buffer.size() * 2);
  }
#endif
}
