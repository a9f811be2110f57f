// The zoom row kernels on four packed doubles (AVX2, without fused
// multiply-add): the scalar kernels' operations in the same order.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "zoom_rows_tails.hpp"

namespace vsk::zoom {

namespace {

// ---- horizontal ----------------------------------------------------------------

// The horizontal steps take the differences of the samples in 32-bit
// integers: they are small integers, exact in double as well, so the double
// values are the same as from the double subtractions of the formulas.

// Four elements from p as 32-bit integers.
inline __m128i ints4(const std::uint8_t* p) {
    int v;
    std::memcpy(&v, p, 4);
    return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(v));
}
inline __m128i ints4(const std::uint16_t* p) {
    return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

// Eight samples at element offsets o from row as 32-bit integers.
template <class T>
inline __m256i gather8(const T* row, const std::int32_t* o) {
    const __m256i at = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(o));
    const __m256i v = _mm256_i32gather_epi32(reinterpret_cast<const int*>(row), at, sizeof(T));
    return _mm256_and_si256(v, _mm256_set1_epi32(sizeof(T) == 1 ? 0xFF : 0xFFFF));
}

inline __m256d lo4(__m256i v) { return _mm256_cvtepi32_pd(_mm256_castsi256_si128(v)); }
inline __m256d hi4(__m256i v) { return _mm256_cvtepi32_pd(_mm256_extracti128_si256(v, 1)); }

inline void storeFloats(float* h, __m256d lo, __m256d hi) {
    _mm_storeu_ps(h, _mm256_cvtpd_ps(lo));
    _mm_storeu_ps(h + 4, _mm256_cvtpd_ps(hi));
}

// (p1 - p0) f + p0 with the difference d = p1 - p0.
inline __m256d across(__m256d p0, __m256d d, __m256d f) {
    return _mm256_add_pd(_mm256_mul_pd(d, f), p0);
}

// The Newton differences d1 = p1 - p0, d2 = (p2 - p1) - d1 and
// d3 = (p3 - 2 p2 + p1) - d2.
struct Differences4 {
    __m128i d1, d2, d3;
};
struct Differences8 {
    __m256i d1, d2, d3;
};
inline Differences4 differences(__m128i p0, __m128i p1, __m128i p2, __m128i p3) {
    const __m128i d1 = _mm_sub_epi32(p1, p0);
    const __m128i d2 = _mm_sub_epi32(_mm_sub_epi32(p2, p1), d1);
    const __m128i d3 =
        _mm_sub_epi32(_mm_add_epi32(_mm_sub_epi32(p3, _mm_add_epi32(p2, p2)), p1), d2);
    return {d1, d2, d3};
}
inline Differences8 differences(__m256i p0, __m256i p1, __m256i p2, __m256i p3) {
    const __m256i d1 = _mm256_sub_epi32(p1, p0);
    const __m256i d2 = _mm256_sub_epi32(_mm256_sub_epi32(p2, p1), d1);
    const __m256i d3 =
        _mm256_sub_epi32(_mm256_add_epi32(_mm256_sub_epi32(p3, _mm256_add_epi32(p2, p2)), p1), d2);
    return {d1, d2, d3};
}

// d3 c3 + (d1 c1 + d2 c2) + p0.
inline __m256d newton(__m256d p0, __m256d d1, __m256d d2, __m256d d3, __m256d c1, __m256d c2,
                      __m256d c3) {
    return _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(d3, c3),
                                       _mm256_add_pd(_mm256_mul_pd(d1, c1), _mm256_mul_pd(d2, c2))),
                         p0);
}

// Eight values of a group from its first samples and their differences, with
// the weights of the group's columns.
inline void storeNewton8(float* h, __m256i p0, const Differences8& d, const double* c1,
                         const double* c2, const double* c3) {
    const __m256d r0 = newton(lo4(p0), lo4(d.d1), lo4(d.d2), lo4(d.d3), _mm256_loadu_pd(c1),
                              _mm256_loadu_pd(c2), _mm256_loadu_pd(c3));
    const __m256d r1 = newton(hi4(p0), hi4(d.d1), hi4(d.d2), hi4(d.d3), _mm256_loadu_pd(c1 + 4),
                              _mm256_loadu_pd(c2 + 4), _mm256_loadu_pd(c3 + 4));
    storeFloats(h, r0, r1);
}

