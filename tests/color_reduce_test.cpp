// Bit reduction: the plain reductions, jitter, error diffusion and ordered
// dithering, the levels clamp and the reported faults.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "support/colortest.hpp"

using namespace vsktest;
using namespace colortest;

namespace {

// The reduction of one source value.
std::int64_t reduceModel(unsigned from, unsigned to, std::int64_t v) {
    if (to == VSK_1U) return v > 127;
    if (from == VSK_32S) return (v >> (to == VSK_16U ? 15 : 23)) & (to == VSK_16U ? 0xFFFF : 0xFF);
    return v >> 8;
}

// The noise tables as the library builds them after srand(seed).
struct NoiseModel {
    double uniform[1024];
    int offset[1024];
    explicit NoiseModel(unsigned seed) {
        std::srand(seed);
        for (double& u : uniform) u = (std::rand() % 1024) / 1024.0;
        for (int k = 0; k < 1024; ++k) std::rand();
        for (int& t : offset) t = std::rand() % 1024;
    }
    // The perturbed value of v at column j, row i.
    std::int64_t apply(unsigned from, unsigned to, std::int64_t v, int a, std::int64_t j,
                       std::int64_t i) const {
        const bool bits32 = from == VSK_32S;
        const int k = from == VSK_8U ? 0 : from == VSK_16U ? 1 : to == VSK_16U ? 2 : 3;
        const std::int64_t steps[] = {16, 256, 65536, 1 << 24};
        const std::int64_t limits[] = {239, 65279, 0x7FFEFFFF, 0x7EFFFFFF};
        const std::int64_t step = steps[k], limit = limits[k];
        if (v >= limit) return v;
        if (!bits32 &&
            (v % step) <= static_cast<int>(9.0 * uniform[(j + 4 * i + offset[j % 1024]) % 1024]))
            v += step;
        const std::int64_t n =
            static_cast<std::int64_t>(2 * a * uniform[(i + 4 * j + offset[i % 1024]) % 1024] + 0.5);
        const std::int64_t w = v + (n - a) * step;
        if (from == VSK_8U) return w >= 0 && w <= 255 ? w : v;
        if (from == VSK_16U) return w <= 65535 ? (w & 0xFFFF) : v;
        return w >= 0 && w <= 0x7FFFFFFF ? w : v;
    }
};

}  // namespace

TEST(ReduceBits, PlainReductionsOnTheCommonRectangle) {
    // 32S: v >> 15 (to 16U) or v >> 23 (to 8U), arithmetic, low bits kept;
    // 16U: v >> 8; 8U: a bit set above 127.
    struct Case {
        unsigned from, to;
        std::vector<std::int64_t> in, out;
    } cases[] = {
        {VSK_32S, VSK_16U, {0x12345678, -1, INT32_MAX, INT32_MIN, 0x7FFF},
         {0x2468, 0xFFFF, 0xFFFF, 0, 0}},
        {VSK_32S, VSK_8U, {0x12345678, -1, INT32_MIN, 0x7FFFFF, 0x800000}, {36, 255, 0, 0, 1}},
        {VSK_16U, VSK_8U, {0x1234, 0xFFFF, 0xFF, 0x100, 0x8000}, {0x12, 0xFF, 0, 1, 0x80}},
        {VSK_8U, VSK_1U, {127, 128, 0, 255, 1, 129, 100, 200, 128}, {0, 1, 0, 1, 0, 1, 0, 1, 1}},
    };
    for (const Case& c : cases) {
        const int width = static_cast<int>(c.in.size());
        ImagePtr src = makeImage(1, c.from, VSK_DATA_ORDER_PIXEL, 1, width);
        ImagePtr dst = makeImage(1, c.to, VSK_DATA_ORDER_PIXEL, 1, width);
        for (int x = 0; x < width; ++x) put(src.get(), x, 0, 0, c.in[x]);
        ErrorCapture capture;
        vskReduceBits(src.get(), dst.get(), 0, 1, 3, nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        std::vector<std::int64_t> out;
        for (int x = 0; x < width; ++x) out.push_back(get(dst.get(), x, 0));
        EXPECT_EQ(out, c.out) << c.from << "->" << c.to;
    }
    // Different sizes: only the common top-left rectangle changes.
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 3, 10, 0x1234);
    ImagePtr dst = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 5, 6, 9);
    vskReduceBits(src.get(), dst.get(), 0, 1, 0, nullptr);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) EXPECT_EQ(get(dst.get(), x, y), y < 3 ? 0x12 : 9);
}

