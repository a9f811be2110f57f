// Golden results: the same calls on the same seeded inputs give bit-identical
// results on every platform the library is built for (Linux x86-64, Linux
// i386, Windows x86-64 under Wine, the sanitizer build). Each case reduces all
// it produced to one 64-bit FNV-1a hash, kept in the table at the end.
//
// What a case hashes. An operation row runs over every input of its Sweep:
// each source shape (depth, channel count, pixel or plane order), five ROI
// placements (none; inside, with different offsets in source and destination;
// at the edges; a channel of interest; reaching past the right and bottom
// edges) and three storages (all buffered; tiled sources; tiled destination),
// with fresh seeded random contents for every run. Per run it hashes the reports
// (status, name, condition text, file, line), the final status, then every
// visible sample of the source, the second source and the destination, row by
// row, pixel by pixel, channel by channel, each value as its depth's bytes
// little-endian (1-bit: one byte 0 or 1), and where the sweep asks, each
// header's colorModel and channelSeq. Row padding and tile parts outside the
// image are never hashed: operations may leave them undefined.
//
// Adding an operation: append one row to kCases with hash 0, the operation
// applied to (src, src2, dst) as a function or captureless lambda, and the
// Sweep of the inputs it serves: source depths and channel counts (the
// defaults are every depth, 1, 3 and 4 channels, both orders, tiled images
// included), the destination's channel count and depth where they differ
// from the source's, and whether the colour names of the headers are results
// too. For example
//   {"tvskAddS 77", 0, [](VskImage* s, VskImage*, VskImage* d) { tvskAddS(s, d, 77, nullptr); }},
//   {"tvskColorToGray to 8U", 0, colorToGray, withDstDepth(kToGray, VSK_8U)},
// Calls that take other inputs (bitmaps) get a custom case that hashes what
// it computes itself. Once the operation's own tests pass, print the actual
// hashes with
//   VSK_GOLDEN_PRINT=1 ./build/tests/vsk_tests --gtest_filter='*Golden*'
// and paste the one for the new row. Run the asan, m32 and mingw64 presets
// too: all targets must agree. A hash changes only when some result changes,
// so regenerate it only for a deliberate change of results and say why in the
// commit. Calls whose results depend on the C runtime (rand(), which the
// jitter uses) differ between Linux and Windows: keep them out of this table.
#include <gtest/gtest.h>

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "core.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

// ---- the hash ----------------------------------------------------------------

class Fnv1a {
public:
    void bytes(const void* data, std::size_t n) {
        const auto* p = static_cast<const unsigned char*>(data);
        for (std::size_t i = 0; i < n; ++i) {
            h_ ^= p[i];
            h_ *= 0x100000001b3ull;
        }
    }
    // `size` bytes of v, least significant first, whatever the host.
    void number(std::int64_t v, int size = 4) {
        for (int i = 0; i < size; ++i) {
            const auto b = static_cast<unsigned char>(static_cast<std::uint64_t>(v) >> (8 * i));
            bytes(&b, 1);
        }
    }
    void text(const std::string& s) {
        number(static_cast<std::int64_t>(s.size()));
        bytes(s.data(), s.size());
    }
    std::uint64_t value() const { return h_; }

private:
    std::uint64_t h_ = 0xcbf29ce484222325ull;
};

// Every visible sample of an image of width x height pixels, read by `at`.
template <class At>
void hashSamples(Fnv1a& h, const VskImage* image, int width, int height, At at) {
    const int size = image->depth == VSK_1U ? 1 : vsk::depthBytes(image->depth);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < image->nChannels; ++c) h.number(at(x, y, c), size);
}

void hashReports(Fnv1a& h, const std::vector<Report>& reports) {
    h.number(static_cast<std::int64_t>(reports.size()));
    for (const Report& r : reports) {
        h.number(r.status);
        h.text(r.func);
        h.text(r.context);
        h.text(r.file);
        h.number(r.line);
    }
    h.number(tvskGetErrStatus());
}

// ---- the inputs ----------------------------------------------------------------

enum : unsigned { k1U = 1u << 0, k8U = 1u << 1, k8S = 1u << 2, k16U = 1u << 3, k16S = 1u << 4,
                  k32S = 1u << 5 };
constexpr unsigned kEveryDepth = k1U | k8U | k8S | k16U | k16S | k32S;
constexpr unsigned kDepthCodes[] = {VSK_1U, VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S};

