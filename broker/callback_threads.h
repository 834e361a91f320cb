// The process-wide tally of the simulated counter's callback threads, which
// XtTraderApi::joinAll waits on.
//
// Thread-safe. A thread is counted from just before it starts until its last
// step; joinAll called on a callback thread would wait for itself, so it
// must not be.
#ifndef KESTREL_BROKER_CALLBACK_THREADS_H_
#define KESTREL_BROKER_CALLBACK_THREADS_H_

namespace xti {
namespace sim {

void callbackThreadStarting();
void callbackThreadEnded();
// Returns when no callback thread is running.
void waitForCallbackThreads();

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_CALLBACK_THREADS_H_
