// Alpha compositing on buffered images: the scaled product, every operator
// in every variant against a model of the rules, alpha sources and targets,
// constant alphas, channels of interest, and the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/alpha_support.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;
using namespace alphatest;

namespace {

// The clipped ROI of an image: x, y, rows, cols.
struct Rect {
    int x, y, rows, cols;
};
Rect region(const VskImage* im) {
    if (!im->roi) return {0, 0, im->height, im->width};
    const VskROI* r = im->roi;
    return {r->xOffset, r->yOffset, std::min(r->height, im->height - r->yOffset),
            std::min(r->width, im->width - r->xOffset)};
}

struct Scenario {
    unsigned depth = VSK_8U;
    int op = 0;
    bool premul = false, divide = false;
    int alphaMode = 0;  // 0: own alpha channels, 1: alpha image for A only, 2: for both
    int layout = 0;     // 0: interleaved, result alpha in dst; 1: planes, separate
                        // alpha target; 2: mixed orders, dst without alpha
    int width = 23;
};

// Runs one composition and compares every sample of the destination and of
// the alpha target with the model.
void checkScenario(const Scenario& s, std::uint32_t seed) {
    SCOPED_TRACE("depth " + std::to_string(s.depth) + " op " + std::to_string(s.op) +
                 " premul " + std::to_string(s.premul) + " divide " + std::to_string(s.divide) +
                 " alphaMode " + std::to_string(s.alphaMode) + " layout " +
                 std::to_string(s.layout));
    const int pa = s.layout == 1 ? 1 : 0, pb = s.layout == 1 ? 1 : 0;
    const int orderA = s.layout == 2 ? 1 : pa, orderDst = s.layout == 1 ? 1 : 0;
    const bool ownA = s.alphaMode == 0, ownB = s.alphaMode < 2;
    ImagePtr A = image(ownA ? 4 : 3, ownA ? 4 : 0, s.depth, orderA, 9, s.width + 3, seed);
    ImagePtr B = image(ownB ? 4 : 3, ownB ? 4 : 0, s.depth, pb, 10, s.width + 1, seed + 1);
    const bool dstAlpha = s.layout != 2;
    ImagePtr D = image(dstAlpha ? 4 : 3, dstAlpha ? 4 : 0, s.depth, orderDst, 8, s.width + 2,
                       seed + 2);
    setRoi(A.get(), 0, 2, 1, 8, s.width);
    setRoi(B.get(), 0, 0, 3, 9, s.width + 1);  // 7 rows left below the offset
    setRoi(D.get(), 0, 1, 1, 6, s.width + 5);  // clipped to width + 1
    ImagePtr alphaA, alphaB, target;
    if (s.alphaMode >= 1) {
        alphaA = image(2, 2, s.depth, pa, 8, s.width + 4, seed + 3);
        setRoi(alphaA.get(), 1, 3, 0, 8, s.width + 1);  // its coi does not matter
    }
    if (s.alphaMode == 2) alphaB = image(1, 0, s.depth, pb, 9, s.width, seed + 4);
    if (s.layout == 1) {
        target = image(2, 1, s.depth, 1, 7, s.width + 2, seed + 5);
        setRoi(target.get(), 0, 2, 0, 7, s.width);
    }
    const ImagePtr before = snapshot(D.get());
    const ImagePtr targetBefore = target ? snapshot(target.get()) : nullptr;

    ErrorCapture capture;
    tvskAlphaComposite(A.get(), B.get(), D.get(), s.op, alphaA.get(), alphaB.get(), target.get(),
                       s.premul, s.divide, nullptr);
    ASSERT_TRUE(capture.reports().empty()) << capture.reports()[0].context;

    std::vector<const VskImage*> all = {D.get(), A.get(), B.get()};
    for (const ImagePtr* p : {&alphaA, &alphaB, &target})
        if (*p) all.push_back(p->get());
    int rows = 99999, cols = 99999;
    for (const VskImage* im : all) {
        rows = std::min(rows, region(im).rows);
        cols = std::min(cols, region(im).cols);
    }
    ASSERT_EQ(cols, s.width);
    ASSERT_EQ(rows, 6);

    const Rules rules{s.depth == VSK_8U ? 8 : 16, s.divide};
    const Rect ra = region(A.get()), rb = region(B.get()), rd = region(D.get());
    auto at = [](const ImagePtr& im, int x, int y, int c) {
        const Rect r = region(im.get());
        return get(im.get(), r.x + x, r.y + y, c);
    };
    auto alphaOfA = [&](int x, int y) {
        return alphaA ? at(alphaA, x, y, 1) : get(A.get(), ra.x + x, ra.y + y, 3);
    };
    auto alphaOfB = [&](int x, int y) -> i64 {
        if (alphaB) return at(alphaB, x, y, 0);
        if (alphaA) return -1;  // no B alpha
        return get(B.get(), rb.x + x, rb.y + y, 3);
    };
    int mismatches = 0;
    for (int y = 0; y < D->height; ++y) {
        for (int x = 0; x < D->width; ++x) {
            const int ix = x - rd.x, iy = y - rd.y;
            const bool inside = ix >= 0 && iy >= 0 && ix < cols && iy < rows;
            for (int c = 0; c < D->nChannels; ++c) {
                i64 want = get(before.get(), x, y, c);
                if (inside) {
                    const i64 a = alphaOfA(ix, iy), b = alphaOfB(ix, iy);
                    if (c < 3)
                        want = rules.colour(s.op, s.premul, get(A.get(), ra.x + ix, ra.y + iy, c),
                                            a, get(B.get(), rb.x + ix, rb.y + iy, c), b);
                    else if (!target)
                        want = rules.alpha(s.op, a, b);
                }
                if (get(D.get(), x, y, c) != want && ++mismatches < 5)
                    ADD_FAILURE() << "dst (" << x << "," << y << ") channel " << c << ": "
                                  << get(D.get(), x, y, c) << " want " << want;
            }
        }
    }
    if (target) {
        const Rect rt = region(target.get());
        for (int y = 0; y < target->height; ++y)
            for (int x = 0; x < target->width; ++x)
                for (int c = 0; c < 2; ++c) {
                    const int ix = x - rt.x, iy = y - rt.y;
                    i64 want = get(targetBefore.get(), x, y, c);
                    if (c == 0 && ix >= 0 && iy >= 0 && ix < cols && iy < rows)
                        want = rules.alpha(s.op, alphaOfA(ix, iy), alphaOfB(ix, iy));
                    if (get(target.get(), x, y, c) != want && ++mismatches < 5)
                        ADD_FAILURE() << "target (" << x << "," << y << ") channel " << c;
                }
    }
}

// One pixel composed through the alpha-image operation: colour of channel 0
// and result alpha. b < 0: no B alpha (A's alpha from an alpha image).
struct Pixel {
    i64 colour, alpha;
};
Pixel composeOne(unsigned depth, int op, bool premul, bool divide, i64 A, i64 a, i64 B, i64 b) {
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

TEST(AlphaScaledProduct, EveryPairAt8BitsIsTheProductOver255RoundedDown) {
    ImagePtr x = makeImage(1, VSK_8U, 0, 256, 256), y = makeImage(1, VSK_8U, 0, 256, 256);
    ImagePtr d = makeImage(1, VSK_8U, 0, 256, 256);
    for (int r = 0; r < 256; ++r)
        for (int c = 0; c < 256; ++c) {
            put(x.get(), c, r, 0, c);
            put(y.get(), c, r, 0, r);
        }
    ErrorCapture capture;
    vskMultiplyScale(x.get(), y.get(), d.get(), nullptr);
    ASSERT_TRUE(capture.reports().empty());
    int bad = 0;
    for (int r = 0; r < 256; ++r)
        for (int c = 0; c < 256; ++c)
            if (get(d.get(), c, r, 0) != c * r / 255) ++bad;
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(get(d.get(), 254, 254, 0), 253);
    EXPECT_EQ(get(d.get(), 255, 127, 0), 127);
    EXPECT_EQ(get(d.get(), 1, 128, 0), 0);
}

TEST(AlphaScaledProduct, SampledPairsAt16BitsAreTheProductOver65535RoundedDown) {
    ImagePtr x = image(1, 0, VSK_16U, 0, 64, 300, 11), y = image(1, 0, VSK_16U, 0, 64, 300, 12);
    ImagePtr d = makeImage(1, VSK_16U, 0, 64, 300);
    const i64 corners[][2] = {{65535, 65535}, {65535, 1}, {1, 32768}, {65534, 65534}, {0, 65535}};
    for (int i = 0; i < 5; ++i) {
        put(x.get(), i, 0, 0, corners[i][0]);
        put(y.get(), i, 0, 0, corners[i][1]);
    }
    vskMultiplyScale(x.get(), y.get(), d.get(), nullptr);
    int bad = 0;
    for (int r = 0; r < 64; ++r)
        for (int c = 0; c < 300; ++c)
            if (get(d.get(), c, r, 0) != get(x.get(), c, r, 0) * get(y.get(), c, r, 0) / 65535)
                ++bad;
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(get(d.get(), 0, 0, 0), 65535);
    EXPECT_EQ(get(d.get(), 1, 0, 0), 1);
}

TEST(AlphaComposite, EveryOperatorAndVariantFollowsTheRules) {
    std::uint32_t seed = 100;
    for (unsigned depth : {VSK_8U, VSK_16U})
        for (int op = 0; op < 6; ++op)
            for (bool premul : {false, true})
                for (bool divide : {false, true})
                    for (int alphaMode = 0; alphaMode < 3; ++alphaMode)
                        for (int layout = 0; layout < 3; ++layout) {
                            Scenario s;
                            s.depth = depth;
                            s.op = op;
                            s.premul = premul;
                            s.divide = divide;
                            s.alphaMode = alphaMode;
                            s.layout = layout;
                            checkScenario(s, seed += 7);
                            if (testing::Test::HasFailure()) return;
                        }
}

TEST(AlphaComposite, LongRowsAndNarrowRegions) {
    // Rows longer than the working chunk, and regions narrower than a vector.
    for (int width : {1, 3, 7, 1100})
        for (int layout : {0, 1}) {
            Scenario s;
            s.width = width;
            s.layout = layout;
            s.op = width % 6;
            checkScenario(s, 900 + width);
        }
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
        {"OVER with opaque A gives A", VSK_8U, 0, false, false, 77, 255, 200, 120, 77, 255},
        {"OVER with clear A and opaque B gives B", VSK_8U, 0, false, false, 77, 0, 200, 255, 200,
         255},
        {"OVER alpha without B alpha", VSK_8U, 0, false, false, 10, 100, 0, -1, 3,
         255 - 100 * 155 / 255},
        {"IN without B alpha and opaque A takes b = 0", VSK_8U, 1, false, false, 200, 255, 9, -1,
         0, 0},
        {"ATOP alpha without B alpha is the complement", VSK_8U, 3, false, false, 0, 90, 0, -1, 0,
         165},
        {"PLUS alpha without B alpha is the maximum", VSK_16U, 5, false, false, 0, 1234, 0, -1, 0,
         65535},
        {"PLUS premultiplied caps 200 + 100", VSK_8U, 5, true, false, 200, 50, 100, 60, 255, 110},
        {"XOR alpha of two opaque alphas", VSK_8U, 4, false, false, 9, 255, 9, 255, 0, 0},
        {"XOR alpha of opaque A over clear B", VSK_8U, 4, false, false, 9, 255, 9, 0, 9, 255},
        {"XOR doubles the product", VSK_8U, 4, false, false, 0, 128, 0, 128, 0,
         256 - 2 * (128 * 128 / 255)},
        {"dividing with both alphas clear", VSK_8U, 0, false, true, 200, 0, 100, 0, 0, 0},
        {"dividing OVER with opaque A", VSK_8U, 0, false, true, 77, 255, 200, 40, 77, 255},
        {"dividing un-premultiplies", VSK_8U, 0, true, true, 20, 51, 0, 0, 100, 51},
        {"dividing at 16 bits", VSK_16U, 1, false, true, 40000, 65535, 1, 32768, 40000, 32768},
        {"OVER at 16 bits with opaque A", VSK_16U, 0, false, false, 1234, 65535, 9, 9, 1234,
         65535},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const Pixel p = composeOne(c.depth, c.op, c.premul, c.divide, c.A, c.a, c.B, c.b);
        EXPECT_EQ(p.colour, c.colour);
        EXPECT_EQ(p.alpha, c.alpha);
    }
}

TEST(AlphaComposite, AlphaSourcesAndResultAlpha) {
    ErrorCapture capture;
    // An alpha image for A only: B's own alpha channel is ignored, b = 255 - a.
    ImagePtr A = image(4, 4, VSK_8U, 0, 4, 5, 1), B = image(4, 4, VSK_8U, 0, 4, 5, 2);
    ImagePtr alphaA = image(1, 0, VSK_8U, 0, 4, 5, 3), D = image(4, 4, VSK_8U, 0, 4, 5, 4);
    tvskAlphaComposite(A.get(), B.get(), D.get(), 0, alphaA.get(), nullptr, nullptr, 0, 0,
                       nullptr);
    const IntModel m{255};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) {
            const i64 a = get(alphaA.get(), x, y, 0), b = 255 - a;
            EXPECT_EQ(get(D.get(), x, y, 1),
                      m.colour(0, false, get(A.get(), x, y, 1), a, get(B.get(), x, y, 1), b));
            EXPECT_EQ(get(D.get(), x, y, 3), m.alpha(0, a, b));
        }

