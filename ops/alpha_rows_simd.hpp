// The body of the vector compositing rows, written once over an instruction
// set's primitives and included by alpha_rows_<isa>.cpp only. Everything
// here lives in an anonymous namespace: each including file gets its own
// copy, compiled for its own instruction set.
//
// The instruction set `I` supplies
//   W, kSamples                 8-bit samples widened to 16-bit lanes: load(p),
//                               store(p, w), mul, cap, inv, + and -;
//   G, kGroupBytes              a group of whole pixels of four channels:
//                               loadGroup, lo / hi halves as W, pack(lo, hi),
//                               storeGroup, streamGroup (aligned), fence;
//   broadcastAlpha(w)           each pixel's fourth lane in all its lanes;
//   blendAlpha(c, r)            c with each pixel's fourth lane from r;
//   F, I32                      single floats and 32-bit integers, a group's
//                               pixels in four of them: unpackGroup,
//                               broadcastAlpha32, toFloat, minF, greater,
//                               select, blendAlphaF, roundBits, packGroup.
//
// The operators' formulas are the scalar ones (alpha_kernels.hpp), applied
// to vectors: 16-bit lanes cannot overflow (a sum of three 8-bit samples, a
// product of two, plus one), and the floating-point operations are the same
// ones in the same order, lane by lane.
#pragma once

#include <cstring>
#include <utility>

#include "alpha_kernels.hpp"
#include "alpha_rows.hpp"

