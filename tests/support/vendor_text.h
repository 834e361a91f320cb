// Filling the vendor's fixed text fields in tests.
#ifndef KESTREL_TESTS_SUPPORT_VENDOR_TEXT_H_
#define KESTREL_TESTS_SUPPORT_VENDOR_TEXT_H_

#include <cstddef>
#include <cstring>

namespace kestrel {
namespace testing {

// Zeroes the field and copies at most N - 1 bytes of `text` into it.
template <std::size_t N>
void setText(char (&field)[N], const char* text) {
  std::memset(field, 0, N);
  std::strncpy(field, text, N - 1);
}

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_VENDOR_TEXT_H_
