// Zoom machinery shared by the front end and its walks: the rounding rule,
// the plain zoom between two buffered headers, and the tiled walks.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>

#include "numeric.hpp"
#include "tiles.hpp"

namespace vsk::zoom {

inline const Site kSite{"vskZoom", "vskZoom"};
constexpr int kOne = 16384;  // one pixel in the nearest-neighbour fixed point

// The destination size along one axis after the clamp to the enlarged
// source: d destination and s source pixels, inv source pixels per
// destination pixel.
int clampSize(int d, int s, double inv);

// Zooms the source's ROI into the destination's ROI, both buffered images.
// xStart and yStart are fractional source start offsets (0.0 untiled).
void plainZoom(const VskImage* src, const VskImage* dst, double xInv, double yInv,
               int interpolate, double xStart, double yStart);

// The three tiled paths: a tiled destination (from a buffered source), a
// tiled source (into a buffered destination, in 128 x 128 blocks), and both.
void destinationTileWalk(VskImage* src, VskImage* dst, double xInv, double yInv,
                         int interpolate, const int* dstTile);
void sourceBlockWalk(const VskImage* src, VskImage* dst, double xInv, double yInv,
                     int interpolate);
void combinedWalk(const VskImage* src, VskImage* dst, double xInv, double yInv, int interpolate,
                  const int* dstTile);

}  // namespace vsk::zoom
