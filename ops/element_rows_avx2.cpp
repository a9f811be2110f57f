// The rows of the sample-by-sample operations and of the copy with AVX2:
// rows of a tile's width in 32-byte blocks; long rows, which wait on memory
// whatever the width, in 16-byte blocks (which this family of processors
// streams faster). The first bytes up to an aligned destination and the
// last ones go through a padded copy. The saturating addition is the scalar
// rule lane by lane: (s, or NOT s) clamped at the limit, then added with
// wrap-around in the element's width.
#include <immintrin.h>

#include <algorithm>
#include <cstring>

#include "element_rows.hpp"
#include "tiles.hpp"

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
// Past the caches; p is a multiple of 16.
void stream(char* p, V16 v) { _mm_stream_si128(reinterpret_cast<V16*>(p), v); }

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

// Per element type: broadcast, clamp from above and below, wrapping add, each
// in both widths (the 256- and 128-bit instructions of the same name).
#define VSK_BOTH_WIDTHS(name, op)                               \
    static V32 name(V32 a, V32 b) { return _mm256_##op(a, b); } \
    static V16 name(V16 a, V16 b) { return _mm_##op(a, b); }
struct U8 {
    static Both set(std::uint32_t k) { return both(_mm256_set1_epi8(static_cast<char>(k))); }
    VSK_BOTH_WIDTHS(min, min_epu8)
    VSK_BOTH_WIDTHS(max, max_epu8)
    VSK_BOTH_WIDTHS(add, add_epi8)
};
struct S8 : U8 {
    VSK_BOTH_WIDTHS(min, min_epi8)
    VSK_BOTH_WIDTHS(max, max_epi8)
};
struct U16 {
    static Both set(std::uint32_t k) { return both(_mm256_set1_epi16(static_cast<short>(k))); }
    VSK_BOTH_WIDTHS(min, min_epu16)
    VSK_BOTH_WIDTHS(max, max_epu16)
    VSK_BOTH_WIDTHS(add, add_epi16)
};
struct S16 : U16 {
    VSK_BOTH_WIDTHS(min, min_epi16)
    VSK_BOTH_WIDTHS(max, max_epi16)
};
struct S32 {
    static Both set(std::uint32_t k) { return both(_mm256_set1_epi32(static_cast<int>(k))); }
    VSK_BOTH_WIDTHS(min, min_epi32)
    VSK_BOTH_WIDTHS(max, max_epi32)
    VSK_BOTH_WIDTHS(add, add_epi32)
};
#undef VSK_BOTH_WIDTHS

// Rows at least this long take 16-byte blocks.
constexpr std::int64_t kLongRow = 1024;

// Bytes before the first block boundary of a long row's destination, when
// they are whole elements: stores that straddle two cache lines cost more
// than the padded copy of a few bytes.
std::int64_t headOf(const char* d, std::int64_t bytes, int size, int block) {
    if (bytes < 256) return 0;
    const auto head =
        static_cast<std::int64_t>((block - reinterpret_cast<std::uintptr_t>(d) % block) % block);
    return head % size == 0 ? head : 0;
}

// Bytes before the first 16-byte boundary of a streamed row's destination;
// -1 when they are not whole elements or leave no whole block.
std::int64_t streamHeadOf(const char* d, std::int64_t bytes, int size) {
    const auto head = static_cast<std::int64_t>((16 - reinterpret_cast<std::uintptr_t>(d) % 16) % 16);
    return head % size == 0 && head + 16 <= bytes ? head : -1;
}

// d = f(s...) over `bytes` bytes of one row in blocks of V, the first bytes
// up to an aligned destination and the last ones through a padded copy.
// Each block is read before it is written, so a source may be d. Streamed
// rows store their aligned 16-byte blocks past the caches.
template <class V, int N, bool Stream = false, class F>
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
    std::int64_t i = 0;
    if constexpr (Stream) {
        i = streamHeadOf(d, bytes, size);
        if (i < 0) {
            blocks<V, N>(s, d, bytes, size, f);
            return;
        }
    } else {
        i = headOf(d, bytes, size, B);
    }
    if (i > 0) partial(0, i);
    for (; i + B <= bytes; i += B) {
        V v;
        if constexpr (N == 1)
            v = f(load<V>(s[0] + i));
        else
            v = f(load<V>(s[0] + i), load<V>(s[1] + i));
        if constexpr (Stream)
            stream(d + i, v);
        else
            store(d + i, v);
    }
    if (i < bytes) partial(i, bytes - i);
}

// Asks the innermost cache for the cache lines of [p, p + bytes) that lie
// before `end`.
void prefetchRun(const char* p, std::int64_t bytes, const char* end) {
    const auto first = reinterpret_cast<std::uintptr_t>(p);
    const auto last = std::min(first + static_cast<std::uintptr_t>(bytes),
                               reinterpret_cast<std::uintptr_t>(end));
    for (std::uintptr_t line = first & ~std::uintptr_t{63}; line < last; line += 64)
        _mm_prefetch(reinterpret_cast<const char*>(line), _MM_HINT_T0);
}

// The rows of N sources and a destination, each stepping by its stride.
// Streamed stores are made visible to other threads before the return.
template <int N, bool Stream, class F>
void rowsOf(const void* const* src, const std::int64_t* steps, void* dst, std::int64_t dStep,
            int rows, std::int64_t bytes, int size, F f) {
    const char* s[N];
    for (int k = 0; k < N; ++k) s[k] = static_cast<const char*>(src[k]);
    char* d = static_cast<char*>(dst);
    const ReadAhead::Window ahead = Stream ? ReadAhead::window() : ReadAhead::Window{};
    for (int y = 0; y < rows; ++y, d += dStep) {
        if (ahead.bytes > 0)
            for (int k = 0; k < N; ++k) prefetchRun(s[k] + bytes, ahead.bytes, ahead.end);
        if constexpr (Stream)
            blocks<V16, N, true>(s, d, bytes, size, f);
        else if (bytes >= kLongRow)
            blocks<V16, N>(s, d, bytes, size, f);
        else
            blocks<V32, N>(s, d, bytes, size, f);
        for (int k = 0; k < N; ++k) s[k] += steps[k];
    }
    if constexpr (Stream) _mm_sfence();
}

template <class E, int Size, bool Invert, bool Up, bool Stream>
void addRows(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
             std::int64_t n, const std::uint32_t* k) {
    const Both limit = E::set(k[0]), value = E::set(k[1]), ones = both(_mm256_set1_epi32(-1));
    const void* src[] = {s};
    rowsOf<1, Stream>(src, &sStep, d, dStep, rows, n * Size, Size, [&](auto x) {
        if constexpr (Invert) x = bitXor(x, ones.of(x));
        return E::add(Up ? E::min(x, limit.of(x)) : E::max(x, limit.of(x)), value.of(x));
    });
}

template <class E, int Size, bool Stream>
void logicRows(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
               std::int64_t n, const std::uint32_t* k) {
    const Both flip = E::set(k[0]), keep = E::set(k[1]), set = E::set(k[2]);
    const void* src[] = {s};
    rowsOf<1, Stream>(src, &sStep, d, dStep, rows, n * Size, Size,
                      [&](auto x) { return bitOr(bitAnd(bitXor(x, flip.of(x)), keep.of(x)), set.of(x)); });
}

// AND is bytewise whatever the element size.
template <int Size, bool Stream>
void andRows(const void* a, std::int64_t aStep, const void* b, std::int64_t bStep, void* d,
             std::int64_t dStep, int rows, std::int64_t n) {
    const void* src[] = {a, b};
    const std::int64_t steps[] = {aStep, bStep};
    rowsOf<2, Stream>(src, steps, d, dStep, rows, n * Size, Size,
                      [](auto x, auto y) { return bitAnd(x, y); });
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

// Streamed rows of any length, in 16-byte blocks.
void streamRows(const void* src, std::int64_t sStep, void* dst, std::int64_t dStep, int rows,
                std::int64_t n) {
    rowsOf<1, true>(&src, &sStep, dst, dStep, rows, n, 1, [](V16 x) { return x; });
}

template <class E, int Size, bool Stream>
void fillAdd(ElementRows& t, int e) {
    t.add[e][0][0] = addRows<E, Size, false, false, Stream>;
    t.add[e][0][1] = addRows<E, Size, false, true, Stream>;
    t.add[e][1][0] = addRows<E, Size, true, false, Stream>;
    t.add[e][1][1] = addRows<E, Size, true, true, Stream>;
}

template <bool Stream>
ElementRows makeAvx2() {
    ElementRows t{};
    fillAdd<U8, 1, Stream>(t, 0);
    fillAdd<S8, 1, Stream>(t, 1);
    fillAdd<U16, 2, Stream>(t, 2);
    fillAdd<S16, 2, Stream>(t, 3);
    fillAdd<S32, 4, Stream>(t, 4);
    t.logic[0] = logicRows<U8, 1, Stream>;
    t.logic[1] = logicRows<U16, 2, Stream>;
    t.logic[2] = logicRows<S32, 4, Stream>;
    t.bitAnd[0] = andRows<1, Stream>;
    t.bitAnd[1] = andRows<2, Stream>;
    t.bitAnd[2] = andRows<4, Stream>;
    t.copy = Stream ? streamRows : copyRows;
    return t;
}

}  // namespace

const ElementRows* elementRowsAvx2() {
    static const ElementRows table = makeAvx2<false>();
    return &table;
}

const ElementRows* elementRowsAvx2Streaming() {
    static const ElementRows table = makeAvx2<true>();
    return &table;
}

}  // namespace vsk
