// Reversed bits with AVX2: thirty-two destination bytes per step, the source
// bytes merged across the bit shift, their order reversed (within the lanes,
// then the lanes swapped) and each byte's bits reversed through two nibble
// tables.
#include <immintrin.h>

#include "bitrun.hpp"

namespace vsk {

namespace {

unsigned reverse8(unsigned v) {
    v = ((v >> 1) & 0x55u) | ((v & 0x55u) << 1);
    v = ((v >> 2) & 0x33u) | ((v & 0x33u) << 2);
    return ((v >> 4) & 0x0Fu) | ((v & 0x0Fu) << 4);
}

}  // namespace

void reverseBitBytesAvx2(const std::uint8_t* last, int shift, std::uint8_t* dst,
                         std::int64_t count) {
    const __m256i revLow =
        _mm256_setr_epi8(0x00, 0x08, 0x04, 0x0C, 0x02, 0x0A, 0x06, 0x0E, 0x01, 0x09, 0x05, 0x0D,
                         0x03, 0x0B, 0x07, 0x0F, 0x00, 0x08, 0x04, 0x0C, 0x02, 0x0A, 0x06, 0x0E,
                         0x01, 0x09, 0x05, 0x0D, 0x03, 0x0B, 0x07, 0x0F);
    const __m256i revHigh = _mm256_slli_epi16(revLow, 4);
    const __m256i order = _mm256_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 15,
                                           14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m256i nibble = _mm256_set1_epi8(0x0F);
    const __m128i left = _mm_cvtsi32_si128(shift), right = _mm_cvtsi32_si128(8 - shift);
    const __m256i keepLeft = _mm256_set1_epi8(static_cast<char>((0xFF << shift) & 0xFF));
    const __m256i keepRight = _mm256_set1_epi8(static_cast<char>(0xFF >> (8 - shift)));
    // The source ascending: from the last destination bytes to the first.
    const std::int64_t head = count % 32;
    for (std::int64_t j = count - 32; j >= head; j -= 32) {
        // Byte i of w: the 8 bits from bit `shift` of last[i - j - 31].
        __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(last - j - 31));
        if (shift) {
            const __m256i next =
                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(last - j - 30));
            w = _mm256_or_si256(_mm256_and_si256(_mm256_sll_epi16(w, left), keepLeft),
                                _mm256_and_si256(_mm256_srl_epi16(next, right), keepRight));
        }
        w = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(w, order), 0x4E);
        const __m256i lo = _mm256_and_si256(w, nibble);
        const __m256i hi = _mm256_and_si256(_mm256_srli_epi16(w, 4), nibble);
        _mm256_storeu_si256(
            reinterpret_cast<__m256i*>(dst + j),
            _mm256_or_si256(_mm256_shuffle_epi8(revHigh, lo), _mm256_shuffle_epi8(revLow, hi)));
    }
    for (std::int64_t j = 0; j < head; ++j) {
        unsigned v = static_cast<unsigned>(last[-j]) << shift;
        if (shift) v |= last[1 - j] >> (8 - shift);
        dst[j] = static_cast<std::uint8_t>(reverse8(v & 0xFFu));
    }
}

}  // namespace vsk
