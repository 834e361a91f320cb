#!/usr/bin/env python3
"""Prints the latency distributions of one benchmark run and draws them as SVG.

Usage: scripts/bench_latency.py BENCH_JSON [OUTPUT_SVG] [--markdown]

Reads the histogram counters (p50_ns, p99_ns, p999_ns, max_ns) of
BM_PushUnderLoad/host_threads:N, BM_RoundTrip and BM_WakeUp (bench/
load_benchmark.cc), medians over the repetitions, and prints one row per
distribution. The goal: the push path's 99th percentile with host threads
sending orders within 5 times its uncontended median. The chart draws the
push path's four percentiles for 0, 1 and 2 host threads on a logarithmic
time axis, with the goal as a guide. Standard library only.
"""

import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import bench_common  # noqa: E402
from bench_chart import BOTTOM, HEIGHT, LEFT, RIGHT, TOP, WIDTH, axes, frame, log_ticks  # noqa: E402,E501
from bench_table import format_ns  # noqa: E402

POINTS = [("p50_ns", "median"), ("p99_ns", "99th"), ("p999_ns", "99.9th"), ("max_ns", "max")]
COLOURS = ["#1f77b4", "#ff7f0e", "#d62728"]
GOAL_FACTOR = 5


def push_series(figs):
    """{host threads: {counter: ns}} of BM_PushUnderLoad."""
    pattern = re.compile(r"^BM_PushUnderLoad/host_threads:(\d+)")
    out = {}
    for name, fig in figs.items():
        m = pattern.match(name)
        if m and "p50_ns" in fig["counters"]:
            out[int(m.group(1))] = fig["counters"]
    return dict(sorted(out.items()))


def rows(figs):
    """(label, p50, p99, p99.9, max, note) in ns."""
    out = []
    pushes = push_series(figs)
    base = pushes.get(0, {}).get("p50_ns")
    for threads, c in pushes.items():
        note = ""
        if threads > 0 and base:
            ok = c["p99_ns"] <= GOAL_FACTOR * base
            note = (f"99th = {c['p99_ns'] / base:.1f}x uncontended median "
                    f"(goal <= {GOAL_FACTOR}x): {'met' if ok else 'MISSED'}")
        out.append((f"order push on the vendor thread, {threads} host thread(s) sending",
                    c["p50_ns"], c["p99_ns"], c["p999_ns"], c["max_ns"], note))
    rt = bench_common.find(figs, "BM_RoundTrip/synchronous:0")
    if rt and "rt_p50_ns" in rt["counters"]:
        c = rt["counters"]
        out.append(("round trip through the counter: sendOrder -> host fill", c["rt_p50_ns"],
                    c["rt_p99_ns"], c["rt_p999_ns"], None, ""))
        out.append(("  sendOrder's call (plug-in, counter, hand-over incl. the wake call)",
                    c["send_p50_ns"], None, None, None, ""))
        out.append(("  from sendOrder's return to the host's fill", c["p50_ns"], c["p99_ns"],
                    c["p999_ns"], c["max_ns"], "0: the fill came before sendOrder returned"))
    work = bench_common.find(figs, "BM_RoundTrip/synchronous:1")
    if work and "rt_p50_ns" in work["counters"]:
        c = work["counters"]
        out.append(("the same, synchronous counter: plug-in and counter work, no hand-over",
                     c["rt_p50_ns"], c["rt_p99_ns"], c["rt_p999_ns"], None, ""))
    wake = bench_common.find(figs, "BM_WakeUp")
    if wake and "p50_ns" in wake["counters"]:
        c = wake["counters"]
        note = ""
        if rt and "rt_p50_ns" in rt["counters"]:
            note = (f"round-trip median = {rt['counters']['rt_p50_ns'] / c['p50_ns']:.1f}x "
                    "this wake-up")
        out.append(("floor: a thread woken through a condition variable", c["p50_ns"],
                    c["p99_ns"], c["p999_ns"], c["max_ns"], note))
    return out


