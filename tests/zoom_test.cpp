// Zoom: the argument checks, the destination clamp, the interpolation rules
// at worked examples and edges, and the tiled paths against the plain run.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/samples.hpp"

using namespace vsktest;

namespace {

// int(v): add 0.00001, subtract 0.5, round half to even.
int intRule(double v) { return static_cast<int>(std::nearbyint((v + 0.00001) - 0.5)); }

struct Factors {
    int xU, xL, yU, yL;
};

// The destination size after the clamp to the enlarged source.
int clampedSize(int d, int s, double inv) {
    if (intRule((d - 1) * inv) <= s - 1) return d;
    const int n = intRule(s / inv);
    return n == s / inv ? n - 1 : n;
}

void zoom(VskImage* src, VskImage* dst, Factors f, int interp, const int* tile = nullptr) {
    tvskZoom(src, dst, f.xU, f.xL, f.yU, f.yL, interp, tile);
}

}  // namespace

TEST(Zoom, ChecksReportInOrderAndStopTheCall) {
    struct Case {
        unsigned srcDepth;
        int srcOrder;
        Factors f;
        int interp;
        std::vector<std::pair<int, std::string>> reports;  // line, text
    } cases[] = {
        {VSK_8U, 0, {2, 1, 2, 1}, 0, {}},
        {VSK_8U, 0, {0, 1, 2, 1}, 3,
         {{501, "interpolate != VSK_INTER_NN && interpolate != VSK_INTER_LINEAR && interpolate != VSK_INTER_CUBIC"},
          {504, "xU <= 0 || xL <= 0"},
          {506, "xU < xL || yU < yL"}}},
        {VSK_16U, 1, {2, 1, 2, 1}, 0,
         {{502, "srcImage->depth != dstImage->depth"}, {503, "srcImage->dataOrder != dstImage->dataOrder"}}},
        {VSK_8U, 0, {1, 1, 1, -2}, 1, {{505, "yU <= 0 || yL <= 0"}}},
        {VSK_8U, 0, {1, 2, 2, 1}, 2, {{506, "xU < xL || yU < yL"}}},
    };
    for (const Case& c : cases) {
        ErrorCapture capture;
        ImagePtr src = makeImage(1, c.srcDepth, c.srcOrder, 4, 4, 9);
        ImagePtr dst = makeImage(1, VSK_8U, 0, 8, 8, 5);
        const auto before = bytesOf(dst.get());
        zoom(src.get(), dst.get(), c.f, c.interp);
        std::string want;
        for (const auto& [line, text] : c.reports) want += fault("vskZoom", text, "vskZoom", line);
        EXPECT_EQ(reportsOf(capture), want);
        EXPECT_EQ(bytesOf(dst.get()) == before, !c.reports.empty());
    }
}

TEST(Zoom, HeaderChecksAndStickyStatus) {
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_8U, 0, 4, 4, 9);
    ImagePtr dst = makeImage(1, VSK_8U, 0, 8, 8, 5);
    setRoi(dst.get(), 0, -1, 0, 0, 8);  // ROI offset and size bits
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, 0);
    zoom(nullptr, dst.get(), {2, 1, 2, 1}, 0);
    const std::string roi = paddedLine("ROI size is invalid") + paddedLine("ROI offset is invalid");
    EXPECT_EQ(reportsOf(capture), fault("vskZoom", roi, "vskZoom", 495) +
                                      fault("vskZoom", paddedLine("Image header is null"), "vskZoom",
                                            494));

    // A negative status left by an earlier failure ends the call silently.
    capture.clear();
    tvskDeallocate(dst.get(), VSK_FREE_ROI);
    vskSetErrStatus(-5);
    const auto before = bytesOf(dst.get());
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, 0);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(bytesOf(dst.get()), before);
}

