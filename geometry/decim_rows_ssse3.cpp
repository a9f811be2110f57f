// Decimation rows with SSSE3: each group's taps gathered from its windows
// by byte shuffles and summed by pmaddwd; the vertical pass eight values at a
// time. Same sums as the plain kernels, so the same bytes.
#include <tmmintrin.h>

#include "decim_values.hpp"

namespace vsk::decim {

namespace {

__m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

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

// The sums of one group's 8 values over `Pairs` pairs of taps, as two halves
// of 4 32-bit sums, each half from its own window.
template <int Pairs>
void groupSums(const std::uint8_t* in, const std::int32_t* b, const std::uint8_t* d, __m128i& lo,
               __m128i& hi) {
    const __m128i a0 = load(in + b[0]), a1 = load(in + b[1]);
    const std::uint8_t* weights = d + Pairs * 32;
    lo = _mm_setzero_si128();
    hi = _mm_setzero_si128();
    for (int p = 0; p < Pairs; ++p) {
        lo = _mm_add_epi32(
            lo, _mm_madd_epi16(_mm_shuffle_epi8(a0, load(d + p * 32)), load(weights + p * 32)));
        hi = _mm_add_epi32(hi, _mm_madd_epi16(_mm_shuffle_epi8(a1, load(d + p * 32 + 16)),
                                              load(weights + p * 32 + 16)));
    }
}

// Groups of 8 16-bit results: `finish` turns the 32-bit sums into them.
template <int Pairs, class Finish, class Values>
void interpolateRow(const std::uint8_t* in, const Columns& c, std::int16_t* h, Finish&& finish,
                    Values&& values) {
    const std::int32_t* base = c.base;
    const std::uint8_t* data = c.data;
    const std::int64_t groups = c.groups;
    for (std::int64_t g = 0; g < groups; ++g) {
        const std::int32_t* b = base + 2 * g;
        if (b[0] < 0) {
            values(8 * g, 8 * g + 8);
            continue;
        }
        prefetch(in + b[0]);
        __m128i lo, hi;
        groupSums<Pairs>(in, b, data + g * (Pairs * 64), lo, hi);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(h + 8 * g),
                         _mm_packs_epi32(finish(lo), finish(hi)));
    }
    values(8 * groups, c.n);
}

void linearRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    const __m128i bias = _mm_set1_epi32(32768);
    interpolateRow<1>(
        in, c, h, [&](__m128i v) { return _mm_sub_epi32(v, bias); },
        [&](std::int64_t from, std::int64_t to) { linearValues8(in, c, h, from, to); });
}

void cubicRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    interpolateRow<2>(
        in, c, h, [](__m128i v) { return _mm_srai_epi32(v, 8); },
        [&](std::int64_t from, std::int64_t to) { cubicValues8(in, c, h, from, to); });
}

// Two 16-bit weights as the pair pmaddwd multiplies adjacent values with.
__m128i weightPair(int w0, int w1) {
    return _mm_set1_epi32(static_cast<int>((static_cast<unsigned>(w1) << 16) |
                                           (static_cast<unsigned>(w0) & 0xFFFFu)));
}

void lerpRows(const std::int16_t* h0, const std::int16_t* h1, int w0, int w1, int bias, int shift,
              std::int64_t n, std::uint8_t* out) {
    // w0 (h0 + bias) + w1 (h1 + bias) = w0 h0 + w1 h1 + bias (w0 + w1).
    const __m128i w = weightPair(w0, w1);
    const __m128i add = _mm_set1_epi32(bias * (w0 + w1) + (1 << (shift - 1)));
    const __m128i count = _mm_cvtsi32_si128(shift);
    std::int64_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i a = load(h0 + i), b = load(h1 + i);
        const __m128i lo =
            _mm_sra_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(a, b), w), add), count);
        const __m128i hi =
            _mm_sra_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(a, b), w), add), count);
        const __m128i v = _mm_packs_epi32(lo, hi);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(v, v));
    }
    lerpValues(h0, h1, w0, w1, bias, shift, i, n, out);
}

void cubicRows(const std::int16_t* const* h, const int* w, int divisor, std::int64_t n,
               std::uint8_t* out) {
    const __m128i w01 = weightPair(w[0], w[1]), w23 = weightPair(w[2], w[3]);
    // Quotients of 0 .. 32767 as (v * magic) >> (16 + shift): exact for 6 and 36.
    const __m128i magic = _mm_set1_epi16(static_cast<short>(divisor == 36 ? 58255 : 43691));
    const __m128i count = _mm_cvtsi32_si128(divisor == 36 ? 5 : 2);
    const __m128i zero = _mm_setzero_si128();
    std::int64_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i a = load(h[0] + i), b = load(h[1] + i), c = load(h[2] + i),
                      d = load(h[3] + i);
        const __m128i lo = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(a, b), w01),
                                         _mm_madd_epi16(_mm_unpacklo_epi16(c, d), w23));
        const __m128i hi = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(a, b), w01),
                                         _mm_madd_epi16(_mm_unpackhi_epi16(c, d), w23));
        // Below 0 the quotient clamps to 0 whatever its rounding, above
        // 32767 to 255: saturated 16-bit values give the same bytes.
        const __m128i v =
            _mm_max_epi16(_mm_packs_epi32(_mm_srai_epi32(lo, 8), _mm_srai_epi32(hi, 8)), zero);
        const __m128i q = _mm_srl_epi16(_mm_mulhi_epu16(v, magic), count);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(q, q));
    }
    cubicRowValues(h, w, divisor, i, n, out);
}

}  // namespace

const DecimRows& decimRowsSsse3() {
    static const DecimRows rows{true,       pickRow8,  pickRow16, pickWideRow8,
                                linearRow8, cubicRow8, lerpRows,  cubicRows};
    return rows;
}

}  // namespace vsk::decim
