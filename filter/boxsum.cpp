// The blur's kernel: column sums that move down the source block a row at a
// time and row sums that run along them a pixel at a time, all channels of a
// row side by side. The block is a fetched one, or a buffered image read a
// row at a time with only its borders fetched.
#include "boxsum.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "boxrows.hpp"
#include "numeric.hpp"
#include "view.hpp"

namespace vsk {

namespace {

// Pixels per piece of a row whose sums are run and stored at once.
constexpr int kPiece = 256;

// ---- the source rows ---------------------------------------------------------

// One row of the source block. Its pixels [lo, hi) (the columns inside the
// image) may be read in place from the image's own row, `image`; the others,
// or all when `image` is null, are in `fetched`.
struct SourceRow {
    const char* fetched = nullptr;
    const char* image = nullptr;
};

// The rows of the source block, top to bottom.
class RowFeed {
public:
    virtual ~RowFeed() = default;
    // Row k; rows are asked for in increasing order, and those from k - nRows
    // on stay readable. `fetched` is null when the row can't be had.
    virtual SourceRow row(std::int64_t k) = 0;

    // Where value v (counted from the block's first column) of plane p of a
    // row lies; values of one piece of [0, lo), [lo, hi) and [hi, ...) in
    // pixels lie side by side.
    template <class T>
    const T* at(const SourceRow& r, int p, std::int64_t v) const {
        if (r.image && v >= lo * values && v < hi * values)
            return reinterpret_cast<const T*>(r.image + p * imagePlane) + (x0 * values + v);
        return reinterpret_cast<const T*>(r.fetched + p * planeStep) + v;
    }
    // Calls fn(from, to) for the pieces of the values [from, to).
    template <class Fn>
    void pieces(std::int64_t from, std::int64_t to, Fn&& fn) const {
        for (const std::int64_t cut : {lo * values, hi * values, to}) {
            const std::int64_t end = std::min(cut, to);
            if (end > from) {
                fn(from, end);
                from = end;
            }
        }
    }

    std::int64_t planeStep = 0;   // bytes between the planes of a fetched row
    std::int64_t imagePlane = 0;  // and of an image row
    std::int64_t lo = 0, hi = 0;  // pixels that may be read in place
    std::int64_t x0 = 0;          // image column of the block's first pixel
    int values = 1;               // values per pixel
};

// A fetched block, held whole.
class BlockFeed final : public RowFeed {
public:
    explicit BlockFeed(const VskImage* block) : data_(block->imageData), step_(block->widthStep) {
        planeStep = std::int64_t{step_} * block->height;
    }
    SourceRow row(std::int64_t k) override { return {data_ + step_ * k, nullptr}; }

private:
    const char* data_;
    std::int64_t step_;
};

// The block of a buffered image, one row at a time: the image's own rows are
// read in place where the block covers them, the pixels beyond its left and
// right edges and rows beyond its top and bottom are fetched into a ring of
// nRows + 1 rows.
class StripFeed final : public RowFeed {
public:
    StripFeed(const VskImage* src, std::int64_t x, std::int64_t y, std::int64_t width,
              std::int64_t slots)
        : src_(src), y_(y), width_(width), slots_(slots) {
        x0 = x;
        values = pixelPitch(src);
        lo = std::clamp<std::int64_t>(-x, 0, width);
        hi = std::clamp<std::int64_t>(src->width - x, lo, width);
        imageStride_ = imageStride(src);
        imagePlane = imageStride_ * src->height;
    }
    ~StripFeed() override { vskFreeAligned(ring_); }
    StripFeed(const StripFeed&) = delete;
    StripFeed& operator=(const StripFeed&) = delete;

    // Takes the ring and fetches the first row; false when either fails.
    bool open() {
        // A ring past INT_MAX bytes is refused like a failed allocation,
        // before any product of the sizes could overflow.
        if (!fitsInt(x0) || !fitsInt(width_) || width_ * src_->nChannels > INT_MAX) return false;
        stride_ = rowBytes(src_->dataOrder, src_->depth, src_->align, src_->nChannels,
                           static_cast<int>(width_));
        planeStep = stride_;
        rowBytes_ = stride_ * planeCount(src_);
        if (slots_ > (INT_MAX - 64) / rowBytes_) return false;
        ring_ = static_cast<char*>(vskAllocAligned(static_cast<int>(rowBytes_ * slots_)));
        return ring_ && row(0).fetched;
    }

