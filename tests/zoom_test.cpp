// Zoom: the argument checks, the destination clamp, the interpolations
// against a per-pixel model written from the formulas, and the tiled paths
// against the plain run.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/samples.hpp"

using namespace vsktest;

namespace {

// int(v): add 0.00001, subtract 0.5, round half to even.
int intRule(double v) { return static_cast<int>(std::nearbyint((v + 0.00001) - 0.5)); }

struct Factors {
    int xU, xL, yU, yL;
};

// Writes a value the way the zoom addresses channel c of pixel (x, y), in
// order, and not past the end of the buffer.
void store(VskImage* im, int x, int y, int c, std::int64_t v) {
    const int b = static_cast<int>((im->depth & 0x7FFFFFFF) >> 3);
    const std::int64_t step = strideOf(im);
    std::int64_t at;
    if (im->depth == VSK_1U) return put(im, x, y, 0, v);
    if (im->dataOrder == VSK_DATA_ORDER_PLANE)
        at = (std::int64_t{c} * im->height + y) * step + std::int64_t{x} * b;
    else
        at = y * step + (std::int64_t{x} * im->nChannels + c) * b;
    if (at + b > step * im->height * (im->dataOrder ? im->nChannels : 1)) return;
    auto* p = reinterpret_cast<std::uint8_t*>(im->imageData) + at;
    p[0] = static_cast<std::uint8_t>(v);
    if (b == 2) p[1] = static_cast<std::uint8_t>(v >> 8);
}

// The destination size after the clamp to the enlarged source.
int clampedSize(int d, int s, double inv) {
    if (intRule((d - 1) * inv) <= s - 1) return d;
    const int n = intRule(s / inv);
    return n == s / inv ? n - 1 : n;
}

// The zoom of a plain source into a plain destination, pixel by pixel from
// the formulas (no buffers, no incremental rows).
void model(const VskImage* src, VskImage* dst, Factors f, int interp) {
    if (src->depth == VSK_1U || src->width < 2 || src->height < 2) interp = VSK_INTER_NN;
    if (interp == VSK_INTER_CUBIC && (src->width < 4 || src->height < 4)) interp = VSK_INTER_LINEAR;
    const VskROI whole{0, 0, 0, src->height, src->width};
    const VskROI* sr = src->roi ? src->roi : &whole;
    const int sx0 = sr->xOffset, sy0 = sr->yOffset;
    const int S = std::min(sr->width, src->width - sx0), SR = std::min(sr->height, src->height - sy0);
    const int dx0 = dst->roi ? dst->roi->xOffset : 0, dy0 = dst->roi ? dst->roi->yOffset : 0;
    int D = dst->roi ? std::min(dst->roi->width, dst->width - dx0) : dst->width;
    int DR = dst->roi ? std::min(dst->roi->height, dst->height - dy0) : dst->height;
    const int sStart = sr->coi ? sr->coi - 1 : 0, sCount = sr->coi ? 1 : src->nChannels;
    const int dStart = dst->roi && dst->roi->coi ? dst->roi->coi - 1 : 0;
    const int dCount = dst->roi ? (dst->roi->coi ? 1 : dst->nChannels) : src->nChannels;
    if (sStart == 0 && dStart == 0 ? sCount != dCount : sCount != 1 || dCount != 1) return;
    if (src->depth != VSK_1U && src->depth != VSK_8U && src->depth != VSK_16U) return;
    const double xi = double(f.xL) / f.xU, yi = double(f.yL) / f.yU;
    D = clampedSize(D, S, xi);
    DR = clampedSize(DR, SR, yi);
    const int lastX = src->width - sx0 - 1, lastY = src->height - sy0 - 1;
    auto sample = [&](int x, int y, int c) -> double {
        EXPECT_TRUE(sx0 + x >= 0 && sx0 + x < src->width && sy0 + y >= 0 && sy0 + y < src->height);
        return double(get(src, sx0 + x, sy0 + y, sStart + c));
    };
    std::vector<double> sx(D), sy(DR);
    for (int i = 1; i < D; ++i) sx[i] = sx[i - 1] + xi;
    for (int j = 1; j < DR; ++j) sy[j] = sy[j - 1] + yi;
    const int maxValue = src->depth == VSK_16U ? 65535 : 255;
    // Cubic: the first of the four neighbours after the edge moves, and the weights.
    auto cubicAt = [](double s, int offset, int size, double w[3]) {
        int ix = intRule(s);
        if (offset + ix == 0) ix += 1;
        else if (offset + ix == size - 1) ix -= 2;
        else if (offset + ix == size - 2) ix -= 1;
        const double t = s - ix;
        w[0] = 1 + t;
        w[1] = t * (1 + t) * 0.5;
        w[2] = (t - 1) * w[1] * 0.3333333333333333;
        return ix - 1;
    };
    for (int j = 0; j < DR; ++j)
        for (int i = 0; i < D; ++i)
            for (int c = 0; c < sCount; ++c) {
                std::int64_t v = 0;
                if (interp == VSK_INTER_NN) {
                    const int stepX = intRule(xi * 16384), stepY = intRule(yi * 16384);
                    v = std::int64_t(sample(int((std::int64_t{i} * stepX) >> 14),
                                            int((std::int64_t{j} * stepY) >> 14), c));
                } else if (interp == VSK_INTER_LINEAR) {
                    int ix = intRule(sx[i]), iy = intRule(sy[j]);
                    if (ix == lastX) ix = lastX - 1;
                    if (iy == lastY) iy = lastY - 1;
                    const double fx = sx[i] - ix, fy = sy[j] - iy;
                    auto h = [&](int r) {
                        return float((sample(ix + 1, r, c) - sample(ix, r, c)) * fx + sample(ix, r, c));
                    };
                    const double a = h(iy), b = h(iy + 1);
                    v = intRule((b - a) * fy + a) & maxValue;  // unsaturated
                } else {
                    double wx[3], wy[3];
                    const int x0 = cubicAt(sx[i], sx0, src->width, wx);
                    const int y0 = cubicAt(sy[j], sy0, src->height, wy);
                    auto h = [&](int r) {
                        const double p0 = sample(x0, r, c), p1 = sample(x0 + 1, r, c),
                                     p2 = sample(x0 + 2, r, c), p3 = sample(x0 + 3, r, c);
                        const double d1 = p1 - p0, d2 = (p2 - p1) - d1, d3 = (p3 - 2 * p2 + p1) - d2;
                        return float(d3 * wx[2] + (d1 * wx[0] + d2 * wx[1]) + p0);
                    };
                    const double q0 = h(y0), q1 = h(y0 + 1), q2 = h(y0 + 2), q3 = h(y0 + 3);
                    const double d1 = q1 - q0, d2 = (q2 - q1) - d1, d3 = (q3 - 2 * q2 + q1) - d2;
                    const int r = intRule((wy[0] * d1 + q0) + wy[1] * d2 + wy[2] * d3);
                    v = std::clamp(r, 0, maxValue);
                }
                store(dst, dx0 + i, dy0 + j, dStart + c, v);
            }
}

void zoom(VskImage* src, VskImage* dst, Factors f, int interp, const int* tile = nullptr) {
    tvskZoom(src, dst, f.xU, f.xL, f.yU, f.yL, interp, tile);
}

}  // namespace

