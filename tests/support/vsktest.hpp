// Test support shared by every test file: owned images, sample access,
// error capture, guarded buffers and a logging tile call-back double.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "vsk.h"
#include "vsk_internal.h"

namespace vsktest {

// ---- owned images ------------------------------------------------------------

struct ImageDeleter {
    void operator()(VskImage* image) const {
        tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI);
    }
};
using ImagePtr = std::unique_ptr<VskImage, ImageDeleter>;

// A buffered image made by tvskCreateImageHeader + tvskAllocateImage.
ImagePtr makeImage(int nChannels, unsigned depth, int dataOrder, int height, int width,
                   int fill = 0, int align = 4, const char* model = nullptr,
                   const char* seq = nullptr);

// Gives the image a fresh ROI (released with the image).
void setRoi(VskImage* image, int coi, int x, int y, int height, int width);

// ---- samples -------------------------------------------------------------------

// Row stride as the library recomputes it.
std::int64_t strideOf(const VskImage* image);
// Reads/writes channel c (0-based) of pixel (x, y) of a buffered image; 1-bit
// images hold 0 or 1. Values are sign-extended for signed depths.
std::int64_t get(const VskImage* image, int x, int y, int c = 0);
void put(VskImage* image, int x, int y, int c, std::int64_t value);
// Fills every sample with deterministic pseudo-random values (padding too).
void fillRandom(VskImage* image, std::uint32_t seed);
// Raw buffer contents.
std::vector<std::uint8_t> bytesOf(const VskImage* image);
// "" when every sample of the two images is equal (padding ignored), else
// where they first differ.
std::string firstDifference(const VskImage* got, const VskImage* want);

// ---- error capture -------------------------------------------------------------

struct Report {
    int status;
    std::string func, context, file;
    int line;
};

// Installs a recording error handler, clears the status, and restores the
// previous handler, mode and status at the end of the scope. Reports are kept
// per thread: reports() and clear() see the calling thread's.
class ErrorCapture {
public:
    ErrorCapture();
    ~ErrorCapture();
    const std::vector<Report>& reports() const;
    void clear();

private:
    VskErrorCallback previous_;
    int mode_;
};

// Every recorded report as "func|context|file|line|status;" in order ("" for
// none), and one report in that form, to compare whole report lists at once.
std::string reportsOf(const ErrorCapture& capture);
std::string fault(const std::string& func, const std::string& text, const std::string& file, int line,
                  int status = VSK_STATUS_BAD_ARG);
// One line of a header fault message: the text padded to 70 columns.
std::string paddedLine(const std::string& text);

// ---- guarded buffers -----------------------------------------------------------

// A buffered image whose data ends exactly at an inaccessible page, so that
// reading or writing one byte past dataSize faults at once.
class GuardedImage {
public:
    GuardedImage(int nChannels, unsigned depth, int dataOrder, int height, int width,
                 int align = 4);
    ~GuardedImage();
    GuardedImage(const GuardedImage&) = delete;
    GuardedImage& operator=(const GuardedImage&) = delete;
    VskImage* get() const { return image_; }

private:
    VskImage* image_ = nullptr;
    void* mapping_ = nullptr;
    std::size_t mappingSize_ = 0;
};

// ---- tiled images --------------------------------------------------------------

struct TileCall {
    int mode, col, row;
    bool operator==(const TileCall& o) const {
        return mode == o.mode && col == o.col && row == o.row;
    }
};
std::string describe(const std::vector<TileCall>& calls);

// A tiled image whose call-back hands out tiles from memory and logs every
// call as (mode, column, row). Tiles in `refuse`, or outside the tile grid,
// are not handed out (tileData stays null).
class TiledImage {
public:
    TiledImage(int nChannels, unsigned depth, int dataOrder, int height, int width,
               int tileWidth, int tileHeight, int align = 4);
    ~TiledImage();
    TiledImage(const TiledImage&) = delete;
    TiledImage& operator=(const TiledImage&) = delete;

    VskImage* get() const { return image_; }
    std::vector<TileCall> log;
    std::set<std::pair<int, int>> refuse;
    int held = 0;            // tiles handed out and not yet released
    int badReleases = 0;     // releases whose tileData was not that tile's

    // Pixel access through the tile memory.
    std::int64_t get(int x, int y, int c = 0) const;
    void put(int x, int y, int c, std::int64_t value);
    // Copies all pixels from / to a buffered image of the same geometry.
    void loadFrom(const VskImage* plain);
    void storeTo(VskImage* plain) const;
    std::uint8_t* tile(int col, int row);
    int tilesX() const { return tilesX_; }
    int tilesY() const { return tilesY_; }

private:
    static void VSK_CALL callback(const VskImage* image, int col, int row, int mode);
    std::uint8_t* locate(int x, int y, int c, int* bit) const;

    VskImage* image_ = nullptr;
    VskTileInfo info_{};
    int tilesX_ = 0, tilesY_ = 0;
    std::int64_t tileStride_ = 0, tileBytes_ = 0;
    std::vector<std::vector<std::uint8_t>> tiles_;
};

// A buffered copy of an image: layout, pixels, alpha channel, border modes and ROI.
ImagePtr cloneImage(const VskImage* image);
// A tiled image of the same geometry holding the same pixels, ROI and alpha channel.
std::unique_ptr<TiledImage> tiledCopy(const VskImage* plain, int tileWidth, int tileHeight);
// The tiled image's pixels over a clone of `like` (whose padding they keep).
ImagePtr pixelsOf(const TiledImage& tiled, const VskImage* like);
// The row-major walk over the tiles a rectangle covers, each taken with
// `mode` and given back, as describe() writes it.
std::string walkLog(int x, int y, int height, int width, int tileWidth, int tileHeight, int mode);

}  // namespace vsktest
