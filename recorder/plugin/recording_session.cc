// The recording plug-in: built under the plug-in's name with its exports,
// installed in place of it. It loads the real plug-in under another name
// (KS_JOURNAL_REAL_PLUGIN, or KSTraderAPIPluginXT_real beside itself) and
// hands the host a RecordingSession around each of the real plug-in's
// sessions:
//   - every ITradeSession operation is recorded with its arguments, forwarded
//     unchanged on the host's thread, and its answer recorded;
//   - the real session gets a RecordingSpi (an ObservedSpi) instead of the
//     host's callback object, which records each event and then makes it on
//     the host's object on the same thread.
// release() returns once the session's entries are written, so that a journal
// holds every session the host ended even if the process dies afterwards.
// Without the real plug-in each request answers code -1 with the reason.
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "plugin/plugin_entry.h"
#include "recorder/journal/journal_platform.h"
#include "recorder/journal/operations.h"
#include "recorder/plugin/observed_spi.h"

namespace kestrel {
namespace journal {
namespace {

namespace host = slot::host;

struct RealPlugin {
  CreateTradeSessionFunction create = nullptr;
  GetPluginInfoFunction info = nullptr;
  std::string problem;
};

const RealPlugin& realPlugin() {
  static const RealPlugin real = [] {
    static const char anchor = 0;
    const std::string path = realLibraryPath(&anchor, "KS_JOURNAL_REAL_PLUGIN");
    RealPlugin r;
    void* library = openLibrary(path, r.problem);
    if (library != nullptr) {
      r.create = reinterpret_cast<CreateTradeSessionFunction>(
          findSymbol(library, kCreateTradeSessionName));
      r.info = reinterpret_cast<GetPluginInfoFunction>(findSymbol(library, kGetPluginInfoName));
      if (r.create == nullptr || r.info == nullptr) {
        r = RealPlugin();
        r.problem = "it does not export CreateTradeSession and GetPluginInfo";
      }
    }
    if (!r.problem.empty()) {
      r.problem = "recording plug-in: cannot load the real plug-in " + path + ": " + r.problem;
      std::fprintf(stderr, "%s\n", r.problem.c_str());
    }
    return r;
  }();
  return real;
}

// The host's callback object, recorded.
class RecordingSpi final : public ObservedSpi {
 public:
  RecordingSpi(Journal& journal, uint32_t object) : ObservedSpi(object), journal_(journal) {}

 private:
  void noted(std::string& frame) override { journal_.append(frame); }
  void lost() override { journal_.countLost(); }

  Journal& journal_;
};

// One of the real plug-in's sessions, recorded.
class RecordingSession final : public ITradeSession {
 public:
  RecordingSession(ITradeSession* real, uint32_t object)
      : journal_(Journal::process()), real_(real), object_(object), spi_(journal_, object) {}

  ~RecordingSession() override {
    if (released_) return;
    journal::record(journal_, Boundary::kHost, Kind::kRequest, op::kDestroySession, object_, 0);
    delete real_;  // deleted without release(): the real session stops its vendor first
  }

