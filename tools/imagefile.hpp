// Image files: BMP through the tool's own checked file layer, PNG through
// libpng and JPEG through libjpeg when the tool was built with them. Reading
// goes by the file's signature, writing by the output name's extension.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "bmpfile.hpp"

namespace vsk::file {

enum class Format { Bmp, Png, Jpeg };

const char* formatName(Format format);
// Whether this build reads and writes the format (BMP always).
bool available(Format format);

// The format announced by a file's first bytes, if any.
std::optional<Format> sniff(const std::uint8_t* data, std::size_t size);
// The format asked for by a file name's extension (.bmp .dib .png .jpg .jpeg .jpe .jfif).
std::optional<Format> formatOfName(const std::string& path);

// Limits on what a file may describe; checked before any pixel buffer is allocated.
struct Limits {
    std::int64_t maxDimension = vsk::bmp::kMaxDimension;  // pixels per side
    std::int64_t maxBytes = vsk::bmp::kMaxPixelBytes;     // bytes of the decoded image
    bool checksums = true;  // false (fuzzing only): PNG checksums are not checked, so mutations
                            // reach the decoder
};

// Decodes the bytes of a BMP, PNG or JPEG file into an image that owns its
// pixels (release with tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA)).
// PNG and JPEG images are top-down with red first; 16-bit PNG samples stay 16-bit,
// palettes expand to RGB (RGBA with transparency), 1-bit grey stays 1-bit. On
// failure returns null with the reason; `description` gets one line about the file.
VskImage* decode(const std::uint8_t* data, std::size_t size, const Limits& limits,
                 std::string* description, std::string* error);
// Reads and decodes a file; errors name the file.
VskImage* load(const std::string& path, std::string* error, std::string* description = nullptr);

struct SaveOptions {
    vsk::bmp::SaveOptions bmp;  // a bit count of 1, 4 or 8 makes an indexed PNG too
    int quality = 90;           // JPEG, 1..100
};
// Encodes an image in the given format into an open file.
bool write(VskImage* image, Format format, const SaveOptions& options, std::FILE* out,
           std::string* error);
// Writes an image in the format its name asks for; errors name the file, and
// a file left half written is removed.
bool save(VskImage* image, const std::string& path, const SaveOptions& options, std::string* error);

}  // namespace vsk::file
