// The demo host: a small trading application that loads the plug-in at run
// time and trades through it against the counter behind the vendor library.
//
//   demo_host [--address A] [--user U] [--password P] [--instrument CODE.EXCHANGE]
//             [--plugin PATH] [--config FILE] [--timeout-ms N] [--interactive] [--help]
//
// --config FILE points the simulated counter at FILE instead of the
// config/xt_config beside the program (the counter reads XT_SIM_CONFIG), for
// instance config/xt_config.chaos to rehearse a misbehaving counter.
//
// Exit codes: 0 the day (or the interactive session) went as expected; 1 it
// did not, or the plug-in could not be loaded; 2 the command line was refused
// (nothing was loaded or sent), an --instrument the demo cannot place
// included, in either mode.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/demo/console_host.h"
#include "host/demo/demo_session.h"
#include "host/demo/plugin_library.h"
#include "host/demo/trading_day.h"
#include "host/demo/user_input.h"
#include "plugin/common.h"

namespace {

constexpr long long kMaxTimeoutMs = 3600000;

void usage(std::FILE* out, const demo::Settings& defaults) {
  std::fprintf(
      out,
      "usage: demo_host [OPTION...]\n"
      "Loads the plug-in, trades a scripted day against the simulated counter and\n"
      "exits 0 when every expected event came (1 otherwise, 2 for a refused\n"
      "command line); --interactive reads commands from standard input instead.\n"
      "  --address tcp://HOST:PORT   the counter's address (default %s)\n"
      "  --user NAME                 login user (default %s)\n"
      "  --password TEXT             login password (default %s)\n"
      "  --instrument CODE.EXCHANGE  the scripted day's instrument (default %s)\n"
      "  --plugin PATH               the plug-in to load (default: KSTraderAPIPluginXT\n"
      "                              beside this program)\n"
      "  --config FILE               the counter's configuration, which must be readable\n"
      "                              (default: config/xt_config beside this program)\n"
      "  --timeout-ms N              longest wait for one event, 1 to %lld (default %lld)\n"
      "  --interactive               commands from standard input; \"help\" lists them\n"
      "  --help                      this text\n",
      defaults.address.c_str(), defaults.user.c_str(), defaults.password.c_str(),
      defaults.instrument.c_str(), kMaxTimeoutMs, static_cast<long long>(defaults.timeout.count()));
}

// What the command line asks for; `error` set when it is refused.
struct CommandLine {
  demo::Settings settings;
  bool interactive = false;
  bool help = false;
  demo::Instrument instrument;  // the scripted day's, from settings.instrument
  std::string counterConfig;
  std::string error;
};

CommandLine parse(int argc, char** argv) {
  CommandLine line;
  for (int i = 1; i < argc && line.error.empty() && !line.help; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      line.help = true;
      continue;
    }
    if (arg == "--interactive") {
      line.interactive = true;
      continue;
    }
    std::string* text = arg == "--address"      ? &line.settings.address
                        : arg == "--user"       ? &line.settings.user
                        : arg == "--password"   ? &line.settings.password
                        : arg == "--instrument" ? &line.settings.instrument
                        : arg == "--plugin"     ? &line.settings.plugin
                        : arg == "--config"     ? &line.counterConfig
                                                : nullptr;
    const bool timeout = arg == "--timeout-ms";
    if (text == nullptr && !timeout) {
      line.error = (arg.rfind("-", 0) == 0 ? "unknown option '" : "unexpected argument '") + arg +
                   "' (--help lists the options)";
    } else if (i + 1 == argc) {
      line.error = arg + " needs a value";
    } else if (text != nullptr) {
      *text = argv[++i];
      // Every text but a password means something only when it is not empty.
      if (text->empty() && text != &line.settings.password) line.error = arg + " needs a value";
    } else {
      long long ms = 0;
      const std::string value = argv[++i];
      if (!demo::parseWholeNumber(value, 1, kMaxTimeoutMs, ms)) {
        line.error = "--timeout-ms takes a whole number of milliseconds from 1 to " +
                     std::to_string(kMaxTimeoutMs) + ", not '" + value + "'";
      }
      line.settings.timeout = std::chrono::milliseconds(ms);
    }
  }
  std::string refused;
  if (line.error.empty() &&
      !demo::parseInstrument(line.settings.instrument, line.instrument, refused)) {
    line.error = "--instrument: " + refused;
  }
  if (line.error.empty() && !line.counterConfig.empty()) {
    // Asked for by name: a file that cannot be read must not leave the
    // counter on its embedded defaults in silence.
    std::FILE* file = std::fopen(line.counterConfig.c_str(), "rb");
    if (file == nullptr || (std::fgetc(file) == EOF && std::ferror(file) != 0)) {
      line.error = "cannot read --config " + line.counterConfig + ": " + std::strerror(errno);
    }
    if (file != nullptr) std::fclose(file);
  }
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  // The host's base information, filled before the command line is read (it
  // names the exchanges an instrument may be on) and any session trades.
  kestrel::addChinaExchanges(*kestrel::gBaseInformationMap);
  const CommandLine line = parse(argc, argv);
  if (line.help) {
    usage(stdout, demo::Settings{});
    return 0;
  }
  if (!line.error.empty()) {
    std::fprintf(stderr, "demo_host: %s\n", line.error.c_str());
    return 2;
  }
  const demo::Settings& settings = line.settings;

  if (!line.counterConfig.empty()) {
    // Read by the counter at connect; the environment is the one channel a
    // host has to the vendor library's configuration besides the fixed path.
    demo::useCounterConfig(line.counterConfig);
    std::printf("counter configuration: %s\n", line.counterConfig.c_str());
  }

  demo::PluginLibrary library;
  const bool loaded =
      settings.plugin.empty() ? library.loadBesideProgram() : library.load(settings.plugin);
  if (!loaded) {
    std::fprintf(stderr, "%s\n", library.error().c_str());
    return 1;
  }
  std::printf("plug-in: %s\n", library.getPluginInfo()());

  demo::ConsoleHost host(stdout);
  const auto newSession = [&library, &settings, &host] {
    return demo::configuredSession(library, settings, host);
  };
  demo::DemoSession demoSession(newSession(), host, settings, newSession);
  return line.interactive ? demo::runInteractive(demoSession, stdin, stdout)
                          : demo::runTradingDay(demoSession, line.instrument);
}