    // A destination without alpha channel receives colours only; its padding
    // and the rest of the buffer stay as they were.
    ImagePtr D3 = image(3, 0, VSK_8U, 0, 4, 5, 5);
    const std::vector<std::uint8_t> before = bytesOf(D3.get());
    tvskAlphaComposite(A.get(), B.get(), D3.get(), 0, nullptr, nullptr, nullptr, 0, 0, nullptr);
    const std::vector<std::uint8_t> after = bytesOf(D3.get());
    const int stride = static_cast<int>(strideOf(D3.get()));
    for (int i = 0; i < D3->dataSize; ++i) {
        if (i % stride >= 15) {
            EXPECT_EQ(after[i], before[i]) << "padding byte " << i;
        }
    }
    EXPECT_EQ(get(D3.get(), 2, 1, 0),
              m.colour(0, false, get(A.get(), 2, 1, 0), get(A.get(), 2, 1, 3),
                       get(B.get(), 2, 1, 0), get(B.get(), 2, 1, 3)));
    EXPECT_TRUE(capture.reports().empty());
}

TEST(AlphaComposite, ChannelOfInterest) {
    // Only the channel of interest is composed, each image's own one; the
    // result alpha still goes to the destination's alpha channel.
    ImagePtr A = image(4, 4, VSK_16U, 1, 6, 6, 1), B = image(4, 4, VSK_16U, 0, 6, 6, 2);
    ImagePtr D = image(4, 4, VSK_16U, 0, 6, 6, 3);
    setRoi(A.get(), 1, 0, 0, 6, 6);
    setRoi(B.get(), 3, 1, 1, 5, 5);
    setRoi(D.get(), 2, 0, 1, 5, 6);
    const ImagePtr before = snapshot(D.get());
    ErrorCapture capture;
    tvskAlphaComposite(A.get(), B.get(), D.get(), 4, nullptr, nullptr, nullptr, 0, 0, nullptr);
    ASSERT_TRUE(capture.reports().empty());
    const IntModel m{65535};
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x)
            for (int c = 0; c < 4; ++c) {
                i64 want = get(before.get(), x, y, c);
                if (y >= 1 && x < 5) {
                    const i64 a = get(A.get(), x, y - 1, 3), b = get(B.get(), x + 1, y, 3);
                    if (c == 1)
                        want = m.colour(4, false, get(A.get(), x, y - 1, 0), a,
                                        get(B.get(), x + 1, y, 2), b);
                    if (c == 3) want = m.alpha(4, a, b);
                }
                EXPECT_EQ(get(D.get(), x, y, c), want) << x << "," << y << " channel " << c;
            }

    // A channel of interest on the destination's alpha channel composes the
    // alpha alone.
    setRoi(D.get(), 4, 0, 0, 6, 6);
    setRoi(A.get(), 2, 0, 0, 6, 6);
    setRoi(B.get(), 2, 0, 0, 6, 6);
    const ImagePtr before2 = snapshot(D.get());
    tvskAlphaComposite(A.get(), B.get(), D.get(), 0, nullptr, nullptr, nullptr, 0, 0, nullptr);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(get(D.get(), 4, 4, c), get(before2.get(), 4, 4, c));
    EXPECT_EQ(get(D.get(), 4, 4, 3), m.alpha(0, get(A.get(), 4, 4, 3), get(B.get(), 4, 4, 3)));
}

