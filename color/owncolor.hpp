// The colour module's pixel layer: the routines that run on one block of
// source and destination data and report their own faults (under the file
// name "owncolor"). One source file per family: colour and grey
// (owngray.cpp), bit reduction and dithering (ownreduce.cpp), hue conversions
// (ownhue.cpp); the rows they share are in colorrows.hpp.
#pragma once

#include "colorwalk.hpp"

namespace vsk::color {

// A three-colour block to one grey channel.
void ownColorToGray(const Block& block);

// One grey channel spread into three colour channels.
void ownGrayToColor(const Block& block, float redFraction, float greenFraction, float blueFraction);

// Narrows the source block into the destination (32S to 16U or 8U, 16U to
// 8U, 8U to 1U).
void ownReduceBits(const Block& block);

// The noise tables of one jittering call.
struct JitterTables {
    double uniform[1024];
    int offset[1024];
};

// The same after adding noise of amplitude jitterType (1..8) to the source
// block, which must be a private copy.
void ownjitter_rect(const Block& block, int jitterType, const JitterTables& tables);

// Fills a call's noise tables from the C library's rand(). Calls that jitter
// at the same time on several threads interleave one shared sequence (the
// Windows C runtime keeps a sequence per thread instead).
void jitterFillTables(JitterTables& tables);

// Re-quantises a destination rectangle in place with error diffusion
// (ditherType 2, 4, 8) or the ordered pattern (16); `levels` sets the step.
void own_dither_rect(const VskImage* image, int ditherType, Area data, int width, int height,
                     std::int64_t step, int levels);

enum class HueConversion { RgbToHsv, HsvToRgb, RgbToHls, HlsToRgb };

// RGB to and from HSV or HLS; renames the destination's model and channel
// order first.
void ownHueConvert(const Block& block, HueConversion conversion);

}  // namespace vsk::color
