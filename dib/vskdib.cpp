// Device-independent bitmaps in and out: wrapping or converting a DIB into a
// library image, and writing an image into a DIB.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <vector>

#include "bits.hpp"
#include "dib.hpp"
#include "dibpalette.hpp"
#include "view.hpp"

namespace {

using vsk::dib::Field;
using vsk::dib::Fields;
using vsk::dib::Pixel;
using vsk::dib::colorCount;

const vsk::Site kTranslate{"vskTranslateDIB", "vskdib"};
const vsk::Site kConvertFrom{"vskConvertFromDIB", "vskdib"};
const vsk::Site kConvertTo{"vskConvertToDIB", "vskdib"};

// The three header checks shared by every DIB operation, at three
// consecutive lines.
bool badDibHeader(const BITMAPINFOHEADER* dib, const vsk::Site& site, int sizeLine) {
    return vsk::reportFirst(
        site, {{dib->biSize != sizeof(BITMAPINFOHEADER), sizeLine,
                "(dib->biSize != sizeof(BITMAPINFOHEADER))"},
               {dib->biPlanes != 1, sizeLine + 1, "(dib->biPlanes != 1)"},
               {dib->biCompression != BI_RGB && dib->biCompression != BI_BITFIELDS, sizeLine + 2,
                "(dib->biCompression != 0) && (dib->biCompression != 3)"}});
}

// The closing failure: an internal error unless something was reported already.
void closingFailure(const vsk::Site& site, int line) {
    if (!vsk::statusNegative()) vsk::report(site, line, "", VSK_STATUS_INTERNAL);
}

std::int64_t absHeight(const BITMAPINFOHEADER* dib) {
    return dib->biHeight < 0 ? -static_cast<std::int64_t>(dib->biHeight) : dib->biHeight;
}

// ---- rows of a DIB: a reader and a writer per bit count ------------------------

// Reads `n` pixels of one DIB row into working records.
using DibReader = void (*)(const BITMAPINFOHEADER* dib, const Fields& f, const std::uint8_t* row,
                           Pixel* out, int n);

// A palette entry as a working record; indexes past the table read black
// (the table's size is all the library knows of the DIB's memory).
inline Pixel paletteAt(const BITMAPINFOHEADER* dib, std::uint32_t count, unsigned index) {
    if (index >= count) return Pixel{0, 0, 0, 0};
    const RGBQUAD q = vsk::dib::entry(dib, index);
    return Pixel{q.rgbBlue, q.rgbGreen, q.rgbRed, q.rgbReserved};
}

void read1(const BITMAPINFOHEADER* dib, const Fields&, const std::uint8_t* row, Pixel* out, int n) {
    const std::uint32_t count = vsk::dib::colorCount(dib);
    for (int x = 0; x < n; ++x) out[x] = paletteAt(dib, count, vsk::getBit(row, x));
}
void read4(const BITMAPINFOHEADER* dib, const Fields&, const std::uint8_t* row, Pixel* out, int n) {
    const std::uint32_t count = vsk::dib::colorCount(dib);
    for (int x = 0; x < n; ++x)
        out[x] = paletteAt(dib, count, (x & 1) ? row[x >> 1] & 15 : row[x >> 1] >> 4);
}
void read8(const BITMAPINFOHEADER* dib, const Fields&, const std::uint8_t* row, Pixel* out, int n) {
    const std::uint32_t count = vsk::dib::colorCount(dib);
    for (int x = 0; x < n; ++x) out[x] = paletteAt(dib, count, row[x]);
}
void read16(const BITMAPINFOHEADER*, const Fields& f, const std::uint8_t* row, Pixel* out, int n) {
    for (int x = 0; x < n; ++x) {
        const std::uint32_t v = row[2 * x] | (row[2 * x + 1] << 8);
        out[x] = Pixel{vsk::dib::widenField(v, f.blue), vsk::dib::widenField(v, f.green),
                       vsk::dib::widenField(v, f.red), 0};
    }
}
void read24(const BITMAPINFOHEADER*, const Fields&, const std::uint8_t* row, Pixel* out, int n) {
    for (int x = 0; x < n; ++x) out[x] = Pixel{row[3 * x], row[3 * x + 1], row[3 * x + 2], 0};
}
void read32(const BITMAPINFOHEADER*, const Fields& f, const std::uint8_t* row, Pixel* out, int n) {
    for (int x = 0; x < n; ++x) {
        const std::uint32_t v = row[4 * x] | (row[4 * x + 1] << 8) | (row[4 * x + 2] << 16) |
                                (static_cast<std::uint32_t>(row[4 * x + 3]) << 24);
        out[x] = Pixel{vsk::dib::widenField(v, f.blue), vsk::dib::widenField(v, f.green),
                       vsk::dib::widenField(v, f.red), vsk::dib::widenField(v, f.alpha)};
    }
}

DibReader dibReader(int bitCount) {
    switch (bitCount) {
        case 1: return read1;
        case 4: return read4;
        case 8: return read8;
        case 16: return read16;
        case 24: return read24;
        case 32: return read32;
        default: return nullptr;
    }
}

// Writes `n` working records into one DIB row: palette indexes of the
// nearest table entries, or masked fields.
using DibWriter = void (*)(const Fields& f, vsk::dib::NearestIndex& nearest, const Pixel* in,
                           std::uint8_t* row, int n);

void write1(const Fields&, vsk::dib::NearestIndex& nearest, const Pixel* in, std::uint8_t* row,
            int n) {
    for (int x = 0; x < n; ++x) vsk::putBit(row, x, (nearest(in[x]) & 255) != 0);
}
void write4(const Fields&, vsk::dib::NearestIndex& nearest, const Pixel* in, std::uint8_t* row,
            int n) {
    for (int x = 0; x < n; ++x) {
        const unsigned nib = nearest(in[x]) & 15;
        std::uint8_t& b = row[x >> 1];
        b = static_cast<std::uint8_t>((x & 1) ? (b & 0xF0) | nib : (b & 0x0F) | (nib << 4));
    }
}
void write8(const Fields&, vsk::dib::NearestIndex& nearest, const Pixel* in, std::uint8_t* row,
            int n) {
    for (int x = 0; x < n; ++x) row[x] = static_cast<std::uint8_t>(nearest(in[x]));
}
void write16(const Fields& f, vsk::dib::NearestIndex&, const Pixel* in, std::uint8_t* row, int n) {
    // A field of w bits takes the top w bits of the 8-bit value.
    auto narrow = [](std::uint8_t v, const Field& field) -> std::uint32_t {
        const std::uint32_t w = field.width >= 8 ? static_cast<std::uint32_t>(v) << (field.width - 8)
                                                 : static_cast<std::uint32_t>(v) >> (8 - field.width);
        return (w << field.shift) & field.mask;
    };
    for (int x = 0; x < n; ++x) {
        const std::uint32_t v =
            narrow(in[x].b, f.blue) | narrow(in[x].g, f.green) | narrow(in[x].r, f.red);
        row[2 * x] = static_cast<std::uint8_t>(v);
        row[2 * x + 1] = static_cast<std::uint8_t>(v >> 8);
    }
}
void write24(const Fields&, vsk::dib::NearestIndex&, const Pixel* in, std::uint8_t* row, int n) {
    for (int x = 0; x < n; ++x) {
        row[3 * x] = in[x].b;
        row[3 * x + 1] = in[x].g;
        row[3 * x + 2] = in[x].r;
    }
}
void write32(const Fields& f, vsk::dib::NearestIndex&, const Pixel* in, std::uint8_t* row, int n) {
    auto place = [](std::uint8_t v, const Field& field) -> std::uint32_t {
        return field.shift >= 32 ? 0 : (static_cast<std::uint32_t>(v) << field.shift) & field.mask;
    };
    for (int x = 0; x < n; ++x) {
        const std::uint32_t v = place(in[x].b, f.blue) | place(in[x].g, f.green) |
                                place(in[x].r, f.red) | place(in[x].a, f.alpha);
        for (int k = 0; k < 4; ++k) row[4 * x + k] = static_cast<std::uint8_t>(v >> (8 * k));
    }
}

DibWriter dibWriter(int bitCount) {
    switch (bitCount) {
        case 1: return write1;
        case 4: return write4;
        case 8: return write8;
        case 16: return write16;
        case 24: return write24;
        case 32: return write32;
        default: return nullptr;
    }
}

// ---- channel sequences ---------------------------------------------------------

enum class Order { Grey, Bgr, Rgb, Unknown };

Order orderOf(const VskImage* image) {
    if (vsk::dib::seqIs(image, "G\0\0\0") || vsk::dib::seqIs(image, "GRAY")) return Order::Grey;
    if (vsk::dib::seqIs(image, "BGR\0") || vsk::dib::seqIs(image, "BGRA")) return Order::Bgr;
    if (vsk::dib::seqIs(image, "RGB\0") || vsk::dib::seqIs(image, "RGBA")) return Order::Rgb;
    return Order::Unknown;
}

// ---- rows of an image ------------------------------------------------------------

// Where one image row's channels lie: channel c of pixel x is at
// row + c * channelStep + x * pixelStep (bytes), or bit x of row for 1-bit data.
struct ImageRows {
    std::uint8_t* data;
    std::int64_t stride, plane;
    int height, origin;
    int inside;  // memory rows inside the buffer (fewer when the header no longer matches it)
    int memoryRow(int pictureRow) const { return origin == 1 ? height - 1 - pictureRow : pictureRow; }
    std::uint8_t* row(int pictureRow) const {
        return data + static_cast<std::int64_t>(memoryRow(pictureRow)) * stride;
    }
    bool holds(int pictureRow) const { return memoryRow(pictureRow) < inside; }
};

ImageRows rowsOf(const VskImage* image) {
    ImageRows rows;
    rows.data = reinterpret_cast<std::uint8_t*>(image->imageData);
    rows.stride = vsk::imageStride(image);
    rows.plane = rows.stride * image->height;
    rows.height = image->height;
    rows.origin = image->origin;
    rows.inside = vsk::rowsInside(image, vsk::planeCount(image) - 1);
    return rows;
}

// The byte distance between channels of a pixel and between pixels.
struct Steps {
    std::int64_t channel, pixel;
};
Steps stepsOf(const VskImage* image, const ImageRows& rows) {
    const int bytes = vsk::depthBytes(image->depth);
    if (image->dataOrder == VSK_DATA_ORDER_PLANE) return {rows.plane, bytes};
    return {bytes, static_cast<std::int64_t>(bytes) * image->nChannels};
}

std::uint8_t channelOf(const Pixel& p, int c) {
    switch (c) {
        case 0: return p.b;
        case 1: return p.g;
        case 2: return p.r;
        default: return p.a;
    }
}

// Writes working records into an image row: (nChannels, depth) decide the
// layout; 16-bit images receive value x 256.
template <class T>
void writeChannels(const Pixel* in, std::uint8_t* row, Steps s, int channels, int n) {
    for (int c = 0; c < channels; ++c) {
        std::uint8_t* p = row + c * s.channel;
        for (int x = 0; x < n; ++x) {
            const T v = static_cast<T>(sizeof(T) == 2 ? channelOf(in[x], c) * 256 : channelOf(in[x], c));
            std::memcpy(p + x * s.pixel, &v, sizeof(T));
        }
    }
}

// Reads image channels into working records (16-bit: the high byte).
template <class T>
void readChannels(const std::uint8_t* row, Steps s, int channels, Pixel* out, int n) {
    for (int x = 0; x < n; ++x) {
        std::uint8_t v[4] = {0, 0, 0, 0};
        for (int c = 0; c < channels; ++c) {
            T t;
            std::memcpy(&t, row + c * s.channel + x * s.pixel, sizeof(T));
            v[c] = static_cast<std::uint8_t>(sizeof(T) == 2 ? t >> 8 : t);
        }
        out[x] = channels == 1 ? Pixel{v[0], v[0], v[0], 0} : Pixel{v[0], v[1], v[2], v[3]};
    }
}

}  // namespace

