// Blur: checks, random images against a per-pixel model (anchors, border
// modes, ROIs, channels of interest, every depth and order), the
// single-precision arithmetic, and the tiled walk with its late releases.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <random>

#include "support/samples.hpp"

using namespace vsktest;

namespace {

// The low bits of a 32-bit value as the depth reads them (also the widened
// border constant).
std::int64_t asDepth(unsigned depth, std::int32_t v) {
    switch (depth) {
        case VSK_8U: return static_cast<std::uint8_t>(v);
        case VSK_8S: return static_cast<std::int8_t>(v);
        case VSK_16U: return static_cast<std::uint16_t>(v);
        case VSK_16S: return static_cast<std::int16_t>(v);
        default: return v;
    }
}

// Source sample anywhere: rows above and below by the top and bottom modes
// over their whole width, columns left and right by the side modes.
std::int64_t sampleAt(const VskImage* im, std::int64_t x, std::int64_t y, int c) {
    auto map = [](int mode, std::int64_t i, std::int64_t n) -> std::int64_t {
        const std::int64_t p = 2 * n, j = ((i % p) + p) % p;
        if ((mode & 3) == 1) return std::clamp<std::int64_t>(i, 0, n - 1);
        if ((mode & 3) == 2) return j >= n ? p - 1 - j : j;
        return ((i % n) + n) % n;
    };
    const int side = y < 0 ? 0 : y >= im->height ? 1 : x < 0 ? 2 : x >= im->width ? 3 : -1;
    if (side < 0) return get(im, static_cast<int>(x), static_cast<int>(y), c);
    const int mode = im->borderModes[side];
    if ((mode & 3) == 0) return asDepth(im->depth, im->borderValues[side]);
    return get(im, static_cast<int>(map(mode, x, im->width)),
               static_cast<int>(side < 2 ? map(mode, y, im->height) : y), c);
}

// The destination's samples after the blur: inside the smaller rectangle and
// the common channel range, the truncated product of the exact box sum and
// the reciprocal rounded to single precision (a 1 x 1 box copies); elsewhere
// the old values. `src` holds the source as it was before the call.
std::vector<std::int64_t> blurModel(const VskImage* src, const VskImage* dst, int nRows, int nCols, int ax,
                                    int ay) {
    struct Part {
        int x, y, w, h, first, last;
    };
    auto part = [](const VskImage* im) {
        const VskROI* r = im->roi;
        if (!r) return Part{0, 0, im->width, im->height, 0, im->nChannels - 1};
        return Part{r->xOffset, r->yOffset, std::min(r->width, im->width - r->xOffset),
                    std::min(r->height, im->height - r->yOffset), r->coi ? r->coi - 1 : 0,
                    r->coi ? r->coi - 1 : im->nChannels - 1};
    };
    const Part s = part(src), d = part(dst);
    const double r = static_cast<float>(1.0 / (nRows * nCols));
    std::vector<std::int64_t> out = samples(dst);
    for (int i = 0; i < std::min(s.h, d.h); ++i)
        for (int j = 0; j < std::min(s.w, d.w); ++j)
            for (int c = std::max(s.first, d.first); c <= std::min(s.last, d.last); ++c) {
                std::int64_t sum = 0;
                for (int u = 0; u < nRows; ++u)
                    for (int v = 0; v < nCols; ++v) sum += sampleAt(src, s.x + j - ax + v, s.y + i - ay + u, c);
                const double mean = nRows * nCols == 1 ? static_cast<double>(sum) : static_cast<double>(sum) * r;
                out[(static_cast<std::size_t>(d.y + i) * dst->width + d.x + j) * dst->nChannels + c] =
                    asDepth(dst->depth, static_cast<std::int32_t>(std::trunc(mean)));
            }
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

}  // namespace

TEST(Blur, ChecksInOrderWithTheirLines) {
    ErrorCapture capture;
    struct Case {
        std::function<void(VskImage*, VskImage*)> arrange;
        int nRows, nCols, ax, ay, line;
        const char* text;  // null: the header message
    } cases[] = {
        {[](VskImage* s, VskImage*) { s->dataOrder = 3; }, -3, 3, 1, 1, 272, nullptr},
        {[](VskImage*, VskImage* d) { d->align = 1; }, -1, 3, 1, 1, 273, nullptr},
        {[](VskImage* s, VskImage*) { s->depth = VSK_8S; }, -1, 3, -1, 1, 274, "(srcImage->depth!=dstImage->depth)"},
        {[](VskImage* s, VskImage*) { s->depth = VSK_1U; s->nChannels = 1; }, 3, 3, 1, 1, 274,
         "(srcImage->depth!=dstImage->depth)"},
        {[](VskImage* s, VskImage* d) { s->depth = d->depth = VSK_1U; s->nChannels = d->nChannels = 1; }, -1, 3, 1, 1,
         275, "(srcImage->depth==1)"},
        {[](VskImage*, VskImage*) {}, -1, 3, -1, -1, 276, "(nRows<0||nCols<0)"},
        {[](VskImage*, VskImage*) {}, 3, -2, 1, 1, 276, "(nRows<0||nCols<0)"},
        {[](VskImage*, VskImage*) {}, 3, 3, -1, 1, 277, "(anchorX<0||anchorY<0)"},
        {[](VskImage*, VskImage*) {}, 3, 3, 0, -5, 277, "(anchorX<0||anchorY<0)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        ImagePtr src = makeImage(3, VSK_8U, 0, 4, 5, 7), dst = makeImage(3, VSK_8U, 0, 4, 5, 1);
        c.arrange(src.get(), dst.get());
        capture.clear();
        tvskBlur(src.get(), dst.get(), c.nRows, c.nCols, c.ax, c.ay, nullptr);
        expectArgumentReport(capture, "vskBlur", "vskBlur", c.line, c.text);
        EXPECT_EQ(bytesOf(dst.get()), std::vector<std::uint8_t>(dst->dataSize, 1));
    }
}

// Random images, ROIs, channels of interest, channel counts, data orders,
// border modes, boxes and anchors (also beyond the box), into another image
// and in place, over buffers that end at an inaccessible page.
TEST(Blur, RandomImagesMatchTheModel) {
    ErrorCapture capture;
    std::mt19937 rng(77);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (unsigned depth : {VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S})
        for (int trial = 0; trial < 60; ++trial) {
            const int sn = pick(1, 4), dn = trial % 3 ? sn : pick(1, 4), order = pick(0, 1);
            GuardedImage src(sn, depth, order, pick(1, 14), pick(1, 17), trial % 2 ? 8 : 4);
            GuardedImage other(dn, depth, trial % 4 ? order : 1 - order, pick(1, 14), pick(1, 17));
            VskImage* dst = trial % 5 == 4 ? src.get() : other.get();
            fillSamples(src.get(), trial + 1);
            fillSamples(other.get(), trial + 100);
            for (int side = 0; side < 4; ++side) vskSetBorderMode(src.get(), pick(0, 3), 1 << side, pick(-300, 300));
            for (VskImage* im : {src.get(), dst})
                if (pick(0, 3) > 0)
                    setRoi(im, pick(0, 2) ? 0 : pick(1, im->nChannels), pick(0, im->width - 1), pick(0, im->height - 1),
                           pick(1, im->height + 2), pick(1, im->width + 2));
            const int nRows = pick(1, 6), nCols = pick(1, 6), ax = pick(0, 7), ay = pick(0, 7);
            SCOPED_TRACE(testing::Message() << "depth " << depth << " trial " << trial);
            ImagePtr before = copyOf(src.get());
            if (const VskROI* r = src.get()->roi) setRoi(before.get(), r->coi, r->xOffset, r->yOffset, r->height, r->width);
            const auto expected = blurModel(before.get(), dst, nRows, nCols, ax, ay);
            tvskBlur(src.get(), dst, nRows, nCols, ax, ay, nullptr);
            ASSERT_EQ(samples(dst), expected);
        }
    EXPECT_TRUE(capture.reports().empty());
}

// Rows far longer than the stretch the kernel sums at once, in every depth,
// from sources read in place and beside borders, with and without a
// channel of interest, into the same or the other data order.
TEST(Blur, WideRowsMatchTheModel) {
    const struct {
        unsigned depth;
        int n, order, dstOrder, coi, nRows, nCols, ax, ay, border;
    } cases[] = {
        {VSK_8U, 3, 0, 0, 0, 5, 5, 2, 2, VSK_BORDER_REPLICATE},
        {VSK_8S, 4, 0, 1, 0, 3, 7, 6, 0, VSK_BORDER_REFLECT},
        {VSK_16U, 1, 1, 0, 0, 2, 31, 15, 1, VSK_BORDER_WRAP},
        {VSK_16S, 3, 1, 1, 2, 4, 3, 1, 3, VSK_BORDER_CONSTANT},
        {VSK_32S, 3, 0, 0, 0, 3, 9, 4, 1, VSK_BORDER_REFLECT},
        {VSK_8U, 4, 0, 0, 3, 3, 4, 9, 2, VSK_BORDER_WRAP},  // anchor right of the box
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "depth " << c.depth << " channels " << c.n);
        GuardedImage src(c.n, c.depth, c.order, 5, 1203), dst(c.n, c.depth, c.dstOrder, 5, 1203);
        fillSamples(src.get(), c.depth + 1);
        fillSamples(dst.get(), c.depth + 2);
        vskSetBorderMode(src.get(), c.border, 15, 77);
        if (c.coi) setRoi(src.get(), c.coi, 1, 1, 3, 1201);
        const auto expected = blurModel(src.get(), dst.get(), c.nRows, c.nCols, c.ax, c.ay);
        tvskBlur(src.get(), dst.get(), c.nRows, c.nCols, c.ax, c.ay, nullptr);
        EXPECT_EQ(samples(dst.get()), expected);
    }
}

TEST(Blur, EdgeCases) {
    // Constant 100 with replicated borders: a 3 x 3 box keeps it, a 5 x 5 box
    // gives 99 (1/25 in single precision is just below 0.04).
    for (int box : {3, 5}) {
        ImagePtr src = makeImage(1, VSK_8U, 0, 9, 9, 100), dst = makeImage(1, VSK_8U, 0, 9, 9);
        vskSetBorderMode(src.get(), VSK_BORDER_REPLICATE, 15, 0);
        tvskBlur(src.get(), dst.get(), box, box, box / 2, box / 2, nullptr);
        EXPECT_EQ(samples(dst.get()), std::vector<std::int64_t>(81, box == 3 ? 100 : 99)) << box;
    }
    // Anchor (0, 0): each output averages itself, two pixels to the right and
    // two rows below, so a spike at (5, 5) shows up and to the left.
    ImagePtr spike = makeImage(1, VSK_8U, 0, 10, 10, 0), seen = makeImage(1, VSK_8U, 0, 10, 10);
    put(spike.get(), 5, 5, 0, 90);
    tvskBlur(spike.get(), seen.get(), 3, 3, 0, 0, nullptr);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x) EXPECT_EQ(get(seen.get(), x, y), x >= 3 && x <= 5 && y >= 3 && y <= 5 ? 10 : 0);
    // A destination header grown after allocation: rows past its buffer are not written.
    for (int box : {1, 3}) {
        GuardedImage g(1, VSK_8U, 0, 4, 6);
        ImagePtr s = makeImage(1, VSK_8U, 0, 9, 6, 100);
        g.get()->height = 9;
        tvskBlur(s.get(), g.get(), box, box, 0, 0, nullptr);
        g.get()->height = 4;
        EXPECT_EQ(get(g.get(), 0, 3), 100) << box;
    }
    // A destination widthStep that is not a multiple of the value size: rows start at odd bytes.
    ImagePtr s16 = makeImage(1, VSK_16S, 0, 4, 4, 300), d16 = makeImage(1, VSK_16S, 0, 4, 4);
    d16->widthStep = 7;
    tvskBlur(s16.get(), d16.get(), 1, 1, 0, 0, nullptr);
    std::int16_t second;
    std::memcpy(&second, d16->imageData + 7, 2);
    EXPECT_EQ(second, 300);
    // Interior pixels of a constant image keep its value; rows are stored as bytes.
    tvskBlur(s16.get(), d16.get(), 3, 3, 1, 1, nullptr);
    std::memcpy(&second, d16->imageData + 7 + 2, 2);
    EXPECT_EQ(second, 300);
    // A source header grown after allocation: in pixel order its rows past
    // the buffer read as zeros, like those of a taller image; in either order
    // the result is the one of the whole fetch that a tiled destination makes.
    for (int order : {0, 1}) {
        GuardedImage g(2, VSK_16U, order, 4, 6);
        fillSamples(g.get(), 9);
        vskSetBorderMode(g.get(), VSK_BORDER_REFLECT, 15, 0);
        ImagePtr tall = makeImage(2, VSK_16U, order, 7, 6, 0), want = makeImage(2, VSK_16U, order, 7, 6);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 6; ++x)
                for (int c = 0; c < 2; ++c) put(tall.get(), x, y, c, get(g.get(), x, y, c));
        vskSetBorderMode(tall.get(), VSK_BORDER_REFLECT, 15, 0);
        tvskBlur(tall.get(), want.get(), 3, 3, 1, 1, nullptr);
        ImagePtr got = makeImage(2, VSK_16U, order, 7, 6), viaTiles = makeImage(2, VSK_16U, order, 7, 6);
        TiledImage tiled(2, VSK_16U, order, 7, 6, 8, 8);
        g.get()->height = 7;
        tvskBlur(g.get(), got.get(), 3, 3, 1, 1, nullptr);
        tvskBlur(g.get(), tiled.get(), 3, 3, 1, 1, nullptr);
        g.get()->height = 4;
        tiled.storeTo(viaTiles.get());
        EXPECT_EQ(samples(got.get()), samples(viaTiles.get())) << order;
        if (order == 0) {
            EXPECT_EQ(samples(got.get()), samples(want.get()));
        }
    }
    // Boxes too large for scratch memory leave the destination as it was.
    for (const auto& box : {std::pair{INT_MAX, 3}, std::pair{3, INT_MAX}, std::pair{INT_MAX, 1000}}) {
        ImagePtr s = makeImage(3, VSK_16S, 0, 5, 4, 50), d = makeImage(3, VSK_16S, 0, 5, 4, 7);
        tvskBlur(s.get(), d.get(), box.first, box.second, 1, 1, nullptr);
        EXPECT_EQ(samples(d.get()), std::vector<std::int64_t>(60, 7)) << box.first << "x" << box.second;
    }
    // A box of no pixels has no mean: 0 at 8 and 16 bits, 0x80000000 at 32.
    for (unsigned depth : {VSK_8U, VSK_16S, VSK_32S}) {
        ImagePtr s = makeImage(1, depth, 0, 3, 3, 50), d = makeImage(1, depth, 0, 3, 3, 7);
        tvskBlur(s.get(), d.get(), 0, 3, 0, 0, nullptr);
        EXPECT_EQ(get(d.get(), 2, 2), depth == VSK_32S ? INT32_MIN : 0) << depth;
    }
}