TEST(AlphaComposite, DestinationMayBeASource) {
    // A over B into B gives what A over B into a third image gives.
    for (int order : {0, 1})
        for (int width : {37, 700}) {
            ImagePtr A = image(4, 4, VSK_8U, order, 5, width, 1);
            ImagePtr B = image(4, 4, VSK_8U, order, 5, width, 2);
            ImagePtr D = snapshot(B.get());  // padding bytes alike
            tvskAlphaComposite(A.get(), B.get(), D.get(), 0, nullptr, nullptr, nullptr, 0, 0,
                               nullptr);
            tvskAlphaComposite(A.get(), B.get(), B.get(), 0, nullptr, nullptr, nullptr, 0, 0,
                               nullptr);
            EXPECT_EQ(bytesOf(B.get()), bytesOf(D.get())) << order << " " << width;
        }
}

TEST(AlphaComposite, RegionsAtTheBufferEndStayInside) {
    // Buffers that end at an inaccessible page: a region reaching the last
    // pixel of every image must not read or write one byte further.
    for (int order : {0, 1})
        for (bool divide : {false, true}) {
            GuardedImage A(4, VSK_8U, order, 7, 13), B(4, VSK_8U, order, 9, 11);
            GuardedImage D(4, VSK_8U, order, 8, 10), alpha(1, VSK_8U, 0, 5, 6);
            for (VskImage* im : {A.get(), B.get(), D.get()}) {
                im->alphaChannel = 4;
                fillRandom(im, 5);
            }
            setRoi(A.get(), 0, 8, 2, 99, 99);
            setRoi(B.get(), 0, 6, 4, 5, 5);
            setRoi(D.get(), 0, 5, 3, 5, 5);
            ErrorCapture capture;
            tvskAlphaComposite(A.get(), B.get(), D.get(), 3, nullptr, nullptr, nullptr, 1, divide,
                               nullptr);
            tvskAlphaComposite(A.get(), B.get(), D.get(), 3, alpha.get(), nullptr, nullptr, 0,
                               divide, nullptr);
            tvskAlphaCompositeC(A.get(), B.get(), D.get(), 2, 10, -1, 0, divide, nullptr);
            EXPECT_TRUE(capture.reports().empty());
        }
}

