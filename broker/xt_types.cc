// The library's record types: XtError and COrdinaryOrder.
#include <cstring>

#include "plugin/xt_trader_api.h"

namespace xti {

XtError::XtError() : m_nErrorID(0), m_bHasMsg(false), m_strErrorMsg{} {}

XtError::XtError(int errorId, const char* message)
    : m_nErrorID(errorId), m_bHasMsg(message != nullptr), m_strErrorMsg{} {
  if (message != nullptr) {
    std::strncpy(m_strErrorMsg, message, sizeof(m_strErrorMsg) - 1);
  }
}

bool XtError::isSuccess() const { return m_nErrorID == 0; }
int XtError::errorID() const { return m_nErrorID; }
const char* XtError::errorMsg() const { return m_bHasMsg ? m_strErrorMsg : nullptr; }

COrdinaryOrder::COrdinaryOrder() {
  std::memset(this, 0, sizeof(*this));
  m_ePriceType = PRTP_LIMIT;
  m_eOperationType = -1;
  m_eHedgeFlag = HEDGE_SPECULATION_CHAR;
}

COrdinaryOrder::~COrdinaryOrder() = default;

XtTraderApi::~XtTraderApi() = default;

}  // namespace xti
