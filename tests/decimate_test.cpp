// Decimate: argument checks, the sampling positions and fixed-point formulas
// against a per-pixel model, tiled sources and destinations, dstTile.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "../geometry/decim_rows.hpp"
#include "../geometry/decimate.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

struct Factors {
    int xU, xL, yU, yL;
};

// ---- the model: every rule stated per pixel, literally ---------------------------

struct Sample {
    int index, frac;
    bool exact;  // nominal position 0 of an interpolated axis
};

// Positions from start while below end; interpolated axes sample one 1/256
// early, except a nominal 0, which stays exact.
std::vector<Sample> samples(std::int64_t start, std::int64_t step, std::int64_t end, bool interp) {
    std::vector<Sample> out;
    std::int64_t x = interp ? start - 1 : start;
    if (interp && start == 0 && end > 0) {
        out.push_back({0, 0, true});
        x = start + step - 1;
    }
    for (; x < (interp ? end - 1 : end); x += step)
        out.push_back({static_cast<int>(x >> 8), interp ? static_cast<int>(x & 255) : 0, false});
    return out;
}

std::int64_t lerp1(std::int64_t p0, std::int64_t p1, std::int64_t f) {
    return ((((256 - f) * p0 + f * p1) >> 7) + 1) >> 1;
}
std::int64_t cubic6(const std::int64_t (&p)[4], std::int64_t f) {
    const std::int64_t f2 = (f * f) >> 8, f3 = (f * f * f) >> 16;
    return 6 * p[1] + ((f2 * (3 * p[0] - 6 * p[1] + 3 * p[2]) + f3 * (3 * p[1] - p[0] - 3 * p[2] + p[3]) +
                        f * (-2 * p[0] - 3 * p[1] + 6 * p[2] - p[3])) >> 8);
}

// The destination pixels (rows x cols x channels) the rules predict.
struct Prediction {
    int cols = 0, rows = 0, channels = 0;
    std::vector<std::int64_t> v;
};

