// Colour module speed against a memcpy of the source's bytes in the same run,
// on a cache-sized (256) and a memory-sized (2048) image: the ratio survives
// a noisy machine. Bytes processed count the source.
#include "support/benchsupport.hpp"

namespace {

using namespace vskbench;

int sizeOf(const benchmark::State& state) { return static_cast<int>(state.range(0)); }

template <class F>
void run(benchmark::State& state, Shape from, Shape to, F&& f) {
    from.height = from.width = to.height = to.width = sizeOf(state);
    Image src = makeImage(from, 1), dst = makeImage(to, 2);
    timeLoop(state, bytesOf(src), [&] { f(src.get(), dst.get()); });
}

const Shape rgb8{3, VSK_8U}, rgb16{3, VSK_16U}, grey8{1, VSK_8U}, grey16{1, VSK_16U};

void BM_ColorToGray8U(benchmark::State& state) {
    run(state, rgb8, grey8, [](VskImage* s, VskImage* d) { tvskColorToGray(s, d, nullptr); });
}
void BM_GrayToColor8U(benchmark::State& state) {
    run(state, grey8, rgb8,
        [](VskImage* s, VskImage* d) { tvskGrayToColor(s, d, 0.3f, 0.59f, 0.11f, nullptr); });
}
void BM_Reduce16To8(benchmark::State& state) {
    run(state, rgb16, rgb8, [](VskImage* s, VskImage* d) { vskReduceBits(s, d, 0, 1, 0, nullptr); });
}
// Arguments: size, dither type.
void BM_Dither16To8(benchmark::State& state) {
    const int type = static_cast<int>(state.range(1));
    run(state, grey16, grey8,
        [type](VskImage* s, VskImage* d) { vskReduceBits(s, d, 0, type, 2, nullptr); });
}
void BM_Jitter16To8(benchmark::State& state) {
    run(state, grey16, grey8, [](VskImage* s, VskImage* d) { vskReduceBits(s, d, 4, 1, 0, nullptr); });
}
void BM_RGB2HSV8U(benchmark::State& state) {
    run(state, rgb8, rgb8, [](VskImage* s, VskImage* d) { vskRGB2HSV(s, d, nullptr); });
}
void BM_HLS2RGB16U(benchmark::State& state) {
    const Shape hls{3, VSK_16U, 0, 0, VSK_DATA_ORDER_PIXEL, 0, "HLS", "HLS"};
    run(state, hls, rgb16, [](VskImage* s, VskImage* d) { vskHLS2RGB(s, d, nullptr); });
}

}  // namespace

BENCHMARK(vskbench::memcpyBytes)->Arg(256 * 256 * 3)->Arg(2048 * 2048 * 3);
BENCHMARK(BM_ColorToGray8U)->Arg(256)->Arg(2048);
BENCHMARK(BM_GrayToColor8U)->Arg(256)->Arg(2048);
BENCHMARK(BM_Reduce16To8)->Arg(256)->Arg(2048);
BENCHMARK(BM_Dither16To8)->Args({256, 2})->Args({256, 4})->Args({256, 16})->Args({2048, 2});
BENCHMARK(BM_Jitter16To8)->Arg(256);
BENCHMARK(BM_RGB2HSV8U)->Arg(256);
BENCHMARK(BM_HLS2RGB16U)->Arg(256);
