// The mirror's pixel layer: flips a rectangle of one buffered image into
// another (or into itself) about either axis or both.
#pragma once

#include "core.hpp"

namespace vsk {

// Mirrors rows x cols pixels starting at the source's ROI offsets into the
// destination starting at its ROI offsets (0, 0 without ROI). Both buffers are
// addressed with their own widthStep and height but in the SOURCE's depth and
// data order; with a channel of interest only that channel moves. The kernels
// work in place when both headers are the same. Nothing outside either
// image's [imageData, imageData + dataSize) is read or written.
void mirrorPixels(const VskImage* src, VskImage* dst, int channels, int coi, int rows, int cols,
                  int flipAxis);

}  // namespace vsk
