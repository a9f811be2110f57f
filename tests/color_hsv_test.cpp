// HSV and HLS conversions: the formulas at each depth, the channel lookup by
// order and letter, and the header rewrite. The golden hashes sweep every
// depth and layout.
#include <gtest/gtest.h>

#include <array>

#include "support/colortest.hpp"

using namespace vsktest;
using namespace colortest;

namespace {

using Op = void(VSK_CALL*)(VskImage*, VskImage*, const int*);
using Pixel = std::array<std::int64_t, 3>;

}  // namespace

TEST(HueConversions, FormulasAtEveryDepth) {
    // 8U hues are half-degrees, wider ones whole degrees; saturation,
    // value and lightness scale to the depth's maximum.
    struct Case {
        Op op;
        unsigned depth;
        Pixel in, out;
    } cases[] = {
        {vskRGB2HSV, VSK_8U, {255, 0, 0}, {0, 255, 255}},
        {vskRGB2HSV, VSK_8U, {0, 0, 255}, {120, 255, 255}},  // 240 degrees
        {vskRGB2HSV, VSK_8U, {77, 77, 77}, {0, 0, 77}},      // grey: no hue, no saturation
        {vskRGB2HSV, VSK_8U, {0, 0, 0}, {0, 0, 0}},
        {vskRGB2HSV, VSK_8U, {200, 100, 50}, {10, 191, 200}},
        {vskRGB2HSV, VSK_16U, {60000, 30000, 1000}, {29, 64442, 60000}},
        {vskRGB2HSV, VSK_32S, {2000000000, 1000, 1500000000}, {315, 2147482573, 2000000000}},
        {vskRGB2HLS, VSK_8U, {255, 0, 0}, {0, 127, 255}},
        {vskRGB2HLS, VSK_8U, {77, 77, 77}, {0, 77, 0}},
        {vskRGB2HLS, VSK_8U, {200, 100, 50}, {10, 125, 153}},
        {vskRGB2HLS, VSK_8U, {20, 40, 30}, {75, 30, 85}},
        {vskRGB2HLS, VSK_16U, {60000, 30000, 1000}, {29, 30500, 63386}},
        {vskRGB2HLS, VSK_16U, {1000, 2000, 60000}, {238, 30500, 63386}},  // max + min > M
        {vskRGB2HLS, VSK_32S, {2000000000, 1000, 1500000000}, {315, 1000000500, 2147481499}},
        {vskHSV2RGB, VSK_8U, {0, 0, 77}, {77, 77, 77}},
        {vskHSV2RGB, VSK_8U, {0, 255, 255}, {255, 2, 1}},
        {vskHSV2RGB, VSK_8U, {100, 200, 150}, {33, 112, 150}},
        {vskHSV2RGB, VSK_8U, {170, 90, 240}, {240, 156, 185}},
        {vskHSV2RGB, VSK_16U, {200, 40000, 50000}, {19481, 39827, 50000}},
        {vskHSV2RGB, VSK_16U, {360, 65535, 65535}, {65535, 0, 0}},  // 360 is sector 0
        {vskHSV2RGB, VSK_16U, {400, 65535, 65535}, {65535, 0, 21844}},  // sector 6 as 5
        {vskHSV2RGB, VSK_32S, {300, 2000000000, 1000000000}, {1000000000, 68677424, 999999999}},
        {vskHLS2RGB, VSK_8U, {0, 77, 0}, {77, 77, 77}},
        {vskHLS2RGB, VSK_8U, {0, 127, 255}, {254, 0, 0}},
        {vskHLS2RGB, VSK_8U, {0, 128, 255}, {255, 1, 1}},  // from 128 up: L + S - L S
        {vskHLS2RGB, VSK_8U, {100, 100, 200}, {22, 126, 178}},
        {vskHLS2RGB, VSK_8U, {170, 200, 90}, {220, 180, 193}},
        {vskHLS2RGB, VSK_16U, {200, 30000, 40000}, {11689, 36103, 48310}},
        {vskHLS2RGB, VSK_16U, {100, 50000, 20000}, {48419, 54740, 45259}},
        {vskHLS2RGB, VSK_32S, {300, 1500000000, 2000000000}, {2103016138, 896983861, 2103016138}},
    };
    for (const Case& c : cases) {
        const char* from = c.op == vskHSV2RGB ? "HSV" : c.op == vskHLS2RGB ? "HLS" : "RGB";
        SCOPED_TRACE(testing::Message() << from << " depth " << c.depth << " " << c.in[0] << ","
                                        << c.in[1] << "," << c.in[2]);
        ErrorCapture capture;
        ImagePtr src = makeImage(3, c.depth, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, from, from);
        ImagePtr dst = makeImage(3, c.depth, VSK_DATA_ORDER_PIXEL, 1, 1, 0, 4, "RGB", "BGR");
        for (int i = 0; i < 3; ++i) put(src.get(), 0, 0, i, c.in[i]);
        c.op(src.get(), dst.get(), nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        EXPECT_EQ((Pixel{get(dst.get(), 0, 0, 0), get(dst.get(), 0, 0, 1), get(dst.get(), 0, 0, 2)}), c.out);
    }
}

TEST(HueConversions, ChannelsByOrderAndLetterAndTheHeaderRewrite) {
    // RGB sources in pixel order go by their first letter, others by
    // position; plane order goes by letter. The destination takes the
    // model's order and names; its fourth channel is left alone.
    struct Case {
        Op op;
        const char* from;
        const char* seq;
        int order;
        Pixel stored, out;
        const char* to;
    } cases[] = {
        {vskRGB2HSV, "RGB", "BGRA", VSK_DATA_ORDER_PIXEL, {50, 100, 200}, {10, 191, 200}, "HSV"},
        {vskRGB2HSV, "RGB", "GBRA", VSK_DATA_ORDER_PLANE, {100, 50, 200}, {10, 191, 200}, "HSV"},
        {vskRGB2HLS, "RGB", "BGRA", VSK_DATA_ORDER_PLANE, {50, 100, 200}, {10, 125, 153}, "HLS"},
        {vskHSV2RGB, "HSV", "VSHA", VSK_DATA_ORDER_PIXEL, {100, 200, 150}, {33, 112, 150}, "RGB"},
        {vskHSV2RGB, "HSV", "SVHA", VSK_DATA_ORDER_PLANE, {200, 150, 100}, {33, 112, 150}, "RGB"},
        {vskHLS2RGB, "HLS", "SLHA", VSK_DATA_ORDER_PLANE, {200, 100, 100}, {22, 126, 178}, "RGB"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << " " << c.seq << " order " << c.order);
        ErrorCapture capture;
        ImagePtr src = makeImage(4, VSK_8U, c.order, 1, 1, 0, 4, c.from, c.seq);
        ImagePtr dst = makeImage(4, VSK_8U, c.order, 1, 1, 0, 4, "XYZW", "ABCD");
        for (int i = 0; i < 3; ++i) put(src.get(), 0, 0, i, c.stored[i]);
        put(src.get(), 0, 0, 3, 77);
        c.op(src.get(), dst.get(), nullptr);
        EXPECT_EQ(reportsOf(capture), "");
        EXPECT_EQ((Pixel{get(dst.get(), 0, 0, 0), get(dst.get(), 0, 0, 1), get(dst.get(), 0, 0, 2)}), c.out);
        EXPECT_EQ(get(dst.get(), 0, 0, 3), 0);
        EXPECT_EQ(std::string(dst->colorModel, 4) + std::string(dst->channelSeq, 4),
                  std::string(c.to) + "W" + c.to + "D");
    }
}
