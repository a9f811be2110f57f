// The colour module's pixel layer, hue conversions: RGB to and from HSV and
// HLS, in integer arithmetic at 8 bits and double precision above.
#include "owncolor.hpp"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "colorrows.hpp"

namespace vsk::color {

namespace {

using std::int32_t;
using std::int64_t;
using std::uint16_t;
using std::uint8_t;

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

void ownHueConvert(const Block& b, HueConversion conversion) {
    const HueLayer& layer = kHueLayers[static_cast<int>(conversion)];
    // The names are rewritten before the depth test; the fourth letters stay.
    std::memcpy(b.dst->colorModel, layer.target, 3);
    std::memcpy(b.dst->channelSeq, layer.target, 3);
    const unsigned depth = b.src->depth;
    if (reportFirst(pixelSite(layer.name),
                    {{depth != VSK_8U && depth != VSK_16U && depth != VSK_32S, layer.line,
                      "errInOutDepth"}}))
        return;
    dispatchDepth<Depths<uint8_t, uint16_t, int32_t>>(
        depth, [&](auto t) { hueRows<decltype(t)>(b, conversion); });
}

}  // namespace vsk::color