TEST(Blur, SumsAndTruncation) {
    // A small source with replicated borders, a box with anchor (0, 0), and
    // the result at (x, y).
    struct Case {
        unsigned depth;
        std::vector<std::vector<std::int64_t>> rows;
        int nRows, nCols, x, y;
        std::int64_t want;
    } cases[] = {
        {VSK_8S, {{-1, -2}}, 1, 2, 0, 0, -1},  // -1.5 truncates toward zero
        {VSK_16S, {{-30000, -30001}, {-30000, -30001}}, 2, 2, 0, 0, -30000},
        // Single-precision column sums: 2^24 + 1 rounds to 2^24 before the 1 is added.
        {VSK_32S, {{16777217, 0}, {1, 0}}, 2, 1, 0, 0, 8388608},
        // Moving down, a column gains the entering sample, then loses the leaving one.
        {VSK_32S, {{16777216, 0}, {1, 1}}, 1, 2, 0, 1, 0},
        // The row sum adds the single-precision difference 2^24 + 2 - 1.
        {VSK_32S, {{1, 0, 16777218}}, 1, 2, 1, 0, 8388608},
        {VSK_32S, {{2147483647, 0}}, 1, 1, 0, 0, 2147483647},  // 1 x 1 copies exactly
        // 32-bit integer sums wrap: 40000 samples of 65535 exceed 2^31.
        {VSK_16U, {{65535}}, 200, 200, 0, 0,
         static_cast<std::uint16_t>(static_cast<std::int32_t>(-1673567296 * static_cast<double>(static_cast<float>(1.0 / 40000))))},
    };
    for (const Case& c : cases) {
        const int h = static_cast<int>(c.rows.size()), w = static_cast<int>(c.rows[0].size());
        ImagePtr src = makeImage(1, c.depth, 0, h, w), dst = makeImage(1, c.depth, 0, h, w);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) put(src.get(), x, y, 0, c.rows[y][x]);
        vskSetBorderMode(src.get(), VSK_BORDER_REPLICATE, 15, 0);
        tvskBlur(src.get(), dst.get(), c.nRows, c.nCols, 0, 0, nullptr);
        EXPECT_EQ(get(dst.get(), c.x, c.y), c.want) << c.depth << " " << c.rows[0][0];
    }
}

