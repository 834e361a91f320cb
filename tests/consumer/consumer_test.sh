#!/usr/bin/env bash
# Unpacks the release .tar.gz into a fresh folder, builds the consumer
# project against that folder alone (no source tree, no build tree) and runs
# it against the unpacked simulated counter and its configuration.
# Usage: consumer_test.sh ARCHIVE.tar.gz CXX_COMPILER GENERATOR
set -euo pipefail
archive=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
compiler=$2
generator=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir "$work/unpacked"
(cd "$work/unpacked" && cmake -E tar xf "$archive")
root=$(echo "$work"/unpacked/*)  # the archive's one top-level folder
cmake -S "$here" -B "$work/build" -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_PREFIX_PATH="$root" >"$work/configure.log" ||
  { cat "$work/configure.log"; exit 1; }
cmake --build "$work/build" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
cd "$work"
XT_SIM_CONFIG="$root/bin/config/xt_config" "$work/build/consumer"
