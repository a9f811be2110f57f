# Installation: the shared and static libraries, the public headers (and the
# internal one apart), the command-line tool (target vsk-cli, when it is
# built), a CMake package (find_package(vsk) gives vsk::vsk and
# vsk::vsk_static) and vsk.pc for pkg-config.
include(CMakePackageConfigHelpers)

set(VSK_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vsk
    CACHE STRING "Where the CMake package files are installed, relative to the prefix")

install(TARGETS vsk vsk_static EXPORT vskTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/vsk.h ${PROJECT_BINARY_DIR}/include/vsk_version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The internal operations are no public interface: their header goes where no
# include path of the package points (for tools that read the declarations).
install(FILES include/vsk_internal.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vsk/internal)
if(TARGET vsk-cli)
  install(TARGETS vsk-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(EXPORT vskTargets NAMESPACE vsk:: DESTINATION ${VSK_INSTALL_CMAKEDIR})
configure_package_config_file(cmake/vskConfig.cmake.in ${PROJECT_BINARY_DIR}/vskConfig.cmake
                              INSTALL_DESTINATION ${VSK_INSTALL_CMAKEDIR})
# 0.x minor releases may break compatibility; from 1.0 on only major ones do.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(VSK_COMPATIBILITY SameMinorVersion)
else()
  set(VSK_COMPATIBILITY SameMajorVersion)
endif()
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vskConfigVersion.cmake
                                 COMPATIBILITY ${VSK_COMPATIBILITY})
install(FILES ${PROJECT_BINARY_DIR}/vskConfig.cmake ${PROJECT_BINARY_DIR}/vskConfigVersion.cmake
        DESTINATION ${VSK_INSTALL_CMAKEDIR})

# vsk.pc finds the prefix from its own place, so that an installed tree can
# be moved (and `cmake --install --prefix DIR` works with any DIR).
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(VSK_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(VSK_PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
  set(VSK_PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
  file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" up "${up}")
  set(VSK_PC_PREFIX "\${pcfiledir}/${up}")
  set(VSK_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(VSK_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/vsk.pc.in ${PROJECT_BINARY_DIR}/vsk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vsk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
