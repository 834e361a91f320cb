// The vendor library that journal_replay puts behind the plug-in: built as
// XtTraderApi in the tools folder, it answers from a journal.
//
// Contract:
//  1. journal_replay sets a Driver before it loads the plug-in, and keeps it
//     until the replay ends.
//  2. createXtTraderApi() asks the driver which recorded API object its n-th
//     call stands for and makes none where the recording made none. Every
//     request to an API object (and each createXtTraderApi and joinAll) goes
//     to the driver as a journal entry, on the caller's thread. An API object
//     makes no callback of its own: the driver makes them with deliver().
//  3. deliver() makes one recorded callback on the calling thread and returns
//     when the plug-in has handled it. Once an API object is shut down or
//     deleted it gets none; shutdown() waits for one in progress, unless it
//     is called from inside it.
#ifndef KESTREL_RECORDER_TOOLS_REPLAY_VENDOR_H_
#define KESTREL_RECORDER_TOOLS_REPLAY_VENDOR_H_

#include <cstdint>
#include <string>

#include "plugin/export.h"
#include "recorder/journal/journal.h"

namespace kestrel {
namespace journal {
namespace replay {

// Takes every request of the plug-in (append()) as the entry the recording
// vendor library would have written.
class Driver : public EntrySink {
 public:
  virtual ~Driver() = default;
  // The journal's number of the API object that the recording's n-th
  // createXtTraderApi (from 1) made; 0 when it made none.
  virtual uint32_t created(uint32_t n) = 0;
};

XTI_API void setDriver(Driver* driver);

// Makes the callback `slot` with the recorded `values` on API object
// `object`. False when there is no such object, it has no callback object, or
// it was shut down. Throws FormatError when the values do not read as the
// callback's.
XTI_API bool deliver(uint32_t object, uint16_t slot, const std::string& values);

}  // namespace replay
}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_TOOLS_REPLAY_VENDOR_H_
