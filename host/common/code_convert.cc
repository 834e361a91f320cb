// GBK conversions of the Common library.
//
// Invalid input never fails: each byte that is not part of a well-formed
// character becomes one '?', and each well-formed character that GBK cannot
// hold becomes one '?'. Pure ASCII input is returned as it is
// (GBK is a superset of ASCII) without touching a converter.
//
// Linux: glibc iconv with explicit code sets, one descriptor per thread and
// direction, opened on first use and reset only after an error; never the
// process locale. Windows: code page 936 named explicitly, never the ANSI
// code page.
#include "plugin/common.h"

#include <cstddef>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#else
#include <cerrno>
#include <iconv.h>
#endif

namespace kestrel {
namespace {

bool isAscii(const char* data, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    if (static_cast<unsigned char>(data[i]) >= 0x80) return false;
  }
  return true;
}

#if defined(_WIN32)

constexpr UINT kGbkCodePage = 936;

std::wstring toWide(UINT codePage, const char* data, std::size_t size) {
  if (size == 0) return std::wstring();
  int n = MultiByteToWideChar(codePage, 0, data, static_cast<int>(size), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(codePage, 0, data, static_cast<int>(size), &wide[0], n);
  return wide;
}

std::string fromWide(UINT codePage, const wchar_t* data, std::size_t size) {
  if (size == 0) return std::string();
  const bool gbk = codePage == kGbkCodePage;
  const char fallback = '?';
  int n = WideCharToMultiByte(codePage, 0, data, static_cast<int>(size), nullptr, 0,
                              gbk ? &fallback : nullptr, nullptr);
  std::string out(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(codePage, 0, data, static_cast<int>(size), &out[0], n,
                      gbk ? &fallback : nullptr, nullptr);
  return out;
}

std::string convert(UINT from, UINT to, const std::string& text) {
  std::wstring wide = toWide(from, text.data(), text.size());
  return fromWide(to, wide.data(), wide.size());
}

#else  // iconv

// Byte length of the UTF-8 sequence introduced by `lead`, or 1 for a byte that
// cannot start one.
std::size_t utf8SequenceLength(unsigned char lead) {
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  if (lead >= 0xE0) return lead <= 0xEF ? 3 : 1;
  if (lead >= 0xC2) return 2;
  return 1;
}

std::size_t gbkSequenceLength(unsigned char lead) { return lead >= 0x81 && lead <= 0xFE ? 2 : 1; }

// One iconv descriptor for one direction on one thread.
class Converter {
 public:
  Converter(const char* to, const char* from, std::size_t unitSize,
            std::size_t (*sequenceLength)(unsigned char))
      : cd_(iconv_open(to, from)), unitSize_(unitSize), sequenceLength_(sequenceLength) {}
  ~Converter() {
    if (cd_ != invalid()) iconv_close(cd_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  std::string run(const char* data, std::size_t size) {
    std::string out;
    if (cd_ == invalid()) {
      out.assign(size / unitSize_, '?');
      return out;
    }
    out.resize(size * 2 + 16);
    char* in = const_cast<char*>(data);
    std::size_t inLeft = size;
    std::size_t produced = 0;
    while (inLeft > 0) {
      char* dst = &out[produced];
      std::size_t outLeft = out.size() - produced;
      std::size_t rc = iconv(cd_, &in, &inLeft, &dst, &outLeft);
      produced = out.size() - outLeft;
      if (rc != static_cast<std::size_t>(-1)) break;
      if (errno == E2BIG) {
        out.resize(out.size() * 2);
        continue;
      }
      // EILSEQ or EINVAL: one '?' for the offending sequence, then go on.
      iconv(cd_, nullptr, nullptr, nullptr, nullptr);
      std::size_t skip = unitSize_;
      if (sequenceLength_ != nullptr) {
        skip = sequenceLength_(static_cast<unsigned char>(*in));
        // A sequence cut short or broken inside: drop only its lead byte.
        if (errno == EINVAL || skip > inLeft || !validTail(in, skip)) skip = 1;
      }
      if (skip > inLeft) skip = inLeft;
      in += skip;
      inLeft -= skip;
      if (produced + 1 > out.size()) out.resize(out.size() * 2);
      out[produced++] = '?';
    }
    out.resize(produced);
    return out;
  }

 private:
  static iconv_t invalid() { return reinterpret_cast<iconv_t>(-1); }

  bool validTail(const char* in, std::size_t length) const {
    if (sequenceLength_ == &gbkSequenceLength) return true;
    for (std::size_t i = 1; i < length; ++i) {
      if ((static_cast<unsigned char>(in[i]) & 0xC0) != 0x80) return false;
    }
    return true;
  }

  iconv_t cd_;
  std::size_t unitSize_;
  std::size_t (*sequenceLength_)(unsigned char);
};

Converter& utf8ToGbk() {
  thread_local Converter converter("GBK", "UTF-8", 1, &utf8SequenceLength);
  return converter;
}

Converter& wideToGbk() {
  thread_local Converter converter("GBK", "WCHAR_T", sizeof(wchar_t), nullptr);
  return converter;
}

Converter& gbkToUtf8() {
  thread_local Converter converter("UTF-8", "GBK", 1, &gbkSequenceLength);
  return converter;
}

#endif

}  // namespace

std::string CodeConvert::utf8_to_gbk(const std::string& text) {
  if (isAscii(text.data(), text.size())) return text;
#if defined(_WIN32)
  return convert(CP_UTF8, kGbkCodePage, text);
#else
  return utf8ToGbk().run(text.data(), text.size());
#endif
}

std::string CodeConvert::unicode_to_gbk(const std::wstring& text) {
  bool ascii = true;
  for (wchar_t c : text) {
    if (static_cast<unsigned long>(c) >= 0x80) {
      ascii = false;
      break;
    }
  }
  if (ascii) return std::string(text.begin(), text.end());
#if defined(_WIN32)
  return fromWide(kGbkCodePage, text.data(), text.size());
#else
  return wideToGbk().run(reinterpret_cast<const char*>(text.data()),
                         text.size() * sizeof(wchar_t));
#endif
}

std::string CodeConvert::gbk_to_utf8(const std::string& text) {
  if (isAscii(text.data(), text.size())) return text;
#if defined(_WIN32)
  return convert(kGbkCodePage, CP_UTF8, text);
#else
  return gbkToUtf8().run(text.data(), text.size());
#endif
}

}  // namespace kestrel
