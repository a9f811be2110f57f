// The tiled zoom paths: the destination grid (tiles, or 128 x 128 blocks of
// a buffered destination), the source start of each part, the source
// rectangle fetched for a part of a tiled source, and the three walks.
#include "zoom.hpp"

namespace vsk::zoom {

namespace {

constexpr int kBlock = 128;  // block size of a buffered destination

// The clamped destination rectangle cut by the tile size.
struct Grid {
    TileRange range;
    int tileWidth = 0, tileHeight = 0;
};

// The tile-layout routine: false when the clamped size is 0.
bool layout(const VskImage* src, const VskImage* dst, double xInv, double yInv, int tileWidth,
            int tileHeight, Grid* grid) {
    const Rect s = rectOf(src), d = rectOf(dst);
    const int cols = clampSize(d.cols, s.cols, xInv), rows = clampSize(d.rows, s.rows, yInv);
    if (cols <= 0 || rows <= 0) return false;
    grid->range = tileRange(d.x, d.y, rows, cols, tileWidth, tileHeight);
    grid->tileWidth = tileWidth;
    grid->tileHeight = tileHeight;
    return true;
}

struct Part {
    int col, row;
    Span x, y;
};

// Visits the parts row by row (tile rows outer); with dstTile only that
// tile, which must lie in the grid. False when the walk ended early.
template <class F>
bool forEachPart(const Grid& g, const int* dstTile, F&& visit) {
    const TileRange& r = g.range;
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
        const Span y = partSpan(i, r.nr, r.oy, g.tileHeight, r.rows);
        for (int j = j0; j < j1; ++j)
            if (!visit(Part{r.fc + j, r.fr + i, partSpan(j, r.nc, r.ox, g.tileWidth, r.cols), y}))
                return false;
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

// The source rectangle of one part of a tiled source, fetched into a buffer
// and described by a header copy whose ROI starts at the part's first source
// pixel. It has the part's columns and rows, one more right and below for
// linear and cubic, and for cubic one more again and one left and above,
// each where the image has them.
class Fetched {
public:
    Fetched(const VskImage* src, int interpolate, const Starts& at, int cols, int rows) {
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
        // A part whose source starts past the image has nothing to zoom.
        empty_ = x1 <= at.x.pos || y1 <= at.y.pos;
        if (empty_) return;
        const int x0 = at.x.pos - left, y0 = at.y.pos - top;
        int step = 0;
        data_ = static_cast<char*>(vskGetRect(src, x0, y0, x1 - x0, y1 - y0, &step));
        header_ = *src;
        header_.width = x1 - x0;
        header_.height = y1 - y0;
        header_.imageData = data_;
        header_.tileInfo = nullptr;
        header_.widthStep = step;
        header_.dataSize = step * header_.height * planeCount(src);
        header_.dataBlock = nullptr;
        header_.maskImage = nullptr;
        roi_ = {roiCoi(src), left, top, header_.height - top, header_.width - left};
        header_.roi = &roi_;
    }
    ~Fetched() { vskFreeAligned(data_); }
    Fetched(const Fetched&) = delete;
    Fetched& operator=(const Fetched&) = delete;

    bool empty() const { return empty_; }
    // False when the fetch failed or the error status is negative after it.
    bool ok() const { return data_ && !statusNegative(); }
    const VskImage* header() const { return &header_; }

private:
    VskImage header_{};
    VskROI roi_{};
    char* data_ = nullptr;
    bool empty_ = false;
};

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
    TileHeader tile(dst, data, roiCoi(dst), p.x.start, p.y.start, p.y.size, p.x.size);
    plainZoom(src, &tile.header, z.xInv, z.yInv, z.interpolate, at.x.frac, at.y.frac);
    releaseTile(dst, p.col, p.row, data);
    return true;
}

}  // namespace

void destinationTileWalk(VskImage* src, VskImage* dst, double xInv, double yInv,
                         int interpolate, const int* dstTile) {
    Grid grid;
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
    Grid grid;
    if (!layout(src, dst, xInv, yInv, kBlock, kBlock, &grid)) return;
    const int x0 = roiX(src), y0 = roiY(src);
    const int coi = roiCoi(dst), dx = roiX(dst), dy = roiY(dst);
    VskROI block{};
    RoiSwap swap(dst, &block);  // the caller's ROI is put back on every return
    forEachPart(grid, nullptr, [&](const Part& p) {
        const Starts at = partStarts(interpolate, xInv, yInv, x0, y0, p);
        Fetched source(src, interpolate, at, p.x.size, p.y.size);
        if (source.empty()) return true;
        if (!source.ok()) return false;
        block = {coi, dx + p.x.offset, dy + p.y.offset, p.y.size, p.x.size};
        plainZoom(source.header(), dst, xInv, yInv, interpolate, at.x.frac, at.y.frac);
        return true;
    });
}

void combinedWalk(const VskImage* src, VskImage* dst, double xInv, double yInv, int interpolate,
                  const int* dstTile) {
    Grid grid;
    if (!layout(src, dst, xInv, yInv, dst->tileInfo->width, dst->tileInfo->height, &grid)) return;
    const int x0 = roiX(src), y0 = roiY(src);
    forEachPart(grid, dstTile, [&](const Part& p) {
        const Starts at = partStarts(interpolate, xInv, yInv, x0, y0, p);
        Fetched source(src, interpolate, at, p.x.size, p.y.size);
        if (source.empty()) return true;
        if (!source.ok()) return false;
        return zoomIntoTile(source.header(), dst, {xInv, yInv, interpolate}, p, at, 658);
    });
}

}  // namespace vsk::zoom
