// Premultiplication and scaled multiplication by an image or a constant.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/alpha_support.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;
using namespace alphatest;

namespace {

i64 scaled(i64 x, i64 y, unsigned depth) { return x * y / (depth == VSK_8U ? 255 : 65535); }

}  // namespace

TEST(AlphaPreMultiply, ColoursTakeTheAlpha) {
    struct Case {
        const char* what;
        unsigned depth;
        int order, channels, alphaChannel, alpha;
        i64 colourIn, alphaIn, colourOut, alphaOut;
    } cases[] = {
        {"constant 128 halves colours and becomes the alpha", VSK_8U, 0, 4, 4, 128, 200, 7, 100, 128},
        {"a constant above the maximum is the maximum", VSK_8U, 1, 4, 4, 300, 200, 7, 200, 255},
        {"own alpha, alpha kept", VSK_8U, 0, 4, 4, -1, 200, 128, 100, 128},
        {"own alpha at 16 bits in planes", VSK_16U, 1, 2, 2, -3, 40000, 32768, 20000, 32768},
        {"constant at 16 bits", VSK_16U, 0, 4, 4, 65535, 1234, 0, 1234, 65535},
        {"without alpha channel every channel is a colour", VSK_8U, 0, 3, 0, 51, 250, 0, 50, 0},
        {"constant 0 is a constant: colours clear, alpha 0", VSK_8U, 0, 4, 4, 0, 200, 7, 0, 0},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        ImagePtr im = image(k.channels, k.alphaChannel, k.depth, k.order, 3, 5, 1);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 5; ++x)
                for (int c = 0; c < k.channels; ++c)
                    put(im.get(), x, y, c, c == k.alphaChannel - 1 ? k.alphaIn : k.colourIn);
        const ImagePtr before = cloneImage(im.get());
        setRoi(im.get(), 0, 1, 1, 9, 9);  // clipped to 2 rows, 4 columns
        ErrorCapture capture;
        vskPreMultiplyAlpha(im.get(), k.alpha, nullptr);
        EXPECT_TRUE(capture.reports().empty());
        expectSamples(im.get(), before.get(), region(im.get()), [&](int, int, int c) {
            return c == k.alphaChannel - 1 ? k.alphaOut : k.colourOut;
        });
    }
}

TEST(AlphaMultiplySScale, ConstantsAreLimitedAsUnsignedNumbers) {
    struct Case {
        unsigned depth;
        int value;
        i64 effective;  // the constant the samples are multiplied by
    } cases[] = {{VSK_8U, 255, 255},    {VSK_8U, -1, 255},        {VSK_8U, 0, 0},
                 {VSK_8U, 256, 255},    {VSK_8U, 77, 77},         {VSK_16U, -2, 65535},
                 {VSK_16U, 70000, 65535}, {VSK_16U, 3000, 3000}};
    for (const Case& k : cases)
        for (int order : {0, 1}) {
            SCOPED_TRACE(std::to_string(k.value) + " order " + std::to_string(order));
            ImagePtr src = image(3, 0, k.depth, order, 4, 7, 2), dst = image(3, 0, k.depth, order, 4, 7, 3);
            ErrorCapture capture;
            vskMultiplySScale(src.get(), dst.get(), k.value, nullptr);
            EXPECT_TRUE(capture.reports().empty());
            expectSamples(dst.get(), dst.get(), region(dst.get()), [&](int x, int y, int c) {
                return scaled(get(src.get(), x, y, c), k.effective, k.depth);
            });
        }
}

TEST(AlphaMultiplyScale, SamplesMultiplyAcrossLayoutsAndChannels) {
    struct Case {
        const char* what;
        int orderA, orderB, orderD;
        int coiA, coiB, coiD;  // -1: no ROI
    } cases[] = {
        {"mixed orders", 1, 0, 1, -1, 0, -1},
        {"channels of interest", 0, 1, 0, 3, 1, 2},
    };
    for (unsigned depth : {VSK_8U, VSK_16U})
        for (const Case& k : cases) {
            SCOPED_TRACE(std::string(k.what) + " depth " + std::to_string(depth));
            ImagePtr a = image(4, 4, depth, k.orderA, 6, 19, 4);  // the alpha is multiplied too
            ImagePtr b = image(4, 0, depth, k.orderB, 7, 21, 5);
            ImagePtr d = image(4, 4, depth, k.orderD, 6, 20, 6);
            if (k.coiA >= 0) setRoi(a.get(), k.coiA, 1, 1, 5, 18);
            if (k.coiB >= 0) setRoi(b.get(), k.coiB, 2, 2, 5, 19);
            if (k.coiD >= 0) setRoi(d.get(), k.coiD, 0, 0, 5, 18);
            const ImagePtr before = cloneImage(d.get());
            ErrorCapture capture;
            vskMultiplyScale(a.get(), b.get(), d.get(), nullptr);
            ASSERT_TRUE(capture.reports().empty());
            expectSamples(d.get(), before.get(), common({a.get(), b.get(), d.get()}),
                          [&](int x, int y, int c) -> i64 {
                              if (k.coiD <= 0) return scaled(at(a.get(), x, y, c), at(b.get(), x, y, c), depth);
                              if (c != k.coiD - 1) return -1;
                              return scaled(at(a.get(), x, y, k.coiA - 1), at(b.get(), x, y, k.coiB - 1), depth);
                          });
        }

    // An all-255 image reproduces the other exactly.
    ImagePtr a = image(4, 4, VSK_8U, 0, 5, 5, 7), full = makeImage(4, VSK_8U, 0, 5, 5, 255);
    ImagePtr d = makeImage(4, VSK_8U, 0, 5, 5);
    vskMultiplyScale(a.get(), full.get(), d.get(), nullptr);
    EXPECT_EQ(bytesOf(d.get()), bytesOf(a.get()));
}

