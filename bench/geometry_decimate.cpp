// Decimate: each interpolation by 2/3 on a cache-sized (512 x 512) and a
// memory-sized (2048 x 2048) image, next to a memcpy of the destination's
// bytes in the same run (the ratio is the figure to watch), plus a tiled
// source and destination.
#include "support/benchsupport.hpp"

namespace {

using namespace vskbench;

// Arguments: image size, interpolation, depth, channels.
void BM_Decimate(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0)), interp = static_cast<int>(state.range(1));
    const Shape shape{static_cast<int>(state.range(3)), static_cast<unsigned>(state.range(2)), size,
                      size};
    Shape small = shape;
    small.height = small.width = size * 2 / 3;
    Image src = makeImage(shape, 1), dst = makeImage(small, 2);
    timeLoop(state, bytesOf(dst),
             [&] { tvskDecimate(src.get(), dst.get(), 2, 3, 2, 3, interp, nullptr); });
}

// Tiled source and destination, 64 x 64 tiles, 8-bit grey.
void BM_DecimateTiled(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0)), interp = static_cast<int>(state.range(1));
    TileStore from({1, VSK_8U, size, size}, 64, 64), to({1, VSK_8U, size * 2 / 3, size * 2 / 3}, 64, 64);
    Image src = from.makeImage(), dst = to.makeImage();
    const std::int64_t side = size * 2 / 3;
    timeLoop(state, side * side,
             [&] { tvskDecimate(src.get(), dst.get(), 2, 3, 2, 3, interp, nullptr); });
}

}  // namespace

BENCHMARK(vskbench::memcpyBytes)->Arg(341 * 344)->Arg(1365 * 1368)->Arg(1365 * 1368 * 3);
BENCHMARK(BM_Decimate)
    ->ArgNames({"size", "interp", "depth", "channels"})
    ->ArgsProduct({{512, 2048}, {VSK_INTER_NN, VSK_INTER_LINEAR, VSK_INTER_CUBIC}, {VSK_8U}, {1, 3}})
    ->ArgsProduct({{2048}, {VSK_INTER_LINEAR, VSK_INTER_CUBIC}, {VSK_16U}, {1}});
BENCHMARK(BM_DecimateTiled)
    ->ArgNames({"size", "interp"})
    ->ArgsProduct({{2048}, {VSK_INTER_NN, VSK_INTER_CUBIC}});
