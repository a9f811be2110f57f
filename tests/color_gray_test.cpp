// Colour to grey and grey to colour on untiled images: the weight tables,
// channel orders, coefficient defaults, geometry and reported faults.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "support/colortest.hpp"

using namespace vsktest;
using namespace colortest;

namespace {

// Grey from the channel values c0, c1, c2 (memory order, or the R, G, B
// planes), by the colour-to-grey table.
std::int64_t grayModel(unsigned from, unsigned to, std::int64_t c0, std::int64_t c1,
                       std::int64_t c2, bool redFirst) {
    std::int64_t w[3] = {54, 183, 18};
    if (from == VSK_32S) w[0] = 109, w[1] = 366, w[2] = 37;
    if (!redFirst && to != VSK_1U) std::swap(w[0], w[2]);
    const std::int64_t sum = w[0] * c0 + w[1] * c1 + w[2] * c2;
    auto pre = [&](int n) { return w[0] * (c0 >> n) + w[1] * (c1 >> n) + w[2] * (c2 >> n); };
    if (from == VSK_8U && to == VSK_8U) return (sum >> 8) & 0xFF;
    if (from == VSK_8U && to == VSK_16U) return sum & 0xFFFF;
    if (from == VSK_8U && to == VSK_1U) return (sum >> 8) > 127;
    if (from == VSK_16U && to == VSK_8U) return (sum >> 16) & 0xFF;
    if (from == VSK_16U && to == VSK_16U) return (sum >> 8) & 0xFFFF;
    if (from == VSK_16U && to == VSK_1U) return (sum >> 8) > 32767;
    if (to == VSK_8U) return (pre(11) >> 21) & 0xFF;
    if (to == VSK_16U) return (pre(11) >> 13) & 0xFFFF;
    return pre(10) > 0x1FFFFFFF;
}

// Channel i (0 red-or-first, 1, 2) of a colour pixel as the kernels read it.
std::int64_t colorValue(const VskImage* image, int x, int y, int i) {
    if (image->dataOrder == VSK_DATA_ORDER_PIXEL) return get(image, x, y, i);
    return get(image, x, y, channelOf(image, "RGB"[i]));
}

const unsigned kGrayPairs[][2] = {
    {VSK_8U, VSK_8U},  {VSK_8U, VSK_16U}, {VSK_8U, VSK_1U},   {VSK_16U, VSK_8U}, {VSK_16U, VSK_16U},
    {VSK_16U, VSK_1U}, {VSK_32S, VSK_8U}, {VSK_32S, VSK_16U}, {VSK_32S, VSK_1U},
};

// The grey-to-colour coefficients, straight from their definition.
struct Coeffs {
    std::int64_t k[3];
    int shift;
    float f[3];
};
Coeffs coeffsModel(unsigned to, float r, float g, float b) {
    const bool fine = to == VSK_16U || to == VSK_32S;
    const double scale = fine ? 32768.0 : 256.0;
    Coeffs c{};
    const float fr[3] = {r, g, b};
    for (int i = 0; i < 3; ++i) {
        c.k[i] = static_cast<std::int64_t>(std::trunc(scale * fr[i])) & 0xFFFF;
        c.f[i] = fr[i];
    }
    c.shift = fine ? 15 : 8;
    if (c.k[0] || c.k[1] || c.k[2]) return c;
    if (to == VSK_32S) return {{0, 0, 0}, 0, {0.212671f, 0.71516f, 0.072169f}};
    if (to == VSK_16U) return {{109, 366, 37}, 9, {}};
    return {{54, 183, 18}, 8, {}};
}

// Channel i of the colour that grey g spreads into.
std::int64_t spreadModel(unsigned from, unsigned to, const Coeffs& c, std::int64_t g, int i,
                         bool redFirst) {
    if (from == VSK_1U) {
        const int k = redFirst ? i : 2 - i;
        return g ? ((c.k[k] * 255) >> c.shift) & 255 : 0;
    }
    if (to == VSK_32S) return static_cast<std::int32_t>(static_cast<float>(g) * c.f[i]);
    return ((g * c.k[i]) >> c.shift) & (to == VSK_8U ? 0xFF : 0xFFFF);
}

}  // namespace

