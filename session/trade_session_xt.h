// TradeSessionXT: the plug-in's trading session over the vendor library.
//
// Contract (beyond ITradeSession's):
//  1. Made only by CreateTradeSession(); ended by release(), which stops the
//     vendor library, tells the host onDisconnected {0, ""} from another
//     thread, and destroys the session. Deleting a connected session without
//     release() stops and deletes the vendor API object first, so the vendor
//     never calls a destroyed receiver.
//  2. Requests take no lock of their own; the only locks they touch are the
//     receiver's (account set, registry, books), one at a time, never across
//     a vendor call. Each request is filed before it is handed to the vendor,
//     because the answer may arrive on a vendor thread before the call returns.
//  3. Before a successful connect: login, logout and cancelOrder answer -6
//     (the host table's "not connected") and touch nothing; sendOrder and the
//     five queries look at the fund account first and so answer -3 ("no fund
//     account"): only a connected vendor names accounts.
//  4. registerSpi() belongs before connect(). A session without a host
//     callback still works: vendor events do their bookkeeping and reach
//     nobody, and release() tells nobody.
#ifndef KESTREL_SESSION_TRADE_SESSION_XT_H_
#define KESTREL_SESSION_TRADE_SESSION_XT_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "plugin/trade_session.h"
#include "plugin/xt_trader_api.h"
#include "spi/xt_trader_spi.h"

namespace kestrel {

class TradeSessionXT : public ITradeSession {
 public:
  static constexpr int kTypeCode = 836;

  TradeSessionXT();
  ~TradeSessionXT() override;

  int getTypeCode() override;
  ResultStatus setConfig(const SessionConfig& config) override;
  ResultStatus registerSpi(ITradeSessionSpi* spi) override;
  ResultStatus connect() override;
  ResultStatus reqAuxiliary(int requestId, const std::string& command) override;
  ResultStatus login() override;
  ResultStatus logout() override;
  ResultStatus release() override;
  ResultStatus sendOrder(int requestId, const AccountOrderNewRequest& request) override;
  ResultStatus cancelOrder(int requestId, const AccountOrderCancelRequest& request) override;
  ResultStatus reqQryTradingAccount(int requestId) override;
  ResultStatus reqQryPosition(int requestId) override;
  ResultStatus reqQryPositionDetail(int requestId, const PositionDetailReq& request) override;
  ResultStatus reqQryOrder(int requestId) override;
  ResultStatus reqQryFill(int requestId) override;

  // --- Test seam: for tests, benchmarks and fuzz targets only ----------------

  XtTraderSpi& TEST_receiver() { return *spi_; }

 private:
  using VendorQuery = void (xti::XtTraderApi::*)(const char*, int, const char*);

  ResultStatus query(int requestId, VendorQuery vendorQuery);
  // The address of the first configured server, without any leading run of
  // the characters t, c, p, ':' and '/'.
  std::string trimmedServerAddress() const;

  // Touched only by the host's calls, which do not overlap setConfig,
  // registerSpi, connect or release.
  SessionConfig config_;
  std::unique_ptr<XtTraderSpi> spi_;        // owned; never null during the session's life
  ITradeSessionSpi* hostSpi_ = nullptr;     // not owned; null until registerSpi
  xti::XtTraderApi* api_ = nullptr;         // owned; from a successful connect until release
  std::atomic<int32_t> requestCounter_{0};  // login and logout request numbers
};

}  // namespace kestrel

#endif  // KESTREL_SESSION_TRADE_SESSION_XT_H_
