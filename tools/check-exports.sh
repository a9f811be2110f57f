#!/usr/bin/env bash
# Checks that a built shared library exports the 22 operations and only
# C-named vsk symbols (no C++ or helper symbols leak out).
set -euo pipefail
lib=${1:-build/libvsk.so}
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}' | sort)
ops=$(grep -c '^tvsk' <<<"$symbols" || true)
if [ "$ops" -ne 22 ]; then
  echo "expected 22 exported tvsk operations, found $ops" >&2
  grep '^tvsk' <<<"$symbols" >&2 || true
  exit 1
fi
stray=$(grep -v -E '^t?vsk[A-Za-z0-9]*$' <<<"$symbols" || true)
if [ -n "$stray" ]; then
  echo "unexpected exported symbols:" >&2
  echo "$stray" >&2
  exit 1
fi
echo "$lib: 22 operations, $(wc -l <<<"$symbols") symbols, all C names"
