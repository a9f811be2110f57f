// Image header, ROI and tile records: creation, allocation, release, the row
// layout and the clipped ROI rectangle.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core.hpp"

// The record layout on the library's home platform: 32-bit words in order.
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(VskImage) == 112, "VskImage is 28 words");
static_assert(sizeof(VskROI) == 20, "VskROI is 5 words");
static_assert(sizeof(VskTileInfo) == 20, "VskTileInfo is 5 words");
static_assert(offsetof(VskImage, headerSize) == 0 * 4);
static_assert(offsetof(VskImage, headerId) == 1 * 4);
static_assert(offsetof(VskImage, nChannels) == 2 * 4);
static_assert(offsetof(VskImage, alphaChannel) == 3 * 4);
static_assert(offsetof(VskImage, depth) == 4 * 4);
static_assert(offsetof(VskImage, colorModel) == 5 * 4);
static_assert(offsetof(VskImage, channelSeq) == 6 * 4);
static_assert(offsetof(VskImage, dataOrder) == 7 * 4);
static_assert(offsetof(VskImage, origin) == 8 * 4);
static_assert(offsetof(VskImage, align) == 9 * 4);
static_assert(offsetof(VskImage, height) == 10 * 4);
static_assert(offsetof(VskImage, width) == 11 * 4);
static_assert(offsetof(VskImage, roi) == 12 * 4);
static_assert(offsetof(VskImage, maskImage) == 13 * 4);
static_assert(offsetof(VskImage, userId) == 14 * 4);
static_assert(offsetof(VskImage, tileInfo) == 15 * 4);
static_assert(offsetof(VskImage, dataSize) == 16 * 4);
static_assert(offsetof(VskImage, imageData) == 17 * 4);
static_assert(offsetof(VskImage, widthStep) == 18 * 4);
static_assert(offsetof(VskImage, borderModes) == 19 * 4);
static_assert(offsetof(VskImage, borderValues) == 23 * 4);
static_assert(offsetof(VskImage, dataBlock) == 27 * 4);
static_assert(offsetof(VskROI, coi) == 0 * 4);
static_assert(offsetof(VskROI, xOffset) == 1 * 4);
static_assert(offsetof(VskROI, yOffset) == 2 * 4);
static_assert(offsetof(VskROI, height) == 3 * 4);
static_assert(offsetof(VskROI, width) == 4 * 4);
static_assert(offsetof(VskTileInfo, callBack) == 0 * 4);
static_assert(offsetof(VskTileInfo, id) == 1 * 4);
static_assert(offsetof(VskTileInfo, tileData) == 2 * 4);
static_assert(offsetof(VskTileInfo, width) == 3 * 4);
static_assert(offsetof(VskTileInfo, height) == 4 * 4);
static_assert(sizeof(VskLibVersion) == 32, "VskLibVersion is 3 ints and 5 text pointers");
static_assert(offsetof(VskLibVersion, name) == 3 * 4);
static_assert(offsetof(VskLibVersion, callConv) == 7 * 4);
#endif
static_assert(sizeof(BITMAPINFOHEADER) == 40, "the platform's bitmap header");
static_assert(sizeof(RGBQUAD) == 4, "the platform's colour-table entry");

namespace {

const VskLibVersion kVersion = {1,
                                3,
                                3,
                                "vskp6l.lib",
                                "v1.0 Beta 3",
                                "[1.03.03, 06/30/97]",
                                "Jul  7 1997",
                                "cdecl"};

// The header's stride and size fields keep 32-bit arithmetic that wraps like
// the home platform's; computed unsigned so that the wrap is well defined.
int wrapWidthStep(int dataOrder, unsigned depth, int align, int nChannels, int width) {
    std::uint32_t bits = depth & 0x7FFFFFFFu;
    std::uint32_t unit = 8u * static_cast<std::uint32_t>(align);
    std::uint32_t n = bits * static_cast<std::uint32_t>(width);
    if (dataOrder != VSK_DATA_ORDER_PLANE) n *= static_cast<std::uint32_t>(nChannels);
    // The shift is arithmetic on the signed 32-bit result.
    return static_cast<std::int32_t>(vsk::roundUpToUnit(n, unit)) >> 3;
}

int wrapDataSize(int dataOrder, int widthStep, int height, int nChannels) {
    std::uint32_t size = static_cast<std::uint32_t>(widthStep) * static_cast<std::uint32_t>(height);
    if (dataOrder == VSK_DATA_ORDER_PLANE) size *= static_cast<std::uint32_t>(nChannels);
    return static_cast<std::int32_t>(size);
}

void copyName(char out[4], const char* in) {
    // Up to 4 bytes, stopping at a terminating NUL so that a shorter name is
    // never read past its end; the rest is zero.
    int i = 0;
    for (; i < 4 && in[i] != '\0'; ++i) out[i] = in[i];
    for (; i < 4; ++i) out[i] = '\0';
}

}  // namespace

