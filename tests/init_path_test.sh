#!/usr/bin/env bash
# The configuration path reaches the vendor in GBK when the server's directory
# holds Chinese characters: the probe and its libraries run from such a folder.
set -euo pipefail
bin=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
dir="$work/交易服务器 一号"
mkdir -p "$dir"
cp "$bin"/init_path_probe "$bin"/libCommon.so "$bin"/libXtTraderApi.so "$dir"/
actual=$("$dir"/init_path_probe)
expected=$(printf '%s\\config\\xt_config' "$dir" | iconv -f UTF-8 -t GBK | od -An -v -tx1 | tr -d ' \n')
if [ "$actual" != "$expected" ]; then
  echo "init path bytes differ"
  echo "expected $expected"
  echo "actual   $actual"
  exit 1
fi
echo "init path ok: $(printf '%s' "$actual" | wc -c) hex digits"
