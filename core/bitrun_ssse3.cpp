// Reversed bits with SSSE3: sixteen destination bytes per step, the source
// bytes merged across the bit shift, their order reversed and each byte's
// bits reversed through two nibble tables.
#include <tmmintrin.h>

#include "bitrun.hpp"

namespace vsk {

namespace {

unsigned reverse8(unsigned v) {
    v = ((v >> 1) & 0x55u) | ((v & 0x55u) << 1);
    v = ((v >> 2) & 0x33u) | ((v & 0x33u) << 2);
    return ((v >> 4) & 0x0Fu) | ((v & 0x0Fu) << 4);
}

}  // namespace

void reverseBitBytesSsse3(const std::uint8_t* last, int shift, std::uint8_t* dst,
                          std::int64_t count) {
    // Nibble n reversed, in the high and in the low half of a byte.
    const __m128i revLow = _mm_setr_epi8(0x00, 0x08, 0x04, 0x0C, 0x02, 0x0A, 0x06, 0x0E, 0x01, 0x09,
                                         0x05, 0x0D, 0x03, 0x0B, 0x07, 0x0F);
    const __m128i revHigh = _mm_slli_epi16(revLow, 4);
    const __m128i order = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m128i nibble = _mm_set1_epi8(0x0F);
    const __m128i left = _mm_cvtsi32_si128(shift), right = _mm_cvtsi32_si128(8 - shift);
    const __m128i keepLeft = _mm_set1_epi8(static_cast<char>((0xFF << shift) & 0xFF));
    const __m128i keepRight = _mm_set1_epi8(static_cast<char>(0xFF >> (8 - shift)));
    // The source ascending: from the last destination bytes to the first.
    const std::int64_t head = count % 16;
    for (std::int64_t j = count - 16; j >= head; j -= 16) {
        // Byte i of w: the 8 bits from bit `shift` of last[i - j - 15].
        __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(last - j - 15));
        if (shift) {
            const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(last - j - 14));
            w = _mm_or_si128(_mm_and_si128(_mm_sll_epi16(w, left), keepLeft),
                             _mm_and_si128(_mm_srl_epi16(next, right), keepRight));
        }
        w = _mm_shuffle_epi8(w, order);
        const __m128i lo = _mm_and_si128(w, nibble);
        const __m128i hi = _mm_and_si128(_mm_srli_epi16(w, 4), nibble);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + j),
                         _mm_or_si128(_mm_shuffle_epi8(revHigh, lo), _mm_shuffle_epi8(revLow, hi)));
    }
    for (std::int64_t j = 0; j < head; ++j) {
        unsigned v = static_cast<unsigned>(last[-j]) << shift;
        if (shift) v |= last[1 - j] >> (8 - shift);
        dst[j] = static_cast<std::uint8_t>(reverse8(v & 0xFFu));
    }
}

}  // namespace vsk
