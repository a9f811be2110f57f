// Header validation: the full validator, its message text, the standard
// per-image check sequence, the compatibility check and the border module's
// reporting check.
#include <cstring>
#include <new>
#include <string>

#include "core.hpp"

namespace {

struct HeaderFault {
    unsigned bit;
    const char* text;
};

// Messages in the order they are emitted (the ROI offset bit last).
const HeaderFault kHeaderFaults[] = {
    {0x1, "Image header is null"},
    {0x2, "Image data and tileinfo is either null or not null"},
    {0x4, "Image size is invalid"},
    {0x10, "Image widthStep is invalid"},
    {0x20, "Image channel's number is less one"},
    {0x40, "For image depth 1U channel's number is not equal one"},
    {0x80, "Image depth is invalid"},
    {0x100, "Image alpha channel's number is less zero or is more channel's number"},
    {0x200, "Image data order is invalid"},
    {0x400, "Image origin is invalid"},
    {0x800, "Image align is invalid"},
    {0x1000, "Callback is null"},
    {0x2000, "Tile size is invalid"},
    {0x4000, "COI is less zero or is more image channel's number"},
    {0x8000, "ROI size is invalid"},
    {0x8, "ROI offset is invalid"},
};

// Each message is a fixed-width line: padded with blanks to 70 characters,
// then a newline.
constexpr std::size_t kLineLength = 71;

char kUnknownText[] = "Bad status: unknown error";
char kNoMemoryText[] = "Out of memory";

bool isStaticText(const char* text) { return text == kUnknownText || text == kNoMemoryText; }

}  // namespace

namespace vsk {

static bool failsImageChecksWithTexts(const VskImage* image, const char* name, const Site& site, int line);

bool reportBadHeader(const VskImage* image, const Site& site, int line) {
    const unsigned mask = vskBadImageHeader(image);
    if (mask == 0) return false;
    char* text = vskHeaderErrorText(mask);
    report(site, line, text);
    if (!isStaticText(text)) vskFreeAligned(text);
    return true;
}

bool failsImageChecks(const VskImage* image, const char* name, const Site& site, int line) {
    // The texts are built on the heap; without memory the check still fails.
    try {
        return failsImageChecksWithTexts(image, name, site, line);
    } catch (const std::bad_alloc&) {
        report(site, line, "Out of memory", VSK_STATUS_NO_MEMORY);
        return true;
    }
}

static bool failsImageChecksWithTexts(const VskImage* image, const char* name, const Site& site, int line) {
    const std::string n = name;
    auto fail = [&](const std::string& text) {
        report(site, line, text.c_str());
        return true;
    };
    if (!image) return fail(n + "==0");
    if (vskBadImageHeader(image) != 0) return fail("vskBadImageHeader(" + n + ") != 0");
    if (image->width <= 0) return fail(n + "->width <= 0");
    if (image->height <= 0) return fail(n + "->height <= 0");
    if (image->nChannels <= 0) return fail(n + "->nChannels <= 0");
    if (const VskROI* roi = image->roi) {
        if (roi->width <= 0) return fail(n + "->roi->width <= 0");
        if (roi->height <= 0) return fail(n + "->roi->height <= 0");
        if (roi->xOffset < 0) return fail(n + "->roi->xOffset < 0");
        if (roi->yOffset < 0) return fail(n + "->roi->yOffset < 0");
        if (roi->xOffset >= image->width) return fail(n + "->roi->xOffset >= " + n + "->width");
        if (roi->yOffset >= image->height) return fail(n + "->roi->yOffset >= " + n + "->height");
        if (roi->coi < 0) return fail(n + "->roi->coi < 0");
        if (roi->coi > image->nChannels) return fail(n + "->roi->coi > " + n + "->nChannels");
    }
    if (!image->imageData && !image->tileInfo)
        return fail(n + "->imageData == ((void*)(0)) && " + n + "->tileInfo == ((void*)(0))");
    if (image->imageData && image->tileInfo)
        return fail(n + "->imageData != ((void*)(0)) && " + n + "->tileInfo != ((void*)(0))");
    if (const VskTileInfo* tile = image->tileInfo) {
        if (!tile->callBack) return fail(n + "->tileInfo->callBack==0");
        if (tile->width <= 0) return fail(n + "->tileInfo->width <= 0");
        if (tile->height <= 0) return fail(n + "->tileInfo->height <= 0");
    }
    return false;
}

}  // namespace vsk

