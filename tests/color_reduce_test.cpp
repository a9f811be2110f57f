// Bit reduction: the plain reductions, jitter, error diffusion and ordered
// dithering, the levels clamp and the reported faults.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "support/colortest.hpp"

using namespace vsktest;
using namespace colortest;

namespace {

using Values = std::vector<std::int64_t>;

int bytesPer(const VskImage* image) { return static_cast<int>((image->depth & 0x7FFFFFFF) >> 3); }

// Every value of an image's buffer (8- or 16-bit unsigned).
Values valuesOf(const VskImage* image) {
    Values v;
    const auto bytes = bytesOf(image);
    const int b = bytesPer(image);
    for (std::size_t i = 0; i + b <= bytes.size(); i += b)
        v.push_back(b == 1 ? bytes[i] : bytes[i] | (bytes[i + 1] << 8));
    return v;
}

// The reduction of one source value.
std::int64_t reduceModel(unsigned from, unsigned to, std::int64_t v) {
    if (to == VSK_1U) return v > 127;
    if (from == VSK_32S) return (v >> (to == VSK_16U ? 15 : 23)) & (to == VSK_16U ? 0xFFFF : 0xFF);
    return v >> 8;
}

// Dithering of a whole image's buffer, step by step as the kernels are
// described: slots are the value offsets of the channels (one for grey).
void ditherModel(Values& v, std::int64_t mask, const std::vector<std::int64_t>& slots,
                 std::int64_t step, std::int64_t width, std::int64_t height, std::int64_t s, int q,
                 int type, bool wide) {
    std::vector<std::int64_t> e(slots.size());
    auto at = [&](std::size_t c, std::int64_t y, std::int64_t x) -> std::int64_t& {
        return v.at(static_cast<std::size_t>(slots[c] + y * step + x));
    };
    auto quantise = [&](std::int64_t y, std::int64_t x) {
        for (std::size_t c = 0; c < slots.size(); ++c) {
            const std::int64_t old = at(c, y, x);
            const std::int64_t base = q * (old / q);
            const std::int64_t now = old - base > q / 2 ? base + q : base;
            at(c, y, x) = now & mask;
            e[c] = old - now;
        }
    };
    auto add = [&](std::int64_t y, std::int64_t x, std::int64_t weight, int shift) {
        for (std::size_t c = 0; c < slots.size(); ++c) {
            const std::int64_t d = weight * e[c];
            at(c, y, x) = (at(c, y, x) + (d >> shift)) & mask;  // shifts round toward -infinity
        }
    };
    if (type == 2) {
        for (std::int64_t y = 0; y < height - 1; ++y) {
            std::int64_t x = 0;
            for (; x < width - 1; x += s) {
                quantise(y, x);
                add(y, x + 1, 7, 4);
                add(y + 1, x + 1, 1, 4);
                add(y + 1, x, 5, 4);
                if (x > 0) add(y + 1, x - 1, 3, 4);
            }
            quantise(y, x);
            add(y + 1, x, 5, 4);
            if (x > 0) add(y + 1, x - 1, 3, 4);
        }
        for (std::int64_t x = 0; x < width; x += s) {
            quantise(height - 1, x);
            if (x + 1 < width) add(height - 1, x + 1, 7, 4);
        }
    } else if (type == 4 || type == 8) {
        const std::int64_t jarvis[12] = {37, 26, 15, 26, 37, 26, 15, 5, 15, 26, 15, 5};
        const std::int64_t stucki[12] = {48, 24, 12, 24, 48, 24, 12, 6, 12, 24, 12, 6};
        const std::int64_t jarvis16[12] = {9557, 6826, 4095, 6826, 9557, 6826,
                                           4095, 1365, 4095, 6826, 4095, 1365};
        const std::int64_t stucki16[12] = {12482, 6241, 3120, 6241, 12482, 6241,
                                           3120,  1560, 3120, 6241, 3120,  1560};
        const std::int64_t* w = type == 4 ? (wide ? jarvis16 : jarvis) : (wide ? stucki16 : stucki);
        for (std::int64_t y = 0; y < height; ++y)
            for (std::int64_t x = 0; x < width; x += s) {
                quantise(y, x);
                const std::int64_t r = std::min<std::int64_t>(2, width - x - 1);
                const std::int64_t l = std::min<std::int64_t>(2, x);
                for (std::int64_t k = 0; k < r; ++k) add(y, x + 1 + k, w[k], 0);
                for (std::int64_t k = 0; k <= r + l; ++k) {
                    if (y + 1 < height) add(y + 1, x - l + k, w[2 + k], 0);
                    if (y + 2 < height) add(y + 2, x - l + k, w[7 + k], 0);
                }
            }
    } else {
        const std::int64_t m[16] = {0,  120, 30, 150, 180, 60,  210, 90,
                                    45, 165, 15, 135, 225, 105, 195, 75};
        for (std::int64_t y = 0; y < height; ++y)
            for (std::int64_t x = 0; x < width; x += s)
                for (std::size_t c = 0; c < slots.size(); ++c) {
                    const std::int64_t old = at(c, y, x), base = q * (old / q);
                    const std::int64_t threshold = m[(y % 4) + 4 * (x % 4)] * (wide ? 257 : 1) * q;
                    at(c, y, x) = (old - base > threshold ? base + q : base) & 0xFF;
                }
    }
}

// Value offsets of the channels the dither treats in lock-step.
std::vector<std::int64_t> slotsOf(const VskImage* image) {
    if (image->channelSeq[0] == 'G') return {0};
    if (image->dataOrder == VSK_DATA_ORDER_PIXEL)
        return image->channelSeq[0] == 'R' ? std::vector<std::int64_t>{0, 1, 2}
                                           : std::vector<std::int64_t>{2, 1, 0};
    const std::int64_t plane = image->widthStep / bytesPer(image) * image->height;
    return {channelOf(image, 'R') * plane, channelOf(image, 'G') * plane,
            channelOf(image, 'B') * plane};
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
        const std::int64_t step = from == VSK_8U    ? 16
                                  : from == VSK_16U ? 256
                                  : to == VSK_16U   ? 65536
                                                    : 1 << 24;
        const std::int64_t limit = from == VSK_8U    ? 239
                                   : from == VSK_16U ? 65279
                                   : to == VSK_16U   ? 0x7FFEFFFF
                                                     : 0x7EFFFFFF;
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
    struct Case {
        unsigned from, to;
        int channels, order, width;
    } cases[] = {
        {VSK_32S, VSK_16U, 3, VSK_DATA_ORDER_PIXEL, 9},
        {VSK_32S, VSK_16U, 2, VSK_DATA_ORDER_PLANE, 8},
        {VSK_32S, VSK_8U, 1, VSK_DATA_ORDER_PIXEL, 12},
        {VSK_32S, VSK_8U, 3, VSK_DATA_ORDER_PLANE, 7},
        {VSK_16U, VSK_8U, 3, VSK_DATA_ORDER_PIXEL, 9},
        {VSK_16U, VSK_8U, 3, VSK_DATA_ORDER_PLANE, 8},
        {VSK_8U, VSK_1U, 1, VSK_DATA_ORDER_PIXEL, 13},
        {VSK_8U, VSK_1U, 1, VSK_DATA_ORDER_PLANE, 8},
    };
    std::uint32_t seed = 11;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.from << "->" << c.to << " order " << c.order << " width " << c.width);
        ErrorCapture capture;
        ImagePtr src = makeImage(c.channels, c.from, c.order, 5, c.width);
        ImagePtr dst = makeImage(c.channels, c.to, c.order, 5, c.width);
        fillRandom(src.get(), seed++);
        vskReduceBits(src.get(), dst.get(), 0, 1, 3, nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < c.width; ++x)
                for (int ch = 0; ch < c.channels; ++ch)
                    ASSERT_EQ(get(dst.get(), x, y, ch),
                              reduceModel(c.from, c.to, get(src.get(), x, y, ch)))
                        << x << "," << y << "," << ch;
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

TEST(ReduceBits, DitheringFollowsTheKernels) {
    struct Case {
        unsigned from, to;
        int channels, order;
        const char* seq;
        int type, levels;
    } cases[] = {
        {VSK_16U, VSK_8U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 2, 1},
        {VSK_16U, VSK_8U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 2, 3},
        {VSK_16U, VSK_8U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 4, 2},
        {VSK_16U, VSK_8U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 8, 1},
        {VSK_16U, VSK_8U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 16, 2},
        {VSK_32S, VSK_16U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 2, 4},
        {VSK_32S, VSK_16U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 4, 3},
        {VSK_32S, VSK_16U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 8, 12},
        {VSK_32S, VSK_16U, 1, VSK_DATA_ORDER_PIXEL, "GRAY", 16, 0},
        // Colour: the three slots in lock-step; x + 1 is the next value.
        {VSK_16U, VSK_8U, 3, VSK_DATA_ORDER_PIXEL, "BGR", 2, 1},
        {VSK_16U, VSK_8U, 3, VSK_DATA_ORDER_PIXEL, "RGB", 4, 2},
        {VSK_16U, VSK_8U, 3, VSK_DATA_ORDER_PLANE, "BGR", 8, 1},
        {VSK_32S, VSK_16U, 3, VSK_DATA_ORDER_PLANE, "GBR", 2, 5},
        {VSK_16U, VSK_8U, 4, VSK_DATA_ORDER_PIXEL, "BGRA", 16, 1},
    };
    std::uint32_t seed = 70;
    for (const Case& c : cases) {
        for (int height : {1, 2, 7}) {
            SCOPED_TRACE(testing::Message() << c.from << "->" << c.to << " " << c.seq << " order "
                                            << c.order << " type " << c.type << " rows " << height);
            ErrorCapture capture;
            ImagePtr src = makeImage(c.channels, c.from, c.order, height, 13, 0, 4, "RGB", c.seq);
            ImagePtr dst = makeImage(c.channels, c.to, c.order, height, 13, 0, 4, "RGB", c.seq);
            ImagePtr plain = makeImage(c.channels, c.to, c.order, height, 13, 0, 4, "RGB", c.seq);
            fillRandom(src.get(), seed++);
            vskReduceBits(src.get(), plain.get(), 0, 1, 0, nullptr);
            vskReduceBits(src.get(), dst.get(), 0, c.type, c.levels, nullptr);
            EXPECT_EQ(reportsOf(capture), "");
            Values expected = valuesOf(plain.get());
            const bool wide = c.to == VSK_16U;
            int q = (wide ? 65535 : 255) >> c.levels;
            ditherModel(expected, wide ? 0xFFFF : 0xFF, slotsOf(dst.get()),
                        dst->widthStep / bytesPer(dst.get()), 13, height,
                        c.order == VSK_DATA_ORDER_PIXEL ? c.channels : 1, q ? q : 1, c.type, wide);
            EXPECT_EQ(valuesOf(dst.get()), expected);
        }
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

    // Ordered dither of 16-bit data: values end up in 0..255, and only
    // positions whose x and y are multiples of 4 can round up.
    ImagePtr wide = makeImage(1, VSK_32S, VSK_DATA_ORDER_PIXEL, 8, 8, 0, 4, "GRAY", "GRAY");
    fillRandom(wide.get(), 12);
    ImagePtr out = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 8, 8, 0, 4, "GRAY", "GRAY");
    vskReduceBits(wide.get(), out.get(), 0, 16, 4, nullptr);
    const int q = 65535 >> 4;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const std::int64_t v = (get(wide.get(), x, y) >> 15) & 0xFFFF, base = v / q * q;
            const bool up = x % 4 == 0 && y % 4 == 0 && v > base;
            EXPECT_EQ(get(out.get(), x, y), (up ? base + q : base) & 0xFF) << x << "," << y;
        }
    EXPECT_EQ(reportsOf(capture), "");
}

