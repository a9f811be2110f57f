// Decimation of one destination piece: the sampling tables of its columns and
// rows, and the source rows they read, taken straight from the source buffer
// or gathered from the source tiles into a heap buffer.
#include <algorithm>

#include "decimate.hpp"
#include "tiles.hpp"

namespace vsk::decim {

namespace {

const Site kSite{"vskDecimate", "vskdecim"};
constexpr int kNoMemoryLine = 823;

// Scratch from the C heap, released at the end of the scope; sizes beyond
// what the allocator takes count as a failed allocation.
class Scratch {
public:
    Scratch() = default;
    ~Scratch() { vskFreeAligned(p_); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    bool allocate(std::int64_t bytes) {
        if (bytes >= 0 && bytes <= INT_MAX - 64)
            p_ = static_cast<char*>(vskAllocAligned(static_cast<int>(std::max<std::int64_t>(bytes, 1))));
        return p_ != nullptr;
    }
    char* get() const { return p_; }

private:
    char* p_ = nullptr;
};

RunResult noMemory() {
    report(kSite, kNoMemoryLine, "", VSK_STATUS_NO_MEMORY);
    return RunResult::NoMemory;
}

// Source pixels of destination pixels [first, first + n) along one axis:
// `taps` consecutive indices each (the pixel itself, or its interpolation
// neighbourhood) and their weights.
void fillAxis(const Axis& a, int first, int n, int* idx, int* weight) {
    const int lead = a.taps == 4 ? 1 : 0;  // cubic reads from one pixel before
    for (int k = 0; k < n; ++k) {
        std::int64_t pos = a.start + (std::int64_t{first} + k) * a.step;
        int* w = weight + k * a.taps;
        w[0] = 1;
        if (a.interpolated) {
            // Interpolated positions sit one 1/256 early, except exactly 0.
            if (pos != 0) --pos;
            tapWeights(a.taps, static_cast<int>(pos & 255), w);
        }
        const std::int64_t i = (pos >> 8) - lead;
        // Neighbours past the image's edge repeat the edge pixel, so no read
        // leaves the source: their weights move onto the pixels they repeat.
        const std::int64_t base = std::clamp<std::int64_t>(i, 0, a.extent - a.taps);
        if (base != i) {
            int moved[4] = {};
            for (int t = 0; t < a.taps; ++t)
                moved[std::clamp<std::int64_t>(i + t, 0, a.extent - 1) - base] += w[t];
            std::copy(moved, moved + a.taps, w);
        }
        for (int t = 0; t < a.taps; ++t) idx[k * a.taps + t] = static_cast<int>(base + t);
    }
}

// Source rows of a piece gathered from the tiles: the distinct rows the
// tables name, over the columns they name, one slot per row (the processed
// planes one after the other).
class GatheredRows {
public:
    // Marks the rows, fills the buffer from the tiles and rewrites the row
    // table to address it.
    RunResult load(const Plan& plan, int* rowIdx, int nRowIdx, const int* colIdx, int nColIdx) {
        image_ = plan.src;
        const bool planar = image_->dataOrder == VSK_DATA_ORDER_PLANE;
        bits_ = plan.bits;
        planes_ = planar ? plan.planes : 1;
        firstPlane_ = planar ? plan.srcChannel : 0;
        pixelBytes_ = plan.bytes * (planar ? 1 : image_->nChannels);
        // Taps ascend within a pixel and from pixel to pixel, so the ends are the extremes.
        const int rowLo = rowIdx[0], rowSpan = rowIdx[nRowIdx - 1] - rowLo + 1;
        colLo_ = colIdx[0];
        colHi_ = colIdx[nColIdx - 1] + 1;
        if (bits_) {
            // Whole bytes: tile widths are multiples of 8, so every tile part is too.
            colLo_ &= ~7;
            colHi_ = (colHi_ + 7) & ~7;
        }
        stride_ = roundUpToUnit<std::int64_t>(bytesOf(colHi_ - colLo_), 8);

        if (!rowMap_.allocate(std::int64_t{rowSpan} * 2 * sizeof(int))) return RunResult::NoMemory;
        int* slotOf = reinterpret_cast<int*>(rowMap_.get());
        int* rows = slotOf + rowSpan;  // the distinct rows, ascending
        std::fill(slotOf, slotOf + rowSpan, -1);
        for (int i = 0; i < nRowIdx; ++i) slotOf[rowIdx[i] - rowLo] = 0;
        for (int r = 0; r < rowSpan; ++r)
            if (slotOf[r] == 0) {
                slotOf[r] = slots_;
                rows[slots_++] = rowLo + r;
            }
        if (!buffer_.allocate(stride_ * slots_ * planes_)) return RunResult::NoMemory;
        if (!readTiles(rows)) return RunResult::TileRefused;
        for (int i = 0; i < nRowIdx; ++i) rowIdx[i] = slotOf[rowIdx[i] - rowLo];
        return RunResult::Done;
    }