TEST(ColorToGray, EveryDepthPairFollowsTheWeightTable) {
    std::uint32_t seed = 1;
    for (const auto& pair : kGrayPairs)
        for (int order : {VSK_DATA_ORDER_PIXEL, VSK_DATA_ORDER_PLANE})
            for (const char* seq : {"RGB", "BGR", "GBR"}) {
                SCOPED_TRACE(testing::Message()
                             << pair[0] << "->" << pair[1] << " order " << order << " " << seq);
                ImagePtr src = makeImage(3, pair[0], order, 5, 9, 0, 4, "RGB", seq);
                ImagePtr dst =
                    makeImage(1, pair[1], VSK_DATA_ORDER_PIXEL, 5, 9, 0, 4, "GRAY", "GRAY");
                fillRandom(src.get(), seed++);
                ErrorCapture capture;
                tvskColorToGray(src.get(), dst.get(), nullptr);
                EXPECT_EQ(reportsOf(capture), "");
                for (int y = 0; y < 5; ++y)
                    for (int x = 0; x < 9; ++x)
                        ASSERT_EQ(get(dst.get(), x, y),
                                  grayModel(pair[0], pair[1], colorValue(src.get(), x, y, 0),
                                            colorValue(src.get(), x, y, 1),
                                            colorValue(src.get(), x, y, 2), seq[0] == 'R'))
                            << x << "," << y;
            }
}

TEST(ColorToGray, ChannelOrderCases) {
    struct Case {
        int order;
        const char* seq;
        unsigned to;
        int c[3];  // pixel values in memory (or plane) order
        int grey;
    } cases[] = {
        {VSK_DATA_ORDER_PIXEL, "RGB", VSK_8U, {255, 255, 255}, 254},  // weights sum to 255/256
        // "BGR" in pixel order: correct luminance 18 B + 183 G + 54 R.
        {VSK_DATA_ORDER_PIXEL, "BGR", VSK_8U, {10, 20, 200}, (18 * 10 + 183 * 20 + 54 * 200) >> 8},
        // "BGR" in plane order: the planes are found by letter, the weights
        // still swapped: 18 R + 183 G + 54 B.
        {VSK_DATA_ORDER_PLANE, "BGR", VSK_8U, {10, 20, 200}, (18 * 200 + 183 * 20 + 54 * 10) >> 8},
        // 1-bit destinations weight 54 first + 183 second + 18 third.
        {VSK_DATA_ORDER_PIXEL, "BGR", VSK_1U, {0, 120, 255}, 0},
        {VSK_DATA_ORDER_PIXEL, "RGB", VSK_1U, {255, 120, 0}, 1},
        // The bit is set above grey 127: 129s give 128, 128s give 127.
        {VSK_DATA_ORDER_PIXEL, "RGB", VSK_1U, {129, 129, 129}, 1},
        {VSK_DATA_ORDER_PIXEL, "RGB", VSK_1U, {128, 128, 128}, 0},
        {VSK_DATA_ORDER_PIXEL, "RGB", VSK_16U, {255, 255, 255}, 255 * 255},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.seq << " order " << c.order << " to " << c.to);
        ImagePtr src = makeImage(3, VSK_8U, c.order, 1, 1, 0, 4, "RGB", c.seq);
        for (int i = 0; i < 3; ++i) put(src.get(), 0, 0, i, c.c[i]);
        ImagePtr dst = makeImage(1, c.to, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, "GRAY", "GRAY");
        ErrorCapture capture;
        tvskColorToGray(src.get(), dst.get(), nullptr);
        EXPECT_EQ(get(dst.get(), 0, 0), c.grey);
    }
}

