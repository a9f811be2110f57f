// Mirror: checks, the three axes against a per-element model (plain, in place,
// channel of interest, mixed data orders, the source-columns rule), 1-bit rows
// at every bit offset, and the tiled paths against the plain run.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "../geometry/bitrow.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

const unsigned kDepths[] = {VSK_1U, VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S};

int elementBytes(unsigned depth) { return static_cast<int>((depth & 0x7FFFFFFFu) >> 3); }

// Byte offset (bit offset for 1-bit data) of channel c of pixel (x, y),
// addressed in `order` with the header's own widthStep and height.
std::int64_t offsetOf(const VskImage* image, int order, std::int64_t x, std::int64_t y, int c) {
    const std::int64_t step = image->widthStep;
    const int e = elementBytes(image->depth);
    if (e == 0) return y * step * 8 + x;
    if (order == VSK_DATA_ORDER_PLANE) return c * step * image->height + y * step + x * e;
    return y * step + (x * image->nChannels + c) * e;
}

struct Rect {
    int rows, cols;
};

// The rows and columns mirrored: each image's ROI bounded by its size; a
// source ROI wider than the room right of its offset is bounded by the rows
// below the offset instead.
Rect mirrorRect(const VskImage* src, const VskImage* dst) {
    auto bound = [](const VskImage* im, bool source) {
        const VskROI* r = im->roi;
        const int x = r ? r->xOffset : 0, y = r ? r->yOffset : 0;
        const int h = r ? r->height : im->height, w = r ? r->width : im->width;
        Rect out{std::min(h, im->height - y), std::min(w, im->width - x)};
        if (source && w > im->width - x) out.cols = im->height - y;
        return out;
    };
    const Rect s = bound(src, true), d = bound(dst, false);
    return {std::min(s.rows, d.rows), std::min(s.cols, d.cols)};
}

// What the destination's buffer holds after the mirror: every element of the
// rectangle moved from its mirrored source position, both buffers addressed
// in the source's order; elements outside either buffer don't move.
std::vector<std::uint8_t> mirrorModel(const std::vector<std::uint8_t>& srcBytes, const VskImage* src,
                                      const VskImage* dst, int flipAxis) {
    std::vector<std::uint8_t> out = bytesOf(dst);
    const Rect r = mirrorRect(src, dst);
    const int coi = src->roi ? src->roi->coi : 0;
    const int sx = src->roi ? src->roi->xOffset : 0, sy = src->roi ? src->roi->yOffset : 0;
    const int dx = dst->roi ? dst->roi->xOffset : 0, dy = dst->roi ? dst->roi->yOffset : 0;
    const int e = elementBytes(src->depth), order = src->dataOrder;
    for (int i = 0; i < r.rows; ++i)
        for (int j = 0; j < r.cols; ++j)
            for (int c = 0; c < src->nChannels; ++c) {
                if (coi && c != coi - 1) continue;
                const int si = flipAxis != 1 ? r.rows - 1 - i : i;
                const int sj = flipAxis != 0 ? r.cols - 1 - j : j;
                const std::int64_t so = offsetOf(src, order, sx + sj, sy + si, c);
                const std::int64_t doff = offsetOf(dst, order, dx + j, dy + i, c);
                if (e == 0) {
                    if (so >= std::int64_t{src->dataSize} * 8 || doff >= std::int64_t{dst->dataSize} * 8)
                        continue;
                    const int bit = (srcBytes[so / 8] >> (7 - so % 8)) & 1;
                    const auto mask = static_cast<std::uint8_t>(0x80 >> (doff % 8));
                    out[doff / 8] = static_cast<std::uint8_t>(bit ? out[doff / 8] | mask : out[doff / 8] & ~mask);
                    continue;
                }
                if (so + e > src->dataSize || doff + e > dst->dataSize) continue;
                std::memcpy(&out[doff], &srcBytes[so], e);
            }
    return out;
}

void setRoiOrNone(VskImage* image, bool roi, int coi, int x, int y, int h, int w) {
    if (roi) setRoi(image, coi, x, y, h, w);
}

}  // namespace

