// Helpers of the simulated counter's tests: a recording XtTraderApiCallback
// and a way to start an API object on a configuration text.
//
// The recorder keeps a copy of every callback, in arrival order, with the
// thread it came on; tests wait for a number of callbacks with a condition
// variable, never by sleeping. An optional reaction runs inside each callback
// (on the library's thread) to test calls made from there.
#ifndef KESTREL_TESTS_BROKER_RECORDER_H_
#define KESTREL_TESTS_BROKER_RECORDER_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "broker/simulated_api.h"
#include "plugin/platform.h"
#include "plugin/xt_trader_api.h"

namespace xti {
namespace sim {
namespace testing {

struct Recorded {
  std::string kind;  // "connected", "login", "logout", "accountStatus", "orderReply",
                     // "cancelReply", "cancelReply2", "order", "deal", "orderError",
                     // "cancelError", "funds", "positions", "positionDetails", "orders", "deals"
  std::thread::id thread;
  bool success = true;
  int errorId = 0;
  std::string text;  // error or status text
  std::string account;
  int requestId = 0;
  int orderId = 0;
  int number = 0;    // accountStatus: type
  int status = 0;    // accountStatus: status
  bool isLast = false;
  bool hasRecord = false;
  VendorOrder order{};
  VendorDeal deal{};
  VendorAccountDetail funds{};
  VendorPosition position{};
  VendorPositionDetail detail{};
  VendorOrderError error{};
};

class Recorder : public XtTraderApiCallback {
 public:
  using Reaction = std::function<void(const Recorded&)>;

  // Runs inside every later callback, after it was recorded.
  void react(Reaction reaction) {
    std::lock_guard<std::mutex> lock(mutex_);
    reaction_ = std::move(reaction);
  }

  std::vector<Recorded> events() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
  }
  std::vector<Recorded> eventsOf(const std::string& kind) const {
    std::vector<Recorded> matching;
    for (const Recorded& e : events()) {
      if (e.kind == kind) matching.push_back(e);
    }
    return matching;
  }
  std::vector<std::string> kinds() const {
    std::vector<std::string> names;
    for (const Recorded& e : events()) names.push_back(e.kind);
    return names;
  }
  std::size_t size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_.size();
  }
  // Waits until at least `count` callbacks arrived; false after 10 s.
  bool waitFor(std::size_t count) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return arrived_.wait_for(lock, std::chrono::seconds(10), [&] { return events_.size() >= count; });
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.clear();
  }

  void onConnected(bool success, const char* text) override {
    Recorded e = make("connected");
    e.success = success;
    e.text = text != nullptr ? text : "<null>";
    add(e);
  }
  void onUserLogin(const char* user, const char*, int requestId, const XtError& error) override {
    add(reply("login", requestId, error, user));
  }
  void onUserLogout(const char* user, const char*, int requestId, const XtError& error) override {
    add(reply("logout", requestId, error, user));
  }
  void onAccountStatus(const char* account, int type, int status) override {
    Recorded e = make("accountStatus");
    e.account = account != nullptr ? account : "<null>";
    e.number = type;
    e.status = status;
    add(e);
  }
  void onOrderReply(int requestId, int orderId, const char*, const XtError& error) override {
    Recorded e = reply("orderReply", requestId, error, nullptr);
    e.orderId = orderId;
    add(e);
  }
  void onCancelReply(int requestId, const XtError& error) override {
    add(reply("cancelReply", requestId, error, nullptr));
  }
  void onCancelReply2(int requestId, const XtError& error) override {
    add(reply("cancelReply2", requestId, error, nullptr));
  }
  void onOrderPush(const VendorOrder* order) override {
    Recorded e = make("order");
    if ((e.hasRecord = order != nullptr)) {
      e.order = *order;
      e.orderId = order->m_nOrderID;
      e.text = kestrel::fieldText(order->m_strErrorMsg);
    }
    add(e);
  }
  void onDealPush(const VendorDeal* deal) override {
    Recorded e = make("deal");
    if ((e.hasRecord = deal != nullptr)) {
      e.deal = *deal;
      e.orderId = deal->m_nOrderID;
    }
    add(e);
  }
  void onOrderErrorPush(const VendorOrderError* error) override { add(errorPush("orderError", error)); }
  void onCancelErrorPush(const VendorOrderError* error) override { add(errorPush("cancelError", error)); }

  void onAccountDetailReply(const char* account, int requestId, const VendorAccountDetail* data,
                            bool isLast, const XtError& error) override {
    Recorded e = query("funds", account, requestId, data != nullptr, isLast, error);
    if (data != nullptr) e.funds = *data;
    add(e);
  }
  void onPositionReply(const char* account, int requestId, const VendorPosition* data, bool isLast,
                       const XtError& error) override {
    Recorded e = query("positions", account, requestId, data != nullptr, isLast, error);
    if (data != nullptr) e.position = *data;
    add(e);
  }
  void onPositionDetailReply(const char* account, int requestId, const VendorPositionDetail* data,
                             bool isLast, const XtError& error) override {
    Recorded e = query("positionDetails", account, requestId, data != nullptr, isLast, error);
    if (data != nullptr) e.detail = *data;
    add(e);
  }
  void onOrderDetailReply(const char* account, int requestId, const VendorOrder* data, bool isLast,
                          const XtError& error) override {
    Recorded e = query("orders", account, requestId, data != nullptr, isLast, error);
    if (data != nullptr) e.order = *data;
    add(e);
  }
  void onDealDetailReply(const char* account, int requestId, const VendorDeal* data, bool isLast,
                         const XtError& error) override {
    Recorded e = query("deals", account, requestId, data != nullptr, isLast, error);
    if (data != nullptr) e.deal = *data;
    add(e);
  }