TEST(Zoom, WorkedLinearExampleWrapsTheExtrapolatedValue) {
    // Three columns (or rows) 0, 0, hi zoomed by 2: s = 1.5, 2.0, 2.5 move
    // back to i = 1 with f = 0.5, 1, 1.5; 1.5 hi keeps its low bits.
    struct Case {
        unsigned depth;
        int hi, last;
    } cases[] = {{VSK_8U, 200, 300 & 0xFF}, {VSK_16U, 50000, 75000 & 0xFFFF}};
    ErrorCapture capture;
    for (const Case& c : cases)
        for (bool down : {false, true}) {
            ImagePtr src = makeImage(1, c.depth, 0, down ? 3 : 2, down ? 2 : 3);
            for (int k = 0; k < 2; ++k) put(src.get(), down ? k : 2, down ? 2 : k, 0, c.hi);
            ImagePtr dst = makeImage(1, c.depth, 0, down ? 6 : 4, down ? 4 : 6, 7);
            zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR);
            const int expected[] = {0, 0, 0, c.hi / 2, c.hi, c.last};
            for (int a = 0; a < 6; ++a)
                for (int k = 0; k < 4; ++k)
                    EXPECT_EQ(get(dst.get(), down ? k : a, down ? a : k), expected[a])
                        << down << " " << a;
        }
    EXPECT_TRUE(capture.reports().empty());
}

TEST(Zoom, DestinationClampKeepsTheExactCaseOffByOne) {
    // A constant source zooms to the same constant: the written square shows the clamp.
    struct Case {
        int srcSize, dstSize, factor, written;
    } cases[] = {{3, 7, 2, 5}, {3, 6, 2, 6}, {4, 20, 3, 11}, {5, 5, 1, 5}, {3, 10, 3, 8}};
    for (const Case& c : cases)
        for (int interp = 0; interp < 3; ++interp) {
            ImagePtr src = makeImage(1, VSK_8U, 0, c.srcSize, c.srcSize, 77);
            ImagePtr dst = makeImage(1, VSK_8U, 0, c.dstSize, c.dstSize, 0);
            zoom(src.get(), dst.get(), {c.factor, 1, c.factor, 1}, interp);
            for (int y = 0; y < c.dstSize; ++y)
                for (int x = 0; x < c.dstSize; ++x)
                    ASSERT_EQ(get(dst.get(), x, y), x < c.written && y < c.written ? 77 : 0)
                        << c.dstSize << " interp " << interp << ": " << x << "," << y;
        }
}

TEST(Zoom, UnitFactorsCopyTheRoiForEveryInterpolation) {
    for (unsigned depth : {VSK_8U, VSK_16U})
        for (int interp = 0; interp < 3; ++interp) {
            ImagePtr src = makeImage(3, depth, VSK_DATA_ORDER_PIXEL, 9, 11);
            fillRandom(src.get(), 7 + interp);
            setRoi(src.get(), 0, 2, 3, 5, 6);
            ImagePtr dst = makeImage(3, depth, VSK_DATA_ORDER_PIXEL, 6, 7, 0);
            setRoi(dst.get(), 0, 1, 1, 5, 6);
            zoom(src.get(), dst.get(), {3, 3, 5, 5}, interp);
            for (int y = 0; y < 5; ++y)
                for (int x = 0; x < 6; ++x)
                    for (int c = 0; c < 3; ++c)
                        ASSERT_EQ(get(dst.get(), 1 + x, 1 + y, c), get(src.get(), 2 + x, 3 + y, c))
                            << interp << ": " << x << "," << y << "," << c;
        }
}

