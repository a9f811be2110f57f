// PNG files through libpng. libpng reports errors by a long jump back to the
// function that set the jump point; those functions (readPng, writeRows) and
// the call-backs hold only plain data, so nothing is left undestroyed.
#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <png.h>

#include "codecs.hpp"
#include "vsk_internal.h"

namespace vsk::file::detail {

namespace {

constexpr bool kLittleEndian = std::endian::native == std::endian::little;

// libpng's error pointer: the last error and the last warning (which often
// says what an error that follows means).
struct PngMessages {
    char error[kMessageSize];
    char warning[kMessageSize];
};

void pngFail(png_structp png, png_const_charp message) {
    std::snprintf(static_cast<PngMessages*>(png_get_error_ptr(png))->error, kMessageSize, "%s",
                  message);
    png_longjmp(png, 1);
}

void pngWarn(png_structp png, png_const_charp message) {
    std::snprintf(static_cast<PngMessages*>(png_get_error_ptr(png))->warning, kMessageSize, "%s",
                  message);
}

std::string reasonOf(const PngMessages& m) {
    return std::string(m.error) +
           (m.warning[0] ? std::string(" (") + m.warning + ")" : std::string());
}

// ---- reading -----------------------------------------------------------------------

struct PngRead {
    const std::uint8_t* data;
    std::size_t size;
    std::size_t pos;
    Limits limits;
    PngMessages messages;
    char why[kMessageSize];
    VskImage* image;  // owned until handed out
    png_bytep* rows;
    png_uint_32 width, height;
    int bitDepth, colorType, interlace, paletteSize;
    bool transparency;
};

void pngSupply(png_structp png, png_bytep out, png_size_t count) {
    PngRead* r = static_cast<PngRead*>(png_get_io_ptr(png));
    if (count > r->size - r->pos) png_error(png, "the file ends too early");
    std::memcpy(out, r->data + r->pos, count);
    r->pos += count;
}

bool readPng(PngRead* r) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &r->messages, pngFail, pngWarn);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        std::snprintf(r->messages.error, kMessageSize, "out of memory");
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        std::free(r->rows);
        r->rows = nullptr;
        tvskDeallocate(r->image, VSK_FREE_HEADER | VSK_FREE_DATA);
        r->image = nullptr;
        return false;
    }
    png_set_read_fn(png, r, pngSupply);
    const png_uint_32 side =
        static_cast<png_uint_32>(std::min<std::int64_t>(r->limits.maxDimension, PNG_UINT_31_MAX));
    png_set_user_limits(png, side, side);
    if (!r->limits.checksums) {
        png_set_crc_action(png, PNG_CRC_QUIET_USE, PNG_CRC_QUIET_USE);
#ifdef PNG_IGNORE_ADLER32
        png_set_option(png, PNG_IGNORE_ADLER32, PNG_OPTION_ON);
#endif
    }
    png_read_info(png, info);
    png_get_IHDR(png, info, &r->width, &r->height, &r->bitDepth, &r->colorType, &r->interlace,
                 nullptr, nullptr);
    r->transparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    // Deflate expands at most 1032 times, so a file too short to hold the
    // picture is refused before its buffer is allocated.
    const std::int64_t packed =
        (static_cast<std::int64_t>(r->width) * png_get_channels(png, info) * r->bitDepth + 7) / 8 *
        r->height;
    if (packed > 1032 * (static_cast<std::int64_t>(r->size) + 1))
        png_error(png, "the file is too short for its picture");
    png_colorp palette = nullptr;
    if (r->colorType == PNG_COLOR_TYPE_PALETTE) png_get_PLTE(png, info, &palette, &r->paletteSize);

    // Palettes become RGB, transparency an alpha channel; 1-bit grey stays packed.
    if (r->colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (r->transparency) png_set_tRNS_to_alpha(png);
    if (r->colorType == PNG_COLOR_TYPE_GRAY && r->bitDepth < 8 &&
        (r->bitDepth != 1 || r->transparency))
        png_set_expand_gray_1_2_4_to_8(png);
    if (r->bitDepth == 16 && kLittleEndian) png_set_swap(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);

    const int channels = png_get_channels(png, info);
    const int depth = png_get_bit_depth(png, info);
    if (channels < 1 || channels > 4 || (depth != 1 && depth != 8 && depth != 16) ||
        (depth == 1 && channels != 1))
        png_error(png, "unexpected sample layout");
    r->image =
        newImage(channels, static_cast<unsigned>(depth), r->width, r->height, r->limits, r->why);
    if (!r->image) png_error(png, r->why);
    if (png_get_rowbytes(png, info) > static_cast<png_size_t>(r->image->widthStep))
        png_error(png, "unexpected row size");
    r->rows = static_cast<png_bytep*>(std::malloc(sizeof(png_bytep) * r->height));
    if (!r->rows) png_error(png, "out of memory");
    for (png_uint_32 y = 0; y < r->height; ++y)
        r->rows[y] = reinterpret_cast<png_bytep>(r->image->imageData) +
                     static_cast<std::size_t>(y) * r->image->widthStep;
    png_read_image(png, r->rows);
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    std::free(r->rows);
    r->rows = nullptr;
    return true;
}

