// Golden hashes of bitmap import and export.
#include <cstdlib>
#include <cstring>

#include "support/golden.hpp"

using namespace golden;
using namespace vsktest;

namespace {

enum TableKind { kRandomTable, kGreyRamp };

// What a test DIB holds besides its seeded random pixels.
struct DibKind {
    int bits;
    unsigned compression;
    std::uint32_t colorsUsed;
    TableKind table;
    std::uint32_t masks[3];
    int planes = 1;
};

const DibKind kDibKinds[] = {
    {1, BI_RGB, 0, kRandomTable, {}},
    {1, BI_RGB, 0, kGreyRamp, {}},
    {4, BI_RGB, 0, kRandomTable, {}},
    {4, BI_RGB, 0, kGreyRamp, {}},
    {4, BI_RGB, 5, kRandomTable, {}},  // indexes past the table
    {8, BI_RGB, 0, kRandomTable, {}},
    {8, BI_RGB, 16, kGreyRamp, {}},  // wrapped as raw indexes
    {8, BI_RGB, 0, kGreyRamp, {}},
    {16, BI_RGB, 0, kRandomTable, {}},
    {16, BI_BITFIELDS, 0, kRandomTable, {0xF800, 0x07E0, 0x001F}},
    {16, BI_BITFIELDS, 0, kRandomTable, {0x0F00, 0x00F0, 0x000F}},
    {24, BI_RGB, 7, kRandomTable, {}},  // the colour count plays no part
    {32, BI_RGB, 0, kRandomTable, {}},
    {32, BI_BITFIELDS, 0, kRandomTable, {0x3FF00000, 0x000FFC00, 0x000003FF}},
    {32, BI_BITFIELDS, 0, kRandomTable, {0x0000FF00, 0x00FF0000, 0xFF000000}},
};

// DIBs with a fault that some or all of the operations refuse.
const DibKind kFaultyDibs[] = {
    {8, BI_RGB, 0, kRandomTable, {}, 2},
    {8, 1, 0, kRandomTable, {}},  // run-length compression
    {2, BI_RGB, 0, kRandomTable, {}},
    {8, BI_RGB, 1, kRandomTable, {}},  // one-entry table
    {16, BI_BITFIELDS, 0, kRandomTable, {0xF800, 0, 0x001F}},
};

// A DIB in one buffer: header, colour table or masks, pixel rows of
// `width` x |height| pixels. Everything after the header starts as seeded
// random bytes.
class Dib {
public:
    Dib(const DibKind& kind, int width, int height, std::uint32_t seed) {
        BITMAPINFOHEADER header{};
        header.biSize = sizeof(BITMAPINFOHEADER);
        header.biWidth = width;
        header.biHeight = height;
        header.biPlanes = static_cast<std::uint16_t>(kind.planes);
        header.biBitCount = static_cast<std::uint16_t>(kind.bits);
        header.biCompression = kind.compression;
        header.biClrUsed = kind.colorsUsed;
        std::size_t entries = 0;
        if (kind.bits <= 8)
            entries = kind.colorsUsed ? kind.colorsUsed : 1u << kind.bits;
        else if (kind.compression == BI_BITFIELDS)
            entries = 3;
        const std::size_t rowBytes = (static_cast<std::size_t>(width) * kind.bits + 31) / 32 * 4;
        size_ = sizeof header + 4 * entries + rowBytes * static_cast<std::size_t>(std::abs(height));
        words_.resize((size_ + 3) / 4);
        std::uint32_t s = seed * 2654435761u + 1;
        auto* bytes = reinterpret_cast<std::uint8_t*>(words_.data());
        for (std::size_t i = 0; i < size_; ++i) {
            s = s * 1664525u + 1013904223u;
            bytes[i] = static_cast<std::uint8_t>(s >> 24);
        }
        std::memcpy(bytes, &header, sizeof header);
        std::uint8_t* table = bytes + sizeof header;
        if (kind.table == kGreyRamp)
            for (std::size_t i = 0; i < entries; ++i) {
                const auto g = static_cast<std::uint8_t>(255 * i / (entries - 1));
                const std::uint8_t entry[4] = {g, g, g, 0};
                std::memcpy(table + 4 * i, entry, 4);
            }
        if (kind.compression == BI_BITFIELDS) std::memcpy(table, kind.masks, sizeof kind.masks);
    }
    BITMAPINFOHEADER* get() { return reinterpret_cast<BITMAPINFOHEADER*>(words_.data()); }
    const char* start() const { return reinterpret_cast<const char*>(words_.data()); }
    void hash(Fnv1a& h) const { h.bytes(words_.data(), size_); }

private:
    std::vector<std::uint32_t> words_;
    std::size_t size_ = 0;
};

constexpr int kDibWidth = 13, kDibHeight = 7;

// Wrapping or converting DIBs of every kind, bottom-up and top-down, into new
// images, and the refused ones.
void hashTranslateDib(Fnv1a& h) {
    ErrorCapture capture;
    std::uint32_t seed = 3000;
    auto translate = [&](const BITMAPINFOHEADER* dib, const char* start) {
        capture.clear();
        int clone = -1;
        VskImage* image = tvskTranslateDIB(dib, &clone);
        hashReports(h, capture.reports());
        h.number(clone);
        h.number(image != nullptr, 1);
        if (!image) return;
        hashImage(h, image);
        h.number(clone == 1 ? image->imageData - start : -1);
        tvskDeallocate(image, clone == 1 ? VSK_FREE_HEADER : VSK_FREE_HEADER | VSK_FREE_DATA);
    };
    for (const DibKind& kind : kDibKinds)
        for (int height : {kDibHeight, -kDibHeight}) {
            Dib dib(kind, kDibWidth, height, seed++);
            translate(dib.get(), dib.start());
        }
    for (const DibKind& kind : kFaultyDibs) {
        Dib dib(kind, kDibWidth, kDibHeight, seed++);
        translate(dib.get(), dib.start());
    }
    translate(nullptr, nullptr);
    capture.clear();
    Dib dib(kDibKinds[0], kDibWidth, kDibHeight, seed++);
    h.number(tvskTranslateDIB(dib.get(), nullptr) != nullptr, 1);
    hashReports(h, capture.reports());
}

// Image layouts a DIB is converted from or to: those served and a few that
// are not.
struct DibImage {
    int channels;
    unsigned depth;
    const char* seq;
};
const DibImage kBgr8{3, VSK_8U, "BGR"};
const DibImage kDibImages[] = {
    {1, VSK_1U, "GRAY"}, {1, VSK_8U, "G"},    {1, VSK_16U, "GRAY"}, {3, VSK_8U, "BGR"},
    {3, VSK_8U, "RGB"},  {3, VSK_16U, "BGR"}, {4, VSK_8U, "BGRA"},  {4, VSK_16U, "RGBA"},
    {3, VSK_8S, "BGR"},  {3, VSK_8U, "GRB"},  {2, VSK_8U, "GRAY"},
};

ImagePtr dibImage(const DibImage& layout, int order, int origin, int width, int height,
                  std::uint32_t seed) {
    ImagePtr image = makeImage(layout.channels, layout.depth, order, height, width, 0,
                               order ? 8 : 4, layout.channels >= 3 ? "RGB" : "GRAY", "");
    setName(image->channelSeq, layout.seq);
    if (layout.channels == 4) image->alphaChannel = 4;
    image->origin = origin;
    fillRandom(image.get(), seed);
    return image;
}

// Converting DIBs of every kind into larger, equal and too small images of
// every layout, both orders and origins.
void hashConvertFromDib(Fnv1a& h) {
    ErrorCapture capture;
    std::uint32_t seed = 4000;
    for (const DibKind& kind : kDibKinds)
        for (int height : {kDibHeight, -kDibHeight}) {
            Dib dib(kind, kDibWidth, height, seed++);
            for (const DibImage& layout : kDibImages)
                for (int order : {0, 1})
                    for (int origin : {0, 1}) {
                        ImagePtr image =
                            dibImage(layout, order, origin, kDibWidth + 2, kDibHeight + 2, seed++);
                        capture.clear();
                        tvskConvertFromDIB(dib.get(), image.get());
                        hashReports(h, capture.reports());
                        hashImage(h, image.get());
                    }
        }
    for (const DibKind& kind : kFaultyDibs) {
        Dib dib(kind, kDibWidth, kDibHeight, seed++);
        ImagePtr image = dibImage(kBgr8, 0, 0, kDibWidth, kDibHeight, seed++);
        capture.clear();
        tvskConvertFromDIB(dib.get(), image.get());
        hashReports(h, capture.reports());
        hashImage(h, image.get());
    }
    // Images too small for the bitmap, and no bitmap.
    Dib dib({24, BI_RGB, 0, kRandomTable, {}}, kDibWidth, kDibHeight, seed++);
    for (int width : {kDibWidth, kDibWidth - 1}) {
        ImagePtr image = dibImage(kBgr8, 0, 0, width, kDibHeight - 1, seed++);
        capture.clear();
        tvskConvertFromDIB(dib.get(), image.get());
        tvskConvertFromDIB(nullptr, image.get());
        hashReports(h, capture.reports());
        hashImage(h, image.get());
    }
}

// Writing images of every layout into DIBs of every bit count with the
// caller's, the fixed and the median-cut colour tables; 16-bit images also
// through the 8-bit Stucki copy, with and without an error pending.
void hashConvertToDib(Fnv1a& h) {
    struct Target {
        DibKind kind;
        int palette;
    };
    std::vector<Target> targets;
    for (int bits : {1, 4, 8})
        for (int palette : {0, 1, 2})
            targets.push_back({{bits, BI_RGB, 0, kRandomTable, {}}, palette});
    targets.push_back({{8, BI_RGB, 100, kRandomTable, {}}, 1});  // no fixed table of 100
    for (const DibKind& kind : kDibKinds)
        if (kind.bits > 8) targets.push_back({kind, 0});

    ErrorCapture capture;
    std::uint32_t seed = 5000;
    auto convert = [&](VskImage* image, const Target& t, int width, int height, int dither,
                       bool pending) {
        Dib dib(t.kind, width, height, seed++);
        capture.clear();
        if (pending) vskSetErrStatus(VSK_STATUS_BAD_ARG);
        tvskConvertToDIB(image, dib.get(), dither, t.palette);
        hashReports(h, capture.reports());
        dib.hash(h);  // the whole bitmap: the export leaves row padding alone
    };
    for (const DibImage& layout : kDibImages)
        for (int order : {0, 1})
            for (int origin : {0, 1}) {
                ImagePtr image = dibImage(layout, order, origin, kDibWidth, kDibHeight, seed++);
                for (const Target& t : targets) {
                    convert(image.get(), t, kDibWidth, kDibHeight, 1, false);
                    if (layout.depth != VSK_16U) continue;
                    convert(image.get(), t, kDibWidth, kDibHeight, 8, false);
                    convert(image.get(), t, kDibWidth, kDibHeight, 8, true);
                }
            }
    // Median cuts over more colours than a table holds.
    for (const DibImage& layout :
         {kBgr8, DibImage{1, VSK_16U, "GRAY"}, DibImage{4, VSK_16U, "RGBA"}}) {
        ImagePtr image = dibImage(layout, 1, 1, 40, 30, seed++);
        for (int bits : {4, 8})
            convert(image.get(), {{bits, BI_RGB, 0, kRandomTable, {}}, 2}, 40, 30, 1, false);
    }
    // Refused arguments: a top-down DIB, another size, dither and table choices.
    ImagePtr image = dibImage(kBgr8, 0, 0, kDibWidth, kDibHeight, seed++);
    const Target eight{{8, BI_RGB, 0, kRandomTable, {}}, 1};
    convert(image.get(), eight, kDibWidth, -kDibHeight, 1, false);
    convert(image.get(), eight, kDibWidth + 1, kDibHeight, 1, false);
    convert(image.get(), eight, kDibWidth, kDibHeight, 3, false);
    convert(image.get(), {eight.kind, 3}, kDibWidth, kDibHeight, 1, false);
    for (const DibKind& kind : kFaultyDibs)
        convert(image.get(), {kind, 1}, kDibWidth, kDibHeight, 1, false);
}


const GoldenCase kDibCases[] = {
    // Device-independent bitmaps.
    {"tvskTranslateDIB", 0xead71ac86f657fdd, nullptr, {}, hashTranslateDib},
    {"tvskConvertFromDIB", 0xe55f42183adff365, nullptr, {}, hashConvertFromDib},
    {"tvskConvertToDIB", 0xdfe2bc7c26f9d9ba, nullptr, {}, hashConvertToDib},
};

}  // namespace

namespace golden {
VSK_GOLDEN_CASES(Dib, kDibCases);
}  // namespace golden
