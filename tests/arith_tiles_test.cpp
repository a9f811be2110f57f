// Add, subtract and AND on tiled images: the band/segment walk against plain
// runs, the order of call-backs, the destination-tile restriction and the
// checks of the walk.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/arith_model.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

// Every call-back of the tapped images, in one log: "<tag><mode>(<col>,<row>) ".
struct Tap {
    VskTileCallback original;
    std::string tag;
    bool keepOnRelease;  // leave tileData set after a release
};
std::map<const VskTileInfo*, Tap> gTaps;
std::string gLog;
std::string gLastTag;

void VSK_CALL tapped(const VskImage* image, int col, int row, int mode) {
    const Tap& t = gTaps.at(image->tileInfo);
    gLog += t.tag + std::to_string(mode) + "(" + std::to_string(col) + "," + std::to_string(row) + ") ";
    gLastTag = t.tag;
    void* data = image->tileInfo->tileData;
    t.original(image, col, row, mode);
    if (mode == VSK_TILE_RELEASE && t.keepOnRelease) image->tileInfo->tileData = data;
}

struct TapScope {
    TapScope() { clear(); }
    ~TapScope() { clear(); }
    static void clear() {
        gTaps.clear();
        gLog.clear();
        gLastTag.clear();
    }
    void tap(TiledImage& image, const std::string& tag, bool keepOnRelease = false) {
        VskTileInfo* info = image.get()->tileInfo;
        gTaps[info] = {info->callBack, tag, keepOnRelease};
        info->callBack = tapped;
    }
};

struct Geometry {
    int nChannels, height, width;
    int roi[5];  // coi, x, y, height, width
    int tileWidth, tileHeight;
};

// One operand given as a plain image and, when tiled, as a tiled copy.
struct Operand {
    ImagePtr plain;
    std::unique_ptr<TiledImage> tiled;
    VskImage* header() const { return tiled ? tiled->get() : plain.get(); }
};

Operand makeOperand(const Geometry& g, unsigned depth, int order, bool tiled, std::uint32_t seed) {
    Operand op;
    op.plain = makeImage(g.nChannels, depth, order, g.height, g.width);
    setRoi(op.plain.get(), g.roi[0], g.roi[1], g.roi[2], g.roi[3], g.roi[4]);
    fillRandom(op.plain.get(), seed);
    if (tiled) op.tiled = tiledCopy(op.plain.get(), g.tileWidth, g.tileHeight);
    return op;
}

// The destination's samples after the call, whether it is tiled or not.
ImagePtr resultOf(const Operand& d) { return d.tiled ? pixelsOf(*d.tiled, d.plain.get()) : cloneImage(d.plain.get()); }

struct TiledCase {
    const char* name;
    unsigned depth;
    int order;
    Geometry a, b, dst;
};

const TiledCase kTiledCases[] = {
    {"8u pixel order", VSK_8U, 0, {3, 30, 27, {0, 3, 5, 20, 21}, 8, 8},
     {3, 28, 30, {0, 6, 2, 22, 20}, 16, 8}, {3, 30, 27, {0, 1, 7, 19, 24}, 8, 16}},
    {"16s planes, channels of interest", VSK_16S, 1, {3, 25, 26, {2, 9, 1, 20, 17}, 8, 8},
     {2, 26, 25, {1, 0, 3, 22, 20}, 8, 16}, {3, 24, 30, {3, 2, 4, 19, 24}, 16, 8}},
    {"32s one channel", VSK_32S, 0, {1, 20, 20, {0, 0, 0, 20, 20}, 8, 8},
     {1, 20, 20, {0, 0, 0, 20, 20}, 8, 8}, {1, 20, 20, {1, 0, 0, 20, 20}, 8, 8}},
    {"1u", VSK_1U, 0, {1, 30, 50, {0, 3, 5, 20, 41}, 16, 8}, {1, 30, 50, {0, 9, 2, 22, 40}, 8, 8},
     {1, 30, 50, {0, 6, 7, 19, 43}, 24, 16}},
};

const ArithOp kOps[] = {ArithOp::Add, ArithOp::Sub, ArithOp::SubRev, ArithOp::AndS, ArithOp::And};

}  // namespace

