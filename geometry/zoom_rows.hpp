// The row kernels of zoom: for linear and cubic, the horizontal step from a
// source row into a row of floats and the vertical step from two or four such
// rows into destination samples; integer kernels for 8-bit linear zoom by
// quarters, horizontal steps by byte windows for the other 8-bit linear
// zooms and for 8-bit cubic zoom; byte shuffles for nearest neighbour. The
// scalar kernels (zoom_rows.cpp) are always built; zoom_rows_sse2.cpp and
// zoom_rows_avx2.cpp hold packed-double versions that give the same bits,
// zoom_rows_ssse3.cpp (and the AVX2 file) the integer and shuffle kernels.
//
// Float rows hold the selected channels of each destination column side by
// side (column i, channel c at i x ch + c).
#pragma once

#include <climits>
#include <cstdint>

#include "simd.hpp"

namespace vsk::zoom {

// Vector kernels may read up to this many elements past the last channel of
// a sample, within the first `safe` columns of a column table.
constexpr int kReadSlack = 3;
// Float rows have this many floats of room past their n x ch values; the
// kernels may write there.
constexpr int kRowSlack = 4;

// Horizontal linear: destination column i takes the samples at o0[i] and
// o1[i] (element offsets of channel 0 from the row start) with weight f[i]
// for the second: h = (p1 - p0) x f + p0 in double, stored as float.
struct LinearColumns {
    const std::int32_t* o0;
    const std::int32_t* o1;
    const double* f;
    int n;     // columns
    int safe;  // leading columns whose samples are followed by kReadSlack readable elements
};

// Horizontal cubic: column i takes the four samples at o[0..3][i] and the
// Newton weights c1, c2, c3.
struct CubicColumns {
    const std::int32_t* o[4];
    const double* c1;
    const double* c2;
    const double* c3;
    int n, safe;
    // Per column: how many columns from it on take its samples (at least 1),
    // so that kernels may form their values and differences once.
    const std::int32_t* run;
};

template <class T>
using LinearH = void (*)(const T* row, const LinearColumns& x, int ch, float* h);
template <class T>
using CubicH = void (*)(const T* row, const CubicColumns& x, int ch, float* h);
// The vertical kernels make `rows` (1 to kVRows) destination rows d[r] from
// the same float rows, each with its own weights, so that the values and
// differences of those rows are read and formed once.
constexpr int kVRows = 4;
// Vertical linear over n values of rows a and b with weight f[r] of b; the
// low bits of int() are stored.
template <class T>
using LinearV = void (*)(const float* a, const float* b, const double* f, T* const* d, int rows,
                         int n);
// Vertical cubic over n values of four rows with the weights c[r][0..2];
// int() is clamped to the depth's range.
template <class T>
using CubicV = void (*)(const float* const q[4], const double (*c)[3], T* const* d, int rows,
                        int n);

template <class T>
struct ZoomRows {
    LinearH<T> linearH;
    CubicH<T> cubicH;
    LinearV<T> linearV;
    CubicV<T> cubicV;
};

// 8-bit linear zoom whose column and row weights are all quarters m / 4 with
// 0 <= m < 8 (factors 1, 2, 4, 4/3 ...): the horizontal value is exactly
// H / 4 with H = 4 p0 + (p1 - p0) m, and the stored byte is the low 8 bits of
// floor((4 Ha + (Hb - Ha) m) / 16), all in 16-bit integers. These are the
// bytes of the double formula; tests/zoom_rows_test.cpp proves it for every
// weight and every pair of samples and of horizontal values.
//
// The values of a row (ch per column) are taken in groups of kQuarterGroup,
// whose samples lie within kQuarterWindow elements from the group's base.
constexpr int kQuarterGroup = 8;
constexpr int kQuarterWindow = 16;
struct QuarterColumns {
    const std::int32_t* base;  // per group: element offset of its window from the row start
    const std::uint8_t* pick;  // per group: window positions of the first samples, then the second
    const std::int16_t* m;     // per value: the weight of the second sample in quarters
    int n;                     // values
    int safe;                  // leading groups whose window is readable
};
using QuarterH = void (*)(const std::uint8_t* row, const QuarterColumns& x, std::int16_t* h);
// With `stream` the destination row is not read again soon (a large image):
// levels that have them write it with non-temporal stores, which do not pull
// it into the cache.
using QuarterV = void (*)(const std::int16_t* a, const std::int16_t* b, int m, std::uint8_t* d,
                          int n, bool stream);

// The integer rule one value at a time.
void quarterHScalar(const std::uint8_t* row, const QuarterColumns& x, std::int16_t* h);
void quarterVScalar(const std::int16_t* a, const std::int16_t* b, int m, std::uint8_t* d, int n,
                    bool stream);

// 8-bit linear zoom with other weights: the horizontal step value by value,
// in groups of kQuarterGroup values whose samples lie within kQuarterWindow
// bytes from the group's base, each with its own weight.
struct WindowColumns {
    const std::int32_t* base;  // per group: element offset of its window from the row start
    // Per group: byte-shuffle controls that put the window positions of the
    // first samples into 32-bit lanes (0x80 elsewhere), values 0-3 in the low
    // 16 bytes and 4-7 in the high 16, then the same for the second samples.
    const std::uint8_t* ctl;
    const double* f;  // per value: the weight of the second sample
    int n;            // values
    int safe;         // leading groups whose window is readable
};
constexpr int kWindowControl = 64;  // control bytes per group
using WindowH = void (*)(const std::uint8_t* row, const WindowColumns& x, float* h);

// 8-bit cubic zoom by windows: the horizontal step value by value, in groups
// of kQuarterGroup values whose four samples lie within kQuarterWindow bytes
// from the group's base, each with its own weights.
struct CubicWindowColumns {
    const std::int32_t* base;  // per group: element offset of its window from the row start
    // Per group: byte-shuffle controls laid out as WindowColumns', for the
    // first to the fourth samples.
    const std::uint8_t* ctl;
    const double* c1;  // per value: the Newton weights
    const double* c2;
    const double* c3;
    int n;     // values
    int safe;  // leading groups whose window is readable
};
constexpr int kCubicWindowControl = 2 * kWindowControl;  // control bytes per group
using CubicWindowH = void (*)(const std::uint8_t* row, const CubicWindowColumns& x, float* h);

// Nearest neighbour on rows whose pixels hold exactly the selected channels
// (or one plane), as bytes: destination byte k is source byte src[k] of the
// row. The row is taken in groups of kNearestGroup bytes; a group whose
// source bytes lie within kNearestGroup bytes from base[g] is one byte
// shuffle (base[g] is kNoWindow for the others).
constexpr int kNearestGroup = 16;
constexpr std::int32_t kNoWindow = INT32_MIN;
struct NearestColumns {
    const std::int32_t* src;   // per destination byte: its source byte from the row start
    const std::int32_t* base;  // per group: byte offset of its window, or kNoWindow
    const std::uint8_t* pick;  // per group: the window position of each of its bytes
    int bytes;                 // bytes of the destination row
    int safe;                  // leading groups whose window is readable
};
using NearestRow = void (*)(const std::uint8_t* row, const NearestColumns& x, std::uint8_t* d);

struct ZoomKernels {
    ZoomRows<std::uint8_t> u8;
    ZoomRows<std::uint16_t> u16;
    // The integer kernels of 8-bit linear zoom by quarters; null where the
    // level leaves that zoom to the double kernels (the scalar level does).
    QuarterH quarterH = nullptr;
    QuarterV quarterV = nullptr;
    // Nearest neighbour by byte shuffles; null where the level has none.
    NearestRow nearest = nullptr;
    // The horizontal step of 8-bit linear zoom by windows; null where the
    // level has none.
    WindowH windowH = nullptr;
    // The horizontal step of 8-bit cubic zoom by windows; null where the
    // level has none.
    CubicWindowH cubicWindowH = nullptr;
};

// The row functions of element type T.
template <class T>
const ZoomRows<T>& rowsOf(const ZoomKernels& k) {
    if constexpr (sizeof(T) == 1)
        return k.u8;
    else
        return k.u16;
}

// The kernels of the level the library runs at (simd::simdLevel()).
const ZoomKernels& zoomKernels();
// The kernels a given level picks (tests compare them with the scalar ones).
ZoomKernels zoomKernelsFor(simd::SimdLevel level);

// Each instruction set's kernels (the scalar ones always exist).
ZoomKernels zoomKernelsScalar();
ZoomKernels zoomKernelsSse2();
ZoomKernels zoomKernelsSsse3();  // the SSE2 ones and the byte-shuffle kernels
ZoomKernels zoomKernelsAvx2();

}  // namespace vsk::zoom