TEST(Zoom, ChecksReportInOrderAndStopTheCall) {
    struct Case {
        unsigned srcDepth;
        int srcOrder;
        Factors f;
        int interp;
        std::vector<std::pair<int, std::string>> reports;  // line, text
    } cases[] = {
        {VSK_8U, 0, {2, 1, 2, 1}, 0, {}},
        {VSK_8U, 0, {0, 1, 2, 1}, 3,
         {{501, "interpolate != VSK_INTER_NN && interpolate != VSK_INTER_LINEAR && interpolate != VSK_INTER_CUBIC"},
          {504, "xU <= 0 || xL <= 0"},
          {506, "xU < xL || yU < yL"}}},
        {VSK_16U, 1, {2, 1, 2, 1}, 0,
         {{502, "srcImage->depth != dstImage->depth"}, {503, "srcImage->dataOrder != dstImage->dataOrder"}}},
        {VSK_8U, 0, {1, 1, 1, -2}, 1, {{505, "yU <= 0 || yL <= 0"}}},
        {VSK_8U, 0, {1, 2, 2, 1}, 2, {{506, "xU < xL || yU < yL"}}},
    };
    for (const Case& c : cases) {
        ErrorCapture capture;
        ImagePtr src = makeImage(1, c.srcDepth, c.srcOrder, 4, 4, 9);
        ImagePtr dst = makeImage(1, VSK_8U, 0, 8, 8, 5);
        const auto before = bytesOf(dst.get());
        zoom(src.get(), dst.get(), c.f, c.interp);
        std::string want;
        for (const auto& [line, text] : c.reports) want += fault("vskZoom", text, "vskZoom", line);
        EXPECT_EQ(reportsOf(capture), want);
        EXPECT_EQ(bytesOf(dst.get()) == before, !c.reports.empty());
    }
}