TEST(Mirror, ChecksInOrderWithTheirLines) {
    ErrorCapture capture;
    struct Case {
        const char* what;
        std::function<void(VskImage*, VskImage*, int&)> arrange;
        int line;
        const char* text;  // null: the header message
    } cases[] = {
        {"bad source header", [](VskImage* s, VskImage*, int&) { s->align = 2; }, 2098, nullptr},
        {"bad destination header", [](VskImage*, VskImage* d, int&) { d->nChannels = 0; }, 2099, nullptr},
        {"depths", [](VskImage* s, VskImage*, int& f) { s->depth = VSK_8S; f = 5; }, 2101,
         "(srcImage->depth!=dstImage->depth)"},
        {"channels", [](VskImage* s, VskImage*, int& f) { s->nChannels = 2; f = 5; }, 2102,
         "(srcImage->nChannels!=dstImage->nChannels)"},
        {"axis 2", [](VskImage*, VskImage*, int& f) { f = 2; }, 2103, "((flipAxis>1)||(flipAxis<-1))"},
        {"axis -2", [](VskImage*, VskImage*, int& f) { f = -2; }, 2103, "((flipAxis>1)||(flipAxis<-1))"},
        {"coi on the source only", [](VskImage* s, VskImage*, int&) { setRoi(s, 1, 0, 0, 2, 2); }, 2113,
         "(coiSrc!=coiDst)"},
        {"different cois", [](VskImage* s, VskImage* d, int& f) {
             setRoi(s, 1, 0, 0, 2, 2);
             setRoi(d, 2, 0, 0, 2, 2);
             f = 9;  // the axis is checked first
         }, 2103, "((flipAxis>1)||(flipAxis<-1))"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ImagePtr src = makeImage(3, VSK_8U, 0, 4, 5, 7);
        ImagePtr dst = makeImage(3, VSK_8U, 0, 4, 5, 1);
        int flip = 0;
        c.arrange(src.get(), dst.get(), flip);
        const auto before = bytesOf(dst.get());
        capture.clear();
        tvskMirror(src.get(), dst.get(), flip, nullptr);
        ASSERT_EQ(capture.reports().size(), 1u);
        const Report& r = capture.reports()[0];
        EXPECT_EQ(r.status, -5);
        EXPECT_EQ(r.func, "vskMirror");
        EXPECT_EQ(r.file, "vskmirr");
        EXPECT_EQ(r.line, c.line);
        if (c.text) {
            EXPECT_EQ(r.context, c.text);
        } else {
            EXPECT_EQ(r.context.rfind("Image ", 0), 0u) << r.context;
        }
        EXPECT_EQ(bytesOf(dst.get()), before);
    }
    // Different data orders and origins are not checked.
    capture.clear();
    ImagePtr a = makeImage(1, VSK_8U, 0, 3, 3), b = makeImage(1, VSK_8U, 1, 3, 3);
    b->origin = 1;
    tvskMirror(a.get(), b.get(), 0, nullptr);
    EXPECT_TRUE(capture.reports().empty());
}

// Random images, ROIs and channels of interest at every depth and order,
// into another image and in place, against the model.
TEST(Mirror, RandomImagesMatchTheModel) {
    ErrorCapture capture;
    std::mt19937 rng(2024);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (unsigned depth : kDepths)
        for (int order : {0, 1})
            for (int trial = 0; trial < 40; ++trial) {
                const int n = depth == VSK_1U ? 1 : std::vector<int>{1, 2, 3, 4, 5}[pick(0, 4)];
                const int flip = pick(-1, 1);
                const bool inPlace = trial % 4 == 3;
                const int sh = pick(1, 13), sw = pick(1, 21), dh = pick(1, 13), dw = pick(1, 21);
                GuardedImage src(n, depth, order, sh, sw, trial % 2 ? 8 : 4);
                GuardedImage dstImage(n, depth, trial % 5 == 0 ? 1 - order : order, dh, dw);
                VskImage* dst = inPlace ? src.get() : dstImage.get();
                fillRandom(src.get(), trial * 7 + 1);
                fillRandom(dstImage.get(), trial * 7 + 2);
                const int coi = n > 1 && pick(0, 2) == 0 ? pick(1, n) : 0;
                const bool roi = coi || pick(0, 3) > 0;
                // Source ROIs sometimes wider than the room to the right.
                setRoiOrNone(src.get(), roi, coi, pick(0, sw - 1), pick(0, sh - 1), pick(1, sh),
                             pick(1, sw + 4));
                if (!inPlace)
                    setRoiOrNone(dst, roi, coi, pick(0, dw - 1), pick(0, dh - 1), pick(1, dh), pick(1, dw));
                SCOPED_TRACE(testing::Message() << "depth " << depth << " order " << order << " trial "
                                                << trial << " flip " << flip << " coi " << coi);
                const auto srcBytes = bytesOf(src.get());
                const auto expected = mirrorModel(srcBytes, src.get(), dst, flip);
                tvskMirror(src.get(), dst, flip, nullptr);
                ASSERT_TRUE(capture.reports().empty());
                ASSERT_EQ(bytesOf(dst), expected);
                if (!inPlace) {
                    ASSERT_EQ(bytesOf(src.get()), srcBytes);
                }
            }
}

TEST(Mirror, InPlaceOddSizesKeepTheMiddle) {
    struct Case {
        int flip, rows, cols;
    } cases[] = {{0, 5, 4}, {1, 4, 5}, {-1, 5, 5}, {0, 1, 3}, {1, 3, 1}};
    for (const Case& c : cases) {
        ImagePtr image = makeImage(1, VSK_16S, 0, c.rows, c.cols);
        for (int y = 0; y < c.rows; ++y)
            for (int x = 0; x < c.cols; ++x) put(image.get(), x, y, 0, 100 * y + x);
        tvskMirror(image.get(), image.get(), c.flip, nullptr);
        for (int y = 0; y < c.rows; ++y)
            for (int x = 0; x < c.cols; ++x) {
                const int sy = c.flip != 1 ? c.rows - 1 - y : y, sx = c.flip != 0 ? c.cols - 1 - x : x;
                EXPECT_EQ(get(image.get(), x, y), 100 * sy + sx) << c.flip << " at " << x << "," << y;
            }
    }
}

TEST(Mirror, SmallerDestinationAndChannelOfInterest) {
    // A 2 x 3 destination ROI takes the top-left 2 x 3 of the source ROI, flipped.
    ImagePtr src = makeImage(3, VSK_8U, 0, 6, 6);
    ImagePtr dst = makeImage(3, VSK_8U, 0, 6, 6, 9);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x)
            for (int c = 0; c < 3; ++c) put(src.get(), x, y, c, 10 * y + x + 100 * c);
    setRoi(src.get(), 2, 1, 1, 4, 4);
    setRoi(dst.get(), 2, 3, 2, 2, 3);
    tvskMirror(src.get(), dst.get(), -1, nullptr);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x)
            for (int c = 0; c < 3; ++c) {
                const bool in = c == 1 && x >= 3 && y >= 2 && y < 4;
                const int want = in ? 10 * (1 + 1 - (y - 2)) + (1 + 2 - (x - 3)) + 100 : 9;
                EXPECT_EQ(get(dst.get(), x, y, c), want) << x << "," << y << "," << c;
            }
}

