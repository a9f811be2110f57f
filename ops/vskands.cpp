// Bitwise AND of every processed sample with a constant.

#include "bandwalk.hpp"

namespace {

using namespace vsk;

const Site kSite{"vskAndS", "vskands"};
const int kHeaderLines[] = {675, 676};
const BandWalk kWalk{kSite,
                     {746, 747, 748, 749},
                     {{VSK_TILE_DATA_TEXTS("srcImage"), {791, 831, 837, 880}, true},
                      {VSK_TILE_DATA_TEXTS("dstImage"), {810, 852, 858, 885}, true}}};

void andKernel(VskImage* const* images, std::uint32_t mask) {
    Region r;
    // A one-channel image without a channel of interest takes part with its
    // only channel beside an image that selects one.
    if (!planRegion(images, 2, CoiMix::Channel0, WholeUnit::Word, &r)) return;
    const int bytes = depthBytes(images[1]->depth);
    if (r.whole || bytes == 0) {  // 32-bit words, or 1-bit rows
        mapBitLogic(r, 0, mask, 0);
        return;
    }
    // Signedness plays no part: one kernel per element size.
    dispatchElementSize(bytes, [&](auto t) {
        using U = decltype(t);
        mapRegion1<U>(r, bitLogic<U>(0, mask, 0));
    });
}

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskAndS(VskImage* srcImage, VskImage* dstImage, unsigned int value,
                               const int* dstTile) {
    VskImage* images[] = {srcImage, dstImage};
    if (reportBadHeaders(images, 2, kHeaderLines, kSite) ||
        reportFirst(kSite, {{srcImage->depth != dstImage->depth, 678, kSrcDepthText},
                            {srcImage->dataOrder != dstImage->dataOrder, 679, kSrcOrderText},
                            {channelCount(srcImage) != channelCount(dstImage), 692,
                             kSrcChannelsText}}))
        return;
    const std::uint32_t mask = widenToWord(dstImage->depth, value);
    runBands(images, 2, dstTile, kWalk, [mask](VskImage* const* im) { andKernel(im, mask); });
}

}  // extern "C"
