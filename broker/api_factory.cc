// The library's static entry points, with the test seam of vendor_hooks.h.
#include <mutex>
#include <utility>

#include "broker/simulated_counter.h"
#include "broker/vendor_hooks.h"

namespace xti {
namespace {

// The hooks installed, each read and written under the one mutex.
struct Hooks {
  std::mutex mutex;
  hooks::ApiFactory factory;
  hooks::JoinAll joinAll;
};

Hooks& installed() {
  static Hooks instance;
  return instance;
}

template <class Hook>
void install(Hook Hooks::*hook, Hook value) {
  std::lock_guard<std::mutex> lock(installed().mutex);
  installed().*hook = std::move(value);
}

template <class Hook>
Hook current(Hook Hooks::*hook) {
  std::lock_guard<std::mutex> lock(installed().mutex);
  return installed().*hook;
}

}  // namespace

void hooks::setApiFactory(ApiFactory factory) { install(&Hooks::factory, std::move(factory)); }
void hooks::setJoinAll(JoinAll joinAll) { install(&Hooks::joinAll, std::move(joinAll)); }

XtTraderApi* XtTraderApi::createXtTraderApi(const char* address) {
  const hooks::ApiFactory factory = current(&Hooks::factory);
  return factory ? factory(address) : sim::createSimulatedApi(address);
}

void XtTraderApi::joinAll() {
  const hooks::JoinAll joinAll = current(&Hooks::joinAll);
  if (joinAll) return joinAll();
  sim::joinSimulatedThreads();
}

}  // namespace xti
