// Header validation: the validator's mask, its text, the standard per-image
// check sequence, the compatibility check and the border module's check.
#include <gtest/gtest.h>

#include <string>

#include "core.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

void VSK_CALL noTiles(const VskImage*, int, int, int) {}

std::string line(const char* text) {
    std::string s(text);
    s.resize(70, ' ');
    return s + "\n";
}

// A valid buffered 8-bit grey header over a small static buffer.
struct Header {
    char data[64] = {};
    VskImage h{};
    VskROI roi{};
    VskTileInfo tiles{noTiles, nullptr, nullptr, 8, 8};
    Header() {
        h.headerSize = sizeof(VskImage);
        h.nChannels = 1;
        h.depth = VSK_8U;
        h.align = 4;
        h.height = 4;
        h.width = 4;
        h.widthStep = 4;
        h.dataSize = 16;
        h.imageData = data;
    }
};

}  // namespace

TEST(Validate, MaskBitsOneByOne) {
    struct Case {
        const char* what;
        void (*mutate)(Header&);
        unsigned mask;
    } cases[] = {
        {"valid", [](Header&) {}, 0},
        {"no data, no tiles", [](Header& x) { x.h.imageData = nullptr; }, 0x2},
        {"data and tiles", [](Header& x) { x.h.tileInfo = &x.tiles; }, 0x2},
        {"dataSize 0", [](Header& x) { x.h.dataSize = 0; }, 0x4},
        {"height 0", [](Header& x) { x.h.height = 0; }, 0x4},
        {"width -1", [](Header& x) { x.h.width = -1; }, 0x4},
        {"widthStep 0", [](Header& x) { x.h.widthStep = 0; }, 0x10},
        {"no channels", [](Header& x) { x.h.nChannels = 0; }, 0x20},
        {"1-bit, 3 channels", [](Header& x) { x.h.depth = VSK_1U; x.h.nChannels = 3; }, 0x40},
        {"1-bit, no channels", [](Header& x) { x.h.depth = VSK_1U; x.h.nChannels = 0; }, 0x20 | 0x40},
        {"depth 32 unsigned", [](Header& x) { x.h.depth = 32; }, 0x80},
        {"depth 0x80000001", [](Header& x) { x.h.depth = 0x80000001u; }, 0x80},
        {"alpha -1", [](Header& x) { x.h.alphaChannel = -1; }, 0x100},
        {"alpha 2 of 1", [](Header& x) { x.h.alphaChannel = 2; }, 0x100},
        {"data order 2", [](Header& x) { x.h.dataOrder = 2; }, 0x200},
        {"origin -1", [](Header& x) { x.h.origin = -1; }, 0x400},
        {"align 16", [](Header& x) { x.h.align = 16; }, 0x800},
        {"tiled, no call-back",
         [](Header& x) { x.h.imageData = nullptr; x.h.tileInfo = &x.tiles; x.tiles.callBack = nullptr; },
         0x1000},
        {"tile width 12",
         [](Header& x) { x.h.imageData = nullptr; x.h.tileInfo = &x.tiles; x.tiles.width = 12; },
         0x2000},
        {"tile height 0",
         [](Header& x) { x.h.imageData = nullptr; x.h.tileInfo = &x.tiles; x.tiles.height = 0; },
         0x2000},
        {"tiled, widthStep and dataSize 0",
         [](Header& x) { x.h.imageData = nullptr; x.h.tileInfo = &x.tiles; x.h.widthStep = 0; x.h.dataSize = 0; },
         0},
        {"coi 2 of 1", [](Header& x) { x.roi = {2, 0, 0, 1, 1}; x.h.roi = &x.roi; }, 0x4000},
        {"coi -1", [](Header& x) { x.roi = {-1, 0, 0, 1, 1}; x.h.roi = &x.roi; }, 0x4000},
        {"roi height 0", [](Header& x) { x.roi = {0, 0, 0, 0, 1}; x.h.roi = &x.roi; }, 0x8000},
        {"roi offset -1 and width 0",
         [](Header& x) { x.roi = {0, -1, 0, 1, 0}; x.h.roi = &x.roi; }, 0x8000 | 0x8},
        {"roi beyond the image is not the validator's business",
         [](Header& x) { x.roi = {0, 4, 9, 100, 100}; x.h.roi = &x.roi; }, 0},
        {"everything missing",
         [](Header& x) { x.h.imageData = nullptr; x.h.dataSize = 0; x.h.widthStep = 0; },
         0x2 | 0x4 | 0x10},
    };
    for (const Case& c : cases) {
        Header x;
        c.mutate(x);
        EXPECT_EQ(vskBadImageHeader(&x.h), c.mask) << c.what;
    }
    EXPECT_EQ(vskBadImageHeader(nullptr), 0x1u);
}