// The inputs an operation serves.
struct Sweep {
    unsigned depths = kEveryDepth;                       // k1U ... k32S
    unsigned channels = 1u << 1 | 1u << 3 | 1u << 4;     // bit n: n-channel sources
    int dstChannels = 0;                                 // 0: as many as the source
    unsigned dstDepth = 0;                               // 0: the source's depth
    bool planeOrder = true;                              // plane order as well as pixel order
    bool tiled = true;                                   // tiled sources and destinations too
    bool names = false;                                  // hash colorModel and channelSeq too
};

struct Shape {
    unsigned depth;
    int channels;
    int order;
};

// Every shape of a sweep; 1-bit images have one channel.
std::vector<Shape> shapesOf(const Sweep& sweep) {
    std::vector<Shape> shapes;
    for (int d = 0; d < 6; ++d) {
        if (!(sweep.depths & (1u << d))) continue;
        for (int n = 1; n < 32; ++n) {
            if (!(sweep.channels & (1u << n)) || (kDepthCodes[d] == VSK_1U && n != 1)) continue;
            for (int order = 0; order <= (sweep.planeOrder ? 1 : 0); ++order)
                shapes.push_back({kDepthCodes[d], n, order});
        }
    }
    return shapes;
}

constexpr int kWidth = 21, kHeight = 13, kTile = 8;

// One image of a run, buffered or tiled, with seeded random samples.
class Picture {
public:
    Picture(const Shape& s, int align, bool tiled, std::uint32_t seed)
        : plain_(makeImage(s.channels, s.depth, s.order, kHeight, kWidth, 0, align)) {
        fillRandom(plain_.get(), seed);
        if (tiled) {
            tiled_ = std::make_unique<TiledImage>(s.channels, s.depth, s.order, kHeight, kWidth,
                                                  kTile, kTile, align);
            tiled_->loadFrom(plain_.get());
            plain_.reset();
        }
    }
    VskImage* get() const { return tiled_ ? tiled_->get() : plain_.get(); }
    void hash(Fnv1a& h) const {
        hashSamples(h, get(), kWidth, kHeight, [this](int x, int y, int c) {
            return tiled_ ? tiled_->get(x, y, c) : vsktest::get(plain_.get(), x, y, c);
        });
    }

private:
    ImagePtr plain_;
    std::unique_ptr<TiledImage> tiled_;
};

// ROI placements: source (and second source) first, then destination;
// height before width as in the records. coi -1: the last channel.
struct Roi {
    bool set;
    int coi, x, y, height, width;
};
const Roi kRois[][2] = {
    {{false, 0, 0, 0, 0, 0}, {false, 0, 0, 0, 0, 0}},
    {{true, 0, 2, 1, 7, 11}, {true, 0, 6, 4, 7, 11}},
    {{true, 0, kWidth - 9, kHeight - 5, 5, 9}, {true, 0, 0, 0, 5, 9}},
    {{true, 2, 3, 2, 6, 10}, {true, -1, 9, 5, 6, 10}},
    {{true, 0, kWidth - 7, kHeight - 5, 8, 10}, {true, 0, kWidth - 6, kHeight - 4, 8, 10}},
};

void place(VskImage* image, const Roi& roi) {
    if (!roi.set) return;
    const int n = image->nChannels;
    const int coi = roi.coi < 0 ? n : (roi.coi > n ? n : roi.coi);
    setRoi(image, coi, roi.x, roi.y, roi.height, roi.width);
}

enum Storage { kBuffered, kTiledSources, kTiledDestination };

// Calls body(src, src2, dst) for every input of the sweep.
void forEachRun(const Sweep& sweep,
                const std::function<void(Picture&, Picture&, Picture&)>& body) {
    std::uint32_t seed = 1;
    for (const Shape& shape : shapesOf(sweep)) {
        Shape dstShape = shape;
        if (sweep.dstChannels) dstShape.channels = sweep.dstChannels;
        if (sweep.dstDepth) dstShape.depth = sweep.dstDepth;
        for (int r = 0; r < static_cast<int>(std::size(kRois)); ++r) {
            const int align = r % 2 ? 8 : 4;
            for (int storage : {kBuffered, kTiledSources, kTiledDestination}) {
                if (storage != kBuffered && !sweep.tiled) continue;
                Picture src(shape, align, storage == kTiledSources, seed++);
                Picture src2(shape, align, storage == kTiledSources, seed++);
                Picture dst(dstShape, align, storage == kTiledDestination, seed++);
                place(src.get(), kRois[r][0]);
                place(src2.get(), kRois[r][0]);
                place(dst.get(), kRois[r][1]);
                body(src, src2, dst);
            }
        }
    }
}

