#include "dib.hpp"

namespace vsk::dib {

std::uint32_t colorCount(const BITMAPINFOHEADER* dib) {
    switch (dib->biBitCount) {
        case 1:
        case 4:
        case 8: return dib->biClrUsed ? dib->biClrUsed : (1u << dib->biBitCount);
        case 16:
        case 32:
            if (dib->biCompression == BI_RGB) return 0;
            if (dib->biCompression == BI_BITFIELDS) return 3;
            return dib->biClrUsed;
        case 24: return 0;  // deliberately whatever biClrUsed says
        default: return dib->biClrUsed;
    }
}

bool isGrayRamp(const BITMAPINFOHEADER* dib) {
    const std::uint32_t n = colorCount(dib);
    if (n < 2) return false;
    for (std::uint32_t i = 0; i < n; ++i) {
        const RGBQUAD q = entry(dib, i);
        const std::uint32_t grey = static_cast<std::uint32_t>(255u * static_cast<std::uint64_t>(i) / (n - 1));
        if (q.rgbRed != grey || q.rgbGreen != grey || q.rgbBlue != grey) return false;
    }
    return true;
}

Field fieldFromMask(std::uint32_t mask) {
    Field f;
    f.mask = mask;
    if (mask == 0) return f;
    while (!(mask & 1u)) {
        mask >>= 1;
        ++f.shift;
    }
    while (mask & 1u) {
        mask >>= 1;
        ++f.width;
    }
    return f;
}

bool fieldsOf(const BITMAPINFOHEADER* dib, Fields* fields) {
    Fields f;
    if (dib->biBitCount == 16) {
        if (dib->biCompression == BI_RGB) {
            f.red = {0x7C00, 10, 5};
            f.green = {0x03E0, 5, 5};
            f.blue = {0x001F, 0, 5};
        } else {
            const std::uint32_t r = mask(dib, 0) & 0xFFFF, g = mask(dib, 1) & 0xFFFF,
                                b = mask(dib, 2) & 0xFFFF;
            if (!r || !g || !b) return false;
            f.red = fieldFromMask(r);
            f.green = fieldFromMask(g);
            f.blue = fieldFromMask(b);
        }
        *fields = f;
        return true;
    }
    if (dib->biBitCount == 32) {
        if (dib->biCompression == BI_RGB) {
            f.red = {0x00FF0000, 16, 8};
            f.green = {0x0000FF00, 8, 8};
            f.blue = {0x000000FF, 0, 8};
            // The top byte sits at shift 8 with no width: it always reads and
            // writes as 0.
            f.alpha = {0xFF000000, 8, 0};
        } else {
            const std::uint32_t r = mask(dib, 0), g = mask(dib, 1), b = mask(dib, 2);
            if (!r || !g || !b) return false;
            f.red = fieldFromMask(r);
            f.green = fieldFromMask(g);
            f.blue = fieldFromMask(b);
            // Alpha: every bit above the colour field with the largest shift;
            // fields reaching bit 31 deliberately give an all-ones mask.
            const Field* top = &f.red;
            if (f.green.shift > top->shift) top = &f.green;
            if (f.blue.shift > top->shift) top = &f.blue;
            const int t = (top->shift + top->width) % 32;
            f.alpha = fieldFromMask((0xFFFFFFFFu >> t) << t);
        }
        *fields = f;
        return true;
    }
    return false;
}

}  // namespace vsk::dib
