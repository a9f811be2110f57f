// Bitmaps for the tests: packed DIBs made by the tool's builder, with colour
// tables, masks and rows set by hand or from a seed.
#pragma once

#include <cstdint>

#include "bmpfile.hpp"

namespace vsktest {

using vsk::bmp::Dib;

// A zeroed DIB with room for `entries` table entries (-1: 2^bits up to 8
// bits, none above); biClrUsed as the builder sets it, or `clrUsed` if given.
Dib makeDib(int bits, int width, int height, std::uint32_t compression = BI_RGB,
            int entries = -1, std::int64_t clrUsed = -1);
// A DIB whose bytes after the header (table or masks, rows) are seeded
// random: the header's fields as given, `entries` table entries.
Dib randomDib(const BITMAPINFOHEADER& header, std::uint32_t entries, std::uint32_t seed);

inline std::uint8_t* tableOf(Dib& dib) { return dib.bytes() + 40; }
void setEntry(Dib& dib, int i, int red, int green, int blue, int reserved = 0);
// Entry i of n is grey (255 i / (n - 1)).
void setGreyRamp(Dib& dib, int n);
void setMasks(Dib& dib, std::uint32_t red, std::uint32_t green, std::uint32_t blue);
// Row y of the picture (0 = top) wherever the header's table and row order put it.
std::uint8_t* pictureRow(Dib& dib, int y);

// Channel c of picture pixel (x, y) of an image: row y counted from the
// top of the picture (the last memory row with origin 1).
std::int64_t pictureAt(const VskImage* image, int x, int y, int c = 0);

}  // namespace vsktest