TEST(Zoom, SmallSourcesDowngradeTheInterpolation) {
    struct Case {
        int h, w, asked, used;
    } cases[] = {{5, 3, VSK_INTER_CUBIC, VSK_INTER_LINEAR},
                 {3, 6, VSK_INTER_CUBIC, VSK_INTER_LINEAR},
                 {1, 6, VSK_INTER_LINEAR, VSK_INTER_NN},
                 {6, 1, VSK_INTER_CUBIC, VSK_INTER_NN}};
    for (const Case& c : cases) {
        ImagePtr src = makeImage(1, VSK_8U, 0, c.h, c.w);
        fillRandom(src.get(), 11);
        ImagePtr asked = makeImage(1, VSK_8U, 0, 3 * c.h, 3 * c.w, 1);
        ImagePtr used = copyOf(asked.get());
        zoom(src.get(), asked.get(), {5, 2, 3, 1}, c.asked);
        zoom(src.get(), used.get(), {5, 2, 3, 1}, c.used);
        EXPECT_EQ(bytesOf(asked.get()), bytesOf(used.get())) << c.h << "x" << c.w;
    }
}

TEST(Zoom, SignedDepthsAndUnmatchedChannelsWriteNothing) {
    ErrorCapture capture;
    for (unsigned depth : {VSK_8S, VSK_16S, VSK_32S}) {
        ImagePtr src = makeImage(1, depth, 0, 4, 4, 3);
        ImagePtr dst = makeImage(1, depth, 0, 8, 8, 1);
        const auto before = bytesOf(dst.get());
        zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR);
        EXPECT_EQ(bytesOf(dst.get()), before);
    }
    // A source with coi 2 selects one channel; a destination without ROI
    // counts the source's three, so nothing is written.
    ImagePtr src = makeImage(3, VSK_8U, 0, 4, 4, 3);
    setRoi(src.get(), 2, 0, 0, 4, 4);
    ImagePtr dst = makeImage(3, VSK_8U, 0, 8, 8, 1);
    const auto before = bytesOf(dst.get());
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_NN);
    EXPECT_EQ(bytesOf(dst.get()), before);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(Zoom, EdgesShiftTheNeighboursInside) {
    // Nodes at columns 0..3 of a 4-column source; rows are equal. Cubic: the one
    // through them, by its Lagrange weights, at sx = 0.5 (left edge, ix moved
    // right, t = -0.5) and sx = 3.5 (past the last column, t = 2.5).
    ImagePtr src = makeImage(1, VSK_8U, 0, 4, 4);
    const int p[4] = {0, 160, 80, 16};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) put(src.get(), x, y, 0, p[x]);
    ImagePtr dst = makeImage(1, VSK_8U, 0, 4, 8);
    zoom(src.get(), dst.get(), {2, 1, 1, 1}, VSK_INTER_CUBIC);
    auto lagrange = [&](double x) {
        double v = 0;
        for (int k = 0; k < 4; ++k) {
            double w = 1;
            for (int m = 0; m < 4; ++m)
                if (m != k) w *= (x - m) / (k - m);
            v += w * p[k];
        }
        return v;
    };
    for (int i = 0; i < 8; ++i) {
        const int expected = std::clamp(int(std::floor(lagrange(i * 0.5) + 0.00001)), 0, 255);
        EXPECT_EQ(get(dst.get(), i, 2), expected) << "sx " << i * 0.5;
    }
    // Linear: the line through columns 2 and 3 beyond the last one, 80 - 64 x 1.5, wraps.
    zoom(src.get(), dst.get(), {2, 1, 1, 1}, VSK_INTER_LINEAR);
    const int linear[8] = {0, 80, 160, 120, 80, 48, 16, -16 & 0xFF};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(get(dst.get(), i, 2), linear[i]) << "sx " << i * 0.5;
}

