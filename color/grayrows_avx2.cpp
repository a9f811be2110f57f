// The AVX2 row kernels of colour and grey: two 128-bit blocks of 16 pixels
// a step (byte shuffles stay inside a block), pixels of three or four values
// taken apart and put together with byte shuffles.
#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "grayrows.hpp"

namespace vsk::color {

namespace {

using Vec = __m256i;
using VecF = __m256;
constexpr int kBlocks = 2;

// The step's helpers are inlined whole, their loops unrolled, so that the
// masks a step does not use cost nothing.
#define VSK_STEP [[gnu::always_inline]] inline

VSK_STEP Vec loadBlocks(const void* p, std::int64_t apart) {
    const char* c = static_cast<const char*>(p);
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(c))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(c + apart)), 1);
}
VSK_STEP Vec loadVec(const void* p) { return _mm256_loadu_si256(static_cast<const Vec*>(p)); }
VSK_STEP Vec loadMask(const std::int8_t* m) {
    return _mm256_load_si256(reinterpret_cast<const Vec*>(m));
}
VSK_STEP Vec loadBitPairs(const std::uint8_t* p) {
    std::int32_t four;
    std::memcpy(&four, p, 4);
    return _mm256_set1_epi32(four);
}
VSK_STEP void put(void* p, Vec v, bool stream) {
    if (stream)
        _mm256_stream_si256(static_cast<Vec*>(p), v);
    else
        _mm256_storeu_si256(static_cast<Vec*>(p), v);
}
// Store j takes the 16-byte pieces 2j and 2j + 1 of the blocks' N registers
// each, piece q being register q % N of block q / N.
template <int N, int J>
VSK_STEP Vec piecePair(const Vec* v) {
    constexpr int q = 2 * J;
    if constexpr (N == 1)
        return v[0];
    else
        return _mm256_permute2x128_si256(v[q % N], v[(q + 1) % N],
                                         (q / N) | (((q + 1) / N) + 2) << 4);
}
template <int N>
VSK_STEP void putBlocks(void* p, const Vec* v, bool stream) {
    [&]<int... J>(std::integer_sequence<int, J...>) {
        (put(static_cast<Vec*>(p) + J, piecePair<N, J>(v), stream), ...);
    }
    (std::make_integer_sequence<int, N>{});
}
VSK_STEP void fence() { _mm_sfence(); }

VSK_STEP Vec zero() { return _mm256_setzero_si256(); }
VSK_STEP Vec set8(std::int8_t v) { return _mm256_set1_epi8(v); }
VSK_STEP Vec set16(int v) { return _mm256_set1_epi16(static_cast<short>(v)); }
VSK_STEP Vec set32(std::int32_t v) { return _mm256_set1_epi32(v); }
VSK_STEP VecF setF(float v) { return _mm256_set1_ps(v); }
VSK_STEP __m128i shiftCount(int n) { return _mm_cvtsi32_si128(n); }
VSK_STEP Vec bitOr(Vec a, Vec b) { return _mm256_or_si256(a, b); }
VSK_STEP Vec bitAnd(Vec a, Vec b) { return _mm256_and_si256(a, b); }
VSK_STEP Vec bitXor(Vec a, Vec b) { return _mm256_xor_si256(a, b); }
VSK_STEP Vec shuffle8(Vec a, Vec m) { return _mm256_shuffle_epi8(a, m); }
VSK_STEP Vec cmpeq8(Vec a, Vec b) { return _mm256_cmpeq_epi8(a, b); }
VSK_STEP Vec unpackLo8(Vec a, Vec b) { return _mm256_unpacklo_epi8(a, b); }
VSK_STEP Vec unpackHi8(Vec a, Vec b) { return _mm256_unpackhi_epi8(a, b); }
VSK_STEP Vec unpackLo16(Vec a, Vec b) { return _mm256_unpacklo_epi16(a, b); }
VSK_STEP Vec unpackHi16(Vec a, Vec b) { return _mm256_unpackhi_epi16(a, b); }
VSK_STEP Vec add16(Vec a, Vec b) { return _mm256_add_epi16(a, b); }
VSK_STEP Vec add32(Vec a, Vec b) { return _mm256_add_epi32(a, b); }
VSK_STEP Vec mullo16(Vec a, Vec b) { return _mm256_mullo_epi16(a, b); }
VSK_STEP Vec mulhi16(Vec a, Vec b) { return _mm256_mulhi_epu16(a, b); }
VSK_STEP Vec madd16(Vec a, Vec b) { return _mm256_madd_epi16(a, b); }
template <int N>
VSK_STEP Vec srli16(Vec a) {
    return _mm256_srli_epi16(a, N);
}
template <int N>
VSK_STEP Vec srli32(Vec a) {
    return _mm256_srli_epi32(a, N);
}
template <int N>
VSK_STEP Vec srai32(Vec a) {
    return _mm256_srai_epi32(a, N);
}
VSK_STEP Vec srl16(Vec a, __m128i n) { return _mm256_srl_epi16(a, n); }
VSK_STEP Vec sll16(Vec a, __m128i n) { return _mm256_sll_epi16(a, n); }
VSK_STEP Vec packus16(Vec a, Vec b) { return _mm256_packus_epi16(a, b); }
VSK_STEP Vec packs32(Vec a, Vec b) { return _mm256_packs_epi32(a, b); }
VSK_STEP VecF toFloat(Vec a) { return _mm256_cvtepi32_ps(a); }
VSK_STEP VecF mulF(VecF a, VecF b) { return _mm256_mul_ps(a, b); }
VSK_STEP Vec truncate(VecF a) { return _mm256_cvttps_epi32(a); }

#include "grayrows_step.hpp"

}  // namespace

GrayRows grayRowsAvx2() { return allRows(); }

}  // namespace vsk::color
