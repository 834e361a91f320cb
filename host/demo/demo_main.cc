// The demo host: a small trading application that loads the plug-in at run
// time and trades through it against the counter behind the vendor library.
//
//   demo_host [--address A] [--user U] [--password P] [--instrument CODE.EXCHANGE]
//             [--plugin PATH] [--config FILE] [--timeout-ms N] [--interactive]
//
// --config FILE points the simulated counter at FILE instead of the
// config/xt_config beside the program (the counter reads XT_SIM_CONFIG), for
// instance config/xt_config.chaos to rehearse a misbehaving counter.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/demo/console_host.h"
#include "host/demo/demo_session.h"
#include "host/demo/plugin_library.h"
#include "host/demo/trading_day.h"
#include "plugin/common.h"

namespace {

void usage() {
  std::fprintf(stderr,
               "usage: demo_host [--address tcp://HOST:PORT] [--user NAME] [--password TEXT]\n"
               "                 [--instrument CODE.EXCHANGE] [--plugin PATH] [--config FILE]\n"
               "                 [--timeout-ms N] [--interactive]\n");
}

}  // namespace

int main(int argc, char** argv) {
  demo::Settings settings;
  bool interactive = false;
  std::string counterConfig;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if (arg == "--interactive") {
      interactive = true;
    } else if (arg == "--address" && hasValue) {
      settings.address = argv[++i];
    } else if (arg == "--user" && hasValue) {
      settings.user = argv[++i];
    } else if (arg == "--password" && hasValue) {
      settings.password = argv[++i];
    } else if (arg == "--instrument" && hasValue) {
      settings.instrument = argv[++i];
    } else if (arg == "--plugin" && hasValue) {
      settings.plugin = argv[++i];
    } else if (arg == "--config" && hasValue) {
      counterConfig = argv[++i];
    } else if (arg == "--timeout-ms" && hasValue) {
      const long ms = std::strtol(argv[++i], nullptr, 10);
      if (ms <= 0) {
        usage();
        return 2;
      }
      settings.timeout = std::chrono::milliseconds(ms);
    } else {
      usage();
      return 2;
    }
  }

  if (!counterConfig.empty()) {
    // Read by the counter at connect; the environment is the one channel a
    // host has to the vendor library's configuration besides the fixed path.
    demo::useCounterConfig(counterConfig);
    std::printf("counter configuration: %s\n", counterConfig.c_str());
  }

  // The host's base information, filled before any session trades.
  kestrel::addChinaExchanges(*kestrel::gBaseInformationMap);

  demo::PluginLibrary library;
  const bool loaded =
      settings.plugin.empty() ? library.loadBesideProgram() : library.load(settings.plugin);
  if (!loaded) {
    std::fprintf(stderr, "%s\n", library.error().c_str());
    return 1;
  }
  std::printf("plug-in: %s\n", library.getPluginInfo()());

  demo::ConsoleHost host(stdout);
  demo::DemoSession demoSession(demo::configuredSession(library, settings, host), host, settings);
  return interactive ? demo::runInteractive(demoSession, stdin, stdout)
                     : demo::runTradingDay(demoSession);
}
