// The 8-bit compositing row kernels, one table per instruction set: colour,
// alpha and scaled-product rows over contiguous samples (plane order), and
// whole rows of interleaved four-channel pixels with their alpha last, with
// integer arithmetic or dividing by the result alpha. Every table gives the
// scalar table's bits.
#pragma once

#include <cstdint>

#include "simd.hpp"

namespace vsk::alpha {

// d[i] = colour(A[i], a[i], B[i], b[i]); without a B alpha, b is not read.
using ColourRow8 = void (*)(const std::uint8_t* A, const std::uint8_t* a, const std::uint8_t* B,
                            const std::uint8_t* b, std::uint8_t* d, int n);
// d[i] = rule(x[i], y[i]): the result alpha of a and b (y not read without a
// B alpha), or the scaled product of x and y.
using PairRow8 = void (*)(const std::uint8_t* x, const std::uint8_t* y, std::uint8_t* d, int n);
// n pixels of four channels, alpha last, in A, B and d: colours and the
// result alpha of each pixel. `stream` lets the kernel write around the
// caches (large images that are not read again soon).
using RgbaRow8 = void (*)(const std::uint8_t* A, const std::uint8_t* B, std::uint8_t* d, int n,
                          bool stream);

struct AlphaRows {
    ColourRow8 colour[6][2][2];  // [operator][premultiplied][with a B alpha]
    PairRow8 alpha[6][2];        // [operator][with a B alpha]
    PairRow8 multiply;
    // B's alpha is its own fourth channel.
    RgbaRow8 rgba[6][2];         // [operator][premultiplied]
    RgbaRow8 rgbaDivide[6][2];   // the same, dividing the colours by the result alpha
};

// The table of the level the library runs at.
const AlphaRows& alphaRows();
// The table of a given level (the best one built at or below it), for tests.
const AlphaRows& alphaRowsFor(simd::SimdLevel level);

// The tables per instruction set (alpha_rows_<isa>.cpp).
const AlphaRows* alphaRowsScalar();
const AlphaRows* alphaRowsSse2();
const AlphaRows* alphaRowsAvx2();

using simd::apart;

// Destinations at least this large are written around the caches.
constexpr std::int64_t kStreamBytes = std::int64_t{8} << 20;

}  // namespace vsk::alpha
