// Copy, exchange and fill: checks and their reports, the channel-of-interest
// rules, 1-bit runs, saturation, buffer edges, and tiled images against the
// same operation on buffered images.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

// ---- images ---------------------------------------------------------------------

struct Roi {
    int coi, x, y, h, w;  // h == 0: no ROI
};

void applyRoi(VskImage* im, const Roi& r) {
    if (r.h) setRoi(im, r.coi, r.x, r.y, r.h, r.w);
}

ImagePtr randomImage(int n, unsigned depth, int order, int h, int w, const Roi& roi, unsigned seed) {
    ImagePtr im = makeImage(n, depth, order, h, w);
    fillRandom(im.get(), seed);
    applyRoi(im.get(), roi);
    return im;
}

// A source and a destination, either of them tiled (tiling bit 1: the
// destination, bit 2: the source), holding the buffered images' contents.
struct Tiling {
    std::unique_ptr<TiledImage> ts, td;
    VskImage* src;
    VskImage* dst;
    Tiling(VskImage* s, VskImage* d, int tiling, int tw, int th) : src(s), dst(d) {
        if (tiling & 2) src = (ts = tiledCopy(s, tw, th))->get();
        if (tiling & 1) dst = (td = tiledCopy(d, tw, th))->get();
    }
};

using TwoImageFn = void(VSK_CALL*)(VskImage*, VskImage*, const int*);

struct TwoImageOp {
    TwoImageFn fn;
    bool swap;
    const char* name;
    int srcLine, dstLine, compatLine, dstTiledLine, srcTiledLine, bothTiledLine, srcMode;
};
const TwoImageOp kOps[] = {
    {tvskCopy, false, "vskCopy", 54, 55, 56, 353, 255, 148, VSK_TILE_READ},
    {vskExchange, true, "vskExchange", 637, 638, 639, 957, 859, 733, VSK_TILE_WRITE},
};

}  // namespace

// ---- checks ------------------------------------------------------------------------

TEST(Copy, ChecksReportInOrderAndStopTheCall) {
    struct Case {
        const char* what;
        void (*spoil)(VskImage* src, VskImage* dst);
        std::vector<std::pair<int, std::string>> reports;  // line selector (0 src, 1 dst, 2 compat), text
    } cases[] = {
        {"source without data", [](VskImage* s, VskImage*) { s->imageData = nullptr; },
         {{0, paddedLine("Image data and tileinfo is either null or not null")}}},
        {"both bad: only the source", [](VskImage* s, VskImage* d) { s->align = 2; d->roi->width = 0; },
         {{0, paddedLine("Image align is invalid")}}},
        {"destination ROI", [](VskImage*, VskImage* d) { d->roi->width = 0; d->roi->xOffset = -1; },
         {{1, paddedLine("ROI size is invalid") + paddedLine("ROI offset is invalid")}}},
        {"depth and origin", [](VskImage*, VskImage* d) { d->depth = VSK_8S; d->origin = 1; },
         {{2, "srcImage->depth != dstImage->depth"}, {2, "srcImage->origin != dstImage->origin"}}},
        {"data order", [](VskImage*, VskImage* d) { d->dataOrder = 1; },
         {{2, "srcImage->dataOrder != dstImage->dataOrder"}}},
    };
    for (const TwoImageOp& op : kOps)
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(op.name) + ": " + c.what);
            ErrorCapture capture;
            ImagePtr src = randomImage(1, VSK_8U, 0, 4, 6, {0, 0, 0, 4, 6}, 1);
            ImagePtr dst = randomImage(1, VSK_8U, 0, 4, 6, {0, 0, 0, 4, 6}, 2);
            const auto before = bytesOf(dst.get());
            char* data = src->imageData;
            c.spoil(src.get(), dst.get());
            op.fn(src.get(), dst.get(), nullptr);
            src->imageData = data;
            src->align = 4;
            const int lines[] = {op.srcLine, op.dstLine, op.compatLine};
            std::string want;
            for (const auto& [which, text] : c.reports) want += fault(op.name, text, "vskSCE", lines[which]);
            EXPECT_EQ(reportsOf(capture), want);
            EXPECT_EQ(bytesOf(dst.get()), before);
        }
    // A null header is reported by its own line.
    ErrorCapture capture;
    ImagePtr im = makeImage(1, VSK_8U, 0, 2, 2);
    tvskCopy(nullptr, im.get(), nullptr);
    tvskCopy(im.get(), nullptr, nullptr);
    EXPECT_EQ(reportsOf(capture), fault("vskCopy", paddedLine("Image header is null"), "vskSCE", 54) +
                                      fault("vskCopy", paddedLine("Image header is null"), "vskSCE", 55));
}

