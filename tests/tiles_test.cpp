// Tiled access: the tile range, the standard walk with its temporary tile
// headers, and the rectangle fetch with the four border modes.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/vsktest.hpp"
#include "tiles.hpp"

using namespace vsktest;

namespace {

struct Visited {
    vsk::TilePart part;
    int roiX, roiY, roiH, roiW, roiCoi;  // the temporary header's ROI
    int partnerX, partnerY, partnerH, partnerW;
    int width, height;
};

const vsk::Site kSite{"vskTest", "vsktest"};

}  // namespace

TEST(TileRange, RoiAcrossFourTiles) {
    TiledImage t(1, VSK_8U, 0, 32, 32, 8, 8);
    setRoi(t.get(), 0, 5, 5, 10, 10);
    vsk::TileRange r;
    ASSERT_TRUE(vsk::oneImageTileRange(t.get(), &r));
    EXPECT_EQ(r.fc, 0);
    EXPECT_EQ(r.fr, 0);
    EXPECT_EQ(r.nc, 2);
    EXPECT_EQ(r.nr, 2);
    EXPECT_EQ(r.ox, 5);
    EXPECT_EQ(r.oy, 5);

    // Two-image form: position from the tiled image, the smaller size.
    ImagePtr plain = makeImage(1, VSK_8U, 0, 4, 30);
    ASSERT_TRUE(vsk::twoImageTileRange(t.get(), plain.get(), t.get(), &r));
    EXPECT_EQ(r.rows, 4);
    EXPECT_EQ(r.cols, 10);
    EXPECT_EQ(r.nr, 2);  // rows 5..8 cross into the second tile row
}

TEST(TileRange, PartSpans) {
    struct Case {
        int index, count, inner, tile, total;
        int inTile, size, offset;
    } cases[] = {
        {0, 2, 5, 8, 10, 5, 3, 0},  // ROI at 5, 10 wide, 8-pixel tiles: 3 then 7
        {1, 2, 5, 8, 10, 0, 7, 3},
        {0, 1, 2, 8, 4, 2, 4, 0},      // inside one tile
        {2, 4, 3, 8, 22, 0, 8, 13},    // a middle tile
        {3, 4, 3, 8, 22, 0, 1, 21},    // the last tile, one pixel
        {-1, 2, 5, 8, 10, 0, 8, -13},  // before the first (destination-tile quirk)
    };
    for (const Case& c : cases) {
        const vsk::Span s = vsk::partSpan(c.index, c.count, c.inner, c.tile, c.total);
        EXPECT_EQ(s.inTile, c.inTile) << "part " << c.index << " of " << c.count;
        EXPECT_EQ(s.size, c.size) << "part " << c.index << " of " << c.count;
        EXPECT_EQ(s.offset, c.offset) << "part " << c.index << " of " << c.count;
    }
}

// The right/bottom cut keeps the ROI's offsets and cuts only where it runs
// past the far edges; the full clip clips every side.
TEST(ClipRules, RightBottomCutAgainstFullClip) {
    struct Case {
        bool roi;
        int x, y, h, w;
        int cutX, cutY, cutRows, cutCols;
        int clipX, clipY, clipRows, clipCols;
    } cases[] = {
        {false, 0, 0, 0, 0, 0, 0, 8, 10, 0, 0, 8, 10},
        {true, 6, 5, 2, 7, 6, 5, 2, 4, 6, 5, 2, 4},
        {true, 12, 9, 3, 3, 12, 9, -1, -2, 0, 0, 0, 0},  // past both far edges
        {true, -2, 1, 3, 5, -2, 1, 3, 5, 0, 1, 3, 3},    // before the near edge: not cut
    };
    for (const Case& c : cases) {
        ImagePtr image = makeImage(2, VSK_8U, 0, 8, 10);
        if (c.roi) setRoi(image.get(), 2, c.x, c.y, c.h, c.w);
        const vsk::Rect cut = vsk::roiCut(image.get());
        const vsk::RoiRect clip = vsk::roiRect(image.get());
        SCOPED_TRACE(testing::Message() << "roi " << c.x << "," << c.y << " " << c.w << "x" << c.h);
        EXPECT_EQ((std::vector<int>{cut.x, cut.y, cut.rows, cut.cols}),
                  (std::vector<int>{c.cutX, c.cutY, c.cutRows, c.cutCols}));
        EXPECT_EQ((std::vector<int>{clip.x, clip.y, clip.rows, clip.cols}),
                  (std::vector<int>{c.clipX, c.clipY, c.clipRows, c.clipCols}));
        EXPECT_EQ(vsk::channelCount(image.get()), c.roi ? 1 : 2);
        EXPECT_EQ(vsk::firstChannel(image.get()), c.roi ? 1 : 0);
    }
}

