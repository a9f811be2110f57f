// Copy, exchange and fill of regions of interest, for buffered and tiled
// images.
#include <algorithm>
#include <cstring>

#include "bitrun.hpp"
#include "element_rows.hpp"
#include "numeric.hpp"
#include "tiles.hpp"
#include "view.hpp"

namespace {

using vsk::Site;

constexpr const char* kFile = "vskSCE";
constexpr const char* kWriteFailed = "Error get tile to write";
constexpr const char* kReadFailed = "Error get tile to read";

// ---- rows of one image's clipped ROI -----------------------------------------

// One image's side of a plain kernel: where its rows start and how far each
// row reaches.
struct Lane {
    VskImage* image;
    vsk::RoiRect rect;
    std::int64_t offset;  // of the rectangle's first row from imageData
    std::int64_t step;    // row stride
    std::int64_t plane;   // plane stride
    std::int64_t extent;  // bytes a row of the kernel touches from its start

    explicit Lane(VskImage* img)
        : image(img),
          rect(vsk::roiRect(img)),
          offset(rect.start - img->imageData),
          step(vsk::imageStride(img)),
          plane(step * img->height),
          extent(0) {}

    // Rows reach `values` values of `bytes` bytes each, `stride` values apart
    // (1-bit: `values` bits from the rectangle's first column).
    void reach(std::int64_t values, int bytes, int stride) {
        extent = bytes == 0 ? (rect.x + values - 1) / 8 + 1 : ((values - 1) * stride + 1) * bytes;
    }

    // How many of the first `rows` rows of plane p lie wholly inside the
    // buffer.
    int rowsInside(int p, int rows) const {
        const std::int64_t start = offset + p * plane;
        if (start < 0) return 0;
        return static_cast<int>(vsk::rowsInside(image->dataSize - start, extent, step, rows));
    }

    char* row(int p, int r) const { return image->imageData + offset + p * plane + r * step; }
};

// Calls row(a, b) for the matching rows of two lanes, plane by plane, top to
// bottom.
template <class F>
void eachRow(const Lane& a, const Lane& b, int planes, int rows, F&& row) {
    for (int p = 0; p < planes; ++p) {
        const int n = std::min(a.rowsInside(p, rows), b.rowsInside(p, rows));
        for (int r = 0; r < n; ++r) row(a.row(p, r), b.row(p, r));
    }
}

template <class F>
void eachRow(const Lane& a, int planes, int rows, F&& row) {
    for (int p = 0; p < planes; ++p) {
        const int n = a.rowsInside(p, rows);
        for (int r = 0; r < n; ++r) row(a.row(p, r));
    }
}

// ---- plain copy and exchange kernels -------------------------------------------

template <bool Swap>
void moveBytes(char* s, char* d, std::size_t n) {
    if constexpr (Swap)
        std::swap_ranges(s, s + n, d);
    else
        std::memcpy(d, s, n);
}

// One value of B bytes per pixel, the two images stepping by their own
// pixel sizes. Values are moved bytewise: tiles need not be aligned.
template <bool Swap, int B>
void moveChannel(char* s, std::int64_t sStep, char* d, std::int64_t dStep, std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i, s += sStep, d += dStep) {
        if constexpr (Swap) {
            char held[B];
            std::memcpy(held, d, B);
            std::memcpy(d, s, B);
            std::memcpy(s, held, B);
        } else {
            std::memcpy(d, s, B);
        }
    }
}

