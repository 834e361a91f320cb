// Position: what one fund account holds of one instrument on one side, as
// lots (one per opening fill, or per configured starting position), split by
// age: lots opened before today ("older") and today's.
//
// Closing orders hold ("freeze") volume when the counter accepts them and
// release it when they are cancelled or rejected; a fill of a closing order
// consumes frozen volume. Frozen volume always sits in the first lots of its
// age and fills consume lots first in, first out, so the per-lot split of
// free and frozen volume needs no bookkeeping of its own.
//
// A plain value type; the counter that owns it synchronises access.
#ifndef KESTREL_BROKER_POSITION_H_
#define KESTREL_BROKER_POSITION_H_

#include <string>
#include <vector>

#include "broker/sim_config.h"

namespace xti {
namespace sim {

enum Age { kOlder = 0, kToday = 1 };

struct Lot {
  std::string tradeId;   // the opening fill's deal reference
  std::string openDate;  // YYYYMMDD
  double openPrice = 0;
  int volume = 0;  // held, free and frozen together
  Age age = kToday;
};

// A lot's share of the position's frozen volume (see the header comment).
struct LotView {
  const Lot* lot;
  int free;
  int frozen;
};

class Position {
 public:
  explicit Position(Side side = Side::kLong) : side_(side) {}

  Side side() const { return side_; }
  void addLot(Lot lot);

  int volume(Age age) const;
  int freeVolume(Age age) const { return volume(age) - frozen_[age]; }

  // REQUIRES: count <= freeVolume(age).
  void freeze(Age age, int count) { frozen_[age] += count; }
  // REQUIRES: count <= the frozen volume of `age`.
  void unfreeze(Age age, int count) { frozen_[age] -= count; }

  // Closes `count` frozen units of `age` at `price`, first lots first, and
  // returns the realised profit. REQUIRES: count <= the frozen volume of `age`.
  double closeFrozen(Age age, int count, double price, double multiplier);

  // Sum over the lots of `age` (both ages when `age` is null).
  double openCost(const Age* age, double multiplier) const;
  double floatingProfit(const Age* age, double reference, double multiplier) const;

  // The lots of `age` with volume, in order, with their free and frozen parts.
  std::vector<LotView> lots(Age age) const;

 private:
  Side side_;
  std::vector<Lot> lots_;  // in opening order
  int frozen_[2] = {0, 0};
};

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_POSITION_H_
