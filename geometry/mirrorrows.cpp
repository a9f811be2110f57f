#include "mirrorrows.hpp"

#include <algorithm>
#include <cstring>

#include "bitrun.hpp"
#include "mirror_rows.hpp"

namespace vsk {

namespace {

// One image's buffer as the kernels see it.
struct Area {
    std::uint8_t* data;
    std::int64_t size;   // bytes that may be touched
    std::int64_t step;   // bytes per row
    std::int64_t plane;  // bytes per plane
    std::int64_t x, y;   // the rectangle's first column and row

    explicit Area(const VskImage* image)
        : data(reinterpret_cast<std::uint8_t*>(image->imageData)),
          size(image->dataSize),
          step(image->widthStep),
          plane(std::int64_t{image->widthStep} * image->height),
          x(roiX(image)),
          y(roiY(image)) {}
};

// A row of the rectangle: its first pixel at base + pos (bytes, or bits for
// 1-bit data), with `avail` units of the buffer from there on.
struct RowRef {
    std::uint8_t* base;
    std::int64_t pos;
    std::int64_t avail;
};

// Pixels of `pitch` bytes of which `unit` bytes from `lead` on move: a whole
// pixel (unit == pitch, lead 0), or one E-byte element for a channel of
// interest. Whole pixels of the sizes in mirror_rows.hpp are reversed by the
// row function of the dispatch table.
template <int E>
struct ElementKernel {
    // Sizes in 64 bits: a pixel of 2^31 - 1 channels is wider than an int.
    int cols;
    std::int64_t pitch, lead, unit;
    ReverseRow reverse = nullptr;
    CopyRow stream = nullptr;  // whole rows of large images, past the caches

    // `large`: the destination is larger than the caches; its whole rows are
    // then written past them.
    ElementKernel(int cols_, std::int64_t pitch_, std::int64_t lead_, std::int64_t unit_,
                  bool large)
        : cols(cols_), pitch(pitch_), lead(lead_), unit(unit_) {
        const MirrorRows& rows = mirrorRows();
        if (unit == pitch && pitch <= kMirrorLargestPixel)
            reverse = large ? rows.streamingBySize[pitch] : rows.bySize[pitch];
        if (large) stream = rows.copyStreaming;
    }