// Depth dispatch over a subset: the element type of each depth in the set,
// false for the others.
TEST(ClipRules, DepthDispatchOverASubset) {
    using Set = vsk::Depths<vsk::Bit, std::uint8_t, std::int32_t>;
    const struct {
        unsigned depth;
        int size;  // sizeof the element type, 0 for bits, -1 for no call
    } cases[] = {{VSK_1U, 0}, {VSK_8U, 1}, {VSK_32S, 4}, {VSK_8S, -1}, {VSK_16U, -1}, {7, -1}};
    for (const auto& c : cases) {
        int size = -1;
        const bool called = vsk::dispatchDepth<Set>(c.depth, [&](auto t) {
            size = vsk::kIsBit<decltype(t)> ? 0 : static_cast<int>(sizeof(t));
        });
        EXPECT_EQ(size, c.size) << "depth " << c.depth;
        EXPECT_EQ(called, c.size >= 0) << "depth " << c.depth;
    }
}

TEST(TileRange, TwoImageFormIsEmptyWhenAROILiesWhollyOutsideItsImage) {
    struct Case {
        int tiledX, tiledY, plainX, plainY;
        bool any;
    } cases[] = {
        {5, 5, 0, 0, true},
        {5, 5, 0, 2147483640, false},
        {5, 5, 16, 0, false},
        {16, 5, 0, 0, false},
        {5, 2147483640, 0, 0, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.tiledX << "," << c.tiledY << " " << c.plainX << "," << c.plainY);
        ErrorCapture capture;
        TiledImage src(1, VSK_8U, 0, 16, 16, 8, 8);
        setRoi(src.get(), 0, c.tiledX, c.tiledY, 10, 10);
        ImagePtr dst = makeImage(1, VSK_8U, 0, 16, 16);
        setRoi(dst.get(), 0, c.plainX, c.plainY, 10, 10);
        vsk::TileRange range;
        EXPECT_EQ(vsk::twoImageTileRange(src.get(), src.get(), dst.get(), &range), c.any);
        // A copy then takes no tile and reports nothing.
        tvskCopy(src.get(), dst.get(), nullptr);
        EXPECT_EQ(src.log.empty(), !c.any);
        EXPECT_TRUE(capture.reports().empty());
    }
}

