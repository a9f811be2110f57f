// The block engine of the compositing module.
#include "alpha_engine.hpp"

#include <algorithm>

#include "tiles.hpp"
#include "view.hpp"

namespace vsk::alpha {

void Extent::fold(const VskImage* image) {
    const RoiRect r = roiRect(image);
    rows = std::min(rows, r.rows);
    cols = std::min(cols, r.cols);
}

Layout layoutOf(const VskImage* image) {
    const std::int64_t stride = imageStride(image);
    const int bytes = depthBytes(image->depth);
    const bool plane = image->dataOrder == VSK_DATA_ORDER_PLANE;
    const int step = pixelPitch(image);
    Layout l;
    l.origin = image->imageData + roiY(image) * stride +
               static_cast<std::int64_t>(roiX(image)) * bytes * step;
    l.rowBytes = stride;
    l.channelBytes = plane ? stride * image->height : bytes;
    l.step = step;
    return l;
}

Layout constantLayout(const void* value) {
    Layout l;
    l.origin = static_cast<char*>(const_cast<void*>(value));
    return l;
}

int BlockSet::add(VskImage* image, int mode) {
    for (int i = 0; i < count_; ++i) {
        if (images_[i] == image) {
            if (mode == VSK_TILE_WRITE) modes_[i] = VSK_TILE_WRITE;
            return i;
        }
    }
    images_[count_] = image;
    modes_[count_] = mode;
    return count_++;
}

namespace {

constexpr const char* kTileFault = "ERROR in Tiling callBack";

enum class Fetch { Ok, Refused, NoMemory };

// The working state of one image during a block.
struct Slot {
    VskImage* image = nullptr;
    int mode = VSK_TILE_READ;
    ImageView view;  // the working header
    // The block in the image's own pixel coordinates and the tiles it covers.
    int x = 0, y = 0, w = 0, h = 0;
    int c0 = 0, r0 = 0, c1 = 0, r1 = 0;
    void* inPlace = nullptr;  // the tile serving the block in place, while held
    bool gathered = false;
    char* buffer = nullptr;   // gathered blocks, allocated once
    int bufferWidth = 0, bufferHeight = 0;
};

// The block context: one slot per image, the temporaries they own, and
// whether a block could not be put back into its tiles.
class BlockContext {
public:
    BlockContext(const BlockSet& set, int maxWidth, int maxHeight)
        : count_(set.count()), maxWidth_(maxWidth), maxHeight_(maxHeight) {
        for (int i = 0; i < count_; ++i) {
            slots_[i].image = set.image(i);
            slots_[i].mode = set.mode(i);
        }
    }
    ~BlockContext() {
        for (int i = 0; i < count_; ++i) vskFreeAligned(slots_[i].buffer);
    }
    BlockContext(const BlockContext&) = delete;
    BlockContext& operator=(const BlockContext&) = delete;

    // Prepares every slot's working header for the block at (bx, by) of the
    // common size. On failure the tiles already held are given back.
    Fetch fetch(int bx, int by, int bw, int bh) {
        for (int i = 0; i < count_; ++i) {
            const Fetch f = fetchSlot(slots_[i], bx, by, bw, bh);
            if (f != Fetch::Ok) {
                releaseHeld(i);
                return f;
            }
            headers_[i] = slots_[i].view.get();
        }
        return Fetch::Ok;
    }

    // Puts written gathered blocks back into their tiles and gives back the
    // tiles served in place.
    void finish() {
        for (int i = 0; i < count_; ++i) {
            Slot& s = slots_[i];
            if (s.gathered && s.mode == VSK_TILE_WRITE) scatter(s);
        }
        releaseHeld(count_);
    }

    VskImage* const* headers() const { return headers_; }
    bool failed() const { return failed_; }

private:
    Fetch fetchSlot(Slot& s, int bx, int by, int bw, int bh) {
        VskImage* image = s.image;
        const int coi = roiCoi(image);
        s.x = roiX(image) + bx;
        s.y = roiY(image) + by;
        s.w = bw;
        s.h = bh;
        s.gathered = false;
        if (!image->tileInfo) {
            s.view.copyOf(image).roi(coi, s.x, s.y, bh, bw);
            return Fetch::Ok;
        }
        const int tw = image->tileInfo->width, th = image->tileInfo->height;
        s.c0 = s.x / tw;
        s.r0 = s.y / th;
        s.c1 = (s.x + bw - 1) / tw;
        s.r1 = (s.y + bh - 1) / th;
        if (s.c0 == s.c1 && s.r0 == s.r1) {
            s.inPlace = acquireTile(image, s.c0, s.r0, s.mode);
            if (!s.inPlace) return Fetch::Refused;
            s.view.overTile(image, s.inPlace).roi(coi, s.x - s.c0 * tw, s.y - s.r0 * th, bh, bw);
            return Fetch::Ok;
        }
        if (!s.buffer) {
            const std::int64_t bytes = rowBytes(image->dataOrder, image->depth, image->align,
                                                image->nChannels, maxWidth_) *
                                       maxHeight_ * planeCount(image);
            if (!fitsInt(bytes)) return Fetch::NoMemory;
            s.buffer = static_cast<char*>(vskAllocAligned(static_cast<int>(bytes)));
            if (!s.buffer) return Fetch::NoMemory;
            s.bufferWidth = maxWidth_;
            s.bufferHeight = maxHeight_;
        }
        s.view.over(image, s.buffer, s.bufferWidth, s.bufferHeight).roi(coi, 0, 0, bh, bw);
        s.gathered = true;
        const bool ok = gatherTiles(image, s.x, s.y, s.x + bw, s.y + bh, blockPixels(s), s.mode,
                                    TileHold::Each);
        return ok ? Fetch::Ok : Fetch::Refused;
    }

