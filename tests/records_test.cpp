// Image header, ROI and tile records.
#include <gtest/gtest.h>

#include <cstring>

#include "core.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

VskImage* header(int nChannels, unsigned depth, int order, int align, int height, int width,
                 int alpha = 0, int origin = 0) {
    return tvskCreateImageHeader(nChannels, alpha, depth, "RGBA", "BGRA", order, origin, align,
                                 height, width, nullptr, nullptr, nullptr);
}

}  // namespace

TEST(Records, StrideAndSizeFollowDepthOrderAndAlignment) {
    struct Case {
        int nChannels;
        unsigned depth;
        int order, align, height, width;
        int widthStep, dataSize;
    } cases[] = {
        {3, VSK_8U, VSK_DATA_ORDER_PIXEL, 4, 2, 5, 16, 32},
        {3, VSK_8U, VSK_DATA_ORDER_PLANE, 4, 2, 5, 8, 48},
        {1, VSK_1U, VSK_DATA_ORDER_PIXEL, 8, 3, 9, 8, 24},
        {1, VSK_1U, VSK_DATA_ORDER_PIXEL, 4, 1, 33, 8, 8},
        {1, VSK_16S, VSK_DATA_ORDER_PIXEL, 4, 3, 3, 8, 24},
        {4, VSK_32S, VSK_DATA_ORDER_PLANE, 8, 2, 3, 16, 128},
        {2, VSK_16U, VSK_DATA_ORDER_PIXEL, 8, 1, 1, 8, 8},
        {1, VSK_8S, VSK_DATA_ORDER_PIXEL, 4, 0, 7, 8, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.nChannels << " ch, depth " << c.depth << ", order "
                                        << c.order << ", align " << c.align << ", " << c.height
                                        << "x" << c.width);
        VskImage* image = header(c.nChannels, c.depth, c.order, c.align, c.height, c.width);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->widthStep, c.widthStep);
        EXPECT_EQ(image->dataSize, c.dataSize);
        EXPECT_EQ(vskComputeWidthStep(c.order, c.depth, c.align, c.nChannels, c.width), c.widthStep);
        EXPECT_EQ(image->headerSize, static_cast<int>(sizeof(VskImage)));
        EXPECT_EQ(image->headerId, 0);
        tvskDeallocate(image, VSK_FREE_HEADER);
    }
}

TEST(Records, CreationCheckRejectsBadFieldsButAcceptsEmptyImages) {
    struct Case {
        int nChannels, alpha;
        unsigned depth;
        int order, origin, align, height, width;
        unsigned mask;  // vskCheckNewHeader of such a header
    } cases[] = {
        {3, 0, VSK_8U, 0, 0, 4, 0, 5, 0},        // zero height passes creation
        {3, 0, VSK_8U, 0, 0, 4, 5, 0, 0},        // zero width passes creation
        {3, 0, VSK_8U, 0, 0, 4, 5, -1, 512},
        {3, 0, VSK_8U, 0, 0, 4, -1, 5, 256},
        {0, 0, VSK_8U, 0, 0, 4, 1, 1, 1},
        {-2, -1, VSK_8U, 0, 0, 4, 1, 1, 1 | 2 | 16},  // bit 2 only with a negative count
        {3, 4, VSK_8U, 0, 0, 4, 1, 1, 16},
        {3, 0, 32u, 0, 0, 4, 1, 1, 4},            // unsigned 32-bit does not exist
        {3, 0, VSK_8U, 2, 0, 4, 1, 1, 32},
        {3, 0, VSK_8U, 0, 2, 4, 1, 1, 64},
        {3, 0, VSK_8U, 0, 0, 2, 1, 1, 128},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "expected mask " << c.mask);
        VskImage probe{};
        probe.nChannels = c.nChannels;
        probe.alphaChannel = c.alpha;
        probe.depth = c.depth;
        probe.dataOrder = c.order;
        probe.origin = c.origin;
        probe.align = c.align;
        probe.height = c.height;
        probe.width = c.width;
        EXPECT_EQ(vskCheckNewHeader(&probe), c.mask);
        VskImage* image = header(c.nChannels, c.depth, c.order, c.align, c.height, c.width,
                                 c.alpha, c.origin);
        EXPECT_EQ(image != nullptr, c.mask == 0);
        tvskDeallocate(image, VSK_FREE_HEADER);
    }
}

