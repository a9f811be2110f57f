// Mirror: flips the source's region of interest into the destination's about
// the horizontal axis, the vertical axis or both; plain, in place and tiled.
#include <algorithm>

#include "mirrorrows.hpp"
#include "tiles.hpp"

namespace {

using namespace vsk;

const Site kSite{"vskMirror", "vskmirr"};

// Writes the destination tile by tile: each block of the rectangle inside one
// destination tile receives the mirrored source block of the same size,
// fetched through vskGetRect (from the source, or from a strip already taken
// from it when the image is mirrored onto itself).
class TiledMirror {
public:
    TiledMirror(const VskImage* src, VskImage* dst, int channels, int coi, Rect rect, int flipAxis)
        : src_(src), dst_(dst), channels_(channels), coi_(coi), rect_(rect), flipAxis_(flipAxis),
          range_(tileRange(roiX(dst), roiY(dst), rect.rows, rect.cols, dst->tileInfo->width,
                           dst->tileInfo->height)) {}

    // The whole walk; source blocks are consumed from the top-left of the
    // source rectangle.
    void run() {
        const int nc = range_.nc, nr = range_.nr;
        const bool inPlace = src_ == dst_;
        switch (flipAxis_) {
            case 0:
                // Column bands left to right, destination tile rows bottom up.
                for (int j = 0; j < nc; ++j) {
                    const Span c = range_.colSpan(j);
                    if (inPlace && !takeStrip(c.offset, 0, c.size, rect_.rows)) return;
                    for (int i = nr - 1; i >= 0; --i)
                        if (!block(i, j)) return;
                }
                return;
            case 1:
                // Row bands top to bottom, destination tile columns right to left.
                for (int i = 0; i < nr; ++i) {
                    const Span r = range_.rowSpan(i);
                    if (inPlace && !takeStrip(0, r.offset, rect_.cols, r.size)) return;
                    for (int j = nc - 1; j >= 0; --j)
                        if (!block(i, j)) return;
                }
                return;
            default:
                if (inPlace && !takeStrip(0, 0, rect_.cols, rect_.rows)) return;
                for (int j = nc - 1; j >= 0; --j)
                    for (int i = nr - 1; i >= 0; --i)
                        if (!block(i, j)) return;
                return;
        }
    }

    // Only the tile holding destination pixel (x, y); nothing when the pixel
    // is outside the rectangle. Its block is fetched straight from the
    // source, which this call has not yet changed.
    void runOne(const int* tilePoint) {
        const std::int64_t x = tilePoint[0], y = tilePoint[1];
        const int dx = roiX(dst_), dy = roiY(dst_);
        if (x < dx || y < dy || x > std::int64_t{dx} + rect_.cols - 1 ||
            y > std::int64_t{dy} + rect_.rows - 1)
            return;
        block(static_cast<int>(y / dst_->tileInfo->height) - range_.fr,
              static_cast<int>(x / dst_->tileInfo->width) - range_.fc);
    }

private:
    // Fetches a part of the source rectangle (in rectangle coordinates) that
    // later blocks are taken from.
    bool takeStrip(int x, int y, int cols, int rows) {
        stripX_ = x;
        stripY_ = y;
        return strip_.fetch(src_, std::int64_t{roiX(src_)} + x, std::int64_t{roiY(src_)} + y, cols,
                            rows);
    }

    // One destination tile. False ends the walk: the source block or the
    // tile could not be had (nothing is reported).
    bool block(int i, int j) {
        const Span c = range_.colSpan(j), r = range_.rowSpan(i);
        const int bx = flipAxis_ == 0 ? c.offset : rect_.cols - c.offset - c.size;
        const int by = flipAxis_ == 1 ? r.offset : rect_.rows - r.offset - r.size;
        FetchedImage from;
        const bool fetched =
            strip_.held()
                ? from.fetch(strip_.get(), bx - stripX_, by - stripY_, c.size, r.size)
                : from.fetch(src_, std::int64_t{roiX(src_)} + bx, std::int64_t{roiY(src_)} + by,
                             c.size, r.size);
        if (!fetched) return false;
        const int col = range_.fc + j, row = range_.fr + i;
        void* data = acquireTile(dst_, col, row, VSK_TILE_WRITE);
        if (!data) return false;
        ImageView tile;
        tile.overTile(dst_, data).roi(coi_, c.inTile, r.inTile, r.size, c.size);
        mirrorPixels(from.get(), tile.get(), channels_, coi_, r.size, c.size, flipAxis_);
        from.release();
        releaseTile(dst_, col, row, data);
        return true;
    }

    const VskImage* src_;
    VskImage* dst_;
    int channels_, coi_;
    Rect rect_;
    int flipAxis_;
    TileRange range_;
    FetchedImage strip_;
    int stripX_ = 0, stripY_ = 0;
};

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskMirror(VskImage* srcImage, VskImage* dstImage, int flipAxis,
                                 const int* tilePoint) {
    if (reportBadHeader(srcImage, kSite, 2098) || reportBadHeader(dstImage, kSite, 2099)) return;
    const int coi = roiCoi(srcImage);
    if (reportFirst(kSite, {{srcImage->depth != dstImage->depth, 2101,
                             "(srcImage->depth!=dstImage->depth)"},
                            {srcImage->nChannels != dstImage->nChannels, 2102,
                             "(srcImage->nChannels!=dstImage->nChannels)"},
                            {flipAxis > 1 || flipAxis < -1, 2103, "((flipAxis>1)||(flipAxis<-1))"},
                            {coi != roiCoi(dstImage), 2113, "(coiSrc!=coiDst)"}}))
        return;

    const int channels = channelCount(srcImage);
    const Rect s = roiCut(srcImage), d = roiCut(dstImage);
    Rect rect;
    rect.rows = std::min(s.rows, d.rows);
    rect.cols = std::min(s.cols, d.cols);
    // Deliberately, a source ROI wider than the room right of its offset
    // limits the columns by the rows below the offset instead.
    if (roiWidth(srcImage) > srcImage->width - roiX(srcImage))
        rect.cols = std::min(srcImage->height - roiY(srcImage), d.cols);
    if (rect.rows <= 0 || rect.cols <= 0) return;

    if (dstImage->tileInfo) {
        TiledMirror walk(srcImage, dstImage, channels, coi, rect, flipAxis);
        if (tilePoint)
            walk.runOne(tilePoint);
        else
            walk.run();
        return;
    }
    if (!srcImage->tileInfo)
        return mirrorPixels(srcImage, dstImage, channels, coi, rect.rows, rect.cols, flipAxis);
    FetchedImage from;
    if (!from.fetch(srcImage, roiX(srcImage), roiY(srcImage), rect.cols, rect.rows)) return;
    mirrorPixels(from.get(), dstImage, channels, coi, rect.rows, rect.cols, flipAxis);
}

}  // extern "C"