TEST(AlphaCompositeC, ConstantAlphasFollowTheRules) {
    struct Case {
        unsigned depth;
        int alphaA, alphaB;  // negative: the image's own alpha channel
        int order;
    } cases[] = {
        {VSK_8U, 128, 200, 0}, {VSK_8U, 300, -1, 1}, {VSK_8U, -5, 0, 0},  {VSK_8U, -1, -1, 1},
        {VSK_16U, 70000, 1000, 0}, {VSK_16U, -1, 65535, 1}, {VSK_16U, 0, -1, 0},
    };
    ErrorCapture capture;
    std::uint32_t seed = 40;
    for (const Case& k : cases)
        for (int op = 0; op < 6; ++op)
            for (bool premul : {false, true})
                for (bool divide : {false, true}) {
                    SCOPED_TRACE(std::to_string(k.alphaA) + " " + std::to_string(k.alphaB) + " op " +
                                 std::to_string(op) + " premul " + std::to_string(premul) +
                                 " divide " + std::to_string(divide));
                    ImagePtr A = image(4, 4, k.depth, k.order, 3, 9, ++seed);
                    ImagePtr B = image(4, 4, k.depth, 0, 3, 9, ++seed);
                    ImagePtr D = image(4, 4, k.depth, k.order, 3, 9, ++seed);
                    const ImagePtr before = snapshot(D.get());
                    tvskAlphaCompositeC(A.get(), B.get(), D.get(), op, k.alphaA, k.alphaB, premul,
                                        divide, nullptr);
                    ASSERT_TRUE(capture.reports().empty());
                    const Rules rules{k.depth == VSK_8U ? 8 : 16, divide};
                    const i64 max = rules.max();
                    for (int y = 0; y < 3; ++y)
                        for (int x = 0; x < 9; ++x) {
                            const i64 a = k.alphaA < 0 ? get(A.get(), x, y, 3)
                                                       : std::min<i64>(k.alphaA, max);
                            const i64 b = k.alphaB < 0 ? get(B.get(), x, y, 3)
                                                       : std::min<i64>(k.alphaB, max);
                            for (int c = 0; c < 3; ++c)
                                ASSERT_EQ(get(D.get(), x, y, c),
                                          rules.colour(op, premul, get(A.get(), x, y, c), a,
                                                       get(B.get(), x, y, c), b));
                            // No alpha is written.
                            ASSERT_EQ(get(D.get(), x, y, 3), get(before.get(), x, y, 3));
                        }
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
    bool nullA = false;
};

struct CheckCase {
    const char* text;
    int line;
    std::function<void(Args&)> change;
};

ImagePtr alphaImage(int n = 1, int alpha = 0, unsigned depth = VSK_8U) {
    return image(n, alpha, depth, 0, 8, 8, 9);
}

void expectReport(const std::function<void(Args&)>& run, const CheckCase& k, const char* func) {
    SCOPED_TRACE(k.text);
    Args args;
    k.change(args);
    ErrorCapture capture;
    run(args);
    ASSERT_EQ(capture.reports().size(), 1u);
    const Report& r = capture.reports()[0];
    EXPECT_EQ(r.context, k.text);
    EXPECT_EQ(r.line, k.line);
    EXPECT_EQ(r.status, VSK_STATUS_BAD_ARG);
    EXPECT_EQ(r.func, func);
    EXPECT_EQ(r.file, "vskalpha");
}

}  // namespace

