// The vsk command-line tool, end to end on generated files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "bmpfile.hpp"
#include "cli.hpp"
#include "imagefile.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;
using vsk::file::Format;
namespace fs = std::filesystem;

namespace {

std::vector<std::uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

// A PNG chunk's CRC over its type and data.
std::uint32_t crc32(const std::uint8_t* p, std::size_t n) {
    std::uint32_t c = 0xFFFFFFFF;
    for (std::size_t i = 0; i < n; ++i) {
        c ^= p[i];
        for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0xEDB88320u & (0u - (c & 1)));
    }
    return ~c;
}

void put32be(std::uint8_t* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
}

// Inserts a chunk before the first IDAT.
void insertChunk(std::vector<std::uint8_t>& png, const char* type, const std::vector<std::uint8_t>& data) {
    std::vector<std::uint8_t> chunk(12 + data.size());
    put32be(chunk.data(), static_cast<std::uint32_t>(data.size()));
    std::memcpy(chunk.data() + 4, type, 4);
    std::copy(data.begin(), data.end(), chunk.begin() + 8);
    put32be(chunk.data() + 8 + data.size(), crc32(chunk.data() + 4, 4 + data.size()));
    const auto idat = std::search(png.begin(), png.end(), "IDAT", "IDAT" + 4) - 4;
    png.insert(idat, chunk.begin(), chunk.end());
}

// Sample k (0 red, 1 green, 2 blue, 3 alpha; 0 grey) of picture pixel (x, y),
// whatever the image's channel order and origin.
std::int64_t sampleAt(const VskImage* image, int x, int y, int k) {
    const std::string seq(image->channelSeq, strnlen(image->channelSeq, 4));
    const std::size_t c = image->nChannels < 3 ? k : seq.find("RGBA"[k]);
    return get(image, x, image->origin == 1 ? image->height - 1 - y : y, static_cast<int>(c));
}

class Cli : public testing::Test {
protected:
    void SetUp() override {
        dir = fs::path(testing::TempDir()) / ("vsk_cli_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        VskImage* card = vsk::cli::drawTestCard(64, 48);
        std::string error;
        ASSERT_TRUE(vsk::bmp::saveImage(card, path("card.bmp"), {}, &error)) << error;
        tvskDeallocate(card, VSK_FREE_HEADER | VSK_FREE_DATA);
    }
    void TearDown() override {
        fs::remove_all(dir);
        vskSetErrorHandler(nullptr);
        vskSetErrStatus(0);
    }
    std::string path(const std::string& f) const { return (dir / f).string(); }
    int run(std::vector<std::string> args) {
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        const int status = vsk::cli::run(args);
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
        return status;
    }
    ImagePtr load(const std::string& f) {
        std::string error;
        VskImage* image = vsk::file::load(path(f), &error);
        EXPECT_NE(image, nullptr) << error;
        return ImagePtr(image);
    }
    fs::path dir;
    std::string out, err;
};

}  // namespace

TEST_F(Cli, BadArgumentsAreRefusedClearly) {
    struct Case {
        std::vector<std::string> args;
        int status;
        const char* message;
    } cases[] = {
        {{}, 2, "usage: vsk COMMAND"},
        {{"frobnicate"}, 2, "unknown command 'frobnicate'"},
        {{"copy", "card.bmp"}, 2, "expected 2 file(s)"},
        {{"mirror", "card.bmp", "o.bmp", "--axis", "2"}, 2, "invalid axis 2"},
        {{"mirror", "card.bmp", "o.bmp", "--angle", "2"}, 2, "unknown option --angle"},
        {{"zoom", "card.bmp", "o.bmp", "--x", "1/2"}, 2, "must be at least 1"},
        {{"decimate", "card.bmp", "o.bmp", "--x", "3/2"}, 2, "must be at most 1"},
        {{"zoom", "card.bmp", "o.bmp", "--interp", "bicubic"}, 2, "invalid interpolation 'bicubic'"},
        {{"addS", "card.bmp", "o.bmp", "--value", "ten"}, 2, "invalid value 'ten'"},
        {{"copy", "card.bmp", "o.bmp", "--roi", "1,2,3"}, 2, "expected 4 numbers"},
        {{"copy", "card.bmp", "o.bmp", "--roi", "100,0,5,5"}, 1, "does not lie in the 64 x 48 image"},
        {{"copy", "card.bmp", "o.bmp", "--coi", "4"}, 1, "outside 1..3"},
        {{"blur", "card.bmp", "o.bmp", "--size"}, 2, "needs a value"},
        {{"palette", "card.bmp", "o.bmp", "--colors", "17"}, 2, "--colors must be 2, 16 or 256"},
        {{"copy", "missing.bmp", "o.bmp"}, 1, "missing.bmp: cannot open"},
        {{"palette", "card.bmp", "o.bmp", "--reverse"}, 2, "unknown option --reverse"},
    };
    for (Case c : cases) {
        for (std::string& a : c.args)
            if (a.find(".bmp") != std::string::npos) a = path(a);
        EXPECT_EQ(run(c.args), c.status) << c.message;
        EXPECT_NE(err.find(c.message), std::string::npos) << "stderr: " << err;
    }
}