TEST(Records, HeaderStoresFieldsAndNamesWithoutTerminator) {
    VskROI roi{2, 1, 1, 3, 3};
    VskTileInfo tiles{};
    int user = 0;
    char model[4] = {'R', 'G', 'B', 'A'};  // not NUL-terminated
    VskImage* image = tvskCreateImageHeader(4, 4, VSK_16S, model, "ARGB", 1, 1, 8, 10, 20, &roi,
                                            &user, &tiles);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(std::memcmp(image->colorModel, "RGBA", 4), 0);
    EXPECT_EQ(std::memcmp(image->channelSeq, "ARGB", 4), 0);
    EXPECT_EQ(image->nChannels, 4);
    EXPECT_EQ(image->alphaChannel, 4);
    EXPECT_EQ(image->depth, VSK_16S);
    EXPECT_EQ(image->dataOrder, 1);
    EXPECT_EQ(image->origin, 1);
    EXPECT_EQ(image->align, 8);
    EXPECT_EQ(image->height, 10);
    EXPECT_EQ(image->width, 20);
    EXPECT_EQ(image->roi, &roi);
    EXPECT_EQ(image->userId, &user);
    EXPECT_EQ(image->tileInfo, &tiles);
    EXPECT_EQ(image->imageData, nullptr);
    EXPECT_EQ(image->dataBlock, nullptr);
    EXPECT_EQ(image->maskImage, nullptr);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(image->borderModes[i], 0);
        EXPECT_EQ(image->borderValues[i], 0);
    }
    tvskDeallocate(image, VSK_FREE_HEADER);

    EXPECT_EQ(tvskCreateImageHeader(1, 0, VSK_8U, nullptr, "G", 0, 0, 4, 1, 1, nullptr, nullptr,
                                    nullptr),
              nullptr);
    EXPECT_EQ(tvskCreateImageHeader(1, 0, VSK_8U, "G", nullptr, 0, 0, 4, 1, 1, nullptr, nullptr,
                                    nullptr),
              nullptr);
}

TEST(Records, AllocationFillsEveryWordByDepth) {
    struct Case {
        unsigned depth;
        int nChannels, fill;
        std::uint8_t b0, b1, b2, b3;  // the bytes of every 32-bit word
    } cases[] = {
        {VSK_8U, 3, 255, 0xFF, 0xFF, 0xFF, 0xFF},
        {VSK_8U, 1, 0x1234, 0x34, 0x34, 0x34, 0x34},
        {VSK_8S, 1, -3, 0xFD, 0xFD, 0xFD, 0xFD},
        {VSK_16U, 1, 0x12345678, 0x78, 0x56, 0x78, 0x56},
        {VSK_16S, 2, -2, 0xFE, 0xFF, 0xFE, 0xFF},
        {VSK_32S, 1, 0x01020304, 0x04, 0x03, 0x02, 0x01},
        {VSK_1U, 1, 2, 0x00, 0x00, 0x00, 0x00},
        {VSK_1U, 1, 3, 0xFF, 0xFF, 0xFF, 0xFF},
        {VSK_1U, 1, 1, 0xFF, 0xFF, 0xFF, 0xFF},
        {VSK_1U, 1, -2, 0x00, 0x00, 0x00, 0x00},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "depth " << c.depth << " fill " << c.fill);
        VskImage* image = header(c.nChannels, c.depth, 0, 4, 3, 5);
        ASSERT_NE(image, nullptr);
        tvskAllocateImage(image, c.fill);
        ASSERT_NE(image->imageData, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image->imageData) % 4, 0u);
        const auto* p = reinterpret_cast<const std::uint8_t*>(image->imageData);
        for (int i = 0; i < image->dataSize; i += 4) {
            ASSERT_EQ(p[i], c.b0) << "byte " << i;
            ASSERT_EQ(p[i + 1], c.b1);
            ASSERT_EQ(p[i + 2], c.b2);
            ASSERT_EQ(p[i + 3], c.b3);
        }
        tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
}

