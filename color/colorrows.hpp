// Rows shared by the colour module's pixel layers: bounded channel runs in
// a buffer, one per-pixel loop that maps input channels to output channels,
// and the layers' common offsets and report site. Every access stays inside
// the buffer a layer was given; pixels whose values would lie past its end
// are skipped.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "bits.hpp"
#include "colorwalk.hpp"
#include "numeric.hpp"

namespace vsk::color {

// The value a pixel layer sees for an element type (bool for bits).
template <class E>
using ValueOf = std::conditional_t<kIsBit<E>, bool, E>;

// Loads and stores values of one channel in one row. Values are moved as
// bytes: a row may start anywhere when a header's widthStep is not a multiple
// of the value size.
template <class E>
struct Access {
    char* p;
    std::int64_t stride;
    E load(std::int64_t k) const {
        E v;
        std::memcpy(&v, p + k * stride * std::int64_t{sizeof(E)}, sizeof v);
        return v;
    }
    void store(std::int64_t k, E v) const { std::memcpy(p + k * stride * std::int64_t{sizeof(E)}, &v, sizeof v); }
};

template <>
struct Access<Bit> {
    std::uint8_t* p;
    bool load(std::int64_t k) const { return getBit(p, k); }
    void store(std::int64_t k, bool v) const { putBit(p, k, v); }
};

// N channels of one buffer. Channel c of row r starts at byte
// off[c] + r * step; its values lie `stride` values apart (bits: 1).
template <class E, int N>
struct Runs {
    Area area;
    std::int64_t off[N];
    std::int64_t step = 0;
    std::int64_t stride = 1;

    // The number of pixels k < count of row r whose values all lie inside
    // the area.
    std::int64_t fit(std::int64_t r, std::int64_t count) const {
        std::int64_t n = count;
        for (int c = 0; c < N; ++c) {
            const std::int64_t start = off[c] + r * step;
            const std::int64_t room = area.size - start;
            if (start < 0 || room <= 0) return 0;
            if constexpr (kIsBit<E>) {
                n = std::min(n, room * 8);
            } else {
                const std::int64_t bytes = sizeof(E);
                if (room < bytes) return 0;
                n = std::min(n, (room - bytes) / (stride * bytes) + 1);
            }
        }
        return std::max<std::int64_t>(n, 0);
    }

    // Channel c of row r; only valid when fit(r, 1) is not 0.
    Access<E> at(int c, std::int64_t r) const {
        char* p = area.base + off[c] + r * step;
        if constexpr (kIsBit<E>)
            return {reinterpret_cast<std::uint8_t*>(p)};
        else
            return {p, stride};
    }
};

// True when every row of the runs starts each channel on a multiple of the
// value size, as the row kernels need; rows of a widthStep that is not a
// multiple of it go value by value as bytes instead.
template <class E, int N>
bool alignedRuns(const Runs<E, N>& runs) {
    if constexpr (kIsBit<E>) {
        return true;
    } else {
        constexpr auto size = static_cast<std::int64_t>(sizeof(E));
        if (runs.step % size != 0) return false;
        const auto base = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(runs.area.base) % size);
        for (int c = 0; c < N; ++c)
            if ((base + runs.off[c]) % size != 0) return false;
        return true;
    }
}

// True when two areas share a byte.
inline bool overlaps(const Area& a, const Area& b) {
    const auto lo = [](const Area& x) { return reinterpret_cast<std::uintptr_t>(x.base); };
    return lo(a) < lo(b) + static_cast<std::uintptr_t>(b.size) &&
           lo(b) < lo(a) + static_cast<std::uintptr_t>(a.size);
}

// Calls row(r, n) for every row r of `rows` rows of `count` pixels that has
// n > 0 pixels whose values all lie inside both areas.
template <class S, int NI, class D, int NO, class F>
void eachRow(const Runs<S, NI>& in, const Runs<D, NO>& out, std::int64_t rows, std::int64_t count,
             F&& row) {
    for (std::int64_t r = 0; r < rows; ++r) {
        const std::int64_t n = std::min(in.fit(r, count), out.fit(r, count));
        if (n > 0) row(r, n);
    }
}

// The per-row loop of mapRows with compile-time pixel strides (0: the runs'
// own). Rows are walked from the last pixel to the first when the buffers
// may overlap, else from the first (the order is then invisible).
template <std::int64_t IS, std::int64_t OS, class S, int NI, class D, int NO, class F>
void mapRowsWith(const Runs<S, NI>& in, const Runs<D, NO>& out, std::int64_t rows,
                 std::int64_t count, F& f) {
    const bool overlap = overlaps(in.area, out.area);
    eachRow(in, out, rows, count, [&](std::int64_t r, std::int64_t n) {
        Access<S> src[NI];
        Access<D> dst[NO];
        for (int c = 0; c < NI; ++c) src[c] = in.at(c, r);
        for (int c = 0; c < NO; ++c) dst[c] = out.at(c, r);
        if constexpr (IS != 0)
            for (Access<S>& a : src) a.stride = IS;
        if constexpr (OS != 0)
            for (Access<D>& a : dst) a.stride = OS;
        auto pixel = [&](std::int64_t k) {
            ValueOf<S> v[NI];
            ValueOf<D> o[NO];
            for (int c = 0; c < NI; ++c) v[c] = src[c].load(k);
            f(v, o);
            for (int c = 0; c < NO; ++c) dst[c].store(k, o[c]);
        };
        if (overlap)
            for (std::int64_t k = n; k-- > 0;) pixel(k);
        else
            for (std::int64_t k = 0; k < n; ++k) pixel(k);
    });
}

// Calls f(in, out) for every pixel of `rows` rows of `count` pixels; f reads
// NI input values and writes NO output values, which are stored in channel
// order. With overlapping buffers the pixels of a row are taken from the
// last to the first.
template <class S, int NI, class D, int NO, class F>
void mapRows(const Runs<S, NI>& in, const Runs<D, NO>& out, std::int64_t rows, std::int64_t count,
             F&& f) {
    if constexpr (!kIsBit<S> && !kIsBit<D>) {
        // Contiguous runs get loops the compiler can vectorise.
        if (in.stride == 1 && out.stride == 1) return mapRowsWith<1, 1>(in, out, rows, count, f);
    }
    mapRowsWith<0, 0>(in, out, rows, count, f);
}

// ---- shared by the pixel layers ------------------------------------------------

// Where a pixel layer reports from.
inline Site pixelSite(const char* func) { return {func, kPixelFile}; }

// Values per destination row: the width, times the channels in pixel order.
inline std::int64_t valuesPerRow(const Block& b) {
    return std::int64_t{b.width} * pixelPitch(b.dst);
}

// Offsets of the first three values of a pixel.
inline void pixelChannels(unsigned depth, std::int64_t off[3]) {
    const std::int64_t bytes = depthBytes(depth);
    off[0] = 0;
    off[1] = bytes;
    off[2] = 2 * bytes;
}

}  // namespace vsk::color
