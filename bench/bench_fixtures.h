// Inputs shared by the benchmarks: realistic vendor records, host requests,
// and callback receivers whose registry already holds N orders.
#ifndef KESTREL_BENCH_BENCH_FIXTURES_H_
#define KESTREL_BENCH_BENCH_FIXTURES_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "bench/bench_doubles.h"
#include "identity/client_id_set.h"
#include "plugin/host_records.h"
#include "plugin/xt_records.h"
#include "spi/xt_trader_spi.h"

namespace kestrel {
namespace bench {

// The four host events an order push can turn into.
enum class OrderEvent { kAccepted, kFilled, kCanceled, kRejected };

// Which registered orders a lookup asks for: the most recently registered
// ones (their map nodes stay in cache, as for the orders a trader works on
// right now), or orders drawn uniformly from all registered ones.
enum class Pick { kRecent, kRandom };

// Fills gBaseInformationMap with the exchanges once per process.
void loadBaseInformation();

SessionConfig benchConfig();

// The host's client id of the n-th order of the day: prefix "20240105",
// serial n as six digits ("000123").
ClientId clientIdOf(int n);

// Registry keys of the n-th order: request number n, vendor order number
// kFirstOrderId + n.
constexpr int kFirstOrderId = 10000000;
inline int orderIdOf(int n) { return kFirstOrderId + n; }

// Files orders 1..count the way the order path does: add() when the order is
// sent, update() when the vendor's reply names it.
void registerOrders(XtClientIdSet& registry, int count);

// A vendor order push for the n-th order that dispatches to `event`.
xti::VendorOrder vendorOrder(int n, OrderEvent event);
// A vendor deal push for the n-th order.
xti::VendorDeal vendorDeal(int n);
xti::VendorAccountDetail vendorAccountDetail();
AccountOrderNewRequest orderRequest(int n);

// Order numbers (1-based n) to look up, cycled through by a benchmark:
// the last 64 registered orders, or 4096 drawn uniformly from 1..count with a
// fixed seed.
std::vector<int> pickOrders(int count, Pick pick);

// A callback receiver with a null host and `count` registered orders, made on
// first use and kept for the rest of the run (the pushes only read the
// registry).
XtTraderSpi& receiverWithOrders(int count);
NullHost& sharedNullHost();

}  // namespace bench
}  // namespace kestrel

#endif  // KESTREL_BENCH_BENCH_FIXTURES_H_
