// Image header, ROI and tile records. The golden hashes sweep the layouts
// and fills; these tests state the rules.
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
        int order, align, height, width, widthStep, dataSize;
    } cases[] = {
        {3, VSK_8U, VSK_DATA_ORDER_PIXEL, 4, 2, 5, 16, 32}, {3, VSK_8U, VSK_DATA_ORDER_PLANE, 4, 2, 5, 8, 48},
        {1, VSK_1U, VSK_DATA_ORDER_PIXEL, 8, 3, 9, 8, 24},  {1, VSK_1U, VSK_DATA_ORDER_PIXEL, 4, 1, 33, 8, 8},
        {4, VSK_32S, VSK_DATA_ORDER_PLANE, 8, 2, 3, 16, 128},
    };
    for (const Case& c : cases) {
        VskImage* image = header(c.nChannels, c.depth, c.order, c.align, c.height, c.width);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->widthStep, c.widthStep) << c.depth << " " << c.width;
        EXPECT_EQ(image->dataSize, c.dataSize) << c.depth << " " << c.width;
        EXPECT_EQ(image->headerSize, static_cast<int>(sizeof(VskImage)));
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
        {3, 0, VSK_8U, 0, 0, 4, 0, 5, 0},  // zero height and width pass creation
        {3, 0, VSK_8U, 0, 0, 4, 5, 0, 0},
        {3, 0, VSK_8U, 0, 0, 4, 5, -1, 512},
        {3, 0, VSK_8U, 0, 0, 4, -1, 5, 256},
        {0, 0, VSK_8U, 0, 0, 4, 1, 1, 1},
        {-2, -1, VSK_8U, 0, 0, 4, 1, 1, 1 | 2 | 16},  // bit 2 only with a negative count
        {3, 4, VSK_8U, 0, 0, 4, 1, 1, 16},
        {3, 0, 32u, 0, 0, 4, 1, 1, 4},  // no unsigned 32-bit depth
        {3, 0, VSK_8U, 2, 0, 4, 1, 1, 32},
        {3, 0, VSK_8U, 0, 2, 4, 1, 1, 64},
        {3, 0, VSK_8U, 0, 0, 2, 1, 1, 128},
    };
    for (const Case& c : cases) {
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
        EXPECT_EQ(image != nullptr, c.mask == 0) << "mask " << c.mask;
        tvskDeallocate(image, VSK_FREE_HEADER);
    }
}