TEST(Records, AllocationWithoutFillAndAlignment) {
    for (int align : {4, 8}) {
        VskImage* image = header(1, VSK_8U, 0, align, 7, 9);
        tvskAllocateImage(image, -1);
        ASSERT_NE(image->imageData, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image->imageData) % align, 0u);
        EXPECT_NE(image->dataBlock, nullptr);
        EXPECT_GE(image->imageData, image->dataBlock);
        EXPECT_LT(image->imageData, image->dataBlock + align);
        tvskDeallocate(image, VSK_FREE_DATA);
        EXPECT_EQ(image->imageData, nullptr);
        EXPECT_EQ(image->dataBlock, nullptr);
        tvskDeallocate(image, VSK_FREE_HEADER);
    }
    tvskAllocateImage(nullptr, 0);  // ignored
}

TEST(Records, AllocationFailsForBadHeadersAndSizesBeyond32Bits) {
    VskImage* image = header(1, VSK_8U, 0, 4, 2, 2);
    image->align = 3;  // the creation check now fails
    image->dataSize = 99;
    tvskAllocateImage(image, 0);
    EXPECT_EQ(image->imageData, nullptr);
    EXPECT_EQ(image->dataSize, 0);
    tvskDeallocate(image, VSK_FREE_HEADER);

    // Sizes whose real buffer does not fit a signed 32-bit int: no buffer.
    struct Case {
        int nChannels;
        unsigned depth;
        int order, height, width;
    } cases[] = {
        {4, VSK_32S, 0, 1, 0x08000000},     // bits x width x channels wraps to 0
        {1, VSK_8U, 0, 65536, 65536},        // 4 GiB
        {3, VSK_16U, 1, 30000, 30000},       // 5.4 GB over three planes
        {1, VSK_32S, 0, 2, 0x10000000},      // 2 GiB row
    };
    for (const Case& c : cases) {
        VskImage* big = header(c.nChannels, c.depth, c.order, 4, c.height, c.width);
        ASSERT_NE(big, nullptr);
        tvskAllocateImage(big, 0);
        EXPECT_EQ(big->imageData, nullptr) << c.height << "x" << c.width;
        tvskDeallocate(big, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
}

TEST(Records, DeallocateReleasesWhatTheFlagsSelect) {
    VskImage* image = header(3, VSK_8U, 0, 4, 4, 4);
    tvskAllocateImage(image, 0);
    image->roi = tvskCreateROI(0, 0, 0, 2, 2);
    image->tileInfo = vskCreateTileInfo(nullptr, nullptr, 8, 8);
    VskImage* mask = header(1, VSK_8U, 0, 4, 4, 4);
    tvskAllocateImage(mask, 0);
    mask->roi = tvskCreateROI(0, 0, 0, 1, 1);
    mask->tileInfo = vskCreateTileInfo(nullptr, nullptr, 8, 8);
    image->maskImage = mask;

    tvskDeallocate(image, VSK_FREE_ROI);
    EXPECT_EQ(image->roi, nullptr);
    EXPECT_NE(image->maskImage, nullptr);
    tvskDeallocate(image, VSK_FREE_MASK | VSK_FREE_TILE);
    EXPECT_EQ(image->maskImage, nullptr);  // released with header, data, ROI and tiles
    EXPECT_EQ(image->tileInfo, nullptr);
    EXPECT_NE(image->imageData, nullptr);
    tvskDeallocate(image, 31);  // the rest; a leak checker sees nothing left
    tvskDeallocate(nullptr, 31);
}

TEST(Records, RoiAndTileRecordHelpers) {
    VskROI* roi = tvskCreateROI(1, 2, 3, 4, 5);
    ASSERT_NE(roi, nullptr);
    EXPECT_EQ(roi->coi, 1);
    EXPECT_EQ(roi->xOffset, 2);
    EXPECT_EQ(roi->yOffset, 3);
    EXPECT_EQ(roi->height, 4);
    EXPECT_EQ(roi->width, 5);
    vskSetROI(roi, 0, 9, 8, 7, 6);
    EXPECT_EQ(roi->xOffset, 9);
    EXPECT_EQ(roi->width, 6);
    vskSetROI(nullptr, 0, 0, 0, 0, 0);
    vskDeleteROI(roi);
    vskDeleteROI(nullptr);

    int id = 0;
    VskTileInfo* info = vskCreateTileInfo(nullptr, &id, 16, 24);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->id, &id);
    EXPECT_EQ(info->width, 16);
    EXPECT_EQ(info->height, 24);
    EXPECT_EQ(info->tileData, nullptr);
    vskDeleteTileInfo(info);

    VskImage* image = header(1, VSK_8U, 0, 4, 4, 4);
    vskSetBorderMode(image, VSK_BORDER_WRAP, 0x5, 7);  // top and left
    EXPECT_EQ(image->borderModes[0], 3);
    EXPECT_EQ(image->borderModes[1], 0);
    EXPECT_EQ(image->borderModes[2], 3);
    EXPECT_EQ(image->borderModes[3], 0);
    EXPECT_EQ(image->borderValues[0], 7);
    EXPECT_EQ(image->borderValues[2], 7);
    EXPECT_EQ(image->borderValues[3], 0);

    // Tile stride: 0 without a valid tiled header.
    EXPECT_EQ(vskTileWidthStep(image), 0);
    VskTileInfo tiles{[](const VskImage*, int, int, int) {}, nullptr, nullptr, 24, 8};
    image->tileInfo = &tiles;
    EXPECT_EQ(vskTileWidthStep(image), 24);
    image->tileInfo = nullptr;
    vskDeallocateData(image);
    vskDeallocateHeader(image);
}

TEST(Records, AlignedScratchKeepsItsBlockBelowTheResult) {
    for (int n : {0, 1, 7, 8, 100, 4097}) {
        auto* p = static_cast<char*>(vskAllocAligned(n));
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 8, 0u);
        void* block;
        std::memcpy(&block, p - sizeof(void*), sizeof(void*));
        EXPECT_GE(p - static_cast<char*>(block), static_cast<std::ptrdiff_t>(sizeof(void*)));
        EXPECT_LE(p - static_cast<char*>(block), static_cast<std::ptrdiff_t>(sizeof(void*) + 7));
        std::memset(p, 0xAB, static_cast<std::size_t>(n));
        vskFreeAligned(p);
    }
    EXPECT_EQ(vskAllocAligned(-1), nullptr);
    vskFreeAligned(nullptr);
    void* words = vskAllocAligned32(10);
    ASSERT_NE(words, nullptr);
    std::memset(words, 0, 40);
    vskFreeAligned(words);
    EXPECT_EQ(vskAllocAligned64(0x20000000), nullptr);
}

