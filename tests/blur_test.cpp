// Blur: checks, box means against a per-pixel model (anchors, border modes,
// ROIs and channels of interest, every depth and order), the single-precision
// reciprocal and sums, and the tiled walk with its late releases.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

const unsigned kDepths[] = {VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S};

// A side's constant as a sample: the value widened to the element's bytes.
std::int64_t constantSample(unsigned depth, int value) {
    switch (depth) {
        case VSK_8U: return value & 0xFF;
        case VSK_8S: return static_cast<std::int8_t>(value & 0xFF);
        case VSK_16U: return value & 0xFFFF;
        case VSK_16S: return static_cast<std::int16_t>(value & 0xFFFF);
        default: return value;
    }
}

// The low bits of a 32-bit result, as the depth reads them.
std::int64_t stored(unsigned depth, std::int32_t v) {
    switch (depth) {
        case VSK_8U: return static_cast<std::uint8_t>(v);
        case VSK_8S: return static_cast<std::int8_t>(v);
        case VSK_16U: return static_cast<std::uint16_t>(v);
        case VSK_16S: return static_cast<std::int16_t>(v);
        default: return v;
    }
}

// Source sample at any position: rows above and below by the top and bottom
// modes over their whole width, columns left and right by the side modes.
std::int64_t sampleAt(const VskImage* im, std::int64_t x, std::int64_t y, int c) {
    const std::int64_t W = im->width, H = im->height;
    auto map = [](int mode, std::int64_t i, std::int64_t n) -> std::int64_t {
        switch (mode & 3) {
            case 1: return i < 0 ? 0 : (i >= n ? n - 1 : i);
            case 2: {
                const std::int64_t p = 2 * n, j = ((i % p) + p) % p;
                return j >= n ? p - 1 - j : j;
            }
            default: return ((i % n) + n) % n;
        }
    };
    int side = y < 0 ? 0 : (y >= H ? 1 : (x < 0 ? 2 : (x >= W ? 3 : -1)));
    if (side < 0) return get(im, static_cast<int>(x), static_cast<int>(y), c);
    const int mode = im->borderModes[side];
    if ((mode & 3) == 0) return constantSample(im->depth, im->borderValues[side]);
    if (side >= 2) return get(im, static_cast<int>(map(mode, x, W)), static_cast<int>(y), c);
    return get(im, static_cast<int>(map(mode, x, W)), static_cast<int>(map(mode, y, H)), c);
}

struct Part {
    int x, y, w, h, first, last;
};
Part partOf(const VskImage* im) {
    const VskROI* r = im->roi;
    if (!r) return {0, 0, im->width, im->height, 0, im->nChannels - 1};
    Part p{r->xOffset, r->yOffset, std::min(r->width, im->width - r->xOffset),
           std::min(r->height, im->height - r->yOffset), 0, im->nChannels - 1};
    if (r->coi) p.first = p.last = r->coi - 1;
    return p;
}

// Every destination sample after the blur: inside the common rectangle and
// channel range the box mean, truncated, of exact sums times the reciprocal
// rounded to single precision; elsewhere the old value. `src` is a copy of the
// source taken before the call.
std::vector<std::int64_t> blurModel(const VskImage* src, const VskImage* dst, int nRows, int nCols,
                                    int ax, int ay) {
    const Part s = partOf(src), d = partOf(dst);
    const int w = std::min(s.w, d.w), h = std::min(s.h, d.h);
    const double r = static_cast<float>(1.0 / (nRows * nCols));
    std::vector<std::int64_t> out;
    for (int y = 0; y < dst->height; ++y)
        for (int x = 0; x < dst->width; ++x)
            for (int c = 0; c < dst->nChannels; ++c) {
                const int i = y - d.y, j = x - d.x;
                if (i < 0 || j < 0 || i >= h || j >= w || c < std::max(s.first, d.first) ||
                    c > std::min(s.last, d.last)) {
                    out.push_back(get(dst, x, y, c));
                    continue;
                }
                std::int64_t sum = 0;
                for (int u = 0; u < nRows; ++u)
                    for (int v = 0; v < nCols; ++v)
                        sum += sampleAt(src, s.x + j - ax + v, s.y + i - ay + u, c);
                const double mean = nRows * nCols == 1 ? static_cast<double>(sum) : static_cast<double>(sum) * r;
                out.push_back(stored(dst->depth, static_cast<std::int32_t>(std::trunc(mean))));
            }
    return out;
}

