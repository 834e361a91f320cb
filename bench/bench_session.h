// A session logged in at the simulated counter, for the benchmarks that go
// through it (session_benchmark.cc, load_benchmark.cc).
#ifndef KESTREL_BENCH_BENCH_SESSION_H_
#define KESTREL_BENCH_BENCH_SESSION_H_

#include <benchmark/benchmark.h>

#include <string>

#include "bench/bench_doubles.h"
#include "session/trade_session_xt.h"

namespace kestrel {
namespace bench {

// Connects a new session to the counter configured by `counterConfig` (set
// as XT_SIM_CONFIG before connect), logs in as "bench" and returns once the
// fund account is known; marks `state` skipped when something fails.
TradeSessionXT* loggedInSession(NullHost& host, benchmark::State& state,
                                const std::string& counterConfig = KS_BENCH_SIM_CONFIG);

}  // namespace bench
}  // namespace kestrel

#endif  // KESTREL_BENCH_BENCH_SESSION_H_