namespace vsk::dib {

bool readImageRow(const VskImage* image, int pictureRow, Pixel* out) {
    const ImageRows rows = rowsOf(image);
    const Steps s = stepsOf(image, rows);
    const std::uint8_t* row = rows.row(pictureRow);
    const int n = image->width, ch = image->nChannels;
    // A row past the end of a buffer that no longer matches its header reads as black.
    const bool inside = rows.holds(pictureRow);
    bool read = false;
    vsk::dispatchDepth<vsk::Depths<vsk::Bit, std::uint8_t, std::uint16_t>>(image->depth, [&](auto t) {
        using T = decltype(t);
        if (vsk::kIsBit<T> ? ch != 1 : ch != 1 && ch != 3 && ch != 4) return;
        read = true;
        if (!inside) {
            std::fill(out, out + n, Pixel{0, 0, 0, 0});
        } else if constexpr (vsk::kIsBit<T>) {
            for (int x = 0; x < n; ++x) {
                const std::uint8_t v = vsk::getBit(row, x) ? 255 : 0;
                out[x] = Pixel{v, v, v, 0};
            }
        } else {
            readChannels<T>(row, s, ch, out, n);
        }
    });
    return read;
}

}  // namespace vsk::dib

extern "C" {

VSK_API VskImage* VSK_CALL tvskTranslateDIB(const BITMAPINFOHEADER* dib, int* cloneData) {
    if (vsk::reportFirst(kTranslate, {{!dib, 151, "(dib == ((void *)0))"},
                                      {!cloneData, 152, "(cloneData == ((void *)0))"}}) ||
        badDibHeader(dib, kTranslate, 153))
        return nullptr;

    struct Layout {
        int nChannels, alpha;
        unsigned depth;
        const char *model, *seq;
        int flag;
    };
    const Layout grey1{1, 0, VSK_1U, "GRAY", "G", 1}, grey4{1, 0, VSK_8U, "GRAY", "G", 0},
        grey8{1, 0, VSK_8U, "GRAY", "G", 1}, colour{3, 0, VSK_8U, "RGB", "BGR", 0},
        colourWrap{3, 0, VSK_8U, "RGB", "BGR", 1}, rgba{4, 4, VSK_8U, "RGBA", "BGRA", 1},
        rgbaMasked{4, 4, VSK_8U, "RGBA", "BGRA", 0};
    const int bits = dib->biBitCount;
    const bool palette = bits == 1 || bits == 4 || bits == 8;
    Fields fields;
    // A one-entry colour table cannot be tested for a grey ramp, and a zero
    // bit-field mask has no field: such DIBs are refused.
    const bool refused = (palette && colorCount(dib) < 2) ||
                         ((bits == 16 || bits == 32) && !vsk::dib::fieldsOf(dib, &fields));
    const Layout* layout = nullptr;
    if (!refused) {
        switch (bits) {
            case 1: layout = vsk::dib::isGrayRamp(dib) ? &grey1 : &colour; break;
            case 4: layout = vsk::dib::isGrayRamp(dib) ? &grey4 : &colour; break;
            case 8: layout = vsk::dib::isGrayRamp(dib) ? &grey8 : &colour; break;
            case 16: layout = &colour; break;
            case 24: layout = &colourWrap; break;
            case 32: layout = dib->biCompression == BI_RGB ? &rgba : &rgbaMasked; break;
        }
    }
    if (vsk::reportFirst(kTranslate, {{!layout, 246, "Bad dib->biBitCount"}})) return nullptr;
    *cloneData = layout->flag;

    const std::int64_t height = absHeight(dib);
    VskImage* image = nullptr;
    // A height that does not fit a signed int cannot be described.
    if (height <= INT_MAX)
        image = tvskCreateImageHeader(layout->nChannels, layout->alpha, layout->depth,
                                      layout->model, layout->seq, layout->flag ? 0 : 1,
                                      dib->biHeight >= 0 ? 1 : 0, layout->flag ? 4 : 8,
                                      static_cast<int>(height), dib->biWidth, nullptr, nullptr,
                                      nullptr);
    if (image && layout->flag) {
        // Wrapped rows must be describable by the 32-bit header fields.
        const std::int64_t step = vsk::dib::dibRowBytes(dib->biWidth, bits);
        if (step > INT_MAX || step * height > INT_MAX) {
            tvskDeallocate(image, VSK_FREE_HEADER);
            image = nullptr;
        }
    }
    if (!image) {
        vsk::report(kTranslate, 274, "Create image header is failed");
        return nullptr;
    }
    if (layout->flag) {
        image->widthStep = static_cast<int>(vsk::dib::dibRowBytes(dib->biWidth, bits));
        image->dataSize = image->widthStep * image->height;
        image->imageData = reinterpret_cast<char*>(const_cast<BITMAPINFOHEADER*>(dib)) +
                           dib->biSize + 4 * static_cast<std::size_t>(palette ? colorCount(dib) : 0);
        return image;
    }
    tvskAllocateImage(image, -1);
    if (!image->imageData) {
        vsk::report(kTranslate, 287, "Allocate memory for VSK image data is failed");
        tvskDeallocate(image, VSK_FREE_HEADER);
        return nullptr;
    }
    tvskConvertFromDIB(dib, image);
    return image;
}

VSK_API void VSK_CALL tvskConvertFromDIB(const BITMAPINFOHEADER* dib, VskImage* image) {
    if (vsk::reportBadHeader(image, kConvertFrom, 533) ||
        vsk::reportFirst(kConvertFrom, {{!dib, 534, "dib==0"}}) ||
        badDibHeader(dib, kConvertFrom, 536))
        return;
    const std::int64_t rows = absHeight(dib);
    if (vsk::reportFirst(kConvertFrom, {{image->width < dib->biWidth || image->height < rows, 543,
                                         "image size is too small"}}))
        return;
    // A tiled image has no buffer to write into.
    if (!image->imageData) return closingFailure(kConvertFrom, 801);

    Fields fields;
    const int bits = dib->biBitCount;
    DibReader reader = dibReader(bits);
    if ((bits == 16 || bits == 32) && !vsk::dib::fieldsOf(dib, &fields)) reader = nullptr;
    const Order order = orderOf(image);
    if (vsk::reportFirst(kConvertFrom,
                         {{order == Order::Unknown, 629, "image->channelSeq unsupport"}}))
        return closingFailure(kConvertFrom, 801);
    const int ch = image->nChannels;
    const unsigned depth = image->depth;
    const bool writable = (ch == 1 && (depth == VSK_1U || depth == VSK_8U || depth == VSK_16U)) ||
                          ((ch == 3 || ch == 4) && (depth == VSK_8U || depth == VSK_16U));
    if (!reader || !writable) return closingFailure(kConvertFrom, 801);

    const int cols = std::max(static_cast<int>(dib->biWidth), 0);
    const std::int64_t dibStride = vsk::dib::dibRowBytes(dib->biWidth, bits);
    const std::uint8_t* first = vsk::dib::pixels(dib);
    const ImageRows out = rowsOf(image);
    const Steps steps = stepsOf(image, out);
    std::vector<Pixel> line;
    try {
        line.resize(static_cast<std::size_t>(cols));
    } catch (const std::bad_alloc&) {
        return closingFailure(kConvertFrom, 801);
    }
    vsk::dispatchDepth<vsk::Depths<vsk::Bit, std::uint8_t, std::uint16_t>>(depth, [&](auto t) {
        using T = decltype(t);
        for (std::int64_t y = 0; y < rows; ++y) {
            // Rows past the end of a buffer that no longer matches its header are not written.
            if (!out.holds(static_cast<int>(y))) continue;
            // Picture order from the top: a bottom-up DIB starts at its last row.
            const std::int64_t memoryRow = dib->biHeight > 0 ? rows - 1 - y : y;
            reader(dib, fields, first + memoryRow * dibStride, line.data(), cols);
            for (Pixel& p : line) {
                if (order == Order::Grey) p.r = static_cast<std::uint8_t>((28 * p.b + 151 * p.g + 77 * p.r) >> 8);
                else if (order == Order::Rgb) std::swap(p.b, p.r);
            }
            std::uint8_t* row = out.row(static_cast<int>(y));
            if constexpr (vsk::kIsBit<T>) {
                for (int x = 0; x < cols; ++x) vsk::putBit(row, x, line[x].r > 127);
            } else {
                if (ch == 1)
                    for (Pixel& p : line) p.b = p.r;  // one channel takes the red position
                writeChannels<T>(line.data(), row, steps, ch, cols);
            }
        }
    });
}

VSK_API void VSK_CALL tvskConvertToDIB(VskImage* image, BITMAPINFOHEADER* dib, int dither,
                                       int paletteConversion) {
    if (vsk::reportBadHeader(image, kConvertTo, 1964) ||
        vsk::reportFirst(kConvertTo, {{!dib, 1965, "dib==0"}}))
        return;
    const int ch = image->nChannels, alpha = image->alphaChannel;
    // Deliberately a signed comparison of the heights: a top-down DIB is
    // always refused.
    if (vsk::reportFirst(
            kConvertTo,
            {{ch <= 0 || ch > 4, 1967, "(image->nChannels <= 0 || image->nChannels > 4)"},
             {(image->depth & 0x80000000u) != 0, 1969, "(image->depth & 0x80000000)"},
             {alpha != 0 && alpha != 4, 1970,
              "(image->alphaChannel != 0 && image->alphaChannel != 4)"},
             {alpha == 0 && ch != 3 && ch != 1, 1973,
              "(image->nChannels != 3 && image->nChannels != 1)"},
             {alpha != 0 && ch != 4, 1977, "(image->nChannels != 4)"},
             {image->width != dib->biWidth || image->height != dib->biHeight, 1979,
              "(image->width != dib->biWidth || image->height != dib->biHeight)"}}) ||
        badDibHeader(dib, kConvertTo, 1982) ||
        vsk::reportFirst(
            kConvertTo,
            {{dither != 8 && dither != 1, 1987, "(dither != 8 && dither != 1)"},
             {paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2, 1989,
              "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)"}}))
        return;
    // Reading needs the image's own buffer.
    if (!image->imageData) return closingFailure(kConvertTo, 2257);

    const int bits = dib->biBitCount;
    // Only 1, 4 and 8 bits have a table to write: other counts below 16 get
    // none and are refused below with the DIB untouched (above 8 bits the
    // median cut fails as before).
    if (bits < 16 && (bits == 1 || bits == 4 || bits == 8 || (bits > 8 && paletteConversion == 2))) {
        if (paletteConversion == 1) {
            vsk::dib::makeFixedPalette(dib, image->nChannels == 1);
        } else if (paletteConversion == 2 && !vsk::dib::medcutPalette(dib, image)) {
            vsk::report(kConvertTo, 2009, "create medcut palette error");
            return closingFailure(kConvertTo, 2257);
        }
    }
    Fields fields;
    const bool masked = bits == 16 || bits == 32;
    if (masked && !vsk::dib::fieldsOf(dib, &fields)) return closingFailure(kConvertTo, 2257);

    // Sixteen-bit images with dither 8 are first reduced to an 8-bit copy.
    VskImage* copy = nullptr;
    const VskImage* source = image;
    if (image->depth == VSK_16U && dither == 8) {
        copy = tvskCreateImageHeader(image->nChannels, image->alphaChannel, VSK_8U, image->colorModel,
                                     image->channelSeq, image->dataOrder, image->origin, image->align,
                                     image->height, image->width, nullptr, nullptr, nullptr);
        if (!copy) return closingFailure(kConvertTo, 2257);
        tvskAllocateImage(copy, -1);
        if (copy->imageData) vskReduceBits(image, copy, 0, 8, 1, nullptr);
        // Deliberately inverted: the conversion goes on from the copy only
        // while an error is pending.
        if (!copy->imageData || !vsk::statusNegative()) {
            tvskDeallocate(copy, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI | VSK_FREE_TILE);
            return closingFailure(kConvertTo, 2257);
        }
        source = copy;
    }
    auto finish = [&](bool failed) {
        if (copy) tvskDeallocate(copy, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI | VSK_FREE_TILE);
        if (failed) closingFailure(kConvertTo, 2257);
    };

    const Order order = orderOf(source);
    const int cols = std::min(source->width, static_cast<int>(dib->biWidth));
    const int rows = source->height;
    std::vector<Pixel> line;
    try {
        line.resize(static_cast<std::size_t>(std::max(source->width, 0)));
    } catch (const std::bad_alloc&) {
        return finish(true);
    }
    if (!vsk::dib::readImageRow(source, 0, line.data())) return finish(true);
    const DibWriter writer = dibWriter(bits);
    if (vsk::reportFirst(kConvertTo,
                         {{order == Order::Unknown, 2109, "image->channelSeq unsupport"},
                          {!writer, 2176, "dib-<biBitCount is bad"}}))
        return finish(true);

    vsk::dib::NearestIndex nearest(dib);
    const std::int64_t dibStride = vsk::dib::dibRowBytes(dib->biWidth, bits);
    std::uint8_t* first = vsk::dib::pixels(dib);
    for (int y = 0; y < rows; ++y) {
        vsk::dib::readImageRow(source, y, line.data());
        for (Pixel& p : line) {
            if (order == Order::Grey) p = Pixel{p.r, p.r, p.r, 0};
            else if (order == Order::Rgb) std::swap(p.b, p.r);
        }
        const std::int64_t memoryRow = dib->biHeight > 0 ? rows - 1 - y : y;
        std::uint8_t* row = first + memoryRow * dibStride;
        writer(fields, nearest, line.data(), row, cols);
    }
    finish(false);
}

}  // extern "C"