std::vector<std::int64_t> samples(const VskImage* image) {
    std::vector<std::int64_t> out;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < image->nChannels; ++c) out.push_back(get(image, x, y, c));
    return out;
}

// Random samples; 32-bit ones kept small so that single-precision sums stay exact.
void fillSamples(VskImage* image, std::uint32_t seed) {
    fillRandom(image, seed);
    if (image->depth != VSK_32S) return;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < image->nChannels; ++c) put(image, x, y, c, get(image, x, y, c) % 100000);
}

ImagePtr copyOf(const VskImage* image) {
    ImagePtr out = makeImage(image->nChannels, image->depth, image->dataOrder, image->height,
                             image->width, 0, image->align);
    std::memcpy(out->imageData, image->imageData, static_cast<std::size_t>(image->dataSize));
    std::memcpy(out->borderModes, image->borderModes, sizeof image->borderModes);
    std::memcpy(out->borderValues, image->borderValues, sizeof image->borderValues);
    return out;
}

}  // namespace

TEST(Blur, ChecksInOrderWithTheirLines) {
    ErrorCapture capture;
    struct Case {
        const char* what;
        std::function<void(VskImage*, VskImage*)> arrange;
        int nRows, nCols, ax, ay;
        int line;
        const char* text;  // null: the header message
    } cases[] = {
        {"bad source header", [](VskImage* s, VskImage*) { s->dataOrder = 3; }, 3, 3, 1, 1, 272, nullptr},
        {"bad destination header", [](VskImage*, VskImage* d) { d->align = 1; }, -1, 3, 1, 1, 273, nullptr},
        {"depths", [](VskImage* s, VskImage*) { s->depth = VSK_8S; }, -1, 3, -1, 1, 274,
         "(srcImage->depth!=dstImage->depth)"},
        {"depths, one of them 1-bit", [](VskImage* s, VskImage*) { s->depth = VSK_1U; s->nChannels = 1; },
         3, 3, 1, 1, 274, "(srcImage->depth!=dstImage->depth)"},
        {"1-bit", [](VskImage* s, VskImage* d) {
             s->depth = d->depth = VSK_1U;
             s->nChannels = d->nChannels = 1;
         }, -1, 3, 1, 1, 275, "(srcImage->depth==1)"},
        {"negative rows", [](VskImage*, VskImage*) {}, -1, 3, -1, -1, 276, "(nRows<0||nCols<0)"},
        {"negative columns", [](VskImage*, VskImage*) {}, 3, -2, 1, 1, 276, "(nRows<0||nCols<0)"},
        {"negative anchor x", [](VskImage*, VskImage*) {}, 3, 3, -1, 1, 277, "(anchorX<0||anchorY<0)"},
        {"negative anchor y", [](VskImage*, VskImage*) {}, 3, 3, 0, -5, 277, "(anchorX<0||anchorY<0)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ImagePtr src = makeImage(3, VSK_8U, 0, 4, 5, 7);
        ImagePtr dst = makeImage(3, VSK_8U, 0, 4, 5, 1);
        c.arrange(src.get(), dst.get());
        const auto before = bytesOf(dst.get());
        capture.clear();
        tvskBlur(src.get(), dst.get(), c.nRows, c.nCols, c.ax, c.ay, nullptr);
        ASSERT_EQ(capture.reports().size(), 1u);
        const Report& r = capture.reports()[0];
        EXPECT_EQ(r.status, -5);
        EXPECT_EQ(r.func, "vskBlur");
        EXPECT_EQ(r.file, "vskBlur");
        EXPECT_EQ(r.line, c.line);
        if (c.text) {
            EXPECT_EQ(r.context, c.text);
        } else {
            EXPECT_EQ(r.context.rfind("Image ", 0), 0u) << r.context;
        }
        EXPECT_EQ(bytesOf(dst.get()), before);
    }
    // Empty boxes and anchors beyond the box pass.
    capture.clear();
    ImagePtr a = makeImage(1, VSK_8U, 0, 3, 3), b = makeImage(1, VSK_8U, 0, 3, 3);
    tvskBlur(a.get(), b.get(), 0, 3, 0, 0, nullptr);
    tvskBlur(a.get(), b.get(), 2, 2, 9, 7, nullptr);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(Blur, RandomImagesMatchTheModel) {
    ErrorCapture capture;
    std::mt19937 rng(77);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (unsigned depth : kDepths)
        for (int order : {0, 1})
            for (int trial = 0; trial < 30; ++trial) {
                const int sn = std::vector<int>{1, 3, 4}[pick(0, 2)];
                const int dn = trial % 3 == 0 ? std::vector<int>{1, 2, 3, 4}[pick(0, 3)] : sn;
                const bool inPlace = trial % 5 == 4;
                const int sh = pick(1, 14), sw = pick(1, 17);
                GuardedImage src(sn, depth, order, sh, sw, trial % 2 ? 8 : 4);
                GuardedImage dstImage(dn, depth, trial % 4 == 0 ? 1 - order : order, pick(1, 14), pick(1, 17));
                VskImage* dst = inPlace ? src.get() : dstImage.get();
                fillSamples(src.get(), trial + 1);
                fillSamples(dstImage.get(), trial + 100);
                for (int side = 0; side < 4; ++side)
                    vskSetBorderMode(src.get(), pick(0, 3), 1 << side, pick(-300, 300));
                for (VskImage* im : {src.get(), dst}) {
                    if (pick(0, 3) == 0) continue;
                    setRoi(im, pick(0, 2) ? 0 : pick(1, im->nChannels), pick(0, im->width - 1),
                           pick(0, im->height - 1), pick(1, im->height + 2), pick(1, im->width + 2));
                }
                const int nRows = pick(1, 6), nCols = pick(1, 6);
                const int ax = pick(0, 7), ay = pick(0, 7);
                SCOPED_TRACE(testing::Message() << "depth " << depth << " order " << order << " trial " << trial
                                                << " box " << nRows << "x" << nCols << " anchor " << ax << ","
                                                << ay);
                ImagePtr before = copyOf(src.get());
                if (src.get()->roi)
                    setRoi(before.get(), src.get()->roi->coi, src.get()->roi->xOffset, src.get()->roi->yOffset,
                           src.get()->roi->height, src.get()->roi->width);
                const auto expected = blurModel(before.get(), dst, nRows, nCols, ax, ay);
                tvskBlur(src.get(), dst, nRows, nCols, ax, ay, nullptr);
                ASSERT_TRUE(capture.reports().empty());
                ASSERT_EQ(samples(dst), expected);
            }
}

TEST(Blur, ConstantImagesAndTheSinglePrecisionReciprocal) {
    struct Case {
        int nRows, nCols, value, want;
    } cases[] = {
        {3, 3, 100, 100},
        {5, 5, 100, 99},  // 1/25 in single precision is just below 0.04
        {1, 2, 100, 100},
        {4, 4, 100, 100},
    };
    for (const Case& c : cases) {
        ImagePtr src = makeImage(1, VSK_8U, 0, 9, 9, c.value);
        vskSetBorderMode(src.get(), VSK_BORDER_REPLICATE, 15, 0);
        ImagePtr dst = makeImage(1, VSK_8U, 0, 9, 9);
        tvskBlur(src.get(), dst.get(), c.nRows, c.nCols, c.nCols / 2, c.nRows / 2, nullptr);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 9; ++x)
                ASSERT_EQ(get(dst.get(), x, y), c.want) << c.nRows << "x" << c.nCols << " at " << x << "," << y;
    }
    // A fresh header's borders are constant zeros: edge means include them.
    ImagePtr src = makeImage(1, VSK_8U, 0, 4, 4, 90), dst = makeImage(1, VSK_8U, 0, 4, 4);
    tvskBlur(src.get(), dst.get(), 3, 3, 1, 1, nullptr);
    EXPECT_EQ(get(dst.get(), 0, 0), 40);
    EXPECT_EQ(get(dst.get(), 1, 0), 60);
    EXPECT_EQ(get(dst.get(), 1, 1), 90);
}

TEST(Blur, AnchorPlacesTheBox) {
    // A spike at (5, 5): with anchor (0, 0) each output averages itself, two
    // pixels to the right and two rows below, so the spike shows up and left.
    ImagePtr src = makeImage(1, VSK_8U, 0, 10, 10, 0), dst = makeImage(1, VSK_8U, 0, 10, 10);
    put(src.get(), 5, 5, 0, 90);
    struct Case {
        int ax, ay, x0, y0;  // the 3 x 3 outputs that see the spike start here
    } cases[] = {{0, 0, 3, 3}, {1, 1, 4, 4}, {2, 0, 5, 3}, {4, 3, 7, 6}};
    for (const Case& c : cases) {
        tvskBlur(src.get(), dst.get(), 3, 3, c.ax, c.ay, nullptr);
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 10; ++x) {
                const bool hit = x >= c.x0 && x < c.x0 + 3 && y >= c.y0 && y < c.y0 + 3;
                ASSERT_EQ(get(dst.get(), x, y), hit ? 10 : 0) << "anchor " << c.ax << "," << c.ay << " at " << x
                                                              << "," << y;
            }
    }
}

