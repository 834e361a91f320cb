// GBK conversions of the Common library.
//
// Invalid input never fails: each byte that is not part of a well-formed
// character becomes one '?', and each well-formed character that GBK cannot
// hold becomes one '?'. Pure ASCII input is returned as it is
// (GBK is a superset of ASCII) without touching a converter.
//
// Linux: glibc iconv with explicit code sets, never the process locale. Each
// direction keeps a few open descriptors that a conversion borrows for its
// call (a descriptor serves one thread at a time), reset only after an
// error. Windows: code page 936 named explicitly, never the ANSI
// code page; UTF-8 decoded here so that bad input gives the same '?'s as on
// Linux. The two agree byte for byte (glibc drops the tag characters
// U+E0000-U+E007F; the Linux code turns each into '?' before iconv).
#include <cstddef>
#include <cstring>

#include "plugin/common.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <iconv.h>

#include <atomic>
#include <cerrno>
#include <memory>
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

// Code page 936 is named explicitly: the ANSI code page differs between
// machines (Wine defaults to 1252).
constexpr UINT kGbkCodePage = 936;

// The conversion functions take int lengths; longer texts go in pieces this
// long, which never split a unit (the UTF-16 below holds no surrogates).
constexpr std::size_t kChunk = std::size_t{1} << 24;

// Whether a code point goes to GBK as '?' without asking the code page: a
// surrogate (no character on its own), anything past the basic plane (code
// page 936 holds none of it), and the private use area, which code page 936
// maps to its user-defined areas but glibc's GBK, and with it the Linux
// build, does not hold.
bool outsideGbk(char32_t code) {
  return (code >= 0xD800 && code <= 0xDFFF) || (code >= 0xE000 && code <= 0xF8FF) || code > 0xFFFF;
}

// Text in a multi-byte encoding to UTF-16, unit by unit: ASCII bytes pass
// as they are; at any other byte, `decodeUnit(bytes, left, out)` looks at the
// `left` bytes from there, appends one UTF-16 unit and returns how many bytes
// it used (at least one).
template <typename DecodeUnit>
std::wstring toUtf16(const std::string& text, DecodeUnit decodeUnit) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t size = text.size();
  std::wstring out;
  out.reserve(size);
  std::size_t i = 0;
  while (i < size) {
    if (bytes[i] < 0x80) {
      out.push_back(static_cast<wchar_t>(bytes[i]));
      ++i;
    } else {
      i += decodeUnit(bytes + i, size - i, out);
    }
  }
  return out;
}

// UTF-8, decoded here because MultiByteToWideChar's replacement rules differ
// from iconv's. A lead byte (C2-F4) followed by its full count of
// continuation bytes is one unit: it becomes its character, or one '?' when
// it is not a Unicode scalar value in its shortest form or is outsideGbk().
// Every other non-ASCII byte becomes one '?' on its own. The result holds no
// surrogates.
std::size_t decodeUtf8Unit(const unsigned char* bytes, std::size_t left, std::wstring& out) {
  static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const unsigned char lead = bytes[0];
  const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                             : lead >= 0xE0 && lead <= 0xEF ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
  bool complete = length != 0 && length <= left;
  char32_t code = lead & (0x7Fu >> length);
  for (std::size_t k = 1; complete && k < length; ++k) {
    complete = (bytes[k] & 0xC0) == 0x80;
    code = (code << 6) | (bytes[k] & 0x3Fu);
  }
  if (!complete) {
    out.push_back(L'?');
    return 1;
  }
  out.push_back(code < kSmallest[length] || outsideGbk(code) ? L'?' : static_cast<wchar_t>(code));
  return length;
}

// A host's UTF-16 with each surrogate pair (one character) and each other
// outsideGbk() unit replaced by one '?', as Linux replaces each such UTF-32
// unit.
std::wstring forGbk(const std::wstring& text) {
  std::wstring out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const wchar_t unit = text[i];
    if (!outsideGbk(unit)) {
      out.push_back(unit);
      continue;
    }
    out.push_back(L'?');
    const bool highSurrogate = unit >= 0xD800 && unit <= 0xDBFF;
    if (highSurrogate && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      ++i;
    }
  }
  return out;
}

