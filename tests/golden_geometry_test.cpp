// Golden hashes of mirror, zoom and decimate.
#include "support/golden.hpp"

using namespace golden;
using namespace vsktest;

namespace {

template <int Axis>
void mirror(VskImage* s, VskImage*, VskImage* d) {
    tvskMirror(s, d, Axis, nullptr);
}
template <int Axis>
void mirrorInPlace(VskImage* s, VskImage*, VskImage*) {
    tvskMirror(s, s, Axis, nullptr);
}
template <int XU, int XL, int YU, int YL, int Interpolate>
void zoom(VskImage* s, VskImage*, VskImage* d) {
    tvskZoom(s, d, XU, XL, YU, YL, Interpolate, nullptr);
}
template <int XU, int XL, int YU, int YL, int Interpolate>
void decimate(VskImage* s, VskImage*, VskImage* d) {
    tvskDecimate(s, d, XU, XL, YU, YL, Interpolate, nullptr);
}
constexpr unsigned kZoomDepths = k1U | k8U | k16U;

const GoldenCase kGeometryCases[] = {
    // Mirror about each axis, into another image and in place.
    {"tvskMirror axis 0", 0xa453d2e377498679, mirror<0>},
    {"tvskMirror axis 1", 0x2a93b419c8ccef91, mirror<1>},
    {"tvskMirror axis -1", 0xa3dd312acbd4d2db, mirror<-1>},
    {"tvskMirror in place axis 0", 0x27a5217cd8756d5b, mirrorInPlace<0>},
    {"tvskMirror in place axis 1", 0xe502b4b37d6a59b7, mirrorInPlace<1>},
    {"tvskMirror in place axis -1", 0x9a66771e8ca17691, mirrorInPlace<-1>},
    // Rows of several vectors of every pixel size, and 1-bit rows of many
    // words, at odd offsets.
    {"tvskMirror wide axis 1", 0x197cad4fafd580c9, mirror<1>, wide({})},
    {"tvskMirror wide in place axis -1", 0x00104f64ab04792c, mirrorInPlace<-1>, wide({})},
    {"tvskMirror 1-bit long rows axis -1", 0xdd3317bad99d86e9, mirror<-1>,
     {.depths = k1U, .width = 613}},
    // Pixels of 2 and 5 channels: sizes with and without a row kernel.
    {"tvskMirror 2 and 5 channels axis -1", 0x55612ccb7dee250b, mirror<-1>,
     {.channels = 1u << 2 | 1u << 5}},
    {"tvskMirror 2 and 5 channels in place axis 1", 0x4bf9815da32ae745, mirrorInPlace<1>,
     {.channels = 1u << 2 | 1u << 5}},

    // Zoom: 1-bit sources fall back to nearest neighbour, signed depths are
    // passed over.
    {"tvskZoom nearest", 0xef726a8f8b404e04, zoom<3, 2, 2, 1, VSK_INTER_NN>,
     {.depths = kZoomDepths | k8S}},
    {"tvskZoom linear", 0x9b74d338a6a280e6, zoom<5, 3, 7, 4, VSK_INTER_LINEAR>,
     {.depths = kZoomDepths}},
    {"tvskZoom cubic", 0x22ee52bcf2cb5b9e, zoom<2, 1, 3, 2, VSK_INTER_CUBIC>,
     {.depths = kZoomDepths}},
    // Larger and uneven factors, 2-channel pixels among them.
    {"tvskZoom nearest 9 by 7/3", 0xc75bc3042e1343b6, zoom<9, 1, 7, 3, VSK_INTER_NN>,
     {.depths = kZoomDepths, .channels = 1u << 1 | 1u << 2 | 1u << 4}},
    {"tvskZoom linear 9/4 by 3", 0x24dca51cad1b7f71, zoom<9, 4, 3, 1, VSK_INTER_LINEAR>,
     {.depths = kZoomDepths, .channels = 1u << 1 | 1u << 2 | 1u << 3}},
    {"tvskZoom cubic 7/3 by 5/2", 0x9fe9263e0177ae2f, zoom<7, 3, 5, 2, VSK_INTER_CUBIC>,
     {.depths = kZoomDepths, .channels = 1u << 1 | 1u << 2 | 1u << 3}},
    // Wide rows through the row kernels: nearest neighbour, linear by
    // quarters (the integer rule at 8 bits), linear and cubic by other factors.
    {"tvskZoom nearest wide", 0x1080b215816a0f83, zoom<3, 2, 2, 1, VSK_INTER_NN>,
     wide({.depths = kZoomDepths})},
    {"tvskZoom linear wide by 2", 0xc0628d8b14f0829d, zoom<2, 1, 4, 3, VSK_INTER_LINEAR>,
     wide({.depths = kZoomDepths})},
    {"tvskZoom linear wide", 0xe6e37c2358273567, zoom<5, 2, 3, 2, VSK_INTER_LINEAR>,
     wide({.depths = kZoomDepths})},
    {"tvskZoom cubic wide", 0x9c89b8dd87e6d033, zoom<3, 2, 2, 1, VSK_INTER_CUBIC>,
     wide({.depths = kZoomDepths})},

    // Decimate: integral factors, non-integral ones, and one of each.
    {"tvskDecimate nearest integral", 0xf4cf4fbf896d33d2,
     decimate<1, 2, 1, 3, VSK_INTER_NN>, {.depths = kZoomDepths | k16S}},
    {"tvskDecimate nearest", 0x21a895a48d8b2d37, decimate<2, 3, 3, 4, VSK_INTER_NN>,
     {.depths = kZoomDepths}},
    {"tvskDecimate linear", 0xe6f2b8113514c012, decimate<2, 3, 3, 5, VSK_INTER_LINEAR>,
     {.depths = kZoomDepths}},
    {"tvskDecimate linear across", 0x58ed44b311b3651d,
     decimate<3, 4, 1, 2, VSK_INTER_LINEAR>, {.depths = kZoomDepths}},
    {"tvskDecimate cubic", 0x2c15f6c8b380d3fa, decimate<3, 4, 2, 3, VSK_INTER_CUBIC>,
     {.depths = kZoomDepths}},
    {"tvskDecimate cubic down", 0x8bafbd927b0f3903,
     decimate<1, 3, 3, 5, VSK_INTER_CUBIC>, {.depths = kZoomDepths}},
    // The other single-axis variants, uneven factors and a copy.
    {"tvskDecimate linear down", 0xe679059743482808, decimate<1, 2, 2, 3, VSK_INTER_LINEAR>,
     {.depths = kZoomDepths}},
    {"tvskDecimate cubic across", 0xf036546740d37c94, decimate<5, 7, 1, 1, VSK_INTER_CUBIC>,
     {.depths = kZoomDepths}},
    {"tvskDecimate linear 7/8 by 4/9", 0x44236a88583fa2c6, decimate<7, 8, 4, 9, VSK_INTER_LINEAR>,
     {.depths = kZoomDepths}},
    {"tvskDecimate cubic 255/256 by 2/5", 0x10bf19bcde870bc9,
     decimate<255, 256, 2, 5, VSK_INTER_CUBIC>, {.depths = kZoomDepths}},
    {"tvskDecimate copy", 0x37a58426af87ad2d, decimate<1, 1, 1, 1, VSK_INTER_CUBIC>,
     {.depths = kZoomDepths}},
    // Wide rows through the row kernels: picks, both axes, one axis.
    {"tvskDecimate wide nearest", 0x296c7ae211b27a47, decimate<2, 3, 3, 4, VSK_INTER_NN>,
     wide({.depths = kZoomDepths})},
    {"tvskDecimate wide linear", 0x9b69fdafa505a6eb, decimate<2, 3, 3, 5, VSK_INTER_LINEAR>,
     wide({.depths = kZoomDepths})},
    {"tvskDecimate wide linear across", 0x0591cf41ee54cf6f, decimate<3, 4, 1, 2, VSK_INTER_LINEAR>,
     wide({.depths = kZoomDepths})},
    {"tvskDecimate wide cubic", 0x8d4726378992d567, decimate<3, 4, 2, 3, VSK_INTER_CUBIC>,
     wide({.depths = kZoomDepths})},
    {"tvskDecimate wide cubic down", 0xb1454b95ece50f04, decimate<1, 2, 3, 5, VSK_INTER_CUBIC>,
     wide({.depths = kZoomDepths})},
};

}  // namespace

namespace golden {
VSK_GOLDEN_CASES(Geometry, kGeometryCases);
}  // namespace golden
