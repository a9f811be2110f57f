// Golden hashes of the box blur.
#include "support/golden.hpp"

using namespace golden;
using namespace vsktest;

namespace {

// A blur whose source has the same border mode on every side.
template <int Rows, int Cols, int AnchorX, int AnchorY, int Border>
void blur(VskImage* s, VskImage*, VskImage* d) {
    vskSetBorderMode(s, Border, 15, 0);
    tvskBlur(s, d, Rows, Cols, AnchorX, AnchorY, nullptr);
}
constexpr unsigned kBlurDepths = kEveryDepth & ~k1U;

const GoldenCase kFilterCases[] = {
    // Blur: box sizes, anchors inside and outside the box, each border mode,
    // a 1 x 1 box and an empty one.
    {"tvskBlur 3x3 centred", 0xa6a828b63f1e55bc, blur<3, 3, 1, 1, VSK_BORDER_CONSTANT>,
     {.depths = kBlurDepths}},
    {"tvskBlur 5x5 replicate", 0x6681224271093cfb,
     blur<5, 5, 0, 0, VSK_BORDER_REPLICATE>, {.depths = kBlurDepths}},
    {"tvskBlur 1x4 reflect", 0x914c77f18d143665, blur<1, 4, 3, 0, VSK_BORDER_REFLECT>,
     {.depths = kBlurDepths}},
    {"tvskBlur 4x2 wrap, anchor outside", 0x4af664c51799a637,
     blur<4, 2, 2, 5, VSK_BORDER_WRAP>, {.depths = kBlurDepths}},
    {"tvskBlur 2x3 constant, 1x1, empty", 0xb65a2c8397f7dc3a,
     [](VskImage* s, VskImage*, VskImage* d) {
         vskSetBorderMode(s, VSK_BORDER_CONSTANT, 15, 99);
         tvskBlur(s, d, 2, 3, 1, 0, nullptr);
         tvskBlur(d, s, 1, 1, 0, 1, nullptr);
         tvskBlur(s, s, 0, 3, 0, 0, nullptr);
     },
     {.depths = kBlurDepths}},
    // Wide rows: the first and last columns and the vector tails of the
    // column-sum, row-sum and mean kernels, small and wide boxes.
    {"tvskBlur 5x3 reflect, wide", 0x8431addcbc0b6b6a, blur<5, 3, 1, 2, VSK_BORDER_REFLECT>,
     wide({.depths = kBlurDepths})},
    {"tvskBlur 2x11 wrap, anchor outside, wide", 0xbcde1b5cb7c78274,
     blur<2, 11, 12, 0, VSK_BORDER_WRAP>, wide({.depths = kBlurDepths})},
    // In place with a border mode per side; into another channel count.
    {"tvskBlur 3x4 in place, a mode per side", 0xee64a7ced1c8a82b,
     [](VskImage* s, VskImage*, VskImage*) {
         vskSetBorderMode(s, VSK_BORDER_REPLICATE, 1, 0);
         vskSetBorderMode(s, VSK_BORDER_REFLECT, 2, 0);
         vskSetBorderMode(s, VSK_BORDER_WRAP, 4, 0);
         vskSetBorderMode(s, VSK_BORDER_CONSTANT, 8, -77);
         tvskBlur(s, s, 3, 4, 2, 1, nullptr);
     },
     {.depths = kBlurDepths}},
    {"tvskBlur 2x2 into three channels", 0x8d940f67e6d98c5e, blur<2, 2, 1, 0, VSK_BORDER_REPLICATE>,
     {.depths = kBlurDepths, .dstChannels = 3}},
};

}  // namespace

namespace golden {
VSK_GOLDEN_CASES(Filter, kFilterCases);
}  // namespace golden
