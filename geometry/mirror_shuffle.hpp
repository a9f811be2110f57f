// Byte shuffles that reverse a block of pixels, for the vector kernels of
// mirror_rows (included by the instruction-set files only; everything here is
// evaluated at compile time).
//
// A block is the smallest run of whole pixels that fills whole vectors:
// `Bytes` bytes, a multiple of both the pixel size P and the vector size.
// Reversed, the block's destination chunk q (its 16 bytes from 16 q on)
// takes its bytes from at most two 16-byte windows of the source block,
// starting at bytes `at[q][0]` and `at[q][1]` (both inside the block); a
// shuffle of each window with `mask[q][w]` (0x80 where the byte comes from
// the other window) and an OR give the chunk. `two[q]` is false when the
// first window holds the whole chunk.
#pragma once

#include <cstdint>

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

}  // namespace
}  // namespace vsk