TEST(Copy, NegativeStatusStopsCopyAndExchangeButNotFill) {
    ErrorCapture capture;
    ImagePtr src = randomImage(1, VSK_8U, 0, 3, 8, {}, 1);
    ImagePtr dst = randomImage(1, VSK_8U, 0, 3, 8, {}, 2);
    const auto before = bytesOf(dst.get());
    tvskCopy(nullptr, dst.get(), nullptr);  // an earlier failed call
    ASSERT_EQ(tvskGetErrStatus(), -5);
    capture.clear();
    vskSetErrStatus(-5);
    tvskCopy(src.get(), dst.get(), nullptr);
    vskExchange(src.get(), dst.get(), nullptr);
    EXPECT_EQ(bytesOf(dst.get()), before);
    EXPECT_TRUE(capture.reports().empty());

    tvskSet(dst.get(), 9, nullptr);
    EXPECT_EQ(get(dst.get(), 7, 2), 9);
    vskSetErrStatus(0);
    tvskCopy(src.get(), dst.get(), nullptr);
    EXPECT_EQ(bytesOf(dst.get()), bytesOf(src.get()));
}

// ---- plain copy and exchange ------------------------------------------------------------

TEST(Copy, RegionIsTheSmallerOneAnchoredAtBothCorners) {
    struct Case {
        const char* what;
        int n, sh, sw;
        Roi sr;
        int dn, dh, dw;
        Roi dr;
        int x, y, rows, cols;  // the destination block that changes
    } cases[] = {
        {"3 channels without ROIs: whole rows", 3, 6, 5, {}, 3, 6, 5, {}, 0, 0, 6, 5},
        {"10x10 into 4x20", 1, 12, 12, {0, 0, 0, 10, 10}, 1, 24, 24, {0, 1, 1, 4, 20}, 1, 1, 4, 10},
        {"ROI past the image edge", 1, 8, 8, {0, 5, 5, 10, 10}, 1, 8, 8, {}, 0, 0, 3, 3},
        {"coi 2 into one channel", 3, 4, 4, {2, 0, 0, 4, 4}, 1, 4, 4, {}, 0, 0, 4, 4},
        {"all channels into coi 1", 3, 4, 4, {0, 0, 0, 4, 4}, 3, 4, 4, {1, 0, 0, 4, 4}, 0, 0, 0, 0},
        {"ROI offset past the width", 1, 4, 4, {0, 4, 0, 2, 2}, 1, 4, 4, {}, 0, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ErrorCapture capture;
        ImagePtr s = makeImage(c.n, VSK_8U, 0, c.sh, c.sw);
        for (int y = 0; y < c.sh; ++y)
            for (int x = 0; x < c.sw; ++x)
                for (int ch = 0; ch < c.n; ++ch) put(s.get(), x, y, ch, 1 + x + 16 * y + 64 * ch);
        applyRoi(s.get(), c.sr);
        ImagePtr d = makeImage(c.dn, VSK_8U, 0, c.dh, c.dw, 0);
        applyRoi(d.get(), c.dr);
        tvskCopy(s.get(), d.get(), nullptr);
        EXPECT_TRUE(capture.reports().empty());
        const int sx = c.sr.h ? c.sr.x : 0, sy = c.sr.h ? c.sr.y : 0;
        const int sch = c.sr.coi ? c.sr.coi - 1 : 0;
        for (int y = 0; y < c.dh; ++y)
            for (int x = 0; x < c.dw; ++x)
                for (int ch = 0; ch < c.dn; ++ch) {
                    const bool inside = x >= c.x && x < c.x + c.cols && y >= c.y && y < c.y + c.rows;
                    const int want = inside ? 1 + (sx + x - c.x) + 16 * (sy + y - c.y) + 64 * (sch + ch) : 0;
                    ASSERT_EQ(get(d.get(), x, y, ch), want & 0xFF) << x << "," << y << " channel " << ch;
                }
    }
}

TEST(Copy, OneBitRunsFromAnyBitToAnyBit) {
    // Each row copies as many bits as there are columns, from the source ROI's
    // first bit to the destination's; the bits around the run keep their
    // values, and every row is copied, the last one ending at the last byte
    // of its buffer too.
    struct Case {
        int width, height, align, srcX, dstX, count;
    } cases[] = {{16, 1, 4, 3, 6, 5}, {32, 3, 4, 0, 0, 32}, {64, 2, 8, 7, 0, 57},
                 {40, 2, 8, 1, 9, 31}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " bits from " << c.srcX << " to " << c.dstX);
        ImagePtr s = makeImage(1, VSK_1U, 0, c.height, c.width, -1, c.align);
        ImagePtr d = makeImage(1, VSK_1U, 0, c.height, c.width, -1, c.align);
        fillRandom(s.get(), 1);
        fillRandom(d.get(), 2);
        setRoi(s.get(), 0, c.srcX, 0, c.height, c.count);
        setRoi(d.get(), 0, c.dstX, 0, c.height, c.count);
        ImagePtr want = cloneImage(d.get());
        for (int y = 0; y < c.height; ++y)
            for (int x = 0; x < c.count; ++x) put(want.get(), c.dstX + x, y, 0, get(s.get(), c.srcX + x, y));
        tvskCopy(s.get(), d.get(), nullptr);
        EXPECT_EQ(bytesOf(d.get()), bytesOf(want.get()));
    }
    // Five pixels from column 3 to column 6 change exactly pixels 6..10.
    ImagePtr s = makeImage(1, VSK_1U, 0, 1, 16, 3);  // all ones
    ImagePtr d = makeImage(1, VSK_1U, 0, 1, 16, 0);
    setRoi(s.get(), 0, 3, 0, 1, 5);
    setRoi(d.get(), 0, 6, 0, 1, 5);
    tvskCopy(s.get(), d.get(), nullptr);
    EXPECT_EQ(static_cast<std::uint8_t>(d->imageData[0]), 0x03);
    EXPECT_EQ(static_cast<std::uint8_t>(d->imageData[1]), 0xE0);
}

