// Mirror: checks, each rule on small images (axes, in place, channel of
// interest, ROIs, data orders, 1-bit offsets), the source-columns rule at the
// buffer's end, the tiled paths against the plain run, and the row kernels.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "../geometry/mirror_rows.hpp"
#include "support/samples.hpp"

using namespace vsktest;

TEST(Mirror, ChecksInOrderWithTheirLines) {
    ErrorCapture capture;
    struct Case {
        std::function<void(VskImage*, VskImage*, int&)> arrange;
        int line;
        const char* text;  // null: the header message
    } cases[] = {
        {[](VskImage* s, VskImage*, int& f) { s->align = 2; f = 7; }, 2098, nullptr},
        {[](VskImage*, VskImage* d, int&) { d->nChannels = 0; }, 2099, nullptr},
        {[](VskImage* s, VskImage*, int& f) { s->depth = VSK_8S; f = 5; }, 2101, "(srcImage->depth!=dstImage->depth)"},
        {[](VskImage* s, VskImage*, int& f) { s->nChannels = 2; f = 5; }, 2102,
         "(srcImage->nChannels!=dstImage->nChannels)"},
        {[](VskImage* s, VskImage*, int& f) { setRoi(s, 1, 0, 0, 2, 2); f = 2; }, 2103, "((flipAxis>1)||(flipAxis<-1))"},
        {[](VskImage*, VskImage*, int& f) { f = -2; }, 2103, "((flipAxis>1)||(flipAxis<-1))"},
        {[](VskImage* s, VskImage*, int&) { setRoi(s, 1, 0, 0, 2, 2); }, 2113, "(coiSrc!=coiDst)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        ImagePtr src = makeImage(3, VSK_8U, 0, 4, 5, 7), dst = makeImage(3, VSK_8U, 0, 4, 5, 1);
        int flip = 0;
        c.arrange(src.get(), dst.get(), flip);
        capture.clear();
        tvskMirror(src.get(), dst.get(), flip, nullptr);
        expectArgumentReport(capture, "vskMirror", "vskmirr", c.line, c.text);
        EXPECT_EQ(bytesOf(dst.get()), std::vector<std::uint8_t>(dst->dataSize, 1));
    }
}

// Small images whose pixel (x, y) holds 10 y + x + 100 c: each case names
// the source pixel that every destination pixel inside the rectangle
// receives; pixels and channels outside it keep their fill.
TEST(Mirror, EachRuleOnSmallImages) {
    struct Case {
        const char* rule;
        unsigned depth;
        int n, srcOrder, dstOrder, flip;
        bool inPlace;
        int coi, sx, sy, sRows, sCols;  // source ROI (sRows 0: none)
        int dx, dy, dRows, dCols;       // destination ROI (dRows 0: none)
    } cases[] = {
        {"rows reversed", VSK_8U, 1, 0, 0, 0, false, 0, 0, 0, 0, 0, 0, 0, 0, 0},
        {"columns reversed", VSK_16U, 3, 0, 0, 1, false, 0, 0, 0, 0, 0, 0, 0, 0, 0},
        {"both", VSK_32S, 2, 1, 1, -1, false, 0, 0, 0, 0, 0, 0, 0, 0, 0},
        {"in place, odd rows", VSK_8U, 3, 0, 0, 0, true, 0, 0, 0, 0, 0, 0, 0, 0, 0},
        {"in place, odd rows, both", VSK_16S, 1, 1, 1, -1, true, 0, 0, 0, 0, 0, 0, 0, 0, 0},
        {"in place, odd columns", VSK_8S, 5, 0, 0, 1, true, 0, 1, 0, 5, 5, 0, 0, 0, 0},
        {"coi 2 of 3", VSK_8U, 3, 0, 0, -1, false, 2, 1, 1, 4, 6, 2, 0, 5, 6},
        {"smaller destination ROI", VSK_16U, 1, 0, 0, -1, false, 0, 1, 1, 4, 6, 3, 2, 2, 3},
        {"source ROI wider than its room", VSK_8U, 1, 0, 0, 1, false, 0, 6, 1, 3, 9, 0, 0, 0, 0},
        {"1-bit from odd bits", VSK_1U, 1, 0, 0, -1, false, 0, 3, 1, 4, 4, 5, 0, 4, 5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.rule);
        ImagePtr src = makeImage(c.n, c.depth, c.srcOrder, 5, 8);
        ImagePtr dst = makeImage(c.n, c.depth, c.dstOrder, 5, 9, 0xEE);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 8; ++x)
                for (int ch = 0; ch < c.n; ++ch)
                    put(src.get(), x, y, ch,
                        c.depth == VSK_1U ? (x * 7 + y * 3) % 5 < 2 : 10 * y + x + 100 * ch);
        if (c.sRows) setRoi(src.get(), c.coi, c.sx, c.sy, c.sRows, c.sCols);
        if (c.dRows) setRoi(dst.get(), c.coi, c.dx, c.dy, c.dRows, c.dCols);
        VskImage* to = c.inPlace ? src.get() : dst.get();
        ImagePtr before = copyOf(src.get()), old = copyOf(to);
        const VskROI* r = to->roi;
        const int rows = std::min(c.sRows ? c.sRows : 5, r ? r->height : to->height);
        // A source ROI wider than the room right of it has height - yOffset columns.
        const int sCols = !c.sRows ? 8 : c.sCols > 8 - c.sx ? 5 - c.sy : c.sCols;
        const int cols = std::min(sCols, r ? r->width : to->width);
        tvskMirror(src.get(), to, c.flip, nullptr);
        for (int y = 0; y < to->height; ++y)
            for (int x = 0; x < to->width; ++x)
                for (int ch = 0; ch < c.n; ++ch) {
                    const int i = y - (r ? r->yOffset : 0), j = x - (r ? r->xOffset : 0);
                    const bool inside = i >= 0 && i < rows && j >= 0 && j < cols &&
                                        (!c.coi || ch == c.coi - 1);
                    const int srcX = (c.sRows ? c.sx : 0) + (c.flip != 0 ? cols - 1 - j : j);
                    const int srcY = (c.sRows ? c.sy : 0) + (c.flip != 1 ? rows - 1 - i : i);
                    const std::int64_t want =
                        inside ? get(before.get(), srcX, srcY, ch) : get(old.get(), x, y, ch);
                    ASSERT_EQ(get(to, x, y, ch), want) << x << "," << y << "," << ch;
                }
    }
    // Pixel-order source, plane-order destination: written as pixel order.
    ImagePtr src = makeImage(2, VSK_8U, VSK_DATA_ORDER_PIXEL, 1, 3);
    ImagePtr dst = makeImage(2, VSK_8U, VSK_DATA_ORDER_PLANE, 1, 8, 0xEE);
    for (int i = 0; i < 6; ++i) src->imageData[i] = static_cast<char>(i + 1);
    tvskMirror(src.get(), dst.get(), 1, nullptr);
    const std::vector<std::uint8_t> want = {5, 6, 3, 4, 1, 2, 0xEE, 0xEE};
    EXPECT_EQ(std::vector<std::uint8_t>(dst->imageData, dst->imageData + 8), want);
}

