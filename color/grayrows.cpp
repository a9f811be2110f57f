// The scalar row kernels of colour and grey, and the table of each level.
#include "grayrows.hpp"

#include <type_traits>

#include "numeric.hpp"

namespace vsk::color {

namespace {

using std::int32_t;
using std::int64_t;
using std::uint16_t;
using std::uint8_t;

// Values between a channel's pixels: Layout's pixel pitch (planes: 1).
template <int Layout>
constexpr int64_t kPitch = Layout == kPixels3   ? 3
                           : Layout == kPixels4 ? 4
                                                : 1;

// Post shift of colour to grey by depths.
template <class S, class D>
constexpr int kPost = sizeof(S) == 1 ? (sizeof(D) == 1 ? 8 : 0) : (sizeof(D) == 1 ? 16 : 8);

template <class T, int Layout, class P>
T* channel(P* const ch[3], int c) {
    if constexpr (Layout == kPlanes)
        return static_cast<T*>(ch[c]);
    else
        return static_cast<T*>(ch[0]) + c;
}

template <class S, int Layout, class D>
void lumaRow(const void* const ch[3], void* dst, int64_t n, const int32_t w[3], bool) {
    constexpr int64_t p = kPitch<Layout>;
    const S* c0 = channel<const S, Layout>(ch, 0);
    const S* c1 = channel<const S, Layout>(ch, 1);
    const S* c2 = channel<const S, Layout>(ch, 2);
    D* out = static_cast<D*>(dst);
    const int32_t w0 = w[0], w1 = w[1], w2 = w[2];
    for (int64_t k = 0; k < n; ++k)
        out[k] = static_cast<D>(
            (int32_t{c0[k * p]} * w0 + int32_t{c1[k * p]} * w1 + int32_t{c2[k * p]} * w2) >>
            kPost<S, D>);
}

// 1-bit sources: bit k of the row is bit 7 - k % 8 of byte k / 8.
template <class S, int Layout>
void spreadRow(const void* src, void* const ch[3], int64_t n, const SpreadCoeffs& k, bool) {
    using D = std::conditional_t<std::is_void_v<S>, uint8_t, S>;
    constexpr int64_t p = kPitch<Layout>;
    D* o0 = channel<D, Layout>(ch, 0);
    D* o1 = channel<D, Layout>(ch, 1);
    D* o2 = channel<D, Layout>(ch, 2);
    if constexpr (std::is_void_v<S>) {
        const uint8_t* bits = static_cast<const uint8_t*>(src);
        for (int64_t i = 0; i < n; ++i) {
            const bool set = (bits[i >> 3] >> (7 - (i & 7))) & 1;
            o0[i * p] = set ? k.bit[0] : 0;
            o1[i * p] = set ? k.bit[1] : 0;
            o2[i * p] = set ? k.bit[2] : 0;
        }
    } else if constexpr (std::is_same_v<S, int32_t>) {
        const S* g = static_cast<const S*>(src);
        for (int64_t i = 0; i < n; ++i) {
            const float v = static_cast<float>(g[i]);
            o0[i * p] = truncInt32(v * k.f[0]);
            o1[i * p] = truncInt32(v * k.f[1]);
            o2[i * p] = truncInt32(v * k.f[2]);
        }
    } else {
        const S* g = static_cast<const S*>(src);
        const uint32_t m0 = k.m[0], m1 = k.m[1], m2 = k.m[2];
        const int shift = k.shift;
        for (int64_t i = 0; i < n; ++i) {
            const uint32_t v = g[i];
            o0[i * p] = static_cast<D>((v * m0) >> shift);
            o1[i * p] = static_cast<D>((v * m1) >> shift);
            o2[i * p] = static_cast<D>((v * m2) >> shift);
        }
    }
}

template <int Layout>
void fillLayout(GrayRows& rows) {
    rows.luma[0][Layout][0] = lumaRow<uint8_t, Layout, uint8_t>;
    rows.luma[0][Layout][1] = lumaRow<uint8_t, Layout, uint16_t>;
    rows.luma[1][Layout][0] = lumaRow<uint16_t, Layout, uint8_t>;
    rows.luma[1][Layout][1] = lumaRow<uint16_t, Layout, uint16_t>;
    rows.spread[kSpread8U][Layout] = spreadRow<uint8_t, Layout>;
    rows.spread[kSpread16U][Layout] = spreadRow<uint16_t, Layout>;
    rows.spread[kSpread32S][Layout] = spreadRow<int32_t, Layout>;
    rows.spread[kSpread1U][Layout] = spreadRow<void, Layout>;
}

// Replaces the entries that `better` has.
void overlay(GrayRows& rows, const GrayRows& better) {
    for (int s = 0; s < 2; ++s)
        for (int l = 0; l < kGrayLayouts; ++l)
            for (int d = 0; d < 2; ++d)
                if (better.luma[s][l][d]) rows.luma[s][l][d] = better.luma[s][l][d];
    for (int s = 0; s < 4; ++s)
        for (int l = 0; l < kGrayLayouts; ++l)
            if (better.spread[s][l]) rows.spread[s][l] = better.spread[s][l];
}

GrayRows build(simd::SimdLevel level) {
    GrayRows rows = grayRowsScalar();
    using Build = GrayRows (*)();
    // Lowest first: each set replaces what it speeds up.
    const simd::Entry<Build> sets[] = {VSK_SIMD_ENTRY(Ssse3, grayRowsSsse3),
                                       VSK_SIMD_ENTRY(Avx2, grayRowsAvx2)};
    for (const simd::Entry<Build>& set : sets)
        if (set.fn && set.level <= level) overlay(rows, set.fn());
    return rows;
}

}  // namespace

GrayRows grayRowsScalar() {
    GrayRows rows{};
    fillLayout<kPlanes>(rows);
    fillLayout<kPixels3>(rows);
    fillLayout<kPixels4>(rows);
    return rows;
}

const GrayRows& grayRowsFor(simd::SimdLevel level) {
    using simd::SimdLevel;
    static const GrayRows tables[] = {build(SimdLevel::Scalar), build(SimdLevel::Sse2),
                                      build(SimdLevel::Ssse3), build(SimdLevel::Sse41),
                                      build(SimdLevel::Avx2)};
    return tables[static_cast<int>(level)];
}

const GrayRows& grayRows() {
    static const GrayRows& rows = grayRowsFor(simd::simdLevel());
    return rows;
}

}  // namespace vsk::color
