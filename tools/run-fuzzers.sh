#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time
# (seconds, default 60) from freshly generated seed corpora.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j"$(nproc)" --target vsk_fuzz_bmp vsk_fuzz_dib vsk_fuzz_image vsk_fuzz_seeds
work=build-fuzz/corpus
rm -rf "$work"
./build-fuzz/fuzz/vsk_fuzz_seeds "$work/seeds"
for target in bmp dib image; do
  mkdir -p "$work/$target"
  echo "== fuzzing $target for ${seconds}s"
  ./build-fuzz/fuzz/vsk_fuzz_$target -max_total_time="$seconds" -max_len=65536 -rss_limit_mb=2048 \
    -artifact_prefix="$work/crash-$target-" "$work/$target" "$work/seeds/$target" fuzz/regressions 2>&1 | tail -3
done