TEST(Mirror, WideSourceRoiReadsOnButNotPastTheBuffer) {
    // Source ROI at (6, 1) wider than the 2 columns to its right: columns =
    // height - 1 = 4, the last two from the start of the next row.
    ImagePtr src = makeImage(1, VSK_8U, 0, 5, 8), dst = makeImage(1, VSK_8U, 0, 5, 8, 0xEE);
    for (int i = 0; i < src->dataSize; ++i) src->imageData[i] = static_cast<char>(i);
    setRoi(src.get(), 0, 6, 1, 1, 9);
    tvskMirror(src.get(), dst.get(), 1, nullptr);
    const std::uint8_t want[] = {17, 16, 15, 14, 0xEE};
    EXPECT_EQ(std::vector<std::uint8_t>(dst->imageData, dst->imageData + 5), std::vector<std::uint8_t>(want, want + 5));
    // In the last rows the columns stop at the buffer's end, within a pixel.
    GuardedImage g(3, VSK_8U, 0, 10, 5);
    fillRandom(g.get(), 3);
    setRoi(g.get(), 0, 3, 0, 10, 10);
    ImagePtr wide = makeImage(3, VSK_8U, 0, 10, 12, 0xEE);
    for (int flip : {1, -1, 0}) tvskMirror(g.get(), wide.get(), flip, nullptr);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(get(wide.get(), 0, 0, c), get(g.get(), 3, 9, c));
    // 2^31 - 1 planes set after allocating 3: the planes inside are mirrored,
    // and the walk stops at the first plane past the buffer's end.
    ImagePtr planar = makeImage(3, VSK_8U, 1, 4, 6), out = makeImage(3, VSK_8U, 1, 4, 6);
    fillRandom(planar.get(), 4);
    planar->nChannels = out->nChannels = INT_MAX;
    tvskMirror(planar.get(), out.get(), 1, nullptr);
    planar->nChannels = out->nChannels = 3;
    EXPECT_EQ(get(out.get(), 0, 3, 2), get(planar.get(), 5, 3, 2));
    // A pixel of 2^31 - 1 16-bit channels is wider than any buffer: with a
    // channel of interest only the first pixel of each row lies inside it,
    // and those move.
    ImagePtr deep = makeImage(1, VSK_16U, 0, 4, 8), deepOut = makeImage(1, VSK_16U, 0, 4, 8);
    fillRandom(deep.get(), 5);
    setRoi(deep.get(), 1, 0, 0, 4, 8);
    setRoi(deepOut.get(), 1, 0, 0, 4, 8);
    deep->nChannels = deepOut->nChannels = INT_MAX;
    tvskMirror(deep.get(), deepOut.get(), 0, nullptr);
    deep->nChannels = deepOut->nChannels = 1;
    for (int y = 0; y < 4; ++y) EXPECT_EQ(get(deepOut.get(), 0, y), get(deep.get(), 0, 3 - y)) << y;
}

