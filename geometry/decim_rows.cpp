// Decimation rows in plain C++, the vector groups' shuffles, and the choice
// of the table.
#include "decim_rows.hpp"

#include <algorithm>
#include <climits>
#include <cstring>

#include "decim_values.hpp"

namespace vsk::decim {

namespace {

void pickRow8(const std::uint8_t* in, const Columns& c, std::uint8_t* out) {
    pickValues8(in, c, out, 0, c.n);
}
void pickRow16(const std::uint8_t* in, const Columns& c, std::uint16_t* out) {
    pickValues16(in, c, out, 0, c.n);
}
void pickWideRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    pickWideValues8(in, c, h, 0, c.n);
}
void linearRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    linearValues8(in, c, h, 0, c.n);
}
void cubicRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    cubicValues8(in, c, h, 0, c.n);
}
void lerpRows(const std::int16_t* h0, const std::int16_t* h1, int w0, int w1, int bias, int shift,
              std::int64_t n, std::uint8_t* out) {
    lerpValues(h0, h1, w0, w1, bias, shift, 0, n, out);
}
void cubicRows(const std::int16_t* const* h, const int* w, int divisor, std::int64_t n,
               std::uint8_t* out) {
    cubicRowValues(h, w, divisor, 0, n, out);
}

const DecimRows& scalarRows() {
    static const DecimRows rows{false,      pickRow8,  pickRow16, pickWideRow8,
                                linearRow8, cubicRow8, lerpRows,  cubicRows};
    return rows;
}

int kindTaps(GroupKind kind) {
    switch (kind) {
        case GroupKind::Linear8: return 2;
        case GroupKind::Cubic8: return 4;
        default: return 1;
    }
}

}  // namespace

int groupWindows(GroupKind kind) { return kindTaps(kind) > 1 ? 2 : 1; }

int groupBytes(GroupKind kind) {
    const int pairs = kindTaps(kind) / 2;
    return pairs ? pairs * (2 * 16 + 2 * 16) : 2 * 16;
}

void buildGroups(GroupKind kind, int elementBytes, Columns& c, std::int32_t* base,
                 std::uint8_t* data) {
    const int taps = kindTaps(kind), E = elementBytes, size = groupBytes(kind);
    const int windows = groupWindows(kind), span = 32 / windows, per = 8 / windows;
    c.groups = c.n / 8;
    c.base = base;
    c.data = data;
    if (c.groups == 0) return;
    // Bytes [first, end) of value i's taps.
    auto first = [&](std::int64_t i) { return std::int64_t{c.off[i]} * E; };
    auto end = [&](std::int64_t i) {
        return (std::int64_t{c.off[i]} + (taps - 1) * c.tapStep) * E + E;
    };
    std::int64_t rowFirst = first(0), rowEnd = end(0);
    for (std::int64_t i = 1; i < c.n; ++i) {
        rowFirst = std::min(rowFirst, first(i));
        rowEnd = std::max(rowEnd, end(i));
    }
    std::memset(data, 0x80, static_cast<std::size_t>(c.groups * size));
    for (std::int64_t g = 0; g < c.groups; ++g) {
        std::int32_t* b = base + g * windows;
        // Each window [b, b + span) within the row's own span holds the taps
        // of its values.
        bool fits = true;
        for (int w = 0; w < windows; ++w) {
            const std::int64_t from = 8 * g + w * per;
            std::int64_t lo = first(from), hi = end(from);
            for (std::int64_t i = from + 1; i < from + per; ++i) {
                lo = std::min(lo, first(i));
                hi = std::max(hi, end(i));
            }
            const std::int64_t at = std::min(lo, rowEnd - span);
            fits = fits && at >= rowFirst && hi <= at + span && at <= INT32_MAX;
            b[w] = fits ? static_cast<std::int32_t>(at) : -1;
        }
        if (!fits) {
            b[0] = -1;
            continue;
        }
        std::uint8_t* d = data + g * size;
        for (int j = 0; j < 8; ++j) {
            const std::int64_t i = 8 * g + j;
            switch (kind) {
                case GroupKind::Pick8:
                case GroupKind::Pick16:
                    // Byte x of the 32-byte window: mask[x / 16][position].
                    for (int k = 0; k < E; ++k) {
                        const std::int64_t x = first(i) + k - b[0];
                        d[(x >= 16 ? 16 : 0) + E * j + k] = static_cast<std::uint8_t>(x & 15);
                    }
                    break;
                default: {
                    // mask[pair][half][16], then weight[pair][half][8].
                    const int half = j / 4, slot = j % 4;
                    auto* weights = reinterpret_cast<std::int16_t*>(d + (taps / 2) * 32);
                    for (int t = 0; t < taps; ++t) {
                        const int pair = t / 2,
                                  at = (pair * 2 + half) * 16 + 4 * slot + 2 * (t % 2);
                        d[at] = static_cast<std::uint8_t>(first(i) + std::int64_t{t} * c.tapStep -
                                                          b[half]);
                        weights[(pair * 2 + half) * 8 + 2 * slot + t % 2] =
                            static_cast<std::int16_t>(c.weight[t * c.n + i]);
                    }
                }
            }
        }
    }
}

const DecimRows& decimRowsFor(simd::SimdLevel level) {
    using Table = const DecimRows& (*)();
    return simd::pick<Table>({VSK_SIMD_ENTRY(Avx2, decimRowsAvx2),
                              VSK_SIMD_ENTRY(Ssse3, decimRowsSsse3),
                              {simd::SimdLevel::Scalar, scalarRows}},
                             level)();
}

const DecimRows& decimRows() {
    static const DecimRows& rows = decimRowsFor(simd::simdLevel());
    return rows;
}

}  // namespace vsk::decim
