#!/usr/bin/env bash
# Instructions per call of one plug-in function while one benchmark runs,
# counted by callgrind: repeatable, unlike times on a shared machine.
#
# Usage: scripts/bench_callgrind.sh BUILD_DIR BENCHMARK_REGEX FUNCTION_PATTERN
#   e.g. scripts/bench_callgrind.sh build-bench 'OrderPush/canceled_recent/100000$' \
#          'kestrel::XtTraderSpi::onOrderPush(*'
# Prints the instructions spent inside FUNCTION_PATTERN (and what it calls)
# per call, then the functions that spent the most of them, per call.
set -euo pipefail
build=${1:?usage: bench_callgrind.sh BUILD_DIR BENCHMARK_REGEX FUNCTION_PATTERN}
filter=${2:?benchmark regex}
function=${3:?function pattern}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

valgrind --tool=callgrind --callgrind-out-file="$out/cg.out" --collect-atstart=no \
  --toggle-collect="$function" "$build/bin/ks_bench" --benchmark_filter="$filter" \
  --benchmark_min_time=0.5 >"$out/log" 2>&1 || { cat "$out/log" >&2; exit 1; }

callgrind_annotate "$out/cg.out" >"$out/exclusive.txt" 2>/dev/null
python3 - "$out/cg.out" "$out/exclusive.txt" "$function" <<'PY'
import re, sys
data, exclusive, pattern = sys.argv[1:4]
stem = pattern.split("(")[0]
names, calls, cfn = {}, 0, None
with open(data) as f:
    for line in f:
        m = re.match(r"^(c?fn)=\((\d+)\)(?: (.*))?$", line.rstrip("\n"))
        if m:
            if m.group(3):
                names[m.group(2)] = m.group(3)
            if m.group(1) == "cfn":
                cfn = names.get(m.group(2), "")
            continue
        m = re.match(r"^calls=(\d+)", line)
        if m and cfn is not None and cfn.startswith(stem):
            calls += int(m.group(1))
total, rows = 0, []
with open(exclusive) as f:
    for line in f:
        m = re.match(r"^\s*([\d,]+) \(\s*[\d.]+%\)\s+(.*)$", line.rstrip("\n"))
        if not m:
            continue
        count = int(m.group(1).replace(",", ""))
        if "PROGRAM TOTALS" in m.group(2):
            total = count
        else:
            rows.append((count, m.group(2)))
print(f"{pattern}: {calls} calls, {total // max(calls, 1)} instructions per call")
for count, name in rows[:15]:
    print(f"  {count / max(calls, 1):8.1f}  {name[:150]}")
PY
