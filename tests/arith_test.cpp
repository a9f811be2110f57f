// Add and subtract a constant, AND with a constant or a second image: the
// per-sample rules at the limits of every depth, channels of interest, bit
// runs, whole-buffer runs, in-place calls and the checks.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <vector>

#include "support/arith_model.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

const unsigned kDepths[] = {VSK_1U, VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S};
const ArithOp kOps[] = {ArithOp::Add, ArithOp::Sub, ArithOp::SubRev, ArithOp::AndS, ArithOp::And};

// Runs a constant operation on one row of samples and returns the results.
std::vector<std::int64_t> runRow(ArithOp op, unsigned depth, const std::vector<std::int64_t>& a,
                                 int value) {
    const int n = static_cast<int>(a.size());
    ImagePtr src = makeImage(1, depth, 0, 1, n), dst = makeImage(1, depth, 0, 1, n);
    for (int x = 0; x < n; ++x) put(src.get(), x, 0, 0, a[x]);
    runArith(op, src.get(), nullptr, dst.get(), value);
    std::vector<std::int64_t> out;
    for (int x = 0; x < n; ++x) out.push_back(get(dst.get(), x, 0));
    return out;
}

std::vector<std::int64_t> samplesNearLimits(unsigned depth) {
    switch (depth) {
        case VSK_1U: return {0, 1, 1, 0, 1, 0, 0, 1, 1};
        case VSK_8U: return {0, 1, 2, 100, 127, 128, 253, 254, 255};
        case VSK_8S: return {-128, -127, -1, 0, 1, 126, 127};
        case VSK_16U: return {0, 1, 255, 256, 32768, 65534, 65535};
        case VSK_16S: return {-32768, -32767, -1, 0, 1, 32766, 32767};
        default: return {INT_MIN, INT_MIN + 1, -100, -1, 0, 1, 100, INT_MAX - 1, INT_MAX};
    }
}

}  // namespace

TEST(ArithRules, SaturationAroundTheLimitsOfEveryDepth) {
    const int values[] = {0,      1,     -1,     2,     -2,      100,     -100,   127,     -128,
                          255,    -255,  256,    -256,  300,     -300,    32767,  -32768,  65535,
                          -65535, 65536, 100000, -100000, INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1};
    for (unsigned depth : kDepths)
        for (ArithOp op : {ArithOp::Add, ArithOp::Sub, ArithOp::SubRev, ArithOp::AndS})
            for (int value : values) {
                const std::vector<std::int64_t> in = samplesNearLimits(depth);
                const std::vector<std::int64_t> out = runRow(op, depth, in, value);
                for (std::size_t i = 0; i < in.size(); ++i)
                    ASSERT_EQ(out[i], arithRule(op, depth, in[i], 0, value))
                        << arithName(op) << " depth " << std::hex << depth << std::dec
                        << " sample " << in[i] << " value " << value;
            }
}

