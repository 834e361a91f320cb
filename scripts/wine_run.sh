#!/usr/bin/env bash
# Runs one Windows program under Wine: the Windows builds' emulator
# (cmake/KsWineEmulator.cmake) and the soak's. Usage: wine_run.sh WINE PROGRAM [ARGS...]
#
# Wine 8 now and then fails to start a process at all: before any of the
# program's code runs, it prints "failed to map the shared user data"
# (status c0000018, an address the new process needs is taken) and exits 1.
# Measured under load: 2 in 6,000 starts of the demo host, the same program
# that ran every other time. Such a start is made again, up to twice more;
# nothing of the program ran, so nothing is repeated. Every other outcome,
# a crash or a failure of the program's own, is passed on as it is. Wine's
# error channel for its virtual memory stays on to show that message; its
# other channels stay quiet.
set -uo pipefail
wine=$1
shift
export WINEDEBUG="${WINEDEBUG:--all},err+virtual"

errors=$(mktemp)
trap 'rm -f "$errors"' EXIT
for attempt in 1 2 3; do
  # Standard error goes on to the caller as it comes, and into $errors.
  { "$wine" "$@" 2>&1 1>&3 3>&- | tee "$errors" >&2; } 3>&1
  status=${PIPESTATUS[0]}
  if [ "$status" -ne 1 ] || ! grep -q "failed to map the shared user data" "$errors"; then
    exit "$status"
  fi
  echo "wine_run.sh: Wine could not start $1 (attempt $attempt of 3)" >&2
done
exit "$status"
