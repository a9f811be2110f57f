// Device-independent bitmaps: the checks of import and export, the import
// layouts and readers, the export tables (fixed, median cut, nearest entry)
// and masked fields. The golden hashes sweep every kind and layout.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/dibs.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

// Sets the channels of pixel (x, 0); reads `count` bytes of table entry i on.
void putPixel(VskImage* image, int x, std::vector<int> values) {
    for (int c = 0; c < static_cast<int>(values.size()); ++c) put(image, x, 0, c, values[c]);
}
std::vector<int> tableBytes(Dib& dib, int entry, int count = 3) {
    return {tableOf(dib) + 4 * entry, tableOf(dib) + 4 * entry + count};
}

// What a check case changes: a header field, an image field, an argument,
// or a null DIB (1) or image (2; TranslateDIB: a null flag pointer).
enum Field { kNull, kSize, kPlanes, kCompression, kBits, kWidth, kHeight, kClrUsed, kStep,
             kDepth, kChannels, kAlpha, kSeq, kDither, kPalette };
struct Change {
    Field field;
    std::int64_t value;
};

int apply(const Change& c, BITMAPINFOHEADER* h, VskImage* image, int& dither, int& palette) {
    const auto v = static_cast<int>(c.value);
    switch (c.field) {
        case kNull: return v;
        case kSize: h->biSize = static_cast<std::uint32_t>(v); break;
        case kPlanes: h->biPlanes = static_cast<std::uint16_t>(v); break;
        case kCompression: h->biCompression = static_cast<std::uint32_t>(v); break;
        case kBits: h->biBitCount = static_cast<std::uint16_t>(v); break;
        case kWidth: h->biWidth = v; break;
        case kHeight: h->biHeight = v; break;
        case kClrUsed: h->biClrUsed = static_cast<std::uint32_t>(v); break;
        case kStep: image->widthStep = v; break;
        case kDepth: image->depth = static_cast<unsigned>(c.value); break;
        case kChannels: image->nChannels = v; break;
        case kAlpha: image->alphaChannel = v; break;
        case kSeq: std::memcpy(image->channelSeq, "ARGB", 4); break;
        case kDither: dither = v; break;
        case kPalette: palette = v; break;
    }
    return 0;
}

}  // namespace

