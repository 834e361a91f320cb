// The recording vendor library: built under the vendor library's name with
// its exports, installed in place of it. It loads the real library under
// another name (KS_JOURNAL_REAL_VENDOR, or XtTraderApi_real beside itself),
// forwards every export to it and records both directions of every API
// object into the process's journal:
//   - requests are recorded, then forwarded unchanged on the caller's thread
//     (ObservedApi);
//   - the real library gets an ObservedCallback instead of the plug-in's
//     callback object, which records each callback, makes it on the
//     plug-in's object on the same thread and records its return.
// Without the real library createXtTraderApi() answers null, after saying why
// on stderr once.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include "plugin/xt_trader_api.h"
#include "recorder/journal/journal_platform.h"
#include "recorder/journal/observers.h"

namespace xti {
namespace {

using kestrel::journal::Boundary;
using kestrel::journal::Journal;
using kestrel::journal::Kind;
namespace op = kestrel::journal::op;

// The real library's exports: the member that holds each, its compiler's
// names for it (Visual C++'s, then the Itanium ABI's) and its type.
#define KS_REAL_VENDOR_EXPORTS(X)                                                                \
  X(create, "?createXtTraderApi@XtTraderApi@xti@@SAPEAV12@PEBD@Z",                               \
    "_ZN3xti11XtTraderApi17createXtTraderApiEPKc", XtTraderApi*(const char*))                    \
  X(joinAll, "?joinAll@XtTraderApi@xti@@SAXXZ", "_ZN3xti11XtTraderApi7joinAllEv", void())        \
  X(makeOrder, "??0COrdinaryOrder@xti@@QEAA@XZ", "_ZN3xti14COrdinaryOrderC1Ev",                  \
    void(COrdinaryOrder*))                                                                       \
  X(endOrder, "??1COrdinaryOrder@xti@@QEAA@XZ", "_ZN3xti14COrdinaryOrderD1Ev",                   \
    void(COrdinaryOrder*))                                                                       \
  X(makeError, "??0XtError@xti@@QEAA@XZ", "_ZN3xti7XtErrorC1Ev", void(XtError*))                 \
  X(makeErrorWith, "??0XtError@xti@@QEAA@HPEBD@Z", "_ZN3xti7XtErrorC1EiPKc",                     \
    void(XtError*, int, const char*))                                                            \
  X(isSuccess, "?isSuccess@XtError@xti@@QEBA_NXZ", "_ZNK3xti7XtError9isSuccessEv",               \
    bool(const XtError*))                                                                        \
  X(errorId, "?errorID@XtError@xti@@QEBAHXZ", "_ZNK3xti7XtError7errorIDEv", int(const XtError*)) \
  X(errorMsg, "?errorMsg@XtError@xti@@QEBAPEBDXZ", "_ZNK3xti7XtError8errorMsgEv",                \
    const char*(const XtError*))

struct RealVendor {
#define KS_MEMBER(member, msvcName, itaniumName, ...) \
  std::add_pointer_t<__VA_ARGS__> member = nullptr;
  KS_REAL_VENDOR_EXPORTS(KS_MEMBER)
#undef KS_MEMBER
};

template <typename F>
void bind(void* library, const char* name, F& function, std::string& missing) {
  void* symbol = kestrel::journal::findSymbol(library, name);
  if (symbol == nullptr) missing += std::string(missing.empty() ? "" : ", ") + name;
  function = reinterpret_cast<F>(symbol);
}

RealVendor loadRealVendor() {
  static const char anchor = 0;
  const std::string path = kestrel::journal::realLibraryPath(&anchor, "KS_JOURNAL_REAL_VENDOR");
  std::string error;
  void* library = kestrel::journal::openLibrary(path, error);
  RealVendor real;
  if (library == nullptr) {
    std::fprintf(stderr, "recording XtTraderApi: cannot load the real vendor library %s: %s\n",
                 path.c_str(), error.c_str());
    return real;
  }
  std::string missing;
#if defined(_MSC_VER)
#define KS_BIND(member, msvcName, itaniumName, ...) bind(library, msvcName, real.member, missing);
#else
#define KS_BIND(member, msvcName, itaniumName, ...) \
  bind(library, itaniumName, real.member, missing);
#endif
  KS_REAL_VENDOR_EXPORTS(KS_BIND)
#undef KS_BIND
  if (!missing.empty()) {
    std::fprintf(stderr, "recording XtTraderApi: %s is no vendor library: it lacks %s\n",
                 path.c_str(), missing.c_str());
    return RealVendor();
  }
  return real;
}

const RealVendor& realVendor() {
  static const RealVendor real = loadRealVendor();
  return real;
}

// An API object of the real library, recorded.
class RecordingApi final : public kestrel::journal::ObservedApi {
 public:
  RecordingApi(XtTraderApi* real, uint32_t object)
      : ObservedApi(Journal::process(), object, real),
        real_(real),
        callback_(Journal::process(), object) {}

