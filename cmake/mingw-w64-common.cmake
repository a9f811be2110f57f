# Cross-compiling for Windows with the MinGW-w64 toolchain of the triplet in
# VSK_MINGW_TRIPLET (set by the toolchain file that includes this one).
set(CMAKE_SYSTEM_NAME Windows)

# The POSIX thread model gives the full C++ standard library; everything is
# linked statically so that the DLL and the programs need no MinGW DLLs.
set(CMAKE_C_COMPILER ${VSK_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VSK_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${VSK_MINGW_TRIPLET}-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

set(CMAKE_FIND_ROOT_PATH /usr/${VSK_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
