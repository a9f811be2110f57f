// Decimation rows value by value: the definitions of the row functions of
// decim_rows.hpp, used whole by the plain C++ kernels and for the values the
// vector kernels leave over. Every function here has internal linkage, so
// each instruction-set file keeps its own copy.
#pragma once

#include <cstdint>

#include "decim_rows.hpp"

namespace vsk::decim {
namespace {

std::uint8_t clamp255(std::int32_t v) {
    return static_cast<std::uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// h[i] = finish(weighted sum of value i's Taps taps).
template <int Taps, class Finish>
void tapValues(const std::uint8_t* in, const Columns& c, std::int16_t* h, std::int64_t from,
               std::int64_t to, Finish finish) {
    const int* off = c.off;
    const int* weight = c.weight;
    const std::int64_t n = c.n;
    const int step = c.tapStep;
    for (std::int64_t i = from; i < to; ++i) {
        const std::uint8_t* q = in + off[i];
        std::int32_t sum = weight[i] * q[0];
        for (int t = 1; t < Taps; ++t) sum += weight[t * n + i] * q[t * step];
        h[i] = finish(sum);
    }
}

void pickValues8(const std::uint8_t* in, const Columns& c, std::uint8_t* out, std::int64_t from,
                 std::int64_t to) {
    const int* off = c.off;
    for (std::int64_t i = from; i < to; ++i) out[i] = in[off[i]];
}
void pickValues16(const std::uint8_t* in, const Columns& c, std::uint16_t* out,
                  std::int64_t from, std::int64_t to) {
    const auto* p = reinterpret_cast<const std::uint16_t*>(in);
    const int* off = c.off;
    for (std::int64_t i = from; i < to; ++i) out[i] = p[off[i]];
}
void pickWideValues8(const std::uint8_t* in, const Columns& c, std::int16_t* h,
                     std::int64_t from, std::int64_t to) {
    const int* off = c.off;
    for (std::int64_t i = from; i < to; ++i) h[i] = in[off[i]];
}
void linearValues8(const std::uint8_t* in, const Columns& c, std::int16_t* h, std::int64_t from,
                   std::int64_t to) {
    tapValues<2>(in, c, h, from, to,
                 [](std::int32_t sum) { return static_cast<std::int16_t>(sum - 32768); });
}
void cubicValues8(const std::uint8_t* in, const Columns& c, std::int16_t* h, std::int64_t from,
                  std::int64_t to) {
    tapValues<4>(in, c, h, from, to,
                 [](std::int32_t sum) { return static_cast<std::int16_t>(sum >> 8); });
}

// The sums stay within 32 bits for the weights the kernels are given
// (linear: 0 .. 256 on values of -32768 .. 32767 plus the bias).
void lerpValues(const std::int16_t* h0, const std::int16_t* h1, int w0, int w1, int bias,
                int shift, std::int64_t from, std::int64_t to, std::uint8_t* out) {
    const std::int32_t add = bias * (w0 + w1) + (1 << (shift - 1));
    for (std::int64_t i = from; i < to; ++i)
        out[i] = clamp255((w0 * h0[i] + w1 * h1[i] + add) >> shift);
}

template <int Divisor>
void cubicRowValuesBy(const std::int16_t* const* h, const int* w, std::int64_t from,
                      std::int64_t to, std::uint8_t* out) {
    const std::int16_t *h0 = h[0], *h1 = h[1], *h2 = h[2], *h3 = h[3];
    const int w0 = w[0], w1 = w[1], w2 = w[2], w3 = w[3];
    for (std::int64_t i = from; i < to; ++i)
        out[i] = clamp255(((w0 * h0[i] + w1 * h1[i] + w2 * h2[i] + w3 * h3[i]) >> 8) / Divisor);
}
void cubicRowValues(const std::int16_t* const* h, const int* w, int divisor, std::int64_t from,
                    std::int64_t to, std::uint8_t* out) {
    if (divisor == 36)
        cubicRowValuesBy<36>(h, w, from, to, out);
    else
        cubicRowValuesBy<6>(h, w, from, to, out);
}

}  // namespace
}  // namespace vsk::decim
