// Built with the SSE2 flags, as every *_sse2.cpp file is: tells the build's
// self-check what the compiler was allowed to use here.
#include "simd.hpp"

namespace vsk::simd {

SimdLevel builtForSse2() {
#if defined(__SSE2__)
    return SimdLevel::Sse2;
#else
    return SimdLevel::Scalar;
#endif
}

}  // namespace vsk::simd
