// The colour module's shared machinery: the entry checks, the
// destination-driven tile walk and the lookup of colour planes by letter.
//
// Colour operations work on whole images, never on a region of interest:
// untiled images are processed over their common top-left rectangle in one
// call of the pixel layer; otherwise the destination is walked tile by tile
// and each tile's source rectangle is fetched into a private buffer.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "core.hpp"

namespace vsk::color {

// The reported file names of the module's two layers.
inline constexpr const char* kTopFile = "vskcolor";
inline constexpr const char* kPixelFile = "owncolor";

// The bytes a pixel layer may touch: [base, base + size).
struct Area {
    char* base = nullptr;
    std::int64_t size = 0;
};

// One rectangle handed to a pixel layer: the source data (the caller's buffer,
// or a private copy in a tile walk) and the destination data, with their row
// steps, `rows` rows of `width` pixels.
struct Block {
    const VskImage* src = nullptr;
    VskImage* dst = nullptr;
    Area srcData, dstData;
    std::int64_t srcStep = 0, dstStep = 0;
    int rows = 0, width = 0;
};

// Byte offset of plane k of data whose planes are rows x step bytes apart.
// Offsets beyond any buffer are capped so that later sums cannot overflow.
inline std::int64_t planeOffset(int k, std::int64_t step, int rows) {
    const std::int64_t plane = std::min<std::int64_t>(step * rows, INT64_MAX / 8);
    return k * plane;
}

// Header faults of either image, reported (deliberately) under the name
// "vskReduceBits" whatever the operation. A null header passes: the image
// checks that follow report it. True when a fault was reported.
bool colorBadHeaders(const VskImage* src, const VskImage* dst, int srcLine, int dstLine);

// Null headers and images without data or tiles; reports under `funcName`
// and returns false when the images cannot be processed.
bool colorCheckImages(const VskImage* src, const VskImage* dst, const char* funcName);

// True when the first three bytes of a four-letter name equal `name`.
bool nameIs(const char (&field)[4], const char* name);

// Row step of the destination's data in the walk: its widthStep with a
// buffer, else the bytes of one tile row.
std::int64_t colorTileStep(const VskImage* dst);

// The next destination rectangle of the walk: its data, position and size;
// null when the walk is over. tileX and tileY start at -1.
char* colorNextTile(VskImage* dst, int* tileX, int* tileY, int* x, int* y, int* width, int* height,
                    int mode, const int* dstTile);
// Gives a destination tile back (nothing to do for an untiled destination).
void colorReleaseTile(VskImage* dst, int tileX, int tileY, void* data);

// Byte offsets of the three channels that `letters` name (such as "RGB"),
// for data with the given row step and rows per plane. Pixel order: the
// channels of one pixel, the first slot at value 0 when channelSeq starts
// with letters[0], else at value 2. Plane order: plane k goes to the slot
// whose letter it carries (the later plane wins). False when a letter names
// no plane.
bool colorPlanePointers(const VskImage* image, std::int64_t step, int rows, const char* letters,
                        std::int64_t slot[3]);

// One call of a layer over the common top-left rectangle of two untiled
// images, with the headers' own row steps.
Block directBlock(const VskImage* src, VskImage* dst);

using BlockVisitor = void (*)(void* context, const Block& block);

// The destination-driven walk: for every destination rectangle the source
// rectangle at the same position is fetched, `visit` runs, the tile is given
// back and the copy released. A source fetch that fails ends the walk.
void colorWalk(VskImage* src, VskImage* dst, const int* dstTile, BlockVisitor visit, void* context);

template <class F>
void colorWalk(VskImage* src, VskImage* dst, const int* dstTile, F&& visit) {
    using Fn = std::remove_reference_t<F>;
    colorWalk(
        src, dst, dstTile, [](void* ctx, const Block& block) { (*static_cast<Fn*>(ctx))(block); },
        &visit);
}

// Untiled images: one direct call; otherwise the walk.
template <class F>
void colorRun(VskImage* src, VskImage* dst, const int* dstTile, F&& visit) {
    if (!src->tileInfo && !dst->tileInfo)
        visit(directBlock(src, dst));
    else
        colorWalk(src, dst, dstTile, visit);
}

}  // namespace vsk::color
