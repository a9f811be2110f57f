# Kernels per instruction set. A library source named <name>_<isa>.cpp, with
# <isa> one of sse2, ssse3, sse41 or avx2, holds the kernels of that
# instruction set: it is compiled with the set's own flags, and only when
# VSK_SIMD_KERNELS is on (by default on x86 targets with GCC or Clang), which
# also defines VSK_SIMD_X86 for the library. The rest of the library is built
# for the baseline processor (x86-64, i686 with SSE2, or any other); the
# kernels are reached only through the tables of core/simd.hpp, which check
# the processor at run time. Elsewhere only the scalar kernels are built.
set(vsk_simd_default OFF)
if(VSK_X86 AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  set(vsk_simd_default ON)
endif()
option(VSK_SIMD_KERNELS "Build the SSE2/SSSE3/SSE4.1/AVX2 kernels (x86 only)" ${vsk_simd_default})
if(VSK_SIMD_KERNELS AND NOT VSK_X86)
  message(FATAL_ERROR "VSK_SIMD_KERNELS needs an x86 target")
endif()

set(VSK_SIMD_FLAGS_sse2 -msse2)
set(VSK_SIMD_FLAGS_ssse3 -mssse3)
set(VSK_SIMD_FLAGS_sse41 -msse4.1)
# AVX2 alone: never -mfma, whose fused multiply-adds would round differently.
set(VSK_SIMD_FLAGS_avx2 -mavx2)

# Sets the flags of the instruction-set files in the list `var` names, or
# drops them from it when the kernels are not built.
function(vsk_simd_sources var)
  set(sources)
  foreach(source IN LISTS ${var})
    if(source MATCHES "_(sse2|ssse3|sse41|avx2)\\.cpp$")
      if(NOT VSK_SIMD_KERNELS)
        continue()
      endif()
      set_source_files_properties(${source} PROPERTIES
                                  COMPILE_OPTIONS "${VSK_SIMD_FLAGS_${CMAKE_MATCH_1}}")
    endif()
    list(APPEND sources ${source})
  endforeach()
  set(${var} ${sources} PARENT_SCOPE)
endfunction()
