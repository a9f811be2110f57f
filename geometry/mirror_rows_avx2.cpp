// Reversed pixel rows with AVX2 byte shuffles: a block of whole pixels
// (32 bytes, or 96 for pixels of 3, 6 and 12 bytes) per step, each lane's
// window loaded where the shuffle of that lane needs it; the last pixels
// one by one.
#include <immintrin.h>

#include <cstring>

#include "mirror_rows.hpp"
#include "mirror_shuffle.hpp"

namespace vsk {

namespace {

// The 16 bytes from s + a in the low lane and from s + b in the high lane.
__m256i loadWindows(const std::uint8_t* s, int a, int b) {
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + a));
    const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + b));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}
__m256i masks(const std::uint8_t (&low)[16], const std::uint8_t (&high)[16]) {
    const __m128i lo = _mm_load_si128(reinterpret_cast<const __m128i*>(low));
    const __m128i hi = _mm_load_si128(reinterpret_cast<const __m128i*>(high));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

template <int P>
void reverseRow(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n) {
    using S = ReverseShuffle<P, 32>;
    static constexpr S sh = reverseShuffle<P, 32>();
    static_assert(sh.covered);
    const std::int64_t bytes = n * P;
    std::int64_t o = 0;
    for (; o + S::Bytes <= bytes; o += S::Bytes) {
        const std::uint8_t* s = src + bytes - o - S::Bytes;
        for (int q = 0; q < S::Chunks; q += 2) {
            __m256i v = _mm256_shuffle_epi8(loadWindows(s, sh.at[q][0], sh.at[q + 1][0]),
                                            masks(sh.mask[q][0], sh.mask[q + 1][0]));
            if (sh.two[q] || sh.two[q + 1])
                v = _mm256_or_si256(
                    v, _mm256_shuffle_epi8(loadWindows(s, sh.at[q][1], sh.at[q + 1][1]),
                                           masks(sh.mask[q][1], sh.mask[q + 1][1])));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + o + 16 * q), v);
        }
    }
    for (std::int64_t k = o / P; k < n; ++k) std::memcpy(dst + k * P, src + (n - 1 - k) * P, P);
}

}  // namespace

const MirrorRows& mirrorRowsAvx2() {
    static const MirrorRows rows = [] {
        MirrorRows r;
        r.bySize[1] = reverseRow<1>;
        r.bySize[2] = reverseRow<2>;
        r.bySize[3] = reverseRow<3>;
        r.bySize[4] = reverseRow<4>;
        r.bySize[6] = reverseRow<6>;
        r.bySize[8] = reverseRow<8>;
        r.bySize[12] = reverseRow<12>;
        r.bySize[16] = reverseRow<16>;
        return r;
    }();
    return rows;
}

}  // namespace vsk
