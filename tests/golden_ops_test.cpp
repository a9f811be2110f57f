// Golden hashes of copy, exchange, fill, arithmetic, logic and compositing.
#include <initializer_list>

#include "support/golden.hpp"

using namespace golden;
using namespace vsktest;

namespace {

// Compositing: the last channel of every image carries its alpha.
void alphaLast(std::initializer_list<VskImage*> images) {
    for (VskImage* i : images) i->alphaChannel = i->nChannels;
}
template <int Op, int Premul, int Divide>
void composite(VskImage* a, VskImage* b, VskImage* d) {
    alphaLast({a, b, d});
    tvskAlphaComposite(a, b, d, Op, nullptr, nullptr, nullptr, Premul, Divide, nullptr);
}
// A's alpha from an alpha image (B's alpha channel): B has no alpha then.
template <int Op, int Divide>
void compositeAlphaImage(VskImage* a, VskImage* b, VskImage* d) {
    alphaLast({a, b, d});
    tvskAlphaComposite(a, b, d, Op, b, nullptr, nullptr, 0, Divide, nullptr);
}
template <int Op, int Premul, int Divide>
void compositeC(VskImage* a, VskImage* b, VskImage* d) {
    tvskAlphaCompositeC(a, b, d, Op, 200, 300, Premul, Divide, nullptr);
}
constexpr Sweep kAlphaSweep{.depths = k8U | k16U, .channels = 1u << 4};
constexpr Sweep kAlphaSweepC{.depths = k8U | k16U, .channels = 1u << 3 | 1u << 4};


const GoldenCase kOpsCases[] = {
    // Copy, exchange and fill.
    {"tvskCopy", 0x73f9665a219c3bd4,
     [](VskImage* s, VskImage*, VskImage* d) { tvskCopy(s, d, nullptr); }},
    {"vskExchange", 0x72e4672615586239,
     [](VskImage* s, VskImage*, VskImage* d) { vskExchange(s, d, nullptr); }},
    // A channel of interest copied into a one-channel image (all channels of
    // three into one: nothing).
    {"tvskCopy into one channel", 0x4bf30c6f766b593c, [](VskImage* s, VskImage*, VskImage* d) { tvskCopy(s, d, nullptr); },
     {.channels = 1u << 3, .dstChannels = 1}},
    {"vskExchange into one channel", 0x65fb9189958ad744, [](VskImage* s, VskImage*, VskImage* d) { vskExchange(s, d, nullptr); },
     {.channels = 1u << 3, .dstChannels = 1}},
    {"tvskSet 200", 0x73d547c86c106706,
     [](VskImage*, VskImage*, VskImage* d) { tvskSet(d, 200, nullptr); }},
    {"tvskSet -70000", 0xd4de49272d5e8d9e,
     [](VskImage*, VskImage*, VskImage* d) { tvskSet(d, -70000, nullptr); }},

    // Arithmetic and logic: odd and even constants (the 1-bit rules differ).
    {"tvskAddS 77", 0x02683385b8415dbb,
     [](VskImage* s, VskImage*, VskImage* d) { tvskAddS(s, d, 77, nullptr); }},
    {"tvskAddS -100000", 0x6d3ede307db0e2ba,
     [](VskImage* s, VskImage*, VskImage* d) { tvskAddS(s, d, -100000, nullptr); }},
    {"tvskSubtractS 300", 0xa5584e6074dd0425,
     [](VskImage* s, VskImage*, VskImage* d) { tvskSubtractS(s, d, 300, 0, nullptr); }},
    {"tvskSubtractS reversed 300", 0x8034a08c617e087b,
     [](VskImage* s, VskImage*, VskImage* d) { tvskSubtractS(s, d, 300, 1, nullptr); }},
    {"tvskSubtractS reversed 2000000001", 0x4a8b46233d72a534,
     [](VskImage* s, VskImage*, VskImage* d) { tvskSubtractS(s, d, 2000000001, 1, nullptr); }},
    {"tvskAndS", 0x52dc106acc507687,
     [](VskImage* s, VskImage*, VskImage* d) { tvskAndS(s, d, 0xF0F0A5C3u, nullptr); }},
    {"tvskAnd", 0x019f7fc744596295,
     [](VskImage* a, VskImage* b, VskImage* d) { tvskAnd(a, b, d, nullptr); }},

    // Wide rows through the vector kernels of copy, arithmetic and logic.
    {"tvskCopy wide", 0x4060878ed85d4971, [](VskImage* s, VskImage*, VskImage* d) { tvskCopy(s, d, nullptr); },
     wide({})},
    {"tvskAddS 77 wide", 0x6d919ba9da76097d, [](VskImage* s, VskImage*, VskImage* d) { tvskAddS(s, d, 77, nullptr); },
     wide({})},
    {"tvskSubtractS reversed 300 wide", 0x865752e2883402c6,
     [](VskImage* s, VskImage*, VskImage* d) { tvskSubtractS(s, d, 300, 1, nullptr); }, wide({})},
    {"tvskAndS wide", 0xba9c51d4643f8c19, [](VskImage* s, VskImage*, VskImage* d) { tvskAndS(s, d, 0xF0F0A5C3u, nullptr); },
     wide({})},
    {"tvskAnd wide", 0x0f5ea06d9d1d5ec5, [](VskImage* a, VskImage* b, VskImage* d) { tvskAnd(a, b, d, nullptr); },
     wide({})},

    // Compositing: every operator, straight and premultiplied, with and
    // without division by the result alpha; constant alphas; premultiplying
    // and scaled multiplies.
    {"tvskAlphaComposite over", 0x1b974730834f2c6c, composite<0, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite in", 0x9ac65081bb79d0a8, composite<1, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite out", 0xc43edcf1dac75626, composite<2, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite atop", 0x866948bd7d9ea8a1, composite<3, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite xor", 0x4539ba950d6476e9, composite<4, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite plus", 0xc0173652c2e6989c, composite<5, 0, 0>, kAlphaSweep},
    {"tvskAlphaComposite over premultiplied", 0xbdf5e4f4c1ef8afc, composite<0, 1, 0>, kAlphaSweep},
    {"tvskAlphaComposite xor premultiplied", 0x32c1f249a4dbce21, composite<4, 1, 0>, kAlphaSweep},
    {"tvskAlphaComposite over divided", 0x3835ed3db319ead0, composite<0, 0, 1>, kAlphaSweep},
    {"tvskAlphaComposite atop premultiplied divided", 0xa91dd09200b9ed40, composite<3, 1, 1>, kAlphaSweep},
    {"tvskAlphaComposite in premultiplied", 0x5905e135520c280d, composite<1, 1, 0>, kAlphaSweep},
    {"tvskAlphaComposite out premultiplied", 0xa807b54a51bf9d94, composite<2, 1, 0>, kAlphaSweep},
    {"tvskAlphaComposite atop premultiplied", 0x07b49f7bfe60f682, composite<3, 1, 0>, kAlphaSweep},
    {"tvskAlphaComposite plus premultiplied", 0x9be7b66cfc278e57, composite<5, 1, 0>, kAlphaSweep},
    {"tvskAlphaComposite in divided", 0xa43d099bf145e2bc, composite<1, 0, 1>, kAlphaSweep},
    {"tvskAlphaComposite out premultiplied divided", 0x02b15bd190d6dee6, composite<2, 1, 1>, kAlphaSweep},
    {"tvskAlphaComposite xor divided", 0x720629b1f71b7c83, composite<4, 0, 1>, kAlphaSweep},
    {"tvskAlphaComposite plus divided", 0x8847baae08e635a0, composite<5, 0, 1>, kAlphaSweep},
    {"tvskAlphaComposite xor alpha image", 0x82dbd869bd731312, compositeAlphaImage<4, 0>, kAlphaSweep},
    {"tvskAlphaComposite over divided alpha image", 0x75f1b0d27ec8ba4f, compositeAlphaImage<0, 1>, kAlphaSweep},
    {"tvskAlphaCompositeC over", 0x35f7021b08e794d7, compositeC<0, 0, 0>, kAlphaSweepC},
    {"tvskAlphaCompositeC in premultiplied", 0x24b0add7d5709d59, compositeC<1, 1, 0>, kAlphaSweepC},
    {"tvskAlphaCompositeC out divided", 0xad882dbfc9a6b09c, compositeC<2, 0, 1>, kAlphaSweepC},
    {"tvskAlphaCompositeC atop", 0xcc8eaac5b1bf5b0b, compositeC<3, 0, 0>, kAlphaSweepC},
    {"tvskAlphaCompositeC xor premultiplied divided", 0xe4bef955c2ff4338, compositeC<4, 1, 1>, kAlphaSweepC},
    {"tvskAlphaCompositeC own alphas", 0xd853e34497947fa0,
     [](VskImage* a, VskImage* b, VskImage* d) {
         alphaLast({a, b, d});
         tvskAlphaCompositeC(a, b, d, 4, -1, -5, 0, 0, nullptr);
     },
     kAlphaSweep},
    {"tvskAlphaCompositeC plus premultiplied divided", 0x4973f92c90f9273c, compositeC<5, 1, 1>, kAlphaSweepC},
    {"vskPreMultiplyAlpha own alpha", 0x185ca2b672bcce8a,
     [](VskImage* s, VskImage*, VskImage*) {
         alphaLast({s});
         vskPreMultiplyAlpha(s, -1, nullptr);
     },
     kAlphaSweep},
    {"vskPreMultiplyAlpha 77", 0x882bc1726caf5efe, [](VskImage* s, VskImage*, VskImage*) { vskPreMultiplyAlpha(s, 77, nullptr); },
     kAlphaSweepC},
    {"vskMultiplyScale", 0x54c1b1925639daf5, [](VskImage* a, VskImage* b, VskImage* d) { vskMultiplyScale(a, b, d, nullptr); },
     kAlphaSweepC},
    // Wide rows through the vector kernels: interleaved and plane rows,
    // integer and dividing, and the scaled product.
    {"tvskAlphaComposite over wide", 0xbfa5b8a1cbd432ca, composite<0, 0, 0>, wide(kAlphaSweep)},
    {"tvskAlphaComposite xor premultiplied wide", 0x570ccd1bfafbd5c7, composite<4, 1, 0>, wide(kAlphaSweep)},
    {"tvskAlphaComposite over divided wide", 0x1e27b51340bfcee1, composite<0, 0, 1>, wide(kAlphaSweep)},
    {"vskMultiplyScale wide", 0xf11f58e67a0625ae, [](VskImage* a, VskImage* b, VskImage* d) { vskMultiplyScale(a, b, d, nullptr); },
     wide(kAlphaSweepC)},
    {"vskMultiplySScale 150", 0x060d41fbecfde83d,
     [](VskImage* s, VskImage*, VskImage* d) { vskMultiplySScale(s, d, 150, nullptr); }, kAlphaSweepC},
};

}  // namespace

namespace golden {
VSK_GOLDEN_CASES(Ops, kOpsCases);
}  // namespace golden
