// Compositing test support: images with an alpha channel, regions, and a
// small, slow model of the integer compositing rules written from their
// definitions (the scaled product as a rounded-down division, the operator
// table term by term).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>

#include "vsktest.hpp"

namespace alphatest {

using i64 = std::int64_t;

// A buffered image with the given alpha channel, filled from a seed.
inline vsktest::ImagePtr image(int n, int alpha, unsigned depth, int order, int h, int w,
                               std::uint32_t seed) {
    vsktest::ImagePtr p = vsktest::makeImage(n, depth, order, h, w);
    p->alphaChannel = alpha;
    vsktest::fillRandom(p.get(), seed);
    return p;
}

// The clipped ROI of an image.
struct Rect {
    int x, y, rows, cols;
};
inline Rect region(const VskImage* im) {
    if (!im->roi) return {0, 0, im->height, im->width};
    const VskROI* r = im->roi;
    return {r->xOffset, r->yOffset, std::min(r->height, im->height - r->yOffset),
            std::min(r->width, im->width - r->xOffset)};
}
// The size all images can supply.
inline Rect common(std::initializer_list<const VskImage*> images) {
    Rect c{0, 0, 99999, 99999};
    for (const VskImage* im : images) {
        if (!im) continue;
        c.rows = std::min(c.rows, region(im).rows);
        c.cols = std::min(c.cols, region(im).cols);
    }
    return c;
}

// Checks every sample of `got`: at (x, y) of the first `size.rows` x
// `size.cols` pixels of its ROI, `want(x, y, c)` unless that is negative;
// everywhere else the sample of `before`.
inline void expectSamples(const VskImage* got, const VskImage* before, Rect size,
                          const std::function<i64(int, int, int)>& want) {
    const Rect r = region(got);
    int bad = 0;
    for (int y = 0; y < got->height; ++y)
        for (int x = 0; x < got->width; ++x)
            for (int c = 0; c < got->nChannels; ++c) {
                const int ix = x - r.x, iy = y - r.y;
                i64 w = -1;
                if (ix >= 0 && iy >= 0 && ix < size.cols && iy < size.rows) w = want(ix, iy, c);
                if (w < 0) w = vsktest::get(before, x, y, c);
                if (vsktest::get(got, x, y, c) != w && ++bad < 4)
                    ADD_FAILURE() << "(" << x << "," << y << ") channel " << c << ": "
                                  << vsktest::get(got, x, y, c) << " want " << w;
            }
}

// Channel c of pixel (x, y) of an image's ROI.
inline i64 at(const VskImage* im, int x, int y, int c) {
    const Rect r = region(im);
    return vsktest::get(im, r.x + x, r.y + y, c);
}

struct IntModel {
    i64 M;  // 255 or 65535
    i64 mul(i64 x, i64 y) const { return x * y / M; }
    i64 cap(i64 v) const { return std::min(v, M); }

    // op: 0 OVER, 1 IN, 2 OUT, 3 ATOP, 4 XOR, 5 PLUS.
    i64 colour(int op, bool premul, i64 A, i64 a, i64 B, i64 b) const {
        if (premul) {
            switch (op) {
                case 0: return cap(A + B - mul(a, B));
                case 1: return mul(A, b);
                case 2: return A - mul(b, A);
                case 3: return cap(mul(A, b) + B - mul(a, B));
                case 4: return cap(A - mul(b, A) + B - mul(a, B));
                default: return cap(A + B);
            }
        }
        const i64 Aa = mul(A, a), Bb = mul(B, b);
        switch (op) {
            case 0: return cap(Aa + Bb - mul(a, Bb));
            case 1: return mul(b, Aa);
            case 2: return Aa - mul(b, Aa);
            case 3: return cap(Bb + mul(b, Aa) - mul(a, Bb));
            case 4: return cap(Aa - mul(b, Aa) + Bb - mul(a, Bb));
            default: return cap(Aa + Bb);
        }
    }
    i64 alpha(int op, i64 a, i64 b) const {
        switch (op) {
            case 0: return cap(a + b - mul(a, b));
            case 1: return mul(a, b);
            case 2: return a - mul(a, b);
            case 3: return b;
            case 4: return cap(a + b - 2 * mul(a, b));
            default: return cap(a + b);
        }
    }
};

// Colour and alpha of one sample by depth; bv < 0 means that B has no alpha
// (its complement of A's alpha is used).
struct Rules {
    int bits;
    i64 max() const { return bits == 8 ? 255 : 65535; }
    i64 complete(i64 av, i64 bv) const { return bv < 0 ? max() - av : bv; }
    i64 colour(int op, bool premul, i64 A, i64 av, i64 B, i64 bv) const {
        return IntModel{max()}.colour(op, premul, A, av, B, complete(av, bv));
    }
    i64 alpha(int op, i64 av, i64 bv) const { return IntModel{max()}.alpha(op, av, complete(av, bv)); }
};

}  // namespace alphatest