TEST(ColorToGray, DestinationLayouts) {
    ErrorCapture capture;
    // A plane-ordered three-channel destination of any model receives the grey
    // values in its first plane only.
    ImagePtr src = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 3, 5, 0, 4, "RGB", "RGB");
    fillRandom(src.get(), 9);
    ImagePtr dst = makeImage(3, VSK_8U, VSK_DATA_ORDER_PLANE, 3, 5, 77, 4, "XYZ", "XYZ");
    tvskColorToGray(src.get(), dst.get(), nullptr);
    EXPECT_EQ(reportsOf(capture), "");
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) {
            EXPECT_EQ(get(dst.get(), x, y, 0),
                      grayModel(VSK_8U, VSK_8U, get(src.get(), x, y, 0), get(src.get(), x, y, 1),
                                get(src.get(), x, y, 2), true));
            EXPECT_EQ(get(dst.get(), x, y, 1), 77);
            EXPECT_EQ(get(dst.get(), x, y, 2), 77);
        }

    // A 1-bit row keeps the bits after its last value.
    ImagePtr white = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 2, 9, 255, 4, "RGB", "RGB");
    ImagePtr bits = makeImage(1, VSK_1U, VSK_DATA_ORDER_PIXEL, 2, 9, 0, 4, "GRAY", "GRAY");
    for (std::size_t i = 0; i < 8; ++i) bits->imageData[i] = 0x55;
    tvskColorToGray(white.get(), bits.get(), nullptr);
    EXPECT_EQ(bytesOf(bits.get()),
              (std::vector<std::uint8_t>{0xFF, 0xD5, 0x55, 0x55, 0xFF, 0xD5, 0x55, 0x55}));
}

TEST(ColorToGray, InPlaceRowsRunFromTheLastValueToTheFirst) {
    ErrorCapture capture;
    // One image as source and destination: pixel k reads values k, k+1 and
    // k+2, which the later pixels of the row have already replaced.
    ImagePtr image = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 2, 4, 0, 4, "RGB", "RGB");
    fillRandom(image.get(), 21);
    std::vector<int> v(image->imageData, image->imageData + 8);
    for (int& x : v) x &= 0xFF;
    for (int row = 0; row < 2; ++row)
        for (int k = 3; k >= 0; --k) {
            const int at = row * 4 + k;
            if (at + 2 < 8) v[at] = (54 * v[at] + 183 * v[at + 1] + 18 * v[at + 2]) >> 8;
        }
    tvskColorToGray(image.get(), image.get(), nullptr);
    EXPECT_EQ(reportsOf(capture), "");
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(static_cast<std::uint8_t>(image->imageData[i]), v[i]) << i;
}

TEST(ColorToGray, UntiledImagesOfDifferentSizesChangeTheCommonRectangle) {
    ErrorCapture capture;
    ImagePtr src = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 4, 10, 200, 4, "RGB", "RGB");
    ImagePtr dst = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 6, 12, 7, 4, "GRAY", "GRAY");
    setRoi(src.get(), 0, 2, 1, 1, 1);  // ignored: colour operations work on whole images
    tvskColorToGray(src.get(), dst.get(), nullptr);
    EXPECT_EQ(reportsOf(capture), "");
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 12; ++x)
            ASSERT_EQ(get(dst.get(), x, y), y < 4 && x < 10 ? (255 * 200) >> 8 : 7)
                << x << "," << y;
}

TEST(ColorToGray, ReadsStopAtTheEndOfTheSourceBuffer) {
    ErrorCapture capture;
    // A one-channel source named "RGB" makes every pixel read two values past
    // it; the last row's reads would leave the buffer.
    GuardedImage src(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 2, 8);
    setNames(src.get(), "RGB", "RGB");
    for (int i = 0; i < 16; ++i) src.get()->imageData[i] = static_cast<char>(i * 10);
    ImagePtr dst = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 2, 8, 99, 4, "GRAY", "GRAY");
    tvskColorToGray(src.get(), dst.get(), nullptr);
    EXPECT_EQ(reportsOf(capture), "");
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 8; ++x) {
            const int k = y * 8 + x;
            const int expected =
                k + 2 < 16 ? (54 * k * 10 + 183 * (k + 1) * 10 + 18 * (k + 2) * 10) >> 8 : 99;
            EXPECT_EQ(get(dst.get(), x, y), expected) << x << "," << y;
        }
}