TEST(Copy, StaysInsideTheBuffer) {
    // ROIs ending at the last byte of a buffer followed by an inaccessible page.
    for (unsigned depth : {VSK_1U, VSK_8U, VSK_16U, VSK_32S})
        for (int order : {0, 1})
            for (int coi : {0, 2}) {
                const int n = depth == VSK_1U ? 1 : 3;
                if (coi > n) continue;
                GuardedImage g(n, depth, order, 7, 13);
                fillRandom(g.get(), 5);
                ImagePtr p = randomImage(n, depth, order, 7, 13, {coi, 4, 2, 20, 20}, 6);
                setRoi(g.get(), coi, 9, 3, 9, 9);
                tvskCopy(p.get(), g.get(), nullptr);
                tvskCopy(g.get(), p.get(), nullptr);
                vskExchange(p.get(), g.get(), nullptr);
                tvskSet(g.get(), 1, nullptr);
            }
    // A header grown after allocation is worked on up to the buffer's edge,
    // with padded rows and with rows that follow one another.
    ErrorCapture capture;
    for (int width : {6, 8}) {
        GuardedImage g(1, VSK_8U, 0, 4, width);
        ImagePtr src = randomImage(1, VSK_8U, 0, 9, width, {}, 8);
        g.get()->height = 9;
        tvskCopy(src.get(), g.get(), nullptr);
        tvskSet(g.get(), 3, nullptr);
        g.get()->height = 4;
        EXPECT_EQ(get(g.get(), width - 1, 3), 3);
    }
    // 2^31 - 1 planes set after allocating 3: the planes inside are worked on
    // and the walk stops at the first plane past the buffer's end.
    GuardedImage g(3, VSK_8U, 1, 4, 6);
    ImagePtr src = randomImage(3, VSK_8U, 1, 4, 6, {}, 9);
    const std::int64_t last = get(src.get(), 5, 3, 2);
    auto planes = [&](int n, auto call) {
        g.get()->nChannels = src->nChannels = n;
        call();
        g.get()->nChannels = src->nChannels = 3;
    };
    planes(INT_MAX, [&] { tvskCopy(src.get(), g.get(), nullptr); });
    EXPECT_EQ(get(g.get(), 5, 3, 2), last);
    planes(INT_MAX, [&] { tvskAddS(src.get(), g.get(), 1, nullptr); });
    EXPECT_EQ(get(g.get(), 5, 3, 2), std::min<std::int64_t>(last + 1, 255));
    planes(INT_MAX, [&] { tvskSet(g.get(), 3, nullptr); });
    EXPECT_EQ(get(g.get(), 5, 3, 2), 3);
    EXPECT_TRUE(capture.reports().empty());
}

