// The BMP file layer: every size a file states is checked against the file.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bmpfile.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;

namespace {

void put16(std::vector<std::uint8_t>& f, std::size_t at, std::uint32_t v) {
    f[at] = std::uint8_t(v);
    f[at + 1] = std::uint8_t(v >> 8);
}
void put32(std::vector<std::uint8_t>& f, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) f[at + i] = std::uint8_t(v >> (8 * i));
}

// A well-formed file: 14-byte header, a `headerSize` DIB header, table, rows.
std::vector<std::uint8_t> file(int headerSize, int width, int height, int bits, std::uint32_t compression = 0,
                               std::uint32_t clrUsed = 0) {
    const int entries = bits <= 8 ? (clrUsed ? int(clrUsed) : 1 << bits) : 0;
    const int entrySize = headerSize == 12 ? 3 : 4;
    const int masks = compression == 3 && headerSize == 40 ? 12 : 0;
    const int stride = ((width * bits + 31) & ~31) / 8;
    const int rows = height < 0 ? -height : height;
    const std::size_t off = 14 + headerSize + masks + entries * entrySize;
    std::vector<std::uint8_t> f(off + static_cast<std::size_t>(stride) * rows, 0);
    f[0] = 'B';
    f[1] = 'M';
    put32(f, 2, static_cast<std::uint32_t>(f.size()));
    put32(f, 10, static_cast<std::uint32_t>(off));
    put32(f, 14, static_cast<std::uint32_t>(headerSize));
    if (headerSize == 12) {
        put16(f, 18, static_cast<std::uint32_t>(width));
        put16(f, 20, static_cast<std::uint32_t>(height));
        put16(f, 22, 1);
        put16(f, 24, static_cast<std::uint32_t>(bits));
    } else {
        put32(f, 18, static_cast<std::uint32_t>(width));
        put32(f, 22, static_cast<std::uint32_t>(height));
        put16(f, 26, 1);
        put16(f, 28, static_cast<std::uint32_t>(bits));
        put32(f, 30, compression);
        put32(f, 46, clrUsed);
        if (compression == 3) {
            const std::size_t at = headerSize >= 52 ? 14 + 40 : 14 + headerSize;
            put32(f, at, bits == 16 ? 0xF800 : 0xFF0000);
            put32(f, at + 4, bits == 16 ? 0x07E0 : 0xFF00);
            put32(f, at + 8, bits == 16 ? 0x001F : 0xFF);
        }
    }
    for (int i = 0; i < entries; ++i) {
        const std::size_t at = 14 + headerSize + masks + static_cast<std::size_t>(i) * entrySize;
        f[at] = f[at + 1] = f[at + 2] = std::uint8_t(i * 255 / (entries > 1 ? entries - 1 : 1));
    }
    for (std::size_t i = off; i < f.size(); ++i) f[i] = std::uint8_t(i * 7);
    return f;
}

std::string parseError(const std::vector<std::uint8_t>& f) {
    vsk::bmp::Dib dib;
    std::string error;
    if (vsk::bmp::parse(f.data(), f.size(), &dib, &error)) return "";
    return error;
}

}  // namespace