namespace vsk::alpha {
namespace {

using U8 = std::uint8_t;

// The scaled product on 16-bit lanes as the operators' arithmetic policy.
template <class I>
struct VArith {
    using V = typename I::W;
    static V mul(V x, V y) { return I::mul(x, y); }
    static V mul2(V x, V y) {
        const V m = I::mul(x, y);
        return m + m;
    }
    static V cap(V x) { return I::cap(x); }
    static V inv(V a) { return I::inv(a); }
};

template <class I, class Op, bool Premul, bool HasB>
struct VColour {
    using W = typename I::W;
    W operator()(W A, W a, W B, W b) const {
        if constexpr (!HasB) b = I::inv(a);
        if constexpr (Premul)
            return Op::template premul<VArith<I>>(A, a, B, b);
        else
            return Op::template straight<VArith<I>>(A, a, B, b);
    }
};

template <class I, class Op, bool HasB>
struct VAlpha {
    using W = typename I::W;
    W operator()(W a, W b) const {
        if constexpr (!HasB) b = I::inv(a);
        return Op::template alpha<VArith<I>>(a, b);
    }
};

template <class I>
struct VMul {
    using W = typename I::W;
    W operator()(W x, W y) const { return I::mul(x, y); }
};

// ---- contiguous rows -------------------------------------------------------------

// d[i] = f(src[0][i], ...) for n samples, kSamples at a time; the last
// samples go through a padded copy. Every group is read before it is written.
template <class I, class F, std::size_t... k>
void unitRow(F f, U8* d, int n, const U8* const* src, std::index_sequence<k...>) {
    constexpr int K = I::kSamples;
    int i = 0;
    for (; i + K <= n; i += K) I::store(d + i, f(I::load(src[k] + i)...));
    const int rest = n - i;
    if (rest <= 0) return;
    U8 in[sizeof...(k)][K] = {};
    for (std::size_t s = 0; s < sizeof...(k); ++s) std::memcpy(in[s], src[s] + i, rest);
    U8 out[K];
    I::store(out, f(I::load(in[k])...));
    std::memcpy(d + i, out, rest);
}

template <class I, class Op, bool Premul, bool HasB>
void colourRow(const U8* A, const U8* a, const U8* B, const U8* b, U8* d, int n) {
    const U8* const src[] = {A, a, B, HasB ? b : a};
    unitRow<I>(VColour<I, Op, Premul, HasB>{}, d, n, src, std::make_index_sequence<4>{});
}

template <class I, class Op, bool HasB>
void alphaRow(const U8* a, const U8* b, U8* d, int n) {
    const U8* const src[] = {a, HasB ? b : a};
    unitRow<I>(VAlpha<I, Op, HasB>{}, d, n, src, std::make_index_sequence<2>{});
}

template <class I>
void multiplyRow(const U8* x, const U8* y, U8* d, int n) {
    const U8* const src[] = {x, y};
    unitRow<I>(VMul<I>{}, d, n, src, std::make_index_sequence<2>{});
}

// ---- interleaved pixels ------------------------------------------------------------

// One group of pixels, integer arithmetic: colours in the first three lanes
// of each pixel, the result alpha in the fourth.
template <class I, class Op, bool Premul>
struct RgbaGroup {
    using W = typename I::W;
    static W half(W A, W B) {
        const W a = I::broadcastAlpha(A), b = I::broadcastAlpha(B);
        return I::blendAlpha(VColour<I, Op, Premul, true>{}(A, a, B, b),
                             VAlpha<I, Op, true>{}(a, b));
    }
    template <bool Stream>
    static void run(const U8* A, const U8* B, U8* d) {
        const typename I::G ga = I::loadGroup(A), gb = I::loadGroup(B);
        const typename I::G out = I::pack(half(I::lo(ga), I::lo(gb)), half(I::hi(ga), I::hi(gb)));
        if constexpr (Stream)
            I::streamGroup(d, out);
        else
            I::storeGroup(d, out);
    }
};

// The same group in single precision, the colours divided by the result
// alpha where it exceeds the threshold.
template <class I, class Op, bool Premul>
struct RgbaDivideGroup {
    using F = typename I::F;
    using R = Real<U8>;
    template <bool Stream>
    static void run(const U8* A, const U8* B, U8* d) {
        typename I::I32 ai[4], bi[4], out[4];
        I::unpackGroup(A, ai);
        I::unpackGroup(B, bi);
        for (int k = 0; k < 4; ++k) {
            const F a = I::toFloat(I::broadcastAlpha32(ai[k])) * F(R::kScale);
            const F b = I::toFloat(I::broadcastAlpha32(bi[k])) * F(R::kScale);
            const F Af = I::toFloat(ai[k]), Bf = I::toFloat(bi[k]);
            const F Ap = Premul ? Af : Af * a;
            const F Bp = Premul ? Bf : Bf * b;
            const F c = Op::colour(Ap, a, Bp, b);
            const F r = Op::coverage(a, b);
            const F divided = I::minF(c / r, F(R::kMax));
            const F colour = I::select(I::greater(r, F(R::kThreshold)), divided, c);
            out[k] = I::roundBits(I::blendAlphaF(colour, r * F(R::kMax)));
        }
        const typename I::G packed = I::packGroup(out);
        if constexpr (Stream)
            I::streamGroup(d, packed);
        else
            I::storeGroup(d, packed);
    }
};

// n pixels a group at a time; the last ones (and, when streaming, the first
// ones up to an aligned destination) through padded copies.
template <class I, class Group>
void rgbaRows(const U8* A, const U8* B, U8* d, int n, bool stream) {
    // Static, so that the lambda below may size arrays by it without a capture.
    static constexpr int G = I::kGroupBytes, P = G / 4;
    auto partial = [](const U8* a, const U8* b, U8* out, int m) {
        U8 ia[G] = {}, ib[G] = {}, o[G];
        std::memcpy(ia, a, 4 * m);
        std::memcpy(ib, b, 4 * m);
        Group::template run<false>(ia, ib, o);
        std::memcpy(out, o, 4 * m);
    };
    int i = 0;
    const auto at = reinterpret_cast<std::uintptr_t>(d);
    if (stream && at % 4 == 0) {
        const int head = static_cast<int>((G - at % G) % G / 4);
        i = head < n ? head : n;
        if (i > 0) partial(A, B, d, i);
        for (; i + P <= n; i += P) Group::template run<true>(A + 4 * i, B + 4 * i, d + 4 * i);
        I::fence();
    }
    for (; i + P <= n; i += P) Group::template run<false>(A + 4 * i, B + 4 * i, d + 4 * i);
    if (i < n) partial(A + 4 * i, B + 4 * i, d + 4 * i, n - i);
}

template <class I, class Op, bool Premul>
void rgbaRow(const U8* A, const U8* B, U8* d, int n, bool stream) {
    rgbaRows<I, RgbaGroup<I, Op, Premul>>(A, B, d, n, stream);
}

template <class I, class Op, bool Premul>
void rgbaDivideRow(const U8* A, const U8* B, U8* d, int n, bool stream) {
    rgbaRows<I, RgbaDivideGroup<I, Op, Premul>>(A, B, d, n, stream);
}

// ---- the table ---------------------------------------------------------------------

template <class I, class Op>
void fillOperator(AlphaRows& t, int k) {
    t.colour[k][0][0] = colourRow<I, Op, false, false>;
    t.colour[k][0][1] = colourRow<I, Op, false, true>;
    t.colour[k][1][0] = colourRow<I, Op, true, false>;
    t.colour[k][1][1] = colourRow<I, Op, true, true>;
    t.alpha[k][0] = alphaRow<I, Op, false>;
    t.alpha[k][1] = alphaRow<I, Op, true>;
    t.rgba[k][0] = rgbaRow<I, Op, false>;
    t.rgba[k][1] = rgbaRow<I, Op, true>;
    t.rgbaDivide[k][0] = rgbaDivideRow<I, Op, false>;
    t.rgbaDivide[k][1] = rgbaDivideRow<I, Op, true>;
}

template <class I>
AlphaRows makeRows() {
    AlphaRows t{};
    fillOperator<I, Over>(t, 0);
    fillOperator<I, In>(t, 1);
    fillOperator<I, Out>(t, 2);
    fillOperator<I, Atop>(t, 3);
    fillOperator<I, Xor>(t, 4);
    fillOperator<I, Plus>(t, 5);
    t.multiply = multiplyRow<I>;
    return t;
}

}  // namespace
}  // namespace vsk::alpha
