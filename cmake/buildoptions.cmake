# Compile and link options of the targets this tree defines, set on each
# target (never directory-wide): the floating-point options of
# floatingpoint.cmake, the warnings, and the sanitizers that VSK_SANITIZE
# names. The top-level CMakeLists.txt calls vsk_build_options_below() once,
# after every add_subdirectory(), so a new directory's targets get them
# without a line of their own. Third-party code built here (GoogleTest) gets
# the floating-point and sanitizer options but not the warnings.
set(VSK_SANITIZE "" CACHE STRING
    "Sanitizers for every target: address;undefined, thread, or empty for none")

set(VSK_WARNING_OPTIONS -Wall -Wextra)
if(VSK_WERROR)
  list(APPEND VSK_WARNING_OPTIONS -Werror)
endif()
# GCC's -O2 cost model leaves sample loops whose length is not a multiple of
# the vector width scalar; the dynamic model vectorises them with a remainder.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND VSK_WARNING_OPTIONS -fvect-cost-model=dynamic)
endif()

set(VSK_SANITIZE_COMPILE_OPTIONS)
set(VSK_SANITIZE_LINK_OPTIONS)
if(VSK_SANITIZE)
  list(JOIN VSK_SANITIZE "," sanitizers)
  set(VSK_SANITIZE_COMPILE_OPTIONS -fsanitize=${sanitizers} -fno-omit-frame-pointer)
  if(NOT "thread" IN_LIST VSK_SANITIZE)
    list(APPEND VSK_SANITIZE_COMPILE_OPTIONS -fno-sanitize-recover=all)
  endif()
  set(VSK_SANITIZE_LINK_OPTIONS -fsanitize=${sanitizers})
  message(STATUS "Sanitizers: ${sanitizers}")
endif()

# The options of one target; THIRD_PARTY leaves out the warnings.
function(vsk_build_options target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "THIRD_PARTY" "" "")
  get_target_property(type ${target} TYPE)
  if(NOT type MATCHES "^(STATIC_LIBRARY|SHARED_LIBRARY|MODULE_LIBRARY|OBJECT_LIBRARY|EXECUTABLE)$")
    return()
  endif()
  get_target_property(imported ${target} IMPORTED)
  if(imported)
    return()
  endif()
  target_compile_options(${target} PRIVATE ${VSK_FP_OPTIONS} ${VSK_SANITIZE_COMPILE_OPTIONS})
  if(NOT arg_THIRD_PARTY)
    target_compile_options(${target} PRIVATE ${VSK_WARNING_OPTIONS})
  endif()
  if(NOT type STREQUAL "STATIC_LIBRARY" AND NOT type STREQUAL "OBJECT_LIBRARY")
    target_link_options(${target} PRIVATE ${VSK_SANITIZE_LINK_OPTIONS})
  endif()
endfunction()

# The options of every target defined in `dir` and the directories below it.
function(vsk_build_options_below dir)
  cmake_path(IS_PREFIX PROJECT_SOURCE_DIR "${dir}" NORMALIZE ours)
  set(kind)
  if(NOT ours)
    set(kind THIRD_PARTY)
  endif()
  get_property(targets DIRECTORY ${dir} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    vsk_build_options(${target} ${kind})
  endforeach()
  get_property(subdirs DIRECTORY ${dir} PROPERTY SUBDIRECTORIES)
  foreach(subdir IN LISTS subdirs)
    vsk_build_options_below(${subdir})
  endforeach()
endfunction()
