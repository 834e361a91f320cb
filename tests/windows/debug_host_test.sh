#!/usr/bin/env bash
# A host built in Debug against the unpacked win64 .zip is refused, three
# ways, and the same host in Release is not:
#   1. compiling: a host file that includes the headers with /MDd's macros
#      (_DEBUG, _ITERATOR_DEBUG_LEVEL 2) stops at the headers' #error, which
#      says what to do; the same file with /MD's macros compiles;
#   2. linking: the same Debug file compiled from a copy of the headers
#      whose #error was taken out (a host that got past it) is refused by
#      the linker, which finds the import library's runtime tag differing
#      from the host's (#pragma detect_mismatch);
#   3. configuring: the consumer project configured as Debug with the debug
#      runtime DLL (/MDd) stops in find_package with the same advice.
# The Release consumer that builds and trades is package_consumer_builds_and_runs.
# Usage: debug_host_test.sh ARCHIVE CXX_COMPILER TOOLCHAIN_FILE GENERATOR SYSTEM_INCLUDES
#   SYSTEM_INCLUDES: the toolchain's header folders, ';'-separated.
set -euo pipefail
archive=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
compiler=$2
toolchain=$3
generator=$4
IFS=';' read -r -a system_dirs <<<"$5"
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/unpacked"
(cd "$work/unpacked" && cmake -E tar xf "$archive")
root=$(echo "$work"/unpacked/*)
consumer=$here/../consumer/consumer.cc
advice="build the host in Release or RelWithDebInfo with /MD"

flags=(--target=x86_64-pc-windows-msvc -nostdinc -fms-compatibility-version=19.44 -std=c++17
  -D_DISABLE_CONSTEXPR_MUTEX_CONSTRUCTOR -D_USE_STD_VECTOR_ALGORITHMS=0 -D_MT -D_DLL)
for dir in "${system_dirs[@]}"; do flags+=(-isystem "$dir"); done
debug=(-D_DEBUG)
status=0

# compile NAME INCLUDE_DIR EXTRA_FLAGS...: compiles the consumer to NAME.obj; its output in NAME.log.
compile() {
  local name=$1 include=$2
  shift 2
  "$compiler" "${flags[@]}" "$@" -I "$include" -c "$consumer" -o "$work/$name.obj" \
    >"$work/$name.log" 2>&1
}

if compile debug "$root/include/KSTraderAPIPluginXT" "${debug[@]}"; then
  echo "FAILED: the Debug host compiled"
  status=1
elif ! grep -q "$advice" "$work/debug.log"; then
  echo "FAILED: the Debug host failed to compile without the headers' advice:"
  head -20 "$work/debug.log"
  status=1
else
  echo "ok: Debug host refused at compile time: $(grep -m1 -o 'error: .*' "$work/debug.log" | cut -c1-100)..."
fi
if ! compile release "$root/include/KSTraderAPIPluginXT"; then
  echo "FAILED: the Release host did not compile:"
  head -20 "$work/release.log"
  status=1
else
  echo "ok: the same host file compiles with /MD"
fi

# 2. Headers with the #error taken out; the Debug object linked against the
# import libraries.
cp -r "$root/include/KSTraderAPIPluginXT" "$work/edited"
sed -i '/^#error /,/corrupt memory/d' "$work/edited/plugin/host_build.h"
if grep -q '^#error' "$work/edited/plugin/host_build.h"; then
  echo "FAILED: could not take the #error out of a copy of plugin/host_build.h"
  status=1
elif ! compile debug_edited "$work/edited" "${debug[@]}"; then
  echo "FAILED: the Debug host with the #error taken out did not compile:"
  head -20 "$work/debug_edited.log"
  status=1
else
  linker=lld-link${compiler##*clang++}
  if "$linker" /nologo /nodefaultlib /subsystem:console /entry:main /out:"$work/host.exe" \
      "$work/debug_edited.obj" "$root/lib/KSTraderAPIPluginXT.lib" "$root/lib/Common.lib" \
      >"$work/link.log" 2>&1; then
    echo "FAILED: the Debug host linked against the import library"
    status=1
  elif ! grep -q "mismatch detected for 'KSTraderAPIPluginXT_runtime'" "$work/link.log"; then
    echo "FAILED: the link failed, but not on the runtime tag:"
    head -20 "$work/link.log"
    status=1
  else
    echo "ok: Debug host refused at link time: $(grep -m1 "KSTraderAPIPluginXT_runtime" "$work/link.log" | cut -c1-120)"
  fi
fi

# 3. The CMake package.
if cmake -S "$here/../consumer" -B "$work/cmake-debug" -G "$generator" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_MSVC_RUNTIME_LIBRARY=MultiThreadedDebugDLL \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_PREFIX_PATH="$root" >"$work/cmake.log" 2>&1; then
  echo "FAILED: the CMake package configured a Debug host"
  status=1
elif ! grep -q "Debug" "$work/cmake.log" || ! grep -q "RelWithDebInfo" "$work/cmake.log"; then
  echo "FAILED: configuring the Debug host failed for another reason:"
  tail -20 "$work/cmake.log"
  status=1
else
  echo "ok: the CMake package refuses a Debug configuration"
fi
exit $status