Prediction predict(const VskImage* src, const VskImage* dst, Factors f, int interp, bool tiledSrc) {
    const bool xi = f.xL % f.xU == 0, yi = f.yL % f.yU == 0;
    if (src->width < 4 || src->height < 4 || (xi && yi)) interp = 0;
    const VskROI none{0, 0, 0, src->height, src->width}, dnone{0, 0, 0, dst->height, dst->width};
    const VskROI& sr = src->roi ? *src->roi : none;
    const VskROI& dr = dst->roi ? *dst->roi : dnone;
    const std::int64_t srcCols = std::min(sr.width, src->width - sr.xOffset);
    const std::int64_t srcRows = std::min(sr.height, src->height - sr.yOffset);
    const std::int64_t dCols = std::min<std::int64_t>(std::min(dr.width, dst->width - dr.xOffset), f.xU * srcCols / f.xL);
    const std::int64_t dRows = std::min<std::int64_t>(std::min(dr.height, dst->height - dr.yOffset), f.yU * srcRows / f.yL);
    const std::int64_t stepX = f.xL * 256LL / f.xU, stepY = f.yL * 256LL / f.yU;
    const std::int64_t startX = sr.xOffset * 256LL + (interp == 0 && !xi ? 128 : 0);
    const std::int64_t startY = sr.yOffset * 256LL + (interp == 0 && !yi ? 128 : 0);
    std::int64_t endX = startX + stepX * std::max<std::int64_t>(dCols, 0);
    std::int64_t endY = startY + stepY * std::max<std::int64_t>(dRows, 0);
    if (interp == 2 && !tiledSrc) {
        if (!yi && endY + 1 > (src->height - 1) * 256LL) endY -= stepY;
        if (!xi && endX + 1 > (src->width - 1) * 256LL) endX -= stepY;  // the vertical step
    }
    const bool bits = src->depth == VSK_1U, hx = interp && !bits && !xi, hy = interp && !bits && !yi;
    const auto xs = samples(startX, stepX, endX, hx), ys = samples(startY, stepY, endY, hy);
    const int sc = sr.coi ? sr.coi - 1 : 0;
    Prediction p;
    p.cols = static_cast<int>(xs.size());
    p.rows = static_cast<int>(ys.size());
    p.channels = std::min(sr.coi ? 1 : src->nChannels, dr.coi ? 1 : dst->nChannels);
    const std::int64_t top = src->depth == VSK_16U ? 65535 : 255;
    for (int r = 0; r < p.rows; ++r)
        for (int k = 0; k < p.cols; ++k)
            for (int c = 0; c < p.channels; ++c) {
                // Neighbours outside the image repeat its edge pixels.
                auto S = [&](std::int64_t x, std::int64_t y) {
                    return get(src, static_cast<int>(std::clamp<std::int64_t>(x, 0, src->width - 1)),
                               static_cast<int>(std::clamp<std::int64_t>(y, 0, src->height - 1)), sc + c);
                };
                const Sample X = xs[k], Y = ys[r];
                std::int64_t out;
                if (!hx && !hy) {
                    out = S(X.index, Y.index);
                } else if (interp == 1) {
                    if (hx && hy && !X.exact && !Y.exact) {
                        const std::int64_t fx = X.frac, fy = Y.frac;
                        const std::int64_t sum = (S(X.index + 1, Y.index) * fx + S(X.index, Y.index) * (256 - fx)) * (256 - fy) +
                                                 (S(X.index, Y.index + 1) * (256 - fx) + S(X.index + 1, Y.index + 1) * fx) * fy;
                        out = ((sum >> 15) + 1) >> 1;
                    } else if (hx && !X.exact) {  // horizontal-only, or the exact first row
                        out = lerp1(S(X.index, Y.index), S(X.index + 1, Y.index), X.frac);
                    } else if (hy && !Y.exact) {
                        out = lerp1(S(X.index, Y.index), S(X.index, Y.index + 1), Y.frac);
                    } else {
                        out = S(X.index, Y.index);
                    }
                } else {
                    auto row = [&](std::int64_t y) {
                        std::int64_t q[4];
                        for (int t = 0; t < 4; ++t) q[t] = S(X.index - 1 + t, y);
                        return cubic6(q, X.frac);
                    };
                    std::int64_t q[4];
                    if (hx && hy && !X.exact && !Y.exact) {
                        for (int t = 0; t < 4; ++t) q[t] = row(Y.index - 1 + t);
                        out = cubic6(q, Y.frac) / 36;
                    } else if (hx && !X.exact) {
                        out = row(Y.index) / 6;
                    } else if (hy && !Y.exact) {
                        for (int t = 0; t < 4; ++t) q[t] = S(X.index, Y.index - 1 + t);
                        out = cubic6(q, Y.frac) / 6;
                    } else {
                        out = S(X.index, Y.index);
                    }
                    out = std::clamp<std::int64_t>(out, 0, top);
                }
                p.v.push_back(out);
            }
    return p;
}

// The destination as it must be after the call: `before` with the predicted
// pixels written into its ROI.
ImagePtr expected(const VskImage* before, const Prediction& p) {
    ImagePtr e = makeImage(before->nChannels, before->depth, before->dataOrder, before->height,
                           before->width, 0, before->align);
    std::memcpy(e->imageData, before->imageData, before->dataSize);
    const VskROI* r = before->roi;
    const int x0 = r ? r->xOffset : 0, y0 = r ? r->yOffset : 0, c0 = r && r->coi ? r->coi - 1 : 0;
    std::size_t i = 0;
    for (int y = 0; y < p.rows; ++y)
        for (int x = 0; x < p.cols; ++x)
            for (int c = 0; c < p.channels; ++c) put(e.get(), x0 + x, y0 + y, c0 + c, p.v[i++]);
    return e;
}