TEST(Zoom, HeaderChecksAndStickyStatus) {
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_8U, 0, 4, 4, 9);
    ImagePtr dst = makeImage(1, VSK_8U, 0, 8, 8, 5);
    setRoi(dst.get(), 0, -1, 0, 0, 8);  // ROI offset and size bits
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, 0);
    zoom(nullptr, dst.get(), {2, 1, 2, 1}, 0);
    const std::string roi = paddedLine("ROI size is invalid") + paddedLine("ROI offset is invalid");
    EXPECT_EQ(reportsOf(capture), fault("vskZoom", roi, "vskZoom", 495) +
                                      fault("vskZoom", paddedLine("Image header is null"), "vskZoom",
                                            494));

    // A negative status left by an earlier failure ends the call silently.
    capture.clear();
    tvskDeallocate(dst.get(), VSK_FREE_ROI);
    vskSetErrStatus(-5);
    const auto before = bytesOf(dst.get());
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, 0);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(bytesOf(dst.get()), before);
}

TEST(Zoom, WorkedLinearExampleWrapsTheExtrapolatedValue) {
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_8U, 0, 2, 3);
    for (int y = 0; y < 2; ++y) {
        put(src.get(), 1, y, 0, 0);
        put(src.get(), 2, y, 0, 200);
    }
    ImagePtr dst = makeImage(1, VSK_8U, 0, 4, 6, 7);
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR);
    // sx = 1.5, 2.0, 2.5 move back to ix = 1 with fx = 0.5, 1, 1.5.
    const int expected[] = {0, 0, 0, 100, 200, 44};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 6; ++x) EXPECT_EQ(get(dst.get(), x, y), expected[x]) << x << "," << y;
    EXPECT_TRUE(capture.reports().empty());
}

TEST(Zoom, DestinationClampKeepsTheExactCaseOffByOne) {
    struct Case {
        int srcSize, dstSize, factor, written;
    } cases[] = {{3, 7, 2, 5}, {3, 6, 2, 6}, {4, 20, 3, 11}, {5, 5, 1, 5}, {3, 10, 3, 8}};
    for (const Case& c : cases)
        for (int interp = 0; interp < 3; ++interp) {
            SCOPED_TRACE(std::to_string(c.dstSize) + " interp " + std::to_string(interp));
            ImagePtr src = makeImage(1, VSK_8U, 0, c.srcSize, c.srcSize);
            fillRandom(src.get(), 3);
            ImagePtr dst = makeImage(1, VSK_8U, 0, c.dstSize, c.dstSize, 0);
            zoom(src.get(), dst.get(), {c.factor, 1, c.factor, 1}, interp);
            ImagePtr expected = makeImage(1, VSK_8U, 0, c.dstSize, c.dstSize, 0);
            model(src.get(), expected.get(), {c.factor, 1, c.factor, 1}, interp);
            EXPECT_EQ(firstDifference(dst.get(), expected.get()), "");
            // Pixels outside the clamped square keep their fill.
            for (int y = 0; y < c.dstSize; ++y)
                for (int x = 0; x < c.dstSize; ++x)
                    if (x >= c.written || y >= c.written) {
                        ASSERT_EQ(get(dst.get(), x, y), 0) << x << "," << y;
                    }
        }
}

