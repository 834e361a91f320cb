#!/usr/bin/env bash
# Runs every libFuzzer target of a fuzz build, one after the other, each for
# a bounded time or a number of executions.
#
#   scripts/fuzz.sh [build dir] [target...]
#
# FUZZ_SECONDS bounds each target's time; FUZZ_RUNS its executions
# (libFuzzer's -runs). With neither, 20 s; with FUZZ_RUNS alone, no time
# bound (the long run: FUZZ_RUNS=10000000, docs/reliability.md). Each starts
# from its seed corpus fuzz/corpus/<target>/ (read only; what it learns goes
# to a scratch folder, in memory under /dev/shm where there is one) and stops
# at the first finding, whose input is kept in <build dir>/fuzz-findings/.
# Prints each target's executions, time and coverage; exits non-zero if any
# target found anything.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build-fuzz}
shift || true
runs=${FUZZ_RUNS:-}
seconds=${FUZZ_SECONDS:-}
[ -z "$runs" ] && [ -z "$seconds" ] && seconds=20
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(vendor_time text_to_int vendor_records code_convert counter_config journal)

bounds=(-max_total_time="${seconds:-0}")
[ -n "$runs" ] && bounds+=(-runs="$runs")
budget="${runs:+$runs executions}${runs:+${seconds:+ or }}${seconds:+$seconds s}"

findings=$build/fuzz-findings
mkdir -p "$findings"
# A target writes each input that finds something new as a file, thousands
# in its first minutes: in memory that takes a tenth less of its time.
memory=()
[ -d /dev/shm ] && [ -w /dev/shm ] && memory=(-p /dev/shm)
scratch=$(mktemp -d "${memory[@]}")
trap 'rm -rf "$scratch"' EXIT

passed=0
failed=0
for target in "${targets[@]}"; do
  program=$build/bin/${target}_fuzzer
  if [ ! -x "$program" ]; then
    echo "fuzz: $program is missing (configure with KS_BUILD_FUZZERS=ON)" >&2
    exit 2
  fi
  mkdir -p "$scratch/$target"
  log=$build/fuzz-$target.log
  start=$SECONDS
  # -timeout: an input that runs 25 s is a hang. Every input here takes
  # milliseconds; the margin keeps a stalled machine from passing for a hang.
  # The checks stop libFuzzer through abort(), ASan and UBSan through their
  # own reports.
  if "$program" "${bounds[@]}" -timeout=25 -rss_limit_mb=2048 \
       -use_value_profile=1 -print_final_stats=1 -artifact_prefix="$findings/$target-" \
       "$scratch/$target" "fuzz/corpus/$target" >"$log" 2>&1; then
    passed=$((passed + 1))
    verdict=ok
  else
    failed=$((failed + 1))
    verdict=FINDING
    grep -E 'ERROR|fuzz check failed|runtime error|Test unit written' "$log" | head -5 >&2 || true
  fi
  took=$((SECONDS - start))
  executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  # The last status line: "#N DONE cov: C ft: F corp: U/S ..."
  coverage=$(grep -E '^#[0-9]+' "$log" | tail -1 | grep -oE 'cov: [0-9]+ ft: [0-9]+ corp: [0-9]+' || true)
  rate=$(( ${executed:-0} / (took > 0 ? took : 1) ))
  echo "fuzz: $target: ${executed:-?} executions in ${took} s (${rate}/s; budget $budget)," \
    "${coverage:-no coverage line}: $verdict (log: $log)"
done

echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
