// Image views: the working headers through which an operation treats a
// buffer as a small buffered image (a tile, a fetched rectangle, a gathered
// block, or a buffered image with a ROI of its own), and the pixels of such a
// buffer as row pointers and strides for the kernels.
#pragma once

#include <algorithm>
#include <cstring>

#include "core.hpp"

namespace vsk {

// ---- working headers ---------------------------------------------------------

// A VskImage header with a ROI record of its own. The header points at the
// view's own ROI, so a view is neither copied nor moved; it is rebuilt in
// place instead.
class ImageView {
public:
    ImageView() = default;
    ImageView(const ImageView&) = delete;
    ImageView& operator=(const ImageView&) = delete;

    // `data` as the buffer of a width x height image laid out like `like`
    // (its channels, depth, data order, alignment, origin, names and border
    // modes); row stride and data size are recomputed for that width. No ROI,
    // tiles or mask.
    ImageView& over(const VskImage* like, void* data, int width, int height);
    // One tile's data of a tiled image, described at the full tile size.
    ImageView& overTile(const VskImage* tiled, void* data);
    // A copy of a buffered image's header, without ROI.
    ImageView& copyOf(const VskImage* image);
    // Gives the header a ROI (the view's own record).
    ImageView& roi(int coi, int x, int y, int height, int width);

    VskImage* get() { return &header_; }
    const VskImage* get() const { return &header_; }

private:
    VskImage header_{};
    VskROI roi_{};
};

// A view over a rectangle fetched from an image with vskGetRect (border
// modes apply outside the image). The buffer is released with the object.
class FetchedImage {
public:
    FetchedImage() = default;
    ~FetchedImage() { release(); }
    FetchedImage(const FetchedImage&) = delete;
    FetchedImage& operator=(const FetchedImage&) = delete;

    // Fetches width x height pixels at (x, y) of `image`, replacing what was
    // held; the view has no ROI. Sizes are 64-bit so that callers can pass
    // sums that overflow an int; false when the rectangle can't be had.
    bool fetch(const VskImage* image, std::int64_t x, std::int64_t y, std::int64_t width,
               std::int64_t height);
    void release();
    bool held() const { return data_ != nullptr; }

    ImageView& view() { return view_; }
    VskImage* get() { return view_.get(); }

private:
    ImageView view_;
    void* data_ = nullptr;
};

// Fills the width x height rectangle at (x, y) of a buffered image into
// `buffer`, laid out as vskGetRect lays out its result (rows `stride` bytes
// apart, planes height x stride apart), outside pixels by the border modes;
// row padding is left as it was. False, with nothing written, for the images
// and sizes vskGetRect refuses.
bool fetchRectInto(const VskImage* image, int x, int y, int width, int height, char* buffer,
                   std::int64_t stride);

// ---- pixels of a buffer --------------------------------------------------------

// A buffer laid out like an image's data: rows `stride` bytes apart, planes
// `plane` bytes apart (plane order).
struct Pixels {
    char* data = nullptr;
    std::int64_t stride = 0;
    std::int64_t plane = 0;

    char* row(int p, std::int64_t r) const { return data + p * plane + r * stride; }
    template <class T>
    T* rowAs(int p, std::int64_t r) const {
        return reinterpret_cast<T*>(row(p, r));
    }
};

// An element at any byte address. A header's widthStep need not be a multiple
// of the element size, so rows may start off the element's alignment; a copy
// of the bytes compiles to a plain move.
template <class T>
inline T loadAt(const T* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
inline void storeAt(T* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

// Of `rows` rows `step` bytes apart, each touching `extent` bytes from its
// start, the number that lie wholly within the `room` bytes of a buffer from
// the first row's start on. A header that no longer matches its buffer
// (fields changed after allocation, a data size that wrapped in 32 bits) is
// processed up to the buffer's end only.
inline std::int64_t rowsInside(std::int64_t room, std::int64_t extent, std::int64_t step,
                               std::int64_t rows) {
    if (rows <= 0 || room < extent) return 0;
    return step <= 0 ? rows : std::min(rows, (room - extent) / step + 1);
}
// The same rule for a buffered image's own rows in planes 0 to lastPlane (0
// in pixel order): all of its height unless the header no longer matches its buffer.
int rowsInside(const VskImage* image, int lastPlane);

// A width x height buffer laid out like `like` (its recomputed row stride).
Pixels pixelsOf(const VskImage* like, void* data, int width, int height);
// A buffered image's own buffer.
inline Pixels pixelsOf(const VskImage* image) {
    return pixelsOf(image, image->imageData, image->width, image->height);
}
// One tile's data of a tiled image.
inline Pixels tilePixels(const VskImage* tiled, void* data) {
    return pixelsOf(tiled, data, tiled->tileInfo->width, tiled->tileInfo->height);
}

// Copies w x h pixels at (fx, fy) of `from` to (tx, ty) of `to`, both laid out
// like `like`, in `planes` planes (plane order) or one. 1-bit pixels are
// moved as bit runs; the other bits of the destination bytes keep their
// values.
void copyPixels(const VskImage* like, const Pixels& from, std::int64_t fx, std::int64_t fy,
                const Pixels& to, std::int64_t tx, std::int64_t ty, std::int64_t w,
                std::int64_t h, int planes);

}  // namespace vsk
