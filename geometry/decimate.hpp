// Decimation: what the front end, the source-row strategies and the kernels
// share. Positions are fixed point with 8 fraction bits (1/256 of a source
// pixel); every table below is built once per destination piece so that the
// kernels do nothing per pixel but the sampling arithmetic.
#pragma once

#include <cstdint>

#include "core.hpp"

namespace vsk::decim {

enum class Method { Nearest, Linear, Cubic };

// One axis of a decimation: destination pixel k samples the source at the
// nominal position start + k * step.
struct Axis {
    std::int64_t start = 0;
    std::int64_t step = 0;
    int count = 0;              // destination pixels along the axis
    int taps = 1;               // source pixels read per destination pixel: 1, 2 or 4
    bool interpolated = false;  // sampled one 1/256 early, with a fraction
    int extent = 0;             // source image pixels along the axis
};

// Where a kernel reads and writes. Rows are rowStride bytes apart, the
// processed planes planeStride bytes apart.
struct SrcView {
    const char* base = nullptr;
    std::int64_t rowStride = 0, planeStride = 0;
};
struct DstView {
    char* base = nullptr;
    std::int64_t rowStride = 0, planeStride = 0;
    int bit = 0;  // first bit of a 1-bit row (most significant first)
};

// Everything one kernel call needs. The column tables hold one entry per
// processed value of a destination row (pixel by pixel, channels inner).
// Interpolation reads `taps` consecutive source pixels from the first one.
struct KernelRun {
    SrcView src;
    DstView dst;
    int planes = 1;     // planes processed (plane order), 1 in pixel order
    int channels = 1;   // interleaved channels processed per pixel
    int tapStep = 1;    // source elements from one pixel to the next
    int dstPixel = 1;   // destination elements from one pixel to the next
    int cols = 0, rows = 0;
    const int* colOff = nullptr;     // cols*channels: element offset of the first tap (bit column for 1-bit)
    const int* colWeight = nullptr;  // column taps x cols*channels
    const int* rowIdx = nullptr;     // rows x row taps: source rows of the view
    const int* rowWeight = nullptr;  // rows x row taps
    void* work = nullptr;            // row taps x cols*channels 32-bit values
};
using Kernel = void (*)(const KernelRun&);

struct KernelEntry {
    Kernel run = nullptr;
    bool usesWork = false;  // needs the horizontal results of its source rows in `work`
};

// The fixed-point weights of the taps (2: linear, 4: cubic) at fraction f
// (1/256 units): linear sums them with the samples, cubic shifts that sum
// right by 8.
void tapWeights(int taps, int f, int* w);

// The kernel for a 1-, 8- or 16-bit depth. Nearest neighbour and 1-bit data
// pick; otherwise hInterp/vInterp say which axes are interpolated (at least one).
KernelEntry selectKernel(unsigned depth, Method method, bool hInterp, bool vInterp);

// The whole call, fixed once the arguments are checked.
struct Plan {
    VskImage* src = nullptr;
    Axis x, y;
    KernelEntry kernel;
    bool bits = false;   // 1-bit images
    int bytes = 0;       // bytes per value (0 for 1-bit)
    int planes = 1;      // planes processed (plane order)
    int channels = 1;    // interleaved channels processed (pixel order)
    int srcChannel = 0;  // first source channel
    int srcPixel = 1;    // source elements from one pixel to the next
    int dstPixel = 1;
};

// A rectangle of the destination: columns [col0, col0 + cols) and rows
// [row0, row0 + rows) of the destination rectangle, written through dst.
struct Piece {
    DstView dst;
    int col0 = 0, cols = 0, row0 = 0, rows = 0;
};

enum class RunResult { Done, NoMemory, TileRefused };

// Builds the piece's tables, brings the source rows it reads (straight from
// the buffer, or gathered from the tiles) and runs the kernel. Reports an
// allocation failure itself; a refused source tile is left to the caller.
RunResult runPiece(const Plan& plan, const Piece& piece);

}  // namespace vsk::decim
