#!/usr/bin/env bash
# Refuses thread-local storage in the sources of the libraries we ship (the
# plug-in, the Common and XtTraderApi stand-ins, the journal's recorders)
# other than through kestrel::ThreadSlot (plugin/thread_slot.h), which
# demands a value without a destructor: on Windows a destructor run at a
# thread's end can deadlock that thread's exit against the loader lock
# (docs/windows.md). Comments after // are not read.
# Usage: scripts/check_thread_locals.sh [SOURCE_ROOT]   (default: this tree)
# Exit status: 0 none found, 1 found (each listed as file:line: text).
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"

library_dirs=(plugin session identity spi host/common broker recorder)
allowed=plugin/thread_slot.h
keywords='thread_local|__thread|thread_specific_ptr|pthread_key_create|FlsAlloc|TlsAlloc'
pattern="^(?:(?!//).)*?(?:\\b(?:$keywords)\\b|__declspec\\s*\\(\\s*thread\\s*\\))"

dirs=()
for dir in "${library_dirs[@]}"; do [ -d "$dir" ] && dirs+=("$dir"); done
[ ${#dirs[@]} -gt 0 ] || { echo "check_thread_locals: no library sources under $PWD" >&2; exit 2; }

found=$(grep -rnP --include='*.h' --include='*.cc' --include='*.cpp' "$pattern" "${dirs[@]}" |
          grep -v "^$allowed:" || true)
if [ -n "$found" ]; then
  echo "$found" >&2
  echo "check_thread_locals: thread-local storage in library code above; use" \
       "kestrel::ThreadSlot (plugin/thread_slot.h) with a trivially destructible value" >&2
  exit 1
fi
echo "check_thread_locals: no thread-local storage outside ThreadSlot in ${dirs[*]}"