TEST(Mirror, WideSourceRoiTakesColumnsFromTheRowBound) {
    // Source ROI at (6, 1) wider than the 2 columns to its right: columns =
    // height - 1 = 4, so the last two are read from the start of the next row.
    ImagePtr src = makeImage(1, VSK_8U, 0, 5, 8);
    for (int i = 0; i < src->dataSize; ++i) src->imageData[i] = static_cast<char>(i);
    ImagePtr dst = makeImage(1, VSK_8U, 0, 5, 8, 0xEE);
    setRoi(src.get(), 0, 6, 1, 1, 9);
    tvskMirror(src.get(), dst.get(), 1, nullptr);
    const std::vector<int> want = {17, 16, 15, 14, 0xEE, 0xEE};
    for (int x = 0; x < 6; ++x) EXPECT_EQ(get(dst.get(), x, 0), want[x]) << x;

    // In the last rows the columns stop at the buffer's end, within a pixel.
    GuardedImage g(3, VSK_8U, 0, 10, 5);
    fillRandom(g.get(), 3);
    setRoi(g.get(), 0, 3, 0, 10, 10);
    ImagePtr wide = makeImage(3, VSK_8U, 0, 10, 12, 0xEE);
    for (int flip : {0, 1, -1}) {
        const auto expected = mirrorModel(bytesOf(g.get()), g.get(), wide.get(), flip);
        tvskMirror(g.get(), wide.get(), flip, nullptr);
        EXPECT_EQ(bytesOf(wide.get()), expected) << "flip " << flip;
    }
}

