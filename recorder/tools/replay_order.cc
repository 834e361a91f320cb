#include "recorder/tools/replay_order.h"

#include "recorder/tools/entry_text.h"

namespace kestrel {
namespace journal {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// Whether `e` is something `thread` did. The returns of callbacks (version
// 2) are left out: the rules below read the journal as version 1 has it, so
// that a journal replays the same in either version.
bool recordedOn(const Entry& e, uint32_t thread) {
  return e.thread == thread && e.kind != Kind::kDone;
}

// Whether an answer is a refusal: a status with a code other than 0.
bool isRefusal(const Entry& answer) {
  try {
    const Fields fields = EntryText::fieldsOf(answer);
    return !fields.empty() && fields.front().name == "code" && fields.front().value != "0";
  } catch (const FormatError&) {
    return false;
  }
}

// The answer to the host request at `request` (the next entry of its thread
// and session that returns), or kNone when the journal holds none.
std::size_t answerOf(const std::vector<Entry>& entries, std::size_t request) {
  const Entry& r = entries[request];
  for (std::size_t i = request + 1; i < entries.size(); ++i) {
    const Entry& e = entries[i];
    if (e.thread != r.thread) continue;
    if (e.is(Boundary::kHost, Kind::kReturn) && e.object == r.object &&
        e.operation == r.operation) {
      return i;
    }
    // A request of its own inside this one.
    if (e.is(Boundary::kHost, Kind::kRequest)) return kNone;
  }
  return kNone;
}

// Whether the host request at `request`, answered at `answer`, was refused
// without asking the vendor anything.
bool refusedAlone(const std::vector<Entry>& entries, std::size_t request, std::size_t answer) {
  for (std::size_t i = request + 1; i < answer; ++i) {
    const Entry& e = entries[i];
    if (e.thread == entries[request].thread && e.is(Boundary::kVendor, Kind::kRequest)) {
      return false;
    }
  }
  return isRefusal(entries[answer]);
}

// Where the callback at `callback` goes: after the answer of the last refused
// request of the run that follows it while its thread records nothing; kNone
// to leave it where it is.
std::size_t placeOf(const std::vector<Entry>& entries, std::size_t callback) {
  const uint32_t thread = entries[callback].thread;
  std::size_t place = kNone;
  for (std::size_t i = callback + 1; i < entries.size(); ++i) {
    const Entry& e = entries[i];
    if (recordedOn(e, thread)) break;
    if (!e.is(Boundary::kHost, Kind::kRequest)) continue;
    const std::size_t answer = answerOf(entries, i);
    if (answer == kNone || !refusedAlone(entries, i, answer)) break;
    bool quiet = true;  // the callback's thread recorded nothing until the answer
    for (std::size_t k = i + 1; k < answer && quiet; ++k) quiet = !recordedOn(entries[k], thread);
    if (!quiet) break;
    place = answer;
    i = answer;
  }
  return place;
}

// The host request that the callback at `callback` goes before: the request
// running on another thread when the callback arrived, which had not yet
// asked the vendor anything and was not refused, while the callback's
// thread recorded nothing since the request began; kNone to leave the
// callback where it is.
std::size_t requestAheadOf(const std::vector<Entry>& entries, std::size_t callback) {
  const uint32_t thread = entries[callback].thread;
  bool askedVendor = false;  // a vendor request between the request and the callback
  for (std::size_t i = callback; i-- > 0;) {
    const Entry& e = entries[i];
    if (recordedOn(e, thread)) return kNone;
    if (e.is(Boundary::kHost, Kind::kReturn)) return kNone;
    if (e.is(Boundary::kVendor, Kind::kRequest)) askedVendor = true;
    if (!e.is(Boundary::kHost, Kind::kRequest)) continue;
    const std::size_t answer = answerOf(entries, i);
    if (askedVendor || answer == kNone || answer < callback || refusedAlone(entries, i, answer)) {
      return kNone;
    }
    return i;
  }
  return kNone;
}

}  // namespace

std::vector<std::size_t> replayOrder(const std::vector<Entry>& entries) {
  // before[k] and after[k]: the callbacks moved to just before and just
  // after entry k, in recorded order.
  std::vector<std::vector<std::size_t>> before(entries.size());
  std::vector<std::vector<std::size_t>> after(entries.size());
  std::vector<bool> moved(entries.size(), false);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!entries[i].is(Boundary::kVendor, Kind::kCallback)) continue;
    const std::size_t place = placeOf(entries, i);
    const std::size_t ahead = place == kNone ? requestAheadOf(entries, i) : kNone;
    if (place != kNone) after[place].push_back(i);
    if (ahead != kNone) before[ahead].push_back(i);
    moved[i] = place != kNone || ahead != kNone;
  }
  std::vector<std::size_t> order;
  order.reserve(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    order.insert(order.end(), before[i].begin(), before[i].end());
    if (!moved[i]) order.push_back(i);
    order.insert(order.end(), after[i].begin(), after[i].end());
  }
  return order;
}

}  // namespace journal
}  // namespace kestrel
