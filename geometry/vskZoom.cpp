// Zoom: enlarges the source's ROI into the destination's ROI by xU/xL and
// yU/yL with nearest-neighbour, linear or cubic interpolation. The front end
// checks the arguments, downgrades the interpolation for small or 1-bit
// sources and chooses the plain or a tiled path.
#include "zoom.hpp"

namespace {

using vsk::report;
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

// Reports an image with neither data nor tiles (at `line`) or with both (at
// the next line); true if it has either fault.
bool failsDataCheck(const VskImage* image, int line, const char* neither, const char* both) {
    const bool hasData = image->imageData != nullptr, hasTiles = image->tileInfo != nullptr;
    if (hasData == hasTiles) report(kSite, hasData ? line + 1 : line, hasData ? both : neither);
    return hasData == hasTiles;
}

// Reports a missing call-back of a tiled image; true if it is missing.
bool missingCallBack(const VskImage* image, int line, const char* text) {
    if (image->tileInfo->callBack) return false;
    report(kSite, line, text);
    return true;
}

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskZoom(VskImage* srcImage, VskImage* dstImage, int xU, int xL, int yU,
                               int yL, int interpolate, const int* dstTile) {
    if (vsk::reportBadHeader(srcImage, kSite, 494)) return;
    if (vsk::reportBadHeader(dstImage, kSite, 495)) return;
    // The header checks above already reject null headers and both-or-neither
    // data and tiles; these checks keep the operation's full sequence.
    if (!srcImage) report(kSite, 496, "srcImage==0");
    if (!dstImage) report(kSite, 496, "dstImage==0");
    // Deliberately a negative status left by an earlier failure ends the call.
    if (statusNegative()) return;
    if (failsDataCheck(srcImage, 497, "srcImage->imageData == ((void*)(0)) && srcImage->tileInfo == ((void*)(0))",
                       "srcImage->imageData != ((void*)(0)) && srcImage->tileInfo != ((void*)(0))") ||
        failsDataCheck(dstImage, 499, "dstImage->imageData == ((void*)(0)) && dstImage->tileInfo == ((void*)(0))",
                       "dstImage->imageData != ((void*)(0)) && dstImage->tileInfo != ((void*)(0))"))
        return;
    // These are all reported before the status test ends the call.
    if (interpolate != VSK_INTER_NN && interpolate != VSK_INTER_LINEAR &&
        interpolate != VSK_INTER_CUBIC)
        report(kSite, 501,
               "interpolate != VSK_INTER_NN && interpolate != VSK_INTER_LINEAR && interpolate != "
               "VSK_INTER_CUBIC");
    if (srcImage->depth != dstImage->depth) report(kSite, 502, "srcImage->depth != dstImage->depth");
    if (srcImage->dataOrder != dstImage->dataOrder)
        report(kSite, 503, "srcImage->dataOrder != dstImage->dataOrder");
    if (xU <= 0 || xL <= 0) report(kSite, 504, "xU <= 0 || xL <= 0");
    if (yU <= 0 || yL <= 0) report(kSite, 505, "yU <= 0 || yL <= 0");
    if (xU < xL || yU < yL) report(kSite, 506, "xU < xL || yU < yL");
    if (statusNegative()) return;

    const double xInv = static_cast<double>(xL) / xU;
    const double yInv = static_cast<double>(yL) / yU;
    const int method = supportedInterpolation(srcImage, interpolate);
    const bool srcTiled = srcImage->tileInfo != nullptr;
    const bool dstTiled = dstImage->tileInfo != nullptr;
    if (!srcTiled && !dstTiled) {
        vsk::zoom::plainZoom(srcImage, dstImage, xInv, yInv, method, 0.0, 0.0);
    } else if (!srcTiled) {
        if (missingCallBack(dstImage, 899, "dstImage->tileInfo->callBack == ((void*)(0))")) return;
        vsk::zoom::destinationTileWalk(srcImage, dstImage, xInv, yInv, method, dstTile);
    } else if (!dstTiled) {
        if (missingCallBack(srcImage, 710, "srcImage->tileInfo->callBack == ((void*)(0))")) return;
        vsk::zoom::sourceBlockWalk(srcImage, dstImage, xInv, yInv, method);
    } else {
        if (missingCallBack(srcImage, 526, "srcImage->tileInfo->callBack == ((void*)(0))")) return;
        if (missingCallBack(dstImage, 527, "dstImage->tileInfo->callBack == ((void*)(0))")) return;
        vsk::zoom::combinedWalk(srcImage, dstImage, xInv, yInv, method, dstTile);
    }
}

}  // extern "C"
