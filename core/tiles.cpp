// The tile range, the standard tile walk and the temporary tile header.
#include "tiles.hpp"

#include <algorithm>
#include <cstring>

namespace vsk {

// Geometry of the part with `index` along one axis: first part from the inner
// offset, last part up to the rectangle's end, full tiles in between.
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

TileHeader::TileHeader(const VskImage* tiled, void* data, int coi, int x, int y, int height,
                       int width) {
    std::memcpy(&header, tiled, sizeof header);
    const VskTileInfo* info = tiled->tileInfo;
    header.height = info->height;
    header.width = info->width;
    header.imageData = static_cast<char*>(data);
    header.tileInfo = nullptr;
    // Stride and size describe the tile itself, so that the header passes
    // validation whatever the tiled header carried in these fields.
    const std::int64_t step = tileStride(tiled);
    header.widthStep = static_cast<int>(step);
    header.dataSize = static_cast<int>(step * info->height * planeCount(tiled));
    header.dataBlock = nullptr;
    header.maskImage = nullptr;
    roi = {coi, x, y, height, width};
    header.roi = &roi;
}

bool walkTiles(const TileWalk& walk, const TileRange& range, const int* dstTile,
               TileVisitor visit, void* context) {
    VskImage* tiled = walk.tiled;
    const int tw = tiled->tileInfo->width, th = tiled->tileInfo->height;

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
    const int coi = roiCoi(tiled);

    for (int i = i0; i < i1; ++i) {
        const Span rs = partSpan(i, range.nr, range.oy, th, range.rows);
        for (int j = j0; j < j1; ++j) {
            const Span cs = partSpan(j, range.nc, range.ox, tw, range.cols);
            TilePart part;
            part.col = range.fc + j;
            part.row = range.fr + i;
            part.x = cs.start;
            part.y = rs.start;
            part.width = cs.size;
            part.height = rs.size;
            part.offX = cs.offset;
            part.offY = rs.offset;

            void* data = acquireTile(tiled, part.col, part.row, walk.mode);
            if (!data) {
                report(walk.site, walk.failLine, walk.failText, VSK_STATUS_UNKNOWN);
                return false;
            }
            TileHeader tile(tiled, data, coi, part.x, part.y, part.height, part.width);
            // Offsets past INT_MAX lie outside the partner anyway: capped, they select nothing.
            partnerRoi = {partnerCoi, capInt(std::int64_t{partnerX} + part.offX),
                          capInt(std::int64_t{partnerY} + part.offY), part.height, part.width};
            if (!visit(context, &tile.header, part)) return false;
            releaseTile(tiled, part.col, part.row, data);
        }
    }
    return true;
}

}  // namespace vsk
