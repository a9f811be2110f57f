#include "fetch.hpp"

#include <cstring>

namespace vsk {

FetchedImage::~FetchedImage() { release(); }

void FetchedImage::release() {
    vskFreeAligned(header.imageData);
    header.imageData = nullptr;
}

bool FetchedImage::fetch(const VskImage* image, std::int64_t x, std::int64_t y,
                         std::int64_t width, std::int64_t height) {
    release();
    if (!fitsInt(x) || !fitsInt(y) || !fitsInt(width) || !fitsInt(height)) return false;
    int step = 0;
    void* data = vskGetRect(image, static_cast<int>(x), static_cast<int>(y),
                            static_cast<int>(width), static_cast<int>(height), &step);
    if (!data) return false;
    // The source's attributes with the rectangle's size; vskGetRect keeps the
    // buffer within an int, so the size fits.
    std::memcpy(&header, image, sizeof header);
    header.height = static_cast<int>(height);
    header.width = static_cast<int>(width);
    header.roi = nullptr;
    header.maskImage = nullptr;
    header.tileInfo = nullptr;
    header.dataBlock = nullptr;
    header.imageData = static_cast<char*>(data);
    header.widthStep = step;
    header.dataSize = static_cast<int>(std::int64_t{step} * height * planeCount(image));
    return true;
}

}  // namespace vsk