// ---- tiled images ----------------------------------------------------------------

namespace {

struct TiledCase {
    unsigned depth;
    int order, n, sx, sy, dx, dy, rows, cols, coi, nRows, nCols, ax, ay, border;
};
const TiledCase kTiled[] = {
    {VSK_8U, 0, 3, 2, 3, 5, 6, 20, 25, 0, 3, 5, 1, 2, VSK_BORDER_REFLECT},
    {VSK_16S, 1, 2, 0, 0, 9, 4, 17, 19, 2, 4, 4, 0, 0, VSK_BORDER_WRAP},
    {VSK_32S, 0, 4, 7, 1, 0, 0, 28, 30, 3, 5, 3, 6, 1, VSK_BORDER_CONSTANT},
    {VSK_8S, 0, 1, 1, 1, 3, 3, 5, 4, 0, 2, 2, 1, 1, VSK_BORDER_REPLICATE},  // inside one tile
};

// The source and destination pairs of a case, with their ROIs.
struct TiledRun {
    TiledPair src, dst;
    TiledRun(const TiledCase& c, int tw, int th)
        : src(c.n, c.depth, c.order, 29, 37, 16, 8, fillSamples, 31),
          dst(c.n, c.depth, c.order, 29, 37, tw, th, fillSamples, 32) {
        for (VskImage* im : {src.plain.get(), src.tiled.get()}) vskSetBorderMode(im, c.border, 15, 1234);
        src.roi(c.coi, c.sx, c.sy, c.rows, c.cols);
        dst.roi(c.coi, c.dx, c.dy, c.rows, c.cols);
    }
};

void blur(const TiledCase& c, VskImage* src, VskImage* dst, const int* point = nullptr) {
    tvskBlur(src, dst, c.nRows, c.nCols, c.ax, c.ay, point);
}

}  // namespace