  int getTypeCode() override { return call(host::getTypeCode, 0, &ITradeSession::getTypeCode); }
  ResultStatus setConfig(const SessionConfig& config) override {
    return call(host::setConfig, 0, &ITradeSession::setConfig, config);
  }
  // The host's object is recorded (whether there is one); RecordingSpi is handed on.
  ResultStatus registerSpi(ITradeSessionSpi* spi) override {
    spi_.setTarget(spi);
    record(journal_, Boundary::kHost, Kind::kRequest, host::registerSpi, object_, 0, spi);
    const ResultStatus result = real_ != nullptr
                                    ? real_->registerSpi(spi != nullptr ? &spi_ : nullptr)
                                    : unavailable<ResultStatus>();
    record(journal_, Boundary::kHost, Kind::kReturn, host::registerSpi, object_, 0, result);
    return result;
  }
  ResultStatus connect() override { return call(host::connect, 0, &ITradeSession::connect); }
  ResultStatus easyConnect() override {
    return call(host::easyConnect, 0, &ITradeSession::easyConnect);
  }
  ResultStatus reqAuxiliary(int id, const std::string& command) override {
    return call(host::reqAuxiliary, id, &ITradeSession::reqAuxiliary, id, command);
  }
  ResultStatus login() override { return call(host::login, 0, &ITradeSession::login); }
  ResultStatus logout() override { return call(host::logout, 0, &ITradeSession::logout); }
  ResultStatus release() override {
    const ResultStatus status = call(host::release, 0, &ITradeSession::release);
    released_ = true;  // the real session destroyed itself
    journal_.flush();
    delete this;
    return status;
  }
  ResultStatus reqSessionInit(int id) override {
    return call(host::reqSessionInit, id, &ITradeSession::reqSessionInit, id);
  }
  ResultStatus reqPasswordUpdate(int id, const UserPasswordUpdateReq& r) override {
    return call(host::reqPasswordUpdate, id, &ITradeSession::reqPasswordUpdate, id, r);
  }
  std::list<CurrencyRate> getCurrencyRate() override {
    return call(host::getCurrencyRate, 0, &ITradeSession::getCurrencyRate);
  }
  ResultStatus getClientSystemInfo(ClientSystemInfo& info) override {
    return call(host::getClientSystemInfo, 0, &ITradeSession::getClientSystemInfo, info);
  }
  ResultStatus getTradingAccountToken(std::string& token) override {
    return call(host::getTradingAccountToken, 0, &ITradeSession::getTradingAccountToken, token);
  }
  ResultStatus sendOrder(int id, const AccountOrderNewRequest& r) override {
    return call(host::sendOrder, id, &ITradeSession::sendOrder, id, r);
  }
  ResultStatus cancelOrder(int id, const AccountOrderCancelRequest& r) override {
    return call(host::cancelOrder, id, &ITradeSession::cancelOrder, id, r);
  }
  ResultStatus sendExecutiveOrder(int id, const AccountOrderNewRequest& r) override {
    return call(host::sendExecutiveOrder, id, &ITradeSession::sendExecutiveOrder, id, r);
  }
  ResultStatus cancelExecutiveOrder(int id, const AccountOrderCancelRequest& r) override {
    return call(host::cancelExecutiveOrder, id, &ITradeSession::cancelExecutiveOrder, id, r);
  }
  ResultStatus reqQryExecutiveOrder(int id, const AccountOrderRequest& r) override {
    return call(host::reqQryExecutiveOrder, id, &ITradeSession::reqQryExecutiveOrder, id, r);
  }
  ResultStatus reqQryTradingAccount(int id) override {
    return call(host::reqQryTradingAccount, id, &ITradeSession::reqQryTradingAccount, id);
  }
  ResultStatus reqQryPosition(int id) override {
    return call(host::reqQryPosition, id, &ITradeSession::reqQryPosition, id);
  }
  ResultStatus reqQryPositionDetail(int id, const PositionDetailReq& r) override {
    return call(host::reqQryPositionDetail, id, &ITradeSession::reqQryPositionDetail, id, r);
  }
  ResultStatus reqQryOrder(int id) override {
    return call(host::reqQryOrder, id, &ITradeSession::reqQryOrder, id);
  }
  ResultStatus reqQryInstrument(int id, const InstrumentReq& r) override {
    return call(host::reqQryInstrument, id, &ITradeSession::reqQryInstrument, id, r);
  }
  ResultStatus reqQryFill(int id) override {
    return call(host::reqQryFill, id, &ITradeSession::reqQryFill, id);
  }
  ResultStatus reqCrashReturn(const CrashReturnReq& r) override {
    return call(host::reqCrashReturn, 0, &ITradeSession::reqCrashReturn, r);
  }
  ResultStatus reqCreditInfo(int id) override {
    return call(host::reqCreditInfo, id, &ITradeSession::reqCreditInfo, id);
  }
  ResultStatus reqFinancingTargets(int id, const std::vector<ICodeID>& codes) override {
    return call(host::reqFinancingTargets, id, &ITradeSession::reqFinancingTargets, id, codes);
  }
  ResultStatus reqFromBankAccountToTradingAccount(int id, const TransferReq& r) override {
    return call(host::reqFromBankAccountToTradingAccount, id,
                &ITradeSession::reqFromBankAccountToTradingAccount, id, r);
  }
  ResultStatus reqFromTradingAccountToBankAccount(int id, const TransferReq& r) override {
    return call(host::reqFromTradingAccountToBankAccount, id,
                &ITradeSession::reqFromTradingAccountToBankAccount, id, r);
  }
  ResultStatus reqInvestor(int id, const InvestorReq& r) override {
    return call(host::reqInvestor, id, &ITradeSession::reqInvestor, id, r);
  }
  ResultStatus reqMarginTargets(int id, const std::vector<ICodeID>& codes) override {
    return call(host::reqMarginTargets, id, &ITradeSession::reqMarginTargets, id, codes);
  }
  ResultStatus reqQryBankAccountMoney(int id, const BankMoneyReq& r) override {
    return call(host::reqQryBankAccountMoney, id, &ITradeSession::reqQryBankAccountMoney, id, r);
  }
  ResultStatus reqQryBankAccountregister(int id, const BankAccountregisterReq& r) override {
    return call(host::reqQryBankAccountregister, id, &ITradeSession::reqQryBankAccountregister, id,
                r);
  }
  ResultStatus reqQryCFMMCTradingAccountToken(int id, const TradingAccountID& r) override {
    return call(host::reqQryCFMMCTradingAccountToken, id,
                &ITradeSession::reqQryCFMMCTradingAccountToken, id, r);
  }
  ResultStatus reqQryCommissionRate(int id, const CommissionRateReq& r) override {
    return call(host::reqQryCommissionRate, id, &ITradeSession::reqQryCommissionRate, id, r);
  }
  ResultStatus reqQryHistoryData(int id, const HistoryDataReqV2& r) override {
    return call(host::reqQryHistoryData, id, &ITradeSession::reqQryHistoryData, id, r);
  }
  ResultStatus reqQryHistoryFill(int id, const HistoryDataReq& r) override {
    return call(host::reqQryHistoryFill, id, &ITradeSession::reqQryHistoryFill, id, r);
  }
  ResultStatus reqQryMarginRate(int id, const MarginRateReq& r) override {
    return call(host::reqQryMarginRate, id, &ITradeSession::reqQryMarginRate, id, r);
  }
  ResultStatus reqQryRiskPosition(int id) override {
    return call(host::reqQryRiskPosition, id, &ITradeSession::reqQryRiskPosition, id);
  }
  ResultStatus reqQryRiskProduct(int id) override {
    return call(host::reqQryRiskProduct, id, &ITradeSession::reqQryRiskProduct, id);
  }
  ResultStatus reqQrySettlementInfo(int id, const SettlementInfoReq& r) override {
    return call(host::reqQrySettlementInfo, id, &ITradeSession::reqQrySettlementInfo, id, r);
  }
  ResultStatus reqQrySettlementInfoConfirm(int id, const TradingAccountID& r) override {
    return call(host::reqQrySettlementInfoConfirm, id, &ITradeSession::reqQrySettlementInfoConfirm,
                id, r);
  }
  ResultStatus reqQryStkStatement(int id, const HistoryDataReq& r) override {
    return call(host::reqQryStkStatement, id, &ITradeSession::reqQryStkStatement, id, r);
  }
  ResultStatus reqQryTradingNotice(int id) override {
    return call(host::reqQryTradingNotice, id, &ITradeSession::reqQryTradingNotice, id);
  }
  ResultStatus reqQryTransferBank(int id, const TransferBankReq& r) override {
    return call(host::reqQryTransferBank, id, &ITradeSession::reqQryTransferBank, id, r);
  }
  ResultStatus reqQryTransferSerial(int id, const TransferSerialReq& r) override {
    return call(host::reqQryTransferSerial, id, &ITradeSession::reqQryTransferSerial, id, r);
  }
  ResultStatus reqSecurityReturn(const SecurityReturnReq& r) override {
    return call(host::reqSecurityReturn, 0, &ITradeSession::reqSecurityReturn, r);
  }
  ResultStatus reqSettlementInfoConfirm(int id, const SettlementInfoConfirmReq& r) override {
    return call(host::reqSettlementInfoConfirm, id, &ITradeSession::reqSettlementInfoConfirm, id,
                r);
  }
  ResultStatus reqTradingAccountPasswordUpdate(int id,
                                               const TradingAccountPasswordUpdateReq& r) override {
    return call(host::reqTradingAccountPasswordUpdate, id,
                &ITradeSession::reqTradingAccountPasswordUpdate, id, r);
  }

