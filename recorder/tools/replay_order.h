// The order in which journal_replay makes a journal's entries happen again.
//
// Mostly the recorded order. The journal records a vendor callback when it
// arrives, before the plug-in has handled it; a host request made on another
// thread meanwhile may have been answered before or after the handling took
// effect, and the journal cannot say which. The replay takes such a callback
// as handled before the request, except where the recording shows the
// request refused without a vendor request: a refusal changes nothing, so the
// callback's outcome is the same either way, and the refusal is the answer
// the request had when it overtook the callback (the demo host's funds query,
// refused with "no fund account" while the counter's account push was still
// being handled). Such a callback is moved to just after the last answer of
// the run of refused requests that followed it while its thread recorded
// nothing else.
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
