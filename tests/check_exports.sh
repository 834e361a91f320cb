#!/usr/bin/env bash
# The plug-in exports exactly its allow-list (the global block of
# plugin/exports.map): every name in the export table matches one of its
# patterns, and the names a host needs are all there.
#
# Usage: check_exports.sh EXPORTS_MAP PLUGIN.so
#        check_exports.sh EXPORTS_MAP PLUGIN.dll OBJDUMP [OTHER.dll|.exe ...]
# The second form reads a PE export table with GNU or LLVM objdump. In GCC's
# C++ ABI (the mingw-w64 build) the names are checked as on Linux, and no
# binary may need a mingw runtime DLL beside it (libstdc++, libgcc and
# winpthread are linked in). In Visual C++'s ABI the map's patterns are read
# as the classes they name, the names a host needs are compared demangled,
# and every binary may import only the Visual C++ 2015-2022 runtime
# (vcruntime140, msvcp140, the UCRT), Windows' own DLLs and the project's.
set -euo pipefail
map=$1
library=$2
objdump=${3:-}
shift $(($# < 3 ? $# : 3))

# The patterns: "NAME;" lines between "global:" and "local:".
mapfile -t allowed < <(sed -n '/global:/,/local:/s/^[[:space:]]*\([^[:space:]:]*\);$/\1/p' "$map")
if [ -z "$objdump" ]; then
  exports=$(nm -D --defined-only "$library" | awk 'NF == 3 {print $3}')
else
  # GNU objdump lists "[Ordinal/Name Pointer] Table", LLVM's "Export Table:".
  exports=$("$objdump" -p "$library" | awk '
    /^\[Ordinal\/Name Pointer\] Table/ {gnu = 1; next}
    /^Export Table:/ {llvm = 1; next}
    (gnu || llvm) && /^[[:space:]]*$/ {gnu = llvm = 0}
    gnu && sub(/^[[:space:]]*\[ *[0-9]*\] /, "") {print}
    llvm && /^ +[0-9]+ +(0x[0-9a-f]+ +)?[^ ]+$/ {print $NF}')
fi
status=0
if [ ${#allowed[@]} -lt 5 ]; then
  echo "no allow-list read from $map"
  status=1
fi

# Visual C++'s names start with '?'. There an Itanium pattern for a class's
# members, vtable or type information (_ZN7kestrel13ITradeSession*,
# _ZT[VIS]N7kestrel13ITradeSessionE) allows every name in the class's scope
# (*ITradeSession@kestrel@@*).
visual=0
grep -q '^?' <<<"$exports" && visual=1
if [ $visual -eq 1 ]; then
  for i in "${!allowed[@]}"; do
    pattern=${allowed[$i]}
    [[ $pattern == _Z* ]] || continue
    rest=${pattern#_ZT\[VIS\]}
    rest=${rest#_Z}
    rest=${rest#N}
    scope=""
    while [[ $rest =~ ^([0-9]+)(.*)$ ]]; do
      length=${BASH_REMATCH[1]}
      scope="${BASH_REMATCH[2]:0:$length}@$scope"
      rest=${BASH_REMATCH[2]:$length}
    done
    allowed[$i]="*${scope}@*"
  done
  undname=llvm-undname${objdump#*objdump}
  demangle() {
    while read -r name; do
      if [[ $name == \?* ]]; then "$undname" "$name" | sed -n 2p; else echo "$name"; fi
    done
  }
else
  if [ -n "$objdump" ] && [ -x "${objdump%objdump}c++filt" ]; then
    demangle() { "${objdump%objdump}c++filt"; }
  else
    demangle() { c++filt; }
  fi
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
    echo "exported but not on the allow-list: $name ($(demangle <<<"$name"))"
    status=1
  fi
done <<<"$exports"

# Both ABIs' demangled names in one form: no access, virtual, return type,
# calling convention, class keys or ABI tags; "(void)" as "()".
demangled=$(demangle <<<"$exports" | sed -E 's/^(public|protected|private): //;
  s/^(virtual|static) //; s/^(.* )?__cdecl //; s/(class|struct|enum) //g; s/ &/\&/g;
  s/\(void\)/()/; s/\[abi:[a-z0-9]+\]//g')
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
    "kestrel::ITradeSession::getCurrencyRate()" \
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
    imports=$("$objdump" -p "$binary" | sed -n 's/^[[:space:]]*DLL Name: //p')
    if [ $visual -eq 1 ]; then
      foreign=$(grep -viE '^(vcruntime140(_1)?|msvcp140(_1|_2|_atomic_wait|_codecvt_ids)?|ucrtbase|api-ms-win-[a-z0-9-]+|kernel32|user32|advapi32|ws2_32|Common|XtTraderApi)\.dll$' <<<"$imports" || true)
      what="DLLs that a Visual C++ build does not import"
    else
      foreign=$(grep -iE '^(libstdc\+\+|libgcc|libwinpthread)' <<<"$imports" || true)
      what="mingw runtime DLLs"
    fi
    if [ -n "$foreign" ]; then
      echo "$(basename "$binary") needs $what:" $foreign
      status=1
    fi
  done
fi
[ $status -eq 0 ] && echo "exports ok: $(wc -l <<<"$exports") names, all on the allow-list"
exit $status