TEST_F(Cli, HelpForEveryCommand) {
    for (const char* cmd : {"info", "copy", "fill", "mirror", "zoom", "decimate", "blur", "addS", "subS", "andS", "and",
                            "composite", "gray", "color", "dither", "palette", "demo"}) {
        EXPECT_EQ(run({cmd, "--help"}), 0) << cmd;
        EXPECT_NE(out.find(std::string("vsk ") + cmd), std::string::npos) << cmd << ": " << out;
    }
}

TEST_F(Cli, InfoDescribesFileAndImage) {
    ASSERT_EQ(run({"info", path("card.bmp")}), 0) << err;
    EXPECT_NE(out.find("64 x 48, 24 bits per pixel, uncompressed, bottom-up"), std::string::npos) << out;
    EXPECT_NE(out.find("image: 3 channel(s), depth 8u, pixel order"), std::string::npos) << out;
}

TEST_F(Cli, CorruptFilesAreNamedWithTheReason) {
    std::ofstream(path("bad.bmp"), std::ios::binary) << "BM and nothing else";
    EXPECT_EQ(run({"info", path("bad.bmp")}), 1);
    EXPECT_NE(err.find("bad.bmp: unsupported DIB header size"), std::string::npos) << err;
}

TEST_F(Cli, PaletteWritesIndexedBitmaps) {
    for (const char* colors : {"2", "16", "256"}) {
        for (bool median : {false, true}) {
            std::vector<std::string> args = {"palette", path("card.bmp"), path("p.bmp"), "--colors", colors};
            if (median) args.push_back("--median");
            ASSERT_EQ(run(args), 0) << err;
            vsk::bmp::Dib dib;
            std::string error;
            ASSERT_TRUE(vsk::bmp::readFile(path("p.bmp"), &dib, &error)) << error;
            EXPECT_EQ(1u << dib.header()->biBitCount, static_cast<unsigned>(std::stoi(colors)));
            EXPECT_LE(dib.tableCount(), static_cast<unsigned>(std::stoi(colors)));
        }
    }
}

