// Zoom speed: each interpolation at 8 and 16 bits, one and three channels,
// on a cache-sized and a memory-sized destination, next to a memcpy of the
// destination's bytes (compare the ratio, not the absolute time), and into a
// tiled destination.
#include "support/benchsupport.hpp"

namespace {

using namespace vskbench;

// Arguments: interpolation, channels, 16-bit (0/1), destination side.
void BM_Zoom(benchmark::State& state) {
    const int interp = static_cast<int>(state.range(0)), side = static_cast<int>(state.range(3));
    const Shape shape{static_cast<int>(state.range(1)), state.range(2) ? VSK_16U : VSK_8U, side, side};
    Shape half = shape;
    half.height = half.width = side / 2;
    Image src = makeImage(half, 1), dst = makeImage(shape, 2);
    timeLoop(state, bytesOf(dst),
             [&] { tvskZoom(src.get(), dst.get(), 2, 1, 2, 1, interp, nullptr); });
}

// A 3/2 zoom into a destination tiled 64 x 64.
void BM_ZoomTiledDestination(benchmark::State& state) {
    const int interp = static_cast<int>(state.range(0)), side = 1024;
    Image src = makeImage({3, VSK_8U, side * 2 / 3, side * 2 / 3});
    TileStore store({3, VSK_8U, side, side}, 64, 64);
    Image dst = store.makeImage();
    timeLoop(state, std::int64_t{side} * side * 3,
             [&] { tvskZoom(src.get(), dst.get(), 3, 2, 3, 2, interp, nullptr); });
}

}  // namespace

BENCHMARK(vskbench::memcpyBytes)->Arg(512 * 512 * 3)->Arg(2048 * 2048 * 3);
BENCHMARK(BM_Zoom)
    ->ArgNames({"interp", "channels", "16bit", "side"})
    ->ArgsProduct({{VSK_INTER_NN, VSK_INTER_LINEAR, VSK_INTER_CUBIC}, {1, 3}, {0, 1}, {512, 2048}});
BENCHMARK(BM_ZoomTiledDestination)->ArgNames({"interp"})->DenseRange(0, 2);
