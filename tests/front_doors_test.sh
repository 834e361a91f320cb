#!/usr/bin/env bash
# The Makefile's front doors in the orders a newcomer and CI run them, each
# door's configure step run against a stand-in for cmake: a door works
# whatever ran before it (count-gate after make test, PRESET=ci make test
# after the default build), and nothing is configured again that need not be
# (CI's order configures once). `make -n` prints each door's commands; its
# configure_build.sh line is run, the rest (builds, tests) is not.
# Usage: front_doors_test.sh SOURCE_DIR
set -u
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The stand-in: records each configure and writes what the preset sets into
# the cache, keeping what the cache held (as cmake does).
cat >"$work/cmake" <<'STANDIN'
#!/bin/sh
[ "$1" = --preset ] || exit 0
echo "$2" >>"$LOG"
mkdir -p "$4" && touch "$4/build.ninja" "$4/CMakeCache.txt"
if [ "$2" = ci ]; then
  grep -q '^KS_BUILD_BENCHMARKS:' "$4/CMakeCache.txt" ||
    echo 'KS_BUILD_BENCHMARKS:BOOL=ON' >>"$4/CMakeCache.txt"
fi
STANDIN
chmod +x "$work/cmake"

failures=0
# door: a preset in the environment (or -) and the make target; then what
# the door configures (or -), and whether the folder then has the benchmarks.
run() {
  local env=$1 target=$2 want=$3 benchmarks=$4
  : >"$work/log"
  local lines
  lines=$(cd "$source" && env -u PRESET ${env:+PRESET=$env} make -n -s "$target" BUILD="$work/build" \
    CMAKE="$work/cmake" 2>/dev/null | grep 'configure_build.sh')
  (cd "$source" && LOG=$work/log bash -c "$lines") 2>/dev/null
  local got has=no
  got=$(tr '\n' ' ' <"$work/log" | sed 's/ $//')
  grep -q '^KS_BUILD_BENCHMARKS:BOOL=ON' "$work/build/CMakeCache.txt" 2>/dev/null && has=yes
  if [ "${got:--}" != "$want" ] || [ "$has" != "$benchmarks" ]; then
    echo "PRESET=${env:-(unset)} make $target: configured '${got:--}', wanted '$want';" \
      "benchmarks $has, wanted $benchmarks"
    failures=$((failures + 1))
  fi
}

# A newcomer, from the README's table in another order.
rm -rf "$work/build"
while read -r env target want benchmarks; do
  run "${env#-}" "$target" "$want" "$benchmarks"
done <<'ROWS'
- demo default no
- test - no
- count-gate ci yes
- lint - yes
ci test - yes
- test - yes
- package - yes
default test default no
- count-gate ci yes
ROWS

# CI: PRESET=ci in the environment for every step.
rm -rf "$work/build"
while read -r target want; do
  run ci "$target" "$want" yes
done <<'ROWS'
test ci
count-gate -
lint -
package -
soak -
ROWS
exit $((failures > 0))