TEST(BlurTiled, EveryPathEqualsThePlainRun) {
    ErrorCapture capture;
    for (const TiledCase& c : kTiled) {
        SCOPED_TRACE(testing::Message() << "depth " << c.depth);
        TiledRun a(c, 8, 16), b(c, 8, 8);
        ImagePtr want = copyOf(a.dst.plain.get());
        setRoi(want.get(), c.coi, c.dx, c.dy, c.rows, c.cols);
        blur(c, a.src.plain.get(), want.get());
        blur(c, a.src.tiled.get(), a.dst.plain.get());
        EXPECT_EQ(samples(a.dst.plain.get()), samples(want.get()));
        blur(c, a.src.plain.get(), a.dst.tiled.get());
        EXPECT_EQ(a.dst.tiledSamples(), samples(want.get()));
        blur(c, b.src.tiled.get(), b.dst.tiled.get());
        EXPECT_EQ(b.dst.tiledSamples(), samples(want.get()));
        // Each destination tile is requested once and given back once.
        std::map<std::pair<int, int>, int> writes, releases;
        for (const TileCall& call : b.dst.tiled.log) (call.mode == VSK_TILE_WRITE ? writes : releases)[{call.col, call.row}]++;
        EXPECT_EQ(writes, releases);
        for (const auto& w : writes) EXPECT_EQ(w.second, 1);
        for (TiledImage* t : {&a.src.tiled, &a.dst.tiled, &b.src.tiled, &b.dst.tiled}) EXPECT_EQ(t->held + t->badReleases, 0);
    }
    EXPECT_TRUE(capture.reports().empty());
}

