// Reversed rows of pixels, the mirror's inner loop about the vertical axis:
// one table of row functions per instruction set, by pixel size.
#pragma once

#include <cstdint>

#include "simd.hpp"

namespace vsk {

// Copies n pixels of one size reversed: destination pixel k receives source
// pixel n - 1 - k. Reads exactly the n source pixels and writes exactly the n
// destination pixels; the two rows must not overlap. The source is read from
// its start on.
using ReverseRow = void (*)(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n);

// The pixel sizes (bytes) with a row function of their own: a pixel of 1, 3
// or 4 channels of 1, 2 or 4 bytes, or 2 channels of them.
constexpr int kMirrorPixelSizes[] = {1, 2, 3, 4, 6, 8, 12, 16};
constexpr int kMirrorLargestPixel = 16;

// Copies `bytes` bytes between rows that don't overlap.
using CopyRow = void (*)(std::uint8_t* dst, const std::uint8_t* src, std::int64_t bytes);

// Row functions by pixel size (null for sizes without one); the streaming
// ones write past the caches where the processor allows it, for images
// larger than the caches.
struct MirrorRows {
    ReverseRow bySize[kMirrorLargestPixel + 1] = {};
    ReverseRow streamingBySize[kMirrorLargestPixel + 1] = {};
    CopyRow copyStreaming = nullptr;  // always set
};

// The table of the level the library runs at, and of any level (for the tests).
const MirrorRows& mirrorRows();
const MirrorRows& mirrorRowsFor(simd::SimdLevel level);

// The kernels of the instruction-set files: each sets the rows it has. (The
// tables themselves are made here, in baseline code.)
void fillMirrorRowsSsse3(MirrorRows& rows);
void fillMirrorRowsAvx2(MirrorRows& rows);
void copyRowStreamingSse2(std::uint8_t* dst, const std::uint8_t* src, std::int64_t bytes);

}  // namespace vsk
