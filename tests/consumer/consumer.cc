// A host compiled and linked against the installed package only: it files an
// order identity in the exported registry, then connects a session to the
// simulated counter, logs in and releases it. Exit code 0 when every answer
// and callback came as expected; otherwise it names the first that did not.
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>

#include "identity/client_id_set.h"
#include "plugin/plugin_entry.h"

namespace {

// Records which callbacks arrived with which code; await() blocks until one
// has. A hang shows in the output as the last "waiting for" line.
class Host : public kestrel::ITradeSessionSpi {
 public:
  void onConnected(const kestrel::ResultStatus& s) override { note("onConnected", s.code); }
  void onLogin(const kestrel::ResultStatus& s, const kestrel::LoginReply&) override {
    note("onLogin", s.code);
  }
  void onDisconnected(const kestrel::ResultStatus& s) override { note("onDisconnected", s.code); }

  bool await(const std::string& event) {
    std::printf("waiting for %s\n", event.c_str());
    std::fflush(stdout);
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return seen_.count(event + " 0") || failed_.count(event); });
    return seen_.count(event + " 0") > 0;
  }

 private:
  void note(const std::string& event, int code) {
    std::lock_guard<std::mutex> lock(mutex_);
    seen_.insert(event + " " + std::to_string(code));
    if (code != 0) failed_.insert(event);
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::set<std::string> seen_;
  std::set<std::string> failed_;
};

int fail(const char* what) {
  std::printf("consumer: %s\n", what);
  return 1;
}

}  // namespace

int main() {
  std::printf("%s\n", GetPluginInfo());

  kestrel::XtClientIdSet registry;
  const kestrel::ClientId id{"host", "000001"};
  registry.add(7, id);
  kestrel::ClientId found;
  int orderId = 0;
  if (!registry.update(7, 42) || !registry.get(42, found) || !(found == id) ||
      !registry.get(id, orderId) || orderId != 42) {
    return fail("the registry did not give back what was filed");
  }

  Host host;
  kestrel::ITradeSession* session = CreateTradeSession();
  kestrel::SessionConfig config;
  config.userName = "demo";
  config.password = "demo123";
  config.server.serverAddresses.push_back(kestrel::AddressEntry{"tcp://127.0.0.1:5800", "counter"});
  if (session->setConfig(config).code != 0 || session->registerSpi(&host).code != 0) {
    return fail("setConfig or registerSpi refused");
  }
  if (session->connect().code != 0 || !host.await("onConnected")) return fail("no connection");
  if (session->login().code != 0 || !host.await("onLogin")) return fail("no login");
  if (session->release().code != 0 || !host.await("onDisconnected")) return fail("no release");
  std::printf("consumer: connected, logged in and released through the installed package\n");
  return 0;
}