    SourceRow row(std::int64_t k) override {
        for (; next_ <= k; ++next_)
            if (!fetch(next_)) return {};
        return {slot(k), inPlace(y_ + k)};
    }

private:
    char* slot(std::int64_t k) const { return ring_ + (k % slots_) * rowBytes_; }

    // Image row y, when it lies whole inside the buffer (a row past the end
    // of a buffer that no longer matches its header is fetched as zeros).
    const char* inPlace(std::int64_t y) const {
        if (lo >= hi || y < 0 || y >= src_->height) return nullptr;
        const std::int64_t last = (planeCount(src_) - 1) * imagePlane + y * imageStride_;
        const std::int64_t bytes = std::int64_t{src_->width} * values * depthBytes(src_->depth);
        return last + bytes <= src_->dataSize ? src_->imageData + y * imageStride_ : nullptr;
    }

    bool fetch(std::int64_t k) const {
        const std::int64_t y = y_ + k;
        if (!fitsInt(y)) return false;
        auto part = [&](std::int64_t from, std::int64_t to) {
            const std::int64_t offset = from * values * depthBytes(src_->depth);
            return from >= to ||
                   fetchRectInto(src_, static_cast<int>(x0 + from), static_cast<int>(y),
                                 static_cast<int>(to - from), 1, slot(k) + offset, stride_);
        };
        if (!inPlace(y)) return part(0, width_);
        return part(0, lo) && part(hi, width_);
    }

    const VskImage* src_;
    std::int64_t y_, width_;
    std::int64_t slots_;
    std::int64_t imageStride_ = 0, stride_ = 0, rowBytes_ = 0;
    char* ring_ = nullptr;
    std::int64_t next_ = 0;
};

// ---- the destination ---------------------------------------------------------

// One channel of the destination: its first row at the rectangle's origin.
template <class T>
struct Plane {
    char* origin;
    std::int64_t step;
    int pitch;          // elements from one pixel to the next
    std::int64_t room;  // bytes of the buffer from origin on

    Plane(VskImage* image, int channel, int x, int y)
        : step(image->widthStep), pitch(pixelPitch(image)) {
        const std::int64_t plane =
            image->dataOrder == VSK_DATA_ORDER_PLANE ? step * image->height * channel : 0;
        const std::int64_t lead = image->dataOrder == VSK_DATA_ORDER_PLANE ? 0 : channel;
        const std::int64_t offset =
            plane + step * y +
            (std::int64_t{x} * pitch + lead) * static_cast<std::int64_t>(sizeof(T));
        origin = image->imageData + offset;
        room = image->dataSize - offset;
    }
    // Row r, or null when it does not start on a multiple of the value size
    // (a widthStep that is not one): such rows are written as bytes, by put.
    T* row(std::int64_t r) const {
        char* p = origin + step * r;
        return reinterpret_cast<std::uintptr_t>(p) % sizeof(T) ? nullptr : reinterpret_cast<T*>(p);
    }
    // Stores value j of row r as bytes.
    void put(std::int64_t r, std::int64_t j, T v) const {
        std::memcpy(origin + step * r + j * pitch * static_cast<std::int64_t>(sizeof(T)), &v, sizeof v);
    }
    // True when `cols` pixels of row r lie inside the buffer; rows past the end
    // of a buffer that no longer matches its header are not written.
    bool holds(std::int64_t r, int cols) const {
        const std::int64_t extent = ((std::int64_t{cols} - 1) * pitch + 1) * std::int64_t{sizeof(T)};
        return rowsInside(room, extent, step, r + 1) > r;
    }
};

// ---- the kernel --------------------------------------------------------------

// Column sums: 32-bit integers for the 8- and 16-bit depths (wrapping like
// the machine's registers); single precision for 32s, whose row sums are
// double precision.
template <class T>
using ColumnSum = std::conditional_t<std::is_same_v<T, std::int32_t>, float, std::uint32_t>;

// The channels that one array of column sums serves: all channels of the
// pixel in pixel order, one plane in plane order.
struct Group {
    int plane;        // source plane
    int first, last;  // channels, 0-based, inclusive
};

template <class T>
class BoxKernel {
public:
    BoxKernel(RowFeed& feed, const VskImage* like, VskImage* dst, const BlurBox& box, int rows,
              int cols)
        : feed_(feed),
          dst_(dst),
          box_(box),
          rows_(rows),
          cols_(cols),
          n_(pixelPitch(like)),
          planes_(like->dataOrder == VSK_DATA_ORDER_PLANE),
          r_(box.reciprocal),
          k_(boxRows()) {}

