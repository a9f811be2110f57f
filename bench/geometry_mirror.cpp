// Mirror speed: axis 0 moves whole rows and should run near a memcpy of the
// same bytes; the other axes reverse pixels. Sizes: one that fits the cache
// and one that doesn't (width x height, 3-channel 8-bit, and 1-bit).
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "vsk.h"

namespace {

struct Image {
    VskImage* image;
    Image(int n, unsigned depth, int side) {
        image = tvskCreateImageHeader(n, 0, depth, n == 3 ? "RGB" : "GRAY", n == 3 ? "BGR" : "GRAY", 0, 0, 4,
                                      side, side, nullptr, nullptr, nullptr);
        tvskAllocateImage(image, 7);
    }
    ~Image() { tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA); }
};

void mirror(benchmark::State& state, int n, unsigned depth, int axis) {
    const int side = static_cast<int>(state.range(0));
    Image src(n, depth, side), dst(n, depth, side);
    for (auto _ : state) {
        tvskMirror(src.image, dst.image, axis, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t{src.image->dataSize});
}

void BM_MemcpyBaseline(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Image src(3, VSK_8U, side), dst(3, VSK_8U, side);
    for (auto _ : state) {
        std::memcpy(dst.image->imageData, src.image->imageData, static_cast<std::size_t>(src.image->dataSize));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t{src.image->dataSize});
}

void BM_MirrorAxis0(benchmark::State& state) { mirror(state, 3, VSK_8U, 0); }
void BM_MirrorAxis1(benchmark::State& state) { mirror(state, 3, VSK_8U, 1); }
void BM_MirrorBoth(benchmark::State& state) { mirror(state, 3, VSK_8U, -1); }
void BM_MirrorAxis0InPlace(benchmark::State& state) {
    Image image(3, VSK_8U, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        tvskMirror(image.image, image.image, 0, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t{image.image->dataSize});
}
void BM_MirrorBitsAxis0(benchmark::State& state) { mirror(state, 1, VSK_1U, 0); }
void BM_MirrorBitsAxis1(benchmark::State& state) { mirror(state, 1, VSK_1U, 1); }

}  // namespace

BENCHMARK(BM_MemcpyBaseline)->Arg(256)->Arg(2048);
BENCHMARK(BM_MirrorAxis0)->Arg(256)->Arg(2048);
BENCHMARK(BM_MirrorAxis0InPlace)->Arg(256)->Arg(2048);
BENCHMARK(BM_MirrorAxis1)->Arg(256)->Arg(2048);
BENCHMARK(BM_MirrorBoth)->Arg(256)->Arg(2048);
BENCHMARK(BM_MirrorBitsAxis0)->Arg(2048);
BENCHMARK(BM_MirrorBitsAxis1)->Arg(2048);
