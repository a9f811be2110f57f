// Colour to grey and grey to colour on untiled images: the weight table at
// named values, channel orders, coefficient defaults, geometry and the row
// limit. The golden hashes sweep every depth, layout, ROI and tiling.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "support/colortest.hpp"

using namespace vsktest;
using namespace colortest;

TEST(ColorToGray, WeightTableAtNamedValues) {
    // c in memory (or plane) order. 8 and 16 bits: 54, 183, 18 (/256); 32
    // bits: 109, 366, 37 (/512) on values shifted right by 11 (by 10 for a
    // bit). A first letter other than "R" swaps the outer weights, except for
    // 1-bit destinations; results keep their low bits.
    const int pix = VSK_DATA_ORDER_PIXEL, planes = VSK_DATA_ORDER_PLANE;
    struct Case {
        unsigned from, to;
        int order;
        const char* seq;
        std::int64_t c[3], grey;
    } cases[] = {
        {VSK_8U, VSK_8U, pix, "RGB", {255, 255, 255}, 254},  // weights sum to 255/256
        {VSK_8U, VSK_8U, pix, "BGR", {10, 20, 200}, 57},      // 18 B + 183 G + 54 R
        // Plane order finds R, G, B by letter, the weights still swapped:
        // 18 R + 183 G + 54 B.
        {VSK_8U, VSK_8U, planes, "BGR", {10, 20, 200}, 30},
        {VSK_8U, VSK_16U, pix, "RGB", {255, 255, 255}, 65025},  // no shift
        {VSK_8U, VSK_1U, pix, "BGR", {0, 120, 255}, 0},         // 54 first + 183 + 18 third
        {VSK_8U, VSK_1U, pix, "RGB", {255, 120, 0}, 1},
        {VSK_8U, VSK_1U, pix, "RGB", {129, 129, 129}, 1},  // grey 128 is above 127
        {VSK_8U, VSK_1U, pix, "RGB", {128, 128, 128}, 0},  // grey 127 is not
        {VSK_16U, VSK_8U, pix, "RGB", {1000, 40000, 65535}, 130},
        {VSK_16U, VSK_8U, pix, "BGR", {1000, 40000, 65535}, 165},
        {VSK_16U, VSK_16U, planes, "RGB", {1000, 40000, 65535}, 33412},
        {VSK_16U, VSK_1U, pix, "RGB", {32896, 32896, 32896}, 0},  // grey 32767
        {VSK_16U, VSK_1U, pix, "RGB", {32897, 32897, 32897}, 1},  // grey 32768
        {VSK_16U, VSK_1U, pix, "BGR", {65535, 35000, 0}, 1},      // 38843, not 29627
        {VSK_32S, VSK_8U, pix, "RGB", {1 << 30, 0, INT_MAX}, 45},
        {VSK_32S, VSK_8U, pix, "BGR", {1 << 30, 0, INT_MAX}, 63},
        {VSK_32S, VSK_8U, pix, "RGB", {INT_MIN, 0, 0}, 201},  // -55, shifts round down
        {VSK_32S, VSK_16U, planes, "RGB", {1 << 30, 0, INT_MAX}, 11711},
        {VSK_32S, VSK_1U, pix, "RGB", {1 << 30, 1 << 30, 1 << 30}, 1},  // 2^29 > 0x1FFFFFFF
        {VSK_32S, VSK_1U, pix, "RGB", {(1 << 30) - 1024, (1 << 30) - 1024, (1 << 30) - 1024}, 0},
        {VSK_32S, VSK_1U, pix, "BGR", {INT_MAX, 1 << 30, 0}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << "->" << c.to << " " << c.seq << " order "
                                        << c.order << " " << c.c[0]);
        ImagePtr src = makeImage(3, c.from, c.order, 1, 1, 0, 4, "RGB", c.seq);
        for (int i = 0; i < 3; ++i) put(src.get(), 0, 0, i, c.c[i]);
        ImagePtr dst = makeImage(1, c.to, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, "GRAY", "GRAY");
        ErrorCapture capture;
        tvskColorToGray(src.get(), dst.get(), nullptr);
        EXPECT_EQ(reportsOf(capture), "");
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
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) {
            const auto at = [&](int c) { return get(src.get(), x, y, c); };
            EXPECT_EQ(get(dst.get(), x, y, 0), (54 * at(0) + 183 * at(1) + 18 * at(2)) >> 8);
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
    EXPECT_EQ(reportsOf(capture), "");
}

TEST(ColorToGray, InPlaceRowsRunFromTheLastValueToTheFirst) {
    ErrorCapture capture;
    // One image as source and destination: pixel k reads values k, k+1 and
    // k+2, which the later pixels of the row have already replaced.
    ImagePtr image = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 2, 4, 0, 4, "RGB", "RGB");
    const int in[8] = {10, 200, 30, 40, 250, 60, 70, 80};
    for (int i = 0; i < 8; ++i) image->imageData[i] = static_cast<char>(in[i]);
    // The reads of row 0 run on into row 1; the last two values have no
    // pixel inside the buffer and stay.
    std::vector<int> v(in, in + 8);
    for (int k = 3; k >= 0; --k) v[k] = (54 * v[k] + 183 * v[k + 1] + 18 * v[k + 2]) >> 8;
    for (int k = 5; k >= 4; --k) v[k] = (54 * v[k] + 183 * v[k + 1] + 18 * v[k + 2]) >> 8;
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
    for (int k = 0; k < 16; ++k)
        EXPECT_EQ(get(dst.get(), k % 8, k / 8),
                  k + 2 < 16 ? (54 * k * 10 + 183 * (k + 1) * 10 + 18 * (k + 2) * 10) >> 8 : 99)
            << k;
}