TEST(ArithRules, DocumentedExamples) {
    struct Case {
        ArithOp op;
        unsigned depth;
        std::int64_t sample;
        int value;
        std::int64_t expected;
    } cases[] = {
        {ArithOp::Add, VSK_8U, 250, 10, 255},
        {ArithOp::Sub, VSK_8U, 5, 10, 0},
        {ArithOp::SubRev, VSK_8U, 10, 3, 0},      // 3 - 10
        {ArithOp::SubRev, VSK_8U, 20, 300, 255},  // 300 - 20: the value is not clamped first
        {ArithOp::Sub, VSK_8U, 200, 300, 0},
        {ArithOp::Add, VSK_8U, 100, -20, 80},
        {ArithOp::Add, VSK_8U, 255, -300, 0},
        {ArithOp::Add, VSK_16S, 32767, -70000, -32768},
        {ArithOp::Add, VSK_8U, 255, INT_MAX, 255},
        {ArithOp::Sub, VSK_8U, 0, INT_MIN, 255},
        {ArithOp::Sub, VSK_8S, -120, 10, -128},
        {ArithOp::SubRev, VSK_8S, -2, 127, 127},  // 127 - (-2)
        {ArithOp::Add, VSK_16U, 65530, 10, 65535},
        {ArithOp::Sub, VSK_16S, -32760, 100, -32768},
        {ArithOp::Add, VSK_32S, 2147483600, 100, INT_MAX},
        {ArithOp::Add, VSK_32S, -2147483600, -100, INT_MIN},
        {ArithOp::Add, VSK_32S, 5, INT_MIN, -2147483643},
        {ArithOp::Add, VSK_32S, -1, INT_MIN, INT_MIN},
        {ArithOp::Add, VSK_32S, 0, INT_MIN, INT_MIN},
        {ArithOp::Sub, VSK_32S, INT_MIN, 1, INT_MIN},
        {ArithOp::Sub, VSK_32S, 0, INT_MIN, INT_MAX},
        {ArithOp::Sub, VSK_32S, -1, INT_MIN, INT_MAX},
        {ArithOp::SubRev, VSK_32S, 1, INT_MIN, INT_MIN},
        {ArithOp::SubRev, VSK_32S, -1, INT_MAX, INT_MAX},
        {ArithOp::SubRev, VSK_32S, INT_MIN, -1, INT_MAX},
        {ArithOp::AndS, VSK_8U, 0xFF, 0x1F0, 0xF0},
        {ArithOp::AndS, VSK_8U, 0x5A, 0x1234, 0x10},
        {ArithOp::AndS, VSK_16U, 0xFFFF, 0x12345678, 0x5678},
        {ArithOp::AndS, VSK_8S, -1, 0xF0, -16},
        {ArithOp::AndS, VSK_16S, -2, 0x8001, -32768},
        {ArithOp::AndS, VSK_32S, -1, static_cast<int>(0x80000001u), INT_MIN + 1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(runRow(c.op, c.depth, {c.sample}, c.value)[0], c.expected)
            << arithName(c.op) << " depth " << std::hex << c.depth << std::dec << " sample "
            << c.sample << " value " << c.value;

}

// ---- layouts ---------------------------------------------------------------------

TEST(ArithLayouts, ChannelOfInterestRules) {
    // A source ROI of 4 x 5 at (1, 1) and a destination of 5 x 8, with a ROI at
    // (2, 0) when it selects a channel. Channels processed (0-based), -1 none.
    struct Case {
        const char* what;
        ArithOp op;
        int order, srcN, srcCoi, dstN, dstCoi;  // dstCoi -1: no ROI
        int srcCh, dstCh;
    } cases[] = {
        {"a channel into a one-channel image: nothing", ArithOp::Add, 0, 3, 2, 1, -1, -1, -1},
        {"the same, subtracting planes", ArithOp::Sub, 1, 3, 2, 1, -1, -1, -1},
        {"AND takes the one channel", ArithOp::AndS, 0, 3, 2, 1, -1, 1, 0},
        {"AND takes the one plane", ArithOp::AndS, 1, 3, 3, 1, -1, 2, 0},
        {"each image its own channel", ArithOp::SubRev, 0, 3, 3, 2, 1, 2, 0},
        {"each image its own plane", ArithOp::Add, 1, 3, 1, 4, 4, 0, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ImagePtr src = makeImage(c.srcN, VSK_16S, c.order, 6, 7), dst = makeImage(c.dstN, VSK_16S, c.order, 5, 8);
        fillRandom(src.get(), 1);
        fillRandom(dst.get(), 2);
        setRoi(src.get(), c.srcCoi, 1, 1, 4, 5);
        if (c.dstCoi >= 0) setRoi(dst.get(), c.dstCoi, 2, 0, 5, 5);
        const int dx = c.dstCoi >= 0 ? 2 : 0;
        ImagePtr want = cloneImage(dst.get());
        for (int y = 0; c.dstCh >= 0 && y < 4; ++y)
            for (int x = 0; x < 5; ++x)
                put(want.get(), dx + x, y, c.dstCh,
                    arithRule(c.op, VSK_16S, get(src.get(), 1 + x, 1 + y, c.srcCh), 0, 30000));
        ErrorCapture capture;
        runArith(c.op, src.get(), nullptr, dst.get(), 30000);
        EXPECT_TRUE(capture.reports().empty());
        EXPECT_EQ(firstDifference(dst.get(), want.get()), "");
    }
}

TEST(ArithLayouts, BitRowsAreRealignedAndKeepTheirEdges) {
    // Runs of bits from any source bit to any destination bit; the bits of
    // the destination bytes around each run keep their values.
    struct Case {
        int width, rows, srcX, dstX, count;
    } cases[] = {{16, 2, 3, 6, 5}, {40, 3, 1, 9, 31}, {40, 2, 9, 1, 30}, {200, 3, 7, 0, 190},
                 {64, 2, 0, 0, 64}};
    const int values[] = {1, 2, -1};
    for (const Case& c : cases)
        for (ArithOp op : {ArithOp::Add, ArithOp::Sub, ArithOp::SubRev, ArithOp::AndS, ArithOp::And})
            for (int value : values) {
                SCOPED_TRACE(testing::Message() << arithName(op) << " " << c.width << " bits from "
                                                << c.srcX << " to " << c.dstX << " value " << value);
                ImagePtr a = makeImage(1, VSK_1U, 0, c.rows, c.width), b = makeImage(1, VSK_1U, 0, c.rows, c.width);
                ImagePtr d = makeImage(1, VSK_1U, 0, c.rows, c.width);
                fillRandom(a.get(), 3);
                fillRandom(b.get(), 4);
                fillRandom(d.get(), 5);
                setRoi(a.get(), 0, c.srcX, 0, c.rows, c.count);
                setRoi(d.get(), 0, c.dstX, 0, c.rows, c.count);
                ImagePtr want = cloneImage(d.get());
                for (int y = 0; y < c.rows; ++y)
                    for (int x = 0; x < c.count; ++x)
                        put(want.get(), c.dstX + x, y, 0,
                            arithRule(op, VSK_1U, get(a.get(), c.srcX + x, y), get(b.get(), x, y), value));
                runArith(op, a.get(), b.get(), d.get(), value);
                EXPECT_EQ(bytesOf(d.get()), bytesOf(want.get()));
            }
}

TEST(ArithLayouts, WholeBufferRunIncludesRowPadding) {
    // Width 5 at 8 bits leaves 3 padding bytes per row; equal whole images
    // are processed as one run over dataSize bytes.
    ImagePtr a = makeImage(1, VSK_8U, 0, 3, 5), b = makeImage(1, VSK_8U, 0, 3, 5);
    ImagePtr d = makeImage(1, VSK_8U, 0, 3, 5);
    fillRandom(a.get(), 7);
    fillRandom(b.get(), 8);
    const std::vector<std::uint8_t> in = bytesOf(a.get()), inB = bytesOf(b.get());
    tvskAddS(a.get(), d.get(), 40, nullptr);
    std::vector<std::uint8_t> out = bytesOf(d.get());
    for (std::size_t i = 0; i < in.size(); ++i) EXPECT_EQ(out[i], std::min(in[i] + 40, 255)) << i;
    tvskAnd(a.get(), b.get(), d.get(), nullptr);
    out = bytesOf(d.get());
    for (std::size_t i = 0; i < in.size(); ++i) EXPECT_EQ(out[i], in[i] & inB[i]) << i;

    // 16-bit AND with a constant runs over 32-bit words with the widened mask.
    ImagePtr w = makeImage(1, VSK_16S, 0, 2, 3), wd = makeImage(1, VSK_16S, 0, 2, 3);
    fillRandom(w.get(), 9);
    tvskAndS(w.get(), wd.get(), 0xABCD0F0Fu, nullptr);
    const std::vector<std::uint8_t> wi = bytesOf(w.get()), wo = bytesOf(wd.get());
    for (std::size_t i = 0; i < wi.size(); ++i) EXPECT_EQ(wo[i], wi[i] & 0x0F) << i;

    // A ROI that leaves out one row: no run over the buffer, padding kept.
    setRoi(d.get(), 0, 0, 0, 2, 5);
    fillRandom(d.get(), 10);
    const std::vector<std::uint8_t> before = bytesOf(d.get());
    tvskAddS(a.get(), d.get(), 40, nullptr);
    out = bytesOf(d.get());
    for (int row = 0; row < 3; ++row)
        for (int i = 5; i < 8; ++i) EXPECT_EQ(out[row * 8 + i], before[row * 8 + i]);
}

TEST(ArithLayouts, HeaderGrownAfterAllocationStopsAtItsBuffer) {
    // Destination rows past the buffer are skipped; the rows inside get what
    // the header of the buffer's own height gets (plane order: no access past it).
    for (unsigned depth : {VSK_1U, VSK_8U, VSK_16S})
        for (int order : {0, 1})
            for (ArithOp op : kOps) {
                const int n = depth == VSK_1U ? 1 : 2;
                GuardedImage a(n, depth, order, 7, 9), b(n, depth, order, 7, 9), d(n, depth, order, 4, 9);
                fillRandom(a.get(), 1);
                fillRandom(b.get(), 2);
                ImagePtr expected = cloneImage(d.get());
                runArith(op, a.get(), b.get(), expected.get(), 77);
                d.get()->height = 7;
                runArith(op, a.get(), b.get(), d.get(), 77);
                d.get()->height = 4;
                if (order == 0) {
                    EXPECT_EQ(firstDifference(d.get(), expected.get()), "") << arithName(op);
                }
            }
}

TEST(ArithLayouts, SameHeaderForSourceAndDestination) {
    // In place, each sample is read before it is written: the result is that
    // of a separate destination.
    for (unsigned depth : kDepths)
        for (ArithOp op : kOps)
            for (bool roi : {false, true}) {
                ImagePtr image = makeImage(depth == VSK_1U ? 1 : 3, depth, 0, 6, 13);
                if (roi) setRoi(image.get(), 0, 3, 1, 4, 9);
                fillRandom(image.get(), 11);
                ImagePtr source = cloneImage(image.get()), apart = cloneImage(image.get());
                runArith(op, source.get(), source.get(), apart.get(), 1234);
                runArith(op, image.get(), image.get(), image.get(), 1234);
                EXPECT_EQ(firstDifference(image.get(), apart.get()), "")
                    << arithName(op) << " depth " << std::hex << depth;
            }
}

// ---- checks ----------------------------------------------------------------------

namespace {

enum class Fault { NullA, NullB, BadDst, DepthA, DepthB, OrderA, OrderB, ChannelsA, ChannelsB,
                   DepthBAndOrderA };

struct CheckCase {
    ArithOp op;
    Fault fault;
    int line;
    const char* text;  // the whole condition, or the start of a header message
};

}  // namespace

TEST(ArithChecks, FirstFailingCheckIsReportedAndNothingIsWritten) {
    const CheckCase cases[] = {
        {ArithOp::Add, Fault::NullA, 890, "Image header is null"},
        {ArithOp::Add, Fault::BadDst, 891, "Image align is invalid"},
        {ArithOp::Add, Fault::DepthA, 893, "(srcImage->depth != dstImage->depth)"},
        {ArithOp::Add, Fault::OrderA, 894, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {ArithOp::Add, Fault::ChannelsA, 907, "(nChSrc != nChDst)"},
        {ArithOp::Sub, Fault::NullA, 1387, "Image header is null"},
        {ArithOp::SubRev, Fault::BadDst, 1388, "Image align is invalid"},
        {ArithOp::Sub, Fault::DepthA, 1390, "(srcImage->depth != dstImage->depth)"},
        {ArithOp::SubRev, Fault::OrderA, 1391, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {ArithOp::Sub, Fault::ChannelsA, 1404, "(nChSrc != nChDst)"},
        {ArithOp::AndS, Fault::NullA, 675, "Image header is null"},
        {ArithOp::AndS, Fault::BadDst, 676, "Image align is invalid"},
        {ArithOp::AndS, Fault::DepthA, 678, "(srcImage->depth != dstImage->depth)"},
        {ArithOp::AndS, Fault::OrderA, 679, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {ArithOp::AndS, Fault::ChannelsA, 692, "(nChSrc != nChDst)"},
        {ArithOp::And, Fault::NullA, 718, "Image header is null"},
        {ArithOp::And, Fault::NullB, 719, "Image header is null"},
        {ArithOp::And, Fault::BadDst, 720, "Image align is invalid"},
        {ArithOp::And, Fault::DepthA, 722, "(srcImageA->depth != dstImage->depth)"},
        {ArithOp::And, Fault::DepthB, 723, "(srcImageB->depth != dstImage->depth)"},
        {ArithOp::And, Fault::OrderA, 724, "(srcImageA->dataOrder != dstImage->dataOrder)"},
        {ArithOp::And, Fault::OrderB, 725, "(srcImageB->dataOrder != dstImage->dataOrder)"},
        {ArithOp::And, Fault::ChannelsA, 743, "(nChSrcA != nChDst)"},
        {ArithOp::And, Fault::ChannelsB, 744, "(nChSrcB != nChDst)"},
        // Every depth check comes before every data-order check.
        {ArithOp::And, Fault::DepthBAndOrderA, 723, "(srcImageB->depth != dstImage->depth)"},
    };
    const char* names[] = {"vskAddS", "vskSubtractS", "vskSubtractS", "vskAndS", "vskAnd"};
    const char* files[] = {"vskadds", "vsksubs", "vsksubs", "vskands", "vskand"};
    for (const CheckCase& c : cases) {
        const Fault f = c.fault;
        ImagePtr a = makeImage(3, f == Fault::DepthA ? VSK_16U : VSK_8U,
                               f == Fault::OrderA || f == Fault::DepthBAndOrderA ? 1 : 0, 4, 4);
        ImagePtr b = makeImage(3, f == Fault::DepthB || f == Fault::DepthBAndOrderA ? VSK_8S : VSK_8U,
                               f == Fault::OrderB ? 1 : 0, 4, 4);
        ImagePtr d = makeImage(3, VSK_8U, 0, 4, 4);
        fillRandom(d.get(), 1);
        if (f == Fault::ChannelsA) setRoi(a.get(), 2, 0, 0, 4, 4);
        if (f == Fault::ChannelsB) setRoi(b.get(), 1, 0, 0, 4, 4);
        const std::vector<std::uint8_t> before = bytesOf(d.get());
        if (f == Fault::BadDst) d->align = 3;

        ErrorCapture capture;
        runArith(c.op, f == Fault::NullA ? nullptr : a.get(), f == Fault::NullB ? nullptr : b.get(),
                 d.get(), 5);
        d->align = 4;
        const int i = static_cast<int>(c.op);
        ASSERT_EQ(capture.reports().size(), 1u) << arithName(c.op) << " line " << c.line;
        const Report& r = capture.reports()[0];
        EXPECT_EQ(r.status, VSK_STATUS_BAD_ARG);
        EXPECT_EQ(r.func, names[i]);
        EXPECT_EQ(r.file, files[i]);
        EXPECT_EQ(r.line, c.line) << arithName(c.op);
        EXPECT_EQ(r.context.rfind(c.text, 0), 0u) << r.context;
        EXPECT_EQ(bytesOf(d.get()), before) << arithName(c.op) << " line " << c.line;
    }
}

TEST(ArithChecks, NoComparisonOfSizesOriginsOrAlpha) {
    // Different sizes, origins and alpha channels pass: the smaller region is
    // processed.
    ImagePtr a = makeImage(2, VSK_16U, 0, 3, 9), d = makeImage(2, VSK_16U, 0, 5, 4);
    a->origin = 1;
    a->alphaChannel = 2;
    fillRandom(a.get(), 3);
    ImagePtr expected = cloneImage(d.get());
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x)
            for (int c = 0; c < 2; ++c) put(expected.get(), x, y, c, std::min<std::int64_t>(get(a.get(), x, y, c) + 999, 65535));
    ErrorCapture capture;
    tvskAddS(a.get(), d.get(), 999, nullptr);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(firstDifference(d.get(), expected.get()), "");
}
