// Writes the seed corpora of the fuzz targets: small valid bitmaps of every
// layout the library reads, as .bmp files (bmp/) and as raw DIBs (dib/).
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bmpfile.hpp"
#include "imagefile.hpp"

// Seeds of the image target (image/): small PNG files of every layout the
// reader takes, indexed PNG files, JPEG files and a BMP. Formats this build
// lacks are left out.
void writeImageSeeds(const std::filesystem::path& dir) {
    std::filesystem::create_directories(dir);
    const struct {
        int channels;
        unsigned depth;
        const char* seq;
    } layouts[] = {{1, VSK_1U, "G\0\0\0"}, {1, VSK_8U, "G\0\0\0"}, {1, VSK_16U, "G\0\0\0"}, {2, VSK_8U, "GA\0\0"},
                   {2, VSK_16U, "GA\0\0"}, {3, VSK_8U, "RGB\0"},    {3, VSK_16U, "RGB\0"}, {4, VSK_8U, "RGBA"},
                   {4, VSK_16U, "RGBA"}};
    int n = 0;
    auto save = [&](VskImage* image, const char* ext, int bits) {
        vsk::file::SaveOptions options;
        options.bmp.bitCount = bits;
        options.quality = 50;
        std::string error;
        vsk::file::save(image, (dir / ("seed" + std::to_string(n++) + ext)).string(), options, &error);
    };
    for (const auto& l : layouts) {
        VskImage* image = tvskCreateImageHeader(l.channels, l.channels % 2 ? 0 : l.channels, l.depth, "RGBA", l.seq,
                                                0, 0, 4, 5, 7, nullptr, nullptr, nullptr);
        tvskAllocateImage(image, 0);
        for (int i = 0; i < image->dataSize; ++i) image->imageData[i] = static_cast<char>(i * 37 + 11);
        save(image, ".png", 0);
        if (l.depth == VSK_8U && l.channels != 2) save(image, ".jpg", 0);
        if (l.depth == VSK_8U && l.channels == 3) {
            for (int bits : {1, 4, 8}) save(image, ".png", bits);
            save(image, ".bmp", 0);
        }
        tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
}

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    const fs::path root = argc > 1 ? argv[1] : "seeds";
    fs::create_directories(root / "bmp");
    fs::create_directories(root / "dib");
    struct Layout {
        int bits;
        std::uint32_t compression, entries;
        int height;
    } layouts[] = {{1, BI_RGB, 2, 5},    {4, BI_RGB, 16, 5},  {4, BI_RGB, 5, -5}, {8, BI_RGB, 256, 5},
                   {8, BI_RGB, 16, -5},  {16, BI_RGB, 0, 5},  {16, BI_BITFIELDS, 0, 5},
                   {24, BI_RGB, 0, 5},   {24, BI_RGB, 0, -5}, {32, BI_RGB, 0, 5}, {32, BI_BITFIELDS, 0, 5}};
    int n = 0;
    for (const Layout& l : layouts) {
        for (bool grey : {false, true}) {
            vsk::bmp::Dib dib = vsk::bmp::Dib::make(7, l.height, l.bits, l.compression, l.entries);
            std::uint8_t* table = dib.bytes() + 40;
            if (l.compression == BI_BITFIELDS) {
                const std::uint32_t masks[3] = {l.bits == 16 ? 0xF800u : 0xFF0000u, l.bits == 16 ? 0x07E0u : 0xFF00u,
                                                l.bits == 16 ? 0x001Fu : 0xFFu};
                std::memcpy(table, masks, 12);
            }
            for (std::uint32_t i = 0; i < l.entries; ++i) {
                const int g = l.entries > 1 ? static_cast<int>(255 * i / (l.entries - 1)) : 0;
                table[4 * i] = static_cast<std::uint8_t>(grey ? g : (i * 40) & 255);
                table[4 * i + 1] = static_cast<std::uint8_t>(g);
                table[4 * i + 2] = static_cast<std::uint8_t>(grey ? g : 255 - g);
            }
            std::uint8_t* px = dib.bytes() + dib.pixelOffset();
            for (std::size_t i = 0; i < dib.rowBytes() * dib.rows(); ++i) px[i] = static_cast<std::uint8_t>(i * 37 + 11);
            const std::vector<std::uint8_t> file = vsk::bmp::serialize(dib);
            const std::string name = "seed" + std::to_string(n++);
            std::ofstream(root / "bmp" / (name + ".bmp"), std::ios::binary)
                .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
            std::ofstream(root / "dib" / (name + ".dib"), std::ios::binary)
                .write(reinterpret_cast<const char*>(file.data() + 14), static_cast<std::streamsize>(file.size() - 14));
        }
    }
    writeImageSeeds(root / "image");
    std::printf("wrote %d seeds into %s\n", n, root.string().c_str());
    return 0;
}
