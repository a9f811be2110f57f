// Decimate: argument checks, sampling positions, sizes and the fixed-point
// formulas at chosen pixels, 1-bit offsets, tiled sources and destinations,
// dstTile, and the row kernels of every instruction set against the plain ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "../geometry/decim_rows.hpp"
#include "../geometry/decimate.hpp"
#include "support/samples.hpp"

using namespace vsktest;

namespace {

struct Factors {
    int xU, xL, yU, yL;
};

}  // namespace

TEST(Decimate, ArgumentChecksReportInOrder) {
    struct Case {
        unsigned srcDepth;
        int dstOrigin, dstOrder, interp;
        Factors f;
        bool badSrc, badDst, stickyStatus;
        std::vector<int> lines;
    } cases[] = {
        {VSK_8U, 0, 0, 0, {1, 2, 1, 2}, true, true, false, {91}},
        {VSK_8U, 0, 0, 0, {1, 2, 1, 2}, false, true, false, {92}},
        {VSK_16U, 1, 1, 3, {0, -1, 0, 0}, false, false, false, {93, 94, 95, 101, 106, 107, 108, 109, 111}},
        {VSK_8U, 0, 0, 1, {3, 2, 5, 4}, false, false, false, {111, 112}},
        {VSK_8U, 0, 0, 1, {1, 2, 1, 2}, false, false, true, {}},  // an earlier failure still stands
        // Signed depths pass the checks and are refused after them.
        {VSK_8S, 0, 0, 1, {1, 2, 1, 2}, false, false, false, {375}},
        {VSK_16S, 0, 0, 1, {1, 2, 1, 2}, false, false, false, {375}},
        {VSK_32S, 0, 0, 1, {1, 2, 1, 2}, false, false, false, {375}},
    };
    const std::map<int, std::string> texts = {
        {91, paddedLine("Image header is null")}, {92, paddedLine("ROI size is invalid")},
        {93, "srcImage->depth != dstImage->depth"}, {94, "srcImage->origin != dstImage->origin"},
        {95, "srcImage->dataOrder != dstImage->dataOrder"},
        {101, "interpolate != VSK_INTER_NN, VSK_INTER_LINEAR or VSK_INTER_CUBIC"},
        {106, "xU <= 0"}, {107, "xL <= 0"}, {108, "yU <= 0"}, {109, "yL <= 0"},
        {111, "xU > xL"}, {112, "yU > yL"},
        {375, "srcImage->depth is wrong"}};
    for (const Case& c : cases) {
        ErrorCapture capture;
        ImagePtr src = makeImage(1, c.srcDepth, 0, 8, 8, 7);
        const unsigned dstDepth = c.srcDepth & 0x80000000u ? c.srcDepth : VSK_8U;
        ImagePtr dst = makeImage(1, dstDepth, c.dstOrder, 8, 8, 1);
        dst->origin = c.dstOrigin;
        if (c.badDst) setRoi(dst.get(), 0, 0, 0, 0, 4);
        if (c.stickyStatus) vskSetErrStatus(-5);
        const auto before = bytesOf(dst.get());
        tvskDecimate(c.badSrc ? nullptr : src.get(), dst.get(), c.f.xU, c.f.xL, c.f.yU, c.f.yL, c.interp, nullptr);
        std::string want;
        for (int line : c.lines) want += fault("vskDecimate", texts.at(line), "vskdecim", line);
        EXPECT_EQ(reportsOf(capture), want);
        EXPECT_EQ(bytesOf(dst.get()), before);
    }
}