    RowRef row(const Area& a, std::int64_t planeOffset, int r) const {
        const std::int64_t pos = planeOffset + a.step * (a.y + r) + a.x * pitch;
        return {a.data, pos, a.size - pos};
    }
    // Pixels of the row whose unit lies inside the buffer.
    std::int64_t fit(std::int64_t avail) const {
        if (avail >= lead + std::int64_t{cols - 1} * pitch + unit) return cols;  // the usual case
        if (avail < lead + unit) return 0;
        return std::min<std::int64_t>(cols, (avail - lead - unit) / pitch + 1);
    }
    // Elements of pixel j's unit inside the buffer: a pixel can straddle its end.
    std::int64_t elements(std::int64_t avail, std::int64_t j) const {
        return std::clamp<std::int64_t>((avail - lead - j * pitch) / E, 0, unit / E);
    }
    // Moves the elements of one pixel that lie inside both buffers.
    void moveEdge(const RowRef& d, const RowRef& s, std::int64_t dj, std::int64_t sj) const {
        const std::int64_t n = std::min(elements(d.avail, dj), elements(s.avail, sj));
        if (n > 0)
            std::memmove(d.base + d.pos + lead + dj * pitch, s.base + s.pos + lead + sj * pitch,
                         static_cast<std::size_t>(n * E));
    }
    // n units, each `pitch` bytes after the previous one in both rows; the
    // source's steps backwards when `back` (it then points at its last unit).
    // A unit moves as a whole (memmove): rows closer than a row's length
    // apart can make a source unit overlap its destination.
    static void moveUnits(std::uint8_t* d, const std::uint8_t* s, std::int64_t n,
                          std::int64_t pitch, std::int64_t unit, bool back) {
        const std::int64_t sStep = back ? -pitch : pitch;
        if (unit == E) {
            for (std::int64_t j = 0; j < n; ++j, d += pitch, s += sStep) std::memmove(d, s, E);
            return;
        }
        for (std::int64_t j = 0; j < n; ++j, d += pitch, s += sStep)
            std::memmove(d, s, static_cast<std::size_t>(unit));
    }
    void copy(const RowRef& d, const RowRef& s, bool reversed) const {
        const std::int64_t kd = fit(d.avail), ks = fit(s.avail);
        if (!reversed) {
            const std::int64_t n = std::min(kd, ks);
            if (n < cols) moveEdge(d, s, n, n);
            if (n <= 0) return;
            if (unit == pitch) {
                std::uint8_t* dp = d.base + d.pos;
                const std::uint8_t* sp = s.base + s.pos;
                const std::int64_t bytes = n * pitch;
                if (stream && (dp + bytes <= sp || sp + bytes <= dp))
                    stream(dp, sp, bytes);
                else
                    std::memmove(dp, sp, static_cast<std::size_t>(bytes));
                return;
            }
            moveUnits(d.base + d.pos + lead, s.base + s.pos + lead, n, pitch, unit, false);
            return;
        }
        // Destination pixel j receives source pixel cols - 1 - j; whole units
        // for j in [j0, kd), and the pixels at either end of that range may be
        // cut by a buffer's end.
        const std::int64_t j0 = std::max<std::int64_t>(cols - ks, 0);
        if (j0 > 0 && j0 - 1 <= kd) moveEdge(d, s, j0 - 1, cols - j0);
        if (kd < cols && kd >= j0) moveEdge(d, s, kd, cols - 1 - kd);
        if (j0 >= kd) return;
        std::uint8_t* dp = d.base + d.pos + lead + j0 * pitch;
        const std::uint8_t* sp = s.base + s.pos + (cols - kd) * pitch;  // its last pixel first
        const std::int64_t bytes = (kd - j0) * pitch;
        if (reverse && (dp + bytes <= sp || sp + bytes <= dp)) {
            // Source pixels cols - kd .. cols - 1 - j0, reversed. Rows that
            // overlap (two headers over one buffer) go pixel by pixel.
            reverse(sp, dp, kd - j0);
            return;
        }
        moveUnits(dp, s.base + s.pos + lead + (cols - 1 - j0) * pitch, kd - j0, pitch, unit, true);
    }
    std::int64_t bufferBytes() const { return std::int64_t{cols} * pitch; }
    RowRef save(const RowRef& r, std::uint8_t* buffer) const {
        const std::int64_t n = std::clamp<std::int64_t>(r.avail, 0, bufferBytes());
        if (n > 0) std::memcpy(buffer, r.base + r.pos, static_cast<std::size_t>(n));
        return {buffer, 0, n};
    }
};

// 1-bit rows: positions and sizes in bits.
struct BitKernel {
    int cols;

