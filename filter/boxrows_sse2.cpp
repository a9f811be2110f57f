// The blur's row kernels with SSE2: four 32-bit sums per vector; means in
// double precision two at a time, truncated by cvttpd2dq (0x80000000 for what
// is no 32-bit integer, as the scalar rule gives).
#include <emmintrin.h>

#include "boxrows.hpp"
#include "runsums_x86.hpp"

namespace vsk {

namespace {

// ---- elements widened to 32 bits, four per vector ----------------------------

// The 16-bit values of the low (high) eight bytes.
template <class T>
__m128i widenLow8(__m128i b) {
    if constexpr (static_cast<T>(-1) < 0) return _mm_srai_epi16(_mm_unpacklo_epi8(b, b), 8);
    return _mm_unpacklo_epi8(b, _mm_setzero_si128());
}
template <class T>
__m128i widenHigh8(__m128i b) {
    if constexpr (static_cast<T>(-1) < 0) return _mm_srai_epi16(_mm_unpackhi_epi8(b, b), 8);
    return _mm_unpackhi_epi8(b, _mm_setzero_si128());
}
// The 32-bit values of the low (high) four 16-bit lanes, signed or not.
template <bool Signed>
__m128i widenLow16(__m128i w) {
    if constexpr (Signed) return _mm_srai_epi32(_mm_unpacklo_epi16(w, w), 16);
    return _mm_unpacklo_epi16(w, _mm_setzero_si128());
}
template <bool Signed>
__m128i widenHigh16(__m128i w) {
    if constexpr (Signed) return _mm_srai_epi32(_mm_unpackhi_epi16(w, w), 16);
    return _mm_unpackhi_epi16(w, _mm_setzero_si128());
}

void addTo(std::uint32_t* col, __m128i v) { store(col, _mm_add_epi32(load(col), v)); }

template <class T>
std::uint32_t widen(T v) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(v));
}

// ---- column sums -------------------------------------------------------------

template <class T>
void addRow(std::uint32_t* col, const T* src, std::int64_t count) {
    constexpr bool kSigned = static_cast<T>(-1) < 0;
    std::int64_t k = 0;
    if constexpr (sizeof(T) == 1) {
        for (; k + 16 <= count; k += 16) {
            const __m128i b = load(src + k);
            const __m128i lo = widenLow8<T>(b), hi = widenHigh8<T>(b);
            addTo(col + k, widenLow16<kSigned>(lo));
            addTo(col + k + 4, widenHigh16<kSigned>(lo));
            addTo(col + k + 8, widenLow16<kSigned>(hi));
            addTo(col + k + 12, widenHigh16<kSigned>(hi));
        }
    } else {
        for (; k + 8 <= count; k += 8) {
            const __m128i w = load(src + k);
            addTo(col + k, widenLow16<kSigned>(w));
            addTo(col + k + 4, widenHigh16<kSigned>(w));
        }
    }
    for (; k < count; ++k) col[k] += widen(src[k]);
}

template <class T>
void slideRow(std::uint32_t* col, const T* enter, const T* leave, std::int64_t count) {
    constexpr bool kSigned = static_cast<T>(-1) < 0;
    std::int64_t k = 0;
    if constexpr (sizeof(T) == 1) {
        // The difference of two 8-bit values fits 16 bits.
        for (; k + 16 <= count; k += 16) {
            const __m128i e = load(enter + k), l = load(leave + k);
            const __m128i lo = _mm_sub_epi16(widenLow8<T>(e), widenLow8<T>(l));
            const __m128i hi = _mm_sub_epi16(widenHigh8<T>(e), widenHigh8<T>(l));
            addTo(col + k, widenLow16<true>(lo));
            addTo(col + k + 4, widenHigh16<true>(lo));
            addTo(col + k + 8, widenLow16<true>(hi));
            addTo(col + k + 12, widenHigh16<true>(hi));
        }
    } else {
        for (; k + 8 <= count; k += 8) {
            const __m128i e = load(enter + k), l = load(leave + k);
            addTo(col + k, _mm_sub_epi32(widenLow16<kSigned>(e), widenLow16<kSigned>(l)));
            addTo(col + k + 4, _mm_sub_epi32(widenHigh16<kSigned>(e), widenHigh16<kSigned>(l)));
        }
    }
    for (; k < count; ++k) col[k] += widen(enter[k]) - widen(leave[k]);
}