TEST(TileWalk, PartsOrderAndTemporaryHeaders) {
    struct Case {
        int x, y, h, w;
        std::vector<std::vector<int>> parts;  // col, row, x, y, w, h, offX, offY
    } cases[] = {
        {5, 5, 10, 10,
         {{0, 0, 5, 5, 3, 3, 0, 0}, {1, 0, 0, 5, 7, 3, 3, 0},
          {0, 1, 5, 0, 3, 7, 0, 3}, {1, 1, 0, 0, 7, 7, 3, 3}}},
        {9, 10, 4, 5, {{1, 1, 1, 2, 5, 4, 0, 0}}},  // inside one tile: one part
        {3, 0, 1, 22,
         {{0, 0, 3, 0, 5, 1, 0, 0}, {1, 0, 0, 0, 8, 1, 5, 0}, {2, 0, 0, 0, 8, 1, 13, 0},
          {3, 0, 0, 0, 1, 1, 21, 0}}},
    };
    for (const Case& c : cases) {
        TiledImage t(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 40, 40, 8, 8);
        setRoi(t.get(), 2, c.x, c.y, c.h, c.w);
        ImagePtr partner = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 40, 40);
        setRoi(partner.get(), 3, 1, 2, c.h, c.w);
        VskROI* callerRoi = partner->roi;

        vsk::TileRange range;
        ASSERT_TRUE(vsk::twoImageTileRange(t.get(), partner.get(), t.get(), &range));
        vsk::TileWalk walk{t.get(), VSK_TILE_WRITE, kSite, "Error get tile to write", 353,
                           partner.get()};
        std::vector<Visited> seen;
        ASSERT_TRUE(vsk::walkTiles(walk, range, nullptr, [&](VskImage* tile, const vsk::TilePart& p) {
            EXPECT_EQ(tile->tileInfo, nullptr);
            EXPECT_EQ(tile->imageData, reinterpret_cast<char*>(t.tile(p.col, p.row)));
            EXPECT_EQ(vskBadImageHeader(tile), 0u);
            seen.push_back({p, tile->roi->xOffset, tile->roi->yOffset, tile->roi->height,
                            tile->roi->width, tile->roi->coi, partner->roi->xOffset,
                            partner->roi->yOffset, partner->roi->height, partner->roi->width,
                            tile->width, tile->height});
            EXPECT_EQ(partner->roi->coi, 3);
            return true;
        }));
        EXPECT_EQ(partner->roi, callerRoi);
        ASSERT_EQ(seen.size(), c.parts.size());
        std::vector<TileCall> expectedLog;
        for (std::size_t k = 0; k < seen.size(); ++k) {
            const auto& e = c.parts[k];
            const Visited& v = seen[k];
            SCOPED_TRACE(k);
            EXPECT_EQ(v.part.col, e[0]);
            EXPECT_EQ(v.part.row, e[1]);
            EXPECT_EQ(v.roiX, e[2]);
            EXPECT_EQ(v.roiY, e[3]);
            EXPECT_EQ(v.roiW, e[4]);
            EXPECT_EQ(v.roiH, e[5]);
            EXPECT_EQ(v.roiCoi, 2);
            EXPECT_EQ(v.partnerX, 1 + e[6]);
            EXPECT_EQ(v.partnerY, 2 + e[7]);
            EXPECT_EQ(v.partnerW, e[4]);
            EXPECT_EQ(v.partnerH, e[5]);
            EXPECT_EQ(v.width, 8);
            EXPECT_EQ(v.height, 8);
            expectedLog.push_back({VSK_TILE_WRITE, e[0], e[1]});
            expectedLog.push_back({VSK_TILE_RELEASE, e[0], e[1]});
        }
        EXPECT_EQ(describe(t.log), describe(expectedLog));
        EXPECT_EQ(t.held, 0);
        EXPECT_EQ(t.badReleases, 0);
    }
}

TEST(TileWalk, RefusedTileIsReportedAndStopsTheWalk) {
    ErrorCapture capture;
    TiledImage t(1, VSK_8U, 0, 16, 16, 8, 8);
    setRoi(t.get(), 0, 5, 5, 10, 10);
    t.refuse.insert({1, 0});
    ImagePtr partner = makeImage(1, VSK_8U, 0, 16, 16);
    VskROI* callerRoi = partner->roi;
    vsk::TileRange range;
    ASSERT_TRUE(vsk::oneImageTileRange(t.get(), &range));
    vsk::TileWalk walk{t.get(), VSK_TILE_WRITE, {"vskSet", "vskSCE"}, "Error get tile to write",
                       549, partner.get()};
    int visits = 0;
    EXPECT_FALSE(vsk::walkTiles(walk, range, nullptr, [&](VskImage*, const vsk::TilePart&) {
        ++visits;
        return true;
    }));
    EXPECT_EQ(visits, 1);
    EXPECT_EQ(describe(t.log), "(2,0,0)(4,0,0)(2,1,0)");
    EXPECT_EQ(partner->roi, callerRoi);  // put back on the early return too
    ASSERT_EQ(capture.reports().size(), 1u);
    EXPECT_EQ(capture.reports()[0].status, -2);
    EXPECT_EQ(capture.reports()[0].context, "Error get tile to write");
    EXPECT_EQ(capture.reports()[0].line, 549);
    EXPECT_EQ(tvskGetErrStatus(), -2);

    // A visitor that stops leaves its tile unreleased.
    t.log.clear();
    t.refuse.clear();
    EXPECT_FALSE(vsk::walkTiles(walk, range, nullptr,
                                [&](VskImage*, const vsk::TilePart&) { return false; }));
    EXPECT_EQ(describe(t.log), "(2,0,0)");
}

