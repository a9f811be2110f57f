// The colour module's pixel layer, bit reduction: narrowing by a shift that
// keeps the low bits, noise added before it (jitter), and re-quantising with
// error diffusion or an ordered pattern (dithering).
#include "owncolor.hpp"

#include <climits>
#include <cstdlib>
#include <type_traits>

#include "colorrows.hpp"

namespace vsk::color {

namespace {

using std::int32_t;
using std::int64_t;
using std::uint16_t;
using std::uint8_t;

// ---- bit reduction -------------------------------------------------------------

// Lines of a layer's depth-pair faults.
struct DepthFaultLines {
    int from16;  // 16U source, destination not 8U ("errOutDepth")
    int from8;   // 8U source, destination not 1U ("errOutDepth")
    int other;   // any other pair ("errInOutDepth")
};

bool reducible(const VskImage* s, const VskImage* d, const Site& site,
               const DepthFaultLines& lines) {
    const bool pair = s->depth == VSK_16U || s->depth == VSK_8U ||
                      (s->depth == VSK_32S && (d->depth == VSK_16U || d->depth == VSK_8U));
    return !reportFirst(
        site, {{s->depth == VSK_16U && d->depth != VSK_8U, lines.from16, "errOutDepth"},
               {s->depth == VSK_8U && d->depth != VSK_1U, lines.from8, "errOutDepth"},
               {!pair, lines.other, "errInOutDepth"}});
}

// Values per row and planes of a reduction: the destination's.
struct ReduceShape {
    int64_t count;
    int planes;
};
ReduceShape reduceShape(const Block& b) {
    return {valuesPerRow(b), planeCount(b.dst)};
}

// v >> shift with the low bits kept (32S to 16U: 15, to 8U: 23; 16U to 8U:
// 8); 8U to 1U: a bit set when v > 127, reading every srcStride-th value.
template <class S, class D>
void reduceRows(const Block& b, int64_t srcStride) {
    ReduceShape shape = reduceShape(b);
    int64_t rows = b.rows;
    if constexpr (!kIsBit<D>) {
        // Unpadded rows and planes are one run of values.
        if (shape.count * int64_t{sizeof(S)} == b.srcStep &&
            shape.count * int64_t{sizeof(D)} == b.dstStep) {
            shape.count *= rows * shape.planes;
            rows = 1;
            shape.planes = 1;
        }
    }
    constexpr int shift = kIsBit<D> ? 0 : std::is_same_v<S, int32_t> ? 31 - 8 * int{sizeof(D)} : 8;
    for (int p = 0; p < shape.planes; ++p) {
        const Runs<S, 1> in{b.srcData, {planeOffset(p, b.srcStep, b.rows)}, b.srcStep, srcStride};
        const Runs<D, 1> out{b.dstData, {planeOffset(p, b.dstStep, b.rows)}, b.dstStep};
        mapRows(in, out, rows, shape.count, [](const S(&v)[1], ValueOf<D>(&o)[1]) {
            if constexpr (kIsBit<D>)
                o[0] = v[0] > 127;
            else
                o[0] = static_cast<D>(int32_t{v[0]} >> shift);
        });
    }
}

// Runs the reduction of a checked depth pair: 32S to 16U or 8U, 16U to 8U,
// 8U to 1U.
void reduceBlock(const Block& b, int64_t bitStride) {
    const unsigned d = b.dst->depth;
    dispatchDepth<Depths<uint8_t, uint16_t, int32_t>>(b.src->depth, [&](auto t) {
        using S = decltype(t);
        if constexpr (std::is_same_v<S, uint8_t>) {
            reduceRows<S, Bit>(b, bitStride);
        } else if constexpr (std::is_same_v<S, int32_t>) {
            if (d == VSK_16U)
                reduceRows<S, uint16_t>(b, 1);
            else
                reduceRows<S, uint8_t>(b, 1);
        } else {
            reduceRows<S, uint8_t>(b, 1);
        }
    });
}

// ---- jitter ----------------------------------------------------------------------

// How noise treats the values of one depth pair.
struct JitterRule {
    int64_t limit;      // values at or above are left alone
    int64_t step;       // one noise unit
    int64_t low, high;  // the perturbed value is stored only inside [low, high]
    bool roundUp;       // values with a small remainder first move up one step
};

const JitterRule kJitter8{239, 16, 0, 255, true};
// A 16-bit result below zero is stored too, wrapping.
const JitterRule kJitter16{65279, 256, INT64_MIN, 65535, true};
// Deliberately the round-up never happens for 32-bit sources; a result that
// leaves the non-negative 32-bit range is not stored.
const JitterRule kJitter32To16{0x7FFEFFFF, 65536, 0, INT32_MAX, false};
const JitterRule kJitter32To8{0x7EFFFFFF, 1 << 24, 0, INT32_MAX, false};

// Perturbs one value at column j of row i by amplitude a.
template <class S>
void jitterNoise(S* value, const JitterTables& tables, const JitterRule& rule, int a, int64_t j,
                 int64_t i) {
    int64_t v = *value;
    if (v >= rule.limit) return;
    const auto uj = static_cast<std::uint64_t>(j), ui = static_cast<std::uint64_t>(i);
    if (rule.roundUp) {
        const int t =
            static_cast<int>(9.0 * tables.uniform[(uj + 4 * ui + tables.offset[uj & 1023]) & 1023]);
        if ((v & (rule.step - 1)) <= t) {
            v += rule.step;
            *value = static_cast<S>(v);
        }
    }
    const int64_t n = static_cast<int64_t>(
        2 * a * tables.uniform[(ui + 4 * uj + tables.offset[ui & 1023]) & 1023] + 0.5);
    const int64_t w = v + (n - a) * rule.step;
    if (w >= rule.low && w <= rule.high) *value = static_cast<S>(w);
}

// Adds noise to every source value that the reduction reads; the row index
// restarts in every plane.
template <class S>
void jitterRows(const Block& b, const JitterTables& tables, const JitterRule& rule,
                int amplitude) {
    const ReduceShape shape = reduceShape(b);
    for (int p = 0; p < shape.planes; ++p) {
        const Runs<S, 1> in{b.srcData, {planeOffset(p, b.srcStep, b.rows)}, b.srcStep};
        for (int64_t i = 0; i < b.rows; ++i) {
            const int64_t n = in.fit(i, shape.count);
            if (n <= 0) continue;
            // The source block is the walk's own aligned copy.
            S* row = reinterpret_cast<S*>(in.at(0, i).p);
            for (int64_t j = 0; j < n; ++j) jitterNoise(row + j, tables, rule, amplitude, j, i);
        }
    }
}

// ---- dithering ---------------------------------------------------------------------

// Weights of the matrix filters: the two right neighbours, then five values
// (x-2 .. x+2) of the next row and five of the row after.
const int kJarvis8[12] = {37, 26, 15, 26, 37, 26, 15, 5, 15, 26, 15, 5};
const int kJarvis16[12] = {9557, 6826, 4095, 6826, 9557, 6826, 4095, 1365, 4095, 6826, 4095, 1365};
const int kStucki8[12] = {48, 24, 12, 24, 48, 24, 12, 6, 12, 24, 12, 6};
const int kStucki16[12] = {12482, 6241, 3120, 6241, 12482, 6241,
                           3120,  1560, 3120, 6241, 3120,  1560};
const int kOrdered8[16] = {0, 120, 30, 150, 180, 60, 210, 90, 45, 165, 15, 135, 225, 105, 195, 75};
const int kOrdered16[16] = {0 * 257,   120 * 257, 30 * 257,  150 * 257, 180 * 257, 60 * 257,
                            210 * 257, 90 * 257,  45 * 257,  165 * 257, 15 * 257,  135 * 257,
                            225 * 257, 105 * 257, 195 * 257, 75 * 257};

// The multiple of q nearest to v; a remainder of exactly q >> 1 rounds down.
int ditherQuantize(int v, int q) {
    const int base = q * (v / q);
    return v - base > (q >> 1) ? base + q : base;
}

// Rounds up only where the remainder exceeds the pattern's threshold; the
// result keeps its low 8 bits (deliberately also for 16-bit data).
int ditherOrdered(int v, int64_t x, int64_t y, int q, const int* pattern) {
    const int base = q * (v / q);
    const bool up = v - base > int64_t{pattern[(y & 3) + 4 * (x & 3)]} * q;
    return (up ? base + q : base) & 0xFF;
}

// The values of up to three channel slots of a rectangle, with the errors of
// the pixel quantised last. Checked access skips values outside the area.
template <class T, bool Checked>
struct DitherPixels {
    using Value = T;
    Area area;
    int64_t off[3];
    int slots;
    int64_t step;
    int q;
    int e[3] = {0, 0, 0};

