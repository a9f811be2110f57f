// The compositing module's shared machinery: the common processed size, the
// placement of an image's channels, and the block engine that feeds tiled
// images to the drivers one block at a time.
#pragma once

#include "alpha_kernels.hpp"
#include "core.hpp"

namespace vsk::alpha {

// The size every image of a call can supply: the smallest ROI size (clipped
// to its image) or image size of the images folded in.
struct Extent {
    int rows = 99999;
    int cols = 99999;
    void fold(const VskImage* image);
};

// Where channel 0 of the first processed pixel of an image lies and how to
// step from there to other rows, channels and pixels.
struct Layout {
    char* origin = nullptr;
    std::int64_t rowBytes = 0;
    std::int64_t channelBytes = 0;
    int step = 0;  // elements from one pixel to the next; 0 for a constant

    template <class T>
    Lane<T> lane(int channel, int row) const {
        return {reinterpret_cast<T*>(origin + row * rowBytes + channel * channelBytes), step};
    }
    // The same image from channel c on.
    Layout from(int c) const {
        Layout l = *this;
        l.origin += c * channelBytes;
        return l;
    }
    // Channel c alone, whatever channel is asked for later (an alpha source).
    Layout only(int c) const {
        Layout l = from(c);
        l.channelBytes = 0;
        return l;
    }
};

// The layout of a buffered image at its ROI offsets.
Layout layoutOf(const VskImage* image);
// A constant sample: the same value for every pixel of every row.
Layout constantLayout(const void* value);

constexpr int kMaxSlots = 6;

// The images one call works on, each registered once: with VSK_TILE_WRITE if
// it is written, else VSK_TILE_READ. The destination is registered first.
class BlockSet {
public:
    // Returns the image's slot; an image registered again keeps its slot and
    // becomes written if it is written in either role.
    int add(VskImage* image, int mode);
    int count() const { return count_; }
    VskImage* image(int i) const { return images_[i]; }
    int mode(int i) const { return modes_[i]; }

private:
    VskImage* images_[kMaxSlots] = {};
    int modes_[kMaxSlots] = {};
    int count_ = 0;
};

// Lines at which tile faults are reported: the single block chosen by a tile
// point, a block of the walk, and the end of the call.
struct BlockLines {
    int single, walk, release;
};

// Called with one working header per slot (each describing the block through
// its ROI) and the block's rows and columns.
using BlockBody = void (*)(void* context, VskImage* const* images, int rows, int cols);

// Runs the body once over the callers' headers when no image is tiled.
// Otherwise the first tiled image is the reference: blocks follow its tile
// grid, a block inside one tile of an image is served in place, one spanning
// several tiles is gathered into a temporary image and written ones are put
// back. With a tiled destination and a tile point only the destination tile
// holding the point is produced.
void runBlocks(const BlockSet& set, const Extent& size, const int* tilePoint, const Site& site,
               const BlockLines& lines, BlockBody body, void* context);

template <class F>
void runBlocks(const BlockSet& set, const Extent& size, const int* tilePoint, const Site& site,
               const BlockLines& lines, F&& body) {
    runBlocks(
        set, size, tilePoint, site, lines,
        [](void* ctx, VskImage* const* images, int rows, int cols) {
            (*static_cast<std::remove_reference_t<F>*>(ctx))(images, rows, cols);
        },
        &body);
}

}  // namespace vsk::alpha
