#!/usr/bin/env bash
# scripts/wine_run.sh against a stand-in for Wine that fails to start the
# process its first N times (FAILS) and then runs a program that exits with
# EXIT: a failed start is made again, at most three starts in all; a
# program's own exit code, 1 included, ends the run at once.
# Usage: wine_run_test.sh WINE_RUN
set -u
wine_run=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat >"$work/wine" <<'STANDIN'
#!/bin/sh
n=$(cat "$COUNT")
echo $((n + 1)) >"$COUNT"
if [ "$n" -lt "$FAILS" ]; then
  echo "0024:err:virtual:virtual_alloc_first_teb wine: failed to map the shared user data: c0000018" >&2
  exit 1
fi
echo "ran $*"
exit "$EXIT"
STANDIN
chmod +x "$work/wine"

failures=0
# fails  exit  expected status  expected starts
while read -r fails exit want starts; do
  echo 0 >"$work/count"
  out=$(COUNT=$work/count FAILS=$fails EXIT=$exit "$wine_run" "$work/wine" prog.exe a 2>/dev/null)
  status=$?
  got=$(cat "$work/count")
  if [ "$status" != "$want" ] || [ "$got" != "$starts" ]; then
    echo "FAILS=$fails EXIT=$exit: status $status after $got starts, wanted $want after $starts"
    failures=$((failures + 1))
  elif [ "$fails" -lt 3 ] && [ "$out" != "ran prog.exe a" ]; then
    echo "FAILS=$fails EXIT=$exit: the program's output was '$out'"
    failures=$((failures + 1))
  fi
done <<'ROWS'
0 0 0 1
0 1 1 1
0 7 7 1
1 0 0 2
2 5 5 3
3 0 1 3
ROWS
exit $((failures > 0))
