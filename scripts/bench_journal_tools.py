#!/usr/bin/env python3
"""The journal tools over journals of growing size: journal_report's time and
peak memory, journal_dump's peak memory (it must stay flat in the journal's
size). Each journal is a version 2 day made by journal_forge (17 entries an
order filled, 13 one refused); each tool runs on one core (taskset -c 0) and
its peak memory is the largest resident size the kernel saw (getrusage of the
child). Prints a Markdown table.

Usage: scripts/bench_journal_tools.py BUILD_DIR [ENTRIES...]
(default entries: 250000 500000 1000000)
"""
import os
import subprocess
import sys
import tempfile


def measure(command):
    """Runs `command` in a child interpreter of its own, so that the peak is its own."""
    code = ("import resource,subprocess,sys,time;s=time.monotonic();"
            "subprocess.run(['taskset','-c','0']+sys.argv[1:],stdout=subprocess.DEVNULL,"
            "stderr=subprocess.DEVNULL,check=True);t=time.monotonic()-s;"
            "print(t,resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss/1024.0)")
    out = subprocess.run([sys.executable, "-c", code] + command, capture_output=True, text=True,
                         check=True).stdout.split()
    return float(out[0]), float(out[1])


def main():
    build = sys.argv[1]
    sizes = [int(n) for n in sys.argv[2:]] or [250000, 500000, 1000000]
    forge = os.path.join(build, "bin", "journal_forge")
    report = os.path.join(build, "journal", "tools", "journal_report")
    dump = os.path.join(build, "journal", "tools", "journal_dump")
    rows = []
    with tempfile.TemporaryDirectory() as work:
        for entries in sizes:
            # 10 orders make 9 x 17 + 13 = 166 entries.
            orders = entries * 10 // 166
            journal = os.path.join(work, "day.ksj")
            subprocess.run([forge, "day", str(orders), journal], check=True)
            size = os.path.getsize(journal) / 1e6
            page = os.path.join(work, "day.html")
            report_time, report_peak = measure(
                [report, journal, "-o", page, "--json", os.path.join(work, "day.json"),
                 "--csv", os.path.join(work, "day.csv")])
            page_size = os.path.getsize(page) / 1e6
            dump_time, dump_peak = measure([dump, journal])
            rows.append((entries, orders, size, report_time, report_peak, page_size, dump_time,
                         dump_peak))
            os.remove(journal)
    print("| entries | orders | journal | journal_report | its peak memory | page | "
          "journal_dump | its peak memory |")
    print("|---:|---:|---:|---:|---:|---:|---:|---:|")
    for entries, orders, size, rt, rp, ps, dt, dp in rows:
        print(f"| {entries:,} | {orders:,} | {size:.0f} MB | {rt:.1f} s | {rp:.0f} MB | {ps:.0f} MB "
              f"| {dt:.1f} s | {dp:.0f} MB |")


if __name__ == "__main__":
    main()
