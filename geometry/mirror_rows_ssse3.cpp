// Reversed pixel rows with SSSE3 byte shuffles: a block of whole pixels
// (16 bytes, or 48 for pixels of 3, 6 and 12 bytes) per step, the pixels
// outside whole blocks one by one. The source is read from its start, so the
// blocks go from the destination's end; the streaming rows store aligned
// blocks past the caches.
#include <tmmintrin.h>

#include "mirror_rows_x86.hpp"

namespace vsk {

namespace {

struct Ssse3 {
    static constexpr int kVector = 16;

    // The block of pixels of P bytes at s reversed into the block at d.
    template <int P, bool Stream>
    static void block(const std::uint8_t* s, std::uint8_t* d) {
        using S = ReverseShuffle<P, kVector>;
        const S& sh = kReverseShuffle<P, kVector>;
        for (int q = 0; q < S::Chunks; ++q) {
            const auto* m = reinterpret_cast<const __m128i*>(sh.mask[q]);
            __m128i v = _mm_shuffle_epi8(
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + sh.at[q][0])), m[0]);
            if (sh.two[q])
                v = _mm_or_si128(
                    v,
                    _mm_shuffle_epi8(
                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + sh.at[q][1])), m[1]));
            auto* out = reinterpret_cast<__m128i*>(d + 16 * q);
            if constexpr (Stream)
                _mm_stream_si128(out, v);
            else
                _mm_storeu_si128(out, v);
        }
    }
};

}  // namespace

void fillMirrorRowsSsse3(MirrorRows& rows) { fillReverseRows<Ssse3>(rows); }

}  // namespace vsk
