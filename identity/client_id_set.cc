#include "identity/client_id_set.h"

#include <utility>

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

}  // namespace

// The id is read in one critical section and the two new entries linked in
// another; the entries and the key text are built in between. A vendor
// thread that looks an order up while a host thread files one waits only for
// the tree operations, not for allocations.
bool XtClientIdSet::update(int requestId, int orderId) {
  ClientId id;
  {
    MutexLock lock(mutex);
    auto found = requestMap.find(requestId);
    if (found == requestMap.end()) return false;
    id = found->second;
  }
  auto byKey = entryOf<std::map<std::string, int>>(clientIdKey(id), orderId);
  auto byOrder = entryOf<std::map<int, ClientId>>(orderId, std::move(id));
  MutexLock lock(mutex);
  place(orderMap, std::move(byOrder));
  place(keyMap, std::move(byKey));
  return true;
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
