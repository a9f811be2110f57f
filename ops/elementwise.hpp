// Shared machinery of the sample-by-sample operations (add and subtract a
// constant, AND with a constant or a second image): their argument checks,
// the plan of which samples they process, and the row drivers that run one
// per-sample functor over that plan.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "bits.hpp"
#include "core.hpp"
#include "element_rows.hpp"
#include "numeric.hpp"
#include "view.hpp"

namespace vsk {

// Operands are ordered sources first, destination last.
constexpr int kMaxOperands = 3;

// ---- checks ------------------------------------------------------------------

// Every header through the validator, one line per operand; reports the
// first bad header with status -5 and returns true. The operations then
// compare each source's depth with the destination's, then the data orders,
// then the channels to process.
bool reportBadHeaders(VskImage* const* images, int count, const int* lines, const Site& site);

// The comparisons of a source named srcImage with dstImage.
inline constexpr const char* kSrcDepthText = "(srcImage->depth != dstImage->depth)";
inline constexpr const char* kSrcOrderText = "(srcImage->dataOrder != dstImage->dataOrder)";
inline constexpr const char* kSrcChannelsText = "(nChSrc != nChDst)";

// ---- which samples ---------------------------------------------------------------

// What happens when a one-channel image without a channel of interest meets
// images that select one channel of several.
enum class CoiMix {
    Skip,      // nothing is processed
    Channel0,  // the one-channel image takes part with its only channel
};

// Unit of the whole-buffer run: the depth's element (32-bit words for 1-bit
// data), or 32-bit words whatever the depth.
enum class WholeUnit { Element, Word };

// The samples an operation processes, planned on buffered headers.
struct Region {
    int count = 0;                       // operands
    char* start[kMaxOperands] = {};      // first sample's byte of each operand
    std::int64_t rowStep[kMaxOperands] = {};
    std::int64_t planeStep[kMaxOperands] = {};
    int stride[kMaxOperands] = {};       // elements from one sample to the next
    int bit[kMaxOperands] = {};          // 1-bit rows: bit offset of the first column
    std::int64_t length = 0;             // samples per row (bits for 1-bit rows)
    int rows = 0;
    int planes = 0;
    bool whole = false;                  // one flat run over the whole buffers
    std::int64_t room[kMaxOperands] = {};    // bytes of each buffer from start on
    std::int64_t extent[kMaxOperands] = {};  // bytes one row of each operand touches