TEST(BlurTiled, TilesAreReleasedLateAndAfterAFailure) {
    // ROI (3, 5) of 9 x 20 in 8 x 8 tiles: tile columns 0..2, rows 0..1.
    ErrorCapture capture;
    TiledImage t(1, VSK_8U, 0, 16, 24, 8, 8);
    setRoi(t.get(), 0, 3, 5, 9, 20);
    ImagePtr src = makeImage(1, VSK_8U, 0, 16, 24, 3);
    tvskBlur(src.get(), t.get(), 3, 3, 1, 1, nullptr);
    EXPECT_EQ(describe(t.log), "(2,0,0)(2,0,1)(2,1,0)(2,1,1)(4,0,0)(2,2,0)(2,2,1)(4,1,0)(4,0,1)(4,1,1)(4,2,1)(4,2,0)");
    // A refused tile ends the call quietly; the tiles still held are given back.
    t.log.clear();
    t.refuse.insert({1, 1});
    tvskBlur(src.get(), t.get(), 3, 3, 1, 1, nullptr);
    EXPECT_EQ(describe(t.log), "(2,0,0)(2,0,1)(2,1,0)(2,1,1)(4,0,0)(4,0,1)(4,1,0)");
    TiledImage u(1, VSK_8U, 0, 24, 32, 8, 8);  // 4 x 3 tiles, the third column refused
    u.refuse.insert({2, 1});
    ImagePtr big = makeImage(1, VSK_8U, 0, 24, 32);
    tvskBlur(big.get(), u.get(), 3, 3, 1, 1, nullptr);
    EXPECT_EQ(describe(u.log), "(2,0,0)(2,0,1)(2,0,2)(2,1,0)(2,1,1)(4,0,0)(2,1,2)(4,0,1)(2,2,0)(2,2,1)"
                               "(4,0,2)(4,1,0)(4,1,1)(4,1,2)(4,2,0)");
    EXPECT_EQ(t.held + u.held, 0);
    EXPECT_EQ(t.badReleases + u.badReleases, 0);
    // A source that can't be fetched: nothing is written.
    t.refuse.clear();
    t.refuse.insert({2, 0});
    tvskBlur(t.get(), src.get(), 3, 3, 1, 1, nullptr);
    EXPECT_EQ(bytesOf(src.get()), std::vector<std::uint8_t>(src->dataSize, 3));
    EXPECT_TRUE(capture.reports().empty());
}

