# Floating point that gives the same bits on every build. Included once by the
# top-level CMakeLists.txt, before any target, so that the library and every
# program built beside it (tests, tools, examples, benchmarks, fuzz targets)
# compute doubles the same way:
#   -ffp-contract=off       no fused multiply-add, wherever the target has one;
#   -msse2 -mfpmath=sse     on 32-bit x86 (Linux -m32, the i686 DLL): doubles are
#                           IEEE doubles in SSE2 registers as on x86-64, not x87
#                           values kept at 80 bits between operations.
# These come after CMAKE_<LANG>_FLAGS on the command line, so they win over an
# -mfpmath=387 given there.
set(VSK_FP_OPTIONS)
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  list(APPEND VSK_FP_OPTIONS -ffp-contract=off)
  # A 32-bit x86 target: i686 toolchains name the processor, -m32 builds on
  # an x86-64 host keep the host's name but have 4-byte pointers.
  if(CMAKE_SIZEOF_VOID_P EQUAL 4
     AND CMAKE_SYSTEM_PROCESSOR MATCHES "^([iI][3-6]86|x86|X86|x86_64|AMD64|amd64)$")
    list(APPEND VSK_FP_OPTIONS -msse2 -mfpmath=sse)
  endif()
endif()
message(STATUS "Floating-point options: ${VSK_FP_OPTIONS}")
add_compile_options(${VSK_FP_OPTIONS})
