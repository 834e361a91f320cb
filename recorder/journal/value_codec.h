// How the arguments of the plug-in's two boundaries become journal values and
// back: put() writes an argument, Arg<T> reads one (and shows it, and hands
// it to a call again); recordCall(), recordAnswer() and forwardCallback()
// write whole entries of an interface's operation by its table row, record()
// those of the journal's own operations.
//
// Each argument type has one encoding:
//   bool, int, 64-bit and double      their value
//   text (const char*, std::string)   text, or null for a null pointer
//   secrets (marked in the tables)    "***" when not empty: never the text
//   vendor record pointer             its bytes at the vendor's layout, or null
//   host record (by reference or      its fields in declaration order
//   pointer, or null)                 (recorder/journal/host_fields.h)
//   vector, list                      a count, then the elements
//   callback object pointer           whether one was given (bool)
//   XtError                           its id and its text (or null)
#ifndef KESTREL_RECORDER_JOURNAL_VALUE_CODEC_H_
#define KESTREL_RECORDER_JOURNAL_VALUE_CODEC_H_

#include <cstring>
#include <list>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "plugin/trade_session.h"
#include "plugin/trade_session_spi.h"
#include "recorder/journal/host_fields.h"
#include "recorder/journal/journal.h"
#include "recorder/journal/journal_format.h"
#include "recorder/journal/vendor_layout.h"

namespace kestrel {
namespace journal {

constexpr char kSecretMask[] = "***";

// --- Printing ----------------------------------------------------------------

// One value as the tools show it: a dotted name and the value as UTF-8 text.
struct Field {
  std::string name;
  std::string value;
  bool text = false;
};
using Fields = std::vector<Field>;

// Host texts are GBK, shown through `hostText`; vendor texts are UTF-8.
struct PrintContext {
  std::string (*hostText)(const std::string& gbk) = nullptr;
  bool host = false;
};

std::string numberText(double value);           // the shortest text that reads back the same
std::string utf8Text(const std::string& text);  // invalid bytes become U+FFFD

// --- Visitors over values: write, read, print ---------------------------------

template <typename T>
struct IsSequence : std::false_type {};
template <typename T>
struct IsSequence<std::vector<T>> : std::true_type {};
template <typename T>
struct IsSequence<std::list<T>> : std::true_type {};

// Records are classes other than texts and sequences: host records go field by
// field, the vendor's as their bytes.
template <typename T>
constexpr bool kIsRecord =
    std::is_class<T>::value && !std::is_same<T, std::string>::value && !IsSequence<T>::value;
template <typename T>
using IfVendor = std::enable_if_t<VendorLayout<T>::value>;
template <typename T>
using IfHostRecord = std::enable_if_t<kIsRecord<T> && !VendorLayout<T>::value>;
template <typename T>
using IfSequence = std::enable_if_t<IsSequence<T>::value>;

class WriteValues {
 public:
  explicit WriteValues(FrameWriter& w) : w_(w) {}
  void operator()(const char*, const int32_t& v) { w_.int32(v); }
  void operator()(const char*, const int64_t& v) { w_.int64(v); }
  void operator()(const char*, const double& v) { w_.real(v); }
  void operator()(const char*, const std::string& v) { w_.text(v); }
  void secret(const char*, const std::string& v) { w_.text(v.empty() ? v : kSecretMask); }
  template <typename C>
  IfSequence<C> operator()(const char*, const C& c) {
    w_.list(c.size());
    for (const auto& e : c) (*this)("", e);
  }
  template <typename R, typename = IfVendor<R>>
  void operator()(const char*, const R& r, int = 0) {
    w_.bytes(&r, sizeof(r));
  }
  template <typename R, typename = IfHostRecord<R>>
  void operator()(const char*, const R& r, long = 0) {
    fields(*this, const_cast<R&>(r));  // only read: fields() serves every visitor
  }

