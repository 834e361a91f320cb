// ResultStatus: the immediate answer of every session request and the status
// that accompanies every host callback; ResultCode: the codes the plug-in
// itself produces, each with the message it travels with.
//
// Conventions:
//  1. code 0 means success and always travels with an empty message (never the
//     host table's text for 0, "正确"); any other code names a failure of the
//     host's table of result codes.
//  2. Messages are GBK byte strings.
//  3. Everything here is inline: a host that includes this header links
//     nothing for it. (The plug-in's copy of the host's table and the
//     functions that build statuses from it are its own, not exported.)
#ifndef KESTREL_PLUGIN_RESULT_STATUS_H_
#define KESTREL_PLUGIN_RESULT_STATUS_H_

#include <cstdint>
#include <string>

#include "plugin/host_build.h"  // the build configurations a host may use

namespace kestrel {

// The host's own record: no [[nodiscard]] here, a host that ignores an
// answer must not be warned by our declaration of its type.
struct ResultStatus {
  int32_t code = 0;
  std::string message;  // GBK
};

// The codes the plug-in produces, all from the host's table, and the message
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

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_RESULT_STATUS_H_
