// ChaosPlan: how one connection of the simulated counter misbehaves on
// purpose, answer by answer, as configured in the [chaos] section.
//
// The counter writes the answers of each request (or market step) in the
// order a polite counter sends them; arrange() then rearranges that batch:
// it drops the reply of a refusal whose error push follows, lets an accepted
// order's pushes overtake its reply, sends pushes (error pushes too) twice,
// holds replies back until the next batch or hands them over to be delivered
// late, and counts the answers against the connection's budget. Every choice
// is drawn from one generator seeded from the configuration, so the same
// requests in the same order misbehave the same way on every run and platform.
//
// Not thread-safe: the connection calls it with its own mutex held.
#ifndef KESTREL_BROKER_CHAOS_H_
#define KESTREL_BROKER_CHAOS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "broker/outbox.h"
#include "broker/sim_config.h"

namespace xti {
namespace sim {

// splitmix64: deterministic on every platform (the standard distributions
// are not). Advances `state`.
uint64_t nextRandom(uint64_t& state);
// True with probability `share` (0-1); draws nothing for a share of 0.
bool drawShare(uint64_t& state, double share);

// The chaos log (the `log` key): one line per fault made on purpose, as it
// is made, appended to the file the configuration names:
//   FAULT CALLBACK request=N order=N
// FAULT one of push_before_reply (the reply, overtaken by its pushes),
// duplicate_push, error_push_without_reply (the refusal's reply, not sent),
// held_reply, late_reply, refusal (CALLBACK onOrderReply, then text=...),
// drop (CALLBACK onConnected). Nothing is written without a `log` key.
void logFault(const Chaos& chaos, const char* fault, const AnswerName& answer,
              const std::string& more = std::string());

class ChaosPlan {
 public:
  ChaosPlan() = default;  // a polite connection: arrange() changes nothing
  explicit ChaosPlan(const Chaos& chaos);

  // Rearranges `answers` in place into what goes out now, in order; replies
  // to be delivered chaos().delayMs late are moved to `late`. Returns false
  // when the connection's answer budget ran out inside this batch: the
  // answers past it have been removed and the caller drops the connection.
  bool arrange(std::vector<Answer>& answers, std::vector<Answer>& late);

  const Chaos& chaos() const { return chaos_; }

 private:
  bool draw(double share) { return drawShare(state_, share); }
  void log(const char* fault, const Answer& answer) { logFault(chaos_, fault, answer.name); }

  Chaos chaos_;
  uint64_t state_ = 0;
  std::vector<Answer> held_;  // replies waiting for the next batch
  long long sent_ = 0;        // answers that went out (or late), for the budget
};

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_CHAOS_H_
