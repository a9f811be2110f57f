// Alpha compositing on buffered images: alpha sources and targets against a
// model of the integer rules, the operators at named samples, constant
// alphas, channels of interest, overlapping images and the argument checks.
#include <gtest/gtest.h>

#include <functional>
#include <vector>
#include <string>

#include "support/alpha_support.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;
using namespace alphatest;

namespace {

struct Scenario {
    unsigned depth = VSK_8U;
    int op = 0;
    bool premul = false;
    int alphaMode = 0;  // 0: own alpha channels, 1: alpha image for A only, 2: for both
    int layout = 0;     // 0: interleaved, result alpha in dst; 1: planes, separate
                        // alpha target; 2: mixed orders, dst without alpha
    int width = 23;
};

// Runs one composition on images with different ROIs and compares every
// sample of the destination and of the alpha target with the model.
void checkScenario(const Scenario& s, std::uint32_t seed) {
    SCOPED_TRACE("depth " + std::to_string(s.depth) + " op " + std::to_string(s.op) +
                 " premul " + std::to_string(s.premul) +
                 " alphaMode " + std::to_string(s.alphaMode) + " layout " +
                 std::to_string(s.layout) + " width " + std::to_string(s.width));
    const int plane = s.layout == 1, w = s.width;
    const bool ownA = s.alphaMode == 0, ownB = s.alphaMode < 2, dstAlpha = s.layout != 2;
    ImagePtr A = image(ownA ? 4 : 3, ownA ? 4 : 0, s.depth, s.layout ? 1 : 0, 9, w + 3, seed);
    ImagePtr B = image(ownB ? 4 : 3, ownB ? 4 : 0, s.depth, plane, 10, w + 1, seed + 1);
    ImagePtr D = image(dstAlpha ? 4 : 3, dstAlpha ? 4 : 0, s.depth, plane, 8, w + 2, seed + 2);
    setRoi(A.get(), 0, 2, 1, 8, w);
    setRoi(B.get(), 0, 0, 3, 9, w + 1);  // 7 rows left below the offset
    setRoi(D.get(), 0, 1, 1, 6, w + 5);  // clipped to w + 1 columns
    ImagePtr alphaA, alphaB, target;
    if (s.alphaMode >= 1) {
        alphaA = image(2, 2, s.depth, plane, 8, w + 4, seed + 3);
        setRoi(alphaA.get(), 1, 3, 0, 8, w + 1);  // its coi does not matter
    }
    if (s.alphaMode == 2) alphaB = image(1, 0, s.depth, plane, 9, w, seed + 4);
    if (s.layout == 1) {
        target = image(2, 1, s.depth, 1, 7, w + 2, seed + 5);
        setRoi(target.get(), 0, 2, 0, 7, w);
    }
    const ImagePtr before = cloneImage(D.get());
    const ImagePtr targetBefore = target ? cloneImage(target.get()) : nullptr;
    ErrorCapture capture;
    tvskAlphaComposite(A.get(), B.get(), D.get(), s.op, alphaA.get(), alphaB.get(), target.get(),
                       s.premul, 0, nullptr);
    ASSERT_TRUE(capture.reports().empty()) << capture.reports()[0].context;

    const Rect size = common({D.get(), A.get(), B.get(), alphaA.get(), alphaB.get(), target.get()});
    ASSERT_EQ(size.cols, w);
    ASSERT_EQ(size.rows, 6);
    const Rules rules{s.depth == VSK_8U ? 8 : 16};
    auto alphaOfA = [&](int x, int y) { return alphaA ? at(alphaA.get(), x, y, 1) : at(A.get(), x, y, 3); };
    auto alphaOfB = [&](int x, int y) -> i64 {
        if (alphaB) return at(alphaB.get(), x, y, 0);
        return alphaA ? -1 : at(B.get(), x, y, 3);  // -1: no B alpha
    };
    auto resultAlpha = [&](int x, int y) { return rules.alpha(s.op, alphaOfA(x, y), alphaOfB(x, y)); };
    expectSamples(D.get(), before.get(), size, [&](int x, int y, int c) -> i64 {
        if (c == 3) return target ? -1 : resultAlpha(x, y);
        return rules.colour(s.op, s.premul, at(A.get(), x, y, c), alphaOfA(x, y),
                            at(B.get(), x, y, c), alphaOfB(x, y));
    });
    if (target)
        expectSamples(target.get(), targetBefore.get(), size,
                      [&](int x, int y, int c) { return c == 0 ? resultAlpha(x, y) : -1; });
}

// One pixel composed through the alpha-image operation: colour of channel 0
// and result alpha. b < 0: no B alpha (A's alpha from an alpha image).
std::pair<i64, i64> composeOne(unsigned depth, int op, bool premul, bool divide, i64 A, i64 a,
                               i64 B, i64 b) {
    ImagePtr sa = image(2, 2, depth, 0, 1, 1, 1), sb = image(2, 2, depth, 0, 1, 1, 2);
    ImagePtr d = image(2, 2, depth, 0, 1, 1, 3), alphaA = image(1, 0, depth, 0, 1, 1, 4);
    put(sa.get(), 0, 0, 0, A);
    put(sa.get(), 0, 0, 1, a);
    put(alphaA.get(), 0, 0, 0, a);
    put(sb.get(), 0, 0, 0, B);
    put(sb.get(), 0, 0, 1, b < 0 ? 77 : b);
    tvskAlphaComposite(sa.get(), sb.get(), d.get(), op, b < 0 ? alphaA.get() : nullptr, nullptr,
                       nullptr, premul, divide, nullptr);
    return {get(d.get(), 0, 0, 0), get(d.get(), 0, 0, 1)};
}

}  // namespace