TEST(Zoom, BitImagesPickBitsAtTheIntegerSteps) {
    // 5/2 across: the step is int(0.4 x 16384) = 6553, so destination bits 5,
    // 10 and 15 still take source columns 1, 3 and 5; by 2 down. Of the ROI's
    // 21 x 5 pixels the clamp keeps 19 x 3 (20 and 4 are exact, one less).
    // Source bits from the ROI at column 3 alternate, the second row inverted.
    const int cols[19] = {0, 0, 0, 1, 1, 1, 2, 2, 3, 3, 3, 4, 4, 5, 5, 5, 6, 6, 7};
    ImagePtr src = makeImage(1, VSK_1U, 0, 2, 16), dst = makeImage(1, VSK_1U, 0, 6, 32, 0xFF);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 16; ++x) put(src.get(), x, y, 0, (x + y) % 2);
    setRoi(src.get(), 0, 3, 0, 2, 8);
    setRoi(dst.get(), 0, 5, 0, 5, 21);
    zoom(src.get(), dst.get(), {5, 2, 2, 1}, VSK_INTER_LINEAR);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 32; ++x) {
            const bool inside = x >= 5 && x < 24 && y < 3;
            EXPECT_EQ(get(dst.get(), x, y), inside ? (3 + cols[x - 5] + y / 2) % 2 : 1)
                << x << "," << y;
        }
}

TEST(Zoom, DestinationWithoutRoiTakesTheSourceChannelCount) {
    // A 3-channel source into a 1-channel destination without ROI: pixels
    // overlap, so each byte holds channel 0 of its own pixel, and the last
    // pixel's other channels stop at the end of the buffer.
    for (int order : {VSK_DATA_ORDER_PIXEL, VSK_DATA_ORDER_PLANE}) {
        ImagePtr src = makeImage(3, VSK_8U, order, 2, 4);
        fillRandom(src.get(), 5);
        GuardedImage dst(1, VSK_8U, order, 4, 8);  // rows of 8 bytes: no padding
        fillRandom(dst.get(), 6);
        zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_NN);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 8; ++x)
                ASSERT_EQ(get(dst.get(), x, y), get(src.get(), x / 2, y / 2, 0))
                    << order << ": " << x << "," << y;
    }
}

TEST(Zoom, HeadersGrownAfterAllocationStayInTheirBuffers) {
    for (int interp : {VSK_INTER_NN, VSK_INTER_LINEAR, VSK_INTER_CUBIC})
        for (int order : {VSK_DATA_ORDER_PIXEL, VSK_DATA_ORDER_PLANE}) {
            GuardedImage src(3, VSK_8U, order, 6, 7), dst(3, VSK_8U, order, 5, 9);
            fillRandom(src.get(), 1);
            // A grown destination: the rows inside its buffer are those of the plain call.
            ImagePtr expected = copyOf(dst.get());
            zoom(src.get(), expected.get(), {2, 1, 2, 1}, interp);
            dst.get()->height = 9;
            zoom(src.get(), dst.get(), {2, 1, 2, 1}, interp);
            dst.get()->height = 5;
            if (order == VSK_DATA_ORDER_PIXEL) {
                EXPECT_EQ(bytesOf(dst.get()), bytesOf(expected.get())) << interp;
            }
            // A grown source: nothing past its buffer is read.
            src.get()->height = 9;
            src.get()->width = 9;
            zoom(src.get(), dst.get(), {2, 1, 2, 1}, interp);
            src.get()->height = 6;
            src.get()->width = 7;
        }
}

namespace {

struct TiledCase {
    unsigned depth;
    int order, n, interp;
    Factors f;
};

// Factors whose steps are exact in binary, so that tiles start where the
// plain run's own steps arrive.
const TiledCase kTiledCases[] = {
    {VSK_8U, 0, 1, VSK_INTER_NN, {2, 1, 2, 1}},     {VSK_8U, 0, 3, VSK_INTER_LINEAR, {2, 1, 4, 1}},
    {VSK_16U, 1, 3, VSK_INTER_CUBIC, {4, 1, 2, 1}}, {VSK_8U, 1, 2, VSK_INTER_CUBIC, {1, 1, 2, 1}},
    {VSK_16U, 0, 4, VSK_INTER_LINEAR, {8, 2, 1, 1}}, {VSK_8U, 0, 3, VSK_INTER_NN, {4, 1, 4, 1}},
    {VSK_1U, 0, 1, VSK_INTER_CUBIC, {2, 1, 4, 3}},
};

}  // namespace

