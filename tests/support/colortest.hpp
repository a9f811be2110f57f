// Helpers of the colour tests: image names, channel lookup by letter and
// the header fault text.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "vsktest.hpp"

namespace colortest {

// Sets the four-letter colour model and channel sequence.
inline void setNames(VskImage* image, const char* model, const char* seq) {
    std::memcpy(image->colorModel, model, 4);
    std::memcpy(image->channelSeq, seq, 4);
}

// The channel whose letter in channelSeq is `letter` (the last one), or -1.
inline int channelOf(const VskImage* image, char letter) {
    int found = -1;
    for (int k = 0; k < std::min(image->nChannels, 4); ++k)
        if (image->channelSeq[k] == letter) found = k;
    return found;
}

// The header fault text of a mask, as the operations report it.
inline std::string headerText(unsigned mask) {
    char* text = vskHeaderErrorText(mask);
    std::string out = text;
    vskFreeAligned(text);
    return out;
}

using vsktest::fault;
using vsktest::reportsOf;

}  // namespace colortest
