// 1-bit data: pixel x of a row is bit 7 - (x mod 8) of byte x / 8, the most
// significant bit first. Every per-bit loop reads and writes pixels through
// the accessor below; whole runs move through bitrun.hpp; rows mapped a
// destination byte at a time use BitSource and mapBitRow, which read a source
// row realigned to the destination's bit offset and keep the destination's
// bits outside the processed columns.
#pragma once

#include <cstdint>

namespace vsk {

// ---- one bit ---------------------------------------------------------------------

// The bit of column x within its byte.
inline unsigned bitMask(std::int64_t x) { return 0x80u >> (x & 7); }
// The top k bits of a byte (0 <= k <= 8).
inline unsigned topMask(int k) { return (0xFF00u >> k) & 0xFFu; }

inline bool getBit(const std::uint8_t* row, std::int64_t x) {
    return (row[x >> 3] & bitMask(x)) != 0;
}
inline void putBit(std::uint8_t* row, std::int64_t x, bool v) {
    std::uint8_t& byte = row[x >> 3];
    byte = static_cast<std::uint8_t>(v ? byte | bitMask(x) : byte & ~bitMask(x));
}
inline bool getBit(const char* row, std::int64_t x) {
    return getBit(reinterpret_cast<const std::uint8_t*>(row), x);
}
inline void putBit(char* row, std::int64_t x, bool v) {
    putBit(reinterpret_cast<std::uint8_t*>(row), x, v);
}

// ---- rows a byte at a time ---------------------------------------------------------

// A source row realigned to a destination bit offset: at(k) is the byte of
// source bits that falls on destination byte k.
class BitSource {
public:
    BitSource() = default;
    // `bits` processed bits start at bit `srcBit` of src[0] and land from bit
    // `dstBit` of the destination's first byte on.
    BitSource(const std::uint8_t* src, int srcBit, int dstBit, std::int64_t bits)
        : p_(src), last_((srcBit + bits - 1) >> 3) {
        const int shift = srcBit - dstBit;  // -7..7
        base_ = shift >= 0 ? 0 : -1;
        rshift_ = shift >= 0 ? 8 - shift : -shift;
    }
    // Inner bytes (0 < k < last destination byte): both source bytes exist.
    std::uint8_t inner(std::int64_t k) const {
        const std::int64_t i = k + base_;
        return window(p_[i], p_[i + 1]);
    }
    // Any byte: source bytes outside the processed bits are not read.
    std::uint8_t at(std::int64_t k) const {
        const std::int64_t i = k + base_;
        return window(load(i), load(i + 1));
    }

private:
    std::uint8_t load(std::int64_t i) const { return i >= 0 && i <= last_ ? p_[i] : 0; }
    std::uint8_t window(unsigned hi, unsigned lo) const {
        return static_cast<std::uint8_t>(((hi << 8) | lo) >> rshift_);
    }
    const std::uint8_t* p_ = nullptr;
    std::int64_t last_ = 0;  // last source byte holding processed bits
    int base_ = 0;
    int rshift_ = 8;
};

// Applies f to `bits` bits of a row: destination bits from `dstBit` of d[0]
// on become f(source bytes); the first and last destination bytes are merged
// through edge masks.
template <int Sources, class F>
void mapBitRow(std::uint8_t* d, int dstBit, const BitSource* src, std::int64_t bits, F f) {
    if (bits <= 0) return;
    auto value = [&](std::int64_t k, bool edge) -> std::uint8_t {
        if constexpr (Sources == 1)
            return edge ? f(src[0].at(k)) : f(src[0].inner(k));
        else
            return edge ? f(src[0].at(k), src[1].at(k)) : f(src[0].inner(k), src[1].inner(k));
    };
    auto merge = [&](std::int64_t k, unsigned mask) {
        d[k] = static_cast<std::uint8_t>((d[k] & ~mask) | (value(k, true) & mask));
    };
    const std::int64_t end = dstBit + bits;  // one past the last bit
    const std::int64_t lastByte = (end - 1) >> 3;
    const unsigned firstMask = ~topMask(dstBit) & 0xFFu;
    const unsigned lastMask = topMask(static_cast<int>(((end - 1) & 7) + 1));
    if (lastByte == 0) {
        merge(0, firstMask & lastMask);
        return;
    }
    merge(0, firstMask);
    for (std::int64_t k = 1; k < lastByte; ++k) d[k] = value(k, false);
    merge(lastByte, lastMask);
}

}  // namespace vsk
