#include "arith_model.hpp"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <vector>

namespace vsktest {

namespace {

void rangeOf(unsigned depth, std::int64_t* lo, std::int64_t* hi) {
    switch (depth) {
        case VSK_1U: *lo = 0, *hi = 1; break;
        case VSK_8U: *lo = 0, *hi = 255; break;
        case VSK_8S: *lo = -128, *hi = 127; break;
        case VSK_16U: *lo = 0, *hi = 65535; break;
        case VSK_16S: *lo = -32768, *hi = 32767; break;
        default: *lo = INT32_MIN, *hi = INT32_MAX; break;
    }
}

// The low bits of the constant as a sample of the depth.
std::int64_t lowPart(unsigned depth, std::int64_t value) {
    const int bits = static_cast<int>(depth & 0x7FFFFFFF);
    const std::uint64_t mask = (std::uint64_t{1} << bits) - 1;
    std::int64_t v = static_cast<std::int64_t>(static_cast<std::uint64_t>(value) & mask);
    if ((depth & VSK_DEPTH_SIGN) && v > static_cast<std::int64_t>(mask >> 1))
        v -= static_cast<std::int64_t>(mask) + 1;
    return v;
}

struct Rect {
    int x, y, rows, cols, coi;
};

Rect rectOf(const VskImage* image) {
    const VskROI* roi = image->roi;
    Rect r{0, 0, image->height, image->width, 0};
    if (roi) {
        r = {roi->xOffset, roi->yOffset, roi->height, roi->width, roi->coi};
        r.cols = std::max(0, std::min(r.cols, image->width - r.x));
        r.rows = std::max(0, std::min(r.rows, image->height - r.y));
    }
    return r;
}

}  // namespace

const char* arithName(ArithOp op) {
    switch (op) {
        case ArithOp::Add: return "AddS";
        case ArithOp::Sub: return "SubtractS";
        case ArithOp::SubRev: return "SubtractS reversed";
        case ArithOp::AndS: return "AndS";
        default: return "And";
    }
}

std::int64_t arithRule(ArithOp op, unsigned depth, std::int64_t a, std::int64_t b,
                       std::int64_t value) {
    std::int64_t lo, hi;
    rangeOf(depth, &lo, &hi);
    const std::int64_t v = depth == VSK_1U ? (value & 1) : value;
    switch (op) {
        case ArithOp::Add: return std::clamp(a + v, lo, hi);
        case ArithOp::Sub: return std::clamp(a - v, lo, hi);
        case ArithOp::SubRev: return std::clamp(v - a, lo, hi);
        case ArithOp::AndS: return a & lowPart(depth, value);
        default: return a & b;
    }
}

void runArith(ArithOp op, VskImage* a, VskImage* b, VskImage* dst, int value,
              const int* dstTile) {
    switch (op) {
        case ArithOp::Add: tvskAddS(a, dst, value, dstTile); break;
        case ArithOp::Sub: tvskSubtractS(a, dst, value, 0, dstTile); break;
        case ArithOp::SubRev: tvskSubtractS(a, dst, value, 7, dstTile); break;
        case ArithOp::AndS: tvskAndS(a, dst, static_cast<unsigned>(value), dstTile); break;
        case ArithOp::And: tvskAnd(a, b, dst, dstTile); break;
    }
}

void applyArithModel(ArithOp op, const VskImage* a, const VskImage* b, VskImage* expected,
                     int value, const Clip* clip) {
    const bool withB = op == ArithOp::And;
    std::vector<const VskImage*> images = {a};
    if (withB) images.push_back(b);
    images.push_back(expected);

    std::vector<Rect> rects;
    int rows = INT32_MAX, cols = INT32_MAX;
    bool anySelects = false;
    for (const VskImage* image : images) {
        rects.push_back(rectOf(image));
        rows = std::min(rows, rects.back().rows);
        cols = std::min(cols, rects.back().cols);
        anySelects = anySelects || (rects.back().coi != 0 && image->nChannels > 1);
    }
    // Channel of each image, per processed channel.
    std::vector<std::vector<int>> channels;
    if (!anySelects) {
        for (int c = 0; c < expected->nChannels; ++c)
            channels.push_back(std::vector<int>(images.size(), c));
    } else {
        std::vector<int> pick;
        for (const Rect& r : rects) {
            // Add and subtract leave the mixed combinations alone; AND takes
            // the one channel of an image without a channel of interest.
            if (r.coi == 0 && (op != ArithOp::AndS && op != ArithOp::And)) return;
            pick.push_back(r.coi == 0 ? 0 : r.coi - 1);
        }
        channels.push_back(pick);
    }
    const Rect& d = rects.back();
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) {
            if (clip && (d.x + x < clip->x0 || d.x + x >= clip->x1 || d.y + y < clip->y0 ||
                         d.y + y >= clip->y1))
                continue;
            for (const std::vector<int>& c : channels) {
                const std::int64_t sa = get(a, rects[0].x + x, rects[0].y + y, c[0]);
                const std::int64_t sb = withB ? get(b, rects[1].x + x, rects[1].y + y, c[1]) : 0;
                put(expected, d.x + x, d.y + y, c.back(),
                    arithRule(op, expected->depth, sa, sb, value));
            }
        }
}

}  // namespace vsktest
