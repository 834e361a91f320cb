// The plug-in boundary: entry points, the order of the virtual operations the
// host and the vendor call by position, and the unsupported operations.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>

#include "plugin/common.h"
#include "plugin/plugin_entry.h"
#include "plugin/trade_session_spi.h"
#include "plugin/xt_trader_api.h"
#include "session/trade_session_xt.h"

namespace kestrel {
namespace {

struct SessionDeleter {
  void operator()(ITradeSession* s) const { delete s; }
};
using SessionPtr = std::unique_ptr<ITradeSession, SessionDeleter>;

#if defined(__x86_64__) && defined(__GNUC__)
// Under the Itanium C++ ABI a pointer to a virtual member function holds one
// plus the operation's byte offset in the vtable. The virtual destructor takes
// two entries, so the n-th declared operation after it sits at entry n + 1.
template <typename MemberFunction>
std::ptrdiff_t vtableEntry(MemberFunction function) {
  static_assert(sizeof(function) == 2 * sizeof(std::ptrdiff_t), "Itanium member pointer");
  std::ptrdiff_t words[2];
  std::memcpy(words, &function, sizeof(words));
  if ((words[0] & 1) == 0) return -1;  // not virtual
  return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

// Position p (1 = the destructor) of ITradeSession is vtable entry p.
TEST(InterfaceLayout, SessionOperationsSitAtTheirPositions) {
  using S = ITradeSession;
  EXPECT_EQ(vtableEntry(&S::getTypeCode), 2);
  EXPECT_EQ(vtableEntry(&S::setConfig), 3);
  EXPECT_EQ(vtableEntry(&S::registerSpi), 4);
  EXPECT_EQ(vtableEntry(&S::connect), 5);
  EXPECT_EQ(vtableEntry(&S::easyConnect), 6);
  EXPECT_EQ(vtableEntry(&S::reqAuxiliary), 7);
  EXPECT_EQ(vtableEntry(&S::login), 8);
  EXPECT_EQ(vtableEntry(&S::logout), 9);
  EXPECT_EQ(vtableEntry(&S::release), 10);
  EXPECT_EQ(vtableEntry(&S::reqSessionInit), 11);
  EXPECT_EQ(vtableEntry(&S::reqPasswordUpdate), 12);
  EXPECT_EQ(vtableEntry(&S::getCurrencyRate), 13);
  EXPECT_EQ(vtableEntry(&S::getClientSystemInfo), 14);
  EXPECT_EQ(vtableEntry(&S::getTradingAccountToken), 15);
  EXPECT_EQ(vtableEntry(&S::sendOrder), 16);
  EXPECT_EQ(vtableEntry(&S::cancelOrder), 17);
  EXPECT_EQ(vtableEntry(&S::sendExecutiveOrder), 18);
  EXPECT_EQ(vtableEntry(&S::cancelExecutiveOrder), 19);
  EXPECT_EQ(vtableEntry(&S::reqQryExecutiveOrder), 20);
  EXPECT_EQ(vtableEntry(&S::reqQryTradingAccount), 21);
  EXPECT_EQ(vtableEntry(&S::reqQryPosition), 22);
  EXPECT_EQ(vtableEntry(&S::reqQryPositionDetail), 23);
  EXPECT_EQ(vtableEntry(&S::reqQryOrder), 24);
  EXPECT_EQ(vtableEntry(&S::reqQryInstrument), 25);
  EXPECT_EQ(vtableEntry(&S::reqQryFill), 26);
  EXPECT_EQ(vtableEntry(&S::reqCrashReturn), 27);
  EXPECT_EQ(vtableEntry(&S::reqTradingAccountPasswordUpdate), 51);
  // TradeSessionXT overrides in place; it adds no operation before them.
  EXPECT_EQ(vtableEntry(&TradeSessionXT::reqQryPositionDetail), 23);
  EXPECT_EQ(vtableEntry(&TradeSessionXT::reqQryFill), 26);
}

// Host callback slot s (0 = the destructor) is vtable entry s + 1.
TEST(InterfaceLayout, HostCallbacksSitAtTheirSlots) {
  using H = ITradeSessionSpi;
  EXPECT_EQ(vtableEntry(&H::onConnected), 1 + 1);
  EXPECT_EQ(vtableEntry(&H::onLogin), 3 + 1);
  EXPECT_EQ(vtableEntry(&H::onLogout), 4 + 1);
  EXPECT_EQ(vtableEntry(&H::onDisconnected), 5 + 1);
  EXPECT_EQ(vtableEntry(&H::onOrderAccepted), 9 + 1);
  EXPECT_EQ(vtableEntry(&H::onOrderRejected), 10 + 1);
  EXPECT_EQ(vtableEntry(&H::onOrderFilled), 11 + 1);
  EXPECT_EQ(vtableEntry(&H::onOrderCanceled), 12 + 1);
  EXPECT_EQ(vtableEntry(&H::onFill), 13 + 1);
  EXPECT_EQ(vtableEntry(&H::onOrdersResponse), 14 + 1);
  EXPECT_EQ(vtableEntry(&H::onFillsResponse), 17 + 1);
  EXPECT_EQ(vtableEntry(&H::onPositionsResponse), 18 + 1);
  EXPECT_EQ(vtableEntry(&H::onPositionDetailsResponse), 19 + 1);
  EXPECT_EQ(vtableEntry(&H::onAccountFundsResponse), 22 + 1);
}

TEST(InterfaceLayout, VendorApiOperationsSitAtTheirSlots) {
  using A = xti::XtTraderApi;
  EXPECT_EQ(vtableEntry(&A::setCallback), 1 + 1);
  EXPECT_EQ(vtableEntry(&A::init), 2 + 1);
  EXPECT_EQ(vtableEntry(&A::shutdown), 3 + 1);
  EXPECT_EQ(vtableEntry(&A::userLogin), 10 + 1);
  EXPECT_EQ(vtableEntry(&A::userLogout), 11 + 1);
  EXPECT_EQ(vtableEntry(&A::queryAccountDetail), 12 + 1);
  EXPECT_EQ(vtableEntry(&A::queryOrderDetail), 14 + 1);
  EXPECT_EQ(vtableEntry(&A::queryDealDetail), 16 + 1);
  EXPECT_EQ(vtableEntry(&A::queryPositionDetail), 17 + 1);
  EXPECT_EQ(vtableEntry(&A::queryPosition), 18 + 1);
  EXPECT_EQ(vtableEntry(&A::placeOrder), 38 + 1);
  EXPECT_EQ(vtableEntry(&A::cancelOrderById), 39 + 1);
  EXPECT_EQ(vtableEntry(&A::cancelOrderByExchangeId), 40 + 1);
}

TEST(InterfaceLayout, VendorCallbacksSitAtTheirSlots) {
  using C = xti::XtTraderApiCallback;
  EXPECT_EQ(vtableEntry(&C::onConnected), 1 + 1);
  EXPECT_EQ(vtableEntry(&C::onUserLogin), 2 + 1);
  EXPECT_EQ(vtableEntry(&C::onUserLogout), 3 + 1);
  EXPECT_EQ(vtableEntry(&C::onOrderReply), 4 + 1);
  EXPECT_EQ(vtableEntry(&C::onCancelReply), 5 + 1);
  EXPECT_EQ(vtableEntry(&C::onCancelReply2), 7 + 1);
  EXPECT_EQ(vtableEntry(&C::onAccountDetailReply), 9 + 1);
  EXPECT_EQ(vtableEntry(&C::onOrderDetailReply), 13 + 1);
  EXPECT_EQ(vtableEntry(&C::onDealDetailReply), 15 + 1);
  EXPECT_EQ(vtableEntry(&C::onPositionDetailReply), 17 + 1);
  EXPECT_EQ(vtableEntry(&C::onPositionReply), 19 + 1);
  EXPECT_EQ(vtableEntry(&C::onAccountStatus), 41 + 1);
  EXPECT_EQ(vtableEntry(&C::onOrderPush), 46 + 1);
  EXPECT_EQ(vtableEntry(&C::onDealPush), 47 + 1);
  EXPECT_EQ(vtableEntry(&C::onOrderErrorPush), 48 + 1);
  EXPECT_EQ(vtableEntry(&C::onCancelErrorPush), 49 + 1);
  EXPECT_EQ(vtableEntry(&C::reservedCallback104), 104 + 1);
}
#endif

TEST(PluginEntry, InfoIsOneConstantText) {
  const char* first = GetPluginInfo();
  EXPECT_STREQ(first, "Plugin Ver:1.0 CTP Ver:6.3.6");
  EXPECT_EQ(GetPluginInfo(), first);
}

TEST(PluginEntry, SessionsAreIndependent) {
  SessionPtr a(CreateTradeSession());
  SessionPtr b(CreateTradeSession());
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a.get(), b.get());
  EXPECT_EQ(a->getTypeCode(), 836);
  SessionConfig config;
  config.userName = "alice";
  EXPECT_EQ(a->setConfig(config).code, 0);
}

TEST(UnsupportedOperations, AnswerNotSupportedWithTheTableText) {
  SessionPtr session(CreateTradeSession());
  const std::string expected = CodeConvert::utf8_to_gbk("不支持");
  ASSERT_EQ(expected, ErrorMessageTable::messageOf(23));

  std::string token;
  ClientSystemInfo info;
  const std::vector<ICodeID> codes(2);
  const ResultStatus answers[] = {
      session->easyConnect(),
      session->reqAuxiliary(7, "anything"),
      session->reqSessionInit(1),
      session->reqPasswordUpdate(1, {}),
      session->getClientSystemInfo(info),
      session->getTradingAccountToken(token),
      session->sendExecutiveOrder(1, {}),
      session->cancelExecutiveOrder(1, {}),
      session->reqQryExecutiveOrder(1, {}),
      session->reqQryInstrument(1, {}),
      session->reqCrashReturn({}),
      session->reqCreditInfo(-5),
      session->reqFinancingTargets(1, codes),
      session->reqFromBankAccountToTradingAccount(1, {}),
      session->reqFromTradingAccountToBankAccount(1, {}),
      session->reqInvestor(1, {}),
      session->reqMarginTargets(1, codes),
      session->reqQryBankAccountMoney(1, {}),
      session->reqQryBankAccountregister(1, {}),
      session->reqQryCFMMCTradingAccountToken(1, {}),
      session->reqQryCommissionRate(1, {}),
      session->reqQryHistoryData(1, {}),
      session->reqQryHistoryFill(1, {}),
      session->reqQryMarginRate(1, {}),
      session->reqQryRiskPosition(1),
      session->reqQryRiskProduct(1),
      session->reqQrySettlementInfo(1, {}),
      session->reqQrySettlementInfoConfirm(1, {}),
      session->reqQryStkStatement(1, {}),
      session->reqQryTradingNotice(1),
      session->reqQryTransferBank(1, {}),
      session->reqQryTransferSerial(1, {}),
      session->reqSecurityReturn({}),
      session->reqSettlementInfoConfirm(1, {}),
      session->reqTradingAccountPasswordUpdate(1, {}),
  };
  for (std::size_t i = 0; i < sizeof(answers) / sizeof(answers[0]); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(answers[i].code, 23);
    EXPECT_EQ(answers[i].message, expected);
  }
  EXPECT_TRUE(token.empty());
  EXPECT_TRUE(session->getCurrencyRate().empty());
  // Overridden: without an account it answers like the other queries.
  EXPECT_EQ(session->reqQryPositionDetail(1, {}).code, -3);
}

TEST(ResultStatusTest, SuccessHasEmptyMessage) {
  const ResultStatus ok = successStatus();
  EXPECT_EQ(ok.code, 0);
  EXPECT_TRUE(ok.message.empty());
  EXPECT_STRNE(ErrorMessageTable::messageOf(0), "");  // the table's "正确" is never sent
}

}  // namespace
}  // namespace kestrel
