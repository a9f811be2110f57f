// The scalar row kernels of linear and cubic zoom, and the choice of the
// kernels by instruction set.
#include "zoom_rows.hpp"

#include "numeric.hpp"

namespace vsk::zoom {

namespace {

constexpr double kTwo = 2.0;

// The Newton form of four neighbours with weights c1, c2, c3, as the
// horizontal step writes it: d3 c3 + (d1 c1 + d2 c2) + p0.
inline double newtonAcross(double p0, double p1, double p2, double p3, double c1, double c2,
                           double c3) {
    const double d1 = p1 - p0, d2 = (p2 - p1) - d1, d3 = (p3 - kTwo * p2 + p1) - d2;
    return d3 * c3 + (d1 * c1 + d2 * c2) + p0;
}

// The channel count as a compile-time constant for the common counts (0:
// given at run time).
template <int CH>
inline int count(int ch) {
    return CH ? CH : ch;
}

template <class T, int CH>
void linearAcross(const T* row, const LinearColumns& x, int chs, float* h) {
    const int ch = count<CH>(chs);
    for (int i = 0; i < x.n; ++i) {
        const T* p0 = row + x.o0[i];
        const T* p1 = row + x.o1[i];
        const double f = x.f[i];
        for (int c = 0; c < ch; ++c) {
            const double a = p0[c];
            h[i * ch + c] = static_cast<float>((p1[c] - a) * f + a);
        }
    }
}

template <class T, int CH>
void cubicAcross(const T* row, const CubicColumns& x, int chs, float* h) {
    const int ch = count<CH>(chs);
    for (int i = 0; i < x.n; ++i) {
        const T* p0 = row + x.o[0][i];
        const T* p1 = row + x.o[1][i];
        const T* p2 = row + x.o[2][i];
        const T* p3 = row + x.o[3][i];
        for (int c = 0; c < ch; ++c)
            h[i * ch + c] = static_cast<float>(
                newtonAcross(p0[c], p1[c], p2[c], p3[c], x.c1[i], x.c2[i], x.c3[i]));
    }
}

template <class T>
void linearH(const T* row, const LinearColumns& x, int ch, float* h) {
    switch (ch) {
        case 1: return linearAcross<T, 1>(row, x, ch, h);
        case 3: return linearAcross<T, 3>(row, x, ch, h);
        case 4: return linearAcross<T, 4>(row, x, ch, h);
        default: return linearAcross<T, 0>(row, x, ch, h);
    }
}

template <class T>
void cubicH(const T* row, const CubicColumns& x, int ch, float* h) {
    switch (ch) {
        case 1: return cubicAcross<T, 1>(row, x, ch, h);
        case 3: return cubicAcross<T, 3>(row, x, ch, h);
        case 4: return cubicAcross<T, 4>(row, x, ch, h);
        default: return cubicAcross<T, 0>(row, x, ch, h);
    }
}

// Stored without saturation: the low bits of the integer.
template <class T>
void linearV(const float* a, const float* b, const double* f, T* const* d, int rows, int n) {
    for (int r = 0; r < rows; ++r) {
        T* out = d[r];
        const double w = f[r];
        for (int k = 0; k < n; ++k) {
            const double p = a[k];
            out[k] = static_cast<T>(roundInt((b[k] - p) * w + p));
        }
    }
}

// Clamped to the depth's range.
template <class T>
void cubicV(const float* const q[4], const double (*c)[3], T* const* d, int rows, int n) {
    for (int r = 0; r < rows; ++r) {
        T* out = d[r];
        const double c1 = c[r][0], c2 = c[r][1], c3 = c[r][2];
        for (int k = 0; k < n; ++k) {
            const double q0 = q[0][k], q1 = q[1][k], q2 = q[2][k], q3 = q[3][k];
            const double d1 = q1 - q0, d2 = (q2 - q1) - d1, d3 = (q3 - kTwo * q2 + q1) - d2;
            out[k] = saturate<T>(roundInt((c1 * d1 + q0) + c2 * d2 + c3 * d3));
        }
    }
}

template <class T>
constexpr ZoomRows<T> scalarRows() {
    return {linearH<T>, cubicH<T>, linearV<T>, cubicV<T>};
}

}  // namespace

void quarterHScalar(const std::uint8_t* row, const QuarterColumns& x, std::int16_t* h) {
    for (int k = 0; k < x.n; ++k) {
        const std::uint8_t* w = row + x.base[k / kQuarterGroup];
        const std::uint8_t* at =
            x.pick + (k / kQuarterGroup) * 2 * kQuarterGroup + k % kQuarterGroup;
        const int p0 = w[at[0]], p1 = w[at[kQuarterGroup]];
        h[k] = static_cast<std::int16_t>(4 * p0 + (p1 - p0) * x.m[k]);
    }
}

void quarterVScalar(const std::int16_t* a, const std::int16_t* b, int m, std::uint8_t* d, int n,
                    bool) {
    // Shifts of negative values round toward minus infinity.
    for (int k = 0; k < n; ++k)
        d[k] = static_cast<std::uint8_t>((4 * a[k] + (b[k] - a[k]) * m) >> 4);
}

ZoomKernels zoomKernelsScalar() {
    return {scalarRows<std::uint8_t>(), scalarRows<std::uint16_t>(), nullptr, nullptr};
}

ZoomKernels zoomKernelsFor(simd::SimdLevel level) {
    using Make = ZoomKernels (*)();
    return simd::pick<Make>({VSK_SIMD_ENTRY(Avx2, zoomKernelsAvx2),
                             VSK_SIMD_ENTRY(Ssse3, zoomKernelsSsse3),
                             VSK_SIMD_ENTRY(Sse2, zoomKernelsSse2),
                             {simd::SimdLevel::Scalar, zoomKernelsScalar}},
                            level)();
}

const ZoomKernels& zoomKernels() {
    static const ZoomKernels kernels = zoomKernelsFor(simd::simdLevel());
    return kernels;
}

}  // namespace vsk::zoom
