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

namespace {

// A check of the standard per-image sequence: its text names the image
// parameter where '@' stands.
struct NamedCheck {
    bool condition;
    const char* text;
};

// Reports the first named check that holds, the text written for `name`.
bool reportFirstNamed(const Site& site, int line, const char* name,
                      std::initializer_list<NamedCheck> checks) {
    for (const NamedCheck& c : checks) {
        if (!c.condition) continue;
        std::string text;
        for (const char* p = c.text; *p; ++p) {
            if (*p == '@')
                text += name;
            else
                text += *p;
        }
        report(site, line, text.c_str());
        return true;
    }
    return false;
}

bool failsImageChecksWithTexts(const VskImage* image, const char* name, const Site& site,
                               int line) {
    if (reportFirstNamed(site, line, name, {{!image, "@==0"}})) return true;
    const VskROI* roi = image->roi;
    const VskTileInfo* tile = image->tileInfo;
    return reportFirstNamed(
        site, line, name,
        {
            {vskBadImageHeader(image) != 0, "vskBadImageHeader(@) != 0"},
            {image->width <= 0, "@->width <= 0"},
            {image->height <= 0, "@->height <= 0"},
            {image->nChannels <= 0, "@->nChannels <= 0"},
            {roi && roi->width <= 0, "@->roi->width <= 0"},
            {roi && roi->height <= 0, "@->roi->height <= 0"},
            {roi && roi->xOffset < 0, "@->roi->xOffset < 0"},
            {roi && roi->yOffset < 0, "@->roi->yOffset < 0"},
            {roi && roi->xOffset >= image->width, "@->roi->xOffset >= @->width"},
            {roi && roi->yOffset >= image->height, "@->roi->yOffset >= @->height"},
            {roi && roi->coi < 0, "@->roi->coi < 0"},
            {roi && roi->coi > image->nChannels, "@->roi->coi > @->nChannels"},
            {!image->imageData && !tile,
             "@->imageData == ((void*)(0)) && @->tileInfo == ((void*)(0))"},
            {image->imageData && tile,
             "@->imageData != ((void*)(0)) && @->tileInfo != ((void*)(0))"},
            {tile && !tile->callBack, "@->tileInfo->callBack==0"},
            {tile && tile->width <= 0, "@->tileInfo->width <= 0"},
            {tile && tile->height <= 0, "@->tileInfo->height <= 0"},
        });
}

}  // namespace

bool reportFirst(const Site& site, std::initializer_list<Check> checks) {
    for (const Check& c : checks) {
        if (!c.condition) continue;
        report(site, c.line, c.text);
        return true;
    }
    return false;
}

bool reportAll(const Site& site, std::initializer_list<Check> checks) {
    bool any = false;
    for (const Check& c : checks) {
        if (!c.condition) continue;
        report(site, c.line, c.text);
        any = true;
    }
    return any;
}

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
    vsk::reportAll({funcName, file},
                   {
                       {src->depth != dst->depth, line, "srcImage->depth != dstImage->depth"},
                       {src->dataOrder != dst->dataOrder, line,
                        "srcImage->dataOrder != dstImage->dataOrder"},
                       {src->origin != dst->origin, line, "srcImage->origin != dstImage->origin"},
                   });
}

void VSK_CALL vskCheckImage(const VskImage* image, const char* funcName, const char* file,
                            int line) {
    const vsk::Site site{funcName, file};
    if (vsk::reportFirst(site, {{!image, line, "Image == NULL"}})) return;
    const VskTileInfo* t = image->tileInfo;
    const VskROI* roi = image->roi;
    vsk::reportAll(
        site,
        {
            {!image->imageData && !t, line, "Image->imageData == NULL && Image->tileInfo == NULL"},
            {image->imageData && t, line, "Image->imageData != NULL && Image->tileInfo != NULL"},
            {image->nChannels < 1, line, "Image->nChannels < 1"},
            {image->height <= 0, line, "Image->height <= 0"},
            {image->width <= 0, line, "Image->width <= 0"},
            {t && !t->callBack, line, "Image->tileInfo->callBack == NULL"},
            {t && t->width <= 0, line, "Image->tileInfo->width <= 0"},
            {t && t->height <= 0, line, "Image->tileInfo->height <= 0"},
            {roi && (roi->coi < 0 || roi->coi > image->nChannels), line,
             "Image->roi->coi < 0 || Image->roi->coi > Image->nChannels"},
            {roi && roi->height <= 0, line, "Image->roi->height <= 0"},
            {roi && roi->width <= 0, line, "Image->roi->width <= 0"},
        });
}

}  // extern "C"