 private:
  FrameWriter& w_;
};

class ReadValues {
 public:
  explicit ReadValues(ValueReader& r) : r_(r) {}
  void operator()(const char*, int32_t& v) { v = r_.int32(); }
  void operator()(const char*, int64_t& v) { v = r_.int64(); }
  void operator()(const char*, double& v) { v = r_.real(); }
  void operator()(const char*, std::string& v) { v = r_.text(); }
  void secret(const char* name, std::string& v) { (*this)(name, v); }
  template <typename C>
  IfSequence<C> operator()(const char*, C& c) {
    c.clear();
    for (std::size_t n = r_.list(); n > 0; --n) {
      c.emplace_back();
      (*this)("", c.back());
    }
  }
  template <typename R, typename = IfHostRecord<R>>
  void operator()(const char*, R& r) {
    fields(*this, r);
  }

 private:
  ValueReader& r_;
};

class PrintValues {
 public:
  PrintValues(Fields& out, const PrintContext& context) : out_(out), context_(context) {}
  void operator()(const char* name, const int32_t& v) { add(name, std::to_string(v), false); }
  void operator()(const char* name, const int64_t& v) { add(name, std::to_string(v), false); }
  void operator()(const char* name, const double& v) { add(name, numberText(v), false); }
  void operator()(const char* name, const bool& v) { add(name, v ? "true" : "false", false); }
  void operator()(const char* name, const std::string& v) {
    add(name, context_.host && context_.hostText ? context_.hostText(v) : utf8Text(v), true);
  }
  void secret(const char* name, const std::string& v) { (*this)(name, v); }
  void absent(const char* name) { add(name, "null", false); }
  template <typename C>
  IfSequence<C> operator()(const char* name, const C& c) {
    add(name, "[" + std::to_string(c.size()) + "]", false);
    std::size_t i = 0;
    for (const auto& e : c)
      (*this)((std::string(name) + "[" + std::to_string(i++) + "]").c_str(), e);
  }
  // A vendor record: every field of its layout.
  void layout(const char* name, const Layout& layout, const void* bytes);
  template <typename R, typename = IfVendor<R>>
  void operator()(const char* name, const R& r, int = 0) {
    layout(name, VendorLayout<R>::get(), &r);
  }
  template <typename R, typename = IfHostRecord<R>>
  void operator()(const char* name, const R& r, long = 0) {
    const std::size_t outer = prefix_.size();
    if (*name != '\0') prefix_ += std::string(name) + ".";
    fields(*this, const_cast<R&>(r));  // only read
    prefix_.resize(outer);
  }

