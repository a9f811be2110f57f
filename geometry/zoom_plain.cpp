// The plain zoom between two buffered headers: rectangles, channel
// selection, the destination clamp, and the nearest-neighbour, linear and
// cubic kernels. Positions and weights are computed once per call; the
// kernels then run the formulas' arithmetic per sample.
#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

#include "zoom.hpp"

namespace vsk::zoom {

namespace {

constexpr double kThird = 0.3333333333333333;

struct Channels {
    int start = 0, count = 0;
};

// Channel c of the ROI alone, or all channels; without a ROI the count is
// `countWithoutRoi`.
Channels channelsOf(const VskImage* image, int countWithoutRoi) {
    const int coi = roiCoi(image);
    if (coi > 0) return {coi - 1, 1};
    return {0, image->roi ? image->nChannels : countWithoutRoi};
}

// One source axis as the kernels see it: positions are relative to the ROI
// start; samples from lo() to hi() lie inside the image.
struct Axis {
    int count;     // destination pixels
    double inv;    // source pixels per destination pixel
    double start;  // fractional source start
    int offset;    // ROI offset in the image
    int size;      // image size
    int lo() const { return -offset; }
    int hi() const { return size - offset - 1; }  // the last column or row
    int clamp(int i) const { return std::clamp(i, lo(), hi()); }
};

// Nearest neighbour: ax_i = ax + i * step in 14-bit fixed point.
void nearestPositions(const Axis& a, int* out) {
    const int step = roundInt(a.inv * kOne);
    std::int64_t p = roundInt(a.start * kOne);
    // Tile starts may step past the last sample: such positions are kept
    // inside the image.
    for (int i = 0; i < a.count; ++i, p += step) out[i] = a.clamp(static_cast<int>(p >> 14));
}

struct LinearPos {
    double f;    // weight of the second sample
    int at;      // first sample after the edge move
    int s0, s1;  // the two samples, inside the image
};

void positions(const Axis& a, LinearPos* out) {
    const int last = a.hi();
    double s = a.start;
    for (int i = 0; i < a.count; ++i, s += a.inv) {
        int ix = roundInt(s);
        // The pair moves back from the last sample and the value is
        // extrapolated; a tile start past it moves back the same way.
        if (ix >= last) ix = last - 1;
        // Samples are kept inside the source buffer.
        out[i] = {s - ix, ix, a.clamp(ix), a.clamp(ix + 1)};
    }
}

struct CubicPos {
    double c1, c2, c3;  // Newton weights
    int at;             // second sample after the edge move
    int s[4];           // the four samples, inside the image
};

void positions(const Axis& a, CubicPos* out) {
    double s = a.start;
    for (int i = 0; i < a.count; ++i, s += a.inv) {
        int ix = roundInt(s);
        // Judged on the image position so that the four neighbours lie
        // inside the image; a tile start past the last sample moves back as
        // from the last one.
        const int at = a.offset + ix;
        if (at == 0)
            ix += 1;
        else if (at >= a.size - 1)
            ix = a.size - 1 - a.offset - 2;
        else if (at == a.size - 2)
            ix -= 1;
        const double t = s - ix;
        const double c2 = t * (1 + t) * 0.5;
        // Samples are kept inside the source buffer (blocks narrower than 4).
        out[i] = {1 + t, c2, (t - 1) * c2 * kThird, ix,
                  {a.clamp(ix - 1), a.clamp(ix), a.clamp(ix + 1), a.clamp(ix + 2)}};
    }
}

// Scratch blocks of one call, released together.
class Scratch {
public:
    ~Scratch() {
        for (int k = 0; k < n_; ++k) vskFreeAligned(blocks_[k]);
    }
    template <class U>
    U* take(std::int64_t count) {
        const std::int64_t bytes = count * static_cast<std::int64_t>(sizeof(U));
        void* p = bytes > 0 && bytes <= INT_MAX - 64 ? vskAllocAligned(static_cast<int>(bytes))
                                                    : nullptr;
        if (!p) failed_ = true;
        if (p) blocks_[n_++] = p;
        return static_cast<U*>(p);
    }
    // False when a block could not be had, or when the error status is
    // negative (it is read after the buffers are taken).
    bool ok() const { return !failed_ && !statusNegative(); }

private:
    void* blocks_[8] = {};
    int n_ = 0;
    bool failed_ = false;
};

// One pass over the rows: all selected channels of each pixel (pixel
// order) or one plane. Strides are in elements.
template <class T>
struct View {
    const T* src;
    std::ptrdiff_t sStride;
    T* dst;
    std::ptrdiff_t dStride;
};

struct Shape {
    int cols, rows;  // destination size
    int ch;          // channels per pixel in a pass
    int sPix, dPix;  // elements per pixel
};

template <int CH>
inline int channels(const Shape& s) {
    return CH ? CH : s.ch;
}

template <class T, int CH>
void nearestPass(const View<T>& v, const Shape& s, const int* xs, const int* ys) {
    const int ch = channels<CH>(s);
    for (int j = 0; j < s.rows; ++j) {
        T* d = v.dst + j * v.dStride;
        if (j > 0 && ys[j] == ys[j - 1] && ch == s.dPix) {
            std::memcpy(d, d - v.dStride, sizeof(T) * static_cast<std::size_t>(s.cols) * ch);
            continue;
        }
        const T* row = v.src + ys[j] * v.sStride;
        // Locals, so that byte stores need not reload them.
        const std::ptrdiff_t sPix = s.sPix, dPix = s.dPix;
        const int cols = s.cols;
        for (int i = 0; i < cols; ++i) {
            const T* p = row + xs[i] * sPix;
            T* q = d + i * dPix;
            for (int c = 0; c < ch; ++c) q[c] = p[c];
        }
    }
}

// The horizontal rows of a pass kept in float buffers: `at` is the logical
// first row held; each destination row advances them by one row where it
// can, else recomputes them all.
template <int N>
struct RowBuffers {
    float* row[N];
    int at = INT_MIN;
    template <class F>
    void advance(int to, F&& compute) {
        if (to == at) return;
        if (at != INT_MIN && to == at + 1) {
            std::rotate(row, row + 1, row + N);
            compute(N - 1, row[N - 1]);
        } else {
            for (int k = 0; k < N; ++k) compute(k, row[k]);
        }
        at = to;
    }
};

// The vertical step of linear for one value, stored without saturation:
// the low bits of the integer.
template <class T>
inline T linearValue(double a, double b, double f) {
    return static_cast<T>(roundInt((b - a) * f + a));
}

// The Newton differences of four neighbours.
struct Differences {
    double d1, d2, d3;
    Differences(double q0, double q1, double q2, double q3)
        : d1(q1 - q0), d2((q2 - q1) - d1), d3((q3 - 2 * q2 + q1) - d2) {}
};

// The vertical step of cubic for one value, clamped to the depth's range.
template <class T>
inline T cubicValue(double q0, double q1, double q2, double q3, const CubicPos& y) {
    const Differences d(q0, q1, q2, q3);
    const int r = roundInt((y.c1 * d.d1 + q0) + y.c2 * d.d2 + y.c3 * d.d3);
    return static_cast<T>(std::clamp(r, 0, static_cast<int>(std::numeric_limits<T>::max())));
}

#if defined(VSK_ZOOM_SSE2)
// Four results to four samples: the low bits, or clamped to the depth's
// range first. Conversions round by the current mode, as roundEven does.
template <class T, bool Clamp>
inline void storeFour(T* d, __m128d lo, __m128d hi) {
    const __m128d eps = _mm_set1_pd(0.00001), half = _mm_set1_pd(0.5);
    lo = _mm_sub_pd(_mm_add_pd(lo, eps), half);
    hi = _mm_sub_pd(_mm_add_pd(hi, eps), half);
    __m128i r = _mm_unpacklo_epi64(_mm_cvtpd_epi32(lo), _mm_cvtpd_epi32(hi));
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

inline void widen(const float* p, __m128d* lo, __m128d* hi) {
    const __m128 v = _mm_loadu_ps(p);
    *lo = _mm_cvtps_pd(v);
    *hi = _mm_cvtps_pd(_mm_movehl_ps(v, v));
}
#endif

// The vertical step of linear over n contiguous values.
template <class T>
void linearRow(const float* a, const float* b, double f, T* d, int n) {
    int k = 0;
#if defined(VSK_ZOOM_SSE2)
    const __m128d vf = _mm_set1_pd(f);
    for (; k + 4 <= n; k += 4) {
        __m128d a0, a1, b0, b1;
        widen(a + k, &a0, &a1);
        widen(b + k, &b0, &b1);
        storeFour<T, false>(d + k, _mm_add_pd(_mm_mul_pd(_mm_sub_pd(b0, a0), vf), a0),
                            _mm_add_pd(_mm_mul_pd(_mm_sub_pd(b1, a1), vf), a1));
    }
#endif
    for (; k < n; ++k) d[k] = linearValue<T>(a[k], b[k], f);
}

// The vertical step of cubic over n contiguous values.
template <class T>
void cubicRow(float* const q[4], const CubicPos& y, T* d, int n) {
    int k = 0;
#if defined(VSK_ZOOM_SSE2)
    const __m128d c1 = _mm_set1_pd(y.c1), c2 = _mm_set1_pd(y.c2), c3 = _mm_set1_pd(y.c3);
    const __m128d two = _mm_set1_pd(2.0);
    auto value = [&](__m128d q0, __m128d q1, __m128d q2, __m128d q3) {
        const __m128d d1 = _mm_sub_pd(q1, q0);
        const __m128d d2 = _mm_sub_pd(_mm_sub_pd(q2, q1), d1);
        const __m128d d3 = _mm_sub_pd(_mm_add_pd(_mm_sub_pd(q3, _mm_mul_pd(two, q2)), q1), d2);
        return _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_mul_pd(c1, d1), q0), _mm_mul_pd(c2, d2)),
                          _mm_mul_pd(c3, d3));
    };
    for (; k + 4 <= n; k += 4) {
        __m128d lo[4], hi[4];
        for (int r = 0; r < 4; ++r) widen(q[r] + k, &lo[r], &hi[r]);
        storeFour<T, true>(d + k, value(lo[0], lo[1], lo[2], lo[3]),
                           value(hi[0], hi[1], hi[2], hi[3]));
    }
#endif
    for (; k < n; ++k) d[k] = cubicValue<T>(q[0][k], q[1][k], q[2][k], q[3][k], y);
}

