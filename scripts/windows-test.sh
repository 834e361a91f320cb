#!/usr/bin/env bash
# Runs a Windows x64 cross build's test suite under Wine through CTest,
# headless and quiet: build-windows (mingw-w64) or build-msvc (Visual C++'s
# ABI). Usage: scripts/windows-test.sh [build-dir] [ctest args...]
# (the Wine prefix: scripts/wine_session.sh).
set -euo pipefail
build=$(cd "${1:-build-windows}" && pwd)
[ $# -gt 0 ] && shift

source "$(dirname "$0")/wine_session.sh"
wine_session "$build"

ctest --test-dir "$build" --output-on-failure -j "${JOBS:-$(nproc)}" "$@"
