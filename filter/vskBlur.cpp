// Box blur: every destination pixel of the region of interest becomes the
// mean of a box of source pixels placed by an anchor; plain and tiled.
#include <algorithm>
#include <new>
#include <vector>

#include "boxsum.hpp"
#include "tiles.hpp"

namespace {

using namespace vsk;

const Site kSite{"vskBlur", "vskBlur"};

// What every block of one call shares.
struct Blur {
    const VskImage* src;
    VskImage* dst;
    BlurBox box;
    std::int64_t sx, sy;  // source position of the first box's top-left corner

    // Fetches the source pixels of the output block at (bx, by) of the
    // rectangle: one more row and column than the box needs.
    bool fetch(FetchedImage& from, int bx, int by, int rows, int cols) const {
        return from.fetch(src, sx + bx, sy + by, std::int64_t{cols} + box.nCols,
                          std::int64_t{rows} + box.nRows);
    }
};

// Tiles of a tiled destination, walked column by column. A tile is given back
// only once its lower-right neighbour is written; the last tile row and then
// the last tile column are given back at the end.
class TiledBlur {
public:
    TiledBlur(const Blur& blur, int dx, int dy, int rows, int cols)
        : blur_(blur), dx_(dx), dy_(dy), rows_(rows), cols_(cols),
          range_(tileRange(dx, dy, rows, cols, tw(), th())),
          i1_(range_.nr), j1_(range_.nc) {}

    // Restricts the walk to the tile holding (x, y); false when that tile
    // misses the rectangle.
    bool restrictTo(const int* tilePoint) {
        const int tc = tilePoint[0] / tw(), tr = tilePoint[1] / th();
        const std::int64_t c0 = std::int64_t{tc} * tw(), r0 = std::int64_t{tr} * th();
        if (c0 > std::int64_t{dx_} + cols_ - 1 || r0 > std::int64_t{dy_} + rows_ - 1 ||
            c0 + tw() <= dx_ || r0 + th() <= dy_)
            return false;
        j0_ = tc - range_.fc;
        i0_ = tr - range_.fr;
        j1_ = j0_ + 1;
        i1_ = i0_ + 1;
        return true;
    }

    void run() {
        // Held tiles: those of the last tile row, and of the current and the
        // previous tile column above it; the others are given back by then.
        try {
            const std::size_t rows = static_cast<std::size_t>(i1_ - i0_);
            columns_[0].assign(rows, nullptr);
            columns_[1].assign(rows, nullptr);
            lastRow_.assign(static_cast<std::size_t>(j1_ - j0_), nullptr);
        } catch (const std::bad_alloc&) {
            return;
        }
        for (int j = j0_; j < j1_; ++j) {
            for (int i = i0_; i < i1_; ++i) {
                if (!write(i, j)) return giveBackHeld(j);
                if (j > j0_ && i > i0_) giveBack(i - 1, j - 1);
            }
        }
        for (int j = j0_; j < j1_; ++j) giveBack(i1_ - 1, j);
        for (int i = i0_; i < i1_ - 1; ++i) giveBack(i, j1_ - 1);
    }

private:
    int tw() const { return blur_.dst->tileInfo->width; }
    int th() const { return blur_.dst->tileInfo->height; }
    void*& slot(int i, int j) {
        if (i == i1_ - 1) return lastRow_[static_cast<std::size_t>(j - j0_)];
        return columns_[(j - j0_) & 1][static_cast<std::size_t>(i - i0_)];
    }

    bool write(int i, int j) {
        const Span c = range_.colSpan(j), r = range_.rowSpan(i);
        FetchedImage from;
        if (!blur_.fetch(from, c.offset, r.offset, r.size, c.size)) return false;
        void* data = acquireTile(blur_.dst, range_.fc + j, range_.fr + i, VSK_TILE_WRITE);
        if (!data) return false;
        slot(i, j) = data;
        ImageView tile;
        tile.overTile(blur_.dst, data).roi(roiCoi(blur_.dst), c.inTile, r.inTile, r.size, c.size);
        blurBlock(from.get(), tile.get(), blur_.box, r.size, c.size);
        return true;
    }

    void giveBack(int i, int j) {
        void*& data = slot(i, j);
        if (!data) return;
        releaseTile(blur_.dst, range_.fc + j, range_.fr + i, data);
        data = nullptr;
    }

    // After a failure in tile column `current` the tiles still held are given
    // back, column by column.
    void giveBackHeld(int current) {
        for (int j = j0_; j <= current; ++j)
            for (int i = i0_; i < i1_; ++i)
                if (j >= current - 1 || i == i1_ - 1) giveBack(i, j);
    }

    const Blur& blur_;
    int dx_, dy_, rows_, cols_;
    TileRange range_;
    int i0_ = 0, i1_, j0_ = 0, j1_;
    std::vector<void*> columns_[2], lastRow_;
};

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskBlur(VskImage* srcImage, VskImage* dstImage, int nRows, int nCols,
                               int anchorX, int anchorY, const int* tilePoint) {
    if (reportBadHeader(srcImage, kSite, 272) || reportBadHeader(dstImage, kSite, 273) ||
        reportFirst(kSite, {{srcImage->depth != dstImage->depth, 274,
                             "(srcImage->depth!=dstImage->depth)"},
                            {srcImage->depth == VSK_1U, 275, "(srcImage->depth==1)"},
                            {nRows < 0 || nCols < 0, 276, "(nRows<0||nCols<0)"},
                            {anchorX < 0 || anchorY < 0, 277, "(anchorX<0||anchorY<0)"}}))
        return;

    const Rect s = roiCut(srcImage), d = roiCut(dstImage);
    const int cols = std::min(s.cols, d.cols), rows = std::min(s.rows, d.rows);
    // An empty rectangle does nothing, not even a tile request.
    if (rows <= 0 || cols <= 0) return;

    Blur blur{srcImage, dstImage, {}, std::int64_t{s.x} - anchorX, std::int64_t{s.y} - anchorY};
    blur.box.nRows = nRows;
    blur.box.nCols = nCols;
    blur.box.reciprocal = static_cast<float>(1.0 / (static_cast<double>(nRows) * nCols));
    // The channels both images process.
    blur.box.first = std::max(firstChannel(srcImage), firstChannel(dstImage));
    blur.box.last = std::min(firstChannel(srcImage) + channelCount(srcImage),
                             firstChannel(dstImage) + channelCount(dstImage)) - 1;

    if (!dstImage->tileInfo) {
        // One block: the whole rectangle at the destination's own offsets. A
        // buffered source apart from the destination is read a band of rows
        // at a time.
        if (readsInStrips(srcImage, dstImage))
            return blurStrips(srcImage, blur.sx, blur.sy, dstImage, blur.box, rows, cols);
        FetchedImage from;
        if (blur.fetch(from, 0, 0, rows, cols)) blurBlock(from.get(), dstImage, blur.box, rows, cols);
        return;
    }
    TiledBlur walk(blur, d.x, d.y, rows, cols);
    if (tilePoint && !walk.restrictTo(tilePoint)) return;
    walk.run();
}

}  // extern "C"
