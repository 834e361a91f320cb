#!/usr/bin/env bash
# Installs a build into a temporary prefix, builds the consumer project
# against that prefix alone and runs it against the installed simulated
# counter and its installed configuration.
# Usage: consumer_test.sh BUILD_DIR CXX_COMPILER GENERATOR
set -euo pipefail
build=$1
compiler=$2
generator=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >"$work/install.log"
cmake -S "$here" -B "$work/build" -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/configure.log" ||
  { cat "$work/configure.log"; exit 1; }
cmake --build "$work/build" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
XT_SIM_CONFIG="$work/prefix/bin/config/xt_config" "$work/build/consumer"
