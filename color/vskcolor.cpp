// Colour and grey conversion, bit reduction with jitter and dithering, and
// the HSV and HLS conversions: argument checks and the choice between one
// direct call and the destination tile walk.
#include <cstring>

#include "owncolor.hpp"

using namespace vsk;
using namespace vsk::color;

namespace {

// Reported for images an operation cannot convert (their names, depths,
// orders or channels).
constexpr const char* kIncompatible = "incomatibleimages";

struct HueOperation {
    const char* name;
    const char* srcModel;
    int srcLine, dstLine, incompatibleLine;
    HueConversion conversion;
};

void hueOperation(VskImage* src, VskImage* dst, const int* dstTile, const HueOperation& op) {
    if (colorBadHeaders(src, dst, op.srcLine, op.dstLine) || !colorCheckImages(src, dst, op.name))
        return;
    const bool incompatible = !nameIs(src->colorModel, op.srcModel) ||
                              channelCount(src) != channelCount(dst) || src->depth != dst->depth ||
                              src->dataOrder != dst->dataOrder || src->origin != dst->origin;
    if (reportFirst({op.name, kTopFile}, {{incompatible, op.incompatibleLine, kIncompatible}}))
        return;
    colorRun(src, dst, dstTile, [&](const Block& b) { ownHueConvert(b, op.conversion); });
}

}  // namespace

extern "C" {

VSK_API void VSK_CALL tvskColorToGray(VskImage* srcImage, VskImage* dstImage, int* dstTile) {
    if (colorBadHeaders(srcImage, dstImage, 155, 156) ||
        !colorCheckImages(srcImage, dstImage, "vskColorToGray"))
        return;
    // A second test, for an "RGBA" source or a "Gray" destination, is
    // deliberately vacuous: every source that starts "RGB" passes it.
    const bool incompatible =
        !nameIs(srcImage->colorModel, "RGB") ||
        (dstImage->dataOrder == VSK_DATA_ORDER_PIXEL && dstImage->nChannels != 1) ||
        srcImage->origin != dstImage->origin;
    if (reportFirst({"vskColorToGray", kTopFile}, {{incompatible, 159, kIncompatible}})) return;
    colorRun(srcImage, dstImage, dstTile, [](const Block& b) { ownColorToGray(b); });
}

VSK_API void VSK_CALL tvskGrayToColor(VskImage* srcImage, VskImage* dstImage, float redFraction,
                                      float greenFraction, float blueFraction, int* dstTile) {
    if (colorBadHeaders(srcImage, dstImage, 468, 469) ||
        !colorCheckImages(srcImage, dstImage, "vskGrayToColor"))
        return;
    const bool depthsFit = srcImage->depth == dstImage->depth ||
                           (srcImage->depth == VSK_1U && dstImage->depth == VSK_8U);
    const bool incompatible =
        !nameIs(dstImage->colorModel, "RGB") || !depthsFit ||
        (srcImage->dataOrder == VSK_DATA_ORDER_PIXEL && srcImage->nChannels != 1) ||
        srcImage->origin != dstImage->origin;
    if (reportFirst({"vskGrayToColor", kTopFile}, {{incompatible, 472, kIncompatible}})) return;
    colorRun(srcImage, dstImage, dstTile,
             [&](const Block& b) { ownGrayToColor(b, redFraction, greenFraction, blueFraction); });
}

void VSK_CALL vskReduceBits(VskImage* srcImage, VskImage* dstImage, int jitterType, int ditherType,
                            int levels, const int* dstTile) {
    const Site site{"vskReduceBits", kTopFile};
    if (reportFirst(site, {{static_cast<unsigned>(jitterType) > 8, 67,
                            "(0>jitterType)||(jitterType>8)"}}) ||
        colorBadHeaders(srcImage, dstImage, 68, 69) ||
        !colorCheckImages(srcImage, dstImage, "vskReduceBits"))
        return;
    const bool incompatible = channelCount(srcImage) != channelCount(dstImage) ||
                              srcImage->dataOrder != dstImage->dataOrder ||
                              srcImage->origin != dstImage->origin;
    if (reportFirst(site, {{incompatible, 72, kIncompatible}})) return;
    if (!srcImage->tileInfo && !dstImage->tileInfo && ditherType == 1 && jitterType == 0) {
        ownReduceBits(directBlock(srcImage, dstImage));
        return;
    }
    const int bits = depthBits(dstImage->depth);
    if (levels < 0)
        levels = 0;
    else if (levels > bits)
        levels = bits / 2;
    JitterTables tables;  // this call's own noise tables (12 KiB)
    if (jitterType != 0) jitterFillTables(tables);
    colorWalk(srcImage, dstImage, dstTile, [&](const Block& b) {
        if (jitterType != 0)
            ownjitter_rect(b, jitterType, tables);
        else
            ownReduceBits(b);
        if (ditherType != 1)
            own_dither_rect(dstImage, ditherType, b.dstData, b.width, b.rows, b.dstStep, levels);
    });
}

void VSK_CALL vskRGB2HSV(VskImage* srcImage, VskImage* dstImage, const int* dstTile) {
    hueOperation(srcImage, dstImage, dstTile,
                 {"vskRGB2HSV", "RGB", 222, 223, 226, HueConversion::RgbToHsv});
}

void VSK_CALL vskHSV2RGB(VskImage* srcImage, VskImage* dstImage, const int* dstTile) {
    hueOperation(srcImage, dstImage, dstTile,
                 {"vskHSV2RGB", "HSV", 285, 286, 289, HueConversion::HsvToRgb});
}

void VSK_CALL vskRGB2HLS(VskImage* srcImage, VskImage* dstImage, const int* dstTile) {
    hueOperation(srcImage, dstImage, dstTile,
                 {"vskRGB2HLS", "RGB", 347, 348, 351, HueConversion::RgbToHls});
}

void VSK_CALL vskHLS2RGB(VskImage* srcImage, VskImage* dstImage, const int* dstTile) {
    hueOperation(srcImage, dstImage, dstTile,
                 {"vskHLS2RGB", "HLS", 408, 409, 412, HueConversion::HlsToRgb});
}

}  // extern "C"
