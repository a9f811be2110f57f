// Every reported fault of the colour operations: names, texts, files, lines.
#include <gtest/gtest.h>

#include "support/colortest.hpp"

using namespace vsktest;
using namespace colortest;

namespace {

using Call = void (*)(VskImage*, VskImage*);
void toGray(VskImage* s, VskImage* d) { tvskColorToGray(s, d, nullptr); }
void toColor(VskImage* s, VskImage* d) { tvskGrayToColor(s, d, 1, 1, 1, nullptr); }
template <int Jitter, int Dither>
void reduce(VskImage* s, VskImage* d) { vskReduceBits(s, d, Jitter, Dither, 1, nullptr); }
template <void(VSK_CALL* Op)(VskImage*, VskImage*, const int*)>
void hue(VskImage* s, VskImage* d) { Op(s, d, nullptr); }

struct Kind {
    int channels;
    unsigned depth;
    const char* names;  // colour model and channel sequence
};

// A change to the images; returns 1 or 2 to pass a null source or destination.
using Change = int (*)(VskImage* src, VskImage* dst);
int none(VskImage*, VskImage*) { return 0; }
int nullSrc(VskImage*, VskImage*) { return 1; }
int nullDst(VskImage*, VskImage*) { return 2; }
int badSrc(VskImage* s, VskImage*) { return s->align = 3, 0; }
int badDst(VskImage*, VskImage* d) { return d->align = 3, 0; }
int origin(VskImage* s, VskImage*) { return s->origin = 1, 0; }
int planeSrc(VskImage* s, VskImage*) { return s->dataOrder = VSK_DATA_ORDER_PLANE, 0; }

struct Case {
    const char* name;
    Call call;
    Kind src, dst;
    Change change;
    std::string expected;
};

const Kind R8{3, VSK_8U, "RGB"}, G8{1, VSK_8U, "GRAY"}, G16{1, VSK_16U, "GRAY"};
const Kind G32{1, VSK_32S, "GRAY"}, B1{1, VSK_1U, "GRAY"};
std::string top(const char* f, const char* text, int line) { return fault(f, text, "vskcolor", line); }
std::string own(const char* f, const char* text, int line) { return fault(f, text, "owncolor", line); }
std::string header(int line) { return top("vskReduceBits", headerText(0x800).c_str(), line); }
std::string incompatible(const char* f, int line) { return top(f, "incomatibleimages", line); }
std::string noImage(const char* f) { return own(f, "null_image_pointer", 1107); }

}  // namespace

