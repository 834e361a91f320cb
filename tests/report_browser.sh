#!/usr/bin/env bash
# The day report's page in a real browser: headless Chromium opens it from a
# file:// address (no network, no other file) with an order's entries asked
# for in the address (#order=N), runs its script, and gives back the page as
# it then stands. Checked: no script error and no console error, every chart
# drawn (the page counts the SVG charts whose drawn box is not empty), as many
# table rows as the report's JSON has orders, the order's row opened on its
# journal entries; a screenshot at 1280x800 kept in WORK/report.png.
# Usage: report_browser.sh CHROMIUM JOURNAL_REPORT DAYS WORK
set -euo pipefail
chromium=$1 report=$2 days=$3 work=$4
journal=$days/chaos-9.ksj
[ -f "$journal" ] || { echo "no chaos day at $journal (report_day records it)" >&2; exit 1; }
rm -rf "$work"
mkdir -p "$work"
"$report" "$journal" -o "$work/day.html" --json "$work/day.json" 2>"$work/report.log"
orders=$(python3 -c 'import json,sys; print(len(json.load(open(sys.argv[1]))["orders"]))' "$work/day.json")
[ "$orders" -gt 0 ] || { echo "the chaos day has no orders" >&2; exit 1; }

browse() {  # browse ARGUMENTS...: headless Chromium in a fresh profile
  local profile
  profile=$(mktemp -d "$work/profile.XXXXXX")
  timeout 60 "$chromium" --headless=new --no-sandbox --disable-gpu --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --user-data-dir="$profile" --enable-logging=stderr --v=0 "$@"
  rm -rf "$profile"
}

# The page after its script, the second order's row opened.
browse --virtual-time-budget=5000 --dump-dom "file://$work/day.html#order=1" \
  >"$work/dom.html" 2>"$work/console.log"
fail=0
check() {  # check DESCRIPTION PATTERN
  if ! grep -Eq -- "$2" "$work/dom.html"; then
    echo "FAILED: $1 (no match for $2 in $work/dom.html)" >&2
    fail=1
  fi
}
check "the script ran to its end" 'data-ready="1"'
check "no script error" 'data-errors="0"'
check "one row per order ($orders)" "data-orders=\"$orders\""
charts=$(grep -o '<svg class="chart"' "$work/dom.html" | wc -l)
check "every chart drawn ($charts)" "data-charts=\"$charts/$charts\""
check "the second order's entries opened" '<tr class="entries"><td colspan="[0-9]+"><pre>[^<]*H&gt;  sendOrder'
if grep -E 'CONSOLE|Uncaught' "$work/console.log" | grep -Eiv 'dbus|bus\.cc'; then
  echo "FAILED: console messages (above)" >&2
  fail=1
fi

browse --window-size=1280,800 --hide-scrollbars --screenshot="$work/report.png" \
  "file://$work/day.html" >/dev/null 2>>"$work/console.log"
[ -s "$work/report.png" ] || { echo "FAILED: no screenshot" >&2; fail=1; }
[ $fail -eq 0 ] && echo "report_browser: $orders orders, $charts charts drawn, screenshot $work/report.png"
exit $fail
