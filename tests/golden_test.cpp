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
// little-endian (1-bit: one byte 0 or 1). Row padding and tile parts outside
// the image are never hashed: operations may leave them undefined.
//
// Adding an operation: append one row to kCases with hash 0, the operation
// applied to (src, src2, dst) as a captureless lambda, and the Sweep of the
// inputs it serves (the defaults are every depth, 1, 3 and 4 channels, both
// orders, tiled images included), for example
//   {"tvskAddS", 0, [](VskImage* s, VskImage*, VskImage* d) { tvskAddS(s, d, 77, nullptr); }},
//   {"tvskAnd", 0, [](VskImage* a, VskImage* b, VskImage* d) { tvskAnd(a, b, d, nullptr); }},
//   {"tvskAlphaCompositeC", 0, composite, {.depths = k8U | k16U, .channels = 1u << 4}},
// then, once the operation's own tests pass, print the actual hashes with
//   VSK_GOLDEN_PRINT=1 ./build/tests/vsk_tests --gtest_filter='*Golden*'
// and paste the one for the new row. Run the m32 and mingw64 presets too: all
// targets must agree. A hash changes only when some result changes, so
// regenerate it only for a deliberate change of results and say why in the
// commit. Calls whose results depend on the C runtime (rand(), which the
// jitter uses) differ between Linux and Windows: keep them out of this table.
#include <gtest/gtest.h>

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <functional>
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
    bool planeOrder = true;                              // plane order as well as pixel order
    bool tiled = true;                                   // tiled sources and destinations too
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
        src.hash(h);
        src2.hash(h);
        dst.hash(h);
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

const GoldenCase kCases[] = {
    {"records", 0xff3c2e49749756ae, nullptr, {}, hashRecords},
    {"allocation fill", 0x8e65c599cca5e061, nullptr, {}, hashAllocationFill},
    {"vskGetRect", 0xc4cc85345861ef90, nullptr, {}, hashGetRect},
    {"image checks", 0x4ed4d8a3c5ee8efd, imageChecks},
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
