// The tile range, the standard tile walk, and the gather and scatter of
// tile parts.
#include "tiles.hpp"

#include <algorithm>
#include <vector>

namespace vsk {

namespace {
int capInt(std::int64_t v) { return static_cast<int>(std::min<std::int64_t>(v, INT_MAX)); }
}  // namespace

Span partSpan(int index, int count, int inner, int tile, int total) {
    const int first = count == 1 ? total : tile - inner;
    if (index == 0) return {inner, first, 0};
    const int offset = first + (index - 1) * tile;
    if (index == count - 1) return {0, ((total - 1 + inner) % tile) + 1, offset};
    return {0, tile, offset};
}

TileRange tileRange(int x, int y, int rows, int cols, int tileWidth, int tileHeight) {
    TileRange r;
    r.fc = x / tileWidth;
    r.fr = y / tileHeight;
    // 64-bit ends: a ROI may reach far past the image.
    r.nc = static_cast<int>((std::int64_t{x} + cols - 1) / tileWidth - r.fc + 1);
    r.nr = static_cast<int>((std::int64_t{y} + rows - 1) / tileHeight - r.fr + 1);
    r.ox = x - r.fc * tileWidth;
    r.oy = y - r.fr * tileHeight;
    r.cols = cols;
    r.rows = rows;
    r.tw = tileWidth;
    r.th = tileHeight;
    return r;
}

bool oneImageTileRange(const VskImage* image, TileRange* range) {
    const int rows = roiHeight(image), cols = roiWidth(image);
    if (rows <= 0 || cols <= 0) return false;
    *range = tileRange(roiX(image), roiY(image), rows, cols, image->tileInfo->width,
                       image->tileInfo->height);
    return true;
}

bool twoImageTileRange(const VskImage* tiled, const VskImage* a, const VskImage* b,
                       TileRange* range) {
    const int rows = std::min(roiHeight(a), roiHeight(b));
    const int cols = std::min(roiWidth(a), roiWidth(b));
    if (rows <= 0 || cols <= 0) return false;
    // A ROI wholly outside its image has nothing to copy.
    const RoiRect ra = roiRect(a), rb = roiRect(b);
    if (ra.rows <= 0 || ra.cols <= 0 || rb.rows <= 0 || rb.cols <= 0) return false;
    *range = tileRange(roiX(tiled), roiY(tiled), rows, cols, tiled->tileInfo->width,
                       tiled->tileInfo->height);
    return true;
}

namespace {
thread_local ReadAhead::Window readAhead;
}  // namespace

ReadAhead::ReadAhead(const VskImage* source, std::int64_t width) : saved_(readAhead) {
    readAhead = {};
    if (!source || !source->imageData || source->tileInfo || source->depth == VSK_1U ||
        width <= 0 || source->dataSize <= 0)
        return;
    readAhead.bytes = mulSat(mulSat(width, pixelPitch(source)), depthBytes(source->depth));
    readAhead.end = source->imageData + source->dataSize;
}
ReadAhead::~ReadAhead() { readAhead = saved_; }
ReadAhead::Window ReadAhead::window() { return readAhead; }

void prefetchRect(const VskImage* image, std::int64_t x, std::int64_t y, std::int64_t width,
                  std::int64_t height) {
#if defined(__GNUC__)
    if (!image->imageData || image->tileInfo || image->depth == VSK_1U || x < 0 || y < 0 ||
        width <= 0 || height <= 0)
        return;
    const std::int64_t stride = imageStride(image);
    const std::int64_t pixel = std::int64_t{pixelPitch(image)} * depthBytes(image->depth);
    const std::int64_t plane = stride * image->height;
    const std::int64_t bytes = width * pixel, size = image->dataSize;
    for (int p = 0; p < planeCount(image); ++p)
        for (std::int64_t r = 0; r < height; ++r) {
            const std::int64_t start = p * plane + (y + r) * stride + x * pixel;
            if (start + bytes > size) return;
            // One request per cache line, into the outer caches: the rows of
            // a tile column fall into few sets of the innermost one.
            const auto first = reinterpret_cast<std::uintptr_t>(image->imageData + start);
            const auto last = first + static_cast<std::uintptr_t>(bytes - 1);
            for (std::uintptr_t line = first & ~std::uintptr_t{63}; line <= last; line += 64)
                __builtin_prefetch(reinterpret_cast<const void*>(line), 0, 1);
        }
#else
    (void)image, (void)x, (void)y, (void)width, (void)height;
#endif
}

void* acquireTile(const VskImage* image, int col, int row, int mode) {
    VskTileInfo* info = image->tileInfo;
    info->tileData = nullptr;
    info->callBack(image, col, row, mode);
    return info->tileData;
}

void releaseTile(const VskImage* image, int col, int row, void* data) {
    image->tileInfo->tileData = data;
    image->tileInfo->callBack(image, col, row, VSK_TILE_RELEASE);
}

bool walkTiles(const TileWalk& walk, const TileRange& range, const int* dstTile,
               TileVisitor visit, void* context) {
    VskImage* tiled = walk.tiled;

    int i0 = 0, i1 = range.nr, j0 = 0, j1 = range.nc;
    if (dstTile) {
        const int tc = dstTile[0], tr = dstTile[1];
        if (tc < range.fc || tc >= range.fc + range.nc || tr < range.fr ||
            tr >= range.fr + range.nr)
            return true;
        // Deliberately the tile column starts both indexes, and each runs while
        // below 1: work happens only when the column is the first one, and the
        // rows then run from (column - first row) up to the first row.
        // The parts keep the geometry of the whole range.
        j0 = tc - range.fc;
        j1 = 1;
        i0 = tc - range.fr;
        i1 = 1;
    }

    VskROI partnerRoi{};
    const int partnerCoi = walk.partner ? roiCoi(walk.partner) : 0;
    const int partnerX = walk.partner ? roiX(walk.partner) : 0;
    const int partnerY = walk.partner ? roiY(walk.partner) : 0;
    RoiSwap swap(walk.partner, walk.partner ? &partnerRoi : nullptr);
    // Only a partner read into the tiles is read ahead.
    const bool readsAhead = walk.partner && (walk.mode & VSK_TILE_WRITE) &&
                          largeWalk(walk.partner, range.rows, range.cols);
    const int coi = roiCoi(tiled);

    ImageView tile;
    for (int i = i0; i < i1; ++i) {
        const Span rs = range.rowSpan(i);
        for (int j = j0; j < j1; ++j) {
            const Span cs = range.colSpan(j);
            TilePart part;
            part.col = range.fc + j;
            part.row = range.fr + i;
            part.x = cs.inTile;
            part.y = rs.inTile;
            part.width = cs.size;
            part.height = rs.size;
            part.offX = cs.offset;
            part.offY = rs.offset;

            void* data = acquireTile(tiled, part.col, part.row, walk.mode);
            if (!data) {
                report(walk.site, walk.failLine, walk.failText, VSK_STATUS_UNKNOWN);
                return false;
            }
            tile.overTile(tiled, data).roi(coi, part.x, part.y, part.height, part.width);
            // Offsets past INT_MAX lie outside the partner anyway: capped, they select nothing.
            partnerRoi = {partnerCoi, capInt(std::int64_t{partnerX} + part.offX),
                          capInt(std::int64_t{partnerY} + part.offY), part.height, part.width};
            // The partner's part beside this one comes next.
            const ReadAhead ahead(walk.partner, readsAhead && j + 1 < j1 ? range.colSpan(j + 1).size : 0);
            if (!visit(context, tile.get(), part)) return false;
            releaseTile(tiled, part.col, part.row, data);
        }
    }
    return true;
}

bool forEachTilePiece(const VskImage* image, std::int64_t x0, std::int64_t y0, std::int64_t x1,
                      std::int64_t y1, int mode, TileHold hold, bool skipRefused,
                      PieceVisitor visit, void* context) {
    if (x0 >= x1 || y0 >= y1) return true;
    const std::int64_t tw = image->tileInfo->width, th = image->tileInfo->height;
    // A tile whose size overflows 64 bits cannot be in memory: refused unasked.
    if (tileStride(image) > INT64_MAX / th / std::max(planeCount(image), 1)) return false;
    const std::int64_t c0 = x0 / tw, c1 = (x1 - 1) / tw;
    // The tiles of the current tile row held at once (one, or the whole row).
    std::vector<void*> held;
    auto giveBack = [&](std::int64_t tr) {
        for (std::size_t k = held.size(); k-- > 0;)
            if (held[k])
                releaseTile(image, static_cast<int>(c0 + static_cast<std::int64_t>(k)),
                            static_cast<int>(tr), held[k]);
        held.clear();
    };
    auto piece = [&](std::int64_t tc, std::int64_t tr, void* data) {
        TilePiece p;
        p.col = static_cast<int>(tc);
        p.row = static_cast<int>(tr);
        p.tile = tilePixels(image, data);
        p.x = std::max(x0, tc * tw);
        p.y = std::max(y0, tr * th);
        p.width = std::min(x1, (tc + 1) * tw) - p.x;
        p.height = std::min(y1, (tr + 1) * th) - p.y;
        p.tileX = p.x - tc * tw;
        p.tileY = p.y - tr * th;
        visit(context, p);
    };
    bool all = true;
    for (std::int64_t tr = y0 / th; tr <= (y1 - 1) / th; ++tr) {
        if (hold == TileHold::Row) {
            for (std::int64_t tc = c0; tc <= c1; ++tc) {
                void* data = acquireTile(image, static_cast<int>(tc), static_cast<int>(tr), mode);
                if (!data && !skipRefused) {
                    giveBack(tr);
                    return false;
                }
                all = all && data;
                held.push_back(data);
            }
            for (std::int64_t tc = c0; tc <= c1; ++tc)
                if (void* data = held[static_cast<std::size_t>(tc - c0)]) piece(tc, tr, data);
            giveBack(tr);
            continue;
        }
        for (std::int64_t tc = c0; tc <= c1; ++tc) {
            void* data = acquireTile(image, static_cast<int>(tc), static_cast<int>(tr), mode);
            if (!data) {
                if (!skipRefused) return false;
                all = false;
                continue;
            }
            piece(tc, tr, data);
            releaseTile(image, static_cast<int>(tc), static_cast<int>(tr), data);
        }
    }
    return all;
}

bool gatherTiles(const VskImage* image, std::int64_t x0, std::int64_t y0, std::int64_t x1,
                 std::int64_t y1, const Pixels& out, int mode, TileHold hold) {
    return forEachTilePiece(image, x0, y0, x1, y1, mode, hold, false, [&](const TilePiece& p) {
        copyPixels(image, p.tile, p.tileX, p.tileY, out, p.x - x0, p.y - y0, p.width, p.height,
                   planeCount(image));
    });
}

bool scatterTiles(const VskImage* image, std::int64_t x0, std::int64_t y0, std::int64_t x1,
                  std::int64_t y1, const Pixels& in) {
    return forEachTilePiece(image, x0, y0, x1, y1, VSK_TILE_WRITE, TileHold::Each, true,
                            [&](const TilePiece& p) {
                                copyPixels(image, in, p.x - x0, p.y - y0, p.tile, p.tileX,
                                           p.tileY, p.width, p.height, planeCount(image));
                            });
}

}  // namespace vsk