TEST(Decimate, SamplingPositions) {
    // Source pixel (x, y) holds 10 x + 100 y.
    struct Case {
        int w, h, interp;
        Factors f;
        std::vector<int> row0, col0;  // first destination row, first destination column
    } cases[] = {
        {5, 5, VSK_INTER_CUBIC, {1, 1, 1, 1}, {0, 10, 20, 30, 40}, {0, 100, 200, 300, 400}},  // a copy
        {8, 8, VSK_INTER_LINEAR, {1, 2, 1, 2}, {0, 20, 40, 60}, {0, 200, 400, 600}},  // integral: 0, 2, 4, 6
        {12, 2, VSK_INTER_NN, {2, 3, 1, 1}, {0, 20, 30, 50, 60, 80, 90, 110}, {0, 100}},  // 128, 512, 896 ...
        // Rows 0, 2, 4 picked; columns at 0, 1.5 - 1/256, 3 - 1/256 ...
        {12, 6, VSK_INTER_LINEAR, {2, 3, 1, 2}, {0, 15, 30, 45, 60, 75, 90, 105}, {0, 200, 400}},
        // Cubic on the ramp: 6 p1 + (60 f >> 8), over 6, truncated; one column
        // less where the end reaches the last pixel (taken off by stepY).
        {12, 6, VSK_INTER_CUBIC, {2, 3, 1, 2}, {0, 14, 29, 44, 59, 74, 89}, {0, 200, 400}},
        {12, 3, VSK_INTER_CUBIC, {2, 3, 2, 3}, {0, 20, 30, 50, 60, 80, 90, 110}, {0, 200}},  // 3 rows: NN
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " interp " << c.interp);
        ImagePtr src = makeImage(1, VSK_16U, 0, c.h, c.w);
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x) put(src.get(), x, y, 0, 10 * x + 100 * y);
        ImagePtr dst = makeImage(1, VSK_16U, 0, 16, 16, 65535);
        tvskDecimate(src.get(), dst.get(), c.f.xU, c.f.xL, c.f.yU, c.f.yL, c.interp, nullptr);
        std::vector<int> row0, col0;
        for (int x = 0; x < 16 && get(dst.get(), x, 0) != 65535; ++x) row0.push_back(static_cast<int>(get(dst.get(), x, 0)));
        for (int y = 0; y < 16 && get(dst.get(), 0, y) != 65535; ++y) col0.push_back(static_cast<int>(get(dst.get(), 0, y)));
        EXPECT_EQ(row0, c.row0);
        EXPECT_EQ(col0, c.col0);
    }
}

TEST(Decimate, SizesCutToTheRoiAndTheCubicEndTrim) {
    struct Case {
        int interp;
        Factors f;
        int roiW, roiH, cols, rows;
    } cases[] = {
        {VSK_INTER_LINEAR, {1, 2, 1, 2}, 4, 3, 4, 3},  // 6 x 6 would fit: cut to the ROI
        {VSK_INTER_CUBIC, {2, 3, 1, 1}, 20, 20, 8, 12},  // end trimmed by stepY 256: still 8 columns
        {VSK_INTER_CUBIC, {2, 3, 1, 2}, 20, 20, 7, 6},   // by stepY 512
        {VSK_INTER_CUBIC, {2, 3, 1, 3}, 20, 20, 6, 4},   // by stepY 768
        {VSK_INTER_CUBIC, {1, 1, 2, 3}, 20, 20, 12, 7},  // rows by stepY
        {VSK_INTER_LINEAR, {2, 3, 2, 3}, 20, 20, 8, 8},  // no trim for linear
    };
    for (const Case& c : cases) {
        ImagePtr src = makeImage(1, VSK_16U, 0, 12, 12, 1000), dst = makeImage(1, VSK_16U, 0, 20, 20, 65535);
        setRoi(dst.get(), 0, 0, 0, c.roiH, c.roiW);
        tvskDecimate(src.get(), dst.get(), c.f.xU, c.f.xL, c.f.yU, c.f.yL, c.interp, nullptr);
        int cols = 0, rows = 0;
        while (cols < 20 && get(dst.get(), cols, 0) != 65535) ++cols;
        while (rows < 20 && get(dst.get(), 0, rows) != 65535) ++rows;
        EXPECT_EQ(std::make_pair(cols, rows), std::make_pair(c.cols, c.rows)) << c.f.xU << "/" << c.f.xL << " " << c.f.yU << "/" << c.f.yL;
    }
}

