// Zoom: enlarges the source's ROI into the destination's ROI by xU/xL and
// yU/yL with nearest-neighbour, linear or cubic interpolation. The front end
// checks the arguments, downgrades the interpolation for small or 1-bit
// sources and chooses the plain or a tiled path.
#include "zoom.hpp"

namespace {

using vsk::reportAll;
using vsk::reportBadHeader;
using vsk::reportFirst;
using vsk::statusNegative;
using vsk::zoom::kSite;

// The interpolation that the source supports.
int supportedInterpolation(const VskImage* src, int interpolate) {
    if (src->depth == VSK_1U) return VSK_INTER_NN;
    if (src->width < 2 || src->height < 2) return VSK_INTER_NN;
    if (interpolate == VSK_INTER_CUBIC && (src->width < 4 || src->height < 4))
        return VSK_INTER_LINEAR;
    return interpolate;
}


}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskZoom(VskImage* srcImage, VskImage* dstImage, int xU, int xL, int yU,
                               int yL, int interpolate, const int* dstTile) {
    if (reportBadHeader(srcImage, kSite, 494) || reportBadHeader(dstImage, kSite, 495)) return;
    // The header checks above already reject null headers and both-or-neither
    // data and tiles; these checks keep the operation's full sequence.
    reportAll(kSite, {{!srcImage, 496, "srcImage==0"}, {!dstImage, 496, "dstImage==0"}});
    // Deliberately a negative status left by an earlier failure ends the call.
    if (statusNegative()) return;
    const bool srcData = srcImage->imageData, srcTiles = srcImage->tileInfo;
    const bool dstData = dstImage->imageData, dstTiles = dstImage->tileInfo;
    if (reportFirst(
            kSite,
            {{!srcData && !srcTiles, 497,
              "srcImage->imageData == ((void*)(0)) && srcImage->tileInfo == ((void*)(0))"},
             {srcData && srcTiles, 498,
              "srcImage->imageData != ((void*)(0)) && srcImage->tileInfo != ((void*)(0))"},
             {!dstData && !dstTiles, 499,
              "dstImage->imageData == ((void*)(0)) && dstImage->tileInfo == ((void*)(0))"},
             {dstData && dstTiles, 500,
              "dstImage->imageData != ((void*)(0)) && dstImage->tileInfo != ((void*)(0))"}}))
        return;
    // These are all reported before the status test ends the call.
    reportAll(kSite,
              {{interpolate != VSK_INTER_NN && interpolate != VSK_INTER_LINEAR &&
                    interpolate != VSK_INTER_CUBIC,
                501,
                "interpolate != VSK_INTER_NN && interpolate != VSK_INTER_LINEAR && interpolate != "
                "VSK_INTER_CUBIC"},
               {srcImage->depth != dstImage->depth, 502, "srcImage->depth != dstImage->depth"},
               {srcImage->dataOrder != dstImage->dataOrder, 503,
                "srcImage->dataOrder != dstImage->dataOrder"},
               {xU <= 0 || xL <= 0, 504, "xU <= 0 || xL <= 0"},
               {yU <= 0 || yL <= 0, 505, "yU <= 0 || yL <= 0"},
               {xU < xL || yU < yL, 506, "xU < xL || yU < yL"}});
    if (statusNegative()) return;

    const double xInv = static_cast<double>(xL) / xU;
    const double yInv = static_cast<double>(yL) / yU;
    const int method = supportedInterpolation(srcImage, interpolate);
    const bool srcTiled = srcImage->tileInfo != nullptr;
    const bool dstTiled = dstImage->tileInfo != nullptr;
    if (!srcTiled && !dstTiled) {
        vsk::zoom::plainZoom(srcImage, dstImage, xInv, yInv, method, 0.0, 0.0);
    } else if (!srcTiled) {
        if (reportFirst(kSite, {{!dstImage->tileInfo->callBack, 899,
                                 "dstImage->tileInfo->callBack == ((void*)(0))"}}))
            return;
        vsk::zoom::destinationTileWalk(srcImage, dstImage, xInv, yInv, method, dstTile);
    } else if (!dstTiled) {
        if (reportFirst(kSite, {{!srcImage->tileInfo->callBack, 710,
                                 "srcImage->tileInfo->callBack == ((void*)(0))"}}))
            return;
        vsk::zoom::sourceBlockWalk(srcImage, dstImage, xInv, yInv, method);
    } else {
        if (reportFirst(kSite, {{!srcImage->tileInfo->callBack, 526,
                                 "srcImage->tileInfo->callBack == ((void*)(0))"},
                                {!dstImage->tileInfo->callBack, 527,
                                 "dstImage->tileInfo->callBack == ((void*)(0))"}}))
            return;
        vsk::zoom::combinedWalk(srcImage, dstImage, xInv, yInv, method, dstTile);
    }
}

}  // extern "C"
