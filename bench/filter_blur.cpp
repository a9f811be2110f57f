// Blur speed: the running sums make the cost per pixel independent of the box
// size, so the times across box sizes should stay flat.
#include <benchmark/benchmark.h>

#include "vsk.h"

namespace {

VskImage* image(int n, unsigned depth, int side) {
    VskImage* im = tvskCreateImageHeader(n, 0, depth, n == 3 ? "RGB" : "GRAY", n == 3 ? "BGR" : "GRAY", 0, 0,
                                         4, side, side, nullptr, nullptr, nullptr);
    tvskAllocateImage(im, 100);
    return im;
}

void blur(benchmark::State& state, int n, unsigned depth) {
    const int side = 1024, box = static_cast<int>(state.range(0));
    VskImage* src = image(n, depth, side);
    VskImage* dst = image(n, depth, side);
    for (auto _ : state) {
        tvskBlur(src, dst, box, box, box / 2, box / 2, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t{side} * side);
    tvskDeallocate(src, VSK_FREE_HEADER | VSK_FREE_DATA);
    tvskDeallocate(dst, VSK_FREE_HEADER | VSK_FREE_DATA);
}

void BM_Blur8u(benchmark::State& state) { blur(state, 1, VSK_8U); }
void BM_Blur8uRGB(benchmark::State& state) { blur(state, 3, VSK_8U); }
void BM_Blur32s(benchmark::State& state) { blur(state, 1, VSK_32S); }

}  // namespace

BENCHMARK(BM_Blur8u)->Arg(3)->Arg(9)->Arg(31)->Arg(101);
BENCHMARK(BM_Blur8uRGB)->Arg(3)->Arg(9)->Arg(31)->Arg(101);
BENCHMARK(BM_Blur32s)->Arg(3)->Arg(9)->Arg(31)->Arg(101);
