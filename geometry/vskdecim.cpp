// Decimate: reduces the source ROI into the destination ROI by xU/xL and
// yU/yL (each at most 1) with nearest-neighbour, linear or cubic sampling in
// fixed point with 8 fraction bits; plain or tiled images on either side.
#include <algorithm>

#include "decimate.hpp"
#include "tiles.hpp"

namespace {

using namespace vsk;
using namespace vsk::decim;

const Site kSite{"vskDecimate", "vskdecim"};

// One axis before its positions are fixed: the sampling positions in 1/256
// of a source pixel and the end they run below.
struct AxisSetup {
    Axis axis;
    std::int64_t end = 0;
    bool integral = false;  // the denominator is a multiple of the numerator
};

AxisSetup setUpAxis(int U, int L, int srcOffset, int srcCount, int srcExtent, int dstRoom,
                    Method method, bool bits) {
    AxisSetup s;
    s.integral = L % U == 0;
    Axis& a = s.axis;
    a.step = std::int64_t{L} * 256 / U;
    a.start = std::int64_t{srcOffset} * 256;
    // Non-integral reductions sample block centres, integral ones the block's first pixel.
    if (method == Method::Nearest && !s.integral) a.start += 128;
    const std::int64_t count = std::min<std::int64_t>(dstRoom, std::int64_t{U} * srcCount / L);
    s.end = a.start + a.step * std::max<std::int64_t>(count, 0);
    a.interpolated = method != Method::Nearest && !bits && !s.integral;
    a.taps = !a.interpolated ? 1 : (method == Method::Linear ? 2 : 4);
    a.extent = srcExtent;
    return s;
}

// Positions from start while below end.
int positionCount(const AxisSetup& s) {
    const Axis& a = s.axis;
    return s.end > a.start ? static_cast<int>((s.end - a.start + a.step - 1) / a.step) : 0;
}

// Where destination pixel (x, y) of a buffer or tile starts, for the
// processed channels.
DstView dstViewAt(const Plan& plan, char* data, std::int64_t stride, std::int64_t planeSize,
                  int dstChannel, bool planar, int x, int y) {
    DstView v;
    v.rowStride = stride;
    v.planeStride = planeSize;
    v.base = data + y * stride;
    if (plan.bits) {
        v.base += x / 8;
        v.bit = x % 8;
    } else {
        v.base += std::int64_t{x} * plan.dstPixel * plan.bytes +
                  (planar ? dstChannel * planeSize : std::int64_t{dstChannel} * plan.bytes);
    }
    return v;
}

// Runs one piece; false (reported) when the call must end.
bool runReported(const Plan& plan, const Piece& piece) {
    switch (runPiece(plan, piece)) {
        case RunResult::Done: return true;
        case RunResult::TileRefused:
            report(kSite, 385, "srcImage->tileInfo->callBack crash", VSK_STATUS_INTERNAL);
            return false;
        default: return false;  // out of memory, reported by the run
    }
}

void decimate(VskImage* src, VskImage* dst, int xU, int xL, int yU, int yL, int interpolate,
              const int* dstTile) {
    const bool xIntegral = xL % xU == 0, yIntegral = yL % yU == 0;
    if (src->width < 4 || src->height < 4 || (xIntegral && yIntegral)) interpolate = VSK_INTER_NN;
    if (reportFirst(kSite, {{src->depth != VSK_1U && src->depth != VSK_8U && src->depth != VSK_16U,
                             375, "srcImage->depth is wrong"},
                            {interpolate != VSK_INTER_NN && interpolate != VSK_INTER_LINEAR &&
                                 interpolate != VSK_INTER_CUBIC,
                             380, "interpolate is wrong"}}))
        return;
    const Method method = interpolate == VSK_INTER_NN       ? Method::Nearest
                          : interpolate == VSK_INTER_LINEAR ? Method::Linear
                                                            : Method::Cubic;

    Plan plan;
    plan.src = src;
    plan.bits = src->depth == VSK_1U;
    plan.bytes = depthBytes(src->depth);
    const Rect s = roiCut(src), d = roiCut(dst);
    const int dstX = d.x, dstY = d.y;
    AxisSetup xs = setUpAxis(xU, xL, s.x, s.cols, src->width, d.cols, method, plan.bits);
    AxisSetup ys = setUpAxis(yU, yL, s.y, s.rows, src->height, d.rows, method, plan.bits);
    if (method == Method::Cubic && !src->tileInfo) {
        // One destination row or column less where the last one would reach the image's
        // last pixel; the columns deliberately take off the vertical step.
        if (!ys.integral && ys.end + 1 > (std::int64_t{src->height} - 1) * 256) ys.end -= ys.axis.step;
        if (!xs.integral && xs.end + 1 > (std::int64_t{src->width} - 1) * 256) xs.end -= ys.axis.step;
    }
    plan.x = xs.axis;
    plan.y = ys.axis;
    plan.x.count = positionCount(xs);
    plan.y.count = positionCount(ys);
    plan.kernel = selectKernel(src->depth, method, plan.x.interpolated, plan.y.interpolated);

    // When the two sides select different numbers of channels, the smaller number is processed.
    const int channels = std::min(channelCount(src), channelCount(dst));
    const int dstChannel = firstChannel(dst);
    const bool planar = src->dataOrder == VSK_DATA_ORDER_PLANE;
    plan.srcChannel = firstChannel(src);
    plan.planes = planar ? channels : 1;
    plan.channels = planar ? 1 : channels;
    plan.srcPixel = pixelPitch(src);
    plan.dstPixel = pixelPitch(dst);

    const int cols = plan.x.count, rows = plan.y.count;
    if (cols <= 0 || rows <= 0) return;
    // A source buffer that no longer matches its header: rows past its end
    // are not sampled (the last one inside stands in).
    if (!src->tileInfo) {
        plan.y.extent = std::min(plan.y.extent, rowsInside(src, planar ? plan.srcChannel + plan.planes - 1 : 0));
        if (plan.y.extent < plan.y.taps) return;
    }

    if (!dst->tileInfo) {
        const std::int64_t stride = imageStride(dst);
        Piece piece;
        piece.dst = dstViewAt(plan, dst->imageData, stride, stride * dst->height, dstChannel,
                              planar, dstX, dstY);
        piece.cols = cols;
        // Destination rows past the end of its buffer are not written.
        piece.rows = std::min(rows, rowsInside(dst, planar ? dstChannel + plan.planes - 1 : 0) - dstY);
        if (piece.rows <= 0) return;
        runReported(plan, piece);
        return;
    }

    // Destination tiles row by row, columns inner; each piece samples at the
    // positions of its place in the whole destination rectangle.
    const int th = dst->tileInfo->height;
    const TileRange range = tileRange(dstX, dstY, rows, cols, dst->tileInfo->width, th);
    int r0 = range.fr, r1 = range.fr + range.nr, c0 = range.fc, c1 = range.fc + range.nc;
    if (dstTile) {
        if (dstTile[1] < r0 || dstTile[1] >= r1 || dstTile[0] < c0 || dstTile[0] >= c1) return;
        c0 = dstTile[0];
        c1 = c0 + 1;
        r0 = dstTile[1];
        r1 = r0 + 1;
    }
    const std::int64_t stride = tileStride(dst);
    for (int tr = r0; tr < r1; ++tr) {
        const Span ty = range.rowSpan(tr - range.fr);
        for (int tc = c0; tc < c1; ++tc) {
            const Span tx = range.colSpan(tc - range.fc);
            auto* data = static_cast<char*>(acquireTile(dst, tc, tr, VSK_TILE_WRITE));
            if (!data) {
                report(kSite, 390, "dstImage->tileInfo->callBack crash", VSK_STATUS_INTERNAL);
                return;
            }
            Piece piece;
            piece.dst = dstViewAt(plan, data, stride, stride * th, dstChannel, planar, tx.inTile,
                                  ty.inTile);
            piece.col0 = tx.offset;
            piece.cols = tx.size;
            piece.row0 = ty.offset;
            piece.rows = ty.size;
            // A failed source run ends the call with this tile still taken.
            if (!runReported(plan, piece)) return;
            releaseTile(dst, tc, tr, data);
        }
    }
}

}  // namespace