TEST(Blur, SumsAndTruncation) {
    // Each case: a small source with replicated borders, a box with anchor
    // (0, 0), and the result at one position.
    struct Case {
        const char* what;
        unsigned depth;
        std::vector<std::vector<std::int64_t>> rows;
        int nRows, nCols, x, y;
        std::int64_t want;
    } cases[] = {
        {"8s truncates toward zero", VSK_8S, {{-1, -2}}, 1, 2, 0, 0, -1},
        {"8s positive", VSK_8S, {{1, 2}}, 1, 2, 0, 0, 1},
        {"16s", VSK_16S, {{-30000, -30001}, {-30000, -30001}}, 2, 2, 0, 0, -30000},
        // Single-precision column sums: 2^24 + 1 rounds to 2^24 before the 1 is added.
        {"32s float columns", VSK_32S, {{16777217, 0}, {1, 0}}, 2, 1, 0, 0, 8388608},
        // A column sum moving down gains the entering sample, then loses the
        // leaving one: (2^24 + 1) - 2^24 is 0 in single precision.
        {"32s column update", VSK_32S, {{16777216, 0}, {1, 1}}, 1, 2, 0, 1, 0},
        // The row sum adds the single-precision difference 2^24 + 2 - 1.
        {"32s row update", VSK_32S, {{1, 0, 16777218}}, 1, 2, 1, 0, 8388608},
        {"32s 1 x 1 copies exactly", VSK_32S, {{2147483647, -2147483647 - 1}}, 1, 1, 0, 0, 2147483647},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const int h = static_cast<int>(c.rows.size()), w = static_cast<int>(c.rows[0].size());
        ImagePtr src = makeImage(1, c.depth, 0, h, w), dst = makeImage(1, c.depth, 0, h, w);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) put(src.get(), x, y, 0, c.rows[y][x]);
        vskSetBorderMode(src.get(), VSK_BORDER_REPLICATE, 15, 0);
        tvskBlur(src.get(), dst.get(), c.nRows, c.nCols, 0, 0, nullptr);
        EXPECT_EQ(get(dst.get(), c.x, c.y), c.want);
    }
    // 32-bit integer sums wrap: 40000 samples of 65535 exceed 2^31.
    ImagePtr src = makeImage(1, VSK_16U, 0, 1, 1, 0xFFFF), dst = makeImage(1, VSK_16U, 0, 1, 1);
    vskSetBorderMode(src.get(), VSK_BORDER_REPLICATE, 15, 0);
    tvskBlur(src.get(), dst.get(), 200, 200, 0, 0, nullptr);
    const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(40000u * 65535u));
    const double r = static_cast<float>(1.0 / 40000);
    EXPECT_EQ(get(dst.get(), 0, 0), static_cast<std::uint16_t>(static_cast<std::int32_t>(wrapped * r)));
}