// Source pixel (x, y) holds (37 x^2 + 11 y^2 + 3 x y + 5) modulo the depth's
// range; the expected values are the fixed-point formulas worked out at the
// destination pixels (0..3, 0..2): two-axis, horizontal-only and vertical-only
// variants, nominal position 0 kept exact.
TEST(Decimate, FixedPointFormulasAtChosenPixels) {
    constexpr int L = VSK_INTER_LINEAR, C = VSK_INTER_CUBIC;
    struct Case {
        int bits, interp;
        Factors f;
        int want[12];
    } cases[] = {
        {8, L, {2, 3, 3, 5}, {5, 97, 82, 123, 38, 137, 130, 178, 129, 109, 152, 123}},
        {8, L, {2, 3, 1, 2}, {5, 97, 82, 123, 49, 150, 144, 194, 181, 164, 38, 97}},
        {8, L, {1, 2, 2, 3}, {5, 153, 85, 57, 32, 189, 130, 111, 104, 15, 220, 210}},
        {8, C, {3, 4, 2, 3}, {5, 82, 110, 84, 29, 119, 153, 127, 103, 100, 136, 220}},
        {8, C, {5, 7, 1, 1}, {5, 91, 99, 101, 16, 106, 118, 125, 49, 143, 160, 171}},
        {8, C, {1, 2, 3, 5}, {5, 153, 85, 57, 35, 209, 135, 117, 139, 22, 166, 158}},
        {16, L, {2, 3, 3, 5}, {5, 97, 337, 762, 38, 137, 385, 817, 129, 236, 491, 931}},
        {16, L, {2, 3, 1, 2}, {5, 97, 337, 762, 49, 150, 399, 833, 181, 291, 549, 992}},
        {16, L, {1, 2, 2, 3}, {5, 153, 597, 1337, 32, 189, 642, 1391, 104, 270, 732, 1490}},
        {16, C, {3, 4, 2, 3}, {5, 70, 266, 594, 29, 100, 303, 637, 103, 180, 389, 729}},
        {16, C, {5, 7, 1, 1}, {5, 76, 293, 654, 16, 92, 312, 678, 49, 129, 354, 724}},
        {16, C, {1, 2, 3, 5}, {5, 153, 597, 1337, 35, 193, 647, 1397, 126, 294, 758, 1518}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.bits << " bits, interp " << c.interp << " " << c.f.xU
                                        << "/" << c.f.xL << " " << c.f.yU << "/" << c.f.yL);
        const unsigned depth = c.bits == 8 ? VSK_8U : VSK_16U;
        ImagePtr src = makeImage(1, depth, 0, 12, 12), dst = makeImage(1, depth, 0, 8, 8);
        for (int y = 0; y < 12; ++y)
            for (int x = 0; x < 12; ++x)
                put(src.get(), x, y, 0, (37 * x * x + 11 * y * y + 3 * x * y + 5) % (1 << c.bits));
        tvskDecimate(src.get(), dst.get(), c.f.xU, c.f.xL, c.f.yU, c.f.yL, c.interp, nullptr);
        for (int k = 0; k < 12; ++k)
            EXPECT_EQ(get(dst.get(), k % 4, k / 4), c.want[k]) << k % 4 << "," << k / 4;
    }
}

TEST(Decimate, BitsArePickedIntoAnyBitOffset) {
    // Source bit x is set when x mod 4 is 0 or 1. By 2/3 the bits at block
    // centres, 128 + 384 k in 1/256, are columns 0, 2, 3, 5, 6 ...; they go to
    // destination bits from the ROI's offset on, the others keep their value.
    const int cols[12] = {0, 2, 3, 5, 6, 8, 9, 11, 12, 14, 15, 17};
    for (int offset : {0, 3, 7}) {
        ImagePtr src = makeImage(1, VSK_1U, 0, 4, 24), dst = makeImage(1, VSK_1U, 0, 2, 24, 0xFF);
        for (int x = 0; x < 24; ++x) put(src.get(), x, 0, 0, x % 4 < 2);
        setRoi(dst.get(), 0, offset, 0, 1, 12);
        tvskDecimate(src.get(), dst.get(), 2, 3, 1, 2, VSK_INTER_NN, nullptr);
        for (int x = 0; x < 24; ++x) {
            const bool inside = x >= offset && x < offset + 12;
            EXPECT_EQ(get(dst.get(), x, 0), inside ? cols[x - offset] % 4 < 2 : 1)
                << offset << ": " << x;
        }
    }
}