// Three or four channels: one column's channels in the lanes (a fourth lane
// of three channels is written past the column and overwritten by the next).
// (The tables are read through locals: the stores could alias them.)
template <class T, int CH>
void linearPixels(const T* row, const LinearColumns& x, float* h) {
    const std::int32_t *o0 = x.o0, *o1 = x.o1;
    const double* f = x.f;
    const int safe = x.safe;
    int i = 0;
    for (; i < safe; ++i) {
        const __m128i p0 = ints4(row + o0[i]), d = _mm_sub_epi32(ints4(row + o1[i]), p0);
        const __m256d r =
            across(_mm256_cvtepi32_pd(p0), _mm256_cvtepi32_pd(d), _mm256_broadcast_sd(f + i));
        _mm_storeu_ps(h + i * CH, _mm256_cvtpd_ps(r));
    }
    tailLinearH<T, CH>(row, x, CH, h, i);
}

// One channel: eight columns in the lanes.
template <class T>
void linearColumns(const T* row, const LinearColumns& x, float* h) {
    const std::int32_t *o0 = x.o0, *o1 = x.o1;
    const double* f = x.f;
    const int safe = x.safe;
    int i = 0;
    for (; i + 8 <= safe; i += 8) {
        const __m256i p0 = gather8(row, o0 + i), d = _mm256_sub_epi32(gather8(row, o1 + i), p0);
        storeFloats(h + i, across(lo4(p0), lo4(d), _mm256_loadu_pd(f + i)),
                    across(hi4(p0), hi4(d), _mm256_loadu_pd(f + i + 4)));
    }
    tailLinearH<T, 1>(row, x, 1, h, i);
}

template <class T>
void linearH(const T* row, const LinearColumns& x, int ch, float* h) {
    switch (ch) {
        case 1: return linearColumns(row, x, h);
        case 3: return linearPixels<T, 3>(row, x, h);
        case 4: return linearPixels<T, 4>(row, x, h);
        default: return tailLinearH(row, x, ch, h, 0);
    }
}

// The columns of a run share the values and differences of their samples.
template <class T, int CH>
void cubicPixels(const T* row, const CubicColumns& x, float* h) {
    const std::int32_t *o0 = x.o[0], *o1 = x.o[1], *o2 = x.o[2], *o3 = x.o[3], *run = x.run;
    const double *c1 = x.c1, *c2 = x.c2, *c3 = x.c3;
    const int safe = x.safe;
    int i = 0;
    while (i < safe) {
        const __m128i q0 = ints4(row + o0[i]);
        const Differences4 d =
            differences(q0, ints4(row + o1[i]), ints4(row + o2[i]), ints4(row + o3[i]));
        const __m256d p0 = _mm256_cvtepi32_pd(q0), d1 = _mm256_cvtepi32_pd(d.d1),
                      d2 = _mm256_cvtepi32_pd(d.d2), d3 = _mm256_cvtepi32_pd(d.d3);
        const int end = safe - i > run[i] ? i + run[i] : safe;
        do {
            const __m256d r = newton(p0, d1, d2, d3, _mm256_broadcast_sd(c1 + i),
                                     _mm256_broadcast_sd(c2 + i), _mm256_broadcast_sd(c3 + i));
            _mm_storeu_ps(h + i * CH, _mm256_cvtpd_ps(r));
        } while (++i < end);
    }
    tailCubicH<T, CH>(row, x, CH, h, i);
}

template <class T>
void cubicColumns(const T* row, const CubicColumns& x, float* h) {
    const std::int32_t* o[4] = {x.o[0], x.o[1], x.o[2], x.o[3]};
    const double *c1 = x.c1, *c2 = x.c2, *c3 = x.c3;
    const int safe = x.safe;
    int i = 0;
    for (; i + 8 <= safe; i += 8) {
        const __m256i p0 = gather8(row, o[0] + i);
        const Differences8 d =
            differences(p0, gather8(row, o[1] + i), gather8(row, o[2] + i), gather8(row, o[3] + i));
        storeNewton8(h + i, p0, d, c1 + i, c2 + i, c3 + i);
    }
    tailCubicH<T, 1>(row, x, 1, h, i);
}

