// Helpers of the simulated counter's tests: a receiver that records every
// callback in arrival order with its thread, and an API object on a
// configuration file of the test's own.
#ifndef KESTREL_TESTS_BROKER_RECORDER_H_
#define KESTREL_TESTS_BROKER_RECORDER_H_

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "broker/simulated_api.h"
#include "plugin/platform.h"
#include "plugin/xt_trader_api.h"

namespace xti {
namespace sim {
namespace testing {

using Kinds = std::vector<std::string>;

// One callback. kind: connected, login, logout, accountStatus, orderReply,
// cancelReply, cancelReply2, order, deal, orderError, cancelError, and the
// query answers funds, positions, positionDetails, orders, deals.
struct Recorded {
  std::string kind, text, account;  // text: error, status or connection text
  std::thread::id thread;
  bool success = true, isLast = false, hasRecord = false;
  int errorId = 0, requestId = 0, orderId = 0, type = 0, status = 0;
  VendorOrder order{};
  VendorDeal deal{};
  VendorAccountDetail funds{};
  VendorPosition position{};
  VendorPositionDetail detail{};
  VendorOrderError error{};
};

// Tests wait on a condition variable, never by sleeping. react() sets what
// runs inside each later callback, on the library's thread.
class Recorder : public XtTraderApiCallback {
 public:
  void react(std::function<void(const Recorded&)> reaction) {
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
  std::size_t size() const { return events().size(); }
  bool waitFor(std::size_t count) const {  // false after 10 s
    std::unique_lock<std::mutex> lock(mutex_);
    const auto enough = [&] { return events_.size() >= count; };
    return arrived_.wait_for(lock, std::chrono::seconds(10), enough);
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.clear();
  }

  void onConnected(bool success, const char* text) override {
    add(reply("connected", 0, XtError(success ? 0 : -1, text)));
  }
  void onUserLogin(const char* user, const char*, int id, const XtError& error) override {
    add(reply("login", id, error, user));
  }
  void onUserLogout(const char* user, const char*, int id, const XtError& error) override {
    add(reply("logout", id, error, user));
  }
  void onAccountStatus(const char* account, int type, int status) override {
    Recorded e = reply("accountStatus", 0, XtError(), account);
    e.type = type;
    e.status = status;
    add(e);
  }
  void onOrderReply(int id, int orderId, const char*, const XtError& error) override {
    Recorded e = reply("orderReply", id, error);
    e.orderId = orderId;
    add(e);
  }
  void onCancelReply(int id, const XtError& e) override { add(reply("cancelReply", id, e)); }
  void onCancelReply2(int id, const XtError& e) override { add(reply("cancelReply2", id, e)); }
  void onOrderPush(const VendorOrder* data) override {
    Recorded e = with(reply("order", 0, XtError()), data, &Recorded::order);
    e.orderId = e.order.m_nOrderID;
    e.text = kestrel::fieldText(e.order.m_strErrorMsg);
    add(e);
  }
  void onDealPush(const VendorDeal* data) override {
    Recorded e = with(reply("deal", 0, XtError()), data, &Recorded::deal);
    e.orderId = e.deal.m_nOrderID;
    add(e);
  }
  void onOrderErrorPush(const VendorOrderError* data) override {
    add(errorPush("orderError", data));
  }
  void onCancelErrorPush(const VendorOrderError* data) override {
    add(errorPush("cancelError", data));
  }
  void onAccountDetailReply(const char* account, int id, const VendorAccountDetail* data,
                            bool isLast, const XtError& error) override {
    add(with(reply("funds", id, error, account, isLast), data, &Recorded::funds));
  }
  void onPositionReply(const char* account, int id, const VendorPosition* data, bool isLast,
                       const XtError& error) override {
    add(with(reply("positions", id, error, account, isLast), data, &Recorded::position));
  }
  void onPositionDetailReply(const char* account, int id, const VendorPositionDetail* data,
                             bool isLast, const XtError& error) override {
    add(with(reply("positionDetails", id, error, account, isLast), data, &Recorded::detail));
  }
  void onOrderDetailReply(const char* account, int id, const VendorOrder* data, bool isLast,
                          const XtError& error) override {
    add(with(reply("orders", id, error, account, isLast), data, &Recorded::order));
  }
  void onDealDetailReply(const char* account, int id, const VendorDeal* data, bool isLast,
                         const XtError& error) override {
    add(with(reply("deals", id, error, account, isLast), data, &Recorded::deal));
  }

 private:
  static Recorded reply(const char* kind, int id, const XtError& error, const char* account = "",
                        bool isLast = false) {
    Recorded e;
    e.kind = kind;
    e.thread = std::this_thread::get_id();
    e.requestId = id;
    e.success = error.isSuccess();
    e.errorId = error.errorID();
    e.text = error.errorMsg() != nullptr ? error.errorMsg() : "<null>";
    e.account = account != nullptr ? account : "<null>";
    e.isLast = isLast;
    return e;
  }
  template <typename T>
  static Recorded with(Recorded e, const T* data, T Recorded::*field) {
    if ((e.hasRecord = data != nullptr)) e.*field = *data;
    return e;
  }
  static Recorded errorPush(const char* kind, const VendorOrderError* data) {
    Recorded e = with(reply(kind, 0, XtError()), data, &Recorded::error);
    e.requestId = e.error.m_nRequestID;
    e.errorId = e.error.m_nErrorID;
    e.text = kestrel::fieldText(e.error.m_strErrorMsg);
    return e;
  }
  void add(const Recorded& e) {
    std::function<void(const Recorded&)> reaction;
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
  std::function<void(const Recorded&)> reaction_;
};

// A file holding `text`, removed at the end. Named after the test: CTest
// runs the tests in parallel processes.
class TempFile {
 public:
  explicit TempFile(const std::string& text) {
    static int serial = 0;
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = ::testing::TempDir() + "broker_" + test->test_suite_name() + "_" + test->name() + "_" +
            std::to_string(++serial);
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

// An API object on configText(behaviour), its clock pinned, with a recorder.
// The object goes first (it is declared last): it shuts down before the
// recorder and the file go.
struct Session {
  explicit Session(const std::string& behaviour, const std::string& address = "127.0.0.1:7001")
      : file(configText(behaviour)), api(new SimulatedApi(address)) {
    api->setClock([] { return Stamp{"20240603", "09:30:15"}; });
    api->setCallback(&recorder);
  }
  void connect() {
    api->init(file.path().c_str());
    ASSERT_TRUE(recorder.waitFor(1));
  }
  void connectAndLogin() {
    connect();
    login("demo", "demo123");
    ASSERT_TRUE(recorder.waitFor(3));
    recorder.clear();
  }
  void login(const char* user, const char* password, int id = 1) {
    api->userLogin(user, password, id, nullptr, nullptr, nullptr);
  }
  void place(const COrdinaryOrder& order, int id = 1) { api->placeOrder(&order, id, ""); }

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