TEST(Blur, OnePixelAndEmptyBoxes) {
    ImagePtr src = makeImage(2, VSK_16S, 1, 5, 6);
    fillRandom(src.get(), 4);
    // A 1 x 1 box copies; its anchor shifts the copy like any box's.
    for (int ax : {0, 2})
        for (int ay : {0, 1}) {
            ImagePtr dst = makeImage(2, VSK_16S, 1, 5, 6);
            tvskBlur(src.get(), dst.get(), 1, 1, ax, ay, nullptr);
            for (int y = 0; y < 5; ++y)
                for (int x = 0; x < 6; ++x)
                    for (int c = 0; c < 2; ++c) {
                        const bool inside = x - ax >= 0 && y - ay >= 0;
                        ASSERT_EQ(get(dst.get(), x, y, c), inside ? get(src.get(), x - ax, y - ay, c) : 0)
                            << "anchor " << ax << "," << ay << " at " << x << "," << y;
                    }
        }
    // A box of no pixels has no mean: 0 at 8 and 16 bits, 0x80000000 at 32.
    for (unsigned depth : {VSK_8U, VSK_16S, VSK_32S}) {
        ImagePtr s = makeImage(1, depth, 0, 3, 3, 50), d = makeImage(1, depth, 0, 3, 3, 7);
        tvskBlur(s.get(), d.get(), 0, 3, 0, 0, nullptr);
        tvskBlur(s.get(), d.get(), 2, 0, 0, 0, nullptr);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 3; ++x)
                EXPECT_EQ(get(d.get(), x, y), depth == VSK_32S ? INT32_MIN : 0) << depth;
    }
}

