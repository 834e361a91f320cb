// The host's table of GBK texts by result code, and the statuses the plug-in
// builds from it.
//
// Inside the plug-in only: this header is not installed and none of its
// functions is exported. A host has its own copy of the table; what it
// receives is the ResultStatus (plugin/result_status.h) each request and
// callback carries.
#ifndef KESTREL_PLUGIN_ERROR_MESSAGES_H_
#define KESTREL_PLUGIN_ERROR_MESSAGES_H_

#include <cstdint>

#include "plugin/result_status.h"

namespace kestrel {

struct ErrorMessageEntry {
  int32_t code;
  const char* message;  // GBK, NUL-terminated, static storage
};

// The host's read-only table of result codes and their GBK texts.
class ErrorMessageTable {
 public:
  // The text for `code`, or an empty text for a code outside the table.
  static const char* messageOf(int32_t code);

  // The whole table in ascending code order, for tools and tests.
  static const ErrorMessageEntry* begin();
  static const ErrorMessageEntry* end();
};

// Code 23 with the table's text for 23.
ResultStatus notSupportedStatus();

// A code whose message is fixed (0, -2, -3, -6, -8, 23) with that message;
// any other code with an empty one.
ResultStatus statusFor(ResultCode code);

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_ERROR_MESSAGES_H_