TEST(Validate, TextIsFixedWidthLinesInTableOrder) {
    EXPECT_EQ(vskHeaderErrorText(0), nullptr);

    // Every message in table order (the ROI offset bit 0x8 last), padded.
    const char* all[] = {"Image header is null",
                         "Image data and tileinfo is either null or not null",
                         "Image size is invalid",
                         "Image widthStep is invalid",
                         "Image channel's number is less one",
                         "For image depth 1U channel's number is not equal one",
                         "Image depth is invalid",
                         "Image alpha channel's number is less zero or is more channel's number",
                         "Image data order is invalid",
                         "Image origin is invalid",
                         "Image align is invalid",
                         "Callback is null",
                         "Tile size is invalid",
                         "COI is less zero or is more image channel's number",
                         "ROI size is invalid",
                         "ROI offset is invalid"};
    std::string expected;
    for (const char* t : all) expected += line(t);
    char* text = vskHeaderErrorText(0xFFFF);
    EXPECT_EQ(std::string(text), expected);
    vskFreeAligned(text);

    // Only unknown bits: the static text, which is not released.
    EXPECT_STREQ(vskHeaderErrorText(0x10000), "Bad status: unknown error");
}

TEST(Validate, StandardSequenceReportsTheFirstFailingCheck) {
    struct Case {
        const char* name;
        void (*mutate)(Header&);
        const char* text;  // empty: passes
    } cases[] = {
        {"srcImage", [](Header&) {}, ""},
        {"dstImage", [](Header& x) { x.h.widthStep = 0; }, "vskBadImageHeader(dstImage) != 0"},
        {"srcImage", [](Header& x) { x.roi = {0, 0, 0, 0, 1}; x.h.roi = &x.roi; },
         "vskBadImageHeader(srcImage) != 0"},
        // Offsets at the image's edge pass the validator and fail here.
        {"srcImage", [](Header& x) { x.roi = {0, 4, 0, 1, 1}; x.h.roi = &x.roi; },
         "srcImage->roi->xOffset >= srcImage->width"},
        {"srcImageB", [](Header& x) { x.roi = {0, 0, 4, 1, 1}; x.h.roi = &x.roi; },
         "srcImageB->roi->yOffset >= srcImageB->height"},
        {"alphaImageDst", [](Header& x) { x.roi = {1, 3, 3, 9, 9}; x.h.roi = &x.roi; }, ""},
    };
    for (const Case& c : cases) {
        ErrorCapture capture;
        Header x;
        c.mutate(x);
        const bool failed = vsk::failsImageChecks(&x.h, c.name, {"vskAlphaComposite", "vskalpha"}, 77);
        EXPECT_EQ(failed, c.text[0] != 0) << c.text;
        EXPECT_EQ(reportsOf(capture), failed ? fault("vskAlphaComposite", c.text, "vskalpha", 77) : "");
    }
    ErrorCapture capture;
    EXPECT_TRUE(vsk::failsImageChecks(nullptr, "image", {"f", "x"}, 1));
    EXPECT_EQ(reportsOf(capture), fault("f", "image==0", "x", 1));
}

TEST(Validate, CompatibilityReportsEveryMismatch) {
    ErrorCapture capture;
    Header a, b;
    b.h.depth = VSK_16U;
    b.h.origin = 1;
    auto mismatch = [](const char* text) { return fault("vskCopy", text, "vskSCE", 56); };
    vskCheckCompatible(&a.h, &b.h, "vskCopy", "vskSCE", 56);
    EXPECT_EQ(reportsOf(capture), mismatch("srcImage->depth != dstImage->depth") +
                                      mismatch("srcImage->origin != dstImage->origin"));
    EXPECT_EQ(tvskGetErrStatus(), -5);
    capture.clear();
    b.h = a.h;
    b.h.dataOrder = 1;
    vskCheckCompatible(&a.h, &b.h, "vskCopy", "vskSCE", 56);
    EXPECT_EQ(reportsOf(capture), mismatch("srcImage->dataOrder != dstImage->dataOrder"));
}

TEST(Validate, BorderModuleCheckReportsAllAndContinues) {
    ErrorCapture capture;
    vskCheckImage(nullptr, "vskSetBorder", "vskborde", 10);
    EXPECT_EQ(reportsOf(capture), fault("vskSetBorder", "Image == NULL", "vskborde", 10));

    capture.clear();
    Header x;
    x.h.tileInfo = &x.tiles;
    x.tiles.callBack = nullptr;
    x.tiles.width = 0;
    x.tiles.height = -8;
    x.h.nChannels = 0;
    x.h.height = 0;
    x.h.width = 0;
    x.roi = {3, 0, 0, 0, 0};
    x.h.roi = &x.roi;
    vskCheckImage(&x.h, "vskSetBorder", "vskborde", 10);
    const char* expected[] = {"Image->imageData != NULL && Image->tileInfo != NULL",
                              "Image->nChannels < 1",
                              "Image->height <= 0",
                              "Image->width <= 0",
                              "Image->tileInfo->callBack == NULL",
                              "Image->tileInfo->width <= 0",
                              "Image->tileInfo->height <= 0",
                              "Image->roi->coi < 0 || Image->roi->coi > Image->nChannels",
                              "Image->roi->height <= 0",
                              "Image->roi->width <= 0"};
    std::string all;
    for (const char* text : expected) all += fault("vskSetBorder", text, "vskborde", 10);
    EXPECT_EQ(reportsOf(capture), all);

    capture.clear();
    Header y;
    y.h.imageData = nullptr;
    vskCheckImage(&y.h, "f", "vskborde", 1);
    EXPECT_EQ(reportsOf(capture), fault("f", "Image->imageData == NULL && Image->tileInfo == NULL", "vskborde", 1));
}