TEST(AlphaComposite, ChecksInOrderWithTheirTextsAndLines) {
    const CheckCase cases[] = {
        {"dstImage==0", 1146, [](Args& g) { g.d = nullptr; g.op = 6; }},
        {"srcImageA==0", 1147, [](Args& g) { g.a = nullptr; }},
        {"vskBadImageHeader(srcImageB) != 0", 1148, [](Args& g) { g.b->align = 3; }},
        {"dstImage->roi->xOffset >= dstImage->width", 1146,
         [](Args& g) { setRoi(g.d, 0, 8, 0, 1, 1); }},
        {"srcImageB->roi->yOffset >= srcImageB->height", 1148,
         [](Args& g) { setRoi(g.b, 0, 0, 8, 1, 1); }},
        {"dstImage->depth != 8 && dstImage->depth != 16", 1149,
         [](Args& g) { g.a->depth = g.b->depth = g.d->depth = VSK_8S; }},
        {"srcImageA->depth != dstImage->depth", 1150, [](Args& g) { g.a->depth = VSK_8S; }},
        {"srcImageB->depth != dstImage->depth", 1151, [](Args& g) { g.b->depth = VSK_8S; }},
        {"srcImageA->alphaChannel < 1", 1158, [](Args& g) { g.a->alphaChannel = 0; }},
        {"alphaImageA->roi->xOffset >= alphaImageA->width", 1153,
         [](Args& g) {
             g.alphaA = alphaImage();
             setRoi(g.alphaA.get(), 0, 9, 0, 1, 1);
         }},
        {"alphaImageA->depth != dstImage->depth", 1154,
         [](Args& g) { g.alphaA = alphaImage(1, 0, VSK_16U); }},
        {"srcImageB->alphaChannel < 1", 1169, [](Args& g) { g.b->alphaChannel = 0; }},
        {"alphaImageB->roi->yOffset >= alphaImageB->height", 1162,
         [](Args& g) {
             g.alphaB = alphaImage();
             setRoi(g.alphaB.get(), 0, 0, 8, 1, 1);
         }},
        {"alphaImageB->depth != dstImage->depth", 1163,
         [](Args& g) { g.alphaB = alphaImage(1, 0, VSK_16U); }},
        {"vskBadImageHeader(alphaImageDst) != 0", 1173,
         [](Args& g) {
             g.alphaDst = alphaImage(1, 1);
             g.alphaDst->imageData = nullptr;
         }},
        {"alphaImageDst->depth != dstImage->depth", 1174,
         [](Args& g) { g.alphaDst = alphaImage(1, 1, VSK_16U); }},
        {"alphaImageDst->alphaChannel < 1", 1175, [](Args& g) { g.alphaDst = alphaImage(2, 0); }},
        {"srcImageA->roi->coi > 0 && dstImage->roi == 0", 1180,
         [](Args& g) { setRoi(g.a, 1, 0, 0, 8, 8); }},
        {"dstImage->roi->coi > 0 && srcImageA->roi == 0", 1180,
         [](Args& g) { setRoi(g.d, 1, 0, 0, 8, 8); }},
        {"dstImage->roi->coi > 0 && srcImageA->roi->coi == 0", 1180,
         [](Args& g) {
             setRoi(g.d, 1, 0, 0, 8, 8);
             setRoi(g.a, 0, 0, 0, 8, 8);
         }},
        {"srcImageB->roi->coi > 0 && dstImage->roi == 0", 1180,
         [](Args& g) { setRoi(g.b, 2, 0, 0, 8, 8); }},
        {"dstImage->roi->coi > 0 && srcImageB->roi == 0", 1180,
         [](Args& g) {
             setRoi(g.d, 1, 0, 0, 8, 8);
             setRoi(g.a, 1, 0, 0, 8, 8);
         }},
        {"dstImage->roi->coi > 0 && srcImageB->roi->coi == 0", 1180,
         [](Args& g) {
             setRoi(g.d, 1, 0, 0, 8, 8);
             setRoi(g.a, 1, 0, 0, 8, 8);
             setRoi(g.b, 0, 0, 0, 8, 8);
         }},
        {"srcImageA->alphaChannel > 0 && srcImageA->alphaChannel != srcImageA->nChannels", 1180,
         [](Args& g) { g.a->alphaChannel = 2; }},
        {"srcImageB->alphaChannel > 0 && srcImageB->alphaChannel != srcImageB->nChannels", 1180,
         [](Args& g) { g.b->alphaChannel = 1; }},
        {"dstImage->alphaChannel > 0 && dstImage->alphaChannel != dstImage->nChannels", 1180,
         [](Args& g) { g.d->alphaChannel = 3; }},
        {"(srcImageA->nChannels - (srcImageA->alphaChannel != 0)) != (dstImage->nChannels - "
         "(dstImage->alphaChannel != 0))",
         1180,
         [](Args& g) {
             g.alphaA = alphaImage();
             g.a->alphaChannel = 0;  // four colour channels against three
         }},
        {"(srcImageB->nChannels - (srcImageB->alphaChannel != 0)) != (dstImage->nChannels - "
         "(dstImage->alphaChannel != 0))",
         1180,
         [](Args& g) {
             g.D = image(3, 0, VSK_8U, 0, 8, 8, 3);
             g.d = g.D.get();
             g.alphaB = alphaImage();
             g.b->alphaChannel = 0;
         }},
        {"compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 "
         "&& compositeType != 4 && compositeType != 5",
         1181, [](Args& g) { g.op = 6; g.premul = 2; }},
        {"premulAlpha != 0 && premulAlpha != 1", 1182, [](Args& g) { g.premul = -1; }},
        {"divideMode != 0 && divideMode != 1", 1183, [](Args& g) { g.divide = 2; }},
    };
    auto run = [](Args& g) {
        tvskAlphaComposite(g.a, g.b, g.d, g.op, g.alphaA.get(), g.alphaB.get(), g.alphaDst.get(),
                           g.premul, g.divide, nullptr);
    };
    for (const CheckCase& k : cases) expectReport(run, k, "vskAlphaComposite");
}

