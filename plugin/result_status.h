// ResultStatus: the immediate answer of every session request and the status
// that accompanies every host callback; ErrorMessageTable: the host's constant
// table of GBK texts by result code.
//
// Conventions:
//  1. code 0 means success and always travels with an empty message (never the
//     table's text for 0); any other code names a failure of the host's table.
//  2. Messages are GBK byte strings.
//  3. The two values that recur everywhere come from one maker each:
//     successStatus() and notSupportedStatus().
#ifndef KESTREL_PLUGIN_RESULT_STATUS_H_
#define KESTREL_PLUGIN_RESULT_STATUS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace kestrel {

struct [[nodiscard]] ResultStatus {
  int32_t code = 0;
  std::string message;  // GBK
};

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

// Code 0, empty message.
inline ResultStatus successStatus() { return ResultStatus{}; }

// Code 23 with the table's text for 23 ("不支持" in GBK).
ResultStatus notSupportedStatus();

// A failure code with a message the plug-in made itself.
inline ResultStatus failureStatus(int32_t code, std::string message) {
  return ResultStatus{code, std::move(message)};
}

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_RESULT_STATUS_H_
