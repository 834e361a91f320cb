// The simulated counter behind the XtTraderApi stand-in.
#ifndef KESTREL_BROKER_SIMULATED_COUNTER_H_
#define KESTREL_BROKER_SIMULATED_COUNTER_H_

#include "plugin/xt_trader_api.h"

namespace xti {
namespace sim {

// A new API object talking to the simulated counter, or null for an address
// it cannot use (empty or not of the form host:port).
XtTraderApi* createSimulatedApi(const char* address);

// Returns when every callback thread of every simulated API object has ended.
void joinSimulatedThreads();

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_SIMULATED_COUNTER_H_
