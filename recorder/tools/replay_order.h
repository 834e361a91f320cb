// The order in which journal_replay makes a journal's entries happen again.
//
// Mostly the recorded order. The journal records a vendor callback when it
// arrives, before the plug-in has handled it, and a host request when it is
// made; when a request on one thread and a callback on another overlap, the
// plug-in may have taken in the callback before or after the request read
// what it answers from (the fund account that the account push names), and
// the journal cannot say which. The recorded answer can: the fund account
// only ever appears, so a request that was answered saw every callback that
// could have come before it, and one that was refused saw none of them.
//  - A callback recorded while a request ran (before the request asked the
//    vendor anything, its own thread quiet since the request began) is
//    replayed before that request, unless the request was refused without a
//    vendor request.
//  - A callback recorded just before a request (its thread quiet until the
//    request's answer) is replayed before it, unless the request was refused
//    without a vendor request: then after the answer of the last refused
//    request of the run that followed it while its thread recorded nothing.
// A refused request changes nothing, so the callback's outcome is the same
// either way. (The demo host's funds query, polled until the counter names a
// fund account, meets the counter's account push in both ways.)
#ifndef KESTREL_RECORDER_TOOLS_REPLAY_ORDER_H_
#define KESTREL_RECORDER_TOOLS_REPLAY_ORDER_H_

#include <cstddef>
#include <vector>

#include "recorder/journal/journal_format.h"

namespace kestrel {
namespace journal {

// Indices into `entries`, each once, in the order to replay them.
std::vector<std::size_t> replayOrder(const std::vector<Entry>& entries);

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_TOOLS_REPLAY_ORDER_H_
