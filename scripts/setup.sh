#!/usr/bin/env bash
# Installs what the build needs from Debian's archive, and only what is
# missing. Usage: scripts/setup.sh [group...]; groups: base (default; with
# chromium and python3 for the day report's browser test),
# clang (sanitizers, thread-safety analysis, fuzzing), windows (mingw-w64 and
# Wine), msvc (clang, lld and llvm 19 in Visual C++ mode, Wine's DLLs and
# headers; Microsoft's STL comes from KS_MSVC_STL; python3 reads the released
# binaries' PE headers), bench (the benchmark's
# scripts: python3's standard library draws the chart; valgrind counts
# instructions for scripts/bench_callgrind.sh and scripts/count_gate.py), lint
# (clang-format and clang-tidy for make lint).
set -euo pipefail

declare -A GROUPS_PACKAGES=(
  [base]="cmake ninja-build g++ make libboost-date-time-dev libboost-dev googletest libgtest-dev libbenchmark-dev python3 chromium"
  [clang]="clang libclang-rt-14-dev"
  [windows]="g++-mingw-w64-x86-64-posix wine wine64"
  [msvc]="clang-19 lld-19 llvm-19 wine wine64 libwine-dev python3"
  [bench]="libbenchmark-dev python3 valgrind"
  [lint]="clang-format clang-tidy"
)

groups=("$@")
[ ${#groups[@]} -eq 0 ] && groups=(base)

missing=()
for group in "${groups[@]}"; do
  packages=${GROUPS_PACKAGES[$group]:-}
  if [ -z "$packages" ]; then
    echo "setup: unknown group '$group'" >&2
    exit 2
  fi
  for package in $packages; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$package")
    fi
  done
done

[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "setup: missing Debian packages: ${missing[*]}" >&2
  echo "setup: run as root, or install them with: sudo apt-get install --no-install-recommends ${missing[*]}" >&2
  exit 1
fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
if ! apt-get install -y --no-install-recommends "${missing[@]}"; then
  apt-get update
  apt-get install -y --no-install-recommends "${missing[@]}"
fi