TEST_F(Cli, OperationsEndToEnd) {
    ImagePtr card = load("card.bmp");
    const int W = card->width, H = card->height;
    auto at = [](const VskImage* image, int x, int y, int c) {
        // Bitmaps come back bottom-up: picture row y is memory row H - 1 - y.
        return get(image, x, image->origin == 1 ? image->height - 1 - y : y, c);
    };
    ASSERT_EQ(run({"mirror", path("card.bmp"), path("m.bmp"), "--axis", "1"}), 0) << err;
    ImagePtr m = load("m.bmp");
    for (int y = 0; y < H; y += 7)
        for (int x = 0; x < W; x += 5)
            for (int c = 0; c < 3; ++c) ASSERT_EQ(at(m.get(), W - 1 - x, y, c), at(card.get(), x, y, c));

    ASSERT_EQ(run({"addS", path("card.bmp"), path("a.bmp"), "--value", "100", "--roi", "10,5,20,10", "--coi", "2"}), 0) << err;
    ImagePtr a = load("a.bmp");
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            for (int c = 0; c < 3; ++c) {
                // Regions count rows from the top of the picture.
                const bool inside = x >= 10 && x < 30 && y >= 5 && y < 15 && c == 1;
                const std::int64_t v = at(card.get(), x, y, c);
                ASSERT_EQ(at(a.get(), x, y, c), inside ? std::min<std::int64_t>(v + 100, 255) : v) << x << "," << y;
            }

    ASSERT_EQ(run({"zoom", path("card.bmp"), path("z.bmp"), "--x", "3/1", "--y", "2/1", "--interp", "nn"}), 0) << err;
    ImagePtr z = load("z.bmp");
    EXPECT_EQ(z->width, 3 * W);
    EXPECT_EQ(z->height, 2 * H);
    ASSERT_EQ(run({"decimate", path("card.bmp"), path("d.bmp"), "--x", "1/2", "--y", "1/4"}), 0) << err;
    ImagePtr d = load("d.bmp");
    EXPECT_EQ(d->width, W / 2);
    EXPECT_EQ(d->height, H / 4);

    ASSERT_EQ(run({"gray", path("card.bmp"), path("g.bmp")}), 0) << err;
    ImagePtr g = load("g.bmp");
    EXPECT_EQ(g->nChannels, 1);
    ASSERT_EQ(run({"dither", path("g.bmp"), path("b.bmp")}), 0) << err;
    ImagePtr b = load("b.bmp");
    EXPECT_EQ(b->depth, VSK_1U);
    for (int y = 0; y < H; y += 3)
        for (int x = 0; x < W; x += 3) ASSERT_EQ(at(b.get(), x, y, 0), at(g.get(), x, y, 0) > 127 ? 1 : 0);

    for (const char* op : {"over", "in", "out", "atop", "xor", "plus"}) {
        ASSERT_EQ(run({"composite", path("card.bmp"), path("card.bmp"), path("c.bmp"), "--op", op, "--alpha-a", "255",
                       "--alpha-b", "255"}),
                  0)
            << op << ": " << err;
    }
    for (const char* cmd : {"blur", "andS", "subS", "copy"})
        EXPECT_EQ(run({cmd, path("card.bmp"), path("o.bmp"), "--roi", "3,3,20,20"}), 0) << cmd << ": " << err;
}

#define NEEDS(format)                                                                          \
    if (!vsk::file::available(format)) GTEST_SKIP() << vsk::file::formatName(format) << " is not in this build"

TEST_F(Cli, PngRoundTripsEveryLayout) {
    NEEDS(Format::Png);
    struct Case {
        int channels;
        unsigned depth;
        int order;
        int colourType, bitDepth;  // of the PNG written
    } cases[] = {
        {1, VSK_1U, 0, 0, 1},  {1, VSK_8U, 0, 0, 8},  {1, VSK_16U, 0, 0, 16}, {2, VSK_8U, 0, 4, 8},
        {2, VSK_16U, 0, 4, 16}, {3, VSK_8U, 0, 2, 8}, {3, VSK_16U, 1, 2, 16}, {4, VSK_8U, 1, 6, 8},
        {4, VSK_16U, 0, 6, 16},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.channels) + " channel(s), depth " + std::to_string(c.depth));
        ImagePtr image = makeImage(c.channels, c.depth, c.order, 9, 13);
        fillRandom(image.get(), c.channels * 100 + c.depth);
        std::string error;
        ASSERT_TRUE(vsk::file::save(image.get(), path("in.png"), {}, &error)) << error;
        ASSERT_EQ(run({"copy", path("in.png"), path("out.png")}), 0) << err;
        const std::vector<std::uint8_t> bytes = readBytes(path("out.png"));
        ASSERT_GT(bytes.size(), 26u);
        EXPECT_EQ(bytes[24], c.bitDepth);
        EXPECT_EQ(bytes[25], c.colourType);
        ImagePtr back = load("out.png");
        ASSERT_TRUE(back);
        EXPECT_EQ(back->depth, c.depth);
        ASSERT_EQ(back->nChannels, c.channels);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 13; ++x)
                for (int k = 0; k < c.channels; ++k)
                    ASSERT_EQ(sampleAt(back.get(), x, y, k), sampleAt(image.get(), x, y, k)) << x << "," << y;
    }
}

