#!/usr/bin/env bash
# Unpacks a release archive into a fresh folder, builds the consumer project
# against that folder alone (no source tree, no build tree) and runs it
# against the unpacked simulated counter and its configuration.
# Usage: consumer_test.sh ARCHIVE CXX_COMPILER GENERATOR [TOOLCHAIN_FILE EMULATOR...]
#   The .tar.gz is built and run natively. The Windows .zip is built with
#   TOOLCHAIN_FILE and run under EMULATOR (Wine) from the unpacked bin/, where
#   a host installs the plug-in beside itself.
set -euo pipefail
archive=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
compiler=$2
generator=$3
toolchain=${4:-}
shift $(($# < 4 ? $# : 4))
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir "$work/unpacked"
(cd "$work/unpacked" && cmake -E tar xf "$archive")
root=$(echo "$work"/unpacked/*)  # the archive's one top-level folder
options=(-G "$generator" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$root")
[ -z "$toolchain" ] || options+=(-DCMAKE_TOOLCHAIN_FILE="$toolchain")
cmake -S "$here" -B "$work/build" "${options[@]}" >"$work/configure.log" ||
  { cat "$work/configure.log"; exit 1; }
cmake --build "$work/build" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
export XT_SIM_CONFIG="$root/bin/config/xt_config"
if [ -z "$toolchain" ]; then
  cd "$work"
  "$work/build/consumer"
else
  cp "$work/build/consumer.exe" "$root/bin/"
  cd "$root/bin"
  "$@" "$root/bin/consumer.exe"
fi
