// Add and subtract a constant, AND with a constant or a second image: the
// per-sample rules, the checks, and whole random images in every layout
// against a plain per-sample model.
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
const unsigned kByteDepths[] = {VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S};
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

    // 1-bit: an even value added copies the bits, an odd one subtracted clears
    // them, reversed with an odd value inverts them; AND with an even value
    // clears them and with an odd one copies them.
    const std::vector<std::int64_t> bits = {1, 0, 0, 1, 1, 1, 0, 1, 0, 0, 1};
    std::vector<std::int64_t> zeros(bits.size(), 0), inverted;
    for (std::int64_t b : bits) inverted.push_back(1 - b);
    EXPECT_EQ(runRow(ArithOp::Add, VSK_1U, bits, 2), bits);
    EXPECT_EQ(runRow(ArithOp::Add, VSK_1U, bits, 1), std::vector<std::int64_t>(bits.size(), 1));
    EXPECT_EQ(runRow(ArithOp::Sub, VSK_1U, bits, 3), zeros);
    EXPECT_EQ(runRow(ArithOp::Sub, VSK_1U, bits, 4), bits);
    EXPECT_EQ(runRow(ArithOp::SubRev, VSK_1U, bits, -1), inverted);
    EXPECT_EQ(runRow(ArithOp::SubRev, VSK_1U, bits, 2), zeros);
    EXPECT_EQ(runRow(ArithOp::AndS, VSK_1U, bits, 2), zeros);
    EXPECT_EQ(runRow(ArithOp::AndS, VSK_1U, bits, 5), bits);
}

// ---- layouts ---------------------------------------------------------------------

namespace {

constexpr int kNoRoi = -1;
struct ImageShape {
    int nChannels, height, width;
    int roi[5];  // coi, x, y, height, width; coi kNoRoi = no ROI
};
struct Layout {
    const char* name;
    int order;
    ImageShape a, b, dst;
};

std::unique_ptr<GuardedImage> build(const ImageShape& s, unsigned depth, int order, std::uint32_t seed) {
    auto image = std::make_unique<GuardedImage>(s.nChannels, depth, order, s.height, s.width);
    if (s.roi[0] != kNoRoi) setRoi(image->get(), s.roi[0], s.roi[1], s.roi[2], s.roi[3], s.roi[4]);
    fillRandom(image->get(), seed);
    return image;
}

void checkLayout(const Layout& l, unsigned depth, ArithOp op, int value) {
    auto a = build(l.a, depth, l.order, 1), b = build(l.b, depth, l.order, 2);
    auto d = build(l.dst, depth, l.order, 3);
    ImagePtr srcA = cloneImage(a->get()), srcB = cloneImage(b->get());
    ImagePtr expected = cloneImage(d->get());
    applyArithModel(op, srcA.get(), srcB.get(), expected.get(), value);
    ErrorCapture capture;
    runArith(op, a->get(), b->get(), d->get(), value);
    EXPECT_TRUE(capture.reports().empty()) << capture.reports()[0].context;
    EXPECT_EQ(firstDifference(d->get(), expected.get()), "")
        << l.name << ", " << arithName(op) << ", depth " << std::hex << depth << std::dec
        << ", value " << value;
}

#define NONE {kNoRoi, 0, 0, 0, 0}
const Layout kLayouts[] = {
    {"whole buffers", 0, {3, 5, 7, NONE}, {3, 5, 7, NONE}, {3, 5, 7, NONE}},
    {"offset ROIs of different sizes", 0, {3, 9, 11, {0, 2, 1, 5, 6}}, {3, 8, 8, {0, 0, 2, 6, 7}},
     {3, 8, 10, {0, 1, 3, 4, 7}}},
    {"ROIs reaching past the image", 0, {2, 6, 6, {0, 3, 2, 10, 10}}, {2, 6, 6, NONE},
     {2, 7, 9, {0, 4, 4, 9, 9}}},
    {"inner ROI of equal images", 0, {2, 6, 6, {0, 1, 1, 4, 4}}, {2, 6, 6, NONE}, {2, 6, 6, NONE}},
    {"a channel of interest in each", 0, {3, 6, 7, {2, 1, 1, 4, 5}}, {4, 6, 7, {4, 0, 0, 6, 7}},
     {2, 5, 6, {1, 1, 0, 5, 5}}},
    {"full rows", 0, {3, 6, 4, {0, 0, 1, 4, 4}}, {3, 4, 4, NONE}, {3, 7, 4, {0, 0, 2, 5, 4}}},
    {"full rows with a channel of interest", 0, {3, 6, 4, {3, 0, 1, 4, 4}},
     {2, 6, 4, {1, 0, 0, 6, 4}}, {3, 6, 4, {1, 0, 2, 4, 4}}},
    {"one channel, coi 1 beside none", 0, {1, 5, 6, {1, 0, 0, 5, 6}}, {1, 5, 6, NONE},
     {1, 5, 6, NONE}},
    {"source channel into a one-channel image", 0, {3, 5, 6, {2, 1, 0, 4, 4}}, {1, 5, 6, NONE},
     {1, 5, 6, NONE}},
    {"one-channel source into a channel", 0, {1, 5, 6, NONE}, {1, 5, 6, NONE},
     {3, 5, 6, {3, 0, 1, 4, 5}}},
    {"single pixel", 0, {3, 1, 1, NONE}, {3, 1, 1, NONE}, {3, 1, 1, NONE}},
    {"planes, every channel", 1, {3, 5, 6, {0, 1, 1, 4, 5}}, {3, 5, 6, NONE},
     {3, 6, 7, {0, 2, 0, 5, 5}}},
    {"planes, a channel of interest", 1, {3, 5, 6, {2, 0, 0, 5, 6}}, {2, 5, 6, {2, 1, 1, 3, 3}},
     {2, 5, 6, {1, 0, 0, 4, 5}}},
    {"planes, whole buffers", 1, {2, 4, 5, NONE}, {2, 4, 5, NONE}, {2, 4, 5, NONE}},
    {"planes, full rows", 1, {2, 4, 4, {0, 0, 1, 3, 4}}, {2, 4, 4, NONE}, {2, 4, 4, NONE}},
    {"planes, source channel into a one-channel image", 1, {3, 5, 6, {3, 0, 0, 5, 6}},
     {1, 5, 6, NONE}, {1, 5, 6, NONE}},
};

const Layout kBitLayouts[] = {
    {"whole bit buffers", 0, {1, 3, 37, NONE}, {1, 3, 37, NONE}, {1, 3, 37, NONE}},
    {"different bit offsets", 0, {1, 5, 40, {0, 3, 1, 4, 29}}, {1, 6, 33, {0, 6, 0, 6, 27}},
     {1, 5, 41, {0, 5, 0, 5, 30}}},
    {"source behind destination offset", 0, {1, 4, 40, {0, 1, 0, 4, 30}}, {1, 4, 40, NONE},
     {1, 4, 40, {0, 6, 0, 4, 30}}},
    {"one bit", 0, {1, 2, 9, {0, 7, 1, 1, 1}}, {1, 1, 1, NONE}, {1, 3, 3, {0, 2, 2, 1, 1}}},
    {"inside one byte", 0, {1, 2, 16, {0, 1, 0, 2, 5}}, {1, 2, 16, {0, 9, 0, 2, 5}},
     {1, 2, 16, {1, 2, 0, 2, 5}}},
    {"up to the last bit", 0, {1, 4, 64, {0, 33, 1, 3, 31}}, {1, 4, 32, {0, 1, 1, 3, 31}},
     {1, 4, 32, {0, 1, 1, 3, 31}}},
    {"long rows", 0, {1, 3, 200, {0, 7, 0, 3, 190}}, {1, 3, 200, NONE},
     {1, 3, 201, {0, 1, 0, 3, 199}}},
};
#undef NONE

const int kValues[] = {-70, 45, 3000, -40000, 0x5A5AF0F1, INT_MIN, INT_MAX, 1, -5, 70000};

}  // namespace

