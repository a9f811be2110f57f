// The parts of the vector decimation rows that are the same for every x86
// instruction set: 16-byte loads and window gathers, the prefetch, and the
// pick rows (one 32-byte window per group of 8 values). Included by
// decim_rows_<isa>.cpp only; everything here has internal linkage, so each
// file compiles its own copy with its own flags (see the note in simd.hpp).
#pragma once

#include <tmmintrin.h>

#include "decim_values.hpp"

namespace vsk::decim {
namespace {

__m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

// The 16 bytes that masks m[0] and m[16] gather from the window halves a and b.
__m128i gather(__m128i a, __m128i b, const std::uint8_t* m) {
    return _mm_or_si128(_mm_shuffle_epi8(a, load(m)), _mm_shuffle_epi8(b, load(m + 16)));
}

// Asks for the row's bytes 1 KiB ahead of a read: the rows are read once,
// from memory. (A prefetch is a hint: it never faults, whatever the address.)
void prefetch(const std::uint8_t* p) {
    _mm_prefetch(reinterpret_cast<const char*>(p) + 1024, _MM_HINT_T0);
}

// Runs `vector` over the groups that have a window and `values` over the rest.
template <class Vector, class Values>
void eachGroup(const Columns& c, int size, Vector&& vector, Values&& values) {
    for (std::int64_t g = 0; g < c.groups; ++g) {
        if (c.base[g] < 0)
            values(8 * g, 8 * g + 8);
        else
            vector(g, c.data + g * size);
    }
    values(8 * c.groups, c.n);
}

// The 16 bytes a pick group gathers from its window at in + base[g].
__m128i pickGroup(const std::uint8_t* in, const Columns& c, std::int64_t g, const std::uint8_t* m) {
    const std::uint8_t* w = in + c.base[g];
    prefetch(w);
    return gather(load(w), load(w + 16), m);
}

void pickRow8(const std::uint8_t* in, const Columns& c, std::uint8_t* out) {
    eachGroup(
        c, 32,
        [&](std::int64_t g, const std::uint8_t* m) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 8 * g), pickGroup(in, c, g, m));
        },
        [&](std::int64_t from, std::int64_t to) { pickValues8(in, c, out, from, to); });
}

void pickRow16(const std::uint8_t* in, const Columns& c, std::uint16_t* out) {
    eachGroup(
        c, 32,
        [&](std::int64_t g, const std::uint8_t* m) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8 * g), pickGroup(in, c, g, m));
        },
        [&](std::int64_t from, std::int64_t to) { pickValues16(in, c, out, from, to); });
}

void pickWideRow8(const std::uint8_t* in, const Columns& c, std::int16_t* h) {
    eachGroup(
        c, 32,
        [&](std::int64_t g, const std::uint8_t* m) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(h + 8 * g),
                             _mm_unpacklo_epi8(pickGroup(in, c, g, m), _mm_setzero_si128()));
        },
        [&](std::int64_t from, std::int64_t to) { pickWideValues8(in, c, h, from, to); });
}

}  // namespace
}  // namespace vsk::decim
