// The band/segment tile walk shared by add, subtract and AND.
#include "bandwalk.hpp"

#include <algorithm>

#include "tiles.hpp"

namespace vsk {

namespace {

// One image's state during the walk.
struct Operand {
    VskImage* image = nullptr;
    const WalkOperand* checks = nullptr;
    int mode = VSK_TILE_READ;
    bool tiled = false;
    int x = 0, y = 0;    // rectangle start in the image
    int tw = 1, th = 1;  // tile size (tiled images)
    int coi = 0;
    int col = 0, row = 0;
    void* data = nullptr;  // the tile held
    bool prefetch = false;  // buffered: the next segment is asked for ahead

    bool acquire(const Site& site, int line) {
        data = acquireTile(image, col, row, mode);
        if (data) return true;
        report(site, line, checks->acquiredText);
        return false;
    }
    bool release(const Site& site, int line) {
        releaseTile(image, col, row, data);
        if (!image->tileInfo->tileData) return true;
        report(site, line, checks->releasedText);
        return false;
    }
};

// The working header of one operand for a segment: the caller's header with a
// ROI selecting the segment, or its tile described as a buffered image.
void describeSegment(ImageView& view, const Operand& op, int x, int y, int height, int width) {
    if (op.tiled)
        view.overTile(op.image, op.data).roi(op.coi, x % op.tw, y % op.th, height, width);
    else
        view.copyOf(op.image).roi(op.coi, x, y, height, width);
}

// Restricts the walk to the destination tile `dstTile`: checks that the tile
// meets the destination rectangle, then clips the rectangles of all operands
// alike. Returns false after a report.
bool clipToDstTile(Operand* ops, int count, const int* dstTile, const BandWalk& walk,
                   std::int64_t* rows, std::int64_t* cols) {
    const Operand& d = ops[count - 1];
    const std::int64_t begX = std::int64_t{dstTile[0]} * d.tw, endX = begX + d.tw;
    const std::int64_t begY = std::int64_t{dstTile[1]} * d.th, endY = begY + d.th;
    const std::int64_t roiBegX = d.x, roiEndX = roiBegX + *cols;
    const std::int64_t roiBegY = d.y, roiEndY = roiBegY + *rows;
    const int* line = walk.dstTileLines;
    if (reportFirst(walk.site, {{begX > roiEndX, line[0], "(dTile.begX > dRoi.endX)"},
                                {begY > roiEndY, line[1], "(dTile.begY > dRoi.endY)"},
                                {endX < roiBegX, line[2], "(dTile.endX < dRoi.begX)"},
                                {endY < roiBegY, line[3], "(dTile.endY < dRoi.begY)"}}))
        return false;
    const std::int64_t dx = std::max(roiBegX, begX) - roiBegX;
    const std::int64_t dy = std::max(roiBegY, begY) - roiBegY;
    *cols = std::min(roiEndX, endX) - std::max(roiBegX, begX);
    *rows = std::min(roiEndY, endY) - std::max(roiBegY, begY);
    if (*cols <= 0 || *rows <= 0) return true;  // nothing left; no more checks
    for (int i = 0; i < count; ++i) {
        ops[i].x += static_cast<int>(dx);
        ops[i].y += static_cast<int>(dy);
    }
    return true;
}

void walkBands(Operand* ops, int count, int rows, int cols, const Site& site,
               SegmentKernel kernel, void* context) {
    ImageView working[kMaxOperands];
    VskImage* headers[kMaxOperands];
    for (int i = 0; i < count; ++i) headers[i] = working[i].get();

    for (int done = 0; done < rows;) {
        int height = rows - done;
        for (int i = 0; i < count; ++i) {
            Operand& op = ops[i];
            if (!op.tiled) continue;
            op.col = op.x / op.tw;
            op.row = (op.y + done) / op.th;
            if (!op.acquire(site, op.checks->lines.acquired)) return;
            height = std::min(height, op.th - (op.y + done) % op.th);
        }
        for (int x = 0;;) {
            int width = cols - x;
            for (int i = 0; i < count; ++i)
                if (ops[i].tiled) width = std::min(width, ops[i].tw - (ops[i].x + x) % ops[i].tw);
            for (int i = 0; i < count; ++i) {
                describeSegment(working[i], ops[i], ops[i].x + x, ops[i].y + done, height, width);
                // The segment after the next of a buffered operand (the first
                // step asks for the next as well), at most as wide as this one.
                if (ops[i].prefetch)
                    for (std::int64_t ahead = x ? 2 : 1; ahead <= 2; ++ahead) {
                        const std::int64_t at = x + ahead * width;  // 64 bits: no overflow
                        if (at < cols)
                            prefetchRect(ops[i].image, ops[i].x + at, ops[i].y + done,
                                         std::min<std::int64_t>(width, cols - at), height);
                    }
            }
            kernel(context, headers);
            x += width;
            if (x >= cols) break;
            for (int i = 0; i < count; ++i) {
                Operand& op = ops[i];
                if (!op.tiled || (op.x + x) % op.tw != 0) continue;
                if (!op.release(site, op.checks->lines.releasedInBand)) return;
                ++op.col;
                if (!op.acquire(site, op.checks->lines.acquiredNext)) return;
            }
        }
        for (int i = 0; i < count; ++i)
            if (ops[i].tiled && !ops[i].release(site, ops[i].checks->lines.releasedAtEnd)) return;
        done += height;
    }
}

}  // namespace

void runBands(VskImage* const* images, int count, const int* dstTile, const BandWalk& walk,
              SegmentKernel kernel, void* context) {
    bool tiledWalk = false;
    for (int i = 0; i < count; ++i)
        tiledWalk = tiledWalk || (images[i]->tileInfo && walk.operands[i].startsWalk);
    if (!tiledWalk) {
        kernel(context, images);
        return;
    }

    Operand ops[kMaxOperands];
    std::int64_t rows = 0, cols = 0;
    for (int i = 0; i < count; ++i) {
        Operand& op = ops[i];
        op.image = images[i];
        op.checks = &walk.operands[i];
        op.mode = i == count - 1 ? VSK_TILE_WRITE : VSK_TILE_READ;
        op.tiled = images[i]->tileInfo != nullptr;
        if (op.tiled) {
            op.tw = images[i]->tileInfo->width;
            op.th = images[i]->tileInfo->height;
        }
        op.coi = roiCoi(images[i]);
        const RoiRect rect = roiRect(images[i]);
        op.x = rect.x;
        op.y = rect.y;
        rows = i == 0 ? rect.rows : std::min<std::int64_t>(rows, rect.rows);
        cols = i == 0 ? rect.cols : std::min<std::int64_t>(cols, rect.cols);
    }
    if (dstTile && ops[count - 1].tiled && !clipToDstTile(ops, count, dstTile, walk, &rows, &cols))
        return;
    if (rows <= 0 || cols <= 0) return;
    for (int i = 0; i < count; ++i)
        ops[i].prefetch = !ops[i].tiled && largeWalk(ops[i].image, rows, cols);
    const Operand& d = ops[count - 1];
    const StreamingStores streaming(d.tiled && largeWalk(d.image, rows, cols));
    walkBands(ops, count, static_cast<int>(rows), static_cast<int>(cols), walk.site, kernel,
              context);
}

}  // namespace vsk