// ---- tiled images ----------------------------------------------------------------

namespace {

struct TiledCase {
    unsigned depth;
    int order, n;
    int sx, sy, dx, dy, rows, cols, coi;
    int nRows, nCols, ax, ay;
    int border;
};

const TiledCase kTiledCases[] = {
    {VSK_8U, 0, 3, 2, 3, 5, 6, 20, 25, 0, 3, 5, 1, 2, VSK_BORDER_REFLECT},
    {VSK_16S, 1, 2, 0, 0, 9, 4, 17, 19, 2, 4, 4, 0, 0, VSK_BORDER_WRAP},
    {VSK_32S, 0, 4, 7, 1, 0, 0, 28, 30, 3, 5, 3, 6, 1, VSK_BORDER_CONSTANT},
    {VSK_8S, 0, 1, 1, 1, 3, 3, 5, 4, 0, 2, 2, 1, 1, VSK_BORDER_REPLICATE},  // inside one tile
};

struct Pair {
    ImagePtr plain;
    TiledImage tiled;
    Pair(const TiledCase& c, int tw, int th, std::uint32_t seed)
        : plain(makeImage(c.n, c.depth, c.order, 29, 37)), tiled(c.n, c.depth, c.order, 29, 37, tw, th) {
        fillSamples(plain.get(), seed);
        tiled.loadFrom(plain.get());
        for (VskImage* im : {plain.get(), tiled.get()}) vskSetBorderMode(im, c.border, 15, 1234);
    }
    std::vector<std::int64_t> pixels() {
        ImagePtr out = makeImage(tiled.get()->nChannels, tiled.get()->depth, tiled.get()->dataOrder, 29, 37);
        tiled.storeTo(out.get());
        return samples(out.get());
    }
    void roi(const TiledCase& c, bool source) {
        for (VskImage* im : {plain.get(), tiled.get()})
            setRoi(im, c.coi, source ? c.sx : c.dx, source ? c.sy : c.dy, c.rows, c.cols);
    }
};

void blur(const TiledCase& c, VskImage* src, VskImage* dst, const int* point = nullptr) {
    tvskBlur(src, dst, c.nRows, c.nCols, c.ax, c.ay, point);
}

}  // namespace

TEST(BlurTiled, EveryPathEqualsThePlainRun) {
    ErrorCapture capture;
    for (const TiledCase& c : kTiledCases) {
        SCOPED_TRACE(testing::Message() << "depth " << c.depth);
        Pair src(c, 16, 8, 31), dst(c, 8, 16, 32), dst2(c, 8, 8, 32);
        src.roi(c, true);
        dst.roi(c, false);
        dst2.roi(c, false);
        ImagePtr want = copyOf(dst.plain.get());
        setRoi(want.get(), c.coi, c.dx, c.dy, c.rows, c.cols);
        blur(c, src.plain.get(), want.get());

        blur(c, src.tiled.get(), dst.plain.get());
        EXPECT_EQ(samples(dst.plain.get()), samples(want.get()));
        blur(c, src.plain.get(), dst.tiled.get());
        EXPECT_EQ(dst.pixels(), samples(want.get()));
        blur(c, src.tiled.get(), dst2.tiled.get());
        EXPECT_EQ(dst2.pixels(), samples(want.get()));
        for (TiledImage* t : {&src.tiled, &dst.tiled, &dst2.tiled}) {
            EXPECT_EQ(t->held, 0);
            EXPECT_EQ(t->badReleases, 0);
        }
        // Each destination tile is requested once and released once.
        std::map<std::pair<int, int>, int> writes, releases;
        for (const TileCall& call : dst2.tiled.log)
            (call.mode == VSK_TILE_WRITE ? writes : releases)[{call.col, call.row}]++;
        EXPECT_EQ(writes, releases);
        for (const auto& [tile, count] : writes) EXPECT_EQ(count, 1);
    }
    EXPECT_TRUE(capture.reports().empty());
}

