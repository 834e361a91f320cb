// Showing values: numbers that read back the same, texts as valid UTF-8,
// vendor records by their layout.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "recorder/journal/value_codec.h"

namespace kestrel {
namespace journal {

std::string numberText(double value) {
  char text[40];
  for (int precision = 15; precision <= 17; ++precision) {
    std::snprintf(text, sizeof(text), "%.*g", precision, value);
    if (std::strtod(text, nullptr) == value) break;
  }
  return text;
}

std::string utf8Text(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80                    ? 1
                               : lead >= 0xC2 && lead <= 0xDF ? 2
                               : lead >= 0xE0 && lead <= 0xEF ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    bool valid = length > 0 && i + length <= text.size();
    for (std::size_t k = 1; valid && k < length; ++k) {
      valid = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
    }
    if (valid) {
      out.append(text, i, length);
      i += length;
    } else {
      out += "\xEF\xBF\xBD";
      ++i;
    }
  }
  return out;
}

void PrintValues::layout(const char* name, const Layout& layout, const void* bytes) {
  const std::string outer = prefix_;
  if (*name != '\0') prefix_ += std::string(name) + ".";
  const char* base = static_cast<const char*>(bytes);
  using xti::layout::Kind;
  for (const LayoutField* f = layout.begin; f != layout.end; ++f) {
    // "m_strAccountID" shows as "AccountID".
    const char* shown = f->name + 2;
    while (*shown >= 'a' && *shown <= 'z') ++shown;
    const char* at = base + f->offset;
    const auto number = [&](auto v) {
      std::memcpy(&v, at, sizeof(v));
      (*this)(shown, v);
    };
    if (f->kind == Kind::kText) {
      (*this)(shown, std::string(at, strnlen(at, f->size)));
    } else if (f->kind == Kind::kInt32) {
      number(int32_t{});
    } else if (f->kind == Kind::kDouble) {
      number(double{});
    } else if (f->kind == Kind::kBool) {
      (*this)(shown, bool(*at != 0));
    }
  }
  prefix_ = outer;
}

}  // namespace journal
}  // namespace kestrel
