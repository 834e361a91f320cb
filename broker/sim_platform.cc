#include "broker/sim_platform.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#if defined(_WIN32)
#include <windows.h>
#else
#include <iconv.h>
#endif

namespace xti {
namespace sim {
namespace {

bool isAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

ReadStatus readOpened(std::FILE* raw, std::string& text) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(raw, &std::fclose);
  text.clear();
  char buffer[4096];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof(buffer), file.get())) > 0) {
    text.append(buffer, n);
    if (text.size() > kMaxFile) return ReadStatus::kTooLarge;
  }
  return std::ferror(file.get()) ? ReadStatus::kUnreadable : ReadStatus::kOk;
}

#if defined(_WIN32)

std::wstring gbkToWide(const std::string& text) {
  if (text.empty()) return std::wstring();
  const int n = MultiByteToWideChar(936, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  if (n <= 0) return std::wstring();
  std::wstring wide(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(936, 0, text.data(), static_cast<int>(text.size()), &wide[0], n);
  return wide;
}

#else

// iconv from GBK to UTF-8; false when the text is not GBK.
bool convertGbk(const std::string& text, std::string& out) {
  iconv_t cd = iconv_open("UTF-8", "GBK");
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  std::string input = text;
  out.assign(text.size() * 3 + 4, '\0');
  char* in = &input[0];
  std::size_t inLeft = input.size();
  char* dst = &out[0];
  std::size_t outLeft = out.size();
  const std::size_t rc = iconv(cd, &in, &inLeft, &dst, &outLeft);
  iconv_close(cd);
  if (rc == static_cast<std::size_t>(-1)) return false;
  out.resize(out.size() - outLeft);
  return true;
}

#endif

}  // namespace

ReadStatus readWholeFile(const std::string& path, std::string& text) {
#if defined(_WIN32)
  const std::wstring wide = gbkToWide(path);
  if (wide.empty()) return ReadStatus::kMissing;
  std::FILE* file = _wfopen(wide.c_str(), L"rb");
  if (file == nullptr) return errno == ENOENT ? ReadStatus::kMissing : ReadStatus::kUnreadable;
  return readOpened(file, text);
#else
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr && (errno == ENOENT || errno == ENOTDIR) && !isAscii(path)) {
    std::string utf8;
    if (convertGbk(path, utf8)) file = std::fopen(utf8.c_str(), "rb");
  }
  if (file == nullptr) {
    return errno == ENOENT || errno == ENOTDIR ? ReadStatus::kMissing : ReadStatus::kUnreadable;
  }
  return readOpened(file, text);
#endif
}

bool appendLine(const std::string& path, const std::string& line) {
#if defined(_WIN32)
  const int n =
      MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), nullptr, 0);
  if (n <= 0) return false;
  std::wstring wide(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), &wide[0], n);
  std::FILE* file = _wfopen(wide.c_str(), L"ab");
#else
  std::FILE* file = std::fopen(path.c_str(), "ab");
#endif
  if (file == nullptr) return false;
  const bool written = std::fwrite(line.data(), 1, line.size(), file) == line.size() &&
                       std::fputc('\n', file) != EOF;
  return std::fclose(file) == 0 && written;
}

std::string gbkToUtf8(const std::string& text) {
  if (isAscii(text)) return text;
#if defined(_WIN32)
  const std::wstring wide = gbkToWide(text);
  if (!wide.empty()) {
    const int n = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                      nullptr, 0, nullptr, nullptr);
    if (n > 0) {
      std::string utf8(static_cast<std::size_t>(n), '\0');
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), &utf8[0], n,
                          nullptr, nullptr);
      return utf8;
    }
  }
#else
  std::string utf8;
  if (convertGbk(text, utf8)) return utf8;
#endif
  std::string ascii = text;
  for (char& c : ascii) {
    if (static_cast<unsigned char>(c) >= 0x80) c = '?';
  }
  return ascii;
}

std::string environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::string(value) : std::string();
}

}  // namespace sim
}  // namespace xti
