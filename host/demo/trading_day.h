// The demo host's two modes: a scripted trading day and an interactive prompt.
#ifndef KESTREL_HOST_DEMO_TRADING_DAY_H_
#define KESTREL_HOST_DEMO_TRADING_DAY_H_

#include <cstdio>
#include <string>
#include <vector>

#include "host/demo/demo_session.h"

namespace demo {

// Connects, logs in and waits until the counter named a fund account (the
// funds query stops answering "no fund account"). Appends what did not
// happen in time to `missing`.
bool openSession(DemoSession& session, std::vector<std::string>& missing);

// The scripted day: funds, a buy that fills, a limit order that rests and is
// cancelled, an order the counter rejects, one the exchange rejects,
// positions, position details, orders, fills, funds again, logout, release.
// Events of its orders pushed under a made-up client id are named through the
// order query; after a lost connection the day goes on in a new session made
// by the DemoSession's factory (once). Returns 0, or 1 after naming every
// expected event that did not arrive, or the failure that stopped the day.
// It trades `instrument`.
int runTradingDay(DemoSession& session, const Instrument& instrument);

// Reads commands from `in` until "quit" or end of input, then logs out and
// releases. Returns 0, or 1 when the session could not be opened.
int runInteractive(DemoSession& session, std::FILE* in, std::FILE* out);

}  // namespace demo

#endif  // KESTREL_HOST_DEMO_TRADING_DAY_H_
