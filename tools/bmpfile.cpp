#include "bmpfile.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

#include "vsk_internal.h"

namespace vsk::bmp {

namespace {

std::uint16_t u16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | (p[1] << 8)); }
std::uint32_t u32(const std::uint8_t* p) {
    return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}
std::int32_t i32(const std::uint8_t* p) { return static_cast<std::int32_t>(u32(p)); }
void put32(std::uint8_t* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

bool fail(std::string* error, const std::string& text) {
    if (error) *error = text;
    return false;
}

// DIB rows are the library's rows at 4-byte alignment. Widths stay within
// kMaxDimension (checked by every caller), so the 32-bit stride cannot wrap.
std::int64_t rowBytesOf(std::int64_t width, int bits) {
    return vskComputeWidthStep(VSK_DATA_ORDER_PIXEL, static_cast<unsigned>(bits), 4, 1, static_cast<int>(width));
}

}  // namespace

// ---- the packed DIB --------------------------------------------------------------

Dib Dib::make(int width, int height, int bitCount, std::uint32_t compression,
              std::uint32_t tableEntries) {
    Dib d;
    const std::size_t table = compression == BI_BITFIELDS ? 12 : 4 * static_cast<std::size_t>(tableEntries);
    const std::int64_t rows = height < 0 ? -static_cast<std::int64_t>(height) : height;
    d.resize(40 + table + static_cast<std::size_t>(rowBytesOf(width, bitCount) * rows));
    BITMAPINFOHEADER* h = d.header();
    h->biSize = 40;
    h->biWidth = width;
    h->biHeight = height;
    h->biPlanes = 1;
    h->biBitCount = static_cast<std::uint16_t>(bitCount);
    h->biCompression = compression;
    h->biSizeImage = static_cast<std::uint32_t>(rowBytesOf(width, bitCount) * rows);
    h->biXPelsPerMeter = h->biYPelsPerMeter = 2835;  // 72 dpi
    h->biClrUsed = bitCount <= 8 && tableEntries != (1u << bitCount) ? tableEntries : 0;
    return d;
}

void Dib::resize(std::size_t size) {
    words_.assign((size + 3) / 4, 0);
    size_ = size;
}

std::uint32_t Dib::tableCount() const {
    const BITMAPINFOHEADER* h = header();
    switch (h->biBitCount) {
        case 1: case 4: case 8: return h->biClrUsed ? h->biClrUsed : 1u << h->biBitCount;
        case 16: case 32: return h->biCompression == BI_BITFIELDS ? 3 : (h->biCompression == BI_RGB ? 0 : h->biClrUsed);
        case 24: return 0;
        default: return h->biClrUsed;
    }
}

std::size_t Dib::rowBytes() const {
    return static_cast<std::size_t>(rowBytesOf(header()->biWidth, header()->biBitCount));
}
std::size_t Dib::rows() const {
    const std::int64_t h = header()->biHeight;
    return static_cast<std::size_t>(h < 0 ? -h : h);
}

// ---- reading ---------------------------------------------------------------------

