// OrderIdentityContext: the bookkeeping that request paths (host threads) and
// callback paths (vendor threads) share to find the host's order again.
//
// Owned by the callback receiver. Its three members are made in the order
// registry, newOrderBook, cancelBook and released in the reverse order; each
// is thread-safe on its own, and no code holds two of their locks at once.
#ifndef KESTREL_IDENTITY_ORDER_IDENTITY_CONTEXT_H_
#define KESTREL_IDENTITY_ORDER_IDENTITY_CONTEXT_H_

#include <memory>

#include "identity/client_id_set.h"
#include "identity/pending_order_book.h"
#include "plugin/host_records.h"

namespace kestrel {

using NewOrderBook = PendingOrderBook<AccountOrderNewRequest>;
using CancelBook = PendingOrderBook<AccountOrderCancelRequest>;

struct OrderIdentityContext {
  OrderIdentityContext()
      : registry(new XtClientIdSet), newOrderBook(new NewOrderBook), cancelBook(new CancelBook) {}

  // Members are released in reverse declaration order: cancelBook,
  // newOrderBook, registry.
  std::unique_ptr<XtClientIdSet> registry;
  std::unique_ptr<NewOrderBook> newOrderBook;
  std::unique_ptr<CancelBook> cancelBook;
};

}  // namespace kestrel

#endif  // KESTREL_IDENTITY_ORDER_IDENTITY_CONTEXT_H_
