#!/usr/bin/env bash
# Installs a built vsk tree into a temporary prefix, then builds the consumer
# program against the installed files through find_package (shared and static
# library) and through pkg-config, and runs each build.
#
#   tests/consumer/check.sh BUILD_DIR
#
# A Windows cross build (its cache names a toolchain file) is consumed with the
# same toolchain, and its programs run under Wine (/usr/lib/wine/wine64, or
# $VSK_WINE) with the installed bin/ directory on the DLL search path.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cache_value() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
toolchain=$(cache_value CMAKE_TOOLCHAIN_FILE)

cmake --install "$build" --prefix "$prefix" >/dev/null
pcdir=$(dirname "$(find "$prefix" -name vsk.pc)")
libdir=$(dirname "$pcdir")

if [ -n "$toolchain" ]; then
  wine=${VSK_WINE:-/usr/lib/wine/wine64}
  # The build's own prefix once its tests have made it, else a new one.
  wineprefix=$build/wine
  [ -d "$wineprefix" ] || wineprefix=$work/wine
  bindir="Z:${prefix//\//\\}\\bin"  # the DLL's directory as Wine names it
  run() {
    env -u DISPLAY WINEDEBUG=-all WINEPREFIX="$wineprefix" WINEDLLOVERRIDES="mscoree,mshtml=" \
      WINEPATH="$bindir" "$wine" "$@"
  }
  exe=.exe
  # The toolchain confines package searches to the target's root: name the
  # package's directory instead.
  config=$(find "$prefix" -name vskConfig.cmake)
  extra=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -Dvsk_DIR="$(dirname "$config")")
else
  run() { LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" "$@"; }
  exe=
  extra=()
fi

echo "-- find_package(vsk)"
cmake -S "$here" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" "${extra[@]}" >/dev/null
cmake --build "$work/cmake" >/dev/null
run "$work/cmake/consumer_shared$exe"
run "$work/cmake/consumer_static$exe"

echo "-- pkg-config vsk"
# The C compiler that the find_package build used.
cc=$(sed -n 's/^set(CMAKE_C_COMPILER "\(.*\)")$/\1/p' "$work"/cmake/CMakeFiles/*/CMakeCCompiler.cmake)
flags=$(PKG_CONFIG_LIBDIR="$pcdir" pkg-config --cflags --libs vsk)
# shellcheck disable=SC2086
"$cc" -std=c99 -pedantic -Wall -Wextra -Werror "$here/consumer.c" $flags \
  -o "$work/consumer_pc$exe"
run "$work/consumer_pc$exe"