TEST(Mirror, DifferentDataOrdersUseTheSourceOrder) {
    ImagePtr src = makeImage(2, VSK_8U, VSK_DATA_ORDER_PIXEL, 2, 3);
    for (int i = 0; i < src->dataSize; ++i) src->imageData[i] = static_cast<char>(i + 1);
    ImagePtr dst = makeImage(2, VSK_8U, VSK_DATA_ORDER_PLANE, 2, 3, 0);
    tvskMirror(src.get(), dst.get(), 0, nullptr);
    // The plane-order destination is written as pixel-order rows of its own
    // 4-byte stride: row 0 (bytes 0..5) takes source row 1, then row 1
    // (bytes 4..9) source row 0.
    const std::vector<std::uint8_t> want = {9, 10, 11, 12, 1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(bytesOf(dst.get()), want);
}

// ---- 1-bit rows ------------------------------------------------------------------

TEST(BitRows, EveryOffsetAndLengthAgainstABitModel) {
    std::mt19937 rng(7);
    std::vector<std::uint8_t> src(8), dst(8);
    auto bit = [](const std::vector<std::uint8_t>& v, int i) { return (v[i / 8] >> (7 - i % 8)) & 1; };
    for (int s = 0; s < 16; ++s)
        for (int d = 0; d < 16; ++d)
            for (int n = 0; n <= 40; ++n)
                for (bool reversed : {false, true}) {
                    for (auto& b : src) b = static_cast<std::uint8_t>(rng());
                    for (auto& b : dst) b = static_cast<std::uint8_t>(rng());
                    // The run's own bytes only: exactly-sized vectors catch over-reads under ASan.
                    std::vector<std::uint8_t> sv(src.begin(), src.begin() + (s + n + 7) / 8);
                    std::vector<std::uint8_t> dv(dst.begin(), dst.begin() + (d + n + 7) / 8);
                    const std::vector<std::uint8_t> before = dv;
                    if (reversed)
                        vsk::copyBitsReversed(dv.data(), d, sv.data(), s, n);
                    else
                        vsk::copyBits(dv.data(), d, sv.data(), s, n);
                    for (int i = 0; i < static_cast<int>(dv.size()) * 8; ++i) {
                        const int k = i - d;
                        const int want = k >= 0 && k < n ? bit(sv, reversed ? s + n - 1 - k : s + k) : bit(before, i);
                        ASSERT_EQ(bit(dv, i), want) << "s " << s << " d " << d << " n " << n << " bit " << i
                                                    << (reversed ? " reversed" : "");
                    }
                }
}

TEST(Mirror, OneBitAtEveryOffsetKeepsNeighbouringBits) {
    ErrorCapture capture;
    for (int flip : {0, 1, -1})
        for (int sx = 0; sx < 16; ++sx)
            for (int dx = 0; dx < 16; dx += 3)
                for (int cols : {1, 7, 8, 9, 23}) {
                    SCOPED_TRACE(testing::Message() << "flip " << flip << " sx " << sx << " dx " << dx
                                                    << " cols " << cols);
                    GuardedImage src(1, VSK_1U, 0, 5, 40), dst(1, VSK_1U, 0, 5, 41);
                    fillRandom(src.get(), sx * 31 + cols);
                    fillRandom(dst.get(), dx * 17 + cols);
                    setRoi(src.get(), 0, sx, 1, 3, cols);
                    setRoi(dst.get(), 0, dx, 1, 4, cols + 2);
                    auto expected = mirrorModel(bytesOf(src.get()), src.get(), dst.get(), flip);
                    tvskMirror(src.get(), dst.get(), flip, nullptr);
                    ASSERT_EQ(bytesOf(dst.get()), expected);
                    // In place, the same rectangle of the source.
                    expected = mirrorModel(bytesOf(src.get()), src.get(), src.get(), flip);
                    tvskMirror(src.get(), src.get(), flip, nullptr);
                    ASSERT_EQ(bytesOf(src.get()), expected);
                }
    EXPECT_TRUE(capture.reports().empty());
}

// ---- tiled images ----------------------------------------------------------------

namespace {

struct TiledCase {
    unsigned depth;
    int order, n;
    int sx, sy, dx, dy, rows, cols;  // ROIs (same size) in 37 x 29 images
    int coi;
};

const TiledCase kTiledCases[] = {
    {VSK_8U, 0, 3, 2, 3, 5, 6, 20, 25, 0},
    {VSK_16S, 1, 2, 0, 0, 9, 4, 17, 19, 2},
    {VSK_32S, 0, 4, 7, 1, 0, 0, 28, 30, 3},
    {VSK_1U, 0, 1, 3, 5, 13, 2, 21, 22, 0},
    {VSK_8S, 0, 1, 1, 1, 3, 3, 6, 5, 0},  // inside one tile
};

// Every sample of a plain image, padding left out.
std::vector<std::int64_t> samples(const VskImage* image) {
    std::vector<std::int64_t> out;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < image->nChannels; ++c) out.push_back(get(image, x, y, c));
    return out;
}

// A plain image and a tiled one with the same random pixels.
struct Pair {
    ImagePtr plain;
    TiledImage tiled;
    Pair(const TiledCase& c, int tw, int th, std::uint32_t seed)
        : plain(makeImage(c.n, c.depth, c.order, 29, 37)), tiled(c.n, c.depth, c.order, 29, 37, tw, th) {
        fillRandom(plain.get(), seed);
        tiled.loadFrom(plain.get());
    }
    // The tiled image's samples.
    std::vector<std::int64_t> pixels() {
        ImagePtr out = makeImage(tiled.get()->nChannels, tiled.get()->depth, tiled.get()->dataOrder, 29, 37);
        tiled.storeTo(out.get());
        return samples(out.get());
    }
};

// Each write request with the call that follows it.
std::string writes(const std::vector<TileCall>& log) {
    std::vector<TileCall> w;
    for (std::size_t k = 0; k < log.size(); ++k)
        if (log[k].mode == VSK_TILE_WRITE) {
            w.push_back(log[k]);
            if (k + 1 < log.size()) w.push_back(log[k + 1]);
        }
    return describe(w);
}

}  // namespace

