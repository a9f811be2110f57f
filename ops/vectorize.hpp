// Included first by the files that instantiate the sample loops: GCC's -O2
// cost model leaves loops whose length is not a multiple of the vector width
// scalar; the dynamic model vectorises them with a scalar remainder, as -O3
// does.
#pragma once
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("vect-cost-model=dynamic")
#endif
