// Whole-image copy and fill against a memcpy of the same bytes, on a
// cache-sized and a memory-sized image, plus 1-bit copies at unequal bit
// offsets. Compare the ratios within one run, not absolute times.
#include "support/benchsupport.hpp"

namespace {

using namespace vskbench;

int side(const benchmark::State& state) { return static_cast<int>(state.range(0)); }

void BM_Copy(benchmark::State& state) {
    Image a = makeImage({3, VSK_8U, side(state), side(state)}), b = makeImage({3, VSK_8U, side(state), side(state)}, 2);
    timeLoop(state, bytesOf(a), [&] { tvskCopy(a.get(), b.get(), nullptr); });
}

// Fill at 8 and 16 bits over the same bytes.
void BM_Set(benchmark::State& state) {
    const bool wide = state.range(1) != 0;
    Image a = makeImage({3, wide ? VSK_16U : VSK_8U, side(state), side(state) / (wide ? 2 : 1)});
    timeLoop(state, bytesOf(a), [&] { tvskSet(a.get(), 999, nullptr); });
}

// 1-bit rows copied from bit offset 3 to bit offset 6 (shift and merge).
void BM_CopyBitsShifted(benchmark::State& state) {
    const int n = side(state);
    Image a = makeImage({1, VSK_1U, n, n * 24}), b = makeImage({1, VSK_1U, n, n * 24});
    a->roi = tvskCreateROI(0, 3, 0, n, n * 24 - 8);
    b->roi = tvskCreateROI(0, 6, 0, n, n * 24 - 8);
    timeLoop(state, bytesOf(a), [&] { tvskCopy(a.get(), b.get(), nullptr); });
}

}  // namespace

BENCHMARK(vskbench::memcpyBytes)->Arg(256 * 256 * 3)->Arg(4096 * 4096 * 3);
BENCHMARK(BM_Copy)->Arg(256)->Arg(4096);
BENCHMARK(BM_Set)->ArgsProduct({{256, 4096}, {0, 1}});
BENCHMARK(BM_CopyBitsShifted)->Arg(256)->Arg(4096);
