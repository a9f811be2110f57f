// Whole-image copy and fill against memcpy/memset of the same bytes, on a
// cache-sized and a memory-sized image, plus 1-bit copies at unequal bit
// offsets. Compare the ratios within one run, not absolute times.
#include <benchmark/benchmark.h>

#include <cstring>

#include "vsk.h"

namespace {

struct Image {
    VskImage* image;
    Image(unsigned depth, int nChannels, int height, int width)
        : image(tvskCreateImageHeader(nChannels, 0, depth, "RGB", "BGR", VSK_DATA_ORDER_PIXEL, 0,
                                      8, height, width, nullptr, nullptr, nullptr)) {
        tvskAllocateImage(image, 17);
    }
    ~Image() { tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI); }
};

// Side lengths: 256 x 256 x 3 bytes fits in cache, 4096 x 4096 x 3 does not.
void sizes(benchmark::internal::Benchmark* b) { b->Arg(256)->Arg(4096); }

// Times f, counting the image's buffer as the bytes processed.
template <class F>
void timed(benchmark::State& state, const Image& image, F&& f) {
    for (auto _ : state) {
        f();
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * image.image->dataSize);
}

int side(const benchmark::State& state) { return static_cast<int>(state.range(0)); }

void BM_Memcpy(benchmark::State& state) {
    Image a(VSK_8U, 3, side(state), side(state)), b(VSK_8U, 3, side(state), side(state));
    timed(state, a, [&] {
        std::memcpy(b.image->imageData, a.image->imageData,
                    static_cast<std::size_t>(a.image->dataSize));
    });
}

void BM_Copy(benchmark::State& state) {
    Image a(VSK_8U, 3, side(state), side(state)), b(VSK_8U, 3, side(state), side(state));
    timed(state, a, [&] { tvskCopy(a.image, b.image, nullptr); });
}

void BM_Memset(benchmark::State& state) {
    Image a(VSK_8U, 3, side(state), side(state));
    timed(state, a, [&] {
        std::memset(a.image->imageData, 99, static_cast<std::size_t>(a.image->dataSize));
    });
}

void BM_Set(benchmark::State& state) {
    Image a(VSK_8U, 3, side(state), side(state));
    timed(state, a, [&] { tvskSet(a.image, 99, nullptr); });
}

// 16-bit values over the same bytes as the 8-bit image.
void BM_Set16(benchmark::State& state) {
    Image a(VSK_16U, 3, side(state), side(state) / 2);
    timed(state, a, [&] { tvskSet(a.image, 999, nullptr); });
}

// 1-bit rows copied from bit offset 3 to bit offset 6 (shift and merge).
void BM_CopyBitsShifted(benchmark::State& state) {
    const int n = side(state);
    Image a(VSK_1U, 1, n, n * 24), b(VSK_1U, 1, n, n * 24);
    a.image->roi = tvskCreateROI(0, 3, 0, n, n * 24 - 8);
    b.image->roi = tvskCreateROI(0, 6, 0, n, n * 24 - 8);
    timed(state, a, [&] { tvskCopy(a.image, b.image, nullptr); });
}

BENCHMARK(BM_Memcpy)->Apply(sizes);
BENCHMARK(BM_Copy)->Apply(sizes);
BENCHMARK(BM_Memset)->Apply(sizes);
BENCHMARK(BM_Set)->Apply(sizes);
BENCHMARK(BM_Set16)->Apply(sizes);
BENCHMARK(BM_CopyBitsShifted)->Apply(sizes);

}  // namespace

