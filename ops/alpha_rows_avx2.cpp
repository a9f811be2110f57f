// The 8-bit compositing rows with AVX2: sixteen samples in 16-bit lanes,
// eight pixels of four channels per group, two pixels per vector of floats.
#include <immintrin.h>

#include "alpha_rows_simd.hpp"

namespace vsk::alpha {

namespace {

struct Avx2 {
    // ---- 16-bit lanes ----
    struct W {
        __m256i v;
        friend W operator+(W a, W b) { return {_mm256_add_epi16(a.v, b.v)}; }
        friend W operator-(W a, W b) { return {_mm256_sub_epi16(a.v, b.v)}; }
    };
    static constexpr int kSamples = 16;
    static W load(const U8* p) {
        return {_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
    }
    static void store(U8* p, W x) {
        const __m128i packed =
            _mm_packus_epi16(_mm256_castsi256_si128(x.v), _mm256_extracti128_si256(x.v, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), packed);
    }
    // The high half of (t + 1) * 257 is ((t >> 8) + t + 1) >> 8 for every
    // product t of two 8-bit samples (t < 65536).
    static W mul(W x, W y) {
        const __m256i t = _mm256_mullo_epi16(x.v, y.v);
        return {_mm256_mulhi_epu16(_mm256_add_epi16(t, _mm256_set1_epi16(1)),
                                   _mm256_set1_epi16(257))};
    }
    static W cap(W x) { return {_mm256_min_epi16(x.v, _mm256_set1_epi16(255))}; }
    static W inv(W a) { return {_mm256_sub_epi16(_mm256_set1_epi16(255), a.v)}; }

    // ---- groups of eight pixels ----
    // The halves take pixels 0, 1, 4, 5 and 2, 3, 6, 7 (unpacking works
    // within 128-bit lanes); packing puts them back in order.
    using G = __m256i;
    static constexpr int kGroupBytes = 32;
    static G loadGroup(const U8* p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    }
    static W lo(G g) { return {_mm256_unpacklo_epi8(g, _mm256_setzero_si256())}; }
    static W hi(G g) { return {_mm256_unpackhi_epi8(g, _mm256_setzero_si256())}; }
    static G pack(W lo, W hi) { return _mm256_packus_epi16(lo.v, hi.v); }
    static void storeGroup(U8* p, G g) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), g); }
    static void streamGroup(U8* p, G g) { _mm256_stream_si256(reinterpret_cast<__m256i*>(p), g); }
    static void fence() { _mm_sfence(); }
    static W broadcastAlpha(W x) {
        const __m256i m = _mm256_setr_epi8(6, 7, 6, 7, 6, 7, 6, 7, 14, 15, 14, 15, 14, 15, 14, 15,
                                           6, 7, 6, 7, 6, 7, 6, 7, 14, 15, 14, 15, 14, 15, 14, 15);
        return {_mm256_shuffle_epi8(x.v, m)};
    }
    static W blendAlpha(W c, W r) { return {_mm256_blend_epi16(c.v, r.v, 0x88)}; }

    // ---- single floats, two pixels per vector ----
    struct F {
        __m256 v;
        F() = default;
        F(__m256 x) : v(x) {}
        explicit F(float k) : v(_mm256_set1_ps(k)) {}
        friend F operator+(F a, F b) { return _mm256_add_ps(a.v, b.v); }
        friend F operator-(F a, F b) { return _mm256_sub_ps(a.v, b.v); }
        friend F operator*(F a, F b) { return _mm256_mul_ps(a.v, b.v); }
        friend F operator/(F a, F b) { return _mm256_div_ps(a.v, b.v); }
    };
    using I32 = __m256i;
    static void unpackGroup(const U8* p, I32* out) {
        for (int k = 0; k < 4; ++k)
            out[k] = _mm256_cvtepu8_epi32(
                _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 8 * k)));
    }
    static I32 broadcastAlpha32(I32 x) { return _mm256_shuffle_epi32(x, 0xFF); }
    static F toFloat(I32 x) { return _mm256_cvtepi32_ps(x); }
    static F minF(F a, F b) { return _mm256_min_ps(a.v, b.v); }
    static F greater(F a, F b) { return _mm256_cmp_ps(a.v, b.v, _CMP_GT_OQ); }
    static F select(F mask, F a, F b) { return _mm256_blendv_ps(b.v, a.v, mask.v); }
    static F blendAlphaF(F c, F r) { return _mm256_blend_ps(c.v, r.v, 0x88); }
    // Rounded to nearest by adding 2^23: the low 23 bits of the sum.
    static I32 roundBits(F x) {
        return _mm256_and_si256(
            _mm256_castps_si256(_mm256_add_ps(x.v, _mm256_set1_ps(8388608.0f))),
            _mm256_set1_epi32(0x7FFFFF));
    }
    // Saturating packs: min(bits, 255) for every 23-bit value. The packs
    // work within 128-bit lanes (pixels 0, 2, 4, 6 | 1, 3, 5, 7); the
    // permutation puts the pixels back in order.
    static G packGroup(const I32* v) {
        const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(v[0], v[1]),
                                                  _mm256_packs_epi32(v[2], v[3]));
        return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
};

}  // namespace

const AlphaRows* alphaRowsAvx2() {
    static const AlphaRows table = makeRows<Avx2>();
    return &table;
}

}  // namespace vsk::alpha
