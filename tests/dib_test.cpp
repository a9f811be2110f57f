// Device-independent bitmaps: import (wrap or convert) and export (fixed and
// median-cut colour tables, nearest entries, masked fields).
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

// A packed DIB in memory: header, colour table or masks, pixel rows.
struct Dib {
    std::vector<std::uint8_t> bytes;
    BITMAPINFOHEADER* h() { return reinterpret_cast<BITMAPINFOHEADER*>(bytes.data()); }
    std::uint8_t* table() { return bytes.data() + 40; }
    int tableEntries = 0;
    std::uint8_t* bits() { return bytes.data() + 40 + 4 * tableEntries; }
    int stride = 0;

    Dib(int bitCount, int width, int height, std::uint32_t compression = BI_RGB,
        int entries = -1, std::uint32_t clrUsed = 0) {
        if (entries < 0) entries = bitCount <= 8 ? (clrUsed ? int(clrUsed) : 1 << bitCount) : 0;
        if (compression == BI_BITFIELDS) entries = 3;
        tableEntries = entries;
        stride = ((width * bitCount + 31) & ~31) / 8;
        const int rows = height < 0 ? -height : height;
        bytes.assign(40 + 4 * static_cast<std::size_t>(entries) + static_cast<std::size_t>(stride) * rows, 0);
        BITMAPINFOHEADER* d = h();
        d->biSize = 40;
        d->biWidth = width;
        d->biHeight = height;
        d->biPlanes = 1;
        d->biBitCount = static_cast<std::uint16_t>(bitCount);
        d->biCompression = compression;
        d->biClrUsed = clrUsed;
    }
    void entry(int i, int r, int g, int b, int reserved = 0) {
        std::uint8_t* q = table() + 4 * i;
        q[0] = std::uint8_t(b);
        q[1] = std::uint8_t(g);
        q[2] = std::uint8_t(r);
        q[3] = std::uint8_t(reserved);
    }
    void greyRamp(int n) {
        for (int i = 0; i < n; ++i) entry(i, 255 * i / (n - 1), 255 * i / (n - 1), 255 * i / (n - 1));
    }
    void masks(std::uint32_t r, std::uint32_t g, std::uint32_t b) {
        std::memcpy(table(), &r, 4);
        std::memcpy(table() + 4, &g, 4);
        std::memcpy(table() + 8, &b, 4);
    }
    // Row in picture order (row 0 = top of the picture).
    std::uint8_t* row(int y) {
        const int rows = h()->biHeight < 0 ? -h()->biHeight : h()->biHeight;
        return bits() + static_cast<std::size_t>(h()->biHeight > 0 ? rows - 1 - y : y) * stride;
    }
};

struct Expect {
    int status, line;
    const char* text;
};

void expectReport(const ErrorCapture& capture, const Expect& e, const char* func) {
    ASSERT_FALSE(capture.reports().empty()) << e.text;
    const Report& r = capture.reports().back();
    EXPECT_EQ(r.status, e.status);
    EXPECT_EQ(r.line, e.line);
    EXPECT_EQ(r.context, e.text);
    EXPECT_EQ(r.func, func);
    EXPECT_EQ(r.file, "vskdib");
}

// An image as the import makes it: picture row y is memory row y, or
// height - 1 - y with origin 1.
std::int64_t at(const VskImage* image, int x, int y, int c = 0) {
    return get(image, x, image->origin == 1 ? image->height - 1 - y : y, c);
}

}  // namespace

TEST(DibImport, TranslateChecksInOrder) {
    ErrorCapture capture;
    int clone = -1;
    Dib good(24, 2, 2);
    EXPECT_EQ(tvskTranslateDIB(nullptr, &clone), nullptr);
    expectReport(capture, {-5, 151, "(dib == ((void *)0))"}, "vskTranslateDIB");
    EXPECT_EQ(tvskTranslateDIB(good.h(), nullptr), nullptr);
    expectReport(capture, {-5, 152, "(cloneData == ((void *)0))"}, "vskTranslateDIB");

    struct Case {
        void (*mutate)(Dib&);
        Expect e;
    } cases[] = {
        {[](Dib& d) { d.h()->biSize = 108; }, {-5, 153, "(dib->biSize != sizeof(BITMAPINFOHEADER))"}},
        {[](Dib& d) { d.h()->biPlanes = 2; }, {-5, 154, "(dib->biPlanes != 1)"}},
        {[](Dib& d) { d.h()->biCompression = 1; },
         {-5, 155, "(dib->biCompression != 0) && (dib->biCompression != 3)"}},
        {[](Dib& d) { d.h()->biBitCount = 2; }, {-5, 246, "Bad dib->biBitCount"}},
        {[](Dib& d) { d.h()->biBitCount = 0; }, {-5, 246, "Bad dib->biBitCount"}},
        // Refused: a one-entry colour table and a zero bit-field mask.
        {[](Dib& d) { d.h()->biBitCount = 8; d.h()->biClrUsed = 1; }, {-5, 246, "Bad dib->biBitCount"}},
        {[](Dib& d) { d.h()->biBitCount = 16; d.h()->biCompression = BI_BITFIELDS; d.masks(0x7C00, 0, 0x1F); },
         {-5, 246, "Bad dib->biBitCount"}},
        {[](Dib& d) { d.h()->biBitCount = 32; d.h()->biCompression = BI_BITFIELDS; d.masks(0, 0, 0); },
         {-5, 246, "Bad dib->biBitCount"}},
        {[](Dib& d) { d.h()->biWidth = -3; }, {-5, 274, "Create image header is failed"}},
        {[](Dib& d) { d.h()->biHeight = INT32_MIN; }, {-5, 274, "Create image header is failed"}},
    };
    for (const Case& c : cases) {
        capture.clear();
        Dib d(24, 2, 2, BI_RGB, 3);
        c.mutate(d);
        EXPECT_EQ(tvskTranslateDIB(d.h(), &clone), nullptr) << c.e.text;
        EXPECT_EQ(capture.reports().size(), 1u) << c.e.text;
        expectReport(capture, c.e, "vskTranslateDIB");
    }
}

