#include "arith_model.hpp"

#include <algorithm>

namespace vsktest {

const char* arithName(ArithOp op) {
    switch (op) {
        case ArithOp::Add: return "AddS";
        case ArithOp::Sub: return "SubtractS";
        case ArithOp::SubRev: return "SubtractS reversed";
        case ArithOp::AndS: return "AndS";
        default: return "And";
    }
}

std::int64_t arithRule(ArithOp op, unsigned depth, std::int64_t a, std::int64_t b,
                       std::int64_t value) {
    const int bits = static_cast<int>(depth & 0x7FFFFFFF);
    const bool sign = depth & VSK_DEPTH_SIGN;
    const std::int64_t lo = sign ? -(std::int64_t{1} << (bits - 1)) : 0;
    const std::int64_t hi = sign ? (std::int64_t{1} << (bits - 1)) - 1 : (std::int64_t{1} << bits) - 1;
    const std::int64_t v = depth == VSK_1U ? (value & 1) : value;
    switch (op) {
        case ArithOp::Add: return std::clamp(a + v, lo, hi);
        case ArithOp::Sub: return std::clamp(a - v, lo, hi);
        case ArithOp::SubRev: return std::clamp(v - a, lo, hi);
        case ArithOp::AndS: {
            // The low bits of the constant as a sample of the depth.
            std::int64_t low = value & (hi - lo);
            if (low > hi) low -= hi - lo + 1;
            return a & low;
        }
        default: return a & b;
    }
}

void runArith(ArithOp op, VskImage* a, VskImage* b, VskImage* dst, int value,
              const int* dstTile) {
    switch (op) {
        case ArithOp::Add: tvskAddS(a, dst, value, dstTile); break;
        case ArithOp::Sub: tvskSubtractS(a, dst, value, 0, dstTile); break;
        case ArithOp::SubRev: tvskSubtractS(a, dst, value, 7, dstTile); break;
        case ArithOp::AndS: tvskAndS(a, dst, static_cast<unsigned>(value), dstTile); break;
        case ArithOp::And: tvskAnd(a, b, dst, dstTile); break;
    }
}

}  // namespace vsktest
