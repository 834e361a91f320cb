// Platform seams of the plug-in. Everything that differs between Windows and
// Linux inside the plug-in itself stays behind this header (the GBK
// conversions and the executable's directory belong to the host's Common
// library).
#ifndef KESTREL_PLUGIN_PLATFORM_H_
#define KESTREL_PLUGIN_PLATFORM_H_

#include <cstddef>
#include <cstring>
#include <string>

namespace kestrel {

// Copies at most `count` bytes of `src` (stopping at its NUL) into `dest` of
// `destSize` bytes and always terminates it: the semantics of the C runtime's
// strncpy_s when the text fits or `count` < `destSize`. A null `src` or a
// `count` that does not fit leaves `dest` empty. Uses the runtime's own
// strncpy_s on Windows.
inline void copyTruncated(char* dest, std::size_t destSize, const char* src, std::size_t count) {
  if (dest == nullptr || destSize == 0) return;
#if defined(_WIN32)
  if (src == nullptr || count >= destSize || strncpy_s(dest, destSize, src, count) != 0) {
    dest[0] = '\0';
  }
#else
  if (src == nullptr || count >= destSize) {
    dest[0] = '\0';
    return;
  }
  const std::size_t length = strnlen(src, count);
  std::memcpy(dest, src, length);
  dest[length] = '\0';
#endif
}

// The rule for the vendor's fixed text fields: at most N - 1 bytes, then NUL.
template <std::size_t N>
inline void copyToField(char (&dest)[N], const std::string& src) {
  copyTruncated(dest, N, src.c_str(), N - 1);
}

// Length of a vendor text field up to its NUL, never past the field's end.
template <std::size_t N>
inline std::size_t fieldLength(const char (&field)[N]) {
  const void* nul = std::memchr(field, '\0', N);
  return nul != nullptr ? static_cast<std::size_t>(static_cast<const char*>(nul) - field) : N;
}

// A vendor text field as a string, bounded by the field.
template <std::size_t N>
inline std::string fieldText(const char (&field)[N]) {
  return std::string(field, fieldLength(field));
}

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_PLATFORM_H_
