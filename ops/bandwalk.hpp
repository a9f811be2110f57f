// The band/segment tile walk of the sample-by-sample operations: two or
// three images (sources, then the destination) walked in step, bands of rows
// and within each band segments of columns, each segment handed to the
// operation's kernel through working headers as if all images were buffered.
#pragma once

#include "elementwise.hpp"

namespace vsk {

// Lines of the four tile-data checks of one operand.
struct TileCheckLines {
    int acquired;        // tile taken at the start of a band
    int releasedInBand;  // tile given back at a tile column's end
    int acquiredNext;    // next tile of the band taken
    int releasedAtEnd;   // tile given back at the end of a band
};

// The two condition texts of an image parameter's tile-data checks.
#define VSK_TILE_DATA_TEXTS(name)                           \
    "(" name "->tileInfo->tileData == ((void*)(0)))",        \
        "(" name "->tileInfo->tileData != ((void*)(0)))"

struct WalkOperand {
    const char* acquiredText;  // reported when a tile is not handed out
    const char* releasedText;  // reported when tileData is not cleared by a release
    TileCheckLines lines;
    bool startsWalk;           // whether this operand being tiled starts the walk
};

struct BandWalk {
    Site site;
    int dstTileLines[4];  // "(dTile.begX > dRoi.endX)", begY/endY, endX/begX, endY/begY
    WalkOperand operands[kMaxOperands];
};

// Kernel for one segment: the working headers, sources first.
using SegmentKernel = void (*)(void* context, VskImage* const* images);

// Runs the kernel once on the callers' headers when no operand that starts
// the walk is tiled; otherwise walks the tiles (sources read with mode 1, the
// destination written with mode 2). `dstTile` restricts a tiled destination
// to one of its tiles. A failed check reports with status -5 and ends the
// call at once, leaving the tiles held at that moment unreleased.
void runBands(VskImage* const* images, int count, const int* dstTile, const BandWalk& walk,
              SegmentKernel kernel, void* context);

template <class F>
void runBands(VskImage* const* images, int count, const int* dstTile, const BandWalk& walk,
              F kernel) {
    runBands(
        images, count, dstTile, walk,
        [](void* ctx, VskImage* const* working) { (*static_cast<F*>(ctx))(working); }, &kernel);
}

}  // namespace vsk
