// The input layout of the operation fuzzer, shared with its seed writer.
//
// An input is a fixed frame: the operation, call flags, three image records
// and eight argument slots; any bytes after the frame seed the pixels. A
// short input reads as if padded with zeros, and a zero byte always selects
// the field's plain default (an 8-bit, three-channel "RGB" image of 16 x 16
// pixels, no ROI, no tiles; each argument's usual value), so that an input of
// just the operation byte already reaches the operation with valid images.
#pragma once

#include <cstddef>

namespace vskfuzz {

enum Op : unsigned char {
    kCopy,
    kExchange,
    kSet,
    kAddS,
    kSubtractS,
    kAndS,
    kAnd,
    kAlphaComposite,
    kAlphaCompositeC,
    kPreMultiplyAlpha,
    kMultiplyScale,
    kMultiplySScale,
    kMirror,
    kZoom,
    kDecimate,
    kBlur,
    kColorToGray,
    kGrayToColor,
    kReduceBits,
    kRGB2HSV,
    kHSV2RGB,
    kRGB2HLS,
    kHLS2RGB,
    kTranslateDIB,
    kConvertFromDIB,
    kConvertToDIB,
    kGetRect,
    kRecords,
    kChecks,
    kOpCount
};

// Byte offsets of the frame.
constexpr std::size_t kOpByte = 0;
constexpr std::size_t kFlagsByte = 1;
constexpr std::size_t kImageBytes = 28;  // one image record
constexpr std::size_t kImage0 = 2;
constexpr std::size_t kSlotBytes = 4;    // one argument slot
constexpr std::size_t kSlots = 8;
constexpr std::size_t kArgs = kImage0 + 3 * kImageBytes;
constexpr std::size_t kFrameBytes = kArgs + kSlots * kSlotBytes;

// Fields of an image record (offsets inside it).
enum ImageField : std::size_t {
    kDepth,       // 0: 8U; then 8S, 16U, 16S, 32S, 1U; 240 and above: bad codes
    kChannels,    // 0: 3; then 1, 4, 2, 5, 0
    kAlpha,       // 0: none; then the last channel, 1, 2, 3, -1, nChannels + 1
    kModel,       // colour model: 0 "RGB"; then RGBA, GRAY, HSV, HLS, Gray, junk
    kSeq,         // channel sequence: 0 "RGB"; then BGR, RGBA, BGRA, G, GRAY, HSV, HLS, junk
    kLayout,      // bits: plane order, origin 1, align 8, ROI, tiled
    kHeight,      // 0: 16; 1..250: 0..70; 251..255: long strips
    kWidth,
    kRoiCoi,      // 0: 0; then 1..5, -1
    kRoiX,        // below 200: 0..79; else extremes
    kRoiY,
    kRoiHeight,   // 0: the image's; below 200: 0..79; else extremes
    kRoiWidth,
    kTileWidth,   // below 200: 8, 16, 24, 32; else bad or huge sizes
    kTileHeight,
    kTilePolicy,  // 0: every tile of the grid; else refusals, tiles past the grid
    kBorder0,     // four border modes
    kBorderValue0 = kBorder0 + 4,  // four border values
    kAlter = kBorderValue0 + 4,    // 0: nothing; else a field changed after allocation
    kAlterValue,
    kPixelSeed,
    kJunk,        // first of the junk name bytes (one byte repeated with offsets)
};
static_assert(kJunk < kImageBytes, "image record fields fit the record");

// Bits of the layout byte.
constexpr unsigned kPlaneBit = 1, kOriginBit = 2, kAlign8Bit = 4, kRoiBit = 8, kTiledBit = 16;

// Bits of the call flags byte.
constexpr unsigned kAliasSecond = 1;     // the second image argument is the first image
constexpr unsigned kAliasThird = 2;      // the third image argument is the second image
constexpr unsigned kPendingError = 4;    // the status is -5 before the call
constexpr unsigned kNullImage = 8;       // one image argument is null (chosen by slot 7)
constexpr unsigned kExtraImages = 16;    // alpha images for compositing (slot 7)

}  // namespace vskfuzz
