#!/usr/bin/env bash
# Runs every libFuzzer target of a fuzz build for a bounded time each.
#
#   scripts/fuzz.sh [build dir] [target...]
#
# FUZZ_SECONDS (default 20) bounds each target. Each starts from its seed
# corpus fuzz/corpus/<target>/ (read only; what it learns goes to a scratch
# folder) and stops at the first finding, whose input is kept in
# <build dir>/fuzz-findings/. Exits non-zero if any target found anything.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build-fuzz}
shift || true
seconds=${FUZZ_SECONDS:-20}
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(vendor_time text_to_int vendor_records code_convert counter_config journal)

findings=$build/fuzz-findings
mkdir -p "$findings"
scratch=$(mktemp -d)
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
  # -timeout: an input that runs 25 s is a hang. Every input here takes
  # milliseconds; the margin keeps a stalled machine from passing for a hang.
  # The checks stop libFuzzer through abort(), ASan and UBSan through their
  # own reports.
  if "$program" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 \
       -use_value_profile=1 -print_final_stats=1 -artifact_prefix="$findings/$target-" \
       "$scratch/$target" "fuzz/corpus/$target" >"$log" 2>&1; then
    passed=$((passed + 1))
    verdict=ok
  else
    failed=$((failed + 1))
    verdict=FINDING
    grep -E 'ERROR|fuzz check failed|runtime error|Test unit written' "$log" | head -5 >&2 || true
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  echo "fuzz: $target: ${runs:-?} executions (budget ${seconds} s): $verdict (log: $log)"
done

echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