// ---- the cases ---------------------------------------------------------------

using Apply = void (*)(VskImage* src, VskImage* src2, VskImage* dst);
using Custom = void (*)(Fnv1a& h);

struct GoldenCase {
    const char* name;
    std::uint64_t hash;       // expected; 0 while a row is new
    Apply apply = nullptr;    // an operation run over the sweep, or
    Sweep sweep = {};
    Custom custom = nullptr;  // a case that hashes what it computes itself
};

std::uint64_t runCase(const GoldenCase& c) {
    Fnv1a h;
    if (c.custom) {
        c.custom(h);
        return h.value();
    }
    ErrorCapture capture;
    forEachRun(c.sweep, [&](Picture& src, Picture& src2, Picture& dst) {
        capture.clear();
        c.apply(src.get(), src2.get(), dst.get());
        hashReports(h, capture.reports());
        for (const Picture* p : {&src, &src2, &dst}) {
            p->hash(h);
            if (c.sweep.names) {
                h.bytes(p->get()->colorModel, 4);
                h.bytes(p->get()->channelSeq, 4);
            }
        }
    });
    return h.value();
}

// Header creation and the row layout over valid and invalid fields, and the
// clipped ROI rectangle of the images it makes.
void hashRecords(Fnv1a& h) {
    const unsigned depths[] = {VSK_1U, VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S, 7u, 0x80000001u};
    const Roi rois[] = {{true, 0, 2, 1, 3, 4}, {true, 2, -3, -1, 9, 30},
                        {true, 1, 40, 0, 2, 2}, {true, 0, 1, 2, -5, 3}};
    for (int n : {0, 1, 2, 3, 4})
        for (unsigned depth : depths)
            for (int order : {0, 1, 2})
                for (int align : {2, 4, 8})
                    for (int width : {-1, 0, 1, 5, 9, 17, 33})
                        for (int height : {0, 3}) {
                            VskImage* image =
                                tvskCreateImageHeader(n, n > 3 ? 4 : 0, depth, "RGBA", "BGRA",
                                                      order, 0, align, height, width, nullptr,
                                                      nullptr, nullptr);
                            h.number(image != nullptr, 1);
                            if (!image) continue;
                            // The record's size differs between 32- and 64-bit platforms.
                            h.number(image->headerSize == static_cast<int>(sizeof(VskImage)), 1);
                            h.number(image->widthStep);
                            h.number(image->dataSize);
                            h.number(vskBadImageHeader(image));
                            tvskAllocateImage(image, -1);
                            for (const Roi& roi : rois) {
                                place(image, roi);
                                char* start = nullptr;
                                int step, channels, rows, cols, planeSize;
                                vskRoiRect(image, &start, &step, &channels, &rows, &cols,
                                           &planeSize);
                                for (int v : {step, channels, rows, cols, planeSize}) h.number(v);
                                h.number(start ? start - image->imageData : -1);
                            }
                            tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI);
                        }
    // The 32-bit row arithmetic wraps alike everywhere.
    for (int width : {0x1FFFFFFF, 0x20000001, 0x7FFFFFFF})
        for (unsigned depth : {VSK_1U, VSK_16U, VSK_32S})
            for (int order : {0, 1}) h.number(vskComputeWidthStep(order, depth, 8, 3, width));
}

// The allocation fill: every byte of the buffer, row padding included.
void hashAllocationFill(Fnv1a& h) {
    const int fills[] = {0, 1, 2, 3, 255, 263, -2, 0x12345678, -32768, 0x7FFFFFFF};
    for (const Shape& s : shapesOf({}))
        for (int align : {4, 8})
            for (int fill : fills) {
                ImagePtr image = makeImage(s.channels, s.depth, s.order, 3, 7, fill, align);
                h.number(image->dataSize);
                const std::vector<std::uint8_t> bytes = bytesOf(image.get());
                h.bytes(bytes.data(), bytes.size());
            }
}

