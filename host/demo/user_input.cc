#include "host/demo/user_input.h"

#include <cstdio>
#include <cstdlib>

namespace demo {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool parseWholeNumber(const std::string& text, long long min, long long max, long long& out) {
  std::size_t at = text.empty() || text[0] != '-' ? 0 : 1;
  if (at == text.size()) return false;
  // Digits beyond 18 could overflow; any value that long is out of every
  // range the demo uses, so it is refused as such.
  constexpr std::size_t kMaxDigits = 18;
  long long magnitude = 0;
  for (std::size_t digits = 0; at < text.size(); ++at, ++digits) {
    if (!isDigit(text[at]) || digits == kMaxDigits) return false;
    magnitude = magnitude * 10 + (text[at] - '0');
  }
  const long long value = text[0] == '-' ? -magnitude : magnitude;
  if (value < min || value > max) return false;
  out = value;
  return true;
}

bool parseDecimal(const std::string& text, double min, double max, double& out) {
  std::size_t digits = 0;
  std::size_t points = 0;
  for (char c : text) {
    if (isDigit(c)) {
      ++digits;
    } else if (c == '.') {
      ++points;
    } else {
      return false;
    }
  }
  if (digits == 0 || points > 1) return false;
  // Only digits and one point: strtod reads all of it, in the "C" locale the
  // demo runs in.
  const double value = std::strtod(text.c_str(), nullptr);
  if (!(value >= min && value <= max)) return false;
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
