// The row kernels of colour and grey at every instruction-set level this
// processor offers give exactly the scalar kernels' bits: random rows (with
// the extreme values often) of odd widths at odd offsets, every depth,
// layout, weight order and coefficient kind, written through the caches or
// past them. Buffers end where the row's last value does, so that the
// sanitizer build catches a kernel reading or writing past it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "../color/grayrows.hpp"
#include "support/levels.hpp"

using namespace vsk::color;
using vsk::simd::SimdLevel;

namespace {

const std::int64_t kWidths[] = {0, 1, 7, 15, 16, 17, 31, 32, 33, 47, 48, 65, 95, 130, 257};
const int kOffsets[] = {0, 1, 3};

// A quarter of the values are the type's lowest, a quarter its highest.
template <class T>
std::vector<T> randomValues(std::mt19937& rng, std::size_t n) {
    std::vector<T> v(n);
    for (T& x : v) {
        const std::uint32_t r = rng();
        x = r % 4 == 0   ? std::numeric_limits<T>::min()
            : r % 4 == 1 ? std::numeric_limits<T>::max()
                         : static_cast<T>(rng());
    }
    return v;
}

// Values per channel run: pixels of three values, of four (the row ends
// after the last pixel's third), or one plane.
std::int64_t runValues(int layout, std::int64_t n) {
    if (n == 0) return 0;
    return layout == kPixels3 ? 3 * n : layout == kPixels4 ? 4 * n - 1 : n;
}

std::string where(SimdLevel level, int layout, std::int64_t n, int offset, bool stream) {
    return std::string(vsk::simd::levelName(level)) + " layout " + std::to_string(layout) + " n " +
           std::to_string(n) + " offset " + std::to_string(offset) + (stream ? " streamed" : "");
}

template <class S, class D>
void checkLuma(std::mt19937& rng, SimdLevel level, LumaRow fast, LumaRow scalar, int layout) {
    const std::int32_t weights[2][3] = {{54, 183, 18}, {18, 183, 54}};
    for (std::int64_t n : kWidths)
        for (int offset : kOffsets)
            for (bool stream : {false, true})
                for (const auto& w : weights) {
                    SCOPED_TRACE(where(level, layout, n, offset, stream));
                    const int planes = layout == kPlanes ? 3 : 1;
                    std::vector<S> src[3];
                    const void* ch[3];
                    for (int c = 0; c < planes; ++c) {
                        src[c] = randomValues<S>(rng, offset + runValues(layout, n));
                        ch[c] = src[c].data() + offset;
                    }
                    for (int c = planes; c < 3; ++c) ch[c] = ch[0];
                    std::vector<D> want = randomValues<D>(rng, offset + n), got = want;
                    scalar(ch, want.data() + offset, n, w, false);
                    fast(ch, got.data() + offset, n, w, stream);
                    ASSERT_EQ(got, want);
                }
}

struct Coeffs {
    SpreadCoeffs k;
    const char* name;
};

std::vector<Coeffs> coeffsFor(std::mt19937& rng, int source) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    auto m = [&] { return static_cast<std::uint32_t>(rng() & 0xFFFF); };
    auto b = [&] { return static_cast<std::uint8_t>(rng()); };
    switch (source) {
        case kSpread8U:
            return {{{{54, 183, 18}, 8, {}, {}}, "defaults"},
                    {{{m(), m(), m()}, 8, {}, {}}, "any"},
                    {{{m(), 65535, 0}, 9, {}, {}}, "shift 9"}};
        case kSpread16U:
            return {{{{109, 366, 37}, 9, {}, {}}, "defaults"},
                    {{{m(), m(), 65535}, 15, {}, {}}, "any"},
                    {{{32768, m(), m()}, 8, {}, {}}, "shift 8"}};
        case kSpread32S:
            return {{{{}, 0, {0.212671f, 0.71516f, 0.072169f}, {}}, "defaults"},
                    {{{}, 0, {-3.0f, 1.5f, 0.3f}, {}}, "beyond the range"},
                    {{{}, 0, {nan, inf, -1e-30f}, {}}, "not finite"}};
        default:
            return {{{{}, 8, {}, {53, 182, 17}}, "defaults"},
                    {{{}, 8, {}, {b(), b(), b()}}, "any"}};
    }
}

