// Placeholder until the simulated counter lands: refuses every address.
#include "broker/simulated_counter.h"

namespace xti {
namespace sim {

XtTraderApi* createSimulatedApi(const char*) { return nullptr; }
void joinSimulatedThreads() {}

}  // namespace sim
}  // namespace xti
