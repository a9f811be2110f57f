// The parts of the vector mirror rows that are the same for every x86
// instruction set: the byte shuffles that reverse a block of pixels, and the
// row functions around an instruction set's block loop. Included by
// mirror_rows_<isa>.cpp only; everything here has internal linkage, so each
// file compiles its own copy with its own flags (see the note in simd.hpp).
//
// A block is the smallest run of whole pixels that fills whole vectors:
// `Bytes` bytes, a multiple of both the pixel size P and the vector size.
// Reversed, the block's destination chunk q (its 16 bytes from 16 q on)
// takes its bytes from at most two 16-byte windows of the source block,
// starting at bytes `at[q][0]` and `at[q][1]` (both inside the block); a
// shuffle of each window with `mask[q][w]` (0x80 where the byte comes from
// the other window) and an OR give the chunk. `two[q]` is false when the
// first window holds the whole chunk. The shuffles are evaluated at compile
// time.
#pragma once

#include <xmmintrin.h>

#include <cstdint>
#include <cstring>

#include "mirror_rows.hpp"

namespace vsk {
namespace {

template <int P, int Vector>
struct ReverseShuffle {
    static constexpr int Bytes = (P == 3 || P == 6 || P == 12) ? 3 * Vector : Vector;
    static constexpr int Chunks = Bytes / 16;
    bool covered = true;  // every chunk comes from at most two windows
    int at[Chunks][2] = {};
    bool two[Chunks] = {};
    alignas(32) std::uint8_t mask[Chunks][2][16] = {};
};

template <int P, int Vector>
constexpr ReverseShuffle<P, Vector> reverseShuffle() {
    using S = ReverseShuffle<P, Vector>;
    S s;
    constexpr int pixels = S::Bytes / P;
    for (int q = 0; q < S::Chunks; ++q) {
        int from[16];
        int first = S::Bytes;
        for (int i = 0; i < 16; ++i) {
            const int b = 16 * q + i;
            from[i] = (pixels - 1 - b / P) * P + b % P;
            first = from[i] < first ? from[i] : first;
        }
        // Windows taken greedily from the lowest byte not yet covered, moved
        // back where they would run past the block's end.
        const int w0 = first < S::Bytes - 16 ? first : S::Bytes - 16;
        int rest = S::Bytes;
        for (int i = 0; i < 16; ++i)
            if (from[i] >= w0 + 16 && from[i] < rest) rest = from[i];
        const int w1 = rest < S::Bytes - 16 ? rest : S::Bytes - 16;
        s.at[q][0] = w0;
        s.at[q][1] = w1;
        s.two[q] = rest < S::Bytes;
        for (int i = 0; i < 16; ++i) {
            const bool inFirst = from[i] >= w0 && from[i] < w0 + 16;
            const bool inSecond = s.two[q] && !inFirst && from[i] >= w1 && from[i] < w1 + 16;
            if (!inFirst && !inSecond) s.covered = false;
            s.mask[q][0][i] = static_cast<std::uint8_t>(inFirst ? from[i] - w0 : 0x80);
            s.mask[q][1][i] = static_cast<std::uint8_t>(inSecond ? from[i] - w1 : 0x80);
        }
    }
    return s;
}

template <int P, int Vector>
constexpr ReverseShuffle<P, Vector> kReverseShuffle = reverseShuffle<P, Vector>();

// Destination pixels [from, to) one by one.
void pixels(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n, int size, std::int64_t from,
            std::int64_t to) {
    for (std::int64_t k = from; k < to; ++k)
        std::memcpy(dst + k * size, src + (n - 1 - k) * size, static_cast<std::size_t>(size));
}

// The row functions of an instruction set K, which gives the vector size
// K::kVector and K::block<P, Stream>(s, d): the block of pixels of P bytes
// at s reversed into the block at d, stored past the caches when Stream is
// set.

// Destination blocks [o, o + Bytes) for o = from + j Bytes, j descending.
template <class K, int P, bool Stream>
void reverseBlocks(const std::uint8_t* src, std::uint8_t* dst, std::int64_t bytes,
                   std::int64_t from, std::int64_t blocks) {
    constexpr int B = ReverseShuffle<P, K::kVector>::Bytes;
    static_assert(kReverseShuffle<P, K::kVector>.covered);
    for (std::int64_t o = from + (blocks - 1) * B; o >= from; o -= B)
        K::template block<P, Stream>(src + bytes - o - B, dst + o);
}

template <class K, int P>
void reverseRow(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n) {
    constexpr int B = ReverseShuffle<P, K::kVector>::Bytes;
    const std::int64_t bytes = n * P, blocks = bytes / B;
    // The pixels past the last whole block come from the source's start.
    pixels(src, dst, n, P, blocks * B / P, n);
    reverseBlocks<K, P, false>(src, dst, bytes, 0, blocks);
}

// The pixels before the destination's first vector boundary one by one, the
// blocks from there stored past the caches; rows whose boundaries no block
// reaches go as above.
template <class K, int P>
void reverseRowStreaming(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n) {
    constexpr int V = K::kVector, B = ReverseShuffle<P, V>::Bytes;
    std::int64_t head = 0;
    while (head < V && (reinterpret_cast<std::uintptr_t>(dst + head * P) & (V - 1)) != 0) ++head;
    const std::int64_t bytes = n * P;
    if (head == V || head * P + B > bytes) return reverseRow<K, P>(src, dst, n);
    const std::int64_t blocks = (bytes - head * P) / B;
    pixels(src, dst, n, P, (head * P + blocks * B) / P, n);
    reverseBlocks<K, P, true>(src, dst, bytes, head * P, blocks);
    pixels(src, dst, n, P, 0, head);
    // The streamed stores are ordered before whatever follows.
    _mm_sfence();
}

template <class K, int... Sizes>
void fillSizes(MirrorRows& r) {
    ((r.bySize[Sizes] = reverseRow<K, Sizes>,
      r.streamingBySize[Sizes] = reverseRowStreaming<K, Sizes>),
     ...);
}

// Every pixel size of kMirrorPixelSizes.
template <class K>
void fillReverseRows(MirrorRows& r) {
    fillSizes<K, 1, 2, 3, 4, 6, 8, 12, 16>(r);
}

}  // namespace
}  // namespace vsk