namespace vsk {

RoiRect roiRect(const VskImage* image) {
    RoiRect r;
    const int W = image->width, H = image->height;
    std::int64_t x = 0, y = 0, w = W, h = H;
    int c = 0;
    if (image->roi) {
        x = image->roi->xOffset;
        w = image->roi->width;
        y = image->roi->yOffset;
        h = image->roi->height;
        c = image->roi->coi;
        if (x >= W || x + w < 1) x = w = 0;
        if (y >= H || y + h < 1) y = h = 0;
        if (x < 0) { w += x; x = 0; }
        if (y < 0) { h += y; y = 0; }
        if (x + w > W) w = W - x;
        if (y + h > H) h = H - y;
    }
    // A negative size left by a negative ROI width means an empty rectangle.
    if (w < 0) w = 0;
    if (h < 0) h = 0;
    const std::int64_t step = imageStride(image);
    const int bytes = depthBytes(image->depth);
    r.step = static_cast<int>(step);
    r.rows = static_cast<int>(h);
    r.cols = static_cast<int>(w);
    r.x = static_cast<int>(x);
    r.y = static_cast<int>(y);
    r.coi = c;
    r.channels = channelCount(image);
    // Sizes beyond any buffer (a tiled image 2^31 - 1 rows high) are capped, not wrapped.
    r.planeSize = static_cast<int>(std::min<std::int64_t>(mulSat(H, step), INT_MAX));
    if (image->imageData) {
        std::int64_t off = y * step;
        if (image->dataOrder == VSK_DATA_ORDER_PLANE) {
            off += x * bytes;
            if (c > 1) off += static_cast<std::int64_t>(c - 1) * step * H;
        } else {
            off += x * bytes * image->nChannels;
            if (c > 1) off += static_cast<std::int64_t>(c - 1) * bytes;
        }
        r.start = image->imageData + off;
    }
    return r;
}

Rect roiCut(const VskImage* image) {
    const VskROI* roi = image->roi;
    if (!roi) return {0, 0, image->width, image->height};
    // Computed in 64 bits: the sizes fit an int whatever the offsets.
    const auto cut = [](int size, int extent, int offset) {
        return static_cast<int>(std::min<std::int64_t>(size, std::int64_t{extent} - offset));
    };
    return {roi->xOffset, roi->yOffset, cut(roi->width, image->width, roi->xOffset),
            cut(roi->height, image->height, roi->yOffset)};
}

}  // namespace vsk

