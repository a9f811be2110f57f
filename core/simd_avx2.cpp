// Built with the AVX2 flags, as every *_avx2.cpp file is: tells the build's
// self-check what the compiler was allowed to use here.
#include "simd.hpp"

namespace vsk::simd {

SimdLevel builtForAvx2() {
#if defined(__AVX2__) && !defined(__FMA__)
    return SimdLevel::Avx2;
#else
    return SimdLevel::Scalar;
#endif
}

}  // namespace vsk::simd