TEST_F(Cli, PalettePngHoldsTheBitmapsColoursAndTransparencyBecomesAlpha) {
    NEEDS(Format::Png);
    ASSERT_EQ(run({"palette", path("card.bmp"), path("p.png"), "--colors", "16", "--median"}), 0) << err;
    ASSERT_EQ(run({"palette", path("card.bmp"), path("p.bmp"), "--colors", "16", "--median"}), 0) << err;
    std::vector<std::uint8_t> png = readBytes(path("p.png"));
    EXPECT_EQ(png[24], 4);  // 4-bit
    EXPECT_EQ(png[25], 3);  // indexed
    ImagePtr fromPng = load("p.png"), fromBmp = load("p.bmp");
    ASSERT_TRUE(fromPng && fromBmp);
    ASSERT_EQ(fromPng->nChannels, 3);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x)
            for (int k = 0; k < 3; ++k) ASSERT_EQ(sampleAt(fromPng.get(), x, y, k), sampleAt(fromBmp.get(), x, y, k));
    // Index 0 fully transparent, every other index opaque.
    insertChunk(png, "tRNS", {0});
    writeBytes(path("t.png"), png);
    ImagePtr alpha = load("t.png");
    ASSERT_TRUE(alpha);
    ASSERT_EQ(alpha->nChannels, 4);
    EXPECT_EQ(alpha->alphaChannel, 4);
    std::set<std::int64_t> alphas;
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x) alphas.insert(sampleAt(alpha.get(), x, y, 3));
    EXPECT_EQ(alphas, (std::set<std::int64_t>{0, 255}));
}

TEST_F(Cli, JpegRoundTripsWithinTolerance) {
    NEEDS(Format::Jpeg);
    for (int channels : {1, 3}) {
        SCOPED_TRACE(channels);
        // Smooth ramps: JPEG (with halved chroma resolution) keeps them within a few levels.
        ImagePtr image = makeImage(channels, VSK_8U, 0, 32, 48);
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 48; ++x)
                for (int c = 0; c < channels; ++c) put(image.get(), x, y, c, 20 + 2 * x + 2 * y + 20 * c);
        std::string error;
        ASSERT_TRUE(vsk::file::save(image.get(), path("in.png"), {}, &error)) << error;
        ASSERT_EQ(run({"copy", path("in.png"), path("out.jpg"), "--quality", "95"}), 0) << err;
        ASSERT_EQ(run({"info", path("out.jpg")}), 0) << err;
        EXPECT_NE(out.find(channels == 1 ? "1 component(s) (grey)" : "3 component(s) (YCbCr)"), std::string::npos);
        ImagePtr back = load("out.jpg");
        ASSERT_TRUE(back);
        ASSERT_EQ(back->nChannels, channels);
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 48; ++x)
                for (int k = 0; k < channels; ++k)
                    ASSERT_NEAR(sampleAt(back.get(), x, y, k), sampleAt(image.get(), x, y, k), 3) << x << "," << y;
        ASSERT_EQ(run({"copy", path("in.png"), path("small.jpg"), "--quality", "10"}), 0) << err;
        EXPECT_LT(fs::file_size(path("small.jpg")), fs::file_size(path("out.jpg")));
    }
}

