// The colour module's destination-driven tile walk: tile order, the tile
// selector and refused tiles. The golden hashes compare tiled and untiled runs.
#include <gtest/gtest.h>

#include <vector>

#include "../color/colorwalk.hpp"
#include "support/colortest.hpp"

using namespace vsktest;
using namespace colortest;

TEST(ColorWalk, TileSelector) {
    struct Case {
        int tile[2];
        std::vector<std::pair<int, int>> refuse;
        const char* log;
        int changedCol, changedRow;  // the one tile written, or -1
    } cases[] = {
        {{-1, -1}, {}, "(2,0,0)(4,0,0)", 0, 0},
        {{-1, 2}, {}, "(2,0,0)(4,0,0)", 0, 0},
        {{2, 1}, {}, "(2,2,1)(4,2,1)", 2, 1},
        // A refused selected tile moves on to the first tile of the next row.
        {{2, 1}, {{2, 1}}, "(2,2,1)(2,0,2)(4,0,2)", 0, 2},
        {{5, 5}, {}, "(2,5,5)(2,0,6)", -1, -1},
        // Far past the grid: both tiles refused, no position computed.
        {{1 << 30, 1 << 30}, {}, "(2,1073741824,1073741824)(2,0,1073741825)", -1, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.tile[0] << "," << c.tile[1]);
        ErrorCapture capture;
        ImagePtr src = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 24, 24, 255, 4, "RGB", "RGB");
        TiledImage dst(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 24, 24, 8, 8);
        for (const auto& r : c.refuse) dst.refuse.insert(r);
        int tile[2] = {c.tile[0], c.tile[1]};
        tvskColorToGray(src.get(), dst.get(), tile);
        EXPECT_EQ(reportsOf(capture), "");
        EXPECT_EQ(describe(dst.log), c.log);
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 24; ++x)
                ASSERT_EQ(dst.get(x, y), x / 8 == c.changedCol && y / 8 == c.changedRow ? 254 : 0)
                    << x << "," << y;
    }
    // With an untiled destination a selector naming a tile selects nothing.
    ErrorCapture capture;
    TiledImage src(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 16, 16, 8, 8);
    setNames(src.get(), "RGB", "RGB");
    ImagePtr dst = makeImage(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 16, 16, 9);
    int tile[2] = {0, 0};
    tvskColorToGray(src.get(), dst.get(), tile);
    EXPECT_EQ(describe(src.log), "");
    EXPECT_EQ(get(dst.get(), 0, 0), 9);
    // ... and (-1, -1) the whole destination.
    tile[0] = tile[1] = -1;
    tvskColorToGray(src.get(), dst.get(), tile);
    EXPECT_EQ(get(dst.get(), 15, 15), 0);
    EXPECT_EQ(src.held, 0);
    EXPECT_EQ(reportsOf(capture), "");
}

TEST(ColorWalk, RefusedTilesEndTheirRowWithoutReport) {
    ErrorCapture capture;
    ImagePtr src = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 16, 24, 255, 4, "RGB", "RGB");
    TiledImage dst(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 16, 24, 8, 8);
    dst.refuse.insert({1, 0});
    tvskColorToGray(src.get(), dst.get(), nullptr);
    EXPECT_EQ(reportsOf(capture), "");
    EXPECT_EQ(describe(dst.log),
              "(2,0,0)(4,0,0)(2,1,0)(2,0,1)(4,0,1)(2,1,1)(4,1,1)(2,2,1)(4,2,1)(2,3,1)(2,0,2)");
    EXPECT_EQ(dst.get(0, 0), 254);
    EXPECT_EQ(dst.get(16, 0), 0);  // tile (2, 0) was never reached
    EXPECT_EQ(dst.get(16, 8), 254);

    // A source tile that cannot be fetched ends the walk; the destination
    // tile is given back.
    TiledImage tiledSrc(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 16, 24, 8, 8);
    setNames(tiledSrc.get(), "RGB", "RGB");
    tiledSrc.refuse.insert({1, 0});
    TiledImage dst2(1, VSK_8U, VSK_DATA_ORDER_PIXEL, 16, 24, 8, 8);
    tvskColorToGray(tiledSrc.get(), dst2.get(), nullptr);
    EXPECT_EQ(reportsOf(capture), "");
    EXPECT_EQ(describe(dst2.log), "(2,0,0)(4,0,0)(2,1,0)(4,1,0)");
    EXPECT_EQ(dst2.held, 0);
    EXPECT_EQ(tiledSrc.held, 0);
}