TEST(DibImport, LayoutTable) {
    struct Case {
        int bits;
        std::uint32_t compression;
        bool ramp;
        int nChannels, alpha;
        unsigned depth;
        const char *model, *seq;
        int clone, order, align;
    } cases[] = {
        {1, BI_RGB, true, 1, 0, VSK_1U, "GRAY", "G\0\0", 1, 0, 4},
        {1, BI_RGB, false, 3, 0, VSK_8U, "RGB\0", "BGR", 0, 1, 8},
        {4, BI_RGB, true, 1, 0, VSK_8U, "GRAY", "G\0\0", 0, 1, 8},
        {4, BI_RGB, false, 3, 0, VSK_8U, "RGB\0", "BGR", 0, 1, 8},
        {8, BI_RGB, true, 1, 0, VSK_8U, "GRAY", "G\0\0", 1, 0, 4},
        {8, BI_RGB, false, 3, 0, VSK_8U, "RGB\0", "BGR", 0, 1, 8},
        {16, BI_RGB, false, 3, 0, VSK_8U, "RGB\0", "BGR", 0, 1, 8},
        {16, BI_BITFIELDS, false, 3, 0, VSK_8U, "RGB\0", "BGR", 0, 1, 8},
        {24, BI_RGB, false, 3, 0, VSK_8U, "RGB\0", "BGR", 1, 0, 4},
        {32, BI_RGB, false, 4, 4, VSK_8U, "RGBA", "BGRA", 1, 0, 4},
        {32, BI_BITFIELDS, false, 4, 4, VSK_8U, "RGBA", "BGRA", 0, 1, 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.bits << " bits, compression " << c.compression << ", ramp " << c.ramp);
        ErrorCapture capture;
        for (int height : {3, -3}) {
            Dib d(c.bits, 5, height, c.compression);
            if (c.bits <= 8) {
                if (c.ramp) d.greyRamp(1 << c.bits);
                else d.entry(0, 9, 0, 0);
            }
            if (c.compression == BI_BITFIELDS) d.masks(c.bits == 16 ? 0xF800 : 0xFF0000, c.bits == 16 ? 0x07E0 : 0xFF00,
                                                       c.bits == 16 ? 0x001F : 0xFF);
            int clone = -1;
            VskImage* image = tvskTranslateDIB(d.h(), &clone);
            ASSERT_NE(image, nullptr);
            EXPECT_EQ(clone, c.clone);
            EXPECT_EQ(image->nChannels, c.nChannels);
            EXPECT_EQ(image->alphaChannel, c.alpha);
            EXPECT_EQ(image->depth, c.depth);
            EXPECT_EQ(std::memcmp(image->colorModel, c.model, 4), 0);
            EXPECT_EQ(std::memcmp(image->channelSeq, c.seq, 4), 0);
            EXPECT_EQ(image->dataOrder, c.order);
            EXPECT_EQ(image->align, c.align);
            EXPECT_EQ(image->origin, height > 0 ? 1 : 0);
            EXPECT_EQ(image->height, 3);
            EXPECT_EQ(image->width, 5);
            EXPECT_TRUE(capture.reports().empty());
            tvskDeallocate(image, clone ? VSK_FREE_HEADER : VSK_FREE_HEADER | VSK_FREE_DATA);
        }
    }
}

