// The blur's row kernels in plain C++, and the choice of the table.
#include "boxrows.hpp"

#include "numeric.hpp"

namespace vsk {

namespace {

template <class T>
std::uint32_t widen(T v) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(v));
}

template <class T>
void addRow(std::uint32_t* col, const T* src, std::int64_t count) {
    for (std::int64_t k = 0; k < count; ++k) col[k] += widen(src[k]);
}

template <class T>
void slideRow(std::uint32_t* col, const T* enter, const T* leave, std::int64_t count) {
    for (std::int64_t k = 0; k < count; ++k) col[k] += widen(enter[k]) - widen(leave[k]);
}

template <class T>
void meansRow(const std::int32_t* sums, T* dst, std::int64_t count, double r) {
    for (std::int64_t k = 0; k < count; ++k)
        dst[k] = static_cast<T>(truncInt32(static_cast<double>(sums[k]) * r));
}

void runSums(const std::uint32_t* col, std::int32_t* sums, int n, std::int64_t span,
             std::int64_t count) {
    for (std::int64_t k = n; k < count; ++k)
        sums[k] = static_cast<std::int32_t>(static_cast<std::uint32_t>(sums[k - n]) +
                                            (col[k - n + span] - col[k - n]));
}

void addFloat(float* col, const std::int32_t* src, std::int64_t count) {
    for (std::int64_t k = 0; k < count; ++k) col[k] = col[k] + static_cast<float>(src[k]);
}

void slideFloat(float* col, const std::int32_t* enter, const std::int32_t* leave,
                std::int64_t count) {
    for (std::int64_t k = 0; k < count; ++k)
        col[k] = col[k] + static_cast<float>(enter[k]) - static_cast<float>(leave[k]);
}

void meansFloat(const float* col, std::int32_t* dst, int n, std::int64_t span, std::int64_t count,
                double r) {
    for (int c = 0; c < n && c < count; ++c) {
        double sum = 0;
        for (std::int64_t k = c; k < span; k += n) sum += static_cast<double>(col[k]);
        dst[c] = truncInt32(sum * r);
        for (std::int64_t k = c + n; k < count; k += n) {
            sum += static_cast<double>(col[k - n + span] - col[k - n]);
            dst[k] = truncInt32(sum * r);
        }
    }
}

template <class T>
constexpr IntBoxRows<T> intRows() {
    return {addRow<T>, slideRow<T>, meansRow<T>};
}

}  // namespace

const BoxRows& boxRowsScalar() {
    static const BoxRows rows{intRows<std::uint8_t>(),
                              intRows<std::int8_t>(),
                              intRows<std::uint16_t>(),
                              intRows<std::int16_t>(),
                              runSums,
                              addFloat,
                              slideFloat,
                              meansFloat};
    return rows;
}

const BoxRows& boxRowsFor(simd::SimdLevel level) {
    using Table = const BoxRows& (*)();
    return simd::pick<Table>({VSK_SIMD_ENTRY(Avx2, boxRowsAvx2),
                              VSK_SIMD_ENTRY(Sse2, boxRowsSse2),
                              {simd::SimdLevel::Scalar, boxRowsScalar}},
                             level)();
}

const BoxRows& boxRows() {
    static const BoxRows& rows = boxRowsFor(simd::simdLevel());
    return rows;
}

}  // namespace vsk
