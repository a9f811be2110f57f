// Saturating addition of a constant to every processed sample.

#include "bandwalk.hpp"

namespace {

using namespace vsk;

const Site kSite{"vskAddS", "vskadds"};
const int kHeaderLines[] = {890, 891};
const BandWalk kWalk{kSite,
                     {959, 960, 961, 962},
                     {{VSK_TILE_DATA_TEXTS("srcImage"), {1004, 1044, 1050, 1088}, true},
                      {VSK_TILE_DATA_TEXTS("dstImage"), {1023, 1065, 1071, 1093}, true}}};

void addKernel(VskImage* const* images, int value) {
    Region r;
    // A channel of a multi-channel image against a one-channel image without
    // a channel of interest processes nothing, deliberately (no report).
    if (!planRegion(images, 2, CoiMix::Skip, WholeUnit::Element, &r)) return;
    const unsigned depth = images[1]->depth;
    if (depth == VSK_1U) {
        // Saturated 0/1 addition: d = s OR (value & 1).
        mapBitLogic(r, 0, ~0u, (value & 1) ? ~0u : 0u);
        return;
    }
    // 32s too takes the integer thresholds, fixed once per call.
    dispatchDepth(depth, [&](auto t) { addSaturated<decltype(t), false>(r, value); });
}

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskAddS(VskImage* srcImage, VskImage* dstImage, int value,
                               const int* dstTile) {
    VskImage* images[] = {srcImage, dstImage};
    if (reportBadHeaders(images, 2, kHeaderLines, kSite) ||
        reportFirst(kSite, {{srcImage->depth != dstImage->depth, 893, kSrcDepthText},
                            {srcImage->dataOrder != dstImage->dataOrder, 894, kSrcOrderText},
                            {channelCount(srcImage) != channelCount(dstImage), 907,
                             kSrcChannelsText}}))
        return;
    runBands(images, 2, dstTile, kWalk, [value](VskImage* const* im) { addKernel(im, value); });
}

}  // extern "C"
