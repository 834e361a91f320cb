#!/usr/bin/env bash
# Runs a Windows x64 cross build's test suite under Wine through CTest,
# headless and quiet: build-windows (mingw-w64) or build-msvc (Visual C++'s
# ABI). Usage: scripts/windows-test.sh [build-dir] [ctest args...]
#
# The Wine prefix lives in <build-dir>/.wine (the toolchain's emulator points
# there too). Wine's background services inherit the output pipe of whoever
# starts them first; if that is a test, CTest waits for them (about 2.5 s per
# test, or for ever with a persistent wineserver). So they are started here,
# with their output going nowhere, before CTest, and the prefix's wineserver
# (and with it every Wine process of this prefix) is ended on exit.
set -euo pipefail
build=$(cd "${1:-build-windows}" && pwd)
[ $# -gt 0 ] && shift

export WINEPREFIX="$build/.wine" WINEARCH=win64 WINEDEBUG=-all
unset DISPLAY WAYLAND_DISPLAY

if [ ! -f "$WINEPREFIX/system.reg" ]; then
  # No Mono or Gecko: nothing here needs .NET or HTML, and there is nothing to
  # download them from.
  WINEDLLOVERRIDES="mscoree=;mshtml=" wineboot -i </dev/null >/dev/null 2>&1
  wineserver -w
fi

wineserver -p
trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
wine cmd /c exit 0 </dev/null >/dev/null 2>&1

ctest --test-dir "$build" --output-on-failure -j "${JOBS:-$(nproc)}" "$@"
