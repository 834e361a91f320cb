// Prints, in hex, the configuration path the plug-in hands to the vendor's
// init() when run from wherever this program was copied to.
#include <cstdio>

#include "plugin/plugin_entry.h"
#include "tests/support/fake_vendor.h"

int main() {
  kestrel::testing::FakeVendor vendor;
  kestrel::ITradeSession* session = CreateTradeSession();
  kestrel::SessionConfig config;
  config.server.serverAddresses.push_back(kestrel::AddressEntry{"127.0.0.1:1", ""});
  if (session->setConfig(config).code != 0 || session->connect().code != 0) return 1;
  const auto inits = vendor.callsOf("init");
  delete session;
  if (inits.size() != 1) return 1;
  for (unsigned char c : inits[0].texts.at(0)) std::printf("%02x", c);
  std::printf("\n");
  return 0;
}