TEST(MirrorTiled, EveryPathEqualsThePlainRun) {
    ErrorCapture capture;
    for (const TiledCase& c : kTiledCases)
        for (int flip : {0, 1, -1}) {
            SCOPED_TRACE(testing::Message() << "depth " << c.depth << " flip " << flip << " roi " << c.dx
                                            << "," << c.dy);
            Pair src(c, 16, 8, 11), dst(c, 8, 16, 12);
            for (VskImage* im : {src.plain.get(), src.tiled.get()}) setRoi(im, c.coi, c.sx, c.sy, c.rows, c.cols);
            for (VskImage* im : {dst.plain.get(), dst.tiled.get()}) setRoi(im, c.coi, c.dx, c.dy, c.rows, c.cols);
            ImagePtr want = makeImage(c.n, c.depth, c.order, 29, 37);
            std::memcpy(want->imageData, dst.plain->imageData, want->dataSize);
            setRoi(want.get(), c.coi, c.dx, c.dy, c.rows, c.cols);
            tvskMirror(src.plain.get(), want.get(), flip, nullptr);

            // Tiled source into a plain destination.
            tvskMirror(src.tiled.get(), dst.plain.get(), flip, nullptr);
            EXPECT_EQ(samples(dst.plain.get()), samples(want.get()));
            // Plain and tiled sources into a tiled destination.
            tvskMirror(src.plain.get(), dst.tiled.get(), flip, nullptr);
            EXPECT_EQ(dst.pixels(), samples(want.get()));
            Pair dst2(c, 8, 16, 12);
            setRoi(dst2.tiled.get(), c.coi, c.dx, c.dy, c.rows, c.cols);
            tvskMirror(src.tiled.get(), dst2.tiled.get(), flip, nullptr);
            EXPECT_EQ(dst2.pixels(), samples(want.get()));
            for (TiledImage* t : {&src.tiled, &dst.tiled, &dst2.tiled}) {
                EXPECT_EQ(t->held, 0);
                EXPECT_EQ(t->badReleases, 0);
            }
            // In place, plain and tiled.
            setRoi(src.plain.get(), c.coi, c.dx, c.dy, c.rows, c.cols);
            setRoi(src.tiled.get(), c.coi, c.dx, c.dy, c.rows, c.cols);
            tvskMirror(src.plain.get(), src.plain.get(), flip, nullptr);
            tvskMirror(src.tiled.get(), src.tiled.get(), flip, nullptr);
            EXPECT_EQ(src.pixels(), samples(src.plain.get()));
            EXPECT_EQ(src.tiled.held, 0);
        }
    EXPECT_TRUE(capture.reports().empty());
}

