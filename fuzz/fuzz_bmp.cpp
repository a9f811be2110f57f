// Fuzz target: a .bmp file through the file layer, DIB import and export.
#include <cstddef>
#include <cstdint>
#include <string>

#include "bmpfile.hpp"
#include "vsk_internal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vskSetErrMode(VSK_ErrorModeSilent);
    vskSetErrStatus(0);
    vsk::bmp::Dib dib;
    std::string error;
    if (!vsk::bmp::parse(data, size, &dib, &error)) return 0;
    VskImage* image = vsk::bmp::imageFromDib(dib, &error);
    if (!image) return 0;
    // Back out through every export layout the image allows.
    const int trailer = size ? data[size - 1] : 0;
    for (int bits : {0, 1, 4, 8, 16, 24, 32}) {
        vsk::bmp::SaveOptions options;
        options.bitCount = bits;
        options.paletteConversion = 1 + (trailer & 1);
        vsk::bmp::Dib out;
        vsk::bmp::dibFromImage(image, options, &out, &error);
    }
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
    return 0;
}
