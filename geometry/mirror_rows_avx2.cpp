// Reversed pixel rows with AVX2 byte shuffles: a block of whole pixels
// (32 bytes, or 96 for pixels of 3, 6 and 12 bytes) per step, each lane's
// window loaded where the shuffle of that lane needs it, the pixels outside
// whole blocks one by one. The source is read from its start, so the blocks
// go from the destination's end; the streaming rows store aligned blocks past
// the caches.
#include <immintrin.h>

#include "mirror_rows_x86.hpp"

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

struct Avx2 {
    static constexpr int kVector = 32;

    // The block of pixels of P bytes at s reversed into the block at d.
    template <int P, bool Stream>
    static void block(const std::uint8_t* s, std::uint8_t* d) {
        using S = ReverseShuffle<P, kVector>;
        const S& sh = kReverseShuffle<P, kVector>;
        for (int q = 0; q < S::Chunks; q += 2) {
            __m256i v = _mm256_shuffle_epi8(loadWindows(s, sh.at[q][0], sh.at[q + 1][0]),
                                            masks(sh.mask[q][0], sh.mask[q + 1][0]));
            if (sh.two[q] || sh.two[q + 1])
                v = _mm256_or_si256(
                    v, _mm256_shuffle_epi8(loadWindows(s, sh.at[q][1], sh.at[q + 1][1]),
                                           masks(sh.mask[q][1], sh.mask[q + 1][1])));
            auto* out = reinterpret_cast<__m256i*>(d + 16 * q);
            if constexpr (Stream)
                _mm256_stream_si256(out, v);
            else
                _mm256_storeu_si256(out, v);
        }
    }
};

}  // namespace

void fillMirrorRowsAvx2(MirrorRows& rows) { fillReverseRows<Avx2>(rows); }

}  // namespace vsk
