#!/usr/bin/env bash
# The lint gate: clang-format (.clang-format) must leave every tracked C++
# file as it is, the libraries' sources must hold no thread-local storage
# outside ThreadSlot (scripts/check_thread_locals.sh), and clang-tidy
# (.clang-tidy) must find nothing in the plug-in's sources and the project
# headers they include.
# Usage: scripts/lint.sh BUILD_DIR   (a configured build: its
# compile_commands.json gives clang-tidy each file's flags)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
jobs=${JOBS:-2}
[ -f "$build/compile_commands.json" ] || { echo "lint: configure $build first" >&2; exit 2; }

git ls-files -z -- '*.h' '*.cc' | xargs -0 clang-format --dry-run --Werror
echo "lint: clang-format: $(git ls-files -- '*.h' '*.cc' | wc -l) files formatted"

scripts/check_thread_locals.sh

# The compile commands carry no -std flag where the compiler's default is
# C++17 already (GCC 12); clang-tidy's own default is older.
sources=$(git ls-files -- 'plugin/*.cc' 'session/*.cc' 'identity/*.cc' 'spi/*.cc')
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! xargs -P "$jobs" -n 1 clang-tidy -p "$build" --quiet --warnings-as-errors='*' \
    --extra-arg=-std=c++17 <<<"$sources" >"$log" 2>&1; then
  grep -v -E '^[0-9]+ warnings? (and [0-9]+ errors? )?generated\.$' "$log" >&2
  echo "lint: clang-tidy found the above" >&2
  exit 1
fi
echo "lint: clang-tidy: $(wc -l <<<"$sources") plug-in sources clean"