// ---- fill --------------------------------------------------------------------------------

TEST(Set, SaturatesToTheDepth) {
    struct Case {
        unsigned depth;
        int value;
        std::int64_t written;
    } cases[] = {
        {VSK_8U, 300, 255},     {VSK_8S, 300, 127},        {VSK_16S, 300, 300},
        {VSK_16U, -5, 0},       {VSK_32S, -5, -5},         {VSK_8U, -1, 0},
        {VSK_8S, -300, -128},   {VSK_16U, 70000, 65535},   {VSK_16S, -40000, -32768},
        {VSK_32S, INT_MIN, INT_MIN}, {VSK_1U, -1, 0},      {VSK_1U, 0, 0},
        {VSK_1U, 1, 1},         {VSK_1U, 2, 1},            {VSK_1U, 7, 1},
    };
    for (const Case& c : cases) {
        ImagePtr im = randomImage(1, c.depth, 0, 3, 11, {}, 2);
        tvskSet(im.get(), c.value, nullptr);
        for (int x = 0; x < 11; ++x)
            ASSERT_EQ(get(im.get(), x, 2), c.written) << "depth " << (c.depth & 0xFF) << " value " << c.value;
    }
}

TEST(Set, ChannelOfInterestPlanesAndBits) {
    // A ROI of 2 rows at (2, 1) clipped to the image; rows of 8 pixels have no
    // padding, and whole rows and planes are then one run.
    struct Case {
        int order, coi, width;  // coi -1: no ROI
    } cases[] = {{0, 2, 9}, {0, 0, 9}, {0, -1, 8}, {1, -1, 9}, {1, 3, 8}, {1, 0, 9}};
    for (const Case& c : cases)
        for (unsigned depth : {VSK_8S, VSK_16U, VSK_32S}) {
            SCOPED_TRACE(testing::Message() << "order " << c.order << " coi " << c.coi << " width "
                                            << c.width << " depth " << (depth & 0xFF));
            ImagePtr im = randomImage(3, depth, c.order, 4, c.width, {}, 7);
            if (c.coi >= 0) setRoi(im.get(), c.coi, 2, 1, 2, 30);
            ImagePtr want = cloneImage(im.get());
            const int x0 = c.coi >= 0 ? 2 : 0, y0 = c.coi >= 0 ? 1 : 0, y1 = c.coi >= 0 ? 3 : 4;
            const std::int64_t value = depth == VSK_8S ? -128 : depth == VSK_16U ? 0 : -70000;
            for (int y = y0; y < y1; ++y)
                for (int x = x0; x < c.width; ++x)
                    for (int ch = 0; ch < 3; ++ch)
                        if (c.coi <= 0 || ch == c.coi - 1) put(want.get(), x, y, ch, value);
            tvskSet(im.get(), -70000, nullptr);
            EXPECT_EQ(bytesOf(im.get()), bytesOf(want.get()));
        }
    // ROI x 3, width 4: pixels 3..6 set, 0..2 and 7 of the byte kept.
    ImagePtr im = makeImage(1, VSK_1U, 0, 2, 8, 0);
    setRoi(im.get(), 0, 3, 0, 2, 4);
    tvskSet(im.get(), 7, nullptr);
    EXPECT_EQ(static_cast<std::uint8_t>(im->imageData[0]), 0x1E);
}