TEST(Mirror, TwoHeadersOverOneBufferReadPixelsAlreadyWritten) {
    // Pixel (x, y) of a 10 x 4 grey image holds 10 y + x; a copy of its
    // header is a second image over the same buffer. Rows and pixels move in
    // order, so the second halves read what the first halves wrote.
    for (int flip : {0, 1}) {
        ImagePtr image = makeImage(1, VSK_8U, 0, 4, 10);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 10; ++x) put(image.get(), x, y, 0, 10 * y + x);
        VskImage alias = *image;
        tvskMirror(image.get(), &alias, flip, nullptr);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 10; ++x) {
                const int row = flip == 0 ? (y < 2 ? 3 - y : y) : y;
                const int col = flip == 1 ? (x < 5 ? 9 - x : x) : x;
                EXPECT_EQ(get(image.get(), x, y), 10 * row + col) << flip << " " << x << "," << y;
            }
    }
}

// ---- tiled images ----------------------------------------------------------------

namespace {

struct TiledCase {
    unsigned depth;
    int order, n, sx, sy, dx, dy, rows, cols, coi;  // ROIs of one size in 37 x 29 images
};
const TiledCase kTiled[] = {
    {VSK_8U, 0, 3, 2, 3, 5, 6, 20, 25, 0},
    {VSK_16S, 1, 2, 0, 0, 9, 4, 17, 19, 2},
    {VSK_32S, 0, 4, 7, 1, 0, 0, 28, 30, 3},
    {VSK_1U, 0, 1, 3, 5, 13, 2, 21, 22, 0},
    {VSK_8S, 0, 1, 1, 1, 3, 3, 6, 5, 0},  // inside one tile
};

TiledPair pairFor(const TiledCase& c, int tw, int th, std::uint32_t seed) {
    return TiledPair(c.n, c.depth, c.order, 29, 37, tw, th, fillRandom, seed);
}

}  // namespace

