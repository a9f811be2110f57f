#include "bitrow.hpp"

#include <array>
#include <cstring>

namespace vsk {

namespace {

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

inline unsigned bitAt(const std::uint8_t* p, std::int64_t i) {
    return (p[i >> 3] >> (7 - (i & 7))) & 1u;
}

inline void putBit(std::uint8_t* p, std::int64_t i, unsigned v) {
    const auto mask = static_cast<std::uint8_t>(0x80u >> (i & 7));
    p[i >> 3] = static_cast<std::uint8_t>(v ? (p[i >> 3] | mask) : (p[i >> 3] & ~mask));
}

// The 8 bits from position i on; they span at most the two bytes that the
// run itself covers.
inline std::uint8_t byteAt(const std::uint8_t* p, std::int64_t i) {
    const int shift = static_cast<int>(i & 7);
    const std::uint8_t* q = p + (i >> 3);
    if (shift == 0) return q[0];
    return static_cast<std::uint8_t>((q[0] << shift) | (q[1] >> (8 - shift)));
}

}  // namespace

void copyBits(std::uint8_t* dst, std::int64_t d, const std::uint8_t* src, std::int64_t s,
              std::int64_t n) {
    std::int64_t k = 0;
    for (; k < n && ((d + k) & 7) != 0; ++k) putBit(dst, d + k, bitAt(src, s + k));
    if (((s + k) & 7) == 0) {
        // Same phase: whole bytes move at once.
        const std::int64_t bytes = (n - k) >> 3;
        if (bytes > 0) {
            std::memmove(dst + ((d + k) >> 3), src + ((s + k) >> 3), static_cast<std::size_t>(bytes));
            k += bytes << 3;
        }
    } else {
        for (; n - k >= 8; k += 8) dst[(d + k) >> 3] = byteAt(src, s + k);
    }
    for (; k < n; ++k) putBit(dst, d + k, bitAt(src, s + k));
}

void copyBitsReversed(std::uint8_t* dst, std::int64_t d, const std::uint8_t* src,
                      std::int64_t s, std::int64_t n) {
    const std::int64_t last = s + n - 1;
    std::int64_t k = 0;
    for (; k < n && ((d + k) & 7) != 0; ++k) putBit(dst, d + k, bitAt(src, last - k));
    for (; n - k >= 8; k += 8) dst[(d + k) >> 3] = kReversed[byteAt(src, last - k - 7)];
    for (; k < n; ++k) putBit(dst, d + k, bitAt(src, last - k));
}

}  // namespace vsk
