// The plug-in's platform seams (plugin/platform.h): the bounded copy into the
// vendor's fixed text fields, which uses the C runtime's strncpy_s on Windows
// and its own code elsewhere, must behave the same on both.
#include "plugin/platform.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace kestrel {
namespace {

TEST(CopyTruncated, BehavesAlikeOnEveryPlatform) {
  const std::string forty(40, 'L');
  const char unterminated[4] = {'a', 'b', 'c', 'd'};
  struct Case {
    const char* name;
    std::size_t destSize;
    const char* src;
    std::size_t count;
    std::string expected;
  } cases[] = {
      {"short text, field rule", 32, "rb2410", 31, "rb2410"},
      {"exact fit", 32, "0123456789012345678901234567890", 31,
       std::string("0123456789012345678901234567890")},
      {"long text cut at count", 32, forty.c_str(), 31, std::string(31, 'L')},
      {"count below the text", 32, "abcdef", 3, "abc"},
      {"count zero", 32, "abc", 0, ""},
      {"source without NUL, read up to count", 32, unterminated, 4, "abcd"},
      {"null source", 32, nullptr, 31, ""},
      {"count equal to the size", 32, "abc", 32, ""},
      {"count past the size", 8, forty.c_str(), 40, ""},
      {"one-byte field", 1, "abc", 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    char dest[64];
    std::memset(dest, 'X', sizeof(dest));
    copyTruncated(dest, c.destSize, c.src, c.count);
    ASSERT_NE(std::memchr(dest, '\0', c.destSize), nullptr) << "not terminated inside the field";
    EXPECT_EQ(std::string(dest), c.expected);
    EXPECT_EQ(dest[c.destSize], 'X') << "wrote past the field";
  }
}

TEST(CopyTruncated, EmptyOrMissingDestinationIsLeftAlone) {
  char dest[4] = {'X', 'X', 'X', 'X'};
  copyTruncated(dest, 0, "abc", 0);
  EXPECT_EQ(dest[0], 'X');
  copyTruncated(nullptr, 4, "abc", 3);  // no crash
}

TEST(VendorField, TextsStopAtTheNulOrTheFieldsEnd) {
  char field[8];
  copyToField(field, "instrument-code");
  EXPECT_EQ(fieldText(field), "instrum");
  std::memset(field, 'Z', sizeof(field));  // no NUL at all
  EXPECT_EQ(fieldLength(field), sizeof(field));
  EXPECT_EQ(fieldText(field), std::string(8, 'Z'));
}

}  // namespace
}  // namespace kestrel