TEST(GrayToColor, FractionsAndDefaults) {
    // Fractions scale by 256 (by 32768 for 16U and 32S) and keep their low
    // 16 bits; when all three give 0 the defaults apply.
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
    // One bit: set pixels take the default colour in the destination's order;
    // an alpha channel is never written.
    for (const char* seq : {"RGBA", "BGR"}) {
        const int n = static_cast<int>(std::strlen(seq));
        ImagePtr src = makeImage(1, VSK_1U, VSK_DATA_ORDER_PIXEL, 1, 2, 0, 4, "GRAY", "GRAY");
        put(src.get(), 0, 0, 0, 1);
        ImagePtr dst = makeImage(n, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 2, 99, 4, "RGBA", seq);
        tvskGrayToColor(src.get(), dst.get(), 0, 0, 0, nullptr);
        const bool rgb = seq[0] == 'R';
        EXPECT_EQ(get(dst.get(), 0, 0, 0), rgb ? 53 : 17);
        EXPECT_EQ(get(dst.get(), 0, 0, 1), 182);
        EXPECT_EQ(get(dst.get(), 0, 0, 2), rgb ? 17 : 53);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(get(dst.get(), 1, 0, i), 0);
        if (n == 4) {
            EXPECT_EQ(get(dst.get(), 0, 0, 3), 99);
            EXPECT_EQ(get(dst.get(), 1, 0, 3), 99);
        }
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
        for (int x = 0; x < 20; ++x) {
            const auto c = [&](int i) { return at(rgb.get(), x, y, i); };
            ASSERT_EQ(at(gray.get(), x, y, 0), (54 * c(0) + 183 * c(1) + 18 * c(2)) >> 8)
                << x << "," << y;
        }
    // 0.3, 0.59 and 0.11 scale to 9830, 19333 and 3604 (/32768).
    tvskGrayToColor(gray.get(), rgb.get(), 0.3f, 0.59f, 0.11f, nullptr);
    const std::int64_t k[3] = {9830, 19333, 3604};
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 20; ++x)
            for (int i = 0; i < 3; ++i)
                ASSERT_EQ(at(rgb.get(), x, y, i), (at(gray.get(), x, y, 0) * k[i]) >> 15)
                    << x << "," << y << " channel " << i;
    EXPECT_EQ(reportsOf(capture), "");
}
