// Blur: checks, means worked out by hand (anchors, borders, ROIs, channels
// of interest, truncation), the single-precision arithmetic, and the tiled
// walk with its late releases. The golden hashes sweep depths, orders, ROIs
// and tilings.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>

#include "support/samples.hpp"

using namespace vsktest;

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

TEST(Blur, MeansWorkedOutByHand) {
    // A 4 x 3 8-bit source, 10 .. 120 row by row, through a box at an
    // anchor; constant borders are 0, 90 on the right. Means are sums times
    // the single-precision 1 / area, truncated (1/3 rounds up: 240/3 is 80).
    struct Case {
        const char* name;
        int nRows, nCols, ax, ay, border;
        int srcRoi[5], dstRoi[5];  // coi, x, y, height, width; height 0: none
        std::vector<std::int64_t> out;  // the destination row by row, 0 where unwritten
    } cases[] = {
        {"3x3 centred", 3, 3, 1, 1, VSK_BORDER_CONSTANT, {}, {},
         {15, 26, 33, 44, 36, 60, 70, 80, 33, 53, 60, 62}},
        {"1x3 right of the pixel", 1, 3, 0, 0, VSK_BORDER_CONSTANT, {}, {},
         {20, 30, 53, 73, 60, 70, 80, 86, 100, 110, 106, 100}},
        {"1x3 the right edge replicated", 1, 3, 0, 0, VSK_BORDER_REPLICATE, {}, {},
         {20, 30, 36, 40, 60, 70, 76, 80, 100, 110, 116, 120}},
        // Rows 2 and 1 above the first: the edge row repeats in reflection.
        {"2x1 anchor below the box", 2, 1, 0, 3, VSK_BORDER_REFLECT, {}, {},
         {70, 80, 90, 100, 30, 40, 50, 60, 10, 20, 30, 40}},
        {"1x1 two columns left, wrapped", 1, 1, 2, 0, VSK_BORDER_WRAP, {}, {},
         {30, 40, 10, 20, 70, 80, 50, 60, 110, 120, 90, 100}},
        // The smaller of the two rectangles, from each image's own offset.
        {"ROIs", 1, 2, 0, 0, VSK_BORDER_CONSTANT, {0, 1, 1, 2, 3}, {0, 0, 1, 1, 2},
         {0, 0, 0, 0, 65, 75, 0, 0, 0, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ImagePtr src = makeImage(1, VSK_8U, 0, 3, 4), dst = makeImage(1, VSK_8U, 0, 3, 4);
        for (int k = 0; k < 12; ++k) put(src.get(), k % 4, k / 4, 0, 10 * (k + 1));
        vskSetBorderMode(src.get(), c.border, 15, 0);
        if (c.border == VSK_BORDER_CONSTANT) vskSetBorderMode(src.get(), c.border, 8, 90);
        for (auto [image, r] : {std::pair{src.get(), c.srcRoi}, std::pair{dst.get(), c.dstRoi}})
            if (r[3]) setRoi(image, r[0], r[1], r[2], r[3], r[4]);
        tvskBlur(src.get(), dst.get(), c.nRows, c.nCols, c.ax, c.ay, nullptr);
        EXPECT_EQ(samples(dst.get()), c.out);
    }
    // Channels: the range common to both images, source channel 2 of two
    // here, into planes; signed means truncate toward zero (-1.5 is -1).
    ImagePtr src = makeImage(2, VSK_16S, 0, 1, 6), dst = makeImage(2, VSK_16S, 1, 1, 6, 5);
    const int second[6] = {-3, 0, 10, 20, 30, 40};
    for (int x = 0; x < 6; ++x) put(src.get(), x, 0, 0, 1000), put(src.get(), x, 0, 1, second[x]);
    setRoi(src.get(), 2, 0, 0, 1, 6);
    tvskBlur(src.get(), dst.get(), 1, 2, 0, 0, nullptr);
    EXPECT_EQ(samples(dst.get()),
              (std::vector<std::int64_t>{5, -1, 5, 5, 5, 15, 5, 25, 5, 35, 5, 20}));
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
        fillRandom(g.get(), 9);
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

// ---- tiled destinations ---------------------------------------------------------

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
    // Destination rectangle (5, 6) to (29, 25) in 8 x 8 tiles.
    ErrorCapture capture;
    const struct {
        int x, y, col, row;  // col -1: nothing written
    } points[] = {
        {12, 7, 1, 0},
        {4, 6, 0, 0},    // left of the rectangle, in a tile that it touches
        {-3, 2, 0, 0},   // divided toward zero: tile 0
        {31, 26, 3, 3},  // beyond the rectangle's last pixel, in its last tile
        {32, 10, -1, 0}, {10, 33, -1, 0}, {-9, 10, -1, 0},  // tiles that miss it
    };
    ImagePtr src = makeImage(3, VSK_8U, 0, 29, 37);
    fillRandom(src.get(), 31);
    vskSetBorderMode(src.get(), VSK_BORDER_REFLECT, 15, 0);
    setRoi(src.get(), 0, 2, 3, 20, 25);
    for (const auto& p : points) {
        SCOPED_TRACE(testing::Message() << "point " << p.x << "," << p.y);
        TiledPair dst(3, VSK_8U, 0, 29, 37, 8, 8, fillRandom, 32);
        dst.roi(0, 5, 6, 20, 25);
        ImagePtr before = copyOf(dst.plain.get());
        tvskBlur(src.get(), dst.plain.get(), 3, 5, 1, 2, nullptr);
        const int point[2] = {p.x, p.y};
        tvskBlur(src.get(), dst.tiled.get(), 3, 5, 1, 2, point);
        EXPECT_EQ(dst.tiled.log.size(), p.col < 0 ? 0u : 2u);
        expectOnlyTileWritten(dst.tiled, dst.plain.get(), before.get(), p.col, p.row);
    }
    EXPECT_TRUE(capture.reports().empty());
}