TEST(Zoom, UnitFactorsCopyTheRoiForEveryInterpolation) {
    for (unsigned depth : {VSK_8U, VSK_16U})
        for (int interp = 0; interp < 3; ++interp) {
            ImagePtr src = makeImage(3, depth, VSK_DATA_ORDER_PIXEL, 9, 11);
            fillRandom(src.get(), 7 + interp);
            setRoi(src.get(), 0, 2, 3, 5, 6);
            ImagePtr dst = makeImage(3, depth, VSK_DATA_ORDER_PIXEL, 6, 7, 0);
            setRoi(dst.get(), 0, 1, 1, 5, 6);
            zoom(src.get(), dst.get(), {3, 3, 5, 5}, interp);
            for (int y = 0; y < 5; ++y)
                for (int x = 0; x < 6; ++x)
                    for (int c = 0; c < 3; ++c)
                        ASSERT_EQ(get(dst.get(), 1 + x, 1 + y, c), get(src.get(), 2 + x, 3 + y, c))
                            << interp << ": " << x << "," << y << "," << c;
        }
}

TEST(Zoom, SmallSourcesDowngradeTheInterpolation) {
    struct Case {
        int h, w, asked, used;
    } cases[] = {{5, 3, VSK_INTER_CUBIC, VSK_INTER_LINEAR},
                 {3, 6, VSK_INTER_CUBIC, VSK_INTER_LINEAR},
                 {1, 6, VSK_INTER_LINEAR, VSK_INTER_NN},
                 {6, 1, VSK_INTER_CUBIC, VSK_INTER_NN}};
    for (const Case& c : cases) {
        ImagePtr src = makeImage(1, VSK_8U, 0, c.h, c.w);
        fillRandom(src.get(), 11);
        ImagePtr asked = makeImage(1, VSK_8U, 0, 3 * c.h, 3 * c.w, 1);
        ImagePtr used = copyOf(asked.get());
        zoom(src.get(), asked.get(), {5, 2, 3, 1}, c.asked);
        zoom(src.get(), used.get(), {5, 2, 3, 1}, c.used);
        EXPECT_EQ(bytesOf(asked.get()), bytesOf(used.get())) << c.h << "x" << c.w;
    }
}

TEST(Zoom, SignedDepthsAndUnmatchedChannelsWriteNothing) {
    ErrorCapture capture;
    for (unsigned depth : {VSK_8S, VSK_16S, VSK_32S}) {
        ImagePtr src = makeImage(1, depth, 0, 4, 4, 3);
        ImagePtr dst = makeImage(1, depth, 0, 8, 8, 1);
        const auto before = bytesOf(dst.get());
        zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR);
        EXPECT_EQ(bytesOf(dst.get()), before);
    }
    // A source with coi 2 selects one channel; a destination without ROI
    // counts the source's three, so nothing is written.
    ImagePtr src = makeImage(3, VSK_8U, 0, 4, 4, 3);
    setRoi(src.get(), 2, 0, 0, 4, 4);
    ImagePtr dst = makeImage(3, VSK_8U, 0, 8, 8, 1);
    const auto before = bytesOf(dst.get());
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_NN);
    EXPECT_EQ(bytesOf(dst.get()), before);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(Zoom, CubicAtTheEdgesFitsTheNeighboursShiftedInside) {
    // Nodes at columns 0..3 of a 4-column source; rows are equal. The cubic
    // through them, by its Lagrange weights, at sx = 0.5 (left edge, ix moved
    // right, t = -0.5) and sx = 3.5 (past the last column, t = 2.5).
    ImagePtr src = makeImage(1, VSK_8U, 0, 4, 4);
    const int p[4] = {0, 160, 80, 16};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) put(src.get(), x, y, 0, p[x]);
    ImagePtr dst = makeImage(1, VSK_8U, 0, 4, 8);
    zoom(src.get(), dst.get(), {2, 1, 1, 1}, VSK_INTER_CUBIC);
    auto lagrange = [&](double x) {
        double v = 0;
        for (int k = 0; k < 4; ++k) {
            double w = 1;
            for (int m = 0; m < 4; ++m)
                if (m != k) w *= (x - m) / (k - m);
            v += w * p[k];
        }
        return v;
    };
    for (int i = 0; i < 8; ++i) {
        const int expected = std::clamp(int(std::floor(lagrange(i * 0.5) + 0.00001)), 0, 255);
        EXPECT_EQ(get(dst.get(), i, 2), expected) << "sx " << i * 0.5;
    }
}