 private:
  // Records the request with `args`, makes it on the real session, records
  // the answer (the result and what the call filled in) and returns it.
  template <typename R, typename... P, typename... A>
  R call(uint16_t slot, int requestId, R (ITradeSession::*member)(P...), A&... args) {
    record(journal_, Boundary::kHost, Kind::kRequest, slot, object_, requestId, args...);
    const R result = real_ != nullptr ? (real_->*member)(args...) : unavailable<R>();
    recordWith(journal_, Boundary::kHost, Kind::kReturn, slot, object_, requestId,
               [&](FrameWriter& w) {
                 put(w, result);
                 (putIfOut<P>(w, args), ...);
               });
    return result;
  }

  template <typename R>
  R unavailable() const {
    if constexpr (std::is_same<R, ResultStatus>::value) {
      return ResultStatus{kRequestFailed, realPlugin().problem};
    } else {
      return R();
    }
  }

  Journal& journal_;
  ITradeSession* const real_;  // owned until release() destroys it
  const uint32_t object_;
  RecordingSpi spi_;
  bool released_ = false;
};

}  // namespace
}  // namespace journal
}  // namespace kestrel

extern "C" KS_PLUGIN_API kestrel::ITradeSession* CreateTradeSession() {
  using namespace kestrel::journal;
  const RealPlugin& real = realPlugin();
  // The real plug-in's std::bad_alloc reaches the host as it would without the recorder.
  std::unique_ptr<kestrel::ITradeSession> session(real.create != nullptr ? real.create() : nullptr);
  Journal& journal = Journal::process();
  const uint32_t object = journal.newObject();
  record(journal, Boundary::kHost, Kind::kRequest, op::kCreateTradeSession, object, 0,
         session != nullptr);
  auto* recording = new RecordingSession(session.get(), object);
  session.release();
  return recording;
}

extern "C" KS_PLUGIN_API const char* GetPluginInfo() {
  using namespace kestrel::journal;
  const RealPlugin& real = realPlugin();
  Journal& journal = Journal::process();
  record(journal, Boundary::kHost, Kind::kRequest, op::kGetPluginInfo, 0, 0);
  const char* info = real.info != nullptr ? real.info() : real.problem.c_str();
  record(journal, Boundary::kHost, Kind::kReturn, op::kGetPluginInfo, 0, 0, info);
  return info;
}
