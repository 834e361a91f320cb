#!/usr/bin/env bash
# The soak (docs/soak.md): in each build given, for SOAK_SECONDS (default 60),
# round after round until the time is up:
#   - soak_host: many sessions at once, each ended (release, or a delete
#     without it) while the counter's price walk still fills its orders, for
#     a slice of up to 10 s;
#   - the chaos day (config/xt_config.chaos) recorded through both recorders
#     and replayed against the plug-in, with no difference, again and again
#     for a slice of up to 10 s (once at least);
#   - the thread-exit loop (ThreadExitTest, 3,000 cycles of release's shape).
# A Windows build (programs ending in .exe) runs under Wine. Every program
# runs under `timeout`, so a hang is a failure, never a stuck soak.
#
# Usage: scripts/soak.sh BUILD_DIR...
# Prints one line per build and a total; keeps the output (and the journal)
# of every failure in BUILD_DIR/soak-run/. Exit status 0 without failures.
set -uo pipefail
cd "$(dirname "$0")/.."
seconds=${SOAK_SECONDS:-60}
slice=10
[ $# -gt 0 ] || { echo "usage: scripts/soak.sh BUILD_DIR..." >&2; exit 2; }

# The sanitizer builds' settings, as their test presets have them.
export ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

total_failures=0
summaries=()

# soak_build BUILD_DIR: one build's soak; adds its line to `summaries`.
soak_build() {
  local build exe="" emulator=() work bin start deadline
  build=$(cd "$1" && pwd) || return 1
  bin=$build/bin
  if [ -f "$bin/demo_host.exe" ]; then
    exe=.exe
    emulator=("$PWD/scripts/wine_run.sh" wine)
    source scripts/wine_session.sh
    wine_session "$build"
  fi
  local programs=("$bin/soak_host$exe" "$bin/demo_host$exe" "$bin/thread_exit_test$exe"
    "$build/journal/tools/journal_replay$exe")
  for program in "${programs[@]}"; do
    [ -f "$program" ] || { echo "soak: $program is missing: build $build first" >&2; return 1; }
  done
  local plugin=$bin/KSTraderAPIPluginXT.so recorder=$build/journal/record/KSTraderAPIPluginXT.so
  if [ -n "$exe" ]; then
    plugin=$bin/KSTraderAPIPluginXT.dll
    recorder=$build/journal/record/KSTraderAPIPluginXT.dll
  fi
  work=$build/soak-run
  rm -rf "$work"
  mkdir -p "$work"

  local rounds=0 cycles=0 released=0 deleted=0 orders=0 fills=0 events=0 failures=0
  local days=0 day_events=0 exit_runs=0 log
  start=$SECONDS
  deadline=$((start + seconds))
  # failed WHAT LOG: a failure, its output kept.
  failed() {
    failures=$((failures + 1))
    local kept=$work/failure-$failures-$1.log
    mv "$2" "$kept"
    echo "soak $(basename "$build"): FAILED: $1 (round $rounds): $kept" >&2
    tail -n 20 "$kept" | sed 's/^/    /' >&2
  }
  while [ $SECONDS -lt $deadline ]; do
    rounds=$((rounds + 1))
    log=$work/round.log

    # Many sessions at once, ended under fills.
    local left=$((deadline - SECONDS))
    [ $left -gt $slice ] && left=$slice
    [ $left -lt 2 ] && left=2
    local status=0
    (cd "$work" && timeout $((left + 120)) "${emulator[@]}" "$bin/soak_host$exe" \
      --seconds "$left" --plugin "$plugin") >"$log" 2>&1 || status=$?
    read -r c r d o f e < <(tr -d '\r' <"$log" | sed -n \
      's/.*: \([0-9]*\) cycles (\([0-9]*\) released, \([0-9]*\) deleted), \([0-9]*\) orders, \([0-9]*\) fills, \([0-9]*\) host events.*/\1 \2 \3 \4 \5 \6/p')
    cycles=$((cycles + ${c:-0})) released=$((released + ${r:-0})) deleted=$((deleted + ${d:-0}))
    orders=$((orders + ${o:-0})) fills=$((fills + ${f:-0})) events=$((events + ${e:-0}))
    [ $status -eq 0 ] || failed soak_host "$log"

    # The chaos day, recorded and replayed, again and again.
    local journal=$work/chaos.ksj chaos_until=$((SECONDS + slice))
    [ $chaos_until -gt $deadline ] && chaos_until=$deadline
    while :; do
      rm -f "$journal"
      if ! (cd "$bin" && KS_JOURNAL_FILE=$journal timeout 120 "${emulator[@]}" \
          "$bin/demo_host$exe" --plugin "$recorder" --config config/xt_config.chaos \
          --timeout-ms 10000) >"$log" 2>&1; then
        failed chaos-day "$log"
        cp "$journal" "$work/failure-$failures.ksj" 2>/dev/null
      elif ! timeout 120 "${emulator[@]}" "$build/journal/tools/journal_replay$exe" "$journal" \
          --plugin "$plugin" >"$log" 2>&1; then
        failed chaos-replay "$log"
        cp "$journal" "$work/failure-$failures.ksj"
      else
        days=$((days + 1))
        day_events=$((day_events + $(tr -d '\r' <"$log" |
          sed -n 's/.*no difference: \([0-9]*\) host events.*/\1/p')))
      fi
      [ $SECONDS -lt $chaos_until ] || break
    done

    # The thread-exit loop.
    if timeout 600 "${emulator[@]}" "$bin/thread_exit_test$exe" >"$log" 2>&1; then
      exit_runs=$((exit_runs + 1))
    else
      failed thread-exit "$log"
    fi
  done
  rm -f "$work/round.log" "$work/chaos.ksj"

  summaries+=("$(printf 'soak %s: %d s, %d rounds: %d session cycles (%d released, %d deleted), %d orders, %d fills, %d host events; %d chaos days recorded and replayed without a difference (%d host events); %d thread-exit cycles; %d failures' \
    "$(basename "$build")" $((SECONDS - start)) $rounds $cycles $released $deleted $orders $fills \
    $events $days $day_events $((exit_runs * 3000)) $failures)")
  echo "${summaries[-1]}"
  total_failures=$((total_failures + failures))
  if [ -n "$exe" ]; then
    wineserver -k >/dev/null 2>&1 || true
    trap - EXIT
  fi
}

for build in "$@"; do
  soak_build "$build" || total_failures=$((total_failures + 1))
done
echo "=== soak: ${SOAK_SECONDS:-60} s per build"
printf '%s\n' "${summaries[@]}"
echo "soak: $total_failures failures"
[ $total_failures -eq 0 ]