TEST(Zoom, RandomImagesMatchThePerPixelModel) {
    std::mt19937 rng(20240611);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (int round = 0; round < 600; ++round) {
        const unsigned depth = round % 2 ? VSK_16U : VSK_8U;
        const int order = (round / 2) % 2;
        const int interp = (round / 4) % 3;
        const int n = (int[]){1, 3, 4}[pick(0, 2)];
        const int sh = pick(1, 12), sw = pick(1, 12);
        Factors f{pick(1, 9), 0, pick(1, 9), 0};
        f.xL = pick(1, f.xU);
        f.yL = pick(1, f.yU);
        const int dh = pick(1, 40), dw = pick(1, 40);
        SCOPED_TRACE("round " + std::to_string(round));
        GuardedImage src(n, depth, order, sh, sw, pick(0, 1) ? 4 : 8);
        fillRandom(src.get(), round);
        GuardedImage dst(n, depth, order, dh, dw);
        fillRandom(dst.get(), round + 1000);
        const int coi = n > 1 && pick(0, 2) == 0 ? pick(1, n) : 0;
        if (pick(0, 2)) {
            const int x = pick(0, sw - 1), y = pick(0, sh - 1);
            setRoi(src.get(), coi, x, y, pick(1, sh + 2 - y), pick(1, sw + 2 - x));
        }
        if (pick(0, 2)) {
            const int x = pick(0, dw - 1), y = pick(0, dh - 1);
            setRoi(dst.get(), coi ? pick(1, n) : 0, x, y, pick(1, dh - y), pick(1, dw + 3 - x));
        }
        ImagePtr expected = copyOf(dst.get());
        expected->roi = dst.get()->roi;
        model(src.get(), expected.get(), f, interp);
        expected->roi = nullptr;
        zoom(src.get(), dst.get(), f, interp);
        ASSERT_EQ(bytesOf(dst.get()), bytesOf(expected.get()))
            << "interp " << interp << " depth " << depth << " order " << order << " n " << n << " src "
            << sw << "x" << sh << " dst " << dw << "x" << dh << " factors " << f.xU << "/" << f.xL
            << " " << f.yU << "/" << f.yL;
    }
}

TEST(Zoom, BitImagesZoomByNearestNeighbourBitByBit) {
    std::mt19937 rng(77);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (int round = 0; round < 100; ++round) {
        const int sw = pick(1, 30), sh = pick(1, 6), dw = pick(1, 70), dh = pick(1, 12);
        GuardedImage src(1, VSK_1U, 0, sh, sw);
        fillRandom(src.get(), round);
        GuardedImage dst(1, VSK_1U, 0, dh, dw);
        fillRandom(dst.get(), round + 1);
        const int x = pick(0, dw - 1);
        setRoi(dst.get(), 0, x, 0, dh, pick(1, dw - x));
        const int sx = pick(0, sw - 1);
        setRoi(src.get(), 0, sx, 0, sh, sw - sx);
        Factors f{pick(1, 5), 1, pick(1, 3), 1};
        f.xL = pick(1, f.xU);
        ImagePtr expected = makeImage(1, VSK_1U, 0, dh, dw);
        std::memcpy(expected->imageData, dst.get()->imageData, static_cast<std::size_t>(dst.get()->dataSize));
        expected->roi = dst.get()->roi;
        model(src.get(), expected.get(), f, VSK_INTER_CUBIC);
        expected->roi = nullptr;
        zoom(src.get(), dst.get(), f, VSK_INTER_CUBIC);
        ASSERT_EQ(bytesOf(dst.get()), bytesOf(expected.get())) << "round " << round;
    }
}

