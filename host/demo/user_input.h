// What a user types into the demo host: numbers parsed whole and
// range-checked, lines of bounded length read whole. Nothing here prints;
// the callers name the option or command in their refusals.
#ifndef KESTREL_HOST_DEMO_USER_INPUT_H_
#define KESTREL_HOST_DEMO_USER_INPUT_H_

#include <cstddef>
#include <cstdio>
#include <string>

namespace demo {

// A decimal whole number and nothing else (an optional '-', then digits: no
// blanks, fraction, exponent or trailing text), from `min` to `max`. False,
// `out` untouched, for anything else, however large.
bool parseWholeNumber(const std::string& text, long long min, long long max, long long& out);

// A decimal number without sign or exponent (3650, 3650.5, .5) and nothing
// else, from `min` to `max`. False, `out` untouched, otherwise.
bool parseDecimal(const std::string& text, double min, double max, double& out);

// Reads lines of at most kMaxLine bytes of text. A longer line is consumed
// to its end and refused, so that no part of it is taken for a line of its
// own; so is a line that holds a control byte (NUL included) anywhere but
// at its end.
class LineReader {
 public:
  static constexpr std::size_t kMaxLine = 1023;

  enum class Result { kLine, kRefused, kEnd };

  explicit LineReader(std::FILE* in) : in_(in) {}

  // The next line without its end ("\n" or "\r\n"): kLine. kRefused after a
  // line refused whole (`line` then says why); kEnd at the end of input with
  // nothing read.
  Result next(std::string& line);

 private:
  std::FILE* in_;
};

}  // namespace demo

#endif  // KESTREL_HOST_DEMO_USER_INPUT_H_