    // A gathered block goes back into every tile it came from that is
    // handed out again.
    void scatter(Slot& s) {
        if (!scatterTiles(s.image, s.x, s.y, s.x + s.w, s.y + s.h, blockPixels(s))) failed_ = true;
    }

    static Pixels blockPixels(const Slot& s) {
        return pixelsOf(s.image, s.buffer, s.bufferWidth, s.bufferHeight);
    }

    // Gives back the in-place tiles of the first `n` slots.
    void releaseHeld(int n) {
        for (int i = 0; i < n; ++i) {
            Slot& s = slots_[i];
            if (s.inPlace) releaseTile(s.image, s.c0, s.r0, s.inPlace);
            s.inPlace = nullptr;
        }
    }

    Slot slots_[kMaxSlots];
    VskImage* headers_[kMaxSlots] = {};
    int count_;
    int maxWidth_, maxHeight_;
    bool failed_ = false;
};

// Runs one block; reports a refused tile (status -2) or a failed allocation
// (status -4) at `line` and returns false.
template <class Body>
bool runBlock(BlockContext& context, int bx, int by, int bw, int bh, const Site& site, int line,
              Body& body) {
    const Fetch f = context.fetch(bx, by, bw, bh);
    if (f == Fetch::Refused) {
        report(site, line, kTileFault, VSK_STATUS_UNKNOWN);
        return false;
    }
    if (f == Fetch::NoMemory) {
        report(site, line, vskErrorText(VSK_STATUS_NO_MEMORY), VSK_STATUS_NO_MEMORY);
        return false;
    }
    body(context.headers(), bh, bw);
    context.finish();
    return true;
}

// The rows of a block of `cols` columns whose samples, in every channel of
// every image, lie inside the image's buffer: all of them, unless a header no
// longer matches its buffer, whose rows past the end are not processed.
int rowsInside(VskImage* const* images, int count, int rows, int cols) {
    for (int i = 0; i < count; ++i) {
        const VskImage* image = images[i];
        const Layout l = layoutOf(image);
        const bool plane = image->dataOrder == VSK_DATA_ORDER_PLANE;
        const std::int64_t reach = (plane ? (image->nChannels - 1) * l.channelBytes : 0) +
                                   std::int64_t{cols} * l.step * depthBytes(image->depth);
        rows = static_cast<int>(
            vsk::rowsInside(image->dataSize - (l.origin - image->imageData), reach, l.rowBytes, rows));
    }
    return rows;
}

}  // namespace

void runBlocks(const BlockSet& set, const Extent& size, const int* tilePoint, const Site& site,
               const BlockLines& lines, BlockBody body, void* context) {
    int ref = -1;
    for (int i = 0; i < set.count() && ref < 0; ++i)
        if (set.image(i)->tileInfo) ref = i;
    if (ref < 0) {
        VskImage* images[kMaxSlots];
        for (int i = 0; i < set.count(); ++i) images[i] = set.image(i);
        body(context, images, rowsInside(images, set.count(), size.rows, size.cols), size.cols);
        return;
    }
    const VskImage* reference = set.image(ref);
    const int tw = reference->tileInfo->width, th = reference->tileInfo->height;
    const int ox = roiX(reference), oy = roiY(reference);
    auto run = [&](VskImage* const* images, int rows, int cols) {
        body(context, images, rowsInside(images, set.count(), rows, cols), cols);
    };
    BlockContext blocks(set, std::min(tw, size.cols), std::min(th, size.rows));

    if (tilePoint && ref == 0) {
        // The destination tile holding the point, in common coordinates.
        const std::int64_t x0 = std::int64_t{tilePoint[0] / tw} * tw - ox;
        const std::int64_t y0 = std::int64_t{tilePoint[1] / th} * th - oy;
        if (x0 >= size.cols || y0 >= size.rows || x0 + tw <= 0 || y0 + th <= 0) return;
        const int bx = static_cast<int>(std::max<std::int64_t>(x0, 0));
        const int by = static_cast<int>(std::max<std::int64_t>(y0, 0));
        const int bw = static_cast<int>(std::min<std::int64_t>(x0 + tw, size.cols)) - bx;
        const int bh = static_cast<int>(std::min<std::int64_t>(y0 + th, size.rows)) - by;
        if (!runBlock(blocks, bx, by, bw, bh, site, lines.single, run)) return;
    } else if (size.rows > 0 && size.cols > 0) {
        // Blocks are the parts of the reference's tiles: the first ends at
        // its grid's next tile boundary, the last is cut at the common size.
        const TileRange grid = tileRange(ox, oy, size.rows, size.cols, tw, th);
        for (int i = 0; i < grid.nr; ++i) {
            const Span y = grid.rowSpan(i);
            for (int j = 0; j < grid.nc; ++j) {
                const Span x = grid.colSpan(j);
                if (!runBlock(blocks, x.offset, y.offset, x.size, y.size, site, lines.walk, run))
                    return;
            }
        }
    }
    if (blocks.failed()) report(site, lines.release, kTileFault, VSK_STATUS_UNKNOWN);
}

}  // namespace vsk::alpha
