#!/usr/bin/env bash
# The Windows sibling of init_path_test.sh, for the cross build under Wine:
# the configuration path reaches the vendor in GBK when the server's directory
# holds Chinese characters. The probe runs from such a folder; Wine shows the
# Unix path / as drive Z:, so the directory GetModuleFileNameW reports is
# Z: followed by the Unix path with backslashes.
# Usage: init_path_test_wine.sh BIN-DIR EMULATOR...
set -euo pipefail
bin=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
dir="$work/交易服务器 一号"
mkdir -p "$dir"
cp "$bin"/init_path_probe.exe "$bin"/Common.dll "$bin"/XtTraderApi.dll "$dir"/
actual=$("$@" "$dir"/init_path_probe.exe | tr -d '\r')
windowsDir="Z:${dir//\//\\}"
expected=$(printf '%s\\config\\xt_config' "$windowsDir" | iconv -f UTF-8 -t GBK | od -An -v -tx1 |
  tr -d ' \n')
if [ "$actual" != "$expected" ]; then
  echo "init path bytes differ"
  echo "expected $expected"
  echo "actual   $actual"
  exit 1
fi
echo "init path ok: $(printf '%s' "$actual" | wc -c) hex digits"
