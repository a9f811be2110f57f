// The blur's kernel: box means by running column and row sums.
#pragma once

#include "core.hpp"

namespace vsk {

// The box and the channels of one blur call, handed to the kernel.
struct BlurBox {
    int nRows = 0, nCols = 0;
    float reciprocal = 0;      // 1 / (nRows x nCols), rounded to single precision
    int first = 0, last = -1;  // channels to process, 0-based, inclusive
};

// Writes rows x cols box means into `dst` from its ROI offsets on. `block`
// holds the source pixels from the first box's top-left corner: at least
// rows + nRows - 1 rows and cols + nCols - 1 columns. Each image is addressed
// in its own data order and channel count. A scratch allocation failure
// leaves the destination unchanged.
void blurBlock(const VskImage* block, VskImage* dst, const BlurBox& box, int rows, int cols);

// True when blurStrips may read `src` while `dst` is written: a buffered
// source whose buffer the destination's does not overlap.
bool readsInStrips(const VskImage* src, const VskImage* dst);

// The same as blurBlock over the block that vskGetRect would fetch from the
// buffered `src` at (sx, sy), but fetching it a band of rows at a time, so
// that scratch memory grows with the width and the box height only. When
// the rows can't be fetched or the scratch can't be had, nothing is written.
void blurStrips(const VskImage* src, std::int64_t sx, std::int64_t sy, VskImage* dst,
                const BlurBox& box, int rows, int cols);

}  // namespace vsk
