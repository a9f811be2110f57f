// Shared building blocks of every operation: depth facts, row strides, the
// clipped ROI rectangle and the standard checks with their reports.
#pragma once

#include <climits>
#include <cstdint>
#include <initializer_list>
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

// ---- depth dispatch ------------------------------------------------------------

// The element type of 1-bit data: values are single bits, packed most
// significant bit first (bits.hpp).
struct Bit {};
template <class E>
inline constexpr bool kIsBit = std::is_same_v<E, Bit>;

// The depth code of an element type.
template <class E>
inline constexpr unsigned kDepthOf = kIsBit<E>                          ? VSK_1U
                                     : std::is_same_v<E, std::uint8_t>  ? VSK_8U
                                     : std::is_same_v<E, std::int8_t>   ? VSK_8S
                                     : std::is_same_v<E, std::uint16_t> ? VSK_16U
                                     : std::is_same_v<E, std::int16_t>  ? VSK_16S
                                     : std::is_same_v<E, std::int32_t>  ? VSK_32S
                                                                        : 0u;

// The depths an operation serves, as element types.
template <class... E>
struct Depths {
    static_assert(((kDepthOf<E> != 0) && ...), "an element type of a depth");
};
using ByteDepths = Depths<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::int32_t>;
using AllDepths = Depths<Bit, std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::int32_t>;

template <class... E, class F>
bool dispatchIn(Depths<E...>, unsigned depth, F& f) {
    return ((depth == kDepthOf<E> ? (f(E{}), true) : false) || ...);
}

// Calls f(E{}) with E the element type of `depth` when the depth is one of
// Set (by default the byte-sized depths: uint8_t, int8_t, uint16_t, int16_t,
// int32_t; Bit stands for 1-bit data); returns false for any other depth.
// Operations dispatch once per call through this.
template <class Set = ByteDepths, class F>
bool dispatchDepth(unsigned depth, F&& f) {
    return dispatchIn(Set{}, depth, f);
}

// ---- row layout ------------------------------------------------------------

// The row-stride rule: a row of `bits` bits takes whole units of `unit` bits
// (8 x the alignment in bytes). The library computes it in 64 bits, and in
// wrapping unsigned 32 bits for the header's own widthStep field.
template <class I>
constexpr I roundUpToUnit(I bits, I unit) {
    return (bits + unit - 1) & ~(unit - 1);
}
// Bytes of a row of `bits` bits padded to `align` bytes.
inline std::int64_t strideOfBits(std::int64_t bits, int align) {
    return roundUpToUnit<std::int64_t>(bits, 8 * std::int64_t{align}) >> 3;
}

// The product of two non-negative numbers, INT64_MAX where it would overflow.
inline std::int64_t mulSat(std::int64_t a, std::int64_t b) {
    return a != 0 && b > INT64_MAX / a ? INT64_MAX : a * b;
}

// a * b of any signs, held within +-2^60 where the product would be larger
// (so that rounding it up to a unit cannot overflow either).
inline std::int64_t mulClamp(std::int64_t a, std::int64_t b) {
    constexpr std::uint64_t kLimit = std::uint64_t{1} << 60;
    const bool negative = (a < 0) != (b < 0);
    const std::uint64_t ua = a < 0 ? 0 - static_cast<std::uint64_t>(a) : static_cast<std::uint64_t>(a);
    const std::uint64_t ub = b < 0 ? 0 - static_cast<std::uint64_t>(b) : static_cast<std::uint64_t>(b);
    const std::uint64_t p = ub != 0 && ua > kLimit / ub ? kLimit : ua * ub;
    return negative ? -static_cast<std::int64_t>(p) : static_cast<std::int64_t>(p);
}

// Bytes of one row of `width` pixels rounded up to the alignment (4, else 8),
// computed in 64 bits. Plane order counts one channel per row. A row of
// 2^31 - 1 pixels of 2^31 - 1 channels would overflow 64 bits: its bits are
// held at 2^60, a row no buffer holds.
inline std::int64_t rowBytes(int dataOrder, unsigned depth, int align, int nChannels, int width) {
    std::int64_t bits = std::int64_t{depthBits(depth)} * width;
    if (dataOrder != VSK_DATA_ORDER_PLANE) bits = mulClamp(bits, nChannels);
    return strideOfBits(bits, align == 4 ? 4 : 8);
}

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
// Values from one pixel to the next within a row: nChannels in pixel order,
// 1 in plane order.
inline int pixelPitch(const VskImage* image) {
    return image->dataOrder == VSK_DATA_ORDER_PLANE ? 1 : image->nChannels;
}

// ---- the two clip rules and the channels to process ----------------------------

// The full clip: the ROI (or the whole image) clipped to the image on every
// side; a ROI wholly outside gives an empty rectangle. Copy, fill and the
// sample-by-sample operations process this rectangle.

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

// The right/bottom cut: the ROI's offsets as they are, its size cut where it
// runs past the image's right and bottom edges (the whole image without
// ROI). Zoom, mirror, blur and decimate process this rectangle; its size is
// 0 or negative when the ROI starts past an edge.
struct Rect {
    int x = 0, y = 0, cols = 0, rows = 0;
};
Rect roiCut(const VskImage* image);

// Channels to process: 1 with a channel of interest, else all; and the
// first of them (0-based).
inline int channelCount(const VskImage* image) {
    return image->roi && image->roi->coi != 0 ? 1 : image->nChannels;
}
inline int firstChannel(const VskImage* image) {
    return image->roi && image->roi->coi > 0 ? image->roi->coi - 1 : 0;
}

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

// One argument check of an operation: reported with `text` at `line` when
// `condition` holds. An operation lists its checks as rows in the order it
// runs them. Conditions are evaluated when the list is built, so a condition
// that needs an earlier check to pass guards itself or starts a list of its
// own.
struct Check {
    bool condition;
    int line;
    const char* text;
};

// Reports the first check whose condition holds (status -5) and returns
// true; false when none holds.
bool reportFirst(const Site& site, std::initializer_list<Check> checks);

// Reports every check whose condition holds, in order; true if any did. For
// the operations that report several faults before testing the status.
bool reportAll(const Site& site, std::initializer_list<Check> checks);

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

}  // namespace vsk
