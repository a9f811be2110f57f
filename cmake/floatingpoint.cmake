# Floating point that gives the same bits on every build: VSK_FP_OPTIONS, which
# buildoptions.cmake sets on every target of the tree (library, tests, tools,
# examples, benchmarks, fuzz targets), so that all of them compute doubles the
# same way:
#   -ffp-contract=off       no fused multiply-add, wherever the target has one;
#   -msse2 -mfpmath=sse     on 32-bit x86 (Linux -m32, the i686 DLL): doubles are
#                           IEEE doubles in SSE2 registers as on x86-64, not x87
#                           values kept at 80 bits between operations.
# Target options come after CMAKE_<LANG>_FLAGS on the command line, so these
# win over an -mfpmath=387 given there.
#
# VSK_X86 is set for x86 targets, 32- or 64-bit: i686 toolchains name the
# processor, -m32 builds on an x86-64 host keep the host's name but have
# 4-byte pointers.
set(VSK_X86 OFF)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^([iI][3-6]86|x86|X86|x86_64|AMD64|amd64)$")
  set(VSK_X86 ON)
endif()

set(VSK_FP_OPTIONS)
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  list(APPEND VSK_FP_OPTIONS -ffp-contract=off)
  if(VSK_X86 AND CMAKE_SIZEOF_VOID_P EQUAL 4)
    list(APPEND VSK_FP_OPTIONS -msse2 -mfpmath=sse)
  endif()
endif()
message(STATUS "Floating-point options: ${VSK_FP_OPTIONS}")
