#!/usr/bin/env bash
# The plug-in exports exactly what a host needs: the two entry points under
# plain names, ITradeSession's bodies and XtClientIdSet; nothing internal.
set -euo pipefail
library=$1
plain=$(nm -D --defined-only "$library")
demangled=$(nm -D -C --defined-only "$library")
status=0
need() {
  if ! grep -qF -- "$2" <<<"$1"; then
    echo "missing export: $2"
    status=1
  fi
}
need "$plain" " T CreateTradeSession"
need "$plain" " T GetPluginInfo"
for member in "XtClientIdSet::XtClientIdSet()" "XtClientIdSet::~XtClientIdSet()" \
    "XtClientIdSet::add(int, kestrel::ClientId const&)" "XtClientIdSet::update(int, int)" \
    "XtClientIdSet::get(int, kestrel::ClientId&)" "XtClientIdSet::get(kestrel::ClientId const&, int&)" \
    "ITradeSession::ITradeSession()" "ITradeSession::ITradeSession(kestrel::ITradeSession const&)" \
    "ITradeSession::operator=(kestrel::ITradeSession const&)" "ITradeSession::~ITradeSession()" \
    "ITradeSession::getCurrencyRate" "ITradeSession::easyConnect()" \
    "ITradeSession::reqQryPositionDetail(int, kestrel::PositionDetailReq const&)" \
    "ITradeSession::reqTradingAccountPasswordUpdate(int, kestrel::TradingAccountPasswordUpdateReq const&)"; do
  need "$demangled" "kestrel::$member"
done
leaked=$(grep -E 'TradeSessionXT|XtTraderSpi|textToInt|vendorTimeToMillis|PendingOrderBook' <<<"$demangled" || true)
if [ -n "$leaked" ]; then
  echo "internal symbols exported:"
  echo "$leaked"
  status=1
fi
[ $status -eq 0 ] && echo "exports ok"
exit $status
