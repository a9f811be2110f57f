// Decimation kernels: nearest-neighbour picks of 8- and 16-bit elements, the
// bit kernel, and the linear and cubic fixed-point kernels in their two-axis,
// horizontal-only and vertical-only variants.
//
// The interpolating kernels are separable: each source row a destination row
// reads is first reduced horizontally (kept while later rows still use it),
// then the rows are combined vertically. That is the order in which the
// fixed-point formulas evaluate, so the split changes no result. 8-bit rows
// and the picks go through the row functions of decim_rows.hpp (vector
// kernels where the processor has them); 16-bit interpolation stays here.
#include <algorithm>
#include <limits>

#include "bits.hpp"
#include "decim_rows.hpp"
#include "decimate.hpp"
#include "numeric.hpp"

namespace vsk::decim {

void tapWeights(int taps, int f, int* w) {
    if (taps == 2) {
        // Linear: p0 (256 - f) + p1 f.
        w[0] = 256 - f;
        w[1] = f;
        return;
    }
    // Cubic: 6 p1 + ((f2 (3p0 - 6p1 + 3p2) + f3 (3p1 - p0 - 3p2 + p3) + f (-2p0 - 3p1 + 6p2 - p3)) >> 8),
    // six times the cubic through the samples at offsets -1, 0, 1, 2, gathered
    // by sample; 6 p1 joins the sum as 1536 p1, which the shift gives back whole.
    const int f2 = (f * f) >> 8, f3 = (f * f * f) >> 16;
    w[0] = 3 * f2 - f3 - 2 * f;
    w[1] = 1536 - 6 * f2 + 3 * f3 - 3 * f;
    w[2] = 3 * f2 - 3 * f3 + 6 * f;
    w[3] = f3 - f;
}

namespace {

// Linear: the weighted sum along an axis; both axes give the sum over 65536,
// one axis over 256, each rounded half up. At most 65535 * 65536, so unsigned
// 32 bits hold it at 16 bits too.
struct Linear {
    static constexpr int taps = 2;
    using Acc = std::uint32_t;
    template <class>
    using Wide = std::uint32_t;

    template <class W>
    static W along(W sum) {
        return sum;
    }
    template <class T, bool twoAxes, class W>
    static T finish(W v) {
        constexpr int shift = twoAxes ? 15 : 7;
        return static_cast<T>(((v >> shift) + 1) >> 1);
    }
};

// Cubic: six times the value along an axis; both axes give 36 times the
// value, one axis 6 times, divided truncating toward zero and clamped.
struct Cubic {
    static constexpr int taps = 4;
    using Acc = std::int32_t;
    // 36 times a 16-bit value with its overshoot needs more than 32 bits.
    template <class T>
    using Wide = std::conditional_t<sizeof(T) == 1, std::int32_t, std::int64_t>;

    template <class W>
    static W along(W sum) {
        return sum >> 8;
    }
    template <class T, bool twoAxes, class W>
    static T finish(W v) {
        constexpr W divisor = twoAxes ? 36 : 6;
        return saturate<T>(v / divisor);
    }
};

// Keeps the horizontal results of the last few source rows. Each destination
// row reads N distinct rows, ascending; rows already kept are reused, the
// others are reduced into slots that no needed row holds.
template <int N, class Acc>
class RowCache {
public:
    RowCache(Acc* store, std::int64_t length) : store_(store), length_(length) {
        std::fill(rows_, rows_ + N, -1);
    }