// UTF-16 without surrogates to code page 936 or UTF-8, in one pass: a unit
// takes at most two bytes in 936 and three in UTF-8. For 936, a character the
// code page cannot hold becomes one '?', with no best-fit look-alikes; the
// default character is a NUL-terminated text because for a double-byte code
// page the system may read two bytes of it.
std::string fromUtf16(UINT codePage, const std::wstring& text) {
  const bool gbk = codePage == kGbkCodePage;
  const DWORD flags = gbk ? WC_NO_BEST_FIT_CHARS : 0;
  static const char fallback[] = "?";
  const std::size_t widest = gbk ? 2 : 3;
  std::string out;
  for (std::size_t at = 0; at < text.size(); at += kChunk) {
    const std::size_t count = text.size() - at < kChunk ? text.size() - at : kChunk;
    const std::size_t offset = out.size();
    out.resize(offset + count * widest);
    const int n = WideCharToMultiByte(codePage, flags, text.data() + at, static_cast<int>(count),
                                      &out[offset], static_cast<int>(count * widest),
                                      gbk ? fallback : nullptr, nullptr);
    if (n > 0) {
      out.resize(offset + static_cast<std::size_t>(n));
    } else {
      out.replace(offset, std::string::npos, count, '?');
    }
  }
  return out;
}

