// The zoom row kernels on two packed doubles (SSE2): the scalar kernels'
// operations in the same order.
#include <emmintrin.h>

#include <cstring>

#include "zoom_rows_tails.hpp"

namespace vsk::zoom {

namespace {

// A pair of double vectors: four values.
struct Four {
    __m128d lo, hi;
};

inline Four widen4(__m128i v) {  // four 32-bit integers
    return {_mm_cvtepi32_pd(v), _mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE))};
}
inline Four widen4(const std::uint8_t* p) {
    int v;
    std::memcpy(&v, p, 4);
    const __m128i zero = _mm_setzero_si128();
    return widen4(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(v), zero), zero));
}
inline Four widen4(const std::uint16_t* p) {
    return widen4(_mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                                     _mm_setzero_si128()));
}
inline Four widen4(const float* p) {
    const __m128 v = _mm_loadu_ps(p);
    return {_mm_cvtps_pd(v), _mm_cvtps_pd(_mm_movehl_ps(v, v))};
}

inline void storeFloats(float* h, const Four& v) {
    _mm_storeu_ps(h, _mm_movelh_ps(_mm_cvtpd_ps(v.lo), _mm_cvtpd_ps(v.hi)));
}

inline __m128d lerp(__m128d a, __m128d b, __m128d f) {
    return _mm_add_pd(_mm_mul_pd(_mm_sub_pd(b, a), f), a);
}

// ---- horizontal ----------------------------------------------------------------

// Three or four channels: one column's channels in the lanes (a fourth lane
// of three channels is written past the column and overwritten by the next).
// Other channel counts are left to the scalar remainder.
template <class T, int CH>
void linearPixels(const T* row, const LinearColumns& x, float* h) {
    int i = 0;
    for (; i < x.safe; ++i) {
        const Four a = widen4(row + x.o0[i]), b = widen4(row + x.o1[i]);
        const __m128d f = _mm_set1_pd(x.f[i]);
        storeFloats(h + i * CH, {lerp(a.lo, b.lo, f), lerp(a.hi, b.hi, f)});
    }
    tailLinearH<T, CH>(row, x, CH, h, i);
}

template <class T>
void linearH(const T* row, const LinearColumns& x, int ch, float* h) {
    switch (ch) {
        case 1: return tailLinearH<T, 1>(row, x, 1, h, 0);
        case 3: return linearPixels<T, 3>(row, x, h);
        case 4: return linearPixels<T, 4>(row, x, h);
        default: return tailLinearH(row, x, ch, h, 0);
    }
}

inline __m128d newton(__m128d p0, __m128d p1, __m128d p2, __m128d p3, __m128d c1, __m128d c2,
                      __m128d c3) {
    const __m128d d1 = _mm_sub_pd(p1, p0);
    const __m128d d2 = _mm_sub_pd(_mm_sub_pd(p2, p1), d1);
    const __m128d d3 =
        _mm_sub_pd(_mm_add_pd(_mm_sub_pd(p3, _mm_mul_pd(_mm_set1_pd(2.0), p2)), p1), d2);
    return _mm_add_pd(
        _mm_add_pd(_mm_mul_pd(d3, c3), _mm_add_pd(_mm_mul_pd(d1, c1), _mm_mul_pd(d2, c2))), p0);
}

template <class T, int CH>
void cubicPixels(const T* row, const CubicColumns& x, float* h) {
    int i = 0;
    for (; i < x.safe; ++i) {
        const Four p0 = widen4(row + x.o[0][i]), p1 = widen4(row + x.o[1][i]),
                   p2 = widen4(row + x.o[2][i]), p3 = widen4(row + x.o[3][i]);
        const __m128d c1 = _mm_set1_pd(x.c1[i]), c2 = _mm_set1_pd(x.c2[i]),
                      c3 = _mm_set1_pd(x.c3[i]);
        storeFloats(h + i * CH, {newton(p0.lo, p1.lo, p2.lo, p3.lo, c1, c2, c3),
                                 newton(p0.hi, p1.hi, p2.hi, p3.hi, c1, c2, c3)});
    }
    tailCubicH<T, CH>(row, x, CH, h, i);
}

