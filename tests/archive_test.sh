#!/usr/bin/env bash
# A release archive works on its own: unpacked into a fresh folder it holds
# the plug-in, both stand-ins, the two programs, the sample configuration and
# the README, and its demo host trades the scripted day from there.
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

files=(README.txt bin/config/xt_config)
if [[ $archive == *.zip ]]; then
  exe=.exe
  files+=(bin/KSTraderAPIPluginXT.dll bin/XtTraderApi.dll bin/Common.dll)
else
  exe=
  files+=(bin/KSTraderAPIPluginXT.so bin/libXtTraderApi.so bin/libCommon.so
    include/KSTraderAPIPluginXT/plugin/trade_session.h
    include/KSTraderAPIPluginXT/identity/client_id_set.h
    lib/cmake/KSTraderAPIPluginXT/KSTraderAPIPluginXTConfig.cmake)
fi
files+=("bin/demo_host$exe" "bin/plugin_info$exe")
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
if ! "$@" "$root/bin/demo_host$exe" --timeout-ms 60000 >"$work/day.log" 2>&1 ||
    ! grep -q "scripted day complete" "$work/day.log"; then
  cat "$work/day.log"
  exit 1
fi
echo "$(basename "$archive"): ${#files[@]} files present; $(tr -d '\r' <"$work/day.log" | tail -1)"
