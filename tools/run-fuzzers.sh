#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time
# (seconds, default 60) from freshly generated seed corpora and the saved
# regression inputs.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j"$(nproc)" --target vsk_fuzz_bmp vsk_fuzz_dib vsk_fuzz_image \
  vsk_fuzz_seeds vsk_fuzz_ops vsk_fuzz_ops_seeds
work=build-fuzz/corpus
rm -rf "$work"
./build-fuzz/fuzz/vsk_fuzz_seeds "$work/seeds"
./build-fuzz/fuzz/vsk_fuzz_ops_seeds "$work/seeds"
for target in bmp dib image ops; do
  mkdir -p "$work/$target"
  case $target in
    ops) options=(-max_len=512 -timeout=30) regressions=fuzz/regressions/ops ;;
    *) options=(-max_len=65536) regressions=fuzz/regressions ;;
  esac
  echo "== fuzzing $target for ${seconds}s"
  ./build-fuzz/fuzz/vsk_fuzz_$target -max_total_time="$seconds" -rss_limit_mb=2048 "${options[@]}" \
    -artifact_prefix="$work/crash-$target-" "$work/$target" "$work/seeds/$target" "$regressions" 2>&1 | tail -3
done
