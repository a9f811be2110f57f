// The tiled zoom paths: the destination grid (tiles, or 128 x 128 blocks of
// a buffered destination), the source start of each part, the source
// rectangle fetched for a part of a tiled source, and the three walks.
#include "zoom.hpp"

namespace vsk::zoom {

namespace {

constexpr int kBlock = 128;  // block size of a buffered destination

// The tile-layout routine: the clamped destination rectangle cut by the tile
// size; false when the clamped size is 0.
bool layout(const VskImage* src, const VskImage* dst, double xInv, double yInv, int tileWidth,
            int tileHeight, TileRange* grid) {
    const Rect s = roiCut(src), d = roiCut(dst);
    const int cols = clampSize(d.cols, s.cols, xInv), rows = clampSize(d.rows, s.rows, yInv);
    if (cols <= 0 || rows <= 0) return false;
    *grid = tileRange(d.x, d.y, rows, cols, tileWidth, tileHeight);
    return true;
}

struct Part {
    int col, row;
    Span x, y;
};

// Visits the parts row by row (tile rows outer); with dstTile only that
// tile, which must lie in the grid. False when the walk ended early.
template <class F>
bool forEachPart(const TileRange& r, const int* dstTile, F&& visit) {
    int i0 = 0, i1 = r.nr, j0 = 0, j1 = r.nc;
    if (dstTile) {
        const std::int64_t j = std::int64_t{dstTile[0]} - r.fc, i = std::int64_t{dstTile[1]} - r.fr;
        if (j < 0 || j >= r.nc || i < 0 || i >= r.nr) return false;
        i0 = static_cast<int>(i);
        i1 = i0 + 1;
        j0 = static_cast<int>(j);
        j1 = j0 + 1;
    }
    for (int i = i0; i < i1; ++i) {
        const Span y = r.rowSpan(i);
        for (int j = j0; j < j1; ++j)
            if (!visit(Part{r.fc + j, r.fr + i, r.colSpan(j), y})) return false;
    }
    return true;
}

// Where a part's source starts on one axis: the image position of its first
// source pixel and the fraction left over, for the part whose first pixel is
// the `first`-th of the destination rectangle.
struct Start {
    int pos;
    double frac;
};

Start sourceStart(int interpolate, double inv, int roiOffset, int first) {
    if (interpolate == VSK_INTER_NN) {
        // Deliberately the step between parts is rounded with rint while the
        // kernel's own step uses int(); the two may differ by one unit.
        const std::int64_t a =
            std::int64_t{roiOffset} * kOne + std::int64_t{first} * roundEven(inv * kOne);
        return {static_cast<int>(a >> 14), a * (1.0 / kOne) - static_cast<double>(a >> 14)};
    }
    const double s = first * inv + roiOffset;
    const int pos = roundInt(s);
    return {pos, s - pos};
}

struct Starts {
    Start x, y;
};

// The source starts of a part, from the source ROI offsets (x0, y0).
Starts partStarts(int interpolate, double xInv, double yInv, int x0, int y0, const Part& p) {
    return {sourceStart(interpolate, xInv, x0, p.x.offset),
            sourceStart(interpolate, yInv, y0, p.y.offset)};
}

// Fetches the source rectangle of one part of a tiled source into `source`,
// whose ROI then starts at the part's first source pixel. It has the part's
// columns and rows, one more right and below for linear and cubic, and for
// cubic one more again and one left and above, each where the image has
// them. A part whose source starts past the image has nothing to zoom.
enum class Source { Fetched, Empty, Failed };

Source fetchSource(FetchedImage& source, const VskImage* src, int interpolate, const Starts& at,
                   int cols, int rows) {
    const bool cubic = interpolate == VSK_INTER_CUBIC;
    const int grow = cubic ? 2 : (interpolate == VSK_INTER_LINEAR ? 1 : 0);
    const int left = cubic && at.x.pos > 0 ? 1 : 0;
    const int top = cubic && at.y.pos > 0 ? 1 : 0;
    // Nothing past the image is fetched, so that the edge moves of the
    // kernels see the image's own last column and row.
    const int x1 = static_cast<int>(
        std::min<std::int64_t>(std::int64_t{at.x.pos} + cols + grow, src->width));
    const int y1 = static_cast<int>(
        std::min<std::int64_t>(std::int64_t{at.y.pos} + rows + grow, src->height));
    if (x1 <= at.x.pos || y1 <= at.y.pos) return Source::Empty;
    const int x0 = at.x.pos - left, y0 = at.y.pos - top;
    // The error status is read after the fetch too.
    if (!source.fetch(src, x0, y0, x1 - x0, y1 - y0) || statusNegative()) return Source::Failed;
    source.view().roi(roiCoi(src), left, top, (y1 - y0) - top, (x1 - x0) - left);
    return Source::Fetched;
}

// The parameters of one zoom call.
struct Zoom {
    double xInv, yInv;
    int interpolate;
};

// Zooms `src` (whose ROI starts at the part's source) into one destination
// tile, requested for writing and then given back. A tile that is not handed
// out is reported at `line`; false then.
bool zoomIntoTile(const VskImage* src, VskImage* dst, const Zoom& z, const Part& p,
                  const Starts& at, int line) {
    void* data = acquireTile(dst, p.col, p.row, VSK_TILE_WRITE);
    if (!data) {
        report(kSite, line, "Error get tile to write", VSK_STATUS_UNKNOWN);
        return false;
    }
    ImageView tile;
    tile.overTile(dst, data).roi(roiCoi(dst), p.x.inTile, p.y.inTile, p.y.size, p.x.size);
    plainZoom(src, tile.get(), z.xInv, z.yInv, z.interpolate, at.x.frac, at.y.frac);
    releaseTile(dst, p.col, p.row, data);
    return true;
}

}  // namespace

void destinationTileWalk(VskImage* src, VskImage* dst, double xInv, double yInv,
                         int interpolate, const int* dstTile) {
    TileRange grid;
    if (!layout(src, dst, xInv, yInv, dst->tileInfo->width, dst->tileInfo->height, &grid)) return;
    const int x0 = roiX(src), y0 = roiY(src);
    // The private ROI is allocated like any ROI: an early return leaves the
    // source header on it (deliberately), and it must stay valid there.
    VskROI* own = tvskCreateROI(roiCoi(src), x0, y0, roiHeight(src), roiWidth(src));
    if (!own) return;
    VskROI* callers = src->roi;
    src->roi = own;
    const bool completed = forEachPart(grid, dstTile, [&](const Part& p) {
        const Starts at = partStarts(interpolate, xInv, yInv, x0, y0, p);
        own->xOffset = at.x.pos;
        own->yOffset = at.y.pos;
        return zoomIntoTile(src, dst, {xInv, yInv, interpolate}, p, at, 1031);
    });
    if (!completed) return;  // deliberately still on the private ROI
    src->roi = callers;
    vskDeleteROI(own);
}

void sourceBlockWalk(const VskImage* src, VskImage* dst, double xInv, double yInv,
                     int interpolate) {
    TileRange grid;
    if (!layout(src, dst, xInv, yInv, kBlock, kBlock, &grid)) return;
    const int x0 = roiX(src), y0 = roiY(src);
    const int coi = roiCoi(dst), dx = roiX(dst), dy = roiY(dst);
    VskROI block{};
    RoiSwap swap(dst, &block);  // the caller's ROI is put back on every return
    forEachPart(grid, nullptr, [&](const Part& p) {
        const Starts at = partStarts(interpolate, xInv, yInv, x0, y0, p);
        FetchedImage source;
        const Source got = fetchSource(source, src, interpolate, at, p.x.size, p.y.size);
        if (got != Source::Fetched) return got == Source::Empty;
        block = {coi, dx + p.x.offset, dy + p.y.offset, p.y.size, p.x.size};
        plainZoom(source.get(), dst, xInv, yInv, interpolate, at.x.frac, at.y.frac);
        return true;
    });
}

void combinedWalk(const VskImage* src, VskImage* dst, double xInv, double yInv, int interpolate,
                  const int* dstTile) {
    TileRange grid;
    if (!layout(src, dst, xInv, yInv, dst->tileInfo->width, dst->tileInfo->height, &grid)) return;
    const int x0 = roiX(src), y0 = roiY(src);
    forEachPart(grid, dstTile, [&](const Part& p) {
        const Starts at = partStarts(interpolate, xInv, yInv, x0, y0, p);
        FetchedImage source;
        const Source got = fetchSource(source, src, interpolate, at, p.x.size, p.y.size);
        if (got != Source::Fetched) return got == Source::Empty;
        return zoomIntoTile(source.get(), dst, {xInv, yInv, interpolate}, p, at, 658);
    });
}

}  // namespace vsk::zoom