TEST(Decimate, GrownHeadersStayInTheirBuffers) {
    // Headers grown after allocation over buffers that end at an inaccessible
    // page: nothing past either buffer is touched.
    for (int order = 0; order < 2; ++order)
        for (int interp : {VSK_INTER_NN, VSK_INTER_LINEAR, VSK_INTER_CUBIC}) {
            GuardedImage src(3, VSK_16U, order, 23, 29), dst(3, VSK_16U, order, 9, 11);
            fillRandom(src.get(), 5);
            src.get()->height += 9;
            src.get()->width += 2;
            dst.get()->height += 6;
            tvskDecimate(src.get(), dst.get(), 5, 11, 4, 9, interp, nullptr);
            tvskDecimate(src.get(), dst.get(), 1, 2, 1, 3, interp, nullptr);
            src.get()->height -= 9;
            src.get()->width -= 2;
            dst.get()->height -= 6;
        }
}

TEST(Decimate, TiledImagesMatchThePlainRun) {
    struct Case {
        unsigned depth;
        int n, order, interp;
        Factors f;
        bool tiledSrc, tiledDst;
        bool srcLog, dstLog;  // check the call-back logs
    } cases[] = {
        // Source tiles read row by row, each given back at once; destination tiles likewise.
        {VSK_8U, 1, 0, VSK_INTER_NN, {1, 2, 1, 2}, true, false, true, false},
        {VSK_8U, 3, 0, VSK_INTER_LINEAR, {2, 3, 3, 4}, false, true, false, true},
        // A tiled source keeps the cubic end column that a plain one drops here.
        {VSK_16U, 3, 1, VSK_INTER_CUBIC, {2, 3, 3, 5}, true, true, false, false},
        {VSK_8U, 4, 0, VSK_INTER_CUBIC, {3, 4, 1, 2}, true, false, false, false},
        {VSK_1U, 1, 0, VSK_INTER_NN, {2, 3, 3, 5}, true, true, false, false},
        {VSK_16U, 2, 0, VSK_INTER_LINEAR, {5, 7, 2, 3}, true, true, false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "depth " << c.depth << " interp " << c.interp);
        ImagePtr src = makeImage(c.n, c.depth, c.order, 40, 36), dst = makeImage(c.n, c.depth, c.order, 24, 24);
        fillRandom(src.get(), 11);
        fillRandom(dst.get(), 12);
        setRoi(src.get(), 0, 2, 3, 36, 33);
        setRoi(dst.get(), c.n > 1 ? 2 : 0, 1, 2, 22, 23);
        ImagePtr want = cloneImage(dst.get());
        const auto tsp = tiledCopy(src.get(), 16, 16), tdp = tiledCopy(dst.get(), 8, 8);
        TiledImage &ts = *tsp, &td = *tdp;
        tvskDecimate(src.get(), want.get(), c.f.xU, c.f.xL, c.f.yU, c.f.yL, c.interp, nullptr);
        tvskDecimate(c.tiledSrc ? ts.get() : src.get(), c.tiledDst ? td.get() : dst.get(), c.f.xU,
                     c.f.xL, c.f.yU, c.f.yL, c.interp, nullptr);
        if (c.tiledDst) td.storeTo(dst.get());
        // The plain run ends one column short when a cubic source is tiled: the
        // plain run writes 21 columns from x = 1, the tiled one the 22nd too.
        const bool extra = c.tiledSrc && c.interp == VSK_INTER_CUBIC && c.f.xU == 2;
        int changed = 0;
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 24; ++x)
                for (int ch = 0; ch < c.n; ++ch) {
                    if (extra && x == 22) {
                        changed += get(dst.get(), x, y, ch) != get(want.get(), x, y, ch);
                        continue;
                    }
                    ASSERT_EQ(get(dst.get(), x, y, ch), get(want.get(), x, y, ch))
                        << x << "," << y << "," << ch;
                }
        EXPECT_EQ(changed > 0, extra);
        EXPECT_TRUE(!c.srcLog || describe(ts.log) == walkLog(0, 0, 40, 36, 16, 16, VSK_TILE_READ));
        EXPECT_TRUE(!c.dstLog || describe(td.log) == walkLog(1, 2, 22, 23, 8, 8, VSK_TILE_WRITE));
        EXPECT_EQ(ts.held + td.held, 0);
        EXPECT_EQ(ts.badReleases + td.badReleases, 0);
        EXPECT_EQ(ts.log.size() % 2, 0u);
    }
}

