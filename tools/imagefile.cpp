#include "imagefile.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "codecs.hpp"
#include "vsk_internal.h"

namespace vsk::file {

namespace {

bool fail(std::string* error, const std::string& text) {
    if (error) *error = text;
    return false;
}

std::string bmpDescription(const vsk::bmp::Dib& dib) {
    const BITMAPINFOHEADER* h = dib.header();
    const std::int64_t rows =
        h->biHeight < 0 ? -static_cast<std::int64_t>(h->biHeight) : h->biHeight;
    return "BMP, " + std::to_string(h->biWidth) + " x " + std::to_string(rows) + ", " +
           std::to_string(h->biBitCount) + " bits per pixel, " +
           (h->biCompression == BI_BITFIELDS ? "bit fields" : "uncompressed") + ", " +
           (h->biHeight < 0 ? "top-down" : "bottom-up") + ", " +
           std::to_string(h->biBitCount <= 8 ? dib.tableCount() : 0u) + " colour table entries";
}

bool hasTable(const SaveOptions& options) {
    return options.bmp.bitCount >= 1 && options.bmp.bitCount <= 8;
}

}  // namespace

const char* formatName(Format format) {
    switch (format) {
        case Format::Png: return "PNG";
        case Format::Jpeg: return "JPEG";
        default: return "BMP";
    }
}

bool available(Format format) {
    switch (format) {
#ifdef VSK_HAVE_PNG
        case Format::Png: return true;
#endif
#ifdef VSK_HAVE_JPEG
        case Format::Jpeg: return true;
#endif
        case Format::Bmp: return true;
        default: return false;
    }
}

std::optional<Format> sniff(const std::uint8_t* data, std::size_t size) {
    static const std::uint8_t png[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (size >= 2 && data[0] == 'B' && data[1] == 'M') return Format::Bmp;
    if (size >= 8 && std::memcmp(data, png, 8) == 0) return Format::Png;
    if (size >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF) return Format::Jpeg;
    return std::nullopt;
}

std::optional<Format> formatOfName(const std::string& path) {
    const std::size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || path.find_first_of("/\\", dot) != std::string::npos)
        return std::nullopt;
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (ext == "bmp" || ext == "dib") return Format::Bmp;
    if (ext == "png") return Format::Png;
    if (ext == "jpg" || ext == "jpeg" || ext == "jpe" || ext == "jfif") return Format::Jpeg;
    return std::nullopt;
}

VskImage* decode(const std::uint8_t* data, std::size_t size, [[maybe_unused]] const Limits& limits,
                 std::string* description, std::string* error) {
    const std::optional<Format> format = sniff(data, size);
    if (!format) {
        fail(error, "not a BMP, PNG or JPEG file (unknown signature)");
        return nullptr;
    }
    std::string about;
    VskImage* image = nullptr;
    switch (*format) {
        case Format::Bmp: {
            vsk::bmp::Dib dib;
            if (!vsk::bmp::parse(data, size, &dib, error)) return nullptr;
            about = bmpDescription(dib);
            image = vsk::bmp::imageFromDib(dib, error);
            break;
        }
#ifdef VSK_HAVE_PNG
        case Format::Png: image = detail::decodePng(data, size, limits, &about, error); break;
#endif
#ifdef VSK_HAVE_JPEG
        case Format::Jpeg: image = detail::decodeJpeg(data, size, limits, &about, error); break;
#endif
        default:
            fail(error,
                 std::string(formatName(*format)) + " files are not supported by this build");
    }
    if (image && description) *description = about;
    return image;
}

VskImage* load(const std::string& path, std::string* error, std::string* description) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        fail(error, path + ": cannot open (" + std::strerror(errno) + ")");
        return nullptr;
    }
    const std::vector<std::uint8_t> data((std::istreambuf_iterator<char>(in)),
                                         std::istreambuf_iterator<char>());
    std::string reason;
    VskImage* image = decode(data.data(), data.size(), Limits{}, description, &reason);
    if (!image) fail(error, path + ": " + reason);
    return image;
}