TEST(AlphaComposite, AcceptedAlphaArrangements) {
    struct Case {
        const char* what;
        std::function<void(Args&)> change;
    } cases[] = {
        {"B without alpha channel when A's alpha is an image",
         [](Args& g) {
             g.alphaA = alphaImage();
             g.B = image(3, 0, VSK_8U, 0, 8, 8, 2);
             g.b = g.B.get();
         }},
        {"A without alpha channel when it has an alpha image",
         [](Args& g) {
             g.A = image(3, 0, VSK_8U, 0, 8, 8, 1);
             g.a = g.A.get();
             g.alphaA = alphaImage(2, 2);
             g.alphaB = alphaImage();
         }},
        {"an alpha target whose alpha channel is not last",
         [](Args& g) { g.alphaDst = alphaImage(3, 1); }},
        {"channels of interest on all three", [](Args& g) {
             setRoi(g.a, 2, 0, 0, 8, 8);
             setRoi(g.b, 3, 0, 0, 8, 8);
             setRoi(g.d, 1, 0, 0, 8, 8);
         }},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        Args g;
        k.change(g);
        ErrorCapture capture;
        tvskAlphaComposite(g.a, g.b, g.d, 5, g.alphaA.get(), g.alphaB.get(), g.alphaDst.get(), 0,
                           1, nullptr);
        EXPECT_TRUE(capture.reports().empty());
    }
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
        {"srcImageA->alphaChannel < 1", 987,
         [](Args& g) {
             g.a->alphaChannel = 0;
             g.constA = -1;
         }},
        {"srcImageB->alphaChannel < 1", 988,
         [](Args& g) {
             g.b->alphaChannel = 0;
             g.constB = -7;
         }},
        {"dstImage->roi->coi > 0 && srcImageB->roi == 0", 989,
         [](Args& g) {
             setRoi(g.d, 1, 0, 0, 8, 8);
             setRoi(g.a, 1, 0, 0, 8, 8);
         }},
        {"compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 "
         "&& compositeType != 4 && compositeType != 5",
         990, [](Args& g) { g.op = -1; }},
        {"premulAlpha != 0 && premulAlpha != 1", 991, [](Args& g) { g.premul = 5; }},
        {"divideMode != 0 && divideMode != 1", 992, [](Args& g) { g.divide = 3; }},
    };
    auto run = [](Args& g) {
        tvskAlphaCompositeC(g.a, g.b, g.d, g.op, g.constA, g.constB, g.premul, g.divide, nullptr);
    };
    for (const CheckCase& k : cases) expectReport(run, k, "vskAlphaCompositeC");

    // Non-negative constants need no alpha channels.
    Args g;
    g.a->alphaChannel = g.b->alphaChannel = 0;
    g.d->alphaChannel = 0;
    ErrorCapture capture;
    tvskAlphaCompositeC(g.a, g.b, g.d, 0, 0, 255, 0, 0, nullptr);
    EXPECT_TRUE(capture.reports().empty());
}

