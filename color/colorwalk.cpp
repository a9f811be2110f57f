// The colour module's entry checks, destination-driven tile walk and plane
// lookup.
#include "colorwalk.hpp"

#include <algorithm>
#include <climits>
#include <cstring>

#include "tiles.hpp"

namespace vsk::color {

namespace {

// Takes a destination tile for writing. A tile handed out past the image's
// tile grid is given back at once and counts as refused: a call-back that
// serves every index would otherwise never end the walk.
char* takeTile(VskImage* dst, int col, int row, int mode) {
    void* data = acquireTile(dst, col, row, mode);
    const VskTileInfo* info = dst->tileInfo;
    const std::int64_t cols = (std::int64_t{dst->width} + info->width - 1) / info->width;
    const std::int64_t rows = (std::int64_t{dst->height} + info->height - 1) / info->height;
    if (data && (col >= cols || row >= rows)) {
        releaseTile(dst, col, row, data);
        return nullptr;
    }
    return static_cast<char*>(data);
}

}  // namespace

bool colorBadHeaders(const VskImage* src, const VskImage* dst, int srcLine, int dstLine) {
    const Site site{"vskReduceBits", kTopFile};
    return (src && reportBadHeader(src, site, srcLine)) ||
           (dst && reportBadHeader(dst, site, dstLine));
}

bool colorCheckImages(const VskImage* src, const VskImage* dst, const char* funcName) {
    const bool images = src && dst;
    return !reportFirst({funcName, kPixelFile},
                        {{!images, 1107, "null_image_pointer"},
                         {images && ((!src->imageData && !src->tileInfo) ||
                                     (!dst->imageData && !dst->tileInfo)),
                          1112, "null_data_pointer"}});
}

bool nameIs(const char (&field)[4], const char* name) { return std::memcmp(field, name, 3) == 0; }

std::int64_t colorTileStep(const VskImage* dst) {
    return dst->imageData ? dst->widthStep : tileStride(dst);
}

char* colorNextTile(VskImage* dst, int* tileX, int* tileY, int* x, int* y, int* width, int* height,
                    int mode, const int* dstTile) {
    if (dstTile) {
        if (*tileX >= 0 && *tileY >= 0) return nullptr;
        *tileX = dstTile[0];
        *tileY = dstTile[1];
    }
    if (!dst->tileInfo) {
        if (*tileX >= 0 && *tileY >= 0) return nullptr;
        *tileX = *tileY = *x = *y = 0;
        *width = dst->width;
        *height = dst->height;
        return dst->imageData;
    }
    if (*tileX < 0 || *tileY < 0)
        *tileX = *tileY = 0;
    else if (!dstTile)
        ++*tileX;
    char* data = takeTile(dst, *tileX, *tileY, mode);
    if (!data) {
        // The tile row is over: on to the first tile of the next row.
        if (*tileY == INT_MAX) return nullptr;
        *tileX = 0;
        ++*tileY;
        data = takeTile(dst, 0, *tileY, mode);
    }
    // No tile, no position: the indexes may lie far past the grid.
    if (!data) return nullptr;
    const VskTileInfo* info = dst->tileInfo;
    // Tiles inside the grid start inside the image, so the products fit.
    *x = *tileX * info->width;
    *y = *tileY * info->height;
    *width = info->width;
    *height = info->height;
    return data;
}

void colorReleaseTile(VskImage* dst, int tileX, int tileY, void* data) {
    if (dst->tileInfo) releaseTile(dst, tileX, tileY, data);
}

bool colorPlanePointers(const VskImage* image, std::int64_t step, int rows, const char* letters,
                        std::int64_t slot[3]) {
    if (image->dataOrder == VSK_DATA_ORDER_PIXEL) {
        const std::int64_t b = depthBytes(image->depth);
        const bool forward = image->channelSeq[0] == letters[0];
        slot[0] = forward ? 0 : 2 * b;
        slot[1] = b;
        slot[2] = forward ? 2 * b : 0;
        return true;
    }
    slot[0] = slot[1] = slot[2] = -1;
    // channelSeq holds four letters; planes past the fourth carry none.
    const int planes = std::min(image->nChannels, 4);
    for (int k = 0; k < planes; ++k)
        for (int i = 0; i < 3; ++i)
            if (image->channelSeq[k] == letters[i]) slot[i] = planeOffset(k, step, rows);
    return slot[0] >= 0 && slot[1] >= 0 && slot[2] >= 0;
}

Block directBlock(const VskImage* src, VskImage* dst) {
    Block b;
    b.src = src;
    b.dst = dst;
    b.srcData = {src->imageData, src->dataSize};
    b.dstData = {dst->imageData, dst->dataSize};
    b.srcStep = src->widthStep;
    b.dstStep = dst->widthStep;
    b.rows = std::min(src->height, dst->height);
    b.width = std::min(src->width, dst->width);
    return b;
}

void colorWalk(VskImage* src, VskImage* dst, const int* dstTile, BlockVisitor visit,
               void* context) {
    int tileX = -1, tileY = -1, x = 0, y = 0, width = 0, height = 0;
    while (char* data = colorNextTile(dst, &tileX, &tileY, &x, &y, &width, &height, VSK_TILE_WRITE,
                                      dstTile)) {
        int srcStep = 0;
        char* copy = static_cast<char*>(vskGetRect(src, x, y, width, height, &srcStep));
        if (!copy) {
            colorReleaseTile(dst, tileX, tileY, data);
            return;
        }
        Block b;
        b.src = src;
        b.dst = dst;
        b.srcStep = srcStep;
        b.srcData = {copy, std::int64_t{srcStep} * height * planeCount(src)};
        b.dstStep = colorTileStep(dst);
        b.dstData = {data, dst->tileInfo ? b.dstStep * height * planeCount(dst)
                                         : std::int64_t{dst->dataSize}};
        b.rows = height;
        b.width = width;
        visit(context, b);
        colorReleaseTile(dst, tileX, tileY, data);
        vskFreeAligned(copy);
    }
}

}  // namespace vsk::color