TEST(MirrorTiled, WalkOrderFollowsTheAxis) {
    // ROI (3, 3) of 10 x 10 in 8 x 8 tiles: tile columns and rows 0 and 1.
    struct Case {
        int flip;
        const char* log;
    } cases[] = {
        {0, "(2,0,1)(4,0,1)(2,0,0)(4,0,0)(2,1,1)(4,1,1)(2,1,0)(4,1,0)"},
        {1, "(2,1,0)(4,1,0)(2,0,0)(4,0,0)(2,1,1)(4,1,1)(2,0,1)(4,0,1)"},
        {-1, "(2,1,1)(4,1,1)(2,1,0)(4,1,0)(2,0,1)(4,0,1)(2,0,0)(4,0,0)"},
    };
    for (const Case& c : cases) {
        TiledImage t(1, VSK_8U, 0, 16, 16, 8, 8);
        setRoi(t.get(), 0, 3, 3, 10, 10);
        ImagePtr src = makeImage(1, VSK_8U, 0, 16, 16);
        tvskMirror(src.get(), t.get(), c.flip, nullptr);
        EXPECT_EQ(describe(t.log), c.log) << "flip " << c.flip;
        // In place: the strips are read before their tiles are written.
        t.log.clear();
        tvskMirror(t.get(), t.get(), c.flip, nullptr);
        EXPECT_EQ(writes(t.log), c.log) << "in place, flip " << c.flip;
        EXPECT_EQ(t.log.front().mode, VSK_TILE_READ);
        EXPECT_EQ(t.held, 0);
    }
}

TEST(MirrorTiled, TilePointWritesOneTile) {
    ErrorCapture capture;
    const TiledCase c = kTiledCases[0];
    struct Case {
        int x, y;
        const char* log;
    } cases[] = {
        {12, 7, "(2,1,0)(4,1,0)"},
        {5, 6, "(2,0,0)(4,0,0)"},    // the rectangle's first pixel
        {29, 25, "(2,3,3)(4,3,3)"},  // its last
        {4, 6, ""},                  // left of the rectangle
        {30, 20, ""},                // right of it
        {10, 26, ""},                // below it
    };
    for (int flip : {0, 1, -1})
        for (const Case& k : cases) {
            SCOPED_TRACE(testing::Message() << "flip " << flip << " point " << k.x << "," << k.y);
            Pair src(c, 8, 8, 21), dst(c, 8, 8, 22);
            setRoi(src.plain.get(), 0, c.sx, c.sy, c.rows, c.cols);
            setRoi(dst.tiled.get(), 0, c.dx, c.dy, c.rows, c.cols);
            setRoi(dst.plain.get(), 0, c.dx, c.dy, c.rows, c.cols);
            ImagePtr before = makeImage(c.n, c.depth, c.order, 29, 37);
            std::memcpy(before->imageData, dst.plain->imageData, before->dataSize);
            tvskMirror(src.plain.get(), dst.plain.get(), flip, nullptr);
            const int point[2] = {k.x, k.y};
            tvskMirror(src.plain.get(), dst.tiled.get(), flip, point);
            EXPECT_EQ(describe(dst.tiled.log), k.log);
            // Inside the chosen tile the plain result, elsewhere the old pixels.
            for (int y = 0; y < 29; ++y)
                for (int x = 0; x < 37; ++x) {
                    const bool mine = *k.log && x / 8 == k.x / 8 && y / 8 == k.y / 8;
                    const VskImage* ref = mine ? dst.plain.get() : before.get();
                    for (int ch = 0; ch < c.n; ++ch)
                        ASSERT_EQ(dst.tiled.get(x, y, ch), get(ref, x, y, ch)) << x << "," << y;
                }
        }
    EXPECT_TRUE(capture.reports().empty());
}

TEST(MirrorTiled, RefusedTileEndsTheCallSilently) {
    ErrorCapture capture;
    TiledImage t(1, VSK_8U, 0, 16, 16, 8, 8);
    t.refuse.insert({0, 0});
    ImagePtr src = makeImage(1, VSK_8U, 0, 16, 16);
    tvskMirror(src.get(), t.get(), 0, nullptr);
    EXPECT_EQ(describe(t.log), "(2,0,1)(4,0,1)(2,0,0)");
    EXPECT_EQ(t.held, 0);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(tvskGetErrStatus(), 0);

    // A tiled source that refuses a tile: nothing is written.
    TiledImage s(1, VSK_8U, 0, 16, 16, 8, 8);
    s.refuse.insert({1, 1});
    ImagePtr dst = makeImage(1, VSK_8U, 0, 16, 16, 5);
    const auto before = bytesOf(dst.get());
    tvskMirror(s.get(), dst.get(), -1, nullptr);
    EXPECT_EQ(bytesOf(dst.get()), before);
    EXPECT_EQ(s.held, 0);
    EXPECT_TRUE(capture.reports().empty());
}