namespace {

// A call-back that hands out the same tile memory for every index.
struct Everywhere {
    static inline std::vector<std::uint8_t> memory = std::vector<std::uint8_t>(64);
    static inline int handedOut = 0, released = 0;
    static void VSK_CALL callback(const VskImage* image, int, int, int mode) {
        if (mode == VSK_TILE_RELEASE) {
            ++released;
            image->tileInfo->tileData = nullptr;
            return;
        }
        ++handedOut;
        image->tileInfo->tileData = memory.data();
    }
};

}  // namespace

TEST(ColorWalk, CallbackServingEveryIndexStillEnds) {
    ErrorCapture capture;
    VskTileInfo info{Everywhere::callback, nullptr, nullptr, 8, 8};
    VskImage* dst = tvskCreateImageHeader(1, 0, VSK_8U, "GRAY", "GRAY", 0, 0, 4, 12, 20, nullptr,
                                          nullptr, &info);
    ImagePtr src = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 12, 20, 255, 4, "RGB", "RGB");
    tvskColorToGray(src.get(), dst, nullptr);
    // 3 x 2 tiles, then the tile past each row and the row past the grid.
    EXPECT_EQ(Everywhere::handedOut, 6 + 2 + 1);
    EXPECT_EQ(Everywhere::released, Everywhere::handedOut);
    EXPECT_EQ(Everywhere::memory[0], 254);  // tile (2, 1) was written last
    EXPECT_EQ(reportsOf(capture), "");
    tvskDeallocate(dst, VSK_FREE_HEADER);
}

TEST(ColorWalk, ChannelSlotsFollowTheFirstLetterOrThePlanes) {
    // The first slot is always red: in pixel order the pixel's first value
    // when channelSeq starts with "R", else its third; in plane order each
    // plane (12 bytes x 5 rows apart) goes to the slot of its letter.
    struct Case {
        int order, channels;
        unsigned depth;
        const char* seq;
        bool found;
        std::int64_t slots[3];
    } cases[] = {
        {VSK_DATA_ORDER_PIXEL, 3, VSK_8U, "RGB", true, {0, 1, 2}},
        {VSK_DATA_ORDER_PIXEL, 3, VSK_16U, "BGR", true, {4, 2, 0}},
        {VSK_DATA_ORDER_PIXEL, 4, VSK_32S, "RGBA", true, {0, 4, 8}},
        {VSK_DATA_ORDER_PLANE, 3, VSK_8U, "BGR", true, {120, 60, 0}},
        {VSK_DATA_ORDER_PLANE, 4, VSK_16U, "ARGB", true, {60, 120, 180}},
        {VSK_DATA_ORDER_PLANE, 3, VSK_8U, "RGAB", false, {}},
    };
    for (const Case& c : cases) {
        ImagePtr image = makeImage(c.channels, c.depth, c.order, 5, 3, 0, 4, "RGB", c.seq);
        std::int64_t slots[3];
        ASSERT_EQ(vsk::color::colorPlanePointers(image.get(), 12, 5, "RGB", slots), c.found)
            << c.seq;
        if (c.found) {
            EXPECT_EQ(std::vector<std::int64_t>(slots, slots + 3),
                      std::vector<std::int64_t>(c.slots, c.slots + 3))
                << c.seq;
        }
    }
}