TEST(GrayToColor, FractionsAndDefaults) {
    struct Case {
        unsigned depth;
        float f[3];
        std::int64_t grey;
        std::int64_t expected[3];
    } cases[] = {
        {VSK_8U, {0, 0, 0}, 200, {(54 * 200) >> 8, (183 * 200) >> 8, (18 * 200) >> 8}},
        {VSK_8U, {1, 1, 1}, 201, {201, 201, 201}},
        {VSK_8U, {2, 2, 2}, 201, {(2 * 201) & 255, (2 * 201) & 255, (2 * 201) & 255}},
        {VSK_8U, {256, 256, 256}, 201, {(54 * 201) >> 8, (183 * 201) >> 8, (18 * 201) >> 8}},
        {VSK_8U, {0.003f, 0.002f, 0}, 201, {(54 * 201) >> 8, (183 * 201) >> 8, (18 * 201) >> 8}},
        {VSK_8U, {0.5f, 0.25f, 1.0f / 256}, 255, {127, 63, 0}},
        {VSK_16U, {1, 1, 1}, 60000, {60000, 60000, 60000}},
        {VSK_16U, {2, 2, 2}, 60000, {(109 * 60000) >> 9, (366 * 60000) >> 9, (37 * 60000) >> 9}},
        {VSK_16U, {0.5f, 1.5f, 0}, 65535, {32767, (49152LL * 65535 >> 15) & 0xFFFF, 0}},
        {VSK_32S, {0, 0, 0}, 1000000, {212671, 715160, 72169}},
        {VSK_32S, {2, 2, 2}, 1000000, {212671, 715160, 72169}},
        {VSK_32S, {0.5f, -1, 3}, -1000001, {-500000, 1000001, -3000003}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.depth << " " << c.f[0] << "," << c.f[1] << "," << c.f[2]);
        ImagePtr src = makeImage(1, c.depth, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, "GRAY", "GRAY");
        ImagePtr dst = makeImage(3, c.depth, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, "RGB", "RGB");
        put(src.get(), 0, 0, 0, c.grey);
        ErrorCapture capture;
        tvskGrayToColor(src.get(), dst.get(), c.f[0], c.f[1], c.f[2], nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        for (int i = 0; i < 3; ++i) EXPECT_EQ(get(dst.get(), 0, 0, i), c.expected[i]) << i;
    }
}

TEST(GrayToColor, ChannelOrderAndAlpha) {
    ErrorCapture capture;
    // One bit: set pixels take the default colour in the destination's order.
    for (const char* seq : {"RGBA", "BGRA"}) {
        ImagePtr src = makeImage(1, VSK_1U, VSK_DATA_ORDER_PIXEL, 1, 2, 0, 4, "GRAY", "GRAY");
        put(src.get(), 0, 0, 0, 1);
        ImagePtr dst = makeImage(4, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 2, 99, 4, "RGBA", seq);
        tvskGrayToColor(src.get(), dst.get(), 0, 0, 0, nullptr);
        const bool rgb = seq[0] == 'R';
        EXPECT_EQ(get(dst.get(), 0, 0, 0), rgb ? 53 : 17);
        EXPECT_EQ(get(dst.get(), 0, 0, 1), 182);
        EXPECT_EQ(get(dst.get(), 0, 0, 2), rgb ? 17 : 53);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(get(dst.get(), 1, 0, i), 0);
        EXPECT_EQ(get(dst.get(), 0, 0, 3), 99);  // alpha is never written
        EXPECT_EQ(get(dst.get(), 1, 0, 3), 99);
    }
    // Eight bits into "BGR": the first value in memory takes redFraction.
    ImagePtr src = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 1, 100, 4, "GRAY", "GRAY");
    ImagePtr dst = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, "RGB", "BGR");
    tvskGrayToColor(src.get(), dst.get(), 1.0f, 0.5f, 0.0f, nullptr);
    EXPECT_EQ(get(dst.get(), 0, 0, 0), 100);
    EXPECT_EQ(get(dst.get(), 0, 0, 1), 50);
    EXPECT_EQ(get(dst.get(), 0, 0, 2), 0);
    EXPECT_EQ(reportsOf(capture), "");
}