bool parse(const std::uint8_t* data, std::size_t size, Dib* out, std::string* error) {
    if (size < 18) return fail(error, "file too short for a BMP header (" + std::to_string(size) + " bytes)");
    if (data[0] != 'B' || data[1] != 'M') return fail(error, "not a BMP file (no 'BM' signature)");
    const std::uint64_t offBits = u32(data + 10);
    const std::uint64_t headerSize = u32(data + 14);
    const bool core = headerSize == 12;
    if (!core && headerSize != 40 && headerSize != 52 && headerSize != 56 && headerSize != 108 &&
        headerSize != 124)
        return fail(error, "unsupported DIB header size " + std::to_string(headerSize));
    if (14 + headerSize > size) return fail(error, "truncated DIB header");
    const std::uint8_t* h = data + 14;

    std::int64_t width, height;
    int planes, bits;
    std::uint32_t compression = BI_RGB, clrUsed = 0;
    std::int32_t xppm = 0, yppm = 0;
    if (core) {
        width = u16(h + 4);
        height = u16(h + 6);
        planes = u16(h + 8);
        bits = u16(h + 10);
    } else {
        width = i32(h + 4);
        height = i32(h + 8);
        planes = u16(h + 12);
        bits = u16(h + 14);
        compression = u32(h + 16);
        xppm = i32(h + 24);
        yppm = i32(h + 28);
        clrUsed = u32(h + 32);
    }
    if (planes != 1) return fail(error, "the number of planes is " + std::to_string(planes) + ", not 1");
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return fail(error, "unsupported bit count " + std::to_string(bits));
    if (compression != BI_RGB && !(compression == BI_BITFIELDS && (bits == 16 || bits == 32)))
        return fail(error, "compression " + std::to_string(compression) +
                               " is not supported (only uncompressed and bit-field bitmaps)");
    const std::int64_t rows = height < 0 ? -height : height;
    if (width <= 0 || rows == 0)
        return fail(error, "invalid dimensions " + std::to_string(width) + " x " + std::to_string(height));
    if (width > kMaxDimension || rows > kMaxDimension)
        return fail(error, "dimensions " + std::to_string(width) + " x " + std::to_string(rows) + " are too large");
    const std::int64_t stride = rowBytesOf(width, bits);
    const std::int64_t pixelBytes = stride * rows;
    if (pixelBytes > kMaxPixelBytes) return fail(error, "pixel data of " + std::to_string(pixelBytes) + " bytes is too large");

    // Colour table (or bit-field masks) after the header.
    std::uint64_t tableStart = 14 + headerSize;
    std::uint32_t entries = 0;
    const int entrySize = core ? 3 : 4;
    std::uint32_t masks[3] = {0, 0, 0};
    if (bits <= 8) {
        const std::uint32_t most = 1u << bits;
        if (clrUsed > most)
            return fail(error, "colour table of " + std::to_string(clrUsed) + " entries is larger than " +
                                   std::to_string(most));
        entries = clrUsed ? clrUsed : most;
    } else if (compression == BI_BITFIELDS) {
        const std::uint8_t* m;
        if (headerSize >= 52) {
            m = h + 40;
        } else {
            if (tableStart + 12 > size) return fail(error, "bit-field masks run past the end of the file");
            m = data + tableStart;
            tableStart += 12;
        }
        for (int i = 0; i < 3; ++i) masks[i] = u32(m + 4 * i);
        if (!masks[0] || !masks[1] || !masks[2]) return fail(error, "a bit-field mask is zero");
        if (bits == 16 && (!(masks[0] & 0xFFFF) || !(masks[1] & 0xFFFF) || !(masks[2] & 0xFFFF)))
            return fail(error, "a bit-field mask has no bits in a 16-bit pixel");
    }
    const std::uint64_t tableEnd = tableStart + static_cast<std::uint64_t>(entries) * entrySize;
    if (tableEnd > size) return fail(error, "colour table runs past the end of the file");
    if (offBits < tableEnd)
        return fail(error, "pixel data offset " + std::to_string(offBits) + " lies inside the headers");
    if (offBits > size || size - offBits < static_cast<std::uint64_t>(pixelBytes))
        return fail(error, "pixel data (" + std::to_string(pixelBytes) + " bytes at offset " +
                               std::to_string(offBits) + ") runs past the end of the file (" +
                               std::to_string(size) + " bytes)");

    Dib dib = Dib::make(static_cast<int>(width), static_cast<int>(height), bits, compression,
                        bits <= 8 ? entries : 0);
    BITMAPINFOHEADER* d = dib.header();
    d->biXPelsPerMeter = xppm;
    d->biYPelsPerMeter = yppm;
    d->biClrUsed = bits <= 8 ? entries : 0;
    std::uint8_t* table = dib.bytes() + 40;
    if (bits <= 8) {
        for (std::uint32_t i = 0; i < entries; ++i) {
            const std::uint8_t* e = data + tableStart + static_cast<std::uint64_t>(i) * entrySize;
            table[4 * i] = e[0];
            table[4 * i + 1] = e[1];
            table[4 * i + 2] = e[2];
            table[4 * i + 3] = core ? 0 : e[3];
        }
    } else if (compression == BI_BITFIELDS) {
        for (int i = 0; i < 3; ++i) put32(table + 4 * i, masks[i]);
    }
    std::memcpy(dib.bytes() + dib.pixelOffset(), data + offBits, static_cast<std::size_t>(pixelBytes));
    *out = std::move(dib);
    return true;
}

bool readFile(const std::string& path, Dib* out, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return fail(error, path + ": cannot open (" + std::strerror(errno) + ")");
    std::vector<std::uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::string reason;
    if (!parse(data.data(), data.size(), out, &reason)) return fail(error, path + ": " + reason);
    return true;
}

// ---- writing ---------------------------------------------------------------------

std::vector<std::uint8_t> serialize(const Dib& dib) {
    const std::size_t dibBytes = dib.pixelOffset() + dib.rowBytes() * dib.rows();
    std::vector<std::uint8_t> file(14 + dibBytes, 0);
    file[0] = 'B';
    file[1] = 'M';
    put32(file.data() + 2, static_cast<std::uint32_t>(file.size()));
    put32(file.data() + 10, static_cast<std::uint32_t>(14 + dib.pixelOffset()));
    std::memcpy(file.data() + 14, dib.bytes(), std::min(dibBytes, dib.size()));
    return file;
}

bool writeFile(const std::string& path, const Dib& dib, std::string* error) {
    const std::vector<std::uint8_t> bytes = serialize(dib);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return fail(error, path + ": cannot create (" + std::strerror(errno) + ")");
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out) return fail(error, path + ": write failed");
    return true;
}

// ---- images ----------------------------------------------------------------------

