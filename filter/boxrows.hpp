// Row kernels of the box blur. Rows hold all values of their pixels one after
// the other (n values per pixel), so every loop is contiguous: column sums
// gain the row that enters the box and lose the one that leaves it, and row
// sums slide along the column sums, one pixel (n values) at a time.
#pragma once

#include <cstdint>
#include <type_traits>

#include "simd.hpp"

namespace vsk {

// The kernels of one 8- or 16-bit element type: 32-bit integer column sums
// that wrap like the machine's registers, elements widened by their sign.
template <class T>
struct IntBoxRows {
    // col[k] += src[k], k < count.
    void (*add)(std::uint32_t* col, const T* src, std::int64_t count);
    // col[k] += enter[k] - leave[k], k < count.
    void (*slide)(std::uint32_t* col, const T* enter, const T* leave, std::int64_t count);
    // dst[k] = the low bits of sums[k] x r truncated toward zero (0x80000000
    // when that is no 32-bit integer), k < count.
    void (*means)(const std::int32_t* sums, T* dst, std::int64_t count, double r);
};

// Row sums of pixels of n values along column sums, `span` = box width x n:
// sums[k] = sums[k - n] + col[k - n + span] - col[k - n] for n <= k < count,
// sums[0 .. n) given. Reads col[0 .. count - n + span).
using RunSumsRow = void (*)(const std::uint32_t* col, std::int32_t* sums, int n, std::int64_t span,
                            std::int64_t count);

// 32s: single-precision column sums, a double-precision row sum per channel.
// col[k] = col[k] + float(src[k]).
using AddFloatRow = void (*)(float* col, const std::int32_t* src, std::int64_t count);
// col[k] = (col[k] + float(enter[k])) - float(leave[k]).
using SlideFloatRow = void (*)(float* col, const std::int32_t* enter, const std::int32_t* leave,
                               std::int64_t count);
// Per channel c < n: the row sum starts at 0 and adds the column sums of the
// first box (double(col[c]), double(col[n + c]), ...), giving pixel 0; each
// next pixel adds double(col[k - n + span] - col[k - n]). dst[k] = that sum
// x r truncated toward zero (0x80000000 when that is no 32-bit integer),
// k < count. Reads col[0 .. count - n + span).
using MeansFloatRow = void (*)(const float* col, std::int32_t* dst, int n, std::int64_t span,
                               std::int64_t count, double r);

struct BoxRows {
    IntBoxRows<std::uint8_t> u8;
    IntBoxRows<std::int8_t> s8;
    IntBoxRows<std::uint16_t> u16;
    IntBoxRows<std::int16_t> s16;
    RunSumsRow runSums;
    AddFloatRow addFloat;
    SlideFloatRow slideFloat;
    MeansFloatRow meansFloat;

    template <class T>
    const IntBoxRows<T>& of() const {
        if constexpr (std::is_same_v<T, std::uint8_t>)
            return u8;
        else if constexpr (std::is_same_v<T, std::int8_t>)
            return s8;
        else if constexpr (std::is_same_v<T, std::uint16_t>)
            return u16;
        else
            return s16;
    }
};

// The kernels of the level the library runs at, and of a given level (the
// best this build and processor have up to it), for tests.
const BoxRows& boxRows();
const BoxRows& boxRowsFor(simd::SimdLevel level);

// The table of each instruction set: its own kernels where it has them, the
// next lower set's elsewhere. Those of a set this build lacks are not defined.
const BoxRows& boxRowsScalar();
const BoxRows& boxRowsSse2();
const BoxRows& boxRowsAvx2();

}  // namespace vsk