TEST(Decimate, DstTileWritesOnlyThatTile) {
    struct Case {
        int col, row;
        const char* log;
    } cases[] = {{1, 0, "(2,1,0)(4,1,0)"}, {2, 2, "(2,2,2)(4,2,2)"}, {3, 0, ""}, {0, 3, ""}, {-1, 0, ""}};
    for (const Case& c : cases) {
        ImagePtr src = makeImage(1, VSK_8U, 0, 40, 40), full = makeImage(1, VSK_8U, 0, 24, 24, 0);
        fillRandom(src.get(), 3);
        TiledImage td(1, VSK_8U, 0, 24, 24, 8, 8);
        const int tile[2] = {c.col, c.row};
        ErrorCapture capture;
        tvskDecimate(src.get(), td.get(), 3, 5, 3, 5, VSK_INTER_LINEAR, tile);
        tvskDecimate(src.get(), full.get(), 3, 5, 3, 5, VSK_INTER_LINEAR, nullptr);
        EXPECT_EQ(describe(td.log), c.log);
        EXPECT_TRUE(capture.reports().empty());
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 24; ++x) {
                const bool inside = x / 8 == c.col && y / 8 == c.row;
                ASSERT_EQ(td.get(x, y), inside ? get(full.get(), x, y) : 0) << x << "," << y;
            }
    }
}

TEST(Decimate, TileFailures) {
    struct Case {
        bool tiledSrc, tiledDst, refuseSrc;
        int status, line;
        const char* text;
        const char* dstLog;
    } cases[] = {
        {false, true, false, -3, 390, "dstImage->tileInfo->callBack crash", "(2,0,0)(4,0,0)(2,1,0)"},
        {true, false, true, -3, 385, "srcImage->tileInfo->callBack crash", ""},
        // The call ends while the destination tile is still taken.
        {true, true, true, -3, 385, "srcImage->tileInfo->callBack crash", "(2,0,0)(4,0,0)(2,1,0)"},
    };
    for (const Case& c : cases) {
        ErrorCapture capture;
        TiledImage ts(1, VSK_8U, 0, 32, 32, 8, 8), td(1, VSK_8U, 0, 16, 16, 8, 8);
        ImagePtr src = makeImage(1, VSK_8U, 0, 32, 32, 6), dst = makeImage(1, VSK_8U, 0, 16, 16, 0);
        ts.loadFrom(src.get());
        (c.refuseSrc ? ts : td).refuse.insert(c.refuseSrc ? std::make_pair(2, 0) : std::make_pair(1, 0));
        tvskDecimate(c.tiledSrc ? ts.get() : src.get(), c.tiledDst ? td.get() : dst.get(), 1, 2, 1, 2, 0, nullptr);
        EXPECT_EQ(reportsOf(capture), fault("vskDecimate", c.text, "vskdecim", c.line, c.status));
        EXPECT_EQ(describe(td.log), c.dstLog);
        EXPECT_EQ(ts.held, 0);
        EXPECT_EQ(get(dst.get(), 0, 0), 0);  // a plain destination is untouched
    }

    // Rows too long to gather: out of memory before any tile is read.
    ErrorCapture capture;
    TiledImage huge(4, VSK_8U, 0, 8, 8, 8, 8);
    huge.get()->width = 1 << 28;
    ImagePtr dst = makeImage(4, VSK_8U, 0, 4, 4, 0);
    tvskDecimate(huge.get(), dst.get(), 1, 1 << 26, 1, 2, VSK_INTER_NN, nullptr);
    EXPECT_EQ(reportsOf(capture), fault("vskDecimate", "", "vskdecim", 823, -4));
    EXPECT_TRUE(huge.log.empty());
}

// ---- the row kernels of every instruction set ------------------------------------