TEST(MirrorTiled, EveryPathEqualsThePlainRun) {
    ErrorCapture capture;
    for (const TiledCase& c : kTiled)
        for (int flip : {0, 1, -1}) {
            SCOPED_TRACE(testing::Message() << "depth " << c.depth << " flip " << flip);
            TiledPair src = pairFor(c, 16, 8, 11), dst = pairFor(c, 8, 16, 12), dst2 = pairFor(c, 8, 8, 12);
            src.roi(c.coi, c.sx, c.sy, c.rows, c.cols);
            for (TiledPair* d : {&dst, &dst2}) d->roi(c.coi, c.dx, c.dy, c.rows, c.cols);
            ImagePtr want = copyOf(dst.plain.get());
            setRoi(want.get(), c.coi, c.dx, c.dy, c.rows, c.cols);
            tvskMirror(src.plain.get(), want.get(), flip, nullptr);

            tvskMirror(src.tiled.get(), dst.plain.get(), flip, nullptr);
            EXPECT_EQ(samples(dst.plain.get()), samples(want.get()));
            tvskMirror(src.plain.get(), dst.tiled.get(), flip, nullptr);
            EXPECT_EQ(dst.tiledSamples(), samples(want.get()));
            tvskMirror(src.tiled.get(), dst2.tiled.get(), flip, nullptr);
            EXPECT_EQ(dst2.tiledSamples(), samples(want.get()));
            // In place, plain and tiled.
            src.roi(c.coi, c.dx, c.dy, c.rows, c.cols);
            tvskMirror(src.plain.get(), src.plain.get(), flip, nullptr);
            tvskMirror(src.tiled.get(), src.tiled.get(), flip, nullptr);
            EXPECT_EQ(src.tiledSamples(), samples(src.plain.get()));
            for (TiledImage* t : {&src.tiled, &dst.tiled, &dst2.tiled}) EXPECT_EQ(t->held + t->badReleases, 0);
        }
    EXPECT_TRUE(capture.reports().empty());
}

TEST(MirrorTiled, WalkOrderFollowsTheAxis) {
    // ROI (3, 3) of 10 x 10 in 8 x 8 tiles: tile columns and rows 0 and 1.
    const char* logs[] = {"(2,1,1)(4,1,1)(2,1,0)(4,1,0)(2,0,1)(4,0,1)(2,0,0)(4,0,0)",   // -1
                          "(2,0,1)(4,0,1)(2,0,0)(4,0,0)(2,1,1)(4,1,1)(2,1,0)(4,1,0)",   // 0
                          "(2,1,0)(4,1,0)(2,0,0)(4,0,0)(2,1,1)(4,1,1)(2,0,1)(4,0,1)"};  // 1
    for (int flip : {-1, 0, 1}) {
        TiledImage t(1, VSK_8U, 0, 16, 16, 8, 8);
        setRoi(t.get(), 0, 3, 3, 10, 10);
        ImagePtr src = makeImage(1, VSK_8U, 0, 16, 16);
        tvskMirror(src.get(), t.get(), flip, nullptr);
        EXPECT_EQ(describe(t.log), logs[flip + 1]);
        // In place the same writes, each after the reads of its strip.
        t.log.clear();
        tvskMirror(t.get(), t.get(), flip, nullptr);
        std::vector<TileCall> writes;
        for (std::size_t k = 0; k < t.log.size(); ++k)
            if (t.log[k].mode == VSK_TILE_WRITE) writes.insert(writes.end(), {t.log[k], t.log[k + 1]});
        EXPECT_EQ(describe(writes), logs[flip + 1]);
        EXPECT_EQ(t.log.front().mode, VSK_TILE_READ);
        EXPECT_EQ(t.held, 0);
    }
}