TEST(ReduceBits, EightToOneBitReadsEveryNthValueOfPixelOrder) {
    ErrorCapture capture;
    // Three channels with a channel of interest count as one channel.
    ImagePtr src = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 2, 6);
    setRoi(src.get(), 2, 0, 0, 1, 1);
    fillRandom(src.get(), 4);
    ImagePtr dst = makeImage(1, VSK_1U, VSK_DATA_ORDER_PIXEL, 2, 6);
    vskReduceBits(src.get(), dst.get(), 0, 1, 0, nullptr);
    EXPECT_EQ(reportsOf(capture), "");
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 6; ++x) EXPECT_EQ(get(dst.get(), x, y), get(src.get(), x, y, 0) > 127);
}

TEST(ReduceBits, ErrorDiffusionExamples) {
    // Values after the plain reduction, row after row. Floyd-Steinberg, 2 x 3,
    // step 127: 60 becomes 0 and gives 7/16, 1/16, 5/16 of 60 to the right,
    // lower right and below; 86 becomes 127 and gives (-41 x 7) >> 4 = -18
    // (shifts round down); below the last column -3 wraps to 253, and 253 +
    // 13 to 10; the last row diffuses to the right only.
    struct Case {
        unsigned from, to;
        int channels, type, levels, height, width;
        std::vector<std::int64_t> in, out;
    } cases[] = {
        {VSK_16U, VSK_8U, 1, 2, 1, 2, 3, {60, 60, 60, 0, 200, 0}, {0, 127, 0, 0, 254, 254}},
        // 2 x 2: the last value gets 60 >> 4 = 3 from its upper left, (5 x 26)
        // >> 4 = 8 from above and (7 x 22) >> 4 = 9 from its left: 40 + 20 = 60
        // stays under the half step 63.
        {VSK_16U, VSK_8U, 1, 2, 1, 2, 2, {60, 0, 0, 40}, {0, 0, 0, 0}},
        // Jarvis-Judice-Ninke and Stucki, weights added unscaled near the left edge too.
        {VSK_16U, VSK_8U, 1, 4, 2, 3, 4, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120},
         {0, 126, 63, 126, 252, 189, 0, 126, 252, 0, 0, 126}},
        {VSK_16U, VSK_8U, 1, 8, 1, 3, 4, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120},
         {0, 254, 0, 254, 127, 254, 254, 127, 127, 254, 127, 254}},
        {VSK_32S, VSK_16U, 1, 4, 3, 3, 4,
         {1000, 3000, 5000, 7000, 9000, 11000, 13000, 15000, 17000, 19000, 21000, 23000},
         {0, 57337, 57337, 49146, 8191, 16382, 65528, 24573, 8191, 24573, 32764, 32764}},
        {VSK_32S, VSK_16U, 1, 8, 3, 3, 4,
         {1000, 3000, 5000, 7000, 9000, 11000, 13000, 15000, 17000, 19000, 21000, 23000},
         {0, 32764, 49146, 24573, 16382, 8191, 32764, 8191, 32764, 57337, 24573, 57337}},
        // Colour in pixel order: x counts values, a pixel at a time, up to the
        // width in pixels, and x + 1 is the next value: red's error reaches
        // the next pixel's blue (90 - 21), which the last column then
        // quantises; the last row's second pixel is never reached.
        {VSK_16U, VSK_8U, 3, 2, 1, 2, 2, {60, 70, 80, 90, 100, 110, 10, 20, 30, 40, 50, 60},
         {0, 153, 102, 127, 127, 127, 0, 12, 2, 12, 37, 54}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " to " << c.to);
        ErrorCapture capture;
        const char* seq = c.channels == 1 ? "GRAY" : "BGR";
        ImagePtr src = makeImage(c.channels, c.from, 0, c.height, c.width, 0, 4, "RGB", seq);
        ImagePtr dst = makeImage(c.channels, c.to, 0, c.height, c.width, 0, 4, "RGB", seq);
        std::vector<std::int64_t> out;
        for (int k = 0, y = 0; y < c.height; ++y)
            for (int x = 0; x < c.width; ++x)
                for (int ch = 0; ch < c.channels; ++ch, ++k)
                    put(src.get(), x, y, ch, c.in[k] << (c.from == VSK_16U ? 8 : 15));
        vskReduceBits(src.get(), dst.get(), 0, c.type, c.levels, nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        for (int y = 0; y < c.height; ++y)
            for (int x = 0; x < c.width; ++x)
                for (int ch = 0; ch < c.channels; ++ch) out.push_back(get(dst.get(), x, y, ch));
        EXPECT_EQ(out, c.out);
    }
}