TEST(Dib, ChecksReportInOrderAndChangeNothing) {
    enum Op { Translate, From, To };
    struct Case {
        Op op;
        std::vector<Change> changes;
        int status, line;
        const char* text;  // null: a header fault text
    };
    const char* size = "(dib->biSize != sizeof(BITMAPINFOHEADER))";
    const char* planes = "(dib->biPlanes != 1)";
    const char* compression = "(dib->biCompression != 0) && (dib->biCompression != 3)";
    const char* bitCount = "Bad dib->biBitCount";
    const char* created = "Create image header is failed";
    const char* small = "image size is too small";
    const char* seq = "image->channelSeq unsupport";
    const char* oneOrThree = "(image->nChannels != 3 && image->nChannels != 1)";
    const char* shape = "(image->width != dib->biWidth || image->height != dib->biHeight)";
    const char* exportBits = "dib-<biBitCount is bad";
    // clang-format off
    const Case cases[] = {
        {Translate, {{kNull, 1}}, -5, 151, "(dib == ((void *)0))"},
        {Translate, {{kNull, 2}}, -5, 152, "(cloneData == ((void *)0))"},
        {Translate, {{kSize, 108}}, -5, 153, size},
        {Translate, {{kPlanes, 2}}, -5, 154, planes},
        {Translate, {{kCompression, 1}}, -5, 155, compression},
        {Translate, {{kBits, 2}}, -5, 246, bitCount},
        {Translate, {{kBits, 8}, {kClrUsed, 1}}, -5, 246, bitCount},  // a one-entry table
        {Translate, {{kBits, 16}, {kCompression, 3}}, -5, 246, bitCount},  // zero masks
        {Translate, {{kBits, 32}, {kCompression, 3}}, -5, 246, bitCount},
        {Translate, {{kWidth, -3}}, -5, 274, created},
        {Translate, {{kHeight, INT32_MIN}}, -5, 274, created},
        {From, {{kStep, 0}}, -5, 533, nullptr},
        {From, {{kNull, 1}}, -5, 534, "dib==0"},
        {From, {{kSize, 12}}, -5, 536, size},
        {From, {{kPlanes, 0}}, -5, 537, planes},
        {From, {{kCompression, 2}}, -5, 538, compression},
        {From, {{kWidth, 5}}, -5, 543, small},
        {From, {{kHeight, -5}}, -5, 543, small},
        {From, {{kSeq, 0}}, -5, 629, seq},
        {From, {{kBits, 2}}, -3, 801, ""},
        {From, {{kDepth, VSK_8S}}, -3, 801, ""},
        {To, {{kNull, 2}}, -5, 1964, nullptr},
        {To, {{kAlpha, 4}}, -5, 1964, nullptr},  // an alpha channel past the channels
        {To, {{kNull, 1}}, -5, 1965, "dib==0"},
        {To, {{kChannels, 5}}, -5, 1967, "(image->nChannels <= 0 || image->nChannels > 4)"},
        {To, {{kDepth, VSK_8S}}, -5, 1969, "(image->depth & 0x80000000)"},
        {To, {{kAlpha, 2}}, -5, 1970, "(image->alphaChannel != 0 && image->alphaChannel != 4)"},
        {To, {{kChannels, 2}}, -5, 1973, oneOrThree},
        {To, {{kChannels, 4}}, -5, 1973, oneOrThree},
        {To, {{kWidth, 3}}, -5, 1979, shape},
        {To, {{kHeight, -4}}, -5, 1979, shape},  // a top-down DIB never matches
        {To, {{kSize, 124}}, -5, 1982, size},
        {To, {{kPlanes, 3}}, -5, 1983, planes},
        {To, {{kCompression, 4}}, -5, 1984, compression},
        {To, {{kDither, 2}}, -5, 1987, "(dither != 8 && dither != 1)"},
        {To, {{kPalette, 3}}, -5, 1989, "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)"},
        {To, {{kSeq, 0}}, -5, 2109, seq},
        // Bit counts without a table get none from either palette conversion.
        {To, {{kBits, 12}}, -5, 2176, exportBits},
        {To, {{kBits, 7}, {kPalette, 2}}, -5, 2176, exportBits},
        {To, {{kBits, 5}, {kClrUsed, 2}, {kPalette, 1}}, -5, 2176, exportBits},
    };
    // clang-format on
    const char* names[] = {"vskTranslateDIB", "vskConvertFromDIB", "vskConvertToDIB"};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        Dib d = makeDib(24, 4, 4, BI_RGB, 3);  // room for three masks
        ImagePtr image = makeImage(3, VSK_8U, 0, 4, 4, 1, 4, "RGB", "BGR");
        int dither = 1, palette = 0, nulled = 0;
        for (const Change& change : c.changes)
            nulled |= apply(change, d.header(), image.get(), dither, palette);
        BITMAPINFOHEADER* dib = nulled == 1 ? nullptr : d.header();
        VskImage* im = nulled == 2 ? nullptr : image.get();
        const std::vector<std::uint8_t> dibBefore(d.bytes(), d.bytes() + d.size());
        const std::vector<std::uint8_t> imageBefore = bytesOf(image.get());
        ErrorCapture capture;
        int clone = -1;
        if (c.op == Translate) {
            EXPECT_EQ(tvskTranslateDIB(dib, nulled == 2 ? nullptr : &clone), nullptr);
        }
        if (c.op == From) tvskConvertFromDIB(dib, im);
        if (c.op == To) tvskConvertToDIB(im, dib, dither, palette);
        ASSERT_EQ(capture.reports().size(), 1u);
        const Report& r = capture.reports()[0];
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.func, names[c.op]);
        EXPECT_EQ(r.file, "vskdib");
        EXPECT_EQ(r.line, c.line);
        if (c.text) {
            EXPECT_EQ(r.context, c.text);
        } else {
            EXPECT_EQ(r.context.rfind("Image ", 0), 0u) << r.context;
        }
        EXPECT_EQ(std::vector<std::uint8_t>(d.bytes(), d.bytes() + d.size()), dibBefore);
        EXPECT_EQ(bytesOf(image.get()), imageBefore);
    }
    // The 16-bit path through an 8-bit reduced copy runs only while an error
    // is pending; without one it ends in the closing failure.
    ErrorCapture capture;
    ImagePtr wide = makeImage(3, VSK_16U, 0, 2, 2, 0x4000, 4, "RGB", "BGR");
    Dib d = makeDib(24, 2, 2);
    tvskConvertToDIB(wide.get(), d.header(), 8, 0);
    EXPECT_EQ(reportsOf(capture), fault("vskConvertToDIB", "", "vskdib", 2257, VSK_STATUS_INTERNAL));
}

