// The rows of the sample-by-sample operations and of the copy with AVX2:
// rows of a tile's width in 32-byte blocks; long rows, which wait on memory
// whatever the width, in 16-byte blocks (which this family of processors
// streams faster). The first bytes up to an aligned destination and the
// last ones go through a padded copy. The saturating addition is the scalar
// rule lane by lane: (s, or NOT s) clamped at the limit, then added with
// wrap-around in the element's width.
#include <immintrin.h>

#include <cstring>

#include "element_rows.hpp"

namespace vsk {

namespace {

using V32 = __m256i;
using V16 = __m128i;

template <class V>
V load(const char* p) {
    if constexpr (sizeof(V) == 32)
        return _mm256_loadu_si256(reinterpret_cast<const V32*>(p));
    else
        return _mm_loadu_si128(reinterpret_cast<const V16*>(p));
}
void store(char* p, V32 v) { _mm256_storeu_si256(reinterpret_cast<V32*>(p), v); }
void store(char* p, V16 v) { _mm_storeu_si128(reinterpret_cast<V16*>(p), v); }

V32 bitAnd(V32 a, V32 b) { return _mm256_and_si256(a, b); }
V16 bitAnd(V16 a, V16 b) { return _mm_and_si128(a, b); }
V32 bitOr(V32 a, V32 b) { return _mm256_or_si256(a, b); }
V16 bitOr(V16 a, V16 b) { return _mm_or_si128(a, b); }
V32 bitXor(V32 a, V32 b) { return _mm256_xor_si256(a, b); }
V16 bitXor(V16 a, V16 b) { return _mm_xor_si128(a, b); }

// A constant in both widths.
struct Both {
    V32 wide;
    V16 narrow;
    V32 of(V32) const { return wide; }
    V16 of(V16) const { return narrow; }
};
Both both(V32 v) { return {v, _mm256_castsi256_si128(v)}; }

// Per element type: broadcast, clamp from above and below, wrapping add.
struct U8 {
    static Both set(std::uint32_t k) { return both(_mm256_set1_epi8(static_cast<char>(k))); }
    static V32 min(V32 a, V32 b) { return _mm256_min_epu8(a, b); }
    static V16 min(V16 a, V16 b) { return _mm_min_epu8(a, b); }
    static V32 max(V32 a, V32 b) { return _mm256_max_epu8(a, b); }
    static V16 max(V16 a, V16 b) { return _mm_max_epu8(a, b); }
    static V32 add(V32 a, V32 b) { return _mm256_add_epi8(a, b); }
    static V16 add(V16 a, V16 b) { return _mm_add_epi8(a, b); }
};
struct S8 : U8 {
    static V32 min(V32 a, V32 b) { return _mm256_min_epi8(a, b); }
    static V16 min(V16 a, V16 b) { return _mm_min_epi8(a, b); }
    static V32 max(V32 a, V32 b) { return _mm256_max_epi8(a, b); }
    static V16 max(V16 a, V16 b) { return _mm_max_epi8(a, b); }
};
struct U16 {
    static Both set(std::uint32_t k) { return both(_mm256_set1_epi16(static_cast<short>(k))); }
    static V32 min(V32 a, V32 b) { return _mm256_min_epu16(a, b); }
    static V16 min(V16 a, V16 b) { return _mm_min_epu16(a, b); }
    static V32 max(V32 a, V32 b) { return _mm256_max_epu16(a, b); }
    static V16 max(V16 a, V16 b) { return _mm_max_epu16(a, b); }
    static V32 add(V32 a, V32 b) { return _mm256_add_epi16(a, b); }
    static V16 add(V16 a, V16 b) { return _mm_add_epi16(a, b); }
};
struct S16 : U16 {
    static V32 min(V32 a, V32 b) { return _mm256_min_epi16(a, b); }
    static V16 min(V16 a, V16 b) { return _mm_min_epi16(a, b); }
    static V32 max(V32 a, V32 b) { return _mm256_max_epi16(a, b); }
    static V16 max(V16 a, V16 b) { return _mm_max_epi16(a, b); }
};
struct S32 {
    static Both set(std::uint32_t k) { return both(_mm256_set1_epi32(static_cast<int>(k))); }
    static V32 min(V32 a, V32 b) { return _mm256_min_epi32(a, b); }
    static V16 min(V16 a, V16 b) { return _mm_min_epi32(a, b); }
    static V32 max(V32 a, V32 b) { return _mm256_max_epi32(a, b); }
    static V16 max(V16 a, V16 b) { return _mm_max_epi32(a, b); }
    static V32 add(V32 a, V32 b) { return _mm256_add_epi32(a, b); }
    static V16 add(V16 a, V16 b) { return _mm_add_epi32(a, b); }
};

// Rows at least this long take 16-byte blocks.
constexpr std::int64_t kLongRow = 1024;

// Bytes before the first block boundary of a long row's destination, when
// they are whole elements: stores that straddle two cache lines cost more
// than the padded copy of a few bytes.
std::int64_t headOf(const char* d, std::int64_t bytes, int size, int block) {
    if (bytes < 256) return 0;
    const auto head = static_cast<std::int64_t>((block - reinterpret_cast<std::uintptr_t>(d) % block) % block);
    return head % size == 0 ? head : 0;
}

// d = f(s...) over `bytes` bytes of one row in blocks of V, the first bytes
// up to an aligned destination and the last ones through a padded copy.
// Each block is read before it is written, so a source may be d.
template <class V, int N, class F>
void blocks(const char* const* s, char* d, std::int64_t bytes, int size, F f) {
    constexpr int B = sizeof(V);
    auto partial = [&](std::int64_t at, std::int64_t m) {
        char in[N][B] = {}, out[B];
        for (int k = 0; k < N; ++k) std::memcpy(in[k], s[k] + at, static_cast<std::size_t>(m));
        if constexpr (N == 1)
            store(out, f(load<V>(in[0])));
        else
            store(out, f(load<V>(in[0]), load<V>(in[1])));
        std::memcpy(d + at, out, static_cast<std::size_t>(m));
    };
    std::int64_t i = headOf(d, bytes, size, B);
    if (i > 0) partial(0, i);
    for (; i + B <= bytes; i += B) {
        if constexpr (N == 1)
            store(d + i, f(load<V>(s[0] + i)));
        else
            store(d + i, f(load<V>(s[0] + i), load<V>(s[1] + i)));
    }
    if (i < bytes) partial(i, bytes - i);
}

// The rows of N sources and a destination, each stepping by its stride.
template <int N, class F>
void rowsOf(const void* const* src, const std::int64_t* steps, void* dst, std::int64_t dStep,
            int rows, std::int64_t bytes, int size, F f) {
    const char* s[N];
    for (int k = 0; k < N; ++k) s[k] = static_cast<const char*>(src[k]);
    char* d = static_cast<char*>(dst);
    for (int y = 0; y < rows; ++y, d += dStep) {
        if (bytes >= kLongRow)
            blocks<V16, N>(s, d, bytes, size, f);
        else
            blocks<V32, N>(s, d, bytes, size, f);
        for (int k = 0; k < N; ++k) s[k] += steps[k];
    }
}

template <class E, int Size, bool Invert, bool Up>
void addRows(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
             std::int64_t n, const std::uint32_t* k) {
    const Both limit = E::set(k[0]), value = E::set(k[1]), ones = both(_mm256_set1_epi32(-1));
    const void* src[] = {s};
    rowsOf<1>(src, &sStep, d, dStep, rows, n * Size, Size, [&](auto x) {
        if constexpr (Invert) x = bitXor(x, ones.of(x));
        return E::add(Up ? E::min(x, limit.of(x)) : E::max(x, limit.of(x)), value.of(x));
    });
}

template <class E, int Size>
void logicRows(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
               std::int64_t n, const std::uint32_t* k) {
    const Both flip = E::set(k[0]), keep = E::set(k[1]), set = E::set(k[2]);
    const void* src[] = {s};
    rowsOf<1>(src, &sStep, d, dStep, rows, n * Size, Size, [&](auto x) {
        return bitOr(bitAnd(bitXor(x, flip.of(x)), keep.of(x)), set.of(x));
    });
}

// AND is bytewise whatever the element size.
template <int Size>
void andRows(const void* a, std::int64_t aStep, const void* b, std::int64_t bStep, void* d,
             std::int64_t dStep, int rows, std::int64_t n) {
    const void* src[] = {a, b};
    const std::int64_t steps[] = {aStep, bStep};
    rowsOf<2>(src, steps, d, dStep, rows, n * Size, Size, [](auto x, auto y) { return bitAnd(x, y); });
}

// Rows of a tile's width move in 32-byte blocks, the last block ending at
// the row's end; other rows go to memcpy.
void copyRows(const void* src, std::int64_t sStep, void* dst, std::int64_t dStep, int rows,
              std::int64_t n) {
    const char* s = static_cast<const char*>(src);
    char* d = static_cast<char*>(dst);
    const auto bytes = static_cast<std::size_t>(n);
    if (n < 32 || n >= kLongRow) {
        for (int y = 0; y < rows; ++y, s += sStep, d += dStep) std::memcpy(d, s, bytes);
        return;
    }
    for (int y = 0; y < rows; ++y, s += sStep, d += dStep) {
        std::int64_t i = 0;
        for (; i + 32 < n; i += 32) store(d + i, load<V32>(s + i));
        store(d + n - 32, load<V32>(s + n - 32));
    }
}

template <class E, int Size>
void fillAdd(ElementRows& t, int e) {
    t.add[e][0][0] = addRows<E, Size, false, false>;
    t.add[e][0][1] = addRows<E, Size, false, true>;
    t.add[e][1][0] = addRows<E, Size, true, false>;
    t.add[e][1][1] = addRows<E, Size, true, true>;
}

ElementRows makeAvx2() {
    ElementRows t{};
    fillAdd<U8, 1>(t, 0);
    fillAdd<S8, 1>(t, 1);
    fillAdd<U16, 2>(t, 2);
    fillAdd<S16, 2>(t, 3);
    fillAdd<S32, 4>(t, 4);
    t.logic[0] = logicRows<U8, 1>;
    t.logic[1] = logicRows<U16, 2>;
    t.logic[2] = logicRows<S32, 4>;
    t.bitAnd[0] = andRows<1>;
    t.bitAnd[1] = andRows<2>;
    t.bitAnd[2] = andRows<4>;
    t.copy = copyRows;
    return t;
}

}  // namespace

const ElementRows* elementRowsAvx2() {
    static const ElementRows table = makeAvx2();
    return &table;
}

}  // namespace vsk