    void run() {
        if (box_.nRows == 1 && box_.nCols == 1) return copy();
        // Scratch past INT_MAX bytes is refused before its size can overflow.
        if (std::int64_t{cols_} + box_.nCols > INT_MAX / n_) return;
        // Column sums per group (one more pixel than the boxes need, as the
        // block has), the row sums of a piece with the pixel before it, and
        // the means of a piece or, for 32s, of a row.
        const std::int64_t span = (std::int64_t{cols_} + box_.nCols) * n_;
        const std::int64_t piece = std::int64_t{std::min(cols_, kPiece)} * n_;
        const std::int64_t colBytes = pageAlign(span * static_cast<std::int64_t>(sizeof(Col)));
        const std::int64_t sumBytes = isFloat ? 0 : kPage + align((piece + n_) * 4);
        const std::int64_t tmpBytes = align((isFloat ? std::int64_t{cols_} * n_ : piece) *
                                            static_cast<std::int64_t>(sizeof(T)));
        const std::int64_t bytes = groups() * colBytes + sumBytes + tmpBytes;
        if (bytes > INT_MAX - 64) return;
        char* scratch = static_cast<char*>(vskAllocAligned(static_cast<int>(bytes)));
        if (!scratch) return;
        std::memset(scratch, 0, static_cast<std::size_t>(bytes));
        cols0_ = reinterpret_cast<Col*>(scratch);
        colStep_ = colBytes / static_cast<std::int64_t>(sizeof(Col));
        sums_ = scratch + groups() * colBytes;
        tmp_ = reinterpret_cast<T*>(sums_ + sumBytes);
        sweep(span);
        vskFreeAligned(scratch);
    }

private:
    using Col = ColumnSum<T>;
    static constexpr bool isFloat = std::is_same_v<T, std::int32_t>;
    static constexpr std::int64_t kPage = 4096;
    static std::int64_t align(std::int64_t bytes) { return (bytes + 31) & ~std::int64_t{31}; }
    static std::int64_t pageAlign(std::int64_t bytes) { return (bytes + kPage - 1) & ~(kPage - 1); }

    // Where to run the row sums along column sums from `col` on: less than a
    // page into the scratch, half a page or so (modulo the page size) from
    // both column sums that the kernel loads next (a load whose address
    // matches a pending store's in the low 12 bits waits for that store).
    std::int32_t* sumsFor(const Col* col) const {
        const std::int64_t boxSpan = (std::int64_t{box_.nCols} * n_ * 4) % kPage;
        // The distances from the stores to the leaving and to the entering
        // column sums: d and d + boxSpan (modulo a page).
        const std::int64_t d =
            boxSpan <= 3 * kPage / 4 ? kPage / 2 - boxSpan / 2 : kPage - boxSpan / 2;
        const auto at = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(sums_) % kPage);
        const auto c = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(col) % kPage);
        const std::int64_t skip = ((c - d - at) % kPage + 2 * kPage) % kPage & ~std::int64_t{15};
        return reinterpret_cast<std::int32_t*>(sums_ + skip);
    }

    int groups() const { return planes_ ? box_.last - box_.first + 1 : 1; }
    Group group(int g) const {
        if (planes_) return {box_.first + g, box_.first + g, box_.first + g};
        return {0, box_.first, box_.last};
    }
    Col* colOf(int g) const { return cols0_ + g * colStep_; }
    Plane<T> out(int c) const { return Plane<T>(dst_, c, roiX(dst_), roiY(dst_)); }

