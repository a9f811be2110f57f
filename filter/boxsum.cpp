#include "boxsum.hpp"

#include <algorithm>
#include <cstring>

namespace vsk {

namespace {

// Column and row sums: 32-bit integers for the 8- and 16-bit depths (wrapping
// like the machine's registers); single-precision columns and a
// double-precision row for 32s.
template <class T>
struct Sums {
    using Col = std::uint32_t;
    using Row = std::uint32_t;
    static Col load(T v) { return static_cast<Col>(static_cast<std::int32_t>(v)); }
    static double value(Row r) { return static_cast<std::int32_t>(r); }
};
template <>
struct Sums<std::int32_t> {
    using Col = float;
    using Row = double;
    static Col load(std::int32_t v) { return static_cast<float>(v); }
    static double value(Row r) { return r; }
};

// Truncation toward zero; a value outside the 32-bit range (or NaN, from a
// box of no pixels) gives 0x80000000 as the x86 conversion does.
inline std::int32_t truncate(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<std::int32_t>(v);
}

// One channel of an image: its first row at the rectangle's origin.
template <class T>
struct Plane {
    char* origin;
    std::int64_t step;
    int pitch;  // elements from one pixel to the next
    std::int64_t room;  // bytes of the buffer from origin on

    Plane(const VskImage* image, int channel, int x, int y)
        : step(image->widthStep), pitch(image->dataOrder == VSK_DATA_ORDER_PLANE ? 1 : image->nChannels) {
        const std::int64_t plane =
            image->dataOrder == VSK_DATA_ORDER_PLANE ? step * image->height * channel : 0;
        const std::int64_t lead = image->dataOrder == VSK_DATA_ORDER_PLANE ? 0 : channel;
        const std::int64_t offset = plane + step * y + (std::int64_t{x} * pitch + lead) * static_cast<std::int64_t>(sizeof(T));
        origin = image->imageData + offset;
        room = image->dataSize - offset;
    }
    T* row(std::int64_t r) const { return reinterpret_cast<T*>(origin + step * r); }
    // Stores value j of row r as bytes: a destination row starts anywhere
    // when its widthStep is not a multiple of the value size.
    void put(std::int64_t r, std::int64_t j, T v) const {
        std::memcpy(origin + step * r + j * pitch * static_cast<std::int64_t>(sizeof(T)), &v, sizeof v);
    }
    // True when `cols` pixels of row r lie inside the buffer; rows past the end
    // of a buffer that no longer matches its header are not written.
    bool holds(std::int64_t r, int cols) const {
        return step * r + ((std::int64_t{cols} - 1) * pitch + 1) * static_cast<std::int64_t>(sizeof(T)) <= room;
    }
};

template <class T>
void blurChannel(const Plane<T>& in, const Plane<T>& out, const BlurBox& box, int rows, int cols,
                 typename Sums<T>::Col* col) {
    using S = Sums<T>;
    using Row = typename S::Row;
    const int nR = box.nRows, nC = box.nCols;
    const std::int64_t span = std::int64_t{cols} + nC;
    const int ip = in.pitch;
    const double r = box.reciprocal;

    std::fill(col, col + span, typename S::Col{});
    for (int k = 0; k < nR; ++k) {
        const T* src = in.row(k);
        for (std::int64_t j = 0; j < span; ++j) col[j] = col[j] + S::load(src[j * ip]);
    }
    for (int i = 0; i < rows; ++i) {
        Row sum{};
        for (int k = 0; k < nC; ++k) sum += static_cast<Row>(col[k]);
        if (out.holds(i, cols)) {
            out.put(i, 0, static_cast<T>(truncate(S::value(sum) * r)));
            for (int j = 1; j < cols; ++j) {
                sum += static_cast<Row>(col[j - 1 + nC] - col[j - 1]);
                out.put(i, j, static_cast<T>(truncate(S::value(sum) * r)));
            }
        }
        if (i + 1 == rows) break;
        // Each column sum moves down one row.
        const T* enter = in.row(i + nR);
        const T* leave = in.row(i);
        for (std::int64_t j = 0; j < span; ++j)
            col[j] = col[j] + S::load(enter[j * ip]) - S::load(leave[j * ip]);
    }
}

template <class T>
void blurTyped(const VskImage* block, VskImage* dst, const BlurBox& box, int rows, int cols) {
    const int dx = roiX(dst), dy = roiY(dst);
    if (box.nRows == 1 && box.nCols == 1) {
        // A box of one pixel is a copy; nothing is scaled.
        for (int c = box.first; c <= box.last; ++c) {
            const Plane<T> in(block, c, 0, 0), out(dst, c, dx, dy);
            for (int i = 0; i < rows && out.holds(i, cols); ++i) {
                const T* s = in.row(i);
                for (int j = 0; j < cols; ++j) out.put(i, j, s[std::int64_t{j} * in.pitch]);
            }
        }
        return;
    }
    using Col = typename Sums<T>::Col;
    const std::int64_t bytes = (std::int64_t{cols} + box.nCols) * static_cast<std::int64_t>(sizeof(Col));
    if (!fitsInt(bytes)) return;
    auto* col = static_cast<Col*>(vskAllocAligned(static_cast<int>(bytes)));
    if (!col) return;
    for (int c = box.first; c <= box.last; ++c)
        blurChannel(Plane<T>(block, c, 0, 0), Plane<T>(dst, c, dx, dy), box, rows, cols, col);
    vskFreeAligned(col);
}

}  // namespace

void blurBlock(const VskImage* block, VskImage* dst, const BlurBox& box, int rows, int cols) {
    if (rows <= 0 || cols <= 0 || box.first > box.last) return;
    dispatchDepth(block->depth, [&](auto t) { blurTyped<decltype(t)>(block, dst, box, rows, cols); });
}

}  // namespace vsk
