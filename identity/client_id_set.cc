#include "identity/client_id_set.h"

namespace kestrel {

std::string clientIdKey(const ClientId& id) {
  std::string key;
  key.reserve(id.prefix.size() + 1 + id.serial.size());
  key.append(id.prefix).append(1, '@').append(id.serial);
  return key;
}

XtClientIdSet::XtClientIdSet() = default;
XtClientIdSet::~XtClientIdSet() = default;

void XtClientIdSet::add(int requestId, const ClientId& id) {
  MutexLock lock(mutex);
  // insert_or_assign copy-constructs a new entry's strings in place, where
  // operator[] would build empty ones and then assign them.
  requestMap.insert_or_assign(requestId, id);
}

bool XtClientIdSet::update(int requestId, int orderId) {
  MutexLock lock(mutex);
  auto found = requestMap.find(requestId);
  if (found == requestMap.end()) return false;
  const ClientId& id = found->second;
  orderMap.insert_or_assign(orderId, id);
  keyMap.insert_or_assign(clientIdKey(id), orderId);
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
