// Fuzz target: DIB import on raw headers. The input is a DIB as it would sit
// in memory (header, table or masks, rows); only inputs whose every stated
// size fits the input (checked by the file layer) reach the library.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bmpfile.hpp"
#include "vsk_internal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vskSetErrMode(VSK_ErrorModeSilent);
    vskSetErrStatus(0);
    if (size < 40) return 0;
    // Wrap the raw DIB in a file header whose pixel offset follows the table.
    std::uint32_t header[10];
    std::memcpy(header, data, 40);
    const auto* h = reinterpret_cast<const BITMAPINFOHEADER*>(header);
    std::size_t table = 0;
    if (h->biBitCount <= 8) table = 4 * static_cast<std::size_t>(h->biClrUsed ? h->biClrUsed : 1u << (h->biBitCount & 15));
    else if (h->biCompression == BI_BITFIELDS) table = 12;
    if (table > size) return 0;
    std::vector<std::uint8_t> file(14 + size);
    file[0] = 'B';
    file[1] = 'M';
    const std::uint32_t off = static_cast<std::uint32_t>(14 + 40 + table);
    std::memcpy(file.data() + 10, &off, 4);
    std::memcpy(file.data() + 14, data, size);
    vsk::bmp::Dib dib;
    std::string error;
    if (!vsk::bmp::parse(file.data(), file.size(), &dib, &error)) return 0;

    int clone = 0;
    VskImage* image = tvskTranslateDIB(dib.header(), &clone);
    if (image) tvskDeallocate(image, clone ? VSK_FREE_HEADER : VSK_FREE_HEADER | VSK_FREE_DATA);

    // Convert into images of every layout the conversion serves, some larger.
    struct Target {
        int nChannels;
        unsigned depth;
        int order;
        const char* seq;
    } targets[] = {{1, VSK_1U, 0, "G"}, {1, VSK_8U, 1, "GRAY"}, {1, VSK_16U, 0, "G"},
                   {3, VSK_8U, 0, "RGB"}, {3, VSK_16U, 1, "BGR"}, {4, VSK_8U, 1, "RGBA"}};
    const int extra = static_cast<int>(data[size - 1] & 3);
    for (const Target& t : targets) {
        VskImage* target = tvskCreateImageHeader(t.nChannels, 0, t.depth, "RGB", t.seq, t.order, 0, 4,
                                                 static_cast<int>(dib.rows()) + extra,
                                                 dib.header()->biWidth + extra, nullptr, nullptr, nullptr);
        if (!target) continue;
        tvskAllocateImage(target, 0);
        if (target->imageData) {
            vskSetErrStatus(0);
            tvskConvertFromDIB(dib.header(), target);
        }
        tvskDeallocate(target, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
    return 0;
}
