// Shared pieces of the benchmarks: images filled with seeded noise, a tile
// store for tiled images, and the memcpy baseline every speed figure is
// divided by (a ratio measured in one run survives a noisy machine; an
// absolute time does not).
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "vsk.h"
#include "vsk_internal.h"

namespace vskbench {

struct ImageDeleter {
    void operator()(VskImage* image) const;
};
using Image = std::unique_ptr<VskImage, ImageDeleter>;

struct Shape {
    int channels = 3;
    unsigned depth = VSK_8U;
    int height = 0, width = 0;
    int order = VSK_DATA_ORDER_PIXEL;
    int alphaChannel = 0;
    const char* model = nullptr;  // colour model and channel order; by channel count if null
    const char* sequence = nullptr;
};

// A buffered image (rows aligned to 8) filled with seeded noise.
Image makeImage(const Shape& shape, std::uint32_t seed = 1);

// Tiles held in memory, one block per tile, for a tiled image of the shape.
class TileStore {
public:
    TileStore(const Shape& shape, int tileWidth, int tileHeight);
    // A header over this store (the store must outlive it).
    Image makeImage();

private:
    static void VSK_CALL callBack(const VskImage* image, int col, int row, int mode);
    Shape shape_;
    VskTileInfo info_;
    int columns_, rows_;
    std::vector<std::vector<char>> tiles_;
    std::vector<char> scratch_;  // handed out for tiles past the grid
};

// Times `op` for the benchmark's iterations and counts `bytes` per call.
template <class F>
void timeLoop(benchmark::State& state, std::int64_t bytes, F&& op) {
    for (auto _ : state) {
        op();
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bytes);
}

// A memcpy of `bytes` bytes between two buffers of that size.
void memcpyLoop(benchmark::State& state, std::int64_t bytes);

// A benchmark of a memcpy of range(0) bytes: the baseline of every area,
// registered as BENCHMARK(vskbench::memcpyBytes)->Arg(bytes).
void memcpyBytes(benchmark::State& state);

// The bytes of a square image of the shape with the given side.
std::int64_t bytesOf(Shape shape, int side);

// Bytes of an image's buffer.
inline std::int64_t bytesOf(const Image& image) { return image->dataSize; }

}  // namespace vskbench
