// Mirror speed: axis 0 moves whole rows and should run near a memcpy of the
// same bytes; the other axes reverse pixels. Sizes: one that fits the cache
// and one that doesn't (3-channel 8-bit, and 1-bit).
#include "support/benchsupport.hpp"

namespace {

using namespace vskbench;

// Arguments: side, axis, channels (0: 1-bit), in place.
void BM_Mirror(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0)), axis = static_cast<int>(state.range(1));
    const Shape shape = state.range(2) ? Shape{static_cast<int>(state.range(2)), VSK_8U, side, side}
                                       : Shape{1, VSK_1U, side, side};
    Image src = makeImage(shape, 1), dst = makeImage(shape, 2);
    VskImage* out = state.range(3) ? src.get() : dst.get();
    timeLoop(state, 2 * bytesOf(src), [&] { tvskMirror(src.get(), out, axis, nullptr); });
}

}  // namespace

BENCHMARK(vskbench::memcpyBytes)->Arg(256 * 256 * 3)->Arg(2048 * 2048 * 3);
BENCHMARK(BM_Mirror)
    ->ArgNames({"side", "axis", "channels", "inplace"})
    ->ArgsProduct({{256, 2048}, {0, 1, -1}, {1, 3}, {0, 1}})
    ->ArgsProduct({{2048}, {0, 1}, {0}, {0}});
