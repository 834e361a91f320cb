#!/usr/bin/env python3
"""Prints the figures table of one benchmark run.

Usage: scripts/bench_table.py BENCH_JSON [--markdown]

Each row: the figure, its median, the spread of the repetitions (coefficient
of variation), its ratio to the floor (memcpy of a vendor order record plus
one virtual call into another translation unit), and the goal where one is
set. A figure missing from the run prints "not run".
"""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import bench_common  # noqa: E402

FLOOR = "BM_Floor"
SIZES = [("1e3", 1000), ("1e5", 100000), ("1e6", 1000000)]
EVENTS = ["accepted", "filled", "canceled", "rejected"]


def rows():
    """(label, run-name prefix, goal text, goal in ns or None)."""
    out = [
        ("floor: copy of a vendor order + one virtual call", FLOOR, "", None),
        ("sendOrder, vendor call excluded (1e5 registered)", "BM_SendOrder", "<= 400 ns", 400),
    ]
    for event in EVENTS:
        for pick in ("recent", "random"):
            for size_label, size in SIZES:
                goal, goal_ns = "", None
                if pick == "recent" and size == 100000:
                    goal, goal_ns = "<= 300 ns, <= 20x", 300
                out.append((
                    f"order push -> {event}, {size_label} registered, {pick}",
                    f"BM_OrderPush/{event}_{pick}/{size}", goal, goal_ns))
    out += [
        ("deal push -> fill, 1e5 registered, recent", "BM_DealPush/100000", "", None),
        ("order query reply, one record (+ its event)", "BM_OrderDetailReply/100000", "", None),
        ("funds query reply, one record", "BM_AccountDetailReply", "", None),
    ]
    for op in ("Add", "Update"):
        for size_label, size in SIZES:
            out.append((f"registry {op.lower()}, {size_label} registered",
                        f"BM_Registry{op}/{size}", "", None))
    for pick in ("recent", "random"):
        for size_label, size in SIZES:
            out.append((f"registry get, {size_label} registered, {pick}",
                        f"BM_RegistryGet/{pick}/{size}", "", None))
    out += [
        ("vendorTimeToMillis, canonical input", "BM_VendorTime/fast", "<= 20 ns", 20),
        ("  reference: Boost time_from_string", "BM_VendorTime/boost", "", None),
        ("utf8_to_gbk, 24-byte ASCII", "BM_Utf8ToGbk/ascii", "<= 25 ns", 25),
        ("utf8_to_gbk, 24-byte Chinese", "BM_Utf8ToGbk/chinese", "<= 100 ns", 100),
        ("  reference: iconv opened per call, ASCII", "BM_Utf8ToGbkPerCallIconv/ascii", "", None),
        ("  reference: iconv opened per call, Chinese", "BM_Utf8ToGbkPerCallIconv/chinese", "",
         None),
        ("fund account: first key under the lock", "BM_FundAccountFirstKey", "", None),
        ("  reference: copy of the 8-key set", "BM_FundAccountSetCopy", "", None),
        ("release of a connected session", "BM_ReleaseConnected", "<= 150 ms", 150e6),
        ("end to end, one order at a time: sendOrder -> host fill", "BM_EndToEnd/1", "", None),
        ("end to end, 100 orders in flight: per order", "BM_EndToEnd/100", "", None),
        ("order push through the recording vendor library", "BM_OrderPushRecording/1",
         "<= 1 us", 1000),
        ("  reference: the same push handed on unrecorded", "BM_OrderPushRecording/0", "", None),
        ("journal entries of one order, both boundaries", "BM_JournalSizePerOrder", "", None),
    ]
    return out


def format_ns(ns):
    if ns >= 1e6:
        return f"{ns / 1e6:.1f} ms"
    if ns >= 1e4:
        return f"{ns / 1e3:.1f} us"
    if ns >= 100:
        return f"{ns:.0f} ns"
    return f"{ns:.1f} ns"


def build_table(figs):
    floor = bench_common.find(figs, FLOOR)
    floor_ns = floor["ns"] if floor else None
    table = []
    for label, prefix, goal, goal_ns in rows():
        fig = bench_common.find(figs, prefix)
        if fig is None:
            table.append((label, "not run", "", "", goal, ""))
            continue
        ns = fig["ns"]
        extra = ""
        rate = fig["counters"].get("orders_per_second")
        if rate:
            ns = 1e9 / rate  # per order, whatever the batch of one iteration
            extra = f" ({rate:,.0f} orders/s)"
        # Ratios only where the floor is a meaningful yardstick.
        ratio = f"{ns / floor_ns:.1f}x" if floor_ns and ns < 1e4 and not rate else ""
        verdict = ""
        if goal_ns is not None:
            ok = ns <= goal_ns
            if "20x" in goal and floor_ns:
                ok = ok and ns <= 20 * floor_ns
            verdict = "met" if ok else "MISSED"
        spread = f"{fig['cv'] * 100:.0f}%" if fig["cv"] is not None else ""
        table.append((label, format_ns(ns) + extra, spread, ratio, goal, verdict))

    memory = bench_common.find(figs, "BM_RegistryMemory/1000000")
    if memory and "bytes_per_order" in memory["counters"]:
        bpo = memory["counters"]["bytes_per_order"]
        table.append(("registry memory at 1e6 orders (add + update)", f"{bpo:.0f} B/order", "",
                      "", "<= 350 B", "met" if bpo <= 350 else "MISSED"))
    else:
        table.append(("registry memory at 1e6 orders (add + update)", "not run", "", "",
                      "<= 350 B", ""))
    journal = bench_common.find(figs, "BM_JournalSizePerOrder")
    if journal and "bytes_per_order" in journal["counters"]:
        table.append(("journal size per order (17 entries, both boundaries)",
                      f"{journal['counters']['bytes_per_order']:.0f} B/order", "", "", "", ""))
    return table


def print_text(table, context):
    headers = ("figure", "median", "spread", "x floor", "goal", "")
    widths = [max(len(str(r[i])) for r in table + [headers]) for i in range(6)]
    print(context)
    line = "  ".join(h.ljust(widths[i]) for i, h in enumerate(headers))
    print(line)
    print("-" * len(line))
    for r in table:
        print("  ".join(str(c).ljust(widths[i]) if i == 0 else str(c).rjust(widths[i])
                        for i, c in enumerate(r)).rstrip())


def print_markdown(table, context):
    print(context)
    print()
    print("| figure | median | spread | × floor | goal | |")
    print("|---|---:|---:|---:|---|---|")
    for label, median, spread, ratio, goal, verdict in table:
        label = label.replace("->", "→").strip()
        median = median.replace(" us", " µs")
        goal = goal.replace("<=", "≤").replace("20x", "20×")
        print(f"| {label} | {median} | {spread} | {ratio.replace('x', '×')} | {goal} | {verdict} |")


def _repetitions(data):
    counts = [b.get("repetitions", 1) for b in data.get("benchmarks", [])]
    return max(counts) if counts else 0


def main(argv):
    if len(argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    data = bench_common.load(argv[1])
    context = data.get("context", {})
    header = (f"{context.get('date', '')}: {context.get('num_cpus', '?')} CPUs at "
              f"{context.get('mhz_per_cpu', '?')} MHz; load average "
              f"{', '.join(f'{x:.2f}' for x in context.get('load_avg', []))}; medians of "
              f"{_repetitions(data)} repetitions, CPU time (wall clock for release and end to "
              f"end); spread: coefficient of variation of the repetitions")
    table = build_table(bench_common.figures(data))
    if "--markdown" in argv:
        print_markdown(table, header)
    else:
        print_text(table, header)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