template <bool Swap>
void plainTransfer(VskImage* src, VskImage* dst) {
    Lane s(src), d(dst);
    // One image with a channel of interest and the other with several
    // channels: nothing to do, and nothing to report.
    if (s.rect.channels != d.rect.channels) return;
    const int rows = std::min(s.rect.rows, d.rect.rows);
    std::int64_t cols = std::min(s.rect.cols, d.rect.cols);
    if (rows <= 0 || cols <= 0) return;

    const int bytes = vsk::depthBytes(src->depth);
    const bool planar = src->dataOrder == VSK_DATA_ORDER_PLANE;
    const int planes = planar ? s.rect.channels : 1;
    const bool runs = planar || (src->nChannels == dst->nChannels &&
                                 s.rect.channels == src->nChannels);
    if (!planar && runs) cols *= src->nChannels;

    if (bytes == 0) {
        s.reach(cols, 0, 1);
        d.reach(cols, 0, 1);
        const int sx = s.rect.x, dx = d.rect.x;
        eachRow(s, d, planes, rows, [&](char* a, char* b) {
            auto* pa = reinterpret_cast<std::uint8_t*>(a);
            auto* pb = reinterpret_cast<std::uint8_t*>(b);
            if constexpr (Swap)
                vsk::swapBits(pa, sx, pb, dx, cols);
            else
                vsk::copyBits(pa, sx, pb, dx, cols);
        });
        return;
    }
    if (runs) {
        s.reach(cols, bytes, 1);
        d.reach(cols, bytes, 1);
        const auto n = static_cast<std::size_t>(cols) * bytes;
        if constexpr (!Swap) {
            // Rows of the two images that share no byte go through the
            // table's copy (short rows, as in tiles, in vector blocks).
            const vsk::CopyRows copy = vsk::elementRows().copy;
            for (int p = 0; p < planes; ++p) {
                const int inside = std::min(s.rowsInside(p, rows), d.rowsInside(p, rows));
                char* from = s.row(p, 0);
                char* to = d.row(p, 0);
                if (inside > 0 && vsk::rowsApart(to, d.step, from, s.step, inside,
                                                 static_cast<std::int64_t>(n)))
                    copy(from, s.step, to, d.step, inside, static_cast<std::int64_t>(n));
                else
                    for (int r = 0; r < inside; ++r) moveBytes<Swap>(s.row(p, r), d.row(p, r), n);
            }
            return;
        }
        eachRow(s, d, planes, rows, [&](char* a, char* b) { moveBytes<Swap>(a, b, n); });
        return;
    }
    // One channel in pixel order: the starts already point at the channel of
    // interest (or at the only channel).
    s.reach(cols, bytes, src->nChannels);
    d.reach(cols, bytes, dst->nChannels);
    const std::int64_t ss = std::int64_t{src->nChannels} * bytes;
    const std::int64_t ds = std::int64_t{dst->nChannels} * bytes;
    auto run = [&](auto kernel) {
        eachRow(s, d, planes, rows, [&](char* a, char* b) { kernel(a, ss, b, ds, cols); });
    };
    // Values move unchanged: one kernel per element size.
    vsk::dispatchDepth(src->depth, [&](auto t) { run(moveChannel<Swap, sizeof(t)>); });
}

// ---- copy and exchange ---------------------------------------------------------

// What tells copy and exchange apart: reported name, lines, the mode a tiled
// source is taken with, and the plain kernel.
struct TransferOp {
    Site site;
    int srcLine, dstLine, compatLine;
    int dstTiledLine, srcTiledLine, bothTiledLine;
    int srcTileMode;
    bool swap;
};

const TransferOp kCopy{{"vskCopy", kFile}, 54, 55, 56, 353, 255, 148, VSK_TILE_READ, false};
// A tiled source is written too, so its tiles are taken for writing.
const TransferOp kExchange{{"vskExchange", kFile}, 637, 638, 639, 957, 859, 733,
                           VSK_TILE_WRITE, true};

void transfer(const TransferOp& op, VskImage* src, VskImage* dst, const int* dstTile) {
    if (vsk::reportBadHeader(src, op.site, op.srcLine)) return;
    if (vsk::reportBadHeader(dst, op.site, op.dstLine)) return;
    vskCheckCompatible(src, dst, op.site.func, op.site.file, op.compatLine);
    // Deliberately also stops while an earlier, unrelated call has left the
    // status negative: nothing is copied until the status is cleared.
    if (vsk::statusNegative()) return;

    const bool srcTiled = src->tileInfo != nullptr, dstTiled = dst->tileInfo != nullptr;
    if (!srcTiled && !dstTiled) {
        if (op.swap)
            plainTransfer<true>(src, dst);
        else
            plainTransfer<false>(src, dst);
        return;
    }

    vsk::TileRange range;
    if (!vsk::twoImageTileRange(dstTiled ? dst : src, src, dst, &range)) return;

    if (!srcTiled) {
        // Each destination tile receives the matching part of the source.
        const vsk::TileWalk walk{dst, VSK_TILE_WRITE, op.site, kWriteFailed, op.dstTiledLine, src};
        const vsk::StreamingStores streaming(vsk::largeWalk(dst, range.rows, range.cols));
        vsk::walkTiles(walk, range, dstTile, [&](VskImage* tile, const vsk::TilePart&) {
            transfer(op, src, tile, nullptr);
            return true;
        });
        return;
    }
    if (!dstTiled) {
        const vsk::TileWalk walk{src, op.srcTileMode, op.site, kReadFailed, op.srcTiledLine, dst};
        vsk::walkTiles(walk, range, nullptr, [&](VskImage* tile, const vsk::TilePart&) {
            transfer(op, tile, dst, nullptr);
            return true;
        });
        return;
    }

    // Both tiled: each destination tile part receives the matching source
    // rectangle, fetched into a buffer.
    const vsk::TileWalk walk{dst, VSK_TILE_WRITE, op.site, kWriteFailed, op.bothTiledLine, nullptr};
    const int sx = vsk::roiX(src), sy = vsk::roiY(src);
    vsk::walkTiles(walk, range, dstTile, [&](VskImage* tile, const vsk::TilePart& part) {
        // The source part as a buffered image with the source's channel of
        // interest. A failed fetch ends the call; the destination tile is not
        // released.
        vsk::FetchedImage fetched;
        if (!fetched.fetch(src, sx + part.offX, sy + part.offY, part.width, part.height) ||
            vsk::statusNegative())
            return false;
        fetched.view().roi(vsk::roiCoi(src), 0, 0, part.height, part.width);
        if (op.swap) {
            // The destination part goes into the source first, through the
            // source's own tiled path.
            VskROI rect{vsk::roiCoi(src), sx + part.offX, sy + part.offY, part.height, part.width};
            const vsk::RoiSwap swap(src, &rect);
            transfer(kCopy, tile, src, nullptr);
        }
        transfer(kCopy, fetched.get(), tile, nullptr);
        return true;
    });
}

