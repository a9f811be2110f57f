#include "vsktest.hpp"

#include <cstring>
#include <deque>
#include <mutex>
#include <sstream>
#include <stdexcept>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace vsktest {

namespace {

// Each thread records the reports its own calls make. The lists are owned
// here, not by thread_local objects: MinGW runs thread_local destructors after
// the thread's storage is gone.
std::vector<Report>& recorded() {
    static std::mutex mutex;
    static std::deque<std::vector<Report>> lists;  // elements never move
    thread_local std::vector<Report>* mine = nullptr;
    if (!mine) {
        const std::lock_guard<std::mutex> lock(mutex);
        mine = &lists.emplace_back();
    }
    return *mine;
}

int VSK_CALL recordReport(int status, const char* func, const char* context, const char* file,
                          int line) {
    recorded().push_back({status, func ? func : "", context ? context : "", file ? file : "", line});
    return status;
}

int bytesPerValue(unsigned depth) { return static_cast<int>((depth & 0x7FFFFFFFu) >> 3); }

std::int64_t loadValue(const std::uint8_t* p, unsigned depth) {
    switch (depth) {
        case VSK_8U: return *p;
        case VSK_8S: return static_cast<std::int8_t>(*p);
        case VSK_16U: { std::uint16_t v; std::memcpy(&v, p, 2); return v; }
        case VSK_16S: { std::int16_t v; std::memcpy(&v, p, 2); return v; }
        case VSK_32S: { std::int32_t v; std::memcpy(&v, p, 4); return v; }
    }
    throw std::logic_error("bad depth");
}

void storeValue(std::uint8_t* p, unsigned depth, std::int64_t value) {
    switch (depth) {
        case VSK_8U: case VSK_8S: *p = static_cast<std::uint8_t>(value); return;
        case VSK_16U: case VSK_16S: { auto v = static_cast<std::uint16_t>(value); std::memcpy(p, &v, 2); return; }
        case VSK_32S: { auto v = static_cast<std::uint32_t>(value); std::memcpy(p, &v, 4); return; }
    }
    throw std::logic_error("bad depth");
}

std::int64_t rowBytesOf(const VskImage* image, int width) {
    std::int64_t values = width;
    if (image->dataOrder == VSK_DATA_ORDER_PIXEL) values *= image->nChannels;
    const int b = bytesPerValue(image->depth);
    const std::int64_t n = b == 0 ? (values + 7) / 8 : values * b;
    const int a = image->align == 4 ? 4 : 8;
    return (n + a - 1) / a * a;
}

// Address of channel c of pixel (x, y) in a buffer with the given stride and
// rows per plane; for 1-bit data *bit receives the bit number (7 = MSB).
std::uint8_t* address(const VskImage* image, std::uint8_t* base, std::int64_t stride,
                      std::int64_t planeRows, int x, int y, int c, int* bit) {
    const int b = bytesPerValue(image->depth);
    if (b == 0) {
        if (bit) *bit = 7 - (x & 7);
        return base + y * stride + x / 8;
    }
    if (image->dataOrder == VSK_DATA_ORDER_PLANE)
        return base + c * stride * planeRows + y * stride + static_cast<std::int64_t>(x) * b;
    return base + y * stride + (static_cast<std::int64_t>(x) * image->nChannels + c) * b;
}

}  // namespace

ImagePtr makeImage(int nChannels, unsigned depth, int dataOrder, int height, int width, int fill,
                   int align, const char* model, const char* seq) {
    if (!model) model = nChannels >= 3 ? "RGB" : "GRAY";
    if (!seq) seq = nChannels >= 4 ? "BGRA" : (nChannels == 3 ? "BGR" : "GRAY");
    VskImage* image = tvskCreateImageHeader(nChannels, 0, depth, model, seq, dataOrder, 0, align,
                                            height, width, nullptr, nullptr, nullptr);
    if (!image) throw std::runtime_error("tvskCreateImageHeader failed");
    tvskAllocateImage(image, fill);
    if (!image->imageData) {
        tvskDeallocate(image, VSK_FREE_HEADER);
        throw std::runtime_error("tvskAllocateImage failed");
    }
    return ImagePtr(image);
}

