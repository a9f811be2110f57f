// The colour module's pixel layer: colour to grey and back, bit reduction
// with jitter and dithering, and the HSV and HLS conversions. Results narrow
// by keeping their low bits; floating values are truncated.
#include "owncolor.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "colorrows.hpp"

namespace vsk::color {

namespace {

using std::int32_t;
using std::int64_t;
using std::uint16_t;
using std::uint8_t;

Site pixelSite(const char* func) { return {func, kPixelFile}; }

int64_t valuesPerRow(const Block& b) {
    return int64_t{b.width} * (b.dst->dataOrder == VSK_DATA_ORDER_PIXEL ? b.dst->nChannels : 1);
}

// Offsets of the first three values of a pixel.
void pixelChannels(unsigned depth, int64_t off[3]) {
    const int64_t bytes = depthBytes(depth);
    off[0] = 0;
    off[1] = bytes;
    off[2] = 2 * bytes;
}

// ---- colour to grey ----------------------------------------------------------

// How one block is read: the three colour channels, their pixel stride, the
// weights in channel order, and the rows and values per row to write.
struct GrayPlan {
    int64_t off[3];
    int64_t stride;
    int32_t w[3];
    int64_t rows, count;
};

// g = (sum of (c >> pre) x weight) >> post, stored by truncation; a 1-bit
// destination gets a set bit when g exceeds `threshold`.
struct LumaRule {
    unsigned src, dst;
    int pre, post, threshold;
    bool wide;  // weights 109, 366, 37 (/512) instead of 54, 183, 18 (/256)
    void (*run)(const Block&, const LumaRule&, const GrayPlan&);
};

template <class S, class D>
void lumaRows(const Block& b, const LumaRule& rule, const GrayPlan& plan) {
    const Runs<S, 3> in{b.srcData, {plan.off[0], plan.off[1], plan.off[2]}, b.srcStep, plan.stride};
    const Runs<D, 1> out{b.dstData, {0}, b.dstStep};
    const int pre = rule.pre, post = rule.post, threshold = rule.threshold;
    const int32_t w0 = plan.w[0], w1 = plan.w[1], w2 = plan.w[2];
    mapRows(in, out, plan.rows, plan.count, [=](const S(&c)[3], ValueOf<D>(&g)[1]) {
        const int32_t v = ((int32_t{c[0]} >> pre) * w0 + (int32_t{c[1]} >> pre) * w1 +
                           (int32_t{c[2]} >> pre) * w2) >>
                          post;
        if constexpr (kIsBit<D>)
            g[0] = v > threshold;
        else
            g[0] = static_cast<D>(v);
    });
}

const LumaRule kLumaRules[] = {
    {VSK_8U, VSK_8U, 0, 8, 0, false, lumaRows<uint8_t, uint8_t>},
    {VSK_8U, VSK_16U, 0, 0, 0, false, lumaRows<uint8_t, uint16_t>},
    {VSK_8U, VSK_1U, 0, 8, 127, false, lumaRows<uint8_t, Bit>},
    {VSK_16U, VSK_8U, 0, 16, 0, false, lumaRows<uint16_t, uint8_t>},
    {VSK_16U, VSK_16U, 0, 8, 0, false, lumaRows<uint16_t, uint16_t>},
    {VSK_16U, VSK_1U, 0, 8, 32767, false, lumaRows<uint16_t, Bit>},
    {VSK_32S, VSK_8U, 11, 21, 0, true, lumaRows<int32_t, uint8_t>},
    {VSK_32S, VSK_16U, 11, 13, 0, true, lumaRows<int32_t, uint16_t>},
    {VSK_32S, VSK_1U, 10, 0, 0x1FFFFFFF, true, lumaRows<int32_t, Bit>},
};

const int32_t kLuma256[3] = {54, 183, 18};
const int32_t kLuma512[3] = {109, 366, 37};

// ---- grey to colour ------------------------------------------------------------

// The colour spreading coefficients: integer multipliers and shift, or (for
// 32-bit signed destinations) three floats.
struct GrayToColorCoeffs {
    uint16_t kR, kG, kB, shift;
    float fR, fG, fB;
};

constexpr float kDefaultRed = 0.212671f, kDefaultGreen = 0.71516f, kDefaultBlue = 0.072169f;
static_assert(std::bit_cast<std::uint32_t>(kDefaultRed) == 0x3E59C66Du);
static_assert(std::bit_cast<std::uint32_t>(kDefaultGreen) == 0x3F3714BAu);
static_assert(std::bit_cast<std::uint32_t>(kDefaultBlue) == 0x3D93CD57u);

// The low 16 bits of a value truncated toward zero.
uint16_t low16(double v) {
    if (!std::isfinite(v)) return 0;
    double m = std::fmod(std::trunc(v), 65536.0);
    if (m < 0) m += 65536.0;
    return static_cast<uint16_t>(m);
}

GrayToColorCoeffs grayToColorCoeffs(unsigned dstDepth, float red, float green, float blue) {
    const bool fine = dstDepth == VSK_32S || dstDepth == VSK_16U;
    const double scale = fine ? 32768.0 : 256.0;
    GrayToColorCoeffs k{low16(scale * red),
                        low16(scale * green),
                        low16(scale * blue),
                        static_cast<uint16_t>(fine ? 15 : 8),
                        red,
                        green,
                        blue};
    // Fractions that all scale to a multiple of 65536 select the defaults.
    if (k.kR || k.kG || k.kB) return k;
    if (dstDepth == VSK_32S) return {0, 0, 0, 0, kDefaultRed, kDefaultGreen, kDefaultBlue};
    if (dstDepth == VSK_16U) return {109, 366, 37, 9, 0, 0, 0};
    return {54, 183, 18, 8, 0, 0, 0};
}

// Source S (or 1-bit) into three destination channels of type D.
template <class S, class D>
void spreadRows(const Block& b, const GrayToColorCoeffs& k, const int64_t off[3], int64_t stride) {
    const Runs<S, 1> in{b.srcData, {0}, b.srcStep};
    const Runs<D, 3> out{b.dstData, {off[0], off[1], off[2]}, b.dstStep, stride};
    if constexpr (kIsBit<S>) {
        uint8_t v[3] = {static_cast<uint8_t>((k.kR * 255) >> k.shift),
                        static_cast<uint8_t>((k.kG * 255) >> k.shift),
                        static_cast<uint8_t>((k.kB * 255) >> k.shift)};
        // Only the 1-bit kernel follows the destination's channel order.
        if (b.dst->channelSeq[0] != 'R') std::swap(v[0], v[2]);
        mapRows(in, out, b.rows, b.width, [&](const bool(&g)[1], D(&o)[3]) {
            for (int c = 0; c < 3; ++c) o[c] = g[0] ? v[c] : 0;
        });
    } else if constexpr (std::is_same_v<S, int32_t>) {
        const float f[3] = {k.fR, k.fG, k.fB};
        mapRows(in, out, b.rows, b.width, [&](const S(&g)[1], D(&o)[3]) {
            for (int c = 0; c < 3; ++c) o[c] = truncInt32(static_cast<float>(g[0]) * f[c]);
        });
    } else {
        // Deliberately the first channel takes the red multiplier whatever
        // the destination's channel order.
        const uint32_t m[3] = {k.kR, k.kG, k.kB};
        const int shift = k.shift;
        mapRows(in, out, b.rows, b.width, [&](const S(&g)[1], D(&o)[3]) {
            for (int c = 0; c < 3; ++c) o[c] = static_cast<D>((g[0] * m[c]) >> shift);
        });
    }
}

// ---- bit reduction -------------------------------------------------------------

// Lines of a layer's depth-pair faults.
struct DepthFaultLines {
    int from16;  // 16U source, destination not 8U ("errOutDepth")
    int from8;   // 8U source, destination not 1U ("errOutDepth")
    int other;   // any other pair ("errInOutDepth")
};

bool reducible(const VskImage* s, const VskImage* d, const Site& site,
               const DepthFaultLines& lines) {
    if (s->depth == VSK_16U && d->depth != VSK_8U) {
        report(site, lines.from16, "errOutDepth");
        return false;
    }
    if (s->depth == VSK_8U && d->depth != VSK_1U) {
        report(site, lines.from8, "errOutDepth");
        return false;
    }
    const bool ok = s->depth == VSK_16U || s->depth == VSK_8U ||
                    (s->depth == VSK_32S && (d->depth == VSK_16U || d->depth == VSK_8U));
    if (!ok) report(site, lines.other, "errInOutDepth");
    return ok;
}

// Values per row and planes of a reduction: the destination's.
struct ReduceShape {
    int64_t count;
    int planes;
};
ReduceShape reduceShape(const Block& b) {
    return {valuesPerRow(b), b.dst->dataOrder == VSK_DATA_ORDER_PLANE ? b.dst->nChannels : 1};
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

// Runs the reduction of a checked depth pair.
void reduceBlock(const Block& b, int64_t bitStride) {
    const unsigned s = b.src->depth, d = b.dst->depth;
    if (s == VSK_32S && d == VSK_16U)
        reduceRows<int32_t, uint16_t>(b, 1);
    else if (s == VSK_32S)
        reduceRows<int32_t, uint8_t>(b, 1);
    else if (s == VSK_16U)
        reduceRows<uint16_t, uint8_t>(b, 1);
    else
        reduceRows<uint8_t, Bit>(b, bitStride);
}

// ---- jitter ----------------------------------------------------------------------

// The process-wide noise tables, rebuilt by every call that jitters.
double jitterUniform[1024];
int jitterOffset[1024];

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
void jitterNoise(S* value, const JitterRule& rule, int a, int64_t j, int64_t i) {
    int64_t v = *value;
    if (v >= rule.limit) return;
    const auto uj = static_cast<std::uint64_t>(j), ui = static_cast<std::uint64_t>(i);
    if (rule.roundUp) {
        const int t =
            static_cast<int>(9.0 * jitterUniform[(uj + 4 * ui + jitterOffset[uj & 1023]) & 1023]);
        if ((v & (rule.step - 1)) <= t) {
            v += rule.step;
            *value = static_cast<S>(v);
        }
    }
    const int64_t n = static_cast<int64_t>(
        2 * a * jitterUniform[(ui + 4 * uj + jitterOffset[ui & 1023]) & 1023] + 0.5);
    const int64_t w = v + (n - a) * rule.step;
    if (w >= rule.low && w <= rule.high) *value = static_cast<S>(w);
}

// Adds noise to every source value that the reduction reads; the row index
// restarts in every plane.
template <class S>
void jitterRows(const Block& b, const JitterRule& rule, int amplitude) {
    const ReduceShape shape = reduceShape(b);
    for (int p = 0; p < shape.planes; ++p) {
        const Runs<S, 1> in{b.srcData, {planeOffset(p, b.srcStep, b.rows)}, b.srcStep};
        for (int64_t i = 0; i < b.rows; ++i) {
            const int64_t n = in.fit(i, shape.count);
            if (n <= 0) continue;
            // The source block is the walk's own aligned copy.
            S* row = reinterpret_cast<S*>(in.at(0, i).p);
            for (int64_t j = 0; j < n; ++j) jitterNoise(row + j, rule, amplitude, j, i);
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

// ---- HSV and HLS -------------------------------------------------------------------

template <class T>
constexpr int64_t kTop = std::is_same_v<T, uint8_t>    ? 255
                         : std::is_same_v<T, uint16_t> ? 65535
                                                       : INT32_MAX;
// The scale of the wider depths' inverse conversions: 1/65535, or 2^-31.
template <class T>
constexpr double kInvTop = std::is_same_v<T, uint16_t> ? 1.0 / 65535.0 : 1.0 / 2147483648.0;
constexpr double kInv60 = 1.0 / 60.0;

// Hue in degrees, from products formed as integers.
double hueDegrees(int64_t r, int64_t g, int64_t b, int64_t max, int64_t d) {
    double h;
    if (max == r)
        h = static_cast<double>(60 * (g - b)) / static_cast<double>(d);
    else if (max == g)
        h = static_cast<double>(60 * (b - r)) / static_cast<double>(d) + 120;
    else
        h = static_cast<double>(60 * (r - g)) / static_cast<double>(d) + 240;
    return h < 0 ? h + 360 : h;
}

// The stored hue: half-degrees at 8 bits, whole degrees otherwise.
template <class T>
T storedHue(double h) {
    const int degrees = static_cast<int>(h);
    return static_cast<T>(std::is_same_v<T, uint8_t> ? degrees >> 1 : degrees);
}

template <class T>
void rgbToHsv(const T (&rgb)[3], T (&out)[3]) {
    const int64_t r = rgb[0], g = rgb[1], b = rgb[2];
    const int64_t max = std::max({r, g, b}), d = max - std::min({r, g, b});
    int64_t s = 0;
    if (max != 0) {
        if constexpr (std::is_same_v<T, uint8_t>)
            s = d * 255 / max;
        else
            s = truncInt32(static_cast<double>(d) * static_cast<double>(kTop<T>) /
                           static_cast<double>(max));
    }
    out[0] = s == 0 ? 0 : storedHue<T>(hueDegrees(r, g, b, max, d));
    out[1] = static_cast<T>(s);
    out[2] = static_cast<T>(max);
}

template <class T>
void rgbToHls(const T (&rgb)[3], T (&out)[3]) {
    const int64_t r = rgb[0], g = rgb[1], b = rgb[2];
    const int64_t max = std::max({r, g, b}), min = std::min({r, g, b}), d = max - min;
    const int64_t sum = max + min, top = kTop<T>;
    out[0] = out[2] = 0;
    out[1] = static_cast<T>(sum >> 1);
    if (d == 0) return;
    const int64_t divisor = sum <= top ? sum : 2 * top - sum;
    out[2] = static_cast<T>(truncInt32(static_cast<double>(top) * static_cast<double>(d) /
                                       static_cast<double>(divisor)));
    out[0] = storedHue<T>(hueDegrees(r, g, b, max, d));
}

// Red, green and blue of HSV sector i (sectors from 5 up, and below 0, as 5).
template <class V>
void hsvSector(int64_t i, V v, V p, V q, V t, V (&rgb)[3]) {
    const V table[6][3] = {{v, t, p}, {q, v, p}, {p, v, t}, {p, q, v}, {t, p, v}, {v, p, q}};
    const V* row = table[i >= 0 && i < 5 ? i : 5];
    rgb[0] = row[0];
    rgb[1] = row[1];
    rgb[2] = row[2];
}

// Results of the wider inverse conversions, clamped to 0 .. M (only
// channel values outside that range can leave it) and truncated.
template <class T>
void store3(const double (&v)[3], T (&out)[3]) {
    for (int c = 0; c < 3; ++c)
        out[c] = static_cast<T>(std::clamp(v[c], 0.0, static_cast<double>(kTop<T>)));
}

template <class T>
void hsvToRgb(const T (&hsv)[3], T (&out)[3]) {
    const T h = hsv[0], s = hsv[1], v = hsv[2];
    if (s == 0) {
        out[0] = out[1] = out[2] = v;
        return;
    }
    if constexpr (std::is_same_v<T, uint8_t>) {
        // 34/2048 stands for 1/60.
        const int h2 = 2 * h, i = h2 / 60, f = h2 % 60;
        const int w = (s * v) >> 8;
        int rgb[3];
        hsvSector<int>(i, v, v - w, v - ((w * f * 34) >> 11), v - (((60 - f) * w * 34) >> 11), rgb);
        for (int c = 0; c < 3; ++c) out[c] = static_cast<T>(rgb[c]);
    } else {
        int64_t i = 0;
        double f = 0;
        if (h != 360) {
            const double x = h * kInv60;
            i = static_cast<int64_t>(x);
            f = x - static_cast<double>(i);
        }
        const double top = static_cast<double>(kTop<T>), sd = s, vd = v, scale = kInvTop<T>;
        double rgb[3];
        hsvSector<double>(i, vd, (top - sd) * vd * scale, (top - f * sd) * vd * scale,
                          (top - (1.0 - f) * sd) * vd * scale, rgb);
        store3(rgb, out);
    }
}

// The three channels of an HLS pixel from the hue h (8U: in half-degrees
// doubled) with ramp(h'), where h' is the hue shifted per channel.
template <class V, class Up>
V hlsRamp(int64_t h, V m1, V m2, Up up) {
    return h < 60 ? up(h) : h < 180 ? m2 : h < 240 ? up(240 - h) : m1;
}

template <class V, class Up>
void hlsChannels(int64_t h, V m1, V m2, Up up, V (&rgb)[3]) {
    rgb[0] = hlsRamp(h <= 240 ? h + 120 : h - 240, m1, m2, up);
    rgb[1] = hlsRamp(h, m1, m2, up);
    rgb[2] = hlsRamp(h < 120 ? h + 240 : h - 120, m1, m2, up);
}

template <class T>
void hlsToRgb(const T (&hls)[3], T (&out)[3]) {
    const T h = hls[0], l = hls[1], s = hls[2];
    if (s == 0) {
        out[0] = out[1] = out[2] = l;
        return;
    }
    if constexpr (std::is_same_v<T, uint8_t>) {
        // 258/65536 stands for the saturation scale, 137/8192 for 1/60.
        const int ls = (l * s * 258) >> 16;
        const int m2 = l < 128 ? l + ls : l + s - ls, m1 = 2 * l - m2;
        int rgb[3];
        hlsChannels<int>(
            2 * h, m1, m2,
            [&](int64_t x) { return m1 + static_cast<int>(((m2 - m1) * 137 * x) >> 13); }, rgb);
        for (int c = 0; c < 3; ++c) out[c] = static_cast<T>(rgb[c]);
    } else {
        const double ld = l, sd = s, ls = ld * sd * kInvTop<T>;
        const double half = static_cast<double>(kTop<T> / 2 + 1);
        const double m2 = ld < half ? ld + ls : ld + sd - ls, m1 = 2 * ld - m2;
        double rgb[3];
        hlsChannels<double>(
            h, m1, m2, [&](int64_t x) { return m1 + (m2 - m1) * static_cast<double>(x) * kInv60; },
            rgb);
        store3(rgb, out);
    }
}

struct HueLayer {
    const char* target;      // the model written into the destination
    const char* srcLetters;  // plane letters of the source and destination
    const char* dstLetters;
    bool fromRgb;
    const char* name;  // reported name and line of the depth fault
    int line;
};

// The HSV-to-RGB and RGB-to-HLS layers deliberately report as "ownRGB2HSV",
// the HLS-to-RGB layer as "ownRGB2HLS".
const HueLayer kHueLayers[] = {
    {"HSV", "RGB", "HSV", true, "ownRGB2HSV", 585},
    {"RGB", "HSV", "RGB", false, "ownRGB2HSV", 682},
    {"HLS", "RGB", "HLS", true, "ownRGB2HSV", 779},
    {"RGB", "HLS", "RGB", false, "ownRGB2HLS", 875},
};

template <class T>
void hueRows(const Block& b, HueConversion conversion) {
    const HueLayer& layer = kHueLayers[static_cast<int>(conversion)];
    const VskImage* s = b.src;
    const VskImage* d = b.dst;
    Runs<T, 3> in{b.srcData, {0, 0, 0}, b.srcStep};
    Runs<T, 3> out{b.dstData, {0, 0, 0}, b.dstStep};
    if (s->dataOrder == VSK_DATA_ORDER_PIXEL) {
        pixelChannels(s->depth, in.off);
        pixelChannels(d->depth, out.off);
        in.stride = s->nChannels;
        out.stride = d->nChannels;
        // From RGB, a first letter other than "R" puts blue first.
        if (layer.fromRgb && s->channelSeq[0] != 'R') std::swap(in.off[0], in.off[2]);
    } else if (!colorPlanePointers(s, b.srcStep, b.rows, layer.srcLetters, in.off) ||
               !colorPlanePointers(d, b.dstStep, b.rows, layer.dstLetters, out.off)) {
        return;
    }
    auto run = [&](void (*pixel)(const T(&)[3], T(&)[3])) {
        mapRows(in, out, b.rows, b.width, [pixel](const T(&v)[3], T(&o)[3]) { pixel(v, o); });
    };
    switch (conversion) {
        case HueConversion::RgbToHsv:
            run(rgbToHsv<T>);
            break;
        case HueConversion::HsvToRgb:
            run(hsvToRgb<T>);
            break;
        case HueConversion::RgbToHls:
            run(rgbToHls<T>);
            break;
        case HueConversion::HlsToRgb:
            run(hlsToRgb<T>);
            break;
    }
}

}  // namespace

// ---- the layers ----------------------------------------------------------------------

void ownColorToGray(const Block& b) {
    const VskImage* s = b.src;
    const VskImage* d = b.dst;
    const LumaRule* rule = nullptr;
    for (const LumaRule& r : kLumaRules)
        if (r.src == s->depth && r.dst == d->depth) rule = &r;
    if (!rule) {
        report(pixelSite("ownColorToGray"), 486, "errInOutDepth");
        return;
    }
    GrayPlan plan{};
    plan.rows = b.rows;
    plan.count = valuesPerRow(b);
    if (s->dataOrder == VSK_DATA_ORDER_PIXEL) {
        pixelChannels(s->depth, plan.off);
        plan.stride = s->nChannels;
    } else {
        if (!colorPlanePointers(s, b.srcStep, b.rows, "RGB", plan.off)) return;
        plan.stride = 1;
        // Unpadded 16U-to-8U planes run as one row over the destination's
        // planes.
        if (s->depth == VSK_16U && d->depth == VSK_8U && plan.count == b.dstStep &&
            plan.count * 2 == b.srcStep) {
            plan.count *= plan.rows * d->nChannels;
            plan.rows = 1;
        }
    }
    // The weights follow the source's first letter, also for plane order
    // (deliberately); 1-bit destinations always take them red first.
    const int32_t* w = rule->wide ? kLuma512 : kLuma256;
    const bool swap = s->channelSeq[0] != 'R' && d->depth != VSK_1U;
    plan.w[0] = swap ? w[2] : w[0];
    plan.w[1] = w[1];
    plan.w[2] = swap ? w[0] : w[2];
    rule->run(b, *rule, plan);
}

void ownGrayToColor(const Block& b, float redFraction, float greenFraction, float blueFraction) {
    const VskImage* s = b.src;
    const VskImage* d = b.dst;
    const Site site = pixelSite("ownGrayToColor");
    const bool fromBits = s->depth == VSK_1U;
    if ((fromBits && d->depth != VSK_8U) ||
        (!fromBits && s->depth != VSK_8U && s->depth != VSK_16U && s->depth != VSK_32S)) {
        report(site, 1024, "errInOutDepth");
        return;
    }
    // The row counter is 16 bits wide: taller blocks are refused rather than
    // looping without end.
    if (b.rows > 65535) {
        report(site, 1024, "errHeight");
        return;
    }
    const GrayToColorCoeffs k =
        grayToColorCoeffs(d->depth, redFraction, greenFraction, blueFraction);
    // The loop layout follows the source's data order (deliberately not the
    // destination's); an alpha channel is never written.
    int64_t off[3], stride = 1;
    if (s->dataOrder == VSK_DATA_ORDER_PIXEL) {
        pixelChannels(d->depth, off);
        stride = d->nChannels;
    } else if (!colorPlanePointers(d, b.dstStep, b.rows, "RGB", off)) {
        return;
    }
    switch (s->depth) {
        case VSK_1U:
            spreadRows<Bit, uint8_t>(b, k, off, stride);
            break;
        case VSK_8U:
            spreadRows<uint8_t, uint8_t>(b, k, off, stride);
            break;
        case VSK_16U:
            spreadRows<uint16_t, uint16_t>(b, k, off, stride);
            break;
        default:
            spreadRows<int32_t, int32_t>(b, k, off, stride);
            break;
    }
}

void ownReduceBits(const Block& b) {
    if (!reducible(b.src, b.dst, pixelSite("ownReduceBits"), {150, 181, 198})) return;
    // 8U to 1U deliberately reads every nChannels-th value of a pixel-order
    // source.
    const int64_t stride = b.src->dataOrder == VSK_DATA_ORDER_PIXEL ? b.src->nChannels : 1;
    reduceBlock(b, stride);
}

void jitterFillTables() {
    for (double& u : jitterUniform) u = (std::rand() % 1024) * 0.0009765625;
    // A second table of the same kind is never read; its draws still advance
    // the sequence.
    for (int k = 0; k < 1024; ++k) (void)std::rand();
    for (int& t : jitterOffset) t = std::rand() % 1024;
}

void ownjitter_rect(const Block& b, int jitterType) {
    if (!reducible(b.src, b.dst, pixelSite("ownjitter_rect"), {170, 187, 204})) return;
    switch (b.src->depth) {
        case VSK_8U:
            jitterRows<uint8_t>(b, kJitter8, jitterType);
            break;
        case VSK_16U:
            jitterRows<uint16_t>(b, kJitter16, jitterType);
            break;
        default:
            jitterRows<int32_t>(b, b.dst->depth == VSK_16U ? kJitter32To16 : kJitter32To8,
                                jitterType);
            break;
    }
    reduceBlock(b, 1);
}

void own_dither_rect(const VskImage* image, int ditherType, Area data, int width, int height,
                     std::int64_t step, int levels) {
    const Site site = pixelSite("own_dither_rect");
    if (image->depth != VSK_8U && image->depth != VSK_16U) {
        report(site, 316, "errInDepth");
        return;
    }
    const bool grey = image->channelSeq[0] == 'G';
    if (ditherType != 2 && ditherType != 4 && ditherType != 8 && ditherType != 16) {
        report(site, grey ? 385 : 320, "errDitherOption");
        return;
    }
    int q = (image->depth == VSK_8U ? 255 : 65535) >> levels;
    if (q == 0) q = 1;
    const int64_t s = image->dataOrder == VSK_DATA_ORDER_PIXEL ? image->nChannels : 1;
    int64_t off[3] = {0, 0, 0};
    // Colour data: the grey rule applies to the red, green and blue slots in
    // lock-step.
    if (!grey && !colorPlanePointers(image, step, height, "RGB", off)) return;
    const int slots = grey ? 1 : 3;
    if (image->depth == VSK_8U)
        ditherRect<uint8_t>(data, off, slots, step, q, ditherType, width, height, s);
    else
        ditherRect<uint16_t>(data, off, slots, step, q, ditherType, width, height, s);
}

void ownHueConvert(const Block& b, HueConversion conversion) {
    const HueLayer& layer = kHueLayers[static_cast<int>(conversion)];
    // The names are rewritten before the depth test; the fourth letters stay.
    std::memcpy(b.dst->colorModel, layer.target, 3);
    std::memcpy(b.dst->channelSeq, layer.target, 3);
    switch (b.src->depth) {
        case VSK_8U:
            hueRows<uint8_t>(b, conversion);
            break;
        case VSK_16U:
            hueRows<uint16_t>(b, conversion);
            break;
        case VSK_32S:
            hueRows<int32_t>(b, conversion);
            break;
        default:
            report(pixelSite(layer.name), layer.line, "errInOutDepth");
            break;
    }
}

}  // namespace vsk::color
