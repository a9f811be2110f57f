// The compositing drivers and selectors, and the scaled-multiply driver.
#pragma once

#include "alpha_engine.hpp"

namespace vsk::alpha {

// One run of a compositing operator over rows x cols pixels. Colour channel
// k of the destination combines channel k of A and of B (each layout already
// starts at the first processed channel); the alpha layouts address one
// channel, or hold a constant.
struct CompositeCall {
    int op = 0;    // 0 OVER, 1 IN, 2 OUT, 3 ATOP, 4 XOR, 5 PLUS
    int bits = 8;  // 8 or 16
    int rows = 0, cols = 0;
    bool premul = false, divide = false;
    Layout a, b, dst;
    int colours = 0;
    Layout alphaA, alphaB, target;
    bool hasB = true;       // without it, B's alpha is the complement of A's
    bool hasTarget = false;
    bool allPlane = false;  // every image involved is in plane order
    // Interleaved A, B and destination of four channels with their own
    // alphas last, the result alpha going to the destination's.
    bool rgba = false;
    // Constant alphas of the constant operation (negative: the image's own
    // alpha channel, given in alphaA / alphaB). That operation always has a
    // B alpha and writes no alpha.
    int constA = -1, constB = -1;
};

// The alpha-image operation: plane, pixel or floating driver.
void composite(const CompositeCall& call);
// The constant-alpha operation: integer or floating constant driver.
void compositeConstant(const CompositeCall& call);

// d = mul(x, y) for every sample of `channels` channels of rows x cols
// pixels; y may address a single channel or a constant.
struct MultiplyCall {
    int bits = 8;
    int rows = 0, cols = 0;
    int channels = 0;
    Layout x, y, d;
};
void multiply(const MultiplyCall& call);
// Sets one channel of rows x cols pixels to the constant `from` holds.
void fill(int bits, const Layout& to, const Layout& from, int rows, int cols);

}  // namespace vsk::alpha
