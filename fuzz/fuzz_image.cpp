// Fuzz target: any file through the tool's image readers (BMP, PNG and JPEG,
// chosen by signature). What decodes is written as PNG and JPEG; a PNG written
// from a PNG must read back to the same samples.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "imagefile.hpp"
#include "vsk_internal.h"

namespace {

using vsk::file::Format;

// Small limits keep each run fast; checksums are not checked so that mutated
// headers reach the decoders.
vsk::file::Limits fuzzLimits() {
    vsk::file::Limits limits;
    limits.maxDimension = 4096;
    limits.maxBytes = 16 << 20;
    limits.checksums = false;
    return limits;
}

// Encodes into memory; false when the writer refused the image.
bool encode(VskImage* image, Format format, int quality, char** bytes, std::size_t* size) {
    std::FILE* out = open_memstream(bytes, size);
    if (!out) return false;
    vsk::file::SaveOptions options;
    options.quality = quality;
    std::string error;
    const bool ok = vsk::file::write(image, format, options, out, &error);
    std::fclose(out);
    return ok;
}

bool sameSamples(const VskImage* a, const VskImage* b) {
    if (a->width != b->width || a->height != b->height || a->nChannels != b->nChannels ||
        a->depth != b->depth || a->widthStep != b->widthStep)
        return false;
    const std::int64_t bits = static_cast<std::int64_t>(a->width) * a->nChannels * a->depth;
    for (int y = 0; y < a->height; ++y) {
        const char* ra = a->imageData + static_cast<std::int64_t>(y) * a->widthStep;
        const char* rb = b->imageData + static_cast<std::int64_t>(y) * b->widthStep;
        if (std::memcmp(ra, rb, static_cast<std::size_t>(bits / 8))) return false;
        const int rest = static_cast<int>(bits % 8);  // 1-bit rows: the used bits of the last byte
        if (rest && ((ra[bits / 8] ^ rb[bits / 8]) & (0xFF00 >> rest) & 0xFF)) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vskSetErrMode(VSK_ErrorModeSilent);
    vskSetErrStatus(0);
    const vsk::file::Limits limits = fuzzLimits();
    std::string error;
    VskImage* image = vsk::file::decode(data, size, limits, nullptr, &error);
    if (!image) return 0;
    char* bytes = nullptr;
    std::size_t length = 0;
    if (vsk::file::available(Format::Png) && encode(image, Format::Png, 90, &bytes, &length) &&
        vsk::file::sniff(data, size) == Format::Png) {
        VskImage* back = vsk::file::decode(reinterpret_cast<const std::uint8_t*>(bytes), length,
                                           limits, nullptr, &error);
        if (!back || !sameSamples(image, back)) {
            std::fprintf(stderr, "PNG round trip changed the image (%s)\n",
                         back ? "samples" : error.c_str());
            std::abort();
        }
        tvskDeallocate(back, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
    std::free(bytes);
    bytes = nullptr;
    if (vsk::file::available(Format::Jpeg))
        encode(image, Format::Jpeg, 1 + data[size - 1] % 100, &bytes, &length);
    std::free(bytes);
    tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
    return 0;
}
