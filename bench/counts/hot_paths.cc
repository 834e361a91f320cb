// The hot paths, each called a fixed number of times inside a function of its
// own (ks_path_*), for callgrind to count the instructions they execute
// (scripts/count_gate.py holds the counts to bench/counts/baseline.txt).
//
// Everything else (setting up the registry, warming each path once so that
// first-call costs such as opening a converter stay out) runs outside those
// functions and is not counted. The program takes no input and reads no
// clock on the paths, so that the counts are the same from run to run. It
// does its work on a thread of its own: the main thread's stack starts below
// the environment and the arguments, so its alignment, and with it the
// instructions that string functions spend on unaligned heads and tails,
// would change with them; a thread's stack does not. And a process that has
// started a thread is what a host is (glibc takes cheaper paths in one that
// never has). It prints the toolchain it was built with, then one line per
// path: "path FUNCTION CALLS NAME".
#include <cstdio>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#if defined(__GLIBC__)
#include <gnu/libc-version.h>
#endif

#include "bench/bench_fixtures.h"
#include "plugin/plugin_entry.h"
#include "recorder/journal/journal.h"
#include "recorder/journal/observers.h"
#include "session/trade_session_xt.h"

// Never inlined, and (GCC) never folded with another function of the same
// body: each path must stay a function of its own for callgrind.
#if defined(__clang__)
#define KS_COUNTED extern "C" __attribute__((noinline))
#else
#define KS_COUNTED extern "C" __attribute__((noipa))
#endif

namespace kestrel {
namespace bench {
namespace {

// Registered orders behind every path, as in the benchmarks' figures.
constexpr int kRegistered = 100000;
// Calls per path; the gate divides by it.
constexpr int kCalls = 1000;

// One hot path: `step(i)` is its i-th call; call 0 warms it up, calls 1 to
// kCalls are counted.
struct Path {
  const char* name;
  const char* function;  // the ks_path_* function that runs it
  void (*counted)(const Path&);
  std::function<void(int)> step;

  void run() const {
    for (int i = 1; i <= kCalls; ++i) step(i);
  }
};

}  // namespace
}  // namespace bench
}  // namespace kestrel

using kestrel::bench::Path;

KS_COUNTED void ks_path_send_order(const Path& path) { path.run(); }
KS_COUNTED void ks_path_order_accepted(const Path& path) { path.run(); }
KS_COUNTED void ks_path_order_rejected(const Path& path) { path.run(); }
KS_COUNTED void ks_path_order_filled(const Path& path) { path.run(); }
KS_COUNTED void ks_path_order_canceled(const Path& path) { path.run(); }
KS_COUNTED void ks_path_deal(const Path& path) { path.run(); }
KS_COUNTED void ks_path_order_query_reply(const Path& path) { path.run(); }
KS_COUNTED void ks_path_funds_query_reply(const Path& path) { path.run(); }
KS_COUNTED void ks_path_order_push_recorded(const Path& path) { path.run(); }

