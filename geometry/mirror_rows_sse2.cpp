// Row copies that bypass the cache (SSE2 non-temporal stores), for images
// too large for the caches: the destination is not read before it is
// written, and the source's lines stay cached.
#include <emmintrin.h>

#include <cstring>

#include "mirror_rows.hpp"

namespace vsk {

void copyRowStreamingSse2(std::uint8_t* dst, const std::uint8_t* src, std::int64_t bytes) {
    // Up to the first 16-byte boundary of the destination as it is.
    std::int64_t head =
        (16 - static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(dst) & 15)) & 15;
    if (head > bytes) head = bytes;
    std::memcpy(dst, src, static_cast<std::size_t>(head));
    std::int64_t i = head;
    for (; i + 64 <= bytes; i += 64) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 16));
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 32));
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 48));
        _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i), a);
        _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i + 16), b);
        _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i + 32), c);
        _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i + 48), d);
    }
    for (; i + 16 <= bytes; i += 16)
        _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i),
                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)));
    std::memcpy(dst + i, src + i, static_cast<std::size_t>(bytes - i));
    // The streamed stores are ordered before whatever follows.
    _mm_sfence();
}

}  // namespace vsk
