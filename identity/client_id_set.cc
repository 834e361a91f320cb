#include "identity/client_id_set.h"

#include <atomic>
#include <functional>
#include <utility>

#include "identity/client_id_set_seam.h"

namespace kestrel {

XtClientIdSet::XtClientIdSet() = default;
XtClientIdSet::~XtClientIdSet() = default;

void XtClientIdSet::add(int requestId, const ClientId& id) {
  MutexLock lock(mutex);
  // insert_or_assign copy-constructs a new entry's strings in place, where
  // operator[] would build empty ones and then assign them.
  requestMap.insert_or_assign(requestId, id);
}

namespace {

// A map entry built, its allocation included, before the lock is taken.
template <class Map, class Key, class Value>
typename Map::node_type entryOf(Key&& key, Value&& value) {
  Map one;
  one.emplace(std::forward<Key>(key), std::forward<Value>(value));
  return one.extract(one.begin());
}

// insert_or_assign of such an entry.
template <class Map>
void place(Map& map, typename Map::node_type entry) {
  auto placed = map.insert(std::move(entry));
  if (!placed.inserted) placed.position->second = std::move(placed.node.mapped());
}

std::atomic<const std::function<void()>*> gBetweenHolds{nullptr};

}  // namespace

void TEST_setBetweenUpdateHolds(const std::function<void()>* between) {
  gBetweenHolds.store(between, std::memory_order_relaxed);
}

// The entries and the key text are built between two holds: a vendor thread
// that looks an order up while a host thread files one waits only for the
// tree operations, not for allocations. The second hold links them only if
// the request's entry still holds the id the first one read (entries are
// never removed, so its iterator stays valid); an add in between means they
// are built again, so that update takes effect at that one hold.
bool XtClientIdSet::update(int requestId, int orderId) {
  for (;;) {
    std::map<int, ClientId>::const_iterator found;
    ClientId id;
    {
      MutexLock lock(mutex);
      found = requestMap.find(requestId);
      if (found == requestMap.end()) return false;
      id = found->second;
    }
    auto byKey = entryOf<std::map<std::string, int>>(clientIdKey(id), orderId);
    auto byOrder = entryOf<std::map<int, ClientId>>(orderId, std::move(id));
    if (const std::function<void()>* between = gBetweenHolds.load(std::memory_order_relaxed)) {
      (*between)();
    }
    MutexLock lock(mutex);
    if (found->second != byOrder.mapped()) continue;
    place(orderMap, std::move(byOrder));
    place(keyMap, std::move(byKey));
    return true;
  }
}

bool XtClientIdSet::get(int orderId, ClientId& id) {
  MutexLock lock(mutex);
  auto found = orderMap.find(orderId);
  if (found == orderMap.end()) return false;
  id = found->second;
  return true;
}

bool XtClientIdSet::get(const ClientId& id, int& orderId) {
  const std::string key = clientIdKey(id);  // built before the lock: it needs none
  MutexLock lock(mutex);
  auto found = keyMap.find(key);
  if (found == keyMap.end()) return false;
  orderId = found->second;
  return true;
}

}  // namespace kestrel
