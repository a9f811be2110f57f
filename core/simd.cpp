// The processor's features (CPUID, and XGETBV for the AVX registers), detected
// once, and the level VSK_SIMD allows.
#include "simd.hpp"

#include <cstdlib>

#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
#define VSK_CPU_X86 1
#if defined(_MSC_VER) && !defined(__clang__)
#include <intrin.h>
#else
#include <cpuid.h>
#endif
#endif

namespace vsk::simd {

namespace {

#if defined(VSK_CPU_X86)
struct CpuidRegs {
    unsigned a = 0, b = 0, c = 0, d = 0;
};

// CPUID of a leaf and sub-leaf; zeros for a leaf the processor does not have.
CpuidRegs cpuid(unsigned leaf, unsigned subleaf) {
    CpuidRegs r;
#if defined(_MSC_VER) && !defined(__clang__)
    int max[4], v[4];
    __cpuid(max, static_cast<int>(leaf & 0x80000000u));
    if (static_cast<unsigned>(max[0]) < leaf) return r;
    __cpuidex(v, static_cast<int>(leaf), static_cast<int>(subleaf));
    r = {static_cast<unsigned>(v[0]), static_cast<unsigned>(v[1]), static_cast<unsigned>(v[2]),
         static_cast<unsigned>(v[3])};
#else
    if (static_cast<unsigned>(__get_cpuid_max(leaf & 0x80000000u, nullptr)) < leaf) return r;
    __cpuid_count(leaf, subleaf, r.a, r.b, r.c, r.d);
#endif
    return r;
}

// XCR0, the register states the operating system saves on a context switch.
unsigned long long xcr0() {
#if defined(_MSC_VER) && !defined(__clang__)
    return _xgetbv(0);
#else
    unsigned lo = 0, hi = 0;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (static_cast<unsigned long long>(hi) << 32) | lo;
#endif
}

CpuFeatures detect() {
    CpuFeatures f;
    const CpuidRegs one = cpuid(1, 0);
    f.sse2 = (one.d >> 26) & 1;
    f.ssse3 = (one.c >> 9) & 1;
    f.sse41 = (one.c >> 19) & 1;
    const bool osxsave = (one.c >> 27) & 1, avx = (one.c >> 28) & 1;
    // The AVX registers are usable only when the system saves the XMM and
    // YMM states (XCR0 bits 1 and 2).
    if (osxsave && avx && (xcr0() & 0x6) == 0x6) f.avx2 = (cpuid(7, 0).b >> 5) & 1;
    return f;
}
#else
CpuFeatures detect() { return {}; }
#endif

const char* const kNames[] = {"scalar", "sse2", "ssse3", "sse41", "avx2"};

bool sameIgnoringCase(const char* text, const char* lower) {
    for (; *text && *lower; ++text, ++lower) {
        const char c =
            (*text >= 'A' && *text <= 'Z') ? static_cast<char>(*text - 'A' + 'a') : *text;
        if (c != *lower) return false;
    }
    return *text == *lower;
}

}  // namespace

const CpuFeatures& cpuFeatures() {
    static const CpuFeatures features = detect();
    return features;
}

SimdLevel bestLevel(const CpuFeatures& f) {
    if (!f.sse2) return SimdLevel::Scalar;
    if (!f.ssse3) return SimdLevel::Sse2;
    if (!f.sse41) return SimdLevel::Ssse3;
    if (!f.avx2) return SimdLevel::Sse41;
    return SimdLevel::Avx2;
}

const char* levelName(SimdLevel level) { return kNames[static_cast<int>(level)]; }

std::optional<SimdLevel> parseLevel(const char* text) {
    if (!text) return std::nullopt;
    for (int k = 0; k <= static_cast<int>(SimdLevel::Avx2); ++k)
        if (sameIgnoringCase(text, kNames[k])) return static_cast<SimdLevel>(k);
    return std::nullopt;
}

SimdLevel cappedLevel(SimdLevel available, const char* setting) {
    const std::optional<SimdLevel> cap = parseLevel(setting);
    return cap && *cap < available ? *cap : available;
}

SimdLevel builtLevel(SimdLevel level) {
    using Probe = SimdLevel (*)();
    const Probe probe = pick<Probe>({VSK_SIMD_ENTRY(Avx2, builtForAvx2),
                                     VSK_SIMD_ENTRY(Sse41, builtForSse41),
                                     VSK_SIMD_ENTRY(Ssse3, builtForSsse3),
                                     VSK_SIMD_ENTRY(Sse2, builtForSse2),
                                     {SimdLevel::Scalar, [] { return SimdLevel::Scalar; }}},
                                    level);
    return probe();
}

SimdLevel simdLevel() {
    // getenv once, at the first use; the level then stays for the process.
    static const SimdLevel level = cappedLevel(bestLevel(cpuFeatures()), std::getenv("VSK_SIMD"));
    return level;
}

}  // namespace vsk::simd