    template <class Reduce>
    void fetch(const int* need, const Acc* (&out)[N], Reduce&& reduce) {
        bool kept[N] = {};
        int slot[N];
        for (int t = 0; t < N; ++t) {
            slot[t] = -1;
            for (int s = 0; s < N; ++s)
                if (rows_[s] == need[t]) {
                    slot[t] = s;
                    kept[s] = true;
                }
        }
        for (int t = 0; t < N; ++t) {
            if (slot[t] >= 0) continue;
            int s = 0;
            while (kept[s]) ++s;
            kept[s] = true;
            rows_[s] = need[t];
            reduce(need[t], store_ + s * length_);
            slot[t] = s;
        }
        for (int t = 0; t < N; ++t) out[t] = store_ + slot[t] * length_;
    }

private:
    Acc* store_;
    std::int64_t length_;
    int rows_[N];
};

template <class T>
const T* srcRow(const KernelRun& r, int plane, int row) {
    return reinterpret_cast<const T*>(r.src.base + plane * r.src.planeStride +
                                      row * r.src.rowStride);
}
template <class T>
T* dstRow(const KernelRun& r, int plane, int row) {
    return reinterpret_cast<T*>(r.dst.base + plane * r.dst.planeStride + row * r.dst.rowStride);
}

// Stores the values of one destination row: straight when the processed
// channels fill each pixel, else pixel by pixel.
template <class T, class Value>
void storeRow(const KernelRun& r, T* out, Value&& value) {
    const int nc = r.channels;
    if (r.dstPixel == nc) {
        const std::int64_t n = std::int64_t{r.cols} * nc;
        for (std::int64_t i = 0; i < n; ++i) out[i] = value(i);
        return;
    }
    for (int k = 0; k < r.cols; ++k)
        for (int c = 0; c < nc; ++c) out[k * r.dstPixel + c] = value(std::int64_t{k} * nc + c);
}

// Linear and cubic: H and V say whether the columns and the rows are
// interpolated (the other axis, if any, is picked).
template <class T, class M, bool H, bool V>
void interpolateKernel(const KernelRun& r) {
    constexpr int TH = H ? M::taps : 1;
    constexpr int TV = V ? M::taps : 1;
    using Acc = typename M::Acc;
    using W = typename M::template Wide<T>;
    const std::int64_t n = std::int64_t{r.cols} * r.channels;
    const int step = r.tapStep;

    for (int p = 0; p < r.planes; ++p) {
        // One source row reduced along the columns.
        auto reduce = [&](int row, Acc* h) {
            const T* in = srcRow<T>(r, p, row);
            for (std::int64_t i = 0; i < n; ++i) {
                const T* q = in + r.colOff[i];
                if constexpr (H) {
                    Acc sum = 0;
                    for (int t = 0; t < TH; ++t)
                        sum += static_cast<Acc>(r.colWeight[t * n + i]) * static_cast<Acc>(q[t * step]);
                    h[i] = M::along(sum);
                } else {
                    h[i] = q[0];
                }
            }
        };
        RowCache<TV, Acc> cache(static_cast<Acc*>(r.work), n);
        for (int y = 0; y < r.rows; ++y) {
            const Acc* h[TV];
            cache.fetch(r.rowIdx + y * TV, h, reduce);
            W w[TV];
            for (int t = 0; t < TV; ++t) w[t] = static_cast<W>(r.rowWeight[y * TV + t]);
            storeRow(r, dstRow<T>(r, p, y), [&](std::int64_t i) {
                if constexpr (V) {
                    W sum = 0;
                    for (int t = 0; t < TV; ++t) sum += w[t] * static_cast<W>(h[t][i]);
                    return M::template finish<T, H && V>(M::along(sum));
                } else {
                    return M::template finish<T, H && V>(static_cast<W>(h[0][i]));
                }
            });
        }
    }
}

// A run's columns for the row functions, with the vector groups when the
// table uses them; without memory for the groups the rows go value by value,
// with the same results.
class RunColumns {
public:
    RunColumns(const KernelRun& r, int taps, GroupKind kind, int elementBytes) {
        c_.off = r.colOff;
        c_.weight = r.colWeight;
        c_.n = std::int64_t{r.cols} * r.channels;
        c_.taps = taps;
        c_.tapStep = r.tapStep;
        const std::int64_t groups = c_.n / 8;
        const std::int64_t windows = groups * groupWindows(kind);
        const std::int64_t bytes = windows * 4 + groups * groupBytes(kind);
        if (!decimRows().groups || groups == 0 || !fitsInt(bytes)) return;
        memory_ = static_cast<std::uint8_t*>(vskAllocAligned(static_cast<int>(bytes)));
        if (memory_)
            buildGroups(kind, elementBytes, c_, reinterpret_cast<std::int32_t*>(memory_),
                        memory_ + windows * 4);
    }
    ~RunColumns() { vskFreeAligned(memory_); }
    RunColumns(const RunColumns&) = delete;
    RunColumns& operator=(const RunColumns&) = delete;

