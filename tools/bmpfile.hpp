// BMP files: reading a file into a packed DIB that the library's DIB
// operations can take, and writing one back. Everything a file says is
// checked against the file's own size before the library sees it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vsk.h"

namespace vsk::bmp {

// A packed DIB: the 40-byte header, its colour table or bit-field masks, then
// the pixel rows, in one 4-byte aligned block.
class Dib {
public:
    Dib() = default;
    // A new DIB of the given layout with room for `tableEntries` entries (or
    // the three masks of BI_BITFIELDS) and zeroed rows; width and height within kMaxDimension.
    static Dib make(int width, int height, int bitCount, std::uint32_t compression,
                    std::uint32_t tableEntries);

    BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(words_.data()); }
    const BITMAPINFOHEADER* header() const {
        return reinterpret_cast<const BITMAPINFOHEADER*>(words_.data());
    }
    std::uint8_t* bytes() { return reinterpret_cast<std::uint8_t*>(words_.data()); }
    const std::uint8_t* bytes() const { return reinterpret_cast<const std::uint8_t*>(words_.data()); }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    // Entries of the colour table as the library counts them, and the offset
    // of the pixel rows from the header.
    std::uint32_t tableCount() const;
    std::size_t pixelOffset() const { return 40 + 4 * static_cast<std::size_t>(tableCount()); }
    std::size_t rowBytes() const;
    std::size_t rows() const;

    void resize(std::size_t size);

private:
    std::vector<std::uint32_t> words_;
    std::size_t size_ = 0;
};

// Limits on what a file may describe.
constexpr std::int64_t kMaxDimension = 1 << 20;       // pixels per side
constexpr std::int64_t kMaxPixelBytes = 1LL << 30;    // bytes of pixel rows

// Parses the bytes of a .bmp file. On failure returns false with the reason.
bool parse(const std::uint8_t* data, std::size_t size, Dib* out, std::string* error);

// Reads a .bmp file; the error names the file and the reason.
bool readFile(const std::string& path, Dib* out, std::string* error);

// The bytes of a .bmp file holding the DIB (14-byte file header first).
std::vector<std::uint8_t> serialize(const Dib& dib);
bool writeFile(const std::string& path, const Dib& dib, std::string* error);

// ---- images ----------------------------------------------------------------

// Loads a .bmp file as a library image that owns its pixels (release with
// tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA)). Null on failure.
VskImage* loadImage(const std::string& path, std::string* error);
VskImage* imageFromDib(const Dib& dib, std::string* error);

// How an image becomes a DIB.
struct SaveOptions {
    int bitCount = 0;           // 0: chosen from the image (1, 8, 24 or 32)
    int paletteConversion = 1;  // for 1, 4 and 8 bits: 1 fixed table, 2 median cut
    int dither = 1;             // 16-bit images: 1 high bytes, 8 reduce first
};
bool dibFromImage(VskImage* image, const SaveOptions& options, Dib* out, std::string* error);
bool saveImage(VskImage* image, const std::string& path, const SaveOptions& options,
               std::string* error);

}  // namespace vsk::bmp
