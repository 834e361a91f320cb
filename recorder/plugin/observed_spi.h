// ObservedSpi: a host callback object that notes each event as a journal
// entry, then makes the same call, on the same thread, on the host's object
// (when one is set), then notes the event's return (or the exception it
// passes on) as the entry that closes it. The recording plug-in puts one between the real plug-in
// and the host; journal_replay uses one to collect what a build reports.
#ifndef KESTREL_RECORDER_PLUGIN_OBSERVED_SPI_H_
#define KESTREL_RECORDER_PLUGIN_OBSERVED_SPI_H_

#include <atomic>
#include <cstdint>
#include <string>

#include "plugin/trade_session_spi.h"
#include "recorder/journal/journal_format.h"

namespace kestrel {
namespace journal {

class ObservedSpi : public ITradeSessionSpi {
 public:
  // The host's object; null stops the forwarding. Safe from any thread.
  void setTarget(ITradeSessionSpi* target) { target_.store(target); }

  void onConnected(const ResultStatus& status) override;
  void onLogin(const ResultStatus& status, const LoginReply& reply) override;
  void onLogout(const ResultStatus& status) override;
  void onDisconnected(const ResultStatus& status) override;
  void onOrderAccepted(const OrderAcceptedRecord* record, const ResultStatus& status, int requestId,
                       bool isLast) override;
  void onOrderRejected(const OrderRecord* record, const ResultStatus& status, int requestId,
                       bool isLast) override;
  void onOrderFilled(const OrderFilledRecord* record, const ResultStatus& status, int requestId,
                     bool isLast) override;
  void onOrderCanceled(const OrderRecord* record, const ResultStatus& status, int requestId,
                       bool isLast) override;
  void onFill(const FillRecord* record, const ResultStatus& status, int requestId,
              bool isLast) override;
  void onOrdersResponse(const OrderDetailRecord* record, const ResultStatus& status, int requestId,
                        bool isLast) override;
  void onFillsResponse(const FillRecord* record, const ResultStatus& status, int requestId,
                       bool isLast) override;
  void onPositionsResponse(const PositionRecord* record, const ResultStatus& status, int requestId,
                           bool isLast) override;
  void onPositionDetailsResponse(const PositionDetailRecord* record, const ResultStatus& status,
                                 int requestId, bool isLast) override;
  void onAccountFundsResponse(const AccountFunds* record, const ResultStatus& status, int requestId,
                              bool isLast) override;

 protected:
  // `object` is the journal's number of the session this object serves.
  explicit ObservedSpi(uint32_t object) : object_(object) {}

  // Takes each entry, built in `frame`.
  virtual void noted(std::string& frame) = 0;
  // An entry that could not be built or taken.
  virtual void lost() {}

 private:
  template <typename... Values>
  void note(Kind kind, uint16_t slot, int requestId, const Values&... values);
  template <typename... Parameters, typename... Arguments>
  void forward(uint16_t slot, int requestId, void (ITradeSessionSpi::*member)(Parameters...),
               const Arguments&... arguments);
  template <typename Record>
  void report(uint16_t slot,
              void (ITradeSessionSpi::*member)(const Record*, const ResultStatus&, int, bool),
              const Record* record, const ResultStatus& status, int requestId, bool isLast);

  const uint32_t object_;
  std::atomic<ITradeSessionSpi*> target_{nullptr};
};

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_PLUGIN_OBSERVED_SPI_H_
