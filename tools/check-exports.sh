#!/usr/bin/env bash
# Checks what a built library exports.
#
#   tools/check-exports.sh build/libvsk.so     (ELF shared object)
#   tools/check-exports.sh build-mingw64/vsk.dll  (Windows DLL)
#
# Both must export the 22 tvsk operations and every function that the headers
# mark VSK_API. An ELF library may export the internal operations too, but only
# C-named vsk symbols (no C++ or helper symbols); a DLL exports exactly the
# VSK_API functions and nothing else.
set -euo pipefail
lib=${1:-build/libvsk.so}
include=$(cd "$(dirname "$0")/../include" && pwd)

# The VSK_API functions of the headers: the name follows VSK_CALL on the
# declaration's first line.
expected=$(grep -h '^VSK_API' "$include/vsk.h" "$include/vsk_internal.h" |
           sed -nE 's/.*VSK_CALL \**(t?vsk[A-Za-z0-9]+)\(.*/\1/p' | sort -u)

case "$lib" in
  *.dll)
    symbols=$(objdump -p "$lib" |
              sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/^\s*\[ *[0-9]*\] //p' | sort)
    ;;
  *)
    symbols=$(nm -D --defined-only "$lib" | awk '{print $3}' | sort)
    ;;
esac

fail=0
ops=$(grep -c '^tvsk' <<<"$symbols" || true)
if [ "$ops" -ne 22 ]; then
  echo "expected 22 exported tvsk operations, found $ops" >&2
  fail=1
fi
missing=$(comm -23 <(echo "$expected") <(echo "$symbols"))
if [ -n "$missing" ]; then
  echo "missing exports:" >&2
  echo "$missing" >&2
  fail=1
fi
case "$lib" in
  *.dll) stray=$(comm -13 <(echo "$expected") <(echo "$symbols")) ;;
  *) stray=$(grep -v -E '^t?vsk[A-Za-z0-9]*$' <<<"$symbols" || true) ;;
esac
if [ -n "$stray" ]; then
  echo "unexpected exported symbols:" >&2
  echo "$stray" >&2
  fail=1
fi
[ "$fail" -eq 0 ] || exit 1
echo "$lib: 22 operations, $(wc -l <<<"$symbols") symbols exported, as the headers declare"