TEST(ZoomTiled, OneDestinationTileAndItsEarlyReturns) {
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_8U, 0, 10, 10);
    fillRandom(src.get(), 4);
    setRoi(src.get(), 0, 1, 1, 9, 9);
    VskROI* callers = src->roi;
    ImagePtr plain = makeImage(1, VSK_8U, 0, 32, 32, 0);
    zoom(src.get(), plain.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR);

    // Tile (1, 2) alone: written as in the plain run, nothing else.
    TiledImage one(1, VSK_8U, 0, 32, 32, 8, 8);
    const int tile[2] = {1, 2};
    zoom(src.get(), one.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR, tile);
    EXPECT_EQ(describe(one.log), "(2,1,2)(4,1,2)");
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) {
            const bool inside = x >= 8 && x < 16 && y >= 16 && y < 24;
            ASSERT_EQ(one.get(x, y), inside ? get(plain.get(), x, y) : 0) << x << "," << y;
        }
    EXPECT_EQ(src->roi, callers);

    // A tile outside the grid (the clamped 17 x 17 pixels cover 3 x 3 tiles)
    // ends the call with the source still on the private ROI.
    TiledImage none(1, VSK_8U, 0, 32, 32, 8, 8);
    const int outside[2] = {3, 0};
    zoom(src.get(), none.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR, outside);
    EXPECT_TRUE(none.log.empty());
    ASSERT_NE(src->roi, callers);
    EXPECT_EQ(src->roi->coi, 0);
    EXPECT_EQ(src->roi->height, 9);
    EXPECT_EQ(src->roi->width, 9);
    vskDeleteROI(src->roi);
    src->roi = callers;

    // A refused tile is reported and ends the walk, likewise.
    TiledImage refusing(1, VSK_8U, 0, 32, 32, 8, 8);
    refusing.refuse.insert({1, 0});
    zoom(src.get(), refusing.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR);
    EXPECT_EQ(describe(refusing.log), "(2,0,0)(4,0,0)(2,1,0)");
    EXPECT_EQ(reportsOf(capture),
              fault("vskZoom", "Error get tile to write", "vskZoom", 1031, VSK_STATUS_UNKNOWN));
    EXPECT_EQ(refusing.held, 0);
    ASSERT_NE(src->roi, callers);
    vskDeleteROI(src->roi);
    src->roi = callers;
}

TEST(ZoomTiled, TileStartsStepWithRintAndKernelsWithInt) {
    // 3/2: inv x 16384 = 10922.67, so the tile step is 10923 and the kernel
    // step 10922. The tile starting at x = 24 begins at (24 x 10923) >> 14 =
    // 16 where the plain run's own step reaches (24 x 10922) >> 14 = 15.
    ImagePtr src = makeImage(1, VSK_8U, 0, 1, 40);
    for (int x = 0; x < 40; ++x) put(src.get(), x, 0, 0, x);
    ImagePtr plain = makeImage(1, VSK_8U, 0, 1, 48, 0);
    zoom(src.get(), plain.get(), {3, 2, 1, 1}, VSK_INTER_NN);
    TiledImage tiled(1, VSK_8U, 0, 1, 48, 8, 8);
    zoom(src.get(), tiled.get(), {3, 2, 1, 1}, VSK_INTER_NN);
    EXPECT_EQ(get(plain.get(), 24, 0), 15);
    EXPECT_EQ(tiled.get(24, 0), 16);
    EXPECT_EQ(tiled.get(25, 0), get(plain.get(), 25, 0));
    EXPECT_EQ(tiled.get(23, 0), get(plain.get(), 23, 0));
}

