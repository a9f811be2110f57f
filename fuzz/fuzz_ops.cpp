// Fuzz target: one call of any operation of the library, exported or internal,
// on one to three images decoded from the input (see ops_input.hpp).
//
// Images are made with tvskCreateImageHeader; a buffered image's data is a
// heap block of exactly dataSize bytes, and a tiled image's call-back hands
// out every tile in a heap block of exactly the tile's byte size, so that the
// sanitizers catch any access past either. Besides the sanitizers, each call
// is checked for:
// - tiles: every tile handed out for reading or writing is given back once,
//   with its own indexes, unless an error was reported or the call is one of
//   the early returns listed in keepsTileByDesign(); a tile taken for reading
//   comes back unchanged;
// - status: every report carries texts and a status the operation documents,
//   and the status after the call is 0, the pending one, or such a status;
// - headers: no field of any image header, ROI or tile record changes except
//   those the operation is documented to rewrite (headerRewrites()), and the
//   data of images that are only read stays as it was.
// A violation aborts, so that libFuzzer reports it with the input.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ops_input.hpp"
#include "vsk_internal.h"

namespace {

using namespace vskfuzz;

[[noreturn]] void violation(const char* what, long a = 0, long b = 0) {
    std::fprintf(stderr, "fuzz_ops violation: %s (%ld, %ld)\n", what, a, b);
    std::abort();
}

// ---- reading the frame ---------------------------------------------------------------

struct Bytes {
    const std::uint8_t* data;
    std::size_t size;
    std::uint8_t at(std::size_t i) const { return i < size ? data[i] : 0; }
};

const int kExtremes[] = {INT_MIN, INT_MIN + 1, -2147483640, -1073741824, -65536, -32769, -257,
                         -129,    -9,          -2,          -1,          0,      1,      2,
                         3,       7,           8,           9,           127,    128,    255,
                         256,     32767,       65535,       65536,       1 << 24, 1 << 30,
                         2147483640, INT_MAX - 1, INT_MAX};
constexpr int kExtremeCount = sizeof kExtremes / sizeof kExtremes[0];

int extreme(std::uint8_t b) { return kExtremes[b % kExtremeCount]; }

// One argument slot: a code byte and three more bytes.
struct Slot {
    std::uint8_t b[4];

    // 0: the default; 1..191: a value in [lo, hi]; 192..239: an extreme;
    // 240..255: raw 32 bits.
    int value(int def, int lo, int hi) const {
        const std::uint8_t c = b[0];
        if (c == 0) return def;
        if (c < 192) {
            const std::uint32_t n = static_cast<std::uint32_t>(std::int64_t{hi} - lo + 1);
            const std::uint32_t k = ((static_cast<std::uint32_t>(b[1]) << 8) | (c - 1u)) % n;
            return static_cast<int>(std::int64_t{lo} + k);
        }
        if (c < 240) return extreme(b[1]);
        return static_cast<int>(raw());
    }
    std::uint32_t raw() const {
        return static_cast<std::uint32_t>(b[1]) | static_cast<std::uint32_t>(b[2]) << 8 |
               static_cast<std::uint32_t>(b[3]) << 16 | static_cast<std::uint32_t>(b[0]) << 24;
    }
    // A colour fraction: 0 by default, -1..5 in 1/32 steps, special values, or raw bits.
    float fraction() const {
        const std::uint8_t c = b[0];
        if (c == 0) return 0.0f;
        if (c < 192) return static_cast<float>(c - 1) / 32.0f - 1.0f;
        if (c < 240) {
            static const float special[] = {1.0f / 32768, 1.0f / 256, 2.0f,   256.0f, 65536.0f,
                                            1e10f,        -1e10f,     2.0e9f, -3.0e9f,
                                            INFINITY,     -INFINITY,  NAN};
            return special[b[1] % (sizeof special / sizeof special[0])];
        }
        const std::uint32_t bits = raw();
        float f;
        std::memcpy(&f, &bits, 4);
        return f;
    }
};

// ---- the tile call-back ----------------------------------------------------------------

// The layout of one tile as the library computes it from the header.
std::int64_t rowBytes(int dataOrder, unsigned depth, int align, int nChannels, int width) {
    std::int64_t values = width;
    if (dataOrder != VSK_DATA_ORDER_PLANE) values *= nChannels;
    const std::int64_t bytes = (depth & 0x7FFFFFFFu) >> 3;
    const std::int64_t n = bytes == 0 ? (values + 7) / 8 : values * bytes;
    const std::int64_t a = align == 4 ? 4 : 8;
    return (n + a - 1) / a * a;
}

constexpr std::int64_t kMaxTileBytes = 256 << 10, kMaxStoredBytes = 16 << 20, kMaxBufferBytes = 64 << 20;
constexpr int kMaxHandouts = 1 << 15, kMaxStoredTiles = 4096;

struct Held {
    int col, row, mode;
};

// The tiles of one image: a store of every tile's contents, the blocks
// handed out, and the policy of the call-back.
struct Tiles {
    std::int64_t bytes = 0;            // of one tile; 0: every request refused
    std::int64_t gridCols = 0, gridRows = 0;
    int policy = 0;                    // 0 grid; 1 refuse the k-th; 2 refuse from the k-th; 3 past the grid too
    int k = 0;
    bool keepPointer = false;          // leaves tileData set on release
    std::uint32_t seed = 0;
    std::map<std::pair<int, int>, std::vector<std::uint8_t>> store;
    std::unordered_map<void*, Held> held;  // blocks handed out, by address
    int requests = 0, handouts = 0, refusals = 0;

    std::vector<std::uint8_t>& tile(int col, int row) {
        auto it = store.find({col, row});
        if (it != store.end()) return it->second;
        std::vector<std::uint8_t> t(static_cast<std::size_t>(bytes));
        std::uint32_t s = seed ^ (static_cast<std::uint32_t>(col) * 73856093u) ^
                          (static_cast<std::uint32_t>(row) * 19349663u);
        for (auto& v : t) {
            s = s * 1664525u + 1013904223u;
            v = static_cast<std::uint8_t>(s >> 24);
        }
        return store.emplace(std::make_pair(col, row), std::move(t)).first->second;
    }

