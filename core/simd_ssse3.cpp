// Built with the SSSE3 flags, as every *_ssse3.cpp file is: tells the build's
// self-check what the compiler was allowed to use here.
#include "simd.hpp"

namespace vsk::simd {

SimdLevel builtForSsse3() {
#if defined(__SSSE3__)
    return SimdLevel::Ssse3;
#else
    return SimdLevel::Scalar;
#endif
}

}  // namespace vsk::simd