TEST(Set, ReportsABadHeaderOnly) {
    ErrorCapture capture;
    ImagePtr im = makeImage(1, VSK_8U, 0, 2, 2);
    im->nChannels = 0;
    im->origin = 3;
    tvskSet(im.get(), 1, nullptr);
    im->nChannels = 1;
    EXPECT_EQ(reportsOf(capture), fault("vskSet", paddedLine("Image channel's number is less one") +
                                                          paddedLine("Image origin is invalid"),
                                        "vskSCE", 479));
    EXPECT_EQ(get(im.get(), 0, 0), 0);
}

// ---- tiled images -------------------------------------------------------------------------

namespace {

struct TiledCase {
    int n;
    unsigned depth;
    int order, h, w;
    Roi sr, dr;
    int tw, th;
};

const TiledCase kTiledCases[] = {
    {1, VSK_8U, 0, 20, 19, {0, 5, 5, 10, 10}, {0, 5, 5, 10, 10}, 8, 8},
    {3, VSK_16U, 0, 21, 30, {}, {}, 8, 16},
    {3, VSK_8S, 0, 20, 24, {2, 1, 3, 15, 20}, {3, 6, 2, 17, 13}, 8, 8},
    {3, VSK_32S, 1, 17, 17, {0, 0, 1, 12, 12}, {0, 3, 4, 13, 13}, 8, 8},
    {3, VSK_16S, 1, 18, 18, {3, 2, 2, 9, 9}, {1, 9, 8, 9, 9}, 8, 8},
    {3, VSK_8U, 0, 16, 16, {2, 0, 0, 16, 16}, {0, 0, 0, 0, 0}, 8, 8},  // mismatched: nothing
    {1, VSK_1U, 0, 20, 61, {0, 3, 1, 17, 50}, {0, 13, 2, 17, 45}, 16, 8},
    {1, VSK_1U, 1, 12, 40, {0, 7, 0, 12, 30}, {0, 0, 3, 9, 33}, 8, 8},
};

}  // namespace

TEST(CopyTiled, EveryTilingMatchesTheBufferedResultAndLogsItsWalk) {
    for (const TwoImageOp& op : kOps)
        for (const TiledCase& c : kTiledCases)
            for (int tiling = 1; tiling <= 3; ++tiling) {  // 1 destination, 2 source, 3 both
                SCOPED_TRACE(testing::Message() << op.name << " depth " << (c.depth & 0xFF) << " "
                                                << c.w << "x" << c.h << " tiling " << tiling);
                ErrorCapture capture;
                ImagePtr s = randomImage(c.n, c.depth, c.order, c.h, c.w, c.sr, 11);
                ImagePtr d = randomImage(c.n, c.depth, c.order, c.h, c.w, c.dr, 12);
                ImagePtr ws = cloneImage(s.get()), wd = cloneImage(d.get());
                op.fn(ws.get(), wd.get(), nullptr);  // the buffered result

                Tiling t(s.get(), d.get(), tiling, c.tw, c.th);
                auto& [ts, td, src, dst] = t;
                VskROI* srcRoi = src->roi;
                VskROI* dstRoi = dst->roi;
                op.fn(src, dst, nullptr);

                EXPECT_TRUE(capture.reports().empty());
                EXPECT_EQ(src->roi, srcRoi);
                EXPECT_EQ(dst->roi, dstRoi);
                EXPECT_EQ(ts ? bytesOf(pixelsOf(*ts, s.get()).get()) : bytesOf(s.get()), bytesOf(ws.get()));
                EXPECT_EQ(td ? bytesOf(pixelsOf(*td, d.get()).get()) : bytesOf(d.get()), bytesOf(wd.get()));
                const int rows = std::min(c.sr.h ? c.sr.h : c.h, c.dr.h ? c.dr.h : c.h);
                const int cols = std::min(c.sr.h ? c.sr.w : c.w, c.dr.h ? c.dr.w : c.w);
                if (td) {
                    EXPECT_EQ(describe(td->log),
                              walkLog(c.dr.x, c.dr.y, rows, cols, c.tw, c.th, VSK_TILE_WRITE));
                    EXPECT_EQ(td->held + td->badReleases, 0);
                }
                if (ts && !td) {
                    EXPECT_EQ(describe(ts->log), walkLog(c.sr.x, c.sr.y, rows, cols, c.tw, c.th, op.srcMode));
                }
                if (ts) {
                    EXPECT_EQ(ts->held + ts->badReleases, 0);
                    // The source is fetched for reading; an exchange writes it back.
                    for (const TileCall& call : ts->log)
                        EXPECT_TRUE(call.mode == VSK_TILE_READ || call.mode == VSK_TILE_RELEASE ||
                                    (op.swap && call.mode == VSK_TILE_WRITE));
                }
            }
}