TEST(AlphaComposite, SameBitsOnEveryBuild) {
    // A digest of seeded compositions through every driver: any build (32 or
    // 64 bits, SIMD or scalar) that differs in one bit changes it.
    std::uint64_t digest = 1469598103934665603ull;
    std::uint32_t seed = 7;
    for (unsigned depth : {VSK_8U, VSK_16U})
        for (int op = 0; op < 6; ++op)
            for (int variant = 0; variant < 8; ++variant) {
                const bool premul = variant & 1, divide = variant & 2, ownB = variant & 4;
                ImagePtr A = image(4, 4, depth, 0, 16, 37, ++seed);
                ImagePtr B = image(4, 4, depth, divide ? 1 : 0, 16, 37, ++seed);
                ImagePtr D = image(4, 4, depth, 0, 16, 37, ++seed);
                ImagePtr alphaA = image(1, 0, depth, 0, 16, 37, ++seed);
                tvskAlphaComposite(A.get(), B.get(), D.get(), op, ownB ? nullptr : alphaA.get(),
                                   nullptr, nullptr, premul, divide, nullptr);
                tvskAlphaCompositeC(A.get(), B.get(), A.get(), op, 99, -1, premul, divide, nullptr);
                for (const VskImage* im : {A.get(), D.get()})
                    for (std::uint8_t byte : bytesOf(im)) digest = (digest ^ byte) * 1099511628211ull;
            }
    EXPECT_EQ(digest, 6824785360339057025ull);
}
