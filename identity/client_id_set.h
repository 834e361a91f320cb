// XtClientIdSet: the registry that joins the host's identity of an order
// (ClientId) to the vendor's order number.
//
//   add(requestId, id)         when the order is sent (host thread)
//   update(requestId, orderId) when the vendor's reply names the order number
//   get(orderId, id)           when a report carries only the order number
//   get(id, orderId)           the reverse lookup, offered to the host
//
// Thread-safe: one mutex guards all three maps, and every operation takes
// effect at one hold of it. update builds its two new entries (allocations
// and the key text) between a hold that reads the request's id and the hold
// that links them, so that a vendor thread's lookup never waits for a host
// thread's allocation; it links them only if the request's id is still the
// one it read, and otherwise builds them again from the new one. Nothing is
// ever removed; the maps grow until the registry is destroyed. The
// destructor takes no lock, so no other operation may still be running.
#ifndef KESTREL_IDENTITY_CLIENT_ID_SET_H_
#define KESTREL_IDENTITY_CLIENT_ID_SET_H_

#include <map>
#include <string>

#include "plugin/export.h"
#include "plugin/host_records.h"
#include "plugin/mutex.h"

#if defined(_MSC_VER)
#pragma warning(push)
#pragma warning(disable : 4251)  // std members of an exported class; one toolchain builds both
#endif

namespace kestrel {

// prefix + "@" + serial: the single text under which a ClientId is keyed.
// The "@" is not escaped, so ids whose texts contain "@" can share a key.
// Inline: a host that calls it links nothing for it.
inline std::string clientIdKey(const ClientId& id) {
  std::string key;
  key.reserve(id.prefix.size() + 1 + id.serial.size());
  key.append(id.prefix).append(1, '@').append(id.serial);
  return key;
}

class KS_PLUGIN_API XtClientIdSet {
 public:
  XtClientIdSet();
  ~XtClientIdSet();
  XtClientIdSet(const XtClientIdSet&) = delete;
  XtClientIdSet& operator=(const XtClientIdSet&) = delete;

  // Files `id` under the host's request number, replacing an earlier entry.
  void add(int requestId, const ClientId& id) KS_EXCLUDES(mutex);

  // Files the ClientId known under `requestId` under the vendor's `orderId`
  // too. Returns false, changing nothing, when `requestId` is unknown.
  bool update(int requestId, int orderId) KS_EXCLUDES(mutex);

  // The ClientId filed under `orderId`; false (and `id` untouched) if none.
  bool get(int orderId, ClientId& id) KS_EXCLUDES(mutex);

  // The latest vendor order number filed for `id`'s key text; false (and
  // `orderId` untouched) if none.
  bool get(const ClientId& id, int& orderId) KS_EXCLUDES(mutex);

 private:
  Mutex mutex;
  std::map<int, ClientId> requestMap KS_GUARDED_BY(mutex);  // host request number -> id
  std::map<int, ClientId> orderMap KS_GUARDED_BY(mutex);    // vendor order number -> id
  std::map<std::string, int> keyMap KS_GUARDED_BY(mutex);   // key text -> vendor order number
};

}  // namespace kestrel

#if defined(_MSC_VER)
#pragma warning(pop)
#endif

#endif  // KESTREL_IDENTITY_CLIENT_ID_SET_H_