TEST(Zoom, DestinationWithoutRoiTakesTheSourceChannelCount) {
    // A 3-channel source into a 1-channel destination without ROI: pixels
    // overlap, so each byte holds channel 0 of its own pixel, and the last
    // pixel's other channels stop at the end of the buffer.
    for (int order : {VSK_DATA_ORDER_PIXEL, VSK_DATA_ORDER_PLANE}) {
        ImagePtr src = makeImage(3, VSK_8U, order, 2, 4);
        fillRandom(src.get(), 5);
        GuardedImage dst(1, VSK_8U, order, 4, 8);  // rows of 8 bytes: no padding
        fillRandom(dst.get(), 6);
        ImagePtr expected = copyOf(dst.get());
        model(src.get(), expected.get(), {2, 1, 2, 1}, VSK_INTER_NN);
        zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_NN);
        EXPECT_EQ(bytesOf(dst.get()), bytesOf(expected.get()));
        EXPECT_EQ(get(dst.get(), 7, 3), get(src.get(), 3, 1, 0));
    }
}

TEST(Zoom, HeadersGrownAfterAllocationStayInTheirBuffers) {
    for (int interp : {VSK_INTER_NN, VSK_INTER_LINEAR, VSK_INTER_CUBIC})
        for (int order : {VSK_DATA_ORDER_PIXEL, VSK_DATA_ORDER_PLANE}) {
            GuardedImage src(3, VSK_8U, order, 6, 7), dst(3, VSK_8U, order, 5, 9);
            fillRandom(src.get(), 1);
            // A grown destination: the rows inside its buffer are those of the plain call.
            ImagePtr expected = copyOf(dst.get());
            zoom(src.get(), expected.get(), {2, 1, 2, 1}, interp);
            dst.get()->height = 9;
            zoom(src.get(), dst.get(), {2, 1, 2, 1}, interp);
            dst.get()->height = 5;
            if (order == VSK_DATA_ORDER_PIXEL) {
                EXPECT_EQ(bytesOf(dst.get()), bytesOf(expected.get())) << interp;
            }
            // A grown source: nothing past its buffer is read.
            src.get()->height = 9;
            src.get()->width = 9;
            zoom(src.get(), dst.get(), {2, 1, 2, 1}, interp);
            src.get()->height = 6;
            src.get()->width = 7;
        }
}

namespace {

// The call-back log of a walk over the tiles (tw x th) that cover the
// clamped destination rectangle, each requested with `mode` and released.
std::vector<TileCall> expectedWalk(int x, int y, int cols, int rows, int tw, int th, int mode) {
    std::vector<TileCall> log;
    for (int r = y / th; r <= (y + rows - 1) / th; ++r)
        for (int c = x / tw; c <= (x + cols - 1) / tw; ++c) {
            log.push_back({mode, c, r});
            log.push_back({VSK_TILE_RELEASE, c, r});
        }
    return log;
}

struct TiledCase {
    unsigned depth;
    int order, n, interp;
    Factors f;
};

// Factors whose steps are exact in binary, so that tiles start where the
// plain run's own steps arrive.
const TiledCase kTiledCases[] = {
    {VSK_8U, 0, 1, VSK_INTER_NN, {2, 1, 2, 1}},     {VSK_8U, 0, 3, VSK_INTER_LINEAR, {2, 1, 4, 1}},
    {VSK_16U, 1, 3, VSK_INTER_CUBIC, {4, 1, 2, 1}}, {VSK_8U, 1, 2, VSK_INTER_CUBIC, {1, 1, 2, 1}},
    {VSK_16U, 0, 4, VSK_INTER_LINEAR, {8, 2, 1, 1}}, {VSK_8U, 0, 3, VSK_INTER_NN, {4, 1, 4, 1}},
    {VSK_1U, 0, 1, VSK_INTER_CUBIC, {2, 1, 4, 3}},
};

}  // namespace

