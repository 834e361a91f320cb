// The simulated counter behind the XtTraderApi stand-in: the library's static
// entry points (broker/api_factory.cc) call these when no test hook is set.
#ifndef KESTREL_BROKER_SIMULATED_COUNTER_H_
#define KESTREL_BROKER_SIMULATED_COUNTER_H_

#include <string>

#include "plugin/xt_trader_api.h"

namespace xti {
namespace sim {

// True for "host:port": a non-empty host without blanks and a decimal port
// 1-65535 after the last ':'.
bool isUsableAddress(const char* address);

// A new API object talking to the simulated counter, or null for an address
// it cannot use (see isUsableAddress). Never throws.
XtTraderApi* createSimulatedApi(const char* address);

// Returns when every callback thread of every simulated API object has ended.
void joinSimulatedThreads();

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_SIMULATED_COUNTER_H_