def print_rows(table, markdown):
    def cell(ns):
        return "" if ns is None else format_ns(ns)

    if markdown:
        print("| distribution | median | 99th | 99.9th | max | |")
        print("|---|---:|---:|---:|---:|---|")
        for label, *values, note in table:
            print(f"| {label.strip().replace('->', '→')} | "
                  + " | ".join(cell(v).replace(" us", " µs") for v in values) + f" | {note} |")
        return
    headers = ("distribution", "median", "99th", "99.9th", "max", "")
    cells = [headers] + [(r[0],) + tuple(cell(v) for v in r[1:5]) + (r[5],) for r in table]
    widths = [max(len(c[i]) for c in cells) for i in range(6)]
    for n, c in enumerate(cells):
        print("  ".join(c[i].ljust(widths[i]) if i in (0, 5) else c[i].rjust(widths[i])
                        for i in range(6)).rstrip())
        if n == 0:
            print("-" * (sum(widths) + 10))


def draw(pushes, context):
    if not pushes:
        raise SystemExit("bench_latency: no BM_PushUnderLoad results in the input")
    values = [c[key] for c in pushes.values() for key, _ in POINTS]
    base = pushes.get(0, {}).get("p50_ns")
    goal = GOAL_FACTOR * base if base else None
    y_ticks = log_ticks(max(min(values), 1) * 0.9, max(values + ([goal] if goal else [])) * 1.05)
    y_lo, y_hi = y_ticks[0], y_ticks[-1]
    plot_w, plot_h = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM
    from math import log10

    def x_of(i):
        return LEFT + plot_w * (i + 0.5) / len(POINTS)

    def y_of(ns):
        return TOP + plot_h * (1 - (log10(ns) - log10(y_lo)) / (log10(y_hi) - log10(y_lo)))

    out = frame("Order push on the vendor thread while host threads send orders", context,
                y_ticks, y_of)
    for i, (_, label) in enumerate(POINTS):
        out.append(f'<text x="{x_of(i):.1f}" y="{TOP + plot_h + 18}" text-anchor="middle">'
                   f'{label}</text>')
    out += axes("percentile of single pushes", "ns per push (logarithmic)")
    if goal and y_lo <= goal <= y_hi:
        y = y_of(goal)
        out.append(f'<line x1="{LEFT}" y1="{y:.1f}" x2="{LEFT + plot_w}" y2="{y:.1f}" '
                   'stroke="#888" stroke-dasharray="2,3"/>')
        out.append(f'<text x="{LEFT + 6}" y="{y - 4:.1f}" fill="#888">goal for the 99th: '
                   f'{GOAL_FACTOR}x the uncontended median ({goal:.0f} ns)</text>')
    lx, ly = LEFT + plot_w + 20, TOP + 10
    for n, (threads, c) in enumerate(pushes.items()):
        colour = COLOURS[n % len(COLOURS)]
        path = " ".join(f"{x_of(i):.1f},{y_of(max(c[key], y_lo)):.1f}"
                        for i, (key, _) in enumerate(POINTS))
        out.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        for i, (key, label) in enumerate(POINTS):
            out.append(f'<circle cx="{x_of(i):.1f}" cy="{y_of(max(c[key], y_lo)):.1f}" r="3" '
                       f'fill="{colour}"><title>{threads} host thread(s), {label}: '
                       f'{c[key]:.0f} ns</title></circle>')
        out.append(f'<line x1="{lx}" y1="{ly}" x2="{lx + 28}" y2="{ly}" stroke="{colour}" '
                   'stroke-width="2"/>')
        out.append(f'<text x="{lx + 36}" y="{ly + 4}">{threads} host thread(s)</text>')
        ly += 20
    out.append("</svg>")
    return "\n".join(out) + "\n"


def main(argv):
    args = [a for a in argv[1:] if not a.startswith("--")]
    if not args:
        print(__doc__, file=sys.stderr)
        return 2
    data = bench_common.load(args[0])
    figs = bench_common.figures(data)
    print_rows(rows(figs), "--markdown" in argv)
    if len(args) > 1:
        context = data.get("context", {})
        text = (f"{context.get('date', '')[:10]}, {context.get('num_cpus', '?')} CPUs; "
                "medians over the repetitions of each percentile")
        with open(args[1], "w", encoding="utf-8") as f:
            f.write(draw(push_series(figs), text))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
