#include "host/demo/user_input.h"

#include <charconv>
#include <cstdio>

namespace demo {
bool parseWholeNumber(const std::string& text, long long min, long long max, long long& out) {
  long long value = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, value);
  if (read.ec != std::errc() || read.ptr != end || value < min || value > max) return false;
  out = value;
  return true;
}

bool parseDecimal(const std::string& text, double min, double max, double& out) {
  // Digits and one point at most: no sign, exponent or blank.
  if (text.find_first_not_of("0123456789.") != std::string::npos) return false;
  double value = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, value, std::chars_format::fixed);
  if (read.ec != std::errc() || read.ptr != end || !(value >= min && value <= max)) return false;
  out = value;
  return true;
}

LineReader::Result LineReader::next(std::string& line) {
  line.clear();
  int c = std::fgetc(in_);
  if (c == EOF) return Result::kEnd;
  // Keeps one byte more than a line may hold: a "\r" before the "\n" ends
  // the line and does not count.
  std::size_t length = 0;
  std::size_t control = 0;  // where the first control byte is, from 1
  unsigned char controlByte = 0;
  for (; c != EOF && c != '\n'; c = std::fgetc(in_)) {
    if (++length <= kMaxLine + 1) line.push_back(static_cast<char>(c));
    if ((c < 0x20 || c == 0x7F) && control == 0) {
      control = length;
      controlByte = static_cast<unsigned char>(c);
    }
  }
  if (length == line.size() && !line.empty() && line.back() == '\r') {
    line.pop_back();
    if (control == length) control = 0;
    --length;
  }
  if (length > kMaxLine) {
    line = "a line of " + std::to_string(length) + " bytes, refused whole: a line holds at most " +
           std::to_string(kMaxLine) + " bytes";
    return Result::kRefused;
  }
  if (control != 0) {
    char what[96];
    std::snprintf(what, sizeof(what),
                  "a line with the control byte 0x%02X at byte %zu, refused whole", controlByte,
                  control);
    line = what;
    return Result::kRefused;
  }
  return Result::kLine;
}

}  // namespace demo
