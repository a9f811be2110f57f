// The vsk command-line tool, end to end on generated files.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bmpfile.hpp"
#include "cli.hpp"
#include "support/vsktest.hpp"

using namespace vsktest;
namespace fs = std::filesystem;

namespace {

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
        VskImage* image = vsk::bmp::loadImage(path(f), &error);
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
