// The golden test: each area's table of cases (tests/golden_*_test.cpp)
// instantiates it; tests/support/golden.hpp says what a case hashes and how
// to add one. This file holds the cases of the records, the rectangle fetch
// and the standard checks.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "core.hpp"
#include "support/golden.hpp"

using namespace golden;
using namespace vsktest;

namespace {

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

const GoldenCase kCoreCases[] = {
    {"records", 0xff3c2e49749756ae, nullptr, {}, hashRecords},
    {"allocation fill", 0x8e65c599cca5e061, nullptr, {}, hashAllocationFill},
    {"vskGetRect", 0xc4cc85345861ef90, nullptr, {}, hashGetRect},
    {"image checks", 0x4ed4d8a3c5ee8efd, imageChecks},
};

}  // namespace

namespace golden {

TEST_P(Golden, SameResultsOnEveryPlatform) {
    const GoldenCase& c = GetParam();
    const std::uint64_t actual = runCase(c);
    if (std::getenv("VSK_GOLDEN_PRINT"))
        std::printf("golden \"%s\" 0x%016" PRIx64 "\n", c.name, actual);
    EXPECT_EQ(actual, c.hash) << "case \"" << c.name << "\" hashes to 0x" << std::hex << actual;
}

VSK_GOLDEN_CASES(Core, kCoreCases);

}  // namespace golden