TEST(ZoomTiled, OneDestinationTileAndItsEarlyReturns) {
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_8U, 0, 10, 10);
    fillRandom(src.get(), 4);
    setRoi(src.get(), 0, 1, 1, 9, 9);
    VskROI* callers = src->roi;
    ImagePtr plain = makeImage(1, VSK_8U, 0, 32, 32, 0);
    zoom(src.get(), plain.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR);

    // Tile (1, 2) alone: written as in the plain run, nothing else.
    TiledImage one(1, VSK_8U, 0, 32, 32, 8, 8);
    const int tile[2] = {1, 2};
    zoom(src.get(), one.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR, tile);
    EXPECT_EQ(describe(one.log), "(2,1,2)(4,1,2)");
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) {
            const bool inside = x >= 8 && x < 16 && y >= 16 && y < 24;
            ASSERT_EQ(one.get(x, y), inside ? get(plain.get(), x, y) : 0) << x << "," << y;
        }
    EXPECT_EQ(src->roi, callers);

    // A tile outside the grid (the clamped 17 x 17 pixels cover 3 x 3 tiles)
    // ends the call with the source still on the private ROI.
    TiledImage none(1, VSK_8U, 0, 32, 32, 8, 8);
    const int outside[2] = {3, 0};
    zoom(src.get(), none.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR, outside);
    EXPECT_TRUE(none.log.empty());
    ASSERT_NE(src->roi, callers);
    EXPECT_EQ(src->roi->coi, 0);
    EXPECT_EQ(src->roi->height, 9);
    EXPECT_EQ(src->roi->width, 9);
    vskDeleteROI(src->roi);
    src->roi = callers;

    // A refused tile is reported and ends the walk, likewise.
    TiledImage refusing(1, VSK_8U, 0, 32, 32, 8, 8);
    refusing.refuse.insert({1, 0});
    zoom(src.get(), refusing.get(), {2, 1, 2, 1}, VSK_INTER_LINEAR);
    EXPECT_EQ(describe(refusing.log), "(2,0,0)(4,0,0)(2,1,0)");
    EXPECT_EQ(reportsOf(capture),
              fault("vskZoom", "Error get tile to write", "vskZoom", 1031, VSK_STATUS_UNKNOWN));
    EXPECT_EQ(refusing.held, 0);
    ASSERT_NE(src->roi, callers);
    vskDeleteROI(src->roi);
    src->roi = callers;
}

TEST(ZoomTiled, TileStartsStepWithRintAndKernelsWithInt) {
    // 3/2: inv x 16384 = 10922.67, so the tile step is 10923 and the kernel
    // step 10922. The tile starting at x = 24 begins at (24 x 10923) >> 14 =
    // 16 where the plain run's own step reaches (24 x 10922) >> 14 = 15.
    ImagePtr src = makeImage(1, VSK_8U, 0, 1, 40);
    for (int x = 0; x < 40; ++x) put(src.get(), x, 0, 0, x);
    ImagePtr plain = makeImage(1, VSK_8U, 0, 1, 48, 0);
    zoom(src.get(), plain.get(), {3, 2, 1, 1}, VSK_INTER_NN);
    TiledImage tiled(1, VSK_8U, 0, 1, 48, 8, 8);
    zoom(src.get(), tiled.get(), {3, 2, 1, 1}, VSK_INTER_NN);
    EXPECT_EQ(get(plain.get(), 24, 0), 15);
    EXPECT_EQ(tiled.get(24, 0), 16);
    EXPECT_EQ(tiled.get(25, 0), get(plain.get(), 25, 0));
    EXPECT_EQ(tiled.get(23, 0), get(plain.get(), 23, 0));
}