    bool serves(int col, int row) {
        const int n = requests++;
        if (bytes <= 0 || handouts >= kMaxHandouts || col < 0 || row < 0) return false;
        if (policy == 1 && n == k) return false;
        if (policy == 2 && n >= k) return false;
        // Past the store's limits tiles are refused, as by a call-back out of memory.
        const bool room = store.count({col, row}) ||
                          (store.size() < kMaxStoredTiles &&
                           static_cast<std::int64_t>(store.size() + 1) * bytes <= kMaxStoredBytes);
        if (policy == 3) return col < gridCols + 64 && row < gridRows + 64 && room;
        return col < gridCols && row < gridRows && room;
    }
};

void VSK_CALL tileCallback(const VskImage* image, int col, int row, int mode) {
    VskTileInfo* info = image->tileInfo;
    Tiles* t = static_cast<Tiles*>(info->id);
    if (mode == VSK_TILE_READ || mode == VSK_TILE_WRITE) {
        info->tileData = nullptr;
        if (!t->serves(col, row)) {
            ++t->refusals;
            return;
        }
        const std::vector<std::uint8_t>& contents = t->tile(col, row);
        void* block = std::malloc(static_cast<std::size_t>(t->bytes));
        if (!block) violation("out of memory for a tile");
        std::memcpy(block, contents.data(), contents.size());
        t->held[block] = {col, row, mode};
        ++t->handouts;
        info->tileData = block;
        return;
    }
    if (mode != VSK_TILE_RELEASE) violation("tile call-back mode", mode);
    auto it = t->held.find(info->tileData);
    if (it == t->held.end()) violation("a tile given back that is not held", col, row);
    const Held h = it->second;
    if (h.col != col || h.row != row) violation("a tile given back with other indexes", col, row);
    std::vector<std::uint8_t>& contents = t->tile(col, row);
    if (h.mode == VSK_TILE_WRITE)
        std::memcpy(contents.data(), it->first, contents.size());
    else if (std::memcmp(contents.data(), it->first, contents.size()) != 0)
        violation("a tile taken for reading came back changed", col, row);
    std::free(it->first);
    t->held.erase(it);
    if (!t->keepPointer) info->tileData = nullptr;
}

// ---- images ------------------------------------------------------------------------------

const unsigned kDepths[] = {VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S, VSK_1U};
const unsigned kBadDepths[] = {0,          2,          7,          9,          15,         17,
                               24,         31,         32,         64,         0x80000000u,
                               0x80000001u, 0x80000018u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0x80000100u};
const char* const kModels[] = {"RGB", "RGBA", "GRAY", "HSV", "HLS", "Gray"};
const char* const kSeqs[] = {"RGB", "BGR", "RGBA", "BGRA", "G", "GRAY", "HSV", "HLS"};
const int kStrips[] = {700, 1500, 2049, 4100, 65537};

// Sizes: 0 gives 16, then 0..70, then long strips; the last code gives a
// tiled image (which needs no buffer) 2^30 or 2^31 - 1 pixels.
int imageSize(std::uint8_t v, bool tiled, std::uint8_t junk) {
    if (v == 0) return 16;
    if (v <= 250) return (v - 1) % 71;
    if (v == 255 && tiled) return junk & 1 ? INT_MAX : 1 << 30;
    return kStrips[v - 251];
}

int tileSize(std::uint8_t v) {
    static const int odd[] = {0, 4, 12, -8, 40, 64, 128, 256, 1 << 16, 1 << 20, 1 << 30, 0x7FFFFFF8, INT_MIN};
    if (v < 200) return 8 * (1 + v % 4);
    return odd[v % (sizeof odd / sizeof odd[0])];
}

int roiOffset(std::uint8_t v) { return v < 200 ? v % 80 : extreme(v); }

// A field grown by n, at most to INT_MAX.
int grow(int field, int n) { return static_cast<int>(std::min<std::int64_t>(std::int64_t{field} + n, INT_MAX)); }

std::uint32_t hashBytes(const void* p, std::size_t n) {
    const auto* b = static_cast<const std::uint8_t*>(p);
    std::uint32_t h = 2166136261u;
    for (std::size_t i = 0; i < n; ++i) h = (h ^ b[i]) * 16777619u;
    return h;
}

struct Image {
    VskImage* header = nullptr;
    VskROI* roi = nullptr;
    VskTileInfo* info = nullptr;
    Tiles tiles;
    void* buffer = nullptr;
    std::size_t bufferBytes = 0;
    // The state before the call.
    VskImage saved{};
    VskROI savedRoi{};
    VskTileInfo savedInfo{};
    std::uint32_t savedData = 0;

    Image() = default;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    ~Image() {
        for (const auto& h : tiles.held) std::free(h.first);
        std::free(buffer);
        if (header) {
            header->roi = nullptr;
            header->tileInfo = nullptr;
            tvskDeallocate(header, VSK_FREE_HEADER);
        }
        vskDeleteROI(roi);
        vskDeleteTileInfo(info);
    }