namespace kestrel {
namespace bench {
namespace {

#if defined(__clang__)
constexpr const char* kCompiler = "clang";
#else
constexpr const char* kCompiler = "gcc";
#endif

const char* libc() {
#if defined(__GLIBC__)
  static char text[64];
  std::snprintf(text, sizeof(text), "glibc %s", gnu_get_libc_version());
  return text;
#else
  return "libc unknown";
#endif
}

// A session connected to a vendor library that does nothing, its fund
// account known and `kRegistered` orders filed.
TradeSessionXT* sessionWithOrders() {
  auto* session = static_cast<TradeSessionXT*>(CreateTradeSession());
  (void)session->setConfig(benchConfig());
  (void)session->registerSpi(&sharedNullHost());
  (void)session->connect();
  session->TEST_receiver().onAccountStatus("8800123456", 0, 1);
  registerOrders(*session->TEST_receiver().TEST_identity().registry, kRegistered);
  return session;
}

int run() {
  loadBaseInformation();
  NullVendor vendor;
  TradeSessionXT* session = sessionWithOrders();
  xti::XtTraderApiCallback* receiver = &session->TEST_receiver();
  const std::vector<int> recent = pickOrders(kRegistered, Pick::kRecent);
  const auto pushes = [&](OrderEvent event) {
    std::vector<xti::VendorOrder> out;
    for (int n : recent) out.push_back(vendorOrder(n, event));
    return out;
  };
  const std::vector<xti::VendorOrder> accepted = pushes(OrderEvent::kAccepted);
  const std::vector<xti::VendorOrder> rejected = pushes(OrderEvent::kRejected);
  const std::vector<xti::VendorOrder> filled = pushes(OrderEvent::kFilled);
  const std::vector<xti::VendorOrder> canceled = pushes(OrderEvent::kCanceled);
  std::vector<xti::VendorDeal> deals;
  for (int n : recent) deals.push_back(vendorDeal(n));
  // New orders, one per call, each with a request number of its own.
  std::vector<AccountOrderNewRequest> requests;
  for (int i = 0; i <= kCalls; ++i) requests.push_back(orderRequest(kRegistered + 1 + i));
  const xti::VendorOrder queried = vendorOrder(kRegistered, OrderEvent::kAccepted);
  const xti::VendorAccountDetail funds = vendorAccountDetail();
  const xti::XtError success;
  // The recording vendor library's own work on the vendor's thread for an
  // order push: the push and its return recorded into a journal, the push
  // handed on to a callback object that does nothing.
  journal::Journal journal(
      (std::filesystem::temp_directory_path() / "ks_hot_paths_journal.ksj").string());
  xti::XtTraderApiCallback nothing;
  journal::ObservedCallback observed(journal, 1);
  observed.setTarget(&nothing);
  // Called through the vendor's interface, as the vendor library calls it:
  // the compiler may not see which object it is.
  xti::XtTraderApiCallback* recording = &observed;
  asm volatile("" : "+r"(recording));
  const auto cycle = [](const auto& records, int i) {
    return &records[static_cast<std::size_t>(i) % records.size()];
  };

  const std::vector<Path> paths = {
      {"sendOrder", "ks_path_send_order", ks_path_send_order,
       [&](int i) {
         (void)session->sendOrder(kRegistered + 1 + i, requests[static_cast<std::size_t>(i)]);
       }},
      {"order push -> accepted", "ks_path_order_accepted", ks_path_order_accepted,
       [&](int i) { receiver->onOrderPush(cycle(accepted, i)); }},
      {"order push -> rejected", "ks_path_order_rejected", ks_path_order_rejected,
       [&](int i) { receiver->onOrderPush(cycle(rejected, i)); }},
      {"order push -> filled", "ks_path_order_filled", ks_path_order_filled,
       [&](int i) { receiver->onOrderPush(cycle(filled, i)); }},
      {"order push -> canceled", "ks_path_order_canceled", ks_path_order_canceled,
       [&](int i) { receiver->onOrderPush(cycle(canceled, i)); }},
      {"deal push -> fill", "ks_path_deal", ks_path_deal,
       [&](int i) { receiver->onDealPush(cycle(deals, i)); }},
      {"order query reply, one record", "ks_path_order_query_reply", ks_path_order_query_reply,
       [&](int) { receiver->onOrderDetailReply("8800123456", 7, &queried, true, success); }},
      {"funds query reply, one record", "ks_path_funds_query_reply", ks_path_funds_query_reply,
       [&](int) { receiver->onAccountDetailReply("8800123456", 8, &funds, true, success); }},
      {"order push recorded by the journal", "ks_path_order_push_recorded",
       ks_path_order_push_recorded, [&](int i) { recording->onOrderPush(cycle(accepted, i)); }},
  };

  std::printf("toolchain %s %s, %s\n", kCompiler, __VERSION__, libc());
  for (const Path& path : paths) {
    path.step(0);
    path.counted(path);
    std::printf("path %s %d %s\n", path.function, kCalls, path.name);
  }
  delete session;
  return 0;
}

}  // namespace
}  // namespace bench
}  // namespace kestrel

int main() {
  int status = 1;
  std::thread([&status] { status = kestrel::bench::run(); }).join();
  return status;
}