TEST(DibImport, LayoutByBitCountAndTable) {
    // Wrapped (clone 1): the DIB's own rows, pixel order, align 4; converted
    // (clone 0): plane order, align 8. Cases alternate top-down and bottom-up.
    struct Case {
        int bits;
        std::uint32_t compression;
        bool ramp;
        int nChannels;
        unsigned depth;
        int clone;
    } cases[] = {
        {1, BI_RGB, true, 1, VSK_1U, 1},   {1, BI_RGB, false, 3, VSK_8U, 0}, {4, BI_RGB, true, 1, VSK_8U, 0},
        {4, BI_RGB, false, 3, VSK_8U, 0},  {8, BI_RGB, true, 1, VSK_8U, 1},  {8, BI_RGB, false, 3, VSK_8U, 0},
        {16, BI_RGB, false, 3, VSK_8U, 0}, {16, BI_BITFIELDS, false, 3, VSK_8U, 0},
        {24, BI_RGB, false, 3, VSK_8U, 1}, {32, BI_RGB, false, 4, VSK_8U, 1}, {32, BI_BITFIELDS, false, 4, VSK_8U, 0},
    };
    const char* names[] = {"", "GRAYG\0\0\0", "", "RGB\0BGR\0", "RGBABGRA"};  // model, sequence
    int height = 3;
    for (const Case& c : cases) {
        height = -height;
        SCOPED_TRACE(testing::Message() << c.bits << " bits, compression " << c.compression
                                        << ", ramp " << c.ramp << ", height " << height);
        Dib d = makeDib(c.bits, 5, height, c.compression);
        if (c.bits <= 8) c.ramp ? setGreyRamp(d, 1 << c.bits) : setEntry(d, 0, 9, 0, 0);
        if (c.compression == BI_BITFIELDS) setMasks(d, 0xF800, 0x07E0, 0x001F);
        ErrorCapture capture;
        int clone = -1;
        VskImage* image = tvskTranslateDIB(d.header(), &clone);
        ASSERT_NE(image, nullptr);
        EXPECT_TRUE(capture.reports().empty());
        EXPECT_EQ(clone, c.clone);
        EXPECT_EQ((std::vector<std::int64_t>{image->nChannels, image->alphaChannel, image->depth,
                                             image->dataOrder, image->align, image->origin,
                                             image->height, image->width}),
                  (std::vector<std::int64_t>{c.nChannels, c.nChannels == 4 ? 4 : 0, c.depth,
                                             1 - c.clone, c.clone ? 4 : 8, height > 0, 3, 5}));
        EXPECT_EQ(std::memcmp(image->colorModel, names[c.nChannels], 8), 0);
        if (c.clone) {
            // Wrapped: the DIB's own rows, nothing copied.
            EXPECT_EQ(image->imageData, reinterpret_cast<char*>(d.bytes() + d.pixelOffset()));
            EXPECT_EQ(image->widthStep, static_cast<int>(d.rowBytes()));
            EXPECT_EQ(image->dataSize, 3 * image->widthStep);
        }
        tvskDeallocate(image, clone ? VSK_FREE_HEADER : VSK_FREE_HEADER | VSK_FREE_DATA);
    }
}

