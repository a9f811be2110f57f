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

// Big-endian 64-bit access: the first byte holds the most significant bits,
// as in a row of 1-bit pixels. Compilers turn these loops into one load or
// store and a byte swap.
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

// The 8 bits from position i on; they span at most the two bytes that the
// run itself covers.
inline std::uint8_t byteAt(const std::uint8_t* p, std::int64_t i) {
    const int shift = static_cast<int>(i & 7);
    const std::uint8_t* q = p + (i >> 3);
    if (shift == 0) return q[0];
    return static_cast<std::uint8_t>((q[0] << shift) | (q[1] >> (8 - shift)));
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
        std::memcpy(dst, src, static_cast<std::size_t>(bytes));
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
    for (; n - k >= 8; k += 8) dst[(d + k) >> 3] = kReversed[byteAt(src, last - k - 7)];
    for (; k < n; ++k) putBit(dst, d + k, getBit(src, last - k));
}

}  // namespace vsk