TEST(ReduceBits, DitherEdgeCases) {
    ErrorCapture capture;
    // Floyd-Steinberg on one row diffuses only to the right: 60 with step 127
    // rounds down and carries (7 x 60) >> 4 = 26 to the next value.
    ImagePtr src = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 1, 4, 0, 4, "GRAY", "GRAY");
    for (int x = 0; x < 4; ++x) put(src.get(), x, 0, 0, 60 << 8);
    ImagePtr dst = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 4, 0, 4, "GRAY", "GRAY");
    vskReduceBits(src.get(), dst.get(), 0, 2, 1, nullptr);
    EXPECT_EQ(bytesOf(dst.get()), (std::vector<std::uint8_t>{0, 127, 0, 127}));

    // The first letter picks the kernels, not the channel count: a
    // three-channel "GBR" row of two pixels is dithered as grey values three
    // apart below the width in pixels (only value 0), its error going to the
    // next value in memory; the rest keep the plain reduction.
    ImagePtr gbrIn = makeImage(3, VSK_16U, VSK_DATA_ORDER_PIXEL, 1, 2, 0, 4, "RGB", "GBR");
    for (int x = 0; x < 2; ++x)
        for (int ch = 0; ch < 3; ++ch) put(gbrIn.get(), x, 0, ch, 60 << 8);
    ImagePtr gbr = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 2, 0, 4, "RGB", "GBR");
    vskReduceBits(gbrIn.get(), gbr.get(), 0, 2, 1, nullptr);
    EXPECT_EQ(bytesOf(gbr.get()), (std::vector<std::uint8_t>{0, 86, 60, 60, 60, 60, 0, 0}));

    // Levels: 20 on an 8-bit destination acts as 4 (8 / 2), -3 as 0 (step
    // 255: black or white only), 8 as a step of 1 (no change).
    ImagePtr grey = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 6, 10, 0, 4, "GRAY", "GRAY");
    fillRandom(grey.get(), 8);
    auto dithered = [&](int levels) {
        ImagePtr out = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 6, 10, 0, 4, "GRAY", "GRAY");
        vskReduceBits(grey.get(), out.get(), 0, 4, levels, nullptr);
        return bytesOf(out.get());
    };
    EXPECT_EQ(dithered(20), dithered(4));
    EXPECT_EQ(dithered(-3), dithered(0));
    for (int x = 0; x < 10; ++x) {
        const int v = dithered(-3)[x];
        EXPECT_TRUE(v == 0 || v == 255) << v;
    }
    ImagePtr plain = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 6, 10, 0, 4, "GRAY", "GRAY");
    vskReduceBits(grey.get(), plain.get(), 0, 1, 0, nullptr);
    EXPECT_EQ(dithered(8), bytesOf(plain.get()));

    EXPECT_EQ(reportsOf(capture), "");
}

TEST(ReduceBits, JitterFollowsTheNoiseTables) {
    struct Case {
        unsigned from, to;
        int channels, order, amplitude;
    } cases[] = {
        {VSK_8U, VSK_1U, 1, VSK_DATA_ORDER_PIXEL, 8},
        {VSK_16U, VSK_8U, 3, VSK_DATA_ORDER_PIXEL, 8},
        {VSK_32S, VSK_16U, 1, VSK_DATA_ORDER_PIXEL, 5},
        {VSK_32S, VSK_8U, 3, VSK_DATA_ORDER_PLANE, 8},
    };
    std::uint32_t seed = 90;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << "->" << c.to << " order " << c.order);
        ErrorCapture capture;
        ImagePtr src = makeImage(c.channels, c.from, c.order, 6, 21);
        fillRandom(src.get(), seed++);
        // Values at the limits never move: a row of 8-bit 239s stays above the
        // bit threshold, where amplitude 8 takes lower values down by up to 128.
        put(src.get(), 0, 0, 0, c.from == VSK_8U ? 239 : c.from == VSK_16U ? 65279 : 0x7FFFFFFF);
        if (c.from == VSK_8U)
            for (int x = 0; x < 21; ++x) put(src.get(), x, 2, 0, 239);
        // Whole noise steps would always round up; 32-bit values never do.
        if (c.from == VSK_32S)
            for (int x = 0; x < 21; ++x) put(src.get(), x, 1, 0, (x - 10) * (1 << 24));
        const auto before = bytesOf(src.get());
        ImagePtr dst = makeImage(c.channels, c.to, c.order, 6, 21);
        std::srand(1234);
        vskReduceBits(src.get(), dst.get(), c.amplitude, 1, 0, nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        EXPECT_EQ(bytesOf(src.get()), before);  // the noise goes into a private copy
        const NoiseModel noise(1234);
        const bool pixel = c.order == VSK_DATA_ORDER_PIXEL;
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 21; ++x)
                for (int ch = 0; ch < c.channels; ++ch) {
                    // j counts values along the row: pixels times channels in pixel order.
                    const std::int64_t j = pixel ? std::int64_t{x} * c.channels + ch : x;
                    const std::int64_t v =
                        noise.apply(c.from, c.to, get(src.get(), x, y, ch), c.amplitude, j, y);
                    ASSERT_EQ(get(dst.get(), x, y, ch), reduceModel(c.from, c.to, v))
                        << x << "," << y << "," << ch;
                }
        // The same seed gives the same result.
        ImagePtr again = makeImage(c.channels, c.to, c.order, 6, 21);
        std::srand(1234);
        vskReduceBits(src.get(), again.get(), c.amplitude, 1, 0, nullptr);
        EXPECT_EQ(bytesOf(again.get()), bytesOf(dst.get()));
    }
}

