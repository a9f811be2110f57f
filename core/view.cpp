// Working headers over buffers, fetched rectangles and pixel copies.
#include "view.hpp"

#include <cstring>

#include "bitrun.hpp"

namespace vsk {

ImageView& ImageView::over(const VskImage* like, void* data, int width, int height) {
    std::memcpy(&header_, like, sizeof header_);
    header_.width = width;
    header_.height = height;
    header_.imageData = static_cast<char*>(data);
    header_.tileInfo = nullptr;
    header_.dataBlock = nullptr;
    header_.maskImage = nullptr;
    header_.roi = nullptr;
    // Stride and size describe the buffer itself, so that the header passes
    // validation whatever `like` carried in these fields.
    const std::int64_t step =
        rowBytes(like->dataOrder, like->depth, like->align, like->nChannels, width);
    header_.widthStep = static_cast<int>(step);
    header_.dataSize = static_cast<int>(step * height * planeCount(like));
    return *this;
}

ImageView& ImageView::overTile(const VskImage* tiled, void* data) {
    return over(tiled, data, tiled->tileInfo->width, tiled->tileInfo->height);
}

ImageView& ImageView::copyOf(const VskImage* image) {
    std::memcpy(&header_, image, sizeof header_);
    header_.roi = nullptr;
    return *this;
}

ImageView& ImageView::roi(int coi, int x, int y, int height, int width) {
    roi_ = {coi, x, y, height, width};
    header_.roi = &roi_;
    return *this;
}

void FetchedImage::release() {
    vskFreeAligned(data_);
    data_ = nullptr;
}

bool FetchedImage::fetch(const VskImage* image, std::int64_t x, std::int64_t y,
                         std::int64_t width, std::int64_t height) {
    release();
    if (!fitsInt(x) || !fitsInt(y) || !fitsInt(width) || !fitsInt(height)) return false;
    data_ = vskGetRect(image, static_cast<int>(x), static_cast<int>(y), static_cast<int>(width),
                       static_cast<int>(height), nullptr);
    if (!data_) return false;
    // vskGetRect keeps the buffer within an int, so the view's size fits.
    view_.over(image, data_, static_cast<int>(width), static_cast<int>(height));
    return true;
}

Pixels pixelsOf(const VskImage* like, void* data, int width, int height) {
    const std::int64_t stride =
        rowBytes(like->dataOrder, like->depth, like->align, like->nChannels, width);
    return {static_cast<char*>(data), stride, stride * height};
}

int rowsInside(const VskImage* image, int lastPlane) {
    const Pixels px = pixelsOf(image);
    const std::int64_t bits = std::int64_t{depthBits(image->depth)} * image->width * pixelPitch(image);
    return static_cast<int>(rowsInside(std::int64_t{image->dataSize} - lastPlane * px.plane,
                                       strideOfBits(bits, 1), px.stride, image->height));
}

void copyPixels(const VskImage* like, const Pixels& from, std::int64_t fx, std::int64_t fy,
                const Pixels& to, std::int64_t tx, std::int64_t ty, std::int64_t w,
                std::int64_t h, int planes) {
    if (w <= 0 || h <= 0) return;
    const int bytes = depthBytes(like->depth);
    const std::int64_t pixel = std::int64_t{bytes} * pixelPitch(like);
    for (int p = 0; p < planes; ++p)
        for (std::int64_t y = 0; y < h; ++y) {
            const char* s = from.row(p, fy + y);
            char* d = to.row(p, ty + y);
            if (bytes == 0)
                copyBits(reinterpret_cast<const std::uint8_t*>(s), fx,
                         reinterpret_cast<std::uint8_t*>(d), tx, w);
            else
                std::memcpy(d + tx * pixel, s + fx * pixel, static_cast<std::size_t>(w * pixel));
        }
}

}  // namespace vsk
