# Library, headers, pkg-config file and CMake package.
include(CMakePackageConfigHelpers)

file(GLOB MERLO64F_HEADERS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/include/*.h)
list(APPEND MERLO64F_HEADERS ${CMAKE_CURRENT_SOURCE_DIR}/support/fft_tables.h)

install(TARGETS merlo64f EXPORT merlo64f-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${MERLO64F_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/merlo64f)

set(MERLO64F_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/merlo64f)
configure_package_config_file(cmake/merlo64f-config.cmake.in merlo64f-config.cmake
  INSTALL_DESTINATION ${MERLO64F_PACKAGE_DIR})
write_basic_package_version_file(merlo64f-config-version.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT merlo64f-targets NAMESPACE merlo64f:: DESTINATION ${MERLO64F_PACKAGE_DIR})
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/merlo64f-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/merlo64f-config-version.cmake
  DESTINATION ${MERLO64F_PACKAGE_DIR})

configure_file(cmake/merlo64f.pc.in merlo64f.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/merlo64f.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
