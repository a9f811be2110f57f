// Tiled access: the tile range, the standard walk with its temporary tile
// headers, and the rectangle fetch with the four border modes.
#include <gtest/gtest.h>

#include <vector>

#include "support/vsktest.hpp"
#include "tiles.hpp"

using namespace vsktest;

const vsk::Site kSite{"vskTest", "vsktest"};

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
        EXPECT_EQ((std::vector<int>{s.inTile, s.size, s.offset}), (std::vector<int>{c.inTile, c.size, c.offset}))
            << "part " << c.index << " of " << c.count;
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
    // A ROI at (5, 5) of 10 x 10 over 8 x 8 tiles: parts 3 and 7 wide and high.
    TiledImage t(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 40, 40, 8, 8);
    setRoi(t.get(), 2, 5, 5, 10, 10);
    ImagePtr partner = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 40, 40);
    setRoi(partner.get(), 3, 1, 2, 10, 10);
    VskROI* callerRoi = partner->roi;
    vsk::TileRange range;
    ASSERT_TRUE(vsk::twoImageTileRange(t.get(), partner.get(), t.get(), &range));
    vsk::TileWalk walk{t.get(), VSK_TILE_WRITE, kSite, "Error get tile to write", 353, partner.get()};
    // Per part: tile column, row; the tile header's ROI x, y, width, height,
    // coi; the partner's ROI x, y, width, height, coi.
    std::vector<std::vector<int>> seen;
    ASSERT_TRUE(vsk::walkTiles(walk, range, nullptr, [&](VskImage* tile, const vsk::TilePart& p) {
        EXPECT_EQ(tile->imageData, reinterpret_cast<char*>(t.tile(p.col, p.row)));
        EXPECT_TRUE(!tile->tileInfo && tile->width == 8 && tile->height == 8);
        const VskROI *r = tile->roi, *q = partner->roi;
        seen.push_back({p.col, p.row, r->xOffset, r->yOffset, r->width, r->height, r->coi,
                        q->xOffset, q->yOffset, q->width, q->height, q->coi});
        return true;
    }));
    EXPECT_EQ(seen, (std::vector<std::vector<int>>{{0, 0, 5, 5, 3, 3, 2, 1, 2, 3, 3, 3},
                                                   {1, 0, 0, 5, 7, 3, 2, 4, 2, 7, 3, 3},
                                                   {0, 1, 5, 0, 3, 7, 2, 1, 5, 3, 7, 3},
                                                   {1, 1, 0, 0, 7, 7, 2, 4, 5, 7, 7, 3}}));
    EXPECT_EQ(partner->roi, callerRoi);
    EXPECT_EQ(describe(t.log), "(2,0,0)(4,0,0)(2,1,0)(4,1,0)(2,0,1)(4,0,1)(2,1,1)(4,1,1)");
    EXPECT_EQ(t.held + t.badReleases, 0);
}

// ---- the rectangle fetch ---------------------------------------------------------

namespace {

// The fetched rectangle of an 8-bit one-channel image, row after row.
std::vector<int> fetch(VskImage* image, int x, int y, int width, int height) {
    int step = 0;
    auto* p = static_cast<std::uint8_t*>(vskGetRect(image, x, y, width, height, &step));
    EXPECT_NE(p, nullptr);
    std::vector<int> out;
    for (int r = 0; p && r < height; ++r) out.insert(out.end(), p + r * step, p + r * step + width);
    vskFreeAligned(p);
    return out;
}

}  // namespace

TEST(GetRect, BorderModes) {
    ImagePtr row = makeImage(1, VSK_8U, 0, 1, 5);
    for (int x = 0; x < 5; ++x) put(row.get(), x, 0, 0, 10 + x);
    struct Case {
        int mode;
        std::vector<int> expected;  // columns -2 .. 1
    } cases[] = {
        {VSK_BORDER_CONSTANT, {0, 0, 10, 11}},  {VSK_BORDER_REPLICATE, {10, 10, 10, 11}},
        {VSK_BORDER_REFLECT, {11, 10, 10, 11}}, {VSK_BORDER_WRAP, {13, 14, 10, 11}},
        {VSK_BORDER_WRAP | 4, {13, 14, 10, 11}},  // only the low 2 bits count
    };
    for (const Case& c : cases) {
        vskSetBorderMode(row.get(), c.mode, 4, 0);
        EXPECT_EQ(fetch(row.get(), -2, 0, 4, 1), c.expected) << "mode " << c.mode;
    }
    vskSetBorderMode(row.get(), VSK_BORDER_CONSTANT, 8, 0x1234);  // right side, byte widened
    EXPECT_EQ(fetch(row.get(), 3, 0, 4, 1), (std::vector<int>{13, 14, 0x34, 0x34}));

    // Each side by its own mode; the corners follow the top and bottom bands.
    ImagePtr image = makeImage(1, VSK_8U, 0, 2, 3);
    for (int x = 0; x < 3; ++x) put(image.get(), x, 0, 0, 10 + x), put(image.get(), x, 1, 0, 20 + x);
    vskSetBorderMode(image.get(), VSK_BORDER_REPLICATE, 1, 0);
    vskSetBorderMode(image.get(), VSK_BORDER_CONSTANT, 2, 9);
    vskSetBorderMode(image.get(), VSK_BORDER_WRAP, 4, 0);
    vskSetBorderMode(image.get(), VSK_BORDER_REFLECT, 8, 0);
    EXPECT_EQ(fetch(image.get(), -2, -1, 7, 4), (std::vector<int>{10, 10, 10, 11, 12, 12, 12,  //
                                                                11, 12, 10, 11, 12, 12, 11,  //
                                                                21, 22, 20, 21, 22, 22, 21,  //
                                                                9,  9,  9,  9,  9,  9,  9}));
}

