// Reversed pixel rows in plain C++, and the choice of the table.
#include "mirror_rows.hpp"

#include <cstring>

namespace vsk {

namespace {

template <int P>
void reverseRow(const std::uint8_t* src, std::uint8_t* dst, std::int64_t n) {
    const std::uint8_t* s = src + (n - 1) * P;
    for (std::int64_t k = 0; k < n; ++k, s -= P, dst += P) std::memcpy(dst, s, P);
}

void copyRow(std::uint8_t* dst, const std::uint8_t* src, std::int64_t bytes) {
    std::memcpy(dst, src, static_cast<std::size_t>(bytes));
}

MirrorRows rowsAt(simd::SimdLevel level) {
    MirrorRows r;
    r.bySize[1] = reverseRow<1>;
    r.bySize[2] = reverseRow<2>;
    r.bySize[3] = reverseRow<3>;
    r.bySize[4] = reverseRow<4>;
    r.bySize[6] = reverseRow<6>;
    r.bySize[8] = reverseRow<8>;
    r.bySize[12] = reverseRow<12>;
    r.bySize[16] = reverseRow<16>;
    for (int p : kMirrorPixelSizes) r.streamingBySize[p] = r.bySize[p];
    using Fill = void (*)(MirrorRows&);
    const Fill fill = simd::pick<Fill>({VSK_SIMD_ENTRY(Avx2, fillMirrorRowsAvx2),
                                        VSK_SIMD_ENTRY(Ssse3, fillMirrorRowsSsse3),
                                        {simd::SimdLevel::Scalar, [](MirrorRows&) {}}},
                                       level);
    fill(r);
    r.copyStreaming = simd::pick<CopyRow>(
        {VSK_SIMD_ENTRY(Sse2, copyRowStreamingSse2), {simd::SimdLevel::Scalar, copyRow}}, level);
    return r;
}

}  // namespace

const MirrorRows& mirrorRowsFor(simd::SimdLevel level) {
    using simd::SimdLevel;
    static const MirrorRows tables[] = {rowsAt(SimdLevel::Scalar), rowsAt(SimdLevel::Sse2),
                                        rowsAt(SimdLevel::Ssse3), rowsAt(SimdLevel::Sse41),
                                        rowsAt(SimdLevel::Avx2)};
    return tables[static_cast<int>(level)];
}

const MirrorRows& mirrorRows() {
    static const MirrorRows& rows = mirrorRowsFor(simd::simdLevel());
    return rows;
}

}  // namespace vsk
