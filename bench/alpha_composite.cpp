// Compositing speed against a memcpy of one image's bytes in the same run:
// the ratio of the two survives a noisy machine.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "vsk.h"
#include "vsk_internal.h"

namespace {

struct Images {
    VskImage *a, *b, *d;
    Images(int size, unsigned depth, int order) {
        VskImage** all[] = {&a, &b, &d};
        unsigned seed = 1;
        for (VskImage** p : all) {
            *p = tvskCreateImageHeader(4, 4, depth, "RGBA", "RGBA", order, 0, 8, size, size,
                                       nullptr, nullptr, nullptr);
            tvskAllocateImage(*p, -1);
            for (int i = 0; i < (*p)->dataSize; ++i) {
                seed = seed * 1664525u + 1013904223u;
                (*p)->imageData[i] = static_cast<char>(seed >> 24);
            }
        }
    }
    ~Images() {
        for (VskImage* p : {a, b, d}) tvskDeallocate(p, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
};

void setBytes(benchmark::State& state, const VskImage* image) {
    state.SetBytesProcessed(state.iterations() * image->dataSize);
}

void BM_Memcpy(benchmark::State& state) {
    const Images im(static_cast<int>(state.range(0)), VSK_8U, 0);
    for (auto _ : state) {
        std::memcpy(im.d->imageData, im.a->imageData, static_cast<std::size_t>(im.a->dataSize));
        benchmark::ClobberMemory();
    }
    setBytes(state, im.a);
}

// Arguments: size, depth bits, data order, operator, premultiplied, divide.
void BM_Composite(benchmark::State& state) {
    const Images im(static_cast<int>(state.range(0)), state.range(1) == 16 ? VSK_16U : VSK_8U,
                    static_cast<int>(state.range(2)));
    for (auto _ : state) {
        tvskAlphaComposite(im.a, im.b, im.d, static_cast<int>(state.range(3)), nullptr, nullptr,
                           nullptr, static_cast<int>(state.range(4)),
                           static_cast<int>(state.range(5)), nullptr);
        benchmark::ClobberMemory();
    }
    setBytes(state, im.a);
}

void BM_PreMultiply(benchmark::State& state) {
    const Images im(static_cast<int>(state.range(0)), VSK_8U, 0);
    for (auto _ : state) {
        vskPreMultiplyAlpha(im.d, -1, nullptr);
        benchmark::ClobberMemory();
    }
    setBytes(state, im.d);
}

}  // namespace

BENCHMARK(BM_Memcpy)->Arg(512)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Composite)
    ->ArgNames({"size", "bits", "plane", "op", "premul", "divide"})
    ->Args({512, 8, 0, 0, 0, 0})
    ->Args({4096, 8, 0, 0, 0, 0})
    ->Args({4096, 8, 0, 0, 1, 0})
    ->Args({4096, 8, 1, 0, 0, 0})
    ->Args({4096, 8, 0, 4, 0, 0})
    ->Args({4096, 16, 0, 0, 0, 0})
    ->Args({4096, 8, 0, 0, 0, 1})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PreMultiply)->Arg(4096)->Unit(benchmark::kMillisecond);