    // Column sums [from, to) of plane p gain row r.
    void add(Col* col, const SourceRow& r, int p, std::int64_t from, std::int64_t to) const {
        feed_.pieces(from, to, [&](std::int64_t a, std::int64_t b) {
            const T* src = feed_.at<T>(r, p, a);
            if constexpr (isFloat)
                k_.addFloat(col + a, src, b - a);
            else
                k_.template of<T>().add(col + a, src, b - a);
        });
    }

    void sweep(std::int64_t span) {
        const int nR = box_.nRows;
        for (int k = 0; k < nR; ++k) {
            const SourceRow row = feed_.row(k);
            if (!row.fetched) return;
            for (int g = 0; g < groups(); ++g) add(colOf(g), row, group(g).plane, 0, span);
        }
        for (int i = 0; i < rows_; ++i) {
            // Each column sum moves down one row after the first.
            Moves moves;
            if (i > 0 && nR > 0) {
                moves.leave = feed_.row(i - 1);
                moves.enter = feed_.row(std::int64_t{i} - 1 + nR);
                if (!moves.enter.fetched) return;
            }
            for (int g = 0; g < groups(); ++g) {
                moves.col = colOf(g);
                moves.plane = group(g).plane;
                moves.done = 0;
                means(i, group(g), moves, span);
            }
        }
    }

    // The column sums of a group, moved down a row in the course of one
    // output row (when `enter` is set) just ahead of the row sums that read
    // them, while they are still in the first-level cache.
    struct Moves {
        Col* col = nullptr;
        SourceRow enter, leave;
        int plane = 0;
        std::int64_t done = 0;
    };
    void moveTo(Moves& m, std::int64_t end) const {
        if (!m.enter.fetched || end <= m.done) return;
        feed_.pieces(m.done, end, [&](std::int64_t a, std::int64_t b) {
            const T* enter = feed_.at<T>(m.enter, m.plane, a);
            const T* leave = feed_.at<T>(m.leave, m.plane, a);
            if constexpr (isFloat)
                k_.slideFloat(m.col + a, enter, leave, b - a);
            else
                k_.template of<T>().slide(m.col + a, enter, leave, b - a);
        });
        m.done = end;
    }

    // Destination row i of a group's channels when the n values of each
    // pixel can be stored as they come: every channel of the source pixel
    // at the same pitch, each holding the row.
    T* whole(int i, const Group& g) const {
        if (g.last - g.first + 1 != n_ || out(g.first).pitch != n_) return nullptr;
        for (int c = g.first; c <= g.last; ++c)
            if (!out(c).holds(i, cols_)) return nullptr;
        return out(g.first).row(i);
    }

    // Stores pixels [p0, p0 + len) of row i from `values` (n per pixel, from
    // the group's plane or pixel start) into the group's channels that hold
    // the row.
    void scatter(int i, const Group& g, const T* values, std::int64_t p0, std::int64_t len) const {
        for (int c = g.first; c <= g.last; ++c) {
            const Plane<T> o = out(c);
            if (!o.holds(i, cols_)) continue;
            const T* s = values + (planes_ ? 0 : c);
            for (std::int64_t j = 0; j < len; ++j) o.put(i, p0 + j, s[j * n_]);
        }
    }