TEST(ZoomTiled, EveryTiledPathMatchesThePlainRun) {
    for (const TiledCase& c : kTiledCases) {
        SCOPED_TRACE("interp " + std::to_string(c.interp) + " n " + std::to_string(c.n));
        ErrorCapture capture;
        // The source ROI reaches the image's right and bottom edges.
        ImagePtr src = makeImage(c.n, c.depth, c.order, 90, 133);
        fillRandom(src.get(), c.interp + 31);
        setRoi(src.get(), 0, 3, 1, 89, 130);
        VskROI* srcRoi = src->roi;
        TiledImage tiledSrc(c.n, c.depth, c.order, 90, 133, 16, 8);
        tiledSrc.loadFrom(src.get());
        setRoi(tiledSrc.get(), 0, 3, 1, 89, 130);
        ImagePtr plain = makeImage(c.n, c.depth, c.order, 300, 290, 0);
        setRoi(plain.get(), 0, 5, 100, 200, 260);
        zoom(src.get(), plain.get(), c.f, c.interp);

        // Tiled source, in 128 x 128 blocks of the destination.
        ImagePtr fromTiles = makeImage(c.n, c.depth, c.order, 300, 290, 0);
        setRoi(fromTiles.get(), 0, 5, 100, 200, 260);
        VskROI* dstRoi = fromTiles->roi;
        zoom(tiledSrc.get(), fromTiles.get(), c.f, c.interp);
        EXPECT_EQ(firstDifference(fromTiles.get(), plain.get()), "");
        EXPECT_EQ(fromTiles->roi, dstRoi);
        for (const TileCall& call : tiledSrc.log)
            ASSERT_TRUE(call.mode == VSK_TILE_READ || call.mode == VSK_TILE_RELEASE);

        // Tiled destination, from the plain source and from the tiled one.
        const int cols = clampedSize(260, 130, double(c.f.xL) / c.f.xU);
        const int rows = clampedSize(200, 89, double(c.f.yL) / c.f.yU);
        for (VskImage* from : {src.get(), tiledSrc.get()}) {
            TiledImage tiledDst(c.n, c.depth, c.order, 300, 290, 64, 40);
            setRoi(tiledDst.get(), 0, 5, 100, 200, 260);
            zoom(from, tiledDst.get(), c.f, c.interp);
            ImagePtr out = makeImage(c.n, c.depth, c.order, 300, 290, 0);
            tiledDst.storeTo(out.get());
            EXPECT_EQ(firstDifference(out.get(), plain.get()), "");
            EXPECT_EQ(describe(tiledDst.log),
                      describe(expectedWalk(5, 100, cols, rows, 64, 40, VSK_TILE_WRITE)));
            EXPECT_EQ(tiledDst.held, 0);
            EXPECT_EQ(tiledDst.badReleases, 0);
        }
        EXPECT_EQ(src->roi, srcRoi);
        EXPECT_EQ(tiledSrc.held, 0);
        EXPECT_EQ(tiledSrc.badReleases, 0);
        EXPECT_TRUE(capture.reports().empty());
    }
}

TEST(ZoomTiled, RefusedTilesEndTheTiledSourcePaths) {
    ErrorCapture capture;
    TiledImage src(1, VSK_8U, 0, 64, 64, 16, 16);
    src.refuse.insert({1, 1});
    ImagePtr dst = makeImage(1, VSK_8U, 0, 128, 128, 0);
    setRoi(dst.get(), 0, 0, 0, 128, 128);
    VskROI* callers = dst->roi;
    zoom(src.get(), dst.get(), {2, 1, 2, 1}, VSK_INTER_NN);
    EXPECT_TRUE(capture.reports().empty());  // a failed fetch ends the call silently
    EXPECT_EQ(dst->roi, callers);
    EXPECT_EQ(src.held, 0);

    TiledImage src2(1, VSK_8U, 0, 64, 64, 16, 16);
    TiledImage dst2(1, VSK_8U, 0, 128, 128, 32, 32);
    dst2.refuse.insert({2, 0});
    zoom(src2.get(), dst2.get(), {2, 1, 2, 1}, VSK_INTER_CUBIC);
    EXPECT_EQ(reportsOf(capture),
              fault("vskZoom", "Error get tile to write", "vskZoom", 658, VSK_STATUS_UNKNOWN));
    EXPECT_EQ(describe(dst2.log), "(2,0,0)(4,0,0)(2,1,0)(4,1,0)(2,2,0)");
    EXPECT_EQ(src2.held, 0);
}
