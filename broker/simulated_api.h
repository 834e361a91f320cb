// SimulatedApi: the XtTraderApi object of the simulated counter.
//
// createXtTraderApi (broker/simulated_counter.h) makes one per valid address.
// The object starts its callback thread at construction; the thread ends at
// shutdown(), and the destructor (which shuts down first if needed) joins it,
// or, when the object is deleted from inside one of its own callbacks, lets
// it finish on its own. See broker/connection.h for who calls in on which
// thread.
//
// Besides the vendor's operations it offers a market tool, for tests and
// for programs that drive the simulated market themselves; its answers
// (fills of resting orders) are delivered like a request's.
#ifndef KESTREL_BROKER_SIMULATED_API_H_
#define KESTREL_BROKER_SIMULATED_API_H_

#include <memory>
#include <string>
#include <thread>

#include "broker/connection.h"
#include "plugin/xt_trader_api.h"

namespace xti {
namespace sim {

class SimulatedApi final : public XtTraderApi {
 public:
  explicit SimulatedApi(const std::string& address);
  ~SimulatedApi() override;

  void setCallback(XtTraderApiCallback* callback) override;
  void init(const char* configFilePath) override;
  void shutdown() override;
  void userLogin(const char* userName, const char* password, int requestId, const char* machineInfo,
                 const char* appId, const char* authCode) override;
  void userLogout(const char* userName, const char* password, int requestId) override;
  void queryAccountDetail(const char* accountId, int requestId, const char* extra) override;
  void queryOrderDetail(const char* accountId, int requestId, const char* extra) override;
  void queryDealDetail(const char* accountId, int requestId, const char* extra) override;
  void queryPositionDetail(const char* accountId, int requestId, const char* extra) override;
  void queryPosition(const char* accountId, int requestId, const char* extra) override;
  void placeOrder(const COrdinaryOrder* order, int requestId, const char* extra) override;
  void cancelOrderById(int orderId, int requestId) override;
  void cancelOrderByExchangeId(const char* accountId, const char* exchangeOrderId,
                               const char* exchangeCode, const char* instrumentCode, int requestId,
                               const char* extra) override;

  // --- Market tool ---
  // Moves one reference price; false for an unknown instrument, a price not
  // above 0, or a connection that is not up.
  bool setReferencePrice(const std::string& instrument, double price);
  // Pins the clock that stamps orders and deals; call before init().
  void setClock(Counter::Clock clock);

 private:
  using Query = void (Counter::*)(const std::string&, int, Outbox&) const;
  void query(Query query, const char* accountId, int requestId);

  std::shared_ptr<Connection> connection_;
  std::thread thread_;
};

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_SIMULATED_API_H_