// ---- fill ------------------------------------------------------------------------

// `count` values, `stride` values apart. Adjacent values whose bytes are all
// alike are one memset; other adjacent values get a loop of their own, whose
// fixed step the compiler vectorises.
template <class T>
void fillValues(char* p, std::int64_t stride, std::int64_t count, T v) {
    if (stride == 1) {
        unsigned char bytes[sizeof v];
        std::memcpy(bytes, &v, sizeof v);
        if (std::all_of(bytes, bytes + sizeof v, [&](unsigned char b) { return b == bytes[0]; })) {
            std::memset(p, bytes[0], static_cast<std::size_t>(count) * sizeof v);
            return;
        }
        for (std::int64_t i = 0; i < count; ++i) std::memcpy(p + i * sizeof v, &v, sizeof v);
        return;
    }
    for (std::int64_t i = 0; i < count; ++i) std::memcpy(p + i * stride * sizeof v, &v, sizeof v);
}

// Fills the runs of `cols` adjacent values of every row of every plane. Rows
// that follow one another without padding between them (and planes without a
// gap) are filled as one run: a single large fill is much faster than one
// per row. Padding is never written.
template <class T>
void fillRuns(const Lane& a, int planes, int rows, std::int64_t cols, T v) {
    const std::int64_t rowBytes = cols * std::int64_t{sizeof v};
    if (a.step != rowBytes) {
        eachRow(a, planes, rows, [&](char* row) { fillValues(row, 1, cols, v); });
        return;
    }
    int inside = rows;
    for (int p = 0; p < planes; ++p) inside = std::min(inside, a.rowsInside(p, rows));
    if (inside == rows && (planes == 1 || a.plane == rows * a.step)) {
        fillValues(a.row(0, 0), 1, planes * std::int64_t{rows} * cols, v);
        return;
    }
    for (int p = 0; p < planes; ++p)
        fillValues(a.row(p, 0), 1, a.rowsInside(p, rows) * cols, v);
}

const Site kSet{"vskSet", kFile};

void plainFill(VskImage* image, int value) {
    Lane a(image);
    const int rows = a.rect.rows;
    std::int64_t cols = a.rect.cols;
    if (rows <= 0 || cols <= 0) return;
    const bool planar = image->dataOrder == VSK_DATA_ORDER_PLANE;
    const int planes = planar ? a.rect.channels : 1;
    const bool runs = planar || a.rect.channels == image->nChannels;
    if (!planar && runs) cols *= image->nChannels;

    if (image->depth == VSK_1U) {
        const bool bit = value >= 1;  // below 0 gives 0, 2 or more gives 1
        const int x = a.rect.x;
        a.reach(cols, 0, 1);
        eachRow(a, planes, rows, [&](char* row) {
            vsk::fillBits(reinterpret_cast<std::uint8_t*>(row), x, cols, bit);
        });
        return;
    }
    const int stride = runs ? 1 : image->nChannels;
    vsk::dispatchDepth(image->depth, [&](auto zero) {
        using T = decltype(zero);
        const T v = vsk::saturate<T>(value);  // 32-bit values pass as given
        a.reach(cols, sizeof(T), stride);
        if (runs)
            fillRuns(a, planes, rows, cols, v);
        else
            eachRow(a, planes, rows, [&](char* row) { fillValues(row, stride, cols, v); });
    });
}

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskCopy(VskImage* srcImage, VskImage* dstImage, const int* dstTile) {
    transfer(kCopy, srcImage, dstImage, dstTile);
}

void VSK_CALL vskExchange(VskImage* srcImage, VskImage* dstImage, const int* dstTile) {
    transfer(kExchange, srcImage, dstImage, dstTile);
}

VSK_API void VSK_CALL tvskSet(VskImage* image, int fillValue, const int* dstTile) {
    // The header is the only check: the fill does not consult the status.
    if (vsk::reportBadHeader(image, kSet, 479)) return;
    if (!image->tileInfo) {
        plainFill(image, fillValue);
        return;
    }
    vsk::TileRange range;
    if (!vsk::oneImageTileRange(image, &range)) return;
    const vsk::TileWalk walk{image, VSK_TILE_WRITE, kSet, kWriteFailed, 549, nullptr};
    vsk::walkTiles(walk, range, dstTile, [&](VskImage* tile, const vsk::TilePart&) {
        tvskSet(tile, fillValue, nullptr);
        return true;
    });
}

}  // extern "C"
