// Add, subtract and AND against a memcpy of the same bytes, on a cache-sized
// and a memory-sized one-channel image: the kernels should run near memory
// speed. The "Rows" variants leave out the destination's first column, so
// that rows are processed one by one.
#include "support/benchsupport.hpp"

namespace {

using namespace vskbench;

// Runs op(a, b, dst) on one-channel images of one depth.
template <class Op>
void run(benchmark::State& state, unsigned depth, bool rows, Op op) {
    const int side = static_cast<int>(state.range(0));
    const Shape shape{1, depth, side, side};
    Image a = makeImage(shape, 1), b = makeImage(shape, 2), dst = makeImage(shape, 3);
    if (rows) dst->roi = tvskCreateROI(0, 1, 0, side, side - 1);
    timeLoop(state, 2 * bytesOf(a), [&] { op(a.get(), b.get(), dst.get()); });
}

void BM_AddS8u(benchmark::State& state) {
    run(state, VSK_8U, false, [](VskImage* a, VskImage*, VskImage* d) { tvskAddS(a, d, 17, nullptr); });
}
void BM_AddS8uRows(benchmark::State& state) {
    run(state, VSK_8U, true, [](VskImage* a, VskImage*, VskImage* d) { tvskAddS(a, d, -17, nullptr); });
}
void BM_AddS16s(benchmark::State& state) {
    run(state, VSK_16S, false, [](VskImage* a, VskImage*, VskImage* d) { tvskAddS(a, d, 1000, nullptr); });
}
void BM_AddS32s(benchmark::State& state) {
    run(state, VSK_32S, false, [](VskImage* a, VskImage*, VskImage* d) { tvskAddS(a, d, 1000, nullptr); });
}
void BM_SubtractS8sReversed(benchmark::State& state) {
    run(state, VSK_8S, false,
        [](VskImage* a, VskImage*, VskImage* d) { tvskSubtractS(a, d, 5, 1, nullptr); });
}
void BM_AndS8uRows(benchmark::State& state) {
    run(state, VSK_8U, true, [](VskImage* a, VskImage*, VskImage* d) { tvskAndS(a, d, 0x5A, nullptr); });
}
void BM_And16uRows(benchmark::State& state) {
    run(state, VSK_16U, true, [](VskImage* a, VskImage* b, VskImage* d) { tvskAnd(a, b, d, nullptr); });
}

}  // namespace

BENCHMARK(vskbench::memcpyBytes)->Arg(512 * 512)->Arg(4096 * 4096);
BENCHMARK(BM_AddS8u)->Arg(512)->Arg(4096);
BENCHMARK(BM_AddS8uRows)->Arg(512)->Arg(4096);
BENCHMARK(BM_AddS16s)->Arg(512)->Arg(4096);
BENCHMARK(BM_AddS32s)->Arg(512)->Arg(4096);
BENCHMARK(BM_SubtractS8sReversed)->Arg(512)->Arg(4096);
BENCHMARK(BM_AndS8uRows)->Arg(512)->Arg(4096);
BENCHMARK(BM_And16uRows)->Arg(512)->Arg(4096);
