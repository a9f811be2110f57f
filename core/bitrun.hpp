// Runs of 1-bit pixels: copy, fill and swap a run of bits between any two
// bit positions.
//
// Bit positions count from the most significant bit of the first byte: bit
// position b is bit 7 - (b mod 8) of byte b / 8, which is how 1-bit images
// pack pixel x of a row. A run is `count` consecutive bit positions.
//
// Every routine
//   - changes only the bits of its destination run(s); the other bits of the
//     first and last bytes keep their values, the bytes in between are
//     written whole;
//   - reads and writes only the bytes that hold bits of the runs (from
//     bit / 8 up to (bit + count - 1) / 8), so a run that ends at the last
//     byte of a buffer is safe;
//   - does nothing for count <= 0;
//   - moves whole bytes or 64-bit words where the positions allow: equal
//     positions within their bytes move bytes unchanged, unequal ones shift
//     and merge neighbouring source bytes; only the two edges of a run are
//     handled bit-masked.
// The runs of one call must not overlap.
#pragma once

#include <cstdint>

#include "bits.hpp"
#include "simd.hpp"

namespace vsk {

// Copies the run at src/srcBit to dst/dstBit.
void copyBits(const std::uint8_t* src, std::int64_t srcBit, std::uint8_t* dst,
              std::int64_t dstBit, std::int64_t count);

// Copies the run at src/srcBit reversed: destination bit dstBit + k receives
// source bit srcBit + count - 1 - k.
void copyBitsReversed(const std::uint8_t* src, std::int64_t srcBit, std::uint8_t* dst,
                      std::int64_t dstBit, std::int64_t count);

// Sets every bit of the run to `value`.
void fillBits(std::uint8_t* dst, std::int64_t bit, std::int64_t count, bool value);

// Exchanges the contents of two runs of equal length.
void swapBits(std::uint8_t* a, std::int64_t aBit, std::uint8_t* b, std::int64_t bBit,
              std::int64_t count);

// ---- the row kernels of copyBitsReversed ------------------------------------------

// Writes `count` bytes of reversed bits: dst[j] receives, with its bit order
// reversed, the 8 source bits that start at bit `shift` (0..7, counted from
// the most significant bit) of byte last[-j]. Reads last[1 - count] ..
// last[0], and last[1] only when shift is not 0.
using ReverseBitBytes = void (*)(const std::uint8_t* last, int shift, std::uint8_t* dst,
                                 std::int64_t count);

struct BitRows {
    ReverseBitBytes reverseBytes = nullptr;
};

// The table of the level the library runs at, and of any level (for the tests).
const BitRows& bitRows();
const BitRows& bitRowsFor(simd::SimdLevel level);

// The kernels of the instruction-set files.
void reverseBitBytesSsse3(const std::uint8_t* last, int shift, std::uint8_t* dst,
                          std::int64_t count);
void reverseBitBytesAvx2(const std::uint8_t* last, int shift, std::uint8_t* dst,
                         std::int64_t count);

}  // namespace vsk
