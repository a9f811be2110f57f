// The byte-shuffle kernels (SSSE3): 8-bit linear zoom by quarters on 128-bit
// vectors and nearest neighbour; the other row kernels are the SSE2 ones.
#include <tmmintrin.h>

#include "zoom_rows_tails.hpp"

namespace vsk::zoom {

namespace {

// One group at a time: its window's samples picked as 16-bit values.
void quarterH(const std::uint8_t* row, const QuarterColumns& x, std::int16_t* h) {
    const std::int32_t* base = x.base;
    const std::uint8_t* pick = x.pick;
    const std::int16_t* m = x.m;
    const int full = x.n / kQuarterGroup, groups = full < x.safe ? full : x.safe;
    const __m128i high = _mm_set1_epi8(static_cast<char>(0x80));  // picks a zero byte
    int g = 0;
    for (; g < groups; ++g) {
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + base[g]));
        const __m128i sel =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(pick + 2 * kQuarterGroup * g));
        const __m128i p0 = _mm_shuffle_epi8(w, _mm_unpacklo_epi8(sel, high));
        const __m128i p1 = _mm_shuffle_epi8(w, _mm_unpackhi_epi8(sel, high));
        const __m128i mg = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m + kQuarterGroup * g));
        const __m128i r =
            _mm_add_epi16(_mm_slli_epi16(p0, 2), _mm_mullo_epi16(_mm_sub_epi16(p1, p0), mg));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(h + kQuarterGroup * g), r);
    }
    tailQuarterH(row, x, h, g * kQuarterGroup);
}

inline __m128i quarterValue(const std::int16_t* a, const std::int16_t* b, __m128i m) {
    const __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a));
    const __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b));
    const __m128i v = _mm_srai_epi16(
        _mm_add_epi16(_mm_slli_epi16(va, 2), _mm_mullo_epi16(_mm_sub_epi16(vb, va), m)), 4);
    return _mm_and_si128(v, _mm_set1_epi16(0xFF));
}

void quarterV(const std::int16_t* a, const std::int16_t* b, int m, std::uint8_t* d, int n,
              bool) {
    const __m128i vm = _mm_set1_epi16(static_cast<short>(m));
    int k = 0;
    for (; k + 16 <= n; k += 16) {
        const __m128i r = _mm_packus_epi16(quarterValue(a + k, b + k, vm),
                                           quarterValue(a + k + 8, b + k + 8, vm));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + k), r);
    }
    tailQuarterV(a, b, m, d, k, n);
}

void nearest(const std::uint8_t* row, const NearestColumns& x, std::uint8_t* d) {
    const std::int32_t* src = x.src;
    const std::int32_t* base = x.base;
    const std::uint8_t* pick = x.pick;
    const int full = x.bytes / kNearestGroup, groups = full < x.safe ? full : x.safe;
    int g = 0;
    for (; g < groups; ++g) {
        std::uint8_t* out = d + g * kNearestGroup;
        if (base[g] == kNoWindow) {
            for (int k = 0; k < kNearestGroup; ++k) out[k] = row[src[g * kNearestGroup + k]];
            continue;
        }
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + base[g]));
        const __m128i sel =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(pick + g * kNearestGroup));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(w, sel));
    }
    for (int k = g * kNearestGroup; k < x.bytes; ++k) d[k] = row[src[k]];
}

}  // namespace

ZoomKernels zoomKernelsSsse3() {
    ZoomKernels k = zoomKernelsSse2();
    k.quarterH = quarterH;
    k.quarterV = quarterV;
    k.nearest = nearest;
    return k;
}

}  // namespace vsk::zoom
