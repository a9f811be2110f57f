// Run-time choice of SIMD kernels: the CPU's features, detected once, and the
// level of instruction set the kernels may use.
//
// Kernels of one family (zoom rows, alpha rows, ...) live in sibling files
// named after their instruction set:
//
//     geometry/zoom_rows.cpp         the scalar kernels, always built
//     geometry/zoom_rows_sse2.cpp    compiled with -msse2
//     geometry/zoom_rows_ssse3.cpp   compiled with -mssse3
//     geometry/zoom_rows_sse41.cpp   compiled with -msse4.1
//     geometry/zoom_rows_avx2.cpp    compiled with -mavx2 (never -mfma)
//
// Any library source whose name ends in _sse2, _ssse3, _sse41 or _avx2 gets
// those flags from the build (cmake/simd.cmake) and is compiled on x86
// targets only, where VSK_SIMD_X86 is defined for the library and the code
// built beside it; other targets build the scalar kernels alone. The rest of
// the library is built for the baseline processor (x86-64, i686 with SSE2, or
// any other), so only code reached through a table like the one below may use
// a higher instruction set.
//
// Each family has one table of row functions, filled once from simdLevel():
//
//     // zoom_rows.hpp
//     using LinearRow = void (*)(const std::uint8_t* src, std::uint8_t* dst, int n);
//     void linearRowScalar(const std::uint8_t* src, std::uint8_t* dst, int n);
//     void linearRowSse2(const std::uint8_t* src, std::uint8_t* dst, int n);
//     void linearRowAvx2(const std::uint8_t* src, std::uint8_t* dst, int n);
//     struct ZoomRows { LinearRow linear; };
//     const ZoomRows& zoomRows();
//
//     // zoom_rows.cpp
//     const ZoomRows& zoomRows() {
//         static const ZoomRows rows{
//             simd::pick<LinearRow>({VSK_SIMD_ENTRY(Avx2, linearRowAvx2),
//                                    VSK_SIMD_ENTRY(Sse2, linearRowSse2),
//                                    {SimdLevel::Scalar, linearRowScalar}}),
//         };
//         return rows;
//     }
//
// Entries are listed best first and end with the scalar one; pick() takes the
// first whose level the CPU and VSK_SIMD allow. Every vector kernel gives
// exactly the scalar kernel's bits (same integer sums, same floating-point
// operations in the same order), and tests compare them on rows of odd widths.
//
// A kernel file keeps its helpers in an anonymous namespace and calls no
// inline function or template that baseline files also use (std::min, the
// library's inline helpers): the linker keeps one copy of such a function, and
// it could be the copy compiled for the higher instruction set.
//
// The environment variable VSK_SIMD caps the level: scalar, sse2, ssse3,
// sse41 or avx2 (upper or lower case). It is read once, at the first call
// that picks a kernel; a level above what the CPU offers, an empty value and
// any other text leave the CPU's own level.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>

namespace vsk::simd {

// Ordered: each level includes the ones below it.
enum class SimdLevel : int { Scalar = 0, Sse2 = 1, Ssse3 = 2, Sse41 = 3, Avx2 = 4 };

// The instruction sets the processor offers (all false on other processors).
// avx2 is set only when the operating system also saves the AVX registers.
struct CpuFeatures {
    bool sse2 = false;
    bool ssse3 = false;
    bool sse41 = false;
    bool avx2 = false;
};

// Detected once, at the first call.
const CpuFeatures& cpuFeatures();

// The highest level whose instruction sets (with all those below) are present.
SimdLevel bestLevel(const CpuFeatures& features);

// A level's name as VSK_SIMD takes it; "scalar", "sse2", "ssse3", "sse41", "avx2".
const char* levelName(SimdLevel level);

// A VSK_SIMD value: its level, or nothing for a null, empty or unknown text.
std::optional<SimdLevel> parseLevel(const char* text);

// The level allowed by a CPU of level `available` under the VSK_SIMD value
// `setting` (may be null): never above either.
SimdLevel cappedLevel(SimdLevel available, const char* setting);

// The level the kernels use: the CPU's, capped by VSK_SIMD; fixed at the
// first call.
SimdLevel simdLevel();

// The build's self-check: runs the probe that the file of `level`'s
// instruction set holds (core/simd_<isa>.cpp) through pick(), and returns the
// instruction set that file was compiled for; Scalar where no such file is
// built. Only for levels up to simdLevel().
SimdLevel builtLevel(SimdLevel level);
SimdLevel builtForSse2();
SimdLevel builtForSsse3();
SimdLevel builtForSse41();
SimdLevel builtForAvx2();

// One candidate row function of a family.
template <class Fn>
struct Entry {
    SimdLevel level;
    Fn fn;  // null when this build has no kernel of that level
};

// The first entry (best first) that `level` allows and this build has.
template <class Fn>
Fn pick(std::initializer_list<Entry<Fn>> entries, SimdLevel level = simdLevel()) {
    for (const Entry<Fn>& e : entries)
        if (e.fn && e.level <= level) return e.fn;
    return nullptr;
}

// Whether a vector kernel that reads a group of samples before writing it
// gives the sample-by-sample result: the destination run of `bytes` bytes
// either is the source run or shares no byte with it.
inline bool apart(const void* d, const void* s, std::int64_t bytes) {
    const auto dp = reinterpret_cast<std::uintptr_t>(d), sp = reinterpret_cast<std::uintptr_t>(s);
    const auto n = static_cast<std::uintptr_t>(bytes);
    return dp == sp || dp + n <= sp || sp + n <= dp;
}

}  // namespace vsk::simd

// An entry of a kernel that lives in a sibling file of instruction set
// `level`: on other targets that file is not built, so the entry is empty.
#if defined(VSK_SIMD_X86)
#define VSK_SIMD_ENTRY(level, fn) \
    { ::vsk::simd::SimdLevel::level, fn }
#else
#define VSK_SIMD_ENTRY(level, fn) \
    { ::vsk::simd::SimdLevel::level, nullptr }
#endif