namespace {

using vsk::decim::Columns;
using vsk::simd::SimdLevel;

// Tables of one row as the driver builds them: destination pixel k samples at
// start + k * step, `taps` pixels from one before (cubic) or the pixel itself,
// clamped to the row; values are pixels times channels, `pitch` elements from
// one pixel to the next.
struct RowTables {
    std::vector<int> off, weight;
    Columns c;
    std::int64_t elements = 0;  // of the source row, up to the last tap
    RowTables(int cols, int nc, int pitch, int taps, int step, int start, int extent) {
        const std::int64_t n = std::int64_t{cols} * nc;
        off.resize(n);
        weight.resize(n * taps);
        for (int k = 0; k < cols; ++k) {
            const int pos = start + k * step, lead = taps == 4 ? 1 : 0;
            const int ix = std::clamp((pos >> 8) - lead, 0, extent - taps);
            int w[4] = {1, 0, 0, 0};
            if (taps > 1) vsk::decim::tapWeights(taps, pos & 255, w);
            for (int c = 0; c < nc; ++c) {
                off[k * nc + c] = ix * pitch + c;
                for (int t = 0; t < taps; ++t) weight[t * n + k * nc + c] = w[t];
            }
        }
        c.off = off.data();
        c.weight = weight.data();
        c.n = n;
        c.taps = taps;
        c.tapStep = pitch;
        for (std::int64_t i = 0; i < n; ++i)
            elements = std::max<std::int64_t>(elements, off[i] + (taps - 1) * pitch + 1);
    }
};

std::vector<std::uint8_t> randomBytes(std::size_t n, std::mt19937& rng) {
    std::vector<std::uint8_t> v(n);
    for (auto& b : v) b = static_cast<std::uint8_t>(rng());
    return v;
}

}  // namespace