 private:
  static Recorded make(const char* kind) {
    Recorded e;
    e.kind = kind;
    e.thread = std::this_thread::get_id();
    return e;
  }
  static Recorded reply(const char* kind, int requestId, const XtError& error, const char* account) {
    Recorded e = make(kind);
    e.requestId = requestId;
    e.success = error.isSuccess();
    e.errorId = error.errorID();
    e.text = error.errorMsg() != nullptr ? error.errorMsg() : "";
    if (account != nullptr) e.account = account;
    return e;
  }
  static Recorded query(const char* kind, const char* account, int requestId, bool hasRecord,
                        bool isLast, const XtError& error) {
    Recorded e = reply(kind, requestId, error, account != nullptr ? account : "<null>");
    e.hasRecord = hasRecord;
    e.isLast = isLast;
    return e;
  }
  static Recorded errorPush(const char* kind, const VendorOrderError* error) {
    Recorded e = make(kind);
    if ((e.hasRecord = error != nullptr)) {
      e.error = *error;
      e.requestId = error->m_nRequestID;
      e.errorId = error->m_nErrorID;
      e.text = kestrel::fieldText(error->m_strErrorMsg);
    }
    return e;
  }
  void add(const Recorded& e) {
    Reaction reaction;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      events_.push_back(e);
      reaction = reaction_;
    }
    arrived_.notify_all();
    if (reaction) reaction(e);
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<Recorded> events_;
  Reaction reaction_;
};

// A file holding `text` in the test's temporary folder, removed at the end.
class TempFile {
 public:
  TempFile(const std::string& name, const std::string& text)
      : path_(::testing::TempDir() + "broker_" + name) {
    std::ofstream(path_, std::ios::binary) << text;
  }
  ~TempFile() { std::remove(path_.c_str()); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// The sample's users and instruments with chosen behaviour lines.
inline std::string configText(const std::string& behaviour) {
  return "[behaviour]\n" + behaviour +
         "\ntrading_day = 20240603\n"
         "[user demo]\npassword = demo123\naccounts = 88001234\n"
         "[user stock]\npassword = stock123\naccounts = 10001234\n"
         "[account 88001234]\ncash = 1000000\nposition = m2409 long 4 3100\n"
         "position = rb2410 short 3 3700\n"
         "[account 10001234]\ntype = stock\ncash = 100000\nposition = 600000 long 1000 7.00\n"
         "[instrument rb2410]\nexchange = SHFE\nprice = 3650\nmultiplier = 10\n"
         "margin_rate = 0.1\ntick = 1\nband_percent = 7\n"
         "[instrument IF2409]\nexchange = CFFEX\nprice = 3400\nmultiplier = 300\n"
         "margin_rate = 0.12\ntick = 0.2\n"
         "[instrument m2409]\nexchange = DCE\nprice = 3200\nmultiplier = 10\n"
         "margin_rate = 0.08\ntick = 1\nband_percent = 6\n"
         "[instrument 600000]\nexchange = SH\nprice = 7.50\ntick = 0.01\n";
}

// An API object on its own configuration file, with a recorder.
struct Session {
  explicit Session(const std::string& behaviour, const std::string& address = "127.0.0.1:7001")
      : file(uniqueName(), configText(behaviour)), api(new SimulatedApi(address)) {
    api->setClock([] { return Stamp{"20240603", "09:30:15"}; });
    api->setCallback(&recorder);
  }
  ~Session() {
    if (api != nullptr) api->shutdown();
    api.reset();
  }
  // init and wait for onConnected.
  void connect() {
    api->init(file.path().c_str());
    ASSERT_TRUE(recorder.waitFor(1));
  }
  void connectAndLogin() {
    connect();
    api->userLogin("demo", "demo123", 1, nullptr, nullptr, nullptr);
    ASSERT_TRUE(recorder.waitFor(3));
    recorder.clear();
  }

  // One file per session: CTest runs the tests in parallel processes.
  static std::string uniqueName() {
    static int serial = 0;
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = test != nullptr ? std::string(test->test_suite_name()) + "_" + test->name() : "x";
    for (char& c : name) {
      if (c == '/') c = '_';
    }
    return name + "_" + std::to_string(++serial);
  }

  TempFile file;
  Recorder recorder;
  std::unique_ptr<SimulatedApi> api;
};

inline COrdinaryOrder makeOrder(const char* instrument, const char* exchange, int operation,
                                int volume, double price, int priceType = PRTP_LIMIT,
                                const char* account = "88001234") {
  COrdinaryOrder order;
  std::snprintf(order.m_strAccountID, sizeof(order.m_strAccountID), "%s", account);
  std::snprintf(order.m_strInstrument, sizeof(order.m_strInstrument), "%s", instrument);
  std::snprintf(order.m_strMarket, sizeof(order.m_strMarket), "%s", exchange);
  order.m_eOperationType = operation;
  order.m_nVolume = volume;
  order.m_dPrice = price;
  order.m_ePriceType = priceType;
  return order;
}

}  // namespace testing
}  // namespace sim
}  // namespace xti

#endif  // KESTREL_TESTS_BROKER_RECORDER_H_
