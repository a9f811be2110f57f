// Decimate: each interpolation by 2/3 on a cache-sized (512 x 512) and a
// memory-sized (2048 x 2048) image, next to a memcpy of the destination's
// bytes in the same run (the ratio is the figure to watch), plus a tiled
// source and destination.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "vsk.h"
#include "vsk_internal.h"

namespace {

struct Deleter {
    void operator()(VskImage* image) const { tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA); }
};
using Image = std::unique_ptr<VskImage, Deleter>;

Image makeImage(int nChannels, unsigned depth, int size, VskTileInfo* tiles = nullptr) {
    Image image(tvskCreateImageHeader(nChannels, 0, depth, nChannels == 3 ? "RGB" : "GRAY",
                                      nChannels == 3 ? "BGR" : "GRAY", VSK_DATA_ORDER_PIXEL, 0, 8,
                                      size, size, nullptr, nullptr, tiles));
    if (!tiles) tvskAllocateImage(image.get(), 77);
    return image;
}

// Hands out one scratch tile for every request: any tile-sized memory will
// do for timing.
struct TileStore {
    std::vector<char> scratch = std::vector<char>(64 * 64, 77);
    static void VSK_CALL callBack(const VskImage* image, int, int, int mode) {
        auto* self = static_cast<TileStore*>(image->tileInfo->id);
        image->tileInfo->tileData = mode == VSK_TILE_RELEASE ? nullptr : self->scratch.data();
    }
};

// args: image size, interpolation, depth, channels
void decimate(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0)), interp = static_cast<int>(state.range(1));
    const unsigned depth = static_cast<unsigned>(state.range(2));
    const int n = static_cast<int>(state.range(3));
    Image src = makeImage(n, depth, size), dst = makeImage(n, depth, size * 2 / 3);
    for (auto _ : state) {
        tvskDecimate(src.get(), dst.get(), 2, 3, 2, 3, interp, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(dst->dataSize));
}

void memcpyOfDestination(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    Image dst = makeImage(1, VSK_8U, size * 2 / 3), other = makeImage(1, VSK_8U, size * 2 / 3);
    for (auto _ : state) {
        std::memcpy(other->imageData, dst->imageData, static_cast<std::size_t>(dst->dataSize));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(dst->dataSize));
}

// Tiled source and destination, 64 x 64 tiles, 8-bit grey.
void decimateTiled(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0)), interp = static_cast<int>(state.range(1));
    TileStore store;
    VskTileInfo srcTiles{TileStore::callBack, &store, nullptr, 64, 64};
    VskTileInfo dstTiles{TileStore::callBack, &store, nullptr, 64, 64};
    Image src = makeImage(1, VSK_8U, size, &srcTiles), dst = makeImage(1, VSK_8U, size * 2 / 3, &dstTiles);
    for (auto _ : state) {
        tvskDecimate(src.get(), dst.get(), 2, 3, 2, 3, interp, nullptr);
        benchmark::ClobberMemory();
    }
    const std::int64_t side = size * 2 / 3;
    state.SetBytesProcessed(state.iterations() * side * side);
    src->tileInfo = nullptr;
    dst->tileInfo = nullptr;
}

}  // namespace

BENCHMARK(decimate)
    ->ArgNames({"size", "interp", "depth", "channels"})
    ->ArgsProduct({{512, 2048}, {VSK_INTER_NN, VSK_INTER_LINEAR, VSK_INTER_CUBIC}, {VSK_8U}, {1, 3}});
BENCHMARK(decimate)
    ->ArgNames({"size", "interp", "depth", "channels"})
    ->ArgsProduct({{2048}, {VSK_INTER_LINEAR, VSK_INTER_CUBIC}, {VSK_16U}, {1}});
BENCHMARK(memcpyOfDestination)->ArgName("size")->Arg(512)->Arg(2048);
BENCHMARK(decimateTiled)->ArgNames({"size", "interp"})->ArgsProduct({{2048}, {VSK_INTER_NN, VSK_INTER_CUBIC}});
