// Decimation rows with AVX2: each group's taps gathered from its 32-byte
// windows by byte shuffles (one half of the group and its window per
// lane) and summed by pmaddwd; picks as with SSSE3; the vertical pass
// sixteen values at a time. Same sums as the plain kernels, so the same bytes.
#include <immintrin.h>

#include "decim_values.hpp"

namespace vsk::decim {

namespace {

__m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
__m256i load256(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }

// The 16 bytes that masks m[0] and m[16] gather from the window halves a and b.
__m128i gather(__m128i a, __m128i b, const std::uint8_t* m) {
    return _mm_or_si128(_mm_shuffle_epi8(a, load(m)), _mm_shuffle_epi8(b, load(m + 16)));
}

// Asks for the row's bytes 1 KiB ahead of a read: the rows are read once,
// from memory. (A prefetch is a hint: it never faults, whatever the address.)
void prefetch(const std::uint8_t* p) {
    _mm_prefetch(reinterpret_cast<const char*>(p) + 1024, _MM_HINT_T0);
}

// Runs `vector` over the groups that have a window and `values` over the rest.
template <class Vector, class Values>
void eachGroup(const Columns& c, int size, Vector&& vector, Values&& values) {
    for (std::int64_t g = 0; g < c.groups; ++g) {
        if (c.base[g] < 0)
            values(8 * g, 8 * g + 8);
        else
            vector(g, c.data + g * size);
    }
    values(8 * c.groups, c.n);
}

void pickRow8(const std::uint8_t* in, const Columns& c, std::uint8_t* out) {
    eachGroup(
        c, 32,
        [&](std::int64_t g, const std::uint8_t* m) {
            const std::uint8_t* w = in + c.base[g];
            prefetch(w);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 8 * g),
                             gather(load(w), load(w + 16), m));
        },
        [&](std::int64_t from, std::int64_t to) { pickValues8(in, c, out, from, to); });
}

void pickRow16(const std::uint8_t* in, const Columns& c, std::uint16_t* out) {
    eachGroup(
        c, 32,
        [&](std::int64_t g, const std::uint8_t* m) {
            const std::uint8_t* w = in + c.base[g];
            prefetch(w);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8 * g),
                             gather(load(w), load(w + 16), m));
        },
        [&](std::int64_t from, std::int64_t to) { pickValues16(in, c, out, from, to); });
}

void pickWideRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    eachGroup(
        c, 32,
        [&](std::int64_t g, const std::uint8_t* m) {
            const std::uint8_t* w = in + c.base[g];
            prefetch(w);
            _mm_storeu_si128(
                reinterpret_cast<__m128i*>(h + 8 * g),
                _mm_unpacklo_epi8(gather(load(w), load(w + 16), m), _mm_setzero_si128()));
        },
        [&](std::int64_t from, std::int64_t to) { pickWideValues8(in, c, h, from, to); });
}

// The sums of one group's 8 values over `Pairs` pairs of taps: values 0 .. 3
// in the low lane, from the first window, 4 .. 7 in the high one.
template <int Pairs>
__m256i groupSums(const std::uint8_t* in, const std::int32_t* b, const std::uint8_t* d) {
    const __m256i a =
        _mm256_inserti128_si256(_mm256_castsi128_si256(load(in + b[0])), load(in + b[1]), 1);
    const std::uint8_t* weights = d + Pairs * 32;
    __m256i sum = _mm256_madd_epi16(_mm256_shuffle_epi8(a, load256(d)), load256(weights));
    for (int p = 1; p < Pairs; ++p)
        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_shuffle_epi8(a, load256(d + p * 32)),
                                                      load256(weights + p * 32)));
    return sum;
}

// Groups of 8 16-bit results, two groups per store where both have windows:
// `finish` turns the 32-bit sums into them.
template <int Pairs, class Finish, class Values>
void interpolateRow(const std::uint8_t* in, const Columns& c, std::int16_t* h, Finish&& finish,
                    Values&& values) {
    const std::int32_t* base = c.base;
    const std::uint8_t* data = c.data;
    const std::int64_t groups = c.groups;
    constexpr int size = Pairs * 64;
    for (std::int64_t g = 0; g < groups;) {
        const std::int32_t* b = base + 2 * g;
        if (b[0] < 0) {
            values(8 * g, 8 * g + 8);
            ++g;
            continue;
        }
        prefetch(in + b[0]);
        const __m256i s0 = finish(groupSums<Pairs>(in, b, data + g * size));
        if (g + 1 < groups && b[2] >= 0) {
            // [g low, g+1 low | g high, g+1 high] put in order.
            const __m256i s1 = finish(groupSums<Pairs>(in, b + 2, data + (g + 1) * size));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(h + 8 * g),
                                _mm256_permute4x64_epi64(_mm256_packs_epi32(s0, s1), 0xD8));
            g += 2;
            continue;
        }
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(h + 8 * g),
            _mm_packs_epi32(_mm256_castsi256_si128(s0), _mm256_extracti128_si256(s0, 1)));
        ++g;
    }
    values(8 * groups, c.n);
}

void linearRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    const __m256i bias = _mm256_set1_epi32(32768);
    interpolateRow<1>(
        in, c, h, [&](__m256i v) { return _mm256_sub_epi32(v, bias); },
        [&](std::int64_t from, std::int64_t to) { linearValues8(in, c, h, from, to); });
}

void cubicRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    interpolateRow<2>(
        in, c, h, [](__m256i v) { return _mm256_srai_epi32(v, 8); },
        [&](std::int64_t from, std::int64_t to) { cubicValues8(in, c, h, from, to); });
}

// Two 16-bit weights as the pair pmaddwd multiplies adjacent values with.
__m256i weightPair(int w0, int w1) {
    return _mm256_set1_epi32(static_cast<int>((static_cast<unsigned>(w1) << 16) |
                                              (static_cast<unsigned>(w0) & 0xFFFFu)));
}

// Sixteen 16-bit values (in order after a lane-wise pack of the low and high
// unpacked halves) as bytes saturated to 0 .. 255.
void storeBytes(std::uint8_t* out, __m256i v) {
    const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(v, v), 0x08);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
}

void lerpRows(const std::int16_t* h0, const std::int16_t* h1, int w0, int w1, int bias, int shift,
              std::int64_t n, std::uint8_t* out) {
    // w0 (h0 + bias) + w1 (h1 + bias) = w0 h0 + w1 h1 + bias (w0 + w1).
    const __m256i w = weightPair(w0, w1);
    const __m256i add = _mm256_set1_epi32(bias * (w0 + w1) + (1 << (shift - 1)));
    const __m128i count = _mm_cvtsi32_si128(shift);
    std::int64_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i a = load256(h0 + i), b = load256(h1 + i);
        const __m256i lo = _mm256_sra_epi32(
            _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), w), add), count);
        const __m256i hi = _mm256_sra_epi32(
            _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), w), add), count);
        storeBytes(out + i, _mm256_packs_epi32(lo, hi));
    }
    lerpValues(h0, h1, w0, w1, bias, shift, i, n, out);
}

void cubicRows(const std::int16_t* const* h, const int* w, int divisor, std::int64_t n,
               std::uint8_t* out) {
    const __m256i w01 = weightPair(w[0], w[1]), w23 = weightPair(w[2], w[3]);
    // Quotients of 0 .. 32767 as (v * magic) >> (16 + shift): exact for 6 and 36.
    const __m256i magic = _mm256_set1_epi16(static_cast<short>(divisor == 36 ? 58255 : 43691));
    const __m128i count = _mm_cvtsi32_si128(divisor == 36 ? 5 : 2);
    const __m256i zero = _mm256_setzero_si256();
    std::int64_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i a = load256(h[0] + i), b = load256(h[1] + i);
        const __m256i c = load256(h[2] + i), d = load256(h[3] + i);
        const __m256i lo = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), w01),
                                            _mm256_madd_epi16(_mm256_unpacklo_epi16(c, d), w23));
        const __m256i hi = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), w01),
                                            _mm256_madd_epi16(_mm256_unpackhi_epi16(c, d), w23));
        // Below 0 the quotient clamps to 0 whatever its rounding, above
        // 32767 to 255: saturated 16-bit values give the same bytes.
        const __m256i v = _mm256_max_epi16(
            _mm256_packs_epi32(_mm256_srai_epi32(lo, 8), _mm256_srai_epi32(hi, 8)), zero);
        storeBytes(out + i, _mm256_srl_epi16(_mm256_mulhi_epu16(v, magic), count));
    }
    cubicRowValues(h, w, divisor, i, n, out);
}

}  // namespace

const DecimRows& decimRowsAvx2() {
    static const DecimRows rows{true,       pickRow8,  pickRow16, pickWideRow8,
                                linearRow8, cubicRow8, lerpRows,  cubicRows};
    return rows;
}

}  // namespace vsk::decim