TEST(TileWalk, DestinationTileRestrictionUsesTheColumnForBothIndexes) {
    struct Case {
        int roiX, roiY, tc, tr;
        const char* log;
    } cases[] = {
        {5, 5, 0, 0, "(2,0,0)(4,0,0)"},
        {5, 5, 1, 1, ""},            // column past the first: nothing
        {5, 5, 0, 1, "(2,0,0)(4,0,0)"},  // the row index starts at column - first row = 0
        {5, 5, 2, 0, ""},            // outside the range
        {5, 5, 0, 2, ""},            // outside the range
        // First tile row 1: row indexes run from -1 to 0, tile rows 0 and 1.
        {5, 13, 0, 1, "(2,0,0)(4,0,0)(2,0,1)(4,0,1)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "tile " << c.tc << "," << c.tr << " roi at " << c.roiX
                                        << "," << c.roiY);
        TiledImage t(1, VSK_8U, 0, 40, 40, 8, 8);
        setRoi(t.get(), 0, c.roiX, c.roiY, 10, 10);
        vsk::TileRange range;
        ASSERT_TRUE(vsk::oneImageTileRange(t.get(), &range));
        vsk::TileWalk walk{t.get(), VSK_TILE_WRITE, kSite, "Error get tile to write", 1, nullptr};
        const int tile[2] = {c.tc, c.tr};
        EXPECT_TRUE(vsk::walkTiles(walk, range, tile,
                                   [&](VskImage*, const vsk::TilePart&) { return true; }));
        EXPECT_EQ(describe(t.log), c.log);
    }
}

// ---- the rectangle fetch ---------------------------------------------------------

namespace {

std::vector<int> fetchRow(VskImage* image, int x, int width) {
    int step = 0;
    auto* p = static_cast<std::uint8_t*>(vskGetRect(image, x, 0, width, 1, &step));
    EXPECT_NE(p, nullptr);
    std::vector<int> out;
    if (!p) return out;
    for (int i = 0; i < width; ++i) out.push_back(p[i]);
    vskFreeAligned(p);
    return out;
}

// The pixel the fetch must give at image position (x, y) by the border rules.
int expectedAt(const VskImage* image, int x, int y) {
    const int W = image->width, H = image->height;
    auto map = [](int mode, int i, int n) {
        switch (mode & 3) {
            case 1: return i < 0 ? 0 : (i >= n ? n - 1 : i);
            case 2: {
                int p = 2 * n, j = ((i % p) + p) % p;
                return j >= n ? p - 1 - j : j;
            }
            case 3: return ((i % n) + n) % n;
        }
        return -1;
    };
    int side = -1, mode = 0;
    if (y < 0) side = 0;
    else if (y >= H) side = 1;
    if (side >= 0) {
        mode = image->borderModes[side];
        if ((mode & 3) == 0) return image->borderValues[side] & 0xFF;
        return static_cast<int>(get(image, map(mode, x, W), map(mode, y, H)));
    }
    if (x < 0 || x >= W) {
        side = x < 0 ? 2 : 3;
        mode = image->borderModes[side];
        if ((mode & 3) == 0) return image->borderValues[side] & 0xFF;
        return static_cast<int>(get(image, map(mode, x, W), y));
    }
    return static_cast<int>(get(image, x, y));
}

}  // namespace