TEST(ColorFaults, EveryCheckReportsItsOwnWords) {
    const std::string jitterType = top("vskReduceBits", "(0>jitterType)||(jitterType>8)", 67);
    // clang-format off
    const Case cases[] = {
        {"gray: source header", toGray, R8, G8, badSrc, header(155)},
        {"gray: destination header", toGray, R8, G8, badDst, header(156)},
        {"gray: null source", toGray, R8, G8, nullSrc, noImage("vskColorToGray")},
        {"gray: null destination", toGray, R8, G8, nullDst, noImage("vskColorToGray")},
        {"gray: source model", toGray, {3, VSK_8U, "BGR"}, G8, none, incompatible("vskColorToGray", 159)},
        {"gray: 3-channel pixel destination", toGray, R8, R8, none, incompatible("vskColorToGray", 159)},
        {"gray: origins", toGray, R8, G8, origin, incompatible("vskColorToGray", 159)},
        {"gray: signed source", toGray, {3, VSK_8S, "RGB"}, G8, none,
         own("ownColorToGray", "errInOutDepth", 486)},
        {"gray: 32S destination", toGray, R8, G32, none, own("ownColorToGray", "errInOutDepth", 486)},
        {"color: source header", toColor, G8, R8, badSrc, header(468)},
        {"color: destination header", toColor, G8, R8, badDst, header(469)},
        {"color: null source", toColor, G8, R8, nullSrc, noImage("vskGrayToColor")},
        {"color: destination model", toColor, G8, {3, VSK_8U, "BGR"}, none, incompatible("vskGrayToColor", 472)},
        {"color: depths", toColor, G8, {3, VSK_16U, "RGB"}, none, incompatible("vskGrayToColor", 472)},
        {"color: 1U into 16U", toColor, B1, {3, VSK_16U, "RGB"}, none, incompatible("vskGrayToColor", 472)},
        {"color: 3-channel pixel source", toColor, R8, R8, none, incompatible("vskGrayToColor", 472)},
        {"color: origins", toColor, G8, R8, origin, incompatible("vskGrayToColor", 472)},
        {"color: signed", toColor, {1, VSK_16S, "GRAY"}, {3, VSK_16S, "RGB"}, none,
         own("ownGrayToColor", "errInOutDepth", 1024)},
        // The jitter type is checked before anything else.
        {"reduce: jitter -1", reduce<-1, 1>, G16, G8, nullSrc, jitterType},
        {"reduce: jitter 9", reduce<9, 1>, G16, G8, badSrc, jitterType},
        {"reduce: source header", reduce<0, 1>, G16, G8, badSrc, header(68)},
        {"reduce: destination header", reduce<0, 1>, G16, G8, badDst, header(69)},
        {"reduce: null", reduce<0, 1>, G16, G8, nullDst, noImage("vskReduceBits")},
        {"reduce: channels", reduce<0, 1>, {3, VSK_16U, "RGB"}, G8, none, incompatible("vskReduceBits", 72)},
        {"reduce: orders", reduce<0, 1>, G16, G8, planeSrc, incompatible("vskReduceBits", 72)},
        {"reduce: origins", reduce<0, 1>, G16, G8, origin, incompatible("vskReduceBits", 72)},
        {"reduce: 16U to 16U", reduce<0, 1>, G16, G16, none, own("ownReduceBits", "errOutDepth", 150)},
        {"reduce: 8U to 8U", reduce<0, 1>, G8, G8, none, own("ownReduceBits", "errOutDepth", 181)},
        {"reduce: 32S to 1U", reduce<0, 1>, G32, B1, none, own("ownReduceBits", "errInOutDepth", 198)},
        {"reduce: 16S source", reduce<0, 1>, {1, VSK_16S, "GRAY"}, G8, none,
         own("ownReduceBits", "errInOutDepth", 198)},
        {"jitter: 16U to 16U", reduce<2, 1>, G16, G16, none, own("ownjitter_rect", "errOutDepth", 170)},
        {"jitter: 8U to 8U", reduce<2, 1>, G8, G8, none, own("ownjitter_rect", "errOutDepth", 187)},
        {"jitter: 32S to 32S", reduce<2, 1>, G32, G32, none, own("ownjitter_rect", "errInOutDepth", 204)},
        {"dither: 1U", reduce<0, 2>, G8, B1, none, own("own_dither_rect", "errInDepth", 316)},
        {"dither: grey type", reduce<0, 3>, G16, G8, none, own("own_dither_rect", "errDitherOption", 385)},
        {"dither: colour type", reduce<0, 0>, {3, VSK_16U, "RGB"}, R8, none,
         own("own_dither_rect", "errDitherOption", 320)},
        {"HSV: source header", hue<vskRGB2HSV>, R8, R8, badSrc, header(222)},
        {"HSV: destination header", hue<vskRGB2HSV>, R8, R8, badDst, header(223)},
        {"HSV: null", hue<vskRGB2HSV>, R8, R8, nullSrc, noImage("vskRGB2HSV")},
        {"HSV: source model", hue<vskRGB2HSV>, {3, VSK_8U, "HSV"}, R8, none, incompatible("vskRGB2HSV", 226)},
        {"HSV: 16U into 8U", hue<vskRGB2HSV>, {3, VSK_16U, "RGB"}, R8, none, incompatible("vskRGB2HSV", 226)},
        {"HSV: channels", hue<vskRGB2HSV>, R8, G8, none, incompatible("vskRGB2HSV", 226)},
        {"HSV: orders", hue<vskRGB2HSV>, R8, R8, planeSrc, incompatible("vskRGB2HSV", 226)},
        {"HSV: depth", hue<vskRGB2HSV>, {3, VSK_8S, "RGB"}, {3, VSK_8S, "RGB"}, none,
         own("ownRGB2HSV", "errInOutDepth", 585)},
        {"to RGB: destination header", hue<vskHSV2RGB>, {3, VSK_8U, "HSV"}, R8, badDst, header(286)},
        {"to RGB: model", hue<vskHSV2RGB>, R8, R8, none, incompatible("vskHSV2RGB", 289)},
        {"to RGB: origins", hue<vskHSV2RGB>, {3, VSK_8U, "HSV"}, R8, origin, incompatible("vskHSV2RGB", 289)},
        {"to RGB: depth", hue<vskHSV2RGB>, {3, VSK_16S, "HSV"}, {3, VSK_16S, "RGB"}, none,
         own("ownRGB2HSV", "errInOutDepth", 682)},
        {"HLS: source header", hue<vskRGB2HLS>, R8, R8, badSrc, header(347)},
        {"HLS: model", hue<vskRGB2HLS>, {3, VSK_8U, "HLS"}, R8, none, incompatible("vskRGB2HLS", 351)},
        {"HLS: depth", hue<vskRGB2HLS>, {3, VSK_8S, "RGB"}, {3, VSK_8S, "RGB"}, none,
         own("ownRGB2HSV", "errInOutDepth", 779)},
        {"from HLS: source header", hue<vskHLS2RGB>, {3, VSK_8U, "HLS"}, R8, badSrc, header(408)},
        {"from HLS: destination header", hue<vskHLS2RGB>, {3, VSK_8U, "HLS"}, R8, badDst, header(409)},
        {"from HLS: model", hue<vskHLS2RGB>, {3, VSK_8U, "HSV"}, R8, none, incompatible("vskHLS2RGB", 412)},
        {"from HLS: depth", hue<vskHLS2RGB>, {3, VSK_8S, "HLS"}, {3, VSK_8S, "RGB"}, none,
         own("ownRGB2HLS", "errInOutDepth", 875)},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ImagePtr src = makeImage(c.src.channels, c.src.depth, 0, 2, 8, 1, 4, c.src.names, c.src.names);
        ImagePtr dst = makeImage(c.dst.channels, c.dst.depth, 0, 2, 8, 0, 4, c.dst.names, c.dst.names);
        const std::vector<std::uint8_t> before = bytesOf(dst.get());
        const int nulled = c.change(src.get(), dst.get());
        ErrorCapture capture;
        c.call(nulled == 1 ? nullptr : src.get(), nulled == 2 ? nullptr : dst.get());
        EXPECT_EQ(reportsOf(capture), c.expected);
        // Only a dither fault comes after the destination has been written.
        if (std::string(c.name).rfind("dither", 0) != 0) {
            EXPECT_EQ(bytesOf(dst.get()), before);
        }
    }
}