// The rectangle fetch from buffered and tiled sources, with every border mode
// on every side, over rectangles inside, across and around the image.
void hashGetRect(Fnv1a& h) {
    struct Borders {
        int modes[4], values[4];
    };
    const Borders borders[] = {
        {{0, 0, 0, 0}, {0x5A5A1234, -7, 129, 0x00018001}},
        {{1, 1, 1, 1}, {0, 0, 0, 0}},
        {{2, 2, 2, 2}, {0, 0, 0, 0}},
        {{3, 3, 3, 3}, {0, 0, 0, 0}},
        {{1, 2, 3, 0}, {9, 9, 9, 0x7F}},
        {{7, 4, 6, 5}, {3, 3, 3, 3}},  // only the low 2 bits count
    };
    struct Rect {
        int x, y, width, height;
    };
    const Rect rects[] = {
        {3, 2, 9, 7},
        {-5, -3, 12, 9},
        {kWidth - 4, kHeight - 3, 11, 8},
        {-7, -6, kWidth + 14, kHeight + 12},
        {-1, -1, 1, 1},
        {-kWidth - 2, 5, 3 * kWidth, 2},
    };
    std::uint32_t seed = 1000;
    for (const Shape& s : shapesOf({}))
        for (bool tiled : {false, true}) {
            Picture source(s, tiled ? 8 : 4, tiled, seed++);
            VskImage* image = source.get();
            for (const Borders& b : borders) {
                for (int side = 0; side < 4; ++side)
                    vskSetBorderMode(image, b.modes[side], 1 << side, b.values[side]);
                for (const Rect& r : rects) {
                    int step = -1;
                    void* p = vskGetRect(image, r.x, r.y, r.width, r.height, &step);
                    h.number(p != nullptr, 1);
                    if (!p) continue;
                    h.number(step);
                    // The fetched buffer, described as an image of the rectangle's size.
                    VskImage view = *image;
                    view.width = r.width;
                    view.height = r.height;
                    view.imageData = static_cast<char*>(p);
                    view.tileInfo = nullptr;
                    view.roi = nullptr;
                    hashSamples(h, &view, r.width, r.height,
                                [&view](int x, int y, int c) { return vsktest::get(&view, x, y, c); });
                    vskFreeAligned(p);
                }
            }
        }
}

// The standard per-image checks and the compatibility check that every
// operation runs first, over the inputs of an operation sweep.
void imageChecks(VskImage* src, VskImage* src2, VskImage* dst) {
    const vsk::Site site{"vskGolden", "golden"};
    vsk::failsImageChecks(src, "srcImage", site, 1);
    vsk::failsImageChecks(src2, "srcImageB", site, 2);
    vsk::failsImageChecks(dst, "dstImage", site, 3);
    vskCheckCompatible(src, dst, site.func, site.file, 4);
}

// ---- device-independent bitmaps ----------------------------------------------

// Writes a name into a four-letter header field, padding it with zero bytes.
void setName(char (&field)[4], const char* text) {
    for (char& c : field) c = *text ? *text++ : '\0';
}
void setNames(VskImage* image, const char* model, const char* seq) {
    setName(image->colorModel, model);
    setName(image->channelSeq, seq);
}

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

void hashImage(Fnv1a& h, const VskImage* image) {
    for (int v : {image->nChannels, image->alphaChannel, static_cast<int>(image->depth),
                  image->dataOrder, image->origin, image->align, image->height, image->width,
                  image->widthStep, image->dataSize})
        h.number(v);
    h.bytes(image->colorModel, 4);
    h.bytes(image->channelSeq, 4);
    hashSamples(h, image, image->width, image->height,
                [image](int x, int y, int c) { return vsktest::get(image, x, y, c); });
}

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

// ---- the table -----------------------------------------------------------------

// Operations with their arguments fixed, for the rows below.
// Compositing: the last channel of every image carries its alpha.
void alphaLast(std::initializer_list<VskImage*> images) {
    for (VskImage* i : images) i->alphaChannel = i->nChannels;
}
template <int Op, int Premul, int Divide>
void composite(VskImage* a, VskImage* b, VskImage* d) {
    alphaLast({a, b, d});
    tvskAlphaComposite(a, b, d, Op, nullptr, nullptr, nullptr, Premul, Divide, nullptr);
}
template <int Op, int Premul, int Divide>
void compositeC(VskImage* a, VskImage* b, VskImage* d) {
    tvskAlphaCompositeC(a, b, d, Op, 200, 300, Premul, Divide, nullptr);
}
constexpr Sweep kAlphaSweep{.depths = k8U | k16U, .channels = 1u << 4};
constexpr Sweep kAlphaSweepC{.depths = k8U | k16U, .channels = 1u << 3 | 1u << 4};

