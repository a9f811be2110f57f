// The blur's row kernels with AVX2: eight 32-bit column sums per vector, and
// means in double precision four at a time (cvttpd2dq gives 0x80000000 for
// what is no 32-bit integer, as the scalar rule does). Row sums run along a
// pixel at a time in 128-bit vectors, whose loads the VEX encoding folds into
// the arithmetic.
#include <immintrin.h>

#include "boxrows.hpp"
#include "runsums_x86.hpp"

namespace vsk {

namespace {

template <class T>
__m256i widen8(const T* p) {
    if constexpr (sizeof(T) == 1) {
        const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        if constexpr (static_cast<T>(-1) < 0) return _mm256_cvtepi8_epi32(b);
        return _mm256_cvtepu8_epi32(b);
    } else {
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        if constexpr (static_cast<T>(-1) < 0) return _mm256_cvtepi16_epi32(w);
        return _mm256_cvtepu16_epi32(w);
    }
}

__m256i load8(const std::uint32_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
void store8(std::uint32_t* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

template <class T>
std::uint32_t widen(T v) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(v));
}

template <class T>
void addRow(std::uint32_t* col, const T* src, std::int64_t count) {
    std::int64_t k = 0;
    for (; k + 8 <= count; k += 8)
        store8(col + k, _mm256_add_epi32(load8(col + k), widen8(src + k)));
    for (; k < count; ++k) col[k] += widen(src[k]);
}

template <class T>
void slideRow(std::uint32_t* col, const T* enter, const T* leave, std::int64_t count) {
    std::int64_t k = 0;
    if constexpr (sizeof(T) == 1) {
        // The difference of two 8-bit values fits 16 bits: sixteen at a time.
        for (; k + 16 <= count; k += 16) {
            const __m128i e = _mm_loadu_si128(reinterpret_cast<const __m128i*>(enter + k));
            const __m128i l = _mm_loadu_si128(reinterpret_cast<const __m128i*>(leave + k));
            __m256i d;
            if constexpr (static_cast<T>(-1) < 0)
                d = _mm256_sub_epi16(_mm256_cvtepi8_epi16(e), _mm256_cvtepi8_epi16(l));
            else
                d = _mm256_sub_epi16(_mm256_cvtepu8_epi16(e), _mm256_cvtepu8_epi16(l));
            const __m256i lo = _mm256_cvtepi16_epi32(_mm256_castsi256_si128(d));
            const __m256i hi = _mm256_cvtepi16_epi32(_mm256_extracti128_si256(d, 1));
            store8(col + k, _mm256_add_epi32(load8(col + k), lo));
            store8(col + k + 8, _mm256_add_epi32(load8(col + k + 8), hi));
        }
    }
    for (; k + 8 <= count; k += 8) {
        const __m256i d = _mm256_sub_epi32(widen8(enter + k), widen8(leave + k));
        store8(col + k, _mm256_add_epi32(load8(col + k), d));
    }
    for (; k < count; ++k) col[k] += widen(enter[k]) - widen(leave[k]);
}

std::int32_t truncated(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<std::int32_t>(v);
}

// Four sums times r, truncated.
__m128i means4(const std::int32_t* sums, __m256d r) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sums));
    return _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_cvtepi32_pd(a), r));
}

template <class T>
void meansRow(const std::int32_t* sums, T* dst, std::int64_t count, double r) {
    const __m256d rv = _mm256_set1_pd(r);
    std::int64_t k = 0;
    if constexpr (sizeof(T) == 1) {
        // Low bytes: masked to 0..255 the packs saturate nothing.
        const __m128i mask = _mm_set1_epi32(0xff);
        for (; k + 16 <= count; k += 16) {
            const __m128i a = _mm_and_si128(means4(sums + k, rv), mask);
            const __m128i b = _mm_and_si128(means4(sums + k + 4, rv), mask);
            const __m128i c = _mm_and_si128(means4(sums + k + 8, rv), mask);
            const __m128i d = _mm_and_si128(means4(sums + k + 12, rv), mask);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k),
                             _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
        }
    } else {
        // Low 16 bits: masked, the unsigned pack keeps them.
        const __m128i mask = _mm_set1_epi32(0xffff);
        for (; k + 8 <= count; k += 8) {
            const __m128i a = _mm_and_si128(means4(sums + k, rv), mask);
            const __m128i b = _mm_and_si128(means4(sums + k + 4, rv), mask);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k), _mm_packus_epi32(a, b));
        }
    }
    for (; k < count; ++k) dst[k] = static_cast<T>(truncated(static_cast<double>(sums[k]) * r));
}

void addFloat(float* col, const std::int32_t* src, std::int64_t count) {
    std::int64_t k = 0;
    for (; k + 8 <= count; k += 8) {
        const __m256 v =
            _mm256_cvtepi32_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + k)));
        _mm256_storeu_ps(col + k, _mm256_add_ps(_mm256_loadu_ps(col + k), v));
    }
    for (; k < count; ++k) col[k] = col[k] + static_cast<float>(src[k]);
}

void slideFloat(float* col, const std::int32_t* enter, const std::int32_t* leave,
                std::int64_t count) {
    std::int64_t k = 0;
    for (; k + 8 <= count; k += 8) {
        const __m256 e =
            _mm256_cvtepi32_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(enter + k)));
        const __m256 l =
            _mm256_cvtepi32_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(leave + k)));
        _mm256_storeu_ps(col + k, _mm256_sub_ps(_mm256_add_ps(_mm256_loadu_ps(col + k), e), l));
    }
    for (; k < count; ++k)
        col[k] = col[k] + static_cast<float>(enter[k]) - static_cast<float>(leave[k]);
}

}  // namespace

const BoxRows& boxRowsAvx2() {
    static const BoxRows rows = [] {
        BoxRows t = boxRowsSse2();
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