    void means(int i, const Group& g, Moves& m, std::int64_t all) {
        const std::int64_t span = std::int64_t{box_.nCols} * n_;
        const Col* col = m.col;
        T* direct = whole(i, g);
        if constexpr (isFloat) {
            moveTo(m, all);
            k_.meansFloat(col, direct ? direct : tmp_, n_, span, std::int64_t{cols_} * n_, r_);
            if (!direct) scatter(i, g, tmp_, 0, cols_);
        } else {
            const IntBoxRows<T>& k = k_.template of<T>();
            const std::int32_t* from = nullptr;
            std::int64_t len = 0;
            for (std::int64_t p0 = 0; p0 < cols_; p0 += len) {
                const std::int64_t last = len;  // pixels of the previous piece
                len = std::min<std::int64_t>(kPiece, cols_ - p0);
                // The boxes of the piece reach nCols - 1 pixels past it.
                moveTo(m, std::min(all, (p0 + len - 1) * n_ + span));
                if (p0 == 0) {
                    // The first box of the row.
                    std::int32_t* sums = sumsFor(col);
                    for (int c = 0; c < n_; ++c) {
                        std::uint32_t sum = 0;
                        for (std::int64_t x = c; x < span; x += n_) sum += col[x];
                        sums[c] = static_cast<std::int32_t>(sum);
                    }
                    k_.runSums(col, sums, n_, span, len * n_);
                    from = sums;
                } else {
                    // Carries on from the last pixel of the previous piece.
                    const Col* at = col + (p0 - 1) * n_;
                    std::int32_t* sums = sumsFor(at);
                    std::memmove(sums, from + (last - 1) * n_, sizeof(std::int32_t) * n_);
                    k_.runSums(at, sums, n_, span, (len + 1) * n_);
                    from = sums + n_;
                }
                if (direct) {
                    k.means(from, direct + p0 * n_, len * n_, r_);
                } else {
                    k.means(from, tmp_, len * n_, r_);
                    scatter(i, g, tmp_, p0, len);
                }
            }
            moveTo(m, all);
        }
    }

    // A box of one pixel is a copy; nothing is scaled.
    void copy() {
        for (int i = 0; i < rows_; ++i) {
            const SourceRow row = feed_.row(i);
            if (!row.fetched) return;
            for (int g = 0; g < groups(); ++g)
                feed_.pieces(0, std::int64_t{cols_} * n_, [&](std::int64_t a, std::int64_t b) {
                    scatter(i, group(g), feed_.at<T>(row, group(g).plane, a), a / n_, (b - a) / n_);
                });
        }
    }

    RowFeed& feed_;
    VskImage* dst_;
    const BlurBox& box_;
    int rows_, cols_, n_;
    bool planes_;
    double r_;
    const BoxRows& k_;
    Col* cols0_ = nullptr;
    std::int64_t colStep_ = 0;
    char* sums_ = nullptr;
    T* tmp_ = nullptr;
};

template <class T>
void blurWith(RowFeed& feed, const VskImage* like, VskImage* dst, const BlurBox& box, int rows,
              int cols) {
    BoxKernel<T>(feed, like, dst, box, rows, cols).run();
}

void blurFeed(RowFeed& feed, const VskImage* like, VskImage* dst, const BlurBox& box, int rows,
              int cols) {
    dispatchDepth(like->depth,
                  [&](auto t) { blurWith<decltype(t)>(feed, like, dst, box, rows, cols); });
}

}  // namespace

void blurBlock(const VskImage* block, VskImage* dst, const BlurBox& box, int rows, int cols) {
    if (rows <= 0 || cols <= 0 || box.first > box.last) return;
    BlockFeed feed(block);
    blurFeed(feed, block, dst, box, rows, cols);
}

bool readsInStrips(const VskImage* src, const VskImage* dst) {
    if (!src->imageData || src->tileInfo) return false;
    if (!dst->imageData) return true;
    const auto s = reinterpret_cast<std::uintptr_t>(src->imageData);
    const auto d = reinterpret_cast<std::uintptr_t>(dst->imageData);
    const auto sEnd = s + static_cast<std::uintptr_t>(std::max(src->dataSize, 0));
    const auto dEnd = d + static_cast<std::uintptr_t>(std::max(dst->dataSize, 0));
    return sEnd <= d || dEnd <= s;
}

void blurStrips(const VskImage* src, std::int64_t sx, std::int64_t sy, VskImage* dst,
                const BlurBox& box, int rows, int cols) {
    if (rows <= 0 || cols <= 0 || box.first > box.last) return;
    StripFeed feed(src, sx, sy, std::int64_t{cols} + box.nCols, std::int64_t{box.nRows} + 1);
    if (!feed.open()) return;
    blurFeed(feed, src, dst, box, rows, cols);
}

}  // namespace vsk