TEST(GetRect, BorderModesOnOneRow) {
    ImagePtr image = makeImage(1, VSK_8U, 0, 1, 5);
    for (int x = 0; x < 5; ++x) put(image.get(), x, 0, 0, 10 + x);
    struct Case {
        int mode;
        std::vector<int> expected;
    } cases[] = {
        {VSK_BORDER_CONSTANT, {0, 0, 10, 11}},
        {VSK_BORDER_REPLICATE, {10, 10, 10, 11}},
        {VSK_BORDER_REFLECT, {11, 10, 10, 11}},
        {VSK_BORDER_WRAP, {13, 14, 10, 11}},
        {VSK_BORDER_WRAP | 4, {13, 14, 10, 11}},  // only the low 2 bits count
    };
    for (const Case& c : cases) {
        vskSetBorderMode(image.get(), c.mode, 4, 0);
        EXPECT_EQ(fetchRow(image.get(), -2, 4), c.expected) << "mode " << c.mode;
    }
    vskSetBorderMode(image.get(), VSK_BORDER_CONSTANT, 8, 0x1234);  // right side, byte widened
    EXPECT_EQ(fetchRow(image.get(), 3, 4), (std::vector<int>{13, 14, 0x34, 0x34}));
}

TEST(GetRect, EveryModeAndSideMatchesTheBorderRules) {
    ImagePtr image = makeImage(1, VSK_8U, 0, 5, 7);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x) put(image.get(), x, y, 0, y * 16 + x);
    for (int top = 0; top < 4; ++top)
        for (int side = 0; side < 4; ++side) {
            for (int i = 0; i < 4; ++i) image->borderModes[i] = side;
            image->borderModes[0] = top;
            image->borderModes[1] = (top + 1) % 4;
            image->borderValues[0] = 200;
            image->borderValues[1] = 201;
            image->borderValues[2] = 202;
            image->borderValues[3] = 203;
            const int x = -9, y = -6, w = 25, h = 17;  // beyond one period on every side
            int step = 0;
            auto* p = static_cast<std::uint8_t*>(vskGetRect(image.get(), x, y, w, h, &step));
            ASSERT_NE(p, nullptr);
            EXPECT_EQ(step, 28);
            for (int r = 0; r < h; ++r)
                for (int c = 0; c < w; ++c)
                    ASSERT_EQ(p[r * step + c], expectedAt(image.get(), x + c, y + r))
                        << "modes " << top << "/" << side << " at " << x + c << "," << y + r;
            vskFreeAligned(p);
        }
}

TEST(GetRect, TiledSourceMatchesPlainSourceAndLogsTiles) {
    ImagePtr plain = makeImage(3, VSK_16U, VSK_DATA_ORDER_PLANE, 20, 19);
    fillRandom(plain.get(), 5);
    TiledImage t(3, VSK_16U, VSK_DATA_ORDER_PLANE, 20, 19, 8, 8);
    t.loadFrom(plain.get());
    struct Case {
        int x, y, w, h, mode;
    } cases[] = {
        {3, 2, 10, 9, 0},    // inside
        {-3, -2, 25, 26, 1}, // every side, replicate
        {-3, -2, 25, 26, 2},
        {-3, -2, 25, 26, 3},
        {-3, -2, 25, 26, 0},
        {22, 25, 4, 4, 0},   // wholly outside, constant: no tiles
        {22, 25, 4, 4, 3},   // wholly outside, wrapped
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.x << "," << c.y << " " << c.w << "x" << c.h << " mode "
                                        << c.mode);
        for (int i = 0; i < 4; ++i) {
            plain->borderModes[i] = t.get()->borderModes[i] = c.mode;
            plain->borderValues[i] = t.get()->borderValues[i] = 1000 + i;
        }
        t.log.clear();
        int s1 = 0, s2 = 0;
        void* a = vskGetRect(plain.get(), c.x, c.y, c.w, c.h, &s1);
        void* b = vskGetRect(t.get(), c.x, c.y, c.w, c.h, &s2);
        ASSERT_NE(a, nullptr);
        ASSERT_NE(b, nullptr);
        EXPECT_EQ(s1, s2);
        EXPECT_EQ(std::memcmp(a, b, static_cast<std::size_t>(s1) * c.h * 3), 0);
        EXPECT_EQ(t.held, 0);
        EXPECT_EQ(t.badReleases, 0);
        for (const TileCall& call : t.log) EXPECT_TRUE(call.mode == 1 || call.mode == 4);
        vskFreeAligned(a);
        vskFreeAligned(b);
    }
    // Inside rectangle: each tile row taken left to right, released in reverse.
    t.log.clear();
    void* p = vskGetRect(t.get(), 3, 2, 10, 9, nullptr);
    vskFreeAligned(p);
    EXPECT_EQ(describe(t.log), "(1,0,0)(1,1,0)(4,1,0)(4,0,0)(1,0,1)(1,1,1)(4,1,1)(4,0,1)");
}

