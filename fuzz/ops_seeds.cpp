// Writes the seed corpus of the operation fuzzer (ops/): for every operation
// a few frames that reach it with fitting images (buffered, tiled, with
// ROIs, in plane order), so that the fuzzer starts inside each one.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "ops_input.hpp"

namespace {

using namespace vskfuzz;

struct ImageSeed {
    std::uint8_t depth = 0, channels = 0, alpha = 0, model = 0, seq = 0, layout = 0;
    std::uint8_t height = 0, width = 0;
};

// Codes of ops_input.hpp.
constexpr std::uint8_t k8U = 0, k16U = 2, k32S = 4, k1U = 5;
constexpr std::uint8_t kThree = 0, kOne = 1, kFour = 2;
constexpr std::uint8_t kLastAlpha = 1;
constexpr std::uint8_t kRGBA = 1, kGRAY = 2, kHSV = 3, kHLS = 4;
constexpr std::uint8_t kSeqBGR = 1, kSeqRGBA = 2, kSeqG = 4, kSeqHSV = 6, kSeqHLS = 7;

ImageSeed rgb(std::uint8_t depth = k8U) { return {depth, kThree, 0, 0, 0, 0, 0, 0}; }
ImageSeed grey(std::uint8_t depth = k8U) { return {depth, kOne, 0, kGRAY, kSeqG, 0, 0, 0}; }
ImageSeed rgba(std::uint8_t depth = k8U) { return {depth, kFour, kLastAlpha, kRGBA, kSeqRGBA, 0, 0, 0}; }

std::vector<std::uint8_t> frame(Op op, std::initializer_list<ImageSeed> images, unsigned layout,
                                std::initializer_list<std::uint8_t> args = {}) {
    std::vector<std::uint8_t> f(kFrameBytes + 4, 0);
    f[kOpByte] = op;
    std::size_t i = 0;
    for (const ImageSeed& s : images) {
        std::uint8_t* r = &f[kImage0 + i * kImageBytes];
        r[kDepth] = s.depth;
        r[kChannels] = s.channels;
        r[kAlpha] = s.alpha;
        r[kModel] = s.model;
        r[kSeq] = s.seq;
        r[kLayout] = static_cast<std::uint8_t>(s.layout | layout);
        r[kHeight] = s.height;
        r[kWidth] = s.width;
        // A ROI inside the image, when asked for: (3, 5) of 9 x 11.
        r[kRoiX] = 3;
        r[kRoiY] = 5;
        r[kRoiHeight] = 9;
        r[kRoiWidth] = 11;
        r[kPixelSeed] = static_cast<std::uint8_t>(17 * i + 1);
        ++i;
    }
    std::size_t k = kArgs;
    for (std::uint8_t a : args) f[k++] = a;
    for (std::size_t j = kFrameBytes; j < f.size(); ++j) f[j] = static_cast<std::uint8_t>(j * 31);
    return f;
}

}  // namespace

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::path(argc > 1 ? argv[1] : "seeds") / "ops";
    fs::create_directories(dir);
    int n = 0;
    auto write = [&](const std::vector<std::uint8_t>& bytes) {
        std::ofstream(dir / ("seed" + std::to_string(n++)), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    };
    // Every operation with default images, tiled, with ROIs and in plane order.
    const unsigned layouts[] = {0, kTiledBit, kRoiBit, kPlaneBit | kTiledBit | kRoiBit};
    for (int op = 0; op < kOpCount; ++op)
        for (unsigned layout : layouts) write(frame(static_cast<Op>(op), {rgb(), rgb(), rgb()}, layout));
    // Operations whose images differ in kind.
    for (unsigned layout : layouts) {
        write(frame(kAlphaComposite, {rgba(), rgba(), rgba()}, layout));
        write(frame(kAlphaComposite, {rgba(k16U), rgba(k16U), rgba(k16U)}, layout, {3, 0, 0, 0, 3}));
        write(frame(kAlphaCompositeC, {rgba(), rgba(), rgba()}, layout, {5}));
        write(frame(kPreMultiplyAlpha, {rgba(k16U)}, layout));
        write(frame(kMultiplyScale, {rgba(), rgba(), rgba()}, layout));
        write(frame(kColorToGray, {rgb(), grey()}, layout));
        write(frame(kColorToGray, {rgb(k32S), grey(k1U)}, layout));
        write(frame(kColorToGray, {{k16U, kThree, 0, 0, kSeqBGR, 0, 0, 0}, grey()}, layout));
        write(frame(kGrayToColor, {grey(), rgb()}, layout));
        write(frame(kGrayToColor, {grey(k1U), rgb()}, layout));
        write(frame(kReduceBits, {rgb(k16U), rgb()}, layout, {0, 0, 0, 0, 1, 1}));
        write(frame(kReduceBits, {grey(), grey(k1U)}, layout, {5, 0, 0, 0, 1, 4}));
        write(frame(kRGB2HSV, {rgb(k16U), rgb(k16U)}, layout));
        write(frame(kHSV2RGB, {{k8U, kThree, 0, kHSV, kSeqHSV, 0, 0, 0}, rgb()}, layout));
        write(frame(kHLS2RGB, {{k32S, kThree, 0, kHLS, kSeqHLS, 0, 0, 0}, rgb(k32S)}, layout));
        // Slot codes c give lo + c - 1: zoom 3/2 by 5/3 cubic, decimate 2/3 by 1/2 linear.
        write(frame(kZoom, {grey(k16U), grey(k16U)}, layout, {5, 0, 0, 0, 4, 0, 0, 0, 7, 0, 0, 0,
                                                                  5, 0, 0, 0, 4}));
        write(frame(kDecimate, {rgb(), rgb()}, layout, {4, 0, 0, 0, 5, 0, 0, 0, 3, 0, 0, 0,
                                                          4, 0, 0, 0, 3}));
        write(frame(kMirror, {grey(k1U), grey(k1U)}, layout, {3}));
        write(frame(kBlur, {rgb(k32S), rgb(k32S)}, layout));
        write(frame(kCopy, {grey(k1U), grey(k1U)}, layout));
        write(frame(kAddS, {grey(k1U), grey(k1U)}, layout));
        write(frame(kAnd, {grey(k1U), grey(k1U), grey(k1U)}, layout));
    }
    // Compositing whose alpha target is a tiled source of another tile size
    // (its blocks span tiles, are gathered and put back): alpha images from
    // slot 7 (A's alpha none, B's none, the target image 1, i.e. source A).
    {
        std::vector<std::uint8_t> f = frame(kAlphaComposite, {rgba(), rgba(), rgba()}, kTiledBit,
                                            {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                             0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
        f[kFlagsByte] = kExtraImages;
        // 16 x 16 tiles for the destination, whose blocks span four of A's 8 x 8.
        f[kImage0 + 2 * kImageBytes + kTileWidth] = f[kImage0 + 2 * kImageBytes + kTileHeight] = 1;
        write(f);
    }
    // Bit images into bitmaps: fixed and median-cut tables.
    for (std::uint8_t palette : {3, 4})
        write(frame(kConvertToDIB, {grey(k1U)}, 0, {0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0,
                                                     0, 0, 0, 0, 0, 0, 0, 0, palette}));
    // Bitmaps: every bit count, into and out of images, with palettes.
    // Bit-count codes 0..5: 24, 1, 4, 8, 16, 32 bits; palette codes 2..4: conversions 0..2.
    for (std::uint8_t bits = 0; bits < 6; ++bits)
        for (std::uint8_t palette = 2; palette <= 4; ++palette) {
            write(frame(kConvertToDIB, {rgb()}, 0, {0, 0, 0, 0, 0, 0, 0, 0, bits, 0, 0, 0, 0, 0, 0, 0,
                                                     0, 0, 0, 0, 0, 0, 0, 0, palette}));
            write(frame(kConvertToDIB, {grey(k16U)}, 0, {0, 0, 0, 0, 0, 0, 0, 0, bits, 0, 0, 0, 0, 0, 0, 0,
                                                          0, 0, 0, 0, 1, 1, 0, 0, palette}));
            write(frame(kTranslateDIB, {}, 0, {0, 0, 0, 0, 0, 0, 0, 0, bits, palette == 3, 0, 0}));
            write(frame(kConvertFromDIB, {palette == 4 ? grey() : rgba()}, 0,
                        {0, 0, 0, 0, 0, 0, 0, 0, bits, palette == 3, 0, 0}));
        }
    std::printf("wrote %d seeds into %s\n", n, dir.string().c_str());
    return 0;
}
