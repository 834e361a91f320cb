#!/usr/bin/env bash
# A release archive works on its own: unpacked into a fresh folder it holds
# the plug-in, both stand-ins, the two programs, the sample configurations,
# the journal's recorders and tools and the README; from there its demo host
# trades the scripted day against the polite counter and against the chaos
# sample, and a day recorded through the recorders is dumped and replayed
# without a difference, and reported (journal_report) as four orders.
# Usage: archive_test.sh ARCHIVE [EMULATOR...]
#   .tar.gz and .deb are Linux archives, run natively; a .zip is the Windows
#   one, run under EMULATOR (Wine).
set -euo pipefail
archive=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/unpacked"
case $archive in
  *.deb)
    dpkg-deb -x "$archive" "$work/unpacked"
    root=$work/unpacked/opt/KSTraderAPIPluginXT
    ;;
  *)
    (cd "$work/unpacked" && cmake -E tar xf "$archive")
    root=$(echo "$work"/unpacked/*)  # the archive's one top-level folder
    ;;
esac

files=(README.txt bin/config/xt_config bin/config/xt_config.chaos)
if [[ $archive == *.zip ]]; then
  exe=.exe
  plugin=KSTraderAPIPluginXT.dll
  files+=(bin/KSTraderAPIPluginXT.dll bin/XtTraderApi.dll bin/Common.dll
    journal/record/KSTraderAPIPluginXT.dll journal/record/KSTraderAPIPluginXT_real.dll
    journal/record/XtTraderApi.dll journal/record/XtTraderApi_real.dll
    journal/record/KSJournal.dll journal/tools/XtTraderApi.dll journal/tools/Common.dll)
else
  exe=
  plugin=KSTraderAPIPluginXT.so
  files+=(bin/KSTraderAPIPluginXT.so bin/libXtTraderApi.so bin/libCommon.so
    journal/record/KSTraderAPIPluginXT.so journal/record/KSTraderAPIPluginXT_real.so
    journal/record/libXtTraderApi.so journal/record/libXtTraderApi_real.so
    journal/record/libKSJournal.so journal/tools/libXtTraderApi.so journal/tools/libCommon.so)
fi
files+=(include/KSTraderAPIPluginXT/plugin/trade_session.h
  include/KSTraderAPIPluginXT/plugin/common.h
  include/KSTraderAPIPluginXT/identity/client_id_set.h
  lib/cmake/KSTraderAPIPluginXT/KSTraderAPIPluginXTConfig.cmake)
files+=("bin/demo_host$exe" "bin/plugin_info$exe" "journal/tools/journal_dump$exe"
  "journal/tools/journal_replay$exe" "journal/tools/journal_report$exe")
status=0
for file in "${files[@]}"; do
  if [ ! -f "$root/$file" ]; then
    echo "missing from $(basename "$archive"): $file"
    status=1
  fi
done
[ $status -eq 0 ] || exit 1

# Run from elsewhere, so that nothing is found through the working directory.
cd "$work"
info=$("$@" "$root/bin/plugin_info$exe" | tr -d '\r')
if [[ $info != "Plugin Ver:"* ]]; then
  echo "plugin_info printed: $info"
  exit 1
fi
# run LOG EXPECTED PROGRAM ARGUMENTS...: the program exits 0 and its
# output holds EXPECTED (an extended regular expression); else both are shown.
run() {
  local log=$work/$1 expected=$2
  shift 2
  if ! "$@" >"$log" 2>&1 || ! grep -Eq "$expected" "$log"; then
    echo "$* did not print '$expected':"
    cat "$log"
    exit 1
  fi
}
demo=("$@" "$root/bin/demo_host$exe" --timeout-ms 60000)
run day.log "scripted day complete" "${demo[@]}"
run chaos.log "scripted day complete" "${demo[@]}" --config "$root/bin/config/xt_config.chaos"

# The journal: the recorders stand in for the plug-in (demo_host --plugin)
# and, through it, for the vendor library. The counter answers inside the
# calls, so that the replay meets the recorded order (tests/journal_day.cmake).
sed 's/^synchronous = false/synchronous = true/' "$root/bin/config/xt_config" >"$work/xt_config"
XT_SIM_CONFIG=$work/xt_config KS_JOURNAL_FILE=$work/day.ksj \
  run recorded.log "scripted day complete" "${demo[@]}" --plugin "$root/journal/record/$plugin"
run dump.log "H<  onOrderFilled .*client=demo@000001" \
  "$@" "$root/journal/tools/journal_dump$exe" "$work/day.ksj"
run replay.log "no difference" \
  "$@" "$root/journal/tools/journal_replay$exe" "$work/day.ksj" --plugin "$root/bin/$plugin"
run report.log "4 orders, [0-9]+ entries" \
  "$@" "$root/journal/tools/journal_report$exe" "$work/day.ksj" -o day.html --json day.json
grep -q '"orders_summary":{"sent":4,' "$work/day.json" &&
  grep -q '<tr class="order" data-i="3"' "$work/day.html" || {
  echo "journal_report's page or JSON lacks the day's four orders"
  exit 1
}

echo "$(basename "$archive"): ${#files[@]} files present;" \
  "$(tr -d '\r' <"$work/day.log" | tail -1); chaos: $(tr -d '\r' <"$work/chaos.log" | tail -1);" \
  "replay: $(tr -d '\r' <"$work/replay.log" | tail -1); report: $(tr -d '\r' <"$work/report.log" | tail -1)"