template <class T>
void cubicH(const T* row, const CubicColumns& x, int ch, float* h) {
    switch (ch) {
        case 1: return tailCubicH<T, 1>(row, x, 1, h, 0);
        case 3: return cubicPixels<T, 3>(row, x, h);
        case 4: return cubicPixels<T, 4>(row, x, h);
        default: return tailCubicH(row, x, ch, h, 0);
    }
}

// ---- vertical ------------------------------------------------------------------

// int() of two values; the conversion rounds by the current mode (to
// nearest, ties to even) as the scalar rule does.
inline __m128i round2(__m128d v) {
    return _mm_cvtpd_epi32(_mm_sub_pd(_mm_add_pd(v, _mm_set1_pd(0.00001)), _mm_set1_pd(0.5)));
}

// Four results to four samples: the low bits, or clamped to the depth's
// range first.
template <class T, bool Clamp>
inline void store4(T* d, const Four& v) {
    __m128i r = _mm_unpacklo_epi64(round2(v.lo), round2(v.hi));
    if constexpr (sizeof(T) == 1) {
        if constexpr (!Clamp) r = _mm_and_si128(r, _mm_set1_epi32(0xFF));
        // Saturating packs clamp to 0..255 (and keep masked values as they are).
        r = _mm_packus_epi16(_mm_packs_epi32(r, r), r);
        const int four = _mm_cvtsi128_si32(r);
        std::memcpy(d, &four, 4);
    } else {
        if constexpr (Clamp) {
            r = _mm_andnot_si128(_mm_srai_epi32(r, 31), r);  // below 0 -> 0
            const __m128i top = _mm_set1_epi32(0xFFFF);
            const __m128i over = _mm_cmpgt_epi32(r, top);
            r = _mm_or_si128(_mm_andnot_si128(over, r), _mm_and_si128(over, top));
        }
        // The low 16 bits, sign-extended so that the saturating pack keeps them.
        r = _mm_srai_epi32(_mm_slli_epi32(r, 16), 16);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d), _mm_packs_epi32(r, r));
    }
}

// One destination row after the other.
template <class T>
void linearV(const float* a, const float* b, const double* f, T* const* d, int rows, int n) {
    int k = 0;
    for (int r = 0; r < rows; ++r) {
        const __m128d vf = _mm_set1_pd(f[r]);
        T* out = d[r];
        for (k = 0; k + 4 <= n; k += 4) {
            const Four p = widen4(a + k), q = widen4(b + k);
            store4<T, false>(out + k, {lerp(p.lo, q.lo, vf), lerp(p.hi, q.hi, vf)});
        }
    }
    tailLinearV(a, b, f, d, rows, k, n);
}

template <class T>
void cubicV(const float* const q[4], const double (*c)[3], T* const* d, int rows, int n) {
    const __m128d two = _mm_set1_pd(2.0);
    int k = 0;
    for (int r = 0; r < rows; ++r) {
        const __m128d c1 = _mm_set1_pd(c[r][0]), c2 = _mm_set1_pd(c[r][1]),
                      c3 = _mm_set1_pd(c[r][2]);
        auto value = [&](__m128d q0, __m128d q1, __m128d q2, __m128d q3) {
            const __m128d d1 = _mm_sub_pd(q1, q0);
            const __m128d d2 = _mm_sub_pd(_mm_sub_pd(q2, q1), d1);
            const __m128d d3 =
                _mm_sub_pd(_mm_add_pd(_mm_sub_pd(q3, _mm_mul_pd(two, q2)), q1), d2);
            return _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_mul_pd(c1, d1), q0), _mm_mul_pd(c2, d2)),
                              _mm_mul_pd(c3, d3));
        };
        T* out = d[r];
        for (k = 0; k + 4 <= n; k += 4) {
            Four v[4];
            for (int m = 0; m < 4; ++m) v[m] = widen4(q[m] + k);
            store4<T, true>(out + k, {value(v[0].lo, v[1].lo, v[2].lo, v[3].lo),
                                      value(v[0].hi, v[1].hi, v[2].hi, v[3].hi)});
        }
    }
    tailCubicV(q, c, d, rows, k, n);
}

template <class T>
constexpr ZoomRows<T> rows() {
    return {linearH<T>, cubicH<T>, linearV<T>, cubicV<T>};
}

}  // namespace

ZoomKernels zoomKernelsSse2() {
    return {rows<std::uint8_t>(), rows<std::uint16_t>(), nullptr, nullptr};
}

}  // namespace vsk::zoom