void setRoi(VskImage* image, int coi, int x, int y, int height, int width) {
    if (image->roi) tvskDeallocate(image, VSK_FREE_ROI);
    image->roi = tvskCreateROI(coi, x, y, height, width);
}

std::int64_t strideOf(const VskImage* image) { return rowBytesOf(image, image->width); }

std::int64_t get(const VskImage* image, int x, int y, int c) {
    int bit = 0;
    auto* base = reinterpret_cast<std::uint8_t*>(image->imageData);
    const std::uint8_t* p = address(image, base, strideOf(image), image->height, x, y, c, &bit);
    if (image->depth == VSK_1U) return (*p >> bit) & 1;
    return loadValue(p, image->depth);
}

void put(VskImage* image, int x, int y, int c, std::int64_t value) {
    int bit = 0;
    auto* base = reinterpret_cast<std::uint8_t*>(image->imageData);
    std::uint8_t* p = address(image, base, strideOf(image), image->height, x, y, c, &bit);
    if (image->depth == VSK_1U) {
        *p = static_cast<std::uint8_t>(value & 1 ? (*p | (1u << bit)) : (*p & ~(1u << bit)));
        return;
    }
    storeValue(p, image->depth, value);
}

void fillRandom(VskImage* image, std::uint32_t seed) {
    std::uint32_t s = seed * 2654435761u + 1;
    auto* p = reinterpret_cast<std::uint8_t*>(image->imageData);
    for (int i = 0; i < image->dataSize; ++i) {
        s = s * 1664525u + 1013904223u;
        p[i] = static_cast<std::uint8_t>(s >> 24);
    }
}

std::vector<std::uint8_t> bytesOf(const VskImage* image) {
    auto* p = reinterpret_cast<const std::uint8_t*>(image->imageData);
    return std::vector<std::uint8_t>(p, p + image->dataSize);
}

std::string firstDifference(const VskImage* got, const VskImage* want) {
    for (int y = 0; y < want->height; ++y)
        for (int x = 0; x < want->width; ++x)
            for (int c = 0; c < want->nChannels; ++c) {
                const std::int64_t g = get(got, x, y, c), w = get(want, x, y, c);
                if (g != w)
                    return "sample (" + std::to_string(x) + "," + std::to_string(y) + "," +
                           std::to_string(c) + "): got " + std::to_string(g) + ", want " +
                           std::to_string(w);
            }
    return "";
}

// ---- error capture -------------------------------------------------------------

ErrorCapture::ErrorCapture() : previous_(vskSetErrorHandler(recordReport)), mode_(vskGetErrMode()) {
    recorded().clear();
    vskSetErrStatus(0);
}

ErrorCapture::~ErrorCapture() {
    vskSetErrorHandler(previous_);
    vskSetErrMode(mode_);
    vskSetErrStatus(0);
    recorded().clear();
}

const std::vector<Report>& ErrorCapture::reports() const { return recorded(); }
void ErrorCapture::clear() {
    recorded().clear();
    vskSetErrStatus(0);
}

std::string fault(const std::string& func, const std::string& text, const std::string& file, int line,
                  int status) {
    return func + "|" + text + "|" + file + "|" + std::to_string(line) + "|" + std::to_string(status) + ";";
}

std::string paddedLine(const std::string& text) {
    std::string s = text;
    s.resize(70, ' ');
    return s + "\n";
}

std::string reportsOf(const ErrorCapture& capture) {
    std::string out;
    for (const Report& r : capture.reports()) out += fault(r.func, r.context, r.file, r.line, r.status);
    return out;
}

// ---- guarded buffers -----------------------------------------------------------

