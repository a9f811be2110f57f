// Bounded row access for the colour module's pixel layers: channels as runs
// of values in a buffer, and one per-pixel loop that maps input channels to
// output channels. Every access stays inside the buffer a layer was given;
// pixels whose values would lie past its end are skipped.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "colorwalk.hpp"

namespace vsk::color {

// Marks 1-bit data: values are single bits, the first in the most
// significant bit of a row's first byte.
struct Bit {};

template <class E>
inline constexpr bool kIsBit = std::is_same_v<E, Bit>;

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
    unsigned char* p;
    bool load(std::int64_t k) const { return (p[k >> 3] >> (7 - (k & 7))) & 1; }
    // Set bits are ORed in, clear bits ANDed out.
    void store(std::int64_t k, bool v) const {
        const unsigned mask = 0x80u >> (k & 7);
        p[k >> 3] = static_cast<unsigned char>(v ? p[k >> 3] | mask : p[k >> 3] & ~mask);
    }
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
            return {reinterpret_cast<unsigned char*>(p)};
        else
            return {p, stride};
    }
};

// The per-row loop of mapRows with compile-time pixel strides (0: the runs'
// own). Rows are walked from the last pixel to the first when the buffers
// may overlap, else from the first (the order is then invisible).
template <std::int64_t IS, std::int64_t OS, class S, int NI, class D, int NO, class F>
void mapRowsWith(const Runs<S, NI>& in, const Runs<D, NO>& out, std::int64_t rows,
                 std::int64_t count, F& f) {
    const auto lo = [](const Area& a) { return reinterpret_cast<std::uintptr_t>(a.base); };
    const bool overlap = lo(in.area) < lo(out.area) + static_cast<std::uintptr_t>(out.area.size) &&
                         lo(out.area) < lo(in.area) + static_cast<std::uintptr_t>(in.area.size);
    for (std::int64_t r = 0; r < rows; ++r) {
        const std::int64_t n = std::min(in.fit(r, count), out.fit(r, count));
        if (n <= 0) continue;
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
    }
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

// Truncating conversion of a floating value as the processor performs it:
// toward zero, and INT_MIN for NaN and values out of range.
inline std::int32_t truncInt32(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<std::int32_t>(v);
}

}  // namespace vsk::color