TEST(ReduceBits, JitterFollowsTheNoiseTables) {
    struct Case {
        unsigned from, to;
        int channels, order, amplitude;
    } cases[] = {
        {VSK_8U, VSK_1U, 1, VSK_DATA_ORDER_PIXEL, 3},
        {VSK_16U, VSK_8U, 3, VSK_DATA_ORDER_PIXEL, 8},
        {VSK_16U, VSK_8U, 2, VSK_DATA_ORDER_PLANE, 1},
        {VSK_32S, VSK_16U, 1, VSK_DATA_ORDER_PIXEL, 5},
        {VSK_32S, VSK_8U, 3, VSK_DATA_ORDER_PLANE, 8},
    };
    std::uint32_t seed = 90;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << "->" << c.to << " order " << c.order);
        ErrorCapture capture;
        ImagePtr src = makeImage(c.channels, c.from, c.order, 6, 21);
        fillRandom(src.get(), seed++);
        // Values at the limits never move.
        put(src.get(), 0, 0, 0, c.from == VSK_8U ? 239 : c.from == VSK_16U ? 65279 : 0x7FFFFFFF);
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

TEST(ReduceBits, JitterStaysWithinItsAmplitude) {
    // Whatever the random sequence: 16-bit values well inside the range move
    // by at most the amplitude plus the round-up, in whole output levels.
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_16U, VSK_DATA_ORDER_PIXEL, 16, 64);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 64; ++x) put(src.get(), x, y, 0, 4096 + (x * 911 + y * 577) % 57000);
    for (unsigned seed : {1u, 2u, 3u}) {
        std::srand(seed);
        ImagePtr dst = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 16, 64);
        vskReduceBits(src.get(), dst.get(), 4, 1, 0, nullptr);
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 64; ++x) {
                const std::int64_t d = get(dst.get(), x, y) - (get(src.get(), x, y) >> 8);
                ASSERT_GE(d, -4);
                ASSERT_LE(d, 5);
            }
    }
    EXPECT_EQ(reportsOf(capture), "");
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
