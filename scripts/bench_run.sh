#!/usr/bin/env bash
# Runs the benchmark suite once and turns its JSON output into the figures
# table and the latency distributions (printed), the push-cost chart
# (docs/perf/push_cost.svg) and the push-under-load chart
# (docs/perf/push_under_load.svg).
#
# Usage: scripts/bench_run.sh BUILD_DIR [extra benchmark flags...]
# BENCH_ONLY=latency runs only the latency distributions (bench/
# load_benchmark.cc, under a minute) and draws only their chart.
# The build directory must hold a built ks_bench (configure with
# -DKS_BUILD_BENCHMARKS=ON). Writes BUILD_DIR/bench.json and
# BUILD_DIR/bench-console.txt.
set -euo pipefail

build=${1:?usage: scripts/bench_run.sh BUILD_DIR [benchmark flags...]}
shift
root=$(cd "$(dirname "$0")/.." && pwd)
bench="$build/bin/ks_bench"
json="$build/bench.json"
console="$build/bench-console.txt"
repetitions=${BENCH_REPETITIONS:-9}
min_time=${BENCH_MIN_TIME:-0.2}

[ -x "$bench" ] || { echo "bench_run: $bench not built" >&2; exit 1; }

filter=()
if [ "${BENCH_ONLY:-}" = latency ]; then
  filter=(--benchmark_filter='^BM_(PushUnderLoad|RoundTrip|WakeUp)')
  json="$build/bench-latency.json"
  console="$build/bench-latency-console.txt"
fi

echo "bench_run: $repetitions repetitions of every benchmark, medians (about 4 minutes)..." >&2
# Random interleaving spreads each benchmark's repetitions over the whole run,
# so that a burst of load from other programs spoils a few repetitions of
# many benchmarks (which the medians absorb) rather than all of a few.
"$bench" \
  --benchmark_repetitions="$repetitions" \
  --benchmark_enable_random_interleaving=true \
  --benchmark_min_time="$min_time" \
  --benchmark_report_aggregates_only=true \
  --benchmark_out="$json" \
  --benchmark_out_format=json \
  "${filter[@]}" "$@" >"$console" 2>&1 || { cat "$console" >&2; exit 1; }

mkdir -p "$root/docs/perf"
if [ -z "${BENCH_ONLY:-}" ]; then
  python3 "$root/scripts/bench_table.py" "$json"
  python3 "$root/scripts/bench_chart.py" "$json" "$root/docs/perf/push_cost.svg"
  echo
fi
python3 "$root/scripts/bench_latency.py" "$json" "$root/docs/perf/push_under_load.svg"
echo "bench_run: raw results in $json, charts in docs/perf/" >&2
