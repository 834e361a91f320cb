#!/usr/bin/env python3
"""Draws the order-push cost against the number of registered orders as SVG.

Usage: scripts/bench_chart.py BENCH_JSON OUTPUT_SVG

Reads the medians of BM_OrderPush/<event>_<recent|random>/<size> from one
benchmark run (scripts/bench_run.sh) and draws one line per event and pick:
solid for recent orders, dashed for random ones, on a logarithmic axis of
registered orders and a logarithmic time axis. The floor of the same run and
the 300 ns goal are drawn as horizontal guides. Standard library only.
"""

import math
import os
import re
import sys
from xml.sax.saxutils import escape

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import bench_common  # noqa: E402

EVENTS = [("accepted", "#1f77b4"), ("filled", "#2ca02c"), ("canceled", "#ff7f0e"),
          ("rejected", "#d62728")]
PICKS = [("recent", ""), ("random", "6,4")]
WIDTH, HEIGHT = 760, 440
LEFT, RIGHT, TOP, BOTTOM = 70, 190, 50, 60
GOAL_NS = 300


def series(figs):
    """{(event, pick): [(size, ns), ...]} sorted by size."""
    pattern = re.compile(r"^BM_OrderPush/(\w+)_(recent|random)/(\d+)$")
    out = {}
    for name, fig in figs.items():
        m = pattern.match(name)
        if m:
            out.setdefault((m.group(1), m.group(2)), []).append((int(m.group(3)), fig["ns"]))
    for points in out.values():
        points.sort()
    return out


def log_ticks(lo, hi):
    """The 1-2-5 ticks from the largest one <= lo to the smallest one >= hi."""
    ticks = []
    decade = 10 ** math.floor(math.log10(lo))
    while not ticks or ticks[-1] < hi:
        ticks += [step * decade for step in (1, 2, 5)]
        decade *= 10
    first = max(i for i, tick in enumerate(ticks) if tick <= lo)
    last = min(i for i, tick in enumerate(ticks) if tick >= hi)
    return ticks[first:last + 1]


def size_label(size):
    if size >= 1000000:
        return f"{size // 1000000}M"
    if size >= 1000:
        return f"{size // 1000}k"
    return str(size)


def frame(title, context, y_ticks, y_of):
    """The SVG's opening, title, context line and horizontal grid with its labels."""
    out = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
        f'viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        f'<text x="{LEFT}" y="22" font-size="15" font-weight="bold">{escape(title)}</text>',
        f'<text x="{LEFT}" y="38" fill="#555">{escape(context)}</text>',
    ]
    for ns in y_ticks:
        y = y_of(ns)
        out.append(f'<line x1="{LEFT}" y1="{y:.1f}" x2="{WIDTH - RIGHT}" y2="{y:.1f}" '
                   'stroke="#e5e5e5"/>')
        out.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">{ns:g}</text>')
    return out


def axes(x_label, y_label):
    """The plot's box and the two axis titles."""
    plot_w, plot_h = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM
    return [
        f'<rect x="{LEFT}" y="{TOP}" width="{plot_w}" height="{plot_h}" fill="none" '
        'stroke="#333"/>',
        f'<text x="{LEFT + plot_w / 2:.1f}" y="{HEIGHT - 18}" text-anchor="middle">'
        f'{escape(x_label)}</text>',
        f'<text x="18" y="{TOP + plot_h / 2:.1f}" text-anchor="middle" '
        f'transform="rotate(-90 18 {TOP + plot_h / 2:.1f})">{escape(y_label)}</text>',
    ]