TEST(BlurTiled, TilesAreReleasedLate) {
    // ROI (3, 5) of 9 x 20 in 8 x 8 tiles: tile columns 0..2, rows 0..1.
    TiledImage t(1, VSK_8U, 0, 16, 24, 8, 8);
    setRoi(t.get(), 0, 3, 5, 9, 20);
    ImagePtr src = makeImage(1, VSK_8U, 0, 16, 24);
    tvskBlur(src.get(), t.get(), 3, 3, 1, 1, nullptr);
    EXPECT_EQ(describe(t.log),
              "(2,0,0)(2,0,1)(2,1,0)(2,1,1)(4,0,0)(2,2,0)(2,2,1)(4,1,0)"
              "(4,0,1)(4,1,1)(4,2,1)(4,2,0)");
    EXPECT_EQ(t.badReleases, 0);
}

TEST(BlurTiled, TilePointChoosesATile) {
    ErrorCapture capture;
    const TiledCase c = kTiledCases[0];  // rectangle (5, 6) to (29, 25)
    struct Case {
        int x, y;
        const char* log;
        int tc, tr;
    } cases[] = {
        {12, 7, "(2,1,0)(4,1,0)", 1, 0},
        {4, 6, "(2,0,0)(4,0,0)", 0, 0},    // left of the rectangle, but in a tile it touches
        {-3, 2, "(2,0,0)(4,0,0)", 0, 0},   // divided toward zero: tile 0
        {31, 26, "(2,3,3)(4,3,3)", 3, 3},
        {32, 10, "", 0, 0},                // tile column 4 starts right of the rectangle
        {10, 33, "", 0, 0},                // tile row 4 starts below it
        {-9, 10, "", 0, 0},                // tile column -1 ends before it
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(testing::Message() << "point " << k.x << "," << k.y);
        Pair src(c, 8, 8, 41), dst(c, 8, 8, 42);
        src.roi(c, true);
        dst.roi(c, false);
        ImagePtr before = copyOf(dst.plain.get());
        blur(c, src.plain.get(), dst.plain.get());
        const int point[2] = {k.x, k.y};
        blur(c, src.plain.get(), dst.tiled.get(), point);
        EXPECT_EQ(describe(dst.tiled.log), k.log);
        for (int y = 0; y < 29; ++y)
            for (int x = 0; x < 37; ++x) {
                const bool mine = *k.log && x / 8 == k.tc && y / 8 == k.tr;
                const VskImage* ref = mine ? dst.plain.get() : before.get();
                for (int ch = 0; ch < c.n; ++ch)
                    ASSERT_EQ(dst.tiled.get(x, y, ch), get(ref, x, y, ch)) << x << "," << y;
            }
    }
    EXPECT_TRUE(capture.reports().empty());
}

TEST(BlurTiled, RefusedTilesEndTheCallSilently) {
    ErrorCapture capture;
    TiledImage t(1, VSK_8U, 0, 16, 24, 8, 8);
    t.refuse.insert({1, 1});
    ImagePtr src = makeImage(1, VSK_8U, 0, 16, 24);
    tvskBlur(src.get(), t.get(), 3, 3, 1, 1, nullptr);
    // The held tiles are given back before the call ends.
    EXPECT_EQ(describe(t.log), "(2,0,0)(2,0,1)(2,1,0)(2,1,1)(4,0,0)(4,0,1)(4,1,0)");
    EXPECT_EQ(t.held, 0);
    EXPECT_EQ(t.badReleases, 0);

    TiledImage s(1, VSK_8U, 0, 16, 24, 8, 8);
    s.refuse.insert({2, 0});
    ImagePtr dst = makeImage(1, VSK_8U, 0, 16, 24, 3);
    const auto before = bytesOf(dst.get());
    tvskBlur(s.get(), dst.get(), 3, 3, 1, 1, nullptr);
    EXPECT_EQ(bytesOf(dst.get()), before);
    EXPECT_EQ(s.held, 0);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(tvskGetErrStatus(), 0);
}