    bool tiled() const { return header->tileInfo != nullptr; }
    void save() {
        saved = *header;
        if (roi) savedRoi = *roi;
        if (info) savedInfo = *info;
        savedData = buffer ? hashBytes(buffer, bufferBytes) : 0;
    }
};

// Builds an image from its record; null when the record asks for more than
// a fuzzer should allocate.
std::unique_ptr<Image> makeImage(const Bytes& in, std::size_t at, std::uint32_t seed) {
    auto r = [&](std::size_t field) { return in.at(at + field); };
    auto img = std::make_unique<Image>();

    const std::uint8_t d = r(kDepth);
    const unsigned depth = d >= 240 ? kBadDepths[d - 240] : kDepths[d % 6];
    static const int channelCodes[] = {3, 1, 4, 2, 5, 0};
    const int nChannels = channelCodes[r(kChannels) % 6];
    const int alphaCodes[] = {0, nChannels, 1, 2, 3, -1, nChannels + 1};
    const int alpha = alphaCodes[r(kAlpha) % 7];
    char junk[5] = {static_cast<char>(r(kJunk)), static_cast<char>(r(kJunk) ^ 0x55), 0,
                    static_cast<char>(r(kJunk) + 1), 0};
    const std::uint8_t m = r(kModel), s = r(kSeq);
    const char* model = m % 7 == 6 ? junk : kModels[m % 7];
    const char* seq = s % 9 == 8 ? junk : kSeqs[s % 9];
    const unsigned layout = r(kLayout);
    const int order = layout & kPlaneBit ? 1 : 0;
    const int origin = layout & kOriginBit ? 1 : 0;
    const int align = layout & kAlign8Bit ? 8 : 4;
    const bool tiledLayout = (layout & kTiledBit) != 0;
    int height = imageSize(r(kHeight), tiledLayout, r(kJunk)), width = imageSize(r(kWidth), tiledLayout, r(kJunk));

    // Created with values the creation check accepts; the others are set after.
    const unsigned createDepth = d >= 240 ? VSK_8U : depth;
    const int createChannels = std::max(nChannels, 1);
    const int createAlpha = alpha < 0 || alpha > createChannels ? 0 : alpha;
    const std::int64_t planes = order ? createChannels : 1;
    if (!tiledLayout && rowBytes(order, createDepth, align, createChannels, width) * height * planes > (8 << 20))
        height = std::min(height, 2);

    if (layout & kRoiBit) {
        static const int cois[] = {0, 1, 2, 3, 4, 5, -1};
        const std::uint8_t rh = r(kRoiHeight), rw = r(kRoiWidth);
        img->roi = tvskCreateROI(cois[r(kRoiCoi) % 7], roiOffset(r(kRoiX)), roiOffset(r(kRoiY)),
                                 rh == 0 ? height : (rh < 200 ? rh % 80 : extreme(rh)),
                                 rw == 0 ? width : (rw < 200 ? rw % 80 : extreme(rw)));
    }
    if (layout & kTiledBit) {
        img->info = vskCreateTileInfo(tileCallback, &img->tiles, tileSize(r(kTileWidth)),
                                      tileSize(r(kTileHeight)));
    }
    img->header = tvskCreateImageHeader(createChannels, createAlpha, createDepth, model, seq, order,
                                        origin, align, height, width, img->roi, nullptr, img->info);
    if (!img->header) return nullptr;
    VskImage* h = img->header;
    h->nChannels = nChannels;
    h->alphaChannel = alpha;
    h->depth = depth;
    for (int i = 0; i < 4; ++i) {
        const std::uint8_t bm = r(kBorder0 + i), bv = r(kBorderValue0 + i);
        h->borderModes[i] = bm < 250 ? bm : extreme(bm);
        h->borderValues[i] = bv < 200 ? bv * 257 - 100 : extreme(bv);
    }

    // A field changed after the header was made: the buffer follows dataSize.
    // With VSK_FUZZ_CONSISTENT set no field is changed (a run that looks past
    // faults of that kind).
    static const bool consistent = std::getenv("VSK_FUZZ_CONSISTENT") != nullptr;
    bool noData = false, bothData = false;
    const std::uint8_t av = r(kAlterValue);
    switch (consistent ? 0 : r(kAlter) % 17) {
        case 1: h->dataOrder = av & 1 ? 2 : -1; break;
        case 2: h->origin = av & 1 ? 2 : -1; break;
        case 3: {
            static const int aligns[] = {0, 1, 2, 16, 3};
            h->align = aligns[av % 5];
            break;
        }
        case 4: noData = true; break;
        case 5: bothData = true; break;
        case 6: {
            const int steps[] = {0, -4, 1, h->widthStep + 4, h->widthStep * 2, h->widthStep / 2,
                                 INT_MAX, av};
            h->widthStep = steps[av % 8];
            break;
        }
        case 7: h->dataSize = h->dataSize > 0 ? h->dataSize - av % (h->dataSize + 1) : 0; break;
        case 8: h->dataSize = grow(h->dataSize, av); break;
        case 9: h->width = grow(h->width, 1 + av % 64); break;
        case 10: h->width = av % 80; break;
        case 11: h->height = grow(h->height, 1 + av % 64); break;
        case 12: {
            static const int many[] = {64, 1 << 16, 1 << 24, INT_MAX};
            h->nChannels = av < 200 ? 1 + av % 5 : many[av % 4];
            break;
        }
        case 13: h->depth = kDepths[av % 6]; break;
        case 14: h->dataOrder ^= 1; break;
        case 15: h->align = h->align == 4 ? 8 : 4; break;
        case 16:
            if (img->info) {
                if (av & 1)
                    img->info->callBack = nullptr;
                else
                    img->info->width = 8 * (av % 9);
            }
            break;
        default: break;
    }

    const std::uint32_t pixelSeed = seed * 2654435761u + r(kPixelSeed);
    if (!img->info || bothData) {
        if (!noData) {
            // A header whose dataSize asks for more than a fuzzer should fill
            // (a tiled 2^31 - 1 square given a buffer too) is skipped.
            if (h->dataSize > kMaxBufferBytes) return nullptr;
            img->bufferBytes = static_cast<std::size_t>(std::max(h->dataSize, 0));
            img->buffer = std::malloc(img->bufferBytes);
            if (!img->buffer) violation("out of memory for an image");
            std::uint32_t x = pixelSeed | 1;
            auto* p = static_cast<std::uint8_t*>(img->buffer);
            for (std::size_t i = 0; i < img->bufferBytes; ++i) {
                x ^= x << 13;
                x ^= x >> 17;
                x ^= x << 5;
                p[i] = static_cast<std::uint8_t>(x);
            }
            h->imageData = static_cast<char*>(img->buffer);
        }
        if (bothData && !img->info) {
            img->info = vskCreateTileInfo(tileCallback, &img->tiles, 8, 8);
            h->tileInfo = img->info;
        }
    }
    if (img->info) {
        Tiles& t = img->tiles;
        const VskTileInfo* info = img->info;
        const std::int64_t tw = info->width, th = info->height;
        if (tw > 0 && th > 0) {
            // Tiles too large for a fuzzer are all refused (0 bytes).
            const std::int64_t planes2 = h->dataOrder == VSK_DATA_ORDER_PLANE ? h->nChannels : 1;
            const std::int64_t row = rowBytes(h->dataOrder, h->depth, h->align, h->nChannels, info->width);
            // Each factor is bounded before the next product, so none overflows.
            const std::int64_t plane = row > 0 && row <= kMaxTileBytes && th <= kMaxTileBytes ? row * th : 0;
            const std::int64_t bytes = plane > 0 && plane <= kMaxTileBytes && planes2 <= kMaxTileBytes
                                           ? plane * std::max<std::int64_t>(planes2, 0) : 0;
            t.bytes = bytes > 0 && bytes <= kMaxTileBytes ? bytes : 0;
            t.gridCols = (std::int64_t{std::max(h->width, 0)} + tw - 1) / tw;
            t.gridRows = (std::int64_t{std::max(h->height, 0)} + th - 1) / th;
        }
        const std::uint8_t p = r(kTilePolicy);
        t.policy = p & 3;
        t.k = (p >> 2) & 15;
        t.keepPointer = (p & 0x40) != 0;
        t.seed = pixelSeed;
    }
    return img;
}

// ---- device-independent bitmaps ---------------------------------------------------------

// The colour table's entries as the import counts them (3 for bit-field masks).
std::int64_t dibColorCount(const BITMAPINFOHEADER* h) {
    const int bits = h->biBitCount;
    if (bits == 1 || bits == 4 || bits == 8) return h->biClrUsed ? h->biClrUsed : 1 << bits;
    if (bits == 16 || bits == 32) {
        if (h->biCompression == BI_RGB) return 0;
        if (h->biCompression == BI_BITFIELDS) return 3;
        return h->biClrUsed;
    }
    if (bits == 24) return 0;
    return h->biClrUsed;
}

std::int64_t dibRowBytes(std::int64_t width, int bits) {
    return width <= 0 ? 0 : ((width * bits + 31) & ~std::int64_t{31}) / 8;
}

struct Dib {
    BITMAPINFOHEADER* header = nullptr;
    std::size_t bytes = 0;
    Dib() = default;
    Dib(const Dib&) = delete;
    Dib& operator=(const Dib&) = delete;
    ~Dib() { std::free(header); }
};

constexpr std::int64_t kMaxDibBytes = 16 << 20;

// A DIB whose header comes from slots 0..4, with `room` bytes: at least its
// declared extent (header, table or masks, rows). False when that is more
// than a fuzzer should allocate.
bool makeDib(const Slot* slot, int defWidth, int defHeight, bool exportRoom, int paletteConversion,
             std::uint32_t seed, Dib* dib) {
    BITMAPINFOHEADER h{};
    h.biWidth = slot[0].value(defWidth, -3, 80);
    h.biHeight = slot[1].value(defHeight, -80, 80);
    static const int bitCounts[] = {24, 1, 4, 8, 16, 32, 0, 2, 3, 5, 6, 7, 9, 15, 64, 33};
    h.biBitCount = static_cast<std::uint16_t>(bitCounts[slot[2].b[0] % 16]);
    static const std::uint32_t compressions[] = {BI_RGB, BI_BITFIELDS, 1, 2, 4, 0xFFFFFFFFu};
    h.biCompression = compressions[slot[2].b[1] % 6];
    h.biPlanes = slot[2].b[2] == 0 ? 1 : slot[2].b[2];
    static const std::uint32_t sizes[] = {40, 0, 12, 39, 41, 108, 124};
    h.biSize = sizes[slot[2].b[3] % 7];
    h.biClrUsed = static_cast<std::uint32_t>(slot[3].value(0, 0, 300));

    const std::int64_t table = 4 * dibColorCount(&h);
    const std::int64_t height = std::llabs(std::int64_t{h.biHeight});
    if (h.biWidth > kMaxDibBytes || height > kMaxDibBytes) return false;
    const std::int64_t rows = dibRowBytes(h.biWidth, h.biBitCount) * height;
    std::int64_t tableRoom = table;
    // Building a table for 1, 4 or 8 bits may write up to 2^bits entries and
    // move the rows behind them.
    const int bits = h.biBitCount;
    if (exportRoom && paletteConversion == 2 && (bits == 1 || bits == 4 || bits == 8))
        tableRoom = std::max<std::int64_t>(table, 4 << bits);
    const std::int64_t size = std::max<std::int64_t>(h.biSize, 40) + tableRoom + rows;
    if (table < 0 || size > kMaxDibBytes) return false;

    dib->bytes = static_cast<std::size_t>(size);
    dib->header = static_cast<BITMAPINFOHEADER*>(std::malloc(dib->bytes));
    if (!dib->header) violation("out of memory for a DIB");
    auto* p = reinterpret_cast<std::uint8_t*>(dib->header);
    std::uint32_t x = seed | 1;
    for (std::size_t i = 0; i < dib->bytes; ++i) {
        x = x * 1103515245u + 12345u;
        p[i] = static_cast<std::uint8_t>(x >> 16);
    }
    std::memcpy(p, &h, sizeof h);
    if (h.biCompression == BI_BITFIELDS && table >= 12) {
        const std::uint8_t c = slot[4].b[0];
        std::uint32_t masks[3];
        if (c == 0 || c % 4 == 0) {
            masks[0] = bits == 16 ? 0xF800u : 0xFF0000u;
            masks[1] = bits == 16 ? 0x07E0u : 0xFF00u;
            masks[2] = bits == 16 ? 0x001Fu : 0xFFu;
        } else if (c % 4 == 1) {
            masks[0] = masks[1] = masks[2] = 0;
        } else if (c % 4 == 2) {
            masks[0] = 0xFFFFFFFFu;
            masks[1] = 0x80000000u;
            masks[2] = 1;
        } else {
            masks[0] = slot[4].raw();
            masks[1] = slot[4].raw() * 2654435761u;
            masks[2] = ~slot[4].raw();
        }
        std::memcpy(p + std::max<std::uint32_t>(h.biSize, 40), masks, 12);
    }
    return true;
}

// ---- the call ----------------------------------------------------------------------------

// Status codes (as a mask of bit -status) that each operation documents.
constexpr unsigned code(int status) { return 1u << -status; }
constexpr unsigned kBadArg = code(VSK_STATUS_BAD_ARG), kTile = code(VSK_STATUS_UNKNOWN),
                   kInternal = code(VSK_STATUS_INTERNAL), kNoMemory = code(VSK_STATUS_NO_MEMORY);

unsigned documentedCodes(Op op) {
    switch (op) {
        case kCopy: case kExchange: case kSet:
        case kAlphaComposite: case kAlphaCompositeC: case kPreMultiplyAlpha:
        case kMultiplyScale: case kMultiplySScale:
            return kBadArg | kTile;
        case kZoom: return kBadArg | kTile | kInternal | kNoMemory;
        case kDecimate: return kBadArg | kInternal | kNoMemory;
        case kTranslateDIB: case kConvertFromDIB: case kConvertToDIB: return kBadArg | kInternal;
        case kGetRect: case kRecords: return 0;
        default: return kBadArg;
    }
}

struct Reports {
    int count = 0;
    unsigned codes = 0;
};
Reports g_reports;

int VSK_CALL recordReport(int status, const char* funcName, const char* context, const char* file,
                          int line) {
    if (!funcName || !context || !file) violation("a report without its texts", status, line);
    if (line < 0) violation("a report with a negative line", status, line);
    if (status >= 0 || status < VSK_STATUS_AUTOTRACE) violation("a report with status", status, line);
    ++g_reports.count;
    g_reports.codes |= code(status);
    return vskShowErrorBox(status, funcName, context, file, line);
}

struct Call {
    Op op;
    std::vector<Image*> pool;        // distinct images
    std::vector<VskImage*> writes;   // headers the operation may write through
    VskImage* source = nullptr;      // the first image argument
    bool srcTiled = false, dstTiled = false;
    int srcRefusals = 0;             // tiles the source's call-back refused
};

// The early returns that keep a tile by design, without a report. Each is
// one case of an operation's documented behaviour.
bool keepsTileByDesign(const Call& c) {
    // Copy and exchange between two tiled images: when the source rectangle
    // of a destination tile cannot be fetched (a source tile refused) the
    // call ends at once, and that destination tile is not given back.
    if ((c.op == kCopy || c.op == kExchange) && c.srcTiled && c.dstTiled && c.srcRefusals > 0)
        return true;
    return false;
}

// Header fields that an operation is documented to rewrite, besides a tile
// record's tileData: `before` is adjusted to the allowed new values.
void headerRewrites(const Call& c, const Image& img, VskImage* before) {
    const VskImage* now = img.header;
    const bool written = std::find(c.writes.begin(), c.writes.end(), now) != c.writes.end();
    // The hue conversions name the model they produced in the destination
    // (three bytes of colorModel and channelSeq; the fourth stays).
    const char* target = c.op == kRGB2HSV ? "HSV" : c.op == kRGB2HLS ? "HLS"
                         : (c.op == kHSV2RGB || c.op == kHLS2RGB) ? "RGB" : nullptr;
    if (target && written && std::memcmp(now->colorModel, target, 3) == 0 &&
        std::memcmp(now->channelSeq, target, 3) == 0) {
        std::memcpy(before->colorModel, target, 3);
        std::memcpy(before->channelSeq, target, 3);
    }
}

// With VSK_FUZZ_TRACE set, each call's images are printed before it runs.
void trace(Op op, VskImage* const* arg, int count, const Slot* slot) {
    static const bool on = std::getenv("VSK_FUZZ_TRACE") != nullptr;
    if (!on) return;
    std::fprintf(stderr, "op %d\n", op);
    for (int i = 0; i < count; ++i) {
        const VskImage* h = arg[i];
        if (!h) {
            std::fprintf(stderr, "  image %d: null\n", i);
            continue;
        }
        std::fprintf(stderr,
                     "  image %d: %p ch %d alpha %d depth %#x model %.4s seq %.4s order %d origin %d "
                     "align %d h %d w %d step %d size %d data %p borders %d %d %d %d\n",
                     i, static_cast<const void*>(h), h->nChannels, h->alphaChannel, h->depth,
                     h->colorModel, h->channelSeq, h->dataOrder, h->origin, h->align, h->height,
                     h->width, h->widthStep, h->dataSize, static_cast<const void*>(h->imageData),
                     h->borderModes[0], h->borderModes[1], h->borderModes[2], h->borderModes[3]);
        if (h->roi)
            std::fprintf(stderr, "    roi coi %d x %d y %d h %d w %d\n", h->roi->coi, h->roi->xOffset,
                         h->roi->yOffset, h->roi->height, h->roi->width);
        if (h->tileInfo)
            std::fprintf(stderr, "    tiles %d x %d\n", h->tileInfo->width, h->tileInfo->height);
    }
    for (std::size_t k = 0; k < kSlots; ++k)
        std::fprintf(stderr, "  slot %zu: %d %d %d %d\n", k, slot[k].b[0], slot[k].b[1], slot[k].b[2],
                     slot[k].b[3]);
}

void checkAfter(Call& c, int pending) {
    // Status and reports.
    const unsigned allowed = documentedCodes(c.op);
    if (g_reports.codes & ~allowed) violation("a report with an undocumented status", g_reports.codes, allowed);
    const int status = tvskGetErrStatus();
    if (status != 0 && status != pending && !(status < 0 && (code(status) & allowed)))
        violation("status after the call", status, pending);

    for (Image* img : c.pool) {
        VskImage* h = img->header;
        // Zoom's destination-tile walk ends early on its private ROI, which
        // then stays on the source header (deliberately); the caller owns it.
        if (c.op == kZoom && h->roi != img->saved.roi && h == c.source && !c.srcTiled &&
            c.dstTiled) {
            vskDeleteROI(h->roi);
            h->roi = img->saved.roi;
        }
        VskImage before = img->saved;
        headerRewrites(c, *img, &before);
        if (img->info) {
            if (img->info->tileData != img->savedInfo.tileData)
                img->savedInfo.tileData = img->info->tileData;
            if (std::memcmp(img->info, &img->savedInfo, sizeof *img->info) != 0)
                violation("the tile record changed");
        }
        if (std::memcmp(h, &before, sizeof before) != 0) {
            for (std::size_t i = 0; i < sizeof before; ++i)
                if (reinterpret_cast<const char*>(h)[i] != reinterpret_cast<const char*>(&before)[i])
                    violation("a header field changed at byte", static_cast<long>(i), c.op);
        }
        if (img->roi && std::memcmp(img->roi, &img->savedRoi, sizeof *img->roi) != 0)
            violation("the ROI record changed");
        const bool written = std::find(c.writes.begin(), c.writes.end(), h) != c.writes.end();
        if (!written && img->buffer && hashBytes(img->buffer, img->bufferBytes) != img->savedData)
            violation("the data of an image that is only read changed");
    }

    // Tiles.
    long held = 0;
    for (Image* img : c.pool) held += static_cast<long>(img->tiles.held.size());
    if (held && g_reports.count == 0 && !keepsTileByDesign(c))
        violation("tiles not given back without a report", held, c.op);
}

// A destination-tile selector (tile column and row) or a tile point (x, y).
const int* selector(const Slot& s, int storage[2], bool pixels) {
    if (s.b[0] == 0) return nullptr;
    auto one = [&](std::uint8_t v) { return v < 200 ? (pixels ? v % 90 : v % 12) - 2 : extreme(v); };
    storage[0] = one(s.b[1]);
    storage[1] = one(s.b[2]);
    return storage;
}

bool tooLarge(std::int64_t a, std::int64_t b) { return a > 0 && b > 0 && a > (1 << 21) / b; }

// Header fault texts: built ones (71-character lines) are released; the two
// static texts are not.
void releaseText(char* text) {
    if (text && std::strlen(text) > 0 && std::strlen(text) % 71 == 0) vskFreeAligned(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool installed = [] {
        vskSetErrorHandler(recordReport);
        return true;
    }();
    (void)installed;
    const Bytes in{data, size};
    const Op op = static_cast<Op>(in.at(kOpByte) % kOpCount);
    const unsigned flags = in.at(kFlagsByte);
    Slot slot[kSlots];
    for (std::size_t i = 0; i < kSlots; ++i)
        for (std::size_t j = 0; j < kSlotBytes; ++j) slot[i].b[j] = in.at(kArgs + i * kSlotBytes + j);
    std::uint32_t seed = 0x9E3779B9u;
    for (std::size_t i = kFrameBytes; i < size; ++i) seed = (seed ^ data[i]) * 16777619u;

    // Images: as many as the operation takes.
    static const int imageCounts[kOpCount] = {
        2, 2, 1, 2, 2, 2, 3, 3, 3, 1, 3, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 0, 1, 1, 1, 0, 2};
    const int count = imageCounts[op];
    std::unique_ptr<Image> images[3];
    Call call;
    call.op = op;
    for (int i = 0; i < count; ++i) {
        const bool alias = (i == 1 && (flags & kAliasSecond)) || (i == 2 && (flags & kAliasThird));
        if (alias) continue;
        images[i] = makeImage(in, kImage0 + i * kImageBytes, seed + static_cast<std::uint32_t>(i));
        if (!images[i]) return 0;
        call.pool.push_back(images[i].get());
    }
    VskImage* arg[3] = {nullptr, nullptr, nullptr};
    for (int i = 0; i < count; ++i) {
        if (images[i]) arg[i] = images[i]->header;
        else arg[i] = arg[i - 1];
    }
    if (flags & kNullImage && count > 0) arg[slot[7].b[1] % count] = nullptr;
    // Images an alpha argument may name: 0 none, else one of the three.
    auto extra = [&](std::uint8_t v) -> VskImage* {
        if (!(flags & kExtraImages)) return nullptr;
        return v % 4 ? arg[v % 4 - 1] : nullptr;
    };

    vskSetErrMode(VSK_ErrorModeSilent);
    const int pending = flags & kPendingError ? VSK_STATUS_BAD_ARG : VSK_STATUS_OK;
    vskSetErrStatus(pending);
    g_reports = Reports{};
    for (Image* img : call.pool) img->save();
    call.source = arg[0];
    trace(op, arg, count, slot);

    int sel[2];
    const auto tile = [&](int k) { return selector(slot[k], sel, false); };
    const auto point = [&](int k) { return selector(slot[k], sel, true); };
    auto twoImages = [&](VskImage* src, VskImage* dst) {
        call.srcTiled = src && src->tileInfo;
        call.dstTiled = dst && dst->tileInfo;
        call.writes = {dst};
    };

    switch (op) {
        case kCopy:
        case kExchange:
            twoImages(arg[0], arg[1]);
            if (op == kExchange) call.writes.push_back(arg[0]);
            (op == kCopy ? tvskCopy : vskExchange)(arg[0], arg[1], tile(0));
            break;
        case kSet:
            call.writes = {arg[0]};
            tvskSet(arg[0], slot[0].value(0, -300, 70000), tile(1));
            break;
        case kAddS:
            twoImages(arg[0], arg[1]);
            tvskAddS(arg[0], arg[1], slot[0].value(10, -300, 70000), tile(1));
            break;
        case kSubtractS:
            twoImages(arg[0], arg[1]);
            tvskSubtractS(arg[0], arg[1], slot[0].value(10, -300, 70000), slot[1].value(0, 0, 2),
                          tile(2));
            break;
        case kAndS:
            twoImages(arg[0], arg[1]);
            tvskAndS(arg[0], arg[1], slot[0].b[0] ? slot[0].raw() : 0x0F0F0F0Fu, tile(1));
            break;
        case kAnd:
            twoImages(arg[0], arg[2]);
            tvskAnd(arg[0], arg[1], arg[2], tile(0));
            break;
        case kAlphaComposite: {
            VskImage* alphaDst = extra(slot[7].b[3]);
            twoImages(arg[0], arg[2]);
            call.writes.push_back(alphaDst);
            tvskAlphaComposite(arg[0], arg[1], arg[2], slot[0].value(0, -1, 6), extra(slot[7].b[0]),
                               extra(slot[7].b[2]), alphaDst, slot[1].value(0, -1, 2),
                               slot[2].value(0, -1, 2), point(3));
            break;
        }
        case kAlphaCompositeC:
            twoImages(arg[0], arg[2]);
            tvskAlphaCompositeC(arg[0], arg[1], arg[2], slot[0].value(0, -1, 6),
                                slot[4].value(128, -2, 70000), slot[5].value(64, -2, 70000),
                                slot[1].value(0, -1, 2), slot[2].value(0, -1, 2), point(3));
            break;
        case kPreMultiplyAlpha:
            call.writes = {arg[0]};
            call.dstTiled = arg[0] && arg[0]->tileInfo;
            vskPreMultiplyAlpha(arg[0], slot[0].value(128, -2, 70000), point(1));
            break;
        case kMultiplyScale:
            twoImages(arg[0], arg[2]);
            vskMultiplyScale(arg[0], arg[1], arg[2], point(0));
            break;
        case kMultiplySScale:
            twoImages(arg[0], arg[1]);
            vskMultiplySScale(arg[0], arg[1], slot[0].value(128, -2, 70000), point(1));
            break;
        case kMirror:
            twoImages(arg[0], arg[1]);
            tvskMirror(arg[0], arg[1], slot[0].value(0, -3, 3), point(1));
            break;
        case kZoom:
        case kDecimate: {
            twoImages(arg[0], arg[1]);
            const bool up = op == kZoom;
            const int xU = slot[0].value(up ? 2 : 1, -1, 9), xL = slot[1].value(up ? 1 : 2, -1, 9);
            const int yU = slot[2].value(up ? 2 : 1, -1, 9), yL = slot[3].value(up ? 1 : 2, -1, 9);
            (up ? tvskZoom : tvskDecimate)(arg[0], arg[1], xU, xL, yU, yL, slot[4].value(0, -1, 3),
                                           tile(5));
            break;
        }
        case kBlur: {
            twoImages(arg[0], arg[1]);
            const int nRows = slot[0].value(3, -1, 40), nCols = slot[1].value(3, -1, 40);
            // The box is the caller's to choose; a fuzzer keeps the work it asks for small.
            const std::int64_t w = arg[0] && arg[1] ? std::min(arg[0]->width, arg[1]->width) : 0;
            const std::int64_t h = arg[0] && arg[1] ? std::min(arg[0]->height, arg[1]->height) : 0;
            // Its scratch holds box-high bands of whole pixels, however many
            // channels a header claims (2^24 of them ask for gigabytes).
            const std::int64_t values =
                arg[0] && arg[1] ? std::max({1, arg[0]->nChannels, arg[1]->nChannels}) : 1;
            if (tooLarge((w + nCols) * values, h + nRows)) return 0;
            tvskBlur(arg[0], arg[1], nRows, nCols, slot[2].value(1, -1, 40), slot[3].value(1, -1, 40),
                     point(4));
            break;
        }
        case kColorToGray:
            twoImages(arg[0], arg[1]);
            tvskColorToGray(arg[0], arg[1], const_cast<int*>(tile(0)));
            break;
        case kGrayToColor:
            twoImages(arg[0], arg[1]);
            tvskGrayToColor(arg[0], arg[1], slot[0].fraction(), slot[1].fraction(), slot[2].fraction(),
                            const_cast<int*>(tile(3)));
            break;
        case kReduceBits: {
            twoImages(arg[0], arg[1]);
            static const int dithers[] = {1, 2, 4, 8, 16, 0, 3, 32};
            vskReduceBits(arg[0], arg[1], slot[0].value(0, -1, 9),
                          slot[1].b[0] ? dithers[slot[1].b[1] % 8] : 1, slot[2].value(1, -3, 40),
                          tile(3));
            break;
        }
        case kRGB2HSV:
        case kHSV2RGB:
        case kRGB2HLS:
        case kHLS2RGB: {
            twoImages(arg[0], arg[1]);
            auto* fn = op == kRGB2HSV ? vskRGB2HSV : op == kHSV2RGB ? vskHSV2RGB
                       : op == kRGB2HLS ? vskRGB2HLS : vskHLS2RGB;
            fn(arg[0], arg[1], tile(0));
            break;
        }
        case kTranslateDIB:
        case kConvertFromDIB: {
            Dib dib;
            if (!makeDib(slot, 16, 16, false, 0, seed, &dib)) return 0;
            const std::uint32_t before = hashBytes(dib.header, dib.bytes);
            const BITMAPINFOHEADER* dibArg = slot[5].b[0] == 255 ? nullptr : dib.header;
            if (op == kConvertFromDIB) {
                call.writes = {arg[0]};
                tvskConvertFromDIB(dibArg, arg[0]);
            } else {
                int clone = -1;
                VskImage* made = tvskTranslateDIB(dibArg, flags & kNullImage ? nullptr : &clone);
                if (made) {
                    if (clone != 0 && clone != 1) violation("clone flag", clone);
                    const char* lo = reinterpret_cast<const char*>(dib.header);
                    if (made->imageData && made->dataSize > 0) {
                        if (clone && (made->imageData < lo || made->imageData + made->dataSize > lo + dib.bytes))
                            violation("a wrapped DIB image reaching past the DIB", made->dataSize,
                                      static_cast<long>(dib.bytes));
                        (void)hashBytes(made->imageData, static_cast<std::size_t>(made->dataSize));
                    }
                    tvskDeallocate(made, clone ? VSK_FREE_HEADER : VSK_FREE_HEADER | VSK_FREE_DATA);
                }
            }
            if (hashBytes(dib.header, dib.bytes) != before) violation("the DIB read changed");
            break;
        }
        case kConvertToDIB: {
            const VskImage* image = arg[0];
            static const int dithers[] = {1, 8, 0, 2, 16};
            const int dither = slot[5].b[0] ? dithers[slot[5].b[1] % 5] : 1;
            const int palette = slot[6].value(0, -1, 3);
            Dib dib;
            if (!makeDib(slot, image ? image->width : 16, image ? image->height : 16, true, palette,
                         seed, &dib))
                return 0;
            std::vector<std::uint8_t> before(dib.bytes);
            std::memcpy(before.data(), dib.header, dib.bytes);
            tvskConvertToDIB(arg[0], slot[5].b[2] == 255 ? nullptr : dib.header, dither, palette);
            BITMAPINFOHEADER h0, h1;
            std::memcpy(&h0, before.data(), sizeof h0);
            std::memcpy(&h1, dib.header, sizeof h1);
            // Only a median-cut table rewrites the header (its entry count).
            if (palette == 2) h0.biClrUsed = h1.biClrUsed;
            if (std::memcmp(&h0, &h1, sizeof h0) != 0) violation("the DIB header changed");
            // A refusal writes nothing, except that 16-bit images dithered by
            // 8 are converted (deliberately) only while an error is pending.
            const bool pendingPath = image && image->depth == VSK_16U && dither == 8;
            if (g_reports.count && palette == 0 && !pendingPath &&
                std::memcmp(before.data(), dib.header, dib.bytes) != 0)
                violation("a refused export wrote into the DIB");
            break;
        }
        case kGetRect: {
            const VskImage* image = arg[0];
            const int x = slot[0].value(0, -80, 80), y = slot[1].value(0, -80, 80);
            const int w = slot[2].value(16, -2, 200), h = slot[3].value(16, -2, 200);
            if (tooLarge(w, h)) return 0;
            int step = -1;
            void* rect = vskGetRect(image, x, y, w, h, slot[4].b[0] == 255 ? nullptr : &step);
            if (rect) {
                const std::int64_t stride =
                    rowBytes(image->dataOrder, image->depth, image->align, image->nChannels, w);
                if (slot[4].b[0] != 255 && step != stride) violation("fetched row stride", step, static_cast<long>(stride));
                const std::int64_t planes = image->dataOrder == VSK_DATA_ORDER_PLANE ? image->nChannels : 1;
                (void)hashBytes(rect, static_cast<std::size_t>(stride * std::max(h, 0) * planes));
                vskFreeAligned(rect);
            }
            break;
        }
        case kRecords: {
            static const unsigned depths[] = {VSK_8U, VSK_8S, VSK_16U, VSK_16S, VSK_32S, VSK_1U, 7, 0};
            const int nChannels = slot[0].value(3, -1, 6), alpha = slot[1].value(0, -1, 6);
            const int order = slot[2].value(0, -1, 2), align = slot[3].value(4, 0, 9);
            const int height = slot[4].value(16, -1, 80), width = slot[5].value(16, -1, 80);
            const unsigned depth = depths[slot[6].b[0] % 8];
            const char* model = slot[6].b[1] == 255 ? nullptr : "RGB";
            const char* seq = slot[6].b[2] == 255 ? nullptr : "BGR";
            VskROI* roi = slot[7].b[0] ? tvskCreateROI(slot[7].b[1] % 7 - 1, slot[7].b[2] % 90 - 5,
                                                        slot[7].b[3] % 90 - 5, height / 2, width / 2)
                                       : nullptr;
            VskImage* h = tvskCreateImageHeader(nChannels, alpha, depth, model, seq, order, slot[6].b[3] & 1,
                                                align, height, width, roi, nullptr, nullptr);
            if (!h) {
                vskDeleteROI(roi);
                break;
            }
            if (vskCheckNewHeader(h) != 0) violation("a new header fails its creation check");
            if (h->widthStep != vskComputeWidthStep(order, depth, align, nChannels, width))
                violation("widthStep of a new header", h->widthStep);
            const std::int64_t planes = order == VSK_DATA_ORDER_PLANE ? nChannels : 1;
            const std::int64_t real = rowBytes(order, depth, align, nChannels, width) * height * planes;
            if (real <= (8 << 20)) {
                tvskAllocateImage(h, slot[0].b[1] == 7 ? -1 : slot[0].b[1] - 100);
                if (h->imageData) {
                    if (h->dataSize != real) violation("dataSize of an allocated image", h->dataSize);
                    if (reinterpret_cast<std::uintptr_t>(h->imageData) % static_cast<unsigned>(align))
                        violation("an image buffer off its alignment");
                    (void)hashBytes(h->imageData, static_cast<std::size_t>(h->dataSize));
                    char* start = nullptr;
                    int step = 0, channels = 0, rows = 0, cols = 0, planeSize = 0;
                    vskRoiRect(h, &start, &step, &channels, &rows, &cols, &planeSize);
                    // For a valid header (a channel of interest it has) the rectangle starts inside.
                    if (vskBadImageHeader(h) == 0 && rows > 0 && cols > 0 &&
                        (start < h->imageData || start >= h->imageData + h->dataSize))
                        violation("a ROI rectangle starting outside the buffer");
                }
            }
            unsigned mask = vskBadImageHeader(h);
            char* text = vskHeaderErrorText(mask);
            if (mask && !text) violation("no text for a header fault", static_cast<long>(mask));
            releaseText(text);
            (void)vskTileWidthStep(h);
            (void)vskErrorText(slot[1].value(0, -20, 20));
            tvskDeallocate(h, VSK_FREE_HEADER | VSK_FREE_DATA | VSK_FREE_ROI);
            break;
        }
        case kChecks:
            for (int i = 0; i < 2; ++i) {
                const unsigned mask = vskBadImageHeader(arg[i]);
                char* text = vskHeaderErrorText(mask);
                if (mask && !text) violation("no text for a header fault", static_cast<long>(mask));
                releaseText(text);
                vskCheckImage(arg[i], "vskCheck", "fuzz", 1);
            }
            if (arg[0] && arg[1]) vskCheckCompatible(arg[0], arg[1], "vskCheck", "fuzz", 2);
            break;
        case kOpCount: break;
    }

    for (Image* img : call.pool)
        if (img->header == call.source) call.srcRefusals = img->tiles.refusals;
    if (std::getenv("VSK_FUZZ_TRACE"))
        std::fprintf(stderr, "  reports %d, status %d\n", g_reports.count, tvskGetErrStatus());
    checkAfter(call, pending);
    return 0;
}