TEST(GetRect, OneBitConstantBordersAreAllOnesForOddValues) {
    // A 1-bit constant border widens its value like the allocation fill: an
    // odd value sets every bit, an even one (2 included) clears them; each
    // side by its own value, the corners by the top and bottom bands.
    ImagePtr image = makeImage(1, VSK_1U, 0, 1, 6);
    const int row[6] = {1, 0, 1, 1, 0, 0};
    for (int x = 0; x < 6; ++x) put(image.get(), x, 0, 0, row[x]);
    struct Case {
        int top, bottom, left, right;
        const char* bits;  // rows -1 .. 1, columns -2 .. 7
    } cases[] = {
        {2, 3, 5, 4, "0000000000" "1110110000" "1111111111"},
        {-1, 0, 2, 7, "1111111111" "0010110011" "0000000000"},
    };
    for (const Case& c : cases) {
        const int values[4] = {c.top, c.bottom, c.left, c.right};
        for (int side = 0; side < 4; ++side)
            vskSetBorderMode(image.get(), VSK_BORDER_CONSTANT, 1 << side, values[side]);
        int step = 0;
        auto* p = static_cast<std::uint8_t*>(vskGetRect(image.get(), -2, -1, 10, 3, &step));
        ASSERT_NE(p, nullptr);
        std::string bits;
        for (int r = 0; r < 3; ++r)
            for (int x = 0; x < 10; ++x) bits += "01"[(p[r * step + x / 8] >> (7 - x % 8)) & 1];
        vskFreeAligned(p);
        EXPECT_EQ(bits, c.bits) << c.top << " " << c.left;
    }
}

TEST(GetRect, TilesAreTakenByRowAndReleasedInReverse) {
    TiledImage t(1, VSK_8U, 0, 16, 24, 8, 8);
    for (int x = 0; x < 24; ++x) t.put(x, 9, 0, x);
    EXPECT_EQ(fetch(t.get(), 3, 9, 10, 1), (std::vector<int>{3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    EXPECT_EQ(describe(t.log), "(1,0,1)(1,1,1)(4,1,1)(4,0,1)");
    // A refused tile: null, and the tiles held are given back.
    t.log.clear();
    t.refuse.insert({2, 1});
    EXPECT_EQ(vskGetRect(t.get(), 0, 0, 24, 16, nullptr), nullptr);
    EXPECT_EQ(t.held, 0);
    EXPECT_EQ(describe(t.log),
              "(1,0,0)(1,1,0)(1,2,0)(4,2,0)(4,1,0)(4,0,0)(1,0,1)(1,1,1)(1,2,1)(4,1,1)(4,0,1)");
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

// Whether a walk is larger than the caches (8 MiB of the image) is decided
// without overflow, even for the largest header a call can describe.
TEST(Tiles, LargeWalkSizesSaturate) {
    VskImage image{};
    image.nChannels = 4;
    image.depth = VSK_16U;
    const std::int64_t huge = 2147483647;
    struct Case {
        std::int64_t rows, cols;
        bool large;
    } cases[] = {{huge, huge, true}, {huge * 4, huge * 8, true}, {1024, 1024, true},
                 {1023, 1024, false}, {0, huge, false}, {huge, 0, false}};
    for (const Case& c : cases)
        EXPECT_EQ(vsk::largeWalk(&image, c.rows, c.cols), c.large) << c.rows << " x " << c.cols;
}

// A row of 2^31 - 1 pixels of 2^31 - 1 channels is held at 2^60 bits rather
// than overflowing; a row of one plane of that image is exact.
TEST(Tiles, RowBytesOfTheLargestHeaderDoNotOverflow) {
    const int huge = 2147483647;
    EXPECT_EQ(vsk::rowBytes(VSK_DATA_ORDER_PIXEL, VSK_16U, 4, huge, huge), std::int64_t{1} << 57);
    EXPECT_EQ(vsk::rowBytes(VSK_DATA_ORDER_PLANE, VSK_16U, 4, huge, huge), std::int64_t{1} << 32);
    EXPECT_EQ(vsk::rowBytes(VSK_DATA_ORDER_PIXEL, VSK_16U, 4, 3, 5), 32);
}
