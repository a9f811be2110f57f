// A plain per-sample model of add, subtract and AND, for comparing the
// library's kernels, layouts and tile walks against.
#pragma once

#include <cstdint>
#include <string>

#include "vsktest.hpp"

namespace vsktest {

enum class ArithOp { Add, Sub, SubRev, AndS, And };
const char* arithName(ArithOp op);

// The rule for one sample: saturated s + v, s - v or v - s (1-bit data uses
// bit 0 of v), s AND the constant's low part, or a AND b.
std::int64_t arithRule(ArithOp op, unsigned depth, std::int64_t a, std::int64_t b,
                       std::int64_t value);

// Calls the operation; `b` is And's second source and ignored otherwise.
void runArith(ArithOp op, VskImage* a, VskImage* b, VskImage* dst, int value,
              const int* dstTile = nullptr);

// Destination columns and rows [x0, x1) x [y0, y1) that may change.
struct Clip {
    int x0, y0, x1, y1;
};

// Replaces the samples of `expected` (a copy of the destination before the
// call, with its ROI) that the operation processes by the rule applied to
// the sources (buffered, as they were before the call).
void applyArithModel(ArithOp op, const VskImage* a, const VskImage* b, VskImage* expected,
                     int value, const Clip* clip = nullptr);

}  // namespace vsktest
