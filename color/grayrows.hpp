// Row kernels of colour-to-grey and grey-to-colour: one table per
// instruction set, filled from the processor's features. Every kernel of a
// row gives exactly the scalar kernel's bits.
//
// Colour to grey reads three channels c0, c1, c2 and writes
// g = (w0 c0 + w1 c1 + w2 c2) >> post, stored by truncation, where post
// follows the depths: 8U to 8U 8, 8U to 16U 0, 16U to 8U 16, 16U to 16U 8.
// Grey to colour writes ((g m) >> shift) truncated to the depth for 8U and
// 16U, trunc(float(g) x f) for 32S (INT32_MIN outside the 32-bit range), and
// for 1-bit sources the byte v of the channel where the bit is set, else 0.
#pragma once

#include <cstdint>

#include "simd.hpp"

namespace vsk::color {

// Channel layouts of a row: three planes (each channel's values next to each
// other), or pixels of three or four values with the channels as values 0,
// 1 and 2.
enum GrayLayout : int { kPlanes = 0, kPixels3 = 1, kPixels4 = 2, kGrayLayouts = 3 };

// n pixels of colour to grey. ch holds the three channels' first values
// (pixel layouts use ch[0] only: the pixel's first value). With `stream`
// the destination may be written past the caches.
using LumaRow = void (*)(const void* const ch[3], void* dst, std::int64_t n,
                         const std::int32_t w[3], bool stream);

// What grey to colour multiplies with: integer multipliers and shift (8U and
// 16U), floats (32S), and the bytes of a set bit (1U).
struct SpreadCoeffs {
    std::uint32_t m[3];
    int shift;
    float f[3];
    std::uint8_t bit[3];
};

// n pixels of grey to colour; ch as for LumaRow, on the destination.
using SpreadRow = void (*)(const void* src, void* const ch[3], std::int64_t n,
                           const SpreadCoeffs& k, bool stream);

// Sources of grey to colour.
enum SpreadSource : int { kSpread8U = 0, kSpread16U = 1, kSpread32S = 2, kSpread1U = 3 };

struct GrayRows {
    // [source 8U, 16U][layout][destination 8U, 16U]
    LumaRow luma[2][kGrayLayouts][2];
    // [source][layout]; 1-bit sources spread into 8U, the others into their
    // own depth.
    SpreadRow spread[4][kGrayLayouts];
};

// The table for the dispatch level, and for any level (tests).
const GrayRows& grayRows();
const GrayRows& grayRowsFor(simd::SimdLevel level);

// The kernels of each instruction set; the entries a set does not speed up
// are null and the next level below fills them.
GrayRows grayRowsScalar();
GrayRows grayRowsSsse3();
GrayRows grayRowsAvx2();

}  // namespace vsk::color
