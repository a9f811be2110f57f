// The choice of SIMD kernels: VSK_SIMD names, the cap it sets, the level a
// processor's features allow, the pick among a family's entries, and the
// sibling files built with their own instruction sets.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "simd.hpp"

using namespace vsk::simd;

namespace {

SimdLevel scalarRow() { return SimdLevel::Scalar; }
SimdLevel sse2Row() { return SimdLevel::Sse2; }
SimdLevel avx2Row() { return SimdLevel::Avx2; }

}  // namespace

TEST(Simd, SettingNamesALevelThatCapsButNeverRaisesIt) {
    // Names are exact but case-blind; any other setting leaves the level
    // the processor allows.
    using L = SimdLevel;
    const struct {
        L available;
        const char* setting;
        L used;
    } cases[] = {
        {L::Avx2, nullptr, L::Avx2}, {L::Avx2, "", L::Avx2}, {L::Avx2, "scalar", L::Scalar},
        {L::Avx2, "Scalar", L::Scalar}, {L::Avx2, "sse2", L::Sse2}, {L::Avx2, "ssse3", L::Ssse3},
        {L::Avx2, "sse41", L::Sse41}, {L::Avx2, "sse4.1", L::Avx2}, {L::Avx2, "scalar ", L::Avx2},
        {L::Avx2, "none", L::Avx2}, {L::Sse41, "avx2", L::Sse41}, {L::Sse41, "AVX2", L::Sse41},
        {L::Sse41, "fast", L::Sse41}, {L::Sse2, "avx512", L::Sse2}, {L::Scalar, "sse2", L::Scalar},
    };
    for (const auto& c : cases)
        EXPECT_EQ(cappedLevel(c.available, c.setting), c.used)
            << levelName(c.available) << " " << (c.setting ? c.setting : "(null)");
    EXPECT_EQ(parseLevel("AVX2"), SimdLevel::Avx2);
    EXPECT_EQ(parseLevel("avx"), std::nullopt);
    for (int k = 0; k <= static_cast<int>(SimdLevel::Avx2); ++k)
        EXPECT_EQ(parseLevel(levelName(static_cast<SimdLevel>(k))), static_cast<SimdLevel>(k));
}

TEST(Simd, ALevelNeedsEverySetBelowIt) {
    const struct {
        CpuFeatures features;
        SimdLevel level;
    } cases[] = {
        {{}, SimdLevel::Scalar},
        {{.sse2 = true}, SimdLevel::Sse2},
        {{.sse2 = true, .ssse3 = true}, SimdLevel::Ssse3},
        {{.sse2 = true, .ssse3 = true, .sse41 = true}, SimdLevel::Sse41},
        {{.sse2 = true, .ssse3 = true, .sse41 = true, .avx2 = true}, SimdLevel::Avx2},
        {{.sse2 = true, .avx2 = true}, SimdLevel::Sse2},
        {{.ssse3 = true, .sse41 = true, .avx2 = true}, SimdLevel::Scalar},
    };
    for (const auto& c : cases) EXPECT_EQ(bestLevel(c.features), c.level);
}

TEST(Simd, PickTakesTheBestEntryTheLevelAllowsAndTheBuildHas) {
    using Row = SimdLevel (*)();
    const auto family = [](SimdLevel level) {
        return pick<Row>({{SimdLevel::Avx2, avx2Row},
                          {SimdLevel::Sse41, nullptr},  // not in this build
                          {SimdLevel::Sse2, sse2Row},
                          {SimdLevel::Scalar, scalarRow}},
                         level)();
    };
    EXPECT_EQ(family(SimdLevel::Avx2), SimdLevel::Avx2);
    EXPECT_EQ(family(SimdLevel::Sse41), SimdLevel::Sse2);
    EXPECT_EQ(family(SimdLevel::Sse2), SimdLevel::Sse2);
    EXPECT_EQ(family(SimdLevel::Scalar), SimdLevel::Scalar);
}

// Also proves that each file ran on this processor, and that the AVX2 file
// was built without fused multiply-add.
TEST(Simd, EachLevelUpToTheProcessorsRunsTheFileBuiltForIt) {
    EXPECT_EQ(simdLevel(), cappedLevel(bestLevel(cpuFeatures()), std::getenv("VSK_SIMD")));
    for (int k = 0; k <= static_cast<int>(simdLevel()); ++k) {
        const auto level = static_cast<SimdLevel>(k);
#if defined(VSK_SIMD_X86)
        EXPECT_EQ(builtLevel(level), level) << levelName(level);
#else
        EXPECT_EQ(builtLevel(level), SimdLevel::Scalar) << levelName(level);
#endif
    }
}
