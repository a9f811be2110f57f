// Checks and region planning shared by the sample-by-sample operations.
#include "elementwise.hpp"

namespace vsk {

namespace {

// No ROI, or one that starts at the origin, covers the image and keeps every
// channel (coi 0, or coi 1 of a one-channel image).
bool coversWholeImage(const VskImage* image) {
    const VskROI* roi = image->roi;
    if (!roi) return true;
    return roi->xOffset == 0 && roi->yOffset == 0 && roi->height >= image->height &&
           roi->width >= image->width && (roi->coi == 0 || (roi->coi == 1 && image->nChannels == 1));
}

bool sameWholeBuffer(const VskImage* a, const VskImage* b) {
    return a->width == b->width && a->height == b->height && a->dataSize == b->dataSize &&
           coversWholeImage(a) && coversWholeImage(b);
}

// Selects one channel of several.
bool selectsChannel(const VskImage* image) { return roiCoi(image) != 0 && image->nChannels > 1; }

}  // namespace

bool reportBadHeaders(VskImage* const* images, int count, const int* lines, const Site& site) {
    for (int i = 0; i < count; ++i)
        if (reportBadHeader(images[i], site, lines[i])) return true;
    return false;
}

bool planRegion(VskImage* const* images, int count, CoiMix mix, WholeUnit unit, Region* region) {
    Region& r = *region;
    r = Region{};
    r.count = count;
    // A header without a buffer of its own (a tiled image that did not start
    // a tile walk) leaves the call without effect.
    for (int i = 0; i < count; ++i)
        if (!images[i]->imageData) return false;
    const VskImage* dst = images[count - 1];
    const unsigned depth = dst->depth;
    const int bytes = depthBytes(depth);

    bool whole = true;
    for (int i = 0; i + 1 < count; ++i) whole = whole && sameWholeBuffer(images[i], dst);
    if (whole) {
        const int size = unit == WholeUnit::Word || bytes == 0 ? 4 : bytes;
        r.whole = true;
        r.length = dst->dataSize / size;
        r.rows = r.planes = 1;
        for (int i = 0; i < count; ++i) {
            r.start[i] = images[i]->imageData;
            r.stride[i] = 1;
            r.room[i] = r.extent[i] = r.length * size;
        }
        return r.length > 0;
    }

    RoiRect rect[kMaxOperands];
    int rows = 0, cols = 0;
    bool anySelects = false;
    for (int i = 0; i < count; ++i) {
        rect[i] = roiRect(images[i]);
        rows = i == 0 ? rect[i].rows : std::min(rows, rect[i].rows);
        cols = i == 0 ? rect[i].cols : std::min(cols, rect[i].cols);
        anySelects = anySelects || selectsChannel(images[i]);
    }
    if (rows <= 0 || cols <= 0) return false;
    r.rows = rows;
    r.planes = 1;

    auto roomOf = [&](int i) { return images[i]->dataSize - (r.start[i] - images[i]->imageData); };
    if (bytes == 0) {  // 1-bit data has one channel
        r.length = cols;
        for (int i = 0; i < count; ++i) {
            r.start[i] = rect[i].start + rect[i].x / 8;
            r.bit[i] = rect[i].x % 8;
            r.rowStep[i] = rect[i].step;
            r.room[i] = roomOf(i);
            r.extent[i] = (r.bit[i] + r.length - 1) / 8 + 1;
        }
        return true;
    }

    const bool plane = dst->dataOrder == VSK_DATA_ORDER_PLANE;
    for (int i = 0; i < count; ++i) {
        const VskImage* image = images[i];
        // The rectangle's start already points at the channel of interest.
        r.start[i] = rect[i].start;
        r.rowStep[i] = rect[i].step;
        r.planeStep[i] = rect[i].planeSize;
        if (anySelects) {
            if (roiCoi(image) == 0 && (mix == CoiMix::Skip || image->nChannels != 1)) return false;
            r.stride[i] = plane ? 1 : image->nChannels;
        } else {
            if (image->nChannels != dst->nChannels) return false;
            r.stride[i] = 1;
        }
    }
    r.length = cols;
    if (!anySelects && plane) r.planes = dst->nChannels;  // every plane in turn
    if (!anySelects && !plane) r.length = std::int64_t{cols} * dst->nChannels;

    // Rows that follow one another without a gap in every image form one run
    // (when all of it lies inside each buffer).
    bool contiguous = true;
    for (int i = 0; i < count; ++i) {
        r.room[i] = roomOf(i);
        r.extent[i] = ((r.length - 1) * r.stride[i] + 1) * bytes;
        contiguous = contiguous && r.rowStep[i] == r.length * r.stride[i] * bytes &&
                     (r.planes - 1) * r.planeStep[i] + r.rows * r.rowStep[i] <= r.room[i];
    }
    if (contiguous) {
        r.length *= r.rows;
        r.rows = 1;
        for (int i = 0; i < count; ++i) r.extent[i] = r.length * r.stride[i] * bytes;
    }
    return true;
}

}  // namespace vsk
