// Blur speed: the running sums make the cost per pixel independent of the box
// size, so the times across box sizes should stay flat.
#include "support/benchsupport.hpp"

namespace {

using namespace vskbench;

// Arguments: channels, depth, box side.
void BM_Blur(benchmark::State& state) {
    const int side = 1024, box = static_cast<int>(state.range(2));
    const Shape shape{static_cast<int>(state.range(0)), static_cast<unsigned>(state.range(1)), side,
                      side};
    Image src = makeImage(shape, 1), dst = makeImage(shape, 2);
    timeLoop(state, 2 * bytesOf(src),
             [&] { tvskBlur(src.get(), dst.get(), box, box, box / 2, box / 2, nullptr); });
}

}  // namespace

BENCHMARK(vskbench::memcpyBytes)->Arg(1024 * 1024 * 3);
BENCHMARK(BM_Blur)
    ->ArgNames({"channels", "depth", "box"})
    ->ArgsProduct({{1, 3}, {VSK_8U}, {3, 9, 31, 101}})
    ->ArgsProduct({{1}, {VSK_16U, VSK_32S}, {3, 31}});
