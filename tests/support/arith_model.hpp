// The per-sample rule of add, subtract and AND, and one call for all five
// operations, for the arithmetic tests.
#pragma once

#include <cstdint>

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

}  // namespace vsktest