TEST_F(Cli, ExtensionChoosesTheWriterAndSignatureTheReader) {
    NEEDS(Format::Png);
    NEEDS(Format::Jpeg);
    const struct {
        const char* name;
        std::vector<std::uint8_t> signature;
    } outputs[] = {{"a.PNG", {0x89, 'P', 'N', 'G'}}, {"a.jpeg", {0xFF, 0xD8, 0xFF}}, {"a.bmp", {'B', 'M'}}};
    ImagePtr card = load("card.bmp");
    for (const auto& o : outputs) {
        ASSERT_EQ(run({"copy", path("card.bmp"), path(o.name)}), 0) << o.name << ": " << err;
        std::vector<std::uint8_t> bytes = readBytes(path(o.name));
        bytes.resize(o.signature.size());
        EXPECT_EQ(bytes, o.signature) << o.name;
    }
    // A PNG named .bmp is read as a PNG, picture for picture.
    fs::copy_file(path("a.PNG"), path("png.bmp"));
    ASSERT_EQ(run({"info", path("png.bmp")}), 0) << err;
    EXPECT_NE(out.find("png.bmp: PNG, 64 x 48, 8-bit RGB"), std::string::npos) << out;
    ImagePtr png = load("png.bmp");
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x)
            for (int k = 0; k < 3; ++k) ASSERT_EQ(sampleAt(png.get(), x, y, k), sampleAt(card.get(), x, y, k));
    EXPECT_EQ(run({"copy", path("card.bmp"), path("a.png"), "--quality", "50"}), 2);
    EXPECT_NE(err.find("--quality applies to JPEG files only"), std::string::npos) << err;
}

TEST_F(Cli, OutputsTheBuildCannotWriteAreRefusedByName) {
    EXPECT_EQ(run({"copy", path("card.bmp"), path("a.tif")}), 1);
    EXPECT_NE(err.find("a.tif: unknown file type"), std::string::npos) << err;
    bool missing = false;
    for (Format f : {Format::Png, Format::Jpeg}) {
        if (vsk::file::available(f)) continue;
        missing = true;
        const std::string name = f == Format::Png ? "a.png" : "a.jpg";
        EXPECT_EQ(run({"copy", path("card.bmp"), path(name)}), 1);
        EXPECT_NE(err.find(name + ": " + vsk::file::formatName(f) + " files are not supported by this build"),
                  std::string::npos)
            << err;
    }
    EXPECT_EQ(run({"--help"}), 0);
    EXPECT_EQ(err.find("not available in this build") != std::string::npos, missing) << err;
}

TEST_F(Cli, DamagedPngAndJpegAreRefusedWithNameAndReason) {
    NEEDS(Format::Png);
    NEEDS(Format::Jpeg);
    ASSERT_EQ(run({"copy", path("card.bmp"), path("good.png")}), 0) << err;
    ASSERT_EQ(run({"copy", path("card.bmp"), path("good.jpg")}), 0) << err;
    const std::vector<std::uint8_t> png = readBytes(path("good.png")), jpeg = readBytes(path("good.jpg"));
    std::vector<std::uint8_t> badCrc = png, badDepth = png;
    badCrc[png.size() - 13] ^= 0x55;  // the last IDAT's CRC, just before the 12-byte IEND
    badDepth[24] = 7;                // IHDR bit depth, with a matching CRC
    put32be(badDepth.data() + 29, crc32(badDepth.data() + 12, 17));
    const struct {
        const char* name;
        std::vector<std::uint8_t> bytes;
        const char* reason;
    } cases[] = {
        {"cut.png", {png.begin(), png.begin() + png.size() / 2}, "bad PNG file: the file ends too early"},
        {"crc.png", badCrc, "bad PNG file: IDAT: CRC error"},
        {"depth.png", badDepth, "bad PNG file: Invalid IHDR data"},
        {"cut.jpg", {jpeg.begin(), jpeg.begin() + jpeg.size() / 2}, "bad JPEG file: Premature end of JPEG file"},
        {"head.jpg", {jpeg.begin(), jpeg.begin() + 40}, "bad JPEG file: "},
        {"none.png", {'h', 'e', 'l', 'l', 'o'}, "not a BMP, PNG or JPEG file"},
    };
    for (const auto& c : cases) {
        writeBytes(path(c.name), c.bytes);
        EXPECT_EQ(run({"copy", path(c.name), path("o.png")}), 1) << c.name;
        EXPECT_NE(err.find(std::string(c.name) + ": " + c.reason), std::string::npos) << err;
        EXPECT_FALSE(fs::exists(path("o.png")));
    }
}