    RowRef row(const Area& a, std::int64_t, int r) const {
        const std::int64_t pos = a.step * (a.y + r) * 8 + a.x;
        return {a.data, pos, a.size * 8 - pos};
    }
    std::int64_t fit(std::int64_t avail) const { return std::clamp<std::int64_t>(avail, 0, cols); }
    void copy(const RowRef& d, const RowRef& s, bool reversed) const {
        const std::int64_t kd = fit(d.avail), ks = fit(s.avail);
        if (!reversed) {
            copyBits(s.base, s.pos, d.base, d.pos, std::min(kd, ks));
            return;
        }
        const std::int64_t j0 = cols - ks;
        if (j0 < kd) copyBitsReversed(s.base, s.pos + cols - kd, d.base, d.pos + j0, kd - j0);
    }
    std::int64_t bufferBytes() const { return (std::int64_t{cols} + 7) / 8; }
    RowRef save(const RowRef& r, std::uint8_t* buffer) const {
        const std::int64_t n = fit(r.avail);
        copyBits(r.base, r.pos, buffer, 0, n);
        return {buffer, 0, n};
    }
};

// Whether two images' buffers share any byte.
bool overlap(const Area& a, const Area& b) {
    return a.data < b.data + b.size && b.data < a.data + a.size;
}

// Flips one plane: rows reversed for flipAxis 0 and -1, pixels within rows
// for 1 and -1. In place (buffer given) rows are exchanged from the outside
// in through the one-row buffer, the middle row of an odd count with itself.
template <class K>
void mirrorPlane(const K& k, const Area& s, const Area& d, std::int64_t sPlane,
                 std::int64_t dPlane, int rows, int flipAxis, std::uint8_t* buffer) {
    const bool reversed = flipAxis != 0, flipRows = flipAxis != 1;
    if (!buffer) {
        if (flipRows && !overlap(s, d) && k.bufferBytes() <= d.step) {
            // Separate buffers and destination rows that don't overlap each
            // other: the order is free, the source is read from its first row on.
            for (int i = rows - 1; i >= 0; --i)
                k.copy(k.row(d, dPlane, i), k.row(s, sPlane, rows - 1 - i), reversed);
            return;
        }
        for (int i = 0; i < rows; ++i)
            k.copy(k.row(d, dPlane, i), k.row(s, sPlane, flipRows ? rows - 1 - i : i), reversed);
        return;
    }
    const int passes = flipRows ? (rows + 1) / 2 : rows;
    for (int i = 0; i < passes; ++i) {
        const RowRef a = k.row(d, dPlane, i);
        const RowRef saved = k.save(a, buffer);
        if (!flipRows) {
            k.copy(a, saved, true);
            continue;
        }
        const RowRef b = k.row(d, dPlane, rows - 1 - i);
        k.copy(a, b, reversed);
        k.copy(b, saved, reversed);
    }
}

// Runs a kernel over planes first .. first + count - 1 (one for pixel order).
template <class K>
void runKernel(const K& k, const VskImage* src, VskImage* dst, int first, int count, int rows,
               int flipAxis) {
    const Area s(src), d(dst);
    std::uint8_t* buffer = nullptr;
    if (src == dst) {
        const std::int64_t bytes = k.bufferBytes();
        // Without a row buffer the image is left as it was.
        if (!fitsInt(bytes)) return;
        buffer = static_cast<std::uint8_t*>(vskAllocAligned(static_cast<int>(bytes)));
        if (!buffer) return;
    }
    // Planes that start past either buffer's end move nothing, nor do the
    // later ones: the loop stops there (2^31 - 1 planes over a small buffer).
    auto startsInside = [](const Area& a) {
        return a.plane > 0 ? std::max<std::int64_t>((a.size + a.plane - 1) / a.plane, 0) : INT64_MAX;
    };
    const std::int64_t end = std::min({std::int64_t{first} + count, startsInside(s), startsInside(d)});
    for (std::int64_t p = first; p < end; ++p)
        mirrorPlane(k, s, d, p * s.plane, p * d.plane, rows, flipAxis, buffer);
    vskFreeAligned(buffer);
}

// Destinations of this many bytes and more are written past the caches,
// which they would not fit in anyway.
constexpr std::int64_t kStreamingBytes = std::int64_t{16} << 20;

template <int E>
void runElements(const VskImage* src, VskImage* dst, int channels, int coi, int rows, int cols,
                 int flipAxis) {
    const int planes = src->dataOrder == VSK_DATA_ORDER_PLANE ? (coi > 0 ? 1 : channels) : 1;
    const std::int64_t pitch =
        src->dataOrder == VSK_DATA_ORDER_PLANE ? E : std::int64_t{src->nChannels} * E;
    const bool large = mulSat(mulSat(mulSat(rows, cols), pitch), planes) >= kStreamingBytes;
    if (src->dataOrder == VSK_DATA_ORDER_PLANE) {
        // One element per pixel, plane by plane.
        const ElementKernel<E> k(cols, E, 0, E, large);
        return runKernel(k, src, dst, coi > 0 ? coi - 1 : 0, planes, rows, flipAxis);
    }
    if (coi > 0)
        return runKernel(ElementKernel<E>(cols, pitch, std::int64_t{coi - 1} * E, E, large), src,
                         dst, 0, 1, rows, flipAxis);
    runKernel(ElementKernel<E>(cols, pitch, 0, pitch, large), src, dst, 0, 1, rows, flipAxis);
}

}  // namespace

void mirrorPixels(const VskImage* src, VskImage* dst, int channels, int coi, int rows, int cols,
                  int flipAxis) {
    if (rows <= 0 || cols <= 0) return;
    // Values move unchanged: one kernel per element size. No kernel for
    // another depth: nothing is done.
    dispatchDepth<AllDepths>(src->depth, [&](auto t) {
        using T = decltype(t);
        if constexpr (kIsBit<T>)
            runKernel(BitKernel{cols}, src, dst, 0, 1, rows, flipAxis);
        else
            runElements<sizeof(T)>(src, dst, channels, coi, rows, cols, flipAxis);
    });
}

}  // namespace vsk
