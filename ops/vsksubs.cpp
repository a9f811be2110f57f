// Saturating subtraction of a constant from every processed sample, or of
// every sample from the constant (reversed).

#include <cstdint>
#include <limits>

#include "bandwalk.hpp"

namespace {

using namespace vsk;

const Site kSite{"vskSubtractS", "vsksubs"};
const int kHeaderLines[] = {1387, 1388};
const BandWalk kWalk{kSite,
                     {1456, 1457, 1458, 1459},
                     {{VSK_TILE_DATA_TEXTS("srcImage"), {1501, 1541, 1547, 1585}, true},
                      {VSK_TILE_DATA_TEXTS("dstImage"), {1520, 1562, 1568, 1590}, true}}};

// 32s subtraction in double precision, deliberately (the results equal those
// of integer thresholds): the difference saturates, else truncates.
template <bool Reverse>
struct SubtractInDouble {
    double v;
    std::int32_t operator()(std::int32_t s) const { return saturateToInt32(Reverse ? v - s : s - v); }
};

void subtractKernel(VskImage* const* images, int value, bool reverse) {
    Region r;
    // A channel of a multi-channel image against a one-channel image without
    // a channel of interest processes nothing, deliberately (no report).
    if (!planRegion(images, 2, CoiMix::Skip, WholeUnit::Element, &r)) return;
    const unsigned depth = images[1]->depth;
    if (depth == VSK_1U) {
        // Saturated 0/1 differences: s AND NOT b, reversed b AND NOT s.
        const std::uint32_t b = (value & 1) ? ~0u : 0u;
        if (reverse)
            mapBitLogic(r, ~0u, b, 0);
        else
            mapBitLogic(r, 0, ~b, 0);
        return;
    }
    dispatchDepth(depth, [&](auto t) {
        using T = decltype(t);
        if constexpr (std::is_same_v<T, std::int32_t>) {
            if (reverse)
                mapRegion1<T>(r, SubtractInDouble<true>{static_cast<double>(value)});
            else
                mapRegion1<T>(r, SubtractInDouble<false>{static_cast<double>(value)});
        } else if (reverse) {
            // value - s = ~s + (value - max - min), ~s spanning the depth's range.
            constexpr std::int64_t lo = std::numeric_limits<T>::min();
            constexpr std::int64_t hi = std::numeric_limits<T>::max();
            addSaturated<T, true>(r, std::int64_t{value} - (hi + lo));
        } else {
            addSaturated<T, false>(r, -std::int64_t{value});
        }
    });
}

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskSubtractS(VskImage* srcImage, VskImage* dstImage, int value,
                                    int reverse, const int* dstTile) {
    VskImage* images[] = {srcImage, dstImage};
    if (reportBadHeaders(images, 2, kHeaderLines, kSite) ||
        reportFirst(kSite, {{srcImage->depth != dstImage->depth, 1390, kSrcDepthText},
                            {srcImage->dataOrder != dstImage->dataOrder, 1391, kSrcOrderText},
                            {channelCount(srcImage) != channelCount(dstImage), 1404,
                             kSrcChannelsText}}))
        return;
    runBands(images, 2, dstTile, kWalk, [value, reverse](VskImage* const* im) {
        subtractKernel(im, value, reverse != 0);
    });
}

}  // extern "C"
