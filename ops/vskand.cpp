// Bitwise AND of two images, sample by sample.

#include "bandwalk.hpp"

namespace {

using namespace vsk;

const Site kSite{"vskAnd", "vskand"};
const int kHeaderLines[] = {718, 719, 720};
// A tiled second source alone does not start the tile walk, deliberately: the
// kernel then meets a header without a buffer and leaves the destination as
// it is.
const BandWalk kWalk{kSite,
                     {800, 801, 802, 803},
                     {{VSK_TILE_DATA_TEXTS("srcImageA"), {852, 915, 921, 981}, true},
                      {VSK_TILE_DATA_TEXTS("srcImageB"), {871, 936, 942, 986}, false},
                      {VSK_TILE_DATA_TEXTS("dstImage"), {890, 957, 963, 991}, true}}};

void andKernel(VskImage* const* images) {
    Region r;
    // A one-channel image without a channel of interest takes part with its
    // only channel beside images that select one.
    if (!planRegion(images, 3, CoiMix::Channel0, WholeUnit::Element, &r)) return;
    const int bytes = depthBytes(images[2]->depth);
    if (bytes == 0) {
        if (r.whole)
            mapRegion2<std::uint32_t>(r, AndOf{});
        else
            mapBitRegion<2>(r, AndOf{});
        return;
    }
    // Signedness plays no part: one kernel per element size.
    dispatchElementSize(bytes, [&](auto t) { mapRegion2<decltype(t)>(r, AndOf{}); });
}

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskAnd(VskImage* srcImageA, VskImage* srcImageB, VskImage* dstImage,
                              const int* dstTile) {
    VskImage* images[] = {srcImageA, srcImageB, dstImage};
    if (reportBadHeaders(images, 3, kHeaderLines, kSite) ||
        reportFirst(kSite, {{srcImageA->depth != dstImage->depth, 722,
                             "(srcImageA->depth != dstImage->depth)"},
                            {srcImageB->depth != dstImage->depth, 723,
                             "(srcImageB->depth != dstImage->depth)"},
                            {srcImageA->dataOrder != dstImage->dataOrder, 724,
                             "(srcImageA->dataOrder != dstImage->dataOrder)"},
                            {srcImageB->dataOrder != dstImage->dataOrder, 725,
                             "(srcImageB->dataOrder != dstImage->dataOrder)"},
                            {channelCount(srcImageA) != channelCount(dstImage), 743,
                             "(nChSrcA != nChDst)"},
                            {channelCount(srcImageB) != channelCount(dstImage), 744,
                             "(nChSrcB != nChDst)"}}))
        return;
    runBands(images, 3, dstTile, kWalk, [](VskImage* const* im) { andKernel(im); });
}

}  // extern "C"