// "" when the images are equal, padding included, else where they first differ.
std::string difference(const VskImage* got, const VskImage* want) {
    const std::string d = firstDifference(got, want);
    return d.empty() && bytesOf(got) != bytesOf(want) ? "row padding" : d;
}

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
    };
    const std::map<int, std::string> texts = {
        {91, paddedLine("Image header is null")}, {92, paddedLine("ROI size is invalid")},
        {93, "srcImage->depth != dstImage->depth"}, {94, "srcImage->origin != dstImage->origin"},
        {95, "srcImage->dataOrder != dstImage->dataOrder"},
        {101, "interpolate != VSK_INTER_NN, VSK_INTER_LINEAR or VSK_INTER_CUBIC"},
        {106, "xU <= 0"}, {107, "xL <= 0"}, {108, "yU <= 0"}, {109, "yL <= 0"}, {111, "xU > xL"}, {112, "yU > yL"}};
    for (const Case& c : cases) {
        ErrorCapture capture;
        ImagePtr src = makeImage(1, c.srcDepth, 0, 8, 8, 7);
        ImagePtr dst = makeImage(1, VSK_8U, c.dstOrder, 8, 8, 1);
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

TEST(Decimate, SignedDepthsAreRejectedAfterTheChecks) {
    for (unsigned depth : {VSK_8S, VSK_16S, VSK_32S}) {
        ErrorCapture capture;
        ImagePtr src = makeImage(1, depth, 0, 8, 8, 5), dst = makeImage(1, depth, 0, 8, 8, 1);
        const auto before = bytesOf(dst.get());
        tvskDecimate(src.get(), dst.get(), 1, 2, 1, 2, VSK_INTER_LINEAR, nullptr);
        EXPECT_EQ(reportsOf(capture), fault("vskDecimate", "srcImage->depth is wrong", "vskdecim", 375));
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

TEST(Decimate, MatchesTheFormulasOnRandomImages) {
    const Factors factors[] = {{1, 1, 1, 1}, {1, 2, 1, 3}, {2, 3, 2, 3}, {2, 3, 1, 2}, {1, 2, 3, 5},
                               {3, 5, 5, 7}, {5, 7, 1, 1}, {7, 8, 4, 9}, {255, 256, 2, 5}};
    std::mt19937 rng(2024);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    std::size_t written = 0;
    int cases = 0;
    for (int round = 0; round < 5; ++round)
        for (unsigned depth : {VSK_1U, VSK_8U, VSK_16U})
            for (int interp = 0; interp < 3; ++interp)
                for (const Factors& f : factors) {
                    const int order = pick(0, 1), n = depth == VSK_1U ? 1 : pick(1, 4);
                    const int w = pick(3, 60), h = pick(3, 40);
                    ImagePtr src = makeImage(n, depth, order, h, w);
                    ImagePtr dst = makeImage(n, depth, order, pick(10, 40), pick(10, 50));
                    fillRandom(src.get(), rng());
                    fillRandom(dst.get(), rng());
                    if (pick(0, 2)) setRoi(src.get(), pick(0, n), pick(0, w - 1), pick(0, h - 1), pick(h / 2, h), pick(w / 2, w));
                    if (pick(0, 2))
                        setRoi(dst.get(), pick(0, n), pick(0, dst->width / 2), pick(0, dst->height / 2), pick(5, 40), pick(5, 50));
                    SCOPED_TRACE(testing::Message() << "case " << cases++);  // deterministic: rerun to see it
                    const Prediction p = predict(src.get(), dst.get(), f, interp, false);
                    written += p.v.size();
                    ImagePtr want = expected(dst.get(), p);
                    tvskDecimate(src.get(), dst.get(), f.xU, f.xL, f.yU, f.yL, interp, nullptr);
                    ASSERT_EQ(difference(dst.get(), want.get()), "");
                }
    EXPECT_GT(written, 30000u);  // the cases are not vacuous
}

TEST(Decimate, GuardedBuffersAtTheImageEdges) {
    // ROIs ending at the last row and column: neighbourhoods stay inside the source.
    for (int order = 0; order < 2; ++order)
        for (int interp : {VSK_INTER_LINEAR, VSK_INTER_CUBIC}) {
            GuardedImage src(3, VSK_16U, order, 23, 29), dst(3, VSK_16U, order, 9, 11);
            fillRandom(src.get(), 5);
            setRoi(src.get(), 0, 8, 5, 18, 21);
            setRoi(dst.get(), 0, 1, 1, 8, 10);
            ImagePtr want = expected(dst.get(), predict(src.get(), dst.get(), {5, 11, 4, 9}, interp, false));
            tvskDecimate(src.get(), dst.get(), 5, 11, 4, 9, interp, nullptr);
            EXPECT_EQ(difference(dst.get(), want.get()), "");
            // Headers grown after allocation: nothing past either buffer is touched.
            src.get()->height += 9;
            src.get()->width += 2;
            dst.get()->height += 6;
            for (VskImage* im : {src.get(), dst.get()}) tvskDeallocate(im, VSK_FREE_ROI);
            tvskDecimate(src.get(), dst.get(), 5, 11, 4, 9, interp, nullptr);
            tvskDecimate(src.get(), dst.get(), 1, 2, 1, 3, VSK_INTER_NN, nullptr);
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
        const char* srcLog;  // null: not checked
        const char* dstLog;
    } cases[] = {
        {VSK_8U, 1, 0, VSK_INTER_NN, {1, 2, 1, 2}, true, false,
         "(1,0,0)(4,0,0)(1,1,0)(4,1,0)(1,2,0)(4,2,0)(1,0,1)(4,0,1)(1,1,1)(4,1,1)(1,2,1)(4,2,1)(1,0,2)(4,0,2)(1,1,2)(4,1,2)(1,2,2)(4,2,2)", nullptr},
        {VSK_8U, 3, 0, VSK_INTER_LINEAR, {2, 3, 3, 4}, false, true, nullptr,
         "(2,0,0)(4,0,0)(2,1,0)(4,1,0)(2,2,0)(4,2,0)(2,0,1)(4,0,1)(2,1,1)(4,1,1)(2,2,1)(4,2,1)(2,0,2)(4,0,2)(2,1,2)(4,1,2)(2,2,2)(4,2,2)"},
        // A tiled source keeps the cubic end column that a plain one would drop here.
        {VSK_16U, 3, 1, VSK_INTER_CUBIC, {2, 3, 3, 5}, true, true, nullptr, nullptr},
        {VSK_8U, 4, 0, VSK_INTER_CUBIC, {3, 4, 1, 2}, true, false, nullptr, nullptr},
        {VSK_1U, 1, 0, VSK_INTER_NN, {2, 3, 3, 5}, true, true, nullptr, nullptr},
        {VSK_16U, 2, 0, VSK_INTER_LINEAR, {5, 7, 2, 3}, true, true, nullptr, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "depth " << c.depth << " interp " << c.interp);
        ImagePtr src = makeImage(c.n, c.depth, c.order, 40, 36), dst = makeImage(c.n, c.depth, c.order, 24, 24);
        fillRandom(src.get(), 11);
        fillRandom(dst.get(), 12);
        setRoi(src.get(), 0, 2, 3, 36, 33);
        setRoi(dst.get(), c.n > 1 ? 2 : 0, 1, 2, 22, 23);
        ImagePtr want = expected(dst.get(), predict(src.get(), dst.get(), c.f, c.interp, c.tiledSrc));
        const auto tsp = tiledCopy(src.get(), 16, 16), tdp = tiledCopy(dst.get(), 8, 8);
        TiledImage &ts = *tsp, &td = *tdp;
        tvskDecimate(c.tiledSrc ? ts.get() : src.get(), c.tiledDst ? td.get() : dst.get(), c.f.xU, c.f.xL, c.f.yU,
                     c.f.yL, c.interp, nullptr);
        if (c.tiledDst) td.storeTo(dst.get());
        EXPECT_EQ(difference(dst.get(), want.get()), "");
        if (c.srcLog) {
            EXPECT_EQ(describe(ts.log), c.srcLog);
        }
        if (c.dstLog) {
            EXPECT_EQ(describe(td.log), c.dstLog);
        }
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
