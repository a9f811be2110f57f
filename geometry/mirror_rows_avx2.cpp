// Reversed pixel rows with AVX2 byte shuffles: a block of whole pixels
// (32 bytes, or 96 for pixels of 3, 6 and 12 bytes) per step, each lane's
// window loaded where the shuffle of that lane needs it, the pixels outside
// whole blocks one by one. The source is read from its start, so the blocks
// go from the destination's end; the streaming rows store aligned blocks past
// the caches.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "mirror_rows.hpp"
#include "mirror_shuffle.hpp"

namespace vsk {

namespace {

constexpr int kVector = 32;

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

// Destination blocks [o, o + Bytes) for o = from + j Bytes, j descending.
template <int P, bool Stream>
void reverseBlocks(const std::uint8_t* src, std::uint8_t* dst, std::int64_t bytes,
                   std::int64_t from, std::int64_t blocks) {
    using S = ReverseShuffle<P, kVector>;
    static constexpr S sh = reverseShuffle<P, kVector>();
    static_assert(sh.covered);
    for (std::int64_t o = from + (blocks - 1) * S::Bytes; o >= from; o -= S::Bytes) {
        const std::uint8_t* s = src + bytes - o - S::Bytes;
        for (int q = 0; q < S::Chunks; q += 2) {
            __m256i v = _mm256_shuffle_epi8(loadWindows(s, sh.at[q][0], sh.at[q + 1][0]),
                                            masks(sh.mask[q][0], sh.mask[q + 1][0]));
            if (sh.two[q] || sh.two[q + 1])
                v = _mm256_or_si256(
                    v, _mm256_shuffle_epi8(loadWindows(s, sh.at[q][1], sh.at[q + 1][1]),
                                           masks(sh.mask[q][1], sh.mask[q + 1][1])));
            auto* out = reinterpret_cast<__m256i*>(dst + o + 16 * q);
            if constexpr (Stream)
                _mm256_stream_si256(out, v);
            else
                _mm256_storeu_si256(out, v);
        }
    }
}

// Destination pixels [from, to) one by one.
void pixels(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n, int size, std::int64_t from,
            std::int64_t to) {
    for (std::int64_t k = from; k < to; ++k)
        std::memcpy(dst + k * size, src + (n - 1 - k) * size, static_cast<std::size_t>(size));
}

template <int P>
void reverseRow(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n) {
    constexpr int B = ReverseShuffle<P, kVector>::Bytes;
    const std::int64_t bytes = n * P, blocks = bytes / B;
    // The pixels past the last whole block come from the source's start.
    pixels(src, dst, n, P, blocks * B / P, n);
    reverseBlocks<P, false>(src, dst, bytes, 0, blocks);
}

// The pixels before the destination's first vector boundary one by one, the
// blocks from there stored past the caches; rows whose boundaries no block
// reaches go as above.
template <int P>
void reverseRowStreaming(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n) {
    constexpr int B = ReverseShuffle<P, kVector>::Bytes;
    std::int64_t head = 0;
    while (head < kVector &&
           (reinterpret_cast<std::uintptr_t>(dst + head * P) & (kVector - 1)) != 0)
        ++head;
    const std::int64_t bytes = n * P;
    if (head == kVector || head * P + B > bytes) return reverseRow<P>(src, dst, n);
    const std::int64_t blocks = (bytes - head * P) / B;
    pixels(src, dst, n, P, (head * P + blocks * B) / P, n);
    reverseBlocks<P, true>(src, dst, bytes, head * P, blocks);
    pixels(src, dst, n, P, 0, head);
    // The streamed stores are ordered before whatever follows.
    _mm_sfence();
}

template <int... Sizes>
void fill(MirrorRows& r) {
    ((r.bySize[Sizes] = reverseRow<Sizes>, r.streamingBySize[Sizes] = reverseRowStreaming<Sizes>),
     ...);
}

}  // namespace

void fillMirrorRowsAvx2(MirrorRows& rows) { fill<1, 2, 3, 4, 6, 8, 12, 16>(rows); }

}  // namespace vsk
