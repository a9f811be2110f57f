#include "benchsupport.hpp"

#include <cstring>
#include <string>

namespace vskbench {

namespace {

const char* modelOf(int channels) {
    return channels == 4 ? "RGBA" : channels == 3 ? "RGB" : "GRAY";
}
const char* sequenceOf(int channels) {
    return channels == 4 ? "BGRA" : channels == 3 ? "BGR" : "GRAY";
}

VskImage* header(const Shape& s, VskTileInfo* tiles) {
    return tvskCreateImageHeader(s.channels, s.alphaChannel, s.depth,
                                 s.model ? s.model : modelOf(s.channels),
                                 s.sequence ? s.sequence : sequenceOf(s.channels), s.order, 0, 8, s.height, s.width,
                                 nullptr, nullptr, tiles);
}

void fillNoise(char* data, std::size_t n, std::uint32_t seed) {
    for (std::size_t i = 0; i < n; ++i) {
        seed = seed * 1664525u + 1013904223u;
        data[i] = static_cast<char>(seed >> 24);
    }
}

}  // namespace

void ImageDeleter::operator()(VskImage* image) const {
    if (image && image->tileInfo) image->tileInfo = nullptr;  // the store owns its record
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI);
}

Image makeImage(const Shape& shape, std::uint32_t seed) {
    Image image(header(shape, nullptr));
    tvskAllocateImage(image.get(), -1);
    fillNoise(image->imageData, static_cast<std::size_t>(image->dataSize), seed);
    return image;
}

TileStore::TileStore(const Shape& shape, int tileWidth, int tileHeight)
    : shape_(shape), info_{callBack, this, nullptr, tileWidth, tileHeight} {
    columns_ = (shape.width + tileWidth - 1) / tileWidth;
    rows_ = (shape.height + tileHeight - 1) / tileHeight;
    const std::size_t tileBytes =
        static_cast<std::size_t>(vskComputeWidthStep(shape.order, shape.depth, 8, shape.channels,
                                                     tileWidth)) *
        tileHeight * (shape.order == VSK_DATA_ORDER_PLANE ? shape.channels : 1);
    tiles_.assign(static_cast<std::size_t>(columns_) * rows_, std::vector<char>(tileBytes));
    std::uint32_t seed = 7;
    for (auto& tile : tiles_) fillNoise(tile.data(), tile.size(), seed++);
    scratch_.assign(tileBytes, 0);
}

Image TileStore::makeImage() { return Image(header(shape_, &info_)); }

void VSK_CALL TileStore::callBack(const VskImage* image, int col, int row, int mode) {
    auto* self = static_cast<TileStore*>(image->tileInfo->id);
    if (mode == VSK_TILE_RELEASE) {
        image->tileInfo->tileData = nullptr;
        return;
    }
    const bool inside = col >= 0 && row >= 0 && col < self->columns_ && row < self->rows_;
    image->tileInfo->tileData =
        inside ? self->tiles_[static_cast<std::size_t>(row) * self->columns_ + col].data()
               : self->scratch_.data();
}

void memcpyLoop(benchmark::State& state, std::int64_t bytes) {
    const auto n = static_cast<std::size_t>(bytes);
    std::vector<char> a(n, 1), b(n, 2);
    timeLoop(state, bytes, [&] { std::memcpy(b.data(), a.data(), n); });
}

void memcpyBytes(benchmark::State& state) { memcpyLoop(state, state.range(0)); }

std::int64_t bytesOf(Shape shape, int side) {
    shape.height = shape.width = side;
    return makeImage(shape)->dataSize;
}

}  // namespace vskbench