extern "C" {

unsigned VSK_CALL vskBadImageHeader(const VskImage* image) {
    if (!image) return 0x1;
    unsigned mask = 0;
    const bool tiled = image->tileInfo != nullptr;
    if ((image->imageData == nullptr) == !tiled) mask |= 0x2;
    if ((image->dataSize <= 0 && !tiled) || image->height <= 0 || image->width <= 0) mask |= 0x4;
    if (image->widthStep <= 0 && !tiled) mask |= 0x10;
    if (image->nChannels <= 0) mask |= 0x20;
    if (image->nChannels != 1 && image->depth == VSK_1U) mask |= 0x40;
    if (!vsk::isValidDepth(image->depth)) mask |= 0x80;
    if (image->alphaChannel < 0 || image->alphaChannel > image->nChannels) mask |= 0x100;
    if (image->dataOrder != 0 && image->dataOrder != 1) mask |= 0x200;
    if (image->origin != 0 && image->origin != 1) mask |= 0x400;
    if (image->align != 4 && image->align != 8) mask |= 0x800;
    if (tiled) {
        const VskTileInfo* t = image->tileInfo;
        if (!t->callBack) mask |= 0x1000;
        if (!(t->width > 0 && t->height > 0 && t->width % 8 == 0 && t->height % 8 == 0))
            mask |= 0x2000;
    }
    if (const VskROI* roi = image->roi) {
        if (roi->coi < 0 || roi->coi > image->nChannels) mask |= 0x4000;
        if (roi->height <= 0 || roi->width <= 0) mask |= 0x8000;
        if (roi->xOffset < 0 || roi->yOffset < 0) mask |= 0x8;
    }
    return mask;
}

char* VSK_CALL vskHeaderErrorText(unsigned mask) {
    if (mask == 0) return nullptr;
    std::size_t total = 0;
    for (const HeaderFault& f : kHeaderFaults)
        if (mask & f.bit) total += kLineLength;
    if (total == 0) return kUnknownText;
    char* text = static_cast<char*>(vskAllocAligned(static_cast<int>(total + 1)));
    if (!text) return kNoMemoryText;
    char* p = text;
    for (const HeaderFault& f : kHeaderFaults) {
        if (!(mask & f.bit)) continue;
        const std::size_t len = std::strlen(f.text);
        std::memcpy(p, f.text, len);
        std::memset(p + len, ' ', kLineLength - 1 - len);
        p[kLineLength - 1] = '\n';
        p += kLineLength;
    }
    *p = '\0';
    return text;
}

void VSK_CALL vskCheckCompatible(const VskImage* src, const VskImage* dst, const char* funcName,
                                 const char* file, int line) {
    // Callers have validated both headers; null pointers are never compared.
    if (!src || !dst) return;
    const vsk::Site site{funcName, file};
    if (src->depth != dst->depth) vsk::report(site, line, "srcImage->depth != dstImage->depth");
    if (src->dataOrder != dst->dataOrder)
        vsk::report(site, line, "srcImage->dataOrder != dstImage->dataOrder");
    if (src->origin != dst->origin) vsk::report(site, line, "srcImage->origin != dstImage->origin");
}

void VSK_CALL vskCheckImage(const VskImage* image, const char* funcName, const char* file,
                            int line) {
    const vsk::Site site{funcName, file};
    if (!image) {
        vsk::report(site, line, "Image == NULL");
        return;
    }
    if (!image->imageData && !image->tileInfo)
        vsk::report(site, line, "Image->imageData == NULL && Image->tileInfo == NULL");
    if (image->imageData && image->tileInfo)
        vsk::report(site, line, "Image->imageData != NULL && Image->tileInfo != NULL");
    if (image->nChannels < 1) vsk::report(site, line, "Image->nChannels < 1");
    if (image->height <= 0) vsk::report(site, line, "Image->height <= 0");
    if (image->width <= 0) vsk::report(site, line, "Image->width <= 0");
    if (const VskTileInfo* t = image->tileInfo) {
        if (!t->callBack) vsk::report(site, line, "Image->tileInfo->callBack == NULL");
        if (t->width <= 0) vsk::report(site, line, "Image->tileInfo->width <= 0");
        if (t->height <= 0) vsk::report(site, line, "Image->tileInfo->height <= 0");
    }
    if (const VskROI* roi = image->roi) {
        if (roi->coi < 0 || roi->coi > image->nChannels)
            vsk::report(site, line, "Image->roi->coi < 0 || Image->roi->coi > Image->nChannels");
        if (roi->height <= 0) vsk::report(site, line, "Image->roi->height <= 0");
        if (roi->width <= 0) vsk::report(site, line, "Image->roi->width <= 0");
    }
}

}  // extern "C"
