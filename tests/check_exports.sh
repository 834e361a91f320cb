#!/usr/bin/env bash
# The plug-in exports exactly its allow-list (the global block of
# plugin/exports.map): every name in the export table matches one of its
# patterns, and the names a host needs are all there.
#
# Usage: check_exports.sh EXPORTS_MAP PLUGIN.so
#        check_exports.sh EXPORTS_MAP PLUGIN.dll OBJDUMP [OTHER.dll|.exe ...]
# The second form reads a PE export table (the mingw-w64 build) and also
# checks that no binary needs a mingw runtime DLL beside it (libstdc++,
# libgcc and winpthread are linked in statically).
set -euo pipefail
map=$1
library=$2
objdump=${3:-}
shift $(($# < 3 ? $# : 3))

# The patterns: "NAME;" lines between "global:" and "local:".
mapfile -t allowed < <(sed -n '/global:/,/local:/s/^[[:space:]]*\([^[:space:]:]*\);$/\1/p' "$map")
if [ -z "$objdump" ]; then
  exports=$(nm -D --defined-only "$library" | awk 'NF == 3 {print $3}')
  cxxfilt=c++filt
else
  exports=$("$objdump" -p "$library" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' |
    sed -n 's/^[[:space:]]*\[ *[0-9]*\] //p')
  cxxfilt=${objdump%objdump}c++filt
  [ -x "$cxxfilt" ] || cxxfilt=c++filt
fi
status=0
if [ ${#allowed[@]} -lt 5 ]; then
  echo "no allow-list read from $map"
  status=1
fi

while read -r name; do
  listed=0
  for pattern in "${allowed[@]}"; do
    # shellcheck disable=SC2053  # the pattern is a glob on purpose
    if [[ $name == $pattern ]]; then
      listed=1
      break
    fi
  done
  if [ $listed -eq 0 ]; then
    echo "exported but not on the allow-list: $name ($("$cxxfilt" "$name"))"
    status=1
  fi
done <<<"$exports"

demangled=$("$cxxfilt" <<<"$exports")
for name in CreateTradeSession GetPluginInfo \
    "kestrel::XtClientIdSet::XtClientIdSet()" "kestrel::XtClientIdSet::~XtClientIdSet()" \
    "kestrel::XtClientIdSet::add(int, kestrel::ClientId const&)" \
    "kestrel::XtClientIdSet::update(int, int)" \
    "kestrel::XtClientIdSet::get(int, kestrel::ClientId&)" \
    "kestrel::XtClientIdSet::get(kestrel::ClientId const&, int&)" \
    "kestrel::ITradeSession::ITradeSession()" \
    "kestrel::ITradeSession::ITradeSession(kestrel::ITradeSession const&)" \
    "kestrel::ITradeSession::operator=(kestrel::ITradeSession const&)" \
    "kestrel::ITradeSession::~ITradeSession()" \
    "kestrel::ITradeSession::getCurrencyRate[abi:cxx11]()" \
    "kestrel::ITradeSession::easyConnect()" \
    "kestrel::ITradeSession::reqQryPositionDetail(int, kestrel::PositionDetailReq const&)" \
    "kestrel::ITradeSession::reqTradingAccountPasswordUpdate(int, kestrel::TradingAccountPasswordUpdateReq const&)"; do
  if ! grep -qxF -- "$name" <<<"$demangled"; then
    echo "missing export: $name"
    status=1
  fi
done

if [ -n "$objdump" ]; then
  for binary in "$library" "$@"; do
    runtime=$("$objdump" -p "$binary" | sed -n 's/^[[:space:]]*DLL Name: //p' |
      grep -iE '^(libstdc\+\+|libgcc|libwinpthread)' || true)
    if [ -n "$runtime" ]; then
      echo "$(basename "$binary") needs mingw runtime DLLs: $runtime"
      status=1
    fi
  done
fi
[ $status -eq 0 ] && echo "exports ok: $(wc -l <<<"$exports") names, all on the allow-list"
exit $status