extern "C" {

// ---- aligned scratch memory ------------------------------------------------

void* VSK_CALL vskAllocAligned(int n) {
    if (n < 0) return nullptr;
    // The block start is kept in the pointer-sized slot just below the
    // returned address, which is the first multiple of 8 at least one slot in.
    constexpr std::size_t slot = sizeof(void*);
    char* block = static_cast<char*>(std::malloc(static_cast<std::size_t>(n) + slot + 16));
    if (!block) return nullptr;
    std::uintptr_t p = (reinterpret_cast<std::uintptr_t>(block) + slot + 7) & ~std::uintptr_t{7};
    char* aligned = block + (p - reinterpret_cast<std::uintptr_t>(block));
    std::memcpy(aligned - slot, &block, slot);
    return aligned;
}

static void* allocElements(int count, int size) {
    if (count < 0 || static_cast<std::int64_t>(count) * size > INT_MAX) return nullptr;
    return vskAllocAligned(count * size);
}
void* VSK_CALL vskAllocAligned16(int count) { return allocElements(count, 2); }
void* VSK_CALL vskAllocAligned32(int count) { return allocElements(count, 4); }
void* VSK_CALL vskAllocAligned64(int count) { return allocElements(count, 8); }

void VSK_CALL vskFreeAligned(void* p) {
    if (!p) return;
    void* block;
    std::memcpy(&block, static_cast<char*>(p) - sizeof(void*), sizeof(void*));
    std::free(block);
}

// ---- headers -----------------------------------------------------------------

unsigned VSK_CALL vskCheckNewHeader(const VskImage* image) {
    unsigned mask = 0;
    if (image->nChannels <= 0) mask |= 1;
    if (image->alphaChannel > image->nChannels && image->alphaChannel < 0) mask |= 2;
    if (!vsk::isValidDepth(image->depth)) mask |= 4;
    if (image->alphaChannel < 0 || image->alphaChannel > image->nChannels) mask |= 16;
    if (image->dataOrder != 0 && image->dataOrder != 1) mask |= 32;
    if (image->origin != 0 && image->origin != 1) mask |= 64;
    if (image->align != 4 && image->align != 8) mask |= 128;
    if (image->height < 0) mask |= 256;
    if (image->width < 0) mask |= 512;
    return mask;
}

int VSK_CALL vskComputeWidthStep(int dataOrder, unsigned depth, int align, int nChannels,
                                 int width) {
    return wrapWidthStep(dataOrder, depth, align, nChannels, width);
}

void VSK_CALL vskSetBorderMode(VskImage* image, int mode, int sideMask, int value) {
    if (!image) return;
    for (int i = 0; i < 4; ++i) {
        if (sideMask & (1 << i)) {
            image->borderValues[i] = value;
            image->borderModes[i] = mode;
        }
    }
}

VSK_API VskImage* VSK_CALL tvskCreateImageHeader(int nChannels, int alphaChannel,
                                                 unsigned int depth, const char* colorModel,
                                                 const char* channelSeq, int dataOrder,
                                                 int origin, int align, int height, int width,
                                                 VskROI* roi, void* userId,
                                                 VskTileInfo* tileInfo) {
    auto* image = static_cast<VskImage*>(std::malloc(sizeof(VskImage)));
    if (!image) return nullptr;
    std::memset(image, 0, sizeof *image);
    image->nChannels = nChannels;
    image->alphaChannel = alphaChannel;
    image->depth = depth;
    image->headerSize = static_cast<int>(sizeof(VskImage));
    image->headerId = 0;
    if (!colorModel || !channelSeq) {
        std::free(image);
        return nullptr;
    }
    copyName(image->colorModel, colorModel);
    copyName(image->channelSeq, channelSeq);
    image->dataOrder = dataOrder;
    image->origin = origin;
    image->align = align;
    image->height = height;
    image->width = width;
    image->roi = roi;
    image->userId = userId;
    image->tileInfo = tileInfo;
    image->maskImage = nullptr;
    image->imageData = nullptr;
    image->dataBlock = nullptr;
    image->widthStep = wrapWidthStep(dataOrder, depth, align, nChannels, width);
    image->dataSize = wrapDataSize(dataOrder, image->widthStep, height, nChannels);
    vskSetBorderMode(image, VSK_BORDER_CONSTANT, 15, 0);
    if (vskCheckNewHeader(image) != 0) {
        std::free(image);
        return nullptr;
    }
    return image;
}

VSK_API void VSK_CALL tvskAllocateImage(VskImage* image, int fillValue) {
    if (!image) return;
    if (vskCheckNewHeader(image) != 0) {
        image->imageData = nullptr;
        image->dataSize = 0;
        return;
    }
    const int widthStep = wrapWidthStep(image->dataOrder, image->depth, image->align,
                                        image->nChannels, image->width);
    const int dataSize = wrapDataSize(image->dataOrder, widthStep, image->height, image->nChannels);
    // The 32-bit fields must describe the real buffer: a size that does not
    // fit a signed 32-bit int is refused like a failed allocation.
    const std::int64_t realStep = vsk::imageStride(image);
    const std::int64_t realSize = realStep * image->height * vsk::planeCount(image);
    if (realStep != widthStep || realSize != dataSize || realSize > INT_MAX - 8) {
        image->imageData = nullptr;
        return;
    }
    char* block = static_cast<char*>(std::malloc(static_cast<std::size_t>(dataSize) +
                                                 static_cast<std::size_t>(image->align) - 1));
    if (!block) return;
    image->dataBlock = block;
    const std::uintptr_t a = static_cast<std::uintptr_t>(image->align);
    const std::uintptr_t p = (reinterpret_cast<std::uintptr_t>(block) + a - 1) & ~(a - 1);
    image->imageData = block + (p - reinterpret_cast<std::uintptr_t>(block));
    image->widthStep = widthStep;
    image->dataSize = dataSize;
    if (fillValue == -1) return;
    const std::uint32_t pattern = vsk::widenToWord(image->depth, static_cast<std::uint32_t>(fillValue));
    char* data = image->imageData;
    const std::size_t words = static_cast<std::size_t>(dataSize) / 4;
    if ((pattern & 0xFF) * 0x01010101u == pattern) {
        std::memset(data, static_cast<int>(pattern & 0xFF), words * 4);
    } else {
        for (std::size_t i = 0; i < words; ++i) std::memcpy(data + 4 * i, &pattern, 4);
    }
}

VSK_API void VSK_CALL tvskDeallocate(VskImage* image, int flags) {
    if (!image) return;
    if ((flags & VSK_FREE_ROI) && image->roi) {
        std::free(image->roi);
        image->roi = nullptr;
    }
    if ((flags & VSK_FREE_MASK) && image->maskImage) {
        tvskDeallocate(image->maskImage,
                       VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI | VSK_FREE_TILE);
        image->maskImage = nullptr;
    }
    if ((flags & VSK_FREE_TILE) && image->tileInfo) {
        std::free(image->tileInfo);
        image->tileInfo = nullptr;
    }
    if ((flags & VSK_FREE_DATA) && image->dataBlock) {
        std::free(image->dataBlock);
        image->imageData = nullptr;
        image->dataBlock = nullptr;
    }
    if (flags & VSK_FREE_HEADER) std::free(image);
}

VSK_API VskROI* VSK_CALL tvskCreateROI(int coi, int xOffset, int yOffset, int height, int width) {
    auto* roi = static_cast<VskROI*>(std::malloc(sizeof(VskROI)));
    if (!roi) return nullptr;
    vskSetROI(roi, coi, xOffset, yOffset, height, width);
    return roi;
}

void VSK_CALL vskDeallocateData(VskImage* image) {
    if (!image || vskCheckNewHeader(image) != 0) return;
    if (image->dataBlock) std::free(image->dataBlock);
    image->imageData = nullptr;
    image->dataBlock = nullptr;
}

void VSK_CALL vskDeallocateHeader(VskImage* image) { tvskDeallocate(image, VSK_FREE_HEADER); }

void VSK_CALL vskSetROI(VskROI* roi, int coi, int xOffset, int yOffset, int height, int width) {
    if (!roi) return;
    roi->coi = coi;
    roi->xOffset = xOffset;
    roi->yOffset = yOffset;
    roi->height = height;
    roi->width = width;
}

void VSK_CALL vskDeleteROI(VskROI* roi) { std::free(roi); }

VskTileInfo* VSK_CALL vskCreateTileInfo(VskTileCallback callBack, void* id, int width,
                                        int height) {
    auto* info = static_cast<VskTileInfo*>(std::malloc(sizeof(VskTileInfo)));
    vskSetTileInfo(info, callBack, id, width, height);
    return info;
}

void VSK_CALL vskSetTileInfo(VskTileInfo* info, VskTileCallback callBack, void* id, int width,
                             int height) {
    if (!info) return;
    info->callBack = callBack;
    info->id = id;
    info->width = width;
    info->height = height;
    info->tileData = nullptr;
}

void VSK_CALL vskDeleteTileInfo(VskTileInfo* info) { std::free(info); }

int VSK_CALL vskTileWidthStep(const VskImage* image) {
    if (vskBadImageHeader(image) != 0 || !image->tileInfo) return 0;
    return vskComputeWidthStep(image->dataOrder, image->depth, image->align, image->nChannels,
                               image->tileInfo->width);
}

const VskLibVersion* VSK_CALL vskGetVersionRecord(void) { return &kVersion; }

void VSK_CALL vskRoiRect(const VskImage* image, char** start, int* step, int* channels,
                         int* rows, int* cols, int* planeSize) {
    if (!image) return;
    const vsk::RoiRect r = vsk::roiRect(image);
    if (start) *start = r.start;
    if (step) *step = r.step;
    if (channels) *channels = r.channels;
    if (rows) *rows = r.rows;
    if (cols) *cols = r.cols;
    if (planeSize) *planeSize = r.planeSize;
}

}  // extern "C"
