// The rectangle fetch: any rectangle of an image, reaching outside it on any
// side, into a new buffer; outside pixels follow the image's border modes.
#include <algorithm>
#include <cstring>

#include "bits.hpp"
#include "tiles.hpp"

namespace {

using vsk::Site;

// Where the pixels of an image (or of a gathered part of it) are read from.
struct View {
    const char* base = nullptr;
    std::int64_t stride = 0;       // bytes per row
    std::int64_t planeStride = 0;  // bytes per plane
    std::int64_t x0 = 0, y0 = 0;   // image position of the view's first pixel
    std::int64_t limit = INT64_MAX;  // bytes readable from base
};

struct Layout {
    int planes = 1;       // planes in the buffer
    // Bytes per pixel within one plane (0 for 1-bit), in 64 bits: a header
    // grown to 2^31 - 1 channels has pixels of more than INT_MAX bytes.
    std::int64_t pixelBytes = 0;
    bool bits = false;    // 1-bit data
};

// Maps a position outside [0, n) back into the image by a border mode.
std::int64_t mapIndex(int mode, std::int64_t i, std::int64_t n) {
    switch (mode & 3) {
        case VSK_BORDER_REPLICATE: return std::clamp<std::int64_t>(i, 0, n - 1);
        case VSK_BORDER_REFLECT: {
            const std::int64_t period = 2 * n;
            std::int64_t j = ((i % period) + period) % period;
            return j >= n ? period - 1 - j : j;
        }
        case VSK_BORDER_WRAP: return ((i % n) + n) % n;
        default: return -1;  // constant
    }
}

// Copies `count` pixels of one plane row from the view (image column sx) into
// the output row at column dx.
void copyRun(const Layout& L, char* out, std::int64_t dx, const char* in, std::int64_t sx,
             std::int64_t count) {
    if (count <= 0) return;
    if (!in) {
        // An unreadable row gives zeros (1-bit buffers start cleared).
        if (!L.bits) std::memset(out + dx * L.pixelBytes, 0, static_cast<std::size_t>(count * L.pixelBytes));
        return;
    }
    if (L.bits) {
        for (std::int64_t k = 0; k < count; ++k) vsk::putBit(out, dx + k, vsk::getBit(in, sx + k));
        return;
    }
    std::memcpy(out + dx * L.pixelBytes, in + sx * L.pixelBytes,
                static_cast<std::size_t>(count * L.pixelBytes));
}

// Writes one channel-widened constant over `count` pixels of an output row.
void fillRun(const Layout& L, char* out, std::int64_t dx, std::int64_t count,
             std::uint32_t pattern) {
    if (count <= 0) return;
    if (L.bits) {
        for (std::int64_t k = 0; k < count; ++k) vsk::putBit(out, dx + k, pattern != 0);
        return;
    }
    char* p = out + dx * L.pixelBytes;
    const std::int64_t bytes = count * L.pixelBytes;
    // The pattern repeats every 4 bytes and every pixel starts at a multiple
    // of the value size, so a byte-wise repeat of the word is the fill.
    unsigned char word[4];
    std::memcpy(word, &pattern, 4);
    for (std::int64_t k = 0; k < bytes; ++k) p[k] = static_cast<char>(word[k & 3]);
}

// Fills the whole rectangle from a view of the image.
void fillFromView(const VskImage* image, const Layout& L, const View& v, char* buffer,
                  std::int64_t stride, std::int64_t x, std::int64_t y, std::int64_t width,
                  std::int64_t height) {
    const std::int64_t W = image->width, H = image->height;
    const std::int64_t ix0 = std::max<std::int64_t>(x, 0), ix1 = std::min(x + width, W);
    const std::int64_t inside = std::max<std::int64_t>(ix1 - ix0, 0);
    const std::int64_t planeOut = stride * height;

    for (int p = 0; p < L.planes; ++p) {
        for (std::int64_t r = 0; r < height; ++r) {
            char* out = buffer + p * planeOut + r * stride;
            const std::int64_t yy = y + r;
            const int side = yy < 0 ? 0 : (yy >= H ? 1 : -1);  // top, bottom, or an image row
            std::int64_t sy = yy;
            int leftMode, rightMode, leftSide = 2, rightSide = 3;
            if (side >= 0) {
                const int mode = image->borderModes[side];
                if ((mode & 3) == VSK_BORDER_CONSTANT) {
                    // Constant rows are stored over whole 32-bit words, padding included.
                    const std::uint32_t pattern =
                        vsk::widenToWord(image->depth, static_cast<std::uint32_t>(image->borderValues[side]));
                    for (std::int64_t k = 0; k < stride; k += 4) std::memcpy(out + k, &pattern, 4);
                    continue;
                }
                // Corners of the top and bottom bands follow the band's own mode.
                sy = mapIndex(mode, yy, H);
                leftMode = rightMode = mode;
                leftSide = rightSide = side;
            } else {
                leftMode = image->borderModes[2];
                rightMode = image->borderModes[3];
            }
            // No view when every pixel of the rectangle is a constant.
            const char* in = v.base ? v.base + p * v.planeStride + (sy - v.y0) * v.stride : nullptr;
            // A row past the end of a buffer that no longer matches its header reads as zeros.
            if (in && (in - v.base) + (L.bits ? (W + 7) / 8 : W * L.pixelBytes) > v.limit) in = nullptr;
            auto outside = [&](std::int64_t from, std::int64_t to, int mode, int s) {
                if ((mode & 3) == VSK_BORDER_CONSTANT) {
                    fillRun(L, out, from - x, to - from,
                            vsk::widenToWord(image->depth, static_cast<std::uint32_t>(image->borderValues[s])));
                    return;
                }
                for (std::int64_t xx = from; xx < to; ++xx)
                    copyRun(L, out, xx - x, in, mapIndex(mode, xx, W) - v.x0, 1);
            };
            outside(x, std::min(x + width, ix0), leftMode, leftSide);
            copyRun(L, out, ix0 - x, in, ix0 - v.x0, inside);
            outside(std::max(x, ix1), x + width, rightMode, rightSide);
        }
    }
}

// The image rows or columns that the rectangle's pixels are read from, as a
// range [lo, hi); empty when every pixel is a constant.
struct Need {
    std::int64_t lo = INT64_MAX, hi = INT64_MIN;
    void add(std::int64_t v) {
        lo = std::min(lo, v);
        hi = std::max(hi, v + 1);
    }
    void addRange(int mode, std::int64_t from, std::int64_t to, std::int64_t n) {
        if (from >= to || (mode & 3) == VSK_BORDER_CONSTANT) return;
        // Mapped positions of a run: endpoints suffice for replicate; reflect
        // and wrap cover the whole image once the run spans a period.
        if ((mode & 3) == VSK_BORDER_REPLICATE || to - from >= n) {
            add(mapIndex(mode, from, n));
            add(mapIndex(mode, to - 1, n));
            if (to - from >= n && (mode & 3) != VSK_BORDER_REPLICATE) {
                add(0);
                add(n - 1);
            }
            return;
        }
        for (std::int64_t i = from; i < to; ++i) add(mapIndex(mode, i, n));
    }
    bool empty() const { return lo >= hi; }
};

// What the fetch refuses, returning null without a report.
bool fetchable(const VskImage* image, int width, int height) {
    if (!image) return false;
    if (image->dataOrder != 0 && image->dataOrder != 1) return false;
    if (!vsk::isValidDepth(image->depth)) return false;
    if (image->align != 4 && image->align != 8) return false;
    // Geometry that cannot be read safely is refused like a failed allocation.
    if (width < 0 || height < 0 || image->width <= 0 || image->height <= 0 ||
        image->nChannels <= 0 || (image->depth == VSK_1U && image->nChannels != 1))
        return false;
    const bool tiled = image->tileInfo != nullptr;
    if (tiled == (image->imageData != nullptr)) return false;
    if (tiled && (!image->tileInfo->callBack || image->tileInfo->width <= 0 ||
                  image->tileInfo->height <= 0))
        return false;
    return true;
}

Layout layoutOf(const VskImage* image) {
    Layout L;
    L.planes = vsk::planeCount(image);
    L.bits = image->depth == VSK_1U;
    L.pixelBytes = std::int64_t{vsk::depthBytes(image->depth)} *
                   (image->dataOrder == VSK_DATA_ORDER_PLANE ? 1 : image->nChannels);
    return L;
}

View viewOf(const VskImage* image) {
    View v;
    v.base = image->imageData;
    v.stride = vsk::imageStride(image);
    v.planeStride = v.stride * image->height;
    v.limit = image->dataSize;
    return v;
}

}  // namespace