// Random rows of odd lengths, every channel count and layout, sampled at odd
// positions: each level's horizontal and vertical kernels, with its vector
// groups, give the plain kernels' values. Source rows are exactly as long as
// the taps reach.
TEST(DecimateRows, EveryLevelMatchesThePlainKernels) {
    const vsk::decim::DecimRows& plain = vsk::decim::decimRowsFor(SimdLevel::Scalar);
    const SimdLevel best = vsk::simd::bestLevel(vsk::simd::cpuFeatures());
    std::mt19937 rng(77);
    std::int64_t vectorGroups = 0;
    for (int level = 1; level <= static_cast<int>(best); ++level) {
        const vsk::decim::DecimRows& rows = vsk::decim::decimRowsFor(static_cast<SimdLevel>(level));
        for (int nc : {1, 3, 4})
            for (int pitch : {nc, nc + 1})
                for (int step : {256, 300, 384, 341, 512, 700})
                    for (int taps : {1, 2, 4}) {
                        const int extent = 97, start = static_cast<int>(rng() % 200);
                        const int cols = std::min(41, (extent * 256 - start) / step);
                        SCOPED_TRACE(testing::Message()
                                     << vsk::simd::levelName(static_cast<SimdLevel>(level))
                                     << " nc " << nc << " pitch " << pitch << " step " << step
                                     << " taps " << taps);
                        RowTables t(cols, nc, pitch, taps, step, start, extent);
                        const auto in = randomBytes(t.elements, rng),
                                   in16 = randomBytes(t.elements * 2, rng);
                        const std::int64_t n = t.c.n;
                        using vsk::decim::GroupKind;
                        auto withGroups = [&](GroupKind kind, int bytes,
                                              std::vector<std::uint8_t>& mem) {
                            Columns c = t.c;
                            const std::int64_t groups = n / 8,
                                               windows = groups * vsk::decim::groupWindows(kind);
                            mem.assign(windows * 4 + groups * vsk::decim::groupBytes(kind) + 1, 0);
                            vsk::decim::buildGroups(kind, bytes, c,
                                                    reinterpret_cast<std::int32_t*>(mem.data()),
                                                    mem.data() + windows * 4);
                            for (std::int64_t g = 0; g < groups; ++g)
                                vectorGroups += c.base[g * (windows / groups)] >= 0;
                            return c;
                        };
                        std::vector<std::uint8_t> mem;
                        if (taps == 1) {
                            std::vector<std::uint8_t> want(n), got(n);
                            plain.pick8(in.data(), t.c, want.data());
                            rows.pick8(in.data(), withGroups(GroupKind::Pick8, 1, mem), got.data());
                            ASSERT_EQ(got, want);
                            std::vector<std::int16_t> wantW(n), gotW(n);
                            plain.pickWide8(in.data(), t.c, wantW.data());
                            rows.pickWide8(in.data(), withGroups(GroupKind::Pick8, 1, mem),
                                           gotW.data());
                            ASSERT_EQ(gotW, wantW);
                            std::vector<std::uint16_t> want16(n), got16(n);
                            plain.pick16(in16.data(), t.c, want16.data());
                            rows.pick16(in16.data(), withGroups(GroupKind::Pick16, 2, mem),
                                        got16.data());
                            ASSERT_EQ(got16, want16);
                            continue;
                        }
                        const auto kind = taps == 2 ? GroupKind::Linear8 : GroupKind::Cubic8;
                        const auto reduce = taps == 2 ? &vsk::decim::DecimRows::linear8
                                                      : &vsk::decim::DecimRows::cubic8;
                        std::vector<std::int16_t> want(n), got(n);
                        (plain.*reduce)(in.data(), t.c, want.data());
                        (rows.*reduce)(in.data(), withGroups(kind, 1, mem), got.data());
                        ASSERT_EQ(got, want);
                    }
        // The vertical pass over rows of horizontal results (or of samples) at
        // every fraction, with the weights the driver gives it.
        for (std::int64_t n : {1, 7, 8, 9, 15, 16, 17, 33, 250}) {
            std::vector<std::int16_t> h[4];
            for (int f = 0; f < 256; f += 5) {
                const bool sums = f % 2 == 0;  // rows of sums, else of samples
                for (auto& r : h) {
                    r.resize(n);
                    for (auto& v : r)
                        v = static_cast<std::int16_t>(sums ? static_cast<int>(rng() % 65281) - 32768
                                                           : static_cast<int>(rng() % 256));
                }
                std::vector<std::uint8_t> want(n), got(n);
                plain.lerp(h[0].data(), h[1].data(), 256 - f, f, sums ? 32768 : 0, sums ? 16 : 8, n,
                           want.data());
                rows.lerp(h[0].data(), h[1].data(), 256 - f, f, sums ? 32768 : 0, sums ? 16 : 8, n,
                          got.data());
                ASSERT_EQ(got, want) << "lerp f " << f << " n " << n;
                int w[4];
                vsk::decim::tapWeights(4, f, w);
                for (auto& r : h)
                    for (auto& v : r)
                        v = static_cast<std::int16_t>(sums ? static_cast<int>(rng() % 1914) - 192
                                                           : static_cast<int>(rng() % 256));
                const std::int16_t* rowsOf[4] = {h[0].data(), h[1].data(), h[2].data(),
                                                 h[3].data()};
                plain.cubic(rowsOf, w, sums ? 36 : 6, n, want.data());
                rows.cubic(rowsOf, w, sums ? 36 : 6, n, got.data());
                ASSERT_EQ(got, want) << "cubic f " << f << " n " << n;
            }
        }
    }
    if (best > SimdLevel::Scalar) {
        EXPECT_GT(vectorGroups, 1000);  // the windows are taken
    }
}

// The vector kernels divide the cubic sums by 6 and 36 with a multiply and a
// shift: every 16-bit value (the sums reach -2587 .. 11760) gives the
// quotient, truncated and clamped to 0 .. 255, of the plain division.
TEST(DecimateRows, VectorQuotientsEqualTheDivisionForEvery16BitValue) {
    const SimdLevel best = vsk::simd::bestLevel(vsk::simd::cpuFeatures());
    std::vector<std::int16_t> all(65536);
    for (int v = 0; v < 65536; ++v) all[v] = static_cast<std::int16_t>(v - 32768);
    const std::int16_t* one[4] = {all.data(), all.data(), all.data(), all.data()};
    const int unit[4] = {256, 0, 0, 0};  // the sum is the value itself
    for (int level = 1; level <= static_cast<int>(best); ++level)
        for (int divisor : {6, 36}) {
            std::vector<std::uint8_t> got(all.size());
            vsk::decim::decimRowsFor(static_cast<SimdLevel>(level))
                .cubic(one, unit, divisor, 65536, got.data());
            for (int v = -32768; v < 32768; ++v)
                ASSERT_EQ(got[v + 32768], std::clamp(v / divisor, 0, 255))
                    << "divisor " << divisor << " value " << v;
        }
}