TEST(ColorFaults, NamesAreRewrittenBeforeTheDepthTest) {
    ErrorCapture capture;
    ImagePtr src = makeImage(4, VSK_8S, 0, 2, 8, 0, 4, "RGBA", "BGRA");
    ImagePtr dst = makeImage(4, VSK_8S, 0, 2, 8, 0, 4, "XYZW", "ABCD");
    vskRGB2HLS(src.get(), dst.get(), nullptr);
    EXPECT_EQ(std::string(dst->colorModel, 4), "HLSW");
    EXPECT_EQ(std::string(dst->channelSeq, 4), "HLSD");
}

TEST(ColorFaults, PixelLayerFaultsAreReportedOncePerTile) {
    // The walk goes on, every tile is given back, and a dither fault leaves
    // the reduced values in place.
    ErrorCapture capture;
    ImagePtr src = makeImage(1, VSK_16U, 0, 8, 24, 0x4000, 4, "GRAY", "GRAY");
    TiledImage dst(1, VSK_8U, 0, 8, 24, 8, 8);
    vskReduceBits(src.get(), dst.get(), 0, 5, 1, nullptr);
    const std::string option = own("own_dither_rect", "errDitherOption", 385);
    EXPECT_EQ(reportsOf(capture), option + option + option);
    EXPECT_EQ(dst.get(23, 7), 0x40);
    EXPECT_EQ(dst.held, 0);
}