    const Columns& get() const { return c_; }

private:
    Columns c_;
    std::uint8_t* memory_ = nullptr;
};

// Linear and cubic on 8-bit data through the row functions: the horizontal
// results are kept as 16-bit rows (see decim_rows.hpp), the vertical pass
// writes whole destination rows.
template <class M, bool H, bool V>
void interpolate8(const KernelRun& r) {
    constexpr int TH = H ? M::taps : 1;
    constexpr int TV = V ? M::taps : 1;
    constexpr bool cubic = M::taps == 4;
    const DecimRows& rows = decimRows();
    const RunColumns columns(r, TH,
                             !H      ? GroupKind::Pick8
                             : cubic ? GroupKind::Cubic8
                                     : GroupKind::Linear8,
                             1);
    const Columns& c = columns.get();
    const std::int64_t n = c.n;
    // The work area holds TV rows of n 32-bit values: the 16-bit rows fill
    // its first half, a destination row of scattered channels the rest.
    auto* work = static_cast<std::int16_t*>(r.work);
    auto* staged = reinterpret_cast<std::uint8_t*>(work + TV * n);
    const bool whole = r.dstPixel == r.channels;

    for (int p = 0; p < r.planes; ++p) {
        auto reduce = [&](int row, std::int16_t* h) {
            const auto* in = srcRow<std::uint8_t>(r, p, row);
            if constexpr (!H)
                rows.pickWide8(in, c, h);
            else if constexpr (cubic)
                rows.cubic8(in, c, h);
            else
                rows.linear8(in, c, h);
        };
        RowCache<TV, std::int16_t> cache(work, n);
        for (int y = 0; y < r.rows; ++y) {
            const std::int16_t* h[TV];
            cache.fetch(r.rowIdx + y * TV, h, reduce);
            const int* w = r.rowWeight + y * TV;
            std::uint8_t* out = whole ? dstRow<std::uint8_t>(r, p, y) : staged;
            if constexpr (cubic && V) {
                rows.cubic(h, w, H ? 36 : 6, n, out);
            } else if constexpr (cubic) {
                // One row: its value itself, divided by 6.
                const std::int16_t* one[4] = {h[0], h[0], h[0], h[0]};
                const int unit[4] = {256, 0, 0, 0};
                rows.cubic(one, unit, 6, n, out);
            } else if constexpr (V) {
                // Two axes: the horizontal sums are h + 32768, the whole sum is over 65536.
                rows.lerp(h[0], h[1], w[0], w[1], H ? 32768 : 0, H ? 16 : 8, n, out);
            } else {
                rows.lerp(h[0], h[0], 1, 0, 32768, 8, n, out);
            }
            if (!whole)
                storeRow(r, dstRow<std::uint8_t>(r, p, y),
                         [&](std::int64_t i) { return staged[i]; });
        }
    }
}

// Nearest neighbour on 8- and 16-bit elements; whole destination rows
// through the row functions.
template <class T>
void pickKernel(const KernelRun& r) {
    if (r.dstPixel != r.channels) {
        for (int p = 0; p < r.planes; ++p)
            for (int y = 0; y < r.rows; ++y) {
                const T* in = srcRow<T>(r, p, r.rowIdx[y]);
                storeRow(r, dstRow<T>(r, p, y), [&](std::int64_t i) { return in[r.colOff[i]]; });
            }
        return;
    }
    const DecimRows& rows = decimRows();
    constexpr bool bytes = sizeof(T) == 1;
    const RunColumns columns(r, 1, bytes ? GroupKind::Pick8 : GroupKind::Pick16, sizeof(T));
    const Columns& c = columns.get();
    for (int p = 0; p < r.planes; ++p)
        for (int y = 0; y < r.rows; ++y) {
            const auto* in = reinterpret_cast<const std::uint8_t*>(srcRow<T>(r, p, r.rowIdx[y]));
            if constexpr (bytes)
                rows.pick8(in, c, dstRow<std::uint8_t>(r, p, y));
            else
                rows.pick16(in, c, dstRow<std::uint16_t>(r, p, y));
        }
}

// Nearest neighbour on bits, most significant bit first; destination bytes
// are assembled whole and merged with the bits outside the run.
void bitKernel(const KernelRun& r) {
    for (int y = 0; y < r.rows; ++y) {
        const auto* in = reinterpret_cast<const unsigned char*>(srcRow<char>(r, 0, r.rowIdx[y]));
        auto* out = reinterpret_cast<unsigned char*>(dstRow<char>(r, 0, y)) + (r.dst.bit >> 3);
        int pos = r.dst.bit & 7;
        unsigned bits = 0, mask = 0;
        for (int k = 0; k < r.cols; ++k) {
            const int x = r.colOff[k];
            if (getBit(in, x)) bits |= bitMask(pos);
            mask |= 1u << (7 - pos);
            if (++pos == 8) {
                *out = static_cast<unsigned char>((*out & ~mask) | bits);
                ++out;
                pos = 0;
                bits = mask = 0;
            }
        }
        if (mask) *out = static_cast<unsigned char>((*out & ~mask) | bits);
    }
}

template <class T, class M>
Kernel interpolating(bool h, bool v) {
    if constexpr (sizeof(T) == 1) {
        if (h && v) return interpolate8<M, true, true>;
        return h ? interpolate8<M, true, false> : interpolate8<M, false, true>;
    } else {
        if (h && v) return interpolateKernel<T, M, true, true>;
        return h ? interpolateKernel<T, M, true, false> : interpolateKernel<T, M, false, true>;
    }
}

template <class T>
KernelEntry elementKernel(Method method, bool h, bool v) {
    switch (method) {
        case Method::Linear: return {interpolating<T, Linear>(h, v), true};
        case Method::Cubic: return {interpolating<T, Cubic>(h, v), true};
        default: return {pickKernel<T>, false};
    }
}

}  // namespace

KernelEntry selectKernel(unsigned depth, Method method, bool hInterp, bool vInterp) {
    KernelEntry entry;
    dispatchDepth<Depths<Bit, std::uint8_t, std::uint16_t>>(depth, [&](auto t) {
        using T = decltype(t);
        if constexpr (kIsBit<T>)
            entry = {bitKernel, false};
        else
            entry = elementKernel<T>(method, hInterp, vInterp);
    });
    return entry;
}

}  // namespace vsk::decim
