// The 8-bit compositing rows with SSE2: eight samples in 16-bit lanes, four
// pixels of four channels per group, one pixel per vector of floats.
#include <emmintrin.h>

#include "alpha_rows_simd.hpp"

namespace vsk::alpha {

namespace {

struct Sse2 {
    // ---- 16-bit lanes ----
    struct W {
        __m128i v;
        friend W operator+(W a, W b) { return {_mm_add_epi16(a.v, b.v)}; }
        friend W operator-(W a, W b) { return {_mm_sub_epi16(a.v, b.v)}; }
    };
    static constexpr int kSamples = 8;
    static W load(const U8* p) {
        return {_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                                  _mm_setzero_si128())};
    }
    static void store(U8* p, W x) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(x.v, x.v));
    }
    // The high half of (t + 1) * 257 is ((t >> 8) + t + 1) >> 8 for every
    // product t of two 8-bit samples (t < 65536).
    static W mul(W x, W y) {
        const __m128i t = _mm_mullo_epi16(x.v, y.v);
        return {_mm_mulhi_epu16(_mm_add_epi16(t, _mm_set1_epi16(1)), _mm_set1_epi16(257))};
    }
    static W cap(W x) { return {_mm_min_epi16(x.v, _mm_set1_epi16(255))}; }
    static W inv(W a) { return {_mm_sub_epi16(_mm_set1_epi16(255), a.v)}; }

    // ---- groups of four pixels ----
    using G = __m128i;
    static constexpr int kGroupBytes = 16;
    static G loadGroup(const U8* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static W lo(G g) { return {_mm_unpacklo_epi8(g, _mm_setzero_si128())}; }
    static W hi(G g) { return {_mm_unpackhi_epi8(g, _mm_setzero_si128())}; }
    static G pack(W lo, W hi) { return _mm_packus_epi16(lo.v, hi.v); }
    static void storeGroup(U8* p, G g) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), g); }
    static void streamGroup(U8* p, G g) { _mm_stream_si128(reinterpret_cast<__m128i*>(p), g); }
    static void fence() { _mm_sfence(); }
    static W broadcastAlpha(W x) {
        return {_mm_shufflehi_epi16(_mm_shufflelo_epi16(x.v, 0xFF), 0xFF)};
    }
    static W blendAlpha(W c, W r) {
        const __m128i m = _mm_set_epi16(-1, 0, 0, 0, -1, 0, 0, 0);
        return {_mm_or_si128(_mm_andnot_si128(m, c.v), _mm_and_si128(m, r.v))};
    }

    // ---- single floats, one pixel per vector ----
    struct F {
        __m128 v;
        F() = default;
        F(__m128 x) : v(x) {}
        explicit F(float k) : v(_mm_set1_ps(k)) {}
        friend F operator+(F a, F b) { return _mm_add_ps(a.v, b.v); }
        friend F operator-(F a, F b) { return _mm_sub_ps(a.v, b.v); }
        friend F operator*(F a, F b) { return _mm_mul_ps(a.v, b.v); }
        friend F operator/(F a, F b) { return _mm_div_ps(a.v, b.v); }
    };
    using I32 = __m128i;
    static void unpackGroup(const U8* p, I32* out) {
        const __m128i z = _mm_setzero_si128(), g = loadGroup(p);
        const __m128i lo = _mm_unpacklo_epi8(g, z), hi = _mm_unpackhi_epi8(g, z);
        out[0] = _mm_unpacklo_epi16(lo, z);
        out[1] = _mm_unpackhi_epi16(lo, z);
        out[2] = _mm_unpacklo_epi16(hi, z);
        out[3] = _mm_unpackhi_epi16(hi, z);
    }
    static I32 broadcastAlpha32(I32 x) { return _mm_shuffle_epi32(x, 0xFF); }
    static F toFloat(I32 x) { return _mm_cvtepi32_ps(x); }
    static F minF(F a, F b) { return _mm_min_ps(a.v, b.v); }
    static F greater(F a, F b) { return _mm_cmpgt_ps(a.v, b.v); }
    static F select(F mask, F a, F b) {
        return _mm_or_ps(_mm_and_ps(mask.v, a.v), _mm_andnot_ps(mask.v, b.v));
    }
    static F blendAlphaF(F c, F r) {
        const __m128 m = _mm_castsi128_ps(_mm_set_epi32(-1, 0, 0, 0));
        return select(m, r, c);
    }
    // Rounded to nearest by adding 2^23: the low 23 bits of the sum.
    static I32 roundBits(F x) {
        return _mm_and_si128(_mm_castps_si128(_mm_add_ps(x.v, _mm_set1_ps(8388608.0f))),
                             _mm_set1_epi32(0x7FFFFF));
    }
    // Saturating packs: min(bits, 255) for every 23-bit value.
    static G packGroup(const I32* v) {
        return _mm_packus_epi16(_mm_packs_epi32(v[0], v[1]), _mm_packs_epi32(v[2], v[3]));
    }
};

}  // namespace

const AlphaRows* alphaRowsSse2() {
    static const AlphaRows table = makeRows<Sse2>();
    return &table;
}

}  // namespace vsk::alpha