// ---- means -------------------------------------------------------------------

std::int32_t truncated(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<std::int32_t>(v);
}

// Four sums times r, truncated.
__m128i means4(const std::int32_t* sums, __m128d r) {
    const __m128i a = load(sums);
    const __m128i lo = _mm_cvttpd_epi32(_mm_mul_pd(_mm_cvtepi32_pd(a), r));
    const __m128i hi = _mm_cvttpd_epi32(
        _mm_mul_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(a, _MM_SHUFFLE(1, 0, 3, 2))), r));
    return _mm_unpacklo_epi64(lo, hi);
}

template <class T>
void meansRow(const std::int32_t* sums, T* dst, std::int64_t count, double r) {
    const __m128d rv = _mm_set1_pd(r);
    std::int64_t k = 0;
    if constexpr (sizeof(T) == 1) {
        // Low bytes: masked to 0..255 the packs saturate nothing.
        const __m128i mask = _mm_set1_epi32(0xff);
        for (; k + 16 <= count; k += 16) {
            const __m128i a = _mm_and_si128(means4(sums + k, rv), mask);
            const __m128i b = _mm_and_si128(means4(sums + k + 4, rv), mask);
            const __m128i c = _mm_and_si128(means4(sums + k + 8, rv), mask);
            const __m128i d = _mm_and_si128(means4(sums + k + 12, rv), mask);
            store(dst + k, _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
        }
    } else {
        // Low 16 bits, sign-extended so that the signed pack keeps them.
        for (; k + 8 <= count; k += 8) {
            const __m128i a = _mm_srai_epi32(_mm_slli_epi32(means4(sums + k, rv), 16), 16);
            const __m128i b = _mm_srai_epi32(_mm_slli_epi32(means4(sums + k + 4, rv), 16), 16);
            store(dst + k, _mm_packs_epi32(a, b));
        }
    }
    for (; k < count; ++k) dst[k] = static_cast<T>(truncated(static_cast<double>(sums[k]) * r));
}

// ---- 32s column sums ---------------------------------------------------------

void addFloat(float* col, const std::int32_t* src, std::int64_t count) {
    std::int64_t k = 0;
    for (; k + 4 <= count; k += 4)
        _mm_storeu_ps(col + k, _mm_add_ps(_mm_loadu_ps(col + k), _mm_cvtepi32_ps(load(src + k))));
    for (; k < count; ++k) col[k] = col[k] + static_cast<float>(src[k]);
}

void slideFloat(float* col, const std::int32_t* enter, const std::int32_t* leave,
                std::int64_t count) {
    std::int64_t k = 0;
    for (; k + 4 <= count; k += 4) {
        const __m128 in = _mm_add_ps(_mm_loadu_ps(col + k), _mm_cvtepi32_ps(load(enter + k)));
        _mm_storeu_ps(col + k, _mm_sub_ps(in, _mm_cvtepi32_ps(load(leave + k))));
    }
    for (; k < count; ++k)
        col[k] = col[k] + static_cast<float>(enter[k]) - static_cast<float>(leave[k]);
}

}  // namespace

const BoxRows& boxRowsSse2() {
    static const BoxRows rows = [] {
        BoxRows t = boxRowsScalar();
        t.u8 = {addRow<std::uint8_t>, slideRow<std::uint8_t>, meansRow<std::uint8_t>};
        t.s8 = {addRow<std::int8_t>, slideRow<std::int8_t>, meansRow<std::int8_t>};
        t.u16 = {addRow<std::uint16_t>, slideRow<std::uint16_t>, meansRow<std::uint16_t>};
        t.s16 = {addRow<std::int16_t>, slideRow<std::int16_t>, meansRow<std::int16_t>};
        t.runSums = runSums;
        t.addFloat = addFloat;
        t.slideFloat = slideFloat;
        return t;
    }();
    return rows;
}

}  // namespace vsk