template <class T, int CH>
void pass(const View<T>& v, const Shape& s, const LinearPos* xp, const LinearPos* yp,
          RowBuffers<2> buf) {
    const int ch = channels<CH>(s);
    for (int j = 0; j < s.rows; ++j) {
        const LinearPos& y = yp[j];
        buf.advance(y.at, [&](int k, float* h) {
            const T* row = v.src + (k == 0 ? y.s0 : y.s1) * v.sStride;
            for (int i = 0; i < s.cols; ++i) {
                const T* p0 = row + static_cast<std::ptrdiff_t>(xp[i].s0) * s.sPix;
                const T* p1 = row + static_cast<std::ptrdiff_t>(xp[i].s1) * s.sPix;
                const double f = xp[i].f;
                for (int c = 0; c < ch; ++c) {
                    const double a = p0[c];
                    h[i * ch + c] = static_cast<float>((p1[c] - a) * f + a);
                }
            }
        });
        T* d = v.dst + j * v.dStride;
        if (ch == s.dPix) {
            linearRow(buf.row[0], buf.row[1], y.f, d, s.cols * ch);
            continue;
        }
        for (int i = 0; i < s.cols; ++i) {
            T* q = d + static_cast<std::ptrdiff_t>(i) * s.dPix;
            for (int c = 0; c < ch; ++c)
                q[c] = linearValue<T>(buf.row[0][i * ch + c], buf.row[1][i * ch + c], y.f);
        }
    }
}

