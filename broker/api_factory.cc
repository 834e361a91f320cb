// The library's static entry points, with the test seam of vendor_hooks.h.
#include <mutex>
#include <utility>

#include "broker/simulated_counter.h"
#include "broker/vendor_hooks.h"

namespace xti {
namespace {

std::mutex& hookMutex() {
  static std::mutex mutex;
  return mutex;
}
hooks::ApiFactory& factoryHook() {
  static hooks::ApiFactory factory;
  return factory;
}
hooks::JoinAll& joinAllHook() {
  static hooks::JoinAll joinAll;
  return joinAll;
}

}  // namespace

void hooks::setApiFactory(ApiFactory factory) {
  std::lock_guard<std::mutex> lock(hookMutex());
  factoryHook() = std::move(factory);
}

void hooks::setJoinAll(JoinAll joinAll) {
  std::lock_guard<std::mutex> lock(hookMutex());
  joinAllHook() = std::move(joinAll);
}

XtTraderApi* XtTraderApi::createXtTraderApi(const char* address) {
  hooks::ApiFactory factory;
  {
    std::lock_guard<std::mutex> lock(hookMutex());
    factory = factoryHook();
  }
  if (factory) return factory(address);
  return sim::createSimulatedApi(address);
}

void XtTraderApi::joinAll() {
  hooks::JoinAll joinAll;
  {
    std::lock_guard<std::mutex> lock(hookMutex());
    joinAll = joinAllHook();
  }
  if (joinAll) return joinAll();
  sim::joinSimulatedThreads();
}

}  // namespace xti