TEST(AlphaComposite, EveryOperatorAndVariantFollowsTheRules) {
    // Every alpha source and target, straight and premultiplied, the
    // operators in turn (each operator's samples in every layout, and the
    // dividing path, are in the golden hashes).
    std::uint32_t seed = 100;
    int op = 0;
    for (unsigned depth : {VSK_8U, VSK_16U})
        for (bool premul : {false, true})
            for (int alphaMode = 0; alphaMode < 3; ++alphaMode)
                for (int layout = 0; layout < 3; ++layout) {
                    checkScenario({depth, op++ % 6, premul, alphaMode, layout}, seed += 7);
                    if (testing::Test::HasFailure()) return;
                }
    // Rows longer than the working chunk, regions narrower than a vector.
    for (int width : {1, 3, 7, 1100})
        for (int layout : {0, 1}) checkScenario({VSK_8U, width % 6, false, 0, layout, width}, 900);
}

TEST(AlphaComposite, EdgeCasesOfTheOperators) {
    struct Case {
        const char* what;
        unsigned depth;
        int op;
        bool premul, divide;
        i64 A, a, B, b;  // b < 0: no B alpha
        i64 colour, alpha;
    } cases[] = {
        // IN premultiplied is mul(A, b), its alpha mul(a, b): x * y / M rounded down.
        {"mul(254, 254) = 253, mul(1, 254) = 0", VSK_8U, 1, true, false, 254, 1, 0, 254, 253, 0},
        {"mul(127, 255) = 127", VSK_8U, 1, true, false, 127, 128, 0, 255, 127, 128},
        {"mul(65534, 65534) = 65533", VSK_16U, 1, true, false, 65534, 65535, 0, 65534, 65533, 65534},
        {"OVER, opaque A gives A", VSK_8U, 0, false, false, 77, 255, 200, 120, 77, 255},
        {"OVER, clear A and opaque B give B", VSK_8U, 0, false, false, 77, 0, 200, 255, 200, 255},
        {"OVER alpha without B alpha", VSK_8U, 0, false, false, 10, 100, 0, -1, 3, 255 - 100 * 155 / 255},
        {"IN without B alpha, opaque A: b = 0", VSK_8U, 1, false, false, 200, 255, 9, -1, 0, 0},
        {"ATOP alpha without B alpha", VSK_8U, 3, false, false, 0, 90, 0, -1, 0, 165},
        {"PLUS alpha without B alpha", VSK_16U, 5, false, false, 0, 1234, 0, -1, 0, 65535},
        {"PLUS premultiplied caps 200 + 100", VSK_8U, 5, true, false, 200, 50, 100, 60, 255, 110},
        {"XOR alpha of two opaque alphas", VSK_8U, 4, false, false, 9, 255, 9, 255, 0, 0},
        {"XOR alpha, opaque A, clear B", VSK_8U, 4, false, false, 9, 255, 9, 0, 9, 255},
        {"XOR doubles the product", VSK_8U, 4, false, false, 0, 128, 0, 128, 0, 256 - 2 * 64},
        {"dividing, both alphas clear", VSK_8U, 0, false, true, 200, 0, 100, 0, 0, 0},
        {"dividing OVER, opaque A", VSK_8U, 0, false, true, 77, 255, 200, 40, 77, 255},
        {"dividing un-premultiplies", VSK_8U, 0, true, true, 20, 51, 0, 0, 100, 51},
        {"dividing at 16 bits", VSK_16U, 1, false, true, 40000, 65535, 1, 32768, 40000, 32768},
        // a = 0.2, b = 0.8: (20 + 160 * 0.8) / 0.84 = 176.19, alpha 0.84 * 255 = 214.2.
        {"dividing OVER without B alpha", VSK_8U, 0, false, true, 100, 51, 200, -1, 176, 214},
        {"OVER at 16 bits, opaque A", VSK_16U, 0, false, false, 1234, 65535, 9, 9, 1234, 65535},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto [colour, alpha] = composeOne(c.depth, c.op, c.premul, c.divide, c.A, c.a, c.B, c.b);
        EXPECT_EQ(colour, c.colour);
        EXPECT_EQ(alpha, c.alpha);
    }
}