TEST(AlphaMultiply, ChecksInOrderWithTheirTextsAndLines) {
    struct Images {
        ImagePtr a = image(3, 0, VSK_8U, 0, 4, 4, 1), b = image(3, 0, VSK_8U, 0, 4, 4, 2);
        ImagePtr d = image(3, 0, VSK_8U, 0, 4, 4, 3);
        VskImage *pa = a.get(), *pb = b.get(), *pd = d.get();
        int value = 9;
    };
    struct Case {
        const char* func;  // which operation: image = d, srcImageA / srcImage = a
        const char* text;
        int line;
        std::function<void(Images&)> change;
    } cases[] = {
        {"vskPreMultiplyAlpha", "image==0", 856, [](Images& g) { g.pd = nullptr; }},
        {"vskPreMultiplyAlpha", "image->roi->xOffset >= image->width", 856,
         [](Images& g) { setRoi(g.pd, 0, 4, 0, 1, 1); }},
        {"vskPreMultiplyAlpha", "image->depth != 8 && image->depth != 16", 857,
         [](Images& g) { g.pd->depth = VSK_32S; }},
        {"vskPreMultiplyAlpha", "image->alphaChannel > 0 && image->alphaChannel != image->nChannels", 858,
         [](Images& g) { g.pd->alphaChannel = 1; }},
        {"vskPreMultiplyAlpha", "image->alphaChannel < 1", 859, [](Images& g) { g.value = -1; }},
        {"vskMultiplyScale", "dstImage==0", 726, [](Images& g) { g.pd = nullptr; }},
        {"vskMultiplyScale", "srcImageA==0", 727, [](Images& g) { g.pa = nullptr; }},
        {"vskMultiplyScale", "vskBadImageHeader(srcImageB) != 0", 728, [](Images& g) { g.pb->origin = 2; }},
        {"vskMultiplyScale", "dstImage->depth != 8 && dstImage->depth != 16", 729,
         [](Images& g) { g.pa->depth = g.pb->depth = g.pd->depth = VSK_32S; }},
        {"vskMultiplyScale", "srcImageA->depth != dstImage->depth", 730, [](Images& g) { g.pa->depth = VSK_16U; }},
        {"vskMultiplyScale", "srcImageB->depth != dstImage->depth", 731, [](Images& g) { g.pb->depth = VSK_16U; }},
        {"vskMultiplyScale", "srcImageA->roi->coi > 0 && dstImage->roi == 0", 732,
         [](Images& g) { setRoi(g.pa, 1, 0, 0, 4, 4); }},
        {"vskMultiplyScale", "dstImage->roi->coi > 0 && srcImageB->roi->coi == 0", 733, [](Images& g) {
             setRoi(g.pd, 1, 0, 0, 4, 4);
             setRoi(g.pa, 2, 0, 0, 4, 4);
             setRoi(g.pb, 0, 0, 0, 4, 4);
         }},
        {"vskMultiplyScale", "srcImageA->nChannels != dstImage->nChannels", 735,
         [](Images& g) { g.pa->nChannels = 2; }},
        {"vskMultiplyScale", "srcImageB->nChannels != dstImage->nChannels", 736,
         [](Images& g) { g.pb->nChannels = 2; }},
        {"vskMultiplySScale", "dstImage->roi->xOffset >= dstImage->width", 601,
         [](Images& g) { setRoi(g.pd, 0, 4, 0, 1, 1); }},
        {"vskMultiplySScale", "vskBadImageHeader(srcImage) != 0", 602, [](Images& g) { g.pa->dataSize = 0; }},
        {"vskMultiplySScale", "dstImage->depth != 8 && dstImage->depth != 16", 603,
         [](Images& g) { g.pa->depth = g.pd->depth = VSK_8S; }},
        {"vskMultiplySScale", "srcImage->depth != dstImage->depth", 604, [](Images& g) { g.pa->depth = VSK_16U; }},
        {"vskMultiplySScale", "dstImage->roi->coi > 0 && srcImage->roi == 0", 605,
         [](Images& g) { setRoi(g.pd, 3, 0, 0, 4, 4); }},
        {"vskMultiplySScale", "srcImage->nChannels != dstImage->nChannels", 607,
         [](Images& g) { g.pd->nChannels = 4; }},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.text);
        Images g;
        k.change(g);
        ErrorCapture capture;
        const std::string func = k.func;
        if (func == "vskPreMultiplyAlpha") vskPreMultiplyAlpha(g.pd, g.value, nullptr);
        if (func == "vskMultiplyScale") vskMultiplyScale(g.pa, g.pb, g.pd, nullptr);
        if (func == "vskMultiplySScale") vskMultiplySScale(g.pa, g.pd, g.value, nullptr);
        EXPECT_EQ(reportsOf(capture), fault(func, k.text, "vskalpha", k.line));
    }
}