VskImage* imageFromDib(const Dib& dib, std::string* error) {
    const int before = tvskGetErrStatus();
    vskSetErrStatus(0);
    int clone = 0;
    VskImage* wrapped = tvskTranslateDIB(dib.header(), &clone);
    const int status = tvskGetErrStatus();
    vskSetErrStatus(before);
    if (!wrapped || status < 0) {
        if (wrapped) tvskDeallocate(wrapped, clone ? VSK_FREE_HEADER : VSK_FREE_HEADER | VSK_FREE_DATA);
        fail(error, "the library refused the bitmap (status " + std::to_string(status) + ", " +
                        vskErrorText(status) + ")");
        return nullptr;
    }
    if (!clone) return wrapped;
    // The wrapped image points into the DIB: give it a buffer of its own.
    VskImage* own = tvskCreateImageHeader(wrapped->nChannels, wrapped->alphaChannel, wrapped->depth,
                                          wrapped->colorModel, wrapped->channelSeq, wrapped->dataOrder,
                                          wrapped->origin, wrapped->align, wrapped->height, wrapped->width,
                                          nullptr, nullptr, nullptr);
    if (own) tvskAllocateImage(own, -1);
    if (!own || !own->imageData) {
        tvskDeallocate(own, VSK_FREE_HEADER);
        tvskDeallocate(wrapped, VSK_FREE_HEADER);
        fail(error, "out of memory");
        return nullptr;
    }
    std::memcpy(own->imageData, wrapped->imageData, static_cast<std::size_t>(own->dataSize));
    tvskDeallocate(wrapped, VSK_FREE_HEADER);
    return own;
}

VskImage* loadImage(const std::string& path, std::string* error) {
    Dib dib;
    if (!readFile(path, &dib, error)) return nullptr;
    std::string reason;
    VskImage* image = imageFromDib(dib, &reason);
    if (!image) fail(error, path + ": " + reason);
    return image;
}

bool dibFromImage(VskImage* image, const SaveOptions& options, Dib* out, std::string* error) {
    if (!image || !image->imageData) return fail(error, "the image has no pixel buffer");
    if (image->depth & VSK_DEPTH_SIGN) return fail(error, "signed images cannot be written as a bitmap");
    if (image->width <= 0 || image->height <= 0 || image->width > kMaxDimension || image->height > kMaxDimension)
        return fail(error, "a " + std::to_string(image->width) + " x " + std::to_string(image->height) +
                               " image cannot be written as a bitmap");
    const bool alpha = image->nChannels == 4 && image->alphaChannel == 4;
    int bits = options.bitCount;
    if (bits == 0) {
        if (image->depth == VSK_1U) bits = 1;
        else if (image->nChannels == 1) bits = 8;
        else if (image->nChannels == 3) bits = 24;
        else if (alpha) bits = 32;
        else return fail(error, "an image of " + std::to_string(image->nChannels) + " channels cannot be written as a bitmap");
    }
    const std::uint32_t compression = bits == 32 && alpha ? BI_BITFIELDS : BI_RGB;
    Dib dib = Dib::make(image->width, image->height, bits, compression, bits <= 8 ? 1u << bits : 0);
    if (compression == BI_BITFIELDS) {
        put32(dib.bytes() + 40, 0x00FF0000);
        put32(dib.bytes() + 44, 0x0000FF00);
        put32(dib.bytes() + 48, 0x000000FF);
    }
    // Sixteen-bit images to be dithered are reduced to 8 bits first.
    VskImage* source = image;
    VskImage* reduced = nullptr;
    const int before = tvskGetErrStatus();
    vskSetErrStatus(0);
    if (image->depth == VSK_16U && options.dither == 8) {
        reduced = tvskCreateImageHeader(image->nChannels, image->alphaChannel, VSK_8U, image->colorModel,
                                        image->channelSeq, image->dataOrder, image->origin, image->align,
                                        image->height, image->width, nullptr, nullptr, nullptr);
        if (reduced) tvskAllocateImage(reduced, 0);
        if (!reduced || !reduced->imageData) {
            tvskDeallocate(reduced, VSK_FREE_HEADER);
            vskSetErrStatus(before);
            return fail(error, "out of memory");
        }
        vskReduceBits(image, reduced, 0, 8, 1, nullptr);
        source = reduced;
    }
    tvskConvertToDIB(source, dib.header(), 1, bits <= 8 ? options.paletteConversion : 0);
    const int status = tvskGetErrStatus();
    vskSetErrStatus(before);
    if (reduced) tvskDeallocate(reduced, VSK_FREE_HEADER | VSK_FREE_DATA);
    if (status < 0)
        return fail(error, "the library could not convert the image (status " + std::to_string(status) + ", " +
                               vskErrorText(status) + ")");
    *out = std::move(dib);
    return true;
}

bool saveImage(VskImage* image, const std::string& path, const SaveOptions& options, std::string* error) {
    Dib dib;
    std::string reason;
    if (!dibFromImage(image, options, &dib, &reason)) return fail(error, path + ": " + reason);
    return writeFile(path, dib, error);
}

}  // namespace vsk::bmp