template <int Axis>
void mirror(VskImage* s, VskImage*, VskImage* d) {
    tvskMirror(s, d, Axis, nullptr);
}
template <int Axis>
void mirrorInPlace(VskImage* s, VskImage*, VskImage*) {
    tvskMirror(s, s, Axis, nullptr);
}
template <int XU, int XL, int YU, int YL, int Interpolate>
void zoom(VskImage* s, VskImage*, VskImage* d) {
    tvskZoom(s, d, XU, XL, YU, YL, Interpolate, nullptr);
}
template <int XU, int XL, int YU, int YL, int Interpolate>
void decimate(VskImage* s, VskImage*, VskImage* d) {
    tvskDecimate(s, d, XU, XL, YU, YL, Interpolate, nullptr);
}
// A blur whose source has the same border mode on every side.
template <int Rows, int Cols, int AnchorX, int AnchorY, int Border>
void blur(VskImage* s, VskImage*, VskImage* d) {
    vskSetBorderMode(s, Border, 15, 0);
    tvskBlur(s, d, Rows, Cols, AnchorX, AnchorY, nullptr);
}
void colorToGray(VskImage* s, VskImage*, VskImage* d) { tvskColorToGray(s, d, nullptr); }
// Without jitter: it draws from the C library's rand(), which differs
// between runtimes.
template <int Dither, int Levels>
void reduceBits(VskImage* s, VskImage*, VskImage* d) {
    vskReduceBits(s, d, 0, Dither, Levels, nullptr);
}

constexpr unsigned kZoomDepths = k1U | k8U | k16U;
constexpr unsigned kBlurDepths = kEveryDepth & ~k1U;
constexpr unsigned kHueDepths = k8U | k16U | k32S;
constexpr unsigned kColourChannels = 1u << 3 | 1u << 4;
constexpr Sweep kToGray{.depths = kHueDepths, .channels = kColourChannels, .dstChannels = 1};
constexpr Sweep kTo8U{.depths = k16U | k32S, .dstDepth = VSK_8U};
constexpr Sweep kTo16U{.depths = k32S, .dstDepth = VSK_16U};
constexpr Sweep kHue{.depths = kHueDepths, .channels = kColourChannels, .names = true};

Sweep withDstDepth(Sweep sweep, unsigned depth) {
    sweep.dstDepth = depth;
    return sweep;
}

