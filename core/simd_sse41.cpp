// Built with the SSE4.1 flags, as every *_sse41.cpp file is: tells the build's
// self-check what the compiler was allowed to use here.
#include "simd.hpp"

namespace vsk::simd {

SimdLevel builtForSse41() {
#if defined(__SSE4_1__)
    return SimdLevel::Sse41;
#else
    return SimdLevel::Scalar;
#endif
}

}  // namespace vsk::simd