    int colOrigin() const { return colLo_; }
    SrcView view(const Plan& plan) const {
        const char* base = buffer_.get();
        if (image_->dataOrder == VSK_DATA_ORDER_PIXEL) base += plan.srcChannel * plan.bytes;
        return {base, stride_, stride_ * slots_};
    }

private:
    std::int64_t bytesOf(std::int64_t cols) const { return bits_ ? cols / 8 : cols * pixelBytes_; }

    // Tile rows top to bottom, tiles left to right, each given back as soon
    // as the rows it holds are copied.
    bool readTiles(const int* rows) {
        const int th = image_->tileInfo->height;
        const Pixels out{buffer_.get(), stride_, stride_ * slots_};
        for (int s = 0; s < slots_;) {
            const int tr = rows[s] / th;
            int e = s;
            while (e < slots_ && rows[e] / th == tr) ++e;
            const bool ok = forEachTilePiece(
                image_, colLo_, rows[s], colHi_, std::int64_t{rows[e - 1]} + 1, VSK_TILE_READ,
                TileHold::Each, false, [&](const TilePiece& p) {
                    Pixels from = p.tile;
                    from.data += firstPlane_ * from.plane;
                    for (int i = s; i < e; ++i)
                        copyPixels(image_, from, p.tileX, rows[i] - std::int64_t{tr} * th, out,
                                   p.x - colLo_, i, p.width, 1, planes_);
                });
            if (!ok) return false;
            s = e;
        }
        return true;
    }

    const VskImage* image_ = nullptr;
    bool bits_ = false;
    int planes_ = 1, firstPlane_ = 0, pixelBytes_ = 0, slots_ = 0;
    int colLo_ = 0, colHi_ = 0;
    std::int64_t stride_ = 0;
    Scratch rowMap_, buffer_;
};

}  // namespace

RunResult runPiece(const Plan& plan, const Piece& piece) {
    const int TH = plan.x.taps, nc = plan.channels;
    const std::int64_t nColIdx = std::int64_t{piece.cols} * TH;
    const std::int64_t nRowIdx = std::int64_t{piece.rows} * plan.y.taps;
    const std::int64_t values = std::int64_t{piece.cols} * nc;
    const std::int64_t nWork = plan.kernel.usesWork ? plan.y.taps * values : 0;
    Scratch tables;
    if (!tables.allocate((2 * (nColIdx + nRowIdx) + (TH + 1) * values + nWork) * std::int64_t{sizeof(int)}))
        return noMemory();
    int* colIdx = reinterpret_cast<int*>(tables.get());
    int* colWeight = colIdx + nColIdx;
    int* rowIdx = colWeight + nColIdx;
    int* rowWeight = rowIdx + nRowIdx;
    int* colOff = rowWeight + nRowIdx;
    int* colW = colOff + values;
    fillAxis(plan.x, piece.col0, piece.cols, colIdx, colWeight);
    fillAxis(plan.y, piece.row0, piece.rows, rowIdx, rowWeight);

    KernelRun run;
    const VskImage* src = plan.src;
    int colOrigin = 0;
    GatheredRows gathered;
    if (src->tileInfo) {
        const RunResult result = gathered.load(plan, rowIdx, static_cast<int>(nRowIdx), colIdx,
                                               static_cast<int>(nColIdx));
        if (result == RunResult::NoMemory) return noMemory();
        if (result != RunResult::Done) return result;
        run.src = gathered.view(plan);
        colOrigin = gathered.colOrigin();
    } else {
        const std::int64_t stride = imageStride(src);
        const std::int64_t planeSize = stride * src->height;
        const bool planar = src->dataOrder == VSK_DATA_ORDER_PLANE;
        run.src = {src->imageData + (planar ? plan.srcChannel * planeSize
                                            : std::int64_t{plan.srcChannel} * plan.bytes),
                   stride, planeSize};
    }
    // One entry per processed value of a destination row, each tap's weights
    // in an array of their own.
    const int scale = plan.bits ? 1 : plan.srcPixel;
    for (int k = 0; k < piece.cols; ++k)
        for (int c = 0; c < nc; ++c) {
            const std::int64_t i = std::int64_t{k} * nc + c;
            colOff[i] = (colIdx[k * TH] - colOrigin) * scale + c;
            for (int t = 0; t < TH; ++t) colW[t * values + i] = colWeight[k * TH + t];
        }

    run.dst = piece.dst;
    run.planes = plan.planes;
    run.channels = nc;
    run.tapStep = scale;
    run.dstPixel = plan.dstPixel;
    run.cols = piece.cols;
    run.rows = piece.rows;
    run.colOff = colOff;
    run.colWeight = colW;
    run.rowIdx = rowIdx;
    run.rowWeight = rowWeight;
    run.work = nWork ? colW + TH * values : nullptr;
    plan.kernel.run(run);
    return RunResult::Done;
}

}  // namespace vsk::decim