TEST(AlphaComposite, ChannelOfInterest) {
    // Each image's own channel of interest is composed; the result alpha
    // still goes to the destination's alpha channel. On the alpha channel
    // itself, the alpha alone is composed.
    const IntModel m{65535};
    for (int dstCoi : {2, 4}) {
        ImagePtr A = image(4, 4, VSK_16U, 1, 6, 6, 1), B = image(4, 4, VSK_16U, 0, 6, 6, 2);
        ImagePtr D = image(4, 4, VSK_16U, 0, 6, 6, 3);
        setRoi(A.get(), 1, 0, 0, 6, 6);
        setRoi(B.get(), 3, 1, 1, 5, 5);
        setRoi(D.get(), dstCoi, 0, 1, 5, 6);
        const ImagePtr before = cloneImage(D.get());
        ErrorCapture capture;
        tvskAlphaComposite(A.get(), B.get(), D.get(), 4, nullptr, nullptr, nullptr, 0, 0, nullptr);
        EXPECT_TRUE(capture.reports().empty());
        expectSamples(D.get(), before.get(), common({A.get(), B.get(), D.get()}),
                      [&](int x, int y, int c) -> i64 {
                          const i64 a = at(A.get(), x, y, 3), b = at(B.get(), x, y, 3);
                          if (c == 3) return m.alpha(4, a, b);
                          if (c != dstCoi - 1) return -1;
                          return m.colour(4, false, at(A.get(), x, y, 0), a, at(B.get(), x, y, 2), b);
                      });
    }
}

TEST(AlphaComposite, DestinationMayBeASource) {
    // A over B into B gives what A over B into a third image gives.
    for (int order : {0, 1})
        for (int width : {37, 700}) {
            ImagePtr A = image(4, 4, VSK_8U, order, 5, width, 1);
            ImagePtr B = image(4, 4, VSK_8U, order, 5, width, 2);
            ImagePtr D = cloneImage(B.get());
            tvskAlphaComposite(A.get(), B.get(), D.get(), 0, nullptr, nullptr, nullptr, 0, 0, nullptr);
            tvskAlphaComposite(A.get(), B.get(), B.get(), 0, nullptr, nullptr, nullptr, 0, 0, nullptr);
            EXPECT_EQ(bytesOf(B.get()), bytesOf(D.get())) << order << " " << width;
        }
}

TEST(AlphaComposite, DestinationOverlappingASourceGoesPixelByPixel) {
    // The destination starts one pixel into A's buffer: each pixel is composed
    // from what A holds when its turn comes, as a pixel-by-pixel pass gives;
    // the dividing pass gives what it gives on a separate destination.
    for (bool divide : {false, true}) {
        ImagePtr A = image(4, 4, VSK_8U, 0, 1, 41, 3), B = image(4, 4, VSK_8U, 0, 1, 41, 4);
        ImagePtr D = image(4, 4, VSK_8U, 0, 1, 40, 5);
        std::vector<std::uint8_t> want = bytesOf(A.get());
        for (int x = 0; x < 40; ++x) {
            ImagePtr a = image(4, 4, VSK_8U, 0, 1, 1, 0), d = image(4, 4, VSK_8U, 0, 1, 1, 0);
            for (int c = 0; c < 4; ++c) put(a.get(), 0, 0, c, want[4 * x + c]);
            setRoi(B.get(), 0, x, 0, 1, 1);
            tvskAlphaComposite(a.get(), B.get(), d.get(), 0, nullptr, nullptr, nullptr, 0, divide, nullptr);
            for (int c = 0; c < 4; ++c) want[4 * x + 4 + c] = static_cast<std::uint8_t>(get(d.get(), 0, 0, c));
        }
        setRoi(B.get(), 0, 0, 0, 1, 41);
        char* own = D->imageData;
        D->imageData = A->imageData + 4;
        tvskAlphaComposite(A.get(), B.get(), D.get(), 0, nullptr, nullptr, nullptr, 0, divide, nullptr);
        D->imageData = own;
        EXPECT_EQ(bytesOf(A.get()), want) << divide;
    }
}

