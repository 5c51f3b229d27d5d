# Installation of the C library for other projects: the headers, the shared
# library with its SONAME link and development link, a pkg-config file and a
# CMake package configuration (find_package(zynecgsolver) gives the imported
# target zynecgsolver::zynecgsolver).
include(CMakePackageConfigHelpers)

set(ZYN_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/zynecgsolver)

install(TARGETS zynecgsolver EXPORT zynecgsolverTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/include/zynecgsolver
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(FILES ${ZYN_GENERATED_INCLUDE_DIR}/zynecgsolver/version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zynecgsolver COMPONENT dev)

install(EXPORT zynecgsolverTargets NAMESPACE zynecgsolver::
  DESTINATION ${ZYN_INSTALL_CMAKEDIR} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zynecgsolverConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zynecgsolverConfig.cmake
  INSTALL_DESTINATION ${ZYN_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zynecgsolverConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zynecgsolverConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zynecgsolverConfigVersion.cmake
  DESTINATION ${ZYN_INSTALL_CMAKEDIR} COMPONENT dev)

# pkg-config: paths relative to the installed file, so that the prefix given
# at install time (cmake --install --prefix) holds and the tree can move.
file(RELATIVE_PATH ZYN_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" ZYN_PC_TO_PREFIX "${ZYN_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/zynecgsolver.pc.in
  ${CMAKE_CURRENT_BINARY_DIR}/zynecgsolver.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zynecgsolver.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
