#include "broker/chaos.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "broker/sim_platform.h"

namespace xti {
namespace sim {
namespace {

bool isReply(const Answer& a) {
  return a.kind == AnswerKind::kReply || a.kind == AnswerKind::kFailedReply;
}

}  // namespace

uint64_t nextRandom(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

bool drawShare(uint64_t& state, double share) {
  if (!(share > 0)) return false;
  const double unit = static_cast<double>(nextRandom(state) >> 11) * 0x1.0p-53;  // [0, 1)
  return unit < share;
}

void logFault(const Chaos& chaos, const char* fault, const AnswerName& answer,
              const std::string& more) {
  if (chaos.log.empty()) return;
  std::string line = std::string(fault) + " " + answer.callback +
                     " request=" + std::to_string(answer.requestId) +
                     " order=" + std::to_string(answer.orderId);
  if (!more.empty()) line += " " + more;
  appendLine(chaos.log, line);  // a log that cannot be written changes nothing of the day
}

ChaosPlan::ChaosPlan(const Chaos& chaos) : chaos_(chaos), state_(chaos.seed) {}

bool ChaosPlan::arrange(std::vector<Answer>& answers, std::vector<Answer>& late) {
  if (!chaos_.any()) return true;
  std::vector<Answer> released;
  released.swap(held_);
  std::vector<Answer> out;
  out.reserve(answers.size() + released.size());
  for (std::size_t i = 0; i < answers.size(); ++i) {
    Answer& a = answers[i];
    const auto rest = answers.begin() + static_cast<std::ptrdiff_t>(i) + 1;
    if (a.kind == AnswerKind::kFailedReply &&
        std::any_of(rest, answers.end(),
                    [](const Answer& b) { return b.kind == AnswerKind::kErrorPush; }) &&
        draw(chaos_.errorPushWithoutReply)) {
      log("error_push_without_reply", a);
      continue;
    }
    if (a.kind == AnswerKind::kReply && rest != answers.end() && rest->kind == AnswerKind::kPush &&
        draw(chaos_.pushesBeforeReply)) {
      // The run of pushes that follows the reply goes out ahead of it.
      a.fault = "push_before_reply";
      const auto end = std::find_if(rest, answers.end(),
                                    [](const Answer& b) { return b.kind != AnswerKind::kPush; });
      std::move(rest, end, std::back_inserter(out));
      i = static_cast<std::size_t>(end - answers.begin()) - 1;
    }
    out.push_back(std::move(a));
  }
  answers.swap(out);
  out.clear();
  for (Answer& a : answers) {
    if (isReply(a) && draw(chaos_.reorderReplies)) {
      log("held_reply", a);
      held_.push_back(std::move(a));
    } else if (isReply(a) && draw(chaos_.delayReplies)) {
      log("late_reply", a);
      late.push_back(std::move(a));
    } else {
      const bool twice = (a.kind == AnswerKind::kPush || a.kind == AnswerKind::kErrorPush) &&
                         draw(chaos_.duplicatePushes);
      out.push_back(std::move(a));
      if (twice) {
        out.push_back(out.back());
        out.back().fault = "duplicate_push";
      }
    }
  }
  std::move(released.begin(), released.end(), std::back_inserter(out));
  answers.swap(out);

  const long long budget = chaos_.dropAfterEvents;
  sent_ += static_cast<long long>(answers.size() + late.size());
  const bool goesOn = budget == 0 || sent_ < budget;
  if (!goesOn) {
    const long long keep = static_cast<long long>(answers.size()) - (sent_ - budget);
    answers.resize(static_cast<std::size_t>(std::max(0LL, keep)));
  }
  // The faults that go out (a push sent twice, a reply after its pushes) are
  // logged once the budget has cut what does not.
  for (std::vector<Answer>* list : {&answers, &late}) {
    for (Answer& a : *list) {
      if (a.fault != nullptr) log(a.fault, a);
      a.fault = nullptr;
    }
  }
  return goesOn;
}

}  // namespace sim
}  // namespace xti