TEST(ReduceBits, OrderedDitherRoundsUpOnlyAtThePatternsZero) {
    // A value rounds up to base + q when its remainder exceeds the pattern's
    // threshold times q: only the zero entry, at x and y multiples of 4 from
    // the corner, lets a remainder through, and never a remainder of 0.
    // Results keep their low 8 bits, 16-bit data too. In pixel order x counts
    // values, a pixel at a time, up to the width in pixels: of 9 colour
    // pixels only the first 3 are dithered.
    struct Case {
        unsigned from, to;
        int channels, levels;
        std::int64_t value;  // after the plain reduction
        int up, down;
    } cases[] = {
        {VSK_16U, VSK_8U, 1, 2, 100, 126, 63},     {VSK_16U, VSK_8U, 1, 2, 126, 126, 126},
        {VSK_32S, VSK_16U, 1, 8, 300, 254, 255},   {VSK_16U, VSK_8U, 3, 1, 200, 254, 127},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.value << " levels " << c.levels);
        const char* seq = c.channels == 1 ? "GRAY" : "BGR";
        ImagePtr src = makeImage(c.channels, c.from, 0, 6, 9, 0, 4, "RGB", seq);
        ImagePtr dst = makeImage(c.channels, c.to, 0, 6, 9, 0, 4, "RGB", seq);
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 9; ++x)
                for (int ch = 0; ch < c.channels; ++ch)
                    put(src.get(), x, y, ch, c.value << (c.from == VSK_16U ? 8 : 15));
        vskReduceBits(src.get(), dst.get(), 0, 16, c.levels, nullptr);
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 9; ++x)
                for (int ch = 0; ch < c.channels; ++ch)
                {
                    const int v = c.channels * x;
                    ASSERT_EQ(get(dst.get(), x, y, ch),
                              v >= 9 ? c.value : v % 4 == 0 && y % 4 == 0 ? c.up : c.down)
                        << x << "," << y << "," << ch;
                }
    }
}

TEST(ReduceBits, DitherStaysInsideTheDestination) {
    // A one-channel destination named "BGR" in pixel order makes the colour
    // kernel reach two values past every pixel; the last ones lie past the
    // buffer's end and are skipped.
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 3, 8, 0, 4, "GRAY", "GRAY");
    fillRandom(src.get(), 17);
    GuardedImage dst(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 3, 8);
    setNames(dst.get(), "RGB", "BGR");
    for (int type : {2, 4, 8, 16}) vskReduceBits(src.get(), dst.get(), 0, type, 1, nullptr);
    // A widthStep that is not a multiple of the value size: rows start at odd bytes.
    ImagePtr wide = makeImage(1, VSK_32S, VSK_DATA_ORDER_PIXEL, 3, 8, 0, 4, "GRAY", "GRAY");
    fillRandom(wide.get(), 18);
    ImagePtr odd = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 3, 8, 0, 4, "GRAY", "GRAY");
    odd->widthStep = 15;
    vskReduceBits(wide.get(), odd.get(), 0, 1, 1, nullptr);
    std::uint16_t second;
    std::memcpy(&second, odd->imageData + 15, 2);
    EXPECT_EQ(second, static_cast<std::uint16_t>(get(wide.get(), 0, 1) >> 15));
    for (int type : {2, 16}) vskReduceBits(wide.get(), odd.get(), 0, type, 1, nullptr);
    EXPECT_EQ(reportsOf(capture), "");
}
