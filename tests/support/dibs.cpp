#include "dibs.hpp"

#include <cstring>

#include "vsktest.hpp"

namespace vsktest {

Dib makeDib(int bits, int width, int height, std::uint32_t compression, int entries,
            std::int64_t clrUsed) {
    if (entries < 0) entries = bits <= 8 ? 1 << bits : 0;
    Dib dib = Dib::make(width, height, bits, compression, static_cast<std::uint32_t>(entries));
    if (clrUsed >= 0) dib.header()->biClrUsed = static_cast<std::uint32_t>(clrUsed);
    return dib;
}

Dib randomDib(const BITMAPINFOHEADER& header, std::uint32_t entries, std::uint32_t seed) {
    Dib dib = Dib::make(header.biWidth, header.biHeight, header.biBitCount, header.biCompression,
                        entries);
    // The generator of fillRandom.
    std::uint32_t s = seed * 2654435761u + 1;
    for (std::size_t i = 0; i < dib.size(); ++i) {
        s = s * 1664525u + 1013904223u;
        dib.bytes()[i] = static_cast<std::uint8_t>(s >> 24);
    }
    std::memcpy(dib.bytes(), &header, sizeof header);
    return dib;
}

void setEntry(Dib& dib, int i, int red, int green, int blue, int reserved) {
    const std::uint8_t q[4] = {static_cast<std::uint8_t>(blue), static_cast<std::uint8_t>(green),
                               static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(reserved)};
    std::memcpy(tableOf(dib) + 4 * i, q, 4);
}

void setGreyRamp(Dib& dib, int n) {
    for (int i = 0; i < n; ++i) setEntry(dib, i, 255 * i / (n - 1), 255 * i / (n - 1), 255 * i / (n - 1));
}

void setMasks(Dib& dib, std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    const std::uint32_t m[3] = {red, green, blue};
    std::memcpy(tableOf(dib), m, sizeof m);
}

std::uint8_t* pictureRow(Dib& dib, int y) {
    const std::size_t row = dib.header()->biHeight > 0 ? dib.rows() - 1 - y : y;
    return dib.bytes() + dib.pixelOffset() + row * dib.rowBytes();
}

std::int64_t pictureAt(const VskImage* image, int x, int y, int c) {
    return get(image, x, image->origin == 1 ? image->height - 1 - y : y, c);
}

}  // namespace vsktest
