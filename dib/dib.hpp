// Device-independent bitmaps: the derived quantities of a DIB, the working
// pixel record and the masked-field layouts shared by import and export.
#pragma once

#include <cstdint>
#include <cstring>

#include "core.hpp"

namespace vsk::dib {

// The working value of one pixel: blue, green, red, alpha.
struct Pixel {
    std::uint8_t b, g, r, a;
};

// Bytes in one row of `width` pixels of `bits` bits, padded to 4 bytes.
inline std::int64_t dibRowBytes(std::int64_t width, std::int64_t bits) {
    return strideOfBits(width * bits, 4);
}

// Entries of the colour table (or 3 for the bit-field masks).
std::uint32_t colorCount(const BITMAPINFOHEADER* dib);

// The colour table (or the masks) right after the header.
inline const std::uint8_t* table(const BITMAPINFOHEADER* dib) {
    return reinterpret_cast<const std::uint8_t*>(dib) + dib->biSize;
}
inline std::uint8_t* table(BITMAPINFOHEADER* dib) {
    return reinterpret_cast<std::uint8_t*>(dib) + dib->biSize;
}
inline RGBQUAD entry(const BITMAPINFOHEADER* dib, std::uint32_t i) {
    RGBQUAD q;
    std::memcpy(&q, table(dib) + 4 * static_cast<std::size_t>(i), 4);
    return q;
}
inline std::uint32_t mask(const BITMAPINFOHEADER* dib, int i) {
    std::uint32_t m;
    std::memcpy(&m, table(dib) + 4 * i, 4);
    return m;
}

// The first pixel row in memory.
inline const std::uint8_t* pixels(const BITMAPINFOHEADER* dib) {
    return table(dib) + 4 * static_cast<std::size_t>(colorCount(dib));
}
inline std::uint8_t* pixels(BITMAPINFOHEADER* dib) {
    return table(dib) + 4 * static_cast<std::size_t>(colorCount(dib));
}

// True when entry i of the colour table is grey (255 * i) / (n - 1).
// A one-entry table is never called here: callers refuse it first.
bool isGrayRamp(const BITMAPINFOHEADER* dib);

// One masked field of a 16- or 32-bit pixel.
struct Field {
    std::uint32_t mask = 0;
    int shift = 0;  // trailing zero bits of the mask
    int width = 0;  // consecutive one bits above the shift
};
Field fieldFromMask(std::uint32_t mask);

struct Fields {
    Field red, green, blue, alpha;
};
// The field layout of a 16- or 32-bit DIB. False when a bit-field mask is 0
// (such DIBs are refused) or the bit count has no fields.
bool fieldsOf(const BITMAPINFOHEADER* dib, Fields* fields);

// A field's value widened to 8 bits (low bits are not filled).
inline std::uint8_t widenField(std::uint32_t pixel, const Field& f) {
    const std::uint32_t v = f.shift >= 32 ? 0 : (pixel & f.mask) >> f.shift;
    if (f.width >= 8) return static_cast<std::uint8_t>(v >> (f.width - 8));
    return static_cast<std::uint8_t>(v << (8 - f.width));
}

// True for the four channel sequences compared as four bytes.
inline bool seqIs(const VskImage* image, const char (&four)[5]) {
    return std::memcmp(image->channelSeq, four, 4) == 0;
}

}  // namespace vsk::dib