extern "C" VSK_API void VSK_CALL tvskDecimate(VskImage* srcImage, VskImage* dstImage, int xU,
                                              int xL, int yU, int yL, int interpolate,
                                              const int* dstTile) {
    if (reportBadHeader(srcImage, kSite, 91) || reportBadHeader(dstImage, kSite, 92)) return;
    // Every failed argument check is reported before the call gives up.
    reportAll(kSite,
              {{srcImage->depth != dstImage->depth, 93, "srcImage->depth != dstImage->depth"},
               {srcImage->origin != dstImage->origin, 94, "srcImage->origin != dstImage->origin"},
               {srcImage->dataOrder != dstImage->dataOrder, 95,
                "srcImage->dataOrder != dstImage->dataOrder"},
               {interpolate != VSK_INTER_NN && interpolate != VSK_INTER_LINEAR &&
                    interpolate != VSK_INTER_CUBIC,
                101, "interpolate != VSK_INTER_NN, VSK_INTER_LINEAR or VSK_INTER_CUBIC"},
               {xU <= 0, 106, "xU <= 0"},
               {xL <= 0, 107, "xL <= 0"},
               {yU <= 0, 108, "yU <= 0"},
               {yL <= 0, 109, "yL <= 0"},
               {xU > xL, 111, "xU > xL"},
               {yU > yL, 112, "yU > yL"}});
    if (statusNegative()) return;
    decimate(srcImage, dstImage, xU, xL, yU, yL, interpolate, dstTile);
}
