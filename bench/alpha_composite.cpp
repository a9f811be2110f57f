// Compositing speed against a memcpy of one image's bytes in the same run:
// the ratio of the two survives a noisy machine.
#include "support/benchsupport.hpp"

namespace {

using namespace vskbench;

// Arguments: size, depth bits, data order, operator, premultiplied, divide.
void BM_Composite(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    const Shape shape{4, state.range(1) == 16 ? VSK_16U : VSK_8U, side, side,
                      static_cast<int>(state.range(2)), 4};
    Image a = makeImage(shape, 1), b = makeImage(shape, 2), d = makeImage(shape, 3);
    const int op = static_cast<int>(state.range(3)), premul = static_cast<int>(state.range(4));
    const int divide = static_cast<int>(state.range(5));
    timeLoop(state, bytesOf(a), [&] {
        tvskAlphaComposite(a.get(), b.get(), d.get(), op, nullptr, nullptr, nullptr, premul, divide,
                           nullptr);
    });
}

void BM_PreMultiply(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Image d = makeImage({4, VSK_8U, side, side, VSK_DATA_ORDER_PIXEL, 4});
    timeLoop(state, bytesOf(d), [&] { vskPreMultiplyAlpha(d.get(), -1, nullptr); });
}

}  // namespace

BENCHMARK(vskbench::memcpyBytes)->Arg(512 * 512 * 4)->Arg(4096 * 4096 * 4)->Unit(benchmark::kMillisecond);
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
