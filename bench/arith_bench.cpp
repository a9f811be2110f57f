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

// Runs op(a, b, dst) on images of one depth; with `rows` the destination's
// ROI leaves out the first column, so that the rows are processed one by one.
template <class Op>
void run(benchmark::State& state, unsigned depth, bool rows, Op op) {
    const int side = static_cast<int>(state.range(0));
    Images im(1, depth, side);
    if (rows) im.dst->roi = tvskCreateROI(0, 1, 0, side, side - 1);
    for (auto _ : state) op(im.a, im.b, im.dst);
    setBytes(state, im.a);
}

void BM_AddS8u(benchmark::State& state) {
    run(state, VSK_8U, false, [](VskImage* a, VskImage*, VskImage* d) { tvskAddS(a, d, 17, nullptr); });
}
void BM_AddS8uRows(benchmark::State& state) {
    run(state, VSK_8U, true, [](VskImage* a, VskImage*, VskImage* d) { tvskAddS(a, d, -17, nullptr); });
}
void BM_AddS16s(benchmark::State& state) {
    run(state, VSK_16S, false, [](VskImage* a, VskImage*, VskImage* d) { tvskAddS(a, d, 1000, nullptr); });
}
void BM_AddS32s(benchmark::State& state) {
    run(state, VSK_32S, false, [](VskImage* a, VskImage*, VskImage* d) { tvskAddS(a, d, -100000, nullptr); });
}
void BM_SubtractS8sReversed(benchmark::State& state) {
    run(state, VSK_8S, false,
        [](VskImage* a, VskImage*, VskImage* d) { tvskSubtractS(a, d, 20, 1, nullptr); });
}
void BM_AndS8uRows(benchmark::State& state) {
    run(state, VSK_8U, true, [](VskImage* a, VskImage*, VskImage* d) { tvskAndS(a, d, 0x3C, nullptr); });
}
void BM_And16uRows(benchmark::State& state) {
    run(state, VSK_16U, true, [](VskImage* a, VskImage* b, VskImage* d) { tvskAnd(a, b, d, nullptr); });
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
