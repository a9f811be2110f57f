// Tiled-image access: the tile range of a rectangle and the standard tile
// walk, which hands each covered tile to an operation as a small buffered
// image (a temporary tile header whose ROI selects the part).
#pragma once

#include "core.hpp"

namespace vsk {

struct TileRange {
    int fc = 0, fr = 0;  // first tile column and row
    int nc = 0, nr = 0;  // tile columns and rows covered
    int ox = 0, oy = 0;  // offset of the rectangle inside the first tile
    int cols = 0, rows = 0;
};

// The tiles that a rectangle of rows x cols at (x, y) covers.
TileRange tileRange(int x, int y, int rows, int cols, int tileWidth, int tileHeight);

// One-image form: the image's ROI (or the whole image). False when there is
// nothing to do (0 rows or 0 columns).
bool oneImageTileRange(const VskImage* image, TileRange* range);

// Two-image form: position from the tiled image's ROI, size the smaller of the
// two images' ROI sizes (unclipped). False when there is nothing to do.
bool twoImageTileRange(const VskImage* tiled, const VskImage* a, const VskImage* b,
                       TileRange* range);

// One part of a walk along one axis: its start inside the tile, its size,
// and its offset from the rectangle's start, for the part `index` of `count`
// with the rectangle starting `inner` pixels into its first tile.
struct Span {
    int start, size, offset;
};
Span partSpan(int index, int count, int inner, int tile, int total);

// One part of a walk: the piece of the rectangle inside one tile.
struct TilePart {
    int col = 0, row = 0;          // tile column and row in the tile grid
    int x = 0, y = 0;              // start inside the tile
    int width = 0, height = 0;     // size
    int offX = 0, offY = 0;        // offset from the rectangle's top-left corner
};

// How a walk treats one tiled image.
struct TileWalk {
    VskImage* tiled = nullptr;       // the image whose tiles are walked
    int mode = VSK_TILE_WRITE;       // VSK_TILE_READ or VSK_TILE_WRITE
    Site site{};                     // reported name and file
    const char* failText = nullptr;  // "Error get tile to write" / "... read"
    int failLine = 0;
    VskImage* partner = nullptr;     // the buffered image on the other side, if any
};

// Visitor: called with the temporary tile header (ROI = the part) and the part;
// returns true to release the tile and go on, false to stop at once without
// releasing it.
using TileVisitor = bool (*)(void* context, VskImage* tileHeader, const TilePart& part);

// The standard tile walk: row-major over the range (restricted to one tile by
// dstTile when not null), each tile taken with the walk's mode and released
// with mode 4. A refused tile is reported with status -2 and stops the walk.
// While the visitor runs, the partner's ROI pointer selects the matching part
// of its region; the caller's pointer is always put back. Returns true when
// the walk ran to its end.
bool walkTiles(const TileWalk& walk, const TileRange& range, const int* dstTile,
               TileVisitor visit, void* context);

template <class F>
bool walkTiles(const TileWalk& walk, const TileRange& range, const int* dstTile, F&& visit) {
    return walkTiles(
        walk, range, dstTile,
        [](void* ctx, VskImage* tile, const TilePart& part) {
            return (*static_cast<F*>(ctx))(tile, part);
        },
        &visit);
}

// Takes a tile from the call-back with the given mode; returns its data or null.
void* acquireTile(const VskImage* image, int col, int row, int mode);
// Gives a tile back (mode 4), storing its data pointer in tileData first.
void releaseTile(const VskImage* image, int col, int row, void* data);

// A temporary header describing one tile of a tiled image as a buffered image
// of the tile's size, with its own ROI.
struct TileHeader {
    VskImage header;
    VskROI roi;
    TileHeader(const VskImage* tiled, void* data, int coi, int x, int y, int height, int width);
};

// Replaces an image's ROI pointer for a scope and puts the caller's back.
class RoiSwap {
public:
    RoiSwap(VskImage* image, VskROI* roi) : image_(image), saved_(image ? image->roi : nullptr) {
        if (image_) image_->roi = roi;
    }
    ~RoiSwap() {
        if (image_) image_->roi = saved_;
    }
    RoiSwap(const RoiSwap&) = delete;
    RoiSwap& operator=(const RoiSwap&) = delete;

private:
    VskImage* image_;
    VskROI* saved_;
};

}  // namespace vsk
