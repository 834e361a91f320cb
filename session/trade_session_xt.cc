#include "session/trade_session_xt.h"

#include <chrono>
#include <exception>
#include <memory>
#include <thread>

#include "plugin/common.h"
#include "plugin/error_messages.h"
#include "spi/record_conversion.h"

namespace kestrel {
namespace {

constexpr char kAddressPrefixChars[] = "tcp:/";
constexpr wchar_t kConfigFileSuffix[] = L"\\config\\xt_config";
constexpr char kNoExtra[] = "";

ResultStatus requestFailed(const std::exception& e) {
  return ResultStatus{kRequestFailed, e.what()};
}

}  // namespace

TradeSessionXT::TradeSessionXT() : spi_(new XtTraderSpi) {}

TradeSessionXT::~TradeSessionXT() {
  // Deleted while connected (no release): stop the vendor first, so that it
  // never calls the receiver, which is destroyed after this body.
  if (api_ != nullptr) {
    api_->shutdown();
    delete api_;
  }
}

int TradeSessionXT::getTypeCode() { return kTypeCode; }

ResultStatus TradeSessionXT::setConfig(const SessionConfig& cfg) {
  config_ = cfg;
  spi_->setSettings(cfg);
  return successStatus();
}

ResultStatus TradeSessionXT::registerSpi(ITradeSessionSpi* cb) {
  hostSpi_ = cb;
  spi_->setHost(cb);
  return successStatus();
}

ResultStatus TradeSessionXT::reqAuxiliary(int, const std::string&) { return notSupportedStatus(); }

std::string TradeSessionXT::trimmedServerAddress() const {
  const std::string& address = config_.server.serverAddresses.front().address;
  const std::size_t start = address.find_first_not_of(kAddressPrefixChars);
  return start == std::string::npos ? std::string() : address.substr(start);
}

ResultStatus TradeSessionXT::connect() {
  if (api_ != nullptr) return successStatus();
  if (config_.server.serverAddresses.empty()) {
    return statusFor(kInvalidAddress);
  }
  const std::string address = trimmedServerAddress();
  api_ = xti::XtTraderApi::createXtTraderApi(address.c_str());
  if (api_ == nullptr) return statusFor(kApiCreationFailed);
  api_->setCallback(spi_.get());
  const std::string path =
      CodeConvert::unicode_to_gbk(FileSystem::GetServerExeDirectoryW() + kConfigFileSuffix);
  api_->init(path.c_str());
  return successStatus();
}

ResultStatus TradeSessionXT::release() {
  if (api_ != nullptr) {
    // joinAll runs on a detached worker: it returns only when the library's
    // threads have ended, which happens after the shutdown below. The worker
    // announces its start through a flag that this thread looks at every
    // 10 ms; then the library gets 100 ms before it is shut down.
    auto started = std::make_shared<std::atomic<bool>>(false);
    std::thread worker([started] {
      started->store(true);
      xti::XtTraderApi::joinAll();
    });
    worker.detach();
    while (!started->load()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    api_->shutdown();
    delete api_;
    api_ = nullptr;
  }
  // With no host callback registered there is nobody to tell; the session is
  // still stopped and destroyed. The host hears onDisconnected on a thread of
  // its own, which is joined: when release() returns, no code of this library
  // runs on it any more, so a host may unload the library once the vendor
  // library's threads have ended (a thread-pool task would still be on its
  // way out of this library's code). An exception the host throws there is
  // rethrown to release()'s caller.
  if (hostSpi_ != nullptr) {
    ITradeSessionSpi* host = hostSpi_;
    std::exception_ptr thrown;
    std::thread teller([host, &thrown] {
      try {
        host->onDisconnected(successStatus());
      } catch (...) {
        thrown = std::current_exception();
      }
    });
    teller.join();
    if (thrown) std::rethrow_exception(thrown);
  }
  delete this;
  return successStatus();
}

// login and logout before a successful connect answer -6 ("未连接") and draw no
// request number: there is no vendor object to send them to.
ResultStatus TradeSessionXT::login() {
  if (api_ == nullptr) return statusFor(kNotConnected);
  const int requestId = requestCounter_.fetch_add(1) + 1;
  api_->userLogin(config_.userName.c_str(), config_.password.c_str(), requestId, nullptr, nullptr,
                  nullptr);
  return successStatus();
}

ResultStatus TradeSessionXT::logout() {
  if (api_ == nullptr) return statusFor(kNotConnected);
  const int requestId = requestCounter_.fetch_add(1) + 1;
  api_->userLogout(config_.userName.c_str(), config_.password.c_str(), requestId);
  return successStatus();
}

ResultStatus TradeSessionXT::sendOrder(int requestId, const AccountOrderNewRequest& request) {
  const std::string account = spi_->fundAccount();
  if (account.empty()) return statusFor(kNoFundAccount);
  if (api_ == nullptr) return statusFor(kNotConnected);

  xti::COrdinaryOrder order;
  // Filed before the vendor call: its answer may arrive before the call returns.
  spi_->fileOrder(requestId, request);

  toVendorOrder(request, account, order);
  try {
    api_->placeOrder(&order, requestId, kNoExtra);
  } catch (const std::exception& e) {
    return requestFailed(e);  // the filed request stays until an answer or the end
  }
  return successStatus();
}

ResultStatus TradeSessionXT::cancelOrder(int requestId, const AccountOrderCancelRequest& request) {
  if (api_ == nullptr) return statusFor(kNotConnected);
  spi_->fileCancel(requestId, request);
  try {
    if (request.exchangeOrderId.empty()) {
      // The serial of a made-up client id is the vendor order number in decimal.
      api_->cancelOrderById(textToInt(request.clientId.serial), requestId);
    } else {
      // No fund account is not an error here: the vendor gets an empty account.
      const std::string account = spi_->fundAccount();
      const std::string exchangeCode = exchangeCodeOf(request.codeId.exchange);
      api_->cancelOrderByExchangeId(account.c_str(), request.exchangeOrderId.c_str(),
                                    exchangeCode.c_str(), request.codeId.code.c_str(), requestId,
                                    kNoExtra);
    }
  } catch (const std::exception& e) {
    return requestFailed(e);
  }
  return successStatus();
}

ResultStatus TradeSessionXT::query(int requestId, VendorQuery vendorQuery) {
  const std::string account = spi_->fundAccount();
  if (account.empty()) return statusFor(kNoFundAccount);
  if (api_ == nullptr) return statusFor(kNotConnected);
  try {
    (api_->*vendorQuery)(account.c_str(), requestId, kNoExtra);
  } catch (const std::exception& e) {
    return requestFailed(e);
  }
  return successStatus();
}

// Without a fund account the funds query answers -3 like its four sisters: a
// host waits for an answer to every request it made, and nothing would come.
ResultStatus TradeSessionXT::reqQryTradingAccount(int requestId) {
  try {
    return query(requestId, &xti::XtTraderApi::queryAccountDetail);
  } catch (const std::exception& e) {
    return requestFailed(e);  // also from the account lookup
  }
}

ResultStatus TradeSessionXT::reqQryPosition(int requestId) {
  return query(requestId, &xti::XtTraderApi::queryPosition);
}

ResultStatus TradeSessionXT::reqQryPositionDetail(int requestId, const PositionDetailReq&) {
  return query(requestId, &xti::XtTraderApi::queryPositionDetail);
}

ResultStatus TradeSessionXT::reqQryOrder(int requestId) {
  return query(requestId, &xti::XtTraderApi::queryOrderDetail);
}

ResultStatus TradeSessionXT::reqQryFill(int requestId) {
  return query(requestId, &xti::XtTraderApi::queryDealDetail);
}

}  // namespace kestrel
