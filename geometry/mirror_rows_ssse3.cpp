// Reversed pixel rows with SSSE3 byte shuffles: a block of whole pixels
// (16 bytes, or 48 for pixels of 3, 6 and 12 bytes) per step, the last
// pixels one by one.
#include <tmmintrin.h>

#include <cstring>

#include "mirror_rows.hpp"
#include "mirror_shuffle.hpp"

namespace vsk {

namespace {

template <int P>
void reverseRow(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n) {
    using S = ReverseShuffle<P, 16>;
    static constexpr S shuffle = reverseShuffle<P, 16>();
    static_assert(shuffle.covered);
    const std::int64_t bytes = n * P;
    std::int64_t o = 0;
    for (; o + S::Bytes <= bytes; o += S::Bytes) {
        const std::uint8_t* s = src + bytes - o - S::Bytes;
        for (int q = 0; q < S::Chunks; ++q) {
            const auto* m = reinterpret_cast<const __m128i*>(shuffle.mask[q]);
            __m128i v = _mm_shuffle_epi8(
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + shuffle.at[q][0])), m[0]);
            if (shuffle.two[q])
                v = _mm_or_si128(
                    v, _mm_shuffle_epi8(
                           _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + shuffle.at[q][1])),
                           m[1]));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + o + 16 * q), v);
        }
    }
    for (std::int64_t k = o / P; k < n; ++k) std::memcpy(dst + k * P, src + (n - 1 - k) * P, P);
}

}  // namespace

const MirrorRows& mirrorRowsSsse3() {
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