TEST(Records, RoiRectangleIsClippedToTheImage) {
    ImagePtr image = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 10, 20);
    struct Case {
        int coi, x, y, h, w;
        int ex, ey, rows, cols, channels;
    } cases[] = {
        {0, 2, 3, 4, 5, 2, 3, 4, 5, 3},
        {2, 2, 3, 4, 5, 2, 3, 4, 5, 1},
        {0, 18, 8, 5, 5, 18, 8, 2, 2, 3},       // clipped at the far edges
        {0, -3, -2, 5, 5, 0, 0, 3, 2, 3},       // negative offsets move in
        {0, 20, 0, 5, 5, 0, 0, 5, 0, 3},        // wholly outside: no columns
        {0, 0, 10, 5, 5, 0, 0, 0, 5, 3},        // wholly outside: no rows
        {0, -5, 0, 5, 5, 0, 0, 5, 0, 3},        // ends before column 1
        {0, 3, 0, 5, -2, 3, 0, 5, 0, 3},        // negative width is empty
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "roi " << c.x << "," << c.y << " " << c.h << "x" << c.w);
        setRoi(image.get(), c.coi, c.x, c.y, c.h, c.w);
        char* start = nullptr;
        int step = 0, channels = 0, rows = 0, cols = 0, plane = 0;
        vskRoiRect(image.get(), &start, &step, &channels, &rows, &cols, &plane);
        EXPECT_EQ(step, 60);
        EXPECT_EQ(plane, 600);
        EXPECT_EQ(rows, c.rows);
        EXPECT_EQ(cols, c.cols);
        EXPECT_EQ(channels, c.channels);
        const int channelOffset = c.coi > 1 ? c.coi - 1 : 0;
        EXPECT_EQ(start - image->imageData, c.ey * 60 + c.ex * 3 + channelOffset);
    }

    // Plane order: the channel of interest selects a plane.
    ImagePtr planes = makeImage(3, VSK_16U, VSK_DATA_ORDER_PLANE, 4, 5);
    setRoi(planes.get(), 3, 1, 2, 1, 1);
    const vsk::RoiRect r = vsk::roiRect(planes.get());
    EXPECT_EQ(r.step, 12);
    EXPECT_EQ(r.start - planes->imageData, 2 * 12 * 4 + 2 * 12 + 1 * 2);
    EXPECT_EQ(r.channels, 1);

    // 1-bit data: the start is the row's; the column stays in x.
    ImagePtr bits = makeImage(1, VSK_1U, VSK_DATA_ORDER_PIXEL, 4, 40);
    setRoi(bits.get(), 0, 13, 1, 2, 3);
    const vsk::RoiRect b = vsk::roiRect(bits.get());
    EXPECT_EQ(b.start - bits->imageData, 8);
    EXPECT_EQ(b.x, 13);

    // A tiled image 2^31 - 1 pixels square: its plane size is capped, not wrapped.
    TiledImage huge(4, VSK_16U, VSK_DATA_ORDER_PIXEL, 8, 8, 8, 8);
    huge.get()->width = huge.get()->height = INT_MAX;
    EXPECT_EQ(vsk::roiRect(huge.get()).planeSize, INT_MAX);
}

