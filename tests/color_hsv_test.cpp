// HSV and HLS conversions: the per-depth formulas, channel orders, the
// header rewrite and the reported faults.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/colortest.hpp"

using namespace vsktest;
using namespace colortest;

namespace {

using Op = void(VSK_CALL*)(VskImage*, VskImage*, const int*);
using Pixel = std::array<std::int64_t, 3>;

// The depth's facts: the maximum M, the inverse scale 1/M' of the wider
// inverse conversions, and whether the arithmetic is the 8-bit integer one.
struct DepthFacts {
    std::int64_t top;
    double inverse;
    bool byte;
};
DepthFacts factsOf(unsigned depth) {
    if (depth == VSK_8U) return {255, 0, true};
    if (depth == VSK_16U) return {65535, 1.0 / 65535, false};
    return {2147483647, 1.0 / 2147483648.0, false};
}

double hueModel(std::int64_t r, std::int64_t g, std::int64_t b, std::int64_t max, std::int64_t d) {
    double h = max == r   ? double(60 * (g - b)) / double(d)
               : max == g ? double(60 * (b - r)) / double(d) + 120
                          : double(60 * (r - g)) / double(d) + 240;
    return h < 0 ? h + 360 : h;
}
std::int64_t storedHue(const DepthFacts& f, double h) {
    const auto t = static_cast<std::int64_t>(h);
    return f.byte ? t >> 1 : t;
}

Pixel toHsv(const DepthFacts& f, const Pixel& p) {
    const std::int64_t r = p[0], g = p[1], b = p[2];
    const std::int64_t max = std::max({r, g, b}), d = max - std::min({r, g, b});
    std::int64_t s = 0;
    if (max != 0)
        s = f.byte ? d * 255 / max
                   : static_cast<std::int64_t>(double(d) * double(f.top) / double(max));
    return {s == 0 ? 0 : storedHue(f, hueModel(r, g, b, max, d)), s, max};
}

Pixel toHls(const DepthFacts& f, const Pixel& p) {
    const std::int64_t r = p[0], g = p[1], b = p[2];
    const std::int64_t max = std::max({r, g, b}), min = std::min({r, g, b}), d = max - min;
    const std::int64_t sum = max + min;
    if (d == 0) return {0, sum / 2, 0};
    const double s = double(f.top) * double(d) / double(sum <= f.top ? sum : 2 * f.top - sum);
    return {storedHue(f, hueModel(r, g, b, max, d)), sum / 2, static_cast<std::int64_t>(s)};
}

Pixel sector(std::int64_t i, std::int64_t v, std::int64_t p, std::int64_t q, std::int64_t t) {
    switch (i) {
        case 0:
            return {v, t, p};
        case 1:
            return {q, v, p};
        case 2:
            return {p, v, t};
        case 3:
            return {p, q, v};
        case 4:
            return {t, p, v};
    }
    return {v, p, q};
}

Pixel fromHsv(const DepthFacts& f, const Pixel& hsv) {
    const std::int64_t h = hsv[0], s = hsv[1], v = hsv[2];
    if (s == 0) return {v, v, v};
    if (f.byte) {
        const std::int64_t h2 = 2 * h, fr = h2 % 60, w = (s * v) >> 8;
        Pixel out =
            sector(h2 / 60, v, v - w, v - ((w * fr * 34) >> 11), v - (((60 - fr) * w * 34) >> 11));
        for (auto& c : out) c &= 0xFF;
        return out;
    }
    const double x = h == 360 ? 0 : h * (1.0 / 60);
    const auto i = static_cast<std::int64_t>(x);
    const double fr = x - double(i), top = double(f.top);
    // Results outside 0 .. M are clamped, then truncated.
    auto t = [&](double value) { return static_cast<std::int64_t>(std::clamp(value, 0.0, top)); };
    return sector(i, v, t((top - s) * v * f.inverse), t((top - fr * s) * v * f.inverse),
                  t((top - (1 - fr) * s) * v * f.inverse));
}

Pixel fromHls(const DepthFacts& f, const Pixel& hls) {
    const std::int64_t h = hls[0], l = hls[1], s = hls[2];
    if (s == 0) return {l, l, l};
    const std::int64_t hue = f.byte ? 2 * h : h;
    const std::int64_t shifted[3] = {hue <= 240 ? hue + 120 : hue - 240, hue,
                                     hue < 120 ? hue + 240 : hue - 120};
    Pixel out;
    if (f.byte) {
        const std::int64_t ls = (l * s * 258) >> 16;
        const std::int64_t m2 = l < 128 ? l + ls : l + s - ls, m1 = 2 * l - m2;
        for (int c = 0; c < 3; ++c) {
            const std::int64_t x = shifted[c];
            const std::int64_t v = x < 60    ? m1 + (((m2 - m1) * 137 * x) >> 13)
                                   : x < 180 ? m2
                                   : x < 240 ? m1 + (((m2 - m1) * 137 * (240 - x)) >> 13)
                                             : m1;
            out[c] = v & 0xFF;
        }
        return out;
    }
    const double ls = double(l) * double(s) * f.inverse;
    const double m2 = l < (f.top + 1) / 2 ? l + ls : l + s - ls, m1 = 2.0 * l - m2;
    for (int c = 0; c < 3; ++c) {
        const std::int64_t x = shifted[c];
        const double v = x < 60    ? m1 + (m2 - m1) * double(x) * (1.0 / 60)
                         : x < 180 ? m2
                         : x < 240 ? m1 + (m2 - m1) * double(240 - x) * (1.0 / 60)
                                   : m1;
        out[c] = static_cast<std::int64_t>(std::clamp(v, 0.0, double(f.top)));
    }
    return out;
}

struct Conversion {
    const char* name;
    Op op;
    const char* from;  // source model
    const char* to;    // model written into the destination
    Pixel (*model)(const DepthFacts&, const Pixel&);
};
const Conversion kConversions[] = {
    {"RGB2HSV", vskRGB2HSV, "RGB", "HSV", toHsv},
    {"HSV2RGB", vskHSV2RGB, "HSV", "RGB", fromHsv},
    {"RGB2HLS", vskRGB2HLS, "RGB", "HLS", toHls},
    {"HLS2RGB", vskHLS2RGB, "HLS", "RGB", fromHls},
};

// Channel i of a pixel in model order: pixel order by position (RGB
// sources by their first letter), plane order by letter.
std::int64_t channel(const VskImage* image, const char* letters, int x, int y, int i) {
    if (image->dataOrder == VSK_DATA_ORDER_PLANE)
        return get(image, x, y, channelOf(image, letters[i]));
    const bool reversed = letters[0] == 'R' && image->channelSeq[0] != 'R';
    return get(image, x, y, reversed ? 2 - i : i);
}

}  // namespace

