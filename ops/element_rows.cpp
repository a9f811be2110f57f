// The scalar rows of the sample-by-sample operations and of the copy (plain
// loops the compiler vectorises for the baseline processor), and the choice
// of the table the library runs with.
#include "element_rows.hpp"

#include <cstring>

#include "elementwise.hpp"

namespace vsk {

namespace {

template <class T>
T* rowAt(void* p, std::int64_t step, int y) {
    return reinterpret_cast<T*>(static_cast<char*>(p) + y * step);
}
template <class T>
const T* rowAt(const void* p, std::int64_t step, int y) {
    return reinterpret_cast<const T*>(static_cast<const char*>(p) + y * step);
}

template <class T, class F>
void mapRows(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
             std::int64_t n, F f) {
    for (int y = 0; y < rows; ++y) {
        if (s == d)
            mapRunInPlace(rowAt<T>(d, dStep, y), n, f);
        else
            mapRun(rowAt<T>(d, dStep, y), rowAt<T>(s, sStep, y), n, f);
    }
}

template <class T, bool Invert, bool Up>
void addRows(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
             std::int64_t n, const std::uint32_t* k) {
    mapRows<T>(s, sStep, d, dStep, rows, n,
               SaturateAdd<T, Invert, Up>{static_cast<T>(k[0]), static_cast<T>(k[1])});
}

template <class U>
void logicRows(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
               std::int64_t n, const std::uint32_t* k) {
    mapRows<U>(s, sStep, d, dStep, rows, n, bitLogic<U>(k[0], k[1], k[2]));
}

template <class U>
void andRows(const void* a, std::int64_t aStep, const void* b, std::int64_t bStep, void* d,
             std::int64_t dStep, int rows, std::int64_t n) {
    for (int y = 0; y < rows; ++y)
        mapRun(rowAt<U>(d, dStep, y), rowAt<U>(a, aStep, y), rowAt<U>(b, bStep, y), n, AndOf{});
}

void copyRows(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
              std::int64_t n) {
    for (int y = 0; y < rows; ++y)
        std::memcpy(rowAt<char>(d, dStep, y), rowAt<char>(s, sStep, y), static_cast<std::size_t>(n));
}

template <class T>
void fillAdd(ElementRows& t, int e) {
    t.add[e][0][0] = addRows<T, false, false>;
    t.add[e][0][1] = addRows<T, false, true>;
    t.add[e][1][0] = addRows<T, true, false>;
    t.add[e][1][1] = addRows<T, true, true>;
}

ElementRows makeScalar() {
    ElementRows t{};
    fillAdd<std::uint8_t>(t, 0);
    fillAdd<std::int8_t>(t, 1);
    fillAdd<std::uint16_t>(t, 2);
    fillAdd<std::int16_t>(t, 3);
    fillAdd<std::int32_t>(t, 4);
    t.logic[0] = logicRows<std::uint8_t>;
    t.logic[1] = logicRows<std::uint16_t>;
    t.logic[2] = logicRows<std::uint32_t>;
    t.bitAnd[0] = andRows<std::uint8_t>;
    t.bitAnd[1] = andRows<std::uint16_t>;
    t.bitAnd[2] = andRows<std::uint32_t>;
    t.copy = copyRows;
    return t;
}

using Maker = const ElementRows* (*)();

}  // namespace

const ElementRows* elementRowsScalar() {
    static const ElementRows table = makeScalar();
    return &table;
}

const ElementRows& elementRowsFor(simd::SimdLevel level) {
    return *simd::pick<Maker>({VSK_SIMD_ENTRY(Avx2, elementRowsAvx2),
                               {simd::SimdLevel::Scalar, elementRowsScalar}},
                              level)();
}

const ElementRows& streamingRowsFor(simd::SimdLevel level) {
    return *simd::pick<Maker>({VSK_SIMD_ENTRY(Avx2, elementRowsAvx2Streaming),
                               {simd::SimdLevel::Scalar, elementRowsScalar}},
                              level)();
}

namespace {
thread_local bool streaming = false;
}  // namespace

StreamingStores::StreamingStores(bool on) : saved_(streaming) { streaming = streaming || on; }
StreamingStores::~StreamingStores() { streaming = saved_; }

const ElementRows& elementRows() {
    static const ElementRows& table = elementRowsFor(simd::simdLevel());
    static const ElementRows& streamed = streamingRowsFor(simd::simdLevel());
    return streaming ? streamed : table;
}

}  // namespace vsk
