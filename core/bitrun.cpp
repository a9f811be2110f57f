// Runs of 1-bit pixels, moved a byte or a 64-bit word at a time.
#include "bitrun.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace vsk {

namespace {

using u8 = std::uint8_t;

// The k bits (1..8) at bit position `bit` (0..7) of p, left-aligned in a
// byte. The second byte is read only when the bits reach into it.
inline unsigned readBits(const u8* p, int bit, int k) {
    unsigned v = static_cast<unsigned>(p[0]) << bit;
    if (bit + k > 8) v |= static_cast<unsigned>(p[1]) >> (8 - bit);
    return v & topMask(k);
}

// Writes the k bits left-aligned in v at bit position `bit` of *p
// (bit + k <= 8), keeping the byte's other bits.
inline void writeBits(u8* p, int bit, int k, unsigned v) {
    const unsigned mask = topMask(k) >> bit;
    *p = static_cast<u8>((*p & ~mask) | ((v >> bit) & mask));
}

// Big-endian and little-endian 64-bit access: in a row of 1-bit pixels the
// first byte holds the most significant bits. One load or store and a byte
// swap where the compiler offers it, byte by byte elsewhere.
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
inline std::uint64_t loadBE64(const u8* p) {
    std::uint64_t v;
    std::memcpy(&v, p, 8);
    return __builtin_bswap64(v);
}
inline void storeBE64(u8* p, std::uint64_t v) {
    v = __builtin_bswap64(v);
    std::memcpy(p, &v, 8);
}
inline void storeLE64(u8* p, std::uint64_t v) { std::memcpy(p, &v, 8); }
#else
inline std::uint64_t loadBE64(const u8* p) {
    std::uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = (v << 8) | p[i];
    return v;
}
inline void storeBE64(u8* p, std::uint64_t v) {
    for (int i = 7; i >= 0; --i) {
        p[i] = static_cast<u8>(v);
        v >>= 8;
    }
}
inline void storeLE64(u8* p, std::uint64_t v) {
    for (int i = 0; i < 8; ++i, v >>= 8) p[i] = static_cast<u8>(v);
}
#endif

// Bit-reversal of every byte value.
constexpr std::array<std::uint8_t, 256> kReversed = [] {
    std::array<std::uint8_t, 256> t{};
    for (int v = 0; v < 256; ++v) {
        int r = 0;
        for (int b = 0; b < 8; ++b)
            if (v & (1 << b)) r |= 0x80 >> b;
        t[static_cast<std::size_t>(v)] = static_cast<std::uint8_t>(r);
    }
    return t;
}();

// The bit order of every byte of v reversed.
inline std::uint64_t reverseBitsInBytes(std::uint64_t v) {
    v = ((v >> 1) & 0x5555555555555555ull) | ((v & 0x5555555555555555ull) << 1);
    v = ((v >> 2) & 0x3333333333333333ull) | ((v & 0x3333333333333333ull) << 2);
    return ((v >> 4) & 0x0F0F0F0F0F0F0F0Full) | ((v & 0x0F0F0F0F0F0F0F0Full) << 4);
}

// Eight bytes at a time: source bytes last[-j-7] .. last[-j] (and the next
// one for the bits a shift brings in) read as one big-endian word; with
// every byte's bits reversed, its least significant byte is dst[j], so the
// word is stored little-endian. The source is read ascending, from the last
// destination bytes to the first.
void reverseBitBytes(const u8* last, int shift, u8* dst, std::int64_t count) {
    const std::int64_t head = count % 8;
    for (std::int64_t j = count - 8; j >= head; j -= 8) {
        std::uint64_t w = loadBE64(last - j - 7);
        if (shift) w = (w << shift) | (last[1 - j] >> (8 - shift));
        storeLE64(dst + j, reverseBitsInBytes(w));
    }
    for (std::int64_t j = 0; j < head; ++j) {
        unsigned v = static_cast<unsigned>(last[-j]) << shift;
        if (shift) v |= last[1 - j] >> (8 - shift);
        dst[j] = kReversed[v & 0xFF];
    }
}

}  // namespace