def draw(lines, floor_ns, context):
    sizes = sorted({s for points in lines.values() for s, _ in points})
    if not sizes:
        raise SystemExit("bench_chart: no BM_OrderPush results in the input")
    x_lo = 10 ** math.floor(math.log10(sizes[0]))
    x_hi = 10 ** math.ceil(math.log10(sizes[-1]))
    values = [ns for points in lines.values() for _, ns in points]
    lowest = min(values + ([floor_ns] if floor_ns else []))
    y_ticks = log_ticks(lowest * 0.9, max(values) * 1.05)
    y_lo, y_hi = y_ticks[0], y_ticks[-1]
    plot_w = WIDTH - LEFT - RIGHT
    plot_h = HEIGHT - TOP - BOTTOM

    def x_of(size):
        return LEFT + plot_w * (math.log10(size) - math.log10(x_lo)) / (
            math.log10(x_hi) - math.log10(x_lo))

    def y_of(ns):
        return TOP + plot_h * (1 - (math.log10(ns) - math.log10(y_lo)) /
                               (math.log10(y_hi) - math.log10(y_lo)))

    out = frame("Order push to host call: median CPU time per push", context, y_ticks, y_of)
    decade = x_lo
    while decade <= x_hi:
        x = x_of(decade)
        out.append(f'<line x1="{x:.1f}" y1="{TOP}" x2="{x:.1f}" y2="{TOP + plot_h}" '
                   'stroke="#e5e5e5"/>')
        out.append(f'<text x="{x:.1f}" y="{TOP + plot_h + 18}" text-anchor="middle">'
                   f'{size_label(decade)}</text>')
        decade *= 10
    out += axes("orders registered (logarithmic)", "ns per push (logarithmic)")
    # Guides: the goal and the floor.
    guides = [(GOAL_NS, "#888", f"goal {GOAL_NS} ns")]
    if floor_ns:
        guides.append((floor_ns, "#aaa", f"floor {floor_ns:.0f} ns"))
    for ns, colour, label in guides:
        if y_lo <= ns <= y_hi:
            y = y_of(ns)
            out.append(f'<line x1="{LEFT}" y1="{y:.1f}" x2="{LEFT + plot_w}" y2="{y:.1f}" '
                       f'stroke="{colour}" stroke-dasharray="2,3"/>')
            out.append(f'<text x="{LEFT + 6}" y="{y - 4:.1f}" fill="{colour}">{label}</text>')
    # The lines.
    for event, colour in EVENTS:
        for pick, dash in PICKS:
            points = lines.get((event, pick))
            if not points:
                continue
            path = " ".join(f"{x_of(s):.1f},{y_of(ns):.1f}" for s, ns in points)
            dash_attr = f' stroke-dasharray="{dash}"' if dash else ""
            out.append(f'<polyline points="{path}" fill="none" stroke="{colour}" '
                       f'stroke-width="2"{dash_attr}/>')
            for s, ns in points:
                out.append(f'<circle cx="{x_of(s):.1f}" cy="{y_of(ns):.1f}" r="3" '
                           f'fill="{colour}"><title>{event}, {pick}, {size_label(s)}: '
                           f'{ns:.0f} ns</title></circle>')
    # Legend.
    lx, ly = LEFT + plot_w + 20, TOP + 10
    for event, colour in EVENTS:
        for pick, dash in PICKS:
            dash_attr = f' stroke-dasharray="{dash}"' if dash else ""
            out.append(f'<line x1="{lx}" y1="{ly}" x2="{lx + 28}" y2="{ly}" stroke="{colour}" '
                       f'stroke-width="2"{dash_attr}/>')
            out.append(f'<text x="{lx + 36}" y="{ly + 4}">{event}, {pick}</text>')
            ly += 20
    out.append("</svg>")
    return "\n".join(out) + "\n"


def main(argv):
    if len(argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    data = bench_common.load(argv[1])
    figs = bench_common.figures(data)
    floor = bench_common.find(figs, "BM_Floor")
    context = data.get("context", {})
    text = (f"{context.get('date', '')[:10]}, {context.get('num_cpus', '?')} CPUs; "
            "solid: most recent orders, dashed: random orders")
    svg = draw(series(figs), floor["ns"] if floor else None, text)
    with open(argv[2], "w", encoding="utf-8") as f:
        f.write(svg)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
