// Test seam of the XtTraderApi stand-in.
//
// A test installs its own factory (and joinAll) to put a scripted vendor
// double behind XtTraderApi::createXtTraderApi, so that the plug-in, which
// only ever calls the static factory, talks to the double. With no hook
// installed the library creates the simulated counter. Install hooks before
// the code under test runs and restore them (empty functions) afterwards;
// they are process-wide.
#ifndef KESTREL_BROKER_VENDOR_HOOKS_H_
#define KESTREL_BROKER_VENDOR_HOOKS_H_

#include <functional>

#include "plugin/xt_trader_api.h"

namespace xti {
namespace hooks {

using ApiFactory = std::function<XtTraderApi*(const char* address)>;
using JoinAll = std::function<void()>;

XTI_API void setApiFactory(ApiFactory factory);
XTI_API void setJoinAll(JoinAll joinAll);

}  // namespace hooks
}  // namespace xti

#endif  // KESTREL_BROKER_VENDOR_HOOKS_H_