TEST(DibImport, BottomUp24BitIsWrappedWithoutCopy) {
    Dib d(24, 5, 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) {
            d.row(y)[3 * x] = std::uint8_t(10 * y + x);  // blue
            d.row(y)[3 * x + 1] = 100;
            d.row(y)[3 * x + 2] = 200;
        }
    int clone = 0;
    VskImage* image = tvskTranslateDIB(d.h(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(clone, 1);
    EXPECT_EQ(image->imageData, reinterpret_cast<char*>(d.bits()));
    EXPECT_EQ(image->widthStep, 16);
    EXPECT_EQ(image->dataSize, 48);
    EXPECT_EQ(image->dataOrder, 0);
    EXPECT_EQ(image->origin, 1);
    EXPECT_EQ(vskBadImageHeader(image), 0u);
    // Picture top row is the last memory row.
    EXPECT_EQ(at(image, 3, 0, 0), 3);
    EXPECT_EQ(at(image, 4, 2, 0), 24);
    EXPECT_EQ(at(image, 4, 2, 2), 200);
    tvskDeallocate(image, VSK_FREE_HEADER);
}

TEST(DibImport, GreyRampsAndPalettes) {
    // 8 bits with a 16-entry ramp: raw indices, wrapped after the 16 entries.
    Dib d8(8, 4, 2, BI_RGB, 16, 16);
    d8.greyRamp(16);
    d8.row(0)[0] = 15;
    d8.row(1)[3] = 7;
    int clone = 0;
    VskImage* image = tvskTranslateDIB(d8.h(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(clone, 1);
    EXPECT_EQ(image->imageData, reinterpret_cast<char*>(d8.bytes.data() + 40 + 64));
    EXPECT_EQ(at(image, 0, 0), 15);
    EXPECT_EQ(at(image, 3, 1), 7);
    tvskDeallocate(image, VSK_FREE_HEADER);

    // 4 bits with a ramp: converted to grey values.
    Dib d4(4, 3, 2);
    d4.greyRamp(16);
    d4.row(0)[0] = 0xF1;  // columns 0 and 1
    d4.row(0)[1] = 0x80;  // column 2
    d4.row(1)[0] = 0x00;
    image = tvskTranslateDIB(d4.h(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(clone, 0);
    EXPECT_EQ(image->nChannels, 1);
    EXPECT_EQ(at(image, 0, 0), 255);
    EXPECT_EQ(at(image, 1, 0), 17);
    EXPECT_EQ(at(image, 2, 0), 136);
    EXPECT_EQ(at(image, 2, 1), 0);
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);

    // 4 bits in colour: three planes, blue first.
    Dib c4(4, 3, 1);
    c4.entry(2, 10, 20, 30);
    c4.row(0)[0] = 0x20;
    image = tvskTranslateDIB(c4.h(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->dataOrder, 1);
    EXPECT_EQ(at(image, 0, 0, 0), 30);
    EXPECT_EQ(at(image, 0, 0, 1), 20);
    EXPECT_EQ(at(image, 0, 0, 2), 10);
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);

    // 1 bit with a two-entry ramp: wrapped bits.
    Dib b1(1, 10, 1);
    b1.greyRamp(2);
    b1.row(0)[0] = 0xA0;
    image = tvskTranslateDIB(b1.h(), &clone);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(clone, 1);
    EXPECT_EQ(image->depth, VSK_1U);
    EXPECT_EQ(at(image, 0, 0), 1);
    EXPECT_EQ(at(image, 1, 0), 0);
    EXPECT_EQ(at(image, 2, 0), 1);
    tvskDeallocate(image, VSK_FREE_HEADER);
}

TEST(DibImport, MaskedFieldsAreWidenedWithoutFillingLowBits) {
    struct Case {
        int bits;
        std::uint32_t compression, r, g, b;
        std::uint32_t pixel;
        int red, green, blue, alpha;
    } cases[] = {
        {16, BI_RGB, 0, 0, 0, 0x7FFF, 248, 248, 248, -1},
        {16, BI_RGB, 0, 0, 0, 0x4210, 128, 128, 128, -1},
        {16, BI_BITFIELDS, 0xF800, 0x07E0, 0x001F, 0xFFFF, 248, 252, 248, -1},
        {16, BI_BITFIELDS, 0xF800, 0x07E0, 0x001F, 0x8410, 128, 128, 128, -1},
        {32, BI_RGB, 0, 0, 0, 0xAB123456, 0x12, 0x34, 0x56, 0},  // top byte always 0
        // Masks of 10 bits: the top 8 bits of each field; alpha = bits 30, 31.
        {32, BI_BITFIELDS, 0x3FF00000, 0x000FFC00, 0x000003FF, 0xC0000000u | (0x3FCu << 20) | (0x200u << 10) | 0x004,
         0xFF, 0x80, 0x01, 0xC0},
        // Colour fields reaching bit 31 give an all-ones alpha mask.
        {32, BI_BITFIELDS, 0xFF000000, 0x00FF0000, 0x0000FF00, 0x11223344, 0x11, 0x22, 0x33, 0x11},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << "pixel " << c.pixel);
        Dib d(c.bits, 1, 1, c.compression);
        if (c.compression == BI_BITFIELDS) d.masks(c.r, c.g, c.b);
        std::memcpy(d.row(0), &c.pixel, c.bits / 8);
        ImagePtr image = makeImage(c.alpha < 0 ? 3 : 4, VSK_8U, 0, 1, 1, 0, 4, "RGBA", c.alpha < 0 ? "RGB" : "RGBA");
        ErrorCapture capture;
        tvskConvertFromDIB(d.h(), image.get());
        EXPECT_TRUE(capture.reports().empty());
        EXPECT_EQ(get(image.get(), 0, 0, 0), c.red);
        EXPECT_EQ(get(image.get(), 0, 0, 1), c.green);
        EXPECT_EQ(get(image.get(), 0, 0, 2), c.blue);
        if (c.alpha >= 0) {
            EXPECT_EQ(get(image.get(), 0, 0, 3), c.alpha);
        }
    }
}

TEST(DibImport, ConvertIntoEveryTargetLayout) {
    Dib d(24, 2, 1);
    d.row(0)[0] = 10;   // blue
    d.row(0)[1] = 20;   // green
    d.row(0)[2] = 30;   // red
    std::memset(d.row(0) + 3, 255, 3);  // white
    struct Case {
        int nChannels;
        unsigned depth;
        int order;
        const char* seq;
        std::vector<int> first, second;  // channels of pixels 0 and 1
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
        tvskConvertFromDIB(d.h(), image.get());
        EXPECT_TRUE(capture.reports().empty());
        for (int ch = 0; ch < c.nChannels; ++ch) {
            EXPECT_EQ(get(image.get(), 0, 0, ch), c.first[ch]) << "channel " << ch;
            EXPECT_EQ(get(image.get(), 1, 0, ch), c.second[ch]) << "channel " << ch;
        }
    }
}

TEST(DibImport, LargerImageReceivesThePictureTopLeft) {
    Dib d(8, 2, 2, BI_RGB, 256);
    for (int i = 0; i < 256; ++i) d.entry(i, i, 0, 0);  // not grey: colour path
    d.row(0)[0] = 1;
    d.row(0)[1] = 2;
    d.row(1)[0] = 3;
    d.row(1)[1] = 4;
    for (int origin : {0, 1}) {
        ImagePtr image = makeImage(3, VSK_8U, 0, 4, 3, 99, 4, "RGB", "RGB");
        image->origin = origin;
        tvskConvertFromDIB(d.h(), image.get());
        EXPECT_EQ(at(image.get(), 0, 0), 1);
        EXPECT_EQ(at(image.get(), 1, 0), 2);
        EXPECT_EQ(at(image.get(), 0, 1), 3);
        EXPECT_EQ(at(image.get(), 1, 1), 4);
        EXPECT_EQ(at(image.get(), 2, 0), 99);  // untouched
        EXPECT_EQ(at(image.get(), 0, 2), 99);
        EXPECT_EQ(at(image.get(), 0, 3), 99);
    }
    // A header grown after allocation: rows past its buffer are neither written
    // on import nor read on export (they export as black; in plane order the
    // planes move past the buffer).
    for (int order : {0, 1}) {
        GuardedImage g(3, VSK_8U, order, 1, 2);
        std::memcpy(g.get()->channelSeq, "RGB", 4);
        g.get()->height = 2;
        tvskConvertFromDIB(d.h(), g.get());
        Dib out(24, 2, 2);
        tvskConvertToDIB(g.get(), out.h(), 1, 0);
        EXPECT_EQ(out.row(0)[2], order == 0 ? 1 : 0) << order;
        EXPECT_EQ(out.row(1)[2], 0);
    }
}

TEST(DibImport, ConvertChecksAndClosingFailure) {
    struct Case {
        void (*mutate)(Dib&, VskImage*);
        Expect e;
        int reports;
    } cases[] = {
        {[](Dib&, VskImage* i) { i->widthStep = 0; }, {-5, 533, ""}, 1},
        {[](Dib& d, VskImage*) { d.h()->biSize = 12; }, {-5, 536, "(dib->biSize != sizeof(BITMAPINFOHEADER))"}, 1},
        {[](Dib& d, VskImage*) { d.h()->biPlanes = 0; }, {-5, 537, "(dib->biPlanes != 1)"}, 1},
        {[](Dib& d, VskImage*) { d.h()->biCompression = 2; },
         {-5, 538, "(dib->biCompression != 0) && (dib->biCompression != 3)"}, 1},
        {[](Dib& d, VskImage*) { d.h()->biWidth = 5; }, {-5, 543, "image size is too small"}, 1},
        {[](Dib& d, VskImage*) { d.h()->biHeight = -5; }, {-5, 543, "image size is too small"}, 1},
        {[](Dib&, VskImage* i) { std::memcpy(i->channelSeq, "ARGB", 4); }, {-5, 629, "image->channelSeq unsupport"}, 1},
        {[](Dib& d, VskImage*) { d.h()->biBitCount = 2; }, {-3, 801, ""}, 1},
        {[](Dib&, VskImage* i) { i->depth = VSK_8S; }, {-3, 801, ""}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.e.line);
        ErrorCapture capture;
        Dib d(24, 4, 4);
        std::memset(d.bits(), 7, static_cast<std::size_t>(d.stride) * 4);
        ImagePtr image = makeImage(3, VSK_8U, 0, 4, 4, 1, 4, "RGB", "BGR");
        c.mutate(d, image.get());
        const std::vector<std::uint8_t> before = bytesOf(image.get());
        tvskConvertFromDIB(d.h(), image.get());
        EXPECT_EQ(capture.reports().size(), static_cast<std::size_t>(c.reports));
        if (c.e.line == 533) {
            EXPECT_EQ(capture.reports().at(0).line, 533);
        } else {
            expectReport(capture, c.e, "vskConvertFromDIB");
        }
        image->widthStep = static_cast<int>(strideOf(image.get()));
        EXPECT_EQ(bytesOf(image.get()), before);
    }
    ErrorCapture capture;
    ImagePtr image = makeImage(3, VSK_8U, 0, 4, 4);
    tvskConvertFromDIB(nullptr, image.get());
    expectReport(capture, {-5, 534, "dib==0"}, "vskConvertFromDIB");
}

// ---- export ----------------------------------------------------------------------

TEST(DibExport, ChecksInOrder) {
    struct Case {
        void (*mutate)(Dib&, VskImage*, int&, int&);
        Expect e;
    } cases[] = {
        {[](Dib&, VskImage* i, int&, int&) { i->nChannels = 5; i->alphaChannel = 0; },
         {-5, 1967, "(image->nChannels <= 0 || image->nChannels > 4)"}},
        {[](Dib&, VskImage* i, int&, int&) { i->depth = VSK_8S; }, {-5, 1969, "(image->depth & 0x80000000)"}},
        {[](Dib&, VskImage* i, int&, int&) { i->alphaChannel = 2; },
         {-5, 1970, "(image->alphaChannel != 0 && image->alphaChannel != 4)"}},
        {[](Dib&, VskImage* i, int&, int&) { i->nChannels = 2; },
         {-5, 1973, "(image->nChannels != 3 && image->nChannels != 1)"}},
        {[](Dib&, VskImage* i, int&, int&) { i->nChannels = 4; },
         {-5, 1973, "(image->nChannels != 3 && image->nChannels != 1)"}},
        {[](Dib&, VskImage* i, int&, int&) { i->alphaChannel = 4; i->nChannels = 3; }, {-5, 1970, ""}},
        {[](Dib& d, VskImage*, int&, int&) { d.h()->biWidth = 3; },
         {-5, 1979, "(image->width != dib->biWidth || image->height != dib->biHeight)"}},
        {[](Dib& d, VskImage*, int&, int&) { d.h()->biHeight = -4; },
         {-5, 1979, "(image->width != dib->biWidth || image->height != dib->biHeight)"}},
        {[](Dib& d, VskImage*, int&, int&) { d.h()->biSize = 124; }, {-5, 1982, "(dib->biSize != sizeof(BITMAPINFOHEADER))"}},
        {[](Dib& d, VskImage*, int&, int&) { d.h()->biPlanes = 3; }, {-5, 1983, "(dib->biPlanes != 1)"}},
        {[](Dib& d, VskImage*, int&, int&) { d.h()->biCompression = 4; },
         {-5, 1984, "(dib->biCompression != 0) && (dib->biCompression != 3)"}},
        {[](Dib&, VskImage*, int& dither, int&) { dither = 2; }, {-5, 1987, "(dither != 8 && dither != 1)"}},
        {[](Dib&, VskImage*, int&, int& pal) { pal = 3; },
         {-5, 1989, "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)"}},
        {[](Dib&, VskImage* i, int&, int&) { std::memcpy(i->channelSeq, "XYZ", 4); },
         {-5, 2109, "image->channelSeq unsupport"}},
        {[](Dib& d, VskImage*, int&, int&) { d.h()->biBitCount = 12; }, {-5, 2176, "dib-<biBitCount is bad"}},
        // Bit counts without a table get none from either palette conversion.
        {[](Dib& d, VskImage*, int&, int& pal) { d.h()->biBitCount = 0; pal = 2; },
         {-5, 2176, "dib-<biBitCount is bad"}},
        {[](Dib& d, VskImage*, int&, int& pal) { d.h()->biBitCount = 7; pal = 2; },
         {-5, 2176, "dib-<biBitCount is bad"}},
        {[](Dib& d, VskImage*, int&, int& pal) { d.h()->biBitCount = 5; d.h()->biClrUsed = 2; pal = 1; },
         {-5, 2176, "dib-<biBitCount is bad"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.e.line);
        ErrorCapture capture;
        Dib d(24, 4, 4);
        ImagePtr image = makeImage(3, VSK_8U, 0, 4, 4);
        int dither = 1, pal = 0;
        c.mutate(d, image.get(), dither, pal);
        const std::vector<std::uint8_t> before = d.bytes;
        tvskConvertToDIB(image.get(), d.h(), dither, pal);
        ASSERT_EQ(capture.reports().size(), 1u);
        if (c.e.text[0] == 0) {
            // An alpha channel beyond the channels is a header fault.
            EXPECT_EQ(capture.reports()[0].line, 1964);
            continue;
        }
        expectReport(capture, c.e, "vskConvertToDIB");
        if (c.e.line < 2100 || c.e.line == 2176) {
            EXPECT_EQ(d.bytes, before);
        }
    }
    ErrorCapture capture;
    Dib d(24, 4, 4);
    tvskConvertToDIB(nullptr, d.h(), 1, 0);
    EXPECT_EQ(capture.reports().at(0).line, 1964);
    ImagePtr image = makeImage(3, VSK_8U, 0, 4, 4);
    tvskConvertToDIB(image.get(), nullptr, 1, 0);
    expectReport(capture, {-5, 1965, "dib==0"}, "vskConvertToDIB");
}

TEST(DibExport, FixedPalettes) {
    // Grey image into 8 bits: the identity table; each index is the grey value.
    ImagePtr grey = makeImage(1, VSK_8U, 0, 2, 128);
    for (int x = 0; x < 128; ++x) {
        put(grey.get(), x, 0, 0, 2 * x);
        put(grey.get(), x, 1, 0, 2 * x + 1);
    }
    Dib g8(8, 128, 2);
    tvskConvertToDIB(grey.get(), g8.h(), 1, 1);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(g8.table()[4 * i], i);
        EXPECT_EQ(g8.table()[4 * i + 3], 0);
    }
    for (int x = 0; x < 128; ++x) {
        EXPECT_EQ(g8.row(0)[x], 2 * x);
        EXPECT_EQ(g8.row(1)[x], 2 * x + 1);
    }

    // Colour image into 8 bits: the 3-3-2 table; white -> 255, black -> 0.
    ImagePtr colour = makeImage(3, VSK_8U, 0, 1, 3, 0, 4, "RGB", "RGB");
    for (int c = 0; c < 3; ++c) put(colour.get(), 1, 0, c, 255);
    put(colour.get(), 2, 0, 0, 255);  // red
    Dib c8(8, 3, 1);
    tvskConvertToDIB(colour.get(), c8.h(), 1, 1);
    EXPECT_EQ(c8.row(0)[0], 0);
    EXPECT_EQ(c8.row(0)[1], 255);
    EXPECT_EQ(c8.row(0)[2], 7 << 5);
    EXPECT_EQ(c8.table()[4 * 0x25 + 2], 32);   // red of entry 001 001 01
    EXPECT_EQ(c8.table()[4 * 0x25 + 1], 32);
    EXPECT_EQ(c8.table()[4 * 0x25 + 0], 64);

    // 16 entries: the standard colours, and the grey ramp for a grey image.
    Dib c4(4, 3, 1);
    tvskConvertToDIB(colour.get(), c4.h(), 1, 1);
    EXPECT_EQ(c4.table()[4 * 9 + 2], 255);   // entry 9 is red
    EXPECT_EQ(c4.table()[4 * 8 + 0], 192);   // entry 8 is light grey
    EXPECT_EQ(c4.row(0)[0], 0x0F);           // black, white
    EXPECT_EQ(c4.row(0)[1] >> 4, 9);         // red
    ImagePtr grey4 = makeImage(1, VSK_8U, 0, 1, 2);
    put(grey4.get(), 1, 0, 0, 70);
    Dib g4(4, 2, 1);
    tvskConvertToDIB(grey4.get(), g4.h(), 1, 1);
    EXPECT_EQ(g4.table()[4 * 4], 68);
    EXPECT_EQ(g4.row(0)[0], 0x04);

    // 100 entries: the table is left alone, pixels map to the nearest of them.
    Dib c100(8, 3, 1, BI_RGB, 100, 100);
    for (int i = 0; i < 100; ++i) c100.entry(i, 2 * i, 2 * i, 2 * i, 0x5A);
    const std::vector<std::uint8_t> table(c100.table(), c100.table() + 400);
    tvskConvertToDIB(colour.get(), c100.h(), 1, 1);
    EXPECT_EQ(std::vector<std::uint8_t>(c100.table(), c100.table() + 400), table);
    EXPECT_EQ(c100.row(0)[0], 0);
    EXPECT_EQ(c100.row(0)[1], 99);
    // (255, 0, 0) is equally far from entries 42 and 43: the first wins.
    EXPECT_EQ(c100.row(0)[2], 42);
}

TEST(DibExport, MedianCutKeepsFewColoursAndSplitsMany) {
    // Few 6-bit colours: every one kept, as multiples of 4.
    ImagePtr few = makeImage(3, VSK_8U, 0, 1, 3, 0, 4, "RGB", "BGR");
    const int colours[3][3] = {{255, 0, 0}, {13, 130, 201}, {0, 0, 0}};  // blue, green, red
    for (int x = 0; x < 3; ++x)
        for (int c = 0; c < 3; ++c) put(few.get(), x, 0, c, colours[x][c]);
    Dib d(8, 3, 1);
    tvskConvertToDIB(few.get(), d.h(), 1, 2);
    EXPECT_EQ(d.h()->biClrUsed, 3u);
    // Increasing cell order: black, then (r 0, g 32, b 50), then (b 63).
    const int expected[3][3] = {{0, 0, 0}, {12, 128, 200}, {252, 0, 0}};  // blue, green, red
    for (int i = 0; i < 3; ++i)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(d.table()[4 * i + c], expected[i][c]) << i << "," << c;
    // The shorter table moves the pixel rows up behind it.
    const std::uint8_t* pixels = d.table() + 4 * 3;
    EXPECT_EQ(pixels[0], 2);
    EXPECT_EQ(pixels[1], 1);
    EXPECT_EQ(pixels[2], 0);

    // Three colours into two entries: one split along red.
    ImagePtr many = makeImage(3, VSK_8U, 0, 1, 4, 0, 4, "RGB", "RGB");
    const int rgb[4][3] = {{255, 0, 0}, {255, 0, 0}, {0, 0, 255}, {0, 255, 0}};
    for (int x = 0; x < 4; ++x)
        for (int c = 0; c < 3; ++c) put(many.get(), x, 0, c, rgb[x][c]);
    Dib b1(1, 4, 1);
    tvskConvertToDIB(many.get(), b1.h(), 1, 2);
    EXPECT_EQ(b1.h()->biClrUsed, 2u);
    EXPECT_EQ(b1.table()[0], 126);  // blue
    EXPECT_EQ(b1.table()[1], 126);  // green
    EXPECT_EQ(b1.table()[2], 0);    // red
    EXPECT_EQ(b1.table()[4], 0);
    EXPECT_EQ(b1.table()[5], 0);
    EXPECT_EQ(b1.table()[6], 252);
    EXPECT_EQ(b1.bits()[0], 0xC0);  // reds take entry 1

    // Grey, one dimension: 10 x2, 20, 30 into two entries gives 10 and 25.
    ImagePtr grey = makeImage(1, VSK_8U, 0, 1, 4);
    const int g[4] = {10, 10, 20, 30};
    for (int x = 0; x < 4; ++x) put(grey.get(), x, 0, 0, g[x]);
    Dib gb(1, 4, 1);
    tvskConvertToDIB(grey.get(), gb.h(), 1, 2);
    EXPECT_EQ(gb.table()[0], 10);
    EXPECT_EQ(gb.table()[4], 25);
    EXPECT_EQ(gb.bits()[0], 0x30);

    // A 1-bit image always gets black and white.
    ImagePtr bits = makeImage(1, VSK_1U, 0, 1, 9);
    put(bits.get(), 8, 0, 0, 1);
    Dib bb(1, 9, 1, BI_RGB, 2, 0);
    bb.entry(0, 1, 2, 3);
    tvskConvertToDIB(bits.get(), bb.h(), 1, 2);
    EXPECT_EQ(bb.h()->biClrUsed, 2u);
    EXPECT_EQ(bb.table()[0], 0);
    EXPECT_EQ(bb.table()[4], 255);
    EXPECT_EQ(bb.bits()[1], 0x80);
}

TEST(DibExport, MedianCutOnLargeRandomImagesStaysWithinTheTable) {
    for (int bitsPerPixel : {4, 8}) {
        for (int channels : {1, 3}) {
            ImagePtr image = makeImage(channels, VSK_8U, 0, 37, 53, 0, 4, "RGB", channels == 1 ? "G" : "BGR");
            fillRandom(image.get(), static_cast<std::uint32_t>(bitsPerPixel * 10 + channels));
            Dib d(bitsPerPixel, 53, 37);
            ErrorCapture capture;
            tvskConvertToDIB(image.get(), d.h(), 1, 2);
            EXPECT_TRUE(capture.reports().empty());
            EXPECT_EQ(d.h()->biClrUsed, 1u << bitsPerPixel);
            for (unsigned i = 0; i < d.h()->biClrUsed; ++i) {
                EXPECT_EQ(d.table()[4 * i + 3], 0);
                if (channels == 1) {
                    EXPECT_EQ(d.table()[4 * i], d.table()[4 * i + 1]);
                    EXPECT_EQ(d.table()[4 * i], d.table()[4 * i + 2]);
                }
            }
        }
    }
}

TEST(DibExport, MaskedAndDirectFormats) {
    ImagePtr image = makeImage(4, VSK_8U, 1, 1, 2, 0, 4, "RGBA", "RGBA");
    image->alphaChannel = 4;
    const int px[2][4] = {{0xFF, 0x80, 0x08, 0x77}, {0x00, 0xFF, 0x10, 0xFF}};
    for (int x = 0; x < 2; ++x)
        for (int c = 0; c < 4; ++c) put(image.get(), x, 0, c, px[x][c]);

    Dib d32(32, 2, 1);
    tvskConvertToDIB(image.get(), d32.h(), 1, 0);
    std::uint32_t v;
    std::memcpy(&v, d32.row(0), 4);
    EXPECT_EQ(v, 0x00FF8008u);  // top byte 0 whatever the alpha
    Dib m32(32, 2, 1, BI_BITFIELDS);
    m32.masks(0x00FF0000, 0x0000FF00, 0x000000FF);
    tvskConvertToDIB(image.get(), m32.h(), 1, 0);
    std::memcpy(&v, m32.row(0) + 4, 4);
    EXPECT_EQ(v, 0xFF00FF10u);  // alpha above the colour fields

    Dib d16(16, 2, 1);
    tvskConvertToDIB(image.get(), d16.h(), 1, 0);
    std::uint16_t w;
    std::memcpy(&w, d16.row(0), 2);
    EXPECT_EQ(w, (31 << 10) | (16 << 5) | 1);
    Dib m16(16, 2, 1, BI_BITFIELDS);
    m16.masks(0xF800, 0x07E0, 0x001F);
    tvskConvertToDIB(image.get(), m16.h(), 1, 0);
    std::memcpy(&w, m16.row(0) + 2, 2);
    EXPECT_EQ(w, (0 << 11) | (63 << 5) | 2);

    Dib d24(24, 2, 1);
    ImagePtr rgb = makeImage(3, VSK_16U, 0, 1, 2, 0, 4, "RGB", "RGB");
    put(rgb.get(), 0, 0, 0, 0x1234);
    put(rgb.get(), 0, 0, 2, 0xFF00);
    tvskConvertToDIB(rgb.get(), d24.h(), 1, 0);  // 16-bit read directly: high bytes
    EXPECT_EQ(d24.row(0)[0], 0xFF);
    EXPECT_EQ(d24.row(0)[2], 0x12);
}

TEST(DibExport, SixteenBitDitherPathRunsOnlyWithAPendingError) {
    ImagePtr image = makeImage(3, VSK_16U, 0, 2, 2, 0x4000, 4, "RGB", "BGR");
    Dib d(24, 2, 2);
    ErrorCapture capture;
    tvskConvertToDIB(image.get(), d.h(), 8, 0);
    ASSERT_EQ(capture.reports().size(), 1u);
    expectReport(capture, {-3, 2257, ""}, "vskConvertToDIB");
}

TEST(DibRoundTrip, ImageToDibToImage) {
    struct Case {
        int bits;
        int nChannels;
        unsigned depth;
        int order;
        const char* seq;
        int palette;
    } cases[] = {
        {24, 3, VSK_8U, 0, "BGR", 0}, {24, 3, VSK_8U, 1, "RGB", 0}, {32, 4, VSK_8U, 0, "BGRA", 0},
        {8, 1, VSK_8U, 0, "G", 1},    {1, 1, VSK_1U, 0, "G", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.bits << " bits " << c.seq);
        ImagePtr image = makeImage(c.nChannels, c.depth, c.order, 7, 13, 0, 4, "RGB", c.seq);
        fillRandom(image.get(), 3);
        if (c.nChannels == 4) {
            image->alphaChannel = 4;
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 13; ++x) put(image.get(), x, y, 3, 0);  // alpha does not survive
        }
        Dib d(c.bits, 13, 7);
        ErrorCapture capture;
        tvskConvertToDIB(image.get(), d.h(), 1, c.palette);
        ASSERT_TRUE(capture.reports().empty());
        ImagePtr back = makeImage(c.nChannels, c.depth, c.order, 7, 13, 0, 4, "RGB", c.seq);
        tvskConvertFromDIB(d.h(), back.get());
        ASSERT_TRUE(capture.reports().empty());
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 13; ++x)
                for (int ch = 0; ch < c.nChannels; ++ch)
                    ASSERT_EQ(get(back.get(), x, y, ch), get(image.get(), x, y, ch)) << x << "," << y << "," << ch;
    }
}
