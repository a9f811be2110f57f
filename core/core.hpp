// Shared building blocks of every operation: depth facts, row strides, the
// clipped ROI rectangle and the standard checks with their reports.
#pragma once

#include <climits>
#include <cstdint>
#include <type_traits>

#include "vsk_internal.h"

namespace vsk {

// ---- depth codes -----------------------------------------------------------

inline bool isValidDepth(unsigned depth) {
    return depth == VSK_1U || depth == VSK_8U || depth == VSK_16U || depth == VSK_8S ||
           depth == VSK_16S || depth == VSK_32S;
}
inline int depthBits(unsigned depth) { return static_cast<int>(depth & 0x7FFFFFFFu); }
// Bytes per channel value: 0 for 1-bit data, else 1, 2 or 4.
inline int depthBytes(unsigned depth) { return depthBits(depth) >> 3; }
inline bool isSigned(unsigned depth) { return (depth & VSK_DEPTH_SIGN) != 0; }

// A value widened to a 32-bit word of the depth's samples: 1 bit: all ones
// if odd; 8 bits: the low byte four times; 16 bits: the low half twice;
// 32 bits: the value itself. Used for fills, border constants and masks.
inline std::uint32_t widenToWord(unsigned depth, std::uint32_t value) {
    switch (depth & 0x7FFFFFFFu) {
        case 1: return (value & 1u) ? 0xFFFFFFFFu : 0u;
        case 8: return (value & 0xFFu) * 0x01010101u;
        case 16: return (value & 0xFFFFu) * 0x00010001u;
        default: return value;
    }
}

// Calls f(T{}) with T the element type of a valid byte-sized depth
// (uint8_t, int8_t, uint16_t, int16_t, int32_t); returns false for 1-bit or
// unknown depths. Operations dispatch once per call through this.
template <class F>
bool dispatchDepth(unsigned depth, F&& f) {
    switch (depth) {
        case VSK_8U: f(std::uint8_t{}); return true;
        case VSK_8S: f(std::int8_t{}); return true;
        case VSK_16U: f(std::uint16_t{}); return true;
        case VSK_16S: f(std::int16_t{}); return true;
        case VSK_32S: f(std::int32_t{}); return true;
        default: return false;
    }
}

// ---- row layout ------------------------------------------------------------

// Bytes of one row of `width` pixels rounded up to the alignment (4, else 8),
// computed in 64 bits. Plane order counts one channel per row.
std::int64_t rowBytes(int dataOrder, unsigned depth, int align, int nChannels, int width);

// Row stride of an image's own buffer, recomputed from its fields.
inline std::int64_t imageStride(const VskImage* image) {
    return rowBytes(image->dataOrder, image->depth, image->align, image->nChannels, image->width);
}
// Row stride of one tile of a tiled image.
inline std::int64_t tileStride(const VskImage* image) {
    return rowBytes(image->dataOrder, image->depth, image->align, image->nChannels,
                    image->tileInfo->width);
}
inline int planeCount(const VskImage* image) {
    return image->dataOrder == VSK_DATA_ORDER_PLANE ? image->nChannels : 1;
}

// Rows of a buffered image, from its first, that lie wholly inside its buffer
// in planes 0 to lastPlane: all of them unless the header no longer matches
// its buffer (fields changed after allocation, or a size that wrapped).
int rowsInBuffer(const VskImage* image, int lastPlane);

// ---- the clipped ROI rectangle ---------------------------------------------

struct RoiRect {
    char* start = nullptr;  // first value of the rectangle (row start for 1-bit data)
    int step = 0;           // row stride, recomputed from the header
    int channels = 0;       // channels to process: nChannels, or 1 with a channel of interest
    int rows = 0;
    int cols = 0;
    int planeSize = 0;      // image height x stride
    int x = 0, y = 0;       // clipped offsets (x is the first bit's column for 1-bit data)
    int coi = 0;            // channel of interest, 0 = all
};
RoiRect roiRect(const VskImage* image);

// The ROI's size, or the image's own without ROI (unclipped).
inline int roiHeight(const VskImage* image) { return image->roi ? image->roi->height : image->height; }
inline int roiWidth(const VskImage* image) { return image->roi ? image->roi->width : image->width; }
inline int roiX(const VskImage* image) { return image->roi ? image->roi->xOffset : 0; }
inline int roiY(const VskImage* image) { return image->roi ? image->roi->yOffset : 0; }
inline int roiCoi(const VskImage* image) { return image->roi ? image->roi->coi : 0; }

// ---- checks and reports ----------------------------------------------------

// Where a check reports from: the operation's reported name and file.
struct Site {
    const char* func;
    const char* file;
};

// Reports a failed condition with status -5 (or the given status).
inline void report(const Site& site, int line, const char* text, int status = VSK_STATUS_BAD_ARG) {
    vskReportError(status, site.func, text, site.file, line);
}

// Header reporting by mask: if the header is bad, reports the concatenated
// header messages with status -5 and returns true.
bool reportBadHeader(const VskImage* image, const Site& site, int line);

// The standard per-image check sequence, texts written for the parameter
// `name` ("srcImage", "dstImage", ...). Reports the first failing check with
// status -5 at `line` and returns true.
bool failsImageChecks(const VskImage* image, const char* name, const Site& site, int line);

// True while the process-wide status is negative.
inline bool statusNegative() { return tvskGetErrStatus() < 0; }

// Overflow-safe narrowing: true if v fits in a signed 32-bit int.
inline bool fitsInt(std::int64_t v) { return v >= INT_MIN && v <= INT_MAX; }

// The product of two non-negative numbers, INT64_MAX where it would overflow.
inline std::int64_t mulSat(std::int64_t a, std::int64_t b) {
    return a != 0 && b > INT64_MAX / a ? INT64_MAX : a * b;
}

}  // namespace vsk
