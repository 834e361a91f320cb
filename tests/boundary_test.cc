// The plug-in boundary: the vtable positions the host and the vendor call by,
// the entry points, the unsupported operations and the host's message table.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "plugin/common.h"
#include "plugin/error_messages.h"
#include "plugin/interface_table.h"
#include "plugin/plugin_entry.h"
#include "plugin/xt_trader_api.h"
#include "session/trade_session_xt.h"
#include "tests/support/session_fixture.h"

namespace kestrel {
namespace {

#if defined(_MSC_VER) && defined(_M_X64)
// Under Visual C++'s ABI a pointer to a virtual member function (of a class
// with single inheritance) holds the address of a thunk that loads the
// vftable and jumps through one of its entries: mov rax,[rcx], then
// jmp [rax+offset] (Visual C++) or mov rax,[rax+offset]; jmp rax (clang),
// after a spill of rcx where the thunk is compiled without optimization.
// The virtual destructor takes one entry.
constexpr std::ptrdiff_t kDestructorEntries = 1;
template <typename MemberFunction>
std::ptrdiff_t vtableEntry(MemberFunction function) {
  const unsigned char* code = nullptr;
  static_assert(sizeof(function) == sizeof(code), "single-inheritance member pointer");
  std::memcpy(&code, &function, sizeof(code));
  constexpr std::size_t kMostBeforeLoad = 10;  // push rax; mov [rsp],rcx; mov rcx,[rsp]
  std::size_t start = 0;
  while (start <= kMostBeforeLoad && std::memcmp(code + start, "\x48\x8b\x01", 3) != 0) ++start;
  if (start > kMostBeforeLoad) return -1;
  code += start;
  const unsigned char* jump = code[3] == 0x48 && code[4] == 0x8b ? code + 4 : code + 3;
  const int mod = jump[1] >> 6;
  if ((jump[0] != 0xff && jump[0] != 0x8b) || (jump[1] & 7) != 0 || mod > 2) return -1;
  std::int32_t offset = 0;
  if (mod == 1) offset = static_cast<std::int8_t>(jump[2]);
  if (mod == 2) std::memcpy(&offset, jump + 2, sizeof(offset));
  return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}
#define KS_VTABLE_LAYOUT_KNOWN
#elif defined(__x86_64__) && defined(__GNUC__)
// Under the Itanium C++ ABI a pointer to a virtual member function holds one
// plus the operation's byte offset in the vtable; the virtual destructor
// takes two entries.
constexpr std::ptrdiff_t kDestructorEntries = 2;
template <typename MemberFunction>
std::ptrdiff_t vtableEntry(MemberFunction function) {
  std::ptrdiff_t words[2];
  static_assert(sizeof(function) == sizeof(words), "Itanium member pointer");
  std::memcpy(words, &function, sizeof(words));
  return (words[0] & 1) == 0 ? -1 : (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}
#define KS_VTABLE_LAYOUT_KNOWN
#endif

#if defined(KS_VTABLE_LAYOUT_KNOWN)
// Every row of the four interface tables (plugin/interface_table.h), and the
// first and last slot of each run of placeholders, sits at its slot, and no
// operation comes after the last row: every operation comes after the
// destructor, so its vtable entry is its slot shifted by the destructor's
// entries in the compiler's ABI. The plug-in's own session overrides at the
// same entries.
TEST(InterfaceLayout, EveryRowSitsAtItsSlot) {
  struct Row {
    std::string name;
    std::ptrdiff_t entry;
    std::ptrdiff_t slot;
  };
  std::vector<Row> rows;
#define KS_ROW_OF(Interface, slot, name) \
  rows.push_back({#Interface "::" #name, vtableEntry(&Interface::name), slot});
#define KS_PLACEHOLDERS(Interface, prefix, first, last) \
  KS_ROW_OF(Interface, first, prefix##first) KS_ROW_OF(Interface, last, prefix##last)
#define KS_SESSION(slot, R, name, types, names) KS_ROW_OF(ITradeSession, slot, name)
#define KS_SPI(slot, R, name, types, names) KS_ROW_OF(ITradeSessionSpi, slot, name)
#define KS_SPI_SPARE(first, last) KS_PLACEHOLDERS(ITradeSessionSpi, reservedSlot, first, last)
#define KS_API(slot, R, name, types, names) KS_ROW_OF(xti::XtTraderApi, slot, name)
#define KS_API_SPARE(first, last) KS_PLACEHOLDERS(xti::XtTraderApi, reservedRequest, first, last)
#define KS_CALLBACK(slot, R, name, types, names) KS_ROW_OF(xti::XtTraderApiCallback, slot, name)
#define KS_CALLBACK_SPARE(first, last) \
  KS_PLACEHOLDERS(xti::XtTraderApiCallback, reservedCallback, first, last)
  KS_TRADE_SESSION_TABLE(KS_SESSION, KS_NO_ROW)
  KS_TRADE_SESSION_SPI_TABLE(KS_SPI, KS_SPI_SPARE)
  KS_XT_TRADER_API_TABLE(KS_API, KS_API_SPARE)
  KS_XT_TRADER_API_CALLBACK_TABLE(KS_CALLBACK, KS_CALLBACK_SPARE)
  // Nothing after the last row: a class derived from an interface puts its
  // first virtual operation at the slot after the table's last.
#define KS_AFTER_LAST(Interface, ns)                                     \
  struct After##ns : Interface {                                         \
    virtual void afterLast() {}                                          \
  };                                                                     \
  rows.push_back({#Interface " has no operation after the table's last", \
                  vtableEntry(&After##ns::afterLast),                    \
                  std::end(interfaces::ns::kSlots)[-1].last + 1});
  KS_AFTER_LAST(ITradeSession, session)
  KS_AFTER_LAST(ITradeSessionSpi, spi)
  KS_AFTER_LAST(xti::XtTraderApi, api)
  KS_AFTER_LAST(xti::XtTraderApiCallback, callback)
#undef KS_AFTER_LAST
  KS_ROW_OF(TradeSessionXT, interfaces::session::reqQryPositionDetail::kSlot, reqQryPositionDetail)
  KS_ROW_OF(TradeSessionXT, interfaces::session::reqQryFill::kSlot, reqQryFill)
#undef KS_ROW_OF
#undef KS_PLACEHOLDERS
#undef KS_SESSION
#undef KS_SPI
#undef KS_SPI_SPARE
#undef KS_API
#undef KS_API_SPARE
#undef KS_CALLBACK
#undef KS_CALLBACK_SPARE
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.entry, row.slot - 1 + kDestructorEntries);
  }
}
#endif

// The host's records as a host compiled from plugin/host_records.h lays them
// out, so that a retyped or reordered field shows. The standard library sets
// them: std::string is 32 and std::vector 24 bytes in both libraries below,
// std::list 24 in libstdc++ and 16 in Visual C++'s.
#if defined(__GLIBCXX__) || defined(_MSVC_STL_VERSION)
TEST(HostRecordLayout, RecordsHaveTheHostsSizes) {
#if defined(_MSVC_STL_VERSION)
  constexpr std::size_t kListBytes = 16;
#else
  constexpr std::size_t kListBytes = 24;
#endif
  const std::tuple<const char*, std::size_t, std::size_t> rows[] = {
      {"ResultStatus", sizeof(ResultStatus), 40},
      {"SessionConfig", sizeof(SessionConfig), 744},
      {"AccountOrderNewRequest", sizeof(AccountOrderNewRequest), 304},
      {"AccountOrderCancelRequest", sizeof(AccountOrderCancelRequest), 360},
      {"AccountFunds", sizeof(AccountFunds), 240},
      {"OrderDetailRecord", sizeof(OrderDetailRecord), 400},
      {"OrderRecord", sizeof(OrderRecord), 368},
      {"OrderAcceptedRecord", sizeof(OrderAcceptedRecord), 384},
      {"OrderFilledRecord", sizeof(OrderFilledRecord), 432},
      {"FillRecord", sizeof(FillRecord), 392},
      {"PositionRecord", sizeof(PositionRecord), 224},
      {"PositionDetailRecord", sizeof(PositionDetailRecord), 296},
      {"LoginReply", sizeof(LoginReply), 48 + kListBytes}};
  for (const auto& [name, size, expected] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(size, expected);
  }
}
#endif

// Two sessions share nothing: each sends its own settings, numbers its own
// requests from 1, and knows only the fund accounts its own counter
// connection named.
TEST(PluginEntry, OneConstantInfoTextAndIndependentSessions) {
  EXPECT_STREQ(GetPluginInfo(), "Plugin Ver:1.0 CTP Ver:6.3.6");
  EXPECT_EQ(GetPluginInfo(), GetPluginInfo());
  testing::FakeVendor vendor;
  testing::RecordingHost host;
  std::unique_ptr<ITradeSession> a(CreateTradeSession()), b(CreateTradeSession());
  EXPECT_NE(a.get(), b.get());
  EXPECT_EQ(a->getTypeCode(), 836);
  for (ITradeSession* session : {a.get(), b.get()}) {
    SessionConfig config = testing::configWithAddress("127.0.0.1:5800");
    config.userName = session == a.get() ? "alice" : "bob";
    ASSERT_EQ(session->setConfig(config).code, 0);
    ASSERT_EQ(session->registerSpi(&host).code, 0);
    ASSERT_EQ(session->connect().code, 0);
  }
  // The vendor's events go to the newest connection's receiver: b's.
  vendor.deliver([](xti::XtTraderApiCallback& cb) { cb.onAccountStatus("B1", 0, 1); });
  ASSERT_EQ(a->login().code, 0);
  ASSERT_EQ(b->login().code, 0);
  const std::vector<testing::VendorCall> logins = vendor.callsOf("userLogin");
  ASSERT_EQ(logins.size(), 2u);
  EXPECT_EQ(logins[0].summary(), "userLogin alice,secret,<null>,<null>,<null> 1");
  EXPECT_EQ(logins[1].summary(), "userLogin bob,secret,<null>,<null>,<null> 1");
  EXPECT_EQ(a->reqQryPosition(1).code, -3) << "b's fund account is not a's";
  EXPECT_EQ(b->reqQryPosition(1).code, 0);
}

template <typename... Status>
std::vector<ResultStatus> listOf(Status... answers) {
  return {answers...};
}

TEST(UnsupportedOperations, AnswerNotSupportedWithTheTableText) {
  std::unique_ptr<ITradeSession> session(CreateTradeSession());
  std::string token;
  ClientSystemInfo info;
  const std::vector<ICodeID> codes(2);
  const std::vector<ResultStatus> answers = listOf(
      session->easyConnect(), session->reqAuxiliary(7, "anything"), session->reqSessionInit(1),
      session->reqPasswordUpdate(1, {}), session->getClientSystemInfo(info),
      session->getTradingAccountToken(token), session->sendExecutiveOrder(1, {}),
      session->cancelExecutiveOrder(1, {}), session->reqQryExecutiveOrder(1, {}),
      session->reqQryInstrument(1, {}), session->reqCrashReturn({}), session->reqCreditInfo(-5),
      session->reqFinancingTargets(1, codes), session->reqFromBankAccountToTradingAccount(1, {}),
      session->reqFromTradingAccountToBankAccount(1, {}), session->reqInvestor(1, {}),
      session->reqMarginTargets(1, codes), session->reqQryBankAccountMoney(1, {}),
      session->reqQryBankAccountregister(1, {}), session->reqQryCFMMCTradingAccountToken(1, {}),
      session->reqQryCommissionRate(1, {}), session->reqQryHistoryData(1, {}),
      session->reqQryHistoryFill(1, {}), session->reqQryMarginRate(1, {}),
      session->reqQryRiskPosition(1), session->reqQryRiskProduct(1),
      session->reqQrySettlementInfo(1, {}), session->reqQrySettlementInfoConfirm(1, {}),
      session->reqQryStkStatement(1, {}), session->reqQryTradingNotice(1),
      session->reqQryTransferBank(1, {}), session->reqQryTransferSerial(1, {}),
      session->reqSecurityReturn({}), session->reqSettlementInfoConfirm(1, {}),
      session->reqTradingAccountPasswordUpdate(1, {}));
  for (std::size_t i = 0; i < std::size(answers); ++i) {
    EXPECT_EQ(answers[i].code, 23) << i;
    EXPECT_EQ(answers[i].message, CodeConvert::utf8_to_gbk("不支持")) << i;
  }
  EXPECT_TRUE(token.empty());
  EXPECT_TRUE(session->getCurrencyRate().empty());
}

// The host's table as its documentation gives it, in UTF-8, code and text
// per line: each text must be the GBK of the host's message, and the table
// hold exactly these codes.
TEST(ErrorMessageTable, EveryTextIsTheGbkOfTheHostMessage) {
  std::istringstream host(
      "-31 边界最小值\n-30 403请求被拒\n-29 Token异常\n-28 Sqlite的step报错corrupt\n"
      "-27 CTP柜台版本不兼容\n-26 查询限制\n-25 前置机断开连接(不重连)\n-24 前置机未连接\n"
      "-23 超时\n-22 请修改密码后重新登录\n-21 非致命性登录失败（允许再次登录）\n"
      "-20 重复登录\n-19 Sqlite的prepare语句失败\n-18 SqliteAPI持久化session不存在\n"
      "-17 用户修改密码失败\n-16 已经连接\n-15 同步数据未完\n-14 认证失败\n-13 用户登出超时\n"
      "-12 用户登出失败\n-11 用户登录失败\n-10 前置机断开连接\n-9 无效前置机地址\n-8 连接失败\n"
      "-7 连接断开\n-6 未连接\n-5 账户或密码错误\n-4 密码错误\n-3 账户错误\n-2 无效参数\n"
      "-1 未知错误\n0 正确\n1 订阅失败\n2 退订失败\n3 获取全部合约属性失败\n4 获取行情失败\n"
      "5 获取交易所行情失败\n6 更新行情失败\n7 申请KLine失败\n8 申请Tick失败\n"
      "9 申请Timesale失败\n10 申请Deallist失败\n11 查询今日KLine失败\n12 查询历史KLine失败\n"
      "13 查询今日Tick失败\n14 查询历史Tick失败\n15 查询今日Timesale失败\n"
      "16 查询历史Timesale失败\n17 无效KLine周期\n18 警告\n19 字段拷贝非法\n20 底层原始错误\n"
      "21 查询资金账户错误\n22 不存在\n23 不支持\n24 内存不足\n25 缺少认证信息\n26 注册回调失败\n"
      "27 内存分配失败\n28 未连接的市场类型\n29 结算确认失败\n30 未完成初始化任务\n"
      "31 ICE 网络未连接\n32 MAIN SERVICE初始化失败\n33 已存在\n34 ICE 服务异常\n35 未登陆\n"
      "36 基础周期列表查询失败\n37 非交易时段\n38 可平仓位不足\n39 DC未有已登录的用户\n"
      "40 错误的客户端类型\n41 客户端内部错误\n42 没有权限\n43 申请depth失败\n44 序列化失败\n"
      "45 反序列化失败\n46 未达到间隔时间\n47 时间过期\n48 忽略信号\n49 非程序化交易\n"
      "50 正在查询\n51 第一次登陆\n52 触发流控\n53 触发黑名单\n54 软件退出\n56 数据重置\n"
      "57 合约换日\n58 登录繁忙，稍后重试");
  std::set<int> expected, table;
  int code = 0;
  std::string utf8;
  while (host >> code && std::getline(host.ignore(1), utf8)) {
    EXPECT_EQ(ErrorMessageTable::messageOf(code), CodeConvert::utf8_to_gbk(utf8)) << code;
    expected.insert(code);
  }
  for (auto* e = ErrorMessageTable::begin(); e != ErrorMessageTable::end(); ++e) {
    EXPECT_TRUE(e == ErrorMessageTable::begin() || (e - 1)->code < e->code) << e->code;
    table.insert(e->code);
  }
  EXPECT_EQ(table, expected);
  EXPECT_EQ(expected.size(), 89u);
  for (int outside : {-32, 55, 59}) EXPECT_STREQ(ErrorMessageTable::messageOf(outside), "");
}

// The codes with fixed messages: the plug-in's own texts where it replaces
// the table's, the table's where it uses them, never the table's "正确".
TEST(ResultCodes, FixedMessages) {
  const std::pair<ResultCode, const char*> rows[] = {
      {kSuccess, ""},
      {kInvalidAddress, "无效地址"},
      {kNoFundAccount, "无资金账号"},
      {kNotConnected, "未连接"},
      {kApiCreationFailed, "create XtTraderApi fail"},
      {kNotSupported, "不支持"},
      {kRequestFailed, ""}};
  for (const auto& [code, utf8] : rows) {
    EXPECT_EQ(statusFor(code).code, code);
    EXPECT_EQ(statusFor(code).message, CodeConvert::utf8_to_gbk(utf8)) << code;
  }
  EXPECT_EQ(successStatus().message, "");
  EXPECT_EQ(notSupportedStatus().message, statusFor(kNotSupported).message);
}

}  // namespace
}  // namespace kestrel