TEST(AlphaComposite, RegionsAtTheBufferEndStayInside) {
    // Buffers ending at an inaccessible page, regions reaching their last pixel.
    for (int order : {0, 1})
        for (bool divide : {false, true}) {
            GuardedImage A(4, VSK_8U, order, 7, 13), B(4, VSK_8U, order, 9, 11);
            GuardedImage D(4, VSK_8U, order, 8, 10), alpha(1, VSK_8U, 0, 5, 6);
            for (VskImage* im : {A.get(), B.get(), D.get()}) im->alphaChannel = 4;
            setRoi(A.get(), 0, 8, 2, 99, 99);
            setRoi(B.get(), 0, 6, 4, 5, 5);
            setRoi(D.get(), 0, 5, 3, 5, 5);
            ErrorCapture capture;
            tvskAlphaComposite(A.get(), B.get(), D.get(), 3, nullptr, nullptr, nullptr, 1, divide, nullptr);
            tvskAlphaComposite(A.get(), B.get(), D.get(), 3, alpha.get(), nullptr, nullptr, 0, divide, nullptr);
            tvskAlphaCompositeC(A.get(), B.get(), D.get(), 2, 10, -1, 0, divide, nullptr);
            // Headers grown after allocation: rows past their buffers are left alone.
            D.get()->height += 4;
            A.get()->width += 3;
            setRoi(D.get(), 0, 0, 0, 99, 99);
            tvskAlphaComposite(A.get(), B.get(), D.get(), 0, nullptr, nullptr, nullptr, 0, divide, nullptr);
            tvskAlphaCompositeC(A.get(), B.get(), D.get(), 4, 10, -1, 0, divide, nullptr);
            vskPreMultiplyAlpha(D.get(), -1, nullptr);
            vskMultiplyScale(A.get(), B.get(), D.get(), nullptr);
            vskMultiplySScale(A.get(), D.get(), 9, nullptr);
            D.get()->height -= 4;
            A.get()->width -= 3;
            EXPECT_TRUE(capture.reports().empty());
        }
}

TEST(AlphaCompositeC, ConstantsAreLimitedAndNegativeOnesTakeTheOwnAlpha) {
    // A constant above the maximum is the maximum; a negative one selects the
    // image's own alpha channel, as the alpha-image operation does with an
    // alpha target elsewhere. No alpha is written.
    for (unsigned depth : {VSK_8U, VSK_16U})
        for (int op = 0; op < 6; ++op)
            for (int variant = 0; variant < 4; ++variant) {
                SCOPED_TRACE(testing::Message() << depth << " op " << op << " variant " << variant);
                const int max = depth == VSK_8U ? 255 : 65535, premul = variant & 1, divide = variant >> 1;
                ImagePtr A = image(4, 4, depth, op % 2, 3, 9, 40 + op), B = image(4, 4, depth, 0, 3, 9, 50 + op);
                ImagePtr D = image(4, 4, depth, op % 2, 3, 9, 60);
                ImagePtr limited = cloneImage(D.get()), own = cloneImage(D.get()), viaImages = cloneImage(D.get());
                ImagePtr target = image(1, 1, depth, 0, 3, 9, 61);
                ErrorCapture capture;
                tvskAlphaCompositeC(A.get(), B.get(), D.get(), op, max + 45, 70000, premul, divide, nullptr);
                tvskAlphaCompositeC(A.get(), B.get(), limited.get(), op, max, max, premul, divide, nullptr);
                EXPECT_EQ(bytesOf(D.get()), bytesOf(limited.get()));
                tvskAlphaCompositeC(A.get(), B.get(), own.get(), op, -1, -9, premul, divide, nullptr);
                tvskAlphaComposite(A.get(), B.get(), viaImages.get(), op, nullptr, nullptr, target.get(), premul,
                                   divide, nullptr);
                EXPECT_EQ(bytesOf(own.get()), bytesOf(viaImages.get()));
                EXPECT_TRUE(capture.reports().empty());
            }
}

// ---- argument checks ----------------------------------------------------------------