std::string describe(const PngRead& r) {
    std::string kind;
    switch (r.colorType) {
        case PNG_COLOR_TYPE_GRAY: kind = "grey"; break;
        case PNG_COLOR_TYPE_GRAY_ALPHA: kind = "grey+alpha"; break;
        case PNG_COLOR_TYPE_RGB: kind = "RGB"; break;
        case PNG_COLOR_TYPE_RGB_ALPHA: kind = "RGBA"; break;
        default: kind = "palette of " + std::to_string(r.paletteSize) + " colours"; break;
    }
    return "PNG, " + std::to_string(r.width) + " x " + std::to_string(r.height) + ", " +
           std::to_string(r.bitDepth) + "-bit " + kind +
           (r.transparency ? " with transparency" : "") +
           (r.interlace != PNG_INTERLACE_NONE ? ", interlaced" : "");
}

// ---- writing -----------------------------------------------------------------------

struct PngWrite {
    std::FILE* out;
    PngMessages messages;
    png_uint_32 width, height;
    int bitDepth, colorType;
    png_color palette[256];
    int paletteSize;
    // Rows come either from an image (through `source`) or from a DIB's packed rows.
    RowSource source;
    const std::uint8_t* dibRows;
    std::size_t dibStride;
    bool dibBottomUp;
    void* row;  // one converted row
};

const png_byte* rowOf(PngWrite* w, png_uint_32 y) {
    if (w->dibRows) return w->dibRows + (w->dibBottomUp ? w->height - 1 - y : y) * w->dibStride;
    const VskImage* image = w->source.image;
    if (image->depth == VSK_1U) return packedRow(image, static_cast<int>(y));
    if (w->bitDepth == 16)
        gatherRow16(w->source, static_cast<int>(y), static_cast<std::uint16_t*>(w->row));
    else
        gatherRow8(w->source, static_cast<int>(y), static_cast<std::uint8_t*>(w->row));
    return static_cast<const png_byte*>(w->row);
}

bool writeRows(PngWrite* w) {
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &w->messages, pngFail, pngWarn);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        std::snprintf(w->messages.error, kMessageSize, "out of memory");
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::free(w->row);
        w->row = nullptr;
        return false;
    }
    png_init_io(png, w->out);
    png_set_IHDR(png, info, w->width, w->height, w->bitDepth, w->colorType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (w->colorType == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, w->palette, w->paletteSize);
    png_write_info(png, info);
    if (w->bitDepth == 16 && kLittleEndian) png_set_swap(png);
    if (!w->dibRows && w->source.image->depth != VSK_1U) {
        w->row = std::malloc(static_cast<std::size_t>(w->width) * w->source.channels *
                             (w->bitDepth / 8));
        if (!w->row) png_error(png, "out of memory");
    }
    for (png_uint_32 y = 0; y < w->height; ++y) png_write_row(png, rowOf(w, y));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::free(w->row);
    w->row = nullptr;
    return true;
}

}  // namespace

VskImage* decodePng(const std::uint8_t* data, std::size_t size, const Limits& limits,
                    std::string* description, std::string* error) {
    PngRead r{};
    r.data = data;
    r.size = size;
    r.limits = limits;
    if (!readPng(&r)) {
        if (error) *error = "bad PNG file: " + reasonOf(r.messages);
        return nullptr;
    }
    if (description) *description = describe(r);
    return r.image;
}

bool writePng(const VskImage* image, std::FILE* out, std::string* error) {
    PngWrite w{};
    w.out = out;
    std::string why;
    if (!planRows(image, true, &w.source, &why)) {
        if (error) *error = why + " as PNG";
        return false;
    }
    static const int kinds[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                                PNG_COLOR_TYPE_RGB_ALPHA};
    w.width = static_cast<png_uint_32>(image->width);
    w.height = static_cast<png_uint_32>(image->height);
    w.bitDepth = static_cast<int>(image->depth);
    w.colorType = kinds[w.source.channels - 1];
    if (writeRows(&w)) return true;
    if (error) *error = "cannot write PNG: " + reasonOf(w.messages);
    return false;
}

bool writeIndexedPng(const vsk::bmp::Dib& dib, std::FILE* out, std::string* error) {
    const BITMAPINFOHEADER* h = dib.header();
    PngWrite w{};
    w.out = out;
    w.width = static_cast<png_uint_32>(h->biWidth);
    w.height = static_cast<png_uint_32>(dib.rows());
    w.bitDepth = h->biBitCount;
    w.colorType = PNG_COLOR_TYPE_PALETTE;
    w.paletteSize = static_cast<int>(dib.tableCount());
    if ((w.bitDepth != 1 && w.bitDepth != 4 && w.bitDepth != 8) || w.paletteSize < 1 ||
        w.paletteSize > (1 << w.bitDepth)) {
        if (error)
            *error = "a colour table of " + std::to_string(w.paletteSize) + " entries at " +
                     std::to_string(w.bitDepth) + " bits cannot be written as PNG";
        return false;
    }
    const std::uint8_t* table = dib.bytes() + 40;  // blue, green, red, 0
    for (int i = 0; i < w.paletteSize; ++i)
        w.palette[i] = {table[4 * i + 2], table[4 * i + 1], table[4 * i]};
    w.dibRows = dib.bytes() + dib.pixelOffset();
    w.dibStride = dib.rowBytes();
    w.dibBottomUp = h->biHeight > 0;
    if (writeRows(&w)) return true;
    if (error) *error = "cannot write PNG: " + reasonOf(w.messages);
    return false;
}

}  // namespace vsk::file::detail