TEST(GetRect, RefusedTileGivesNullAndReturnsHeldTiles) {
    TiledImage t(1, VSK_8U, 0, 16, 24, 8, 8);
    t.refuse.insert({2, 1});
    EXPECT_EQ(vskGetRect(t.get(), 0, 0, 24, 16, nullptr), nullptr);
    EXPECT_EQ(t.held, 0);
    EXPECT_EQ(describe(t.log),
              "(1,0,0)(1,1,0)(1,2,0)(4,2,0)(4,1,0)(4,0,0)(1,0,1)(1,1,1)(1,2,1)(4,1,1)(4,0,1)");
}

TEST(GetRect, OneBitRectanglesAtEveryOffset) {
    ImagePtr plain = makeImage(1, VSK_1U, 0, 9, 37);
    fillRandom(plain.get(), 11);
    TiledImage t(1, VSK_1U, 0, 9, 37, 16, 8);
    t.loadFrom(plain.get());
    for (int mode : {0, 1, 2, 3}) {
        for (int i = 0; i < 4; ++i) {
            plain->borderModes[i] = t.get()->borderModes[i] = mode;
            plain->borderValues[i] = t.get()->borderValues[i] = i;  // odd sides are ones
        }
        for (int x = -9; x < 3; ++x) {
            const int y = -2, w = 45, h = 13;
            int step = 0, tstep = 0;
            auto* p = static_cast<std::uint8_t*>(vskGetRect(plain.get(), x, y, w, h, &step));
            auto* q = static_cast<std::uint8_t*>(vskGetRect(t.get(), x, y, w, h, &tstep));
            ASSERT_NE(p, nullptr);
            ASSERT_NE(q, nullptr);
            EXPECT_EQ(step, 8);
            for (int r = 0; r < h; ++r)
                for (int c = 0; c < w; ++c) {
                    const int got = (p[r * step + c / 8] >> (7 - c % 8)) & 1;
                    const int yy = y + r, xx = x + c;
                    int want;
                    const int side = yy < 0 ? 0 : yy >= 9 ? 1 : xx < 0 ? 2 : xx >= 37 ? 3 : -1;
                    if (side >= 0 && mode == 0) {
                        want = plain->borderValues[side] & 1;
                    } else {
                        auto m = [&](int i, int n) {
                            if (mode == 1) return i < 0 ? 0 : (i >= n ? n - 1 : i);
                            if (mode == 2) { int pp = 2 * n, j = ((i % pp) + pp) % pp; return j >= n ? pp - 1 - j : j; }
                            return ((i % n) + n) % n;
                        };
                        want = static_cast<int>(get(plain.get(), side >= 0 ? m(xx, 37) : xx,
                                                    side >= 0 ? m(yy, 9) : yy));
                    }
                    ASSERT_EQ(got, want) << "mode " << mode << " x " << x << " at " << c << "," << r;
                }
            EXPECT_EQ(std::memcmp(p, q, static_cast<std::size_t>(step) * h), 0);
            vskFreeAligned(p);
            vskFreeAligned(q);
        }
    }
}

