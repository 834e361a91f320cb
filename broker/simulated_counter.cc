#include "broker/simulated_counter.h"

#include <cstring>
#include <new>
#include <system_error>

#include "broker/callback_threads.h"
#include "broker/simulated_api.h"

namespace xti {
namespace sim {

bool isUsableAddress(const char* address) {
  if (address == nullptr) return false;
  const std::size_t length = std::strlen(address);
  if (length == 0 || length > 255) return false;
  const char* colon = std::strrchr(address, ':');
  if (colon == nullptr || colon == address) return false;
  for (const char* p = address; p < colon; ++p) {
    if (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n') return false;
  }
  const char* port = colon + 1;
  const std::size_t digits = std::strlen(port);
  if (digits == 0 || digits > 5) return false;
  long value = 0;
  for (const char* p = port; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') return false;
    value = value * 10 + (*p - '0');
  }
  return value >= 1 && value <= 65535;
}

XtTraderApi* createSimulatedApi(const char* address) {
  if (!isUsableAddress(address)) return nullptr;
  try {
    return new SimulatedApi(address);
  } catch (const std::bad_alloc&) {
    return nullptr;
  } catch (const std::system_error&) {  // no thread could be started
    return nullptr;
  }
}

void joinSimulatedThreads() { waitForCallbackThreads(); }

}  // namespace sim
}  // namespace xti
