// The blur's row sums with 128-bit vectors, for the kernel files of each x86
// instruction set (each compiles its own copy, with its own encoding).
// Everything here has internal linkage: see the note in simd.hpp.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace vsk {

namespace {

__m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
void store(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

void runSumsScalar(const std::uint32_t* col, std::int32_t* sums, int n, std::int64_t span,
                   std::int64_t from, std::int64_t count) {
    for (std::int64_t k = from; k < count; ++k)
        sums[k] = static_cast<std::int32_t>(static_cast<std::uint32_t>(sums[k - n]) +
                                            (col[k - n + span] - col[k - n]));
}

// Keeps the compiler from folding the vectors into a longer chain of sums
// ((s + a) - b instead of s + (a - b)).
void settle(__m128i& a) {
#if defined(__GNUC__)
    __asm__("" : "+x"(a));
#else
    (void)a;
#endif
}
void settle(__m128i& a, __m128i& b, __m128i& c, __m128i& d) {
    settle(a);
    settle(b);
    settle(c);
    settle(d);
}

void runSums(const std::uint32_t* col, std::int32_t* sums, int n, std::int64_t span,
             std::int64_t count) {
    std::int64_t k = n;
    // d: the differences entering at the next four values; s: their sums.
    auto diff = [&](std::int64_t at) {
        return _mm_sub_epi32(load(col + at + span), load(col + at));
    };
    if (n == 1) {
        // Four pixels per vector: a prefix sum, plus the last sum before them.
        __m128i carry = _mm_set1_epi32(sums[0]);
        for (; k + 4 <= count; k += 4) {
            __m128i d = diff(k - 1);
            d = _mm_add_epi32(d, _mm_slli_si128(d, 4));
            d = _mm_add_epi32(d, _mm_slli_si128(d, 8));
            const __m128i s = _mm_add_epi32(d, carry);
            store(sums + k, s);
            carry = _mm_shuffle_epi32(s, _MM_SHUFFLE(3, 3, 3, 3));
        }
    } else if (n == 2) {
        __m128i carry = _mm_setr_epi32(sums[0], sums[1], sums[0], sums[1]);
        for (; k + 4 <= count; k += 4) {
            __m128i d = diff(k - 2);
            d = _mm_add_epi32(d, _mm_slli_si128(d, 8));
            const __m128i s = _mm_add_epi32(d, carry);
            store(sums + k, s);
            carry = _mm_shuffle_epi32(s, _MM_SHUFFLE(3, 2, 3, 2));
        }
    } else if (n == 3) {
        // One pixel per vector; the fourth lane runs along unused and is
        // overwritten by the next pixel, so the last pixel is left to the tail.
        __m128i s = _mm_setr_epi32(sums[0], sums[1], sums[2], 0);
        for (; k + 12 < count; k += 12) {
            __m128i d0 = diff(k - 3), d1 = diff(k), d2 = diff(k + 3), d3 = diff(k + 6);
            // The differences first, so that the sums depend on one add per pixel.
            settle(d0, d1, d2, d3);
            s = _mm_add_epi32(s, d0);
            store(sums + k, s);
            s = _mm_add_epi32(s, d1);
            store(sums + k + 3, s);
            s = _mm_add_epi32(s, d2);
            store(sums + k + 6, s);
            s = _mm_add_epi32(s, d3);
            store(sums + k + 9, s);
        }
        for (; k + 3 < count; k += 3) {
            __m128i d = diff(k - 3);
            settle(d);
            s = _mm_add_epi32(s, d);
            store(sums + k, s);
        }
    } else if (n == 4) {
        __m128i s = load(sums);
        for (; k + 4 <= count; k += 4) {
            s = _mm_add_epi32(s, diff(k - 4));
            store(sums + k, s);
        }
    }
    runSumsScalar(col, sums, n, span, k, count);
}

}  // namespace

}  // namespace vsk