TEST(DibImport, PalettesAndGreyRamps) {
    // An 8-bit DIB with a 16-entry ramp is wrapped: the raw indices, not
    // the entries' greys.
    Dib d8 = makeDib(8, 4, 2, BI_RGB, 16);
    setGreyRamp(d8, 16);
    pictureRow(d8, 1)[3] = 7;
    int clone = 0;
    VskImage* image = tvskTranslateDIB(d8.header(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->imageData, reinterpret_cast<char*>(d8.bytes() + 40 + 64));
    EXPECT_EQ(pictureAt(image, 3, 1), 7);
    tvskDeallocate(image, VSK_FREE_HEADER);

    // A 4-bit ramp is looked up: high nibble first.
    Dib d4 = makeDib(4, 3, 1);
    setGreyRamp(d4, 16);
    pictureRow(d4, 0)[0] = 0xF1;
    pictureRow(d4, 0)[1] = 0x80;
    image = tvskTranslateDIB(d4.header(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ((std::vector<std::int64_t>{pictureAt(image, 0, 0), pictureAt(image, 1, 0), pictureAt(image, 2, 0)}),
              (std::vector<std::int64_t>{255, 17, 136}));
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);

    // A 4-bit colour table: three planes, blue first.
    Dib c4 = makeDib(4, 3, 1);
    setEntry(c4, 2, 10, 20, 30);
    pictureRow(c4, 0)[0] = 0x20;
    image = tvskTranslateDIB(c4.header(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ((std::vector<std::int64_t>{get(image, 0, 0, 0), get(image, 0, 0, 1), get(image, 0, 0, 2)}),
              (std::vector<std::int64_t>{30, 20, 10}));
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
}

TEST(DibImport, MaskedFieldsAreWidenedWithoutFillingLowBits) {
    struct Case {
        int bits;
        std::uint32_t compression, r, g, b;
        std::uint32_t pixel;
        int red, green, blue, alpha;  // alpha -1: a three-channel image
    } cases[] = {
        {16, BI_RGB, 0, 0, 0, 0x7FFF, 248, 248, 248, -1},
        {16, BI_RGB, 0, 0, 0, 0x4210, 128, 128, 128, -1},
        {16, BI_BITFIELDS, 0xF800, 0x07E0, 0x001F, 0x8410, 128, 128, 128, -1},
        {16, BI_BITFIELDS, 0xF800, 0x07E0, 0x001F, 0xFFFF, 248, 252, 248, -1},
        {32, BI_RGB, 0, 0, 0, 0xAB123456, 0x12, 0x34, 0x56, 0},  // top byte always 0
        // 10-bit fields give their top 8 bits; alpha is the bits above the
        // highest field (red's, then blue's): bits 30 and 31.
        {32, BI_BITFIELDS, 0x3FF00000, 0x000FFC00, 0x000003FF,
         0xC0000000u | (0x3FCu << 20) | (0x200u << 10) | 0x004, 0xFF, 0x80, 0x01, 0xC0},
        {32, BI_BITFIELDS, 0x000003FF, 0x000FFC00, 0x3FF00000,
         0xC0000000u | (0x3FCu << 20) | (0x200u << 10) | 0x004, 0x01, 0x80, 0xFF, 0xC0},
        // Green highest: alpha is again bits 30 and 31, not green's top bits.
        {32, BI_BITFIELDS, 0x000003FF, 0x3FF00000, 0x000FFC00,
         0x80000000u | (0x3FCu << 20) | (0x200u << 10) | 0x004, 0x01, 0xFF, 0x80, 0x80},
        // Colour fields reaching bit 31 give an all-ones alpha mask.
        {32, BI_BITFIELDS, 0xFF000000, 0x00FF0000, 0x0000FF00, 0x11223344, 0x11, 0x22, 0x33, 0x11},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << "pixel " << c.pixel);
        Dib d = makeDib(c.bits, 1, 1, c.compression);
        if (c.compression == BI_BITFIELDS) setMasks(d, c.r, c.g, c.b);
        std::memcpy(pictureRow(d, 0), &c.pixel, c.bits / 8);
        ImagePtr image = makeImage(c.alpha < 0 ? 3 : 4, VSK_8U, 0, 1, 1, 0, 4, "RGBA", c.alpha < 0 ? "RGB" : "RGBA");
        ErrorCapture capture;
        tvskConvertFromDIB(d.header(), image.get());
        EXPECT_TRUE(capture.reports().empty());
        std::vector<std::int64_t> want = {c.red, c.green, c.blue}, got;
        if (c.alpha >= 0) want.push_back(c.alpha);
        for (int ch = 0; ch < image->nChannels; ++ch) got.push_back(get(image.get(), 0, 0, ch));
        EXPECT_EQ(got, want);
    }
}

TEST(DibImport, ConvertIntoEveryTargetLayout) {
    Dib d = makeDib(24, 2, 1);
    const std::uint8_t row[6] = {10, 20, 30, 255, 255, 255};  // blue, green, red; white
    std::memcpy(pictureRow(d, 0), row, 6);
    struct Case {
        int nChannels;
        unsigned depth;
        int order;
        const char* seq;
        std::vector<std::int64_t> first, second;  // channels of pixels 0 and 1
    } cases[] = {
        {3, VSK_8U, 0, "RGB", {30, 20, 10}, {255, 255, 255}},
        {3, VSK_8U, 1, "BGR", {10, 20, 30}, {255, 255, 255}},
        {3, VSK_16U, 0, "BGR", {2560, 5120, 7680}, {65280, 65280, 65280}},
        {4, VSK_8U, 1, "RGBA", {30, 20, 10, 0}, {255, 255, 255, 0}},
        {1, VSK_8U, 0, "G", {(28 * 10 + 151 * 20 + 77 * 30) >> 8}, {255}},
        {1, VSK_8U, 0, "GRAY", {21}, {255}},
        {1, VSK_16U, 0, "G", {21 * 256}, {255 * 256}},
        {1, VSK_1U, 0, "G", {0}, {1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.seq);
        ImagePtr image = makeImage(c.nChannels, c.depth, c.order, 1, 2, 0, 4, "RGB", c.seq);
        ErrorCapture capture;
        tvskConvertFromDIB(d.header(), image.get());
        EXPECT_TRUE(capture.reports().empty());
        std::vector<std::int64_t> first, second;
        for (int ch = 0; ch < c.nChannels; ++ch) {
            first.push_back(get(image.get(), 0, 0, ch));
            second.push_back(get(image.get(), 1, 0, ch));
        }
        EXPECT_EQ(first, c.first);
        EXPECT_EQ(second, c.second);
    }
}

TEST(DibImport, LargerImageReceivesThePictureTopLeft) {
    Dib d = makeDib(8, 2, 2);
    for (int i = 0; i < 256; ++i) setEntry(d, i, i, 0, 0);  // not grey: the colour path
    pictureRow(d, 0)[0] = 1;
    pictureRow(d, 0)[1] = 2;
    pictureRow(d, 1)[0] = 3;
    for (int origin : {0, 1}) {
        ImagePtr image = makeImage(3, VSK_8U, 0, 4, 3, 99, 4, "RGB", "RGB");
        image->origin = origin;
        tvskConvertFromDIB(d.header(), image.get());
        const std::vector<std::int64_t> got = {pictureAt(image.get(), 0, 0), pictureAt(image.get(), 1, 0),
                                               pictureAt(image.get(), 0, 1), pictureAt(image.get(), 1, 1),
                                               pictureAt(image.get(), 2, 0), pictureAt(image.get(), 0, 2)};
        EXPECT_EQ(got, (std::vector<std::int64_t>{1, 2, 3, 0, 99, 99})) << "origin " << origin;
    }
    // A header grown after allocation: rows past its buffer are neither written
    // on import nor read on export (they export as black; in plane order the
    // planes move past the buffer).
    for (int order : {0, 1}) {
        GuardedImage g(3, VSK_8U, order, 1, 2);
        std::memcpy(g.get()->channelSeq, "RGB", 4);
        g.get()->height = 2;
        tvskConvertFromDIB(d.header(), g.get());
        Dib out = makeDib(24, 2, 2);
        tvskConvertToDIB(g.get(), out.header(), 1, 0);
        EXPECT_EQ(pictureRow(out, 0)[2], order == 0 ? 1 : 0) << order;
        EXPECT_EQ(pictureRow(out, 1)[2], 0);
    }
}

// ---- export ----------------------------------------------------------------------

TEST(DibExport, FixedTablesAndNearestEntries) {
    // A grey image into 8 bits: the identity table, every index its grey.
    ImagePtr grey = makeImage(1, VSK_8U, 0, 1, 256);
    for (int x = 0; x < 256; ++x) put(grey.get(), x, 0, 0, x);
    Dib g8 = makeDib(8, 256, 1);
    tvskConvertToDIB(grey.get(), g8.header(), 1, 1);
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(tableBytes(g8, i, 4), (std::vector<int>{i, i, i, 0}));
        ASSERT_EQ(pictureRow(g8, 0)[i], i);
    }

    // A colour image (red first): black, white, red, (32, 32, 64) blue first.
    ImagePtr colour = makeImage(3, VSK_8U, 0, 1, 3, 0, 4, "RGB", "RGB");
    putPixel(colour.get(), 1, {255, 255, 255});
    putPixel(colour.get(), 2, {255, 0, 0});
    Dib c8 = makeDib(8, 3, 1);  // the 3-3-2 table
    tvskConvertToDIB(colour.get(), c8.header(), 1, 1);
    EXPECT_EQ((std::vector<int>(pictureRow(c8, 0), pictureRow(c8, 0) + 3)), (std::vector<int>{0, 255, 7 << 5}));
    EXPECT_EQ(tableBytes(c8, 0x25), (std::vector<int>{64, 32, 32}));
    Dib c4 = makeDib(4, 3, 1);  // the standard 16 colours
    tvskConvertToDIB(colour.get(), c4.header(), 1, 1);
    EXPECT_EQ(tableBytes(c4, 9), (std::vector<int>{0, 0, 255}));
    EXPECT_EQ(tableBytes(c4, 8), (std::vector<int>{192, 192, 192}));
    EXPECT_EQ(pictureRow(c4, 0)[0], 0x0F);  // black, white
    EXPECT_EQ(pictureRow(c4, 0)[1], 0x90);  // red
    ImagePtr grey4 = makeImage(1, VSK_8U, 0, 1, 2);
    put(grey4.get(), 1, 0, 0, 70);
    Dib g4 = makeDib(4, 2, 1);  // a 16-step grey ramp
    tvskConvertToDIB(grey4.get(), g4.header(), 1, 1);
    EXPECT_EQ(tableBytes(g4, 4), (std::vector<int>{68, 68, 68}));
    EXPECT_EQ(pictureRow(g4, 0)[0], 0x04);

    // 100 entries: no fixed table; the pixels map to the nearest entry, and
    // of equal distances the first: (255, 0, 0) lies as far from 42 as from 43.
    Dib c100 = makeDib(8, 3, 1, BI_RGB, 100);
    for (int i = 0; i < 100; ++i) setEntry(c100, i, 2 * i, 2 * i, 2 * i, 0x5A);
    const std::vector<int> table = tableBytes(c100, 0, 400);
    tvskConvertToDIB(colour.get(), c100.header(), 1, 1);
    EXPECT_EQ(tableBytes(c100, 0, 400), table);
    EXPECT_EQ((std::vector<int>(pictureRow(c100, 0), pictureRow(c100, 0) + 3)), (std::vector<int>{0, 99, 42}));
}

TEST(DibExport, MedianCutTables) {
    // At most maxColors 6-bit colours: all kept, multiples of 4, in cell
    // order; the shorter table moves the rows up behind it.
    ImagePtr few = makeImage(3, VSK_8U, 0, 1, 3, 0, 4, "RGB", "BGR");
    putPixel(few.get(), 0, {255, 0, 0});     // blue
    putPixel(few.get(), 1, {13, 130, 201});
    Dib d = makeDib(8, 3, 1);
    tvskConvertToDIB(few.get(), d.header(), 1, 2);
    EXPECT_EQ(d.header()->biClrUsed, 3u);
    EXPECT_EQ(tableBytes(d, 0, 12), (std::vector<int>{0, 0, 0, 0, 12, 128, 200, 0, 252, 0, 0, 0}));
    EXPECT_EQ((std::vector<int>(pictureRow(d, 0), pictureRow(d, 0) + 3)), (std::vector<int>{2, 1, 0}));

    // Three colours into two entries: red has the longest extent (ties go to
    // red) and its median splits red from the rest.
    ImagePtr three = makeImage(3, VSK_8U, 0, 1, 4, 0, 4, "RGB", "RGB");
    putPixel(three.get(), 0, {255, 0, 0});
    putPixel(three.get(), 1, {255, 0, 0});
    putPixel(three.get(), 2, {0, 0, 255});
    putPixel(three.get(), 3, {0, 255, 0});
    Dib b1 = makeDib(1, 4, 1);
    tvskConvertToDIB(three.get(), b1.header(), 1, 2);
    EXPECT_EQ(b1.header()->biClrUsed, 2u);
    EXPECT_EQ(tableBytes(b1, 0, 8), (std::vector<int>{126, 126, 0, 0, 0, 0, 252, 0}));
    EXPECT_EQ(pictureRow(b1, 0)[0], 0xC0);

    // A 1-bit image always gets black and white.
    ImagePtr bits = makeImage(1, VSK_1U, 0, 1, 9);
    put(bits.get(), 8, 0, 0, 1);
    Dib bb = makeDib(1, 9, 1);
    setEntry(bb, 0, 1, 2, 3);
    tvskConvertToDIB(bits.get(), bb.header(), 1, 2);
    EXPECT_EQ(bb.header()->biClrUsed, 2u);
    EXPECT_EQ(tableBytes(bb, 0, 8), (std::vector<int>{0, 0, 0, 0, 255, 255, 255, 0}));
    EXPECT_EQ(pictureRow(bb, 0)[1], 0x80);
}

TEST(DibExport, GreyMedianCutSplitsAfterTheBinOnATie) {
    // Four pixels into two entries: half = 2; bins add up from the bottom
    // until the sum s passes half, at bin k with p before it. The split falls
    // before k when half - p < s - half, else after k (a tie included); each
    // entry is its box's mean grey.
    struct Case {
        std::vector<int> values;
        int low, high;      // the two entries
        std::uint8_t bits;  // the four indices, first pixel in the top bit
    } cases[] = {
        {{10, 10, 20, 30}, 10, 25, 0x30},  // k = 20, p = 2, s = 3: 10 10 | 20 30
        {{10, 20, 20, 30}, 16, 30, 0x10},  // k = 20, p = 1, s = 3, 1 = 1: 10 20 20 | 30
    };
    for (const Case& c : cases) {
        ImagePtr image = makeImage(1, VSK_8U, 0, 1, 4);
        for (int x = 0; x < 4; ++x) put(image.get(), x, 0, 0, c.values[x]);
        Dib d = makeDib(1, 4, 1);
        tvskConvertToDIB(image.get(), d.header(), 1, 2);
        EXPECT_EQ(d.header()->biClrUsed, 2u);
        EXPECT_EQ(tableBytes(d, 0, 8), (std::vector<int>{c.low, c.low, c.low, 0, c.high, c.high, c.high, 0}))
            << c.values[1];
        EXPECT_EQ(pictureRow(d, 0)[0], c.bits) << c.values[1];
    }
}

TEST(DibExport, SingleCellLowerBoxClosesTheUpperBoxToo) {
    // Black pixels and 17 reds (6-bit levels 31, 33 .. 63) into 16 entries.
    // When the first red median leaves black alone in a single-cell box, the
    // upper box is closed with it though it holds 17 cells: two entries, the
    // second the mean red 4 x 47. With fewer blacks both boxes stay open and
    // the cut goes on to all 16 entries.
    struct Case {
        int blacks, written;
    } cases[] = {{100, 2}, {1, 16}};
    for (const Case& c : cases) {
        const int width = c.blacks + 17;
        ImagePtr image = makeImage(3, VSK_8U, 0, 1, width, 0, 4, "RGB", "RGB");
        for (int k = 0; k < 17; ++k) put(image.get(), c.blacks + k, 0, 0, 4 * (31 + 2 * k));
        Dib d = makeDib(4, width, 1);
        for (int i = 0; i < 16; ++i) setEntry(d, i, 1, 1, 1, 0x5A);
        tvskConvertToDIB(image.get(), d.header(), 1, 2);
        int written = 0;
        for (int i = 0; i < 16; ++i) written += tableBytes(d, i, 4)[3] == 0;
        EXPECT_EQ(written, c.written) << c.blacks;
        if (c.written == 2) {
            EXPECT_EQ(tableBytes(d, 0, 8), (std::vector<int>{0, 0, 0, 0, 0, 0, 188, 0}));
        }
    }
}

TEST(DibExport, MaskedAndDirectFormats) {
    ImagePtr image = makeImage(4, VSK_8U, 1, 1, 2, 0, 4, "RGBA", "RGBA");
    image->alphaChannel = 4;
    putPixel(image.get(), 0, {0xFF, 0x80, 0x08, 0x77});
    putPixel(image.get(), 1, {0x00, 0xFF, 0x10, 0xFF});
    auto word = [](Dib& d, int x, int bytes) {
        std::uint32_t v = 0;
        std::memcpy(&v, pictureRow(d, 0) + x * bytes, bytes);
        return v;
    };
    Dib d32 = makeDib(32, 2, 1);
    tvskConvertToDIB(image.get(), d32.header(), 1, 0);
    EXPECT_EQ(word(d32, 0, 4), 0x00FF8008u);  // top byte 0 whatever the alpha
    Dib m32 = makeDib(32, 2, 1, BI_BITFIELDS);
    setMasks(m32, 0x00FF0000, 0x0000FF00, 0x000000FF);
    tvskConvertToDIB(image.get(), m32.header(), 1, 0);
    EXPECT_EQ(word(m32, 1, 4), 0xFF00FF10u);  // alpha above the colour fields
    Dib d16 = makeDib(16, 2, 1);
    tvskConvertToDIB(image.get(), d16.header(), 1, 0);
    EXPECT_EQ(word(d16, 0, 2), (31u << 10) | (16u << 5) | 1u);
    Dib m16 = makeDib(16, 2, 1, BI_BITFIELDS);
    setMasks(m16, 0xF800, 0x07E0, 0x001F);
    tvskConvertToDIB(image.get(), m16.header(), 1, 0);
    EXPECT_EQ(word(m16, 1, 2), (63u << 5) | 2u);

    // A 16-bit image read directly: the high bytes.
    ImagePtr rgb = makeImage(3, VSK_16U, 0, 1, 2, 0, 4, "RGB", "RGB");
    putPixel(rgb.get(), 0, {0x1234, 0, 0xFF00});
    Dib d24 = makeDib(24, 2, 1);
    tvskConvertToDIB(rgb.get(), d24.header(), 1, 0);
    EXPECT_EQ((std::vector<int>(pictureRow(d24, 0), pictureRow(d24, 0) + 3)), (std::vector<int>{0xFF, 0, 0x12}));
}