TEST(ArithTiles, TiledRunsEqualPlainRuns) {
    // Which operands are tiled: a, b (And's second source), destination.
    const bool combos[][3] = {{true, false, false}, {false, false, true}, {true, false, true},
                              {true, true, false},  {false, true, true},  {true, true, true}};
    for (const TiledCase& c : kTiledCases)
        for (ArithOp op : kOps)
            for (const auto& tiled : combos) {
                if (op != ArithOp::And && tiled[1]) continue;
                Operand a = makeOperand(c.a, c.depth, c.order, tiled[0], 1);
                Operand b = makeOperand(c.b, c.depth, c.order, tiled[1], 2);
                Operand d = makeOperand(c.dst, c.depth, c.order, tiled[2], 3);
                ImagePtr expected = cloneImage(d.plain.get());
                runArith(op, a.plain.get(), b.plain.get(), expected.get(), -77777);

                ErrorCapture capture;
                runArith(op, a.header(), b.header(), d.header(), -77777);
                const std::string where = std::string(c.name) + ", " + arithName(op) + ", tiled " +
                                          std::to_string(tiled[0]) + std::to_string(tiled[1]) +
                                          std::to_string(tiled[2]);
                EXPECT_TRUE(capture.reports().empty()) << where;
                EXPECT_EQ(firstDifference(resultOf(d).get(), expected.get()), "") << where;
                for (const Operand* o : {&a, &b, &d})
                    if (o->tiled) {
                        EXPECT_EQ(o->tiled->held + o->tiled->badReleases, 0) << where;
                    }
            }
}

TEST(ArithTiles, BandsAndSegmentsCallBackInOrder) {
    // Source tiles 8 x 8 from (5, 5), destination tiles 16 x 16 from (0, 0),
    // 10 x 10 in common: bands of 3 and 7 rows, segments of 3 and 7 columns.
    TapScope scope;
    TiledImage src(1, VSK_8U, 0, 24, 24, 8, 8), dst(1, VSK_8U, 0, 24, 24, 16, 16);
    setRoi(src.get(), 0, 5, 5, 10, 10);
    setRoi(dst.get(), 0, 0, 0, 10, 10);
    scope.tap(src, "S");
    scope.tap(dst, "D");
    tvskAddS(src.get(), dst.get(), 1, nullptr);
    EXPECT_EQ(gLog,
              "S1(0,0) D2(0,0) S4(0,0) S1(1,0) S4(1,0) D4(0,0) "
              "S1(0,1) D2(0,0) S4(0,1) S1(1,1) S4(1,1) D4(0,0) ");

    // AND with three images: sources then destination at every moment.
    TiledImage a(1, VSK_8U, 0, 16, 16, 8, 8), b(1, VSK_8U, 0, 16, 16, 8, 16), d(1, VSK_8U, 0, 16, 16, 16, 8);
    scope.tap(a, "A");
    scope.tap(b, "B");
    scope.tap(d, "D");
    gLog.clear();
    tvskAnd(a.get(), b.get(), d.get(), nullptr);
    EXPECT_EQ(gLog,
              "A1(0,0) B1(0,0) D2(0,0) A4(0,0) A1(1,0) B4(0,0) B1(1,0) A4(1,0) B4(1,0) D4(0,0) "
              "A1(0,1) B1(0,0) D2(0,1) A4(0,1) A1(1,1) B4(0,0) B1(1,0) A4(1,1) B4(1,0) D4(0,1) ");
}

TEST(ArithTiles, TileDataChecksReportAndLeaveTilesHeld) {
    enum Moment { Acquired, ReleasedInBand, AcquiredNext, ReleasedAtEnd };
    struct OpLines {
        ArithOp op;
        const char* func;
        const char* file;
        std::vector<std::string> names;
        std::vector<std::vector<int>> lines;  // per operand, per moment
    } ops[] = {
        {ArithOp::Add, "vskAddS", "vskadds", {"srcImage", "dstImage"},
         {{1004, 1044, 1050, 1088}, {1023, 1065, 1071, 1093}}},
        {ArithOp::Sub, "vskSubtractS", "vsksubs", {"srcImage", "dstImage"},
         {{1501, 1541, 1547, 1585}, {1520, 1562, 1568, 1590}}},
        {ArithOp::AndS, "vskAndS", "vskands", {"srcImage", "dstImage"},
         {{791, 831, 837, 880}, {810, 852, 858, 885}}},
        {ArithOp::And, "vskAnd", "vskand", {"srcImageA", "srcImageB", "dstImage"},
         {{852, 915, 921, 981}, {871, 936, 942, 986}, {890, 957, 963, 991}}},
    };
    for (const OpLines& o : ops) {
        const int n = static_cast<int>(o.names.size());
        for (int i = 0; i < n; ++i)
            for (Moment m : {Acquired, ReleasedInBand, AcquiredNext, ReleasedAtEnd}) {
                TapScope scope;
                std::vector<std::unique_ptr<TiledImage>> images;
                for (int j = 0; j < n; ++j) {
                    images.push_back(std::make_unique<TiledImage>(1, VSK_8U, 0, 16, 16, 8, 8));
                    // One tile column: the first release comes at the band's end.
                    if (m == ReleasedAtEnd) setRoi(images[j]->get(), 0, 0, 0, 16, 8);
                    const bool keep = j == i && (m == ReleasedInBand || m == ReleasedAtEnd);
                    scope.tap(*images[j], std::to_string(j), keep);
                }
                if (m == Acquired) images[i]->refuse.insert({0, 0});
                if (m == AcquiredNext) images[i]->refuse.insert({1, 0});

                ErrorCapture capture;
                VskImage* b = n == 3 ? images[1]->get() : nullptr;
                runArith(o.op, images[0]->get(), b, images[n - 1]->get(), 3);
                const std::string where = std::string(o.func) + " " + o.names[i] + " moment " +
                                          std::to_string(m);
                const bool acquire = m == Acquired || m == AcquiredNext;
                EXPECT_EQ(reportsOf(capture), fault(o.func, "(" + o.names[i] + "->tileInfo->tileData " +
                                                             (acquire ? "==" : "!=") + " ((void*)(0)))",
                                                    o.file, o.lines[i][m]))
                    << where;
                // The walk stops at once: no call after the failing one, and
                // the tiles held at that moment stay held.
                EXPECT_EQ(gLastTag, std::to_string(i)) << where;
                for (int j = 0; j < n; ++j) {
                    int held = j == i ? 0 : 1;
                    if (m == Acquired && j > i) held = 0;
                    if (m == ReleasedAtEnd && j < i) held = 0;
                    EXPECT_EQ(images[j]->held, held) << where << " operand " << j;
                }
            }
    }
}