template <class T>
void cubicH(const T* row, const CubicColumns& x, int ch, float* h) {
    switch (ch) {
        case 1: return cubicColumns(row, x, h);
        case 3: return cubicPixels<T, 3>(row, x, h);
        case 4: return cubicPixels<T, 4>(row, x, h);
        default: return tailCubicH(row, x, ch, h, 0);
    }
}

// ---- vertical ------------------------------------------------------------------

// int() of four values; the conversion rounds by the current mode (to
// nearest, ties to even) as the scalar rule does.
inline __m128i round4(__m256d v) {
    return _mm256_cvtpd_epi32(
        _mm256_sub_pd(_mm256_add_pd(v, _mm256_set1_pd(0.00001)), _mm256_set1_pd(0.5)));
}

// Sixteen integers to sixteen samples: the low bits, or clamped to the
// depth's range (the saturating packs clamp).
template <class T, bool Clamp>
inline void store16(T* d, const __m128i r[4]) {
    if constexpr (sizeof(T) == 1) {
        __m128i v[4];
        for (int m = 0; m < 4; ++m) v[m] = Clamp ? r[m] : _mm_and_si128(r[m], _mm_set1_epi32(0xFF));
        const __m128i w =
            _mm_packus_epi16(_mm_packs_epi32(v[0], v[1]), _mm_packs_epi32(v[2], v[3]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), w);
    } else {
        __m128i v[4];
        for (int m = 0; m < 4; ++m)
            v[m] = Clamp ? r[m] : _mm_and_si128(r[m], _mm_set1_epi32(0xFFFF));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packus_epi32(v[0], v[1]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 8), _mm_packus_epi32(v[2], v[3]));
    }
}

inline __m256d wide(const float* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }

// (b - a) f + a.
inline __m256d between(__m256d a, __m256d b, __m256d f) {
    return _mm256_add_pd(_mm256_mul_pd(_mm256_sub_pd(b, a), f), a);
}

// Eight integers to eight samples clamped to the depth's range.
template <class T>
inline void store8(T* d, __m128i lo, __m128i hi) {
    if constexpr (sizeof(T) == 1) {
        const __m128i w = _mm_packs_epi32(lo, hi);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d), _mm_packus_epi16(w, w));
    } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packus_epi32(lo, hi));
    }
}

// The rows share the values of a and b - a.
template <class T>
void linearV(const float* a, const float* b, const double* f, T* const* d, int rows, int n) {
    __m256d vf[kVRows];
    for (int r = 0; r < rows; ++r) vf[r] = _mm256_set1_pd(f[r]);
    int k = 0;
    for (; k + 16 <= n; k += 16) {
        __m256d va[4], vd[4];
        for (int m = 0; m < 4; ++m) {
            va[m] = wide(a + k + 4 * m);
            vd[m] = _mm256_sub_pd(wide(b + k + 4 * m), va[m]);
        }
        for (int r = 0; r < rows; ++r) {
            __m128i v[4];
            for (int m = 0; m < 4; ++m) v[m] = round4(across(va[m], vd[m], vf[r]));
            store16<T, false>(d[r] + k, v);
        }
    }
    tailLinearV(a, b, f, d, rows, k, n);
}

