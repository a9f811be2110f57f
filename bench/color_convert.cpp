// Colour module speed against a memcpy of the source's bytes in the same run,
// on a cache-sized (256) and a memory-sized (2048) image: the ratio survives
// a noisy machine. Bytes processed count the source.
#include <benchmark/benchmark.h>

#include <cstring>

#include "vsk.h"
#include "vsk_internal.h"

namespace {

VskImage* image(int channels, unsigned depth, const char* model, const char* seq, int size) {
    VskImage* p = tvskCreateImageHeader(channels, 0, depth, model, seq, VSK_DATA_ORDER_PIXEL, 0, 8,
                                        size, size, nullptr, nullptr, nullptr);
    tvskAllocateImage(p, -1);
    unsigned seed = 1;
    for (int i = 0; i < p->dataSize; ++i) {
        seed = seed * 1664525u + 1013904223u;
        p->imageData[i] = static_cast<char>(seed >> 24);
    }
    return p;
}

// A source and a destination, released at the end of the benchmark.
struct Pair {
    VskImage *src, *dst;
    ~Pair() {
        tvskDeallocate(src, VSK_FREE_HEADER | VSK_FREE_DATA);
        tvskDeallocate(dst, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
};

template <class F>
void run(benchmark::State& state, const Pair& p, F&& f) {
    for (auto _ : state) {
        f(p.src, p.dst);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * p.src->dataSize);
}

int sizeOf(const benchmark::State& state) { return static_cast<int>(state.range(0)); }

void BM_Memcpy(benchmark::State& state) {
    const Pair p{image(3, VSK_8U, "RGB", "RGB", sizeOf(state)),
                 image(3, VSK_8U, "RGB", "RGB", sizeOf(state))};
    run(state, p, [](VskImage* s, VskImage* d) {
        std::memcpy(d->imageData, s->imageData, static_cast<std::size_t>(s->dataSize));
    });
}

void BM_ColorToGray8U(benchmark::State& state) {
    const Pair p{image(3, VSK_8U, "RGB", "BGR", sizeOf(state)),
                 image(1, VSK_8U, "GRAY", "GRAY", sizeOf(state))};
    run(state, p, [](VskImage* s, VskImage* d) { tvskColorToGray(s, d, nullptr); });
}

void BM_GrayToColor8U(benchmark::State& state) {
    const Pair p{image(1, VSK_8U, "GRAY", "GRAY", sizeOf(state)),
                 image(3, VSK_8U, "RGB", "RGB", sizeOf(state))};
    run(state, p,
        [](VskImage* s, VskImage* d) { tvskGrayToColor(s, d, 0.3f, 0.59f, 0.11f, nullptr); });
}

void BM_Reduce16To8(benchmark::State& state) {
    const Pair p{image(3, VSK_16U, "RGB", "RGB", sizeOf(state)),
                 image(3, VSK_8U, "RGB", "RGB", sizeOf(state))};
    run(state, p, [](VskImage* s, VskImage* d) { vskReduceBits(s, d, 0, 1, 0, nullptr); });
}

// Arguments: size, dither type.
void BM_Dither16To8(benchmark::State& state) {
    const Pair p{image(1, VSK_16U, "GRAY", "GRAY", sizeOf(state)),
                 image(1, VSK_8U, "GRAY", "GRAY", sizeOf(state))};
    const int type = static_cast<int>(state.range(1));
    run(state, p, [type](VskImage* s, VskImage* d) { vskReduceBits(s, d, 0, type, 2, nullptr); });
}

void BM_Jitter16To8(benchmark::State& state) {
    const Pair p{image(1, VSK_16U, "GRAY", "GRAY", sizeOf(state)),
                 image(1, VSK_8U, "GRAY", "GRAY", sizeOf(state))};
    run(state, p, [](VskImage* s, VskImage* d) { vskReduceBits(s, d, 4, 1, 0, nullptr); });
}

void BM_RGB2HSV8U(benchmark::State& state) {
    const Pair p{image(3, VSK_8U, "RGB", "RGB", sizeOf(state)),
                 image(3, VSK_8U, "RGB", "RGB", sizeOf(state))};
    run(state, p, [](VskImage* s, VskImage* d) { vskRGB2HSV(s, d, nullptr); });
}

void BM_HLS2RGB16U(benchmark::State& state) {
    const Pair p{image(3, VSK_16U, "HLS", "HLS", sizeOf(state)),
                 image(3, VSK_16U, "RGB", "RGB", sizeOf(state))};
    run(state, p, [](VskImage* s, VskImage* d) { vskHLS2RGB(s, d, nullptr); });
}

}  // namespace

BENCHMARK(BM_Memcpy)->Arg(256)->Arg(2048);
BENCHMARK(BM_ColorToGray8U)->Arg(256)->Arg(2048);
BENCHMARK(BM_GrayToColor8U)->Arg(256)->Arg(2048);
BENCHMARK(BM_Reduce16To8)->Arg(256)->Arg(2048);
BENCHMARK(BM_Dither16To8)->Args({256, 2})->Args({256, 4})->Args({256, 16})->Args({2048, 2});
BENCHMARK(BM_Jitter16To8)->Arg(256);
BENCHMARK(BM_RGB2HSV8U)->Arg(256);
BENCHMARK(BM_HLS2RGB16U)->Arg(256);
