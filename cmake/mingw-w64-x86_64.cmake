# 64-bit Windows (x86-64) with MinGW-w64: g++-mingw-w64-x86-64.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(VSK_MINGW_TRIPLET x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