TEST(Records, VersionRecord) {
    const VskLibVersion* v = vskGetVersionRecord();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->major, 1);
    EXPECT_EQ(v->minor, 3);
    EXPECT_EQ(v->build, 3);
    EXPECT_STREQ(v->name, "vskp6l.lib");
    EXPECT_STREQ(v->version, "v1.0 Beta 3");
    EXPECT_STREQ(v->internalVersion, "[1.03.03, 06/30/97]");
    EXPECT_STREQ(v->buildDate, "Jul  7 1997");
    EXPECT_NE(v->callConv, nullptr);
}

TEST(Records, LayoutKeepsTheWordOrder) {
    // Every field sits at its word number times the width of its slot.
    EXPECT_LT(offsetof(VskImage, height), offsetof(VskImage, width));
    EXPECT_LT(offsetof(VskROI, height), offsetof(VskROI, width));
    EXPECT_LT(offsetof(VskTileInfo, width), offsetof(VskTileInfo, height));
    EXPECT_EQ(offsetof(VskImage, roi) % sizeof(void*), 0u);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(sizeof(VskImage), 112u);
        EXPECT_EQ(sizeof(VskROI), 20u);
        EXPECT_EQ(sizeof(VskTileInfo), 20u);
        EXPECT_EQ(offsetof(VskImage, dataBlock), 27u * 4);
    }
    EXPECT_EQ(sizeof(BITMAPINFOHEADER), 40u);
    EXPECT_EQ(sizeof(RGBQUAD), 4u);
}
