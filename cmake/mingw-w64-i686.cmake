# 32-bit Windows (i686) with MinGW-w64: g++-mingw-w64-i686.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(VSK_MINGW_TRIPLET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
