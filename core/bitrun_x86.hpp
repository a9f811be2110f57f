// The part of the vector reversed-bit rows that is the same for every x86
// instruction set: the destination bytes before the first whole vector, one
// by one. Included by bitrun_<isa>.cpp only; everything here has internal
// linkage, so each file compiles its own copy with its own flags (see the
// note in simd.hpp).
#pragma once

#include <cstdint>

#include "bitrun.hpp"

namespace vsk {
namespace {

unsigned reverse8(unsigned v) {
    v = ((v >> 1) & 0x55u) | ((v & 0x55u) << 1);
    v = ((v >> 2) & 0x33u) | ((v & 0x33u) << 2);
    return ((v >> 4) & 0x0Fu) | ((v & 0x0Fu) << 4);
}

// dst[0 .. head) as ReverseBitBytes writes them.
void reverseHeadBytes(const std::uint8_t* last, int shift, std::uint8_t* dst, std::int64_t head) {
    for (std::int64_t j = 0; j < head; ++j) {
        unsigned v = static_cast<unsigned>(last[-j]) << shift;
        if (shift) v |= last[1 - j] >> (8 - shift);
        dst[j] = static_cast<std::uint8_t>(reverse8(v & 0xFFu));
    }
}

}  // namespace
}  // namespace vsk
