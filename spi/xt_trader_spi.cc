// XtTraderSpi: construction, what the session asks of the receiver, and the
// connection and login events.
#include "spi/xt_trader_spi.h"

#include "plugin/common.h"
#include "spi/handler_guard.h"
#include "spi/record_conversion.h"

namespace kestrel {
namespace {

constexpr char kTradingCalendar[] = "pfcode.SHFE";

// Where the events of a receiver without a host go: ITradeSessionSpi's own
// operations do nothing.
ITradeSessionSpi* nobody() {
  static ITradeSessionSpi host;
  return &host;
}

}  // namespace

XtTraderSpi::XtTraderSpi() : host_(nobody()), identity_(new OrderIdentityContext) {}

XtTraderSpi::~XtTraderSpi() = default;

void XtTraderSpi::setHost(ITradeSessionSpi* host) {
  host_.store(host != nullptr ? host : nobody(), std::memory_order_release);
}

void XtTraderSpi::setSettings(const SessionConfig& config) { config_ = config; }

void XtTraderSpi::onConnected(bool success, const char* errorMsg) {
  runHandler([&] {
    if (success) {
      host().onConnected(successStatus());
    } else {
      host().onDisconnected(ResultStatus{kConnectionLost, wrappedErrorText(errorMsg)});
    }
  });
}

void XtTraderSpi::onUserLogin(const char*, const char*, int, const xti::XtError& error) {
  runHandler([&] {
    LoginReply reply;
    if (!error.isSuccess()) {
      host().onLogin(ResultStatus{kLoginFailed, wrappedErrorText(error.errorMsg())}, reply);
      return;
    }
    reply.loginState = kLoginStateLoggedIn;
    reply.loginStamp = timestampText();
    {
      const TradeTime calendar(kTradingCalendar);
      reply.tradingDay = calendar.GetTradingDay(loginTime_, TrdDayForward);
    }
    reply.loginKind = kLoginKind;
    host().onLogin(successStatus(), reply);
  });
}

void XtTraderSpi::onUserLogout(const char*, const char*, int, const xti::XtError& error) {
  runHandler([&] {
    if (error.isSuccess()) {
      host().onLogout(successStatus());
    } else {
      host().onLogout(ResultStatus{kLogoutFailed, wrappedErrorText(error.errorMsg())});
    }
  });
}

}  // namespace kestrel
