#!/usr/bin/env bash
# The PE sibling of check_exports.sh, for the Windows cross build: the
# plug-in DLL's export table holds the two entry points under their plain,
# undecorated names, ITradeSession's bodies and XtClientIdSet (GCC-mangled),
# and nothing internal; and no binary needs a mingw runtime DLL beside it
# (libstdc++, libgcc and winpthread are linked in statically).
# Usage: check_exports_pe.sh OBJDUMP PLUGIN.dll [OTHER.dll|.exe ...]
set -euo pipefail
objdump=$1
library=$2
shift 2
cxxfilt=${objdump%objdump}c++filt
[ -x "$cxxfilt" ] || cxxfilt=c++filt

# The names in the export table, one a line, as the loader sees them.
exports=$("$objdump" -p "$library" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' |
  sed -n 's/^[[:space:]]*\[ *[0-9]*\] //p')
demangled=$("$cxxfilt" <<<"$exports")
status=0
need() {
  if ! grep -qxF -- "$2" <<<"$1"; then
    echo "missing export: $2"
    status=1
  fi
}
need "$exports" "CreateTradeSession"
need "$exports" "GetPluginInfo"
for mangled in _ZN7kestrel13XtClientIdSetC1Ev _ZN7kestrel13XtClientIdSetD1Ev \
    _ZN7kestrel13XtClientIdSet3addEiRKNS_8ClientIdE _ZN7kestrel13XtClientIdSet6updateEii \
    _ZN7kestrel13XtClientIdSet3getEiRNS_8ClientIdE _ZN7kestrel13XtClientIdSet3getERKNS_8ClientIdERi; do
  need "$exports" "$mangled"
done
for member in "ITradeSession::ITradeSession()" "ITradeSession::ITradeSession(kestrel::ITradeSession const&)" \
    "ITradeSession::operator=(kestrel::ITradeSession const&)" "ITradeSession::~ITradeSession()" \
    "ITradeSession::getCurrencyRate[abi:cxx11]()" "ITradeSession::easyConnect()" \
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

for binary in "$library" "$@"; do
  runtime=$("$objdump" -p "$binary" | sed -n 's/^[[:space:]]*DLL Name: //p' |
    grep -iE '^(libstdc\+\+|libgcc|libwinpthread)' || true)
  if [ -n "$runtime" ]; then
    echo "$(basename "$binary") needs mingw runtime DLLs: $runtime"
    status=1
  fi
done
[ $status -eq 0 ] && echo "exports ok: $(wc -l <<<"$exports") names"
exit $status
