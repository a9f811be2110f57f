// Compositing arithmetic: the scaled product, the six compositing operators
// written once over an arithmetic policy (scalar here; the vector kernels of
// alpha_rows_<isa>.cpp give them vector arithmetic), and the scalar row
// kernels that apply a per-sample rule along strided or contiguous rows.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "numeric.hpp"

namespace vsk::alpha {

// ---- lanes -------------------------------------------------------------------

// Samples of one channel along a row: element i is p[i * step]. A constant is
// a lane of step 0.
template <class T>
struct Lane {
    T* p;
    std::ptrdiff_t step;
    Lane at(int i) const { return {p + i * step, step}; }
};

// ---- integer arithmetic ------------------------------------------------------

// Integer arithmetic on samples of type T held in values of type V. The
// scaled product never divides: ((t >> s) + t + 1) >> s with t = x * y equals
// x * y / M rounded down for every pair of samples.
template <class T, class V = std::uint32_t>
struct Arith;

template <class T>
struct Arith<T, std::uint32_t> {
    using V = std::uint32_t;
    static constexpr V kMax = std::numeric_limits<T>::max();
    static V mul(V x, V y) { return scaledProduct<T>(x, y); }
    // Twice the scaled product.
    static V mul2(V x, V y) { return 2 * scaledProduct<T>(x, y); }
    static V cap(V x) { return x < kMax ? x : kMax; }
    static V inv(V a) { return kMax - a; }
};


// ---- the operators -----------------------------------------------------------
//
// Each operator gives its colour for straight and for premultiplied samples,
// its alpha, and the same rules in real numbers for the dividing path (where
// A and B arrive already multiplied by their alphas). The order and grouping
// of the integer terms fix the rounding. Differences never go negative:
// mul(x, y) <= x for every pair.

struct Over {
    template <class Ar, class V>
    static V straight(V A, V a, V B, V b) {
        const V Bb = Ar::mul(B, b);
        return Ar::cap(Ar::mul(A, a) + Bb - Ar::mul(a, Bb));
    }
    template <class Ar, class V>
    static V premul(V A, V a, V B, V) { return Ar::cap(A + B - Ar::mul(a, B)); }
    template <class Ar, class V>
    static V alpha(V a, V b) { return Ar::cap(a + b - Ar::mul(a, b)); }
    template <class F>
    static F colour(F A, F a, F B, F) { return A + B * (F(1) - a); }
    template <class F>
    static F coverage(F a, F b) { return (F(1) - a) * b + a; }
};

struct In {
    template <class Ar, class V>
    static V straight(V A, V a, V, V b) { return Ar::mul(b, Ar::mul(A, a)); }
    template <class Ar, class V>
    static V premul(V A, V, V, V b) { return Ar::mul(A, b); }
    template <class Ar, class V>
    static V alpha(V a, V b) { return Ar::mul(a, b); }
    template <class F>
    static F colour(F A, F, F, F b) { return A * b; }
    template <class F>
    static F coverage(F a, F b) { return a * b; }
};

struct Out {
    template <class Ar, class V>
    static V straight(V A, V a, V, V b) {
        const V Aa = Ar::mul(A, a);
        return Aa - Ar::mul(b, Aa);
    }
    template <class Ar, class V>
    static V premul(V A, V, V, V b) { return A - Ar::mul(b, A); }
    template <class Ar, class V>
    static V alpha(V a, V b) { return a - Ar::mul(a, b); }
    template <class F>
    static F colour(F A, F, F, F b) { return A * (F(1) - b); }
    template <class F>
    static F coverage(F a, F b) { return a * (F(1) - b); }
};

struct Atop {
    template <class Ar, class V>
    static V straight(V A, V a, V B, V b) {
        const V Bb = Ar::mul(B, b);
        return Ar::cap(Bb + Ar::mul(b, Ar::mul(A, a)) - Ar::mul(a, Bb));
    }
    template <class Ar, class V>
    static V premul(V A, V a, V B, V b) { return Ar::cap(Ar::mul(A, b) + B - Ar::mul(a, B)); }
    template <class Ar, class V>
    static V alpha(V, V b) { return b; }
    template <class F>
    static F colour(F A, F a, F B, F b) { return A * b + B * (F(1) - a); }
    // The covered area of A atop B is B's own.
    template <class F>
    static F coverage(F, F b) { return b; }
};

struct Xor {
    template <class Ar, class V>
    static V straight(V A, V a, V B, V b) {
        const V Aa = Ar::mul(A, a);
        const V Bb = Ar::mul(B, b);
        return Ar::cap(Aa - Ar::mul(b, Aa) + Bb - Ar::mul(a, Bb));
    }
    template <class Ar, class V>
    static V premul(V A, V a, V B, V b) { return Ar::cap(A - Ar::mul(b, A) + B - Ar::mul(a, B)); }
    template <class Ar, class V>
    static V alpha(V a, V b) { return Ar::cap(a + b - Ar::mul2(a, b)); }
    template <class F>
    static F colour(F A, F a, F B, F b) { return A * (F(1) - b) + B * (F(1) - a); }
    template <class F>
    static F coverage(F a, F b) { return a * (F(1) - b) + b * (F(1) - a); }
};

struct Plus {
    template <class Ar, class V>
    static V straight(V A, V a, V B, V b) { return Ar::cap(Ar::mul(A, a) + Ar::mul(B, b)); }
    template <class Ar, class V>
    static V premul(V A, V, V B, V) { return Ar::cap(A + B); }
    template <class Ar, class V>
    static V alpha(V a, V b) { return Ar::cap(a + b); }
    template <class F>
    static F colour(F A, F, F B, F) { return A + B; }
    template <class F>
    static F coverage(F a, F b) { return a + b; }
};

// ---- per-sample rules ----------------------------------------------------------
//
// Without a B alpha the b argument is ignored and replaced by the complement
// of A's alpha, deliberately in every operator.

template <class Op, class T, bool Premul, bool HasB>
struct ColourRule {
    template <class V>
    V operator()(V A, V a, V B, V b) const {
        using Ar = Arith<T, V>;
        if constexpr (!HasB) b = Ar::inv(a);
        if constexpr (Premul)
            return Op::template premul<Ar>(A, a, B, b);
        else
            return Op::template straight<Ar>(A, a, B, b);
    }
};

template <class Op, class T, bool HasB>
struct AlphaRule {
    template <class V>
    V operator()(V a, V b) const {
        using Ar = Arith<T, V>;
        if constexpr (!HasB) b = Ar::inv(a);
        return Op::template alpha<Ar>(a, b);
    }
};

template <class T>
struct MulRule {
    template <class V>
    V operator()(V x, V y) const { return Arith<T, V>::mul(x, y); }
};

struct CopyRule {
    template <class V>
    V operator()(V x) const { return x; }
};

// ---- the dividing path -----------------------------------------------------------
//
// Alphas scaled to 0..1, colours kept as 0..M values; single precision at
// 8 bits, double precision at 16 bits.

template <class T>
struct Real;

template <>
struct Real<std::uint8_t> {
    using F = float;
    static constexpr F kScale = 1.0f / 255.0f;  // 0.003921569
    // About 1 / (2 * 255 * 255).
    static constexpr F kThreshold = std::bit_cast<float>(std::uint32_t{0x37010183});
    static constexpr F kMax = 255.0f;
};

template <>
struct Real<std::uint16_t> {
    using F = double;
    static constexpr F kScale = 1.0 / 65535.0;  // 1.5259021896696422e-05
    static constexpr F kThreshold = 1.1641887462193043e-10;  // about 1 / (2 * 65535 * 65535)
    static constexpr F kMax = 65535.0;
};

// Stores a non-negative value rounded to nearest through single precision,
// capped at the maximum.
template <class T, class F>
inline std::uint32_t storeReal(F v) {
    const std::uint32_t bits = roundViaSingle(v);
    constexpr std::uint32_t kMax = std::numeric_limits<T>::max();
    return bits < kMax ? bits : kMax;
}

template <class Op, class T, bool HasB>
struct RealScale {
    using R = Real<T>;
    using F = typename R::F;
    F a, b;
    explicit RealScale(std::uint32_t av, std::uint32_t bv)
        : a(F(av) * R::kScale),
          b(F(HasB ? bv : std::numeric_limits<T>::max() - av) * R::kScale) {}
    F coverage() const { return Op::coverage(a, b); }
};

template <class Op, class T, bool Premul, bool HasB>
struct RealColourRule {
    std::uint32_t operator()(std::uint32_t A, std::uint32_t av, std::uint32_t B,
                             std::uint32_t bv) const {
        using R = Real<T>;
        using F = typename R::F;
        const RealScale<Op, T, HasB> s(av, bv);
        const F Ap = Premul ? F(A) : F(A) * s.a;
        const F Bp = Premul ? F(B) : F(B) * s.b;
        F c = Op::colour(Ap, s.a, Bp, s.b);
        const F r = s.coverage();
        if (r > R::kThreshold) {
            c = c / r;
            if (c > R::kMax) c = R::kMax;
        }
        return storeReal<T>(c);
    }
};

template <class Op, class T, bool HasB>
struct RealAlphaRule {
    std::uint32_t operator()(std::uint32_t av, std::uint32_t bv) const {
        const RealScale<Op, T, HasB> s(av, bv);
        return storeReal<T>(s.coverage() * Real<T>::kMax);
    }
};

// ---- row kernels -------------------------------------------------------------------

// d[i] = rule(src[i]...) for n samples. Unit: every lane is contiguous, which
// lets the compiler vectorise.
template <bool Unit, class T, class Rule, class... Src>
inline void zipRow(const Rule& rule, Lane<T> d, int n, Src... src) {
    if constexpr (Unit) {
        for (int i = 0; i < n; ++i) d.p[i] = static_cast<T>(rule(std::uint32_t{src.p[i]}...));
    } else {
        for (int i = 0; i < n; ++i)
            d.p[i * d.step] = static_cast<T>(rule(std::uint32_t{src.p[i * src.step]}...));
    }
}

// Interleaved pixels of four channels, alpha last in A, B and the
// destination: colours and alpha of each pixel in one pass (B's alpha is its
// own fourth channel, or the complement of A's), by the given rules.
template <class Colour, class Alpha, class T>
inline void rgbaPixels(const T* A, const T* B, T* d, int n) {
    const Colour colour;
    const Alpha alpha;
    for (int i = 0; i < n; ++i) {
        const T* pa = A + 4 * i;
        const T* pb = B + 4 * i;
        const std::uint32_t a = pa[3], b = pb[3];
        T out[4];
        for (int c = 0; c < 3; ++c)
            out[c] = static_cast<T>(colour(std::uint32_t{pa[c]}, a, std::uint32_t{pb[c]}, b));
        out[3] = static_cast<T>(alpha(a, b));
        for (int c = 0; c < 4; ++c) d[4 * i + c] = out[c];
    }
}

template <class Op, class T, bool Premul, bool HasB>
inline void rgbaRow(const T* A, const T* B, T* d, int n) {
    rgbaPixels<ColourRule<Op, T, Premul, HasB>, AlphaRule<Op, T, HasB>>(A, B, d, n);
}

// The same pixels composed in floating point, the colours divided by the
// result alpha.
template <class Op, class T, bool Premul, bool HasB>
inline void rgbaDivideRow(const T* A, const T* B, T* d, int n) {
    rgbaPixels<RealColourRule<Op, T, Premul, HasB>, RealAlphaRule<Op, T, HasB>>(A, B, d, n);
}

}  // namespace vsk::alpha