bool write(VskImage* image, Format format, const SaveOptions& options, std::FILE* out,
           std::string* error) {
    if (!available(format))
        return fail(error,
                    std::string(formatName(format)) + " files are not supported by this build");
    if (format == Format::Jpeg && hasTable(options))
        return fail(error, "JPEG files hold no colour table (write the palette as .png or .bmp)");
    if (!image || !image->imageData) return fail(error, "the image has no pixel buffer");
    if (format == Format::Jpeg && (options.quality < 1 || options.quality > 100))
        return fail(error,
                    "JPEG quality " + std::to_string(options.quality) + " is outside 1..100");
    vsk::bmp::Dib dib;
    if ((format == Format::Bmp || hasTable(options)) &&
        !vsk::bmp::dibFromImage(image, options.bmp, &dib, error))
        return false;
    switch (format) {
        case Format::Bmp: {
            const std::vector<std::uint8_t> bytes = vsk::bmp::serialize(dib);
            if (std::fwrite(bytes.data(), 1, bytes.size(), out) != bytes.size())
                return fail(error, "write failed");
            return true;
        }
#ifdef VSK_HAVE_PNG
        case Format::Png:
            return hasTable(options) ? detail::writeIndexedPng(dib, out, error)
                                     : detail::writePng(image, out, error);
#endif
#ifdef VSK_HAVE_JPEG
        case Format::Jpeg: return detail::writeJpeg(image, options.quality, out, error);
#endif
        default: return false;
    }
}

bool save(VskImage* image, const std::string& path, const SaveOptions& options,
          std::string* error) {
    const std::optional<Format> format = formatOfName(path);
    if (!format) return fail(error, path + ": unknown file type (use .bmp, .png or .jpg)");
    std::string reason;
    if (!available(*format))
        return fail(error,
                    path + ": " + formatName(*format) + " files are not supported by this build");
    std::FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return fail(error, path + ": cannot create (" + std::strerror(errno) + ")");
    bool ok = write(image, *format, options, out, &reason);
    if (std::fclose(out) != 0 && ok) {
        ok = false;
        reason = std::string("write failed (") + std::strerror(errno) + ")";
    }
    if (ok) return true;
    std::remove(path.c_str());
    return fail(error, path + ": " + reason);
}

// ---- shared by the codecs ----------------------------------------------------------

