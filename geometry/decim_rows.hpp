// Decimation rows: the horizontal pass over one source row and the vertical
// pass that makes one destination row, for 8-bit data (and 16-bit picks);
// one table of row functions per instruction set.
//
// A row is a run of n values (pixels times processed channels). Value i of
// a source row reads its taps at in[off[i] + t * tapStep] (elements), t = 0 ..
// taps - 1, with the weights weight[t * n + i]. The horizontal results of the
// interpolations are 16-bit:
//   linear  h = sum - 32768              sum = w0 p0 + w1 p1
//   cubic   h = sum >> 8                 sum = w0 p0 + .. + w3 p3
//   pick    the sample itself (8- or 16-bit, or widened to 16 bits)
// With the weights of tapWeights (linear 0 .. 256 summing to 256, cubic
// within -2048 .. 2048) and 8-bit samples h fits 16 bits: linear sums are
// 0 .. 65280, cubic ones give -192 .. 1721.
//
// The vector kernels take groups of 8 consecutive values whose taps lie in
// windows of the row: for picks one 32-byte window (two 16-byte loads) per
// group, for interpolations one 16-byte window per half (4 values) of the
// group. The windows' starts and the byte shuffles are built once per
// destination piece (buildGroups). Groups without windows, and the values
// after the last group, go one by one.
#pragma once

#include <cstdint>

#include "simd.hpp"

namespace vsk::decim {

enum class GroupKind { Pick8, Pick16, Linear8, Cubic8 };

// The columns of a piece as the row functions see them.
struct Columns {
    const int* off = nullptr;
    const int* weight = nullptr;
    std::int64_t n = 0;
    int taps = 1;
    int tapStep = 1;
    // Vector groups: values 8 g .. 8 g + 7 for g < groups. base holds
    // groupWindows(kind) entries per group, each window's first byte
    // relative to the row, the first one -1 for a group done value by value;
    // data holds groupBytes(kind) bytes per group.
    std::int64_t groups = 0;
    const std::int32_t* base = nullptr;
    const std::uint8_t* data = nullptr;
};

// Windows per group and bytes of one group's shuffles and weights:
//   Pick8, Pick16   1 window of 32 bytes; mask[window half][16]: the group's 8
//                   values (bytes or words), 0x80 where a byte comes from the
//                   other half of the window (or is zero)
//   Linear8         2 windows of 16 bytes; mask[half][16], weight[half][8]
//   Cubic8          2 windows of 16 bytes; mask[pair][half][16], weight[pair][half][8]
// A half is 4 values read from their own window; a mask's words pick (tap
// 2 pair, tap 2 pair + 1) of each value as 16-bit numbers (0x80 in the high
// bytes), a weight half holds the matching weights.
int groupWindows(GroupKind kind);
int groupBytes(GroupKind kind);

// Fills base[] and data[] (room for `groups` = n / 8 groups) from the tables
// of c; groups whose taps don't fit their windows within the row's own span
// get base -1, so no byte outside [first tap, last tap] of the row is read.
void buildGroups(GroupKind kind, int elementBytes, Columns& c, std::int32_t* base,
                 std::uint8_t* data);

using PickRow8 = void (*)(const std::uint8_t* in, const Columns& c, std::uint8_t* out);
using PickRow16 = void (*)(const std::uint8_t* in, const Columns& c, std::uint16_t* out);
using WideRow = void (*)(const std::uint8_t* in, const Columns& c, std::int16_t* h);
// out[i] = clamp255((w0 (h0[i] + bias) + w1 (h1[i] + bias) + 2^(shift-1)) >> shift).
using LerpRows = void (*)(const std::int16_t* h0, const std::int16_t* h1, int w0, int w1, int bias,
                          int shift, std::int64_t n, std::uint8_t* out);
// out[i] = clamp255(((w0 h0[i] + .. + w3 h3[i]) >> 8) / divisor), the
// division truncating toward zero; divisor 6 or 36.
using CubicRows = void (*)(const std::int16_t* const* h, const int* w, int divisor, std::int64_t n,
                           std::uint8_t* out);

struct DecimRows {
    bool groups = false;  // the kernels use vector groups
    PickRow8 pick8 = nullptr;
    PickRow16 pick16 = nullptr;
    WideRow pickWide8 = nullptr;  // 8-bit samples widened to 16 bits (Pick8 groups)
    WideRow linear8 = nullptr;
    WideRow cubic8 = nullptr;
    LerpRows lerp = nullptr;
    CubicRows cubic = nullptr;
};

// The table of the level the library runs at, and of any level (for the tests).
const DecimRows& decimRows();
const DecimRows& decimRowsFor(simd::SimdLevel level);

const DecimRows& decimRowsSsse3();
const DecimRows& decimRowsAvx2();

}  // namespace vsk::decim