TEST(GetRect, RejectsWhatItCannotRead) {
    ImagePtr image = makeImage(1, VSK_8U, 0, 4, 4);
    int step = -1;
    EXPECT_EQ(vskGetRect(nullptr, 0, 0, 1, 1, &step), nullptr);
    image->dataOrder = 2;
    EXPECT_EQ(vskGetRect(image.get(), 0, 0, 1, 1, &step), nullptr);
    image->dataOrder = 0;
    image->depth = 32;
    EXPECT_EQ(vskGetRect(image.get(), 0, 0, 1, 1, &step), nullptr);
    image->depth = VSK_8U;
    image->align = 2;
    EXPECT_EQ(vskGetRect(image.get(), 0, 0, 1, 1, &step), nullptr);
    image->align = 4;
    // Sizes whose buffer would overflow 32 bits.
    EXPECT_EQ(vskGetRect(image.get(), 0, 0, 0x7FFFFFF0, 2, &step), nullptr);
    EXPECT_EQ(vskGetRect(image.get(), 0, 0, 65536, 65536, &step), nullptr);
    EXPECT_EQ(vskGetRect(image.get(), 0, 0, -1, 1, &step), nullptr);
    // Tiles whose size overflows 64 bits: refused without asking for one.
    TiledImage huge(4, VSK_16U, 0, 16, 16, 8, 8);
    huge.get()->tileInfo->width = huge.get()->tileInfo->height = 1 << 30;
    EXPECT_EQ(vskGetRect(huge.get(), 0, 0, 4, 4, &step), nullptr);
    EXPECT_TRUE(huge.log.empty());
    // Pixels of more than INT_MAX bytes (2^31 - 1 channels set after allocation): refused.
    ImagePtr wide = makeImage(1, VSK_16S, 0, 4, 4);
    wide->nChannels = INT_MAX;
    EXPECT_EQ(vskGetRect(wide.get(), 0, 0, 1, 1, &step), nullptr);
    // As many planes, each of a large rectangle: the size saturates, refused.
    wide->dataOrder = VSK_DATA_ORDER_PLANE;
    EXPECT_EQ(vskGetRect(wide.get(), 0, 0, 1 << 20, 1 << 14, &step), nullptr);
    // An empty rectangle is a valid, empty buffer.
    void* p = vskGetRect(image.get(), 2, 2, 0, 3, &step);
    EXPECT_NE(p, nullptr);
    EXPECT_EQ(step, 0);
    vskFreeAligned(p);
}

TEST(GetRect, ReadsNothingOutsideAGuardedBuffer) {
    GuardedImage g(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 7, 5);
    for (int mode = 0; mode < 4; ++mode) {
        vskSetBorderMode(g.get(), mode, 15, 9);
        for (int x = -6; x <= 6; x += 3)
            for (int y = -8; y <= 8; y += 4) {
                void* p = vskGetRect(g.get(), x, y, 11, 15, nullptr);
                ASSERT_NE(p, nullptr);
                vskFreeAligned(p);
            }
    }
    // A header grown after allocation: rows past the buffer's end read as zeros.
    fillRandom(g.get(), 3);
    g.get()->height = 9;
    auto* p = static_cast<std::uint8_t*>(vskGetRect(g.get(), 0, 0, 5, 9, nullptr));
    ASSERT_NE(p, nullptr);
    for (int k = 0; k < 15; ++k) {
        EXPECT_EQ(p[6 * 16 + k], get(g.get(), k / 3, 6, k % 3));
        EXPECT_EQ(p[7 * 16 + k] | p[8 * 16 + k], 0);
    }
    vskFreeAligned(p);
    g.get()->height = 7;
}
