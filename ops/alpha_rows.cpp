// The scalar 8-bit compositing rows, and the choice of the table the library
// runs with.
#include "alpha_rows.hpp"

#include "alpha_kernels.hpp"

namespace vsk::alpha {

namespace {

using U8 = std::uint8_t;

template <class Op, bool Premul, bool HasB>
void colourRow(const U8* A, const U8* a, const U8* B, const U8* b, U8* d, int n) {
    zipRow<true>(ColourRule<Op, U8, Premul, HasB>{}, Lane<U8>{d, 1}, n, Lane<const U8>{A, 1},
                 Lane<const U8>{a, 1}, Lane<const U8>{B, 1}, Lane<const U8>{HasB ? b : a, 1});
}

template <class Op, bool HasB>
void alphaRow(const U8* a, const U8* b, U8* d, int n) {
    zipRow<true>(AlphaRule<Op, U8, HasB>{}, Lane<U8>{d, 1}, n, Lane<const U8>{a, 1},
                 Lane<const U8>{HasB ? b : a, 1});
}

void multiplyRow(const U8* x, const U8* y, U8* d, int n) {
    zipRow<true>(MulRule<U8>{}, Lane<U8>{d, 1}, n, Lane<const U8>{x, 1}, Lane<const U8>{y, 1});
}

template <class Op, bool Premul>
void rgbaRow8(const U8* A, const U8* B, U8* d, int n, bool) {
    rgbaRow<Op, U8, Premul, true>(A, B, d, n);
}

template <class Op, bool Premul>
void rgbaDivideRow8(const U8* A, const U8* B, U8* d, int n, bool) {
    rgbaDivideRow<Op, U8, Premul, true>(A, B, d, n);
}

template <class Op>
void fillOperator(AlphaRows& t, int k) {
    t.colour[k][0][0] = colourRow<Op, false, false>;
    t.colour[k][0][1] = colourRow<Op, false, true>;
    t.colour[k][1][0] = colourRow<Op, true, false>;
    t.colour[k][1][1] = colourRow<Op, true, true>;
    t.alpha[k][0] = alphaRow<Op, false>;
    t.alpha[k][1] = alphaRow<Op, true>;
    t.rgba[k][0] = rgbaRow8<Op, false>;
    t.rgba[k][1] = rgbaRow8<Op, true>;
    t.rgbaDivide[k][0] = rgbaDivideRow8<Op, false>;
    t.rgbaDivide[k][1] = rgbaDivideRow8<Op, true>;
}

AlphaRows makeScalar() {
    AlphaRows t{};
    fillOperator<Over>(t, 0);
    fillOperator<In>(t, 1);
    fillOperator<Out>(t, 2);
    fillOperator<Atop>(t, 3);
    fillOperator<Xor>(t, 4);
    fillOperator<Plus>(t, 5);
    t.multiply = multiplyRow;
    return t;
}

using Maker = const AlphaRows* (*)();

}  // namespace

const AlphaRows* alphaRowsScalar() {
    static const AlphaRows table = makeScalar();
    return &table;
}

const AlphaRows& alphaRowsFor(simd::SimdLevel level) {
    return *simd::pick<Maker>({VSK_SIMD_ENTRY(Avx2, alphaRowsAvx2),
                               VSK_SIMD_ENTRY(Sse2, alphaRowsSse2),
                               {simd::SimdLevel::Scalar, alphaRowsScalar}},
                              level)();
}

const AlphaRows& alphaRows() {
    static const AlphaRows& table = alphaRowsFor(simd::simdLevel());
    return table;
}

}  // namespace vsk::alpha
