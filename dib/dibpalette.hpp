// Colour tables of DIBs: fixed tables, median-cut tables built from an
// image, and the nearest table entry of a colour.
#pragma once

#include <cstdint>
#include <vector>

#include "dib.hpp"

namespace vsk::dib {

// Reads picture row `pictureRow` of an image (origin 1: counted from the last
// memory row) as working records: 1-bit set -> white, one channel -> grey,
// 16-bit -> high byte, channels in positions 0..3. False for layouts that
// cannot be read (signed depths, 2 channels).
bool readImageRow(const VskImage* image, int pictureRow, Pixel* out);

// Writes the fixed table for the DIB's colour count (2, 16 or 256 entries;
// grey or colour); any other count writes nothing. True when written.
bool makeFixedPalette(BITMAPINFOHEADER* dib, bool grey);

// Builds a median-cut table of at most 2^biBitCount entries from the image
// and sets biClrUsed. False on failure (no memory, bit count above 8, an
// unknown channel sequence).
bool medcutPalette(BITMAPINFOHEADER* dib, const VskImage* image);

// The index of the table entry nearest to a colour (least squared distance
// over blue, green, red; the first of equal distances wins). Remembers
// recent answers, so repeated colours cost one lookup.
class NearestIndex {
public:
    explicit NearestIndex(const BITMAPINFOHEADER* dib);
    unsigned operator()(const Pixel& p);

private:
    std::vector<RGBQUAD> table_;
    std::vector<std::uint32_t> keys_;
    std::vector<std::uint16_t> answers_;
};

}  // namespace vsk::dib