 private:
  void add(const char* name, std::string value, bool text) {
    out_.push_back(Field{prefix_ + name, std::move(value), text});
  }
  Fields& out_;
  const PrintContext& context_;
  std::string prefix_;
};

// --- Writing arguments ----------------------------------------------------------

inline void put(FrameWriter& w, bool v) { w.boolean(v); }
inline void put(FrameWriter& w, int v) { w.int32(v); }
inline void put(FrameWriter& w, const char* v) { v ? w.text(v, std::strlen(v)) : w.null(); }
inline void put(FrameWriter& w, const xti::XtError& e) {
  w.int32(e.errorID());
  put(w, e.errorMsg());
}
// The callback objects: whether one was given.
inline void put(FrameWriter& w, xti::XtTraderApiCallback* object) { w.boolean(object != nullptr); }
inline void put(FrameWriter& w, ITradeSessionSpi* object) { w.boolean(object != nullptr); }
template <typename R>
void put(FrameWriter& w, const R* record) {
  record ? WriteValues{w}("", *record) : w.null();
}
template <typename R, typename = std::enable_if_t<std::is_class<R>::value>>
void put(FrameWriter& w, const R& r) {
  WriteValues{w}("", r);
}

// Whether a parameter is one the call fills in (a non-const reference).
template <typename P>
constexpr bool kIsOut =
    std::is_lvalue_reference<P>::value && !std::is_const<std::remove_reference_t<P>>::value;

template <typename P, typename A>
void putIfOut(FrameWriter& w, const A& argument) {
  if constexpr (kIsOut<P>) put(w, argument);
}

// Writes the arguments of a call of `member` that the call filled in.
template <typename C, typename R, typename... P, typename... A>
void putOuts(FrameWriter& w, R (C::*)(P...), const A&... arguments) {
  (putIfOut<P>(w, arguments), ...);
}

// --- Reading arguments: Arg<T> for a parameter of type T -------------------------

template <typename T, typename = void>
struct Arg {  // records, containers and numbers, held by value
  T value{};
  void read(ValueReader& r) {
    if constexpr (std::is_same<T, bool>::value) {
      value = r.boolean();
    } else {
      ReadValues{r}("", value);
    }
  }
  void print(PrintValues& p, const char* name) const { p(kIsRecord<T> ? "" : name, value); }
  T& get() { return value; }
};
template <typename T>
struct Arg<const T&> : Arg<T> {};
template <typename T>
struct Arg<T&, std::enable_if_t<!std::is_const<T>::value>> : Arg<T> {};

template <>
struct Arg<const char*> {
  bool present = false;
  std::string value;
  void read(ValueReader& r) {
    present = !r.null();
    if (present) value = r.text();
  }
  void print(PrintValues& p, const char* name) const { present ? p(name, value) : p.absent(name); }
  const char* get() const { return present ? value.c_str() : nullptr; }
};

template <typename T>  // an object handed over (a callback object): present or not
struct Arg<T*, std::enable_if_t<!std::is_const<T>::value>> {
  bool present = false;
  void read(ValueReader& r) { present = r.boolean(); }
  void print(PrintValues& p, const char* name) const { p(name, present); }
  T* get() const { return nullptr; }  // the caller puts its own object in
};

template <typename T>  // a vendor record as its bytes
struct Arg<const T*, IfVendor<T>> {
  bool present = false;
  alignas(T) char bytes[sizeof(T)];
  void read(ValueReader& r) {
    present = !r.null();
    if (!present) return;
    const std::string b = r.bytes();
    if (b.size() != sizeof(T)) {
      throw FormatError(std::string(VendorLayout<T>::get().name) + " of " +
                        std::to_string(b.size()) + " bytes, expected " + std::to_string(sizeof(T)));
    }
    std::memcpy(bytes, b.data(), sizeof(T));
  }
  void print(PrintValues& p, const char* name) const {
    present ? p.layout(name, VendorLayout<T>::get(), bytes) : p.absent(name);
  }
  const T* get() const { return present ? reinterpret_cast<const T*>(bytes) : nullptr; }
};

template <typename T>  // a host record, or null
struct Arg<const T*, IfHostRecord<T>> {
  bool present = false;
  T value{};
  void read(ValueReader& r) {
    present = !r.null();
    if (present) ReadValues{r}("", value);
  }
  void print(PrintValues& p, const char* name) const { present ? p("", value) : p.absent(name); }
  const T* get() const { return present ? &value : nullptr; }
};

template <>
struct Arg<const xti::XtError&> {
  int32_t id = 0;
  Arg<const char*> message;
  void read(ValueReader& r) {
    id = r.int32();
    message.read(r);
  }
  void print(PrintValues& p, const char*) const {
    p("errorId", id);
    message.print(p, "errorMsg");
  }
  // Only the vendor libraries, which define XtError, hand one to a call.
  template <typename E = xti::XtError>
  E get() const {
    return E(id, message.get());
  }
};

// --- Whole entries -------------------------------------------------------------

// Calls `member` on `object` with arguments read from `values`; with an
// `answer`, writes the result and the arguments the call filled in.
template <typename C, typename R, typename... P>
void invokeRecorded(R (C::*member)(P...), C* object, ValueReader& values, FrameWriter* answer) {
  std::tuple<Arg<P>...> args;
  std::apply([&](auto&... a) { (a.read(values), ...); }, args);
  if constexpr (std::is_void<R>::value) {
    std::apply([&](auto&... a) { (object->*member)(a.get()...); }, args);
  } else {
    const R result = std::apply([&](auto&... a) { return (object->*member)(a.get()...); }, args);
    if (answer == nullptr) return;
    put(*answer, result);
    std::apply([&](auto&... a) { (putIfOut<P>(*answer, a.get()), ...); }, args);
  }
}

// What an entry's buffer reserves at once: enough for every vendor record and
// most host records, so that building one allocates once.
constexpr std::size_t kEntryReserve = 1024;

// Builds an entry whose values `write` adds and hands it to `sink`. Each
// entry is built in a buffer of its own call rather than in a thread_local
// one: a thread that records then holds no storage of the recorder's
// libraries when it ends, however late in the process that is. Recording
// never throws into the call it records: a failure counts as an entry lost.
template <typename Write>
void recordWith(EntrySink& sink, Boundary boundary, Kind kind, uint16_t operation, uint32_t object,
                int32_t request, const Write& write) {
  try {
    std::string frame;
    frame.reserve(kEntryReserve);
    FrameWriter writer(frame);
    writer.begin(boundary, kind, operation, object, request);
    write(writer);
    sink.append(frame);
  } catch (...) {
    sink.countLost();
  }
}

// An entry of the journal's own operations (op:: numbers), with `values`.
template <typename... Values>
void record(EntrySink& sink, Boundary boundary, Kind kind, uint16_t operation, uint32_t object,
            int32_t request, const Values&... values) {
  recordWith(sink, boundary, kind, operation, object, request,
             [&](FrameWriter& w) { (put(w, values), ...); });
}

// --- Calls of the interfaces' operations, by their rows ------------------------
// (plugin/interface_table.h): the slot, the request number in the head and the
// secrets masked all come from the operation's row `Op`.

template <typename Op>
constexpr Boundary kBoundaryOf = std::is_same<typename Op::Class, ITradeSession>::value ||
                                         std::is_same<typename Op::Class, ITradeSessionSpi>::value
                                     ? Boundary::kHost
                                     : Boundary::kVendor;

// The request number of a call: the argument its row marks, or 0.
template <typename Op, typename... A>
int32_t requestNumberOf(const A&... arguments) {
  if constexpr (Op::kRequestNumber < sizeof...(A)) {
    return std::get<Op::kRequestNumber>(std::forward_as_tuple(arguments...));
  } else {
    return 0;
  }
}

inline const char* masked(const char* text) {
  return text != nullptr && *text != '\0' ? kSecretMask : text;
}

template <typename Op, std::size_t... I, typename... A>
void putArguments(FrameWriter& w, std::index_sequence<I...>, const A&... arguments) {
  const auto one = [&w](auto secret, const auto& argument) {
    if constexpr (decltype(secret)::value) {
      put(w, masked(argument));
    } else {
      put(w, argument);
    }
  };
  (one(std::bool_constant<Op::template kSecret<I>>(), arguments), ...);
  (void)one;  // for operations without arguments
}

// Records a call of `Op` (a request or a callback) with its arguments.
template <typename Op, typename... A>
void recordCall(EntrySink& sink, Kind kind, uint32_t object, const A&... arguments) {
  recordWith(
      sink, kBoundaryOf<Op>, kind, Op::kSlot, object, requestNumberOf<Op>(arguments...),
      [&](FrameWriter& w) { putArguments<Op>(w, std::index_sequence_for<A...>(), arguments...); });
}

// Records what a host request answered: its result, then the arguments the
// call filled in.
template <typename Op, typename R, typename... A>
void recordAnswer(EntrySink& sink, uint32_t object, const R& result, const A&... arguments) {
  recordWith(sink, kBoundaryOf<Op>, Kind::kReturn, Op::kSlot, object,
             requestNumberOf<Op>(arguments...), [&](FrameWriter& w) {
               put(w, result);
               putOuts(w, Op::kMember, arguments...);
             });
}

// Records the callback of `Op`, makes it on `target` (when there is one) and
// records its return, or that it ended by an exception, which is then passed
// on; all on this thread.
template <typename Op, typename... A>
void forwardCallback(EntrySink& sink, uint32_t object, typename Op::Class* target,
                     A&... arguments) {
  recordCall<Op>(sink, Kind::kCallback, object, arguments...);
  const int32_t request = requestNumberOf<Op>(arguments...);
  const auto returned = [&](bool threw) {
    recordWith(sink, kBoundaryOf<Op>, Kind::kDone, Op::kSlot, object, request,
               [threw](FrameWriter& w) { w.boolean(threw); });
  };
  try {
    if (target != nullptr) (target->*Op::kMember)(arguments...);
  } catch (...) {
    returned(true);
    throw;
  }
  returned(false);
}

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_VALUE_CODEC_H_