    // The value's bytes, or null outside the area (checked access). Values
    // are moved as bytes: rows may start anywhere when a header's widthStep
    // is not a multiple of the value size.
    char* at(int c, int64_t y, int64_t x) const {
        const int64_t o = off[c] + y * step + x * int64_t{sizeof(T)};
        if constexpr (Checked)
            if (o < 0 || o > area.size - int64_t{sizeof(T)}) return nullptr;
        return area.base + o;
    }
    static T get(const char* p) {
        T v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    static void put(char* p, T v) { std::memcpy(p, &v, sizeof v); }
    // Quantises the value of every slot at (x, y), keeping the errors.
    void quantise(int64_t y, int64_t x) {
        for (int c = 0; c < slots; ++c) {
            char* p = at(c, y, x);
            if (!p) {
                e[c] = 0;
                continue;
            }
            const int old = get(p);
            const int v = ditherQuantize(old, q);
            put(p, static_cast<T>(v));
            e[c] = old - v;
        }
    }
    // Adds (weight x error) >> shift to every slot's value at (x, y),
    // wrapping at the value width.
    void spread(int64_t y, int64_t x, int weight, int shift) {
        for (int c = 0; c < slots; ++c)
            if (char* p = at(c, y, x)) put(p, static_cast<T>(get(p) + ((weight * e[c]) >> shift)));
    }
};

// Floyd-Steinberg; x + 1 is the next value in memory, deliberately, and the
// shifts round toward minus infinity.
template <class P>
void floydSteinberg(P& px, int64_t width, int64_t height, int64_t s) {
    for (int64_t y = 0; y + 1 < height; ++y) {
        int64_t x = 0;
        for (; x < width - 1; x += s) {
            px.quantise(y, x);
            px.spread(y, x + 1, 7, 4);
            px.spread(y + 1, x + 1, 1, 4);
            px.spread(y + 1, x, 5, 4);
            if (x > 0) px.spread(y + 1, x - 1, 3, 4);
        }
        // The last column diffuses downwards only.
        px.quantise(y, x);
        px.spread(y + 1, x, 5, 4);
        if (x > 0) px.spread(y + 1, x - 1, 3, 4);
    }
    // The last row diffuses to the right only; all of it is quantised.
    const int64_t y = height - 1;
    for (int64_t x = 0; x < width; x += s) {
        px.quantise(y, x);
        if (x + 1 < width) px.spread(y, x + 1, 7, 4);
    }
}

// Jarvis-Judice-Ninke and Stucki: products are added unscaled, and near the
// left edge the weights are taken from the start of each row's five
// (deliberately misaligned).
template <class P>
void matrixFilter(P& px, int64_t width, int64_t height, int64_t s, const int* w) {
    for (int64_t y = 0; y < height; ++y) {
        for (int64_t x = 0; x < width; x += s) {
            px.quantise(y, x);
            const int64_t r = width - x > 3 ? 2 : width - x - 1;
            const int64_t l = x > 1 ? 2 : x;
            for (int64_t k = 0; k < r; ++k) px.spread(y, x + 1 + k, w[k], 0);
            if (y + 1 < height)
                for (int64_t k = 0; k <= r + l; ++k) px.spread(y + 1, x - l + k, w[2 + k], 0);
            if (y + 2 < height)
                for (int64_t k = 0; k <= r + l; ++k) px.spread(y + 2, x - l + k, w[7 + k], 0);
        }
    }
}

template <class P>
void orderedDither(P& px, int64_t width, int64_t height, int64_t s, const int* pattern) {
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; x += s)
            for (int c = 0; c < px.slots; ++c)
                if (char* p = px.at(c, y, x))
                    px.put(p, static_cast<typename P::Value>(ditherOrdered(px.get(p), x, y, px.q, pattern)));
}

template <class T, bool Checked>
void ditherKernel(DitherPixels<T, Checked> px, int ditherType, int64_t width, int64_t height,
                  int64_t s) {
    constexpr bool wide = sizeof(T) == 2;
    switch (ditherType) {
        case 2:
            floydSteinberg(px, width, height, s);
            break;
        case 4:
            matrixFilter(px, width, height, s, wide ? kJarvis16 : kJarvis8);
            break;
        case 8:
            matrixFilter(px, width, height, s, wide ? kStucki16 : kStucki8);
            break;
        default:
            orderedDither(px, width, height, s, wide ? kOrdered16 : kOrdered8);
            break;
    }
}

template <class T>
void ditherRect(Area data, const int64_t off[3], int slots, int64_t step, int q, int ditherType,
                int64_t width, int64_t height, int64_t s) {
    // The farthest value any kernel touches in a row is the last column's,
    // at most width + s - 2.
    bool inside = true;
    for (int c = 0; c < slots; ++c) {
        const int64_t end = off[c] + (height - 1) * step + (width + s - 1) * int64_t{sizeof(T)};
        inside = inside && off[c] >= 0 && end <= data.size;
    }
    if (inside)
        ditherKernel(DitherPixels<T, false>{data, {off[0], off[1], off[2]}, slots, step, q},
                     ditherType, width, height, s);
    else
        ditherKernel(DitherPixels<T, true>{data, {off[0], off[1], off[2]}, slots, step, q},
                     ditherType, width, height, s);
}

}  // namespace

void ownReduceBits(const Block& b) {
    if (!reducible(b.src, b.dst, pixelSite("ownReduceBits"), {150, 181, 198})) return;
    // 8U to 1U deliberately reads every nChannels-th value of a pixel-order
    // source.
    const int64_t stride = pixelPitch(b.src);
    reduceBlock(b, stride);
}

void jitterFillTables(JitterTables& tables) {
    for (double& u : tables.uniform) u = (std::rand() % 1024) * 0.0009765625;
    // A second table of the same kind is never read; its draws still advance
    // the sequence.
    for (int k = 0; k < 1024; ++k) (void)std::rand();
    for (int& o : tables.offset) o = std::rand() % 1024;
}

void ownjitter_rect(const Block& b, int jitterType, const JitterTables& tables) {
    if (!reducible(b.src, b.dst, pixelSite("ownjitter_rect"), {170, 187, 204})) return;
    dispatchDepth<Depths<uint8_t, uint16_t, int32_t>>(b.src->depth, [&](auto t) {
        using S = decltype(t);
        const JitterRule& rule = sizeof(S) == 1   ? kJitter8
                                 : sizeof(S) == 2 ? kJitter16
                                 : b.dst->depth == VSK_16U ? kJitter32To16
                                                           : kJitter32To8;
        jitterRows<S>(b, tables, rule, jitterType);
    });
    reduceBlock(b, 1);
}

void own_dither_rect(const VskImage* image, int ditherType, Area data, int width, int height,
                     std::int64_t step, int levels) {
    const bool grey = image->channelSeq[0] == 'G';
    if (reportFirst(pixelSite("own_dither_rect"),
                    {{image->depth != VSK_8U && image->depth != VSK_16U, 316, "errInDepth"},
                     {ditherType != 2 && ditherType != 4 && ditherType != 8 && ditherType != 16,
                      grey ? 385 : 320, "errDitherOption"}}))
        return;
    int q = (image->depth == VSK_8U ? 255 : 65535) >> levels;
    if (q == 0) q = 1;
    const int64_t s = pixelPitch(image);
    int64_t off[3] = {0, 0, 0};
    // Colour data: the grey rule applies to the red, green and blue slots in
    // lock-step.
    if (!grey && !colorPlanePointers(image, step, height, "RGB", off)) return;
    const int slots = grey ? 1 : 3;
    dispatchDepth<Depths<uint8_t, uint16_t>>(image->depth, [&](auto t) {
        ditherRect<decltype(t)>(data, off, slots, step, q, ditherType, width, height, s);
    });
}

}  // namespace vsk::color