  ~RecordingApi() override {
    noteDestroyed();
    delete real_;  // the real library makes no callback on callback_ after this
  }

 private:
  XtTraderApiCallback* callbackFor(XtTraderApiCallback* callback) override {
    callback_.setTarget(callback);
    return callback != nullptr ? &callback_ : nullptr;
  }

  XtTraderApi* const real_;  // owned
  kestrel::journal::ObservedCallback callback_;
};

}  // namespace

XtTraderApi* XtTraderApi::createXtTraderApi(const char* address) {
  const RealVendor& real = realVendor();
  std::unique_ptr<XtTraderApi> api(real.create != nullptr ? real.create(address) : nullptr);
  Journal& journal = Journal::process();
  const uint32_t object = api ? journal.newObject() : 0;
  kestrel::journal::record(journal, Boundary::kVendor, Kind::kRequest, op::kCreateApi, object, 0,
                           address, api != nullptr);
  if (!api) return nullptr;
  auto* recording = new RecordingApi(api.get(), object);
  api.release();
  return recording;
}

void XtTraderApi::joinAll() {
  kestrel::journal::record(Journal::process(), Boundary::kVendor, Kind::kRequest, op::kJoinAll, 0,
                           0);
  if (realVendor().joinAll != nullptr) realVendor().joinAll();
}

XtTraderApi::~XtTraderApi() = default;

// The records' own operations are the real library's, so that the recorder
// assumes nothing of their insides; without it they keep to this header.
COrdinaryOrder::COrdinaryOrder() {
  if (realVendor().makeOrder != nullptr) {
    realVendor().makeOrder(this);
  } else {
    std::memset(static_cast<void*>(this), 0, sizeof(*this));
  }
}

COrdinaryOrder::~COrdinaryOrder() {
  if (realVendor().endOrder != nullptr) realVendor().endOrder(this);
}

XtError::XtError() : m_nErrorID(0), m_bHasMsg(false), m_strErrorMsg{} {
  if (realVendor().makeError != nullptr) realVendor().makeError(this);
}

XtError::XtError(int errorId, const char* message)
    : m_nErrorID(errorId), m_bHasMsg(message != nullptr), m_strErrorMsg{} {
  if (realVendor().makeErrorWith != nullptr) {
    realVendor().makeErrorWith(this, errorId, message);
  } else if (message != nullptr) {
    std::strncpy(m_strErrorMsg, message, sizeof(m_strErrorMsg) - 1);
  }
}

bool XtError::isSuccess() const {
  return realVendor().isSuccess != nullptr ? realVendor().isSuccess(this) : m_nErrorID == 0;
}

int XtError::errorID() const {
  return realVendor().errorId != nullptr ? realVendor().errorId(this) : m_nErrorID;
}

const char* XtError::errorMsg() const {
  if (realVendor().errorMsg != nullptr) return realVendor().errorMsg(this);
  return m_bHasMsg ? m_strErrorMsg : nullptr;
}

}  // namespace xti
