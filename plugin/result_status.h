// ResultStatus: the immediate answer of every session request and the status
// that accompanies every host callback; ErrorMessageTable: the host's constant
// table of GBK texts by result code; ResultCode: the codes the plug-in itself
// produces, each with the message it travels with.
//
// Conventions:
//  1. code 0 means success and always travels with an empty message (never the
//     table's text for 0); any other code names a failure of the host's table.
//  2. Messages are GBK byte strings.
//  3. A code with a fixed message comes from statusFor(); the two that recur
//     everywhere also from successStatus() and notSupportedStatus().
#ifndef KESTREL_PLUGIN_RESULT_STATUS_H_
#define KESTREL_PLUGIN_RESULT_STATUS_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kestrel {

// The host's own record: no [[nodiscard]] here, a host that ignores an
// answer must not be warned by our declaration of its type.
struct ResultStatus {
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

// The codes the plug-in produces, all from the table above, and the message
// each carries. Where the plug-in's own text replaces the table's, the
// comment gives it.
enum ResultCode : int32_t {
  kSuccess = 0,             // empty message
  kRequestFailed = -1,      // the exception's what() text, or the vendor's text as "[msg=...]"
  kInvalidAddress = -2,     // "无效地址": connect without a server address
  kNoFundAccount = -3,      // "无资金账号": orders and queries before any account is known
  kNotConnected = -6,       // the table's text: login, logout, cancel before connect
  kConnectionLost = -7,     // the vendor's text as "[msg=...]"
  kApiCreationFailed = -8,  // "create XtTraderApi fail"
  kLoginFailed = -11,       // the vendor's text as "[msg=...]"
  kLogoutFailed = -12,      // the vendor's text as "[msg=...]"
  kNotSupported = 23,       // the table's text "不支持"
};

// Code 0, empty message.
inline ResultStatus successStatus() { return ResultStatus{}; }

// Code 23 with the table's text for 23.
ResultStatus notSupportedStatus();

// A code whose message is fixed (0, -2, -3, -6, -8, 23) with that message;
// any other code with an empty one.
ResultStatus statusFor(ResultCode code);

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_RESULT_STATUS_H_