TEST(MirrorTiled, TilePointAndRefusedTiles) {
    ErrorCapture capture;
    const TiledCase c = kTiled[0];  // destination rectangle (5, 6) to (29, 25)
    const struct {
        int x, y, col, row;  // col -1: nothing written
    } points[] = {{12, 7, 1, 0}, {5, 6, 0, 0}, {29, 25, 3, 3}, {4, 6, -1, 0}, {30, 20, -1, 0}, {10, 26, -1, 0}};
    for (int flip : {0, 1, -1})
        for (const auto& p : points) {
            SCOPED_TRACE(testing::Message() << "flip " << flip << " point " << p.x << "," << p.y);
            TiledPair src = pairFor(c, 8, 8, 21), dst = pairFor(c, 8, 8, 22);
            src.roi(0, c.sx, c.sy, c.rows, c.cols);
            dst.roi(0, c.dx, c.dy, c.rows, c.cols);
            ImagePtr before = copyOf(dst.plain.get());
            tvskMirror(src.plain.get(), dst.plain.get(), flip, nullptr);
            const int point[2] = {p.x, p.y};
            tvskMirror(src.plain.get(), dst.tiled.get(), flip, point);
            EXPECT_EQ(dst.tiled.log.size(), p.col < 0 ? 0u : 2u);
            expectOnlyTileWritten(dst.tiled, dst.plain.get(), before.get(), p.col, p.row);
        }
    // A refused destination tile or source block ends the call quietly.
    TiledImage t(1, VSK_8U, 0, 16, 16, 8, 8), s(1, VSK_8U, 0, 16, 16, 8, 8);
    t.refuse.insert({0, 0});
    s.refuse.insert({1, 1});
    ImagePtr plain = makeImage(1, VSK_8U, 0, 16, 16, 5);
    tvskMirror(plain.get(), t.get(), 0, nullptr);
    EXPECT_EQ(describe(t.log), "(2,0,1)(4,0,1)(2,0,0)");
    tvskMirror(s.get(), plain.get(), -1, nullptr);
    EXPECT_EQ(bytesOf(plain.get()), std::vector<std::uint8_t>(plain->dataSize, 5));
    EXPECT_EQ(t.held + s.held, 0);
    EXPECT_TRUE(capture.reports().empty());
}

// ---- the row kernels of every instruction set ------------------------------------

TEST(MirrorRows, EveryLevelReversesLikeTheScalarKernel) {
    using vsk::simd::SimdLevel;
    const SimdLevel best = vsk::simd::bestLevel(vsk::simd::cpuFeatures());
    const vsk::MirrorRows& scalar = vsk::mirrorRowsFor(SimdLevel::Scalar);
    std::mt19937 rng(5);
    for (int level = 1; level <= static_cast<int>(best); ++level) {
        const vsk::MirrorRows& rows = vsk::mirrorRowsFor(static_cast<SimdLevel>(level));
        for (int size : vsk::kMirrorPixelSizes)
            for (std::int64_t n : {1, 2, 5, 15, 16, 17, 31, 33, 47, 64, 97, 200})
                for (int at : {0, 1, 8, 13, 27}) {  // the destination's offset from a 32-byte boundary
                    SCOPED_TRACE(testing::Message()
                                 << vsk::simd::levelName(static_cast<SimdLevel>(level)) << " size "
                                 << size << " pixels " << n << " at " << at);
                    // Rows exactly n pixels long.
                    const std::size_t bytes = static_cast<std::size_t>(n * size);
                    std::vector<std::uint8_t> src(bytes), want(bytes);
                    alignas(32) std::uint8_t got[32 + 200 * 16];
                    for (auto& v : src) v = static_cast<std::uint8_t>(rng());
                    scalar.bySize[size](src.data(), want.data(), n);
                    for (auto fn : {rows.bySize[size], rows.streamingBySize[size]}) {
                        std::fill(got, got + sizeof got, 0xA5);  // no byte left from the last call
                        fn(src.data(), got + at, n);
                        ASSERT_EQ(std::vector<std::uint8_t>(got + at, got + at + bytes), want);
                    }
                    rows.copyStreaming(got + at, src.data(), static_cast<std::int64_t>(bytes));
                    ASSERT_EQ(std::vector<std::uint8_t>(got + at, got + at + bytes), src);
                }
    }
}