TEST(ArithTiles, DestinationTileChecks) {
    const struct {
        ArithOp op;
        const char* func;
        const char* file;
        int lines[4];
    } ops[] = {{ArithOp::Add, "vskAddS", "vskadds", {959, 960, 961, 962}},
               {ArithOp::Sub, "vskSubtractS", "vsksubs", {1456, 1457, 1458, 1459}},
               {ArithOp::AndS, "vskAndS", "vskands", {746, 747, 748, 749}},
               {ArithOp::And, "vskAnd", "vskand", {800, 801, 802, 803}}};
    // The destination rectangle spans columns and rows 16..24.
    const struct {
        int tile[2];
        const char* text;
    } checks[] = {{{4, 2}, "(dTile.begX > dRoi.endX)"},
                  {{2, 4}, "(dTile.begY > dRoi.endY)"},
                  {{0, 2}, "(dTile.endX < dRoi.begX)"},
                  {{2, 0}, "(dTile.endY < dRoi.begY)"}};
    for (const auto& o : ops)
        for (int k = 0; k < 4; ++k) {
            TapScope scope;
            ImagePtr a = makeImage(1, VSK_8U, 0, 32, 32), b = makeImage(1, VSK_8U, 0, 32, 32);
            TiledImage d(1, VSK_8U, 0, 32, 32, 8, 8);
            setRoi(d.get(), 0, 16, 16, 8, 8);
            scope.tap(d, "D");
            ErrorCapture capture;
            runArith(o.op, a.get(), b.get(), d.get(), 1, checks[k].tile);
            EXPECT_EQ(reportsOf(capture), fault(o.func, checks[k].text, o.file, o.lines[k]));
            EXPECT_EQ(gLog, "");
        }
}

