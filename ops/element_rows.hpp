// Rows of the sample-by-sample operations (saturating addition of a
// constant, bit logic with constants, AND of two sources) and of the copy,
// one table per instruction set. A kernel works through `rows` rows of n
// contiguous elements, each operand stepping by its own row stride (bytes).
// Every table gives the scalar table's bits.
#pragma once

#include <cstdint>

#include "simd.hpp"

namespace vsk {

// d[i] = rule(s[i]) on every row; s may be d (same rows, same stride). The
// rule's constants k are the element type's bit patterns: {limit, value}
// for the saturating addition, {flip, keep, set} for the bit logic.
using Run1 = void (*)(const void* s, std::int64_t sStep, void* d, std::int64_t dStep, int rows,
                      std::int64_t n, const std::uint32_t* k);
// d[i] = a[i] AND b[i] on every row.
using Run2 = void (*)(const void* a, std::int64_t aStep, const void* b, std::int64_t bStep,
                      void* d, std::int64_t dStep, int rows, std::int64_t n);
// n bytes of every row of s copied to d (no overlap).
using CopyRows = void (*)(const void* s, std::int64_t sStep, void* d, std::int64_t dStep,
                          int rows, std::int64_t n);

// Element types by index: uint8, int8, uint16, int16, int32 for the
// addition; 1, 2 and 4 bytes for the bit operations.
struct ElementRows {
    Run1 add[5][2][2];  // [element][samples inverted first][constant >= 0]
    Run1 logic[3];      // ((s ^ flip) & keep) | set
    Run2 bitAnd[3];
    CopyRows copy;
};

const ElementRows& elementRows();
// The table of a given level (the best one built at or below it), for tests.
const ElementRows& elementRowsFor(simd::SimdLevel level);

const ElementRows* elementRowsScalar();
const ElementRows* elementRowsAvx2();
const ElementRows* elementRowsAvx2Streaming();

// The same kernels with destination stores that go past the caches, for a
// walk into tiles that writes more than the caches hold: each tile is
// written once and only given back, and its rows would otherwise first be
// read from memory. The scalar table serves as its own.
const ElementRows& streamingRowsFor(simd::SimdLevel level);

// While one made with `on` lives on a thread, elementRows() hands out the
// streaming table there.
class StreamingStores {
public:
    explicit StreamingStores(bool on);
    ~StreamingStores();
    StreamingStores(const StreamingStores&) = delete;
    StreamingStores& operator=(const StreamingStores&) = delete;

private:
    bool saved_;
};

// Whether a kernel may run over `rows` rows of `bytes` bytes of a
// destination and a source (positive strides): the rows coincide, or no
// byte of the destination's rows is a byte of the source's.
inline bool rowsApart(const void* d, std::int64_t dStep, const void* s, std::int64_t sStep,
                      int rows, std::int64_t bytes) {
    if (d == s && dStep == sStep) return true;
    const auto dp = reinterpret_cast<std::uintptr_t>(d), sp = reinterpret_cast<std::uintptr_t>(s);
    const auto dEnd = dp + static_cast<std::uintptr_t>((rows - 1) * dStep + bytes);
    const auto sEnd = sp + static_cast<std::uintptr_t>((rows - 1) * sStep + bytes);
    return dEnd <= sp || sEnd <= dp;
}

}  // namespace vsk