TEST(GrayToColor, EverySourceDepthAndLayoutFollowsTheModel) {
    struct Case {
        unsigned from, to;
        int order;
        const char* seq;
        float f[3];
    } cases[] = {
        {VSK_8U, VSK_8U, VSK_DATA_ORDER_PIXEL, "RGB", {0.3f, 0.59f, 0.11f}},
        {VSK_8U, VSK_8U, VSK_DATA_ORDER_PLANE, "BGR", {-0.25f, 1.5f, 0.75f}},
        {VSK_16U, VSK_16U, VSK_DATA_ORDER_PIXEL, "BGR", {0.3f, 0.59f, 1.25f}},
        {VSK_16U, VSK_16U, VSK_DATA_ORDER_PLANE, "GRB", {0, 0, 0}},
        {VSK_32S, VSK_32S, VSK_DATA_ORDER_PIXEL, "RGB", {0.3f, 0.59f, 0.11f}},
        {VSK_32S, VSK_32S, VSK_DATA_ORDER_PLANE, "BGR", {0, 0, 0}},
        {VSK_1U, VSK_8U, VSK_DATA_ORDER_PIXEL, "BGR", {0.5f, 0.25f, 1.0f}},
        {VSK_1U, VSK_8U, VSK_DATA_ORDER_PLANE, "RGB", {0, 0, 0}},
    };
    std::uint32_t seed = 40;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << " order " << c.order << " " << c.seq);
        ImagePtr src = makeImage(1, c.from, c.order, 4, 11, 0, 4, "GRAY", "GRAY");
        ImagePtr dst = makeImage(3, c.to, c.order, 4, 11, 0, 4, "RGB", c.seq);
        fillRandom(src.get(), seed++);
        ErrorCapture capture;
        tvskGrayToColor(src.get(), dst.get(), c.f[0], c.f[1], c.f[2], nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        const Coeffs k = coeffsModel(c.to, c.f[0], c.f[1], c.f[2]);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 11; ++x)
                for (int i = 0; i < 3; ++i) {
                    // Plane order finds the planes by letter; pixel order
                    // writes values 0, 1, 2.
                    const int channel =
                        c.order == VSK_DATA_ORDER_PLANE ? channelOf(dst.get(), "RGB"[i]) : i;
                    ASSERT_EQ(
                        get(dst.get(), x, y, channel),
                        spreadModel(c.from, c.to, k, get(src.get(), x, y), i, c.seq[0] == 'R'))
                        << x << "," << y << " channel " << i;
                }
    }
}

TEST(GrayToColor, RefusesMoreThan65535Rows) {
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 65536, 1, 5, 4, "GRAY", "GRAY");
    ImagePtr dst = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 65536, 1, 7, 4, "RGB", "RGB");
    tvskGrayToColor(src.get(), dst.get(), 1, 1, 1, nullptr);
    EXPECT_EQ(reportsOf(capture), fault("ownGrayToColor", "errHeight", "owncolor", 1024));
    EXPECT_EQ(get(dst.get(), 0, 0), 7);
    // 65535 rows are fine.
    capture.clear();
    src->height = dst->height = 65535;
    tvskGrayToColor(src.get(), dst.get(), 1, 1, 1, nullptr);
    EXPECT_EQ(reportsOf(capture), "");
    EXPECT_EQ(get(dst.get(), 0, 65534, 2), 5);
}

TEST(ColorAndGray, RowsOfAWidthStepThatIsNotAMultipleOfTheValueSize) {
    // 16-bit rows at odd byte offsets (widthStep 121 and 41 over buffers
    // allocated a pixel wider) are read and written value by value.
    auto at = [](const VskImage* image, int x, int y, int c) {
        std::uint16_t v;
        std::memcpy(&v, image->imageData + y * image->widthStep + 2 * (x * image->nChannels + c), 2);
        return std::int64_t{v};
    };
    ImagePtr rgb = makeImage(3, VSK_16U, VSK_DATA_ORDER_PIXEL, 3, 21, 0, 4, "RGB", "RGB");
    ImagePtr gray = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 3, 21, 0, 4, "GRAY", "GRAY");
    fillRandom(rgb.get(), 51);
    rgb->width = gray->width = 20;
    rgb->widthStep = 121;
    gray->widthStep = 41;
    ErrorCapture capture;
    tvskColorToGray(rgb.get(), gray.get(), nullptr);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 20; ++x)
            ASSERT_EQ(at(gray.get(), x, y, 0),
                      grayModel(VSK_16U, VSK_16U, at(rgb.get(), x, y, 0), at(rgb.get(), x, y, 1),
                                at(rgb.get(), x, y, 2), true))
                << x << "," << y;
    tvskGrayToColor(gray.get(), rgb.get(), 0.3f, 0.59f, 0.11f, nullptr);
    const Coeffs k = coeffsModel(VSK_16U, 0.3f, 0.59f, 0.11f);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 20; ++x)
            for (int i = 0; i < 3; ++i)
                ASSERT_EQ(at(rgb.get(), x, y, i),
                          spreadModel(VSK_16U, VSK_16U, k, at(gray.get(), x, y, 0), i, true))
                    << x << "," << y << " channel " << i;
    EXPECT_EQ(reportsOf(capture), "");
}
