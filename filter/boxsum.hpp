// The blur's kernel: box means by running column and row sums.
#pragma once

#include "core.hpp"

namespace vsk {

// The box and the channels of one blur call, handed to the kernel.
struct BlurBox {
    int nRows = 0, nCols = 0;
    float reciprocal = 0;   // 1 / (nRows x nCols), rounded to single precision
    int first = 0, last = -1;  // channels to process, 0-based, inclusive
};

// Writes rows x cols box means into `dst` from its ROI offsets on. `block`
// holds the source pixels from the first box's top-left corner: at least
// rows + nRows - 1 rows and cols + nCols - 1 columns. Each image is addressed
// in its own data order and channel count. A scratch allocation failure
// leaves the destination unchanged.
void blurBlock(const VskImage* block, VskImage* dst, const BlurBox& box, int rows, int cols);

}  // namespace vsk