TEST(BmpFile, AcceptsEveryHeaderKindAndLayout) {
    struct Case {
        int headerSize, width, height, bits;
        std::uint32_t compression, clrUsed;
    } cases[] = {
        {40, 5, 3, 24, 0, 0},  {40, 5, -3, 24, 0, 0}, {40, 9, 2, 1, 0, 0},   {40, 7, 2, 4, 0, 0},
        {40, 7, 2, 8, 0, 16},  {40, 3, 3, 16, 0, 0},  {40, 3, 3, 16, 3, 0},  {40, 3, 3, 32, 0, 0},
        {40, 3, 3, 32, 3, 0},  {108, 4, 2, 32, 3, 0}, {124, 4, 2, 24, 0, 0}, {56, 4, 2, 16, 3, 0},
        {12, 6, 2, 8, 0, 0},   {12, 6, 2, 24, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.headerSize << "-byte header, " << c.bits << " bits");
        const std::vector<std::uint8_t> f = file(c.headerSize, c.width, c.height, c.bits, c.compression, c.clrUsed);
        vsk::bmp::Dib dib;
        std::string error;
        ASSERT_TRUE(vsk::bmp::parse(f.data(), f.size(), &dib, &error)) << error;
        EXPECT_EQ(dib.header()->biSize, 40u);
        EXPECT_EQ(dib.header()->biWidth, c.width);
        EXPECT_EQ(dib.header()->biHeight, c.height);
        EXPECT_EQ(dib.header()->biBitCount, c.bits);
        // The pixel rows arrive unchanged.
        const std::size_t off = f.size() - dib.rowBytes() * dib.rows();
        EXPECT_EQ(std::memcmp(dib.bytes() + dib.pixelOffset(), f.data() + off, dib.rowBytes() * dib.rows()), 0);
        // Writing gives back a file that parses to the same DIB.
        const std::vector<std::uint8_t> again = vsk::bmp::serialize(dib);
        vsk::bmp::Dib dib2;
        ASSERT_TRUE(vsk::bmp::parse(again.data(), again.size(), &dib2, &error)) << error;
        ASSERT_EQ(dib2.size(), dib.size());
        EXPECT_EQ(std::memcmp(dib2.bytes(), dib.bytes(), dib.size()), 0);
        // And the library takes it.
        VskImage* image = vsk::bmp::imageFromDib(dib, &error);
        ASSERT_NE(image, nullptr) << error;
        EXPECT_EQ(image->width, c.width);
        tvskDeallocate(image, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
}

TEST(BmpFile, RefusesBrokenFilesWithAReason) {
    struct Case {
        const char* what;
        std::vector<std::uint8_t> bytes;
        const char* reason;
    };
    std::vector<Case> cases;
    auto good = [] { return file(40, 4, 4, 24); };
    cases.push_back({"empty", {}, "file too short"});
    cases.push_back({"no signature", [&] { auto f = good(); f[0] = 'X'; return f; }(), "no 'BM' signature"});
    cases.push_back({"truncated header", [&] { auto f = good(); f.resize(30); return f; }(), "truncated DIB header"});
    cases.push_back({"header size 64", [&] { auto f = good(); put32(f, 14, 64); return f; }(), "unsupported DIB header size 64"});
    cases.push_back({"two planes", [&] { auto f = good(); put16(f, 26, 2); return f; }(), "planes"});
    cases.push_back({"2 bits", [&] { auto f = good(); put16(f, 28, 2); return f; }(), "unsupported bit count 2"});
    cases.push_back({"RLE", [&] { auto f = file(40, 4, 4, 8); put32(f, 30, 1); return f; }(), "compression 1"});
    cases.push_back({"bit fields on 24 bits", [&] { auto f = good(); put32(f, 30, 3); return f; }(), "compression 3"});
    cases.push_back({"zero width", [&] { auto f = good(); put32(f, 18, 0); return f; }(), "invalid dimensions"});
    cases.push_back({"negative width", [&] { auto f = good(); put32(f, 18, 0xFFFFFFFF); return f; }(), "invalid dimensions"});
    cases.push_back({"huge width", [&] { auto f = good(); put32(f, 18, 0x7FFFFFFF); return f; }(), "too large"});
    cases.push_back({"huge height", [&] { auto f = good(); put32(f, 22, 0x80000000); return f; }(), "too large"});
    cases.push_back({"rows x stride past 32 bits", [&] { auto f = good(); put32(f, 18, 1 << 20); put32(f, 22, 1 << 20); return f; }(),
                     "too large"});
    cases.push_back({"palette overflow", [&] { auto f = file(40, 4, 4, 4); put32(f, 46, 17); return f; }(),
                     "colour table of 17 entries is larger than 16"});
    cases.push_back({"palette past the end", [&] { auto f = file(40, 4, 4, 8); put32(f, 46, 255); f.resize(14 + 40 + 100); return f; }(),
                     "colour table runs past the end"});
    cases.push_back({"offset inside the headers", [&] { auto f = file(40, 4, 4, 8); put32(f, 10, 20); return f; }(), "inside the headers"});
    cases.push_back({"offset outside the file", [&] { auto f = good(); put32(f, 10, 1000000); return f; }(), "runs past the end of the file"});
    cases.push_back({"offset near 4 GiB", [&] { auto f = good(); put32(f, 10, 0xFFFFFFF0); return f; }(), "runs past the end of the file"});
    cases.push_back({"truncated rows", [&] { auto f = good(); f.resize(f.size() - 1); return f; }(), "runs past the end of the file"});
    cases.push_back({"zero mask", [&] { auto f = file(40, 4, 4, 32, 3); put32(f, 58, 0); return f; }(), "mask is zero"});
    cases.push_back({"mask outside 16 bits", [&] { auto f = file(40, 4, 4, 16, 3); put32(f, 54, 0xF0000); return f; }(),
                     "no bits in a 16-bit pixel"});
    cases.push_back({"masks past the end", [&] { auto f = file(40, 4, 4, 16, 3); f.resize(60); return f; }(), "masks run past"});
    for (const Case& c : cases) {
        const std::string error = parseError(c.bytes);
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.what << ": got \"" << error << "\"";
    }
}

TEST(BmpFile, EveryTruncationIsRefusedWithoutReadingPastTheEnd) {
    for (const auto& f : {file(40, 13, 5, 8, 0, 200), file(124, 3, 3, 32, 3), file(12, 5, 4, 4)}) {
        for (std::size_t n = 0; n < f.size(); ++n) {
            // A copy of exactly n bytes, so a sanitizer sees any read beyond it.
            std::vector<std::uint8_t> cut(f.begin(), f.begin() + static_cast<std::ptrdiff_t>(n));
            vsk::bmp::Dib dib;
            std::string error;
            EXPECT_FALSE(vsk::bmp::parse(cut.data(), cut.size(), &dib, &error)) << n;
        }
    }
}

TEST(BmpFile, ImagesRoundTripThroughFiles) {
    struct Case {
        int nChannels;
        unsigned depth;
        int order;
        const char* seq;
        int alpha;
    } cases[] = {
        {3, VSK_8U, 0, "BGR", 0}, {3, VSK_8U, 1, "RGB", 0}, {1, VSK_8U, 0, "G", 0},
        {1, VSK_1U, 0, "G", 0},   {4, VSK_8U, 0, "BGRA", 4},
    };
    const std::string dir = testing::TempDir();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.seq);
        ImagePtr image = makeImage(c.nChannels, c.depth, c.order, 9, 11, 0, 4, "RGB", c.seq);
        image->alphaChannel = c.alpha;
        fillRandom(image.get(), 17);
        const std::string path = dir + "/vsk_roundtrip.bmp";
        std::string error;
        ASSERT_TRUE(vsk::bmp::saveImage(image.get(), path, {}, &error)) << error;
        VskImage* back = vsk::bmp::loadImage(path, &error);
        ASSERT_NE(back, nullptr) << error;
        EXPECT_EQ(back->nChannels, c.nChannels);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 11; ++x)
                for (int ch = 0; ch < c.nChannels; ++ch) {
                    const int by = back->origin == 1 ? 8 - y : y;
                    // Bitmaps store blue first: a red-first image comes back blue-first.
                    const int bch = std::string(c.seq) == "RGB" && ch < 3 ? 2 - ch : ch;
                    ASSERT_EQ(get(back, x, by, bch), get(image.get(), x, y, ch)) << x << "," << y << "," << ch;
                }
        tvskDeallocate(back, VSK_FREE_HEADER | VSK_FREE_DATA);
        std::remove(path.c_str());
    }
    std::string error;
    EXPECT_EQ(vsk::bmp::loadImage(dir + "/does-not-exist.bmp", &error), nullptr);
    EXPECT_NE(error.find("does-not-exist.bmp: cannot open"), std::string::npos) << error;
}
