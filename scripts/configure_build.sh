#!/usr/bin/env bash
# Configures the build folder of a front door (make test, demo, lint,
# package, count-gate, soak), whatever ran before it.
# Usage: scripts/configure_build.sh BUILD PRESET REQUIRED [cmake flags...]
#   A folder not configured yet is configured with PRESET. A configured one
#   is used as it is, unless REQUIRED is "yes" and it was configured with
#   another preset (or with one it did not record): then the project's own
#   settings (KS_*) are forgotten, the rest of the cache (compiler, launchers)
#   kept, and it is configured again with PRESET. The preset is recorded in
#   BUILD/ks-preset. The cmake flags go to every configure it makes; CMAKE
#   names the cmake program (default cmake).
set -euo pipefail
build=${1:?usage: configure_build.sh BUILD PRESET REQUIRED [cmake flags...]}
preset=${2:?preset}
required=${3:?yes or no}
shift 3
cmake=${CMAKE:-cmake}
recorded=$(cat "$build/ks-preset" 2>/dev/null || true)
if [ -f "$build/build.ninja" ]; then
  [ "$required" != yes ] || [ "$recorded" = "$preset" ] && exit 0
  echo "configure_build: $build was configured with preset '${recorded:-unrecorded}';" \
    "configuring it with '$preset'" >&2
  [ -f "$build/CMakeCache.txt" ] && sed -i '/^KS_[A-Za-z0-9_]*:/d' "$build/CMakeCache.txt"
fi
"$cmake" --preset "$preset" -B "$build" "$@"
echo "$preset" >"$build/ks-preset"
