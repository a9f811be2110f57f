// Golden hashes of colour and grey conversion, bit reduction and the hue conversions.
#include "support/golden.hpp"

using namespace golden;
using namespace vsktest;

namespace {

void colorToGray(VskImage* s, VskImage*, VskImage* d) { tvskColorToGray(s, d, nullptr); }
// Without jitter: it draws from the C library's rand(), which differs
// between runtimes.
template <int Dither, int Levels>
void reduceBits(VskImage* s, VskImage*, VskImage* d) {
    vskReduceBits(s, d, 0, Dither, Levels, nullptr);
}

constexpr unsigned kHueDepths = k8U | k16U | k32S;
constexpr unsigned kColourChannels = 1u << 3 | 1u << 4;
constexpr Sweep kToGray{.depths = kHueDepths, .channels = kColourChannels, .dstChannels = 1};
constexpr Sweep kTo8U{.depths = k16U | k32S, .dstDepth = VSK_8U};
constexpr Sweep kTo16U{.depths = k32S, .dstDepth = VSK_16U};
constexpr Sweep kHue{.depths = kHueDepths, .channels = kColourChannels, .names = true};

const GoldenCase kColorCases[] = {
    // Colour and grey.
    {"tvskColorToGray to 8U", 0x8f40ead1074c09c3, colorToGray,
     withDstDepth(kToGray, VSK_8U)},
    {"tvskColorToGray to 16U", 0xbfa2448570e29970, colorToGray,
     withDstDepth(kToGray, VSK_16U)},
    {"tvskColorToGray to 1U, red first", 0xf46eaa5e02f2bc28,
     [](VskImage* s, VskImage* s2, VskImage* d) {
         setName(s->channelSeq, "RGB");
         colorToGray(s, s2, d);
     },
     withDstDepth(kToGray, VSK_1U)},
    {"tvskGrayToColor default fractions", 0xc73d3ab77806df1e,
     [](VskImage* s, VskImage*, VskImage* d) { tvskGrayToColor(s, d, 0, 0, 0, nullptr); },
     {.depths = kHueDepths, .channels = 1u << 1, .dstChannels = 3}},
    {"tvskGrayToColor given fractions", 0xafa751656fa5f231,
     [](VskImage* s, VskImage*, VskImage* d) {
         tvskGrayToColor(s, d, 0.3f, 0.59f, 0.11f, nullptr);
     },
     {.depths = kHueDepths, .channels = 1u << 1, .dstChannels = 4}},
    {"tvskGrayToColor from 1U", 0x7702bb1391f70a73,
     [](VskImage* s, VskImage*, VskImage* d) {
         tvskGrayToColor(s, d, 0.75f, 0.5f, 0.25f, nullptr);
     },
     {.depths = k1U, .channels = 1u << 1, .dstChannels = 3, .dstDepth = VSK_8U}},
    // Channels found by letter, weights swapped for a first letter other than "R".
    {"tvskColorToGray from GBR", 0x781df4f3ce38f2ae,
     [](VskImage* s, VskImage* s2, VskImage* d) {
         setName(s->channelSeq, "GBR");
         colorToGray(s, s2, d);
     },
     withDstDepth(kToGray, VSK_8U)},
    {"tvskGrayToColor into GRB, fractions outside 0..1", 0x75e1a591b884d62c,
     [](VskImage* s, VskImage*, VskImage* d) {
         setName(d->channelSeq, "GRB");
         tvskGrayToColor(s, d, -0.25f, 1.5f, 0.75f, nullptr);
     },
     {.depths = kHueDepths, .channels = 1u << 1, .dstChannels = 3}},
    {"tvskGrayToColor from 1U into RGB", 0x69fb62e3f7e39af3,
     [](VskImage* s, VskImage*, VskImage* d) {
         setName(d->channelSeq, "RGB");
         tvskGrayToColor(s, d, 0.5f, 0.25f, 1.0f, nullptr);
     },
     {.depths = k1U, .channels = 1u << 1, .dstChannels = 3, .dstDepth = VSK_8U}},
    // Rows of several vectors and an odd tail, for the vector kernels.
    {"tvskColorToGray wide to 8U", 0x108fa94feebe27d6, colorToGray,
     wide(withDstDepth(kToGray, VSK_8U))},
    {"tvskColorToGray wide to 16U", 0xdc51c2e82cbaf06c, colorToGray,
     wide(withDstDepth(kToGray, VSK_16U))},
    {"tvskColorToGray wide to 1U", 0x8d8ba6fc012dd213, colorToGray,
     wide(withDstDepth(kToGray, VSK_1U))},
    {"tvskGrayToColor wide", 0xac93dfd9c054edc4,
     [](VskImage* s, VskImage*, VskImage* d) {
         tvskGrayToColor(s, d, 0.3f, 1.59f, 0.11f, nullptr);
     },
     wide({.depths = kHueDepths, .channels = 1u << 1, .dstChannels = 3})},
    {"tvskGrayToColor wide from 1U", 0x5171e90fe434e79b,
     [](VskImage* s, VskImage*, VskImage* d) {
         tvskGrayToColor(s, d, 0.75f, 0.5f, 0.25f, nullptr);
     },
     wide({.depths = k1U, .channels = 1u << 1, .dstChannels = 3, .dstDepth = VSK_8U})},

    // Bit reduction, plain and with each dither (levels beyond the depth
    // and below 0 are clamped).
    {"vskReduceBits to 16U", 0x0f25fbe94c67f0dd, reduceBits<1, 0>, kTo16U},
    {"vskReduceBits to 8U", 0x92124b16d93e2753, reduceBits<1, 0>, kTo8U},
    {"vskReduceBits to 1U", 0xccf88c4273facb47, reduceBits<1, 0>,
     {.depths = k8U, .channels = 1u << 1 | 1u << 3, .dstChannels = 1, .dstDepth = VSK_1U}},
    {"vskReduceBits to 8U Floyd-Steinberg", 0xb226e386e5412972,
     reduceBits<2, 2>, kTo8U},
    {"vskReduceBits to 8U Jarvis-Judice-Ninke", 0xccfa4645a4759d52,
     reduceBits<4, 3>, kTo8U},
    {"vskReduceBits to 8U Stucki", 0xeda0d3b49f6c94d7, reduceBits<8, 1>, kTo8U},
    {"vskReduceBits to 8U ordered", 0x490f177e4395b41e, reduceBits<16, 20>, kTo8U},
    {"vskReduceBits to 16U Floyd-Steinberg", 0x6a86e16cebab7e91,
     reduceBits<2, 5>, kTo16U},
    {"vskReduceBits to 16U Jarvis-Judice-Ninke", 0x06fca6d1b85bf1e5,
     reduceBits<4, -3>, kTo16U},
    {"vskReduceBits to 16U Stucki", 0x0a21acc872cd7792, reduceBits<8, 7>, kTo16U},
    {"vskReduceBits to 16U ordered", 0x0efed888be2543e9, reduceBits<16, 2>,
     kTo16U},

    // HSV and HLS, both ways; the conversions rename the destination.
    {"vskRGB2HSV", 0x1c6da227e72e29e4,
     [](VskImage* s, VskImage*, VskImage* d) { vskRGB2HSV(s, d, nullptr); }, kHue},
    {"vskHSV2RGB", 0xcdc4eaf3d7075f1b,
     [](VskImage* s, VskImage*, VskImage* d) {
         setNames(s, "HSV", "HSVA");
         vskHSV2RGB(s, d, nullptr);
     },
     kHue},
    {"vskRGB2HLS red first", 0x500ab1d2b9959cf9,
     [](VskImage* s, VskImage*, VskImage* d) {
         setName(s->channelSeq, "RGBA");
         vskRGB2HLS(s, d, nullptr);
     },
     kHue},
    {"vskHLS2RGB", 0xe8a4b819ec6dfff5,
     [](VskImage* s, VskImage*, VskImage* d) {
         setNames(s, "HLS", "HLSA");
         vskHLS2RGB(s, d, nullptr);
     },
     kHue},
};

}  // namespace

namespace golden {
VSK_GOLDEN_CASES(Color, kColorCases);
}  // namespace golden