TEST(ArithTiles, DestinationTileRestrictsTheCall) {
    for (ArithOp op : kOps) {
        TapScope scope;
        // Destination rectangle 12..22 in both axes; tile (2, 2) covers 16..24.
        Operand a = makeOperand({3, 32, 32, {0, 3, 5, 10, 10}, 8, 8}, VSK_16U, 0, true, 1);
        Operand b = makeOperand({3, 32, 32, {0, 0, 0, 32, 32}, 8, 8}, VSK_16U, 0, false, 2);
        Operand d = makeOperand({3, 32, 32, {0, 12, 12, 10, 10}, 8, 8}, VSK_16U, 0, true, 3);
        scope.tap(*d.tiled, "D");
        // The plain run's samples inside tile (2, 2), the old ones elsewhere.
        ImagePtr whole = cloneImage(d.plain.get()), expected = cloneImage(d.plain.get());
        runArith(op, a.plain.get(), b.plain.get(), whole.get(), 4321);
        for (int y = 16; y < 24; ++y)
            for (int x = 16; x < 24; ++x)
                for (int c = 0; c < 3; ++c) put(expected.get(), x, y, c, get(whole.get(), x, y, c));
        const int tile[2] = {2, 2};
        ErrorCapture capture;
        runArith(op, a.header(), b.header(), d.header(), 4321, tile);
        EXPECT_TRUE(capture.reports().empty());
        EXPECT_EQ(firstDifference(resultOf(d).get(), expected.get()), "") << arithName(op);
        EXPECT_EQ(gLog, "D2(2,2) D4(2,2) ") << arithName(op);
        EXPECT_EQ(a.tiled->held, 0);
    }

    // A tile that meets the rectangle only at its end passes the checks and
    // leaves nothing to do.
    TapScope scope;
    ImagePtr src = makeImage(1, VSK_8U, 0, 32, 32);
    TiledImage dst(1, VSK_8U, 0, 32, 32, 8, 8);
    setRoi(dst.get(), 0, 16, 16, 8, 8);
    scope.tap(dst, "D");
    const int adjacent[2] = {3, 2};
    ErrorCapture capture;
    tvskAddS(src.get(), dst.get(), 1, adjacent);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(gLog, "");

    // With a buffered destination the tile is not consulted.
    Operand s = makeOperand({1, 20, 20, {0, 0, 0, 20, 20}, 8, 8}, VSK_8U, 0, true, 4);
    Operand d = makeOperand({1, 20, 20, {0, 0, 0, 20, 20}, 8, 8}, VSK_8U, 0, false, 5);
    ImagePtr expected = cloneImage(d.plain.get());
    tvskAddS(s.plain.get(), expected.get(), 9, nullptr);
    const int outside[2] = {7, 7};
    tvskAddS(s.header(), d.header(), 9, outside);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(firstDifference(d.plain.get(), expected.get()), "");
}

TEST(ArithTiles, TiledSecondSourceAloneDoesNotStartTheWalk) {
    TapScope scope;
    ImagePtr a = makeImage(1, VSK_8U, 0, 16, 16), d = makeImage(1, VSK_8U, 0, 16, 16);
    TiledImage b(1, VSK_8U, 0, 16, 16, 8, 8);
    scope.tap(b, "B");
    fillRandom(a.get(), 1);
    fillRandom(d.get(), 2);
    const std::vector<std::uint8_t> before = bytesOf(d.get());
    ErrorCapture capture;
    tvskAnd(a.get(), b.get(), d.get(), nullptr);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(gLog, "");
    EXPECT_EQ(bytesOf(d.get()), before);
}

TEST(ArithTiles, SameTiledHeaderForSourceAndDestination) {
    for (ArithOp op : kOps) {
        Operand t = makeOperand({2, 20, 21, {0, 3, 2, 15, 15}, 8, 8}, VSK_8S, 0, true, 6);
        ImagePtr expected = cloneImage(t.plain.get());
        runArith(op, expected.get(), expected.get(), expected.get(), -60);
        runArith(op, t.header(), t.header(), t.header(), -60);
        EXPECT_EQ(firstDifference(resultOf(t).get(), expected.get()), "") << arithName(op);
        EXPECT_EQ(t.tiled->held, 0);
    }
}

TEST(ArithTiles, WalksLargerThanTheCachesGiveTheSameSamples) {
    // A walk writing more than 8 MiB into tiles stores past the caches; the
    // samples and the call-backs stay those of any other walk.
    const Geometry g{3, 900, 800, {0, 3, 5, 890, 795}, 64, 64};
    Operand src = makeOperand(g, VSK_32S, 0, false, 5);
    for (int op = 0; op < 3; ++op) {
        TiledImage tiled(g.nChannels, VSK_32S, 0, g.height, g.width, g.tileWidth, g.tileHeight);
        setRoi(tiled.get(), g.roi[0], g.roi[1], g.roi[2], g.roi[3], g.roi[4]);
        ImagePtr expected = cloneImage(src.plain.get());
        tiled.storeTo(expected.get());
        auto run = [&](VskImage* dst) {
            if (op == 0) tvskCopy(src.plain.get(), dst, nullptr);
            if (op == 1) runArith(ArithOp::Add, src.plain.get(), nullptr, dst, 1 << 30);
            if (op == 2) runArith(ArithOp::AndS, src.plain.get(), nullptr, dst, 0x5A5A5A5A);
        };
        run(expected.get());
        ErrorCapture capture;
        run(tiled.get());
        EXPECT_TRUE(capture.reports().empty()) << op;
        ImagePtr got = cloneImage(src.plain.get());
        tiled.storeTo(got.get());
        EXPECT_EQ(firstDifference(got.get(), expected.get()), "") << op;
        EXPECT_EQ(tiled.held, 0) << op;
        EXPECT_EQ(tiled.log.size(), 2u * 14 * 13) << op;  // each tile taken and given back
    }
}
