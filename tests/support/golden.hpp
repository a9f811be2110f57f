// Golden results: the same calls on the same seeded inputs give bit-identical
// results on every platform the library is built for (Linux x86-64, Linux
// i386, Windows x86-64 under Wine, the sanitizer build) and on every kernel
// path (VSK_SIMD=scalar and the processor's best). Each case reduces all it
// produced to one 64-bit FNV-1a hash, kept in its area's table
// (tests/golden_*_test.cpp).
//
// What a case hashes. An operation row runs over every input of its Sweep:
// each source shape (depth, channel count, pixel or plane order), five ROI
// placements (none; inside, with different offsets in source and destination;
// at the edges; a channel of interest; reaching past the right and bottom
// edges) and three storages (all buffered; tiled sources; tiled destination),
// with fresh seeded random contents for every run. Per run it hashes the
// reports (status, name, condition text, file, line), the final status, then
// every visible sample of the source, the second source and the destination,
// row by row, pixel by pixel, channel by channel, each value as its depth's
// bytes little-endian (1-bit: one byte 0 or 1), and where the sweep asks,
// each header's colorModel and channelSeq. Row padding and tile parts outside
// the image are never hashed: operations may leave them undefined. Images are
// 21 x 13 pixels unless the sweep names another size: wide sweeps (rows of
// several vector widths, an odd number of pixels) reach the body and the
// tail of every vector kernel, and the inside ROI starts at odd offsets.
//
// Adding an operation: append one row to its area's table with hash 0, the
// operation applied to (src, src2, dst) as a function or captureless lambda,
// and the Sweep of the inputs it serves: source depths and channel counts
// (the defaults are every depth, 1, 3 and 4 channels, both orders, tiled
// images included), the destination's channel count and depth where they
// differ from the source's, and whether the colour names of the headers are
// results too. For example
//   {"tvskAddS 77", 0, [](VskImage* s, VskImage*, VskImage* d) { tvskAddS(s, d, 77, nullptr); }},
//   {"tvskColorToGray to 8U", 0, colorToGray, withDstDepth(kToGray, VSK_8U)},
// Calls that take other inputs (bitmaps) get a custom case that hashes what
// it computes itself. Once the operation's own tests pass, print the actual
// hashes with
//   VSK_GOLDEN_PRINT=1 ./build/tests/vsk_tests --gtest_filter='*Golden*'
// and paste the one for the new row. Run the asan, m32 and mingw64 presets
// and VSK_SIMD=scalar too: all must agree. A hash changes only when some
// result changes, so regenerate it only for a deliberate change of results
// and say why in the commit. Calls whose results depend on the C runtime
// (rand(), which the jitter uses) differ between Linux and Windows: keep them
// out of these tables.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/vsktest.hpp"

namespace golden {

class Fnv1a {
public:
    void bytes(const void* data, std::size_t n);
    // `size` bytes of v, least significant first, whatever the host.
    void number(std::int64_t v, int size = 4);
    void text(const std::string& s);
    std::uint64_t value() const { return h_; }

private:
    std::uint64_t h_ = 0xcbf29ce484222325ull;
};

// Every visible sample of an image of width x height pixels, read by `at`.
void hashSamples(Fnv1a& h, const VskImage* image, int width, int height,
                 const std::function<std::int64_t(int x, int y, int c)>& at);
// The reports and then the final status.
void hashReports(Fnv1a& h, const std::vector<vsktest::Report>& reports);
// Fields, names and every sample of a buffered image.
void hashImage(Fnv1a& h, const VskImage* image);

// ---- the inputs ----------------------------------------------------------------

enum : unsigned { k1U = 1u << 0, k8U = 1u << 1, k8S = 1u << 2, k16U = 1u << 3, k16S = 1u << 4,
                  k32S = 1u << 5 };
constexpr unsigned kEveryDepth = k1U | k8U | k8S | k16U | k16S | k32S;
constexpr unsigned kDepthCodes[] = {VSK_1U, VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S};
constexpr int kWidth = 21, kHeight = 13, kTile = 8;
// A wide row: several vectors of every width plus an odd tail.
constexpr int kWideWidth = 77;

// The inputs an operation serves.
struct Sweep {
    unsigned depths = kEveryDepth;                       // k1U ... k32S
    unsigned channels = 1u << 1 | 1u << 3 | 1u << 4;     // bit n: n-channel sources
    int dstChannels = 0;                                 // 0: as many as the source
    unsigned dstDepth = 0;                               // 0: the source's depth
    bool planeOrder = true;                              // plane order as well as pixel order
    bool tiled = true;                                   // tiled sources and destinations too
    bool names = false;                                  // hash colorModel and channelSeq too
    int width = kWidth, height = kHeight;                // image size
};

constexpr Sweep wide(Sweep sweep) {
    sweep.width = kWideWidth;
    return sweep;
}
constexpr Sweep withDstDepth(Sweep sweep, unsigned depth) {
    sweep.dstDepth = depth;
    return sweep;
}

struct Shape {
    unsigned depth;
    int channels;
    int order;
};

// Every shape of a sweep; 1-bit images have one channel.
std::vector<Shape> shapesOf(const Sweep& sweep);

// One image of a run, buffered or tiled (8 x 8 tiles), with seeded random samples.
class Picture {
public:
    Picture(const Shape& s, int align, bool tiled, std::uint32_t seed, int width = kWidth,
            int height = kHeight);
    VskImage* get() const { return tiled_ ? tiled_->get() : plain_.get(); }
    void hash(Fnv1a& h) const;

private:
    int width_, height_;
    vsktest::ImagePtr plain_;
    std::unique_ptr<vsktest::TiledImage> tiled_;
};

// A ROI placement; coi -1 is the last channel. Height before width as in the records.
struct Roi {
    bool set;
    int coi, x, y, height, width;
};
void place(VskImage* image, const Roi& roi);

// Writes a name into a four-letter header field, padding it with zero bytes.
void setName(char (&field)[4], const char* text);
void setNames(VskImage* image, const char* model, const char* seq);

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

std::uint64_t runCase(const GoldenCase& c);

void PrintTo(const GoldenCase& c, std::ostream* os);
std::string testName(const testing::TestParamInfo<GoldenCase>& info);

class Golden : public testing::TestWithParam<GoldenCase> {};

}  // namespace golden

// Instantiates the golden test over one area's table.
#define VSK_GOLDEN_CASES(area, table) \
    INSTANTIATE_TEST_SUITE_P(area, Golden, testing::ValuesIn(table), testName)