TEST(Records, HeaderStoresFieldsAndNamesWithoutTerminator) {
    VskROI roi{2, 1, 1, 3, 3};
    const char model[4] = {'R', 'G', 'B', 'A'};  // not NUL-terminated
    VskImage* image = tvskCreateImageHeader(4, 4, VSK_16S, model, "ARGB", 1, 1, 8, 10, 20, &roi,
                                            nullptr, nullptr);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(std::memcmp(image->colorModel, "RGBAARGB", 8), 0);
    EXPECT_EQ((std::vector<int>{image->nChannels, image->alphaChannel, image->dataOrder,
                                image->origin, image->align, image->height, image->width}),
              (std::vector<int>{4, 4, 1, 1, 8, 10, 20}));
    EXPECT_TRUE(image->roi == &roi && !image->imageData && !image->dataBlock && !image->maskImage);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(image->borderModes[i] | image->borderValues[i], 0);
    tvskDeallocate(image, VSK_FREE_HEADER);
    EXPECT_EQ(tvskCreateImageHeader(1, 0, VSK_8U, nullptr, "G", 0, 0, 4, 1, 1, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(tvskCreateImageHeader(1, 0, VSK_8U, "G", nullptr, 0, 0, 4, 1, 1, nullptr, nullptr, nullptr), nullptr);
}

TEST(Records, AllocationFillsEveryWordByDepth) {
    struct Case {
        unsigned depth;
        int fill;
        std::uint32_t word;  // every 32-bit word, read little-endian
    } cases[] = {
        {VSK_8U, 0x1234, 0x34343434},   {VSK_8S, -3, 0xFDFDFDFD},      {VSK_16U, 0x12345678, 0x56785678},
        {VSK_32S, 0x01020304, 0x01020304}, {VSK_1U, 2, 0},              {VSK_1U, 3, 0xFFFFFFFF},
        {VSK_1U, -2, 0},
    };
    for (const Case& c : cases) {
        VskImage* image = header(1, c.depth, 0, 4, 3, 5);
        tvskAllocateImage(image, c.fill);
        ASSERT_NE(image->imageData, nullptr);
        for (int i = 0; i < image->dataSize; i += 4) {
            const auto* p = reinterpret_cast<const std::uint8_t*>(image->imageData) + i;
            ASSERT_EQ(p[0] | p[1] << 8 | p[2] << 16 | std::uint32_t{p[3]} << 24, c.word)
                << "depth " << c.depth << " fill " << c.fill << " byte " << i;
        }
        tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
    // Fill -1 leaves the buffer as the heap gave it; the data is aligned.
    for (int align : {4, 8}) {
        VskImage* image = header(1, VSK_8U, 0, align, 7, 9);
        tvskAllocateImage(image, -1);
        ASSERT_NE(image->imageData, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image->imageData) % align, 0u);
        tvskDeallocate(image, VSK_FREE_DATA);
        EXPECT_TRUE(!image->imageData && !image->dataBlock);
        tvskDeallocate(image, VSK_FREE_HEADER);
    }
}

TEST(Records, AllocationFailsForBadHeadersAndSizesBeyond32Bits) {
    VskImage* image = header(1, VSK_8U, 0, 4, 2, 2);
    image->align = 3;  // the creation check now fails
    tvskAllocateImage(image, 0);
    EXPECT_EQ(image->imageData, nullptr);
    EXPECT_EQ(image->dataSize, 0);
    tvskDeallocate(image, VSK_FREE_HEADER);
    tvskAllocateImage(nullptr, 0);  // ignored
    // Buffers whose size does not fit a signed 32-bit int are not made.
    struct Case {
        int nChannels;
        unsigned depth;
        int order, height, width;
    } cases[] = {
        {4, VSK_32S, 0, 1, 0x08000000},  // bits x width x channels wraps to 0
        {3, VSK_16U, 1, 30000, 30000},   // 5.4 GB over three planes
        {1, VSK_32S, 0, 2, 0x10000000},  // 2 GiB rows
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
    tvskDeallocate(image, VSK_FREE_MASK | VSK_FREE_TILE);  // the mask with all it has
    EXPECT_TRUE(!image->maskImage && !image->tileInfo && image->imageData);
    tvskDeallocate(image, 31);  // the rest; a leak checker sees nothing left
    tvskDeallocate(nullptr, 31);
}

TEST(Records, RoiTileAndBorderRecords) {
    VskROI* roi = tvskCreateROI(1, 2, 3, 4, 5);
    ASSERT_NE(roi, nullptr);
    EXPECT_EQ((std::vector<int>{roi->coi, roi->xOffset, roi->yOffset, roi->height, roi->width}),
              (std::vector<int>{1, 2, 3, 4, 5}));
    vskDeleteROI(roi);
    VskImage* image = header(1, VSK_8U, 0, 4, 4, 4);
    vskSetBorderMode(image, VSK_BORDER_WRAP, 0x5, 7);  // top and left
    EXPECT_EQ((std::vector<int>(image->borderModes, image->borderModes + 8)),
              (std::vector<int>{3, 0, 3, 0, 7, 0, 7, 0}));
    EXPECT_EQ(vskTileWidthStep(image), 0);  // no tile record
    image->tileInfo = vskCreateTileInfo([](const VskImage*, int, int, int) {}, nullptr, 24, 8);
    EXPECT_TRUE(image->tileInfo->width == 24 && image->tileInfo->height == 8 && !image->tileInfo->tileData);
    EXPECT_EQ(vskTileWidthStep(image), 24);
    tvskDeallocate(image, VSK_FREE_TILE | VSK_FREE_HEADER);
}

TEST(Records, AlignedScratchKeepsItsBlockBelowTheResult) {
    for (int n : {0, 7, 4097}) {
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
    EXPECT_EQ(vskAllocAligned64(0x20000000), nullptr);
}

TEST(Records, RoiRectangleIsClippedToTheImage) {
    ImagePtr image = makeImage(3, VSK_8U, VSK_DATA_ORDER_PIXEL, 10, 20);
    struct Case {
        int coi, x, y, h, w;
        int ex, ey, rows, cols;
    } cases[] = {
        {2, 2, 3, 4, 5, 2, 3, 4, 5},
        {0, 18, 8, 5, 5, 18, 8, 2, 2},  // clipped at the far edges
        {0, -3, -2, 5, 5, 0, 0, 3, 2},  // negative offsets move in
        {0, 20, 0, 5, 5, 0, 0, 5, 0},   // wholly outside: no columns
        {0, 0, 10, 5, 5, 0, 0, 0, 5},   // wholly outside: no rows
        {0, -5, 0, 5, 5, 0, 0, 5, 0},   // ends before column 1
        {0, 3, 0, 5, -2, 3, 0, 5, 0},   // a negative width is empty
    };
    for (const Case& c : cases) {
        setRoi(image.get(), c.coi, c.x, c.y, c.h, c.w);
        char* start = nullptr;
        int step = 0, channels = 0, rows = 0, cols = 0, plane = 0;
        vskRoiRect(image.get(), &start, &step, &channels, &rows, &cols, &plane);
        EXPECT_EQ((std::vector<int>{step, plane, rows, cols, channels}),
                  (std::vector<int>{60, 600, c.rows, c.cols, c.coi ? 1 : 3}))
            << "roi " << c.x << "," << c.y << " " << c.h << "x" << c.w;
        EXPECT_EQ(start - image->imageData, c.ey * 60 + c.ex * 3 + (c.coi ? c.coi - 1 : 0));
    }
    // Plane order: the channel of interest selects a plane.
    ImagePtr planes = makeImage(3, VSK_16U, VSK_DATA_ORDER_PLANE, 4, 5);
    setRoi(planes.get(), 3, 1, 2, 1, 1);
    const vsk::RoiRect r = vsk::roiRect(planes.get());
    EXPECT_EQ(r.start - planes->imageData, 2 * 12 * 4 + 2 * 12 + 1 * 2);
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

TEST(Records, VersionRecordAndLayout) {
    const VskLibVersion* v = vskGetVersionRecord();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ((std::vector<int>{v->major, v->minor, v->build}), (std::vector<int>{1, 3, 3}));
    EXPECT_STREQ(v->name, "vskp6l.lib");
    EXPECT_STREQ(v->version, "v1.0 Beta 3");
    EXPECT_STREQ(v->internalVersion, "[1.03.03, 06/30/97]");
    EXPECT_STREQ(v->buildDate, "Jul  7 1997");
    EXPECT_NE(v->callConv, nullptr);
    // Height before width in the header and the ROI, width first in the tile record.
    EXPECT_LT(offsetof(VskImage, height), offsetof(VskImage, width));
    EXPECT_LT(offsetof(VskROI, height), offsetof(VskROI, width));
    EXPECT_LT(offsetof(VskTileInfo, width), offsetof(VskTileInfo, height));
    // Every field sits at its word number times the width of its slot.
    EXPECT_EQ(offsetof(VskImage, roi) % sizeof(void*), 0u);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(sizeof(VskImage), 112u);
        EXPECT_EQ(sizeof(VskROI), 20u);
        EXPECT_EQ(sizeof(VskTileInfo), 20u);
        EXPECT_EQ(offsetof(VskImage, dataBlock), 27u * 4);
    }
    EXPECT_EQ(sizeof(BITMAPINFOHEADER) + sizeof(RGBQUAD), 44u);
}
