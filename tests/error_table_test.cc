// The host's error-message table: every text is the GBK encoding of the
// host's message, proven by converting the UTF-8 text, not by restating bytes.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "plugin/common.h"
#include "plugin/result_status.h"

namespace kestrel {
namespace {

struct Expected {
  int code;
  const char* utf8;
};

// The host's table as its documentation gives it, in UTF-8.
const Expected kHostTable[] = {
    {-31, "边界最小值"},
    {-30, "403请求被拒"},
    {-29, "Token异常"},
    {-28, "Sqlite的step报错corrupt"},
    {-27, "CTP柜台版本不兼容"},
    {-26, "查询限制"},
    {-25, "前置机断开连接(不重连)"},
    {-24, "前置机未连接"},
    {-23, "超时"},
    {-22, "请修改密码后重新登录"},
    {-21, "非致命性登录失败（允许再次登录）"},
    {-20, "重复登录"},
    {-19, "Sqlite的prepare语句失败"},
    {-18, "SqliteAPI持久化session不存在"},
    {-17, "用户修改密码失败"},
    {-16, "已经连接"},
    {-15, "同步数据未完"},
    {-14, "认证失败"},
    {-13, "用户登出超时"},
    {-12, "用户登出失败"},
    {-11, "用户登录失败"},
    {-10, "前置机断开连接"},
    {-9, "无效前置机地址"},
    {-8, "连接失败"},
    {-7, "连接断开"},
    {-6, "未连接"},
    {-5, "账户或密码错误"},
    {-4, "密码错误"},
    {-3, "账户错误"},
    {-2, "无效参数"},
    {-1, "未知错误"},
    {0, "正确"},
    {1, "订阅失败"},
    {2, "退订失败"},
    {3, "获取全部合约属性失败"},
    {4, "获取行情失败"},
    {5, "获取交易所行情失败"},
    {6, "更新行情失败"},
    {7, "申请KLine失败"},
    {8, "申请Tick失败"},
    {9, "申请Timesale失败"},
    {10, "申请Deallist失败"},
    {11, "查询今日KLine失败"},
    {12, "查询历史KLine失败"},
    {13, "查询今日Tick失败"},
    {14, "查询历史Tick失败"},
    {15, "查询今日Timesale失败"},
    {16, "查询历史Timesale失败"},
    {17, "无效KLine周期"},
    {18, "警告"},
    {19, "字段拷贝非法"},
    {20, "底层原始错误"},
    {21, "查询资金账户错误"},
    {22, "不存在"},
    {23, "不支持"},
    {24, "内存不足"},
    {25, "缺少认证信息"},
    {26, "注册回调失败"},
    {27, "内存分配失败"},
    {28, "未连接的市场类型"},
    {29, "结算确认失败"},
    {30, "未完成初始化任务"},
    {31, "ICE 网络未连接"},
    {32, "MAIN SERVICE初始化失败"},
    {33, "已存在"},
    {34, "ICE 服务异常"},
    {35, "未登陆"},
    {36, "基础周期列表查询失败"},
    {37, "非交易时段"},
    {38, "可平仓位不足"},
    {39, "DC未有已登录的用户"},
    {40, "错误的客户端类型"},
    {41, "客户端内部错误"},
    {42, "没有权限"},
    {43, "申请depth失败"},
    {44, "序列化失败"},
    {45, "反序列化失败"},
    {46, "未达到间隔时间"},
    {47, "时间过期"},
    {48, "忽略信号"},
    {49, "非程序化交易"},
    {50, "正在查询"},
    {51, "第一次登陆"},
    {52, "触发流控"},
    {53, "触发黑名单"},
    {54, "软件退出"},
    {56, "数据重置"},
    {57, "合约换日"},
    {58, "登录繁忙，稍后重试"},
};

TEST(ErrorMessageTable, EveryTextIsTheGbkOfTheHostMessage) {
  std::set<int> seen;
  for (const Expected& row : kHostTable) {
    SCOPED_TRACE(row.code);
    const std::string gbk = CodeConvert::utf8_to_gbk(row.utf8);
    EXPECT_EQ(std::string(ErrorMessageTable::messageOf(row.code)), gbk);
    EXPECT_EQ(CodeConvert::gbk_to_utf8(ErrorMessageTable::messageOf(row.code)), row.utf8);
    seen.insert(row.code);
  }
  // Nothing more and nothing less than the host's table.
  std::set<int> table;
  for (auto* e = ErrorMessageTable::begin(); e != ErrorMessageTable::end(); ++e) {
    EXPECT_TRUE(table.insert(e->code).second) << "duplicate code " << e->code;
    if (e + 1 != ErrorMessageTable::end()) {
      EXPECT_LT(e->code, (e + 1)->code);
    }
  }
  EXPECT_EQ(table, seen);
}

TEST(ErrorMessageTable, CodesOutsideTheTableHaveNoText) {
  for (int code : {-32, 55, 59, 1000, -1000}) {
    SCOPED_TRACE(code);
    EXPECT_STREQ(ErrorMessageTable::messageOf(code), "");
  }
}

TEST(ErrorMessageTable, NotSupportedMakerUsesTheTable) {
  const ResultStatus status = notSupportedStatus();
  EXPECT_EQ(status.code, 23);
  EXPECT_EQ(status.message, CodeConvert::utf8_to_gbk("不支持"));
}

}  // namespace
}  // namespace kestrel