TEST(CopyTiled, RefusedTileIsReportedAndEndsTheCall) {
    struct Case {
        int tiling;                // 1 destination, 2 source, 3 both
        bool refuseSource;         // else the destination refuses tile (1, 0)
        int op;                    // index in kOps
        int line;                  // 0: no report
        const char* text;
        const char* dstLog;
    } cases[] = {
        {1, false, 0, 353, "Error get tile to write", "(2,0,0)(4,0,0)(2,1,0)"},
        {1, false, 1, 957, "Error get tile to write", "(2,0,0)(4,0,0)(2,1,0)"},
        {2, true, 0, 255, "Error get tile to read", ""},
        {2, true, 1, 859, "Error get tile to read", ""},
        {3, false, 0, 148, "Error get tile to write", "(2,0,0)(4,0,0)(2,1,0)"},
        {3, false, 1, 733, "Error get tile to write", "(2,0,0)(4,0,0)(2,1,0)"},
        // A failed fetch of the source ends the call silently; the tile taken
        // for writing is not given back.
        {3, true, 0, 0, "", "(2,0,0)(4,0,0)(2,1,0)"},
    };
    for (const Case& c : cases) {
        const TwoImageOp& op = kOps[c.op];
        SCOPED_TRACE(testing::Message() << op.name << " tiling " << c.tiling);
        ErrorCapture capture;
        ImagePtr s = randomImage(1, VSK_8U, 0, 16, 16, {0, 5, 5, 10, 10}, 1);
        ImagePtr d = randomImage(1, VSK_8U, 0, 16, 16, {0, 5, 5, 10, 10}, 2);
        Tiling t(s.get(), d.get(), c.tiling, 8, 8);
        auto& [ts, td, src, dst] = t;
        (c.refuseSource ? ts : td)->refuse.insert({1, 0});
        VskROI* srcRoi = src->roi;
        VskROI* dstRoi = dst->roi;
        const std::int64_t first = get(s.get(), 5, 5);
        op.fn(src, dst, nullptr);
        EXPECT_EQ(src->roi, srcRoi);
        EXPECT_EQ(dst->roi, dstRoi);
        if (td) {
            EXPECT_EQ(describe(td->log), c.dstLog);
        }
        if (ts && !td) {
            const std::string m = std::to_string(op.srcMode);
            EXPECT_EQ(describe(ts->log), "(" + m + ",0,0)(4,0,0)(" + m + ",1,0)");
        }
        if (c.line == 0) {
            EXPECT_TRUE(capture.reports().empty());
            EXPECT_EQ(td->held, 1);
            continue;
        }
        EXPECT_EQ(reportsOf(capture), fault(op.name, c.text, "vskSCE", c.line, -2));
        // The first tile's part was done before the refusal.
        EXPECT_EQ(td ? td->get(5, 5) : get(d.get(), 5, 5), first);
    }
}