TEST(ArithLayouts, RandomImagesMatchThePerSampleModel) {
    int k = 0;
    for (const Layout& l : kLayouts)
        for (unsigned depth : kByteDepths)
            for (ArithOp op : kOps) checkLayout(l, depth, op, kValues[k++ % std::size(kValues)]);
}

TEST(ArithLayouts, BitRowsAreRealignedAndKeepTheirEdges) {
    int k = 0;
    for (const Layout& l : kBitLayouts)
        for (ArithOp op : kOps) checkLayout(l, VSK_1U, op, kValues[k++ % std::size(kValues)]);
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
                auto a = build({n, 7, 9, {kNoRoi}}, depth, order, 1), b = build({n, 7, 9, {kNoRoi}}, depth, order, 2);
                auto d = build({n, 4, 9, {kNoRoi}}, depth, order, 3);
                ImagePtr expected = cloneImage(d->get());
                runArith(op, a->get(), b->get(), expected.get(), 77);
                d->get()->height = 7;
                runArith(op, a->get(), b->get(), d->get(), 77);
                d->get()->height = 4;
                if (order == 0) {
                    EXPECT_EQ(firstDifference(d->get(), expected.get()), "") << arithName(op);
                }
            }
}

TEST(ArithLayouts, SameHeaderForSourceAndDestination) {
    for (unsigned depth : kDepths)
        for (ArithOp op : kOps) {
            const int n = depth == VSK_1U ? 1 : 3;
            for (bool roi : {false, true}) {
                ImagePtr image = makeImage(n, depth, 0, 6, 13);
                if (roi) setRoi(image.get(), 0, 3, 1, 4, 9);
                fillRandom(image.get(), 11);
                ImagePtr before = cloneImage(image.get()), expected = cloneImage(image.get());
                applyArithModel(op, before.get(), before.get(), expected.get(), 1234);
                runArith(op, image.get(), image.get(), image.get(), 1234);
                EXPECT_EQ(firstDifference(image.get(), expected.get()), "")
                    << arithName(op) << " depth " << std::hex << depth;
            }
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
    applyArithModel(ArithOp::Add, a.get(), nullptr, expected.get(), 999);
    ErrorCapture capture;
    tvskAddS(a.get(), d.get(), 999, nullptr);
    EXPECT_TRUE(capture.reports().empty());
    EXPECT_EQ(firstDifference(d.get(), expected.get()), "");
}