TEST(HueConversions, EdgeCases) {
    struct Case {
        Op op;
        const char* from;
        const char* seq;
        Pixel in, out;
    } cases[] = {
        {vskRGB2HSV, "RGB", "RGB", {255, 0, 0}, {0, 255, 255}},
        {vskRGB2HSV, "RGB", "RGB", {0, 0, 255}, {120, 255, 255}},  // 240 degrees
        {vskRGB2HSV, "RGB", "BGR", {255, 0, 0}, {120, 255, 255}},  // blue, in "BGR" order
        {vskRGB2HSV, "RGB", "RGB", {77, 77, 77}, {0, 0, 77}},
        {vskRGB2HSV, "RGB", "RGB", {0, 0, 0}, {0, 0, 0}},
        {vskRGB2HLS, "RGB", "RGB", {255, 0, 0}, {0, 127, 255}},
        {vskRGB2HLS, "RGB", "RGB", {0, 0, 255}, {120, 127, 255}},
        {vskRGB2HLS, "RGB", "RGB", {77, 77, 77}, {0, 77, 0}},
        {vskHSV2RGB, "HSV", "HSV", {0, 0, 77}, {77, 77, 77}},
        {vskHSV2RGB, "HSV", "HSV", {0, 255, 255}, {255, 2, 1}},
        {vskHLS2RGB, "HLS", "HLS", {0, 77, 0}, {77, 77, 77}},
        {vskHLS2RGB, "HLS", "HLS", {0, 127, 255}, {254, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << " " << c.seq << " " << c.in[0] << ","
                                        << c.in[1] << "," << c.in[2]);
        ErrorCapture capture;
        ImagePtr src = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, c.from, c.seq);
        ImagePtr dst = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, "RGB", "BGR");
        for (int i = 0; i < 3; ++i) put(src.get(), 0, 0, i, c.in[i]);
        c.op(src.get(), dst.get(), nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        for (int i = 0; i < 3; ++i) EXPECT_EQ(get(dst.get(), 0, 0, i), c.out[i]) << i;
    }
}

