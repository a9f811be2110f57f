// Saturation, truncation and rounding: the library's numeric rules, written
// down once here and implemented once below (vector kernels reproduce the
// same results bit for bit).
//
// Saturation: sample arithmetic saturates to the depth's range. Fill
// saturates its value (saturate); add and subtract saturate through
// thresholds fixed once per call, and 32s subtraction saturates a difference
// formed in double precision (saturateToInt32). Zoom's cubic results (after
// rounding) and decimate's cubic results (after division) are clamped to the
// depth's range (saturate); compositing caps sums at the sample maximum.
//
// Keeping the low bits: the colour and DIB modules narrow by keeping the low
// bits of the integer result (a cast to the narrower type), as does zoom's
// linear step and the blur's store; additions of the error-diffusion dither
// wrap at the value width. Grey-to-colour coefficients keep the low 16 bits
// of a truncated product (low16).
//
// Truncation toward zero: floating values become integers by truncation in
// the colour module and the blur, the way the x86 conversion does it: NaN and
// values outside the 32-bit range give 0x80000000 (truncInt32). Decimate's
// cubic divides by 6 or 36 truncating toward zero; the HSV and HLS
// conversions truncate their double-precision results.
//
// Rounding to nearest: zoom's int(v) adds 0.00001, subtracts 0.5 and rounds
// to nearest with ties to even, which is floor(v + 0.00001) outside exact
// ties (roundInt); the step between zoom parts uses plain rint (roundEven).
// The compositing module's scaled product is ((t >> 8) + t + 1) >> 8 for the
// product t of two samples (16 bits: 16), x * y / M rounded down
// (scaledProduct); its floating path stores by adding 2^23 in single
// precision, rounding to nearest (roundViaSingle). Decimate's linear sum over
// 65536 (or 256) is rounded half up; jitter amplitudes add 0.5 and truncate.
//
// Shifts: right shifts of signed values are arithmetic (toward minus
// infinity): the error-diffusion weights, the colour-to-grey sums and bit
// reduction rely on it.
#pragma once

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#include <emmintrin.h>
#define VSK_NUMERIC_SSE2 1
#endif

namespace vsk {

// ---- saturation --------------------------------------------------------------

// v clamped to T's range (32-bit values pass as given when T is 32-bit).
template <class T>
constexpr T saturate(std::int64_t v) {
    return static_cast<T>(std::clamp<std::int64_t>(v, std::numeric_limits<T>::min(),
                                                   std::numeric_limits<T>::max()));
}

// A double clamped to the signed 32-bit range, else truncated toward zero.
inline std::int32_t saturateToInt32(double v) {
    if (v > 2147483647.0) return std::numeric_limits<std::int32_t>::max();
    if (v < -2147483648.0) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(v);
}

// Wrap-around addition in T's width.
template <class T>
constexpr T wrapAdd(T a, T b) {
    using U = std::make_unsigned_t<T>;
    return static_cast<T>(static_cast<U>(static_cast<U>(a) + static_cast<U>(b)));
}

// ---- truncation --------------------------------------------------------------

// Truncation toward zero as the processor performs it: NaN and values out of
// the 32-bit range give INT32_MIN.
inline std::int32_t truncInt32(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<std::int32_t>(v);
}

// The low 16 bits of a value truncated toward zero (0 for NaN and infinities).
inline std::uint16_t low16(double v) {
    if (!std::isfinite(v)) return 0;
    double m = std::fmod(std::trunc(v), 65536.0);
    if (m < 0) m += 65536.0;
    return static_cast<std::uint16_t>(m);
}

// ---- rounding ------------------------------------------------------------------

// rint(v): round to nearest with ties to even (the processor's default mode).
// Values outside the int range give INT_MIN on every platform.
inline int roundEven(double v) {
#if defined(VSK_NUMERIC_SSE2)
    return _mm_cvtsd_si32(_mm_set_sd(v));
#else
    const double r = std::nearbyint(v);
    return r >= -2147483648.0 && r <= 2147483647.0 ? static_cast<int>(r) : INT_MIN;
#endif
}

// int(v): add 0.00001, subtract 0.5, then round to nearest with ties to
// even; outside exact ties this is floor(v + 0.00001).
inline int roundInt(double v) { return roundEven((v + 0.00001) - 0.5); }

// The scaled product of two samples of T (8 or 16 bits): ((t >> n) + t + 1)
// >> n for t = x * y, which is x * y / M rounded down.
template <class T>
constexpr std::uint32_t scaledProduct(std::uint32_t x, std::uint32_t y) {
    constexpr int n = 8 * static_cast<int>(sizeof(T));
    const std::uint32_t t = x * y;
    return ((t >> n) + t + 1) >> n;
}

// A non-negative value rounded to nearest through single precision: adding
// 2^23 leaves the nearest integer in the low 23 bits of the representation.
template <class F>
inline std::uint32_t roundViaSingle(F v) {
    const float s = static_cast<float>(v + F(8388608.0));
    return std::bit_cast<std::uint32_t>(s) & 0x7FFFFFu;
}

}  // namespace vsk