GuardedImage::GuardedImage(int nChannels, unsigned depth, int dataOrder, int height, int width,
                           int align) {
    image_ = tvskCreateImageHeader(nChannels, 0, depth, nChannels >= 3 ? "RGB" : "GRAY",
                                   nChannels >= 3 ? "BGR" : "GRAY", dataOrder, 0, align, height,
                                   width, nullptr, nullptr, nullptr);
    if (!image_) throw std::runtime_error("tvskCreateImageHeader failed");
    const std::size_t size = static_cast<std::size_t>(image_->dataSize);
#if defined(_WIN32)
    SYSTEM_INFO si;
    GetSystemInfo(&si);
    const std::size_t page = si.dwPageSize;
    const std::size_t dataPages = (size + page - 1) / page * page;
    mappingSize_ = dataPages + page;
    mapping_ = VirtualAlloc(nullptr, mappingSize_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (!mapping_) throw std::runtime_error("VirtualAlloc failed");
    DWORD old;
    VirtualProtect(static_cast<char*>(mapping_) + dataPages, page, PAGE_NOACCESS, &old);
#else
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t dataPages = (size + page - 1) / page * page;
    mappingSize_ = dataPages + page;
    mapping_ = mmap(nullptr, mappingSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping_ == MAP_FAILED) throw std::runtime_error("mmap failed");
    mprotect(static_cast<char*>(mapping_) + dataPages, page, PROT_NONE);
#endif
    // dataSize is a multiple of the alignment, so the data stays aligned.
    image_->imageData = static_cast<char*>(mapping_) + (dataPages - size);
    std::memset(image_->imageData, 0, size);
}

GuardedImage::~GuardedImage() {
    if (image_) {
        image_->imageData = nullptr;
        tvskDeallocate(image_, VSK_FREE_HEADER | VSK_FREE_ROI);
    }
#if defined(_WIN32)
    if (mapping_) VirtualFree(mapping_, 0, MEM_RELEASE);
#else
    if (mapping_) munmap(mapping_, mappingSize_);
#endif
}

// ---- tiled images --------------------------------------------------------------

std::string describe(const std::vector<TileCall>& calls) {
    std::ostringstream out;
    for (const TileCall& c : calls) out << "(" << c.mode << "," << c.col << "," << c.row << ")";
    return out.str();
}

TiledImage::TiledImage(int nChannels, unsigned depth, int dataOrder, int height, int width,
                       int tileWidth, int tileHeight, int align) {
    info_.callBack = callback;
    info_.id = this;
    info_.tileData = nullptr;
    info_.width = tileWidth;
    info_.height = tileHeight;
    image_ = tvskCreateImageHeader(nChannels, 0, depth, nChannels >= 3 ? "RGB" : "GRAY",
                                   nChannels >= 3 ? "BGR" : "GRAY", dataOrder, 0, align, height,
                                   width, nullptr, nullptr, &info_);
    if (!image_) throw std::runtime_error("tvskCreateImageHeader failed");
    tilesX_ = (width + tileWidth - 1) / tileWidth;
    tilesY_ = (height + tileHeight - 1) / tileHeight;
    tileStride_ = rowBytesOf(image_, tileWidth);
    const int planes = dataOrder == VSK_DATA_ORDER_PLANE ? nChannels : 1;
    tileBytes_ = tileStride_ * tileHeight * planes;
    tiles_.assign(static_cast<std::size_t>(tilesX_) * tilesY_,
                  std::vector<std::uint8_t>(static_cast<std::size_t>(tileBytes_), 0));
}

TiledImage::~TiledImage() {
    if (image_) {
        image_->tileInfo = nullptr;
        tvskDeallocate(image_, VSK_FREE_HEADER | VSK_FREE_ROI);
    }
}

std::uint8_t* TiledImage::tile(int col, int row) {
    if (col < 0 || row < 0 || col >= tilesX_ || row >= tilesY_) return nullptr;
    return tiles_[static_cast<std::size_t>(row) * tilesX_ + col].data();
}

void VSK_CALL TiledImage::callback(const VskImage* image, int col, int row, int mode) {
    auto* self = static_cast<TiledImage*>(image->tileInfo->id);
    self->log.push_back({mode, col, row});
    if (mode == VSK_TILE_RELEASE) {
        if (image->tileInfo->tileData != self->tile(col, row)) ++self->badReleases;
        image->tileInfo->tileData = nullptr;
        --self->held;
        return;
    }
    std::uint8_t* data = self->refuse.count({col, row}) ? nullptr : self->tile(col, row);
    image->tileInfo->tileData = data;
    if (data) ++self->held;
}

std::uint8_t* TiledImage::locate(int x, int y, int c, int* bit) const {
    const int tw = info_.width, th = info_.height;
    auto* base = const_cast<std::uint8_t*>(
        tiles_[static_cast<std::size_t>(y / th) * tilesX_ + x / tw].data());
    return address(image_, base, tileStride_, th, x % tw, y % th, c, bit);
}

std::int64_t TiledImage::get(int x, int y, int c) const {
    int bit = 0;
    const std::uint8_t* p = locate(x, y, c, &bit);
    if (image_->depth == VSK_1U) return (*p >> bit) & 1;
    return loadValue(p, image_->depth);
}

void TiledImage::put(int x, int y, int c, std::int64_t value) {
    int bit = 0;
    std::uint8_t* p = locate(x, y, c, &bit);
    if (image_->depth == VSK_1U) {
        *p = static_cast<std::uint8_t>(value & 1 ? (*p | (1u << bit)) : (*p & ~(1u << bit)));
        return;
    }
    storeValue(p, image_->depth, value);
}

void TiledImage::loadFrom(const VskImage* plain) {
    for (int y = 0; y < image_->height; ++y)
        for (int x = 0; x < image_->width; ++x)
            for (int c = 0; c < image_->nChannels; ++c) put(x, y, c, vsktest::get(plain, x, y, c));
}

void TiledImage::storeTo(VskImage* plain) const {
    for (int y = 0; y < image_->height; ++y)
        for (int x = 0; x < image_->width; ++x)
            for (int c = 0; c < image_->nChannels; ++c) vsktest::put(plain, x, y, c, get(x, y, c));
}

ImagePtr cloneImage(const VskImage* image) {
    ImagePtr copy = makeImage(image->nChannels, image->depth, image->dataOrder, image->height,
                              image->width, -1, image->align);
    std::memcpy(copy->imageData, image->imageData, static_cast<std::size_t>(image->dataSize));
    copy->alphaChannel = image->alphaChannel;
    std::memcpy(copy->borderModes, image->borderModes, sizeof image->borderModes);
    std::memcpy(copy->borderValues, image->borderValues, sizeof image->borderValues);
    if (const VskROI* r = image->roi) setRoi(copy.get(), r->coi, r->xOffset, r->yOffset, r->height, r->width);
    return copy;
}

std::unique_ptr<TiledImage> tiledCopy(const VskImage* plain, int tileWidth, int tileHeight) {
    auto t = std::make_unique<TiledImage>(plain->nChannels, plain->depth, plain->dataOrder,
                                          plain->height, plain->width, tileWidth, tileHeight,
                                          plain->align);
    t->loadFrom(plain);
    t->get()->alphaChannel = plain->alphaChannel;
    if (const VskROI* r = plain->roi) setRoi(t->get(), r->coi, r->xOffset, r->yOffset, r->height, r->width);
    return t;
}

ImagePtr pixelsOf(const TiledImage& tiled, const VskImage* like) {
    ImagePtr out = cloneImage(like);
    tiled.storeTo(out.get());
    return out;
}

std::string walkLog(int x, int y, int height, int width, int tileWidth, int tileHeight, int mode) {
    std::vector<TileCall> calls;
    for (int r = y / tileHeight; r <= (y + height - 1) / tileHeight; ++r)
        for (int c = x / tileWidth; c <= (x + width - 1) / tileWidth; ++c) {
            calls.push_back({mode, c, r});
            calls.push_back({VSK_TILE_RELEASE, c, r});
        }
    return describe(calls);
}

}  // namespace vsktest
