// Test helpers for operations that read one image and write another: sample
// lists, copies, a buffered image paired with a tiled twin, and the check of
// a single argument report.
#pragma once

#include <cstdint>
#include <vector>

#include "vsktest.hpp"

namespace vsktest {

// Every sample of a buffered image in row, column, channel order; padding
// left out.
std::vector<std::int64_t> samples(const VskImage* image);

// A buffered copy of an image: same layout, pixels and border modes, no ROI.
ImagePtr copyOf(const VskImage* image);

// A buffered image and a tiled one of the same geometry holding the same
// pixels (filled by `fill`, then copied into the tiles).
struct TiledPair {
    ImagePtr plain;
    TiledImage tiled;
    TiledPair(int nChannels, unsigned depth, int dataOrder, int height, int width, int tileWidth,
              int tileHeight, void (*fill)(VskImage*, std::uint32_t), std::uint32_t seed);
    // Gives both images the same ROI.
    void roi(int coi, int x, int y, int height, int width);
    // The tiled image's samples.
    std::vector<std::int64_t> tiledSamples() const;
};

// Expects the tiled image to hold `written`'s samples inside tile (col, row)
// and `old`'s everywhere else; col -1 means no tile.
void expectOnlyTileWritten(const TiledImage& tiled, const VskImage* written, const VskImage* old,
                           int col, int row);

// Expects exactly one report with status -5 from `func` in `file` at `line`,
// whose text is `text`, or a header fault message when `text` is null.
void expectArgumentReport(const ErrorCapture& capture, const char* func, const char* file, int line,
                          const char* text);

}  // namespace vsktest