template <class T, int CH>
void pass(const View<T>& v, const Shape& s, const CubicPos* xp, const CubicPos* yp,
          RowBuffers<4> buf) {
    const int ch = channels<CH>(s);
    for (int j = 0; j < s.rows; ++j) {
        const CubicPos& y = yp[j];
        buf.advance(y.at - 1, [&](int k, float* h) {
            const T* row = v.src + y.s[k] * v.sStride;
            for (int i = 0; i < s.cols; ++i) {
                const CubicPos& x = xp[i];
                const T* p0 = row + static_cast<std::ptrdiff_t>(x.s[0]) * s.sPix;
                const T* p1 = row + static_cast<std::ptrdiff_t>(x.s[1]) * s.sPix;
                const T* p2 = row + static_cast<std::ptrdiff_t>(x.s[2]) * s.sPix;
                const T* p3 = row + static_cast<std::ptrdiff_t>(x.s[3]) * s.sPix;
                for (int c = 0; c < ch; ++c) {
                    const double q0 = p0[c];
                    const Differences d(q0, p1[c], p2[c], p3[c]);
                    h[i * ch + c] =
                        static_cast<float>(d.d3 * x.c3 + (d.d1 * x.c1 + d.d2 * x.c2) + q0);
                }
            }
        });
        T* d = v.dst + j * v.dStride;
        if (ch == s.dPix) {
            cubicRow(buf.row, y, d, s.cols * ch);
            continue;
        }
        for (int i = 0; i < s.cols; ++i) {
            T* q = d + static_cast<std::ptrdiff_t>(i) * s.dPix;
            for (int c = 0; c < ch; ++c) {
                const int k = i * ch + c;
                q[c] = cubicValue<T>(buf.row[0][k], buf.row[1][k], buf.row[2][k], buf.row[3][k], y);
            }
        }
    }
}

