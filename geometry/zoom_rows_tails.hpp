// The scalar remainders of the vector zoom kernels: the columns past a
// table's `safe` ones, the values past the last full vector, and channel
// counts without a vector kernel. Included only by the instruction-set files,
// each of which gets its own copy (internal linkage): they share no inline
// code with the baseline files.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "zoom_rows.hpp"

namespace vsk::zoom {
namespace {

// int(v): add 0.00001, subtract 0.5, round to nearest with ties to even.
inline int tailRound(double v) { return _mm_cvtsd_si32(_mm_set_sd((v + 0.00001) - 0.5)); }

template <class T>
inline T tailClamp(int v) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    return static_cast<T>(v < 0 ? 0 : (v > top ? top : v));
}

// CH is the channel count, or 0 for a count given at run time.
template <class T, int CH = 0>
void tailLinearH(const T* row, const LinearColumns& x, int chs, float* h, int from) {
    const int ch = CH ? CH : chs;
    for (int i = from; i < x.n; ++i) {
        const T* p0 = row + x.o0[i];
        const T* p1 = row + x.o1[i];
        const double f = x.f[i];
        for (int c = 0; c < ch; ++c) {
            const double a = p0[c];
            h[i * ch + c] = static_cast<float>((p1[c] - a) * f + a);
        }
    }
}

template <class T, int CH = 0>
void tailCubicH(const T* row, const CubicColumns& x, int chs, float* h, int from) {
    const int ch = CH ? CH : chs;
    for (int i = from; i < x.n; ++i) {
        for (int c = 0; c < ch; ++c) {
            const double p0 = row[x.o[0][i] + c], p1 = row[x.o[1][i] + c], p2 = row[x.o[2][i] + c],
                         p3 = row[x.o[3][i] + c];
            const double d1 = p1 - p0, d2 = (p2 - p1) - d1, d3 = (p3 - 2.0 * p2 + p1) - d2;
            h[i * ch + c] = static_cast<float>(d3 * x.c3[i] + (d1 * x.c1[i] + d2 * x.c2[i]) + p0);
        }
    }
}

template <class T>
void tailLinearV(const float* a, const float* b, const double* f, T* const* d, int rows, int from,
                 int n) {
    for (int r = 0; r < rows; ++r)
        for (int k = from; k < n; ++k) {
            const double p = a[k];
            d[r][k] = static_cast<T>(tailRound((b[k] - p) * f[r] + p));
        }
}

template <class T>
void tailCubicV(const float* const q[4], const double (*c)[3], T* const* d, int rows, int from,
                int n) {
    for (int r = 0; r < rows; ++r)
        for (int k = from; k < n; ++k) {
            const double q0 = q[0][k], q1 = q[1][k], q2 = q[2][k], q3 = q[3][k];
            const double d1 = q1 - q0, d2 = (q2 - q1) - d1, d3 = (q3 - 2.0 * q2 + q1) - d2;
            d[r][k] =
                tailClamp<T>(tailRound((c[r][0] * d1 + q0) + c[r][1] * d2 + c[r][2] * d3));
        }
}

inline void tailQuarterH(const std::uint8_t* row, const QuarterColumns& x, std::int16_t* h,
                         int from) {
    for (int k = from; k < x.n; ++k) {
        const int g = k / kQuarterGroup, e = k % kQuarterGroup;
        const std::uint8_t* w = row + x.base[g];
        const int p0 = w[x.pick[g * 2 * kQuarterGroup + e]];
        const int p1 = w[x.pick[g * 2 * kQuarterGroup + kQuarterGroup + e]];
        h[k] = static_cast<std::int16_t>(4 * p0 + (p1 - p0) * x.m[k]);
    }
}

inline void tailWindowH(const std::uint8_t* row, const WindowColumns& x, float* h, int from) {
    for (int k = from; k < x.n; ++k) {
        const int g = k / kQuarterGroup, e = k % kQuarterGroup;
        const std::uint8_t* w = row + x.base[g];
        const std::uint8_t* at = x.ctl + g * kWindowControl + 4 * e;
        const double a = w[at[0]];
        h[k] = static_cast<float>((w[at[kWindowControl / 2]] - a) * x.f[k] + a);
    }
}

inline void tailCubicWindowH(const std::uint8_t* row, const CubicWindowColumns& x, float* h,
                             int from) {
    for (int k = from; k < x.n; ++k) {
        const int g = k / kQuarterGroup, e = k % kQuarterGroup;
        const std::uint8_t* w = row + x.base[g];
        const std::uint8_t* at = x.ctl + g * kCubicWindowControl + 4 * e;
        const double p0 = w[at[0]], p1 = w[at[kWindowControl / 2]], p2 = w[at[kWindowControl]],
                     p3 = w[at[3 * kWindowControl / 2]];
        const double d1 = p1 - p0, d2 = (p2 - p1) - d1, d3 = (p3 - 2.0 * p2 + p1) - d2;
        h[k] = static_cast<float>(d3 * x.c3[k] + (d1 * x.c1[k] + d2 * x.c2[k]) + p0);
    }
}

inline void tailQuarterV(const std::int16_t* a, const std::int16_t* b, int m, std::uint8_t* d,
                         int from, int n) {
    for (int k = from; k < n; ++k)
        d[k] = static_cast<std::uint8_t>((4 * a[k] + (b[k] - a[k]) * m) >> 4);
}

}  // namespace
}  // namespace vsk::zoom