const GoldenCase kCases[] = {
    {"records", 0xff3c2e49749756ae, nullptr, {}, hashRecords},
    {"allocation fill", 0x8e65c599cca5e061, nullptr, {}, hashAllocationFill},
    {"vskGetRect", 0xc4cc85345861ef90, nullptr, {}, hashGetRect},
    {"image checks", 0x4ed4d8a3c5ee8efd, imageChecks},

    // Copy, exchange and fill.
    {"tvskCopy", 0x73f9665a219c3bd4,
     [](VskImage* s, VskImage*, VskImage* d) { tvskCopy(s, d, nullptr); }},
    {"vskExchange", 0x72e4672615586239,
     [](VskImage* s, VskImage*, VskImage* d) { vskExchange(s, d, nullptr); }},
    {"tvskSet 200", 0x73d547c86c106706,
     [](VskImage*, VskImage*, VskImage* d) { tvskSet(d, 200, nullptr); }},
    {"tvskSet -70000", 0xd4de49272d5e8d9e,
     [](VskImage*, VskImage*, VskImage* d) { tvskSet(d, -70000, nullptr); }},

    // Arithmetic and logic: odd and even constants (the 1-bit rules differ).
    {"tvskAddS 77", 0x02683385b8415dbb,
     [](VskImage* s, VskImage*, VskImage* d) { tvskAddS(s, d, 77, nullptr); }},
    {"tvskAddS -100000", 0x6d3ede307db0e2ba,
     [](VskImage* s, VskImage*, VskImage* d) { tvskAddS(s, d, -100000, nullptr); }},
    {"tvskSubtractS 300", 0xa5584e6074dd0425,
     [](VskImage* s, VskImage*, VskImage* d) { tvskSubtractS(s, d, 300, 0, nullptr); }},
    {"tvskSubtractS reversed 300", 0x8034a08c617e087b,
     [](VskImage* s, VskImage*, VskImage* d) { tvskSubtractS(s, d, 300, 1, nullptr); }},
    {"tvskSubtractS reversed 2000000001", 0x4a8b46233d72a534,
     [](VskImage* s, VskImage*, VskImage* d) { tvskSubtractS(s, d, 2000000001, 1, nullptr); }},
    {"tvskAndS", 0x52dc106acc507687,
     [](VskImage* s, VskImage*, VskImage* d) { tvskAndS(s, d, 0xF0F0A5C3u, nullptr); }},
    {"tvskAnd", 0x019f7fc744596295,
     [](VskImage* a, VskImage* b, VskImage* d) { tvskAnd(a, b, d, nullptr); }},

    // Compositing: every operator, straight and premultiplied, with and
    // without division by the result alpha; constant alphas; premultiplying
    // and scaled multiplies.
    {"tvskAlphaComposite over", 0x1b974730834f2c6c, composite<0, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite in", 0x9ac65081bb79d0a8, composite<1, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite out", 0xc43edcf1dac75626, composite<2, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite atop", 0x866948bd7d9ea8a1, composite<3, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite xor", 0x4539ba950d6476e9, composite<4, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite plus", 0xc0173652c2e6989c, composite<5, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite over premultiplied", 0xbdf5e4f4c1ef8afc, composite<0, 1, 0>, kAlphaSweep},
    {"tvskAlphaComposite xor premultiplied", 0x32c1f249a4dbce21, composite<4, 1, 0>, kAlphaSweep},
    {"tvskAlphaComposite over divided", 0x3835ed3db319ead0, composite<0, 0, 1>, kAlphaSweep},
    {"tvskAlphaComposite atop premultiplied divided", 0xa91dd09200b9ed40, composite<3, 1, 1>, kAlphaSweep},
    {"tvskAlphaCompositeC over", 0x35f7021b08e794d7, compositeC<0, 0, 0>, kAlphaSweepC},
    {"tvskAlphaCompositeC plus premultiplied divided", 0x4973f92c90f9273c, compositeC<5, 1, 1>, kAlphaSweepC},
    {"vskPreMultiplyAlpha own alpha", 0x185ca2b672bcce8a,
     [](VskImage* s, VskImage*, VskImage*) {
         alphaLast({s});
         vskPreMultiplyAlpha(s, -1, nullptr);
     },
     kAlphaSweep},
    {"vskPreMultiplyAlpha 77", 0x882bc1726caf5efe, [](VskImage* s, VskImage*, VskImage*) { vskPreMultiplyAlpha(s, 77, nullptr); },
     kAlphaSweepC},
    {"vskMultiplyScale", 0x54c1b1925639daf5, [](VskImage* a, VskImage* b, VskImage* d) { vskMultiplyScale(a, b, d, nullptr); },
     kAlphaSweepC},
    {"vskMultiplySScale 150", 0x060d41fbecfde83d,
     [](VskImage* s, VskImage*, VskImage* d) { vskMultiplySScale(s, d, 150, nullptr); }, kAlphaSweepC},

    // Mirror about each axis, into another image and in place.
    {"tvskMirror axis 0", 0xa453d2e377498679, mirror<0>},
    {"tvskMirror axis 1", 0x2a93b419c8ccef91, mirror<1>},
    {"tvskMirror axis -1", 0xa3dd312acbd4d2db, mirror<-1>},
    {"tvskMirror in place axis 0", 0x27a5217cd8756d5b, mirrorInPlace<0>},
    {"tvskMirror in place axis 1", 0xe502b4b37d6a59b7, mirrorInPlace<1>},
    {"tvskMirror in place axis -1", 0x9a66771e8ca17691, mirrorInPlace<-1>},

    // Zoom: 1-bit sources fall back to nearest neighbour, signed depths are
    // passed over.
    {"tvskZoom nearest", 0xef726a8f8b404e04, zoom<3, 2, 2, 1, VSK_INTER_NN>,
     {.depths = kZoomDepths | k8S}},
    {"tvskZoom linear", 0x9b74d338a6a280e6, zoom<5, 3, 7, 4, VSK_INTER_LINEAR>,
     {.depths = kZoomDepths}},
    {"tvskZoom cubic", 0x22ee52bcf2cb5b9e, zoom<2, 1, 3, 2, VSK_INTER_CUBIC>,
     {.depths = kZoomDepths}},

    // Decimate: integral factors, non-integral ones, and one of each.
    {"tvskDecimate nearest integral", 0xf4cf4fbf896d33d2,
     decimate<1, 2, 1, 3, VSK_INTER_NN>, {.depths = kZoomDepths | k16S}},
    {"tvskDecimate nearest", 0x21a895a48d8b2d37, decimate<2, 3, 3, 4, VSK_INTER_NN>,
     {.depths = kZoomDepths}},
    {"tvskDecimate linear", 0xe6f2b8113514c012, decimate<2, 3, 3, 5, VSK_INTER_LINEAR>,
     {.depths = kZoomDepths}},
    {"tvskDecimate linear across", 0x58ed44b311b3651d,
     decimate<3, 4, 1, 2, VSK_INTER_LINEAR>, {.depths = kZoomDepths}},
    {"tvskDecimate cubic", 0x2c15f6c8b380d3fa, decimate<3, 4, 2, 3, VSK_INTER_CUBIC>,
     {.depths = kZoomDepths}},
    {"tvskDecimate cubic down", 0x8bafbd927b0f3903,
     decimate<1, 3, 3, 5, VSK_INTER_CUBIC>, {.depths = kZoomDepths}},

    // Blur: box sizes, anchors inside and outside the box, each border mode,
    // a 1 x 1 box and an empty one.
    {"tvskBlur 3x3 centred", 0xa6a828b63f1e55bc, blur<3, 3, 1, 1, VSK_BORDER_CONSTANT>,
     {.depths = kBlurDepths}},
    {"tvskBlur 5x5 replicate", 0x6681224271093cfb,
     blur<5, 5, 0, 0, VSK_BORDER_REPLICATE>, {.depths = kBlurDepths}},
    {"tvskBlur 1x4 reflect", 0x914c77f18d143665, blur<1, 4, 3, 0, VSK_BORDER_REFLECT>,
     {.depths = kBlurDepths}},
    {"tvskBlur 4x2 wrap, anchor outside", 0x4af664c51799a637,
     blur<4, 2, 2, 5, VSK_BORDER_WRAP>, {.depths = kBlurDepths}},
    {"tvskBlur 2x3 constant, 1x1, empty", 0xb65a2c8397f7dc3a,
     [](VskImage* s, VskImage*, VskImage* d) {
         vskSetBorderMode(s, VSK_BORDER_CONSTANT, 15, 99);
         tvskBlur(s, d, 2, 3, 1, 0, nullptr);
         tvskBlur(d, s, 1, 1, 0, 1, nullptr);
         tvskBlur(s, s, 0, 3, 0, 0, nullptr);
     },
     {.depths = kBlurDepths}},

    // Colour and grey.
    {"tvskColorToGray to 8U", 0x8f40ead1074c09c3, colorToGray,
     withDstDepth(kToGray, VSK_8U)},
    {"tvskColorToGray to 16U", 0xbfa2448570e29970, colorToGray,
     withDstDepth(kToGray, VSK_16U)},
    {"tvskColorToGray to 1U, red first", 0xf46eaa5e02f2bc28,
     [](VskImage* s, VskImage* s2, VskImage* d) {
         setName(s->channelSeq, "RGB");
         colorToGray(s, s2, d);
     },
     withDstDepth(kToGray, VSK_1U)},
    {"tvskGrayToColor default fractions", 0xc73d3ab77806df1e,
     [](VskImage* s, VskImage*, VskImage* d) { tvskGrayToColor(s, d, 0, 0, 0, nullptr); },
     {.depths = kHueDepths, .channels = 1u << 1, .dstChannels = 3}},
    {"tvskGrayToColor given fractions", 0xafa751656fa5f231,
     [](VskImage* s, VskImage*, VskImage* d) {
         tvskGrayToColor(s, d, 0.3f, 0.59f, 0.11f, nullptr);
     },
     {.depths = kHueDepths, .channels = 1u << 1, .dstChannels = 4}},
    {"tvskGrayToColor from 1U", 0x7702bb1391f70a73,
     [](VskImage* s, VskImage*, VskImage* d) {
         tvskGrayToColor(s, d, 0.75f, 0.5f, 0.25f, nullptr);
     },
     {.depths = k1U, .channels = 1u << 1, .dstChannels = 3, .dstDepth = VSK_8U}},

    // Bit reduction, plain and with each dither (levels beyond the depth
    // and below 0 are clamped).
    {"vskReduceBits to 16U", 0x0f25fbe94c67f0dd, reduceBits<1, 0>, kTo16U},
    {"vskReduceBits to 8U", 0x92124b16d93e2753, reduceBits<1, 0>, kTo8U},
    {"vskReduceBits to 1U", 0xccf88c4273facb47, reduceBits<1, 0>,
     {.depths = k8U, .channels = 1u << 1 | 1u << 3, .dstChannels = 1, .dstDepth = VSK_1U}},
    {"vskReduceBits to 8U Floyd-Steinberg", 0xb226e386e5412972,
     reduceBits<2, 2>, kTo8U},
    {"vskReduceBits to 8U Jarvis-Judice-Ninke", 0xccfa4645a4759d52,
     reduceBits<4, 3>, kTo8U},
    {"vskReduceBits to 8U Stucki", 0xeda0d3b49f6c94d7, reduceBits<8, 1>, kTo8U},
    {"vskReduceBits to 8U ordered", 0x490f177e4395b41e, reduceBits<16, 20>, kTo8U},
    {"vskReduceBits to 16U Floyd-Steinberg", 0x6a86e16cebab7e91,
     reduceBits<2, 5>, kTo16U},
    {"vskReduceBits to 16U Jarvis-Judice-Ninke", 0x06fca6d1b85bf1e5,
     reduceBits<4, -3>, kTo16U},
    {"vskReduceBits to 16U Stucki", 0x0a21acc872cd7792, reduceBits<8, 7>, kTo16U},
    {"vskReduceBits to 16U ordered", 0x0efed888be2543e9, reduceBits<16, 2>,
     kTo16U},

    // HSV and HLS, both ways; the conversions rename the destination.
    {"vskRGB2HSV", 0x1c6da227e72e29e4,
     [](VskImage* s, VskImage*, VskImage* d) { vskRGB2HSV(s, d, nullptr); }, kHue},
    {"vskHSV2RGB", 0xcdc4eaf3d7075f1b,
     [](VskImage* s, VskImage*, VskImage* d) {
         setNames(s, "HSV", "HSVA");
         vskHSV2RGB(s, d, nullptr);
     },
     kHue},
    {"vskRGB2HLS red first", 0x500ab1d2b9959cf9,
     [](VskImage* s, VskImage*, VskImage* d) {
         setName(s->channelSeq, "RGBA");
         vskRGB2HLS(s, d, nullptr);
     },
     kHue},
    {"vskHLS2RGB", 0xe8a4b819ec6dfff5,
     [](VskImage* s, VskImage*, VskImage* d) {
         setNames(s, "HLS", "HLSA");
         vskHLS2RGB(s, d, nullptr);
     },
     kHue},

    // Device-independent bitmaps.
    {"tvskTranslateDIB", 0xead71ac86f657fdd, nullptr, {}, hashTranslateDib},
    {"tvskConvertFromDIB", 0xe55f42183adff365, nullptr, {}, hashConvertFromDib},
    {"tvskConvertToDIB", 0xdfe2bc7c26f9d9ba, nullptr, {}, hashConvertToDib},
};

void PrintTo(const GoldenCase& c, std::ostream* os) { *os << c.name; }

std::string testName(const testing::TestParamInfo<GoldenCase>& info) {
    std::string name;
    for (const char* p = info.param.name; *p; ++p)
        name += std::isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
    return name;
}

class Golden : public testing::TestWithParam<GoldenCase> {};

}  // namespace

TEST_P(Golden, SameResultsOnEveryPlatform) {
    const GoldenCase& c = GetParam();
    const std::uint64_t actual = runCase(c);
    if (std::getenv("VSK_GOLDEN_PRINT"))
        std::printf("golden \"%s\" 0x%016" PRIx64 "\n", c.name, actual);
    EXPECT_EQ(actual, c.hash) << "case \"" << c.name << "\" hashes to 0x" << std::hex << actual;
}

INSTANTIATE_TEST_SUITE_P(Cases, Golden, testing::ValuesIn(kCases), testName);
