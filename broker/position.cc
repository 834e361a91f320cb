#include "broker/position.h"

#include <algorithm>
#include <utility>

namespace xti {
namespace sim {

void Position::addLot(Lot lot) { lots_.push_back(std::move(lot)); }

int Position::volume(Age age) const {
  int total = 0;
  for (const Lot& lot : lots_) {
    if (lot.age == age) total += lot.volume;
  }
  return total;
}

double Position::closeFrozen(Age age, int count, double price, double multiplier) {
  const double sign = side_ == Side::kLong ? 1.0 : -1.0;
  double profit = 0;
  int left = count;
  for (Lot& lot : lots_) {
    if (left == 0) break;
    if (lot.age != age || lot.volume == 0) continue;
    const int used = std::min(left, lot.volume);
    profit += sign * (price - lot.openPrice) * used * multiplier;
    lot.volume -= used;
    left -= used;
  }
  const int closed = count - left;
  frozen_[age] -= closed;
  lots_.erase(
      std::remove_if(lots_.begin(), lots_.end(), [](const Lot& l) { return l.volume == 0; }),
      lots_.end());
  return profit;
}

double Position::openCost(const Age* age, double multiplier) const {
  double cost = 0;
  for (const Lot& lot : lots_) {
    if (age == nullptr || lot.age == *age) cost += lot.openPrice * lot.volume * multiplier;
  }
  return cost;
}

double Position::floatingProfit(const Age* age, double reference, double multiplier) const {
  const double sign = side_ == Side::kLong ? 1.0 : -1.0;
  double profit = 0;
  for (const Lot& lot : lots_) {
    if (age == nullptr || lot.age == *age) {
      profit += sign * (reference - lot.openPrice) * lot.volume * multiplier;
    }
  }
  return profit;
}

std::vector<LotView> Position::lots(Age age) const {
  std::vector<LotView> views;
  int frozenLeft = frozen_[age];
  for (const Lot& lot : lots_) {
    if (lot.age != age || lot.volume == 0) continue;
    const int frozen = std::min(frozenLeft, lot.volume);
    frozenLeft -= frozen;
    views.push_back(LotView{&lot, lot.volume - frozen, frozen});
  }
  return views;
}

}  // namespace sim
}  // namespace xti
