// The plain zoom between two buffered headers: rectangles, channel
// selection, the destination clamp, and the nearest-neighbour, linear and
// cubic passes. Positions, weights and the column tables of the row kernels
// (zoom_rows.hpp) are computed once per call; the passes then run the row
// kernels of the processor's level over the rows.
#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

#include "bits.hpp"
#include "tiles.hpp"
#include "zoom.hpp"
#include "zoom_rows.hpp"

namespace vsk::zoom {

namespace {

constexpr double kThird = 0.3333333333333333;

struct Channels {
    int start = 0, count = 0;
};

// The channels to process; without a ROI the count is `countWithoutRoi`.
Channels channelsOf(const VskImage* image, int countWithoutRoi) {
    return {firstChannel(image), image->roi ? channelCount(image) : countWithoutRoi};
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
        void* p = n_ < kBlocks && bytes > 0 && bytes <= INT_MAX - 64
                      ? vskAllocAligned(static_cast<int>(bytes))
                      : nullptr;
        if (!p) failed_ = true;
        if (p) blocks_[n_++] = p;
        return static_cast<U*>(p);
    }
    // False when a block could not be had, or when the error status is
    // negative (it is read after the buffers are taken).
    bool ok() const { return !failed_ && !statusNegative(); }

private:
    static constexpr int kBlocks = 24;  // more than a call takes
    void* blocks_[kBlocks] = {};
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
    bool stream;     // the destination is large: rows are written past the cache
};

template <int CH>
inline int channels(const Shape& s) {
    return CH ? CH : s.ch;
}

// Rows of nearest neighbour; with `shuffled`, rows whose pixels hold
// exactly the selected channels go through the byte-shuffle kernel.
struct Shuffled {
    NearestRow row;
    NearestColumns columns;
};

// The horizontal step of 8-bit linear zoom by windows, where the level has
// it and the samples of every group lie within a window.
struct Windows {
    WindowH row;
    WindowColumns columns;
};
// The same for 8-bit cubic zoom.
struct CubicWindows {
    CubicWindowH row;
    CubicWindowColumns columns;
};

template <class T, int CH>
void nearestPass(const View<T>& v, const Shape& s, const int* xs, const int* ys,
                 const Shuffled* shuffled) {
    const int ch = channels<CH>(s);
    for (int j = 0; j < s.rows; ++j) {
        T* d = v.dst + j * v.dStride;
        if (j > 0 && ys[j] == ys[j - 1] && ch == s.dPix) {
            std::memcpy(d, d - v.dStride, sizeof(T) * static_cast<std::size_t>(s.cols) * ch);
            continue;
        }
        const T* row = v.src + ys[j] * v.sStride;
        if (shuffled) {
            shuffled->row(reinterpret_cast<const std::uint8_t*>(row), shuffled->columns,
                          reinterpret_cast<std::uint8_t*>(d));
            continue;
        }
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
template <int N, class E = float>
struct RowBuffers {
    E* row[N];
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

// A destination row made in `made` (the selected channels of each pixel
// side by side) is written into pixels of dPix values.
template <class T, int CH>
void spread(const T* made, T* d, const Shape& s) {
    const int ch = channels<CH>(s);
    for (int i = 0; i < s.cols; ++i)
        for (int c = 0; c < ch; ++c)
            d[static_cast<std::ptrdiff_t>(i) * s.dPix + c] = made[i * ch + c];
}

// The destination rows from j on that the same source rows serve (at most
// kVRows; one where rows are made apart from the destination).
template <class Pos>
int runOf(const Pos* yp, int j, int rows, bool apart) {
    int end = j + 1;
    if (!apart)
        while (end < rows && end - j < kVRows && yp[end].at == yp[j].at) ++end;
    return end - j;
}

// Linear and cubic passes: each run of destination rows on the same source
// rows advances the row buffers (the horizontal kernel fills the new ones),
// then the vertical kernel makes those rows, in place or in `made` when
// their pixels have other channels too.
template <class T, int CH>
void pass(const View<T>& v, const Shape& s, const LinearColumns& xc, const LinearPos* yp,
          RowBuffers<2> buf, T* made, const ZoomRows<T>& k, const Windows* win) {
    for (int j = 0, run; j < s.rows; j += run) {
        const LinearPos& y = yp[j];
        buf.advance(y.at, [&](int r, float* h) {
            const T* row = v.src + (r == 0 ? y.s0 : y.s1) * v.sStride;
            if constexpr (sizeof(T) == 1) {
                if (win) return win->row(row, win->columns, h);
            }
            k.linearH(row, xc, s.ch, h);
        });
        run = runOf(yp, j, s.rows, made != nullptr);
        double f[kVRows];
        T* d[kVRows];
        for (int r = 0; r < run; ++r) {
            f[r] = yp[j + r].f;
            d[r] = made ? made : v.dst + (j + r) * v.dStride;
        }
        k.linearV(buf.row[0], buf.row[1], f, d, run, s.cols * s.ch);
        if (made) spread<T, CH>(made, v.dst + j * v.dStride, s);
    }
}

template <class T, int CH>
void pass(const View<T>& v, const Shape& s, const CubicColumns& xc, const CubicPos* yp,
          RowBuffers<4> buf, T* made, const ZoomRows<T>& k, const CubicWindows* win) {
    for (int j = 0, run; j < s.rows; j += run) {
        const CubicPos& y = yp[j];
        buf.advance(y.at - 1, [&](int r, float* h) {
            const T* row = v.src + y.s[r] * v.sStride;
            if constexpr (sizeof(T) == 1) {
                if (win) return win->row(row, win->columns, h);
            }
            k.cubicH(row, xc, s.ch, h);
        });
        run = runOf(yp, j, s.rows, made != nullptr);
        double c[kVRows][3];
        T* d[kVRows];
        for (int r = 0; r < run; ++r) {
            c[r][0] = yp[j + r].c1;
            c[r][1] = yp[j + r].c2;
            c[r][2] = yp[j + r].c3;
            d[r] = made ? made : v.dst + (j + r) * v.dStride;
        }
        k.cubicV(buf.row, c, d, run, s.cols * s.ch);
        if (made) spread<T, CH>(made, v.dst + j * v.dStride, s);
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

// Leading columns whose samples at offsets o[0..m) keep kReadSlack elements
// readable past their last channel, with `avail` elements readable from the
// start of the last row a pass reads.
template <int M>
int safeColumns(std::int32_t* const (&o)[M], int n, int ch, std::int64_t avail) {
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < M; ++k)
            if (std::int64_t{o[k][i]} + ch + kReadSlack > avail) return i;
    return n;
}

// The run of each column: how many columns from it on take the same samples.
void runs(std::int32_t* const (&o)[4], int n, std::int32_t* run) {
    for (int i = n - 1; i >= 0; --i) {
        bool same = i + 1 < n;
        for (int k = 0; k < 4 && same; ++k) same = o[k][i + 1] == o[k][i];
        run[i] = same ? run[i + 1] + 1 : 1;
    }
}

// An element offset of column s, which lies inside the image's row.
inline std::int32_t offsetOf(int s, int sPix) {
    return static_cast<std::int32_t>(std::int64_t{s} * sPix);
}

bool columns(const LinearPos* xp, const Shape& s, std::int64_t avail, Scratch& scratch,
             LinearColumns* out) {
    std::int32_t* o[2] = {scratch.take<std::int32_t>(s.cols), scratch.take<std::int32_t>(s.cols)};
    double* f = scratch.take<double>(s.cols);
    if (!scratch.ok()) return false;
    for (int i = 0; i < s.cols; ++i) {
        o[0][i] = offsetOf(xp[i].s0, s.sPix);
        o[1][i] = offsetOf(xp[i].s1, s.sPix);
        f[i] = xp[i].f;
    }
    *out = {o[0], o[1], f, s.cols, safeColumns(o, s.cols, s.ch, avail)};
    return true;
}

bool columns(const CubicPos* xp, const Shape& s, std::int64_t avail, Scratch& scratch,
             CubicColumns* out) {
    std::int32_t* o[4];
    for (auto& p : o) p = scratch.take<std::int32_t>(s.cols);
    double* c[3];
    for (auto& p : c) p = scratch.take<double>(s.cols);
    std::int32_t* run = scratch.take<std::int32_t>(s.cols);
    if (!scratch.ok()) return false;
    for (int i = 0; i < s.cols; ++i) {
        for (int k = 0; k < 4; ++k) o[k][i] = offsetOf(xp[i].s[k], s.sPix);
        c[0][i] = xp[i].c1;
        c[1][i] = xp[i].c2;
        c[2][i] = xp[i].c3;
    }
    const int safe = safeColumns(o, s.cols, s.ch, avail);
    runs(o, s.cols, run);
    *out = {{o[0], o[1], o[2], o[3]}, c[0], c[1], c[2], s.cols, safe, run};
    return true;
}

// The last source row a linear or cubic pass reads, relative to the ROI.
int lastRow(const LinearPos* yp, int n) {
    int r = INT_MIN;
    for (int j = 0; j < n; ++j) r = std::max({r, yp[j].s0, yp[j].s1});
    return r;
}
int lastRow(const CubicPos* yp, int n) {
    int r = INT_MIN;
    for (int j = 0; j < n; ++j) r = std::max({r, yp[j].s[0], yp[j].s[1], yp[j].s[2], yp[j].s[3]});
    return r;
}

// The byte table of nearest neighbour for samples of `size` bytes, with
// `availBytes` readable from the start of the last row a pass reads; false
// where rows are too long for it.
bool nearestColumns(const int* xs, const Shape& s, int size, std::int64_t availBytes,
                    Scratch& scratch, NearestColumns* out) {
    const std::int64_t total = std::int64_t{s.cols} * s.ch * size;
    if (total > INT_MAX / 2) return false;
    const int bytes = static_cast<int>(total), groups = bytes / kNearestGroup;
    std::int32_t* src = scratch.take<std::int32_t>(bytes);
    std::int32_t* base = scratch.take<std::int32_t>(std::max(groups, 1));
    std::uint8_t* pick = scratch.take<std::uint8_t>(std::max(groups, 1) * kNearestGroup);
    if (!scratch.ok()) return false;
    for (int k = 0; k < bytes; ++k) {
        const int v = k / size, i = v / s.ch, c = v % s.ch;
        src[k] = (offsetOf(xs[i], s.sPix) + c) * size + k % size;
    }
    int safe = groups;
    for (int g = 0; g < groups; ++g) {
        const std::int32_t* at = src + g * kNearestGroup;
        const std::int32_t lo = *std::min_element(at, at + kNearestGroup);
        const std::int32_t hi = *std::max_element(at, at + kNearestGroup);
        const bool fits = hi - lo < kNearestGroup;
        base[g] = fits ? lo : kNoWindow;
        for (int k = 0; k < kNearestGroup; ++k)
            pick[g * kNearestGroup + k] = static_cast<std::uint8_t>(fits ? at[k] - lo : 0);
        if (safe == groups && fits && std::int64_t{lo} + kNearestGroup > availBytes) safe = g;
    }
    *out = {src, base, pick, bytes, safe};
    return true;
}

// A weight in quarters: m for f = m / 4 with 0 <= m < 8, else -1.
int quarters(double f) {
    const double q = f * 4;
    if (!(q >= 0 && q < 8)) return -1;
    const int m = static_cast<int>(q);
    return m == q ? m : -1;
}

// Sample k of a destination column (0 first).
inline int sampleOf(const LinearPos& p, int k) { return k ? p.s1 : p.s0; }
inline int sampleOf(const CubicPos& p, int k) { return p.s[k]; }

// The M samples of each value of group g of a row's n values (element
// offsets) and the lowest of them; the number of values in the group, or -1
// where they do not lie within kQuarterWindow elements.
template <int M, class Pos>
int groupSamples(const Pos* xp, const Shape& s, int n, int g, std::int32_t (&o)[M][kQuarterGroup],
                 std::int32_t& lo) {
    const int count = std::min(kQuarterGroup, n - g * kQuarterGroup);
    std::int32_t hi = INT32_MIN;
    lo = INT32_MAX;
    for (int e = 0; e < count; ++e) {
        const int v = g * kQuarterGroup + e, i = v / s.ch, c = v % s.ch;
        for (int k = 0; k < M; ++k) {
            o[k][e] = offsetOf(sampleOf(xp[i], k), s.sPix) + c;
            lo = std::min(lo, o[k][e]);
            hi = std::max(hi, o[k][e]);
        }
    }
    return hi - lo < kQuarterWindow ? count : -1;
}

// The window table of M samples a value: base per group and the byte-shuffle
// controls (kWindowControl / 2 bytes per sample); the leading groups whose
// window is readable, or -1 where some group's samples do not fit a window.
template <int M, class Pos>
int windowTable(const Pos* xp, const Shape& s, std::int64_t avail, std::int32_t* base,
                std::uint8_t* ctl) {
    const int n = s.cols * s.ch, groups = (n + kQuarterGroup - 1) / kQuarterGroup;
    const int stride = M * kWindowControl / 2;
    std::memset(ctl, 0x80, static_cast<std::size_t>(groups) * stride);
    int safe = groups;
    for (int g = 0; g < groups; ++g) {
        std::int32_t o[M][kQuarterGroup] = {};
        std::int32_t lo;
        const int count = groupSamples<M>(xp, s, n, g, o, lo);
        if (count < 0) return -1;
        base[g] = lo;
        for (int e = 0; e < count; ++e)
            for (int k = 0; k < M; ++k)
                ctl[g * stride + k * kWindowControl / 2 + 4 * e] =
                    static_cast<std::uint8_t>(o[k][e] - lo);
        if (safe == groups && std::int64_t{lo} + kQuarterWindow > avail) safe = g;
    }
    return safe;
}

bool windows(const LinearPos* xp, const Shape& s, std::int64_t avail, Scratch& scratch,
             Windows* out) {
    out->row = zoomKernels().windowH;
    if (!out->row || std::int64_t{s.cols} * s.ch > INT_MAX / 16) return false;
    const int n = s.cols * s.ch, groups = (n + kQuarterGroup - 1) / kQuarterGroup;
    std::int32_t* base = scratch.take<std::int32_t>(groups);
    std::uint8_t* ctl = scratch.take<std::uint8_t>(std::int64_t{groups} * kWindowControl);
    double* f = scratch.take<double>(n);
    if (!scratch.ok()) return false;
    for (int v = 0; v < n; ++v) f[v] = xp[v / s.ch].f;
    const int safe = windowTable<2>(xp, s, avail, base, ctl);
    out->columns = {base, ctl, f, n, safe};
    return safe >= 0;
}

bool windows(const CubicPos* xp, const Shape& s, std::int64_t avail, Scratch& scratch,
             CubicWindows* out) {
    out->row = zoomKernels().cubicWindowH;
    if (!out->row || std::int64_t{s.cols} * s.ch > INT_MAX / 32) return false;
    const int n = s.cols * s.ch, groups = (n + kQuarterGroup - 1) / kQuarterGroup;
    std::int32_t* base = scratch.take<std::int32_t>(groups);
    std::uint8_t* ctl = scratch.take<std::uint8_t>(std::int64_t{groups} * kCubicWindowControl);
    double* c[3];
    for (auto& p : c) p = scratch.take<double>(n);
    if (!scratch.ok()) return false;
    for (int v = 0; v < n; ++v) {
        c[0][v] = xp[v / s.ch].c1;
        c[1][v] = xp[v / s.ch].c2;
        c[2][v] = xp[v / s.ch].c3;
    }
    const int safe = windowTable<4>(xp, s, avail, base, ctl);
    out->columns = {base, ctl, c[0], c[1], c[2], n, safe};
    return safe >= 0;
}

// 8-bit linear zoom with the integer kernels: where the level has them, every
// column and row weight is a quarter below 2, and the samples of every group
// of values lie within a window. True when it ran (or its scratch failed),
// false when the double kernels are to run instead.
template <class EachPass>
bool byQuarters(const Shape& s, const LinearPos* xp, const LinearPos* yp, std::int64_t avail,
                std::uint8_t* made, Scratch& scratch, EachPass&& eachPass) {
    const ZoomKernels& k = zoomKernels();
    // Rows longer than the float buffers can hold are left to the double path.
    if (!k.quarterH || std::int64_t{s.cols} * s.ch > INT_MAX / 4) return false;
    for (int j = 0; j < s.rows; ++j)
        if (quarters(yp[j].f) < 0) return false;
    for (int i = 0; i < s.cols; ++i)
        if (quarters(xp[i].f) < 0) return false;
    const int n = s.cols * s.ch, groups = (n + kQuarterGroup - 1) / kQuarterGroup;
    std::int32_t* base = scratch.take<std::int32_t>(groups);
    std::uint8_t* pick = scratch.take<std::uint8_t>(std::int64_t{groups} * 2 * kQuarterGroup);
    std::int16_t* m = scratch.take<std::int16_t>(n);
    RowBuffers<2, std::int16_t> buf;
    for (std::int16_t*& r : buf.row) r = scratch.take<std::int16_t>(n);
    if (!scratch.ok()) return true;
    for (int v = 0; v < n; ++v) m[v] = static_cast<std::int16_t>(quarters(xp[v / s.ch].f));
    int safe = groups;
    for (int g = 0; g < groups; ++g) {
        std::int32_t o[2][kQuarterGroup] = {};
        std::int32_t lo;
        const int count = groupSamples<2>(xp, s, n, g, o, lo);
        if (count < 0) return false;
        base[g] = lo;
        for (int e = 0; e < kQuarterGroup; ++e) {
            std::uint8_t* at = pick + g * 2 * kQuarterGroup + e;
            at[0] = static_cast<std::uint8_t>(e < count ? o[0][e] - lo : 0);
            at[kQuarterGroup] = static_cast<std::uint8_t>(e < count ? o[1][e] - lo : 0);
        }
        if (safe == groups && std::int64_t{lo} + kQuarterWindow > avail) safe = g;
    }
    const QuarterColumns xc{base, pick, m, n, safe};
    withChannels(s.ch, [&](auto ch) {
        eachPass([&](const View<std::uint8_t>& v) {
            RowBuffers<2, std::int16_t> rows = buf;  // each pass starts afresh
            for (int j = 0; j < s.rows; ++j) {
                const LinearPos& y = yp[j];
                rows.advance(y.at, [&](int r, std::int16_t* h) {
                    k.quarterH(v.src + (r == 0 ? y.s0 : y.s1) * v.sStride, xc, h);
                });
                std::uint8_t* d = v.dst + j * v.dStride;
                k.quarterV(rows.row[0], rows.row[1], quarters(y.f), made ? made : d, n,
                           s.stream && !made);
                if (made) spread<std::uint8_t, decltype(ch)::value>(made, d, s);
            }
        });
    });
    return true;
}

// Linear or cubic: positions of both axes, the column tables, N row buffers
// of `bufferCols` floats (and a row of samples where pixels have more
// channels than are made), then every pass. `availFrom(r)` is the number of
// elements readable from the start of source row r of the last pass.
template <class T, class Pos, class Columns, int N, class Avail, class EachPass>
void separable(const Job& job, const Shape& shape, Scratch& scratch, std::int64_t bufferCols,
               Avail&& availFrom, EachPass&& eachPass) {
    Pos* xp = scratch.take<Pos>(shape.cols);
    Pos* yp = scratch.take<Pos>(shape.rows);
    T* made = shape.ch != shape.dPix ? scratch.take<T>(bufferCols) : nullptr;
    if (!scratch.ok()) return;
    positions(job.ax, xp);
    positions(job.ay, yp);
    const std::int64_t avail = availFrom(lastRow(yp, shape.rows));
    std::conditional_t<std::is_same_v<Pos, LinearPos>, Windows, CubicWindows> win;
    bool byWindows = false;
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        if constexpr (std::is_same_v<Pos, LinearPos>) {
            if (byQuarters(shape, xp, yp, avail, made, scratch, eachPass)) return;
        }
        byWindows = windows(xp, shape, avail, scratch, &win);
    }
    RowBuffers<N> buf;
    for (float*& r : buf.row) r = scratch.take<float>(bufferCols + kRowSlack);
    Columns xc;
    if (!scratch.ok() || !columns(xp, shape, avail, scratch, &xc)) return;
    const ZoomRows<T>& kernels = rowsOf<T>(zoomKernels());
    withChannels(shape.ch, [&](auto ch) {
        eachPass([&](const View<T>& v) {
            pass<T, decltype(ch)::value>(v, shape, xc, yp, buf, made, kernels,
                                         byWindows ? &win : nullptr);
        });
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
                plane ? 1 : dst->nChannels, false};
    // A destination without ROI takes the source's channel count. In plane
    // order the planes past its own lie outside its buffer and are left out;
    // in pixel order its pixels overlap and the last ones run past the row:
    // they are made in a separate buffer and then written in order up to the
    // buffer's end.
    const int passes = plane ? std::min(job.sc.count, dst->nChannels - job.dc.start) : 1;
    const bool overlap = !plane && shape.ch > dst->nChannels;
    // A destination larger than the caches is written past them: by the time
    // the call ends, its first rows would have left the caches anyway.
    shape.stream = !overlap && largeWalk(dst, shape.rows, shape.cols);

    Scratch scratch;
    T* staged = nullptr;
    if (overlap) {
        staged = scratch.take<T>(std::int64_t{shape.cols} * shape.rows * shape.ch);
        shape.dPix = shape.ch;
    }
    const std::ptrdiff_t stagedStride = static_cast<std::ptrdiff_t>(shape.cols) * shape.ch;
    const std::int64_t bufferCols = std::int64_t{shape.cols} * shape.ch;

    // The source buffer ends with its last plane's last row (or earlier, by
    // its data size).
    const std::int64_t sBytes =
        std::min<std::int64_t>(src->dataSize, imageStride(src) * src->height * planeCount(src));
    const T* sEnd = reinterpret_cast<const T*>(src->imageData) + sBytes / std::int64_t{sizeof(T)};
    auto availFrom = [&](int row) -> std::int64_t {
        return (sEnd - sBase) - std::int64_t{passes - 1} * sPlane - std::int64_t{row} * sStride;
    };

    auto eachPass = [&](auto&& kernel) {
        for (int p = 0; p < passes; ++p) {
            const View<T> v{sBase + p * sPlane, sStride, overlap ? staged : dBase + p * dPlane,
                            overlap ? stagedStride : dStride};
            kernel(v);
        }
    };

    switch (job.interpolate) {
        case VSK_INTER_LINEAR:
            separable<T, LinearPos, LinearColumns, 2>(job, shape, scratch, bufferCols, availFrom,
                                                      eachPass);
            break;
        case VSK_INTER_CUBIC:
            separable<T, CubicPos, CubicColumns, 4>(job, shape, scratch, bufferCols, availFrom,
                                                    eachPass);
            break;
        default: {
            int* xs = scratch.take<int>(shape.cols);
            int* ys = scratch.take<int>(shape.rows);
            if (!scratch.ok()) return;
            nearestPositions(job.ax, xs);
            nearestPositions(job.ay, ys);
            // Whole rows of the selected channels go through the byte shuffles.
            Shuffled shuffled{zoomKernels().nearest, {}};
            const bool shuffle =
                shuffled.row && shape.ch == shape.dPix &&
                nearestColumns(xs, shape, sizeof(T),
                               availFrom(*std::max_element(ys, ys + shape.rows)) * sizeof(T),
                               scratch, &shuffled.columns);
            if (!scratch.ok()) return;
            withChannels(shape.ch, [&](auto ch) {
                eachPass([&](const View<T>& v) {
                    nearestPass<T, decltype(ch)::value>(v, shape, xs, ys,
                                                        shuffle ? &shuffled : nullptr);
                });
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
        for (int i = 0; i < job.d.cols; ++i) putBit(d, job.d.x + i, getBit(s, job.s.x + xs[i]));
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
    job.s = roiCut(src);
    job.d = roiCut(dst);
    job.sc = channelsOf(src, src->nChannels);
    // Deliberately, a destination without ROI takes the source's count.
    job.dc = channelsOf(dst, src->nChannels);
    const bool fromFirst = job.sc.start == 0 && job.dc.start == 0;
    if (fromFirst ? job.sc.count != job.dc.count : (job.sc.count != 1 || job.dc.count != 1))
        return;
    job.d.cols = clampSize(job.d.cols, job.s.cols, xInv);
    job.d.rows = clampSize(job.d.rows, job.s.rows, yInv);
    if (job.d.cols <= 0 || job.d.rows <= 0) return;
    job.interpolate = interpolate;
    // Deliberately no kernel and no report for the other depths.
    dispatchDepth<Depths<Bit, std::uint8_t, std::uint16_t>>(src->depth, [&](auto t) {
        using T = decltype(t);
        // Buffers that no longer match their headers: source rows past the
        // end are not sampled (the last one inside stands in), destination
        // rows past it are not written.
        const bool plane = src->dataOrder == VSK_DATA_ORDER_PLANE;
        const int passes = plane ? std::min(job.sc.count, dst->nChannels - job.dc.start) : 1;
        const int srcRows = rowsInside(src, plane ? job.sc.start + passes - 1 : 0);
        job.d.rows =
            std::min(job.d.rows, rowsInside(dst, plane ? job.dc.start + passes - 1 : 0) - job.d.y);
        if (job.d.rows <= 0 || srcRows <= job.s.y) return;
        job.ax = {job.d.cols, xInv, xStart, job.s.x, src->width};
        job.ay = {job.d.rows, yInv, yStart, job.s.y, srcRows};
        if constexpr (kIsBit<T>)
            zoomBits(src, dst, job);
        else
            zoomSamples<T>(src, dst, job);
    });
}

}  // namespace vsk::zoom
