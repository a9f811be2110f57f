// Pieces shared by the operations that read their source through the
// rectangle fetch and write a destination block by block (mirror, blur): a
// temporary buffered image over a fetched rectangle, and the piece of a
// rectangle that falls into one tile of a walk.
#pragma once

#include <algorithm>

#include "core.hpp"

namespace vsk {

// A buffered image, without ROI, holding a rectangle fetched from another
// image with vskGetRect (border modes apply outside that image). The buffer
// is released with the object.
class FetchedImage {
public:
    FetchedImage() = default;
    ~FetchedImage();
    FetchedImage(const FetchedImage&) = delete;
    FetchedImage& operator=(const FetchedImage&) = delete;

    // Fetches width x height pixels at (x, y) of `image`, replacing what was
    // held. Sizes are 64-bit so that callers can pass sums that overflow an
    // int; false when the rectangle can't be had.
    bool fetch(const VskImage* image, std::int64_t x, std::int64_t y, std::int64_t width,
               std::int64_t height);
    void release();

    VskImage header{};
};

// The part of a rectangle axis [0, total) inside tile `k` of a walk whose
// first tile starts `inner` units before the rectangle.
struct TileSpan {
    int start;   // from the rectangle's first row or column
    int size;
    int inTile;  // offset inside the tile
};

inline TileSpan tileSpan(int k, int inner, int tile, int total) {
    const std::int64_t tileStart = std::int64_t{k} * tile - inner;
    const std::int64_t a = std::max<std::int64_t>(0, tileStart);
    const std::int64_t b = std::min<std::int64_t>(total, tileStart + tile);
    return {static_cast<int>(a), static_cast<int>(b - a), static_cast<int>(a - tileStart)};
}

}  // namespace vsk