// Calls f with the channel count as a compile-time constant for the common
// counts (0 = given at run time).
template <class F>
void withChannels(int ch, F&& f) {
    switch (ch) {
        case 1: f(std::integral_constant<int, 1>{}); break;
        case 3: f(std::integral_constant<int, 3>{}); break;
        case 4: f(std::integral_constant<int, 4>{}); break;
        default: f(std::integral_constant<int, 0>{}); break;
    }
}

struct Job {
    Rect s, d;
    Channels sc, dc;
    Axis ax, ay;
    int interpolate;
};

// Linear or cubic: positions of both axes, N row buffers of `bufferCols`
// floats, then every pass.
template <class T, class Pos, int N, class EachPass>
void separable(const Job& job, const Shape& shape, Scratch& scratch, std::int64_t bufferCols,
               EachPass&& eachPass) {
    Pos* xp = scratch.take<Pos>(shape.cols);
    Pos* yp = scratch.take<Pos>(shape.rows);
    RowBuffers<N> buf;
    for (float*& r : buf.row) r = scratch.take<float>(bufferCols);
    if (!scratch.ok()) return;
    positions(job.ax, xp);
    positions(job.ay, yp);
    withChannels(shape.ch, [&](auto ch) {
        eachPass([&](const View<T>& v) { pass<T, decltype(ch)::value>(v, shape, xp, yp, buf); });
    });
}

template <class T>
void zoomSamples(const VskImage* src, const VskImage* dst, const Job& job) {
    const bool plane = src->dataOrder == VSK_DATA_ORDER_PLANE;
    const std::ptrdiff_t sStride = static_cast<std::ptrdiff_t>(imageStride(src) / sizeof(T));
    const std::ptrdiff_t dStride = static_cast<std::ptrdiff_t>(imageStride(dst) / sizeof(T));
    const std::ptrdiff_t sPlane = sStride * src->height, dPlane = dStride * dst->height;
    const T* sBase = reinterpret_cast<const T*>(src->imageData) + job.s.y * sStride +
                     (plane ? job.sc.start * sPlane + job.s.x
                            : static_cast<std::ptrdiff_t>(job.s.x) * src->nChannels + job.sc.start);
    T* dBase = reinterpret_cast<T*>(dst->imageData) + job.d.y * dStride +
               (plane ? job.dc.start * dPlane + job.d.x
                      : static_cast<std::ptrdiff_t>(job.d.x) * dst->nChannels + job.dc.start);

    Shape shape{job.d.cols, job.d.rows, plane ? 1 : job.sc.count, plane ? 1 : src->nChannels,
                plane ? 1 : dst->nChannels};
    // A destination without ROI takes the source's channel count. In plane
    // order the planes past its own lie outside its buffer and are left out;
    // in pixel order its pixels overlap and the last ones run past the row:
    // they are made in a separate buffer and then written in order up to the
    // buffer's end.
    const int passes = plane ? std::min(job.sc.count, dst->nChannels - job.dc.start) : 1;
    const bool overlap = !plane && shape.ch > dst->nChannels;

    Scratch scratch;
    T* staged = nullptr;
    if (overlap) {
        staged = scratch.take<T>(std::int64_t{shape.cols} * shape.rows * shape.ch);
        shape.dPix = shape.ch;
    }
    const std::ptrdiff_t stagedStride = static_cast<std::ptrdiff_t>(shape.cols) * shape.ch;
    const std::int64_t bufferCols = std::int64_t{shape.cols} * shape.ch;

    auto eachPass = [&](auto&& kernel) {
        for (int p = 0; p < passes; ++p) {
            const View<T> v{sBase + p * sPlane, sStride, overlap ? staged : dBase + p * dPlane,
                            overlap ? stagedStride : dStride};
            kernel(v);
        }
    };

    switch (job.interpolate) {
        case VSK_INTER_LINEAR:
            separable<T, LinearPos, 2>(job, shape, scratch, bufferCols, eachPass);
            break;
        case VSK_INTER_CUBIC:
            separable<T, CubicPos, 4>(job, shape, scratch, bufferCols, eachPass);
            break;
        default: {
            int* xs = scratch.take<int>(shape.cols);
            int* ys = scratch.take<int>(shape.rows);
            if (!scratch.ok()) return;
            nearestPositions(job.ax, xs);
            nearestPositions(job.ay, ys);
            withChannels(shape.ch, [&](auto ch) {
                eachPass([&](const View<T>& v) { nearestPass<T, decltype(ch)::value>(v, shape, xs, ys); });
            });
            break;
        }
    }

    if (overlap && scratch.ok()) {
        const std::int64_t end = std::min<std::int64_t>(imageStride(dst) * dst->height, dst->dataSize) /
                                     static_cast<std::int64_t>(sizeof(T)) -
                                 (dBase - reinterpret_cast<T*>(dst->imageData));
        for (int j = 0; j < shape.rows; ++j)
            for (int i = 0; i < shape.cols; ++i)
                for (int c = 0; c < shape.ch; ++c) {
                    const std::int64_t at = j * std::int64_t{dStride} +
                                            std::int64_t{i} * dst->nChannels + c;
                    if (at < end) dBase[at] = staged[j * stagedStride + i * shape.ch + c];
                }
    }
}