// The rows share the values of the first row and the differences; R is the
// number of rows, a constant so that the weights stay in registers.
template <class T, int R>
void cubicRows(const float* const q[4], const double (*c)[3], T* const* d, int n) {
    __m256d w[R][3];
    T* out[R];
    for (int r = 0; r < R; ++r) {
        for (int m = 0; m < 3; ++m) w[r][m] = _mm256_set1_pd(c[r][m]);
        out[r] = d[r];
    }
    const float *q0p = q[0], *q1p = q[1], *q2p = q[2], *q3p = q[3];
    const __m256d two = _mm256_set1_pd(2.0);
    int k = 0;
    for (; k + 8 <= n; k += 8) {
        __m256d q0[2], d1[2], d2[2], d3[2];
        for (int m = 0; m < 2; ++m) {
            const int at = k + 4 * m;
            q0[m] = wide(q0p + at);
            const __m256d q1 = wide(q1p + at), q2 = wide(q2p + at), q3 = wide(q3p + at);
            d1[m] = _mm256_sub_pd(q1, q0[m]);
            d2[m] = _mm256_sub_pd(_mm256_sub_pd(q2, q1), d1[m]);
            d3[m] = _mm256_sub_pd(_mm256_add_pd(_mm256_sub_pd(q3, _mm256_mul_pd(two, q2)), q1),
                                  d2[m]);
        }
        for (int r = 0; r < R; ++r) {
            __m128i v[2];
            for (int m = 0; m < 2; ++m)
                v[m] = round4(_mm256_add_pd(
                    _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(w[r][0], d1[m]), q0[m]),
                                  _mm256_mul_pd(w[r][1], d2[m])),
                    _mm256_mul_pd(w[r][2], d3[m])));
            store8(out[r] + k, v[0], v[1]);
        }
    }
    tailCubicV(q, c, d, R, k, n);
}

template <class T>
void cubicV(const float* const q[4], const double (*c)[3], T* const* d, int rows, int n) {
    static_assert(kVRows == 4);
    switch (rows) {
        case 1: return cubicRows<T, 1>(q, c, d, n);
        case 2: return cubicRows<T, 2>(q, c, d, n);
        case 3: return cubicRows<T, 3>(q, c, d, n);
        default: return cubicRows<T, 4>(q, c, d, n);
    }
}

// ---- 8-bit linear by quarters -------------------------------------------------

// Two groups at a time: each 128-bit lane holds one group's window and picks
// its samples as 16-bit values.
void quarterH(const std::uint8_t* row, const QuarterColumns& x, std::int16_t* h) {
    const std::int32_t* base = x.base;
    const std::uint8_t* pick = x.pick;
    const std::int16_t* m = x.m;
    const int full = x.n / kQuarterGroup, groups = full < x.safe ? full : x.safe;
    const __m256i high = _mm256_set1_epi8(static_cast<char>(0x80));  // picks a zero byte
    int g = 0;
    for (; g + 2 <= groups; g += 2) {
        const __m256i w = _mm256_inserti128_si256(
            _mm256_castsi128_si256(
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + base[g]))),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + base[g + 1])), 1);
        const __m256i sel =
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pick + 2 * kQuarterGroup * g));
        const __m256i p0 = _mm256_shuffle_epi8(w, _mm256_unpacklo_epi8(sel, high));
        const __m256i p1 = _mm256_shuffle_epi8(w, _mm256_unpackhi_epi8(sel, high));
        const __m256i mg =
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(m + kQuarterGroup * g));
        const __m256i r = _mm256_add_epi16(_mm256_slli_epi16(p0, 2),
                                           _mm256_mullo_epi16(_mm256_sub_epi16(p1, p0), mg));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(h + kQuarterGroup * g), r);
    }
    tailQuarterH(row, x, h, g * kQuarterGroup);
}

// ---- 8-bit linear by windows -------------------------------------------------

// A group a step: its window in both 128-bit lanes, its samples picked into
// 32-bit lanes, then (p1 - p0) f + p0 in double as the scalar rule.
void windowH(const std::uint8_t* row, const WindowColumns& x, float* h) {
    const std::int32_t* base = x.base;
    const std::uint8_t* ctl = x.ctl;
    const double* f = x.f;
    const int full = x.n / kQuarterGroup, groups = full < x.safe ? full : x.safe;
    int g = 0;
    for (; g < groups; ++g) {
        const __m256i w = _mm256_broadcastsi128_si256(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + base[g])));
        const std::uint8_t* c = ctl + g * kWindowControl;
        const __m256i p0 =
            _mm256_shuffle_epi8(w, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c)));
        const __m256i p1 =
            _mm256_shuffle_epi8(w, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + 32)));
        const __m256i d = _mm256_sub_epi32(p1, p0);
        const int k = g * kQuarterGroup;
        storeFloats(h + k, across(lo4(p0), lo4(d), _mm256_loadu_pd(f + k)),
                    across(hi4(p0), hi4(d), _mm256_loadu_pd(f + k + 4)));
    }
    tailWindowH(row, x, h, g * kQuarterGroup);
}