    // The rows of a plane inside every buffer: rows past the end of a buffer
    // that no longer matches its header are skipped.
    int rowsInside(int plane) const {
        std::int64_t n = rows;
        for (int i = 0; i < count; ++i)
            n = std::min(n, vsk::rowsInside(room[i] - plane * planeStep[i], extent[i], rowStep[i], n));
        return static_cast<int>(n);
    }
    // The planes whose first row lies inside every buffer; the later ones lie
    // further past their ends, so the loops stop there (a header of 2^31 - 1
    // planes over a small buffer).
    int planesInside() const {
        std::int64_t n = planes;
        for (int i = 0; i < count; ++i)
            n = std::min(n, vsk::rowsInside(room[i], extent[i], planeStep[i], n));
        return static_cast<int>(n);
    }
};

// Plans the work on `count` buffered headers. The whole buffers form one run
// (row padding included) when every source and the destination have equal
// width, height and dataSize and whole-image ROIs; otherwise the rectangles
// start at the ROI offsets, are clipped to their images and cut to the
// smallest, and the channels follow the channels of interest. Returns false
// when there is nothing to do.
bool planRegion(VskImage* const* images, int count, CoiMix mix, WholeUnit unit, Region* region);

// ---- row drivers -------------------------------------------------------------------

template <class T, class F>
void mapRun(T* d, const T* s, std::int64_t n, F f) {
    for (std::int64_t i = 0; i < n; ++i) storeAt(d + i, f(loadAt(s + i)));
}
// In place: one pointer, so that the loop needs no overlap check.
template <class T, class F>
void mapRunInPlace(T* d, std::int64_t n, F f) {
    for (std::int64_t i = 0; i < n; ++i) storeAt(d + i, f(loadAt(d + i)));
}
template <class T, class F>
void mapRun(T* d, const T* a, const T* b, std::int64_t n, F f) {
    for (std::int64_t i = 0; i < n; ++i) storeAt(d + i, f(loadAt(a + i), loadAt(b + i)));
}
template <class T, class F>
void mapStrided(T* d, int ds, const T* s, int ss, std::int64_t n, F f) {
    for (std::int64_t i = 0; i < n; ++i) storeAt(d + i * ds, f(loadAt(s + i * ss)));
}
template <class T, class F>
void mapStrided(T* d, int ds, const T* a, int as, const T* b, int bs, std::int64_t n, F f) {
    for (std::int64_t i = 0; i < n; ++i) storeAt(d + i * ds, f(loadAt(a + i * as), loadAt(b + i * bs)));
}

// Calls row(pointers) for every row of every plane of the region.
template <class T, class Row>
void forEachRow(const Region& r, Row row) {
    for (int plane = 0, planes = r.planesInside(); plane < planes; ++plane) {
        T* p[kMaxOperands] = {};
        for (int i = 0; i < r.count; ++i)
            p[i] = reinterpret_cast<T*>(r.start[i] + plane * r.planeStep[i]);
        for (int y = 0, n = r.rowsInside(plane); y < n; ++y) {
            if (y > 0)
                for (int i = 0; i < r.count; ++i)
                    p[i] = reinterpret_cast<T*>(reinterpret_cast<char*>(p[i]) + r.rowStep[i]);
            row(p);
        }
    }
}

// The table's run of a rule over contiguous elements, with the rule's
// constants in k; null for rules the table does not hold (found by
// argument-dependent lookup, so the rules below can add their own).
template <class F>
Run1 tableRun1(const F&, std::uint32_t*) {
    return nullptr;
}
template <class T, class F>
Run2 tableRun2(const F&) {
    return nullptr;
}

// Calls rows(pointers, count) for the rows of every plane of the region
// that lie inside every buffer, the pointers at the plane's first row.
template <class Rows>
void forEachPlane(const Region& r, Rows rows) {
    for (int plane = 0, planes = r.planesInside(); plane < planes; ++plane) {
        char* p[kMaxOperands] = {};
        for (int i = 0; i < r.count; ++i) p[i] = r.start[i] + plane * r.planeStep[i];
        if (const int n = r.rowsInside(plane)) rows(p, n);
    }
}

// d = f(s) over a two-operand region of T elements. Contiguous rows take the
// table's kernel where it has one and the rows are apart or the same;
// destination rows that overlap source rows otherwise go sample by sample.
template <class T, class F>
void mapRegion1(const Region& r, F f) {
    const std::int64_t n = r.length;
    if (r.stride[0] == 1 && r.stride[1] == 1) {
        std::uint32_t k[3] = {};
        if (const Run1 run = tableRun1(f, k)) {
            forEachPlane(r, [&](char* const* p, int rows) {
                if (rowsApart(p[1], r.rowStep[1], p[0], r.rowStep[0], rows, n * std::int64_t{sizeof(T)}))
                    run(p[0], r.rowStep[0], p[1], r.rowStep[1], rows, n, k);
                else
                    for (int y = 0; y < rows; ++y)
                        mapRun(reinterpret_cast<T*>(p[1] + y * r.rowStep[1]),
                               reinterpret_cast<const T*>(p[0] + y * r.rowStep[0]), n, f);
            });
            return;
        }
        forEachRow<T>(r, [&](T* const* p) {
            if (p[0] == p[1])
                mapRunInPlace(p[1], n, f);
            else
                mapRun(p[1], p[0], n, f);
        });
    } else {
        forEachRow<T>(r, [&](T* const* p) { mapStrided(p[1], r.stride[1], p[0], r.stride[0], n, f); });
    }
}

// d = f(a, b) over a three-operand region of T elements.
template <class T, class F>
void mapRegion2(const Region& r, F f) {
    const std::int64_t n = r.length;
    if (r.stride[0] == 1 && r.stride[1] == 1 && r.stride[2] == 1) {
        if (const Run2 run = tableRun2<T>(f)) {
            const std::int64_t bytes = n * std::int64_t{sizeof(T)};
            forEachPlane(r, [&](char* const* p, int rows) {
                if (rowsApart(p[2], r.rowStep[2], p[0], r.rowStep[0], rows, bytes) &&
                    rowsApart(p[2], r.rowStep[2], p[1], r.rowStep[1], rows, bytes))
                    run(p[0], r.rowStep[0], p[1], r.rowStep[1], p[2], r.rowStep[2], rows, n);
                else
                    for (int y = 0; y < rows; ++y)
                        mapRun(reinterpret_cast<T*>(p[2] + y * r.rowStep[2]),
                               reinterpret_cast<const T*>(p[0] + y * r.rowStep[0]),
                               reinterpret_cast<const T*>(p[1] + y * r.rowStep[1]), n, f);
            });
            return;
        }
        forEachRow<T>(r, [&](T* const* p) { mapRun(p[2], p[0], p[1], n, f); });
    } else {
        forEachRow<T>(r, [&](T* const* p) {
            mapStrided(p[2], r.stride[2], p[0], r.stride[0], p[1], r.stride[1], n, f);
        });
    }
}

// The same functor over the 1-bit rows of a region (sources realigned to the
// destination's bit offset; the destination's other bits kept).
template <int Sources, class F>
void mapBitRegion(const Region& r, F f) {
    for (int y = 0, n = r.rowsInside(0); y < n; ++y) {
        BitSource src[Sources];
        for (int i = 0; i < Sources; ++i)
            src[i] = BitSource(reinterpret_cast<const std::uint8_t*>(r.start[i] + y * r.rowStep[i]),
                               r.bit[i], r.bit[Sources], r.length);
        mapBitRow<Sources>(reinterpret_cast<std::uint8_t*>(r.start[Sources] + y * r.rowStep[Sources]),
                           r.bit[Sources], src, r.length, f);
    }
}

// Calls f(U{}) with the unsigned element type of 1, 2 or 4 bytes.
template <class F>
void dispatchElementSize(int bytes, F&& f) {
    switch (bytes) {
        case 1: f(std::uint8_t{}); break;
        case 2: f(std::uint16_t{}); break;
        case 4: f(std::uint32_t{}); break;
        default: break;
    }
}

// ---- per-sample rules ------------------------------------------------------------

// Bit logic on whole units: ((s ^ flip) & keep) | set. Covers OR, AND NOT and
// NOT-AND with a constant, and AND with a mask.
template <class U>
struct BitLogic {
    U flip, keep, set;
    U operator()(U s) const { return static_cast<U>(((s ^ flip) & keep) | set); }
};
template <class U>
BitLogic<U> bitLogic(std::uint32_t flip, std::uint32_t keep, std::uint32_t set) {
    return {static_cast<U>(flip), static_cast<U>(keep), static_cast<U>(set)};
}

// Index of an element size in the table: 1, 2 or 4 bytes.
template <class U>
constexpr int kSizeIndex = sizeof(U) == 1 ? 0 : sizeof(U) == 2 ? 1 : 2;

template <class U>
Run1 tableRun1(const BitLogic<U>& f, std::uint32_t* k) {
    k[0] = f.flip;
    k[1] = f.keep;
    k[2] = f.set;
    return elementRows().logic[kSizeIndex<U>];
}

// The same bit logic on 1-bit data: 32-bit words for a whole-buffer run,
// realigned rows otherwise.
inline void mapBitLogic(const Region& r, std::uint32_t flip, std::uint32_t keep, std::uint32_t set) {
    if (r.whole)
        mapRegion1<std::uint32_t>(r, bitLogic<std::uint32_t>(flip, keep, set));
    else
        mapBitRegion<1>(r, bitLogic<std::uint8_t>(flip, keep, set));
}

struct AndOf {
    template <class U>
    U operator()(U a, U b) const {
        return static_cast<U>(a & b);
    }
};

template <class T>
Run2 tableRun2(const AndOf&) {
    return elementRows().bitAnd[kSizeIndex<T>];
}

// s + v saturated through a threshold: for v >= 0 (Up) samples above
// max - v give max, for v < 0 samples below min - v give min.
template <class T, bool Invert, bool Up>
struct SaturateAdd {
    T limit, v;
    T operator()(T s) const {
        if constexpr (Invert) s = static_cast<T>(~s);
        return wrapAdd(Up ? std::min(s, limit) : std::max(s, limit), v);
    }
};

// Index of an element type among the addition's: uint8, int8, uint16,
// int16, int32.
template <class T>
constexpr int kAddIndex = std::is_same_v<T, std::uint8_t>    ? 0
                          : std::is_same_v<T, std::int8_t>   ? 1
                          : std::is_same_v<T, std::uint16_t> ? 2
                          : std::is_same_v<T, std::int16_t>  ? 3
                                                             : 4;

template <class T, bool Invert, bool Up>
Run1 tableRun1(const SaturateAdd<T, Invert, Up>& f, std::uint32_t* k) {
    static_assert(sizeof(T) <= 4, "an element of at most 32 bits");
    k[0] = static_cast<std::make_unsigned_t<T>>(f.limit);
    k[1] = static_cast<std::make_unsigned_t<T>>(f.v);
    return elementRows().add[kAddIndex<T>][Invert][Up];
}

// Saturated s + c (or ~s + c with Invert) over the region. The thresholds
// are fixed once: for c >= 0 a sample above max - c stores max, for c < 0 a
// sample below min - c stores min. A constant beyond the depth's span gives
// the same results as the span itself, so it is narrowed to it first.
template <class T, bool Invert>
void addSaturated(const Region& r, std::int64_t c) {
    constexpr std::int64_t lo = std::numeric_limits<T>::min();
    constexpr std::int64_t hi = std::numeric_limits<T>::max();
    c = std::clamp(c, lo - hi, hi - lo);
    if (c >= 0)
        mapRegion1<T>(r, SaturateAdd<T, Invert, true>{static_cast<T>(hi - c), static_cast<T>(c)});
    else
        mapRegion1<T>(r, SaturateAdd<T, Invert, false>{static_cast<T>(lo - c), static_cast<T>(c)});
}

}  // namespace vsk