TEST(BlurTiled, TilePointChoosesATile) {
    ErrorCapture capture;
    const TiledCase c = kTiled[0];  // destination rectangle (5, 6) to (29, 25)
    const struct {
        int x, y, col, row;  // col -1: nothing written
    } points[] = {
        {12, 7, 1, 0},
        {4, 6, 0, 0},    // left of the rectangle, in a tile that it touches
        {-3, 2, 0, 0},   // divided toward zero: tile 0
        {31, 26, 3, 3},  // beyond the rectangle's last pixel, in its last tile
        {32, 10, -1, 0}, {10, 33, -1, 0}, {-9, 10, -1, 0},  // tiles that miss it
    };
    for (const auto& p : points) {
        SCOPED_TRACE(testing::Message() << "point " << p.x << "," << p.y);
        TiledRun run(c, 8, 8);
        ImagePtr before = copyOf(run.dst.plain.get());
        blur(c, run.src.plain.get(), run.dst.plain.get());
        const int point[2] = {p.x, p.y};
        blur(c, run.src.plain.get(), run.dst.tiled.get(), point);
        EXPECT_EQ(run.dst.tiled.log.size(), p.col < 0 ? 0u : 2u);
        expectOnlyTileWritten(run.dst.tiled, run.dst.plain.get(), before.get(), p.col, p.row);
    }
    EXPECT_TRUE(capture.reports().empty());
}