TEST(CopyTiled, DestinationTileSelectsTilesByTheColumnForBothIndexes) {
    struct Case {
        int roiY, tc, tr;
        const char* log;
        int reports;
    } cases[] = {
        {5, 0, 0, "(2,0,0)(4,0,0)", 0},
        {5, 0, 1, "(2,0,0)(4,0,0)", 0},  // deliberately the first tile row, not row 1
        {5, 1, 0, "", 0},                // a column after the first: nothing
        {5, 2, 0, "", 0},                // outside the range
        {5, 0, 2, "", 0},
        // Rows from 0 - 1 up to 0: the tile row above the range comes first,
        // and its part lies before the source region, which the copy reports.
        {13, 0, 1, "(2,0,0)(4,0,0)(2,0,1)(4,0,1)", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "tile " << c.tc << "," << c.tr << " ROI row " << c.roiY);
        ErrorCapture capture;
        ImagePtr s = randomImage(1, VSK_8U, 0, 32, 32, {}, 3);
        auto td = tiledCopy(randomImage(1, VSK_8U, 0, 32, 32, {0, 5, c.roiY, 10, 10}, 4).get(), 8, 8);
        const int tile[2] = {c.tc, c.tr};
        tvskCopy(s.get(), td->get(), tile);
        EXPECT_EQ(describe(td->log), c.log);
        EXPECT_EQ(reportsOf(capture),
                  c.reports ? fault("vskCopy", paddedLine("ROI offset is invalid"), "vskSCE", 54) : "");
    }
    // With a buffered destination the selector plays no part.
    ImagePtr d = makeImage(1, VSK_8U, 0, 16, 16);
    auto ts = tiledCopy(randomImage(1, VSK_8U, 0, 16, 16, {}, 5).get(), 8, 8);
    const int tile[2] = {1, 1};
    tvskCopy(ts->get(), d.get(), tile);
    EXPECT_EQ(describe(ts->log), walkLog(0, 0, 16, 16, 8, 8, VSK_TILE_READ));
}

TEST(SetTiled, MatchesTheBufferedFillAndStopsAtARefusedTile) {
    for (const TiledCase& c : kTiledCases) {
        ImagePtr im = randomImage(c.n, c.depth, c.order, c.h, c.w, c.dr, 13);
        auto t = tiledCopy(im.get(), c.tw, c.th);
        tvskSet(im.get(), 40000, nullptr);
        tvskSet(t->get(), 40000, nullptr);
        EXPECT_EQ(bytesOf(pixelsOf(*t, im.get()).get()), bytesOf(im.get())) << (c.depth & 0xFF);
        const Roi& r = c.dr.h ? c.dr : Roi{0, 0, 0, c.h, c.w};
        EXPECT_EQ(describe(t->log), walkLog(r.x, r.y, r.h, r.w, c.tw, c.th, VSK_TILE_WRITE));
    }
    // A destination tile selects tiles by its column for both indexes, as in a copy.
    for (int roiY : {5, 13}) {
        auto td = tiledCopy(randomImage(1, VSK_8U, 0, 32, 32, {0, 5, roiY, 10, 10}, 4).get(), 8, 8);
        const int tile[2] = {0, 1};
        tvskSet(td->get(), 1, tile);
        EXPECT_EQ(describe(td->log), roiY == 5 ? "(2,0,0)(4,0,0)" : "(2,0,0)(4,0,0)(2,0,1)(4,0,1)");
    }
    ErrorCapture capture;
    auto t = tiledCopy(randomImage(1, VSK_8U, 0, 16, 16, {0, 5, 5, 10, 10}, 1).get(), 8, 8);
    t->refuse.insert({0, 1});
    vskSetErrStatus(-5);  // the fill does not look at the status
    tvskSet(t->get(), 77, nullptr);
    EXPECT_EQ(describe(t->log), "(2,0,0)(4,0,0)(2,1,0)(4,1,0)(2,0,1)");
    EXPECT_EQ(reportsOf(capture), fault("vskSet", "Error get tile to write", "vskSCE", 549, -2));
    EXPECT_EQ(t->get(14, 7), 77);
    EXPECT_NE(t->get(5, 8), 77);
}