namespace {

struct Args {
    ImagePtr A = image(4, 4, VSK_8U, 0, 8, 8, 1), B = image(4, 4, VSK_8U, 0, 8, 8, 2);
    ImagePtr D = image(4, 4, VSK_8U, 0, 8, 8, 3);
    ImagePtr alphaA, alphaB, alphaDst;
    VskImage *a = A.get(), *b = B.get(), *d = D.get();
    int op = 0, premul = 0, divide = 0, constA = 10, constB = 20;
};

struct CheckCase {
    const char* text;
    int line;
    std::function<void(Args&)> change;
};

ImagePtr alphaImage(int n = 1, int alpha = 0, unsigned depth = VSK_8U) {
    return image(n, alpha, depth, 0, 8, 8, 9);
}

// Each case reports exactly its text at its line, status -5.
void expectReports(const CheckCase* cases, std::size_t n, const char* func,
                   const std::function<void(Args&)>& run) {
    for (std::size_t i = 0; i < n; ++i) {
        const CheckCase& k = cases[i];
        SCOPED_TRACE(k.text);
        Args args;
        k.change(args);
        ErrorCapture capture;
        run(args);
        EXPECT_EQ(reportsOf(capture), fault(func, k.text, "vskalpha", k.line));
    }
}

void coi(VskImage* im, int c) { setRoi(im, c, 0, 0, 8, 8); }

}  // namespace

TEST(AlphaComposite, ChecksInOrderWithTheirTextsAndLines) {
    const CheckCase cases[] = {
        {"dstImage==0", 1146, [](Args& g) { g.d = nullptr; g.op = 6; }},
        {"srcImageA==0", 1147, [](Args& g) { g.a = nullptr; }},
        {"vskBadImageHeader(srcImageB) != 0", 1148, [](Args& g) { g.b->align = 3; }},
        {"dstImage->roi->xOffset >= dstImage->width", 1146, [](Args& g) { setRoi(g.d, 0, 8, 0, 1, 1); }},
        {"srcImageB->roi->yOffset >= srcImageB->height", 1148, [](Args& g) { setRoi(g.b, 0, 0, 8, 1, 1); }},
        {"dstImage->depth != 8 && dstImage->depth != 16", 1149,
         [](Args& g) { g.a->depth = g.b->depth = g.d->depth = VSK_8S; }},
        {"srcImageA->depth != dstImage->depth", 1150, [](Args& g) { g.a->depth = VSK_8S; }},
        {"srcImageB->depth != dstImage->depth", 1151, [](Args& g) { g.b->depth = VSK_8S; }},
        {"srcImageA->alphaChannel < 1", 1158, [](Args& g) { g.a->alphaChannel = 0; }},
        {"alphaImageA->roi->xOffset >= alphaImageA->width", 1153,
         [](Args& g) { g.alphaA = alphaImage(); setRoi(g.alphaA.get(), 0, 9, 0, 1, 1); }},
        {"alphaImageA->depth != dstImage->depth", 1154, [](Args& g) { g.alphaA = alphaImage(1, 0, VSK_16U); }},
        {"srcImageB->alphaChannel < 1", 1169, [](Args& g) { g.b->alphaChannel = 0; }},
        {"alphaImageB->roi->yOffset >= alphaImageB->height", 1162,
         [](Args& g) { g.alphaB = alphaImage(); setRoi(g.alphaB.get(), 0, 0, 8, 1, 1); }},
        {"alphaImageB->depth != dstImage->depth", 1163, [](Args& g) { g.alphaB = alphaImage(1, 0, VSK_16U); }},
        {"vskBadImageHeader(alphaImageDst) != 0", 1173,
         [](Args& g) { g.alphaDst = alphaImage(1, 1); g.alphaDst->imageData = nullptr; }},
        {"alphaImageDst->depth != dstImage->depth", 1174, [](Args& g) { g.alphaDst = alphaImage(1, 1, VSK_16U); }},
        {"alphaImageDst->alphaChannel < 1", 1175, [](Args& g) { g.alphaDst = alphaImage(2, 0); }},
        {"srcImageA->roi->coi > 0 && dstImage->roi == 0", 1180, [](Args& g) { coi(g.a, 1); }},
        {"dstImage->roi->coi > 0 && srcImageA->roi == 0", 1180, [](Args& g) { coi(g.d, 1); }},
        {"dstImage->roi->coi > 0 && srcImageA->roi->coi == 0", 1180,
         [](Args& g) { coi(g.d, 1); coi(g.a, 0); }},
        {"srcImageB->roi->coi > 0 && dstImage->roi == 0", 1180, [](Args& g) { coi(g.b, 2); }},
        {"dstImage->roi->coi > 0 && srcImageB->roi == 0", 1180, [](Args& g) { coi(g.d, 1); coi(g.a, 1); }},
        {"dstImage->roi->coi > 0 && srcImageB->roi->coi == 0", 1180,
         [](Args& g) { coi(g.d, 1); coi(g.a, 1); coi(g.b, 0); }},
        {"srcImageA->alphaChannel > 0 && srcImageA->alphaChannel != srcImageA->nChannels", 1180,
         [](Args& g) { g.a->alphaChannel = 2; }},
        {"srcImageB->alphaChannel > 0 && srcImageB->alphaChannel != srcImageB->nChannels", 1180,
         [](Args& g) { g.b->alphaChannel = 1; }},
        {"dstImage->alphaChannel > 0 && dstImage->alphaChannel != dstImage->nChannels", 1180,
         [](Args& g) { g.d->alphaChannel = 3; }},
        {"(srcImageA->nChannels - (srcImageA->alphaChannel != 0)) != (dstImage->nChannels - "
         "(dstImage->alphaChannel != 0))",
         1180, [](Args& g) { g.alphaA = alphaImage(); g.a->alphaChannel = 0; }},
        {"(srcImageB->nChannels - (srcImageB->alphaChannel != 0)) != (dstImage->nChannels - "
         "(dstImage->alphaChannel != 0))",
         1180, [](Args& g) { g.d->alphaChannel = g.a->alphaChannel = 0; g.alphaA = alphaImage(); }},
        {"compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 "
         "&& compositeType != 4 && compositeType != 5",
         1181, [](Args& g) { g.op = 6; g.premul = 2; }},
        {"premulAlpha != 0 && premulAlpha != 1", 1182, [](Args& g) { g.premul = -1; }},
        {"divideMode != 0 && divideMode != 1", 1183, [](Args& g) { g.divide = 2; }},
    };
    expectReports(cases, std::size(cases), "vskAlphaComposite", [](Args& g) {
        tvskAlphaComposite(g.a, g.b, g.d, g.op, g.alphaA.get(), g.alphaB.get(), g.alphaDst.get(),
                           g.premul, g.divide, nullptr);
    });
}