void copyBits(const u8* src, std::int64_t srcBit, u8* dst, std::int64_t dstBit,
              std::int64_t count) {
    if (count <= 0) return;
    src += srcBit >> 3;
    dst += dstBit >> 3;
    int s = static_cast<int>(srcBit & 7);
    const int d = static_cast<int>(dstBit & 7);
    // Head: bring the destination to a byte boundary.
    if (d != 0) {
        const int k = static_cast<int>(std::min<std::int64_t>(count, 8 - d));
        writeBits(dst, d, k, readBits(src, s, k));
        ++dst;
        s += k;
        src += s >> 3;
        s &= 7;
        count -= k;
        if (count == 0) return;
    }
    std::int64_t bytes = count >> 3;
    const int tail = static_cast<int>(count & 7);
    if (s == 0) {
        // Moved, not copied: rows of a widthStep shorter than a row overlap.
        std::memmove(dst, src, static_cast<std::size_t>(bytes));
        src += bytes;
        dst += bytes;
    } else {
        // Each destination byte takes the low bits of one source byte and the
        // high bits of the next; every source byte read holds bits of the run.
        const int r = 8 - s;
        for (; bytes >= 8; bytes -= 8, src += 8, dst += 8)
            storeBE64(dst, (loadBE64(src) << s) | (src[8] >> r));
        for (; bytes > 0; --bytes, ++src, ++dst)
            *dst = static_cast<u8>((src[0] << s) | (src[1] >> r));
    }
    if (tail) writeBits(dst, 0, tail, readBits(src, s, tail));
}

void fillBits(u8* dst, std::int64_t bit, std::int64_t count, bool value) {
    if (count <= 0) return;
    dst += bit >> 3;
    const int d = static_cast<int>(bit & 7);
    const unsigned v = value ? 0xFFu : 0u;
    if (d != 0) {
        const int k = static_cast<int>(std::min<std::int64_t>(count, 8 - d));
        writeBits(dst, d, k, v);
        ++dst;
        count -= k;
    }
    std::memset(dst, static_cast<int>(v), static_cast<std::size_t>(count >> 3));
    if (count & 7) writeBits(dst + (count >> 3), 0, static_cast<int>(count & 7), v);
}

void swapBits(u8* a, std::int64_t aBit, u8* b, std::int64_t bBit, std::int64_t count) {
    // Chunks of the run go through a small buffer: three word-wise copies.
    u8 held[512];
    constexpr std::int64_t kChunk = sizeof held * 8;
    for (std::int64_t done = 0; done < count; done += kChunk) {
        const std::int64_t n = std::min(kChunk, count - done);
        copyBits(a, aBit + done, held, 0, n);
        copyBits(b, bBit + done, a, aBit + done, n);
        copyBits(held, 0, b, bBit + done, n);
    }
}

void copyBitsReversed(const std::uint8_t* src, std::int64_t s, std::uint8_t* dst,
                      std::int64_t d, std::int64_t n) {
    const std::int64_t last = s + n - 1;
    std::int64_t k = 0;
    for (; k < n && ((d + k) & 7) != 0; ++k) putBit(dst, d + k, getBit(src, last - k));
    // Whole destination bytes: the first takes source bits last - k - 7 .. last - k.
    const std::int64_t bytes = (n - k) >> 3;
    if (bytes > 0) {
        const std::int64_t from = last - k - 7;
        bitRows().reverseBytes(src + (from >> 3), static_cast<int>(from & 7), dst + ((d + k) >> 3),
                               bytes);
        k += bytes * 8;
    }
    for (; k < n; ++k) putBit(dst, d + k, getBit(src, last - k));
}

const BitRows& bitRowsFor(simd::SimdLevel level) {
    using simd::SimdLevel;
    auto at = [](SimdLevel l) {
        return BitRows{simd::pick<ReverseBitBytes>({VSK_SIMD_ENTRY(Avx2, reverseBitBytesAvx2),
                                                    VSK_SIMD_ENTRY(Ssse3, reverseBitBytesSsse3),
                                                    {SimdLevel::Scalar, reverseBitBytes}},
                                                   l)};
    };
    static const BitRows tables[] = {at(SimdLevel::Scalar), at(SimdLevel::Sse2),
                                     at(SimdLevel::Ssse3), at(SimdLevel::Sse41),
                                     at(SimdLevel::Avx2)};
    return tables[static_cast<int>(level)];
}

const BitRows& bitRows() {
    static const BitRows& rows = bitRowsFor(simd::simdLevel());
    return rows;
}

}  // namespace vsk
