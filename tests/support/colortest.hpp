// Helpers of the colour tests: image names, channel lookup by letter and
// compact report descriptions.
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

// Every recorded report as "func|context|file|line|status;...".
inline std::string reportsOf(const vsktest::ErrorCapture& capture) {
    std::string out;
    for (const vsktest::Report& r : capture.reports())
        out += r.func + "|" + r.context + "|" + r.file + "|" + std::to_string(r.line) + "|" +
               std::to_string(r.status) + ";";
    return out;
}

// The report text expected for one fault.
inline std::string fault(const std::string& func, const std::string& text, const std::string& file,
                         int line, int status = VSK_STATUS_BAD_ARG) {
    return func + "|" + text + "|" + file + "|" + std::to_string(line) + "|" +
           std::to_string(status) + ";";
}

}  // namespace colortest
