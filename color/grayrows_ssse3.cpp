// The SSSE3 row kernels of colour and grey: one 128-bit block of 16 pixels a
// step, pixels of three or four values taken apart and put together with
// byte shuffles.
#include <tmmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "grayrows.hpp"

namespace vsk::color {

namespace {

using Vec = __m128i;
using VecF = __m128;
constexpr int kBlocks = 1;

// The step's helpers are inlined whole, their loops unrolled, so that the
// masks a step does not use cost nothing.
#define VSK_STEP [[gnu::always_inline]] inline

VSK_STEP Vec loadBlocks(const void* p, std::int64_t) {
    return _mm_loadu_si128(static_cast<const Vec*>(p));
}
VSK_STEP Vec loadVec(const void* p) { return _mm_loadu_si128(static_cast<const Vec*>(p)); }
VSK_STEP Vec loadMask(const std::int8_t* m) {
    return _mm_load_si128(reinterpret_cast<const Vec*>(m));
}
VSK_STEP Vec loadBitPairs(const std::uint8_t* p) {
    std::uint16_t two;
    std::memcpy(&two, p, 2);
    return _mm_cvtsi32_si128(two);
}
VSK_STEP void put(void* p, Vec v, bool stream) {
    if (stream)
        _mm_stream_si128(static_cast<Vec*>(p), v);
    else
        _mm_storeu_si128(static_cast<Vec*>(p), v);
}
template <int N>
VSK_STEP void putBlocks(void* p, const Vec* v, bool stream) {
    for (int j = 0; j < N; ++j) put(static_cast<Vec*>(p) + j, v[j], stream);
}
VSK_STEP void fence() { _mm_sfence(); }

VSK_STEP Vec zero() { return _mm_setzero_si128(); }
VSK_STEP Vec set8(std::int8_t v) { return _mm_set1_epi8(v); }
VSK_STEP Vec set16(int v) { return _mm_set1_epi16(static_cast<short>(v)); }
VSK_STEP Vec set32(std::int32_t v) { return _mm_set1_epi32(v); }
VSK_STEP VecF setF(float v) { return _mm_set1_ps(v); }
VSK_STEP __m128i shiftCount(int n) { return _mm_cvtsi32_si128(n); }
VSK_STEP Vec bitOr(Vec a, Vec b) { return _mm_or_si128(a, b); }
VSK_STEP Vec bitAnd(Vec a, Vec b) { return _mm_and_si128(a, b); }
VSK_STEP Vec bitXor(Vec a, Vec b) { return _mm_xor_si128(a, b); }
VSK_STEP Vec shuffle8(Vec a, Vec m) { return _mm_shuffle_epi8(a, m); }
VSK_STEP Vec cmpeq8(Vec a, Vec b) { return _mm_cmpeq_epi8(a, b); }
VSK_STEP Vec unpackLo8(Vec a, Vec b) { return _mm_unpacklo_epi8(a, b); }
VSK_STEP Vec unpackHi8(Vec a, Vec b) { return _mm_unpackhi_epi8(a, b); }
VSK_STEP Vec unpackLo16(Vec a, Vec b) { return _mm_unpacklo_epi16(a, b); }
VSK_STEP Vec unpackHi16(Vec a, Vec b) { return _mm_unpackhi_epi16(a, b); }
VSK_STEP Vec add16(Vec a, Vec b) { return _mm_add_epi16(a, b); }
VSK_STEP Vec add32(Vec a, Vec b) { return _mm_add_epi32(a, b); }
VSK_STEP Vec mullo16(Vec a, Vec b) { return _mm_mullo_epi16(a, b); }
VSK_STEP Vec mulhi16(Vec a, Vec b) { return _mm_mulhi_epu16(a, b); }
VSK_STEP Vec madd16(Vec a, Vec b) { return _mm_madd_epi16(a, b); }
template <int N>
VSK_STEP Vec srli16(Vec a) {
    return _mm_srli_epi16(a, N);
}
template <int N>
VSK_STEP Vec srli32(Vec a) {
    return _mm_srli_epi32(a, N);
}
template <int N>
VSK_STEP Vec srai32(Vec a) {
    return _mm_srai_epi32(a, N);
}
VSK_STEP Vec srl16(Vec a, __m128i n) { return _mm_srl_epi16(a, n); }
VSK_STEP Vec sll16(Vec a, __m128i n) { return _mm_sll_epi16(a, n); }
VSK_STEP Vec packus16(Vec a, Vec b) { return _mm_packus_epi16(a, b); }
VSK_STEP Vec packs32(Vec a, Vec b) { return _mm_packs_epi32(a, b); }
VSK_STEP VecF toFloat(Vec a) { return _mm_cvtepi32_ps(a); }
VSK_STEP VecF mulF(VecF a, VecF b) { return _mm_mul_ps(a, b); }
VSK_STEP Vec truncate(VecF a) { return _mm_cvttps_epi32(a); }

#include "grayrows_step.hpp"

}  // namespace

GrayRows grayRowsSsse3() { return allRows(); }

}  // namespace vsk::color
