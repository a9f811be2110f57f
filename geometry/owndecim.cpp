// Decimation kernels: nearest-neighbour picks of 8- and 16-bit elements, the
// bit kernel, and the linear and cubic fixed-point kernels in their two-axis,
// horizontal-only and vertical-only variants.
//
// The interpolating kernels are separable: each source row a destination row
// reads is first reduced horizontally (kept while later rows still use it),
// then the rows are combined vertically. That is exactly the order in which
// the fixed-point formulas evaluate, so the split changes no result.
#include <algorithm>
#include <cstring>
#include <limits>

#include "decimate.hpp"

namespace vsk::decim {

namespace {

// Linear: value = p0 (256 - f) + p1 f along an axis; both axes give the
// weighted sum over 65536, one axis over 256, each rounded half up. At most
// 65535 * 65536, so unsigned 32 bits hold it at 16 bits too.
struct Linear {
    static constexpr int taps = 2;
    using Acc = std::uint32_t;
    template <class>
    using Wide = std::uint32_t;

    template <class W, class P>
    static W along(const P (&p)[2], const int* f) {
        return static_cast<W>(p[0]) * static_cast<W>(256 - f[0]) +
               static_cast<W>(p[1]) * static_cast<W>(f[0]);
    }
    template <class T, bool twoAxes, class W>
    static T finish(W v) {
        constexpr int shift = twoAxes ? 15 : 7;
        return static_cast<T>(((v >> shift) + 1) >> 1);
    }
};

// Cubic: six times the cubic through the samples at offsets -1, 0, 1, 2 along
// an axis (f2 = f*f >> 8, f3 = f*f*f >> 16); both axes give 36 times the
// value, one axis 6 times, divided truncating toward zero and clamped.
struct Cubic {
    static constexpr int taps = 4;
    using Acc = std::int32_t;
    // 36 times a 16-bit value with its overshoot needs more than 32 bits.
    template <class T>
    using Wide = std::conditional_t<sizeof(T) == 1, std::int32_t, std::int64_t>;

    template <class W, class P>
    static W along(const P (&p)[4], const int* f) {
        const W p0 = p[0], p1 = p[1], p2 = p[2], p3 = p[3];
        return 6 * p1 + ((f[1] * (3 * p0 - 6 * p1 + 3 * p2) + f[2] * (3 * p1 - p0 - 3 * p2 + p3) +
                          f[0] * (-2 * p0 - 3 * p1 + 6 * p2 - p3)) >>
                         8);
    }
    template <class T, bool twoAxes, class W>
    static T finish(W v) {
        constexpr W divisor = twoAxes ? 36 : 6;
        const W q = v / divisor;
        return static_cast<T>(std::clamp<W>(q, 0, std::numeric_limits<T>::max()));
    }
};

// Keeps the horizontal results of the last few source rows. `need` lists the
// source rows of one destination row (ascending, repeats allowed at the
// edges); rows already kept are reused, the others are reduced into slots
// that no needed row holds.
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
            for (int u = 0; u < t; ++u)
                if (need[u] == need[t]) slot[t] = slot[u];
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

// Linear and cubic: H and V say whether the columns and the rows are
// interpolated (the other axis, if any, is picked).
template <class T, class M, bool H, bool V>
void interpolateKernel(const KernelRun& r) {
    constexpr int TH = H ? M::taps : 1;
    constexpr int TV = V ? M::taps : 1;
    using Acc = typename M::Acc;
    using W = typename M::template Wide<T>;
    const int nc = r.channels;
    const std::int64_t length = std::int64_t{r.cols} * nc;

    for (int p = 0; p < r.planes; ++p) {
        // One source row reduced along the columns, all channels interleaved.
        auto reduce = [&](int row, Acc* h) {
            const T* in = srcRow<T>(r, p, row);
            for (int k = 0; k < r.cols; ++k) {
                const int* off = r.colIdx + k * TH;
                for (int c = 0; c < nc; ++c) {
                    if constexpr (H) {
                        T v[TH];
                        for (int t = 0; t < TH; ++t) v[t] = in[off[t] + c];
                        h[k * nc + c] = M::template along<Acc>(v, r.colFrac + 3 * k);
                    } else {
                        h[k * nc + c] = in[off[0] + c];
                    }
                }
            }
        };
        RowCache<TV, Acc> cache(static_cast<Acc*>(r.work), length);
        for (int y = 0; y < r.rows; ++y) {
            const Acc* h[TV];
            cache.fetch(r.rowIdx + y * TV, h, reduce);
            T* out = dstRow<T>(r, p, y);
            const int* fy = r.rowFrac + 3 * y;
            for (int k = 0; k < r.cols; ++k)
                for (int c = 0; c < nc; ++c) {
                    const std::int64_t i = std::int64_t{k} * nc + c;
                    W v;
                    if constexpr (V) {
                        Acc col[TV];
                        for (int t = 0; t < TV; ++t) col[t] = h[t][i];
                        v = M::template along<W>(col, fy);
                    } else {
                        v = h[0][i];
                    }
                    out[k * r.dstPixel + c] = M::template finish<T, H && V>(v);
                }
        }
    }
}

// Nearest neighbour on 8- and 16-bit elements.
template <class T>
void pickKernel(const KernelRun& r) {
    for (int p = 0; p < r.planes; ++p)
        for (int y = 0; y < r.rows; ++y) {
            const T* in = srcRow<T>(r, p, r.rowIdx[y]);
            T* out = dstRow<T>(r, p, y);
            if (r.channels == 1) {
                for (int k = 0; k < r.cols; ++k) out[k * r.dstPixel] = in[r.colIdx[k]];
                continue;
            }
            for (int k = 0; k < r.cols; ++k)
                for (int c = 0; c < r.channels; ++c)
                    out[k * r.dstPixel + c] = in[r.colIdx[k] + c];
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
            const int x = r.colIdx[k];
            const unsigned b = (in[x >> 3] >> (7 - (x & 7))) & 1u;
            bits |= b << (7 - pos);
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
    if (h && v) return interpolateKernel<T, M, true, true>;
    return h ? interpolateKernel<T, M, true, false> : interpolateKernel<T, M, false, true>;
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
    switch (depth) {
        case VSK_1U: return {bitKernel, false};
        case VSK_8U: return elementKernel<std::uint8_t>(method, hInterp, vInterp);
        case VSK_16U: return elementKernel<std::uint16_t>(method, hInterp, vInterp);
        default: return {};
    }
}

}  // namespace vsk::decim