namespace detail {

VskImage* newImage(int channels, unsigned depth, std::int64_t width, std::int64_t height,
                   const Limits& limits, char* why) {
    if (width <= 0 || height <= 0 || width > limits.maxDimension || height > limits.maxDimension) {
        std::snprintf(why, kMessageSize,
                      "dimensions %lld x %lld are out of range (at most %lld per side)",
                      static_cast<long long>(width), static_cast<long long>(height),
                      static_cast<long long>(limits.maxDimension));
        return nullptr;
    }
    // In 64 bits: the side limits keep width x channels x bits far below overflow.
    const std::int64_t stride = (width * channels * static_cast<std::int64_t>(depth) + 31) / 32 * 4;
    const std::int64_t bytes = stride * height;
    if (bytes > std::min<std::int64_t>(limits.maxBytes, INT_MAX)) {
        std::snprintf(why, kMessageSize,
                      "a %lld x %lld image needs %lld bytes, more than the %lld allowed",
                      static_cast<long long>(width), static_cast<long long>(height),
                      static_cast<long long>(bytes),
                      static_cast<long long>(std::min<std::int64_t>(limits.maxBytes, INT_MAX)));
        return nullptr;
    }
    static const char* const models[] = {"GRAY", "GRAY", "RGB\0", "RGBA"};
    static const char* const seqs[] = {"G\0\0\0", "GA\0\0", "RGB\0", "RGBA"};
    const int alpha = channels == 2 || channels == 4 ? channels : 0;
    VskImage* image = tvskCreateImageHeader(
        channels, alpha, depth, models[channels - 1], seqs[channels - 1], VSK_DATA_ORDER_PIXEL, 0,
        4, static_cast<int>(height), static_cast<int>(width), nullptr, nullptr, nullptr);
    if (image) tvskAllocateImage(image, 0);
    if (!image || !image->imageData || image->widthStep != stride) {
        tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
        std::snprintf(why, kMessageSize, "out of memory for a %lld x %lld image",
                      static_cast<long long>(width), static_cast<long long>(height));
        return nullptr;
    }
    return image;
}

bool planRows(const VskImage* image, bool keepAlpha, RowSource* out, std::string* why) {
    const int n = image->nChannels;
    const unsigned depth = image->depth;
    if (depth & VSK_DEPTH_SIGN) return fail(why, "signed images cannot be written");
    if (depth != VSK_1U && depth != VSK_8U && depth != VSK_16U)
        return fail(why, "images of depth " + std::to_string(depth) + " cannot be written");
    const std::string seq(image->channelSeq, strnlen(image->channelSeq, 4));
    int alpha = image->alphaChannel > 0 && n > 1 ? image->alphaChannel - 1 : -1;
    if (alpha < 0 && n == 2) alpha = 1;
    if (alpha < 0 && n == 4 && seq.find('A') != std::string::npos)
        alpha = static_cast<int>(seq.find('A'));
    RowSource s{image, 0, {0, 0, 0, 0}, false};
    if (n == 1 || (n == 2 && alpha >= 0)) {
        s.from[s.channels++] = n == 2 ? 1 - alpha : 0;
    } else if (n == 3 || (n == 4 && alpha >= 0)) {
        for (char letter : {'R', 'G', 'B'}) {
            const std::size_t at = seq.find(letter);
            if (at == std::string::npos || static_cast<int>(at) >= n ||
                static_cast<int>(at) == alpha)
                return fail(why, "the channel order \"" + seq + "\" names no red, green and blue");
            s.from[s.channels++] = static_cast<int>(at);
        }
    } else {
        return fail(why,
                    "an image of " + std::to_string(n) + " channels has no grey or colour reading");
    }
    if (alpha >= 0 && keepAlpha) {
        s.from[s.channels++] = alpha;
        s.alpha = true;
    }
    *out = s;
    return true;
}

namespace {

// Channel c's samples on a picture row: the first sample and the distance between samples.
template <class T>
const T* channelRow(const VskImage* image, int y, int c, int* step) {
    const std::int64_t row = image->origin == 1 ? image->height - 1 - y : y;
    const bool planes = image->dataOrder == VSK_DATA_ORDER_PLANE;
    const char* base =
        image->imageData + (planes ? c * static_cast<std::int64_t>(image->height) + row : row) *
                               static_cast<std::int64_t>(image->widthStep);
    *step = planes ? 1 : image->nChannels;
    return reinterpret_cast<const T*>(base) + (planes ? 0 : c);
}

template <class T, class Out>
void gather(const RowSource& s, int y, Out* out, int shift) {
    const int w = s.image->width;
    for (int k = 0; k < s.channels; ++k) {
        int step = 0;
        const T* in = channelRow<T>(s.image, y, s.from[k], &step);
        for (int x = 0; x < w; ++x)
            out[static_cast<std::int64_t>(x) * s.channels + k] =
                static_cast<Out>(in[static_cast<std::int64_t>(x) * step] >> shift);
    }
}

}  // namespace

const std::uint8_t* packedRow(const VskImage* image, int y) {
    const std::int64_t row = image->origin == 1 ? image->height - 1 - y : y;
    return reinterpret_cast<const std::uint8_t*>(image->imageData) + row * image->widthStep;
}

void gatherRow8(const RowSource& s, int y, std::uint8_t* out) {
    if (s.image->depth == VSK_1U) {
        const std::uint8_t* bits = packedRow(s.image, y);
        for (int x = 0; x < s.image->width; ++x)
            out[x] = (bits[x >> 3] >> (7 - (x & 7))) & 1 ? 255 : 0;
    } else if (s.image->depth == VSK_16U) {
        gather<std::uint16_t>(s, y, out, 8);
    } else {
        gather<std::uint8_t>(s, y, out, 0);
    }
}

void gatherRow16(const RowSource& s, int y, std::uint16_t* out) {
    gather<std::uint16_t>(s, y, out, 0);
}

}  // namespace detail

}  // namespace vsk::file