TEST(HueConversions, EveryDepthAndLayoutFollowsTheFormulas) {
    std::uint32_t seed = 300;
    for (const Conversion& conv : kConversions)
        for (unsigned depth : {VSK_8U, VSK_16U, VSK_32S})
            for (int order : {VSK_DATA_ORDER_PIXEL, VSK_DATA_ORDER_PLANE})
                for (const char* seq : {"RGBA", "BGRA", "SHVL", "LSHV"}) {
                    const bool fromRgb = conv.from[0] == 'R';
                    if (fromRgb != (seq[1] == 'G')) continue;  // RGB letters for RGB sources
                    SCOPED_TRACE(testing::Message() << conv.name << " depth " << depth << " order "
                                                    << order << " " << seq);
                    const DepthFacts f = factsOf(depth);
                    ImagePtr src = makeImage(4, depth, order, 3, 17, 0, 4, conv.from, seq);
                    ImagePtr dst = makeImage(4, depth, order, 3, 17, 0, 4, "XYZW", "ABCD");
                    fillRandom(src.get(), seed++);
                    for (int y = 0; y < 3; ++y)
                        for (int x = 0; x < 17; ++x)
                            for (int i = 0; i < 4; ++i) {
                                std::int64_t v = get(src.get(), x, y, i) & f.top;
                                // Hues of HSV and HLS sources within their range (360 included).
                                const int hue =
                                    order == VSK_DATA_ORDER_PIXEL ? 0 : channelOf(src.get(), 'H');
                                if (!fromRgb && hue == i)
                                    v = x == 16 && !f.byte ? 360 : v % (f.byte ? 180 : 360);
                                put(src.get(), x, y, i, v);
                            }
                    ErrorCapture capture;
                    conv.op(src.get(), dst.get(), nullptr);
                    EXPECT_EQ(reportsOf(capture), "");
                    EXPECT_EQ(std::string(dst->colorModel, 4), std::string(conv.to) + "W");
                    EXPECT_EQ(std::string(dst->channelSeq, 4), std::string(conv.to) + "D");
                    const char* inLetters = fromRgb ? "RGB" : conv.from;
                    for (int y = 0; y < 3; ++y)
                        for (int x = 0; x < 17; ++x) {
                            Pixel in;
                            for (int i = 0; i < 3; ++i)
                                in[i] = channel(src.get(), inLetters, x, y, i);
                            const Pixel out = conv.model(f, in);
                            for (int i = 0; i < 3; ++i)
                                ASSERT_EQ(channel(dst.get(), conv.to, x, y, i),
                                          out[i] & (f.byte           ? 0xFF
                                                    : f.top == 65535 ? 0xFFFF
                                                                     : -1))
                                    << x << "," << y << " channel " << i;
                            EXPECT_EQ(get(dst.get(), x, y, 3),
                                      0);  // the fourth channel is left alone
                        }
                }
}

TEST(ColorGolden, OutputsAreTheSameOnEveryBuild) {
    // One checksum over seeded runs of every floating-point path and the
    // dither kernels: any build whose arithmetic differs by one bit fails.
    ErrorCapture capture;
    std::uint64_t hash = 1469598103934665603ull;
    auto mix = [&](const VskImage* image) {
        for (std::uint8_t b : bytesOf(image)) hash = (hash ^ b) * 1099511628211ull;
    };
    std::uint32_t seed = 500;
    for (unsigned depth : {VSK_8U, VSK_16U, VSK_32S}) {
        ImagePtr rgb = makeImage(3, depth, VSK_DATA_ORDER_PIXEL, 9, 31, 0, 4, "RGB", "BGR");
        fillRandom(rgb.get(), seed++);
        for (Op op : {vskRGB2HSV, vskRGB2HLS}) {
            ImagePtr hue = makeImage(3, depth, VSK_DATA_ORDER_PIXEL, 9, 31);
            ImagePtr back = makeImage(3, depth, VSK_DATA_ORDER_PIXEL, 9, 31);
            op(rgb.get(), hue.get(), nullptr);
            (op == vskRGB2HSV ? vskHSV2RGB : vskHLS2RGB)(hue.get(), back.get(), nullptr);
            mix(hue.get());
            mix(back.get());
        }
        ImagePtr grey = makeImage(1, depth, VSK_DATA_ORDER_PIXEL, 9, 31, 0, 4, "GRAY", "GRAY");
        fillRandom(grey.get(), seed++);
        ImagePtr color = makeImage(3, depth, VSK_DATA_ORDER_PIXEL, 9, 31, 0, 4, "RGB", "RGB");
        tvskGrayToColor(grey.get(), color.get(), 0.3f, 0.59f, 0.11f, nullptr);
        mix(color.get());
        tvskGrayToColor(grey.get(), color.get(), 0, 0, 0, nullptr);
        mix(color.get());
    }
    for (int dither : {2, 4, 8, 16}) {
        ImagePtr wide = makeImage(3, VSK_32S, VSK_DATA_ORDER_PIXEL, 9, 31, 0, 4, "RGB", "BGR");
        fillRandom(wide.get(), seed++);
        ImagePtr narrow = makeImage(3, VSK_16U, VSK_DATA_ORDER_PIXEL, 9, 31, 0, 4, "RGB", "BGR");
        vskReduceBits(wide.get(), narrow.get(), 0, dither, 3, nullptr);
        mix(narrow.get());
    }
    EXPECT_EQ(reportsOf(capture), "");
    EXPECT_EQ(hash, 1343033326665817002ull);
}
