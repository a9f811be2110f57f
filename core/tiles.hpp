// Tiled-image access: the tile range of a rectangle and the span of each of
// its parts, the standard tile walk (which hands each covered tile to an
// operation as a small buffered image whose ROI selects the part), and the
// gather and scatter that move a rectangle between the tiles and a buffer.
#pragma once

#include <type_traits>

#include "view.hpp"

namespace vsk {

// One part of a walk along one axis: the piece of the rectangle's axis
// [0, total) inside one tile.
struct Span {
    int inTile;  // start inside the tile
    int size;
    int offset;  // start from the rectangle's first column or row
};

// The part `index` of `count` along one axis, the rectangle starting `inner`
// pixels into its first tile: the first part from the inner offset, the last
// up to the rectangle's end, whole tiles in between. An index outside
// [0, count) (the destination-tile quirk of the standard walk) gets a whole
// tile at the offset the part before it would give.
Span partSpan(int index, int count, int inner, int tile, int total);

struct TileRange {
    int fc = 0, fr = 0;  // first tile column and row
    int nc = 0, nr = 0;  // tile columns and rows covered
    int ox = 0, oy = 0;  // offset of the rectangle inside the first tile
    int cols = 0, rows = 0;
    int tw = 1, th = 1;  // tile size

    // The parts of tile column j and tile row i (0-based within the range).
    Span colSpan(int j) const { return partSpan(j, nc, ox, tw, cols); }
    Span rowSpan(int i) const { return partSpan(i, nr, oy, th, rows); }
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

// Bytes of a rows x cols rectangle of an image, every channel; saturates
// instead of overflowing for huge headers.
inline std::int64_t rectBytes(const VskImage* image, std::int64_t rows, std::int64_t cols) {
    return mulSat(mulSat(mulSat(rows, cols), image->nChannels), depthBytes(image->depth));
}

// Whether a walk over a rows x cols rectangle of the image moves more bytes
// than the caches hold. Only then do prefetching the next part and storing
// past the caches pay; on an image that stays in the outer cache they cost
// more than they give.
inline bool largeWalk(const VskImage* image, std::int64_t rows, std::int64_t cols) {
    return rows > 0 && cols > 0 && image->nChannels > 0 && rectBytes(image, rows, cols) >= (std::int64_t{8} << 20);
}

// While one lives on a thread, the streaming row kernels there ask the
// caches, row by row as they go, for the bytes that follow each source row
// they read: the source's part for the next tile of a walk, which the
// processor does not foresee (a walk over small tiles reads a few bytes from
// each of many rows). Asked for all at once before a part, they would crowd
// out the loads of the part itself. Changes no result.
class ReadAhead {
public:
    // `width` pixels after each row of the source, a buffered image; none
    // for a width of 0, a 1-bit or a tiled image. Nothing past the end of
    // the source's buffer is asked for.
    ReadAhead(const VskImage* source, std::int64_t width);
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // What the innermost live one on this thread asks for: bytes after each
    // row (0: none) and the end of the source's buffer.
    struct Window {
        std::int64_t bytes = 0;
        const char* end = nullptr;
    };
    static Window window();

private:
    Window saved_;
};

// Asks the caches for the pixels of a rectangle of a buffered image (every
// plane in plane order) that a walk will visit next, all before the walk
// goes on: a band walk's segments are read this way. Changes nothing;
// parts outside the buffer are left out.
void prefetchRect(const VskImage* image, std::int64_t x, std::int64_t y, std::int64_t width,
                  std::int64_t height);

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

// ---- gathering tile parts -------------------------------------------------------

// One tile's share of an image rectangle.
struct TilePiece {
    int col = 0, row = 0;  // the tile
    Pixels tile;           // its data
    std::int64_t x = 0, y = 0;          // the share's first pixel, in image coordinates
    std::int64_t width = 0, height = 0;
    std::int64_t tileX = 0, tileY = 0;  // the same pixel inside the tile
};

// How tiles are held while their parts are moved.
enum class TileHold {
    Each,  // each tile given back as soon as its part is moved
    Row,   // a tile row taken left to right, its parts moved, then given back right to left
};

// Called for every piece; the tile is held meanwhile.
using PieceVisitor = void (*)(void* context, const TilePiece& piece);

// Takes the tiles covering the image rectangle [x0, x1) x [y0, y1) row by row,
// left to right, with `mode`, and hands each piece to `visit`. A refused tile
// stops the run (the tiles then held are given back, right to left), or is
// skipped with `skipRefused`. True when every tile was handed out.
bool forEachTilePiece(const VskImage* image, std::int64_t x0, std::int64_t y0, std::int64_t x1,
                      std::int64_t y1, int mode, TileHold hold, bool skipRefused,
                      PieceVisitor visit, void* context);

template <class F>
bool forEachTilePiece(const VskImage* image, std::int64_t x0, std::int64_t y0, std::int64_t x1,
                      std::int64_t y1, int mode, TileHold hold, bool skipRefused, F&& visit) {
    return forEachTilePiece(
        image, x0, y0, x1, y1, mode, hold, skipRefused,
        [](void* ctx, const TilePiece& piece) {
            (*static_cast<std::remove_reference_t<F>*>(ctx))(piece);
        },
        &visit);
}

// The gather: the image rectangle [x0, x1) x [y0, y1) from the tiles into
// `out`, whose first pixel is image pixel (x0, y0). False when a tile was
// refused (the run stops there).
bool gatherTiles(const VskImage* image, std::int64_t x0, std::int64_t y0, std::int64_t x1,
                 std::int64_t y1, const Pixels& out, int mode, TileHold hold);

// The scatter: `in` back into the tiles (taken for writing, one at a time),
// refused tiles skipped. False when a tile was refused.
bool scatterTiles(const VskImage* image, std::int64_t x0, std::int64_t y0, std::int64_t x1,
                  std::int64_t y1, const Pixels& in);

}  // namespace vsk
