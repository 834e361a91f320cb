// Test seam of XtClientIdSet: a call that update() makes between the hold
// that reads the request's id and the hold that links the new entries, with
// no lock held, so that a test can run a host thread's add exactly there.
// Not installed and not exported; tests only. No seam is set in the product.
#ifndef KESTREL_IDENTITY_CLIENT_ID_SET_SEAM_H_
#define KESTREL_IDENTITY_CLIENT_ID_SET_SEAM_H_

#include <functional>

namespace kestrel {

// `between` (null: none) runs inside every update() of every registry from
// now on. Set it while no update runs.
void TEST_setBetweenUpdateHolds(const std::function<void()>* between);

}  // namespace kestrel

#endif  // KESTREL_IDENTITY_CLIENT_ID_SET_SEAM_H_
