// Add, subtract and AND against a memcpy of the same bytes, on a cache-sized
// and a memory-sized image: the kernels should run near memory speed.
#include <benchmark/benchmark.h>

#include <cstring>

#include "vsk.h"

namespace {

VskImage* makeImage(int nChannels, unsigned depth, int side) {
    VskImage* image = tvskCreateImageHeader(nChannels, 0, depth, "GRAY", "GRAY", 0, 0, 8, side,
                                            side, nullptr, nullptr, nullptr);
    tvskAllocateImage(image, 7);
    return image;
}

struct Images {
    VskImage *a, *b, *dst;
    Images(int nChannels, unsigned depth, int side)
        : a(makeImage(nChannels, depth, side)),
          b(makeImage(nChannels, depth, side)),
          dst(makeImage(nChannels, depth, side)) {}
    ~Images() {
        for (VskImage* i : {a, b, dst}) tvskDeallocate(i, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI);
    }
};

void setBytes(benchmark::State& state, const VskImage* image) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * image->dataSize);
}

void BM_Memcpy(benchmark::State& state) {
    Images im(1, VSK_8U, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::memcpy(im.dst->imageData, im.a->imageData, static_cast<std::size_t>(im.a->dataSize));
        benchmark::ClobberMemory();
    }
    setBytes(state, im.a);
}

void BM_AddS8u(benchmark::State& state) {
    Images im(1, VSK_8U, static_cast<int>(state.range(0)));
    for (auto _ : state) tvskAddS(im.a, im.dst, 17, nullptr);
    setBytes(state, im.a);
}

// A ROI one column short of the width: row by row instead of one run.
void BM_AddS8uRows(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Images im(1, VSK_8U, side);
    im.dst->roi = tvskCreateROI(0, 1, 0, side, side - 1);
    for (auto _ : state) tvskAddS(im.a, im.dst, -17, nullptr);
    setBytes(state, im.a);
}

void BM_AddS16s(benchmark::State& state) {
    Images im(1, VSK_16S, static_cast<int>(state.range(0)));
    for (auto _ : state) tvskAddS(im.a, im.dst, 1000, nullptr);
    setBytes(state, im.a);
}

void BM_AddS32s(benchmark::State& state) {
    Images im(1, VSK_32S, static_cast<int>(state.range(0)));
    for (auto _ : state) tvskAddS(im.a, im.dst, -100000, nullptr);
    setBytes(state, im.a);
}

void BM_SubtractS8sReversed(benchmark::State& state) {
    Images im(1, VSK_8S, static_cast<int>(state.range(0)));
    for (auto _ : state) tvskSubtractS(im.a, im.dst, 20, 1, nullptr);
    setBytes(state, im.a);
}

void BM_AndS8uRows(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Images im(1, VSK_8U, side);
    im.dst->roi = tvskCreateROI(0, 1, 0, side, side - 1);
    for (auto _ : state) tvskAndS(im.a, im.dst, 0x3C, nullptr);
    setBytes(state, im.a);
}

void BM_And16uRows(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Images im(1, VSK_16U, side);
    im.dst->roi = tvskCreateROI(0, 1, 0, side, side - 1);
    for (auto _ : state) tvskAnd(im.a, im.b, im.dst, nullptr);
    setBytes(state, im.a);
}

}  // namespace

// 512 x 512 bytes stays in cache; 4096 x 4096 does not.
BENCHMARK(BM_Memcpy)->Arg(512)->Arg(4096);
BENCHMARK(BM_AddS8u)->Arg(512)->Arg(4096);
BENCHMARK(BM_AddS8uRows)->Arg(512)->Arg(4096);
BENCHMARK(BM_AddS16s)->Arg(512)->Arg(4096);
BENCHMARK(BM_AddS32s)->Arg(512)->Arg(4096);
BENCHMARK(BM_SubtractS8sReversed)->Arg(512)->Arg(4096);
BENCHMARK(BM_AndS8uRows)->Arg(512)->Arg(4096);
BENCHMARK(BM_And16uRows)->Arg(512)->Arg(4096);
