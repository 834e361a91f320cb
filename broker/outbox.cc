#include "broker/outbox.h"

#include <utility>

namespace xti {
namespace sim {

XtError Outbox::toError(const Outcome& outcome) {
  return outcome.errorId == 0 ? XtError() : XtError(outcome.errorId, outcome.text.c_str());
}

std::vector<Answer> Outbox::take() {
  std::vector<Answer> events;
  events.swap(events_);
  return events;
}

}  // namespace sim
}  // namespace xti
