#include "samples.hpp"

#include <gtest/gtest.h>

#include <cstring>

namespace vsktest {

std::vector<std::int64_t> samples(const VskImage* image) {
    std::vector<std::int64_t> out;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < image->nChannels; ++c) out.push_back(get(image, x, y, c));
    return out;
}

ImagePtr copyOf(const VskImage* image) {
    ImagePtr out = makeImage(image->nChannels, image->depth, image->dataOrder, image->height,
                             image->width, 0, image->align);
    std::memcpy(out->imageData, image->imageData, static_cast<std::size_t>(image->dataSize));
    std::memcpy(out->borderModes, image->borderModes, sizeof image->borderModes);
    std::memcpy(out->borderValues, image->borderValues, sizeof image->borderValues);
    return out;
}

TiledPair::TiledPair(int nChannels, unsigned depth, int dataOrder, int height, int width,
                     int tileWidth, int tileHeight, void (*fill)(VskImage*, std::uint32_t),
                     std::uint32_t seed)
    : plain(makeImage(nChannels, depth, dataOrder, height, width)),
      tiled(nChannels, depth, dataOrder, height, width, tileWidth, tileHeight) {
    fill(plain.get(), seed);
    tiled.loadFrom(plain.get());
}

void TiledPair::roi(int coi, int x, int y, int height, int width) {
    setRoi(plain.get(), coi, x, y, height, width);
    setRoi(tiled.get(), coi, x, y, height, width);
}

std::vector<std::int64_t> TiledPair::tiledSamples() const {
    ImagePtr out = copyOf(plain.get());
    tiled.storeTo(out.get());
    return samples(out.get());
}

void expectOnlyTileWritten(const TiledImage& tiled, const VskImage* written, const VskImage* old,
                           int col, int row) {
    const VskImage* t = tiled.get();
    for (int y = 0; y < t->height; ++y)
        for (int x = 0; x < t->width; ++x) {
            const bool mine = x / t->tileInfo->width == col && y / t->tileInfo->height == row;
            for (int c = 0; c < t->nChannels; ++c)
                ASSERT_EQ(tiled.get(x, y, c), get(mine ? written : old, x, y, c)) << x << "," << y << "," << c;
        }
}

void expectArgumentReport(const ErrorCapture& capture, const char* func, const char* file, int line,
                          const char* text) {
    ASSERT_EQ(capture.reports().size(), 1u);
    const Report& r = capture.reports()[0];
    EXPECT_EQ(r.status, VSK_STATUS_BAD_ARG);
    EXPECT_EQ(r.func, func);
    EXPECT_EQ(r.file, file);
    EXPECT_EQ(r.line, line);
    if (text) {
        EXPECT_EQ(r.context, text);
    } else {
        EXPECT_EQ(r.context.rfind("Image ", 0), 0u) << r.context;
    }
}

}  // namespace vsktest
