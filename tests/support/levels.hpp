// The instruction-set levels a test compares with the scalar kernels: every
// level above scalar that this processor runs, or only those whose row table
// is a table of its own (not the scalar one nor the level below it again).
#pragma once

#include <vector>

#include "simd.hpp"

namespace vsktest {

inline std::vector<vsk::simd::SimdLevel> vectorLevels() {
    using vsk::simd::SimdLevel;
    std::vector<SimdLevel> levels;
    const int best = static_cast<int>(vsk::simd::bestLevel(vsk::simd::cpuFeatures()));
    for (int k = 1; k <= best; ++k) levels.push_back(static_cast<SimdLevel>(k));
    return levels;
}

template <class Table>
std::vector<vsk::simd::SimdLevel> distinctLevels(const Table& (*tableFor)(vsk::simd::SimdLevel)) {
    std::vector<vsk::simd::SimdLevel> levels;
    const Table* last = &tableFor(vsk::simd::SimdLevel::Scalar);
    for (auto level : vectorLevels())
        if (&tableFor(level) != last) {
            levels.push_back(level);
            last = &tableFor(level);
        }
    return levels;
}

}  // namespace vsktest