bool vsk::fetchRectInto(const VskImage* image, int x, int y, int width, int height, char* buffer,
                        std::int64_t stride) {
    if (!fetchable(image, width, height) || image->tileInfo) return false;
    fillFromView(image, layoutOf(image), viewOf(image), buffer, stride, x, y, width, height);
    return true;
}

extern "C" void* VSK_CALL vskGetRect(const VskImage* image, int x, int y, int width, int height,
                                     int* widthStep) {
    if (!fetchable(image, width, height)) return nullptr;
    const bool tiled = image->tileInfo != nullptr;
    const Layout L = layoutOf(image);
    const std::int64_t stride =
        vsk::rowBytes(image->dataOrder, image->depth, image->align, image->nChannels, width);
    // Saturated products: 2^31 - 1 planes of a large rectangle overflow 64 bits.
    const std::int64_t size = vsk::mulSat(vsk::mulSat(stride, height), L.planes);
    if (!vsk::fitsInt(stride) || size > INT_MAX - 64) return nullptr;
    char* buffer = static_cast<char*>(vskAllocAligned(static_cast<int>(size)));
    if (!buffer) return nullptr;
    if (L.bits) {
        std::memset(buffer, 0, static_cast<std::size_t>(size));
    } else {
        // Row padding is never left undefined.
        const std::int64_t used = static_cast<std::int64_t>(width) * L.pixelBytes;
        if (used < stride)
            for (std::int64_t r = 0; r < height * L.planes; ++r)
                std::memset(buffer + r * stride + used, 0, static_cast<std::size_t>(stride - used));
    }
    if (widthStep) *widthStep = static_cast<int>(stride);
    if (width == 0 || height == 0) return buffer;

    const std::int64_t W = image->width, H = image->height;
    const std::int64_t X = x, Y = y, X1 = X + width, Y1 = Y + height;
    if (!tiled) {
        fillFromView(image, L, viewOf(image), buffer, stride, X, Y, width, height);
        return buffer;
    }
    View v;

    if (X >= 0 && Y >= 0 && X1 <= W && Y1 <= H) {
        // All inside: the tiles are copied straight into the result.
        if (!vsk::gatherTiles(image, X, Y, X1, Y1, {buffer, stride, stride * height},
                              VSK_TILE_READ, vsk::TileHold::Row)) {
            vskFreeAligned(buffer);
            return nullptr;
        }
        return buffer;
    }

    // The rows and columns of the image that the rectangle reads, outside
    // pixels included, are gathered first; then the rectangle is filled.
    Need rows, cols;
    const std::int64_t ix0 = std::max<std::int64_t>(X, 0), ix1 = std::min(X1, W);
    const std::int64_t iy0 = std::max<std::int64_t>(Y, 0), iy1 = std::min(Y1, H);
    if (iy0 < iy1) {
        rows.add(iy0);
        rows.add(iy1 - 1);
        if (ix0 < ix1) {
            cols.add(ix0);
            cols.add(ix1 - 1);
        }
        cols.addRange(image->borderModes[2], X, std::min(X1, std::int64_t{0}), W);
        cols.addRange(image->borderModes[3], std::max(X, W), X1, W);
    }
    for (int side = 0; side < 2; ++side) {
        const std::int64_t from = side == 0 ? Y : std::max(Y, H);
        const std::int64_t to = side == 0 ? std::min(Y1, std::int64_t{0}) : Y1;
        const int mode = image->borderModes[side];
        if (from >= to || (mode & 3) == VSK_BORDER_CONSTANT) continue;
        rows.addRange(mode, from, to, H);
        if (ix0 < ix1) {
            cols.add(ix0);
            cols.add(ix1 - 1);
        }
        cols.addRange(mode, X, std::min(X1, std::int64_t{0}), W);
        cols.addRange(mode, std::max(X, W), X1, W);
    }
    if (rows.empty() || cols.empty()) {
        fillFromView(image, L, v, buffer, stride, X, Y, width, height);
        return buffer;
    }
    const std::int64_t boxStride = vsk::rowBytes(image->dataOrder, image->depth, image->align,
                                                 image->nChannels,
                                                 static_cast<int>(cols.hi - cols.lo));
    // Saturated: a box of 2^31 - 1 rows of a wide image is refused, not overflowed.
    const std::int64_t boxSize = vsk::mulSat(vsk::mulSat(boxStride, rows.hi - rows.lo), L.planes);
    char* box = boxSize <= INT_MAX - 64 ? static_cast<char*>(vskAllocAligned(static_cast<int>(boxSize)))
                                        : nullptr;
    if (!box) {
        vskFreeAligned(buffer);
        return nullptr;
    }
    if (L.bits) std::memset(box, 0, static_cast<std::size_t>(boxSize));
    if (!vsk::gatherTiles(image, cols.lo, rows.lo, cols.hi, rows.hi,
                          {box, boxStride, boxStride * (rows.hi - rows.lo)}, VSK_TILE_READ,
                          vsk::TileHold::Row)) {
        vskFreeAligned(box);
        vskFreeAligned(buffer);
        return nullptr;
    }
    v.base = box;
    v.stride = boxStride;
    v.planeStride = boxStride * (rows.hi - rows.lo);
    v.x0 = cols.lo;
    v.y0 = rows.lo;
    fillFromView(image, L, v, buffer, stride, X, Y, width, height);
    vskFreeAligned(box);
    return buffer;
}
