#!/usr/bin/env bash
# The configuration path reaches the vendor in GBK when the server's directory
# holds Chinese characters: the probe and its libraries run from such a folder.
# Usage: init_path_test.sh BIN-DIR [EMULATOR...]
# With an emulator (Wine) the Windows build runs: Wine shows the Unix path / as
# drive Z:, so the directory GetModuleFileNameW reports is Z: followed by the
# Unix path with backslashes.
set -euo pipefail
bin=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
dir="$work/交易服务器 一号"
mkdir -p "$dir"
if [ $# -gt 0 ]; then
  files=(init_path_probe.exe Common.dll XtTraderApi.dll)
  seenDir="Z:${dir//\//\\}"
else
  files=(init_path_probe libCommon.so libXtTraderApi.so)
  seenDir=$dir
fi
for file in "${files[@]}"; do cp "$bin/$file" "$dir"/; done
actual=$("$@" "$dir/${files[0]}" | tr -d '\r')
expected=$(printf '%s\\config\\xt_config' "$seenDir" | iconv -f UTF-8 -t GBK | od -An -v -tx1 |
  tr -d ' \n')
if [ "$actual" != "$expected" ]; then
  echo "init path bytes differ"
  echo "expected $expected"
  echo "actual   $actual"
  exit 1
fi
echo "init path ok: $(printf '%s' "$actual" | wc -c) hex digits"