// 8-bit cubic by windows: a group a step, its four samples picked into
// 32-bit lanes, their differences in integers (exact), then the Newton form
// in double as the scalar rule.
void cubicWindowH(const std::uint8_t* row, const CubicWindowColumns& x, float* h) {
    const std::int32_t* base = x.base;
    const std::uint8_t* ctl = x.ctl;
    const double *c1 = x.c1, *c2 = x.c2, *c3 = x.c3;
    const int full = x.n / kQuarterGroup, groups = full < x.safe ? full : x.safe;
    int g = 0;
    for (; g < groups; ++g) {
        const __m256i w = _mm256_broadcastsi128_si256(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + base[g])));
        const __m256i* c = reinterpret_cast<const __m256i*>(ctl + g * kCubicWindowControl);
        const __m256i p0 = _mm256_shuffle_epi8(w, _mm256_loadu_si256(c));
        const Differences8 d = differences(p0, _mm256_shuffle_epi8(w, _mm256_loadu_si256(c + 1)),
                                           _mm256_shuffle_epi8(w, _mm256_loadu_si256(c + 2)),
                                           _mm256_shuffle_epi8(w, _mm256_loadu_si256(c + 3)));
        const int k = g * kQuarterGroup;
        storeNewton8(h + k, p0, d, c1 + k, c2 + k, c3 + k);
    }
    tailCubicWindowH(row, x, h, g * kQuarterGroup);
}

inline __m256i quarterValue(const std::int16_t* a, const std::int16_t* b, __m256i m) {
    const __m256i va = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a));
    const __m256i vb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b));
    const __m256i v = _mm256_srai_epi16(
        _mm256_add_epi16(_mm256_slli_epi16(va, 2), _mm256_mullo_epi16(_mm256_sub_epi16(vb, va), m)),
        4);
    return _mm256_and_si256(v, _mm256_set1_epi16(0xFF));
}

// Values from `from` to n; streamed, d + from is 32-byte aligned.
template <bool Stream>
void quarterRow(const std::int16_t* a, const std::int16_t* b, int m, std::uint8_t* d, int from,
                int n) {
    const __m256i vm = _mm256_set1_epi16(static_cast<short>(m));
    int k = from;
    for (; k + 32 <= n; k += 32) {
        const __m256i r = _mm256_packus_epi16(quarterValue(a + k, b + k, vm),
                                              quarterValue(a + k + 16, b + k + 16, vm));
        // The pack interleaves the halves of its inputs: put them back in order.
        auto* at = reinterpret_cast<__m256i*>(d + k);
        if constexpr (Stream)
            _mm256_stream_si256(at, _mm256_permute4x64_epi64(r, 0xD8));
        else
            _mm256_storeu_si256(at, _mm256_permute4x64_epi64(r, 0xD8));
    }
    tailQuarterV(a, b, m, d, k, n);
}

void quarterV(const std::int16_t* a, const std::int16_t* b, int m, std::uint8_t* d, int n,
              bool stream) {
    if (!stream) return quarterRow<false>(a, b, m, d, 0, n);
    // Up to the first 32-byte boundary one value at a time.
    const int head = static_cast<int>((32 - reinterpret_cast<std::uintptr_t>(d) % 32) % 32);
    const int k = head < n ? head : n;
    tailQuarterV(a, b, m, d, 0, k);
    quarterRow<true>(a, b, m, d, k, n);
    _mm_sfence();
}

template <class T>
constexpr ZoomRows<T> rows() {
    return {linearH<T>, cubicH<T>, linearV<T>, cubicV<T>};
}

}  // namespace

// Nearest neighbour is the SSSE3 kernel.
ZoomKernels zoomKernelsAvx2() {
    return {rows<std::uint8_t>(), rows<std::uint16_t>(), quarterH, quarterV,
            zoomKernelsSsse3().nearest, windowH, cubicWindowH};
}

}  // namespace vsk::zoom
