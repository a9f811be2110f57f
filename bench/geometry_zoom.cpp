// Zoom speed: each interpolation at 8 and 16 bits, one and three channels,
// on a cache-sized and a memory-sized destination, next to a memcpy of the
// destination's bytes (compare the ratio, not the absolute time).
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "vsk.h"

namespace {

struct Image {
    VskImage* image;
    Image(int n, unsigned depth, int height, int width) {
        image = tvskCreateImageHeader(n, 0, depth, n == 3 ? "RGB" : "GRAY", n == 3 ? "BGR" : "GRAY",
                                      VSK_DATA_ORDER_PIXEL, 0, 8, height, width, nullptr, nullptr,
                                      nullptr);
        tvskAllocateImage(image, 0);
        unsigned s = 12345;
        for (int i = 0; i < image->dataSize; ++i) {
            s = s * 1664525u + 1013904223u;
            image->imageData[i] = static_cast<char>(s >> 24);
        }
    }
    ~Image() { tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA); }
};

// Arguments: interpolation, channels, 16-bit (0/1), destination side.
void BM_Zoom(benchmark::State& state) {
    const int interp = static_cast<int>(state.range(0));
    const int n = static_cast<int>(state.range(1));
    const unsigned depth = state.range(2) ? VSK_16U : VSK_8U;
    const int side = static_cast<int>(state.range(3));
    Image src(n, depth, side / 2, side / 2);
    Image dst(n, depth, side, side);
    for (auto _ : state) {
        tvskZoom(src.image, dst.image, 2, 1, 2, 1, interp, nullptr);
        benchmark::DoNotOptimize(dst.image->imageData);
    }
    state.SetBytesProcessed(state.iterations() * dst.image->dataSize);
}

// A 3/2 zoom into a tiled destination (64 x 64 tiles held in memory).
std::vector<std::vector<char>>* gTiles;
int gTilesX;
void VSK_CALL tileCallback(const VskImage* image, int col, int row, int mode) {
    if (mode == VSK_TILE_RELEASE) return;
    image->tileInfo->tileData = (*gTiles)[static_cast<std::size_t>(row * gTilesX + col)].data();
}

void BM_ZoomTiledDestination(benchmark::State& state) {
    const int interp = static_cast<int>(state.range(0));
    const int side = 1024;
    Image src(3, VSK_8U, side * 2 / 3, side * 2 / 3);
    VskTileInfo info{tileCallback, nullptr, nullptr, 64, 64};
    VskImage* dst = tvskCreateImageHeader(3, 0, VSK_8U, "RGB", "BGR", VSK_DATA_ORDER_PIXEL, 0, 8,
                                          side, side, nullptr, nullptr, &info);
    gTilesX = side / 64;
    std::vector<std::vector<char>> tiles(static_cast<std::size_t>(gTilesX * gTilesX),
                                         std::vector<char>(64 * 64 * 3));
    gTiles = &tiles;
    for (auto _ : state) tvskZoom(src.image, dst, 3, 2, 3, 2, interp, nullptr);
    state.SetBytesProcessed(state.iterations() * std::int64_t{side} * side * 3);
    dst->tileInfo = nullptr;
    tvskDeallocate(dst, VSK_FREE_HEADER);
}

void BM_Memcpy(benchmark::State& state) {
    const std::size_t bytes = static_cast<std::size_t>(state.range(0)) * state.range(0) * state.range(1);
    std::vector<char> a(bytes, 1), b(bytes);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), bytes);
        benchmark::DoNotOptimize(b.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

}  // namespace

BENCHMARK(BM_Zoom)
    ->ArgNames({"interp", "channels", "16bit", "side"})
    ->ArgsProduct({{VSK_INTER_NN, VSK_INTER_LINEAR, VSK_INTER_CUBIC}, {1, 3}, {0, 1}, {512, 2048}});
BENCHMARK(BM_ZoomTiledDestination)->ArgNames({"interp"})->DenseRange(0, 2);
BENCHMARK(BM_Memcpy)->ArgNames({"side", "bytes"})->ArgsProduct({{512, 2048}, {1, 3, 6}});