// 1-bit images: nearest neighbour on bits, most significant bit first; each
// destination bit is set or cleared on its own.
void zoomBits(const VskImage* src, const VskImage* dst, const Job& job) {
    Scratch scratch;
    int* xs = scratch.take<int>(job.d.cols);
    int* ys = scratch.take<int>(job.d.rows);
    if (!scratch.ok()) return;
    nearestPositions(job.ax, xs);
    nearestPositions(job.ay, ys);
    const std::int64_t sStride = imageStride(src), dStride = imageStride(dst);
    const auto* sRows = reinterpret_cast<const std::uint8_t*>(src->imageData) + job.s.y * sStride;
    auto* dRows = reinterpret_cast<std::uint8_t*>(dst->imageData) + job.d.y * dStride;
    for (int j = 0; j < job.d.rows; ++j) {
        const std::uint8_t* s = sRows + ys[j] * sStride;
        std::uint8_t* d = dRows + j * dStride;
        for (int i = 0; i < job.d.cols; ++i) {
            const int sb = job.s.x + xs[i];
            const int db = job.d.x + i;
            const unsigned bit = (s[sb >> 3] >> (7 - (sb & 7))) & 1u;
            const unsigned mask = 0x80u >> (db & 7);
            d[db >> 3] = static_cast<std::uint8_t>((d[db >> 3] & ~mask) | ((0u - bit) & mask));
        }
    }
}

}  // namespace

int clampSize(int d, int s, double inv) {
    if (d > 0 && roundInt((d - 1) * inv) > s - 1) {
        const double exact = s / inv;
        d = roundInt(exact);
        // Deliberately one less again when the quotient is a whole number.
        if (d == exact) --d;
    }
    return d;
}

void plainZoom(const VskImage* src, const VskImage* dst, double xInv, double yInv,
               int interpolate, double xStart, double yStart) {
    Job job;
    job.s = rectOf(src);
    job.d = rectOf(dst);
    job.sc = channelsOf(src, src->nChannels);
    // Deliberately, a destination without ROI takes the source's count.
    job.dc = channelsOf(dst, src->nChannels);
    const bool fromFirst = job.sc.start == 0 && job.dc.start == 0;
    if (fromFirst ? job.sc.count != job.dc.count : (job.sc.count != 1 || job.dc.count != 1))
        return;
    job.d.cols = clampSize(job.d.cols, job.s.cols, xInv);
    job.d.rows = clampSize(job.d.rows, job.s.rows, yInv);
    // Buffers that no longer match their headers: source rows past the end
    // are not sampled (the last one inside stands in), destination rows past
    // it are not written.
    const bool plane = src->dataOrder == VSK_DATA_ORDER_PLANE;
    const int passes = plane ? std::min(job.sc.count, dst->nChannels - job.dc.start) : 1;
    const int srcRows = rowsInBuffer(src, plane ? job.sc.start + passes - 1 : 0);
    job.d.rows = std::min(job.d.rows, rowsInBuffer(dst, plane ? job.dc.start + passes - 1 : 0) - job.d.y);
    if (job.d.cols <= 0 || job.d.rows <= 0 || srcRows <= job.s.y) return;
    job.ax = {job.d.cols, xInv, xStart, job.s.x, src->width};
    job.ay = {job.d.rows, yInv, yStart, job.s.y, srcRows};
    job.interpolate = interpolate;
    switch (src->depth) {
        case VSK_1U: zoomBits(src, dst, job); break;
        case VSK_8U: zoomSamples<std::uint8_t>(src, dst, job); break;
        case VSK_16U: zoomSamples<std::uint16_t>(src, dst, job); break;
        default: break;  // deliberately no kernel and no report for the other depths
    }
}

}  // namespace vsk::zoom
