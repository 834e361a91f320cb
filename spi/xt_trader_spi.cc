// XtTraderSpi: construction, destruction, connection and login events.
#include "spi/xt_trader_spi.h"

#include "plugin/common.h"
#include "spi/handler_guard.h"
#include "spi/record_conversion.h"

namespace kestrel {
namespace {

constexpr int32_t kConnectionLost = -7;
constexpr int32_t kLoginFailed = -11;
constexpr int32_t kLogoutFailed = -12;
constexpr char kTradingCalendar[] = "pfcode.SHFE";

}  // namespace

XtTraderSpi::XtTraderSpi() : hostSpi(nullptr), identity(nullptr), config() {
  identity.reset(new OrderIdentityContext);
}

XtTraderSpi::~XtTraderSpi() {
  // The identity context goes first (cancel book, new-order book, registry);
  // the mutex, the account set and the settings follow in member order.
  identity.reset();
}

void XtTraderSpi::onConnected(bool success, const char* errorMsg) {
  runHandler([&] {
    if (success) {
      hostSpi->onConnected(successStatus());
    } else {
      hostSpi->onDisconnected(ResultStatus{kConnectionLost, wrappedErrorText(errorMsg)});
    }
  });
}

void XtTraderSpi::onUserLogin(const char*, const char*, int, const xti::XtError& error) {
  runHandler([&] {
    LoginReply reply;
    if (!error.isSuccess()) {
      hostSpi->onLogin(ResultStatus{kLoginFailed, wrappedErrorText(error.errorMsg())}, reply);
      return;
    }
    reply.loginState = 1;
    reply.loginStamp = timestampText();
    {
      const TradeTime calendar(kTradingCalendar);
      reply.tradingDay = calendar.GetTradingDay(nullptr, TrdDayForward);
    }
    reply.loginKind = 2;
    hostSpi->onLogin(successStatus(), reply);
  });
}

void XtTraderSpi::onUserLogout(const char*, const char*, int, const xti::XtError& error) {
  runHandler([&] {
    if (error.isSuccess()) {
      hostSpi->onLogout(successStatus());
    } else {
      hostSpi->onLogout(ResultStatus{kLogoutFailed, wrappedErrorText(error.errorMsg())});
    }
  });
}

}  // namespace kestrel
