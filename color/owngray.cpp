// The colour module's pixel layer, colour and grey: three colour channels
// weighted into one grey channel, and one grey channel spread into three.
#include "owncolor.hpp"

#include <bit>
#include <type_traits>
#include <utility>

#include "colorrows.hpp"
#include "grayrows.hpp"

namespace vsk::color {

namespace {

using std::int32_t;
using std::int64_t;
using std::uint16_t;
using std::uint8_t;

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

// Destination blocks at least this large are written past the caches by the
// kernels that can: they would not stay cached anyway, and skipping the
// reads of the lines they replace saves a third of the traffic.
constexpr int64_t kStreamBytes = int64_t{8} << 20;

// The kernel layout of three channel runs: pixels of three or four values,
// or planes (which must not overlap in their first `count` values when they
// are written); -1 for any other.
template <class E>
int kernelLayout(const int64_t off[3], int64_t stride, int64_t count, bool written) {
    if (stride == 3 || stride == 4)
        return off[0] == 0 && off[1] == int64_t{sizeof(E)} && off[2] == 2 * int64_t{sizeof(E)}
                   ? (stride == 3 ? kPixels3 : kPixels4)
                   : -1;
    if (stride != 1) return -1;
    if (!written) return kPlanes;
    const int64_t bytes = count * int64_t{sizeof(E)};
    for (int i = 0; i < 3; ++i)
        for (int j = i + 1; j < 3; ++j)
            if (off[i] < off[j] + bytes && off[j] < off[i] + bytes) return -1;
    return kPlanes;
}

// The first values of three channel runs of row r, `first` pixels on.
template <class E, int N>
void rowStarts(const Runs<E, N>& runs, int64_t r, int64_t first, const void* p[3]) {
    for (int c = 0; c < N; ++c) p[c] = runs.at(c, r).p + first * runs.stride * int64_t{sizeof(E)};
    for (int c = N; c < 3; ++c) p[c] = p[0];
}

// Grey values to a 1-bit row from pixel `first` (a multiple of 8) on: a set
// bit where g exceeds the threshold; the bits after the last keep theirs.
template <class G>
void packBits(const G* g, int64_t n, int threshold, uint8_t* row, int64_t first) {
    uint8_t* out = row + first / 8;
    int64_t k = 0;
    for (; k + 8 <= n; k += 8) {
        unsigned byte = 0;
        for (int i = 0; i < 8; ++i) byte = byte << 1 | unsigned{g[k + i] > threshold};
        *out++ = static_cast<uint8_t>(byte);
    }
    for (int i = 0; k < n; ++k, ++i) putBit(out, i, g[k] > threshold);
}

// The rows through a kernel of the table, when one serves the depths and
// layout and the buffers do not overlap (in-place rows keep their order
// from the last pixel to the first). False when none does.
template <class S, class D>
bool lumaKernelRows(const Runs<S, 3>& in, const Runs<D, 1>& out, const LumaRule& rule,
                    const GrayPlan& plan) {
    if constexpr (!std::is_same_v<S, uint8_t> && !std::is_same_v<S, uint16_t>) {
        return false;
    } else {
        const int layout = kernelLayout<S>(plan.off, plan.stride, plan.count, false);
        if (layout < 0 || overlaps(in.area, out.area) || !alignedRuns(in) || !alignedRuns(out))
            return false;
        // 1-bit destinations take the grey value of the source's own depth.
        using G = std::conditional_t<kIsBit<D>, S, D>;
        const LumaRow kernel = grayRows().luma[sizeof(S) == 2][layout][std::is_same_v<G, uint16_t>];
        const bool stream =
            !kIsBit<D> && plan.rows * plan.count * int64_t{sizeof(G)} >= kStreamBytes;
        eachRow(in, out, plan.rows, plan.count, [&](int64_t r, int64_t n) {
            if constexpr (kIsBit<D>) {
                // In chunks of whole destination bytes.
                constexpr int64_t kChunk = 512;
                G g[kChunk];
                for (int64_t first = 0; first < n; first += kChunk) {
                    const int64_t m = std::min(kChunk, n - first);
                    const void* ch[3];
                    rowStarts(in, r, first, ch);
                    kernel(ch, g, m, plan.w, false);
                    packBits(g, m, rule.threshold, out.at(0, r).p, first);
                }
            } else {
                const void* ch[3];
                rowStarts(in, r, 0, ch);
                kernel(ch, out.at(0, r).p, n, plan.w, stream);
            }
        });
        return true;
    }
}

template <class S, class D>
void lumaRows(const Block& b, const LumaRule& rule, const GrayPlan& plan) {
    const Runs<S, 3> in{b.srcData, {plan.off[0], plan.off[1], plan.off[2]}, b.srcStep, plan.stride};
    const Runs<D, 1> out{b.dstData, {0}, b.dstStep};
    if (lumaKernelRows(in, out, rule, plan)) return;
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
    uint8_t v[3] = {static_cast<uint8_t>((k.kR * 255) >> k.shift),
                    static_cast<uint8_t>((k.kG * 255) >> k.shift),
                    static_cast<uint8_t>((k.kB * 255) >> k.shift)};
    // Only the 1-bit kernel follows the destination's channel order.
    if (b.dst->channelSeq[0] != 'R') std::swap(v[0], v[2]);
    // The table's kernels, unless the buffers overlap (in-place rows keep
    // their order) or the channels do not take one of its layouts.
    const int layout = kernelLayout<D>(off, stride, b.width, true);
    if (layout >= 0 && !overlaps(in.area, out.area) && alignedRuns(in) && alignedRuns(out)) {
        // Deliberately the first channel takes the red multiplier whatever
        // the destination's channel order.
        const SpreadCoeffs coeffs{
            {k.kR, k.kG, k.kB}, k.shift, {k.fR, k.fG, k.fB}, {v[0], v[1], v[2]}};
        const int source = kIsBit<S>                    ? kSpread1U
                           : std::is_same_v<S, int32_t> ? kSpread32S
                           : sizeof(S) == 2             ? kSpread16U
                                                        : kSpread8U;
        const SpreadRow kernel = grayRows().spread[source][layout];
        const bool stream = int64_t{b.rows} * b.width * 3 * int64_t{sizeof(D)} >= kStreamBytes;
        eachRow(in, out, b.rows, b.width, [&](int64_t r, int64_t n) {
            void* ch[3];
            for (int c = 0; c < 3; ++c) ch[c] = out.at(c, r).p;
            kernel(in.at(0, r).p, ch, n, coeffs, stream);
        });
        return;
    }
    if constexpr (kIsBit<S>) {
        mapRows(in, out, b.rows, b.width, [&](const bool(&g)[1], D(&o)[3]) {
            for (int c = 0; c < 3; ++c) o[c] = g[0] ? v[c] : 0;
        });
    } else if constexpr (std::is_same_v<S, int32_t>) {
        const float f[3] = {k.fR, k.fG, k.fB};
        mapRows(in, out, b.rows, b.width, [&](const S(&g)[1], D(&o)[3]) {
            for (int c = 0; c < 3; ++c) o[c] = truncInt32(static_cast<float>(g[0]) * f[c]);
        });
    } else {
        const uint32_t m[3] = {k.kR, k.kG, k.kB};
        const int shift = k.shift;
        mapRows(in, out, b.rows, b.width, [&](const S(&g)[1], D(&o)[3]) {
            for (int c = 0; c < 3; ++c) o[c] = static_cast<D>((g[0] * m[c]) >> shift);
        });
    }
}

}  // namespace

void ownColorToGray(const Block& b) {
    const VskImage* s = b.src;
    const VskImage* d = b.dst;
    const LumaRule* rule = nullptr;
    for (const LumaRule& r : kLumaRules)
        if (r.src == s->depth && r.dst == d->depth) rule = &r;
    if (reportFirst(pixelSite("ownColorToGray"), {{!rule, 486, "errInOutDepth"}})) return;
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
    const bool fromBits = s->depth == VSK_1U;
    // The row counter is 16 bits wide: taller blocks are refused rather than
    // looping without end.
    if (reportFirst(pixelSite("ownGrayToColor"),
                    {{(fromBits && d->depth != VSK_8U) ||
                          (!fromBits && s->depth != VSK_8U && s->depth != VSK_16U &&
                           s->depth != VSK_32S),
                      1024, "errInOutDepth"},
                     {b.rows > 65535, 1024, "errHeight"}}))
        return;
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
    // 1-bit sources spread into 8U, the others into their own depth.
    dispatchDepth<Depths<Bit, uint8_t, uint16_t, int32_t>>(s->depth, [&](auto t) {
        using S = decltype(t);
        spreadRows<S, std::conditional_t<kIsBit<S>, uint8_t, S>>(b, k, off, stride);
    });
}

}  // namespace vsk::color