TEST(AlphaCompositeC, ChecksInOrderWithTheirTextsAndLines) {
    const CheckCase cases[] = {
        {"vskBadImageHeader(dstImage) != 0", 981, [](Args& g) { g.d->height = 0; }},
        {"vskBadImageHeader(srcImageA) != 0", 982, [](Args& g) { g.a->nChannels = 0; }},
        {"srcImageB==0", 983, [](Args& g) { g.b = nullptr; g.op = 9; }},
        {"dstImage->depth != 8 && dstImage->depth != 16", 984,
         [](Args& g) { g.a->depth = g.b->depth = g.d->depth = VSK_16S; }},
        {"srcImageA->depth != dstImage->depth", 985, [](Args& g) { g.a->depth = VSK_16U; }},
        {"srcImageB->depth != dstImage->depth", 986, [](Args& g) { g.b->depth = VSK_16U; }},
        {"srcImageA->alphaChannel < 1", 987, [](Args& g) { g.a->alphaChannel = 0; g.constA = -1; }},
        {"srcImageB->alphaChannel < 1", 988, [](Args& g) { g.b->alphaChannel = 0; g.constB = -7; }},
        {"dstImage->roi->coi > 0 && srcImageB->roi == 0", 989, [](Args& g) { coi(g.d, 1); coi(g.a, 1); }},
        {"compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 "
         "&& compositeType != 4 && compositeType != 5",
         990, [](Args& g) { g.op = -1; }},
        {"premulAlpha != 0 && premulAlpha != 1", 991, [](Args& g) { g.premul = 5; }},
        {"divideMode != 0 && divideMode != 1", 992, [](Args& g) { g.divide = 3; }},
        // Non-negative constants need no alpha channels: the first failure is the option.
        {"divideMode != 0 && divideMode != 1", 992,
         [](Args& g) { g.a->alphaChannel = g.b->alphaChannel = g.d->alphaChannel = 0; g.divide = 3; }},
    };
    expectReports(cases, std::size(cases), "vskAlphaCompositeC", [](Args& g) {
        tvskAlphaCompositeC(g.a, g.b, g.d, g.op, g.constA, g.constB, g.premul, g.divide, nullptr);
    });
}
