// Reversed rows of pixels, the mirror's inner loop about the vertical axis:
// one table of row functions per instruction set, by pixel size.
#pragma once

#include <cstdint>

#include "simd.hpp"

namespace vsk {

// Copies n pixels of one size reversed: destination pixel k receives source
// pixel n - 1 - k. Reads exactly the n source pixels and writes exactly the n
// destination pixels; the two rows must not overlap.
using ReverseRow = void (*)(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n);

// The pixel sizes (bytes) with a row function of their own: a pixel of 1, 3
// or 4 channels of 1, 2 or 4 bytes, or 2 channels of them.
constexpr int kMirrorPixelSizes[] = {1, 2, 3, 4, 6, 8, 12, 16};
constexpr int kMirrorLargestPixel = 16;

struct MirrorRows {
    ReverseRow bySize[kMirrorLargestPixel + 1] = {};  // null for sizes without one
};

// The table of the level the library runs at, and of any level (for the tests).
const MirrorRows& mirrorRows();
const MirrorRows& mirrorRowsFor(simd::SimdLevel level);

// The tables of the instruction-set files.
const MirrorRows& mirrorRowsSsse3();
const MirrorRows& mirrorRowsAvx2();

}  // namespace vsk