TEST(ZoomTiled, EveryTiledPathMatchesThePlainRun) {
    for (const TiledCase& c : kTiledCases) {
        SCOPED_TRACE("interp " + std::to_string(c.interp) + " n " + std::to_string(c.n));
        ErrorCapture capture;
        // The source ROI reaches the image's right and bottom edges.
        ImagePtr src = makeImage(c.n, c.depth, c.order, 90, 133);
        fillRandom(src.get(), c.interp + 31);
        setRoi(src.get(), 0, 3, 1, 89, 130);
        VskROI* srcRoi = src->roi;
        TiledImage tiledSrc(c.n, c.depth, c.order, 90, 133, 16, 8);
        tiledSrc.loadFrom(src.get());
        setRoi(tiledSrc.get(), 0, 3, 1, 89, 130);
        ImagePtr plain = makeImage(c.n, c.depth, c.order, 300, 290, 0);
        setRoi(plain.get(), 0, 5, 100, 200, 260);
        zoom(src.get(), plain.get(), c.f, c.interp);

        // Tiled source, in 128 x 128 blocks of the destination.
        ImagePtr fromTiles = makeImage(c.n, c.depth, c.order, 300, 290, 0);
        setRoi(fromTiles.get(), 0, 5, 100, 200, 260);
        VskROI* dstRoi = fromTiles->roi;
        zoom(tiledSrc.get(), fromTiles.get(), c.f, c.interp);
        EXPECT_EQ(firstDifference(fromTiles.get(), plain.get()), "");
        EXPECT_EQ(fromTiles->roi, dstRoi);
        for (const TileCall& call : tiledSrc.log)
            ASSERT_TRUE(call.mode == VSK_TILE_READ || call.mode == VSK_TILE_RELEASE);

        // Tiled destination, from the plain source and from the tiled one.
        const int cols = clampedSize(260, 130, double(c.f.xL) / c.f.xU);
        const int rows = clampedSize(200, 89, double(c.f.yL) / c.f.yU);
        for (VskImage* from : {src.get(), tiledSrc.get()}) {
            TiledImage tiledDst(c.n, c.depth, c.order, 300, 290, 64, 40);
            setRoi(tiledDst.get(), 0, 5, 100, 200, 260);
            zoom(from, tiledDst.get(), c.f, c.interp);
            ImagePtr out = makeImage(c.n, c.depth, c.order, 300, 290, 0);
            tiledDst.storeTo(out.get());
            EXPECT_EQ(firstDifference(out.get(), plain.get()), "");
            EXPECT_EQ(describe(tiledDst.log), walkLog(5, 100, rows, cols, 64, 40, VSK_TILE_WRITE));
            EXPECT_EQ(tiledDst.held, 0);
            EXPECT_EQ(tiledDst.badReleases, 0);
        }
        EXPECT_EQ(src->roi, srcRoi);
        EXPECT_EQ(tiledSrc.held, 0);
        EXPECT_EQ(tiledSrc.badReleases, 0);
        EXPECT_TRUE(capture.reports().empty());
    }
}

TEST(ZoomTiled, RefusedTilesEndTheTiledSourcePaths) {
    ErrorCapture capture;
    TiledImage src(1, VSK_8U, 0, 64, 64, 16, 16);
    src.refuse.insert({1, 1});
    ImagePtr dst = makeImage(1, VSK_8U, 0, 128, 128, 0);
    setRoi(dst.get(), 0, 0, 0, 128, 128);
    VskROI* callers = dst->roi;
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_NN);
    EXPECT_TRUE(capture.reports().empty());  // a failed fetch ends the call silently
    EXPECT_EQ(dst->roi, callers);
    EXPECT_EQ(src.held, 0);

    TiledImage src2(1, VSK_8U, 0, 64, 64, 16, 16);
    TiledImage dst2(1, VSK_8U, 0, 128, 128, 32, 32);
    dst2.refuse.insert({2, 0});
    zoom(src2.get(), dst2.get(), {2, 1, 2, 1}, VSK_INTER_CUBIC);
    EXPECT_EQ(reportsOf(capture),
              fault("vskZoom", "Error get tile to write", "vskZoom", 658, VSK_STATUS_UNKNOWN));
    EXPECT_EQ(describe(dst2.log), "(2,0,0)(4,0,0)(2,1,0)(4,1,0)(2,2,0)");
    EXPECT_EQ(src2.held, 0);
}