// GBK. A lead byte (81-FE) and the byte after it are one unit, any other
// byte is a unit of its own; a unit that code page 936 does not map to a
// character, or maps into the private use area (see outsideGbk), becomes one
// '?', as does a lead byte that ends the text.
std::size_t decodeGbkUnit(const unsigned char* bytes, std::size_t left, std::wstring& out) {
  const std::size_t length = bytes[0] >= 0x81 && bytes[0] <= 0xFE ? 2 : 1;
  if (length > left) {
    out.push_back(L'?');
    return 1;
  }
  wchar_t unit[2];
  const int n =
      MultiByteToWideChar(kGbkCodePage, MB_ERR_INVALID_CHARS, reinterpret_cast<const char*>(bytes),
                          static_cast<int>(length), unit, 2);
  out.push_back(n == 1 && !outsideGbk(unit[0]) ? unit[0] : L'?');
  return length;
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

// One iconv descriptor for one direction, used by one thread at a time.
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
    // A short text (every status and error text of a push) is converted in
    // one call into a stack buffer, so that its result is allocated once at
    // its final size, or not at all when it fits the string's own storage.
    // No output of these converters is longer than twice the input; a text
    // that fails here anyway starts over in the general loop below.
    char buffer[256];
    if (size <= sizeof(buffer) / 2) {
      char* in = const_cast<char*>(data);
      std::size_t inLeft = size;
      char* dst = buffer;
      std::size_t outLeft = sizeof(buffer);
      if (iconv(cd_, &in, &inLeft, &dst, &outLeft) != static_cast<std::size_t>(-1)) {
        out.assign(buffer, sizeof(buffer) - outLeft);
        return out;
      }
      iconv(cd_, nullptr, nullptr, nullptr, nullptr);
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

// The open converters of one direction. A conversion takes an idle one for
// its call, or opens one when none is idle, and gives it back; converters
// given back when every slot is full are closed. So a thread holds no
// converter between calls and nothing per thread (a thread that ends leaves
// nothing to clean up), and as many converters stay open as conversions ran
// at once, up to the slots. Thread-safe without a lock.
class ConverterPool {
 public:
  ConverterPool(const char* to, const char* from, std::size_t unitSize,
                std::size_t (*sequenceLength)(unsigned char))
      : to_(to), from_(from), unitSize_(unitSize), sequenceLength_(sequenceLength) {}
  ConverterPool(const ConverterPool&) = delete;
  ConverterPool& operator=(const ConverterPool&) = delete;

  std::string run(const char* data, std::size_t size) {
    std::unique_ptr<Converter> converter(take());  // closed if the conversion throws
    std::string out = converter->run(data, size);
    giveBack(converter.release());
    return out;
  }

 private:
  static constexpr std::size_t kSlots = 8;

  Converter* take() {
    for (std::atomic<Converter*>& slot : idle_) {
      if (Converter* converter = slot.exchange(nullptr, std::memory_order_acquire)) {
        return converter;
      }
    }
    return new Converter(to_, from_, unitSize_, sequenceLength_);
  }
  void giveBack(Converter* converter) {
    for (std::atomic<Converter*>& slot : idle_) {
      Converter* empty = nullptr;
      if (slot.compare_exchange_strong(empty, converter, std::memory_order_release,
                                       std::memory_order_relaxed)) {
        return;
      }
    }
    delete converter;
  }

  const char* const to_;
  const char* const from_;
  const std::size_t unitSize_;
  std::size_t (*const sequenceLength_)(unsigned char);
  std::atomic<Converter*> idle_[kSlots] = {};
};

// The pools are never destroyed: a thread may still convert while the
// process exits.
ConverterPool& utf8ToGbk() {
  static ConverterPool* pool = new ConverterPool("GBK", "UTF-8", 1, &utf8SequenceLength);
  return *pool;
}

ConverterPool& wideToGbk() {
  static ConverterPool* pool = new ConverterPool("GBK", "WCHAR_T", sizeof(wchar_t), nullptr);
  return *pool;
}

ConverterPool& gbkToUtf8() {
  static ConverterPool* pool = new ConverterPool("UTF-8", "GBK", 1, &gbkSequenceLength);
  return *pool;
}

// glibc's converters skip the Unicode tag characters U+E0000-U+E007F without
// reporting them, so they would vanish instead of becoming one '?' like every
// other character GBK cannot hold. Texts holding one are given to iconv with
// each replaced by '?' (in UTF-8 they are F3 A0 80-81 80-BF).
constexpr char kTagLead[] = "\xF3\xA0";

bool isTag(unsigned long code) { return code >= 0xE0000 && code <= 0xE007F; }

std::string withTagsReplaced(const std::string& text) {
  std::string out;
  std::size_t from = 0;
  for (std::size_t at = text.find(kTagLead); at != std::string::npos;
       at = text.find(kTagLead, at + 1)) {
    if (at < from || at + 3 >= text.size()) continue;
    const auto third = static_cast<unsigned char>(text[at + 2]);
    const auto fourth = static_cast<unsigned char>(text[at + 3]);
    if ((third != 0x80 && third != 0x81) || (fourth & 0xC0) != 0x80) continue;
    out.append(text, from, at - from).append(1, '?');
    from = at + 4;
  }
  return out.append(text, from, std::string::npos);
}

#endif

}  // namespace

std::string CodeConvert::utf8_to_gbk(const std::string& text) {
  if (isAscii(text.data(), text.size())) return text;
#if defined(_WIN32)
  return fromUtf16(kGbkCodePage, toUtf16(text, decodeUtf8Unit));
#else
  if (text.find(kTagLead) != std::string::npos) {
    const std::string input = withTagsReplaced(text);
    return utf8ToGbk().run(input.data(), input.size());
  }
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
  return fromUtf16(kGbkCodePage, forGbk(text));
#else
  std::wstring input = text;
  for (wchar_t& c : input) {
    if (isTag(static_cast<unsigned long>(c))) c = L'?';
  }
  return wideToGbk().run(reinterpret_cast<const char*>(input.data()),
                         input.size() * sizeof(wchar_t));
#endif
}

std::string CodeConvert::gbk_to_utf8(const std::string& text) {
  if (isAscii(text.data(), text.size())) return text;
#if defined(_WIN32)
  return fromUtf16(CP_UTF8, toUtf16(text, decodeGbkUnit));
#else
  return gbkToUtf8().run(text.data(), text.size());
#endif
}

}  // namespace kestrel
