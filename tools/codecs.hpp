// The PNG and JPEG codecs behind imagefile.hpp, and what they share. The
// decoders and encoders return errors through libpng's and libjpeg's long
// jumps: the functions that set the jump point hold only plain data, and the
// C++ strings are made by their callers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "imagefile.hpp"

namespace vsk::file::detail {

// Room for a decoder's message.
constexpr std::size_t kMessageSize = 256;

// A new top-down image with its own zeroed buffer, or null when the size
// breaks the limits (`why` says so) or memory runs out.
VskImage* newImage(int channels, unsigned depth, std::int64_t width, std::int64_t height,
                   const Limits& limits, char* why);

// Where a writer's samples come from: picture rows (top first) of `image`,
// `channels` samples per pixel taken from the image channels `from` (grey or
// red, green, blue, then alpha).
struct RowSource {
    const VskImage* image;
    int channels;
    int from[4];
    bool alpha;  // the last channel written is alpha
};
// Plans the rows of an image for a format that takes grey or RGB, with or
// without alpha; false with the reason when the image has no such reading.
bool planRows(const VskImage* image, bool keepAlpha, RowSource* out, std::string* why);
// One picture row as 8-bit samples (16-bit: the high byte; 1-bit: 0 or 255).
void gatherRow8(const RowSource& source, int y, std::uint8_t* out);
// One picture row as 16-bit samples of a 16-bit image.
void gatherRow16(const RowSource& source, int y, std::uint16_t* out);
// The packed bytes of a 1-bit image's picture row.
const std::uint8_t* packedRow(const VskImage* image, int y);

VskImage* decodePng(const std::uint8_t* data, std::size_t size, const Limits& limits,
                    std::string* description, std::string* error);
bool writePng(const VskImage* image, std::FILE* out, std::string* error);
// An indexed PNG from a DIB of 1, 4 or 8 bits with its colour table.
bool writeIndexedPng(const vsk::bmp::Dib& dib, std::FILE* out, std::string* error);

VskImage* decodeJpeg(const std::uint8_t* data, std::size_t size, const Limits& limits,
                     std::string* description, std::string* error);
bool writeJpeg(const VskImage* image, int quality, std::FILE* out, std::string* error);

}  // namespace vsk::file::detail
