#!/usr/bin/env python3
"""Instructions per call of the hot paths against the baseline in the repository.

Usage: scripts/count_gate.py BUILD_DIR [--renew] [--tolerance PERCENT]

Runs BUILD_DIR/bin/ks_hot_paths (bench/counts/hot_paths.cc) under callgrind,
counting only inside its ks_path_* functions, and prints each path's
instructions per call beside bench/counts/baseline.txt. Fails when a path
costs more than the baseline by over the tolerance (2% by default), when a
path is missing from either side, or when the program was built with another
toolchain than the baseline (counts differ between compilers, flags and C
libraries). A count that fell by more than the tolerance passes, with a note
to renew the baseline so that the gain is kept.

--renew writes the counts of this run as the new baseline: for a change that
is meant to cost more (or that saved), committed with it and its reason.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BASELINE = os.path.join(ROOT, "bench", "counts", "baseline.txt")
RENEW = "make count-baseline"
# The C library picks its string functions (memcpy, strlen, ...) by what the
# processor offers, and their instructions per call differ by variant: the
# same build counted up to 3.7% apart on one machine with and without AVX2's.
# Every run here takes the variants that every x86-64 has (SSE2), so that a
# machine with another processor counts what this one counted.
BASELINE_CPU = "glibc.cpu.hwcaps=" + ",".join("-" + feature for feature in (
    "AVX", "AVX2", "AVX512F", "AVX512VL", "AVX512BW", "AVX_Fast_Unaligned_Load", "ERMS", "FSRM",
    "SSSE3", "SSE4_1", "SSE4_2", "BMI1", "BMI2", "LZCNT", "MOVBE", "POPCNT", "RTM",
    "Fast_Unaligned_Copy", "Fast_Unaligned_Load", "Prefer_No_VZEROUPPER"))


def run_paths(program):
    """Runs the program under callgrind; returns (toolchain, paths, seconds).

    paths: list of (function, calls, name, instructions counted inside it).
    """
    with tempfile.TemporaryDirectory() as scratch:
        out = os.path.join(scratch, "callgrind.out")
        started = time.monotonic()
        result = subprocess.run(
            ["env", "GLIBC_TUNABLES=" + BASELINE_CPU, "valgrind", "--tool=callgrind", "--callgrind-out-file=" + out,
             "--collect-atstart=no", "--toggle-collect=ks_path_*", program],
            capture_output=True, text=True, check=False)
        seconds = time.monotonic() - started
        if result.returncode != 0:
            sys.stderr.write(result.stdout + result.stderr)
            sys.exit(f"count_gate: {program} failed under callgrind")
        inclusive = inclusive_costs(out)
    toolchain, paths = None, []
    for line in result.stdout.splitlines():
        if line.startswith("toolchain "):
            toolchain = line[len("toolchain "):]
        elif line.startswith("path "):
            function, calls, name = line.split(" ", 3)[1:]
            paths.append((function, int(calls), name, inclusive.get(function, 0)))
    return toolchain, paths, seconds


def inclusive_costs(path):
    """Instructions executed inside each function (itself and what it called)
    of a callgrind output file: every cost line of the function's blocks, the
    line after a calls= line being the call's inclusive cost."""
    names, costs, current = {}, {}, None
    # A function's name comes with its number where the number first occurs,
    # on an fn= line or a cfn= (called function) line.
    fn = re.compile(r"^(c?)fn=\((\d+)\)(?: (.*))?$")
    with open(path) as lines:
        for line in lines:
            line = line.rstrip("\n")
            m = fn.match(line)
            if m:
                if m.group(3):
                    names[m.group(2)] = m.group(3)
                if not m.group(1):
                    current = names.get(m.group(2))
                continue
            if current and line and (line[0].isdigit() or line[0] in "+-*"):
                fields = line.split()
                if len(fields) >= 2:
                    costs[current] = costs.get(current, 0) + int(fields[1])
    return costs


def read_baseline():
    toolchain, counts = None, {}
    if not os.path.exists(BASELINE):
        return toolchain, counts
    with open(BASELINE) as lines:
        for line in lines:
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            if line.startswith("toolchain "):
                toolchain = line[len("toolchain "):]
            else:
                function, count = line.split()[:2]
                counts[function] = float(count)
    return toolchain, counts


def write_baseline(toolchain, per_call):
    with open(BASELINE, "w") as out:
        out.write(
            "# Instructions per call of the hot paths (bench/counts/hot_paths.cc),\n"
            "# counted by callgrind in the ci preset's build (GCC RelWithDebInfo).\n"
            "# scripts/count_gate.py holds every run to these; renew them with\n"
            f"# `{RENEW}` after a change meant to cost more, and say why in its\n"
            "# commit. Columns: function, instructions per call, path.\n")
        out.write(f"toolchain {toolchain}\n")
        for function, count, name in per_call:
            out.write(f"{function} {count} {name}\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("build")
    parser.add_argument("--renew", action="store_true")
    parser.add_argument("--tolerance", type=float, default=2.0, help="percent")
    args = parser.parse_args()

    program = os.path.join(args.build, "bin", "ks_hot_paths")
    if not os.access(program, os.X_OK):
        sys.exit(f"count_gate: {program} is not built (a build with benchmarks: the ci preset)")
    toolchain, paths, seconds = run_paths(program)
    per_call = [(f, round(total / calls, 1), name) for f, calls, name, total in paths]
    if not per_call or any(count == 0 for _, count, _ in per_call):
        sys.exit("count_gate: callgrind counted nothing inside a ks_path_* function")

    if args.renew:
        write_baseline(toolchain, per_call)
        for function, count, name in per_call:
            print(f"{name:34} {count:>9.1f}")
        print(f"count_gate: baseline renewed in {os.path.relpath(BASELINE, ROOT)} "
              f"({toolchain}; callgrind {seconds:.0f} s)")
        return 0

    base_toolchain, baseline = read_baseline()
    failures = []
    if base_toolchain != toolchain:
        failures.append(f"the baseline was counted with {base_toolchain}, this build is "
                        f"{toolchain}: counts are comparable within one toolchain only")
    print(f"{'path':34} {'baseline':>9} {'now':>9} {'change':>8}")
    for function, count, name in per_call:
        base = baseline.pop(function, None)
        if base is None:
            print(f"{name:34} {'-':>9} {count:>9.1f} {'':>8}  NEW")
            failures.append(f"{name} has no baseline")
            continue
        change = 100.0 * (count - base) / base
        verdict = ""
        if change > args.tolerance:
            verdict = f"  MORE than +{args.tolerance:g}%"
            failures.append(f"{name} costs {change:+.1f}% ({base:.1f} -> {count:.1f} instructions)")
        elif change < -args.tolerance:
            verdict = "  less: renew to keep the gain"
        print(f"{name:34} {base:>9.1f} {count:>9.1f} {change:>+7.1f}%{verdict}")
    for function in baseline:
        failures.append(f"{function} is in the baseline but was not run")
    print(f"count_gate: callgrind {seconds:.0f} s, {toolchain}")
    if failures:
        for failure in failures:
            print(f"count_gate: FAILED: {failure}", file=sys.stderr)
        print(f"count_gate: if the change is meant to cost more, renew the baseline with "
              f"`{RENEW}` and commit bench/counts/baseline.txt with it, saying why",
              file=sys.stderr)
        return 1
    print(f"count_gate: every path within +{args.tolerance:g}% of the baseline")
    return 0


if __name__ == "__main__":
    sys.exit(main())