// S void: one bit a pixel.
template <class S>
void checkSpread(std::mt19937& rng, SimdLevel level, SpreadRow fast, SpreadRow scalar, int layout,
                 int source) {
    using D = std::conditional_t<std::is_void_v<S>, std::uint8_t, S>;
    using Src = std::conditional_t<std::is_void_v<S>, std::uint8_t, S>;
    for (const Coeffs& k : coeffsFor(rng, source))
        for (std::int64_t n : kWidths)
            for (int offset : kOffsets)
                for (bool stream : {false, true}) {
                    SCOPED_TRACE(where(level, layout, n, offset, stream) + " " + k.name);
                    const std::int64_t values = std::is_void_v<S> ? (n + 7) / 8 : n;
                    const std::vector<Src> src = randomValues<Src>(rng, offset + values);
                    const int planes = layout == kPlanes ? 3 : 1;
                    std::vector<D> want[3], got[3];
                    void* wantCh[3];
                    void* gotCh[3];
                    for (int c = 0; c < planes; ++c) {
                        want[c] = randomValues<D>(rng, offset + runValues(layout, n));
                        got[c] = want[c];
                        wantCh[c] = want[c].data() + offset;
                        gotCh[c] = got[c].data() + offset;
                    }
                    for (int c = planes; c < 3; ++c) wantCh[c] = wantCh[0], gotCh[c] = gotCh[0];
                    scalar(src.data() + offset, wantCh, n, k.k, false);
                    fast(src.data() + offset, gotCh, n, k.k, stream);
                    for (int c = 0; c < planes; ++c) ASSERT_EQ(got[c], want[c]) << "plane " << c;
                }
}

}  // namespace

TEST(GrayRows, ColourToGreyKernelsGiveTheScalarBits) {
    std::mt19937 rng(13);
    const GrayRows& scalar = grayRowsFor(SimdLevel::Scalar);
    for (SimdLevel level : vsktest::vectorLevels())
        for (int layout = 0; layout < kGrayLayouts; ++layout) {
            const auto& f = grayRowsFor(level).luma;
            const auto& s = scalar.luma;
            using U8 = std::uint8_t;
            using U16 = std::uint16_t;
            checkLuma<U8, U8>(rng, level, f[0][layout][0], s[0][layout][0], layout);
            checkLuma<U8, U16>(rng, level, f[0][layout][1], s[0][layout][1], layout);
            checkLuma<U16, U8>(rng, level, f[1][layout][0], s[1][layout][0], layout);
            checkLuma<U16, U16>(rng, level, f[1][layout][1], s[1][layout][1], layout);
        }
}

TEST(GrayRows, GreyToColourKernelsGiveTheScalarBits) {
    std::mt19937 rng(17);
    const GrayRows& scalar = grayRowsFor(SimdLevel::Scalar);
    for (SimdLevel level : vsktest::vectorLevels())
        for (int layout = 0; layout < kGrayLayouts; ++layout) {
            const auto& f = grayRowsFor(level).spread;
            const auto& s = scalar.spread;
            checkSpread<std::uint8_t>(rng, level, f[kSpread8U][layout], s[kSpread8U][layout], layout,
                                      kSpread8U);
            checkSpread<std::uint16_t>(rng, level, f[kSpread16U][layout], s[kSpread16U][layout],
                                       layout, kSpread16U);
            checkSpread<std::int32_t>(rng, level, f[kSpread32S][layout], s[kSpread32S][layout],
                                      layout, kSpread32S);
            checkSpread<void>(rng, level, f[kSpread1U][layout], s[kSpread1U][layout], layout,
                              kSpread1U);
        }
}
